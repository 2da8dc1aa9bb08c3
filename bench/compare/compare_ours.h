// Our side of the comparison: files written by the test fixture writer,
// decoded through the public reader.
#pragma once

#include <string>

#include "compare_content.h"

namespace CompareBench {

bool haveOursWriter();
// Lossless: five levels, subblocks of 64, YIQ for three bands. Lossy: the
// same with low bit-planes dropped to about two bits per pixel.
bool writeOurs(const BenchImage& image, bool lossy, const std::string& path, std::string& error);

// A whole decode at magnification 1, strip by strip, into a strip-sized
// buffer that is thrown away: what a writer streaming to disk would do.
bool streamOursToNull(const std::string& path, unsigned threads, std::string& error);

}  // namespace CompareBench
