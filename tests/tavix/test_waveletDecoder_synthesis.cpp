// The pipelined synthesis against the whole-array model of rules_reference.h:
// random pyramids of odd and even sizes and 0 to 8 levels, whole scenes and
// odd sub-rectangles, every reduction, enlargement with zero detail, strips
// of any height, and the rounding divisions.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "rules_reference.h"
#include "tavix_forwardTransform.h"
#include "tavix_waveletPyramid.h"
#include "xr3_pipe.h"
#include "xr3_wavelet53.h"
#include "xr3_waveletDecoder.h"

using namespace Orvanetics;
using namespace WaveletDecoderTest;
using TestSupport::divideTiesToEven;

namespace {

// Decodes rect at scale into 32-bit samples, in strips of random heights,
// and compares every band with the model.
void expectMatchesReference(const Pyramid& pyramid, PyramidClient& client, int32_t scale, const QVIGeomRect& rect,
                            uint32_t threads, std::mt19937& rng) {
    DecodeBase base(pyramid.info, client, nullptr, threads);
    const int64_t w = sizeAtScale(pyramid.info.width, scale), h = sizeAtScale(pyramid.info.height, scale);
    const uint16_t bands = pyramid.info.numBands;
    auto decoder = PipelinedWaveletDecoder::create(rect, pyramid.info.numLevels, uint32_t(h), uint32_t(w), bands,
                                                   scale, base);
    ASSERT_TRUE(decoder);
    ASSERT_EQ(0u, decoder->begin(16, INT32_MIN, INT32_MAX));
    QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, bands, QVI_DATATYPE_SINT32);
    QVISceneBuffer buffer(pixel, uint32_t(rect.getWidth()), uint32_t(rect.getHeight()));
    for (int32_t y = rect.y0; y <= rect.y1;) {
        const int32_t rows = std::min<int32_t>(1 + int32_t(rng() % 5), rect.y1 - y + 1);
        QVISceneBuffer strip(buffer, 0, uint32_t(y - rect.y0), uint32_t(rect.getWidth()), uint32_t(rows));
        ASSERT_EQ(0u, decoder->decodeStrip(QVIGeomRect(rect.x0, y, rect.x1, y + rows - 1), strip));
        y += rows;
    }
    EXPECT_EQ(0u, decoder->end());
    for (uint16_t b = 0; b < bands; ++b) {
        const Plane expected = RulesReference::synthesiseBand(pyramid, b, scale);
        ASSERT_EQ(w, expected.width);
        ASSERT_EQ(h, expected.height);
        for (int32_t y = rect.y0; y <= rect.y1; ++y)
            for (int32_t x = rect.x0; x <= rect.x1; ++x)
                ASSERT_EQ(expected.at(x, y), *static_cast<int32_t*>(buffer.getSample(x - rect.x0, y - rect.y0, b)))
                    << "band " << b << " at " << x << "," << y << " scale " << scale << " image "
                    << pyramid.info.width << "x" << pyramid.info.height << " levels " << int(pyramid.info.numLevels);
    }
}

QVIGeomRect randomRect(int64_t w, int64_t h, std::mt19937& rng) {
    const int32_t x0 = int32_t(rng() % w), y0 = int32_t(rng() % h);
    return QVIGeomRect(x0, y0, x0 + int32_t(rng() % (w - x0)), y0 + int32_t(rng() % (h - y0)));
}

