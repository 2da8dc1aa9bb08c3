// What an application opens to read a wavelet file of any generation.
//
//     TavixImageReader* reader = TavixImageReader::create();
//     QVStatus status = reader->initialize(QVFileSpec("image.xr4"));
//     ...
//     QVISceneBuffer buffer(reader->getPixelProps(), 512, 512);
//     status = reader->read(QVIScene(0, 0, 512, 512, 0.25), buffer);
//     reader->release();
//
// The first 8 bytes of the stream tell the generation. TavixImageStageManager
// lists the images of the file (its tiles) and makes a single image reader
// for any of them on demand; TavixImageReader is a filter over the one reader
// of a single-image file (or, later, over a mosaic of the tiles).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qv_fileSpec.h"
#include "qvi_imageFilter.h"
#include "qvi_imageStageManager.h"

namespace Orvanetics {

class QVIMosaicFilter;
class QVIOStreamInf;
class TavixSingleImageReaderBase;
class XR3FileSimpleContainer;
class XR3SingleImageReader;
class XR4SingleImageReader;

// How much memory the plane position tables may take.
enum TavixMemoryUsage : uint32_t {
    TAVIX_MEMORY_USAGE_DEFAULT = 1,  // full tables unless the file's would be very large
    TAVIX_MEMORY_USAGE_SMALL = 2,    // small tables, paid for with token walks at read time
    TAVIX_MEMORY_USAGE_FULL = 3,
    TAVIX_MEMORY_USAGE_FULL_ALT = 4,  // the same as 3
};

// How the file's stream is used between reads.
enum TavixStreamUsage : uint32_t {
    TAVIX_STREAM_USAGE_DEFAULT = 1,      // closed between uses
    TAVIX_STREAM_USAGE_ALWAYS_OPEN = 2,  // stays open all the time
    TAVIX_STREAM_USAGE_MANAGED_TILES = 4,  // a mosaic leaves its tile stages to the manager
};

// What kind of image one tile of a file is.
enum TavixTileKind : uint32_t {
    TAVIX_TILE_XR2 = 1,
    TAVIX_TILE_XR3 = 2,
    TAVIX_TILE_XR4 = 3,
};

// Statuses of this front.
constexpr QVStatus kStsTavixNotImplemented = 9;         // "not implemented": XR2 tiles and mosaics
constexpr QVStatus kStsTavixInvalidMemoryModel = 50603;  // "invalid memory model"
constexpr QVStatus kStsTavixInvalidFileFormat = 50607;   // "invalid tavix file format"
constexpr QVStatus kStsTavixUnknownTileFormat = 50612;   // "unknown tile image format"
constexpr QVStatus kStsTavixUnsupportedVersion = 50614;  // "unsupported Tavix file version"
constexpr QVStatus kStsTavixNotRaster = 50617;           // "Tavix file contains LiDAR data"

// What every wavelet reader knows of its file: the usages it was opened
// with and the first 8 bytes (the magic "tvxd" and the version).
class TavixImageReaderInterface {
public:
    static constexpr uint32_t kHeaderLength = 8;

    // The generation (2, 3 or 4) the first 8 bytes announce, and whether the
    // file holds a raster. 50607 without the magic, 50614 for an unknown
    // version byte.
    static QVStatus getTavixGeneration(const uint8_t* bytes, uint32_t& generation, bool& isRaster);
    // Reads the first 8 bytes from position 0 and seeks back to 0 (the stream
    // is opened if it isn't). 50607 for fewer than 8 bytes, the stream's
    // own error when it reports one.
    static QVStatus getTavixGeneration(QVIOStreamInf& stream, uint32_t& generation, bool& isRaster);
    static QVStatus getTavixGeneration(const QVFileSpec& fileSpec, uint32_t& generation, bool& isRaster);
    // The first 8 bytes of the stream, position restored to 0.
    static QVStatus readHeaderBytes(QVIOStreamInf& stream, uint8_t* bytes);

    TavixMemoryUsage getMemoryUsage() const { return m_memoryUsage; }
    TavixStreamUsage getStreamUsage() const { return m_streamUsage; }
    const uint8_t* getHeaderBytes() const { return m_headerBytes; }

protected:
    TavixImageReaderInterface() = default;
    ~TavixImageReaderInterface() = default;

