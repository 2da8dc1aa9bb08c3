// The typed family of the metadata accessor and editor, strings, get_as_int
// and the named accessors over the dictionary's keys.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"

using namespace Orvanetics;

namespace {

// Each sample type with its calls and record type, so one typed test covers all eight.
template <typename T>
struct Family;

#define FAMILY(Name, T, RecordType)                                                                      \
    template <>                                                                                          \
    struct Family<T> {                                                                                   \
        static constexpr QVIMetadataDataType recordType = RecordType;                                    \
        template <typename Key>                                                                          \
        static QVStatus set(QVIMetadataEditor& e, Key key, T v) { return e.set_##Name(key, v); }         \
        template <typename Key>                                                                          \
        static QVStatus set(QVIMetadataEditor& e, Key key, const T* v, unsigned n)                       \
        {                                                                                                \
            return e.set_##Name(key, v, n);                                                              \
        }                                                                                                \
        template <typename Key>                                                                          \
        static QVStatus get(const QVIMetadataAcc& a, Key key, T& v) { return a.get_##Name(key, v); }     \
        template <typename Key>                                                                          \
        static QVStatus get(const QVIMetadataAcc& a, Key key, const T*& v, unsigned& n)                  \
        {                                                                                                \
            return a.get_##Name(key, v, n);                                                              \
        }                                                                                                \
    };
FAMILY(uint8, uint8_t, QVI_METADATA_DATATYPE_UINT8)
FAMILY(sint8, int8_t, QVI_METADATA_DATATYPE_SINT8)
FAMILY(uint16, uint16_t, QVI_METADATA_DATATYPE_UINT16)
FAMILY(sint16, int16_t, QVI_METADATA_DATATYPE_SINT16)
FAMILY(uint32, uint32_t, QVI_METADATA_DATATYPE_UINT32)
FAMILY(sint32, int32_t, QVI_METADATA_DATATYPE_SINT32)
FAMILY(float, float, QVI_METADATA_DATATYPE_FLOAT32)
FAMILY(double, double, QVI_METADATA_DATATYPE_FLOAT64)
#undef FAMILY

template <typename T>
class MetadataAccTyped : public ::testing::Test {
protected:
    using F = Family<T>;
    // Values at the type's edges, so a narrowing or sign slip shows.
    const T low = std::numeric_limits<T>::lowest();
    const T high = std::numeric_limits<T>::max();

    QVIMetadataDatabase db;
    QVIMetadataEditor editor{db};
};

using SampleTypes = ::testing::Types<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, float, double>;
TYPED_TEST_SUITE(MetadataAccTyped, SampleTypes);

TYPED_TEST(MetadataAccTyped, ScalarsByKeyAndByTag) {
    using F = typename TestFixture::F;
    ASSERT_EQ(F::set(this->editor, "USER::Anything", this->high), 0u);
    ASSERT_EQ(F::set(this->editor, QVI_METADATA_TAG_TEST_SCALAR, this->low), 0u);

    // The tag form stores under the dictionary's key, with the family's record type.
    const QVIMetadataRecord* record = nullptr;
    ASSERT_EQ(this->db.get("TEST::TestScalar", record), 0u);
    EXPECT_EQ(record->getDataType(), F::recordType);
    EXPECT_TRUE(record->isScalar());

    TypeParam value{};
    EXPECT_EQ(F::get(this->editor, "USER::Anything", value), 0u);
    EXPECT_EQ(value, this->high);
    EXPECT_EQ(F::get(this->editor, QVI_METADATA_TAG_TEST_SCALAR, value), 0u);
    EXPECT_EQ(value, this->low);
}

TYPED_TEST(MetadataAccTyped, VectorsByKeyAndByTag) {
    using F = typename TestFixture::F;
    const TypeParam values[3] = {this->low, TypeParam(1), this->high};
    ASSERT_EQ(F::set(this->editor, QVI_METADATA_TAG_TEST_VECTOR, values, 3), 0u);

    const TypeParam* stored = nullptr;
    unsigned length = 0;
    ASSERT_EQ(F::get(this->editor, "TEST::TestVector", stored, length), 0u);
    ASSERT_EQ(length, 3u);
    EXPECT_NE(stored, values);  // borrowed from the record, not the caller's array
    EXPECT_EQ(stored[0], this->low);
    EXPECT_EQ(stored[1], TypeParam(1));
    EXPECT_EQ(stored[2], this->high);

    // A one-dimensional record of one value reads as a vector too.
    ASSERT_EQ(F::set(this->editor, "USER::One", this->high), 0u);
    ASSERT_EQ(F::get(this->editor, "USER::One", stored, length), 0u);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(stored[0], this->high);
}

TYPED_TEST(MetadataAccTyped, GettersRefuseMissingKeysOtherTypesAndShapes) {
    using F = typename TestFixture::F;
    TypeParam value{};
    const TypeParam* values = nullptr;
    unsigned length = 0;
    EXPECT_EQ(F::get(this->editor, "USER::Absent", value), QVStatus(50503));
    EXPECT_EQ(F::get(this->editor, QVI_METADATA_TAG_TEST_SCALAR, values, length), QVStatus(50503));

    // A record of the same size but another type is still another type.
    const char* text = "x";
    ASSERT_EQ(this->db.add(QVIMetadataRecord("USER::Text", QVI_METADATA_DATATYPE_ASCII, &text)), 0u);
    EXPECT_EQ(F::get(this->editor, "USER::Text", value), QVStatus(50021));
    EXPECT_EQ(F::get(this->editor, "USER::Text", values, length), QVStatus(50021));
    const bool isUint32 = std::is_same_v<TypeParam, uint32_t>;
    const uint32_t otherTypeValue = 5;
    const int32_t signedValue = 5;
    ASSERT_EQ(this->db.add(isUint32 ? QVIMetadataRecord("USER::Other", QVI_METADATA_DATATYPE_SINT32, &signedValue)
                                    : QVIMetadataRecord("USER::Other", QVI_METADATA_DATATYPE_UINT32, &otherTypeValue)),
              0u);
    EXPECT_EQ(F::get(this->editor, "USER::Other", value), QVStatus(50021));

    // The scalar getter on a vector of 2, the vector getter on an array.
    const TypeParam pair[2] = {TypeParam(1), TypeParam(2)};
    ASSERT_EQ(F::set(this->editor, "USER::Pair", pair, 2), 0u);
    EXPECT_EQ(F::get(this->editor, "USER::Pair", value), QVStatus(50029));
    const TypeParam grid[4] = {};
    const uint32_t dims[2] = {2, 2};
    ASSERT_EQ(this->db.add(QVIMetadataRecord("USER::Grid", F::recordType, grid, 2u, dims)), 0u);
    EXPECT_EQ(F::get(this->editor, "USER::Grid", values, length), QVStatus(50029));
    EXPECT_EQ(F::get(this->editor, "USER::Grid", value), QVStatus(50029));
}

TYPED_TEST(MetadataAccTyped, SettersReplaceRecordsOfAnyTypeAndShape) {
    using F = typename TestFixture::F;
    const char* text = "old";
    ASSERT_EQ(this->db.add(QVIMetadataRecord("USER::Key", QVI_METADATA_DATATYPE_ASCII, &text)), 0u);
    ASSERT_EQ(this->db.add(QVIMetadataRecord("USER::After", QVI_METADATA_DATATYPE_ASCII, &text)), 0u);

    ASSERT_EQ(F::set(this->editor, "USER::Key", this->high), 0u);
    const TypeParam values[2] = {this->low, this->high};
    ASSERT_EQ(F::set(this->editor, "USER::Key", values, 2), 0u);
    EXPECT_EQ(this->db.getIndexCount(), 2u);

    const TypeParam* stored = nullptr;
    unsigned length = 0;
    ASSERT_EQ(F::get(this->editor, "USER::Key", stored, length), 0u);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(stored[1], this->high);
}

TEST(MetadataAccTyped, SettingAnUnknownTagIsRefused) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    EXPECT_EQ(editor.set_uint16(QVI_METADATA_TAG_UNKNOWN, uint16_t(3)), QVStatus(50003));
    EXPECT_EQ(editor.set_string(static_cast<QVIMetadataTag>(9999), "x"), QVStatus(50003));
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccStrings, ScalarASCIIRecords) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_string(QVI_METADATA_TAG_USER_CREDIT, "credit line"), 0u);
    ASSERT_EQ(editor.set_string("USER::Empty", nullptr), 0u);

