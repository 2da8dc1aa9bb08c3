#include "qv_ioNullStream.h"

#include <new>

#include "qv_statusCodes.h"

namespace Orvanetics {

bool QVIONullStream::isEOF() { return false; }

bool QVIONullStream::isOpen() { return m_open; }

QVStatus QVIONullStream::open() {
    if (m_open) return QVI_STS_Success;
    m_open = true;
    m_position = 0;
    return QVI_STS_Success;
}

QVStatus QVIONullStream::close() {
    m_open = false;
    return QVI_STS_Success;
}

uint32_t QVIONullStream::advance(uint32_t count) {
    if (!m_open) return 0;
    m_position += count;
    return count;
}

uint32_t QVIONullStream::read(uint8_t*, uint32_t count) { return advance(count); }

uint32_t QVIONullStream::write(const uint8_t*, uint32_t count) { return advance(count); }

QVStatus QVIONullStream::seek(int64_t offset, QVIOSeekDir dir) {
    if (!m_open) return QVI_STS_Failure;
    int64_t target = 0;
    switch (dir) {
        case QVIO_SEEK_BEGIN: target = offset; break;
        case QVIO_SEEK_CURRENT: target = m_position + offset; break;
        default: return QVI_STS_Failure;
    }
    if (target < 0) return QVI_STS_IO_InvalidArgs;
    m_position = target;
    return QVI_STS_Success;
}

int64_t QVIONullStream::tell() { return m_open ? m_position : -1; }

QVIOStreamInf* QVIONullStream::duplicate() { return new (std::nothrow) QVIONullStream(); }

QVStatus QVIONullStream::getLastError() { return m_open ? QVI_STS_Success : QVI_STS_IO_InvalidState; }

const char* QVIONullStream::getID() { return "qv_nullstream:"; }

}  // namespace Orvanetics
