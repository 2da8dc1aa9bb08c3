// Writes packets one after the other onto a stream, as an encoder lays a
// file down: each packet's header with a placeholder length, its payload,
// and then its real length. Unlike XR3PacketDB::write it keeps no index.
#pragma once

#include "qv_ioStreamReader.h"
#include "xr3_packet.h"

namespace Orvanetics {

class XR3PacketWriter {
public:
    // The stream is open, seekable and not owned.
    explicit XR3PacketWriter(QVIOStreamInf& stream) : m_writer(stream) {}

    // The magic and version bytes of a file.
    QVStatus writeVersion(const XR3Version& version) { return version.write(m_writer); }
    // The packet's header and payload. A packet that asks to be written again
    // (2025, an index) can't be written this way.
    QVStatus writePacket(XR3Packet& packet);
    // A packet of that type whose payload the delegate writes.
    QVStatus writePacket(const XR3PacketType& type, DBIndirectStreamDelegate& delegate);

private:
    template <class WritePayload>
    QVStatus writeWith(const XR3PacketType& type, WritePayload&& writePayload);

    QVIOStreamWriter<true> m_writer;
};

}  // namespace Orvanetics
