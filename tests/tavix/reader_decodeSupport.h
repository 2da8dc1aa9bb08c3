// What a wavelet decode must give, computed here on its own: the low-low
// band after k steps of the integer 5/3 analysis (tie-to-even rounding,
// mirrored edges, horizontal then vertical), the detail-free synthesis of a
// magnification above 1, and the clamp and conversion into a sample type.
// Also test sources and a typed look into scene buffers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "qvi_dataType.h"
#include "qvi_sceneBuffer.h"
#include "test_sampleGrid.h"

namespace ReaderDecodeTest {

using namespace Orvanetics;

// Division by 2 and by 4 rounded to nearest, ties to even.
inline int64_t halfToEven(int64_t s) {
    const int64_t q = s >> 1;
    return (s & 1) ? q + (q & 1) : q;
}
inline int64_t quarterToEven(int64_t s) {
    const int64_t q = s >> 2;
    const int64_t r = s & 3;
    return r < 2 ? q : r > 2 ? q + 1 : q + (q & 1);
}

using Plane = TestSupport::SampleGrid;

// The low half of one analysis step over n samples.
inline std::vector<int64_t> analyseLow(const std::vector<int64_t>& x) {
    const int64_t n = int64_t(x.size());
    if (n == 1) return x;
    const auto sample = [&](int64_t i) { return x[size_t(i < n ? i : 2 * (n - 1) - i)]; };
    std::vector<int64_t> high(size_t(n / 2));
    for (int64_t i = 0; i < n / 2; ++i) high[size_t(i)] = x[size_t(2 * i + 1)] - halfToEven(x[size_t(2 * i)] + sample(2 * i + 2));
    // High samples by their position in the interleaved row, mirrored too.
    const auto highAt = [&](int64_t position) {
        if (position < 0) position = -position;
        if (position > n - 1) position = 2 * (n - 1) - position;
        return high[size_t((position - 1) / 2)];
    };
    std::vector<int64_t> low(size_t((n + 1) / 2));
    for (int64_t i = 0; i < int64_t(low.size()); ++i)
        low[size_t(i)] = x[size_t(2 * i)] + quarterToEven(highAt(2 * i - 1) + highAt(2 * i + 1));
    return low;
}

// n samples to 2n with zero detail.
inline std::vector<int64_t> synthesiseWithoutDetail(const std::vector<int64_t>& low) {
    const int64_t n = int64_t(low.size()) * 2;
    std::vector<int64_t> x(static_cast<size_t>(n));
    for (size_t i = 0; i < low.size(); ++i) x[2 * i] = low[i];
    for (int64_t i = 1; i < n; i += 2) {
        const int64_t right = i + 1 < n ? x[size_t(i + 1)] : x[size_t(2 * (n - 1) - (i + 1))];
        x[size_t(i)] = halfToEven(x[size_t(i - 1)] + right);
    }
    return x;
}

template <typename LineOp>
Plane applyRows(const Plane& in, LineOp op) {
    Plane out;
    for (uint32_t y = 0; y < in.height; ++y) {
        std::vector<int64_t> line(in.v.begin() + size_t(y) * in.width, in.v.begin() + size_t(y + 1) * in.width);
        std::vector<int64_t> result = op(line);
        if (y == 0) out = Plane(uint32_t(result.size()), in.height);
        std::copy(result.begin(), result.end(), out.v.begin() + size_t(y) * out.width);
    }
    return out;
}

template <typename LineOp>
Plane applyColumns(const Plane& in, LineOp op) {
    Plane out;
    for (uint32_t x = 0; x < in.width; ++x) {
        std::vector<int64_t> line(in.height);
        for (uint32_t y = 0; y < in.height; ++y) line[y] = in.at(x, y);
        std::vector<int64_t> result = op(line);
        if (x == 0) out = Plane(in.width, uint32_t(result.size()));
        for (uint32_t y = 0; y < out.height; ++y) out.at(x, y) = result[y];
    }
    return out;
}

// The image at magnification 2^-reduction (reduction < 0: 2^-reduction above 1).
inline Plane atReduction(Plane plane, int32_t reduction) {
    for (int32_t k = 0; k < reduction; ++k) plane = applyColumns(applyRows(plane, analyseLow), analyseLow);
    for (int32_t k = 0; k > reduction; --k)
        plane = applyRows(applyColumns(plane, synthesiseWithoutDetail), synthesiseWithoutDetail);
    return plane;
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
