#include "tavix_imageReader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "qv_ioFileStream.h"
#include "qv_ioStreamUtils.h"
#include "qv_statusCodes.h"
#include "qvi_geoCoord.h"
#include "tavix_singleImageReader.h"
#include "xr3_container.h"
#include "xr3_imageInfo.h"
#include "xr3_planeSource.h"

namespace Orvanetics {

namespace {

constexpr uint8_t kMagic[4] = {'t', 'v', 'x', 'd'};
// A sum of full tables from which a default memory usage turns small.
constexpr uint64_t kLargeMosaicTableMemory = 0x10000001;

}  // namespace

// ---------------------------------------------------------------------------
// TavixImageReaderInterface

QVStatus TavixImageReaderInterface::getTavixGeneration(const uint8_t* bytes, uint32_t& generation,
                                                       bool& isRaster)
{
    if (bytes == nullptr || std::memcmp(bytes, kMagic, sizeof kMagic) != 0)
        return xr3Fail(kStsTavixInvalidFileFormat);
    switch (bytes[4]) {
    case 1:
    case 2:
        generation = 2;
        isRaster = true;
        return 0;
    case 3:
        generation = bytes[5] < 4 ? 3 : 4;
        isRaster = true;
        return 0;
    case 4:
        generation = 4;
        isRaster = false;
        return 0;
    default:
        return xr3Fail(kStsTavixUnsupportedVersion);
    }
}

QVStatus TavixImageReaderInterface::readHeaderBytes(QVIOStreamInf& stream, uint8_t* bytes)
{
    if (!stream.isOpen()) {
        if (const QVStatus status = stream.open())
            return status;
    }
    if (const QVStatus status = stream.seek(0, QVIO_SEEK_BEGIN))
        return status;
    const uint32_t count = stream.read(bytes, kHeaderLength);
    const QVStatus readError = count < kHeaderLength ? stream.getLastError() : 0;
    const QVStatus seekStatus = stream.seek(0, QVIO_SEEK_BEGIN);
    if (count < kHeaderLength)
        return readError != 0 ? readError : xr3Fail(kStsTavixInvalidFileFormat);
    return seekStatus;
}

QVStatus TavixImageReaderInterface::getTavixGeneration(QVIOStreamInf& stream, uint32_t& generation,
                                                       bool& isRaster)
{
    uint8_t bytes[kHeaderLength];
    if (const QVStatus status = readHeaderBytes(stream, bytes))
        return status;
    return getTavixGeneration(bytes, generation, isRaster);
}

QVStatus TavixImageReaderInterface::getTavixGeneration(const QVFileSpec& fileSpec, uint32_t& generation,
                                                       bool& isRaster)
{
    QVIOStreamInf* stream = QVIOStreamUtils::openFileStream(fileSpec, "rb");
    if (stream == nullptr)
        return xr3Fail(QVI_STS_Core_OpenError);
    const QVStatus status = getTavixGeneration(*stream, generation, isRaster);
    QVIOStreamUtils::closeStream(stream);
    return status;
}

QVStatus TavixImageReaderInterface::initInterface(const uint8_t* headerBytes, TavixMemoryUsage memoryUsage,
                                                  TavixStreamUsage streamUsage)
{
    uint32_t generation = 0;
    bool isRaster = false;
    if (const QVStatus status = getTavixGeneration(headerBytes, generation, isRaster))
        return status;
    std::memcpy(m_headerBytes, headerBytes, kHeaderLength);
    m_memoryUsage = memoryUsage;
    m_streamUsage = streamUsage;
    return 0;
}

// ---------------------------------------------------------------------------
// TavixImageStageManager: opening

TavixImageStageManager* TavixImageStageManager::create()
{
    return new (std::nothrow) TavixImageStageManager();
}

TavixImageStageManager::~TavixImageStageManager()
{
    // The container refers to the stream, so it goes first.
    m_container.reset();
    m_ownedStream.reset();
}

QVStatus TavixImageStageManager::initialize(const QVFileSpec& fileSpec, TavixMemoryUsage memoryUsage,
                                            TavixStreamUsage streamUsage)
{
    m_ownedStream.reset(QVIOStreamUtils::openFileStream(fileSpec, "rb"));
    if (!m_ownedStream) {
        QVUtilStatusData::pushBegin(QVI_STS_TavixReader_CannotOpenFile);
        QVUtilStatusData::pushFileSpec(fileSpec);
        QVUtilStatusData::pushEnd();
        return QVI_STS_TavixReader_CannotOpenFile;
    }
    return initialize(m_ownedStream.get(), memoryUsage, streamUsage);
}

QVStatus TavixImageStageManager::initialize(QVIOStreamInf* stream, TavixMemoryUsage memoryUsage,
                                            TavixStreamUsage streamUsage)
{
    if (stream == nullptr)
        return xr3Fail(QVI_STS_BadParam);
    if (const QVStatus status = TavixImageReaderInterface::readHeaderBytes(*stream, m_headerBytes))
        return status;
    m_stream = stream;
    uint32_t generation = 0;
    bool isRaster = false;
    if (const QVStatus status = TavixImageReaderInterface::getTavixGeneration(m_headerBytes, generation, isRaster))
        return status;
    if (generation == 2)
        return init(1, memoryUsage, streamUsage);
    if (!isRaster)
        return xr3Fail(kStsTavixNotRaster);
    m_container.reset(new (std::nothrow)
                          XR3FileSimpleContainer(*stream, streamUsage == TAVIX_STREAM_USAGE_ALWAYS_OPEN));
    if (!m_container)
        return xr3Fail(QVI_STS_OutOfMemory);
    if (const QVStatus status = m_container->initialize())
        return status;
    return init(uint32_t(m_container->getImageList().size()), memoryUsage, streamUsage);
}

QVStatus TavixImageStageManager::init(uint32_t numImages, TavixMemoryUsage memoryUsage,
                                      TavixStreamUsage streamUsage)
{
    m_memoryUsage = memoryUsage;
    m_streamUsage = streamUsage;
    m_tiles.clear();
    m_hasOverview = false;
    try {
        m_tiles.reserve(numImages);
        if (!m_container) {
            m_tiles.push_back(TileInfo{0, TAVIX_TILE_XR2});
        } else {
            for (const XR3ImageDesc& desc : m_container->getImageList()) {
                if (const QVStatus status = addTile(desc.number, desc.type))
                    return status;
            }
        }
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_OutOfMemory);
    }
    updateKindFlags();
    setNumImages(uint32_t(m_tiles.size()));
    return updateMemoryModel();
}

