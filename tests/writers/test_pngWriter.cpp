// PNG output checked by pngcheck and decoded by GDAL (an independent libpng
// user) back to exactly the samples written; chunks read from the file bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>

#include "PNGImageWriter.h"
#include "core_testReader.h"
#include "qv_ioDynamicMemStream.h"
#include "qvi_sceneBuffer.h"
#include "rasters_support.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace RastersTest;

namespace {

constexpr uint32_t kWidth = 37;
constexpr uint32_t kHeight = 29;

// Samples that use the whole range of the type and differ between neighbours.
ArrayReader* makeStage(QVIColorSpace space, uint16_t bands, QVIDataType type)
{
    const uint32_t bytes = type == QVI_DATATYPE_UINT16 ? 2 : 1;
    std::vector<uint8_t> samples(size_t(kWidth) * kHeight * bands * bytes);
    for (size_t i = 0; i < samples.size() / bytes; ++i) {
        const uint32_t value = uint32_t(i * 40503u + (i >> 3));
        std::memcpy(samples.data() + i * bytes, &value, bytes);
    }
    return ArrayReader::create(QVIPixel(space, bands, type), kWidth, kHeight, std::move(samples));
}

// The chunks of a PNG file by type (the first of each), read from its bytes.
std::map<std::string, std::vector<uint8_t>> readChunks(const std::string& path)
{
    const std::vector<uint8_t> file = readBytes(path);
    std::map<std::string, std::vector<uint8_t>> chunks;
    size_t at = 8;
    while (at + 12 <= file.size()) {
        const uint32_t length = uint32_t(file[at]) << 24 | uint32_t(file[at + 1]) << 16 |
                                uint32_t(file[at + 2]) << 8 | file[at + 3];
        const std::string type(reinterpret_cast<const char*>(&file[at + 4]), 4);
        if (at + 12 + length > file.size())
            break;
        chunks.emplace(type, std::vector<uint8_t>(file.begin() + std::ptrdiff_t(at + 8),
                                                  file.begin() + std::ptrdiff_t(at + 8 + length)));
        at += 12 + length;
    }
    return chunks;
}

uint16_t bigEndian16(const std::vector<uint8_t>& bytes, size_t at)
{
    return uint16_t(bytes[at] << 8 | bytes[at + 1]);
}

QVStatus writePNG(PNGImageWriter& writer, const std::string& path)
{
    QVStatus status = writer.setOutputFileSpec(path.c_str());
    if (status == 0)
        status = writer.write(QVIScene(0, 0, kWidth, kHeight, 1.0));
    return status;
}

void expectPngcheckPasses(const std::string& path)
{
    if (hasPngcheck()) {
        EXPECT_EQ(run("pngcheck -q " + quote(path)), 0) << path;
    }
}

// GDAL's decode equals the stage's samples band by band.
void expectDecodesTo(const std::string& path, const std::string& dir, const ArrayReader& stage)
{
    GdalImage gdal;
    ASSERT_TRUE(gdalDecode(path, dir, gdal)) << path;
    const QVIPixel& pixel = stage.getPixelProps();
    ASSERT_EQ(gdal.bands, pixel.getNumBands());
    ASSERT_EQ(gdal.sampleBytes, pixel.getMaxBytesPerSample());
    const size_t plane = size_t(kWidth) * kHeight * gdal.sampleBytes;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band)
        EXPECT_EQ(std::memcmp(gdal.sample(band, 0, 0), stage.sample(band, 0, 0), plane), 0)
            << path << " band " << band;
}

class PNGFiles : public ::testing::Test {
protected:
    std::string dir = TestPaths::tempDir("png_writer");
};

}  // namespace

