// Band-sequential memory for one pixel layout that grows on demand and is kept
// between strips, so that a strip loop allocates only when a strip is larger
// than every strip before it.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qv_utilStatusData.h"

namespace Orvanetics {

class QVIPixel;

class QVIReusableBSQBuffer {
public:
    // Throws QVUtilException (8) when the pixel can't be copied.
    explicit QVIReusableBSQBuffer(const QVIPixel& pixel);
    ~QVIReusableBSQBuffer();
    QVIReusableBSQBuffer(const QVIReusableBSQBuffer&) = delete;
    QVIReusableBSQBuffer& operator=(const QVIReusableBSQBuffer&) = delete;

    // Room for numPixels samples in every band; the old contents are not
    // kept when the block grows. False when the memory can't be had.
    bool safeResize(uint64_t numPixels);
    // One pointer per band, valid until the next growth.
    void** getData() { return m_bandPointers.data(); }
    // Sets every byte of the first numPixels samples of every band.
    void memset(int value);
    // True if the last safeResize had to grow the block.
    bool didRealloc() const { return m_didRealloc; }
    uint64_t getCapacity() const { return m_capacity; }

private:
    std::unique_ptr<QVIPixel> m_pixel;
    std::vector<uint32_t> m_sampleBytes;
    std::vector<void*> m_bandPointers;
    std::unique_ptr<uint8_t[]> m_block;
    uint64_t m_capacity = 0;
    uint64_t m_numPixels = 0;
    bool m_didRealloc = false;
};

}  // namespace Orvanetics
