// The test-side image writer: its files open with the library's container
// and plane store, and every subblock decodes to the coefficients of an
// independent whole-array transform (or, truncated, to those values with the
// reconstruction offset; cropped, to those of the coded area only).
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "planeStore_testSupport.h"
#include "tavix_imageWriter.h"
#include "tavix_sampleImages.h"
#include "xr3_colorTransformer.h"
#include "xr3_subblockData.h"

namespace {

using namespace PlaneStoreTest;

// The colour rule of the decoder, restated here from its steps so that the
// writer's forward transform is checked against an independent reading.
void decoderYiqToRgb(int32_t& a, int32_t& b, int32_t& c) {
    const auto m = [](int64_t x, int64_t k) {
        const int64_t n = x * k + 8192;
        return n >= 0 ? n / 16384 : -((-n + 16383) / 16384);  // floor
    };
    const int64_t t = int64_t(c) + a - m(b, 19637);
    const int64_t u = a - t;
    const int64_t y = b - m(u, 19309);
    const int64_t z = u - m(y, -22640);
    const int64_t sum = z * -11469 + y * 24279 + 8192;
    const int64_t g = t - (sum >= 0 ? sum / 16384 : -((-sum + 16383) / 16384));
    a = int32_t(z + g);
    b = int32_t(g);
    c = int32_t(y + g);
}

// The subbands of each band, as the file's subblocks decode.
std::vector<WaveletBands> decodeSubblocks(OpenedImage& image, bool round) {
    const XR3ImageInfo& info = image.source->getImageInfo();
    std::vector<WaveletBands> out(info.numBands);
    for (WaveletBands& band : out) {
        band.numLevels = info.numLevels;
        for (uint32_t s = 0; s < info.numSubbands; ++s)
            band.subbands.emplace_back(info.subbands[s].width, info.subbands[s].height);
    }
    auto client = image.client();
    EXPECT_TRUE(client);
    if (!client) return out;
    client->getComponentSet().setAll();
    std::vector<int32_t*> coefs(info.numBands);
    for (uint32_t s = 0; s < info.numSubbands; ++s) {
        const uint32_t n = info.subblockSize, stride = info.subbands[s].width;
        for (uint32_t i = 0; i < uint32_t(info.subbands[s].rows) * info.subbands[s].cols; ++i) {
            XR3SubblockData data;
            EXPECT_EQ(0u, data.init(info, uint8_t(s), i, info.numBands));
            EXPECT_EQ(0u, client->getSubblockData(s, i, data.getPlanes(), false));
            const uint32_t row = i / info.subbands[s].cols, col = i % info.subbands[s].cols;
            for (uint16_t b = 0; b < info.numBands; ++b) coefs[b] = out[b].subbands[s].row(row * n);
            EXPECT_EQ(0u, data.decode(coefs.data(), stride, size_t(col) * n, round));
        }
    }
    return out;
}

// Each band's coded samples, read from the source as the header says.
std::vector<CoefficientPlane> codedBands(const SourceImage& source, const XR3ImageInfo& info) {
    std::vector<CoefficientPlane> bands;
    std::vector<double> row(source.getWidth());
    for (uint16_t b = 0; b < source.getNumBands(); ++b) {
        CoefficientPlane plane(source.getWidth(), source.getHeight());
        for (uint32_t y = 0; y < plane.height; ++y) {
            source.readRow(b, y, row.data());
            for (uint32_t x = 0; x < plane.width; ++x) {
                double v = row[x];
                if (info.hasQuantization())
                    v = (v - double(info.quantization[b].offset)) / double(info.quantization[b].step);
                plane.at(x, y) = int32_t(std::llround(v));
            }
        }
        bands.push_back(std::move(plane));
    }
    return bands;
}

struct WriterCase {
    const char* name;
    uint32_t width, height;
    uint16_t bands;
    QVIDataType dataType;
    XR3ColorSpace colorSpace;
    bool yiq;
    uint32_t levels;
    uint16_t subblockSize;
    double lo, hi;
    PlanesetOptions planeset;
    uint32_t overflowLimit = 0;
    TavixFileVersion version = TavixFileVersion::XR4;
};

PlanesetOptions layoutOf(XR3PlanesetOrder order, XR3PlanesetLayout layout, bool wide, bool mse = false) {
    PlanesetOptions options;
    options.order = order;
    options.layout = layout;
    options.wideTokens = wide;
    options.hasMSE = mse;
    if (layout == XR3_PLANESET_LAYOUT_RASTER_BLOCK) options.subblocksPerBlock = 7;
    return options;
}

const auto kPipe = XR3_PLANESET_ORDER_PIPELINE;
const auto kSbcp = XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE;
const auto kFirst = XR3_PLANESET_LAYOUT_DATA_FIRST;
const auto kInter = XR3_PLANESET_LAYOUT_INTERLEAVED;
const auto kRaster = XR3_PLANESET_LAYOUT_RASTER_BLOCK;

class WriterMatrix : public ::testing::TestWithParam<WriterCase> {
protected:
    TavixImageRecipe recipeOf(const WriterCase& c) const {
        TavixImageRecipe recipe;
        recipe.dataType = c.dataType;
        recipe.colorSpace = c.colorSpace;
        recipe.yiq = c.yiq;
        recipe.numLevels = c.levels;
        recipe.subblockSize = c.subblockSize;
        recipe.planeset = c.planeset;
        recipe.overflow.limit = c.overflowLimit;
        recipe.version = c.version;
        return recipe;
    }
};

TEST_P(WriterMatrix, LosslessSubblocksDecodeToTheForwardCoefficients) {
    const WriterCase& c = GetParam();
    const bool integral = c.dataType != QVI_DATATYPE_FLOAT32;
    NaturalImageSource source(c.width, c.height, c.bands, 3, c.lo, c.hi, integral);
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writeTavixImage(recipeOf(c), source, bytes));

