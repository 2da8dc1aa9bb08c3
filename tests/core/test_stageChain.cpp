// Ownership and structure of stage chains: reference counting, filters over
// previous stages, the override layers, reader set-up from another image,
// world files and the stage managers' default bodies.
#include <gtest/gtest.h>

#include <fstream>
#include <thread>
#include <vector>

#include "core_testReader.h"
#include "qvi_geoCoord.h"
#include "qvi_imageStageManager.h"
#include "qvi_metadataDatabase.h"
#include "qvi_metadataRecord.h"
#include "qvi_sceneBuffer.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace CoreTest;

namespace {

QVIPixel rgb8()
{
    return QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
}

TestReader* newReader(uint32_t width = 16, uint32_t height = 12)
{
    TestReader* reader = TestReader::create();
    EXPECT_EQ(reader->initialize(rgb8(), width, height, 0.5, 1.0), 0u);
    return reader;
}

// A filter that turns the image gray: its own pixel layers, everything else forwarded.
class GrayFilter : public QVIOverridePixelProps<QVIOverrideBackgroundPixel<QVIImageFilter>> {
public:
    static GrayFilter* create(QVIImageStage* previous)
    {
        auto* filter = new GrayFilter();
        filter->init(previous);
        filter->setPixelProps(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8));
        return filter;
    }
};

QVIMetadataDatabase databaseWith(const char* key, uint32_t value)
{
    QVIMetadataDatabase database;
    EXPECT_EQ(database.add(QVIMetadataRecord(key, QVI_METADATA_DATATYPE_UINT32, &value)), 0u);
    return database;
}

}  // namespace

// ---------------------------------------------------------------------------
// Reference counting

TEST(StageOwnership, ReleasingTheLastStageFreesTheWholeChain)
{
    const int before = liveStages();
    TestReader* reader = newReader();
    PassFilter* first = PassFilter::create(reader);
    GrayFilter* gray = GrayFilter::create(first);
    PassFilter* last = PassFilter::create(gray);
    EXPECT_EQ(reader->getReferenceCount(), 2);
    // The builder drops its own references; the chain keeps itself alive.
    reader->release();
    first->release();
    gray->release();
    EXPECT_EQ(liveStages(), before + 3);
    EXPECT_EQ(last->getWidth(), 16u);
    last->release();
    EXPECT_EQ(liveStages(), before);
}

TEST(StageOwnership, CountsStayExactAcrossThreads)
{
    Ref<TestReader> reader(newReader());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                reader->retain();
                reader->release();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(reader->getReferenceCount(), 1);
}

TEST(StageOwnership, ChangingThePreviousStageMovesTheReference)
{
    const int before = liveStages();
    TestReader* a = newReader(10, 10);
    Ref<TestReader> b(newReader(20, 20));
    Ref<PassFilter> filter(PassFilter::create(a));
    a->release();  // now held by the filter alone
    EXPECT_EQ(filter->changePreviousStage(filter->getPreviousStage()), 0u);
    EXPECT_EQ(liveStages(), before + 3);
    EXPECT_EQ(filter->changePreviousStage(b.get()), 0u);
    EXPECT_EQ(liveStages(), before + 2);  // a is gone
    EXPECT_EQ(b->getReferenceCount(), 2);
    EXPECT_EQ(filter->getWidth(), 20u);
    filter->releasePreviousStageNow();
    EXPECT_EQ(filter->getPreviousStage(), nullptr);
    EXPECT_EQ(b->getReferenceCount(), 1);
    // Without a previous stage a filter answers empty.
    EXPECT_EQ(filter->getWidth(), 0u);
    EXPECT_EQ(filter->getNumBands(), 0);
    EXPECT_EQ(filter->getModifications(QVIScene(0, 0, 1, 1, 1.0)), 0x1u);
    EXPECT_EQ(filter->getMetadata().getIndexCount(), 0u);
    EXPECT_EQ(filter->overrideMetadata(nullptr), 7u);
}


// ---------------------------------------------------------------------------
// Filters

