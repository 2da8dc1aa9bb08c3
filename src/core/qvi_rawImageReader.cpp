#include "qvi_rawImageReader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "qv_ioFileStream.h"
#include "qv_ioStreamUtils.h"
#include "qvi_metadataDatabase.h"
#include "qvi_metadataRecord.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

constexpr QVStatus kStsNullPointer = 7;  // "NULL pointer dereferenced"
constexpr QVStatus kStsUnsupportedDataType = 50001;  // "unsupported datatype"

// Gaps up to this size between wanted bytes are read through rather than
// sought over: a short read costs less than a seek that empties the stream's buffer.
constexpr int64_t kReadThroughGap = 32 * 1024;
// Runs of several segments stay below this size; a single segment may be larger.
constexpr int64_t kMaxRunBytes = 1 << 20;
// Largest single transfer asked of a stream.
constexpr uint64_t kMaxTransfer = 1u << 30;

template <typename T>
void spreadBand(const uint8_t* source, uint32_t pixelStep, uint32_t numCols, void* destination)
{
    T* out = static_cast<T*>(destination);
    for (uint32_t col = 0; col < numCols; ++col) {
        T value;
        std::memcpy(&value, source + size_t(col) * pixelStep, sizeof(T));
        out[col] = value;
    }
}

bool multiplyChecked(int64_t a, int64_t b, int64_t& result)
{
    return !__builtin_mul_overflow(a, b, &result);
}

bool addChecked(int64_t a, int64_t b, int64_t& result)
{
    return !__builtin_add_overflow(a, b, &result);
}

}  // namespace

QVIRawImageReader* QVIRawImageReader::create()
{
    return new (std::nothrow) QVIRawImageReader();
}

QVIRawImageReader::QVIRawImageReader() : QVIGeoImageReader(true) {}

QVIRawImageReader::~QVIRawImageReader()
{
    releaseStream();
}

void QVIRawImageReader::releaseStream()
{
    if (m_ownsStream && m_stream)
        QVIOStreamUtils::closeStream(m_stream);
    m_stream = nullptr;
}

void QVIRawImageReader::setSkipBytes(int64_t start, int64_t end)
{
    m_skipBytesStart = start;
    m_skipBytesEnd = end;
}

bool QVIRawImageReader::needsSwapping(const QVIPixel& pixel, QVIEndian byteOrder)
{
    QVIDataType widest = QVI_DATATYPE_INVALID;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        const QVIDataType type = pixel.getSample(band).getDataType();
        if (QVIUtils::getNumBytes(type) > QVIUtils::getNumBytes(widest))
            widest = type;
    }
    return widest != QVI_DATATYPE_INVALID && QVIUtils::needsSwapping(widest, byteOrder);
}

std::string QVIRawImageReader::getSourceName() const
{
    if (m_fileSpec)
        return m_fileSpec->getUTF8();
    if (m_stream) {
        const char* id = m_stream->getID();
        return id ? id : "";
    }
    return "";
}

// ---------------------------------------------------------------------------
// Set-up

QVStatus QVIRawImageReader::openFile(const QVFileSpec& fileSpec, QVIOStreamInf*& stream)
{
    releaseStream();
    stream = QVIOStreamUtils::openFileStream(fileSpec, "rb");
    if (!stream)
        return kStsOpenError;
    m_fileSpec.reset(new (std::nothrow) QVFileSpec(fileSpec));
    if (!m_fileSpec) {
        QVIOStreamUtils::closeStream(stream);
        return 8;
    }
    m_ownsStream = true;
    return 0;
}

QVStatus QVIRawImageReader::initialize(QVIOStreamInf* stream, const QVIPixel& pixel,
                                       uint32_t width, uint32_t height, bool useWorldFile)
{
    return initializeRaw(stream, pixel, width, height, useWorldFile);
}

QVStatus QVIRawImageReader::initialize(const QVFileSpec& fileSpec, const QVIPixel& pixel,
                                       uint32_t width, uint32_t height, bool useWorldFile)
{
    QVIOStreamInf* stream = nullptr;
    QVStatus status = openFile(fileSpec, stream);
    if (status == 0)
        status = initializeRaw(stream, pixel, width, height, useWorldFile);
    if (status == 0) {
        bool found = false;
        status = readWorldFile(fileSpec, found, true);
    }
    return status;
}