    OpenedImage image;
    ASSERT_EQ(0u, image.open(bytes, XR3_MEMORY_MODEL_FULL));
    const XR3ImageInfo& info = image.info;
    ASSERT_EQ(c.levels, info.numLevels);
    std::vector<WaveletBands> decoded = decodeSubblocks(image, true);
    if (c.yiq) {
        for (uint32_t s = 0; s < info.numSubbands; ++s) {
            auto& b0 = decoded[0].subbands[s].values;
            auto& b1 = decoded[1].subbands[s].values;
            auto& b2 = decoded[2].subbands[s].values;
            for (size_t i = 0; i < b0.size(); ++i) decoderYiqToRgb(b0[i], b1[i], b2[i]);
        }
    }
    const std::vector<CoefficientPlane> samples = codedBands(source, info);
    for (uint16_t b = 0; b < c.bands; ++b) {
        const WaveletBands expected = forwardTransform(samples[b], c.levels, OverflowRule{c.overflowLimit});
        for (uint32_t s = 0; s < info.numSubbands; ++s)
            ASSERT_EQ(expected.subbands[s], decoded[b].subbands[s]) << "band " << b << " subband " << s;
        // And back to the samples through the synthesis.
        EXPECT_EQ(samples[b], inverseTransform(decoded[b])) << "band " << b;
    }
}

std::string caseName(const ::testing::TestParamInfo<WriterCase>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Images, WriterMatrix,
    ::testing::Values(
        WriterCase{"GreyU8", 100, 70, 1, QVI_DATATYPE_UINT8, XR3_COLORSPACE_GREY, false, 3, 16, 0, 255,
                   layoutOf(kPipe, kFirst, true)},
        WriterCase{"RgbYiqU8", 97, 61, 3, QVI_DATATYPE_UINT8, XR3_COLORSPACE_RGB, true, 3, 32, 0, 255,
                   layoutOf(kPipe, kInter, true, true)},
        WriterCase{"RgbaYiqXr3", 45, 77, 4, QVI_DATATYPE_UINT8, XR3ColorSpace(XR3_COLORSPACE_RGB | 0x40), true, 2,
                   8, 0, 255, layoutOf(kPipe, kRaster, true), 0, TavixFileVersion::XR3},
        WriterCase{"CmykU16", 50, 41, 4, QVI_DATATYPE_UINT16, XR3_COLORSPACE_CMYK, false, 2, 16, 0, 65535,
                   layoutOf(kSbcp, kRaster, false)},
        WriterCase{"MultispectralS16Xr3", 33, 90, 5, QVI_DATATYPE_SINT16, XR3_COLORSPACE_MULTISPECTRAL, false, 3, 16,
                   -30000, 30000, layoutOf(kPipe, kInter, false, true), 0, TavixFileVersion::XR3},
        WriterCase{"FloatGrey", 60, 50, 2, QVI_DATATYPE_FLOAT32, XR3_COLORSPACE_MULTISPECTRAL, false, 3, 16, -3.5,
                   1200.25, layoutOf(kPipe, kFirst, true)},
        WriterCase{"NoLevels", 19, 23, 1, QVI_DATATYPE_UINT8, XR3_COLORSPACE_GREY, false, 0, 8, 0, 255,
                   layoutOf(kPipe, kFirst, true)},
        WriterCase{"OverflowBands", 70, 70, 3, QVI_DATATYPE_UINT8, XR3_COLORSPACE_RGB, true, 4, 8, 0, 255,
                   layoutOf(kPipe, kFirst, true), 120},
        WriterCase{"OddSubblocks", 131, 37, 1, QVI_DATATYPE_UINT16, XR3_COLORSPACE_GREY, false, 3, 13, 0, 4095,
                   layoutOf(kSbcp, kInter, true)}),
    caseName);

// Magnitude of a coefficient cut to its bits from `planes` up, then the
// reconstruction offset: 2^(planes-1) at odd, 2^(planes-1) - 1 at even
// linear positions of the subblock; zero stays zero.
int32_t truncatedValue(int32_t coefficient, unsigned planes, uint32_t linearIndex) {
    const uint32_t magnitude = uint32_t(std::abs(int64_t(coefficient))) & ~((uint32_t(1) << planes) - 1);
    if (magnitude == 0) return 0;
    const uint32_t offset = linearIndex % 2 ? uint32_t(1) << (planes - 1) : (uint32_t(1) << (planes - 1)) - 1;
    const int64_t value = int64_t(magnitude) + offset;
    return int32_t(coefficient < 0 ? -value : value);
}