TEST(StageFilter, ForwardsPropertiesDelegatesAndReads)
{
    Ref<TestReader> reader(newReader(16, 12));
    Ref<PassFilter> filter(PassFilter::create(reader.get()));
    EXPECT_EQ(filter->getMinMagnification(), 0.5);
    filter->setStripHeight(5);
    EXPECT_EQ(reader->getStripHeight(), 5u);
    RecordingProgress progress;
    filter->setProgressDelegate(&progress);
    EXPECT_EQ(reader->getProgressDelegate(), &progress);

    const uint16_t selection[2] = {2, 0};
    QVISceneBuffer buffer(QVIPixel(rgb8(), selection, 2), 8, 6);
    const QVIScene scene(0, 0, 8, 6, 0.5);
    ASSERT_EQ(filter->read(scene, buffer), 0u);
    EXPECT_EQ(reader->decodeEndCount, 1);
    EXPECT_EQ(*static_cast<uint8_t*>(buffer.getSample(7, 5, 0)), expectedSample(7, 5, 2, 0.5));
    EXPECT_EQ(*static_cast<uint8_t*>(buffer.getSample(7, 5, 1)), expectedSample(7, 5, 0, 0.5));
    // Both stages report through the shared delegate; each ends at 1.0.
    ASSERT_FALSE(progress.fractions.empty());
    EXPECT_EQ(progress.fractions.back(), 1.0f);
}

TEST(StageFilter, LayeredFilterAnswersItsOwnPropertiesAndForwardsTheRest)
{
    Ref<TestReader> reader(newReader(16, 12));
    Ref<GrayFilter> gray(GrayFilter::create(reader.get()));
    EXPECT_EQ(gray->getColorSpace(), QVI_COLORSPACE_GRAYSCALE);
    EXPECT_EQ(gray->getWidth(), 16u);
    QVIPixel background(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    background.setSampleValueUint8(0, 9);
    ASSERT_EQ(gray->overrideBackgroundPixel(&background), 0u);
    EXPECT_EQ(gray->getBackgroundPixel()->getSampleValueUint8(0), 9);
    EXPECT_EQ(reader->getBackgroundPixel(), nullptr);
}

// ---------------------------------------------------------------------------
// Override layers

TEST(StageLayers, OverriddenBackgroundTakesTheStagesFullLayout)
{
    Ref<TestReader> reader(newReader());
    QVIPixel one(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    one.setSampleValueUint8(0, 42);
    ASSERT_EQ(reader->overrideBackgroundPixel(&one), 0u);
    const QVIPixel* background = reader->getBackgroundPixel();
    EXPECT_EQ(background->getColorSpace(), QVI_COLORSPACE_RGB);
    EXPECT_EQ(background->getSampleValueUint8(2), 42);
    ASSERT_EQ(reader->overrideBackgroundPixel(nullptr), 0u);
    EXPECT_EQ(reader->getBackgroundPixel(), nullptr);

    // The plain setter stores the pixel as given.
    ASSERT_EQ(reader->setNoDataPixel(&one), 0u);
    EXPECT_EQ(reader->getNoDataPixel()->getNumBands(), 1);
}

TEST(StageLayers, PixelPropsResetTheDynamicRangeAndTakeBitsPerSample)
{
    Ref<TestReader> reader(newReader());
    ASSERT_EQ(reader->setPixelProps(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16)), 0u);
    EXPECT_TRUE(reader->getMinDynamicRange().areSampleValuesMin());
    EXPECT_TRUE(reader->getMaxDynamicRange().areSampleValuesMax());
    EXPECT_EQ(reader->getMaxDynamicRange().getSampleValueUint16(1), 65535);
    ASSERT_EQ(reader->overridePixelBPS(12), 0u);
    EXPECT_EQ(reader->getPixelProps().getSample(2).getPrecision(), 12u);
    ASSERT_EQ(reader->overridePixelBPS(0), 0u);
    EXPECT_EQ(reader->getPixelProps().getSample(2).getPrecision(), 12u);

    // The default georeference puts the lower left pixel at the origin.
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(0, 11, 1, -1, 0, 0));
}

