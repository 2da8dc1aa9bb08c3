// The address of one bit-plane (XR3PlaneDesc), the file positions of a plane
// (XR3PlaneOffset) and the bytes of one plane as the entropy decoder takes
// them (XR3PlaneData).
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>

#include "qv_statusCodes.h"
#include "qv_utilStatusData.h"

namespace Orvanetics {

class XR3ImageInfo;

// Number of bit-planes of one band of one subblock.
constexpr unsigned kXR3PlanesPerBand = 32;

// One plane of one band of one subblock of one subband. The all-ones value of
// each field means "invalid"; a default-constructed desc is invalid.
struct XR3PlaneDesc {
    static constexpr uint32_t kInvalidSubblock = 0xFFFFFFFFu;
    static constexpr uint16_t kInvalidComponent = 0xFFFFu;
    static constexpr uint8_t kInvalidSubband = 0xFFu;
    static constexpr uint8_t kInvalidPlane = 0xFFu;
    // Size of the byte form: subband 1, subblock 4, component 2, plane 1.
    static constexpr size_t kByteSize = 8;

    uint32_t subblock = kInvalidSubblock;
    uint16_t component = kInvalidComponent;
    uint8_t subband = kInvalidSubband;
    uint8_t plane = kInvalidPlane;

    constexpr XR3PlaneDesc() = default;
    // Arguments in address order, coarse to fine.
    constexpr XR3PlaneDesc(uint8_t subband_, uint32_t subblock_, uint16_t component_, uint8_t plane_)
        : subblock(subblock_), component(component_), subband(subband_), plane(plane_) {}

    // subband << 56 | subblock << 24 | component << 8 | plane: sorts planes in
    // subband, subblock, component, plane order.
    constexpr uint64_t to_index() const {
        return uint64_t(subband) << 56 | uint64_t(subblock) << 24 | uint64_t(component) << 8 |
               uint64_t(plane);
    }
    static constexpr XR3PlaneDesc from_index(uint64_t index) {
        return XR3PlaneDesc(uint8_t(index >> 56), uint32_t(index >> 24), uint16_t(index >> 8),
                            uint8_t(index));
    }

    // -1, 0 or 1 as this desc sorts before, with or after `other`.
    constexpr int compare(const XR3PlaneDesc& other) const {
        const uint64_t a = to_index(), b = other.to_index();
        return a < b ? -1 : (a > b ? 1 : 0);
    }
    constexpr bool operator==(const XR3PlaneDesc& other) const { return to_index() == other.to_index(); }
    constexpr std::strong_ordering operator<=>(const XR3PlaneDesc& other) const {
        return to_index() <=> other.to_index();
    }

    // True when any field holds its invalid value.
    constexpr bool isInvalidated() const {
        return subblock == kInvalidSubblock || component == kInvalidComponent ||
               subband == kInvalidSubband || plane == kInvalidPlane;
    }
    // All four fields lie inside the image, and plane is below 32.
    bool isValid(const XR3ImageInfo& info) const;

    // "<subband.subblock.component.plane>", each as a signed decimal.
    std::string tostring() const;

    // Big-endian byte form, kByteSize bytes.
    void toBytes(uint8_t* out) const;
    static XR3PlaneDesc fromBytes(const uint8_t* in);
};

// Where a plane's length token and its payload lie in the file.
struct XR3PlaneOffset {
    int64_t tokenPosition = 0;
    int64_t dataPosition = 0;
};

// Flag bits of XR3PlaneData::flags.
constexpr uint8_t kXR3PlaneBypass = 0x02;    // stored raw, not MQ coded
constexpr uint8_t kXR3PlaneOwned = 0x04;     // `buffer` is ours to delete
constexpr uint8_t kXR3PlanePresent = 0x40;   // the plane has been read
constexpr uint8_t kXR3PlaneMSEValid = 0x80;  // `mse` holds a stored value

// The bytes of one plane. Owns `buffer` only while kXR3PlaneOwned is set;
// otherwise `buffer` points into memory someone else keeps alive.
class XR3PlaneData {
public:
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    uint32_t lockValue = 0;
    uint16_t mse = 0;
    uint8_t flags = 0;

    XR3PlaneData() = default;
    ~XR3PlaneData() { releaseBuffer(); }
    XR3PlaneData(XR3PlaneData&& other) noexcept { takeFrom(other); }
    XR3PlaneData& operator=(XR3PlaneData&& other) noexcept;
    XR3PlaneData(const XR3PlaneData&) = delete;
    XR3PlaneData& operator=(const XR3PlaneData&) = delete;

    bool isPresent() const { return (flags & kXR3PlanePresent) != 0; }
    bool isBypass() const { return (flags & kXR3PlaneBypass) != 0; }
    bool isOwned() const { return (flags & kXR3PlaneOwned) != 0; }
    bool hasValidMSE() const { return (flags & kXR3PlaneMSEValid) != 0; }

    // The flags with present and mse-valid cleared, the rest kept.
    static constexpr uint8_t withoutPresence(uint8_t f) { return uint8_t(f % 64); }

    // Drops the bytes (deleting them when owned) and clears every field.
    void clear();
    // Replaces the bytes by `size` new owned, uninitialised bytes; 2012 when
    // memory runs out (the plane is then empty). Flags other than owned are kept.
    QVStatus allocate(uint32_t size);
    // Points at bytes owned elsewhere.
    void setExternal(uint8_t* bytes, uint32_t size);
    // Marks the plane as read, raw when `bypass`.
    void markPresent(bool bypass);
    // A copy with its own bytes; 2012 when memory runs out.
    QVStatus copyFrom(const XR3PlaneData& other);

private:
    void releaseBuffer();
    void takeFrom(XR3PlaneData& other);
};

}  // namespace Orvanetics
