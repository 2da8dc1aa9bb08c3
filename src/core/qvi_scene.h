// A rectangle of the image's pixel grid at a magnification. All four geometry
// values are in pixels of the image as it is at that magnification and may be
// fractional; integer columns and rows come from floor(v + 0.5).
#pragma once

#include <cstdint>

#include "qvi_geomRect.h"

namespace Orvanetics {

class QVIScene {
public:
    // The absent scene: all zero, magnification -1.0.
    QVIScene() : m_x(0.0), m_y(0.0), m_width(0.0), m_height(0.0), m_mag(-1.0) {}
    QVIScene(double x, double y, double width, double height, double mag)
        : m_x(x), m_y(y), m_width(width), m_height(height), m_mag(mag) {}
    // x0, y0, x1 - x0 + 1, y1 - y0 + 1.
    QVIScene(const QVIGeomRect& rect, double mag);

    double getMag() const { return m_mag; }
    double getUpperLeftX() const { return m_x; }
    double getUpperLeftY() const { return m_y; }
    double getX() const { return m_x; }
    double getY() const { return m_y; }
    // The right and lower double edges lie one past the last pixel.
    double getUpperRightX() const { return m_x + m_width; }
    double getUpperRightY() const { return m_y; }
    double getLowerLeftX() const { return m_x; }
    double getLowerLeftY() const { return m_y + m_height; }
    double getLowerRightX() const { return m_x + m_width; }
    double getLowerRightY() const { return m_y + m_height; }
    double getCenterX() const { return m_x + 0.5 * m_width; }
    double getCenterY() const { return m_y + 0.5 * m_height; }
    double getWidth() const { return m_width; }
    double getHeight() const { return m_height; }

    int32_t getUpperLeftCol() const;
    int32_t getUpperLeftRow() const;
    // The integer right and lower corners are the last pixel.
    int32_t getUpperRightCol() const { return getLowerRightCol(); }
    int32_t getUpperRightRow() const { return getUpperLeftRow(); }
    int32_t getLowerLeftCol() const { return getUpperLeftCol(); }
    int32_t getLowerLeftRow() const { return getLowerRightRow(); }
    int32_t getLowerRightCol() const { return getUpperLeftCol() + getNumCols() - 1; }
    int32_t getLowerRightRow() const { return getUpperLeftRow() + getNumRows() - 1; }
    int32_t getCenterCol() const;
    int32_t getCenterRow() const;
    // Depend on the fractional position, not on the width or height alone.
    int32_t getNumCols() const;
    int32_t getNumRows() const;
    QVIGeomRect getRect() const;

    // Upper-left and lower-right corners.
    void getPoints(double& ulx, double& uly, double& lrx, double& lry) const;
    void getPoints(int32_t& ulCol, int32_t& ulRow, int32_t& lrCol, int32_t& lrRow) const;
    // The nine reference points, element QVIPosition - 1 for each position.
    void getPoints(double xs[9], double ys[9]) const;
    void getPoints(int32_t cols[9], int32_t rows[9]) const;

    // The part inside (0, 0, width, height); size floored at 0; same magnification.
    QVIScene clip(double width, double height) const;

    // Exact on all five values.
    bool operator==(const QVIScene& other) const;
    bool operator!=(const QVIScene& other) const { return !(*this == other); }

protected:
    double m_x;
    double m_y;
    double m_width;
    double m_height;
    double m_mag;
};

}  // namespace Orvanetics
