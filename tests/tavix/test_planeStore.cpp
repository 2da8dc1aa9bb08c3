// Planes written in every layout, order and token width come back exactly,
// through both memory models, in any order and with any band subset.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "planeStore_testSupport.h"

namespace {

using namespace PlaneStoreTest;

struct MatrixCase {
    XR3PlanesetLayout layout;
    XR3PlanesetOrder order;
    bool wide;
    XR3MemoryModel model;
    bool streamBuffers;
};

// Every layout in both orders; token widths, models and stream buffers
// rotate so that each meets every layout.
const MatrixCase kCases[] = {
    {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_ORDER_PIPELINE, false, XR3_MEMORY_MODEL_FULL, false},
    {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE, true,
     XR3_MEMORY_MODEL_PARTIAL, true},
    {XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_ORDER_PIPELINE, true, XR3_MEMORY_MODEL_PARTIAL, false},
    {XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_ORDER_PIPELINE, false, XR3_MEMORY_MODEL_PARTIAL, true},
    {XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE, false,
     XR3_MEMORY_MODEL_FULL, true},
    {XR3_PLANESET_LAYOUT_RASTER_BLOCK, XR3_PLANESET_ORDER_PIPELINE, false, XR3_MEMORY_MODEL_PARTIAL, true},
    {XR3_PLANESET_LAYOUT_RASTER_BLOCK, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE, true,
     XR3_MEMORY_MODEL_FULL, false},
};

// An image with empty subblocks, runs over bands and subblocks, and
// incomplete subblock rows in every subband.
TEST(PlaneStoreMatrix, EveryPlaneComesBackInAnyOrderAndBandSubset) {
    const XR3ImageInfo info = makeImageInfo(75, 53, 2, 3, 8);
    for (const MatrixCase& c : kCases) {
        SCOPED_TRACE(testing::Message() << "layout " << c.layout << " order " << c.order << " wide " << c.wide
                                        << " model " << c.model << " buffers " << c.streamBuffers);
        const PlanesetContent content = PlanesetContent::random(info, 17u + c.layout * 7u + c.order, {});
        PlanesetOptions options;
        options.layout = c.layout;
        options.order = c.order;
        options.wideTokens = c.wide;
        options.hasMSE = c.wide != c.streamBuffers;
        options.subblocksPerBlock = 7;
        // Some files split their runs, so that runs also stand back to back.
        options.maxRun = c.wide ? 0 : 19;
        options.splitRunsAtSubblocks = c.streamBuffers;
        OpenedImage image;
        {
            ScopedEnv buffers("XR3_USE_STREAM_BUFFERS", c.streamBuffers ? "1" : nullptr);
            ScopedEnv model("QV_XR3_MEMORY_MODEL", nullptr);
            ASSERT_EQ(0u, image.open(writeImageFile(info, content, options).bytes, c.model));
        }
        const bool partial = c.model == XR3_MEMORY_MODEL_PARTIAL && c.order == XR3_PLANESET_ORDER_PIPELINE &&
                             c.layout == XR3_PLANESET_LAYOUT_DATA_FIRST;
        EXPECT_EQ(partial ? XR3_MEMORY_MODEL_PARTIAL : XR3_MEMORY_MODEL_FULL, image.source->getMemoryModel());

        auto client = image.client();
        ASSERT_TRUE(client);
        auto planes = makePlanes(info);
        auto subblocks = allSubblocks(info);
        std::mt19937 random(5);
        // Twice over, shuffled: the second pass meets every cached walk position.
        for (int pass = 0; pass < 2; ++pass) {
            std::shuffle(subblocks.begin(), subblocks.end(), random);
            for (auto [subband, subblock] : subblocks) {
                ASSERT_EQ(content.subblockHasData(subband, subblock), client->hasSubblock(subband, subblock));
                ASSERT_EQ(0u, client->getSubblockData(subband, subblock, planes.get(), true));
                expectPlanes(content, info, subband, subblock, planes.get(), client->getComponentSet(),
                             options.hasMSE);
            }
        }
        for (std::vector<uint32_t> bands : {std::vector<uint32_t>{1}, {0, 2}}) {
            XR3ComponentSet& set = client->getComponentSet();
            set.clearAll();
            for (uint32_t band : bands) set.set(band);
            for (auto [subband, subblock] : subblocks) {
                ASSERT_EQ(0u, client->getSubblockData(subband, subblock, planes.get(), false));
                expectPlanes(content, info, subband, subblock, planes.get(), set, options.hasMSE);
            }
        }
        // Range queries agree with the subblocks written; a range running
        // past the subband is clipped to it, an empty one counts nothing.
        for (uint32_t s = 0; s < info.numSubbands; ++s) {
            const uint32_t count = uint32_t(info.subbands[s].rows) * info.subbands[s].cols;
            uint32_t inSubband = 0;
            for (uint32_t b = 0; b < count; ++b) inSubband += content.subblockHasData(s, b) ? 1 : 0;
            EXPECT_EQ(inSubband, client->countSubblocksInRange(s, 0, 0xFFFFFFFFu));
            uint32_t firstSeven = 0;
            for (uint32_t b = 3; b <= std::min(count - 1, 9u); ++b) firstSeven += content.subblockHasData(s, b);
            EXPECT_EQ(firstSeven, client->countSubblocksInRange(s, 3, 9));
            EXPECT_EQ(firstSeven > 0, client->hasSubblocksInRange(s, 3, 9));
        }
        EXPECT_FALSE(client->hasSubblock(info.numSubbands, 0));
        EXPECT_EQ(0u, client->countSubblocksInRange(0, 5, 4));
    }
}

// Two clients of one store read with their own streams, interleaved.
TEST(PlaneStoreClients, ClientsDoNotDisturbEachOther) {
    XR3ImageInfo info = makeImageInfo(64, 64, 1, 2, 8);
    PlanesetContent content = PlanesetContent::random(info, 3, {});
    OpenedImage image;
    ASSERT_EQ(0u, image.open(writeImageFile(info, content, PlanesetOptions()).bytes, XR3_MEMORY_MODEL_PARTIAL));
    auto a = image.client();
    auto b = image.client();
    ASSERT_NE(a->getReader().getStream(), b->getReader().getStream());
    auto planesA = makePlanes(info);
    auto planesB = makePlanes(info);
    auto subblocks = allSubblocks(info);
    for (size_t i = 0; i < subblocks.size(); ++i) {
        auto [sa, ba] = subblocks[i];
        auto [sb, bb] = subblocks[subblocks.size() - 1 - i];
        ASSERT_EQ(0u, a->getSubblockData(sa, ba, planesA.get(), false));
        ASSERT_EQ(0u, b->getSubblockData(sb, bb, planesB.get(), false));
        expectPlanes(content, info, sa, ba, planesA.get(), a->getComponentSet(), false);
        expectPlanes(content, info, sb, bb, planesB.get(), b->getComponentSet(), false);
    }
}

}  // namespace
