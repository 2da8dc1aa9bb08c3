// A source that holds several images (a multi-image file): it hands out a
// stage, or just the properties, for each image by index. The default bodies
// call each other, so a subclass overrides at least one operation of each
// pair. Whatever is handed out belongs to the caller by one reference.
// A subclass that overrides one form of an overloaded pair brings the other
// back into view with a using-declaration (using QVIImageStageManager::createImageStage;).
#pragma once

#include <cstdint>

#include "qv_utilStatusData.h"
#include "qvi_referenceCountedObject.h"

namespace Orvanetics {

class QVFileSpec;
class QVIImage;
class QVIImageStage;

class QVIImageStageManager : public QVIReferenceCountedObject {
public:

    // Defaults to createImageStage(index, stage).
    virtual QVStatus createImageProps(uint32_t index, QVIImage*& image);
    // Defaults to createImageStage(index); 1 for a null stage.
    virtual QVStatus createImageStage(uint32_t index, QVIImageStage*& stage);
    // Defaults to createImageStage(index, stage); null on failure.
    virtual QVIImageStage* createImageStage(uint32_t index);
    // A reduced-resolution stage of all images; by default there is none
    // (null stage, success).
    virtual QVStatus createOverviewImageStage(QVIImageStage*& stage);
    virtual void setNumImages(uint32_t count);

    uint32_t getNumImages() const { return m_numImages; }

protected:
    QVIImageStageManager() = default;
    ~QVIImageStageManager() override = default;

private:
    uint32_t m_numImages = 0;
};

// Adds the names of each image's file and of its support files.
class QVIImageStageManager2 : public QVIImageStageManager {
public:
    // Defaults to getImageName(index); 1 for none.
    virtual QVStatus getImageName(uint32_t index, QVFileSpec& fileSpec);
    virtual QVStatus getSupportFileBaseName(uint32_t index, QVFileSpec& fileSpec);
    // Default to the fill forms; a new fileSpec the caller deletes, or null.
    virtual QVFileSpec* getImageName(uint32_t index);
    virtual QVFileSpec* getSupportFileBaseName(uint32_t index);
    void setNumImages(uint32_t count) override;

protected:
    QVIImageStageManager2() = default;
    ~QVIImageStageManager2() override = default;
};

}  // namespace Orvanetics