TEST_F(PNGFiles, GreyAndColourWithAndWithoutAlphaDecodeToTheSamplesWritten)
{
    REQUIRE_GDAL_TOOLS();
    const struct {
        QVIColorSpace space;
        uint16_t bands;
        QVIDataType type;
        uint8_t colorType;
        uint8_t bitDepth;
    } cases[] = {
        {QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8, 0, 8},
        {QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT16, 0, 16},
        {QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8, 2, 8},
        {QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16, 2, 16},
        {QVI_COLORSPACE_GRAYSCALEA, 2, QVI_DATATYPE_UINT8, 4, 8},
        {QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT16, 6, 16},
    };
    for (const auto& c : cases) {
        ArrayReader* stage = makeStage(c.space, c.bands, c.type);
        PNGImageWriter writer;
        ASSERT_EQ(writer.initialize(stage), 0u);
        writer.setStripHeight(6);
        const std::string path = dir + "/image" + std::to_string(c.colorType) + "_" +
                                 std::to_string(c.bitDepth) + ".png";
        ASSERT_EQ(writePNG(writer, path), 0u) << path;
        expectPngcheckPasses(path);
        const auto chunks = readChunks(path);
        ASSERT_EQ(chunks.count("IHDR"), 1u);
        EXPECT_EQ(chunks.at("IHDR")[8], c.bitDepth) << path;
        EXPECT_EQ(chunks.at("IHDR")[9], c.colorType) << path;
        EXPECT_EQ(chunks.at("IHDR")[12], 0) << "not interlaced";
        expectDecodesTo(path, dir, *stage);
        stage->release();
    }
}

TEST_F(PNGFiles, AddedAlphaIsZeroExactlyAtNoDataPixels)
{
    REQUIRE_GDAL_TOOLS();
    for (QVIDataType type : {QVI_DATATYPE_UINT8, QVI_DATATYPE_UINT16}) {
        ArrayReader* stage = makeStage(QVI_COLORSPACE_RGB, 3, type);
        QVIPixel noData(stage->getPixelProps());
        const uint32_t bytes = type == QVI_DATATYPE_UINT16 ? 2 : 1;
        for (uint16_t band = 0; band < 3; ++band)
            noData.setSampleValueAddr(band, stage->sample(band, 5, 7));
        ASSERT_EQ(stage->setNoDataPixel(&noData), 0u);
        PNGImageWriter writer;
        ASSERT_EQ(writer.initialize(stage), 0u);
        ASSERT_EQ(writer.setAddAlphaBand(true), 0u);
        const std::string path = dir + "/alpha" + std::to_string(bytes) + ".png";
        ASSERT_EQ(writePNG(writer, path), 0u);
        expectPngcheckPasses(path);
        GdalImage gdal;
        ASSERT_TRUE(gdalDecode(path, dir, gdal));
        ASSERT_EQ(gdal.bands, 4u);
        int transparent = 0;
        for (uint32_t row = 0; row < kHeight; ++row) {
            for (uint32_t col = 0; col < kWidth; ++col) {
                bool isNoData = true;
                for (uint16_t band = 0; band < 3; ++band) {
                    ASSERT_EQ(std::memcmp(gdal.sample(band, row, col), stage->sample(band, row, col), bytes), 0);
                    isNoData = isNoData &&
                               std::memcmp(stage->sample(band, row, col), stage->sample(band, 5, 7), bytes) == 0;
                }
                uint16_t alpha = 0;
                std::memcpy(&alpha, gdal.sample(3, row, col), bytes);
                ASSERT_EQ(alpha, isNoData ? 0 : (bytes == 2 ? 65535 : 255)) << row << " " << col;
                transparent += isNoData;
            }
        }
        EXPECT_GE(transparent, 1);
        stage->release();
    }
}

TEST_F(PNGFiles, TransparencyAndBackgroundChunksCarryTheStagesPixels)
{
    ArrayReader* stage = makeStage(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT16);
    QVIPixel noData(stage->getPixelProps());
    noData.setSampleValueUint16(0, 4242);
    QVIPixel background(stage->getPixelProps());
    background.setSampleValueUint16(0, 777);
    ASSERT_EQ(stage->setNoDataPixel(&noData), 0u);
    ASSERT_EQ(stage->setBackgroundPixel(&background), 0u);
    PNGImageWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    ASSERT_EQ(writer.setWriteTransparencyColor(true), 0u);
    writer.setCompressionLevel(9);
    writer.setScanlineFilter(0x08 | 0x10);  // up and average
    const std::string path = dir + "/chunks.png";
    ASSERT_EQ(writePNG(writer, path), 0u);
    expectPngcheckPasses(path);
    const auto chunks = readChunks(path);
    ASSERT_EQ(chunks.count("tRNS"), 1u);
    ASSERT_EQ(chunks.count("bKGD"), 1u);
    EXPECT_EQ(bigEndian16(chunks.at("tRNS"), 0), 4242);
    EXPECT_EQ(bigEndian16(chunks.at("bKGD"), 0), 777);
    if (hasGdalTools())
        expectDecodesTo(path, dir, *stage);
    stage->release();
}