QVStatus TavixImageStageManager::addTile(uint32_t imageNumber, uint32_t imageType)
{
    TileInfo tile;
    tile.imageNumber = imageNumber;
    switch (imageType) {
    case XR3_IMAGETYPE_XR2: tile.kind = TAVIX_TILE_XR2; break;
    case XR3_IMAGETYPE_XR3: tile.kind = TAVIX_TILE_XR3; break;
    case XR3_IMAGETYPE_XR4: tile.kind = TAVIX_TILE_XR4; break;
    default: return xr3Fail(kStsTavixUnknownTileFormat);
    }
    if (m_container->hasOverviewImage() && imageNumber == m_container->getOverviewImageNumber()) {
        m_overview = tile;
        m_hasOverview = true;
    } else {
        m_tiles.push_back(tile);
    }
    return 0;
}

void TavixImageStageManager::updateKindFlags()
{
    const auto hasKind = [this](TavixTileKind kind) {
        return std::any_of(m_tiles.begin(), m_tiles.end(), [kind](const TileInfo& t) { return t.kind == kind; });
    };
    m_hasXR2Tiles = hasKind(TAVIX_TILE_XR2);
    m_hasXR3Tiles = hasKind(TAVIX_TILE_XR3);
    m_hasXR4Tiles = hasKind(TAVIX_TILE_XR4);
}

