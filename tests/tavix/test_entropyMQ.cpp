// The MQ coder: the published test sequence, the start-up rule, the virtual
// tail behind a plane's bytes, and agreement with a bit-fed model decoder on
// arbitrary bytes.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tavix_entropyReference.h"
#include "xr3_mqCoder.h"

using namespace Orvanetics;
namespace Ref = Orvanetics::TavixEntropyReference;

namespace {

// 256 decisions in one context starting at state 0, and their code string
// without a terminating marker.
const uint8_t kDecisions[32] = {0x00, 0x02, 0x00, 0x51, 0x00, 0x00, 0x00, 0xC0, 0x03, 0x52, 0x87,
                                0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x82, 0xC0, 0x20, 0x00, 0xFC, 0xD7,
                                0x9E, 0xF6, 0xBF, 0x7F, 0xED, 0x90, 0x4F, 0x46, 0xA3, 0xBF};
const uint8_t kCoded[28] = {0x84, 0xC7, 0x3B, 0xFC, 0xE1, 0xA1, 0x43, 0x04, 0x02, 0x20,
                            0x00, 0x00, 0x41, 0x0D, 0xBB, 0x86, 0xF4, 0x31, 0x7F, 0xFF,
                            0x88, 0xFF, 0x37, 0x47, 0x1A, 0xDB, 0x6A, 0xDF};

unsigned decisionAt(unsigned i) {
    return (kDecisions[i / 8] >> (7 - i % 8)) & 1;
}

// Decodes `count` symbols with the library decoder, cycling through contexts.
std::vector<unsigned> decodeLibrary(const std::vector<uint8_t>& bytes, const std::vector<unsigned>& contextOf) {
    XR3MQContexts contexts;
    contexts.reset();
    XR3MQDecoder decoder;
    decoder.start(bytes.data(), bytes.size());
    std::vector<unsigned> symbols;
    for (unsigned c : contextOf)
        symbols.push_back(decoder.decode(contexts.state[c]));
    return symbols;
}

std::vector<unsigned> decodeModel(const std::vector<uint8_t>& bytes, const std::vector<unsigned>& contextOf) {
    uint8_t states[19] = {}, mps[19] = {};
    states[0] = 4;
    states[17] = 3;
    states[18] = 46;
    Ref::BitMQDecoder decoder(bytes.data(), bytes.size());
    std::vector<unsigned> symbols;
    for (unsigned c : contextOf)
        symbols.push_back(decoder.decode(states[c], mps[c]));
    return symbols;
}

std::vector<uint8_t> withTail(const std::vector<uint8_t>& bytes, size_t tailBytes) {
    std::vector<uint8_t> out = bytes;
    for (size_t i = 0; i < tailBytes; ++i)
        out.push_back(Ref::BitMQDecoder::virtualByte(bytes.data(), bytes.size(), bytes.size() + i));
    return out;
}

std::vector<unsigned> randomContexts(std::mt19937& rng, size_t count) {
    std::vector<unsigned> contexts(count);
    for (unsigned& c : contexts)
        c = rng() % 17;
    return contexts;
}

}  // namespace

TEST(XR3MQCoder, PublishedSequenceBothWays) {
    std::vector<uint8_t> out;
    QVMQEncoder encoder(out);
    uint8_t context = XR3MQContexts::pack(0, 0);
    for (unsigned i = 0; i < 256; ++i) encoder.encode(context, decisionAt(i));
    encoder.flush();
    EXPECT_EQ(out, std::vector<uint8_t>(kCoded, kCoded + 28));

    XR3MQDecoder decoder;
    decoder.start(kCoded, sizeof(kCoded));
    context = XR3MQContexts::pack(0, 0);
    for (unsigned i = 0; i < 256; ++i) ASSERT_EQ(decoder.decode(context), decisionAt(i)) << "decision " << i;
}

TEST(XR3MQCoder, DataRunningOutReadsTheVirtualTail) {
    // The tail alternates 0xFF and 0x7F, starting with 0x7F behind a final 0xFF.
    const uint8_t plain[] = {0x12, 0x34}, endsInFF[] = {0x12, 0xFF};
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(plain, 2, 2), 0xFF);
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(plain, 2, 3), 0x7F);
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(plain, 2, 4), 0xFF);
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(endsInFF, 2, 2), 0x7F);
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(endsInFF, 2, 3), 0xFF);
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(nullptr, 0, 0), 0xFF);
    EXPECT_EQ(Ref::BitMQDecoder::virtualByte(nullptr, 0, 1), 0x7F);
    // A short string decodes exactly as the same string with its tail written out.
    std::mt19937 rng(7);
    const std::vector<unsigned> contexts = randomContexts(rng, 3000);
    const std::vector<std::vector<uint8_t>> strings = {
        {}, {0x00}, {0xFF}, {0x7F}, {0x80}, {0x12, 0xFF}, {0xFF, 0xFF}, {0xFF, 0x90, 0x00}, {0xA5, 0x5A, 0xC3},
    };
    for (const std::vector<uint8_t>& bytes : strings) {
        const std::vector<uint8_t> spelledOut = withTail(bytes, 1000);
        EXPECT_EQ(decodeLibrary(bytes, contexts), decodeLibrary(spelledOut, contexts)) << bytes.size();
        EXPECT_EQ(decodeLibrary(bytes, contexts), decodeModel(bytes, contexts)) << bytes.size();
    }
}

TEST(XR3MQCoder, StartUpRuleAgreesWithModelForEveryFirstTwoBytes) {
    // All 65536 combinations of the first two bytes, including B0 = 0xFF
    // with B1 at or above 0x80, followed by a fixed body.
    const std::vector<unsigned> contexts = {0, 0, 0, 3, 5, 9, 14, 16, 0, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (unsigned b0 = 0; b0 < 256; ++b0) {
        for (unsigned b1 = 0; b1 < 256; ++b1) {
            const std::vector<uint8_t> bytes = {uint8_t(b0), uint8_t(b1), 0x5C, 0xFF, 0x12};
            ASSERT_EQ(decodeLibrary(bytes, contexts), decodeModel(bytes, contexts)) << b0 << " " << b1;
        }
    }
}

TEST(XR3MQCoder, AgreesWithModelOnArbitraryBytes) {
    // Bytes rich in 0xFF and in values above 0x8F after it: markers mean
    // nothing here, carries do.
    std::mt19937 rng(11);
    for (int trial = 0; trial < 400; ++trial) {
        std::vector<uint8_t> bytes(rng() % 40);
        for (uint8_t& b : bytes)
            b = (rng() % 4 == 0) ? 0xFF : uint8_t(rng());
        const std::vector<unsigned> contexts = randomContexts(rng, 600);
        ASSERT_EQ(decodeLibrary(bytes, contexts), decodeModel(bytes, contexts)) << "trial " << trial;
    }
}
