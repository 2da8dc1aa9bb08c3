#include "test_paths.h"

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
std::string existingDir(const char* envName, const char* sub) {
    if (const char* env = std::getenv(envName); env && fs::is_directory(env)) return env;
    fs::path p = fs::path(ORVANETICS_SHARED_DIR) / sub;
    std::error_code ec;
    return fs::is_directory(p, ec) ? fs::canonical(p, ec).string() : std::string();
}
}  // namespace

namespace TestPaths {
std::string testDataDir() { return existingDir("ORVANETICS_TESTDATA", "testdata"); }
std::string benchDataDir() { return existingDir("ORVANETICS_BENCHDATA", "benchdata"); }

std::string tempDir(const std::string& tag) {
    fs::path p = fs::temp_directory_path() /
                 ("orvanetics_" + tag + "_" + std::to_string(::getpid()));
    std::error_code ec;
    fs::remove_all(p, ec);
    fs::create_directories(p);
    return p.string();
}
}  // namespace TestPaths
