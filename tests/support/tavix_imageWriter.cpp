#include "tavix_imageWriter.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "xr3_subblockData.h"
#include "xr3_subblockLocator.h"

namespace TavixFixture {

namespace {

constexpr QVStatus kBadArgument = QVI_STS_Tavix_BadArgument;
// Float data without quantization is spread over this many bits.
constexpr uint32_t kQuantizationBits = 16;

bool isFloat(QVIDataType type) { return type == QVI_DATATYPE_FLOAT32 || type == QVI_DATATYPE_FLOAT64; }

// The coded integer of a sample: the sample itself for integer types, the
// quantised value round((v - offset) / step) for float.
int64_t codedSample(const XR3ImageInfo& info, uint16_t band, double sample) {
    if (info.dataType != XR3_DATATYPE_FLOAT32) return std::llround(sample);
    const QuantizationInfo& q = info.quantization[band];
    return std::llround((sample - double(q.offset)) / double(q.step));
}

using Lifting::add;
using Lifting::sub;
// floor((x * k + 8192) / 16384) from a 64-bit product, kept to 32 bits.
int32_t scaled(int32_t x, int64_t k) { return int32_t(uint32_t(uint64_t((x * k + 8192) >> 14))); }
int32_t mixed(int32_t z, int32_t y) {
    return int32_t(uint32_t(uint64_t((int64_t(z) * -11469 + int64_t(y) * 24279 + 8192) >> 14)));
}

// The colour transform on one coefficient triple (bands 0, 1, 2), in place.
// It wraps at 32 bits, as the decoder's coefficients do, so that it is the
// exact inverse of the decoder's rule for every triple.
void rgbToYiq(int32_t& a, int32_t& b, int32_t& c) {
    const int32_t g = b, z = sub(a, g), y = sub(c, g);
    const int32_t t = add(g, mixed(z, y));
    const int32_t u = add(z, scaled(y, -22640));
    const int32_t first = add(u, t);
    const int32_t second = add(y, scaled(u, 19309));
    a = first;
    b = second;
    c = add(sub(t, first), scaled(second, 19637));
}

// What the coefficients can carry of each integer type: samples are signed 32-bit.
bool integerRange(QVIDataType type, int64_t& lo, int64_t& hi) {
    switch (type) {
        case QVI_DATATYPE_UINT8: lo = 0, hi = 255; return true;
        case QVI_DATATYPE_SINT8: lo = -128, hi = 127; return true;
        case QVI_DATATYPE_UINT16: lo = 0, hi = 65535; return true;
        case QVI_DATATYPE_SINT16: lo = -32768, hi = 32767; return true;
        case QVI_DATATYPE_UINT32: lo = 0, hi = INT32_MAX; return true;
        case QVI_DATATYPE_SINT32: lo = INT32_MIN, hi = INT32_MAX; return true;
        default: return false;
    }
}

XR3ColorSpace codedColorSpace(XR3ColorSpace input, bool yiq) {
    if (!yiq) return input;
    const uint8_t alphaBits = uint8_t(input & (XR3_COLORSPACE_ALPHA_BIT | XR3_COLORSPACE_PREMULTIPLIED_BIT));
    switch (XR3Type::getColorSpaceWithoutAlpha(input)) {
        case XR3_COLORSPACE_RGB: return XR3ColorSpace(XR3_COLORSPACE_YIQ | alphaBits);
        case XR3_COLORSPACE_RGBK: return XR3ColorSpace(XR3_COLORSPACE_YIQK | alphaBits);
        default: return XR3_COLORSPACE_INVALID;
    }
}

XR3Version fileVersion(const TavixImageRecipe& recipe, const XR3ImageInfo& info) {
    if (recipe.version == TavixFileVersion::XR4) return XR3Version::getXR4Version();
    if (XR3Type::hasAlphaBand(info.inputColorSpace)) return XR3Version::getAlphaVersion();
    if (XR3Type::isSigned(info.dataType)) return XR3Version::getSignedDataVersion();
    if (XR3Type::getColorSpaceWithoutAlpha(info.inputColorSpace) == XR3_COLORSPACE_MULTISPECTRAL)
        return XR3Version::getMultiSpectralVersion();
    return XR3Version::getSingleVersion();
}

// Each band's smallest and largest sample.
void bandExtremes(const SourceImage& source, std::vector<double>& lo, std::vector<double>& hi) {
    const uint16_t bands = source.getNumBands();
    lo.assign(bands, std::numeric_limits<double>::infinity());
    hi.assign(bands, -std::numeric_limits<double>::infinity());
    std::vector<double> row(source.getWidth());
    for (uint16_t b = 0; b < bands; ++b) {
        for (uint32_t y = 0; y < source.getHeight(); ++y) {
            source.readRow(b, y, row.data());
            const auto [mn, mx] = std::minmax_element(row.begin(), row.end());
            lo[b] = std::min(lo[b], *mn);
            hi[b] = std::max(hi[b], *mx);
        }
    }
}

// Quantisation of float data, and the range of the quantised values.
QVStatus setupQuantization(const TavixImageRecipe& recipe, const SourceImage& source, XR3ImageInfo& info) {
    const uint16_t bands = source.getNumBands();
    std::vector<double> lo, hi;
    bandExtremes(source, lo, hi);
    std::vector<QuantizationInfo> quantization = recipe.quantization;
    if (quantization.empty()) {
        const double levels = double((1u << kQuantizationBits) - 1);
        for (uint16_t b = 0; b < bands; ++b) {
            QuantizationInfo q;
            q.offset = float(lo[b]);
            q.step = hi[b] > lo[b] ? float((hi[b] - lo[b]) / levels) : 1.0f;
            quantization.push_back(q);
        }
    }
    if (quantization.size() != bands) return xr3Fail(kBadArgument);
    for (const QuantizationInfo& q : quantization)
        if (!(q.step > 0.0f) || !std::isfinite(q.offset)) return xr3Fail(kBadArgument);
    if (QVStatus status = info.setQuantizationInfo(quantization.data(), false)) return status;
    int64_t rangeLo = INT64_MAX, rangeHi = INT64_MIN;
    for (uint16_t b = 0; b < bands; ++b) {
        rangeLo = std::min(rangeLo, codedSample(info, b, lo[b]));
        rangeHi = std::max(rangeHi, codedSample(info, b, hi[b]));
    }
    if (rangeLo < -INT32_MAX || rangeHi > INT32_MAX) return xr3Fail(kBadArgument);
    info.rangeMin = int32_t(rangeLo);
    info.rangeMax = int32_t(rangeHi);
    return 0;
}

QVStatus setupSampleRange(const TavixImageRecipe& recipe, const SourceImage& source, XR3ImageInfo& info) {
    if (isFloat(recipe.dataType)) {
        if (QVStatus status = setupQuantization(recipe, source, info)) return status;
    } else {
        int64_t lo = 0, hi = 0;
        if (!integerRange(recipe.dataType, lo, hi)) return xr3Fail(kBadArgument);
        info.rangeMin = int32_t(lo);
        info.rangeMax = int32_t(hi);
    }
    if (recipe.rangeMin) info.rangeMin = *recipe.rangeMin;
    if (recipe.rangeMax) info.rangeMax = *recipe.rangeMax;
    return 0;
}

// Energy gain of a subband through the synthesis, from the squared norms
// of the 1-D synthesis filters (low [1/2 1 1/2], high [-1/8 -1/4 3/4 -1/4 -1/8]).
float subbandWeight(uint32_t subband, uint32_t numLevels) {
    constexpr double kLowGain = 1.5, kHighGain = 46.0 / 64.0;
    if (numLevels == 0) return 1.0f;
    bool highX = false, highY = false;
    const uint32_t depth = XR3SubblockLocator::subbandLevel(subband, numLevels, highX, highY);
    double weight = (highX ? kHighGain : kLowGain) * (highY ? kHighGain : kLowGain);
    for (uint32_t k = 1; k < depth; ++k) weight *= kLowGain * kLowGain;
    return float(weight);
}

// Keeps one row of subblocks per subband, and codes each row as soon as it
// is complete, its subblocks in parallel, into the planeset content.
class SubblockRowEncoder : public SubbandRowSink {
public:
    SubblockRowEncoder(const XR3ImageInfo& info, const TavixImageRecipe& recipe, PlanesetContent& content)
        : m_info(info), m_recipe(recipe), m_content(content), m_rows(info.numSubbands) {
        for (uint32_t s = 0; s < info.numSubbands; ++s)
            m_rows[s].assign(size_t(info.subbands[s].width) * info.subblockSize * info.numBands, 0);
    }

