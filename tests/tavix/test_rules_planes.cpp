// The plane store on planesets laid out byte by byte, as another writer
// would lay them out: every token typed here in hex, planeset headers in
// widths the library's own writer never uses, offset words computed from
// the rules, raster blocks cut the ways a writer may cut them. Each file
// holds the same planes, which every memory model and every band selection
// must give back.
//
// The image: 16 by 16, no levels, two bands, 8 by 8 subblocks, so the
// planeset holds subblocks 0 to 3 in raster order, 64 planes each (band 0
// planes 0 to 31, then band 1). The planes with data:
//   subblock 0: band 0 plane 5 {A1}, plane 6 {A2 A3}; band 1 plane 31 {B1}
//   subblock 1: none
//   subblock 2: band 1 plane 3 {C5}, raw (bypass)
//   subblock 3: band 0 plane 31, 40 bytes 00 01 ... 27
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <numeric>

#include "planeStore_testSupport.h"
#include "qv_ioFileStream.h"

namespace {

using namespace PlaneStoreTest;

using Bytes = std::vector<uint8_t>;

void append(Bytes& out, const Bytes& b) { out.insert(out.end(), b.begin(), b.end()); }

Bytes operator+(Bytes a, const Bytes& b) {
    append(a, b);
    return a;
}

Bytes bigEndian(uint64_t value, unsigned width) {
    Bytes out(width);
    for (unsigned i = 0; i < width; ++i) out[width - 1 - i] = uint8_t(value >> (8 * i));
    return out;
}

Bytes fortyBytes() {
    Bytes b(40);
    std::iota(b.begin(), b.end(), uint8_t(0));
    return b;
}

struct WantPlane {
    uint32_t subblock;
    uint16_t band;
    uint8_t plane;
    Bytes bytes;
    bool bypass;
    uint16_t mse;
};

const std::vector<WantPlane>& wantedPlanes() {
    static const std::vector<WantPlane> planes = {
        {0, 0, 5, {0xA1}, false, 0x1005}, {0, 0, 6, {0xA2, 0xA3}, false, 0x1006},
        {0, 1, 31, {0xB1}, false, 0x1131}, {2, 1, 3, {0xC5}, true, 0x2103},
        {3, 0, 31, fortyBytes(), false, 0x3031},
    };
    return planes;
}

// A plane's payload: its mse when the image has one, then its bytes.
Bytes payloadOf(size_t index, bool mse) {
    const WantPlane& p = wantedPlanes()[index];
    return (mse ? bigEndian(p.mse, 2) : Bytes{}) + p.bytes;
}

Bytes payloads(std::initializer_list<size_t> indices, bool mse) {
    Bytes out;
    for (size_t i : indices) out = out + payloadOf(i, mse);
    return out;
}

// Tokens in plane order. Narrow and wide forms agree for values below 2^12.
//   05 run 5 (band 0 planes 0-4); 81 data 1; 82 data 2;
//   38 01 run 24 + 32 = 56 (value 0x18 | 1 << 5) up to band 1 plane 30; 81;
//   23 03 run 99 = 3 | 3 << 5: all of subblock 1, then subblock 2's band 0
//         and its band 1 planes 0-2 (64 + 32 + 3);
//   C1 data 1, bypass; 3B 01 run 59 = 27 | 1 << 5 (28 + 31);
//   A8 01 data 40 = 8 | 1 << 5; 20 01 run 32 (the last band).
const Bytes kTokens = {0x05, 0x81, 0x82, 0x38, 0x01, 0x81, 0x23, 0x03, 0xC1, 0x3B, 0x01, 0xA8, 0x01, 0x20, 0x01};

// Layout 0: every data token followed by its payload; run 5 padded to three
// narrow bytes (25 80 00), data 40 to four (A8 81 80 00, all eight bits of
// the fourth byte being value bits 19-26).
Bytes interleaved(bool mse) {
    return Bytes{0x25, 0x80, 0x00, 0x81} + payloadOf(0, mse) + Bytes{0x82} + payloadOf(1, mse) +
           Bytes{0x38, 0x01, 0x81} + payloadOf(2, mse) + Bytes{0x23, 0x03, 0xC1} + payloadOf(3, mse) +
           Bytes{0x3B, 0x01, 0xA8, 0x81, 0x80, 0x00} + payloadOf(4, mse) + Bytes{0x20, 0x01};
}

// The planeset packet's header as other writers may write it.
struct HeaderStyle {
    bool wide;                // minor version 1: wide tokens, 8-byte offset words
    Bytes lead;               // control, package and the fields before the length
    unsigned lengthWidth;     // of the payload length
    int64_t computedLength;   // computeHeaderLength of the type read from it
};
// Control 04 (type 4, no version bytes), package 02 (a 4-byte length): 6
// bytes, while computeHeaderLength counts 2 + 8 = 10.
const HeaderStyle kNarrowPlain = {false, {0x04, 0x02}, 4, 10};
// Control 44 with the version bytes 00 00, package 4A: a one-byte subType 07,
// a spare word 0000002A and a 4-byte length: 13 bytes. computeHeaderLength:
// 2 + 1 + 4 + 8 = 15, the version bytes left out for major 0.
const HeaderStyle kNarrowOdd = {false, {0x44, 0x4A, 0x07, 0x00, 0x00, 0x00, 0x2A, 0x00, 0x00}, 4, 15};
// Control 44 with the version bytes 00 01 (wide tokens), package 03: 12
// bytes, computeHeaderLength 10.
const HeaderStyle kWide = {true, {0x44, 0x03, 0x00, 0x01}, 8, 10};
constexpr int64_t kPrefixLength = 10;  // order, layout, dataLength

// An offset word for a unit whose tokens start `tokenStart` bytes behind
// dataStart: wide, counted from the planeset payload; narrow, from the packet
// header as computeHeaderLength measures it.
Bytes offsetWord(const HeaderStyle& style, int64_t tokenStart) {
    const int64_t fromPayload = tokenStart + kPrefixLength;
    return style.wide ? bigEndian(uint64_t(fromPayload), 8)
                            : bigEndian(uint64_t(fromPayload + style.computedLength), 4);
}

struct Unit {
    Bytes payloads, tokens;
};

// Layout 2 (one unit) or 3 (a block count, then the units).
Bytes dataFirst(const HeaderStyle& style, bool rasterBlocks, const std::vector<Unit>& units) {
    Bytes out = rasterBlocks ? bigEndian(units.size(), 8) : Bytes{};
    for (const Unit& unit : units) {
        const int64_t tokenStart = int64_t(out.size()) + (style.wide ? 8 : 4) + int64_t(unit.payloads.size());
        append(out, offsetWord(style, tokenStart));
        append(out, unit.payloads);
        append(out, unit.tokens);
    }
    return out;
}

struct Planeset {
    const HeaderStyle& style;
    uint8_t layout;
    Bytes data;  // from dataStart
};

// The file up to the planeset: version and header packet.
Bytes headerPacketFile(bool mse) {
    XR3ImageInfo info = makeImageInfo(16, 16, 0, 2, 8);
    info.hasPlaneMSE = mse;
    PacketFileWriter writer;
    writer.addPacket(std::make_unique<XR3HeaderPacket>(info));
    Bytes bytes;
    EXPECT_EQ(0u, writer.writeToBytes(bytes));
    return bytes;
}

// Header and prefix of a planeset packet in pipeline order.
Bytes planesetHead(const HeaderStyle& style, uint8_t layout, uint64_t dataSize) {
    return style.lead + bigEndian(kPrefixLength + dataSize, style.lengthWidth) + Bytes{0x01, layout} +
           bigEndian(dataSize, 8);
}

Bytes imageFile(const Planeset& planeset, bool mse) {
    Bytes bytes = headerPacketFile(mse);
    append(bytes, planesetHead(planeset.style, planeset.layout, planeset.data.size()));
    append(bytes, planeset.data);
    return bytes;
}

// All planes in one data-first unit.
Planeset oneUnit(const HeaderStyle& style, bool mse) {
    return {style, 2, dataFirst(style, false, {{payloads({0, 1, 2, 3, 4}, mse), kTokens}})};
}

// Raster blocks of one subblock row each, every unit's tokens covering
// exactly its own subblocks, runs cut at subblock ends: the first unit ends
// with its empty subblock 1 (20 02, run 64), behind its last payload. Second
// unit: 23 01 run 35, C1, 1C run 28, 1F run 31, A8 01, 20 01.
Planeset rasterRows(const HeaderStyle& style, bool mse) {
    return {style, 3,
            dataFirst(style, true,
                      {{payloads({0, 1, 2}, mse), {0x05, 0x81, 0x82, 0x38, 0x01, 0x81, 0x20, 0x02}},
                       {payloads({3, 4}, mse), {0x23, 0x01, 0xC1, 0x1C, 0x1F, 0xA8, 0x01, 0x20, 0x01}}})};
}

struct Sample {
    const char* name;
    std::function<Planeset(bool mse)> make;
};

const Sample kSamples[] = {
    {"InterleavedNarrow", [](bool mse) { return Planeset{kNarrowPlain, 0, interleaved(mse)}; }},
    {"DataFirstNarrow", [](bool mse) { return oneUnit(kNarrowPlain, mse); }},
    {"DataFirstNarrowOddHeader", [](bool mse) { return oneUnit(kNarrowOdd, mse); }},
    {"DataFirstWide", [](bool mse) { return oneUnit(kWide, mse); }},
    {"RasterRowsWide", [](bool mse) { return rasterRows(kWide, mse); }},
    {"RasterRowsNarrow", [](bool mse) { return rasterRows(kNarrowPlain, mse); }},
    // One unit per subblock, the empty one included: the first ends right
    // behind its last data token.
    {"RasterEverySubblock",
     [](bool mse) {
         return Planeset{kWide, 3,
                         dataFirst(kWide, true,
                                   {{payloads({0, 1, 2}, mse), {0x05, 0x81, 0x82, 0x38, 0x01, 0x81}},
                                    {{}, {0x20, 0x02}},
                                    {payloads({3}, mse), {0x23, 0x01, 0xC1, 0x1C}},
                                    {payloads({4}, mse), {0x1F, 0xA8, 0x01, 0x20, 0x01}}})};
     }},
};

struct Case {
    const Sample* sample;
    bool mse;
    XR3MemoryModel model;
    bool streamBuffers;  // a payload buffer per subband
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.sample->name; }

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const Sample& sample : kSamples)
        for (bool mse : {false, true})
            for (XR3MemoryModel model : {XR3_MEMORY_MODEL_FULL, XR3_MEMORY_MODEL_PARTIAL})
                for (bool streamBuffers : {false, true})
                    cases.push_back({&sample, mse, model, streamBuffers});
    return cases;
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
    return std::string(info.param.sample->name) + (info.param.mse ? "Mse" : "") +
           (info.param.model == XR3_MEMORY_MODEL_FULL ? "Full" : "Partial") +
           (info.param.streamBuffers ? "Buffered" : "");
}

