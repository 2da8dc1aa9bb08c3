#include "qvi_imageFilter.h"

#include "qv_statusCodes.h"
#include "qvi_pixel.h"

namespace Orvanetics {

// Without a previous stage a filter answers what an empty image would.

QVIImageFilter::~QVIImageFilter()
{
    releasePreviousStageNow();
}

QVStatus QVIImageFilter::init(QVIImageStage* previous)
{
    if (previous != nullptr)
        previous->retain();
    m_previousStage = previous;
    return 0;
}

QVStatus QVIImageFilter::changePreviousStage(QVIImageStage* stage)
{
    if (stage == m_previousStage)
        return 0;
    releasePreviousStageNow();
    return init(stage);
}

void QVIImageFilter::releasePreviousStageNow()
{
    if (m_previousStage != nullptr)
        m_previousStage->release();
    m_previousStage = nullptr;
}

// ---------------------------------------------------------------------------
// Properties

uint32_t QVIImageFilter::getWidth() const
{
    return m_previousStage ? m_previousStage->getWidth() : 0;
}

uint32_t QVIImageFilter::getHeight() const
{
    return m_previousStage ? m_previousStage->getHeight() : 0;
}

QVStatus QVIImageFilter::getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const
{
    return m_previousStage ? m_previousStage->getDimsAtMag(mag, width, height)
                           : QVI_STS_NullPointer;
}

const QVIPixel& QVIImageFilter::getPixelProps() const
{
    return m_previousStage ? m_previousStage->getPixelProps() : getEmptyPixel();
}

const QVIPixel* QVIImageFilter::getBackgroundPixel() const
{
    return m_previousStage ? m_previousStage->getBackgroundPixel() : nullptr;
}

const QVIPixel* QVIImageFilter::getNoDataPixel() const
{
    return m_previousStage ? m_previousStage->getNoDataPixel() : nullptr;
}

const QVIPixelLookupTable* QVIImageFilter::getPixelLookupTable() const
{
    return m_previousStage ? m_previousStage->getPixelLookupTable() : nullptr;
}

const QVIPixel& QVIImageFilter::getMinDynamicRange() const
{
    return m_previousStage ? m_previousStage->getMinDynamicRange() : getEmptyPixel();
}

const QVIPixel& QVIImageFilter::getMaxDynamicRange() const
{
    return m_previousStage ? m_previousStage->getMaxDynamicRange() : getEmptyPixel();
}

const QVIGeoCoord& QVIImageFilter::getGeoCoord() const
{
    return m_previousStage ? m_previousStage->getGeoCoord() : getDefaultGeoCoord();
}

bool QVIImageFilter::isGeoCoordImplicit() const
{
    return m_previousStage ? m_previousStage->isGeoCoordImplicit() : false;
}

const QVIMetadataDatabase& QVIImageFilter::getMetadata() const
{
    return m_previousStage ? m_previousStage->getMetadata() : getEmptyMetadata();
}

double QVIImageFilter::getMinMagnification() const
{
    return m_previousStage ? m_previousStage->getMinMagnification() : 1.0;
}

double QVIImageFilter::getMaxMagnification() const
{
    return m_previousStage ? m_previousStage->getMaxMagnification() : 1.0;
}

bool QVIImageFilter::isSelective() const
{
    return m_previousStage ? m_previousStage->isSelective() : true;
}

uint32_t QVIImageFilter::getModifications(const QVIScene& scene) const
{
    const uint32_t previous = m_previousStage ? m_previousStage->getModifications(scene) : 0;
    return previous | kModificationUnknown;
}

QVStatus QVIImageFilter::getMetadataBlob(const char* type, QVIOStreamInf*& stream) const
{
    stream = nullptr;
    return m_previousStage ? m_previousStage->getMetadataBlob(type, stream) : 0;
}

// ---------------------------------------------------------------------------
// Stage operations

void QVIImageFilter::setProgressDelegate(QVIProgressDelegate* delegate)
{
    if (m_previousStage)
        m_previousStage->setProgressDelegate(delegate);
}

QVIProgressDelegate* QVIImageFilter::getProgressDelegate() const
{
    return m_previousStage ? m_previousStage->getProgressDelegate() : nullptr;
}

void QVIImageFilter::setInterruptDelegate(QVIInterruptDelegate* delegate)
{
    if (m_previousStage)
        m_previousStage->setInterruptDelegate(delegate);
}

QVIInterruptDelegate* QVIImageFilter::getInterruptDelegate() const
{
    return m_previousStage ? m_previousStage->getInterruptDelegate() : nullptr;
}

uint32_t QVIImageFilter::getStripHeight() const
{
    return m_previousStage ? m_previousStage->getStripHeight() : 0;
}

void QVIImageFilter::setStripHeight(uint32_t stripHeight)
{
    if (m_previousStage)
        m_previousStage->setStripHeight(stripHeight);
}

uint64_t QVIImageFilter::getEncodingCost(const QVIScene& scene) const
{
    return m_previousStage ? m_previousStage->getEncodingCost(scene) : 0;
}

bool QVIImageFilter::getReaderScene(const QVIScene& scene, QVIScene& readerScene) const
{
    return m_previousStage ? m_previousStage->getReaderScene(scene, readerScene) : false;
}

QVStatus QVIImageFilter::overrideBackgroundPixel(const QVIPixel* pixel)
{
    return m_previousStage ? m_previousStage->overrideBackgroundPixel(pixel) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::overrideNoDataPixel(const QVIPixel* pixel)
{
    return m_previousStage ? m_previousStage->overrideNoDataPixel(pixel) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::overrideGeoCoord(const QVIGeoCoord& geoCoord)
{
    return m_previousStage ? m_previousStage->overrideGeoCoord(geoCoord) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::overrideDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum)
{
    return m_previousStage ? m_previousStage->overrideDynamicRange(minimum, maximum)
                           : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::overridePixelBPS(uint32_t bitsPerSample)
{
    return m_previousStage ? m_previousStage->overridePixelBPS(bitsPerSample) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::overridePixelLookupTable(const QVIPixelLookupTable* table)
{
    return m_previousStage ? m_previousStage->overridePixelLookupTable(table) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::overrideMetadata(const QVIMetadataDatabase* metadata)
{
    return m_previousStage ? m_previousStage->overrideMetadata(metadata) : QVI_STS_NullPointer;
}

const QVIMask* QVIImageFilter::getMask() const
{
    return m_previousStage ? m_previousStage->getMask() : nullptr;
}

bool QVIImageFilter::getPipelineInfo(QVIPipelineInfo info) const
{
    return m_previousStage ? m_previousStage->getPipelineInfo(info) : false;
}

QVStatus QVIImageFilter::decodeBegin(const QVIPixel& pixel, const QVIScene& scene)
{
    return m_previousStage ? m_previousStage->readBegin(pixel, scene) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    return m_previousStage ? m_previousStage->readStrip(buffer, stripScene) : QVI_STS_NullPointer;
}

QVStatus QVIImageFilter::decodeEnd()
{
    return m_previousStage ? m_previousStage->readEnd() : QVI_STS_NullPointer;
}

}  // namespace Orvanetics