    QVStatus getStatus() const { return m_status; }

    void takeRow(uint32_t subband, uint32_t row, uint32_t width, const int32_t* values, size_t bandPitch) override {
        const uint32_t n = m_info.subblockSize;
        std::vector<int32_t>& rows = m_rows[subband];
        for (uint16_t b = 0; b < m_info.numBands; ++b)
            std::copy(values + b * bandPitch, values + b * bandPitch + width,
                      rows.begin() + ptrdiff_t((size_t(b) * n + row % n) * width));
        if (row % n == n - 1 || row + 1 == m_info.subbands[subband].height) encodeRow(subband, row / n);
    }

private:
    struct CodedSubblock {
        QVStatus status = 0;
        std::vector<std::pair<XR3PlaneDesc, FixturePlane>> planes;
    };

    void encodeRow(uint32_t subband, uint32_t subblockRow) {
        if (m_status) return;
        const uint32_t cols = m_info.subbands[subband].cols;
        std::vector<CodedSubblock> coded(cols);
        tbb::parallel_for(uint32_t(0), cols, [&](uint32_t col) {
            coded[col].status = encodeSubblock(subband, subblockRow, col, coded[col].planes);
        });
        for (CodedSubblock& subblock : coded) {
            if (subblock.status) {
                m_status = subblock.status;
                return;
            }
            for (auto& [desc, plane] : subblock.planes) m_content.set(desc, std::move(plane));
        }
    }

