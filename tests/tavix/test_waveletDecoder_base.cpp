// The line source and the strip decoder around the synthesis: requests
// outside a subband, one decode per subblock row, identical output and reads
// with any thread count, failed reads, interruption, clamping and dequantisation per sample type,
// strip bookkeeping, and memory that stays bounded on a tall image.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "rules_reference.h"
#include "tavix_waveletPyramid.h"
#include "xr3_waveletDecoder.h"

using namespace Orvanetics;
using namespace WaveletDecoderTest;

namespace {

PyramidShape shapeOf(uint32_t width, uint32_t height, uint8_t levels, uint16_t bands, uint16_t subblockSize) {
    PyramidShape shape;
    shape.width = width;
    shape.height = height;
    shape.numLevels = levels;
    shape.numBands = bands;
    shape.subblockSize = subblockSize;
    return shape;
}

// `rect` at `scale` into 32-bit samples, in strips of 7 rows.
QVStatus decodeRect(const XR3ImageInfo& info, XR3PlaneStoreClient& client, uint32_t threads,
                    QVIInterruptDelegate* interrupt, const QVIGeomRect& rect, int32_t scale, std::vector<int32_t>& out) {
    DecodeBase base(info, client, interrupt, threads);
    const uint32_t width = uint32_t(sizeAtScale(info.width, scale)), height = uint32_t(sizeAtScale(info.height, scale));
    auto decoder = PipelinedWaveletDecoder::create(rect, info.numLevels, height, width, info.numBands, scale, base);
    if (!decoder) return QVI_STS_Tavix_BadArgument;
    if (QVStatus status = decoder->begin(7, INT32_MIN, INT32_MAX)) return status;
    const uint32_t cols = uint32_t(rect.getWidth()), rows = uint32_t(rect.getHeight());
    QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, info.numBands, QVI_DATATYPE_SINT32);
    QVISceneBuffer buffer(pixel, cols, rows);
    for (uint32_t y = 0; y < rows; y += 7) {
        const uint32_t count = std::min<uint32_t>(7, rows - y);
        QVISceneBuffer strip(buffer, 0, y, cols, count);
        const int32_t top = rect.y0 + int32_t(y);
        if (QVStatus status = decoder->decodeStrip(QVIGeomRect(rect.x0, top, rect.x1, top + int32_t(count) - 1), strip))
            return status;
    }
    out.clear();
    for (uint16_t b = 0; b < info.numBands; ++b) {
        const int32_t* band = static_cast<const int32_t*>(buffer.getBandData(b));
        out.insert(out.end(), band, band + size_t(cols) * rows);
    }
    return decoder->end();
}

// The whole image at full size.
QVStatus decodeWhole(const XR3ImageInfo& info, XR3PlaneStoreClient& client, uint32_t threads,
                     QVIInterruptDelegate* interrupt, std::vector<int32_t>& out) {
    const QVIGeomRect rect(0, 0, int32_t(info.width - 1), int32_t(info.height - 1));
    return decodeRect(info, client, threads, interrupt, rect, 0, out);
}

// Refuses to read one subblock, as a damaged file would.
class FailingClient : public PyramidClient {
public:
    FailingClient(const Pyramid& pyramid, uint32_t subband, uint32_t subblock)
        : PyramidClient(pyramid), m_subband(subband), m_subblock(subblock) {}
    QVStatus getSubblockDataInternal(uint32_t subband, uint32_t subblock, XR3PlaneData* planes) const override {
        if (subband == m_subband && subblock == m_subblock) return QVI_STS_Tavix_ReadError;
        return PyramidClient::getSubblockDataInternal(subband, subblock, planes);
    }

private:
    uint32_t m_subband, m_subblock;
};

class CountingInterrupt : public QVIInterruptDelegate {
public:
    explicit CountingInterrupt(uint32_t allowed) : m_allowed(allowed) {}
    QVStatus checkInterrupt() override { return ++m_calls > m_allowed ? QVI_STS_Tavix_Interrupt : 0; }
    uint32_t calls() const { return m_calls; }

private:
    uint32_t m_allowed;
    std::atomic<uint32_t> m_calls{0};
};

}  // namespace

