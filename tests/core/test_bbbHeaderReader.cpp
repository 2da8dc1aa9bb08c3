// The BBB header keywords, their value forms and the completion rules.
#include <gtest/gtest.h>

#include "qvi_bbbHeaderReader.h"
#include "qvi_utils.h"

using namespace Orvanetics;

TEST(BBBHeader, RowsAndColumnsAloneGiveOneGreyByteBand)
{
    QVIBBBHeaderReader header;
    ASSERT_EQ(header.readText("NROWS 10\nNCOLS 20\n"), 0u);
    EXPECT_EQ(header.getNumBands(), 1);
    EXPECT_EQ(header.getDataType(), QVI_DATATYPE_UINT8);
    EXPECT_EQ(header.getColorSpace(), QVI_COLORSPACE_GRAYSCALE);
    EXPECT_EQ(header.getLayout(), QVILayout(0)) << "unset: the data file's suffix decides";
    EXPECT_EQ(header.getByteOrder(), QVI_ENDIAN_HOST);
    EXPECT_EQ(header.getBandRowBytes(), 20);
    EXPECT_EQ(header.getTotalRowBytes(), 20);
    EXPECT_EQ(header.getSkipBytes(), -1);
    EXPECT_FALSE(header.getDynamicRangeMin());
    EXPECT_FALSE(header.getULXMap());
}

TEST(BBBHeader, CommentsBlankLinesColonsAndCaseAreAccepted)
{
    QVIBBBHeaderReader header;
    ASSERT_EQ(header.readText("# a comment\n\n   \n#NROWS 99\nnrows: 7\r\nNCols\t8\nnbands 3\n"
                            "Layout bsq\nbyteorder lsbfirst\n"),
              0u);
    EXPECT_EQ(header.getNumRows(), 7);
    EXPECT_EQ(header.getNumCols(), 8);
    EXPECT_EQ(header.getColorSpace(), QVI_COLORSPACE_RGB);
    EXPECT_EQ(header.getLayout(), QVI_LAYOUT_BSQ);
    EXPECT_EQ(header.getByteOrder(), QVI_ENDIAN_LITTLE);
    EXPECT_EQ(header.getTotalRowBytes(), 24);
    // A layout that does not apply is pixel-interleaved for one band.
    ASSERT_EQ(header.readText("NROWS 10\nNCOLS 20\nLAYOUT NA\n"), 0u);
    EXPECT_EQ(header.getLayout(), QVI_LAYOUT_BIP);
}

TEST(BBBHeader, BadHeadersGiveTheirStatus)
{
    const struct {
        const char* text;
        QVStatus status;
    } cases[] = {
        {"NROWS 10\nNCOLS 20\nPIXELTYPE FLOAT\n", 50109},
        {"ENVI\nsamples = 3\n", 50109},
        {"NCOLS 20\n", 50108},
        {"NROWS 10\n", 50107},
        {"NBANDS 2\n", 50107},
        {"NROWS 10\nNCOLS 20\nNBANDS 2\nLAYOUT NA\n", 50104},
        {"NROWS 10\nNCOLS 20\nLAYOUT ROWS\n", 50104},
        {"NROWS 10\nNCOLS 20\nBYTEORDER X\n", 50105},
        {"NROWS 10\nNCOLS 20\nDATATYPE U64\n", 50102},
        {"NROWS 10\nNCOLS 20\nWORDLENGTH 4\n", 50102},
        {"NROWS 10\nNCOLS 20\nCOLORSPACE HSV\n", 50111},
        {"NROWS 10\nNCOLS 20\nCOLORSPACE MULTISPECTRALA_PM\n", 50111},
        {"NROWS ten\nNCOLS 20\n", 50006},
        {"NROWS 10.5\nNCOLS 20\n", 50006},
        {"NROWS\nNCOLS 20\n", 50006},
        {"NROWS 10\nNCOLS 20\nULXMAP 1e\n", 50006},
        {"NROWS 0\nNCOLS 20\n", 50100},
        {"NROWS 10\nNCOLS 20\nNBANDS 70000\n", 50103},
    };
    for (const auto& c : cases) {
        QVIBBBHeaderReader header;
        EXPECT_EQ(header.readText(c.text), c.status) << c.text;
    }
}

