#include "xr3_imageInfo.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>

#include "qvi_tableLookup.h"
#include "xr3_subblockLocator.h"

namespace Orvanetics {

QVStatus xr3Fail(QVStatus status) {
    QVUtilStatusData::pushBegin(status);
    QVUtilStatusData::pushEnd();
    return status;
}

namespace {

struct DataTypeRow {
    uint8_t bits;
    uint8_t precision;
    bool isSigned;
};

// Indexed by XR3DataType.
constexpr DataTypeRow kDataTypes[] = {
    {0, 0, false},  {8, 0, false},   {16, 0, false},  {24, 0, false}, {32, 0, false},
    {8, 8, false},  {8, 7, true},    {16, 16, false}, {16, 15, true}, {32, 32, false},
    {32, 31, true}, {64, 64, false}, {64, 63, true},  {32, 24, true}, {64, 48, true},
};
constexpr uint32_t kNumDataTypes = sizeof(kDataTypes) / sizeof(kDataTypes[0]);

const DataTypeRow& dataTypeRow(XR3DataType type) { return kDataTypes[type < kNumDataTypes ? type : 0]; }

constexpr uint8_t kAlphaBits = XR3_COLORSPACE_ALPHA_BIT | XR3_COLORSPACE_PREMULTIPLIED_BIT;

// QVIDataType by XR3DataType.
constexpr QVIDataType kSDKDataTypes[] = {
    QVI_DATATYPE_INVALID, QVI_DATATYPE_INVALID, QVI_DATATYPE_INVALID, QVI_DATATYPE_INVALID, QVI_DATATYPE_INVALID,
    QVI_DATATYPE_UINT8,   QVI_DATATYPE_SINT8,   QVI_DATATYPE_UINT16,  QVI_DATATYPE_SINT16,  QVI_DATATYPE_UINT32,
    QVI_DATATYPE_SINT32,  QVI_DATATYPE_INVALID, QVI_DATATYPE_INVALID, QVI_DATATYPE_FLOAT32, QVI_DATATYPE_INVALID,
};
static_assert(sizeof(kSDKDataTypes) / sizeof(kSDKDataTypes[0]) == kNumDataTypes);

struct ColorSpacePair {
    XR3ColorSpace xr3;
    uint32_t sdk;
};
// The colour spaces without alpha; the alpha forms add the bits on both sides.
constexpr ColorSpacePair kColorSpaces[] = {
    {XR3_COLORSPACE_GREY, QVI_COLORSPACE_GRAYSCALE}, {XR3_COLORSPACE_MULTISPECTRAL, QVI_COLORSPACE_MULTISPECTRAL},
    {XR3_COLORSPACE_YIQ, QVI_COLORSPACE_YIQ},        {XR3_COLORSPACE_YIQK, QVI_COLORSPACE_YIQK},
    {XR3_COLORSPACE_RGB, QVI_COLORSPACE_RGB},        {XR3_COLORSPACE_RGBK, QVI_COLORSPACE_CMYK},
    {XR3_COLORSPACE_CMYK, QVI_COLORSPACE_RGBK},
};

uint32_t ceilDiv(uint32_t a, uint32_t b) { return uint32_t((uint64_t(a) + b - 1) / b); }

}  // namespace

XR3DataType XR3Type::toXR3(QVIDataType type) {
    for (uint32_t t = 0; t < kNumDataTypes; ++t) {
        if (type != QVI_DATATYPE_INVALID && kSDKDataTypes[t] == type) return XR3DataType(t);
    }
    return XR3_DATATYPE_INVALID;
}

QVIDataType XR3Type::toSDK(XR3DataType type) {
    return type < kNumDataTypes ? kSDKDataTypes[type] : QVI_DATATYPE_INVALID;
}

XR3ColorSpace XR3Type::toXR3(QVIColorSpace space) {
    const uint32_t alpha = space & QVI_ALPHA_BITS;
    const uint8_t xr3Alpha = alpha == QVI_ALPHA_BIT    ? XR3_COLORSPACE_ALPHA_BIT
                             : alpha == QVI_ALPHA_BITS ? XR3_COLORSPACE_PREMULTIPLIED_BIT
                                                       : 0;
    if (alpha == QVI_PREMULTIPLIED_BIT) return XR3_COLORSPACE_INVALID;
    const ColorSpacePair* pair = findTableRow(kColorSpaces, &ColorSpacePair::sdk, uint32_t(space & ~QVI_ALPHA_BITS));
    return pair != nullptr ? XR3ColorSpace(pair->xr3 | xr3Alpha) : XR3_COLORSPACE_INVALID;
}

QVIColorSpace XR3Type::toSDK(XR3ColorSpace space) {
    if (space == XR3_COLORSPACE_LEGACY4) return QVI_COLORSPACE_YIQA;
    const uint8_t alpha = space & kAlphaBits;
    if (alpha == kAlphaBits) return QVI_COLORSPACE_INVALID;
    const uint32_t sdkAlpha = alpha == XR3_COLORSPACE_ALPHA_BIT           ? QVI_ALPHA_BIT
                              : alpha == XR3_COLORSPACE_PREMULTIPLIED_BIT ? QVI_ALPHA_BITS
                                                                          : 0;
    const ColorSpacePair* pair = findTableRow(kColorSpaces, &ColorSpacePair::xr3, getColorSpaceWithoutAlpha(space));
    return pair != nullptr ? QVIColorSpace(pair->sdk | sdkAlpha) : QVI_COLORSPACE_INVALID;
}

uint32_t XR3Type::getNumBits(XR3DataType type) { return dataTypeRow(type).bits; }
uint32_t XR3Type::getNumBitsPrecision(XR3DataType type) { return dataTypeRow(type).precision; }
uint32_t XR3Type::getNumBytes(XR3DataType type) { return (getNumBits(type) + 7) / 8; }
bool XR3Type::isSigned(XR3DataType type) { return dataTypeRow(type).isSigned; }

XR3DataType XR3Type::getDataTypeFromBitsPrecision(uint32_t bits) {
    for (uint32_t t = XR3_DATATYPE_UINT8; t < kNumDataTypes; ++t) {
        if (kDataTypes[t].precision == bits) return XR3DataType(t);
    }
    return XR3_DATATYPE_INVALID;
}

bool XR3Type::hasAlphaBand(XR3ColorSpace space) { return (space & kAlphaBits) != 0; }

XR3ColorSpace XR3Type::getColorSpaceWithoutAlpha(XR3ColorSpace space) {
    return XR3ColorSpace(space & ~kAlphaBits);
}

uint32_t XR3Type::getMinNumBands(XR3ColorSpace space) {
    const uint32_t sdk = toSDK(space);
    if (sdk == QVI_COLORSPACE_INVALID) return 0;
    const uint32_t colourBands = (sdk >> 8) & 0xFF;
    return (colourBands == 0xFF ? 1 : colourBands) + ((sdk & QVI_ALPHA_BITS) ? 1 : 0);
}

XR3ColorTransform XR3ColorTransformSupport::getDefaultTransform(XR3ColorSpace from, XR3ColorSpace to) {
    auto unknown = [](XR3ColorSpace s) { return s == 0 || s == 17 || s == 255; };
    if (unknown(from) || unknown(to)) return XR3_COLORTRANSFORM_UNKNOWN;
    const XR3ColorSpace a = XR3Type::getColorSpaceWithoutAlpha(from);
    const XR3ColorSpace b = XR3Type::getColorSpaceWithoutAlpha(to);
    if (a == b) return XR3_COLORTRANSFORM_NONE;
    if ((a == XR3_COLORSPACE_RGB || a == XR3_COLORSPACE_MULTISPECTRAL) && b == XR3_COLORSPACE_YIQ)
        return XR3_COLORTRANSFORM_RGB_TO_YIQ;
    if (a == XR3_COLORSPACE_RGBK && b == XR3_COLORSPACE_YIQK) return XR3_COLORTRANSFORM_RGBK_TO_YIQK;
    return XR3_COLORTRANSFORM_INVALID;
}

bool XR3ColorTransformSupport::validateCombination(XR3ColorSpace from, XR3ColorSpace to,
                                                   XR3ColorTransform transform) {
    const XR3ColorSpace a = XR3Type::getColorSpaceWithoutAlpha(from);
    const XR3ColorSpace b = XR3Type::getColorSpaceWithoutAlpha(to);
    const bool aMulti = a == XR3_COLORSPACE_MULTISPECTRAL;
    const bool bMulti = b == XR3_COLORSPACE_MULTISPECTRAL;
    switch (transform) {
        case XR3_COLORTRANSFORM_NONE:
            return a == b || aMulti || bMulti;
        case XR3_COLORTRANSFORM_YIQ_TO_RGB:
            return a == XR3_COLORSPACE_YIQ && (b == XR3_COLORSPACE_RGB || bMulti);
        case XR3_COLORTRANSFORM_YIQK_TO_RGBK:
            return a == XR3_COLORSPACE_YIQK && b == XR3_COLORSPACE_RGBK;
        case XR3_COLORTRANSFORM_RGB_TO_YIQ:
            return (a == XR3_COLORSPACE_RGB || aMulti) && b == XR3_COLORSPACE_YIQ;
        case XR3_COLORTRANSFORM_RGBK_TO_YIQK:
            return a == XR3_COLORSPACE_RGBK && b == XR3_COLORSPACE_YIQK;
        case XR3_COLORTRANSFORM_UNKNOWN:
            return getDefaultTransform(from, to) == XR3_COLORTRANSFORM_UNKNOWN;
        default:
            return false;
    }
}

QVIGeomRect XR3RectOps::intersection(const QVIGeomRect& a, const QVIGeomRect& b) {
    if (!intersects(a, b)) return QVIGeomRect();
    return QVIGeomRect(std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1));
}

