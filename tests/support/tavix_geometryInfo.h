// Image info of a given shape, its subband table set up, for the geometry
// tests (subbands, subblock order, support).
#pragma once

#include <gtest/gtest.h>

#include "xr3_imageInfo.h"

namespace Orvanetics {

inline XR3ImageInfo makeGeometryInfo(uint32_t width, uint32_t height, uint32_t subblockSize, uint32_t levels) {
    XR3ImageInfo info;
    info.width = width;
    info.height = height;
    info.subblockSize = uint16_t(subblockSize);
    info.numLevels = uint8_t(levels);
    info.numBands = 1;
    EXPECT_EQ(info.setup_subbands(), 0u);
    return info;
}

}  // namespace Orvanetics
