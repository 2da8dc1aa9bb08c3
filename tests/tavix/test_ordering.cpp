// Pipeline and subband orders of subblocks, checked against a direct sort of
// the row groups by their finishing line.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <tuple>
#include <vector>

#include "tavix_planesetWriter.h"
#include "xr3_planesetOrder.h"

using namespace Orvanetics;

namespace {

struct Place {
    uint32_t subband, row, col;
    bool operator==(const Place&) const = default;
};

struct BandSize {
    uint64_t w, h;
};

// Subband sizes by repeated halving, finest level first in the loop.
std::vector<BandSize> bandSizes(uint64_t width, uint64_t height, uint32_t levels) {
    std::vector<BandSize> sizes(4 * levels + 1);
    uint64_t w = width, h = height;
    for (uint32_t k = levels; k >= 1; --k) {
        sizes[4 * k - 3] = {(w + 1) / 2, (h + 1) / 2};
        sizes[4 * k - 2] = {w / 2, (h + 1) / 2};
        sizes[4 * k - 1] = {(w + 1) / 2, h / 2};
        sizes[4 * k] = {w / 2, h / 2};
        w = (w + 1) / 2;
        h = (h + 1) / 2;
    }
    sizes[0] = {w, h};
    return sizes;
}

// The sequence written out by sorting all complete row groups by
// (finishing line, subband), then appending the incomplete last rows.
std::vector<Place> directPipelineOrder(uint32_t width, uint32_t height, uint32_t n, uint32_t levels) {
    const std::vector<BandSize> sizes = bandSizes(width, height, levels);
    struct Group {
        uint64_t time;
        uint32_t subband, row;
    };
    std::vector<Group> groups;
    for (uint32_t s = 0; s < sizes.size(); ++s) {
        const uint32_t level = s == 0 ? 1 : (s + 3) / 4;
        const uint32_t p = s == 0 ? 0 : (s - 1) % 4 + 1;
        for (uint32_t r = 0; uint64_t(r + 1) * n <= sizes[s].h; ++r) {
            uint64_t y = uint64_t(r + 1) * n - 1;
            if ((p == 3 || p == 4) && uint64_t(r + 1) * n < sizes[s - 2].h) y = uint64_t(r + 1) * n;
            for (uint32_t k = level + 1; k <= levels; ++k) y = 2 * y + 3;
            groups.push_back({y, s, r});
        }
    }
    std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) {
        return std::tie(a.time, a.subband) < std::tie(b.time, b.subband);
    });
    std::vector<Place> order;
    auto columns = [&](uint32_t s) { return uint32_t((sizes[s].w + n - 1) / n); };
    for (const Group& g : groups) {
        for (uint32_t c = 0; c < columns(g.subband); ++c) order.push_back({g.subband, g.row, c});
    }
    for (uint32_t s = 0; s < sizes.size(); ++s) {
        if (sizes[s].h % n == 0) continue;
        const uint32_t lastRow = uint32_t(sizes[s].h / n);
        for (uint32_t c = 0; c < columns(s); ++c) order.push_back({s, lastRow, c});
    }
    return order;
}

OrderingPipe makeOrdering(uint32_t width, uint32_t height, uint32_t n, uint32_t levels) {
    OrderingPipe ordering(uint16_t(n), uint8_t(levels), height, width);
    EXPECT_EQ(ordering.init_tables(), 0u);
    return ordering;
}

Place invert(OrderingPipe& ordering, uint64_t position) {
    Place p{};
    EXPECT_TRUE(ordering.invert_ordering(position, p.subband, p.row, p.col)) << position;
    return p;
}

}  // namespace

TEST(PipelineOrder, WorkedExampleBeginsWithFinestLevelRows) {
    OrderingPipe ordering = makeOrdering(500, 500, 64, 2);
    // Level 2 bands are 250 high: four columns a row, three complete rows.
    std::vector<Place> expected;
    for (uint32_t row = 0; row < 2; ++row)
        for (uint32_t s = 5; s <= 8; ++s)
            for (uint32_t c = 0; c < 4; ++c) expected.push_back({s, row, c});
    for (uint64_t i = 0; i < expected.size(); ++i) EXPECT_EQ(invert(ordering, i), expected[i]) << i;
}