TEST(DecodeBase, LinesOutsideASubbandAreRefused) {
    const Pyramid pyramid = makePyramid(shapeOf(40, 30, 2, 2, 8), 3);
    PyramidClient client(pyramid);
    DecodeBase base(pyramid.info, client, nullptr, 1);
    std::vector<int32_t*> lines(2);
    const XR3SubbandDims& dims = pyramid.info.subbands[5];
    EXPECT_EQ(0u, base.get_line(lines.data(), 5, dims.height - 1, 0, dims.width - 1));
    EXPECT_EQ(2009u, base.get_line(lines.data(), 5, dims.height, 0, 0));
    EXPECT_EQ(2009u, base.get_line(lines.data(), 5, 0, 0, dims.width));
    EXPECT_EQ(2009u, base.get_line(lines.data(), 5, 0, 3, 2));
    EXPECT_EQ(2009u, base.get_line(lines.data(), pyramid.info.numSubbands, 0, 0, 0));
}

TEST(DecodeBase, LinesHoldTheSubbandCoefficientsOfTheSelectedBands) {
    const Pyramid pyramid = makePyramid(shapeOf(50, 44, 1, 3, 8), 4);
    PyramidClient client(pyramid);
    client.getComponentSet().clear(1);
    DecodeBase base(pyramid.info, client, nullptr, 2);
    ASSERT_EQ(2, base.getNumSelectedBands());
    EXPECT_EQ(2, base.getSelectedBand(1));
    std::vector<int32_t*> lines(2);
    const uint32_t subband = 3;  // LH: 25 by 22
    for (uint32_t row = 0; row < pyramid.info.subbands[subband].height; ++row) {
        ASSERT_EQ(0u, base.get_line(lines.data(), subband, row, 9, 20));
        for (uint32_t x = 9; x <= 20; ++x) {
            ASSERT_EQ(pyramid.band(subband, 0).at(x, row), lines[0][x - 9]);
            ASSERT_EQ(pyramid.band(subband, 2).at(x, row), lines[1][x - 9]);
        }
    }
    // Rows 0 to 21 in subblocks of 8: three rows of subblocks, each decoded once.
    EXPECT_EQ(3u, base.getMissCount(subband));
    EXPECT_EQ(0u, base.getMissCount(0));
    // A wider span is a new decode; a narrower one within it is not.
    ASSERT_EQ(0u, base.get_line(lines.data(), subband, 21, 0, 24));
    ASSERT_EQ(0u, base.get_line(lines.data(), subband, 20, 8, 8));
    EXPECT_EQ(4u, base.getMissCount(subband));
    EXPECT_EQ(pyramid.band(subband, 2).at(8, 20), lines[1][0]);
    // At most one row of subblocks per subband is kept, for the two bands
    // (rows padded to whole cache lines of 16 samples, plus the alignment),
    // and a line of zeros for spans without data.
    EXPECT_LE(base.getCacheSampleCount(), 2u * 32 * 8 + 15 + 25);
    EXPECT_GE(base.getCacheSampleCount(), 2u * 25 * 8);
}

TEST(DecodeBase, ComponentSetIsReadAgainOnInvalidate) {
    const Pyramid pyramid = makePyramid(shapeOf(20, 20, 1, 3, 8), 5);
    PyramidClient client(pyramid);
    DecodeBase base(pyramid.info, client, nullptr, 1);
    EXPECT_EQ(3, base.getNumSelectedBands());
    client.getComponentSet().clear(0);
    base.invalidateCache();
    EXPECT_EQ(2, base.getNumSelectedBands());
    EXPECT_EQ(0u, base.getCacheSampleCount());
    std::vector<int32_t*> lines(2);
    ASSERT_EQ(0u, base.get_line(lines.data(), 0, 1, 0, 9));
    EXPECT_EQ(pyramid.band(0, 1).at(4, 1), lines[0][4]);
}

