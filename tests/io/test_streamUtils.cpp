#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioFileStream.h"
#include "qv_ioMemStream.h"
#include "qv_ioNullStream.h"
#include "qv_ioStreamUtils.h"
#include "qv_ioSubStream.h"
#include "test_paths.h"

using namespace Orvanetics;

namespace {

// Bytes whose value depends on the position, over more than one copy block.
std::vector<uint8_t> pattern(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>((i * 131) ^ (i >> 9));
    return bytes;
}

std::unique_ptr<QVIOMemStream> openMem(std::vector<uint8_t>& bytes) {
    auto stream = std::make_unique<QVIOMemStream>();
    EXPECT_EQ(stream->initialize(bytes.data(), static_cast<uint32_t>(bytes.size())), 0u);
    EXPECT_EQ(stream->open(), 0u);
    return stream;
}

std::unique_ptr<QVIODynamicMemStream> openTemp() { return std::unique_ptr<QVIODynamicMemStream>(QVIOStreamUtils::openTempStream()); }

std::vector<uint8_t> contentOf(const QVIODynamicMemStream& stream) {
    return std::vector<uint8_t>(stream.getData(), stream.getData() + stream.getLength());
}

// A destination that takes at most `chunk` bytes per write and reports an
// interrupted call (4) for the rest, or a hard error once `failAfter` bytes are in.
class StutteringStream : public QVIODynamicMemStream {
public:
    StutteringStream(uint32_t chunk, QVStatus shortStatus) : m_chunk(chunk), m_shortStatus(shortStatus) {
        initialize(16);
        open();
    }
    uint32_t write(const uint8_t* buffer, uint32_t count) override {
        ++writes;
        return QVIODynamicMemStream::write(buffer, std::min(count, m_chunk));
    }
    QVStatus getLastError() override { return m_shortStatus; }
    int writes = 0;

private:
    uint32_t m_chunk;
    QVStatus m_shortStatus;
};

}  // namespace

TEST(StreamUtils, CopyStreamMovesEverythingInBlocks) {
    std::vector<uint8_t> bytes = pattern(200000);
    auto src = openMem(bytes);
    auto dst = openTemp();
    EXPECT_TRUE(dst->isOpen());
    EXPECT_EQ(QVIOStreamUtils::copyStream(dst.get(), src.get()), 0u);
    EXPECT_EQ(contentOf(*dst), bytes);

    // A short write fails the copy.
    ASSERT_EQ(src->seek(0, QVIO_SEEK_BEGIN), 0u);
    uint8_t small[10];
    QVIOMemStream full;
    ASSERT_EQ(full.initialize(small, sizeof(small)), 0u);
    ASSERT_EQ(full.open(), 0u);
    EXPECT_EQ(QVIOStreamUtils::copyStream(&full, src.get()), 1u);
}

TEST(StreamUtils, CopyStreamWithCountStopsAtTheCount) {
    std::vector<uint8_t> bytes = pattern(150000);
    auto src = openMem(bytes);
    ASSERT_EQ(src->seek(1000, QVIO_SEEK_BEGIN), 0u);
    auto dst = openTemp();
    EXPECT_EQ(QVIOStreamUtils::copyStream(dst.get(), src.get(), 100000), 0u);
    EXPECT_EQ(contentOf(*dst), std::vector<uint8_t>(bytes.begin() + 1000, bytes.begin() + 101000));
    EXPECT_EQ(src->tell(), 101000);
}

TEST(StreamUtils, CopyStreamWithCountEndsQuietlyWhenTheSourceRunsOut) {
    std::vector<uint8_t> bytes = pattern(70000);
    QVIODynamicMemStream src;
    ASSERT_EQ(src.initialize(16), 0u);
    ASSERT_EQ(src.open(), 0u);
    ASSERT_EQ(src.write(bytes.data(), 70000), 70000u);
    ASSERT_EQ(src.seek(0, QVIO_SEEK_BEGIN), 0u);
    auto dst = openTemp();
    EXPECT_EQ(QVIOStreamUtils::copyStream(dst.get(), &src, 1000000), 0u);
    EXPECT_EQ(contentOf(*dst), bytes);
}

TEST(StreamUtils, CopyStreamResumesInterruptedWritesAndReturnsOtherFailures) {
    std::vector<uint8_t> bytes = pattern(70000);
    auto src = openMem(bytes);
    StutteringStream dst(30000, 4);
    EXPECT_EQ(QVIOStreamUtils::copyStream(&dst, src.get(), bytes.size()), 0u);
    EXPECT_EQ(contentOf(dst), bytes);
    EXPECT_EQ(dst.writes, 4);  // 65536 in 30000+30000+5536, then 4464

    // Other write failures are returned.
    ASSERT_EQ(src->seek(0, QVIO_SEEK_BEGIN), 0u);
    StutteringStream failing(100, 145013);
    EXPECT_EQ(QVIOStreamUtils::copyStream(&failing, src.get(), bytes.size()), 145013u);
    EXPECT_EQ(failing.getLength(), 100u);
}

