// BBB files made by other software, decoded against GDAL as the oracle: the
// shared test rasters with GDAL's recorded pixels, also with their headers
// restated in our keywords.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "qvi_bbbImageReader.h"
#include "qvi_geoCoord.h"
#include "qvi_metadataDatabase.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "rasters_support.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace RastersTest;

namespace {

struct ReaderDeleter {
    void operator()(QVIBBBImageReader* reader) const { reader->release(); }
};
using ReaderPtr = std::unique_ptr<QVIBBBImageReader, ReaderDeleter>;

ReaderPtr openBBB(const std::string& path, QVStatus& status, bool useWorldFile = true)
{
    ReaderPtr reader(QVIBBBImageReader::create());
    status = reader->initialize(path.c_str(), useWorldFile);
    return reader;
}

// Reads the scene and compares every sample's bytes with GDAL's.
void expectPixels(QVIBBBImageReader& reader, const GdalImage& gdal, const QVIScene& scene,
                  const std::string& what)
{
    ASSERT_EQ(reader.getWidth(), gdal.width) << what;
    ASSERT_EQ(reader.getHeight(), gdal.height) << what;
    ASSERT_EQ(reader.getNumBands(), gdal.bands) << what;
    ASSERT_EQ(reader.getPixelProps().getMaxBytesPerSample(), gdal.sampleBytes) << what;
    QVISceneBuffer buffer(reader.getPixelProps(), uint32_t(scene.getNumCols()),
                          uint32_t(scene.getNumRows()));
    ASSERT_EQ(reader.read(scene, buffer), 0u) << what;
    const uint32_t rowBytes = buffer.getNumCols() * gdal.sampleBytes;
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
            const uint8_t* expected = gdal.sample(band, uint32_t(scene.getUpperLeftRow()) + row,
                                                  uint32_t(scene.getUpperLeftCol()));
            ASSERT_EQ(std::memcmp(buffer.getSample(0, row, band), expected, rowBytes), 0)
                << what << ": band " << band << " row " << row;
        }
    }
}

void expectWholeAndParts(QVIBBBImageReader& reader, const GdalImage& gdal, const std::string& what)
{
    const uint32_t w = gdal.width;
    const uint32_t h = gdal.height;
    expectPixels(reader, gdal, QVIScene(0, 0, w, h, 1.0), what + " whole");
    expectPixels(reader, gdal, QVIScene(w / 3, h / 2, w - w / 3 - 1, h - h / 2, 1.0),
                 what + " lower right part");
    expectPixels(reader, gdal, QVIScene(1, 0, (w + 1) / 2, (h + 2) / 3, 1.0), what + " upper part");
}

// GDAL's transform names the outer corner of the upper-left pixel; ours its centre.
void expectGeoCoord(const QVIGeoCoord& geo, const std::array<double, 6>& gt, const std::string& what)
{
    auto near = [](double a, double b) { return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(b)); };
    EXPECT_TRUE(near(geo.getX(), gt[0] + gt[1] / 2 + gt[2] / 2)) << what << " x " << geo.getX();
    EXPECT_TRUE(near(geo.getY(), gt[3] + gt[4] / 2 + gt[5] / 2)) << what << " y " << geo.getY();
    EXPECT_TRUE(near(geo.getXRes(), gt[1])) << what << " x res " << geo.getXRes();
    EXPECT_TRUE(near(geo.getYRes(), gt[5])) << what << " y res " << geo.getYRes();
}

// The header in our keywords: GDAL's PIXELTYPE line is not one of them.
std::string toOurKeywords(const std::string& gdalHeader)
{
    std::istringstream lines(gdalHeader);
    std::string line;
    std::string result;
    std::string bits = "8";
    std::string pixelType;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string keyword;
        std::string value;
        words >> keyword >> value;
        if (keyword == "NBITS")
            bits = value;
        if (keyword == "PIXELTYPE")
            pixelType = value;
        else
            result += line + "\n";
    }
    if (pixelType == "SIGNEDINT")
        result += "DATATYPE S" + bits + "\n";
    else if (pixelType == "FLOAT")
        result += "DATATYPE F" + bits + "\n";
    else
        // Said outright: without DATATYPE our rules read more than 8 bits as
        // 16-bit samples, and a grid with a lower-left anchor as floats.
        result += "DATATYPE U" + bits + "\n";
    return result;
}

std::string rawDir()
{
    return TestPaths::testDataDir() + "/raw/";
}

std::string oracleBase(const std::string& file)
{
    return TestPaths::testDataDir() + "/oracle/raw/" + file;
}

}  // namespace