TEST(DecodeBase, SubbandsOfALevelAreDecodedTogetherAndEachRowOnce) {
    PyramidShape shape = shapeOf(203, 150, 3, 2, 8);
    shape.emptyShare = 0;
    const Pyramid pyramid = makePyramid(shape, 11);
    const XR3ImageInfo& info = pyramid.info;
    for (uint32_t threads : {1u, 2u}) {
        PyramidClient client(pyramid);
        DecodeBase base(info, client, nullptr, threads);
        const QVIGeomRect rect(0, 0, int32_t(info.width - 1), int32_t(info.height - 1));
        auto decoder = PipelinedWaveletDecoder::create(rect, info.numLevels, info.height, info.width, 2, 0, base);
        ASSERT_TRUE(decoder);
        ASSERT_EQ(0u, decoder->begin(150, INT32_MIN, INT32_MAX));
        QVISceneBuffer buffer(QVIPixel(QVI_COLORSPACE_MULTISPECTRAL, 2, QVI_DATATYPE_SINT32), info.width, info.height);
        ASSERT_EQ(0u, decoder->decodeStrip(rect, buffer));
        uint64_t misses = 0, subblocks = 0;
        for (uint32_t s = 0; s < info.numSubbands; ++s) {
            // Loading a sibling's next row early never costs a second decode of a row.
            EXPECT_EQ(info.subbands[s].rows, base.getMissCount(s)) << s;
            misses += base.getMissCount(s);
            subblocks += uint64_t(info.subbands[s].rows) * info.subbands[s].cols;
        }
        EXPECT_EQ(subblocks, client.reads());
        // Past the first row of subblocks a level's three or four subbands share one run.
        EXPECT_LT(base.getLoadCount(), misses / 2) << threads;
        EXPECT_EQ(RulesReference::synthesiseBand(pyramid, 1, 0).at(202, 149),
                  static_cast<const int32_t*>(buffer.getBandData(1))[203 * 150 - 1]);
    }
}

// Any thread count gives the model's pixels and reads no more subblocks
// than one thread; empty subblocks too, so that some spans are all zeros.
TEST(DecodeBase, ThreadCountsGiveIdenticalOutputAndReads) {
    PyramidShape shape = shapeOf(203, 150, 3, 2, 8);
    shape.emptyShare = 0.4;
    const Pyramid pyramid = makePyramid(shape, 9);
    const std::pair<QVIGeomRect, int32_t> scenes[] = {{QVIGeomRect(0, 0, 202, 149), 0},
                                                      {QVIGeomRect(37, 21, 120, 90), 0},
                                                      {QVIGeomRect(5, 60, 40, 74), 1},
                                                      {QVIGeomRect(0, 0, 50, 37), 2}};
    for (const auto& [rect, scale] : scenes) {
        SCOPED_TRACE(testing::Message() << rect.x0 << "," << rect.y0 << " scale " << scale);
        PyramidClient oneClient(pyramid), twoClient(pyramid), fourClient(pyramid);
        std::vector<int32_t> one, two, four;
        ASSERT_EQ(0u, decodeRect(pyramid.info, oneClient, 1, nullptr, rect, scale, one));
        ASSERT_EQ(0u, decodeRect(pyramid.info, twoClient, 2, nullptr, rect, scale, two));
        ASSERT_EQ(0u, decodeRect(pyramid.info, fourClient, 4, nullptr, rect, scale, four));
        EXPECT_EQ(one, two);
        EXPECT_EQ(one, four);
        EXPECT_EQ(oneClient.reads(), twoClient.reads());
    }
    std::vector<int32_t> whole;
    PyramidClient client(pyramid);
    ASSERT_EQ(0u, decodeWhole(pyramid.info, client, 2, nullptr, whole));
    for (uint16_t b = 0; b < 2; ++b) {
        const Plane expected = RulesReference::synthesiseBand(pyramid, b, 0);
        EXPECT_TRUE(std::equal(expected.v.begin(), expected.v.end(), whole.begin() + b * 203 * 150)) << b;
    }
}

TEST(DecodeBase, AFailedReadEndsTheDecodeWithItsStatusWithAnyThreadCount) {
    PyramidShape shape = shapeOf(160, 160, 2, 1, 8);
    shape.emptyShare = 0;
    const Pyramid pyramid = makePyramid(shape, 10);
    // Subband 2 (level 2 HL, 40 by 40): the last subblock of its third row.
    for (uint32_t threads : {1u, 2u, 4u}) {
        FailingClient client(pyramid, 2, 14);
        std::vector<int32_t> out;
        EXPECT_EQ(QVI_STS_Tavix_ReadError, decodeWhole(pyramid.info, client, threads, nullptr, out)) << threads;
    }
}

