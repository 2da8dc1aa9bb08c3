#include "xr3_pipe.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "xr3_decodeBase.h"
#include "xr3_imageInfo.h"
#include "xr3_wavelet53.h"

namespace Orvanetics {

namespace {

// A level one sample wide or tall has no high band: its mirror images are
// zeros, so that the synthesis passes the low sample through.
bool hasMirror(uint32_t size) { return size >= 2; }

// Lines are padded to whole blocks, and the vertical steps run block by
// block with a fixed trip count, so that they vectorise without run-time
// checks. `x` never shares memory with the two lines it reads.
constexpr int64_t kLineBlock = 8;

int64_t paddedLength(int64_t length) { return (length + kLineBlock - 1) / kLineBlock * kLineBlock; }

template <int32_t (*Step)(int32_t, int32_t, int32_t)>
void liftLine(int32_t* __restrict x, const int32_t* before, const int32_t* after, int64_t length) {
    for (int64_t block = 0; block < length; block += kLineBlock)
        for (int64_t k = block; k < block + kLineBlock; ++k) x[k] = Step(x[k], before[k], after[k]);
}

}  // namespace

PipeColumnSupport PipeColumnSupport::compute(const PipeSpan& output, uint32_t width) {
    PipeColumnSupport c;
    c.output = output;
    c.width = width;
    const int64_t s = output.first, e = output.last, w = width;
    int64_t a = s - 1 - (s & 1);
    if (a < 0) {
        a = -1;
        c.leftPad = 1;
    }
    int64_t b = e + (e & 1) + 1;
    if (w <= b) {
        c.rightPad = uint32_t(((w - 1) & 1) + 1);
        b = ((w - 1) & 1) + w;
    }
    c.bufferStart = a;
    c.bufferEnd = b;
    const int64_t lastReal = b - c.rightPad;
    c.low = {(a + 1) >> 1, lastReal >> 1};
    c.high = {a < 0 ? 0 : a >> 1, (lastReal - 1) >> 1};
    return c;
}

PipeRowSupport PipeRowSupport::compute(const PipeSpan& output, uint32_t height) {
    PipeRowSupport r;
    r.output = output;
    r.height = height;
    r.firstPair = uint32_t(output.first >> 1);
    r.lastPair = uint32_t(output.last >> 1);
    const int64_t numLow = (int64_t(height) + 1) >> 1, numHigh = int64_t(height) >> 1;
    r.low = {r.firstPair, std::min<int64_t>(int64_t(r.lastPair) + 1, numLow - 1)};
    r.high = {std::max<int64_t>(int64_t(r.firstPair) - 1, 0),
              std::min<int64_t>(int64_t(r.lastPair) + 1, numHigh - 1)};
    return r;
}

std::vector<PipeColumnSupport> Pipe::getSupport(int64_t x0, int64_t x1, uint32_t width, uint32_t levels) {
    std::vector<PipeColumnSupport> out;
    PipeSpan span{x0, x1};
    for (uint32_t level = 0; level < levels; ++level) {
        out.push_back(PipeColumnSupport::compute(span, width));
        span = out.back().low;
        width = (width + 1) >> 1;
    }
    return out;
}

PipeSeg::PipeSeg(uint16_t numBands, uint32_t position, PipeSeg* source, int32_t overflowBand, bool zeroDetail,
                 const PipeColumnSupport& columns, const PipeRowSupport& rows)
    : m_numBands(numBands),
      m_position(position),
      m_source(source),
      m_overflowBand(overflowBand),
      m_zeroDetail(zeroDetail),
      m_columns(columns),
      m_rows(rows),
      m_bufferLength(columns.bufferEnd - columns.bufferStart + 1),
      m_lineStride(paddedLength(m_bufferLength)),
      m_lines(size_t(m_lineStride) * NumLines * numBands),
      m_fetched(numBands),
      m_lowFetched(numBands),
      m_highFetched(numBands),
      m_sourceRows(numBands),
      m_nextPair(rows.firstPair) {
    if (zeroDetail) {
        m_zeros.assign(size_t(columns.high.size()), 0);
        m_zeroRows.assign(numBands, m_zeros.data());
    }
    for (int l = 0; l < NumLines; ++l) {
        m_linePtr[l].resize(numBands);
        for (uint16_t b = 0; b < numBands; ++b)
            m_linePtr[l][b] = m_lines.data() + (size_t(l) * numBands + b) * size_t(m_lineStride);
    }
}

void PipeSeg::zeroLine(Line target) {
    for (uint16_t b = 0; b < m_numBands; ++b) std::fill_n(line(target, b), m_lineStride, 0);
}

QVStatus PipeSeg::fetchBand(uint32_t band, uint32_t row, const PipeSpan& span, std::vector<int32_t*>& lines,
                            DecodeBase& base) {
    if (span.size() == 0) return 0;
    return base.get_line(lines.data(), band, row, uint32_t(span.first), uint32_t(span.last));
}

namespace {

// to[2i] = first[i] and to[2i + 1] = second[i]: whole pairs first, which
// vectorise, then the one sample by which the counts may differ.
void interleaveRow(int32_t* __restrict to, const int32_t* first, int64_t firstCount, const int32_t* second,
                   int64_t secondCount) {
    const int64_t pairs = std::min(firstCount, secondCount);
    for (int64_t i = 0; i < pairs; ++i) {
        to[2 * i] = first[i];
        to[2 * i + 1] = second[i];
    }
    for (int64_t i = pairs; i < firstCount; ++i) to[2 * i] = first[i];
    for (int64_t i = pairs; i < secondCount; ++i) to[2 * i + 1] = second[i];
}

}  // namespace

// The low span lands on the columns of the low-horizontal band and the high
// span on the others; the two alternate, starting one column apart.
void PipeSeg::interleave(Line target, const int32_t* const* low, const int32_t* const* high) {
    const PipeSpan& lowSpan = m_columns.low;
    const PipeSpan& highSpan = m_columns.high;
    const int64_t lowK = 2 * lowSpan.first - m_columns.bufferStart;
    const int64_t highK = 2 * highSpan.first + 1 - m_columns.bufferStart;
    const bool lowFirst = lowK < highK;
    for (uint16_t b = 0; b < m_numBands; ++b) {
        int32_t* to = line(target, b) + std::min(lowK, highK);
        if (lowFirst)
            interleaveRow(to, low[b], lowSpan.size(), high[b], highSpan.size());
        else
            interleaveRow(to, high[b], highSpan.size(), low[b], lowSpan.size());
    }
}

QVStatus PipeSeg::FillMuster(uint32_t i, Line target, DecodeBase& base) {
    const PipeSpan& low = m_columns.low;
    // The low-low input: the coarser stage's row, or subband 0.
    const int32_t* const* lowRows = m_sourceRows.data();
    if (m_source) {
        if (QVStatus status = m_source->getRow(i, m_sourceRows.data(), base)) return status;
    } else {
        if (QVStatus status = fetchBand(0, i, low, m_lowFetched, base)) return status;
        lowRows = m_lowFetched.data();
    }
    const bool addOverflow = m_overflowBand >= 0 && low.size() > 0;
    if (addOverflow)
        if (QVStatus status = fetchBand(uint32_t(m_overflowBand), i, low, m_fetched, base)) return status;
    const int32_t* const* highRows = m_zeroRows.data();
    if (!m_zeroDetail) {
        if (QVStatus status = fetchBand(m_position - 2, i, m_columns.high, m_highFetched, base)) return status;
        highRows = m_highFetched.data();
    }
    interleave(target, lowRows, highRows);
    if (!addOverflow || base.isZeroLine(m_fetched[0])) return 0;
    const int64_t lowK = 2 * low.first - m_columns.bufferStart;
    for (uint16_t b = 0; b < m_numBands; ++b) {
        int32_t* to = line(target, b) + lowK;
        const int32_t* from = m_fetched[b];
        for (int64_t x = 0; x < low.size(); ++x) to[2 * x] = xr3WrapAdd(to[2 * x], from[x]);
    }
    return 0;
}

QVStatus PipeSeg::CopySB3n4(uint32_t i, Line target, DecodeBase& base) {
    if (m_zeroDetail) {
        zeroLine(target);
        return 0;
    }
    if (QVStatus status = fetchBand(m_position - 1, i, m_columns.low, m_lowFetched, base)) return status;
    if (QVStatus status = fetchBand(m_position, i, m_columns.high, m_highFetched, base)) return status;
    interleave(target, m_lowFetched.data(), m_highFetched.data());
    return 0;
}

void PipeSeg::liftEvenRows(Line even, const int32_t* const* highBefore, const int32_t* const* highAfter) {
    for (uint16_t b = 0; b < m_numBands; ++b)
        liftLine<xr3LiftEven>(line(even, b), highBefore[b], highAfter[b], m_lineStride);
}

void PipeSeg::liftOddRows(Line odd, Line evenBefore, Line evenAfter) {
    for (uint16_t b = 0; b < m_numBands; ++b)
        liftLine<xr3LiftOdd>(line(odd, b), line(evenBefore, b), line(evenAfter, b), m_lineStride);
}

// Fills the pad columns by mirroring, then runs both horizontal steps. The
// buffer starts at an odd column and ends at one, so even columns sit at
// odd positions.
void PipeSeg::synthesiseRow(int32_t* row) {
    const int64_t start = m_columns.bufferStart, width = m_columns.width, n = m_bufferLength;
    const bool mirror = hasMirror(m_columns.width);
    if (m_columns.leftPad) row[0] = mirror ? row[xr3MirrorIndex(start, width) - start] : 0;
    for (uint32_t p = 0; p < m_columns.rightPad; ++p) {
        const int64_t k = n - 1 - p;
        row[k] = mirror ? row[xr3MirrorIndex(start + k, width) - start] : 0;
    }
    // Two passes over every second sample, each free of loop-carried
    // dependencies, so that both vectorise: all even samples, then the odd
    // ones between finished even neighbours.
    for (int64_t k = 1; k + 1 < n; k += 2) row[k] = xr3LiftEven(row[k], row[k - 1], row[k + 1]);
    for (int64_t k = 2; k + 2 < n; k += 2) row[k] = xr3LiftOdd(row[k], row[k - 1], row[k + 1]);
}

namespace {

void announceSpan(DecodeBase& base, int64_t band, const PipeSpan& rows, const PipeSpan& columns) {
    if (band >= 0 && rows.size() > 0 && columns.size() > 0)
        base.expectSpan(uint32_t(band), uint32_t(rows.first), uint32_t(columns.first), uint32_t(columns.last));
}

}  // namespace

void PipeSeg::expectSpans(DecodeBase& base) const {
    if (!m_source) announceSpan(base, 0, m_rows.low, m_columns.low);
    announceSpan(base, m_overflowBand, m_rows.low, m_columns.low);
    if (m_zeroDetail) return;
    announceSpan(base, m_position - 2, m_rows.low, m_columns.high);
    announceSpan(base, m_position - 1, m_rows.high, m_columns.low);
    announceSpan(base, m_position, m_rows.high, m_columns.high);
}

QVStatus PipeSeg::StartPipeSeg(DecodeBase& base) {
    const uint32_t i = m_rows.firstPair;
    const uint32_t numHigh = m_rows.height >> 1;
    const int32_t* const* before = m_linePtr[HighCurrent].data();
    if (numHigh == 0) {
        zeroLine(HighCurrent);
    } else {
        // The high lines around the first even row, mirrored at the edges.
        const uint32_t after = std::min(i, numHigh - 1);
        const uint32_t above = i > 0 ? i - 1 : 0;
        if (above != after) {
            if (QVStatus status = CopySB3n4(above, HighNext, base)) return status;
            before = m_linePtr[HighNext].data();
        }
        if (QVStatus status = CopySB3n4(after, HighCurrent, base)) return status;
    }
    if (QVStatus status = FillMuster(i, EvenCurrent, base)) return status;
    liftEvenRows(EvenCurrent, before, m_linePtr[HighCurrent].data());
    return 0;
}

QVStatus PipeSeg::PushPullXform(DecodeBase& base) {
    const uint32_t i = m_nextPair;
    if (i > m_rows.lastPair) return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (m_pairCount == 0) {
        if (QVStatus status = StartPipeSeg(base)) return status;
    } else {
        std::swap(m_linePtr[EvenCurrent], m_linePtr[EvenNext]);
        std::swap(m_linePtr[HighCurrent], m_linePtr[HighNext]);
    }
    const uint32_t height = m_rows.height;
    const uint32_t numLow = (height + 1) >> 1, numHigh = height >> 1;
    const bool hasOddRow = 2 * uint64_t(i) + 1 < height;
    if (hasOddRow) {
        Line evenAfter = EvenCurrent;  // mirrored at the bottom edge of an even height
        if (i + 1 < numLow) {
            const int32_t* const* highAfter = m_linePtr[HighCurrent].data();  // mirrored below the last high line
            if (i + 1 < numHigh) {
                if (QVStatus status = CopySB3n4(i + 1, HighNext, base)) return status;
                highAfter = m_linePtr[HighNext].data();
            }
            if (QVStatus status = FillMuster(i + 1, EvenNext, base)) return status;
            liftEvenRows(EvenNext, m_linePtr[HighCurrent].data(), highAfter);
            evenAfter = EvenNext;
        }
        liftOddRows(HighCurrent, EvenCurrent, evenAfter);
    }
    for (uint16_t b = 0; b < m_numBands; ++b) {
        synthesiseRow(line(EvenCurrent, b));
        if (hasOddRow) synthesiseRow(line(HighCurrent, b));
    }
    m_pairRow = 2 * i;
    m_pairCount = hasOddRow ? 2 : 1;
    ++m_nextPair;
    return 0;
}

QVStatus PipeSeg::getRow(uint32_t y, const int32_t** rows, DecodeBase& base) {
    while (m_pairCount == 0 || y >= m_pairRow + m_pairCount) {
        if (QVStatus status = PushPullXform(base)) return status;
    }
    if (y < m_pairRow) return xr3Fail(QVI_STS_Tavix_BadArgument);
    const Line which = y == m_pairRow ? EvenCurrent : HighCurrent;
    const int64_t k = m_columns.output.first - m_columns.bufferStart;
    for (uint16_t b = 0; b < m_numBands; ++b) rows[b] = line(which, b) + k;
    return 0;
}

Pipe::Pipe(const QVIGeomRect& rect, uint32_t numLevels, uint16_t numBands, int32_t scale)
    : m_rect(rect),
      m_numLevels(numLevels),
      m_numBands(numBands),
      m_scale(scale),
      m_fetched(numBands),
      m_rowPtrs(numBands),
      m_outPtrs(numBands) {}

std::unique_ptr<Pipe> Pipe::create(const QVIGeomRect& rect, uint32_t numLevels, uint32_t height, uint32_t width,
                                   uint16_t numBands, int32_t scale) {
    if (width < 3 || height < 3 || numBands == 0) return nullptr;
    if (numLevels > XR3ImageInfo::kMaxNumLevels || scale > int32_t(numLevels) || scale < -31) return nullptr;
    if (rect.isEmpty() || rect.x0 < 0 || rect.y0 < 0 || int64_t(rect.x1) >= width || int64_t(rect.y1) >= height)
        return nullptr;

    const uint32_t numStages = uint32_t(int32_t(numLevels) - scale);
    const std::vector<PipeColumnSupport> columns = getSupport(rect.x0, rect.x1, width, numStages);
    std::vector<PipeRowSupport> rows;
    PipeSpan rowSpan{rect.y0, rect.y1};
    uint32_t stageHeight = height;
    for (uint32_t s = 0; s < numStages; ++s) {
        rows.push_back(PipeRowSupport::compute(rowSpan, stageHeight));
        rowSpan = rows.back().low;
        stageHeight = (stageHeight + 1) >> 1;
    }

    std::unique_ptr<Pipe> pipe(new (std::nothrow) Pipe(rect, numLevels, numBands, scale));
    if (!pipe) return nullptr;
    try {
        PipeSeg* source = nullptr;
        for (uint32_t j = 1; j <= numStages; ++j) {
            const uint32_t fromLast = numStages - j;
            const bool zeroDetail = j > numLevels;
            const int32_t overflowBand = zeroDetail ? -1 : int32_t(4 * (j - 1) + 1);
            pipe->m_stages.push_back(std::make_unique<PipeSeg>(numBands, 4 * j, source, overflowBand, zeroDetail,
                                                               columns[fromLast], rows[fromLast]));
            source = pipe->m_stages.back().get();
        }
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    if (numStages < numLevels) pipe->m_outputOverflowBand = int32_t(4 * numStages + 1);
    return pipe;
}

uint64_t Pipe::getLineSampleCount() const {
    uint64_t total = 0;
    for (const auto& stage : m_stages) total += stage->getLineSampleCount();
    return total;
}

QVStatus Pipe::AddInOverflow(uint32_t y, int32_t* const* to, DecodeBase& base) {
    if (m_outputOverflowBand < 0) return 0;
    if (QVStatus status = base.get_line(m_fetched.data(), uint32_t(m_outputOverflowBand), y, uint32_t(m_rect.x0),
                                        uint32_t(m_rect.x1)))
        return status;
    if (base.isZeroLine(m_fetched[0])) return 0;
    const int64_t count = XR3RectOps::width(m_rect);
    for (uint16_t b = 0; b < m_numBands; ++b)
        for (int64_t x = 0; x < count; ++x) to[b][x] = xr3WrapAdd(to[b][x], m_fetched[b][x]);
    return 0;
}

void Pipe::expectSpans(DecodeBase& base) const {
    const PipeSpan rows{m_rect.y0, m_rect.y1}, columns{m_rect.x0, m_rect.x1};
    if (m_stages.empty()) announceSpan(base, 0, rows, columns);
    for (const auto& stage : m_stages) stage->expectSpans(base);
    announceSpan(base, m_outputOverflowBand, rows, columns);
}

QVStatus Pipe::fillPipe(const QVIGeomRect& rect, int32_t* const* lines, size_t stride, DecodeBase& base) {
    if (rect.y0 < m_rect.y0 || rect.y1 > m_rect.y1 || rect.isEmpty()) return xr3Fail(QVI_STS_Tavix_BadArgument);
    const size_t count = size_t(XR3RectOps::width(m_rect));
    for (int32_t y = rect.y0; y <= rect.y1; ++y) {
        const uint32_t row = uint32_t(y);
        if (m_stages.empty()) {
            if (QVStatus status = base.get_line(m_fetched.data(), 0, row, uint32_t(m_rect.x0), uint32_t(m_rect.x1)))
                return status;
            std::copy(m_fetched.begin(), m_fetched.end(), m_rowPtrs.begin());
        } else if (QVStatus status = m_stages.back()->getRow(row, m_rowPtrs.data(), base)) {
            return status;
        }
        for (uint16_t b = 0; b < m_numBands; ++b) {
            m_outPtrs[b] = lines[b] + size_t(y - rect.y0) * stride;
            std::memcpy(m_outPtrs[b], m_rowPtrs[b], count * sizeof(int32_t));
        }
        if (QVStatus status = AddInOverflow(row, m_outPtrs.data(), base)) return status;
    }
    return 0;
}

}  // namespace Orvanetics
