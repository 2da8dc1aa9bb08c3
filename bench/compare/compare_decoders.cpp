#include "compare_decoders.h"

#include <algorithm>

#include "compare_int32Planes.h"

namespace CompareBench {

namespace {

constexpr const char* kNames[] = {"ours", "OpenJPEG", "Grok"};

}  // namespace

std::unique_ptr<Decoder> makeDecoder(DecoderKind kind)
{
    switch (kind) {
    case DecoderKind::Ours:
        return makeOursDecoder();
    case DecoderKind::OpenJpeg:
        return makeOpenJpegDecoder();
    case DecoderKind::Grok:
        return makeGrokDecoder();
    }
    return nullptr;
}

bool haveDecoder(DecoderKind kind)
{
    return makeDecoder(kind) != nullptr;
}

std::string decoderName(DecoderKind kind)
{
    return kNames[int(kind)];
}

bool decoderKindFromName(const std::string& name, DecoderKind& kind)
{
    for (int k = 0; k < 3; ++k)
        if (name == kNames[k]) {
            kind = DecoderKind(k);
            return true;
        }
    return false;
}

bool decodeOnce(Decoder& decoder, const std::string& path, unsigned reduce, unsigned threads,
                const Window& window, BenchImage* out)
{
    const bool ok = decoder.open(path, reduce, threads) && decoder.decode(window, out);
    decoder.close();
    return ok;
}

void storeInt32Planes(const Int32Plane* planes, uint32_t numBands, BenchImage& out)
{
    out.width = planes[0].width;
    out.height = planes[0].height;
    out.numBands = numBands;
    out.samples.resize(size_t(out.width) * out.height * numBands);
    for (uint32_t b = 0; b < numBands; ++b) {
        uint8_t* target = out.band(b);
        for (uint32_t y = 0; y < out.height; ++y) {
            const int32_t* row = planes[b].data + size_t(y) * planes[b].stride;
            for (uint32_t x = 0; x < out.width; ++x)
                *target++ = uint8_t(std::clamp(row[x], 0, 255));
        }
    }
}

}  // namespace CompareBench
