// One image of a container as its header and georeference packets describe
// it: the image info, the georeference data, and the sizes of the image as
// readers show it (the virtual image of a cropped or scaled header).
#pragma once

#include <cstdint>

#include "qvi_geoCoord.h"
#include "xr3_container.h"
#include "xr3_georefData.h"
#include "xr3_headerPacket.h"

namespace Orvanetics {

class XR3ImageSource {
public:
    // The container outlives the source.
    XR3ImageSource(XR3Container& container, uint32_t imageNumber)
        : m_container(container), m_imageNumber(imageNumber) {}
    virtual ~XR3ImageSource() = default;
    XR3ImageSource(const XR3ImageSource&) = delete;
    XR3ImageSource& operator=(const XR3ImageSource&) = delete;

    // Loads the image's header packet and its georeference packet, if any.
    // 2010 for a second call or when the image has no header packet.
    virtual QVStatus initialize();

    uint32_t getImageNumber() const { return m_imageNumber; }
    const XR3ImageInfo& getImageInfo() const { return m_info; }
    // Null before initialize.
    const XR3HeaderPacket* getHeaderPacket() const { return m_header; }
    const XR3GeorefData& getGeoData() const { return m_georef; }

    // The size of the (virtual) image at `scale` octaves down (negative: up).
    QVStatus getDimsAtLevel(int32_t scale, uint32_t& width, uint32_t& height) const;
    // A rectangle of the virtual image at scale 0 to `scale`.
    QVStatus projectToScale(const QVIGeomRect& rect, int32_t scale, QVIGeomRect& out) const;

    bool isCropped() const;
    bool isScaled() const { return m_info.scale != 0; }
    uint8_t getOriginalNumLevels() const { return m_info.numLevels; }
    uint32_t getOriginalWidth() const { return m_info.width; }
    uint32_t getOriginalHeight() const { return m_info.height; }
    uint8_t getVirtualNumLevels() const;
    uint32_t getVirtualWidth() const;
    uint32_t getVirtualHeight() const;
    // The virtual values for a cropped or scaled image, the header's otherwise.
    uint8_t getNumLevels() const;
    uint32_t getWidth() const;
    uint32_t getHeight() const;
    // Width x height x bands x sample bytes.
    uint64_t getNominalFileSize() const;
    uint16_t getNumBands() const { return m_info.numBands; }
    uint32_t getNumBytesPerSample() const { return m_info.getDomainBytes(); }
    const QVIPixel* getBackgroundPixel() const { return m_georef.getBackgroundPixel(); }
    const QVIPixel* getNoDataPixel() const { return m_georef.getNoDataPixel(); }
    // The georeference packet's coordinates for the image's size; 1 without them.
    QVStatus setupGeoCoord(QVIGeoCoord& coord) const;

private:
    bool isCroppedOrScaled() const { return isCropped() || isScaled(); }

    XR3Container& m_container;
    bool m_initialized = false;
    uint32_t m_imageNumber;
    XR3ImageInfo m_info;
    const XR3HeaderPacket* m_header = nullptr;
    XR3GeorefData m_georef;
};

}  // namespace Orvanetics
