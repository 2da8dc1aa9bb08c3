#include "xr3_subblockLocator.h"

#include <algorithm>
#include <climits>

#include "qv_math.h"

namespace Orvanetics {

namespace XR3Projectors {

namespace {

bool rectWillOverflow(const QVIGeomRect& rect, int32_t scale) {
    return QVMath::willProjectionOverflow(rect.x0, scale) || QVMath::willProjectionOverflow(rect.y0, scale) ||
           QVMath::willProjectionOverflow(int64_t(rect.x1) + 1, scale) ||
           QVMath::willProjectionOverflow(int64_t(rect.y1) + 1, scale);
}

// The image of width by height at `scale`, as a rectangle at the origin.
QVStatus imageRectAtScale(uint32_t width, uint32_t height, int32_t scale, QVIGeomRect& out) {
    if (QVMath::willProjectionOverflow(width, scale) || QVMath::willProjectionOverflow(height, scale))
        return xr3Fail(QVI_STS_Tavix_IntegerOverflow);
    out = QVIGeomRect(0, 0, int32_t(QVMath::projectImageDimension(width, scale) - 1),
                      int32_t(QVMath::projectImageDimension(height, scale) - 1));
    return 0;
}

}  // namespace

QVStatus projectImageDims(uint32_t dim, int32_t scale, uint32_t& out) {
    if (QVMath::willProjectionOverflow(dim, scale)) return xr3Fail(QVI_STS_Tavix_IntegerOverflow);
    out = uint32_t(QVMath::projectImageDimension(dim, scale));
    return 0;
}

QVStatus projectRect(const QVIGeomRect& rect, int32_t scale, QVIGeomRect& out) {
    if (scale == 0) {
        out = rect;
        return 0;
    }
    if (rectWillOverflow(rect, scale)) return xr3Fail(QVI_STS_Tavix_IntegerOverflow);
    const int64_t x0 = QVMath::projectImagePoint(rect.x0, scale);
    const int64_t y0 = QVMath::projectImagePoint(rect.y0, scale);
    out = QVIGeomRect(int32_t(x0), int32_t(y0),
                      int32_t(x0 + QVMath::projectImageDimension(XR3RectOps::width(rect), scale) - 1),
                      int32_t(y0 + QVMath::projectImageDimension(XR3RectOps::height(rect), scale) - 1));
    return 0;
}

QVStatus projectVirtualSupportNew(const QVIGeomRect& rect, int32_t scale, const QVIGeomRect& outer,
                                  QVIGeomRect& out) {
    QVIGeomRect projected;
    if (QVStatus st = projectRect(rect, scale, projected)) return st;
    out = XR3RectOps::intersection(projected, outer);
    return 0;
}

QVStatus projectSupportForDecode(const QVIGeomRect& rect, int32_t scale, const XR3ImageInfo& info, bool clip,
                                 QVIGeomRect& out) {
    uint32_t width = info.width;
    uint32_t height = info.height;
    int32_t s = scale;
    if (info.isCroppedOrScaled) {
        QVIGeomRect virt;
        if (QVStatus st = projectVirtualSupportNew(info.getCropRect(), -info.scale, info.getFullRect(), virt))
            return st;
        width = uint32_t(std::max<int64_t>(XR3RectOps::width(virt), 0));
        height = uint32_t(std::max<int64_t>(XR3RectOps::height(virt), 0));
        s += info.scale;
    }
    QVIGeomRect image;
    if (QVStatus st = imageRectAtScale(width, height, s, image)) return st;
    if (QVStatus st = projectRect(rect, s, out)) return st;
    if (clip) {
        out = XR3RectOps::intersection(out, image);
    } else if (out.isEmpty() || !XR3RectOps::contains(image, out)) {
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    }
    return 0;
}

QVStatus clipAtScale(uint32_t width, uint32_t height, QVIGeomRect& rect, int32_t scale) {
    QVIGeomRect image;
    if (QVStatus st = imageRectAtScale(width, height, scale, image)) return st;
    rect = XR3RectOps::intersection(rect, image);
    return 0;
}

bool isValidSupport(uint32_t width, uint32_t height, const QVIGeomRect& rect, int32_t scale) {
    QVIGeomRect clipped = rect;
    return !rect.isEmpty() && clipAtScale(width, height, clipped, scale) == 0 && clipped == rect;
}

void clampToZero(QVIGeomRect& rect) {
    rect.x0 = std::max(rect.x0, 0);
    rect.y0 = std::max(rect.y0, 0);
    rect.x1 = std::max(rect.x1, 0);
    rect.y1 = std::max(rect.y1, 0);
}

}  // namespace XR3Projectors

namespace {

bool isOverflowBand(uint32_t subband) { return subband != 0 && (subband - 1) % 4 == 0; }

QVIGeomRect makeRect(int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
    return QVIGeomRect(int32_t(x0), int32_t(y0), int32_t(x1), int32_t(y1));
}

}  // namespace

uint32_t XR3SubblockLocator::subbandLevel(uint32_t subband, uint32_t numLevels, bool& high_x, bool& high_y) {
    const uint32_t position = subband == 0 ? 0 : (subband - 1) % 4 + 1;
    high_x = position == 2 || position == 4;
    high_y = position == 3 || position == 4;
    return subband == 0 ? numLevels : numLevels - (subband + 3) / 4 + 1;
}

void XR3SubblockLocator::relevantCoefs1(int32_t level, int32_t high, int64_t size, int64_t lo, int64_t hi,
                                        int64_t& first, int64_t& last) {
    if (level == 0) {
        first = lo;
        last = hi;
        return;
    }
    first = std::max((lo >> level) - high, int64_t(0));
    // A high band starts half a step of its level in: it holds the
    // projection of the image less that offset.
    const int64_t bandSize = ((size - (int64_t(high) << (level - 1))) + (int64_t(1) << level) - 1) >> level;
    last = hi == 0 ? 0 : std::min(((hi - 1) >> level) + 1, bandSize);
}

void XR3SubblockLocator::lowBandSupport(int64_t a, int64_t b, int64_t size, int64_t& first, int64_t& last) {
    first = (std::max<int64_t>(a, 0) & ~int64_t(1)) / 2;
    last = std::min(b + (b & 1) + 1, size - 1) / 2;
}

void XR3SubblockLocator::highBandSupport(int64_t a, int64_t b, int64_t size, int64_t& first, int64_t& last) {
    first = std::max<int64_t>(a - ((a & 1) + 1), 0) / 2;
    last = std::min(b + (b & 1) + 1, size - 2) / 2;
}

XR3LevelSupport XR3SubblockLocator::doLevelSupport(const QVIGeomRect& rect, uint32_t w, uint32_t h) {
    int64_t lx0, lx1, hx0, hx1, ly0, ly1, hy0, hy1;
    lowBandSupport(rect.x0, rect.x1, w, lx0, lx1);
    highBandSupport(rect.x0, rect.x1, w, hx0, hx1);
    lowBandSupport(rect.y0, rect.y1, h, ly0, ly1);
    highBandSupport(rect.y0, rect.y1, h, hy0, hy1);
    XR3LevelSupport support;
    support.lowLow = makeRect(lx0, ly0, lx1, ly1);
    support.hl = makeRect(hx0, ly0, hx1, ly1);
    support.lh = makeRect(lx0, hy0, lx1, hy1);
    support.hh = makeRect(hx0, hy0, hx1, hy1);
    return support;
}

bool XR3SubblockLocator::isSubbandUsedToDecode(uint32_t subband) const {
    const uint32_t numLevels = m_info->numLevels;
    const uint32_t depth = numLevels - (subband + 3) / 4 + (isOverflowBand(subband) ? 1 : 0);
    return m_startScale <= depth && (m_endScale == numLevels || depth < m_endScale);
}

QVStatus XR3SubblockRectLocator::setScene(const QVIGeomRect& rect, uint32_t startScale, uint32_t endScale) {
    const XR3ImageInfo& info = *m_info;
    if (rect.x0 < 0 || rect.y0 < 0 || rect.isEmpty() || startScale > endScale)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    QVIGeomRect virt;
    if (QVStatus st = info.getSupportAtScale(int32_t(startScale), true, true, virt)) return st;
    const QVIGeomRect scene = makeRect(int64_t(rect.x0) + virt.x0, int64_t(rect.y0) + virt.y0,
                                       int64_t(rect.x1) + virt.x0, int64_t(rect.y1) + virt.y0);
    if (int64_t(rect.x1) + virt.x0 > INT32_MAX || int64_t(rect.y1) + virt.y0 > INT32_MAX ||
        !XR3RectOps::contains(virt, scene))
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    const int64_t start = int64_t(startScale) + info.scale;
    const int64_t end = int64_t(endScale) + info.scale;
    if (start < 0 || end > info.numLevels) return xr3Fail(QVI_STS_Tavix_BadArgument);

    m_scene = scene;
    m_startScale = uint8_t(start);
    m_endScale = uint8_t(end);
    m_rects.resize(info.numSubbands);
    for (uint32_t s = 0; s < info.numSubbands; ++s) m_rects[s] = info.getSubbandRect(s);

    uint32_t w = info.width;
    uint32_t h = info.height;
    for (int64_t d = 0; d < start; ++d) {
        w = uint32_t((uint64_t(w) + 1) >> 1);
        h = uint32_t((uint64_t(h) + 1) >> 1);
    }
    const uint32_t numLevels = info.numLevels;
    // The overflow band that is added at the scene's own scale reads the scene itself.
    if (start >= 1) m_rects[4 * (numLevels - start + 1) - 3] = scene;
    QVIGeomRect current = scene;
    for (int64_t d = start; d < end; ++d) {
        const uint32_t k = uint32_t(numLevels - d);
        const XR3LevelSupport support = doLevelSupport(current, w, h);
        m_rects[4 * k - 2] = support.hl;
        m_rects[4 * k - 1] = support.lh;
        m_rects[4 * k] = support.hh;
        m_rects[4 * k - 3] = support.lowLow;
        current = support.lowLow;
        w = uint32_t((uint64_t(w) + 1) >> 1);
        h = uint32_t((uint64_t(h) + 1) >> 1);
    }
    if (end == numLevels) m_rects[0] = current;
    return 0;
}

bool XR3SubblockRectLocator::subblockSupportsScene(uint32_t subband, uint32_t subblock) const {
    return isSubbandUsedToDecode(subband) &&
           XR3RectOps::intersects(m_info->getSubblockSupport(subband, subblock), m_rects[subband]);
}

bool XR3SubblockRectLocator::subblockPartiallySupportsScene(uint32_t subband, uint32_t subblock) const {
    const QVIGeomRect block = m_info->getSubblockSupport(subband, subblock);
    return isSubbandUsedToDecode(subband) && XR3RectOps::intersects(block, m_rects[subband]) &&
           !XR3RectOps::contains(m_rects[subband], block);
}

QVIGeomRect XR3SubblockRectLocator::readArea(const XR3PlaneDesc& desc, uint32_t& w, uint32_t& h) const {
    uint32_t row, col;
    m_info->getSubblockInfo(desc.subband, desc.subblock, row, col, w, h);
    if (!isSubbandUsedToDecode(desc.subband)) return QVIGeomRect();
    const QVIGeomRect block = m_info->getSubblockSupport(desc.subband, desc.subblock);
    const QVIGeomRect area = XR3RectOps::intersection(block, m_rects[desc.subband]);
    if (area.isEmpty()) return area;
    return QVIGeomRect(area.x0 - block.x0, area.y0 - block.y0, area.x1 - block.x0, area.y1 - block.y0);
}

double XR3SubblockRectLocator::subblockLocalWeight(const XR3PlaneDesc& desc) const {
    uint32_t w, h;
    const QVIGeomRect area = readArea(desc, w, h);
    if (area.isEmpty()) return 0.0;
    return double(XR3RectOps::width(area) * XR3RectOps::height(area)) / (double(w) * double(h));
}

void XR3SubblockRectLocator::subblockZeroCoef(const XR3PlaneDesc& desc, int32_t* const* coefs,
                                              uint16_t numBands) const {
    forEachReadSpan(desc, numBands,
                    [&](uint16_t band, size_t first, size_t count) { std::fill_n(coefs[band] + first, count, 0); });
}

void XR3SubblockRectLocator::subblockMergeCoef(const XR3PlaneDesc& desc, int32_t* const* coefs,
                                               const int32_t* const* source, uint16_t numBands) const {
    forEachReadSpan(desc, numBands, [&](uint16_t band, size_t first, size_t count) {
        std::copy_n(source[band] + first, count, coefs[band] + first);
    });
}

}  // namespace Orvanetics
