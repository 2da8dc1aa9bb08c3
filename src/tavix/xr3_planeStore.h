// The plane store of one image: the position table built at open, and the
// clients through which decoders read the planes of a subblock.
//
//   XR3FileSimplePlaneSource source(container, info, XR3_MEMORY_MODEL_DEFAULT);
//   source.initialize();                       // one walk over the tokens
//   std::unique_ptr<XR3PlaneStoreClient> client;
//   source.createPlaneStoreClient(client);     // its own reader and stream
//   client->getComponentSet().clearAll(); client->getComponentSet().set(1);
//   if (client->hasSubblock(subband, subblock))
//       client->getSubblockData(subband, subblock, planes, true);
//
// planes holds numBands * 32 entries, entry b * 32 + p being plane p of band
// b; only the bands of the component set are filled.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "xr3_imageInfo.h"
#include "xr3_mspTable.h"
#include "xr3_planeData.h"

namespace Orvanetics {

class XR3FilePlaneReader;

// Locked images are not decoded by this library.
constexpr QVStatus kStsXR3SecurityDisabled = 4001;  // "security disabled"

// A set of bands: bit b & 7 of byte b >> 3.
class XR3ComponentSet {
public:
    XR3ComponentSet() = default;
    explicit XR3ComponentSet(uint16_t numComponents) { setNumComponents(numComponents); }

    // Resizes to numComponents, all clear.
    void setNumComponents(uint16_t numComponents);
    uint16_t getNumComponents() const { return m_numComponents; }

    // Bands at or beyond the number of components are ignored.
    void set(uint32_t component);
    void clear(uint32_t component);
    void setAll();
    void clearAll();
    bool isSet(uint32_t component) const {
        return component < m_numComponents && (m_mask[component >> 3] >> (component & 7)) & 1;
    }
    // The number of set bits.
    uint32_t getNumSet() const;
    // One past the highest set band, 0 when none is set.
    uint32_t getEnd() const;

private:
    uint16_t m_numComponents = 0;
    std::vector<uint8_t> m_mask;
};

enum XR3MemoryModel : uint32_t {
    XR3_MEMORY_MODEL_FULL = 2,
    XR3_MEMORY_MODEL_PARTIAL = 3,
    XR3_MEMORY_MODEL_DEFAULT = 4,  // chosen at run time
};

class XR3PlaneStore {
public:
    explicit XR3PlaneStore(const XR3ImageInfo& info) : m_info(info) {}
    virtual ~XR3PlaneStore() = default;
    XR3PlaneStore(const XR3PlaneStore&) = delete;
    XR3PlaneStore& operator=(const XR3PlaneStore&) = delete;

    const XR3ImageInfo& getImageInfo() const { return m_info; }

protected:
    XR3ImageInfo m_info;
};

// The store of a planeset in a file.
class XR3FilePlaneStore : public XR3PlaneStore {
public:
    XR3FilePlaneStore(const XR3ImageInfo& info, XR3MemoryModel memoryModel)
        : XR3PlaneStore(info), m_memoryModel(memoryModel) {}

    // Builds the table of the memory model (full or partial, else 2015;
    // 2012 when it can't be allocated) by the reader's walk over all tokens.
    QVStatus initialize(XR3FilePlaneReader& reader);
    // Called by the walk for every plane with data: the first one of each
    // subblock goes into the table.
    QVStatus addData(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset);

    // False for a subblock without data, or outside the image.
    bool hasSubblock(uint32_t subband, uint32_t subblock) const;
    bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const;
    uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const;

    // Clears the numBands * 32 planes, then reads the planes of the bands in
    // components of desc's subblock with reader. found is false (status 0,
    // planes empty) for a subblock without data. 2009 for a subblock
    // outside the image.
    QVStatus getSubblockData(const XR3PlaneDesc& desc, const XR3ComponentSet& components,
                             XR3FilePlaneReader& reader, bool& found, XR3PlaneData* planes) const;

    XR3MemoryModel getMemoryModel() const { return m_memoryModel; }
    uint64_t getSubblockCount(uint32_t subband) const { return m_subblockCounts[subband]; }

private:
    bool isInImage(uint32_t subband, uint32_t subblock) const;
    // first..last clipped to the subband; false when nothing is left.
    bool clipRange(uint32_t subband, uint32_t& first, uint32_t& last) const;
    QVStatus createTable();

    XR3MemoryModel m_memoryModel;
    std::unique_ptr<XR3MSPTable> m_table;
    std::vector<uint64_t> m_subblockCounts;
    XR3PlaneDesc m_lastDesc;
};

// What one decoder sees of a store. The component set starts with all bands.
class XR3PlaneStoreClient {
public:
    XR3PlaneStoreClient(const XR3PlaneStore& store, const XR3ImageInfo& info);
    virtual ~XR3PlaneStoreClient() = default;
    XR3PlaneStoreClient(const XR3PlaneStoreClient&) = delete;
    XR3PlaneStoreClient& operator=(const XR3PlaneStoreClient&) = delete;

    virtual bool hasSubblock(uint32_t subband, uint32_t subblock) const = 0;
    virtual bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const = 0;
    virtual uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const = 0;
    // Whether the planes changed since the last decode (never for a file).
    virtual bool havePlanesBeenUpdated() { return false; }
    // Fills the planes of the selected bands (numBands * 32 entries).
    virtual QVStatus getSubblockDataInternal(uint32_t subband, uint32_t subblock,
                                             XR3PlaneData* planes) const = 0;

    // getSubblockDataInternal; with unlock, a locked image's planes would be
    // made plain, which this library does not do (4001).
    QVStatus getSubblockData(uint32_t subband, uint32_t subblock, XR3PlaneData* planes, bool unlock) const;

    const XR3ImageInfo& getImageInfo() const { return m_info; }
    XR3ComponentSet& getComponentSet() { return m_components; }
    const XR3ComponentSet& getComponentSet() const { return m_components; }

protected:
    const XR3PlaneStore& m_store;
    const XR3ImageInfo& m_info;
    XR3ComponentSet m_components;
};

// A client of a file store, with a reader on its own clone of the stream.
class XR3FilePlaneStoreClient : public XR3PlaneStoreClient {
public:
    XR3FilePlaneStoreClient(const XR3FilePlaneStore& store, std::unique_ptr<XR3FilePlaneReader> reader);
    ~XR3FilePlaneStoreClient() override;

    bool hasSubblock(uint32_t subband, uint32_t subblock) const override;
    bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override;
    uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override;
    // Opens the reader's stream if needed; it stays open until closeStream.
    QVStatus getSubblockDataInternal(uint32_t subband, uint32_t subblock,
                                     XR3PlaneData* planes) const override;

    // Around a decode, as the decoder tool brackets its reads.
    QVStatus openStream();
    QVStatus closeStream();
    XR3FilePlaneReader& getReader() const { return *m_reader; }

private:
    const XR3FilePlaneStore& m_fileStore;
    std::unique_ptr<XR3FilePlaneReader> m_reader;
};

}  // namespace Orvanetics
