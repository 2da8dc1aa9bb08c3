// The tools on wavelet files from the test-side writer: qvinfo tells what
// the file was written with, qvdecode writes what the reader itself decodes
// (and, at full resolution of a lossless file, the source samples).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "core_testReader.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "rasters_support.h"
#include "tavix_imageReader.h"
#include "tavix_imageWriter.h"
#include "tavix_sampleImages.h"
#include "test_paths.h"
#include "tools_process.h"
#include "tools_rasters.h"

using namespace Orvanetics;
using namespace ToolsTest;

namespace {

constexpr uint32_t kWidth = 300;
constexpr uint32_t kHeight = 200;
constexpr uint32_t kLevels = 4;
// Pixel centres: (2000.5 + 2 col, 6000.5 - 2 row).
constexpr double kX = 2000.5, kY = 6000.5, kRes = 2.0;

std::string writeWavelet(const std::string& path, TavixFixture::TavixFileVersion version)
{
    TavixFixture::NaturalImageSource source(kWidth, kHeight, 3, /*seed*/ 3);
    TavixFixture::TavixImageRecipe recipe;
    recipe.dataType = QVI_DATATYPE_UINT8;
    recipe.colorSpace = XR3_COLORSPACE_RGB;
    recipe.yiq = true;
    recipe.numLevels = kLevels;
    recipe.version = version;
    XR3GeorefData georef;
    georef.setGeoData(kX, kY, kX + kRes * (kWidth - 1), kY - kRes * (kHeight - 1), kRes, -kRes);
    recipe.georef = georef;
    EXPECT_EQ(TavixFixture::writeTavixImageFile(recipe, source, path), 0u);
    return path;
}

using ReaderPtr = CoreTest::Ref<TavixImageReader>;

ReaderPtr openReader(const std::string& path)
{
    ReaderPtr reader(TavixImageReader::create());
    EXPECT_EQ(reader->initialize(QVFileSpec(path)), 0u) << path;
    return reader;
}

double number(const std::map<std::string, std::string>& flat, const std::string& key)
{
    auto found = flat.find(key);
    EXPECT_NE(found, flat.end()) << key;
    return found == flat.end() ? NAN : std::strtod(found->second.c_str(), nullptr);
}

class ToolsWavelet : public ::testing::Test {
protected:
    void SetUp() override
    {
        REQUIRE_TOOLS();
        m_dir = TestPaths::tempDir("tools_wavelet");
        m_xr4 = writeWavelet(m_dir + "/image.xr4", TavixFixture::TavixFileVersion::XR4);
    }
    std::string m_dir;
    std::string m_xr4;
};

TEST_F(ToolsWavelet, InfoTellsWhatTheFileWasWrittenWith)
{
    if (!hasPython3())
        GTEST_SKIP() << "python3 is not on PATH";
    const std::string xr3 = writeWavelet(m_dir + "/image.xr3", TavixFixture::TavixFileVersion::XR3);
    for (const auto& [path, format, generation] :
         {std::tuple{m_xr4, "\"XR4\"", 4.0}, std::tuple{xr3, "\"XR3\"", 3.0}}) {
        const ToolRun run = runTool(QVINFO_PATH, {"--json", path});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        std::map<std::string, std::string> flat;
        ASSERT_TRUE(flattenJson(run.out, flat)) << run.out;
        EXPECT_EQ(flat["format"], format);
        EXPECT_EQ(number(flat, "generation"), generation);
        EXPECT_EQ(number(flat, "images"), 1);
        EXPECT_EQ(number(flat, "width"), kWidth);
        EXPECT_EQ(number(flat, "height"), kHeight);
        EXPECT_EQ(number(flat, "bands"), 3);
        EXPECT_EQ(flat["dataType"], "\"UINT8\"");
        EXPECT_EQ(flat["colorSpace"], "\"RGB\"");
        EXPECT_EQ(number(flat, "levels"), kLevels);
        EXPECT_EQ(number(flat, "minMagnification"), 1.0 / (1 << kLevels));
        EXPECT_DOUBLE_EQ(number(flat, "georeference.x"), kX);
        EXPECT_DOUBLE_EQ(number(flat, "georeference.y"), kY);
        EXPECT_DOUBLE_EQ(number(flat, "georeference.xRes"), kRes);
        EXPECT_DOUBLE_EQ(number(flat, "georeference.yRes"), -kRes);

        ReaderPtr reader = openReader(path);
        EXPECT_EQ(number(flat, "maxMagnification"), reader->getMaxMagnification());
        EXPECT_EQ(number(flat, "levels"), reader->getNumLevels());
    }
}

TEST_F(ToolsWavelet, DecodeWritesWhatTheReaderReads)
{
    ReaderPtr reader = openReader(m_xr4);
    struct Case {
        std::vector<std::string> args;
        std::vector<uint16_t> bands;
        QVIScene scene;
    };
    const Case cases[] = {
        {{}, {0, 1, 2}, QVIScene(0, 0, kWidth, kHeight, 1.0)},
        {{"--mag", "0.5"}, {0, 1, 2}, QVIScene(0, 0, kWidth / 2, kHeight / 2, 0.5)},
        {{"--mag", "0.0625"}, {0, 1, 2}, QVIScene(0, 0, 19, 13, 0.0625)},
        {{"--mag", "0.25", "--region", "7,5,40,30", "--bands", "2,0"}, {2, 0}, QVIScene(7, 5, 40, 30, 0.25)},
        {{"--region", "101,33,77,91", "--bands", "1", "--strip-height", "5", "--threads", "1"},
         {1},
         QVIScene(101, 33, 77, 91, 1.0)},
    };
    const std::string output = m_dir + "/scene.raw";
    for (const Case& c : cases) {
        std::vector<std::string> args = {m_xr4, "-o", output, "--layout", "bsq"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const ToolRun run = runTool(QVDECODE_PATH, args);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_TRUE(RastersTest::readBytes(output) == libraryRead(*reader, c.bands, c.scene))
            << testing::PrintToString(c.args);
    }
}

TEST_F(ToolsWavelet, FullResolutionOfALosslessFileIsTheSource)
{
    const std::string output = m_dir + "/region.raw";
    const ToolRun run = runTool(QVDECODE_PATH, {m_xr4, "-o", output, "--layout", "bsq", "--region",
                                                "150,60,64,48", "--bands", "2,1"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    TavixFixture::NaturalImageSource source(kWidth, kHeight, 3, 3);
    std::vector<uint8_t> expected;
    std::vector<double> row(kWidth);
    for (uint16_t band : {2, 1})
        for (uint32_t y = 60; y < 60 + 48; ++y) {
            source.readRow(band, y, row.data());
            for (uint32_t x = 150; x < 150 + 64; ++x)
                expected.push_back(static_cast<uint8_t>(row[x]));
        }
    EXPECT_TRUE(RastersTest::readBytes(output) == expected);
}

TEST_F(ToolsWavelet, OneImageOfTheFileByNumber)
{
    const std::string output = m_dir + "/first.raw";
    ToolRun run = runTool(QVDECODE_PATH, {m_xr4, "-o", output, "--image", "0", "--mag", "0.125",
                                          "--layout", "bsq"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    ReaderPtr reader = openReader(m_xr4);
    EXPECT_TRUE(RastersTest::readBytes(output) ==
                libraryRead(*reader, {0, 1, 2}, QVIScene(0, 0, 38, 25, 0.125)));

    run = runTool(QVINFO_PATH, {"--image", "1", m_xr4});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("bad function parameter [3] (image 1 of a file with 1 image)"),
              std::string::npos) << run.err;
}

TEST_F(ToolsWavelet, RefusalsOfTheReaderAndTheFrame)
{
    const std::string output = m_dir + "/never.png";
    for (const char* mag : {"0.03125", "0.75"}) {
        const ToolRun run = runTool(QVDECODE_PATH, {m_xr4, "-o", output, "--mag", mag});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.err.find("scene magnification out of range [50015]"), std::string::npos) << run.err;
    }
    // A file cut short is refused with a status, never a crash.
    const std::vector<uint8_t> whole = RastersTest::readBytes(m_xr4);
    const std::string cut = m_dir + "/cut.xr4";
    for (size_t length : {size_t(6), size_t(40), whole.size() / 2}) {
        RastersTest::writeBytes(cut, std::vector<uint8_t>(whole.begin(), whole.begin() + length));
        const ToolRun run = runTool(QVDECODE_PATH, {cut, "-o", output});
        EXPECT_EQ(run.exitCode, 1) << length << ": " << run.err;
        EXPECT_NE(run.err.find("qvdecode: "), std::string::npos) << run.err;
    }
    EXPECT_FALSE(std::filesystem::exists(output));
}

}  // namespace
