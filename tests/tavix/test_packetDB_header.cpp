// The file version and the packet header, against bytes assembled by hand
// from the format's tables.
#include <gtest/gtest.h>

#include <vector>

#include "qv_ioDynamicMemStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_packet.h"

using namespace Orvanetics;
using TavixFixture::openMemStream;

namespace {

std::vector<uint8_t> writtenHeader(const XR3PacketType& type, long long dataLength,
                                   long long* lengthFieldPosition = nullptr) {
    QVIODynamicMemStream stream;
    EXPECT_EQ(0u, stream.initialize(64));
    EXPECT_EQ(0u, stream.open());
    QVIOStreamWriter<true> writer(stream);
    long long lengthField = -1;
    EXPECT_EQ(0u, type.writeHeader(writer, lengthField));
    if (dataLength >= 0) {
        EXPECT_EQ(0u, type.rewriteHeader(writer, lengthField, dataLength));
    }
    EXPECT_EQ(static_cast<int64_t>(stream.getLength()), writer.tell());
    if (lengthFieldPosition) *lengthFieldPosition = lengthField;
    return std::vector<uint8_t>(stream.getData(), stream.getData() + stream.getLength());
}

struct ReadResult {
    QVStatus status;
    XR3PacketType type;
    long long dataLength;
    int64_t endPosition;
};

ReadResult readHeader(std::vector<uint8_t> bytes) {
    auto stream = openMemStream(bytes);
    QVIOStreamReader<true> reader(*stream);
    ReadResult result{0, XR3PacketType(), 0, 0};
    result.status = result.type.readHeader(reader, result.dataLength);
    result.endPosition = reader.tell();
    return result;
}

XR3PacketType type(XR3PacketTypeEnum t, uint32_t sub, uint32_t subSub, uint32_t image,
                   uint8_t major = 0, uint8_t minor = 0) {
    return XR3PacketType(t, sub, subSub, image, major, minor);
}

}  // namespace

// ------------------------------------------------------------------ version

TEST(PacketDBVersion, KnownVersionsAndTheRefusedLetterP) {
    for (char letter : {'o', 'q', 'r', 's', 't', 'u'})
        EXPECT_TRUE(XR3Version(3, 0, 26, letter).isKnown()) << letter;
    for (char letter : {'p', 'n', 'v', 'a'})
        EXPECT_FALSE(XR3Version(3, 0, 26, letter).isKnown()) << letter;
    EXPECT_TRUE(XR3Version(3, 4, 0, 'a').isKnown());
    EXPECT_FALSE(XR3Version(3, 4, 0, 'b').isKnown());
    EXPECT_FALSE(XR3Version(3, 4, 1, 'a').isKnown());
    EXPECT_FALSE(XR3Version(2, 0, 26, 'q').isKnown());
    EXPECT_FALSE(XR3Version(3, 1, 26, 'q').isKnown());
    EXPECT_FALSE(XR3Version(3, 0, 25, 'q').isKnown());
}

TEST(PacketDBVersion, NamedVersionsOrderAndImageTypes) {
    EXPECT_EQ(XR3Version(3, 4, 0, 'a'), XR3Version());
    EXPECT_EQ(XR3Version(3, 0, 26, 'q'), XR3Version::getSingleVersion());
    EXPECT_EQ(XR3Version(3, 0, 26, 'u'), XR3Version::getAlphaVersion());
    EXPECT_EQ(XR3Version(3, 4, 0, 'a'), XR3Version::getXR4Version());

    EXPECT_EQ(0x03001A71u, XR3Version::getSingleVersion().toUint32());
    EXPECT_LT(XR3Version(3, 0, 26, 'u'), XR3Version(3, 4, 0, 'a'));
    EXPECT_LT(XR3Version(3, 0, 26, 'o'), XR3Version(3, 0, 26, 'q'));
    EXPECT_GT(XR3Version(3, 4, 1, 'a'), XR3Version(3, 4, 0, 'z'));

    EXPECT_EQ(XR3_IMAGETYPE_XR3, XR3Version(3, 0, 26, 'u').toImageType());
    EXPECT_EQ(XR3_IMAGETYPE_XR4, XR3Version(3, 4, 0, 'a').toImageType());
    EXPECT_EQ(XR3_IMAGETYPE_UNKNOWN, XR3Version(3, 4, 0, 'b').toImageType());
    EXPECT_EQ("3.0.26.q", XR3Version::getSingleVersion().toString());
    EXPECT_EQ("3.4.0.a", XR3Version().toString());
}

