// Header packet payloads: bytes assembled by hand, round trips of every flag
// combination, and the refusals.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "qv_ioMemStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_headerPacket.h"

using namespace Orvanetics;

namespace {

// Big-endian payload builder, independent of the stream writer.
struct Bytes {
    std::vector<uint8_t> data;
    Bytes& be(uint64_t value, int size) {
        for (int i = size - 1; i >= 0; --i) data.push_back(uint8_t(value >> (8 * i)));
        return *this;
    }
};

struct FixedFields {
    uint64_t flags = 0x2;
    uint32_t width = 500, height = 300;
    uint8_t levels = 2;
    uint16_t bands = 3;
    uint8_t wordBits = 32;
    uint16_t subblock = 64;
    uint8_t dataType = 5;
    int32_t rangeMin = 0, rangeMax = 255;
    uint8_t input = 10, coded = 8, transform = 10;
    uint32_t kindC = 0;
    uint8_t kindA = 0, kindB = 7;
};

Bytes fixedPart(const FixedFields& f) {
    Bytes b;
    b.be(f.flags, 8).be(f.width, 4).be(f.height, 4).be(f.levels, 1).be(f.bands, 2).be(f.wordBits, 1);
    b.be(f.subblock, 2).be(f.dataType, 1).be(uint32_t(f.rangeMin), 4).be(uint32_t(f.rangeMax), 4);
    b.be(f.input, 1).be(f.coded, 1).be(f.transform, 1).be(f.kindC, 4).be(f.kindA, 1).be(f.kindB, 1);
    return b;
}

bool samePacket(const XR3Packet& a, const XR3Packet& b) { return a == b; }

XR3PacketType headerType(uint8_t major, uint8_t minor, uint32_t imageNumber = 4) {
    return XR3PacketType(XR3_PACKET_HEADER, 0, 0, imageNumber, major, minor);
}

QVStatus readPayload(XR3HeaderPacket& packet, std::vector<uint8_t> bytes, long long length = -2) {
    QVIOMemStream stream;
    EXPECT_EQ(stream.initialize(bytes.data(), uint32_t(bytes.size())), 0u);
    EXPECT_EQ(stream.open(), 0u);
    QVIOStreamReader<true> reader(stream);
    return packet.read(reader, length == -2 ? (long long)bytes.size() : length);
}

std::vector<uint8_t> writePayload(XR3HeaderPacket& packet) {
    return TavixFixture::writtenBytes([&](QVIOStreamWriter<true>& writer) { return packet.write(writer); });
}

XR3ImageInfo baseInfo() {
    XR3ImageInfo info;
    info.imageNumber = 4;
    info.width = 1000;
    info.height = 777;
    info.numLevels = 3;
    info.numBands = 2;
    info.wordBits = 32;
    info.subblockSize = 64;
    info.dataType = XR3_DATATYPE_UINT16;
    info.rangeMin = -5;
    info.rangeMax = 4000;
    info.inputColorSpace = XR3_COLORSPACE_MULTISPECTRAL;
    info.codedColorSpace = XR3_COLORSPACE_MULTISPECTRAL;
    info.colorTransform = XR3_COLORTRANSFORM_NONE;
    info.codingKindA = 0;
    info.codingKindB = 9;
    info.codingKindC = 0;
    EXPECT_EQ(info.setup_subbands(), 0u);
    return info;
}

}  // namespace

TEST(HeaderPacket, ReadsHandAssembledPayload) {
    FixedFields f;
    f.flags = 0x2 | 0x4 | 0x8 | 0x20 | 0x80;  // MSE, locked with a 1-byte lock value, reserved bit
    f.rangeMin = -7;
    XR3HeaderPacket packet(headerType(0, 1, 4));
    ASSERT_EQ(readPayload(packet, fixedPart(f).data), 0u);
    const XR3ImageInfo& info = packet.getImageInfo();
    EXPECT_EQ(info.imageNumber, 4u);
    EXPECT_EQ(info.width, 500u);
    EXPECT_EQ(info.height, 300u);
    EXPECT_EQ(info.numLevels, 2);
    EXPECT_EQ(info.numBands, 3);
    EXPECT_EQ(info.subblockSize, 64);
    EXPECT_EQ(info.dataType, XR3_DATATYPE_UINT8);
    EXPECT_EQ(info.rangeMin, -7);
    EXPECT_EQ(info.rangeMax, 255);
    EXPECT_EQ(info.inputColorSpace, XR3_COLORSPACE_RGB);
    EXPECT_EQ(info.codedColorSpace, XR3_COLORSPACE_YIQ);
    EXPECT_EQ(info.colorTransform, XR3_COLORTRANSFORM_RGB_TO_YIQ);
    EXPECT_EQ(info.codingKindA, 0);
    EXPECT_EQ(info.codingKindB, 7);
    EXPECT_EQ(info.codingKindC, 0u);
    EXPECT_EQ(info.spareWords[0], 0u);
    EXPECT_EQ(info.spareWords[1], 0u);
    EXPECT_TRUE(info.hasPlaneMSE);
    EXPECT_TRUE(info.locked);
    EXPECT_EQ(info.lockValueWidth, 1);
    EXPECT_FALSE(info.hasQuantization());
    EXPECT_EQ(info.numSubbands, 9);
    EXPECT_EQ(info.getCropRect(), QVIGeomRect(0, 0, 499, 299));
    EXPECT_FALSE(info.isCroppedOrScaled);
    EXPECT_FALSE(packet.isMSESecure());
}

