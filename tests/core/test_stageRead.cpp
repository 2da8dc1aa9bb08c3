// The read protocol of stages, driven through the in-memory test reader:
// strips, views, delegates, validation, band selection and the reader's
// answers to the stage questions.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core_testReader.h"
#include "qvi_geoCoord.h"
#include "qvi_sceneBuffer.h"

using namespace Orvanetics;
using namespace CoreTest;

namespace {

Ref<TestReader> makeReader(const QVIPixel& pixel, uint32_t width, uint32_t height, double minMag = 1.0,
                           bool supportBandSelection = false)
{
    Ref<TestReader> reader(TestReader::create(supportBandSelection));
    EXPECT_EQ(reader->initialize(pixel, width, height, minMag, 1.0), 0u);
    return reader;
}

QVIPixel rgb(QVIDataType type = QVI_DATATYPE_UINT8)
{
    return QVIPixel(QVI_COLORSPACE_RGB, 3, type);
}

double valueAt(const QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band)
{
    QVISample sample = buffer.getPixelProps().getSample(band);
    sample.setValueAddr(buffer.getSample(col, row, band));
    return sample.getValueAsDouble();
}

// Every sample of the scene's area of the buffer is the reader's formula for
// the band's source band index; counts mismatches so a failure stays short.
int countWrongSamples(const QVISceneBuffer& buffer, const QVIScene& scene)
{
    int wrong = 0;
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band)
        for (int32_t row = 0; row < scene.getNumRows(); ++row)
            for (int32_t col = 0; col < scene.getNumCols(); ++col)
                wrong += valueAt(buffer, uint32_t(col), uint32_t(row), band) !=
                         expectedSample(scene.getUpperLeftCol() + col, scene.getUpperLeftRow() + row,
                                        buffer.getSourceBandIndex(band), scene.getMag());
    return wrong;
}

void expectStatusTextNamesTheReader(QVStatus status)
{
    const std::string text = getLastStatusString(status);
    const std::string tail = " [" + std::to_string(status) + "] (test-reader)";
    EXPECT_TRUE(text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0)
        << text;
}

}  // namespace

TEST(StageRead, ReadsAtEachMagnificationAndStripHeight)
{
    auto reader = makeReader(rgb(QVI_DATATYPE_UINT16), 37, 33, 0.25);
    for (double mag : {1.0, 0.5, 0.25}) {
        uint32_t width = 0;
        uint32_t height = 0;
        ASSERT_EQ(reader->getDimsAtMag(mag, width, height), 0u);
        EXPECT_EQ(width, uint32_t(std::ceil(37 * mag)));
        EXPECT_EQ(height, uint32_t(std::ceil(33 * mag)));
        for (const QVIScene& scene : {QVIScene(0, 0, width, height, mag), QVIScene(1, 2, width - 2, height - 3, mag)}) {
            for (uint32_t stripHeight : {1u, 5u, 64u}) {
                SCOPED_TRACE(std::to_string(mag) + " " + std::to_string(stripHeight));
                reader->setStripHeight(stripHeight);
                QVISceneBuffer buffer(reader->getPixelProps(), uint32_t(scene.getNumCols()),
                                      uint32_t(scene.getNumRows()));
                ASSERT_EQ(reader->read(scene, buffer), 0u);
                EXPECT_EQ(countWrongSamples(buffer, scene), 0);
                EXPECT_EQ(reader->decodedStrips.size(), (uint32_t(scene.getNumRows()) + stripHeight - 1) / stripHeight);
                EXPECT_EQ(reader->decodeEndCount, reader->decodeBeginCount);
            }
        }
    }
    uint32_t width = 0, height = 0;
    EXPECT_EQ(reader->getDimsAtMag(0.125, width, height), 50015u);
}

