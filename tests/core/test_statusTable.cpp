#include <gtest/gtest.h>

#include <set>

#include "qv_statusTable.h"
#include "qv_utilStatusData.h"

using namespace Orvanetics;

TEST(StatusTable, HasAllRowsInAscendingCodeOrderWithTwoKnownDuplicates) {
    ASSERT_EQ(qvStatusTableSize(), 813u);
    std::set<QVStatus> seen, twice;
    for (size_t i = 0; i < qvStatusTableSize(); ++i) {
        if (i > 0) {
            EXPECT_LE(qvStatusTableRow(i - 1).code, qvStatusTableRow(i).code) << "row " << i;
        }
        if (!seen.insert(qvStatusTableRow(i).code).second) twice.insert(qvStatusTableRow(i).code);
    }
    EXPECT_EQ(twice, (std::set<QVStatus>{7801, 504131}));
    EXPECT_EQ(qvStatusTableRow(0).code, 0u);
    EXPECT_STREQ(qvStatusTableRow(qvStatusTableSize() - 1).text, "GeoTIFF: error opening file");
    // The second row of a duplicate is never found.
    EXPECT_STREQ(getRawStatusString(7801), "Images have incompatible widths");
    EXPECT_STREQ(getRawStatusString(504131), "GeoTIFF: unable to set key");
}

TEST(StatusTable, RangeEndsRunsAndQuotedTexts) {
    const std::pair<QVStatus, const char*> rows[] = {
        {0, "Success"},
        {2000, "tavix kernel BASE"},
        {2999, "tavix kernel MAX"},
        {4000, "BASE"},
        {50815, "failed to parse the \"per-band group compression ratio\" specification string"},
        {51102, "GDAL error [%s, %d]: %s"},
        {52100, "QVI_STS_WCSClient_Base base"},
        {145999, "qv_lib_io max"},
    };
    for (const auto& [code, text] : rows) EXPECT_STREQ(getRawStatusString(code), text) << code;
    // Expanded runs give one row per code.
    for (QVStatus code = 8008; code <= 8021; ++code) EXPECT_STREQ(getRawStatusString(code), "xr2d internal error");
    // Ranges without a closing row, gaps and strangers.
    for (QVStatus absent : {8999u, 16999u, 33299u, 7503u, 8030u, 2u, 52001u})
        EXPECT_STREQ(getRawStatusString(absent), "unknown status") << absent;
    EXPECT_EQ(qvStatusTableLookup(123456), nullptr);
}
