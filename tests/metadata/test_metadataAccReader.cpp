// A reader's classical records turned into its properties
// (loadMetadataIntoObjects), and dropped from a copy made by init.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core_testReader.h"
#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"
#include "qvi_pixel.h"
#include "qvi_pixelLookupTable.h"

using namespace Orvanetics;
using CoreTest::PropertyReader;
using PropertyReaderRef = CoreTest::Ref<PropertyReader>;

namespace {

template <typename T>
void addVector(QVIMetadataDatabase& db, const char* key, QVIMetadataDataType type, std::vector<T> values) {
    ASSERT_EQ(db.add(QVIMetadataRecord(key, type, values.data(), static_cast<uint32_t>(values.size()))), 0u);
}

template <typename T>
void addScalar(QVIMetadataDatabase& db, const char* key, QVIMetadataDataType type, T value) {
    ASSERT_EQ(db.add(QVIMetadataRecord(key, type, &value)), 0u);
}

// Records as a file would carry them, written without the editor: a 16-bit
// RGBA image with 12 significant bits.
void addClassicalRecords(QVIMetadataDatabase& db) {
    addScalar<uint32_t>(db, "IMAGE::COLOR_SCHEME", QVI_METADATA_DATATYPE_UINT32, 13);  // RGBA
    addScalar<uint32_t>(db, "IMAGE::DATA_TYPE", QVI_METADATA_DATATYPE_UINT32, 2);      // UINT16
    addScalar<uint16_t>(db, "IMAGE::BITS_PER_SAMPLE", QVI_METADATA_DATATYPE_UINT16, 12);
    // Per band: 0..4095, 100..1099, 10..19, 0..65535.
    addVector<double>(db, "IMAGE::DYNAMIC_RANGE_WINDOW", QVI_METADATA_DATATYPE_FLOAT64, {4096, 1000, 10, 65536});
    addVector<double>(db, "IMAGE::DYNAMIC_RANGE_LEVEL", QVI_METADATA_DATATYPE_FLOAT64, {2047.5, 599.5, 14.5, 32767.5});
    addVector<uint16_t>(db, "IMAGE::DEFAULT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT16, {1, 2, 3, 4});
    addVector<uint16_t>(db, "IMAGE::TRANSPARENT_DATA_VALUE", QVI_METADATA_DATATYPE_UINT16, {0, 0, 0, 0});
    const uint8_t lut[6] = {255, 0, 0, 255, 0, 128};  // two entries: red and violet
    const uint32_t lutDims[2] = {3, 2};
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::INPUT_LUT", QVI_METADATA_DATATYPE_UINT8, lut, 2u, lutDims)), 0u);
    addVector<double>(db, "IMAGE::XY_ORIGIN", QVI_METADATA_DATATYPE_FLOAT64, {500000.0, 4100000.0});
    addScalar<double>(db, "IMAGE::X_RESOLUTION", QVI_METADATA_DATATYPE_FLOAT64, 30.0);
    addScalar<double>(db, "IMAGE::Y_RESOLUTION", QVI_METADATA_DATATYPE_FLOAT64, 30.0);
    addScalar<double>(db, "IMAGE::X_ROTATION", QVI_METADATA_DATATYPE_FLOAT64, 0.5);
    addScalar<double>(db, "IMAGE::Y_ROTATION", QVI_METADATA_DATATYPE_FLOAT64, -0.5);
    const char* wkt = "PROJCS[\"test\"]";
    ASSERT_EQ(db.add(QVIMetadataRecord("IMAGE::WKT", QVI_METADATA_DATATYPE_ASCII, &wkt)), 0u);
    addScalar<uint32_t>(db, "IMAGE::WIDTH", QVI_METADATA_DATATYPE_UINT32, 300);
    addScalar<uint32_t>(db, "IMAGE::HEIGHT", QVI_METADATA_DATATYPE_UINT32, 200);
}

const char* const kClassicalKeys[] = {
    "IMAGE::WIDTH", "IMAGE::HEIGHT", "IMAGE::COLOR_SCHEME", "IMAGE::DATA_TYPE",
    "IMAGE::BITS_PER_SAMPLE", "IMAGE::DYNAMIC_RANGE_WINDOW", "IMAGE::DYNAMIC_RANGE_LEVEL",
    "IMAGE::INPUT_LUT", "IMAGE::NO_DATA_VALUE", "IMAGE::DEFAULT_DATA_VALUE",
    "IMAGE::TRANSPARENT_DATA_VALUE", "IMAGE::XY_ORIGIN", "IMAGE::X_RESOLUTION",
    "IMAGE::Y_RESOLUTION", "IMAGE::X_ROTATION", "IMAGE::Y_ROTATION", "IMAGE::WKT",
};

void expectNoClassicalRecords(const QVIMetadataDatabase& db) {
    for (const char* key : kClassicalKeys) EXPECT_FALSE(db.has(key)) << key;
}

// Same layout, precisions and values, sample by sample.
bool samePixel(const QVIPixel& a, const QVIPixel& b) {
    if (a.getColorSpace() != b.getColorSpace() || a.getNumBands() != b.getNumBands()) return false;
    for (uint16_t band = 0; band < a.getNumBands(); ++band) {
        if (a.getSample(band) != b.getSample(band)) return false;
    }
    return true;
}

PropertyReaderRef makeReader(uint32_t width, uint32_t height) {
    PropertyReaderRef reader(PropertyReader::create());
    reader->setDimensions(width, height);
    return reader;
}

}  // namespace

TEST(MetadataAccReader, LoadsEveryClassicalProperty) {
    PropertyReaderRef reader = makeReader(300, 200);
    QVIMetadataDatabase& db = reader->database();
    addClassicalRecords(db);
    addScalar<uint16_t>(db, "IMAGE::HORIZONTAL_UNITS", QVI_METADATA_DATATYPE_UINT16, 9001);
    const char* company = "Company";
    ASSERT_EQ(db.add(QVIMetadataRecord("USER::COMPANY_NAME", QVI_METADATA_DATATYPE_ASCII, &company)), 0u);

    // The reader's own idea of the pixel: four 8-bit bands.
    QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, 4, QVI_DATATYPE_UINT8);
    ASSERT_EQ(reader->load(pixel, true, true), 0u);

