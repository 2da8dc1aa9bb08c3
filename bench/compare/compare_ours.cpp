#include "compare_ours.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "compare_decoders.h"
#include "qv_fileSpec.h"
#include "qvi_imageWriter.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "tavix_imageReader.h"
#include "tavix_imageWriter.h"

namespace CompareBench {

using namespace Orvanetics;

namespace {

constexpr double kLossyBitsPerPixel = 2.0;
constexpr uint32_t kMaxTruncatedPlanes = 12;

TavixFixture::TavixImageRecipe losslessRecipe(const BenchImage& image)
{
    TavixFixture::TavixImageRecipe recipe;
    recipe.dataType = QVI_DATATYPE_UINT8;
    recipe.colorSpace = image.numBands == 3 ? XR3_COLORSPACE_RGB : XR3_COLORSPACE_GREY;
    recipe.yiq = image.numBands == 3;
    recipe.numLevels = 5;
    recipe.subblockSize = 64;
    return recipe;
}

std::string statusText(const std::string& what, QVStatus status)
{
    return std::string(what) + " failed with status " + std::to_string(status);
}

struct ReleaseStage {
    void operator()(TavixImageReader* reader) const { reader->release(); }
};
using ReaderHandle = std::unique_ptr<TavixImageReader, ReleaseStage>;

ReaderHandle openReader(const std::string& path, unsigned threads, std::string& error)
{
    ReaderHandle reader(TavixImageReader::create());
    if (!reader) {
        error = "out of memory";
        return nullptr;
    }
    const QVStatus status = reader->initialize(QVFileSpec(path), false);
    if (status != 0) {
        error = statusText("opening " + path, status);
        return nullptr;
    }
    reader->setMaxWorkerThreads(int32_t(threads));
    return reader;
}

// Band memory of a whole scene, left uninitialised as the decode fills it.
class SceneMemory {
public:
    SceneMemory(const QVIPixel& pixel, uint32_t cols, uint32_t rows)
        : m_bands(pixel.getNumBands()), m_memory(new uint8_t[size_t(cols) * rows * pixel.getNumBytes()])
    {
        const size_t bandBytes = size_t(cols) * rows * (pixel.getNumBytes() / pixel.getNumBands());
        for (size_t b = 0; b < m_bands.size(); ++b)
            m_bands[b] = m_memory.get() + b * bandBytes;
    }
    void** bands() { return m_bands.data(); }

private:
    std::vector<void*> m_bands;
    std::unique_ptr<uint8_t[]> m_memory;
};

class OursDecoder : public Decoder {
public:
    std::string name() const override { return "ours"; }

    bool open(const std::string& path, unsigned reduce, unsigned threads) override
    {
        m_reader = openReader(path, threads, m_error);
        m_magnification = std::ldexp(1.0, -int(reduce));
        return m_reader != nullptr;
    }

    bool decode(const Window& window, BenchImage* out) override
    {
        QVIScene scene;
        if (!sceneOf(window, scene))
            return false;
        const QVIPixel& pixel = m_reader->getPixelProps();
        const uint32_t cols = uint32_t(scene.getWidth()), rows = uint32_t(scene.getHeight());
        SceneMemory memory(pixel, cols, rows);
        QVISceneBuffer buffer(pixel, cols, rows, memory.bands());
        const QVStatus status = m_reader->read(scene, buffer);
        if (status != 0) {
            m_error = statusText("read", status);
            return false;
        }
        if (out)
            storeOutput(buffer, *out);
        return true;
    }

    void close() override { m_reader.reset(); }

private:
    bool sceneOf(const Window& window, QVIScene& scene)
    {
        if (!window.isWhole()) {
            scene = QVIScene(window.x0 * m_magnification, window.y0 * m_magnification,
                             (window.x1 - window.x0) * m_magnification, (window.y1 - window.y0) * m_magnification,
                             m_magnification);
            return true;
        }
        uint32_t width = 0, height = 0;
        const QVStatus status = m_reader->getDimsAtMag(m_magnification, width, height);
        if (status != 0) {
            m_error = statusText("getDimsAtMag", status);
            return false;
        }
        scene = QVIScene(0, 0, width, height, m_magnification);
        return true;
    }

