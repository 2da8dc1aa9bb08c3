// Opening packet files: the sequential and the index walk, round trips
// through the fixture writer, and files assembled by hand.
#include <gtest/gtest.h>

#include <string>
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

std::vector<uint8_t> pattern(size_t size, uint8_t seed) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(seed + i * 7);
    return bytes;
}

std::unique_ptr<XR3Packet> metadataPacket(uint32_t sub, uint32_t image, const std::string& text) {
    auto packet = std::make_unique<XR3MetadataPacket>(sub, 0, image);
    packet->setMetadata(reinterpret_cast<const uint8_t*>(text.data()),
                        static_cast<uint32_t>(text.size()));
    return packet;
}

// What a test expects of one packet read back.
struct Expected {
    XR3PacketTypeEnum type;
    uint32_t subType;
    uint32_t imageNumber;
    std::vector<uint8_t> payload;  // raw payload, or metadata bytes
};

// A file and the packets it holds, in file order.
struct Fixture {
    std::vector<uint8_t> bytes;
    std::vector<Expected> packets;
};

// Listed: unknown (sub 1), metadata (1, image 0), security (image 3);
// appended: unknown (sub 2), security (image 4).
Fixture makeFixture(IndexKind index, bool appended, bool finalToEnd) {
    Fixture f;
    PacketFileWriter writer;
    writer.setIndex(index, 7);
    if (index != IndexKind::None) f.packets.push_back({XR3_PACKET_CONTENTS, 0, 0, {}});
    auto add = [&](const XR3PacketType& type, std::vector<uint8_t> payload, bool append) {
        if (append)
            writer.appendRawPacket(type, payload);
        else
            writer.addRawPacket(type, payload);
        f.packets.push_back({type.getType(), type.getSubType(), type.getImageNumber(), payload});
    };
    add(unknownType(1), pattern(40, 1), false);
    writer.addPacket(metadataPacket(1, 0, "classical"));
    f.packets.push_back({XR3_PACKET_METADATA, 1, 0, {'c', 'l', 'a', 's', 's', 'i', 'c', 'a', 'l'}});
    add(securityType(3), pattern(300, 9), false);
    if (appended) {
        add(unknownType(2), pattern(17, 4), true);
        add(securityType(4), pattern(5, 200), true);
    }
    writer.setFinalLengthToEnd(finalToEnd);
    EXPECT_EQ(0u, writer.writeToBytes(f.bytes));
    return f;
}

std::vector<uint8_t> payloadOf(XR3Packet& packet) {
    if (auto* raw = dynamic_cast<XR3RawPacket*>(&packet))
        return {raw->getRawData(), raw->getRawData() + raw->getRawDataLength()};
    if (auto* meta = dynamic_cast<XR3MetadataPacket*>(&packet))
        return {meta->getMetadata(), meta->getMetadata() + meta->getMetadataLength()};
    return {};
}

void expectPackets(const XR3PacketDB& db, const std::vector<Expected>& expected) {
    ASSERT_EQ(expected.size(), db.getNumObjects());
    size_t i = 0;
    for (DBObjectProxy* proxy : db.getProxies()) {
        const Expected& e = expected[i++];
        const auto& type = static_cast<const XR3PacketType&>(proxy->getType());
        EXPECT_EQ(e.type, type.getType()) << "packet " << i;
        EXPECT_EQ(e.subType, type.getSubType()) << "packet " << i;
        EXPECT_EQ(e.imageNumber, type.getImageNumber()) << "packet " << i;
        DBObject* object = nullptr;
        ASSERT_EQ(0u, db.loadObject(*proxy, object)) << "packet " << i;
        auto* packet = dynamic_cast<XR3Packet*>(object);
        ASSERT_NE(nullptr, packet);
        if (e.type != XR3_PACKET_CONTENTS) {
            EXPECT_EQ(e.payload, payloadOf(*packet)) << "packet " << i;
        }
    }
}

QVStatus load(XR3PacketDB& db, QVIOStreamInf& stream) {
    QVIOStreamReader<true> reader(stream);
    return db.loadImage(reader);
}

const DBObjectProxyImpStream* streamImp(const DBObjectProxy* proxy) {
    return dynamic_cast<const DBObjectProxyImpStream*>(&proxy->getImp());
}

}  // namespace

// ----------------------------------------------------------------- round trips

