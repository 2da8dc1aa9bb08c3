#include "qvtool_image.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "qv_statusCodes.h"
#include "qv_utilStatusData.h"
#include "qvi_bbbImageReader.h"
#include "tavix_imageReader.h"

using namespace Orvanetics;

namespace QVTool {

namespace {

constexpr size_t kSniffBytes = 12;

constexpr uint8_t kJp2Signature[] = {0x00, 0x00, 0x00, 0x0C, 0x6A, 0x50,
                                     0x20, 0x20, 0x0D, 0x0A, 0x87, 0x0A};
// SOC then SIZ: the start of a bare JPEG 2000 codestream.
constexpr uint8_t kCodestreamStart[] = {0xFF, 0x4F, 0xFF, 0x51};

bool startsWith(const std::array<uint8_t, kSniffBytes>& bytes, size_t length, const void* prefix,
                size_t prefixLength)
{
    return length >= prefixLength && std::memcmp(bytes.data(), prefix, prefixLength) == 0;
}

QVStatus pushOnFile(QVStatus status, const QVFileSpec& file)
{
    QVUtilStatusData::pushBegin(status);
    QVUtilStatusData::pushContext(status, file.getUTF8());
    QVUtilStatusData::pushEnd();
    return status;
}

// The refusal for a format this build can recognise but not read.
QVStatus readerMissing(const char* formatName, const QVFileSpec& file)
{
    std::string context = std::string(formatName) + " reader not available: " + file.getPath();
    QVUtilStatusData::pushBegin(kStsUnsupportedOperation);
    QVUtilStatusData::pushContext(kStsUnsupportedOperation, context.c_str());
    QVUtilStatusData::pushEnd();
    return kStsUnsupportedOperation;
}

QVStatus imageIndexOutOfRange(uint32_t imageIndex, uint32_t numImages)
{
    std::string context = "image " + std::to_string(imageIndex) + " of a file with " +
                          std::to_string(numImages) + (numImages == 1 ? " image" : " images");
    QVUtilStatusData::pushBegin(kStsBadParam);
    QVUtilStatusData::pushContext(kStsBadParam, context.c_str());
    QVUtilStatusData::pushEnd();
    return kStsBadParam;
}

}  // namespace

QVStatus detectFormat(const QVFileSpec& file, FileFormat& format)
{
    format = FileFormat::Unknown;
    std::FILE* stream = std::fopen(file.getNativePath(), "rb");
    if (stream == nullptr)
        return pushOnFile(kStsOpenError, file);
    std::array<uint8_t, kSniffBytes> bytes{};
    size_t length = std::fread(bytes.data(), 1, bytes.size(), stream);
    std::fclose(stream);

    if (startsWith(bytes, length, "tvxd", 4))
        format = FileFormat::Tavix;
    else if (startsWith(bytes, length, kJp2Signature, sizeof(kJp2Signature)) ||
             startsWith(bytes, length, kCodestreamStart, sizeof(kCodestreamStart)))
        format = FileFormat::Jpeg2000;
    else if (startsWith(bytes, length, "NITF", 4) || startsWith(bytes, length, "NSIF", 4))
        format = FileFormat::Nitf;
    else if (file.replaceSuffix("hdr").exists() && file.getSuffix() != "hdr")
        format = FileFormat::BBB;
    return 0;
}

OpenedImage::~OpenedImage()
{
    if (m_stage != nullptr)
        m_stage->release();
}

QVStatus OpenedImage::open(const QVFileSpec& file, std::optional<uint32_t> imageIndex)
{
    FileFormat format = FileFormat::Unknown;
    QVStatus status = detectFormat(file, format);
    if (status != 0)
        return status;
    switch (format) {
    case FileFormat::Tavix: return openTavix(file, imageIndex);
    case FileFormat::BBB: return openBBB(file, imageIndex);
    case FileFormat::Jpeg2000: return readerMissing("JPEG 2000", file);
    case FileFormat::Nitf: return readerMissing("NITF", file);
    case FileFormat::Unknown: break;
    }
    return pushOnFile(kStsUnsupportedImageFormat, file);
}

QVStatus OpenedImage::openTavix(const QVFileSpec& file, std::optional<uint32_t> imageIndex)
{
    bool isRaster = false;
    QVStatus status = TavixImageReaderInterface::getTavixGeneration(file, m_generation, isRaster);
    if (status != 0)
        return status;
    m_formatName = "XR" + std::to_string(m_generation);
    if (imageIndex)
        return openTavixImage(file, *imageIndex);
    // The whole file: its one image, or the mosaic of its tiles.
    TavixImageReader* reader = TavixImageReader::create();
    if (reader == nullptr)
        return QVI_STS_OutOfMemory;
    status = reader->initialize(file);
    if (status != 0) {
        reader->release();
        return status;
    }
    m_numImages = reader->getManager()->getNumImages();
    m_stage = reader;
    return 0;
}

QVStatus OpenedImage::openTavixImage(const QVFileSpec& file, uint32_t imageIndex)
{
    TavixImageStageManager* manager = TavixImageStageManager::create();
    if (manager == nullptr)
        return QVI_STS_OutOfMemory;
    QVStatus status = manager->initialize(file);
    if (status == 0) {
        m_numImages = manager->getNumImages();
        status = imageIndex < m_numImages ? manager->createImageStage(imageIndex, m_stage)
                                          : imageIndexOutOfRange(imageIndex, m_numImages);
    }
    // The image's reader keeps what it needs of the manager.
    manager->release();
    return status;
}

QVStatus OpenedImage::openBBB(const QVFileSpec& file, std::optional<uint32_t> imageIndex)
{
    m_formatName = "BBB";
    m_numImages = 1;
    if (imageIndex.value_or(0) >= m_numImages)
        return imageIndexOutOfRange(*imageIndex, m_numImages);
    QVIBBBImageReader* reader = QVIBBBImageReader::create();
    if (reader == nullptr)
        return QVI_STS_OutOfMemory;
    QVStatus status = reader->initialize(file, true);
    if (status != 0) {
        reader->release();
        return status;
    }
    m_stage = reader;
    return 0;
}

const char* dataTypeName(QVIDataType dataType)
{
    switch (dataType) {
    case QVI_DATATYPE_UINT8: return "UINT8";
    case QVI_DATATYPE_SINT8: return "SINT8";
    case QVI_DATATYPE_UINT16: return "UINT16";
    case QVI_DATATYPE_SINT16: return "SINT16";
    case QVI_DATATYPE_UINT32: return "UINT32";
    case QVI_DATATYPE_SINT32: return "SINT32";
    case QVI_DATATYPE_FLOAT32: return "FLOAT32";
    case QVI_DATATYPE_FLOAT64: return "FLOAT64";
    case QVI_DATATYPE_INVALID: break;
    }
    return "INVALID";
}

const char* colorSpaceName(QVIColorSpace colorSpace)
{
    struct Name {
        QVIColorSpace colorSpace;
        const char* name;
    };
    static constexpr Name kNames[] = {
        {QVI_COLORSPACE_GRAYSCALE, "GRAYSCALE"}, {QVI_COLORSPACE_GRAYSCALEA, "GRAYSCALEA"},
        {QVI_COLORSPACE_GRAYSCALEA_PM, "GRAYSCALEA_PM"}, {QVI_COLORSPACE_RGB, "RGB"},
        {QVI_COLORSPACE_RGBA, "RGBA"}, {QVI_COLORSPACE_RGBA_PM, "RGBA_PM"},
        {QVI_COLORSPACE_CMY, "CMY"}, {QVI_COLORSPACE_CMYA, "CMYA"},
        {QVI_COLORSPACE_CMYA_PM, "CMYA_PM"}, {QVI_COLORSPACE_YIQ, "YIQ"},
        {QVI_COLORSPACE_YIQA, "YIQA"}, {QVI_COLORSPACE_YIQA_PM, "YIQA_PM"},
        {QVI_COLORSPACE_RGBK, "RGBK"}, {QVI_COLORSPACE_RGBKA, "RGBKA"},
        {QVI_COLORSPACE_RGBKA_PM, "RGBKA_PM"}, {QVI_COLORSPACE_CMYK, "CMYK"},
        {QVI_COLORSPACE_CMYKA, "CMYKA"}, {QVI_COLORSPACE_CMYKA_PM, "CMYKA_PM"},
        {QVI_COLORSPACE_YIQK, "YIQK"}, {QVI_COLORSPACE_YIQKA, "YIQKA"},
        {QVI_COLORSPACE_YIQKA_PM, "YIQKA_PM"}, {QVI_COLORSPACE_MULTISPECTRAL, "MULTISPECTRAL"},
        {QVI_COLORSPACE_MULTISPECTRALA, "MULTISPECTRALA"},
        {QVI_COLORSPACE_MULTISPECTRALA_PM, "MULTISPECTRALA_PM"},
    };
    for (const Name& entry : kNames) {
        if (entry.colorSpace == colorSpace)
            return entry.name;
    }
    return "INVALID";
}

}  // namespace QVTool
