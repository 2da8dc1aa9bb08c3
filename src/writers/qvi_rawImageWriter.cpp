#include "qvi_rawImageWriter.h"

#include <algorithm>
#include <vector>

#include "qv_ioStreamInf.h"
#include "qvi_imageStage.h"
#include "qvi_pixel.h"
#include "qvi_rawImageReader.h"
#include "qvi_sceneBuffer.h"

namespace Orvanetics {

namespace {

// Largest single transfer handed to a stream.
constexpr uint64_t kMaxTransfer = 1u << 30;
// Zeros written at a time while BSQ output is laid out.
constexpr uint64_t kZeroChunk = 1u << 20;

}  // namespace

QVIRawImageWriter::QVIRawImageWriter() : QVIGeoFileImageWriter(true) {}

QVIRawImageWriter::~QVIRawImageWriter() = default;

QVStatus QVIRawImageWriter::initialize(QVIImageStage* stage)
{
    return init(stage);
}

QVStatus QVIRawImageWriter::writeBegin(const QVIScene& scene)
{
    if (m_layout < QVI_LAYOUT_BIP || m_layout > QVI_LAYOUT_BIL)
        return kStsUnknownLayout;
    if (const QVStatus status = QVIGeoFileImageWriter::writeBegin(scene))
        return status;
    m_numCols = uint32_t(std::max(scene.getNumCols(), 0));
    m_numRows = uint32_t(std::max(scene.getNumRows(), 0));
    m_rowsDone = 0;
    if (m_layout != QVI_LAYOUT_BSQ)
        return 0;
    if (const QVStatus status = layOutBands()) {
        deleteOutput();
        return status;
    }
    return 0;
}

// Writes every band plane as zeros, so that strips can be placed by seeking.
QVStatus QVIRawImageWriter::layOutBands()
{
    const QVIPixel& pixel = getSourceImageStage()->getPixelProps();
    const uint64_t planePixels = uint64_t(m_numCols) * m_numRows;
    const uint64_t total = planePixels * pixel.getNumBytes();
    std::vector<uint8_t> zeros;
    try {
        zeros.assign(std::min(total, kZeroChunk), 0);
    } catch (const std::bad_alloc&) {
        return 8;
    }
    for (uint64_t done = 0; done < total;) {
        const uint64_t count = std::min<uint64_t>(zeros.size(), total - done);
        if (const QVStatus status = writeBytes(zeros.data(), count))
            return status;
        done += count;
    }
    return 0;
}

QVStatus QVIRawImageWriter::writeStrip(QVISceneBuffer& buffer, const QVIScene&)
{
    QVIOStreamInf* stream = getOutputStream();
    if (!stream)
        return kStsNoOutputTarget;
    if (QVIRawImageReader::needsSwapping(buffer.getPixelProps(), m_byteOrder))
        buffer.byteSwap();
    QVStatus status = 0;
    switch (m_layout) {
    case QVI_LAYOUT_BIP: status = buffer.exportDataBIP(*stream); break;
    case QVI_LAYOUT_BIL: status = writeBIL(buffer); break;
    case QVI_LAYOUT_BSQ: status = writeBSQ(buffer); break;
    default: status = kStsUnknownLayout; break;
    }
    if (status == 0)
        m_rowsDone += buffer.getNumRows();
    return status;
}

QVStatus QVIRawImageWriter::writeBIL(const QVISceneBuffer& buffer)
{
    for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
        for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
            const uint64_t bytes =
                uint64_t(buffer.getNumCols()) * buffer.getPixelProps().getSample(band).getNumBytes();
            if (const QVStatus status = writeBytes(buffer.getSample(0, row, band), bytes))
                return status;
        }
    }
    return 0;
}

QVStatus QVIRawImageWriter::writeBSQ(const QVISceneBuffer& buffer)
{
    QVIOStreamInf* stream = getOutputStream();
    const uint64_t planePixels = uint64_t(m_numCols) * m_numRows;
    uint64_t bandStart = 0;
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
        const uint32_t sampleBytes = buffer.getPixelProps().getSample(band).getNumBytes();
        const uint64_t rowBytes = uint64_t(m_numCols) * sampleBytes;
        const int64_t offset = int64_t(bandStart + rowBytes * m_rowsDone);
        if (const QVStatus status = stream->seek(offset, QVIO_SEEK_BEGIN))
            return status;
        const uint64_t stripRowBytes = uint64_t(buffer.getNumCols()) * sampleBytes;
        const bool packed = buffer.getTotalNumCols() == buffer.getNumCols();
        const uint32_t writes = packed ? 1 : buffer.getNumRows();
        const uint64_t bytesPerWrite = packed ? stripRowBytes * buffer.getNumRows() : stripRowBytes;
        for (uint32_t row = 0; row < writes; ++row) {
            if (const QVStatus status = writeBytes(buffer.getSample(0, row, band), bytesPerWrite))
                return status;
        }
        bandStart += planePixels * sampleBytes;
    }
    return 0;
}

QVStatus QVIRawImageWriter::writeBytes(const void* data, uint64_t count)
{
    QVIOStreamInf* stream = getOutputStream();
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    while (count > 0) {
        const uint32_t chunk = uint32_t(std::min(count, kMaxTransfer));
        if (stream->write(bytes, chunk) != chunk)
            return stream->getLastError();
        bytes += chunk;
        count -= chunk;
    }
    return 0;
}

}  // namespace Orvanetics
