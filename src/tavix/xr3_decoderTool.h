// The decoder of one image for one scene at a time: it maps a scene to a
// scale and a rectangle, selects the bands in the plane store client, and
// drives the pipelined wavelet decoder strip by strip.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "qvi_imageReader.h"
#include "xr3_imageInfo.h"

namespace Orvanetics {

class DecodeBase;
class QVIPixel;
class PipelinedWaveletDecoder;
class XR3FilePlaneStoreClient;
class XR3PlaneSource;
class XR3PlaneStoreClient;

// The finest level a wavelet image is served at: magnification 2^20.
constexpr int32_t kXR3FinestLevel = -20;

// Whether the transform runs on the coefficients of the first three bands.
bool xr3IsCoefficientColorTransform(XR3ColorTransform transform);
// Every band of `pixel` at the sample value of a coded value (float bands
// through their quantisation), clamped to integer sample limits.
QVStatus xr3SetCodedRange(const XR3ImageInfo& info, QVIPixel& pixel, int32_t coded);

// The delegates a wavelet tool consults while it works.
class XR3Tool {
public:
    void setToolDelegates(QVIProgressDelegate* progress, QVIInterruptDelegate* interrupt)
    {
        m_progressDelegate = progress;
        m_interruptDelegate = interrupt;
    }
    QVIInterruptDelegate* getToolInterruptDelegate() const { return m_interruptDelegate; }

    // Tells the progress delegate, if any; its status is the answer.
    QVStatus setProgressStatus(float fraction) const;
    // Asks the interrupt delegate, if any; non-zero stops the work.
    QVStatus getInterruptStatus() const;

protected:
    XR3Tool() = default;
    ~XR3Tool() = default;

private:
    QVIProgressDelegate* m_progressDelegate = nullptr;
    QVIInterruptDelegate* m_interruptDelegate = nullptr;
};

class XR3DecoderTool : public QVIImageReader, public XR3Tool {
public:
    // The tool decodes one band selection in ascending band order: its
    // readers map the caller's order onto it.

    // Takes the image info of the plane source and the client (not owned,
    // both outlive the tool). 2009 for a coding the decoder does not know.
    QVStatus init(const XR3PlaneSource& planeSource, XR3PlaneStoreClient& client);

    // Threads of the entropy decoding; 0 or less: the process-wide default.
    void setNumThreads(int32_t count) { m_numThreads = count; }
    int32_t getNumThreads() const { return m_numThreads; }
    // The threads a decode will use now.
    int32_t resolveNumThreads() const;
    // The process-wide default; 0 or less: the machine's concurrency.
    static void setDefaultNumThreads(int32_t count);
    static int32_t getDefaultNumThreads();

    // The read protocol of one decode, driven by the single image readers.
    // The pixel's bands must be ascending and distinct (else 2026); the
    // scene's magnification maps to a scale no coarser than the levels (else 2009).
    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus decodeEnd() override;

    std::string getSourceName() const override { return "tavix decoder"; }

    // The last decode's rectangles at its scale: the scene's, and the whole image's.
    const QVIGeomRect& getDecodeRect() const { return m_decodeRect; }
    const QVIGeomRect& getImageRect() const { return m_imageRect; }
    int32_t getScale() const { return m_scale; }
    uint32_t getNumStripsDecoded() const { return m_numStrips; }

protected:
    XR3DecoderTool();
    ~XR3DecoderTool() override;

    // The tool's own pixel, dynamic range and georeference from the info.
    QVStatus initImage();
    const XR3ImageInfo& getInfo() const { return m_info; }

private:
    QVStatus selectBands(const QVIPixel& pixel);
    QVStatus mapScene(const QVIScene& scene);
    QVStatus startDecoder();
    void endDecoder();

    XR3ImageInfo m_info;
    XR3PlaneStoreClient* m_client = nullptr;
    int32_t m_numThreads = 0;
    std::unique_ptr<DecodeBase> m_decodeBase;
    std::unique_ptr<PipelinedWaveletDecoder> m_decoder;
    int32_t m_scale = 0;
    QVIGeomRect m_decodeRect;
    QVIGeomRect m_imageRect;
    // Where the scene's column and row 0 lie in the decoder's coordinates.
    int64_t m_sceneOriginCol = 0;
    int64_t m_sceneOriginRow = 0;
    uint32_t m_numStrips = 0;
    uint16_t m_numSelected = 0;
};

// The tool over a file: the client's stream is open during each step of a decode.
class XR3FileSimpleDecoderTool : public XR3DecoderTool {
public:
    // Null when out of memory.
    static XR3FileSimpleDecoderTool* create();

    QVStatus init(const XR3PlaneSource& planeSource, XR3FilePlaneStoreClient& client);

    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;

private:
    XR3FileSimpleDecoderTool() = default;
    ~XR3FileSimpleDecoderTool() override = default;

    QVStatus openStream();
    QVStatus closeStream();

    XR3FilePlaneStoreClient* m_fileClient = nullptr;
};

}  // namespace Orvanetics
