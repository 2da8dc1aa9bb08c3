// Runs this program again as a child: for memory figures that nothing of the
// parent's heap distorts, and for timings under a thread count that a
// library fixes once per process.
#pragma once

#include <string>
#include <vector>

namespace CompareBench {

// Runs this program with `arguments`; with `output`, collects what the child
// writes to its standard output. False if it can't start or ends in failure.
bool runSelf(const std::vector<std::string>& arguments, std::string* output, std::string& error);

// The peak resident set of this process in KiB (VmHWM), 0 if unknown. Read
// in the child itself: a count taken by the parent would include the pages
// the child shared with it between fork and exec.
long peakResidentKiB();

}  // namespace CompareBench
