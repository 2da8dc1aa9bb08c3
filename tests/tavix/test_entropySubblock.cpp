// The subblock coder end to end: round trips of every band kind and size,
// agreement with the literal model decoder, truncated planes and their
// reconstruction offset, and arbitrary plane bytes.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "tavix_entropyReference.h"
#include "tavix_planesetWriter.h"
#include "xr3_imageInfo.h"
#include "xr3_subblockData.h"

using namespace Orvanetics;
namespace Ref = Orvanetics::TavixEntropyReference;

namespace {

using Band = std::vector<int32_t>;

// Coefficient profiles from empty to noise-like, so that planes range from
// very compressible (MQ) to incompressible (raw).
enum class Profile { Zero, Sparse, Laplacian, Noise, Huge };

int32_t randomCoefficient(std::mt19937& rng, Profile profile) {
    const auto sign = [&rng](int32_t v) { return (rng() & 1) ? -v : v; };
    switch (profile) {
    case Profile::Zero: return 0;
    case Profile::Sparse: return rng() % 20 == 0 ? sign(int32_t(rng() % 300)) : 0;
    case Profile::Laplacian: {
        const double u = std::uniform_real_distribution<double>(1e-9, 1.0)(rng);
        return sign(int32_t(-std::log(u) * 12.0));
    }
    case Profile::Noise: return sign(int32_t(rng() % 65536));
    case Profile::Huge: return sign(int32_t(rng() & 0x7FFFFFFF));
    }
    return 0;
}

Band randomBand(std::mt19937& rng, int width, int height, Profile profile) {
    Band band(size_t(width) * size_t(height));
    for (int32_t& v : band)
        v = randomCoefficient(rng, profile);
    return band;
}

std::vector<const int32_t*> pointers(const std::vector<Band>& bands) {
    std::vector<const int32_t*> out;
    for (const Band& b : bands)
        out.push_back(b.data());
    return out;
}

void encodeBands(XR3SubblockData& data, const std::vector<Band>& bands, unsigned skip = 0,
                 const XR3MSELut* lut = nullptr) {
    const std::vector<const int32_t*> source = pointers(bands);
    ASSERT_EQ(data.encode(source.data(), data.width, 0, lut, skip), 0u);
}

// Decodes all bands into separate width by height buffers.
std::vector<Band> decodeBands(const XR3SubblockData& data, bool round) {
    std::vector<Band> out(data.numBands, Band(size_t(data.width) * data.height, 0x5A5A5A5A));
    std::vector<int32_t*> target;
    for (Band& b : out)
        target.push_back(b.data());
    EXPECT_EQ(data.decode(target.data(), data.width, 0, round), 0u);
    return out;
}

// The expected value of `value` when only planes down to magnitude bit
// `lowestBit` survive, rounded as the decoder does at linear index `index`.
int32_t truncated(int32_t value, unsigned lowestBit, size_t index, bool round) {
    const int64_t magnitude = std::abs(int64_t(value));
    int64_t kept = magnitude & ~((int64_t(1) << lowestBit) - 1);
    if (kept != 0 && round && lowestBit > 0) {
        const int64_t half = int64_t(1) << (lowestBit - 1);
        kept += (index % 2 == 1) ? half : half - 1;
    }
    return int32_t(value < 0 ? -kept : kept);
}

struct PlaneCounts {
    int mq = 0, raw = 0, switches = 0;
};

void countPlanes(const XR3SubblockData& data, PlaneCounts& counts) {
    for (unsigned b = 0; b < data.numBands; ++b) {
        bool sawMQ = false;
        for (unsigned p = 0; p < 32; ++p) {
            const XR3PlaneData& plane = data.plane(b, p);
            if (!plane.isPresent())
                continue;
            if (plane.isBypass()) {
                ++counts.raw;
                counts.switches += sawMQ ? 1 : 0;
                sawMQ = false;
            } else {
                ++counts.mq;
                sawMQ = true;
            }
        }
    }
}

struct Size {
    int width, height;
};

const Size kSizes[] = {{1, 1}, {2, 1}, {1, 2}, {64, 64}, {13, 7}, {64, 3}, {3, 64}, {17, 33}, {32, 32}};
const uint8_t kSubbands[] = {0, 1, 2, 3, 4, 8};
const Profile kProfiles[] = {Profile::Sparse, Profile::Laplacian, Profile::Noise, Profile::Huge};

}  // namespace

