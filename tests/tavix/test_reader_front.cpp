// The wavelet reader front: the generation of the first 8 bytes, the tile
// table of the stage manager, the readers it makes, and the statuses of
// files it can't present.
#include <gtest/gtest.h>

#include "qv_statusCodes.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"
#include "tavix_singleImageReader.h"
#include "xr3_container.h"

namespace {

using namespace ReaderTest;

struct Generation {
    QVStatus status = 0;
    uint32_t generation = 0;
    bool isRaster = false;
};

Generation generationOf(std::vector<uint8_t> bytes) {
    Generation g;
    g.status = TavixImageReaderInterface::getTavixGeneration(bytes.data(), g.generation, g.isRaster);
    return g;
}

std::vector<uint8_t> header(uint8_t b4, uint8_t b5, uint8_t b6 = 0, uint8_t b7 = 'a') {
    return {'t', 'v', 'x', 'd', b4, b5, b6, b7};
}

TEST(TavixGeneration, VersionBytesNameTheGeneration) {
    struct Row {
        std::vector<uint8_t> bytes;
        QVStatus status;
        uint32_t generation;
        bool isRaster;
    };
    // Major 1 and 2 are the second generation; under major 3 a minor of 4 or
    // more is the fourth; major 4 holds points, not rasters.
    const Row rows[] = {
        {header(1, 0), 0, 2, true},       {header(2, 0), 0, 2, true},
        {header(3, 0, 26, 'u'), 0, 3, true}, {header(3, 3), 0, 3, true},
        {header(3, 4), 0, 4, true},       {header(3, 5), 0, 4, true},
        {header(3, 200), 0, 4, true},     {header(4, 0), 0, 4, false},
        {{'t', 'v', 'x', 'e', 3, 4, 0, 'a'}, 50607, 0, false},
        {{'T', 'V', 'X', 'D', 3, 4, 0, 'a'}, 50607, 0, false},
        {header(0, 0), 50614, 0, false},  {header(5, 0), 50614, 0, false},
        {header(255, 0), 50614, 0, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(testing::Message() << int(r.bytes[3]) << " " << int(r.bytes[4]) << " " << int(r.bytes[5]));
        const Generation g = generationOf(r.bytes);
        EXPECT_EQ(r.status, g.status);
        if (r.status) continue;
        EXPECT_EQ(r.generation, g.generation);
        EXPECT_EQ(r.isRaster, g.isRaster);
    }
}

TEST(TavixGeneration, StreamFormRestoresThePositionAndNeedsEightBytes) {
    std::vector<uint8_t> bytes = header(3, 4, 0, 'a');
    bytes.push_back(0x77);
    MemFile file(bytes);
    ASSERT_EQ(0u, file.stream->seek(5, QVIO_SEEK_BEGIN));
    uint32_t generation = 0;
    bool isRaster = false;
    ASSERT_EQ(0u, TavixImageReaderInterface::getTavixGeneration(*file.stream, generation, isRaster));
    EXPECT_EQ(4u, generation);
    EXPECT_EQ(0, file.stream->tell());

    MemFile shortFile(std::vector<uint8_t>{'t', 'v', 'x', 'd', 3, 4, 0});
    EXPECT_EQ(50607u, TavixImageReaderInterface::getTavixGeneration(*shortFile.stream, generation, isRaster));
    MemFile empty(std::vector<uint8_t>{});
    EXPECT_EQ(50607u, TavixImageReaderInterface::getTavixGeneration(*empty.stream, generation, isRaster));
    EXPECT_NE(0u, TavixImageReaderInterface::getTavixGeneration(QVFileSpec("/nonexistent/dir/x.xr4"), generation,
                                                                isRaster));
}

// ---------------------------------------------------------------------------
// The stage manager

struct ManagerHolder {
    TavixImageStageManager* manager = TavixImageStageManager::create();
    ~ManagerHolder() { manager->release(); }
};

TEST(TavixManager, StatusesOfStreamsItCannotServe) {
    ManagerHolder none;
    EXPECT_EQ(3u, none.manager->initialize(static_cast<QVIOStreamInf*>(nullptr)));

    ManagerHolder missing;
    EXPECT_EQ(50613u, missing.manager->initialize(QVFileSpec("/nonexistent/dir/x.xr4")));

    ManagerHolder tiny;
    MemFile shortFile(std::vector<uint8_t>{'t', 'v', 'x'});
    EXPECT_EQ(50607u, tiny.manager->initialize(shortFile.stream.get()));

    ManagerHolder points;
    MemFile pointFile(header(4, 0));
    EXPECT_EQ(50617u, points.manager->initialize(pointFile.stream.get()));

    ManagerHolder unknown;
    MemFile unknownFile(header(7, 0));
    EXPECT_EQ(50614u, unknown.manager->initialize(unknownFile.stream.get()));

    // A known generation whose version the container refuses.
    ManagerHolder badVersion;
    MemFile badVersionFile(header(3, 0, 26, 'p'));
    EXPECT_EQ(2006u, badVersion.manager->initialize(badVersionFile.stream.get()));
}

TEST(TavixManager, PlainXR2FileIsOneXR2TileWithoutContainer) {
    ManagerHolder holder;
    std::vector<uint8_t> bytes = header(2, 0);
    bytes.resize(64, 0);
    MemFile file(bytes);
    ASSERT_EQ(0u, holder.manager->initialize(file.stream.get()));
    EXPECT_EQ(nullptr, holder.manager->getContainer());
    ASSERT_EQ(1u, holder.manager->getNumImages());
    EXPECT_EQ(TAVIX_TILE_XR2, holder.manager->getTileInfo(0)->kind);
    EXPECT_EQ(0u, holder.manager->getTileInfo(0)->imageNumber);
    EXPECT_TRUE(holder.manager->hasXR2Tiles());
    EXPECT_FALSE(holder.manager->hasXR3Tiles());
    QVIImageStage* stage = nullptr;
    EXPECT_EQ(kStsTavixNotImplemented, holder.manager->createImageStage(0, stage));
    EXPECT_EQ(nullptr, stage);
}

TEST(TavixManager, SingleXR4ImageMakesAnXR4ReaderAndRecordsItsFacts) {
    ImagePart image = emptyImage(70, 50, 2, 3, 16, 5);
    image.options.hasMSE = true;
    MemFile file(writeFile(XR3Version::getXR4Version(), {image}));
    ManagerHolder holder;
    ASSERT_EQ(0u, holder.manager->initialize(file.stream.get()));
    ASSERT_EQ(1u, holder.manager->getNumImages());
    const TavixImageStageManager::TileInfo* tile = holder.manager->getTileInfo(0);
    EXPECT_EQ(5u, tile->imageNumber);
    EXPECT_EQ(TAVIX_TILE_XR4, tile->kind);
    EXPECT_FALSE(tile->hasReaderInfo);
    EXPECT_EQ(nullptr, holder.manager->getTileInfo(1));
    EXPECT_EQ(0, std::memcmp(file.bytes.data(), holder.manager->getTavixVersion(), 8));

    holder.manager->setMaxWorkerThreads(3);
    QVIImageStage* stage = nullptr;
    ASSERT_EQ(0u, holder.manager->createImageStage(0, stage));
    auto* reader = dynamic_cast<XR4SingleImageReader*>(stage);
    ASSERT_NE(nullptr, reader);
    EXPECT_EQ(3, reader->getMaxWorkerThreads());
    EXPECT_EQ(holder.manager, reader->getManager());
    tile = holder.manager->getTileInfo(0);
    EXPECT_TRUE(tile->hasReaderInfo);
    EXPECT_EQ(2u, tile->numLevels);
    EXPECT_EQ(16u, tile->blockSize);
    EXPECT_TRUE(tile->isOptimizable);
    EXPECT_FALSE(tile->isLocked);
    EXPECT_TRUE(holder.manager->isOptimizable());
    stage->release();

    uint32_t index = 99;
    EXPECT_EQ(0u, holder.manager->findTileId(5, index));
    EXPECT_EQ(0u, index);
    EXPECT_EQ(3u, holder.manager->findTileId(4, index));
    EXPECT_EQ(3u, holder.manager->createImageStage(1, stage));
    EXPECT_EQ(nullptr, holder.manager->createImageStage(7));
}

TEST(TavixManager, XR3ImagesCanBeReadThroughTheXR4Reader) {
    MemFile file(writeFile(XR3Version::getAlphaVersion(), {emptyImage(40, 40, 1, 1, 16)}));
    ManagerHolder holder;
    ASSERT_EQ(0u, holder.manager->initialize(file.stream.get()));
    EXPECT_EQ(TAVIX_TILE_XR3, holder.manager->getTileInfo(0)->kind);
    EXPECT_TRUE(holder.manager->hasXR3Tiles());
    EXPECT_FALSE(holder.manager->hasXR4Tiles());
    TavixSingleImageReaderBase* reader = nullptr;
    ASSERT_EQ(0u, holder.manager->createTileReader(0, reader));
    EXPECT_EQ(TAVIX_TILE_XR3, reader->getKind());
    EXPECT_EQ(nullptr, dynamic_cast<XR4SingleImageReader*>(reader));
    reader->release();

    holder.manager->treatXR3asXR4();
    EXPECT_EQ(TAVIX_TILE_XR4, holder.manager->getTileInfo(0)->kind);
    EXPECT_FALSE(holder.manager->hasXR3Tiles());
    EXPECT_TRUE(holder.manager->hasXR4Tiles());
    ASSERT_EQ(0u, holder.manager->createTileReader(0, reader));
    EXPECT_NE(nullptr, dynamic_cast<XR4SingleImageReader*>(reader));
    reader->release();
}

TEST(TavixManager, OverviewOnlyContainerHasNoTiles) {
    MemFile file(writeFile(XR3Version::getXR4Version(), {emptyImage(40, 30, 1, 1, 16, 9)}, {},
                           IndexKind::Major1Measured, 9));
    ManagerHolder holder;
    ASSERT_EQ(0u, holder.manager->initialize(file.stream.get()));
    EXPECT_EQ(0u, holder.manager->getNumImages());
    ASSERT_TRUE(holder.manager->hasOverviewImage());
    EXPECT_EQ(9u, holder.manager->getOverviewInfo()->imageNumber);
    QVIImageStage* overview = nullptr;
    ASSERT_EQ(0u, holder.manager->createOverviewImageStage(overview));
    ASSERT_NE(nullptr, overview);
    EXPECT_EQ(40u, overview->getWidth());
    EXPECT_TRUE(holder.manager->getOverviewInfo()->hasReaderInfo);
    overview->release();
    QVIImageStage* stage = nullptr;
    EXPECT_EQ(3u, holder.manager->createImageStage(0, stage));
}

TEST(TavixManager, ContainerWithoutOverviewAnswersNone) {
    MemFile file(writeFile(XR3Version::getXR4Version(), {emptyImage(40, 30, 1, 1, 16)}));
    ManagerHolder holder;
    ASSERT_EQ(0u, holder.manager->initialize(file.stream.get()));
    EXPECT_FALSE(holder.manager->hasOverviewImage());
    EXPECT_EQ(nullptr, holder.manager->getOverviewInfo());
    QVIImageStage* overview = reinterpret_cast<QVIImageStage*>(1);
    EXPECT_EQ(0u, holder.manager->createOverviewImageStage(overview));
    EXPECT_EQ(nullptr, overview);
}

TEST(TavixManager, XR2PacketBesideAnXR3ImageMakesAMixedMosaic) {
    std::vector<std::unique_ptr<XR3Packet>> extras;
    extras.push_back(makeRawPacket(XR3PacketType(XR3_PACKET_XR2, 0, 0, 1, 0, 0), {'x', 'r', '2', 0}));
    MemFile file(writeFile(XR3Version::getTiledVersion2(), {emptyImage(40, 30, 1, 1, 16, 0)}, std::move(extras)));
    ManagerHolder holder;
    ASSERT_EQ(0u, holder.manager->initialize(file.stream.get()));
    EXPECT_EQ(2u, holder.manager->getNumImages());
    EXPECT_TRUE(holder.manager->hasXR2Tiles());
    EXPECT_TRUE(holder.manager->hasXR3Tiles());
    EXPECT_TRUE(holder.manager->getContainer()->isMosaic());
    uint32_t xr2Tile = 0;
    ASSERT_EQ(0u, holder.manager->findTileId(1, xr2Tile));
    EXPECT_EQ(TAVIX_TILE_XR2, holder.manager->getTileInfo(xr2Tile)->kind);
    QVIImageStage* stage = nullptr;
    EXPECT_EQ(kStsTavixNotImplemented, holder.manager->createImageStage(xr2Tile, stage));

    TavixImageReader* reader = TavixImageReader::create();
    EXPECT_EQ(kStsTavixNotImplemented, reader->initialize(file.stream.get()));
    reader->release();
}

// Full position tables of this image take 8 * bands * 32 * subblocks bytes
// and more: 2^28 and the fixed part cross the limit of a default usage.
TEST(TavixManager, LargeFullTablesTurnADefaultUsageSmall) {
    ManagerHolder small;
    MemFile smallFile(writeFile(XR3Version::getXR4Version(), {emptyImage(64, 64, 1, 1, 16)}));
    ASSERT_EQ(0u, small.manager->initialize(smallFile.stream.get()));
    EXPECT_EQ(TAVIX_MEMORY_USAGE_DEFAULT, small.manager->getMemoryUsage());

    // 4096 x 4096 in subblocks of 16 without levels: 65536 subblocks of 16 bands.
    ManagerHolder large;
    MemFile largeFile(writeFile(XR3Version::getXR4Version(), {emptyImage(4096, 4096, 0, 16, 16)}));
    ASSERT_EQ(0u, large.manager->initialize(largeFile.stream.get()));
    EXPECT_EQ(TAVIX_MEMORY_USAGE_SMALL, large.manager->getMemoryUsage());

    ManagerHolder chosen;
    ASSERT_EQ(0u, chosen.manager->initialize(largeFile.stream.get(), TAVIX_MEMORY_USAGE_FULL));
    EXPECT_EQ(TAVIX_MEMORY_USAGE_FULL, chosen.manager->getMemoryUsage());
}

// ---------------------------------------------------------------------------
// The reader front

TEST(TavixReaderFront, SingleImageFileIsAFilterOverItsReader) {
    MemFile file(writeFile(XR3Version::getXR4Version(), {emptyImage(70, 50, 2, 3, 16)}));
    TavixImageReader* reader = TavixImageReader::create();
    ASSERT_EQ(0u, reader->initialize(file.stream.get()));
    EXPECT_EQ(70u, reader->getWidth());
    EXPECT_EQ(50u, reader->getHeight());
    EXPECT_EQ(2u, reader->getNumLevels());
    EXPECT_FALSE(reader->isLocked());
    EXPECT_EQ(64u, reader->getStripHeight());
    ASSERT_NE(nullptr, reader->getXR4ImageReader());
    EXPECT_EQ(nullptr, reader->getXR3ImageReader());
    EXPECT_EQ(nullptr, reader->getXR2ImageReader());
    EXPECT_EQ(nullptr, reader->getMosaicFilter());
    EXPECT_EQ(reader->getXR4ImageReader(), reader->getPreviousStage());
    ASSERT_NE(nullptr, reader->getManager());
    EXPECT_EQ(1u, reader->getManager()->getNumImages());
    EXPECT_EQ(0, std::memcmp(file.bytes.data(), reader->getHeaderBytes(), 8));

    reader->setMaxWorkerThreads(2);
    EXPECT_EQ(2, reader->getMaxWorkerThreads());
    EXPECT_EQ(2, reader->getXR4ImageReader()->getMaxWorkerThreads());
    EXPECT_EQ(2, reader->getManager()->getMaxWorkerThreads());

    // Without a modification record the file tells nothing of its encoding.
    const QVIScene whole(0, 0, 70, 50, 1.0);
    EXPECT_EQ(1u, reader->getModifications(whole));
    EXPECT_EQ(reader->getXR4ImageReader()->getEncodingCost(whole), reader->getEncodingCost(whole));
    reader->release();
}

TEST(TavixReaderFront, XR3FileGivesAnXR3Reader) {
    MemFile file(writeFile(XR3Version::getSignedDataVersion(), {emptyImage(33, 20, 1, 1, 8)}));
    TavixImageReader* reader = TavixImageReader::create();
    ASSERT_EQ(0u, reader->initialize(file.stream.get()));
    ASSERT_NE(nullptr, reader->getXR3ImageReader());
    EXPECT_EQ(nullptr, reader->getXR4ImageReader());
    EXPECT_EQ(64u, reader->getStripHeight());
    reader->release();

    XR3SingleImageReader* single = XR3SingleImageReader::create();
    ASSERT_EQ(0u, single->initialize(file.stream.get(), 0));
    EXPECT_EQ(16u, single->getStripHeight());
    single->release();
}

TEST(TavixReaderFront, FilesWithoutAnImageOrWithSeveralAreRefused) {
    MemFile bare(header(3, 4, 0, 'a'));
    TavixImageReader* reader = TavixImageReader::create();
    EXPECT_EQ(kStsTavixInvalidFileFormat, reader->initialize(bare.stream.get()));
    reader->release();

    MemFile two(writeFile(XR3Version::getXR4Version(),
                          {emptyImage(20, 20, 1, 1, 16, 0), emptyImage(20, 20, 1, 1, 16, 1)}));
    reader = TavixImageReader::create();
    EXPECT_EQ(kStsTavixNotImplemented, reader->initialize(two.stream.get()));
    reader->release();

    reader = TavixImageReader::create();
    EXPECT_EQ(3u, reader->initialize(static_cast<QVIOStreamInf*>(nullptr)));
    reader->release();
}

}  // namespace
