// Whole files written by the test-side encoder, decoded through
// TavixImageReader: bit-exact at magnification 1, the low-low band at
// 2^-k, detail-free synthesis above 1, for a rotating choice of sample
// types, colour spaces, level counts, subblock sizes, planeset layouts,
// orders and token forms.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "qv_math.h"
#include "qvi_pixel.h"
#include "reader_decodeSupport.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"
#include "tavix_imageWriter.h"

namespace {

using namespace ReaderTest;
using namespace ReaderDecodeTest;

// One file to decode and the samples it was made from.
struct Subject {
    TavixImageRecipe recipe;
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t numBands = 0;
    uint32_t seed = 0;
    int64_t rangeMin = 0;
    int64_t rangeMax = 0;
    double step = 1.0;  // float: sample = offset + step * coded
    double offset = 0.0;

    bool isFloat() const { return recipe.dataType == QVI_DATATYPE_FLOAT32; }
    // The coded integer of a sample: the sample itself, or its step count for float data.
    int64_t coded(uint16_t band, uint32_t x, uint32_t y) const {
        return rangeMin + int64_t(std::floor(pattern(band, x, y, seed) * double(rangeMax - rangeMin + 1)));
    }
    double sample(uint16_t band, uint32_t x, uint32_t y) const {
        return isFloat() ? offset + step * double(coded(band, x, y)) : double(coded(band, x, y));
    }
    Plane plane(uint16_t band) const {
        Plane p(width, height);
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) p.at(x, y) = coded(band, x, y);
        return p;
    }
    // A decoded coefficient as the decoder hands it out: clamped to the header's range, then converted.
    double expected(int64_t value) const {
        const double clamped = double(std::clamp(value, rangeMin, rangeMax));
        return isFloat() ? offset + step * clamped : clamped;
    }
    std::vector<uint8_t> write() const {
        FunctionSourceImage source(width, height, numBands,
                                   [this](uint16_t b, uint32_t x, uint32_t y) { return sample(b, x, y); });
        std::vector<uint8_t> bytes;
        EXPECT_EQ(0u, writeTavixImage(recipe, source, bytes));
        return bytes;
    }
};

// Range of the samples of each type; 32-bit data keeps clear of the
// coefficients' 32-bit limits.
void setRange(Subject& s) {
    switch (s.recipe.dataType) {
    case QVI_DATATYPE_UINT8: s.rangeMin = 0; s.rangeMax = 255; break;
    case QVI_DATATYPE_SINT8: s.rangeMin = -128; s.rangeMax = 127; break;
    case QVI_DATATYPE_UINT16: s.rangeMin = 0; s.rangeMax = 65535; break;
    case QVI_DATATYPE_SINT16: s.rangeMin = -32768; s.rangeMax = 32767; break;
    case QVI_DATATYPE_UINT32: s.rangeMin = 0; s.rangeMax = (1 << 28) - 1; break;
    case QVI_DATATYPE_SINT32: s.rangeMin = -(1 << 27); s.rangeMax = (1 << 27) - 1; break;
    default: s.rangeMin = 0; s.rangeMax = 1000; s.step = 0.5; s.offset = -20.0; break;
    }
    s.recipe.rangeMin = int32_t(s.rangeMin);
    s.recipe.rangeMax = int32_t(s.rangeMax);
    if (s.isFloat()) {
        QuantizationInfo q;
        q.step = float(s.step);
        q.offset = float(s.offset);
        q.maxValue = float(s.offset + s.step * double(s.rangeMax));
        s.recipe.quantization.assign(s.numBands, q);
    }
}

struct ColourChoice {
    XR3ColorSpace space;
    uint16_t bands;
    bool yiq;
};

