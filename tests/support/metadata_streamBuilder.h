// Byte builders for the metadata formats.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace MetadataTest {

// Big-endian bytes of the classical record stream, written field by field.
class ClassicalStreamBuilder {
public:
    ClassicalStreamBuilder& header(uint16_t major, uint16_t minor);
    // A record head: tag number, key, stored type code, value count and dimensions.
    ClassicalStreamBuilder& head(uint32_t tagNumber, const std::string& key, uint32_t typeCode, uint32_t count,
                                 const std::vector<uint32_t>& dims);
    ClassicalStreamBuilder& u8(uint8_t value);
    ClassicalStreamBuilder& u16(uint16_t value);
    ClassicalStreamBuilder& u32(uint32_t value);
    ClassicalStreamBuilder& u64(uint64_t value);
    ClassicalStreamBuilder& f32(float value);
    ClassicalStreamBuilder& f64(double value);
    // The characters and the terminating zero.
    ClassicalStreamBuilder& text(const std::string& value);
    // An empty key: the end of the records.
    ClassicalStreamBuilder& end();

    const std::vector<uint8_t>& bytes() const { return m_bytes; }

private:
    std::vector<uint8_t> m_bytes;
};

}  // namespace MetadataTest
