// The header packet of an image (type 1): everything that fixes the shape of
// its wavelet decomposition, parsed into an XR3ImageInfo.
//
// XR3PacketDB::createPacket makes this class through the constructor from an
// XR3PacketType when a file is loaded.
#pragma once

#include <cstdint>

#include "xr3_imageInfo.h"
#include "xr3_packet.h"

namespace Orvanetics {

// Bits of the header's 64-bit flags word.
namespace XR3HeaderFlags {
constexpr uint64_t kWriterMark = 0x2;        // always set by a writer
constexpr uint64_t kPlaneMSE = 0x4;
constexpr uint64_t kLocked = 0x8;
constexpr uint64_t kLockWidthLow = 0x10;     // with kLocked: width 2 (alone) or 4 (both)
constexpr uint64_t kLockWidthHigh = 0x20;    // with kLocked: width 1 (alone) or 4 (both)
constexpr uint64_t kWriterReserved = 0x80;   // accepted, no meaning for a reader
constexpr uint64_t kCrop = 0x8000;
constexpr uint64_t kMSESecure = 0x10000;
constexpr uint64_t kShifted = 0x20000;       // never accepted on reading
constexpr uint64_t kQuantization = 0x40000;
// Bits 0, 6, 8 to 14 and 19 to 63.
constexpr uint64_t kForbidden = 0x7F41 | ~uint64_t(0x7FFFF);
}  // namespace XR3HeaderFlags

class XR3HeaderPacket : public XR3Packet {
public:
    // Length of the fixed part of the payload, and of the crop fields.
    static constexpr long long kFixedLength = 40;
    static constexpr long long kCropLength = 17;
    static constexpr long long kQuantizationLengthPerBand = 8;

    // A blank packet of a type read from a file.
    explicit XR3HeaderPacket(const XR3PacketType& type);
    // A packet for `info`, with the type of getPacketVersion.
    explicit XR3HeaderPacket(const XR3ImageInfo& info);

    // Type 1, sub-types 0, major 0, minor 1 when `info` has quantization.
    static XR3PacketType getPacketVersion(uint32_t imageNumber, const XR3ImageInfo& info);

    XR3HeaderPacket* createCopy() const override;
    using XR3Packet::operator==;
    // Types and every payload field equal.
    bool operator==(const XR3Packet& other) const override;
    // 2001 short read; 2006 a forbidden or the shifted flag; 2028 a zero
    // size, band count or subblock size, or a word size other than 32; 2027
    // more than 62 levels.
    QVStatus read(QVIOStreamReader<true>& reader, long long length) override;
    // The flags come from setupBitFlags. 2002 short write.
    QVStatus write(QVIOStreamWriter<true>& writer) override;

    const XR3ImageInfo& getImageInfo() const { return m_info; }
    XR3ImageInfo& getImageInfo() { return m_info; }
    // Copies `info`, and sets the packet's image number and minor version and the flags from it.
    void setImageInfo(const XR3ImageInfo& info);
    // The flags word from the image info, the MSE-secure and shifted state,
    // keeping the writer-reserved bit.
    uint64_t setupBitFlags();
    uint64_t getFlags() const { return m_flags; }

    bool isMSESecure() const { return (m_flags & XR3HeaderFlags::kMSESecure) != 0; }
    void setIsMSESecure(bool secure);
    bool isShifted() const { return (m_flags & XR3HeaderFlags::kShifted) != 0; }
    int8_t getShift() const { return m_shift; }
    // A shift other than 0 sets the shifted flag.
    void setShift(int8_t shift);

private:
    QVStatus readFixedPart(QVIOStreamReader<true>& reader);
    QVStatus readCrop(QVIOStreamReader<true>& reader);
    QVStatus readQuantization(QVIOStreamReader<true>& reader);
    QVStatus writeQuantization(QVIOStreamWriter<true>& writer) const;
    void applyFlags();
    bool hasPrecisionDataType() const;

    XR3ImageInfo m_info;
    int8_t m_shift = 0;
    uint64_t m_flags = XR3HeaderFlags::kWriterMark;
};

}  // namespace Orvanetics
