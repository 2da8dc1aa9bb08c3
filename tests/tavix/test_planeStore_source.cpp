// The plane source: memory model choice, memory estimate, per-band sizes,
// and the plane walk of the info tool.
#include <gtest/gtest.h>

#include "planeStore_testSupport.h"

namespace {

using namespace PlaneStoreTest;

std::unique_ptr<XR3PlanesetPacket> planesetOf(XR3PlanesetOrder order, XR3PlanesetLayout layout,
                                              long long dataLength, uint8_t major = 0) {
    auto planeset = std::make_unique<XR3PlanesetPacket>(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 0, major, 1));
    planeset->setOrder(order);
    planeset->setLayout(layout);
    planeset->setDataLength(dataLength);
    return planeset;
}

TEST(PlaneMemoryModel, MemoryForTheFullTable) {
    XR3ImageInfo info = makeImageInfo(100, 80, 2, 3, 16);
    const uint64_t n = info.numSubblocks;
    // floor(1000 * 3.4 / 3) = 1133; 8 * 3 * 32 per subblock.
    EXPECT_EQ(1133u + 768u * n + 11814u,
              XR3FileSimplePlaneSource::getMemoryUsageForFullTable(
                  info, *planesetOf(XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_DATA_FIRST, 1000)));

    PlanesetOptions options;
    ImageFile file = writeImageFile(info, PlanesetContent::random(info, 6, {}), options);
    OpenedImage image;
    ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_DEFAULT));
    uint64_t usage = 0;
    ASSERT_EQ(0u, XR3FileSimplePlaneSource::getMemoryUsageForFullTable(*image.container, 0, usage));
    EXPECT_EQ(XR3FileSimplePlaneSource::getMemoryUsageForFullTable(info, *image.source->getPlaneset()), usage);
    EXPECT_EQ(2010u, XR3FileSimplePlaneSource::getMemoryUsageForFullTable(*image.container, 5, usage));
}

TEST(PlaneMemoryModel, DefaultChoosesByMemoryAndPartialNeedsPipelineDataFirst) {
    ScopedEnv env("QV_XR3_MEMORY_MODEL", nullptr);
    XR3ImageInfo info = makeImageInfo(100, 80, 2, 3, 16);
    const auto choose = [&](XR3MemoryModel requested, XR3PlanesetOrder order, XR3PlanesetLayout layout,
                            long long dataLength, uint8_t major = 0) {
        return XR3FileSimplePlaneSource::initializeMemoryModel(requested, info,
                                                               *planesetOf(order, layout, dataLength, major));
    };
    const auto pipe = XR3_PLANESET_ORDER_PIPELINE;
    const auto sbcp = XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE;
    const auto dataFirst = XR3_PLANESET_LAYOUT_DATA_FIRST;
    const long long small = 1000, large = 300000000;
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_DEFAULT, pipe, dataFirst, small));
    EXPECT_EQ(XR3_MEMORY_MODEL_PARTIAL, choose(XR3_MEMORY_MODEL_DEFAULT, pipe, dataFirst, large));
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_DEFAULT, sbcp, dataFirst, large));
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_DEFAULT, pipe, XR3_PLANESET_LAYOUT_INTERLEAVED, large));
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_DEFAULT, pipe, XR3_PLANESET_LAYOUT_RASTER_BLOCK, large));
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_PARTIAL, pipe, dataFirst, small, 1));
    EXPECT_EQ(XR3_MEMORY_MODEL_PARTIAL, choose(XR3_MEMORY_MODEL_PARTIAL, pipe, dataFirst, small));
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_FULL, pipe, dataFirst, large));
    // Just below and above the limit: (limit - 11814 - 768 n) * 3 / 3.4 bytes of data.
    const long long edge = (268435455LL - 11814 - 768LL * info.numSubblocks) * 30 / 34;
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL, choose(XR3_MEMORY_MODEL_DEFAULT, pipe, dataFirst, edge - 2));
    EXPECT_EQ(XR3_MEMORY_MODEL_PARTIAL, choose(XR3_MEMORY_MODEL_DEFAULT, pipe, dataFirst, edge + 2));
}

