#include "qv_ioDynamicMemStream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qv_ioSeekTarget.h"
#include "qv_statusCodes.h"

namespace Orvanetics {

namespace {
constexpr uint32_t kTopBit = 0x80000000u;
constexpr uint32_t kLargestCapacity = 0xFFFFFFFFu;

void* defaultAllocate(size_t size) { return std::malloc(size); }
void defaultDeallocate(void* block) { std::free(block); }
}  // namespace

QVIODynamicMemStream::~QVIODynamicMemStream() { releaseBlock(); }

void QVIODynamicMemStream::releaseBlock() {
    if (m_block != nullptr) m_deallocator(m_block);
    m_block = nullptr;
    m_capacity = 0;
    m_length = 0;
}

QVStatus QVIODynamicMemStream::initialize(uint32_t size, float growth) {
    return initialize(size, defaultAllocate, defaultDeallocate, nullptr, growth);
}

QVStatus QVIODynamicMemStream::initialize(uint32_t size, Allocator allocator, Deallocator deallocator,
                                          Reallocator reallocator, float growth) {
    if (m_open) return QVI_STS_IO_InvalidState;
    if (!(growth > 1.0f && growth <= 2.0f) || allocator == nullptr || deallocator == nullptr) {
        return QVI_STS_IO_InvalidArgs;
    }
    releaseBlock();
    m_allocator = allocator;
    m_deallocator = deallocator;
    m_reallocator = reallocator;
    m_growth = growth;
    m_block = static_cast<uint8_t*>(m_allocator(std::max<uint32_t>(size, 1)));
    if (m_block == nullptr) return QVI_STS_IO_OutOfMemory;
    m_capacity = size;
    m_lastError = QVI_STS_Success;
    return QVI_STS_Success;
}

QVStatus QVIODynamicMemStream::detachAndClose(uint8_t*& block) {
    block = m_block;
    m_block = nullptr;
    m_capacity = 0;
    m_length = 0;
    return close();
}

bool QVIODynamicMemStream::isEOF() { return m_eof; }

bool QVIODynamicMemStream::isOpen() { return m_open; }

QVStatus QVIODynamicMemStream::open() {
    if (m_open) return QVI_STS_Success;
    if (m_allocator == nullptr) return QVI_STS_IO_NotInitialized;
    m_open = true;
    m_position = 0;
    m_eof = false;
    return QVI_STS_Success;
}

QVStatus QVIODynamicMemStream::close() {
    m_open = false;
    m_position = kNoPosition;
    return QVI_STS_Success;
}

uint32_t QVIODynamicMemStream::grownCapacity(uint32_t needed) const {
    if (m_capacity >= kTopBit) return kLargestCapacity;
    // The product is taken in single precision; clamp before converting, as
    // it may round up past the 32-bit range.
    double scaled = static_cast<double>(static_cast<float>(m_capacity) * m_growth);
    uint32_t proposed = static_cast<uint32_t>(std::min(scaled, static_cast<double>(kLargestCapacity)));
    return std::max(needed, proposed);
}

bool QVIODynamicMemStream::grow(uint32_t count) {
    uint64_t needed = static_cast<uint64_t>(m_position) + count;
    if (needed >= kTopBit) return false;
    if (needed <= m_capacity) return true;
    uint32_t capacity = grownCapacity(static_cast<uint32_t>(needed));
    uint8_t* block = nullptr;
    if (m_reallocator != nullptr) {
        block = static_cast<uint8_t*>(m_reallocator(m_block, capacity));
        if (block == nullptr) return false;
    } else {
        block = static_cast<uint8_t*>(m_allocator(capacity));
        if (block == nullptr) return false;
        if (m_block != nullptr) {
            std::memcpy(block, m_block, m_capacity);
            m_deallocator(m_block);
        }
    }
    m_block = block;
    m_capacity = capacity;
    return true;
}

uint32_t QVIODynamicMemStream::write(const uint8_t* buffer, uint32_t count) {
    m_lastError = QVI_STS_Failure;
    if (!m_open) return 0;
    if (count == 0) {
        m_lastError = QVI_STS_Success;
        return 0;
    }
    if (!grow(count)) {
        m_lastError = QVI_STS_IO_OutOfMemory;
        return 0;
    }
    if (m_position > m_length) std::memset(m_block + m_length, 0, m_position - m_length);
    std::memcpy(m_block + m_position, buffer, count);
    m_position += count;
    m_length = std::max(m_length, m_position);
    m_lastError = QVI_STS_Success;
    return count;
}

uint32_t QVIODynamicMemStream::read(uint8_t* buffer, uint32_t count) {
    if (!m_open) {
        m_lastError = QVI_STS_Failure;
        return 0;
    }
    m_lastError = QVI_STS_Success;
    if (m_position >= m_length) {
        m_position = m_length;
        m_eof = true;
        return 0;
    }
    uint32_t n = std::min(count, m_length - m_position);
    if (n > 0) std::memcpy(buffer, m_block + m_position, n);
    m_position += n;
    m_eof = n < count;
    return n;
}

QVStatus QVIODynamicMemStream::seek(int64_t offset, QVIOSeekDir dir) {
    if (!qvioFitsInt32(offset)) return QVI_STS_IO_InvalidArgs;
    int64_t origin = 0;
    if (!qvioSeekOrigin(dir, m_position, m_length, origin)) return QVI_STS_Failure;
    if (!m_open || m_position == kNoPosition) return QVI_STS_Failure;
    int64_t target = origin + offset;
    if (target < 0 || target >= kNoPosition) return QVI_STS_IO_InvalidArgs;
    m_position = static_cast<uint32_t>(target);
    m_eof = false;
    return QVI_STS_Success;
}

int64_t QVIODynamicMemStream::tell() { return m_open ? static_cast<int64_t>(m_position) : -1; }

QVIOStreamInf* QVIODynamicMemStream::duplicate() {
    if (m_allocator == nullptr) return nullptr;
    QVIODynamicMemStream* copy = new (std::nothrow) QVIODynamicMemStream();
    if (copy == nullptr) return nullptr;
    if (copy->initialize(m_capacity, m_allocator, m_deallocator, m_reallocator, m_growth) != QVI_STS_Success) {
        delete copy;
        return nullptr;
    }
    if (m_length > 0) std::memcpy(copy->m_block, m_block, m_length);
    copy->m_length = m_length;
    return copy;
}

QVStatus QVIODynamicMemStream::getLastError() { return m_lastError; }

const char* QVIODynamicMemStream::getID() { return "qv_dynamicmemstream:"; }

char* QVIODynamicMemStream::readString(char delimiter) {
    if (!m_open) return nullptr;
    const uint8_t* first = m_block + std::min(m_position, m_length);
    const uint8_t* last = m_block + m_length;
    const void* found = first < last ? std::memchr(first, static_cast<unsigned char>(delimiter), last - first) : nullptr;
    if (found == nullptr) {
        m_position = m_length;
        m_eof = true;
        return nullptr;
    }
    size_t length = static_cast<const uint8_t*>(found) - first + 1;
    char* text = static_cast<char*>(std::malloc(length + 1));
    if (text == nullptr) return nullptr;
    std::memcpy(text, first, length);
    text[length] = '\0';
    m_position += static_cast<uint32_t>(length);
    return text;
}

}  // namespace Orvanetics
