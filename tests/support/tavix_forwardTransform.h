// Test-only forward integer 5/3 wavelet transform, the exact inverse of the
// wavelet decoder's synthesis.
//
//   TavixFixture::CoefficientPlane image(100, 70);           // int32 samples
//   TavixFixture::WaveletBands bands = TavixFixture::forwardTransform(image, 3);
//   // bands.subbands[s] is subband s, laid out as XR3ImageInfo::setup_subbands
//   // sizes it: 0 the low-low band, then per level from the coarsest the
//   // overflow band, HL, LH, HH.
//
// Arithmetic is 32-bit and wraps, as the synthesis does, so that every
// lifting step undoes exactly. The streaming form (StreamingForwardTransform),
// for images too large to hold, takes image rows top to bottom and hands out
// subband rows as soon as they are final; the whole-array form collects them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace TavixFixture {

namespace Lifting {
// Division by 2 and by 4, rounded to nearest with ties to even.
inline int32_t round2(int32_t s) { return (s >> 1) + (s & 1 & (s >> 1)); }
inline int32_t round4(int32_t s) { return (s >> 2) + (((s | (s >> 2)) & 1) & ((s >> 1) & 1)); }
// Two's complement sums that wrap instead of overflowing.
inline int32_t add(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t sub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }

// One analysis step over n samples: (n + 1) / 2 low and n / 2 high samples.
void analyse(const int32_t* x, uint32_t n, int32_t* low, int32_t* high);
}  // namespace Lifting

// A width by height array of coefficients or samples, row by row.
struct CoefficientPlane {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<int32_t> values;

    CoefficientPlane() = default;
    CoefficientPlane(uint32_t w, uint32_t h) : width(w), height(h), values(size_t(w) * h, 0) {}
    int32_t& at(uint32_t x, uint32_t y) { return values[size_t(y) * width + x]; }
    int32_t at(uint32_t x, uint32_t y) const { return values[size_t(y) * width + x]; }
    const int32_t* row(uint32_t y) const { return values.data() + size_t(y) * width; }
    int32_t* row(uint32_t y) { return values.data() + size_t(y) * width; }
    bool operator==(const CoefficientPlane&) const = default;
};

// What a level moves from its low-low output into its overflow band. With
// limit 0 nothing; otherwise the part of each value beyond [-limit, limit],
// so that the band is empty wherever the low-low band stays within it.
struct OverflowRule {
    uint32_t limit = 0;
    int32_t overflowOf(int32_t value) const;
};

// Subbands of one image, indexed as the decoder indexes them.
struct WaveletBands {
    uint32_t numLevels = 0;
    std::vector<CoefficientPlane> subbands;  // 4 * numLevels + 1
};

// Subband number of a level's band: position 1 overflow, 2 HL, 3 LH, 4 HH;
// level 1 is the coarsest.
inline uint32_t subbandOf(uint32_t level, uint32_t position) { return 4 * (level - 1) + position; }

// The whole-array forward transform of a one-band image.
WaveletBands forwardTransform(const CoefficientPlane& image, uint32_t numLevels, OverflowRule overflow = {});
// Told of every subband row as soon as it is final. Rows of one subband come
// in order; band b of the row is values + b * bandPitch, `width` samples.
class SubbandRowSink {
public:
    virtual ~SubbandRowSink() = default;
    virtual void takeRow(uint32_t subband, uint32_t row, uint32_t width, const int32_t* values,
                         size_t bandPitch) = 0;
};

// The forward transform of a multi-band image fed row by row. It holds a
// few rows per level and band, whatever the image height.
class StreamingForwardTransform {
public:
    StreamingForwardTransform(uint32_t width, uint32_t height, uint16_t numBands, uint32_t numLevels,
                              OverflowRule overflow, SubbandRowSink& sink);
    ~StreamingForwardTransform();
    StreamingForwardTransform(const StreamingForwardTransform&) = delete;
    StreamingForwardTransform& operator=(const StreamingForwardTransform&) = delete;

    // The next image row: band b at values + b * bandPitch, width samples.
    // The last row flushes every level.
    void pushRow(const int32_t* values, size_t bandPitch);

    class Stage;

private:
    std::vector<std::unique_ptr<Stage>> m_stages;  // finest level first
    SubbandRowSink& m_sink;
    uint32_t m_width;
    uint32_t m_rowsWithoutLevels = 0;
};

}  // namespace TavixFixture
