// Pixel properties, dynamic range, background and no-data pixels, lookup
// tables, statistics and the classical records as a whole.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "core_testReader.h"
#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"
#include "qvi_pixel.h"
#include "qvi_pixelLookupTable.h"

using namespace Orvanetics;

namespace {

// The value of a scalar record looked up by its literal key.
template <typename T>
T storedScalar(const QVIMetadataDatabase& db, const char* key, QVIMetadataDataType type) {
    const QVIMetadataRecord* record = nullptr;
    EXPECT_EQ(db.get(key, record), 0u) << key;
    if (record == nullptr) return T();
    EXPECT_EQ(record->getDataType(), type) << key;
    EXPECT_TRUE(record->isScalar()) << key;
    T value;
    std::memcpy(&value, record->getScalarData(), sizeof(T));
    return value;
}

template <typename T>
std::vector<T> storedVector(const QVIMetadataDatabase& db, const char* key, QVIMetadataDataType type) {
    const QVIMetadataRecord* record = nullptr;
    EXPECT_EQ(db.get(key, record), 0u) << key;
    if (record == nullptr) return {};
    EXPECT_EQ(record->getDataType(), type) << key;
    EXPECT_EQ(record->getNumDims(), 1u) << key;
    const T* data = static_cast<const T*>(record->getScalarData());
    return std::vector<T>(data, data + record->getNumValues());
}

void addUint32(QVIMetadataDatabase& db, const char* key, uint32_t value) {
    ASSERT_EQ(db.add(QVIMetadataRecord(key, QVI_METADATA_DATATYPE_UINT32, &value)), 0u);
}

void addDoubles(QVIMetadataDatabase& db, const char* key, std::vector<double> values) {
    ASSERT_EQ(db.add(QVIMetadataRecord(key, QVI_METADATA_DATATYPE_FLOAT64, values.data(),
                                       static_cast<uint32_t>(values.size()))),
              0u);
}

struct SchemeRow {
    uint32_t code;
    QVIColorSpace colorSpace;
    uint16_t bands;
};

// The colour scheme codes of IMAGE::COLOR_SCHEME.
const SchemeRow kSchemes[] = {
    {0, QVI_COLORSPACE_RGB, 3},        {2, QVI_COLORSPACE_CMYK, 4},
    {3, QVI_COLORSPACE_GRAYSCALE, 1},  {10, QVI_COLORSPACE_MULTISPECTRAL, 5},
    {11, QVI_COLORSPACE_GRAYSCALEA, 2}, {12, QVI_COLORSPACE_GRAYSCALEA_PM, 2},
    {13, QVI_COLORSPACE_RGBA, 4},      {14, QVI_COLORSPACE_RGBA_PM, 4},
    {15, QVI_COLORSPACE_CMYKA, 5},     {16, QVI_COLORSPACE_CMYKA_PM, 5},
};

struct TypeRow {
    uint32_t code;
    QVIDataType dataType;
};

// The data type codes of IMAGE::DATA_TYPE.
const TypeRow kTypes[] = {
    {0, QVI_DATATYPE_UINT8},   {10, QVI_DATATYPE_SINT8},  {2, QVI_DATATYPE_UINT16},
    {11, QVI_DATATYPE_SINT16}, {14, QVI_DATATYPE_UINT32}, {12, QVI_DATATYPE_SINT32},
    {1, QVI_DATATYPE_FLOAT32}, {16, QVI_DATATYPE_FLOAT64},
};

}  // namespace

TEST(MetadataAccPixelProps, ColorSchemeCodesBothWays) {
    for (const SchemeRow& row : kSchemes) {
        QVIMetadataDatabase db;
        QVIMetadataEditor editor(db);
        ASSERT_EQ(editor.setPixelProps(QVIPixel(row.colorSpace, row.bands, QVI_DATATYPE_UINT8), false), 0u);
        EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::COLOR_SCHEME", QVI_METADATA_DATATYPE_UINT32), row.code);

        QVIMetadataDatabase records;
        addUint32(records, "IMAGE::COLOR_SCHEME", row.code);
        QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, row.bands, QVI_DATATYPE_UINT8);
        ASSERT_EQ(QVIMetadataAcc(records).getPixelProps(pixel), 0u);
        EXPECT_EQ(pixel.getColorSpace(), row.colorSpace) << row.code;
        EXPECT_EQ(pixel.getNumBands(), row.bands);
    }
}

