#include "qvi_metadataEditor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "qvi_dataTypeDispatch.h"
#include "qvi_geoCoord.h"
#include "qvi_image.h"
#include "qvi_pixel.h"
#include "qvi_pixelLookupTable.h"
#include "qvi_scene.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

// `value` in T, truncated toward zero and held to T's range (NaN as 0).
template <typename T>
T truncateTo(double value) {
    if constexpr (std::is_integral_v<T>) {
        if (std::isnan(value)) return 0;
        const double low = static_cast<double>(std::numeric_limits<T>::lowest());
        const double high = static_cast<double>(std::numeric_limits<T>::max());
        return static_cast<T>(std::clamp(value, low, high));
    } else {
        return static_cast<T>(value);
    }
}

const char* roiMethodWord(int method, char (&buffer)[32]) {
    switch (method) {
        case QVI_ROI_METHOD_WEIGHT: return "weight";
        case QVI_ROI_METHOD_SHIFT_INNER: return "shift inner";
        case QVI_ROI_METHOD_SHIFT_OUTER: return "shift outer";
        default: std::snprintf(buffer, sizeof(buffer), "unknown %d", method); return buffer;
    }
}

struct Point {
    double x;
    double y;
};

// One pass of polygon clipping against the half-plane where `inside` holds;
// `cross` gives the point where the edge between two points meets its border.
template <typename Inside, typename Cross>
std::vector<Point> clipAgainst(const std::vector<Point>& polygon, Inside inside, Cross cross) {
    std::vector<Point> result;
    for (size_t i = 0; i < polygon.size(); ++i) {
        const Point& current = polygon[i];
        const Point& previous = polygon[(i + polygon.size() - 1) % polygon.size()];
        if (inside(current)) {
            if (!inside(previous)) result.push_back(cross(previous, current));
            result.push_back(current);
        } else if (inside(previous)) {
            result.push_back(cross(previous, current));
        }
    }
    return result;
}

// The polygon cut to the rectangle [left, right] x [top, bottom].
std::vector<Point> clipToRectangle(std::vector<Point> polygon, double left, double top, double right,
                                   double bottom) {
    auto atX = [](double x) {
        return [x](const Point& a, const Point& b) {
            return Point{x, a.y + (b.y - a.y) * (x - a.x) / (b.x - a.x)};
        };
    };
    auto atY = [](double y) {
        return [y](const Point& a, const Point& b) {
            return Point{a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y), y};
        };
    };
    polygon = clipAgainst(polygon, [&](const Point& p) { return p.x >= left; }, atX(left));
    polygon = clipAgainst(polygon, [&](const Point& p) { return p.x <= right; }, atX(right));
    polygon = clipAgainst(polygon, [&](const Point& p) { return p.y >= top; }, atY(top));
    return clipAgainst(polygon, [&](const Point& p) { return p.y <= bottom; }, atY(bottom));
}

}  // namespace

// ---------------------------------------------------------------------------
// Records

void QVIMetadataEditor::removeIfPresent(const char* key) {
    if (m_editableDatabase->has(key)) m_editableDatabase->remove(key);
}

void QVIMetadataEditor::removeIfPresent(QVIMetadataTag tag) {
    removeIfPresent(keyOf(tag));
}

QVStatus QVIMetadataEditor::replaceRecord(const char* key, QVIMetadataDataType dataType,
                                          const void* data, uint32_t numDims, const uint32_t* dims) {
    if (key == nullptr || *key == '\0') return qviMetadataFailure(QVI_STS_Core_InvalidArgument);
    removeIfPresent(key);
    try {
        return m_editableDatabase->add(QVIMetadataRecord(key, dataType, data, numDims, dims));
    } catch (const QVUtilException& exception) {
        return qviMetadataFailure(exception.getStatus());
    } catch (const std::bad_alloc&) {
        return qviMetadataFailure(QVI_STS_OutOfMemory);
    }
}

template <typename T>
QVStatus QVIMetadataEditor::setVector(const char* key, const T* values, uint32_t numDims,
                                      const uint32_t* dims) {
    return replaceRecord(key, QVIMetadataTypeOf<T>::value, values, numDims, dims);
}

