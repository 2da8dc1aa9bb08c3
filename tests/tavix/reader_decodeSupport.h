// What a wavelet decode of a lossless file must give, from the whole-array
// model of rules_reference.h: the low-low band after k analysis levels, or
// the detail-free synthesis of a magnification above 1. Also test sources
// and a typed look into scene buffers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "qvi_dataType.h"
#include "qvi_sceneBuffer.h"
#include "rules_reference.h"

namespace ReaderDecodeTest {

using namespace Orvanetics;

using Plane = TestSupport::SampleGrid;

// The image at magnification 2^-reduction (reduction < 0: 2^-reduction above 1).
inline Plane atReduction(const Plane& plane, int32_t reduction) {
    return RulesReference::imageAtScale(plane, reduction);
}

// A sample of the buffer as a double.
inline double sampleAt(const QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band) {
    const void* p = buffer.getSample(col, row, band);
    switch (buffer.getPixelProps().getSample(band).getDataType()) {
    case QVI_DATATYPE_UINT8: return *static_cast<const uint8_t*>(p);
    case QVI_DATATYPE_SINT8: return *static_cast<const int8_t*>(p);
    case QVI_DATATYPE_UINT16: return *static_cast<const uint16_t*>(p);
    case QVI_DATATYPE_SINT16: return *static_cast<const int16_t*>(p);
    case QVI_DATATYPE_UINT32: return *static_cast<const uint32_t*>(p);
    case QVI_DATATYPE_SINT32: return *static_cast<const int32_t*>(p);
    case QVI_DATATYPE_FLOAT32: return *static_cast<const float*>(p);
    case QVI_DATATYPE_FLOAT64: return *static_cast<const double*>(p);
    default: return 0.0;
    }
}

// A reproducible value in [0, 1): a smooth ramp with texture on it.
inline double pattern(uint16_t band, uint32_t x, uint32_t y, uint32_t seed) {
    uint32_t h = x * 0x9E3779B1u ^ (y + 0x7F4A7C15u) * 0x85EBCA77u ^ (band + seed) * 0xC2B2AE3Du;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    const double noise = double(h & 0xFFFF) / 65536.0;
    const double ramp = double((x * 5 + y * 3 + band * 17 + seed) % 101) / 101.0;
    return 0.65 * ramp + 0.35 * noise;
}

}  // namespace ReaderDecodeTest