TEST(MetadataAccPixelProps, DataTypeCodesBothWays) {
    for (const TypeRow& row : kTypes) {
        QVIMetadataDatabase db;
        QVIMetadataEditor editor(db);
        ASSERT_EQ(editor.setPixelProps(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, row.dataType), false), 0u);
        EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::DATA_TYPE", QVI_METADATA_DATATYPE_UINT32), row.code);
        EXPECT_FALSE(db.has("IMAGE::BITS_PER_SAMPLE"));  // full precision needs no record

        QVIMetadataDatabase records;
        addUint32(records, "IMAGE::DATA_TYPE", row.code);
        QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
        ASSERT_EQ(QVIMetadataAcc(records).getPixelProps(pixel), 0u);
        EXPECT_EQ(pixel.getDataType(), row.dataType) << row.code;
    }
}

TEST(MetadataAccPixelProps, SpacesAndCodesWithoutAnEntryChangeNothing) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.setPixelProps(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), false), 0u);
    // YIQ has no code: the stale RGB code must not survive.
    ASSERT_EQ(editor.setPixelProps(QVIPixel(QVI_COLORSPACE_YIQ, 3, QVI_DATATYPE_UINT16), false), 0u);
    EXPECT_FALSE(db.has("IMAGE::COLOR_SCHEME"));
    EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::DATA_TYPE", QVI_METADATA_DATATYPE_UINT32), 2u);

    QVIMetadataDatabase records;
    addUint32(records, "IMAGE::COLOR_SCHEME", 1);   // no such code
    addUint32(records, "IMAGE::DATA_TYPE", 3);      // no such code
    QVIPixel pixel(QVI_COLORSPACE_CMYK, 4, QVI_DATATYPE_SINT16);
    ASSERT_EQ(QVIMetadataAcc(records).getPixelProps(pixel), 0u);
    EXPECT_EQ(pixel.getColorSpace(), QVI_COLORSPACE_CMYK);
    EXPECT_EQ(pixel.getDataType(), QVI_DATATYPE_SINT16);
}