class HandLaidPlaneset : public testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        const Case& c = GetParam();
        ScopedEnv env("XR3_USE_STREAM_BUFFERS", c.streamBuffers ? "1" : nullptr);
        ASSERT_EQ(0u, image.open(imageFile(c.sample->make(c.mse), c.mse), c.model));
    }

    // Reads every subblock with the bands of `selected` and compares with the
    // wanted planes: present exactly where wanted, with their bytes, flags and mse.
    void expectAllSubblocks(const std::vector<uint16_t>& selected) {
        auto client = image.client();
        client->getComponentSet().clearAll();
        for (uint16_t band : selected) client->getComponentSet().set(band);
        auto planes = makePlanes(image.info);
        for (uint32_t subblock = 0; subblock < 4; ++subblock) {
            ASSERT_EQ(0u, client->getSubblockData(0, subblock, planes.get(), false));
            for (uint32_t index = 0; index < 64; ++index) {
                const XR3PlaneData& got = planes[index];
                const WantPlane* want = nullptr;
                for (const WantPlane& w : wantedPlanes()) {
                    const bool isSelected = std::find(selected.begin(), selected.end(), w.band) != selected.end();
                    if (w.subblock == subblock && w.band * 32u + w.plane == index && isSelected) want = &w;
                }
                const std::string where = "subblock " + std::to_string(subblock) + " plane " + std::to_string(index);
                ASSERT_EQ(want != nullptr, got.isPresent()) << where;
                if (!want) continue;
                EXPECT_EQ(want->bytes, Bytes(got.buffer, got.buffer + got.length)) << where;
                EXPECT_EQ(want->bypass, got.isBypass()) << where;
                EXPECT_EQ(GetParam().mse, got.hasValidMSE()) << where;
                if (GetParam().mse) {
                    EXPECT_EQ(want->mse, got.mse) << where;
                }
            }
        }
    }

    OpenedImage image;
};

}  // namespace

