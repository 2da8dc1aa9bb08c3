// Files of the test-side writer read through the whole reader: a lossless
// file gives its samples back bit for bit at full size, and the low-low band
// of the independent transform at every reduced magnification; a truncated
// file gives the synthesis of its truncated coefficients with the
// reconstruction offset.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "qv_ioMemStream.h"
#include "qvi_sceneBuffer.h"
#include "tavix_imageReader.h"
#include "tavix_imageWriter.h"
#include "tavix_sampleImages.h"

namespace {

using namespace TavixFixture;

double sampleAt(const QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band) {
    const void* p = buffer.getSample(col, row, band);
    switch (buffer.getPixelProps().getSample(band).getDataType()) {
        case QVI_DATATYPE_UINT8: return *static_cast<const uint8_t*>(p);
        case QVI_DATATYPE_SINT8: return *static_cast<const int8_t*>(p);
        case QVI_DATATYPE_UINT16: return *static_cast<const uint16_t*>(p);
        case QVI_DATATYPE_SINT16: return *static_cast<const int16_t*>(p);
        case QVI_DATATYPE_UINT32: return *static_cast<const uint32_t*>(p);
        case QVI_DATATYPE_SINT32: return *static_cast<const int32_t*>(p);
        case QVI_DATATYPE_FLOAT32: return *static_cast<const float*>(p);
        default: return std::nan("");
    }
}

// The image read whole at magnification 2^-reduction, band by band.
std::vector<std::vector<double>> readWhole(std::vector<uint8_t>& bytes, uint32_t reduction, uint32_t& width,
                                           uint32_t& height) {
    QVIOMemStream stream;
    EXPECT_EQ(0u, stream.initialize(bytes.data(), bytes.size()));
    EXPECT_EQ(0u, stream.open());
    TavixImageReader* reader = TavixImageReader::create();
    std::vector<std::vector<double>> bands;
    if (reader->initialize(&stream) != 0) {
        ADD_FAILURE() << "file does not open";
        reader->release();
        return bands;
    }
    width = (reader->getWidth() + (1u << reduction) - 1) >> reduction;
    height = (reader->getHeight() + (1u << reduction) - 1) >> reduction;
    QVISceneBuffer buffer(reader->getPixelProps(), width, height);
    const QVStatus status = reader->read(QVIScene(0, 0, width, height, std::ldexp(1.0, -int(reduction))), buffer);
    EXPECT_EQ(0u, status) << "reduction " << reduction;
    if (status == 0)
        for (uint16_t b = 0; b < buffer.getNumBands(); ++b) {
            bands.emplace_back();
            for (uint32_t y = 0; y < height; ++y)
                for (uint32_t x = 0; x < width; ++x) bands.back().push_back(sampleAt(buffer, x, y, b));
        }
    reader->release();
    return bands;
}

std::vector<CoefficientPlane> codedBands(const SourceImage& source, const XR3ImageInfo& info) {
    std::vector<CoefficientPlane> bands;
    std::vector<double> row(source.getWidth());
    for (uint16_t b = 0; b < source.getNumBands(); ++b) {
        CoefficientPlane plane(source.getWidth(), source.getHeight());
        for (uint32_t y = 0; y < plane.height; ++y) {
            source.readRow(b, y, row.data());
            for (uint32_t x = 0; x < plane.width; ++x) plane.at(x, y) = int32_t(codedSample(info, b, row[x]));
        }
        bands.push_back(std::move(plane));
    }
    return bands;
}

// A decoded value as the reader delivers it: clamped to the header's range,
// then dequantised for float data.
double delivered(const XR3ImageInfo& info, uint16_t band, int32_t value) {
    const double clamped = std::clamp<int64_t>(value, info.rangeMin, info.rangeMax);
    if (!info.hasQuantization()) return clamped;
    return double(float(clamped) * info.quantization[band].step + info.quantization[band].offset);
}

void expectImage(const XR3ImageInfo& info, uint16_t band, const CoefficientPlane& expected,
                 const std::vector<double>& got, const std::string& what) {
    ASSERT_EQ(expected.values.size(), got.size()) << what;
    for (uint32_t y = 0; y < expected.height; ++y)
        for (uint32_t x = 0; x < expected.width; ++x) {
            const double want = delivered(info, band, expected.at(x, y));
            const double have = got[size_t(y) * expected.width + x];
            if (info.hasQuantization()) ASSERT_FLOAT_EQ(float(want), float(have)) << what << " at " << x << "," << y;
            else ASSERT_EQ(want, have) << what << " at " << x << "," << y;
        }
}

struct DecodeCase {
    const char* name;
    uint32_t width, height;
    uint16_t bands;
    QVIDataType dataType;
    XR3ColorSpace colorSpace;
    bool yiq;
    uint32_t levels;
    uint16_t subblockSize;
    double lo, hi;
    XR3PlanesetOrder order;
    XR3PlanesetLayout layout;
    uint32_t overflowLimit;
    TavixFileVersion version;
};

class WrittenFileDecode : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(WrittenFileDecode, EveryMagnificationIsTheLowLowBandBitForBit) {
    const DecodeCase& c = GetParam();
    NaturalImageSource source(c.width, c.height, c.bands, 21, c.lo, c.hi, c.dataType != QVI_DATATYPE_FLOAT32);
    TavixImageRecipe recipe;
    recipe.dataType = c.dataType;
    recipe.colorSpace = c.colorSpace;
    recipe.yiq = c.yiq;
    recipe.numLevels = c.levels;
    recipe.subblockSize = c.subblockSize;
    recipe.planeset.order = c.order;
    recipe.planeset.layout = c.layout;
    recipe.overflow.limit = c.overflowLimit;
    recipe.version = c.version;
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writeTavixImage(recipe, source, bytes));
    XR3ImageInfo info;
    ASSERT_EQ(0u, makeTavixImageInfo(recipe, source, info));
    const std::vector<CoefficientPlane> samples = codedBands(source, info);

