#include "qvi_metadataClassicalReader.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "qv_ioStreamUtils.h"
#include "qvi_metadataStreamIO.h"

namespace Orvanetics {

using MetadataStreamIO::readBytes;
using MetadataStreamIO::readInteger;

namespace {

constexpr uint32_t kMaxDims = 10;

QVStatus readError() {
    return qviMetadataFailure(QVI_STS_Metadata_ReadError);
}

QVStatus corrupt() {
    return qviMetadataFailure(QVI_STS_Metadata_Corrupt);
}

// The stored type codes predate the record types and are numbered differently.
QVIMetadataDataType dataTypeFromCode(uint32_t code) {
    switch (code) {
        case 1: return QVI_METADATA_DATATYPE_UINT8;
        case 2: return QVI_METADATA_DATATYPE_UINT16;
        case 3: return QVI_METADATA_DATATYPE_UINT32;
        case 5: return QVI_METADATA_DATATYPE_ASCII;
        case 6: return QVI_METADATA_DATATYPE_FLOAT32;
        case 7: return QVI_METADATA_DATATYPE_FLOAT64;
        case 8: return QVI_METADATA_DATATYPE_SINT8;
        case 9: return QVI_METADATA_DATATYPE_SINT16;
        case 10: return QVI_METADATA_DATATYPE_SINT32;
        default: return QVI_METADATA_DATATYPE_INVALID;
    }
}

struct FreeDeleter {
    void operator()(void* block) const { std::free(block); }
};
using CString = std::unique_ptr<char, FreeDeleter>;

// The values of one record, owned until the record is made from them.
struct RecordValues {
    std::vector<uint8_t> numbers;
    std::vector<CString> strings;
    std::vector<const char*> stringPointers;

    const void* data(QVIMetadataDataType type) const {
        return type == QVI_METADATA_DATATYPE_ASCII ? static_cast<const void*>(stringPointers.data())
                                                   : static_cast<const void*>(numbers.data());
    }
};

void swapToNative(uint8_t* bytes, size_t width, size_t count) {
    if (std::endian::native == std::endian::big || width < 2) return;
    for (size_t i = 0; i < count; ++i, bytes += width) {
        for (size_t a = 0, b = width - 1; a < b; ++a, --b) std::swap(bytes[a], bytes[b]);
    }
}

// The stream's failure if it told one, else "could not read metadata".
QVStatus stringFailure(QVIOStreamInf& stream) {
    const QVStatus error = stream.getLastError();
    return error == 0 || error == 1 ? readError() : error;
}

QVStatus readStrings(QVIOStreamInf& stream, uint32_t rawCount, uint64_t remaining, RecordValues& values) {
    const int32_t count = static_cast<int32_t>(rawCount);
    if (count < 0) return corrupt();
    // Each string takes at least its terminating byte.
    if (static_cast<uint64_t>(count) > remaining) return readError();
    try {
        values.strings.reserve(count);
        values.stringPointers.reserve(count);
        for (int32_t i = 0; i < count; ++i) {
            CString text(stream.readString(0));
            if (!text) return stringFailure(stream);
            values.stringPointers.push_back(text.get());
            values.strings.push_back(std::move(text));
        }
    } catch (const std::bad_alloc&) {
        return qviMetadataFailure(QVI_STS_OutOfMemory);
    }
    return 0;
}

QVStatus readNumbers(QVIOStreamInf& stream, QVIMetadataDataType type, uint32_t count, uint64_t remaining,
                     RecordValues& values) {
    const size_t width = QVIMetadataUtils::elementSize(type);
    if (static_cast<uint64_t>(count) * width > remaining) return readError();
    try {
        values.numbers.resize(static_cast<size_t>(count) * width);
    } catch (const std::bad_alloc&) {
        return qviMetadataFailure(QVI_STS_OutOfMemory);
    }
    if (!readBytes(stream, values.numbers.data(), values.numbers.size())) return readError();
    swapToNative(values.numbers.data(), width, count);
    return 0;
}

}  // namespace

QVIMetadataClassicalReader::QVIMetadataClassicalReader(QVIMetadataDatabase& database, QVIOStreamInf& stream)
    : QVIMetadataReader(database), m_stream(stream) {}

QVIMetadataClassicalReader::~QVIMetadataClassicalReader() = default;

QVStatus QVIMetadataClassicalReader::read() {
    QVStatus status = readHeader();
    for (bool done = false; status == 0 && !done;) status = readRecord(done);
    return status;
}

QVStatus QVIMetadataClassicalReader::readHeader() {
    uint16_t major, minor;
    if (!readInteger(m_stream, true, major) || !readInteger(m_stream, true, minor)) return readError();
    if (static_cast<int16_t>(major) > 1) return qviMetadataFailure(QVI_STS_Metadata_VersionUnsupported);
    return 0;
}

QVStatus QVIMetadataClassicalReader::readRecord(bool& done) {
    done = false;
    uint32_t tagNumber;
    if (!readInteger(m_stream, true, tagNumber)) return readError();
    CString key(m_stream.readString(0));
    if (!key) return stringFailure(m_stream);
    if (key.get()[0] == '\0') {
        done = true;
        return 0;
    }

    uint32_t typeCode, count, numDims;
    if (!readInteger(m_stream, true, typeCode) || !readInteger(m_stream, true, count) ||
        !readInteger(m_stream, true, numDims)) {
        return readError();
    }
    if (numDims > kMaxDims) return corrupt();
    uint32_t dims[kMaxDims];
    uint64_t product = 1;
    for (uint32_t i = 0; i < numDims; ++i) {
        uint32_t dim;
        if (!readInteger(m_stream, true, dim)) return readError();
        const int32_t signedDim = static_cast<int32_t>(dim);
        if (signedDim < 1 || static_cast<uint64_t>(signedDim) > count / product) return corrupt();
        dims[i] = dim;
        product *= dim;
    }
    // A record can't claim more values than were stored (a scalar needs one).
    if (product > count) return corrupt();

    const QVIMetadataDataType type = dataTypeFromCode(typeCode);
    if (type == QVI_METADATA_DATATYPE_INVALID) return corrupt();
    const int64_t position = m_stream.tell();
    const int64_t end = QVIOStreamUtils::getEndPos(&m_stream);
    if (position < 0 || end < 0) return readError();
    const uint64_t remaining = end > position ? static_cast<uint64_t>(end - position) : 0;

    RecordValues values;
    const QVStatus status = type == QVI_METADATA_DATATYPE_ASCII ? readStrings(m_stream, count, remaining, values)
                                                                : readNumbers(m_stream, type, count, remaining, values);
    if (status != 0) return status;

    const bool isEnd = std::strcmp(key.get(), "IMAGE::EOM") == 0;
    if (isEnd || std::strcmp(key.get(), "IMAGE::SOM") == 0) {
        done = isEnd;
        return 0;
    }
    try {
        const QVIMetadataRecord record(key.get(), type, values.data(type), numDims, dims);
        if (m_database.has(key.get())) m_database.remove(key.get());
        return m_database.add(record);
    } catch (const QVUtilException& exception) {
        return qviMetadataFailure(exception.getStatus());
    }
}

}  // namespace Orvanetics
