// How the samples of a raw raster are ordered in its file.
#pragma once

#include <cstdint>

namespace Orvanetics {

enum QVILayout : uint32_t {
    QVI_LAYOUT_BIP = 1,  // pixel interleaved: all bands of a pixel together
    QVI_LAYOUT_BSQ = 2,  // band sequential: one whole plane per band
    QVI_LAYOUT_BIL = 3,  // row interleaved: each row holds one run per band
};

}  // namespace Orvanetics