TEST(DecodeBase, InterruptStopsTheDecodeWithItsStatus) {
    const Pyramid pyramid = makePyramid(shapeOf(120, 120, 2, 1, 8), 7);
    for (uint32_t threads : {1u, 4u}) {
        PyramidClient client(pyramid);
        CountingInterrupt interrupt(20);
        std::vector<int32_t> out;
        EXPECT_EQ(2007u, decodeWhole(pyramid.info, client, threads, &interrupt, out)) << threads;
        // The pipeline drains: few subblocks beyond the one that said stop.
        EXPECT_LE(interrupt.calls(), 21u + threads * 2) << threads;
    }
    PyramidClient client(pyramid);
    CountingInterrupt never(UINT32_MAX);
    std::vector<int32_t> out;
    EXPECT_EQ(0u, decodeWhole(pyramid.info, client, 2, &never, out));
    EXPECT_GT(never.calls(), 20u);
}

TEST(DecodeBase, ThreadCountRule) {
    EXPECT_EQ(3u, xr3ResolveNumThreads(3, 5));
    EXPECT_EQ(5u, xr3ResolveNumThreads(0, 5));
    EXPECT_EQ(5u, xr3ResolveNumThreads(-2, 5));
    const uint32_t machine = xr3ResolveNumThreads(0, 0);
    EXPECT_GE(machine, 1u);
    EXPECT_EQ(machine, xr3ResolveNumThreads(-1, -1));
}

namespace {

// An image without levels: its output is subband 0, so each sample's value
// is chosen directly.
struct FlatImage {
    Pyramid pyramid;
    explicit FlatImage(const std::vector<int32_t>& values, uint16_t bands = 1) {
        pyramid = makePyramid(shapeOf(uint32_t(values.size()), 3, 0, bands, 8), 1);
        for (uint16_t b = 0; b < bands; ++b)
            for (int64_t y = 0; y < 3; ++y)
                for (size_t x = 0; x < values.size(); ++x) pyramid.bands[0][b].at(int64_t(x), y) = values[x] + b;
    }

    // Row 1 decoded into a buffer of `type`, clamped to min..max.
    template <typename T>
    std::vector<T> decode(QVIDataType type, int32_t min, int32_t max, uint16_t band = 0) const {
        PyramidClient client(pyramid);
        DecodeBase base(pyramid.info, client, nullptr, 1);
        const int32_t last = int32_t(pyramid.info.width - 1);
        auto decoder =
            PipelinedWaveletDecoder::create(QVIGeomRect(0, 1, last, 1), 0, 3, pyramid.info.width,
                                            pyramid.info.numBands, 0, base);
        EXPECT_TRUE(decoder);
        EXPECT_EQ(0u, decoder->begin(16, min, max));
        QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, pyramid.info.numBands, type);
        QVISceneBuffer buffer(pixel, pyramid.info.width, 1);
        EXPECT_EQ(0u, decoder->decodeStrip(QVIGeomRect(0, 1, last, 1), buffer));
        const T* data = static_cast<const T*>(buffer.getBandData(band));
        return std::vector<T>(data, data + pyramid.info.width);
    }
};

}  // namespace

TEST(WaveletCopyOut, IntegerTypesClampToTheRangeAndTheType) {
    const FlatImage image({-2147483647, -70000, -129, -128, -1, 0, 1, 127, 128, 255, 256, 40000, 70000, 2147483647});
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 1, 127, 128, 255, 255, 255, 255, 255}),
              image.decode<uint8_t>(QVI_DATATYPE_UINT8, 0, 255));
    EXPECT_EQ((std::vector<uint8_t>{10, 10, 10, 10, 10, 10, 10, 100, 100, 100, 100, 100, 100, 100}),
              image.decode<uint8_t>(QVI_DATATYPE_UINT8, 10, 100));
    EXPECT_EQ((std::vector<int8_t>{-128, -128, -128, -128, -1, 0, 1, 127, 127, 127, 127, 127, 127, 127}),
              image.decode<int8_t>(QVI_DATATYPE_SINT8, INT32_MIN, INT32_MAX));
    EXPECT_EQ((std::vector<uint16_t>{0, 0, 0, 0, 0, 0, 1, 127, 128, 255, 256, 40000, 65535, 65535}),
              image.decode<uint16_t>(QVI_DATATYPE_UINT16, -5, INT32_MAX));
    EXPECT_EQ((std::vector<int16_t>{-32768, -32768, -129, -128, -1, 0, 1, 127, 128, 255, 256, 32767, 32767, 32767}),
              image.decode<int16_t>(QVI_DATATYPE_SINT16, INT32_MIN, INT32_MAX));
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 0, 0, 0, 0, 1, 127, 128, 255, 256, 40000, 70000, 2147483647u}),
              image.decode<uint32_t>(QVI_DATATYPE_UINT32, INT32_MIN, INT32_MAX));
    EXPECT_EQ((std::vector<int32_t>{-1000, -1000, -129, -128, -1, 0, 1, 127, 128, 255, 256, 1000, 1000, 1000}),
              image.decode<int32_t>(QVI_DATATYPE_SINT32, -1000, 1000));
}

