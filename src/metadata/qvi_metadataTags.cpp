#include "qvi_metadataTags.h"

#include <cstring>

#include "qvi_tableLookup.h"

namespace Orvanetics {

namespace {

struct TagRow {
    QVIMetadataTag tag;
    const char* key;
    const char* properName;
};

// Searched linearly from the first row: the first match wins.
constexpr TagRow kTagTable[] = {
    {QVI_METADATA_TAG_INVALID, "(invalid)", "(invalid)"},
    {QVI_METADATA_TAG_TEST_SCALAR, "TEST::TestScalar", "Test scalar"},
    {QVI_METADATA_TAG_TEST_VECTOR, "TEST::TestVector", "Test vector"},
    {QVI_METADATA_TAG_TEST_ARRAY, "TEST::TestArray", "Test array"},
    {QVI_METADATA_TAG_IMAGE_SOM, "IMAGE::SOM", "Start of Metadata"},
    {QVI_METADATA_TAG_IMAGE_EOM, "IMAGE::EOM", "End of Metadata"},
    {QVI_METADATA_TAG_IMAGE_INPUT_FORMAT, "IMAGE::INPUT_FORMAT", "Input format"},
    {QVI_METADATA_TAG_IMAGE_CREATION_DATE, "IMAGE::CREATION_DATE", "Creation date"},
    {QVI_METADATA_TAG_IMAGE_INPUT_NAME, "IMAGE::INPUT_NAME", "Original file name"},
    {QVI_METADATA_TAG_IMAGE_NO_DATA_VALUE, "IMAGE::NO_DATA_VALUE", "NODATA pixel value"},
    {QVI_METADATA_TAG_IMAGE_INPUT_LUT, "IMAGE::INPUT_LUT", "Color lookup-table (LUT)"},
    {QVI_METADATA_TAG_IMAGE_NO_DITHER, "IMAGE::NO_DITHER", "Dithering disabled"},
    {QVI_METADATA_TAG_IMAGE_INPUT_FILE_SIZE, "IMAGE::INPUT_FILE_SIZE", "Original file size (bytes)"},
    {QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_WINDOW, "IMAGE::DYNAMIC_RANGE_WINDOW", "Dynamic range window size"},
    {QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_LEVEL, "IMAGE::DYNAMIC_RANGE_LEVEL", "Dynamic range level value"},
    {QVI_METADATA_TAG_IMAGE_TARGET_COMPRESSION_RATIO, "IMAGE::TARGET_COMPRESSION_RATIO", "Compression ratio"},
    {QVI_METADATA_TAG_IMAGE_COMPRESSION_WEIGHT, "IMAGE::COMPRESSION_WEIGHT", "Compression weight parameter value"},
    {QVI_METADATA_TAG_IMAGE_COMPRESSION_KWEIGHT, "IMAGE::COMPRESSION_KWEIGHT", "Compression K-weight parameter value"},
    {QVI_METADATA_TAG_IMAGE_COMPRESSION_GAMMA, "IMAGE::COMPRESSION_GAMMA", "Compression gamma parameter value"},
    {QVI_METADATA_TAG_IMAGE_WIDTH, "IMAGE::WIDTH", "Image width (pixels)"},
    {QVI_METADATA_TAG_IMAGE_HEIGHT, "IMAGE::HEIGHT", "Image height (pixels)"},
    {QVI_METADATA_TAG_IMAGE_COMPRESSION_BLOCK_SIZE, "IMAGE::COMPRESSION_BLOCK_SIZE", "Compression block size parameter value"},
    {QVI_METADATA_TAG_IMAGE_COLOR_SCHEME, "IMAGE::COLOR_SCHEME", "Image colorspace"},
    {QVI_METADATA_TAG_IMAGE_COMPRESSION_NLEV, "IMAGE::COMPRESSION_NLEV", "Number of zoom levels"},
    {QVI_METADATA_TAG_IMAGE_COMPRESSION_VERSION, "IMAGE::COMPRESSION_VERSION", "Compression version"},
    {QVI_METADATA_TAG_IMAGE_DEFAULT_DATA_VALUE, "IMAGE::DEFAULT_DATA_VALUE", "Background pixel value"},
    {QVI_METADATA_TAG_IMAGE_TRANSPARENT_DATA_VALUE, "IMAGE::TRANSPARENT_DATA_VALUE", "Transparent pixel value"},
    {QVI_METADATA_TAG_IMAGE_FILE_IS_LOCKED, "IMAGE::FILE_IS_LOCKED", "Image encryption enabled"},
    {QVI_METADATA_TAG_IMAGE_KEY, "IMAGE::KEY", "Image encryption key"},
    {QVI_METADATA_TAG_IMAGE_SIGNATURE, "IMAGE::SIGNATURE", "Image encryption signature"},
    {QVI_METADATA_TAG_IMAGE_XY_ORIGIN, "IMAGE::XY_ORIGIN", "Geographic (x,y)-origin"},
    {QVI_METADATA_TAG_IMAGE_Z_ORIGIN, "IMAGE::Z_ORIGIN", "Geographic z-origin"},
    {QVI_METADATA_TAG_IMAGE_X_RESOLUTION, "IMAGE::X_RESOLUTION", "Geographic x-resolution"},
    {QVI_METADATA_TAG_IMAGE_Y_RESOLUTION, "IMAGE::Y_RESOLUTION", "Geographic y-resolution"},
    {QVI_METADATA_TAG_IMAGE_Z_RESOLUTION, "IMAGE::Z_RESOLUTION", "Geographic z-resolution"},
    {QVI_METADATA_TAG_IMAGE_X_ROTATION, "IMAGE::X_ROTATION", "Geographic x-rotation parameter"},
    {QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE, "IMAGE::BITS_PER_SAMPLE", "Bits per sample"},
    {QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS, "IMAGE::HORIZONTAL_UNITS", "Geographic x-axis units"},
    {QVI_METADATA_TAG_IMAGE_VERTICAL_UNITS, "IMAGE::VERTICAL_UNITS", "Geographic y-axis units"},
    {QVI_METADATA_TAG_IMAGE_DATA_TYPE, "IMAGE::DATA_TYPE", "Image data type"},
    {QVI_METADATA_TAG_IMAGE_Z_UNITS, "IMAGE::Z_UNITS", "Geographic z-axis units"},
    // The y-rotation row carries the x-rotation's proper name, as stored files expect.
    {QVI_METADATA_TAG_IMAGE_Y_ROTATION, "IMAGE::Y_ROTATION", "Geographic x-rotation parameter"},
    {QVI_METADATA_TAG_IMAGE_WKT, "IMAGE::WKT", "Geographic Well-Known Text (WKT) string"},
    {QVI_METADATA_TAG_IMAGE_ENCODING_APPLICATION, "IMAGE::ENCODING_APPLICATION", "Encoding application name"},
    {QVI_METADATA_TAG_IMAGE_QVI_ESDK_VERSION, "IMAGE::QVI_ESDK_VERSION", "Encoding SDK version"},
    {QVI_METADATA_TAG_IMAGE_MODIFICATIONS, "IMAGE::MODIFICATIONS", "Encoding modifications undergone by this file"},
    {QVI_METADATA_TAG_IMAGE_ENCODING_COMMENT, "IMAGE::ENCODING_COMMENT", "Comment on the encoding context of this file"},
    {QVI_METADATA_TAG_IMAGE_FORMAT, "IMAGE::FORMAT", "Legible representation of this file's format"},
    {QVI_METADATA_TAG_IMAGE_QUANTIZATION_SCALE, "IMAGE::QUANTIZATION_SCALE", "The quantization bucket size"},
    {QVI_METADATA_TAG_GEO_PCS_CITATION_GEO_KEY, "GEO::PCSCitationGeoKey", "PCSCitationGeoKey"},
    {QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM, "GEO::HORIZONTAL_DATUM", "Horizontal datum"},
    {QVI_METADATA_TAG_GEO_MODEL_TYPE_GEO_KEY, "GEO::ModelTypeGeoKey", "ModelTypeGeoKey"},
    {QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY, "GEO::ProjectedCSTypeGeoKey", "ProjectedCSTypeGeoKey"},
    {QVI_METADATA_TAG_GEO_HORIZONTAL_COORDSYSTEMZONE, "GEO::HORIZONTAL_COORDSYSTEMZONE", "Horizontal coordinate system zone"},
    {QVI_METADATA_TAG_USGS_QUADCOMMENT, "USGS::QUADCOMMENT:", "Comment"},
    {QVI_METADATA_TAG_USGS_QUADRECT, "USGS::QUADRECT:", "QuadRect"},
    {QVI_METADATA_TAG_IMG_CLASSNAME, "IMG::CLASSNAME:", "Class name"},
    {QVI_METADATA_TAG_IMG_HORIZONTAL_UNITS, "IMG::HORIZONTAL_UNITS", "Horizontal units"},
    {QVI_METADATA_TAG_IMG_TIME_STAMP, "IMG::TIME_STAMP", "Time stamp"},
    {QVI_METADATA_TAG_IMG_PROJECTION_NAME, "IMG::PROJECTION:NAME", "Projection name"},
    {QVI_METADATA_TAG_IMG_PROJECTION_TYPE, "IMG::PROJECTION:TYPE", "Projection type"},
    {QVI_METADATA_TAG_IMG_PROJECTION_PARAMETERS, "IMG::PROJECTION:PARAMETERS", "Projection parameters"},
    {QVI_METADATA_TAG_IMG_SPHEROID_NAME, "IMG::SPHEROID:NAME", "Spheroid name"},
    {QVI_METADATA_TAG_IMG_BYTE_ORDER, "IMG::BYTE_ORDER", "Byte order"},
    {QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MAJOR_AXIS, "IMG::SPHEROID:SEMI_MAJOR_AXIS", "Semi-major axis value"},
    {QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MINOR_AXIS, "IMG::SPHEROID:SEMI_MINOR_AXIS", "Semi-minor axis value"},
    {QVI_METADATA_TAG_IMG_SPHEROID_ECCENTRICITY_SQUARED, "IMG::SPHEROID:ECCENTRICITY_SQUARED", "Eccentricity squared value"},
    {QVI_METADATA_TAG_IMG_SPHEROID_RADIUS, "IMG::SPHEROID:RADIUS", "Spheroid radius"},
    {QVI_METADATA_TAG_IMG_STATISTICS_MEAN, "IMG::STATISTICS:MEAN", "Statistical pixel mean value"},
    {QVI_METADATA_TAG_IMG_STATISTICS_MEDIAN, "IMG::STATISTICS:MEDIAN", "Statistical pixel median value"},
    {QVI_METADATA_TAG_IMG_STATISTICS_MODE, "IMG::STATISTICS:MODE", "Statistical pixel mode value"},
    {QVI_METADATA_TAG_IMG_STATISTICS_STDDEV, "IMG::STATISTICS:STDDEV", "Statistical pixel standard deviation"},
    {QVI_METADATA_TAG_IMG_PROJECTION_NUMBER, "IMG::PROJECTION:NUMBER", "Projection number"},
    {QVI_METADATA_TAG_IMG_PROJECTION_ZONE, "IMG::PROJECTION:ZONE", "Projection zone"},
    {QVI_METADATA_TAG_ICC_PROFILE, "ICC::Profile", "ICC profile"},
    {QVI_METADATA_TAG_PSHOP_IMAGE_RESOURCES, "PShop::ImageResources", "Photoshop resource values"},
    {QVI_METADATA_TAG_USER_COMPANY_NAME, "USER::COMPANY_NAME", "Company name"},
    {QVI_METADATA_TAG_USER_COPYRIGHT, "USER::COPYRIGHT", "Copyright date"},
    {QVI_METADATA_TAG_USER_CREDIT, "USER::CREDIT", "Credit"},
    {QVI_METADATA_TAG_USER_SUMMARY, "USER::SUMMARY", "Summary"},
    {QVI_METADATA_TAG_USER_KEYWORDS, "USER::KEYWORDS", "Keywords"},
    {QVI_METADATA_TAG_USER_COMMENTS, "USER::COMMENTS", "Comments"},
    {QVI_METADATA_TAG_USER_IMAGE_ID, "USER::IMAGE_ID", "Image ID"},
    {QVI_METADATA_TAG_USER_IMAGING_DATE, "USER::IMAGING_DATE", "Imaging date"},
    {QVI_METADATA_TAG_USER_IMAGING_TIME, "USER::IMAGING_TIME", "Imaging time"},
    {QVI_METADATA_TAG_USER_SOURCE_DEVICE, "USER::SOURCE_DEVICE", "Source device"},
    {QVI_METADATA_TAG_USER_SCAN_INFO, "USER::SCAN_INFO", "Scan information"},
    {QVI_METADATA_TAG_USER_GEOGRAPHIC_LOCATION, "USER::GEOGRAPHIC_LOCATION", "Geographic location"},
    {QVI_METADATA_TAG_ASCII_COMMENT, "ASCII::COMMENT", "Comment"},
    {QVI_METADATA_TAG_GDAL_COORDINATE_SYSTEM, "GDAL::COORDINATE_SYSTEM", "GDAL coordinate system"},
    {QVI_METADATA_TAG_IMAGE_STATISTICS_MIN, "IMAGE::STATISTICS:MIN", "Statistical pixel minimum value"},
    {QVI_METADATA_TAG_IMAGE_STATISTICS_MAX, "IMAGE::STATISTICS:MAX", "Statistical pixel maximum value"},
    {QVI_METADATA_TAG_IMAGE_STATISTICS_MEAN, "IMAGE::STATISTICS:MEAN", "Statistical pixel mean value"},
    {QVI_METADATA_TAG_IMAGE_STATISTICS_STANDARD_DEVIATION, "IMAGE::STATISTICS:STANDARD_DEVIATION", "Statistical pixel standard deviation"},
    {QVI_METADATA_TAG_UNKNOWN, "", ""},
    {QVI_METADATA_TAG_MAX, "", ""},
};
static_assert(sizeof(kTagTable) / sizeof(kTagTable[0]) == 96, "the dictionary has 96 rows");

const TagRow* findRow(QVIMetadataTag tag) { return findTableRow(kTagTable, &TagRow::tag, tag); }

struct PrefixClass {
    const char* prefix;
    QVIMetadataTagClass tagClass;
};

// Tested in this order; the first prefix that matches decides.
constexpr PrefixClass kPrefixClasses[] = {
    {"TEST::", QVI_METADATA_TAGCLASS_TEST},      {"IMAGE::", QVI_METADATA_TAGCLASS_CLASSICAL},
    {"GEO::", QVI_METADATA_TAGCLASS_GEOTIFF},    {"GEOTIFF_", QVI_METADATA_TAGCLASS_GEOTIFF},
    {"USGS::", QVI_METADATA_TAGCLASS_USGS},      {"USER::", QVI_METADATA_TAGCLASS_USER},
    {"IMG::", QVI_METADATA_TAGCLASS_IMAGINE},    {"NITF::", QVI_METADATA_TAGCLASS_NITF},
    {"GDAL::", QVI_METADATA_TAGCLASS_OTHER},     {"ASCII::", QVI_METADATA_TAGCLASS_OTHER},
    {"ICC::", QVI_METADATA_TAGCLASS_OTHER},      {"PShop::", QVI_METADATA_TAGCLASS_OTHER},
};

constexpr const char* kTagClassNames[] = {
    "(invalid)", "TEST", "Classical", "GeoTIFF", "USGS", "User", "Imagine", "NITF", "Other", "(unknown)",
};

}  // namespace

QVIMetadataTag QVIMetadataUtils::lookupTag(const char* key) {
    if (key == nullptr) return QVI_METADATA_TAG_UNKNOWN;
    const TagRow* row = findTableRow(kTagTable, [key](const TagRow& r) { return std::strcmp(r.key, key) == 0; });
    return row != nullptr ? row->tag : QVI_METADATA_TAG_UNKNOWN;
}

const char* QVIMetadataUtils::lookupName(QVIMetadataTag tag) {
    const TagRow* row = findRow(tag);
    return row != nullptr ? row->key : nullptr;
}

const char* QVIMetadataUtils::lookupProperName(QVIMetadataTag tag) {
    const TagRow* row = findRow(tag);
    return row != nullptr ? row->properName : nullptr;
}

const char* QVIMetadataUtils::lookupProperName(const char* key) {
    const QVIMetadataTag tag = lookupTag(key);
    if (tag != QVI_METADATA_TAG_UNKNOWN) return lookupProperName(tag);
    // This key never got a row of its own but has always been shown by name.
    if (key != nullptr && std::strcmp(key, "IMAGE::INPUT_COMPRESSION_FORMAT") == 0) {
        return "Input compression format";
    }
    return nullptr;
}

const char* QVIMetadataUtils::name(QVIMetadataDataType dataType) {
    switch (dataType) {
        case QVI_METADATA_DATATYPE_UINT8: return "UINT8";
        case QVI_METADATA_DATATYPE_SINT8: return "SINT8";
        case QVI_METADATA_DATATYPE_UINT16: return "UINT16";
        case QVI_METADATA_DATATYPE_SINT16: return "SINT16";
        case QVI_METADATA_DATATYPE_UINT32: return "UINT32";
        case QVI_METADATA_DATATYPE_SINT32: return "SINT32";
        case QVI_METADATA_DATATYPE_FLOAT32: return "FLOAT32";
        case QVI_METADATA_DATATYPE_FLOAT64: return "FLOAT64";
        case QVI_METADATA_DATATYPE_ASCII: return "ASCII";
        default: return nullptr;
    }
}

const char* QVIMetadataUtils::name(QVIMetadataTagClass tagClass) {
    const int index = static_cast<int>(tagClass);
    if (index < 0 || index >= static_cast<int>(sizeof(kTagClassNames) / sizeof(kTagClassNames[0]))) {
        return nullptr;
    }
    return kTagClassNames[index];
}

QVIMetadataTagClass QVIMetadataUtils::tagClass(const char* key) {
    if (key == nullptr) return QVI_METADATA_TAGCLASS_UNKNOWN;
    const PrefixClass* entry = findTableRow(kPrefixClasses, [key](const PrefixClass& e) {
        return std::strncmp(key, e.prefix, std::strlen(e.prefix)) == 0;
    });
    return entry != nullptr ? entry->tagClass : QVI_METADATA_TAGCLASS_UNKNOWN;
}

size_t QVIMetadataUtils::elementSize(QVIMetadataDataType dataType) {
    switch (dataType) {
        case QVI_METADATA_DATATYPE_UINT8:
        case QVI_METADATA_DATATYPE_SINT8: return 1;
        case QVI_METADATA_DATATYPE_UINT16:
        case QVI_METADATA_DATATYPE_SINT16: return 2;
        case QVI_METADATA_DATATYPE_UINT32:
        case QVI_METADATA_DATATYPE_SINT32:
        case QVI_METADATA_DATATYPE_FLOAT32: return 4;
        case QVI_METADATA_DATATYPE_FLOAT64: return 8;
        case QVI_METADATA_DATATYPE_ASCII: return sizeof(char*);
        default: return 0;
    }
}

}  // namespace Orvanetics
