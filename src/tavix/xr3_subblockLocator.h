// Arithmetic between an image rectangle at a scale and the subbands and
// subblocks that hold its coefficients: projections between scales, and the
// support rule that says which coefficients the synthesis of a rectangle reads.
#pragma once

#include <cstdint>
#include <vector>

#include "xr3_imageInfo.h"
#include "xr3_planeData.h"

namespace Orvanetics {

// Projections of rectangles between scales (see QVMath for points and
// sizes). A scale counts octaves of reduction: positive shrinks, negative magnifies.
namespace XR3Projectors {
QVStatus projectImageDims(uint32_t dim, int32_t scale, uint32_t& out);
// Corner through projectImagePoint, size through projectImageDimension; 2020 on overflow.
QVStatus projectRect(const QVIGeomRect& rect, int32_t scale, QVIGeomRect& out);
// `rect` projected to `scale` and clipped to `outer`; 2020 on overflow.
QVStatus projectVirtualSupportNew(const QVIGeomRect& rect, int32_t scale, const QVIGeomRect& outer,
                                  QVIGeomRect& out);
// `rect` at `scale` of the (virtual) image, projected for the decoder; with
// `clip` the result is clipped to the image at that scale, without it a
// rectangle that sticks out is 2009.
QVStatus projectSupportForDecode(const QVIGeomRect& rect, int32_t scale, const XR3ImageInfo& info, bool clip,
                                 QVIGeomRect& out);
// Clips to 0 and to the size of a width by height image at `scale`.
QVStatus clipAtScale(uint32_t width, uint32_t height, QVIGeomRect& rect, int32_t scale);
bool isValidSupport(uint32_t width, uint32_t height, const QVIGeomRect& rect, int32_t scale);
void clampToZero(QVIGeomRect& rect);
}  // namespace XR3Projectors

// The coefficients of the four subbands of one level that the synthesis of a
// rectangle of that level's output reads.
struct XR3LevelSupport {
    QVIGeomRect lowLow;  // the input of the next coarser level (and the overflow band)
    QVIGeomRect hl;
    QVIGeomRect lh;
    QVIGeomRect hh;
};

class XR3SubblockLocator {
public:
    explicit XR3SubblockLocator(const XR3ImageInfo& info) : m_info(&info) {}
    virtual ~XR3SubblockLocator() = default;

    // Whether decoding the scene reads this subblock.
    virtual bool subblockSupportsScene(uint32_t subband, uint32_t subblock) const = 0;
    // Whether the subblock meets the scene's support without lying wholly inside it.
    virtual bool subblockPartiallySupportsScene(uint32_t subband, uint32_t subblock) const = 0;

    // Encoder-side editing of a subblock's coefficients. `coefs` holds one
    // pointer per band to the subblock's w by h coefficients, rows w apart
    // (the layout XR3SubblockData::decode gives with stride w, offset 0).
    // Share of the subblock's coefficients that the scene reads, 0 to 1.
    virtual double subblockLocalWeight(const XR3PlaneDesc& desc) const = 0;
    // Sets to 0, in every band, the coefficients that the scene reads.
    virtual void subblockZeroCoef(const XR3PlaneDesc& desc, int32_t* const* coefs, uint16_t numBands) const = 0;
    // Takes the coefficients that the scene reads from `source` into `coefs`,
    // in every band; the others stay.
    virtual void subblockMergeCoef(const XR3PlaneDesc& desc, int32_t* const* coefs, const int32_t* const* source,
                                   uint16_t numBands) const = 0;

    bool subblockSupportsScene(const XR3PlaneDesc& desc) const {
        return subblockSupportsScene(desc.subband, desc.subblock);
    }
    bool subblockPartiallySupportsScene(const XR3PlaneDesc& desc) const {
        return subblockPartiallySupportsScene(desc.subband, desc.subblock);
    }

    bool isSubbandUsedToDecode(uint32_t subband) const;

    // Halvings from the full image to `subband`, and its filter directions.
    static uint32_t subbandLevel(uint32_t subband, uint32_t numLevels, bool& high_x, bool& high_y);
    // Narrows one axis of a band `level` halvings below the full image to a
    // crop [lo, hi) of that image: [first, last) are the band's coefficients
    // that a cropped file keeps. `size` is the full image's extent on that
    // axis, so the band ends where the image's last sample lands in it. The
    // right end is the crop's own projection, without the filter's reach:
    // a crop that stops inside the image decodes inexactly at that edge.
    static void relevantCoefs1(int32_t level, int32_t high, int64_t size, int64_t lo, int64_t hi, int64_t& first,
                               int64_t& last);
    // One axis of the support rule: the low and the high band of a level of `size`.
    static void lowBandSupport(int64_t a, int64_t b, int64_t size, int64_t& first, int64_t& last);
    static void highBandSupport(int64_t a, int64_t b, int64_t size, int64_t& first, int64_t& last);
    // The support rule for a level of size w by h.
    static XR3LevelSupport doLevelSupport(const QVIGeomRect& rect, uint32_t w, uint32_t h);

    const QVIGeomRect& getScene() const { return m_scene; }
    uint8_t getStartScale() const { return m_startScale; }
    uint8_t getEndScale() const { return m_endScale; }

protected:
    const XR3ImageInfo* m_info;
    QVIGeomRect m_scene;
    uint8_t m_startScale = 0;
    uint8_t m_endScale = 0;
};

class XR3SubblockRectLocator : public XR3SubblockLocator {
public:
    using XR3SubblockLocator::XR3SubblockLocator;

    // `rect` in the virtual image at `startScale`; the support is followed
    // down to `endScale`. 2009 for a rectangle outside the image or a scale
    // beyond the levels.
    QVStatus setScene(const QVIGeomRect& rect, uint32_t startScale, uint32_t endScale);

    using XR3SubblockLocator::subblockPartiallySupportsScene;
    using XR3SubblockLocator::subblockSupportsScene;
    bool subblockSupportsScene(uint32_t subband, uint32_t subblock) const override;
    bool subblockPartiallySupportsScene(uint32_t subband, uint32_t subblock) const override;

    double subblockLocalWeight(const XR3PlaneDesc& desc) const override;
    void subblockZeroCoef(const XR3PlaneDesc& desc, int32_t* const* coefs, uint16_t numBands) const override;
    void subblockMergeCoef(const XR3PlaneDesc& desc, int32_t* const* coefs, const int32_t* const* source,
                           uint16_t numBands) const override;

    // The rectangle of `subband` that the scene reads, in subband coordinates.
    const QVIGeomRect& getSubbandRect(uint32_t subband) const { return m_rects[subband]; }

private:
    // The part of the subblock that the scene reads, in subblock
    // coordinates (empty for a subband the scene does not use), and the
    // subblock's width and height.
    QVIGeomRect readArea(const XR3PlaneDesc& desc, uint32_t& w, uint32_t& h) const;
    // Calls visit(band, first, count) for each row of the read area in each
    // band, `first` being the index of the row's first coefficient there.
    template <class Visit>
    void forEachReadSpan(const XR3PlaneDesc& desc, uint16_t numBands, Visit visit) const {
        uint32_t w, h;
        const QVIGeomRect area = readArea(desc, w, h);
        if (area.isEmpty()) return;
        const size_t count = size_t(XR3RectOps::width(area));
        for (uint16_t band = 0; band < numBands; ++band)
            for (int32_t y = area.y0; y <= area.y1; ++y) visit(band, size_t(y) * w + size_t(area.x0), count);
    }

    std::vector<QVIGeomRect> m_rects;
};

}  // namespace Orvanetics
