#include "qvi_navigator.h"

#include <algorithm>
#include <cmath>

#include "qv_statusCodes.h"
#include "qvi_image.h"

namespace Orvanetics {

namespace {

// Intersections thinner than this count as empty.
constexpr double kMinClipExtent = 1e-8;

// Where bestFit starts halving.
constexpr double kBestFitStartMag = 256.0;

}  // namespace

QVINavigator::QVINavigator(const QVIImage& image)
    : QVIScene(0.0, 0.0, image.getWidth(), image.getHeight(), 1.0), m_image(&image)
{
}

QVINavigator::QVINavigator(const QVIImage& image, const QVIScene& scene)
    : QVIScene(scene), m_image(&image)
{
}

bool QVINavigator::isSceneValid() const
{
    if (m_x < 0.0 || m_y < 0.0 || m_mag < 0.0) return false;
    uint32_t width = 0;
    uint32_t height = 0;
    if (m_image->getDimsAtMag(m_mag, width, height) != 0) return false;
    if (m_x + m_width > width || m_y + m_height > height) return false;
    return m_mag <= m_image->getMaxMagnification() && m_mag >= m_image->getMinMagnification();
}

QVStatus QVINavigator::setSceneToIcon()
{
    const double mag = m_image->getMinMagnification();
    uint32_t width = 0;
    uint32_t height = 0;
    const QVStatus status = m_image->getDimsAtMag(mag, width, height);
    if (status != 0) return status;
    setSceneAsULWH(0.0, 0.0, width, height, mag);
    return 0;
}

QVStatus QVINavigator::setSceneToFull()
{
    setSceneAsULWH(0.0, 0.0, m_image->getWidth(), m_image->getHeight(), 1.0);
    return 0;
}

bool QVINavigator::clipToScene(const QVIScene& other)
{
    const double left = std::max(m_x, other.getUpperLeftX());
    const double top = std::max(m_y, other.getUpperLeftY());
    const double right = std::min(getLowerRightX(), other.getLowerRightX());
    const double bottom = std::min(getLowerRightY(), other.getLowerRightY());
    if (right < left || bottom < top) return false;
    if (right - left <= kMinClipExtent || bottom - top <= kMinClipExtent) return false;
    setSceneAsULWH(left, top, right - left, bottom - top, m_mag);
    return true;
}

bool QVINavigator::clipToImage()
{
    uint32_t width = 0;
    uint32_t height = 0;
    if (m_image->getDimsAtMag(m_mag, width, height) != 0) return false;
    return clipToScene(QVIScene(0.0, 0.0, width, height, m_mag));
}

QVStatus QVINavigator::setScene(const QVIScene& scene, Style style)
{
    static_cast<QVIScene&>(*this) = scene;
    switch (style) {
    case STYLE_FREE: return 0;
    case STYLE_STRICT: return isSceneValid() ? 0 : QVI_STS_Core_InvalidScene;
    case STYLE_CLIP: return clipToImage() ? 0 : QVI_STS_Core_InvalidScene;
    default: return QVI_STS_BadStyle;
    }
}

void QVINavigator::setSceneAsULWH(double x, double y, double width, double height, double mag)
{
    static_cast<QVIScene&>(*this) = QVIScene(x, y, width, height, mag);
}

void QVINavigator::setSceneAsULLR(double x0, double y0, double x1, double y1, double mag)
{
    setSceneAsULWH(x0, y0, x1 - x0 + 1.0, y1 - y0 + 1.0, mag);
}

void QVINavigator::setSceneAsCWH(double cx, double cy, double width, double height, double mag)
{
    setSceneAsULWH(cx - 0.5 * width, cy - 0.5 * height, width, height, mag);
}

QVStatus QVINavigator::setSceneAsGeoULWH(double x, double y, double width, double height, double mag)
{
    const QVIGeoCoord& geo = m_image->getGeoCoord();
    double col = 0.0;
    double row = 0.0;
    const QVStatus status = geo.geoToPixel(x, y, mag, col, row);
    if (status != 0) return status;
    setSceneAsULWH(col, row, std::fabs(width / geo.getXRes()) * mag,
                   std::fabs(height / geo.getYRes()) * mag, mag);
    return 0;
}

QVStatus QVINavigator::setSceneAsGeoULLR(double x0, double y0, double x1, double y1, double mag)
{
    const QVIGeoCoord& geo = m_image->getGeoCoord();
    double col0 = 0.0, row0 = 0.0, col1 = 0.0, row1 = 0.0;
    QVStatus status = geo.geoToPixel(x0, y0, mag, col0, row0);
    if (status == 0) status = geo.geoToPixel(x1, y1, mag, col1, row1);
    if (status != 0) return status;
    setSceneAsULLR(col0, row0, col1, row1, mag);
    return 0;
}

// Geographic Y grows upward: the upper edge lies half the height above the centre.
QVStatus QVINavigator::setSceneAsGeoCWH(double cx, double cy, double width, double height, double mag)
{
    return setSceneAsGeoULWH(cx - 0.5 * width, cy + 0.5 * height, width, height, mag);
}

QVStatus QVINavigator::moveBy(double dx, double dy, Style style)
{
    return setScene(QVIScene(m_x + dx, m_y + dy, m_width, m_height, m_mag), style);
}

QVStatus QVINavigator::moveTo(double x, double y, Style style)
{
    return setScene(QVIScene(x, y, m_width, m_height, m_mag), style);
}

QVStatus QVINavigator::zoomBy(double factor, Style style)
{
    return setScene(QVIScene(m_x, m_y, m_width, m_height, m_mag * factor), style);
}

QVStatus QVINavigator::zoomTo(double mag, Style style)
{
    return setScene(QVIScene(m_x, m_y, m_width, m_height, mag), style);
}

void QVINavigator::roundScene()
{
    const auto round = [](double v) { return std::floor(v + 0.5); };
    setSceneAsULWH(round(m_x), round(m_y), round(m_width), round(m_height), m_mag);
}

// A fit of exactly the requested width passes, one of exactly the requested
// height does not: the asymmetry is kept on purpose.
QVStatus QVINavigator::bestFit(uint32_t width, uint32_t height, QVIScene& scene) const
{
    double mag = std::min(kBestFitStartMag, m_image->getMaxMagnification());
    const double minMag = m_image->getMinMagnification();
    uint32_t fitWidth = 0;
    uint32_t fitHeight = 0;
    for (;;) {
        const QVStatus status = m_image->getDimsAtMag(mag, fitWidth, fitHeight);
        if (status != 0) return status;
        if (fitWidth <= width && fitHeight < height) break;
        mag *= 0.5;
        if (mag < minMag) return QVI_STS_Failure;
    }
    scene = QVIScene(0.0, 0.0, fitWidth, fitHeight, mag);
    return 0;
}

QVIGeoCoord QVINavigator::getGeoCoord() const
{
    return m_image->getGeoCoord().getGeoCoordForScene(*this);
}

}  // namespace Orvanetics
