// The position table of a planeset: for each subblock that has data, where
// the length token and the payload of its first plane with data lie.
//
// The table is built once, by the sequential walk over the plane lengths at
// open, and is read-only afterwards. The full table keeps one entry per
// non-empty subblock; the partial table keeps one entry per subblock row and
// a bit per subblock, and finds the other subblocks of a row by walking the
// tokens from the row's first entry (through the reader, which remembers the
// last place it reached in its XR3PartialMSPTableCache).
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "qv_utilStatusData.h"
#include "xr3_imageInfo.h"
#include "xr3_planeData.h"

namespace Orvanetics {

class XR3FilePlaneReader;

// Frees memory that came from calloc: large tables are taken zeroed from
// the system, so that the parts never touched cost no memory.
struct XR3CallocDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <class T>
using XR3CallocArray = std::unique_ptr<T[], XR3CallocDeleter>;

// The last place a token walk of the partial table reached: a data token of
// the first plane with data of some subblock in (subband, row).
struct XR3PartialMSPTableCache {
    uint8_t subband = XR3PlaneDesc::kInvalidSubband;
    uint32_t row = 0;
    XR3PlaneDesc desc;
    XR3PlaneOffset offset;

    bool holds(uint8_t s, uint32_t r) const { return subband == s && row == r; }
};

class XR3MSPTable {
public:
    virtual ~XR3MSPTable() = default;

    // Records the first plane with data of a subblock; called once per
    // non-empty subblock, in planeset order. 2012 when memory runs out.
    virtual QVStatus addMSP(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset) = 0;
    // Where the planes of desc's subblock begin: startDesc is its first plane
    // with data, the positions those of that plane's token and payload.
    // found is false (status 0) for a subblock without data. desc.component
    // and desc.plane may name a plane; the invalid values ask for the whole
    // subblock.
    virtual QVStatus lookupMSP(const XR3PlaneDesc& desc, XR3FilePlaneReader& reader, bool& found,
                               XR3PlaneDesc& startDesc, int64_t& tokenPosition,
                               int64_t& dataPosition) const = 0;
    virtual bool hasSubblock(uint32_t subband, uint32_t subblock) const = 0;
    // Subblocks first to last, inclusive, of one subband.
    virtual bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const = 0;
    virtual uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const = 0;
};

// A pointer per subblock, an entry per non-empty subblock. Entries are
// carved from slabs to avoid one allocation per subblock. The pointers of
// each subband lie in chunks taken on the chunk's first entry, so that a
// header announcing a vast, mostly empty image costs memory in proportion to
// the subblocks the file really holds.
class XR3FullMSPTable : public XR3MSPTable {
public:
    // Beyond this many subblocks the pointer arrays alone would be
    // unreasonable: the table is refused (2012), the partial one serves.
    static constexpr uint64_t kMaxSubblocks = uint64_t(1) << 28;

    struct Entry {
        int64_t tokenPosition;
        int64_t dataPosition;
        uint16_t component;
        uint8_t plane;
    };

    explicit XR3FullMSPTable(const XR3ImageInfo& info) : m_info(info) {}
    // The pointer arrays; 2012 when they can't be had.
    QVStatus initialize();

    QVStatus addMSP(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset) override;
    QVStatus lookupMSP(const XR3PlaneDesc& desc, XR3FilePlaneReader& reader, bool& found,
                       XR3PlaneDesc& startDesc, int64_t& tokenPosition,
                       int64_t& dataPosition) const override;
    bool hasSubblock(uint32_t subband, uint32_t subblock) const override;
    bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override;
    uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override;

    // Bytes held by the table, for measuring the models against each other.
    uint64_t getMemoryUsage() const;

private:
    static constexpr size_t kSlabEntries = 4096;
    static constexpr uint32_t kChunkShift = 8;
    static constexpr uint32_t kChunkSubblocks = 1u << kChunkShift;

    using Chunk = XR3CallocArray<Entry*>;

    Entry* newEntry();
    const Entry* entryOf(uint32_t subband, uint32_t subblock) const;

    const XR3ImageInfo& m_info;
    std::vector<std::vector<Chunk>> m_subbands;
    size_t m_numChunks = 0;
    std::vector<std::unique_ptr<Entry[]>> m_slabs;
    size_t m_slabUsed = kSlabEntries;
};

// An entry per subblock row with data (its first subblock with data) and a
// bit per subblock. Built for the pipeline order, in which the subblocks of
// a row follow each other left to right.
class XR3PartialMSPTable : public XR3MSPTable {
public:
    struct SubbandRowTable {
        int64_t tokenPosition;
        int64_t dataPosition;
        uint16_t column;
        uint16_t component;
        uint8_t plane;
        uint8_t* mask;  // ceil(cols / 8) bytes, calloc'ed when the row gets data
    };
    // Rows are allocated on the first data of the subband.
    struct SubbandTable {
        XR3CallocArray<SubbandRowTable> rows;
        uint16_t numRows = 0;
        uint16_t numCols = 0;
    };

    explicit XR3PartialMSPTable(const XR3ImageInfo& info) : m_info(info) {}
    ~XR3PartialMSPTable() override;
    XR3PartialMSPTable(const XR3PartialMSPTable&) = delete;
    XR3PartialMSPTable& operator=(const XR3PartialMSPTable&) = delete;
    QVStatus initialize();

    QVStatus addMSP(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset) override;
    // Walks the row's tokens from its entry, or from the reader's cache
    // when that lies on the way; the place reached goes to the cache.
    QVStatus lookupMSP(const XR3PlaneDesc& desc, XR3FilePlaneReader& reader, bool& found,
                       XR3PlaneDesc& startDesc, int64_t& tokenPosition,
                       int64_t& dataPosition) const override;
    bool hasSubblock(uint32_t subband, uint32_t subblock) const override;
    bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override;
    uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override;

    uint64_t getMemoryUsage() const;

private:
    const SubbandRowTable* rowOf(uint32_t subband, uint32_t row) const;
    // Set bits of columns first to last of one row mask.
    static uint32_t countBits(const uint8_t* mask, uint32_t first, uint32_t last);

    const XR3ImageInfo& m_info;
    std::vector<SubbandTable> m_subbands;
};

}  // namespace Orvanetics
