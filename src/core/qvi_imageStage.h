// An image from which pixels are read through one protocol: read(scene,
// buffer) validates, then readBegin, one readStrip per strip (each a view into
// the caller's buffer) and readEnd. Subclasses implement decodeBegin,
// decodeStrip and decodeEnd; the delegates are consulted between strips.
#pragma once

#include <cstdint>
#include <memory>

#include "qvi_delegates.h"
#include "qvi_image.h"
#include "qvi_scene.h"

namespace Orvanetics {

class QVIMask;
class QVISceneBuffer;

// Questions to a whole pipeline (getPipelineInfo).
enum QVIPipelineInfo : uint32_t {
    // Can a stage of the pipeline serve a magnification that is not a power of two?
    QVI_PIPELINE_ARBITRARY_MAG = 1,
};

class QVIImageStage : public QVIImage {
public:

    virtual void setProgressDelegate(QVIProgressDelegate* delegate) = 0;
    virtual QVIProgressDelegate* getProgressDelegate() const = 0;
    virtual void setInterruptDelegate(QVIInterruptDelegate* delegate) = 0;
    virtual QVIInterruptDelegate* getInterruptDelegate() const = 0;

    // For callers that move the strips themselves: readBegin, then
    // readStrip(view, getStripScene(i)) for each strip, then readEnd, which
    // must follow even after a failed strip.
    virtual QVStatus readBegin(const QVIPixel& pixel, const QVIScene& scene);
    virtual QVStatus readStrip(QVISceneBuffer& buffer, const QVIScene& stripScene);
    virtual QVStatus readEnd();

    virtual uint32_t getStripHeight() const = 0;
    virtual void setStripHeight(uint32_t stripHeight) = 0;
    // Estimated work for the scene, in KiB of output.
    virtual uint64_t getEncodingCost(const QVIScene& scene) const = 0;
    // The scene of the source needed for this scene of this stage; false if none.
    virtual bool getReaderScene(const QVIScene& scene, QVIScene& readerScene) const = 0;

    // Property changes applied from outside (null pixels and tables clear).
    virtual QVStatus overrideBackgroundPixel(const QVIPixel* pixel) = 0;
    virtual QVStatus overrideNoDataPixel(const QVIPixel* pixel) = 0;
    virtual QVStatus overrideGeoCoord(const QVIGeoCoord& geoCoord) = 0;
    virtual QVStatus overrideDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum) = 0;
    virtual QVStatus overridePixelBPS(uint32_t bitsPerSample) = 0;
    virtual QVStatus overridePixelLookupTable(const QVIPixelLookupTable* table) = 0;
    // Null empties the stage's database.
    virtual QVStatus overrideMetadata(const QVIMetadataDatabase* metadata) = 0;

    // The stage's valid area, null when it is the whole image.
    virtual const QVIMask* getMask() const = 0;
    virtual bool getPipelineInfo(QVIPipelineInfo info) const = 0;

    // The whole read in one call. The buffer must be at least the scene's size;
    // its pixel properties select the bands.
    QVStatus read(const QVIScene& scene, QVISceneBuffer& buffer);

    // Fills the buffer's part of the scene's size with the background pixel,
    // else the no-data pixel, else the pixel properties at their minimum.
    QVStatus fillBackground(const QVIScene& scene, QVISceneBuffer& buffer) const;
    QVStatus fillBackground(const QVIScene& scene, QVISceneBuffer& buffer,
                            const QVIPixel& pixel) const;

    // The strips of the read in progress (0 and the default scene outside a read).
    int32_t getNumStrips() const;
    QVIScene getStripScene(int32_t index) const;
    const QVIScene& getFullScene() const;

    // Asks the interrupt delegate, then tells the progress delegate the share
    // of the scene before stripScene (null: 1.0 when done, else 0.0).
    QVStatus checkDelegates(const QVIScene* stripScene, bool done);
    // True if the pixel is not this stage's bands in their order.
    bool isBandSelected(const QVIPixel& pixel) const;
    // 50015 magnification, 50014 position, then the pixel's compatibility.
    QVStatus validateReadRequest(const QVIPixel& pixel, const QVIScene& scene) const;
    // As above with the buffer's pixel; then 50027 if the buffer is smaller than the scene.
    QVStatus validateReadRequest(const QVISceneBuffer& buffer, const QVIScene& scene) const;

protected:
    QVIImageStage();
    ~QVIImageStage() override;

    // Subclass state for a read lives from decodeBegin to decodeEnd.
    virtual QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) = 0;
    virtual QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) = 0;
    virtual QVStatus decodeEnd() = 0;

    // Lets a stage attach its own context (a reader: its source name) to a
    // failure leaving read().
    virtual void addStatusContext(QVStatus status) const;

private:
    struct ReadState;

    QVStatus readAllStrips(QVISceneBuffer& buffer);

    // The read in progress; null when idle.
    std::unique_ptr<ReadState> m_read;
};

}  // namespace Orvanetics
