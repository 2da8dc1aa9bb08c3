#include "xr3_decodeBase.h"

#include <algorithm>
#include <new>

#include <tbb/info.h>

#include "xr3_subblockData.h"

namespace Orvanetics {

uint32_t xr3ResolveNumThreads(int32_t toolValue, int32_t defaultValue) {
    static std::atomic<uint32_t> machineThreads{0};
    if (toolValue > 0) return uint32_t(toolValue);
    if (defaultValue > 0) return uint32_t(defaultValue);
    uint32_t remembered = machineThreads.load(std::memory_order_relaxed);
    if (remembered == 0) {
        remembered = uint32_t(std::max(1, tbb::info::default_concurrency()));
        machineThreads.store(remembered, std::memory_order_relaxed);
    }
    return remembered;
}

// One subblock on its way from the serial reader to a decoder.
class DecodeBase::SubblockJob {
public:
    XR3SubblockData data;
    uint32_t column = 0;  // of the subblock's first sample in the row buffer
};

DecodeBase::DecodeBase(const XR3ImageInfo& info, XR3PlaneStoreClient& client,
                       QVIInterruptDelegate* interruptDelegate, uint32_t numThreads)
    : m_info(info),
      m_client(client),
      m_interruptDelegate(interruptDelegate),
      m_numThreads(std::max<uint32_t>(numThreads, 1)),
      m_subblockSize(info.subblockSize),
      m_numSubbands(uint32_t(info.subbands.size())),
      m_arena(int(std::min<uint32_t>(m_numThreads, 1024))),
      m_cache(new CacheEntry[info.subbands.size()]) {
    readComponentSet();
}

DecodeBase::~DecodeBase() { drain(); }

void DecodeBase::readComponentSet() {
    const XR3ComponentSet& components = m_client.getComponentSet();
    m_selectedBands.clear();
    for (uint32_t b = 0; b < m_info.numBands; ++b)
        if (components.isSet(b)) m_selectedBands.push_back(uint16_t(b));
    m_transformer = XR3ColorTransformSupport::create(m_info, true, &components);
}

void DecodeBase::drain() {
    // Work not yet started finds the decode stopping and skips its subblock.
    QVStatus running = 0;
    m_stopStatus.compare_exchange_strong(running, QVI_STS_Tavix_Interrupt);
    for (uint32_t s = 0; s < m_numSubbands; ++s)
        for (RowSlot& slot : m_cache[s].slots) dropSlot(slot);
    m_stopStatus.store(0);
}

void DecodeBase::invalidateCache() {
    drain();
    for (uint32_t s = 0; s < m_numSubbands; ++s) {
        CacheEntry& entry = m_cache[s];
        for (RowSlot& slot : entry.slots) {
            slot.bufferWidth = 0;
            slot.rows.clear();
            slot.rows.shrink_to_fit();
        }
        entry.lastRow = kNone;
    }
    m_zeroLine = {};
    readComponentSet();
}

void DecodeBase::setReadAheadLimit(uint32_t subband, uint32_t lastRow) {
    if (subband < m_numSubbands) m_cache[subband].lastRow = lastRow;
}

uint64_t DecodeBase::getCacheSampleCount() const {
    uint64_t total = 0;
    for (uint32_t s = 0; s < m_numSubbands; ++s)
        for (const RowSlot& slot : m_cache[s].slots)
            for (const std::vector<int32_t>& row : slot.rows) total += row.size();
    return total + m_zeroLine.size();
}

QVStatus DecodeBase::get_line(int32_t** lines, uint32_t subband, uint32_t row, uint32_t firstCol,
                              uint32_t lastCol) {
    if (subband >= m_numSubbands || m_subblockSize == 0) return xr3Fail(QVI_STS_Tavix_BadArgument);
    const XR3SubbandDims& dims = m_info.subbands[subband];
    if (row >= dims.height || lastCol >= dims.width || firstCol > lastCol)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (QVStatus status = m_stopStatus.load()) return xr3Fail(status);

    const uint32_t n = m_subblockSize;
    const Span span{subband, row / n, firstCol / n, lastCol / n};
    CacheEntry& entry = m_cache[subband];
    const uint32_t first = m_info.getSubblockIndex(subband, span.subblockRow, span.firstCol);
    const uint32_t last = m_info.getSubblockIndex(subband, span.subblockRow, span.lastCol);
    if (!entry.now().covers(first, last)) {
        ++entry.misses;
        if (QVStatus status = loadCurrent(entry, span)) return status;
    }
    RowSlot& slot = entry.now();
    if (slot.allZero) {
        std::fill_n(lines, m_selectedBands.size(), m_zeroLine.data());
        return 0;
    }
    const size_t start = size_t(row % n) * slot.bufferWidth + (firstCol - slot.firstColumn);
    for (size_t i = 0; i < slot.rows.size(); ++i) lines[i] = slot.rows[i].data() + start;
    return 0;
}

QVStatus DecodeBase::loadCurrent(CacheEntry& entry, const Span& span) {
    const uint32_t first = m_info.getSubblockIndex(span.subband, span.subblockRow, span.firstCol);
    const uint32_t last = m_info.getSubblockIndex(span.subband, span.subblockRow, span.lastCol);
    if (entry.ahead().covers(first, last)) {
        entry.current ^= 1u;
    } else {
        // Not foreseen: an ahead row of another span is of no use, and its
        // memory goes, so that a subband without read-ahead keeps one row.
        RowSlot& unused = entry.ahead();
        dropSlot(unused);
        unused.bufferWidth = 0;
        unused.rows.clear();
        startSlot(entry.now(), span);
    }
    // The next row is queued behind this one, so that no thread idles while
    // the caller waits for the last subblocks of this row.
    startReadAhead(entry, span);
    return finishSlot(entry.now());
}

void DecodeBase::startReadAhead(CacheEntry& entry, const Span& current) {
    const Span next{current.subband, current.subblockRow + 1, current.firstCol, current.lastCol};
    if (!readsAhead() || entry.lastRow == kNone || next.subblockRow > entry.lastRow / m_subblockSize ||
        next.subblockRow >= m_info.subbands[current.subband].rows)
        return;
    startSlot(entry.ahead(), next);
}

void DecodeBase::startSlot(RowSlot& slot, const Span& span) {
    const uint32_t n = m_subblockSize;
    const uint32_t first = m_info.getSubblockIndex(span.subband, span.subblockRow, span.firstCol);
    const uint32_t last = m_info.getSubblockIndex(span.subband, span.subblockRow, span.lastCol);
    slot.firstSubblock = first;
    slot.lastSubblock = last;
    slot.firstColumn = span.firstCol * n;
    const uint32_t endColumn =
        uint32_t(std::min<uint64_t>((uint64_t(span.lastCol) + 1) * n, m_info.subbands[span.subband].width));
    const uint32_t spanWidth = endColumn - slot.firstColumn;
    // A span without data costs neither I/O nor decoding nor a fill: every
    // line of it is the shared line of zeros.
    slot.allZero = !m_client.hasSubblocksInRange(span.subband, first, last);
    QVStatus status = slot.allZero ? prepareZeroLine(spanWidth) : prepareBuffer(slot, spanWidth);
    for (uint32_t subblock = first; status == 0 && !slot.allZero && subblock <= last; ++subblock) {
        std::unique_ptr<SubblockJob> job;
        status = readSubblock(slot, span.subband, subblock, job);
        if (status != 0 || !job) continue;
        if (!readsAhead()) {
            status = decodeSubblock(slot, *job);
            continue;
        }
        try {
            m_arena.enqueue(slot.work.defer([this, &slot, owned = std::move(job)] { runJob(slot, *owned); }));
            slot.pending = true;
        } catch (const std::bad_alloc&) {
            status = QVI_STS_Tavix_OutOfMemory;
        }
    }
    if (status != 0) slot.status.store(status);
}

void DecodeBase::waitSlot(RowSlot& slot) {
    if (!slot.pending) return;
    m_arena.execute([&slot] { slot.work.wait(); });
    slot.pending = false;
}

void DecodeBase::dropSlot(RowSlot& slot) {
    waitSlot(slot);
    slot.status.store(0);
    forgetSlot(slot);
}

QVStatus DecodeBase::finishSlot(RowSlot& slot) {
    waitSlot(slot);
    QVStatus status = slot.status.exchange(0);
    // Subblocks skipped because other work failed leave the row incomplete.
    if (status == 0) status = m_stopStatus.load();
    if (status == 0) return 0;
    forgetSlot(slot);
    // A worker's status details stay in its own thread: report it again here.
    return xr3Fail(status);
}

void DecodeBase::forgetSlot(RowSlot& slot) { slot.firstSubblock = slot.lastSubblock = kNone; }

void DecodeBase::runJob(RowSlot& slot, const SubblockJob& job) {
    if (m_stopStatus.load(std::memory_order_relaxed) != 0) return;
    if (QVStatus status = decodeSubblock(slot, job)) {
        slot.status.store(status);
        m_stopStatus.store(status);
    }
}

QVStatus DecodeBase::prepareZeroLine(uint32_t width) {
    if (m_zeroLine.size() >= width) return 0;
    try {
        m_zeroLine.assign(width, 0);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

QVStatus DecodeBase::prepareBuffer(RowSlot& slot, uint32_t bufferWidth) {
    const uint64_t samples = uint64_t(bufferWidth) * m_subblockSize;
    if (samples > kMaxRowBufferSamples) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (slot.bufferWidth == bufferWidth && slot.rows.size() == m_selectedBands.size()) return 0;
    try {
        slot.rows.assign(m_selectedBands.size(), std::vector<int32_t>(size_t(samples)));
    } catch (const std::bad_alloc&) {
        slot.rows.clear();
        slot.bufferWidth = 0;
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    slot.bufferWidth = bufferWidth;
    return 0;
}

void DecodeBase::zeroColumns(RowSlot& slot, uint32_t column, uint32_t width, uint32_t height) const {
    for (std::vector<int32_t>& band : slot.rows)
        for (uint32_t y = 0; y < height; ++y)
            std::fill_n(band.data() + size_t(y) * slot.bufferWidth + column, width, 0);
}

QVStatus DecodeBase::readSubblock(RowSlot& slot, uint32_t subband, uint32_t subblock,
                                  std::unique_ptr<SubblockJob>& job) {
    job.reset();
    std::unique_ptr<SubblockJob> made(new (std::nothrow) SubblockJob);
    if (!made) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (QVStatus status = made->data.init(m_info, uint8_t(subband), subblock, m_info.numBands)) return status;
    uint32_t row = 0, col = 0;
    m_info.getSubblockRowCol(subband, subblock, row, col);
    made->column = col * m_subblockSize - slot.firstColumn;
    if (!m_client.hasSubblock(subband, subblock)) {
        zeroColumns(slot, made->column, made->data.width, made->data.height);
        return 0;
    }
    if (QVStatus status = m_client.getSubblockData(subband, subblock, made->data.getPlanes(), true))
        return status;
    job = std::move(made);
    return 0;
}

QVStatus DecodeBase::decodeSubblock(RowSlot& slot, const SubblockJob& job) const {
    // One pointer per image band; bands not selected stay null and are skipped.
    constexpr size_t kInlineBands = 16;
    int32_t* coefs[kInlineBands] = {};
    std::unique_ptr<int32_t*[]> wide;
    int32_t** bands = coefs;
    if (m_info.numBands > kInlineBands) {
        wide.reset(new (std::nothrow) int32_t*[m_info.numBands]());
        if (!wide) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
        bands = wide.get();
    }
    for (size_t i = 0; i < m_selectedBands.size(); ++i) bands[m_selectedBands[i]] = slot.rows[i].data();
    const size_t stride = slot.bufferWidth;
    if (QVStatus status = job.data.decode(bands, stride, job.column, true)) return status;
    if (m_transformer) m_transformer->transform(bands, stride, job.column, job.data.width, job.data.height);
    if (m_interruptDelegate)
        if (QVStatus status = m_interruptDelegate->checkInterrupt()) return xr3Fail(status);
    return 0;
}

}  // namespace Orvanetics