TEST(XR3SubblockData, RoundTripsEveryBandKindSizeAndProfile) {
    std::mt19937 rng(1);
    PlaneCounts counts;
    for (uint8_t subband : kSubbands) {
        for (const Size& size : kSizes) {
            for (Profile profile : kProfiles) {
                XR3SubblockData data;
                ASSERT_EQ(data.initSize(subband, 0, 2, uint16_t(size.width), uint16_t(size.height)), 0u);
                const std::vector<Band> bands = {randomBand(rng, size.width, size.height, profile),
                                                 randomBand(rng, size.width, size.height, Profile::Laplacian)};
                encodeBands(data, bands);
                countPlanes(data, counts);
                const std::vector<Band> decoded = decodeBands(data, true);
                for (unsigned b = 0; b < 2; ++b) {
                    ASSERT_EQ(decoded[b], bands[b]) << int(subband) << " " << size.width << "x" << size.height;
                    // The literal model reads the encoder's planes the same way.
                    ASSERT_EQ(Ref::decodeBand(data, b, true), bands[b]) << int(subband) << " model";
                }
            }
        }
    }
    // The profiles exercised MQ planes, raw planes and switches between them.
    EXPECT_GT(counts.mq, 100);
    EXPECT_GT(counts.raw, 100);
    EXPECT_GT(counts.switches, 10);
}

TEST(XR3SubblockData, LongRunsOfLoneInsignificantCoefficients) {
    // Nearly empty bands of many planes: context 0 codes long runs of zeros,
    // adapts to its most probable states (Qe down to 1), and the runs end at
    // a significant coefficient, at a neighbour of one, at the row's end or
    // where the interval needs renormalising.
    std::mt19937 rng(21);
    for (unsigned density : {0u, 40u, 300u, 4000u}) {
        for (uint8_t subband : {0, 2, 4}) {
            XR3SubblockData data;
            ASSERT_EQ(data.initSize(subband, 0, 1, 64, 64), 0u);
            Band band(64 * 64, 0);
            for (int32_t& v : band)
                if (density > 0 && rng() % density == 0)
                    v = int32_t(rng() % (1u << 20)) * ((rng() & 1) ? -1 : 1);
            band[4095] = band[4095] == 0 ? 1 << 19 : band[4095];
            encodeBands(data, {band});
            ASSERT_EQ(decodeBands(data, true)[0], band) << density << " " << int(subband);
            ASSERT_EQ(Ref::decodeBand(data, 0, true), band) << density << " " << int(subband);
        }
    }
}

TEST(XR3SubblockData, EncoderSwitchesToRawForGoodOnceMQStopsPaying) {
    std::mt19937 rng(2);
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(4, 0, 1, 64, 64), 0u);
    encodeBands(data, {randomBand(rng, 64, 64, Profile::Noise)});
    bool raw = false;
    for (unsigned p = 0; p < 32; ++p) {
        const XR3PlaneData& plane = data.plane(0, p);
        if (!plane.isPresent())
            continue;
        if (raw) {
            EXPECT_TRUE(plane.isBypass()) << "plane " << p;
        }
        raw = raw || plane.isBypass();
    }
    EXPECT_TRUE(raw);
    // Every plane down to the last one is coded, from the highest set bit on.
    EXPECT_FALSE(data.plane(0, 15).isPresent());
    for (unsigned p = 16; p < 32; ++p)
        EXPECT_TRUE(data.plane(0, p).isPresent()) << p;
}

