// The database operations: searches, loads, equality, copies, the two-pass
// write with its delegates, the indirect proxies and the composite order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core_testReader.h"
#include "qv_ioDynamicMemStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_metadataPacket.h"
#include "xr3_packet.h"

using namespace Orvanetics;
using namespace TavixFixture;

namespace {

XR3PacketType type(XR3PacketTypeEnum t, uint32_t sub, uint32_t image, uint8_t major = 0,
                   uint8_t minor = 0) {
    return XR3PacketType(t, sub, 0, image, major, minor);
}

XR3UnknownPacket* rawPacket(const XR3PacketType& t, std::vector<uint8_t> payload) {
    auto* packet = new XR3UnknownPacket(t);
    packet->setRawData(payload.data(), static_cast<uint32_t>(payload.size()));
    return packet;
}

struct MemOut {
    QVIODynamicMemStream stream;
    QVIOStreamWriter<true> writer{stream};
    MemOut() {
        EXPECT_EQ(0u, stream.initialize(256));
        EXPECT_EQ(0u, stream.open());
    }
    std::vector<uint8_t> bytes() const {
        return std::vector<uint8_t>(stream.getData(), stream.getData() + stream.getLength());
    }
};


}  // namespace

TEST(PacketDBOperations, FindProxyWantsExactlyOneMatch) {
    XR3PacketDB db;
    db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 0), {1}));
    db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 2), {2}));
    db.addProxyByObject(rawPacket(type(XR3_PACKET_SECURITY, 0, 2), {3}));

    DBObjectProxy* proxy = reinterpret_cast<DBObjectProxy*>(1);
    EXPECT_EQ(0u, db.findProxy(XR3PacketDB::createPacketType(XR3_PACKET_UNKNOWN), proxy));
    EXPECT_EQ(nullptr, proxy) << "two matches are no match";
    EXPECT_EQ(0u, db.findProxy(XR3PacketDB::createPacketType(XR3_PACKET_HEADER), proxy));
    EXPECT_EQ(nullptr, proxy);
    EXPECT_EQ(0u, db.findProxy(type(XR3_PACKET_UNKNOWN, 1, 2), proxy));
    ASSERT_NE(nullptr, proxy);

    XR3List<DBObjectProxy*> all;
    EXPECT_EQ(0u, db.findAllProxies(XR3PacketDB::createPacketType(XR3_PACKET_ANY,
                                                                  XR3PacketType::ANY_SUBTYPE,
                                                                  XR3PacketType::ANY_SUBSUBTYPE, 2),
                                    all));
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(proxy, all.front());

    // A comparator of one's own: here, any packet whose subType is 1.
    XR3List<DBObjectProxy*> bySubType;
    auto subTypeOne = [](const DBObjectType&, const DBObjectType& candidate) {
        return static_cast<const XR3PacketType&>(candidate).getSubType() == 1;
    };
    EXPECT_EQ(0u, db.findAllProxies(XR3PacketType(), bySubType, subTypeOne));
    EXPECT_EQ(2u, bySubType.size());

    // Loading without a single match leaves the object as it was.
    DBObject* object = reinterpret_cast<DBObject*>(1);
    EXPECT_EQ(0u, db.loadObject(XR3PacketDB::createPacketType(XR3_PACKET_UNKNOWN), object));
    EXPECT_EQ(reinterpret_cast<DBObject*>(1), object);

    EXPECT_TRUE(db.removeProxy(proxy));
    EXPECT_FALSE(db.removeProxy(proxy));
    EXPECT_EQ(2u, db.getNumObjects());
    delete proxy;  // removal handed it to us
}

