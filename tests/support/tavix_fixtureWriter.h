// Test-only writer of XR3/XR4 packet files, through the packet database's
// own write path (XR3PacketDB::write), plus helpers to look at and damage
// the bytes it produced.
//
//   TavixFixture::PacketFileWriter writer;                 // XR4 version
//   writer.setIndex(TavixFixture::IndexKind::Major1);      // contents first
//   writer.addRawPacket(type, {1, 2, 3});                  // listed packets
//   writer.addPacket(std::make_unique<MyPlanesetPacket>(...));
//   writer.appendRawPacket(type, payload);                 // behind the listed ones
//   std::vector<uint8_t> bytes;
//   ASSERT_EQ(0u, writer.writeToBytes(bytes));
//   auto stream = TavixFixture::openMemStream(bytes);      // read it back
//
// Any XR3Packet subclass can be added: its write() produces the payload.
// Whole-image helpers (header, metadata and planeset packets of one image)
// belong on top of addPacket.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "qv_ioMemStream.h"
#include "xr3_packet.h"

namespace TavixFixture {

using namespace Orvanetics;

enum class IndexKind {
    None,    // no contents packet
    Major0,  // contents packet of major 0: only the overview number
    Major1,  // contents packet of major 1: a copy of every header
    // Major 1, its room measured from the headers as written. The library's
    // own index reserves computeHeaderLength per packet, which leaves out the
    // version bytes of a type of major 0 and minor not 0 (planesets, header
    // packets with quantization), so its write gives 2002 for such files.
    Major1Measured,
};

// Where one packet lies in a file.
struct PacketLayout {
    XR3PacketType type;
    long long headerPosition = 0;
    long long headerLength = 0;
    long long lengthFieldPosition = 0;  // the last bytes of the header
    unsigned lengthFieldWidth = 8;
    long long payloadPosition = 0;
    long long payloadLength = 0;  // kDBLengthToEnd for the all-ones length
};

class PacketFileWriter {
public:
    explicit PacketFileWriter(const XR3Version& version = XR3Version::getXR4Version());

    // The contents packet stands first among the listed packets.
    PacketFileWriter& setIndex(IndexKind kind,
                               uint32_t overviewImageNumber = XR3ContentsPacket::kNoOverviewImage);
    // A packet listed by the index (if any), in the order added.
    PacketFileWriter& addPacket(std::unique_ptr<XR3Packet> packet);
    // An XR3UnknownPacket carrying payload under the given type, written as is.
    PacketFileWriter& addRawPacket(const XR3PacketType& type, const std::vector<uint8_t>& payload);
    // A raw packet written behind the listed ones, not in the index.
    PacketFileWriter& appendRawPacket(const XR3PacketType& type, const std::vector<uint8_t>& payload);

    // Writes the whole file at the stream's position (the stream is open).
    QVStatus write(QVIOStreamInf& stream);
    QVStatus writeToBytes(std::vector<uint8_t>& bytes);

private:
    // The index packet of the kind asked for, bound to db; null for none.
    XR3ContentsPacket* makeIndex(XR3PacketDB& db) const;

    XR3Version m_version;
    IndexKind m_indexKind = IndexKind::None;
    uint32_t m_overviewImageNumber = XR3ContentsPacket::kNoOverviewImage;
    std::vector<std::unique_ptr<XR3Packet>> m_listed;
    std::vector<std::unique_ptr<XR3Packet>> m_appended;
};

// A raw-payload packet of any type.
std::unique_ptr<XR3Packet> makeRawPacket(const XR3PacketType& type,
                                         const std::vector<uint8_t>& payload);

// What `write` puts on a fresh memory stream; its status must be `expected`.
std::vector<uint8_t> writtenBytes(const std::function<QVStatus(QVIOStreamWriter<true>&)>& write,
                                  QVStatus expected = 0);

// An open memory stream over bytes (not copied: keep bytes alive).
std::unique_ptr<QVIOMemStream> openMemStream(std::vector<uint8_t>& bytes);

// The packets of a file, walked header by header from offset 8 (an index is
// skipped like any payload). Stops at the first header that can't be read.
std::vector<PacketLayout> describePackets(std::vector<uint8_t>& bytes);
// The same over the packets between from and end of an open stream; the
// stream's position is kept.
std::vector<PacketLayout> describePackets(QVIOStreamInf& stream, long long from, long long end);

// Writes value big-endian into width bytes at position.
void patchBigEndian(std::vector<uint8_t>& bytes, long long position, unsigned width,
                    uint64_t value);

}  // namespace TavixFixture
