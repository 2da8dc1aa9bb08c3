#include "xr3_mqCoder.h"

#include <array>

namespace Orvanetics {

namespace {

struct ProbabilityRow {
    uint16_t qe;
    uint8_t nextOnMPS, nextOnLPS;
    bool switchMPS;
};

// The 47 states of the MQ coder: Qe, next state after an MPS, after an LPS,
// and whether an LPS swaps the sense of the MPS.
constexpr ProbabilityRow kProbabilityTable[47] = {
    {0x5601, 1, 1, true},    {0x3401, 2, 6, false},   {0x1801, 3, 9, false},   {0x0AC1, 4, 12, false},
    {0x0521, 5, 29, false},  {0x0221, 38, 33, false}, {0x5601, 7, 6, true},    {0x5401, 8, 14, false},
    {0x4801, 9, 14, false},  {0x3801, 10, 14, false}, {0x3001, 11, 17, false}, {0x2401, 12, 18, false},
    {0x1C01, 13, 20, false}, {0x1601, 29, 21, false}, {0x5601, 15, 14, true},  {0x5401, 16, 14, false},
    {0x5101, 17, 15, false}, {0x4801, 18, 16, false}, {0x3801, 19, 17, false}, {0x3401, 20, 18, false},
    {0x3001, 21, 19, false}, {0x2801, 22, 19, false}, {0x2401, 23, 20, false}, {0x2201, 24, 21, false},
    {0x1C01, 25, 22, false}, {0x1801, 26, 23, false}, {0x1601, 27, 24, false}, {0x1401, 28, 25, false},
    {0x1201, 29, 26, false}, {0x1101, 30, 27, false}, {0x0AC1, 31, 28, false}, {0x09C1, 32, 29, false},
    {0x08A1, 33, 30, false}, {0x0521, 34, 31, false}, {0x0441, 35, 32, false}, {0x02A1, 36, 33, false},
    {0x0221, 37, 34, false}, {0x0141, 38, 35, false}, {0x0111, 39, 36, false}, {0x0085, 40, 37, false},
    {0x0049, 41, 38, false}, {0x0025, 42, 39, false}, {0x0015, 43, 40, false}, {0x0009, 44, 41, false},
    {0x0005, 45, 42, false}, {0x0001, 45, 43, false}, {0x5601, 46, 46, false},
};

constexpr std::array<XR3MQTransition, 94> makeTransitions() {
    std::array<XR3MQTransition, 94> table{};
    for (unsigned state = 0; state < 47; ++state) {
        const ProbabilityRow& row = kProbabilityTable[state];
        for (unsigned mps = 0; mps < 2; ++mps) {
            const unsigned mpsAfterLPS = row.switchMPS ? mps ^ 1u : mps;
            table[XR3MQContexts::pack(state, mps)] = {row.qe, uint8_t(mps), XR3MQContexts::pack(row.nextOnMPS, mps),
                                                      XR3MQContexts::pack(row.nextOnLPS, mpsAfterLPS),
                                                      ((uint64_t(1) << 32) + row.qe - 1) / row.qe};
        }
    }
    return table;
}

}  // namespace

constexpr std::array<XR3MQTransition, 94> kXR3MQTransitions = makeTransitions();

void XR3MQContexts::reset() {
    for (uint8_t& s : state)
        s = pack(0, 0);
    state[0] = pack(4, 0);
    state[17] = pack(3, 0);
    state[18] = pack(46, 0);
}

void QVMQEncoder::start() {
    m_out.clear();
    m_a = 0x8000;
    m_c = 0;
    m_ct = 12;
}

void QVMQEncoder::encode(uint8_t& context, unsigned symbol) {
    const XR3MQTransition& t = kXR3MQTransitions[context];
    const uint32_t qe = t.qe;
    m_a -= qe;
    if (symbol == t.mps) {
        if (m_a >= 0x8000) {
            m_c += qe;
            return;
        }
        if (m_a < qe)
            m_a = qe;
        else
            m_c += qe;
        context = t.nextOnMPS;
    } else {
        if (m_a < qe)
            m_c += qe;
        else
            m_a = qe;
        context = t.nextOnLPS;
    }
    renormalize();
}

void QVMQEncoder::renormalize() {
    do {
        m_a <<= 1;
        m_c <<= 1;
        if (--m_ct == 0)
            byteOut();
    } while (m_a < 0x8000);
}

// Appends the byte C >> shift and keeps `keepMask` of C; after 0xFF only 7
// bits go out, so that the next byte leaves room for a carry.
void QVMQEncoder::emit(uint32_t shift, uint32_t keepMask, uint32_t bits) {
    m_out.push_back(uint8_t(m_c >> shift));
    m_c &= keepMask;
    m_ct = bits;
}

void QVMQEncoder::byteOut() {
    const bool haveByte = !m_out.empty();
    if (haveByte && m_out.back() == 0xFF) {
        emit(20, 0xFFFFF, 7);
        return;
    }
    if (m_c >= 0x8000000 && haveByte) {
        // Carry into the byte already written.
        if (++m_out.back() == 0xFF) {
            m_c &= 0x7FFFFFF;
            emit(20, 0xFFFFF, 7);
            return;
        }
    }
    emit(19, 0x7FFFF, 8);
}

void QVMQEncoder::flush() {
    // Set as many low bits of C as the interval allows, then push out what is left.
    const uint32_t top = m_c + m_a;
    m_c |= 0xFFFF;
    if (m_c >= top)
        m_c -= 0x8000;
    m_c <<= m_ct;
    byteOut();
    m_c <<= m_ct;
    byteOut();
    if (!m_out.empty() && m_out.back() == 0xFF)
        m_out.pop_back();
}

}  // namespace Orvanetics
