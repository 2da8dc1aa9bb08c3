// A metadata packet (type 2): a byte count and that many bytes, addressed by
// (subType, subSubType, imageNumber). What the bytes mean is up to the kind
// of metadata (subType); this class only carries them.
//
// XR3PacketDB::createPacket makes this class through the constructor from
// an XR3PacketType when a file is loaded: keep that constructor.
#pragma once

#include "xr3_packet.h"

namespace Orvanetics {

class XR3MetadataPacket : public XR3Packet {
public:
    // The default type (2, subType, subSubType, imageNumber, major 0, minor 0).
    XR3MetadataPacket(uint32_t subType, uint32_t subSubType, uint32_t imageNumber);
    explicit XR3MetadataPacket(const XR3PacketType& type) : XR3Packet(type) {}

    // Types and bytes equal.
    bool operator==(const XR3Packet& other) const override;
    XR3MetadataPacket* createCopy() const override;
    // Records the disk place, then the count and the bytes. A count beyond
    // the payload or the stream, or a short read, is 2001, and no bytes are kept.
    QVStatus read(QVIOStreamReader<true>& reader, long long length) override;
    QVStatus write(QVIOStreamWriter<true>& writer) override;

    // Copies the bytes; 2012 when out of memory.
    QVStatus setMetadata(const uint8_t* bytes, uint32_t length) { return m_bytes.assign(bytes, length); }
    const uint8_t* getMetadata() const { return m_bytes.data(); }
    uint32_t getMetadataLength() const { return m_bytes.size(); }
    void setDiskOffset(long long offset, long long length);
    // False when the packet was not read from a stream.
    bool getDiskOffset(long long& offset, long long& length) const;

private:
    XR3PacketBytes m_bytes;
    long long m_diskOffset = -1;
    long long m_diskLength = 0;
};

}  // namespace Orvanetics
