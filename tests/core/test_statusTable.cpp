#include <gtest/gtest.h>

#include <set>
#include <string>

#include "qv_statusTable.h"
#include "qv_utilStatusData.h"

using namespace Orvanetics;

namespace {

struct ExpectedRow {
    QVStatus code;
    const char* text;
};

// The opening and closing row of every range that has them.
constexpr ExpectedRow kRangeEnds[] = {
    {2000, "tavix kernel BASE"},
    {2999, "tavix kernel MAX"},
    {3000, "qv_lib_utils BASE"},
    {3999, "qv_lib_utils MAX"},
    {4000, "BASE"},
    {4999, "MAX"},
    {7000, "image BASE"},
    {7999, "image MAX"},
    {8000, "xr2d BASE"},
    {9000, "xr2e BASE"},
    {9999, "xr2 MAX"},
    {16000, "qv_lib_cache BASE"},
    {33000, "qv_lib_com BASE"},
    {33099, "qv_lib_com MAX"},
    {33100, "qv_lib_nav BASE"},
    {33199, "qv_lib_nav MAX"},
    {33200, "qv_lib_dt_tavixReader base"},
    {50000, "qv_lib_tavix_core base"},
    {50199, "qv_lib_tavix_core max"},
    {50200, "qv_lib_tavix_imageFilters base"},
    {50299, "qv_lib_tavix_imageFilters max"},
    {50300, "qv_lib_tavix_imageReaders base"},
    {50399, "qv_lib_tavix_imageReaders max"},
    {50400, "qv_lib_tavix_imageWriters base"},
    {50499, "qv_lib_tavix_imageWriters max"},
    {50500, "qv_lib_tavix_metadata base"},
    {50599, "qv_lib_tavix_metadata max"},
    {50600, "qv_lib_tavix_tavixReaders base"},
    {50699, "qv_lib_tavix_tavixReaders max"},
    {50700, "qv_lib_tavix_tavixWriters base"},
    {50799, "qv_lib_tavix_tavixWriters max"},
    {50800, "qv_app_tavix_sdkApps base"},
    {50899, "qv_app_tavix_sdkApps max"},
    {50900, "qv_lib_tavix_j2k base"},
    {50999, "qv_lib_tavix_j2k max"},
    {51100, "qv_lib_tavix_imageWarp base"},
    {51199, "qv_lib_tavix_imageWarp max"},
    {51200, "qv_lib_tavix_nitf base"},
    {51299, "qv_lib_tavix_nitf max"},
    {51300, "qv_lib_tavix_geoMetadata base"},
    {51399, "qv_lib_tavix_geoMetadata max"},
    {51400, "qv_lib_tavix_shape base"},
    {51499, "qv_lib_tavix_shape max"},
    {51500, "qv_lib_tavix_viewer min"},
    {51599, "qv_lib_tavix_viewer max"},
    {51700, "qv_lib_gmljp2 base"},
    {51799, "qv_lib_gmljp2 max"},
    {51800, "qv_lib_tavix_colorBalancer base"},
    {51899, "qv_lib_tavix_colorBalancer max"},
    {52100, "QVI_STS_WCSClient_Base base"},
    {52199, "qv_lib_wcsClient max"},
    {52200, "qv_lib_tavix_maskFinder base"},
    {52299, "qv_lib_tavix_maskFinder max"},
    {54100, "qv_lib_tavix_nav base"},
    {54199, "qv_lib_tavix_nav max"},
    {145000, "qv_lib_io base"},
    {145999, "qv_lib_io max"},
};

// Rows from inside the ranges: first and last listed codes, expanded runs,
// and texts with quotes or placeholders.
constexpr ExpectedRow kSampleRows[] = {
    {0, "Success"},
    {1, "Failure"},
    {8, "out of memory"},
    {9, "not implemented"},
    {910, "status test uint32=%u"},
    {915, "status test filespec=%F"},
    {2001, "tavix read error"},
    {2028, "corrupt file"},
    {3001, "NULL pointer dereferenced"},
    {3070, "StatusData initialization error"},
    {3111, "could not start child process"},
    {4001, "security disabled"},
    {4100, "Internal error"},
    {7002, "invalid image data"},
    {7007, "internal image error"},
    {7131, "internal DOQ error"},
    {7370, "GeoTIFF error - unsupported datatype"},
    {7505, "internal Tavix error"},
    {7815, "Invalid image file"},
    {8015, "xr2d internal error"},
    {8114, "xr2 internal error: unknown exception"},
    {8119, "block suport is larger than the subband"},
    {9001, "xr2 Error1SInitSub"},
    {9210, "memory allocation error"},
    {9223, "XR2 encode memory allocation failed"},
    {33001, "error binding to QVCOM registry"},
    {33101, "Registry entry not found"},
    {33601, "Tavix files must be larger than 32 x 32 pixels"},
    {50001, "unsupported datatype"},
    {50117, "datatype overflow"},
    {50201, "unsupported datatype"},
    {50245, "missing required alpha band"},
    {50317, "pixel index outside color lookup table"},
    {50401, "Cannot write to file %F"},
    {50465, "PNG: libpng error '%s'"},
    {50513, "bad IFD write"},
    {50609, "tavlet init error"},
    {50617, "Tavix file contains LiDAR data"},
    {50739, "the composite does not require an overview"},
    {50815, "failed to parse the \"per-band group compression ratio\" specification string"},
    {50819, "failed to parse band selection specification string"},
    {50941, "JP2: internal error"},
    {50984, "can not select a band more than once"},
    {51102, "GDAL error [%s, %d]: %s"},
    {51114, "out of memory"},
    {51233, "writing geocentric IGEOLO is not supported (v2.0)"},
    {51313, "malformed MGRS coordinates"},
    {51412, "internal error in GEOS"},
    {51516, "unexpected exception"},
    {51709, "GMLJP2: Custom projections not supported"},
    {51811, "error writing stream"},
    {52118, "The Format requested is not a supported Format"},
    {52204, "the discovered mask was not topologically valid"},
    {54103, "unsupported colorspace"},
    {145003, "stream not initialized"},
    {145015, "could not unlock file"},
    {504131, "GeoTIFF: unable to set key"},
};

size_t countRows(QVStatus code) {
    size_t n = 0;
    for (size_t i = 0; i < qvStatusTableSize(); ++i) n += qvStatusTableRow(i).code == code;
    return n;
}

}  // namespace

