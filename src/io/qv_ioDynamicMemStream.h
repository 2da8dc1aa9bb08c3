// A stream over a block of memory that grows as it is written: temporary
// storage that never touches the disc.
#pragma once

#include <cstddef>

#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIODynamicMemStream : public QVIOStreamInf {
public:
    typedef void* (*Allocator)(size_t size);
    typedef void (*Deallocator)(void* block);
    typedef void* (*Reallocator)(void* block, size_t size);

    QVIODynamicMemStream() = default;
    ~QVIODynamicMemStream() override;
    QVIODynamicMemStream(const QVIODynamicMemStream&) = delete;
    QVIODynamicMemStream& operator=(const QVIODynamicMemStream&) = delete;

    // A first block of size bytes; each growth multiplies the capacity by
    // growth, which must lie in (1.0, 2.0]. 145012 while open, 145011 for a
    // bad growth, 145013 when the first block can't be had.
    virtual QVStatus initialize(uint32_t size, float growth = 1.6f);
    // As above with the caller's memory functions; a null reallocator grows
    // by allocating, copying and freeing.
    virtual QVStatus initialize(uint32_t size, Allocator allocator, Deallocator deallocator,
                                Reallocator reallocator, float growth = 1.6f);
    // Hands the block to the caller (free it with the deallocator), empties and closes the stream.
    virtual QVStatus detachAndClose(uint8_t*& block);

    // write: writing after a seek past the length fills the gap with zeros.
    // seek: offsets outside the signed 32-bit range give 145011, an unknown direction or a closed stream 1; a
    // position past the length is allowed.
    QVIO_STREAM_OVERRIDES;
    // Scans the block instead of reading byte by byte.
    char* readString(char delimiter) override;

    // The bytes written so far; valid until the next write or detach.
    const uint8_t* getData() const { return m_block; }
    uint32_t getLength() const { return m_length; }

private:
    static constexpr uint32_t kNoPosition = 0xFFFFFFFFu;
    // Makes room for count bytes at the position; false when it can't.
    bool grow(uint32_t count);
    uint32_t grownCapacity(uint32_t needed) const;
    void releaseBlock();

    uint8_t* m_block = nullptr;
    uint32_t m_capacity = 0;
    uint32_t m_length = 0;
    uint32_t m_position = kNoPosition;
    bool m_open = false;
    Allocator m_allocator = nullptr;
    Deallocator m_deallocator = nullptr;
    Reallocator m_reallocator = nullptr;
    QVStatus m_lastError = 0;
    bool m_eof = false;
    float m_growth = 1.6f;
};

}  // namespace Orvanetics
