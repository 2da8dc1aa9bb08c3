#include "metadata_testStream.h"

#include <algorithm>
#include <cstring>

namespace MetadataTest {

uint32_t VectorStream::read(uint8_t* buffer, uint32_t count) {
    const uint64_t available = m_position < m_bytes.size() ? m_bytes.size() - m_position : 0;
    const uint32_t moved = static_cast<uint32_t>(std::min<uint64_t>(count, available));
    if (moved != 0) std::memcpy(buffer, m_bytes.data() + m_position, moved);
    m_position += moved;
    m_eof = moved < count;
    m_lastError = moved < count ? m_failureStatus : 0;
    return moved;
}

uint32_t VectorStream::write(const uint8_t* buffer, uint32_t count) {
    const uint64_t allowed = m_written < m_writeBudget ? m_writeBudget - m_written : 0;
    const uint32_t moved = static_cast<uint32_t>(std::min<uint64_t>(count, allowed));
    if (m_position + moved > m_bytes.size()) m_bytes.resize(m_position + moved);
    if (moved != 0) std::memcpy(m_bytes.data() + m_position, buffer, moved);
    m_position += moved;
    m_written += moved;
    m_lastError = moved < count ? m_failureStatus : 0;
    return moved;
}

Orvanetics::QVStatus VectorStream::seek(int64_t offset, Orvanetics::QVIOSeekDir dir) {
    if (m_failSeeks) return 1;
    int64_t base = 0;
    if (dir == Orvanetics::QVIO_SEEK_CURRENT) base = static_cast<int64_t>(m_position);
    if (dir == Orvanetics::QVIO_SEEK_END) base = static_cast<int64_t>(m_bytes.size());
    if (base + offset < 0) return 1;
    m_position = static_cast<uint64_t>(base + offset);
    m_eof = false;
    return 0;
}

ClassicalStreamBuilder& ClassicalStreamBuilder::header(uint16_t major, uint16_t minor) {
    return u16(major).u16(minor);
}

ClassicalStreamBuilder& ClassicalStreamBuilder::head(uint32_t tagNumber, const std::string& key, uint32_t typeCode,
                                                     uint32_t count, const std::vector<uint32_t>& dims) {
    u32(tagNumber).text(key).u32(typeCode).u32(count).u32(static_cast<uint32_t>(dims.size()));
    for (uint32_t dim : dims) u32(dim);
    return *this;
}

ClassicalStreamBuilder& ClassicalStreamBuilder::u8(uint8_t value) {
    m_bytes.push_back(value);
    return *this;
}

ClassicalStreamBuilder& ClassicalStreamBuilder::u16(uint16_t value) {
    return u8(static_cast<uint8_t>(value >> 8)).u8(static_cast<uint8_t>(value));
}

ClassicalStreamBuilder& ClassicalStreamBuilder::u32(uint32_t value) {
    return u16(static_cast<uint16_t>(value >> 16)).u16(static_cast<uint16_t>(value));
}

ClassicalStreamBuilder& ClassicalStreamBuilder::u64(uint64_t value) {
    return u32(static_cast<uint32_t>(value >> 32)).u32(static_cast<uint32_t>(value));
}

ClassicalStreamBuilder& ClassicalStreamBuilder::f32(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    return u32(bits);
}

ClassicalStreamBuilder& ClassicalStreamBuilder::f64(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    return u64(bits);
}

ClassicalStreamBuilder& ClassicalStreamBuilder::text(const std::string& value) {
    m_bytes.insert(m_bytes.end(), value.begin(), value.end());
    return u8(0);
}

ClassicalStreamBuilder& ClassicalStreamBuilder::end() {
    return u32(0).text("");
}

}  // namespace MetadataTest
