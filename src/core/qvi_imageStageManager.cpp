#include "qvi_imageStageManager.h"

#include <memory>
#include <new>

#include "qv_fileSpec.h"
#include "qv_statusCodes.h"
#include "qvi_imageStage.h"

namespace Orvanetics {

namespace {

// The pointer form of a fill operation: a new file name filled by `fill`, or null.
template <typename Fill>
QVFileSpec* newFilledSpec(Fill&& fill)
{
    std::unique_ptr<QVFileSpec> fileSpec(new (std::nothrow) QVFileSpec());
    if (!fileSpec || fill(*fileSpec) != 0)
        return nullptr;
    return fileSpec.release();
}

// The fill form of a pointer operation: 1 when it hands out nothing.
QVStatus takeFilledSpec(QVFileSpec* made, QVFileSpec& fileSpec)
{
    std::unique_ptr<QVFileSpec> owned(made);
    if (!owned)
        return QVI_STS_Failure;
    fileSpec = *owned;
    return 0;
}

}  // namespace

QVStatus QVIImageStageManager::createImageProps(uint32_t index, QVIImage*& image)
{
    QVIImageStage* stage = nullptr;
    const QVStatus status = createImageStage(index, stage);
    image = stage;
    return status;
}

QVStatus QVIImageStageManager::createImageStage(uint32_t index, QVIImageStage*& stage)
{
    stage = createImageStage(index);
    return stage != nullptr ? 0 : QVI_STS_Failure;
}

QVIImageStage* QVIImageStageManager::createImageStage(uint32_t index)
{
    QVIImageStage* stage = nullptr;
    if (createImageStage(index, stage) == 0)
        return stage;
    if (stage != nullptr)
        stage->release();
    return nullptr;
}

QVStatus QVIImageStageManager::createOverviewImageStage(QVIImageStage*& stage)
{
    stage = nullptr;
    return 0;
}

void QVIImageStageManager::setNumImages(uint32_t count)
{
    m_numImages = count;
}

QVStatus QVIImageStageManager2::getImageName(uint32_t index, QVFileSpec& fileSpec)
{
    return takeFilledSpec(getImageName(index), fileSpec);
}

QVStatus QVIImageStageManager2::getSupportFileBaseName(uint32_t index, QVFileSpec& fileSpec)
{
    return takeFilledSpec(getSupportFileBaseName(index), fileSpec);
}

QVFileSpec* QVIImageStageManager2::getImageName(uint32_t index)
{
    return newFilledSpec([&](QVFileSpec& fileSpec) { return getImageName(index, fileSpec); });
}

QVFileSpec* QVIImageStageManager2::getSupportFileBaseName(uint32_t index)
{
    return newFilledSpec([&](QVFileSpec& fileSpec) { return getSupportFileBaseName(index, fileSpec); });
}

void QVIImageStageManager2::setNumImages(uint32_t count)
{
    QVIImageStageManager::setNumImages(count);
}

}  // namespace Orvanetics
