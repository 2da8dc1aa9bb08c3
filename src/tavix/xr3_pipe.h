// The chain of level stages that turns subband lines into image lines, a
// pair of rows at a time, holding a few lines per level.
//
// Stage j (1 = coarsest) synthesises level j from the low-low lines handed
// up by stage j - 1 (subband 0 for stage 1) plus its overflow band, and its
// HL, LH and HH subbands. Each stage works only on the columns and rows that
// the final rectangle depends on. Stages beyond the image's levels (a
// negative scale) synthesise with zero detail bands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qv_statusCodes.h"
#include "qvi_geomRect.h"

namespace Orvanetics {

class DecodeBase;

// An inclusive range of samples; empty when last < first.
struct PipeSpan {
    int64_t first = 0;
    int64_t last = -1;
    int64_t size() const { return last < first ? 0 : last - first + 1; }
};

// The columns one stage computes for an output span [s, e] of a level `w`
// wide: its buffer covers [bufferStart, bufferEnd], of which `leftPad`
// columns on the left and `rightPad` on the right are mirror images.
struct PipeColumnSupport {
    PipeSpan output;
    int64_t bufferStart = 0;
    int64_t bufferEnd = -1;
    uint32_t leftPad = 0;
    uint32_t rightPad = 0;
    uint32_t width = 0;   // of the stage's output
    PipeSpan low;         // columns of its low-horizontal input bands
    PipeSpan high;        // columns of its high-horizontal input bands

    static PipeColumnSupport compute(const PipeSpan& output, uint32_t width);
};

// The rows one stage computes for output rows [ys, ye] of a level `height` tall.
struct PipeRowSupport {
    PipeSpan output;
    uint32_t height = 0;
    uint32_t firstPair = 0;  // row pairs (2i, 2i+1) produced
    uint32_t lastPair = 0;
    PipeSpan low;            // rows of its low-vertical input bands
    PipeSpan high;           // rows of its high-vertical input bands

    static PipeRowSupport compute(const PipeSpan& output, uint32_t height);
};

// One level stage. Rows are handed out in increasing order; a stage
// computes them a pair at a time and keeps four lines per band.
class PipeSeg {
public:
    // `source` is the next coarser stage (null: subband 0 feeds this one);
    // `overflowBand` is added to the low-low input (-1: none); with
    // `zeroDetail` the HL, LH and HH bands are zeros and never read.
    PipeSeg(uint16_t numBands, uint32_t position, PipeSeg* source, int32_t overflowBand, bool zeroDetail,
            const PipeColumnSupport& columns, const PipeRowSupport& rows);

    // Points rows[b] at output row y, column columns.output.first, per band.
    // Rows must be asked for in increasing order, each at most once.
    QVStatus getRow(uint32_t y, const int32_t** rows, DecodeBase& base);

    // Tells the base the first row and the columns it will read of each band.
    void expectSpans(DecodeBase& base) const;

    const PipeColumnSupport& getColumns() const { return m_columns; }
    const PipeRowSupport& getRows() const { return m_rows; }
    uint64_t getLineSampleCount() const { return m_lines.size(); }

private:
    enum Line { EvenCurrent, EvenNext, HighCurrent, HighNext, NumLines };

    int32_t* line(Line which, uint16_t band) { return m_linePtr[which][band]; }
    // The next pair of output rows: one more low and high input line, the
    // vertical steps, the horizontal steps; mirrored at the bottom edge.
    QVStatus PushPullXform(DecodeBase& base);
    // The first even row: its high lines (mirrored at the top edge) and its low line.
    QVStatus StartPipeSeg(DecodeBase& base);
    // Interleaved low-vertical input row i (low-low sum at even columns, HL
    // at odd; zeros there for a stage without detail).
    QVStatus FillMuster(uint32_t i, Line target, DecodeBase& base);
    // Interleaved high-vertical input row i (the subbands at the LH and HH
    // places, at even and odd columns), copied out of the row cache since
    // that is replaced at the next subblock row.
    QVStatus CopySB3n4(uint32_t i, Line target, DecodeBase& base);
    // Points lines at `band` row `row` over `span`; nothing for an empty span.
    // Lines of one row stay valid while the stage fetches the other bands of that row.
    QVStatus fetchBand(uint32_t band, uint32_t row, const PipeSpan& span, std::vector<int32_t*>& lines,
                       DecodeBase& base);
    // Writes the low-horizontal and high-horizontal input rows of every band
    // to their alternate columns of `target`.
    void interleave(Line target, const int32_t* const* low, const int32_t* const* high);
    void zeroLine(Line target);
    void liftEvenRows(Line even, const int32_t* const* highBefore, const int32_t* const* highAfter);
    void liftOddRows(Line odd, Line evenBefore, Line evenAfter);
    void synthesiseRow(int32_t* row);

