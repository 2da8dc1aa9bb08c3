#include "qvi_bbbImageWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>

#include "qvi_bbbHeaderReader.h"
#include "qvi_geoCoord.h"
#include "qvi_imageStage.h"
#include "qvi_pixel.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

constexpr QVStatus kStsUnknownLayoutLine = 50104;  // "unknown BBB image layout"

void appendLine(std::string& text, const char* format, ...) __attribute__((format(printf, 2, 3)));

void appendLine(std::string& text, const char* format, ...)
{
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    text += line;
    text += '\n';
}

QVStatus appendByteOrder(std::string& text, const QVIPixel& pixel, QVIEndian byteOrder)
{
    if (pixel.getMaxBytesPerSample() <= 1)
        return 0;
    switch (byteOrder) {
    case QVI_ENDIAN_LITTLE: appendLine(text, "BYTEORDER I"); return 0;
    case QVI_ENDIAN_BIG: appendLine(text, "BYTEORDER M"); return 0;
    case QVI_ENDIAN_HOST: return 0;
    }
    return QVIBBBImageWriter::kStsFailure;
}

QVStatus appendLayout(std::string& text, QVILayout layout)
{
    switch (layout) {
    case QVI_LAYOUT_BSQ: appendLine(text, "LAYOUT BSQ"); return 0;
    case QVI_LAYOUT_BIL: appendLine(text, "LAYOUT BIL"); return 0;
    case QVI_LAYOUT_BIP: appendLine(text, "LAYOUT BIP"); return 0;
    }
    return kStsUnknownLayoutLine;
}

QVStatus appendColorSpace(std::string& text, const QVIPixel& pixel)
{
    const QVIColorSpace colorSpace = pixel.getColorSpace();
    const bool matches =
        pixel.getNumBands() == QVIUtils::getMinNumSamplesPerPixel(colorSpace) ||
        pixel.isMultiSpectral();
    if (!matches)
        return QVIBBBImageWriter::kStsUnsupportedColorSpace;
    // Plain multispectral is what a reader assumes without the line.
    if (colorSpace == QVI_COLORSPACE_MULTISPECTRAL)
        return 0;
    const char* keyword = QVIBBBHeaderReader::getColorSpaceKeyword(colorSpace);
    if (!keyword)
        return QVIBBBImageWriter::kStsUnsupportedColorSpace;
    appendLine(text, "COLORSPACE %s", keyword);
    return 0;
}

// The range is written as one value for all bands: the smallest minimum and,
// by the same rule, the smallest maximum.
void appendDynamicRange(std::string& text, const QVIImage& image)
{
    const QVIPixel& pixel = image.getPixelProps();
    if (QVIUtils::isIntegral(pixel.getDataType()) && image.isNaturalDynamicRange())
        return;
    const QVIPixel& minimum = image.getMinDynamicRange();
    const QVIPixel& maximum = image.getMaxDynamicRange();
    double lowest = minimum.getSample(0).getValueAsDouble();
    double lowestMaximum = maximum.getSample(0).getValueAsDouble();
    for (uint16_t band = 1; band < pixel.getNumBands(); ++band) {
        lowest = std::min(lowest, minimum.getSample(band).getValueAsDouble());
        lowestMaximum = std::min(lowestMaximum, maximum.getSample(band).getValueAsDouble());
    }
    appendLine(text, "DYNAMICRANGEMIN %f", lowest);
    appendLine(text, "DYNAMICRANGEMAX %f", lowestMaximum);
}

QVStatus writeTextFile(const QVFileSpec& fileSpec, const std::string& text)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(fileSpec.getNativePath(), "w"), &std::fclose);
    if (!file)
        return QVIBBBImageWriter::kStsWriteError;
    const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    return (written && std::fclose(file.release()) == 0) ? 0 : QVIBBBImageWriter::kStsWriteError;
}

}  // namespace

QVIBBBImageWriter::QVIBBBImageWriter() = default;

QVIBBBImageWriter::~QVIBBBImageWriter() = default;

QVStatus QVIBBBImageWriter::initialize(QVIImageStage* stage)
{
    if (const QVStatus status = QVIRawImageWriter::initialize(stage))
        return status;
    return checkImpedance(stage->getPixelProps());
}

QVStatus QVIBBBImageWriter::checkImpedance(const QVIPixel& pixel) const
{
    const QVIDataType dataType = pixel.getDataType();
    return (dataType >= QVI_DATATYPE_UINT8 && dataType <= QVI_DATATYPE_FLOAT64)
        ? 0 : kStsUnsupportedDataType;
}

QVFileSpec QVIBBBImageWriter::getHeaderFileSpec(const QVFileSpec& dataFile)
{
    return dataFile.replaceSuffix("hdr");
}

QVStatus QVIBBBImageWriter::writeBegin(const QVIScene& scene)
{
    if (const QVStatus status = QVIRawImageWriter::writeBegin(scene))
        return status;
    if (const QVStatus status = writeHeader(scene)) {
        deleteOutput();
        return status;
    }
    return 0;
}

QVStatus QVIBBBImageWriter::deleteOutput()
{
    QVIRawImageWriter::deleteOutput();
    if (const QVFileSpec* dataFile = getOutputFileSpec())
        std::remove(getHeaderFileSpec(*dataFile).getNativePath());
    return 0;
}

QVStatus QVIBBBImageWriter::writeHeader(const QVIScene& scene)
{
    const QVFileSpec* dataFile = getOutputFileSpec();
    if (!dataFile)
        return kStsNoOutputTarget;
    return writeHeader(*dataFile, *getSourceImageStage(), &scene, getByteOrder(), getLayout());
}

QVStatus QVIBBBImageWriter::writeHeader(const QVFileSpec& dataFile, const QVIImage& image,
                                        const QVIScene* scene, QVIEndian byteOrder,
                                        QVILayout layout)
{
    const QVIPixel& pixel = image.getPixelProps();
    if (pixel.getNumBands() == 0)
        return kStsUnsupportedDataType;
    std::string text;
    if (const QVStatus status = appendByteOrder(text, pixel, byteOrder))
        return status;
    if (const QVStatus status = appendLayout(text, layout))
        return status;
    const int32_t rows = scene ? scene->getNumRows() : int32_t(image.getHeight());
    const int32_t cols = scene ? scene->getNumCols() : int32_t(image.getWidth());
    appendLine(text, "NROWS %d", rows);
    appendLine(text, "NCOLS %d", cols);
    appendLine(text, "NBANDS %d", int(pixel.getNumBands()));
    appendLine(text, "NBITS %d", int(pixel.getSample(0).getPrecision()));
    const char* dataType = QVIBBBHeaderReader::getDataTypeKeyword(pixel.getDataType());
    if (!dataType)
        return kStsUnsupportedDataType;
    appendLine(text, "DATATYPE %s", dataType);
    if (const QVStatus status = appendColorSpace(text, pixel))
        return status;
    appendDynamicRange(text, image);
    const QVIGeoCoord geoCoord =
        scene ? image.getGeoCoord().getGeoCoordForScene(*scene) : image.getGeoCoord();
    appendLine(text, "ULXMAP %.15lf", geoCoord.getX());
    appendLine(text, "ULYMAP %.15lf", geoCoord.getY());
    appendLine(text, "XDIM %.15lf", std::fabs(geoCoord.getXRes()));
    appendLine(text, "YDIM %.15lf", std::fabs(geoCoord.getYRes()));
    return writeTextFile(getHeaderFileSpec(dataFile), text);
}

}  // namespace Orvanetics
