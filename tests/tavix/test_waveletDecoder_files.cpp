// Whole files through the decoder: planesets written from coded pyramids in
// every layout and memory model, decoded reduced, at full size and enlarged,
// over a part of the image, with one to four threads, and plane bytes no
// encoder wrote.
#include <gtest/gtest.h>

#include "planeStore_testSupport.h"
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
