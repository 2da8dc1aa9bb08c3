#include "tavix_singleImageReader.h"

#include <algorithm>
#include <new>

#include "qv_math.h"
#include "qv_statusCodes.h"
#include "qvi_metadataAcc.h"
#include "qvi_metadataEditor.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"
#include "xr3_decoderTool.h"
#include "xr3_imageSource.h"
#include "xr3_metadata.h"
#include "xr3_planeSource.h"

namespace Orvanetics {

namespace {

XR3MemoryModel toMemoryModel(TavixMemoryUsage usage, bool& valid)
{
    valid = true;
    switch (usage) {
    case TAVIX_MEMORY_USAGE_DEFAULT: return XR3_MEMORY_MODEL_DEFAULT;
    case TAVIX_MEMORY_USAGE_SMALL: return XR3_MEMORY_MODEL_PARTIAL;
    case TAVIX_MEMORY_USAGE_FULL:
    case TAVIX_MEMORY_USAGE_FULL_ALT: return XR3_MEMORY_MODEL_FULL;
    default: valid = false; return XR3_MEMORY_MODEL_DEFAULT;
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// TavixSingleImageReaderBase

TavixSingleImageReaderBase::~TavixSingleImageReaderBase()
{
    if (m_manager != nullptr)
        m_manager->release();
}

QVStatus TavixSingleImageReaderBase::attachManager(TavixImageStageManager* manager, TavixMemoryUsage memoryUsage,
                                                   TavixStreamUsage streamUsage)
{
    if (manager != nullptr)
        manager->retain();
    if (m_manager != nullptr)
        m_manager->release();
    m_manager = manager;
    if (manager == nullptr)
        return xr3Fail(QVI_STS_BadParam);
    return initInterface(manager->getTavixVersion(), memoryUsage, streamUsage);
}

// ---------------------------------------------------------------------------
// XR3SingleImageReader: set-up

XR3SingleImageReader* XR3SingleImageReader::create()
{
    return new (std::nothrow) XR3SingleImageReader();
}

XR4SingleImageReader* XR4SingleImageReader::create()
{
    return new (std::nothrow) XR4SingleImageReader();
}

XR3SingleImageReader::XR3SingleImageReader() : TavixSingleImageReaderBase(true) {}

XR3SingleImageReader::~XR3SingleImageReader()
{
    if (m_decoderTool != nullptr)
        m_decoderTool->release();
}

QVStatus XR3SingleImageReader::initialize(QVIOStreamInf* stream, uint32_t imageNumber,
                                          QVIOStreamInf* worldFileStream, TavixMemoryUsage memoryUsage,
                                          TavixStreamUsage streamUsage)
{
    TavixImageStageManager* manager = TavixImageStageManager::create();
    if (manager == nullptr)
        return xr3Fail(QVI_STS_OutOfMemory);
    return initializeOnManager(manager, manager->initialize(stream, memoryUsage, streamUsage), imageNumber,
                               worldFileStream);
}

QVStatus XR3SingleImageReader::initialize(const QVFileSpec& fileSpec, uint32_t imageNumber, bool useWorldFile,
                                          TavixMemoryUsage memoryUsage, TavixStreamUsage streamUsage)
{
    TavixImageStageManager* manager = TavixImageStageManager::create();
    if (manager == nullptr)
        return xr3Fail(QVI_STS_OutOfMemory);
    QVStatus status =
        initializeOnManager(manager, manager->initialize(fileSpec, memoryUsage, streamUsage), imageNumber, nullptr);
    if (status == 0 && useWorldFile) {
        bool found = false;
        status = readWorldFile(fileSpec, found, false);
    }
    return status;
}

QVStatus XR3SingleImageReader::initializeOnManager(TavixImageStageManager* manager, QVStatus managerStatus,
                                                   uint32_t imageNumber, QVIOStreamInf* worldFileStream)
{
    QVStatus status = managerStatus;
    if (status == 0 && manager->getContainer() == nullptr)
        status = xr3Fail(kStsTavixUnknownTileFormat);
    if (status == 0) {
        status = protectedInit(manager, manager->getContainer(), imageNumber, worldFileStream,
                               manager->getMemoryUsage(), manager->getStreamUsage());
    }
    manager->release();
    return status;
}

QVStatus XR3SingleImageReader::protectedInit(TavixImageStageManager* manager, XR3FileSimpleContainer* container,
                                             uint32_t imageNumber, QVIOStreamInf* worldFileStream,
                                             TavixMemoryUsage memoryUsage, TavixStreamUsage streamUsage)
{
    if (container == nullptr)
        return xr3Fail(QVI_STS_BadParam);
    m_container = container;
    m_imageNumber = imageNumber;
    QVStatus status = attachManager(manager, memoryUsage, streamUsage);
    if (status == 0)
        status = QVIGeoImageReader::init(true);
    if (status != 0)
        return status;

    m_imageSource.reset(new (std::nothrow) XR3ImageSource(*container, imageNumber));
    if (!m_imageSource)
        return xr3Fail(QVI_STS_OutOfMemory);
    if ((status = m_imageSource->initialize()) != 0 || (status = checkVirtualImage()) != 0 ||
        (status = loadMetadata()) != 0)
        return status;
    setDimensions(m_imageSource->getWidth(), m_imageSource->getHeight());

    try {
        QVIPixel pixel;
        if ((status = loadPixelProps(pixel)) != 0 || (status = loadDynamicRange(pixel)) != 0 ||
            (status = loadBackgroundPixels(pixel)) != 0 || (status = loadLookupTable(pixel)) != 0)
            return status;
        setMagnification(QVMath::levelToMag(getNumLevels()), QVMath::levelToMag(kXR3FinestLevel));
        if ((status = loadGeoCoord()) != 0)
            return status;
        if (worldFileStream != nullptr) {
            bool found = false;
            if ((status = readWorldFile(*worldFileStream, found, false)) != 0)
                return status;
        }
        QVIMetadataEditor editor(*getMetadataDatabase());
        unsigned flags = 1;
        m_fileModifications = editor.get_modifications(flags) == 0 ? flags : 1;
        if ((status = editor.removeClassicalMetadata()) != 0)
            return status;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
    setStripHeight(getReaderStripHeight());
    return 0;
}

QVStatus XR3SingleImageReader::checkVirtualImage() const
{
    const XR3ImageInfo& info = m_imageSource->getImageInfo();
    const bool badCrop = m_imageSource->isCropped() &&
                         (info.cropX0 < 0 || info.cropY0 < 0 || info.cropX1 < info.cropX0 || info.cropY1 < info.cropY0);
    if (badCrop || info.scale < 0 || info.scale > int32_t(info.numLevels))
        return xr3Fail(QVI_STS_Tavix_CorruptFile);
    return 0;
}

QVStatus XR3SingleImageReader::loadMetadata()
{
    XR3MetadataReader* metadata = m_container->getMetadataReader();
    if (metadata == nullptr)
        return 0;
    return metadata->loadMetadata(m_imageNumber, *getMetadataDatabase());
}

QVStatus XR3SingleImageReader::loadPixelProps(QVIPixel& pixel)
{
    const XR3ImageInfo& info = m_imageSource->getImageInfo();
    const QVIColorSpace colorSpace = XR3Type::toSDK(info.inputColorSpace);
    const QVIDataType dataType = XR3Type::toSDK(info.dataType);
    if (colorSpace == QVI_COLORSPACE_INVALID)
        return xr3Fail(QVI_STS_TavixReader_UnsupportedColorSpace);
    if (dataType == QVI_DATATYPE_INVALID)
        return xr3Fail(QVI_STS_TavixReader_UnsupportedDataType);
    pixel = QVIPixel(colorSpace, info.numBands, dataType);
    // The records may refine the pixel (colour scheme, precision) but not
    // change what is decoded.
    QVIPixel recorded(pixel);
    const QVIMetadataAcc acc(*getMetadataDatabase());
    if (acc.getPixelProps(recorded) == 0 && recorded.getNumBands() == pixel.getNumBands() &&
        recorded.getDataType() == dataType)
        pixel = recorded;
    return setPixelProps(pixel);
}

QVStatus XR3SingleImageReader::loadDynamicRange(const QVIPixel& pixel)
{
    QVIPixel minimum(pixel);
    QVIPixel maximum(pixel);
    const QVIMetadataAcc acc(*getMetadataDatabase());
    if (acc.getDynamicRange(minimum, maximum) != 0) {
        const XR3ImageInfo& info = m_imageSource->getImageInfo();
        if (const QVStatus status = xr3SetCodedRange(info, minimum, info.rangeMin))
            return status;
        if (const QVStatus status = xr3SetCodedRange(info, maximum, info.rangeMax))
            return status;
    }
    return setDynamicRange(minimum, maximum);
}

QVStatus XR3SingleImageReader::loadBackgroundPixels(const QVIPixel& pixel)
{
    const QVIMetadataAcc acc(*getMetadataDatabase());
    QVIPixel value(pixel);
    QVStatus status = acc.getBackgroundPixel(value) == 0
                          ? setBackgroundPixel(&value)
                          : overrideBackgroundPixel(m_imageSource->getBackgroundPixel());
    if (status != 0)
        return status;
    value = pixel;
    return acc.getNoDataPixel(value) == 0 ? setNoDataPixel(&value)
                                          : overrideNoDataPixel(m_imageSource->getNoDataPixel());
}

QVStatus XR3SingleImageReader::loadLookupTable(const QVIPixel& pixel)
{
    const QVIMetadataAcc acc(*getMetadataDatabase());
    QVIPixelLookupTable* table = nullptr;
    const QVStatus status = acc.getPixelLookupTable(pixel, table);
    if (status == QVI_STS_Metadata_TagNotFound)
        return 0;
    const std::unique_ptr<QVIPixelLookupTable> owned(table);
    if (status != 0)
        return status;
    return setPixelLookupTable(owned.get());
}

QVStatus XR3SingleImageReader::loadGeoCoord()
{
    QVIGeoCoord geoCoord;
    bool found = false;
    if (const QVStatus status = geoCoord.readMetadata(*getMetadataDatabase(), found))
        return status;
    if (found)
        return setGeoCoord(geoCoord);
    if (m_imageSource->setupGeoCoord(geoCoord) == 0)
        return setGeoCoord(geoCoord);
    return setDefaultGeoCoord(*this);
}

// ---------------------------------------------------------------------------
// XR3SingleImageReader: answers

uint8_t XR3SingleImageReader::getNumLevels() const
{
    return m_imageSource ? m_imageSource->getNumLevels() : 0;
}

bool XR3SingleImageReader::isLocked() const
{
    return m_imageSource && m_imageSource->getImageInfo().locked;
}

bool XR3SingleImageReader::isOptimizable() const
{
    return m_imageSource && m_imageSource->getImageInfo().hasPlaneMSE;
}

bool XR3SingleImageReader::hasXR2Data() const
{
    return m_container != nullptr && m_container->hasXR2Data();
}

bool XR3SingleImageReader::isMosaic() const
{
    return m_container != nullptr && m_container->isMosaic();
}

uint32_t XR3SingleImageReader::getBlockSize() const
{
    return m_imageSource ? m_imageSource->getImageInfo().subblockSize : 0;
}

bool XR3SingleImageReader::hasColorTransform() const
{
    return m_imageSource && xr3IsCoefficientColorTransform(m_imageSource->getImageInfo().colorTransform);
}

void XR3SingleImageReader::setMaxWorkerThreads(int32_t count)
{
    m_numThreads = count;
    if (m_decoderTool != nullptr)
        m_decoderTool->setNumThreads(count);
}

QVStatus XR3SingleImageReader::getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const
{
    if (!(mag >= getMinMagnification() && mag <= getMaxMagnification()))
        return QVI_STS_Core_MagOutOfRange;
    if (!QVMath::isPowerOfTwo(mag) || !m_imageSource)
        return QVIImageReader::getDimsAtMag(mag, width, height);
    return m_imageSource->getDimsAtLevel(QVMath::magToLevel(mag), width, height);
}

uint32_t XR3SingleImageReader::getModifications(const QVIScene& scene) const
{
    return m_fileModifications | QVIImageReader::getModifications(scene);
}

QVStatus XR3SingleImageReader::getMetadataBlob(const char* type, QVIOStreamInf*& stream) const
{
    stream = nullptr;
    XR3MetadataReader* metadata = m_container != nullptr ? m_container->getMetadataReader() : nullptr;
    if (metadata == nullptr || type == nullptr)
        return 0;
    std::unique_ptr<QVIOStreamInf> blob;
    const QVStatus status = metadata->getMetadataBlob(m_imageNumber, type, blob);
    stream = blob.release();
    return status;
}

std::string XR3SingleImageReader::getSourceName() const
{
    const char* name = m_container != nullptr ? m_container->getSourceName() : nullptr;
    return name != nullptr ? name : "";
}

// ---------------------------------------------------------------------------
// XR3SingleImageReader: decoding

QVStatus XR3SingleImageReader::createDecoder()
{
    if (m_decoderTool != nullptr)
        return 0;
    bool valid = false;
    const XR3MemoryModel model = toMemoryModel(getMemoryUsage(), valid);
    if (!valid)
        return xr3Fail(kStsTavixInvalidMemoryModel);
    std::unique_ptr<XR3FileSimplePlaneSource> planeSource(
        new (std::nothrow) XR3FileSimplePlaneSource(*m_container, m_imageSource->getImageInfo(), model));
    if (!planeSource)
        return xr3Fail(QVI_STS_OutOfMemory);
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    QVStatus status = planeSource->initialize();
    if (status == 0)
        status = planeSource->createFilePlaneStoreClient(client);
    if (status != 0)
        return status;
    XR3FileSimpleDecoderTool* tool = XR3FileSimpleDecoderTool::create();
    if (tool == nullptr)
        return xr3Fail(QVI_STS_OutOfMemory);
    if ((status = tool->init(*planeSource, *client)) != 0) {
        tool->release();
        return status;
    }
    tool->setNumThreads(m_numThreads);
    m_planeSource = std::move(planeSource);
    m_client = std::move(client);
    m_decoderTool = tool;
    return 0;
}

QVStatus XR3SingleImageReader::decodeBegin(const QVIPixel& pixel, const QVIScene& scene)
{
    clearBandMap();
    if (const QVStatus status = createDecoder())
        return status;
    m_decoderTool->setToolDelegates(getProgressDelegate(), getInterruptDelegate());
    QVStatus status = 0;
    try {
        status = planBands(pixel);
    } catch (const QVUtilException& exception) {
        status = exception.getStatus();
    } catch (const std::bad_alloc&) {
        status = xr3Fail(QVI_STS_OutOfMemory);
    }
    if (status == 0)
        status = m_decoderTool->decodeBegin(m_decodedPixel ? *m_decodedPixel : pixel, scene);
    if (status != 0)
        clearBandMap();
    return status;
}

QVStatus XR3SingleImageReader::planBands(const QVIPixel& pixel)
{
    const XR3ImageInfo& info = m_imageSource->getImageInfo();
    XR3ComponentSet wanted(info.numBands);
    bool ascending = true;
    for (uint16_t b = 0; b < pixel.getNumBands(); ++b) {
        const uint16_t band = pixel.getSample(b).getSourceBandIndex();
        if (band >= info.numBands)
            return xr3Fail(QVI_STS_Core_MismatchNumBands);
        if (wanted.isSet(band) && !allowsRepeatedBands())
            return xr3Fail(QVI_STS_Tavix_BadBandSelection);
        ascending = ascending && (b == 0 || band > pixel.getSample(b - 1).getSourceBandIndex());
        wanted.set(band);
    }
    // The colour transform runs on the first three bands together.
    bool added = false;
    if (xr3IsCoefficientColorTransform(info.colorTransform) && info.numBands >= 3) {
        const uint32_t colourBands = uint32_t(wanted.isSet(0)) + wanted.isSet(1) + wanted.isSet(2);
        if (colourBands > 0 && colourBands < 3) {
            wanted.set(0);
            wanted.set(1);
            wanted.set(2);
            added = true;
        }
    }
    if (ascending && !added)
        return 0;

    m_bandList.clear();
    for (uint16_t band = 0; band < info.numBands; ++band) {
        if (wanted.isSet(band))
            m_bandList.push_back(band);
    }
    m_requestToDecoded.resize(pixel.getNumBands());
    for (uint16_t b = 0; b < pixel.getNumBands(); ++b) {
        const auto found =
            std::lower_bound(m_bandList.begin(), m_bandList.end(), pixel.getSample(b).getSourceBandIndex());
        m_requestToDecoded[b] = uint16_t(found - m_bandList.begin());
    }
    m_decodedPixel = std::make_unique<QVIPixel>(getPixelProps(), m_bandList.data(), uint16_t(m_bandList.size()));
    return 0;
}

QVStatus XR3SingleImageReader::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (m_decoderTool == nullptr)
        return xr3Fail(QVI_STS_BadContext);
    if (!m_decodedPixel)
        return m_decoderTool->decodeStrip(buffer, stripScene);
    try {
        return decodeThroughBandMap(buffer, stripScene);
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_OutOfMemory);
    }
}

QVStatus XR3SingleImageReader::decodeThroughBandMap(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    // One strip buffer serves all strips of a read: the first strip is the widest and tallest.
    if (!m_decodedStrip || m_decodedStrip->getNumCols() < buffer.getNumCols() ||
        m_decodedStrip->getNumRows() < buffer.getNumRows())
        m_decodedStrip = std::make_unique<QVISceneBuffer>(*m_decodedPixel, buffer.getNumCols(), buffer.getNumRows());
    QVISceneBuffer decoded(*m_decodedStrip, 0, 0, buffer.getNumCols(), buffer.getNumRows());
    if (const QVStatus status = m_decoderTool->decodeStrip(decoded, stripScene))
        return status;
    for (uint16_t b = 0; b < buffer.getNumBands(); ++b) {
        if (const QVStatus status = buffer.importDataBand(b, decoded, m_requestToDecoded[b]))
            return status;
    }
    return 0;
}

QVStatus XR3SingleImageReader::decodeEnd()
{
    clearBandMap();
    return m_decoderTool != nullptr ? m_decoderTool->decodeEnd() : 0;
}

void XR3SingleImageReader::clearBandMap()
{
    m_decodedPixel.reset();
    m_bandList.clear();
    m_requestToDecoded.clear();
    m_decodedStrip.reset();
}

// ---------------------------------------------------------------------------
// XR4SingleImageReader

QVStatus XR4SingleImageReader::getPerBandCompressionRatios(bool withAlpha, std::vector<double>& ratios,
                                                           uint16_t& numBands)
{
    ratios.clear();
    numBands = 0;
    if (const QVStatus status = createDecoder())
        return status;
    std::vector<uint64_t> sizes;
    if (const QVStatus status = getPlaneSource()->getComponentSizes(sizes))
        return status;
    numBands = withAlpha ? getNumBands() : getNumBandsWithoutAlpha();
    const double rawBandSize = double(getWidth()) * getHeight() * getImageSource()->getNumBytesPerSample();
    try {
        for (uint16_t band = 0; band < numBands && band < sizes.size(); ++band)
            ratios.push_back(sizes[band] == 0 ? 0.0 : rawBandSize / double(sizes[band]));
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_OutOfMemory);
    }
    numBands = uint16_t(ratios.size());
    return 0;
}

}  // namespace Orvanetics
