// qvinfo run as a process: what it prints about a file, as text and as JSON,
// agrees with the header it was written from and with the reader's own view;
// refusals print the library's status text and exit non-zero.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "core_testReader.h"
#include "qvi_bbbImageReader.h"
#include "qvi_geoCoord.h"
#include "qvi_pixel.h"
#include "test_paths.h"
#include "tools_process.h"
#include "tools_rasters.h"

using namespace Orvanetics;
using namespace ToolsTest;

namespace {

// 37 x 23, three 16-bit bands, big-endian BIL with georeference, no-data
// values per band and a dynamic range of 3990 (12 bits).
const RasterFixture kRgb16{37, 23, 3, 2};
const char* kRgb16Header =
    "COLORSPACE RGB\nULXMAP 1000.5\nULYMAP 2000.25\nXDIM 2\nYDIM 3\n"
    "NODATA 7 8 9\nDYNAMICRANGEMIN 10\nDYNAMICRANGEMAX 4000\n";

using ReaderPtr = CoreTest::Ref<QVIBBBImageReader>;

ReaderPtr openReader(const std::string& path)
{
    ReaderPtr reader(QVIBBBImageReader::create());
    EXPECT_EQ(reader->initialize(path.c_str(), true), 0u) << path;
    return reader;
}

// The value after "Label:" on its line of the text form.
std::string textField(const std::string& out, const std::string& label)
{
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind(label, 0) == 0) {
            const size_t start = line.find_first_not_of(' ', label.size());
            return start == std::string::npos ? "" : line.substr(start);
        }
    }
    return "<no " + label + " line>";
}

double number(const std::map<std::string, std::string>& flat, const std::string& key)
{
    auto found = flat.find(key);
    EXPECT_NE(found, flat.end()) << key;
    return found == flat.end() ? NAN : std::strtod(found->second.c_str(), nullptr);
}

std::string field(const std::map<std::string, std::string>& flat, const std::string& key)
{
    auto found = flat.find(key);
    return found == flat.end() ? "<absent>" : found->second;
}

class QvinfoTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        REQUIRE_TOOLS();
        m_dir = TestPaths::tempDir("qvinfo");
    }

    std::string fixture(const std::string& name, const RasterFixture& raster, const char* layout,
                        const std::string& extraHeader)
    {
        const std::string path = m_dir + "/" + name;
        writeBBB(path, raster, layout, true, extraHeader);
        return path;
    }

    std::string file(const std::string& name, const std::string& bytes)
    {
        const std::string path = m_dir + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    std::string m_dir;
};

