// Test-only stream that forwards to another one and records every read, so
// that a test can prove which bytes a reader touched.
#pragma once

#include <cstdint>
#include <vector>

#include "qv_ioStreamInf.h"

namespace TavixFixture {

using namespace Orvanetics;

class CountingStream : public QVIOStreamInf {
public:
    struct Read {
        int64_t position;
        uint32_t count;  // bytes actually moved
    };

    explicit CountingStream(QVIOStreamInf& inner) : m_inner(inner) {}

    bool isEOF() override { return m_inner.isEOF(); }
    bool isOpen() override { return m_inner.isOpen(); }
    QVStatus open() override { return m_inner.open(); }
    QVStatus close() override { return m_inner.close(); }
    uint32_t read(uint8_t* buffer, uint32_t count) override {
        int64_t position = m_inner.tell();
        uint32_t moved = m_inner.read(buffer, count);
        m_reads.push_back({position, moved});
        m_bytesRead += moved;
        return moved;
    }
    uint32_t write(const uint8_t* buffer, uint32_t count) override {
        return m_inner.write(buffer, count);
    }
    QVStatus seek(int64_t offset, QVIOSeekDir dir) override { return m_inner.seek(offset, dir); }
    int64_t tell() override { return m_inner.tell(); }
    QVIOStreamInf* duplicate() override { return nullptr; }
    QVStatus getLastError() override { return m_inner.getLastError(); }
    const char* getID() override { return "counting:"; }

    const std::vector<Read>& getReads() const { return m_reads; }
    uint64_t getBytesRead() const { return m_bytesRead; }
    // Whether any read touched a byte of [begin, end).
    bool touched(int64_t begin, int64_t end) const {
        for (const Read& r : m_reads) {
            if (r.count > 0 && r.position < end && r.position + r.count > begin) return true;
        }
        return false;
    }
    void reset() {
        m_reads.clear();
        m_bytesRead = 0;
    }

private:
    QVIOStreamInf& m_inner;
    std::vector<Read> m_reads;
    uint64_t m_bytesRead = 0;
};

}  // namespace TavixFixture
