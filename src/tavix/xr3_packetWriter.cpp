#include "xr3_packetWriter.h"

#include "xr3_imageInfo.h"

namespace Orvanetics {

template <class WritePayload>
QVStatus XR3PacketWriter::writeWith(const XR3PacketType& type, WritePayload&& writePayload) {
    long long lengthPosition = 0;
    if (QVStatus status = type.writeHeader(m_writer, lengthPosition)) return status;
    const long long payloadStart = m_writer.tell();
    if (payloadStart < 0) return xr3Fail(QVI_STS_Tavix_WriteError);
    if (QVStatus status = writePayload()) return status;
    const long long payloadEnd = m_writer.tell();
    if (payloadEnd < payloadStart) return xr3Fail(QVI_STS_Tavix_WriteError);
    return type.rewriteHeader(m_writer, lengthPosition, payloadEnd - payloadStart);
}

QVStatus XR3PacketWriter::writePacket(XR3Packet& packet) {
    return writeWith(packet.getPacketType(), [&] { return packet.write(m_writer); });
}

QVStatus XR3PacketWriter::writePacket(const XR3PacketType& type, DBIndirectStreamDelegate& delegate) {
    return writeWith(type, [&] { return delegate.invoke(m_writer.getStream()); });
}

}  // namespace Orvanetics
