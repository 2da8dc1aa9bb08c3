// What the comparison measured, and the Markdown tables that show it.
#pragma once

#include <map>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "compare_data.h"

namespace CompareBench {

struct Workload {
    std::string key;
    std::string label;
    unsigned reduce;  // magnification 2^-reduce
    unsigned threads;
    bool lossy;
    bool region;  // the middle 512² of an open file
};

struct Timing {
    std::vector<double> seconds;     // wall time, one per repetition
    std::vector<double> cpuSeconds;  // CPU time of all the process's threads, likewise
    std::string error;
};

struct MemoryRow {
    std::string image, decoder;
    long peakKiB = 0;
    double seconds = 0;  // the child's whole run
    std::string error;
};

struct Results {
    int repetitions = 1;
    std::map<std::string, Timing> timings;  // by measurementName
    // "exact" or a PSNR, by image key, decoder name, lossy.
    std::map<std::tuple<std::string, std::string, bool>, std::string> quality;
    std::vector<MemoryRow> memory;
};

std::string measurementName(const std::string& workload, const std::string& image, const std::string& decoder);
std::string formatFixed(double value, int decimals);
std::string formatTables(const std::vector<TestImage>& images, std::span<const Workload> workloads,
                         const Results& results);

}  // namespace CompareBench
