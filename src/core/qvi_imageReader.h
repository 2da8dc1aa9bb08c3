// The head of a chain: a stage that gets its pixels from a source. A reader
// keeps every property in its own override layers and serves band
// selections for subclasses that decode whole pixels only.
//
// Writing a reader:
// - derive from QVIImageReader (QVIGeoImageReader for formats with world
//   files), passing whether decodeBegin/decodeStrip serve a band selection;
// - give it a static create() (new (std::nothrow)) and an initialize(...)
//   that calls init(nullptr), parses the source and sets the properties with
//   the layer setters: setDimensions, setPixelProps, setMagnification,
//   setGeoCoord or setDefaultGeoCoord(*this), setBackgroundPixel,
//   setNoDataPixel, setPixelLookupTable, setIsSelective, setStripHeight, and
//   fills getMetadataDatabase();
// - implement decodeBegin, decodeStrip, decodeEnd and getSourceName. Without
//   band selection support, decodeBegin always sees the full pixel
//   properties and decodeStrip a buffer of all bands.
#pragma once

#include <string>

#include "qvi_override.h"

namespace Orvanetics {

class QVFileSpec;
class QVIMetadataAcc;

class QVIImageReader : public QVIOverrideFullStack<QVIImageStage> {
public:
    // The reader bits of the modification flags.
    static constexpr uint32_t kModificationCropped = 0x4;
    static constexpr uint32_t kModificationScaled = 0x10;

    // Band selection for readers that decode whole pixels; context on failure.
    QVStatus readBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus readStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus readEnd() override;

    // Names the source in status contexts (a path, a stream's id).
    virtual std::string getSourceName() const = 0;

    // 50015 outside the magnification range, else the image's size at mag.
    QVStatus getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const override;
    // 0x4 when the scene is smaller than the image at its magnification, 0x10
    // at a magnification other than 1.0 inside the range. Readers of
    // compressed formats add the flags their file records.
    uint32_t getModifications(const QVIScene& scene) const override;
    // None: success with a null stream.
    QVStatus getMetadataBlob(const char* type, QVIOStreamInf*& stream) const override;
    // Columns x rows x pixel bytes / 1024.
    uint64_t getEncodingCost(const QVIScene& scene) const override;
    // The scene clipped to the image.
    bool getReaderScene(const QVIScene& scene, QVIScene& readerScene) const override;
    const QVIMask* getMask() const override { return nullptr; }
    // A reader serves none of the pipeline's optional abilities.
    bool getPipelineInfo(QVIPipelineInfo) const override { return false; }

    bool getSupportBandSelection() const { return m_supportBandSelection; }

protected:
    explicit QVIImageReader(bool supportBandSelection);
    ~QVIImageReader() override;

    // With null: an empty metadata database. With an image: all of its
    // properties, in order, up to the first failure, then its metadata
    // without the classical records (they would only repeat the properties).
    QVStatus init(const QVIImage* image);
    // Carries the classical records of `metadata` into the layers and then
    // removes them: pixel properties into `pixel` and the layer (with
    // loadPixelProps), the dynamic range (natural when unreadable), the
    // background and no-data pixels (cleared when absent), the lookup table
    // and, with loadGeoCoord, the georeference (the default one when absent).
    QVStatus loadMetadataIntoObjects(QVIMetadataDatabase& metadata, QVIPixel& pixel,
                                     bool loadPixelProps, bool loadGeoCoord);

    void addStatusContext(QVStatus status) const override;

private:
    // The steps of loadMetadataIntoObjects.
    QVStatus loadDynamicRange(const QVIMetadataAcc& acc, const QVIPixel& pixel, bool loadPixelProps);
    QVStatus loadPixelValues(const QVIMetadataAcc& acc, const QVIPixel& pixel);
    QVStatus loadPixelLookupTable(const QVIMetadataAcc& acc, const QVIPixel& pixel);
    QVStatus loadGeoCoordFrom(const QVIMetadataDatabase& metadata);

    QVStatus withContext(QVStatus status) const;
    bool servesBandSelection(const QVIPixel& pixel) const;
    QVStatus readSelectedBands(QVISceneBuffer& buffer, const QVIScene& stripScene);
    QVStatus copyProperties(const QVIImage& image);

    const bool m_supportBandSelection;
};

// A reader whose georeference may come from a world file beside the image.
class QVIGeoImageReader : public QVIImageReader {
public:
    bool getUseWorldFile() const { return m_useWorldFile; }

    // Updates a copy of the present georeference from the world file and, on
    // success, makes it the stage's own (its WKT survives). With
    // honourUseWorldFile and the flag off nothing is read. `found` tells
    // whether a world file was read.
    QVStatus readWorldFile(QVIOStreamInf& stream, bool& found, bool honourUseWorldFile);
    // The world file beside `fileSpec` (its suffix replaced).
    QVStatus readWorldFile(const QVFileSpec& fileSpec, bool& found, bool honourUseWorldFile);

protected:
    explicit QVIGeoImageReader(bool supportBandSelection);
    ~QVIGeoImageReader() override;

    using QVIImageReader::init;
    // Stores the flag and runs the reader's init(nullptr).
    QVStatus init(bool useWorldFile);

private:
    // Runs readInto on a copy of the present georeference; found and success make it the stage's.
    template <typename ReadInto>
    QVStatus updateGeoCoord(bool& found, bool honourUseWorldFile, ReadInto&& readInto);

    bool m_useWorldFile = true;
};

}  // namespace Orvanetics
