#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tavix_planesetWriter.h"
#include "xr3_planeData.h"

using namespace Orvanetics;

TEST(XR3PlaneDesc, IndexBytesTextAndDefault) {
    const XR3PlaneDesc desc(0x12, 0x3456789A, 0xBCDE, 0x1F);
    EXPECT_EQ(desc.to_index(), 0x123456789ABCDE1Full);
    EXPECT_EQ(XR3PlaneDesc::from_index(desc.to_index()), desc);
    uint8_t bytes[XR3PlaneDesc::kByteSize];
    desc.toBytes(bytes);
    const uint8_t expected[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0x1F};
    EXPECT_TRUE(std::equal(bytes, bytes + 8, expected));
    EXPECT_EQ(XR3PlaneDesc::fromBytes(bytes), desc);
    EXPECT_EQ(XR3PlaneDesc(5, 1234, 2, 17).tostring(), "<5.1234.2.17>");
    // The default is all ones, and invalid.
    EXPECT_EQ(XR3PlaneDesc().tostring(), "<255.-1.65535.255>");
    EXPECT_TRUE(XR3PlaneDesc().isInvalidated());
    EXPECT_FALSE(XR3PlaneDesc(0, 0, 0, 0).isInvalidated());
}

TEST(XR3PlaneDesc, CompareOrdersSubbandFirstThenSubblockComponentPlane) {
    // Listed in ascending order; each differs from the next in one field only
    // and a coarser field always outweighs every finer one.
    const std::vector<XR3PlaneDesc> ascending = {
        {0, 0, 0, 0},  {0, 0, 0, 31},          {0, 0, 1, 0},
        {0, 0, 0xFFFF, 31}, {0, 1, 0, 0},      {0, 0xFFFFFFFE, 0xFFFF, 31},
        {1, 0, 0, 0},  {2, 0, 0, 0},           {0xFF, 0xFFFFFFFF, 0xFFFF, 0xFF},
    };
    for (size_t i = 0; i < ascending.size(); ++i) {
        for (size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i].compare(ascending[j]), i < j ? -1 : (i > j ? 1 : 0)) << i << " vs " << j;
            EXPECT_EQ(ascending[i] < ascending[j], i < j);
        }
    }
}

TEST(XR3PlaneDesc, ValidityIsCheckedAgainstTheImage) {
    XR3ImageInfo info = TavixFixture::makeImageInfo(100, 70, 1, 1, 32);
    info.numBands = 2;
    // Subband 4 (HH) is 50 by 35: 2 rows of 2 subblocks.
    EXPECT_TRUE(XR3PlaneDesc(4, 3, 1, 31).isValid(info));
    EXPECT_FALSE(XR3PlaneDesc(4, 4, 1, 31).isValid(info));   // subblock past the subband
    EXPECT_FALSE(XR3PlaneDesc(5, 0, 0, 0).isValid(info));    // no such subband
    EXPECT_FALSE(XR3PlaneDesc(4, 0, 2, 0).isValid(info));    // no such band
    EXPECT_FALSE(XR3PlaneDesc(4, 0, 0, 32).isValid(info));   // planes end at 31
    EXPECT_FALSE(XR3PlaneDesc().isValid(info));
}

TEST(XR3PlaneData, OwnershipOfAllocatedAndExternalBytes) {
    EXPECT_EQ(XR3PlaneData::withoutPresence(0xC6), 0x06);
    EXPECT_EQ(XR3PlaneData::withoutPresence(0x3F), 0x3F);
    XR3PlaneData plane;
    EXPECT_FALSE(plane.isPresent());
    ASSERT_EQ(plane.allocate(10), 0u);
    EXPECT_TRUE(plane.isOwned());
    EXPECT_EQ(plane.length, 10u);
    plane.markPresent(true);
    EXPECT_TRUE(plane.isPresent());
    EXPECT_TRUE(plane.isBypass());
    plane.markPresent(false);
    EXPECT_FALSE(plane.isBypass());
    plane.clear();
    EXPECT_EQ(plane.buffer, nullptr);
    EXPECT_EQ(plane.length, 0u);
    EXPECT_EQ(plane.flags, 0);

    uint8_t bytes[3] = {1, 2, 3};
    plane.setExternal(bytes, 3);
    plane.markPresent(false);
    EXPECT_FALSE(plane.isOwned());
    plane.clear();  // must not delete the caller's bytes
    EXPECT_EQ(bytes[2], 3);

    ASSERT_EQ(plane.allocate(0), 0u);
    XR3PlaneData copy;
    ASSERT_EQ(copy.copyFrom(plane), 0u);
    EXPECT_EQ(copy.length, 0u);
}

TEST(XR3PlaneData, CopyFromIsDeepAndMoveTransfersOwnership) {
    XR3PlaneData source;
    ASSERT_EQ(source.allocate(4), 0u);
    for (uint8_t i = 0; i < 4; ++i) source.buffer[i] = uint8_t(i + 7);
    source.mse = 0x1234;
    source.lockValue = 99;
    source.flags |= kXR3PlaneMSEValid;
    source.markPresent(true);

    XR3PlaneData copy;
    ASSERT_EQ(copy.copyFrom(source), 0u);
    EXPECT_NE(copy.buffer, source.buffer);
    EXPECT_TRUE(std::equal(copy.buffer, copy.buffer + 4, source.buffer));
    EXPECT_EQ(copy.flags, source.flags);
    EXPECT_EQ(copy.mse, 0x1234);
    EXPECT_EQ(copy.lockValue, 99u);

    uint8_t* const bytes = copy.buffer;
    XR3PlaneData moved(std::move(copy));
    EXPECT_EQ(moved.buffer, bytes);
    EXPECT_TRUE(moved.isOwned());
    EXPECT_EQ(copy.buffer, nullptr);  // a moved-from plane is empty
    EXPECT_EQ(copy.flags, 0);

    XR3PlaneData assigned;
    ASSERT_EQ(assigned.allocate(1), 0u);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.buffer, bytes);
    EXPECT_EQ(assigned.length, 4u);
}
