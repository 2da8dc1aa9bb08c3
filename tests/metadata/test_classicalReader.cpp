// The classical record stream, built byte by byte in big-endian order.
#include <gtest/gtest.h>

#include <cstring>

#include "core_testReader.h"
#include "metadata_streamBuilder.h"
#include "qv_ioDynamicMemStream.h"
#include "qv_ioMemStream.h"
#include "qv_ioStreamUtils.h"
#include "qvi_metadataClassicalReader.h"

using namespace Orvanetics;
using MetadataTest::ClassicalStreamBuilder;

namespace {

QVStatus readInto(QVIMetadataDatabase& db, const ClassicalStreamBuilder& builder) {
    CoreTest::VectorStream stream(builder.bytes());
    return QVIMetadataClassicalReader(db, stream).read();
}

const QVIMetadataRecord& record(const QVIMetadataDatabase& db, const char* key) {
    const QVIMetadataRecord* found = nullptr;
    EXPECT_EQ(db.get(key, found), 0u) << key;
    static const uint8_t zero = 0;
    static const QVIMetadataRecord missing("missing", QVI_METADATA_DATATYPE_UINT8, &zero);
    return found != nullptr ? *found : missing;
}

template <typename T>
T valueAt(const QVIMetadataRecord& r, uint32_t index) {
    T value;
    std::memcpy(&value, static_cast<const uint8_t*>(r.getScalarData()) + index * sizeof(T), sizeof(T));
    return value;
}

}  // namespace

TEST(ClassicalReader, ReadsEveryTypeCode) {
    ClassicalStreamBuilder b;
    b.header(1, 3);
    b.head(10, "IMAGE::SOM", 1, 1, {}).u8(0);
    b.head(113, "IMAGE::WIDTH", 3, 1, {1}).u32(0x01020304);
    b.head(0, "T::UINT8", 1, 3, {3}).u8(1).u8(2).u8(255);
    b.head(0, "T::UINT16", 2, 2, {2}).u16(0xBEEF).u16(1);
    b.head(0, "T::SINT8", 8, 2, {2}).u8(0xFF).u8(0x80);
    b.head(0, "T::SINT16", 9, 1, {}).u16(0xFFFE);
    b.head(0, "T::SINT32", 10, 6, {2, 3}).u32(1).u32(0xFFFFFFFF).u32(3).u32(4).u32(5).u32(0x80000000);
    b.head(0, "T::FLOAT32", 6, 1, {1}).f32(-2.5f);
    b.head(0, "T::FLOAT64", 7, 2, {2}).f64(1e300).f64(-0.125);
    b.head(0, "T::ASCII", 5, 2, {2}).text("first").text("");
    b.head(11, "IMAGE::EOM", 1, 1, {1}).u8(0);
    b.u8(0xAB);  // nothing behind the end marker is read

    QVIMetadataDatabase db;
    ASSERT_EQ(readInto(db, b), 0u);
    EXPECT_EQ(db.getIndexCount(), 9u);
    EXPECT_FALSE(db.has("IMAGE::SOM"));
    EXPECT_FALSE(db.has("IMAGE::EOM"));

    const QVIMetadataRecord& width = record(db, "IMAGE::WIDTH");
    EXPECT_EQ(width.getDataType(), QVI_METADATA_DATATYPE_UINT32);
    EXPECT_TRUE(width.isScalar());
    EXPECT_EQ(valueAt<uint32_t>(width, 0), 0x01020304u);

    const QVIMetadataRecord& u8 = record(db, "T::UINT8");
    EXPECT_EQ(u8.getDataType(), QVI_METADATA_DATATYPE_UINT8);
    EXPECT_TRUE(u8.isVector());
    EXPECT_EQ(valueAt<uint8_t>(u8, 2), 255);
    EXPECT_EQ(valueAt<uint16_t>(record(db, "T::UINT16"), 0), 0xBEEF);
    EXPECT_EQ(record(db, "T::SINT8").getDataType(), QVI_METADATA_DATATYPE_SINT8);
    EXPECT_EQ(valueAt<int8_t>(record(db, "T::SINT8"), 1), -128);

    const QVIMetadataRecord& s16 = record(db, "T::SINT16");
    EXPECT_EQ(s16.getDataType(), QVI_METADATA_DATATYPE_SINT16);
    EXPECT_TRUE(s16.isScalar());
    EXPECT_EQ(valueAt<int16_t>(s16, 0), -2);

    const QVIMetadataRecord& s32 = record(db, "T::SINT32");
    EXPECT_TRUE(s32.isArray());
    ASSERT_EQ(s32.getNumDims(), 2u);
    EXPECT_EQ(s32.getDims()[0], 2u);
    EXPECT_EQ(s32.getDims()[1], 3u);
    EXPECT_EQ(valueAt<int32_t>(s32, 1), -1);
    EXPECT_EQ(valueAt<int32_t>(s32, 5), INT32_MIN);

    EXPECT_EQ(record(db, "T::FLOAT32").getDataType(), QVI_METADATA_DATATYPE_FLOAT32);
    EXPECT_EQ(valueAt<float>(record(db, "T::FLOAT32"), 0), -2.5f);
    EXPECT_EQ(valueAt<double>(record(db, "T::FLOAT64"), 0), 1e300);
    EXPECT_EQ(valueAt<double>(record(db, "T::FLOAT64"), 1), -0.125);

    const QVIMetadataRecord& ascii = record(db, "T::ASCII");
    EXPECT_EQ(ascii.getDataType(), QVI_METADATA_DATATYPE_ASCII);
    EXPECT_STREQ(valueAt<const char*>(ascii, 0), "first");
    EXPECT_STREQ(valueAt<const char*>(ascii, 1), "");
}