TEST_P(HandLaidPlaneset, GivesBackEveryPlane) {
    auto client = image.client();
    EXPECT_TRUE(client->hasSubblock(0, 0));
    EXPECT_FALSE(client->hasSubblock(0, 1));
    EXPECT_TRUE(client->hasSubblock(0, 2));
    EXPECT_TRUE(client->hasSubblock(0, 3));
    EXPECT_EQ(3u, client->countSubblocksInRange(0, 0, 3));
    expectAllSubblocks({0, 1});
}

TEST_P(HandLaidPlaneset, GivesBackTheSelectedBandsOnly) {
    expectAllSubblocks({1});
    expectAllSubblocks({0});
}

INSTANTIATE_TEST_SUITE_P(Layouts, HandLaidPlaneset, testing::ValuesIn(allCases()), caseName);

TEST(HandLaidPlanesetModel, PartialTableOnlyForPipelineDataFirst) {
    // The partial model asked for stays in force for layout 2 only.
    ScopedEnv env("QV_XR3_MEMORY_MODEL", nullptr);
    for (const Sample& sample : kSamples) {
        OpenedImage image;
        const Planeset planeset = sample.make(false);
        ASSERT_EQ(0u, image.open(imageFile(planeset, false), XR3_MEMORY_MODEL_PARTIAL)) << sample.name;
        EXPECT_EQ(planeset.layout == 2 ? XR3_MEMORY_MODEL_PARTIAL : XR3_MEMORY_MODEL_FULL,
                  image.source->getStore()->getMemoryModel())
            << sample.name;
    }
}

