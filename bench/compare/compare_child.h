// Runs this program again as a child: for memory figures that nothing of the
// parent's heap distorts, and for timings under a thread count that a
// library fixes once per process.
#pragma once

#include <string>
#include <vector>

namespace CompareBench {

// Runs this program with `arguments`; with `peakKiB`, answers the child's
// peak resident set size. False if it can't start or ends in failure.
bool runSelf(const std::vector<std::string>& arguments, long* peakKiB, std::string& error);

}  // namespace CompareBench
