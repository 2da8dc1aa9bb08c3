// The images of the comparison and their files, written once into a data
// folder and reused by later runs.
#pragma once

#include <cstdint>
#include <string>

#include "compare_content.h"

namespace CompareBench {

struct TestImage {
    std::string key;      // file name stem, e.g. "rgb4096"
    std::string label;    // for the table, e.g. "RGB 4096²"
    std::string content;  // where the pixels come from
    uint32_t side = 0;
    uint32_t numBands = 0;
    bool withLossy = true;
    // Files, absent (empty) where a writer is missing.
    std::string oursLossless, oursLossy, jpeg2000Lossless, jpeg2000Lossy;
};

struct DataOptions {
    std::string folder;
    std::string photoFolder;  // real imagery; synthetic content without it
};

// The pixels of the image, from the photographs if present, and the words
// that say where they come from.
BenchImage makeContent(const TestImage& image, const DataOptions& options);
std::string describeContent(const TestImage& image, const DataOptions& options);

// Writes the files of the image that don't exist yet; `pixels` is made on
// demand. Progress goes to stderr.
bool prepareFiles(TestImage& image, const DataOptions& options, std::string& error);

uint64_t fileSize(const std::string& path);

}  // namespace CompareBench
