// BBB rasters for the tool tests, written byte by byte from a formula so that
// the expected pixels of any scene are known without the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qvi_imageStage.h"

namespace ToolsTest {

struct RasterFixture {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bands = 1;
    uint32_t sampleBytes = 1;  // 1 or 2

    // The sample of a band at (row, col), reduced to the sample size.
    uint32_t value(uint32_t band, uint32_t row, uint32_t col) const;

    // The samples of the rectangle for the given bands, band-sequential, in
    // the host's byte order.
    std::vector<uint8_t> bsq(const std::vector<uint32_t>& bandOrder, uint32_t col0, uint32_t row0,
                             uint32_t cols, uint32_t rows) const;
};

// The data file in the layout ("BIL", "BSQ", "BIP") and byte order, and its
// header beside it: the geometry lines, then `extraHeader` as it stands.
void writeBBB(const std::string& dataPath, const RasterFixture& raster, const std::string& layout,
              bool bigEndian, const std::string& extraHeader);

// The six numbers of the world file beside the image (its suffix's first and
// last letters and "w").
std::vector<double> worldFileValues(const std::string& imagePath);

// The stage's own read of a scene with the given bands, band-sequential.
std::vector<uint8_t> libraryRead(Orvanetics::QVIImageStage& stage, const std::vector<uint16_t>& bands,
                                 const Orvanetics::QVIScene& scene);

}  // namespace ToolsTest
