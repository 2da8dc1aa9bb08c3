#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "qv_ioFileStream.h"
#include "qv_ioSTDIOStream.h"
#include "qv_ioStreamUtils.h"
#include "test_paths.h"

using namespace Orvanetics;

namespace {

class FileStreamTest : public ::testing::Test {
protected:
    void SetUp() override { m_dir = TestPaths::tempDir("io_filestream"); }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    std::string path(const char* name) const { return m_dir + "/" + name; }
    void writeFile(const std::string& file, const std::string& content) const {
        std::ofstream(file, std::ios::binary) << content;
    }
    static std::string readString(QVIOStreamInf& stream, uint32_t count) {
        std::string out(count, '\0');
        out.resize(stream.read(reinterpret_cast<uint8_t*>(out.data()), count));
        return out;
    }
    static uint32_t writeString(QVIOStreamInf& stream, const std::string& text) {
        return stream.write(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()));
    }

    std::string m_dir;
};

}  // namespace

TEST_F(FileStreamTest, ReadsAndSeeksARealFile) {
    writeFile(path("a.bin"), "0123456789");
    QVIOFileStream stream;
    ASSERT_EQ(stream.initialize(path("a.bin").c_str(), "rb"), 0u);
    EXPECT_TRUE(stream.isEOF());  // not open yet
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(readString(stream, 4), "0123");
    ASSERT_EQ(stream.seek(-3, QVIO_SEEK_END), 0u);
    EXPECT_EQ(stream.tell(), 7);
    EXPECT_EQ(readString(stream, 10), "789");
    EXPECT_TRUE(stream.isEOF());
    EXPECT_EQ(stream.getLastError(), 0u);
    ASSERT_EQ(stream.seek(2, QVIO_SEEK_BEGIN), 0u);
    EXPECT_FALSE(stream.isEOF());
    ASSERT_EQ(stream.seek(3, QVIO_SEEK_CURRENT), 0u);
    EXPECT_EQ(readString(stream, 1), "5");
    // The stdio pass-throughs.
    EXPECT_EQ(stream.stdio_setvbuf(nullptr, _IOFBF, 1 << 16), 0);
    EXPECT_EQ(stream.stdio_ferror(), 0);
    stream.stdio_clearerr();
    EXPECT_EQ(QVIOFileStream().stdio_ferror(), -1);
}

