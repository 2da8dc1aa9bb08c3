// Length tokens, plane extras and stream buffers of the plane readers, on
// hand-made bytes.
#include <gtest/gtest.h>

#include "planeStore_testSupport.h"
#include "tavix_countingStream.h"

namespace {

using namespace PlaneStoreTest;

struct Token {
    QVStatus status = 0;
    bool hasData = false;
    bool bypass = false;
    uint64_t value = 0;
    uint32_t tokenBytes = 0;
};

// A reader over bytes: the interleaved one reads the stream directly, the
// data-first one through its buffer 0.
class ReaderOverBytes {
public:
    ReaderOverBytes(std::vector<uint8_t> bytes, bool wide, bool buffered, bool hasMSE = false,
                    uint8_t lockValueWidth = 0, QVIOStreamInf* stream = nullptr, bool streamBuffers = false)
        : m_bytes(std::move(bytes)),
          m_info(makeImageInfo(16, 16, 0, 1, 16)),
          m_planeset(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 0, 0, wide ? 1 : 0)) {
        m_stream = openMemStream(m_bytes);
        m_planeset.setOrder(XR3_PLANESET_ORDER_PIPELINE);
        m_planeset.setLayout(buffered ? XR3_PLANESET_LAYOUT_DATA_FIRST : XR3_PLANESET_LAYOUT_INTERLEAVED);
        reader = XR3FilePlaneReader::create(m_info, m_planeset, stream ? stream : m_stream.get(), false, hasMSE,
                                            lockValueWidth, true, streamBuffers);
        EXPECT_EQ(0u, reader->openStream());
        EXPECT_EQ(0u, reader->seekStreamBuffer(0, 0));
    }

    Token next() {
        Token t;
        t.status = reader->readPlaneLength(0, t.hasData, t.bypass, t.value, t.tokenBytes);
        return t;
    }

    QVIOMemStream& memStream() { return *m_stream; }
    std::unique_ptr<XR3FilePlaneReader> reader;

private:
    std::vector<uint8_t> m_bytes;
    std::unique_ptr<QVIOMemStream> m_stream;
    XR3ImageInfo m_info;
    XR3PlanesetPacket m_planeset;
};

class TokenPaths : public testing::TestWithParam<bool> {};

