#include "tavix_forwardTransform.h"

#include <algorithm>

namespace TavixFixture {

namespace Lifting {

void analyse(const int32_t* x, uint32_t n, int32_t* low, int32_t* high) {
    if (n == 1) {
        low[0] = x[0];
        return;
    }
    const uint32_t numHigh = n / 2, numLow = (n + 1) / 2;
    // Undo the odd-sample step first: the even samples are the originals.
    for (uint32_t i = 0; i < numHigh; ++i) {
        const int32_t right = 2 * i + 2 < n ? x[2 * i + 2] : x[n - 2];
        high[i] = sub(x[2 * i + 1], round2(add(x[2 * i], right)));
    }
    for (uint32_t i = 0; i < numLow; ++i) {
        const int32_t left = i > 0 ? high[i - 1] : high[0];
        const int32_t right = i < numHigh ? high[i] : high[numHigh - 1];
        low[i] = add(x[2 * i], round4(add(left, right)));
    }
}

}  // namespace Lifting

using namespace Lifting;

int32_t OverflowRule::overflowOf(int32_t value) const {
    if (limit == 0) return 0;
    const int64_t bound = limit;
    return int32_t(value - std::clamp<int64_t>(value, -bound, bound));
}

namespace {

uint32_t lowSize(uint32_t n) { return (n + 1) / 2; }
uint32_t highSize(uint32_t n) { return n / 2; }

// Sizes of the image at each level: sizes[0] the full image, sizes[k] after k halvings.
std::vector<std::pair<uint32_t, uint32_t>> levelSizes(uint32_t w, uint32_t h, uint32_t numLevels) {
    std::vector<std::pair<uint32_t, uint32_t>> sizes{{w, h}};
    for (uint32_t k = 0; k < numLevels; ++k) sizes.emplace_back(lowSize(sizes.back().first), lowSize(sizes.back().second));
    return sizes;
}

}  // namespace

// One level of the streaming transform. Rows are analysed horizontally on
// arrival ([low | high] per band); the vertical step runs as soon as the
// rows it reaches have come, mirroring at the top and the bottom.
class StreamingForwardTransform::Stage {
public:
    Stage(uint32_t level, uint32_t width, uint32_t height, uint16_t numBands, OverflowRule overflow,
          SubbandRowSink& sink, Stage* coarser)
        : m_level(level), m_width(width), m_height(height), m_numBands(numBands), m_overflow(overflow),
          m_sink(sink), m_coarser(coarser) {
        const size_t size = size_t(width) * numBands;
        for (auto* row : {&m_current, &m_even, &m_odd, &m_high, &m_previousHigh, &m_low, &m_spill})
            row->assign(size, 0);
    }

    void pushRow(const int32_t* values, size_t bandPitch) {
        const uint32_t wl = lowSize(m_width);
        for (uint16_t b = 0; b < m_numBands; ++b) {
            int32_t* out = m_current.data() + size_t(b) * m_width;
            analyse(values + b * bandPitch, m_width, out, out + wl);
        }
        const uint32_t r = m_received++;
        if (r % 2) {
            m_current.swap(m_odd);
        } else {
            if (r > 0) {  // rows 2i, 2i+1, 2i+2 are in: high row i, then low row i
                const uint32_t i = r / 2 - 1;
                makeHigh(m_current);
                emitLow(i, i == 0 ? m_high : m_previousHigh, m_high);
                emitHigh(i);
                m_previousHigh.swap(m_high);
            }
            m_current.swap(m_even);
        }
        if (m_received == m_height) finish();
    }

private:
    void finish() {
        const uint32_t h = m_height;
        if (h % 2 == 0) {  // the last row is odd: its right neighbour mirrors to row h - 2
            const uint32_t i = h / 2 - 1;
            makeHigh(m_even);
            emitLow(i, i == 0 ? m_high : m_previousHigh, m_high);
            emitHigh(i);
        } else if (h == 1) {
            emitLow(0, zeroHigh(), zeroHigh());
        } else {  // the last row is even: both high neighbours are row h - 2
            emitLow(h / 2, m_previousHigh, m_previousHigh);
        }
    }

    const std::vector<int32_t>& zeroHigh() {
        m_high.assign(m_high.size(), 0);
        return m_high;
    }

    // High row from m_even, m_odd and the even row below (`right`).
    void makeHigh(const std::vector<int32_t>& right) {
        for (size_t i = 0; i < m_high.size(); ++i)
            m_high[i] = sub(m_odd[i], round2(add(m_even[i], right[i])));
    }