    const char* text = nullptr;
    ASSERT_EQ(editor.get_string("USER::CREDIT", text), 0u);
    EXPECT_STREQ(text, "credit line");
    ASSERT_EQ(editor.get_string("USER::Empty", text), 0u);
    EXPECT_STREQ(text, "");

    EXPECT_EQ(editor.get_string(QVI_METADATA_TAG_USER_SUMMARY, text), QVStatus(50503));
    ASSERT_EQ(editor.set_double("USER::Number", 1.0), 0u);
    EXPECT_EQ(editor.get_string("USER::Number", text), QVStatus(50021));
    const char* two[2] = {"a", "b"};
    ASSERT_EQ(db.add(QVIMetadataRecord("USER::Two", QVI_METADATA_DATATYPE_ASCII, two, 2u)), 0u);
    EXPECT_EQ(editor.get_string("USER::Two", text), QVStatus(50029));
}

TEST(MetadataAccStrings, AsIntWidensEachIntegerType) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_sint8("A", int8_t(-1)), 0u);
    ASSERT_EQ(editor.set_uint8("B", uint8_t(0xFF)), 0u);
    ASSERT_EQ(editor.set_sint16("C", int16_t(-300)), 0u);
    ASSERT_EQ(editor.set_uint16("D", uint16_t(0xFFFF)), 0u);
    ASSERT_EQ(editor.set_uint32("E", uint32_t(4294967295u)), 0u);
    ASSERT_EQ(editor.set_sint32(QVI_METADATA_TAG_TEST_SCALAR, int32_t(-2000000000)), 0u);

    int value = 0;
    ASSERT_EQ(editor.get_as_int("A", value), 0u);
    EXPECT_EQ(value, -1);
    ASSERT_EQ(editor.get_as_int("B", value), 0u);
    EXPECT_EQ(value, 255);
    ASSERT_EQ(editor.get_as_int("C", value), 0u);
    EXPECT_EQ(value, -300);
    ASSERT_EQ(editor.get_as_int("D", value), 0u);
    EXPECT_EQ(value, 65535);
    ASSERT_EQ(editor.get_as_int("E", value), 0u);
    EXPECT_EQ(static_cast<uint32_t>(value), 4294967295u);  // the bits stay
    ASSERT_EQ(editor.get_as_int(QVI_METADATA_TAG_TEST_SCALAR, value), 0u);
    EXPECT_EQ(value, -2000000000);

    ASSERT_EQ(editor.set_float("F", 1.0f), 0u);
    ASSERT_EQ(editor.set_double("G", 1.0), 0u);
    ASSERT_EQ(editor.set_string("H", "1"), 0u);
    const uint16_t pair[2] = {1, 2};
    ASSERT_EQ(editor.set_uint16("I", pair, 2), 0u);
    EXPECT_EQ(editor.get_as_int("F", value), QVStatus(50021));
    EXPECT_EQ(editor.get_as_int("G", value), QVStatus(50021));
    EXPECT_EQ(editor.get_as_int("H", value), QVStatus(50021));
    EXPECT_EQ(editor.get_as_int("I", value), QVStatus(50029));
    EXPECT_EQ(editor.get_as_int("J", value), QVStatus(50503));
}

