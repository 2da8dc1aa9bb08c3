// The test-side forward 5/3 transform: rounding, hand-computed lifting
// steps, exact inversion for many sizes and level counts, the subband
// layout of the header, the streaming form, and reduced-resolution output.
#include <gtest/gtest.h>

#include <random>

#include "tavix_forwardTransform.h"
#include "xr3_imageInfo.h"

namespace {

using namespace TavixFixture;

// s / d rounded to nearest, ties to even, from a floor division.
int64_t nearestTiesToEven(int64_t s, int64_t d) {
    int64_t q = s / d;
    if (s % d != 0 && s < 0) --q;
    const int64_t twiceRest = 2 * (s - q * d);
    if (twiceRest > d || (twiceRest == d && (q & 1))) ++q;
    return q;
}

CoefficientPlane randomImage(uint32_t w, uint32_t h, std::mt19937& random, int32_t lo, int32_t hi) {
    CoefficientPlane image(w, h);
    std::uniform_int_distribution<int32_t> value(lo, hi);
    for (int32_t& v : image.values) v = value(random);
    return image;
}

TEST(Lifting, RoundingIsNearestWithTiesToEven) {
    EXPECT_EQ(0, Lifting::round2(-1));
    EXPECT_EQ(2, Lifting::round2(3));
    EXPECT_EQ(0, Lifting::round4(2));
    EXPECT_EQ(2, Lifting::round4(6));
    for (int32_t s = -4099; s <= 4099; ++s) {
        ASSERT_EQ(nearestTiesToEven(s, 2), Lifting::round2(s)) << s;
        ASSERT_EQ(nearestTiesToEven(s, 4), Lifting::round4(s)) << s;
    }
    for (int32_t s : {INT32_MIN, INT32_MIN + 1, INT32_MIN + 2, INT32_MIN + 6, INT32_MAX, INT32_MAX - 1,
                      INT32_MAX - 2, INT32_MAX - 5}) {
        EXPECT_EQ(nearestTiesToEven(s, 2), Lifting::round2(s)) << s;
        EXPECT_EQ(nearestTiesToEven(s, 4), Lifting::round4(s)) << s;
    }
}

TEST(Lifting, MirroredIndices) {
    EXPECT_EQ(1, Lifting::reflect(-1, 5));
    EXPECT_EQ(3, Lifting::reflect(5, 5));
    EXPECT_EQ(2, Lifting::reflect(6, 5));
    EXPECT_EQ(0, Lifting::reflect(8, 5));
    EXPECT_EQ(0, Lifting::reflect(3, 1));
    EXPECT_EQ(0, Lifting::reflect(2, 2));
    EXPECT_EQ(1, Lifting::reflect(-1, 2));
}

// Worked by hand from the synthesis rule: [10, 3, 20, -5] interleaved;
// x0 = 10 - round4(3 + 3) = 8, x2 = 20 - round4(3 - 5) = 20,
// x1 = 3 + round2(8 + 20) = 17, x3 = -5 + round2(20 + 20) = 15.
TEST(Lifting, HandComputedSynthesisAndItsInverse) {
    const int32_t low[] = {10, 20}, high[] = {3, -5};
    int32_t x[4] = {};
    Lifting::synthesise(low, high, 4, x);
    EXPECT_EQ((std::vector<int32_t>{8, 17, 20, 15}), std::vector<int32_t>(x, x + 4));
    int32_t l[2] = {}, h[2] = {};
    Lifting::analyse(x, 4, l, h);
    EXPECT_EQ(10, l[0]);
    EXPECT_EQ(20, l[1]);
    EXPECT_EQ(3, h[0]);
    EXPECT_EQ(-5, h[1]);

    // Odd length: the last even sample sees the high sample before it twice.
    // [7, 2, 9]: x0 = 7 - round4(4) = 6, x2 = 9 - round4(4) = 8, x1 = 2 + round2(14) = 9.
    const int32_t low3[] = {7, 9}, high3[] = {2};
    int32_t x3[3] = {};
    Lifting::synthesise(low3, high3, 3, x3);
    EXPECT_EQ((std::vector<int32_t>{6, 9, 8}), std::vector<int32_t>(x3, x3 + 3));
}

TEST(ForwardTransform, SubbandsAreSizedAsTheHeaderLaysThemOut) {
    std::mt19937 random(11);
    for (auto [w, h] : {std::pair{100u, 70u}, {37u, 129u}, {8u, 9u}, {1000u, 5u}}) {
        const uint32_t levels = Orvanetics::XR3ImageInfo::calcMaxNLev(w, h);
        const WaveletBands bands = forwardTransform(randomImage(w, h, random, 0, 255), levels);
        std::vector<Orvanetics::XR3SubbandDims> dims;
        uint64_t numSubblocks = 0;
        ASSERT_EQ(0u, Orvanetics::XR3ImageInfo::computeSubbands(w, h, levels, 16, dims, numSubblocks));
        ASSERT_EQ(dims.size(), bands.subbands.size());
        for (size_t s = 0; s < dims.size(); ++s) {
            EXPECT_EQ(dims[s].width, bands.subbands[s].width) << w << "x" << h << " subband " << s;
            EXPECT_EQ(dims[s].height, bands.subbands[s].height) << w << "x" << h << " subband " << s;
        }
    }
}

TEST(ForwardTransform, InverseGivesTheImageBackForEverySizeAndLevelCount) {
    std::mt19937 random(5);
    const uint32_t sizes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 31, 33, 64, 65, 100, 129, 257, 300};
    for (uint32_t w : sizes) {
        for (uint32_t h : sizes) {
            if (w * h > 40000 && w != h) continue;  // keep the big ones to squares
            const uint32_t maxLevels = std::min(8u, Orvanetics::XR3ImageInfo::calcMaxNLev(w, h));
            for (uint32_t levels = 0; levels <= maxLevels; ++levels) {
                const CoefficientPlane image = randomImage(w, h, random, -300, 300);
                const CoefficientPlane back = inverseTransform(forwardTransform(image, levels));
                ASSERT_EQ(image, back) << w << "x" << h << ", " << levels << " levels";
            }
        }
    }
}

