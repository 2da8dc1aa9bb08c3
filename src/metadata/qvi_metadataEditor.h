// Typed writing of a metadata database: the setters and removers that go
// with the getters of QVIMetadataAcc.
#pragma once

#include <cstdint>

#include "qvi_metadataAcc.h"

namespace Orvanetics {

class QVIImage;
class QVIScene;

// A view over a database it doesn't own. Setters replace: the key is removed
// first, so a failed set leaves it absent. Removers succeed whether or not
// the keys were there. Setting by a tag the dictionary doesn't know gives 50003.
class QVIMetadataEditor : public QVIMetadataAcc {
public:
    explicit QVIMetadataEditor(QVIMetadataDatabase& database)
        : QVIMetadataAcc(database), m_editableDatabase(&database) {}

    // --- The typed family: set_uint8 .. set_double, by tag and by key, a
    // scalar or a vector.
#define QVI_METADATA_EDITOR_SETTERS(Name, T)                                                     \
    QVStatus set_##Name(QVIMetadataTag tag, T value) { return setVector(keyOf(tag), &value, 0); } \
    QVStatus set_##Name(const char* key, T value) { return setVector(key, &value, 0); }          \
    QVStatus set_##Name(QVIMetadataTag tag, const T* values, unsigned length)                    \
    {                                                                                            \
        return setVector(keyOf(tag), values, 1, &length);                                       \
    }                                                                                            \
    QVStatus set_##Name(const char* key, const T* values, unsigned length)                       \
    {                                                                                            \
        return setVector(key, values, 1, &length);                                               \
    }
    QVI_METADATA_EDITOR_SETTERS(uint8, uint8_t)
    QVI_METADATA_EDITOR_SETTERS(sint8, int8_t)
    QVI_METADATA_EDITOR_SETTERS(uint16, uint16_t)
    QVI_METADATA_EDITOR_SETTERS(sint16, int16_t)
    QVI_METADATA_EDITOR_SETTERS(uint32, uint32_t)
    QVI_METADATA_EDITOR_SETTERS(sint32, int32_t)
    QVI_METADATA_EDITOR_SETTERS(float, float)
    QVI_METADATA_EDITOR_SETTERS(double, double)
#undef QVI_METADATA_EDITOR_SETTERS

    // A scalar ASCII record (a null text is stored empty).
    QVStatus set_string(QVIMetadataTag tag, const char* value);
    QVStatus set_string(const char* key, const char* value);

    // Any record: `data` in the layout of QVIMetadataRecord.
    QVStatus replaceRecord(const char* key, QVIMetadataDataType dataType, const void* data,
                           uint32_t numDims, const uint32_t* dims);
    // Removes the key if it is there.
    void removeIfPresent(QVIMetadataTag tag);
    void removeIfPresent(const char* key);