// The subjects: each case takes the next value of every list, so that each
// value meets many others without the full product.
std::vector<Subject> rotatingSubjects() {
    const QVIDataType types[] = {QVI_DATATYPE_UINT8,  QVI_DATATYPE_SINT8,  QVI_DATATYPE_UINT16, QVI_DATATYPE_SINT16,
                                 QVI_DATATYPE_UINT32, QVI_DATATYPE_SINT32, QVI_DATATYPE_FLOAT32};
    const ColourChoice colours[] = {{XR3_COLORSPACE_GREY, 1, false},
                                    {XR3_COLORSPACE_RGB, 3, true},
                                    {XR3_COLORSPACE_MULTISPECTRAL, 5, false},
                                    {XR3ColorSpace(XR3_COLORSPACE_RGB | XR3_COLORSPACE_ALPHA_BIT), 4, true},
                                    {XR3_COLORSPACE_CMYK, 4, false},
                                    {XR3_COLORSPACE_RGB, 3, false},
                                    {XR3ColorSpace(XR3_COLORSPACE_GREY | XR3_COLORSPACE_ALPHA_BIT), 2, false}};
    const uint32_t levels[] = {0, 1, 2, 3, TavixImageRecipe::kMaxLevels};
    const uint16_t subblocks[] = {8, 16, 32, 64};
    const XR3PlanesetLayout layouts[] = {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_LAYOUT_DATA_FIRST,
                                         XR3_PLANESET_LAYOUT_RASTER_BLOCK};
    const XR3PlanesetOrder orders[] = {XR3_PLANESET_ORDER_PIPELINE, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE};
    const uint32_t sizes[][2] = {{45, 37}, {64, 48}, {33, 70}, {70, 21}, {50, 40}, {17, 23}};

    std::vector<Subject> subjects;
    for (uint32_t i = 0; i < 14; ++i) {
        Subject s;
        s.recipe.dataType = types[i % 7];
        ColourChoice colour = colours[(i * 3) % 7];
        if (s.isFloat() && colour.yiq) colour = {XR3_COLORSPACE_MULTISPECTRAL, 2, false};
        s.recipe.colorSpace = colour.space;
        s.recipe.yiq = colour.yiq;
        s.numBands = colour.bands;
        s.recipe.numLevels = levels[i % 5];
        s.recipe.subblockSize = subblocks[(i / 2) % 4];
        s.recipe.planeset.layout = layouts[i % 3];
        s.recipe.planeset.order = orders[(i / 3) % 2];
        s.recipe.planeset.subblocksPerBlock = 3;
        s.recipe.planeset.wideTokens = i % 4 != 1;
        s.recipe.planeset.longTokens = i % 4 == 2;
        s.recipe.planeset.hasMSE = i % 4 == 3;
        s.recipe.planeset.maxRun = i % 5 == 4 ? 7 : 0;
        s.recipe.version = i % 2 ? TavixFileVersion::XR3 : TavixFileVersion::XR4;
        s.recipe.index = i % 3 == 1 ? IndexKind::Major1Measured : IndexKind::None;
        s.width = sizes[i % 6][0];
        s.height = sizes[i % 6][1];
        s.seed = 100 + i;
        setRange(s);
        subjects.push_back(s);
    }
    return subjects;
}

std::string describe(const Subject& s) {
    return "type " + std::to_string(s.recipe.dataType) + " space " + std::to_string(s.recipe.colorSpace) +
           (s.recipe.yiq ? " yiq" : "") + " levels " + std::to_string(s.recipe.numLevels) + " subblock " +
           std::to_string(s.recipe.subblockSize) + " layout " + std::to_string(s.recipe.planeset.layout) + " order " +
           std::to_string(s.recipe.planeset.order) + " " + std::to_string(s.width) + "x" + std::to_string(s.height);
}

// Reads the scene into a buffer of the reader's pixel (or of `pixel`).
QVStatus readScene(QVIImageStage& stage, const QVIScene& scene, std::unique_ptr<QVISceneBuffer>& buffer,
                   const QVIPixel* pixel = nullptr) {
    buffer = std::make_unique<QVISceneBuffer>(pixel ? *pixel : stage.getPixelProps(), uint32_t(scene.getNumCols()),
                                              uint32_t(scene.getNumRows()));
    return stage.read(scene, *buffer);
}

