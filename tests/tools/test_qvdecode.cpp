// qvdecode run as a process: the files it writes hold exactly the scene's
// samples (from the formula the input was written with, and as the reader
// itself reads them), with the world file of the scene; failures and Ctrl-C
// leave no output behind.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <png.h>
#include <thread>

#include "core_testReader.h"
#include "qvi_bbbImageReader.h"
#include "qvi_geoCoord.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "rasters_support.h"
#include "test_paths.h"
#include "tools_process.h"
#include "tools_rasters.h"

using namespace Orvanetics;
using namespace ToolsTest;
namespace fs = std::filesystem;

namespace {

// 37 x 23, three 16-bit bands, big-endian BIL; pixel (c, r) has its centre at
// (1000.5 + 2c, 2000.25 - 3r).
const RasterFixture kRgb16{37, 23, 3, 2};
const char* kRgb16Header = "ULXMAP 1000.5\nULYMAP 2000.25\nXDIM 2\nYDIM 3\n";
double groundX(double col) { return 1000.5 + 2.0 * col; }
double groundY(double row) { return 2000.25 - 3.0 * row; }

const RasterFixture kRgb8{41, 29, 3, 1};    // RGB, BIP
const RasterFixture kMulti8{19, 17, 5, 1};  // five bands without colours, BSQ

using ReaderPtr = CoreTest::Ref<QVIBBBImageReader>;

ReaderPtr openReader(const std::string& path)
{
    ReaderPtr reader(QVIBBBImageReader::create());
    EXPECT_EQ(reader->initialize(path.c_str(), false), 0u) << path;
    return reader;
}

struct PngImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t channels = 0;
    std::vector<uint8_t> pixels;  // interleaved, as stored
};

bool readPng(const std::string& path, PngImage& png)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return false;
    png.width = image.width;
    png.height = image.height;
    png.channels = PNG_IMAGE_SAMPLE_CHANNELS(image.format);
    png.pixels.resize(PNG_IMAGE_SIZE(image));
    return png_image_finish_read(&image, nullptr, png.pixels.data(), 0, nullptr) != 0;
}

// Band-sequential samples of the formula, interleaved as PNG rows hold them.
std::vector<uint8_t> interleaved(const std::vector<uint8_t>& bsq, uint32_t bands, size_t pixels)
{
    std::vector<uint8_t> result(bsq.size());
    for (size_t p = 0; p < pixels; ++p)
        for (uint32_t b = 0; b < bands; ++b)
            result[p * bands + b] = bsq[b * pixels + p];
    return result;
}

class QvdecodeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        REQUIRE_TOOLS();
        m_dir = TestPaths::tempDir("qvdecode");
        m_rgb16 = m_dir + "/rgb16.bil";
        writeBBB(m_rgb16, kRgb16, "BIL", true, kRgb16Header);
        m_rgb8 = m_dir + "/rgb8.bip";
        writeBBB(m_rgb8, kRgb8, "BIP", false, "COLORSPACE RGB\n");
        m_multi8 = m_dir + "/multi8.bsq";
        writeBBB(m_multi8, kMulti8, "BSQ", false, "");
    }

    std::string out(const std::string& name) const { return m_dir + "/" + name; }

    std::string m_dir;
    std::string m_rgb16;
    std::string m_rgb8;
    std::string m_multi8;
};