#define QVI_METADATA_EDITOR_INSTANTIATE(T) \
    template QVStatus QVIMetadataEditor::setVector<T>(const char*, const T*, uint32_t, const uint32_t*);
QVI_METADATA_EDITOR_INSTANTIATE(uint8_t)
QVI_METADATA_EDITOR_INSTANTIATE(int8_t)
QVI_METADATA_EDITOR_INSTANTIATE(uint16_t)
QVI_METADATA_EDITOR_INSTANTIATE(int16_t)
QVI_METADATA_EDITOR_INSTANTIATE(uint32_t)
QVI_METADATA_EDITOR_INSTANTIATE(int32_t)
QVI_METADATA_EDITOR_INSTANTIATE(float)
QVI_METADATA_EDITOR_INSTANTIATE(double)
#undef QVI_METADATA_EDITOR_INSTANTIATE

QVStatus QVIMetadataEditor::set_string(QVIMetadataTag tag, const char* value) {
    return set_string(keyOf(tag), value);
}

QVStatus QVIMetadataEditor::set_string(const char* key, const char* value) {
    const char* text = value != nullptr ? value : "";
    return replaceRecord(key, QVI_METADATA_DATATYPE_ASCII, &text, 0, nullptr);
}

QVStatus QVIMetadataEditor::setDoubles(QVIMetadataTag tag, const double* values, uint32_t count) {
    return setVector(keyOf(tag), values, 1, &count);
}

// ---------------------------------------------------------------------------
// Named accessors

QVStatus QVIMetadataEditor::removeInputName() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_INPUT_NAME);
    return 0;
}

QVStatus QVIMetadataEditor::set_compression_version(int32_t major, int32_t minor, int32_t revision) {
    const int32_t version[3] = {major, minor, revision};
    return set_sint32(QVI_METADATA_TAG_IMAGE_COMPRESSION_VERSION, version, 3);
}

QVStatus QVIMetadataEditor::set_esdk_version() {
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t revision = 0;
    uint32_t build = 0;
    const char* branch = "";
    QVIUtils::getVersionInfo(major, minor, revision, build, branch);
    // The default branch is not worth naming.
    const bool named = std::strcmp(branch, "default") != 0;
    char text[72];
    std::snprintf(text, sizeof(text), "%u.%u.%u.%u%s%s", major, minor, revision, build,
                  named ? "." : "", named ? branch : "");
    return set_string(QVI_METADATA_TAG_IMAGE_QVI_ESDK_VERSION, text);
}

// ---------------------------------------------------------------------------
// Image properties

QVStatus QVIMetadataEditor::setDimensions(uint32_t width, uint32_t height) {
    QVStatus status = set_uint32(QVI_METADATA_TAG_IMAGE_WIDTH, width);
    if (status == 0) status = set_uint32(QVI_METADATA_TAG_IMAGE_HEIGHT, height);
    return status;
}

QVStatus QVIMetadataEditor::removeDimensions() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_WIDTH);
    removeIfPresent(QVI_METADATA_TAG_IMAGE_HEIGHT);
    return 0;
}

QVStatus QVIMetadataEditor::setGeoCoord(const QVIGeoCoord& geoCoord) {
    // Rotations and the WKT are written only when there are some, so old ones must go.
    removeGeoCoord();
    const double origin[2] = {geoCoord.getX(), geoCoord.getY()};
    QVStatus status = setDoubles(QVI_METADATA_TAG_IMAGE_XY_ORIGIN, origin, 2);
    if (status == 0) status = set_double(QVI_METADATA_TAG_IMAGE_X_RESOLUTION, geoCoord.getXRes());
    if (status == 0) status = set_double(QVI_METADATA_TAG_IMAGE_Y_RESOLUTION, geoCoord.getYRes());
    if (status == 0 && (geoCoord.getXRot() != 0.0 || geoCoord.getYRot() != 0.0)) {
        status = set_double(QVI_METADATA_TAG_IMAGE_X_ROTATION, geoCoord.getXRot());
        if (status == 0) status = set_double(QVI_METADATA_TAG_IMAGE_Y_ROTATION, geoCoord.getYRot());
    }
    if (status == 0 && geoCoord.getWKT() != nullptr) {
        status = set_string(QVI_METADATA_TAG_IMAGE_WKT, geoCoord.getWKT());
    }
    return status;
}

