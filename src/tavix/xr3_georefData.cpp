#include "xr3_georefData.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "qv_ioStreamUtils.h"
#include "qv_statusCodes.h"
#include "xr3_imageInfo.h"

namespace Orvanetics {

namespace {

constexpr uint8_t kGeoDataBit = 0x1;
constexpr uint8_t kZNumberBit = 0x2;
constexpr uint8_t kBackgroundBit = 0x4;
constexpr uint8_t kNoDataBit = 0x8;
constexpr uint8_t kAllBits = 0xF;

std::unique_ptr<QVIPixel> copyPixel(const QVIPixel* pixel) {
    return pixel ? std::make_unique<QVIPixel>(*pixel) : nullptr;
}

bool isPixelDataType(XR3DataType type) { return type >= XR3_DATATYPE_UINT8 && type <= XR3_DATATYPE_SINT16; }

// Whether measured / expected - 1 lies within the tolerance of an axis of `size` samples.
bool agrees(double measured, double expected, uint32_t size) {
    const double tolerance = std::max(0.0625 / size, std::ldexp(1.0, -48));
    return std::fabs(measured / expected - 1.0) <= tolerance;
}

}  // namespace

XR3GeorefData::XR3GeorefData(const XR3GeorefData& other)
    : m_hasGeoData(other.m_hasGeoData),
      m_xUL(other.m_xUL),
      m_yUL(other.m_yUL),
      m_xLR(other.m_xLR),
      m_yLR(other.m_yLR),
      m_xRes(other.m_xRes),
      m_yRes(other.m_yRes),
      m_backgroundPixel(copyPixel(other.m_backgroundPixel.get())),
      m_noDataPixel(copyPixel(other.m_noDataPixel.get())),
      m_hasZNumber(other.m_hasZNumber),
      m_zNumber(other.m_zNumber) {}

XR3GeorefData& XR3GeorefData::operator=(const XR3GeorefData& other) {
    if (this != &other) *this = XR3GeorefData(other);
    return *this;
}

void XR3GeorefData::setGeoData(double xUL, double yUL, double xLR, double yLR, double xRes, double yRes) {
    m_hasGeoData = true;
    m_xUL = xUL;
    m_yUL = yUL;
    m_xLR = xLR;
    m_yLR = yLR;
    m_xRes = xRes;
    m_yRes = yRes;
}

void XR3GeorefData::shiftGeoData(double dx, double dy) {
    m_xUL += dx;
    m_xLR += dx;
    m_yUL += dy;
    m_yLR += dy;
}

void XR3GeorefData::setZNumber(uint32_t zNumber) {
    m_hasZNumber = true;
    m_zNumber = zNumber;
}

void XR3GeorefData::setBackgroundPixel(const QVIPixel* pixel) { m_backgroundPixel = copyPixel(pixel); }

void XR3GeorefData::setNoDataPixel(const QVIPixel* pixel) { m_noDataPixel = copyPixel(pixel); }

QVStatus XR3GeorefData::setupGeoCoord(uint32_t width, uint32_t height, QVIGeoCoord& coord) const {
    if (!m_hasGeoData) return QVI_STS_Failure;
    const double dx = m_xLR - m_xUL;
    const double dy = m_yLR - m_yUL;
    // A single row or column has nothing to measure a rotation against.
    const double spanX = std::max(width, 2u) - 1.0;
    const double spanY = std::max(height, 2u) - 1.0;
    if ((width < 2 || agrees(dx, m_xRes * spanX, width)) && (height < 2 || agrees(dy, m_yRes * spanY, height))) {
        coord.set(m_xUL, m_yUL, m_xRes, m_yRes, 0.0, 0.0);
        return 0;
    }
    const double xRot = (dx - m_xRes * spanX) / spanY;
    const double yRot = (dy - m_yRes * spanY) / spanX;
    coord.set(m_xUL, m_yUL, m_xRes, m_yRes, xRot, yRot);
    return 0;
}

void XR3GeorefData::transformBounds(const double matrix[6]) {
    auto apply = [matrix](double& x, double& y) {
        const double tx = matrix[0] * x + matrix[1] * y + matrix[2];
        const double ty = matrix[3] * x + matrix[4] * y + matrix[5];
        x = tx;
        y = ty;
    };
    apply(m_xUL, m_yUL);
    apply(m_xLR, m_yLR);
    m_xRes *= matrix[0];
    m_yRes *= matrix[4];
}

QVStatus XR3GeorefData::readPixel(QVIOStreamReader<true>& reader, QVIColorSpace colorSpace,
                                  std::unique_ptr<QVIPixel>& pixel) {
    uint16_t numBands = 0;
    uint8_t type = 0;
    if (QVStatus st = reader.readUint16(numBands)) return st;
    if (QVStatus st = reader.readUint8(type)) return st;
    const XR3DataType dataType = XR3DataType(type);
    if (!isPixelDataType(dataType)) return xr3Fail(QVI_STS_Tavix_FormatError);
    const uint32_t sampleBytes = XR3Type::getNumBytes(dataType);
    // The samples must be in the stream before a pixel is made for them.
    const int64_t position = reader.tell();
    const int64_t end = QVIOStreamUtils::getEndPos(&reader.getStream());
    if (position < 0 || end - position < int64_t(numBands) * sampleBytes) return xr3Fail(QVI_STS_Tavix_ReadError);
    try {
        pixel = std::make_unique<QVIPixel>(colorSpace, numBands, XR3Type::toSDK(dataType));
    } catch (const QVUtilException&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    for (uint16_t b = 0; b < numBands; ++b) {
        uint64_t value = 0;
        if (QVStatus st = reader.readUnsigned(sampleBytes, value)) return st;
        if (sampleBytes == 1) pixel->setSampleValueUint8(b, uint8_t(value));
        else pixel->setSampleValueUint16(b, uint16_t(value));
    }
    return 0;
}

QVStatus XR3GeorefData::read(QVIOStreamReader<true>& reader, QVIColorSpace colorSpace) {
    *this = XR3GeorefData();
    uint8_t flags = 0;
    if (QVStatus st = reader.readUint8(flags)) return st;
    if (flags > kAllBits) return xr3Fail(QVI_STS_Tavix_FormatError);
    if (flags & kGeoDataBit) {
        double values[6];
        for (double& v : values) {
            if (QVStatus st = reader.readFloat64(v)) return st;
        }
        setGeoData(values[0], values[1], values[2], values[3], values[4], values[5]);
    }
    if (flags & kZNumberBit) {
        if (QVStatus st = reader.readUint32(m_zNumber)) return st;
        m_hasZNumber = true;
    }
    if (flags & kBackgroundBit) {
        if (QVStatus st = readPixel(reader, colorSpace, m_backgroundPixel)) return st;
    }
    if (flags & kNoDataBit) {
        if (QVStatus st = readPixel(reader, colorSpace, m_noDataPixel)) return st;
    }
    return 0;
}

QVStatus XR3GeorefData::writePixel(QVIOStreamWriter<true>& writer, const QVIPixel& pixel) {
    const XR3DataType dataType = XR3Type::toXR3(pixel.getDataType());
    if (!isPixelDataType(dataType)) return xr3Fail(QVI_STS_Tavix_FormatError);
    const uint32_t sampleBytes = XR3Type::getNumBytes(dataType);
    if (QVStatus st = writer.writeUint16(pixel.getNumBands())) return st;
    if (QVStatus st = writer.writeUint8(dataType)) return st;
    for (uint16_t b = 0; b < pixel.getNumBands(); ++b) {
        const uint64_t value =
            sampleBytes == 1 ? pixel.getSampleValueUint8(b) : uint64_t(pixel.getSampleValueUint16(b));
        if (QVStatus st = writer.writeUnsigned(sampleBytes, value)) return st;
    }
    return 0;
}

QVStatus XR3GeorefData::write(QVIOStreamWriter<true>& writer) const {
    const uint8_t flags = (m_hasGeoData ? kGeoDataBit : 0) | (m_hasZNumber ? kZNumberBit : 0) |
                          (m_backgroundPixel ? kBackgroundBit : 0) | (m_noDataPixel ? kNoDataBit : 0);
    if (QVStatus st = writer.writeUint8(flags)) return st;
    if (m_hasGeoData) {
        for (double v : {m_xUL, m_yUL, m_xLR, m_yLR, m_xRes, m_yRes}) {
            if (QVStatus st = writer.writeFloat64(v)) return st;
        }
    }
    if (m_hasZNumber) {
        if (QVStatus st = writer.writeUint32(m_zNumber)) return st;
    }
    if (m_backgroundPixel) {
        if (QVStatus st = writePixel(writer, *m_backgroundPixel)) return st;
    }
    if (m_noDataPixel) return writePixel(writer, *m_noDataPixel);
    return 0;
}

}  // namespace Orvanetics
