// The readers of one image of a wavelet file. XR3SingleImageReader serves
// XR3 and XR4 images; XR4SingleImageReader adds band lists with repeats.
// Both decode through an XR3DecoderTool made at the first decode, so that
// opening a file reads no plane before a scene is asked for.
//
// Readers are usually made by TavixImageStageManager; a reader may also be
// opened on its own for one image number of a file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qvi_imageReader.h"
#include "tavix_imageReader.h"

namespace Orvanetics {

class XR3Container;
class XR3FileSimpleContainer;
class XR3FileSimpleDecoderTool;
class XR3FileSimplePlaneSource;
class XR3ImageSource;
class XR3FilePlaneStoreClient;

// What every single image reader of a wavelet file answers.
class TavixSingleImageReaderBase : public QVIGeoImageReader, public TavixImageReaderInterface {
public:
    virtual TavixTileKind getKind() const = 0;
    virtual uint8_t getNumLevels() const = 0;
    virtual bool isLocked() const = 0;
    // The planes store distortion values, so a file can be optimised.
    virtual bool isOptimizable() const = 0;
    virtual bool hasXR2Data() const = 0;
    virtual bool isMosaic() const = 0;
    // Side of a coding block in samples.
    virtual uint32_t getBlockSize() const = 0;
    virtual bool hasColorTransform() const = 0;
    // Threads of the entropy decoding; 0: the default.
    virtual void setMaxWorkerThreads(int32_t count) = 0;
    virtual int32_t getMaxWorkerThreads() const = 0;

    TavixImageStageManager* getManager() const { return m_manager; }

protected:
    explicit TavixSingleImageReaderBase(bool supportBandSelection) : QVIGeoImageReader(supportBandSelection) {}
    ~TavixSingleImageReaderBase() override;

    // Retains the manager (null clears) and checks its header bytes.
    QVStatus attachManager(TavixImageStageManager* manager, TavixMemoryUsage memoryUsage,
                           TavixStreamUsage streamUsage);

private:
    TavixImageStageManager* m_manager = nullptr;
};

class XR3SingleImageReader : public TavixSingleImageReaderBase {
public:
    // Strip heights of the reader and of its decoder tool.
    static constexpr uint32_t kStripHeight = 16;

    // Null when out of memory.
    static XR3SingleImageReader* create();

    // One image of the file on `stream` (the caller's; it outlives the reader).
    QVStatus initialize(QVIOStreamInf* stream, uint32_t imageNumber, QVIOStreamInf* worldFileStream = nullptr,
                        TavixMemoryUsage memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT,
                        TavixStreamUsage streamUsage = TAVIX_STREAM_USAGE_DEFAULT);
    QVStatus initialize(const QVFileSpec& fileSpec, uint32_t imageNumber, bool useWorldFile = true,
                        TavixMemoryUsage memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT,
                        TavixStreamUsage streamUsage = TAVIX_STREAM_USAGE_DEFAULT);
    // Sets the reader up on an image of the manager's container.
    QVStatus protectedInit(TavixImageStageManager* manager, XR3FileSimpleContainer* container,
                           uint32_t imageNumber, QVIOStreamInf* worldFileStream, TavixMemoryUsage memoryUsage,
                           TavixStreamUsage streamUsage);

    TavixTileKind getKind() const override { return TAVIX_TILE_XR3; }
    uint8_t getNumLevels() const override;
    bool isLocked() const override;
    bool isOptimizable() const override;
    bool hasXR2Data() const override;
    bool isMosaic() const override;
    uint32_t getBlockSize() const override;
    bool hasColorTransform() const override;
    void setMaxWorkerThreads(int32_t count) override;
    int32_t getMaxWorkerThreads() const override { return m_numThreads; }

    // The size at a magnification of the range (else 50015), through the
    // wavelet's own level sizes.
    QVStatus getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const override;
    // The file's modification record, with the reader's crop and scale bits.
    uint32_t getModifications(const QVIScene& scene) const override;
    // "xmp" or "exif" in a new memory stream the caller owns; null when absent.
    QVStatus getMetadataBlob(const char* type, QVIOStreamInf*& stream) const override;
    std::string getSourceName() const override;

    const XR3ImageSource* getImageSource() const { return m_imageSource.get(); }
    uint32_t getImageNumber() const { return m_imageNumber; }

    // The decode-time objects; made at the first decode (null before).
    QVStatus createDecoder();
    XR3FileSimplePlaneSource* getPlaneSource() const { return m_planeSource.get(); }

protected:
    XR3SingleImageReader();
    ~XR3SingleImageReader() override;

    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus decodeEnd() override;

    // Whether a band may be asked for more than once.
    virtual bool allowsRepeatedBands() const { return false; }
    virtual uint32_t getReaderStripHeight() const { return kStripHeight; }
    // The metadata database of the image, from its classical records.
    QVStatus loadMetadata();

private:
    // The set-up steps of protectedInit.
    QVStatus loadPixelProps(QVIPixel& pixel);
    QVStatus loadDynamicRange(const QVIPixel& pixel);
    QVStatus loadBackgroundPixels(const QVIPixel& pixel);
    QVStatus loadLookupTable(const QVIPixel& pixel);
    QVStatus loadGeoCoord();
    QVStatus checkVirtualImage() const;
    // On an image of a manager made for this reader alone (released on return).
    QVStatus initializeOnManager(TavixImageStageManager* manager, QVStatus managerStatus, uint32_t imageNumber,
                                 QVIOStreamInf* worldFileStream);

    // The bands the tool decodes for a request, and where each goes.
    QVStatus planBands(const QVIPixel& pixel);
    QVStatus decodeThroughBandMap(QVISceneBuffer& buffer, const QVIScene& stripScene);
    void clearBandMap();

    XR3FileSimpleContainer* m_container = nullptr;
    uint32_t m_imageNumber = 0;
    std::unique_ptr<XR3ImageSource> m_imageSource;
    std::unique_ptr<XR3FileSimplePlaneSource> m_planeSource;
    std::unique_ptr<XR3FilePlaneStoreClient> m_client;
    XR3FileSimpleDecoderTool* m_decoderTool = nullptr;
    int32_t m_numThreads = 0;
    uint32_t m_fileModifications = 1;

    // Set for a request the tool can't take as it stands: the bands it
    // decodes (ascending), and for each of the caller's bands its position
    // among them.
    std::unique_ptr<QVIPixel> m_decodedPixel;
    std::vector<uint16_t> m_bandList;
    std::vector<uint16_t> m_requestToDecoded;
    std::unique_ptr<QVISceneBuffer> m_decodedStrip;
};

class XR4SingleImageReader : public XR3SingleImageReader {
public:
    static constexpr uint32_t kStripHeight = 64;

    // Null when out of memory.
    static XR4SingleImageReader* create();

    TavixTileKind getKind() const override { return TAVIX_TILE_XR4; }

    // Raw size of each band over its coded bytes, with or without alpha.
    QVStatus getPerBandCompressionRatios(bool withAlpha, std::vector<double>& ratios, uint16_t& numBands);

protected:
    XR4SingleImageReader() = default;
    ~XR4SingleImageReader() override = default;

    bool allowsRepeatedBands() const override { return true; }
    uint32_t getReaderStripHeight() const override { return kStripHeight; }
};

}  // namespace Orvanetics