TEST(HeaderPacket, LockWidthBits) {
    const std::pair<uint64_t, uint8_t> cases[] = {{0x8, 0}, {0x28, 1}, {0x18, 2}, {0x38, 4}, {0x30, 0}};
    for (auto [bits, width] : cases) {
        FixedFields f;
        f.flags = 0x2 | bits;
        XR3HeaderPacket packet(headerType(0, 1));
        ASSERT_EQ(readPayload(packet, fixedPart(f).data), 0u);
        EXPECT_EQ(packet.getImageInfo().lockValueWidth, width) << bits;
        EXPECT_EQ(packet.getImageInfo().locked, (bits & 0x8) != 0);
    }
}

TEST(HeaderPacket, VersionZeroZeroStoresPrecisionBits) {
    FixedFields f;
    f.dataType = 8;  // 8 bits of precision: unsigned 8
    XR3HeaderPacket packet(headerType(0, 0));
    ASSERT_EQ(readPayload(packet, fixedPart(f).data), 0u);
    EXPECT_EQ(packet.getImageInfo().dataType, XR3_DATATYPE_UINT8);
    EXPECT_EQ(packet.getImageInfo().numBands, 3);
    // 15 bits is signed 16; a precision outside the table is no type.
    f.dataType = 15;
    ASSERT_EQ(readPayload(packet, fixedPart(f).data), 0u);
    EXPECT_EQ(packet.getImageInfo().dataType, XR3_DATATYPE_SINT16);
    f.dataType = 12;
    ASSERT_EQ(readPayload(packet, fixedPart(f).data), 0u);
    EXPECT_EQ(packet.getImageInfo().dataType, XR3_DATATYPE_INVALID);
    // In any other version the byte is the type itself.
    f.dataType = 8;
    XR3HeaderPacket later(headerType(1, 0));
    ASSERT_EQ(readPayload(later, fixedPart(f).data), 0u);
    EXPECT_EQ(later.getImageInfo().dataType, XR3_DATATYPE_SINT16);
}

TEST(HeaderPacket, CropAndQuantizationFields) {
    FixedFields f;
    f.flags = 0x2 | 0x8000 | 0x40000;
    f.bands = 2;
    f.dataType = 13;
    Bytes b = fixedPart(f);
    b.be(10, 4).be(20, 4).be(109, 4).be(89, 4).be(1, 1);
    b.be(std::bit_cast<uint32_t>(0.5f), 4).be(std::bit_cast<uint32_t>(-3.0f), 4);
    b.be(std::bit_cast<uint32_t>(0.25f), 4).be(std::bit_cast<uint32_t>(7.0f), 4);
    XR3HeaderPacket packet(headerType(0, 1));
    ASSERT_EQ(readPayload(packet, b.data), 0u);
    const XR3ImageInfo& info = packet.getImageInfo();
    EXPECT_EQ(info.getCropRect(), QVIGeomRect(10, 20, 109, 89));
    EXPECT_EQ(info.scale, 1);
    EXPECT_TRUE(info.isCroppedOrScaled);
    ASSERT_EQ(info.quantization.size(), 2u);
    EXPECT_EQ(info.quantization[0].step, 0.5f);
    EXPECT_EQ(info.quantization[0].offset, -3.0f);
    EXPECT_EQ(info.quantization[1].step, 0.25f);
    EXPECT_EQ(info.quantization[1].offset, 7.0f);
    EXPECT_TRUE(std::isnan(info.quantization[1].maxValue));

    // A full-image crop with scale 0 is no crop.
    Bytes whole = fixedPart(FixedFields{.flags = 0x8002});
    whole.be(0, 4).be(0, 4).be(499, 4).be(299, 4).be(0, 1);
    ASSERT_EQ(readPayload(packet, whole.data), 0u);
    EXPECT_FALSE(packet.getImageInfo().isCroppedOrScaled);
}