TEST_P(TokenPaths, TokensOfEveryLengthAndTheirFaults) {
    struct Row {
        const char* what;
        bool wide;
        std::vector<uint8_t> bytes;
        std::vector<Token> tokens;  // read one after the other
    };
    const Row rows[] = {
        // 1 byte; 2 bytes; 3 bytes; the longest run; a 4-byte token whose
        // last byte has its top bit set (value bit 26), with data and bypass;
        // a clean end gives an empty token.
        {"narrow",
         false,
         {0x85, 0x25, 0x03, 0x25, 0x83, 0x01, 0x3F, 0xFF, 0xFF, 0xFF, 0xE1, 0x80, 0x80, 0x80},
         {{0, true, false, 5, 1},
          {0, false, false, 5 + 3 * 32, 2},
          {0, false, false, 5 + 3 * 32 + 4096, 3},
          {0, false, false, 134217727, 4},
          {0, true, true, 67108865, 4},
          {0, false, false, 0, 0}}},
        // The longest wide value; eight bytes whose last continues nowhere,
        // zero value bits: a data token of 0.
        {"wide",
         true,
         {0x25, 0x81, 0x01, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0xA0, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
          0x00},
         {{0, false, false, 5 + 32 + 4096, 3}, {0, false, true, (uint64_t(1) << 54) - 1, 8}, {0, true, false, 0, 8}}},
        // A narrow token stops at four bytes, whatever the third said.
        {"narrow fourth byte", false, {0x20, 0x80, 0x80, 0xFF, 0x81}, {{0, false, false, uint64_t(0xFF) << 19, 4}, {0, true, false, 1, 1}}},
        // The eighth byte of a wide token may not ask for a ninth.
        {"wide ninth byte", true, {0x20, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}, {{2010}}},
        {"cut short", false, {0x25, 0x83}, {{2001}}},
    };
    for (const Row& row : rows) {
        ReaderOverBytes r(row.bytes, row.wide, GetParam());
        for (size_t i = 0; i < row.tokens.size(); ++i) {
            SCOPED_TRACE(testing::Message() << row.what << " token " << i);
            const Token& want = row.tokens[i];
            const Token got = r.next();
            ASSERT_EQ(want.status, got.status);
            if (want.status) continue;
            EXPECT_EQ(want.hasData, got.hasData);
            EXPECT_EQ(want.bypass, got.bypass);
            EXPECT_EQ(want.value, got.value);
            EXPECT_EQ(want.tokenBytes, got.tokenBytes);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(DirectAndBuffered, TokenPaths, testing::Bool());

TEST(PlaneTokens, FixtureEncoderWritesTheSameBytes) {
    EXPECT_EQ((std::vector<uint8_t>{0x3F, 0xFF, 0xFF, 0xFF}), encodeToken(false, false, 134217727, false));
    EXPECT_EQ((std::vector<uint8_t>{0xE1, 0x80, 0x80, 0x80}), encodeToken(true, true, 67108865, false));
    EXPECT_EQ((std::vector<uint8_t>{0x25, 0x81, 0x01}), encodeToken(false, false, 4133, true));
    EXPECT_EQ((std::vector<uint8_t>{0x85}), encodeToken(true, false, 5, true));
    EXPECT_EQ((std::vector<uint8_t>{0xA5, 0x80, 0x80, 0x00}), encodeToken(true, false, 5, false, true));
}

TEST(PlaneExtras, MSEAndLockValueStandBeforeTheBytes) {
    for (bool buffered : {false, true}) {
        ReaderOverBytes r({0x12, 0x34, 0xAB, 0xCD, 'x', 'y', 'z', 0x07}, false, buffered, true, 2);
        XR3PlaneData data;
        ASSERT_EQ(0u, r.reader->readPlaneData(0, data, 3, true));
        EXPECT_TRUE(data.isPresent());
        EXPECT_TRUE(data.isBypass());
        EXPECT_TRUE(data.hasValidMSE());
        EXPECT_EQ(0x1234u, data.mse);
        EXPECT_EQ(0xABCDu, data.lockValue);
        ASSERT_EQ(3u, data.length);
        EXPECT_EQ(0, std::memcmp(data.buffer, "xyz", 3));
        // The next token stands behind the plane.
        Token t = r.next();
        EXPECT_FALSE(t.hasData);
        EXPECT_EQ(7u, t.value);
    }
}

TEST(PlaneExtras, LockValueOfThreeBytesNeedsABuffer) {
    {
        ReaderOverBytes r({0x01, 0x02, 0x03, 'a'}, false, true, false, 3);
        XR3PlaneData data;
        ASSERT_EQ(0u, r.reader->readPlaneData(0, data, 1, false));
        EXPECT_EQ(0x010203u, data.lockValue);
        EXPECT_EQ('a', data.buffer[0]);
    }
    {
        ReaderOverBytes r({0x01, 0x02, 0x03, 'a'}, false, false, false, 3);
        XR3PlaneData data;
        EXPECT_EQ(2014u, r.reader->readPlaneData(0, data, 1, false));
        EXPECT_FALSE(data.isPresent());
    }
}

TEST(PlaneExtras, ImpossibleLengthsAreRefusedBeforeAllocating) {
    for (bool buffered : {false, true}) {
        ReaderOverBytes r({1, 2, 3, 4}, true, buffered);
        XR3PlaneData data;
        EXPECT_EQ(2001u, r.reader->readPlaneData(0, data, uint64_t(1) << 40, false));
        EXPECT_EQ(2001u, r.reader->readPlaneData(0, data, 5, false));  // one byte short
        EXPECT_FALSE(data.isPresent());
    }
}

TEST(PlaneExtras, SkippingPassesExtrasAndBytes) {
    for (bool buffered : {false, true}) {
        ReaderOverBytes r({0x00, 0x01, 'a', 'b', 0x83}, false, buffered, true);
        ASSERT_EQ(0u, r.reader->skipPlaneData(0, 2));
        Token t = r.next();
        EXPECT_TRUE(t.hasData);
        EXPECT_EQ(3u, t.value);
    }
}

// Seeks inside the buffered bytes cost no read; long payloads bypass the buffer.
TEST(StreamBuffers, SeeksWithinTheBufferDoNotRead) {
    std::vector<uint8_t> bytes(300);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i);
    auto inner = openMemStream(bytes);
    CountingStream counting(*inner);
    ReaderOverBytes r({}, false, true, false, 0, &counting, true);
    XR3FilePlaneReader& reader = *r.reader;
    ASSERT_EQ(0u, reader.setStreamBufferSize(0, 16));
    ASSERT_EQ(0u, reader.seekStreamBuffer(0, 100));
    XR3PlaneData data;
    ASSERT_EQ(0u, reader.readPlaneData(0, data, 4, false));
    EXPECT_EQ(100, data.buffer[0]);
    counting.reset();
    ASSERT_EQ(0u, reader.seekStreamBuffer(0, 102));
    ASSERT_EQ(0u, reader.readPlaneData(0, data, 10, false));
    EXPECT_EQ(102, data.buffer[0]);
    EXPECT_EQ(111, data.buffer[9]);
    EXPECT_TRUE(counting.getReads().empty());
    // Longer than the buffer: read straight into the plane.
    ASSERT_EQ(0u, reader.readPlaneData(0, data, 100, false));
    EXPECT_EQ(112, data.buffer[0]);
    EXPECT_EQ(211, data.buffer[99]);
    // Another buffer moves the stream in between: the first seeks back before it fills.
    ASSERT_EQ(2u, reader.getNumStreamBuffers());
    ASSERT_EQ(0u, reader.seekStreamBuffer(0, 250));
    ASSERT_EQ(0u, reader.readPlaneData(0, data, 1, false));
    ASSERT_EQ(0u, reader.seekStreamBuffer(1, 10));
    ASSERT_EQ(0u, reader.readPlaneData(1, data, 5, false));
    EXPECT_EQ(10, data.buffer[0]);
    ASSERT_EQ(0u, reader.readPlaneData(0, data, 30, false));
    EXPECT_EQ(251, data.buffer[0]);
    EXPECT_EQ(uint8_t(280), data.buffer[29]);
    // Past the end.
    ASSERT_EQ(0u, reader.seekStreamBuffer(0, 295));
    EXPECT_EQ(2001u, reader.readPlaneData(0, data, 10, false));
}

}  // namespace