TEST(StageRead, StripsOfWholeAndFractionalScenes)
{
    auto reader = makeReader(rgb(), 30, 40);
    const QVIScene scene(2, 3, 10, 33, 1.0);
    ASSERT_EQ(reader->readBegin(reader->getPixelProps(), scene), 0u);
    EXPECT_EQ(reader->getNumStrips(), 3);
    EXPECT_EQ(reader->getFullScene(), scene);
    EXPECT_EQ(reader->getStripScene(1), QVIScene(2, 19, 10, 16, 1.0));
    EXPECT_EQ(reader->getStripScene(2), QVIScene(2, 35, 10, 1, 1.0));
    ASSERT_EQ(reader->readEnd(), 0u);
    EXPECT_EQ(reader->getNumStrips(), 0);

    // A buffer larger than the scene keeps its pitch and is untouched outside.
    QVISceneBuffer buffer(reader->getPixelProps(), 12, 35);
    ASSERT_EQ(reader->read(scene, buffer), 0u);
    EXPECT_EQ(reader->decodedStripRows, (std::vector<uint32_t>{16, 16, 1}));
    EXPECT_EQ(countWrongSamples(buffer, scene), 0);
    EXPECT_EQ(valueAt(buffer, 10, 0, 0), 0.0);
    EXPECT_EQ(valueAt(buffer, 0, 33, 2), 0.0);

    const QVIScene fractional(0, 0.25, 10, 20.5, 1.0);  // rows 0 .. 20
    QVISceneBuffer rows21(reader->getPixelProps(), 10, 21);
    ASSERT_EQ(reader->read(fractional, rows21), 0u);
    ASSERT_EQ(reader->decodedStrips.size(), 2u);
    EXPECT_EQ(reader->decodedStrips[1].getHeight(), 4.5);
    EXPECT_EQ(reader->decodedStripRows, (std::vector<uint32_t>{16, 5}));
    EXPECT_EQ(countWrongSamples(rows21, fractional), 0);
}

TEST(StageRead, DelegatesAndFailuresEndTheReadThroughReadEnd)
{
    const QVIScene scene(0, 0, 10, 40, 1.0);
    {
        auto reader = makeReader(rgb(), 10, 40);
        RecordingProgress progress;
        reader->setProgressDelegate(&progress);
        QVISceneBuffer buffer(reader->getPixelProps(), 10, 40);
        ASSERT_EQ(reader->read(scene, buffer), 0u);
        EXPECT_EQ(progress.fractions, (std::vector<float>{0.0f, 0.0f, 0.4f, 0.8f, 1.0f}));
    }
    {
        // Interrupt call 1 at readBegin, 2 after strip 0, 3 after strip 1.
        auto reader = makeReader(rgb(), 10, 40);
        CountingInterrupt interrupt(3, 2007);
        reader->setInterruptDelegate(&interrupt);
        QVISceneBuffer buffer(reader->getPixelProps(), 10, 40);
        EXPECT_EQ(reader->read(scene, buffer), 2007u);
        EXPECT_EQ(reader->decodedStrips.size(), 2u);
        EXPECT_EQ(reader->decodeEndCount, 1);
        EXPECT_EQ(reader->getFullScene(), QVIScene());
        EXPECT_EQ(reader->getFullScene().getMag(), -1.0);
        EXPECT_EQ(reader->getNumStrips(), 0);
    }
    {
        auto reader = makeReader(rgb(), 10, 10);
        CountingInterrupt interrupt(1, 51501);
        reader->setInterruptDelegate(&interrupt);
        EXPECT_EQ(reader->readBegin(reader->getPixelProps(), QVIScene(0, 0, 10, 10, 1.0)), 51501u);
        EXPECT_EQ(reader->getNumStrips(), 0);
        EXPECT_EQ(reader->decodeEndCount, 1);
    }
    {
        auto reader = makeReader(rgb(), 10, 40);
        reader->failOnStrip(1, 2001);
        RecordingProgress progress;
        reader->setProgressDelegate(&progress);
        QVISceneBuffer buffer(reader->getPixelProps(), 10, 40);
        EXPECT_EQ(reader->read(scene, buffer), 2001u);
        EXPECT_EQ(reader->decodeEndCount, 1);
        // readEnd still ran and told its 1.0; the failed strip told nothing.
        EXPECT_EQ(progress.fractions, (std::vector<float>{0.0f, 0.0f, 1.0f}));
        expectStatusTextNamesTheReader(2001);
        // A strip without pixels ends the read too.
        EXPECT_EQ(reader->read(QVIScene(0, 0, 0, 5, 1.0), buffer), 50012u);
        EXPECT_EQ(reader->decodeEndCount, 2);
    }
}