// Compares a decoded scene, band by band, with the reference at that reduction.
void expectScene(const Subject& s, const std::vector<Plane>& reference, const QVISceneBuffer& buffer,
                 const QVIScene& scene) {
    const uint32_t col0 = uint32_t(scene.getUpperLeftCol());
    const uint32_t row0 = uint32_t(scene.getUpperLeftRow());
    for (uint16_t b = 0; b < buffer.getNumBands(); ++b) {
        const Plane& plane = reference[buffer.getSourceBandIndex(b)];
        uint32_t mismatches = 0;
        for (uint32_t y = 0; y < buffer.getNumRows(); ++y) {
            for (uint32_t x = 0; x < buffer.getNumCols(); ++x) {
                const double want = s.expected(plane.at(col0 + x, row0 + y));
                const double got = sampleAt(buffer, x, y, b);
                if (got != want && mismatches++ < 3)
                    ADD_FAILURE() << "band " << b << " at " << col0 + x << "," << row0 + y << ": " << got
                                  << " instead of " << want;
            }
        }
        EXPECT_EQ(0u, mismatches) << "band " << b;
    }
}

std::vector<Plane> referenceAt(const Subject& s, int32_t reduction) {
    std::vector<Plane> planes;
    for (uint16_t b = 0; b < s.numBands; ++b) planes.push_back(atReduction(s.plane(b), reduction));
    return planes;
}

TEST(TavixReaderDecode, LosslessFilesDecodeToTheSourceAndItsLowLowBands) {
    for (const Subject& s : rotatingSubjects()) {
        SCOPED_TRACE(describe(s));
        OpenFront open(s.write());
        TavixImageReader* reader = open.reader;
        ASSERT_EQ(s.width, reader->getWidth());
        const int32_t numLevels = reader->getNumLevels();
        for (int32_t k = 0; k <= numLevels; ++k) {
            SCOPED_TRACE("reduction " + std::to_string(k));
            const std::vector<Plane> reference = referenceAt(s, k);
            const double mag = QVMath::levelToMag(k);
            uint32_t w = 0, h = 0;
            ASSERT_EQ(0u, reader->getDimsAtMag(mag, w, h));
            ASSERT_EQ(reference[0].width, w);
            ASSERT_EQ(reference[0].height, h);
            std::vector<QVIScene> scenes = {QVIScene(0, 0, w, h, mag)};
            if (w > 4 && h > 4) scenes.emplace_back(1 + k % 3, 2, w - 2 - k % 3, h - 3, mag);
            for (const QVIScene& scene : scenes) {
                std::unique_ptr<QVISceneBuffer> buffer;
                ASSERT_EQ(0u, readScene(*reader, scene, buffer));
                expectScene(s, reference, *buffer, scene);
            }
        }
    }
}

// A file of the rotating kind, for the tests that need one image only.
Subject rgbSubject(bool yiq, TavixFileVersion version) {
    Subject s;
    s.recipe.dataType = QVI_DATATYPE_UINT8;
    s.recipe.colorSpace = XR3_COLORSPACE_RGB;
    s.recipe.yiq = yiq;
    s.recipe.numLevels = 2;
    s.recipe.subblockSize = 16;
    s.recipe.version = version;
    s.numBands = 3;
    s.width = 41;
    s.height = 35;
    s.seed = 7;
    setRange(s);
    return s;
}

QVIPixel selection(const QVIImageStage& stage, std::vector<uint16_t> bands) {
    return QVIPixel(stage.getPixelProps(), bands.data(), uint16_t(bands.size()));
}

TEST(TavixReaderDecode, BandOrdersAndSubsets) {
    for (bool yiq : {false, true}) {
        SCOPED_TRACE(yiq ? "yiq" : "rgb");
        const Subject s = rgbSubject(yiq, TavixFileVersion::XR4);
        OpenFront open(s.write());
        TavixImageReader* reader = open.reader;
        for (int32_t k : {0, 1}) {
            const std::vector<Plane> reference = referenceAt(s, k);
            const QVIScene scene(3, 1, reference[0].width - 5, reference[0].height - 2, QVMath::levelToMag(k));
            for (const std::vector<uint16_t>& bands : std::vector<std::vector<uint16_t>>{
                     {2, 0}, {1}, {2}, {0, 2}, {2, 1, 0}, {1, 1}, {2, 0, 2, 1}}) {
                SCOPED_TRACE(::testing::PrintToString(bands));
                const QVIPixel pixel = selection(*reader, bands);
                std::unique_ptr<QVISceneBuffer> buffer;
                ASSERT_EQ(0u, readScene(*reader, scene, buffer, &pixel));
                expectScene(s, reference, *buffer, scene);
            }
        }
    }
}

