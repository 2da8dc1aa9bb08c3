// The JPEG 2000 decoders both deliver one 32-bit plane per component.
#pragma once

#include <cstdint>

#include "compare_content.h"

namespace CompareBench {

struct Int32Plane {
    const int32_t* data = nullptr;
    uint32_t width = 0, height = 0, stride = 0;  // stride in samples
};

// Clamped to 8 bits into `out`, which takes the planes' size.
void storeInt32Planes(const Int32Plane* planes, uint32_t numBands, BenchImage& out);

}  // namespace CompareBench
