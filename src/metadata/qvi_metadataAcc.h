// Typed reading of a metadata database: the dictionary's keys as calls, and
// the translations from records to the image model (pixels, dynamic ranges,
// georeferences, modification flags, regions of interest).
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "qvi_dataType.h"
#include "qvi_metadataDatabase.h"

namespace Orvanetics {

class QVIGeoCoord;
class QVIPixel;
class QVIPixelLookupTable;

// The record type that holds values of a C++ type.
template <typename T>
struct QVIMetadataTypeOf {
    static constexpr QVIMetadataDataType value = std::is_same_v<T, uint8_t>    ? QVI_METADATA_DATATYPE_UINT8
                                                 : std::is_same_v<T, int8_t>   ? QVI_METADATA_DATATYPE_SINT8
                                                 : std::is_same_v<T, uint16_t> ? QVI_METADATA_DATATYPE_UINT16
                                                 : std::is_same_v<T, int16_t>  ? QVI_METADATA_DATATYPE_SINT16
                                                 : std::is_same_v<T, uint32_t> ? QVI_METADATA_DATATYPE_UINT32
                                                 : std::is_same_v<T, int32_t>  ? QVI_METADATA_DATATYPE_SINT32
                                                 : std::is_same_v<T, float>    ? QVI_METADATA_DATATYPE_FLOAT32
                                                 : std::is_same_v<T, double>   ? QVI_METADATA_DATATYPE_FLOAT64
                                                                               : QVI_METADATA_DATATYPE_INVALID;
    static_assert(value != QVI_METADATA_DATATYPE_INVALID, "no record type holds this C++ type");
};

// The modification flags of an image (QVIImage::getModifications) and of the
// record IMAGE::MODIFICATIONS, which holds them as words.
enum QVIModificationFlag : uint32_t {
    QVI_MODIFICATION_UNKNOWN = 0x1,
    QVI_MODIFICATION_COMPRESSED = 0x2,
    QVI_MODIFICATION_CROPPED = 0x4,
    QVI_MODIFICATION_EMBEDDED = 0x8,
    QVI_MODIFICATION_SCALED = 0x10,
    QVI_MODIFICATION_MASKED = 0x20,
    QVI_MODIFICATION_INTERPRETED_ALPHA = 0x40,
    QVI_MODIFICATION_REORDERED_BANDS = 0x80,
    QVI_MODIFICATION_TRANSFORMED_COLORSPACE = 0x100,
    QVI_MODIFICATION_CHANGED_DATATYPE = 0x200,
    QVI_MODIFICATION_ALTERED_COLOR = 0x400,
    QVI_MODIFICATION_MOSAICKED = 0x800,
    QVI_MODIFICATION_REPROJECTED = 0x1000,
    QVI_MODIFICATION_WATERMARKED = 0x2000,
    QVI_MODIFICATION_OVERLAID = 0x4000,
    QVI_MODIFICATION_COMPRESSED_PER_BAND = 0x8000,
    QVI_MODIFICATION_QUANTIZED = 0x10000,
    QVI_MODIFICATION_OPAQUE_ALPHA = 0x20000,
};

// How a region of interest weighs its pixels (the word in IMAGE::AOI::<id>::METHOD).
enum QVIRoiMethod : int {
    QVI_ROI_METHOD_WEIGHT = 0,
    QVI_ROI_METHOD_SHIFT_INNER = 1,
    QVI_ROI_METHOD_SHIFT_OUTER = 2,
};

// One region of interest as stored: a polygon at a magnification, with its
// optional texts. Pointers are borrowed from the database's records; absent
// optional keys leave them null (weight 0, overlay layer -1).
struct QVIMetadataRoi {
    const double* x = nullptr;
    const double* y = nullptr;
    uint32_t length = 0;
    int method = QVI_ROI_METHOD_WEIGHT;
    double magnification = 1.0;
    double weight = 0.0;
    const char* overlay = nullptr;
    int overlayLayer = -1;
    const char* name = nullptr;
    const char* comment = nullptr;
    const char* url = nullptr;
};

// A view over a database it doesn't own. Getters fail with 50503 for an
// absent key, 50021 for a record of another type and 50029 for a record of
// another shape. The vector getters take any one-dimensional record (a vector
// of one value is stored as a scalar) and hand out pointers borrowed from it.
class QVIMetadataAcc {
public:
    explicit QVIMetadataAcc(const QVIMetadataDatabase& database) : m_database(&database) {}

