// The header packet of an image (type 1): the parameters of its wavelet
// decomposition. For now the payload is carried as raw bytes; parsing it
// into the image info belongs here.
//
// XR3PacketDB::createPacket makes this class through the constructor from
// an XR3PacketType when a file is loaded: keep that constructor.
#pragma once

#include "xr3_packet.h"

namespace Orvanetics {

class XR3HeaderPacket : public XR3RawPacket {
public:
    explicit XR3HeaderPacket(const XR3PacketType& type) : XR3RawPacket(type) {}
    XR3HeaderPacket* createCopy() const override;
};

}  // namespace Orvanetics