TEST(MetadataAccPixelProps, BitsPerSampleWrittenOnlyWhenItTellsSomething) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    ASSERT_EQ(editor.setPixelBPS(pixel, false), 0u);
    EXPECT_FALSE(db.has("IMAGE::BITS_PER_SAMPLE"));
    ASSERT_EQ(editor.setPixelBPS(pixel, true), 0u);
    EXPECT_EQ(storedScalar<uint16_t>(db, "IMAGE::BITS_PER_SAMPLE", QVI_METADATA_DATATYPE_UINT16), 16);

    // The largest precision of the samples.
    pixel.getSample(0).setPrecision(10);
    pixel.getSample(1).setPrecision(12);
    pixel.getSample(2).setPrecision(11);
    ASSERT_EQ(editor.setPixelProps(pixel, false), 0u);
    EXPECT_EQ(storedScalar<uint16_t>(db, "IMAGE::BITS_PER_SAMPLE", QVI_METADATA_DATATYPE_UINT16), 12);

    // Once there, a full-width precision replaces it rather than leaving 12 behind.
    ASSERT_EQ(editor.setPixelBPS(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16), false), 0u);
    EXPECT_EQ(storedScalar<uint16_t>(db, "IMAGE::BITS_PER_SAMPLE", QVI_METADATA_DATATYPE_UINT16), 16);

    ASSERT_EQ(editor.removePixelProps(), 0u);
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccPixelProps, PrecisionFromTheRecordOrTheDynamicRange) {
    QVIMetadataDatabase withBits;
    const uint16_t bits = 12;
    ASSERT_EQ(withBits.add(QVIMetadataRecord("IMAGE::BITS_PER_SAMPLE", QVI_METADATA_DATATYPE_UINT16, &bits)), 0u);
    addDoubles(withBits, "IMAGE::DYNAMIC_RANGE_WINDOW", {256.0});  // ignored beside the record
    addDoubles(withBits, "IMAGE::DYNAMIC_RANGE_LEVEL", {127.5});
    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    ASSERT_EQ(QVIMetadataAcc(withBits).getPixelProps(pixel), 0u);
    for (uint16_t b = 0; b < 3; ++b) EXPECT_EQ(pixel.getSample(b).getPrecision(), 12u);

    // Ranges 0..1023, 0..4095 and -128..127: 10, 12 and 8 significant bits.
    QVIMetadataDatabase withRange;
    addDoubles(withRange, "IMAGE::DYNAMIC_RANGE_WINDOW", {1024.0, 4096.0, 256.0});
    addDoubles(withRange, "IMAGE::DYNAMIC_RANGE_LEVEL", {511.5, 2047.5, -0.5});
    QVIPixel ranged(QVI_COLORSPACE_MULTISPECTRAL, 3, QVI_DATATYPE_SINT32);
    ASSERT_EQ(QVIMetadataAcc(withRange).getPixelProps(ranged), 0u);
    EXPECT_EQ(ranged.getSample(0).getPrecision(), 10u);
    EXPECT_EQ(ranged.getSample(1).getPrecision(), 12u);
    EXPECT_EQ(ranged.getSample(2).getPrecision(), 8u);

    // Floating samples keep their precision.
    QVIPixel floating(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_FLOAT32);
    ASSERT_EQ(QVIMetadataAcc(withBits).getPixelProps(floating), 0u);
    EXPECT_EQ(floating.getSample(0).getPrecision(), 32u);
}

TEST(MetadataAccDynamicRange, EqualBandsWriteScalars) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    QVIPixel minimum(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    QVIPixel maximum(minimum);
    minimum.setSampleValuesUint8(uint8_t(10));
    maximum.setSampleValuesUint8(uint8_t(200));
    ASSERT_EQ(editor.setDynamicRange(minimum, maximum), 0u);
    // window = max - min + 1, level = (min + max) / 2
    EXPECT_EQ(storedScalar<double>(db, "IMAGE::DYNAMIC_RANGE_WINDOW", QVI_METADATA_DATATYPE_FLOAT64), 191.0);
    EXPECT_EQ(storedScalar<double>(db, "IMAGE::DYNAMIC_RANGE_LEVEL", QVI_METADATA_DATATYPE_FLOAT64), 105.0);

    QVIPixel readMin(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    QVIPixel readMax(readMin);
    ASSERT_EQ(editor.getDynamicRange(readMin, readMax), 0u);
    for (uint16_t b = 0; b < 3; ++b) {
        EXPECT_EQ(readMin.getSampleValueUint8(b), 10);
        EXPECT_EQ(readMax.getSampleValueUint8(b), 200);
    }
}

TEST(MetadataAccDynamicRange, BandsApartWriteVectorsAndRoundTrip) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    QVIPixel minimum(QVI_COLORSPACE_MULTISPECTRAL, 3, QVI_DATATYPE_SINT16);
    QVIPixel maximum(minimum);
    const int16_t mins[3] = {-1000, 0, 5};
    const int16_t maxs[3] = {1000, 4095, 6};
    minimum.setSampleValuesSint16(mins);
    maximum.setSampleValuesSint16(maxs);
    ASSERT_EQ(editor.setDynamicRange(minimum, maximum), 0u);
    EXPECT_EQ(storedVector<double>(db, "IMAGE::DYNAMIC_RANGE_WINDOW", QVI_METADATA_DATATYPE_FLOAT64),
              (std::vector<double>{2001.0, 4096.0, 2.0}));
    EXPECT_EQ(storedVector<double>(db, "IMAGE::DYNAMIC_RANGE_LEVEL", QVI_METADATA_DATATYPE_FLOAT64),
              (std::vector<double>{0.0, 2047.5, 5.5}));

    QVIPixel readMin(QVI_COLORSPACE_MULTISPECTRAL, 3, QVI_DATATYPE_SINT16);
    QVIPixel readMax(readMin);
    ASSERT_EQ(editor.getDynamicRange(readMin, readMax), 0u);
    for (uint16_t b = 0; b < 3; ++b) {
        EXPECT_EQ(readMin.getSampleValueSint16(b), mins[b]);
        EXPECT_EQ(readMax.getSampleValueSint16(b), maxs[b]);
    }
}

