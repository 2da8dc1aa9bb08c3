// What the plane store reads: at open only tokens, for a subblock only the
// payloads of the bands asked for, for an empty subblock nothing.
#include <gtest/gtest.h>

#include "planeStore_testSupport.h"
#include "tavix_countingStream.h"

namespace {

using namespace PlaneStoreTest;

struct ReadCase {
    XR3PlanesetLayout layout;
    XR3MemoryModel model;
};

// A store built by hand on a counting stream over the bytes of a file.
class CountedStore : public testing::TestWithParam<ReadCase> {
protected:
    void SetUp() override {
        ScopedEnv buffers("XR3_USE_STREAM_BUFFERS", nullptr);
        m_info = makeImageInfo(90, 70, 2, 3, 8);
        PlanesetContent::RandomShape shape;
        shape.maxBytes = 60;
        m_content = PlanesetContent::random(m_info, 99, shape);
        PlanesetOptions options;
        options.layout = GetParam().layout;
        options.hasMSE = true;
        m_file = writeImageFile(m_info, m_content, options);
        ASSERT_EQ(0u, m_image.open(m_file.bytes, XR3_MEMORY_MODEL_FULL));
        m_inner = openMemStream(m_image.bytes);
        m_counting = std::make_unique<CountingStream>(*m_inner);
        const XR3ImageInfo& info = m_image.source->getImageInfo();
        m_reader = XR3FilePlaneReader::create(info, *m_image.source->getPlaneset(), m_counting.get(), false, true, 0,
                                              true, false);
        ASSERT_TRUE(m_reader);
        m_store = std::make_unique<XR3FilePlaneStore>(info, GetParam().model);
        ASSERT_EQ(0u, m_store->initialize(*m_reader));
    }

    bool anyPayloadTouched(uint32_t subband, uint32_t subblock, const XR3ComponentSet* exceptBands) const {
        for (const WrittenPlane& plane : m_file.planes) {
            if (plane.desc.subband != subband || plane.desc.subblock != subblock) continue;
            if (exceptBands && exceptBands->isSet(plane.desc.component)) continue;
            if (m_counting->touched(plane.payloadOffset, plane.payloadOffset + plane.payloadLength)) return true;
        }
        return false;
    }

    XR3ImageInfo m_info;
    PlanesetContent m_content;
    ImageFile m_file;
    OpenedImage m_image;
    std::unique_ptr<QVIOMemStream> m_inner;
    std::unique_ptr<CountingStream> m_counting;
    std::unique_ptr<XR3FilePlaneReader> m_reader;
    std::unique_ptr<XR3FilePlaneStore> m_store;
};

TEST_P(CountedStore, OpeningReadsOnlyTokens) {
    ASSERT_GT(m_counting->getBytesRead(), 0u);
    for (const WrittenPlane& plane : m_file.planes)
        ASSERT_FALSE(m_counting->touched(plane.payloadOffset, plane.payloadOffset + plane.payloadLength))
            << plane.desc.tostring();
    if (GetParam().layout == XR3_PLANESET_LAYOUT_DATA_FIRST) {
        // Behind the offset word, everything read lies in the token region.
        for (const CountingStream::Read& read : m_counting->getReads()) {
            if (read.count == 0 || read.position < m_file.dataStart + 8) continue;
            EXPECT_GE(read.position, m_file.tokenRegions[0].first);
        }
    }
}

TEST_P(CountedStore, UnselectedBandsAreSkippedNotRead) {
    XR3ComponentSet selected(m_info.numBands);
    selected.set(1);
    auto planes = makePlanes(m_info);
    for (auto [subband, subblock] : allSubblocks(m_info)) {
        m_counting->reset();
        bool found = false;
        XR3PlaneDesc desc;
        desc.subband = uint8_t(subband);
        desc.subblock = subblock;
        ASSERT_EQ(0u, m_store->getSubblockData(desc, selected, *m_reader, found, planes.get()));
        ASSERT_EQ(m_content.subblockHasData(subband, subblock), found);
        expectPlanes(m_content, m_info, subband, subblock, planes.get(), selected, true);
        EXPECT_FALSE(anyPayloadTouched(subband, subblock, &selected)) << subband << "." << subblock;
    }
}

TEST_P(CountedStore, EmptySubblocksCostNoRead) {
    auto planes = makePlanes(m_info);
    XR3ComponentSet all(m_info.numBands);
    all.setAll();
    unsigned empty = 0;
    for (auto [subband, subblock] : allSubblocks(m_info)) {
        if (m_content.subblockHasData(subband, subblock)) continue;
        ++empty;
        EXPECT_FALSE(m_store->hasSubblock(subband, subblock));
        m_counting->reset();
        bool found = true;
        XR3PlaneDesc desc;
        desc.subband = uint8_t(subband);
        desc.subblock = subblock;
        planes[0].allocate(3);  // cleared by the store
        ASSERT_EQ(0u, m_store->getSubblockData(desc, all, *m_reader, found, planes.get()));
        EXPECT_FALSE(found);
        EXPECT_FALSE(planes[0].isPresent());
        EXPECT_EQ(0u, planes[0].length);
        EXPECT_TRUE(m_counting->getReads().empty());
    }
    EXPECT_GT(empty, 10u);
}

INSTANTIATE_TEST_SUITE_P(Layouts, CountedStore,
                         testing::Values(ReadCase{XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_MEMORY_MODEL_FULL},
                                         ReadCase{XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_FULL},
                                         ReadCase{XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_PARTIAL}),
                         [](const testing::TestParamInfo<ReadCase>& info) {
                             return "layout" + std::to_string(info.param.layout) +
                                    (info.param.model == XR3_MEMORY_MODEL_FULL ? "_full" : "_partial");
                         });

// A run ending exactly at a band's end leaves the next band to begin at plane 0;
// a band wholly inside a run costs no read.
TEST(PlaneRuns, RunsEndingAtBandBoundaries) {
    XR3ImageInfo info = makeImageInfo(8, 8, 0, 3, 8);  // one subblock
    PlanesetContent content;
    FixturePlane plane;
    plane.bytes = {1, 2, 3};
    content.set(XR3PlaneDesc(0, 0, 0, 31), plane);  // band 0 ends with data
    plane.bytes = {4};
    content.set(XR3PlaneDesc(0, 0, 2, 0), plane);  // band 1 wholly empty, band 2 from plane 0
    plane.bytes = {5, 6};
    content.set(XR3PlaneDesc(0, 0, 2, 5), plane);
    for (XR3PlanesetLayout layout : {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_LAYOUT_DATA_FIRST}) {
        PlanesetOptions options;
        options.layout = layout;
        options.wideTokens = false;
        ImageFile file = writeImageFile(info, content, options);
        OpenedImage image;
        ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
        auto client = image.client();
        auto planes = makePlanes(info);
        ASSERT_EQ(0u, client->getSubblockData(0, 0, planes.get(), false));
        expectPlanes(content, info, 0, 0, planes.get(), client->getComponentSet(), false);
        client->getComponentSet().clearAll();
        client->getComponentSet().set(2);
        ASSERT_EQ(0u, client->getSubblockData(0, 0, planes.get(), false));
        expectPlanes(content, info, 0, 0, planes.get(), client->getComponentSet(), false);
    }
}

}  // namespace
