#include "qv_ioStreamUtils.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioFileStream.h"
#include "qv_statusCodes.h"

namespace Orvanetics {

namespace {

constexpr uint32_t kCopyBlock = 65536;
constexpr QVStatus kInterruptedCall = 4;  // the system's EINTR
constexpr QVStatus kTryAgain = 11;        // the system's EAGAIN
constexpr uint32_t kTempStreamSize = 4096;
constexpr float kTempStreamGrowth = 1.6f;

std::unique_ptr<uint8_t[]> copyBuffer() { return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[kCopyBlock]); }

// Writes all count bytes, resuming after interrupted or would-block writes.
QVStatus writeFully(QVIOStreamInf* dst, const uint8_t* data, uint32_t count) {
    while (count > 0) {
        uint32_t written = dst->write(data, count);
        data += written;
        count -= written;
        if (count == 0) break;
        QVStatus status = dst->getLastError();
        if (status != kInterruptedCall && status != kTryAgain) {
            return status != QVI_STS_Success ? status : QVI_STS_Failure;
        }
    }
    return QVI_STS_Success;
}

// Moves the stream back to a position saved by tell.
class PositionKeeper {
public:
    explicit PositionKeeper(QVIOStreamInf* stream) : m_stream(stream), m_position(stream->tell()) {}
    ~PositionKeeper() {
        if (m_position >= 0) m_stream->seek(m_position, QVIO_SEEK_BEGIN);
    }
    PositionKeeper(const PositionKeeper&) = delete;
    PositionKeeper& operator=(const PositionKeeper&) = delete;
    bool valid() const { return m_position >= 0; }

private:
    QVIOStreamInf* m_stream;
    int64_t m_position;
};

bool sameBytes(QVIOStreamInf* a, QVIOStreamInf* b, uint8_t* bufferA, uint8_t* bufferB) {
    for (;;) {
        uint32_t gotA = a->read(bufferA, kCopyBlock);
        uint32_t gotB = b->read(bufferB, kCopyBlock);
        if (gotA != gotB || std::memcmp(bufferA, bufferB, gotA) != 0) return false;
        if (gotA == 0) return true;
    }
}

}  // namespace

QVStatus QVIOStreamUtils::copyStream(QVIOStreamInf* dst, QVIOStreamInf* src) {
    if (dst == nullptr || src == nullptr) return QVI_STS_IO_InvalidArgs;
    std::unique_ptr<uint8_t[]> buffer = copyBuffer();
    if (!buffer) return QVI_STS_OutOfMemory;
    for (;;) {
        uint32_t got = src->read(buffer.get(), kCopyBlock);
        if (got == 0) return QVI_STS_Success;
        if (dst->write(buffer.get(), got) != got) return QVI_STS_Failure;
    }
}

QVStatus QVIOStreamUtils::copyStream(QVIOStreamInf* dst, QVIOStreamInf* src, uint64_t count) {
    if (dst == nullptr || src == nullptr) return QVI_STS_IO_InvalidArgs;
    std::unique_ptr<uint8_t[]> buffer = copyBuffer();
    if (!buffer) return QVI_STS_OutOfMemory;
    QVStatus status = QVI_STS_Success;
    while (count > 0) {
        uint32_t wanted = static_cast<uint32_t>(std::min<uint64_t>(count, kCopyBlock));
        uint32_t got = src->read(buffer.get(), wanted);
        if (got == 0 && src->isEOF()) return status;
        status = writeFully(dst, buffer.get(), got);
        if (status != QVI_STS_Success) return status;
        if (got < wanted && !src->isEOF()) return src->getLastError();
        count -= got;
    }
    return status;
}

QVStatus QVIOStreamUtils::closeStream(QVIOStreamInf*& stream) {
    if (stream == nullptr) return QVI_STS_Success;
    QVStatus status = stream->close();
    delete stream;
    stream = nullptr;
    return status;
}