TEST(TavixReaderDecode, XR3RefusesARepeatedBand) {
    const Subject s = rgbSubject(true, TavixFileVersion::XR3);
    OpenFront open(s.write());
    TavixImageReader* reader = open.reader;
    ASSERT_NE(nullptr, reader->getXR3ImageReader());
    const QVIScene scene(0, 0, 20, 20, 1.0);
    const QVIPixel repeated = selection(*reader, {1, 1});
    std::unique_ptr<QVISceneBuffer> buffer;
    EXPECT_EQ(2026u, readScene(*reader, scene, buffer, &repeated));
    // Distinct bands in any order are served.
    const QVIPixel swapped = selection(*reader, {2, 0});
    ASSERT_EQ(0u, readScene(*reader, scene, buffer, &swapped));
    expectScene(s, referenceAt(s, 0), *buffer, scene);

    // The manager can hand the same image to the XR4 reader instead.
    TavixImageStageManager* manager = TavixImageStageManager::create();
    ASSERT_EQ(0u, manager->initialize(open.file.stream.get()));
    manager->treatXR3asXR4();
    QVIImageStage* stage = nullptr;
    ASSERT_EQ(0u, manager->createImageStage(0, stage));
    ASSERT_EQ(0u, readScene(*stage, scene, buffer, &repeated));
    expectScene(s, referenceAt(s, 0), *buffer, scene);
    stage->release();
    manager->release();
}

TEST(TavixReaderDecode, MagnificationsAboveOneSynthesiseWithoutDetail) {
    const Subject s = rgbSubject(true, TavixFileVersion::XR4);
    OpenFront open(s.write());
    TavixImageReader* reader = open.reader;
    for (int32_t k : {-1, -2}) {
        SCOPED_TRACE(k);
        const std::vector<Plane> reference = referenceAt(s, k);
        const double mag = QVMath::levelToMag(k);
        uint32_t w = 0, h = 0;
        ASSERT_EQ(0u, reader->getDimsAtMag(mag, w, h));
        ASSERT_EQ(reference[0].width, w);
        for (const QVIScene& scene : {QVIScene(0, 0, w, h, mag), QVIScene(7, 9, w - 20, h - 11, mag)}) {
            std::unique_ptr<QVISceneBuffer> buffer;
            ASSERT_EQ(0u, readScene(*reader, scene, buffer));
            expectScene(s, reference, *buffer, scene);
        }
    }
    // The finest magnification in range decodes; it shows the corner pixel spread out.
    std::unique_ptr<QVISceneBuffer> buffer;
    ASSERT_EQ(0u, readScene(*reader, QVIScene(0, 0, 6, 5, 1048576.0), buffer));
    for (uint16_t b = 0; b < 3; ++b) EXPECT_EQ(s.sample(b, 0, 0), sampleAt(*buffer, 0, 0, b));
    EXPECT_EQ(50015u, readScene(*reader, QVIScene(0, 0, 6, 5, 2097152.0), buffer));
    EXPECT_EQ(50015u, readScene(*reader, QVIScene(0, 0, 6, 5, 0.125), buffer));
    EXPECT_EQ(50015u, readScene(*reader, QVIScene(0, 0, 6, 5, 0.75), buffer));
    EXPECT_EQ(50014u, readScene(*reader, QVIScene(36, 0, 6, 5, 1.0), buffer));
    EXPECT_EQ(50014u, readScene(*reader, QVIScene(-1, 0, 6, 5, 1.0), buffer));
}

}  // namespace