    uint16_t m_numBands;
    uint32_t m_position;  // subband number of its HH band
    PipeSeg* m_source;
    int32_t m_overflowBand;
    bool m_zeroDetail;
    PipeColumnSupport m_columns;
    PipeRowSupport m_rows;
    int64_t m_bufferLength;
    int64_t m_lineStride;  // the length rounded up to whole blocks
    std::vector<int32_t> m_lines;
    std::vector<int32_t*> m_linePtr[NumLines];
    std::vector<int32_t*> m_fetched;        // get_line results: the overflow band
    std::vector<int32_t*> m_lowFetched;     // the band at the low-horizontal place
    std::vector<int32_t*> m_highFetched;    // the band at the high-horizontal place
    std::vector<const int32_t*> m_sourceRows;
    std::vector<int32_t> m_zeros;           // the high input of a stage without detail
    std::vector<const int32_t*> m_zeroRows;
    uint32_t m_nextPair;
    uint32_t m_pairRow = 0;                 // first row of the pair at hand
    uint32_t m_pairCount = 0;               // its rows, 0 before the first
};

class Pipe {
public:
    // A pipe for `rect` (inclusive, within the width by height image at the
    // output level) of an image of `numLevels` levels, at `scale` octaves
    // below full resolution (negative: above). Null for an image under 3
    // rows or columns, a scale above numLevels or a rectangle outside.
    static std::unique_ptr<Pipe> create(const QVIGeomRect& rect, uint32_t numLevels, uint32_t height,
                                        uint32_t width, uint16_t numBands, int32_t scale);

    // The column support of every stage for output columns x0..x1 of a
    // level `width` wide, `levels` stages deep; entry 0 is the last stage.
    static std::vector<PipeColumnSupport> getSupport(int64_t x0, int64_t x1, uint32_t width, uint32_t levels);

    // Writes output rows rect.y0..rect.y1 (the next rows, in order) over the
    // pipe's columns to lines[b] + (y - rect.y0) * stride.
    QVStatus fillPipe(const QVIGeomRect& rect, int32_t* const* lines, size_t stride, DecodeBase& base);
    // Tells the base the first row and the columns that the pipe will read
    // of every subband, before the first fillPipe.
    void expectSpans(DecodeBase& base) const;

    uint32_t getNumLevels() const { return m_numLevels; }
    int32_t getScale() const { return m_scale; }
    uint32_t getNumStages() const { return uint32_t(m_stages.size()); }
    const PipeSeg& getStage(uint32_t i) const { return *m_stages[i]; }
    const QVIGeomRect& getRect() const { return m_rect; }
    // Samples held by the stages' lines, over all bands.
    uint64_t getLineSampleCount() const;

private:
    Pipe(const QVIGeomRect& rect, uint32_t numLevels, uint16_t numBands, int32_t scale);
    // Adds the overflow band of the next finer level to an output row.
    QVStatus AddInOverflow(uint32_t y, int32_t* const* to, DecodeBase& base);

    QVIGeomRect m_rect;
    uint32_t m_numLevels;
    uint16_t m_numBands;
    int32_t m_scale;
    int32_t m_outputOverflowBand = -1;
    std::vector<std::unique_ptr<PipeSeg>> m_stages;  // coarsest first
    std::vector<int32_t*> m_fetched;
    std::vector<const int32_t*> m_rowPtrs;
    std::vector<int32_t*> m_outPtrs;
};

}  // namespace Orvanetics
