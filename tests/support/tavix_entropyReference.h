// A slow, literal model of the subblock entropy decoder for tests: the MQ
// decoder fed one bit at a time from the plane's virtual byte string, and
// contexts found by counting neighbours. It shares no code or tables with the
// library's decoder, so the two can check each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Orvanetics {
class XR3SubblockData;
}

namespace Orvanetics::TavixEntropyReference {

// The MQ decoder with a 16-bit C register that takes code bits one by one.
class BitMQDecoder {
public:
    BitMQDecoder(const uint8_t* data, size_t length);
    // Decodes one symbol in the context whose state (0..46) and MPS are given.
    unsigned decode(uint8_t& stateIndex, uint8_t& mps);

    // The byte at `index` of the plane's string, real or virtual.
    static uint8_t virtualByte(const uint8_t* data, size_t length, size_t index);

private:
    unsigned nextBit();

    const uint8_t* m_data;
    size_t m_length;
    size_t m_index = 0;
    uint32_t m_a = 0x8000;
    uint32_t m_c = 0;
    uint32_t m_current = 0;
    unsigned m_bitsLeft = 0;
    uint32_t m_previous = 0;
};

// The probability table typed column by column.
extern const uint16_t kQe[47];
extern const uint8_t kNextMPS[47];
extern const uint8_t kNextLPS[47];
extern const uint8_t kSwitch[47];

// Significance context (0..8) of a band kind: 0 low-low, 1 HL, 2 LH, 3 HH;
// h, v and d count the significant horizontal, vertical and diagonal neighbours.
unsigned significanceContext(unsigned kind, int h, int v, int d);
// Sign context (9..13) and XOR bit from the clamped sign sums of the two axes.
void signContext(int h, int v, unsigned& context, unsigned& xorBit);

struct ReferencePlane {
    std::vector<uint8_t> bytes;
    bool present = false;
    bool bypass = false;
};

// Decodes one band of a width by height subblock whose coefficient area is
// [x0, x1] x [y0, y1]; `planes` has 32 entries. `kind` as above. Returns
// width * height coefficients in raster order.
std::vector<int32_t> decodeBand(const std::vector<ReferencePlane>& planes, unsigned kind, int width, int height,
                                int x0, int x1, int y0, int y1, bool round);

// The band kind of a subband number: 0 for the low-low and overflow bands,
// then 1 HL, 2 LH, 3 HH.
unsigned kindOfSubband(unsigned subband);

// Copies the 32 planes of one band of `data`.
std::vector<ReferencePlane> planesOf(const XR3SubblockData& data, unsigned band);

// decodeBand over the geometry and planes of `data`.
std::vector<int32_t> decodeBand(const XR3SubblockData& data, unsigned band, bool round);

}  // namespace Orvanetics::TavixEntropyReference
