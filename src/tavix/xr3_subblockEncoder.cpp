// The encoding side of XR3SubblockData: coefficients to plane strings, as a
// writer of such files produces them (MQ planes, then raw planes once MQ
// stops paying), with a distortion value per plane.
#include <array>
#include <bit>
#include <cstring>
#include <new>
#include <vector>

#include "xr3_imageInfo.h"
#include "xr3_planeScan.h"
#include "xr3_subblockData.h"

namespace Orvanetics {

using XR3PlaneScan::BandLayout;
using XR3PlaneScan::kSignBit;

namespace {

// Squared-error gain, in units of the plane's bit squared, of learning the
// plane's bit of a coefficient whose remainder (the plane's bit and below)
// is about `t` bits. The decoder reconstructs at the middle of what it knows.
constexpr float planeGain(bool significant, unsigned m) {
    const double t = (m + 0.5) / 32.0;
    const auto sq = [](double v) { return v * v; };
    if (!significant)
        return float(t >= 1.0 ? sq(t) - sq(t - 1.5) : 0.0);
    return float(sq(t - 1.0) - (t >= 1.0 ? sq(t - 1.5) : sq(t - 0.5)));
}

constexpr std::array<float, XR3MSELut::kSize> makeDefaultGains() {
    std::array<float, XR3MSELut::kSize> values{};
    for (unsigned m = 0; m < 64; ++m) {
        values[m] = planeGain(false, m);
        values[64 + m] = planeGain(true, m);
    }
    return values;
}

constexpr std::array<float, XR3MSELut::kSize> kDefaultGains = makeDefaultGains();

// Takes the symbols of one plane with their contexts, and sums the plane's
// distortion gain.
class SymbolCollector {
public:
    SymbolCollector(std::vector<uint8_t>& contexts, std::vector<uint8_t>& symbols, const float* gains,
                    unsigned bitIndex)
        : m_contexts(contexts), m_symbols(symbols), m_gains(gains), m_bitIndex(bitIndex) {}

    void refine(unsigned context, uint32_t& coef, uint32_t bit) {
        push(context, (coef & bit) != 0);
        addGain(64, coef);
    }
    bool significance(unsigned context, uint32_t& coef, uint32_t bit) {
        const bool significant = (coef & bit) != 0;
        push(context, significant);
        addGain(0, coef);
        return significant;
    }
    bool sign(unsigned context, unsigned predicted, uint32_t& coef) {
        const bool positive = (coef & kSignBit) == 0;
        push(context, positive ? predicted : predicted ^ 1u);
        return positive;
    }
    double gain() const { return m_gain; }

private:
    void push(unsigned context, unsigned symbol) {
        m_contexts.push_back(uint8_t(context));
        m_symbols.push_back(uint8_t(symbol));
    }
    // Indexed by the plane's bit and the five bits below it.
    void addGain(unsigned base, uint32_t coef) {
        if (!m_gains)
            return;
        const uint32_t magnitude = coef & ~kSignBit;
        const uint32_t m = m_bitIndex >= 5 ? magnitude >> (m_bitIndex - 5) : magnitude << (5 - m_bitIndex);
        m_gain += m_gains[base + (m & 63u)];
    }

    std::vector<uint8_t>& m_contexts;
    std::vector<uint8_t>& m_symbols;
    const float* m_gains;
    unsigned m_bitIndex;
    double m_gain = 0.0;
};

// The top half of the single-precision pattern of `value`.
uint16_t packMSE(double value) {
    return uint16_t(std::bit_cast<uint32_t>(float(value)) >> 16);
}

void packRawSymbols(const std::vector<uint8_t>& symbols, std::vector<uint8_t>& out) {
    out.assign((symbols.size() + 7) / 8, 0);
    for (size_t i = 0; i < symbols.size(); ++i)
        out[i / 8] |= uint8_t(symbols[i] << (7 - i % 8));
}

QVStatus storePlane(XR3PlaneData& plane, const std::vector<uint8_t>& bytes, bool raw) {
    if (const QVStatus status = plane.allocate(uint32_t(bytes.size())))
        return status;
    if (!bytes.empty())
        std::memcpy(plane.buffer, bytes.data(), bytes.size());
    plane.markPresent(raw);
    return 0;
}

// Everything one band's coding needs besides the subblock.
struct BandEncoder {
    const XR3SubblockData& data;
    const XR3MSELut* mseLut;
    unsigned skip;

