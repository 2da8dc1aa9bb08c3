#include "qvi_imageStage.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "qv_math.h"
#include "qv_statusCodes.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"

namespace Orvanetics {

struct QVIImageStage::ReadState {
    QVIScene scene;
    int32_t stripHeight;
    int32_t numStrips;
};

QVIImageStage::QVIImageStage() = default;

QVIImageStage::~QVIImageStage() = default;

void QVIImageStage::addStatusContext(QVStatus) const {}

// ---------------------------------------------------------------------------
// Validation

QVStatus QVIImageStage::validateReadRequest(const QVIPixel& pixel, const QVIScene& scene) const
{
    const double mag = scene.getMag();
    // Written as a range test so that a NaN magnification fails it too.
    if (!(mag >= getMinMagnification() && mag <= getMaxMagnification()))
        return QVI_STS_Core_MagOutOfRange;
    if (!QVMath::isPowerOfTwo(mag) && !getPipelineInfo(QVI_PIPELINE_ARBITRARY_MAG))
        return QVI_STS_Core_MagOutOfRange;
    if (scene.getUpperLeftCol() < 0 || scene.getUpperLeftRow() < 0)
        return QVI_STS_Core_SceneOutOfRange;
    uint32_t width = 0;
    uint32_t height = 0;
    if (const QVStatus status = getDimsAtMag(mag, width, height))
        return status;
    if (int64_t(scene.getLowerRightCol()) >= int64_t(width) ||
        int64_t(scene.getLowerRightRow()) >= int64_t(height))
        return QVI_STS_Core_SceneOutOfRange;
    return QVIPixel::checkCompatible(pixel, getPixelProps());
}

QVStatus QVIImageStage::validateReadRequest(const QVISceneBuffer& buffer,
                                            const QVIScene& scene) const
{
    if (const QVStatus status = validateReadRequest(buffer.getPixelProps(), scene))
        return status;
    if (int64_t(buffer.getNumCols()) < scene.getNumCols() ||
        int64_t(buffer.getNumRows()) < scene.getNumRows())
        return QVI_STS_Core_SceneBufferSizeMismatch;
    return 0;
}

bool QVIImageStage::isBandSelected(const QVIPixel& pixel) const
{
    if (pixel.getNumBands() != getPixelProps().getNumBands())
        return true;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        if (pixel.getSample(band).getSourceBandIndex() != band)
            return true;
    }
    return false;
}

// ---------------------------------------------------------------------------
// The read protocol

QVStatus QVIImageStage::read(const QVIScene& scene, QVISceneBuffer& buffer)
{
    QVStatus status = validateReadRequest(buffer, scene);
    if (status == 0)
        status = readBegin(buffer.getPixelProps(), scene);
    if (status == 0) {
        status = readAllStrips(buffer);
        // readEnd runs after a failed strip too; the first failure wins.
        const QVStatus endStatus = readEnd();
        if (status == 0)
            status = endStatus;
    }
    if (status != 0)
        addStatusContext(status);
    return status;
}

QVStatus QVIImageStage::readAllStrips(QVISceneBuffer& buffer)
{
    const double fullY = getFullScene().getY();
    const int32_t numStrips = getNumStrips();
    for (int32_t index = 0; index < numStrips; ++index) {
        const QVIScene strip = getStripScene(index);
        const auto rowOffset = static_cast<uint32_t>(std::floor(0.5 + strip.getY() - fullY));
        try {
            // A view into the caller's buffer: the strip lands in place.
            QVISceneBuffer view(buffer, 0, rowOffset, uint32_t(strip.getNumCols()),
                                uint32_t(strip.getNumRows()));
            if (view.getNumPixels() == 0)
                return QVI_STS_Core_SceneTooLarge;
            if (const QVStatus status = readStrip(view, strip))
                return status;
        } catch (const QVUtilException& exception) {
            return exception.getStatus();
        }
    }
    return 0;
}