TEST_F(QvinfoTest, TextTellsTheHeadersValues)
{
    const std::string path = fixture("rgb16.bil", kRgb16, "BIL", kRgb16Header);
    const ToolRun run = runTool(QVINFO_PATH, {path});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::pair<const char*, const char*> lines[] = {
        {"Format:", "BBB"}, {"Images:", "1"}, {"Width:", "37"}, {"Height:", "23"}, {"Bands:", "3"},
        {"Data type:", "UINT16"}, {"Colour space:", "RGB"}, {"Bits per sample:", "12, 12, 12"}, {"Levels:", "0"},
        {"Magnification:", "1 to 1"}, {"Background pixel:", "none"}, {"No-data pixel:", "7, 8, 9"},
        {"Dynamic range:", "10, 10, 10 to 4000, 4000, 4000"},
        {"Georeference:", "1000.5, 2000.25 (upper-left pixel centre)"}, {"Resolution:", "2, -3"}, {"WKT:", "none"}};
    for (const auto& [label, value] : lines)
        EXPECT_EQ(textField(run.out, label), value);
    // The metadata dump names the input.
    EXPECT_NE(run.out.find("IMAGE::INPUT_NAME"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(path), std::string::npos);
    EXPECT_TRUE(run.err.empty()) << run.err;
}

TEST_F(QvinfoTest, JsonParsesAndAgreesWithTheReader)
{
    if (!hasPython3())
        GTEST_SKIP() << "python3 is not on PATH";
    const std::string path = fixture("rgb16.bil", kRgb16, "BIL", kRgb16Header);
    const ToolRun run = runTool(QVINFO_PATH, {"--json", path});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::map<std::string, std::string> flat;
    ASSERT_TRUE(flattenJson(run.out, flat)) << run.out;

    // What the header says, independently of the library.
    const std::pair<std::string, std::string> fields[] = {
        {"format", "\"BBB\""}, {"generation", "null"}, {"file", "\"" + path + "\""}, {"images", "1"},
        {"width", "37"}, {"height", "23"}, {"bands", "3"}, {"dataType", "\"UINT16\""}, {"colorSpace", "\"RGB\""},
        {"backgroundPixel", "null"}, {"dynamicRange.natural", "false"}, {"georeference.implicit", "false"},
        {"georeference.wkt", "null"}, {"metadata[0].key", "\"IMAGE::INPUT_NAME\""},
        {"metadata[0].values[0]", "\"" + path + "\""}};
    for (const auto& [key, value] : fields)
        EXPECT_EQ(field(flat, key), value) << key;
    EXPECT_EQ(number(flat, "georeference.x"), 1000.5);
    EXPECT_EQ(number(flat, "georeference.y"), 2000.25);
    EXPECT_EQ(number(flat, "georeference.xRes"), 2.0);
    EXPECT_EQ(number(flat, "georeference.yRes"), -3.0);

    // And what the reader answers, band by band.
    ReaderPtr reader = openReader(path);
    EXPECT_EQ(number(flat, "minMagnification"), reader->getMinMagnification());
    EXPECT_EQ(number(flat, "maxMagnification"), reader->getMaxMagnification());
    EXPECT_EQ(number(flat, "georeference.xRot"), reader->getGeoCoord().getXRot());
    EXPECT_EQ(number(flat, "georeference.yRot"), reader->getGeoCoord().getYRot());
    const double noData[] = {7, 8, 9};
    for (uint16_t band = 0; band < 3; ++band) {
        const std::string b = "[" + std::to_string(band) + "]";
        EXPECT_EQ(number(flat, "noDataPixel" + b), noData[band]);
        EXPECT_EQ(number(flat, "noDataPixel" + b), reader->getNoDataPixel()->getSample(band).getValueAsDouble());
        EXPECT_EQ(number(flat, "dynamicRange.min" + b), 10);
        EXPECT_EQ(number(flat, "dynamicRange.max" + b), 4000);
        EXPECT_EQ(number(flat, "dynamicRange.max" + b),
                  reader->getMaxDynamicRange().getSample(band).getValueAsDouble());
        EXPECT_EQ(number(flat, "bitsPerSample" + b), 12);
        EXPECT_EQ(number(flat, "bitsPerSample" + b), reader->getPixelProps().getSample(band).getPrecision());
    }
}

TEST_F(QvinfoTest, JsonEscapesTextAndKeepsEveryRecord)
{
    if (!hasPython3())
        GTEST_SKIP() << "python3 is not on PATH";
    // A WKT with quotes and the projection keywords, which become records.
    const std::string path = fixture("grid.bsq", RasterFixture{5, 4, 1, 1}, "BSQ",
                                     "ULXMAP 1\nULYMAP 2\nWKT GEOGCS[\"WGS 84\",DATUM[\"x\\y\"]]\n"
                                     "PROJECTION_ZONE 18\n");
    const ToolRun run = runTool(QVINFO_PATH, {"-j", path});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::map<std::string, std::string> flat;
    ASSERT_TRUE(flattenJson(run.out, flat)) << run.out;
    EXPECT_EQ(field(flat, "georeference.wkt"), "\"GEOGCS[\\\"WGS 84\\\",DATUM[\\\"x\\\\y\\\"]]\"");

    ReaderPtr reader = openReader(path);
    const uint32_t records = reader->getMetadata().getIndexCount();
    ASSERT_GE(records, 2u);
    EXPECT_EQ(flat.count("metadata[" + std::to_string(records - 1) + "].key"), 1u);
    EXPECT_EQ(flat.count("metadata[" + std::to_string(records) + "].key"), 0u);
}

TEST_F(QvinfoTest, RefusalsPrintTheLibrarysTextAndExitOne)
{
    struct Case {
        std::string path;
        std::string expected;
    };
    const Case cases[] = {
        {m_dir + "/missing.bil", "error opening file [50004]"},
        {file("junk.dat", "just some text, no image"), "unsupported image format [7003]"},
        {file("picture.jp2", std::string("\0\0\0\x0CjP  \r\n\x87\n", 12) + "rest"),
         "requested operation not supported [50002] (JPEG 2000"},
        {file("stream.j2c", "\xFF\x4F\xFF\x51 rest"), "requested operation not supported [50002] (JPEG 2000"},
        {file("image.ntf", "NITF02.10 rest of a header"), "requested operation not supported [50002] (NITF"},
        {fixture("badheader.bil", RasterFixture{4, 4, 1, 1}, "BIL", "FOO 1\n"),
         "invalid BBB header format [50109]"},
    };
    for (const Case& c : cases) {
        const ToolRun run = runTool(QVINFO_PATH, {c.path});
        EXPECT_EQ(run.exitCode, 1) << c.path;
        EXPECT_NE(run.err.find("qvinfo: " + c.expected), std::string::npos) << c.path << ": " << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }
}

TEST_F(QvinfoTest, ImageNumberBeyondTheFileIsRefused)
{
    const std::string path = fixture("one.bsq", RasterFixture{5, 4, 1, 1}, "BSQ", "");
    EXPECT_EQ(runTool(QVINFO_PATH, {"--image", "0", path}).exitCode, 0);
    const ToolRun run = runTool(QVINFO_PATH, {"--image=1", path});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("bad function parameter [3] (image 1 of a file with 1 image)"), std::string::npos)
        << run.err;
}

TEST_F(QvinfoTest, BadArgumentsPrintTheUsage)
{
    const std::vector<std::vector<std::string>> commandLines = {
        {}, {"a.bil", "b.bil"}, {"--bogus", "a.bil"}, {"--image"}, {"--image", "x", "a.bil"},
        {"--json=yes", "a.bil"}};
    for (const auto& args : commandLines) {
        const ToolRun run = runTool(QVINFO_PATH, args);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.err.find("usage: qvinfo"), std::string::npos) << run.err;
    }
}

TEST_F(QvinfoTest, HelpIsAManualPage)
{
    const ToolRun run = runTool(QVINFO_PATH, {"--help"});
    EXPECT_EQ(run.exitCode, 0);
    for (const char* part : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "--json", "--image"})
        EXPECT_NE(run.out.find(part), std::string::npos) << part;
}

}  // namespace