QuantizationInfo::QuantizationInfo() {
    const float nan = std::bit_cast<float>(uint32_t(0x7FC00000));
    offset = maxValue = spare = step = nan;
}

QVStatus XR3ImageInfo::computeSubbands(uint32_t width, uint32_t height, uint32_t numLevels, uint32_t subblockSize,
                                       std::vector<XR3SubbandDims>& out, uint64_t& numSubblocks) {
    if (numLevels > kMaxNumLevels) return xr3Fail(QVI_STS_Tavix_BadNumLevels);
    if (subblockSize == 0) return xr3Fail(QVI_STS_Tavix_CorruptFile);
    out.assign(4 * numLevels + 1, XR3SubbandDims());
    uint32_t w = width;
    uint32_t h = height;
    auto halfUp = [](uint32_t v) { return uint32_t((uint64_t(v) + 1) >> 1); };
    for (uint32_t k = numLevels; k >= 1; --k) {
        const uint32_t i = 4 * k;
        out[i].width = w >> 1;  // HH
        out[i].height = h >> 1;
        out[i - 1].width = halfUp(w);  // LH
        out[i - 1].height = h >> 1;
        out[i - 2].width = w >> 1;  // HL
        out[i - 2].height = halfUp(h);
        out[i - 3].width = halfUp(w);  // overflow band
        out[i - 3].height = halfUp(h);
        w = halfUp(w);
        h = halfUp(h);
    }
    out[0].width = w;
    out[0].height = h;
    numSubblocks = 0;
    for (XR3SubbandDims& dims : out) {
        const uint32_t rows = ceilDiv(dims.height, subblockSize);
        const uint32_t cols = ceilDiv(dims.width, subblockSize);
        // Subblock indices of a subband must fit the 16-bit row and column counts.
        if (rows > 0xFFFF || cols > 0xFFFF) return xr3Fail(QVI_STS_Tavix_CorruptFile);
        dims.rows = uint16_t(rows);
        dims.cols = uint16_t(cols);
        numSubblocks += uint64_t(rows) * cols;
    }
    return 0;
}