TEST(WaveletCopyOut, FloatSamplesAreDequantisedPerBand) {
    FlatImage image({-300, -7, 0, 5, 1000, 70000}, 2);
    QuantizationInfo q[2];
    q[0].step = 0.5f;
    q[0].offset = 10.0f;
    q[1].step = 0.25f;
    q[1].offset = -3.0f;
    image.pyramid.info.quantization.assign(q, q + 2);
    const std::vector<float> band0 = image.decode<float>(QVI_DATATYPE_FLOAT32, -100, 1000, 0);
    EXPECT_EQ((std::vector<float>{-40.0f, 6.5f, 10.0f, 12.5f, 510.0f, 510.0f}), band0);
    // Band 1 holds the values plus 1.
    const std::vector<double> band1 = image.decode<double>(QVI_DATATYPE_FLOAT64, -100, 1000, 1);
    EXPECT_EQ((std::vector<double>{-28.0, -4.5, -2.75, -1.5, 247.0, 247.0}), band1);
    image.pyramid.info.quantization.clear();
    EXPECT_EQ((std::vector<float>{-300.0f, -7.0f, 0.0f, 5.0f, 1000.0f, 70000.0f}),
              image.decode<float>(QVI_DATATYPE_FLOAT32, INT32_MIN, INT32_MAX, 0));
}

TEST(WaveletDecoder, StripsMustFollowInOrderAndFit) {
    const Pyramid pyramid = makePyramid(shapeOf(30, 30, 2, 1, 8), 8);
    PyramidClient client(pyramid);
    DecodeBase base(pyramid.info, client, nullptr, 1);
    auto decoder = PipelinedWaveletDecoder::create(QVIGeomRect(3, 5, 20, 25), 2, 30, 30, 1, 0, base);
    ASSERT_TRUE(decoder);
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_SINT32);
    QVISceneBuffer buffer(pixel, 18, 4);
    EXPECT_EQ(2009u, decoder->decodeStrip(QVIGeomRect(3, 5, 20, 8), buffer));  // before begin
    ASSERT_EQ(0u, decoder->begin(4, INT32_MIN, INT32_MAX));
    EXPECT_EQ(2009u, decoder->decodeStrip(QVIGeomRect(3, 6, 20, 9), buffer));   // skips a row
    EXPECT_EQ(2009u, decoder->decodeStrip(QVIGeomRect(2, 5, 20, 8), buffer));   // outside
    EXPECT_EQ(2009u, decoder->decodeStrip(QVIGeomRect(3, 5, 20, 9), buffer));   // taller than the buffer
    QVIPixel two(QVI_COLORSPACE_MULTISPECTRAL, 2, QVI_DATATYPE_SINT32);
    QVISceneBuffer twoBands(two, 18, 4);
    EXPECT_EQ(2009u, decoder->decodeStrip(QVIGeomRect(3, 5, 20, 8), twoBands));
    ASSERT_EQ(0u, decoder->decodeStrip(QVIGeomRect(3, 5, 20, 8), buffer));
    const Plane expected = RulesReference::synthesiseBand(pyramid, 0, 0);
    EXPECT_EQ(expected.at(3, 5), *static_cast<int32_t*>(buffer.getSample(0, 0, 0)));
    // Columns of a strip may be a part of the decoder's.
    QVISceneBuffer narrow(pixel, 5, 1);
    ASSERT_EQ(0u, decoder->decodeStrip(QVIGeomRect(10, 9, 14, 9), narrow));
    EXPECT_EQ(expected.at(10, 9), *static_cast<int32_t*>(narrow.getSample(0, 0, 0)));
    EXPECT_EQ(expected.at(14, 9), *static_cast<int32_t*>(narrow.getSample(4, 0, 0)));
    EXPECT_EQ(0u, decoder->end());
}

