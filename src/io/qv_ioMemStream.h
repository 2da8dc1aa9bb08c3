// A stream over a fixed block of memory, owned or borrowed. The block never grows.
#pragma once

#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIOMemStream : public QVIOStreamInf {
public:
    QVIOMemStream() = default;
    ~QVIOMemStream() override;
    QVIOMemStream(const QVIOMemStream&) = delete;
    QVIOMemStream& operator=(const QVIOMemStream&) = delete;

    // Wraps data without owning it; null data allocates as initialize(size).
    // 145012 while open.
    virtual QVStatus initialize(void* data, uint32_t size);
    // A zeroed block of size bytes that the stream owns; 145013 if it can't be had.
    virtual QVStatus initialize(uint32_t size);

    // seek: offsets outside the signed 32-bit range give 145011, an unknown direction 3; a position past the
    // end is kept and sets the end flag.
    // duplicate: an owned copy of the block.
    QVIO_STREAM_OVERRIDES;

private:
    static constexpr uint32_t kClosedPosition = 0xFFFFFFFFu;
    void releaseBlock();
    // Bytes between the position and the end of the block.
    uint32_t room() const;
    // Bytes a transfer of count may move; with no room it sets the end flag.
    uint32_t claim(uint32_t count);
    // Moves the position past a transfer; a transfer that is not empty clears the end flag.
    void advance(uint32_t count);

    uint8_t* m_data = nullptr;
    uint32_t m_size = 0;
    uint32_t m_position = kClosedPosition;
    bool m_owned = false;
    bool m_open = false;
    bool m_eof = false;
};

}  // namespace Orvanetics
