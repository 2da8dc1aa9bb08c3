// The wavelet decoder: synthesis alone (a constant low-low band, no detail
// to entropy-decode) in lines per second, and a whole decode of a coded
// 2048 x 2048 image from its file, with one and two threads.
#include <benchmark/benchmark.h>

#include <cmath>

#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "tavix_forwardTransform.h"
#include "tavix_waveletPyramid.h"
#include "xr3_container.h"
#include "xr3_planeSource.h"
#include "xr3_waveletDecoder.h"

namespace {

using namespace Orvanetics;
using namespace WaveletDecoderTest;

constexpr uint32_t kSize = 2048;
constexpr uint8_t kLevels = 5;
constexpr uint32_t kStrip = 64;

class ConstantClient : public CoefficientClient {
public:
    explicit ConstantClient(const XR3ImageInfo& info) : CoefficientClient(info) {}
    int32_t coefficient(uint32_t subband, uint16_t, uint32_t, uint32_t) const override { return subband ? 0 : 90; }
    bool hasSubblock(uint32_t subband, uint32_t) const override { return subband == 0; }
};

// Decodes the whole image at full size in strips into 8-bit samples.
bool decodeImage(const XR3ImageInfo& info, XR3PlaneStoreClient& client, uint32_t threads, QVISceneBuffer& strip) {
    DecodeBase base(info, client, nullptr, threads);
    const QVIGeomRect rect(0, 0, int32_t(info.width - 1), int32_t(info.height - 1));
    auto decoder = PipelinedWaveletDecoder::create(rect, info.numLevels, info.height, info.width, 1, 0, base);
    if (!decoder || decoder->begin(kStrip, 0, 255)) return false;
    for (uint32_t y = 0; y < info.height; y += kStrip)
        if (decoder->decodeStrip(QVIGeomRect(0, int32_t(y), rect.x1, int32_t(y + kStrip - 1)), strip)) return false;
    return decoder->end() == 0;
}

void BM_WaveletSynthesisLines(benchmark::State& state) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(kSize, kSize, kLevels, 1, 64);
    ConstantClient client(info);
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    QVISceneBuffer strip(pixel, kSize, kStrip);
    for (auto _ : state)
        if (!decodeImage(info, client, 1, strip)) state.SkipWithError("decode failed");
    state.SetItemsProcessed(int64_t(state.iterations()) * kSize);
}
BENCHMARK(BM_WaveletSynthesisLines)->Unit(benchmark::kMillisecond);

// A grey photograph-like image (smooth shading, edges and noise) coded
// losslessly, as a file in memory.
struct CodedFile {
    XR3ImageInfo info;
    std::vector<uint8_t> bytes;
};

const CodedFile& codedFile() {
    static const CodedFile file = [] {
        TavixFixture::CoefficientPlane image(kSize, kSize);
        uint32_t noise = 1;
        for (uint32_t y = 0; y < kSize; ++y)
            for (uint32_t x = 0; x < kSize; ++x) {
                noise = noise * 1664525u + 1013904223u;
                const double shade = 100 + 60 * std::sin(x / 97.0) * std::cos(y / 131.0);
                image.at(x, y) = int32_t(shade + ((x / 256 + y / 256) % 2 ? 40 : 0) + (noise >> 29));
            }
        const TavixFixture::WaveletBands bands = TavixFixture::forwardTransform(image, kLevels);
        Pyramid pyramid;
        pyramid.info = TavixFixture::makeImageInfo(kSize, kSize, kLevels, 1, 64);
        for (const TavixFixture::CoefficientPlane& band : bands.subbands) {
            Plane plane(band.width, band.height);
            std::copy(band.values.begin(), band.values.end(), plane.v.begin());
            pyramid.bands.push_back({std::move(plane)});
        }
        CodedFile coded;
        coded.info = pyramid.info;
        coded.bytes = TavixFixture::writeImageFile(pyramid.info, codePyramid(pyramid), {}).bytes;
        return coded;
    }();
    return file;
}

void BM_WaveletDecodeFile(benchmark::State& state) {
    const CodedFile& file = codedFile();
    std::vector<uint8_t> bytes = file.bytes;
    auto stream = TavixFixture::openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    XR3FileSimplePlaneSource source(container, file.info, XR3_MEMORY_MODEL_FULL);
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    if (container.initialize() || source.initialize() || source.createFilePlaneStoreClient(client)) {
        state.SkipWithError("open failed");
        return;
    }
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    QVISceneBuffer strip(pixel, kSize, kStrip);
    for (auto _ : state)
        if (!decodeImage(source.getImageInfo(), *client, uint32_t(state.range(0)), strip))
            state.SkipWithError("decode failed");
    state.SetItemsProcessed(int64_t(state.iterations()) * kSize * kSize);
}
BENCHMARK(BM_WaveletDecodeFile)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