    // --- Named accessors over the dictionary's keys.
    QVStatus set_pcs(uint16_t pcs) { return set_uint16(QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY, pcs); }
    QVStatus set_datum(uint16_t datum) { return set_uint16(QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM, datum); }
    QVStatus set_units(uint16_t units) { return set_uint16(QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS, units); }
    QVStatus set_z_res(double zRes) { return set_double(QVI_METADATA_TAG_IMAGE_Z_RESOLUTION, zRes); }
    QVStatus set_comment(const char* comment) { return set_string(QVI_METADATA_TAG_ASCII_COMMENT, comment); }
    QVStatus set_input_format(const char* format) { return set_string(QVI_METADATA_TAG_IMAGE_INPUT_FORMAT, format); }
    QVStatus setInputName(const char* name) { return set_string(QVI_METADATA_TAG_IMAGE_INPUT_NAME, name); }
    QVStatus removeInputName();
    QVStatus set_input_file_size(double size) { return set_double(QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE, size); }
    QVStatus set_compression_version(int32_t major, int32_t minor, int32_t revision);
    QVStatus set_creation_date(const char* date) { return set_string(QVI_METADATA_TAG_IMAGE_CREATION_DATE, date); }
    QVStatus set_target_compression_ratio(float ratio) {
        return set_float(QVI_METADATA_TAG_IMAGE_TARGET_COMPRESSION_RATIO, ratio);
    }
    QVStatus set_compression_nlev(uint32_t levels) {
        return set_uint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_NLEV, levels);
    }
    QVStatus set_compression_weight(float weight) {
        return set_float(QVI_METADATA_TAG_IMAGE_COMPRESSION_WEIGHT, weight);
    }
    QVStatus set_compression_kweight(float kweight) {
        return set_float(QVI_METADATA_TAG_IMAGE_COMPRESSION_KWEIGHT, kweight);
    }
    QVStatus set_compression_gamma(float gamma) { return set_float(QVI_METADATA_TAG_IMAGE_COMPRESSION_GAMMA, gamma); }
    QVStatus set_compression_block_size(uint32_t blockSize) {
        return set_uint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_BLOCK_SIZE, blockSize);
    }
    // Stores 0.
    QVStatus set_dither() { return set_uint8(QVI_METADATA_TAG_IMAGE_NO_DITHER, static_cast<uint8_t>(0)); }
    QVStatus set_encoding_application(const char* application) {
        return set_string(QVI_METADATA_TAG_IMAGE_ENCODING_APPLICATION, application);
    }
    QVStatus set_encoder_comment(const char* comment) {
        return set_string(QVI_METADATA_TAG_IMAGE_ENCODING_COMMENT, comment);
    }
    QVStatus set_file_format(const char* format) { return set_string(QVI_METADATA_TAG_IMAGE_FORMAT, format); }
    QVStatus setQuantizationScale(const float* scales, unsigned short count) {
        return set_float(QVI_METADATA_TAG_IMAGE_QUANTIZATION_SCALE, scales, count);
    }
    // This library's version and build label: "9.5.4.4709.<label>".
    QVStatus set_esdk_version();

    // --- Image properties.
    QVStatus setDimensions(uint32_t width, uint32_t height);
    QVStatus removeDimensions();
    // Rotations are written only when either is non-zero, the WKT if there is one.
    QVStatus setGeoCoord(const QVIGeoCoord& geoCoord);
    QVStatus removeGeoCoord();
    // Colour scheme and data type codes where the tables have them (a stale
    // record of a space or type without a code is removed), then setPixelBPS.
    QVStatus setPixelProps(const QVIPixel& pixel, bool forceBPS);
    // The largest sample precision, unless it is the full sample width, no
    // such record is there yet and `force` is false.
    QVStatus setPixelBPS(const QVIPixel& pixel, bool force);
    QVStatus removePixelProps();
    // Window and level: scalars when all bands agree, else one a band.
    QVStatus setDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum);
    QVStatus removeDynamicRange();
    // An 8-bit unsigned pixel goes to the historic NO_DATA_VALUE key, any
    // other to DEFAULT_DATA_VALUE, as a vector in the pixel's type.
    QVStatus setBackgroundPixel(const QVIPixel& pixel);
    QVStatus removeBackgroundPixel();
    QVStatus setNoDataPixel(const QVIPixel& pixel);
    QVStatus removeNoDataPixel();
    // Three unsigned 8-bit bands without alpha, else 50003.
    QVStatus setPixelLookupTable(const QVIPixelLookupTable& table);
    QVStatus removePixelLookupTable();
    // Mean and standard deviation as FLOAT64 vectors; minimum and maximum in
    // the pixel's type, truncated. A null array writes nothing for its key.
    QVStatus setStatistics(const QVIPixel& pixel, const double* mean, const double* stddev,
                           const double* min, const double* max);
    // The words of the flags in table order, "LOSSLESS" for none.
    QVStatus set_modifications(unsigned flags);
    // Dimensions, pixel properties, and where the image has them the dynamic
    // range, lookup table, background, no-data pixel and georeference.
    QVStatus setClassicalMetadata(const QVIImage& image);
    QVStatus removeClassicalMetadata();

    // --- Regions of interest (keys IMAGE::AOI::<id>::...). Null texts leave
    // their keys, empty texts remove them; an overlay layer of -1 means none.
    QVStatus set_roi(unsigned short id, const double* x, const double* y, unsigned length,
                     int method, double magnification, double weight, const char* overlay,
                     int overlayLayer, const char* name, const char* comment, const char* url);
    // The scene's four corners, at its magnification.
    QVStatus set_roi(unsigned short id, const QVIScene& scene, int method, double weight,
                     const char* overlay, int overlayLayer, const char* name,
                     const char* comment, const char* url);
    // As set_roi under the smallest unused id (50003 when all are used).
    QVStatus add_roi(unsigned short& id, const double* x, const double* y, unsigned length,
                     int method, double magnification, double weight, const char* overlay,
                     int overlayLayer, const char* name, const char* comment, const char* url);
    QVStatus add_roi(unsigned short& id, const QVIScene& scene, int method, double weight,
                     const char* overlay, int overlayLayer, const char* name,
                     const char* comment, const char* url);
    // Every key of the region.
    QVStatus remove_roi(unsigned short id);
    // Clips each stored polygon to the scene (taken to each region's
    // magnification); regions left empty are removed.
    QVStatus crop_roi(const QVIScene& scene);

private:
    template <typename T>
    QVStatus setVector(const char* key, const T* values, uint32_t numDims,
                       const uint32_t* dims = nullptr);
    // A pixel's sample values as a vector in its type under `tag`.
    QVStatus setPixelValues(QVIMetadataTag tag, const QVIPixel& pixel);
    QVStatus setDoubles(QVIMetadataTag tag, const double* values, uint32_t count);
    QVStatus setRoiText(const char* key, const char* text);
    QVStatus setRoiOverlay(unsigned short id, const char* overlay, int overlayLayer);
    QVStatus setRoiPolygon(unsigned short id, const double* x, const double* y, unsigned length,
                           double magnification);
    QVStatus findUnusedRoiId(unsigned short& id) const;

    QVIMetadataDatabase* m_editableDatabase;
};

}  // namespace Orvanetics
