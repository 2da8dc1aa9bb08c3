// Image info: the file's type vocabulary, the subband table, subblock
// geometry, range and quantization checks, and projections of the support.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "tavix_planesetWriter.h"
#include "xr3_imageInfo.h"

using namespace Orvanetics;

TEST(XR3Type, DataTypeTable) {
    struct Row {
        uint32_t type, bits, precision;
        bool isSigned;
        QVIDataType sdk;
    };
    const Row rows[] = {
        {1, 8, 0, false, QVI_DATATYPE_INVALID},    {4, 32, 0, false, QVI_DATATYPE_INVALID},
        {5, 8, 8, false, QVI_DATATYPE_UINT8},      {6, 8, 7, true, QVI_DATATYPE_SINT8},
        {7, 16, 16, false, QVI_DATATYPE_UINT16},   {8, 16, 15, true, QVI_DATATYPE_SINT16},
        {9, 32, 32, false, QVI_DATATYPE_UINT32},   {10, 32, 31, true, QVI_DATATYPE_SINT32},
        {11, 64, 64, false, QVI_DATATYPE_INVALID}, {12, 64, 63, true, QVI_DATATYPE_INVALID},
        {13, 32, 24, true, QVI_DATATYPE_FLOAT32},  {14, 64, 48, true, QVI_DATATYPE_INVALID},
    };
    for (const Row& r : rows) {
        const XR3DataType t = XR3DataType(r.type);
        EXPECT_EQ(XR3Type::getNumBits(t), r.bits) << r.type;
        EXPECT_EQ(XR3Type::getNumBytes(t), r.bits / 8) << r.type;
        EXPECT_EQ(XR3Type::getNumBitsPrecision(t), r.precision) << r.type;
        EXPECT_EQ(XR3Type::isSigned(t), r.isSigned) << r.type;
        EXPECT_EQ(XR3Type::toSDK(t), r.sdk) << r.type;
        if (r.sdk != QVI_DATATYPE_INVALID) {
            EXPECT_EQ(XR3Type::toXR3(r.sdk), t);
        }
        if (r.precision != 0) {
            EXPECT_EQ(XR3Type::getDataTypeFromBitsPrecision(r.precision), t);
        }
    }
    EXPECT_EQ(XR3Type::getNumBits(XR3DataType(3)), 24u);
    EXPECT_EQ(XR3Type::getNumBytes(XR3DataType(3)), 3u);
    EXPECT_EQ(XR3Type::getNumBits(XR3DataType(15)), 0u);
    EXPECT_EQ(XR3Type::toSDK(XR3DataType(200)), QVI_DATATYPE_INVALID);
    EXPECT_EQ(XR3Type::toXR3(QVI_DATATYPE_FLOAT64), XR3_DATATYPE_INVALID);
    for (uint32_t bits : {0u, 1u, 12u, 17u, 33u, 65u}) EXPECT_EQ(XR3Type::getDataTypeFromBitsPrecision(bits), 0);
}

TEST(XR3Type, ColorSpaceTable) {
    struct Row {
        uint32_t xr3, sdk, minBands;
    };
    // Plain, alpha and premultiplied alpha forms of grey, multispectral, YIQ and CMYK.
    const Row rows[] = {
        {1, 0x0101, 1},   {5, 0xFF01, 1},    {8, 0x0303, 3},    {12, 0x0401, 4},
        {69, 0x1FF01, 2}, {73, 0x10403, 5},  {129, 0x30101, 2}, {140, 0x30401, 5},
    };
    for (const Row& r : rows) {
        const XR3ColorSpace s = XR3ColorSpace(r.xr3);
        EXPECT_EQ(XR3Type::toSDK(s), r.sdk) << r.xr3;
        EXPECT_EQ(XR3Type::toXR3(QVIColorSpace(r.sdk)), s) << r.xr3;
        EXPECT_EQ(XR3Type::getMinNumBands(s), r.minBands) << r.xr3;
        EXPECT_EQ(XR3Type::hasAlphaBand(s), r.xr3 > 64);
        EXPECT_EQ(XR3Type::getColorSpaceWithoutAlpha(s), r.xr3 & 0x3F);
    }
    // The older value 4 reads as YIQ with alpha, and is never written.
    EXPECT_EQ(XR3Type::toSDK(XR3ColorSpace(4)), 0x10303u);
    EXPECT_EQ(XR3Type::getMinNumBands(XR3ColorSpace(4)), 4u);
    EXPECT_EQ(XR3Type::toXR3(QVI_COLORSPACE_YIQA), 72);
    for (uint32_t bad : {0u, 2u, 3u, 6u, 13u, 17u, 68u, 0xC1u, 255u})
        EXPECT_EQ(XR3Type::toSDK(XR3ColorSpace(bad)), 0u) << bad;
    EXPECT_EQ(XR3Type::toXR3(QVI_COLORSPACE_CMY), 0);
    EXPECT_EQ(XR3Type::toXR3(QVIColorSpace(0x20301)), 0);
}