TEST(StatusTable, HasAllRowsInAscendingCodeOrder) {
    ASSERT_EQ(qvStatusTableSize(), 813u);
    for (size_t i = 1; i < qvStatusTableSize(); ++i) {
        EXPECT_LE(qvStatusTableRow(i - 1).code, qvStatusTableRow(i).code) << "row " << i;
    }
    EXPECT_EQ(qvStatusTableRow(0).code, 0u);
    EXPECT_EQ(qvStatusTableRow(qvStatusTableSize() - 1).code, 504131u);
    EXPECT_STREQ(qvStatusTableRow(qvStatusTableSize() - 1).text, "GeoTIFF: error opening file");
}

TEST(StatusTable, OnlyTheKnownCodesStandTwice) {
    std::set<QVStatus> seen;
    std::set<QVStatus> twice;
    for (size_t i = 0; i < qvStatusTableSize(); ++i) {
        if (!seen.insert(qvStatusTableRow(i).code).second) twice.insert(qvStatusTableRow(i).code);
    }
    EXPECT_EQ(twice, (std::set<QVStatus>{7801, 504131}));
    EXPECT_EQ(seen.size(), 811u);
}

TEST(StatusTable, SecondRowOfADuplicateIsUnreachable) {
    size_t first = 0;
    while (qvStatusTableRow(first).code != 7801) ++first;
    EXPECT_STREQ(qvStatusTableRow(first).text, "Images have incompatible widths");
    EXPECT_EQ(qvStatusTableRow(first + 1).code, 7801u);
    EXPECT_STREQ(qvStatusTableRow(first + 1).text, "Images have incompatible heights");
    EXPECT_STREQ(getRawStatusString(7801), "Images have incompatible widths");
    EXPECT_STREQ(getRawStatusString(504131), "GeoTIFF: unable to set key");
}

TEST(StatusTable, EveryRangeOpensAndClosesWithItsRows) {
    for (const ExpectedRow& row : kRangeEnds) {
        EXPECT_EQ(countRows(row.code), 1u) << row.code;
        EXPECT_STREQ(getRawStatusString(row.code), row.text) << row.code;
    }
    // The decoder half of XR2, the cache and the desktop reader have no closing row.
    for (QVStatus absent : {8999u, 16999u, 33299u}) {
        EXPECT_STREQ(getRawStatusString(absent), "unknown status") << absent;
    }
}

TEST(StatusTable, SampleRowsHaveTheirTexts) {
    for (const ExpectedRow& row : kSampleRows) {
        EXPECT_STREQ(getRawStatusString(row.code), row.text) << row.code;
    }
}

TEST(StatusTable, ExpandedRunsGiveOneRowPerCode) {
    for (QVStatus code = 8008; code <= 8021; ++code) EXPECT_STREQ(getRawStatusString(code), "xr2d internal error");
    for (QVStatus code = 9205; code <= 9218; ++code) EXPECT_STREQ(getRawStatusString(code), "memory allocation error");
    for (QVStatus code = 7363; code <= 7367; ++code) EXPECT_STREQ(getRawStatusString(code), "GeoTIFF error");
    EXPECT_STREQ(getRawStatusString(7130), "internal DOQ error");
    EXPECT_STREQ(getRawStatusString(7503), "unknown status");
    EXPECT_STREQ(getRawStatusString(8030), "unknown status");
}

TEST(StatusTable, UnknownCodesHaveTheUnknownText) {
    EXPECT_STREQ(getRawStatusString(2), "unknown status");
    EXPECT_STREQ(getRawStatusString(123456), "unknown status");
    EXPECT_STREQ(getRawStatusString(52001), "unknown status");
    EXPECT_EQ(qvStatusTableLookup(123456), nullptr);
}
