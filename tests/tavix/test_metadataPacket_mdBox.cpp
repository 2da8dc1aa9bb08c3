// The metadata box of the older generation: its bytes, its geo chunk and
// its text chunks.
#include <gtest/gtest.h>

#include <cstring>

#include "xr3_mdBox.h"

namespace {

using namespace Orvanetics;

std::vector<uint8_t> written(const MDBox& box) {
    uint32_t length = 0;
    EXPECT_EQ(0u, box.WriteMDBox(nullptr, length));
    std::vector<uint8_t> bytes(length);
    EXPECT_EQ(0u, box.WriteMDBox(bytes.data(), length));
    EXPECT_EQ(bytes.size(), length);
    return bytes;
}

uint32_t hostUint32(const uint8_t* p) {
    uint32_t value = 0;
    std::memcpy(&value, p, 4);
    return value;
}

TEST(MDBox, ANewBoxHoldsADefaultGeoChunk) {
    MDBox box;
    uint8_t major = 9, minor = 9, micro = 9;
    box.GetVersionNo(major, minor, micro);
    EXPECT_EQ(0, major + minor + micro);
    EXPECT_EQ(MDBox::kTVXFeatures, box.GetTVXFeatures());
    ASSERT_TRUE(box.HasGeoMDChunk());
    double v[6];
    ASSERT_TRUE(box.GetGeoData(v[0], v[1], v[2], v[3], v[4], v[5]));
    EXPECT_EQ(0.0, v[0]);
    EXPECT_EQ(1.0, v[2]);
    EXPECT_EQ(1.0, v[3]);
    EXPECT_EQ(16u + 6u + 48u + 6u, box.GetMDBoxLen());
    box.UnsetTVXFeature(0x1);
    EXPECT_EQ(MDBox::kTVXFeatures & ~uint64_t(1), box.GetTVXFeatures());
}

TEST(MDBox, BytesOfABox) {
    MDBox box;
    ASSERT_TRUE(box.DelMDChunk(0));
    EXPECT_FALSE(box.HasGeoMDChunk());
    double v[6];
    EXPECT_FALSE(box.GetGeoData(v[0], v[1], v[2], v[3], v[4], v[5]));
    box.GetDefaultGeoData(v[0], v[1], v[2], v[3], v[4], v[5]);
    EXPECT_EQ(1.0, v[2]);
    ASSERT_TRUE(box.AddMDChunk(std::make_unique<UserMDChunk>("note")));
    ASSERT_TRUE(box.AddMDChunk(std::make_unique<GeoMDChunk>(300000.0, 5000000.0, 2.5, -2.5, 0.1, 0.2)));
    ASSERT_TRUE(box.AddMDChunk(std::make_unique<CmdLineMDChunk>("tool -x")));
    box.SetVersionNo(1, 2, 3);
    std::vector<uint8_t> bytes = written(box);
    ASSERT_EQ(16u + (6 + 4) + (6 + 48) + (6 + 7) + 6, bytes.size());
    EXPECT_EQ(0, std::memcmp(bytes.data(), "TVXG", 4));
    EXPECT_EQ(1, bytes[4]);
    EXPECT_EQ(2, bytes[5]);
    uint64_t features = 0;
    std::memcpy(&features, bytes.data() + 6, 8);
    EXPECT_EQ(MDBox::kTVXFeatures, features);
    EXPECT_EQ(3, bytes[14]);
    EXPECT_EQ(3, bytes[15]);
    // The user chunk: id, version, host-order length, characters.
    EXPECT_EQ(MDCHUNK_USER, bytes[16]);
    EXPECT_EQ(4u, hostUint32(&bytes[18]));
    EXPECT_EQ(0, std::memcmp(&bytes[22], "note", 4));
    // The geo chunk: six host-order doubles.
    EXPECT_EQ(MDCHUNK_GEO, bytes[26]);
    EXPECT_EQ(48u, hostUint32(&bytes[28]));
    double yRes = 0;
    std::memcpy(&yRes, &bytes[32 + 3 * 8], 8);
    EXPECT_EQ(-2.5, yRes);
    const std::vector<uint8_t> end = {0xFF, 0x00, 0, 0, 0, 0};
    EXPECT_EQ(end, std::vector<uint8_t>(bytes.end() - 6, bytes.end()));

    // Too little room.
    uint32_t room = uint32_t(bytes.size() - 1);
    EXPECT_EQ(2009u, box.WriteMDBox(bytes.data(), room));

    MDBox back;
    ASSERT_EQ(0u, back.ReadMDBox(bytes.data(), uint32_t(bytes.size())));
    ASSERT_TRUE(back.GetGeoData(v[0], v[1], v[2], v[3], v[4], v[5]));
    EXPECT_EQ(300000.0, v[0]);
    EXPECT_EQ(5000000.0, v[1]);
    EXPECT_EQ(0.2, v[5]);
    std::string text;
    ASSERT_TRUE(back.GetUserMetadata(text));
    EXPECT_EQ("note", text);
    ASSERT_TRUE(back.GetCmdLineMetadata(text));
    EXPECT_EQ("tool -x", text);
    ASSERT_EQ(3u, back.GetNumMDChunks());
    EXPECT_EQ(MDCHUNK_USER, back.GetMDChunk(0)->getId());
    EXPECT_EQ(MDCHUNK_CMDLINE, back.GetMDChunk(2)->getId());
    EXPECT_EQ(nullptr, back.GetMDChunk(3));
    uint8_t major = 0, minor = 0, micro = 0;
    back.GetVersionNo(major, minor, micro);
    EXPECT_EQ(3, micro);
    EXPECT_EQ(bytes, written(back));
}

TEST(MDBox, DamagedBoxesAreRefused) {
    MDBox box;
    std::vector<uint8_t> good = written(box);
    {
        std::vector<uint8_t> bytes = good;
        bytes[0] = 'X';
        EXPECT_EQ(2005u, MDBox().ReadMDBox(bytes.data(), uint32_t(bytes.size())));
    }
    for (size_t cut = 1; cut < good.size(); cut += 5)
        EXPECT_EQ(2005u, MDBox().ReadMDBox(good.data(), uint32_t(good.size() - cut))) << cut;
    {
        // A geo chunk of 40 bytes.
        std::vector<uint8_t> bytes = good;
        const uint32_t forty = 40;
        std::memcpy(&bytes[18], &forty, 4);
        bytes.erase(bytes.begin() + 22 + 40, bytes.begin() + 22 + 48);
        EXPECT_EQ(2005u, MDBox().ReadMDBox(bytes.data(), uint32_t(bytes.size())));
    }
    {
        // A length running past the box.
        std::vector<uint8_t> bytes = good;
        const uint32_t huge = 0xFFFFFFF0u;
        std::memcpy(&bytes[18], &huge, 4);
        EXPECT_EQ(2005u, MDBox().ReadMDBox(bytes.data(), uint32_t(bytes.size())));
    }
    EXPECT_EQ(2005u, MDBox().ReadMDBox(nullptr, 100));
    {
        // A chunk of an unknown kind is passed over.
        std::vector<uint8_t> bytes = good;
        bytes[14] = 2;
        const std::vector<uint8_t> unknown = {0x42, 0, 2, 0, 0, 0, 'h', 'i'};
        bytes.insert(bytes.end() - 6, unknown.begin(), unknown.end());
        MDBox read;
        ASSERT_EQ(0u, read.ReadMDBox(bytes.data(), uint32_t(bytes.size())));
        EXPECT_EQ(1u, read.GetNumMDChunks());
        EXPECT_TRUE(read.HasGeoMDChunk());
    }
}

TEST(MDChunks, SerialInOutAndDisplay) {
    GeoMDChunk geo(1.5, 2.5, 0.5, -0.5, 0.0, 0.0);
    uint32_t length = 0;
    ASSERT_EQ(0u, geo.SerialOut(nullptr, length));
    ASSERT_EQ(54u, length);
    std::vector<uint8_t> bytes(length);
    ASSERT_EQ(0u, geo.SerialOut(bytes.data(), length));
    GeoMDChunk back;
    ASSERT_EQ(0u, back.SerialIn(bytes.data(), length));
    EXPECT_EQ(1.5, back.getValues()[0]);
    EXPECT_EQ(-0.5, back.getValues()[3]);
    // Another kind's bytes, or too few.
    UserMDChunk user;
    EXPECT_EQ(2005u, user.SerialIn(bytes.data(), length));
    EXPECT_EQ(2005u, back.SerialIn(bytes.data(), 30));

    uint32_t textLength = 0;
    ASSERT_EQ(0u, geo.display(nullptr, textLength));
    std::vector<char> text(textLength);
    ASSERT_EQ(0u, geo.display(text.data(), textLength));
    EXPECT_NE(nullptr, std::strstr(text.data(), "1.5"));
    OpSysMDChunk opSys("linux");
    ASSERT_EQ(0u, opSys.display(nullptr, textLength));
    text.resize(textLength);
    ASSERT_EQ(0u, opSys.display(text.data(), textLength));
    EXPECT_NE(nullptr, std::strstr(text.data(), "linux"));
}

}  // namespace
