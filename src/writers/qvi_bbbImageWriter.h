// A raw writer that adds the BBB text header beside its output (same name,
// suffix "hdr"), so that QVIBBBImageReader reads the file back.
//
//     QVIBBBImageWriter writer;
//     QVStatus status = writer.initialize(stage);
//     writer.setLayout(QVI_LAYOUT_BIL);
//     writer.setByteOrder(QVI_ENDIAN_LITTLE);
//     if (!status) status = writer.setOutputFileSpec("out.bil");
//     if (!status) status = writer.write(QVIScene(0, 0, w, h, 1.0));
#pragma once

#include "qv_fileSpec.h"
#include "qvi_rawImageWriter.h"

namespace Orvanetics {

class QVIImage;
class QVIPixel;

class QVIBBBImageWriter : public QVIRawImageWriter {
public:
    static constexpr QVStatus kStsFailure = 1;                  // "Failure": unknown byte order
    static constexpr QVStatus kStsUnsupportedDataType = 50001;  // "unsupported datatype"
    static constexpr QVStatus kStsWriteError = 50005;           // "error writing file"
    static constexpr QVStatus kStsNoOutputTarget = 50011;       // "output target not specified"
    static constexpr QVStatus kStsUnsupportedColorSpace = 50019;  // "unsupported colorspace"

    QVIBBBImageWriter();
    ~QVIBBBImageWriter() override;

    // Retains the stage; 50001 unless its samples are of one of the eight types.
    QVStatus initialize(QVIImageStage* stage) override;
    QVStatus checkImpedance(const QVIPixel& pixel) const;

    // The raw layout, then the header.
    QVStatus writeBegin(const QVIScene& scene) override;
    // The data file and its header.
    QVStatus deleteOutput() override;

    // The header of the output file for the scene of a write.
    QVStatus writeHeader(const QVIScene& scene);
    // The header beside the data file `dataFile` for the image, the scene of
    // it (null: the full image at magnification 1.0), the byte order and the
    // layout. Needs no writer.
    static QVStatus writeHeader(const QVFileSpec& dataFile, const QVIImage& image,
                                const QVIScene* scene, QVIEndian byteOrder, QVILayout layout);
    // The header's name for a data file.
    static QVFileSpec getHeaderFileSpec(const QVFileSpec& dataFile);
};

}  // namespace Orvanetics