TEST(PlaneMemoryModel, EnvironmentOverridesTheRequest) {
    XR3ImageInfo info = makeImageInfo(100, 80, 2, 3, 16);
    const auto pipeDataFirst = planesetOf(XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_DATA_FIRST, 1000);
    const auto interleaved = planesetOf(XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_INTERLEAVED, 1000);
    struct Case {
        const char* value;
        XR3MemoryModel requested;
        XR3MemoryModel expected;
    };
    for (Case c : {Case{"partial", XR3_MEMORY_MODEL_FULL, XR3_MEMORY_MODEL_PARTIAL},
                   Case{"partia!", XR3_MEMORY_MODEL_FULL, XR3_MEMORY_MODEL_PARTIAL},  // six letters count
                   Case{"full", XR3_MEMORY_MODEL_PARTIAL, XR3_MEMORY_MODEL_FULL},
                   Case{"fullest", XR3_MEMORY_MODEL_PARTIAL, XR3_MEMORY_MODEL_FULL},
                   Case{"default", XR3_MEMORY_MODEL_PARTIAL, XR3_MEMORY_MODEL_FULL},
                   Case{"bogus", XR3_MEMORY_MODEL_PARTIAL, XR3_MEMORY_MODEL_PARTIAL},
                   Case{"Partial", XR3_MEMORY_MODEL_FULL, XR3_MEMORY_MODEL_FULL}}) {
        ScopedEnv env("QV_XR3_MEMORY_MODEL", c.value);
        EXPECT_EQ(c.expected, XR3FileSimplePlaneSource::initializeMemoryModel(c.requested, info, *pipeDataFirst))
            << c.value;
    }
    ScopedEnv env("QV_XR3_MEMORY_MODEL", "partial");
    EXPECT_EQ(XR3_MEMORY_MODEL_FULL,
              XR3FileSimplePlaneSource::initializeMemoryModel(XR3_MEMORY_MODEL_FULL, info, *interleaved));

    // Through a whole source.
    PlanesetContent content = PlanesetContent::random(info, 6, {});
    ImageFile file = writeImageFile(info, content, PlanesetOptions());
    OpenedImage image;
    ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    EXPECT_EQ(XR3_MEMORY_MODEL_PARTIAL, image.source->getMemoryModel());
    EXPECT_EQ(XR3_MEMORY_MODEL_PARTIAL, image.source->getStore()->getMemoryModel());
}

TEST(PlaneStoreTable, AnUnknownModelIsRefused) {
    XR3ImageInfo info = makeImageInfo(32, 32, 1, 1, 8);
    ImageFile file = writeImageFile(info, PlanesetContent::random(info, 1, {}), PlanesetOptions());
    OpenedImage image;
    ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    std::unique_ptr<XR3FilePlaneReader> reader;
    ASSERT_EQ(0u, image.source->createReader(reader));
    XR3FilePlaneStore store(image.source->getImageInfo(), XR3MemoryModel(7));
    EXPECT_EQ(2015u, store.initialize(*reader));
    EXPECT_FALSE(store.hasSubblock(0, 0));
    // The interleaved reader has no row walk.
    XR3PlaneDesc outDesc;
    int64_t token = 0, data = 0;
    std::unique_ptr<XR3FilePlaneReader> interleaved;
    PlanesetOptions options;
    options.layout = XR3_PLANESET_LAYOUT_INTERLEAVED;
    ImageFile other = writeImageFile(info, PlanesetContent::random(info, 1, {}), options);
    OpenedImage second;
    ASSERT_EQ(0u, second.open(other.bytes, XR3_MEMORY_MODEL_FULL));
    ASSERT_EQ(0u, second.source->createReader(interleaved));
    EXPECT_EQ(2015u, interleaved->advanceToSubblock(XR3PlaneDesc(1, 0, 0, 0), 0, 0, 1, outDesc, token, data));
}

class PlaneInfo : public testing::Test {
protected:
    void SetUp() override {
        m_info = makeImageInfo(70, 50, 2, 3, 8);
        m_content = PlanesetContent::random(m_info, 31, {});
        PlanesetOptions options;
        options.hasMSE = true;
        options.order = XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE;
        m_file = writeImageFile(m_info, m_content, options);
        ASSERT_EQ(0u, m_image.open(m_file.bytes, XR3_MEMORY_MODEL_FULL));
    }

    XR3ImageInfo m_info;
    PlanesetContent m_content;
    ImageFile m_file;
    OpenedImage m_image;
};

TEST_F(PlaneInfo, ComponentSizesAddUpPlaneBytes) {
    std::vector<uint64_t> expected(m_info.numBands, 0);
    for (const auto& [index, plane] : m_content.planes) expected[XR3PlaneDesc::from_index(index).component] += plane.bytes.size();
    std::vector<uint64_t> sizes;
    ASSERT_EQ(0u, m_image.source->getComponentSizes(sizes));
    EXPECT_EQ(expected, sizes);
}