TEST(MetadataAccDynamicRange, CountsMustFit) {
    QVIMetadataDatabase db;
    addDoubles(db, "IMAGE::DYNAMIC_RANGE_WINDOW", {100.0, 200.0});
    addDoubles(db, "IMAGE::DYNAMIC_RANGE_LEVEL", {150.0});
    const QVIMetadataAcc acc(db);
    QVIPixel minimum(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    QVIPixel maximum(minimum);
    EXPECT_EQ(acc.getDynamicRange(minimum, maximum), QVStatus(50029));

    QVIPixel one(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    EXPECT_EQ(acc.getDynamicRange(minimum, one), QVStatus(3));

    // Two bands: the window is one a band, the level one for all.
    QVIPixel twoMin(QVI_COLORSPACE_MULTISPECTRAL, 2, QVI_DATATYPE_UINT8);
    QVIPixel twoMax(twoMin);
    ASSERT_EQ(acc.getDynamicRange(twoMin, twoMax), 0u);
    // min = (2 level - window + 1) / 2 and max = min + window - 1, truncated.
    EXPECT_EQ(twoMin.getSampleValueUint8(0), 100);
    EXPECT_EQ(twoMax.getSampleValueUint8(0), 199);
    EXPECT_EQ(twoMin.getSampleValueUint8(1), 50);
    EXPECT_EQ(twoMax.getSampleValueUint8(1), 249);

    QVIMetadataDatabase empty;
    EXPECT_EQ(QVIMetadataAcc(empty).getDynamicRange(twoMin, twoMax), QVStatus(50503));
    QVIMetadataEditor editor(db);
    EXPECT_EQ(editor.removeDynamicRange(), 0u);
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccBackground, KeyDependsOnTheDataType) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    // 16-bit samples go to the current key, 8-bit ones to the historic key; each replaces the other.
    QVIPixel wide(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    const uint16_t wideValues[3] = {1, 300, 65535};
    wide.setSampleValuesUint16(wideValues);
    ASSERT_EQ(editor.setBackgroundPixel(wide), 0u);
    EXPECT_EQ(storedVector<uint16_t>(db, "IMAGE::DEFAULT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT16),
              (std::vector<uint16_t>{1, 300, 65535}));
    EXPECT_FALSE(db.has("IMAGE::NO_DATA_VALUE"));
    QVIPixel narrow(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    narrow.setSampleValueUint8(2, 9);
    ASSERT_EQ(editor.setBackgroundPixel(narrow), 0u);
    EXPECT_EQ(storedVector<uint8_t>(db, "IMAGE::NO_DATA_VALUE", QVI_METADATA_DATATYPE_UINT8),
              (std::vector<uint8_t>{0, 0, 9}));
    EXPECT_FALSE(db.has("IMAGE::DEFAULT_DATA_VALUE"));

    QVIPixel read(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    ASSERT_EQ(editor.getBackgroundPixel(read), 0u);
    EXPECT_EQ(read.getSampleValueUint8(2), 9);

    // A 16-bit pixel doesn't look at the historic key.
    QVIPixel readWide(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    EXPECT_EQ(editor.getBackgroundPixel(readWide), QVStatus(50503));

    ASSERT_EQ(editor.removeBackgroundPixel(), 0u);
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccBackground, DefaultValueWinsAndCopiesAtMostTheBands) {
    QVIMetadataDatabase db;
    const uint8_t historic[3] = {1, 2, 3};
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::NO_DATA_VALUE", QVI_METADATA_DATATYPE_UINT8, historic, 3u)), 0u);
    const uint8_t current[5] = {11, 12, 13, 14, 15};
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::DEFAULT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT8, current, 5u)), 0u);
    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    ASSERT_EQ(QVIMetadataAcc(db).getBackgroundPixel(pixel), 0u);
    EXPECT_EQ(pixel.getSampleValueUint8(0), 11);
    EXPECT_EQ(pixel.getSampleValueUint8(2), 13);

    // Fewer values than bands leave the rest as they were.
    QVIPixel wider(QVI_COLORSPACE_MULTISPECTRAL, 6, QVI_DATATYPE_UINT8);
    wider.setSampleValuesUint8(uint8_t(99));
    ASSERT_EQ(QVIMetadataAcc(db).getBackgroundPixel(wider), 0u);
    EXPECT_EQ(wider.getSampleValueUint8(4), 15);
    EXPECT_EQ(wider.getSampleValueUint8(5), 99);
}

TEST(MetadataAccBackground, RecordMustBeAVector) {
    QVIMetadataDatabase db;
    const uint16_t grid[4] = {};
    const uint32_t dims[2] = {2, 2};
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::DEFAULT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT16, grid, 2u, dims)), 0u);
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::TRANSPARENT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT16, grid, 2u, dims)), 0u);
    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    EXPECT_EQ(QVIMetadataAcc(db).getBackgroundPixel(pixel), QVStatus(50507));
    EXPECT_EQ(QVIMetadataAcc(db).getNoDataPixel(pixel), QVStatus(50507));
}

