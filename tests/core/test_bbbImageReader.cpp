// The BBB reader's set-up from a header: layout by suffix, georeferencing
// anchors, precision from the range, no-data, projection records, world file.
#include <gtest/gtest.h>

#include <cmath>

#include "qvi_bbbImageReader.h"
#include "qvi_geoCoord.h"
#include "qvi_metadataAcc.h"
#include "qvi_pixel.h"
#include "rasters_support.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace RastersTest;

namespace {

class BBBReader : public ::testing::Test {
protected:
    // A data file of the right size for the header, and the header beside it.
    QVStatus open(const std::string& name, const std::string& header, size_t dataBytes,
                  bool useWorldFile = false)
    {
        const std::string path = dir + "/" + name;
        writeBytes(path, std::vector<uint8_t>(dataBytes, 7));
        writeText(path.substr(0, path.rfind('.')) + ".hdr", header);
        if (reader)
            reader->release();
        reader = QVIBBBImageReader::create();
        return reader->initialize(path.c_str(), useWorldFile);
    }

    void TearDown() override
    {
        if (reader)
            reader->release();
    }

    std::string dir = TestPaths::tempDir("bbb_reader");
    QVIBBBImageReader* reader = nullptr;
};

}  // namespace

TEST_F(BBBReader, LayoutComesFromTheSuffixWhenTheHeaderHasNone)
{
    const struct {
        const char* name;
        QVILayout layout;
    } cases[] = {{"a.bil", QVI_LAYOUT_BIL}, {"b.BSQ", QVI_LAYOUT_BSQ}, {"c.bip", QVI_LAYOUT_BIP},
                 {"d.dat", QVI_LAYOUT_BIP}, {"e.Bil", QVI_LAYOUT_BIL}};
    for (const auto& c : cases) {
        ASSERT_EQ(open(c.name, "NROWS 10\nNCOLS 20\n", 200), 0u) << c.name;
        EXPECT_EQ(reader->getLayout(), c.layout) << c.name;
    }
    ASSERT_EQ(open("f.bil", "NROWS 10\nNCOLS 20\nLAYOUT BSQ\n", 200), 0u);
    EXPECT_EQ(reader->getLayout(), QVI_LAYOUT_BSQ);
}

TEST_F(BBBReader, BadHeadersAndSizesGiveTheirStatus)
{
    EXPECT_EQ(open("a.bil", "NROWS 10\nNCOLS 20\nFOO 1\n", 200), 50109u);
    EXPECT_EQ(open("d.bil", "NROWS 10\nNCOLS 20\n", 201), 50025u);
    EXPECT_EQ(open("e.bil", "NROWS 10\nNCOLS 20\nSKIPBYTES 8\n", 208), 0u);
    EXPECT_EQ(open("f.bil", "NROWS 10\nNCOLS 20\nNODATA 300\n", 200), 50117u)
        << "a no-data value the samples can't hold";
    reader->release();
    reader = QVIBBBImageReader::create();
    EXPECT_EQ(reader->initialize((dir + "/missing.bil").c_str(), false), 50004u);
}

TEST_F(BBBReader, LowerLeftCornerIsTheOuterEdgeOfTheLowerLeftPixel)
{
    ASSERT_EQ(open("grid.flt", "ncols 4\nnrows 3\nxllcorner 100\nyllcorner 200\ncellsize 10\n", 48),
              0u);
    EXPECT_EQ(reader->getDataType(), QVI_DATATYPE_FLOAT32);
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(105.0, 225.0, 10.0, -10.0, 0.0, 0.0));

    ASSERT_EQ(open("centre.flt", "ncols 4\nnrows 3\nxllcenter 100\nyllcenter 200\ncellsize 10\n", 48),
              0u);
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(100.0, 220.0, 10.0, -10.0, 0.0, 0.0));

    ASSERT_EQ(open("map.bil", "NROWS 3\nNCOLS 4\nULXMAP 7\nULYMAP 9\nXDIM 2\nYDIM 3\nCELLSIZE 5\n"
                              "WKT LOCAL_CS[\"here\"]\n", 12),
              0u);
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(7.0, 9.0, 2.0, -3.0, 0.0, 0.0, "LOCAL_CS[\"here\"]"));
    EXPECT_FALSE(reader->isGeoCoordImplicit());

    ASSERT_EQ(open("none.bil", "NROWS 3\nNCOLS 4\nXDIM 2\n", 12), 0u);
    EXPECT_TRUE(reader->isGeoCoordImplicit()) << "resolutions alone place nothing";
}

