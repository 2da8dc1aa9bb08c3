// Cost of the pipeline order: a position from a subblock, a subblock from a
// position at random, and stepping through a planeset as the plane walk does.
#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <vector>

#include "xr3_planesetOrder.h"

using namespace Orvanetics;

namespace {

// A 200000 x 150000 image in subblocks of 64, with the given levels.
OrderingPipe makeOrdering(int levels) {
    OrderingPipe ordering(64, uint8_t(levels), 150000, 200000);
    ordering.init_tables();
    return ordering;
}

void BM_PipelineGetOrdering(benchmark::State& state) {
    OrderingPipe ordering = makeOrdering(int(state.range(0)));
    std::mt19937 rng(1);
    std::vector<uint64_t> positions(4096);
    for (uint64_t& p : positions) p = rng() % ordering.getNumSubblocks();
    std::vector<std::array<uint32_t, 3>> places(positions.size());
    for (size_t i = 0; i < positions.size(); ++i)
        ordering.invert_ordering(positions[i], places[i][0], places[i][1], places[i][2]);
    size_t i = 0;
    for (auto _ : state) {
        const auto& p = places[i++ % places.size()];
        benchmark::DoNotOptimize(ordering.get_ordering(p[0], p[1], p[2]));
    }
}
BENCHMARK(BM_PipelineGetOrdering)->Arg(2)->Arg(5)->Arg(10);

void BM_PipelineInvertRandom(benchmark::State& state) {
    OrderingPipe ordering = makeOrdering(int(state.range(0)));
    std::mt19937_64 rng(2);
    uint32_t subband, row, col;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ordering.invert_ordering(rng() % ordering.getNumSubblocks(), subband, row, col));
    }
}
BENCHMARK(BM_PipelineInvertRandom)->Arg(2)->Arg(5)->Arg(10)->Arg(14);

// A strip one subblock wide and 4000000 high: every subband has one column,
// so the coarse levels weigh as much as the fine ones in the position count.
void BM_PipelineInvertRandomNarrow(benchmark::State& state) {
    OrderingPipe ordering(64, uint8_t(state.range(0)), 4000000, 64);
    ordering.init_tables();
    std::mt19937_64 rng(3);
    uint32_t subband, row, col;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ordering.invert_ordering(rng() % ordering.getNumSubblocks(), subband, row, col));
    }
}
BENCHMARK(BM_PipelineInvertRandomNarrow)->Arg(2)->Arg(10)->Arg(20);

void BM_PipelineStep(benchmark::State& state) {
    OrderingPipe ordering = makeOrdering(int(state.range(0)));
    uint64_t position = 0;
    uint32_t subband, row, col;
    for (auto _ : state) {
        if (!ordering.invert_ordering(position++, subband, row, col)) position = 0;
        benchmark::DoNotOptimize(col);
    }
}
BENCHMARK(BM_PipelineStep)->Arg(2)->Arg(5)->Arg(10);

}  // namespace
