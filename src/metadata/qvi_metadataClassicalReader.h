// Reads the classical metadata record stream (version header, then records
// until an empty key or "IMAGE::EOM") into a database.
#pragma once

#include "qv_ioStreamInf.h"
#include "qvi_metadataDatabase.h"

namespace Orvanetics {

// Reads from the stream's current position. A record whose key is already in
// the database replaces it; the markers "IMAGE::SOM" and "IMAGE::EOM" are
// dropped. Records read before a failure stay in the database.
class QVIMetadataClassicalReader : public QVIMetadataReader {
public:
    QVIMetadataClassicalReader(QVIMetadataDatabase& database, QVIOStreamInf& stream);
    ~QVIMetadataClassicalReader() override;

    QVStatus read() override;

private:
    QVStatus readHeader();
    QVStatus readRecord(bool& done);

    QVIOStreamInf& m_stream;
};

}  // namespace Orvanetics