TEST(ForwardTransform, FullRangeValuesWrapBothWays) {
    std::mt19937 random(9);
    const CoefficientPlane image = randomImage(45, 38, random, INT32_MIN, INT32_MAX);
    EXPECT_EQ(image, inverseTransform(forwardTransform(image, 3)));
}

TEST(ForwardTransform, FlatImageHasNoDetailAndKeepsItsValue) {
    CoefficientPlane image(50, 33);
    std::fill(image.values.begin(), image.values.end(), 77);
    const WaveletBands bands = forwardTransform(image, 3);
    for (uint32_t s = 1; s < bands.subbands.size(); ++s)
        for (int32_t v : bands.subbands[s].values) ASSERT_EQ(0, v) << "subband " << s;
    for (int32_t v : bands.subbands[0].values) ASSERT_EQ(77, v);
}

TEST(ForwardTransform, OverflowBandsTakeWhatIsBeyondTheLimit) {
    std::mt19937 random(3);
    const CoefficientPlane image = randomImage(90, 61, random, 0, 255);
    const OverflowRule rule{150};
    const WaveletBands bands = forwardTransform(image, 3, rule);
    EXPECT_EQ(image, inverseTransform(bands));
    bool anyOverflow = false;
    for (uint32_t level = 1; level <= 3; ++level)
        for (int32_t v : bands.subbands[subbandOf(level, 1)].values) anyOverflow |= v != 0;
    EXPECT_TRUE(anyOverflow);
    // What a level passes on to the coarser one stays within the limit.
    for (int32_t v : bands.subbands[0].values) ASSERT_LE(std::abs(v), 150);
}

