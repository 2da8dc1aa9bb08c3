#include "tavix_sampleImages.h"

#include <algorithm>
#include <cmath>

namespace TavixFixture {

namespace {

uint32_t hashOf(int64_t x, int64_t y, uint32_t seed) {
    uint64_t h = uint64_t(x) * 0x9E3779B97F4A7C15ull ^ uint64_t(y) * 0xC2B2AE3D27D4EB4Full ^ seed * 0x165667B19E3779F9ull;
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 32;
    return uint32_t(h);
}

double unitHash(int64_t x, int64_t y, uint32_t seed) { return hashOf(x, y, seed) * (1.0 / 4294967296.0); }

double smooth(double t) { return t * t * (3.0 - 2.0 * t); }

// Smoothly interpolated lattice noise in [0, 1) along one row, lattice
// spacing `cell` pixels; adds weight * noise to out. The corner hashes are
// taken once per lattice cell.
void addNoiseRow(uint32_t y, uint32_t width, uint32_t cell, uint32_t seed, double weight, double* out) {
    const int64_t iy = y / cell;
    const double ty = smooth(double(y % cell) / cell);
    for (uint32_t x0 = 0; x0 < width; x0 += cell) {
        const int64_t ix = x0 / cell;
        const double left = unitHash(ix, iy, seed) * (1 - ty) + unitHash(ix, iy + 1, seed) * ty;
        const double right = unitHash(ix + 1, iy, seed) * (1 - ty) + unitHash(ix + 1, iy + 1, seed) * ty;
        const uint32_t end = std::min(width, x0 + cell);
        for (uint32_t x = x0; x < end; ++x) {
            const double tx = smooth(double(x - x0) / cell);
            out[x] += weight * (left * (1 - tx) + right * tx);
        }
    }
}

double finish(double unit, double lo, double hi, bool integral) {
    const double value = lo + std::clamp(unit, 0.0, 1.0) * (hi - lo);
    return integral ? std::round(value) : value;
}

}  // namespace

NaturalImageSource::NaturalImageSource(uint32_t width, uint32_t height, uint16_t numBands, uint32_t seed, double lo,
                                       double hi, bool integral)
    : m_width(width), m_height(height), m_numBands(numBands), m_seed(seed * 1000), m_lo(lo), m_hi(hi),
      m_integral(integral), m_terrain(width), m_detail(width), m_fractal(width), m_patch(width), m_line(width),
      m_texture(width) {}

void NaturalImageSource::computeRow(uint32_t y) const {
    // 1/f noise: octaves from 256 pixels down to 2, each half the amplitude.
    std::fill(m_fractal.begin(), m_fractal.end(), 0.0);
    double amplitude = 0.5, total = 0.0;
    uint32_t octaveSeed = m_seed;
    for (uint32_t cell = 256; cell >= 2; cell /= 2, amplitude *= 0.5, ++octaveSeed) {
        addNoiseRow(y, m_width, cell, octaveSeed, amplitude, m_fractal.data());
        total += amplitude;
    }
    // Patches of about 100 pixels, every third one a flat field with a value
    // of its own, so that edges are sharp and areas flat; thin bright lines
    // where a slow noise crosses its middle.
    std::fill(m_patch.begin(), m_patch.end(), 0.0);
    addNoiseRow(y, m_width, 97, m_seed + 50, 9.0, m_patch.data());
    std::fill(m_line.begin(), m_line.end(), 0.0);
    addNoiseRow(y, m_width, 331, m_seed + 52, 1.0, m_line.data());
    std::fill(m_texture.begin(), m_texture.end(), -0.5);
    addNoiseRow(y, m_width, 3, m_seed + 53, 1.0, m_texture.data());
    for (uint32_t x = 0; x < m_width; ++x) {
        const int64_t patchId = int64_t(m_patch[x]);
        double value = m_fractal[x] / total;
        if (patchId % 3 == 0) value = 0.2 + 0.6 * unitHash(patchId, 0, m_seed + 51);
        if (std::abs(m_line[x] - 0.5) < 0.004) value = 0.92;
        m_terrain[x] = float(value);
        m_detail[x] = float(m_texture[x]);
    }
    m_cachedRow = y;
}

void NaturalImageSource::readRow(uint16_t band, uint32_t y, double* out) const {
    if (m_cachedRow != y) computeRow(y);
    // Each band a tint of the common structure, with a little texture of its own.
    const double gain = 0.75 + 0.25 * unitHash(band, 1, m_seed + 60);
    const double offset = 0.15 * unitHash(band, 2, m_seed + 60);
    const double texture = 0.04 + 0.04 * (band % 2);
    for (uint32_t x = 0; x < m_width; ++x)
        out[x] = finish(offset + gain * m_terrain[x] + texture * m_detail[x], m_lo, m_hi, m_integral);
}

}  // namespace TavixFixture
