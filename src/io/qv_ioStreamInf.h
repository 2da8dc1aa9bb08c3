// The abstract byte stream through which all file access goes.
#pragma once

#include <cstdint>

#include "qv_utilStatusData.h"

namespace Orvanetics {

enum QVIOSeekDir : int {
    QVIO_SEEK_BEGIN = 2,
    QVIO_SEEK_CURRENT = 3,
    QVIO_SEEK_END = 4,
};

// A stream has a single owner and is destroyed by delete (usually through
// QVIOStreamUtils::closeStream). One thread at a time; duplicate() gives
// another thread its own position on the same data.
class QVIOStreamInf {
public:
    virtual ~QVIOStreamInf() = default;

    virtual bool isEOF() = 0;
    virtual bool isOpen() = 0;
    virtual QVStatus open() = 0;
    virtual QVStatus close() = 0;
    // Bytes moved; fewer than asked means end of data or an error
    // (tell them apart with isEOF and getLastError).
    virtual uint32_t read(uint8_t* buffer, uint32_t count) = 0;
    virtual uint32_t write(const uint8_t* buffer, uint32_t count) = 0;
    virtual QVStatus seek(int64_t offset, QVIOSeekDir dir) = 0;
    // Negative on failure.
    virtual int64_t tell() = 0;
    // A new, closed, independent stream on the same data, owned by the caller; null on failure.
    virtual QVIOStreamInf* duplicate() = 0;
    virtual QVStatus getLastError() = 0;
    virtual const char* getID() = 0;
    // Bytes up to and including the delimiter, in a malloc'ed block the caller
    // frees with free(); null on a failed read.
    virtual char* readString(char delimiter);
};

// Declares the operations that every concrete stream overrides; each class
// says above it where its behaviour is particular.
#define QVIO_STREAM_OVERRIDES                                       \
    bool isEOF() override;                                          \
    bool isOpen() override;                                         \
    QVStatus open() override;                                       \
    QVStatus close() override;                                      \
    uint32_t read(uint8_t* buffer, uint32_t count) override;        \
    uint32_t write(const uint8_t* buffer, uint32_t count) override; \
    QVStatus seek(int64_t offset, QVIOSeekDir dir) override;        \
    int64_t tell() override;                                        \
    QVIOStreamInf* duplicate() override;                            \
    QVStatus getLastError() override;                               \
    const char* getID() override

}  // namespace Orvanetics
