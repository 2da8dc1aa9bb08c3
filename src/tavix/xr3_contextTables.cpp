#include "xr3_contextTables.h"

#include <algorithm>

namespace Orvanetics {

namespace {

struct NeighbourCounts {
    int horizontal, vertical, diagonal;
};

constexpr NeighbourCounts countNeighbours(unsigned low8) {
    const auto bit = [low8](unsigned mask) { return (low8 & mask) ? 1 : 0; };
    return {bit(kXR3RightSig) + bit(kXR3LeftSig), bit(kXR3UpperSig) + bit(kXR3LowerSig),
            bit(kXR3LowerRightSig) + bit(kXR3LowerLeftSig) + bit(kXR3UpperRightSig) +
                bit(kXR3UpperLeftSig)};
}

// Low-pass across: horizontal neighbours weigh most, then vertical, then diagonal.
constexpr uint8_t lowHighContext(int h, int v, int d) {
    if (h == 2) return 8;
    if (h == 1) return v >= 1 ? 7 : (d >= 1 ? 6 : 5);
    if (v == 2) return 4;
    if (v == 1) return 3;
    return d >= 2 ? 2 : uint8_t(d);
}

// High-pass in both directions: diagonal neighbours weigh most.
constexpr uint8_t diagonalContext(int hv, int d) {
    if (d >= 3) return 8;
    if (d == 2) return hv >= 1 ? 7 : 6;
    if (d == 1) return hv >= 2 ? 5 : (hv == 1 ? 4 : 3);
    return hv >= 2 ? 2 : uint8_t(hv);
}

// One axis of the sign prediction: +1 per positive, -1 per negative
// significant neighbour, clamped to -1..1. `bits` is state >> 4.
constexpr int signContribution(unsigned bits, unsigned sigA, unsigned posA, unsigned sigB, unsigned posB) {
    const auto one = [bits](unsigned sig, unsigned pos) {
        return (bits & (sig >> 4)) ? ((bits & (pos >> 4)) ? 1 : -1) : 0;
    };
    return std::clamp(one(sigA, posA) + one(sigB, posB), -1, 1);
}

constexpr XR3ContextTables makeTables() {
    XR3ContextTables t{};
    for (unsigned i = 0; i < 256; ++i) {
        const NeighbourCounts n = countNeighbours(i);
        t.ll_sig_cntxt[i] = lowHighContext(n.horizontal, n.vertical, n.diagonal);
        t.hl_sig_cntxt[i] = lowHighContext(n.vertical, n.horizontal, n.diagonal);
        t.hh_sig_cntxt[i] = diagonalContext(n.horizontal + n.vertical, n.diagonal);
        t.mag_refine_cntxt[i] = uint8_t(i == 0 ? kXR3FirstRefineContext : kXR3FirstRefineContext + 1);

        const int h = signContribution(i, kXR3RightSig, kXR3RightPositive, kXR3LeftSig, kXR3LeftPositive);
        const int v = signContribution(i, kXR3UpperSig, kXR3UpperPositive, kXR3LowerSig, kXR3LowerPositive);
        // Mirror a negative horizontal (or, with none, vertical) prediction
        // onto the positive one and remember that with the XOR bit.
        const bool flip = h < 0 || (h == 0 && v < 0);
        const int hh = flip ? -h : h, vv = flip ? -v : v;
        t.sign_cntxt[i] = uint8_t(hh == 0 ? kXR3FirstSignContext + (vv != 0 ? 1 : 0)
                                          : kXR3FirstSignContext + 3 + vv);
        t.est_sign[i] = flip ? 1 : 0;
    }
    return t;
}

constexpr XR3ContextTables kTables = makeTables();

}  // namespace

const XR3ContextTables& XR3ContextTables::get() {
    return kTables;
}

const uint8_t* XR3ContextTables::getSignificanceContext(uint8_t subband) {
    if (subband == 0)
        return kTables.ll_sig_cntxt;
    switch ((subband - 1) % 4) {
    case 1: return kTables.hl_sig_cntxt;
    case 3: return kTables.hh_sig_cntxt;
    default: return kTables.ll_sig_cntxt;
    }
}

}  // namespace Orvanetics
