#include "xr3_subblockData.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "xr3_imageInfo.h"
#include "xr3_planeScan.h"
#include "xr3_subblockLocator.h"

namespace Orvanetics {

using XR3PlaneScan::BandLayout;
using XR3PlaneScan::kSignBit;

namespace {

// A band coordinate moved into a subblock, kept within reach of its clip.
int32_t subblockCoordinate(int64_t value) {
    return int32_t(std::clamp<int64_t>(value, -1, int64_t(UINT16_MAX) + 1));
}

// Symbols of an MQ-coded plane.
class MQSymbols {
public:
    MQSymbols(XR3MQContexts& contexts, const XR3PlaneData& plane) : m_contexts(contexts.state) {
        m_decoder.start(plane.buffer, plane.length);
    }
    void refine(unsigned context, uint32_t& coef, uint32_t bit) {
        if (m_decoder.decode(m_contexts[context]))
            coef |= bit;
    }
    bool significance(unsigned context, uint32_t& coef, uint32_t bit) {
        if (!m_decoder.decode(m_contexts[context]))
            return false;
        coef |= bit;
        return true;
    }
    bool sign(unsigned context, unsigned predicted, uint32_t& coef) {
        const bool positive = m_decoder.decode(m_contexts[context]) == predicted;
        if (!positive)
            coef |= kSignBit;
        return positive;
    }
    int skipZeroRun(unsigned context, const uint32_t* states, int first, int end) {
        return m_decoder.decodeZeroRun(m_contexts[context], states, first, end);
    }

private:
    XR3MQDecoder m_decoder;
    uint8_t* m_contexts;
};

// Symbols of a raw plane: its bits, most significant first; 0 behind the end.
class RawSymbols {
public:
    explicit RawSymbols(const XR3PlaneData& plane) : m_next(plane.buffer), m_end(plane.buffer + plane.length) {}
    void refine(unsigned, uint32_t& coef, uint32_t bit) {
        if (read())
            coef |= bit;
    }
    bool significance(unsigned, uint32_t& coef, uint32_t bit) {
        if (!read())
            return false;
        coef |= bit;
        return true;
    }
    bool sign(unsigned, unsigned predicted, uint32_t& coef) {
        const bool positive = read() == predicted;
        if (!positive)
            coef |= kSignBit;
        return positive;
    }

private:
    unsigned read() {
        if (m_left == 0) {
            m_byte = m_next < m_end ? *m_next++ : 0;
            m_left = 8;
        }
        --m_left;
        return (m_byte >> m_left) & 1u;
    }