QVStatus QVIMetadataEditor::removeGeoCoord() {
    for (const QVIMetadataTag tag :
         {QVI_METADATA_TAG_IMAGE_XY_ORIGIN, QVI_METADATA_TAG_IMAGE_X_RESOLUTION,
          QVI_METADATA_TAG_IMAGE_Y_RESOLUTION, QVI_METADATA_TAG_IMAGE_X_ROTATION,
          QVI_METADATA_TAG_IMAGE_Y_ROTATION, QVI_METADATA_TAG_IMAGE_WKT}) {
        removeIfPresent(tag);
    }
    return 0;
}

QVStatus QVIMetadataEditor::setPixelProps(const QVIPixel& pixel, bool forceBPS) {
    uint32_t code = 0;
    QVStatus status = 0;
    if (schemeFromColorSpace(pixel.getColorSpace(), code)) {
        status = set_uint32(QVI_METADATA_TAG_IMAGE_COLOR_SCHEME, code);
    } else {
        removeIfPresent(QVI_METADATA_TAG_IMAGE_COLOR_SCHEME);
    }
    if (status != 0) return status;
    if (codeFromDataType(pixel.getDataType(), code)) {
        status = set_uint32(QVI_METADATA_TAG_IMAGE_DATA_TYPE, code);
    } else {
        removeIfPresent(QVI_METADATA_TAG_IMAGE_DATA_TYPE);
    }
    if (status != 0) return status;
    return setPixelBPS(pixel, forceBPS);
}

QVStatus QVIMetadataEditor::setPixelBPS(const QVIPixel& pixel, bool force) {
    uint32_t precision = 0;
    uint32_t width = 0;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        precision = std::max(precision, pixel.getSample(band).getPrecision());
        width = std::max(width, 8 * pixel.getSample(band).getNumBytes());
    }
    // Full-width samples need no record, unless one is there to be kept true.
    if (!getDatabase().has(QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE) && precision == width && !force) return 0;
    return set_uint16(QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE, static_cast<uint16_t>(precision));
}

QVStatus QVIMetadataEditor::removePixelProps() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_COLOR_SCHEME);
    removeIfPresent(QVI_METADATA_TAG_IMAGE_DATA_TYPE);
    removeIfPresent(QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE);
    return 0;
}

QVStatus QVIMetadataEditor::setDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum) {
    removeDynamicRange();
    const uint16_t numBands = minimum.getNumBands();
    if (numBands == 0 || maximum.getNumBands() != numBands) return qviMetadataFailure(QVI_STS_BadParam);
    std::vector<double> windows(numBands);
    std::vector<double> levels(numBands);
    for (uint16_t band = 0; band < numBands; ++band) {
        QVIUtils::convertMinMaxToWindowLevel(minimum.getSample(band).getValueAsDouble(),
                                             maximum.getSample(band).getValueAsDouble(),
                                             windows[band], levels[band]);
    }
    const bool allBandsAlike =
        std::all_of(windows.begin(), windows.end(), [&](double w) { return w == windows[0]; }) &&
        std::all_of(levels.begin(), levels.end(), [&](double l) { return l == levels[0]; });
    const uint32_t count = allBandsAlike ? 1 : numBands;
    const uint32_t numDims = allBandsAlike ? 0 : 1;
    QVStatus status =
        setVector(keyOf(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_WINDOW), windows.data(), numDims, &count);
    if (status == 0) {
        status =
            setVector(keyOf(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_LEVEL), levels.data(), numDims, &count);
    }
    return status;
}

QVStatus QVIMetadataEditor::removeDynamicRange() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_WINDOW);
    removeIfPresent(QVI_METADATA_TAG_IMAGE_DYNAMIC_RANGE_LEVEL);
    return 0;
}

QVStatus QVIMetadataEditor::setPixelValues(QVIMetadataTag tag, const QVIPixel& pixel) {
    removeIfPresent(tag);
    const uint32_t count = pixel.getNumBands();
    return visitDataType(
        pixel.getDataType(),
        [&](auto type) {
            using T = typename decltype(type)::type;
            std::vector<T> values(count);
            for (uint16_t band = 0; band < count; ++band) values[band] = pixel.getSampleValue<T>(band);
            return setVector(keyOf(tag), values.data(), 1, &count);
        },
        [] { return qviMetadataFailure(QVI_STS_Core_InvalidArgument); });
}

