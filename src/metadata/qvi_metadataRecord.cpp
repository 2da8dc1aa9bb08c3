#include "qvi_metadataRecord.h"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace Orvanetics {

namespace {

// A malloc'ed block, or QVUtilException(8).
void* allocateOrThrow(size_t size) {
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw QVUtilException(8);
    return block;
}

char* duplicateString(const char* text) {
    const char* source = text != nullptr ? text : "";
    const size_t length = std::strlen(source) + 1;
    char* copy = static_cast<char*>(allocateOrThrow(length));
    std::memcpy(copy, source, length);
    return copy;
}

uint32_t productOf(uint32_t numDims, const uint32_t* dims) {
    uint64_t product = 1;
    for (uint32_t i = 0; i < numDims; ++i) {
        product *= dims[i];
        if (product > std::numeric_limits<uint32_t>::max()) throw QVUtilException(8);
    }
    return static_cast<uint32_t>(product);
}

}  // namespace

QVIMetadataRecord::QVIMetadataRecord(const char* key, QVIMetadataDataType dataType, const void* data) {
    construct(key, dataType, data, 0, nullptr);
}

QVIMetadataRecord::QVIMetadataRecord(QVIMetadataTag tag, QVIMetadataDataType dataType, const void* data) {
    construct(QVIMetadataUtils::lookupName(tag), dataType, data, 0, nullptr);
}

QVIMetadataRecord::QVIMetadataRecord(const char* key, QVIMetadataDataType dataType, const void* data,
                                     uint32_t count) {
    construct(key, dataType, data, 1, &count);
}

QVIMetadataRecord::QVIMetadataRecord(QVIMetadataTag tag, QVIMetadataDataType dataType, const void* data,
                                     uint32_t count) {
    construct(QVIMetadataUtils::lookupName(tag), dataType, data, 1, &count);
}

QVIMetadataRecord::QVIMetadataRecord(const char* key, QVIMetadataDataType dataType, const void* data,
                                     uint32_t numDims, const uint32_t* dims) {
    construct(key, dataType, data, numDims, dims);
}

QVIMetadataRecord::QVIMetadataRecord(QVIMetadataTag tag, QVIMetadataDataType dataType, const void* data,
                                     uint32_t numDims, const uint32_t* dims) {
    construct(QVIMetadataUtils::lookupName(tag), dataType, data, numDims, dims);
}

QVIMetadataRecord::QVIMetadataRecord(const QVIMetadataRecord& other) {
    construct(other.m_key, other.m_dataType, other.m_data, other.m_numDims, other.m_dims);
}

QVIMetadataRecord::~QVIMetadataRecord() {
    destroy();
}

void QVIMetadataRecord::construct(const char* key, QVIMetadataDataType dataType, const void* data,
                                  uint32_t numDims, const uint32_t* dims) {
    static const uint32_t kScalarDims[1] = {1};
    if (numDims == 0 || dims == nullptr) {
        numDims = 1;
        dims = kScalarDims;
    }
    try {
        m_key = duplicateString(key);
        m_dataType = dataType;
        m_dims = static_cast<uint32_t*>(allocateOrThrow(sizeof(uint32_t) * numDims));
        std::memcpy(m_dims, dims, sizeof(uint32_t) * numDims);
        m_numDims = numDims;
        productOf(numDims, dims);
        copyData(data);
    } catch (...) {
        destroy();
        throw;
    }
}

void QVIMetadataRecord::copyData(const void* data) {
    const size_t length = computeLen();
    m_data = allocateOrThrow(length);
    if (m_dataType != QVI_METADATA_DATATYPE_ASCII) {
        if (data != nullptr) {
            std::memcpy(m_data, data, length);
        } else {
            std::memset(m_data, 0, length);
        }
        return;
    }
    // Each string is its own block; fill with nulls first so a throw mid-way frees cleanly.
    const uint32_t count = getNumValues();
    char** strings = static_cast<char**>(m_data);
    std::memset(strings, 0, length);
    const char* const* sources = static_cast<const char* const*>(data);
    for (uint32_t i = 0; i < count; ++i) {
        strings[i] = duplicateString(sources != nullptr ? sources[i] : nullptr);
    }
}

void QVIMetadataRecord::destroy() {
    if (m_dataType == QVI_METADATA_DATATYPE_ASCII && m_data != nullptr) {
        char** strings = static_cast<char**>(m_data);
        const uint32_t count = getNumValues();
        for (uint32_t i = 0; i < count; ++i) std::free(strings[i]);
    }
    std::free(m_data);
    std::free(m_dims);
    std::free(m_key);
    m_data = nullptr;
    m_dims = nullptr;
    m_key = nullptr;
    m_numDims = 0;
}

QVIMetadataTag QVIMetadataRecord::getTag() const {
    return QVIMetadataUtils::lookupTag(m_key);
}

uint32_t QVIMetadataRecord::getNumValues() const {
    uint32_t product = 1;
    for (uint32_t i = 0; i < m_numDims; ++i) product *= m_dims[i];
    return product;
}

const void* QVIMetadataRecord::getVectorData(uint32_t& count) const {
    count = getNumValues();
    return m_data;
}

const void* QVIMetadataRecord::getArrayData(uint32_t& numDims, const uint32_t*& dims) const {
    numDims = m_numDims;
    dims = m_dims;
    return m_data;
}

size_t QVIMetadataRecord::computeLen() const {
    return static_cast<size_t>(getNumValues()) * QVIMetadataUtils::elementSize(m_dataType);
}

size_t QVIMetadataRecord::getApproximateSize() const {
    size_t size = computeLen();
    if (m_dataType == QVI_METADATA_DATATYPE_ASCII) {
        const char* const* strings = static_cast<const char* const*>(m_data);
        const uint32_t count = getNumValues();
        for (uint32_t i = 0; i < count; ++i) size += std::strlen(strings[i]);
    }
    return size;
}

}  // namespace Orvanetics
