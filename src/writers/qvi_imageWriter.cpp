#include "qvi_imageWriter.h"

#include <algorithm>

#include "qvi_imageStage.h"
#include "qvi_pixel.h"
#include "qvi_reusableBSQBuffer.h"
#include "qvi_sceneBuffer.h"

namespace Orvanetics {

QVIImageWriter::QVIImageWriter() = default;

QVIImageWriter::~QVIImageWriter()
{
    if (m_stage)
        m_stage->release();
}

QVStatus QVIImageWriter::init(QVIImageStage* stage)
{
    if (!stage)
        return kStsNullPointer;
    stage->retain();
    if (m_stage)
        m_stage->release();
    m_stage = stage;
    m_stripHeight = getDefaultStripHeight();
    return 0;
}

uint32_t QVIImageWriter::getDefaultStripHeight() const
{
    return m_stage ? m_stage->getStripHeight() : 0;
}

uint64_t QVIImageWriter::getEncodingCost(const QVIScene& scene) const
{
    return m_stage ? m_stage->getEncodingCost(scene) : 0;
}

QVStatus QVIImageWriter::setEncodingApplication(const char*, const char*, const char*)
{
    return 0;
}

void QVIImageWriter::setStripHeight(uint32_t stripHeight)
{
    m_stripHeight = stripHeight;
    if (m_stage)
        m_stage->setStripHeight(stripHeight);
}

QVStatus QVIImageWriter::checkDelegates(const QVIScene& scene, const QVIScene* stripScene,
                                        bool done)
{
    if (m_interruptDelegate) {
        if (const QVStatus status = m_interruptDelegate->checkInterrupt())
            return status;
    }
    if (!m_progressDelegate)
        return 0;
    float fraction = done ? 1.0f : 0.0f;
    if (stripScene)
        fraction = float((stripScene->getY() - scene.getY()) / scene.getHeight());
    return m_progressDelegate->reportProgress(fraction);
}

QVStatus QVIImageWriter::writeCleanup(QVStatus status)
{
    writeEnd();
    deleteOutput();
    return status;
}

QVStatus QVIImageWriter::write(const QVIScene& scene)
{
    if (!m_stage)
        return kStsNullPointer;
    if (const QVStatus status = writeBegin(scene))
        return status;
    if (const QVStatus status = checkDelegates(scene, nullptr, false))
        return writeCleanup(status);
    m_stage->setStripHeight(m_stripHeight);
    if (const QVStatus status = m_stage->readBegin(m_stage->getPixelProps(), scene))
        return writeCleanup(status);
    if (const QVStatus status = writeAllStrips(scene)) {
        m_stage->readEnd();
        return writeCleanup(status);
    }
    QVStatus status = m_stage->readEnd();
    if (status == 0)
        status = checkDelegates(scene, nullptr, true);
    if (status != 0)
        return writeCleanup(status);
    return writeEnd();
}

QVStatus QVIImageWriter::writeAllStrips(const QVIScene& scene)
{
    try {
        const QVIPixel& pixel = m_stage->getPixelProps();
        QVIReusableBSQBuffer block(pixel);
        const bool clearEachStrip = m_stage->getBackgroundPixel() == nullptr;
        const int32_t numStrips = m_stage->getNumStrips();
        for (int32_t index = 0; index < numStrips; ++index) {
            const QVIScene stripScene = m_stage->getStripScene(index);
            const uint32_t numCols = uint32_t(std::max(stripScene.getNumCols(), 0));
            const uint32_t numRows = uint32_t(std::max(stripScene.getNumRows(), 0));
            if (!block.safeResize(uint64_t(numCols) * numRows))
                return kStsStripAllocFailed;
            if (clearEachStrip)
                block.memset(0);
            QVISceneBuffer buffer(pixel, numCols, numRows, block.getData());
            if (const QVStatus status = m_stage->readStrip(buffer, stripScene))
                return status;
            if (const QVStatus status = writeStrip(buffer, stripScene))
                return status;
            if (const QVStatus status = checkDelegates(scene, &stripScene, false))
                return status;
        }
        return 0;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

}  // namespace Orvanetics