// Every scale from minScale on whose image has 3 rows and columns: the whole
// image and a few random rectangles.
void checkAllScales(const PyramidShape& shape, uint32_t seed, int32_t minScale, int rectsPerScale) {
    const Pyramid pyramid = makePyramid(shape, seed);
    PyramidClient client(pyramid);
    std::mt19937 rng(seed);
    for (int32_t scale = minScale; scale <= int32_t(shape.numLevels); ++scale) {
        const int64_t w = sizeAtScale(shape.width, scale), h = sizeAtScale(shape.height, scale);
        if (w < 3 || h < 3) continue;
        expectMatchesReference(pyramid, client, scale, QVIGeomRect(0, 0, int32_t(w - 1), int32_t(h - 1)), 1, rng);
        for (int i = 0; i < rectsPerScale; ++i)
            expectMatchesReference(pyramid, client, scale, randomRect(w, h, rng), 1 + i % 2, rng);
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace

TEST(WaveletRounding, ExamplesAndTiesToEven) {
    EXPECT_EQ(0, round2(-1));
    EXPECT_EQ(2, round2(3));
    EXPECT_EQ(-2, round2(-3));
    EXPECT_EQ(0, round4(2));
    EXPECT_EQ(2, round4(6));
    EXPECT_EQ(-2, round4(-6));
    for (int32_t s = -100000; s <= 100000; ++s) {
        ASSERT_EQ(divideTiesToEven(s, 2), round2(s)) << s;
        ASSERT_EQ(divideTiesToEven(s, 4), round4(s)) << s;
    }
    for (int32_t s : {INT32_MIN, INT32_MIN + 1, INT32_MIN + 2, INT32_MIN + 3, INT32_MAX - 2, INT32_MAX}) {
        EXPECT_EQ(divideTiesToEven(s, 2), round2(s)) << s;
        EXPECT_EQ(divideTiesToEven(s, 4), round4(s)) << s;
    }
}

TEST(WaveletSynthesis, SmallImagesOfEveryShapeAndLevelCount) {
    uint32_t seed = 1;
    for (uint32_t width : {3u, 4u, 5u, 6u, 9u, 17u})
        for (uint32_t height : {3u, 4u, 5u, 8u, 11u})
            for (uint8_t levels : {0, 1, 2, 3, 8}) {
                checkAllScales({.width = width, .height = height, .numLevels = levels, .subblockSize = 4}, seed++,
                               -1, 2);
                if (HasFailure()) return;
            }
}

TEST(WaveletSynthesis, LargerImagesBandsAndSubblockSizes) {
    const PyramidShape shapes[] = {
        {.width = 100, .height = 37, .numLevels = 3, .numBands = 2, .subblockSize = 16},
        {.width = 129, .height = 130, .numLevels = 4, .subblockSize = 32},
        {.width = 64, .height = 64, .numLevels = 6, .numBands = 3, .subblockSize = 8},
        {.width = 300, .height = 300, .numLevels = 5, .subblockSize = 64},
        {.width = 255, .height = 33, .numLevels = 8, .subblockSize = 16},
        {.width = 37, .height = 200, .numLevels = 2, .numBands = 2, .subblockSize = 7},
    };
    uint32_t seed = 100;
    for (const PyramidShape& shape : shapes) {
        checkAllScales(shape, seed++, -2, 3);
        if (HasFailure()) return;
    }
}

TEST(WaveletSynthesis, ScenesTooSmallOrOutsideGiveNoDecoder) {
    const Pyramid pyramid = makePyramid({.width = 20, .height = 9, .numLevels = 3}, 9);
    PyramidClient client(pyramid);
    DecodeBase base(pyramid.info, client, nullptr, 1);
    // 9 rows at scale 2 are 3 rows: still decodable; at scale 3 only 2.
    EXPECT_TRUE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 4, 2), 3, 3, 5, 1, 2, base));
    EXPECT_FALSE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 2, 1), 3, 2, 3, 1, 3, base));
    EXPECT_FALSE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 1, 1), 3, 2, 2, 1, 0, base));
    EXPECT_FALSE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 19, 9), 3, 9, 20, 1, 0, base));  // below
    EXPECT_FALSE(PipelinedWaveletDecoder::create(QVIGeomRect(-1, 0, 5, 5), 3, 9, 20, 1, 0, base));
    EXPECT_FALSE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 5, 5), 3, 9, 20, 1, 4, base));  // scale > levels
    EXPECT_FALSE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 5, 5), 3, 9, 20, 2, 0, base));  // bands
    EXPECT_TRUE(PipelinedWaveletDecoder::create(QVIGeomRect(0, 0, 19, 8), 3, 9, 20, 1, 0, base));
}

