#include "tavix_entropyReference.h"

#include <algorithm>

#include "xr3_subblockData.h"

namespace Orvanetics::TavixEntropyReference {

const uint16_t kQe[47] = {
    0x5601, 0x3401, 0x1801, 0x0AC1, 0x0521, 0x0221, 0x5601, 0x5401, 0x4801, 0x3801, 0x3001, 0x2401,
    0x1C01, 0x1601, 0x5601, 0x5401, 0x5101, 0x4801, 0x3801, 0x3401, 0x3001, 0x2801, 0x2401, 0x2201,
    0x1C01, 0x1801, 0x1601, 0x1401, 0x1201, 0x1101, 0x0AC1, 0x09C1, 0x08A1, 0x0521, 0x0441, 0x02A1,
    0x0221, 0x0141, 0x0111, 0x0085, 0x0049, 0x0025, 0x0015, 0x0009, 0x0005, 0x0001, 0x5601};
const uint8_t kNextMPS[47] = {1,  2,  3,  4,  5,  38, 7,  8,  9,  10, 11, 12, 13, 29, 15, 16,
                              17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32,
                              33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 45, 46};
const uint8_t kNextLPS[47] = {1,  6,  9,  12, 29, 33, 6,  14, 14, 14, 17, 18, 20, 21, 14, 14,
                              15, 16, 17, 18, 19, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29,
                              30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 46};
const uint8_t kSwitch[47] = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                             0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

uint8_t BitMQDecoder::virtualByte(const uint8_t* data, size_t length, size_t index) {
    if (index < length)
        return data[index];
    // FF 7F FF 7F ... behind the end, starting with 7F after a real FF.
    const bool lastWasFF = length > 0 && data[length - 1] == 0xFF;
    const bool even = (index - length) % 2 == 0;
    return (even != lastWasFF) ? 0xFF : 0x7F;
}

BitMQDecoder::BitMQDecoder(const uint8_t* data, size_t length) : m_data(data), m_length(length) {
    const uint32_t b0 = virtualByte(data, length, 0), b1 = virtualByte(data, length, 1);
    m_index = 2;
    m_previous = b1;
    if (b0 == 0xFF) {
        m_c = (0xFFu << 7) + b1;
        m_bitsLeft = 0;
    } else {
        m_c = ((b0 << 8) | b1) >> 1;
        m_current = b1;
        m_bitsLeft = 1;
    }
}

unsigned BitMQDecoder::nextBit() {
    if (m_bitsLeft == 0) {
        const uint32_t byte = virtualByte(m_data, m_length, m_index++);
        if (m_previous == 0xFF) {
            m_c = (m_c + (byte >> 7)) & 0xFFFF;
            m_bitsLeft = 7;
        } else {
            m_bitsLeft = 8;
        }
        m_current = byte;
        m_previous = byte;
    }
    --m_bitsLeft;
    return (m_current >> m_bitsLeft) & 1;
}

unsigned BitMQDecoder::decode(uint8_t& stateIndex, uint8_t& mps) {
    const uint32_t qe = kQe[stateIndex];
    unsigned symbol;
    bool renormalize = true;
    m_a -= qe;
    const auto takeLPS = [&] {
        symbol = 1 - mps;
        if (kSwitch[stateIndex])
            mps = uint8_t(1 - mps);
        stateIndex = kNextLPS[stateIndex];
    };
    const auto takeMPS = [&] {
        symbol = mps;
        stateIndex = kNextMPS[stateIndex];
    };
    if (m_c < qe) {
        if (m_a < qe)
            takeMPS();
        else
            takeLPS();
        m_a = qe;
    } else {
        m_c -= qe;
        if (m_a & 0x8000) {
            symbol = mps;
            renormalize = false;
        } else if (m_a < qe) {
            takeLPS();
        } else {
            takeMPS();
        }
    }
    while (renormalize && m_a < 0x8000) {
        m_a = (m_a << 1) & 0xFFFF;
        const unsigned bit = nextBit();  // may carry into C first
        m_c = ((m_c << 1) | bit) & 0xFFFF;
    }
    return symbol;
}

namespace {

// One row of the significance table: ranges of the counts and the context.
struct ContextRow {
    int minA, maxA, minB, maxB, minD, maxD;
    unsigned context;
};

// Low-pass across (LL, LH): a = horizontal count, b = vertical count.
const ContextRow kLowHighRows[] = {
    {2, 2, 0, 2, 0, 4, 8}, {1, 1, 1, 2, 0, 4, 7}, {1, 1, 0, 0, 1, 4, 6}, {1, 1, 0, 0, 0, 0, 5},
    {0, 0, 2, 2, 0, 4, 4}, {0, 0, 1, 1, 0, 4, 3}, {0, 0, 0, 0, 2, 4, 2}, {0, 0, 0, 0, 1, 1, 1},
    {0, 0, 0, 0, 0, 0, 0},
};
// HH: a = horizontal plus vertical count, b unused.
const ContextRow kDiagonalRows[] = {
    {0, 4, 0, 2, 3, 4, 8}, {1, 4, 0, 2, 2, 2, 7}, {0, 0, 0, 2, 2, 2, 6}, {2, 4, 0, 2, 1, 1, 5},
    {1, 1, 0, 2, 1, 1, 4}, {0, 0, 0, 2, 1, 1, 3}, {2, 4, 0, 2, 0, 0, 2}, {1, 1, 0, 2, 0, 0, 1},
    {0, 0, 0, 2, 0, 0, 0},
};

unsigned lookUp(const ContextRow* rows, size_t count, int a, int b, int d) {
    for (size_t i = 0; i < count; ++i) {
        const ContextRow& r = rows[i];
        if (a >= r.minA && a <= r.maxA && b >= r.minB && b <= r.maxB && d >= r.minD && d <= r.maxD)
            return r.context;
    }
    return 99;  // no row: shows up as a mismatch
}

}  // namespace

unsigned significanceContext(unsigned kind, int h, int v, int d) {
    switch (kind) {
    case 1: return lookUp(kLowHighRows, 9, v, h, d);  // HL: the two counts trade places
    case 3: return lookUp(kDiagonalRows, 9, h + v, 0, d);
    default: return lookUp(kLowHighRows, 9, h, v, d);
    }
}

void signContext(int h, int v, unsigned& context, unsigned& xorBit) {
    // Rows h = 1, 0, -1; columns v = 1, 0, -1.
    static const unsigned kContext[3][3] = {{13, 12, 11}, {10, 9, 10}, {11, 12, 13}};
    static const unsigned kXor[3][3] = {{0, 0, 0}, {0, 0, 1}, {1, 1, 1}};
    context = kContext[1 - h][1 - v];
    xorBit = kXor[1 - h][1 - v];
}

namespace {

struct Coefficient {
    uint32_t magnitude = 0;
    bool negative = false;
    bool significant = false;
    bool seenDiagonally = false;  // became significant in an MQ plane
    bool refined = false;
};

class RawBits {
public:
    explicit RawBits(const std::vector<uint8_t>& bytes) : m_bytes(bytes) {}
    unsigned next() {
        const size_t byte = m_position / 8, shift = 7 - m_position % 8;
        ++m_position;
        return byte < m_bytes.size() ? (m_bytes[byte] >> shift) & 1 : 0;
    }

private:
    const std::vector<uint8_t>& m_bytes;
    size_t m_position = 0;
};

class BandModel {
public:
    BandModel(int x0, int x1, int y0, int y1)
        : m_x0(x0), m_y0(y0), m_width(std::max(x1 - x0 + 1, 0)), m_height(std::max(y1 - y0 + 1, 0)),
          m_grid(size_t(m_width) * size_t(m_height)) {}

