// Test-only stages and streams for the stage frame: an in-memory reader whose
// samples follow a known formula, a pass-through filter, delegates that record
// what they are told, and a byte-vector stream.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qv_ioStreamInf.h"
#include "qvi_imageFilter.h"
#include "qvi_imageReader.h"
#include "qvi_pixel.h"
#include "qvi_scene.h"

namespace CoreTest {

using namespace Orvanetics;

// Holds one reference and releases it at scope end.
struct Releaser {
    void operator()(const QVIReferenceCountedObject* object) const
    {
        if (object != nullptr)
            object->release();
    }
};
template <class T>
using Ref = std::unique_ptr<T, Releaser>;

// The value the test reader gives sample (col, row) of `band` in the image at
// magnification `mag`: small enough for every data type, different for
// neighbouring columns, rows, bands and levels.
double expectedSample(int64_t col, int64_t row, uint16_t band, double mag);

// How many test readers and filters are alive (to prove chains are freed).
int liveStages();

// An in-memory image of any size, pixel layout and magnification range; it
// decodes any power-of-two magnification in that range by the formula above.
class TestReader : public QVIGeoImageReader {
public:
    static TestReader* create(bool supportBandSelection = false);
    QVStatus initialize(const QVIPixel& pixel, uint32_t width, uint32_t height,
                        double minMag = 1.0, double maxMag = 1.0,
                        const std::string& sourceName = "test-reader");

    std::string getSourceName() const override { return m_sourceName; }

    // decodeStrip fails with `status` on strip `index` (counted from 0 in each read).
    void failOnStrip(int32_t index, QVStatus status);

    // What the decode operations saw.
    int decodeBeginCount = 0;
    int decodeEndCount = 0;
    QVIPixel lastDecodePixel;
    std::vector<QVIScene> decodedStrips;
    std::vector<uint32_t> decodedStripRows;

    // Opens the protected setters of the layers to tests.
    using QVIGeoImageReader::init;
    using QVIGeoImageReader::loadMetadataIntoObjects;

protected:
    explicit TestReader(bool supportBandSelection);
    ~TestReader() override;

    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override;
    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus decodeEnd() override;

private:
    std::string m_sourceName;
    int32_t m_failStrip = -1;
    QVStatus m_failStatus = 0;
};

// A reader with properties and metadata but no pixels: it opens up the
// protected construction helpers of QVIImageReader.
class PropertyReader : public QVIImageReader {
public:
    static PropertyReader* create()
    {
        auto* reader = new PropertyReader();
        reader->init(nullptr);
        return reader;
    }

    QVIMetadataDatabase& database() { return *getMetadataDatabase(); }
    QVStatus initFrom(const QVIImage* image) { return init(image); }
    QVStatus load(QVIPixel& pixel, bool loadPixelProps, bool loadGeoCoord)
    {
        return loadMetadataIntoObjects(*getMetadataDatabase(), pixel, loadPixelProps, loadGeoCoord);
    }
    std::string getSourceName() const override { return "property reader"; }

protected:
    PropertyReader() : QVIImageReader(false) {}
    QVStatus decodeBegin(const QVIPixel&, const QVIScene&) override { return 0; }
    QVStatus decodeStrip(QVISceneBuffer&, const QVIScene&) override { return 0; }
    QVStatus decodeEnd() override { return 0; }
};

// A filter that changes nothing; optionally it claims arbitrary magnifications.
class PassFilter : public QVIImageFilter {
public:
    static PassFilter* create(QVIImageStage* previous);
    bool claimArbitraryMag = false;
    bool getPipelineInfo(QVIPipelineInfo info) const override;

protected:
    PassFilter();
    ~PassFilter() override;
};

// Records every fraction.
class RecordingProgress : public QVIProgressDelegate {
public:
    QVStatus reportProgress(float fraction) override;
    std::vector<float> fractions;
};

// Answers `status` from the call numbered failOnCall (1-based) on.
class CountingInterrupt : public QVIInterruptDelegate {
public:
    CountingInterrupt(int failOnCall, QVStatus status) : m_failOnCall(failOnCall), m_status(status) {}
    QVStatus checkInterrupt() override;
    int calls = 0;

private:
    int m_failOnCall;
    QVStatus m_status;
};

// A stream over a byte vector, for the stream forms of import and export.
class VectorStream : public QVIOStreamInf {
public:
    explicit VectorStream(std::vector<uint8_t> bytes = {}) : data(std::move(bytes)) {}
    bool isEOF() override { return position >= data.size(); }
    bool isOpen() override { return true; }
    QVStatus open() override { return 0; }
    QVStatus close() override { return 0; }
    uint32_t read(uint8_t* buffer, uint32_t count) override;
    uint32_t write(const uint8_t* buffer, uint32_t count) override;
    QVStatus seek(int64_t offset, QVIOSeekDir dir) override;
    int64_t tell() override { return int64_t(position); }
    QVIOStreamInf* duplicate() override { return nullptr; }
    QVStatus getLastError() override { return lastError; }
    const char* getID() override { return "vector-stream"; }

    std::vector<uint8_t> data;
    size_t position = 0;
    // Writes beyond this many bytes fail (a full disc); seeks may be refused.
    size_t writeLimit = SIZE_MAX;
    bool failSeeks = false;
    QVStatus lastError = 0;
    // Counts of the calls, to show single transfers.
    int reads = 0;
    int writes = 0;
};

}  // namespace CoreTest
