// The enumerations that every image value speaks in: sample data types, sample
// roles, colour spaces, byte orders and reference points. Their numbers are
// stored in files and passed across the flat interface, so they never change.
#pragma once

#include <cstdint>

namespace Orvanetics {

enum QVIDataType : uint32_t {
    QVI_DATATYPE_INVALID = 0,
    QVI_DATATYPE_UINT8 = 1,
    QVI_DATATYPE_SINT8 = 2,
    QVI_DATATYPE_UINT16 = 3,
    QVI_DATATYPE_SINT16 = 4,
    QVI_DATATYPE_UINT32 = 5,
    QVI_DATATYPE_SINT32 = 6,
    QVI_DATATYPE_FLOAT32 = 7,
    QVI_DATATYPE_FLOAT64 = 8,
};

// What a sample is. Bit `color` of a colour mask stands for that role.
enum QVIColor : uint32_t {
    QVI_COLOR_INVALID = 0,
    QVI_COLOR_RED = 1,
    QVI_COLOR_GREEN = 2,
    QVI_COLOR_BLUE = 3,
    QVI_COLOR_CYAN = 4,
    QVI_COLOR_MAGENTA = 5,
    QVI_COLOR_YELLOW = 6,
    QVI_COLOR_BLACK = 7,
    QVI_COLOR_GRAY = 8,
    QVI_COLOR_UNKNOWN = 9,
    QVI_COLOR_ALPHA = 10,
    QVI_COLOR_PREMULTIPLIED_ALPHA = 11,
};

// Bits 0-7: family member; bits 8-15: number of colour bands (255: any);
// QVI_ALPHA_BIT: an alpha band follows the colour bands (always last);
// QVI_PREMULTIPLIED_BIT together with it: that alpha is premultiplied.
constexpr uint32_t QVI_ALPHA_BIT = 0x10000;
constexpr uint32_t QVI_PREMULTIPLIED_BIT = 0x20000;
constexpr uint32_t QVI_ALPHA_BITS = QVI_ALPHA_BIT | QVI_PREMULTIPLIED_BIT;

enum QVIColorSpace : uint32_t {
    QVI_COLORSPACE_INVALID = 0,
    QVI_COLORSPACE_GRAYSCALE = 0x101,
    QVI_COLORSPACE_GRAYSCALEA = 0x10101,
    QVI_COLORSPACE_GRAYSCALEA_PM = 0x30101,
    QVI_COLORSPACE_RGB = 0x301,
    QVI_COLORSPACE_RGBA = 0x10301,
    QVI_COLORSPACE_RGBA_PM = 0x30301,
    QVI_COLORSPACE_CMY = 0x302,
    QVI_COLORSPACE_CMYA = 0x10302,
    QVI_COLORSPACE_CMYA_PM = 0x30302,
    QVI_COLORSPACE_YIQ = 0x303,
    QVI_COLORSPACE_YIQA = 0x10303,
    QVI_COLORSPACE_YIQA_PM = 0x30303,
    QVI_COLORSPACE_RGBK = 0x401,
    QVI_COLORSPACE_RGBKA = 0x10401,
    QVI_COLORSPACE_RGBKA_PM = 0x30401,
    QVI_COLORSPACE_CMYK = 0x402,
    QVI_COLORSPACE_CMYKA = 0x10402,
    QVI_COLORSPACE_CMYKA_PM = 0x30402,
    QVI_COLORSPACE_YIQK = 0x403,
    QVI_COLORSPACE_YIQKA = 0x10403,
    QVI_COLORSPACE_YIQKA_PM = 0x30403,
    QVI_COLORSPACE_MULTISPECTRAL = 0xFF01,
    QVI_COLORSPACE_MULTISPECTRALA = 0x1FF01,
    QVI_COLORSPACE_MULTISPECTRALA_PM = 0x3FF01,
};

enum QVIEndian : uint32_t {
    QVI_ENDIAN_HOST = 1,
    QVI_ENDIAN_LITTLE = 2,
    QVI_ENDIAN_BIG = 3,
};

enum QVIPosition : uint32_t {
    QVI_POSITION_UPPER_LEFT = 1,
    QVI_POSITION_UPPER_CENTER = 2,
    QVI_POSITION_UPPER_RIGHT = 3,
    QVI_POSITION_LOWER_LEFT = 4,
    QVI_POSITION_LOWER_CENTER = 5,
    QVI_POSITION_LOWER_RIGHT = 6,
    QVI_POSITION_CENTER_LEFT = 7,
    QVI_POSITION_CENTER = 8,
    QVI_POSITION_CENTER_RIGHT = 9,
};

}  // namespace Orvanetics