QVStatus XR3ImageInfo::setup_subbands() {
    uint64_t count = 0;
    if (QVStatus st = computeSubbands(width, height, numLevels, subblockSize, subbands, count)) return st;
    numSubbands = uint8_t(4 * numLevels + 1);
    numSubblocks = count;
    if (hasDefaultCrop()) setCropRect(getFullRect());
    return 0;
}

void XR3ImageInfo::updateCroppedOrScaled() { isCroppedOrScaled = scale != 0 || getCropRect() != getFullRect(); }

bool XR3ImageInfo::vaildFPQuantization(float step, float offset, float maxValue, bool narrow) {
    if (maxValue < offset) return false;
    const double levels = std::floor((double(maxValue) - offset) / step + 0.5);
    const double n = std::ceil(std::log2(levels));
    return n < (narrow ? 27 : 29);
}

QVStatus XR3ImageInfo::setQuantizationInfo(const QuantizationInfo* info, bool validate) {
    if (info == nullptr) {
        quantization.clear();
        return 0;
    }
    if (validate) {
        for (uint32_t b = 0; b < numBands; ++b) {
            if (!vaildFPQuantization(info[b].step, info[b].offset, info[b].maxValue, false))
                return xr3Fail(QVI_STS_Tavix_FloatQuantizationOverflow);
        }
    }
    quantization.assign(info, info + numBands);
    return 0;
}