TEST(StageLayers, MetadataOverrideReplacesAllRecords)
{
    Ref<TestReader> reader(newReader());
    EXPECT_EQ(reader->getMetadata().getIndexCount(), 0u);
    const uint32_t one = 1;
    ASSERT_EQ(reader->getMetadataDatabase()->add(
                  QVIMetadataRecord("TEST::OWN", QVI_METADATA_DATATYPE_UINT32, &one)),
              0u);
    const QVIMetadataDatabase other = databaseWith("TEST::OTHER", 7);
    ASSERT_EQ(reader->overrideMetadata(&other), 0u);
    EXPECT_EQ(reader->getMetadata().getIndexCount(), 1u);
    EXPECT_TRUE(reader->getMetadata().has("TEST::OTHER"));
    EXPECT_FALSE(reader->getMetadata().has("TEST::OWN"));
    ASSERT_EQ(reader->overrideMetadata(nullptr), 0u);
    EXPECT_EQ(reader->getMetadata().getIndexCount(), 0u);
}

TEST(StageLayers, ReaderInitCopiesEveryPropertyOfAnImage)
{
    Ref<TestReader> source(newReader(16, 12));
    QVIPixel background(rgb8());
    background.setSampleValuesUint8(uint8_t(3));
    source->setBackgroundPixel(&background);
    source->setNoDataPixel(&background);
    QVIPixelLookupTable table(rgb8(), 2);
    source->setPixelLookupTable(&table);
    source->setGeoCoord(QVIGeoCoord(1, 2, 3, -4, 0, 0));
    source->setIsSelective(false);
    const QVIMetadataDatabase records = databaseWith("TEST::A", 5);
    source->createMetadata(&records);

    Ref<TestReader> copy(TestReader::create());
    ASSERT_EQ(copy->init(source.get()), 0u);
    EXPECT_EQ(copy->getHeight(), 12u);
    EXPECT_EQ(copy->getPixelProps().checkImpedance(source->getPixelProps()), 0u);
    EXPECT_EQ(copy->getBackgroundPixel()->getSampleValueUint8(2), 3);
    EXPECT_NE(copy->getNoDataPixel(), nullptr);
    EXPECT_NE(copy->getPixelLookupTable(), nullptr);
    EXPECT_EQ(copy->getGeoCoord(), source->getGeoCoord());
    EXPECT_FALSE(copy->isGeoCoordImplicit());
    EXPECT_EQ(copy->getMinMagnification(), 0.5);
    EXPECT_TRUE(copy->getMetadata().has("TEST::A"));
    // Strip height and selectivity are the reader's own, not properties of the image.
    EXPECT_EQ(copy->getStripHeight(), 16u);
    EXPECT_TRUE(copy->isSelective());

    // An implicit georeference is re-made from the copy's own height.
    Ref<TestReader> plain(newReader(8, 30));
    Ref<TestReader> plainCopy(TestReader::create());
    ASSERT_EQ(plainCopy->init(plain.get()), 0u);
    EXPECT_TRUE(plainCopy->isGeoCoordImplicit());
    EXPECT_EQ(plainCopy->getGeoCoord().getY(), 29.0);
}

TEST(StageLayers, LoadedMetadataSetsPixelAndNaturalRange)
{
    Ref<TestReader> reader(newReader());
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_SINT16);
    QVIMetadataDatabase database;
    ASSERT_EQ(reader->loadMetadataIntoObjects(database, pixel, true, false), 0u);
    EXPECT_EQ(reader->getNumBands(), 1);
    EXPECT_EQ(reader->getMinDynamicRange().getSampleValueSint16(0), -32768);
    EXPECT_EQ(reader->getMaxDynamicRange().getSampleValueSint16(0), 32767);
}

// ---------------------------------------------------------------------------
// World files

TEST(StageWorldFile, StreamUpdatesTheGeoreferenceAndKeepsItsWKT)
{
    Ref<TestReader> reader(newReader());
    QVIGeoCoord withWkt(0, 0, 1, -1, 0, 0, "LOCAL_CS[\"test\"]");
    ASSERT_EQ(reader->setGeoCoord(withWkt), 0u);
    const std::string text = "2.0\n0.0\n0.0\n-2.0\n100.0\n200.0\n";
    VectorStream stream(std::vector<uint8_t>(text.begin(), text.end()));
    bool found = true;

    ASSERT_EQ(reader->init(false), 0u);
    EXPECT_EQ(reader->readWorldFile(stream, found, true), 0u);
    EXPECT_FALSE(found);
    EXPECT_EQ(stream.position, 0u);

    ASSERT_EQ(reader->readWorldFile(stream, found, false), 0u);
    EXPECT_TRUE(found);
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(100, 200, 2, -2, 0, 0, "LOCAL_CS[\"test\"]"));
    EXPECT_FALSE(reader->isGeoCoordImplicit());
}

