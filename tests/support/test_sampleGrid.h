// What the test-side wavelet references share: a whole array of integer
// samples, row by row, and the division rounded to nearest with ties to the
// even quotient that the filter's rules use, computed from the floor
// quotient and remainder rather than by shifts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TestSupport {

struct SampleGrid {
    int64_t width = 0;
    int64_t height = 0;
    std::vector<int64_t> v;
    SampleGrid() = default;
    SampleGrid(int64_t w, int64_t h) : width(w), height(h), v(size_t(w * h), 0) {}
    int64_t& at(int64_t x, int64_t y) { return v[size_t(y * width + x)]; }
    int64_t at(int64_t x, int64_t y) const { return v[size_t(y * width + x)]; }
    bool operator==(const SampleGrid&) const = default;
};

// s / d (d > 0) rounded to nearest, ties to the even quotient.
inline int64_t divideTiesToEven(int64_t s, int64_t d) {
    int64_t q = s / d, r = s % d;
    if (r < 0) {
        r += d;
        --q;
    }
    if (2 * r > d || (2 * r == d && (q & 1))) ++q;
    return q;
}

}  // namespace TestSupport