TEST(ClassicalReader, LaterDuplicateWinsAndEmptyKeyEnds) {
    ClassicalStreamBuilder b;
    b.header(0, 0);
    b.head(0, "K", 1, 1, {1}).u8(1);
    b.head(0, "L", 1, 1, {1}).u8(2);
    b.head(0, "K", 3, 1, {1}).u32(99);
    b.end();
    b.head(0, "AFTER", 1, 1, {1}).u8(3);
    QVIMetadataDatabase db;
    ASSERT_EQ(readInto(db, b), 0u);
    EXPECT_EQ(db.getIndexCount(), 2u);
    EXPECT_FALSE(db.has("AFTER"));
    const QVIMetadataRecord& k = record(db, "K");
    EXPECT_EQ(k.getDataType(), QVI_METADATA_DATATYPE_UINT32);
    EXPECT_EQ(valueAt<uint32_t>(k, 0), 99u);
}

TEST(ClassicalReader, VersionsAndHeaders) {
    QVIMetadataDatabase db;
    EXPECT_EQ(readInto(db, ClassicalStreamBuilder().header(2, 0).end()), QVI_STS_Metadata_VersionUnsupported);
    // The major version is compared as signed.
    EXPECT_EQ(readInto(db, ClassicalStreamBuilder().header(0xFFFF, 0).end()), 0u);
    EXPECT_EQ(readInto(db, ClassicalStreamBuilder().u16(1).u8(0)), QVI_STS_Metadata_ReadError);
    EXPECT_EQ(readInto(db, ClassicalStreamBuilder()), QVI_STS_Metadata_ReadError);
}

