// The six-value affine georeference of an image, with an optional WKT text of
// its coordinate system. X and Y are the ground position of the centre of the
// upper-left pixel; Y resolution is negative for a north-up image.
#pragma once

#include <memory>

#include "qv_fileSpec.h"
#include "qv_utilStatusData.h"

namespace Orvanetics {

class QVIOStreamInf;
class QVIScene;
class QVIMetadataDatabase;

class QVIGeoCoord {
public:
    // X 0, Y 0, X resolution 1.0, Y resolution -1.0, no rotation, no WKT.
    QVIGeoCoord();
    // A null WKT means none. Out of memory throws QVUtilException(8).
    QVIGeoCoord(double x, double y, double xRes, double yRes, double xRot, double yRot,
                const char* wkt = nullptr);
    QVIGeoCoord(const QVIGeoCoord& other);
    QVIGeoCoord& operator=(const QVIGeoCoord& other);
    QVIGeoCoord(QVIGeoCoord&& other) noexcept = default;
    QVIGeoCoord& operator=(QVIGeoCoord&& other) noexcept = default;
    ~QVIGeoCoord();

    double getX() const { return m_x; }
    double getY() const { return m_y; }
    double getXRes() const { return m_xRes; }
    double getYRes() const { return m_yRes; }
    double getXRot() const { return m_xRot; }
    double getYRot() const { return m_yRot; }
    // Null when there is none; owned by this object.
    const char* getWKT() const { return m_wkt.get(); }
    void get(double& x, double& y, double& xRes, double& yRes, double& xRot, double& yRot) const;

    void setX(double x) { m_x = x; }
    void setY(double y) { m_y = y; }
    void setXRes(double xRes) { m_xRes = xRes; }
    void setYRes(double yRes) { m_yRes = yRes; }
    void setXRot(double xRot) { m_xRot = xRot; }
    void setYRot(double yRot) { m_yRot = yRot; }
    void set(double x, double y, double xRes, double yRes, double xRot, double yRot);
    // Copies the text; null clears it. Out of memory throws QVUtilException(8).
    void setWKT(const char* wkt);

    // Pixel (col, row) of the image at `mag` to ground, and back. geoToPixel
    // answers 1 for a singular transform.
    QVStatus pixelToGeo(double col, double row, double mag, double& x, double& y) const;
    QVStatus geoToPixel(double x, double y, double mag, double& col, double& row) const;

    // The same ground at pixels scaled by (sx, sy), origin kept at a pixel centre.
    QVIGeoCoord scaleGeoCoord(double sx, double sy) const;
    // The georeference of the scene's own pixel grid.
    QVIGeoCoord getGeoCoordForScene(const QVIScene& scene) const;
    // Rotated, or mirrored in either axis.
    bool hasRotation() const;

    // Six numbers as text: XRes, YRot, XRot, YRes, X, Y. The WKT is left alone.
    QVStatus readWorldFile(QVIOStreamInf& stream);
    // With `replaceSuffix` the world file's name is made from the image's
    // (getWorldFileExtension). A missing file is not an error: `found` false.
    QVStatus readWorldFile(const QVFileSpec& fileSpec, bool replaceSuffix, bool& found);
    QVStatus writeWorldFile(const QVFileSpec& fileSpec, bool replaceSuffix) const;
    // The three-letter world-file suffix of `fileSpec` into a buffer of 4 bytes:
    // "tif" gives "tfw", "TIF" "TFW". 50010 without suffix or buffer.
    static QVStatus getWorldFileExtension(const QVFileSpec& fileSpec, char* suffix);

    // Through the metadata's typed accessors: `found` false if the database has
    // no georeference.
    QVStatus writeMetadata(QVIMetadataDatabase& database) const;
    QVStatus readMetadata(const QVIMetadataDatabase& database, bool& found);

    // X, Y within 5e-11 relative (or 1e-6 absolute); the others within 1e-6
    // relative, exact when either is zero; WKT texts equal.
    bool operator==(const QVIGeoCoord& other) const;
    bool operator!=(const QVIGeoCoord& other) const { return !(*this == other); }

private:
    QVStatus parseWorldFile(const char* text);

    double m_x;
    double m_y;
    double m_xRes;
    double m_yRes;
    double m_xRot;
    double m_yRot;
    std::unique_ptr<char[]> m_wkt;
};

}  // namespace Orvanetics
