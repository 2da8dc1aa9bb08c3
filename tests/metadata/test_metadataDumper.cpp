// The dumper's text, compared with golden output written out by hand.
#include <gtest/gtest.h>

#include <string>

#include "core_testReader.h"
#include "qvi_metadataDumper.h"

using namespace Orvanetics;

namespace {

std::string dump(const QVIMetadataDatabase& db, bool cutShort, bool writeInputName = true) {
    CoreTest::VectorStream stream;
    QVIMetadataDumper dumper(db, &stream, cutShort);
    dumper.setWriteInputFilename(writeInputName);
    EXPECT_EQ(dumper.write(), 0u);
    return std::string(stream.data.begin(), stream.data.end());
}

std::string dumpFormatted(const QVIMetadataDatabase& db, bool writeUnnamed = false) {
    CoreTest::VectorStream stream;
    QVIMetadataDumper dumper(db, &stream, false);
    EXPECT_EQ(dumper.writeFormatted(writeUnnamed), 0u);
    return std::string(stream.data.begin(), stream.data.end());
}

QVIMetadataDatabase everyTypeAndShape() {
    QVIMetadataDatabase db;
    const uint8_t u8 = 200;
    const int8_t s8[2] = {-1, 5};
    const uint16_t u16 = 65535;
    const int16_t s16[2] = {-32768, 7};
    const uint32_t u32 = 4000000000u;
    const int32_t s32[4] = {1, -2, 3, -4};
    const uint32_t dims[2] = {2, 2};
    const float f32 = 1.5f;
    const double f64[2] = {0.25, -3.0};
    const char* strings[2] = {"one", "two words"};
    const char* name = "secret.tif";
    EXPECT_EQ(db.add(QVIMetadataRecord("TEST::TestScalar", QVI_METADATA_DATATYPE_UINT8, &u8)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("V::SINT8", QVI_METADATA_DATATYPE_SINT8, s8, 2u)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("S::UINT16", QVI_METADATA_DATATYPE_UINT16, &u16)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("V::SINT16", QVI_METADATA_DATATYPE_SINT16, s16, 2u)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("S::UINT32", QVI_METADATA_DATATYPE_UINT32, &u32)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("A::SINT32", QVI_METADATA_DATATYPE_SINT32, s32, 2u, dims)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("S::FLOAT32", QVI_METADATA_DATATYPE_FLOAT32, &f32)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("V::FLOAT64", QVI_METADATA_DATATYPE_FLOAT64, f64, 2u)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("V::ASCII", QVI_METADATA_DATATYPE_ASCII, strings, 2u)), 0u);
    EXPECT_EQ(db.add(QVIMetadataRecord("IMAGE::INPUT_NAME", QVI_METADATA_DATATYPE_ASCII, &name)), 0u);
    return db;
}

const char* const kEveryTypeGolden =
    "Record 0:\n"
    "  Tag: TEST::TestScalar\n"
    "  Type: UINT8[1]\n"
    "  Data: \n"
    "    [0]: 200\n"
    "\n"
    "Record 1:\n"
    "  Tag: V::SINT8\n"
    "  Type: SINT8[2]\n"
    "  Data: \n"
    "    [0]: -1\n"
    "    [1]: 5\n"
    "\n"
    "Record 2:\n"
    "  Tag: S::UINT16\n"
    "  Type: UINT16[1]\n"
    "  Data: \n"
    "    [0]: 65535\n"
    "\n"
    "Record 3:\n"
    "  Tag: V::SINT16\n"
    "  Type: SINT16[2]\n"
    "  Data: \n"
    "    [0]: -32768\n"
    "    [1]: 7\n"
    "\n"
    "Record 4:\n"
    "  Tag: S::UINT32\n"
    "  Type: UINT32[1]\n"
    "  Data: \n"
    "    [0]: -294967296\n"
    "\n"
    "Record 5:\n"
    "  Tag: A::SINT32\n"
    "  Type: SINT32[2][2]\n"
    "  Data: \n"
    "    [0][0]: 1\n"
    "    [0][1]: -2\n"
    "    [1][0]: 3\n"
    "    [1][1]: -4\n"
    "\n"
    "Record 6:\n"
    "  Tag: S::FLOAT32\n"
    "  Type: FLOAT32[1]\n"
    "  Data: \n"
    "    [0]: 1.500000\n"
    "\n"
    "Record 7:\n"
    "  Tag: V::FLOAT64\n"
    "  Type: FLOAT64[2]\n"
    "  Data: \n"
    "    [0]: 0.250000\n"
    "    [1]: -3.000000\n"
    "\n"
    "Record 8:\n"
    "  Tag: V::ASCII\n"
    "  Type: ASCII[2]\n"
    "  Data: \n"
    "    [0]: one\n"
    "    [1]: two words\n"
    "\n";

}  // namespace

TEST(MetadataDumper, EveryTypeAndShape) {
    const QVIMetadataDatabase db = everyTypeAndShape();
    const std::string withName = std::string(kEveryTypeGolden) +
                                 "Record 9:\n"
                                 "  Tag: IMAGE::INPUT_NAME\n"
                                 "  Type: ASCII[1]\n"
                                 "  Data: \n"
                                 "    [0]: secret.tif\n"
                                 "\n";
    EXPECT_EQ(dump(db, false), withName);

    const std::string withoutName = std::string(kEveryTypeGolden) +
                                    "Record 9:\n"
                                    "  Tag: IMAGE::INPUT_NAME\n"
                                    "   filename suppressed\n"
                                    "\n";
    EXPECT_EQ(dump(db, false, false), withoutName);
}