TEST(PacketDBVersion, FileHeaderBytes) {
    std::vector<uint8_t> bytes = {'t', 'v', 'x', 'd', 3, 0, 26, 'o'};
    {
        auto stream = openMemStream(bytes);
        QVIOStreamReader<true> reader(*stream);
        XR3Version version;
        EXPECT_EQ(0u, version.read(reader));
        EXPECT_EQ(XR3Version(3, 0, 26, 'o'), version);
    }
    auto refused = [](std::vector<uint8_t> b) {
        auto stream = openMemStream(b);
        QVIOStreamReader<true> reader(*stream);
        XR3Version version;
        return version.read(reader);
    };
    EXPECT_EQ(2006u, refused({'t', 'v', 'x', 'd', 3, 0, 26, 'p'}));
    EXPECT_EQ(2006u, refused({'t', 'v', 'x', 'D', 3, 4, 0, 'a'}));
    EXPECT_EQ(2001u, refused({'t', 'v', 'x', 'd', 3, 4, 0}));

    EXPECT_EQ((std::vector<uint8_t>{'t', 'v', 'x', 'd', 3, 0, 26, 'u'}),
              TavixFixture::writtenBytes(
                  [](QVIOStreamWriter<true>& writer) { return XR3Version::getAlphaVersion().write(writer); }));
}

// ------------------------------------------------------------- header bytes

TEST(PacketDBHeader, WrittenBytesUseSmallestWidthsAndEightByteLength) {
    // Header packet of image 0: no optional field at all.
    EXPECT_EQ((std::vector<uint8_t>{0x01, 0x03, 0, 0, 0, 0, 0, 0, 0, 5}),
              writtenHeader(type(XR3_PACKET_HEADER, 0, 0, 0), 5));
    // Metadata (3, 0, 7): one-byte subType, image number present.
    EXPECT_EQ((std::vector<uint8_t>{0x02, 0x47, 0x03, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 1, 0}),
              writtenHeader(type(XR3_PACKET_METADATA, 3, 0, 7), 256));
    // Contents of major 1: the version bytes.
    EXPECT_EQ((std::vector<uint8_t>{0x46, 0x03, 1, 0, 0, 0, 0, 0, 0, 0, 0, 4}),
              writtenHeader(type(XR3_PACKET_CONTENTS, 0, 0, 0, 1, 0), 4));
    // Planeset of image 2 with major 0, minor 1: the version bytes too.
    EXPECT_EQ((std::vector<uint8_t>{0x44, 0x07, 0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0, 0, 10}),
              writtenHeader(type(XR3_PACKET_PLANESET, 0, 0, 2, 0, 1), 10));
    // Two- and four-byte sub-types and a spare word.
    XR3PacketType wide = type(XR3_PACKET_UNKNOWN, 0x1234, 0x12345678, 0);
    wide.setSpareWord(9);
    EXPECT_EQ((std::vector<uint8_t>{0x00, 0xBB, 0x12, 0x34, 0x12, 0x34, 0x56, 0x78, 0, 0, 0, 9,
                                    0, 0, 0, 0, 0, 0, 0, 0}),
              writtenHeader(wide, 0));
    EXPECT_EQ(0xBB, wide.computePackageByte());
}

TEST(PacketDBHeader, PlaceholderLengthIsNotTheToEndLength) {
    long long lengthField = 0;
    std::vector<uint8_t> bytes = writtenHeader(type(XR3_PACKET_HEADER, 0, 0, 0), -1, &lengthField);
    EXPECT_EQ(2, lengthField);
    EXPECT_EQ((std::vector<uint8_t>{0x01, 0x03, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}), bytes);
    ReadResult read = readHeader(bytes);
    EXPECT_EQ(0u, read.status);
    EXPECT_EQ(0xFFFFFFFFll, read.dataLength);
}

TEST(PacketDBHeader, ComputedLengthLeavesOutVersionBytesOfMajorZero) {
    XR3PacketType planeset = type(XR3_PACKET_PLANESET, 0, 0, 2, 0, 1);
    EXPECT_EQ(14, planeset.computeHeaderLength());
    EXPECT_EQ(16u, writtenHeader(planeset, 0).size());
    XR3PacketType contents = type(XR3_PACKET_CONTENTS, 0, 0, 0, 1, 0);
    EXPECT_EQ(12, contents.computeHeaderLength());
    EXPECT_EQ(12u, writtenHeader(contents, 0).size());
    XR3PacketType wide = type(XR3_PACKET_METADATA, 0x10000, 300, 1);
    wide.setSpareWord(1);
    EXPECT_EQ(2 + 4 + 2 + 4 + 4 + 8, wide.computeHeaderLength());
    EXPECT_EQ(24u, writtenHeader(wide, 0).size());
}

