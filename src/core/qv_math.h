// Magnification and level arithmetic shared by the readers and filters.
// Level L is magnification 2^-L; positive scales shrink, negative ones enlarge.
#pragma once

#include <cstdint>

namespace Orvanetics {

class QVMath {
public:
    // 0.6931471805599453, the natural logarithm of 2 as the level arithmetic uses it.
    static constexpr double kLn2 = 0.6931471805599453;

    // 2^-level.
    static double levelToMag(int32_t level);
    // -log2(mag) as a double (the "log-level").
    static double magToLogLevel(double mag);
    // -log2(mag) rounded to the nearest integer (floor of log-level + 0.5).
    static int32_t magToLevel(double mag);
    // True only for an exact power of two (frexp mantissa exactly 0.5).
    static bool isPowerOfTwo(double value);

    // Truncation toward zero to 32 bits: NaN gives 0, values beyond the range saturate.
    static int32_t saturateToInt32(double value);

    // Scales lie within -31 .. 31.
    // A coordinate on the grid `scale` levels down (scale > 0: arithmetic
    // shift right, rounding toward minus infinity) or up (scale < 0: shift left).
    static int64_t projectImagePoint(int64_t point, int32_t scale);
    // A size on that grid: ceil(size / 2^scale) down, size * 2^-scale up.
    static int64_t projectImageDimension(int64_t size, int32_t scale);
    // True if projecting `value` (scale < 0) leaves the signed 32-bit range.
    static bool willProjectionOverflow(int64_t value, int32_t scale);
};

}  // namespace Orvanetics