// Two databases loaded from one file of two packets: equal only once all
// objects are resident; a copy shares the stream and copies the objects.
TEST(PacketDBOperations, EqualityNeedsResidentObjectsAndCopiesShareStreams) {
    XR3PacketDB empty1, empty2;
    EXPECT_TRUE(empty1 == empty2);

    PacketFileWriter writer;
    writer.addRawPacket(type(XR3_PACKET_UNKNOWN, 1, 0), {1, 2, 3});
    writer.addRawPacket(type(XR3_PACKET_SECURITY, 0, 4), {4});
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    auto s1 = openMemStream(bytes);
    auto s2 = openMemStream(bytes);
    XR3PacketDB a, b;
    QVIOStreamReader<true> r1(*s1), r2(*s2);
    ASSERT_EQ(0u, a.loadImage(r1));
    ASSERT_EQ(0u, b.loadImage(r2));

    XR3PacketDB copy;
    DBObject* loaded = nullptr;
    ASSERT_EQ(0u, a.loadObject(*a.getProxies().back(), loaded));
    ASSERT_EQ(0u, copy.addProxiesByDB(a));
    ASSERT_EQ(2u, copy.getNumObjects());
    const auto* shared = dynamic_cast<const DBObjectProxyImpStream*>(&copy.getProxies().front()->getImp());
    ASSERT_NE(nullptr, shared);
    EXPECT_EQ(s1.get(), &shared->getStream());
    DBObject* copied = copy.getProxies().back()->getObject();
    ASSERT_NE(nullptr, copied);
    EXPECT_NE(loaded, copied);
    EXPECT_TRUE(*loaded == *copied);
    EXPECT_EQ(&copy, &copy.getProxies().back()->getDB());

    EXPECT_FALSE(a == b) << "unloaded proxies are never equal";
    ASSERT_EQ(0u, a.loadAllObjects());
    EXPECT_FALSE(a == b);
    ASSERT_EQ(0u, b.loadAllObjects());
    EXPECT_TRUE(a == b);

    XR3PacketDB c;
    c.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 0), {1, 2, 3}));
    c.addProxyByObject(rawPacket(type(XR3_PACKET_SECURITY, 0, 4), {5}));
    EXPECT_FALSE(a == c) << "payloads differ";
}

TEST(PacketDBOperations, FailingReadHandsOutTheObjectAndKeepsTheStream) {
    // A metadata packet whose count runs past its payload.
    std::vector<uint8_t> bytes = {'t', 'v', 'x', 'd', 3, 4, 0, 'a', 0x02, 0x00, 5, 0, 0, 0, 9, 1};
    auto stream = openMemStream(bytes);
    QVIOStreamReader<true> reader(*stream);
    XR3PacketDB db;
    ASSERT_EQ(0u, db.loadImage(reader));
    DBObjectProxy* proxy = db.getProxies().front();
    DBObject* object = nullptr;
    EXPECT_EQ(2001u, db.loadObject(*proxy, object));
    EXPECT_NE(nullptr, dynamic_cast<XR3MetadataPacket*>(object));
    EXPECT_EQ(nullptr, proxy->getObject());
    EXPECT_NE(nullptr, dynamic_cast<const DBObjectProxyImpStream*>(&proxy->getImp()));
    EXPECT_EQ(2001u, db.loadAllObjects());
}

TEST(PacketDBOperations, PacketTypesWithoutClassGive2010OnLoad) {
    std::vector<uint8_t> bytes = {'t', 'v', 'x', 'd', 3, 4, 0, 'a', 0x03, 0x00, 1, 7,
                                  0x08, 0x00, 0};
    auto stream = openMemStream(bytes);
    QVIOStreamReader<true> reader(*stream);
    XR3PacketDB db;
    ASSERT_EQ(0u, db.loadImage(reader));
    ASSERT_EQ(2u, db.getNumObjects());
    for (DBObjectProxy* proxy : db.getProxies()) {
        DBObject* object = nullptr;
        EXPECT_EQ(2010u, db.loadObject(*proxy, object));
        EXPECT_EQ(nullptr, object);
    }
}

// ------------------------------------------------------------------- writing

TEST(PacketDBWrite, EmptyDatabaseWritesNothingAndReportsCompletion) {
    XR3PacketDB db;
    CoreTest::RecordingProgress progress;
    db.setProgressDelegate(&progress);
    MemOut out;
    EXPECT_EQ(0u, db.writeExcludingVersion(out.writer));
    EXPECT_EQ(0u, out.stream.getLength());
    EXPECT_EQ(std::vector<float>{1.0f}, progress.fractions);
}

TEST(PacketDBWrite, ProgressCountsRewritesLast) {
    XR3PacketDB db;
    db.addProxyByObject(new XR3ContentsPacket(db, 0));
    db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 0), {1}));
    db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 2, 0), {2}));
    CoreTest::RecordingProgress progress;
    db.setProgressDelegate(&progress);
    MemOut out;
    ASSERT_EQ(0u, db.write(out.writer));
    // First pass: the index is not done yet, so it doesn't count.
    EXPECT_EQ((std::vector<float>{0.0f, 0.0f, 1.0f / 3, 2.0f / 3, 1.0f}), progress.fractions);
}

