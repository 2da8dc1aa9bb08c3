// A stage over a previous stage. Every property and protocol operation is
// forwarded to the previous stage; a filter overrides what it changes, often
// through a sub-stack of override layers over this class
// (QVIOverridePixelProps<QVIOverrideBackgroundPixel<QVIImageFilter>>).
// A filter holds one reference on its previous stage, so releasing the last
// stage of a chain releases the whole chain.
#pragma once

#include "qvi_imageStage.h"

namespace Orvanetics {

class QVIImageFilter : public QVIImageStage {
public:
    // The bit every filter adds to the modifications of its previous stage.
    static constexpr uint32_t kModificationUnknown = 0x1;

    QVIImageStage* getPreviousStage() const { return m_previousStage; }
    // Releases the old stage and retains the new one; the same stage is left alone.
    QVStatus changePreviousStage(QVIImageStage* stage);
    void releasePreviousStageNow();

    uint32_t getWidth() const override;
    uint32_t getHeight() const override;
    QVStatus getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const override;
    const QVIPixel& getPixelProps() const override;
    const QVIPixel* getBackgroundPixel() const override;
    const QVIPixel* getNoDataPixel() const override;
    const QVIPixelLookupTable* getPixelLookupTable() const override;
    const QVIPixel& getMinDynamicRange() const override;
    const QVIPixel& getMaxDynamicRange() const override;
    const QVIGeoCoord& getGeoCoord() const override;
    bool isGeoCoordImplicit() const override;
    const QVIMetadataDatabase& getMetadata() const override;
    double getMinMagnification() const override;
    double getMaxMagnification() const override;
    bool isSelective() const override;
    // The previous stage's flags with 0x1 added.
    uint32_t getModifications(const QVIScene& scene) const override;
    QVStatus getMetadataBlob(const char* type, QVIOStreamInf*& stream) const override;

    void setProgressDelegate(QVIProgressDelegate* delegate) override;
    QVIProgressDelegate* getProgressDelegate() const override;
    void setInterruptDelegate(QVIInterruptDelegate* delegate) override;
    QVIInterruptDelegate* getInterruptDelegate() const override;
    uint32_t getStripHeight() const override;
    void setStripHeight(uint32_t stripHeight) override;
    uint64_t getEncodingCost(const QVIScene& scene) const override;
    bool getReaderScene(const QVIScene& scene, QVIScene& readerScene) const override;
    QVStatus overrideBackgroundPixel(const QVIPixel* pixel) override;
    QVStatus overrideNoDataPixel(const QVIPixel* pixel) override;
    QVStatus overrideGeoCoord(const QVIGeoCoord& geoCoord) override;
    QVStatus overrideDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum) override;
    QVStatus overridePixelBPS(uint32_t bitsPerSample) override;
    QVStatus overridePixelLookupTable(const QVIPixelLookupTable* table) override;
    QVStatus overrideMetadata(const QVIMetadataDatabase* metadata) override;
    const QVIMask* getMask() const override;
    bool getPipelineInfo(QVIPipelineInfo info) const override;

protected:
    QVIImageFilter() = default;
    ~QVIImageFilter() override;

    // Retains previous (null allowed) and stores it.
    QVStatus init(QVIImageStage* previous);

    // A filter that changes no pixels passes the read to its previous stage
    // through that stage's own protocol (readBegin, readStrip, readEnd), so
    // that the previous stage keeps its read record and band selection.
    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus decodeEnd() override;

private:
    QVIImageStage* m_previousStage = nullptr;
};

}  // namespace Orvanetics
