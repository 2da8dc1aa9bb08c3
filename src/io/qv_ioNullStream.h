// A stream that keeps no data: transfers only move the position. It measures
// what a writer would produce.
#pragma once

#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIONullStream : public QVIOStreamInf {
public:
    QVIONullStream() = default;

    bool isEOF() override;
    bool isOpen() override;
    QVStatus open() override;
    QVStatus close() override;
    // When open, both answer count and move the position; the buffer is not touched.
    uint32_t read(uint8_t* buffer, uint32_t count) override;
    uint32_t write(const uint8_t* buffer, uint32_t count) override;
    // From the beginning or the current position only, and only when open; else 1.
    QVStatus seek(int64_t offset, QVIOSeekDir dir) override;
    int64_t tell() override;
    QVIOStreamInf* duplicate() override;
    QVStatus getLastError() override;
    const char* getID() override;

private:
    uint32_t advance(uint32_t count);

    int64_t m_position = 0;
    bool m_open = false;
};

}  // namespace Orvanetics
