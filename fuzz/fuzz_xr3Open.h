// Opening a fuzzed XR3/XR4 file down to its container and the header packet
// of an image, shared by the targets that go further into the file.
#pragma once

#include <memory>

#include "fuzz_input.h"
#include "xr3_container.h"
#include "xr3_headerPacket.h"

namespace FuzzInput {

// The header packet of the image, or null when the file has none.
inline Orvanetics::XR3HeaderPacket* findHeaderPacket(Orvanetics::XR3Container& container, uint32_t imageNumber)
{
    using namespace Orvanetics;
    XR3HeaderPacket* header = nullptr;
    const XR3PacketType type(XR3_PACKET_HEADER, XR3PacketType::ANY_SUBTYPE, XR3PacketType::ANY_SUBSUBTYPE,
                             imageNumber, 0, 0);
    if (container.db_findSinglePacketOf(type, header) != 0) return nullptr;
    return header;
}

}  // namespace FuzzInput