    QVIPixel expected(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT16);
    for (uint16_t b = 0; b < 4; ++b) expected.getSample(b).setPrecision(12);
    EXPECT_TRUE(samePixel(reader->getPixelProps(), expected));
    EXPECT_EQ(pixel.getColorSpace(), QVI_COLORSPACE_RGBA);  // the caller's pixel is filled too

    const auto expectValues = [&expected](const QVIPixel* actual, std::vector<uint16_t> values) {
        ASSERT_NE(actual, nullptr);
        expected.setSampleValuesUint16(values.data());
        EXPECT_TRUE(samePixel(*actual, expected)) << values[0] << " " << values[1] << " " << values[2];
    };
    expectValues(&reader->getMinDynamicRange(), {0, 100, 10, 0});
    expectValues(&reader->getMaxDynamicRange(), {4095, 1099, 19, 65535});
    expectValues(reader->getBackgroundPixel(), {1, 2, 3, 4});
    expectValues(reader->getNoDataPixel(), {0, 0, 0, 0});

    const QVIPixelLookupTable* table = reader->getPixelLookupTable();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->getTableSize(), 2u);
    const uint8_t* entries = static_cast<const uint8_t*>(table->getTableEntries());
    EXPECT_EQ(std::vector<uint8_t>(entries, entries + 6), (std::vector<uint8_t>{255, 0, 0, 255, 0, 128}));

    EXPECT_FALSE(reader->isGeoCoordImplicit());
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(500000.0, 4100000.0, 30.0, -30.0, 0.5, -0.5, "PROJCS[\"test\"]"));

    expectNoClassicalRecords(db);
    EXPECT_EQ(db.getIndexCount(), 2u);
    EXPECT_TRUE(db.has("IMAGE::HORIZONTAL_UNITS"));
    EXPECT_TRUE(db.has("USER::COMPANY_NAME"));
}

TEST(MetadataAccReader, AbsentRecordsGiveDefaults) {
    PropertyReaderRef reader = makeReader(40, 30);
    QVIPixel stale(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    ASSERT_EQ(reader->setPixelProps(stale), 0u);
    ASSERT_EQ(reader->setBackgroundPixel(&stale), 0u);
    ASSERT_EQ(reader->setNoDataPixel(&stale), 0u);

    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_SINT16);
    ASSERT_EQ(reader->load(pixel, true, true), 0u);
    EXPECT_TRUE(samePixel(reader->getPixelProps(), pixel));
    EXPECT_TRUE(reader->isNaturalDynamicRange());
    EXPECT_EQ(reader->getBackgroundPixel(), nullptr);
    EXPECT_EQ(reader->getNoDataPixel(), nullptr);
    EXPECT_EQ(reader->getPixelLookupTable(), nullptr);
    EXPECT_TRUE(reader->isGeoCoordImplicit());
    EXPECT_EQ(reader->getGeoCoord().getY(), 29.0);  // lower-left pixel at the origin
}

