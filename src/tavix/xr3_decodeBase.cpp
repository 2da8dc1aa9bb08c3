#include "xr3_decodeBase.h"

#include <algorithm>
#include <atomic>
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
        entry.firstSubblock = entry.lastSubblock = CacheEntry::kNone;
        entry.bufferWidth = 0;
        entry.rows.clear();
        entry.rows.shrink_to_fit();
    }
    m_zeroLine = {};
    readComponentSet();
}

uint64_t DecodeBase::getCacheSampleCount() const {
    uint64_t total = 0;
    for (const CacheEntry& entry : m_cache)
        for (const std::vector<int32_t>& row : entry.rows) total += row.size();
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
        ++entry.misses;
        entry.firstSubblock = entry.lastSubblock = CacheEntry::kNone;
        entry.firstColumn = (firstCol / n) * n;
        const uint32_t endColumn = uint32_t(std::min<uint64_t>((uint64_t(lastCol / n) + 1) * n, dims.width));
        const uint32_t spanWidth = endColumn - entry.firstColumn;
        // A span without data costs neither I/O nor decoding nor a fill:
        // every line of it is the shared line of zeros.
        entry.allZero = !m_client.hasSubblocksInRange(subband, first, last);
        if (entry.allZero) {
            if (QVStatus status = prepareZeroLine(spanWidth)) return status;
        } else {
            if (QVStatus status = prepareBuffer(entry, spanWidth)) return status;
            if (QVStatus status = loadSpan(entry, subband, first, last)) return status;
        }
        entry.firstSubblock = first;
        entry.lastSubblock = last;
    }
    if (entry.allZero) {
        std::fill_n(lines, m_selectedBands.size(), m_zeroLine.data());
        return 0;
    }
    const size_t start = size_t(row % n) * entry.bufferWidth + (firstCol - entry.firstColumn);
    for (size_t i = 0; i < entry.rows.size(); ++i) lines[i] = entry.rows[i].data() + start;
    return 0;
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

QVStatus DecodeBase::prepareBuffer(CacheEntry& entry, uint32_t bufferWidth) {
    const uint64_t samples = uint64_t(bufferWidth) * m_subblockSize;
    if (samples > kMaxRowBufferSamples) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (entry.bufferWidth == bufferWidth && entry.rows.size() == m_selectedBands.size()) return 0;
    try {
        entry.rows.assign(m_selectedBands.size(), std::vector<int32_t>(size_t(samples)));
    } catch (const std::bad_alloc&) {
        entry.rows.clear();
        entry.bufferWidth = 0;
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    entry.bufferWidth = bufferWidth;
    return 0;
}

void DecodeBase::zeroColumns(CacheEntry& entry, uint32_t column, uint32_t width, uint32_t height) const {
    for (std::vector<int32_t>& band : entry.rows)
        for (uint32_t y = 0; y < height; ++y)
            std::fill_n(band.data() + size_t(y) * entry.bufferWidth + column, width, 0);
}

QVStatus DecodeBase::loadSpan(CacheEntry& entry, uint32_t subband, uint32_t first, uint32_t last) {
    if (m_numThreads >= 2 && last > first) return loadInParallel(entry, subband, first, last);
    return loadSerially(entry, subband, first, last);
}

QVStatus DecodeBase::readSubblock(CacheEntry& entry, uint32_t subband, uint32_t subblock,
                                  std::unique_ptr<SubblockJob>& job) {
    job.reset();
    std::unique_ptr<SubblockJob> made(new (std::nothrow) SubblockJob);
    if (!made) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (QVStatus status = made->data.init(m_info, uint8_t(subband), subblock, m_info.numBands)) return status;
    uint32_t row = 0, col = 0;
    m_info.getSubblockRowCol(subband, subblock, row, col);
    made->column = col * m_subblockSize - entry.firstColumn;
    if (!m_client.hasSubblock(subband, subblock)) {
        zeroColumns(entry, made->column, made->data.width, made->data.height);
        return 0;
    }
    if (QVStatus status = m_client.getSubblockData(subband, subblock, made->data.getPlanes(), true))
        return status;
    job = std::move(made);
    return 0;
}

QVStatus DecodeBase::decodeSubblock(CacheEntry& entry, const SubblockJob& job) const {
    // One pointer per image band; bands not selected stay null and are skipped.
    constexpr size_t kInlineBands = 16;
    int32_t* coefs[kInlineBands] = {};
    std::vector<int32_t*> wide;
    int32_t** bands = coefs;
    if (m_info.numBands > kInlineBands) {
        wide.assign(m_info.numBands, nullptr);
        bands = wide.data();
    }
    for (size_t i = 0; i < m_selectedBands.size(); ++i) bands[m_selectedBands[i]] = entry.rows[i].data();
    const size_t stride = entry.bufferWidth;
    if (QVStatus status = job.data.decode(bands, stride, job.column, true)) return status;
    if (m_transformer) m_transformer->transform(bands, stride, job.column, job.data.width, job.data.height);
    if (m_interruptDelegate)
        if (QVStatus status = m_interruptDelegate->checkInterrupt()) return xr3Fail(status);
    return 0;
}

QVStatus DecodeBase::loadSerially(CacheEntry& entry, uint32_t subband, uint32_t first, uint32_t last) {
    for (uint32_t subblock = first; subblock <= last; ++subblock) {
        std::unique_ptr<SubblockJob> job;
        if (QVStatus status = readSubblock(entry, subband, subblock, job)) return status;
        if (job)
            if (QVStatus status = decodeSubblock(entry, *job)) return status;
    }
    return 0;
}

QVStatus DecodeBase::loadInParallel(CacheEntry& entry, uint32_t subband, uint32_t first, uint32_t last) {
    std::atomic<QVStatus> sharedStatus{0};
    uint32_t next = first;
    auto reader = [&](tbb::flow_control& control) -> SubblockJob* {
        while (next <= last && sharedStatus.load() == 0) {
            std::unique_ptr<SubblockJob> job;
            if (QVStatus status = readSubblock(entry, subband, next++, job)) {
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
        if (QVStatus status = decodeSubblock(entry, *job)) sharedStatus.store(status);
    };
    tbb::parallel_pipeline(m_numThreads,
                           tbb::make_filter<void, SubblockJob*>(tbb::filter_mode::serial_in_order, reader) &
                               tbb::make_filter<SubblockJob*, void>(tbb::filter_mode::parallel, decoder));
    // A worker's status details stay in its own thread: report it again here.
    if (QVStatus status = sharedStatus.load()) return xr3Fail(status);
    return 0;
}

}  // namespace Orvanetics
