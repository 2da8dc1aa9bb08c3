#include "xr3_pipe.h"

namespace Orvanetics {

std::unique_ptr<Pipe> Pipe::create(const QVIGeomRect&, uint32_t, uint32_t, uint32_t, uint16_t, int32_t) {
    return nullptr;
}

}  // namespace Orvanetics