    static void storeOutput(const QVISceneBuffer& buffer, BenchImage& out)
    {
        out.width = buffer.getNumCols();
        out.height = buffer.getNumRows();
        out.numBands = buffer.getNumBands();
        out.samples.resize(size_t(out.width) * out.height * out.numBands);
        for (uint16_t b = 0; b < out.numBands; ++b) {
            const auto* band = static_cast<const uint8_t*>(buffer.getBandData(b));
            std::copy_n(band, size_t(out.width) * out.height, out.band(b));
        }
    }

    ReaderHandle m_reader;
    double m_magnification = 1.0;
};

// Takes every strip and drops it: the pull of a writer without its output.
class NullImageWriter : public QVIImageWriter {
public:
    QVStatus initialize(QVIImageStage* stage) { return init(stage); }
    QVStatus writeBegin(const QVIScene&) override { return 0; }
    QVStatus writeStrip(QVISceneBuffer&, const QVIScene&) override { return 0; }
    QVStatus writeEnd() override { return 0; }
    QVStatus deleteOutput() override { return 0; }
};

// The file's bytes with `truncated` low planes left out.
bool writeTruncated(const BenchImage& image, uint32_t truncated, std::vector<uint8_t>& bytes, std::string& error)
{
    TavixFixture::TavixImageRecipe recipe = losslessRecipe(image);
    recipe.truncatePlanes = truncated;
    TavixFixture::ArraySourceImage<uint8_t> source(image.samples.data(), image.width, image.height,
                                                   uint16_t(image.numBands));
    const QVStatus status = TavixFixture::writeTavixImage(recipe, source, bytes);
    if (status != 0)
        error = statusText("writeTavixImage", status);
    return status == 0;
}

// The plane count whose file comes nearest to two bits per pixel.
bool writeLossy(const BenchImage& image, const std::string& path, std::string& error)
{
    const double target = double(image.width) * image.height * kLossyBitsPerPixel / 8;
    auto distance = [target](const std::vector<uint8_t>& bytes) { return std::fabs(double(bytes.size()) - target); };
    std::vector<uint8_t> best;
    for (uint32_t truncated = 1; truncated <= kMaxTruncatedPlanes; ++truncated) {
        std::vector<uint8_t> bytes;
        if (!writeTruncated(image, truncated, bytes, error))
            return false;
        const bool reached = double(bytes.size()) <= target;  // more planes only move away
        if (best.empty() || distance(bytes) < distance(best))
            best = std::move(bytes);
        if (reached)
            break;
    }
    FILE* file = std::fopen(path.c_str(), "wb");
    bool ok = file && std::fwrite(best.data(), 1, best.size(), file) == best.size();
    if (file)
        ok = std::fclose(file) == 0 && ok;
    if (!ok)
        error = "cannot write " + path;
    return ok;
}

}  // namespace

bool haveOursWriter()
{
    return true;
}

bool writeOurs(const BenchImage& image, bool lossy, const std::string& path, std::string& error)
{
    if (lossy)
        return writeLossy(image, path, error);
    TavixFixture::ArraySourceImage<uint8_t> source(image.samples.data(), image.width, image.height,
                                                   uint16_t(image.numBands));
    const QVStatus status = TavixFixture::writeTavixImageFile(losslessRecipe(image), source, path);
    if (status != 0)
        error = statusText("writeTavixImageFile", status);
    return status == 0;
}

bool streamOursToNull(const std::string& path, unsigned threads, std::string& error)
{
    ReaderHandle reader = openReader(path, threads, error);
    if (!reader)
        return false;
    NullImageWriter writer;
    QVStatus status = writer.initialize(reader.get());
    if (status == 0)
        status = writer.write(QVIScene(0, 0, reader->getWidth(), reader->getHeight(), 1.0));
    if (status != 0)
        error = statusText("write", status);
    return status == 0;
}

std::unique_ptr<Decoder> makeOursDecoder()
{
    return std::make_unique<OursDecoder>();
}

}  // namespace CompareBench
