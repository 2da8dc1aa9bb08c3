#include "qv_ioFileStream.h"

#include <new>

#include "qv_ioCFile.h"
#include "qv_ioSeekTarget.h"
#include "qv_statusCodes.h"

namespace Orvanetics {

QVIOFileStream::~QVIOFileStream() { close(); }

QVStatus QVIOFileStream::initialize(const QVFileSpec& fileSpec, const char* mode) {
    if (fileSpec.isEmpty() || mode == nullptr) return QVI_STS_IO_InvalidArgs;
    if (isOpen()) return QVI_STS_IO_InvalidState;
    m_fileSpec = fileSpec;
    m_mode = mode;
    m_id = "file://" + fileSpec.getNormalizedPath();
    return QVI_STS_Success;
}

QVStatus QVIOFileStream::initialize(const char* path, const char* mode) {
    if (path == nullptr) return QVI_STS_IO_InvalidArgs;
    return initialize(QVFileSpec(path), mode);
}

bool QVIOFileStream::isEOF() { return m_file == nullptr || std::feof(m_file) != 0; }

bool QVIOFileStream::isOpen() { return m_file != nullptr; }

QVStatus QVIOFileStream::open() {
    if (isOpen()) return QVI_STS_IO_InvalidState;
    if (m_fileSpec.isEmpty() || m_mode.empty()) return QVI_STS_IO_NotInitialized;
    m_file = std::fopen(m_fileSpec.getNativePath(), m_mode.c_str());
    if (m_file == nullptr) return QVI_STS_Failure;
    m_state = kAfterSeek;
    return QVI_STS_Success;
}

QVStatus QVIOFileStream::close() {
    if (m_file == nullptr) return QVI_STS_Success;
    int result = std::fclose(m_file);
    m_file = nullptr;
    m_state = kNone;
    return result == 0 ? QVI_STS_Success : QVI_STS_Failure;
}

void QVIOFileStream::enterState(TransferState state) {
    bool switching = (state == kReading && m_state == kWriting) || (state == kWriting && m_state == kReading);
    if (switching) fseeko(m_file, 0, SEEK_CUR);
    m_state = state;
}

uint32_t QVIOFileStream::read(uint8_t* buffer, uint32_t count) {
    if (m_file == nullptr) return 0;
    enterState(kReading);
    return static_cast<uint32_t>(std::fread(buffer, 1, count, m_file));
}

uint32_t QVIOFileStream::write(const uint8_t* buffer, uint32_t count) {
    if (m_file == nullptr) return 0;
    enterState(kWriting);
    return static_cast<uint32_t>(std::fwrite(buffer, 1, count, m_file));
}

QVStatus QVIOFileStream::seek(int64_t offset, QVIOSeekDir dir) {
    if (!qvioIsSeekDir(dir)) return QVI_STS_IO_InvalidArgs;
    if (m_file == nullptr) return QVI_STS_IO_InvalidState;
    m_state = kAfterSeek;
    return fseeko(m_file, static_cast<off_t>(offset), qvioWhence(dir)) == 0 ? QVI_STS_Success : QVI_STS_Failure;
}

int64_t QVIOFileStream::tell() { return m_file == nullptr ? -1 : static_cast<int64_t>(ftello(m_file)); }

QVIOStreamInf* QVIOFileStream::duplicate() {
    QVIOFileStream* copy = new (std::nothrow) QVIOFileStream();
    if (copy != nullptr && copy->initialize(m_fileSpec, m_mode.c_str()) != QVI_STS_Success) {
        delete copy;
        copy = nullptr;
    }
    return copy;
}

QVStatus QVIOFileStream::getLastError() {
    if (m_file == nullptr) return QVI_STS_IO_InvalidState;
    return qvioFileErrorStatus(m_file);
}

const char* QVIOFileStream::getID() { return m_id.c_str(); }

int QVIOFileStream::stdio_setvbuf(char* buffer, int mode, size_t size) {
    return m_file == nullptr ? -1 : std::setvbuf(m_file, buffer, mode, size);
}

int QVIOFileStream::stdio_ferror() { return m_file == nullptr ? -1 : std::ferror(m_file); }

void QVIOFileStream::stdio_clearerr() {
    if (m_file != nullptr) std::clearerr(m_file);
}

}  // namespace Orvanetics
