// Shared arithmetic of the streams' seek: where a direction starts from.
#pragma once

#include <cstdint>
#include <limits>

#include "qv_ioStreamInf.h"

namespace Orvanetics {

// The position the offset is added to; false for an unknown direction.
inline bool qvioSeekOrigin(QVIOSeekDir dir, int64_t current, int64_t end, int64_t& origin) {
    switch (dir) {
        case QVIO_SEEK_BEGIN: origin = 0; return true;
        case QVIO_SEEK_CURRENT: origin = current; return true;
        case QVIO_SEEK_END: origin = end; return true;
    }
    return false;
}

inline bool qvioIsSeekDir(QVIOSeekDir dir) {
    return dir == QVIO_SEEK_BEGIN || dir == QVIO_SEEK_CURRENT || dir == QVIO_SEEK_END;
}

// The in-memory streams take offsets of the signed 32-bit range only.
inline bool qvioFitsInt32(int64_t offset) {
    return offset >= std::numeric_limits<int32_t>::min() && offset <= std::numeric_limits<int32_t>::max();
}

}  // namespace Orvanetics
