// A packet file laid out byte by byte as another writer may lay it out:
// headers in every field width, an index of major 1 whose entries are those
// headers, and a packet appended behind the indexed ones that runs to the end
// of the file. The expected proxies are worked out from the header rules.
#include <gtest/gtest.h>

#include <vector>

#include "tavix_countingStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_packet.h"

using namespace Orvanetics;
using namespace TavixFixture;

namespace {

using Bytes = std::vector<uint8_t>;

void append(Bytes& out, const Bytes& b) { out.insert(out.end(), b.begin(), b.end()); }

// Contents: control 46 (type 6, version bytes 01 00), package 01 (a 2-byte
// length, 4 + 6 + 17 + 8 = 35 = 00 23): 6 bytes.
const Bytes kContentsHeader = {0x46, 0x01, 0x01, 0x00, 0x00, 0x23};
// Unknown packet: control 00, package BC = 10 11 1 1 00: a 2-byte subType
// 0102, a 4-byte subSubType 3, spare word 4, image number 5, a 1-byte length 3.
const Bytes kUnknownHeader = {0x00, 0xBC, 0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00,
                              0x00, 0x04, 0x00, 0x00, 0x00, 0x05, 0x03};
// Security packet: control 45 (type 5, version 2.3), package 02: a 4-byte length 2.
const Bytes kSecurityHeader = {0x45, 0x02, 0x02, 0x03, 0x00, 0x00, 0x00, 0x02};
// Appended, not indexed: an unknown packet, subType 9 (package 43 = 01 00 0 0
// 11), whose eight FF length bytes run it to the end of the file.
const Bytes kAppendedHeader = {0x00, 0x43, 0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

struct HandFile {
    Bytes bytes;
    int64_t unknownPayload, securityPayload, appendedPayload;
};

HandFile handFile() {
    HandFile f;
    f.bytes = {'t', 'v', 'x', 'd', 3, 0, 26, 'u'};
    append(f.bytes, kContentsHeader);
    append(f.bytes, {0x00, 0x00, 0x00, 0x07});  // overview image 7
    for (const Bytes* header : {&kContentsHeader, &kUnknownHeader, &kSecurityHeader}) append(f.bytes, *header);
    append(f.bytes, kUnknownHeader);
    f.unknownPayload = int64_t(f.bytes.size());
    append(f.bytes, {0xAA, 0xBB, 0xCC});
    append(f.bytes, kSecurityHeader);
    f.securityPayload = int64_t(f.bytes.size());
    append(f.bytes, {0xD1, 0xD2});
    append(f.bytes, kAppendedHeader);
    f.appendedPayload = int64_t(f.bytes.size());
    append(f.bytes, {0xE1, 0xE2, 0xE3});
    return f;
}

const XR3PacketType& typeOf(const DBObjectProxy* proxy) {
    return static_cast<const XR3PacketType&>(proxy->getType());
}

int64_t payloadOffsetOf(const DBObjectProxy* proxy) {
    return dynamic_cast<const DBObjectProxyImpStream&>(proxy->getImp()).getOffset();
}

Bytes rawBytesOf(XR3PacketDB& db, DBObjectProxy* proxy) {
    DBObject* object = nullptr;
    EXPECT_EQ(0u, db.loadObject(*proxy, object));
    auto* raw = dynamic_cast<XR3RawPacket*>(object);
    return raw ? Bytes(raw->getRawData(), raw->getRawData() + raw->getRawDataLength()) : Bytes{};
}

}  // namespace

TEST(RulesPackets, IndexedFileWithEveryFieldWidthAndAnAppendedPacket) {
    HandFile f = handFile();
    auto mem = openMemStream(f.bytes);
    CountingStream counting(*mem);
    QVIOStreamReader<true> reader(counting);
    XR3PacketDB db;
    ASSERT_EQ(0u, db.loadImage(reader));
    EXPECT_EQ(XR3Version(3, 0, 26, 'u'), db.getVersion());
    // The index walk reaches the indexed payloads without reading them.
    EXPECT_FALSE(counting.touched(f.unknownPayload, f.unknownPayload + 3));
    EXPECT_FALSE(counting.touched(f.securityPayload, f.securityPayload + 2));

    // The contents itself, the two indexed packets, the appended one; the
    // index's entry for the contents makes no second proxy.
    ASSERT_EQ(4u, db.getNumObjects());
    auto it = db.getProxies().begin();
    DBObjectProxy* contents = *it++;
    DBObjectProxy* unknown = *it++;
    DBObjectProxy* security = *it++;
    DBObjectProxy* appended = *it;

    EXPECT_EQ(XR3_PACKET_CONTENTS, typeOf(contents).getType());
    EXPECT_EQ(8 + 6, payloadOffsetOf(contents));

    const XR3PacketType& u = typeOf(unknown);
    EXPECT_EQ(XR3_PACKET_UNKNOWN, u.getType());
    EXPECT_EQ(0x0102u, u.getSubType());
    EXPECT_EQ(3u, u.getSubSubType());
    EXPECT_EQ(4u, u.getSpareWord());
    EXPECT_EQ(5u, u.getImageNumber());
    EXPECT_EQ(f.unknownPayload, payloadOffsetOf(unknown));

    const XR3PacketType& s = typeOf(security);
    EXPECT_EQ(XR3_PACKET_SECURITY, s.getType());
    EXPECT_EQ(2, s.getMajorVersion());
    EXPECT_EQ(3, s.getMinorVersion());
    EXPECT_EQ(f.securityPayload, payloadOffsetOf(security));

    EXPECT_EQ(9u, typeOf(appended).getSubType());
    EXPECT_EQ(f.appendedPayload, payloadOffsetOf(appended));

    EXPECT_EQ(Bytes({0xAA, 0xBB, 0xCC}), rawBytesOf(db, unknown));
    EXPECT_EQ(Bytes({0xD1, 0xD2}), rawBytesOf(db, security));
    EXPECT_EQ(Bytes({0xE1, 0xE2, 0xE3}), rawBytesOf(db, appended));
    DBObject* object = nullptr;
    ASSERT_EQ(0u, db.loadObject(*contents, object));
    EXPECT_EQ(7u, dynamic_cast<XR3ContentsPacket&>(*object).getOverviewImageNumber());
}
