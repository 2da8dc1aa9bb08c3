#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioMemStream.h"
#include "qv_ioNullStream.h"

using namespace Orvanetics;

namespace {

std::vector<uint8_t> readAll(QVIOStreamInf& stream, uint32_t count) {
    std::vector<uint8_t> bytes(count);
    bytes.resize(stream.read(bytes.data(), count));
    return bytes;
}

const uint8_t* bytesOf(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

// An open growing stream holding the bytes, read from the start.
std::unique_ptr<QVIODynamicMemStream> dynamicWith(const char* bytes, uint32_t count) {
    auto stream = std::make_unique<QVIODynamicMemStream>();
    EXPECT_EQ(stream->initialize(4), 0u);
    EXPECT_EQ(stream->open(), 0u);
    EXPECT_EQ(stream->write(bytesOf(bytes), count), count);
    EXPECT_EQ(stream->seek(0, QVIO_SEEK_BEGIN), 0u);
    return stream;
}

// The text read up to the delimiter (null when none came); frees the stream's block.
std::string readString(QVIOStreamInf& stream, char delimiter) {
    char* text = stream.readString(delimiter);
    const std::string result = text != nullptr ? text : "(null)";
    std::free(text);
    return result;
}

}  // namespace

// ---- QVIOMemStream

TEST(MemStream, EndFlagIsSetOnlyByTheReadAfterTheLastByte) {
    uint8_t data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    QVIOMemStream stream;
    ASSERT_EQ(stream.initialize(data, sizeof(data)), 0u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(readAll(stream, 5), (std::vector<uint8_t>{1, 2, 3, 4, 5}));
    EXPECT_EQ(readAll(stream, 5), (std::vector<uint8_t>{6, 7, 8}));
    EXPECT_FALSE(stream.isEOF());
    EXPECT_EQ(readAll(stream, 1).size(), 0u);
    EXPECT_TRUE(stream.isEOF());
    ASSERT_EQ(stream.seek(-2, QVIO_SEEK_END), 0u);
    EXPECT_EQ(readAll(stream, 1), (std::vector<uint8_t>{7}));
    EXPECT_FALSE(stream.isEOF());
}

TEST(MemStream, WritesFillTheBlockButNeverGrowIt) {
    uint8_t data[4] = {};
    QVIOMemStream stream;
    ASSERT_EQ(stream.initialize(data, sizeof(data)), 0u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(stream.write(bytesOf("abcdef"), 6), 4u);
    EXPECT_EQ(std::memcmp(data, "abcd", 4), 0);
    EXPECT_FALSE(stream.isEOF());
    EXPECT_EQ(stream.write(bytesOf("x"), 1), 0u);
    EXPECT_TRUE(stream.isEOF());
    EXPECT_EQ(stream.tell(), 4);
}

TEST(MemStream, SeekKeepsPositionsPastTheEndAndChecksArguments) {
    QVIOMemStream stream;
    ASSERT_EQ(stream.initialize(10), 0u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(stream.seek(25, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(stream.tell(), 25);
    EXPECT_TRUE(stream.isEOF());
    EXPECT_EQ(readAll(stream, 4).size(), 0u);
    EXPECT_EQ(stream.seek(10, QVIO_SEEK_BEGIN), 0u);
    EXPECT_FALSE(stream.isEOF());
    EXPECT_EQ(stream.seek(-3, QVIO_SEEK_CURRENT), 0u);
    EXPECT_EQ(stream.tell(), 7);
    EXPECT_EQ(stream.seek(int64_t(1) << 31, QVIO_SEEK_BEGIN), 145011u);
    EXPECT_EQ(stream.seek(-(int64_t(1) << 31) - 1, QVIO_SEEK_CURRENT), 145011u);
    EXPECT_EQ(stream.seek(0, static_cast<QVIOSeekDir>(7)), 3u);
    EXPECT_EQ(stream.tell(), 7);
}

TEST(MemStream, OwnedBlockStartsZeroedAndDuplicateCopiesIt) {
    QVIOMemStream stream;
    ASSERT_EQ(stream.initialize(nullptr, 6), 0u);  // null data allocates
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(readAll(stream, 6), std::vector<uint8_t>(6, 0));
    ASSERT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 0u);
    ASSERT_EQ(stream.write(bytesOf("hello!"), 6), 6u);

    std::unique_ptr<QVIOStreamInf> copy(stream.duplicate());
    ASSERT_NE(copy, nullptr);
    EXPECT_FALSE(copy->isOpen());
    ASSERT_EQ(copy->open(), 0u);
    ASSERT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 0u);
    ASSERT_EQ(stream.write(bytesOf("J"), 1), 1u);  // the copy has its own bytes
    EXPECT_EQ(readAll(*copy, 10), (std::vector<uint8_t>{'h', 'e', 'l', 'l', 'o', '!'}));
    EXPECT_STREQ(copy->getID(), "qv_memstream:");
}

TEST(MemStream, ClosedStreamFailsSoftlyAndRefusesInitialize) {
    uint8_t data[4] = {9, 9, 9, 9};
    QVIOMemStream stream;
    ASSERT_EQ(stream.initialize(data, 4), 0u);
    uint8_t byte = 0;
    EXPECT_EQ(stream.read(&byte, 1), 0u);
    EXPECT_EQ(stream.tell(), -1);
    EXPECT_EQ(stream.getLastError(), 145012u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(stream.initialize(8), 145012u);
    EXPECT_EQ(stream.read(&byte, 1), 1u);
    EXPECT_EQ(stream.open(), 0u);  // no effect when open
    EXPECT_EQ(stream.tell(), 1);
    ASSERT_EQ(stream.close(), 0u);
    ASSERT_EQ(stream.open(), 0u);  // re-opening starts over
    EXPECT_EQ(stream.tell(), 0);
}

TEST(MemStream, ReadStringStopsAtTheDelimiter) {
    char text[] = "alpha\nbeta\ngamma";
    QVIOMemStream stream;
    ASSERT_EQ(stream.initialize(text, sizeof(text) - 1), 0u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(readString(stream, '\n'), "alpha\n");
    EXPECT_EQ(readString(stream, '\n'), "beta\n");
    EXPECT_EQ(readString(stream, '\n'), "(null)");  // "gamma" has no delimiter

    // The block grows for long texts.
    std::string longBytes(70000, 'q');
    longBytes.push_back('\0');
    QVIOMemStream longText;
    ASSERT_EQ(longText.initialize(longBytes.data(), static_cast<uint32_t>(longBytes.size())), 0u);
    ASSERT_EQ(longText.open(), 0u);
    EXPECT_EQ(readString(longText, '\0').size(), 70000u);
    EXPECT_EQ(longText.tell(), 70001);
}

// ---- QVIODynamicMemStream

TEST(DynamicMemStream, GrowsAcrossManyWritesAndReadsBack) {
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(16, 1.5f), 0u);
    ASSERT_EQ(stream.open(), 0u);
    std::vector<uint8_t> expected;
    for (uint32_t i = 0; i < 5000; ++i) {
        uint8_t chunk[3] = {uint8_t(i), uint8_t(i >> 8), uint8_t(i * 7)};
        ASSERT_EQ(stream.write(chunk, 3), 3u);
        expected.insert(expected.end(), chunk, chunk + 3);
    }
    EXPECT_EQ(stream.getLength(), 15000u);
    EXPECT_EQ(stream.getLastError(), 0u);
    ASSERT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(readAll(stream, 20000), expected);
    EXPECT_TRUE(stream.isEOF());  // the read came short
}

namespace {
// Fresh blocks full of garbage, so that zeros can only come from the gap fill.
void* dirtyAlloc(size_t size) {
    void* block = std::malloc(size);
    if (block != nullptr) std::memset(block, 0xCD, size);
    return block;
}
}  // namespace

TEST(DynamicMemStream, WritingPastTheLengthLeavesAZeroGap) {
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(4, dirtyAlloc, std::free, nullptr, 2.0f), 0u);
    ASSERT_EQ(stream.open(), 0u);
    ASSERT_EQ(stream.write(bytesOf("ab"), 2), 2u);
    ASSERT_EQ(stream.seek(10, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(stream.getLength(), 2u);
    ASSERT_EQ(stream.write(bytesOf("c"), 1), 1u);
    EXPECT_EQ(stream.getLength(), 11u);
    ASSERT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(readAll(stream, 11), (std::vector<uint8_t>{'a', 'b', 0, 0, 0, 0, 0, 0, 0, 0, 'c'}));
    // Capacity grows to 22 here; the next gap lies inside it and is cleared too.
    ASSERT_EQ(stream.seek(13, QVIO_SEEK_BEGIN), 0u);
    ASSERT_EQ(stream.write(bytesOf("d"), 1), 1u);
    ASSERT_EQ(stream.seek(19, QVIO_SEEK_BEGIN), 0u);
    ASSERT_EQ(stream.write(bytesOf("e"), 1), 1u);
    ASSERT_EQ(stream.seek(11, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(readAll(stream, 20), (std::vector<uint8_t>{0, 0, 'd', 0, 0, 0, 0, 0, 'e'}));
}

TEST(DynamicMemStream, ReadsAtTheLengthSetTheEndFlag) {
    auto owned = dynamicWith("abcd", 4);
    QVIODynamicMemStream& stream = *owned;
    EXPECT_EQ(readAll(stream, 4).size(), 4u);
    EXPECT_FALSE(stream.isEOF());  // a full read clears it
    EXPECT_EQ(readAll(stream, 1).size(), 0u);
    EXPECT_TRUE(stream.isEOF());
    ASSERT_EQ(stream.seek(9, QVIO_SEEK_BEGIN), 0u);
    EXPECT_FALSE(stream.isEOF());  // a seek clears it
    EXPECT_EQ(readAll(stream, 1).size(), 0u);
    EXPECT_EQ(stream.tell(), 4);  // moved back to the length
}

TEST(DynamicMemStream, ArgumentsAndStateAreChecked) {
    QVIODynamicMemStream stream;
    // Growth must lie above one, up to two.
    EXPECT_EQ(stream.initialize(100, 1.0f), 145011u);
    EXPECT_EQ(stream.initialize(100, 2.01f), 145011u);
    EXPECT_EQ(stream.initialize(100, 2.0f), 0u);
    EXPECT_EQ(stream.initialize(100, 1.01f), 0u);
    EXPECT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 1u);  // not open
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(stream.seek(0, static_cast<QVIOSeekDir>(1)), 1u);
    EXPECT_EQ(stream.seek(int64_t(1) << 32, QVIO_SEEK_BEGIN), 145011u);
    EXPECT_EQ(stream.seek(-1, QVIO_SEEK_BEGIN), 145011u);
    EXPECT_EQ(stream.write(bytesOf("abc"), 3), 3u);
    EXPECT_EQ(stream.seek(-1, QVIO_SEEK_END), 0u);
    EXPECT_EQ(stream.tell(), 2);
    EXPECT_EQ(stream.initialize(100, 1.5f), 145012u);
}

namespace {
int g_reallocations = 0;
void* countingRealloc(void* block, size_t size) {
    ++g_reallocations;
    return std::realloc(block, size);
}
void* failingAlloc(size_t) { return nullptr; }
}  // namespace

TEST(DynamicMemStream, WriteWhenClosedOrTooLargeFails) {
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(8), 0u);
    EXPECT_EQ(stream.write(bytesOf("a"), 1), 0u);
    EXPECT_EQ(stream.getLastError(), 1u);
    ASSERT_EQ(stream.open(), 0u);
    ASSERT_EQ(stream.seek(0x7FFFFFFF, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(stream.write(bytesOf("a"), 1), 0u);  // needs 2 GiB: refused
    EXPECT_EQ(stream.getLastError(), 145013u);
}

TEST(DynamicMemStream, UsesTheCallersMemoryFunctions) {
    g_reallocations = 0;
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(2, std::malloc, std::free, countingRealloc, 2.0f), 0u);
    ASSERT_EQ(stream.open(), 0u);
    std::vector<uint8_t> data(100, 0x5A);
    ASSERT_EQ(stream.write(data.data(), 3), 3u);    // 2 -> 4
    ASSERT_EQ(stream.write(data.data(), 97), 97u);  // 4 -> 100
    EXPECT_EQ(g_reallocations, 2);

    QVIODynamicMemStream failing;
    EXPECT_EQ(failing.initialize(8, failingAlloc, std::free, nullptr, 1.5f), 145013u);
}

TEST(DynamicMemStream, DuplicateCopiesTheDataAndDetachHandsOverTheBlock) {
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(4), 0u);
    ASSERT_EQ(stream.open(), 0u);
    ASSERT_EQ(stream.write(bytesOf("payload"), 7), 7u);
    std::unique_ptr<QVIOStreamInf> copy(stream.duplicate());
    EXPECT_FALSE(copy->isOpen());
    ASSERT_EQ(copy->open(), 0u);
    EXPECT_EQ(readAll(*copy, 10), (std::vector<uint8_t>{'p', 'a', 'y', 'l', 'o', 'a', 'd'}));
    EXPECT_STREQ(copy->getID(), "qv_dynamicmemstream:");
    uint8_t* block = nullptr;
    ASSERT_EQ(stream.detachAndClose(block), 0u);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::memcmp(block, "payload", 7), 0);
    std::free(block);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_EQ(stream.getLength(), 0u);
    ASSERT_EQ(stream.open(), 0u);  // usable again: grows a new block
    EXPECT_EQ(stream.write(bytesOf("x"), 1), 1u);
}

TEST(DynamicMemStream, ReadStringScansTheBlock) {
    auto owned = dynamicWith("key\0value\0tail", 14);
    QVIODynamicMemStream& stream = *owned;
    EXPECT_EQ(readString(stream, '\0'), "key");
    EXPECT_EQ(readString(stream, '\0'), "value");
    EXPECT_EQ(stream.tell(), 10);
    EXPECT_EQ(readString(stream, '\0'), "(null)");
    EXPECT_TRUE(stream.isEOF());
    EXPECT_EQ(stream.tell(), 14);
}

// ---- QVIONullStream

TEST(NullStream, CountsBytesWithoutKeepingThem) {
    QVIONullStream stream;
    EXPECT_EQ(stream.write(bytesOf("abc"), 3), 0u);  // closed
    EXPECT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 1u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(stream.write(bytesOf("abc"), 3), 3u);
    EXPECT_EQ(stream.write(nullptr, 1000), 1000u);
    EXPECT_EQ(stream.tell(), 1003);
    EXPECT_EQ(stream.seek(-3, QVIO_SEEK_CURRENT), 0u);
    EXPECT_EQ(stream.read(nullptr, 10), 10u);
    EXPECT_EQ(stream.tell(), 1010);
    EXPECT_EQ(stream.seek(5, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(stream.tell(), 5);
    EXPECT_EQ(stream.seek(0, QVIO_SEEK_END), 1u);
    EXPECT_FALSE(stream.isEOF());
    EXPECT_STREQ(stream.getID(), "qv_nullstream:");
}
