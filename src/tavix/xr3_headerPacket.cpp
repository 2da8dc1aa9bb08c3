#include "xr3_headerPacket.h"

namespace Orvanetics {

XR3HeaderPacket* XR3HeaderPacket::createCopy() const { return copyRawPacket(*this); }

}  // namespace Orvanetics
