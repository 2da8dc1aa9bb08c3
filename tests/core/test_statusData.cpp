#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "qv_fileSpec.h"
#include "qv_utilStatusData.h"

using namespace Orvanetics;

namespace {

class StatusData : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(initializeStatusStrings(), 0u); }
    void TearDown() override { terminateStatusStrings(); }
};

std::string popAll() {
    std::string joined;
    char* text = nullptr;
    while (QVUtilStatusData::popString(text) == 0) {
        joined += text;
        joined += '|';
        delete[] text;
    }
    return joined;
}

}  // namespace

TEST_F(StatusData, PlaceholdersAndContextsFillTheText) {
    using S = QVUtilStatusData;
    const struct {
        QVStatus code;
        void (*push)();
        const char* expected;
    } rows[] = {
        {50401, [] { S::pushBegin(50401); S::pushFileSpec(QVFileSpec("/tmp/out/image.png")); S::pushEnd(); },
         "Cannot write to file /tmp/out/image.png [50401]"},
        // Missing arguments leave the placeholder; an idle record gives the raw text.
        {50401, [] { S::pushBegin(50401); S::pushEnd(); }, "Cannot write to file %F [50401]"},
        {50401, [] {}, "Cannot write to file %F [50401]"},
        {123456, [] {}, "unknown status [123456]"},
        {50014, [] { S::pushBegin(50014); S::pushEnd(); S::pushContext(50014, "NAME"); },
         "specified scene out of range of image [50014] (NAME)"},
        // The outer context replaces the inner; an empty one keeps it.
        {50014,
         [] { S::pushBegin(50014); S::pushContext(50014, "inner.xr3"); S::pushContext(50014, "outer.xr3");
              S::pushContext(50014, ""); S::pushContext(50014, nullptr); },
         "specified scene out of range of image [50014] (outer.xr3)"},
        {914,
         [] { S::pushBegin(914); S::pushUint32(4000000000u); S::pushUint32(7); S::pushDouble(3.14159265);
              S::pushString("one"); S::pushString(nullptr); S::pushString("three"); S::pushEnd(); },
         "status test uint=4000000000 uint=7 double=3.14159 string=one string= string=three foo [914]"},
        // 51102 has "[%s, %d]": with one argument the second placeholder stands.
        {51102, [] { S::pushBegin(51102); S::pushString("CE_Failure"); },
         "GDAL error [CE_Failure, %d]: %s [51102]"},
        // A new begin empties the previous details.
        {913,
         [] { S::pushBegin(913); S::pushString("old"); S::pushContext(913, "ctx"); S::pushBegin(913);
              S::pushString("new"); },
         "status test string=new [913]"},
    };
    for (const auto& row : rows) {
        row.push();
        EXPECT_STREQ(getLastStatusString(row.code), row.expected);
        // Formatting twice gives the same text.
        EXPECT_STREQ(getLastStatusString(row.code), row.expected);
        terminateStatusStrings();
    }
}

TEST_F(StatusData, ContextForAnotherStatusStartsAfresh) {
    QVUtilStatusData::pushBegin(7012);
    QVUtilStatusData::pushString("a.raw");
    QVUtilStatusData::pushContext(50006, "reader");
    QVStatus held = 0;
    ASSERT_EQ(QVUtilStatusData::popBegin(held), 0u);
    EXPECT_EQ(held, 50006u);
    EXPECT_EQ(popAll(), "");
    EXPECT_STREQ(getLastStatusString(50006), "error reading file [50006] (reader)");
}

TEST_F(StatusData, OtherStatusIgnoresArgumentsAndContext) {
    QVUtilStatusData::pushBegin(7012);
    QVUtilStatusData::pushString("a.raw");
    QVUtilStatusData::pushContext(7012, "reader");
    EXPECT_STREQ(getLastStatusString(7601), "aux file error, %F - line %d [7601]");
    EXPECT_STREQ(getLastStatusString(7012), "cannot open file - a.raw [7012] (reader)");
}

