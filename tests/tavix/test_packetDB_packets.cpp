// The payloads of the small packets, read from bytes made by hand.
#include <gtest/gtest.h>

#include <vector>

#include "qv_ioDynamicMemStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_metadataPacket.h"
#include "xr3_packet.h"

using namespace Orvanetics;
using TavixFixture::openMemStream;

namespace {

// Reads packet's payload from bytes (all of them, or length).
QVStatus readPayload(XR3Packet& packet, std::vector<uint8_t>& bytes, long long length,
                     int64_t* endPosition = nullptr) {
    auto stream = openMemStream(bytes);
    QVIOStreamReader<true> reader(*stream);
    QVStatus status = packet.read(reader, length);
    if (endPosition) *endPosition = reader.tell();
    return status;
}

XR3PacketType planesetType(uint8_t major, uint8_t minor) {
    return XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 1, major, minor);
}

}  // namespace

TEST(PacketDBPackets, PlanesetPrefix) {
    std::vector<uint8_t> bytes = {1, 2, 0, 0, 0, 1, 0, 0, 0, 3, 0xAA, 0xBB};
    for (uint8_t minor : {0, 1}) {
        XR3PlanesetPacket packet(planesetType(0, minor));
        int64_t end = 0;
        ASSERT_EQ(0u, readPayload(packet, bytes, 12, &end));
        EXPECT_EQ(XR3_PLANESET_ORDER_PIPELINE, packet.getOrder());
        EXPECT_EQ(XR3_PLANESET_LAYOUT_DATA_FIRST, packet.getLayout());
        EXPECT_EQ(0x100000003ll, packet.getDataLength());
        EXPECT_EQ(10, packet.getDataStart());
        EXPECT_EQ(10, end);
        EXPECT_EQ(minor == 1, packet.hasWideLengths());

        std::unique_ptr<XR3PlanesetPacket> copy(packet.createCopy());
        ASSERT_NE(nullptr, copy);
        EXPECT_TRUE(packet == *copy);
        copy->setLayout(XR3_PLANESET_LAYOUT_INTERLEAVED);
        EXPECT_FALSE(packet == *copy);
    }
    for (auto [major, minor] : {std::pair{1, 0}, {0, 2}}) {
        XR3PlanesetPacket packet(planesetType(major, minor));
        EXPECT_EQ(2006u, readPayload(packet, bytes, 12));
    }
    XR3PlanesetPacket tooShort(planesetType(0, 1));
    EXPECT_EQ(2001u, readPayload(tooShort, bytes, 9));

    XR3PlanesetPacket fresh(7);
    EXPECT_EQ(XR3_PLANESET_ORDER_NONE, fresh.getOrder());
    EXPECT_EQ(XR3_PLANESET_LAYOUT_NONE, fresh.getLayout());
    EXPECT_EQ(0, fresh.getVersionMajor());
    EXPECT_EQ(1, fresh.getVersionMinor());
    EXPECT_EQ(7u, fresh.getPacketType().getImageNumber());
}

// A planeset class with planes of its own: write gives the prefix, then the planes.
TEST(PacketDBPackets, PlanesetWriteCallsWritePlanes) {
    class TwoBytePlaneset : public XR3PlanesetPacket {
    public:
        using XR3PlanesetPacket::XR3PlanesetPacket;
        QVIOStreamWriter<true>* writer = nullptr;
        long long planesAt = -1;

    protected:
        QVStatus writePlanes(long long dataStart) override {
            planesAt = dataStart;
            return writer->writeUint16(0xCAFE);
        }
    };
    QVIODynamicMemStream stream;
    ASSERT_EQ(0u, stream.initialize(32));
    ASSERT_EQ(0u, stream.open());
    QVIOStreamWriter<true> writer(stream);
    TwoBytePlaneset packet(2);
    packet.writer = &writer;
    packet.setOrder(XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE);
    packet.setLayout(XR3_PLANESET_LAYOUT_INTERLEAVED);
    packet.setDataLength(2);
    ASSERT_EQ(0u, packet.write(writer));
    EXPECT_EQ(10, packet.planesAt);
    EXPECT_EQ((std::vector<uint8_t>{5, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0xCA, 0xFE}),
              std::vector<uint8_t>(stream.getData(), stream.getData() + stream.getLength()));
}

TEST(PacketDBPackets, XR2PacketRecordsItsPlace) {
    std::vector<uint8_t> bytes(50, 0);
    XR3XR2Packet packet(XR3PacketType(XR3_PACKET_XR2, 0, 0, 4, 0, 0));
    auto stream = openMemStream(bytes);
    QVIOStreamReader<true> reader(*stream);
    ASSERT_EQ(0u, reader.seek(20));
    ASSERT_EQ(0u, packet.read(reader, 12));
    EXPECT_EQ(20, packet.getStartOffset());
    EXPECT_EQ(32, packet.getEndOffset());
    EXPECT_EQ(20, reader.tell()) << "nothing read";
    ASSERT_EQ(0u, packet.read(reader, kDBLengthToEnd));
    EXPECT_EQ(50, packet.getEndOffset());
    EXPECT_EQ(2001u, packet.read(reader, -5)) << "a negative length that is not all ones";

    TavixFixture::writtenBytes([&](QVIOStreamWriter<true>& writer) { return packet.write(writer); }, 2014);
}

