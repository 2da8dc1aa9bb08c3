// A slow, whole-array model of the integer 5/3 wavelet of the format, written
// from its rules alone: the two rounded divisions, one level of analysis and
// synthesis with mirrored edges, and the subband layout of a pyramid (LL,
// then per level overflow, HL, LH, HH). The rule tests, the wavelet decoder's
// tests and the reader's decode tests all measure against it. Nothing here
// comes from the library or from the test-side encoder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "test_sampleGrid.h"

namespace RulesReference {

using TestSupport::divideTiesToEven;
using Grid = TestSupport::SampleGrid;

// Index of a mirrored sequence of n samples: x[-k] = x[k], x[last + k] = x[last - k].
inline int64_t mirrored(int64_t i, int64_t n) {
    if (n == 1) return 0;
    while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

// Interleaved sequence to itself: the inverse lifting steps, high first.
inline void analyse1D(std::vector<int64_t>& x) {
    const int64_t n = int64_t(x.size());
    if (n < 2) return;
    for (int64_t i = 1; i < n; i += 2) x[i] -= divideTiesToEven(x[i - 1] + x[mirrored(i + 1, n)], 2);
    for (int64_t i = 0; i < n; i += 2) x[i] += divideTiesToEven(x[mirrored(i - 1, n)] + x[mirrored(i + 1, n)], 4);
}

// The two synthesis steps on an interleaved sequence (low at even places).
inline void synthesise1D(std::vector<int64_t>& x) {
    const int64_t n = int64_t(x.size());
    if (n < 2) return;
    for (int64_t i = 0; i < n; i += 2) x[i] -= divideTiesToEven(x[mirrored(i - 1, n)] + x[mirrored(i + 1, n)], 4);
    for (int64_t i = 1; i < n; i += 2) x[i] += divideTiesToEven(x[i - 1] + x[mirrored(i + 1, n)], 2);
}

template <class Step>
void eachRow(Grid& g, Step step) {
    std::vector<int64_t> line(size_t(g.width));
    for (int64_t y = 0; y < g.height; ++y) {
        for (int64_t x = 0; x < g.width; ++x) line[size_t(x)] = g.at(x, y);
        step(line);
        for (int64_t x = 0; x < g.width; ++x) g.at(x, y) = line[size_t(x)];
    }
}

template <class Step>
void eachColumn(Grid& g, Step step) {
    std::vector<int64_t> line(size_t(g.height));
    for (int64_t x = 0; x < g.width; ++x) {
        for (int64_t y = 0; y < g.height; ++y) line[size_t(y)] = g.at(x, y);
        step(line);
        for (int64_t y = 0; y < g.height; ++y) g.at(x, y) = line[size_t(y)];
    }
}

// The samples of g at (x0 + 2i, y0 + 2j).
inline Grid decimate(const Grid& g, int64_t x0, int64_t y0) {
    Grid out((g.width - x0 + 1) / 2, (g.height - y0 + 1) / 2);
    for (int64_t y = 0; y < out.height; ++y)
        for (int64_t x = 0; x < out.width; ++x) out.at(x, y) = g.at(x0 + 2 * x, y0 + 2 * y);
    return out;
}

// Subbands of a pyramid, indexed as in the file: 0 LL; level k (1 coarsest)
// owns 4k-3 overflow, 4k-2 HL, 4k-1 LH, 4k HH.
using Pyramid = std::vector<Grid>;

// Analysis: horizontal then vertical on each level, the reverse of the
// synthesis order. Each level's low-low band keeps values within
// +-overflowLimit and moves the rest into its overflow band (0: no limit,
// overflow bands stay zero); the decoder adds them back.
inline Pyramid analyse(Grid image, int numLevels, int64_t overflowLimit = 0) {
    Pyramid bands(size_t(4 * numLevels + 1));
    for (int k = numLevels; k >= 1; --k) {
        eachRow(image, analyse1D);
        eachColumn(image, analyse1D);
        bands[size_t(4 * k - 2)] = decimate(image, 1, 0);
        bands[size_t(4 * k - 1)] = decimate(image, 0, 1);
        bands[size_t(4 * k)] = decimate(image, 1, 1);
        image = decimate(image, 0, 0);
        Grid spill(image.width, image.height);
        for (size_t i = 0; overflowLimit > 0 && i < image.v.size(); ++i) {
            const int64_t kept = image.v[i] < -overflowLimit ? -overflowLimit
                                 : image.v[i] > overflowLimit ? overflowLimit
                                                              : image.v[i];
            spill.v[i] = image.v[i] - kept;
            image.v[i] = kept;
        }
        bands[size_t(4 * k - 3)] = spill;
    }
    bands[0] = image;
    return bands;
}

// One level: LL (plus nothing else) and the three detail bands into a w by h grid.
inline Grid synthesiseLevel(const Grid& lowLow, const Grid& hl, const Grid& lh, const Grid& hh, int64_t w,
                            int64_t h) {
    Grid x(w, h);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t c = 0; c < w; ++c) {
            const Grid& band = (y & 1) ? ((c & 1) ? hh : lh) : ((c & 1) ? hl : lowLow);
            x.at(c, y) = band.at(c >> 1, y >> 1);
        }
    eachColumn(x, synthesise1D);
    eachRow(x, synthesise1D);
    return x;
}

inline Grid sum(const Grid& a, const Grid& b) {
    Grid out = a;
    for (size_t i = 0; i < out.v.size(); ++i) out.v[i] += b.v[i];
    return out;
}

// The image at reduction `reduction` (0: full size) of a pyramid of an
// image of width by height: each level's output plus the overflow band of
// the next finer level.
inline Grid synthesise(const Pyramid& bands, int numLevels, int64_t width, int64_t height, int reduction = 0) {
    std::vector<int64_t> widths{width}, heights{height};
    for (int k = 0; k < numLevels; ++k) {
        widths.push_back((widths.back() + 1) / 2);
        heights.push_back((heights.back() + 1) / 2);
    }
    Grid image = bands[0];
    for (int k = 1; k <= numLevels - reduction; ++k) {
        image = sum(image, bands[size_t(4 * k - 3)]);
        const size_t level = size_t(numLevels - k);
        image = synthesiseLevel(image, bands[size_t(4 * k - 2)], bands[size_t(4 * k - 1)], bands[size_t(4 * k)],
                                widths[level], heights[level]);
    }
    if (reduction > 0) image = sum(image, bands[size_t(4 * (numLevels - reduction) + 1)]);
    return image;
}

// One level of synthesis without detail: the image at twice its size.
inline Grid enlarge(const Grid& image) {
    const Grid zero(image.width, image.height);
    return synthesiseLevel(image, zero, zero, zero, 2 * image.width, 2 * image.height);
}

// The image at reduction `scale` (negative: enlarged without detail that many times).
inline Grid synthesiseAtScale(const Pyramid& bands, int numLevels, int64_t width, int64_t height, int scale) {
    Grid image = synthesise(bands, numLevels, width, height, scale > 0 ? scale : 0);
    for (int r = scale; r < 0; ++r) image = enlarge(image);
    return image;
}

// The same for band b of a pyramid whose `bands` are [subband][band] and
// whose `info` gives its size and level count.
template <class MultiBandPyramid>
Grid synthesiseBand(const MultiBandPyramid& pyramid, size_t b, int scale) {
    Pyramid one;
    for (const auto& subband : pyramid.bands) one.push_back(subband[b]);
    return synthesiseAtScale(one, pyramid.info.numLevels, pyramid.info.width, pyramid.info.height, scale);
}

// A lossless image at reduction `scale`: its low-low band after that many
// analysis levels (negative: enlarged without detail).
inline Grid imageAtScale(const Grid& image, int scale) {
    return scale > 0 ? analyse(image, scale)[0] : synthesiseAtScale({image}, 0, image.width, image.height, scale);
}

inline Grid window(const Grid& g, int64_t x0, int64_t y0, int64_t w, int64_t h) {
    Grid out(w, h);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x) out.at(x, y) = g.at(x0 + x, y0 + y);
    return out;
}

}  // namespace RulesReference