    const uint8_t* m_next;
    const uint8_t* m_end;
    uint32_t m_byte = 0;
    unsigned m_left = 0;
};

void decodePlane(const BandLayout& band, XR3MQContexts& contexts, const XR3PlaneData& plane, uint32_t bit) {
    if (plane.isBypass()) {
        RawSymbols symbols(plane);
        XR3PlaneScan::scanPlane<false>(band, symbols, bit);
    } else {
        MQSymbols symbols(contexts, plane);
        XR3PlaneScan::scanPlane<true>(band, symbols, bit);
    }
}

void zeroBlock(int32_t* block, size_t stride, unsigned width, unsigned height) {
    for (unsigned y = 0; y < height; ++y)
        std::memset(block + y * stride, 0, width * sizeof(int32_t));
}

// Sign and magnitude to two's complement. With `roundBit` >= 0, non-zero
// magnitudes first grow by the reconstruction offset of a band cut short at
// magnitude bit `roundBit`: 2^k at odd, 2^k - 1 at even linear indices
// `firstIndex + y * indexPitch + x`. Branch-free, so that rows vectorise.
void finishBand(const BandLayout& band, int roundBit, size_t firstIndex, size_t indexPitch) {
    const uint32_t evenOffset = roundBit >= 0 ? (1u << roundBit) - 1u : 0u;
    const uint32_t oddExtra = roundBit >= 0 ? 1u : 0u;  // the odd offset is one more
    for (int y = 0; y < band.height; ++y) {
        uint32_t* const c = band.coefs + y * band.stride;
        const uint32_t rowParity = uint32_t(firstIndex + size_t(y) * indexPitch) & 1u;
        for (int x = 0; x < band.width; ++x) {
            const uint32_t value = c[x];
            const uint32_t magnitude = value & ~kSignBit;
            const uint32_t offset = evenOffset + ((rowParity + uint32_t(x)) & oddExtra);
            const uint32_t grown = magnitude + (magnitude != 0 ? offset : 0u);
            const uint32_t negative = 0u - (value >> 31);
            c[x] = (grown ^ negative) - negative;
        }
    }
}

}  // namespace

QVStatus XR3SubblockData::allocatePlanes(uint16_t bands) {
    if (m_planes && bands == m_planeBands) {
        setInvalid();
        return 0;
    }
    m_planes.reset();
    m_planeBands = 0;
    if (bands == 0)
        return 0;
    m_planes.reset(new (std::nothrow) XR3PlaneData[size_t(bands) * kXR3PlanesPerBand]);
    if (!m_planes)
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    m_planeBands = bands;
    return 0;
}

QVStatus XR3SubblockData::initSize(uint8_t subbandIndex, uint32_t subblockIndex, uint16_t bands, uint16_t w,
                                   uint16_t h) {
    subband = subbandIndex;
    subblock = subblockIndex;
    width = w;
    height = h;
    x0 = 0;
    x1 = int32_t(w) - 1;
    y0 = 0;
    y1 = int32_t(h) - 1;
    numBands = bands;
    return allocatePlanes(bands);
}

QVStatus XR3SubblockData::init(const XR3ImageInfo& info, uint8_t subbandIndex, uint32_t subblockIndex,
                               uint16_t bands) {
    if (subbandIndex >= info.subbands.size())
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    const XR3SubbandDims& dims = info.subbands[subbandIndex];
    if (subblockIndex >= uint32_t(dims.rows) * dims.cols)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    uint32_t row = 0, col = 0, w = 0, h = 0;
    info.getSubblockInfo(subbandIndex, subblockIndex, row, col, w, h);
    if (const QVStatus status = initSize(subbandIndex, subblockIndex, bands, uint16_t(w), uint16_t(h)))
        return status;
    if (!info.isCroppedOrScaled)
        return 0;

    // A cropped image holds only the coefficients that its crop still needs;
    // the crop lies in the image reduced by the header's scale.
    QVIGeomRect crop;
    if (const QVStatus status =
            XR3Projectors::projectVirtualSupportNew(info.getCropRect(), -info.scale, info.getFullRect(), crop))
        return status;
    if (crop.isEmpty()) {
        setCoefficientArea(1, 0, 1, 0);
        return 0;
    }
    bool highX = false, highY = false;
    const int32_t level = int32_t(XR3SubblockLocator::subbandLevel(subbandIndex, info.numLevels, highX, highY));
    int64_t firstX = 0, endX = 0, firstY = 0, endY = 0;
    XR3SubblockLocator::relevantCoefs1(level, highX, info.width, crop.x0, int64_t(crop.x1) + 1, firstX, endX);
    XR3SubblockLocator::relevantCoefs1(level, highY, info.height, crop.y0, int64_t(crop.y1) + 1, firstY, endY);
    const int64_t left = int64_t(col) * info.subblockSize, top = int64_t(row) * info.subblockSize;
    setCoefficientArea(subblockCoordinate(firstX - left), subblockCoordinate(endX - 1 - left),
                       subblockCoordinate(firstY - top), subblockCoordinate(endY - 1 - top));
    return 0;
}

void XR3SubblockData::setCoefficientArea(int32_t areaX0, int32_t areaX1, int32_t areaY0, int32_t areaY1) {
    const auto clip = [](int32_t lo, int32_t hi, int32_t size, int32_t& outLo, int32_t& outHi) {
        outLo = std::max(lo, 0);
        outHi = std::min(hi, size - 1);
        if (outHi < outLo) {
            outLo = 1;
            outHi = 0;
        }
    };
    clip(areaX0, areaX1, width, x0, x1);
    clip(areaY0, areaY1, height, y0, y1);
}

bool XR3SubblockData::hasData() const {
    const size_t count = size_t(m_planeBands) * kXR3PlanesPerBand;
    return std::any_of(m_planes.get(), m_planes.get() + count, [](const XR3PlaneData& p) { return p.isPresent(); });
}

void XR3SubblockData::setInvalid() {
    const size_t count = size_t(m_planeBands) * kXR3PlanesPerBand;
    for (size_t i = 0; i < count; ++i)
        m_planes[i].clear();
}

QVStatus XR3SubblockData::copy(const XR3SubblockData& other, bool deep) {
    if (this == &other)
        return 0;
    if (const QVStatus status = initSize(other.subband, other.subblock, other.numBands, other.width, other.height))
        return status;
    x0 = other.x0;
    x1 = other.x1;
    y0 = other.y0;
    y1 = other.y1;
    if (!deep)
        return 0;
    const size_t count = size_t(m_planeBands) * kXR3PlanesPerBand;
    for (size_t i = 0; i < count; ++i) {
        if (const QVStatus status = m_planes[i].copyFrom(other.m_planes[i]))
            return status;
    }
    return 0;
}

QVStatus XR3SubblockData::decode(int32_t* const* coefs, size_t stride, size_t offset, bool round) const {
    const int areaWidth = x1 - x0 + 1, areaHeight = y1 - y0 + 1;
    const ptrdiff_t statePitch = areaWidth + 4;
    std::unique_ptr<uint32_t[]> state;
    const uint8_t* const significance = XR3ContextTables::getSignificanceContext(subband);

    for (unsigned b = 0; b < numBands; ++b) {
        if (!coefs[b])
            continue;
        int32_t* const block = coefs[b] + offset;
        zeroBlock(block, stride, width, height);
        if (hasEmptyArea())
            continue;
        // Plane 0 would be the sign bit's place: it is never coded.
        unsigned p = 1;
        while (p < kXR3PlanesPerBand && !plane(b, p).isPresent())
            ++p;
        if (p == kXR3PlanesPerBand)
            continue;

        const size_t stateWords = size_t(statePitch) * size_t(areaHeight + 4);
        if (!state) {
            state.reset(new (std::nothrow) uint32_t[stateWords]);
            if (!state)
                return xr3Fail(QVI_STS_Tavix_OutOfMemory);
        }
        std::memset(state.get(), 0, stateWords * sizeof(uint32_t));
        const BandLayout band{state.get() + 2 * statePitch + 2, statePitch,
                              reinterpret_cast<uint32_t*>(block + size_t(y0) * stride + size_t(x0)),
                              ptrdiff_t(stride), areaWidth, areaHeight, significance};
        XR3MQContexts contexts;
        contexts.reset();
        for (; p < kXR3PlanesPerBand && plane(b, p).isPresent(); ++p)
            decodePlane(band, contexts, plane(b, p), 1u << (31 - p));

        const int roundBit = (round && p < kXR3PlanesPerBand) ? int(31 - p) : -1;
        finishBand(band, roundBit, size_t(y0) * width + size_t(x0), width);
    }
    return 0;
}

}  // namespace Orvanetics
