#include "qvi_metadataDumper.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "qv_ioSTDIOStream.h"
#include "qv_ioStreamUtils.h"

namespace Orvanetics {

namespace {

// Lines of a value list shown when cutting short.
constexpr uint32_t kCutShortValues = 11;
// Formatted lines put their values at this column.
constexpr int kFormattedColumn = 48;

template <typename T>
T loadValue(const QVIMetadataRecord& record, uint32_t index) {
    T value;
    std::memcpy(&value, static_cast<const uint8_t*>(record.getScalarData()) + sizeof(T) * index, sizeof(T));
    return value;
}

// The value as a double, false for strings and unknown types.
bool numericValue(const QVIMetadataRecord& record, uint32_t index, double& value) {
    switch (record.getDataType()) {
        case QVI_METADATA_DATATYPE_UINT8: value = loadValue<uint8_t>(record, index); return true;
        case QVI_METADATA_DATATYPE_SINT8: value = loadValue<int8_t>(record, index); return true;
        case QVI_METADATA_DATATYPE_UINT16: value = loadValue<uint16_t>(record, index); return true;
        case QVI_METADATA_DATATYPE_SINT16: value = loadValue<int16_t>(record, index); return true;
        case QVI_METADATA_DATATYPE_UINT32: value = loadValue<uint32_t>(record, index); return true;
        case QVI_METADATA_DATATYPE_SINT32: value = loadValue<int32_t>(record, index); return true;
        case QVI_METADATA_DATATYPE_FLOAT32: value = loadValue<float>(record, index); return true;
        case QVI_METADATA_DATATYPE_FLOAT64: value = loadValue<double>(record, index); return true;
        default: return false;
    }
}

// Row-order indices of successive values, the last dimension running fastest.
class IndexCounter {
public:
    explicit IndexCounter(const QVIMetadataRecord& record)
        : m_dims(record.getDims()), m_indices(record.getNumDims(), 0) {}

    const std::vector<uint32_t>& indices() const { return m_indices; }

