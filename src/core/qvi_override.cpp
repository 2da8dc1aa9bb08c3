#include "qvi_override.h"

#include <new>

#include "qv_statusCodes.h"

namespace Orvanetics {

namespace {

// Runs a copy that may throw for want of memory and turns that into status 8.
template <typename Copy>
QVStatus copyOrOutOfMemory(Copy&& copy)
{
    try {
        copy();
        return 0;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    } catch (const std::bad_alloc&) {
        return QVI_STS_OutOfMemory;
    }
}

template <typename T>
QVStatus storeCopy(std::unique_ptr<T>& slot, const T* value)
{
    if (value == nullptr) {
        slot.reset();
        return 0;
    }
    return copyOrOutOfMemory([&] { slot = std::make_unique<T>(*value); });
}

}  // namespace

void QVIOverrideDimensionsData::setDimensions(uint32_t width, uint32_t height)
{
    m_width = width;
    m_height = height;
}

QVIOverridePixelPropsData::~QVIOverridePixelPropsData() = default;

QVStatus QVIOverridePixelPropsData::setPixelProps(const QVIPixel& pixel)
{
    if (const QVStatus status = storeCopy(m_pixelProps, &pixel))
        return status;
    return setDefaultDynamicRange();
}

QVStatus QVIOverridePixelPropsData::setDefaultDynamicRange()
{
    if (!m_pixelProps) {
        m_minDynamicRange.reset();
        m_maxDynamicRange.reset();
        return 0;
    }
    return copyOrOutOfMemory([&] {
        auto minimum = std::make_unique<QVIPixel>(*m_pixelProps);
        auto maximum = std::make_unique<QVIPixel>(*m_pixelProps);
        minimum->setSampleValuesToMin();
        maximum->setSampleValuesToMax();
        m_minDynamicRange = std::move(minimum);
        m_maxDynamicRange = std::move(maximum);
    });
}

QVStatus QVIOverridePixelPropsData::setDynamicRange(const QVIPixel& minimum,
                                                    const QVIPixel& maximum)
{
    return copyOrOutOfMemory([&] {
        auto newMinimum = std::make_unique<QVIPixel>(minimum);
        auto newMaximum = std::make_unique<QVIPixel>(maximum);
        m_minDynamicRange = std::move(newMinimum);
        m_maxDynamicRange = std::move(newMaximum);
    });
}

void QVIOverridePixelPropsData::setPixelBPS(uint32_t bitsPerSample)
{
    if (bitsPerSample == 0 || !m_pixelProps)
        return;
    for (uint16_t band = 0; band < m_pixelProps->getNumBands(); ++band)
        m_pixelProps->getSample(band).setPrecision(bitsPerSample);
}

QVIOverrideBackgroundPixelData::~QVIOverrideBackgroundPixelData() = default;

QVStatus QVIOverrideBackgroundPixelData::setBackgroundPixel(const QVIPixel* pixel)
{
    return storeCopy(m_backgroundPixel, pixel);
}

QVStatus QVIOverrideBackgroundPixelData::setNoDataPixel(const QVIPixel* pixel)
{
    return storeCopy(m_noDataPixel, pixel);
}

QVStatus QVIOverrideBackgroundPixelData::storeInStageLayout(std::unique_ptr<QVIPixel>& slot,
                                                            const QVIPixel& pixelProps,
                                                            const QVIPixel* value)
{
    if (value == nullptr) {
        slot.reset();
        return 0;
    }
    std::unique_ptr<QVIPixel> laidOut;
    if (const QVStatus status =
            copyOrOutOfMemory([&] { laidOut = std::make_unique<QVIPixel>(pixelProps); }))
        return status;
    if (const QVStatus status = laidOut->setNonAlphaSampleValuesFromPixel(*value))
        return status;
    slot = std::move(laidOut);
    return 0;
}

QVIOverrideGeoCoordData::~QVIOverrideGeoCoordData() = default;

QVStatus QVIOverrideGeoCoordData::setGeoCoord(const QVIGeoCoord& geoCoord)
{
    if (const QVStatus status = storeCopy(m_geoCoord, &geoCoord))
        return status;
    m_geoCoordImplicit = false;
    return 0;
}

QVStatus QVIOverrideGeoCoordData::setDefaultGeoCoord(const QVIImage& image)
{
    const QVIGeoCoord lowerLeftAtOrigin(0.0, double(image.getHeight()) - 1.0, 1.0, -1.0, 0.0, 0.0);
    if (const QVStatus status = storeCopy(m_geoCoord, &lowerLeftAtOrigin))
        return status;
    m_geoCoordImplicit = true;
    return 0;
}

void QVIOverrideMagnificationData::setMagnification(double minimum, double maximum)
{
    m_minMagnification = minimum;
    m_maxMagnification = maximum;
}

void QVIOverrideIsSelectiveData::setIsSelective(bool isSelective)
{
    m_isSelective = isSelective;
}

QVIOverridePixelLookupTablesData::~QVIOverridePixelLookupTablesData() = default;

QVStatus QVIOverridePixelLookupTablesData::setPixelLookupTable(const QVIPixelLookupTable* table)
{
    return storeCopy(m_pixelLookupTable, table);
}

QVIOverrideMetadataData::~QVIOverrideMetadataData() = default;

QVStatus QVIOverrideMetadataData::createMetadata(const QVIMetadataDatabase* metadata)
{
    if (!m_metadata) {
        const QVIMetadataDatabase empty;
        return storeCopy(m_metadata, metadata != nullptr ? metadata : &empty);
    }
    if (metadata == m_metadata.get())
        return 0;
    if (const QVStatus status = m_metadata->removeAll())
        return status;
    return metadata != nullptr ? m_metadata->add(*metadata) : 0;
}

}  // namespace Orvanetics
