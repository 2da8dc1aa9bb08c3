// A raw raster described by a BBB text header in the file beside it with the
// suffix "hdr": geometry, pixel layout, byte order, dynamic range, no-data
// value, georeferencing and projection come from the header.
//
//     QVIBBBImageReader* reader = QVIBBBImageReader::create();
//     QVStatus status = reader->initialize("image.bil", true);
#pragma once

#include <memory>

#include "qvi_bbbHeaderReader.h"
#include "qvi_rawImageReader.h"

namespace Orvanetics {

class QVIBBBImageReader : public QVIRawImageReader {
public:
    static constexpr QVStatus kStsDimensions = 50100;  // "incorrect BBB image dimensions"

    static QVIBBBImageReader* create();

    // The data file; the header is the same name with the suffix "hdr". A
    // world file, when asked for and found, outranks the header's
    // georeferencing (the header's WKT stays).
    QVStatus initialize(const QVFileSpec& fileSpec, bool useWorldFile);
    QVStatus initialize(const char* path, bool useWorldFile);

    const QVIBBBHeaderReader& getHeader() const { return m_header; }

protected:
    QVIBBBImageReader();
    ~QVIBBBImageReader() override;

private:
    static QVILayout layoutFromSuffix(const QVFileSpec& fileSpec);
    QVStatus makePixel(std::unique_ptr<QVIPixel>& pixel) const;
    QVStatus applyNoData();
    QVStatus applyDynamicRange();
    QVStatus applyGeoCoord();
    QVStatus addProjectionMetadata();

    QVIBBBHeaderReader m_header;
};

}  // namespace Orvanetics