TEST(PacketDBHeader, ReadsEveryFieldWidth) {
    // control: planeset with versions; package: 1-byte subType, 2-byte
    // subSubType, spare, image, 2-byte length.
    ReadResult r = readHeader({0x44, 0x6D, 0x05, 0x01, 0x02, 0, 0, 0, 9, 0, 0, 0, 3, 0x00,
                               0x01, 0x12, 0x34, 0xEE});
    ASSERT_EQ(0u, r.status);
    EXPECT_EQ(XR3_PACKET_PLANESET, r.type.getType());
    EXPECT_EQ(5u, r.type.getSubType());
    EXPECT_EQ(0x0102u, r.type.getSubSubType());
    EXPECT_EQ(9u, r.type.getSpareWord());
    EXPECT_EQ(3u, r.type.getImageNumber());
    EXPECT_EQ(0, r.type.getMajorVersion());
    EXPECT_EQ(1, r.type.getMinorVersion());
    EXPECT_EQ(0x1234, r.dataLength);
    EXPECT_EQ(17, r.endPosition);
    EXPECT_TRUE(r.type.wasRead());
    EXPECT_EQ(0, r.type.getHeaderPosition());
    EXPECT_EQ(17, r.type.getHeaderLength());

    // One-byte length; absent fields read as 0.
    r = readHeader({0x07, 0x00, 0x2A});
    ASSERT_EQ(0u, r.status);
    EXPECT_EQ(XR3_PACKET_XR2, r.type.getType());
    EXPECT_EQ(0u, r.type.getImageNumber());
    EXPECT_EQ(42, r.dataLength);

    // A four-byte 0xFFFFFFFF is an ordinary length; eight 0xFF bytes are "to the end".
    r = readHeader({0x00, 0x02, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(0xFFFFFFFFll, r.dataLength);
    r = readHeader({0x00, 0x03, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(kDBLengthToEnd, r.dataLength);
}

TEST(PacketDBHeader, ForbiddenControlBitsAreReportedAfterTheWholeHeader) {
    for (uint8_t bit : {0x80, 0x20, 0x10}) {
        ReadResult r = readHeader({static_cast<uint8_t>(0x41 | bit), 0x04, 0, 0, 0, 1, 2, 3, 9});
        EXPECT_EQ(2006u, r.status);
        EXPECT_EQ(9, r.endPosition) << "the header was consumed";
        EXPECT_EQ(9, r.type.getHeaderLength());
    }
}

TEST(PacketDBHeader, ShortHeadersGive2001) {
    const std::vector<uint8_t> full = {0x41, 0xFF, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,
                                       14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26};
    for (size_t cut = 0; cut < full.size(); ++cut) {
        ReadResult r = readHeader(std::vector<uint8_t>(full.begin(), full.begin() + cut));
        EXPECT_EQ(2001u, r.status) << "cut at " << cut;
    }
    EXPECT_EQ(0u, readHeader(full).status);
}

TEST(PacketDBHeader, ImageNumberZeroHasNoFieldAndRoundTrips) {
    for (uint32_t image : {0u, 1u, 0xFFFFFFFEu}) {
        XR3PacketType t = type(XR3_PACKET_METADATA, 1, 0, image);
        std::vector<uint8_t> bytes = writtenHeader(t, 3);
        EXPECT_EQ(image ? 0x47 : 0x43, bytes[1]);
        ReadResult r = readHeader(bytes);
        ASSERT_EQ(0u, r.status);
        EXPECT_EQ(image, r.type.getImageNumber());
        EXPECT_EQ(1u, r.type.getSubType());
        EXPECT_EQ(3, r.dataLength);
    }
}

// ------------------------------------------------------- matching and order

TEST(PacketDBHeader, EqualityHasWildcardsAndIgnoresVersions) {
    XR3PacketType meta = type(XR3_PACKET_METADATA, 3, 0, 7, 0, 0);
    EXPECT_TRUE(meta == type(XR3_PACKET_METADATA, 3, 0, 7, 5, 9));
    EXPECT_FALSE(meta == type(XR3_PACKET_METADATA, 3, 0, 8));
    EXPECT_FALSE(meta == type(XR3_PACKET_METADATA, 1, 0, 7));
    EXPECT_TRUE(meta == XR3PacketDB::createPacketType(XR3_PACKET_METADATA));
    EXPECT_TRUE(XR3PacketDB::createPacketType(XR3_PACKET_ANY) == meta);
    EXPECT_TRUE(meta == type(XR3_PACKET_METADATA, XR3PacketType::ANY_SUBTYPE, 0,
                             XR3PacketType::ANY_IMAGE_NUMBER));
    EXPECT_FALSE(meta == type(XR3_PACKET_HEADER, XR3PacketType::ANY_SUBTYPE,
                              XR3PacketType::ANY_SUBSUBTYPE, XR3PacketType::ANY_IMAGE_NUMBER));
}

TEST(PacketDBHeader, OrderPutsLargerValuesFirst) {
    EXPECT_TRUE(type(XR3_PACKET_CONTENTS, 0, 0, 0) < type(XR3_PACKET_HEADER, 9, 9, 9));
    EXPECT_FALSE(type(XR3_PACKET_HEADER, 9, 9, 9) < type(XR3_PACKET_CONTENTS, 0, 0, 0));
    EXPECT_TRUE(type(XR3_PACKET_METADATA, 4, 0, 0) < type(XR3_PACKET_METADATA, 3, 9, 9));
    EXPECT_TRUE(type(XR3_PACKET_METADATA, 3, 1, 0) < type(XR3_PACKET_METADATA, 3, 0, 9));
    EXPECT_TRUE(type(XR3_PACKET_METADATA, 3, 0, 9) < type(XR3_PACKET_METADATA, 3, 0, 8));
    XR3PacketType spare = type(XR3_PACKET_METADATA, 3, 0, 9);
    spare.setSpareWord(1);
    EXPECT_TRUE(spare < type(XR3_PACKET_METADATA, 3, 0, 9));
    EXPECT_FALSE(spare < spare);
}
