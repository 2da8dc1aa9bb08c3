// The subblock decoder against plane strings made the way another encoder
// would make them: the contexts of every symbol worked out by hand from the
// neighbour rules and written down here, the symbols coded by an MQ encoder
// that follows the standard's procedures step by step (INITENC, CODEMPS,
// CODELPS, RENORME, BYTEOUT, FLUSH), and raw planes laid out bit by bit.
// Nothing here comes from the library's own encoder or context tables.
#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <random>
#include <vector>

#include "tavix_entropyReference.h"
#include "xr3_mqCoder.h"
#include "xr3_subblockData.h"

using namespace Orvanetics;
namespace Ref = Orvanetics::TavixEntropyReference;

namespace {

// ------------------------------------------------------------------ the encoder

// The software-convention MQ encoder, with the byte before the string kept
// as a dummy B, as the standard has it.
class StandardMQEncoder {
public:
    struct Context {
        uint8_t state = 0;
        uint8_t mps = 0;
    };

    StandardMQEncoder() { m_bytes.push_back(0); }  // the byte at BP before the first one

    void encode(Context& cx, unsigned d) {
        const uint32_t qe = Ref::kQe[cx.state];
        m_a -= qe;
        if (d == cx.mps) {
            // CODEMPS
            if ((m_a & 0x8000) == 0) {
                if (m_a < qe) m_a = qe;
                else m_c += qe;
                cx.state = Ref::kNextMPS[cx.state];
                renormalize();
            } else {
                m_c += qe;
            }
        } else {
            // CODELPS
            if (m_a < qe) m_c += qe;
            else m_a = qe;
            if (Ref::kSwitch[cx.state]) cx.mps = uint8_t(1 - cx.mps);
            cx.state = Ref::kNextLPS[cx.state];
            renormalize();
        }
    }

    // FLUSH; a final 0xFF is not part of the string.
    std::vector<uint8_t> finish() {
        const uint32_t top = m_c + m_a;
        m_c |= 0xFFFF;
        if (m_c >= top) m_c -= 0x8000;
        m_c <<= m_ct;
        byteOut();
        m_c <<= m_ct;
        byteOut();
        std::vector<uint8_t> out(m_bytes.begin() + 1, m_bytes.end());
        if (!out.empty() && out.back() == 0xFF) out.pop_back();
        return out;
    }

private:
    void renormalize() {
        do {
            m_a <<= 1;
            m_c <<= 1;
            if (--m_ct == 0) byteOut();
        } while ((m_a & 0x8000) == 0);
    }

    void byteOut() {
        uint8_t& b = m_bytes.back();
        if (b == 0xFF) {
            put(20, 0xFFFFF, 7);
        } else if (m_c < 0x8000000) {
            put(19, 0x7FFFF, 8);
        } else if (++b == 0xFF) {
            m_c &= 0x7FFFFFF;
            put(20, 0xFFFFF, 7);
        } else {
            put(19, 0x7FFFF, 8);
        }
    }

    void put(unsigned shift, uint32_t keep, int ct) {
        m_bytes.push_back(uint8_t(m_c >> shift));
        m_c &= keep;
        m_ct = ct;
    }