TEST_F(QvdecodeTest, RawOutputIsTheSceneOfTheChosenBands)
{
    const std::string output = out("scene.raw");
    const ToolRun run = runTool(QVDECODE_PATH, {m_rgb16, "-o", output, "--layout", "bsq",
                                                "--region", "5,3,20,11", "--bands", "2,0"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(run.err.empty()) << "no progress bar off a terminal: " << run.err;
    const std::vector<uint8_t> written = RastersTest::readBytes(output);
    EXPECT_EQ(written, kRgb16.bsq({2, 0}, 5, 3, 20, 11));

    ReaderPtr reader = openReader(m_rgb16);
    EXPECT_EQ(written, libraryRead(*reader, {2, 0}, QVIScene(5, 3, 20, 11, 1.0)));

    // The world file places the scene's upper-left pixel centre.
    const std::vector<double> world = worldFileValues(output);
    ASSERT_EQ(world.size(), 6u);
    EXPECT_DOUBLE_EQ(world[0], 2.0);
    EXPECT_DOUBLE_EQ(world[3], -3.0);
    EXPECT_DOUBLE_EQ(world[4], groundX(5));
    EXPECT_DOUBLE_EQ(world[5], groundY(3));
}

TEST_F(QvdecodeTest, BBBOutputReadsBackInEachLayoutAndByteOrder)
{
    struct Case {
        const char* name;
        const char* byteOrder;
        const char* headerLayout;
    };
    for (const Case& c : {Case{"out.bil", "big", "LAYOUT BIL"}, Case{"out.bsq", "little", "LAYOUT BSQ"},
                          Case{"out.bip", "host", "LAYOUT BIP"}}) {
        const std::string output = out(c.name);
        const ToolRun run = runTool(QVDECODE_PATH, {m_rgb16, "--output=" + output, "--byte-order",
                                                    c.byteOrder, "-r", "1,2,30,20", "-b", "1,2,0"});
        ASSERT_EQ(run.exitCode, 0) << c.name << ": " << run.err;
        const std::string header = RastersTest::readText(QVFileSpec(output).replaceSuffix("hdr").getPath());
        EXPECT_NE(header.find(c.headerLayout), std::string::npos) << header;
        ReaderPtr back = openReader(output);
        ASSERT_EQ(back->getWidth(), 30u);
        ASSERT_EQ(back->getHeight(), 20u);
        ASSERT_EQ(back->getNumBands(), 3u);
        EXPECT_EQ(libraryRead(*back, {0, 1, 2}, QVIScene(0, 0, 30, 20, 1.0)),
                  kRgb16.bsq({1, 2, 0}, 1, 2, 30, 20))
            << c.name;
        EXPECT_DOUBLE_EQ(back->getGeoCoord().getX(), groundX(1));
        EXPECT_DOUBLE_EQ(back->getGeoCoord().getY(), groundY(2));
    }
}

TEST_F(QvdecodeTest, PngHoldsTheSamplesInTheBandOrderAsked)
{
    for (const std::vector<uint32_t>& bands : {std::vector<uint32_t>{0, 1, 2}, {2, 1, 0}}) {
        const std::string output = out("rgb.png");
        std::vector<std::string> args = {m_rgb8, "-o", output, "-q"};
        if (bands[0] != 0)
            args.insert(args.end(), {"--bands", "2,1,0"});
        const ToolRun run = runTool(QVDECODE_PATH, args);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_TRUE(run.out.empty()) << "quiet: " << run.out;
        PngImage png;
        ASSERT_TRUE(readPng(output, png));
        EXPECT_EQ(png.width, kRgb8.width);
        EXPECT_EQ(png.height, kRgb8.height);
        ASSERT_EQ(png.channels, 3u);
        EXPECT_EQ(png.pixels, interleaved(kRgb8.bsq(bands, 0, 0, kRgb8.width, kRgb8.height), 3,
                                          size_t(kRgb8.width) * kRgb8.height));
    }
}

TEST_F(QvdecodeTest, PngShowsBandsWithoutColoursAsGreyOrRgb)
{
    const std::string rgb = out("false.png");
    ASSERT_EQ(runTool(QVDECODE_PATH, {m_multi8, "-o", rgb, "--bands", "4,0,2"}).exitCode, 0);
    PngImage png;
    ASSERT_TRUE(readPng(rgb, png));
    ASSERT_EQ(png.channels, 3u);
    const size_t pixels = size_t(kMulti8.width) * kMulti8.height;
    EXPECT_EQ(png.pixels, interleaved(kMulti8.bsq({4, 0, 2}, 0, 0, kMulti8.width, kMulti8.height), 3, pixels));

    const std::string grey = out("grey.png");
    ASSERT_EQ(runTool(QVDECODE_PATH, {m_multi8, "-o", grey, "--bands", "3", "-r", "2,3,10,9"}).exitCode, 0);
    ASSERT_TRUE(readPng(grey, png));
    ASSERT_EQ(png.channels, 1u);
    EXPECT_EQ(png.pixels, kMulti8.bsq({3}, 2, 3, 10, 9));

    // Five bands have no PNG form: refused before any file is made.
    const std::string refused = out("five.png");
    const ToolRun run = runTool(QVDECODE_PATH, {m_multi8, "-o", refused});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("qvdecode: unsupported colorspace [50402]"), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(refused));
}

TEST_F(QvdecodeTest, GeographicWindowSelectsThePixelsUnderIt)
{
    const std::string output = out("geo.raw");
    const std::string window = std::to_string(groundX(4)) + "," + std::to_string(groundY(2)) + "," +
                               std::to_string(groundX(13)) + "," + std::to_string(groundY(9));
    ToolRun run = runTool(QVDECODE_PATH, {m_rgb16, "-o", output, "--layout", "bsq", "-g", window});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(RastersTest::readBytes(output), kRgb16.bsq({0, 1, 2}, 4, 2, 10, 8));

    // A window that overhangs the image is clipped to it.
    const std::string overhang = std::to_string(groundX(-6)) + "," + std::to_string(groundY(20)) +
                                 "," + std::to_string(groundX(50)) + "," + std::to_string(groundY(30));
    run = runTool(QVDECODE_PATH, {m_rgb16, "-o", output, "--layout", "bsq", "--bands", "1",
                                  "--geo-region", overhang});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(RastersTest::readBytes(output), kRgb16.bsq({1}, 0, 20, 37, 3));

    // One wholly outside leaves nothing to decode.
    const std::string outside = std::to_string(groundX(100)) + "," + std::to_string(groundY(0)) + "," +
                                std::to_string(groundX(110)) + "," + std::to_string(groundY(5));
    run = runTool(QVDECODE_PATH, {m_rgb16, "-o", out("none.raw"), "-g", outside});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("invalid or empty scene specified [50013]"), std::string::npos) << run.err;
}

