// The plane store of image 0: the header packet, the walk over the tokens
// that builds the position table (full or partial, with or without stream
// buffers, as the first input byte says), then the planes of every subblock
// read back through a client.
#include <cstdlib>

#include "fuzz_xr3Open.h"
#include "xr3_planeSource.h"

using namespace Orvanetics;

namespace {

// A decoder never asks for more; a header with more subblocks still has its
// walk fuzzed, just not every read.
constexpr uint32_t kMaxSubblocksRead = 4096;

XR3MemoryModel modelFromByte(uint8_t selector)
{
    switch (selector & 3) {
    case 0: return XR3_MEMORY_MODEL_FULL;
    case 1: return XR3_MEMORY_MODEL_PARTIAL;
    default: return XR3_MEMORY_MODEL_DEFAULT;
    }
}

void readEverySubblock(XR3FileSimplePlaneSource& source)
{
    std::unique_ptr<XR3PlaneStoreClient> client;
    if (source.createPlaneStoreClient(client) != 0) return;
    const XR3ImageInfo& info = source.getImageInfo();
    auto planes = std::make_unique<XR3PlaneData[]>(size_t(info.numBands) * kXR3PlanesPerBand);
    uint32_t read = 0;
    for (uint32_t subband = 0; subband < info.numSubbands; ++subband) {
        const uint32_t count = uint32_t(info.subbands[subband].rows) * info.subbands[subband].cols;
        for (uint32_t subblock = 0; subblock < count && read < kMaxSubblocksRead; ++subblock, ++read) {
            if (!client->hasSubblock(subband, subblock)) continue;
            client->getSubblockData(subband, subblock, planes.get(), true);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const uint8_t selector = data[0];
    FuzzInput::MemoryInput input(data + 1, size - 1);
    XR3FileSimpleContainer container(input.stream(), true);
    if (container.initialize() != 0) return 0;
    XR3HeaderPacket* header = FuzzInput::findHeaderPacket(container, 0);
    if (!header) return 0;
    if (selector & 4) setenv("XR3_USE_STREAM_BUFFERS", "1", 1);
    else unsetenv("XR3_USE_STREAM_BUFFERS");
    XR3FileSimplePlaneSource source(container, header->getImageInfo(), modelFromByte(selector));
    if (source.initialize() != 0) return 0;
    readEverySubblock(source);
    return 0;
}