TEST(MetadataAccNoData, TransparentValueRoundTrip) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_FLOAT32);
    pixel.setSampleValueFloat32(0, -9999.5f);
    ASSERT_EQ(editor.setNoDataPixel(pixel), 0u);
    EXPECT_EQ(storedVector<float>(db, "IMAGE::TRANSPARENT_DATA_VALUE", QVI_METADATA_DATATYPE_FLOAT32),
              (std::vector<float>{-9999.5f}));
    QVIPixel read(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_FLOAT32);
    ASSERT_EQ(editor.getNoDataPixel(read), 0u);
    EXPECT_EQ(read.getSampleValueFloat32(0), -9999.5f);
    ASSERT_EQ(editor.removeNoDataPixel(), 0u);
    EXPECT_EQ(editor.getNoDataPixel(read), QVStatus(50503));
}

TEST(MetadataAccLookupTable, StoredBandsByEntries) {
    QVIPixelLookupTable table(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), 4);
    // Band by band: reds, then greens, then blues.
    const uint8_t entries[12] = {10, 11, 12, 13, 20, 21, 22, 23, 30, 31, 32, 33};
    table.setTableEntries(entries);

    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.setPixelLookupTable(table), 0u);
    const QVIMetadataRecord* record = nullptr;
    ASSERT_EQ(db.get("IMAGE::INPUT_LUT", record), 0u);
    EXPECT_EQ(record->getDataType(), QVI_METADATA_DATATYPE_UINT8);
    ASSERT_EQ(record->getNumDims(), 2u);
    EXPECT_EQ(record->getDims()[0], 3u);
    EXPECT_EQ(record->getDims()[1], 4u);
    EXPECT_EQ(std::memcmp(record->getScalarData(), entries, 12), 0);

    QVIPixelLookupTable* read = nullptr;
    ASSERT_EQ(editor.getPixelLookupTable(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8), read), 0u);
    const std::unique_ptr<QVIPixelLookupTable> owned(read);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->getTableSize(), 4u);
    EXPECT_EQ(read->getNumBands(), 3u);
    std::unique_ptr<QVIPixel> entry(read->getTableEntry(2));
    EXPECT_EQ(entry->getSampleValueUint8(0), 12);
    EXPECT_EQ(entry->getSampleValueUint8(1), 22);
    EXPECT_EQ(entry->getSampleValueUint8(2), 32);
}

