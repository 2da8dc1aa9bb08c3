#include "xr3_decoderTool.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "qv_math.h"
#include "qvi_pixel.h"
#include "qvi_scene.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"
#include "xr3_decodeBase.h"
#include "xr3_planeSource.h"
#include "xr3_waveletDecoder.h"

namespace Orvanetics {

namespace {

std::atomic<int32_t> s_defaultNumThreads{0};

double codedValueAsSample(const XR3ImageInfo& info, uint16_t band, int32_t coded)
{
    if (info.dataType != XR3_DATATYPE_FLOAT32 || band >= info.quantization.size())
        return double(coded);
    const QuantizationInfo& q = info.quantization[band];
    return double(q.offset) + double(q.step) * double(coded);
}

}  // namespace

bool xr3IsCoefficientColorTransform(XR3ColorTransform transform)
{
    return transform == XR3_COLORTRANSFORM_YIQ_TO_RGB || transform == XR3_COLORTRANSFORM_YIQK_TO_RGBK ||
           transform == XR3_COLORTRANSFORM_RGB_TO_YIQ || transform == XR3_COLORTRANSFORM_RGBK_TO_YIQK;
}

QVStatus xr3SetCodedRange(const XR3ImageInfo& info, QVIPixel& pixel, int32_t coded)
{
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        QVISample& sample = pixel.getSample(band);
        double value = codedValueAsSample(info, sample.getSourceBandIndex(), coded);
        if (QVIUtils::isIntegral(sample.getDataType())) {
            value = std::clamp(value, QVIUtils::getMinValue(sample.getDataType()),
                               QVIUtils::getMaxValue(sample.getDataType()));
        }
        if (const QVStatus status = sample.setValueFromDouble(value))
            return status;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// XR3Tool

QVStatus XR3Tool::setProgressStatus(float fraction) const
{
    return m_progressDelegate != nullptr ? m_progressDelegate->reportProgress(fraction) : 0;
}

QVStatus XR3Tool::getInterruptStatus() const
{
    return m_interruptDelegate != nullptr ? m_interruptDelegate->checkInterrupt() : 0;
}

// ---------------------------------------------------------------------------
// XR3DecoderTool: set-up

XR3DecoderTool::XR3DecoderTool() : QVIImageReader(true) {}

XR3DecoderTool::~XR3DecoderTool() = default;

void XR3DecoderTool::setDefaultNumThreads(int32_t count)
{
    s_defaultNumThreads.store(count);
}

int32_t XR3DecoderTool::getDefaultNumThreads()
{
    return s_defaultNumThreads.load();
}

int32_t XR3DecoderTool::resolveNumThreads() const
{
    return int32_t(xr3ResolveNumThreads(m_numThreads, s_defaultNumThreads.load()));
}

QVStatus XR3DecoderTool::init(const XR3PlaneSource& planeSource, XR3PlaneStoreClient& client)
{
    m_info = planeSource.getImageInfo();
    m_client = &client;
    if (const QVStatus status = initImage())
        return status;
    if (m_info.codingKindA != 0 || m_info.codingKindC != 0)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    return 0;
}

QVStatus XR3DecoderTool::initImage()
{
    QVStatus status = QVIImageReader::init(nullptr);
    if (status != 0)
        return status;
    const QVIColorSpace colorSpace = XR3Type::toSDK(m_info.inputColorSpace);
    const QVIDataType dataType = XR3Type::toSDK(m_info.dataType);
    if (colorSpace == QVI_COLORSPACE_INVALID)
        return xr3Fail(QVI_STS_TavixReader_UnsupportedColorSpace);
    if (dataType == QVI_DATATYPE_INVALID)
        return xr3Fail(QVI_STS_TavixReader_UnsupportedDataType);
    try {
        const QVIPixel pixel(colorSpace, m_info.numBands, dataType);
        QVIPixel minimum(pixel);
        QVIPixel maximum(pixel);
        if ((status = setPixelProps(pixel)) != 0 || (status = xr3SetCodedRange(m_info, minimum, m_info.rangeMin)) != 0 ||
            (status = xr3SetCodedRange(m_info, maximum, m_info.rangeMax)) != 0 ||
            (status = setDynamicRange(minimum, maximum)) != 0)
            return status;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
    setDimensions(m_info.width, m_info.height);
    setMagnification(QVMath::levelToMag(m_info.numLevels), QVMath::levelToMag(kXR3FinestLevel));
    return setDefaultGeoCoord(*this);
}

// ---------------------------------------------------------------------------
// XR3DecoderTool: decoding

QVStatus XR3DecoderTool::decodeBegin(const QVIPixel& pixel, const QVIScene& scene)
{
    if (m_client == nullptr)
        return xr3Fail(QVI_STS_Tavix_BadContext);
    if (m_client->havePlanesBeenUpdated() && m_decodeBase)
        m_decodeBase->invalidateCache();
    QVStatus status = mapScene(scene);
    if (status == 0)
        status = selectBands(pixel);
    if (status == 0)
        status = startDecoder();
    return status;
}

QVStatus XR3DecoderTool::mapScene(const QVIScene& scene)
{
    const double mag = scene.getMag();
    if (!(mag > 0.0))
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    const int32_t scale = QVMath::magToLevel(mag);
    const int32_t virtualLevels = int32_t(m_info.numLevels) - m_info.scale;
    if (scale > virtualLevels || scale < -31 + m_info.scale)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    // The scene lies in the virtual image; the decoder works in the whole
    // image at the scale that includes the header's own reduction.
    const int32_t decodeScale = scale + m_info.scale;
    QVIGeomRect virtualImage;
    if (const QVStatus status = m_info.getSupportAtScale(scale, true, true, virtualImage))
        return status;
    QVIGeomRect image;
    if (const QVStatus status = m_info.getSupportAtScale(decodeScale, true, false, image))
        return status;
    const int64_t x0 = int64_t(scene.getUpperLeftCol()) + virtualImage.x0;
    const int64_t y0 = int64_t(scene.getUpperLeftRow()) + virtualImage.y0;
    const int64_t x1 = x0 + scene.getNumCols() - 1;
    const int64_t y1 = y0 + scene.getNumRows() - 1;
    if (scene.getNumCols() <= 0 || scene.getNumRows() <= 0 || x0 < image.x0 || y0 < image.y0 || x1 > image.x1 ||
        y1 > image.y1)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    m_scale = decodeScale;
    m_decodeRect = QVIGeomRect(int32_t(x0), int32_t(y0), int32_t(x1), int32_t(y1));
    m_imageRect = image;
    m_sceneOriginCol = virtualImage.x0;
    m_sceneOriginRow = virtualImage.y0;
    return 0;
}

QVStatus XR3DecoderTool::selectBands(const QVIPixel& pixel)
{
    XR3ComponentSet& components = m_client->getComponentSet();
    components.setNumComponents(m_info.numBands);
    for (uint16_t b = 0; b < pixel.getNumBands(); ++b) {
        const uint16_t band = pixel.getSample(b).getSourceBandIndex();
        if (band >= m_info.numBands)
            return xr3Fail(QVI_STS_Tavix_BadBandSelection);
        components.set(band);
    }
    if (components.getNumSet() != pixel.getNumBands())
        return xr3Fail(QVI_STS_Tavix_BadBandSelection);
    m_numSelected = pixel.getNumBands();
    return 0;
}

QVStatus XR3DecoderTool::startDecoder()
{
    endDecoder();
    m_decodeBase.reset(new (std::nothrow)
                           DecodeBase(m_info, *m_client, getToolInterruptDelegate(), uint32_t(resolveNumThreads())));
    if (!m_decodeBase)
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    m_decoder = PipelinedWaveletDecoder::create(m_decodeRect, m_info.numLevels, uint32_t(m_imageRect.y1 + 1),
                                                uint32_t(m_imageRect.x1 + 1), m_numSelected, m_scale, *m_decodeBase);
    if (!m_decoder)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    m_numStrips = 0;
    const QVStatus status = m_decoder->begin(getStripHeight(), m_info.rangeMin, m_info.rangeMax);
    if (status != 0)
        endDecoder();
    return status;
}

void XR3DecoderTool::endDecoder()
{
    if (m_decoder)
        m_decoder->end();
    m_decoder.reset();
}

QVStatus XR3DecoderTool::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (!m_decoder)
        return xr3Fail(QVI_STS_Tavix_BadContext);
    const int64_t x0 = int64_t(stripScene.getUpperLeftCol()) + m_sceneOriginCol;
    const int64_t y0 = int64_t(stripScene.getUpperLeftRow()) + m_sceneOriginRow;
    const QVIGeomRect requested(int32_t(x0), int32_t(y0), int32_t(x0 + stripScene.getNumCols() - 1),
                                int32_t(y0 + stripScene.getNumRows() - 1));
    const QVIGeomRect rect = XR3RectOps::intersection(requested, m_decodeRect);
    ++m_numStrips;
    if (rect.isEmpty())
        return 0;
    QVStatus status = 0;
    try {
        // Rows or columns of the strip outside the decode rectangle stay untouched.
        QVISceneBuffer target(buffer, uint32_t(rect.x0 - requested.x0), uint32_t(rect.y0 - requested.y0),
                              uint32_t(XR3RectOps::width(rect)), uint32_t(XR3RectOps::height(rect)));
        status = m_decoder->decodeStrip(rect, target);
    } catch (const QVUtilException& exception) {
        status = exception.getStatus();
    } catch (const std::bad_alloc&) {
        status = xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    if (status != 0)
        endDecoder();
    return status;
}

QVStatus XR3DecoderTool::decodeEnd()
{
    QVStatus status = 0;
    if (m_decoder)
        status = m_decoder->end();
    m_decoder.reset();
    if (m_decodeBase)
        m_decodeBase->invalidateCache();
    return status;
}

// ---------------------------------------------------------------------------
// XR3FileSimpleDecoderTool

XR3FileSimpleDecoderTool* XR3FileSimpleDecoderTool::create()
{
    return new (std::nothrow) XR3FileSimpleDecoderTool();
}

QVStatus XR3FileSimpleDecoderTool::init(const XR3PlaneSource& planeSource, XR3FilePlaneStoreClient& client)
{
    m_fileClient = &client;
    return XR3DecoderTool::init(planeSource, client);
}

QVStatus XR3FileSimpleDecoderTool::openStream()
{
    return m_fileClient != nullptr ? m_fileClient->openStream() : 0;
}

QVStatus XR3FileSimpleDecoderTool::closeStream()
{
    return m_fileClient != nullptr ? m_fileClient->closeStream() : 0;
}

QVStatus XR3FileSimpleDecoderTool::decodeBegin(const QVIPixel& pixel, const QVIScene& scene)
{
    if (const QVStatus status = openStream())
        return status;
    const QVStatus status = XR3DecoderTool::decodeBegin(pixel, scene);
    const QVStatus closeStatus = closeStream();
    return status != 0 ? status : closeStatus;
}

QVStatus XR3FileSimpleDecoderTool::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (const QVStatus status = openStream())
        return status;
    const QVStatus status = XR3DecoderTool::decodeStrip(buffer, stripScene);
    const QVStatus closeStatus = closeStream();
    return status != 0 ? status : closeStatus;
}

}  // namespace Orvanetics
