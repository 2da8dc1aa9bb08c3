// The wavelet reader end to end: a file opened from memory, then the whole
// image decoded at the smallest magnification and a small region at full
// size. The first input byte picks the memory usage; the whole image is
// decoded only below a size cap, so the time goes to parsing.
#include <algorithm>
#include <cmath>

#include "fuzz_input.h"
#include "qvi_sceneBuffer.h"
#include "tavix_imageReader.h"

using namespace Orvanetics;

namespace {

constexpr double kMaxDecodedSamples = double(1 << 22);
constexpr uint32_t kRegionSize = 48;

void decodeScene(TavixImageReader& reader, double x, double y, uint32_t width, uint32_t height, double mag)
{
    if (width == 0 || height == 0) return;
    QVISceneBuffer buffer(reader.getPixelProps(), width, height);
    reader.read(QVIScene(x, y, width, height, mag), buffer);
}

void decodeSamples(TavixImageReader& reader)
{
    const double width = reader.getWidth();
    const double height = reader.getHeight();
    const double smallest = reader.getMinMagnification();
    if (width * height * reader.getNumBands() <= kMaxDecodedSamples) {
        decodeScene(reader, 0, 0, uint32_t(std::ceil(width * smallest)), uint32_t(std::ceil(height * smallest)),
                    smallest);
    }
    // A small region costs little whatever size the header claims.
    const uint32_t regionWidth = std::min<uint32_t>(kRegionSize, reader.getWidth());
    const uint32_t regionHeight = std::min<uint32_t>(kRegionSize, reader.getHeight());
    decodeScene(reader, std::floor((width - regionWidth) / 2), std::floor((height - regionHeight) / 2),
                regionWidth, regionHeight, 1.0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const TavixMemoryUsage usage = (data[0] & 1) ? TAVIX_MEMORY_USAGE_SMALL : TAVIX_MEMORY_USAGE_DEFAULT;
    FuzzInput::MemoryInput input(data + 1, size - 1);
    TavixImageReader* reader = TavixImageReader::create();
    if (!reader) return 0;
    reader->setMaxWorkerThreads(1);
    if (reader->initialize(&input.stream(), nullptr, usage, TAVIX_STREAM_USAGE_ALWAYS_OPEN) == 0)
        decodeSamples(*reader);
    reader->release();
    return 0;
}
