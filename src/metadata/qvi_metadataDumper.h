// Prints a metadata database as text, record by record or as a formatted list.
#pragma once

#include "qv_ioStreamInf.h"
#include "qvi_metadataDatabase.h"

namespace Orvanetics {

class QVIMetadataDumper : public QVIMetadataWriter {
public:
    // A null stream means standard output. With `cutShort`, value lists stop
    // after 11 values.
    QVIMetadataDumper(const QVIMetadataDatabase& database, QVIOStreamInf* stream, bool cutShort);
    ~QVIMetadataDumper() override;

    // Whether the record "IMAGE::INPUT_NAME" is shown (on by default).
    void setWriteInputFilename(bool writeInputFilename);

    // Every record with its key, type, dimensions and values.
    QVStatus write() const override;
    // One line per record with a proper name: the name, then the values joined
    // by ", ". With `writeUnnamed`, records without a proper name are shown
    // under their key instead of being passed over.
    QVStatus writeFormatted(bool writeUnnamed) const;

private:
    static QVIOStreamInf* createStandardOutput();
    QVStatus writeRecord(const QVIMetadataRecord& record) const;
    QVStatus writeFormattedRecord(const QVIMetadataRecord& record, const char* label) const;
    QVStatus writeRecordData(const QVIMetadataRecord& record, uint32_t index) const;
    QVStatus print(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    QVIOStreamInf* m_stream;
    bool m_ownsStream;
    bool m_writeInputFilename = true;
    bool m_cutShort;
};

}  // namespace Orvanetics
