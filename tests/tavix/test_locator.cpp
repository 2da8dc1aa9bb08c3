// The subblocks a scene needs, checked against a brute-force dependency walk
// of the 5/3 synthesis, and the projections between scales.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "tavix_planesetWriter.h"
#include "xr3_subblockLocator.h"

using namespace Orvanetics;

namespace {

// Positions of the interleaved input (low at even, high at odd) that output
// sample j of a synthesis of length n reads, following the lifting steps
//   x[2i]   = X[2i]   - round4(X[2i-1] + X[2i+1])
//   x[2i+1] = X[2i+1] + round2(x[2i] + x[2i+2])
// with the sequence mirrored about its first and last sample.
int mirror(int j, int n) {
    if (j < 0) return -j;
    if (j > n - 1) return 2 * (n - 1) - j;
    return j;
}

void evenDependencies(int j, int n, std::vector<bool>& inputs) {
    inputs[j] = true;
    if (n > 1) {
        inputs[mirror(j - 1, n)] = true;
        inputs[mirror(j + 1, n)] = true;
    }
}

void outputDependencies(int j, int n, std::vector<bool>& inputs) {
    if (j % 2 == 0) {
        evenDependencies(j, n, inputs);
        return;
    }
    inputs[j] = true;
    evenDependencies(j - 1, n, inputs);
    evenDependencies(mirror(j + 1, n), n, inputs);
}

struct AxisNeeds {
    std::vector<bool> low, high;
};

// Low and high band samples needed for the wanted outputs of one axis.
AxisNeeds axisNeeds(const std::vector<bool>& wanted) {
    const int n = int(wanted.size());
    std::vector<bool> inputs(n, false);
    for (int j = 0; j < n; ++j)
        if (wanted[j]) outputDependencies(j, n, inputs);
    AxisNeeds needs{std::vector<bool>((n + 1) / 2, false), std::vector<bool>(n / 2, false)};
    for (int j = 0; j < n; ++j) {
        if (!inputs[j]) continue;
        if (j % 2 == 0)
            needs.low[j / 2] = true;
        else
            needs.high[j / 2] = true;
    }
    return needs;
}

std::vector<bool> span(int size, int first, int last) {
    std::vector<bool> v(size, false);
    for (int i = first; i <= last; ++i) v[i] = true;
    return v;
}

// Subblocks of a band whose columns meet `xs` and rows meet `ys`.
void addTouched(const XR3ImageInfo& info, uint32_t subband, const std::vector<bool>& xs,
                const std::vector<bool>& ys, std::set<std::pair<uint32_t, uint32_t>>& out) {
    const uint32_t n = info.subblockSize;
    const XR3SubbandDims& dims = info.subbands[subband];
    ASSERT_EQ(xs.size(), dims.width);
    ASSERT_EQ(ys.size(), dims.height);
    for (uint32_t r = 0; r < dims.rows; ++r) {
        bool rowHit = false;
        for (uint32_t y = r * n; y < std::min<uint32_t>((r + 1) * n, dims.height); ++y) rowHit = rowHit || ys[y];
        if (!rowHit) continue;
        for (uint32_t c = 0; c < dims.cols; ++c) {
            bool hit = false;
            for (uint32_t x = c * n; x < std::min<uint32_t>((c + 1) * n, dims.width); ++x) hit = hit || xs[x];
            if (hit) out.insert({subband, info.getSubblockIndex(subband, r, c)});
        }
    }
}

// The rows and columns of each subband that the synthesis of `rect` at
// `scale` reads; both empty for a subband it does not read.
struct BandNeeds {
    std::vector<bool> xs, ys;
};

std::vector<BandNeeds> bruteForceNeeds(const XR3ImageInfo& info, const QVIGeomRect& rect, uint32_t scale) {
    const uint32_t levels = info.numLevels;
    std::vector<uint32_t> widths{info.width}, heights{info.height};
    for (uint32_t d = 0; d < levels; ++d) {
        widths.push_back((widths.back() + 1) / 2);
        heights.push_back((heights.back() + 1) / 2);
    }
    std::vector<BandNeeds> needs(info.numSubbands);
    std::vector<bool> xs = span(int(widths[scale]), rect.x0, rect.x1);
    std::vector<bool> ys = span(int(heights[scale]), rect.y0, rect.y1);
    // Output at a reduced scale is the low-low sum of a level: it reads that
    // level's overflow band directly.
    if (scale >= 1) needs[4 * (levels - scale + 1) - 3] = {xs, ys};
    for (uint32_t d = scale; d < levels; ++d) {
        const uint32_t k = levels - d;
        const AxisNeeds nx = axisNeeds(xs), ny = axisNeeds(ys);
        needs[4 * k - 2] = {nx.high, ny.low};
        needs[4 * k - 1] = {nx.low, ny.high};
        needs[4 * k] = {nx.high, ny.high};
        needs[4 * k - 3] = {nx.low, ny.low};
        xs = nx.low;
        ys = ny.low;
    }
    needs[0] = {xs, ys};
    return needs;
}

// Every subblock whose coefficients the synthesis of `rect` at `scale` reads.
std::set<std::pair<uint32_t, uint32_t>> bruteForceSupport(const XR3ImageInfo& info, const QVIGeomRect& rect,
                                                          uint32_t scale) {
    std::set<std::pair<uint32_t, uint32_t>> touched;
    const std::vector<BandNeeds> needs = bruteForceNeeds(info, rect, scale);
    for (uint32_t s = 0; s < needs.size(); ++s)
        if (!needs[s].xs.empty() || !needs[s].ys.empty()) addTouched(info, s, needs[s].xs, needs[s].ys, touched);
    return touched;
}

std::set<std::pair<uint32_t, uint32_t>> locatorSupport(const XR3ImageInfo& info,
                                                       const XR3SubblockRectLocator& loc) {
    std::set<std::pair<uint32_t, uint32_t>> selected;
    for (uint32_t s = 0; s < info.numSubbands; ++s) {
        const uint32_t blocks = uint32_t(info.subbands[s].rows) * info.subbands[s].cols;
        for (uint32_t b = 0; b < blocks; ++b)
            if (loc.subblockSupportsScene(s, b)) selected.insert({s, b});
    }
    return selected;
}

}  // namespace

