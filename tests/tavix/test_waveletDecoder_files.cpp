// Whole files through the decoder: planesets written from coded pyramids in
// every layout and memory model, decoded reduced, at full size and enlarged,
// over a part of the image, with one to four threads; and images written by
// the test-side image writer (forward transform, colour transform,
// quantisation) that must come back exactly.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "planeStore_testSupport.h"
#include "tavix_imageWriter.h"
#include "qvi_dataTypeDispatch.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "tavix_waveletPyramid.h"
#include "xr3_waveletDecoder.h"

using namespace Orvanetics;
using namespace WaveletDecoderTest;
using PlaneStoreTest::OpenedImage;

namespace {

struct Decoded {
    std::vector<std::vector<double>> bands;  // one per selected band, rect row by row
};

// Decodes rect at scale with the selected bands (empty: all) into samples of `type`.
QVStatus decodeFile(OpenedImage& image, int32_t scale, const QVIGeomRect& rect, const std::vector<uint16_t>& select,
                    uint32_t threads, QVIDataType type, Decoded& out) {
    auto client = image.client();
    const XR3ImageInfo& info = client->getImageInfo();
    if (!select.empty()) {
        client->getComponentSet().clearAll();
        for (uint16_t b : select) client->getComponentSet().set(b);
    }
    DecodeBase base(info, *client, nullptr, threads);
    const uint16_t bands = base.getNumSelectedBands();
    auto decoder = PipelinedWaveletDecoder::create(rect, info.numLevels, uint32_t(sizeAtScale(info.height, scale)),
                                                   uint32_t(sizeAtScale(info.width, scale)), bands, scale, base);
    if (!decoder) return QVI_STS_Tavix_BadArgument;
    if (QVStatus status = decoder->begin(16, info.rangeMin, info.rangeMax)) return status;
    QVIPixel pixel(QVI_COLORSPACE_MULTISPECTRAL, bands, type);
    QVISceneBuffer buffer(pixel, uint32_t(rect.getWidth()), uint32_t(rect.getHeight()));
    for (int32_t y = rect.y0; y <= rect.y1; y += 16) {
        const int32_t rows = std::min(16, rect.y1 - y + 1);
        QVISceneBuffer strip(buffer, 0, uint32_t(y - rect.y0), uint32_t(rect.getWidth()), uint32_t(rows));
        if (QVStatus status = decoder->decodeStrip(QVIGeomRect(rect.x0, y, rect.x1, y + rows - 1), strip))
            return status;
    }
    out.bands.assign(bands, {});
    for (uint16_t b = 0; b < bands; ++b)
        for (int32_t y = 0; y < rect.getHeight(); ++y)
            for (int32_t x = 0; x < rect.getWidth(); ++x) {
                const void* sample = buffer.getSample(uint32_t(x), uint32_t(y), b);
                double value = 0;
                visitDataType(
                    type, [&](auto tag) { value = double(*static_cast<const typename decltype(tag)::type*>(sample)); },
                    [] {});
                out.bands[b].push_back(value);
            }
    return decoder->end();
}

}  // namespace

TEST(WaveletDecoderFiles, CodedPyramidsInEveryLayoutAndModel) {
    PyramidShape shape;
    shape.width = 90;
    shape.height = 71;
    shape.numLevels = 3;
    shape.numBands = 2;
    shape.subblockSize = 16;
    shape.magnitude = 200000;
    Pyramid pyramid = makePyramid(shape, 21);
    pyramid.info.dataType = XR3_DATATYPE_SINT32;  // no clamping on output
    pyramid.info.rangeMin = INT32_MIN;
    pyramid.info.rangeMax = INT32_MAX;
    const TavixFixture::PlanesetContent content = codePyramid(pyramid);
    struct Variant {
        XR3PlanesetLayout layout;
        XR3MemoryModel model;
        uint32_t threads;
    };
    const Variant variants[] = {{XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_MEMORY_MODEL_FULL, 1},
                                {XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_MEMORY_MODEL_PARTIAL, 2},
                                {XR3_PLANESET_LAYOUT_RASTER_BLOCK, XR3_MEMORY_MODEL_FULL, 4}};
    for (const Variant& v : variants) {
        TavixFixture::PlanesetOptions options;
        options.layout = v.layout;
        options.subblocksPerBlock = 7;
        OpenedImage image;
        ASSERT_EQ(0u, image.open(TavixFixture::writeImageFile(pyramid.info, content, options).bytes, v.model));
        for (int32_t scale : {0, 1, 3, -1}) {
            const int64_t w = sizeAtScale(shape.width, scale), h = sizeAtScale(shape.height, scale);
            const QVIGeomRect rect(int32_t(w / 5), int32_t(h / 3), int32_t(w - 2), int32_t(h - 1));
            Decoded decoded;
            ASSERT_EQ(0u, decodeFile(image, scale, rect, {}, v.threads, QVI_DATATYPE_SINT32, decoded));
            for (uint16_t b = 0; b < 2; ++b) {
                const Plane expected = pyramid.reference(b, scale);
                size_t i = 0;
                for (int32_t y = rect.y0; y <= rect.y1; ++y)
                    for (int32_t x = rect.x0; x <= rect.x1; ++x, ++i)
                        ASSERT_EQ(double(expected.at(x, y)), decoded.bands[b][i])
                            << "layout " << v.layout << " scale " << scale << " band " << b << " at " << x << "," << y;
            }
        }
    }
}