    std::vector<uint8_t> m_bytes;
    uint32_t m_a = 0x8000;
    uint32_t m_c = 0;
    int m_ct = 12;
};

// The 19 contexts at the start of a band: 0 in state 4, 17 in 3, 18 in 46.
std::array<StandardMQEncoder::Context, 19> freshContexts() {
    std::array<StandardMQEncoder::Context, 19> cx{};
    cx[0].state = 4;
    cx[17].state = 3;
    cx[18].state = 46;
    return cx;
}

// ------------------------------------------------------- hand-worked plane scans

enum class Kind { LowLow, HL, HH };  // the three significance tables

// Significant neighbours of a coefficient: horizontal, vertical, diagonal.
struct Hood {
    int h, v, d;
    bool operator==(const Hood&) const = default;
};

// Table D.1 of the standard, typed for the neighbourhoods the scans below meet:
// low-low (and LH) weighs horizontal most, HL vertical, HH diagonal.
struct HoodContexts {
    Hood hood;
    unsigned lowLow, hl, hh;
};
constexpr HoodContexts kTableD1[] = {
    {{0, 0, 0}, 0, 0, 0}, {{1, 0, 0}, 5, 3, 1}, {{0, 1, 0}, 3, 5, 1}, {{0, 0, 1}, 1, 1, 3}, {{1, 1, 0}, 7, 7, 2},
    {{0, 1, 1}, 3, 6, 4}, {{0, 0, 2}, 2, 2, 6}, {{2, 1, 1}, 8, 7, 5}, {{2, 1, 0}, 8, 7, 2},
};

unsigned significanceContext(Kind kind, const Hood& hood) {
    for (const HoodContexts& row : kTableD1) {
        if (row.hood == hood) return kind == Kind::LowLow ? row.lowLow : kind == Kind::HL ? row.hl : row.hh;
    }
    ADD_FAILURE() << "no row for " << hood.h << hood.v << hood.d;
    return 0;
}

// One coefficient's visit in a plane scan: a significance decision in the
// context of its neighbourhood (with its sign when it becomes significant),
// or a refinement.
struct Visit {
    bool refine = false;
    Hood hood{};
    unsigned context = 0;  // refinement context, or sign context
    unsigned bit = 0;      // the decision, or the refinement bit
    unsigned sign = 0;     // the sign symbol (with the predicted sign folded in)
};
Visit no(int h, int v, int d) { return {false, {h, v, d}, 0, 0, 0}; }
Visit yes(int h, int v, int d, unsigned signContext, unsigned signSymbol) {
    return {false, {h, v, d}, signContext, 1, signSymbol};
}
Visit refine(unsigned context, unsigned bit) { return {true, {}, context, bit, 0}; }

using Scan = std::vector<Visit>;

void encodeScan(const Scan& scan, Kind kind, std::array<StandardMQEncoder::Context, 19>& cx,
                StandardMQEncoder& encoder) {
    for (const Visit& visit : scan) {
        if (visit.refine) {
            encoder.encode(cx[visit.context], visit.bit);
            continue;
        }
        encoder.encode(cx[significanceContext(kind, visit.hood)], visit.bit);
        if (visit.bit) encoder.encode(cx[visit.context], visit.sign);
    }
}

// A 4 by 4 subblock, raster index i = 4y + x. The scans below code these
// coefficients, sign and magnitude, in three planes:
//   plane 29 (bit 2): i5 = +4, i10 = -4
//   plane 30 (bit 1): i0 = -2, i5 refined to 6, i7 = +2, i10 stays 4, i11 = -2
//   plane 31 (bit 0): i0 to 3, i5 to 7, i7 stays 2, i10 to 5, i11 to 3
// Signs: with no significant direct neighbour the sign context is 9 and
// the predicted sign positive, so the symbol is 1 for a negative value. i11
// has its negative left neighbour i10 (H = -1) and its positive upper
// neighbour i7 (V = +1): context 11 with the XOR bit 1, so a negative value
// codes 0.
const Scan kPlane29 = {
    no(0, 0, 0), no(0, 0, 0), no(0, 0, 0), no(0, 0, 0),           // row 0
    no(0, 0, 0), yes(0, 0, 0, 9, 0), no(1, 0, 0), no(0, 0, 0),    // row 1: i5 +
    no(0, 0, 1), no(0, 1, 0), yes(0, 0, 1, 9, 1), no(1, 0, 0),    // row 2: i10 -
    no(0, 0, 0), no(0, 0, 1), no(0, 1, 0), no(0, 0, 1),           // row 3
};
const Scan kPlane30 = {
    yes(0, 0, 1, 9, 1), no(1, 1, 0), no(0, 0, 1), no(0, 0, 0),    // i0 -
    no(1, 1, 0), refine(15, 1), no(1, 1, 0), yes(0, 0, 1, 9, 0),  // i5 first refinement, i7 +
    no(0, 0, 1), no(1, 1, 0), refine(15, 0), yes(1, 1, 0, 11, 0), // i11 -
    no(0, 0, 0), no(0, 0, 1), no(0, 1, 1), no(0, 1, 1),
};
// i5 and i10 are refined for the second time (context 16); i2 sees two
// significant diagonal neighbours (i5 and i7), i6 two horizontal ones.
const Scan kPlane31 = {
    refine(15, 1), no(1, 1, 0), no(0, 0, 2), no(0, 1, 0),
    no(1, 1, 0), refine(16, 1), no(2, 1, 1), refine(15, 0),
    no(0, 0, 1), no(1, 1, 0), refine(16, 1), refine(15, 1),
    no(0, 0, 0), no(0, 0, 1), no(0, 1, 1), no(0, 1, 1),
};
// Plane 31 behind a raw plane 30: i0, i7 and i11, made significant by the
// raw plane, never told their diagonal neighbours. So i2 sees only i5
// diagonally, i6 no diagonal neighbour, i14 only its upper neighbour.
const Scan kPlane31AfterRaw = {
    refine(15, 1), no(1, 1, 0), no(0, 0, 1), no(0, 1, 0),
    no(1, 1, 0), refine(16, 1), no(2, 1, 0), refine(15, 0),
    no(0, 0, 1), no(1, 1, 0), refine(16, 1), refine(15, 1),
    no(0, 0, 0), no(0, 0, 1), no(0, 1, 0), no(0, 1, 1),
};
// Plane 30 raw, bit by bit in scan order: i0 1 (significant) 1 (negative:
// no significant direct neighbour, predicted positive), i1-i4 0, i5 1
// (refinement), i6 0, i7 1 0 (positive), i8 0, i9 0, i10 0, i11 1 0
// (negative against the prediction "negative" of H = -1, V = +1), i12-i15 0.
//   1100 0010  1000 0100  000 (padding 0)
const std::vector<uint8_t> kRawPlane30 = {0xC2, 0x84, 0x00};

using Block = std::array<int32_t, 16>;

Block block(std::initializer_list<std::pair<int, int32_t>> values) {
    Block b{};
    for (const auto& [index, value] : values) b[size_t(index)] = value;
    return b;
}

struct CodedPlane {
    unsigned plane;
    const Scan* scan;                  // MQ coded, or
    const std::vector<uint8_t>* raw;   // raw bytes
};

// Codes the planes of one band in order with one set of contexts, fresh
// for the band.
void setPlanes(XR3SubblockData& data, Kind kind, const std::vector<CodedPlane>& planes, unsigned band = 0) {
    auto cx = freshContexts();
    for (const CodedPlane& coded : planes) {
        std::vector<uint8_t> bytes;
        if (coded.raw) {
            bytes = *coded.raw;
        } else {
            StandardMQEncoder encoder;
            encodeScan(*coded.scan, kind, cx, encoder);
            bytes = encoder.finish();
        }
        XR3PlaneData& plane = data.plane(band, coded.plane);
        ASSERT_EQ(0u, plane.allocate(uint32_t(bytes.size())));
        std::copy(bytes.begin(), bytes.end(), plane.buffer);
        plane.markPresent(coded.raw != nullptr);
    }
}

Block decode(const XR3SubblockData& data, bool round, unsigned band = 0) {
    std::vector<Block> out(data.numBands);
    std::vector<int32_t*> targets;
    for (Block& b : out) {
        b.fill(0x5A5A5A5A);
        targets.push_back(b.data());
    }
    EXPECT_EQ(0u, data.decode(targets.data(), 4, 0, round));
    return out[band];
}

struct SubbandKind {
    uint8_t subband;
    Kind kind;
};
// Subband 0 and the overflow bands (1, 5) read the low-low table, as do the
// LH bands (3, 7); HL bands (2, 6) the HL table; HH bands (4, 8) the HH table.
const SubbandKind kSubbandKinds[] = {{0, Kind::LowLow}, {1, Kind::LowLow}, {2, Kind::HL}, {3, Kind::LowLow},
                                     {4, Kind::HH},     {5, Kind::LowLow}, {6, Kind::HL}, {7, Kind::LowLow},
                                     {8, Kind::HH}};

void PrintTo(const SubbandKind& k, std::ostream* os) { *os << "subband " << int(k.subband); }

std::string kindName(const testing::TestParamInfo<SubbandKind>& info) {
    return "subband" + std::to_string(info.param.subband);
}

class HandCodedSubblock : public testing::TestWithParam<SubbandKind> {
protected:
    void SetUp() override { ASSERT_EQ(0u, data.initSize(GetParam().subband, 0, 1, 4, 4)); }
    XR3SubblockData data;
};

}  // namespace

