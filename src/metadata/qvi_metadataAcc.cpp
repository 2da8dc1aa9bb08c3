#include "qvi_metadataAcc.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "qvi_geoCoord.h"
#include "qvi_pixel.h"
#include "qvi_pixelLookupTable.h"
#include "qvi_tableLookup.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

struct ColorSchemeRow {
    uint32_t scheme;
    QVIColorSpace colorSpace;
};

constexpr ColorSchemeRow kColorSchemes[] = {
    {0, QVI_COLORSPACE_RGB},
    {2, QVI_COLORSPACE_CMYK},
    {3, QVI_COLORSPACE_GRAYSCALE},
    {10, QVI_COLORSPACE_MULTISPECTRAL},
    {11, QVI_COLORSPACE_GRAYSCALEA},
    {12, QVI_COLORSPACE_GRAYSCALEA_PM},
    {13, QVI_COLORSPACE_RGBA},
    {14, QVI_COLORSPACE_RGBA_PM},
    {15, QVI_COLORSPACE_CMYKA},
    {16, QVI_COLORSPACE_CMYKA_PM},
};

struct DataTypeRow {
    uint32_t code;
    QVIDataType dataType;
};

constexpr DataTypeRow kDataTypeCodes[] = {
    {0, QVI_DATATYPE_UINT8},   {10, QVI_DATATYPE_SINT8},  {2, QVI_DATATYPE_UINT16},
    {11, QVI_DATATYPE_SINT16}, {14, QVI_DATATYPE_UINT32}, {12, QVI_DATATYPE_SINT32},
    {1, QVI_DATATYPE_FLOAT32}, {16, QVI_DATATYPE_FLOAT64},
};

struct ModificationWord {
    uint32_t flag;
    const char* word;
};

// Table order is the order the words are written in.
constexpr ModificationWord kModificationWords[] = {
    {QVI_MODIFICATION_UNKNOWN, "UNKNOWN"},
    {QVI_MODIFICATION_COMPRESSED, "COMPRESSED"},
    {QVI_MODIFICATION_CROPPED, "CROPPED"},
    {QVI_MODIFICATION_EMBEDDED, "EMBEDDED"},
    {QVI_MODIFICATION_SCALED, "SCALED"},
    {QVI_MODIFICATION_MASKED, "MASKED"},
    {QVI_MODIFICATION_INTERPRETED_ALPHA, "INTERPRETED-ALPHA"},
    {QVI_MODIFICATION_REORDERED_BANDS, "REORDERED-BANDS"},
    {QVI_MODIFICATION_TRANSFORMED_COLORSPACE, "TRANSFORMED-COLORSPACE"},
    {QVI_MODIFICATION_CHANGED_DATATYPE, "CHANGED-DATATYPE"},
    {QVI_MODIFICATION_ALTERED_COLOR, "ALTERED-COLOR"},
    {QVI_MODIFICATION_MOSAICKED, "MOSAICKED"},
    {QVI_MODIFICATION_REPROJECTED, "REPROJECTED"},
    {QVI_MODIFICATION_WATERMARKED, "WATERMARKED"},
    {QVI_MODIFICATION_OVERLAID, "OVERLAID"},
    {QVI_MODIFICATION_COMPRESSED_PER_BAND, "COMPRESSED-PER-BAND"},
    {QVI_MODIFICATION_QUANTIZED, "QUANTIZED"},
    {QVI_MODIFICATION_OPAQUE_ALPHA, "OPAQUE-ALPHA"},
};

constexpr const char* kLosslessWord = "LOSSLESS";
constexpr uint32_t kKnownModifications = 0x3FFFF;

constexpr const char* kRoiPrefix = "IMAGE::AOI::";

// The tags compare_geo_tags looks at, in the order it looks.
constexpr QVIMetadataTag kGeoTags[] = {
    QVI_METADATA_TAG_IMAGE_X_RESOLUTION,     QVI_METADATA_TAG_IMAGE_Y_RESOLUTION,
    QVI_METADATA_TAG_IMAGE_Z_RESOLUTION,     QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS,
    QVI_METADATA_TAG_IMAGE_VERTICAL_UNITS,   QVI_METADATA_TAG_IMAGE_Z_UNITS,
    QVI_METADATA_TAG_IMAGE_DATA_TYPE,        QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE,
    QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM,   QVI_METADATA_TAG_GEO_HORIZONTAL_COORDSYSTEMZONE,
    QVI_METADATA_TAG_GEO_MODEL_TYPE_GEO_KEY, QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY,
    QVI_METADATA_TAG_GEO_PCS_CITATION_GEO_KEY,
};

