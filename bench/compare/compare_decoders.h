// One face for every decoder of the comparison: open a file at a resolution
// reduction with a thread count, decode windows of it, close it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "compare_content.h"

namespace CompareBench {

// A rectangle of the full-resolution image, end exclusive; empty means all.
struct Window {
    uint32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    bool isWhole() const { return x1 == 0 || y1 == 0; }
};

class Decoder {
public:
    virtual ~Decoder() = default;
    virtual std::string name() const = 0;
    // Reads the header; `reduce` levels are dropped (magnification 2^-reduce).
    virtual bool open(const std::string& path, unsigned reduce, unsigned threads) = 0;
    // Decodes the window into the decoder's own output; with `out`, also
    // hands the 8-bit samples over (not part of what is timed).
    virtual bool decode(const Window& window, BenchImage* out) = 0;
    virtual void close() = 0;
    const std::string& error() const { return m_error; }

protected:
    std::string m_error;
};

enum class DecoderKind { Ours, OpenJpeg, Grok };

std::unique_ptr<Decoder> makeDecoder(DecoderKind kind);
bool haveDecoder(DecoderKind kind);
std::string decoderName(DecoderKind kind);
bool decoderKindFromName(const std::string& name, DecoderKind& kind);

// Opens, decodes the window and closes: one view of a file from scratch.
bool decodeOnce(Decoder& decoder, const std::string& path, unsigned reduce, unsigned threads,
                const Window& window, BenchImage* out);

// How each JPEG 2000 file of the comparison is written, by OpenJPEG.
struct Jpeg2000Coding {
    bool lossless = true;
    double compressionRatio = 0;  // lossy only: raw bytes over coded bytes
};
bool writeJpeg2000(const BenchImage& image, const Jpeg2000Coding& coding, const std::string& path,
                   std::string& error);

// Decoder factories, one per file.
std::unique_ptr<Decoder> makeOpenJpegDecoder();
std::unique_ptr<Decoder> makeGrokDecoder();  // null when built without Grok
std::unique_ptr<Decoder> makeOursDecoder();

}  // namespace CompareBench