TEST(ImageWriter, TruncatedFilesDecodeWithTheReconstructionOffset) {
    NaturalImageSource source(83, 66, 2, 8, 0, 4095);
    for (unsigned planes : {1u, 6u}) {
        TavixImageRecipe recipe;
        recipe.dataType = QVI_DATATYPE_UINT16;
        recipe.colorSpace = XR3_COLORSPACE_MULTISPECTRAL;
        recipe.numLevels = 3;
        recipe.subblockSize = 16;
        recipe.truncatePlanes = planes;
        std::vector<uint8_t> bytes;
        ASSERT_EQ(0u, writeTavixImage(recipe, source, bytes));
        OpenedImage image;
        ASSERT_EQ(0u, image.open(bytes, XR3_MEMORY_MODEL_FULL));
        const XR3ImageInfo& info = image.info;
        const std::vector<WaveletBands> decoded = decodeSubblocks(image, true);
        const std::vector<CoefficientPlane> samples = codedBands(source, info);
        size_t nonZero = 0;
        for (uint16_t b = 0; b < 2; ++b) {
            const WaveletBands exact = forwardTransform(samples[b], 3);
            for (uint32_t s = 0; s < info.numSubbands; ++s) {
                const CoefficientPlane& want = exact.subbands[s];
                for (uint32_t y = 0; y < want.height; ++y)
                    for (uint32_t x = 0; x < want.width; ++x) {
                        uint32_t row = 0, col = 0, w = 0, h = 0;
                        const uint32_t index = info.getSubblockIndex(s, y / 16, x / 16);
                        info.getSubblockInfo(s, index, row, col, w, h);
                        const uint32_t linear = (y % 16) * w + x % 16;
                        const int32_t expected = truncatedValue(want.at(x, y), planes, linear);
                        nonZero += expected != 0;
                        ASSERT_EQ(expected, decoded[b].subbands[s].at(x, y))
                            << planes << " planes, band " << b << " subband " << s << " at " << x << "," << y;
                    }
            }
        }
        EXPECT_GT(nonZero, 1000u);
    }
}

TEST(ImageWriter, CropRectangleNarrowsWhatIsCoded) {
    NaturalImageSource source(120, 90, 1, 12);
    TavixImageRecipe recipe;
    recipe.numLevels = 3;
    recipe.subblockSize = 16;
    recipe.crop = QVIGeomRect(30, 20, 69, 59);
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writeTavixImage(recipe, source, bytes));
    OpenedImage image;
    ASSERT_EQ(0u, image.open(bytes, XR3_MEMORY_MODEL_FULL));
    EXPECT_TRUE(image.info.isCroppedOrScaled);
    const std::vector<WaveletBands> decoded = decodeSubblocks(image, true);
    // Each subblock holds the coefficients of the area a decoder asks for, and nothing else.
    const CoefficientPlane samples = codedBands(source, image.info)[0];
    const WaveletBands exact = forwardTransform(samples, 3);
    size_t coded = 0;
    for (uint32_t s = 0; s < image.info.numSubbands; ++s) {
        const CoefficientPlane& want = exact.subbands[s];
        for (uint32_t y = 0; y < want.height; ++y)
            for (uint32_t x = 0; x < want.width; ++x) {
                XR3SubblockData data;
                ASSERT_EQ(0u, data.init(image.info, uint8_t(s), image.info.getSubblockIndex(s, y / 16, x / 16), 1));
                const int32_t sx = int32_t(x % 16), sy = int32_t(y % 16);
                const bool inArea = data.x0 <= sx && sx <= data.x1 && data.y0 <= sy && sy <= data.y1;
                coded += inArea;
                ASSERT_EQ(inArea ? want.at(x, y) : 0, decoded[0].subbands[s].at(x, y)) << s << ": " << x << "," << y;
            }
    }
    EXPECT_GT(coded, size_t(40 * 40));
    EXPECT_LT(coded, size_t(120 * 90) / 2);
}

TEST(ImageWriter, ColourTransformAgreesWithTheLibraryForEveryTriple) {
    using Transformer = XR3ColorTransformSupport::Transformer;
    std::mt19937 random(8);
    std::uniform_int_distribution<int32_t> value(INT32_MIN, INT32_MAX);
    for (int i = 0; i < 50000; ++i) {
        const int32_t r = value(random), g = value(random), b = value(random);
        int32_t m1 = r, m2 = g, m3 = b, l1 = r, l2 = g, l3 = b;
        rgbToYiq(m1, m2, m3);
        Transformer::rgb2yiq(l1, l2, l3);
        ASSERT_EQ(std::tuple(l1, l2, l3), std::tuple(m1, m2, m3)) << r << " " << g << " " << b;
        Transformer::yiq2rgb(m1, m2, m3);
        ASSERT_EQ(std::tuple(r, g, b), std::tuple(m1, m2, m3));
    }
}

}  // namespace