QVStatus TavixImageStageManager::updateMemoryModel()
{
    if (m_memoryUsage != TAVIX_MEMORY_USAGE_DEFAULT || !m_container)
        return 0;
    if (const QVStatus status = m_container->openStream())
        return status;
    uint64_t total = 0;
    QVStatus status = 0;
    for (const XR3ImageDesc& desc : m_container->getImageList()) {
        if (desc.type == XR3_IMAGETYPE_XR2)
            continue;
        if (desc.type != XR3_IMAGETYPE_XR3 && desc.type != XR3_IMAGETYPE_XR4) {
            status = xr3Fail(kStsTavixUnknownTileFormat);
            break;
        }
        uint64_t usage = 0;
        if ((status = XR3FileSimplePlaneSource::getMemoryUsageForFullTable(*m_container, desc.number, usage)) != 0)
            break;
        total += usage;
    }
    const QVStatus closeStatus = m_container->closeStream();
    if (status != 0)
        return status;
    if (total >= kLargeMosaicTableMemory)
        m_memoryUsage = TAVIX_MEMORY_USAGE_SMALL;
    return closeStatus;
}

void TavixImageStageManager::treatXR3asXR4()
{
    for (TileInfo& tile : m_tiles) {
        if (tile.kind == TAVIX_TILE_XR3)
            tile.kind = TAVIX_TILE_XR4;
    }
    if (m_hasOverview && m_overview.kind == TAVIX_TILE_XR3)
        m_overview.kind = TAVIX_TILE_XR4;
    updateKindFlags();
}

// ---------------------------------------------------------------------------
// TavixImageStageManager: tiles and readers

const TavixImageStageManager::TileInfo* TavixImageStageManager::getTileInfo(uint32_t index) const
{
    return index < m_tiles.size() ? &m_tiles[index] : nullptr;
}

QVStatus TavixImageStageManager::findTileId(uint32_t imageNumber, uint32_t& index) const
{
    for (uint32_t i = 0; i < m_tiles.size(); ++i) {
        if (m_tiles[i].imageNumber == imageNumber) {
            index = i;
            return 0;
        }
    }
    return xr3Fail(QVI_STS_BadParam);
}

bool TavixImageStageManager::isOptimizable() const
{
    bool anyKnown = false;
    for (const TileInfo& tile : m_tiles) {
        if (!tile.hasReaderInfo)
            continue;
        if (!tile.isOptimizable)
            return false;
        anyKnown = true;
    }
    return anyKnown;
}

QVStatus TavixImageStageManager::createImageStage(uint32_t index, QVIImageStage*& stage)
{
    TavixSingleImageReaderBase* reader = nullptr;
    const QVStatus status = createTileReader(index, reader);
    stage = reader;
    return status;
}

QVStatus TavixImageStageManager::createOverviewImageStage(QVIImageStage*& stage)
{
    TavixSingleImageReaderBase* reader = nullptr;
    const QVStatus status = createOverviewReader(reader);
    stage = reader;
    return status;
}

QVStatus TavixImageStageManager::createTileReader(uint32_t index, TavixSingleImageReaderBase*& reader)
{
    reader = nullptr;
    if (index >= m_tiles.size())
        return xr3Fail(QVI_STS_BadParam);
    return createReaderFor(m_tiles[index], reader);
}

QVStatus TavixImageStageManager::createOverviewReader(TavixSingleImageReaderBase*& reader)
{
    reader = nullptr;
    if (!m_hasOverview)
        return 0;
    return createReaderFor(m_overview, reader);
}