    QVStatus encodeSubblock(uint32_t subband, uint32_t subblockRow, uint32_t col,
                            std::vector<std::pair<XR3PlaneDesc, FixturePlane>>& out) const {
        const uint32_t n = m_info.subblockSize, rowWidth = m_info.subbands[subband].width;
        const uint16_t bands = m_info.numBands;
        const uint32_t index = m_info.getSubblockIndex(subband, subblockRow, col);
        XR3SubblockData data;
        if (QVStatus status = data.init(m_info, uint8_t(subband), index, bands)) return status;
        const uint32_t w = data.width, h = data.height;
        std::vector<int32_t> block(size_t(w) * h * bands);
        const std::vector<int32_t>& rows = m_rows[subband];
        for (uint16_t b = 0; b < bands; ++b)
            for (uint32_t y = 0; y < h; ++y) {
                const auto from = rows.begin() + ptrdiff_t((size_t(b) * n + y) * rowWidth + size_t(col) * n);
                std::copy(from, from + w, block.begin() + ptrdiff_t((size_t(b) * h + y) * w));
            }
        if (m_recipe.yiq) {
            const size_t area = size_t(w) * h;
            for (size_t i = 0; i < area; ++i) rgbToYiq(block[i], block[area + i], block[2 * area + i]);
        }
        std::vector<const int32_t*> coefs(bands);
        for (uint16_t b = 0; b < bands; ++b) coefs[b] = block.data() + size_t(b) * w * h;
        XR3MSELut lut;
        lut.subbandWeight = subbandWeight(subband, m_info.numLevels);
        if (QVStatus status = data.encode(coefs.data(), w, 0, m_recipe.planeset.hasMSE ? &lut : nullptr,
                                          m_recipe.truncatePlanes))
            return status;
        collectPlanes(data, index, out);
        return 0;
    }

