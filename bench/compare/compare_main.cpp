// Side-by-side decode speed and memory of our wavelet files against the
// same pictures as JPEG 2000, decoded by OpenJPEG and by Grok.
//
//   orvanetics_compare [--data DIR] [--photos DIR] [--side N] [--big N]
//                      [--reps N] [--table FILE] [benchmark flags]
//
// Files are written once into DIR and reused. --big 0 leaves out the memory
// workload. The result is one Markdown table on stdout (and in FILE).
// Timings run in one child per thread count, as Grok fixes its thread pool
// once per process; peak memory in one child per decode. For a profiler:
//   orvanetics_compare --decode-child ours|OpenJPEG|Grok FILE THREADS [REDUCE [X0 Y0 X1 Y1]]
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "compare_data.h"
#include "compare_decoders.h"
#include "compare_ours.h"
#include "compare_child.h"
#include "compare_table.h"

using namespace CompareBench;

namespace {

constexpr DecoderKind kAllDecoders[] = {DecoderKind::Ours, DecoderKind::OpenJpeg, DecoderKind::Grok};
constexpr uint32_t kRegionSide = 512;
constexpr unsigned kMemoryThreads = 2;
constexpr const char* kProcessCpuCounter = "process_cpu_s";

struct Options {
    DataOptions data{"bench-data", ORVANETICS_COMPARE_PHOTOS};
    uint32_t side = 4096;
    uint32_t bigSide = 16384;
    int repetitions = 3;
    std::string tablePath;
    std::vector<std::string> benchmarkFlags;  // handed on to the timing children
};

const Workload kWorkloads[] = {
    {"full-t1", "Full decode at 1, 1 thread", 0, 1, false, false},
    {"full-t2", "Full decode at 1, 2 threads", 0, 2, false, false},
    {"eighth-t1", "Whole image at 1/8, 1 thread", 3, 1, false, false},
    {"eighth-t2", "Whole image at 1/8, 2 threads", 3, 2, false, false},
    {"region-t1", "Region 512² at 1, file open, 1 thread", 0, 1, false, true},
    {"lossy-t1", "Lossy (~2 bpp) full decode, 1 thread", 0, 1, true, false},
    {"lossy-t2", "Lossy (~2 bpp) full decode, 2 threads", 0, 2, true, false},
};

bool takeValue(int& i, int argc, char** argv, const char* flag, std::string& value)
{
    if (std::strcmp(argv[i], flag) != 0 || i + 1 >= argc)
        return false;
    value = argv[++i];
    return true;
}

// Takes our own flags out of argv, leaving the benchmark library's.
Options parseOptions(int& argc, char** argv)
{
    Options options;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        std::string value;
        if (takeValue(i, argc, argv, "--data", value))
            options.data.folder = value;
        else if (takeValue(i, argc, argv, "--photos", value))
            options.data.photoFolder = value;
        else if (takeValue(i, argc, argv, "--side", value))
            options.side = uint32_t(std::stoul(value));
        else if (takeValue(i, argc, argv, "--big", value))
            options.bigSide = uint32_t(std::stoul(value));
        else if (takeValue(i, argc, argv, "--reps", value))
            options.repetitions = std::max(1, std::stoi(value));
        else if (takeValue(i, argc, argv, "--table", value))
            options.tablePath = value;
        else {
            options.benchmarkFlags.push_back(argv[i]);
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    return options;
}

TestImage describeImage(uint32_t side, uint32_t numBands, bool withLossy, const DataOptions& data)
{
    TestImage image;
    image.key = (numBands == 3 ? "rgb" : "grey") + std::to_string(side);
    image.label = (numBands == 3 ? "RGB " : "grey ") + std::to_string(side) + "²";
    image.side = side;
    image.numBands = numBands;
    image.withLossy = withLossy;
    image.content = describeContent(image, data);
    return image;
}

// The big image serves the memory workload only.
std::vector<TestImage> listImages(const Options& options)
{
    std::vector<TestImage> images{describeImage(options.side, 3, true, options.data),
                                  describeImage(options.side, 1, true, options.data)};
    if (options.bigSide > 0)
        images.push_back(describeImage(options.bigSide, 3, false, options.data));
    return images;
}

const std::string& fileFor(const TestImage& image, DecoderKind kind, bool lossy)
{
    if (kind == DecoderKind::Ours)
        return lossy ? image.oursLossy : image.oursLossless;
    return lossy ? image.jpeg2000Lossy : image.jpeg2000Lossless;
}

Window middleRegion(uint32_t side)
{
    const uint32_t start = (side - kRegionSide) / 2;
    return {start, start, start + kRegionSide, start + kRegionSide};
}

double psnr(const BenchImage& a, const BenchImage& b)
{
    double sum = 0;
    for (size_t i = 0; i < a.samples.size(); ++i) {
        const double d = double(a.samples[i]) - double(b.samples[i]);
        sum += d * d;
    }
    const double mse = sum / double(a.samples.size());
    return mse == 0 ? INFINITY : 10 * std::log10(255.0 * 255.0 / mse);
}

// Decodes each file once outside the clock and compares with the source:
// the lossless ones must give back every sample.
void checkDecodes(const TestImage& image, const DataOptions& data, Results& results)
{
    const BenchImage source = makeContent(image, data);
    for (DecoderKind kind : kAllDecoders) {
        for (bool lossy : {false, true}) {
            const std::string& path = fileFor(image, kind, lossy);
            auto decoder = makeDecoder(kind);
            if (path.empty() || !decoder)
                continue;
            BenchImage decoded;
            std::string& verdict = results.quality[{image.key, decoderName(kind), lossy}];
            if (!decodeOnce(*decoder, path, 0, 2, {}, &decoded))
                verdict = "decode failed: " + decoder->error();
            else if (decoded.samples.size() != source.samples.size())
                verdict = "wrong size";
            else if (!lossy)
                verdict = decoded.samples == source.samples ? "exact" : "NOT exact";
            else
                verdict = formatFixed(psnr(decoded, source), 1) + " dB";
        }
    }
}

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// The CPU time of all the process's threads, which a busy machine distorts
// far less than the wall time, goes into a counter.
void setCpuCounter(benchmark::State& state, double startCpu)
{
    state.counters[kProcessCpuCounter] =
        benchmark::Counter(processCpuSeconds() - startCpu, benchmark::Counter::kAvgIterations);
}

void runDecodes(benchmark::State& state, DecoderKind kind, const std::string& path, const Workload& workload,
                const Window& window)
{
    auto decoder = makeDecoder(kind);
    auto failed = [&] { state.SkipWithError(("decode failed: " + decoder->error()).c_str()); };
    if (workload.region) {
        // The file is open and has served one view elsewhere before the clock runs.
        const Window corner{0, 0, kRegionSide, kRegionSide};
        if (!decoder->open(path, workload.reduce, workload.threads) || !decoder->decode(corner, nullptr))
            return failed();
        const double startCpu = processCpuSeconds();
        for (auto _ : state)
            if (!decoder->decode(window, nullptr))
                return failed();
        setCpuCounter(state, startCpu);
        decoder->close();
        return;
    }
    const double startCpu = processCpuSeconds();
    for (auto _ : state)
        if (!decodeOnce(*decoder, path, workload.reduce, workload.threads, window, nullptr))
            return failed();
    setCpuCounter(state, startCpu);
}

void registerDecodes(const std::vector<TestImage>& images, const Options& options, unsigned threads)
{
    for (const TestImage& image : images) {
        if (!image.withLossy)
            continue;  // the big image is for memory only
        for (const Workload& workload : kWorkloads)
            for (DecoderKind kind : kAllDecoders) {
                const std::string& path = fileFor(image, kind, workload.lossy);
                if (workload.threads != threads || path.empty() || !haveDecoder(kind))
                    continue;
                const Window window = workload.region ? middleRegion(image.side) : Window{};
                auto* bench = benchmark::RegisterBenchmark(
                    measurementName(workload.key, image.key, decoderName(kind)).c_str(),
                    [=](benchmark::State& state) { runDecodes(state, kind, path, workload, window); });
                bench->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(options.repetitions);
                // Decodes of a few tens of milliseconds repeat for a while,
                // so that one scheduling hiccup does not make their time.
                if (workload.region || workload.reduce > 0)
                    bench->MinTime(0.3);
                else
                    bench->Iterations(1);
            }
    }
}

// Collects every repetition's time per iteration while printing as usual.
class CollectingReporter : public benchmark::ConsoleReporter {
public:
    explicit CollectingReporter(Results& results) : m_results(results) {}
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            Timing& timing = m_results.timings[run.run_name.function_name];
            if (run.error_occurred)
                timing.error = run.error_message;
            else if (run.iterations > 0) {
                timing.seconds.push_back(run.real_accumulated_time / double(run.iterations));
                timing.cpuSeconds.push_back(run.counters.at(kProcessCpuCounter));
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

private:
    Results& m_results;
};

void measureMemory(const TestImage& image, Results& results)
{
    auto measure = [&](const std::string& decoder, std::vector<std::string> arguments) {
        MemoryRow row;
        row.image = image.label;
        row.decoder = decoder;
        const auto start = std::chrono::steady_clock::now();
        std::string error, output;
        if (!runSelf(arguments, &output, error))
            row.error = error;
        else if (std::sscanf(output.c_str(), "peak_kib %ld", &row.peakKiB) != 1)
            row.error = "no peak reported";
        row.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::fprintf(stderr, "peak RSS %s %s: %ld KiB\n", image.key.c_str(), decoder.c_str(), row.peakKiB);
        results.memory.push_back(row);
    };
    measure("(no decode)", {"--decode-child", "none"});
    const std::string threads = std::to_string(kMemoryThreads);
    for (DecoderKind kind : kAllDecoders) {
        const std::string& path = fileFor(image, kind, false);
        if (!path.empty() && haveDecoder(kind))
            measure(decoderName(kind), {"--decode-child", decoderName(kind), path, threads});
    }
}

// One decode and nothing else, for a memory measurement or a profiler:
//   --decode-child DECODER PATH THREADS [REDUCE [X0 Y0 X1 Y1]]
// A whole decode at magnification 1 of ours streams to a null writer.
int runDecodeChild(int argc, char** argv)
{
    if (argc >= 3 && std::strcmp(argv[2], "none") == 0) {
        std::printf("peak_kib %ld\n", peakResidentKiB());
        return 0;
    }
    DecoderKind kind;
    if (argc < 5 || !decoderKindFromName(argv[2], kind))
        return 2;
    const std::string path = argv[3];
    const unsigned threads = unsigned(std::atoi(argv[4]));
    const unsigned reduce = argc > 5 ? unsigned(std::atoi(argv[5])) : 0;
    Window window;
    if (argc > 9)
        window = {uint32_t(std::atoi(argv[6])), uint32_t(std::atoi(argv[7])), uint32_t(std::atoi(argv[8])),
                  uint32_t(std::atoi(argv[9]))};
    std::string error;
    bool ok;
    if (kind == DecoderKind::Ours && reduce == 0 && window.isWhole()) {
        ok = streamOursToNull(path, threads, error);
    } else {
        auto decoder = makeDecoder(kind);
        ok = decoder && decodeOnce(*decoder, path, reduce, threads, window, nullptr);
        if (decoder)
            error = decoder->error();
    }
    if (!ok)
        std::fprintf(stderr, "%s: %s\n", argv[2], error.c_str());
    else
        std::printf("peak_kib %ld\n", peakResidentKiB());
    return ok ? 0 : 1;
}

// A timing child: the decodes of one thread count, each repetition's time
// written to a file as "name<TAB>seconds" or "name<TAB>error<TAB>text".
int runTimingChild(const Options& options, unsigned threads, const std::string& resultPath)
{
    std::vector<TestImage> images = listImages(options);
    for (TestImage& image : images) {
        std::string error;
        if (image.withLossy && !prepareFiles(image, options.data, error))
            return 1;
    }
    Results results;
    registerDecodes(images, options, threads);
    CollectingReporter reporter(results);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::ofstream out(resultPath);
    for (const auto& [name, timing] : results.timings) {
        for (size_t i = 0; i < timing.seconds.size(); ++i)
            out << name << '\t' << timing.seconds[i] << '\t' << timing.cpuSeconds[i] << '\n';
        if (!timing.error.empty())
            out << name << "\terror\t" << timing.error << '\n';
    }
    return out ? 0 : 1;
}

void readTimings(const std::string& path, Results& results)
{
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string name, value, text;
        std::getline(fields, name, '\t');
        std::getline(fields, value, '\t');
        std::getline(fields, text);
        Timing& timing = results.timings[name];
        if (value == "error")
            timing.error = text;
        else {
            timing.seconds.push_back(std::stod(value));
            timing.cpuSeconds.push_back(std::stod(text));
        }
    }
}

std::vector<std::string> childArguments(const Options& options, unsigned threads, const std::string& resultPath)
{
    std::vector<std::string> arguments{"--timing-child", std::to_string(threads), resultPath,
                                       "--data", options.data.folder, "--photos", options.data.photoFolder,
                                       "--side", std::to_string(options.side), "--big", "0",
                                       "--reps", std::to_string(options.repetitions)};
    arguments.insert(arguments.end(), options.benchmarkFlags.begin(), options.benchmarkFlags.end());
    return arguments;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc >= 2 && std::strcmp(argv[1], "--decode-child") == 0)
        return runDecodeChild(argc, argv);
    const bool timingChild = argc >= 4 && std::strcmp(argv[1], "--timing-child") == 0;
    const unsigned childThreads = timingChild ? unsigned(std::atoi(argv[2])) : 0;
    const std::string childResults = timingChild ? argv[3] : "";
    if (timingChild) {
        argv[3] = argv[0];
        argv += 3;
        argc -= 3;
    }
    Options options = parseOptions(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (timingChild)
        return runTimingChild(options, childThreads, childResults);

    std::vector<TestImage> images = listImages(options);
    Results results;
    results.repetitions = options.repetitions;
    for (TestImage& image : images) {
        std::string error;
        if (!prepareFiles(image, options.data, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            return 1;
        }
        if (image.withLossy)
            checkDecodes(image, options.data, results);
    }
    for (unsigned threads : {1u, 2u}) {
        const std::string resultPath = options.data.folder + "/timings-t" + std::to_string(threads) + ".tsv";
        std::string error;
        std::filesystem::remove(resultPath);
        if (!runSelf(childArguments(options, threads, resultPath), nullptr, error))
            std::fprintf(stderr, "timings with %u threads: %s\n", threads, error.c_str());
        readTimings(resultPath, results);
    }
    for (const TestImage& image : images)
        if (!image.withLossy)
            measureMemory(image, results);

    const std::string table = formatTables(images, kWorkloads, results);
    std::cout << "\n" << table;
    if (!options.tablePath.empty())
        std::ofstream(options.tablePath) << table;
    return 0;
}
