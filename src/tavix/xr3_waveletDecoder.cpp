#include "xr3_waveletDecoder.h"

#include <algorithm>
#include <limits>
#include <new>

#include "qvi_dataTypeDispatch.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"

namespace Orvanetics {

namespace {

constexpr uint32_t kUnitRows = 2;

// The clamp bounds of a sample type: the decoder's range within the type's own.
template <typename T>
void clampBounds(int32_t rangeMin, int32_t rangeMax, int32_t& lo, int32_t& hi) {
    if constexpr (std::is_integral_v<T>) {
        lo = int32_t(std::max<int64_t>(rangeMin, int64_t(std::numeric_limits<T>::min())));
        hi = int32_t(std::min<int64_t>(rangeMax, int64_t(std::numeric_limits<T>::max())));
    } else {
        lo = rangeMin;
        hi = rangeMax;
    }
}

int32_t clampSample(int32_t v, int32_t lo, int32_t hi) {
    v = v < lo ? lo : v;
    return v > hi ? hi : v;
}

// A plain counted loop: the compiler vectorises it for every sample type.
template <typename T, typename Convert>
void convertRow(const int32_t* __restrict from, T* __restrict to, size_t count, Convert convert) {
    for (size_t x = 0; x < count; ++x) to[x] = convert(from[x]);
}

template <typename T>
void convertRow(const int32_t* from, T* __restrict to, size_t count, int32_t lo, int32_t hi, double step,
                double offset) {
    if constexpr (std::is_integral_v<T>) {
        convertRow(from, to, count, [lo, hi](int32_t v) { return T(clampSample(v, lo, hi)); });
    } else {
        // Float samples are dequantised: value * step + offset.
        const T s = T(step), o = T(offset);
        convertRow(from, to, count, [lo, hi, s, o](int32_t v) { return T(clampSample(v, lo, hi)) * s + o; });
    }
}

}  // namespace

PipelinedWaveletDecoder::PipelinedWaveletDecoder(const QVIGeomRect& rect, uint16_t numBands,
                                                 DecodeBase& decodeBase, std::unique_ptr<Pipe> pipe)
    : m_rect(rect), m_numBands(numBands), m_decodeBase(decodeBase), m_pipe(std::move(pipe)) {}

std::unique_ptr<PipelinedWaveletDecoder> PipelinedWaveletDecoder::create(const QVIGeomRect& rect, uint32_t numLevels,
                                                                         uint32_t height, uint32_t width,
                                                                         uint16_t numBands, int32_t scale,
                                                                         DecodeBase& decodeBase) {
    if (numBands == 0 || numBands != decodeBase.getNumSelectedBands()) return nullptr;
    std::unique_ptr<Pipe> pipe = Pipe::create(rect, numLevels, height, width, numBands, scale);
    if (!pipe) return nullptr;
    return std::unique_ptr<PipelinedWaveletDecoder>(
        new (std::nothrow) PipelinedWaveletDecoder(rect, numBands, decodeBase, std::move(pipe)));
}

QVStatus PipelinedWaveletDecoder::begin(uint32_t stripHeight, int32_t rangeMin, int32_t rangeMax) {
    m_stripHeight = stripHeight;
    m_rangeMin = rangeMin;
    m_rangeMax = rangeMax;
    const size_t width = size_t(XR3RectOps::width(m_rect));
    try {
        m_bandBuffer.assign(size_t(m_numBands) * kUnitRows * width, 0);
        m_bandRows.resize(m_numBands);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    for (uint16_t b = 0; b < m_numBands; ++b) m_bandRows[b] = m_bandBuffer.data() + size_t(b) * kUnitRows * width;
    m_lastLineProduced = int64_t(m_rect.y0) - 1;
    m_readOffset = 0;
    m_numHeldBack = 0;
    m_begun = true;
    m_pipe->expectSpans(m_decodeBase);
    return produceUnit();
}

QVStatus PipelinedWaveletDecoder::produceUnit() {
    const int64_t y = m_lastLineProduced + 1;
    if (y > m_rect.y1) return xr3Fail(QVI_STS_Tavix_BadArgument);
    // Units follow the stages' row pairs: an odd first row stands alone.
    const int64_t count = (y & 1) ? 1 : std::min<int64_t>(kUnitRows, int64_t(m_rect.y1) - y + 1);
    const QVIGeomRect unit(m_rect.x0, int32_t(y), m_rect.x1, int32_t(y + count - 1));
    if (QVStatus status = m_pipe->fillPipe(unit, m_bandRows.data(), size_t(XR3RectOps::width(m_rect)), m_decodeBase))
        return status;
    m_lastLineProduced = y + count - 1;
    m_readOffset = 0;
    m_numHeldBack = uint32_t(count);
    return 0;
}

QVStatus PipelinedWaveletDecoder::decodeStrip(const QVIGeomRect& rect, QVISceneBuffer& buffer) {
    const int64_t nextRow = m_lastLineProduced - m_numHeldBack + 1;
    if (!m_begun || rect.isEmpty() || !XR3RectOps::contains(m_rect, rect) || rect.y0 != nextRow ||
        buffer.getNumBands() != m_numBands || buffer.getNumCols() < uint32_t(rect.getWidth()) ||
        buffer.getNumRows() < uint32_t(rect.getHeight()))
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    const uint32_t rows = uint32_t(rect.getHeight());
    for (uint32_t toRow = 0; toRow < rows;) {
        if (m_numHeldBack == 0)
            if (QVStatus status = produceUnit()) return status;
        const uint32_t count = std::min(m_numHeldBack, rows - toRow);
        if (QVStatus status = copyOutBuffer(m_readOffset, count, rect, buffer, toRow)) return status;
        m_readOffset += count;
        m_numHeldBack -= count;
        toRow += count;
    }
    return 0;
}

QVStatus PipelinedWaveletDecoder::copyOutBuffer(uint32_t from, uint32_t count, const QVIGeomRect& rect,
                                                QVISceneBuffer& buffer, uint32_t toRow) const {
    const size_t width = size_t(XR3RectOps::width(m_rect));
    const size_t columns = size_t(rect.getWidth());
    const size_t firstColumn = size_t(rect.x0 - m_rect.x0);
    const XR3ImageInfo& info = m_decodeBase.getImageInfo();
    for (uint16_t b = 0; b < m_numBands; ++b) {
        const QVIDataType type = buffer.getPixelProps().getSample(b).getDataType();
        const uint16_t imageBand = m_decodeBase.getSelectedBand(b);
        const bool quantized = info.hasQuantization() && imageBand < info.quantization.size();
        const double step = quantized ? info.quantization[imageBand].step : 1.0;
        const double offset = quantized ? info.quantization[imageBand].offset : 0.0;
        const QVStatus status = visitDataType(
            type,
            [&](auto tag) -> QVStatus {
                using T = typename decltype(tag)::type;
                int32_t lo = 0, hi = 0;
                clampBounds<T>(m_rangeMin, m_rangeMax, lo, hi);
                for (uint32_t r = 0; r < count; ++r) {
                    const int32_t* source = m_bandRows[b] + size_t(from + r) * width + firstColumn;
                    T* target = static_cast<T*>(buffer.getSample(0, toRow + r, b));
                    convertRow<T>(source, target, columns, lo, hi, step, offset);
                }
                return 0;
            },
            []() -> QVStatus { return xr3Fail(QVI_STS_TavixReader_UnsupportedDataType); });
        if (status) return status;
    }
    return 0;
}

QVStatus PipelinedWaveletDecoder::end() {
    m_begun = false;
    m_bandBuffer = {};
    m_bandRows = {};
    m_numHeldBack = 0;
    return 0;
}

uint64_t PipelinedWaveletDecoder::getBufferedSampleCount() const {
    return m_pipe->getLineSampleCount() + m_bandBuffer.size() + m_decodeBase.getCacheSampleCount();
}

}  // namespace Orvanetics
