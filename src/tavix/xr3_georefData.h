// The fixed georeference of a wavelet image and its background and no-data
// pixels, as one metadata packet of the georeference kind stores them.
#pragma once

#include <cstdint>
#include <memory>

#include "qv_ioStreamReader.h"
#include "qvi_geoCoord.h"
#include "qvi_pixel.h"

namespace Orvanetics {

class XR3GeorefData {
public:
    XR3GeorefData() = default;
    XR3GeorefData(const XR3GeorefData& other);
    XR3GeorefData& operator=(const XR3GeorefData& other);
    XR3GeorefData(XR3GeorefData&&) noexcept = default;
    XR3GeorefData& operator=(XR3GeorefData&&) noexcept = default;
    ~XR3GeorefData() = default;

    bool hasGeoData() const { return m_hasGeoData; }
    double getXUL() const { return m_xUL; }
    double getYUL() const { return m_yUL; }
    double getXLR() const { return m_xLR; }
    double getYLR() const { return m_yLR; }
    double getXRes() const { return m_xRes; }
    double getYRes() const { return m_yRes; }
    // Centres of the upper-left and lower-right pixels, and the pixel size.
    void setGeoData(double xUL, double yUL, double xLR, double yLR, double xRes, double yRes);
    void clearGeoData() { m_hasGeoData = false; }
    // Moves both corners by (dx, dy).
    void shiftGeoData(double dx, double dy);

    bool hasZNumber() const { return m_hasZNumber; }
    uint32_t getZNumber() const { return m_zNumber; }
    void setZNumber(uint32_t zNumber);
    void clearZNumber() { m_hasZNumber = false; }

    // Null when there is none.
    const QVIPixel* getBackgroundPixel() const { return m_backgroundPixel.get(); }
    const QVIPixel* getNoDataPixel() const { return m_noDataPixel.get(); }
    // Copies the pixel; null removes it.
    void setBackgroundPixel(const QVIPixel* pixel);
    void setNoDataPixel(const QVIPixel* pixel);

    // The georeference of a width by height image: north-up when the corners
    // and the resolution agree within 1/16 pixel (and at least 2^-48
    // relatively), else with the rotation that makes them agree. 1 without geo data.
    QVStatus setupGeoCoord(uint32_t width, uint32_t height, QVIGeoCoord& coord) const;
    // Applies the affine (x, y) -> (m0 x + m1 y + m2, m3 x + m4 y + m5) to both
    // corners, and scales the resolutions by m0 and m4.
    void transformBounds(const double matrix[6]);

    // The bytes of the metadata packet; the pixels get `colorSpace`.
    // 2001 short read, 2005 flags above 15 or a pixel type other than 5 to 8,
    // 2012 out of memory.
    QVStatus read(QVIOStreamReader<true>& reader, QVIColorSpace colorSpace = QVI_COLORSPACE_MULTISPECTRAL);
    // 2002 short write, 2005 a pixel of a type the file cannot hold.
    QVStatus write(QVIOStreamWriter<true>& writer) const;

private:
    static QVStatus readPixel(QVIOStreamReader<true>& reader, QVIColorSpace colorSpace,
                              std::unique_ptr<QVIPixel>& pixel);
    static QVStatus writePixel(QVIOStreamWriter<true>& writer, const QVIPixel& pixel);

    bool m_hasGeoData = false;
    double m_xUL = 0.0;
    double m_yUL = 0.0;
    double m_xLR = 0.0;
    double m_yLR = 0.0;
    double m_xRes = 0.0;
    double m_yRes = 0.0;
    std::unique_ptr<QVIPixel> m_backgroundPixel;
    std::unique_ptr<QVIPixel> m_noDataPixel;
    bool m_hasZNumber = false;
    uint32_t m_zNumber = 0;
};

}  // namespace Orvanetics