    Coefficient* at(int x, int y) {
        if (x < 0 || y < 0 || x >= m_width || y >= m_height)
            return nullptr;
        return &m_grid[size_t(y) * m_width + x];
    }
    bool isSignificant(int x, int y) {
        const Coefficient* c = at(x, y);
        return c && c->significant;
    }
    bool isSeenDiagonally(int x, int y) {
        const Coefficient* c = at(x, y);
        return c && c->seenDiagonally;
    }
    int signOf(int x, int y) {
        const Coefficient* c = at(x, y);
        return (c && c->significant) ? (c->negative ? -1 : 1) : 0;
    }

    void decodePlane(const ReferencePlane& plane, unsigned kind, uint32_t bit, uint8_t* states, uint8_t* mps) {
        BitMQDecoder mq(plane.bytes.data(), plane.bytes.size());
        RawBits raw(plane.bytes);
        const auto symbol = [&](unsigned context) {
            return plane.bypass ? raw.next() : mq.decode(states[context], mps[context]);
        };
        for (int y = 0; y < m_height; ++y) {
            for (int x = 0; x < m_width; ++x) {
                Coefficient& c = *at(x, y);
                const int h = isSignificant(x - 1, y) + isSignificant(x + 1, y);
                const int v = isSignificant(x, y - 1) + isSignificant(x, y + 1);
                const int d = isSeenDiagonally(x - 1, y - 1) + isSeenDiagonally(x + 1, y - 1) +
                              isSeenDiagonally(x - 1, y + 1) + isSeenDiagonally(x + 1, y + 1);
                if (c.significant) {
                    const unsigned context = c.refined ? 16 : (h + v + d == 0 ? 14 : 15);
                    c.refined = true;
                    if (symbol(context))
                        c.magnitude |= bit;
                } else if (symbol(significanceContext(kind, h, v, d))) {
                    c.magnitude |= bit;
                    const int hs = std::clamp(signOf(x - 1, y) + signOf(x + 1, y), -1, 1);
                    const int vs = std::clamp(signOf(x, y - 1) + signOf(x, y + 1), -1, 1);
                    unsigned context = 0, xorBit = 0;
                    signContext(hs, vs, context, xorBit);
                    c.negative = symbol(context) != xorBit;
                    c.significant = true;
                    c.seenDiagonally = !plane.bypass;
                }
            }
        }
    }

