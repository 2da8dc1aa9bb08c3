#include "qvi_bbbImageReader.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <memory>
#include <new>

#include "qvi_geoCoord.h"
#include "qvi_metadataDatabase.h"
#include "qvi_metadataRecord.h"
#include "qvi_pixel.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

bool equalsNoCase(const std::string& a, const char* b)
{
    size_t i = 0;
    for (; i < a.size() && b[i] != '\0'; ++i) {
        if (std::toupper(static_cast<unsigned char>(a[i])) !=
            std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    }
    return i == a.size() && b[i] == '\0';
}

// Bits needed to tell apart the values of a range of this width.
uint32_t bitLength(double width)
{
    uint32_t bits = 0;
    for (uint64_t value = width >= 1.0 ? uint64_t(width) : 0; value != 0; value >>= 1)
        ++bits;
    return bits;
}

}  // namespace

QVIBBBImageReader* QVIBBBImageReader::create()
{
    return new (std::nothrow) QVIBBBImageReader();
}

QVIBBBImageReader::QVIBBBImageReader() = default;

QVIBBBImageReader::~QVIBBBImageReader() = default;

QVILayout QVIBBBImageReader::layoutFromSuffix(const QVFileSpec& fileSpec)
{
    const std::string suffix = fileSpec.getSuffix();
    if (equalsNoCase(suffix, "bil"))
        return QVI_LAYOUT_BIL;
    if (equalsNoCase(suffix, "bsq"))
        return QVI_LAYOUT_BSQ;
    return QVI_LAYOUT_BIP;
}

QVStatus QVIBBBImageReader::initialize(const char* path, bool useWorldFile)
{
    return initialize(QVFileSpec(path), useWorldFile);
}

QVStatus QVIBBBImageReader::initialize(const QVFileSpec& fileSpec, bool useWorldFile)
{
    if (const QVStatus status = m_header.read(fileSpec.replaceSuffix("hdr")))
        return status;
    setRowBytes(0);
    setSkipBytes(m_header.getSkipBytes() < 0 ? 0 : m_header.getSkipBytes(), 0);
    setLayout(m_header.getLayout() != 0 ? m_header.getLayout() : layoutFromSuffix(fileSpec));
    setByteOrder(m_header.getByteOrder());

    std::unique_ptr<QVIPixel> pixel;
    QVStatus status = makePixel(pixel);
    QVIOStreamInf* stream = nullptr;
    if (status == 0)
        status = openFile(fileSpec, stream);
    if (status == 0)
        status = initializeRaw(stream, *pixel, uint32_t(m_header.getNumCols()),
                               uint32_t(m_header.getNumRows()), useWorldFile);
    if (status == 0)
        status = applyNoData();
    if (status == 0)
        status = applyDynamicRange();
    if (status == 0)
        status = applyGeoCoord();
    if (status == 0)
        status = addProjectionMetadata();
    if (status == 0) {
        bool found = false;
        status = readWorldFile(fileSpec, found, true);
    }
    return status;
}

QVStatus QVIBBBImageReader::makePixel(std::unique_ptr<QVIPixel>& pixel) const
{
    try {
        pixel.reset(new QVIPixel(m_header.getColorSpace(), uint16_t(m_header.getNumBands()),
                                 m_header.getDataType()));
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    } catch (const std::bad_alloc&) {
        return 8;
    }
    if (m_header.getNumBits() > 0) {
        for (uint16_t band = 0; band < pixel->getNumBands(); ++band)
            pixel->getSample(band).setPrecision(uint32_t(m_header.getNumBits()));
    }
    return 0;
}

QVStatus QVIBBBImageReader::applyNoData()
{
    const std::vector<double>& values = m_header.getNoData();
    if (values.empty())
        return 0;
    QVIPixel noData(getPixelProps());
    for (uint16_t band = 0; band < noData.getNumBands(); ++band) {
        const double value = values[std::min<size_t>(band, values.size() - 1)];
        if (const QVStatus status = noData.getSample(band).setValueFromDouble(value))
            return status;
    }
    return setNoDataPixel(&noData);
}

