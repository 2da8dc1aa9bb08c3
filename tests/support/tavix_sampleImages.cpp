#include "tavix_sampleImages.h"

#include <tiffio.h>

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

GradientImageSource::GradientImageSource(uint32_t width, uint32_t height, uint16_t numBands, double lo, double hi,
                                         bool integral)
    : m_width(width), m_height(height), m_numBands(numBands), m_lo(lo), m_hi(hi), m_integral(integral) {}

void GradientImageSource::readRow(uint16_t band, uint32_t y, double* out) const {
    const double across = m_width > 1 ? 1.0 / (m_width - 1) : 0.0, down = m_height > 1 ? 1.0 / (m_height - 1) : 0.0;
    const double mixX = (band % 3 + 1) / 3.0;
    for (uint32_t x = 0; x < m_width; ++x)
        out[x] = finish(mixX * x * across + (1.0 - mixX) * y * down, m_lo, m_hi, m_integral);
}

MirroredTileSource::MirroredTileSource(const SourceImage& tile, uint32_t width, uint32_t height)
    : m_tile(tile), m_width(width), m_height(height), m_row(tile.getWidth()) {}

void MirroredTileSource::readRow(uint16_t band, uint32_t y, double* out) const {
    const uint32_t tw = m_tile.getWidth(), th = m_tile.getHeight();
    const auto fold = [](uint32_t i, uint32_t n) { return (i / n) % 2 ? n - 1 - i % n : i % n; };
    m_tile.readRow(band, fold(y, th), m_row.data());
    for (uint32_t x = 0; x < m_width; ++x) out[x] = m_row[fold(x, tw)];
}

namespace {

// An in-memory band-sequential 8-bit image.
class ByteImageSource : public SourceImage {
public:
    ByteImageSource(uint32_t width, uint32_t height, uint16_t numBands)
        : m_width(width), m_height(height), m_numBands(numBands), m_samples(size_t(width) * height * numBands) {}
    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
    uint16_t getNumBands() const override { return m_numBands; }
    void readRow(uint16_t band, uint32_t y, double* out) const override {
        const uint8_t* row = &at(band, 0, y);
        for (uint32_t x = 0; x < m_width; ++x) out[x] = row[x];
    }
    uint8_t& at(uint16_t band, uint32_t x, uint32_t y) { return m_samples[(size_t(band) * m_height + y) * m_width + x]; }
    const uint8_t& at(uint16_t band, uint32_t x, uint32_t y) const {
        return m_samples[(size_t(band) * m_height + y) * m_width + x];
    }

private:
    uint32_t m_width, m_height;
    uint16_t m_numBands;
    std::vector<uint8_t> m_samples;
};

}  // namespace

std::unique_ptr<SourceImage> loadRasterFile(const std::string& path, uint16_t maxBands) {
    TIFFSetWarningHandler(nullptr);
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(TIFFOpen(path.c_str(), "r"), &TIFFClose);
    if (!tiff) return nullptr;
    uint32_t width = 0, height = 0;
    uint16_t bits = 0, samples = 1, planar = PLANARCONFIG_CONTIG;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_PLANARCONFIG, &planar);
    if (bits != 8 || planar != PLANARCONFIG_CONTIG || width == 0 || height == 0) return nullptr;
    const uint16_t bands = std::min(samples, maxBands);
    auto image = std::make_unique<ByteImageSource>(width, height, bands);
    const bool tiled = TIFFIsTiled(tiff.get());
    uint32_t pieceWidth = width, pieceHeight = 0;
    if (tiled) {
        TIFFGetField(tiff.get(), TIFFTAG_TILEWIDTH, &pieceWidth);
        TIFFGetField(tiff.get(), TIFFTAG_TILELENGTH, &pieceHeight);
    } else {
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_ROWSPERSTRIP, &pieceHeight);
        pieceHeight = std::min(pieceHeight, height);
    }
    std::vector<uint8_t> piece(size_t(pieceWidth) * pieceHeight * samples);
    for (uint32_t y0 = 0; y0 < height; y0 += pieceHeight) {
        for (uint32_t x0 = 0; x0 < width; x0 += pieceWidth) {
            const tmsize_t got =
                tiled ? TIFFReadEncodedTile(tiff.get(), TIFFComputeTile(tiff.get(), x0, y0, 0, 0), piece.data(),
                                            tmsize_t(piece.size()))
                      : TIFFReadEncodedStrip(tiff.get(), TIFFComputeStrip(tiff.get(), y0, 0), piece.data(),
                                             tmsize_t(piece.size()));
            if (got < 0) return nullptr;
            for (uint32_t y = y0; y < std::min(height, y0 + pieceHeight); ++y)
                for (uint32_t x = x0; x < std::min(width, x0 + pieceWidth); ++x)
                    for (uint16_t b = 0; b < bands; ++b)
                        image->at(b, x, y) = piece[(size_t(y - y0) * pieceWidth + (x - x0)) * samples + b];
        }
    }
    return image;
}

}  // namespace TavixFixture
