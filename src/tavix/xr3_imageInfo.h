// The shape of one wavelet image: the file's vocabulary of sample types and
// colour spaces, and XR3ImageInfo, the parsed header that every decoder class
// holds (size, levels, bands, subblocks, range, crop).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qv_statusCodes.h"
#include "qvi_dataType.h"
#include "qvi_geomRect.h"

namespace Orvanetics {

class XR3ComponentSet;
class XR3ImageInfo;

// Reports `status` through the per-thread status record and returns it.
QVStatus xr3Fail(QVStatus status);

// Sample type as stored in the file (one byte). 1 to 4 are bare word sizes.
enum XR3DataType : uint8_t {
    XR3_DATATYPE_INVALID = 0,
    XR3_DATATYPE_WORD8 = 1,
    XR3_DATATYPE_WORD16 = 2,
    XR3_DATATYPE_WORD24 = 3,
    XR3_DATATYPE_WORD32 = 4,
    XR3_DATATYPE_UINT8 = 5,
    XR3_DATATYPE_SINT8 = 6,
    XR3_DATATYPE_UINT16 = 7,
    XR3_DATATYPE_SINT16 = 8,
    XR3_DATATYPE_UINT32 = 9,
    XR3_DATATYPE_SINT32 = 10,
    XR3_DATATYPE_UINT64 = 11,
    XR3_DATATYPE_SINT64 = 12,
    XR3_DATATYPE_FLOAT32 = 13,
    XR3_DATATYPE_FLOAT64 = 14,
};

// Colour space as stored in the file (one byte); 0x40 alpha, 0x80 premultiplied alpha.
enum XR3ColorSpace : uint8_t {
    XR3_COLORSPACE_INVALID = 0,
    XR3_COLORSPACE_GREY = 1,
    XR3_COLORSPACE_LEGACY4 = 4,  // read-only older value
    XR3_COLORSPACE_MULTISPECTRAL = 5,
    XR3_COLORSPACE_YIQ = 8,
    XR3_COLORSPACE_YIQK = 9,
    XR3_COLORSPACE_RGB = 10,
    XR3_COLORSPACE_RGBK = 11,
    XR3_COLORSPACE_CMYK = 12,
    XR3_COLORSPACE_ALPHA_BIT = 0x40,
    XR3_COLORSPACE_PREMULTIPLIED_BIT = 0x80,
};

// Transform from the delivered (input) colour space to the coded one.
enum XR3ColorTransform : uint8_t {
    XR3_COLORTRANSFORM_INVALID = 0,
    XR3_COLORTRANSFORM_NONE = 1,
    XR3_COLORTRANSFORM_YIQ_TO_RGB = 4,
    XR3_COLORTRANSFORM_YIQK_TO_RGBK = 7,
    XR3_COLORTRANSFORM_RGB_TO_YIQ = 10,
    XR3_COLORTRANSFORM_RGBK_TO_YIQK = 13,
    XR3_COLORTRANSFORM_UNKNOWN = 254,
};

// Queries on the file's data types and colour spaces, and their conversions
// to and from the imaging types (0 for a value without counterpart).
struct XR3Type {
    static XR3DataType toXR3(QVIDataType type);
    static QVIDataType toSDK(XR3DataType type);
    // QVI_COLORSPACE_YIQA gives 72: the older file value 4 is read-only.
    static XR3ColorSpace toXR3(QVIColorSpace space);
    static QVIColorSpace toSDK(XR3ColorSpace space);

    static uint32_t getNumBits(XR3DataType type);
    static uint32_t getNumBitsPrecision(XR3DataType type);
    static uint32_t getNumBytes(XR3DataType type);
    static bool isSigned(XR3DataType type);
    // Inverse of the precision column for 7, 8, 15, 16, 24, 31, 32, 48, 63, 64; otherwise 0.
    static XR3DataType getDataTypeFromBitsPrecision(uint32_t bits);

