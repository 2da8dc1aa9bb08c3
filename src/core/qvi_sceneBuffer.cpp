#include "qvi_sceneBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "qv_ioStreamInf.h"
#include "qv_statusCodes.h"
#include "qvi_pixel.h"

namespace Orvanetics {

namespace {

// Largest single stream transfer; bigger blocks go in several calls.
constexpr size_t kMaxStreamChunk = size_t(1) << 30;

template <size_t N>
using SampleSize = std::integral_constant<size_t, N>;

template <size_t N>
struct SampleWord;
template <>
struct SampleWord<1> { using type = uint8_t; };
template <>
struct SampleWord<2> { using type = uint16_t; };
template <>
struct SampleWord<4> { using type = uint32_t; };
template <>
struct SampleWord<8> { using type = uint64_t; };

// Calls fn with SampleSize<N> for the sample sizes the model knows; false for others.
template <typename Fn>
bool dispatchSampleSize(uint32_t bytes, Fn&& fn)
{
    switch (bytes) {
    case 1: fn(SampleSize<1>{}); return true;
    case 2: fn(SampleSize<2>{}); return true;
    case 4: fn(SampleSize<4>{}); return true;
    case 8: fn(SampleSize<8>{}); return true;
    default: return false;
    }
}

// Band memory carries no alignment guarantee, so samples move through memcpy
// of a constant size, which compiles to plain loads and stores.
template <size_t N>
void copyStrided(uint8_t* dst, ptrdiff_t dstStep, const uint8_t* src, ptrdiff_t srcStep,
                 uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i, dst += dstStep, src += srcStep)
        std::memcpy(dst, src, N);
}

template <size_t N>
void swapSamples(uint8_t* samples, uint32_t count)
{
    using Word = typename SampleWord<N>::type;
    for (uint32_t i = 0; i < count; ++i, samples += N) {
        Word word;
        std::memcpy(&word, samples, N);
        if constexpr (N == 2)
            word = __builtin_bswap16(word);
        else if constexpr (N == 4)
            word = __builtin_bswap32(word);
        else
            word = __builtin_bswap64(word);
        std::memcpy(samples, &word, N);
    }
}

template <size_t N>
void fillSamples(uint8_t* samples, const void* value, uint32_t count)
{
    using Word = typename SampleWord<N>::type;
    Word word;
    std::memcpy(&word, value, N);
    if constexpr (N == 1) {
        std::memset(samples, word, count);
    } else {
        for (uint32_t i = 0; i < count; ++i, samples += N)
            std::memcpy(samples, &word, N);
    }
}

// a * b, or false when the product leaves size_t.
bool multiplySize(size_t a, size_t b, size_t& product)
{
    return !__builtin_mul_overflow(a, b, &product);
}

QVStatus shortTransferStatus(QVIOStreamInf& stream, QVStatus fallback)
{
    // A stream that reached its end without an error still failed the transfer.
    const QVStatus status = stream.getLastError();
    return status != 0 ? status : fallback;
}

QVStatus readExactly(QVIOStreamInf& stream, uint8_t* data, size_t size)
{
    while (size > 0) {
        const auto chunk = static_cast<uint32_t>(std::min(size, kMaxStreamChunk));
        if (stream.read(data, chunk) != chunk)
            return shortTransferStatus(stream, QVI_STS_Core_ReadError);
        data += chunk;
        size -= chunk;
    }
    return 0;
}

QVStatus writeExactly(QVIOStreamInf& stream, const uint8_t* data, size_t size)
{
    while (size > 0) {
        const auto chunk = static_cast<uint32_t>(std::min(size, kMaxStreamChunk));
        if (stream.write(data, chunk) != chunk)
            return shortTransferStatus(stream, QVI_STS_Core_WriteError);
        data += chunk;
        size -= chunk;
    }
    return 0;
}

struct FreeDeleter {
    void operator()(uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t, FreeDeleter>;

// Null when memory runs out, also for sizes no allocator can serve.
Block allocateBlock(size_t size)
{
    return Block(static_cast<uint8_t*>(std::malloc(std::max<size_t>(size, 1))));
}

// The stream imports read their whole block in one transfer, then import it
// from memory.
template <typename ImportFromMemory>
QVStatus importThroughBlock(QVIOStreamInf& stream, size_t size, ImportFromMemory&& import)
{
    auto block = allocateBlock(size);
    if (!block)
        return QVI_STS_OutOfMemory;
    if (const QVStatus status = readExactly(stream, block.get(), size))
        return status;
    return import(static_cast<const void*>(block.get()));
}

}  // namespace

// ---------------------------------------------------------------------------
// Construction

QVISceneBuffer::QVISceneBuffer(const QVIPixel& pixel, uint32_t numCols, uint32_t numRows,
                               void** data, uint32_t totalNumCols)
{
    init(pixel, 0, 0, numCols, numRows, data, totalNumCols, numRows);
}

QVISceneBuffer::QVISceneBuffer(const QVIPixel& pixel, uint32_t totalNumCols,
                               uint32_t totalNumRows, uint32_t colOffset, uint32_t rowOffset,
                               uint32_t numCols, uint32_t numRows, void** data)
{
    init(pixel, colOffset, rowOffset, numCols, numRows, data, totalNumCols, totalNumRows);
}

QVISceneBuffer::QVISceneBuffer(QVISceneBuffer& parent, uint32_t colOffset, uint32_t rowOffset,
                               uint32_t numCols, uint32_t numRows)
{
    init(parent.getPixelProps(), colOffset, rowOffset, numCols, numRows, parent.getBSQData(),
         parent.getTotalNumCols(), 0);
}

QVISceneBuffer::QVISceneBuffer(QVISceneBuffer& parent, uint32_t colOffset, uint32_t rowOffset)
    : QVISceneBuffer(parent, colOffset, rowOffset, parent.getNumCols() - colOffset,
                     parent.getNumRows() - rowOffset)
{
}

QVISceneBuffer::~QVISceneBuffer()
{
    releaseBands();
}

void QVISceneBuffer::init(const QVIPixel& pixel, uint32_t colOffset, uint32_t rowOffset,
                          uint32_t numCols, uint32_t numRows, void** data,
                          uint32_t totalNumCols, uint32_t totalNumRows)
{
    try {
        m_pixelProps = std::make_unique<QVIPixel>(pixel);
        m_numBands = m_pixelProps->getNumBands();
        m_numCols = numCols;
        m_numRows = numRows;
        m_totalNumCols = totalNumCols != 0 ? totalNumCols : numCols;
        m_bandData = std::make_unique<void*[]>(m_numBands);
    } catch (const std::bad_alloc&) {
        throw QVUtilException(QVI_STS_OutOfMemory);
    }
    if (data == nullptr) {
        allocateBands(totalNumRows);
        return;
    }
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const size_t offset =
            (size_t(rowOffset) * m_totalNumCols + colOffset) * sampleBytes(band);
        m_bandData[band] = static_cast<uint8_t*>(data[band]) + offset;
    }
}

void QVISceneBuffer::allocateBands(uint32_t totalNumRows)
{
    m_ownsData = true;
    for (uint16_t band = 0; band < m_numBands; ++band) {
        size_t bytes = 0;
        const bool fits =
            multiplySize(size_t(m_totalNumCols) * totalNumRows, sampleBytes(band), bytes);
        // calloc of 0 bytes may answer null legitimately; ask for at least one.
        m_bandData[band] = fits ? std::calloc(std::max<size_t>(bytes, 1), 1) : nullptr;
        if (m_bandData[band] == nullptr) {
            releaseBands();
            throw QVUtilException(QVI_STS_OutOfMemory);
        }
    }
}

void QVISceneBuffer::releaseBands()
{
    if (m_ownsData && m_bandData) {
        for (uint16_t band = 0; band < m_numBands; ++band)
            std::free(m_bandData[band]);
    }
    m_ownsData = false;
}

uint32_t QVISceneBuffer::addAlignment(uint32_t value, uint32_t alignment)
{
    if (alignment < 2)
        return value;
    return (value + alignment - 1) / alignment * alignment;
}

// ---------------------------------------------------------------------------
// Accessors

uint32_t QVISceneBuffer::sampleBytes(uint16_t band) const
{
    return m_pixelProps->getSample(band).getNumBytes();
}

uint8_t* QVISceneBuffer::rowAddress(uint16_t band, uint32_t row) const
{
    return static_cast<uint8_t*>(m_bandData[band]) +
           size_t(row) * m_totalNumCols * sampleBytes(band);
}

size_t QVISceneBuffer::packedBandBytes(uint16_t band) const
{
    return size_t(m_numCols) * m_numRows * sampleBytes(band);
}

size_t QVISceneBuffer::packedPixelBytes() const
{
    return size_t(m_numCols) * m_numRows * m_pixelProps->getNumBytes();
}

size_t QVISceneBuffer::streamImportBytes() const
{
    size_t bytes = 0;
    return multiplySize(packedPixelBytes(), m_numBands, bytes)
               ? bytes
               : std::numeric_limits<size_t>::max();
}

void* QVISceneBuffer::getSample(uint32_t col, uint32_t row, uint16_t band) const
{
    return rowAddress(band, row) + size_t(col) * sampleBytes(band);
}

uint16_t QVISceneBuffer::getSourceBandIndex(uint16_t band) const
{
    return m_pixelProps->getSample(band).getSourceBandIndex();
}

uint16_t QVISceneBuffer::getDestinationBandIndex(uint16_t sourceBand) const
{
    for (uint16_t band = 0; band < m_numBands; ++band) {
        if (getSourceBandIndex(band) == sourceBand)
            return band;
    }
    return kNoBand;
}

QVStatus QVISceneBuffer::checkImpedance(const QVIPixel& pixel) const
{
    return m_pixelProps->checkImpedanceWithoutAlpha(pixel);
}

// ---------------------------------------------------------------------------
// Buffer to buffer

QVStatus QVISceneBuffer::importDataBand(uint16_t dstBand, const QVISceneBuffer& src,
                                        uint16_t srcBand)
{
    if (dstBand >= m_numBands || srcBand >= src.m_numBands)
        return QVI_STS_Core_MismatchNumBands;
    const uint32_t cols = std::min(m_numCols, src.m_numCols);
    const uint32_t rows = std::min(m_numRows, src.m_numRows);
    // The destination's sample size serves both sides: same types are assumed.
    const size_t bytes = sampleBytes(dstBand);
    const size_t rowBytes = cols * bytes;
    const uint8_t* from = static_cast<const uint8_t*>(src.m_bandData[srcBand]);
    uint8_t* to = static_cast<uint8_t*>(m_bandData[dstBand]);
    for (uint32_t row = 0; row < rows; ++row) {
        std::memcpy(to + size_t(row) * m_totalNumCols * bytes,
                    from + size_t(row) * src.m_totalNumCols * bytes, rowBytes);
    }
    return 0;
}

QVStatus QVISceneBuffer::importData(const QVISceneBuffer& src)
{
    if (const QVStatus status = checkImpedance(src.getPixelProps()))
        return status;
    const uint16_t bands = std::min(m_numBands, src.m_numBands);
    for (uint16_t band = 0; band < bands; ++band) {
        if (const QVStatus status = importDataBand(band, src, band))
            return status;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Band-sequential memory and streams

QVStatus QVISceneBuffer::importDataBSQ(void** bands)
{
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const size_t rowBytes = size_t(m_numCols) * sampleBytes(band);
        const auto* from = static_cast<const uint8_t*>(bands[band]);
        for (uint32_t row = 0; row < m_numRows; ++row, from += rowBytes)
            std::memcpy(rowAddress(band, row), from, rowBytes);
    }
    return 0;
}

QVStatus QVISceneBuffer::importDataBSQ(const void* data)
{
    const auto* from = static_cast<const uint8_t*>(data);
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const size_t rowBytes = size_t(m_numCols) * sampleBytes(band);
        for (uint32_t row = 0; row < m_numRows; ++row, from += rowBytes)
            std::memcpy(rowAddress(band, row), from, rowBytes);
    }
    return 0;
}

QVStatus QVISceneBuffer::importDataBSQ(QVIOStreamInf& stream)
{
    return importThroughBlock(stream, streamImportBytes(),
                              [this](const void* data) { return importDataBSQ(data); });
}

QVStatus QVISceneBuffer::exportDataBSQ(void**& bands) const
{
    if (bands == nullptr) {
        auto** array = static_cast<void**>(std::calloc(std::max<size_t>(m_numBands, 1), sizeof(void*)));
        if (array == nullptr)
            return QVI_STS_OutOfMemory;
        for (uint16_t band = 0; band < m_numBands; ++band) {
            array[band] = std::malloc(std::max<size_t>(packedBandBytes(band), 1));
            if (array[band] == nullptr) {
                for (uint16_t made = 0; made < band; ++made)
                    std::free(array[made]);
                std::free(array);
                return QVI_STS_OutOfMemory;
            }
        }
        bands = array;
    }
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const size_t rowBytes = size_t(m_numCols) * sampleBytes(band);
        auto* to = static_cast<uint8_t*>(bands[band]);
        for (uint32_t row = 0; row < m_numRows; ++row, to += rowBytes)
            std::memcpy(to, rowAddress(band, row), rowBytes);
    }
    return 0;
}

