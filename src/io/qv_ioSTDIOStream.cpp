#include "qv_ioSTDIOStream.h"

#include "qv_ioCFile.h"
#include "qv_ioSeekTarget.h"
#include "qv_statusCodes.h"

namespace Orvanetics {

QVStatus QVSTDIOStream::initialize(std::FILE* file) {
    if (file == nullptr) return QVI_STS_IO_InvalidArgs;
    if (m_open) return QVI_STS_IO_InvalidState;
    m_file = file;
    return QVI_STS_Success;
}

bool QVSTDIOStream::isEOF() { return !m_open || std::feof(m_file) != 0; }

bool QVSTDIOStream::isOpen() { return m_open; }

QVStatus QVSTDIOStream::open() {
    if (m_file == nullptr) return QVI_STS_IO_NotInitialized;
    m_open = true;
    return QVI_STS_Success;
}

QVStatus QVSTDIOStream::close() {
    m_open = false;
    return QVI_STS_Success;
}

uint32_t QVSTDIOStream::read(uint8_t* buffer, uint32_t count) {
    return m_open ? static_cast<uint32_t>(std::fread(buffer, 1, count, m_file)) : 0;
}

uint32_t QVSTDIOStream::write(const uint8_t* buffer, uint32_t count) {
    return m_open ? static_cast<uint32_t>(std::fwrite(buffer, 1, count, m_file)) : 0;
}

QVStatus QVSTDIOStream::seek(int64_t offset, QVIOSeekDir dir) {
    if (!qvioIsSeekDir(dir) || !m_open) return QVI_STS_Failure;
    return fseeko(m_file, static_cast<off_t>(offset), qvioWhence(dir)) == 0 ? QVI_STS_Success : QVI_STS_Failure;
}

int64_t QVSTDIOStream::tell() { return m_open ? static_cast<int64_t>(ftello(m_file)) : -1; }

QVIOStreamInf* QVSTDIOStream::duplicate() { return nullptr; }

QVStatus QVSTDIOStream::getLastError() {
    if (!m_open) return QVI_STS_IO_InvalidState;
    return qvioFileErrorStatus(m_file);
}

const char* QVSTDIOStream::getID() { return "qv_stdiostream:"; }

int QVSTDIOStream::stdio_fflush() { return m_file != nullptr ? std::fflush(m_file) : EOF; }

int QVSTDIOStream::stdio_ferror() { return m_file != nullptr ? std::ferror(m_file) : -1; }

void QVSTDIOStream::stdio_clearerr() {
    if (m_file != nullptr) std::clearerr(m_file);
}

}  // namespace Orvanetics