TEST(HeaderPacket, RefusesForbiddenAndShiftedFlags) {
    std::vector<uint64_t> forbidden = {0x1, 0x40, 0x20000};
    for (int bit = 8; bit <= 14; ++bit) forbidden.push_back(uint64_t(1) << bit);
    for (int bit = 19; bit <= 63; ++bit) forbidden.push_back(uint64_t(1) << bit);
    for (uint64_t flag : forbidden) {
        FixedFields f;
        f.flags = 0x2 | flag;
        XR3HeaderPacket packet(headerType(0, 1));
        EXPECT_EQ(readPayload(packet, fixedPart(f).data), 2006u) << std::hex << flag;
    }
    // Every permitted bit at once passes (crop and quantization need their fields).
    FixedFields f;
    f.flags = 0x2 | 0x4 | 0x8 | 0x10 | 0x20 | 0x80 | 0x10000;
    XR3HeaderPacket packet(headerType(0, 1));
    EXPECT_EQ(readPayload(packet, fixedPart(f).data), 0u);
    EXPECT_TRUE(packet.isMSESecure());
}

TEST(HeaderPacket, RefusesBadShapes) {
    struct Case {
        void (*edit)(FixedFields&);
        QVStatus status;
    };
    const Case cases[] = {
        {[](FixedFields& f) { f.width = 0; }, 2028},      {[](FixedFields& f) { f.height = 0; }, 2028},
        {[](FixedFields& f) { f.bands = 0; }, 2028},      {[](FixedFields& f) { f.subblock = 0; }, 2028},
        {[](FixedFields& f) { f.wordBits = 16; }, 2028},  {[](FixedFields& f) { f.wordBits = 64; }, 2028},
        {[](FixedFields& f) { f.levels = 63; }, 2027},    {[](FixedFields& f) { f.levels = 255; }, 2027},
    };
    for (const Case& c : cases) {
        FixedFields f;
        c.edit(f);
        XR3HeaderPacket packet(headerType(0, 1));
        EXPECT_EQ(readPayload(packet, fixedPart(f).data), c.status);
    }
    FixedFields deep;
    deep.levels = 62;
    deep.width = deep.height = 0xFFFF;
    XR3HeaderPacket packet(headerType(0, 1));
    EXPECT_EQ(readPayload(packet, fixedPart(deep).data), 0u);
    EXPECT_EQ(packet.getImageInfo().numSubbands, 249);
}

TEST(HeaderPacket, ShortPayloadsAreReadErrors) {
    FixedFields f;
    f.flags = 0x2 | 0x8000 | 0x40000;
    f.bands = 1000;
    Bytes b = fixedPart(f);
    b.be(0, 4).be(0, 4).be(499, 4).be(299, 4).be(0, 1);
    XR3HeaderPacket packet(headerType(0, 1));
    // The announced length cannot hold 1000 bands of quantization.
    EXPECT_EQ(readPayload(packet, b.data), 2001u);
    // Nor can a stream that ends, when the length is open-ended.
    EXPECT_EQ(readPayload(packet, b.data, -1), 2001u);
    std::vector<uint8_t> cut = fixedPart(FixedFields{}).data;
    cut.resize(39);
    EXPECT_EQ(readPayload(packet, cut), 2001u);
    EXPECT_EQ(readPayload(packet, cut, -1), 2001u);
}

