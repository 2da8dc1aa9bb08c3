// Opening packet files: the index the packet database writes, and the
// sequential and the index walk over files assembled by hand.
#include <gtest/gtest.h>

#include <vector>

#include "tavix_countingStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_metadataPacket.h"
#include "xr3_packet.h"

using namespace Orvanetics;
using namespace TavixFixture;

namespace {

XR3PacketType unknownType(uint32_t sub, uint32_t image = 0) {
    return XR3PacketType(XR3_PACKET_UNKNOWN, sub, 0, image, 0, 0);
}

XR3PacketType securityType(uint32_t image) {
    return XR3PacketType(XR3_PACKET_SECURITY, 0, 0, image, 0, 0);
}

// An indexed file of an unknown, a metadata and a security packet.
std::vector<uint8_t> indexedFile() {
    PacketFileWriter writer;
    writer.setIndex(IndexKind::Major1, 7);
    writer.addRawPacket(unknownType(1), std::vector<uint8_t>(40, 0x11));
    auto metadata = std::make_unique<XR3MetadataPacket>(1, 0, 0);
    const uint8_t text[] = {'c', 'l', 'a', 's', 's', 'i', 'c', 'a', 'l'};
    metadata->setMetadata(text, sizeof(text));
    writer.addPacket(std::move(metadata));
    writer.addRawPacket(securityType(3), std::vector<uint8_t>(300, 0x33));
    std::vector<uint8_t> bytes;
    EXPECT_EQ(0u, writer.writeToBytes(bytes));
    return bytes;
}

QVStatus load(XR3PacketDB& db, QVIOStreamInf& stream) {
    QVIOStreamReader<true> reader(stream);
    return db.loadImage(reader);
}

const DBObjectProxyImpStream* streamImp(const DBObjectProxy* proxy) {
    return dynamic_cast<const DBObjectProxyImpStream*>(&proxy->getImp());
}

}  // namespace

// The index holds its own header first, then every other one, with real lengths.
TEST(PacketDBWalk, IndexHoldsTheFileHeadersInOrder) {
    std::vector<uint8_t> bytes = indexedFile();
    std::vector<PacketLayout> layout = describePackets(bytes);
    ASSERT_EQ(4u, layout.size());
    const PacketLayout& index = layout[0];
    EXPECT_EQ(XR3_PACKET_CONTENTS, index.type.getType());
    EXPECT_EQ(1, index.type.getMajorVersion());
    std::vector<uint8_t> expectedIndex = {0, 0, 0, 7};
    for (const PacketLayout& p : layout) {
        expectedIndex.insert(expectedIndex.end(), bytes.begin() + p.headerPosition,
                             bytes.begin() + p.payloadPosition);
    }
    ASSERT_EQ(static_cast<long long>(expectedIndex.size()), index.payloadLength);
    EXPECT_EQ(expectedIndex, std::vector<uint8_t>(bytes.begin() + index.payloadPosition,
                                                  bytes.begin() + index.payloadPosition + index.payloadLength));
}

// ----------------------------------------------------- files made by hand

namespace {

// Bytes of an XR4 file: version, then the given parts.
std::vector<uint8_t> file(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> bytes = {'t', 'v', 'x', 'd', 3, 4, 0, 'a'};
    for (const auto& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

}  // namespace

// An index written by another encoder: one-byte lengths everywhere, an image
// number field, and the index's own entry not first but second.
TEST(PacketDBWalk, HandMadeIndexedFile) {
    const std::vector<uint8_t> unknownHeader = {0x00, 0x00, 3};              // type 0, length 3
    const std::vector<uint8_t> contentsHeader = {0x46, 0x00, 1, 0, 0};       // 6, major 1, length 0 (patched)
    const std::vector<uint8_t> securityHeader = {0x05, 0x04, 0, 0, 0, 9, 2}; // 5, image 9, length 2
    std::vector<uint8_t> indexPayload = {0xFF, 0xFF, 0xFF, 0xFF};
    for (const auto* h : {&unknownHeader, &contentsHeader, &securityHeader})
        indexPayload.insert(indexPayload.end(), h->begin(), h->end());
    std::vector<uint8_t> contentsHeaderReal = contentsHeader;
    contentsHeaderReal.back() = static_cast<uint8_t>(indexPayload.size());
    // The index's own entry carries the real length too.
    indexPayload[4 + unknownHeader.size() + 4] = static_cast<uint8_t>(indexPayload.size());

    std::vector<uint8_t> bytes =
        file({unknownHeader, {0xA1, 0xA2, 0xA3}, contentsHeaderReal, indexPayload, securityHeader,
              {0xB1, 0xB2}});
    auto mem = openMemStream(bytes);
    CountingStream counting(*mem);
    XR3PacketDB db;
    ASSERT_EQ(0u, load(db, counting));
    ASSERT_EQ(3u, db.getNumObjects());
    auto it = db.getProxies().begin();
    EXPECT_EQ(8 + 3, streamImp(*it)->getOffset());
    ++it;
    EXPECT_EQ(8 + 3 + 3 + 5, streamImp(*it)->getOffset());
    ++it;
    const long long securityPayload = static_cast<long long>(bytes.size()) - 2;
    EXPECT_EQ(securityPayload, streamImp(*it)->getOffset());
    EXPECT_EQ(2, streamImp(*it)->getLength());
    EXPECT_FALSE(counting.touched(securityPayload - 7, securityPayload + 2));

    XR3SecurityPacket* security = nullptr;
    ASSERT_EQ(0u, db.findSinglePacketOf(securityType(9), security));
    ASSERT_NE(nullptr, security);
    EXPECT_EQ((std::vector<uint8_t>{0xB1, 0xB2}),
              std::vector<uint8_t>(security->getRawData(), security->getRawData() + 2));
}

TEST(PacketDBWalk, EmptyStreamAndZeroLength) {
    std::vector<uint8_t> bytes = file({});
    auto mem = openMemStream(bytes);
    XR3PacketDB db;
    EXPECT_EQ(0u, load(db, *mem));
    EXPECT_EQ(0u, db.getNumObjects());

    std::vector<uint8_t> packet = {0x00, 0x00, 1, 0x55};
    auto mem2 = openMemStream(packet);
    QVIOStreamReader<true> reader(*mem2);
    EXPECT_EQ(0u, db.addProxiesByStream(reader, 0));
    EXPECT_EQ(0u, db.getNumObjects());
    EXPECT_EQ(0u, db.addProxiesByStream(reader, 4));
    EXPECT_EQ(1u, db.getNumObjects());
}

// A sequential payload of all ones ends the walk, even with bytes behind it.
TEST(PacketDBWalk, SequentialAllOnesLengthEndsTheWalk) {
    std::vector<uint8_t> bytes =
        file({{0x00, 0x03, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, {1, 2, 3},
              {0x00, 0x00, 1, 9}});
    auto mem = openMemStream(bytes);
    XR3PacketDB db;
    ASSERT_EQ(0u, load(db, *mem));
    ASSERT_EQ(1u, db.getNumObjects());
    XR3UnknownPacket* packet = nullptr;
    ASSERT_EQ(0u, db.findSinglePacketOf(unknownType(0), packet));
    ASSERT_NE(nullptr, packet);
    EXPECT_EQ(7u, packet->getRawDataLength());
}