    const QVIMetadataDatabase& getDatabase() const { return *m_database; }

    // --- The typed family: get_uint8 .. get_double, by tag and by key.
#define QVI_METADATA_ACC_GETTERS(Name, T)                                                        \
    QVStatus get_##Name(QVIMetadataTag tag, T& value) const { return getScalar(keyOf(tag), value); } \
    QVStatus get_##Name(const char* key, T& value) const { return getScalar(key, value); }         \
    QVStatus get_##Name(QVIMetadataTag tag, const T*& values, unsigned& length) const              \
    {                                                                                            \
        return getVector(keyOf(tag), values, length);                                            \
    }                                                                                            \
    QVStatus get_##Name(const char* key, const T*& values, unsigned& length) const               \
    {                                                                                            \
        return getVector(key, values, length);                                                   \
    }
    QVI_METADATA_ACC_GETTERS(uint8, uint8_t)
    QVI_METADATA_ACC_GETTERS(sint8, int8_t)
    QVI_METADATA_ACC_GETTERS(uint16, uint16_t)
    QVI_METADATA_ACC_GETTERS(sint16, int16_t)
    QVI_METADATA_ACC_GETTERS(uint32, uint32_t)
    QVI_METADATA_ACC_GETTERS(sint32, int32_t)
    QVI_METADATA_ACC_GETTERS(float, float)
    QVI_METADATA_ACC_GETTERS(double, double)
#undef QVI_METADATA_ACC_GETTERS

    // A scalar ASCII record; the text is borrowed from it.
    QVStatus get_string(QVIMetadataTag tag, const char*& value) const;
    QVStatus get_string(const char* key, const char*& value) const;
    // A scalar of any integer type: signed 8 and 16 bits sign-extended, the
    // others zero-extended (so UINT32 keeps its bits). 50021 for floating
    // and ASCII records.
    QVStatus get_as_int(QVIMetadataTag tag, int& value) const;
    QVStatus get_as_int(const char* key, int& value) const;