TEST_F(StatusData, ValuesFormatLikeADefaultTextStream) {
    QVUtilStatusData::pushBegin(911);
    QVUtilStatusData::pushInt32(-42);
    QVUtilStatusData::pushDouble(0.5);
    QVUtilStatusData::pushDouble(1234567.0);
    QVUtilStatusData::pushDouble(1e-7);
    QVUtilStatusData::pushDouble(100.0);
    QVStatus held = 0;
    ASSERT_EQ(QVUtilStatusData::popBegin(held), 0u);
    EXPECT_EQ(popAll(), "-42|0.5|1.23457e+06|1e-07|100|");
}

TEST_F(StatusData, LongArgumentsAreCutAtTheBuffer) {
    std::string huge(10000, 'x');
    QVUtilStatusData::pushBegin(913);
    QVUtilStatusData::pushString(huge.c_str());
    std::string text = getLastStatusString(913);
    EXPECT_EQ(text.size(), 4095u);
    EXPECT_EQ(text.rfind("status test string=xxx", 0), 0u);
}

TEST_F(StatusData, PopsFailOnAnIdleRecord) {
    QVStatus held = 0;
    const char* context = nullptr;
    char* text = nullptr;
    EXPECT_EQ(QVUtilStatusData::popBegin(held), 3070u);
    EXPECT_EQ(QVUtilStatusData::popContext(context), 3070u);
    EXPECT_EQ(QVUtilStatusData::popString(text), 3070u);
    EXPECT_EQ(QVUtilStatusData::popEnd(), 3070u);
}

TEST_F(StatusData, PopsWalkTheArgumentsAndRestart) {
    QVUtilStatusData::pushBegin(3040);
    QVUtilStatusData::pushString("a");
    QVUtilStatusData::pushUint32(2);
    QVStatus held = 0;
    ASSERT_EQ(QVUtilStatusData::popBegin(held), 0u);
    EXPECT_EQ(held, 3040u);
    const char* context = "not touched";
    EXPECT_EQ(QVUtilStatusData::popContext(context), 0u);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(popAll(), "a|2|");
    char* text = nullptr;
    EXPECT_EQ(QVUtilStatusData::popString(text), 1u);
    EXPECT_EQ(QVUtilStatusData::popEnd(), 0u);
    ASSERT_EQ(QVUtilStatusData::popBegin(held), 0u);
    EXPECT_EQ(popAll(), "a|2|");
}

TEST_F(StatusData, TerminateEmptiesTheRecord) {
    QVUtilStatusData::pushBegin(913);
    QVUtilStatusData::pushString("x");
    EXPECT_EQ(terminateStatusStrings(), 0u);
    EXPECT_TRUE(QVUtilStatusData::isActive());
    EXPECT_STREQ(getLastStatusString(913), "status test string=%s [913]");
    QVStatus held = 0;
    EXPECT_EQ(QVUtilStatusData::popBegin(held), 3070u);
}

TEST_F(StatusData, EachThreadHasItsOwnRecord) {
    QVUtilStatusData::pushBegin(913);
    QVUtilStatusData::pushString("main thread");
    std::string fromOther;
    std::string otherOwn;
    std::thread other([&] {
        fromOther = getLastStatusString(913);
        QVUtilStatusData::pushBegin(913);
        QVUtilStatusData::pushString("other thread");
        otherOwn = getLastStatusString(913);
    });
    other.join();
    EXPECT_EQ(fromOther, "status test string=%s [913]");
    EXPECT_EQ(otherOwn, "status test string=other thread [913]");
    EXPECT_STREQ(getLastStatusString(913), "status test string=main thread [913]");
}

TEST(StatusDataWithoutInit, WorksOnDemandInAFreshThread) {
    std::string text;
    std::thread fresh([&] {
        QVUtilStatusData::pushBegin(915);
        QVUtilStatusData::pushFileSpec(QVFileSpec("rel/path.xr3"));
        text = getLastStatusString(915);
    });
    fresh.join();
    EXPECT_EQ(text, "status test filespec=rel/path.xr3 [915]");
}

TEST(StatusException, CarriesItsStatus) {
    try {
        throw QVUtilException(8);
    } catch (const QVUtilException& e) {
        EXPECT_EQ(e.getStatus(), 8u);
    }
}
