#include "xr3_planesetOrder.h"

#include <algorithm>
#include <tuple>

namespace Orvanetics {

// ---------------------------------------------------------------------------
// OrderingPipe
//
// A complete row r of a subband m levels coarser than the finest one is
// finished at the finest line T = 2^m * (y + 3) - 3, where y = (r + 1) * n - 1,
// or one more for the high-vertical bands (they wait for the next line of
// their low-vertical partner). So T + 1 = (r + 1) * n * 2^m + c with the
// constant c = (2 + late) * 2^m - 2: cut into intervals of n lines, the row
// ends in interval (r + 1) * 2^m + c / n, at line c % n of it. Sorting by
// (interval, line, subband) is sorting by (T, subband).

namespace {

int64_t clampCount(int64_t value, int64_t limit) { return std::clamp<int64_t>(value, 0, limit); }

}  // namespace

QVStatus OrderingPipe::init_tables() {
    std::vector<XR3SubbandDims> dims;
    uint64_t numSubblocks = 0;
    if (QVStatus st = XR3ImageInfo::computeSubbands(width, height, numLevels, subblockSize, dims, numSubblocks))
        return st;
    m_bands.assign(dims.size(), Band());
    m_runs.clear();
    m_numSubblocks = numSubblocks;
    m_numCompletePositions = 0;
    for (uint32_t s = 0; s < dims.size(); ++s) {
        const uint32_t position = s == 0 ? 0 : (s - 1) % 4 + 1;
        addRuns(s, dims[s], position >= 3 ? dims[s - 2].height : 0);
    }
    std::sort(m_runs.begin(), m_runs.end(), [](const Run& a, const Run& b) {
        return std::tie(a.offset, a.subband, a.firstRow) < std::tie(b.offset, b.subband, b.firstRow);
    });
    uint64_t tail = m_numCompletePositions;
    for (Band& band : m_bands) {
        band.tailStart = tail;
        if (band.rows > band.complete) tail += band.cols;
    }
    buildModel();
    m_cache = Group();
    return 0;
}

// `lowHeight` is the height of the low-vertical partner of a high-vertical
// band, 0 for the others.
void OrderingPipe::addRuns(uint32_t subband, const XR3SubbandDims& dims, uint32_t lowHeight) {
    Band& band = m_bands[subband];
    band.complete = dims.height / subblockSize;
    band.rows = dims.rows;
    band.cols = dims.cols;
    m_numCompletePositions += uint64_t(band.complete) * band.cols;
    if (band.complete == 0 || band.cols == 0) return;
    if (lowHeight == 0) {
        addRun(subband, 0, band.complete, band.cols, false);
        return;
    }
    // A high-vertical row waits for the next low-vertical line, unless the
    // partner ends with it.
    const bool lastWaits = uint64_t(band.complete) * subblockSize < lowHeight;
    const uint32_t waiting = lastWaits ? band.complete : band.complete - 1;
    if (waiting > 0) addRun(subband, 0, waiting, band.cols, true);
    if (!lastWaits) addRun(subband, waiting, 1, band.cols, false);
}

void OrderingPipe::addRun(uint32_t subband, uint32_t firstRow, uint32_t numRows, uint32_t cols, bool lineLater) {
    const uint32_t level = subband == 0 ? 1 : (subband + 3) / 4;
    Run run;
    run.subband = subband;
    run.shift = numLevels > level ? numLevels - level : 0;
    run.firstRow = firstRow;
    run.numRows = numRows;
    run.cols = cols;
    const uint64_t c = ((lineLater ? uint64_t(3) : uint64_t(2)) << run.shift) - 2;
    run.lag = int64_t(c / subblockSize);
    run.offset = uint32_t(c % subblockSize);
    m_runs.push_back(run);
}

// Without the rounding down, the rows of a run finished by interval K grow
// linearly from K = lag + firstRow * 2^shift to lag + (firstRow + numRows) *
// 2^shift. The sum over the runs is piecewise linear, and the exact count
// lies below it by less than the columns of the runs in progress.
void OrderingPipe::buildModel() {
    struct Change {
        int64_t interval;
        long double slope;
        int64_t activeCols;
    };
    std::vector<Change> changes;
    m_lastInterval = 0;
    for (const Run& run : m_runs) {
        const int64_t begin = run.lag + (int64_t(run.firstRow) << run.shift);
        const int64_t end = begin + (int64_t(run.numRows) << run.shift);
        const long double slope = (long double)run.cols / (long double)(uint64_t(1) << run.shift);
        changes.push_back({begin, slope, run.cols});
        changes.push_back({end, -slope, -int64_t(run.cols)});
        m_lastInterval = std::max(m_lastInterval, end);
    }
    std::sort(changes.begin(), changes.end(),
              [](const Change& a, const Change& b) { return a.interval < b.interval; });
    m_knots.clear();
    Knot knot;
    for (size_t i = 0; i < changes.size();) {
        const int64_t at = changes[i].interval;
        knot.positions += knot.slope * (long double)(at - knot.interval);
        knot.interval = at;
        for (; i < changes.size() && changes[i].interval == at; ++i) {
            knot.slope += changes[i].slope;
            knot.activeCols = uint64_t(int64_t(knot.activeCols) + changes[i].activeCols);
        }
        m_knots.push_back(knot);
    }
}

bool OrderingPipe::rowInInterval(const Run& run, int64_t interval, uint32_t& row) const {
    const int64_t d = interval - run.lag;
    if (d <= 0 || (d & ((int64_t(1) << run.shift) - 1)) != 0) return false;
    const int64_t r = (d >> run.shift) - 1;
    if (r < run.firstRow || r >= int64_t(run.firstRow) + run.numRows) return false;
    row = uint32_t(r);
    return true;
}

uint64_t OrderingPipe::positionsThrough(int64_t interval) const {
    uint64_t total = 0;
    for (const Run& run : m_runs) {
        // Rows r with (r + 1) << shift <= interval - lag; the shift rounds down.
        const int64_t finished = ((interval - run.lag) >> run.shift) - run.firstRow;
        total += uint64_t(clampCount(finished, run.numRows)) * run.cols;
    }
    return total;
}

int64_t OrderingPipe::estimateInterval(uint64_t sequence) const {
    const long double wanted = (long double)sequence + 0.5L;
    auto after = std::upper_bound(m_knots.begin(), m_knots.end(), wanted,
                                  [](long double v, const Knot& k) { return v < k.positions; });
    if (after == m_knots.begin()) return 1;
    const Knot& knot = *(after - 1);
    if (knot.activeCols == 0) return knot.interval;
    // Aim at the middle of the band in which the exact count can lie.
    const long double target = wanted + 0.5L * (long double)knot.activeCols;
    const long double ahead = (target - knot.positions) / knot.slope;
    return knot.interval + int64_t(std::min(ahead, (long double)(m_lastInterval - knot.interval)));
}

int64_t OrderingPipe::intervalHolding(uint64_t sequence) const {
    // Invariant: positionsThrough(lo) <= sequence < positionsThrough(hi).
    int64_t lo = 0, hi = m_lastInterval;
    const int64_t guess = std::clamp<int64_t>(estimateInterval(sequence), 1, hi);
    const bool guessAbove = positionsThrough(guess) > sequence;
    (guessAbove ? hi : lo) = guess;
    // The guess is a few intervals off at most: widen from it until bracketed.
    for (int64_t step = 1; hi - lo > step; step *= 2) {
        const int64_t probe = guessAbove ? hi - step : lo + step;
        const bool above = positionsThrough(probe) > sequence;
        (above ? hi : lo) = probe;
        if (above != guessAbove) break;
    }
    while (hi - lo > 1) {
        const int64_t mid = lo + (hi - lo) / 2;
        (positionsThrough(mid) > sequence ? hi : lo) = mid;
    }
    return hi;
}

OrderingPipe::Group OrderingPipe::groupInInterval(int64_t interval, uint32_t firstRun, uint64_t start,
                                                  uint64_t sequence) const {
    for (uint32_t i = firstRun; i < m_runs.size(); ++i) {
        uint32_t row;
        if (!rowInInterval(m_runs[i], interval, row)) continue;
        if (sequence < start + m_runs[i].cols) return Group{interval, i, row, start, true};
        start += m_runs[i].cols;
    }
    return Group();
}

uint64_t OrderingPipe::get_ordering(uint32_t subband, uint32_t row, uint32_t col) const {
    if (subband >= m_bands.size()) return m_numSubblocks;
    const Band& band = m_bands[subband];
    if (row >= band.complete) return band.tailStart + col;
    const auto holds = [&](const Run& run) {
        return run.subband == subband && row >= run.firstRow && row - run.firstRow < run.numRows;
    };
    const auto found = std::find_if(m_runs.begin(), m_runs.end(), holds);
    if (found == m_runs.end()) return m_numSubblocks;  // a subband without columns
    const int64_t interval = (int64_t(row + 1) << found->shift) + found->lag;
    uint64_t position = positionsThrough(interval - 1) + col;
    uint32_t other;
    for (auto it = m_runs.begin(); it != found; ++it)
        if (rowInInterval(*it, interval, other)) position += it->cols;
    return position;
}

OrderingPipe::Group OrderingPipe::nextGroup(const Group& group, uint64_t sequence) const {
    const uint64_t end = group.start + m_runs[group.run].cols;
    if (sequence != end) return Group();
    const Group sameInterval = groupInInterval(group.interval, group.run + 1, end, sequence);
    if (sameInterval.valid) return sameInterval;
    // Nothing more ends in this interval, so the next one begins at `end`.
    return groupInInterval(group.interval + 1, 0, end, sequence);
}

bool OrderingPipe::findTail(uint64_t sequence, uint32_t& subband, uint32_t& col) const {
    for (uint32_t s = 0; s < m_bands.size(); ++s) {
        const Band& band = m_bands[s];
        if (band.rows > band.complete && sequence < band.tailStart + band.cols) {
            subband = s;
            col = uint32_t(sequence - band.tailStart);
            return true;
        }
    }
    return false;
}

bool OrderingPipe::invert_ordering(uint64_t sequence, uint32_t& subband, uint32_t& row, uint32_t& col) {
    if (sequence >= m_numSubblocks) return false;
    if (sequence >= m_numCompletePositions) {
        if (!findTail(sequence, subband, col)) return false;
        row = m_bands[subband].rows - 1;
        return true;
    }
    const auto contains = [&](const Group& g) {
        return g.valid && g.start <= sequence && sequence < g.start + m_runs[g.run].cols;
    };
    if (!contains(m_cache)) {
        const Group next = m_cache.valid ? nextGroup(m_cache, sequence) : Group();
        if (next.valid) {
            m_cache = next;
        } else {
            const int64_t interval = intervalHolding(sequence);
            m_cache = groupInInterval(interval, 0, positionsThrough(interval - 1), sequence);
        }
    }
    subband = m_runs[m_cache.run].subband;
    row = m_cache.row;
    col = uint32_t(sequence - m_cache.start);
    return true;
}

// ---------------------------------------------------------------------------
// Subblock iterators

std::unique_ptr<XR3SubblockIter> XR3SubblockIter::create(uint32_t order) {
    switch (order) {
    case XR3_PLANESET_ORDER_PIPELINE: return std::make_unique<PipeSubblockIter>();
    case XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE: return std::make_unique<SBCPSubblockIter>();
    default: return nullptr;
    }
}

void XR3SubblockIter::setInvalid() {
    subblock = kInvalidSubblock;
    component = kInvalidComponent;
    subband = kInvalidSubband;
    plane = kInvalidPlane;
}

void XR3SubblockIter::setPlace(const XR3ImageInfo& info, uint32_t band, uint32_t row, uint32_t col) {
    subband = uint8_t(band);
    subblock = info.getSubblockIndex(band, row, col);
    component = 0;
    plane = 0;
}

QVStatus PipeSubblockIter::init(const XR3ImageInfo& info) {
    m_info = &info;
    m_ordering = std::make_unique<OrderingPipe>(info.subblockSize, info.numLevels, info.height, info.width);
    setInvalid();
    return m_ordering->init_tables();
}

void PipeSubblockIter::begin() { moveTo(0); }

PipeSubblockIter& PipeSubblockIter::operator+=(uint64_t n) {
    if (isValid()) moveTo(n > UINT64_MAX - m_position ? UINT64_MAX : m_position + n);
    return *this;
}

void PipeSubblockIter::moveTo(uint64_t position) {
    m_position = position;
    uint32_t band, row, col;
    if (m_ordering->invert_ordering(position, band, row, col)) setPlace(*m_info, band, row, col);
    else setInvalid();
}

QVStatus SBCPSubblockIter::init(const XR3ImageInfo& info) {
    m_info = &info;
    setInvalid();
    return 0;
}

void SBCPSubblockIter::begin() { moveTo(0, 0); }

SBCPSubblockIter& SBCPSubblockIter::operator+=(uint64_t n) {
    if (isValid()) moveTo(subband, n > UINT64_MAX - subblock ? UINT64_MAX : subblock + n);
    return *this;
}

void SBCPSubblockIter::moveTo(uint32_t band, uint64_t index) {
    for (; band < m_info->subbands.size(); ++band) {
        const XR3SubbandDims& dims = m_info->subbands[band];
        const uint64_t count = uint64_t(dims.rows) * dims.cols;
        if (index < count) {
            subband = uint8_t(band);
            subblock = uint32_t(index);
            component = 0;
            plane = 0;
            return;
        }
        index -= count;
    }
    setInvalid();
}

// ---------------------------------------------------------------------------
// XR3PlaneDescIter

bool XR3PlaneDescIter::init(const XR3ImageInfo& info, uint32_t order) {
    m_subblocks = XR3SubblockIter::create(order);
    m_numBands = info.numBands;
    m_desc = XR3PlaneDesc();
    if (!m_subblocks) return false;
    if (m_subblocks->init(info) != 0 || m_numBands == 0) {
        m_subblocks.reset();
        return false;
    }
    return true;
}

void XR3PlaneDescIter::begin() {
    m_subblocks->begin();
    settle(0, 0);
}

XR3PlaneDescIter& XR3PlaneDescIter::operator+=(uint64_t n) {
    if (!isValid()) return *this;
    const uint64_t perSubblock = uint64_t(kXR3PlanesPerBand) * m_numBands;
    uint64_t offset = uint64_t(m_desc.component) * kXR3PlanesPerBand + m_desc.plane + n % perSubblock;
    const uint64_t steps = n / perSubblock + offset / perSubblock;
    offset %= perSubblock;
    if (steps > 0) *m_subblocks += steps;
    settle(uint16_t(offset / kXR3PlanesPerBand), uint8_t(offset % kXR3PlanesPerBand));
    return *this;
}

void XR3PlaneDescIter::settle(uint16_t component, uint8_t plane) {
    if (!m_subblocks->isValid()) {
        m_desc = XR3PlaneDesc();
        return;
    }
    m_desc = XR3PlaneDesc(m_subblocks->subband, m_subblocks->subblock, component, plane);
}

}  // namespace Orvanetics