TEST(ClassicalReader, CorruptRecordsGiveStatuses) {
    const auto withRecord = [](auto&& addRecord) {
        ClassicalStreamBuilder b;
        b.header(1, 0);
        b.head(0, "GOOD", 1, 1, {1}).u8(7);
        addRecord(b);
        QVIMetadataDatabase db;
        const QVStatus status = readInto(db, b);
        // What was read before the failure stays.
        EXPECT_TRUE(db.has("GOOD"));
        return status;
    };
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) {
                  b.head(0, "DIMS", 1, 1, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
              }),
              QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) {
                  b.head(0, "TEN", 1, 1, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1}).u8(1).end();
              }),
              0u);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "ZERO", 1, 4, {0}); }), QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "NEG", 1, 4, {0xFFFFFFFF}); }),
              QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "BIG", 1, 6, {2, 4}); }), QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "NONE", 1, 0, {}); }), QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "TYPE4", 4, 1, {1}).u32(0); }),
              QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "TYPE11", 11, 1, {1}).u32(0); }),
              QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "STRS", 5, 0x80000000u, {}); }),
              QVI_STS_Metadata_Corrupt);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "SHORT", 3, 2, {2}).u32(1).u16(0); }),
              QVI_STS_Metadata_ReadError);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "HEAD", 3, 2, {}).u16(0); }),
              QVI_STS_Metadata_ReadError);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.u32(0).u8('N').u8('O'); }), QVI_STS_Metadata_ReadError);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.u16(0); }), QVI_STS_Metadata_ReadError);
    // Billions of values or strings are refused by the stream's length, before allocating.
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "HUGE", 7, 0xFFFFFFFFu, {}).f64(1.0); }),
              QVI_STS_Metadata_ReadError);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "MANY", 5, 0x7FFFFFFFu, {}).text("x"); }),
              QVI_STS_Metadata_ReadError);
    EXPECT_EQ(withRecord([](ClassicalStreamBuilder& b) { b.head(0, "UNENDED", 5, 1, {}).u8('a'); }),
              QVI_STS_Metadata_ReadError);
}

TEST(ClassicalReader, StreamErrorOfAFailedKeyPassesThrough) {
    ClassicalStreamBuilder b;
    b.header(1, 0).u32(0).u8('K');
    CoreTest::VectorStream stream(b.bytes());
    stream.lastError = 145012;
    QVIMetadataDatabase db;
    EXPECT_EQ(QVIMetadataClassicalReader(db, stream).read(), 145012u);
}

TEST(ClassicalReader, ReadsThroughTheLibraryStreams) {
    ClassicalStreamBuilder b;
    b.header(1, 0);
    b.head(102, "IMAGE::INPUT_NAME", 5, 1, {1}).text("scan.tif");
    b.head(118, "IMAGE::COMPRESSION_VERSION", 10, 3, {3}).u32(3).u32(1).u32(0);
    b.head(11, "IMAGE::EOM", 1, 1, {1}).u8(0);
    std::vector<uint8_t> bytes = b.bytes();

    // A memory block, and a temporary stream written first and rewound, as a
    // container hands its packet bytes over.
    QVIOMemStream memory;
    ASSERT_EQ(memory.initialize(bytes.data(), static_cast<uint32_t>(bytes.size())), 0u);
    ASSERT_EQ(memory.open(), 0u);
    QVIOStreamInf* temporary = QVIOStreamUtils::openTempStream();
    ASSERT_NE(temporary, nullptr);
    ASSERT_EQ(temporary->write(bytes.data(), static_cast<uint32_t>(bytes.size())), bytes.size());
    ASSERT_EQ(temporary->seek(0, QVIO_SEEK_BEGIN), 0u);

    for (QVIOStreamInf* stream : {static_cast<QVIOStreamInf*>(&memory), temporary}) {
        QVIMetadataDatabase db;
        ASSERT_EQ(QVIMetadataClassicalReader(db, *stream).read(), 0u);
        ASSERT_EQ(db.getIndexCount(), 2u);
        EXPECT_STREQ(valueAt<const char*>(record(db, "IMAGE::INPUT_NAME"), 0), "scan.tif");
        EXPECT_EQ(valueAt<int32_t>(record(db, "IMAGE::COMPRESSION_VERSION"), 0), 3);
    }
    QVIOStreamUtils::closeStream(temporary);
}