TEST(PacketDBPackets, UnknownPacketKeepsRawBytes) {
    std::vector<uint8_t> bytes = {1, 2, 3, 4, 5};
    XR3UnknownPacket packet;
    ASSERT_EQ(0u, readPayload(packet, bytes, 3));
    EXPECT_EQ(3u, packet.getRawDataLength());
    XR3UnknownPacket toEnd;
    ASSERT_EQ(0u, readPayload(toEnd, bytes, kDBLengthToEnd));
    EXPECT_EQ(5u, toEnd.getRawDataLength());
    EXPECT_EQ(5, toEnd.getRawData()[4]);
    XR3UnknownPacket empty;
    ASSERT_EQ(0u, readPayload(empty, bytes, 0));
    EXPECT_EQ(0u, empty.getRawDataLength());
    // A length beyond the stream is refused before anything is allocated.
    XR3UnknownPacket huge;
    EXPECT_EQ(2001u, readPayload(huge, bytes, 0x7FFFFFFFFFFFll));
    EXPECT_EQ(2001u, readPayload(huge, bytes, 6));

    std::unique_ptr<XR3UnknownPacket> copy(toEnd.createCopy());
    EXPECT_TRUE(toEnd == *copy);
    EXPECT_FALSE(packet == toEnd);
}

TEST(PacketDBPackets, MetadataPacketCountAndBytes) {
    std::vector<uint8_t> bytes = {0, 0, 0, 3, 'a', 'b', 'c', 0xEE};
    XR3MetadataPacket packet(XR3PacketType(XR3_PACKET_METADATA, 4, 0, 0, 0, 0));
    ASSERT_EQ(0u, readPayload(packet, bytes, 7));
    EXPECT_EQ(3u, packet.getMetadataLength());
    EXPECT_EQ('c', packet.getMetadata()[2]);
    long long offset = -1, length = -1;
    ASSERT_TRUE(packet.getDiskOffset(offset, length));
    EXPECT_EQ(0, offset);
    EXPECT_EQ(7, length);

    std::vector<uint8_t> empty = {0, 0, 0, 0};
    XR3MetadataPacket none(1, 0, 0);
    EXPECT_FALSE(none.getDiskOffset(offset, length));
    ASSERT_EQ(0u, readPayload(none, empty, 4));
    EXPECT_EQ(0u, none.getMetadataLength());

    // A count past the payload, or past the stream, keeps nothing.
    XR3MetadataPacket bad(1, 0, 0);
    EXPECT_EQ(2001u, readPayload(bad, bytes, 6));
    std::vector<uint8_t> hostile = {0xFF, 0xFF, 0xFF, 0xF0, 1};
    EXPECT_EQ(2001u, readPayload(bad, hostile, kDBLengthToEnd));
    EXPECT_EQ(0u, bad.getMetadataLength());
}

TEST(PacketDBPackets, ContentsPayloadByMajorVersion) {
    std::vector<uint8_t> bytes = {0, 0, 0, 9, 0x01, 0x03, 0, 0, 0, 0, 0, 0, 0, 0};
    XR3ContentsPacket major0(XR3PacketType(XR3_PACKET_CONTENTS, 0, 0, 0, 0, 0));
    ASSERT_EQ(0u, readPayload(major0, bytes, 4));
    EXPECT_EQ(9u, major0.getOverviewImageNumber());
    EXPECT_EQ(2001u, readPayload(major0, bytes, 5));

    XR3ContentsPacket major1(XR3PacketType(XR3_PACKET_CONTENTS, 0, 0, 0, 1, 0));
    ASSERT_EQ(0u, readPayload(major1, bytes, 14));
    EXPECT_EQ(10, major1.getIndexLength());
    EXPECT_EQ(2001u, readPayload(major1, bytes, 3));
    EXPECT_EQ(2001u, readPayload(major1, bytes, 20)) << "index cut short";

    XR3ContentsPacket major2(XR3PacketType(XR3_PACKET_CONTENTS, 0, 0, 0, 2, 0));
    EXPECT_EQ(2006u, readPayload(major2, bytes, 4));

    std::unique_ptr<XR3ContentsPacket> copy(major1.createCopy());
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(10, copy->getIndexLength());
    EXPECT_TRUE(major1 == *copy);

    // Writing an index needs the database it indexes.
    TavixFixture::writtenBytes([&](QVIOStreamWriter<true>& writer) { return major1.write(writer); }, 2010);
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 9}),
              TavixFixture::writtenBytes([&](QVIOStreamWriter<true>& writer) { return major0.write(writer); }));
}