// Element `index` of a numeric record, widened to double; NaN for ASCII.
double elementAsDouble(const QVIMetadataRecord& record, uint32_t index) {
    const void* data = record.getScalarData();
    auto element = [&](auto sample) {
        decltype(sample) value;
        std::memcpy(&value, static_cast<const uint8_t*>(data) + index * sizeof(value), sizeof(value));
        return static_cast<double>(value);
    };
    switch (record.getDataType()) {
        case QVI_METADATA_DATATYPE_UINT8: return element(uint8_t());
        case QVI_METADATA_DATATYPE_SINT8: return element(int8_t());
        case QVI_METADATA_DATATYPE_UINT16: return element(uint16_t());
        case QVI_METADATA_DATATYPE_SINT16: return element(int16_t());
        case QVI_METADATA_DATATYPE_UINT32: return element(uint32_t());
        case QVI_METADATA_DATATYPE_SINT32: return element(int32_t());
        case QVI_METADATA_DATATYPE_FLOAT32: return element(float());
        case QVI_METADATA_DATATYPE_FLOAT64: return element(double());
        default: return NAN;
    }
}

bool isNumeric(QVIMetadataDataType dataType) {
    return dataType != QVI_METADATA_DATATYPE_ASCII && QVIMetadataUtils::elementSize(dataType) != 0;
}

bool sameRecord(const QVIMetadataRecord& a, const QVIMetadataRecord& b) {
    if (a.getDataType() != b.getDataType() || a.getNumDims() != b.getNumDims()) return false;
    if (!std::equal(a.getDims(), a.getDims() + a.getNumDims(), b.getDims())) return false;
    if (a.getDataType() != QVI_METADATA_DATATYPE_ASCII) {
        return std::memcmp(a.getScalarData(), b.getScalarData(), a.computeLen()) == 0;
    }
    const char* const* textsA = static_cast<const char* const*>(a.getScalarData());
    const char* const* textsB = static_cast<const char* const*>(b.getScalarData());
    for (uint32_t i = 0; i < a.getNumValues(); ++i) {
        if (std::strcmp(textsA[i], textsB[i]) != 0) return false;
    }
    return true;
}

// Window and level records: each one value for all bands or one a band.
struct WindowLevel {
    const double* windows = nullptr;
    unsigned windowCount = 0;
    const double* levels = nullptr;
    unsigned levelCount = 0;

    void minMax(uint16_t band, double& min, double& max) const {
        const double window = windows[windowCount == 1 ? 0 : band];
        const double level = levels[levelCount == 1 ? 0 : band];
        QVIUtils::convertWindowLevelToMinMax(window, level, min, max);
    }
};

QVStatus readWindowLevel(const QVIMetadataAcc& acc, uint16_t numBands, WindowLevel& range) {
    QVStatus status = acc.get_double(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_WINDOW, range.windows,
                                     range.windowCount);
    if (status == 0) {
        status = acc.get_double(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_LEVEL, range.levels,
                                range.levelCount);
    }
    if (status != 0) return status;
    auto fits = [numBands](unsigned count) { return count == 1 || count == numBands; };
    if (!fits(range.windowCount) || !fits(range.levelCount)) {
        return qviMetadataFailure(QVI_STS_Core_MetadataCount);
    }
    return 0;
}

// Significant bits of a range: one for each halving of half its larger
// magnitude until that falls below 1.
uint32_t precisionOfRange(double min, double max) {
    double x = std::max(std::fabs(min), std::fabs(max)) * 0.5;
    uint32_t precision = 1;
    while (x >= 1.0 && precision < 64) {
        x *= 0.5;
        ++precision;
    }
    return precision;
}