TEST(PacketDBWrite, InterruptStopsTheWrite) {
    XR3PacketDB db;
    for (uint32_t i = 1; i <= 3; ++i) db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, i, 0), {1}));
    CoreTest::CountingInterrupt interrupt(2, 2007);
    db.setInterruptDelegate(&interrupt);
    MemOut out;
    EXPECT_EQ(2007u, db.writeExcludingVersion(out.writer));
    EXPECT_EQ(2u * 12u, out.stream.getLength()) << "two packets of an 11-byte header and 1 byte";
}

// A write stopped between the passes leaves nothing behind for the next one.
TEST(PacketDBWrite, WriteAfterAnInterruptedOneIsWhole) {
    auto fill = [](XR3PacketDB& db) {
        db.addProxyByObject(new XR3ContentsPacket(db, 2));
        db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 0), {1, 2}));
        db.addProxyByObject(rawPacket(type(XR3_PACKET_SECURITY, 0, 3), {3}));
    };
    XR3PacketDB reference;
    fill(reference);
    MemOut expected;
    ASSERT_EQ(0u, reference.write(expected.writer));

    XR3PacketDB db;
    fill(db);
    CoreTest::CountingInterrupt interrupt(2, 2007);
    db.setInterruptDelegate(&interrupt);
    MemOut stopped;
    EXPECT_EQ(2007u, db.write(stopped.writer));
    db.setInterruptDelegate(nullptr);
    MemOut whole;
    ASSERT_EQ(0u, db.write(whole.writer));
    EXPECT_EQ(expected.bytes(), whole.bytes());
}

TEST(PacketDBWrite, PacketsWithoutWriterGive2014) {
    XR3PacketDB db;
    db.addProxyByObject(new XR3XR2Packet(1));
    MemOut out;
    EXPECT_EQ(2014u, db.writeExcludingVersion(out.writer));
    XR3PacketDB planesets;
    planesets.addProxyByObject(new XR3PlanesetPacket(1));
    EXPECT_EQ(2014u, planesets.writeExcludingVersion(out.writer));
}

// The index reservation counts headers as computeHeaderLength does; a type
// of major 0 and minor 1 writes two bytes more, so the index can't be filled.
TEST(PacketDBWrite, IndexRefusesHeadersLongerThanReserved) {
    XR3PacketDB db;
    db.addProxyByObject(new XR3ContentsPacket(db));
    db.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 0, 0, 1), {1}));
    MemOut out;
    EXPECT_EQ(2002u, db.write(out.writer));

    XR3PacketDB plain;
    plain.addProxyByObject(new XR3ContentsPacket(plain));
    plain.addProxyByObject(rawPacket(type(XR3_PACKET_UNKNOWN, 1, 0, 2, 1), {1}));
    MemOut out2;
    EXPECT_EQ(0u, plain.write(out2.writer)) << "major not 0: counted and written alike";
}

TEST(PacketDBWrite, LoadedDatabaseCopiedAndWrittenAgainGivesTheSameBytes) {
    PacketFileWriter writer;
    writer.setIndex(IndexKind::Major1, 5);
    writer.addRawPacket(type(XR3_PACKET_UNKNOWN, 1, 0), {1, 2, 3});
    auto meta = std::make_unique<XR3MetadataPacket>(3, 0, 2);
    const uint8_t text[] = {'g', 'e', 'o'};
    meta->setMetadata(text, 3);
    writer.addPacket(std::move(meta));
    writer.addRawPacket(type(XR3_PACKET_SECURITY, 0, 2), std::vector<uint8_t>(70000, 0x5A));
    std::vector<uint8_t> original;
    ASSERT_EQ(0u, writer.writeToBytes(original));

    auto stream = openMemStream(original);
    QVIOStreamReader<true> reader(*stream);
    XR3PacketDB loaded;
    ASSERT_EQ(0u, loaded.loadImage(reader));
    XR3PacketDB copy;
    ASSERT_EQ(0u, copy.copyDatabase(loaded));
    for (int round = 0; round < 2; ++round) {
        MemOut out;
        ASSERT_EQ(0u, copy.write(out.writer)) << "round " << round;
        EXPECT_EQ(original, out.bytes()) << "round " << round;
    }
}

