#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "qv_statusCodes.h"
#include "qvi_sample.h"

using namespace Orvanetics;

TEST(Sample, DefaultAndConstructedFields)
{
    const QVISample empty;
    EXPECT_EQ(empty.getSourceBandIndex(), 0xFFFF);
    EXPECT_EQ(empty.getDataType(), QVI_DATATYPE_INVALID);
    EXPECT_EQ(empty.getColor(), QVI_COLOR_INVALID);
    EXPECT_EQ(empty.getNumBytes(), 0u);
    EXPECT_TRUE(std::isnan(empty.getValueAsDouble()));

    const int16_t value = -1234;
    const QVISample sample(3, QVI_COLOR_GREEN, QVI_DATATYPE_SINT16, &value);
    EXPECT_EQ(sample.getSourceBandIndex(), 3);
    EXPECT_EQ(sample.getNumBytes(), 2u);
    EXPECT_EQ(sample.getPrecision(), 16u);
    EXPECT_EQ(sample.getValueSint16(), -1234);
    EXPECT_EQ(QVISample(0, QVI_COLOR_RED, QVI_DATATYPE_FLOAT64).getValueFloat64(), 0.0);
}

TEST(Sample, PrecisionIsClampedToTheSampleWidth)
{
    QVISample sample(0, QVI_COLOR_GRAY, QVI_DATATYPE_UINT16);
    for (const auto& [set, expected] : {std::pair{0u, 1u}, {12u, 12u}, {16u, 16u}, {40u, 16u}}) {
        sample.setPrecision(set);
        EXPECT_EQ(sample.getPrecision(), expected) << set;
    }
}

TEST(Sample, MinAndMaxPerType)
{
    struct Row {
        QVIDataType type;
        double min, max;
    };
    const Row rows[] = {{QVI_DATATYPE_UINT8, 0, 255},
                        {QVI_DATATYPE_SINT8, -128, 127},
                        {QVI_DATATYPE_UINT16, 0, 65535},
                        {QVI_DATATYPE_SINT16, -32768, 32767},
                        {QVI_DATATYPE_UINT32, 0, 4294967295.0},
                        {QVI_DATATYPE_SINT32, -2147483648.0, 2147483647.0},
                        {QVI_DATATYPE_FLOAT32, 0, 1},
                        {QVI_DATATYPE_FLOAT64, 0, 1}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.type);
        QVISample sample(0, QVI_COLOR_UNKNOWN, row.type);
        sample.setValueToMax();
        EXPECT_EQ(sample.getValueAsDouble(), row.max);
        EXPECT_TRUE(sample.isValueMax());
        EXPECT_FALSE(sample.isValueMin());
        sample.setValueToMin();
        EXPECT_EQ(sample.getValueAsDouble(), row.min);
        EXPECT_TRUE(sample.isValueMin());
    }
    QVISample invalid;
    EXPECT_FALSE(invalid.isValueMin());
    EXPECT_FALSE(invalid.isValueMax());
}

TEST(Sample, FloatLimitsAreExactlyZeroAndOne)
{
    QVISample sample(0, QVI_COLOR_GRAY, QVI_DATATYPE_FLOAT32);
    for (float value : {-0.5f, 2.0f, std::numeric_limits<float>::quiet_NaN()}) {
        sample.setValueFloat32(value);
        EXPECT_FALSE(sample.isValueMin() || sample.isValueMax()) << value;
    }
}

TEST(Sample, KeepSmallerOrLargerInOwnType)
{
    QVISample mine(0, QVI_COLOR_GRAY, QVI_DATATYPE_SINT16);
    QVISample other(0, QVI_COLOR_GRAY, QVI_DATATYPE_SINT16);
    mine.setValueSint16(5);
    other.setValueSint16(-7);
    mine.setValueToMin(other);
    EXPECT_EQ(mine.getValueSint16(), -7);
    other.setValueSint16(100);
    mine.setValueToMin(other);
    EXPECT_EQ(mine.getValueSint16(), -7);
    mine.setValueToMax(other);
    EXPECT_EQ(mine.getValueSint16(), 100);

    // Compared as unsigned 16-bit: 0xFFFF is the larger.
    QVISample unsignedSample(0, QVI_COLOR_GRAY, QVI_DATATYPE_UINT16);
    unsignedSample.setValueUint16(10);
    other.setValueSint16(-1);
    unsignedSample.setValueToMax(other);
    EXPECT_EQ(unsignedSample.getValueUint16(), 0xFFFF);
}