TEST(ForwardTransform, ReducedDecodesAreTheLowLowBands) {
    std::mt19937 random(21);
    for (auto [w, h] : {std::pair{97u, 64u}, {64u, 97u}, {130u, 131u}}) {
        const CoefficientPlane image = randomImage(w, h, random, 0, 4095);
        for (const OverflowRule rule : {OverflowRule{}, OverflowRule{2000}}) {
            const WaveletBands bands = forwardTransform(image, 4, rule);
            for (uint32_t k = 0; k <= 4; ++k) {
                const CoefficientPlane reduced = inverseTransformToLevel(bands, k);
                const CoefficientPlane expected = lowLowAtReduction(image, k, rule);
                ASSERT_EQ(expected, reduced) << w << "x" << h << " reduction " << k;
                EXPECT_EQ((w + (1u << k) - 1) >> k, reduced.width);
            }
        }
    }
}

// Collects streamed rows into whole subbands.
class CollectingSink : public SubbandRowSink {
public:
    CollectingSink(const WaveletBands& shape, uint16_t numBands) : numBands(numBands) {
        for (const CoefficientPlane& s : shape.subbands) bands.emplace_back(numBands, CoefficientPlane(s.width, s.height));
        nextRow.assign(shape.subbands.size(), 0);
    }
    void takeRow(uint32_t subband, uint32_t row, uint32_t width, const int32_t* values, size_t bandPitch) override {
        ASSERT_EQ(nextRow[subband]++, row) << "subband " << subband;
        for (uint16_t b = 0; b < numBands; ++b) {
            CoefficientPlane& plane = bands[subband][b];
            ASSERT_EQ(plane.width, width);
            ASSERT_LT(row, plane.height);
            std::copy(values + b * bandPitch, values + b * bandPitch + width, plane.row(row));
        }
    }
    uint16_t numBands;
    std::vector<std::vector<CoefficientPlane>> bands;  // [subband][band]
    std::vector<uint32_t> nextRow;
};

TEST(StreamingForwardTransform, GivesTheWholeArrayCoefficientsRowByRow) {
    std::mt19937 random(17);
    const uint16_t numBands = 3;
    for (auto [w, h] : {std::pair{1u, 1u}, {2u, 2u}, {3u, 5u}, {9u, 4u}, {64u, 64u}, {101u, 77u}, {40u, 203u}}) {
        const uint32_t maxLevels = std::min(6u, Orvanetics::XR3ImageInfo::calcMaxNLev(w, h));
        for (uint32_t levels = 0; levels <= maxLevels; ++levels) {
            for (const OverflowRule rule : {OverflowRule{}, OverflowRule{200}}) {
                std::vector<CoefficientPlane> images;
                for (uint16_t b = 0; b < numBands; ++b) images.push_back(randomImage(w, h, random, 0, 255));
                const WaveletBands shape = forwardTransform(images[0], levels, rule);
                CollectingSink sink(shape, numBands);
                StreamingForwardTransform stream(w, h, numBands, levels, rule, sink);
                std::vector<int32_t> row(size_t(w) * numBands);
                for (uint32_t y = 0; y < h; ++y) {
                    for (uint16_t b = 0; b < numBands; ++b)
                        std::copy(images[b].row(y), images[b].row(y) + w, row.begin() + b * w);
                    stream.pushRow(row.data(), w);
                }
                for (uint16_t b = 0; b < numBands; ++b) {
                    const WaveletBands expected = forwardTransform(images[b], levels, rule);
                    for (size_t s = 0; s < expected.subbands.size(); ++s) {
                        ASSERT_EQ(expected.subbands[s].height, sink.nextRow[s]) << "subband " << s;
                        ASSERT_EQ(expected.subbands[s], sink.bands[s][b])
                            << w << "x" << h << " levels " << levels << " subband " << s << " band " << b;
                    }
                }
            }
        }
    }
}

}  // namespace