TEST(StageValidation, MagnificationThenPositionThenBuffer)
{
    auto reader = makeReader(rgb(), 20, 10, 0.25);
    const QVIPixel& pixel = reader->getPixelProps();
    const struct { QVIScene scene; QVStatus expected; } rows[] = {
        {QVIScene(0, 0, 4, 4, 0.75), 50015},    {QVIScene(0, 0, 4, 4, 2.0), 50015},
        {QVIScene(0, 0, 4, 4, 0.125), 50015},   {QVIScene(0, 0, 4, 4, NAN), 50015},
        {QVIScene(-5, 0, 4, 4, 0.75), 50015},   // the magnification is judged first
        {QVIScene(0, 0, 5, 3, 0.25), 0},        {QVIScene(-1, 0, 5, 5, 1.0), 50014},
        {QVIScene(0, -1, 5, 5, 1.0), 50014},    {QVIScene(-0.4, 0, 5, 5, 1.0), 0},  // column 0
        {QVIScene(0, 0, 20, 10, 1.0), 0},       {QVIScene(0, 0, 21, 10, 1.0), 50014},
        {QVIScene(0, 0, 20, 11, 1.0), 50014},   {QVIScene(0, 0, 10, 5, 0.5), 0},
        {QVIScene(0, 0, 10, 6, 0.5), 50014},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(reader->validateReadRequest(pixel, row.scene), row.expected)
            << row.scene.getUpperLeftCol() << "," << row.scene.getUpperLeftRow() << " " << row.scene.getWidth()
            << "x" << row.scene.getHeight() << " @" << row.scene.getMag();
    }

    // A stage that resamples accepts any magnification in range.
    Ref<PassFilter> filter(PassFilter::create(reader.get()));
    filter->claimArbitraryMag = true;
    EXPECT_EQ(filter->validateReadRequest(pixel, QVIScene(0, 0, 15, 8, 0.75)), 0u);
    EXPECT_EQ(filter->validateReadRequest(pixel, QVIScene(0, 0, 15, 9, 0.75)), 50014u);

    const QVIScene scene(0, 0, 20, 10, 1.0);
    QVISceneBuffer oneRowShort(pixel, 20, 9);
    EXPECT_EQ(reader->read(scene, oneRowShort), 50027u);
    QVISceneBuffer oneColShort(pixel, 19, 10);
    EXPECT_EQ(reader->read(scene, oneColShort), 50027u);
    QVISceneBuffer otherType(rgb(QVI_DATATYPE_UINT16), 20, 10);
    EXPECT_EQ(reader->read(scene, otherType), 50016u);
    QVISceneBuffer wide(pixel, 21, 10);
    ASSERT_EQ(reader->read(QVIScene(0, 0, 21, 10, 1.0), wide), 50014u);
    expectStatusTextNamesTheReader(50014);
    EXPECT_EQ(reader->decodeBeginCount, 0);

    reader->setStripHeight(0);
    QVISceneBuffer buffer(pixel, 20, 10);
    EXPECT_EQ(reader->read(scene, buffer), 50003u);
}

