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

    // open: neither opens nor closes the file itself.
    // duplicate: null: a borrowed C file gives no independent position.
    QVIO_STREAM_OVERRIDES;

    virtual int stdio_fflush();
    virtual int stdio_ferror();
    virtual void stdio_clearerr();

private:
    std::FILE* m_file = nullptr;
    bool m_open = false;
};

}  // namespace Orvanetics