TEST(BBBTestData, DecodesAsGdalDoes)
{
    REQUIRE_TESTDATA();
    const char* files[] = {"ehdr10.bil",          "ehdr11.flt",
                           "gen_f32_xll.flt",     "gen_nbits1.bil",
                           "gen_rgb8_bsq_skip64.bsq", "gen_rgba8_bip.bip",
                           "gen_u16_lower_nodata.bil", "gen_u16x4_msb.bil",
                           "gen_u8_minimal.bil"};
    for (const char* file : files) {
        QVStatus status = 0;
        ReaderPtr reader = openBBB(rawDir() + file, status);
        ASSERT_EQ(status, 0u) << file;
        GdalImage oracle;
        ASSERT_TRUE(readOracle(oracleBase(file), oracle)) << file;
        expectWholeAndParts(*reader, oracle, file);
        std::array<double, 6> transform{};
        if (parseGeoTransform(readText(oracleBase(file) + ".json"), transform))
            expectGeoCoord(reader->getGeoCoord(), transform, file);
        else
            // Without georeferencing ours puts the lower-left pixel at the origin.
            EXPECT_TRUE(reader->isGeoCoordImplicit()) << file;
    }
}

TEST(BBBTestData, PropertiesOfTheHeadersAreTaken)
{
    REQUIRE_TESTDATA();
    QVStatus status = 0;
    ReaderPtr grid = openBBB(rawDir() + "ehdr10.bil", status);
    ASSERT_EQ(status, 0u);
    EXPECT_EQ(grid->getDataType(), QVI_DATATYPE_FLOAT32);
    EXPECT_EQ(grid->getLayout(), QVI_LAYOUT_BIL);
    EXPECT_EQ(openBBB(rawDir() + "ehdr11.flt", status)->getLayout(), QVI_LAYOUT_BIP);

    ReaderPtr floats = openBBB(rawDir() + "gen_f32_xll.flt", status);
    ASSERT_EQ(status, 0u);
    ASSERT_NE(floats->getNoDataPixel(), nullptr);
    EXPECT_EQ(floats->getNoDataPixel()->getSampleValueFloat32(0), -9999.0f);

    ReaderPtr words = openBBB(rawDir() + "gen_u16_lower_nodata.bil", status);
    ASSERT_EQ(status, 0u);
    EXPECT_EQ(words->getDataType(), QVI_DATATYPE_UINT16);
    ASSERT_NE(words->getNoDataPixel(), nullptr);
    EXPECT_EQ(words->getNoDataPixel()->getSampleValueUint16(0), 0);
    EXPECT_EQ(words->getMaxDynamicRange().getSampleValueUint16(0), 65535);

    ReaderPtr bits = openBBB(rawDir() + "gen_nbits1.bil", status);
    ASSERT_EQ(status, 0u);
    EXPECT_EQ(bits->getPixelProps().getSample(0).getPrecision(), 1u);
    EXPECT_EQ(bits->getMaxDynamicRange().getSampleValueUint8(0), 1);

    ReaderPtr rgba = openBBB(rawDir() + "gen_rgba8_bip.bip", status);
    ASSERT_EQ(status, 0u);
    EXPECT_EQ(rgba->getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL) << "four bands, no COLORSPACE";
}

TEST(BBBTestData, HeadersOutsideOurKeywordsAreRefused)
{
    REQUIRE_TESTDATA();
    // GDAL reads these through its own keywords; ours stop at the first unknown one.
    for (const char* file : {"float32.bil", "gen_i16_lsb.bil", "int16_rat.bil", "truncated.bin",
                             "envi_rgbsmall_bsq.img"}) {
        QVStatus status = 0;
        openBBB(rawDir() + file, status);
        EXPECT_EQ(status, 50109u) << file;
    }
}

TEST(BBBTestData, GdalWrittenHeadersInOurKeywordsDecodeAsGdalDoes)
{
    REQUIRE_TESTDATA();
    const std::string dir = TestPaths::tempDir("bbb_rewritten");
    for (const char* file : {"float32.bil", "gen_i16_lsb.bil", "int16_rat.bil"}) {
        const std::string stem = std::filesystem::path(file).stem().string();
        std::filesystem::copy_file(rawDir() + file, dir + "/" + file);
        writeText(dir + "/" + stem + ".hdr", toOurKeywords(readText(rawDir() + stem + ".hdr")));
        QVStatus status = 0;
        ReaderPtr reader = openBBB(dir + "/" + file, status);
        ASSERT_EQ(status, 0u) << file;
        GdalImage oracle;
        ASSERT_TRUE(readOracle(oracleBase(file), oracle)) << file;
        expectWholeAndParts(*reader, oracle, file);
        std::array<double, 6> transform{};
        ASSERT_TRUE(parseGeoTransform(readText(oracleBase(file) + ".json"), transform)) << file;
        expectGeoCoord(reader->getGeoCoord(), transform, file);
    }
    QVStatus status = 0;
    EXPECT_EQ(openBBB(dir + "/gen_i16_lsb.bil", status)->getDataType(), QVI_DATATYPE_SINT16);

    // Without its PIXELTYPE line the truncated file still lacks a byte of its size.
    std::filesystem::copy_file(rawDir() + "truncated.bin", dir + "/truncated.bin");
    writeText(dir + "/truncated.hdr", toOurKeywords(readText(rawDir() + "truncated.hdr")));
    openBBB(dir + "/truncated.bin", status);
    EXPECT_EQ(status, 50025u);
}