TEST(XR3SubblockData, AgreesWithModelOnArbitraryPlaneBytes) {
    // Random strings, random runs of present planes, MQ and raw mixed in any
    // order, random coefficient areas: decoding must not fail, and must give
    // what the literal model gives.
    std::mt19937 rng(5);
    for (int trial = 0; trial < 300; ++trial) {
        const int width = 1 + int(rng() % 40), height = 1 + int(rng() % 40);
        XR3SubblockData data;
        ASSERT_EQ(data.initSize(uint8_t(rng() % 9), 0, 1, uint16_t(width), uint16_t(height)), 0u);
        if (rng() % 3 == 0) {
            const int ax0 = int(rng() % width), ay0 = int(rng() % height);
            data.setCoefficientArea(ax0, ax0 + int(rng() % width), ay0, ay0 + int(rng() % height));
        }
        const unsigned first = 1 + rng() % 31, last = first + rng() % (32 - first);
        std::vector<uint8_t> bytes;
        for (unsigned p = first; p <= last; ++p) {
            bytes.resize(rng() % 3 == 0 ? 0 : rng() % 200);
            for (uint8_t& b : bytes)
                b = rng() % 5 == 0 ? 0xFF : uint8_t(rng());
            XR3PlaneData& plane = data.plane(0, p);
            ASSERT_EQ(plane.allocate(uint32_t(bytes.size())), 0u);
            if (!bytes.empty())
                std::memcpy(plane.buffer, bytes.data(), bytes.size());
            plane.markPresent(rng() % 3 == 0);
        }
        const bool round = rng() & 1;
        ASSERT_EQ(decodeBands(data, round)[0], Ref::decodeBand(data, 0, round)) << "trial " << trial;
    }
}

TEST(XR3SubblockData, TruncatedPlanesGetTheReconstructionOffset) {
    std::mt19937 rng(9);
    for (unsigned skip = 1; skip <= 12; ++skip) {
        for (const Size& size : kSizes) {
            XR3SubblockData data;
            ASSERT_EQ(data.initSize(6, 0, 1, uint16_t(size.width), uint16_t(size.height)), 0u);
            const Band original = randomBand(rng, size.width, size.height, Profile::Noise);
            encodeBands(data, {original}, skip);
            for (bool round : {true, false}) {
                const Band decoded = decodeBands(data, round)[0];
                for (size_t i = 0; i < original.size(); ++i)
                    ASSERT_EQ(decoded[i], truncated(original[i], skip, i, round))
                        << "skip " << skip << " index " << i << " value " << original[i];
            }
        }
    }
}

TEST(XR3SubblockData, LastPlaneMissingAddsOneAtOddIndicesOnly) {
    // Magnitudes 6 (110b) lose their last plane: k is 0, so even positions
    // get 0 and odd positions get 1, away from zero.
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(0, 0, 1, 3, 2), 0u);
    encodeBands(data, {{6, 6, -6, -6, 0, 1}}, 1);
    EXPECT_FALSE(data.plane(0, 31).isPresent());
    EXPECT_EQ(decodeBands(data, true)[0], (Band{6, 7, -6, -7, 0, 0}));
    // With plane 31 present nothing is added.
    encodeBands(data, {{6, 6, -6, -6, 0, 1}}, 0);
    EXPECT_EQ(decodeBands(data, true)[0], (Band{6, 6, -6, -6, 0, 1}));
}

TEST(XR3SubblockData, PlaneZeroIsNeverDecodedAndEmptySubblocksGiveZeros) {
    std::mt19937 rng(13);
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(0, 0, 1, 8, 8), 0u);
    const Band original = randomBand(rng, 8, 8, Profile::Laplacian);
    encodeBands(data, {original});
    ASSERT_EQ(data.plane(0, 0).allocate(4), 0u);
    std::memset(data.plane(0, 0).buffer, 0xA7, 4);
    data.plane(0, 0).markPresent(true);
    EXPECT_EQ(decodeBands(data, true)[0], original);

    XR3SubblockData empty;
    ASSERT_EQ(empty.initSize(2, 0, 2, 5, 4), 0u);
    EXPECT_FALSE(empty.hasData());
    for (const Band& band : decodeBands(empty, true)) EXPECT_EQ(band, Band(20, 0));
}

