// Test-only writer of complete single-image XR3 and XR4 files from any
// image: the exact inverse of the wavelet decoder.
//
//   TavixFixture::TavixImageRecipe recipe;
//   recipe.dataType = QVI_DATATYPE_UINT8;
//   recipe.colorSpace = XR3_COLORSPACE_RGB;
//   recipe.yiq = true;                        // coded as YIQ
//   recipe.numLevels = 3;
//   recipe.planeset.layout = XR3_PLANESET_LAYOUT_INTERLEAVED;
//   TavixFixture::ArraySourceImage<uint8_t> source(pixels.data(), width, height, 3,
//                                                  TavixFixture::SampleOrder::PixelInterleaved);
//   std::vector<uint8_t> bytes;
//   ASSERT_EQ(0u, TavixFixture::writeTavixImage(recipe, source, bytes));
//
// The image goes through the forward 5/3 transform row by row
// (StreamingForwardTransform): each subband keeps one row of subblocks of
// int32 coefficients of all bands, which is entropy-coded (in parallel
// across the row) and dropped as soon as it is complete. So a 16384 x 16384
// RGB image never has more than a few subblock rows of coefficients in
// memory; what is kept is the coded plane bytes, which the planeset packet
// lays out at the end in the order, layout and token form asked for. The
// peak is about five times the file size (an 8192 x 8192 RGB sample image:
// a 68 MB file, 340 MB resident, 23 s of CPU on two cores).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "qvi_dataType.h"
#include "qvi_geomRect.h"
#include "tavix_forwardTransform.h"
#include "tavix_planesetWriter.h"
#include "xr3_georefData.h"
#include "xr3_imageInfo.h"

namespace TavixFixture {

using namespace Orvanetics;

// Samples of an image, row by row, as doubles (exact for every 32-bit integer).
class SourceImage {
public:
    virtual ~SourceImage() = default;
    virtual uint32_t getWidth() const = 0;
    virtual uint32_t getHeight() const = 0;
    virtual uint16_t getNumBands() const = 0;
    // The width samples of `band` in row y.
    virtual void readRow(uint16_t band, uint32_t y, double* out) const = 0;
};

enum class SampleOrder {
    BandSequential,    // band 0 whole, then band 1, ...
    PixelInterleaved,  // all bands of a pixel together
};

// A view over samples of type T in memory (not copied).
template <typename T>
class ArraySourceImage : public SourceImage {
public:
    ArraySourceImage(const T* samples, uint32_t width, uint32_t height, uint16_t numBands,
                     SampleOrder order = SampleOrder::BandSequential)
        : m_samples(samples), m_width(width), m_height(height), m_numBands(numBands), m_order(order) {}
    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
    uint16_t getNumBands() const override { return m_numBands; }
    void readRow(uint16_t band, uint32_t y, double* out) const override {
        const bool interleaved = m_order == SampleOrder::PixelInterleaved;
        const T* first = interleaved ? m_samples + (size_t(y) * m_width * m_numBands + band)
                                     : m_samples + (size_t(band) * m_height + y) * m_width;
        const size_t step = interleaved ? m_numBands : 1;
        for (uint32_t x = 0; x < m_width; ++x) out[x] = double(first[x * step]);
    }

private:
    const T* m_samples;
    uint32_t m_width, m_height;
    uint16_t m_numBands;
    SampleOrder m_order;
};

// Samples from a function of (band, x, y).
class FunctionSourceImage : public SourceImage {
public:
    using Sample = std::function<double(uint16_t band, uint32_t x, uint32_t y)>;
    FunctionSourceImage(uint32_t width, uint32_t height, uint16_t numBands, Sample sample)
        : m_width(width), m_height(height), m_numBands(numBands), m_sample(std::move(sample)) {}
    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
    uint16_t getNumBands() const override { return m_numBands; }
    void readRow(uint16_t band, uint32_t y, double* out) const override {
        for (uint32_t x = 0; x < m_width; ++x) out[x] = m_sample(band, x, y);
    }

private:
    uint32_t m_width, m_height;
    uint16_t m_numBands;
    Sample m_sample;
};

enum class TavixFileVersion {
    XR3,  // 3.0.26, the letter announcing what the image needs (single, multispectral, signed, alpha)
    XR4,  // 3.4.0.a
};

struct TavixImageRecipe {
    // Samples: UINT8 to SINT32 are coded as they are (and must lie in the
    // type's range); FLOAT32 and FLOAT64 are quantised through `quantization`.
    QVIDataType dataType = QVI_DATATYPE_UINT8;
    // The delivered colour space, alpha bits included; the source must have
    // at least its minimum number of bands.
    XR3ColorSpace colorSpace = XR3_COLORSPACE_GREY;
    // RGB or RGBK coded as YIQ or YIQK: bands 0 to 2 of every coefficient go
    // through the forward colour transform before entropy coding.
    bool yiq = false;
    // kMaxLevels: as many as XR3ImageInfo::calcMaxNLev allows.
    static constexpr uint32_t kMaxLevels = UINT32_MAX;
    uint32_t numLevels = kMaxLevels;
    uint16_t subblockSize = 64;
    // Lossy files: the lowest bit planes left out of every band.
    uint32_t truncatePlanes = 0;
    TavixFileVersion version = TavixFileVersion::XR4;
    // Order, layout, token form, MSE values and lock values of the planeset.
    PlanesetOptions planeset;
    IndexKind index = IndexKind::None;
    // What each level moves into its overflow band (none by default).
    OverflowRule overflow;
    // The header's range; by default that of the data type (UINT32: 0 to
    // 2^31 - 1, as coefficients are signed 32-bit), or of the quantised values.
    std::optional<int32_t> rangeMin, rangeMax;
    // Float data: step and offset per band. Empty: from each band's minimum
    // and maximum, spread over 16 bits.
    std::vector<QuantizationInfo> quantization;
    // The virtual image: a crop rectangle (inclusive, in the full image
    // reduced by `scale` octaves; by default all of that reduced image) and
    // a scale (0 to the number of levels); stored only when they make a
    // virtual image other than the whole.
    std::optional<QVIGeomRect> crop;
    int8_t scale = 0;
    // Metadata packets: georeference (subType 3) and XMP (4).
    std::optional<XR3GeorefData> georef;
    std::vector<uint8_t> xmp;
};

// The whole file. 2009 for a recipe that can't describe the source (too few
// bands for the colour space, YIQ without RGB, a data type without file
// counterpart, more levels than the size allows, a subblock size of 0, a
// scale beyond the levels) or a sample outside the data type's range, 2012 when memory runs out, otherwise the status of the packet writer.
QVStatus writeTavixImage(const TavixImageRecipe& recipe, const SourceImage& source, std::vector<uint8_t>& out);
// The same into a file; 2003 when it can't be created, 2002 on a short write.
QVStatus writeTavixImageFile(const TavixImageRecipe& recipe, const SourceImage& source, const std::string& path);

}  // namespace TavixFixture
