// A writer pulls a scene from a source stage strip by strip and hands each
// strip to its format's writeStrip. The frame owns the strip loop, the
// delegates and the clean-up after a failure: a failed write leaves no
// partial output behind.
//
// Writing any stage to a file, for example as PNG:
//     PNGImageWriter writer;
//     QVStatus status = writer.initialize(stage);          // retains the stage
//     if (!status) status = writer.setOutputFileSpec("out.png");
//     if (!status) status = writer.write(QVIScene(0, 0, w, h, 1.0));
// Callers that move the strips themselves run writeBegin, then writeStrip for
// each strip buffer, then writeEnd (and deleteOutput to discard the file).
#pragma once

#include <cstdint>

#include "qv_utilStatusData.h"
#include "qvi_delegates.h"
#include "qvi_scene.h"

namespace Orvanetics {

class QVIImageStage;
class QVISceneBuffer;

class QVIImageWriter {
public:
    static constexpr QVStatus kStsNullPointer = 7;        // "NULL pointer dereferenced"
    static constexpr QVStatus kStsStripAllocFailed = 50008;  // "memory allocation failed"

    virtual ~QVIImageWriter();
    QVIImageWriter(const QVIImageWriter&) = delete;
    QVIImageWriter& operator=(const QVIImageWriter&) = delete;

    // The whole write: writeBegin, the stage's strips through writeStrip,
    // writeEnd. A failure after writeBegin ends the stage's read, runs
    // writeEnd and deleteOutput, and is returned as it is.
    virtual QVStatus write(const QVIScene& scene);
    virtual QVStatus writeBegin(const QVIScene& scene) = 0;
    // The buffer holds the strip scene's pixels in the stage's full pixel layout.
    virtual QVStatus writeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) = 0;
    virtual QVStatus writeEnd() = 0;
    // Removes whatever the writer has put out so far.
    virtual QVStatus deleteOutput() = 0;
    // The source stage's own strip height unless a format prefers another.
    virtual uint32_t getDefaultStripHeight() const;
    // The source stage's estimate, in KiB of output.
    virtual uint64_t getEncodingCost(const QVIScene& scene) const;
    // Names the application in formats that record it; nothing by default.
    virtual QVStatus setEncodingApplication(const char* name, const char* version,
                                            const char* extra);

    // Also sets the source stage's strip height.
    void setStripHeight(uint32_t stripHeight);
    uint32_t getStripHeight() const { return m_stripHeight; }
    // Delegates stay the application's; the writer only points to them.
    void setProgressDelegate(QVIProgressDelegate* delegate) { m_progressDelegate = delegate; }
    QVIProgressDelegate* getProgressDelegate() const { return m_progressDelegate; }
    void setInterruptDelegate(QVIInterruptDelegate* delegate) { m_interruptDelegate = delegate; }
    QVIInterruptDelegate* getInterruptDelegate() const { return m_interruptDelegate; }
    QVIImageStage* getSourceImageStage() const { return m_stage; }

protected:
    QVIImageWriter();

    // Retains the stage (7 for null, nothing stored) and takes its strip height.
    QVStatus init(QVIImageStage* stage);
    // writeEnd and deleteOutput, their statuses dropped; answers `status`.
    QVStatus writeCleanup(QVStatus status);
    // The interrupt delegate first, then the share of `scene` before
    // stripScene (null: 1.0 when done, else 0.0) to the progress delegate.
    QVStatus checkDelegates(const QVIScene& scene, const QVIScene* stripScene, bool done);

private:
    QVStatus writeAllStrips(const QVIScene& scene);

    QVIImageStage* m_stage = nullptr;
    uint32_t m_stripHeight = 0;
    QVIProgressDelegate* m_progressDelegate = nullptr;
    QVIInterruptDelegate* m_interruptDelegate = nullptr;
};

}  // namespace Orvanetics