TEST(WaveletPipe, StagesAndColumnSupport) {
    // One stage per level down to the output level; extra ones above full size.
    EXPECT_EQ(3u, Pipe::create(QVIGeomRect(0, 0, 9, 9), 5, 20, 20, 1, 2)->getNumStages());
    EXPECT_EQ(5u, Pipe::create(QVIGeomRect(0, 0, 9, 9), 5, 20, 20, 1, 0)->getNumStages());
    EXPECT_EQ(7u, Pipe::create(QVIGeomRect(0, 0, 9, 9), 5, 20, 20, 1, -2)->getNumStages());
    EXPECT_EQ(0u, Pipe::create(QVIGeomRect(0, 0, 2, 2), 5, 3, 3, 1, 5)->getNumStages());

    struct Row {
        const char* what;
        PipeColumnSupport got;
        int64_t bufferStart, bufferEnd;
        uint32_t leftPad, rightPad;
        int64_t lowFirst, lowLast, highFirst, highLast;
    };
    // Inside: columns 5..10 need 3..11 of the interleaved row; at both edges
    // of an even width one mirrored column left and two right; at the right
    // edge of an odd width one, and the high band is one shorter.
    const std::vector<PipeColumnSupport> inner = Pipe::getSupport(5, 10, 20, 2);
    ASSERT_EQ(2u, inner.size());
    EXPECT_EQ(1, inner[1].bufferStart);
    EXPECT_EQ(7, inner[1].bufferEnd);
    EXPECT_EQ(10u, inner[1].width);
    const Row rows[] = {
        {"inner", inner[0], 3, 11, 0, 0, 2, 5, 1, 5},
        {"even width", Pipe::getSupport(0, 19, 20, 1)[0], -1, 21, 1, 2, 0, 9, 0, 9},
        {"odd width", Pipe::getSupport(3, 20, 21, 1)[0], 1, 21, 0, 1, 1, 10, 0, 9},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(r.bufferStart, r.got.bufferStart);
        EXPECT_EQ(r.bufferEnd, r.got.bufferEnd);
        EXPECT_EQ(r.leftPad, r.got.leftPad);
        EXPECT_EQ(r.rightPad, r.got.rightPad);
        EXPECT_EQ(r.lowFirst, r.got.low.first);
        EXPECT_EQ(r.lowLast, r.got.low.last);
        EXPECT_EQ(r.highFirst, r.got.high.first);
        EXPECT_EQ(r.highLast, r.got.high.last);
    }
}

// The test-side writer's analysis is the exact inverse of the synthesis rule,
// so lossless files made by it must decode to their source: checked on the
// whole-array model for random images of odd and even shapes.
TEST(WaveletSynthesis, ForwardTransformThenSynthesisIsTheIdentity) {
    std::mt19937 rng(5);
    std::uniform_int_distribution<int32_t> value(-300, 300);
    const uint32_t sizes[] = {2, 3, 4, 5, 9, 17, 64, 129};
    for (uint32_t w : sizes)
        for (uint32_t h : sizes) {
            const uint32_t maxLevels = std::min(8u, XR3ImageInfo::calcMaxNLev(w, h));
            for (uint32_t levels = 0; levels <= maxLevels; ++levels) {
                TavixFixture::CoefficientPlane image(w, h);
                for (int32_t& v : image.values) v = value(rng);
                RulesReference::Pyramid bands;
                for (const TavixFixture::CoefficientPlane& subband :
                     TavixFixture::forwardTransform(image, levels).subbands) {
                    bands.emplace_back(subband.width, subband.height);
                    std::copy(subband.values.begin(), subband.values.end(), bands.back().v.begin());
                }
                const Plane back = RulesReference::synthesise(bands, int(levels), w, h);
                ASSERT_TRUE(std::equal(image.values.begin(), image.values.end(), back.v.begin(), back.v.end()))
                    << w << "x" << h << ", " << levels << " levels";
            }
        }
}
