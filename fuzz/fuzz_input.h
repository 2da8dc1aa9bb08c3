// Shared pieces of the fuzz targets: the input as an open memory stream,
// and an output stream that drops what is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qv_ioMemStream.h"
#include "qv_ioNullStream.h"

namespace FuzzInput {

// Inputs beyond this are cut: the parsers' work grows with the input, and
// the fuzzer learns more from many small inputs than from a few large ones.
constexpr size_t kMaxInputBytes = 1 << 20;

// An open stream over a private copy of the fuzzer's bytes (memory streams
// want a writable block, and a copy lets ASan see reads past its end).
class MemoryInput {
public:
    MemoryInput(const uint8_t* data, size_t size)
        : m_bytes(data, data + (size < kMaxInputBytes ? size : kMaxInputBytes))
    {
        m_bytes.shrink_to_fit();
        m_stream.initialize(m_bytes.empty() ? &m_emptyByte : m_bytes.data(),
                            static_cast<uint32_t>(m_bytes.size()));
        m_stream.open();
    }
    Orvanetics::QVIOMemStream& stream() { return m_stream; }
    const std::vector<uint8_t>& bytes() const { return m_bytes; }

private:
    std::vector<uint8_t> m_bytes;
    uint8_t m_emptyByte = 0;
    Orvanetics::QVIOMemStream m_stream;
};

// An open stream that only counts what is written.
inline std::unique_ptr<Orvanetics::QVIONullStream> openNullOutput()
{
    auto stream = std::make_unique<Orvanetics::QVIONullStream>();
    stream->open();
    return stream;
}

}  // namespace FuzzInput