TEST_F(PNGFiles, CompressionLevelIsPassedOn)
{
    ArrayReader* stage = makeStage(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    size_t sizes[2] = {};
    for (int level : {0, 9}) {
        PNGImageWriter writer;
        ASSERT_EQ(writer.initialize(stage), 0u);
        writer.setCompressionLevel(int16_t(level));
        const std::string path = dir + "/level" + std::to_string(level) + ".png";
        ASSERT_EQ(writePNG(writer, path), 0u);
        sizes[level == 9] = std::filesystem::file_size(path);
    }
    EXPECT_GE(sizes[0], size_t(kWidth) * kHeight * 3) << "level 0 stores";
    EXPECT_LT(sizes[1], sizes[0]);
    stage->release();
}

TEST_F(PNGFiles, FewColoursComeOutExactlyThroughThePalette)
{
    REQUIRE_GDAL_TOOLS();
    const uint8_t colours[5][3] = {{255, 0, 0}, {0, 128, 255}, {17, 200, 33}, {250, 250, 250}, {0, 0, 0}};
    std::vector<uint8_t> samples(size_t(kWidth) * kHeight * 3);
    const size_t plane = size_t(kWidth) * kHeight;
    for (size_t i = 0; i < plane; ++i)
        for (int band = 0; band < 3; ++band)
            samples[band * plane + i] = colours[(i / 7 + i % 3) % 5][band];
    ArrayReader* stage = ArrayReader::create(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8),
                                             kWidth, kHeight, samples);
    PNGImageWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    writer.setPaletteSize(8);
    const std::string path = dir + "/five.png";
    ASSERT_EQ(writePNG(writer, path), 0u);
    expectPngcheckPasses(path);
    const auto chunks = readChunks(path);
    EXPECT_EQ(chunks.at("IHDR")[9], 3) << "indexed colour";
    EXPECT_EQ(chunks.at("PLTE").size(), 5u * 3u);
    ASSERT_EQ(run("gdal_translate -q -expand rgb " + quote(path) + " " + quote(dir + "/five_rgb.tif")), 0);
    expectDecodesTo(dir + "/five_rgb.tif", dir, *stage);
    stage->release();
}

TEST_F(PNGFiles, PaletteHasAtMostTheAskedNumberOfColoursAndATransparentEntry)
{
    REQUIRE_GDAL_TOOLS();
    for (QVIDataType type : {QVI_DATATYPE_UINT8, QVI_DATATYPE_UINT16}) {
        ArrayReader* stage = makeStage(QVI_COLORSPACE_RGB, 3, type);
        const uint32_t bytes = type == QVI_DATATYPE_UINT16 ? 2 : 1;
        QVIPixel noData(stage->getPixelProps());
        for (uint16_t band = 0; band < 3; ++band)
            noData.setSampleValueAddr(band, stage->sample(band, 3, 4));
        ASSERT_EQ(stage->setNoDataPixel(&noData), 0u);
        for (uint32_t asked : {1u, 16u, 256u}) {
            PNGImageWriter writer;
            ASSERT_EQ(writer.initialize(stage), 0u);
            writer.setPaletteSize(asked);
            ASSERT_EQ(writer.setWriteTransparencyColor(true), 0u);
            const std::string path = dir + "/palette" + std::to_string(asked) + ".png";
            ASSERT_EQ(writePNG(writer, path), 0u) << asked;
            expectPngcheckPasses(path);
            const auto chunks = readChunks(path);
            const size_t entries = chunks.at("PLTE").size() / 3;
            EXPECT_LE(entries, asked);
            EXPECT_GE(entries, std::min<size_t>(asked, 2u));
            GdalImage indices;
            ASSERT_TRUE(gdalDecode(path, dir, indices));
            ASSERT_EQ(indices.bands, 1u);
            const uint8_t transparentIndex = *indices.sample(0, 3, 4);
            ASSERT_EQ(chunks.count("tRNS"), 1u);
            const std::vector<uint8_t>& alphas = chunks.at("tRNS");
            ASSERT_LT(transparentIndex, alphas.size());
            EXPECT_EQ(alphas[transparentIndex], 0);
            if (asked < 16)
                continue;
            // Every other pixel takes an opaque entry near its own colour.
            double error = 0.0;
            for (uint32_t row = 0; row < kHeight; ++row)
                for (uint32_t col = 0; col < kWidth; ++col) {
                    const uint8_t index = *indices.sample(0, row, col);
                    bool isNoData = true;
                    for (uint16_t band = 0; band < 3; ++band)
                        isNoData = isNoData && std::memcmp(stage->sample(band, row, col),
                                                           stage->sample(band, 3, 4), bytes) == 0;
                    ASSERT_EQ(index == transparentIndex, isNoData) << row << " " << col;
                    for (uint16_t band = 0; band < 3 && !isNoData; ++band) {
                        uint16_t value = 0;
                        std::memcpy(&value, stage->sample(band, row, col), bytes);
                        error += std::fabs(double(value >> (8 * (bytes - 1))) -
                                           chunks.at("PLTE")[index * 3 + band]);
                    }
                }
            EXPECT_LT(error / (kWidth * kHeight * 3), asked == 256 ? 24.0 : 64.0) << asked;
        }
        stage->release();
    }
}

