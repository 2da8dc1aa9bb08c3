#include "xr3_planesetOrder.h"

#include <algorithm>

namespace Orvanetics {

// ---------------------------------------------------------------------------
// OrderingPipe
//
// A complete row group (subband s, subblock row r) is finished at the finest
// line T = 2^m * (y + 3) - 3, where y is its last line at its own level and
// m the number of finer levels. Groups follow each other by (T, s, r). Since
// T grows with r, the number of rows of a subband finished by a bound is a
// closed formula, so a position is a sum over the subbands, and the inverse a
// search over T.

QVStatus OrderingPipe::init_tables() {
    std::vector<XR3SubbandDims> dims;
    uint64_t numSubblocks = 0;
    if (QVStatus st = XR3ImageInfo::computeSubbands(width, height, numLevels, subblockSize, dims, numSubblocks))
        return st;
    m_bands.assign(dims.size(), Band());
    m_numSubblocks = numSubblocks;
    m_numCompletePositions = 0;
    m_maxBound = 0;
    for (uint32_t s = 0; s < dims.size(); ++s) {
        Band& band = m_bands[s];
        const uint32_t level = s == 0 ? 1 : (s + 3) / 4;
        band.shift = numLevels > level ? numLevels - level : 0;
        band.position = s == 0 ? 0 : (s - 1) % 4 + 1;
        band.lowHeight = band.position >= 3 ? dims[s - 2].height : dims[s].height;
        band.complete = dims[s].height / subblockSize;
        band.rows = dims[s].rows;
        band.cols = dims[s].cols;
        m_numCompletePositions += uint64_t(band.complete) * band.cols;
        if (band.complete > 0 && band.cols > 0)
            m_maxBound = std::max(m_maxBound, finishLine(s, band.complete - 1) + 3);
    }
    uint64_t tail = m_numCompletePositions;
    for (Band& band : m_bands) {
        band.tailStart = tail;
        if (band.rows > band.complete) tail += band.cols;
    }
    m_cache = Group();
    return 0;
}

uint64_t OrderingPipe::finishLine(uint32_t subband, uint32_t row) const {
    const Band& band = m_bands[subband];
    const uint64_t end = (uint64_t(row) + 1) * subblockSize;
    // The high-vertical bands are finished one line later, when the next
    // low-vertical line exists.
    const uint64_t y = band.position >= 3 && end < band.lowHeight ? end : end - 1;
    return ((y + 3) << band.shift) - 3;
}

uint32_t OrderingPipe::rowsFinishedBy(uint32_t subband, uint64_t bound) const {
    const Band& band = m_bands[subband];
    const uint64_t q = bound >> band.shift;
    if (q < 3 || band.complete == 0) return 0;
    const uint64_t lastLine = q - 3;
    uint32_t count = uint32_t(std::min<uint64_t>((lastLine + 1) / subblockSize, band.complete));
    // Only the last counted row can end one line later than (r + 1) * n - 1.
    if (band.position >= 3 && count > 0 && finishLine(subband, count - 1) + 3 > bound) --count;
    return count;
}

uint32_t OrderingPipe::rowsBefore(uint32_t other, uint32_t subband, uint32_t row, uint64_t line) const {
    if (other == subband) return row;
    return rowsFinishedBy(other, other < subband ? line + 3 : line + 2);
}

uint64_t OrderingPipe::positionsFinishedBy(uint64_t bound) const {
    uint64_t total = 0;
    for (uint32_t s = 0; s < m_bands.size(); ++s) total += uint64_t(rowsFinishedBy(s, bound)) * m_bands[s].cols;
    return total;
}

uint64_t OrderingPipe::get_ordering(uint32_t subband, uint32_t row, uint32_t col) const {
    const Band& band = m_bands[subband];
    if (row >= band.complete) return band.tailStart + col;
    const uint64_t line = finishLine(subband, row);
    uint64_t position = col;
    for (uint32_t s = 0; s < m_bands.size(); ++s)
        position += uint64_t(rowsBefore(s, subband, row, line)) * m_bands[s].cols;
    return position;
}

OrderingPipe::Group OrderingPipe::findGroup(uint64_t sequence) const {
    // Smallest bound whose finished rows cover the sequence position. The
    // positions grow almost linearly with the bound, so interpolation finds
    // it in a few steps; every other step halves, for the worst case.
    uint64_t lo = 0, hi = m_maxBound;
    uint64_t atLo = 0, atHi = m_numCompletePositions;  // positionsFinishedBy(lo), (hi)
    for (bool interpolate = true; hi - lo > 1; interpolate = !interpolate) {
        uint64_t mid = lo + (hi - lo) / 2;
        if (interpolate) {
            const long double share = (long double)(sequence + 1 - atLo) / (long double)(atHi - atLo);
            mid = lo + uint64_t(share * (long double)(hi - lo));
            mid = std::clamp(mid, lo + 1, hi - 1);
        }
        const uint64_t atMid = positionsFinishedBy(mid);
        if (atMid > sequence) {
            hi = mid;
            atHi = atMid;
        } else {
            lo = mid;
            atLo = atMid;
        }
    }
    lo = hi;
    // The rows finished exactly at line lo - 3, in subband order.
    uint64_t start = positionsFinishedBy(lo - 1);
    for (uint32_t s = 0; s < m_bands.size(); ++s) {
        const uint32_t cols = m_bands[s].cols;
        for (uint32_t r = rowsFinishedBy(s, lo - 1); r < rowsFinishedBy(s, lo); ++r) {
            if (sequence < start + cols) return Group{s, r, start, true};
            start += cols;
        }
    }
    return Group();
}

OrderingPipe::Group OrderingPipe::nextGroup(const Group& group) const {
    const uint64_t line = finishLine(group.subband, group.row);
    Group next;
    uint64_t nextLine = 0;
    for (uint32_t s = 0; s < m_bands.size(); ++s) {
        const Band& band = m_bands[s];
        const uint32_t row = s == group.subband ? group.row + 1 : rowsBefore(s, group.subband, group.row, line);
        if (band.cols == 0 || row >= band.complete) continue;
        const uint64_t candidate = finishLine(s, row);
        // Subbands are visited in ascending order, so ties keep the first.
        if (!next.valid || candidate < nextLine) {
            next = Group{s, row, 0, true};
            nextLine = candidate;
        }
    }
    next.start = group.start + m_bands[group.subband].cols;
    return next;
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
        return g.valid && g.start <= sequence && sequence < g.start + m_bands[g.subband].cols;
    };
    if (!contains(m_cache)) {
        const bool stepForward = m_cache.valid && sequence == m_cache.start + m_bands[m_cache.subband].cols;
        const Group next = stepForward ? nextGroup(m_cache) : Group();
        m_cache = contains(next) ? next : findGroup(sequence);
    }
    subband = m_cache.subband;
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