namespace {

// A tall image whose only data is a constant low-low band: every pixel of
// the synthesis is that constant.
class ConstantClient : public CoefficientClient {
public:
    explicit ConstantClient(const XR3ImageInfo& info, int32_t value) : CoefficientClient(info), m_value(value) {}
    int32_t coefficient(uint32_t subband, uint16_t, uint32_t, uint32_t) const override {
        return subband == 0 ? m_value : 0;
    }
    bool hasSubblock(uint32_t subband, uint32_t) const override { return subband == 0; }

private:
    int32_t m_value;
};

}  // namespace

TEST(DecodeBase, ALineOfZerosStaysValidWhenAWiderSpanWithoutDataFollows) {
    const XR3ImageInfo info = TavixFixture::makeImageInfo(300, 200, 2, 1, 8);
    ConstantClient client(info, 5);
    DecodeBase base(info, client, nullptr, 1);
    int32_t* narrow = nullptr;
    int32_t* wide = nullptr;
    const uint32_t narrowBand = 2, wideBand = 6;  // the coarser level's HL, then the finer one's
    ASSERT_LT(info.subbands[narrowBand].width, info.subbands[wideBand].width);
    ASSERT_EQ(0u, base.get_line(&narrow, narrowBand, 0, 0, info.subbands[narrowBand].width - 1));
    ASSERT_EQ(0u, base.get_line(&wide, wideBand, 0, 0, info.subbands[wideBand].width - 1));
    EXPECT_TRUE(base.isZeroLine(wide));
    // The narrower line a stage may still hold reads as zeros (under the
    // address sanitiser: from memory that is still allocated).
    for (uint32_t x = 0; x < info.subbands[narrowBand].width; ++x) ASSERT_EQ(0, narrow[x]) << x;
}

TEST(WaveletDecoder, TallImageKeepsOnlyStageLinesAndOneSubblockRowPerSubband) {
    const uint32_t width = 1024, height = 65536, n = 64;
    const XR3ImageInfo info = TavixFixture::makeImageInfo(width, height, 4, 1, n);
    ConstantClient client(info, 77);
    DecodeBase base(info, client, nullptr, 2);
    const QVIGeomRect rect(0, 0, int32_t(width - 1), int32_t(height - 1));
    auto decoder = PipelinedWaveletDecoder::create(rect, 4, height, width, 1, 0, base);
    ASSERT_TRUE(decoder);
    ASSERT_EQ(0u, decoder->begin(64, 0, 255));

    // Four lines of a little more than its width per stage, two output
    // rows, and one row of subblocks of each subband.
    uint64_t bound = 2 * width;
    for (uint32_t w = width, level = 0; level < 4; ++level, w = (w + 1) / 2) bound += 4 * (w + 3);
    for (const XR3SubbandDims& dims : info.subbands) bound += uint64_t(dims.width) * n;

    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    QVISceneBuffer strip(pixel, width, 64);
    uint64_t largest = 0;
    for (uint32_t y = 0; y < height; y += 64) {
        ASSERT_EQ(0u, decoder->decodeStrip(QVIGeomRect(0, int32_t(y), rect.x1, int32_t(y + 63)), strip));
        largest = std::max(largest, decoder->getBufferedSampleCount());
        const uint8_t* data = static_cast<const uint8_t*>(strip.getBandData(0));
        ASSERT_EQ(64u * width, size_t(std::count(data, data + 64 * width, uint8_t(77)))) << y;
    }
    EXPECT_LE(largest, bound);
    EXPECT_LT(largest, uint64_t(width) * height / 200);
    // Every row of subblocks of the low-low band was decoded exactly once.
    EXPECT_EQ(info.subbands[0].rows, base.getMissCount(0));
    EXPECT_EQ(uint64_t(info.subbands[0].rows) * info.subbands[0].cols, client.reads());
    EXPECT_EQ(0u, decoder->end());
}
