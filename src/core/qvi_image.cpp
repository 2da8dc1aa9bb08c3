#include "qvi_image.h"

#include <new>

#include "qvi_geoCoord.h"
#include "qvi_metadataDatabase.h"
#include "qvi_pixel.h"

namespace Orvanetics {

const QVIPixel& QVIImage::getEmptyPixel()
{
    static const QVIPixel empty;
    return empty;
}

const QVIGeoCoord& QVIImage::getDefaultGeoCoord()
{
    static const QVIGeoCoord defaultGeoCoord;
    return defaultGeoCoord;
}

const QVIMetadataDatabase& QVIImage::getEmptyMetadata()
{
    static const QVIMetadataDatabase empty;
    return empty;
}

uint16_t QVIImage::getNumBands() const
{
    return getPixelProps().getNumBands();
}

uint16_t QVIImage::getNumBandsWithoutAlpha() const
{
    return getPixelProps().getNumBandsWithoutAlpha();
}

QVIColorSpace QVIImage::getColorSpace() const
{
    return getPixelProps().getColorSpace();
}

QVIDataType QVIImage::getDataType() const
{
    return getPixelProps().getDataType();
}

uint64_t QVIImage::getNominalImageSizeWithoutAlpha() const
{
    return uint64_t(getWidth()) * getHeight() * getPixelProps().getNumBytesWithoutAlpha();
}

uint64_t QVIImage::getNominalImageSizeWithAlpha() const
{
    return uint64_t(getWidth()) * getHeight() * getPixelProps().getNumBytes();
}

bool QVIImage::isNaturalDynamicRange() const
{
    return getMinDynamicRange().areSampleValuesMin() && getMaxDynamicRange().areSampleValuesMax();
}

QVStatus QVIImage::getGeoPoint(QVIPosition position, double& x, double& y) const
{
    const double lastCol = double(getWidth()) - 1.0;
    const double lastRow = double(getHeight()) - 1.0;
    double col = 0.0;
    double row = 0.0;
    switch (position) {
    case QVI_POSITION_UPPER_CENTER: col = lastCol / 2; break;
    case QVI_POSITION_UPPER_RIGHT: col = lastCol; break;
    case QVI_POSITION_LOWER_LEFT: row = lastRow; break;
    case QVI_POSITION_LOWER_CENTER: col = lastCol / 2; row = lastRow; break;
    case QVI_POSITION_LOWER_RIGHT: col = lastCol; row = lastRow; break;
    case QVI_POSITION_CENTER_LEFT: row = lastRow / 2; break;
    case QVI_POSITION_CENTER: col = lastCol / 2; row = lastRow / 2; break;
    case QVI_POSITION_CENTER_RIGHT: col = lastCol; row = lastRow / 2; break;
    default: break;  // the upper left
    }
    return getGeoCoord().pixelToGeo(col, row, 1.0, x, y);
}

QVIPixel* QVIImage::createBackgroundPixel() const
{
    try {
        if (const QVIPixel* background = getBackgroundPixel())
            return new QVIPixel(*background);
        auto* pixel = new QVIPixel(getPixelProps());
        // Subtractive colour spaces are blank at their maximum.
        const QVIColorSpace colors = pixel->getColorSpaceWithoutAlpha();
        const bool blankAtMax = colors == QVI_COLORSPACE_CMY || colors == QVI_COLORSPACE_CMYK;
        const uint16_t colorBands = pixel->getNumBandsWithoutAlpha();
        for (uint16_t band = 0; band < pixel->getNumBands(); ++band) {
            QVISample& sample = pixel->getSample(band);
            if (band >= colorBands || blankAtMax)
                sample.setValueToMax();
            else
                sample.setValueToMin();
        }
        return pixel;
    } catch (const QVUtilException&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Orvanetics
