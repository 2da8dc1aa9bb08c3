#include "xr3_headerPacket.h"

#include <new>

namespace Orvanetics {

XR3HeaderPacket* XR3HeaderPacket::createCopy() const {
    auto* copy = new (std::nothrow) XR3HeaderPacket(getPacketType());
    if (copy && !copy->copyRawDataFrom(*this)) {
        delete copy;
        return nullptr;
    }
    return copy;
}

}  // namespace Orvanetics
