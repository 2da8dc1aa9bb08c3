#include "xr3_imageSource.h"

#include "xr3_metadata.h"

namespace Orvanetics {

QVStatus XR3ImageSource::initialize()
{
    if (m_initialized)
        return xr3Fail(QVI_STS_Tavix_BadContext);
    const XR3PacketType headerType(XR3_PACKET_HEADER, XR3PacketType::ANY_SUBTYPE, XR3PacketType::ANY_SUBSUBTYPE,
                                   m_imageNumber, XR3PacketType::ANY_MAJOR_VERSION,
                                   XR3PacketType::ANY_MINOR_VERSION);
    XR3HeaderPacket* header = nullptr;
    if (const QVStatus status = m_container.db_findSinglePacketOf(headerType, header))
        return status;
    if (header == nullptr)
        return xr3Fail(QVI_STS_Tavix_BadContext);
    m_header = header;
    m_info = header->getImageInfo();
    m_georef = XR3GeorefData();
    m_initialized = true;
    XR3MetadataReader* metadata = m_container.getMetadataReader();
    if (metadata == nullptr)
        return 0;
    bool found = false;
    return metadata->extractGeorefData(m_imageNumber, found, m_georef,
                                       XR3Type::toSDK(m_info.inputColorSpace));
}

QVStatus XR3ImageSource::getDimsAtLevel(int32_t scale, uint32_t& width, uint32_t& height) const
{
    QVIGeomRect support;
    if (const QVStatus status = m_info.getSupportAtScale(scale, false, true, support))
        return status;
    width = uint32_t(XR3RectOps::width(support));
    height = uint32_t(XR3RectOps::height(support));
    return 0;
}

QVStatus XR3ImageSource::projectToScale(const QVIGeomRect& rect, int32_t scale, QVIGeomRect& out) const
{
    return m_info.projectSupportToScale(scale, rect, false, out);
}

bool XR3ImageSource::isCropped() const
{
    return !m_info.hasDefaultCrop() && m_info.getCropRect() != m_info.getFullRect();
}

uint8_t XR3ImageSource::getVirtualNumLevels() const
{
    return uint8_t(int32_t(m_info.numLevels) - m_info.scale);
}

uint32_t XR3ImageSource::getVirtualWidth() const
{
    return uint32_t(int64_t(m_info.cropX1) - m_info.cropX0 + 1);
}

uint32_t XR3ImageSource::getVirtualHeight() const
{
    return uint32_t(int64_t(m_info.cropY1) - m_info.cropY0 + 1);
}

uint8_t XR3ImageSource::getNumLevels() const
{
    return isCroppedOrScaled() ? getVirtualNumLevels() : getOriginalNumLevels();
}

uint32_t XR3ImageSource::getWidth() const
{
    return isCroppedOrScaled() ? getVirtualWidth() : getOriginalWidth();
}

uint32_t XR3ImageSource::getHeight() const
{
    return isCroppedOrScaled() ? getVirtualHeight() : getOriginalHeight();
}

uint64_t XR3ImageSource::getNominalFileSize() const
{
    return uint64_t(getWidth()) * getHeight() * getNumBands() * getNumBytesPerSample();
}

QVStatus XR3ImageSource::setupGeoCoord(QVIGeoCoord& coord) const
{
    return m_georef.setupGeoCoord(getWidth(), getHeight(), coord);
}

}  // namespace Orvanetics
