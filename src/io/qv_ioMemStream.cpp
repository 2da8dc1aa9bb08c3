#include "qv_ioMemStream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qv_ioSeekTarget.h"
#include "qv_statusCodes.h"

namespace Orvanetics {

namespace {
constexpr QVStatus kStsUnknownSeekDir = 3;
}  // namespace

QVIOMemStream::~QVIOMemStream() { releaseBlock(); }

void QVIOMemStream::releaseBlock() {
    if (m_owned) std::free(m_data);
    m_data = nullptr;
    m_size = 0;
    m_owned = false;
}

QVStatus QVIOMemStream::initialize(void* data, uint32_t size) {
    if (data == nullptr) return initialize(size);
    if (m_open) return QVI_STS_IO_InvalidState;
    releaseBlock();
    m_data = static_cast<uint8_t*>(data);
    m_size = size;
    return QVI_STS_Success;
}

QVStatus QVIOMemStream::initialize(uint32_t size) {
    if (m_open) return QVI_STS_IO_InvalidState;
    releaseBlock();
    // calloc(0) may answer null; a block of one byte keeps "owned" meaningful.
    uint8_t* block = static_cast<uint8_t*>(std::calloc(std::max<uint32_t>(size, 1), 1));
    if (block == nullptr) return QVI_STS_IO_OutOfMemory;
    m_data = block;
    m_size = size;
    m_owned = true;
    return QVI_STS_Success;
}

bool QVIOMemStream::isEOF() { return m_eof; }

bool QVIOMemStream::isOpen() { return m_open; }

QVStatus QVIOMemStream::open() {
    if (m_open) return QVI_STS_Success;
    m_open = true;
    m_position = 0;
    m_eof = false;
    return QVI_STS_Success;
}

QVStatus QVIOMemStream::close() {
    m_open = false;
    m_position = kClosedPosition;
    return QVI_STS_Success;
}

uint32_t QVIOMemStream::room() const { return m_position < m_size ? m_size - m_position : 0; }

uint32_t QVIOMemStream::claim(uint32_t count) {
    if (!m_open) return 0;
    if (room() == 0) {
        m_eof = true;
        return 0;
    }
    return std::min(count, room());
}

void QVIOMemStream::advance(uint32_t count) {
    if (count == 0) return;
    m_position += count;
    m_eof = false;
}

uint32_t QVIOMemStream::read(uint8_t* buffer, uint32_t count) {
    uint32_t n = claim(count);
    if (n > 0) std::memcpy(buffer, m_data + m_position, n);
    advance(n);
    return n;
}

uint32_t QVIOMemStream::write(const uint8_t* buffer, uint32_t count) {
    uint32_t n = claim(count);
    if (n > 0) std::memcpy(m_data + m_position, buffer, n);
    advance(n);
    return n;
}

QVStatus QVIOMemStream::seek(int64_t offset, QVIOSeekDir dir) {
    if (!qvioFitsInt32(offset)) return QVI_STS_IO_InvalidArgs;
    int64_t origin = 0;
    if (!qvioSeekOrigin(dir, m_position, m_size, origin)) return kStsUnknownSeekDir;
    if (!m_open) return QVI_STS_IO_InvalidState;
    int64_t target = origin + offset;
    if (target < 0 || target >= kClosedPosition) return QVI_STS_IO_InvalidArgs;
    m_position = static_cast<uint32_t>(target);
    m_eof = m_position > m_size;
    return QVI_STS_Success;
}

int64_t QVIOMemStream::tell() { return m_open ? static_cast<int64_t>(m_position) : -1; }

QVIOStreamInf* QVIOMemStream::duplicate() {
    QVIOMemStream* copy = new (std::nothrow) QVIOMemStream();
    if (copy == nullptr) return nullptr;
    if (copy->initialize(m_size) != QVI_STS_Success) {
        delete copy;
        return nullptr;
    }
    if (m_size > 0) std::memcpy(copy->m_data, m_data, m_size);
    return copy;
}

QVStatus QVIOMemStream::getLastError() { return m_open ? QVI_STS_Success : QVI_STS_IO_InvalidState; }

const char* QVIOMemStream::getID() { return "qv_memstream:"; }

}  // namespace Orvanetics