TEST(MetadataAccLookupTable, OnlyThreeByteBandsWithoutAlpha) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    EXPECT_EQ(editor.setPixelLookupTable(QVIPixelLookupTable(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16), 4)),
              QVStatus(50003));
    EXPECT_EQ(editor.setPixelLookupTable(QVIPixelLookupTable(QVIPixel(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8), 4)),
              QVStatus(50003));
    EXPECT_EQ(editor.setPixelLookupTable(QVIPixelLookupTable(QVIPixel(QVI_COLORSPACE_GRAYSCALEA, 3, QVI_DATATYPE_UINT8), 4)),
              QVStatus(50003));
    EXPECT_EQ(db.getIndexCount(), 0u);

    QVIPixelLookupTable sentinel(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), 1);
    QVIPixelLookupTable* table = &sentinel;
    ASSERT_EQ(editor.getPixelLookupTable(QVIPixel(), table), 0u);
    EXPECT_EQ(table, nullptr);

    // A table of another shape is refused.
    const uint8_t flat[6] = {};
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::INPUT_LUT", QVI_METADATA_DATATYPE_UINT8, flat, 6u)), 0u);
    EXPECT_EQ(editor.getPixelLookupTable(QVIPixel(), table), QVStatus(50507));
    EXPECT_EQ(table, nullptr);
    ASSERT_EQ(editor.removePixelLookupTable(), 0u);
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccStatistics, MeansAsDoublesLimitsInThePixelType) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_SINT16);
    const double mean[3] = {1.25, 2.5, 3.75};
    const double stddev[3] = {0.5, 0.25, 0.125};
    const double min[3] = {-5.7, 0.9, 10.2};
    const double max[3] = {99.9, -1.5, 32767.0};
    ASSERT_EQ(editor.setStatistics(pixel, mean, stddev, min, max), 0u);
    EXPECT_EQ(storedVector<double>(db, "IMAGE::STATISTICS:MEAN", QVI_METADATA_DATATYPE_FLOAT64),
              (std::vector<double>{1.25, 2.5, 3.75}));
    EXPECT_EQ(storedVector<double>(db, "IMAGE::STATISTICS:STANDARD_DEVIATION", QVI_METADATA_DATATYPE_FLOAT64),
              (std::vector<double>{0.5, 0.25, 0.125}));
    EXPECT_EQ(storedVector<int16_t>(db, "IMAGE::STATISTICS:MIN", QVI_METADATA_DATATYPE_SINT16),
              (std::vector<int16_t>{-5, 0, 10}));
    EXPECT_EQ(storedVector<int16_t>(db, "IMAGE::STATISTICS:MAX", QVI_METADATA_DATATYPE_SINT16),
              (std::vector<int16_t>{99, -1, 32767}));
}

TEST(MetadataAccClassical, RemovesExactlyTheClassicalRecords) {
    QVIMetadataDatabase db;
    const char* classical[] = {
        "IMAGE::WIDTH", "IMAGE::HEIGHT", "IMAGE::COLOR_SCHEME", "IMAGE::DATA_TYPE",
        "IMAGE::BITS_PER_SAMPLE", "IMAGE::DYNAMIC_RANGE_WINDOW", "IMAGE::DYNAMIC_RANGE_LEVEL",
        "IMAGE::INPUT_LUT", "IMAGE::NO_DATA_VALUE", "IMAGE::DEFAULT_DATA_VALUE",
        "IMAGE::TRANSPARENT_DATA_VALUE", "IMAGE::XY_ORIGIN", "IMAGE::X_RESOLUTION",
        "IMAGE::Y_RESOLUTION", "IMAGE::X_ROTATION", "IMAGE::Y_ROTATION", "IMAGE::WKT",
    };
    const char* others[] = {"IMAGE::Z_RESOLUTION", "IMAGE::HORIZONTAL_UNITS", "IMAGE::MODIFICATIONS",
                            "GEO::ProjectedCSTypeGeoKey", "USER::COMPANY_NAME"};
    for (const char* key : classical) addUint32(db, key, 1);
    for (const char* key : others) addUint32(db, key, 2);

    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.removeClassicalMetadata(), 0u);
    ASSERT_EQ(db.getIndexCount(), std::size(others));
    for (const char* key : others) EXPECT_TRUE(db.has(key)) << key;
    EXPECT_EQ(editor.removeClassicalMetadata(), 0u);
}

