// Uncompressed pixels whose geometry the caller gives: pixel layout, size,
// sample order (BIP, BSQ, BIL), byte order and the bytes to skip before and
// after the data. Reads only the rows and columns of each scene and serves
// band selections itself.
//
//     QVIRawImageReader* reader = QVIRawImageReader::create();
//     reader->setLayout(QVI_LAYOUT_BIL);
//     reader->setByteOrder(QVI_ENDIAN_BIG);
//     QVStatus status = reader->initialize("image.raw", pixel, width, height, true);
//     ...
//     reader->release();
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qv_fileSpec.h"
#include "qvi_imageReader.h"
#include "qvi_layout.h"

namespace Orvanetics {

class QVIOStreamInf;

class QVIRawImageReader : public QVIGeoImageReader {
public:
    static constexpr QVStatus kStsFailure = 1;                // "Failure": layout outside 1 to 3
    static constexpr QVStatus kStsInvalidArgument = 50003;    // "invalid argument to function"
    static constexpr QVStatus kStsOpenError = 50004;          // "error opening file"
    static constexpr QVStatus kStsReadError = 50006;          // "error reading file"
    static constexpr QVStatus kStsRawSizeMismatch = 50025;    // "actual size of raw image file not equal to expected size"
    static constexpr QVStatus kStsIntegerOverflow = 50115;    // "integer overflow"

    // Null when out of memory.
    static QVIRawImageReader* create();

    // Settings taken by initialize.
    // Whether the reader deletes a stream passed to initialize (default false).
    void setStreamOwnership(bool ownsStream) { m_ownsStream = ownsStream; }
    // Bytes of one row: of all bands for BIP, of one band for BSQ and BIL.
    // 0 (the default) means packed rows.
    void setRowBytes(int64_t rowBytes) { m_rowBytes = rowBytes; }
    void setLayout(QVILayout layout) { m_layout = layout; }
    // Bytes before the first sample and after the last one.
    void setSkipBytes(int64_t start, int64_t end);
    // Order of the bytes of multi-byte samples (default: the host's).
    void setByteOrder(QVIEndian byteOrder) { m_byteOrder = byteOrder; }

    // The pixel gives bands, data type, colour space and precision. A stream
    // that is not open is opened. 50025 when the data's size is known and
    // differs from what the geometry and the skip bytes add up to.
    QVStatus initialize(QVIOStreamInf* stream, const QVIPixel& pixel, uint32_t width,
                        uint32_t height, bool useWorldFile);
    // As above on a file the reader opens and owns; its world file is read
    // when useWorldFile is set.
    QVStatus initialize(const QVFileSpec& fileSpec, const QVIPixel& pixel, uint32_t width,
                        uint32_t height, bool useWorldFile);
    QVStatus initialize(const char* path, const QVIPixel& pixel, uint32_t width,
                        uint32_t height, bool useWorldFile);

    QVILayout getLayout() const { return m_layout; }
    QVIEndian getByteOrder() const { return m_byteOrder; }
    int64_t getRowBytes() const { return m_rowBytes; }
    int64_t getFileSize() const { return m_fileSize; }
    const QVFileSpec* getFileSpec() const { return m_fileSpec.get(); }
    std::string getSourceName() const override;

    // Whether samples of this pixel must be byte-swapped to or from the order
    // (judged by its widest sample).
    static bool needsSwapping(const QVIPixel& pixel, QVIEndian byteOrder);

protected:
    QVIRawImageReader();
    ~QVIRawImageReader() override;

    // The set-up without the world file, for readers that first add
    // georeferencing of their own.
    QVStatus initializeRaw(QVIOStreamInf* stream, const QVIPixel& pixel, uint32_t width,
                           uint32_t height, bool useWorldFile);
    // Opens the file for reading and takes it as the reader's own stream.
    QVStatus openFile(const QVFileSpec& fileSpec, QVIOStreamInf*& stream);

    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus decodeEnd() override;

private:
    // One run of bytes of the file and where it goes in the strip.
    struct Segment {
        int64_t offset;
        uint64_t length;
        uint8_t* destination;  // a band row (BIL, BSQ); null for a BIP row
        uint32_t row;          // row of the strip (BIP)
    };

    QVStatus checkGeometry(const QVIPixel& pixel, uint32_t width) const;
    QVStatus measureAndCheckSize(uint32_t height);
    QVStatus recordSourceName();
    void planStrip(QVISceneBuffer& buffer, int64_t firstRow, int64_t firstCol,
                   uint32_t numCols, uint32_t numRows);
    void orderBandsBySource(const QVISceneBuffer& buffer);
    QVStatus readSegments(QVISceneBuffer& buffer, uint32_t numCols);
    QVStatus readRun(size_t first, size_t last, QVISceneBuffer& buffer, uint32_t numCols);
    bool isGaplessBandRun(size_t first, size_t last) const;
    void spreadPixels(const uint8_t* source, QVISceneBuffer& buffer, uint32_t row,
                      uint32_t numCols) const;
    QVStatus readAt(int64_t offset, uint8_t* destination, uint64_t length);
    QVStatus failStrip(QVStatus status);
    void releaseStream();

    std::unique_ptr<QVFileSpec> m_fileSpec;
    QVIOStreamInf* m_stream = nullptr;
    bool m_ownsStream = false;
    int64_t m_fileSize = 0;
    int64_t m_rowBytes = 0;
    QVILayout m_layout = QVI_LAYOUT_BIP;
    QVIEndian m_byteOrder = QVI_ENDIAN_HOST;
    int64_t m_skipBytesStart = 0;
    int64_t m_skipBytesEnd = 0;

    // Byte offset of each band inside a pixel of the BIP layout.
    std::vector<uint32_t> m_bandOffsets;

    // Per-read scratch, kept between strips.
    std::vector<Segment> m_segments;
    std::vector<uint16_t> m_bandOrder;
    std::vector<uint8_t> m_runBuffer;
    int64_t m_streamPosition = -1;  // -1: unknown, seek before the next read
};

}  // namespace Orvanetics