TEST(StreamUtils, CompareStreamsLooksAtAllBytesAndKeepsPositions) {
    std::vector<uint8_t> a = pattern(100000);
    std::vector<uint8_t> b = a;
    auto streamA = openMem(a);
    auto streamB = openMem(b);
    ASSERT_EQ(streamA->seek(7, QVIO_SEEK_BEGIN), 0u);
    ASSERT_EQ(streamB->seek(99, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(QVIOStreamUtils::compareStreams(streamA.get(), streamB.get()), 0u);
    EXPECT_EQ(streamA->tell(), 7);
    EXPECT_EQ(streamB->tell(), 99);

    b[99999] ^= 1;  // last byte of the second block
    EXPECT_EQ(QVIOStreamUtils::compareStreams(streamA.get(), streamB.get()), 1u);
    EXPECT_EQ(streamB->tell(), 99);

    std::vector<uint8_t> shorter(a.begin(), a.end() - 1);
    auto streamC = openMem(shorter);
    EXPECT_EQ(QVIOStreamUtils::compareStreams(streamA.get(), streamC.get()), 1u);

    QVIOMemStream closed;
    EXPECT_EQ(QVIOStreamUtils::compareStreams(streamA.get(), &closed), 1u);
}

TEST(StreamUtils, GetEndPosKeepsThePosition) {
    std::vector<uint8_t> bytes = pattern(321);
    auto stream = openMem(bytes);
    ASSERT_EQ(stream->seek(17, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(QVIOStreamUtils::getEndPos(stream.get()), 321);
    EXPECT_EQ(stream->tell(), 17);

    QVIOSubStream sub;
    ASSERT_EQ(sub.initialize(stream.get(), 100, 150, false), 0u);
    ASSERT_EQ(sub.open(), 0u);
    ASSERT_EQ(sub.seek(5, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(QVIOStreamUtils::getEndPos(&sub), 50);
    EXPECT_EQ(sub.tell(), 5);

    QVIONullStream null;  // cannot seek from the end
    ASSERT_EQ(null.open(), 0u);
    EXPECT_EQ(QVIOStreamUtils::getEndPos(&null), -1);
    EXPECT_EQ(QVIOStreamUtils::getEndPos(nullptr), -1);
}

TEST(StreamUtils, CloneAndCloseStream) {
    std::vector<uint8_t> bytes = pattern(10);
    QVIOMemStream closed;
    ASSERT_EQ(closed.initialize(bytes.data(), 10), 0u);
    std::unique_ptr<QVIOStreamInf> copy(QVIOStreamUtils::clone(&closed));
    EXPECT_FALSE(copy->isOpen());
    EXPECT_EQ(QVIOStreamUtils::clone(nullptr), nullptr);

    QVIOStreamInf* stream = QVIOStreamUtils::openTempStream();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(QVIOStreamUtils::closeStream(stream), 0u);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(QVIOStreamUtils::closeStream(stream), 0u);
    QVIODynamicMemStream* typed = QVIOStreamUtils::openTempStream();
    EXPECT_EQ(QVIOStreamUtils::closeStream(typed), 0u);
    EXPECT_EQ(typed, nullptr);
}

TEST(StreamUtils, PrintWritesTheFormattedText) {
    auto stream = openTemp();
    EXPECT_EQ(QVIOStreamUtils::print(stream.get(), "%s=%d;%.2f\n", "width", 512, 0.125), 15);
    std::vector<uint8_t> content = contentOf(*stream);
    EXPECT_EQ(std::string(content.begin(), content.end()), "width=512;0.12\n");
    uint8_t tiny[3];
    QVIOMemStream full;
    ASSERT_EQ(full.initialize(tiny, 3), 0u);
    ASSERT_EQ(full.open(), 0u);
    EXPECT_EQ(QVIOStreamUtils::print(&full, "%d", 123456), -1);
}

TEST(StreamUtils, CopyToFileWritesTheWholeStream) {
    std::string dir = TestPaths::tempDir("io_copytofile");
    std::vector<uint8_t> bytes = pattern(90000);
    auto stream = openMem(bytes);
    ASSERT_EQ(stream->seek(500, QVIO_SEEK_BEGIN), 0u);
    QVFileSpec target(dir + "/copy.bin");
    EXPECT_EQ(QVIOStreamUtils::copyToFile(stream.get(), target), 0u);
    EXPECT_EQ(stream->tell(), 500);

    std::unique_ptr<QVIOFileStream> file(QVIOStreamUtils::openFileStream(target, "rb"));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(QVIOStreamUtils::compareStreams(file.get(), stream.get()), 0u);
    EXPECT_EQ(QVIOStreamUtils::getEndPos(file.get()), 90000);

    EXPECT_EQ(QVIOStreamUtils::copyToFile(stream.get(), QVFileSpec(dir + "/no/such/dir/x.bin")), 1u);
    QVIOMemStream closed;
    EXPECT_EQ(QVIOStreamUtils::copyToFile(&closed, target), 1u);
    std::filesystem::remove_all(dir);
}

TEST(StreamUtils, OpenFileStreamFailsWithNull) {
    EXPECT_EQ(QVIOStreamUtils::openFileStream("/no/such/file.bin", "rb"), nullptr);
    EXPECT_EQ(QVIOStreamUtils::openFileStream(static_cast<const char*>(nullptr), "rb"), nullptr);
    EXPECT_EQ(QVIOStreamUtils::openFileStream(QVFileSpec("/tmp/x"), nullptr), nullptr);
}
