// The two position tables on their own: entries, ranges, and what each costs.
#include <gtest/gtest.h>

#include "planeStore_testSupport.h"

namespace {

using namespace PlaneStoreTest;

XR3PlaneDesc wholeSubblock(uint8_t subband, uint32_t subblock) {
    XR3PlaneDesc desc;
    desc.subband = subband;
    desc.subblock = subblock;
    return desc;
}

// A data-first reader over nothing: table look-ups that need no walk must not read.
struct IdleReader {
    XR3ImageInfo info;
    XR3PlanesetPacket planeset{XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 0, 0, 1)};
    std::vector<uint8_t> bytes;
    std::unique_ptr<QVIOMemStream> stream;
    std::unique_ptr<XR3FilePlaneReader> reader;

    explicit IdleReader(const XR3ImageInfo& i) : info(i) {
        planeset.setOrder(XR3_PLANESET_ORDER_PIPELINE);
        planeset.setLayout(XR3_PLANESET_LAYOUT_DATA_FIRST);
        stream = openMemStream(bytes);
        reader = XR3FilePlaneReader::create(info, planeset, stream.get(), false, false, 0, true, false);
    }
};

TEST(MSPTables, FullTableKeepsTheFirstPlaneOfEachSubblock) {
    XR3ImageInfo info = makeImageInfo(520, 520, 0, 2, 8);  // 65 x 65 subblocks: more than one slab
    IdleReader idle(info);
    XR3FullMSPTable table(info);
    ASSERT_EQ(0u, table.initialize());
    for (uint32_t b = 0; b < 65u * 65u; b += 1)
        ASSERT_EQ(0u, table.addMSP(XR3PlaneDesc(0, b, uint16_t(b % 2), uint8_t(b % 32)), {int64_t(b) * 10, int64_t(b) * 10 + 3}));
    // A second plane of the same subblock does not replace the first.
    ASSERT_EQ(0u, table.addMSP(XR3PlaneDesc(0, 7, 1, 31), {1, 2}));
    for (uint32_t b : {0u, 7u, 4095u, 4224u}) {
        bool found = false;
        XR3PlaneDesc start;
        int64_t token = 0, data = 0;
        ASSERT_EQ(0u, table.lookupMSP(wholeSubblock(0, b), *idle.reader, found, start, token, data));
        ASSERT_TRUE(found);
        EXPECT_EQ(XR3PlaneDesc(0, b, uint16_t(b % 2), uint8_t(b % 32)), start);
        EXPECT_EQ(int64_t(b) * 10, token);
        EXPECT_EQ(int64_t(b) * 10 + 3, data);
    }
    // A plane before the first one with data is absent.
    bool found = true;
    XR3PlaneDesc start;
    int64_t token = 0, data = 0;
    ASSERT_EQ(0u, table.lookupMSP(XR3PlaneDesc(0, 7, 1, 6), *idle.reader, found, start, token, data));
    EXPECT_FALSE(found);
    ASSERT_EQ(0u, table.lookupMSP(XR3PlaneDesc(0, 7, 1, 7), *idle.reader, found, start, token, data));
    EXPECT_TRUE(found);
    EXPECT_EQ(2009u, table.addMSP(XR3PlaneDesc(0, 65u * 65u, 0, 0), {}));
    EXPECT_EQ(65u * 65u, table.countSubblocksInRange(0, 0, 65u * 65u - 1));
}

