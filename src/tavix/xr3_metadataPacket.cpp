#include "xr3_metadataPacket.h"

#include "qv_ioStreamUtils.h"

namespace Orvanetics {

XR3MetadataPacket::XR3MetadataPacket(uint32_t subType, uint32_t subSubType, uint32_t imageNumber)
    : XR3Packet(XR3PacketType(XR3_PACKET_METADATA, subType, subSubType, imageNumber, 0, 0)) {}

bool XR3MetadataPacket::operator==(const XR3Packet& other) const {
    const auto* metadata = dynamic_cast<const XR3MetadataPacket*>(&other);
    return metadata && XR3Packet::operator==(other) && m_bytes == metadata->m_bytes;
}

XR3MetadataPacket* XR3MetadataPacket::createCopy() const {
    XR3MetadataPacket* copy = newXR3Packet<XR3MetadataPacket>(getPacketType());
    if (copy && copy->setMetadata(getMetadata(), getMetadataLength())) {
        delete copy;
        return nullptr;
    }
    if (copy) copy->setDiskOffset(m_diskOffset, m_diskLength);
    return copy;
}

QVStatus XR3MetadataPacket::read(QVIOStreamReader<true>& reader, long long length) {
    long long offset = reader.tell();
    if (offset < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
    setDiskOffset(offset, length);
    uint32_t count = 0;
    if (QVStatus status = reader.readUint32(count)) return status;
    // The count must fit in the payload and in the stream before it is allocated.
    long long end = QVIOStreamUtils::getEndPos(&reader.getStream());
    long long available = end - (offset + 4);
    if (length != kDBLengthToEnd && length - 4 < available) available = length - 4;
    if (end < 0 || static_cast<long long>(count) > available) return xr3DBFail(QVI_STS_Tavix_ReadError);
    return m_bytes.read(reader, count);
}

QVStatus XR3MetadataPacket::write(QVIOStreamWriter<true>& writer) {
    if (QVStatus status = writer.writeUint32(m_bytes.size())) return status;
    return m_bytes.write(writer);
}

void XR3MetadataPacket::setDiskOffset(long long offset, long long length) {
    m_diskOffset = offset;
    m_diskLength = length;
}

bool XR3MetadataPacket::getDiskOffset(long long& offset, long long& length) const {
    if (m_diskOffset < 0) return false;
    offset = m_diskOffset;
    length = m_diskLength;
    return true;
}

}  // namespace Orvanetics
