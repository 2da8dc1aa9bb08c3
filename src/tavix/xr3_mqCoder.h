// The binary arithmetic coder of the subblock planes: the 47-state MQ coder
// with a 16-bit interval. The decoder knows no markers: a byte after 0xFF
// always carries 7 bits and a carry, and behind the last byte of a plane it
// reads 0xFF and 0x7F alternately, that is, 1 bits for ever.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "xr3_contextTables.h"

namespace Orvanetics {

// One row of the probability table, pre-split by the current MPS so that a
// context is a single byte: 2 * state + mps.
struct XR3MQTransition {
    uint16_t qe;
    uint8_t mps;
    uint8_t nextOnMPS;  // context byte after coding an MPS
    uint8_t nextOnLPS;  // context byte after coding an LPS, MPS switched where due
    // ceil(2^32 / qe): (b * qeReciprocal) >> 32 is b / qe for any b below 2^16.
    uint64_t qeReciprocal;
};

extern const std::array<XR3MQTransition, 94> kXR3MQTransitions;

// The adaptive state of all contexts of one band.
struct XR3MQContexts {
    uint8_t state[kXR3NumContexts];

    // Context 0 at state 4, 17 at 3, 18 at 46, all others at 0; MPS 0.
    void reset();
    static constexpr uint8_t pack(unsigned stateIndex, unsigned mps) { return uint8_t(stateIndex * 2 + mps); }
};

// Decoder registers. Kept as a small value whose members are all forced
// inline, so that the plane scan holds A, C, the byte pointer and the bit
// count in registers.
class XR3MQDecoder {
public:
    // Restarts the registers on `length` bytes at `data`.
    [[gnu::always_inline]] inline void start(const uint8_t* data, size_t length);

    [[gnu::always_inline]] inline unsigned decode(uint8_t& context);

    // Decodes, from `first` on, one symbol of `context` per coefficient whose
    // state word is 0, while the symbol is certain to be an MPS of 0 that
    // needs no renormalisation; returns the first coefficient not decoded.
    // A run of insignificant coefficients without significant neighbours
    // thus costs a test per coefficient instead of a decode.
    [[gnu::always_inline]] inline int decodeZeroRun(uint8_t context, const uint32_t* states, int first, int end);

private:
    [[gnu::always_inline]] inline void renormalize();
    [[gnu::always_inline]] inline void byteIn();

    const uint8_t* m_next = nullptr;
    const uint8_t* m_end = nullptr;
    uint32_t m_a = 0;       // interval, 16 bits
    uint32_t m_c = 0;       // code register: bits 16 to 31 are C, below them the pending code bits
    uint32_t m_ct = 0;      // pending code bits below bit 16
    uint32_t m_last = 0;    // the byte read last, real or virtual
};

inline void XR3MQDecoder::byteIn() {
    const uint32_t byte = m_next < m_end ? *m_next++ : (m_last == 0xFF ? 0x7Fu : 0xFFu);
    if (m_last == 0xFF) {
        // 7 bits; the top bit lands on C's lowest bit as a carry.
        m_c += byte << 9;
        m_ct = 7;
    } else {
        m_c += byte << 8;
        m_ct = 8;
    }
    m_last = byte;
}

// Shifts A up to 0x8000 or more in as few steps as the pending code bits allow.
inline void XR3MQDecoder::renormalize() {
    uint32_t shift = uint32_t(std::countl_zero(m_a)) - 16;
    while (shift > m_ct) {
        m_a <<= m_ct;
        m_c <<= m_ct;
        shift -= m_ct;
        byteIn();
    }
    m_a <<= shift;
    m_c <<= shift;
    m_ct -= shift;
}

inline void XR3MQDecoder::start(const uint8_t* data, size_t length) {
    m_next = data;
    m_end = data + length;
    m_last = 0;
    m_c = 0;
    byteIn();
    m_c <<= 8;   // B0 at bits 16 to 23
    byteIn();    // B1 behind it, 7 bits of it when B0 is 0xFF
    m_c <<= 7;
    m_ct -= 7;
    m_a = 0x8000;
}

inline unsigned XR3MQDecoder::decode(uint8_t& context) {
    const XR3MQTransition& t = kXR3MQTransitions[context];
    const uint32_t qe = t.qe;
    m_a -= qe;
    unsigned symbol;
    if ((m_c >> 16) < qe) {
        // Lower sub-interval: LPS, unless the conditional exchange applies.
        const bool exchanged = m_a < qe;
        symbol = exchanged ? t.mps : t.mps ^ 1u;
        context = exchanged ? t.nextOnMPS : t.nextOnLPS;
        m_a = qe;
        renormalize();
        return symbol;
    }
    m_c -= qe << 16;
    if (m_a >= 0x8000)
        return t.mps;
    const bool exchanged = m_a < qe;
    symbol = exchanged ? t.mps ^ 1u : t.mps;
    context = exchanged ? t.nextOnLPS : t.nextOnMPS;
    renormalize();
    return symbol;
}

inline int XR3MQDecoder::decodeZeroRun(uint8_t context, const uint32_t* states, int first, int end) {
    const XR3MQTransition& t = kXR3MQTransitions[context];
    if (t.mps != 0)
        return first;
    // Each MPS takes Qe from both A and C: it needs C >= Qe, and A stays at
    // 0x8000 or more without renormalisation.
    const uint32_t room = std::min(m_a - 0x8000, m_c >> 16);
    const uint32_t certain = uint32_t((uint64_t(room) * t.qeReciprocal) >> 32);
    const int limit = int(std::min<int64_t>(end, int64_t(first) + certain));
    int x = first;
    // Four states at a time first: runs are often that long.
    while (x + 4 <= limit && (states[x] | states[x + 1] | states[x + 2] | states[x + 3]) == 0)
        x += 4;
    while (x < limit && states[x] == 0)
        ++x;
    const uint32_t taken = uint32_t(x - first) * t.qe;
    m_a -= taken;
    m_c -= taken << 16;
    return x;
}

// The encoder: registers restarted per plane, contexts kept by the caller;
// bytes appended to a vector and ended by the standard flush.
class QVMQEncoder {
public:
    explicit QVMQEncoder(std::vector<uint8_t>& out) : m_out(out) { start(); }

    // A 0x8000, C 0; drops whatever the output held.
    void start();
    void encode(uint8_t& context, unsigned symbol);
    // Ends the string; a final 0xFF is left out, since the decoder supplies it.
    void flush();

private:
    void renormalize();
    void byteOut();
    void emit(uint32_t shift, uint32_t keepMask, uint32_t bits);

    std::vector<uint8_t>& m_out;
    uint32_t m_a = 0x8000;
    uint32_t m_c = 0;
    uint32_t m_ct = 12;
};

}  // namespace Orvanetics