TEST(Locator, SupportMatchesBruteForceDependencies) {
    std::mt19937 rng(77);
    for (int trial = 0; trial < 300; ++trial) {
        const uint32_t n = 1u << (2 + rng() % 4);  // 4 to 32
        const uint32_t levels = rng() % 6;
        const uint32_t width = 1 + rng() % 300, height = 1 + rng() % 300;
        const XR3ImageInfo info = TavixFixture::makeImageInfo(width, height, levels, 1, n);
        const uint32_t scale = rng() % (levels + 1);
        uint32_t w = width, h = height;
        for (uint32_t d = 0; d < scale; ++d) w = (w + 1) / 2, h = (h + 1) / 2;
        const int32_t x0 = int32_t(rng() % w), y0 = int32_t(rng() % h);
        const int32_t x1 = x0 + int32_t(rng() % (w - x0)), y1 = y0 + int32_t(rng() % (h - y0));
        const QVIGeomRect rect(x0, y0, x1, y1);
        SCOPED_TRACE(testing::Message()
                     << width << "x" << height << " n " << n << " levels " << levels << " scale " << scale
                     << " rect " << x0 << "," << y0 << "," << x1 << "," << y1);
        XR3SubblockRectLocator locator(info);
        ASSERT_EQ(locator.setScene(rect, scale, levels), 0u);
        ASSERT_EQ(locatorSupport(info, locator), bruteForceSupport(info, rect, scale));
    }
}