QVStatus QVIOStreamUtils::compareStreams(QVIOStreamInf* a, QVIOStreamInf* b) {
    if (a == nullptr || b == nullptr) return QVI_STS_Failure;
    PositionKeeper keepA(a);
    PositionKeeper keepB(b);
    if (!keepA.valid() || !keepB.valid()) return QVI_STS_Failure;
    if (a->seek(0, QVIO_SEEK_BEGIN) != QVI_STS_Success || b->seek(0, QVIO_SEEK_BEGIN) != QVI_STS_Success) {
        return QVI_STS_Failure;
    }
    std::unique_ptr<uint8_t[]> bufferA = copyBuffer();
    std::unique_ptr<uint8_t[]> bufferB = copyBuffer();
    if (!bufferA || !bufferB) return QVI_STS_OutOfMemory;
    return sameBytes(a, b, bufferA.get(), bufferB.get()) ? QVI_STS_Success : QVI_STS_Failure;
}

int64_t QVIOStreamUtils::getEndPos(QVIOStreamInf* stream) {
    if (stream == nullptr) return -1;
    PositionKeeper keep(stream);
    if (!keep.valid() || stream->seek(0, QVIO_SEEK_END) != QVI_STS_Success) return -1;
    return stream->tell();
}

QVIOStreamInf* QVIOStreamUtils::clone(QVIOStreamInf* stream) {
    if (stream == nullptr) return nullptr;
    QVIOStreamInf* copy = stream->duplicate();
    if (copy == nullptr || !stream->isOpen()) return copy;
    int64_t position = stream->tell();
    if (position < 0 || copy->open() != QVI_STS_Success || copy->seek(position, QVIO_SEEK_BEGIN) != QVI_STS_Success) {
        closeStream(copy);
    }
    return copy;
}

int QVIOStreamUtils::print(QVIOStreamInf* stream, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int length = vprint(stream, format, args);
    va_end(args);
    return length;
}

int QVIOStreamUtils::vprint(QVIOStreamInf* stream, const char* format, va_list args) {
    if (stream == nullptr || format == nullptr) return -1;
    char* text = nullptr;
    int length = vasprintf(&text, format, args);
    if (length < 0) return -1;
    uint32_t written = stream->write(reinterpret_cast<const uint8_t*>(text), static_cast<uint32_t>(length));
    std::free(text);
    return written == static_cast<uint32_t>(length) ? length : -1;
}

QVIOFileStream* QVIOStreamUtils::openFileStream(const QVFileSpec& fileSpec, const char* mode) {
    QVIOFileStream* stream = new (std::nothrow) QVIOFileStream();
    if (stream == nullptr) return nullptr;
    if (stream->initialize(fileSpec, mode) != QVI_STS_Success || stream->open() != QVI_STS_Success) {
        delete stream;
        return nullptr;
    }
    return stream;
}

QVIOFileStream* QVIOStreamUtils::openFileStream(const char* path, const char* mode) {
    if (path == nullptr) return nullptr;
    return openFileStream(QVFileSpec(path), mode);
}

QVStatus QVIOStreamUtils::copyToFile(QVIOStreamInf* stream, const QVFileSpec& fileSpec) {
    if (stream == nullptr) return QVI_STS_Failure;
    PositionKeeper keep(stream);
    if (!keep.valid()) return QVI_STS_Failure;
    QVStatus status = stream->seek(0, QVIO_SEEK_BEGIN);
    if (status != QVI_STS_Success) return status;
    QVIOStreamInf* file = openFileStream(fileSpec, "wb");
    if (file == nullptr) return QVI_STS_Failure;
    status = copyStream(file, stream);
    QVStatus closed = closeStream(file);
    return status != QVI_STS_Success ? status : closed;
}

QVIODynamicMemStream* QVIOStreamUtils::openTempStream() {
    QVIODynamicMemStream* stream = new (std::nothrow) QVIODynamicMemStream();
    if (stream == nullptr) return nullptr;
    if (stream->initialize(kTempStreamSize, kTempStreamGrowth) != QVI_STS_Success ||
        stream->open() != QVI_STS_Success) {
        delete stream;
        return nullptr;
    }
    return stream;
}

}  // namespace Orvanetics