TEST(PipelineOrder, IncompleteRowsFormTheTailInSubbandOrder) {
    OrderingPipe ordering = makeOrdering(500, 500, 64, 2);
    // Complete: level 2, 4 bands x 3 rows x 4 cols; level 1 and subband 0,
    // 5 bands x 1 row x 2 cols. Every band height leaves a remainder.
    const uint64_t tail = 4 * 3 * 4 + 5 * 2;
    uint64_t position = tail;
    for (uint32_t s = 0; s <= 8; ++s) {
        const uint32_t cols = s >= 5 ? 4 : 2;
        const uint32_t lastRow = s >= 5 ? 3 : 1;
        for (uint32_t c = 0; c < cols; ++c, ++position) {
            EXPECT_EQ(ordering.get_ordering(s, lastRow, c), position);
            EXPECT_EQ(invert(ordering, position), (Place{s, lastRow, c}));
        }
    }
    EXPECT_EQ(position, ordering.getNumSubblocks());
    uint32_t s, r, c;
    EXPECT_FALSE(ordering.invert_ordering(position, s, r, c));
}

namespace {

// Checks both directions against the direct sort, then random access away
// from the search cache.
void expectDirectOrder(uint32_t width, uint32_t height, uint32_t n, uint32_t levels, std::mt19937& rng) {
    SCOPED_TRACE(testing::Message() << width << "x" << height << " n " << n << " levels " << levels);
    OrderingPipe ordering = makeOrdering(width, height, n, levels);
    const std::vector<Place> direct = directPipelineOrder(width, height, n, levels);
    ASSERT_EQ(ordering.getNumSubblocks(), direct.size());
    for (uint64_t i = 0; i < direct.size(); ++i) {
        const Place& p = direct[i];
        ASSERT_EQ(ordering.get_ordering(p.subband, p.row, p.col), i);
        ASSERT_EQ(invert(ordering, i), p);
    }
    for (int k = 0; k < 200 && !direct.empty(); ++k) {
        const uint64_t i = rng() % direct.size();
        ASSERT_EQ(invert(ordering, i), direct[i]) << i;
    }
}

}  // namespace

TEST(PipelineOrder, MatchesDirectSortAndInvertsForManyShapes) {
    std::mt19937 rng(1234);
    const uint32_t sizes[] = {16, 24, 32, 64, 100, 128, 256};
    for (uint32_t levels = 0; levels <= 8; ++levels)
        for (int trial = 0; trial < 8; ++trial) {
            const uint32_t n = sizes[rng() % std::size(sizes)];
            expectDirectOrder(1 + rng() % (n * 24), 1 + rng() % (n * 24), n, levels, rng);
        }
    // Tiny subblocks make equal finishing lines within a subband possible.
    for (uint32_t n : {1u, 2u, 3u, 5u})
        for (uint32_t levels : {1u, 2u, 3u}) expectDirectOrder(13 + n, 9 + 2 * n, n, levels, rng);
    // One sample wide and deep: the HL and HH bands have no columns at all.
    expectDirectOrder(1, 5000, 16, 12, rng);
}

TEST(PipelineOrder, HugeImageStaysExact) {
    // The largest image whose subbands fit 65535 subblocks of 256 across,
    // spot-checked both ways.
    OrderingPipe ordering = makeOrdering(33000001, 33000000, 256, 20);
    const uint64_t total = ordering.getNumSubblocks();
    for (uint64_t position : {uint64_t(0), total / 3, total / 2 + 17, total - 70000, total - 1}) {
        const Place p = invert(ordering, position);
        EXPECT_EQ(ordering.get_ordering(p.subband, p.row, p.col), position);
    }
}

