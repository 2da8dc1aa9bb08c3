// One named, typed metadata value: a scalar, a vector or an n-dimensional array.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qvi_metadataTags.h"

namespace Orvanetics {

// Immutable once made; the record owns copies of its key, dimensions and data.
//
// Data pointers passed in and handed out point at the elements in row order.
// For QVI_METADATA_DATATYPE_ASCII the elements are `const char*` (the data
// pointer is a `const char* const*`), and every string is copied separately.
// A failed allocation in a constructor throws QVUtilException (status 8).
class QVIMetadataRecord {
public:
    // A scalar: `data` points at one element.
    QVIMetadataRecord(const char* key, QVIMetadataDataType dataType, const void* data);
    QVIMetadataRecord(QVIMetadataTag tag, QVIMetadataDataType dataType, const void* data);
    // A vector of `count` elements.
    QVIMetadataRecord(const char* key, QVIMetadataDataType dataType, const void* data, uint32_t count);
    QVIMetadataRecord(QVIMetadataTag tag, QVIMetadataDataType dataType, const void* data, uint32_t count);
    // An array with `numDims` dimensions; a dimension count of 0 makes a scalar.
    QVIMetadataRecord(const char* key, QVIMetadataDataType dataType, const void* data,
                      uint32_t numDims, const uint32_t* dims);
    QVIMetadataRecord(QVIMetadataTag tag, QVIMetadataDataType dataType, const void* data,
                      uint32_t numDims, const uint32_t* dims);

    QVIMetadataRecord(const QVIMetadataRecord& other);
    QVIMetadataRecord& operator=(const QVIMetadataRecord&) = delete;
    ~QVIMetadataRecord();

    const char* getTagName() const { return m_key; }
    QVIMetadataTag getTag() const;
    QVIMetadataDataType getDataType() const { return m_dataType; }
    uint32_t getNumDims() const { return m_numDims; }
    const uint32_t* getDims() const { return m_dims; }
    // Product of the dimensions.
    uint32_t getNumValues() const;

    bool isScalar() const { return m_numDims == 1 && m_dims[0] == 1; }
    bool isVector() const { return m_numDims == 1 && m_dims[0] != 1; }
    bool isArray() const { return m_numDims > 1; }

    const void* getScalarData() const { return m_data; }
    const void* getVectorData(uint32_t& count) const;
    const void* getArrayData(uint32_t& numDims, const uint32_t*& dims) const;

    // Bytes of the data block: values times element size.
    size_t computeLen() const;
    // computeLen plus the lengths of the strings of an ASCII record.
    size_t getApproximateSize() const;

private:
    void construct(const char* key, QVIMetadataDataType dataType, const void* data,
                   uint32_t numDims, const uint32_t* dims);
    void copyData(const void* data);
    void destroy();

    char* m_key = nullptr;
    QVIMetadataDataType m_dataType = QVI_METADATA_DATATYPE_INVALID;
    uint32_t m_numDims = 0;
    uint32_t* m_dims = nullptr;
    void* m_data = nullptr;
};

}  // namespace Orvanetics
