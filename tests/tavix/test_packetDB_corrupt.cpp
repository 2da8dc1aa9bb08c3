// Damaged files: cut anywhere, bytes flipped, lengths pointing anywhere.
// Opening and loading must answer with a status, never crash, hang or
// allocate beyond the file.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tavix_fixtureWriter.h"
#include "xr3_container.h"
#include "xr3_metadataPacket.h"

using namespace Orvanetics;
using namespace TavixFixture;

namespace {

// The header payload of a 16 x 16 grey byte image of one level.
const std::vector<uint8_t> kHeaderPayload = {
    0, 0, 0, 0, 0, 0, 0, 2,  // flags
    0, 0, 0, 16, 0, 0, 0, 16,  // width, height
    1, 0, 1, 32, 0, 64, 5,  // levels, bands, word bits, subblock size, data type
    0, 0, 0, 0, 0, 0, 0, 255,  // range
    1, 1, 1,  // colour spaces and transform
    0, 0, 0, 0, 0, 0,  // coding kinds
};

// An indexed file with a packet of every class, plus appended packets.
std::vector<uint8_t> sampleFile() {
    PacketFileWriter writer;
    writer.setIndex(IndexKind::Major1, 1);
    writer.addRawPacket(XR3PacketType(XR3_PACKET_HEADER, 0, 0, 1, 0, 0), kHeaderPayload);
    auto meta = std::make_unique<XR3MetadataPacket>(3, 0, 1);
    const uint8_t text[] = {'g', 'e', 'o', 'r', 'e', 'f'};
    meta->setMetadata(text, sizeof(text));
    writer.addPacket(std::move(meta));
    writer.addRawPacket(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 1, 0, 0),
                        {1, 0, 0, 0, 0, 0, 0, 0, 0, 4, 9, 9, 9, 9});
    writer.addRawPacket(XR3PacketType(XR3_PACKET_XR2, 0, 0, 2, 0, 0), {'x', 'r', '2'});
    writer.appendRawPacket(XR3PacketType(XR3_PACKET_SECURITY, 0, 0, 1, 0, 0), {7, 7});
    writer.appendRawPacket(XR3PacketType(XR3_PACKET_UNKNOWN, 300, 70000, 9, 0, 0), {0});
    std::vector<uint8_t> bytes;
    EXPECT_EQ(0u, writer.writeToBytes(bytes));
    return bytes;
}

struct Outcome {
    QVStatus open = 0;
    QVStatus loadAll = 0;
    size_t proxies = 0;
};

// Opens the bytes as a container and loads every packet.
Outcome openAndLoad(std::vector<uint8_t>& bytes) {
    Outcome outcome;
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    outcome.open = container.initialize();
    XR3List<XR3Packet*> packets;
    outcome.loadAll = container.db_findMultiplePackets(
        XR3PacketDB::createPacketType(XR3_PACKET_ANY), packets);
    XR3List<DBObjectProxy*> proxies;
    container.db_findMultipleProxies(XR3PacketDB::createPacketType(XR3_PACKET_ANY), proxies);
    outcome.proxies = proxies.size();
    return outcome;
}

}  // namespace

TEST(PacketDBCorrupt, SampleFileIsWhole) {
    std::vector<uint8_t> bytes = sampleFile();
    Outcome outcome = openAndLoad(bytes);
    EXPECT_EQ(0u, outcome.open);
    EXPECT_EQ(0u, outcome.loadAll);
    EXPECT_EQ(7u, outcome.proxies);
}

TEST(PacketDBCorrupt, CutAnywhere) {
    const std::vector<uint8_t> whole = sampleFile();
    std::vector<uint8_t> probe = whole;
    const std::vector<PacketLayout> layout = describePackets(probe);
    ASSERT_EQ(7u, layout.size());
    // Cuts that leave a whole file: no packet, all the indexed ones, or
    // whole appended ones.
    std::vector<size_t> wholeCuts = {8};
    for (size_t i = 4; i < layout.size(); ++i)
        wholeCuts.push_back(layout[i].payloadPosition + layout[i].payloadLength);
    // Bytes no load looks at: the planes behind the planeset prefix, and the
    // XR2 packet, whose header comes from the index and whose payload is
    // only located.
    const size_t unseenFrom = layout[3].payloadPosition + XR3PlanesetPacket::kPrefixLength;
    const size_t unseenTo = layout[5].headerPosition;

    for (size_t cut = 0; cut < whole.size(); ++cut) {
        std::vector<uint8_t> bytes(whole.begin(), whole.begin() + cut);
        Outcome outcome = openAndLoad(bytes);
        bool isWhole = std::find(wholeCuts.begin(), wholeCuts.end(), cut) != wholeCuts.end();
        if (cut < 8) {
            EXPECT_EQ(2001u, outcome.open) << "cut " << cut;
        } else if (isWhole || (cut >= unseenFrom && cut <= unseenTo)) {
            EXPECT_EQ(0u, outcome.open) << "cut " << cut;
            EXPECT_EQ(0u, outcome.loadAll) << "cut " << cut;
        } else {
            EXPECT_TRUE(outcome.open || outcome.loadAll) << "a cut file can't be whole: " << cut;
        }
        EXPECT_LE(outcome.proxies, bytes.size() / 3) << "cut " << cut;
    }
}

