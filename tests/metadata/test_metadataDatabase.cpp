// Records, the database and the tag dictionary.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qvi_metadataDatabase.h"

using namespace Orvanetics;

namespace {

QVIMetadataRecord uint32Scalar(const char* key, uint32_t value) {
    return QVIMetadataRecord(key, QVI_METADATA_DATATYPE_UINT32, &value);
}

std::string keyAt(const QVIMetadataDatabase& db, uint32_t index) {
    const QVIMetadataRecord* record = nullptr;
    EXPECT_EQ(db.getDataByIndex(index, record), 0u);
    return record != nullptr ? record->getTagName() : "";
}

}  // namespace

TEST(MetadataRecord, ShapesFollowTheDimensions) {
    // A dimension count of 0 is stored as a scalar too.
    const uint16_t value = 7;
    for (const QVIMetadataRecord& scalar : {QVIMetadataRecord("A", QVI_METADATA_DATATYPE_UINT16, &value),
                                            QVIMetadataRecord("A", QVI_METADATA_DATATYPE_UINT16, &value, 0u, nullptr)}) {
        EXPECT_TRUE(scalar.isScalar());
        EXPECT_FALSE(scalar.isVector());
        EXPECT_EQ(scalar.getNumDims(), 1u);
        EXPECT_EQ(scalar.getDims()[0], 1u);
    }

    const double values[6] = {1, 2, 3, 4, 5, 6};
    const QVIMetadataRecord vector("V", QVI_METADATA_DATATYPE_FLOAT64, values, 6u);
    EXPECT_TRUE(vector.isVector());
    EXPECT_FALSE(vector.isArray());
    uint32_t count = 0;
    const double* stored = static_cast<const double*>(vector.getVectorData(count));
    EXPECT_EQ(count, 6u);
    EXPECT_NE(stored, values);
    EXPECT_EQ(stored[5], 6.0);
    EXPECT_EQ(vector.computeLen(), 48u);

    const uint32_t dims[2] = {2, 3};
    const QVIMetadataRecord array("M", QVI_METADATA_DATATYPE_FLOAT64, values, 2u, dims);
    EXPECT_TRUE(array.isArray());
    EXPECT_EQ(array.getNumValues(), 6u);
    uint32_t numDims = 0;
    const uint32_t* gotDims = nullptr;
    const double* arrayData = static_cast<const double*>(array.getArrayData(numDims, gotDims));
    EXPECT_EQ(numDims, 2u);
    EXPECT_EQ(gotDims[0], 2u);
    EXPECT_EQ(gotDims[1], 3u);
    EXPECT_EQ(arrayData[4], 5.0);

    // A one-element vector is a scalar by shape.
    const QVIMetadataRecord single("S", QVI_METADATA_DATATYPE_FLOAT64, values, 1u);
    EXPECT_TRUE(single.isScalar());
}

TEST(MetadataRecord, StringsAreCopiedOneByOne) {
    std::string first = "alpha", second = "be";
    const char* strings[2] = {first.c_str(), second.c_str()};
    const QVIMetadataRecord record("S", QVI_METADATA_DATATYPE_ASCII, strings, 2u);
    first[0] = 'X';
    const QVIMetadataRecord copy(record);
    uint32_t count = 0;
    const char* const* stored = static_cast<const char* const*>(copy.getVectorData(count));
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(stored[0], "alpha");
    EXPECT_STREQ(stored[1], "be");
    EXPECT_NE(stored[0], static_cast<const char* const*>(record.getScalarData())[0]);
    EXPECT_EQ(record.computeLen(), 2 * sizeof(char*));
    EXPECT_EQ(record.getApproximateSize(), 2 * sizeof(char*) + 7);
}

TEST(MetadataDatabase, AddGetRemoveKeepOrder) {
    QVIMetadataDatabase db;
    ASSERT_EQ(db.add(uint32Scalar("C", 3)), 0u);
    ASSERT_EQ(db.add(uint32Scalar("A", 1)), 0u);
    ASSERT_EQ(db.add(uint32Scalar("B", 2)), 0u);
    EXPECT_EQ(db.add(uint32Scalar("A", 9)), QVI_STS_Metadata_DuplicateTag);
    EXPECT_EQ(db.getIndexCount(), 3u);

    const QVIMetadataRecord* record = nullptr;
    ASSERT_EQ(db.get("A", record), 0u);
    EXPECT_EQ(*static_cast<const uint32_t*>(record->getScalarData()), 1u);
    EXPECT_EQ(db.get("Z", record), QVI_STS_Metadata_TagNotFound);
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(db.has("B"));
    EXPECT_FALSE(db.has("b"));

    ASSERT_EQ(db.remove("C"), 0u);
    EXPECT_EQ(db.remove("C"), QVI_STS_Metadata_TagNotFound);
    EXPECT_EQ(keyAt(db, 0), "A");
    EXPECT_EQ(keyAt(db, 1), "B");
    EXPECT_EQ(db.getDataByIndex(2, record), QVI_STS_Metadata_TagNotFound);
    EXPECT_EQ(record, nullptr);

    EXPECT_EQ(db.getApproximateSize(), 8u);
    db.removeAll();
    EXPECT_EQ(db.getIndexCount(), 0u);
    EXPECT_EQ(db.getDataByIndex(0, record), QVI_STS_Metadata_TagNotFound);
    EXPECT_EQ(record, nullptr);
}

