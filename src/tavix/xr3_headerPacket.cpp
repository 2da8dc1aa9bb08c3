#include "xr3_headerPacket.h"

#include <bit>
#include <memory>
#include <new>

namespace Orvanetics {

namespace {

using namespace XR3HeaderFlags;

// Lock value width by the two flag bits (bit 5, bit 4) read as a number.
constexpr uint8_t kLockWidthByBits[4] = {0, 2, 1, 4};

uint64_t lockWidthBits(uint8_t width) {
    switch (width) {
        case 1:
            return kLockWidthHigh;
        case 2:
            return kLockWidthLow;
        case 4:
            return kLockWidthLow | kLockWidthHigh;
        default:
            return 0;
    }
}

bool sameBits(float a, float b) { return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b); }

bool sameQuantization(const XR3ImageInfo& a, const XR3ImageInfo& b) {
    if (a.quantization.size() != b.quantization.size()) return false;
    for (size_t i = 0; i < a.quantization.size(); ++i) {
        if (!sameBits(a.quantization[i].step, b.quantization[i].step) ||
            !sameBits(a.quantization[i].offset, b.quantization[i].offset))
            return false;
    }
    return true;
}

// The fields a header packet stores.
bool sameStoredFields(const XR3ImageInfo& a, const XR3ImageInfo& b) {
    return a.width == b.width && a.height == b.height && a.numLevels == b.numLevels && a.numBands == b.numBands &&
           a.wordBits == b.wordBits && a.subblockSize == b.subblockSize && a.dataType == b.dataType &&
           a.rangeMin == b.rangeMin && a.rangeMax == b.rangeMax && a.inputColorSpace == b.inputColorSpace &&
           a.codedColorSpace == b.codedColorSpace && a.colorTransform == b.colorTransform &&
           a.codingKindA == b.codingKindA && a.codingKindB == b.codingKindB && a.codingKindC == b.codingKindC &&
           a.getCropRect() == b.getCropRect() && a.scale == b.scale && a.locked == b.locked &&
           a.lockValueWidth == b.lockValueWidth && a.hasPlaneMSE == b.hasPlaneMSE && sameQuantization(a, b);
}

}  // namespace

XR3HeaderPacket::XR3HeaderPacket(const XR3PacketType& type) : XR3Packet(type) {}

XR3HeaderPacket::XR3HeaderPacket(const XR3ImageInfo& info) : XR3Packet(getPacketVersion(info.imageNumber, info)) {
    setImageInfo(info);
}

XR3PacketType XR3HeaderPacket::getPacketVersion(uint32_t imageNumber, const XR3ImageInfo& info) {
    return XR3PacketType(XR3_PACKET_HEADER, 0, 0, imageNumber, 0, info.hasQuantization() ? 1 : 0);
}

