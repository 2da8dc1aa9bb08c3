// The read protocol over a wavelet reader: strips, delegates, a restarted
// read, strips outside the image, and decodes that must not depend on the
// thread count or the size of the position tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core_testReader.h"
#include "qv_math.h"
#include "qvi_pixel.h"
#include "reader_decodeSupport.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"
#include "tavix_imageWriter.h"
#include "tavix_singleImageReader.h"

namespace {

using namespace ReaderTest;
using namespace ReaderDecodeTest;

// A two-band 16-bit image of 90 x 150 in subblocks of 16, and its samples.
struct TallImage {
    static constexpr uint32_t kWidth = 90;
    static constexpr uint32_t kHeight = 150;
    std::vector<uint8_t> bytes;

    static double sample(uint16_t band, uint32_t x, uint32_t y) { return std::floor(pattern(band, x, y, 3) * 60000.0); }

    explicit TallImage(XR3PlanesetLayout layout = XR3_PLANESET_LAYOUT_DATA_FIRST) {
        TavixImageRecipe recipe;
        recipe.dataType = QVI_DATATYPE_UINT16;
        recipe.colorSpace = XR3_COLORSPACE_MULTISPECTRAL;
        recipe.numLevels = 3;
        recipe.subblockSize = 16;
        recipe.planeset.layout = layout;
        FunctionSourceImage source(kWidth, kHeight, 2, sample);
        EXPECT_EQ(0u, writeTavixImage(recipe, source, bytes));
    }
};


void expectSource(const QVISceneBuffer& buffer, uint32_t col0, uint32_t row0) {
    uint32_t mismatches = 0;
    for (uint16_t b = 0; b < buffer.getNumBands(); ++b)
        for (uint32_t y = 0; y < buffer.getNumRows(); ++y)
            for (uint32_t x = 0; x < buffer.getNumCols(); ++x)
                mismatches += sampleAt(buffer, x, y, b) != TallImage::sample(b, col0 + x, row0 + y);
    EXPECT_EQ(0u, mismatches);
}

TEST(TavixReaderProtocol, StripsOfSixtyFourRowsAndProgressBeforeEach) {
    OpenFront open(TallImage().bytes);
    CoreTest::RecordingProgress progress;
    open.reader->setProgressDelegate(&progress);
    QVISceneBuffer buffer(open.reader->getPixelProps(), 90, 140);
    ASSERT_EQ(0u, open.reader->read(QVIScene(0, 5, 90, 140, 1.0), buffer));
    expectSource(buffer, 0, 5);
    // The first report, one per strip (the share before it), the last
    // report; the front and its reader share the delegate, so each may come twice.
    std::vector<float> distinct = progress.fractions;
    EXPECT_TRUE(std::is_sorted(distinct.begin(), distinct.end()));
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    const std::vector<float> expected = {0.0f, 64.0f / 140.0f, 128.0f / 140.0f, 1.0f};
    ASSERT_EQ(expected.size(), distinct.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_FLOAT_EQ(expected[i], distinct[i]);
}

TEST(TavixReaderProtocol, InterruptStopsTheRead) {
    OpenFront open(TallImage().bytes);
    CoreTest::CountingInterrupt interrupt(3, 2007);
    open.reader->setInterruptDelegate(&interrupt);
    QVISceneBuffer buffer(open.reader->getPixelProps(), 90, 150);
    EXPECT_EQ(2007u, open.reader->read(QVIScene(0, 0, 90, 150, 1.0), buffer));
    EXPECT_EQ(QVIScene(), open.reader->getFullScene());
    // The reader serves the next read as if nothing happened.
    open.reader->setInterruptDelegate(nullptr);
    ASSERT_EQ(0u, open.reader->read(QVIScene(0, 0, 90, 150, 1.0), buffer));
    expectSource(buffer, 0, 0);
}

TEST(TavixReaderProtocol, ASecondBeginDiscardsTheFirstDecode) {
    OpenFront open(TallImage().bytes);
    XR4SingleImageReader* single = open.reader->getXR4ImageReader();
    ASSERT_NE(nullptr, single);
    QVISceneBuffer first(single->getPixelProps(), 40, 30);
    ASSERT_EQ(0u, single->readBegin(single->getPixelProps(), QVIScene(0, 0, 40, 30, 1.0)));
    ASSERT_EQ(0u, single->readStrip(first, single->getStripScene(0)));
    // A new read starts without readEnd; its strips come from the new scene.
    const QVIScene second(10, 20, 50, 40, 1.0);
    ASSERT_EQ(0u, single->readBegin(single->getPixelProps(), second));
    QVISceneBuffer buffer(single->getPixelProps(), 50, 40);
    ASSERT_EQ(1, single->getNumStrips());
    ASSERT_EQ(0u, single->readStrip(buffer, single->getStripScene(0)));
    ASSERT_EQ(0u, single->readEnd());
    expectSource(buffer, 10, 20);
}

TEST(TavixReaderProtocol, AStripBelowTheDecodeLeavesTheBufferAlone) {
    OpenFront open(TallImage().bytes);
    XR4SingleImageReader* single = open.reader->getXR4ImageReader();
    ASSERT_EQ(0u, single->readBegin(single->getPixelProps(), QVIScene(0, 0, 90, 20, 1.0)));
    QVISceneBuffer buffer(single->getPixelProps(), 90, 10);
    for (uint16_t b = 0; b < 2; ++b)
        std::memset(buffer.getBandData(b), 0xAB, size_t(buffer.getTotalNumCols()) * 10 * 2);
    EXPECT_EQ(0u, single->readStrip(buffer, QVIScene(0, 100, 90, 10, 1.0)));
    for (uint16_t b = 0; b < 2; ++b) EXPECT_EQ(0xABABu, sampleAt(buffer, 45, 5, b));
    EXPECT_EQ(0u, single->readEnd());
}

// The whole image at 1 and at 1/4 with a reader set up in some way.
std::vector<std::vector<double>> decodeAll(QVIImageStage& stage) {
    std::vector<std::vector<double>> out;
    for (double mag : {1.0, 0.25}) {
        uint32_t w = 0, h = 0;
        EXPECT_EQ(0u, stage.getDimsAtMag(mag, w, h));
        QVISceneBuffer buffer(stage.getPixelProps(), w, h);
        EXPECT_EQ(0u, stage.read(QVIScene(0, 0, w, h, mag), buffer));
        std::vector<double> values;
        for (uint16_t b = 0; b < buffer.getNumBands(); ++b)
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x) values.push_back(sampleAt(buffer, x, y, b));
        out.push_back(values);
    }
    return out;
}

TEST(TavixReaderProtocol, ThreadCountsAndTableSizesGiveTheSamePixels) {
    const TallImage image;
    OpenFront reference(image.bytes);
    reference.reader->setMaxWorkerThreads(1);
    const auto expected = decodeAll(*reference.reader);
    for (int32_t threads : {2, 5}) {
        SCOPED_TRACE(threads);
        OpenFront open(image.bytes);
        open.reader->setMaxWorkerThreads(threads);
        EXPECT_EQ(threads, open.reader->getXR4ImageReader()->getMaxWorkerThreads());
        EXPECT_EQ(expected, decodeAll(*open.reader));
    }
    for (TavixMemoryUsage usage : {TAVIX_MEMORY_USAGE_SMALL, TAVIX_MEMORY_USAGE_FULL}) {
        SCOPED_TRACE(usage);
        OpenFront open(image.bytes, usage);
        EXPECT_EQ(expected, decodeAll(*open.reader));
    }
    OpenFront interleaved(TallImage(XR3_PLANESET_LAYOUT_INTERLEAVED).bytes, TAVIX_MEMORY_USAGE_SMALL);
    EXPECT_EQ(expected, decodeAll(*interleaved.reader));
}

TEST(TavixReaderProtocol, PerBandCompressionRatios) {
    OpenFront open(TallImage().bytes);
    std::vector<double> ratios;
    uint16_t numBands = 0;
    ASSERT_EQ(0u, open.reader->getXR4ImageReader()->getPerBandCompressionRatios(true, ratios, numBands));
    ASSERT_EQ(2u, numBands);
    ASSERT_EQ(2u, ratios.size());
    // Lossless 16-bit noise does not shrink much, but it does not grow tenfold either.
    for (double ratio : ratios) {
        EXPECT_GT(ratio, 0.1);
        EXPECT_LT(ratio, 100.0);
    }
}

}  // namespace