// The method word of a region: "weight", "shift inner", "shift outer", "unknown %d".
bool parseRoiMethod(const char* word, int& method) {
    static constexpr const char* kWords[] = {"weight", "shift inner", "shift outer"};
    for (int i = 0; i < 3; ++i) {
        if (std::strcmp(word, kWords[i]) == 0) {
            method = i;
            return true;
        }
    }
    return std::sscanf(word, "unknown %d", &method) == 1;
}

// The id of a region key "IMAGE::AOI::<id>::...".
bool roiIdOfKey(const char* key, unsigned short& id) {
    const size_t prefixLength = std::strlen(kRoiPrefix);
    if (std::strncmp(key, kRoiPrefix, prefixLength) != 0) return false;
    const char* digits = key + prefixLength;
    unsigned long value = 0;
    const char* end = digits;
    while (std::isdigit(static_cast<unsigned char>(*end)) && value <= 0xFFFF) {
        value = value * 10 + static_cast<unsigned long>(*end - '0');
        ++end;
    }
    if (end == digits || value > 0xFFFF || std::strncmp(end, "::", 2) != 0) return false;
    id = static_cast<unsigned short>(value);
    return true;
}

}  // namespace

// ---------------------------------------------------------------------------
// The typed family

QVStatus QVIMetadataAcc::getTyped(const char* key, QVIMetadataDataType dataType,
                                  const QVIMetadataRecord*& record) const {
    if (const QVStatus status = m_database->get(key, record)) return status;
    if (record->getDataType() != dataType) return qviMetadataFailure(QVI_STS_Core_DataTypeMismatch);
    return 0;
}

template <typename T>
QVStatus QVIMetadataAcc::getScalar(const char* key, T& value) const {
    const QVIMetadataRecord* record = nullptr;
    if (const QVStatus status = getTyped(key, QVIMetadataTypeOf<T>::value, record)) return status;
    if (!record->isScalar()) return qviMetadataFailure(QVI_STS_Core_MetadataCount);
    std::memcpy(&value, record->getScalarData(), sizeof(T));
    return 0;
}

template <typename T>
QVStatus QVIMetadataAcc::getVector(const char* key, const T*& values, unsigned& length) const {
    const QVIMetadataRecord* record = nullptr;
    if (const QVStatus status = getTyped(key, QVIMetadataTypeOf<T>::value, record)) return status;
    if (record->getNumDims() != 1) return qviMetadataFailure(QVI_STS_Core_MetadataCount);
    uint32_t count = 0;
    values = static_cast<const T*>(record->getVectorData(count));
    length = count;
    return 0;
}

#define QVI_METADATA_ACC_INSTANTIATE(T)                                                   \
    template QVStatus QVIMetadataAcc::getScalar<T>(const char*, T&) const;                \
    template QVStatus QVIMetadataAcc::getVector<T>(const char*, const T*&, unsigned&) const;
QVI_METADATA_ACC_INSTANTIATE(uint8_t)
QVI_METADATA_ACC_INSTANTIATE(int8_t)
QVI_METADATA_ACC_INSTANTIATE(uint16_t)
QVI_METADATA_ACC_INSTANTIATE(int16_t)
QVI_METADATA_ACC_INSTANTIATE(uint32_t)
QVI_METADATA_ACC_INSTANTIATE(int32_t)
QVI_METADATA_ACC_INSTANTIATE(float)
QVI_METADATA_ACC_INSTANTIATE(double)
#undef QVI_METADATA_ACC_INSTANTIATE

QVStatus QVIMetadataAcc::get_string(QVIMetadataTag tag, const char*& value) const {
    return get_string(keyOf(tag), value);
}

QVStatus QVIMetadataAcc::get_string(const char* key, const char*& value) const {
    const QVIMetadataRecord* record = nullptr;
    if (const QVStatus status = getTyped(key, QVI_METADATA_DATATYPE_ASCII, record)) return status;
    if (!record->isScalar()) return qviMetadataFailure(QVI_STS_Core_MetadataCount);
    value = *static_cast<const char* const*>(record->getScalarData());
    return 0;
}

QVStatus QVIMetadataAcc::get_as_int(QVIMetadataTag tag, int& value) const {
    return get_as_int(keyOf(tag), value);
}