TEST(XR3SubblockData, DecodesIntoItsColumnsOfASharedRowBuffer) {
    // Two subblocks side by side in one buffer with a wider stride; a band
    // with a null pointer is left alone.
    std::mt19937 rng(14);
    const size_t stride = 30;
    std::vector<int32_t> row0(stride * 6, -1), row1(stride * 6, -1);
    int32_t* const target[] = {row0.data(), nullptr};
    int32_t* const target1[] = {nullptr, row1.data()};
    std::vector<Band> left, right;
    for (int side = 0; side < 2; ++side) {
        XR3SubblockData data;
        ASSERT_EQ(data.initSize(1, uint32_t(side), 2, 8, 6), 0u);
        std::vector<Band>& bands = side == 0 ? left : right;
        bands = {randomBand(rng, 8, 6, Profile::Laplacian), randomBand(rng, 8, 6, Profile::Laplacian)};
        encodeBands(data, bands);
        ASSERT_EQ(data.decode(target, stride, size_t(side) * 8 + 1, true), 0u);
        ASSERT_EQ(data.decode(target1, stride, size_t(side) * 8 + 1, true), 0u);
    }
    for (size_t y = 0; y < 6; ++y) {
        for (size_t x = 0; x < stride; ++x) {
            const bool inLeft = x >= 1 && x < 9, inRight = x >= 9 && x < 17;
            const size_t i = y * 8 + (inLeft ? x - 1 : x - 9);
            EXPECT_EQ(row0[y * stride + x], inLeft ? left[0][i] : (inRight ? right[0][i] : -1)) << x << "," << y;
            EXPECT_EQ(row1[y * stride + x], inLeft ? left[1][i] : (inRight ? right[1][i] : -1)) << x << "," << y;
        }
    }
}

TEST(XR3SubblockData, AreaOutsideTheSubblockIsEmpty) {
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(0, 0, 1, 4, 4), 0u);
    data.setCoefficientArea(5, 9, 0, 3);
    EXPECT_EQ(data.x0, 1);
    EXPECT_EQ(data.x1, 0);
    EXPECT_TRUE(data.hasEmptyArea());
    encodeBands(data, {Band(16, 7)});
    EXPECT_FALSE(data.hasData());
    EXPECT_EQ(decodeBands(data, true)[0], Band(16, 0));
    data.setCoefficientArea(-3, 1, -1, 9);
    EXPECT_EQ(data.x0, 0);
    EXPECT_EQ(data.x1, 1);
    EXPECT_EQ(data.y0, 0);
    EXPECT_EQ(data.y1, 3);
}

TEST(XR3SubblockData, EncodeRefusesTheOneUnrepresentableMagnitude) {
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(0, 0, 1, 2, 1), 0u);
    const Band band = {INT32_MIN, 3};
    const int32_t* source[] = {band.data()};
    EXPECT_EQ(data.encode(source, 2, 0, nullptr, 0), 2009u);
    EXPECT_FALSE(data.hasData());
}

TEST(XR3SubblockData, PlanesCarryDistortionValues) {
    // One coefficient of 5 (101b): planes 29, 30 and 31 carry its bits 2, 1
    // and 0. Each plane's gain follows from reconstructing at the middle of
    // what is known: insignificant before plane 29, significant after it.
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(0, 0, 1, 2, 1), 0u);
    data.setCoefficientArea(0, 0, 0, 0);  // half the subblock: values double
    XR3MSELut lut;
    lut.subbandWeight = 3.0f;
    encodeBands(data, {{5, 0}}, 0, &lut);
    const auto gain = [](double t, bool significant) {
        if (!significant)
            return t >= 1 ? t * t - (t - 1.5) * (t - 1.5) : 0.0;
        return (t - 1) * (t - 1) - (t >= 1 ? (t - 1.5) * (t - 1.5) : (t - 0.5) * (t - 0.5));
    };
    // Remainders of 5 below each plane, as the six bits the table is read by.
    const double expected[3] = {gain(40.5 / 32, false) * 16, gain(16.5 / 32, true) * 4, gain(32.5 / 32, true) * 1};
    for (unsigned i = 0; i < 3; ++i) {
        const XR3PlaneData& plane = data.plane(0, 29 + i);
        ASSERT_TRUE(plane.hasValidMSE());
        const float value = float(expected[i] * 2 * 3);
        EXPECT_EQ(plane.mse, uint16_t(std::bit_cast<uint32_t>(value) >> 16)) << 29 + i;
    }
    encodeBands(data, {{5, 0}});
    EXPECT_FALSE(data.plane(0, 29).hasValidMSE());
}