QVStatus QVISceneBuffer::exportDataBSQ(void*& data) const
{
    if (data == nullptr) {
        // The same oversized block as the stream import asks for.
        const size_t size = streamImportBytes();
        data = size == std::numeric_limits<size_t>::max() ? nullptr
                                                           : std::malloc(std::max<size_t>(size, 1));
        if (data == nullptr)
            return QVI_STS_OutOfMemory;
    }
    auto* to = static_cast<uint8_t*>(data);
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const size_t rowBytes = size_t(m_numCols) * sampleBytes(band);
        for (uint32_t row = 0; row < m_numRows; ++row, to += rowBytes)
            std::memcpy(to, rowAddress(band, row), rowBytes);
    }
    return 0;
}

QVStatus QVISceneBuffer::exportDataBSQ(QVIOStreamInf& stream) const
{
    const size_t size = packedPixelBytes();
    auto block = allocateBlock(size);
    if (!block)
        return QVI_STS_OutOfMemory;
    void* data = block.get();
    if (const QVStatus status = exportDataBSQ(data))
        return status;
    return writeExactly(stream, block.get(), size);
}

// ---------------------------------------------------------------------------
// Band-interleaved memory and streams

QVStatus QVISceneBuffer::importDataBIP(const void* data)
{
    const size_t pixelBytes = m_pixelProps->getNumBytes();
    const size_t rowBytes = m_numCols * pixelBytes;
    size_t bandOffset = 0;
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const uint32_t bytes = sampleBytes(band);
        const auto* from = static_cast<const uint8_t*>(data) + bandOffset;
        const bool known = dispatchSampleSize(bytes, [&](auto size) {
            for (uint32_t row = 0; row < m_numRows; ++row) {
                copyStrided<decltype(size)::value>(rowAddress(band, row), bytes,
                                                   from + row * rowBytes, pixelBytes, m_numCols);
            }
        });
        if (!known)
            return QVI_STS_Core_UnsupportedDataType;
        bandOffset += bytes;
    }
    return 0;
}