QVStatus QVIMetadataAcc::get_as_int(const char* key, int& value) const {
    const QVIMetadataRecord* record = nullptr;
    if (const QVStatus status = m_database->get(key, record)) return status;
    const QVIMetadataDataType dataType = record->getDataType();
    if (!isNumeric(dataType) || dataType == QVI_METADATA_DATATYPE_FLOAT32 ||
        dataType == QVI_METADATA_DATATYPE_FLOAT64) {
        return qviMetadataFailure(QVI_STS_Core_DataTypeMismatch);
    }
    if (!record->isScalar()) return qviMetadataFailure(QVI_STS_Core_MetadataCount);
    // Widening through 64 bits keeps the sign of the signed types and the
    // bits of UINT32.
    value = static_cast<int>(static_cast<int64_t>(elementAsDouble(*record, 0)));
    return 0;
}

// ---------------------------------------------------------------------------
// Named accessors

QVStatus QVIMetadataAcc::get_compression_version(int32_t& major, int32_t& minor,
                                                 int32_t& revision) const {
    const int32_t* version = nullptr;
    unsigned length = 0;
    if (const QVStatus status = get_sint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_VERSION, version, length)) {
        return status;
    }
    if (length != 3) return qviMetadataFailure(QVI_STS_Core_MetadataCount);
    major = version[0];
    minor = version[1];
    revision = version[2];
    return 0;
}

// ---------------------------------------------------------------------------
// Image properties

QVStatus QVIMetadataAcc::getDimensions(uint32_t& width, uint32_t& height) const {
    uint32_t w = 0;
    uint32_t h = 0;
    QVStatus status = get_uint32(QVI_METADATA_TAG_IMAGE_WIDTH, w);
    if (status == 0) status = get_uint32(QVI_METADATA_TAG_IMAGE_HEIGHT, h);
    if (status != 0) return status;
    width = w;
    height = h;
    return 0;
}

QVStatus QVIMetadataAcc::getGeoCoord(QVIGeoCoord& geoCoord) const {
    const QVIMetadataRecord* origin = nullptr;
    QVStatus status =
        getTyped(keyOf(QVI_METADATA_TAG_IMAGE_XY_ORIGIN), QVI_METADATA_DATATYPE_FLOAT64, origin);
    if (status != 0) return status;
    if (origin->getNumDims() != 1 || origin->getNumValues() != 2) {
        return qviMetadataFailure(QVI_STS_Core_MetadataFormatError);
    }
    double xRes = 0.0;
    double yRes = 0.0;
    status = get_double(QVI_METADATA_TAG_IMAGE_X_RESOLUTION, xRes);
    if (status == 0) status = get_double(QVI_METADATA_TAG_IMAGE_Y_RESOLUTION, yRes);
    if (status != 0) return status;
    // The record holds the y pixel size as a magnitude; the image is north-up.
    yRes = std::fabs(yRes);
    if (yRes == 0.0) yRes = 1.0;

    double xRot = geoCoord.getXRot();
    double yRot = geoCoord.getYRot();
    if (m_database->has(QVI_METADATA_TAG_IMAGE_X_ROTATION) &&
        m_database->has(QVI_METADATA_TAG_IMAGE_Y_ROTATION)) {
        status = get_double(QVI_METADATA_TAG_IMAGE_X_ROTATION, xRot);
        if (status == 0) status = get_double(QVI_METADATA_TAG_IMAGE_Y_ROTATION, yRot);
        if (status != 0) return status;
    }
    const char* wkt = geoCoord.getWKT();
    if (m_database->has(QVI_METADATA_TAG_IMAGE_WKT)) {
        status = get_string(QVI_METADATA_TAG_IMAGE_WKT, wkt);
        if (status != 0) return status;
    }
    try {
        const double* xy = static_cast<const double*>(origin->getScalarData());
        geoCoord = QVIGeoCoord(xy[0], xy[1], xRes, -yRes, xRot, yRot, wkt);
    } catch (const QVUtilException& exception) {
        return qviMetadataFailure(exception.getStatus());
    }
    return 0;
}

