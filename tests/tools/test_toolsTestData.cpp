// The tools on raster files made by other software, with GDAL's decode as
// the oracle: qvdecode writes GDAL's pixels and its georeference (moved to
// pixel centres).
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "rasters_support.h"
#include "test_paths.h"
#include "tools_process.h"
#include "tools_rasters.h"

using namespace Orvanetics;
using namespace ToolsTest;

namespace {

const char* const kDecodable[] = {"ehdr10.bil",          "ehdr11.flt",        "gen_f32_xll.flt",
                                  "gen_nbits1.bil",      "gen_rgb8_bsq_skip64.bsq",
                                  "gen_rgba8_bip.bip",   "gen_u16_lower_nodata.bil",
                                  "gen_u16x4_msb.bil",   "gen_u8_minimal.bil"};

std::string rawFile(const std::string& name)
{
    return TestPaths::testDataDir() + "/raw/" + name;
}

std::string oracleBase(const std::string& name)
{
    return TestPaths::testDataDir() + "/oracle/raw/" + name;
}

// Within the precision the world file is written with.
void expectNear(double actual, double expected, const std::string& what)
{
    EXPECT_NEAR(actual, expected, 1e-9 * std::max(1.0, std::fabs(expected))) << what;
}

class ToolsTestData : public ::testing::Test {
protected:
    void SetUp() override
    {
        REQUIRE_TOOLS();
        REQUIRE_TESTDATA();
        m_dir = TestPaths::tempDir("tools_testdata");
    }
    std::string m_dir;
};

TEST_F(ToolsTestData, DecodeWritesGdalsPixelsAndGeoreference)
{
    for (const char* name : kDecodable) {
        RastersTest::GdalImage oracle;
        ASSERT_TRUE(RastersTest::readOracle(oracleBase(name), oracle)) << name;
        const std::string output = m_dir + "/" + name + ".raw";
        const ToolRun run = runTool(QVDECODE_PATH, {rawFile(name), "-o", output, "--layout", "bsq", "-q"});
        ASSERT_EQ(run.exitCode, 0) << name << ": " << run.err;
        EXPECT_TRUE(RastersTest::readBytes(output) == oracle.bsq) << name;

        std::array<double, 6> transform{};
        if (!RastersTest::parseGeoTransform(RastersTest::readText(oracleBase(name) + ".json"), transform))
            continue;
        const std::vector<double> world = worldFileValues(output);
        ASSERT_EQ(world.size(), 6u) << name;
        // GDAL's origin is the pixel's outer corner; a world file names its centre.
        expectNear(world[0], transform[1], name);
        expectNear(world[3], transform[5], name);
        expectNear(world[4], transform[0] + transform[1] / 2 + transform[2] / 2, name);
        expectNear(world[5], transform[3] + transform[4] / 2 + transform[5] / 2, name);
    }
}

TEST_F(ToolsTestData, RegionOfAFileIsThatPartOfGdalsPixels)
{
    const char* name = "gen_u16x4_msb.bil";
    RastersTest::GdalImage oracle;
    ASSERT_TRUE(RastersTest::readOracle(oracleBase(name), oracle));
    const uint32_t col0 = 17, row0 = 31, cols = 50, rows = 40;
    const std::vector<uint32_t> bands = {3, 1};
    const std::string output = m_dir + "/part.raw";
    const ToolRun run = runTool(QVDECODE_PATH, {rawFile(name), "-o", output, "--layout", "bsq", "--region",
                                                "17,31,50,40", "--bands", "3,1"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::vector<uint8_t> expected;
    for (uint32_t band : bands)
        for (uint32_t row = row0; row < row0 + rows; ++row) {
            const uint8_t* first = oracle.sample(band, row, col0);
            expected.insert(expected.end(), first, first + size_t(cols) * oracle.sampleBytes);
        }
    EXPECT_TRUE(RastersTest::readBytes(output) == expected);
}

}  // namespace