QVStatus QVISceneBuffer::importDataBIP(QVIOStreamInf& stream)
{
    return importThroughBlock(stream, streamImportBytes(),
                              [this](const void* data) { return importDataBIP(data); });
}

QVStatus QVISceneBuffer::uniformSampleBytes(uint32_t& bytes) const
{
    // The interleaved exports step by band 0's sample size; a band of another
    // size would be read past its end, so such buffers are refused.
    bytes = m_numBands > 0 ? sampleBytes(0) : 0;
    for (uint16_t band = 1; band < m_numBands; ++band) {
        if (sampleBytes(band) != bytes)
            return QVI_STS_Core_UnsupportedDataType;
    }
    return 0;
}

void QVISceneBuffer::composeBIPRow(uint32_t row, uint32_t sampleSize, uint8_t* out) const
{
    const size_t pixelStep = size_t(m_numBands) * sampleSize;
    dispatchSampleSize(sampleSize, [&](auto size) {
        for (uint16_t band = 0; band < m_numBands; ++band) {
            copyStrided<decltype(size)::value>(out + band * sampleSize, pixelStep,
                                               rowAddress(band, row), sampleSize, m_numCols);
        }
    });
}

QVStatus QVISceneBuffer::exportDataBIP(void*& data) const
{
    uint32_t sampleSize = 0;
    if (const QVStatus status = uniformSampleBytes(sampleSize))
        return status;
    // 64-bit samples have no interleaved memory export.
    if (sampleSize != 1 && sampleSize != 2 && sampleSize != 4)
        return QVI_STS_Core_UnsupportedDataType;
    if (data == nullptr) {
        data = std::malloc(std::max<size_t>(packedPixelBytes(), 1));
        if (data == nullptr)
            return QVI_STS_OutOfMemory;
    }
    const size_t rowBytes = size_t(m_numBands) * m_numCols * sampleSize;
    auto* to = static_cast<uint8_t*>(data);
    for (uint32_t row = 0; row < m_numRows; ++row, to += rowBytes)
        composeBIPRow(row, sampleSize, to);
    return 0;
}