    QVStatus encode(const int32_t* block, size_t stride, XR3PlaneData* planes) const;
};

QVStatus BandEncoder::encode(const int32_t* block, size_t stride, XR3PlaneData* planes) const {
    const int areaWidth = data.x1 - data.x0 + 1, areaHeight = data.y1 - data.y0 + 1;
    const ptrdiff_t statePitch = areaWidth + 4;
    std::vector<uint32_t> magnitudes(size_t(areaWidth) * size_t(areaHeight));
    uint32_t largest = 0;
    for (int y = 0; y < areaHeight; ++y) {
        const int32_t* row = block + size_t(data.y0 + y) * stride + size_t(data.x0);
        for (int x = 0; x < areaWidth; ++x) {
            const uint32_t magnitude = row[x] < 0 ? 0u - uint32_t(row[x]) : uint32_t(row[x]);
            if (magnitude & kSignBit)
                return xr3Fail(QVI_STS_Tavix_BadArgument);
            largest |= magnitude;
            magnitudes[size_t(y) * areaWidth + x] = magnitude | (row[x] < 0 ? kSignBit : 0u);
        }
    }
    if (largest == 0 || skip >= kXR3PlanesPerBand)
        return 0;
    const unsigned firstPlane = unsigned(std::countl_zero(largest)), lastPlane = 31 - skip;

    std::vector<uint32_t> state(size_t(statePitch) * size_t(areaHeight + 4), 0);
    const BandLayout band{state.data() + 2 * statePitch + 2, statePitch, magnitudes.data(), areaWidth,
                          areaWidth, areaHeight, XR3ContextTables::getSignificanceContext(data.subband)};
    XR3MQContexts contexts;
    contexts.reset();
    const float* const gains = mseLut ? mseLut->values : nullptr;
    const double areaScale = double(data.width) * data.height / (double(areaWidth) * areaHeight);
    std::vector<uint8_t> symbolContexts, symbols, bytes;
    bool raw = false;
    for (unsigned p = firstPlane; p <= lastPlane; ++p) {
        const uint32_t bit = 1u << (31 - p);
        symbolContexts.clear();
        symbols.clear();
        SymbolCollector collector(symbolContexts, symbols, gains, 31 - p);
        if (raw)
            XR3PlaneScan::scanPlane<false>(band, collector, bit);
        else
            XR3PlaneScan::scanPlane<true>(band, collector, bit);

        if (!raw) {
            QVMQEncoder coder(bytes);
            for (size_t i = 0; i < symbols.size(); ++i)
                coder.encode(contexts.state[symbolContexts[i]], symbols[i]);
            coder.flush();
            // Once MQ costs more than the bare symbols, it stays off for the band.
            raw = bytes.size() > (symbols.size() + 7) / 8;
        }
        if (raw)
            packRawSymbols(symbols, bytes);
        XR3PlaneData& plane = planes[p];
        if (const QVStatus status = storePlane(plane, bytes, raw))
            return status;
        if (mseLut) {
            plane.mse = packMSE(collector.gain() * areaScale * mseLut->subbandWeight * double(bit) * double(bit));
            plane.flags |= kXR3PlaneMSEValid;
        }
    }
    return 0;
}

}  // namespace

const float* XR3MSELut::defaultValues() {
    return kDefaultGains.data();
}

QVStatus XR3SubblockData::encode(const int32_t* const* coefs, size_t stride, size_t offset,
                                 const XR3MSELut* mseLut, unsigned skip) {
    setInvalid();
    if (hasEmptyArea())
        return 0;
    const BandEncoder encoder{*this, mseLut, skip};
    try {
        for (unsigned b = 0; b < numBands; ++b) {
            if (!coefs[b])
                continue;
            if (const QVStatus status = encoder.encode(coefs[b] + offset, stride, &plane(b, 0))) {
                setInvalid();
                return status;
            }
        }
    } catch (const std::bad_alloc&) {
        setInvalid();
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

}  // namespace Orvanetics