QVStatus QVIBBBImageReader::applyDynamicRange()
{
    const std::optional<double> minimum = m_header.getDynamicRangeMin();
    const std::optional<double> maximum = m_header.getDynamicRangeMax();
    if (!minimum || !maximum)
        return 0;
    if (QVIUtils::isIntegral(getPixelProps().getDataType()))
        setPixelBPS(bitLength(*maximum - *minimum));
    QVIPixel low(getPixelProps());
    QVIPixel high(getPixelProps());
    QVStatus status = low.setSampleValuesFromDouble(*minimum);
    if (status == 0)
        status = high.setSampleValuesFromDouble(*maximum);
    if (status == 0)
        status = setDynamicRange(low, high);
    return status;
}

QVStatus QVIBBBImageReader::applyGeoCoord()
{
    const QVIBBBHeaderReader& header = m_header;
    const double xRes = header.hasXDim() ? header.getXDim() : header.getCellSize();
    const double yRes = -(header.hasYDim() ? header.getYDim() : header.getCellSize());
    const double rows = double(header.getNumRows());
    double x = 0.0;
    double y = 0.0;
    if (header.getULXMap() && header.getULYMap()) {
        x = *header.getULXMap();
        y = *header.getULYMap();
    } else if (header.getXLLCorner() && header.getYLLCorner()) {
        // The corner is the outer edge of the lower-left pixel; ours is the upper-left centre.
        x = *header.getXLLCorner() + xRes / 2.0;
        y = *header.getYLLCorner() - (rows - 0.5) * yRes;
    } else if (header.getXLLCenter() && header.getYLLCenter()) {
        x = *header.getXLLCenter();
        y = *header.getYLLCenter() - (rows - 1.0) * yRes;
    } else {
        return 0;
    }
    try {
        const char* wkt = header.getWKT().empty() ? nullptr : header.getWKT().c_str();
        return setGeoCoord(QVIGeoCoord(x, y, xRes, yRes, 0.0, 0.0, wkt));
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

QVStatus QVIBBBImageReader::addProjectionMetadata()
{
    QVIMetadataDatabase* metadata = getMetadataDatabase();
    if (!metadata)
        return 0;
    const QVIBBBHeaderReader& header = m_header;
    const struct {
        QVIMetadataTag tag;
        const std::optional<std::string>& value;
    } texts[] = {
        {QVI_METADATA_TAG_IMG_HORIZONTAL_UNITS, header.getMapUnits()},
        {QVI_METADATA_TAG_IMG_PROJECTION_NAME, header.getProjectionName()},
        {QVI_METADATA_TAG_IMG_SPHEROID_NAME, header.getSpheroidName()},
    };
    const struct {
        QVIMetadataTag tag;
        std::optional<double> value;
    } numbers[] = {
        {QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MAJOR_AXIS, header.getSemiMajorAxis()},
        {QVI_METADATA_TAG_IMG_SPHEROID_SEMI_MINOR_AXIS, header.getSemiMinorAxis()},
        {QVI_METADATA_TAG_IMG_SPHEROID_ECCENTRICITY_SQUARED, header.getESquared()},
        {QVI_METADATA_TAG_IMG_SPHEROID_RADIUS, header.getRadius()},
    };
    try {
        QVStatus status = 0;
        for (const auto& text : texts) {
            if (status == 0 && text.value) {
                const char* value = text.value->c_str();
                status = metadata->add(QVIMetadataRecord(text.tag, QVI_METADATA_DATATYPE_ASCII, &value));
            }
        }
        for (const auto& number : numbers) {
            if (status == 0 && number.value) {
                const double value = *number.value;
                status = metadata->add(QVIMetadataRecord(number.tag, QVI_METADATA_DATATYPE_FLOAT64, &value));
            }
        }
        if (status == 0 && header.getProjectionZone()) {
            const int32_t zone = int32_t(*header.getProjectionZone());
            status = metadata->add(QVIMetadataRecord(QVI_METADATA_TAG_IMG_PROJECTION_ZONE,
                                                     QVI_METADATA_DATATYPE_SINT32, &zone));
        }
        if (status == 0 && header.hasProjectionParameters()) {
            status = metadata->add(QVIMetadataRecord(
                QVI_METADATA_TAG_IMG_PROJECTION_PARAMETERS, QVI_METADATA_DATATYPE_FLOAT64,
                header.getProjectionParameters().data(),
                uint32_t(QVIBBBHeaderReader::kNumProjectionParameters)));
        }
        return status;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

}  // namespace Orvanetics
