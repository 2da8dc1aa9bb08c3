// The reversible colour transform on coefficients: exactness over the whole
// 32-bit range, the all-zero rule, the scaled products at their extremes,
// values checked against a plain floor-division model, and when an image
// gets a transformer at all.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "xr3_colorTransformer.h"
#include "xr3_planeStore.h"

using namespace Orvanetics;
using Transformer = XR3ColorTransformSupport::Transformer;

namespace {

using Triple = std::array<int32_t, 3>;

// floor(n / d) for d > 0 on 128-bit integers, by remainder correction.
__int128 floorDiv(__int128 n, __int128 d) {
    __int128 q = n / d;
    if (n % d != 0 && n < 0) --q;
    return q;
}

int32_t wrap(__int128 v) { return int32_t(uint32_t(uint64_t(v))); }

int64_t scaled(int64_t x, int64_t k) { return int64_t(floorDiv(__int128(x) * k + 8192, 16384)); }

// The decoding steps on values small enough that nothing wraps.
Triple modelYiq2Rgb(const Triple& in) {
    const int64_t a = in[0], b = in[1], c = in[2];
    const int64_t t = c + a - scaled(b, 19637);
    const int64_t u = a - t;
    const int64_t y = b - scaled(u, 19309);
    const int64_t z = u - scaled(y, -22640);
    const int64_t g = t - int64_t(floorDiv(__int128(z) * -11469 + __int128(y) * 24279 + 8192, 16384));
    return {int32_t(z + g), int32_t(g), int32_t(y + g)};
}

Triple applyYiq2Rgb(Triple v) {
    Transformer::yiq2rgb(v[0], v[1], v[2]);
    return v;
}

Triple applyRgb2Yiq(Triple v) {
    Transformer::rgb2yiq(v[0], v[1], v[2]);
    return v;
}

Triple randomTriple(std::mt19937& rng, uint32_t mask) {
    const auto value = [&]() { return int32_t(rng() & mask) - int32_t(rng() & mask); };
    return {value(), value(), value()};
}

}  // namespace

TEST(ColorTransformer, ScaledProductIsExactAtTheExtremes) {
    const int32_t xs[] = {INT32_MIN, INT32_MIN + 1, -16385, -8193, -8192, -1, 0, 1, 8191, 8192, INT32_MAX};
    const int32_t ks[] = {19637, 19309, -22640, -11469, 24279, 1, -1, 16384};
    for (int32_t x : xs)
        for (int32_t k : ks)
            EXPECT_EQ(wrap(floorDiv(__int128(x) * k + 8192, 16384)), Transformer::scaleQ14(x, k))
                << x << " * " << k;
}

TEST(ColorTransformer, InversesEachOtherOverTheWholeRange) {
    std::mt19937 rng(7);
    for (uint32_t mask : {0xFFu, 0xFFFFu, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        for (int i = 0; i < 20000; ++i) {
            Triple v = mask == 0xFFFFFFFFu ? Triple{int32_t(rng()), int32_t(rng()), int32_t(rng())}
                                           : randomTriple(rng, mask);
            ASSERT_EQ(v, applyRgb2Yiq(applyYiq2Rgb(v)));
            ASSERT_EQ(v, applyYiq2Rgb(applyRgb2Yiq(v)));
        }
    }
    for (int32_t e : {INT32_MIN, INT32_MAX, -1, 1}) {
        const Triple v{e, INT32_MIN, INT32_MAX};
        EXPECT_EQ(v, applyRgb2Yiq(applyYiq2Rgb(v)));
    }
}

TEST(ColorTransformer, MatchesTheStepsOnOrdinaryValues) {
    std::mt19937 rng(11);
    for (int i = 0; i < 20000; ++i) {
        const Triple v = randomTriple(rng, 0xFFFFF);
        ASSERT_EQ(modelYiq2Rgb(v), applyYiq2Rgb(v));
    }
    // Worked by hand: a grey sample (first band alone) gives three equal values.
    EXPECT_EQ((Triple{100, 100, 100}), applyYiq2Rgb({100, 0, 0}));
    EXPECT_EQ((Triple{-7, -7, -7}), applyYiq2Rgb({-7, 0, 0}));
}

TEST(ColorTransformer, BlockLeavesAllZeroSamplesAndTransformsTheRest) {
    const uint32_t width = 3, height = 2, stride = 5, offset = 1;
    std::vector<int32_t> bands[3];
    for (auto& band : bands) band.assign(stride * height, 77);  // outside the block stays 77
    const Triple samples[] = {{0, 0, 0}, {5, -3, 2}, {0, 0, 9}, {-1000, 4, 0}, {0, 0, 0}, {123456, -654321, 7}};
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (int b = 0; b < 3; ++b) bands[b][offset + y * stride + x] = samples[y * width + x][b];

    int32_t* coefs[3] = {bands[0].data(), bands[1].data(), bands[2].data()};
    Transformer(Transformer::YIQ2RGB).transform(coefs, stride, offset, width, height);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const Triple& in = samples[y * width + x];
            const Triple expected = in == Triple{0, 0, 0} ? in : modelYiq2Rgb(in);
            for (int b = 0; b < 3; ++b) EXPECT_EQ(expected[b], bands[b][offset + y * stride + x]);
        }
        EXPECT_EQ(77, bands[0][y * stride]);
        EXPECT_EQ(77, bands[2][y * stride + offset + width]);
    }
    Transformer(Transformer::RGB2YIQ).transform(coefs, stride, offset, width, height);
    for (uint32_t i = 0; i < width * height; ++i)
        for (int b = 0; b < 3; ++b)
            EXPECT_EQ(samples[i][b], bands[b][offset + (i / width) * stride + i % width]);
}

TEST(ColorTransformer, CreatedOnlyForTheYiqTransformsWithTheFirstThreeBands) {
    XR3ImageInfo info;
    info.numBands = 4;
    for (int t = 0; t < 256; ++t) {
        info.colorTransform = XR3ColorTransform(t);
        const bool expected = t == 4 || t == 7 || t == 10 || t == 13;
        EXPECT_EQ(expected, XR3ColorTransformSupport::create(info, true, nullptr) != nullptr) << t;
    }
    info.colorTransform = XR3_COLORTRANSFORM_RGB_TO_YIQ;
    EXPECT_EQ(Transformer::YIQ2RGB, XR3ColorTransformSupport::create(info, true, nullptr)->getKind());
    EXPECT_EQ(Transformer::RGB2YIQ, XR3ColorTransformSupport::create(info, false, nullptr)->getKind());

    XR3ComponentSet components(4);
    components.setAll();
    EXPECT_NE(nullptr, XR3ColorTransformSupport::create(info, true, &components));
    components.clear(3);  // a fourth band may be left out
    EXPECT_NE(nullptr, XR3ColorTransformSupport::create(info, true, &components));
    for (uint32_t missing = 0; missing < 3; ++missing) {
        components.setAll();
        components.clear(missing);
        EXPECT_EQ(nullptr, XR3ColorTransformSupport::create(info, true, &components)) << missing;
    }
}
