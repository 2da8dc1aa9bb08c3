// The context tables against the significance, sign and refinement rules of
// the block coder, evaluated neighbour by neighbour.
#include <gtest/gtest.h>

#include "tavix_entropyReference.h"
#include "xr3_contextTables.h"
#include "xr3_mqCoder.h"

using namespace Orvanetics;
namespace Ref = Orvanetics::TavixEntropyReference;

namespace {

int bitCount(unsigned value, unsigned mask) {
    return __builtin_popcount(value & mask);
}

}  // namespace

TEST(XR3ContextTables, HandPickedSignificanceRows) {
    const XR3ContextTables& t = XR3ContextTables::get();
    struct Row {
        unsigned index;
        uint8_t ll, hl, hh;
    };
    // index: 0x01..0x08 diagonals, 0x10/0x20 right/left, 0x40/0x80 up/down.
    const Row rows[] = {
        {0x00, 0, 0, 0},  // nothing significant
        {0x01, 1, 1, 3},  // one diagonal
        {0x05, 2, 2, 6},  // two diagonals
        {0x0F, 2, 2, 8},  // four diagonals
        {0x10, 5, 3, 1},  // right only
        {0x11, 6, 3, 4},  // right and a diagonal
        {0x30, 8, 4, 2},  // left and right
        {0x40, 3, 5, 1},  // upper only
        {0xC0, 4, 8, 2},  // upper and lower
        {0x50, 7, 7, 2},  // right and upper
        {0x57, 7, 7, 8},  // right, upper, three diagonals
        {0x43, 3, 6, 7},  // upper and two diagonals
        {0x1F, 6, 3, 8},  // right and all diagonals
        {0xFF, 8, 8, 8},
    };
    for (const Row& r : rows) {
        EXPECT_EQ(t.ll_sig_cntxt[r.index], r.ll) << std::hex << r.index;
        EXPECT_EQ(t.hl_sig_cntxt[r.index], r.hl) << std::hex << r.index;
        EXPECT_EQ(t.hh_sig_cntxt[r.index], r.hh) << std::hex << r.index;
    }
}

TEST(XR3ContextTables, SignificanceMatchesRuleForEveryNeighbourhood) {
    const XR3ContextTables& t = XR3ContextTables::get();
    for (unsigned i = 0; i < 256; ++i) {
        const int h = bitCount(i, 0x30), v = bitCount(i, 0xC0), d = bitCount(i, 0x0F);
        EXPECT_EQ(t.ll_sig_cntxt[i], Ref::significanceContext(0, h, v, d)) << i;
        EXPECT_EQ(t.hl_sig_cntxt[i], Ref::significanceContext(1, h, v, d)) << i;
        EXPECT_EQ(t.hh_sig_cntxt[i], Ref::significanceContext(3, h, v, d)) << i;
        EXPECT_EQ(t.mag_refine_cntxt[i], i == 0 ? 14 : 15) << i;
    }
}

TEST(XR3ContextTables, SignMatchesRuleForEveryNeighbourhood) {
    const XR3ContextTables& t = XR3ContextTables::get();
    // Index bits: 0/1 right/left significant, 2/3 upper/lower significant,
    // 4..7 the same four positive.
    const auto axis = [](unsigned i, unsigned sigA, unsigned posA, unsigned sigB, unsigned posB) {
        int sum = 0;
        if (i & sigA) sum += (i & posA) ? 1 : -1;
        if (i & sigB) sum += (i & posB) ? 1 : -1;
        return sum > 0 ? 1 : (sum < 0 ? -1 : 0);
    };
    for (unsigned i = 0; i < 256; ++i) {
        const int h = axis(i, 0x01, 0x10, 0x02, 0x20);
        const int v = axis(i, 0x04, 0x40, 0x08, 0x80);
        unsigned context = 0, xorBit = 0;
        Ref::signContext(h, v, context, xorBit);
        EXPECT_EQ(t.sign_cntxt[i], context) << i;
        EXPECT_EQ(t.est_sign[i], xorBit) << i;
    }
    // A few rows by hand: both horizontal neighbours negative -> 12, flipped.
    EXPECT_EQ(t.sign_cntxt[0x03], 12);
    EXPECT_EQ(t.est_sign[0x03], 1);
    // Right positive, upper negative -> 11, not flipped.
    EXPECT_EQ(t.sign_cntxt[0x15], 11);
    EXPECT_EQ(t.est_sign[0x15], 0);
    // Only lower, negative -> 10, flipped.
    EXPECT_EQ(t.sign_cntxt[0x08], 10);
    EXPECT_EQ(t.est_sign[0x08], 1);
    // Positive marks without significance count for nothing.
    EXPECT_EQ(t.sign_cntxt[0xF0], 9);
    EXPECT_EQ(t.est_sign[0xF0], 0);
}

TEST(XR3ContextTables, SignificanceTableFollowsSubbandOrientation) {
    const XR3ContextTables& t = XR3ContextTables::get();
    EXPECT_EQ(XR3ContextTables::getSignificanceContext(0), t.ll_sig_cntxt);
    for (unsigned level = 0; level < 3; ++level) {
        const uint8_t first = uint8_t(4 * level + 1);
        EXPECT_EQ(XR3ContextTables::getSignificanceContext(first), t.ll_sig_cntxt);      // overflow band
        EXPECT_EQ(XR3ContextTables::getSignificanceContext(first + 1), t.hl_sig_cntxt);  // HL
        EXPECT_EQ(XR3ContextTables::getSignificanceContext(first + 2), t.ll_sig_cntxt);  // LH
        EXPECT_EQ(XR3ContextTables::getSignificanceContext(first + 3), t.hh_sig_cntxt);  // HH
    }
}

TEST(XR3MQTables, TransitionsMatchProbabilityTable) {
    for (unsigned state = 0; state < 47; ++state) {
        for (unsigned mps = 0; mps < 2; ++mps) {
            const XR3MQTransition& t = kXR3MQTransitions[XR3MQContexts::pack(state, mps)];
            EXPECT_EQ(t.qe, Ref::kQe[state]);
            EXPECT_EQ(t.mps, mps);
            EXPECT_EQ(t.nextOnMPS, XR3MQContexts::pack(Ref::kNextMPS[state], mps));
            EXPECT_EQ(t.nextOnLPS, XR3MQContexts::pack(Ref::kNextLPS[state], Ref::kSwitch[state] ? 1 - mps : mps));
        }
    }
}

TEST(XR3MQTables, ContextsStartAtTheirInitialStates) {
    XR3MQContexts contexts;
    contexts.reset();
    for (unsigned i = 0; i < kXR3NumContexts; ++i) {
        const unsigned expected = i == 0 ? 4 : (i == 17 ? 3 : (i == 18 ? 46 : 0));
        EXPECT_EQ(contexts.state[i], XR3MQContexts::pack(expected, 0)) << i;
    }
}