TEST(HandLaidPlanesetRefusals, StatusOfEveryBrokenPlaneset) {
    const Bytes fineTail = {0xA8, 0x01};
    struct Broken {
        const char* what;
        Planeset planeset;
        QVStatus status;
    };
    const Bytes interleavedHead = {0x05, 0x81, 0xA1, 0x82, 0xA2, 0xA3, 0x38, 0x01, 0x81, 0xB1, 0x23, 0x03, 0xC1, 0xC5,
                                   0x3B, 0x01};
    const Broken cases[] = {
        // A run of 0 planes.
        {"run of zero", {kNarrowPlain, 0, Bytes{0x00} + interleaved(false)}, 2001},
        // The last run one plane short, or one too long.
        {"short", {kNarrowPlain, 0, interleavedHead + fineTail + fortyBytes() + Bytes{0x1F}}, 2001},
        {"long", {kNarrowPlain, 0, interleavedHead + fineTail + fortyBytes() + Bytes{0x21, 0x01}}, 2001},
        // The 40 bytes cut short at the end of the file.
        {"payload cut", {kNarrowPlain, 0, interleavedHead + fineTail + Bytes(20, 0x55)}, 2001},
        // A wide token whose eighth byte still says "more".
        {"wide token too long",
         {kWide, 2, dataFirst(kWide, false, {{{}, {0x20, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x81, 0x00}}})}, 2010},
        // An offset word pointing behind the end of the file.
        {"word past the end", {kWide, 2, bigEndian(1000, 8) + kTokens}, 2001},
    };
    for (const Broken& c : cases) {
        OpenedImage image;
        EXPECT_EQ(c.status, image.open(imageFile(c.planeset, false), XR3_MEMORY_MODEL_FULL)) << c.what;
    }
}

