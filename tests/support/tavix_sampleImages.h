// Deterministic, natural-looking test images of any size: seeded 1/f noise
// with flat fields, sharp edges and thin lines; grey, RGB or any band count.
// Rows are computed on demand, so a 16384 x 16384 source costs no memory.
//
//   TavixFixture::NaturalImageSource photo(4096, 4096, 3, /*seed*/ 7);   // 0..255
#pragma once

#include <cstdint>
#include <vector>

#include "tavix_imageWriter.h"

namespace TavixFixture {

// 1/f noise with patches of flat fields (sharp edges), lines and texture;
// bands share the structure with their own tint. Samples lie in [lo, hi],
// rounded to integers when `integral`.
class NaturalImageSource : public SourceImage {
public:
    NaturalImageSource(uint32_t width, uint32_t height, uint16_t numBands, uint32_t seed = 1, double lo = 0.0,
                       double hi = 255.0, bool integral = true);
    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
    uint16_t getNumBands() const override { return m_numBands; }
    void readRow(uint16_t band, uint32_t y, double* out) const override;

private:
    // The band-independent structure of row y, kept for the next band.
    void computeRow(uint32_t y) const;

    uint32_t m_width, m_height;
    uint16_t m_numBands;
    uint32_t m_seed;
    double m_lo, m_hi;
    bool m_integral;
    mutable uint32_t m_cachedRow = UINT32_MAX;
    mutable std::vector<float> m_terrain, m_detail;  // in [0, 1] and around 0
    mutable std::vector<double> m_fractal, m_patch, m_line, m_texture;  // the noises of one row
};

}  // namespace TavixFixture
