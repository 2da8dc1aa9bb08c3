// One subblock of one subband, in all bands: its plane strings and the
// entropy coder that turns them into signed 32-bit coefficients and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "xr3_planeData.h"

namespace Orvanetics {

class XR3ImageInfo;

// The encoder's distortion model. `values` holds kSize entries in units of
// the square of a plane's bit: entry `m` for a coefficient that is not yet
// significant, 64 + m for one that is, where `m` is the coefficient's bit of
// the plane and the five bits below it. `subbandWeight` is the energy gain of
// the subband through the synthesis.
struct XR3MSELut {
    static constexpr unsigned kSize = 128;
    const float* values = defaultValues();
    float subbandWeight = 1.0f;

    // Gains of reconstructing at the middle of what is known, before and
    // after the plane.
    static const float* defaultValues();
};

class XR3SubblockData {
public:
    uint8_t subband = 0;
    uint32_t subblock = 0;
    uint16_t numBands = 0;
    uint16_t width = 0;
    uint16_t height = 0;
    // Coefficient area, inclusive, in subblock coordinates; empty until init.
    int32_t x0 = 0;
    int32_t x1 = -1;
    int32_t y0 = 0;
    int32_t y1 = -1;

    XR3SubblockData() = default;
    XR3SubblockData(const XR3SubblockData&) = delete;
    XR3SubblockData& operator=(const XR3SubblockData&) = delete;

    // Geometry from the image, the coefficient area narrowed to what a
    // cropped image still holds, and numBands * 32 empty planes. 2012 when
    // the planes can't be allocated.
    QVStatus init(const XR3ImageInfo& info, uint8_t subband, uint32_t subblock, uint16_t numBands);
    // The same for a subblock whose size is known; the area is the whole subblock.
    QVStatus initSize(uint8_t subband, uint32_t subblock, uint16_t numBands, uint16_t width, uint16_t height);
    // Narrows the coefficient area (inclusive bounds, clipped to the subblock).
    void setCoefficientArea(int32_t areaX0, int32_t areaX1, int32_t areaY0, int32_t areaY1);
    bool hasEmptyArea() const { return x1 < x0 || y1 < y0; }

    // numBands * 32 planes, band by band; entry b * 32 + p is plane p of band b.
    XR3PlaneData* getPlanes() { return m_planes.get(); }
    const XR3PlaneData* getPlanes() const { return m_planes.get(); }
    XR3PlaneData& plane(unsigned band, unsigned p) { return m_planes[band * kXR3PlanesPerBand + p]; }
    const XR3PlaneData& plane(unsigned band, unsigned p) const { return m_planes[band * kXR3PlanesPerBand + p]; }
    // Whether any plane of any band is present.
    bool hasData() const;

    // Decodes every band b with a non-null coefs[b] into the width by height
    // block at coefs[b] + offset, rows `stride` samples apart. With `round`,
    // coefficients of a band cut short get the reconstruction offset. Only
    // failure: 2012 when the state array can't be allocated.
    QVStatus decode(int32_t* const* coefs, size_t stride, size_t offset, bool round) const;
    // The inverse: codes the coefficient area of every band with a non-null
    // coefs[b] into the planes, leaving out the lowest `skip` planes. With
    // `mseLut` each plane gets its distortion value. 2009 for a coefficient
    // of magnitude 2^31, 2012 when memory runs out.
    QVStatus encode(const int32_t* const* coefs, size_t stride, size_t offset, const XR3MSELut* mseLut,
                    unsigned skip);

    // Drops all plane bytes and flags.
    void setInvalid();
    // Takes the geometry of `other`; with `deep` also copies its plane bytes,
    // otherwise leaves the planes empty. 2012 when memory runs out.
    QVStatus copy(const XR3SubblockData& other, bool deep);

private:
    QVStatus allocatePlanes(uint16_t bands);

    std::unique_ptr<XR3PlaneData[]> m_planes;
    uint16_t m_planeBands = 0;  // bands that m_planes was allocated for
};

}  // namespace Orvanetics
