// A stream over a C file that someone else opened and closes, such as the
// standard input or output.
#pragma once

#include <cstdio>

#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVSTDIOStream : public QVIOStreamInf {
public:
    QVSTDIOStream() = default;
    QVSTDIOStream(const QVSTDIOStream&) = delete;
    QVSTDIOStream& operator=(const QVSTDIOStream&) = delete;

    // The file to wrap (stdin, stdout, or one the caller opened); 145011 for
    // null, 145012 while open.
    virtual QVStatus initialize(std::FILE* file);

    bool isEOF() override;
    bool isOpen() override;
    // Neither opens nor closes the file itself.
    QVStatus open() override;
    QVStatus close() override;
    uint32_t read(uint8_t* buffer, uint32_t count) override;
    uint32_t write(const uint8_t* buffer, uint32_t count) override;
    QVStatus seek(int64_t offset, QVIOSeekDir dir) override;
    int64_t tell() override;
    // Null: a borrowed C file gives no independent position.
    QVIOStreamInf* duplicate() override;
    QVStatus getLastError() override;
    const char* getID() override;

    virtual int stdio_fflush();
    virtual int stdio_ferror();
    virtual void stdio_clearerr();

private:
    std::FILE* m_file = nullptr;
    bool m_open = false;
};

}  // namespace Orvanetics
