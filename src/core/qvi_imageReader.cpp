#include "qvi_imageReader.h"

#include <algorithm>
#include <memory>

#include "qv_fileSpec.h"
#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"
#include "qvi_navigator.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"

namespace Orvanetics {

QVIImageReader::QVIImageReader(bool supportBandSelection)
    : m_supportBandSelection(supportBandSelection)
{
}

QVIImageReader::~QVIImageReader() = default;

// ---------------------------------------------------------------------------
// Reading

void QVIImageReader::addStatusContext(QVStatus status) const
{
    QVUtilStatusData::pushContext(status, getSourceName().c_str());
}

QVStatus QVIImageReader::withContext(QVStatus status) const
{
    if (status != 0)
        addStatusContext(status);
    return status;
}

bool QVIImageReader::servesBandSelection(const QVIPixel& pixel) const
{
    return !m_supportBandSelection && isBandSelected(pixel);
}

QVStatus QVIImageReader::readBegin(const QVIPixel& pixel, const QVIScene& scene)
{
    if (!servesBandSelection(pixel))
        return withContext(QVIImageStage::readBegin(pixel, scene));
    // The decode sees whole pixels, so the selection is checked here, where it is still known.
    if (const QVStatus status = validateReadRequest(pixel, scene))
        return withContext(status);
    return withContext(QVIImageStage::readBegin(getPixelProps(), scene));
}

QVStatus QVIImageReader::readStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (!servesBandSelection(buffer.getPixelProps()))
        return withContext(QVIImageStage::readStrip(buffer, stripScene));
    return withContext(readSelectedBands(buffer, stripScene));
}