QVStatus QVIMetadataEditor::setBackgroundPixel(const QVIPixel& pixel) {
    removeBackgroundPixel();
    // 8-bit backgrounds keep their historic key, which readers of old files expect.
    const bool historic = pixel.getDataType() == QVI_DATATYPE_UINT8;
    return setPixelValues(historic ? QVI_METADATA_TAG_IMAGE_NO_DATA_VALUE
                                   : QVI_METADATA_TAG_IMAGE_DEFAULT_DATA_VALUE,
                          pixel);
}

QVStatus QVIMetadataEditor::removeBackgroundPixel() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_NO_DATA_VALUE);
    removeIfPresent(QVI_METADATA_TAG_IMAGE_DEFAULT_DATA_VALUE);
    return 0;
}

QVStatus QVIMetadataEditor::setNoDataPixel(const QVIPixel& pixel) {
    return setPixelValues(QVI_METADATA_TAG_IMAGE_TRANSPARENT_DATA_VALUE, pixel);
}

QVStatus QVIMetadataEditor::removeNoDataPixel() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_TRANSPARENT_DATA_VALUE);
    return 0;
}

QVStatus QVIMetadataEditor::setPixelLookupTable(const QVIPixelLookupTable& table) {
    removePixelLookupTable();
    if (table.getDataType() != QVI_DATATYPE_UINT8 || table.getNumBands() != 3 || table.hasAlphaBand()) {
        return qviMetadataFailure(QVI_STS_Core_InvalidArgument);
    }
    // The table is held band by band, which is the row order of bands x entries.
    const uint32_t dims[2] = {3, table.getTableSize()};
    return replaceRecord(keyOf(QVI_METADATA_TAG_IMAGE_INPUT_LUT), QVI_METADATA_DATATYPE_UINT8,
                         table.getTableEntries(), 2, dims);
}

QVStatus QVIMetadataEditor::removePixelLookupTable() {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_INPUT_LUT);
    return 0;
}

QVStatus QVIMetadataEditor::setStatistics(const QVIPixel& pixel, const double* mean,
                                          const double* stddev, const double* min,
                                          const double* max) {
    const uint32_t count = pixel.getNumBands();
    QVStatus status = 0;
    if (mean != nullptr) status = setDoubles(QVI_METADATA_TAG_IMAGE_STATISTICS_MEAN, mean, count);
    if (status == 0 && stddev != nullptr) {
        status = setDoubles(QVI_METADATA_TAG_IMAGE_STATISTICS_STANDARD_DEVIATION, stddev, count);
    }
    auto setInPixelType = [&](QVIMetadataTag tag, const double* values) {
        return visitDataType(
            pixel.getDataType(),
            [&](auto type) {
                using T = typename decltype(type)::type;
                std::vector<T> converted(count);
                for (uint32_t band = 0; band < count; ++band) converted[band] = truncateTo<T>(values[band]);
                return setVector(keyOf(tag), converted.data(), 1, &count);
            },
            [] { return qviMetadataFailure(QVI_STS_Core_InvalidArgument); });
    };
    if (status == 0 && min != nullptr) status = setInPixelType(QVI_METADATA_TAG_IMAGE_STATISTICS_MIN, min);
    if (status == 0 && max != nullptr) status = setInPixelType(QVI_METADATA_TAG_IMAGE_STATISTICS_MAX, max);
    return status;
}

QVStatus QVIMetadataEditor::set_modifications(unsigned flags) {
    removeIfPresent(QVI_METADATA_TAG_IMAGE_MODIFICATIONS);
    char words[256];
    if (const QVStatus status = formatModifications(flags, words)) return status;
    return set_string(QVI_METADATA_TAG_IMAGE_MODIFICATIONS, words);
}

