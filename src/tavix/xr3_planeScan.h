// The raster scan of one bit-plane over a band's coefficient area, shared by
// the decoder and the encoder: a `Coder` supplies (or takes) the symbols,
// the scan keeps the neighbour marks. Internal to the subblock coder.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

#include "xr3_contextTables.h"
#include "xr3_mqCoder.h"
#include "xr3_planeData.h"

namespace Orvanetics::XR3PlaneScan {

constexpr uint32_t kSignBit = 0x80000000u;

// The coefficient area of one band. `state` and `coefs` point at the area's
// top-left; the state array has a border of two words on every side so that
// neighbour marks need no bounds tests. Coefficients are sign (bit 31) and
// magnitude during the scan.
struct BandLayout {
    uint32_t* state;
    ptrdiff_t statePitch;
    uint32_t* coefs;
    ptrdiff_t stride;
    int width;
    int height;
    const uint8_t* significance;
};

// Marks the coefficient at `s` significant and tells its neighbours. A raw
// plane tells only the four direct neighbours.
template <bool kDiagonals>
inline void markSignificant(uint32_t* s, ptrdiff_t pitch, bool positive) {
    const uint32_t p = positive ? 1u : 0u;
    s[0] |= kXR3Significant;
    s[-1] |= kXR3RightSig | p * kXR3RightPositive;
    s[1] |= kXR3LeftSig | p * kXR3LeftPositive;
    s[-pitch] |= kXR3LowerSig | p * kXR3LowerPositive;
    s[pitch] |= kXR3UpperSig | p * kXR3UpperPositive;
    if constexpr (kDiagonals) {
        s[-pitch - 1] |= kXR3LowerRightSig;
        s[-pitch + 1] |= kXR3LowerLeftSig;
        s[pitch - 1] |= kXR3UpperRightSig;
        s[pitch + 1] |= kXR3UpperLeftSig;
    }
}

// A coder that can pass over a run of coefficients of state 0 whose
// significance symbols it knows to be 0: skipZeroRun(context, states, x, end)
// gives the first coefficient at or after x that it did not pass over.
template <class Coder>
concept SkipsZeroRuns = requires(Coder& coder, const uint32_t* states) {
    { coder.skipZeroRun(0u, states, 0, 0) } -> std::same_as<int>;
};

// One plane of magnitude bit `bit`, rows top to bottom, left to right.
// Coder: refine(context, coef, bit); significance(context, coef, bit) -> bool;
// sign(context, predicted, coef) -> positive; perhaps skipZeroRun.
template <bool kDiagonals, class Coder>
inline void scanPlane(const BandLayout& band, Coder& coder, uint32_t bit) {
    const XR3ContextTables& t = XR3ContextTables::get();
    const uint8_t* const significance = band.significance;
    const ptrdiff_t pitch = band.statePitch;
    for (int y = 0; y < band.height; ++y) {
        uint32_t* const s = band.state + y * pitch;
        uint32_t* const c = band.coefs + y * band.stride;
        for (int x = 0; x < band.width; ++x) {
            uint32_t st = s[x];
            if constexpr (SkipsZeroRuns<Coder>) {
                if (st == 0) {
                    x = coder.skipZeroRun(significance[0], s, x, band.width);
                    if (x == band.width)
                        break;
                    st = s[x];
                }
            }
            if (st & kXR3Significant) {
                const unsigned context = (st & kXR3Refined) ? kXR3LaterRefineContext : t.mag_refine_cntxt[st & 255];
                s[x] = st | kXR3Refined;
                coder.refine(context, c[x], bit);
            } else if (coder.significance(significance[st & 255], c[x], bit)) {
                const unsigned i = (st >> 4) & 255;
                const bool positive = coder.sign(t.sign_cntxt[i], t.est_sign[i], c[x]);
                markSignificant<kDiagonals>(s + x, pitch, positive);
            }
        }
    }
}

}  // namespace Orvanetics::XR3PlaneScan