TEST(XR3Type, ColorTransforms) {
    using S = XR3ColorSpace;
    auto t = [](uint32_t a, uint32_t b) { return XR3ColorTransformSupport::getDefaultTransform(S(a), S(b)); };
    EXPECT_EQ(t(10, 10), 1);
    EXPECT_EQ(t(74, 10), 1);  // alpha ignored
    EXPECT_EQ(t(10, 8), 10);
    EXPECT_EQ(t(11, 9), 13);
    EXPECT_EQ(t(5, 8), 10);
    EXPECT_EQ(t(8, 10), 0);
    EXPECT_EQ(t(5, 10), 0);
    for (uint32_t unknown : {0u, 17u, 255u}) {
        EXPECT_EQ(t(unknown, 10), 254);
        EXPECT_EQ(t(10, unknown), 254);
    }
    auto ok = [](uint32_t a, uint32_t b, uint32_t x) {
        return XR3ColorTransformSupport::validateCombination(S(a), S(b), XR3ColorTransform(x));
    };
    EXPECT_TRUE(ok(10, 10, 1));
    EXPECT_TRUE(ok(5, 10, 1));
    EXPECT_FALSE(ok(10, 8, 1));
    EXPECT_TRUE(ok(8, 10, 4));
    EXPECT_TRUE(ok(8, 5, 4));
    EXPECT_FALSE(ok(10, 8, 4));
    EXPECT_TRUE(ok(9, 11, 7));
    EXPECT_TRUE(ok(10, 8, 10));
    EXPECT_TRUE(ok(5, 8, 10));
    EXPECT_TRUE(ok(74, 72, 10));
    EXPECT_TRUE(ok(11, 9, 13));
    EXPECT_FALSE(ok(11, 9, 10));
    EXPECT_TRUE(ok(0, 10, 254));
    EXPECT_FALSE(ok(10, 10, 254));
    EXPECT_FALSE(ok(10, 10, 2));
}

TEST(ImageInfo, DefaultsAreThoseOfAnUnreadHeader) {
    XR3ImageInfo info;
    EXPECT_EQ(info.imageNumber, 0xFFFFFFFFu);
    EXPECT_EQ(info.colorTransform, 254);
    EXPECT_EQ(info.codingKindA, 5);
    EXPECT_EQ(info.codingKindC, 254u);
    EXPECT_EQ(info.spareWords[0], 3u);
    EXPECT_EQ(info.getCropRect(), QVIGeomRect(0, 1, -1, 0));
    EXPECT_EQ(info.planesetLayout, 5u);
    QuantizationInfo q;
    EXPECT_EQ(std::bit_cast<uint32_t>(q.step), 0x7FC00000u);
    EXPECT_EQ(std::bit_cast<uint32_t>(q.offset), 0x7FC00000u);
}

TEST(ImageInfo, SubbandTable) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(1001, 500, 2, 1, 64);
    ASSERT_EQ(info.numSubbands, 9);
    const uint32_t expected[9][2] = {
        {251, 125},                                 // LL
        {251, 125}, {250, 125}, {251, 125}, {250, 125},  // level 1 from 501 x 250
        {501, 250}, {500, 250}, {501, 250}, {500, 250},  // level 2 from 1001 x 500
    };
    uint64_t total = 0;
    for (uint32_t s = 0; s < 9; ++s) {
        EXPECT_EQ(info.subbands[s].width, expected[s][0]) << s;
        EXPECT_EQ(info.subbands[s].height, expected[s][1]) << s;
        EXPECT_EQ(info.subbands[s].cols, (expected[s][0] + 63) / 64) << s;
        EXPECT_EQ(info.subbands[s].rows, (expected[s][1] + 63) / 64) << s;
        total += uint64_t(info.subbands[s].rows) * info.subbands[s].cols;
    }
    EXPECT_EQ(info.numSubblocks, total);
    EXPECT_EQ(info.getCropRect(), QVIGeomRect(0, 0, 1000, 499));
}