TEST(Sample, NaNLeavesAFloatSampleAlone)
{
    QVISample mine(0, QVI_COLOR_GRAY, QVI_DATATYPE_FLOAT64);
    QVISample nan(0, QVI_COLOR_GRAY, QVI_DATATYPE_FLOAT64);
    nan.setValueFloat64(std::numeric_limits<double>::quiet_NaN());
    mine.setValueFloat64(0.5);
    mine.setValueToMin(nan);
    mine.setValueToMax(nan);
    EXPECT_EQ(mine.getValueFloat64(), 0.5);
    nan.setValueToMin(mine);
    nan.setValueToMax(mine);
    EXPECT_TRUE(std::isnan(nan.getValueFloat64()));
}

TEST(Sample, SetFromDoubleChecksRangeThenTruncates)
{
    // A refused value leaves the previous one, 9 (or 9.0).
    const struct { QVIDataType type; double value; QVStatus status; double stored; } rows[] = {
        {QVI_DATATYPE_UINT8, -0.5, QVI_STS_Core_DataTypeOverflow, 9},
        {QVI_DATATYPE_UINT8, 255.5, QVI_STS_Core_DataTypeOverflow, 9},
        {QVI_DATATYPE_UINT8, std::nan(""), QVI_STS_Core_DataTypeOverflow, 9},
        {QVI_DATATYPE_UINT8, 254.9, 0, 254},
        {QVI_DATATYPE_SINT32, -2.9, 0, -2},
        {QVI_DATATYPE_SINT32, -2147483648.0, 0, -2147483648.0},
        {QVI_DATATYPE_SINT32, 2147483648.0, QVI_STS_Core_DataTypeOverflow, 9},
        {QVI_DATATYPE_UINT32, 4294967295.0, 0, 4294967295.0},
        {QVI_DATATYPE_FLOAT32, -1e10, 0, double(-1e10f)},
        {QVI_DATATYPE_FLOAT64, 0.1, 0, 0.1},
    };
    for (const auto& row : rows) {
        QVISample sample(0, QVI_COLOR_GRAY, row.type);
        ASSERT_EQ(sample.setValueFromDouble(9.0), 0u);
        EXPECT_EQ(sample.setValueFromDouble(row.value), row.status) << row.type << " " << row.value;
        EXPECT_EQ(sample.getValueAsDouble(), row.stored) << row.type << " " << row.value;
    }
    QVISample invalid;
    EXPECT_EQ(invalid.setValueFromDouble(1.0), QVI_STS_Core_UnsupportedDataType);
}

TEST(Sample, EqualityAndImpedance)
{
    QVISample a(1, QVI_COLOR_RED, QVI_DATATYPE_UINT16);
    QVISample b = a;
    EXPECT_EQ(a, b);
    b.setValueUint16(1);
    EXPECT_NE(a, b);
    b = a;
    b.setPrecision(12);
    EXPECT_NE(a, b);
    b = a;
    b.setColor(QVI_COLOR_BLUE);
    EXPECT_NE(a, b);
    EXPECT_EQ(a.checkImpedance(b), QVI_STS_Core_MismatchColorSpace);
    EXPECT_EQ(a.checkImpedance(QVISample(7, QVI_COLOR_RED, QVI_DATATYPE_UINT16)), 0u);
    EXPECT_EQ(a.checkImpedance(QVISample(1, QVI_COLOR_BLUE, QVI_DATATYPE_SINT16)),
              QVI_STS_Core_MismatchDataType);
    EXPECT_NE(a, QVISample(2, QVI_COLOR_RED, QVI_DATATYPE_UINT16));
}

TEST(Sample, AssignmentThroughTheBaseCopiesEverything)
{
    const double value = 0.25;
    const QVISample source(4, QVI_COLOR_ALPHA, QVI_DATATYPE_FLOAT64, &value);
    QVISample target;
    QVISample& asBase = target;
    asBase = source;
    EXPECT_EQ(target, source);
    EXPECT_EQ(target.getValueFloat64(), 0.25);
}
