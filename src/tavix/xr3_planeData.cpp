#include "xr3_planeData.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "xr3_imageInfo.h"

namespace Orvanetics {

bool XR3PlaneDesc::isValid(const XR3ImageInfo& info) const {
    if (subband >= info.subbands.size() || component >= info.numBands || plane >= kXR3PlanesPerBand)
        return false;
    const XR3SubbandDims& dims = info.subbands[subband];
    return subblock < uint32_t(dims.rows) * dims.cols;
}

std::string XR3PlaneDesc::tostring() const {
    char text[64];
    std::snprintf(text, sizeof(text), "<%d.%d.%d.%d>", int(subband), int(int32_t(subblock)),
                  int(component), int(plane));
    return text;
}

void XR3PlaneDesc::toBytes(uint8_t* out) const {
    out[0] = subband;
    out[1] = uint8_t(subblock >> 24);
    out[2] = uint8_t(subblock >> 16);
    out[3] = uint8_t(subblock >> 8);
    out[4] = uint8_t(subblock);
    out[5] = uint8_t(component >> 8);
    out[6] = uint8_t(component);
    out[7] = plane;
}

XR3PlaneDesc XR3PlaneDesc::fromBytes(const uint8_t* in) {
    const uint32_t subblock = uint32_t(in[1]) << 24 | uint32_t(in[2]) << 16 | uint32_t(in[3]) << 8 | in[4];
    return XR3PlaneDesc(in[0], subblock, uint16_t(in[5] << 8 | in[6]), in[7]);
}

XR3PlaneData& XR3PlaneData::operator=(XR3PlaneData&& other) noexcept {
    if (this != &other) {
        releaseBuffer();
        takeFrom(other);
    }
    return *this;
}

void XR3PlaneData::releaseBuffer() {
    if (isOwned())
        delete[] buffer;
    buffer = nullptr;
    flags &= uint8_t(~kXR3PlaneOwned);
}

void XR3PlaneData::takeFrom(XR3PlaneData& other) {
    buffer = other.buffer;
    length = other.length;
    lockValue = other.lockValue;
    mse = other.mse;
    flags = other.flags;
    other.buffer = nullptr;
    other.flags = 0;
    other.clear();
}

void XR3PlaneData::clear() {
    releaseBuffer();
    length = 0;
    lockValue = 0;
    mse = 0;
    flags = 0;
}

QVStatus XR3PlaneData::allocate(uint32_t size) {
    releaseBuffer();
    length = 0;
    // One byte at least, so that an owned buffer is never null.
    buffer = new (std::nothrow) uint8_t[size ? size : 1];
    if (!buffer)
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    length = size;
    flags |= kXR3PlaneOwned;
    return 0;
}

void XR3PlaneData::setExternal(uint8_t* bytes, uint32_t size) {
    releaseBuffer();
    buffer = bytes;
    length = size;
}

void XR3PlaneData::markPresent(bool bypass) {
    flags |= kXR3PlanePresent;
    if (bypass)
        flags |= kXR3PlaneBypass;
    else
        flags &= uint8_t(~kXR3PlaneBypass);
}

QVStatus XR3PlaneData::copyFrom(const XR3PlaneData& other) {
    if (this == &other)
        return 0;
    if (const QVStatus status = allocate(other.length))
        return status;
    if (other.length)
        std::memcpy(buffer, other.buffer, other.length);
    lockValue = other.lockValue;
    mse = other.mse;
    flags = uint8_t((other.flags & ~kXR3PlaneOwned) | kXR3PlaneOwned);
    return 0;
}

}  // namespace Orvanetics
