#include "qvi_reusableBSQBuffer.h"

#include <cstring>
#include <limits>
#include <new>

#include "qvi_pixel.h"

namespace Orvanetics {

QVIReusableBSQBuffer::QVIReusableBSQBuffer(const QVIPixel& pixel)
    : m_pixel(new (std::nothrow) QVIPixel(pixel))
{
    if (!m_pixel)
        throw QVUtilException(8);
    m_sampleBytes.reserve(pixel.getNumBands());
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band)
        m_sampleBytes.push_back(pixel.getSample(band).getNumBytes());
    m_bandPointers.assign(pixel.getNumBands(), nullptr);
}

QVIReusableBSQBuffer::~QVIReusableBSQBuffer() = default;

bool QVIReusableBSQBuffer::safeResize(uint64_t numPixels)
{
    m_didRealloc = false;
    m_numPixels = numPixels;
    if (numPixels <= m_capacity)
        return true;
    uint64_t pixelBytes = 0;
    for (uint32_t bytes : m_sampleBytes)
        pixelBytes += bytes;
    if (pixelBytes != 0 && numPixels > std::numeric_limits<size_t>::max() / pixelBytes) {
        m_numPixels = 0;
        return false;
    }
    // Each band starts on an 8-byte boundary so that samples of any type are aligned.
    size_t total = 0;
    std::vector<size_t> starts;
    starts.reserve(m_sampleBytes.size());
    for (uint32_t bytes : m_sampleBytes) {
        starts.push_back(total);
        total += (size_t(numPixels) * bytes + 7) & ~size_t(7);
    }
    m_block.reset();
    m_capacity = 0;
    m_block.reset(new (std::nothrow) uint8_t[total == 0 ? 1 : total]);
    if (!m_block) {
        m_numPixels = 0;
        m_bandPointers.assign(m_bandPointers.size(), nullptr);
        return false;
    }
    for (size_t band = 0; band < starts.size(); ++band)
        m_bandPointers[band] = m_block.get() + starts[band];
    m_capacity = numPixels;
    m_didRealloc = true;
    return true;
}

void QVIReusableBSQBuffer::memset(int value)
{
    for (size_t band = 0; band < m_bandPointers.size(); ++band) {
        if (m_bandPointers[band])
            std::memset(m_bandPointers[band], value, size_t(m_numPixels) * m_sampleBytes[band]);
    }
}

}  // namespace Orvanetics