QVStatus QVIRawImageReader::initialize(const char* path, const QVIPixel& pixel, uint32_t width,
                                       uint32_t height, bool useWorldFile)
{
    return initialize(QVFileSpec(path), pixel, width, height, useWorldFile);
}

QVStatus QVIRawImageReader::checkGeometry(const QVIPixel& pixel, uint32_t width) const
{
    if (m_layout < QVI_LAYOUT_BIP || m_layout > QVI_LAYOUT_BIL)
        return kStsFailure;
    if (width == 0 || pixel.getNumBands() == 0 || m_skipBytesStart < 0 || m_skipBytesEnd < 0 ||
        m_rowBytes < 0)
        return kStsInvalidArgument;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        const uint32_t bytes = pixel.getSample(band).getNumBytes();
        if (bytes == 0)
            return kStsUnsupportedDataType;
        // Band rows of BSQ and BIL are read straight into the bands, so they must share one size.
        if (m_layout != QVI_LAYOUT_BIP && bytes != pixel.getMaxBytesPerSample())
            return kStsUnsupportedDataType;
    }
    return 0;
}

QVStatus QVIRawImageReader::initializeRaw(QVIOStreamInf* stream, const QVIPixel& pixel,
                                          uint32_t width, uint32_t height, bool useWorldFile)
{
    if (!stream)
        return kStsNullPointer;
    if (m_stream != stream)
        releaseStream();
    m_stream = stream;
    if (const QVStatus status = checkGeometry(pixel, width))
        return status;
    if (height == 0)
        return kStsInvalidArgument;

    QVStatus status = QVIGeoImageReader::init(useWorldFile);
    if (status == 0)
        status = setPixelProps(pixel);
    if (status != 0)
        return status;
    setDimensions(width, height);
    if ((status = setDefaultGeoCoord(*this)) != 0)
        return status;

    m_bandOffsets.clear();
    uint32_t offset = 0;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        m_bandOffsets.push_back(offset);
        offset += pixel.getSample(band).getNumBytes();
    }
    const int64_t packedRowBytes = int64_t(width) *
        (m_layout == QVI_LAYOUT_BIP ? pixel.getNumBytes() : pixel.getMaxBytesPerSample());
    if (m_rowBytes == 0)
        m_rowBytes = packedRowBytes;
    else if (m_rowBytes < packedRowBytes)
        return kStsInvalidArgument;

    if (!m_stream->isOpen() && (status = m_stream->open()) != 0)
        return status;
    if ((status = measureAndCheckSize(height)) != 0)
        return status;
    return recordSourceName();
}

QVStatus QVIRawImageReader::measureAndCheckSize(uint32_t height)
{
    const int64_t position = m_stream->tell();
    const int64_t end = QVIOStreamUtils::getEndPos(m_stream);
    m_fileSize = (position >= 0 && end >= position) ? end - position : 0;
    if (m_fileSize == 0)
        return 0;
    const int64_t planes = m_layout == QVI_LAYOUT_BIP ? 1 : getPixelProps().getNumBands();
    int64_t expected = 0;
    if (!multiplyChecked(m_rowBytes, height, expected) ||
        !multiplyChecked(expected, planes, expected) ||
        !addChecked(expected, m_skipBytesStart, expected) ||
        !addChecked(expected, m_skipBytesEnd, expected))
        return kStsIntegerOverflow;
    return expected == m_fileSize ? 0 : kStsRawSizeMismatch;
}