QVStatus QVIMetadataEditor::setClassicalMetadata(const QVIImage& image) {
    // Start clean so that properties the image lacks leave no stale records.
    removeClassicalMetadata();
    QVStatus status = setDimensions(image.getWidth(), image.getHeight());
    if (status == 0) status = setPixelProps(image.getPixelProps(), false);
    if (status == 0 && !image.isNaturalDynamicRange()) {
        status = setDynamicRange(image.getMinDynamicRange(), image.getMaxDynamicRange());
    }
    if (status == 0 && image.getPixelLookupTable() != nullptr) {
        status = setPixelLookupTable(*image.getPixelLookupTable());
    }
    if (status == 0 && image.getBackgroundPixel() != nullptr) {
        status = setBackgroundPixel(*image.getBackgroundPixel());
    }
    if (status == 0 && image.getNoDataPixel() != nullptr) {
        status = setNoDataPixel(*image.getNoDataPixel());
    }
    if (status == 0 && !image.isGeoCoordImplicit()) status = setGeoCoord(image.getGeoCoord());
    return status;
}

QVStatus QVIMetadataEditor::removeClassicalMetadata() {
    removeDimensions();
    removePixelProps();
    removeDynamicRange();
    removePixelLookupTable();
    removeBackgroundPixel();
    removeNoDataPixel();
    removeGeoCoord();
    return 0;
}

// ---------------------------------------------------------------------------
// Regions of interest

QVStatus QVIMetadataEditor::setRoiText(const char* key, const char* text) {
    if (text == nullptr) return 0;
    if (*text == '\0') {
        removeIfPresent(key);
        return 0;
    }
    return set_string(key, text);
}

QVStatus QVIMetadataEditor::setRoiPolygon(unsigned short id, const double* x, const double* y,
                                          unsigned length, double magnification) {
    if (length != 0 && (x == nullptr || y == nullptr)) {
        return qviMetadataFailure(QVI_STS_Core_InvalidArgument);
    }
    QVStatus status = set_double(roiKey(id, "REGION::X").c_str(), x, length);
    if (status == 0) status = set_double(roiKey(id, "REGION::Y").c_str(), y, length);
    if (status == 0) status = set_double(roiKey(id, "MAGNIFICATION").c_str(), magnification);
    return status;
}

QVStatus QVIMetadataEditor::setRoiOverlay(unsigned short id, const char* overlay, int overlayLayer) {
    const std::string layerKey = roiKey(id, "REGION::VECTOROVERLAY_LAYER");
    // A layer of all ones means "no layer"; an empty overlay has none either.
    if (*overlay == '\0' || overlayLayer == -1) removeIfPresent(layerKey.c_str());
    QVStatus status = setRoiText(roiKey(id, "REGION::VECTOROVERLAY").c_str(), overlay);
    if (status == 0 && *overlay != '\0' && overlayLayer != -1) {
        status = set_sint32(layerKey.c_str(), static_cast<int32_t>(overlayLayer));
    }
    return status;
}

QVStatus QVIMetadataEditor::set_roi(unsigned short id, const double* x, const double* y,
                                    unsigned length, int method, double magnification,
                                    double weight, const char* overlay, int overlayLayer,
                                    const char* name, const char* comment, const char* url) {
    QVStatus status = setRoiPolygon(id, x, y, length, magnification);
    char buffer[32];
    if (status == 0) status = set_string(roiKey(id, "METHOD").c_str(), roiMethodWord(method, buffer));
    if (status != 0) return status;
    const std::string weightKey = roiKey(id, "WEIGHT");
    if (method == QVI_ROI_METHOD_WEIGHT) {
        status = set_double(weightKey.c_str(), weight);
    } else {
        removeIfPresent(weightKey.c_str());
    }
    if (status == 0 && overlay != nullptr) status = setRoiOverlay(id, overlay, overlayLayer);
    if (status == 0) status = setRoiText(roiKey(id, "NAME").c_str(), name);
    if (status == 0) status = setRoiText(roiKey(id, "COMMENT").c_str(), comment);
    if (status == 0) status = setRoiText(roiKey(id, "URL").c_str(), url);
    return status;
}