    void emitLow(uint32_t i, const std::vector<int32_t>& left, const std::vector<int32_t>& right) {
        for (size_t k = 0; k < m_low.size(); ++k) m_low[k] = add(m_even[k], round4(add(left[k], right[k])));
        const uint32_t wl = lowSize(m_width);
        for (uint16_t b = 0; b < m_numBands; ++b) {
            int32_t* low = m_low.data() + size_t(b) * m_width;
            int32_t* spill = m_spill.data() + size_t(b) * wl;
            for (uint32_t x = 0; x < wl; ++x) {
                spill[x] = m_overflow.overflowOf(low[x]);
                low[x] = sub(low[x], spill[x]);
            }
        }
        m_sink.takeRow(subbandOf(m_level, 1), i, wl, m_spill.data(), wl);
        m_sink.takeRow(subbandOf(m_level, 2), i, highSize(m_width), m_low.data() + wl, m_width);
        if (m_coarser) m_coarser->pushRow(m_low.data(), m_width);
        else m_sink.takeRow(0, i, wl, m_low.data(), m_width);
    }

    void emitHigh(uint32_t i) {
        const uint32_t wl = lowSize(m_width);
        m_sink.takeRow(subbandOf(m_level, 3), i, wl, m_high.data(), m_width);
        m_sink.takeRow(subbandOf(m_level, 4), i, highSize(m_width), m_high.data() + wl, m_width);
    }

    uint32_t m_level, m_width, m_height;
    uint16_t m_numBands;
    OverflowRule m_overflow;
    SubbandRowSink& m_sink;
    Stage* m_coarser;
    uint32_t m_received = 0;
    // Each band by band, m_width apart (m_spill: low width apart).
    std::vector<int32_t> m_current, m_even, m_odd, m_high, m_previousHigh, m_low, m_spill;
};

StreamingForwardTransform::StreamingForwardTransform(uint32_t width, uint32_t height, uint16_t numBands,
                                                     uint32_t numLevels, OverflowRule overflow,
                                                     SubbandRowSink& sink)
    : m_sink(sink), m_width(width) {
    const auto sizes = levelSizes(width, height, numLevels);
    // Coarsest first so that each stage can point at its coarser one.
    std::vector<std::unique_ptr<Stage>> coarseFirst;
    for (uint32_t level = 1; level <= numLevels; ++level) {
        const auto [w, h] = sizes[numLevels - level];
        Stage* coarser = coarseFirst.empty() ? nullptr : coarseFirst.back().get();
        coarseFirst.push_back(std::make_unique<Stage>(level, w, h, numBands, overflow, sink, coarser));
    }
    m_stages.assign(std::make_move_iterator(coarseFirst.rbegin()), std::make_move_iterator(coarseFirst.rend()));
}

StreamingForwardTransform::~StreamingForwardTransform() = default;

void StreamingForwardTransform::pushRow(const int32_t* values, size_t bandPitch) {
    if (!m_stages.empty()) {
        m_stages.front()->pushRow(values, bandPitch);
        return;
    }
    // No levels: the image is subband 0.
    m_sink.takeRow(0, m_rowsWithoutLevels++, m_width, values, bandPitch);
}

namespace {

// Gathers the subband rows of a one-band transform into whole planes.
class PlaneCollector : public SubbandRowSink {
public:
    explicit PlaneCollector(WaveletBands& bands) : m_bands(bands) {}
    void takeRow(uint32_t subband, uint32_t row, uint32_t width, const int32_t* values, size_t) override {
        std::copy(values, values + width, m_bands.subbands[subband].row(row));
    }

private:
    WaveletBands& m_bands;
};

}  // namespace

WaveletBands forwardTransform(const CoefficientPlane& image, uint32_t numLevels, OverflowRule overflow) {
    WaveletBands bands;
    bands.numLevels = numLevels;
    bands.subbands.resize(4 * size_t(numLevels) + 1);
    const auto sizes = levelSizes(image.width, image.height, numLevels);
    for (uint32_t level = 1; level <= numLevels; ++level) {
        const auto [w, h] = sizes[numLevels - level];
        bands.subbands[subbandOf(level, 1)] = CoefficientPlane(lowSize(w), lowSize(h));
        bands.subbands[subbandOf(level, 2)] = CoefficientPlane(highSize(w), lowSize(h));
        bands.subbands[subbandOf(level, 3)] = CoefficientPlane(lowSize(w), highSize(h));
        bands.subbands[subbandOf(level, 4)] = CoefficientPlane(highSize(w), highSize(h));
    }
    bands.subbands[0] = CoefficientPlane(sizes.back().first, sizes.back().second);
    PlaneCollector collector(bands);
    StreamingForwardTransform transform(image.width, image.height, 1, numLevels, overflow, collector);
    for (uint32_t y = 0; y < image.height; ++y) transform.pushRow(image.row(y), image.width);
    return bands;
}

}  // namespace TavixFixture