QVStatus QVIMetadataAcc::getPixelProps(QVIPixel& pixel) const {
    QVIColorSpace colorSpace = pixel.getColorSpace();
    QVIDataType dataType = pixel.getDataType();
    int code = 0;
    if (m_database->has(QVI_METADATA_TAG_IMAGE_COLOR_SCHEME)) {
        if (const QVStatus status = get_as_int(QVI_METADATA_TAG_IMAGE_COLOR_SCHEME, code)) return status;
        colorSpaceFromScheme(static_cast<uint32_t>(code), colorSpace);
    }
    if (m_database->has(QVI_METADATA_TAG_IMAGE_DATA_TYPE)) {
        if (const QVStatus status = get_as_int(QVI_METADATA_TAG_IMAGE_DATA_TYPE, code)) return status;
        dataTypeFromCode(static_cast<uint32_t>(code), dataType);
    }
    try {
        QVIPixel result(colorSpace, pixel.getNumBands(), dataType);
        if (QVIUtils::isIntegral(dataType)) {
            if (const QVStatus status = setPrecisionFromMetadata(result)) return status;
        }
        pixel = result;
    } catch (const QVUtilException& exception) {
        return qviMetadataFailure(exception.getStatus());
    }
    return 0;
}

QVStatus QVIMetadataAcc::setPrecisionFromMetadata(QVIPixel& pixel) const {
    if (m_database->has(QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE)) {
        int bits = 0;
        if (const QVStatus status = get_as_int(QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE, bits)) return status;
        for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
            pixel.getSample(band).setPrecision(static_cast<uint32_t>(std::max(bits, 0)));
        }
        return 0;
    }
    // Without a precision record the dynamic range tells it, when it is usable.
    WindowLevel range;
    if (!m_database->has(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_WINDOW) ||
        !m_database->has(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_LEVEL) ||
        readWindowLevel(*this, pixel.getNumBands(), range) != 0) {
        return 0;
    }
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        double min = 0.0;
        double max = 0.0;
        range.minMax(band, min, max);
        pixel.getSample(band).setPrecision(precisionOfRange(min, max));
    }
    return 0;
}

QVStatus QVIMetadataAcc::getDynamicRange(QVIPixel& minimum, QVIPixel& maximum) const {
    const uint16_t numBands = minimum.getNumBands();
    if (maximum.getNumBands() != numBands) return qviMetadataFailure(QVI_STS_BadParam);
    WindowLevel range;
    if (const QVStatus status = readWindowLevel(*this, numBands, range)) return status;
    for (uint16_t band = 0; band < numBands; ++band) {
        double min = 0.0;
        double max = 0.0;
        range.minMax(band, min, max);
        QVStatus status = minimum.getSample(band).setValueFromDouble(min);
        if (status == 0) status = maximum.getSample(band).setValueFromDouble(max);
        if (status != 0) return qviMetadataFailure(status);
    }
    return 0;
}

QVStatus QVIMetadataAcc::getPixelValues(QVIMetadataTag tag, QVIPixel& pixel) const {
    const QVIMetadataRecord* record = nullptr;
    if (const QVStatus status = m_database->get(tag, record)) return status;
    if (record->getNumDims() != 1) return qviMetadataFailure(QVI_STS_Metadata_BadTagFormat);
    if (!isNumeric(record->getDataType())) return qviMetadataFailure(QVI_STS_Core_DataTypeMismatch);
    const uint32_t count = std::min<uint32_t>(record->getNumValues(), pixel.getNumBands());
    for (uint32_t band = 0; band < count; ++band) {
        const QVStatus status =
            pixel.getSample(static_cast<uint16_t>(band)).setValueFromDouble(elementAsDouble(*record, band));
        if (status != 0) return qviMetadataFailure(status);
    }
    return 0;
}

QVStatus QVIMetadataAcc::getBackgroundPixel(QVIPixel& pixel) const {
    // 8-bit backgrounds historically went under the no-data key.
    const bool historic = !m_database->has(QVI_METADATA_TAG_IMAGE_DEFAULT_DATA_VALUE) &&
                          pixel.getDataType() == QVI_DATATYPE_UINT8;
    return getPixelValues(historic ? QVI_METADATA_TAG_IMAGE_NO_DATA_VALUE
                                   : QVI_METADATA_TAG_IMAGE_DEFAULT_DATA_VALUE,
                          pixel);
}

QVStatus QVIMetadataAcc::getNoDataPixel(QVIPixel& pixel) const {
    return getPixelValues(QVI_METADATA_TAG_IMAGE_TRANSPARENT_DATA_VALUE, pixel);
}