TEST(WaveletDecoderFiles, ArbitraryPlaneBytesDecodeWithinTheRange) {
    // Plane strings that no encoder wrote give arbitrary, possibly huge
    // coefficients: the synthesis wraps and the output is still clamped.
    const XR3ImageInfo info = TavixFixture::makeImageInfo(61, 45, 3, 2, 8);
    TavixFixture::PlanesetContent::RandomShape shape;
    shape.planeDensity = 1.0;
    OpenedImage image;
    ASSERT_EQ(0u, image.open(TavixFixture::writeImageFile(info, TavixFixture::PlanesetContent::random(info, 3, shape),
                                                          TavixFixture::PlanesetOptions())
                                 .bytes,
                             XR3_MEMORY_MODEL_FULL));
    for (int32_t scale : {0, 2, -1}) {
        const int64_t w = sizeAtScale(61, scale), h = sizeAtScale(45, scale);
        Decoded decoded;
        ASSERT_EQ(0u, decodeFile(image, scale, QVIGeomRect(0, 0, int32_t(w - 1), int32_t(h - 1)), {}, 2,
                                 QVI_DATATYPE_SINT32, decoded));
        for (const std::vector<double>& band : decoded.bands) {
            ASSERT_EQ(size_t(w * h), band.size());
            for (double v : band) ASSERT_TRUE(v >= info.rangeMin && v <= info.rangeMax) << v;
        }
    }
}

namespace {

std::vector<uint8_t> writeImage(const TavixFixture::TavixImageRecipe& recipe, const TavixFixture::SourceImage& source) {
    std::vector<uint8_t> bytes;
    EXPECT_EQ(0u, TavixFixture::writeTavixImage(recipe, source, bytes));
    return bytes;
}

TavixFixture::CoefficientPlane bandPlane(const TavixFixture::SourceImage& source, uint16_t band) {
    TavixFixture::CoefficientPlane plane(source.getWidth(), source.getHeight());
    std::vector<double> row(source.getWidth());
    for (uint32_t y = 0; y < source.getHeight(); ++y) {
        source.readRow(band, y, row.data());
        for (uint32_t x = 0; x < source.getWidth(); ++x) plane.at(x, y) = int32_t(row[x]);
    }
    return plane;
}

double clampTo(double v, double lo, double hi) { return std::min(std::max(v, lo), hi); }

}  // namespace