TEST(MetadataAccClassical, SetFromAnImage) {
    CoreTest::Ref<CoreTest::PropertyReader> image(CoreTest::PropertyReader::create());
    image->setDimensions(640, 480);
    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    ASSERT_EQ(image->setPixelProps(pixel), 0u);
    ASSERT_EQ(image->setGeoCoord(QVIGeoCoord(500.0, 900.0, 2.0, -2.0, 0.0, 0.0)), 0u);

    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    addUint32(db, "IMAGE::DYNAMIC_RANGE_WINDOW", 7);  // stale: the image's range is natural
    ASSERT_EQ(editor.setClassicalMetadata(*image), 0u);
    EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::WIDTH", QVI_METADATA_DATATYPE_UINT32), 640u);
    EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::HEIGHT", QVI_METADATA_DATATYPE_UINT32), 480u);
    EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::COLOR_SCHEME", QVI_METADATA_DATATYPE_UINT32), 0u);
    EXPECT_EQ(storedScalar<uint32_t>(db, "IMAGE::DATA_TYPE", QVI_METADATA_DATATYPE_UINT32), 0u);
    EXPECT_FALSE(db.has("IMAGE::DYNAMIC_RANGE_WINDOW"));
    EXPECT_FALSE(db.has("IMAGE::NO_DATA_VALUE"));
    EXPECT_FALSE(db.has("IMAGE::INPUT_LUT"));
    EXPECT_EQ(storedScalar<double>(db, "IMAGE::X_RESOLUTION", QVI_METADATA_DATATYPE_FLOAT64), 2.0);

    // Now with a range, a background, a no-data pixel and a table, and no georeference.
    QVIPixel minimum(pixel), maximum(pixel);
    minimum.setSampleValuesUint8(uint8_t(16));
    maximum.setSampleValuesUint8(uint8_t(235));
    ASSERT_EQ(image->setDynamicRange(minimum, maximum), 0u);
    ASSERT_EQ(image->setBackgroundPixel(&minimum), 0u);
    ASSERT_EQ(image->setNoDataPixel(&maximum), 0u);
    const QVIPixelLookupTable table(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), 2);
    ASSERT_EQ(image->setPixelLookupTable(&table), 0u);
    ASSERT_EQ(image->setDefaultGeoCoord(*image), 0u);
    ASSERT_EQ(editor.setClassicalMetadata(*image), 0u);
    EXPECT_EQ(storedScalar<double>(db, "IMAGE::DYNAMIC_RANGE_WINDOW", QVI_METADATA_DATATYPE_FLOAT64), 220.0);
    EXPECT_EQ(storedVector<uint8_t>(db, "IMAGE::NO_DATA_VALUE", QVI_METADATA_DATATYPE_UINT8),
              (std::vector<uint8_t>{16, 16, 16}));
    EXPECT_EQ(storedVector<uint8_t>(db, "IMAGE::TRANSPARENT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT8),
              (std::vector<uint8_t>{235, 235, 235}));
    EXPECT_TRUE(db.has("IMAGE::INPUT_LUT"));
    EXPECT_FALSE(db.has("IMAGE::XY_ORIGIN"));  // implicit georeference
}
