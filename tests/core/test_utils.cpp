#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "qv_math.h"
#include "qv_statusCodes.h"
#include "qvi_utils.h"

using namespace Orvanetics;

TEST(DataTypeTable, AnswersEachTypeAndZeroOutsideTheRange)
{
    struct Row {
        QVIDataType type;
        uint32_t bytes;
        bool isSigned, integral;
        double min, max;
    };
    const Row rows[] = {
        {QVI_DATATYPE_INVALID, 0, false, false, 0.0, 0.0},
        {QVI_DATATYPE_UINT8, 1, false, true, 0.0, 255.0},
        {QVI_DATATYPE_SINT8, 1, true, true, -128.0, 127.0},
        {QVI_DATATYPE_UINT16, 2, false, true, 0.0, 65535.0},
        {QVI_DATATYPE_SINT16, 2, true, true, -32768.0, 32767.0},
        {QVI_DATATYPE_UINT32, 4, false, true, 0.0, 4294967295.0},
        {QVI_DATATYPE_SINT32, 4, true, true, -2147483648.0, 2147483647.0},
        {QVI_DATATYPE_FLOAT32, 4, true, false, 0.0, 1.0},
        {QVI_DATATYPE_FLOAT64, 8, true, false, 0.0, 1.0},
        {static_cast<QVIDataType>(9), 0, false, false, 0.0, 0.0},
        {static_cast<QVIDataType>(0xFFFFFFFF), 0, false, false, 0.0, 0.0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.type);
        EXPECT_EQ(QVIUtils::getNumBytes(row.type), row.bytes);
        EXPECT_EQ(QVIUtils::isSigned(row.type), row.isSigned);
        EXPECT_EQ(QVIUtils::isIntegral(row.type), row.integral);
        EXPECT_EQ(QVIUtils::isFloatingPoint(row.type), row.bytes != 0 && !row.integral);
        EXPECT_EQ(QVIUtils::getMinValue(row.type), row.min);
        EXPECT_EQ(QVIUtils::getMaxValue(row.type), row.max);
    }
}

TEST(ColorSpaceFields, BandCountAlphaAndStrip)
{
    EXPECT_EQ(QVIUtils::getMinNumSamplesPerPixel(QVI_COLORSPACE_RGB), 3);
    EXPECT_EQ(QVIUtils::getMinNumSamplesPerPixel(QVI_COLORSPACE_RGBA), 4);
    EXPECT_EQ(QVIUtils::getMinNumSamplesPerPixel(QVI_COLORSPACE_CMYKA_PM), 5);
    EXPECT_EQ(QVIUtils::getMinNumSamplesPerPixel(QVI_COLORSPACE_MULTISPECTRAL), 1);
    EXPECT_EQ(QVIUtils::getMinNumSamplesPerPixel(QVI_COLORSPACE_MULTISPECTRALA), 2);
    EXPECT_EQ(QVIUtils::getMinNumSamplesPerPixel(QVI_COLORSPACE_INVALID), 0);
    EXPECT_TRUE(QVIUtils::hasAlphaBand(QVI_COLORSPACE_GRAYSCALEA));
    EXPECT_TRUE(QVIUtils::hasAlphaBand(static_cast<QVIColorSpace>(0x20301)));
    EXPECT_FALSE(QVIUtils::hasAlphaBand(QVI_COLORSPACE_YIQK));
    EXPECT_EQ(QVIUtils::getColorSpaceWithoutAlpha(QVI_COLORSPACE_MULTISPECTRALA_PM),
              QVI_COLORSPACE_MULTISPECTRAL);
    EXPECT_EQ(QVI_COLORSPACE_YIQKA_PM, 0x30403u);
}

TEST(ColorSpaceFields, SwappingOnlyMultiByteSamplesInBigEndian)
{
    EXPECT_FALSE(QVIUtils::needsSwapping(QVI_DATATYPE_UINT16, QVI_ENDIAN_HOST));
    EXPECT_FALSE(QVIUtils::needsSwapping(QVI_DATATYPE_UINT16, QVI_ENDIAN_LITTLE));
    EXPECT_TRUE(QVIUtils::needsSwapping(QVI_DATATYPE_FLOAT64, QVI_ENDIAN_BIG));
    EXPECT_FALSE(QVIUtils::needsSwapping(QVI_DATATYPE_SINT8, QVI_ENDIAN_BIG));
}

TEST(WindowLevel, ConvertsBothWaysAndBack)
{
    double min = 0, max = 0, window = 0, level = 0;
    QVIUtils::convertWindowLevelToMinMax(256.0, 127.5, min, max);
    EXPECT_DOUBLE_EQ(min, 0.0);
    EXPECT_DOUBLE_EQ(max, 255.0);
    QVIUtils::convertMinMaxToWindowLevel(10.0, 1033.0, window, level);
    EXPECT_DOUBLE_EQ(window, 1024.0);
    EXPECT_DOUBLE_EQ(level, 521.5);
    QVIUtils::convertWindowLevelToMinMax(window, level, min, max);
    EXPECT_DOUBLE_EQ(min, 10.0);
    EXPECT_DOUBLE_EQ(max, 1033.0);
}