TEST_P(HandCodedSubblock, ThreeMQPlanes) {
    // Band 1 holds the same planes: its contexts start afresh.
    ASSERT_EQ(0u, data.initSize(GetParam().subband, 0, 2, 4, 4));
    const std::vector<CodedPlane> planes = {{29, &kPlane29, nullptr}, {30, &kPlane30, nullptr}, {31, &kPlane31, nullptr}};
    setPlanes(data, GetParam().kind, planes, 0);
    setPlanes(data, GetParam().kind, planes, 1);
    const Block want = block({{0, -3}, {5, 7}, {7, 2}, {10, -5}, {11, -3}});
    EXPECT_EQ(want, decode(data, false));
    EXPECT_EQ(want, decode(data, false, 1));
    // Plane 31 is there: no plane is missing, so nothing is added.
    EXPECT_EQ(want, decode(data, true));
}

TEST_P(HandCodedSubblock, MissingPlanesAndTheReconstructionOffset) {
    setPlanes(data, GetParam().kind, {{29, &kPlane29, nullptr}, {30, &kPlane30, nullptr}});
    EXPECT_EQ(block({{0, -2}, {5, 6}, {7, 2}, {10, -4}, {11, -2}}), decode(data, false));
    // Plane 31 missing: k = 0, odd indices (5, 7, 11) gain 1, even ones nothing.
    EXPECT_EQ(block({{0, -2}, {5, 7}, {7, 3}, {10, -4}, {11, -3}}), decode(data, true));

    data.plane(0, 30).clear();
    XR3PlaneData& late = data.plane(0, 31);  // behind the gap: never decoded
    ASSERT_EQ(0u, late.allocate(1));
    late.buffer[0] = 0x00;
    late.markPresent(false);
    EXPECT_EQ(block({{5, 4}, {10, -4}}), decode(data, false));
    // Plane 30 missing: k = 1, odd indices gain 2, even ones 1, away from zero.
    EXPECT_EQ(block({{5, 6}, {10, -5}}), decode(data, true));
}