QVStatus TavixImageStageManager::createReaderFor(TileInfo& tile, TavixSingleImageReaderBase*& reader)
{
    QVStatus status = 0;
    switch (tile.kind) {
    case TAVIX_TILE_XR4: status = createXR4Reader(tile, reader); break;
    case TAVIX_TILE_XR3: status = createXR3Reader(tile, reader); break;
    case TAVIX_TILE_XR2: status = createXR2Reader(tile, reader); break;
    default: return xr3Fail(kStsTavixUnknownTileFormat);
    }
    if (status != 0)
        return status;
    tile.isOptimizable = reader->isOptimizable();
    tile.blockSize = reader->getBlockSize();
    tile.numLevels = reader->getNumLevels();
    tile.isLocked = reader->isLocked();
    tile.hasReaderInfo = true;
    reader->setMaxWorkerThreads(m_numThreads);
    return 0;
}

QVStatus TavixImageStageManager::createXR2Reader(const TileInfo&, TavixSingleImageReaderBase*& reader)
{
    // XR2 images are read by a reader of their own, which this library does not have yet.
    reader = nullptr;
    return xr3Fail(kStsTavixNotImplemented);
}

namespace {

template <class Reader>
QVStatus createSingleReader(TavixImageStageManager* manager, const TavixImageStageManager::TileInfo& tile,
                            TavixSingleImageReaderBase*& reader)
{
    Reader* created = Reader::create();
    if (created == nullptr)
        return xr3Fail(QVI_STS_OutOfMemory);
    const QVStatus status = created->protectedInit(manager, manager->getContainer(), tile.imageNumber, nullptr,
                                                   manager->getMemoryUsage(), manager->getStreamUsage());
    if (status != 0) {
        created->release();
        return status;
    }
    reader = created;
    return 0;
}

}  // namespace

QVStatus TavixImageStageManager::createXR3Reader(const TileInfo& tile, TavixSingleImageReaderBase*& reader)
{
    return createSingleReader<XR3SingleImageReader>(this, tile, reader);
}

QVStatus TavixImageStageManager::createXR4Reader(const TileInfo& tile, TavixSingleImageReaderBase*& reader)
{
    return createSingleReader<XR4SingleImageReader>(this, tile, reader);
}

// ---------------------------------------------------------------------------
// TavixImageReader

TavixImageReader* TavixImageReader::create()
{
    return new (std::nothrow) TavixImageReader();
}

TavixImageReader::~TavixImageReader()
{
    releasePreviousStageNow();
    if (m_single != nullptr)
        m_single->release();
    if (m_manager != nullptr)
        m_manager->release();
}

QVStatus TavixImageReader::initialize(const QVFileSpec& fileSpec, bool useWorldFile, TavixMemoryUsage memoryUsage,
                                      TavixStreamUsage streamUsage)
{
    if (m_manager != nullptr)
        return xr3Fail(QVI_STS_BadContext);
    m_manager = TavixImageStageManager::create();
    if (m_manager == nullptr)
        return xr3Fail(QVI_STS_OutOfMemory);
    if (const QVStatus status = m_manager->initialize(fileSpec, memoryUsage, streamUsage))
        return status;
    if (const QVStatus status = protectedInit(nullptr, false))
        return status;
    return useWorldFile ? overrideWithWorldFile(fileSpec) : 0;
}

QVStatus TavixImageReader::initialize(QVIOStreamInf* stream, QVIOStreamInf* worldFileStream,
                                      TavixMemoryUsage memoryUsage, TavixStreamUsage streamUsage)
{
    if (m_manager != nullptr)
        return xr3Fail(QVI_STS_BadContext);
    if (stream == nullptr)
        return xr3Fail(QVI_STS_BadParam);
    m_manager = TavixImageStageManager::create();
    if (m_manager == nullptr)
        return xr3Fail(QVI_STS_OutOfMemory);
    if (const QVStatus status = m_manager->initialize(stream, memoryUsage, streamUsage))
        return status;
    return protectedInit(worldFileStream, false);
}

