// Decodes one scene of a wavelet image strip by strip: a Pipe of level
// stages over a DecodeBase, with the finished rows converted into the scene
// buffer's sample type.
//
//   DecodeBase base(info, client, interruptDelegate, numThreads);
//   auto decoder = PipelinedWaveletDecoder::create(rect, info.numLevels, height, width,
//                                                  base.getNumSelectedBands(), scale, base);
//   if (!decoder) return 2009;                  // scene too small or outside
//   decoder->begin(stripHeight, rangeMin, rangeMax);
//   decoder->decodeStrip(stripRect, stripBuffer);   // rows in order, any heights
//   decoder->end();
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qvi_geomRect.h"
#include "xr3_decodeBase.h"
#include "xr3_pipe.h"

namespace Orvanetics {

class QVISceneBuffer;

class PipelinedWaveletDecoder {
public:
    // `rect` is inclusive, in the width by height image at `scale` octaves
    // below full resolution (negative: above) of an image of `numLevels`
    // levels; numBands must equal the base's selected bands. Null for an
    // image under 3 rows or columns at that level, a scale above numLevels,
    // a rectangle outside the image or a band count that differs.
    static std::unique_ptr<PipelinedWaveletDecoder> create(const QVIGeomRect& rect, uint32_t numLevels,
                                                           uint32_t height, uint32_t width, uint16_t numBands,
                                                           int32_t scale, DecodeBase& decodeBase);

    // Allocates the band buffer and produces the first rows. Samples are
    // clamped to rangeMin..rangeMax on output.
    QVStatus begin(uint32_t stripHeight, int32_t rangeMin, int32_t rangeMax);
    // Writes rows rect.y0..rect.y1, columns rect.x0..rect.x1 (within the
    // decoder's rectangle; rows continue where the last strip stopped) to
    // the buffer from its corner. 2009 for rows out of turn, a rectangle
    // outside or a buffer too small or of another band count; a failure of
    // the base as it came.
    QVStatus decodeStrip(const QVIGeomRect& rect, QVISceneBuffer& buffer);
    QVStatus end();

    const QVIGeomRect& getRect() const { return m_rect; }
    uint32_t getStripHeight() const { return m_stripHeight; }
    // Samples held by the stage lines, the band buffer and the base's row
    // cache, over all bands: bounded whatever the image height.
    uint64_t getBufferedSampleCount() const;

private:
    PipelinedWaveletDecoder(const QVIGeomRect& rect, uint16_t numBands, DecodeBase& decodeBase,
                            std::unique_ptr<Pipe> pipe);
    // Runs the pipe for the unit of two rows starting at the next row.
    QVStatus produceUnit();
    // Converts `count` held rows starting at band buffer row `from` into
    // buffer rows from `toRow`, columns rect.x0..rect.x1.
    QVStatus copyOutBuffer(uint32_t from, uint32_t count, const QVIGeomRect& rect, QVISceneBuffer& buffer,
                           uint32_t toRow) const;

    QVIGeomRect m_rect;
    uint16_t m_numBands;
    DecodeBase& m_decodeBase;
    std::unique_ptr<Pipe> m_pipe;
    uint32_t m_stripHeight = 0;
    int32_t m_rangeMin = 0;
    int32_t m_rangeMax = 0;
    std::vector<int32_t> m_bandBuffer;  // numBands units of two rows
    std::vector<int32_t*> m_bandRows;
    uint32_t m_readOffset = 0;          // first held row in its unit
    uint32_t m_numHeldBack = 0;
    int64_t m_lastLineProduced = -1;    // absolute row
    bool m_begun = false;
};

}  // namespace Orvanetics