TEST(StageBandSelection, SelectedBandsInOrderWithOrWithoutReaderSupport)
{
    const uint16_t selection[2] = {2, 0};
    const QVIScene scene(0, 0, 9, 20, 1.0);
    for (bool support : {false, true}) {
        auto reader = makeReader(rgb(QVI_DATATYPE_SINT16), 9, 20, 1.0, support);
        const QVIPixel selected(reader->getPixelProps(), selection, 2);
        ASSERT_TRUE(reader->isBandSelected(selected));
        QVISceneBuffer buffer(selected, 9, 20);
        ASSERT_EQ(reader->read(scene, buffer), 0u);
        EXPECT_EQ(reader->lastDecodePixel.getNumBands(), support ? 2 : 3);
        EXPECT_EQ(valueAt(buffer, 4, 17, 0), expectedSample(4, 17, 2, 1.0));
        EXPECT_EQ(countWrongSamples(buffer, scene), 0);
    }

    auto reader = makeReader(rgb(), 9, 20);
    const uint16_t identity[3] = {0, 1, 2};
    EXPECT_FALSE(reader->isBandSelected(QVIPixel(reader->getPixelProps(), identity, 3)));
    EXPECT_TRUE(reader->isBandSelected(QVIPixel(reader->getPixelProps(), identity, 2)));
    // A source band beyond the image is refused before any decoding.
    const QVISample samples[2] = {QVISample(0, QVI_COLOR_RED, QVI_DATATYPE_UINT8),
                                  QVISample(9, QVI_COLOR_GREEN, QVI_DATATYPE_UINT8)};
    const QVIPixel beyond(samples, 2, QVI_COLORSPACE_MULTISPECTRAL);
    QVISceneBuffer buffer(beyond, 9, 20);
    EXPECT_EQ(reader->read(scene, buffer), 50018u);
    EXPECT_EQ(reader->readBegin(beyond, scene), 50018u);
    EXPECT_EQ(reader->decodeBeginCount, 0);
}

TEST(StageReader, ModificationsCostBlobAndReaderScene)
{
    auto reader = makeReader(rgb(), 20, 10, 0.5);
    EXPECT_EQ(reader->getModifications(QVIScene(0, 0, 20, 10, 1.0)), 0u);
    EXPECT_EQ(reader->getModifications(QVIScene(0, 0, 19, 10, 1.0)), 0x4u);
    EXPECT_EQ(reader->getModifications(QVIScene(0, 0, 10, 5, 0.5)), 0x10u);
    EXPECT_EQ(reader->getModifications(QVIScene(1, 0, 9, 5, 0.5)), 0x14u);
    Ref<PassFilter> filter(PassFilter::create(reader.get()));
    EXPECT_EQ(filter->getModifications(QVIScene(0, 0, 20, 10, 1.0)), 0x1u);
    Ref<PassFilter> second(PassFilter::create(filter.get()));
    EXPECT_EQ(second->getModifications(QVIScene(0, 0, 19, 10, 1.0)), 0x5u);

    EXPECT_EQ(reader->getEncodingCost(QVIScene(0, 0, 64, 32, 1.0)), 64u * 32u * 3u / 1024u);
    uint32_t anything = 0;
    QVIOStreamInf* blob = reinterpret_cast<QVIOStreamInf*>(&anything);
    EXPECT_EQ(reader->getMetadataBlob("xmp", blob), 0u);
    EXPECT_EQ(blob, nullptr);
    EXPECT_EQ(reader->getMask(), nullptr);
    EXPECT_FALSE(reader->getPipelineInfo(QVI_PIPELINE_ARBITRARY_MAG));

    QVIScene clipped;
    EXPECT_TRUE(reader->getReaderScene(QVIScene(-5, -5, 20, 20, 1.0), clipped));
    EXPECT_EQ(clipped, QVIScene(0, 0, 15, 10, 1.0));
    EXPECT_FALSE(reader->getReaderScene(QVIScene(30, 0, 5, 5, 1.0), clipped));
}

TEST(StageReader, GeoPointsWithAndWithoutGeoreference)
{
    auto reader = makeReader(rgb(), 21, 11);
    EXPECT_TRUE(reader->isGeoCoordImplicit());
    // Implicit: x = column, y = height - 1 - row.
    const struct { QVIPosition position; double x, y; } implicitRows[] = {
        {QVI_POSITION_UPPER_LEFT, 0, 10},     {QVI_POSITION_LOWER_RIGHT, 20, 0},
        {QVI_POSITION_CENTER, 10, 5},         {QVI_POSITION_UPPER_CENTER, 10, 10},
        {QVI_POSITION_CENTER_RIGHT, 20, 5},   {QVIPosition(42), 0, 10},
    };
    for (const auto& row : implicitRows) {
        double x = -1, y = -1;
        ASSERT_EQ(reader->getGeoPoint(row.position, x, y), 0u);
        EXPECT_EQ(x, row.x) << row.position;
        EXPECT_EQ(y, row.y) << row.position;
    }
    ASSERT_EQ(reader->overrideGeoCoord(QVIGeoCoord(100, 200, 2, -3, 0, 0)), 0u);
    EXPECT_FALSE(reader->isGeoCoordImplicit());
    double x = 0, y = 0;
    reader->getGeoPoint(QVI_POSITION_LOWER_CENTER, x, y);
    EXPECT_EQ(x, 120.0);
    EXPECT_EQ(y, 170.0);
}

