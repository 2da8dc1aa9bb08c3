#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <vector>

#include "qv_ioMemStream.h"
#include "qv_ioSubStream.h"

using namespace Orvanetics;

namespace {

// 100 bytes valued 0..99 behind a memory stream.
class SubStreamTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::iota(m_bytes, m_bytes + sizeof(m_bytes), uint8_t(0));
        ASSERT_EQ(m_base.initialize(m_bytes, sizeof(m_bytes)), 0u);
    }
    std::vector<uint8_t> read(QVIOStreamInf& stream, uint32_t count) {
        std::vector<uint8_t> out(count);
        out.resize(stream.read(out.data(), count));
        return out;
    }
    uint8_t m_bytes[100];
    QVIOMemStream m_base;
};

std::vector<uint8_t> run(uint8_t first, uint8_t count) {
    std::vector<uint8_t> out(count);
    std::iota(out.begin(), out.end(), first);
    return out;
}

}  // namespace

TEST_F(SubStreamTest, OpenStartsTheInnerStreamAtTheRangeAndReadsStopAtItsEnd) {
    QVIOSubStream sub;
    ASSERT_EQ(sub.initialize(&m_base, 10, 20, false), 0u);
    EXPECT_FALSE(sub.isOpen());
    ASSERT_EQ(sub.open(), 0u);
    EXPECT_TRUE(m_base.isOpen());
    EXPECT_EQ(sub.tell(), 0);
    EXPECT_EQ(m_base.tell(), 10);
    EXPECT_EQ(read(sub, 4), run(10, 4));
    EXPECT_FALSE(sub.isEOF());
    EXPECT_STREQ(sub.getID(), "qv_substream:");

    // A read across the end is short and sets the flag.
    ASSERT_EQ(sub.seek(6, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(read(sub, 10), run(16, 4));
    EXPECT_TRUE(sub.isEOF());
    EXPECT_EQ(sub.tell(), 10);
    EXPECT_EQ(read(sub, 1).size(), 0u);
    EXPECT_TRUE(sub.isEOF());
    ASSERT_EQ(sub.seek(0, QVIO_SEEK_BEGIN), 0u);
    EXPECT_FALSE(sub.isEOF());
    // An exact read to the end does not set it.
    EXPECT_EQ(read(sub, 10), run(10, 10));
    EXPECT_FALSE(sub.isEOF());
}

TEST_F(SubStreamTest, SeekBoundsAreTheRangeInclusive) {
    QVIOSubStream sub;
    ASSERT_EQ(sub.initialize(&m_base, 10, 20, false), 0u);
    ASSERT_EQ(sub.open(), 0u);
    EXPECT_EQ(sub.seek(10, QVIO_SEEK_BEGIN), 0u);
    EXPECT_EQ(sub.tell(), 10);
    EXPECT_EQ(sub.seek(11, QVIO_SEEK_BEGIN), 145011u);
    EXPECT_EQ(sub.seek(-1, QVIO_SEEK_BEGIN), 145011u);
    EXPECT_EQ(sub.seek(0, QVIO_SEEK_END), 0u);
    EXPECT_EQ(sub.seek(1, QVIO_SEEK_END), 145011u);
    EXPECT_EQ(sub.seek(-10, QVIO_SEEK_END), 0u);
    EXPECT_EQ(sub.tell(), 0);
    EXPECT_EQ(sub.seek(-1, QVIO_SEEK_CURRENT), 145011u);
    EXPECT_EQ(sub.seek(3, QVIO_SEEK_CURRENT), 0u);
    EXPECT_EQ(sub.tell(), 3);
    EXPECT_EQ(sub.seek(0, static_cast<QVIOSeekDir>(9)), 1u);
    EXPECT_EQ(sub.tell(), 3);
}

TEST_F(SubStreamTest, NestedRangesAddUp) {
    QVIOSubStream outer;
    ASSERT_EQ(outer.initialize(&m_base, 20, 80, false), 0u);
    QVIOSubStream inner;
    ASSERT_EQ(inner.initialize(&outer, 5, 15, false), 0u);
    ASSERT_EQ(inner.open(), 0u);
    EXPECT_EQ(m_base.tell(), 25);
    EXPECT_EQ(read(inner, 3), run(25, 3));
    EXPECT_EQ(inner.tell(), 3);
    EXPECT_EQ(outer.tell(), 8);
    ASSERT_EQ(inner.seek(-2, QVIO_SEEK_END), 0u);
    EXPECT_EQ(read(inner, 5), run(33, 2));
    EXPECT_TRUE(inner.isEOF());
    EXPECT_EQ(inner.seek(1, QVIO_SEEK_END), 145011u);
}

TEST_F(SubStreamTest, WritesAreClippedToTheRange) {
    QVIOSubStream sub;
    ASSERT_EQ(sub.initialize(&m_base, 50, 53, false), 0u);
    ASSERT_EQ(sub.open(), 0u);
    const uint8_t data[5] = {200, 201, 202, 203, 204};
    EXPECT_EQ(sub.write(data, 5), 3u);
    EXPECT_FALSE(sub.isEOF());
    EXPECT_EQ(m_bytes[49], 49);
    EXPECT_EQ(m_bytes[50], 200);
    EXPECT_EQ(m_bytes[52], 202);
    EXPECT_EQ(m_bytes[53], 53);
}

TEST_F(SubStreamTest, InitializeRefusesAReversedRangeAndTakesAnEmptyOne) {
    QVIOSubStream sub;
    EXPECT_EQ(sub.initialize(&m_base, 21, 20, false), 1u);
    EXPECT_EQ(sub.initialize(nullptr, 0, 20, false), 145011u);
    EXPECT_EQ(sub.initialize(&m_base, 20, 20, false), 0u);  // an empty range is fine
    ASSERT_EQ(sub.open(), 0u);
    EXPECT_EQ(read(sub, 1).size(), 0u);
    EXPECT_TRUE(sub.isEOF());
}

TEST_F(SubStreamTest, DuplicateSharesTheInnerStreamWithoutOwningIt) {
    QVIOSubStream sub;
    ASSERT_EQ(sub.initialize(&m_base, 30, 40, false), 0u);
    std::unique_ptr<QVIOStreamInf> copy(sub.duplicate());
    ASSERT_NE(copy, nullptr);
    ASSERT_EQ(copy->open(), 0u);
    EXPECT_EQ(read(*copy, 2), run(30, 2));
    copy.reset();  // must not delete m_base
    EXPECT_TRUE(m_base.isOpen());
    EXPECT_EQ(m_base.tell(), 32);
}

namespace {
class TrackedMemStream : public QVIOMemStream {
public:
    explicit TrackedMemStream(bool& deleted) : m_deleted(deleted) {}
    ~TrackedMemStream() override { m_deleted = true; }

private:
    bool& m_deleted;
};
}  // namespace

TEST_F(SubStreamTest, OwnedInnerStreamIsDeletedWithTheSubStream) {
    bool deleted = false;
    auto* inner = new TrackedMemStream(deleted);
    ASSERT_EQ(inner->initialize(16), 0u);
    {
        QVIOSubStream sub;
        ASSERT_EQ(sub.initialize(inner, 0, 16, true), 0u);
        ASSERT_EQ(sub.open(), 0u);
        EXPECT_EQ(read(sub, 16).size(), 16u);
        EXPECT_FALSE(deleted);
    }
    EXPECT_TRUE(deleted);
}

TEST_F(SubStreamTest, CloseForwardsAndANegativeInnerPositionReadsNothing) {
    QVIOSubStream sub;
    ASSERT_EQ(sub.initialize(&m_base, 0, 10, false), 0u);
    ASSERT_EQ(sub.open(), 0u);
    ASSERT_EQ(sub.close(), 0u);
    EXPECT_FALSE(m_base.isOpen());
    EXPECT_EQ(sub.tell(), -1);
    uint8_t byte = 0;
    EXPECT_EQ(sub.read(&byte, 1), 0u);
    EXPECT_FALSE(sub.isEOF());
    EXPECT_EQ(sub.getLastError(), 145012u);
}
