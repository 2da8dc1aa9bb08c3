#include "xr3_mspTable.h"

#include <algorithm>
#include <bit>
#include <new>

#include "xr3_planeReaders.h"

namespace Orvanetics {

namespace {

template <class T>
QVStatus callocArray(size_t count, XR3CallocArray<T>& array) {
    array.reset(static_cast<T*>(std::calloc(count ? count : 1, sizeof(T))));
    return array ? 0 : xr3Fail(QVI_STS_Tavix_OutOfMemory);
}

uint64_t subblocksOf(const XR3SubbandDims& dims) { return uint64_t(dims.rows) * dims.cols; }

// A plane's place within its subblock, for comparing planes of one subblock.
uint32_t placeInSubblock(uint16_t component, uint8_t plane) {
    return uint32_t(component) * kXR3PlanesPerBand + plane;
}

}  // namespace

// ------------------------------------------------------------ XR3FullMSPTable

QVStatus XR3FullMSPTable::initialize() {
    uint64_t total = 0;
    for (const XR3SubbandDims& dims : m_info.subbands) total += subblocksOf(dims);
    if (total > kMaxSubblocks) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    try {
        m_subbands.clear();
        m_subbands.resize(m_info.subbands.size());
        for (size_t s = 0; s < m_subbands.size(); ++s)
            m_subbands[s].resize(size_t((subblocksOf(m_info.subbands[s]) + kChunkSubblocks - 1) >> kChunkShift));
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    m_numChunks = 0;
    return 0;
}

XR3FullMSPTable::Entry* XR3FullMSPTable::newEntry() {
    if (m_slabUsed == kSlabEntries) {
        std::unique_ptr<Entry[]> slab(new (std::nothrow) Entry[kSlabEntries]);
        if (!slab) return nullptr;
        try {
            m_slabs.push_back(std::move(slab));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        m_slabUsed = 0;
    }
    return &m_slabs.back()[m_slabUsed++];
}

QVStatus XR3FullMSPTable::addMSP(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset) {
    if (desc.subband >= m_subbands.size() || desc.subblock >= subblocksOf(m_info.subbands[desc.subband]))
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    Chunk& chunk = m_subbands[desc.subband][desc.subblock >> kChunkShift];
    if (!chunk) {
        if (QVStatus status = callocArray(kChunkSubblocks, chunk)) return status;
        ++m_numChunks;
    }
    Entry*& slot = chunk[desc.subblock & (kChunkSubblocks - 1)];
    if (slot) return 0;
    slot = newEntry();
    if (!slot) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    *slot = Entry{offset.tokenPosition, offset.dataPosition, desc.component, desc.plane};
    return 0;
}

const XR3FullMSPTable::Entry* XR3FullMSPTable::entryOf(uint32_t subband, uint32_t subblock) const {
    if (subband >= m_subbands.size() || subblock >= subblocksOf(m_info.subbands[subband])) return nullptr;
    const Chunk& chunk = m_subbands[subband][subblock >> kChunkShift];
    return chunk ? chunk[subblock & (kChunkSubblocks - 1)] : nullptr;
}

QVStatus XR3FullMSPTable::lookupMSP(const XR3PlaneDesc& desc, XR3FilePlaneReader&, bool& found,
                                    XR3PlaneDesc& startDesc, int64_t& tokenPosition,
                                    int64_t& dataPosition) const {
    const Entry* entry = entryOf(desc.subband, desc.subblock);
    found = entry && placeInSubblock(desc.component, desc.plane) >= placeInSubblock(entry->component, entry->plane);
    if (!found) return 0;
    startDesc = XR3PlaneDesc(desc.subband, desc.subblock, entry->component, entry->plane);
    tokenPosition = entry->tokenPosition;
    dataPosition = entry->dataPosition;
    return 0;
}

bool XR3FullMSPTable::hasSubblock(uint32_t subband, uint32_t subblock) const {
    return entryOf(subband, subblock) != nullptr;
}

bool XR3FullMSPTable::hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    for (uint64_t b = first; b <= last; ++b) {
        if (hasSubblock(subband, uint32_t(b))) return true;
    }
    return false;
}

uint32_t XR3FullMSPTable::countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    uint32_t count = 0;
    for (uint64_t b = first; b <= last; ++b) count += hasSubblock(subband, uint32_t(b)) ? 1 : 0;
    return count;
}

uint64_t XR3FullMSPTable::getMemoryUsage() const {
    uint64_t bytes = m_slabs.size() * kSlabEntries * sizeof(Entry) + m_numChunks * kChunkSubblocks * sizeof(Entry*);
    for (const std::vector<Chunk>& chunks : m_subbands) bytes += chunks.size() * sizeof(Chunk);
    return bytes;
}

// --------------------------------------------------------- XR3PartialMSPTable

XR3PartialMSPTable::~XR3PartialMSPTable() {
    for (SubbandTable& table : m_subbands) {
        if (!table.rows) continue;
        for (uint32_t r = 0; r < table.numRows; ++r) std::free(table.rows[r].mask);
    }
}

QVStatus XR3PartialMSPTable::initialize() {
    m_subbands.clear();
    m_subbands.resize(m_info.subbands.size());
    for (size_t s = 0; s < m_subbands.size(); ++s) {
        m_subbands[s].numRows = m_info.subbands[s].rows;
        m_subbands[s].numCols = m_info.subbands[s].cols;
    }
    return 0;
}

QVStatus XR3PartialMSPTable::addMSP(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset) {
    if (desc.subband >= m_subbands.size()) return xr3Fail(QVI_STS_Tavix_BadArgument);
    SubbandTable& table = m_subbands[desc.subband];
    if (table.numCols == 0 || desc.subblock >= uint32_t(table.numRows) * table.numCols)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (!table.rows) {
        if (QVStatus status = callocArray(table.numRows, table.rows)) return status;
    }
    const uint32_t row = desc.subblock / table.numCols;
    const uint32_t col = desc.subblock % table.numCols;
    SubbandRowTable& entry = table.rows[row];
    if (!entry.mask) {
        entry.mask = static_cast<uint8_t*>(std::calloc((table.numCols + 7u) / 8u, 1));
        if (!entry.mask) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
        entry = SubbandRowTable{offset.tokenPosition, offset.dataPosition, uint16_t(col),
                                desc.component, desc.plane, entry.mask};
    }
    entry.mask[col >> 3] |= uint8_t(1u << (col & 7));
    return 0;
}

const XR3PartialMSPTable::SubbandRowTable* XR3PartialMSPTable::rowOf(uint32_t subband, uint32_t row) const {
    if (subband >= m_subbands.size()) return nullptr;
    const SubbandTable& table = m_subbands[subband];
    if (!table.rows || row >= table.numRows || !table.rows[row].mask) return nullptr;
    return &table.rows[row];
}

bool XR3PartialMSPTable::hasSubblock(uint32_t subband, uint32_t subblock) const {
    if (subband >= m_subbands.size() || m_subbands[subband].numCols == 0) return false;
    const uint32_t cols = m_subbands[subband].numCols;
    const SubbandRowTable* row = rowOf(subband, subblock / cols);
    const uint32_t col = subblock % cols;
    return row && (row->mask[col >> 3] >> (col & 7)) & 1;
}

QVStatus XR3PartialMSPTable::lookupMSP(const XR3PlaneDesc& desc, XR3FilePlaneReader& reader, bool& found,
                                       XR3PlaneDesc& startDesc, int64_t& tokenPosition,
                                       int64_t& dataPosition) const {
    found = hasSubblock(desc.subband, desc.subblock);
    if (!found) return 0;
    const uint32_t cols = m_subbands[desc.subband].numCols;
    const uint32_t rowIndex = desc.subblock / cols;
    const SubbandRowTable& row = *rowOf(desc.subband, rowIndex);
    startDesc = XR3PlaneDesc(desc.subband, rowIndex * cols + row.column, row.component, row.plane);
    tokenPosition = row.tokenPosition;
    dataPosition = row.dataPosition;

    const XR3PartialMSPTableCache& cache = reader.getMSPTableCache();
    if (cache.holds(desc.subband, rowIndex) && cache.desc.subblock > startDesc.subblock &&
        cache.desc.subblock <= desc.subblock) {
        startDesc = cache.desc;
        tokenPosition = cache.offset.tokenPosition;
        dataPosition = cache.offset.dataPosition;
    }
    if (startDesc.subblock == desc.subblock) return 0;

    XR3PartialMSPTableCache reached;
    if (QVStatus status = reader.advanceToSubblock(startDesc, tokenPosition, dataPosition, desc.subblock,
                                                   reached.desc, reached.offset.tokenPosition,
                                                   reached.offset.dataPosition))
        return status;
    reached.subband = desc.subband;
    reached.row = rowIndex;
    reader.setMSPTableCache(reached);
    startDesc = reached.desc;
    tokenPosition = reached.offset.tokenPosition;
    dataPosition = reached.offset.dataPosition;
    return 0;
}

uint32_t XR3PartialMSPTable::countBits(const uint8_t* mask, uint32_t first, uint32_t last) {
    uint32_t count = 0;
    uint32_t col = first;
    while (col <= last) {
        const uint32_t bit = col & 7;
        const uint32_t take = std::min(8 - bit, last - col + 1);
        const uint32_t bits = (uint32_t(mask[col >> 3]) >> bit) & ((1u << take) - 1);
        count += uint32_t(std::popcount(bits));
        col += take;
    }
    return count;
}

uint32_t XR3PartialMSPTable::countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    if (subband >= m_subbands.size() || first > last || m_subbands[subband].numCols == 0) return 0;
    const uint32_t cols = m_subbands[subband].numCols;
    uint32_t count = 0;
    for (uint32_t r = first / cols; r <= last / cols; ++r) {
        const SubbandRowTable* row = rowOf(subband, r);
        if (!row) continue;
        const uint32_t from = r == first / cols ? first % cols : 0;
        const uint32_t to = r == last / cols ? last % cols : cols - 1;
        count += countBits(row->mask, from, to);
    }
    return count;
}

bool XR3PartialMSPTable::hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    return countSubblocksInRange(subband, first, last) > 0;
}

uint64_t XR3PartialMSPTable::getMemoryUsage() const {
    uint64_t bytes = m_subbands.size() * sizeof(SubbandTable);
    for (const SubbandTable& table : m_subbands) {
        if (!table.rows) continue;
        bytes += uint64_t(table.numRows) * sizeof(SubbandRowTable);
        for (uint32_t r = 0; r < table.numRows; ++r)
            bytes += table.rows[r].mask ? (table.numCols + 7u) / 8u : 0;
    }
    return bytes;
}

}  // namespace Orvanetics