QVStatus QVIRawImageReader::recordSourceName()
{
    const std::string name = getSourceName();
    QVIMetadataDatabase* metadata = getMetadataDatabase();
    if (name.empty() || !metadata)
        return 0;
    try {
        const char* text = name.c_str();
        return metadata->add(QVIMetadataRecord(QVI_METADATA_TAG_IMAGE_INPUT_NAME,
                                               QVI_METADATA_DATATYPE_ASCII, &text));
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

// ---------------------------------------------------------------------------
// Decoding

QVStatus QVIRawImageReader::decodeBegin(const QVIPixel&, const QVIScene&)
{
    return m_stream ? 0 : kStsNullPointer;
}

QVStatus QVIRawImageReader::decodeEnd()
{
    m_streamPosition = -1;
    return 0;
}

QVStatus QVIRawImageReader::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (!m_stream)
        return kStsNullPointer;
    if (!m_stream->isOpen()) {
        if (const QVStatus status = m_stream->open())
            return status;
    }
    // Others may have moved a shared stream since the last strip.
    m_streamPosition = -1;
    const uint32_t numCols =
        std::min<uint32_t>(buffer.getNumCols(), uint32_t(std::max(stripScene.getNumCols(), 0)));
    const uint32_t numRows =
        std::min<uint32_t>(buffer.getNumRows(), uint32_t(std::max(stripScene.getNumRows(), 0)));
    planStrip(buffer, stripScene.getUpperLeftRow(), stripScene.getUpperLeftCol(), numCols, numRows);
    if (const QVStatus status = readSegments(buffer, numCols))
        return failStrip(status);
    if (needsSwapping(buffer.getPixelProps(), m_byteOrder))
        buffer.byteSwap();
    return 0;
}

QVStatus QVIRawImageReader::failStrip(QVStatus status)
{
    m_stream->close();
    m_streamPosition = -1;
    return status;
}

void QVIRawImageReader::orderBandsBySource(const QVISceneBuffer& buffer)
{
    m_bandOrder.resize(buffer.getNumBands());
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band)
        m_bandOrder[band] = band;
    std::stable_sort(m_bandOrder.begin(), m_bandOrder.end(), [&](uint16_t a, uint16_t b) {
        return buffer.getSourceBandIndex(a) < buffer.getSourceBandIndex(b);
    });
}

// Lists the byte runs of the strip in the order they lie in the file.
void QVIRawImageReader::planStrip(QVISceneBuffer& buffer, int64_t firstRow, int64_t firstCol,
                                  uint32_t numCols, uint32_t numRows)
{
    m_segments.clear();
    const QVIPixel& full = getPixelProps();
    const int64_t skip = m_skipBytesStart;
    const int64_t rowBytes = m_rowBytes;
    if (m_layout == QVI_LAYOUT_BIP) {
        const uint32_t pixelBytes = full.getNumBytes();
        for (uint32_t row = 0; row < numRows; ++row)
            m_segments.push_back({skip + (firstRow + row) * rowBytes + firstCol * pixelBytes,
                                  uint64_t(numCols) * pixelBytes, nullptr, row});
        return;
    }
    orderBandsBySource(buffer);
    const int64_t sampleBytes = full.getMaxBytesPerSample();
    const int64_t numBands = full.getNumBands();
    const uint64_t length = uint64_t(numCols) * uint64_t(sampleBytes);
    auto bandRow = [&](uint16_t band, uint32_t row) {
        return static_cast<uint8_t*>(buffer.getSample(0, row, band));
    };
    if (m_layout == QVI_LAYOUT_BIL) {
        for (uint32_t row = 0; row < numRows; ++row) {
            for (uint16_t band : m_bandOrder) {
                const int64_t source = buffer.getSourceBandIndex(band);
                m_segments.push_back({skip + ((firstRow + row) * numBands + source) * rowBytes +
                                          firstCol * sampleBytes,
                                      length, bandRow(band, row), row});
            }
        }
        return;
    }
    const int64_t planeBytes = rowBytes * int64_t(getHeight());
    for (uint16_t band : m_bandOrder) {
        const int64_t plane = skip + buffer.getSourceBandIndex(band) * planeBytes;
        for (uint32_t row = 0; row < numRows; ++row)
            m_segments.push_back({plane + (firstRow + row) * rowBytes + firstCol * sampleBytes,
                                  length, bandRow(band, row), row});
    }
}

