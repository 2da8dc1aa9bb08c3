// Planes written in every layout, order and token width come back exactly,
// through both memory models, in any order and with any band subset.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "planeStore_testSupport.h"

namespace {

using namespace PlaneStoreTest;

struct MatrixCase {
    XR3PlanesetLayout layout;
    XR3PlanesetOrder order;
    bool wide;
    bool hasMSE;
    XR3MemoryModel model;
    bool streamBuffers;
};

std::string caseName(const testing::TestParamInfo<MatrixCase>& info) {
    const MatrixCase& c = info.param;
    return "layout" + std::to_string(c.layout) + "_order" + std::to_string(c.order) + (c.wide ? "_wide" : "_narrow") +
           (c.hasMSE ? "_mse" : "") + (c.model == XR3_MEMORY_MODEL_FULL ? "_full" : "_partial") +
           (c.streamBuffers ? "_buffers" : "");
}

std::vector<MatrixCase> allCases() {
    std::vector<MatrixCase> cases;
    for (XR3PlanesetLayout layout :
         {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_LAYOUT_RASTER_BLOCK})
        for (XR3PlanesetOrder order : {XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE})
            for (bool wide : {false, true})
                for (XR3MemoryModel model : {XR3_MEMORY_MODEL_FULL, XR3_MEMORY_MODEL_PARTIAL})
                    for (bool buffers : {false, true})
                        cases.push_back({layout, order, wide, wide != buffers, model, buffers});
    return cases;
}

class PlaneStoreMatrix : public testing::TestWithParam<MatrixCase> {
protected:
    // An image with empty subblocks, runs over bands and subblocks, and
    // incomplete subblock rows in every subband.
    void SetUp() override {
        const MatrixCase& c = GetParam();
        m_info = makeImageInfo(75, 53, 2, 3, 8);
        m_content = PlanesetContent::random(m_info, 17u + c.layout * 7u + c.order, {});
        PlanesetOptions options;
        options.layout = c.layout;
        options.order = c.order;
        options.wideTokens = c.wide;
        options.hasMSE = c.hasMSE;
        options.subblocksPerBlock = 7;
        // Some files split their runs, so that runs also stand back to back.
        options.maxRun = c.wide ? 0 : 19;
        options.splitRunsAtSubblocks = c.streamBuffers;
        m_file = writeImageFile(m_info, m_content, options);
        ScopedEnv buffers("XR3_USE_STREAM_BUFFERS", c.streamBuffers ? "1" : nullptr);
        ScopedEnv model("QV_XR3_MEMORY_MODEL", nullptr);
        ASSERT_EQ(0u, m_image.open(m_file.bytes, c.model));
    }

    XR3ImageInfo m_info;
    PlanesetContent m_content;
    ImageFile m_file;
    OpenedImage m_image;
};

TEST_P(PlaneStoreMatrix, EveryPlaneComesBackInAnyOrder) {
    const MatrixCase& c = GetParam();
    const bool partial = c.model == XR3_MEMORY_MODEL_PARTIAL && c.order == XR3_PLANESET_ORDER_PIPELINE &&
                         c.layout == XR3_PLANESET_LAYOUT_DATA_FIRST;
    EXPECT_EQ(partial ? XR3_MEMORY_MODEL_PARTIAL : XR3_MEMORY_MODEL_FULL, m_image.source->getMemoryModel());

    auto client = m_image.client();
    ASSERT_TRUE(client);
    auto planes = makePlanes(m_info);
    auto subblocks = allSubblocks(m_info);
    std::mt19937 random(5);
    // Twice over, shuffled: the second pass meets every cached walk position.
    for (int pass = 0; pass < 2; ++pass) {
        std::shuffle(subblocks.begin(), subblocks.end(), random);
        for (auto [subband, subblock] : subblocks) {
            const bool hasData = m_content.subblockHasData(subband, subblock);
            ASSERT_EQ(hasData, client->hasSubblock(subband, subblock)) << subband << "." << subblock;
            ASSERT_EQ(0u, client->getSubblockData(subband, subblock, planes.get(), true));
            expectPlanes(m_content, m_info, subband, subblock, planes.get(), client->getComponentSet(), c.hasMSE);
        }
    }
}

TEST_P(PlaneStoreMatrix, BandSubsetsFillOnlyTheirBands) {
    auto client = m_image.client();
    ASSERT_TRUE(client);
    auto planes = makePlanes(m_info);
    for (std::vector<uint32_t> bands : {std::vector<uint32_t>{1}, {0, 2}, {2}}) {
        XR3ComponentSet& set = client->getComponentSet();
        set.clearAll();
        for (uint32_t band : bands) set.set(band);
        auto subblocks = allSubblocks(m_info);
        std::reverse(subblocks.begin(), subblocks.end());
        for (auto [subband, subblock] : subblocks) {
            ASSERT_EQ(0u, client->getSubblockData(subband, subblock, planes.get(), false));
            expectPlanes(m_content, m_info, subband, subblock, planes.get(), set, GetParam().hasMSE);
        }
    }
}

TEST_P(PlaneStoreMatrix, RangeQueriesAgreeWithTheSubblocksWritten) {
    auto client = m_image.client();
    ASSERT_TRUE(client);
    for (uint32_t s = 0; s < m_info.numSubbands; ++s) {
        const uint32_t count = uint32_t(m_info.subbands[s].rows) * m_info.subbands[s].cols;
        for (uint32_t first = 0; first < count; first += 3) {
            const uint32_t last = std::min(count - 1, first + 6);
            uint32_t expected = 0;
            for (uint32_t b = first; b <= last; ++b) expected += m_content.subblockHasData(s, b) ? 1 : 0;
            EXPECT_EQ(expected, client->countSubblocksInRange(s, first, last));
            EXPECT_EQ(expected > 0, client->hasSubblocksInRange(s, first, last));
        }
        // A range running past the subband is clipped to it.
        uint32_t inSubband = 0;
        for (uint32_t b = 0; b < count; ++b) inSubband += m_content.subblockHasData(s, b) ? 1 : 0;
        EXPECT_EQ(inSubband, client->countSubblocksInRange(s, 0, 0xFFFFFFFFu));
    }
    EXPECT_FALSE(client->hasSubblock(m_info.numSubbands, 0));
    EXPECT_EQ(0u, client->countSubblocksInRange(0, 5, 4));
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, PlaneStoreMatrix, testing::ValuesIn(allCases()), caseName);

// Two clients of one store read with their own streams, interleaved.
TEST(PlaneStoreClients, ClientsDoNotDisturbEachOther) {
    XR3ImageInfo info = makeImageInfo(64, 64, 1, 2, 8);
    PlanesetContent content = PlanesetContent::random(info, 3, {});
    PlanesetOptions options;
    ImageFile file = writeImageFile(info, content, options);
    OpenedImage image;
    ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_PARTIAL));
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