TEST(Locator, LevelSupportAtTheEdgesAndSubbandDirections) {
    int64_t first, last;
    // Touching the right edge of an even size: the high band stops at size - 2.
    XR3SubblockLocator::highBandSupport(6, 9, 10, first, last);
    EXPECT_EQ((std::pair<int64_t, int64_t>(2, 4)), std::pair(first, last));
    XR3SubblockLocator::lowBandSupport(6, 9, 10, first, last);
    EXPECT_EQ((std::pair<int64_t, int64_t>(3, 4)), std::pair(first, last));
    // An odd last output reaches the next low and high samples.
    XR3SubblockLocator::lowBandSupport(0, 3, 20, first, last);
    EXPECT_EQ(last, 2);
    XR3SubblockLocator::highBandSupport(0, 3, 20, first, last);
    EXPECT_EQ((std::pair<int64_t, int64_t>(0, 2)), std::pair(first, last));

    // Subband, its level of three and whether it is high across and down.
    const std::tuple<uint32_t, uint32_t, bool, bool> rows[] = {
        {0, 3, false, false}, {1, 3, false, false}, {2, 3, true, false}, {7, 2, false, true}, {12, 1, true, true}};
    for (const auto& [subband, level, highX, highY] : rows) {
        bool hx = !highX, hy = !highY;
        EXPECT_EQ(level, XR3SubblockLocator::subbandLevel(subband, 3, hx, hy)) << subband;
        EXPECT_EQ(highX, hx) << subband;
        EXPECT_EQ(highY, hy) << subband;
    }
}

TEST(Locator, SubbandUseByScale) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(256, 256, 3, 1, 32);
    XR3SubblockRectLocator locator(info);
    // Full resolution uses everything.
    ASSERT_EQ(locator.setScene(QVIGeomRect(0, 0, 255, 255), 0, 3), 0u);
    for (uint32_t s = 0; s < info.numSubbands; ++s) EXPECT_TRUE(locator.isSubbandUsedToDecode(s)) << s;
    // Half resolution drops the finest detail bands but keeps its overflow band.
    ASSERT_EQ(locator.setScene(QVIGeomRect(0, 0, 127, 127), 1, 3), 0u);
    EXPECT_TRUE(locator.isSubbandUsedToDecode(9));
    for (uint32_t s = 10; s <= 12; ++s) EXPECT_FALSE(locator.isSubbandUsedToDecode(s));
    EXPECT_TRUE(locator.isSubbandUsedToDecode(8));
    // The coarsest scale reads subbands 0 and 1 only.
    ASSERT_EQ(locator.setScene(QVIGeomRect(0, 0, 31, 31), 3, 3), 0u);
    for (uint32_t s = 0; s < info.numSubbands; ++s) EXPECT_EQ(locator.isSubbandUsedToDecode(s), s <= 1) << s;
    // An end scale below the levels stops the use there.
    ASSERT_EQ(locator.setScene(QVIGeomRect(0, 0, 255, 255), 0, 1), 0u);
    for (uint32_t s = 0; s < info.numSubbands; ++s) EXPECT_EQ(locator.isSubbandUsedToDecode(s), s >= 10) << s;
}

TEST(Locator, SetSceneRefusals) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(100, 80, 2, 1, 16);
    XR3SubblockRectLocator locator(info);
    EXPECT_EQ(locator.setScene(QVIGeomRect(-1, 0, 10, 10), 0, 2), 2009u);
    EXPECT_EQ(locator.setScene(QVIGeomRect(0, 0, 100, 10), 0, 2), 2009u);
    EXPECT_EQ(locator.setScene(QVIGeomRect(0, 0, 49, 39), 1, 2), 0u);
    EXPECT_EQ(locator.setScene(QVIGeomRect(0, 0, 50, 39), 1, 2), 2009u);
    EXPECT_EQ(locator.setScene(QVIGeomRect(0, 0, 5, 5), 3, 3), 2009u);
    EXPECT_EQ(locator.setScene(QVIGeomRect(0, 0, 5, 5), 0, 3), 2009u);
}

