// Test-only streams and byte builders for the metadata formats.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qv_ioStreamInf.h"

namespace MetadataTest {

// An in-memory stream over a byte vector that can be told to fail: writes
// beyond a byte budget come up short, and seeks can be refused.
class VectorStream : public Orvanetics::QVIOStreamInf {
public:
    VectorStream() = default;
    explicit VectorStream(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}

    const std::vector<uint8_t>& bytes() const { return m_bytes; }
    void limitWrites(uint64_t totalBytes) { m_writeBudget = totalBytes; }
    void failSeeks(bool fail) { m_failSeeks = fail; }
    // The status that getLastError reports after a failed transfer.
    void setFailureStatus(Orvanetics::QVStatus status) { m_failureStatus = status; }

    bool isEOF() override { return m_eof; }
    bool isOpen() override { return true; }
    Orvanetics::QVStatus open() override { return 0; }
    Orvanetics::QVStatus close() override { return 0; }
    uint32_t read(uint8_t* buffer, uint32_t count) override;
    uint32_t write(const uint8_t* buffer, uint32_t count) override;
    Orvanetics::QVStatus seek(int64_t offset, Orvanetics::QVIOSeekDir dir) override;
    int64_t tell() override { return static_cast<int64_t>(m_position); }
    Orvanetics::QVIOStreamInf* duplicate() override { return new VectorStream(m_bytes); }
    Orvanetics::QVStatus getLastError() override { return m_lastError; }
    const char* getID() override { return "metadata-test-stream"; }

private:
    std::vector<uint8_t> m_bytes;
    uint64_t m_position = 0;
    uint64_t m_writeBudget = UINT64_MAX;
    uint64_t m_written = 0;
    bool m_failSeeks = false;
    bool m_eof = false;
    Orvanetics::QVStatus m_lastError = 0;
    Orvanetics::QVStatus m_failureStatus = 0;
};

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
