// The integer 5/3 wavelet pair of the wavelet images: the two rounding
// divisions and the lifting steps, shared by the decoder's synthesis and any
// forward transform that must match it bit for bit.
//
// All arithmetic is on 32-bit two's complement words and wraps instead of
// overflowing, so hostile coefficients give wrong pixels, never undefined
// behaviour. Right shifts of negative values are arithmetic.
#pragma once

#include <cstdint>

namespace Orvanetics {

// a + b and a - b, wrapping.
inline int32_t xr3WrapAdd(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t xr3WrapSub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }

// s / 2 rounded to nearest, ties to even.
inline int32_t round2(int32_t s) { return (s >> 1) + (s & 1 & (s >> 1)); }

// s / 4 rounded to nearest, ties to even.
inline int32_t round4(int32_t s) { return (s >> 2) + (((s | (s >> 2)) & 1) & ((s >> 1) & 1)); }

// Synthesis step 1, on an even sample: low - round4(left high + right high).
inline int32_t xr3LiftEven(int32_t low, int32_t highBefore, int32_t highAfter) {
    return xr3WrapSub(low, round4(xr3WrapAdd(highBefore, highAfter)));
}

// Synthesis step 2, on an odd sample: high + round2(left even + right even).
inline int32_t xr3LiftOdd(int32_t high, int32_t evenBefore, int32_t evenAfter) {
    return xr3WrapAdd(high, round2(xr3WrapAdd(evenBefore, evenAfter)));
}

// The forward steps that undo the two above exactly: the odd sample first
// (from the original even neighbours), then the even one (from the new odd
// neighbours).
inline int32_t xr3AnalyseOdd(int32_t odd, int32_t evenBefore, int32_t evenAfter) {
    return xr3WrapSub(odd, round2(xr3WrapAdd(evenBefore, evenAfter)));
}
inline int32_t xr3AnalyseEven(int32_t even, int32_t highBefore, int32_t highAfter) {
    return xr3WrapAdd(even, round4(xr3WrapAdd(highBefore, highAfter)));
}

// Index of sample `i` of a sequence of `n` samples mirrored around its
// first and last sample (x[-k] = x[k], x[n-1+k] = x[n-1-k]); n >= 2.
inline int64_t xr3MirrorIndex(int64_t i, int64_t n) {
    const int64_t period = 2 * (n - 1);
    int64_t m = i % period;
    if (m < 0) m += period;
    return m < n ? m : period - m;
}

}  // namespace Orvanetics