QVStatus QVIMetadataAcc::getPixelLookupTable(const QVIPixel& /*indexPixel*/,
                                             QVIPixelLookupTable*& table) const {
    table = nullptr;
    if (!m_database->has(QVI_METADATA_TAG_IMAGE_INPUT_LUT)) return 0;
    const QVIMetadataRecord* record = nullptr;
    const QVStatus status =
        getTyped(keyOf(QVI_METADATA_TAG_IMAGE_INPUT_LUT), QVI_METADATA_DATATYPE_UINT8, record);
    if (status != 0) return status;
    uint32_t numDims = 0;
    const uint32_t* dims = nullptr;
    const void* entries = record->getArrayData(numDims, dims);
    if (numDims != 2 || dims[0] != 3 || dims[1] == 0) {
        return qviMetadataFailure(QVI_STS_Metadata_BadTagFormat);
    }
    try {
        auto result = std::make_unique<QVIPixelLookupTable>(
            QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), dims[1]);
        result->setTableEntries(entries);
        table = result.release();
    } catch (const QVUtilException& exception) {
        return qviMetadataFailure(exception.getStatus());
    } catch (const std::bad_alloc&) {
        return qviMetadataFailure(QVI_STS_OutOfMemory);
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Modification flags

QVStatus QVIMetadataAcc::get_modifications(unsigned& flags) const {
    if (!m_database->has(QVI_METADATA_TAG_IMAGE_MODIFICATIONS)) {
        flags = QVI_MODIFICATION_UNKNOWN;
        return 0;
    }
    const char* words = nullptr;
    if (const QVStatus status = get_string(QVI_METADATA_TAG_IMAGE_MODIFICATIONS, words)) return status;
    flags = parseModifications(words);
    return 0;
}

namespace {

// True if `text` begins with `word`, in any case, followed by white space or the end.
bool startsWithWord(const char* text, const char* word) {
    const size_t length = std::strlen(word);
    for (size_t i = 0; i < length; ++i) {
        if (std::toupper(static_cast<unsigned char>(text[i])) != static_cast<unsigned char>(word[i])) {
            return false;
        }
    }
    return text[length] == '\0' || std::isspace(static_cast<unsigned char>(text[length]));
}

// The flag of the word at `text` and its length; false for no known word.
bool matchModificationWord(const char* text, uint32_t& flag, size_t& length) {
    if (startsWithWord(text, kLosslessWord)) {
        flag = 0;
        length = std::strlen(kLosslessWord);
        return true;
    }
    for (const ModificationWord& entry : kModificationWords) {
        if (startsWithWord(text, entry.word)) {
            flag = entry.flag;
            length = std::strlen(entry.word);
            return true;
        }
    }
    return false;
}

}  // namespace

unsigned QVIMetadataAcc::parseModifications(const char* words) {
    unsigned flags = 0;
    const char* at = words != nullptr ? words : "";
    while (*at != '\0') {
        if (std::isspace(static_cast<unsigned char>(*at))) {
            ++at;
            continue;
        }
        uint32_t flag = 0;
        size_t length = 0;
        if (matchModificationWord(at, flag, length)) {
            flags |= flag;
            at += length;
        } else {
            flags |= QVI_MODIFICATION_UNKNOWN;
            ++at;
        }
    }
    return flags;
}

QVStatus QVIMetadataAcc::formatModifications(unsigned flags, char (&words)[256]) {
    size_t used = 0;
    auto append = [&](const char* word) {
        const int written = std::snprintf(words + used, sizeof(words) - used, "%s ", word);
        if (written > 0) used = std::min(sizeof(words) - 1, used + static_cast<size_t>(written));
    };
    words[0] = '\0';
    if (flags == 0) append(kLosslessWord);
    for (const ModificationWord& entry : kModificationWords) {
        if ((flags & entry.flag) != 0) append(entry.word);
    }
    if ((flags & ~kKnownModifications) != 0) append(kModificationWords[0].word);
    if (used == 0) return qviMetadataFailure(QVI_STS_NotReached);
    if (words[used - 1] == ' ') words[used - 1] = '\0';
    return 0;
}

// ---------------------------------------------------------------------------
// Regions of interest

std::string QVIMetadataAcc::roiKey(unsigned short id, const char* field) {
    return kRoiPrefix + std::to_string(id) + "::" + field;
}

QVStatus QVIMetadataAcc::get_roi(unsigned short id, QVIMetadataRoi& roi) const {
    QVIMetadataRoi result;
    unsigned yLength = 0;
    const char* method = nullptr;
    QVStatus status = get_double(roiKey(id, "REGION::X").c_str(), result.x, result.length);
    if (status == 0) status = get_double(roiKey(id, "REGION::Y").c_str(), result.y, yLength);
    if (status == 0) status = get_string(roiKey(id, "METHOD").c_str(), method);
    if (status == 0) status = get_double(roiKey(id, "MAGNIFICATION").c_str(), result.magnification);
    if (status != 0) return status;
    if (yLength != result.length || !parseRoiMethod(method, result.method)) {
        return qviMetadataFailure(QVI_STS_Core_MetadataFormatError);
    }
    // The optional keys keep their defaults when absent.
    auto optional = [&](const char* field, auto& value) -> QVStatus {
        const std::string key = roiKey(id, field);
        if (!m_database->has(key.c_str())) return 0;
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, const char*>) {
            return get_string(key.c_str(), value);
        } else {
            return getScalar(key.c_str(), value);
        }
    };
    int32_t layer = result.overlayLayer;
    status = optional("WEIGHT", result.weight);
    if (status == 0) status = optional("REGION::VECTOROVERLAY", result.overlay);
    if (status == 0) status = optional("REGION::VECTOROVERLAY_LAYER", layer);
    if (status == 0) status = optional("NAME", result.name);
    if (status == 0) status = optional("COMMENT", result.comment);
    if (status == 0) status = optional("URL", result.url);
    if (status != 0) return status;
    result.overlayLayer = layer;
    roi = result;
    return 0;
}