    // --- Named accessors over the dictionary's keys.
    QVStatus get_pcs(uint16_t& pcs) const { return get_uint16(QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY, pcs); }
    QVStatus get_datum(uint16_t& datum) const { return get_uint16(QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM, datum); }
    QVStatus get_units(uint16_t& units) const { return get_uint16(QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS, units); }
    QVStatus get_z_res(double& zRes) const { return get_double(QVI_METADATA_TAG_IMAGE_Z_RESOLUTION, zRes); }
    QVStatus get_comment(const char*& comment) const { return get_string(QVI_METADATA_TAG_ASCII_COMMENT, comment); }
    QVStatus get_input_format(const char*& format) const {
        return get_string(QVI_METADATA_TAG_IMAGE_INPUT_FORMAT, format);
    }
    QVStatus getInputName(const char*& name) const { return get_string(QVI_METADATA_TAG_IMAGE_INPUT_NAME, name); }
    QVStatus get_input_file_size(double& size) const {
        return get_double(QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE, size);
    }
    // A vector of exactly three values.
    QVStatus get_compression_version(int32_t& major, int32_t& minor, int32_t& revision) const;
    QVStatus get_creation_date(const char*& date) const {
        return get_string(QVI_METADATA_TAG_IMAGE_CREATION_DATE, date);
    }
    QVStatus get_target_compression_ratio(float& ratio) const {
        return get_float(QVI_METADATA_TAG_IMAGE_TARGET_COMPRESSION_RATIO, ratio);
    }
    QVStatus get_compression_nlev(uint32_t& levels) const {
        return get_uint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_NLEV, levels);
    }
    QVStatus get_compression_weight(float& weight) const {
        return get_float(QVI_METADATA_TAG_IMAGE_COMPRESSION_WEIGHT, weight);
    }
    QVStatus get_compression_kweight(float& kweight) const {
        return get_float(QVI_METADATA_TAG_IMAGE_COMPRESSION_KWEIGHT, kweight);
    }
    QVStatus get_compression_gamma(float& gamma) const {
        return get_float(QVI_METADATA_TAG_IMAGE_COMPRESSION_GAMMA, gamma);
    }
    QVStatus get_compression_block_size(uint32_t& blockSize) const {
        return get_uint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_BLOCK_SIZE, blockSize);
    }
    QVStatus get_dither(uint8_t& dither) const { return get_uint8(QVI_METADATA_TAG_IMAGE_NO_DITHER, dither); }

    // --- Image properties.
    QVStatus getDimensions(uint32_t& width, uint32_t& height) const;
    // The XY origin must be a FLOAT64 vector of 2 (else 50028). The stored y
    // resolution counts as a magnitude (0 as 1.0) and becomes negative here.
    // Rotations are read only if both are present, the WKT if present;
    // otherwise those of `geoCoord` stay. On failure `geoCoord` is untouched.
    QVStatus getGeoCoord(QVIGeoCoord& geoCoord) const;
    // Colour space, band count and data type come from `pixel`; the colour
    // scheme and data type records override the first and last. Integer
    // samples take their precision from the bits-per-sample record or else
    // from the dynamic range.
    QVStatus getPixelProps(QVIPixel& pixel) const;
    // Window and level, one for all bands or one a band, into the sample
    // values of `minimum` and `maximum` (3 if their band counts differ).
    QVStatus getDynamicRange(QVIPixel& minimum, QVIPixel& maximum) const;
    // The default-value record, or for an 8-bit unsigned pixel the historic
    // one; at most the pixel's band count of values is copied (50507 for a
    // record that isn't a vector).
    QVStatus getBackgroundPixel(QVIPixel& pixel) const;
    QVStatus getNoDataPixel(QVIPixel& pixel) const;
    // A new table the caller owns, or null with success when there is none.
    // `pixel` is the index pixel the table serves; the table's entries are
    // always three unsigned 8-bit colour bands.
    QVStatus getPixelLookupTable(const QVIPixel& pixel, QVIPixelLookupTable*& table) const;
    // An absent record means flags 1 (unknown); "LOSSLESS" means none.
    QVStatus get_modifications(unsigned& flags) const;

    // --- Regions of interest (keys IMAGE::AOI::<id>::...).
    QVStatus get_roi(unsigned short id, QVIMetadataRoi& roi) const;
    // The ids in ascending order, in a new[] array the caller delete[]s (null
    // when there are none).
    QVStatus get_roi_indices(unsigned short*& ids, unsigned& count) const;

    // 0 if the georeferencing records agree in presence, type, shape and
    // values, else 1. A record absent from both counts as a difference.
    static QVStatus compare_geo_tags(const QVIMetadataDatabase& a, const QVIMetadataDatabase& b);

    // --- The codes of the classical records. False for values without a code.
    static bool colorSpaceFromScheme(uint32_t scheme, QVIColorSpace& colorSpace);
    static bool schemeFromColorSpace(QVIColorSpace colorSpace, uint32_t& scheme);
    static bool dataTypeFromCode(uint32_t code, QVIDataType& dataType);
    static bool codeFromDataType(QVIDataType dataType, uint32_t& code);
    // The words of IMAGE::MODIFICATIONS read as flags (case-insensitive):
    // an unknown word adds flag 1 and the scan moves on by one character.
    static unsigned parseModifications(const char* words);
    // The words of `flags` in table order, one blank apart, "LOSSLESS" for
    // none and "UNKNOWN" once more for bits outside the table (6 if nothing
    // came out).
    static QVStatus formatModifications(unsigned flags, char (&words)[256]);

protected:
    static const char* keyOf(QVIMetadataTag tag) { return QVIMetadataUtils::lookupName(tag); }
    // "IMAGE::AOI::<id>::<field>".
    static std::string roiKey(unsigned short id, const char* field);

    // The record of `key`, checked for its type.
    QVStatus getTyped(const char* key, QVIMetadataDataType dataType,
                      const QVIMetadataRecord*& record) const;
    template <typename T>
    QVStatus getScalar(const char* key, T& value) const;
    template <typename T>
    QVStatus getVector(const char* key, const T*& values, unsigned& length) const;
    // A pixel-valued record (background, no-data) into the samples of `pixel`.
    QVStatus getPixelValues(QVIMetadataTag tag, QVIPixel& pixel) const;

private:
    // From the bits-per-sample record, else from a usable dynamic range.
    QVStatus setPrecisionFromMetadata(QVIPixel& pixel) const;

    const QVIMetadataDatabase* m_database;
};

}  // namespace Orvanetics
