#include "compare_table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <sstream>

#include "compare_decoders.h"

namespace CompareBench {

namespace {

constexpr double kFullSpeedupOverOpenJpeg = 1.5;
constexpr double kRegionShareOfFull = 0.05;
constexpr double kStreamedPeakBytes = 150e6;
const char* const kDecoders[] = {"ours", "OpenJPEG", "Grok"};

using Clock = std::vector<double> Timing::*;
constexpr Clock kWall = &Timing::seconds;
constexpr Clock kCpu = &Timing::cpuSeconds;

std::optional<double> bestSeconds(const Results& results, const std::string& name, Clock clock = kWall)
{
    const auto found = results.timings.find(name);
    if (found == results.timings.end() || (found->second.*clock).empty())
        return std::nullopt;
    const std::vector<double>& times = found->second.*clock;
    return *std::min_element(times.begin(), times.end());
}

std::string milliseconds(double seconds)
{
    return formatFixed(seconds * 1e3, seconds < 0.1 ? 1 : 0) + " ms";
}

double outputMegapixels(const TestImage& image, const Workload& workload)
{
    if (workload.region)
        return 512.0 * 512.0 / 1e6;
    const double side = std::ceil(double(image.side) / double(1u << workload.reduce));
    return side * side / 1e6;
}

std::string timeCell(const Results& results, const std::string& name, double megapixels)
{
    const auto seconds = bestSeconds(results, name);
    if (!seconds) {
        const auto found = results.timings.find(name);
        return found == results.timings.end() ? "–" : "failed";
    }
    return milliseconds(*seconds) + " (CPU " + milliseconds(*bestSeconds(results, name, kCpu)) + "), " +
           formatFixed(megapixels / *seconds, 1) + " MP/s";
}

// Throughput of ours over the other's: the other's time over ours.
std::optional<double> speedup(const Results& results, const std::string& ours, const std::string& other,
                              Clock clock = kWall)
{
    const auto a = bestSeconds(results, ours, clock), b = bestSeconds(results, other, clock);
    if (!a || !b)
        return std::nullopt;
    return *b / *a;
}

std::string ratioCell(const Results& results, const std::string& ours, const std::string& other)
{
    const auto wall = speedup(results, ours, other), cpu = speedup(results, ours, other, kCpu);
    return wall && cpu ? formatFixed(*wall, 2) + "× (CPU " + formatFixed(*cpu, 2) + "×)" : "–";
}

std::string verdict(bool met)
{
    return met ? "met" : "**not met**";
}

// The target of a workload on ours and whether it holds.
std::string targetCell(const Results& results, const Workload& workload, const TestImage& image)
{
    const std::string ours = measurementName(workload.key, image.key, "ours");
    const auto overOpenJpeg = speedup(results, ours, measurementName(workload.key, image.key, "OpenJPEG"));
    const auto overGrok = speedup(results, ours, measurementName(workload.key, image.key, "Grok"));
    if (workload.lossy)
        return "–";
    if (workload.region) {
        const auto region = bestSeconds(results, ours);
        const auto full = bestSeconds(results, measurementName("full-t1", image.key, "ours"));
        if (!region || !full)
            return "< 5% of full: –";
        const double share = *region / *full;
        return "< 5% of full: " + formatFixed(share * 100, 2) + "%, " + verdict(share < kRegionShareOfFull);
    }
    if (!overOpenJpeg)
        return "–";
    bool met = *overOpenJpeg >= kFullSpeedupOverOpenJpeg;
    std::string text = "≥ 1.5× OpenJPEG";
    if (workload.reduce == 0) {
        text += ", ≥ 1× Grok";
        met = met && overGrok && *overGrok >= 1.0;
    }
    return text + ": " + verdict(met);
}

std::string megabytes(uint64_t bytes)
{
    return formatFixed(double(bytes) / 1e6, 1) + " MB";
}

std::string sizeCell(const TestImage& image, const std::string& path)
{
    if (path.empty())
        return "–";
    const uint64_t bytes = fileSize(path);
    const double bitsPerPixel = double(bytes) * 8 / (double(image.side) * image.side);
    return megabytes(bytes) + " (" + formatFixed(bitsPerPixel, 2) + " bpp)";
}

void filesTable(std::ostringstream& out, const std::vector<TestImage>& images)
{
    out << "| Image | Content | ours lossless | JPEG 2000 lossless | ours lossy | JPEG 2000 lossy (9/7) |\n"
           "|---|---|---|---|---|---|\n";
    for (const TestImage& image : images)
        out << "| " << image.label << " | " << image.content << " | " << sizeCell(image, image.oursLossless)
            << " | " << sizeCell(image, image.jpeg2000Lossless) << " | " << sizeCell(image, image.oursLossy)
            << " | " << sizeCell(image, image.jpeg2000Lossy) << " |\n";
}

void qualityTable(std::ostringstream& out, const std::vector<TestImage>& images, const Results& results)
{
    out << "| Image | File | ours | OpenJPEG | Grok |\n|---|---|---|---|---|\n";
    for (const TestImage& image : images) {
        if (!image.withLossy)
            continue;
        for (bool lossy : {false, true}) {
            out << "| " << image.label << " | " << (lossy ? "lossy (PSNR)" : "lossless") << " |";
            for (const char* decoder : kDecoders) {
                const auto found = results.quality.find({image.key, decoder, lossy});
                out << " " << (found == results.quality.end() ? "–" : found->second) << " |";
            }
            out << "\n";
        }
    }
}

void speedTable(std::ostringstream& out, const std::vector<TestImage>& images,
                std::span<const Workload> workloads, const Results& results)
{
    out << "| Workload | Image | ours | OpenJPEG | Grok | ours/OpenJPEG | ours/Grok | Target on ours |\n"
           "|---|---|---|---|---|---|---|---|\n";
    for (const Workload& workload : workloads)
        for (const TestImage& image : images) {
            if (!image.withLossy)
                continue;
            const double megapixels = outputMegapixels(image, workload);
            const std::string ours = measurementName(workload.key, image.key, "ours");
            out << "| " << workload.label << " | " << image.label << " |";
            for (const char* decoder : kDecoders)
                out << " " << timeCell(results, measurementName(workload.key, image.key, decoder), megapixels)
                    << " |";
            out << " " << ratioCell(results, ours, measurementName(workload.key, image.key, "OpenJPEG"))
                << " | " << ratioCell(results, ours, measurementName(workload.key, image.key, "Grok"))
                << " | " << targetCell(results, workload, image) << " |\n";
        }
}

void memoryTable(std::ostringstream& out, const Results& results)
{
    out << "| Image | Decoder | Peak RSS | Child run time | Target |\n|---|---|---|---|---|\n";
    for (const MemoryRow& row : results.memory) {
        const double bytes = double(row.peakKiB) * 1024;
        std::string target = "–";
        if (row.decoder == "ours" && row.error.empty())
            target = "< 150 MB streamed: " + verdict(bytes < kStreamedPeakBytes);
        out << "| " << row.image << " | " << row.decoder << " | "
            << (row.error.empty() ? megabytes(uint64_t(bytes)) : "failed: " + row.error) << " | "
            << formatFixed(row.seconds, 1) << " s | " << target << " |\n";
    }
}

}  // namespace

std::string measurementName(const std::string& workload, const std::string& image, const std::string& decoder)
{
    return workload + "/" + image + "/" + decoder;
}

std::string formatFixed(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string formatTables(const std::vector<TestImage>& images, std::span<const Workload> workloads,
                         const Results& results)
{
    std::ostringstream out;
    out << "### Files\n\n";
    filesTable(out, images);
    out << "\n### Decoded against the source\n\n";
    qualityTable(out, images, results);
    out << "\n### Decode time (best of " << results.repetitions
        << "; wall time, CPU time of all threads in brackets; MP/s of output pixels over the wall time; "
           "ratios are throughput of ours over the other's; targets judged on the wall time)\n\n";
    speedTable(out, images, workloads, results);
    if (!results.memory.empty()) {
        out << "\n### Peak memory of a whole decode at magnification 1 (child process, " << "2 threads; ours "
            << "streams strips to a null writer, the others build the whole image)\n\n";
        memoryTable(out, results);
    }
    return out.str();
}

}  // namespace CompareBench
