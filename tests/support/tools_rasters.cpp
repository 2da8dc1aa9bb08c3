#include "tools_rasters.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "qv_fileSpec.h"
#include "qvi_geoCoord.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"

namespace ToolsTest {

namespace {

void appendSample(std::vector<uint8_t>& bytes, uint32_t value, uint32_t sampleBytes, bool bigEndian)
{
    if (sampleBytes == 1) {
        bytes.push_back(static_cast<uint8_t>(value));
        return;
    }
    const uint8_t high = static_cast<uint8_t>(value >> 8);
    const uint8_t low = static_cast<uint8_t>(value);
    bytes.push_back(bigEndian ? high : low);
    bytes.push_back(bigEndian ? low : high);
}

}  // namespace

uint32_t RasterFixture::value(uint32_t band, uint32_t row, uint32_t col) const
{
    const uint32_t raw = band * 10007u + row * 257u + col * 31u + row * col;
    return sampleBytes == 1 ? raw & 0xFFu : raw & 0xFFFFu;
}

std::vector<uint8_t> RasterFixture::bsq(const std::vector<uint32_t>& bandOrder, uint32_t col0,
                                        uint32_t row0, uint32_t cols, uint32_t rows) const
{
    std::vector<uint8_t> bytes;
    for (uint32_t band : bandOrder)
        for (uint32_t row = row0; row < row0 + rows; ++row)
            for (uint32_t col = col0; col < col0 + cols; ++col)
                appendSample(bytes, value(band, row, col), sampleBytes, false);
    return bytes;
}

void writeBBB(const std::string& dataPath, const RasterFixture& raster, const std::string& layout,
              bool bigEndian, const std::string& extraHeader)
{
    std::vector<uint8_t> bytes;
    auto sample = [&](uint32_t band, uint32_t row, uint32_t col) {
        appendSample(bytes, raster.value(band, row, col), raster.sampleBytes, bigEndian);
    };
    if (layout == "BSQ") {
        for (uint32_t band = 0; band < raster.bands; ++band)
            for (uint32_t row = 0; row < raster.height; ++row)
                for (uint32_t col = 0; col < raster.width; ++col)
                    sample(band, row, col);
    } else if (layout == "BIL") {
        for (uint32_t row = 0; row < raster.height; ++row)
            for (uint32_t band = 0; band < raster.bands; ++band)
                for (uint32_t col = 0; col < raster.width; ++col)
                    sample(band, row, col);
    } else {
        for (uint32_t row = 0; row < raster.height; ++row)
            for (uint32_t col = 0; col < raster.width; ++col)
                for (uint32_t band = 0; band < raster.bands; ++band)
                    sample(band, row, col);
    }
    std::ofstream(dataPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));

    const std::string headerPath = dataPath.substr(0, dataPath.rfind('.')) + ".hdr";
    std::ofstream header(headerPath);
    header << "NROWS " << raster.height << "\nNCOLS " << raster.width << "\nNBANDS " << raster.bands
           << "\nLAYOUT " << layout << "\nDATATYPE " << (raster.sampleBytes == 1 ? "U8" : "U16")
           << "\nBYTEORDER " << (bigEndian ? "M" : "I") << "\n"
           << extraHeader;
}

std::vector<double> worldFileValues(const std::string& imagePath)
{
    char suffix[4] = {};
    EXPECT_EQ(Orvanetics::QVIGeoCoord::getWorldFileExtension(Orvanetics::QVFileSpec(imagePath), suffix), 0u);
    std::ifstream in(Orvanetics::QVFileSpec(imagePath).replaceSuffix(suffix).getPath());
    std::vector<double> values;
    for (double value = 0.0; in >> value;)
        values.push_back(value);
    return values;
}

std::vector<uint8_t> libraryRead(Orvanetics::QVIImageStage& stage, const std::vector<uint16_t>& bands,
                                 const Orvanetics::QVIScene& scene)
{
    using namespace Orvanetics;
    QVIPixel pixel(stage.getPixelProps(), bands.data(), static_cast<uint16_t>(bands.size()));
    QVISceneBuffer buffer(pixel, scene.getNumCols(), scene.getNumRows());
    EXPECT_EQ(stage.read(scene, buffer), 0u);
    void* data = nullptr;
    EXPECT_EQ(buffer.exportDataBSQ(data), 0u);
    const size_t bytes = size_t(scene.getNumCols()) * scene.getNumRows() * pixel.getNumBytes();
    std::vector<uint8_t> result(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + bytes);
    std::free(data);
    return result;
}

}  // namespace ToolsTest
