// Byte-order aware reading and writing of fixed-size values over a stream.
// The wavelet container stores every integer big-endian; these templates turn
// each value into one stream transfer without allocating, and report a short
// transfer as a status instead of leaving the caller to compare counts.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "qv_ioStreamInf.h"
#include "qv_statusCodes.h"
#include "qv_utilStatusData.h"

namespace Orvanetics {

namespace QVIOByteOrder {

template <class T>
T byteSwap(T value) {
    static_assert(std::is_integral_v<T>);
    using U = std::make_unsigned_t<T>;
    if constexpr (sizeof(T) == 1) {
        return value;
    } else if constexpr (sizeof(T) == 2) {
        return static_cast<T>(__builtin_bswap16(static_cast<U>(value)));
    } else if constexpr (sizeof(T) == 4) {
        return static_cast<T>(__builtin_bswap32(static_cast<U>(value)));
    } else {
        static_assert(sizeof(T) == 8);
        return static_cast<T>(__builtin_bswap64(static_cast<U>(value)));
    }
}

// The stored form of an integer in the wanted order, and back (the same swap).
template <bool BigEndian, class T>
T toStored(T value) {
    constexpr bool hostIsBig = std::endian::native == std::endian::big;
    if constexpr (BigEndian == hostIsBig) {
        return value;
    } else {
        return byteSwap(value);
    }
}

// Records the status in this thread's status details and returns it.
QVStatus reportFailure(QVStatus status);

}  // namespace QVIOByteOrder

// What a reader and a writer over a stream share: the position, and moving
// a large count of bytes in pieces that the stream interface can take.
class QVIOStreamCursor {
public:
    explicit QVIOStreamCursor(QVIOStreamInf& stream) : m_stream(stream) {}

    QVIOStreamInf& getStream() const { return m_stream; }

    // Negative on failure.
    int64_t tell() { return m_stream.tell(); }
    QVStatus seek(int64_t offset, QVIOSeekDir dir = QVIO_SEEK_BEGIN) { return m_stream.seek(offset, dir); }
    QVStatus skip(int64_t count) { return m_stream.seek(count, QVIO_SEEK_CURRENT); }

protected:
    // Calls transfer(done, piece) until count bytes are moved; `failure` as
    // soon as a piece moves fewer bytes than asked.
    template <class Transfer>
    static QVStatus inPieces(size_t count, QVStatus failure, Transfer transfer) {
        for (size_t done = 0; done < count;) {
            const uint32_t piece = count - done > 0x40000000u ? 0x40000000u : static_cast<uint32_t>(count - done);
            if (transfer(done, piece) != piece) return QVIOByteOrder::reportFailure(failure);
            done += piece;
        }
        return 0;
    }

    QVIOStreamInf& m_stream;
};

// Reads values stored in the given byte order. Holds only a reference: it is
// cheap to make one on the stack wherever a stream is to be parsed.
template <bool BigEndian>
class QVIOStreamReader : public QVIOStreamCursor {
public:
    using QVIOStreamCursor::QVIOStreamCursor;

    QVStatus readUint8(uint8_t& value) { return readValue(value); }
    QVStatus readInt8(int8_t& value) { return readValue(value); }
    QVStatus readUint16(uint16_t& value) { return readValue(value); }
    QVStatus readInt16(int16_t& value) { return readValue(value); }
    QVStatus readUint32(uint32_t& value) { return readValue(value); }
    QVStatus readInt32(int32_t& value) { return readValue(value); }
    QVStatus readUint64(uint64_t& value) { return readValue(value); }
    QVStatus readInt64(int64_t& value) { return readValue(value); }
    QVStatus readFloat32(float& value) { return readFloating<uint32_t>(value); }
    QVStatus readFloat64(double& value) { return readFloating<uint64_t>(value); }

    // An unsigned value stored in width bytes (0, 1, 2, 4 or 8; 0 reads as 0).
    QVStatus readUnsigned(unsigned width, uint64_t& value) {
        uint8_t bytes[8];
        value = 0;
        if (width > sizeof(bytes)) return QVIOByteOrder::reportFailure(QVI_STS_Tavix_ReadError);
        if (QVStatus status = readBytes(bytes, width)) return status;
        for (unsigned i = 0; i < width; ++i) {
            unsigned index = BigEndian ? i : width - 1 - i;
            value = (value << 8) | bytes[index];
        }
        return 0;
    }

    // Exactly count bytes, or 2001.
    QVStatus readBytes(uint8_t* buffer, size_t count) {
        return inPieces(count, QVI_STS_Tavix_ReadError,
                        [&](size_t done, uint32_t piece) { return m_stream.read(buffer + done, piece); });
    }

private:
    template <class T>
    QVStatus readValue(T& value) {
        T stored{};
        if (m_stream.read(reinterpret_cast<uint8_t*>(&stored), sizeof(T)) != sizeof(T))
            return QVIOByteOrder::reportFailure(QVI_STS_Tavix_ReadError);
        value = QVIOByteOrder::toStored<BigEndian>(stored);
        return 0;
    }

    template <class Bits, class F>
    QVStatus readFloating(F& value) {
        Bits bits = 0;
        if (QVStatus status = readValue(bits)) return status;
        value = std::bit_cast<F>(bits);
        return 0;
    }

};

// Writes values in the given byte order; a short write gives 2002.
template <bool BigEndian>
class QVIOStreamWriter : public QVIOStreamCursor {
public:
    using QVIOStreamCursor::QVIOStreamCursor;

    QVStatus writeUint8(uint8_t value) { return writeValue(value); }
    QVStatus writeInt8(int8_t value) { return writeValue(value); }
    QVStatus writeUint16(uint16_t value) { return writeValue(value); }
    QVStatus writeInt16(int16_t value) { return writeValue(value); }
    QVStatus writeUint32(uint32_t value) { return writeValue(value); }
    QVStatus writeInt32(int32_t value) { return writeValue(value); }
    QVStatus writeUint64(uint64_t value) { return writeValue(value); }
    QVStatus writeInt64(int64_t value) { return writeValue(value); }
    QVStatus writeFloat32(float value) { return writeValue(std::bit_cast<uint32_t>(value)); }
    QVStatus writeFloat64(double value) { return writeValue(std::bit_cast<uint64_t>(value)); }

    // The low width bytes of value (width 0, 1, 2, 4 or 8; 0 writes nothing).
    QVStatus writeUnsigned(unsigned width, uint64_t value) {
        uint8_t bytes[8];
        if (width > sizeof(bytes)) return QVIOByteOrder::reportFailure(QVI_STS_Tavix_WriteError);
        for (unsigned i = 0; i < width; ++i) {
            unsigned index = BigEndian ? width - 1 - i : i;
            bytes[index] = static_cast<uint8_t>(value >> (8 * i));
        }
        return writeBytes(bytes, width);
    }

    // Exactly count bytes, or 2002.
    QVStatus writeBytes(const uint8_t* buffer, size_t count) {
        return inPieces(count, QVI_STS_Tavix_WriteError,
                        [&](size_t done, uint32_t piece) { return m_stream.write(buffer + done, piece); });
    }

private:
    template <class T>
    QVStatus writeValue(T value) {
        T stored = QVIOByteOrder::toStored<BigEndian>(value);
        if (m_stream.write(reinterpret_cast<const uint8_t*>(&stored), sizeof(T)) != sizeof(T))
            return QVIOByteOrder::reportFailure(QVI_STS_Tavix_WriteError);
        return 0;
    }

};

}  // namespace Orvanetics