TEST(XR3SubblockData, CopyTakesGeometryAndOptionallyTheBytes) {
    std::mt19937 rng(16);
    XR3SubblockData source;
    ASSERT_EQ(source.initSize(5, 3, 2, 10, 6), 0u);
    source.setCoefficientArea(1, 8, 0, 5);
    const std::vector<Band> bands = {randomBand(rng, 10, 6, Profile::Laplacian),
                                     randomBand(rng, 10, 6, Profile::Laplacian)};
    encodeBands(source, bands);

    XR3SubblockData deep;
    ASSERT_EQ(deep.copy(source, true), 0u);
    EXPECT_EQ(deep.subband, 5);
    EXPECT_EQ(deep.subblock, 3u);
    EXPECT_EQ(deep.x0, 1);
    EXPECT_EQ(deep.x1, 8);
    EXPECT_EQ(decodeBands(deep, true), decodeBands(source, true));
    EXPECT_NE(deep.plane(0, 31).buffer, source.plane(0, 31).buffer);

    XR3SubblockData shallow;
    ASSERT_EQ(shallow.initSize(0, 0, 7, 1, 1), 0u);
    ASSERT_EQ(shallow.copy(source, false), 0u);
    EXPECT_EQ(shallow.numBands, 2);
    EXPECT_EQ(shallow.width, 10);
    EXPECT_FALSE(shallow.hasData());

    source.setInvalid();
    EXPECT_FALSE(source.hasData());
    EXPECT_TRUE(deep.hasData());
}

TEST(XR3SubblockData, InitTakesSubblockSizeFromTheImage) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(300, 200, 2, 3, 64);
    XR3SubblockData data;
    // Subband 8 (HH of level 2) is 150 by 100: the last column is 22 wide,
    // the last row 36 high.
    const uint32_t last = uint32_t(info.subbands[8].rows) * info.subbands[8].cols - 1;
    ASSERT_EQ(data.init(info, 8, last, 3), 0u);
    EXPECT_EQ(data.width, 22);
    EXPECT_EQ(data.height, 36);
    EXPECT_EQ(data.x0, 0);
    EXPECT_EQ(data.x1, 21);
    EXPECT_EQ(data.y1, 35);
    EXPECT_EQ(data.numBands, 3);
    // Again with as many bands: the planes are reused, emptied, for a full subblock.
    ASSERT_EQ(data.init(info, 8, 0, 3), 0u);
    EXPECT_EQ(data.width, 64);
    EXPECT_EQ(data.x1, 63);
    EXPECT_FALSE(data.hasData());
    EXPECT_EQ(data.init(info, 9, 0, 3), 2009u);
    EXPECT_EQ(data.init(info, 8, last + 1, 3), 2009u);
}

TEST(XR3SubblockData, LongArbitraryPlanesDecodeOnlyWhatTheScanNeeds) {
    // Every plane present with 64 KiB of noise: decoding reads at most a few
    // bytes per coefficient and plane, and ends.
    std::mt19937 rng(17);
    XR3SubblockData data;
    ASSERT_EQ(data.initSize(7, 0, 1, 64, 64), 0u);
    for (unsigned p = 1; p < 32; ++p) {
        XR3PlaneData& plane = data.plane(0, p);
        ASSERT_EQ(plane.allocate(65536), 0u);
        for (uint32_t i = 0; i < plane.length; ++i)
            plane.buffer[i] = uint8_t(rng());
        plane.markPresent(p % 4 == 0);
    }
    const Band decoded = decodeBands(data, true)[0];
    EXPECT_EQ(decoded.size(), 4096u);
    EXPECT_NE(decoded, Band(4096, 0));
}
