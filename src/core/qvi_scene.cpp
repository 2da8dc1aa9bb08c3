#include "qvi_scene.h"

#include <algorithm>
#include <cmath>

#include "qv_math.h"

namespace Orvanetics {

namespace {

// The column or row that holds the coordinate: pixel i covers [i - 0.5, i + 0.5).
double indexOf(double coordinate) { return std::floor(coordinate + 0.5); }

int32_t toInt32(double value) { return QVMath::saturateToInt32(value); }

// Position - 1 -> (horizontal, vertical) place: 0 left/upper, 1 centre, 2 right/lower.
constexpr int kPlaceOfPosition[9][2] = {{0, 0}, {1, 0}, {2, 0}, {0, 2}, {1, 2},
                                        {2, 2}, {0, 1}, {1, 1}, {2, 1}};

template <typename T>
void fillNinePoints(const T (&xs)[3], const T (&ys)[3], T* outXs, T* outYs)
{
    for (int i = 0; i < 9; ++i) {
        outXs[i] = xs[kPlaceOfPosition[i][0]];
        outYs[i] = ys[kPlaceOfPosition[i][1]];
    }
}

}  // namespace

QVIScene::QVIScene(const QVIGeomRect& rect, double mag)
    : m_x(rect.x0),
      m_y(rect.y0),
      m_width(static_cast<double>(rect.x1) - rect.x0 + 1.0),
      m_height(static_cast<double>(rect.y1) - rect.y0 + 1.0),
      m_mag(mag)
{
}

int32_t QVIScene::getUpperLeftCol() const { return toInt32(indexOf(m_x)); }

int32_t QVIScene::getUpperLeftRow() const { return toInt32(indexOf(m_y)); }

int32_t QVIScene::getNumCols() const { return toInt32(indexOf(m_x + m_width) - indexOf(m_x)); }

int32_t QVIScene::getNumRows() const { return toInt32(indexOf(m_y + m_height) - indexOf(m_y)); }

int32_t QVIScene::getCenterCol() const
{
    return getUpperLeftCol() + toInt32(indexOf(0.5 * m_width + m_x) - indexOf(m_x)) - 1;
}

int32_t QVIScene::getCenterRow() const
{
    return getUpperLeftRow() + toInt32(indexOf(0.5 * m_height + m_y) - indexOf(m_y)) - 1;
}

QVIGeomRect QVIScene::getRect() const
{
    return QVIGeomRect(getUpperLeftCol(), getUpperLeftRow(), getLowerRightCol(), getLowerRightRow());
}

void QVIScene::getPoints(double& ulx, double& uly, double& lrx, double& lry) const
{
    ulx = getUpperLeftX();
    uly = getUpperLeftY();
    lrx = getLowerRightX();
    lry = getLowerRightY();
}

void QVIScene::getPoints(int32_t& ulCol, int32_t& ulRow, int32_t& lrCol, int32_t& lrRow) const
{
    ulCol = getUpperLeftCol();
    ulRow = getUpperLeftRow();
    lrCol = getLowerRightCol();
    lrRow = getLowerRightRow();
}

void QVIScene::getPoints(double xs[9], double ys[9]) const
{
    const double placesX[3] = {getUpperLeftX(), getCenterX(), getLowerRightX()};
    const double placesY[3] = {getUpperLeftY(), getCenterY(), getLowerRightY()};
    fillNinePoints(placesX, placesY, xs, ys);
}

void QVIScene::getPoints(int32_t cols[9], int32_t rows[9]) const
{
    const int32_t placesX[3] = {getUpperLeftCol(), getCenterCol(), getLowerRightCol()};
    const int32_t placesY[3] = {getUpperLeftRow(), getCenterRow(), getLowerRightRow()};
    fillNinePoints(placesX, placesY, cols, rows);
}

QVIScene QVIScene::clip(double width, double height) const
{
    const double left = std::max(0.0, m_x);
    const double top = std::max(0.0, m_y);
    const double right = std::min(width, m_x + m_width);
    const double bottom = std::min(height, m_y + m_height);
    return QVIScene(left, top, std::max(0.0, right - left), std::max(0.0, bottom - top), m_mag);
}

bool QVIScene::operator==(const QVIScene& other) const
{
    return m_x == other.m_x && m_y == other.m_y && m_width == other.m_width &&
           m_height == other.m_height && m_mag == other.m_mag;
}

}  // namespace Orvanetics