    void collectPlanes(const XR3SubblockData& data, uint32_t index,
                       std::vector<std::pair<XR3PlaneDesc, FixturePlane>>& out) const {
        const uint32_t lockMask =
            m_info.lockValueWidth >= 4 ? UINT32_MAX : (uint32_t(1) << (8 * m_info.lockValueWidth)) - 1;
        for (uint16_t b = 0; b < data.numBands; ++b) {
            for (uint8_t p = 0; p < kXR3PlanesPerBand; ++p) {
                const XR3PlaneData& plane = data.plane(b, p);
                if (!plane.isPresent()) continue;
                const XR3PlaneDesc desc(data.subband, index, b, p);
                FixturePlane fixture;
                fixture.bytes.assign(plane.buffer, plane.buffer + plane.length);
                fixture.mse = plane.mse;
                fixture.bypass = plane.isBypass();
                // Any value will do: a lock is not applied to the bytes here.
                fixture.lockValue = uint32_t(desc.to_index() * 2654435761u) & lockMask;
                out.emplace_back(desc, std::move(fixture));
            }
        }
    }

    const XR3ImageInfo& m_info;
    const TavixImageRecipe& m_recipe;
    PlanesetContent& m_content;
    std::vector<std::vector<int32_t>> m_rows;  // per subband: band by band, n rows of its width
    QVStatus m_status = 0;
};

// Feeds the source's rows, as coded integers, through the transform.
QVStatus codeImage(const TavixImageRecipe& recipe, const SourceImage& source, const XR3ImageInfo& info,
                   PlanesetContent& content) {
    SubblockRowEncoder encoder(info, recipe, content);
    StreamingForwardTransform transform(info.width, info.height, info.numBands, info.numLevels, recipe.overflow,
                                        encoder);
    int64_t lo = INT32_MIN, hi = INT32_MAX;
    if (!isFloat(recipe.dataType)) integerRange(recipe.dataType, lo, hi);
    std::vector<double> samples(info.width);
    std::vector<int32_t> row(size_t(info.width) * info.numBands);
    for (uint32_t y = 0; y < info.height; ++y) {
        for (uint16_t b = 0; b < info.numBands; ++b) {
            source.readRow(b, y, samples.data());
            int32_t* out = row.data() + size_t(b) * info.width;
            for (uint32_t x = 0; x < info.width; ++x) {
                const int64_t value = codedSample(info, b, samples[x]);
                if (value < lo || value > hi) return xr3Fail(kBadArgument);
                out[x] = int32_t(value);
            }
        }
        transform.pushRow(row.data(), info.width);
        if (QVStatus status = encoder.getStatus()) return status;
    }
    return 0;
}

std::vector<std::unique_ptr<XR3Packet>> metadataPackets(const TavixImageRecipe& recipe) {
    std::vector<std::unique_ptr<XR3Packet>> packets;
    if (recipe.georef) {
        const XR3GeorefData& georef = *recipe.georef;
        packets.push_back(makeMetadataPacket(
            3, 0, 0, writtenBytes([&](QVIOStreamWriter<true>& writer) { return georef.write(writer); })));
    }
    if (!recipe.xmp.empty()) packets.push_back(makeMetadataPacket(4, 0, 0, recipe.xmp));
    return packets;
}

// The whole image reduced by `scale` octaves, the virtual image of a scale without a crop.
QVIGeomRect reducedImageRect(uint32_t width, uint32_t height, int8_t scale) {
    const auto reduced = [scale](uint32_t size) { return int32_t(((uint64_t(size) + (1ull << scale) - 1) >> scale) - 1); };
    return QVIGeomRect(0, 0, reduced(width), reduced(height));
}

// The header's image info for `recipe` over `source`, subbands set up.
QVStatus makeTavixImageInfo(const TavixImageRecipe& recipe, const SourceImage& source, XR3ImageInfo& info) {
    info = XR3ImageInfo();
    const uint32_t width = source.getWidth(), height = source.getHeight();
    const uint16_t bands = source.getNumBands();
    const XR3DataType dataType = isFloat(recipe.dataType) ? XR3_DATATYPE_FLOAT32 : XR3Type::toXR3(recipe.dataType);
    const XR3ColorSpace coded = codedColorSpace(recipe.colorSpace, recipe.yiq);
    const uint32_t minBands = XR3Type::getMinNumBands(recipe.colorSpace);
    const uint32_t numLevels =
        recipe.numLevels == TavixImageRecipe::kMaxLevels ? XR3ImageInfo::calcMaxNLev(width, height) : recipe.numLevels;
    if (width == 0 || height == 0 || bands == 0 || recipe.subblockSize == 0 || dataType == XR3_DATATYPE_INVALID ||
        coded == XR3_COLORSPACE_INVALID || minBands == 0 || bands < minBands ||
        numLevels > XR3ImageInfo::kMaxNumLevels || recipe.truncatePlanes > kXR3PlanesPerBand || recipe.scale < 0 ||
        uint32_t(recipe.scale) > numLevels)
        return xr3Fail(kBadArgument);
    info.imageNumber = 0;
    info.width = width;
    info.height = height;
    info.numLevels = uint8_t(numLevels);
    info.numBands = bands;
    info.subblockSize = recipe.subblockSize;
    info.wordBits = 32;
    info.dataType = dataType;
    info.inputColorSpace = recipe.colorSpace;
    info.codedColorSpace = coded;
    info.colorTransform = XR3ColorTransformSupport::getDefaultTransform(recipe.colorSpace, coded);
    info.codingKindA = 0;
    info.codingKindB = 0;
    info.codingKindC = 0;
    info.spareWords[0] = info.spareWords[1] = 0;
    info.hasPlaneMSE = recipe.planeset.hasMSE;
    info.locked = recipe.planeset.lockValueWidth != 0;
    info.lockValueWidth = recipe.planeset.lockValueWidth;
    info.setCropRect(recipe.crop ? *recipe.crop : reducedImageRect(width, height, recipe.scale));
    info.scale = recipe.scale;
    if (QVStatus status = setupSampleRange(recipe, source, info)) return status;
    if (QVStatus status = info.setup_subbands()) return status;
    if (recipe.crop || recipe.scale) info.updateCroppedOrScaled();
    return 0;
}

}  // namespace

QVStatus writeTavixImage(const TavixImageRecipe& recipe, const SourceImage& source, std::vector<uint8_t>& out) {
    try {
        XR3ImageInfo info;
        if (QVStatus status = makeTavixImageInfo(recipe, source, info)) return status;
        PlanesetContent content;
        if (QVStatus status = codeImage(recipe, source, info, content)) return status;
        out = writeImageFile(info, content, recipe.planeset, metadataPackets(recipe), recipe.index,
                             fileVersion(recipe, info)).bytes;
        return 0;
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    } catch (const std::runtime_error&) {
        return xr3Fail(QVI_STS_Tavix_WriteError);
    }
}

QVStatus writeTavixImageFile(const TavixImageRecipe& recipe, const SourceImage& source, const std::string& path) {
    std::vector<uint8_t> bytes;
    if (QVStatus status = writeTavixImage(recipe, source, bytes)) return status;
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file) return xr3Fail(QVI_STS_Tavix_OpenError);
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return xr3Fail(QVI_STS_Tavix_WriteError);
    if (std::fclose(file.release()) != 0) return xr3Fail(QVI_STS_Tavix_WriteError);
    return 0;
}

}  // namespace TavixFixture