uint32_t XR3ImageInfo::getNumPrecisionBitsOfRange() const {
    const uint64_t span = uint64_t(int64_t(std::max(rangeMax, 0)) - int64_t(std::min(rangeMin, 0)));
    return uint32_t(std::bit_width(span));
}

void XR3ImageInfo::getSubblockRowCol(uint32_t subband, uint32_t subblock, uint32_t& row, uint32_t& col) const {
    const uint32_t cols = subbands[subband].cols;
    row = cols ? subblock / cols : 0;
    col = cols ? subblock % cols : 0;
}

void XR3ImageInfo::getSubblockWidthHeight(uint32_t subband, uint32_t row, uint32_t col, uint32_t& w,
                                          uint32_t& h) const {
    const XR3SubbandDims& dims = subbands[subband];
    const uint64_t n = subblockSize;
    w = uint32_t(std::min<uint64_t>(n, dims.width - col * n));
    h = uint32_t(std::min<uint64_t>(n, dims.height - row * n));
}

void XR3ImageInfo::getSubblockInfo(uint32_t subband, uint32_t subblock, uint32_t& row, uint32_t& col, uint32_t& w,
                                   uint32_t& h) const {
    getSubblockRowCol(subband, subblock, row, col);
    getSubblockWidthHeight(subband, row, col, w, h);
}

QVIGeomRect XR3ImageInfo::getSubblockSupport(uint32_t subband, uint32_t subblock) const {
    uint32_t row, col, w, h;
    getSubblockInfo(subband, subblock, row, col, w, h);
    const int32_t x0 = int32_t(col * subblockSize);
    const int32_t y0 = int32_t(row * subblockSize);
    return QVIGeomRect(x0, y0, int32_t(x0 + w - 1), int32_t(y0 + h - 1));
}

QVIGeomRect XR3ImageInfo::getSubbandRect(uint32_t subband) const {
    const XR3SubbandDims& dims = subbands[subband];
    return QVIGeomRect(0, 0, int32_t(dims.width) - 1, int32_t(dims.height) - 1);
}

uint32_t XR3ImageInfo::calcMaxNLev(uint32_t w, uint32_t h) {
    const uint64_t side = std::min(w, h);
    uint32_t n = 0;
    while ((uint64_t(1) << (n + 2)) < side) ++n;
    return n;
}

QVStatus XR3ImageInfo::projectSupportToScale(int32_t toScale, const QVIGeomRect& rect, bool useVirtual,
                                             QVIGeomRect& out) const {
    QVIGeomRect moved = rect;
    int32_t s = toScale;
    if (useVirtual) {
        const int64_t corners[4] = {int64_t(rect.x0) + cropX0, int64_t(rect.y0) + cropY0,
                                    int64_t(rect.x1) + cropX0, int64_t(rect.y1) + cropY0};
        for (int64_t c : corners) {
            if (c < INT32_MIN || c > INT32_MAX) return xr3Fail(QVI_STS_Tavix_IntegerOverflow);
        }
        moved = QVIGeomRect(int32_t(corners[0]), int32_t(corners[1]), int32_t(corners[2]), int32_t(corners[3]));
        s += scale;
    }
    if (QVStatus st = XR3Projectors::projectRect(moved, s, out)) return st;
    // A magnified rectangle must not reach past the magnified image.
    if (s < 0) return XR3Projectors::clipAtScale(width, height, out, s);
    return 0;
}

QVStatus XR3ImageInfo::getSupportAtScale(int32_t toScale, bool absolute, bool useVirtual, QVIGeomRect& out) const {
    const QVIGeomRect start = useVirtual ? getCropRect() : getFullRect();
    if (QVStatus st = projectSupportToScale(toScale, start, false, out)) return st;
    // A magnified virtual image ends with the full image: the sizes of the
    // reduced image it lies in were rounded up.
    if (useVirtual && toScale < 0) {
        if (QVStatus st = XR3Projectors::clipAtScale(width, height, out, toScale + scale)) return st;
    }
    if (!absolute)
        out = QVIGeomRect(0, 0, int32_t(XR3RectOps::width(out) - 1), int32_t(XR3RectOps::height(out) - 1));
    return 0;
}

}  // namespace Orvanetics