TEST_P(HandCodedSubblock, RawPlaneTellsNoDiagonalNeighbours) {
    setPlanes(data, GetParam().kind,
              {{29, &kPlane29, nullptr}, {30, nullptr, &kRawPlane30}, {31, &kPlane31AfterRaw, nullptr}});
    EXPECT_EQ(block({{0, -3}, {5, 7}, {7, 2}, {10, -5}, {11, -3}}), decode(data, false));
}

TEST_P(HandCodedSubblock, RawPlaneAloneEndsTheBand) {
    setPlanes(data, GetParam().kind, {{29, &kPlane29, nullptr}, {30, nullptr, &kRawPlane30}});
    EXPECT_EQ(block({{0, -2}, {5, 6}, {7, 2}, {10, -4}, {11, -2}}), decode(data, false));
}

INSTANTIATE_TEST_SUITE_P(EveryOrientation, HandCodedSubblock, testing::ValuesIn(kSubbandKinds), kindName);

TEST(HandCodedSubblockArea, CroppedAreaScansItselfButKeepsSubblockParity) {
    // Area x 1..2, y 1..2 of the 4 by 4 subblock: only i5, i6, i9, i10 are
    // visited. Plane 30: i5 becomes +2; i6 sees it on its left, i9 above it;
    // i10 sees it diagonally and becomes -2.
    const Scan plane30 = {yes(0, 0, 0, 9, 0), no(1, 0, 0), no(0, 1, 0), yes(0, 0, 1, 9, 1)};
    XR3SubblockData data;
    ASSERT_EQ(0u, data.initSize(0, 0, 1, 4, 4));
    data.setCoefficientArea(1, 2, 1, 2);
    setPlanes(data, Kind::LowLow, {{30, &plane30, nullptr}});
    EXPECT_EQ(block({{5, 2}, {10, -2}}), decode(data, false));
    // Parity follows the index in the subblock: i5 is odd, i10 even.
    EXPECT_EQ(block({{5, 3}, {10, -2}}), decode(data, true));
}

TEST(HandCodedSubblockArea, LoneCoefficientRefinesInContext14) {
    // A 1 by 1 subblock has no neighbours: significance in context 0, sign in
    // 9, the first refinement in 14.
    const Scan plane30 = {yes(0, 0, 0, 9, 1)};
    const Scan plane31 = {refine(14, 1)};
    XR3SubblockData data;
    ASSERT_EQ(0u, data.initSize(2, 0, 1, 1, 1));
    setPlanes(data, Kind::HL, {{30, &plane30, nullptr}, {31, &plane31, nullptr}});
    int32_t value = 0;
    int32_t* target[1] = {&value};
    ASSERT_EQ(0u, data.decode(target, 1, 0, false));
    EXPECT_EQ(-3, value);
}