QVStatus QVIImageStage::readBegin(const QVIPixel& pixel, const QVIScene& scene)
{
    if (const QVStatus status = validateReadRequest(pixel, scene))
        return status;
    m_read.reset();
    // A strip height of 0 would divide by zero below.
    const int64_t stripHeight = std::min<int64_t>(getStripHeight(), INT32_MAX);
    if (stripHeight == 0)
        return QVI_STS_Core_InvalidArgument;
    const int64_t numStrips = (stripHeight + scene.getNumRows() - 1) / stripHeight;
    m_read.reset(new (std::nothrow)
                     ReadState{scene, int32_t(stripHeight), int32_t(numStrips)});
    if (!m_read)
        return QVI_STS_OutOfMemory;
    QVStatus status = decodeBegin(pixel, scene);
    if (status == 0) {
        status = checkDelegates(nullptr, false);
        // The decode started: let the subclass release its read state.
        if (status != 0)
            decodeEnd();
    }
    if (status != 0)
        m_read.reset();
    return status;
}

QVStatus QVIImageStage::readStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (const QVStatus status = decodeStrip(buffer, stripScene))
        return status;
    return checkDelegates(&stripScene, false);
}

QVStatus QVIImageStage::readEnd()
{
    QVStatus status = decodeEnd();
    if (status == 0)
        status = checkDelegates(nullptr, true);
    m_read.reset();
    return status;
}

// ---------------------------------------------------------------------------
// Strips and delegates

int32_t QVIImageStage::getNumStrips() const
{
    return m_read ? m_read->numStrips : 0;
}

QVIScene QVIImageStage::getStripScene(int32_t index) const
{
    if (!m_read)
        return QVIScene();
    const QVIScene& full = m_read->scene;
    const double y = full.getY() + double(index) * m_read->stripHeight;
    // The last strip may be shorter, and fractional when the scene is.
    const double height = std::min<double>(m_read->stripHeight, full.getY() + full.getHeight() - y);
    return QVIScene(full.getX(), y, full.getWidth(), height, full.getMag());
}

const QVIScene& QVIImageStage::getFullScene() const
{
    static const QVIScene noScene;
    return m_read ? m_read->scene : noScene;
}

QVStatus QVIImageStage::checkDelegates(const QVIScene* stripScene, bool done)
{
    if (QVIInterruptDelegate* interrupt = getInterruptDelegate()) {
        if (const QVStatus status = interrupt->checkInterrupt())
            return status;
    }
    QVIProgressDelegate* progress = getProgressDelegate();
    if (progress == nullptr)
        return 0;
    float fraction = done ? 1.0f : 0.0f;
    if (stripScene != nullptr) {
        // The share of the scene before this strip.
        const QVIScene& full = getFullScene();
        fraction = float((stripScene->getY() - full.getY()) / full.getHeight());
    }
    return progress->reportProgress(fraction);
}

// ---------------------------------------------------------------------------
// Background

QVStatus QVIImageStage::fillBackground(const QVIScene& scene, QVISceneBuffer& buffer) const
{
    if (const QVIPixel* background = getBackgroundPixel())
        return fillBackground(scene, buffer, *background);
    if (const QVIPixel* noData = getNoDataPixel())
        return fillBackground(scene, buffer, *noData);
    try {
        QVIPixel minimum(getPixelProps());
        minimum.setSampleValuesToMin();
        return fillBackground(scene, buffer, minimum);
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

QVStatus QVIImageStage::fillBackground(const QVIScene& scene, QVISceneBuffer& buffer,
                                       const QVIPixel& pixel) const
{
    // Never past the buffer, whatever the scene says.
    const auto cols = uint32_t(std::clamp<int64_t>(scene.getNumCols(), 0, buffer.getNumCols()));
    const auto rows = uint32_t(std::clamp<int64_t>(scene.getNumRows(), 0, buffer.getNumRows()));
    try {
        QVISceneBuffer view(buffer, 0, 0, cols, rows);
        return view.fill(pixel);
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

}  // namespace Orvanetics