QVStatus QVIMetadataEditor::set_roi(unsigned short id, const QVIScene& scene, int method,
                                    double weight, const char* overlay, int overlayLayer,
                                    const char* name, const char* comment, const char* url) {
    const double x[4] = {scene.getUpperLeftX(), scene.getUpperRightX(), scene.getLowerRightX(),
                         scene.getLowerLeftX()};
    const double y[4] = {scene.getUpperLeftY(), scene.getUpperRightY(), scene.getLowerRightY(),
                         scene.getLowerLeftY()};
    return set_roi(id, x, y, 4, method, scene.getMag(), weight, overlay, overlayLayer, name,
                   comment, url);
}

QVStatus QVIMetadataEditor::findUnusedRoiId(unsigned short& id) const {
    unsigned short* ids = nullptr;
    unsigned count = 0;
    if (const QVStatus status = get_roi_indices(ids, count)) return status;
    const std::unique_ptr<unsigned short[]> owned(ids);
    // The ids are ascending: the first gap is the smallest free one.
    uint32_t candidate = 0;
    for (unsigned i = 0; i < count && ids[i] == candidate; ++i) ++candidate;
    if (candidate > 0xFFFF) return qviMetadataFailure(QVI_STS_Core_InvalidArgument);
    id = static_cast<unsigned short>(candidate);
    return 0;
}

QVStatus QVIMetadataEditor::add_roi(unsigned short& id, const double* x, const double* y,
                                    unsigned length, int method, double magnification,
                                    double weight, const char* overlay, int overlayLayer,
                                    const char* name, const char* comment, const char* url) {
    if (const QVStatus status = findUnusedRoiId(id)) return status;
    return set_roi(id, x, y, length, method, magnification, weight, overlay, overlayLayer, name,
                   comment, url);
}

QVStatus QVIMetadataEditor::add_roi(unsigned short& id, const QVIScene& scene, int method,
                                    double weight, const char* overlay, int overlayLayer,
                                    const char* name, const char* comment, const char* url) {
    if (const QVStatus status = findUnusedRoiId(id)) return status;
    return set_roi(id, scene, method, weight, overlay, overlayLayer, name, comment, url);
}

QVStatus QVIMetadataEditor::remove_roi(unsigned short id) {
    const std::string prefix = roiKey(id, "");
    std::vector<std::string> keys;
    const QVIMetadataRecord* record = nullptr;
    for (uint32_t index = 0; getDatabase().getDataByIndex(index, record) == 0; ++index) {
        if (std::strncmp(record->getTagName(), prefix.c_str(), prefix.size()) == 0) {
            keys.emplace_back(record->getTagName());
        }
    }
    for (const std::string& key : keys) m_editableDatabase->remove(key.c_str());
    return 0;
}

QVStatus QVIMetadataEditor::crop_roi(const QVIScene& scene) {
    if (!(scene.getMag() > 0.0)) return qviMetadataFailure(QVI_STS_Core_InvalidArgument);
    unsigned short* ids = nullptr;
    unsigned count = 0;
    if (const QVStatus status = get_roi_indices(ids, count)) return status;
    const std::unique_ptr<unsigned short[]> owned(ids);
    for (unsigned i = 0; i < count; ++i) {
        QVIMetadataRoi roi;
        if (const QVStatus status = get_roi(ids[i], roi)) return status;
        // The scene in the region's own pixels.
        const double scale = roi.magnification / scene.getMag();
        std::vector<Point> polygon(roi.length);
        for (uint32_t p = 0; p < roi.length; ++p) polygon[p] = {roi.x[p], roi.y[p]};
        polygon = clipToRectangle(std::move(polygon), scene.getUpperLeftX() * scale,
                                  scene.getUpperLeftY() * scale, scene.getLowerRightX() * scale,
                                  scene.getLowerRightY() * scale);
        if (polygon.empty()) {
            remove_roi(ids[i]);
            continue;
        }
        std::vector<double> x(polygon.size());
        std::vector<double> y(polygon.size());
        for (size_t p = 0; p < polygon.size(); ++p) {
            x[p] = polygon[p].x;
            y[p] = polygon[p].y;
        }
        const QVStatus status = setRoiPolygon(ids[i], x.data(), y.data(), static_cast<unsigned>(x.size()),
                                              roi.magnification);
        if (status != 0) return status;
    }
    return 0;
}

}  // namespace Orvanetics
