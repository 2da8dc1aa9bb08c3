#include "xr3_decodeBase.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include <tbb/info.h>
#include <tbb/parallel_pipeline.h>

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

// One subblock on its way from the serial reader to a parallel decoder.
class DecodeBase::SubblockJob {
public:
    XR3SubblockData data;
    CacheEntry* entry = nullptr;
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
      m_cache(info.subbands.size()) {
    readComponentSet();
}

DecodeBase::~DecodeBase() = default;

void DecodeBase::readComponentSet() {
    const XR3ComponentSet& components = m_client.getComponentSet();
    m_selectedBands.clear();
    for (uint32_t b = 0; b < m_info.numBands; ++b)
        if (components.isSet(b)) m_selectedBands.push_back(uint16_t(b));
    m_transformer = XR3ColorTransformSupport::create(m_info, true, &components);
}

void DecodeBase::invalidateCache() {
    for (CacheEntry& entry : m_cache) {
        entry.firstSubblock = entry.lastSubblock = entry.expectedRow = CacheEntry::kNone;
        entry.bufferWidth = entry.stride = 0;
        entry.storage = {};
        entry.bands.clear();
    }
    m_zeroLine = {};
    m_retiredZeroLines.clear();
    readComponentSet();
}

uint64_t DecodeBase::getCacheSampleCount() const {
    uint64_t total = 0;
    for (const CacheEntry& entry : m_cache)
        total += entry.storage.size();
    for (const std::vector<int32_t>& line : m_retiredZeroLines) total += line.size();
    return total + m_zeroLine.size();
}

QVStatus DecodeBase::get_line(int32_t** lines, uint32_t subband, uint32_t row, uint32_t firstCol,
                              uint32_t lastCol) {
    if (subband >= m_numSubbands || m_subblockSize == 0) return xr3Fail(QVI_STS_Tavix_BadArgument);
    const XR3SubbandDims& dims = m_info.subbands[subband];
    if (row >= dims.height || lastCol >= dims.width || firstCol > lastCol)
        return xr3Fail(QVI_STS_Tavix_BadArgument);

    const uint32_t n = m_subblockSize;
    const uint32_t subblockRow = row / n;
    const uint32_t first = m_info.getSubblockIndex(subband, subblockRow, firstCol / n);
    const uint32_t last = m_info.getSubblockIndex(subband, subblockRow, lastCol / n);
    CacheEntry& entry = m_cache[subband];
    if (entry.firstSubblock == CacheEntry::kNone || first < entry.firstSubblock || last > entry.lastSubblock) {
        LoadList loads;
        if (QVStatus status = startSpan(subband, subblockRow, firstCol / n, lastCol / n, loads)) return status;
        QVStatus status = addSiblingSpans(subband, subblockRow, loads);
        if (status == 0) status = loadSpans(loads);
        if (status) {
            for (size_t i = 0; i < loads.count; ++i)
                loads.spans[i].entry->firstSubblock = loads.spans[i].entry->lastSubblock = CacheEntry::kNone;
            return status;
        }
    }
    if (entry.allZero) {
        std::fill_n(lines, m_selectedBands.size(), m_zeroLine.data());
        return 0;
    }
    const size_t start = size_t(row % n) * entry.stride + (firstCol - entry.firstColumn);
    for (size_t i = 0; i < entry.bands.size(); ++i) lines[i] = entry.bands[i] + start;
    return 0;
}

QVStatus DecodeBase::startSpan(uint32_t subband, uint32_t subblockRow, uint32_t firstCol, uint32_t lastCol,
                               LoadList& loads) {
    CacheEntry& entry = m_cache[subband];
    ++entry.misses;
    entry.firstSubblock = entry.lastSubblock = CacheEntry::kNone;
    const uint32_t n = m_subblockSize;
    entry.firstColumn = firstCol * n;
    const uint32_t endColumn =
        uint32_t(std::min<uint64_t>((uint64_t(lastCol) + 1) * n, m_info.subbands[subband].width));
    const uint32_t spanWidth = endColumn - entry.firstColumn;
    const uint32_t first = m_info.getSubblockIndex(subband, subblockRow, firstCol);
    const uint32_t last = m_info.getSubblockIndex(subband, subblockRow, lastCol);
    // A span without data costs neither I/O nor decoding nor a fill:
    // every line of it is the shared line of zeros.
    entry.allZero = !m_client.hasSubblocksInRange(subband, first, last);
    if (entry.allZero) {
        if (QVStatus status = prepareZeroLine(spanWidth)) return status;
    } else {
        if (QVStatus status = prepareBuffer(entry, spanWidth)) return status;
        loads.spans[loads.count++] = SpanLoad{&entry, subband, first, last};
    }
    entry.firstSubblock = first;
    entry.lastSubblock = last;
    return 0;
}

void DecodeBase::expectSpan(uint32_t subband, uint32_t firstRow, uint32_t firstCol, uint32_t lastCol) {
    if (subband >= m_numSubbands) return;
    const XR3SubbandDims& dims = m_info.subbands[subband];
    if (firstRow >= dims.height || lastCol >= dims.width || firstCol > lastCol) return;
    CacheEntry& entry = m_cache[subband];
    entry.expectedRow = firstRow;
    entry.expectedFirstCol = firstCol;
    entry.expectedLastCol = lastCol;
}

bool DecodeBase::predictSpan(uint32_t subband, uint32_t subblockRow, uint32_t& firstCol, uint32_t& lastCol) const {
    if (subblockRow >= m_info.subbands[subband].rows) return false;
    const CacheEntry& held = m_cache[subband];
    const uint32_t n = m_subblockSize;
    if (held.firstSubblock == CacheEntry::kNone) {
        if (held.expectedRow == CacheEntry::kNone || held.expectedRow / n != subblockRow) return false;
        firstCol = held.expectedFirstCol / n;
        lastCol = held.expectedLastCol / n;
        return true;
    }
    uint32_t heldRow = 0;
    m_info.getSubblockRowCol(subband, held.firstSubblock, heldRow, firstCol);
    m_info.getSubblockRowCol(subband, held.lastSubblock, heldRow, lastCol);
    return heldRow + 1 == subblockRow;
}

QVStatus DecodeBase::addSiblingSpans(uint32_t subband, uint32_t subblockRow, LoadList& loads) {
    // Level stage j reads subbands 4j-3 to 4j at the same row, and the
    // coarsest stage subband 0 as well.
    const uint32_t level = subband == 0 ? 1 : (subband + 3) / 4;
    const uint32_t firstSibling = level == 1 ? 0 : 4 * level - 3;
    const uint32_t lastSibling = std::min(4 * level, m_numSubbands - 1);
    for (uint32_t sibling = firstSibling; sibling <= lastSibling; ++sibling) {
        uint32_t firstCol = 0, lastCol = 0;
        if (sibling == subband || !predictSpan(sibling, subblockRow, firstCol, lastCol)) continue;
        if (QVStatus status = startSpan(sibling, subblockRow, firstCol, lastCol, loads)) return status;
    }
    return 0;
}

uint32_t DecodeBase::LoadList::numSubblocks() const {
    uint32_t total = 0;
    for (size_t i = 0; i < count; ++i) total += spans[i].last - spans[i].first + 1;
    return total;
}

QVStatus DecodeBase::prepareZeroLine(uint32_t width) {
    if (m_zeroLine.size() >= width) return 0;
    // A stage holds the lines of one row of several subbands at once, so a
    // zero line handed out must outlive a wider one: it retires instead of
    // being freed. Doubling keeps the retired ones smaller than the current.
    try {
        std::vector<int32_t> wider(std::max<size_t>(width, 2 * m_zeroLine.size()), 0);
        if (!m_zeroLine.empty()) m_retiredZeroLines.push_back(std::move(m_zeroLine));
        m_zeroLine = std::move(wider);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

QVStatus DecodeBase::prepareBuffer(CacheEntry& entry, uint32_t bufferWidth) {
    constexpr size_t kCacheLine = 64, kLineSamples = kCacheLine / sizeof(int32_t), kAliasingSamples = 256;
    uint64_t stride = (uint64_t(bufferWidth) + kLineSamples - 1) / kLineSamples * kLineSamples;
    // Rows a multiple of 1 KiB apart share a few cache sets, so a subblock's
    // rows would evict each other on every plane; a line more spreads them.
    if (stride % kAliasingSamples == 0) stride += kLineSamples;
    const uint64_t bandSamples = stride * m_subblockSize;
    if (bandSamples > kMaxRowBufferSamples) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (entry.bufferWidth == bufferWidth && entry.bands.size() == m_selectedBands.size()) return 0;
    const size_t numBands = m_selectedBands.size();
    try {
        entry.bands.resize(numBands);
        entry.storage.assign(size_t(bandSamples) * numBands + kLineSamples - 1, 0);
    } catch (const std::bad_alloc&) {
        entry.storage = {};
        entry.bands.clear();
        entry.bufferWidth = entry.stride = 0;
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    void* first = entry.storage.data();
    size_t space = entry.storage.size() * sizeof(int32_t);
    std::align(kCacheLine, size_t(bandSamples) * numBands * sizeof(int32_t), first, space);
    for (size_t b = 0; b < numBands; ++b) entry.bands[b] = static_cast<int32_t*>(first) + b * size_t(bandSamples);
    entry.bufferWidth = bufferWidth;
    entry.stride = uint32_t(stride);
    return 0;
}

void DecodeBase::zeroColumns(CacheEntry& entry, uint32_t column, uint32_t width, uint32_t height) const {
    for (int32_t* band : entry.bands)
        for (uint32_t y = 0; y < height; ++y) std::fill_n(band + size_t(y) * entry.stride + column, width, 0);
}

QVStatus DecodeBase::loadSpans(const LoadList& loads) {
    if (loads.count == 0) return 0;
    ++m_loads;
    if (m_numThreads >= 2 && loads.numSubblocks() > 1) return loadInParallel(loads);
    return loadSerially(loads);
}

QVStatus DecodeBase::readSubblock(const SpanLoad& span, uint32_t subblock, std::unique_ptr<SubblockJob>& job) {
    job.reset();
    std::unique_ptr<SubblockJob> made(new (std::nothrow) SubblockJob);
    if (!made) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (QVStatus status = made->data.init(m_info, uint8_t(span.subband), subblock, m_info.numBands))
        return status;
    uint32_t row = 0, col = 0;
    m_info.getSubblockRowCol(span.subband, subblock, row, col);
    made->entry = span.entry;
    made->column = col * m_subblockSize - span.entry->firstColumn;
    if (!m_client.hasSubblock(span.subband, subblock)) {
        zeroColumns(*span.entry, made->column, made->data.width, made->data.height);
        return 0;
    }
    if (QVStatus status = m_client.getSubblockData(span.subband, subblock, made->data.getPlanes(), true))
        return status;
    job = std::move(made);
    return 0;
}

QVStatus DecodeBase::decodeSubblock(const SubblockJob& job) const {
    // One pointer per image band; bands not selected stay null and are skipped.
    constexpr size_t kInlineBands = 16;
    int32_t* coefs[kInlineBands] = {};
    std::vector<int32_t*> wide;
    int32_t** bands = coefs;
    if (m_info.numBands > kInlineBands) {
        wide.assign(m_info.numBands, nullptr);
        bands = wide.data();
    }
    for (size_t i = 0; i < m_selectedBands.size(); ++i) bands[m_selectedBands[i]] = job.entry->bands[i];
    const size_t stride = job.entry->stride;
    if (QVStatus status = job.data.decode(bands, stride, job.column, true)) return status;
    if (m_transformer) m_transformer->transform(bands, stride, job.column, job.data.width, job.data.height);
    if (m_interruptDelegate)
        if (QVStatus status = m_interruptDelegate->checkInterrupt()) return xr3Fail(status);
    return 0;
}

QVStatus DecodeBase::loadSerially(const LoadList& loads) {
    for (size_t i = 0; i < loads.count; ++i) {
        const SpanLoad& span = loads.spans[i];
        for (uint32_t subblock = span.first; subblock <= span.last; ++subblock) {
            std::unique_ptr<SubblockJob> job;
            if (QVStatus status = readSubblock(span, subblock, job)) return status;
            if (job)
                if (QVStatus status = decodeSubblock(*job)) return status;
        }
    }
    return 0;
}

QVStatus DecodeBase::loadInParallel(const LoadList& loads) {
    std::atomic<QVStatus> sharedStatus{0};
    size_t span = 0;
    uint32_t next = loads.spans[0].first;
    auto reader = [&](tbb::flow_control& control) -> SubblockJob* {
        while (span < loads.count && sharedStatus.load() == 0) {
            if (next > loads.spans[span].last) {
                if (++span < loads.count) next = loads.spans[span].first;
                continue;
            }
            std::unique_ptr<SubblockJob> job;
            if (QVStatus status = readSubblock(loads.spans[span], next++, job)) {
                sharedStatus.store(status);
                break;
            }
            if (job) return job.release();
        }
        control.stop();
        return nullptr;
    };
    auto decoder = [&](SubblockJob* raw) {
        std::unique_ptr<SubblockJob> job(raw);
        if (QVStatus status = decodeSubblock(*job)) sharedStatus.store(status);
    };
    tbb::parallel_pipeline(m_numThreads,
                           tbb::make_filter<void, SubblockJob*>(tbb::filter_mode::serial_in_order, reader) &
                               tbb::make_filter<SubblockJob*, void>(tbb::filter_mode::parallel, decoder));
    // A worker's status details stay in its own thread: report it again here.
    if (QVStatus status = sharedStatus.load()) return xr3Fail(status);
    return 0;
}

}  // namespace Orvanetics
