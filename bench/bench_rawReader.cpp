// Raw decoding speed: a 2048 x 2048 three-band 16-bit image in memory, read
// whole and through a narrow window, in each layout; bytes per second of output.
#include <benchmark/benchmark.h>

#include <vector>

#include "qv_ioMemStream.h"
#include "qvi_pixel.h"
#include "qvi_rawImageReader.h"
#include "qvi_sceneBuffer.h"

using namespace Orvanetics;

namespace {

constexpr uint32_t kSide = 2048;
constexpr uint16_t kBands = 3;

void BM_RawDecode(benchmark::State& state)
{
    const QVILayout layout = QVILayout(state.range(0));
    const uint32_t width = uint32_t(state.range(1));
    std::vector<uint8_t> bytes(size_t(kSide) * kSide * kBands * 2);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = uint8_t(i * 7);
    QVIOMemStream stream;
    stream.initialize(bytes.data(), uint32_t(bytes.size()));
    const QVIPixel pixel(QVI_COLORSPACE_RGB, kBands, QVI_DATATYPE_UINT16);
    QVIRawImageReader* reader = QVIRawImageReader::create();
    reader->setLayout(layout);
    reader->setByteOrder(QVI_ENDIAN_BIG);
    if (reader->initialize(&stream, pixel, kSide, kSide, false) != 0) {
        state.SkipWithError("initialize failed");
        return;
    }
    const QVIScene scene((kSide - width) / 2, 0, width, kSide, 1.0);
    QVISceneBuffer buffer(pixel, width, kSide);
    for (auto _ : state) {
        if (reader->read(scene, buffer) != 0)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(buffer.getBandData(0));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * width * kSide * kBands * 2);
    reader->release();
}

}  // namespace

BENCHMARK(BM_RawDecode)
    ->ArgNames({"layout", "width"})
    ->ArgsProduct({{QVI_LAYOUT_BIP, QVI_LAYOUT_BSQ, QVI_LAYOUT_BIL}, {2048, 100}})
    ->Unit(benchmark::kMillisecond);