TEST(MetadataDumper, CutShortStopsAfterElevenValues) {
    uint16_t values[13];
    for (uint16_t i = 0; i < 13; ++i) values[i] = static_cast<uint16_t>(100 + i);
    QVIMetadataDatabase db;
    ASSERT_EQ(db.add(QVIMetadataRecord("LONG", QVI_METADATA_DATATYPE_UINT16, values, 13u)), 0u);
    ASSERT_EQ(db.add(QVIMetadataRecord("ELEVEN", QVI_METADATA_DATATYPE_UINT16, values, 11u)), 0u);

    std::string expected = "Record 0:\n  Tag: LONG\n  Type: UINT16[13]\n  Data: \n";
    for (int i = 0; i < 11; ++i) expected += "    [" + std::to_string(i) + "]: " + std::to_string(100 + i) + "\n";
    // The twelfth line has only its indent; the record's blank line ends it.
    expected += "    \n";
    expected += "Record 1:\n  Tag: ELEVEN\n  Type: UINT16[11]\n  Data: \n";
    for (int i = 0; i < 11; ++i) expected += "    [" + std::to_string(i) + "]: " + std::to_string(100 + i) + "\n";
    expected += "\n";
    EXPECT_EQ(dump(db, true), expected);

    // Without cutting, all thirteen lines appear.
    const std::string full = dump(db, false);
    EXPECT_NE(full.find("    [12]: 112\n\nRecord 1:"), std::string::npos);
}

TEST(MetadataDumper, FormattedLines) {
    QVIMetadataDatabase db;
    const uint32_t width = 640;
    const double origin[2] = {1.5, -2.0};
    const uint8_t unnamed = 3;
    ASSERT_EQ(db.add(QVIMetadataRecord(QVI_METADATA_TAG_IMAGE_WIDTH, QVI_METADATA_DATATYPE_UINT32, &width)), 0u);
    ASSERT_EQ(db.add(QVIMetadataRecord("FOO::BAR", QVI_METADATA_DATATYPE_UINT8, &unnamed)), 0u);
    ASSERT_EQ(db.add(QVIMetadataRecord(QVI_METADATA_TAG_IMAGE_XY_ORIGIN, QVI_METADATA_DATATYPE_FLOAT64, origin, 2u)),
              0u);
    // Values start at column 48.
    const std::string widthLine = "Image width (pixels):                           640\n";
    const std::string originLine = "Geographic (x,y)-origin:                        1.500000, -2.000000\n";
    const std::string unnamedLine = "FOO::BAR:                                       3\n";
    EXPECT_EQ(dumpFormatted(db), widthLine + originLine);
    EXPECT_EQ(dumpFormatted(db, true), widthLine + unnamedLine + originLine);
}

TEST(MetadataDumper, FileSizesUseStrictThresholds) {
    const std::pair<double, const char*> cases[] = {
        {1024.0, "1024.00 bytes"},        {1025.0, "1.00 KB"},       {1048576.0, "1024.00 KB"},
        {1572864.0, "1.50 MB"},           {1073741824.0, "1024.00 MB"}, {3221225472.0, "3.00 GB"},
        {0.0, "0.00 bytes"},
    };
    for (const auto& [size, text] : cases) {
        QVIMetadataDatabase db;
        ASSERT_EQ(db.add(QVIMetadataRecord(QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE, QVI_METADATA_DATATYPE_FLOAT64,
                                           &size)),
                  0u);
        EXPECT_EQ(dumpFormatted(db), std::string("Original file size (bytes):                     ") + text + "\n");
    }
}

TEST(MetadataDumper, FailuresComeBackAsStatuses) {
    const QVIMetadataDatabase db = everyTypeAndShape();
    CoreTest::VectorStream failing;
    failing.writeLimit = 30;
    failing.lastError = 145013;
    EXPECT_EQ(QVIMetadataDumper(db, &failing, false).write(), 145013u);

    // A stream that fails without telling why still gives a failure.
    CoreTest::VectorStream silent;
    silent.writeLimit = 0;
    EXPECT_EQ(QVIMetadataDumper(db, &silent, false).write(), QVI_STS_Metadata_WriteError);

    QVIMetadataDatabase odd;
    const uint8_t value = 0;
    ASSERT_EQ(odd.add(QVIMetadataRecord("ODD", QVI_METADATA_DATATYPE_INVALID, &value)), 0u);
    CoreTest::VectorStream stream;
    EXPECT_EQ(QVIMetadataDumper(odd, &stream, false).write(), QVI_STS_Metadata_UnsupportedDataType);
}

TEST(MetadataDumper, NullStreamWritesToStandardOutput) {
    QVIMetadataDatabase db;
    const uint16_t value = 42;
    ASSERT_EQ(db.add(QVIMetadataRecord("STDOUT::CHECK", QVI_METADATA_DATATYPE_UINT16, &value)), 0u);
    testing::internal::CaptureStdout();
    {
        QVIMetadataDumper dumper(db, nullptr, false);
        EXPECT_EQ(dumper.write(), 0u);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Record 0:\n  Tag: STDOUT::CHECK\n  Type: UINT16[1]\n  Data: \n    [0]: 42\n\n");
}