TEST(Locator, CroppedImageMovesTheScene) {
    XR3ImageInfo info = TavixFixture::makeImageInfo(200, 200, 3, 1, 16);
    info.setCropRect(QVIGeomRect(40, 60, 139, 119));
    info.updateCroppedOrScaled();
    ASSERT_TRUE(info.isCroppedOrScaled);
    XR3SubblockRectLocator locator(info);
    // Virtual (0, 0) is full-image (40, 60); the virtual image is 100 by 60.
    ASSERT_EQ(locator.setScene(QVIGeomRect(0, 0, 9, 9), 0, 3), 0u);
    EXPECT_EQ(locator.getScene(), QVIGeomRect(40, 60, 49, 69));
    EXPECT_EQ(locator.setScene(QVIGeomRect(0, 0, 100, 9), 0, 3), 2009u);
    // At scale 1 the virtual image starts at (20, 30).
    ASSERT_EQ(locator.setScene(QVIGeomRect(1, 1, 2, 2), 1, 3), 0u);
    EXPECT_EQ(locator.getScene(), QVIGeomRect(21, 31, 22, 32));
    const auto expected = bruteForceSupport(info, QVIGeomRect(21, 31, 22, 32), 1);
    EXPECT_EQ(locatorSupport(info, locator), expected);
}

TEST(Locator, PartialSupport) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(64, 64, 0, 1, 8);
    XR3SubblockRectLocator locator(info);
    ASSERT_EQ(locator.setScene(QVIGeomRect(8, 8, 20, 15), 0, 0), 0u);
    EXPECT_TRUE(locator.subblockSupportsScene(0, info.getSubblockIndex(0, 1, 1)));
    EXPECT_FALSE(locator.subblockPartiallySupportsScene(0, info.getSubblockIndex(0, 1, 1)));
    EXPECT_TRUE(locator.subblockPartiallySupportsScene(0, info.getSubblockIndex(0, 1, 2)));
    EXPECT_FALSE(locator.subblockSupportsScene(0, info.getSubblockIndex(0, 2, 1)));
    EXPECT_TRUE(locator.subblockSupportsScene(XR3PlaneDesc(0, info.getSubblockIndex(0, 1, 2), 0, 5)));
}

