#include "qv_ioSubStream.h"

#include <algorithm>
#include <new>

#include "qv_statusCodes.h"

namespace Orvanetics {

QVIOSubStream::~QVIOSubStream() { releaseInner(); }

void QVIOSubStream::releaseInner() {
    if (m_ownsInner) delete m_inner;
    m_inner = nullptr;
    m_ownsInner = false;
}

QVStatus QVIOSubStream::initialize(QVIOStreamInf* stream, int64_t start, int64_t end, bool takeOwnership) {
    if (stream == nullptr) return QVI_STS_IO_InvalidArgs;
    if (start > end) return QVI_STS_Failure;
    if (stream != m_inner) releaseInner();
    m_inner = stream;
    m_start = start;
    m_end = end;
    m_ownsInner = takeOwnership;
    m_eof = false;
    return QVI_STS_Success;
}

bool QVIOSubStream::isEOF() { return m_eof; }

bool QVIOSubStream::isOpen() { return m_inner != nullptr && m_inner->isOpen(); }

QVStatus QVIOSubStream::open() {
    if (m_inner == nullptr) return QVI_STS_IO_NotInitialized;
    if (!m_inner->isOpen()) {
        QVStatus status = m_inner->open();
        if (status != QVI_STS_Success) return status;
    }
    m_eof = false;
    return m_inner->seek(m_start, QVIO_SEEK_BEGIN);
}

QVStatus QVIOSubStream::close() { return m_inner != nullptr ? m_inner->close() : QVI_STS_Success; }

int64_t QVIOSubStream::remaining() {
    int64_t position = m_inner->tell();
    if (position < 0) return -1;
    return position < m_end ? m_end - position : 0;
}

uint32_t QVIOSubStream::read(uint8_t* buffer, uint32_t count) {
    if (m_inner == nullptr) return 0;
    int64_t room = remaining();
    if (room < 0) {
        m_eof = false;
        return 0;
    }
    bool clipped = count > room;
    uint32_t allowed = clipped ? static_cast<uint32_t>(room) : count;
    uint32_t got = allowed > 0 ? m_inner->read(buffer, allowed) : 0;
    m_eof = clipped || got < allowed;
    return got;
}

uint32_t QVIOSubStream::write(const uint8_t* buffer, uint32_t count) {
    if (m_inner == nullptr) return 0;
    m_eof = false;
    int64_t room = remaining();
    uint32_t allowed = room < count ? static_cast<uint32_t>(std::max<int64_t>(room, 0)) : count;
    return allowed > 0 ? m_inner->write(buffer, allowed) : 0;
}

QVStatus QVIOSubStream::seek(int64_t offset, QVIOSeekDir dir) {
    if (m_inner == nullptr) return QVI_STS_IO_NotInitialized;
    int64_t origin = 0;
    switch (dir) {
        case QVIO_SEEK_BEGIN: origin = m_start; break;
        case QVIO_SEEK_CURRENT: origin = m_inner->tell(); break;
        case QVIO_SEEK_END: origin = m_end; break;
        default: return QVI_STS_Failure;
    }
    if (origin < 0) return QVI_STS_Failure;
    int64_t target = origin + offset;
    if (target < m_start || target > m_end) return QVI_STS_IO_InvalidArgs;
    m_eof = false;
    return m_inner->seek(target, QVIO_SEEK_BEGIN);
}

int64_t QVIOSubStream::tell() {
    if (m_inner == nullptr) return -1;
    int64_t position = m_inner->tell();
    return position < 0 ? position : position - m_start;
}

QVIOStreamInf* QVIOSubStream::duplicate() {
    if (m_inner == nullptr) return nullptr;
    QVIOSubStream* copy = new (std::nothrow) QVIOSubStream();
    if (copy != nullptr) copy->initialize(m_inner, m_start, m_end, false);
    return copy;
}

QVStatus QVIOSubStream::getLastError() {
    return m_inner != nullptr ? m_inner->getLastError() : QVI_STS_IO_NotInitialized;
}

const char* QVIOSubStream::getID() { return "qv_substream:"; }

}  // namespace Orvanetics
