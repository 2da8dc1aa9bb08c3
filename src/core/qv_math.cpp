#include "qv_math.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Orvanetics {

double QVMath::levelToMag(int32_t level)
{
    return std::pow(2.0, -static_cast<double>(level));
}

double QVMath::magToLogLevel(double mag)
{
    return -std::log(mag) / kLn2;
}

int32_t QVMath::magToLevel(double mag)
{
    return saturateToInt32(std::floor(magToLogLevel(mag) + 0.5));
}

bool QVMath::isPowerOfTwo(double value)
{
    int exponent = 0;
    const double mantissa = std::frexp(value, &exponent);
    return mantissa == 0.5 || mantissa == 1.0;
}

int32_t QVMath::saturateToInt32(double value)
{
    constexpr double kMin = std::numeric_limits<int32_t>::min();
    constexpr double kMax = std::numeric_limits<int32_t>::max();
    if (std::isnan(value)) return 0;
    if (value <= kMin) return std::numeric_limits<int32_t>::min();
    if (value >= kMax) return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(value);
}

namespace {

// value * 2^shift, saturated to the 64-bit range.
int64_t scaleUp(int64_t value, int32_t shift)
{
    int64_t result = 0;
    if (shift < 63 && !__builtin_mul_overflow(value, int64_t{1} << shift, &result)) return result;
    if (value == 0) return 0;
    return value < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

}  // namespace

// Scales of any size are defined: shifts beyond the width saturate, since
// scales can come from file headers.
int64_t QVMath::projectImagePoint(int64_t point, int32_t scale)
{
    if (scale >= 0) return point >> std::min(scale, 63);
    return scaleUp(point, -scale);
}

int64_t QVMath::projectImageDimension(int64_t size, int32_t scale)
{
    // ceil(size / 2^scale) without the overflow of size + 2^scale - 1.
    if (scale >= 0) return ((size - 1) >> std::min(scale, 63)) + 1;
    return scaleUp(size, -scale);
}

bool QVMath::willProjectionOverflow(int64_t value, int32_t scale)
{
    if (scale >= 0) return false;
    const int64_t projected = scaleUp(value, -scale);
    return projected > std::numeric_limits<int32_t>::max() ||
           projected < std::numeric_limits<int32_t>::min();
}

}  // namespace Orvanetics
