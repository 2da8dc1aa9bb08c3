#include <cstdio>
#include <cstring>
#include <new>
#include <tuple>

#include "xr3_packet.h"

namespace Orvanetics {

namespace {

constexpr uint8_t kMagic[4] = {'t', 'v', 'x', 'd'};

// Control byte.
constexpr uint8_t kControlTypeMask = 0x0F;
constexpr uint8_t kControlHasVersion = 0x40;
constexpr uint8_t kControlForbidden = 0xB0;  // bits 7, 5 and 4

// Package byte.
constexpr uint8_t kPackageHasSpareWord = 0x08;
constexpr uint8_t kPackageHasImageNumber = 0x04;
constexpr uint8_t kPackageEightByteLength = 0x03;

// The placeholder of a length not yet known; not the all-ones "to the end".
constexpr uint64_t kLengthPlaceholder = 0x00000000FFFFFFFFull;

// Width codes of subType and subSubType: none, one, two, four bytes.
constexpr unsigned kFieldWidths[4] = {0, 1, 2, 4};
// Width codes of the payload length.
constexpr unsigned kLengthWidths[4] = {1, 2, 4, 8};

unsigned widthCodeOf(uint32_t value) {
    if (value == 0) return 0;
    if (value <= 0xFF) return 1;
    if (value <= 0xFFFF) return 2;
    return 3;
}

unsigned widthOf(uint32_t value) { return kFieldWidths[widthCodeOf(value)]; }

bool matches(uint32_t a, uint32_t b) {
    return a == b || a == XR3PacketType::ANY_TYPE || b == XR3PacketType::ANY_TYPE;
}

}  // namespace

// ---------------------------------------------------------------- XR3Version

bool XR3Version::isKnown() const {
    if (m_major != 3) return false;
    if (m_minor == 4) return m_micro == 0 && m_letter == 'a';
    return m_minor == 0 && m_micro == 26 && m_letter != 0 && std::strchr("oqrstu", m_letter);
}

uint32_t XR3Version::toUint32() const {
    return uint32_t(m_major) << 24 | uint32_t(m_minor) << 16 | uint32_t(m_micro) << 8 | m_letter;
}

XR3ImageType XR3Version::toImageType() const {
    XR3Version xr4 = getXR4Version();
    if (*this < xr4) return XR3_IMAGETYPE_XR3;
    if (*this == xr4) return XR3_IMAGETYPE_XR4;
    return XR3_IMAGETYPE_UNKNOWN;
}

std::string XR3Version::toString() const {
    char text[32];
    std::snprintf(text, sizeof(text), "%d.%d.%d.%c", m_major, m_minor, m_micro, m_letter);
    return text;
}

QVStatus XR3Version::read(QVIOStreamReader<true>& reader) {
    uint8_t bytes[8];
    if (QVStatus status = reader.readBytes(bytes, sizeof(bytes))) return status;
    if (std::memcmp(bytes, kMagic, sizeof(kMagic)) != 0) return xr3DBFail(QVI_STS_Tavix_BadVersion);
    XR3Version version(bytes[4], bytes[5], bytes[6], bytes[7]);
    if (!version.isKnown()) return xr3DBFail(QVI_STS_Tavix_BadVersion);
    *this = version;
    return 0;
}

QVStatus XR3Version::write(QVIOStreamWriter<true>& writer) const {
    const uint8_t bytes[8] = {kMagic[0], kMagic[1], kMagic[2], kMagic[3],
                              m_major,   m_minor,   m_micro,   m_letter};
    return writer.writeBytes(bytes, sizeof(bytes));
}

// ------------------------------------------------------------- XR3PacketType

XR3PacketType* XR3PacketType::createCopy() const { return new (std::nothrow) XR3PacketType(*this); }

bool XR3PacketType::operator==(const DBObjectType& other) const {
    const auto* o = dynamic_cast<const XR3PacketType*>(&other);
    return o && matches(m_type, o->m_type) && matches(m_subType, o->m_subType) &&
           matches(m_subSubType, o->m_subSubType) && matches(m_imageNumber, o->m_imageNumber);
}

bool XR3PacketType::operator<(const XR3PacketType& other) const {
    // Larger values first: compare the other way round.
    return std::tie(other.m_type, other.m_subType, other.m_subSubType, other.m_imageNumber,
                    other.m_spareWord) <
           std::tie(m_type, m_subType, m_subSubType, m_imageNumber, m_spareWord);
}

long long XR3PacketType::computeHeaderLength() const {
    return 2 + widthOf(m_subType) + widthOf(m_subSubType) + (m_imageNumber ? 4 : 0) +
           (m_spareWord ? 4 : 0) + (m_majorVersion ? 2 : 0) + 8;
}

uint8_t XR3PacketType::computePackageByte() const {
    return static_cast<uint8_t>(widthCodeOf(m_subType) << 6 | widthCodeOf(m_subSubType) << 4 |
                                (m_spareWord ? kPackageHasSpareWord : 0) |
                                (m_imageNumber ? kPackageHasImageNumber : 0) |
                                kPackageEightByteLength);
}

XR3PacketType::FieldWidths XR3PacketType::parsePackageByte(uint8_t package) {
    FieldWidths widths;
    widths.subType = kFieldWidths[(package >> 6) & 3];
    widths.subSubType = kFieldWidths[(package >> 4) & 3];
    widths.hasSpareWord = package & kPackageHasSpareWord;
    widths.hasImageNumber = package & kPackageHasImageNumber;
    widths.length = kLengthWidths[package & 3];
    return widths;
}

QVStatus XR3PacketType::readHeader(QVIOStreamReader<true>& reader, long long& dataLength) {
    m_wasRead = true;
    m_headerPosition = reader.tell();
    if (m_headerPosition < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);

    uint8_t control = 0;
    uint8_t package = 0;
    if (QVStatus status = reader.readUint8(control)) return status;
    if (QVStatus status = reader.readUint8(package)) return status;
    m_type = static_cast<XR3PacketTypeEnum>(control & kControlTypeMask);
    FieldWidths widths = parsePackageByte(package);

    uint64_t subType = 0, subSubType = 0, spareWord = 0, imageNumber = 0;
    uint64_t majorVersion = 0, minorVersion = 0, length = 0;
    const unsigned versionWidth = (control & kControlHasVersion) ? 1 : 0;
    const struct {
        unsigned width;
        uint64_t* value;
    } fields[] = {
        {widths.subType, &subType},
        {widths.subSubType, &subSubType},
        {widths.hasSpareWord ? 4u : 0u, &spareWord},
        {widths.hasImageNumber ? 4u : 0u, &imageNumber},
        {versionWidth, &majorVersion},
        {versionWidth, &minorVersion},
        {widths.length, &length},
    };
    for (const auto& field : fields) {
        if (QVStatus status = reader.readUnsigned(field.width, *field.value)) return status;
    }
    m_subType = static_cast<uint32_t>(subType);
    m_subSubType = static_cast<uint32_t>(subSubType);
    m_spareWord = static_cast<uint32_t>(spareWord);
    m_imageNumber = static_cast<uint32_t>(imageNumber);
    m_majorVersion = static_cast<uint8_t>(majorVersion);
    m_minorVersion = static_cast<uint8_t>(minorVersion);
    // Eight 0xFF bytes read as all ones, the "to the end" length.
    dataLength = static_cast<long long>(length);

    long long end = reader.tell();
    if (end < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
    m_headerLength = end - m_headerPosition;
    // Checked only now, so that a refused header has still been consumed.
    if (control & kControlForbidden) return xr3DBFail(QVI_STS_Tavix_BadVersion);
    return 0;
}

QVStatus XR3PacketType::writeHeader(QVIOStreamWriter<true>& writer,
                                    long long& lengthFieldPosition) const {
    const bool hasVersion = m_majorVersion != 0 || m_minorVersion != 0;
    const uint8_t control = static_cast<uint8_t>((m_type & kControlTypeMask) |
                                                 (hasVersion ? kControlHasVersion : 0));
    const struct {
        unsigned width;
        uint64_t value;
    } fields[] = {
        {1, control},
        {1, computePackageByte()},
        {widthOf(m_subType), m_subType},
        {widthOf(m_subSubType), m_subSubType},
        {m_spareWord ? 4u : 0u, m_spareWord},
        {m_imageNumber ? 4u : 0u, m_imageNumber},
        {hasVersion ? 1u : 0u, m_majorVersion},
        {hasVersion ? 1u : 0u, m_minorVersion},
    };
    for (const auto& field : fields) {
        if (QVStatus status = writer.writeUnsigned(field.width, field.value)) return status;
    }
    lengthFieldPosition = writer.tell();
    if (lengthFieldPosition < 0) return xr3DBFail(QVI_STS_Tavix_WriteError);
    return writer.writeUint64(kLengthPlaceholder);
}

QVStatus XR3PacketType::rewriteHeader(QVIOStreamWriter<true>& writer, long long position,
                                      long long dataLength) const {
    long long resumePosition = writer.tell();
    if (resumePosition < 0 || writer.seek(position)) return xr3DBFail(QVI_STS_Tavix_IOError);
    writer.writeInt64(dataLength);  // the length write's own status is deliberately not checked
    if (writer.seek(resumePosition)) return xr3DBFail(QVI_STS_Tavix_IOError);
    return 0;
}

}  // namespace Orvanetics
