// The reversible colour transform of wavelet images, run on the
// coefficients of each subblock before synthesis: YIQ2RGB while decoding,
// RGB2YIQ (its exact inverse) while encoding.
//
//   auto transformer = XR3ColorTransformSupport::create(info, true, &components);
//   if (transformer) transformer->transform(bands, stride, offset, width, height);
#pragma once

#include <cstddef>
#include <cstdint>

#include "xr3_imageInfo.h"

namespace Orvanetics {

class XR3ColorTransformSupport::Transformer {
public:
    enum Kind { YIQ2RGB, RGB2YIQ };

    explicit Transformer(Kind kind) : m_kind(kind) {}
    Kind getKind() const { return m_kind; }

    // Transforms the width by height block at coefs[b] + offset of bands
    // b = 0, 1, 2, rows `stride` samples apart, in place. A sample whose three
    // values are all 0 is left alone.
    void transform(int32_t* const* coefs, size_t stride, size_t offset, uint32_t width, uint32_t height) const;

    // One sample's three values, in place. Arithmetic wraps at 32 bits, so
    // each is the exact inverse of the other for every triple.
    static void yiq2rgb(int32_t& a, int32_t& b, int32_t& c);
    static void rgb2yiq(int32_t& a, int32_t& b, int32_t& c);

    // floor((x * k + 8192) / 16384) without overflow of the product, taken
    // modulo 2^32.
    static int32_t scaleQ14(int32_t x, int32_t k) {
        return int32_t(uint32_t(uint64_t((int64_t(x) * k + 8192) >> 14)));
    }

private:
    Kind m_kind;
};

}  // namespace Orvanetics