QVStatus TavixImageReader::protectedInit(QVIOStreamInf* worldFileStream, bool /*ownsImages*/)
{
    if (const QVStatus status =
            initInterface(m_manager->getTavixVersion(), m_manager->getMemoryUsage(), m_manager->getStreamUsage()))
        return status;
    if (const QVStatus status = createSingleStage())
        return status;
    if (const QVStatus status = init(m_single))
        return status;
    setStripHeight(XR4SingleImageReader::kStripHeight);
    collectTileFacts();
    return worldFileStream != nullptr ? overrideWithWorldFile(*worldFileStream) : 0;
}

QVStatus TavixImageReader::createSingleStage()
{
    switch (m_manager->getNumImages()) {
    case 0:
        // A file of an overview alone shows the overview.
        if (!m_manager->hasOverviewImage())
            return xr3Fail(kStsTavixInvalidFileFormat);
        return m_manager->createOverviewReader(m_single);
    case 1:
        return m_manager->createTileReader(0, m_single);
    default:
        // Several images make a mosaic, which this library does not read yet.
        return xr3Fail(kStsTavixNotImplemented);
    }
}

void TavixImageReader::collectTileFacts()
{
    // The stage's own facts first: it is the first tile, or the overview of a file without tiles.
    m_numLevels = m_single->getNumLevels();
    m_isLocked = m_single->isLocked();
    for (uint32_t i = 0; i < m_manager->getNumImages(); ++i) {
        const TavixImageStageManager::TileInfo* tile = m_manager->getTileInfo(i);
        if (tile != nullptr && tile->hasReaderInfo)
            m_numLevels = std::max(m_numLevels, tile->numLevels);
    }
}

QVStatus TavixImageReader::overrideWithWorldFile(const QVFileSpec& fileSpec)
{
    try {
        QVIGeoCoord geoCoord(getGeoCoord());
        bool found = false;
        if (const QVStatus status = geoCoord.readWorldFile(fileSpec, true, found))
            return status;
        return found ? overrideGeoCoord(geoCoord) : 0;
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

QVStatus TavixImageReader::overrideWithWorldFile(QVIOStreamInf& stream)
{
    try {
        QVIGeoCoord geoCoord(getGeoCoord());
        if (const QVStatus status = geoCoord.readWorldFile(stream))
            return status;
        return overrideGeoCoord(geoCoord);
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    }
}

TavixSingleImageReaderBase* TavixImageReader::getXR2ImageReader() const
{
    return m_single != nullptr && m_single->getKind() == TAVIX_TILE_XR2 ? m_single : nullptr;
}

XR3SingleImageReader* TavixImageReader::getXR3ImageReader() const
{
    return m_single != nullptr && m_single->getKind() == TAVIX_TILE_XR3 ? static_cast<XR3SingleImageReader*>(m_single)
                                                                         : nullptr;
}

XR4SingleImageReader* TavixImageReader::getXR4ImageReader() const
{
    return m_single != nullptr && m_single->getKind() == TAVIX_TILE_XR4 ? static_cast<XR4SingleImageReader*>(m_single)
                                                                         : nullptr;
}

void TavixImageReader::setMaxWorkerThreads(int32_t count)
{
    if (m_manager != nullptr)
        m_manager->setMaxWorkerThreads(count);
    if (m_single != nullptr)
        m_single->setMaxWorkerThreads(count);
}

int32_t TavixImageReader::getMaxWorkerThreads() const
{
    return m_manager != nullptr ? m_manager->getMaxWorkerThreads() : 0;
}

uint32_t TavixImageReader::getModifications(const QVIScene& scene) const
{
    const QVIImageStage* stage = getPreviousStage();
    return stage != nullptr ? stage->getModifications(scene) : 0;
}

uint64_t TavixImageReader::getEncodingCost(const QVIScene& scene) const
{
    const QVIImageStage* stage = getPreviousStage();
    return stage != nullptr ? stage->getEncodingCost(scene) : 0;
}

}  // namespace Orvanetics