TEST(PNGWriter, UnsupportedStagesAndSettingsAreRefused)
{
    const struct {
        QVIColorSpace space;
        uint16_t bands;
        QVIDataType type;
        QVStatus status;
    } cases[] = {
        {QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_FLOAT32, 50403},
        {QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_SINT16, 50403},
        {QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT32, 50403},
        {QVI_COLORSPACE_CMYK, 4, QVI_DATATYPE_UINT8, 50402},
        {QVI_COLORSPACE_MULTISPECTRAL, 5, QVI_DATATYPE_UINT8, 50402},
    };
    for (const auto& c : cases) {
        ArrayReader* stage = ArrayReader::create(QVIPixel(c.space, c.bands, c.type), 4, 4, {});
        PNGImageWriter writer;
        EXPECT_EQ(writer.initialize(stage), c.status);
        stage->release();
    }
    ArrayReader* stage = makeStage(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    PNGImageWriter writer;
    EXPECT_EQ(writer.initialize(nullptr), 7u);
    ASSERT_EQ(writer.initialize(stage), 0u);
    EXPECT_EQ(writer.setWriteTransparencyColor(true), 3u) << "no no-data pixel";
    EXPECT_EQ(writer.setAddAlphaBand(true), 3u);
    stage->release();

    ArrayReader* withAlpha = makeStage(QVI_COLORSPACE_GRAYSCALEA, 2, QVI_DATATYPE_UINT8);
    PNGImageWriter alphaWriter;
    ASSERT_EQ(alphaWriter.initialize(withAlpha), 0u);
    EXPECT_EQ(alphaWriter.setAddAlphaBand(true), 0u) << "ignored: the stage has alpha";
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(64), 0u);
    ASSERT_EQ(stream.open(), 0u);
    ASSERT_EQ(alphaWriter.setOutputStream(&stream), 0u);
    ASSERT_EQ(alphaWriter.write(QVIScene(0, 0, kWidth, kHeight, 1.0)), 0u);
    ASSERT_GT(stream.getLength(), 26u);
    EXPECT_EQ(stream.getData()[25], 4) << "grey with its own alpha, nothing added";
    withAlpha->release();
}

TEST(PNGWriter, LibraryFailuresBecomeAStatusWithTheLibrarysText)
{
    ArrayReader* stage = makeStage(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    for (uint32_t limit : {10u, 100u, 600u}) {
        for (uint32_t palette : {0u, 64u}) {
            CoreTest::VectorStream stream;  // a full disc after `limit` bytes
            stream.writeLimit = limit;
            PNGImageWriter writer;
            ASSERT_EQ(writer.initialize(stage), 0u);
            writer.setPaletteSize(palette);
            writer.setCompressionLevel(0);
            ASSERT_EQ(writer.setOutputStream(&stream), 0u);
            EXPECT_EQ(writer.write(QVIScene(0, 0, kWidth, kHeight, 1.0)), 50465u) << limit;
            EXPECT_EQ(writer.getLibraryErrorText(), "Write Error");
            EXPECT_NE(std::string(getLastStatusString(50465)).find("Write Error"), std::string::npos)
                << getLastStatusString(50465);
        }
    }
    stage->release();
}