    for (uint32_t k = 0; k <= c.levels; ++k) {
        uint32_t width = 0, height = 0;
        const auto got = readWhole(bytes, k, width, height);
        ASSERT_EQ(c.bands, got.size()) << "reduction " << k;
        for (uint16_t b = 0; b < c.bands; ++b)
            expectImage(info, b, lowLowAtReduction(samples[b], k, recipe.overflow), got[b],
                        "band " + std::to_string(b) + " reduction " + std::to_string(k));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Images, WrittenFileDecode,
    ::testing::Values(
        DecodeCase{"GreyU8", 100, 70, 1, QVI_DATATYPE_UINT8, XR3_COLORSPACE_GREY, false, 3, 16, 0, 255,
                   XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_DATA_FIRST, 0, TavixFileVersion::XR4},
        DecodeCase{"RgbYiqOverflow", 91, 67, 3, QVI_DATATYPE_UINT8, XR3_COLORSPACE_RGB, true, 3, 32, 0, 255,
                   XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_INTERLEAVED, 140, TavixFileVersion::XR3},
        DecodeCase{"MultispectralU16", 77, 103, 5, QVI_DATATYPE_UINT16, XR3_COLORSPACE_MULTISPECTRAL, false, 4, 8, 0,
                   65535, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE, XR3_PLANESET_LAYOUT_RASTER_BLOCK, 0,
                   TavixFileVersion::XR4},
        DecodeCase{"SignedS16", 64, 64, 1, QVI_DATATYPE_SINT16, XR3_COLORSPACE_GREY, false, 2, 16, -20000, 20000,
                   XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_DATA_FIRST, 0, TavixFileVersion::XR3},
        DecodeCase{"RgbaU8", 50, 45, 4, QVI_DATATYPE_UINT8, XR3ColorSpace(XR3_COLORSPACE_RGB | 0x40), true, 2, 16, 0,
                   255, XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_DATA_FIRST, 0, TavixFileVersion::XR4},
        DecodeCase{"Float", 60, 40, 1, QVI_DATATYPE_FLOAT32, XR3_COLORSPACE_GREY, false, 2, 16, -1.5, 800.0,
                   XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_LAYOUT_DATA_FIRST, 0, TavixFileVersion::XR4}),
    [](const ::testing::TestParamInfo<DecodeCase>& info) { return std::string(info.param.name); });

TEST(WrittenFileDecode, TruncatedFileGivesTheSynthesisOfItsReconstructedCoefficients) {
    NaturalImageSource source(96, 72, 1, 30, 0, 255);
    TavixImageRecipe recipe;
    recipe.numLevels = 3;
    recipe.subblockSize = 16;
    recipe.truncatePlanes = 3;
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writeTavixImage(recipe, source, bytes));
    XR3ImageInfo info;
    ASSERT_EQ(0u, makeTavixImageInfo(recipe, source, info));
    WaveletBands bands = forwardTransform(codedBands(source, info)[0], 3);
    // Cut each coefficient to its bits from 3 up; non-zero ones gain 4 at odd
    // and 3 at even positions of their subblock.
    for (uint32_t s = 0; s < info.numSubbands; ++s) {
        CoefficientPlane& plane = bands.subbands[s];
        for (uint32_t y = 0; y < plane.height; ++y)
            for (uint32_t x = 0; x < plane.width; ++x) {
                uint32_t row = 0, col = 0, w = 0, h = 0;
                info.getSubblockInfo(s, info.getSubblockIndex(s, y / 16, x / 16), row, col, w, h);
                const int32_t v = plane.at(x, y);
                const int32_t magnitude = std::abs(v) & ~7;
                const int32_t withOffset = magnitude == 0 ? 0 : magnitude + (((y % 16) * w + x % 16) % 2 ? 4 : 3);
                plane.at(x, y) = v < 0 ? -withOffset : withOffset;
            }
    }
    for (uint32_t k = 0; k <= 3; ++k) {
        uint32_t width = 0, height = 0;
        const auto got = readWhole(bytes, k, width, height);
        ASSERT_EQ(1u, got.size());
        expectImage(info, 0, inverseTransformToLevel(bands, k), got[0], "reduction " + std::to_string(k));
    }
}

}  // namespace