TEST(HandLaidPlanesetRefusals, PlanesetVersionsOtherThanZeroZeroAndZeroOne) {
    // Same bytes, version bytes 00 02 and 01 00: the planeset packet refuses
    // to be read (2006), and the image has no planes to open.
    for (const Bytes& version : {Bytes{0x00, 0x02}, Bytes{0x01, 0x00}}) {
        Bytes file = imageFile(oneUnit(kWide, false), false);
        const Bytes wideHeader = {0x44, 0x03, 0x00, 0x01};
        auto at = std::search(file.begin(), file.end(), wideHeader.begin(), wideHeader.end());
        ASSERT_NE(file.end(), at);
        std::copy(version.begin(), version.end(), at + 2);
        OpenedImage image;
        EXPECT_EQ(2006u, image.open(file, XR3_MEMORY_MODEL_FULL));
    }
}

TEST(HandLaidPlanesetRasterBlocks, NarrowOffsetWordsBeyond16MiB) {
    // A first plane of 2^24 bytes (token A0 80 80 20: bit 24 in the fourth
    // byte) puts the second unit's word, 01 00 00 xx, where a run token could
    // begin too. Behind subblock 0 the bytes 20 02 are a run, not a word
    // (they would point far behind the end); behind subblock 1 the word is.
    // Written to a file piece by piece: the big plane is never in memory.
    const uint64_t bigSize = uint64_t(1) << 24;
    const Bytes smallA = payloads({1, 2}, false), payloadB = payloads({3, 4}, false);
    const Bytes tokensA = {0x05, 0xA0, 0x80, 0x80, 0x20, 0x82, 0x38, 0x01, 0x81, 0x20, 0x02};
    const Bytes tokensB = {0x23, 0x01, 0xC1, 0x1C, 0x1F, 0xA8, 0x01, 0x20, 0x01};
    const int64_t tokenStartA = int64_t(8 + 4 + bigSize + smallA.size());
    const int64_t wordB = tokenStartA + int64_t(tokensA.size());
    const int64_t tokenStartB = wordB + 4 + int64_t(payloadB.size());
    const uint64_t dataSize = uint64_t(tokenStartB) + tokensB.size();
    ASSERT_EQ(0x01, offsetWord(kNarrowPlain, tokenStartB)[0]);

    const std::string path = testing::TempDir() + "rules_planes_narrow_words.xr4";
    {
        std::ofstream out(path, std::ios::binary);
        const auto write = [&out](const Bytes& b) {
            out.write(reinterpret_cast<const char*>(b.data()), std::streamsize(b.size()));
        };
        write(headerPacketFile(false) + planesetHead(kNarrowPlain, 3, dataSize) + bigEndian(2, 8) +
              offsetWord(kNarrowPlain, tokenStartA));
        const Bytes chunk(1 << 16, 0x5E);
        for (uint64_t done = 0; done < bigSize; done += chunk.size()) write(chunk);
        write(smallA + tokensA + offsetWord(kNarrowPlain, tokenStartB) + payloadB + tokensB);
    }
    QVIOFileStream stream;
    ASSERT_EQ(0u, stream.initialize(path.c_str(), "rb"));
    XR3FileSimpleContainer container(stream, false);
    ASSERT_EQ(0u, container.initialize());
    XR3HeaderPacket* header = nullptr;
    ASSERT_EQ(0u, container.db_findSinglePacketOf(XR3PacketType(XR3_PACKET_HEADER, 0, 0, 0, 0, 0), header));
    ASSERT_NE(nullptr, header);
    XR3FileSimplePlaneSource source(container, header->getImageInfo(), XR3_MEMORY_MODEL_FULL);
    ASSERT_EQ(0u, source.initialize());
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    ASSERT_EQ(0u, source.createFilePlaneStoreClient(client));
    auto planes = makePlanes(header->getImageInfo());
    client->getComponentSet().clearAll();
    client->getComponentSet().set(1);  // passes over the big plane
    ASSERT_EQ(0u, client->getSubblockData(0, 0, planes.get(), false));
    EXPECT_EQ(Bytes({0xB1}), Bytes(planes[63].buffer, planes[63].buffer + planes[63].length));
    EXPECT_FALSE(client->hasSubblock(0, 1));
    client->getComponentSet().setAll();
    ASSERT_EQ(0u, client->getSubblockData(0, 3, planes.get(), false));
    EXPECT_EQ(fortyBytes(), Bytes(planes[31].buffer, planes[31].buffer + planes[31].length));
    client.reset();
    std::remove(path.c_str());
}
