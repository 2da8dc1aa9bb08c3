// Byte-order aware reads and writes of integers and blocks, shared by the
// metadata byte formats.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "qv_ioStreamInf.h"

namespace Orvanetics {
namespace MetadataStreamIO {

// Whole `size` bytes, in pieces that fit the stream's 32-bit counts.
inline bool readBytes(QVIOStreamInf& stream, void* buffer, uint64_t size) {
    uint8_t* bytes = static_cast<uint8_t*>(buffer);
    while (size > 0) {
        const uint32_t piece = static_cast<uint32_t>(std::min<uint64_t>(size, 0x40000000u));
        if (stream.read(bytes, piece) != piece) return false;
        bytes += piece;
        size -= piece;
    }
    return true;
}

inline bool writeBytes(QVIOStreamInf& stream, const void* buffer, uint64_t size) {
    const uint8_t* bytes = static_cast<const uint8_t*>(buffer);
    while (size > 0) {
        const uint32_t piece = static_cast<uint32_t>(std::min<uint64_t>(size, 0x40000000u));
        if (stream.write(bytes, piece) != piece) return false;
        bytes += piece;
        size -= piece;
    }
    return true;
}

// An unsigned integer of sizeof(T) bytes in the given byte order.
template <typename T>
bool readInteger(QVIOStreamInf& stream, bool bigEndian, T& value) {
    static_assert(std::is_unsigned_v<T>);
    uint8_t bytes[sizeof(T)];
    if (!readBytes(stream, bytes, sizeof(T))) return false;
    value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        const size_t shift = 8 * (bigEndian ? sizeof(T) - 1 - i : i);
        value |= static_cast<T>(static_cast<T>(bytes[i]) << shift);
    }
    return true;
}

template <typename T>
bool writeInteger(QVIOStreamInf& stream, bool bigEndian, T value) {
    static_assert(std::is_unsigned_v<T>);
    uint8_t bytes[sizeof(T)];
    for (size_t i = 0; i < sizeof(T); ++i) {
        const size_t shift = 8 * (bigEndian ? sizeof(T) - 1 - i : i);
        bytes[i] = static_cast<uint8_t>(value >> shift);
    }
    return writeBytes(stream, bytes, sizeof(T));
}

}  // namespace MetadataStreamIO
}  // namespace Orvanetics
