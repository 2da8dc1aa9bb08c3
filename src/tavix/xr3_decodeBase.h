// The source of coefficient lines for the wavelet synthesis: one row of
// subblocks per subband is entropy-decoded at a time (in parallel across the
// row's subblocks) and kept until a line outside it is asked for.
//
// With two or more threads and a read-ahead limit, the next row of subblocks
// of a subband is decoded in the background while the synthesis uses the
// current one, so that the calling thread rarely waits and the other threads
// never run dry between rows. A subband then holds up to two rows.
//
//   DecodeBase base(info, client, interruptDelegate, numThreads);
//   base.setReadAheadLimit(subband, lastRow);  // optional: rows come in order
//   std::vector<int32_t*> lines(base.getNumSelectedBands());
//   base.get_line(lines.data(), subband, row, firstCol, lastCol);  // lines[i][0] is column firstCol
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include "qvi_delegates.h"
#include "xr3_colorTransformer.h"
#include "xr3_planeStore.h"

namespace Orvanetics {

// The thread count of a decode: `toolValue` if positive, else the
// process-wide `defaultValue` if positive, else the machine's concurrency,
// which is asked once per process and remembered.
uint32_t xr3ResolveNumThreads(int32_t toolValue, int32_t defaultValue);

class DecodeBase {
public:
    // Largest row buffer of one subband, in samples per band; a wider span is 2012.
    static constexpr uint64_t kMaxRowBufferSamples = uint64_t(1) << 28;

    // The bands decoded are the client's component set, read here and at
    // every invalidateCache. The client and delegate outlive this object; a
    // numThreads of 0 counts as 1.
    DecodeBase(const XR3ImageInfo& info, XR3PlaneStoreClient& client, QVIInterruptDelegate* interruptDelegate,
               uint32_t numThreads);
    ~DecodeBase();
    DecodeBase(const DecodeBase&) = delete;
    DecodeBase& operator=(const DecodeBase&) = delete;

    // Points lines[i] (one per selected band) at column firstCol of `row` of
    // `subband`; the lines are read-only. The pointers stay valid until the next get_line on the same
    // subband, or invalidateCache. 2009 beyond the subband; 2012 without
    // memory; a failure of the plane store, the entropy decoder or the
    // interrupt delegate (2007) as it came. A failure of background work is
    // returned by the get_line that follows it, whatever its subband.
    QVStatus get_line(int32_t** lines, uint32_t subband, uint32_t row, uint32_t firstCol, uint32_t lastCol);

    // Promises that the rows of `subband` up to `lastRow` are asked for in
    // increasing order over the same columns: with two or more threads each
    // new row of subblocks then starts the background decoding of the next
    // one, up to the row of subblocks holding lastRow. Another span than the
    // one read ahead is still served, by a decode of its own.
    void setReadAheadLimit(uint32_t subband, uint32_t lastRow);

    // Waits for background work, forgets every cached row and read-ahead
    // limit, and re-reads the component set.
    void invalidateCache();

    const XR3ImageInfo& getImageInfo() const { return m_info; }
    uint16_t getNumSelectedBands() const { return uint16_t(m_selectedBands.size()); }
    // The image band of selected band i.
    uint16_t getSelectedBand(uint16_t i) const { return m_selectedBands[i]; }
    uint32_t getNumThreads() const { return m_numThreads; }
    uint32_t getSubblockSize() const { return m_subblockSize; }
    uint32_t getNumSubbands() const { return m_numSubbands; }
    const XR3ColorTransformSupport::Transformer* getTransformer() const { return m_transformer.get(); }

    // Times a get_line of this subband needed a new span (decoded then, or
    // read ahead before).
    uint64_t getMissCount(uint32_t subband) const { return m_cache[subband].misses; }
    // Samples held by all row buffers, over all bands.
    uint64_t getCacheSampleCount() const;

private:
    static constexpr uint32_t kNone = 0xFFFFFFFFu;

