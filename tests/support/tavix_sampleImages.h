// Deterministic, natural-looking test images of any size: seeded 1/f noise
// with flat fields, sharp edges and thin lines, and smooth gradients; grey,
// RGB or any band count. Rows are computed on demand, so a 16384 x 16384
// source costs no memory.
//
//   TavixFixture::NaturalImageSource photo(4096, 4096, 3, /*seed*/ 7);   // 0..255
//   std::vector<uint8_t> pixels = TavixFixture::renderSamples<uint8_t>(photo);
//   TavixFixture::GradientImageSource ramp(300, 200, 1, 0.0, 65535.0);
//   TavixFixture::MirroredTileSource big(photo, 16384, 16384);  // seamless tiling
#pragma once

#include <cstdint>
#include <memory>
#include <string>
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

// Smooth ramps in both directions, a different slope per band.
class GradientImageSource : public SourceImage {
public:
    GradientImageSource(uint32_t width, uint32_t height, uint16_t numBands, double lo = 0.0, double hi = 255.0,
                        bool integral = true);
    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
    uint16_t getNumBands() const override { return m_numBands; }
    void readRow(uint16_t band, uint32_t y, double* out) const override;

private:
    uint32_t m_width, m_height;
    uint16_t m_numBands;
    double m_lo, m_hi;
    bool m_integral;
};

// A source repeated to any size, every other copy mirrored so that no seam shows.
class MirroredTileSource : public SourceImage {
public:
    MirroredTileSource(const SourceImage& tile, uint32_t width, uint32_t height);
    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
    uint16_t getNumBands() const override { return m_tile.getNumBands(); }
    void readRow(uint16_t band, uint32_t y, double* out) const override;

private:
    const SourceImage& m_tile;
    uint32_t m_width, m_height;
    mutable std::vector<double> m_row;
};

// All samples of a source, band-sequential, converted to T.
template <typename T>
std::vector<T> renderSamples(const SourceImage& source) {
    const size_t w = source.getWidth(), h = source.getHeight();
    std::vector<T> out(w * h * source.getNumBands());
    std::vector<double> row(w);
    for (uint16_t b = 0; b < source.getNumBands(); ++b)
        for (uint32_t y = 0; y < h; ++y) {
            source.readRow(b, y, row.data());
            for (size_t x = 0; x < w; ++x) out[(b * h + y) * w + x] = T(row[x]);
        }
    return out;
}

// An 8-bit raster file (a real photograph, for benchmarks and demos) read
// whole through GDAL, its first `maxBands` bands; null when it can't be read.
std::unique_ptr<SourceImage> loadRasterFile(const std::string& path, uint16_t maxBands = 3);

}  // namespace TavixFixture