TEST(MetadataAccReader, WithoutPixelPropsOrGeoCoord) {
    PropertyReaderRef reader = makeReader(300, 200);
    addClassicalRecords(reader->database());
    const QVIGeoCoord own(1.0, 2.0, 3.0, -3.0, 0.0, 0.0);
    ASSERT_EQ(reader->setGeoCoord(own), 0u);
    QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, 4, QVI_DATATYPE_UINT16);
    ASSERT_EQ(reader->setPixelProps(pixel), 0u);

    ASSERT_EQ(reader->load(pixel, false, false), 0u);
    EXPECT_EQ(reader->getPixelProps().getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);
    EXPECT_EQ(reader->getMaxDynamicRange().getSampleValueUint16(2), 19);  // the range still loads
    EXPECT_EQ(reader->getGeoCoord(), own);
    expectNoClassicalRecords(reader->database());
}

TEST(MetadataAccReader, MalformedRecordsFailTheLoad) {
    PropertyReaderRef reader = makeReader(10, 10);
    const uint8_t flat[3] = {1, 2, 3};
    ASSERT_EQ(reader->database().add(QVIMetadataRecord("IMAGE::INPUT_LUT", QVI_METADATA_DATATYPE_UINT8, flat, 3u)),
              0u);
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    EXPECT_EQ(reader->load(pixel, true, true), QVStatus(50507));

    PropertyReaderRef geoReader = makeReader(10, 10);
    addVector<double>(geoReader->database(), "IMAGE::XY_ORIGIN", QVI_METADATA_DATATYPE_FLOAT64, {1.0});
    EXPECT_EQ(geoReader->load(pixel, true, true), QVStatus(50028));
}

TEST(MetadataAccReader, EditorThenAccessorRoundTrip) {
    // Properties written by the editor come back through the reader unchanged.
    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    for (uint16_t b = 0; b < 3; ++b) pixel.getSample(b).setPrecision(11);
    QVIPixel minimum(pixel), maximum(pixel);
    const uint16_t mins[3] = {5, 6, 7};
    const uint16_t maxs[3] = {2000, 2001, 2047};
    minimum.setSampleValuesUint16(mins);
    maximum.setSampleValuesUint16(maxs);
    QVIPixelLookupTable table(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), 3);
    const uint8_t entries[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    table.setTableEntries(entries);
    const QVIGeoCoord geo(12.5, 47.25, 0.0001, -0.0002, 0.0, 0.0, "GEOGCS[\"x\"]");

    PropertyReaderRef reader = makeReader(64, 48);
    QVIMetadataEditor editor(reader->database());
    ASSERT_EQ(editor.setPixelProps(pixel, false), 0u);
    ASSERT_EQ(editor.setDynamicRange(minimum, maximum), 0u);
    ASSERT_EQ(editor.setPixelLookupTable(table), 0u);
    ASSERT_EQ(editor.setBackgroundPixel(maximum), 0u);
    ASSERT_EQ(editor.setGeoCoord(geo), 0u);

    QVIPixel loaded(QVI_COLORSPACE_MULTISPECTRAL, 3, QVI_DATATYPE_UINT8);
    ASSERT_EQ(reader->load(loaded, true, true), 0u);
    EXPECT_TRUE(samePixel(reader->getPixelProps(), pixel));
    EXPECT_TRUE(samePixel(reader->getMinDynamicRange(), minimum));
    EXPECT_TRUE(samePixel(reader->getMaxDynamicRange(), maximum));
    ASSERT_NE(reader->getBackgroundPixel(), nullptr);
    EXPECT_TRUE(samePixel(*reader->getBackgroundPixel(), maximum));
    ASSERT_NE(reader->getPixelLookupTable(), nullptr);
    EXPECT_EQ(std::memcmp(reader->getPixelLookupTable()->getTableEntries(), entries, 9), 0);
    EXPECT_EQ(reader->getGeoCoord(), geo);
    EXPECT_EQ(reader->database().getIndexCount(), 0u);
}

TEST(MetadataAccReader, InitFromAnImageDropsTheClassicalRecords) {
    PropertyReaderRef source = makeReader(300, 200);
    QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, 4, QVI_DATATYPE_UINT8);
    addClassicalRecords(source->database());
    ASSERT_EQ(source->load(pixel, true, true), 0u);
    // Put the records back, as a stage that keeps them would have them.
    addClassicalRecords(source->database());
    QVIMetadataEditor(source->database()).set_comment("kept");

    PropertyReaderRef copy(PropertyReader::create());
    ASSERT_EQ(copy->initFrom(source.get()), 0u);
    EXPECT_EQ(copy->getWidth(), 300u);
    EXPECT_TRUE(samePixel(copy->getPixelProps(), source->getPixelProps()));
    EXPECT_EQ(copy->getGeoCoord(), source->getGeoCoord());
    expectNoClassicalRecords(copy->database());
    EXPECT_EQ(copy->database().getIndexCount(), 1u);
    EXPECT_TRUE(copy->database().has("ASCII::COMMENT"));
    EXPECT_TRUE(source->database().has("IMAGE::WIDTH"));  // the source keeps its own
}
