// Cost of the scene buffer's typed loops (fill, byte swap, interleaving
// export, import) and of the strip loop of a read, whose views must not copy.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "qvi_imageReader.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"

using namespace Orvanetics;

namespace {

constexpr uint32_t kSide = 1024;

QVIPixel rgbOf(QVIDataType type)
{
    return QVIPixel(QVI_COLORSPACE_RGB, 3, type);
}

void fillBuffer(benchmark::State& state, QVIDataType type)
{
    const QVIPixel pixel = rgbOf(type);
    QVISceneBuffer buffer(pixel, kSide, kSide);
    QVIPixel value(pixel);
    value.setSampleValuesToMax();
    for (auto _ : state)
        benchmark::DoNotOptimize(buffer.fill(value));
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide * pixel.getNumBytes());
}

void byteSwapBuffer(benchmark::State& state, QVIDataType type)
{
    const QVIPixel pixel = rgbOf(type);
    QVISceneBuffer buffer(pixel, kSide, kSide);
    for (auto _ : state) {
        buffer.byteSwap();
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide * pixel.getNumBytes());
}

void exportInterleaved(benchmark::State& state, QVIDataType type)
{
    const QVIPixel pixel = rgbOf(type);
    QVISceneBuffer buffer(pixel, kSide, kSide);
    std::vector<uint8_t> out(size_t(kSide) * kSide * pixel.getNumBytes());
    const int64_t sample = pixel.getSample(0).getNumBytes();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            buffer.exportData(out.data(), 3 * sample, 3 * sample * kSide, sample));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
}

void importInterleaved(benchmark::State& state)
{
    const QVIPixel pixel = rgbOf(QVI_DATATYPE_UINT8);
    QVISceneBuffer buffer(pixel, kSide, kSide);
    std::vector<uint8_t> in(size_t(kSide) * kSide * 3, 7);
    for (auto _ : state)
        benchmark::DoNotOptimize(buffer.importDataBIP(static_cast<const void*>(in.data())));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

// A reader that only clears each strip: what remains is the frame's own cost.
class ClearingReader : public QVIImageReader {
public:
    static ClearingReader* create() { return new (std::nothrow) ClearingReader(); }
    void initialize(uint32_t width, uint32_t height)
    {
        init(nullptr);
        setDimensions(width, height);
        setPixelProps(rgbOf(QVI_DATATYPE_UINT8));
    }
    std::string getSourceName() const override { return "bench"; }

protected:
    ClearingReader() : QVIImageReader(false) {}
    QVStatus decodeBegin(const QVIPixel&, const QVIScene&) override { return 0; }
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene&) override
    {
        buffer.zero();
        return 0;
    }
    QVStatus decodeEnd() override { return 0; }
};

void readStrips(benchmark::State& state)
{
    ClearingReader* reader = ClearingReader::create();
    reader->initialize(kSide, kSide);
    reader->setStripHeight(uint32_t(state.range(0)));
    QVISceneBuffer buffer(reader->getPixelProps(), kSide, kSide);
    const QVIScene scene(0, 0, kSide, kSide, 1.0);
    for (auto _ : state)
        benchmark::DoNotOptimize(reader->read(scene, buffer));
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide * 3);
    reader->release();
}

}  // namespace

BENCHMARK_CAPTURE(fillBuffer, uint8, QVI_DATATYPE_UINT8);
BENCHMARK_CAPTURE(fillBuffer, uint16, QVI_DATATYPE_UINT16);
BENCHMARK_CAPTURE(fillBuffer, float64, QVI_DATATYPE_FLOAT64);
BENCHMARK_CAPTURE(byteSwapBuffer, uint16, QVI_DATATYPE_UINT16);
BENCHMARK_CAPTURE(byteSwapBuffer, float32, QVI_DATATYPE_FLOAT32);
BENCHMARK_CAPTURE(byteSwapBuffer, float64, QVI_DATATYPE_FLOAT64);
BENCHMARK_CAPTURE(exportInterleaved, uint8, QVI_DATATYPE_UINT8);
BENCHMARK_CAPTURE(exportInterleaved, uint16, QVI_DATATYPE_UINT16);
BENCHMARK(importInterleaved);
BENCHMARK(readStrips)->Arg(1)->Arg(16)->Arg(256);

BENCHMARK_MAIN();
