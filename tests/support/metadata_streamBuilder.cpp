#include "metadata_streamBuilder.h"

#include <cstring>

namespace MetadataTest {

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
