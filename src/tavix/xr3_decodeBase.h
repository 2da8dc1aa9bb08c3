// The source of coefficient lines for the wavelet synthesis: one row of
// subblocks per subband is entropy-decoded at a time (in parallel across the
// row's subblocks) and kept until a line outside it is asked for. The
// subbands of one level are read row by row in step, so a miss also loads
// the next row of each sibling that has just finished its previous row, in
// the same parallel run: fewer, longer runs keep every thread busy.
//
//   DecodeBase base(info, client, interruptDelegate, numThreads);
//   std::vector<int32_t*> lines(base.getNumSelectedBands());
//   base.get_line(lines.data(), subband, row, firstCol, lastCol);  // lines[i][0] is column firstCol
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

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
    // `subband`; the lines are read-only. The pointers stay valid until a
    // get_line asks this subband, or another subband of its level, for a
    // different row of subblocks, or invalidateCache. 2009 beyond the
    // subband; 2012 without memory; a failure of the plane store, the entropy
    // decoder or the interrupt delegate (2007) as it came.
    QVStatus get_line(int32_t** lines, uint32_t subband, uint32_t row, uint32_t firstCol, uint32_t lastCol);

    // Announces the first row and the columns that the reader will ask of
    // `subband`, so that its first row of subblocks is decoded together with
    // its siblings'; an unannounced subband joins them from its second row.
    // A span outside the subband is ignored.
    void expectSpan(uint32_t subband, uint32_t firstRow, uint32_t firstCol, uint32_t lastCol);

    // Whether get_line handed out the shared line of zeros of a span without
    // data (then for every band), so that adding it can be left out.
    bool isZeroLine(const int32_t* line) const { return line == m_zeroLine.data(); }

    // Forgets every cached row and announced span, and re-reads the component set.
    void invalidateCache();

    const XR3ImageInfo& getImageInfo() const { return m_info; }
    uint16_t getNumSelectedBands() const { return uint16_t(m_selectedBands.size()); }
    // The image band of selected band i.
    uint16_t getSelectedBand(uint16_t i) const { return m_selectedBands[i]; }
    uint32_t getNumThreads() const { return m_numThreads; }
    uint32_t getSubblockSize() const { return m_subblockSize; }
    uint32_t getNumSubbands() const { return m_numSubbands; }
    const XR3ColorTransformSupport::Transformer* getTransformer() const { return m_transformer.get(); }

    // Spans of this subband decoded (or zeroed), asked for or loaded with a sibling's.
    uint64_t getMissCount(uint32_t subband) const { return m_cache[subband].misses; }
    // Runs of the entropy decoder, each over the spans of one or more subbands.
    uint64_t getLoadCount() const { return m_loads; }
    // Samples held by all row buffers, over all bands.
    uint64_t getCacheSampleCount() const;

private:
    struct CacheEntry {
        static constexpr uint32_t kNone = 0xFFFFFFFFu;
        uint32_t firstSubblock = kNone;
        uint32_t lastSubblock = kNone;
        uint32_t bufferWidth = 0;  // samples of the span
        uint32_t stride = 0;       // samples per buffer row: the width in whole cache lines
        uint32_t firstColumn = 0;  // subband column of buffer column 0
        uint64_t misses = 0;
        bool allZero = false;  // the span has no data: lines are the zero line
        // The rows of every selected band. Rows and subblocks start on cache
        // lines, so that threads decoding neighbouring subblocks never write
        // to the same line.
        std::vector<int32_t> storage;
        std::vector<int32_t*> bands;  // one per selected band, into storage
        // The first row and the columns announced by expectSpan, in subband
        // coordinates; kNone: nothing announced.
        uint32_t expectedRow = kNone;
        uint32_t expectedFirstCol = 0;
        uint32_t expectedLastCol = 0;
    };

    // Subblocks first..last (one row of a subband) to decode into an entry.
    struct SpanLoad {
        CacheEntry* entry;
        uint32_t subband;
        uint32_t first;
        uint32_t last;
    };
    // At most the five subbands that one synthesis level reads.
    static constexpr size_t kMaxLoads = 5;
    struct LoadList {
        SpanLoad spans[kMaxLoads];
        size_t count = 0;
        uint32_t numSubblocks() const;
    };

    void readComponentSet();
    QVStatus prepareBuffer(CacheEntry& entry, uint32_t bufferWidth);
    QVStatus prepareZeroLine(uint32_t width);
    // Points the entry at subblock columns firstCol..lastCol of a row of
    // subblocks and readies its buffer; a span with data joins `loads`.
    QVStatus startSpan(uint32_t subband, uint32_t subblockRow, uint32_t firstCol, uint32_t lastCol,
                       LoadList& loads);
    // The subblock columns that `subband` will be asked for in row of
    // subblocks `subblockRow`, if that is its next row: the row below the one
    // it holds, with the same columns, or the first row announced for it.
    bool predictSpan(uint32_t subband, uint32_t subblockRow, uint32_t& firstCol, uint32_t& lastCol) const;
    // Starts the predicted span of row `subblockRow` of each sibling of `subband`.
    QVStatus addSiblingSpans(uint32_t subband, uint32_t subblockRow, LoadList& loads);
    QVStatus loadSpans(const LoadList& loads);
    QVStatus loadSerially(const LoadList& loads);
    QVStatus loadInParallel(const LoadList& loads);

    class SubblockJob;
    // The serial half of a subblock: its planes from the store, or, for a
    // subblock without data, zeros in its columns and a null job.
    QVStatus readSubblock(const SpanLoad& span, uint32_t subblock, std::unique_ptr<SubblockJob>& job);
    // The parallel half: entropy decoding, colour transform, interrupt check.
    QVStatus decodeSubblock(const SubblockJob& job) const;
    void zeroColumns(CacheEntry& entry, uint32_t column, uint32_t width, uint32_t height) const;

    const XR3ImageInfo& m_info;
    XR3PlaneStoreClient& m_client;
    QVIInterruptDelegate* m_interruptDelegate;
    uint32_t m_numThreads;
    uint32_t m_subblockSize;
    uint32_t m_numSubbands;
    std::vector<uint16_t> m_selectedBands;
    std::unique_ptr<XR3ColorTransformSupport::Transformer> m_transformer;
    std::vector<CacheEntry> m_cache;
    std::vector<int32_t> m_zeroLine;
    std::vector<std::vector<int32_t>> m_retiredZeroLines;  // narrower ones handed out before
    uint64_t m_loads = 0;
};

}  // namespace Orvanetics