QVStatus QVIMetadataAcc::get_roi_indices(unsigned short*& ids, unsigned& count) const {
    ids = nullptr;
    count = 0;
    std::vector<unsigned short> found;
    const QVIMetadataRecord* record = nullptr;
    for (uint32_t index = 0; m_database->getDataByIndex(index, record) == 0; ++index) {
        unsigned short id = 0;
        if (roiIdOfKey(record->getTagName(), id)) found.push_back(id);
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    if (found.empty()) return 0;
    ids = new (std::nothrow) unsigned short[found.size()];
    if (ids == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
    std::copy(found.begin(), found.end(), ids);
    count = static_cast<unsigned>(found.size());
    return 0;
}

// ---------------------------------------------------------------------------
// Comparison and codes

QVStatus QVIMetadataAcc::compare_geo_tags(const QVIMetadataDatabase& a, const QVIMetadataDatabase& b) {
    for (const QVIMetadataTag tag : kGeoTags) {
        const QVIMetadataRecord* recordA = nullptr;
        const QVIMetadataRecord* recordB = nullptr;
        if (!a.has(tag) || !b.has(tag) || a.get(tag, recordA) != 0 || b.get(tag, recordB) != 0) return 1;
        if (!sameRecord(*recordA, *recordB)) return 1;
    }
    return 0;
}

bool QVIMetadataAcc::colorSpaceFromScheme(uint32_t scheme, QVIColorSpace& colorSpace) {
    return lookupTableRow(kColorSchemes, &ColorSchemeRow::scheme, &ColorSchemeRow::colorSpace, scheme, colorSpace);
}

bool QVIMetadataAcc::schemeFromColorSpace(QVIColorSpace colorSpace, uint32_t& scheme) {
    return lookupTableRow(kColorSchemes, &ColorSchemeRow::colorSpace, &ColorSchemeRow::scheme, colorSpace, scheme);
}

bool QVIMetadataAcc::dataTypeFromCode(uint32_t code, QVIDataType& dataType) {
    return lookupTableRow(kDataTypeCodes, &DataTypeRow::code, &DataTypeRow::dataType, code, dataType);
}

bool QVIMetadataAcc::codeFromDataType(QVIDataType dataType, uint32_t& code) {
    return lookupTableRow(kDataTypeCodes, &DataTypeRow::dataType, &DataTypeRow::code, dataType, code);
}

}  // namespace Orvanetics