TEST(MetadataDatabase, TagFormsUseTheDictionaryKey) {
    const uint32_t width = 640;
    const QVIMetadataRecord byTag(QVI_METADATA_TAG_IMAGE_WIDTH, QVI_METADATA_DATATYPE_UINT32, &width);
    EXPECT_STREQ(byTag.getTagName(), "IMAGE::WIDTH");
    EXPECT_EQ(byTag.getTag(), QVI_METADATA_TAG_IMAGE_WIDTH);
    EXPECT_EQ(uint32Scalar("NOT::KNOWN", 1).getTag(), QVI_METADATA_TAG_UNKNOWN);

    QVIMetadataDatabase db;
    ASSERT_EQ(db.add(uint32Scalar("IMAGE::HEIGHT", 480)), 0u);
    EXPECT_TRUE(db.has(QVI_METADATA_TAG_IMAGE_HEIGHT));
    EXPECT_FALSE(db.has(QVI_METADATA_TAG_IMAGE_WIDTH));
    const QVIMetadataRecord* record = nullptr;
    EXPECT_EQ(db.get(QVI_METADATA_TAG_IMAGE_HEIGHT, record), 0u);
    EXPECT_EQ(db.remove(QVI_METADATA_TAG_IMAGE_WIDTH), QVI_STS_Metadata_TagNotFound);
    EXPECT_EQ(db.remove(QVI_METADATA_TAG_IMAGE_HEIGHT), 0u);
    EXPECT_FALSE(db.has("IMAGE::HEIGHT"));
}

TEST(MetadataDatabase, AddingADatabaseIsAllOrNothing) {
    QVIMetadataDatabase target, other;
    ASSERT_EQ(target.add(uint32Scalar("K", 1)), 0u);
    ASSERT_EQ(other.add(uint32Scalar("A", 2)), 0u);
    ASSERT_EQ(other.add(uint32Scalar("K", 3)), 0u);
    EXPECT_EQ(target.add(other), QVI_STS_Metadata_DuplicateTag);
    EXPECT_EQ(target.getIndexCount(), 1u);
    EXPECT_FALSE(target.has("A"));

    ASSERT_EQ(other.remove("K"), 0u);
    ASSERT_EQ(other.add(uint32Scalar("B", 4)), 0u);
    ASSERT_EQ(target.add(other), 0u);
    EXPECT_EQ(keyAt(target, 0), "K");
    EXPECT_EQ(keyAt(target, 1), "A");
    EXPECT_EQ(keyAt(target, 2), "B");
}

TEST(MetadataDatabase, SortAndCopy) {
    QVIMetadataDatabase db;
    for (const char* key : {"b", "B", "a", "IMAGE::Z", "IMAGE::A"}) ASSERT_EQ(db.add(uint32Scalar(key, 0)), 0u);
    QVIMetadataDatabase copy(db);
    ASSERT_EQ(db.sort(), 0u);
    // Byte order: upper case before lower case.
    const char* expected[] = {"B", "IMAGE::A", "IMAGE::Z", "a", "b"};
    for (uint32_t i = 0; i < 5; ++i) EXPECT_EQ(keyAt(db, i), expected[i]);
    // The copy is independent and keeps the insertion order.
    EXPECT_EQ(keyAt(copy, 0), "b");
    ASSERT_EQ(copy.remove("a"), 0u);
    EXPECT_TRUE(db.has("a"));

    QVIMetadataDatabase single;
    ASSERT_EQ(single.add(uint32Scalar("only", 0)), 0u);
    ASSERT_EQ(single.sort(), 0u);
    EXPECT_EQ(keyAt(single, 0), "only");
    QVIMetadataDatabase empty;
    EXPECT_EQ(empty.sort(), 0u);
}