TEST(BBBHeader, DataTypeFollowsNBitsWordLengthOrDataType)
{
    const struct {
        const char* lines;
        QVIDataType type;
    } cases[] = {
        {"NBITS 8\n", QVI_DATATYPE_UINT8},   {"NBITS 12\n", QVI_DATATYPE_UINT16},
        {"NBITS 32\n", QVI_DATATYPE_UINT16}, {"WORDLENGTH 2\n", QVI_DATATYPE_UINT16},
        {"DATATYPE s8\n", QVI_DATATYPE_SINT8}, {"DATATYPE S32\n", QVI_DATATYPE_SINT32},
        {"DATATYPE F64\n", QVI_DATATYPE_FLOAT64}, {"DATATYPE U32\n", QVI_DATATYPE_UINT32},
    };
    for (const auto& c : cases) {
        QVIBBBHeaderReader header;
        ASSERT_EQ(header.readText(std::string("NROWS 1\nNCOLS 1\n") + c.lines), 0u) << c.lines;
        EXPECT_EQ(header.getDataType(), c.type) << c.lines;
    }
}

TEST(BBBHeader, RangeComesFromNBitsOrWindowAndLevelOnlyWithoutAGivenOne)
{
    QVIBBBHeaderReader header;
    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nNBITS 12\n"), 0u);
    EXPECT_EQ(header.getDynamicRangeMin().value_or(-1), 0.0);
    EXPECT_EQ(header.getDynamicRangeMax().value_or(-1), 4095.0);

    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nNBITS 12\nDYNAMICRANGEMAX 100\n"), 0u);
    EXPECT_FALSE(header.getDynamicRangeMin());
    EXPECT_EQ(header.getDynamicRangeMax().value_or(-1), 100.0);

    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nNBITS 12\nDATATYPE S16\n"), 0u);
    EXPECT_FALSE(header.getDynamicRangeMax()) << "only unsigned 8- and 16-bit samples";

    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nDYNAMICRANGEWINDOW 100\nDYNAMICRANGELEVEL 60\n"),
              0u);
    // min = (2 level - window + 1) / 2, max = min + window - 1
    EXPECT_EQ(header.getDynamicRangeMin().value_or(-1), 10.5);
    EXPECT_EQ(header.getDynamicRangeMax().value_or(-1), 109.5);
}

TEST(BBBHeader, LowerLeftAnchorsMakeASingleBandFloatGrid)
{
    QVIBBBHeaderReader header;
    ASSERT_EQ(header.readText("ncols 321\nnrows 2\ncellsize 2500\nxllcorner -1.5\n"
                            "yllcorner 2.5\nbyteorder msbfirst\n"),
              0u);
    EXPECT_EQ(header.getNumBands(), 1);
    EXPECT_EQ(header.getDataType(), QVI_DATATYPE_FLOAT32);
    EXPECT_EQ(header.getByteOrder(), QVI_ENDIAN_BIG);
    EXPECT_EQ(header.getCellSize(), 2500.0);
    EXPECT_EQ(header.getXLLCorner().value_or(0), -1.5);

    ASSERT_EQ(header.readText("NBANDS 3\nDATATYPE U16\nXLLCENTER 1\nYLLCENTER 2\nNROWS 1\nNCOLS 1\n"),
              0u);
    EXPECT_EQ(header.getNumBands(), 3) << "only unset values are assumed";
    EXPECT_EQ(header.getDataType(), QVI_DATATYPE_UINT16);
}

TEST(BBBHeader, ProjectionWKTAndNoDataValues)
{
    QVIBBBHeaderReader header;
    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nMAP_UNITS meters\nPROJECTION_NAME Transverse Mercator\n"
                            "PROJECTION_ZONE 18\nSPHEROID_NAME WGS 84\nSEMI_MAJOR_AXIS 6378137\n"
                            "SEMI_MINOR_AXIS 6356752.3\nE_SQUARED 0.00669\nRADIUS 6371000\n"
                            "PROJECTION_PARAMETERS 1 2 3\n4 5\n6 7 8 9 10 11 12 13 14 15\n"
                            "WKT PROJCS[\"x\", UNIT[\"m\",1]]  \nNODATA 1 2.5 -3\n"),
              0u);
    EXPECT_EQ(header.getMapUnits().value_or(""), "meters");
    EXPECT_EQ(header.getProjectionName().value_or(""), "Transverse Mercator");
    EXPECT_EQ(header.getProjectionZone().value_or(0), 18);
    EXPECT_EQ(header.getSpheroidName().value_or(""), "WGS 84");
    EXPECT_EQ(header.getSemiMajorAxis().value_or(0), 6378137.0);
    EXPECT_EQ(header.getRadius().value_or(0), 6371000.0);
    ASSERT_TRUE(header.hasProjectionParameters());
    for (size_t i = 0; i < 15; ++i)
        EXPECT_EQ(header.getProjectionParameters()[i], double(i + 1));
    EXPECT_EQ(header.getWKT(), "PROJCS[\"x\", UNIT[\"m\",1]]");
    EXPECT_EQ(header.getNoData(), (std::vector<double>{1.0, 2.5, -3.0}));

    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nPROJECTION_PARAMETERS 7 8\n"), 0u);
    EXPECT_EQ(header.getProjectionParameters()[1], 8.0);
    EXPECT_EQ(header.getProjectionParameters()[2], -1.0) << "unfilled slots stay -1";

    ASSERT_EQ(header.readText("NROWS 1\nNCOLS 1\nNODATA_VALUE -9999\n"), 0u);
    EXPECT_EQ(header.getNoData(), (std::vector<double>{-9999.0}));
    EXPECT_EQ(header.readText("NROWS 1\nNCOLS 1\nPROJECTION_PARAMETERS 1 2\nNROWS 3\n"), 50006u)
        << "parameters run on over lines until fifteen are read";
}