TEST(MagnificationLevels, LevelsSnapsAndOctaves)
{
    // -log2 of 0.3, 0.375 and 0.75: 1.737, 1.415 and 0.415.
    const std::pair<double, int> levels[] = {{1.0, 0}, {0.25, 2}, {4.0, -2}, {0.3, 2}, {0.375, 1}};
    for (const auto& [mag, level] : levels)
        EXPECT_EQ(QVIUtils::magToLevel(mag), level) << mag;
    EXPECT_EQ(QVMath::magToLevel(0.75), 0);
    EXPECT_DOUBLE_EQ(QVIUtils::levelToMag(3), 0.125);
    EXPECT_DOUBLE_EQ(QVMath::levelToMag(-2), 4.0);

    // Default bias log2(4/3): above 2/3 a magnification snaps up to 1.0; without bias always up.
    const struct { double mag, bias, snapped; } snaps[] = {
        {0.67, -1, 1.0}, {0.66, -1, 0.5}, {1.0, -1, 1.0}, {0.3, -1, 0.25},
        {2.6, -1, 2.0},  {2.7, -1, 4.0},  {0.9, 0, 1.0},  {0.4, 0, 0.5}};
    for (const auto& row : snaps)
        EXPECT_DOUBLE_EQ(row.bias < 0 ? QVIUtils::snapToOctave(row.mag) : QVIUtils::snapToOctave(row.mag, row.bias),
                         row.snapped) << row.mag;

    // Octaves within one percent; powers of two exactly.
    for (double mag : {1.0, 0.25, 0.995, 2.015})
        EXPECT_TRUE(QVIUtils::isOctave(mag)) << mag;
    for (double mag : {0.98, 0.75})
        EXPECT_FALSE(QVIUtils::isOctave(mag)) << mag;
    EXPECT_TRUE(QVMath::isPowerOfTwo(0.125));
    EXPECT_TRUE(QVMath::isPowerOfTwo(1024.0));
    EXPECT_FALSE(QVMath::isPowerOfTwo(0.995));
}

TEST(DimsAtMag, CeilOfTheProductAndOverflow)
{
    // 37.5 is ceiled, not rounded to even.
    const struct { uint32_t width, height; double mag; uint32_t w, h; } rows[] = {
        {5, 5, 0.5, 3, 3}, {1001, 7, 0.25, 251, 2}, {100, 50, 0.75, 75, 38}, {3, 3, 2.0, 6, 6}};
    uint32_t w = 0, h = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(QVIUtils::getDimsAtMag(row.width, row.height, row.mag, w, h), 0u);
        EXPECT_EQ(w, row.w) << row.width << " @" << row.mag;
        EXPECT_EQ(h, row.h) << row.height << " @" << row.mag;
    }

    // Overflow leaves the outputs unwritten.
    w = 17;
    h = 19;
    EXPECT_EQ(QVIUtils::getDimsAtMag(2147483648u, 10, 1.0, w, h), QVI_STS_Core_IntegerOverflow);
    EXPECT_EQ(w, 17u);
    EXPECT_EQ(h, 19u);
    EXPECT_EQ(QVIUtils::getDimsAtMag(10, 1u << 30, 2.0, w, h), QVI_STS_Core_IntegerOverflow);
    EXPECT_EQ(h, 19u);
    EXPECT_EQ(QVIUtils::getDimsAtMag(2147483647u, 1, 1.0, w, h), 0u);
    EXPECT_EQ(w, 2147483647u);
}

TEST(Icons, LevelsHalveTheShorterSideAndMaxMagFromIt)
{
    EXPECT_EQ(QVIUtils::getNumLevelsForIcon(1000, 500, 128), 2u);  // 500 -> 250 -> 125
    EXPECT_DOUBLE_EQ(QVIUtils::getMagForIcon(1000, 500, 128), 0.25);
    EXPECT_EQ(QVIUtils::getNumLevelsForIcon(100, 100, 128), 0u);
    EXPECT_EQ(QVIUtils::getNumLevelsForIcon(257, 300, 128), 2u);  // 257 -> 129 -> 65
    EXPECT_EQ(QVIUtils::getNumLevelsForIcon(0xFFFFFFFFu, 0xFFFFFFFFu, 1), 32u);

    // 2147483647 / 1000 = 2147483.6, log2 = 21.03: ceil(-21.03) = -21.
    EXPECT_DOUBLE_EQ(QVIUtils::getMaxMag(5000, 1000), 2097152.0);
    EXPECT_DOUBLE_EQ(QVIUtils::getMaxMag(1000, 5000), 2097152.0);
    // The shorter side of 2^30 fits twice; the longer side is not looked at.
    EXPECT_DOUBLE_EQ(QVIUtils::getMaxMag(1u << 30, 1u << 31), 1.0);
}

TEST(Projection, ShiftsWithCeilForSizes)
{
    EXPECT_EQ(QVMath::projectImagePoint(9, 2), 2);
    EXPECT_EQ(QVMath::projectImagePoint(-9, 2), -3);
    EXPECT_EQ(QVMath::projectImagePoint(3, -2), 12);
    EXPECT_EQ(QVMath::projectImageDimension(9, 2), 3);
    EXPECT_EQ(QVMath::projectImageDimension(8, 2), 2);
    EXPECT_EQ(QVMath::projectImageDimension(5, -1), 10);
    EXPECT_FALSE(QVMath::willProjectionOverflow(1 << 29, -1));
    EXPECT_TRUE(QVMath::willProjectionOverflow(1 << 30, -1));
    EXPECT_FALSE(QVMath::willProjectionOverflow(1 << 30, 3));
}

TEST(Version, NumbersAndText)
{
    uint32_t major = 0, minor = 0, revision = 0, build = 0;
    const char* branch = nullptr;
    QVIUtils::getVersionInfo(major, minor, revision, build, branch);
    EXPECT_EQ(((major * 10 + minor) * 10 + revision) * 10000 + build, 9544709u);
    ASSERT_NE(branch, nullptr);
    const std::string text = QVIUtils::getVersionString();
    EXPECT_EQ(text.rfind("SDK Version 9.5.4.4709", 0), 0u) << text;
    EXPECT_NE(text.find(branch), std::string::npos);
}