    void advance() {
        for (size_t d = m_indices.size(); d-- > 0;) {
            if (++m_indices[d] < m_dims[d]) return;
            m_indices[d] = 0;
        }
    }

private:
    const uint32_t* m_dims;
    std::vector<uint32_t> m_indices;
};

}  // namespace

QVIOStreamInf* QVIMetadataDumper::createStandardOutput() {
    // Neither step can fail for a fresh stream over stdout; a stream left
    // closed would still only make the prints fail with a status.
    auto* stream = new QVSTDIOStream();
    stream->initialize(stdout);
    stream->open();
    return stream;
}

QVIMetadataDumper::QVIMetadataDumper(const QVIMetadataDatabase& database, QVIOStreamInf* stream, bool cutShort)
    : QVIMetadataWriter(database), m_stream(stream), m_ownsStream(false), m_cutShort(cutShort) {
    if (m_stream == nullptr) {
        m_stream = createStandardOutput();
        m_ownsStream = true;
    }
}

QVIMetadataDumper::~QVIMetadataDumper() {
    if (m_ownsStream) {
        static_cast<QVSTDIOStream*>(m_stream)->stdio_fflush();
        QVIOStreamUtils::closeStream(m_stream);
    }
}

void QVIMetadataDumper::setWriteInputFilename(bool writeInputFilename) {
    m_writeInputFilename = writeInputFilename;
}

QVStatus QVIMetadataDumper::print(const char* format, ...) const {
    va_list args;
    va_start(args, format);
    const int length = QVIOStreamUtils::vprint(m_stream, format, args);
    va_end(args);
    if (length >= 0) return 0;
    const QVStatus error = m_stream->getLastError();
    return error != 0 ? error : qviMetadataFailure(QVI_STS_Metadata_WriteError);
}

QVStatus QVIMetadataDumper::write() const {
    const uint32_t count = m_database.getIndexCount();
    for (uint32_t i = 0; i < count; ++i) {
        const QVIMetadataRecord* record = nullptr;
        if (m_database.getDataByIndex(i, record) != 0 || record == nullptr) {
            return qviMetadataFailure(QVI_STS_Metadata_InternalError);
        }
        QVStatus status = print("Record %d:\n", static_cast<int>(i));
        if (status != 0) return status;
        if (record->getTag() == QVI_METADATA_TAG_IMAGE_INPUT_NAME && !m_writeInputFilename) {
            status = print("  Tag: IMAGE::INPUT_NAME\n   filename suppressed\n");
        } else {
            status = writeRecord(*record);
        }
        if (status == 0) status = print("\n");
        if (status != 0) return status;
    }
    return 0;
}

QVStatus QVIMetadataDumper::writeRecord(const QVIMetadataRecord& record) const {
    const char* typeName = QVIMetadataUtils::name(record.getDataType());
    QVStatus status = print("  Tag: %s\n  Type: %s", record.getTagName(), typeName != nullptr ? typeName : "");
    for (uint32_t d = 0; status == 0 && d < record.getNumDims(); ++d) {
        status = print("[%d]", static_cast<int>(record.getDims()[d]));
    }
    if (status == 0) status = print("\n  Data: \n");

    IndexCounter counter(record);
    const uint32_t count = record.getNumValues();
    for (uint32_t v = 0; status == 0 && v < count; ++v, counter.advance()) {
        status = print("    ");
        if (status != 0 || (m_cutShort && v >= kCutShortValues)) break;
        for (uint32_t index : counter.indices()) {
            status = print("[%d]", static_cast<int>(index));
            if (status != 0) return status;
        }
        status = print(": ");
        if (status == 0) status = writeRecordData(record, v);
        if (status == 0) status = print("\n");
    }
    return status;
}

QVStatus QVIMetadataDumper::writeRecordData(const QVIMetadataRecord& record, uint32_t index) const {
    switch (record.getDataType()) {
        case QVI_METADATA_DATATYPE_UINT8: return print("%d", static_cast<int>(loadValue<uint8_t>(record, index)));
        case QVI_METADATA_DATATYPE_SINT8: return print("%d", static_cast<int>(loadValue<int8_t>(record, index)));
        case QVI_METADATA_DATATYPE_UINT16: return print("%d", static_cast<int>(loadValue<uint16_t>(record, index)));
        case QVI_METADATA_DATATYPE_SINT16: return print("%d", static_cast<int>(loadValue<int16_t>(record, index)));
        // Printed through "%d" like the other integers, so values above 2^31 show negative.
        case QVI_METADATA_DATATYPE_UINT32: return print("%d", static_cast<int>(loadValue<uint32_t>(record, index)));
        case QVI_METADATA_DATATYPE_SINT32: return print("%d", static_cast<int>(loadValue<int32_t>(record, index)));
        case QVI_METADATA_DATATYPE_FLOAT32: return print("%f", static_cast<double>(loadValue<float>(record, index)));
        case QVI_METADATA_DATATYPE_FLOAT64: return print("%f", loadValue<double>(record, index));
        case QVI_METADATA_DATATYPE_ASCII: return print("%s", loadValue<const char*>(record, index));
        default: return qviMetadataFailure(QVI_STS_Metadata_UnsupportedDataType);
    }
}

QVStatus QVIMetadataDumper::writeFormatted(bool writeUnnamed) const {
    const uint32_t count = m_database.getIndexCount();
    for (uint32_t i = 0; i < count; ++i) {
        const QVIMetadataRecord* record = nullptr;
        if (m_database.getDataByIndex(i, record) != 0 || record == nullptr) {
            return qviMetadataFailure(QVI_STS_Metadata_InternalError);
        }
        if (record->getTag() == QVI_METADATA_TAG_IMAGE_INPUT_NAME && !m_writeInputFilename) continue;
        const char* label = QVIMetadataUtils::lookupProperName(record->getTagName());
        if (label == nullptr && writeUnnamed) label = record->getTagName();
        if (label == nullptr) continue;
        const QVStatus status = writeFormattedRecord(*record, label);
        if (status != 0) return status;
    }
    return 0;
}

QVStatus QVIMetadataDumper::writeFormattedRecord(const QVIMetadataRecord& record, const char* label) const {
    QVStatus status = print("%s:%*s", label, std::max(1, kFormattedColumn - 1 - static_cast<int>(std::strlen(label))), "");
    if (status != 0) return status;

    double size;
    if (record.getTag() == QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE && numericValue(record, 0, size)) {
        // Strict comparisons: exactly 1024 bytes is still shown in bytes.
        if (size > 1073741824.0) {
            status = print("%.2f GB", size / 1073741824.0);
        } else if (size > 1048576.0) {
            status = print("%.2f MB", size / 1048576.0);
        } else if (size > 1024.0) {
            status = print("%.2f KB", size / 1024.0);
        } else {
            status = print("%.2f bytes", size);
        }
        return status == 0 ? print("\n") : status;
    }

    const uint32_t count = record.getNumValues();
    for (uint32_t v = 0; status == 0 && v < count; ++v) {
        if (v > 0) status = print(", ");
        if (status == 0 && m_cutShort && v >= kCutShortValues) {
            status = print("...");
            break;
        }
        if (status == 0) status = writeRecordData(record, v);
    }
    return status == 0 ? print("\n") : status;
}

}  // namespace Orvanetics