XR3HeaderPacket* XR3HeaderPacket::createCopy() const {
    try {
        auto copy = std::make_unique<XR3HeaderPacket>(getPacketType());
        copy->m_info = m_info;
        copy->m_shift = m_shift;
        copy->m_flags = m_flags;
        return copy.release();
    } catch (const QVUtilException&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

bool XR3HeaderPacket::operator==(const XR3Packet& other) const {
    const auto* header = dynamic_cast<const XR3HeaderPacket*>(&other);
    return header != nullptr && XR3Packet::operator==(other) && m_flags == header->m_flags &&
           m_shift == header->m_shift && sameStoredFields(m_info, header->m_info);
}

void XR3HeaderPacket::setImageInfo(const XR3ImageInfo& info) {
    m_info = info;
    const XR3PacketType version = getPacketVersion(info.imageNumber, info);
    getPacketType().setImageNumber(info.imageNumber);
    getPacketType().setVersion(version.getMajorVersion(), version.getMinorVersion());
    setupBitFlags();
}

uint64_t XR3HeaderPacket::setupBitFlags() {
    uint64_t flags = (m_flags & (kWriterReserved | kMSESecure | kShifted)) | kWriterMark;
    if (m_info.hasPlaneMSE) flags |= kPlaneMSE;
    if (m_info.locked) flags |= kLocked | lockWidthBits(m_info.lockValueWidth);
    const bool cropped = !m_info.hasDefaultCrop() && m_info.getCropRect() != m_info.getFullRect();
    if (m_info.scale != 0 || cropped) flags |= kCrop;
    if (m_info.hasQuantization()) flags |= kQuantization;
    m_flags = flags;
    return flags;
}

void XR3HeaderPacket::setIsMSESecure(bool secure) {
    m_flags = secure ? (m_flags | kMSESecure) : (m_flags & ~kMSESecure);
}

void XR3HeaderPacket::setShift(int8_t shift) {
    m_shift = shift;
    m_flags = shift != 0 ? (m_flags | kShifted) : (m_flags & ~kShifted);
}

bool XR3HeaderPacket::hasPrecisionDataType() const { return getVersionMajor() == 0 && getVersionMinor() == 0; }

void XR3HeaderPacket::applyFlags() {
    m_info.hasPlaneMSE = (m_flags & kPlaneMSE) != 0;
    m_info.locked = (m_flags & kLocked) != 0;
    m_info.lockValueWidth = m_info.locked ? kLockWidthByBits[(m_flags >> 4) & 3] : 0;
}

QVStatus XR3HeaderPacket::readFixedPart(QVIOStreamReader<true>& reader) {
    uint8_t dataType = 0, inputColorSpace = 0, codedColorSpace = 0, colorTransform = 0;
    XR3ImageInfo& info = m_info;
    QVStatus st = 0;
    if ((st = reader.readUint32(info.width)) || (st = reader.readUint32(info.height)) ||
        (st = reader.readUint8(info.numLevels)) || (st = reader.readUint16(info.numBands)) ||
        (st = reader.readUint8(info.wordBits)) || (st = reader.readUint16(info.subblockSize)) ||
        (st = reader.readUint8(dataType)) || (st = reader.readInt32(info.rangeMin)) ||
        (st = reader.readInt32(info.rangeMax)) || (st = reader.readUint8(inputColorSpace)) ||
        (st = reader.readUint8(codedColorSpace)) || (st = reader.readUint8(colorTransform)) ||
        (st = reader.readUint32(info.codingKindC)) || (st = reader.readUint8(info.codingKindA)) ||
        (st = reader.readUint8(info.codingKindB)))
        return st;
    if (info.width == 0 || info.height == 0) return xr3Fail(QVI_STS_Tavix_CorruptFile);
    if (info.numLevels > XR3ImageInfo::kMaxNumLevels) return xr3Fail(QVI_STS_Tavix_BadNumLevels);
    if (info.numBands == 0 || info.wordBits != 32 || info.subblockSize == 0)
        return xr3Fail(QVI_STS_Tavix_CorruptFile);
    // Headers of version 0.0 store the sample precision in bits instead of the type.
    info.dataType =
        hasPrecisionDataType() ? XR3Type::getDataTypeFromBitsPrecision(dataType) : XR3DataType(dataType);
    info.inputColorSpace = XR3ColorSpace(inputColorSpace);
    info.codedColorSpace = XR3ColorSpace(codedColorSpace);
    info.colorTransform = XR3ColorTransform(colorTransform);
    return 0;
}

QVStatus XR3HeaderPacket::readCrop(QVIOStreamReader<true>& reader) {
    QVStatus st = 0;
    if ((st = reader.readInt32(m_info.cropX0)) || (st = reader.readInt32(m_info.cropY0)) ||
        (st = reader.readInt32(m_info.cropX1)) || (st = reader.readInt32(m_info.cropY1)) ||
        (st = reader.readInt8(m_info.scale)))
        return st;
    return 0;
}

QVStatus XR3HeaderPacket::readQuantization(QVIOStreamReader<true>& reader) {
    std::vector<QuantizationInfo> bands(m_info.numBands);
    for (QuantizationInfo& band : bands) {
        uint32_t step = 0, offset = 0;
        if (QVStatus st = reader.readUint32(step)) return st;
        if (QVStatus st = reader.readUint32(offset)) return st;
        band.step = std::bit_cast<float>(step);
        band.offset = std::bit_cast<float>(offset);
    }
    // Files carry no maximum, so there is nothing to validate against.
    return m_info.setQuantizationInfo(bands.data(), false);
}

QVStatus XR3HeaderPacket::read(QVIOStreamReader<true>& reader, long long length) {
    m_info = XR3ImageInfo();
    m_shift = 0;
    if (length != kDBLengthToEnd && length < kFixedLength) return xr3Fail(QVI_STS_Tavix_ReadError);
    if (QVStatus st = reader.readUint64(m_flags)) return st;
    if ((m_flags & kForbidden) || (m_flags & kShifted)) return xr3Fail(QVI_STS_Tavix_BadVersion);
    if (QVStatus st = readFixedPart(reader)) return st;
    const bool hasCrop = (m_flags & kCrop) != 0;
    const bool hasQuantization = (m_flags & kQuantization) != 0;
    const long long needed = kFixedLength + (hasCrop ? kCropLength : 0) +
                             (hasQuantization ? kQuantizationLengthPerBand * m_info.numBands : 0);
    if (length != kDBLengthToEnd && length < needed) return xr3Fail(QVI_STS_Tavix_ReadError);
    if (hasCrop) {
        if (QVStatus st = readCrop(reader)) return st;
    }
    if (hasQuantization) {
        if (QVStatus st = readQuantization(reader)) return st;
    }
    m_info.imageNumber = getPacketType().getImageNumber();
    m_info.spareWords[0] = m_info.spareWords[1] = 0;
    applyFlags();
    if (QVStatus st = m_info.setup_subbands()) return st;
    if (hasCrop) m_info.updateCroppedOrScaled();
    return 0;
}

QVStatus XR3HeaderPacket::writeQuantization(QVIOStreamWriter<true>& writer) const {
    for (const QuantizationInfo& band : m_info.quantization) {
        if (QVStatus st = writer.writeFloat32(band.step)) return st;
        if (QVStatus st = writer.writeFloat32(band.offset)) return st;
    }
    return 0;
}

QVStatus XR3HeaderPacket::write(QVIOStreamWriter<true>& writer) {
    const uint64_t flags = setupBitFlags();
    const XR3ImageInfo& info = m_info;
    const uint8_t dataType =
        hasPrecisionDataType() ? uint8_t(XR3Type::getNumBitsPrecision(info.dataType)) : uint8_t(info.dataType);
    QVStatus st = 0;
    if ((st = writer.writeUint64(flags)) || (st = writer.writeUint32(info.width)) ||
        (st = writer.writeUint32(info.height)) || (st = writer.writeUint8(info.numLevels)) ||
        (st = writer.writeUint16(info.numBands)) || (st = writer.writeUint8(info.wordBits)) ||
        (st = writer.writeUint16(info.subblockSize)) || (st = writer.writeUint8(dataType)) ||
        (st = writer.writeInt32(info.rangeMin)) || (st = writer.writeInt32(info.rangeMax)) ||
        (st = writer.writeUint8(info.inputColorSpace)) || (st = writer.writeUint8(info.codedColorSpace)) ||
        (st = writer.writeUint8(info.colorTransform)) || (st = writer.writeUint32(info.codingKindC)) ||
        (st = writer.writeUint8(info.codingKindA)) || (st = writer.writeUint8(info.codingKindB)))
        return st;
    if (flags & kCrop) {
        if ((st = writer.writeInt32(info.cropX0)) || (st = writer.writeInt32(info.cropY0)) ||
            (st = writer.writeInt32(info.cropX1)) || (st = writer.writeInt32(info.cropY1)) ||
            (st = writer.writeInt8(info.scale)))
            return st;
    }
    if (flags & kQuantization) return writeQuantization(writer);
    return 0;
}

}  // namespace Orvanetics