    void writeOut(std::vector<int32_t>& out, int subblockWidth, int roundBit) {
        for (int y = 0; y < m_height; ++y) {
            for (int x = 0; x < m_width; ++x) {
                const Coefficient& c = *at(x, y);
                int64_t magnitude = c.magnitude;
                const int64_t index = int64_t(m_y0 + y) * subblockWidth + (m_x0 + x);
                if (magnitude != 0 && roundBit >= 0)
                    magnitude += (index % 2 == 1) ? (int64_t(1) << roundBit) : (int64_t(1) << roundBit) - 1;
                out[size_t(index)] = int32_t(c.negative ? -magnitude : magnitude);
            }
        }
    }

private:
    int m_x0, m_y0, m_width, m_height;
    std::vector<Coefficient> m_grid;
};

}  // namespace

std::vector<int32_t> decodeBand(const std::vector<ReferencePlane>& planes, unsigned kind, int width, int height,
                                int x0, int x1, int y0, int y1, bool round) {
    std::vector<int32_t> out(size_t(width) * size_t(height), 0);
    int first = 1;
    while (first < 32 && !planes[size_t(first)].present)
        ++first;
    if (first == 32 || x1 < x0 || y1 < y0)
        return out;
    uint8_t states[19] = {}, mps[19] = {};
    states[0] = 4;
    states[17] = 3;
    states[18] = 46;
    BandModel model(x0, x1, y0, y1);
    int p = first;
    for (; p < 32 && planes[size_t(p)].present; ++p)
        model.decodePlane(planes[size_t(p)], kind, 1u << (31 - p), states, mps);
    model.writeOut(out, width, round && p < 32 ? 31 - p : -1);
    return out;
}

unsigned kindOfSubband(unsigned subband) {
    return subband == 0 ? 0 : (subband - 1) % 4;
}

std::vector<ReferencePlane> planesOf(const XR3SubblockData& data, unsigned band) {
    std::vector<ReferencePlane> planes(32);
    for (unsigned p = 0; p < 32; ++p) {
        const XR3PlaneData& plane = data.plane(band, p);
        planes[p].present = plane.isPresent();
        planes[p].bypass = plane.isBypass();
        if (plane.length)
            planes[p].bytes.assign(plane.buffer, plane.buffer + plane.length);
    }
    return planes;
}

std::vector<int32_t> decodeBand(const XR3SubblockData& data, unsigned band, bool round) {
    return decodeBand(planesOf(data, band), kindOfSubband(data.subband), data.width, data.height, data.x0, data.x1,
                      data.y0, data.y1, round);
}

}  // namespace Orvanetics::TavixEntropyReference