// The named accessors write the dictionary's key with the dictionary's type.
TEST(MetadataAccNamed, KeysAndTypes) {
    QVIMetadataDatabase db;
    QVIMetadataEditor e(db);
    ASSERT_EQ(e.set_pcs(32633), 0u);
    ASSERT_EQ(e.set_datum(6326), 0u);
    ASSERT_EQ(e.set_units(9001), 0u);
    ASSERT_EQ(e.set_z_res(0.25), 0u);
    ASSERT_EQ(e.set_comment("comment"), 0u);
    ASSERT_EQ(e.set_input_format("RAW"), 0u);
    ASSERT_EQ(e.setInputName("in.raw"), 0u);
    ASSERT_EQ(e.set_input_file_size(12345.0), 0u);
    ASSERT_EQ(e.set_compression_version(3, 1, 7), 0u);
    ASSERT_EQ(e.set_creation_date("2020-01-02"), 0u);
    ASSERT_EQ(e.set_target_compression_ratio(20.0f), 0u);
    ASSERT_EQ(e.set_compression_nlev(6), 0u);
    ASSERT_EQ(e.set_compression_weight(1.5f), 0u);
    ASSERT_EQ(e.set_compression_kweight(2.5f), 0u);
    ASSERT_EQ(e.set_compression_gamma(3.5f), 0u);
    ASSERT_EQ(e.set_compression_block_size(64), 0u);
    ASSERT_EQ(e.set_dither(), 0u);
    ASSERT_EQ(e.set_encoding_application("app"), 0u);
    ASSERT_EQ(e.set_encoder_comment("enc"), 0u);
    ASSERT_EQ(e.set_file_format("fmt"), 0u);
    const float scales[3] = {0.5f, 1.0f, 2.0f};
    ASSERT_EQ(e.setQuantizationScale(scales, 3), 0u);

    const struct {
        const char* key;
        QVIMetadataDataType type;
        uint32_t count;
    } expected[] = {
        {"GEO::ProjectedCSTypeGeoKey", QVI_METADATA_DATATYPE_UINT16, 1},
        {"GEO::HORIZONTAL_DATUM", QVI_METADATA_DATATYPE_UINT16, 1},
        {"IMAGE::HORIZONTAL_UNITS", QVI_METADATA_DATATYPE_UINT16, 1},
        {"IMAGE::Z_RESOLUTION", QVI_METADATA_DATATYPE_FLOAT64, 1},
        {"ASCII::COMMENT", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::INPUT_FORMAT", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::INPUT_NAME", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::INPUT_FILE_SIZE", QVI_METADATA_DATATYPE_FLOAT64, 1},
        {"IMAGE::COMPRESSION_VERSION", QVI_METADATA_DATATYPE_SINT32, 3},
        {"IMAGE::CREATION_DATE", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::TARGET_COMPRESSION_RATIO", QVI_METADATA_DATATYPE_FLOAT32, 1},
        {"IMAGE::COMPRESSION_NLEV", QVI_METADATA_DATATYPE_UINT32, 1},
        {"IMAGE::COMPRESSION_WEIGHT", QVI_METADATA_DATATYPE_FLOAT32, 1},
        {"IMAGE::COMPRESSION_KWEIGHT", QVI_METADATA_DATATYPE_FLOAT32, 1},
        {"IMAGE::COMPRESSION_GAMMA", QVI_METADATA_DATATYPE_FLOAT32, 1},
        {"IMAGE::COMPRESSION_BLOCK_SIZE", QVI_METADATA_DATATYPE_UINT32, 1},
        {"IMAGE::NO_DITHER", QVI_METADATA_DATATYPE_UINT8, 1},
        {"IMAGE::ENCODING_APPLICATION", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::ENCODING_COMMENT", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::FORMAT", QVI_METADATA_DATATYPE_ASCII, 1},
        {"IMAGE::QUANTIZATION_SCALE", QVI_METADATA_DATATYPE_FLOAT32, 3},
    };
    ASSERT_EQ(db.getIndexCount(), std::size(expected));
    for (const auto& row : expected) {
        const QVIMetadataRecord* record = nullptr;
        ASSERT_EQ(db.get(row.key, record), 0u) << row.key;
        EXPECT_EQ(record->getDataType(), row.type) << row.key;
        EXPECT_EQ(record->getNumValues(), row.count) << row.key;
    }

    // The getters read them back through the same keys.
    uint16_t u16 = 0;
    EXPECT_EQ(e.get_pcs(u16), 0u);
    EXPECT_EQ(u16, 32633);
    const char* text = nullptr;
    EXPECT_EQ(e.getInputName(text), 0u);
    EXPECT_STREQ(text, "in.raw");
    int32_t major = 0, minor = 0, revision = 0;
    EXPECT_EQ(e.get_compression_version(major, minor, revision), 0u);
    EXPECT_EQ(major * 100 + minor * 10 + revision, 317);
    uint8_t dither = 9;
    EXPECT_EQ(e.get_dither(dither), 0u);
    EXPECT_EQ(dither, 0);

    EXPECT_EQ(e.removeInputName(), 0u);
    EXPECT_EQ(e.removeInputName(), 0u);
    EXPECT_FALSE(db.has("IMAGE::INPUT_NAME"));

    // A compression version of another length is refused.
    const int32_t two[2] = {1, 2};
    ASSERT_EQ(e.set_sint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_VERSION, two, 2), 0u);
    EXPECT_EQ(e.get_compression_version(major, minor, revision), QVStatus(50029));
}

TEST(MetadataAccNamed, Dimensions) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    uint32_t width = 1;
    uint32_t height = 2;
    EXPECT_EQ(editor.getDimensions(width, height), QVStatus(50503));
    ASSERT_EQ(editor.setDimensions(4000000000u, 7), 0u);
    ASSERT_EQ(editor.get_uint32("IMAGE::WIDTH", width), 0u);
    EXPECT_EQ(width, 4000000000u);
    ASSERT_EQ(editor.get_uint32("IMAGE::HEIGHT", height), 0u);
    EXPECT_EQ(height, 7u);
    width = height = 0;
    ASSERT_EQ(editor.getDimensions(width, height), 0u);
    EXPECT_EQ(width, 4000000000u);
    EXPECT_EQ(height, 7u);
    ASSERT_EQ(editor.removeDimensions(), 0u);
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccNamed, VersionTextNamesTheBuild) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_esdk_version(), 0u);
    const char* text = nullptr;
    ASSERT_EQ(editor.get_string("IMAGE::QVI_ESDK_VERSION", text), 0u);
    EXPECT_EQ(std::strncmp(text, "9.5.4.4709", 10), 0) << text;
    EXPECT_LE(std::strlen(text), 71u);
}

}  // namespace