TEST_F(BBBReader, WorldFileOutranksTheHeaderAndKeepsItsWKT)
{
    writeText(dir + "/geo.blw", "0.5\n0\n0\n-0.5\n1000\n2000\n");
    const std::string header = "NROWS 3\nNCOLS 4\nULXMAP 7\nULYMAP 9\nWKT LOCAL_CS[\"here\"]\n";
    ASSERT_EQ(open("geo.bil", header, 12, true), 0u);
    EXPECT_EQ(reader->getGeoCoord(),
              QVIGeoCoord(1000.0, 2000.0, 0.5, -0.5, 0.0, 0.0, "LOCAL_CS[\"here\"]"));
    ASSERT_EQ(open("geo.bil", header, 12, false), 0u);
    EXPECT_EQ(reader->getGeoCoord().getX(), 7.0);
}

TEST_F(BBBReader, RangePrecisionAndNoDataGoToThePixels)
{
    ASSERT_EQ(open("range.bil", "NROWS 2\nNCOLS 2\nNBANDS 3\nDATATYPE U16\nDYNAMICRANGEMIN 0\n"
                                "DYNAMICRANGEMAX 1023\nNODATA 1 2\nBYTEORDER M\n", 24),
              0u);
    for (uint16_t band = 0; band < 3; ++band) {
        EXPECT_EQ(reader->getPixelProps().getSample(band).getPrecision(), 10u);
        EXPECT_EQ(reader->getMaxDynamicRange().getSampleValueUint16(band), 1023);
    }
    ASSERT_NE(reader->getNoDataPixel(), nullptr);
    EXPECT_EQ(reader->getNoDataPixel()->getSampleValueUint16(0), 1);
    EXPECT_EQ(reader->getNoDataPixel()->getSampleValueUint16(2), 2) << "the last value repeats";
    EXPECT_EQ(reader->getByteOrder(), QVI_ENDIAN_BIG);

    ASSERT_EQ(open("bits.bil", "NROWS 2\nNCOLS 2\nNBITS 12\n", 8), 0u);
    EXPECT_EQ(reader->getDataType(), QVI_DATATYPE_UINT16);
    EXPECT_EQ(reader->getPixelProps().getSample(0).getPrecision(), 12u);
    EXPECT_EQ(reader->getMaxDynamicRange().getSampleValueUint16(0), 4095);

    ASSERT_EQ(open("float.bil", "NROWS 2\nNCOLS 2\nDATATYPE F32\nDYNAMICRANGEMIN -5\n"
                                "DYNAMICRANGEMAX 5\n", 16),
              0u);
    EXPECT_EQ(reader->getMinDynamicRange().getSampleValueFloat32(0), -5.0f);
    EXPECT_EQ(reader->getPixelProps().getSample(0).getPrecision(), 32u);
}

TEST_F(BBBReader, ProjectionKeywordsBecomeRecords)
{
    ASSERT_EQ(open("proj.bil", "NROWS 1\nNCOLS 1\nMAP_UNITS METERS\nPROJECTION_NAME UTM\n"
                               "PROJECTION_ZONE 33\nSPHEROID_NAME WGS84\nSEMI_MAJOR_AXIS 6378137\n"
                               "PROJECTION_PARAMETERS 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n", 1),
              0u);
    const QVIMetadataAcc metadata(reader->getMetadata());
    const char* name = nullptr;
    int32_t zone = 0;
    double axis = 0;
    const double* parameters = nullptr;
    unsigned count = 0;
    ASSERT_EQ(metadata.get_string(QVI_METADATA_TAG_IMG_PROJECTION_NAME, name), 0u);
    EXPECT_STREQ(name, "UTM");
    EXPECT_TRUE(reader->getMetadata().has(QVI_METADATA_TAG_IMG_HORIZONTAL_UNITS));
    ASSERT_EQ(metadata.get_sint32(QVI_METADATA_TAG_IMG_PROJECTION_ZONE, zone), 0u);
    EXPECT_EQ(zone, 33);
    ASSERT_EQ(metadata.get_double(QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MAJOR_AXIS, axis), 0u);
    EXPECT_EQ(axis, 6378137.0);
    ASSERT_EQ(metadata.get_double(QVI_METADATA_TAG_IMG_PROJECTION_PARAMETERS, parameters, count), 0u);
    ASSERT_EQ(count, 15u);
    EXPECT_EQ(parameters[14], 15.0);
    EXPECT_FALSE(reader->getMetadata().has(QVI_METADATA_TAG_IMG_SPHEROID_RADIUS));
}