TEST(MetadataUtils, DictionaryLookups) {
    EXPECT_EQ(QVIMetadataUtils::lookupTag("IMAGE::WIDTH"), QVI_METADATA_TAG_IMAGE_WIDTH);
    EXPECT_EQ(QVIMetadataUtils::lookupTag("IMAGE::STATISTICS:STANDARD_DEVIATION"), 903);
    EXPECT_EQ(QVIMetadataUtils::lookupTag("IMG::STATISTICS:MEAN"), 412);
    EXPECT_EQ(QVIMetadataUtils::lookupTag("IMAGE::STATISTICS:MEAN"), 902);
    EXPECT_EQ(QVIMetadataUtils::lookupTag("USGS::QUADCOMMENT:"), 300);
    EXPECT_EQ(QVIMetadataUtils::lookupTag("image::width"), QVI_METADATA_TAG_UNKNOWN);
    EXPECT_EQ(QVIMetadataUtils::lookupTag("(invalid)"), QVI_METADATA_TAG_INVALID);
    EXPECT_EQ(QVIMetadataUtils::lookupTag(""), QVI_METADATA_TAG_UNKNOWN);

    EXPECT_STREQ(QVIMetadataUtils::lookupName(QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY),
                 "GEO::ProjectedCSTypeGeoKey");
    EXPECT_STREQ(QVIMetadataUtils::lookupName(QVI_METADATA_TAG_MAX), "");
    EXPECT_EQ(QVIMetadataUtils::lookupName(static_cast<QVIMetadataTag>(136)), nullptr);
    EXPECT_STREQ(QVIMetadataUtils::lookupProperName(QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE),
                 "Original file size (bytes)");
    // The y-rotation row carries the x-rotation's name.
    EXPECT_STREQ(QVIMetadataUtils::lookupProperName(QVI_METADATA_TAG_IMAGE_Y_ROTATION),
                 "Geographic x-rotation parameter");
    EXPECT_STREQ(QVIMetadataUtils::lookupProperName("USER::SCAN_INFO"), "Scan information");

    // One key without a row still has a proper name.
    EXPECT_EQ(QVIMetadataUtils::lookupTag("IMAGE::INPUT_COMPRESSION_FORMAT"), QVI_METADATA_TAG_UNKNOWN);
    EXPECT_STREQ(QVIMetadataUtils::lookupProperName("IMAGE::INPUT_COMPRESSION_FORMAT"), "Input compression format");
    EXPECT_EQ(QVIMetadataUtils::lookupProperName("IMAGE::SOMETHING_ELSE"), nullptr);
}

TEST(MetadataUtils, EveryDictionaryRowRoundTrips) {
    int rows = 0;
    for (int tag = 0; tag < QVI_METADATA_TAG_MAX; ++tag) {
        const char* key = QVIMetadataUtils::lookupName(static_cast<QVIMetadataTag>(tag));
        if (key == nullptr) continue;
        ++rows;
        EXPECT_EQ(QVIMetadataUtils::lookupTag(key), tag) << key;
        EXPECT_NE(QVIMetadataUtils::lookupProperName(static_cast<QVIMetadataTag>(tag)), nullptr) << key;
    }
    EXPECT_EQ(rows, 95);  // 94 keys and the invalid tag's own name
}

TEST(MetadataUtils, NamesAndClasses) {
    EXPECT_STREQ(QVIMetadataUtils::name(QVI_METADATA_DATATYPE_SINT16), "SINT16");
    EXPECT_STREQ(QVIMetadataUtils::name(QVI_METADATA_DATATYPE_ASCII), "ASCII");
    EXPECT_EQ(QVIMetadataUtils::name(static_cast<QVIMetadataDataType>(7)), nullptr);
    EXPECT_STREQ(QVIMetadataUtils::name(QVI_METADATA_TAGCLASS_INVALID), "(invalid)");
    EXPECT_STREQ(QVIMetadataUtils::name(QVI_METADATA_TAGCLASS_UNKNOWN), "(unknown)");
    EXPECT_EQ(QVIMetadataUtils::name(static_cast<QVIMetadataTagClass>(10)), nullptr);

    const std::pair<const char*, QVIMetadataTagClass> cases[] = {
        {"TEST::x", QVI_METADATA_TAGCLASS_TEST},        {"IMAGE::WIDTH", QVI_METADATA_TAGCLASS_CLASSICAL},
        {"GEO::x", QVI_METADATA_TAGCLASS_GEOTIFF},      {"GEOTIFF_NUM::1024", QVI_METADATA_TAGCLASS_GEOTIFF},
        {"USGS::x", QVI_METADATA_TAGCLASS_USGS},        {"USER::x", QVI_METADATA_TAGCLASS_USER},
        {"IMG::x", QVI_METADATA_TAGCLASS_IMAGINE},      {"NITF::IM001", QVI_METADATA_TAGCLASS_NITF},
        {"GDAL::x", QVI_METADATA_TAGCLASS_OTHER},       {"ASCII::COMMENT", QVI_METADATA_TAGCLASS_OTHER},
        {"ICC::Profile", QVI_METADATA_TAGCLASS_OTHER},  {"PShop::x", QVI_METADATA_TAGCLASS_OTHER},
        {"IMAGE:x", QVI_METADATA_TAGCLASS_UNKNOWN},     {"", QVI_METADATA_TAGCLASS_UNKNOWN},
    };
    for (const auto& [key, expected] : cases) EXPECT_EQ(QVIMetadataUtils::tagClass(key), expected) << key;
}
