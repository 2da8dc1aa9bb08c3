// Band-sequential pixel memory of the pipeline: one pointer per band, each
// band a row-major grid of its own sample type with a pitch common to all
// bands. A buffer owns its memory, wraps the caller's, or is a view (a
// rectangle) into a larger buffer so that strips land in place without copies.
#pragma once

#include <cstdint>
#include <memory>

#include "qv_utilStatusData.h"

namespace Orvanetics {

class QVIPixel;
class QVIOStreamInf;

class QVISceneBuffer {
public:
    static constexpr uint16_t kNoBand = 0xFFFF;


    // The whole grid. Null data allocates and zero-fills each band; otherwise
    // the caller's band pointers are wrapped. totalNumCols 0 means numCols.
    QVISceneBuffer(const QVIPixel& pixel, uint32_t numCols, uint32_t numRows,
                   void** data = nullptr, uint32_t totalNumCols = 0);
    // A view into a grid described by the arguments. With null data the full
    // grid is allocated and the view starts at its origin (the offsets only
    // apply to caller data).
    QVISceneBuffer(const QVIPixel& pixel, uint32_t totalNumCols, uint32_t totalNumRows,
                   uint32_t colOffset, uint32_t rowOffset, uint32_t numCols, uint32_t numRows,
                   void** data);
    // A view into parent with its pitch and pixel properties; never owns.
    QVISceneBuffer(QVISceneBuffer& parent, uint32_t colOffset, uint32_t rowOffset,
                   uint32_t numCols, uint32_t numRows);
    // A view from that corner to the parent's lower-right corner.
    QVISceneBuffer(QVISceneBuffer& parent, uint32_t colOffset, uint32_t rowOffset);

    QVISceneBuffer(const QVISceneBuffer&) = delete;
    QVISceneBuffer& operator=(const QVISceneBuffer&) = delete;
    ~QVISceneBuffer();

    // Rounds value up to a multiple of alignment; alignments below 2 leave it.
    static uint32_t addAlignment(uint32_t value, uint32_t alignment);

    uint32_t getNumCols() const { return m_numCols; }
    uint32_t getNumRows() const { return m_numRows; }
    uint32_t getTotalNumCols() const { return m_totalNumCols; }
    uint32_t getNumPixels() const { return m_numCols * m_numRows; }
    uint16_t getNumBands() const { return m_numBands; }
    const QVIPixel& getPixelProps() const { return *m_pixelProps; }
    void** getBSQData() const { return m_bandData.get(); }
    void* getBandData(uint16_t band) const { return m_bandData[band]; }
    void* getSample(uint32_t col, uint32_t row, uint16_t band) const;
    uint16_t getSourceBandIndex(uint16_t band) const;
    // Position of the first band taken from sourceBand, kNoBand if none.
    uint16_t getDestinationBandIndex(uint16_t sourceBand) const;
    QVStatus checkImpedance(const QVIPixel& pixel) const;

    // All import and export members work on the view, never the whole grid.

    // Copies the common area of the two views, row by row; the bands are
    // taken to share the destination band's sample size.
    QVStatus importDataBand(uint16_t dstBand, const QVISceneBuffer& src, uint16_t srcBand);
    // Bands 0 .. min(bands) - 1 at equal indices, after the impedance check.
    QVStatus importData(const QVISceneBuffer& src);

    // One pointer per band, each band packed without pitch.
    QVStatus importDataBSQ(void** bands);
    // One block, bands one after another, each packed.
    QVStatus importDataBSQ(const void* data);
    // The block form from a stream, in one read of
    // columns x rows x bands x pixel bytes (the band count counts twice).
    QVStatus importDataBSQ(QVIOStreamInf& stream);
    // Pixel-interleaved, each sample with its own byte size.
    QVStatus importDataBIP(const void* data);
    // The interleaved form from a stream, one read of the same size as the BSQ stream form.
    QVStatus importDataBIP(QVIOStreamInf& stream);

    // Null bands: the pointer array and each band are allocated with malloc
    // (the caller frees them with free).
    QVStatus exportDataBSQ(void**& bands) const;
    // Null data: allocates (malloc) columns x rows x bands x pixel bytes and
    // fills its packed start.
    QVStatus exportDataBSQ(void*& data) const;
    // One write of columns x rows x pixel bytes.
    QVStatus exportDataBSQ(QVIOStreamInf& stream) const;
    // Interleaved with band 0's sample size for every band: 1, 2 and 4 bytes
    // only, 8-byte samples give 50001. Null data: malloc of columns x rows x pixel bytes.
    QVStatus exportDataBIP(void*& data) const;
    // Interleaved, one write per row; any sample size.
    QVStatus exportDataBIP(QVIOStreamInf& stream) const;
    // Sample (c, r) of band b goes to dst + b*bandStep + r*rowStep + c*pixelStep
    // (bytes), which serves BIP, BIL, BSQ and any other regular layout.
    QVStatus exportData(void* dst, int64_t pixelStep, int64_t rowStep, int64_t bandStep) const;

    // Reverses every sample of 2, 4 or 8 bytes in place.
    void byteSwap();
    void zero();
    void zero(uint16_t band);
    // The fill pixel is in the image's full band numbering: band b takes the
    // value of the pixel's sample at b's source band index.
    QVStatus fill(const QVIPixel& pixel);
    QVStatus fill(const QVIPixel& pixel, uint16_t band);

private:
    void init(const QVIPixel& pixel, uint32_t colOffset, uint32_t rowOffset, uint32_t numCols,
              uint32_t numRows, void** data, uint32_t totalNumCols, uint32_t totalNumRows);
    void allocateBands(uint32_t totalNumRows);
    void releaseBands();

    uint32_t sampleBytes(uint16_t band) const;
    uint8_t* rowAddress(uint16_t band, uint32_t row) const;
    size_t packedBandBytes(uint16_t band) const;
    size_t packedPixelBytes() const;
    // The oversized block of the stream imports: columns x rows x bands x pixel bytes.
    size_t streamImportBytes() const;
    QVStatus uniformSampleBytes(uint32_t& bytes) const;
    void composeBIPRow(uint32_t row, uint32_t sampleSize, uint8_t* out) const;

    uint16_t m_numBands = 0;
    std::unique_ptr<QVIPixel> m_pixelProps;
    uint32_t m_numCols = 0;
    uint32_t m_numRows = 0;
    uint32_t m_totalNumCols = 0;
    std::unique_ptr<void*[]> m_bandData;
    bool m_ownsData = false;
};

}  // namespace Orvanetics
