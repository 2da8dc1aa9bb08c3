#include "xr3_colorTransformer.h"

#include "xr3_planeStore.h"
#include "xr3_wavelet53.h"

namespace Orvanetics {

namespace {

constexpr int32_t kTFromB = 19637;
constexpr int32_t kYFromU = 19309;
constexpr int32_t kZFromY = -22640;
constexpr int32_t kGFromZ = -11469;
constexpr int32_t kGFromY = 24279;

// floor((z * kGFromZ + y * kGFromY + 8192) / 16384), modulo 2^32.
int32_t greenCorrection(int32_t z, int32_t y) {
    const int64_t sum = int64_t(z) * kGFromZ + int64_t(y) * kGFromY + 8192;
    return int32_t(uint32_t(uint64_t(sum >> 14)));
}

bool isTransformKind(XR3ColorTransform transform) {
    return transform == XR3_COLORTRANSFORM_YIQ_TO_RGB || transform == XR3_COLORTRANSFORM_YIQK_TO_RGBK ||
           transform == XR3_COLORTRANSFORM_RGB_TO_YIQ || transform == XR3_COLORTRANSFORM_RGBK_TO_YIQK;
}

bool coversFirstThreeBands(const XR3ImageInfo& info, const XR3ComponentSet* components) {
    if (info.numBands < 3) return false;
    if (components == nullptr) return true;
    return components->isSet(0) && components->isSet(1) && components->isSet(2);
}

// The transforms of one sample, inlined into the row loops. A sample of
// three zeros comes out as three zeros.
[[gnu::always_inline]] inline void yiqToRgb(int32_t& a, int32_t& b, int32_t& c) {
    using T = XR3ColorTransformSupport::Transformer;
    const int32_t t = xr3WrapSub(xr3WrapAdd(c, a), T::scaleQ14(b, kTFromB));
    const int32_t u = xr3WrapSub(a, t);
    const int32_t y = xr3WrapSub(b, T::scaleQ14(u, kYFromU));
    const int32_t z = xr3WrapSub(u, T::scaleQ14(y, kZFromY));
    const int32_t g = xr3WrapSub(t, greenCorrection(z, y));
    a = xr3WrapAdd(z, g);
    b = g;
    c = xr3WrapAdd(y, g);
}

[[gnu::always_inline]] inline void rgbToYiq(int32_t& a, int32_t& b, int32_t& c) {
    using T = XR3ColorTransformSupport::Transformer;
    const int32_t g = b;
    const int32_t z = xr3WrapSub(a, g);
    const int32_t y = xr3WrapSub(c, g);
    const int32_t t = xr3WrapAdd(g, greenCorrection(z, y));
    const int32_t u = xr3WrapAdd(z, T::scaleQ14(y, kZFromY));
    const int32_t bandB = xr3WrapAdd(y, T::scaleQ14(u, kYFromU));
    const int32_t bandA = xr3WrapAdd(u, t);
    c = xr3WrapAdd(xr3WrapSub(t, bandA), T::scaleQ14(bandB, kTFromB));
    a = bandA;
    b = bandB;
}

// Row by row over bands 0 to 2, with no call or test per sample.
template <void (*Step)(int32_t&, int32_t&, int32_t&)>
void transformBlock(int32_t* const* coefs, size_t stride, size_t offset, uint32_t width, uint32_t height) {
    for (uint32_t y = 0; y < height; ++y) {
        const size_t row = offset + y * stride;
        int32_t* __restrict a = coefs[0] + row;
        int32_t* __restrict b = coefs[1] + row;
        int32_t* __restrict c = coefs[2] + row;
        for (uint32_t x = 0; x < width; ++x) Step(a[x], b[x], c[x]);
    }
}

}  // namespace

void XR3ColorTransformSupport::Transformer::yiq2rgb(int32_t& a, int32_t& b, int32_t& c) { yiqToRgb(a, b, c); }

void XR3ColorTransformSupport::Transformer::rgb2yiq(int32_t& a, int32_t& b, int32_t& c) { rgbToYiq(a, b, c); }

void XR3ColorTransformSupport::Transformer::transform(int32_t* const* coefs, size_t stride, size_t offset,
                                                      uint32_t width, uint32_t height) const {
    if (m_kind == YIQ2RGB)
        transformBlock<&yiqToRgb>(coefs, stride, offset, width, height);
    else
        transformBlock<&rgbToYiq>(coefs, stride, offset, width, height);
}

std::unique_ptr<XR3ColorTransformSupport::Transformer> XR3ColorTransformSupport::create(
    const XR3ImageInfo& info, bool decode, const XR3ComponentSet* components) {
    if (!isTransformKind(info.colorTransform) || !coversFirstThreeBands(info, components)) return nullptr;
    return std::make_unique<Transformer>(decode ? Transformer::YIQ2RGB : Transformer::RGB2YIQ);
}

}  // namespace Orvanetics