    static bool hasAlphaBand(XR3ColorSpace space);
    static XR3ColorSpace getColorSpaceWithoutAlpha(XR3ColorSpace space);
    // 0 for a value outside the table.
    static uint32_t getMinNumBands(XR3ColorSpace space);
};

struct XR3ColorTransformSupport {
    // The reversible colour transform run on coefficients (xr3_colorTransformer.h).
    class Transformer;

    // The transformer an image needs: YIQ2RGB when `decode`, else RGB2YIQ.
    // Null unless colorTransform is 4, 7, 10 or 13, and null when
    // `components` (null: all bands) leaves out any of bands 0, 1 and 2.
    static std::unique_ptr<Transformer> create(const XR3ImageInfo& info, bool decode,
                                               const XR3ComponentSet* components);
    // Alpha is ignored. 254 if either space is 0, 17 or 255.
    static XR3ColorTransform getDefaultTransform(XR3ColorSpace from, XR3ColorSpace to);
    // True only for the (from, to) pairs that `transform` stands for.
    static bool validateCombination(XR3ColorSpace from, XR3ColorSpace to, XR3ColorTransform transform);
};

// Inclusive rectangles of the wavelet geometry, with sizes wide enough for
// any 32-bit corner pair.
namespace XR3RectOps {
inline int64_t width(const QVIGeomRect& r) { return int64_t(r.x1) - r.x0 + 1; }
inline int64_t height(const QVIGeomRect& r) { return int64_t(r.y1) - r.y0 + 1; }
inline bool intersects(const QVIGeomRect& a, const QVIGeomRect& b) {
    return !a.isEmpty() && !b.isEmpty() && a.x0 <= b.x1 && b.x0 <= a.x1 && a.y0 <= b.y1 && b.y0 <= a.y1;
}
inline bool contains(const QVIGeomRect& outer, const QVIGeomRect& inner) {
    return outer.x0 <= inner.x0 && inner.x1 <= outer.x1 && outer.y0 <= inner.y0 && inner.y1 <= outer.y1;
}
// The common part; the empty rectangle when they do not meet.
QVIGeomRect intersection(const QVIGeomRect& a, const QVIGeomRect& b);
}  // namespace XR3RectOps

// Per-band dequantisation of float images; NaN (0x7FC00000) means unset.
struct QuantizationInfo {
    float offset;
    float maxValue;
    float spare;
    float step;
    QuantizationInfo();
};

struct XR3SubbandDims {
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t rows = 0;  // subblocks down
    uint16_t cols = 0;  // subblocks across
};

class XR3ImageInfo {
public:
    static constexpr uint8_t kMaxNumLevels = 62;

    uint32_t imageNumber = 0xFFFFFFFF;
    uint8_t numLevels = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t subblockSize = 0;
    uint16_t numBands = 0;
    uint8_t wordBits = 0;
    XR3DataType dataType = XR3_DATATYPE_INVALID;
    std::vector<QuantizationInfo> quantization;  // empty, or one per band
    int32_t rangeMin = 0;
    int32_t rangeMax = 0;
    XR3ColorSpace inputColorSpace = XR3_COLORSPACE_INVALID;
    XR3ColorSpace codedColorSpace = XR3_COLORSPACE_INVALID;
    XR3ColorTransform colorTransform = XR3_COLORTRANSFORM_UNKNOWN;
    uint8_t codingKindA = 5;  // a decoder requires 0
    uint8_t codingKindB = 0;
    uint32_t codingKindC = 254;  // a decoder requires 0
    uint32_t spareWords[2] = {3, 0};
    uint8_t numSubbands = 0;
    uint64_t numSubblocks = 0;
    std::vector<XR3SubbandDims> subbands;
    // Inclusive rectangle of the virtual image, in the coordinates of the
    // full image reduced by `scale` octaves; the default (0, 1, -1, 0) stands
    // for the whole image until setup_subbands replaces it.
    int32_t cropX0 = 0;
    int32_t cropY0 = 1;
    int32_t cropX1 = -1;
    int32_t cropY1 = 0;
    int8_t scale = 0;
    bool isCroppedOrScaled = false;
    bool locked = false;
    uint8_t lockValueWidth = 0;
    bool hasPlaneMSE = false;
    uint32_t planesetOrder = 0;
    uint32_t planesetLayout = 5;

