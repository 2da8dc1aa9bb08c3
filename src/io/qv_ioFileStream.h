// A stream over a file of the file system, through the C library's buffered files.
#pragma once

#include <cstdio>
#include <string>

#include "qv_fileSpec.h"
#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIOFileStream : public QVIOStreamInf {
public:
    QVIOFileStream() = default;
    ~QVIOFileStream() override;
    QVIOFileStream(const QVIOFileStream&) = delete;
    QVIOFileStream& operator=(const QVIOFileStream&) = delete;

    // mode as for fopen ("rb", "wb", "r+b", ...). 145011 for an empty name or
    // no mode, 145012 while open.
    virtual QVStatus initialize(const QVFileSpec& fileSpec, const char* mode);
    virtual QVStatus initialize(const char* path, const char* mode);

    QVIO_STREAM_OVERRIDES;

    // Pass-throughs to the open C file; -1 (setvbuf, ferror) when not open.
    virtual int stdio_setvbuf(char* buffer, int mode, size_t size);
    virtual int stdio_ferror();
    virtual void stdio_clearerr();

private:
    // A C file needs a seek between reading and writing.
    enum TransferState { kNone = 0, kAfterSeek = 1, kReading = 2, kWriting = 3 };
    void enterState(TransferState state);

    std::FILE* m_file = nullptr;
    TransferState m_state = kNone;
    QVFileSpec m_fileSpec;
    std::string m_mode;
    std::string m_id;
};

}  // namespace Orvanetics