TEST(Projectors, RectsAndSizes) {
    using namespace XR3Projectors;
    QVIGeomRect out;
    ASSERT_EQ(projectRect(QVIGeomRect(5, 7, 14, 8), 0, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(5, 7, 14, 8));
    ASSERT_EQ(projectRect(QVIGeomRect(5, 7, 14, 8), 1, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(2, 3, 6, 3));  // size 10 x 2 -> 5 x 1
    ASSERT_EQ(projectRect(QVIGeomRect(5, 7, 14, 8), -2, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(20, 28, 59, 35));
    EXPECT_EQ(projectRect(QVIGeomRect(0, 0, 1 << 29, 3), -3, out), 2020u);

    uint32_t dim = 0;
    ASSERT_EQ(projectImageDims(5, 1, dim), 0u);
    EXPECT_EQ(dim, 3u);
    ASSERT_EQ(projectImageDims(5, -1, dim), 0u);
    EXPECT_EQ(dim, 10u);
    EXPECT_EQ(projectImageDims(0x40000000, -2, dim), 2020u);

    QVIGeomRect r(-3, 2, 40, 40);
    ASSERT_EQ(clipAtScale(50, 30, r, 1), 0u);
    EXPECT_EQ(r, QVIGeomRect(0, 2, 24, 14));
    EXPECT_TRUE(isValidSupport(50, 30, QVIGeomRect(0, 0, 24, 14), 1));
    EXPECT_FALSE(isValidSupport(50, 30, QVIGeomRect(0, 0, 25, 14), 1));
    QVIGeomRect negative(-4, -1, -2, 5);
    clampToZero(negative);
    EXPECT_EQ(negative, QVIGeomRect(0, 0, 0, 5));
}

TEST(Projectors, SupportForDecode) {
    using namespace XR3Projectors;
    XR3ImageInfo info = TavixFixture::makeImageInfo(100, 60, 3, 1, 16);
    QVIGeomRect out;
    ASSERT_EQ(projectSupportForDecode(QVIGeomRect(10, 10, 29, 19), 0, info, false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(10, 10, 29, 19));
    EXPECT_EQ(projectSupportForDecode(QVIGeomRect(90, 10, 109, 19), 0, info, false, out), 2009u);
    ASSERT_EQ(projectSupportForDecode(QVIGeomRect(90, 10, 109, 19), 0, info, true, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(90, 10, 99, 19));
    ASSERT_EQ(projectSupportForDecode(QVIGeomRect(0, 0, 99, 59), 2, info, false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(0, 0, 24, 14));

    // A cropped image is measured by its virtual rectangle.
    info.setCropRect(QVIGeomRect(20, 10, 59, 49));
    info.updateCroppedOrScaled();
    EXPECT_EQ(projectSupportForDecode(QVIGeomRect(0, 0, 40, 10), 0, info, false, out), 2009u);
    ASSERT_EQ(projectSupportForDecode(QVIGeomRect(0, 0, 39, 39), 0, info, false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(0, 0, 39, 39));
}

TEST(Locator, EditingOperationsFollowTheReadCoefficients) {
    std::mt19937 rng(91);
    for (int trial = 0; trial < 40; ++trial) {
        const uint32_t n = 1u << (2 + rng() % 3);  // 4 to 16
        const uint32_t levels = rng() % 4;
        const uint32_t width = 1 + rng() % 90, height = 1 + rng() % 90;
        const XR3ImageInfo info = TavixFixture::makeImageInfo(width, height, levels, 1, n);
        const uint32_t scale = rng() % (levels + 1);
        uint32_t w = width, h = height;
        for (uint32_t d = 0; d < scale; ++d) w = (w + 1) / 2, h = (h + 1) / 2;
        const int32_t x0 = int32_t(rng() % w), y0 = int32_t(rng() % h);
        const QVIGeomRect rect(x0, y0, x0 + int32_t(rng() % (w - x0)), y0 + int32_t(rng() % (h - y0)));
        SCOPED_TRACE(testing::Message() << width << "x" << height << " n " << n << " levels " << levels << " scale "
                                        << scale);
        XR3SubblockRectLocator locator(info);
        ASSERT_EQ(locator.setScene(rect, scale, levels), 0u);
        const std::vector<BandNeeds> needs = bruteForceNeeds(info, rect, scale);
        for (uint32_t s = 0; s < info.numSubbands; ++s) {
            const uint32_t blocks = uint32_t(info.subbands[s].rows) * info.subbands[s].cols;
            for (uint32_t b = 0; b < blocks; ++b) {
                uint32_t row, col, bw, bh;
                info.getSubblockInfo(s, b, row, col, bw, bh);
                // Two bands of distinct values; the second buffer is their negation.
                std::vector<int32_t> band0(bw * bh), band1(bw * bh), other0(bw * bh), other1(bw * bh);
                for (uint32_t i = 0; i < bw * bh; ++i) {
                    band0[i] = int32_t(i + 1);
                    band1[i] = int32_t(1000 + i);
                    other0[i] = -band0[i];
                    other1[i] = -band1[i];
                }
                int32_t* coefs[] = {band0.data(), band1.data()};
                const int32_t* source[] = {other0.data(), other1.data()};
                std::vector<int32_t> zeroed0 = band0, zeroed1 = band1;
                int32_t* zeroed[] = {zeroed0.data(), zeroed1.data()};
                const XR3PlaneDesc desc(uint8_t(s), b, 0, 0);
                locator.subblockZeroCoef(desc, zeroed, 2);
                locator.subblockMergeCoef(desc, coefs, source, 2);
                uint32_t read = 0;
                for (uint32_t y = 0; y < bh; ++y)
                    for (uint32_t x = 0; x < bw; ++x) {
                        const uint32_t i = y * bw + x;
                        const bool isRead = !needs[s].xs.empty() && needs[s].xs[col * n + x] && needs[s].ys[row * n + y];
                        read += isRead;
                        ASSERT_EQ(zeroed0[i], isRead ? 0 : int32_t(i + 1)) << s << " " << b << " " << x << "," << y;
                        ASSERT_EQ(zeroed1[i], isRead ? 0 : int32_t(1000 + i));
                        ASSERT_EQ(band0[i], isRead ? -int32_t(i + 1) : int32_t(i + 1));
                        ASSERT_EQ(band1[i], isRead ? -int32_t(1000 + i) : int32_t(1000 + i));
                    }
                EXPECT_DOUBLE_EQ(locator.subblockLocalWeight(desc), double(read) / (bw * bh));
            }
        }
    }
}