// -------------------------------------------------------- indirect proxies

namespace {

class TextStreamDelegate : public DBIndirectStreamDelegate {
public:
    QVStatus invoke(QVIOStreamInf& stream) override {
        ++calls;
        const uint8_t bytes[] = {0, 0, 0, 2, 'h', 'i'};
        return stream.write(bytes, sizeof(bytes)) == sizeof(bytes) ? 0 : 2002;
    }
    int calls = 0;
};

class RawObjectDelegate : public DBIndirectObjectDelegate {
public:
    QVStatus invoke(const DBObjectType& t, DBObject*& object) override {
        ++calls;
        object = rawPacket(static_cast<const XR3PacketType&>(t), {9, 8, 7});
        return 0;
    }
    int calls = 0;
};

}  // namespace

TEST(PacketDBIndirect, StreamDelegateWritesStraightAndLoadsThroughATemporaryStream) {
    TextStreamDelegate delegate;
    XR3PacketDB db;
    DBObjectProxy* proxy = db.addProxyByIndirectStream(type(XR3_PACKET_METADATA, 4, 1), delegate);
    ASSERT_NE(nullptr, proxy);
    MemOut out;
    ASSERT_EQ(0u, db.writeExcludingVersion(out.writer));
    EXPECT_EQ((std::vector<uint8_t>{0x02, 0x47, 4, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 2,
                                    'h', 'i'}),
              out.bytes());

    DBObject* object = nullptr;
    ASSERT_EQ(0u, db.loadObject(*proxy, object));
    auto* meta = dynamic_cast<XR3MetadataPacket*>(object);
    ASSERT_NE(nullptr, meta);
    EXPECT_EQ(2u, meta->getMetadataLength());
    EXPECT_EQ(2, delegate.calls);
    EXPECT_EQ(object, proxy->getObject()) << "resident from now on";
}

TEST(PacketDBIndirect, ObjectDelegateIsAskedAtWriteAndAtLoad) {
    RawObjectDelegate delegate;
    XR3PacketDB db;
    DBObjectProxy* proxy = db.addProxyByIndirectObject(type(XR3_PACKET_UNKNOWN, 0, 0), delegate);
    MemOut out;
    ASSERT_EQ(0u, db.writeExcludingVersion(out.writer));
    EXPECT_EQ((std::vector<uint8_t>{0x00, 0x03, 0, 0, 0, 0, 0, 0, 0, 3, 9, 8, 7}), out.bytes());
    DBObject* object = nullptr;
    ASSERT_EQ(0u, db.loadObject(*proxy, object));
    EXPECT_NE(nullptr, object);
    EXPECT_EQ(2, delegate.calls);

    XR3PacketDB copy;
    ASSERT_EQ(0u, copy.addProxiesByDB(db));
    EXPECT_TRUE(db == copy);
}

// --------------------------------------------------------- composite order

TEST(PacketDBOperations, SortForIndexedComposite) {
    XR3PacketDB db;
    const std::vector<XR3PacketType> input = {
        type(XR3_PACKET_PLANESET, 0, 0), type(XR3_PACKET_METADATA, 1, 1),
        type(XR3_PACKET_HEADER, 0, 1),   type(XR3_PACKET_METADATA, 3, 1),
        type(XR3_PACKET_PLANESET, 0, 1), type(XR3_PACKET_HEADER, 0, 0),
        type(XR3_PACKET_CONTENTS, 0, 0, 1), type(XR3_PACKET_METADATA, 4, 0),
        type(XR3_PACKET_METADATA, 1, 0),
    };
    for (const XR3PacketType& t : input) db.addProxyByObject(rawPacket(t, {}));
    db.sortForIndexedComposite();
    std::vector<std::pair<uint32_t, std::pair<uint32_t, uint32_t>>> order;
    for (DBObjectProxy* proxy : db.getProxies()) {
        const auto& t = static_cast<const XR3PacketType&>(proxy->getType());
        order.push_back({t.getType(), {t.getImageNumber(), t.getSubType()}});
    }
    const decltype(order) expected = {
        {6, {0, 0}}, {1, {0, 0}}, {2, {0, 4}}, {2, {0, 1}}, {1, {1, 0}},
        {2, {1, 3}}, {2, {1, 1}}, {4, {0, 0}}, {4, {1, 0}},
    };
    EXPECT_EQ(expected, order);
}
