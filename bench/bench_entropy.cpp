// Entropy decoding throughput of subblocks as a wavelet file holds them: a
// 64 by 64 high band of small, mostly zero detail coefficients, a dense one
// whose low planes go raw, and an empty one.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "xr3_subblockData.h"

using namespace Orvanetics;

namespace {

constexpr int kSide = 64;

// Detail coefficients with a Laplacian spread of `scale`.
std::vector<int32_t> detailBand(double scale, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> uniform(1e-12, 1.0);
    std::vector<int32_t> band(kSide * kSide);
    for (int32_t& v : band) {
        const int32_t magnitude = int32_t(-std::log(uniform(rng)) * scale);
        v = (rng() & 1) ? -magnitude : magnitude;
    }
    return band;
}

void encodeInto(XR3SubblockData& data, const std::vector<int32_t>& band) {
    const int32_t* source[] = {band.data()};
    if (data.initSize(4, 0, 1, kSide, kSide) != 0 || data.encode(source, kSide, 0, nullptr, 0) != 0)
        throw std::runtime_error("encoding the benchmark subblock failed");
}

void decodeLoop(benchmark::State& state, const XR3SubblockData& data) {
    std::vector<int32_t> out(kSide * kSide);
    int32_t* target[] = {out.data()};
    for (auto _ : state) {
        data.decode(target, kSide, 0, true);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
    size_t bytes = 0;
    for (unsigned p = 0; p < 32; ++p)
        bytes += data.plane(0, p).length;
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

void BM_DecodeDetailSubblock(benchmark::State& state) {
    XR3SubblockData data;
    encodeInto(data, detailBand(3.0, 1));
    decodeLoop(state, data);
}

void BM_DecodeDenseSubblock(benchmark::State& state) {
    XR3SubblockData data;
    encodeInto(data, detailBand(400.0, 2));
    decodeLoop(state, data);
}

void BM_DecodeEmptySubblock(benchmark::State& state) {
    XR3SubblockData data;
    encodeInto(data, std::vector<int32_t>(kSide * kSide, 0));
    decodeLoop(state, data);
}

}  // namespace

BENCHMARK(BM_DecodeDetailSubblock);
BENCHMARK(BM_DecodeDenseSubblock);
BENCHMARK(BM_DecodeEmptySubblock);