TEST(StageWorldFile, FileBesideTheImageIsFoundBySuffix)
{
    const std::string dir = TestPaths::tempDir("stageWorldFile");
    std::ofstream(dir + "/image.tif") << "x";
    std::ofstream(dir + "/image.tfw") << "0.5\n0\n0\n-0.5\n10\n20\n";
    Ref<TestReader> reader(newReader());
    bool found = false;
    ASSERT_EQ(reader->readWorldFile(QVFileSpec(dir + "/image.tif"), found, true), 0u);
    EXPECT_TRUE(found);
    EXPECT_EQ(reader->getGeoCoord().getXRes(), 0.5);
    EXPECT_EQ(reader->getGeoCoord().getY(), 20.0);

    ASSERT_EQ(reader->readWorldFile(QVFileSpec(dir + "/other.tif"), found, true), 0u);
    EXPECT_FALSE(found);
    EXPECT_EQ(reader->getGeoCoord().getY(), 20.0);
}

// ---------------------------------------------------------------------------
// Stage managers

namespace {

// Hands out readers for the indices it has, by the pointer form.
class PointerFormManager : public QVIImageStageManager {
public:
    using QVIImageStageManager::createImageStage;
    QVIImageStage* createImageStage(uint32_t index) override
    {
        return index < getNumImages() ? newReader(10 + index, 10) : nullptr;
    }
};

// Fills the stage even when it fails, to show the pointer form releases it.
class StatusFormManager : public QVIImageStageManager {
public:
    using QVIImageStageManager::createImageStage;
    QVStatus createImageStage(uint32_t index, QVIImageStage*& stage) override
    {
        stage = newReader();
        return index == 0 ? 0 : 2001;
    }
};

class NamedManager : public QVIImageStageManager2 {
public:
    using QVIImageStageManager2::getImageName;
    using QVIImageStageManager2::getSupportFileBaseName;
    QVStatus getImageName(uint32_t index, QVFileSpec& fileSpec) override
    {
        if (index > 0)
            return 3;
        fileSpec = QVFileSpec("tile0.xr3");
        return 0;
    }
    QVFileSpec* getSupportFileBaseName(uint32_t index) override
    {
        return index == 0 ? new QVFileSpec("tile0") : nullptr;
    }
};

}  // namespace

TEST(StageManager, PointerFormServesTheOtherDefaults)
{
    const int before = liveStages();
    Ref<PointerFormManager> manager(new PointerFormManager());
    manager->setNumImages(2);
    QVIImage* image = nullptr;
    ASSERT_EQ(manager->createImageProps(1, image), 0u);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getWidth(), 11u);
    image->release();
    QVIImageStage* stage = reinterpret_cast<QVIImageStage*>(&image);
    EXPECT_EQ(manager->createImageStage(2, stage), 1u);
    EXPECT_EQ(stage, nullptr);
    EXPECT_EQ(manager->createOverviewImageStage(stage), 0u);
    EXPECT_EQ(stage, nullptr);
    EXPECT_EQ(liveStages(), before);
}

TEST(StageManager, StatusFormServesThePointerFormAndNamePairsEachOther)
{
    const int before = liveStages();
    Ref<StatusFormManager> statusForm(new StatusFormManager());
    EXPECT_NE(Ref<QVIImageStage>(statusForm->createImageStage(0)), nullptr);
    EXPECT_EQ(statusForm->createImageStage(1), nullptr);
    EXPECT_EQ(liveStages(), before);

    Ref<NamedManager> manager(new NamedManager());
    std::unique_ptr<QVFileSpec> name(manager->getImageName(0));
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->getPath(), "tile0.xr3");
    EXPECT_EQ(manager->getImageName(1), nullptr);
    QVFileSpec base;
    ASSERT_EQ(manager->getSupportFileBaseName(0, base), 0u);
    EXPECT_EQ(base.getPath(), "tile0");
    EXPECT_EQ(manager->getSupportFileBaseName(1, base), 1u);
    manager->setNumImages(3);
    EXPECT_EQ(manager->getNumImages(), 3u);
}
