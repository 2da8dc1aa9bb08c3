// The plane store: the walk over all tokens at open, and reading every
// subblock of an image through a client, per layout and memory model.
#include <benchmark/benchmark.h>

#include "tavix_planesetWriter.h"
#include "xr3_container.h"
#include "xr3_headerPacket.h"
#include "xr3_planeSource.h"

namespace {

using namespace Orvanetics;
using namespace TavixFixture;

struct BenchImage {
    XR3ImageInfo info;
    ImageFile file;
};

// A 2048 x 2048 image of 3 bands in subblocks of 32, half of them with data.
const BenchImage& benchImage(XR3PlanesetLayout layout) {
    static std::map<uint32_t, BenchImage> images;
    auto it = images.find(layout);
    if (it != images.end()) return it->second;
    BenchImage image;
    image.info = makeImageInfo(2048, 2048, 5, 3, 32);
    PlanesetContent::RandomShape shape;
    shape.subblockDensity = 0.5;
    shape.maxBytes = 64;
    PlanesetOptions options;
    options.layout = layout;
    options.hasMSE = true;
    options.subblocksPerBlock = 256;
    image.info.hasPlaneMSE = options.hasMSE;  // as the header will say
    image.file = writeImageFile(image.info, PlanesetContent::random(image.info, 1, shape), options);
    return images.emplace(layout, std::move(image)).first->second;
}

struct OpenSource {
    std::vector<uint8_t> bytes;
    std::unique_ptr<QVIOMemStream> stream;
    std::unique_ptr<XR3FileSimpleContainer> container;
    std::unique_ptr<XR3FileSimplePlaneSource> source;

    bool open(const BenchImage& image, XR3MemoryModel model) {
        bytes = image.file.bytes;
        stream = openMemStream(bytes);
        container = std::make_unique<XR3FileSimpleContainer>(*stream, true);
        if (container->initialize()) return false;
        source = std::make_unique<XR3FileSimplePlaneSource>(*container, image.info, model);
        return source->initialize() == 0;
    }
};

void BM_PlaneStoreOpen(benchmark::State& state) {
    const BenchImage& image = benchImage(XR3PlanesetLayout(state.range(0)));
    for (auto _ : state) {
        OpenSource open;
        if (!open.open(image, XR3MemoryModel(state.range(1)))) state.SkipWithError("open failed");
        benchmark::DoNotOptimize(open.source.get());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.file.bytes.size()));
}
BENCHMARK(BM_PlaneStoreOpen)
    ->Args({XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_MEMORY_MODEL_FULL})
    ->Args({XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_FULL})
    ->Args({XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_PARTIAL})
    ->Args({XR3_PLANESET_LAYOUT_RASTER_BLOCK, XR3_MEMORY_MODEL_FULL})
    ->Unit(benchmark::kMillisecond);

void BM_PlaneStoreReadAllSubblocks(benchmark::State& state) {
    const BenchImage& image = benchImage(XR3PlanesetLayout(state.range(0)));
    OpenSource open;
    if (!open.open(image, XR3MemoryModel(state.range(1)))) {
        state.SkipWithError("open failed");
        return;
    }
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    open.source->createFilePlaneStoreClient(client);
    std::vector<XR3PlaneData> planes(size_t(image.info.numBands) * kXR3PlanesPerBand);
    for (auto _ : state) {
        for (uint32_t s = 0; s < image.info.numSubbands; ++s) {
            const uint32_t count = uint32_t(image.info.subbands[s].rows) * image.info.subbands[s].cols;
            for (uint32_t b = 0; b < count; ++b) {
                if (client->hasSubblock(s, b)) client->getSubblockData(s, b, planes.data(), true);
            }
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.file.bytes.size()));
}
BENCHMARK(BM_PlaneStoreReadAllSubblocks)
    ->Args({XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_MEMORY_MODEL_FULL})
    ->Args({XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_FULL})
    ->Args({XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_PARTIAL})
    ->Unit(benchmark::kMillisecond);

}  // namespace