TEST_F(QvdecodeTest, StripHeightAndThreadsLeaveThePixelsAlone)
{
    const std::vector<uint8_t> expected = kRgb16.bsq({0, 1, 2}, 0, 0, kRgb16.width, kRgb16.height);
    for (const char* stripHeight : {"1", "7", "64"}) {
        const std::string output = out("strips.raw");
        const ToolRun run = runTool(QVDECODE_PATH, {m_rgb16, "-o", output, "--layout", "bsq",
                                                    "--strip-height", stripHeight, "--threads", "1"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(RastersTest::readBytes(output), expected) << stripHeight;
    }
}

TEST_F(QvdecodeTest, RefusalsPrintTheLibrarysTextAndLeaveNoFile)
{
    const std::string junk = out("junk.dat");
    std::ofstream(junk) << "no image here";
    struct Case {
        std::vector<std::string> args;
        std::string expected;
    };
    const Case cases[] = {
        {{m_rgb16, "--region", "30,0,10,5"}, "specified scene out of range of image [50014]"},
        {{m_rgb16, "--region", "0,0,37,24"}, "specified scene out of range of image [50014]"},
        {{m_rgb16, "--region", "0,0,0,5"}, "invalid or empty scene specified [50013]"},
        {{m_rgb16, "--bands", "1,x"}, "bad format or syntax error of band string [50230]"},
        {{m_rgb16, "--bands", "1,,2"}, "bad format or syntax error of band string [50230]"},
        {{m_rgb16, "--bands", "0,3"}, "illegal band number [50231] (band 3 of an image with 3 bands)"},
        {{m_rgb16, "--mag", "0.5"}, "scene magnification out of range [50015]"},
        {{m_rgb16, "--mag", "0.75"}, "scene magnification out of range [50015]"},
        {{m_rgb16, "--image", "1"}, "bad function parameter [3]"},
        {{junk}, "unsupported image format [7003]"},
        {{out("missing.bil")}, "error opening file [50004]"},
    };
    const std::string output = out("never.bil");
    for (const Case& c : cases) {
        std::vector<std::string> args = c.args;
        args.insert(args.end(), {"-o", output});
        const ToolRun run = runTool(QVDECODE_PATH, args);
        EXPECT_EQ(run.exitCode, 1) << c.expected;
        EXPECT_NE(run.err.find("qvdecode: " + c.expected), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(output)) << c.expected;
        EXPECT_FALSE(fs::exists(out("never.hdr"))) << c.expected;
        EXPECT_FALSE(fs::exists(out("never.blw"))) << c.expected;
    }

    // An output that was there before a refusal stays.
    std::ofstream(output) << "keep";
    EXPECT_EQ(runTool(QVDECODE_PATH, {m_rgb16, "-r", "40,0,1,1", "-o", output}).exitCode, 1);
    EXPECT_EQ(RastersTest::readText(output), "keep");
}

TEST_F(QvdecodeTest, BadArgumentsPrintTheUsage)
{
    const std::vector<std::vector<std::string>> commandLines = {
        {m_rgb16},
        {"-o", out("a.png")},
        {m_rgb16, "-o", out("a.tif")},
        {m_rgb16, "-o", out("a.png"), "--format", "gif"},
        {m_rgb16, "-o", out("a.raw"), "--layout", "bsx"},
        {m_rgb16, "-o", out("a.raw"), "--byte-order", "middle"},
        {m_rgb16, "-o", out("a.png"), "--mag", "0"},
        {m_rgb16, "-o", out("a.png"), "--mag", "half"},
        {m_rgb16, "-o", out("a.png"), "--region", "1,2,3"},
        {m_rgb16, "-o", out("a.png"), "--region", "1,2,3,4", "--geo-region", "1,2,3,4"},
        {m_rgb16, "-o", out("a.png"), "--strip-height", "0"},
        {m_rgb16, "-o", out("a.png"), "--threads", "-2"},
        {m_rgb16, "-o", out("a.png"), "--colour"},
    };
    for (const auto& args : commandLines) {
        const ToolRun run = runTool(QVDECODE_PATH, args);
        EXPECT_EQ(run.exitCode, 2) << args.back();
        EXPECT_NE(run.err.find("usage: qvdecode"), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(out("a.png")));
    }
    // The format option outranks the suffix.
    const ToolRun run = runTool(QVDECODE_PATH, {m_rgb16, "-o", out("a.tif"), "--format", "raw"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(RastersTest::readBytes(out("a.tif")).size(), size_t(37) * 23 * 3 * 2);
}

TEST_F(QvdecodeTest, CtrlCStopsTheDecodeAndRemovesThePartialFile)
{
    // Big enough that the PNG takes a while strip by strip.
    const RasterFixture big{3000, 3000, 1, 1};
    const std::string input = out("big.bil");
    writeBBB(input, big, "BIL", false, "ULXMAP 0\nULYMAP 0\nXDIM 1\nYDIM 1\n");
    const std::string output = out("big.png");
    const std::string runDir = TestPaths::tempDir("qvdecode_interrupt");
    const pid_t pid = startTool(QVDECODE_PATH, {input, "-o", output, "--strip-height", "1"}, runDir);
    ASSERT_GT(pid, 0);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!fs::exists(output) && isRunning(pid) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(pid, SIGINT);
    const ToolRun run = waitTool(pid, runDir);
    if (run.exitCode == 0)
        GTEST_SKIP() << "the decode ended before the signal came";
    EXPECT_EQ(run.exitCode, 130) << run.err;
    EXPECT_NE(run.err.find("qvdecode: decode operation interrupted [51501]"), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(output));
    EXPECT_FALSE(fs::exists(out("big.pgw")));
}

TEST_F(QvdecodeTest, HelpIsAManualPage)
{
    const ToolRun run = runTool(QVDECODE_PATH, {"-h"});
    EXPECT_EQ(run.exitCode, 0);
    for (const char* part : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "--geo-region",
                             "--bands", "--strip-height", "--threads"})
        EXPECT_NE(run.out.find(part), std::string::npos) << part;
}

}  // namespace