TEST(WaveletDecoderFiles, RgbImageCodedAsYiqComesBackExactly) {
    const uint32_t width = 77, height = 61;
    std::mt19937 rng(5);
    std::vector<uint8_t> pixels(size_t(width) * height * 3);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = uint8_t((i / 3 % width) * 3 + (rng() % 40));
    TavixFixture::ArraySourceImage<uint8_t> source(pixels.data(), width, height, 3,
                                                   TavixFixture::SampleOrder::PixelInterleaved);
    TavixFixture::TavixImageRecipe recipe;
    recipe.colorSpace = XR3_COLORSPACE_RGB;
    recipe.yiq = true;
    recipe.numLevels = 3;
    recipe.subblockSize = 16;
    OpenedImage image;
    ASSERT_EQ(0u, image.open(writeImage(recipe, source), XR3_MEMORY_MODEL_DEFAULT));
    ASSERT_NE(XR3_COLORTRANSFORM_NONE, image.info.colorTransform);

    Decoded decoded;
    ASSERT_EQ(0u, decodeFile(image, 0, QVIGeomRect(0, 0, width - 1, height - 1), {}, 2, QVI_DATATYPE_UINT8, decoded));
    for (uint16_t b = 0; b < 3; ++b)
        for (size_t i = 0; i < size_t(width) * height; ++i) ASSERT_EQ(pixels[i * 3 + b], decoded.bands[b][i]) << b;

    // Reduced: the low-low band of each colour band, clamped to 8 bits.
    for (uint32_t scale = 1; scale <= 3; ++scale) {
        const int64_t w = sizeAtScale(width, int32_t(scale)), h = sizeAtScale(height, int32_t(scale));
        ASSERT_EQ(0u, decodeFile(image, int32_t(scale), QVIGeomRect(0, 0, int32_t(w - 1), int32_t(h - 1)), {}, 1,
                                 QVI_DATATYPE_UINT8, decoded));
        for (uint16_t b = 0; b < 3; ++b) {
            const TavixFixture::CoefficientPlane expected =
                TavixFixture::lowLowAtReduction(bandPlane(source, b), scale);
            for (size_t i = 0; i < expected.values.size(); ++i)
                ASSERT_EQ(clampTo(expected.values[i], 0, 255), decoded.bands[b][i]) << scale << " band " << b;
        }
    }
}

TEST(WaveletDecoderFiles, BandSubsetsOfAMultispectralImage) {
    const uint32_t width = 50, height = 40;
    TavixFixture::FunctionSourceImage source(width, height, 4, [](uint16_t band, uint32_t x, uint32_t y) {
        return double(int32_t((x * 37 + y * 11 + band * 1000) % 3001) - 1500);
    });
    TavixFixture::TavixImageRecipe recipe;
    recipe.dataType = QVI_DATATYPE_SINT16;
    recipe.colorSpace = XR3_COLORSPACE_MULTISPECTRAL;
    recipe.numLevels = 2;
    recipe.subblockSize = 8;
    OpenedImage image;
    ASSERT_EQ(0u, image.open(writeImage(recipe, source), XR3_MEMORY_MODEL_FULL));
    Decoded decoded;
    const QVIGeomRect rect(5, 3, 44, 38);
    ASSERT_EQ(0u, decodeFile(image, 0, rect, {1, 3}, 2, QVI_DATATYPE_SINT16, decoded));
    ASSERT_EQ(2u, decoded.bands.size());
    const uint16_t selected[] = {1, 3};
    for (int s = 0; s < 2; ++s) {
        std::vector<double> row(width);
        size_t i = 0;
        for (int32_t y = rect.y0; y <= rect.y1; ++y) {
            source.readRow(selected[s], uint32_t(y), row.data());
            for (int32_t x = rect.x0; x <= rect.x1; ++x, ++i) ASSERT_EQ(row[size_t(x)], decoded.bands[s][i]);
        }
    }
}

TEST(WaveletDecoderFiles, FloatImageIsDequantised) {
    const uint32_t width = 33, height = 20;
    TavixFixture::FunctionSourceImage source(width, height, 1, [](uint16_t, uint32_t x, uint32_t y) {
        return 0.25 * double(x) - 0.5 * double(y) + 3.0;
    });
    TavixFixture::TavixImageRecipe recipe;
    recipe.dataType = QVI_DATATYPE_FLOAT32;
    recipe.colorSpace = XR3_COLORSPACE_GREY;
    recipe.numLevels = 2;
    recipe.subblockSize = 16;
    QuantizationInfo q;
    q.step = 0.25f;
    q.offset = -10.0f;
    recipe.quantization = {q};
    OpenedImage image;
    ASSERT_EQ(0u, image.open(writeImage(recipe, source), XR3_MEMORY_MODEL_FULL));
    Decoded decoded;
    ASSERT_EQ(0u, decodeFile(image, 0, QVIGeomRect(0, 0, width - 1, height - 1), {}, 1, QVI_DATATYPE_FLOAT32, decoded));
    std::vector<double> row(width);
    for (uint32_t y = 0; y < height; ++y) {
        source.readRow(0, y, row.data());
        for (uint32_t x = 0; x < width; ++x) ASSERT_EQ(row[x], decoded.bands[0][y * width + x]) << x << "," << y;
    }
}
