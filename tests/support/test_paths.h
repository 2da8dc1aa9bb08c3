// Where tests find the shared third-party test data, and how they skip without it.
#pragma once
#include <string>

namespace TestPaths {
// Directory of the shared third-party data (…/shared/testdata), or "" if absent.
std::string testDataDir();
// Directory of the benchmark images (…/shared/benchdata), or "" if absent.
std::string benchDataDir();
// A fresh, empty temporary directory unique to this process and tag.
std::string tempDir(const std::string& tag);
}  // namespace TestPaths

// Skips the current test when the shared test data is not there.
#define REQUIRE_TESTDATA()                                                 \
    do {                                                                   \
        if (TestPaths::testDataDir().empty())                              \
            GTEST_SKIP() << "shared testdata folder not present";          \
    } while (0)