QVStatus QVIImageReader::readSelectedBands(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    try {
        QVISceneBuffer whole(getPixelProps(), buffer.getNumCols(), buffer.getNumRows());
        if (const QVStatus status = QVIImageStage::readStrip(whole, stripScene))
            return status;
        for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
            const QVStatus status =
                buffer.importDataBand(band, whole, buffer.getSourceBandIndex(band));
            if (status != 0)
                return status;
        }
        return 0;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

QVStatus QVIImageReader::readEnd()
{
    return withContext(QVIImageStage::readEnd());
}

// ---------------------------------------------------------------------------
// Reader answers to the stage questions

QVStatus QVIImageReader::getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const
{
    if (!(mag >= getMinMagnification() && mag <= getMaxMagnification()))
        return QVI_STS_Core_MagOutOfRange;
    return QVIUtils::getDimsAtMag(getWidth(), getHeight(), mag, width, height);
}

uint32_t QVIImageReader::getModifications(const QVIScene& scene) const
{
    uint32_t width = 0;
    uint32_t height = 0;
    const double mag = scene.getMag();
    if (getDimsAtMag(mag, width, height) != 0)
        return 0;
    uint32_t flags = 0;
    if (int64_t(scene.getNumCols()) < int64_t(width) || int64_t(scene.getNumRows()) < int64_t(height))
        flags |= kModificationCropped;
    if (mag != 1.0)
        flags |= kModificationScaled;
    return flags;
}

QVStatus QVIImageReader::getMetadataBlob(const char*, QVIOStreamInf*& stream) const
{
    stream = nullptr;
    return 0;
}

uint64_t QVIImageReader::getEncodingCost(const QVIScene& scene) const
{
    const uint64_t cols = uint64_t(std::max(scene.getNumCols(), 0));
    const uint64_t rows = uint64_t(std::max(scene.getNumRows(), 0));
    return cols * rows * getPixelProps().getNumBytes() / 1024;
}

bool QVIImageReader::getReaderScene(const QVIScene& scene, QVIScene& readerScene) const
{
    QVINavigator navigator(*this, scene);
    const bool clipped = navigator.clipToImage();
    readerScene = navigator.getScene();
    return clipped;
}

// ---------------------------------------------------------------------------
// Construction helpers

QVStatus QVIImageReader::init(const QVIImage* image)
{
    if (image == nullptr)
        return createMetadata(nullptr);
    if (const QVStatus status = copyProperties(*image))
        return status;
    // The classical records only repeat the properties just copied.
    return QVIMetadataEditor(*getMetadataDatabase()).removeClassicalMetadata();
}

QVStatus QVIImageReader::copyProperties(const QVIImage& image)
{
    setDimensions(image.getWidth(), image.getHeight());
    QVStatus status = setPixelProps(image.getPixelProps());
    if (status == 0)
        status = setBackgroundPixel(image.getBackgroundPixel());
    if (status == 0)
        status = setNoDataPixel(image.getNoDataPixel());
    if (status == 0)
        status = setPixelLookupTable(image.getPixelLookupTable());
    if (status == 0)
        status = setDynamicRange(image.getMinDynamicRange(), image.getMaxDynamicRange());
    if (status == 0) {
        status = image.isGeoCoordImplicit() ? setDefaultGeoCoord(*this)
                                            : setGeoCoord(image.getGeoCoord());
    }
    if (status != 0)
        return status;
    setMagnification(image.getMinMagnification(), image.getMaxMagnification());
    return createMetadata(&image.getMetadata());
}

QVStatus QVIImageReader::loadMetadataIntoObjects(QVIMetadataDatabase& metadata, QVIPixel& pixel,
                                                 bool loadPixelProps, bool loadGeoCoord)
{
    const QVIMetadataAcc acc(metadata);
    try {
        if (loadPixelProps) {
            if (const QVStatus status = acc.getPixelProps(pixel))
                return status;
        }
        QVStatus status = loadDynamicRange(acc, pixel, loadPixelProps);
        if (status == 0)
            status = loadPixelValues(acc, pixel);
        if (status == 0)
            status = loadPixelLookupTable(acc, pixel);
        if (status == 0 && loadGeoCoord)
            status = loadGeoCoordFrom(metadata);
        if (status != 0)
            return status;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
    return QVIMetadataEditor(metadata).removeClassicalMetadata();
}

QVStatus QVIImageReader::loadDynamicRange(const QVIMetadataAcc& acc, const QVIPixel& pixel,
                                          bool loadPixelProps)
{
    QVIPixel minimum(pixel);
    QVIPixel maximum(pixel);
    if (acc.getDynamicRange(minimum, maximum) != 0) {
        // No usable range in the records: the natural one.
        minimum.setSampleValuesToMin();
        maximum.setSampleValuesToMax();
    }
    if (loadPixelProps) {
        if (const QVStatus status = setPixelProps(pixel))
            return status;
    }
    return setDynamicRange(minimum, maximum);
}

QVStatus QVIImageReader::loadPixelValues(const QVIMetadataAcc& acc, const QVIPixel& pixel)
{
    // An absent or unreadable value means the image has none.
    QVIPixel value(pixel);
    QVStatus status = setBackgroundPixel(acc.getBackgroundPixel(value) == 0 ? &value : nullptr);
    if (status != 0)
        return status;
    value = pixel;
    return setNoDataPixel(acc.getNoDataPixel(value) == 0 ? &value : nullptr);
}

QVStatus QVIImageReader::loadPixelLookupTable(const QVIMetadataAcc& acc, const QVIPixel& pixel)
{
    QVIPixelLookupTable* table = nullptr;
    if (const QVStatus status = acc.getPixelLookupTable(pixel, table))
        return status;
    const std::unique_ptr<QVIPixelLookupTable> owned(table);
    return setPixelLookupTable(owned.get());
}

QVStatus QVIImageReader::loadGeoCoordFrom(const QVIMetadataDatabase& metadata)
{
    QVIGeoCoord geoCoord(getGeoCoord());
    bool found = false;
    if (const QVStatus status = geoCoord.readMetadata(metadata, found))
        return status;
    return found ? setGeoCoord(geoCoord) : setDefaultGeoCoord(*this);
}

// ---------------------------------------------------------------------------
// QVIGeoImageReader

QVIGeoImageReader::QVIGeoImageReader(bool supportBandSelection)
    : QVIImageReader(supportBandSelection)
{
}

QVIGeoImageReader::~QVIGeoImageReader() = default;

QVStatus QVIGeoImageReader::init(bool useWorldFile)
{
    m_useWorldFile = useWorldFile;
    return QVIImageReader::init(nullptr);
}

template <typename ReadInto>
QVStatus QVIGeoImageReader::updateGeoCoord(bool& found, bool honourUseWorldFile,
                                           ReadInto&& readInto)
{
    found = false;
    if (honourUseWorldFile && !m_useWorldFile)
        return 0;
    try {
        // A copy, so that the present WKT survives the world file.
        QVIGeoCoord geoCoord(getGeoCoord());
        if (const QVStatus status = readInto(geoCoord))
            return status;
        return found ? setGeoCoord(geoCoord) : 0;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

QVStatus QVIGeoImageReader::readWorldFile(QVIOStreamInf& stream, bool& found,
                                          bool honourUseWorldFile)
{
    return updateGeoCoord(found, honourUseWorldFile, [&](QVIGeoCoord& geoCoord) {
        const QVStatus status = geoCoord.readWorldFile(stream);
        found = status == 0;
        return status;
    });
}

QVStatus QVIGeoImageReader::readWorldFile(const QVFileSpec& fileSpec, bool& found,
                                          bool honourUseWorldFile)
{
    return updateGeoCoord(found, honourUseWorldFile, [&](QVIGeoCoord& geoCoord) {
        return geoCoord.readWorldFile(fileSpec, true, found);
    });
}

}  // namespace Orvanetics