TEST(HeaderPacket, EveryFlagCombinationRoundTrips) {
    int combinations = 0;
    for (int mse = 0; mse < 2; ++mse)
        for (int lockWidth : {-1, 0, 1, 2, 4})
            for (int crop = 0; crop < 3; ++crop)
                for (int secure = 0; secure < 2; ++secure)
                    for (int quant = 0; quant < 2; ++quant) {
                        XR3ImageInfo info = baseInfo();
                        info.hasPlaneMSE = mse;
                        info.locked = lockWidth >= 0;
                        info.lockValueWidth = uint8_t(std::max(lockWidth, 0));
                        if (crop >= 1) info.setCropRect(QVIGeomRect(3, 4, 500, 600));
                        if (crop == 2) info.scale = 2;
                        if (quant) {
                            info.dataType = XR3_DATATYPE_FLOAT32;
                            std::vector<QuantizationInfo> q(info.numBands);
                            for (uint32_t b = 0; b < q.size(); ++b) {
                                q[b].step = 0.125f * (b + 1);
                                q[b].offset = -1.5f * b;
                            }
                            ASSERT_EQ(info.setQuantizationInfo(q.data(), false), 0u);
                        }
                        XR3HeaderPacket written(info);
                        written.setIsMSESecure(secure);
                        const std::vector<uint8_t> bytes = writePayload(written);
                        EXPECT_EQ(bytes.size(), 40u + (crop ? 17 : 0) + (quant ? 8 * info.numBands : 0));
                        const uint64_t expectedFlags = 0x2 | (mse ? 0x4 : 0) | (lockWidth >= 0 ? 0x8 : 0) |
                                                       (lockWidth == 1 ? 0x20 : 0) | (lockWidth == 2 ? 0x10 : 0) |
                                                       (lockWidth == 4 ? 0x30 : 0) | (crop ? 0x8000 : 0) |
                                                       (secure ? 0x10000 : 0) | (quant ? 0x40000 : 0);
                        uint64_t storedFlags = 0;
                        for (int i = 0; i < 8; ++i) storedFlags = storedFlags << 8 | bytes[i];
                        EXPECT_EQ(storedFlags, expectedFlags);

                        XR3HeaderPacket read(written.getPacketType());
                        ASSERT_EQ(readPayload(read, bytes), 0u);
                        EXPECT_TRUE(samePacket(read, written)) << combinations;
                        EXPECT_EQ(read.getImageInfo().isCroppedOrScaled, crop != 0);
                        EXPECT_EQ(read.getImageInfo().numSubblocks, info.numSubblocks);
                        ++combinations;
                    }
    EXPECT_EQ(combinations, 2 * 5 * 3 * 2 * 2);
}

TEST(HeaderPacket, PacketVersionFollowsQuantization) {
    XR3ImageInfo info = baseInfo();
    XR3PacketType plain = XR3HeaderPacket::getPacketVersion(9, info);
    EXPECT_EQ(plain.getType(), XR3_PACKET_HEADER);
    EXPECT_EQ(plain.getImageNumber(), 9u);
    EXPECT_EQ(plain.getMajorVersion(), 0);
    EXPECT_EQ(plain.getMinorVersion(), 0);
    std::vector<QuantizationInfo> q(info.numBands);
    ASSERT_EQ(info.setQuantizationInfo(q.data(), false), 0u);
    EXPECT_EQ(XR3HeaderPacket::getPacketVersion(9, info).getMinorVersion(), 1);

    // A version 0.0 header writes the precision and reads back the type.
    XR3ImageInfo signedInfo = baseInfo();
    signedInfo.dataType = XR3_DATATYPE_SINT16;
    XR3HeaderPacket written(signedInfo);
    EXPECT_EQ(written.getVersionMinor(), 0);
    const std::vector<uint8_t> bytes = writePayload(written);
    EXPECT_EQ(bytes[22], 15);
    XR3HeaderPacket read(written.getPacketType());
    ASSERT_EQ(readPayload(read, bytes), 0u);
    EXPECT_EQ(read.getImageInfo().dataType, XR3_DATATYPE_SINT16);
}

TEST(HeaderPacket, ShiftSetsTheShiftedFlagWhichReadingRefuses) {
    XR3HeaderPacket packet(baseInfo());
    EXPECT_FALSE(packet.isShifted());
    packet.setShift(-2);
    EXPECT_TRUE(packet.isShifted());
    EXPECT_EQ(packet.getShift(), -2);
    const std::vector<uint8_t> bytes = writePayload(packet);
    XR3HeaderPacket read(packet.getPacketType());
    EXPECT_EQ(readPayload(read, bytes), 2006u);
    packet.setShift(0);
    EXPECT_FALSE(packet.isShifted());
}

TEST(HeaderPacket, CopyKeepsEverything) {
    XR3HeaderPacket packet(baseInfo());
    packet.setIsMSESecure(true);
    std::unique_ptr<XR3HeaderPacket> copy(packet.createCopy());
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(samePacket(*copy, packet));
    EXPECT_TRUE(copy->isMSESecure());
    copy->getImageInfo().rangeMax = 1;
    EXPECT_FALSE(samePacket(*copy, packet));
}