TEST(ImageInfo, OneSampleWideAndNoLevels) {
    const XR3ImageInfo narrow = TavixFixture::makeImageInfo(1, 40, 1, 1, 16);
    EXPECT_EQ(narrow.subbands[2].width, 0u);  // HL
    EXPECT_EQ(narrow.subbands[2].cols, 0);
    EXPECT_EQ(narrow.subbands[4].width, 0u);  // HH
    EXPECT_EQ(narrow.subbands[4].cols, 0);
    EXPECT_EQ(narrow.subbands[3].width, 1u);
    const XR3ImageInfo flat = TavixFixture::makeImageInfo(70, 50, 0, 1, 16);
    EXPECT_EQ(flat.numSubbands, 1);
    EXPECT_EQ(flat.numSubblocks, 20u);
}

TEST(ImageInfo, SetupRefusals) {
    XR3ImageInfo info;
    info.width = info.height = 100;
    info.subblockSize = 64;
    info.numLevels = 63;
    EXPECT_EQ(info.setup_subbands(), 2027u);
    info.numLevels = 62;
    EXPECT_EQ(info.setup_subbands(), 0u);
    EXPECT_EQ(info.numSubbands, 249);
    info.subblockSize = 0;
    EXPECT_EQ(info.setup_subbands(), 2028u);
    // More than 65535 subblocks across one subband cannot be indexed.
    info.subblockSize = 1;
    info.width = 200000;
    info.numLevels = 1;
    EXPECT_EQ(info.setup_subbands(), 2028u);
}

TEST(ImageInfo, SubblockGeometry) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(300, 200, 1, 1, 64);  // subband 3 is 150 x 100
    EXPECT_EQ(info.getSubblockIndex(3, 1, 2), 3u + 2u);
    uint32_t row, col, w, h;
    info.getSubblockInfo(3, 5, row, col, w, h);
    EXPECT_EQ(row, 1u);
    EXPECT_EQ(col, 2u);
    EXPECT_EQ(w, 150u - 128u);
    EXPECT_EQ(h, 100u - 64u);
    info.getSubblockInfo(3, 0, row, col, w, h);
    EXPECT_EQ(w, 64u);
    EXPECT_EQ(h, 64u);
    EXPECT_EQ(info.getSubblockSupport(3, 5), QVIGeomRect(128, 64, 149, 99));
    EXPECT_EQ(info.getSubblockSupport(3, 1), QVIGeomRect(64, 0, 127, 63));
}

TEST(ImageInfo, MaxLevelsAndRangeBits) {
    EXPECT_EQ(XR3ImageInfo::calcMaxNLev(0, 0), 0u);
    EXPECT_EQ(XR3ImageInfo::calcMaxNLev(4, 100), 0u);
    EXPECT_EQ(XR3ImageInfo::calcMaxNLev(5, 100), 1u);
    EXPECT_EQ(XR3ImageInfo::calcMaxNLev(1000, 512), 7u);
    EXPECT_EQ(XR3ImageInfo::calcMaxNLev(1000, 513), 8u);
    EXPECT_EQ(XR3ImageInfo::calcMaxNLev(0xFFFFFFFF, 0xFFFFFFFF), 30u);

    XR3ImageInfo info;
    EXPECT_EQ(info.getNumPrecisionBitsOfRange(), 0u);
    info.rangeMax = 255;
    EXPECT_EQ(info.getNumPrecisionBitsOfRange(), 8u);
    info.rangeMax = 256;
    EXPECT_EQ(info.getNumPrecisionBitsOfRange(), 9u);
    info.rangeMin = -1;
    info.rangeMax = 0;
    EXPECT_EQ(info.getNumPrecisionBitsOfRange(), 1u);
    info.rangeMin = 10;  // a positive minimum counts from 0
    info.rangeMax = 12;
    EXPECT_EQ(info.getNumPrecisionBitsOfRange(), 4u);
    info.rangeMin = INT32_MIN;
    info.rangeMax = INT32_MAX;
    EXPECT_EQ(info.getNumPrecisionBitsOfRange(), 32u);
    info.dataType = XR3_DATATYPE_SINT16;
    EXPECT_EQ(info.getDomainBitsOfPrecision(), 15u);
    EXPECT_EQ(info.getDomainBytes(), 2u);
}

