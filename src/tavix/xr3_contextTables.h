// Context look-up tables of the subblock coder: a coefficient's neighbour
// marks (its state word) index each table directly, so a context costs one
// load instead of eight neighbour tests.
#pragma once

#include <cstdint>

namespace Orvanetics {

// Bits of the per-coefficient state word. The low byte holds the
// significance of the eight neighbours, bits 8 to 11 the sign of the four
// direct ones.
enum XR3StateBits : uint32_t {
    kXR3LowerRightSig = 0x0001,
    kXR3LowerLeftSig = 0x0002,
    kXR3UpperRightSig = 0x0004,
    kXR3UpperLeftSig = 0x0008,
    kXR3RightSig = 0x0010,
    kXR3LeftSig = 0x0020,
    kXR3UpperSig = 0x0040,
    kXR3LowerSig = 0x0080,
    kXR3RightPositive = 0x0100,
    kXR3LeftPositive = 0x0200,
    kXR3UpperPositive = 0x0400,
    kXR3LowerPositive = 0x0800,
    kXR3Refined = 0x1000,
    kXR3Significant = 0x2000,
};

// MQ context numbers beyond the significance contexts 0 to 8.
constexpr unsigned kXR3FirstSignContext = 9;
constexpr unsigned kXR3FirstRefineContext = 14;   // no significant neighbour
constexpr unsigned kXR3LaterRefineContext = 16;   // second and later refinements
constexpr unsigned kXR3NumContexts = 19;

struct XR3ContextTables {
    // Significance context 0 to 8, by the low 8 state bits.
    uint8_t ll_sig_cntxt[256];
    uint8_t hl_sig_cntxt[256];
    uint8_t hh_sig_cntxt[256];
    // First refinement context 14 or 15, by the low 8 state bits.
    uint8_t mag_refine_cntxt[256];
    // Sign context 9 to 13 and the predicted sign bit, by state bits 4 to 11.
    uint8_t sign_cntxt[256];
    uint8_t est_sign[256];

    static const XR3ContextTables& get();
    // The significance table that suits the orientation of `subband`.
    static const uint8_t* getSignificanceContext(uint8_t subband);
};

}  // namespace Orvanetics