TEST(PacketDBWalk, RoundTripsWithAndWithoutIndex) {
    for (IndexKind index : {IndexKind::None, IndexKind::Major0, IndexKind::Major1}) {
        for (bool appended : {false, true}) {
            for (bool finalToEnd : {false, true}) {
                SCOPED_TRACE(testing::Message() << "index " << int(index) << " appended "
                                                << appended << " to end " << finalToEnd);
                Fixture f = makeFixture(index, appended, finalToEnd);
                auto stream = openMemStream(f.bytes);
                XR3PacketDB db;
                ASSERT_EQ(0u, load(db, *stream));
                EXPECT_EQ(XR3Version::getXR4Version(), db.getVersion());
                expectPackets(db, f.packets);

                XR3ContentsPacket* contents = nullptr;
                EXPECT_EQ(0u, db.findSinglePacketOf(
                                  XR3PacketDB::createPacketType(XR3_PACKET_CONTENTS), contents));
                if (index == IndexKind::None) {
                    EXPECT_EQ(nullptr, contents);
                } else {
                    ASSERT_NE(nullptr, contents);
                    EXPECT_EQ(7u, contents->getOverviewImageNumber());
                }
            }
        }
    }
}

TEST(PacketDBWalk, FinalLengthOfAllOnesRunsToTheEnd) {
    Fixture f = makeFixture(IndexKind::None, true, true);
    std::vector<PacketLayout> layout = describePackets(f.bytes);
    ASSERT_EQ(5u, layout.size());
    EXPECT_EQ(kDBLengthToEnd, layout.back().payloadLength);
    for (size_t i = 0; i + 1 < layout.size(); ++i) EXPECT_GE(layout[i].payloadLength, 0);

    auto stream = openMemStream(f.bytes);
    XR3PacketDB db;
    ASSERT_EQ(0u, load(db, *stream));
    EXPECT_EQ(kDBLengthToEnd, streamImp(db.getProxies().back())->getLength());
}

// The index holds its own header first, then every other one, with real lengths.
TEST(PacketDBWalk, IndexHoldsTheFileHeadersInOrder) {
    Fixture f = makeFixture(IndexKind::Major1, false, false);
    std::vector<PacketLayout> layout = describePackets(f.bytes);
    ASSERT_EQ(4u, layout.size());
    const PacketLayout& index = layout[0];
    EXPECT_EQ(XR3_PACKET_CONTENTS, index.type.getType());
    EXPECT_EQ(1, index.type.getMajorVersion());
    std::vector<uint8_t> expectedIndex = {0, 0, 0, 7};
    for (const PacketLayout& p : layout) {
        expectedIndex.insert(expectedIndex.end(), f.bytes.begin() + p.headerPosition,
                             f.bytes.begin() + p.payloadPosition);
    }
    ASSERT_EQ(static_cast<long long>(expectedIndex.size()), index.payloadLength);
    EXPECT_EQ(expectedIndex, std::vector<uint8_t>(f.bytes.begin() + index.payloadPosition,
                                                  f.bytes.begin() + index.payloadPosition +
                                                      index.payloadLength));
}

TEST(PacketDBWalk, IndexedWalkReadsOnlyTheIndex) {
    for (bool appended : {false, true}) {
        Fixture f = makeFixture(IndexKind::Major1, appended, false);
        std::vector<PacketLayout> layout = describePackets(f.bytes);
        auto mem = openMemStream(f.bytes);
        CountingStream counting(*mem);
        XR3PacketDB db;
        ASSERT_EQ(0u, load(db, counting));
        EXPECT_EQ(layout.size(), db.getNumObjects()) << "no second proxy for the index";

        // Listed payloads are never read; appended packets are walked
        // sequentially, so their headers are read, their payloads are not.
        for (size_t i = 1; i < layout.size(); ++i) {
            EXPECT_FALSE(counting.touched(layout[i].payloadPosition,
                                          layout[i].payloadPosition + layout[i].payloadLength))
                << "payload " << i;
        }
        const size_t listed = 4;
        for (size_t i = 1; i < listed; ++i) {
            EXPECT_FALSE(counting.touched(layout[i].headerPosition, layout[i].payloadPosition))
                << "header " << i << " is read from the index, not from the file";
        }
        // The overview number (the index's first four bytes) is skipped.
        uint64_t expected = 8 + layout[0].headerLength + layout[0].payloadLength - 4;
        for (size_t i = listed; i < layout.size(); ++i) expected += layout[i].headerLength;
        EXPECT_EQ(expected, counting.getBytesRead());

        // The proxies point at the payloads.
        size_t i = 0;
        for (DBObjectProxy* proxy : db.getProxies()) {
            EXPECT_EQ(layout[i].payloadPosition, streamImp(proxy)->getOffset()) << i;
            EXPECT_EQ(layout[i].payloadLength, streamImp(proxy)->getLength()) << i;
            ++i;
        }
    }
}