TEST(BBBHeader, ColourSpaceKeywordsReadBackAsTheirSpace)
{
    const QVIColorSpace bases[] = {QVI_COLORSPACE_GRAYSCALE, QVI_COLORSPACE_RGB, QVI_COLORSPACE_CMY,
                                   QVI_COLORSPACE_YIQ, QVI_COLORSPACE_RGBK, QVI_COLORSPACE_CMYK,
                                   QVI_COLORSPACE_YIQK, QVI_COLORSPACE_MULTISPECTRAL};
    for (QVIColorSpace base : bases) {
        for (uint32_t alpha : {0u, 0x10000u, 0x30000u}) {
            const QVIColorSpace space = QVIColorSpace(base | alpha);
            const char* keyword = QVIBBBHeaderReader::getColorSpaceKeyword(space);
            ASSERT_NE(keyword, nullptr) << std::hex << space;
            QVIBBBHeaderReader header;
            ASSERT_EQ(header.readText(std::string("NROWS 1\nNCOLS 1\nCOLORSPACE ") + keyword), 0u)
                << keyword;
            EXPECT_EQ(header.getColorSpace(), space) << keyword;
            EXPECT_EQ(header.getNumBands(), QVIUtils::getMinNumSamplesPerPixel(space)) << keyword;
        }
    }
    EXPECT_STREQ(QVIBBBHeaderReader::getColorSpaceKeyword(QVI_COLORSPACE_MULTISPECTRALA_PM),
                 "MULTISPETRALA_PM");
    for (const char* grey : {"GREY", "GRAY", "GREYSCALE", "grayscale"}) {
        QVIBBBHeaderReader header;
        ASSERT_EQ(header.readText(std::string("NROWS 1\nNCOLS 1\nCOLORSPACE ") + grey), 0u);
        EXPECT_EQ(header.getColorSpace(), QVI_COLORSPACE_GRAYSCALE);
    }
}

TEST(BBBHeader, MissingCutAndScrambledHeadersGiveAStatusOrValues)
{
    EXPECT_EQ(QVIBBBHeaderReader().read(QVFileSpec("/nonexistent/dir/image.hdr")), 50004u);
    const std::string valid =
        "BYTEORDER M\nLAYOUT BIL\nNROWS 10\nNCOLS 20\nNBANDS 3\nNBITS 12\nDATATYPE U16\n"
        "COLORSPACE RGB\nDYNAMICRANGEMIN 1\nDYNAMICRANGEMAX 9\nULXMAP 1.5\nULYMAP 2.5\n"
        "XDIM 1\nYDIM 1\nPROJECTION_PARAMETERS 1 2 3\n4 5 6\nWKT x\nNODATA 1 2 3\n";
    for (size_t length = 0; length <= valid.size(); ++length) {
        QVIBBBHeaderReader header;
        const QVStatus status = header.readText(valid.substr(0, length));
        if (status == 0) {
            EXPECT_GT(header.getNumRows(), 0);
            EXPECT_GT(header.getNumBands(), 0);
        }
    }
    uint32_t seed = 12345;
    for (int round = 0; round < 500; ++round) {
        std::string text = valid;
        for (int k = 0; k < 4; ++k) {
            seed = seed * 1103515245u + 12345u;
            text[(seed >> 8) % text.size()] = char(seed >> 24);
        }
        QVIBBBHeaderReader header;
        header.readText(text);
    }
}