TEST(PacketDBCorrupt, FlippedBytes) {
    const std::vector<uint8_t> whole = sampleFile();
    for (size_t at = 0; at < whole.size(); ++at) {
        for (uint8_t mask : {0x01, 0x10, 0x80, 0xFF}) {
            std::vector<uint8_t> bytes = whole;
            bytes[at] ^= mask;
            Outcome outcome = openAndLoad(bytes);
            EXPECT_LE(outcome.proxies, bytes.size() / 3) << "byte " << at;
            if (at < 8) {
                EXPECT_EQ(2006u, outcome.open) << "byte " << at;
            }
        }
    }
}

TEST(PacketDBCorrupt, LengthsPointingAnywhere) {
    const std::vector<uint8_t> whole = sampleFile();
    std::vector<uint8_t> probe = whole;
    const std::vector<PacketLayout> layout = describePackets(probe);
    ASSERT_EQ(7u, layout.size());
    const uint64_t lengths[] = {0,
                                1,
                                whole.size(),
                                0x7FFFFFFFull,
                                0xFFFFFFFFull,
                                0x100000000ull,
                                0x7FFFFFFFFFFFFFFFull,
                                0x8000000000000000ull,
                                0xFFFFFFFFFFFFFFFEull,
                                0xFFFFFFFFFFFFFFFFull};
    for (const PacketLayout& packet : layout) {
        for (uint64_t length : lengths) {
            std::vector<uint8_t> bytes = whole;
            patchBigEndian(bytes, packet.lengthFieldPosition, 8, length);
            Outcome outcome = openAndLoad(bytes);
            EXPECT_LE(outcome.proxies, bytes.size() / 3);
        }
    }
}

// The index entries, too, can lie: patch the lengths in the index copy.
TEST(PacketDBCorrupt, IndexEntriesPointingAnywhere) {
    const std::vector<uint8_t> whole = sampleFile();
    std::vector<uint8_t> probe = whole;
    const std::vector<PacketLayout> layout = describePackets(probe);
    const PacketLayout& index = layout[0];
    // The index lists the first five packets; each copy sits at the same
    // offset from the index start as the header sits from the file's packets.
    long long copyPosition = index.payloadPosition + 4;
    for (size_t i = 0; i < 5; ++i) {
        long long lengthField = copyPosition + layout[i].headerLength - 8;
        for (uint64_t length : {0ull, 1ull, 2ull, 0x7FFFFFFFFFFFFFFFull, 0x8000000000000000ull,
                                0xFFFFFFFFFFFFFFFFull}) {
            std::vector<uint8_t> bytes = whole;
            patchBigEndian(bytes, lengthField, 8, length);
            Outcome outcome = openAndLoad(bytes);
            EXPECT_LE(outcome.proxies, bytes.size() / 3) << "entry " << i;
        }
        copyPosition += layout[i].headerLength;
    }
}

// An index whose entries are too short would lead the walk back into the
// index itself; that is refused instead of walked forever.
TEST(PacketDBCorrupt, IndexLeadingBackIntoItselfIsRefused) {
    std::vector<uint8_t> bytes = {'t', 'v', 'x', 'd', 3, 4, 0, 'a',
                                  // contents, major 1, 1-byte length 11
                                  0x46, 0x00, 1, 0, 11,
                                  // overview, then an entry for a 2-byte header of length 0
                                  0, 0, 0, 0, 0x00, 0x00, 0,
                                  // and one more of 4 bytes, length 0
                                  0x00, 0x40, 5, 0,
                                  // the file goes on
                                  0x00, 0x00, 1, 0x33};
    Outcome outcome = openAndLoad(bytes);
    EXPECT_EQ(2028u, outcome.open);
}