QVStatus QVISceneBuffer::exportDataBIP(QVIOStreamInf& stream) const
{
    uint32_t sampleSize = 0;
    if (const QVStatus status = uniformSampleBytes(sampleSize))
        return status;
    if (sampleSize != 1 && sampleSize != 2 && sampleSize != 4 && sampleSize != 8)
        return QVI_STS_Core_UnsupportedDataType;
    const size_t rowBytes = size_t(m_numBands) * m_numCols * sampleSize;
    auto rowBlock = allocateBlock(rowBytes);
    if (!rowBlock)
        return QVI_STS_OutOfMemory;
    for (uint32_t row = 0; row < m_numRows; ++row) {
        composeBIPRow(row, sampleSize, rowBlock.get());
        if (const QVStatus status = writeExactly(stream, rowBlock.get(), rowBytes))
            return status;
    }
    return 0;
}

QVStatus QVISceneBuffer::exportData(void* dst, int64_t pixelStep, int64_t rowStep,
                                    int64_t bandStep) const
{
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const uint32_t bytes = sampleBytes(band);
        uint8_t* bandStart = static_cast<uint8_t*>(dst) + band * bandStep;
        const bool known = dispatchSampleSize(bytes, [&](auto size) {
            for (uint32_t row = 0; row < m_numRows; ++row) {
                copyStrided<decltype(size)::value>(bandStart + row * rowStep, pixelStep,
                                                   rowAddress(band, row), bytes, m_numCols);
            }
        });
        if (!known)
            return QVI_STS_Core_UnsupportedDataType;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// In place

void QVISceneBuffer::byteSwap()
{
    for (uint16_t band = 0; band < m_numBands; ++band) {
        const uint32_t bytes = sampleBytes(band);
        if (bytes < 2)
            continue;
        dispatchSampleSize(bytes, [&](auto size) {
            if constexpr (decltype(size)::value > 1) {
                for (uint32_t row = 0; row < m_numRows; ++row)
                    swapSamples<decltype(size)::value>(rowAddress(band, row), m_numCols);
            }
        });
    }
}

void QVISceneBuffer::zero()
{
    for (uint16_t band = 0; band < m_numBands; ++band)
        zero(band);
}

void QVISceneBuffer::zero(uint16_t band)
{
    const size_t rowBytes = size_t(m_numCols) * sampleBytes(band);
    for (uint32_t row = 0; row < m_numRows; ++row)
        std::memset(rowAddress(band, row), 0, rowBytes);
}

QVStatus QVISceneBuffer::fill(const QVIPixel& pixel)
{
    if (const QVStatus status = QVIPixel::checkCompatible(*m_pixelProps, pixel))
        return status;
    for (uint16_t band = 0; band < m_numBands; ++band) {
        if (const QVStatus status = fill(pixel, band))
            return status;
    }
    return 0;
}

QVStatus QVISceneBuffer::fill(const QVIPixel& pixel, uint16_t band)
{
    if (band >= m_numBands || getSourceBandIndex(band) >= pixel.getNumBands())
        return QVI_STS_Core_MismatchNumBands;
    const uint16_t source = getSourceBandIndex(band);
    if (m_numRows == 0 || m_numCols == 0)
        return 0;
    const void* value = pixel.getSample(source).getValueAddr();
    const uint32_t bytes = sampleBytes(band);
    // The first row is filled by value, the others copy it in one wide move each.
    uint8_t* first = rowAddress(band, 0);
    if (!dispatchSampleSize(bytes, [&](auto size) {
            fillSamples<decltype(size)::value>(first, value, m_numCols);
        }))
        return QVI_STS_Core_UnsupportedDataType;
    const size_t rowBytes = size_t(m_numCols) * bytes;
    for (uint32_t row = 1; row < m_numRows; ++row)
        std::memcpy(rowAddress(band, row), first, rowBytes);
    return 0;
}

}  // namespace Orvanetics