    // One row of subblocks of one subband: decoded, or on its way.
    struct RowSlot {
        uint32_t firstSubblock = kNone;
        uint32_t lastSubblock = kNone;
        uint32_t bufferWidth = 0;  // samples per buffer row
        uint32_t firstColumn = 0;  // subband column of buffer column 0
        bool allZero = false;      // the span has no data: lines are the zero line
        std::vector<std::vector<int32_t>> rows;  // one per selected band
        // Background decoding of the slot's subblocks, and its first failure.
        tbb::task_group work;
        bool pending = false;
        std::atomic<QVStatus> status{0};

        bool covers(uint32_t first, uint32_t last) const {
            return firstSubblock != kNone && first >= firstSubblock && last <= lastSubblock;
        }
    };

    struct CacheEntry {
        RowSlot slots[2];
        unsigned current = 0;       // the other slot is read ahead
        uint32_t lastRow = kNone;   // read-ahead limit; kNone: none
        uint64_t misses = 0;
        RowSlot& now() { return slots[current]; }
        RowSlot& ahead() { return slots[current ^ 1u]; }
    };

    // A span of one row of subblocks of one subband.
    struct Span {
        uint32_t subband;
        uint32_t subblockRow;
        uint32_t firstCol;  // subblock columns, inclusive
        uint32_t lastCol;
    };

    class SubblockJob;

    void readComponentSet();
    bool readsAhead() const { return m_numThreads >= 2; }
    // Brings `span` into the current slot: from the slot read ahead when it
    // holds it, else by a decode of its own; then starts the next read-ahead.
    QVStatus loadCurrent(CacheEntry& entry, const Span& span);
    void startReadAhead(CacheEntry& entry, const Span& current);
    // Reads the span's subblocks into `slot` and decodes them: in the
    // background with several threads (finishSlot waits), else at once.
    // A failure is kept in the slot, for finishSlot.
    void startSlot(RowSlot& slot, const Span& span);
    // Waits for the slot's decode; its failure, or that of other work, forgets it.
    QVStatus finishSlot(RowSlot& slot);
    void waitSlot(RowSlot& slot);
    // Waits, then forgets the slot's span and failure; its buffers stay.
    void dropSlot(RowSlot& slot);
    void forgetSlot(RowSlot& slot);
    // Waits for every background decode; their failures are dropped.
    void drain();
    QVStatus prepareBuffer(RowSlot& slot, uint32_t bufferWidth);
    QVStatus prepareZeroLine(uint32_t width);

    // The serial half of a subblock: its planes from the store, or, for a
    // subblock without data, zeros in its columns and a null job.
    QVStatus readSubblock(RowSlot& slot, uint32_t subband, uint32_t subblock, std::unique_ptr<SubblockJob>& job);
    // The parallel half: entropy decoding, colour transform, interrupt check.
    QVStatus decodeSubblock(RowSlot& slot, const SubblockJob& job) const;
    // decodeSubblock on a worker: skipped once the decode is stopping, and a
    // failure stops it.
    void runJob(RowSlot& slot, const SubblockJob& job);
    void zeroColumns(RowSlot& slot, uint32_t column, uint32_t width, uint32_t height) const;

    const XR3ImageInfo& m_info;
    XR3PlaneStoreClient& m_client;
    QVIInterruptDelegate* m_interruptDelegate;
    uint32_t m_numThreads;
    uint32_t m_subblockSize;
    uint32_t m_numSubbands;
    std::vector<uint16_t> m_selectedBands;
    std::unique_ptr<XR3ColorTransformSupport::Transformer> m_transformer;
    // Threads of the background decoding; the caller joins them while it waits.
    tbb::task_arena m_arena;
    // The first failure of background work; set, it stops the rest.
    std::atomic<QVStatus> m_stopStatus{0};
    std::unique_ptr<CacheEntry[]> m_cache;
    std::vector<int32_t> m_zeroLine;
};

}  // namespace Orvanetics
