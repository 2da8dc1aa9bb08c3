// Test helpers for the raw, BBB and PNG rasters: files, the GDAL command-line
// tools as an independent oracle, and an in-memory stage with given samples.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "qvi_imageReader.h"
#include "qvi_pixel.h"

namespace RastersTest {

using namespace Orvanetics;

bool hasGdalTools();
bool hasPngcheck();

// Runs a shell command with its output sent to `log` (or discarded); its exit status.
int run(const std::string& command, const std::string& log = "");
std::string quote(const std::string& path);

std::vector<uint8_t> readBytes(const std::string& path);
void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes);
std::string readText(const std::string& path);
void writeText(const std::string& path, const std::string& text);

// Pixels as GDAL decodes them: band-sequential, host byte order.
struct GdalImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bands = 0;
    uint32_t sampleBytes = 0;
    std::vector<uint8_t> bsq;

    const uint8_t* sample(uint32_t band, uint32_t row, uint32_t col) const
    {
        return bsq.data() + ((size_t(band) * height + row) * width + col) * sampleBytes;
    }
};

// Decodes any file GDAL opens (through gdal_translate to a band-sequential
// file in `workDir`); false when GDAL can't.
bool gdalDecode(const std::string& source, const std::string& workDir, GdalImage& image);
// One of the oracle's dumps: `<name>.bsq` with its size line in `<name>.txt`.
bool readOracle(const std::string& oracleBase, GdalImage& image);

// GDAL's six-value transform (corner origin) from gdalinfo -json text.
bool parseGeoTransform(const std::string& json, std::array<double, 6>& transform);
bool gdalGeoTransform(const std::string& source, const std::string& workDir,
                      std::array<double, 6>& transform);

// A reader over band-sequential samples held in memory.
class ArrayReader : public QVIGeoImageReader {
public:
    static ArrayReader* create(const QVIPixel& pixel, uint32_t width, uint32_t height,
                               std::vector<uint8_t> bsq);
    std::string getSourceName() const override { return "array"; }

    const uint8_t* sample(uint16_t band, uint32_t row, uint32_t col) const;

protected:
    ArrayReader() : QVIGeoImageReader(false) {}
    QVStatus decodeBegin(const QVIPixel&, const QVIScene&) override { return 0; }
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus decodeEnd() override { return 0; }

private:
    std::vector<uint8_t> m_bsq;
    std::vector<size_t> m_bandStarts;
};

}  // namespace RastersTest

#define REQUIRE_GDAL_TOOLS()                                                     \
    do {                                                                         \
        if (!RastersTest::hasGdalTools())                                        \
            GTEST_SKIP() << "gdal_translate is not on PATH";                     \
    } while (0)
