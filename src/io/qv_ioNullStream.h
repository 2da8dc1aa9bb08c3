// A stream that keeps no data: transfers only move the position. It measures
// what a writer would produce.
#pragma once

#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIONullStream : public QVIOStreamInf {
public:
    QVIONullStream() = default;

    // read, write: when open, both answer count and move the position; the buffer is not touched.
    // seek: from the beginning or the current position only, and only when open; else 1.
    QVIO_STREAM_OVERRIDES;

private:
    uint32_t advance(uint32_t count);

    int64_t m_position = 0;
    bool m_open = false;
};

}  // namespace Orvanetics