class RecordingVisitor : public XR3PlaneInfoVisitor {
public:
    QVStatus visit(const XR3PlaneDesc& desc, const XR3PlaneData& data) override {
        descs.push_back(desc);
        lengths.push_back(data.length);
        bytes.emplace_back(data.buffer ? std::vector<uint8_t>(data.buffer, data.buffer + data.length)
                                       : std::vector<uint8_t>());
        return 0;
    }
    std::vector<XR3PlaneDesc> descs;
    std::vector<uint32_t> lengths;
    std::vector<std::vector<uint8_t>> bytes;
};

TEST_F(PlaneInfo, VisitsEveryPlaneInTokenOrder) {
    for (bool withBytes : {false, true}) {
        RecordingVisitor visitor;
        XR3PlaneInfoTool tool(*m_image.source);
        ASSERT_EQ(0u, tool.visitPlanes(visitor, withBytes));
        ASSERT_EQ(m_file.planes.size(), visitor.descs.size());
        for (size_t i = 0; i < m_file.planes.size(); ++i) {
            const XR3PlaneDesc& desc = m_file.planes[i].desc;
            ASSERT_EQ(desc, visitor.descs[i]) << i;
            EXPECT_EQ(m_content.find(desc)->bytes.size(), visitor.lengths[i]);
            if (withBytes) EXPECT_EQ(m_content.find(desc)->bytes, visitor.bytes[i]);
            else EXPECT_TRUE(visitor.bytes[i].empty());
        }
    }
}

TEST_F(PlaneInfo, OnePlaneAtATime) {
    XR3PlaneInfoTool tool(*m_image.source);
    const XR3PlaneDesc present = m_file.planes[m_file.planes.size() / 2].desc;
    XR3PlaneData data;
    ASSERT_EQ(0u, tool.getPlaneData(present, data, true));
    EXPECT_TRUE(data.isPresent());
    EXPECT_EQ(m_content.find(present)->mse, data.mse);
    EXPECT_EQ(m_content.find(present)->bytes, std::vector<uint8_t>(data.buffer, data.buffer + data.length));
    ASSERT_EQ(0u, tool.getPlaneData(present, data, false));
    EXPECT_TRUE(data.isPresent());
    EXPECT_EQ(m_content.find(present)->bytes.size(), data.length);
    EXPECT_EQ(nullptr, data.buffer);

    XR3PlaneDesc absent(present.subband, present.subblock, present.component, 0);  // plane 0 is never written
    ASSERT_EQ(0u, tool.getPlaneData(absent, data, true));
    EXPECT_FALSE(data.isPresent());
    EXPECT_EQ(2009u, tool.getPlaneData(XR3PlaneDesc(0, 0, 3, 0), data, true));
    EXPECT_EQ(2009u, tool.getPlaneData(XR3PlaneDesc(0, 0, 0, 32), data, true));
}

TEST(PlaneSourceState, ClientsNeedAnInitializedSource) {
    XR3ImageInfo info = makeImageInfo(32, 32, 1, 1, 8);
    ImageFile file = writeImageFile(info, PlanesetContent::random(info, 1, {}), PlanesetOptions());
    OpenedImage image;
    ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    EXPECT_EQ(2010u, image.source->initialize());
    XR3FileSimplePlaneSource fresh(*image.container, image.info, XR3_MEMORY_MODEL_FULL);
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    EXPECT_EQ(2010u, fresh.createFilePlaneStoreClient(client));
    std::vector<uint64_t> sizes;
    EXPECT_EQ(2010u, fresh.getComponentSizes(sizes));
    EXPECT_EQ(image.source->getImageInfo().planesetOrder, uint32_t(XR3_PLANESET_ORDER_PIPELINE));
    EXPECT_EQ(image.source->getImageInfo().planesetLayout, uint32_t(XR3_PLANESET_LAYOUT_DATA_FIRST));
}

TEST(ComponentSet, BitsAndCounts) {
    XR3ComponentSet set(11);
    EXPECT_EQ(0u, set.getEnd());
    set.set(0);
    set.set(9);
    set.set(11);  // beyond: ignored
    EXPECT_FALSE(set.isSet(11));
    EXPECT_EQ(2u, set.getNumSet());
    EXPECT_EQ(10u, set.getEnd());
    set.setNumComponents(3);
    set.setAll();
    EXPECT_EQ(3u, set.getNumSet());
}

}  // namespace