TEST(SubblockIter, PipelineIteratorFollowsTheOrder) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(500, 300, 2, 1, 64);
    const std::vector<Place> direct = directPipelineOrder(500, 300, 64, 2);
    EXPECT_EQ(XR3SubblockIter::create(0), nullptr);
    EXPECT_EQ(XR3SubblockIter::create(2), nullptr);
    auto it = XR3SubblockIter::create(XR3_PLANESET_ORDER_PIPELINE);
    ASSERT_EQ(it->init(info), 0u);
    it->begin();
    for (const Place& p : direct) {
        ASSERT_TRUE(it->isValid());
        EXPECT_EQ(it->subband, p.subband);
        EXPECT_EQ(it->subblock, info.getSubblockIndex(p.subband, p.row, p.col));
        EXPECT_EQ(it->component, 0);
        EXPECT_EQ(it->plane, 0);
        *it += 1;
    }
    EXPECT_FALSE(it->isValid());
    EXPECT_EQ(it->subblock, 0xFFFFFFFFu);
    EXPECT_EQ(it->component, 0xFFFF);
    EXPECT_EQ(it->plane, 0xFF);
    // Jumps land where single steps do.
    it->begin();
    *it += 37;
    EXPECT_EQ(it->subband, direct[37].subband);
    *it += uint64_t(1) << 60;
    EXPECT_FALSE(it->isValid());
}

TEST(SubblockIter, SubbandIteratorWalksEachSubbandByIndex) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(1, 200, 3, 1, 16);  // HL and HH bands are empty
    auto it = XR3SubblockIter::create(XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE);
    ASSERT_EQ(it->init(info), 0u);
    it->begin();
    uint64_t count = 0;
    for (uint32_t s = 0; s < info.numSubbands; ++s) {
        const uint32_t blocks = uint32_t(info.subbands[s].rows) * info.subbands[s].cols;
        for (uint32_t b = 0; b < blocks; ++b, ++count) {
            ASSERT_TRUE(it->isValid());
            EXPECT_EQ(it->subband, s);
            EXPECT_EQ(it->subblock, b);
            *it += 1;
        }
    }
    EXPECT_EQ(count, info.numSubblocks);
    EXPECT_FALSE(it->isValid());
    it->begin();
    *it += count - 1;
    EXPECT_EQ(it->subband, 11);  // subband 12 (HH) has no columns
    *it += 1;
    EXPECT_FALSE(it->isValid());
}

TEST(PlaneDescIter, WalksBandsAndPlanesOfEachSubblock) {
    XR3ImageInfo info = TavixFixture::makeImageInfo(300, 200, 2, 1, 64);
    info.numBands = 3;
    XR3PlaneDescIter planes;
    EXPECT_FALSE(planes.init(info, 3));
    ASSERT_TRUE(planes.init(info, XR3_PLANESET_ORDER_PIPELINE));
    const std::vector<Place> direct = directPipelineOrder(300, 200, 64, 2);
    planes.begin();
    for (const Place& p : direct) {
        for (uint16_t band = 0; band < 3; ++band) {
            for (uint8_t plane = 0; plane < 32; ++plane) {
                ASSERT_TRUE(planes.isValid());
                EXPECT_EQ(*planes, XR3PlaneDesc(uint8_t(p.subband), info.getSubblockIndex(p.subband, p.row, p.col),
                                                band, plane));
                ++planes;
            }
        }
    }
    EXPECT_FALSE(planes.isValid());
    EXPECT_TRUE(planes.getDesc().isInvalidated());
    // Jumps land where single steps do, and a run far beyond the end leaves it invalid.
    for (uint64_t jump : {uint64_t(1), uint64_t(37), uint64_t(3 * 32 + 5), uint64_t(5000)}) {
        XR3PlaneDescIter stepper, jumper;
        ASSERT_TRUE(stepper.init(info, XR3_PLANESET_ORDER_PIPELINE));
        ASSERT_TRUE(jumper.init(info, XR3_PLANESET_ORDER_PIPELINE));
        stepper.begin();
        jumper.begin();
        jumper += jump;
        for (uint64_t i = 0; i < jump; ++i) ++stepper;
        EXPECT_EQ(*stepper, *jumper) << jump;
    }
    planes.begin();
    planes += uint64_t(1) << 62;
    EXPECT_FALSE(planes.isValid());
}