    // Keeps the usages and the header bytes; the bytes must announce a known generation.
    QVStatus initInterface(const uint8_t* headerBytes, TavixMemoryUsage memoryUsage,
                           TavixStreamUsage streamUsage);

private:
    TavixMemoryUsage m_memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT;
    TavixStreamUsage m_streamUsage = TAVIX_STREAM_USAGE_DEFAULT;
    uint8_t m_headerBytes[kHeaderLength] = {};
};

// The images of one file and the readers made for them. Readers keep the
// manager alive (they share its container and stream).
class TavixImageStageManager : public QVIImageStageManager {
public:
    struct TileInfo {
        uint32_t imageNumber = 0;
        TavixTileKind kind = TAVIX_TILE_XR3;
        // Known once a reader was made for the tile.
        uint8_t numLevels = 0;
        bool isLocked = false;
        bool isOptimizable = false;
        uint32_t blockSize = 0;
        bool hasReaderInfo = false;
    };

    // Null when out of memory.
    static TavixImageStageManager* create();

    // Opens the file and owns the stream.
    QVStatus initialize(const QVFileSpec& fileSpec, TavixMemoryUsage memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT,
                        TavixStreamUsage streamUsage = TAVIX_STREAM_USAGE_DEFAULT);
    // The stream stays the caller's and must outlive the manager and its readers. 3 for null.
    QVStatus initialize(QVIOStreamInf* stream, TavixMemoryUsage memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT,
                        TavixStreamUsage streamUsage = TAVIX_STREAM_USAGE_DEFAULT);

    using QVIImageStageManager::createImageStage;
    // A new reader (one reference, the caller's) for tile `index`; 3 out of range.
    QVStatus createImageStage(uint32_t index, QVIImageStage*& stage) override;
    QVStatus createOverviewImageStage(QVIImageStage*& stage) override;
    // The same with the reader's own type.
    QVStatus createTileReader(uint32_t index, TavixSingleImageReaderBase*& reader);
    QVStatus createOverviewReader(TavixSingleImageReaderBase*& reader);

    // A default memory usage becomes "small" when the full tables of all
    // images together would take 0x10000001 bytes or more.
    QVStatus updateMemoryModel();
    // XR3 tiles and the overview are read by the XR4 reader, for its band handling.
    void treatXR3asXR4();

    bool hasOverviewImage() const { return m_hasOverview; }
    const TileInfo* getOverviewInfo() const { return m_hasOverview ? &m_overview : nullptr; }
    // Null out of range.
    const TileInfo* getTileInfo(uint32_t index) const;
    // The tile of an image number; 3 if no tile has it.
    QVStatus findTileId(uint32_t imageNumber, uint32_t& index) const;
    // All tiles read so far can be optimised (and at least one was).
    bool isOptimizable() const;
    bool hasXR2Tiles() const { return m_hasXR2Tiles; }
    bool hasXR3Tiles() const { return m_hasXR3Tiles; }
    bool hasXR4Tiles() const { return m_hasXR4Tiles; }

    // The first 8 bytes of the file.
    const uint8_t* getTavixVersion() const { return m_headerBytes; }
    // Null for a plain XR2 file.
    XR3FileSimpleContainer* getContainer() const { return m_container.get(); }
    QVIOStreamInf* getStream() const { return m_stream; }
    TavixMemoryUsage getMemoryUsage() const { return m_memoryUsage; }
    TavixStreamUsage getStreamUsage() const { return m_streamUsage; }

    // Worker threads of the readers made from now on (0: the default).
    void setMaxWorkerThreads(int32_t count) { m_numThreads = count; }
    int32_t getMaxWorkerThreads() const { return m_numThreads; }

protected:
    TavixImageStageManager() = default;
    ~TavixImageStageManager() override;

    // Fills the tile table from the container's image list (or one XR2 tile
    // without a container), then updates the memory model.
    QVStatus init(uint32_t numImages, TavixMemoryUsage memoryUsage, TavixStreamUsage streamUsage);