    // Builds `subbands`, `numSubbands` and `numSubblocks` from the size, the
    // levels and the subblock size; a default crop becomes the whole image.
    QVStatus setup_subbands();
    // The subband table alone, for users that only know the four numbers.
    static QVStatus computeSubbands(uint32_t width, uint32_t height, uint32_t numLevels, uint32_t subblockSize,
                                    std::vector<XR3SubbandDims>& out, uint64_t& numSubblocks);

    bool hasQuantization() const { return !quantization.empty(); }
    // `info` holds numBands entries; null clears. With `validate` each band
    // must pass vaildFPQuantization, else 2024.
    QVStatus setQuantizationInfo(const QuantizationInfo* info, bool validate);
    static bool vaildFPQuantization(float step, float offset, float maxValue, bool narrow);

    uint32_t getDomainBitsOfPrecision() const { return XR3Type::getNumBitsPrecision(dataType); }
    uint32_t getDomainBytes() const { return XR3Type::getNumBytes(dataType); }
    // Bit length of max(rangeMax, 0) - min(rangeMin, 0).
    uint32_t getNumPrecisionBitsOfRange() const;

    uint32_t getSubblockIndex(uint32_t subband, uint32_t row, uint32_t col) const {
        return row * uint32_t(subbands[subband].cols) + col;
    }
    void getSubblockRowCol(uint32_t subband, uint32_t subblock, uint32_t& row, uint32_t& col) const;
    void getSubblockWidthHeight(uint32_t subband, uint32_t row, uint32_t col, uint32_t& w, uint32_t& h) const;
    void getSubblockInfo(uint32_t subband, uint32_t subblock, uint32_t& row, uint32_t& col, uint32_t& w,
                         uint32_t& h) const;
    // The subblock's rectangle in subband coordinates.
    QVIGeomRect getSubblockSupport(uint32_t subband, uint32_t subblock) const;
    // The whole subband as a rectangle.
    QVIGeomRect getSubbandRect(uint32_t subband) const;

    // Smallest n >= 0 with (1 << (n + 2)) >= min(w, h).
    static uint32_t calcMaxNLev(uint32_t w, uint32_t h);

    QVIGeomRect getFullRect() const { return QVIGeomRect(0, 0, int32_t(width - 1), int32_t(height - 1)); }
    QVIGeomRect getCropRect() const { return QVIGeomRect(cropX0, cropY0, cropX1, cropY1); }
    void setCropRect(const QVIGeomRect& r) {
        cropX0 = r.x0;
        cropY0 = r.y0;
        cropX1 = r.x1;
        cropY1 = r.y1;
    }
    bool hasDefaultCrop() const { return getCropRect() == QVIGeomRect(0, 1, -1, 0); }
    // Whether the crop and scale, as read, make a virtual image other than the whole.
    void updateCroppedOrScaled();

    // Projects `rect` to `scale`; with `useVirtual` it is first moved by the
    // crop corner and the scale grows by `this->scale`. 2020 on overflow.
    QVStatus projectSupportToScale(int32_t scale, const QVIGeomRect& rect, bool useVirtual,
                                   QVIGeomRect& out) const;
    // The whole image (or with `useVirtual` the virtual image) at `scale`.
    // With `useVirtual` and `absolute` the result stands in the coordinates of
    // the full image at scale + this->scale, and a magnified one ends where
    // the full image ends; without `absolute` it starts at 0, 0.
    QVStatus getSupportAtScale(int32_t scale, bool absolute, bool useVirtual, QVIGeomRect& out) const;
};

}  // namespace Orvanetics
