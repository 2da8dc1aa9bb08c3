#include "compare_content.h"

#include <gdal.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace CompareBench {

namespace {

// Index into a source of `size` samples for position i of a mirrored
// repetition: 0 1 .. n-1 n-1 .. 1 0 0 1 ..
uint32_t mirroredIndex(uint32_t i, uint32_t size)
{
    const uint32_t t = i % (2 * size);
    return t < size ? t : 2 * size - 1 - t;
}

// Covers the whole image by mirrored copies of the top-left tile of each band.
void mirrorTile(BenchImage& image, uint32_t tileWidth, uint32_t tileHeight)
{
    std::vector<uint32_t> columnOf(image.width);
    for (uint32_t x = 0; x < image.width; ++x)
        columnOf[x] = mirroredIndex(x, tileWidth);
    for (uint32_t b = 0; b < image.numBands; ++b) {
        uint8_t* band = image.band(b);
        // Rows of the tile first widened in place, then whole rows copied down.
        for (uint32_t y = 0; y < tileHeight; ++y) {
            uint8_t* row = band + size_t(y) * image.width;
            for (uint32_t x = image.width; x-- > tileWidth;)
                row[x] = row[columnOf[x]];
        }
        for (uint32_t y = tileHeight; y < image.height; ++y)
            std::copy_n(band + size_t(mirroredIndex(y, tileHeight)) * image.width, image.width,
                        band + size_t(y) * image.width);
    }
}

void allocate(BenchImage& image, uint32_t width, uint32_t height, uint32_t numBands)
{
    image.width = width;
    image.height = height;
    image.numBands = numBands;
    image.samples.assign(size_t(width) * height * numBands, 0);
}

}  // namespace

bool loadMirroredPhoto(const std::string& path, const std::vector<int>& gdalBands, uint32_t width,
                       uint32_t height, BenchImage& image, std::string& error)
{
    GDALAllRegister();
    GDALDatasetH dataset = GDALOpen(path.c_str(), GA_ReadOnly);
    if (!dataset) {
        error = "cannot open " + path;
        return false;
    }
    const uint32_t tileWidth = std::min<uint32_t>(GDALGetRasterXSize(dataset), width);
    const uint32_t tileHeight = std::min<uint32_t>(GDALGetRasterYSize(dataset), height);
    allocate(image, width, height, uint32_t(gdalBands.size()));
    bool ok = true;
    for (uint32_t b = 0; b < image.numBands && ok; ++b) {
        GDALRasterBandH band = GDALGetRasterBand(dataset, gdalBands[b]);
        ok = band && GDALRasterIO(band, GF_Read, 0, 0, int(tileWidth), int(tileHeight), image.band(b),
                                  int(tileWidth), int(tileHeight), GDT_Byte, 1, int(width)) == CE_None;
    }
    GDALClose(dataset);
    if (!ok) {
        error = "cannot read the bands of " + path;
        return false;
    }
    mirrorTile(image, tileWidth, tileHeight);
    return true;
}

BenchImage syntheticImage(uint32_t width, uint32_t height, uint32_t numBands, uint32_t seed)
{
    constexpr uint32_t kTile = 1024;
    const uint32_t tileWidth = std::min(width, kTile);
    const uint32_t tileHeight = std::min(height, kTile);
    BenchImage image;
    allocate(image, width, height, numBands);
    std::mt19937 rng(seed);
    std::normal_distribution<float> gauss(0.0f, 1.0f);
    std::vector<float> field(size_t(tileWidth) * tileHeight);
    for (uint32_t b = 0; b < numBands; ++b) {
        std::fill(field.begin(), field.end(), 0.0f);
        // Octaves of bilinear value noise, amplitude proportional to the
        // cell size: a 1/f spectrum.
        for (uint32_t cell = 512; cell >= 1; cell /= 2) {
            const uint32_t gridW = tileWidth / cell + 2, gridH = tileHeight / cell + 2;
            std::vector<float> grid(size_t(gridW) * gridH);
            for (float& g : grid)
                g = gauss(rng) * float(cell);
            for (uint32_t y = 0; y < tileHeight; ++y) {
                const float fy = float(y) / float(cell);
                const uint32_t gy = uint32_t(fy);
                const float wy = fy - float(gy);
                for (uint32_t x = 0; x < tileWidth; ++x) {
                    const float fx = float(x) / float(cell);
                    const uint32_t gx = uint32_t(fx);
                    const float wx = fx - float(gx);
                    const float* g0 = &grid[size_t(gy) * gridW + gx];
                    const float* g1 = g0 + gridW;
                    field[size_t(y) * tileWidth + x] +=
                        (g0[0] * (1 - wx) + g0[1] * wx) * (1 - wy) + (g1[0] * (1 - wx) + g1[1] * wx) * wy;
                }
            }
        }
        uint8_t* band = image.band(b);
        for (uint32_t y = 0; y < tileHeight; ++y)
            for (uint32_t x = 0; x < tileWidth; ++x) {
                float v = 128.0f + field[size_t(y) * tileWidth + x] * 0.08f;
                if (x > tileWidth / 2 && y < tileHeight / 3)
                    v = 40.0f + 30.0f * float(b);  // a flat field behind a hard edge
                else if ((x + y) % 397 < 6)
                    v = 230.0f;  // a straight road
                band[size_t(y) * width + x] = uint8_t(std::clamp(v, 0.0f, 255.0f));
            }
    }
    mirrorTile(image, tileWidth, tileHeight);
    return image;
}

}  // namespace CompareBench
