// Pieces shared by the streams over C files.
#pragma once

#include <cerrno>
#include <cstdio>

#include "qv_ioStreamInf.h"

namespace Orvanetics {

// The C library's origin for a seek direction (callers check the direction first).
inline int qvioWhence(QVIOSeekDir dir) {
    switch (dir) {
        case QVIO_SEEK_CURRENT: return SEEK_CUR;
        case QVIO_SEEK_END: return SEEK_END;
        default: return SEEK_SET;
    }
}

// 0 while the file's error indicator is off, else the system's error code (1 if it has none).
inline QVStatus qvioFileErrorStatus(std::FILE* file) {
    if (std::ferror(file) == 0) return 0;
    return errno != 0 ? static_cast<QVStatus>(errno) : 1;
}

}  // namespace Orvanetics
