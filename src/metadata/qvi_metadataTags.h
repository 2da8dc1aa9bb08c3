// The vocabulary of metadata records: value types, key families and the
// dictionary of known keys with their numbers and human-readable names.
#pragma once

#include <cstddef>

#include "qv_utilStatusData.h"

namespace Orvanetics {

// Codes 7 and 8 are unused on purpose: they keep the numbering of stored files.
enum QVIMetadataDataType : int {
    QVI_METADATA_DATATYPE_INVALID = 0,
    QVI_METADATA_DATATYPE_UINT8 = 1,
    QVI_METADATA_DATATYPE_SINT8 = 2,
    QVI_METADATA_DATATYPE_UINT16 = 3,
    QVI_METADATA_DATATYPE_SINT16 = 4,
    QVI_METADATA_DATATYPE_UINT32 = 5,
    QVI_METADATA_DATATYPE_SINT32 = 6,
    QVI_METADATA_DATATYPE_FLOAT32 = 9,
    QVI_METADATA_DATATYPE_FLOAT64 = 10,
    QVI_METADATA_DATATYPE_ASCII = 11,
};

// The family of a key, told by its prefix (QVIMetadataUtils::tagClass).
enum QVIMetadataTagClass : int {
    QVI_METADATA_TAGCLASS_INVALID = 0,
    QVI_METADATA_TAGCLASS_TEST = 1,
    QVI_METADATA_TAGCLASS_CLASSICAL = 2,
    QVI_METADATA_TAGCLASS_GEOTIFF = 3,
    QVI_METADATA_TAGCLASS_USGS = 4,
    QVI_METADATA_TAGCLASS_USER = 5,
    QVI_METADATA_TAGCLASS_IMAGINE = 6,
    QVI_METADATA_TAGCLASS_NITF = 7,
    QVI_METADATA_TAGCLASS_OTHER = 8,
    QVI_METADATA_TAGCLASS_UNKNOWN = 9,
};

// Numbers of the known keys. QVI_METADATA_TAG_UNKNOWN is what an unknown key
// maps to; it and QVI_METADATA_TAG_MAX have empty keys and close the range.
enum QVIMetadataTag : int {
    QVI_METADATA_TAG_INVALID = 0,
    QVI_METADATA_TAG_UNKNOWN = 1,
    QVI_METADATA_TAG_TEST_SCALAR = 2,
    QVI_METADATA_TAG_TEST_VECTOR = 3,
    QVI_METADATA_TAG_TEST_ARRAY = 4,
    QVI_METADATA_TAG_IMAGE_SOM = 10,
    QVI_METADATA_TAG_IMAGE_EOM = 11,
    QVI_METADATA_TAG_IMAGE_INPUT_FORMAT = 100,
    QVI_METADATA_TAG_IMAGE_CREATION_DATE = 101,
    QVI_METADATA_TAG_IMAGE_INPUT_NAME = 102,
    QVI_METADATA_TAG_IMAGE_NO_DATA_VALUE = 103,
    QVI_METADATA_TAG_IMAGE_INPUT_LUT = 104,
    QVI_METADATA_TAG_IMAGE_NO_DITHER = 105,
    QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE = 106,
    QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_WINDOW = 107,
    QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_LEVEL = 108,
    QVI_METADATA_TAG_IMAGE_TARGET_COMPRESSION_RATIO = 109,
    QVI_METADATA_TAG_IMAGE_COMPRESSION_WEIGHT = 110,
    QVI_METADATA_TAG_IMAGE_COMPRESSION_KWEIGHT = 111,
    QVI_METADATA_TAG_IMAGE_COMPRESSION_GAMMA = 112,
    QVI_METADATA_TAG_IMAGE_WIDTH = 113,
    QVI_METADATA_TAG_IMAGE_HEIGHT = 114,
    QVI_METADATA_TAG_IMAGE_COMPRESSION_BLOCK_SIZE = 115,
    QVI_METADATA_TAG_IMAGE_COLOR_SCHEME = 116,
    QVI_METADATA_TAG_IMAGE_COMPRESSION_NLEV = 117,
    QVI_METADATA_TAG_IMAGE_COMPRESSION_VERSION = 118,
    QVI_METADATA_TAG_IMAGE_DEFAULT_DATA_VALUE = 119,
    QVI_METADATA_TAG_IMAGE_TRANSPARENT_DATA_VALUE = 120,
    QVI_METADATA_TAG_IMAGE_FILE_IS_LOCKED = 121,
    QVI_METADATA_TAG_IMAGE_KEY = 122,
    QVI_METADATA_TAG_IMAGE_SIGNATURE = 123,
    QVI_METADATA_TAG_IMAGE_XY_ORIGIN = 124,
    QVI_METADATA_TAG_IMAGE_Z_ORIGIN = 125,
    QVI_METADATA_TAG_IMAGE_X_RESOLUTION = 126,
    QVI_METADATA_TAG_IMAGE_Y_RESOLUTION = 127,
    QVI_METADATA_TAG_IMAGE_Z_RESOLUTION = 128,
    QVI_METADATA_TAG_IMAGE_X_ROTATION = 129,
    QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE = 130,
    QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS = 131,
    QVI_METADATA_TAG_IMAGE_VERTICAL_UNITS = 132,
    QVI_METADATA_TAG_IMAGE_DATA_TYPE = 133,
    QVI_METADATA_TAG_IMAGE_Z_UNITS = 134,
    QVI_METADATA_TAG_IMAGE_Y_ROTATION = 135,
    QVI_METADATA_TAG_IMAGE_WKT = 137,
    QVI_METADATA_TAG_IMAGE_ENCODING_APPLICATION = 138,
    QVI_METADATA_TAG_IMAGE_QVI_ESDK_VERSION = 139,
    QVI_METADATA_TAG_IMAGE_MODIFICATIONS = 140,
    QVI_METADATA_TAG_IMAGE_ENCODING_COMMENT = 141,
    QVI_METADATA_TAG_IMAGE_FORMAT = 142,
    QVI_METADATA_TAG_IMAGE_QUANTIZATION_SCALE = 143,
    QVI_METADATA_TAG_GEO_PCS_CITATION_GEO_KEY = 200,
    QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM = 201,
    QVI_METADATA_TAG_GEO_MODEL_TYPE_GEO_KEY = 202,
    QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY = 203,
    QVI_METADATA_TAG_GEO_HORIZONTAL_COORDSYSTEMZONE = 204,
    QVI_METADATA_TAG_USGS_QUADCOMMENT = 300,
    QVI_METADATA_TAG_USGS_QUADRECT = 301,
    QVI_METADATA_TAG_IMG_CLASSNAME = 400,
    QVI_METADATA_TAG_IMG_HORIZONTAL_UNITS = 401,
    QVI_METADATA_TAG_IMG_TIME_STAMP = 402,
    QVI_METADATA_TAG_IMG_PROJECTION_NAME = 403,
    QVI_METADATA_TAG_IMG_PROJECTION_TYPE = 404,
    QVI_METADATA_TAG_IMG_PROJECTION_PARAMETERS = 405,
    QVI_METADATA_TAG_IMG_SPHEROID_NAME = 406,
    QVI_METADATA_TAG_IMG_BYTE_ORDER = 407,
    QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MAJOR_AXIS = 408,
    QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MINOR_AXIS = 409,
    QVI_METADATA_TAG_IMG_SPHEROID_ECCENTRICITY_SQUARED = 410,
    QVI_METADATA_TAG_IMG_SPHEROID_RADIUS = 411,
    QVI_METADATA_TAG_IMG_STATISTICS_MEAN = 412,
    QVI_METADATA_TAG_IMG_STATISTICS_MEDIAN = 413,
    QVI_METADATA_TAG_IMG_STATISTICS_MODE = 414,
    QVI_METADATA_TAG_IMG_STATISTICS_STDDEV = 415,
    QVI_METADATA_TAG_IMG_PROJECTION_NUMBER = 416,
    QVI_METADATA_TAG_IMG_PROJECTION_ZONE = 417,
    QVI_METADATA_TAG_ICC_PROFILE = 500,
    QVI_METADATA_TAG_PSHOP_IMAGE_RESOURCES = 501,
    QVI_METADATA_TAG_USER_COMPANY_NAME = 600,
    QVI_METADATA_TAG_USER_COPYRIGHT = 601,
    QVI_METADATA_TAG_USER_CREDIT = 602,
    QVI_METADATA_TAG_USER_SUMMARY = 603,
    QVI_METADATA_TAG_USER_KEYWORDS = 604,
    QVI_METADATA_TAG_USER_COMMENTS = 605,
    QVI_METADATA_TAG_USER_IMAGE_ID = 606,
    QVI_METADATA_TAG_USER_IMAGING_DATE = 607,
    QVI_METADATA_TAG_USER_IMAGING_TIME = 608,
    QVI_METADATA_TAG_USER_SOURCE_DEVICE = 609,
    QVI_METADATA_TAG_USER_SCAN_INFO = 610,
    QVI_METADATA_TAG_USER_GEOGRAPHIC_LOCATION = 611,
    QVI_METADATA_TAG_ASCII_COMMENT = 700,
    QVI_METADATA_TAG_GDAL_COORDINATE_SYSTEM = 800,
    QVI_METADATA_TAG_IMAGE_STATISTICS_MIN = 900,
    QVI_METADATA_TAG_IMAGE_STATISTICS_MAX = 901,
    QVI_METADATA_TAG_IMAGE_STATISTICS_MEAN = 902,
    QVI_METADATA_TAG_IMAGE_STATISTICS_STANDARD_DEVIATION = 903,
    QVI_METADATA_TAG_MAX = 10000,
};

// Statuses of the metadata module.
constexpr QVStatus kStsMetadataInternalError = 50501;       // "internal error"
constexpr QVStatus kStsMetadataUnsupportedDatatype = 50502; // "unsupported datatype"
constexpr QVStatus kStsMetadataTagNotFound = 50503;         // "tag not found"
constexpr QVStatus kStsMetadataDuplicateTag = 50504;        // "duplicate tag"
constexpr QVStatus kStsMetadataBadFormat = 50507;           // "bad format for given tag"
constexpr QVStatus kStsMetadataReadError = 50508;           // "could not read metadata"
constexpr QVStatus kStsMetadataWriteError = 50509;          // "could not write metadata"
constexpr QVStatus kStsMetadataCorrupt = 50510;             // "the metadata is corrupt"
constexpr QVStatus kStsMetadataVersionUnsupported = 50511;  // "metadata version unsupported"
constexpr QVStatus kStsMetadataBadIFDRead = 50512;          // "bad IFD read"
constexpr QVStatus kStsMetadataBadIFDWrite = 50513;         // "bad IFD write"

// Records `status` as this thread's last failure and returns it; the texts of
// these statuses take no arguments.
inline QVStatus qviMetadataFailure(QVStatus status) {
    QVUtilStatusData::pushBegin(status);
    QVUtilStatusData::pushEnd();
    return status;
}

// Lookups over the tag dictionary (searched linearly from its first row) and
// the printable names of the enumerations.
class QVIMetadataUtils {
public:
    // QVI_METADATA_TAG_UNKNOWN (1) for a key that is not in the dictionary.
    static QVIMetadataTag lookupTag(const char* key);
    // Null for a number that is not in the dictionary.
    static const char* lookupName(QVIMetadataTag tag);
    static const char* lookupProperName(QVIMetadataTag tag);
    static const char* lookupProperName(const char* key);

    // Null for a value outside the enumeration.
    static const char* name(QVIMetadataDataType dataType);
    static const char* name(QVIMetadataTagClass tagClass);

    static QVIMetadataTagClass tagClass(const char* key);

    // Bytes of one element: 1, 2, 4 or 8, a pointer's size for ASCII, 0 for an invalid type.
    static size_t elementSize(QVIMetadataDataType dataType);
};

}  // namespace Orvanetics