// Headers with version bytes of major 0 (a planeset of minor 1) in an index
// whose room fits them, as another encoder may write it.
TEST(PacketDBWalk, IndexWithVersionBytesOfMajorZero) {
    const std::vector<uint8_t> prefix = {1, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0xAB, 0xCD};
    PacketFileWriter writer;
    writer.setIndex(IndexKind::Major1Measured, 0);
    writer.addRawPacket(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 0, 0, 1), prefix);
    writer.addRawPacket(unknownType(4), {1, 2});
    writer.appendRawPacket(XR3PacketType(XR3_PACKET_UNKNOWN, 0, 0, 0, 0, 3), {3});
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    std::vector<PacketLayout> layout = describePackets(bytes);
    ASSERT_EQ(4u, layout.size());
    EXPECT_EQ(12, layout[1].headerLength) << "the planeset header carries its version bytes";

    auto mem = openMemStream(bytes);
    CountingStream counting(*mem);
    XR3PacketDB db;
    ASSERT_EQ(0u, load(db, counting));
    ASSERT_EQ(4u, db.getNumObjects());
    size_t i = 0;
    for (DBObjectProxy* proxy : db.getProxies()) {
        EXPECT_EQ(layout[i].payloadPosition, streamImp(proxy)->getOffset()) << i;
        ++i;
    }
    EXPECT_FALSE(counting.touched(layout[1].headerPosition, layout[2].payloadPosition + 2));

    XR3PlanesetPacket* planeset = nullptr;
    ASSERT_EQ(0u, db.findSinglePacketOf(XR3PacketDB::createPacketType(XR3_PACKET_PLANESET), planeset));
    ASSERT_NE(nullptr, planeset);
    EXPECT_TRUE(planeset->hasWideLengths());
    EXPECT_EQ(2, planeset->getDataLength());
    EXPECT_EQ(layout[1].payloadPosition + 10, planeset->getDataStart());
}

TEST(PacketDBWalk, LoadReadsTheStreamOnceThenKeepsTheObject) {
    Fixture f = makeFixture(IndexKind::Major1, false, false);
    auto mem = openMemStream(f.bytes);
    CountingStream counting(*mem);
    XR3PacketDB db;
    ASSERT_EQ(0u, load(db, counting));
    XR3PacketType wanted = securityType(3);
    DBObject* first = nullptr;
    ASSERT_EQ(0u, db.loadObject(wanted, first));
    ASSERT_NE(nullptr, first);
    counting.reset();
    DBObject* second = nullptr;
    ASSERT_EQ(0u, db.loadObject(wanted, second));
    EXPECT_EQ(first, second);
    EXPECT_EQ(0u, counting.getBytesRead());
    EXPECT_NE(nullptr, db.getProxies().back()->getObject());
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

// A contents packet of major 0 is an ordinary packet: the walk goes on behind it.
TEST(PacketDBWalk, ContentsOfMajorZeroIsOrdinary) {
    std::vector<uint8_t> bytes = file({{0x06, 0x00, 4}, {0, 0, 0, 3}, {0x00, 0x00, 1}, {0x42}});
    auto mem = openMemStream(bytes);
    XR3PacketDB db;
    ASSERT_EQ(0u, load(db, *mem));
    ASSERT_EQ(2u, db.getNumObjects());
    XR3ContentsPacket* contents = nullptr;
    ASSERT_EQ(0u, db.findSinglePacketOf(XR3PacketDB::createPacketType(XR3_PACKET_CONTENTS),
                                        contents));
    ASSERT_NE(nullptr, contents);
    EXPECT_EQ(3u, contents->getOverviewImageNumber());
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

// A walk over part of a stream: the index covers the given length exactly,
// and nothing behind it is looked at.
TEST(PacketDBWalk, IndexCoveringTheLengthEndsTheWalk) {
    Fixture f = makeFixture(IndexKind::Major1, false, false);
    std::vector<uint8_t> bytes = f.bytes;
    bytes.insert(bytes.end(), {0x00, 0x00, 1, 0x77});  // garbage the walk must not see
    auto mem = openMemStream(bytes);
    CountingStream counting(*mem);
    QVIOStreamReader<true> reader(counting);
    ASSERT_EQ(0u, reader.seek(8));
    XR3PacketDB db;
    EXPECT_EQ(0u, db.addProxiesByStream(reader, static_cast<long long>(f.bytes.size()) - 8));
    EXPECT_EQ(4u, db.getNumObjects());
    EXPECT_FALSE(counting.touched(static_cast<int64_t>(f.bytes.size()),
                                  static_cast<int64_t>(bytes.size())));
}