    // Each makes and initialises the reader of one image.
    virtual QVStatus createXR2Reader(const TileInfo& tile, TavixSingleImageReaderBase*& reader);
    virtual QVStatus createXR3Reader(const TileInfo& tile, TavixSingleImageReaderBase*& reader);
    virtual QVStatus createXR4Reader(const TileInfo& tile, TavixSingleImageReaderBase*& reader);

private:
    QVStatus createReaderFor(TileInfo& tile, TavixSingleImageReaderBase*& reader);
    QVStatus addTile(uint32_t imageNumber, uint32_t imageType);
    void updateKindFlags();

    QVIOStreamInf* m_stream = nullptr;
    std::unique_ptr<QVIOStreamInf> m_ownedStream;
    std::unique_ptr<XR3FileSimpleContainer> m_container;
    uint8_t m_headerBytes[TavixImageReaderInterface::kHeaderLength] = {};
    TavixMemoryUsage m_memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT;
    TavixStreamUsage m_streamUsage = TAVIX_STREAM_USAGE_DEFAULT;
    std::vector<TileInfo> m_tiles;
    TileInfo m_overview;
    bool m_hasOverview = false;
    bool m_hasXR2Tiles = false;
    bool m_hasXR3Tiles = false;
    bool m_hasXR4Tiles = false;
    int32_t m_numThreads = 0;
};

// The reader an application opens: a filter over the single image reader of
// the file. All properties and the read protocol are those of that reader.
class TavixImageReader : public QVIImageFilter, public TavixImageReaderInterface {
public:
    // Null when out of memory.
    static TavixImageReader* create();

    // Opens the file; with useWorldFile a world file beside it overrides the georeference.
    QVStatus initialize(const QVFileSpec& fileSpec, bool useWorldFile = true,
                        TavixMemoryUsage memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT,
                        TavixStreamUsage streamUsage = TAVIX_STREAM_USAGE_DEFAULT);
    // The stream stays the caller's and must outlive the reader; a world
    // file stream, if given, overrides the georeference. 3 for a null stream.
    QVStatus initialize(QVIOStreamInf* stream, QVIOStreamInf* worldFileStream = nullptr,
                        TavixMemoryUsage memoryUsage = TAVIX_MEMORY_USAGE_DEFAULT,
                        TavixStreamUsage streamUsage = TAVIX_STREAM_USAGE_DEFAULT);

    TavixImageStageManager* getManager() const { return m_manager; }
    // Null until mosaics are read.
    QVIMosaicFilter* getMosaicFilter() const { return nullptr; }
    // The single stage as that kind of reader, null otherwise.
    TavixSingleImageReaderBase* getXR2ImageReader() const;
    XR3SingleImageReader* getXR3ImageReader() const;
    XR4SingleImageReader* getXR4ImageReader() const;
    TavixSingleImageReaderBase* getSingleImageReader() const { return m_single; }

    // The largest level count over the tiles.
    uint8_t getNumLevels() const { return m_numLevels; }
    bool isLocked() const { return m_isLocked; }
    // Passed to the manager and to the reader already made.
    void setMaxWorkerThreads(int32_t count);
    int32_t getMaxWorkerThreads() const;

    // The reader's answer, without the filter bit: this filter changes nothing.
    uint32_t getModifications(const QVIScene& scene) const override;
    uint64_t getEncodingCost(const QVIScene& scene) const override;

protected:
    TavixImageReader() = default;
    ~TavixImageReader() override;

    // Builds the stage over the manager's images.
    QVStatus protectedInit(QVIOStreamInf* worldFileStream, bool ownsImages);

private:
    // The one reader of the file: its single tile, or its overview when it has no tiles.
    QVStatus createSingleStage();
    QVStatus overrideWithWorldFile(const QVFileSpec& fileSpec);
    QVStatus overrideWithWorldFile(QVIOStreamInf& stream);
    void collectTileFacts();

    TavixImageStageManager* m_manager = nullptr;
    TavixSingleImageReaderBase* m_single = nullptr;
    uint8_t m_numLevels = 0;
    bool m_isLocked = false;
};

}  // namespace Orvanetics