TEST(StageBackground, FillPrefersGivenThenBackgroundThenNoDataThenMinimum)
{
    auto reader = makeReader(rgb(QVI_DATATYPE_SINT16), 10, 10);
    QVISceneBuffer buffer(reader->getPixelProps(), 6, 5);
    const QVIScene scene(3, 3, 4, 3, 1.0);
    ASSERT_EQ(reader->fillBackground(scene, buffer), 0u);
    EXPECT_EQ(valueAt(buffer, 3, 2, 1), -32768.0);
    EXPECT_EQ(valueAt(buffer, 4, 2, 1), 0.0);  // outside the scene's size
    EXPECT_EQ(valueAt(buffer, 3, 3, 1), 0.0);

    QVIPixel noData(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_SINT16);
    noData.setSampleValueSint16(0, 77);
    ASSERT_EQ(reader->overrideNoDataPixel(&noData), 0u);
    ASSERT_EQ(reader->fillBackground(scene, buffer), 0u);
    EXPECT_EQ(valueAt(buffer, 0, 0, 2), 77.0);

    QVIPixel background(noData);
    background.setSampleValueSint16(0, -5);
    ASSERT_EQ(reader->overrideBackgroundPixel(&background), 0u);
    ASSERT_EQ(reader->fillBackground(scene, buffer), 0u);
    EXPECT_EQ(valueAt(buffer, 1, 1, 0), -5.0);

    QVIPixel given(reader->getPixelProps());
    given.setSampleValuesSint16(int16_t(3));
    ASSERT_EQ(reader->fillBackground(scene, buffer, given), 0u);
    EXPECT_EQ(valueAt(buffer, 3, 2, 2), 3.0);
}

TEST(StageBackground, CreatedBackgroundIsBlankForTheColourSpace)
{
    auto rgbReader = makeReader(rgb(), 2, 2);
    std::unique_ptr<QVIPixel> blank(rgbReader->createBackgroundPixel());
    EXPECT_TRUE(blank->areSampleValuesMin());
    auto cmyk = makeReader(QVIPixel(QVI_COLORSPACE_CMYK, 4, QVI_DATATYPE_UINT8), 2, 2);
    blank.reset(cmyk->createBackgroundPixel());
    EXPECT_TRUE(blank->areSampleValuesMax());
    auto rgba = makeReader(QVIPixel(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT16), 2, 2);
    blank.reset(rgba->createBackgroundPixel());
    EXPECT_EQ(blank->getSampleValueUint16(2), 0);
    EXPECT_EQ(blank->getSampleValueUint16(3), 65535);

    QVIPixel background(rgbReader->getPixelProps());
    background.setSampleValuesUint8(uint8_t(200));
    ASSERT_EQ(rgbReader->overrideBackgroundPixel(&background), 0u);
    blank.reset(rgbReader->createBackgroundPixel());
    EXPECT_EQ(blank->getSampleValueUint8(1), 200);
}

TEST(StageImage, SizesAndNaturalRange)
{
    auto reader = makeReader(QVIPixel(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8), 10, 10);
    EXPECT_EQ(reader->getNumBandsWithoutAlpha(), 3);
    EXPECT_EQ(reader->getNominalImageSizeWithoutAlpha(), 300u);
    EXPECT_EQ(reader->getNominalImageSizeWithAlpha(), 400u);
    EXPECT_TRUE(reader->isNaturalDynamicRange());
    QVIPixel minimum(reader->getPixelProps());
    minimum.setSampleValuesUint8(uint8_t(10));
    ASSERT_EQ(reader->overrideDynamicRange(minimum, reader->getMaxDynamicRange()), 0u);
    EXPECT_FALSE(reader->isNaturalDynamicRange());
    EXPECT_EQ(reader->getMinDynamicRange().getSampleValueUint8(2), 10);
}