TEST(ImageInfo, QuantizationValidation) {
    // (max - offset) / step rounds to 2^28: n is 28, allowed; 2^28 + 1 needs 29.
    EXPECT_TRUE(XR3ImageInfo::vaildFPQuantization(1.0f, 0.0f, 268435456.0f, false));
    EXPECT_FALSE(XR3ImageInfo::vaildFPQuantization(1.0f, 0.0f, 268435456.0f * 2.0f, false));
    EXPECT_FALSE(XR3ImageInfo::vaildFPQuantization(1.0f, 0.0f, 268435456.0f, true));
    EXPECT_TRUE(XR3ImageInfo::vaildFPQuantization(1.0f, 0.0f, 67108864.0f, true));
    EXPECT_FALSE(XR3ImageInfo::vaildFPQuantization(1.0f, 5.0f, 4.0f, false));
    EXPECT_TRUE(XR3ImageInfo::vaildFPQuantization(0.001f, -1.0f, 1.0f, false));
    // The default maximum (NaN) never validates.
    EXPECT_FALSE(XR3ImageInfo::vaildFPQuantization(1.0f, 0.0f, QuantizationInfo().maxValue, false));

    XR3ImageInfo info;
    info.numBands = 2;
    QuantizationInfo bands[2];
    for (QuantizationInfo& q : bands) {
        q.step = 0.5f;
        q.offset = 0.0f;
        q.maxValue = 100.0f;
    }
    EXPECT_EQ(info.setQuantizationInfo(bands, true), 0u);
    EXPECT_EQ(info.quantization.size(), 2u);
    bands[1].maxValue = 1e30f;
    info.setQuantizationInfo(nullptr, false);
    EXPECT_FALSE(info.hasQuantization());
    EXPECT_EQ(info.setQuantizationInfo(bands, true), 2024u);
    EXPECT_FALSE(info.hasQuantization());
    EXPECT_EQ(info.setQuantizationInfo(bands, false), 0u);
    EXPECT_TRUE(info.hasQuantization());
}

TEST(ImageInfo, ProjectSupportToScale) {
    XR3ImageInfo info = TavixFixture::makeImageInfo(1000, 600, 4, 1, 64);
    QVIGeomRect out;
    ASSERT_EQ(info.projectSupportToScale(0, QVIGeomRect(3, 5, 10, 20), false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(3, 5, 10, 20));
    ASSERT_EQ(info.projectSupportToScale(2, QVIGeomRect(3, 5, 10, 20), false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(0, 1, 1, 4));  // sizes 8 x 16 -> 2 x 4
    ASSERT_EQ(info.projectSupportToScale(-1, QVIGeomRect(990, 0, 999, 9), false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(1980, 0, 1999, 19));
    // Magnified rectangles are clipped to the magnified image.
    ASSERT_EQ(info.projectSupportToScale(-1, QVIGeomRect(995, 0, 1010, 9), false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(1990, 0, 1999, 19));
    EXPECT_EQ(info.projectSupportToScale(-22, QVIGeomRect(995, 0, 1010, 9), false, out), 2020u);

    ASSERT_EQ(info.getSupportAtScale(0, true, false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(0, 0, 999, 599));
    ASSERT_EQ(info.getSupportAtScale(3, true, false, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(0, 0, 124, 74));

    // A cropped image: the virtual rectangle, moved or at the origin.
    info.setCropRect(QVIGeomRect(100, 50, 299, 149));
    info.updateCroppedOrScaled();
    ASSERT_EQ(info.getSupportAtScale(1, true, true, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(50, 25, 149, 74));
    ASSERT_EQ(info.getSupportAtScale(1, false, true, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(0, 0, 99, 49));
    ASSERT_EQ(info.projectSupportToScale(1, QVIGeomRect(0, 0, 9, 9), true, out), 0u);
    EXPECT_EQ(out, QVIGeomRect(50, 25, 54, 29));
}

TEST(ImageInfo, CroppedOrScaled) {
    XR3ImageInfo info = TavixFixture::makeImageInfo(100, 80, 2, 1, 16);
    info.updateCroppedOrScaled();
    EXPECT_FALSE(info.isCroppedOrScaled);
    info.scale = 1;
    info.updateCroppedOrScaled();
    EXPECT_TRUE(info.isCroppedOrScaled);
    info.scale = 0;
    info.setCropRect(QVIGeomRect(0, 0, 98, 79));
    info.updateCroppedOrScaled();
    EXPECT_TRUE(info.isCroppedOrScaled);
}