TEST(HandCodedRawPlane, SignPredictionFromDirectNeighbours) {
    // A 3 by 1 subblock (i0 i1 i2), every plane raw; a sign bit equal to the
    // predicted sign bit (the XOR bit of the sign table) means positive.
    // Plane 30 D0 = 1 1 0 1 0: i0 significant, sign 1 against the prediction
    // 0 of no neighbours: negative; i1 0; i2 significant, sign 0: positive.
    // Plane 31 then: i0 refinement 0; i1 sees a negative left and a positive
    // right neighbour, H = 0, V = 0, predicted 0: 50 = 0 1 0 1 gives +1 and i2
    // refined to 3; 70 = 0 1 1 1 gives -1.
    // Plane 30 C0 = 1 1 0 0 leaves i2 empty; i1 then sees only a negative
    // left neighbour, H = -1, predicted 1: 60 = 0 1 1 0 gives +1, 40 = 0 1 0 0
    // gives -1.
    struct Case {
        std::vector<uint8_t> plane30, plane31;
        std::array<int32_t, 3> want;
    };
    const Case cases[] = {
        {{0xD0}, {0x50}, {-2, 1, 3}},
        {{0xD0}, {0x70}, {-2, -1, 3}},
        {{0xC0}, {0x60}, {-2, 1, 0}},
        {{0xC0}, {0x40}, {-2, -1, 0}},
    };
    for (const Case& c : cases) {
        XR3SubblockData data;
        ASSERT_EQ(0u, data.initSize(0, 0, 1, 3, 1));
        setPlanes(data, Kind::LowLow, {{30, nullptr, &c.plane30}, {31, nullptr, &c.plane31}});
        std::array<int32_t, 3> got{};
        int32_t* target[1] = {got.data()};
        ASSERT_EQ(0u, data.decode(target, 3, 0, false));
        EXPECT_EQ(c.want, got);
    }
}

// ------------------------------------------------------------ the MQ decoder

TEST(StandardEncodedStrings, DecodeToTheirSymbols) {
    // Random decisions in random contexts, coded by the standard's encoder
    // (and, byte for byte the same, by the library's):
    // the strings carry 0xFF bytes with their 7-bit successors and carries,
    // and are cut by the flush so that the decoder reads on into the virtual
    // tail. Each string must give its symbols back.
    std::mt19937 rng(20261123);
    int withFF = 0, endingAtFF = 0, startingWithFF = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        const size_t count = 1 + rng() % 400;
        const unsigned skew = rng() % 8;  // from even odds to long runs of one symbol
        std::vector<unsigned> contexts(count), symbols(count);
        auto cx = freshContexts();
        StandardMQEncoder encoder;
        XR3MQContexts libraryContexts;
        libraryContexts.reset();
        std::vector<uint8_t> libraryBytes;
        QVMQEncoder libraryEncoder(libraryBytes);
        for (size_t i = 0; i < count; ++i) {
            contexts[i] = rng() % 19;
            symbols[i] = (rng() % 64) < 32u >> skew ? 1u : 0u;
            encoder.encode(cx[contexts[i]], symbols[i]);
            libraryEncoder.encode(libraryContexts.state[contexts[i]], symbols[i]);
        }
        const std::vector<uint8_t> bytes = encoder.finish();
        // The library's encoder, which writes the test images, makes the same string.
        libraryEncoder.flush();
        ASSERT_EQ(bytes, libraryBytes) << "trial " << trial;
        for (size_t i = 0; i + 1 < bytes.size(); ++i) withFF += bytes[i] == 0xFF;
        endingAtFF += !bytes.empty() && bytes.back() == 0xFF;
        startingWithFF += !bytes.empty() && bytes.front() == 0xFF;

        XR3MQContexts state;
        state.reset();
        XR3MQDecoder decoder;
        decoder.start(bytes.data(), bytes.size());
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(symbols[i], decoder.decode(state.state[contexts[i]])) << "trial " << trial << " symbol " << i;
    }
    // The strings exercised the byte-stuffing and the start-up after 0xFF.
    EXPECT_GT(withFF, 50);
    EXPECT_GT(startingWithFF, 0);
    (void)endingAtFF;
}