// Groups neighbouring segments into runs read at once.
QVStatus QVIRawImageReader::readSegments(QVISceneBuffer& buffer, uint32_t numCols)
{
    size_t first = 0;
    while (first < m_segments.size()) {
        const int64_t start = m_segments[first].offset;
        int64_t end = start + int64_t(m_segments[first].length);
        size_t last = first;
        while (last + 1 < m_segments.size()) {
            const Segment& next = m_segments[last + 1];
            const int64_t nextEnd = next.offset + int64_t(next.length);
            if (next.offset < end || next.offset - end > kReadThroughGap ||
                nextEnd - start > kMaxRunBytes)
                break;
            end = nextEnd;
            ++last;
        }
        if (const QVStatus status = readRun(first, last, buffer, numCols))
            return status;
        first = last + 1;
    }
    return 0;
}

QVStatus QVIRawImageReader::readRun(size_t first, size_t last, QVISceneBuffer& buffer,
                                    uint32_t numCols)
{
    const Segment& head = m_segments[first];
    if (isGaplessBandRun(first, last)) {
        // Consecutive band rows go straight to their bands: no copy, and no seek between them.
        for (size_t index = first; index <= last; ++index) {
            const Segment& segment = m_segments[index];
            if (const QVStatus status = readAt(segment.offset, segment.destination, segment.length))
                return status;
        }
        return 0;
    }
    const Segment& tail = m_segments[last];
    const uint64_t span = uint64_t(tail.offset - head.offset) + tail.length;
    if (m_runBuffer.size() < span) {
        try {
            m_runBuffer.resize(span);
        } catch (const std::bad_alloc&) {
            return 8;
        }
    }
    if (const QVStatus status = readAt(head.offset, m_runBuffer.data(), span))
        return status;
    for (size_t index = first; index <= last; ++index) {
        const Segment& segment = m_segments[index];
        const uint8_t* source = m_runBuffer.data() + (segment.offset - head.offset);
        if (segment.destination)
            std::memcpy(segment.destination, source, segment.length);
        else
            spreadPixels(source, buffer, segment.row, numCols);
    }
    return 0;
}

bool QVIRawImageReader::isGaplessBandRun(size_t first, size_t last) const
{
    for (size_t index = first; index <= last; ++index) {
        const Segment& segment = m_segments[index];
        if (!segment.destination)
            return false;
        if (index > first) {
            const Segment& previous = m_segments[index - 1];
            if (segment.offset != previous.offset + int64_t(previous.length))
                return false;
        }
    }
    return true;
}

// Copies one row of interleaved pixels to the bands of the buffer, each band
// from its source band's place in the pixel.
void QVIRawImageReader::spreadPixels(const uint8_t* source, QVISceneBuffer& buffer, uint32_t row,
                                     uint32_t numCols) const
{
    const uint32_t pixelBytes = getPixelProps().getNumBytes();
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
        const uint16_t sourceBand = buffer.getSourceBandIndex(band);
        const uint8_t* first = source + m_bandOffsets[sourceBand];
        void* destination = buffer.getSample(0, row, band);
        const uint32_t sampleBytes = buffer.getPixelProps().getSample(band).getNumBytes();
        if (sampleBytes == pixelBytes) {
            std::memcpy(destination, first, size_t(numCols) * sampleBytes);
            continue;
        }
        switch (sampleBytes) {
        case 1: spreadBand<uint8_t>(first, pixelBytes, numCols, destination); break;
        case 2: spreadBand<uint16_t>(first, pixelBytes, numCols, destination); break;
        case 4: spreadBand<uint32_t>(first, pixelBytes, numCols, destination); break;
        default: spreadBand<uint64_t>(first, pixelBytes, numCols, destination); break;
        }
    }
}

QVStatus QVIRawImageReader::readAt(int64_t offset, uint8_t* destination, uint64_t length)
{
    if (offset != m_streamPosition) {
        if (const QVStatus status = m_stream->seek(offset, QVIO_SEEK_BEGIN)) {
            m_streamPosition = -1;
            return status;
        }
        m_streamPosition = offset;
    }
    while (length > 0) {
        const uint32_t count = uint32_t(std::min(length, kMaxTransfer));
        const uint32_t done = m_stream->read(destination, count);
        m_streamPosition += done;
        if (done != count) {
            m_streamPosition = -1;
            const QVStatus status = m_stream->getLastError();
            return status ? status : kStsReadError;
        }
        destination += count;
        length -= count;
    }
    return 0;
}

}  // namespace Orvanetics
