// Pixel content shared by every decoder of the comparison: 8-bit images held
// band by band, so that each encoder is given the very same samples.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CompareBench {

struct BenchImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t numBands = 0;
    std::vector<uint8_t> samples;  // band after band, rows without padding

    uint8_t* band(uint32_t b) { return samples.data() + size_t(b) * width * height; }
    const uint8_t* band(uint32_t b) const { return samples.data() + size_t(b) * width * height; }
    double megapixels() const { return double(width) * height / 1e6; }
};

// The given bands (1-based, as GDAL counts them) of a real photograph,
// mirrored across its edges as often as needed to cover width by height, so
// that the tiles meet without seams. False if the file can't be read.
bool loadMirroredPhoto(const std::string& path, const std::vector<int>& gdalBands, uint32_t width,
                       uint32_t height, BenchImage& image, std::string& error);

// Stand-in for a photograph: seeded 1/f noise with a few hard edges and flat
// areas, so that entropy coding sees smooth, textured and empty regions.
BenchImage syntheticImage(uint32_t width, uint32_t height, uint32_t numBands, uint32_t seed);

}  // namespace CompareBench