TEST_F(FileStreamTest, SwitchingBetweenReadingAndWritingNeedsNoSeekFromTheCaller) {
    writeFile(path("rw.bin"), "abcdefgh");
    QVIOFileStream stream;
    ASSERT_EQ(stream.initialize(QVFileSpec(path("rw.bin")), "r+b"), 0u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(readString(stream, 2), "ab");
    EXPECT_EQ(writeString(stream, "XY"), 2u);  // lands at 2..3
    EXPECT_EQ(readString(stream, 2), "ef");
    EXPECT_EQ(writeString(stream, "Z"), 1u);
    ASSERT_EQ(stream.close(), 0u);
    std::ifstream check(path("rw.bin"), std::ios::binary);
    std::string content((std::istreambuf_iterator<char>(check)), std::istreambuf_iterator<char>());
    EXPECT_EQ(content, "abXYefZh");
}

TEST_F(FileStreamTest, StatusesOfMisuseAndIds) {
    QVIOFileStream stream;
    EXPECT_EQ(stream.initialize("", "rb"), 145011u);
    EXPECT_EQ(stream.initialize(path("x").c_str(), nullptr), 145011u);
    EXPECT_EQ(stream.open(), 145003u);  // nothing to open
    EXPECT_EQ(stream.seek(0, QVIO_SEEK_BEGIN), 145012u);
    EXPECT_EQ(stream.getLastError(), 145012u);
    uint8_t byte = 0;
    EXPECT_EQ(stream.read(&byte, 1), 0u);
    EXPECT_EQ(stream.write(&byte, 1), 0u);
    EXPECT_EQ(stream.tell(), -1);

    // Ids are the normalised absolute path.
    QVIOFileStream absolute;
    ASSERT_EQ(absolute.initialize("/tmp//dir/./x.jp2", "rb"), 0u);
    EXPECT_STREQ(absolute.getID(), "file:///tmp/dir/./x.jp2");
    QVIOFileStream relative;
    ASSERT_EQ(relative.initialize("rel//x.jp2", "rb"), 0u);
    EXPECT_STREQ(relative.getID(), "file://rel//x.jp2");

    ASSERT_EQ(stream.initialize(path("missing.bin").c_str(), "rb"), 0u);
    EXPECT_EQ(stream.open(), 1u);
    writeFile(path("present.bin"), "z");
    ASSERT_EQ(stream.initialize(path("present.bin").c_str(), "rb"), 0u);
    ASSERT_EQ(stream.open(), 0u);
    EXPECT_EQ(stream.open(), 145012u);
    EXPECT_EQ(stream.seek(0, static_cast<QVIOSeekDir>(5)), 145011u);
    EXPECT_EQ(stream.initialize(path("other.bin").c_str(), "rb"), 145012u);
}

TEST_F(FileStreamTest, DuplicateOpensTheFileAgainWithItsOwnPosition) {
    writeFile(path("dup.bin"), "0123456789");
    std::unique_ptr<QVIOFileStream> stream(QVIOStreamUtils::openFileStream(path("dup.bin").c_str(), "rb"));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(readString(*stream, 3), "012");
    std::unique_ptr<QVIOStreamInf> copy(stream->duplicate());
    ASSERT_NE(copy, nullptr);
    EXPECT_FALSE(copy->isOpen());
    ASSERT_EQ(copy->open(), 0u);
    EXPECT_EQ(readString(*copy, 2), "01");
    EXPECT_EQ(readString(*stream, 2), "34");
    EXPECT_STREQ(copy->getID(), stream->getID());

    std::unique_ptr<QVIOStreamInf> cloned(QVIOStreamUtils::clone(stream.get()));
    ASSERT_NE(cloned, nullptr);
    EXPECT_TRUE(cloned->isOpen());
    EXPECT_EQ(cloned->tell(), 5);
    EXPECT_EQ(readString(*cloned, 1), "5");
    EXPECT_EQ(stream->tell(), 5);
}

TEST_F(FileStreamTest, StdioStreamWrapsAFileItDoesNotOwn) {
    std::FILE* file = std::fopen(path("std.bin").c_str(), "w+b");
    ASSERT_NE(file, nullptr);
    {
        QVSTDIOStream stream;
        EXPECT_EQ(stream.open(), 145003u);
        EXPECT_EQ(stream.initialize(nullptr), 145011u);
        ASSERT_EQ(stream.initialize(file), 0u);
        ASSERT_EQ(stream.open(), 0u);
        EXPECT_EQ(writeString(stream, "hello"), 5u);
        EXPECT_EQ(stream.stdio_fflush(), 0);
        EXPECT_EQ(stream.tell(), 5);
        ASSERT_EQ(stream.seek(1, QVIO_SEEK_BEGIN), 0u);
        EXPECT_EQ(readString(stream, 10), "ello");
        EXPECT_TRUE(stream.isEOF());
        EXPECT_EQ(stream.seek(0, static_cast<QVIOSeekDir>(0)), 1u);
        EXPECT_EQ(stream.duplicate(), nullptr);
        EXPECT_STREQ(stream.getID(), "qv_stdiostream:");
        ASSERT_EQ(stream.close(), 0u);
    }
    // Still open for its owner.
    EXPECT_EQ(std::fseek(file, 0, SEEK_SET), 0);
    char first = 0;
    EXPECT_EQ(std::fread(&first, 1, 1, file), 1u);
    EXPECT_EQ(first, 'h');
    std::fclose(file);
}