TEST(MSPTables, PartialTableKeepsARowEntryAndABitPerSubblock) {
    XR3ImageInfo info = makeImageInfo(160, 160, 1, 1, 8);  // subbands of 10 x 10 subblocks
    ASSERT_EQ(10u, info.subbands[2].cols);
    IdleReader idle(info);
    XR3PartialMSPTable table(info);
    ASSERT_EQ(0u, table.initialize());
    // Row 3 of subband 2 has data in columns 2, 5 and 9; row 4 in column 0.
    for (uint32_t col : {2u, 5u, 9u}) ASSERT_EQ(0u, table.addMSP(XR3PlaneDesc(2, 30 + col, 0, uint8_t(col)), {int64_t(col), 0}));
    ASSERT_EQ(0u, table.addMSP(XR3PlaneDesc(2, 40, 0, 1), {77, 78}));
    EXPECT_TRUE(table.hasSubblock(2, 35));
    EXPECT_FALSE(table.hasSubblock(2, 36));
    EXPECT_FALSE(table.hasSubblock(1, 35));
    EXPECT_EQ(4u, table.countSubblocksInRange(2, 0, 99));
    EXPECT_EQ(3u, table.countSubblocksInRange(2, 35, 40));
    EXPECT_EQ(1u, table.countSubblocksInRange(2, 36, 39));
    EXPECT_EQ(0u, table.countSubblocksInRange(2, 41, 99));
    EXPECT_TRUE(table.hasSubblocksInRange(2, 39, 41));
    EXPECT_FALSE(table.hasSubblocksInRange(2, 10, 29));

    // The first subblock of a row is found without any walk.
    bool found = false;
    XR3PlaneDesc start;
    int64_t token = 0, data = 0;
    ASSERT_EQ(0u, table.lookupMSP(wholeSubblock(2, 32), *idle.reader, found, start, token, data));
    EXPECT_TRUE(found);
    EXPECT_EQ(XR3PlaneDesc(2, 32, 0, 2), start);
    EXPECT_EQ(2, token);
    ASSERT_EQ(0u, table.lookupMSP(wholeSubblock(2, 40), *idle.reader, found, start, token, data));
    EXPECT_EQ(77, token);
    ASSERT_EQ(0u, table.lookupMSP(wholeSubblock(2, 33), *idle.reader, found, start, token, data));
    EXPECT_FALSE(found);
    // Others walk the row's tokens, which are not there.
    EXPECT_NE(0u, table.lookupMSP(wholeSubblock(2, 35), *idle.reader, found, start, token, data));
}

TEST(MSPTables, ThePartialTableIsTheSmallerOneForASparseImage) {
    XR3ImageInfo info = makeImageInfo(2048, 2048, 3, 1, 8);
    XR3FullMSPTable full(info);
    XR3PartialMSPTable partial(info);
    ASSERT_EQ(0u, full.initialize());
    ASSERT_EQ(0u, partial.initialize());
    const uint32_t count = info.subbands[12].rows * info.subbands[12].cols;
    for (uint32_t b = 0; b < count; b += 3) {
        ASSERT_EQ(0u, full.addMSP(XR3PlaneDesc(12, b, 0, 4), {1, 2}));
        ASSERT_EQ(0u, partial.addMSP(XR3PlaneDesc(12, b, 0, 4), {1, 2}));
    }
    EXPECT_LT(partial.getMemoryUsage() * 10, full.getMemoryUsage());
    EXPECT_GE(full.getMemoryUsage(), count * sizeof(void*));
}

// A hostile header may announce billions of pixels in a few bytes; the full
// table must not take memory for subblocks that no token ever fills.
TEST(MSPTables, AVastEmptyImageCostsTheFullTableLittle) {
    XR3ImageInfo info = makeImageInfo(1u << 19, 1u << 19, 4, 1, 64);
    ASSERT_GT(info.numSubblocks, 1u << 25);
    XR3FullMSPTable table(info);
    ASSERT_EQ(0u, table.initialize());
    const uint32_t last = info.subbands[0].rows * info.subbands[0].cols - 1;
    ASSERT_EQ(0u, table.addMSP(XR3PlaneDesc(0, last, 0, 0), {5, 6}));
    EXPECT_LT(table.getMemoryUsage(), info.numSubblocks / 4);
    EXPECT_TRUE(table.hasSubblock(0, last));
    EXPECT_FALSE(table.hasSubblock(0, last - 1));
    EXPECT_EQ(1u, table.countSubblocksInRange(0, 0, last));
}

}  // namespace
