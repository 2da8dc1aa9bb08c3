// Image file directories: byte layout, round trips, sub-directories and hostile input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "core_testReader.h"
#include "qv_ioStreamUtils.h"
#include "qv_ioDynamicMemStream.h"
#include "qv_ioSubStream.h"
#include "qvi_ifd.h"

using namespace Orvanetics;
using Entry = QVIIFD::Entry;

namespace {

// Bytes of a hand-made blob, each integer in the order asked for.
class Bytes {
public:
    explicit Bytes(bool bigEndian) : m_bigEndian(bigEndian) {}
    Bytes& raw(const std::string& text) {
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        return *this;
    }
    Bytes& u8(uint8_t value) { return uint(value, 1); }
    Bytes& uint(uint64_t value, int size) {
        for (int i = 0; i < size; ++i) m_bytes.push_back(uint8_t(value >> 8 * (m_bigEndian ? size - 1 - i : i)));
        return *this;
    }
    Bytes& u16(uint64_t value) { return uint(value, 2); }
    Bytes& u32(uint64_t value) { return uint(value, 4); }
    Bytes& u64(uint64_t value) { return uint(value, 8); }
    Bytes& zeros(size_t count) {
        m_bytes.resize(m_bytes.size() + count);
        return *this;
    }
    size_t size() const { return m_bytes.size(); }
    const std::vector<uint8_t>& bytes() const { return m_bytes; }

private:
    bool m_bigEndian;
    std::vector<uint8_t> m_bytes;
};

QVStatus readBlob(const std::vector<uint8_t>& bytes, QVIIFD& ifd) {
    CoreTest::VectorStream stream(bytes);
    return ifd.readFirstIFD(stream);
}

std::vector<uint8_t> entryBytes(const Entry& entry) {
    const uint8_t* data = static_cast<const uint8_t*>(entry.getData());
    return data != nullptr ? std::vector<uint8_t>(data, data + entry.getDataSize()) : std::vector<uint8_t>();
}

void expectSameIFD(const QVIIFD& expected, const QVIIFD& actual) {
    ASSERT_EQ(expected.getNumEntries(), actual.getNumEntries());
    for (unsigned long i = 0; i < expected.getNumEntries(); ++i) {
        const Entry* a = expected.getEntry(i);
        const Entry* b = actual.getEntry(i);
        SCOPED_TRACE("tag " + std::to_string(a->getTag()));
        EXPECT_EQ(a->getTag(), b->getTag());
        EXPECT_EQ(a->getType(), b->getType());
        EXPECT_EQ(a->getCount(), b->getCount());
        ASSERT_EQ(a->getSubIFD() != nullptr, b->getSubIFD() != nullptr);
        if (a->getSubIFD() != nullptr) {
            expectSameIFD(*a->getSubIFD(), *b->getSubIFD());
        } else {
            EXPECT_EQ(entryBytes(*a), entryBytes(*b));
        }
    }
}

template <typename T>
void addValues(QVIIFD& ifd, unsigned short tag, unsigned short type, const std::vector<T>& values) {
    // Rationals take two elements per value.
    const unsigned long long count = values.size() * sizeof(T) / std::max(1u, QVIIFD::typeBytes(type));
    ASSERT_EQ(ifd.addEntry(new Entry(tag, type, count, values.data())), 0u);
}

void addText(QVIIFD& ifd, unsigned short tag, const std::string& text) {
    ASSERT_EQ(ifd.addEntry(new Entry(tag, 2, text.size() + 1, text.c_str())), 0u);
}

Entry* subIFDEntry(unsigned short tag, unsigned short type, QVIIFD* subIFD) {
    Entry* entry = new Entry(tag, type, 1, nullptr);
    entry->setSubIFD(subIFD);
    return entry;
}

// Every type, short values in the entry and long ones behind offsets, and
// nested sub-directories.
void buildRichIFD(QVIIFD& ifd, bool bigTiff) {
    addValues<uint16_t>(ifd, 256, 3, {640});
    addValues<uint32_t>(ifd, 257, 4, {4000000000u});
    addValues<uint16_t>(ifd, 258, 3, {8, 8, 8});
    addValues<uint8_t>(ifd, 1000, 1, {1, 2, 3, 4, 5});
    addValues<int8_t>(ifd, 1001, 6, {-1, -128, 127});
    addValues<uint8_t>(ifd, 1002, 7, {0xDE, 0xAD, 0xBE, 0xEF});
    addValues<int16_t>(ifd, 1003, 8, {-2, 300, -32768});
    addValues<int32_t>(ifd, 1004, 9, {-70000});
    addValues<uint32_t>(ifd, 282, 5, {72, 1, 3, 4});
    addValues<int32_t>(ifd, 1005, 10, {-1, 3});
    addValues<float>(ifd, 1006, 11, {1.5f, -0.25f});
    addValues<double>(ifd, 1007, 12, {3.141592653589793});
    addValues<uint32_t>(ifd, 1008, 13, {12345});
    addValues<uint64_t>(ifd, 1009, 16, {0x123456789ABCDEFull, 7});
    addValues<int64_t>(ifd, 1010, 17, {-5});
    addValues<uint64_t>(ifd, 1011, 18, {99});
    addText(ifd, 270, "a description long enough to need an offset");
    addText(ifd, 305, "abc");

    QVIIFD* interop = new QVIIFD();
    addText(*interop, 1, "R98");
    QVIIFD* exif = new QVIIFD();
    addText(*exif, 36867, "2024:01:02 03:04:05");
    addValues<uint32_t>(*exif, 33434, 5, {1, 250});
    ASSERT_EQ(exif->addEntry(subIFDEntry(QVIIFD::kTagInteroperabilityIFD, 4, interop)), 0u);
    ASSERT_EQ(ifd.addEntry(subIFDEntry(QVIIFD::kTagExifIFD, bigTiff ? 16 : 4, exif)), 0u);
    QVIIFD* gps = new QVIIFD();
    addValues<uint8_t>(*gps, 0, 1, {2, 3, 0, 0});
    addValues<uint32_t>(*gps, 2, 5, {51, 1, 30, 1, 0, 1});
    ASSERT_EQ(ifd.addEntry(subIFDEntry(QVIIFD::kTagGPSIFD, 4, gps)), 0u);
}

}  // namespace

TEST(IFD, RoundTripsInEveryForm) {
    for (bool bigEndian : {false, true}) {
        for (bool bigTiff : {false, true}) {
            SCOPED_TRACE(std::string(bigEndian ? "MM" : "II") + (bigTiff ? " big" : " classic"));
            QVIIFD original;
            buildRichIFD(original, bigTiff);
            CoreTest::VectorStream stream;
            ASSERT_EQ(original.write(stream, bigEndian, bigTiff), 0u);
            EXPECT_EQ(stream.tell(), static_cast<int64_t>(stream.data.size()));

            CoreTest::VectorStream input(stream.data);
            QVIIFD read;
            bool readBigEndian = !bigEndian, readBigTiff = !bigTiff;
            ASSERT_EQ(read.readFirstIFD(input, readBigEndian, readBigTiff), 0u);
            EXPECT_EQ(readBigEndian, bigEndian);
            EXPECT_EQ(readBigTiff, bigTiff);
            expectSameIFD(original, read);
            EXPECT_DOUBLE_EQ(read.findEntry(257)->getValueAsDouble(0), 4000000000.0);
            EXPECT_STREQ(static_cast<const char*>(read.findEntry(270)->getData()),
                         "a description long enough to need an offset");
            const QVIIFD* exif = read.findEntry(QVIIFD::kTagExifIFD)->getSubIFD();
            ASSERT_NE(exif, nullptr);
            EXPECT_STREQ(static_cast<const char*>(exif->findEntry(36867)->getData()), "2024:01:02 03:04:05");
        }
    }
}

TEST(IFD, WrittenBytesOfAClassicLittleEndianBlob) {
    QVIIFD ifd;
    addText(ifd, 305, "abcd");
    addValues<uint16_t>(ifd, 256, 3, {640});
    CoreTest::VectorStream stream;
    ASSERT_EQ(ifd.write(stream, false, false), 0u);
    const std::vector<uint8_t> expected = {
        'I', 'I', 42, 0, 8, 0, 0, 0,                   // header, directory at 8
        2, 0,                                          // two entries, in tag order
        0x00, 0x01, 3, 0, 1, 0, 0, 0, 0x80, 0x02, 0, 0,  // 256 Short 1: 640 in the entry
        0x31, 0x01, 2, 0, 5, 0, 0, 0, 38, 0, 0, 0,     // 305 ASCII 5: behind offset 38
        0, 0, 0, 0,                                    // no next directory
        'a', 'b', 'c', 'd', 0};
    EXPECT_EQ(stream.data, expected);
}

TEST(IFD, WrittenBytesOfABigBigEndianBlob) {
    QVIIFD ifd;
    addText(ifd, 305, "abcdefg");  // 8 bytes: still in the entry
    addValues<uint16_t>(ifd, 256, 3, {640});
    CoreTest::VectorStream stream;
    ASSERT_EQ(ifd.write(stream, true, true), 0u);
    const std::vector<uint8_t> expected = {
        'M', 'M', 0, 43, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16,          // header, directory at 16
        0, 0, 0, 0, 0, 0, 0, 2,                                        // two entries
        0x01, 0x00, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1, 0x02, 0x80, 0, 0, 0, 0, 0, 0,
        0x01, 0x31, 0, 2, 0, 0, 0, 0, 0, 0, 0, 8, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 0,
        0, 0, 0, 0, 0, 0, 0, 0};                                       // no next directory
    EXPECT_EQ(stream.data, expected);
}

TEST(IFD, ValuesInTheEntryOrBehindAnOffset) {
    // Classic: 4 bytes stay in the entry, 5 go behind an offset.
    Bytes classic(false);
    classic.raw("II").u16(42).u32(8);
    classic.u16(3);
    classic.u16(256).u16(3).u32(2).u16(11).u16(22);
    classic.u16(305).u16(2).u32(5).u32(50);
    classic.u16(306).u16(1).u32(0).u32(0xFFFFFFFF);  // empty: the field is not an offset
    classic.u32(0);
    classic.zeros(50 - classic.size()).raw("wxyz").u8(0);
    QVIIFD ifd;
    ASSERT_EQ(readBlob(classic.bytes(), ifd), 0u);
    ASSERT_EQ(ifd.getNumEntries(), 3u);
    EXPECT_EQ(ifd.findEntry(256)->getValueAsDouble(1), 22.0);
    EXPECT_STREQ(static_cast<const char*>(ifd.findEntry(305)->getData()), "wxyz");
    EXPECT_EQ(ifd.findEntry(306)->getCount(), 0u);
    EXPECT_EQ(ifd.findEntry(306)->getData(), nullptr);

    // Big: 8 bytes stay in the entry, 9 go behind an offset.
    Bytes big(true);
    big.raw("MM").u16(43).u16(8).u16(0).u64(16);
    big.u64(2);
    big.u16(5).u16(1).u64(8).raw("12345678");
    big.u16(6).u16(1).u64(9).u64(100);
    big.u64(0);
    big.zeros(100 - big.size()).raw("ABCDEFGHI");
    QVIIFD bigIFD;
    ASSERT_EQ(readBlob(big.bytes(), bigIFD), 0u);
    EXPECT_EQ(entryBytes(*bigIFD.findEntry(5)), std::vector<uint8_t>({'1', '2', '3', '4', '5', '6', '7', '8'}));
    EXPECT_EQ(entryBytes(*bigIFD.findEntry(6)), std::vector<uint8_t>({'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I'}));
}

TEST(IFD, BigEndianValuesComeOutNative) {
    Bytes b(true);
    b.raw("MM").u16(42).u32(8);
    b.u16(4);
    b.u16(282).u16(5).u32(1).u32(62);
    b.u16(1000).u16(12).u32(1).u32(70);
    b.u16(1001).u16(10).u32(1).u32(78);
    b.u16(1002).u16(8).u32(2).u16(0xFFFE).u16(0x0102);
    b.u32(0);
    b.zeros(62 - b.size()).u32(300).u32(4);
    uint64_t bits;
    const double pi = 3.25;
    std::memcpy(&bits, &pi, sizeof(bits));
    b.u64(bits).u32(static_cast<uint32_t>(-9)).u32(3);
    QVIIFD ifd;
    ASSERT_EQ(readBlob(b.bytes(), ifd), 0u);
    EXPECT_DOUBLE_EQ(ifd.findEntry(282)->getValueAsDouble(0), 75.0);
    EXPECT_DOUBLE_EQ(ifd.findEntry(1000)->getValueAsDouble(0), 3.25);
    EXPECT_DOUBLE_EQ(ifd.findEntry(1001)->getValueAsDouble(0), -3.0);
    EXPECT_EQ(ifd.findEntry(1002)->getValueAsDouble(0), -2.0);
    EXPECT_EQ(ifd.findEntry(1002)->getValueAsDouble(1), 258.0);
}

TEST(IFD, HeaderChecks) {
    bool bigEndian, bigTiff;
    unsigned long long offset;
    const auto header = [&](const Bytes& b) {
        CoreTest::VectorStream stream(b.bytes());
        return QVIIFD::readHeader(stream, bigEndian, bigTiff, offset);
    };
    EXPECT_EQ(header(Bytes(false).raw("IX").u16(42).u32(8)), QVI_STS_Failure);
    EXPECT_EQ(header(Bytes(false).raw("II").u16(44).u32(8)), QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(header(Bytes(false).raw("II").u16(43).u16(4).u16(0).u64(16)), QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(header(Bytes(false).raw("II").u16(43).u16(8).u16(1).u64(16)), QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(header(Bytes(false).raw("II").u16(42).u16(8)), QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(header(Bytes(false).raw("I")), QVI_STS_Metadata_BadIFDRead);
    // The order mark decides how the version is read: 42 big-endian read as little is 10752.
    EXPECT_EQ(header(Bytes(true).raw("II").u16(42).u32(8)), QVI_STS_Metadata_BadIFDRead);

    ASSERT_EQ(header(Bytes(true).raw("MM").u16(43).u16(8).u16(0).u64(0x100000000ull)), 0u);
    EXPECT_TRUE(bigEndian);
    EXPECT_TRUE(bigTiff);
    EXPECT_EQ(offset, 0x100000000ull);
    ASSERT_EQ(header(Bytes(false).raw("II").u16(42).u32(0x12345678)), 0u);
    EXPECT_FALSE(bigEndian);
    EXPECT_FALSE(bigTiff);
    EXPECT_EQ(offset, 0x12345678u);
}

TEST(IFD, ChainedDirectoriesAndTheNextOffset) {
    Bytes b(false);
    b.raw("II").u16(42).u32(8);
    b.u16(1).u16(256).u16(3).u32(1).u32(1).u32(26);  // first directory, next at 26
    b.u16(1).u16(256).u16(3).u32(1).u32(2).u32(0);   // second directory, last
    CoreTest::VectorStream stream(b.bytes());
    QVIIFD first, second;
    unsigned long long next = 0;
    ASSERT_EQ(first.readEntries(8, stream, false, false, next), 0u);
    EXPECT_EQ(next, 26u);
    ASSERT_EQ(second.readEntries(next, stream, false, false, next), 0u);
    EXPECT_EQ(next, 0u);
    EXPECT_EQ(first.findEntry(256)->getValueAsDouble(0), 1.0);
    EXPECT_EQ(second.findEntry(256)->getValueAsDouble(0), 2.0);
}

TEST(IFD, EntriesStayInTagOrderAndReplace) {
    QVIIFD ifd;
    addValues<uint16_t>(ifd, 300, 3, {1});
    addValues<uint16_t>(ifd, 256, 3, {2});
    addValues<uint16_t>(ifd, 280, 3, {3});
    addValues<uint32_t>(ifd, 256, 4, {70000});
    ASSERT_EQ(ifd.getNumEntries(), 3u);
    EXPECT_EQ(ifd.getEntry(0)->getTag(), 256);
    EXPECT_EQ(ifd.getEntry(0)->getType(), 4);
    EXPECT_EQ(ifd.getEntry(0)->getValueAsDouble(0), 70000.0);
    EXPECT_EQ(ifd.getEntry(1)->getTag(), 280);
    EXPECT_EQ(ifd.getEntry(2)->getTag(), 300);
    EXPECT_EQ(ifd.getEntry(3), nullptr);
    EXPECT_EQ(ifd.findEntry(257), nullptr);
    EXPECT_EQ(ifd.addEntry(nullptr), QVI_STS_Metadata_InternalError);

    // Deep copies: the copy survives the original.
    auto original = std::make_unique<QVIIFD>();
    buildRichIFD(*original, false);
    QVIIFD copy;
    ASSERT_EQ(copy.init(*original), 0u);
    QVIIFD another;
    ASSERT_EQ(another.copyAndAddEntry(original->findEntry(QVIIFD::kTagExifIFD)), 0u);
    QVIIFD reference;
    buildRichIFD(reference, false);
    original.reset();
    expectSameIFD(reference, copy);
    ASSERT_NE(another.findEntry(QVIIFD::kTagExifIFD)->getSubIFD(), nullptr);
    EXPECT_EQ(another.findEntry(QVIIFD::kTagExifIFD)->getSubIFD()->getNumEntries(), 3u);
}

TEST(IFD, EntryBuffersAndValues) {
    Entry empty(256, 3, 0, nullptr);
    EXPECT_EQ(empty.getData(), nullptr);
    Entry zeroed(256, 4, 3, nullptr);
    ASSERT_NE(zeroed.getData(), nullptr);
    EXPECT_EQ(zeroed.getValueAsDouble(2), 0.0);
    EXPECT_TRUE(std::isnan(zeroed.getValueAsDouble(3)));

    const uint16_t values[2] = {5, 6};
    Entry grown(258, 3, 2, values);
    ASSERT_EQ(grown.grow(4), 0u);
    EXPECT_EQ(grown.getCount(), 4u);
    EXPECT_EQ(grown.getValueAsDouble(1), 6.0);
    EXPECT_EQ(grown.getValueAsDouble(3), 0.0);
    ASSERT_EQ(grown.grow(1), 0u);
    EXPECT_EQ(grown.getValueAsDouble(0), 5.0);
    EXPECT_TRUE(std::isnan(grown.getValueAsDouble(1)));

    EXPECT_TRUE(std::isnan(Entry(270, 2, 2, "a").getValueAsDouble(0)));
    EXPECT_TRUE(std::isnan(Entry(270, 7, 2, "a").getValueAsDouble(0)));
    const int32_t srational[2] = {-3, 4};
    EXPECT_EQ(Entry(1, 10, 1, srational).getValueAsDouble(0), -0.75);
    const uint32_t ifdOffset = 77;
    EXPECT_EQ(Entry(1, 13, 1, &ifdOffset).getValueAsDouble(0), 77.0);
    const int64_t slong8 = -1234567890123ll;
    EXPECT_EQ(Entry(1, 17, 1, &slong8).getValueAsDouble(0), -1234567890123.0);
}

TEST(IFD, TypeWidthsAndSwapping) {
    const unsigned int widths[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8, 0};
    for (unsigned short type = 0; type < 20; ++type) EXPECT_EQ(QVIIFD::typeBytes(type), widths[type]) << type;
    EXPECT_EQ(QVIIFD::typeBytes(0xFFFF), 0u);
    EXPECT_STREQ(QVIIFD::typeName(5), "Rational");
    EXPECT_STREQ(QVIIFD::typeName(13), "IFD");
    EXPECT_STREQ(QVIIFD::typeName(18), "IFD8");
    EXPECT_EQ(QVIIFD::typeName(14), nullptr);

    // Rationals swap each half; doubles the whole; undefined bytes not at all.
    const auto swapped = [](unsigned short type, unsigned long long count, size_t size) {
        std::vector<uint8_t> bytes(size);
        std::iota(bytes.begin(), bytes.end(), 1);
        swapData(bytes.data(), type, count);
        return bytes;
    };
    EXPECT_EQ(swapped(5, 1, 8), std::vector<uint8_t>({4, 3, 2, 1, 8, 7, 6, 5}));
    EXPECT_EQ(swapped(12, 1, 8), std::vector<uint8_t>({8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(swapped(8, 2, 4), std::vector<uint8_t>({2, 1, 4, 3}));
    EXPECT_EQ(swapped(7, 4, 4), std::vector<uint8_t>({1, 2, 3, 4}));
}

TEST(IFD, TypeWithoutWidthAndSubDirectoryForms) {
    // A type without a width reads no data; a sub-directory tag of another
    // form is an empty sub-directory.
    Bytes b(false);
    b.raw("II").u16(42).u32(8).u16(4);
    b.u16(256).u16(14).u32(5).u32(0xFFFFFFFF);
    b.u16(257).u16(3).u32(1).u32(9);
    b.u16(34665).u16(3).u32(1).u32(26);
    b.u16(34853).u16(4).u32(1).u32(0);
    b.u32(0);
    QVIIFD ifd;
    ASSERT_EQ(readBlob(b.bytes(), ifd), 0u);
    EXPECT_EQ(ifd.findEntry(256)->getCount(), 5u);
    EXPECT_EQ(ifd.findEntry(256)->getData(), nullptr);
    EXPECT_EQ(ifd.findEntry(257)->getValueAsDouble(0), 9.0);
    ASSERT_NE(ifd.findEntry(34665)->getSubIFD(), nullptr);
    EXPECT_EQ(ifd.findEntry(34665)->getSubIFD()->getNumEntries(), 0u);
    ASSERT_NE(ifd.findEntry(34853)->getSubIFD(), nullptr);
    EXPECT_EQ(ifd.findEntry(34853)->getSubIFD()->getNumEntries(), 0u);

    // Writing one whose entry can't hold an offset is refused.
    QVIIFD bad;
    ASSERT_EQ(bad.addEntry(subIFDEntry(QVIIFD::kTagExifIFD, 3, new QVIIFD())), 0u);
    CoreTest::VectorStream stream;
    EXPECT_EQ(bad.write(stream, false, false), QVI_STS_Metadata_BadIFDWrite);
}

TEST(IFD, HostileBlobsGiveStatuses) {
    // A little-endian blob: the header of the form, then the body.
    const auto blob = [](bool bigTiff, auto&& body) {
        Bytes b(false);
        if (bigTiff)
            b.raw("II").u16(43).u16(8).u16(0).u64(16);
        else
            b.raw("II").u16(42).u32(8);
        body(b);
        QVIIFD ifd;
        return readBlob(b.bytes(), ifd);
    };
    const auto classic = [&blob](auto&& body) { return blob(false, body); };
    // Value behind an offset outside the stream.
    EXPECT_EQ(classic([](Bytes& b) { b.u16(1).u16(270).u16(2).u32(5).u32(0x7FFFFFF0).u32(0); }),
              QVI_STS_Metadata_BadIFDRead);
    // Counts in the billions are refused before any allocation.
    EXPECT_EQ(classic([](Bytes& b) { b.u16(1).u16(273).u16(4).u32(0xFFFFFFFF).u32(8).u32(0); }),
              QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(classic([](Bytes& b) { b.u16(1).u16(273).u16(12).u32(0x20000000).u32(8).u32(0); }),
              QVI_STS_Metadata_BadIFDRead);
    // More entries declared than there are bytes.
    EXPECT_EQ(classic([](Bytes& b) { b.u16(65535).u16(256).u16(3).u32(1).u32(1); }), QVI_STS_Metadata_BadIFDRead);
    // A first directory beyond the end.
    {
        QVIIFD ifd;
        EXPECT_EQ(readBlob(Bytes(false).raw("II").u16(42).u32(0xFFFFFF00).bytes(), ifd), QVI_STS_Metadata_BadIFDRead);
    }
    // A sub-directory pointing back at its parent, or at itself.
    EXPECT_EQ(classic([](Bytes& b) { b.u16(1).u16(34665).u16(4).u32(1).u32(8).u32(0); }),
              QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(classic([](Bytes& b) {
                  b.u16(1).u16(34665).u16(4).u32(1).u32(26).u32(0);
                  b.u16(1).u16(40965).u16(4).u32(1).u32(26).u32(0);
              }),
              QVI_STS_Metadata_BadIFDRead);
    // A truncated entry.
    EXPECT_EQ(classic([](Bytes& b) { b.u16(1).u16(256).u16(3); }), QVI_STS_Metadata_BadIFDRead);

    // Big form: counts and directory sizes of 2^60.
    const auto big = [&blob](auto&& body) { return blob(true, body); };
    EXPECT_EQ(big([](Bytes& b) { b.u64(1).u16(273).u16(16).u64(1ull << 60).u64(16).u64(0); }),
              QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(big([](Bytes& b) { b.u64(1ull << 60).u16(256).u16(3).u64(1).u64(1).u64(0); }),
              QVI_STS_Metadata_BadIFDRead);
    EXPECT_EQ(big([](Bytes& b) { b.u64(1).u16(270).u16(2).u64(10).u64(~0ull - 5).u64(0); }),
              QVI_STS_Metadata_BadIFDRead);
}

TEST(IFD, FanOutOfSubDirectoriesEndsQuickly) {
    // Every entry of the first directory points at the second, and every entry
    // of the second at the third: no loop, but without a budget the reads
    // would multiply to millions.
    constexpr int kEntries = 200;
    constexpr uint32_t kDirectoryBytes = 2 + 12 * kEntries + 4;
    const uint32_t second = 8 + kDirectoryBytes;
    const uint32_t third = second + kDirectoryBytes;
    Bytes b(false);
    b.raw("II").u16(42).u32(8);
    for (uint32_t target : {second, third}) {
        b.u16(kEntries);
        for (int i = 0; i < kEntries; ++i) b.u16(34665).u16(4).u32(1).u32(target);
        b.u32(0);
    }
    b.u16(kEntries);
    for (int i = 0; i < kEntries; ++i) b.u16(256).u16(3).u32(1).u32(1);
    b.u32(0);
    QVIIFD ifd;
    EXPECT_EQ(readBlob(b.bytes(), ifd), QVI_STS_Metadata_BadIFDRead);
}

TEST(IFD, WriteFailuresGiveStatuses) {
    QVIIFD ifd;
    buildRichIFD(ifd, false);
    CoreTest::VectorStream whole;
    ASSERT_EQ(ifd.write(whole, false, false), 0u);
    // Every possible cut of the output fails cleanly.
    for (size_t limit = 0; limit < whole.data.size(); limit += 7) {
        CoreTest::VectorStream stream;
        stream.writeLimit = limit;
        QVIIFD copy;
        ASSERT_EQ(copy.init(ifd), 0u);
        EXPECT_EQ(copy.write(stream, false, false), QVI_STS_Metadata_BadIFDWrite) << limit;
    }
    CoreTest::VectorStream unseekable;
    unseekable.failSeeks = true;
    EXPECT_EQ(ifd.write(unseekable, true, true), QVI_STS_Metadata_BadIFDWrite);

    // A classic directory holds at most 65535 entries.
    QVIIFD huge;
    for (unsigned tag = 0; tag <= 65535; ++tag) {
        ASSERT_EQ(huge.addEntry(new Entry(static_cast<unsigned short>(tag), 1, 1, "x")), 0u);
    }
    CoreTest::VectorStream stream;
    EXPECT_EQ(huge.write(stream, false, false), QVI_STS_Metadata_BadIFDWrite);
    CoreTest::VectorStream bigStream;
    EXPECT_EQ(huge.write(bigStream, false, true), 0u);
}

TEST(IFD, TagNamesAtTheTablesEnds) {
    EXPECT_STREQ(tiffTagToName(50829), "ActiveArea");
    EXPECT_EQ(tiffTagToName(12345), nullptr);
    EXPECT_STREQ(exifTagToName(42016), "ImageUniqueID");
    EXPECT_STREQ(gpsTagToName(29), "DateStamp");
    EXPECT_EQ(gpsTagToName(256), nullptr);
    EXPECT_EQ(interoperabilityTagToName(2), nullptr);
}

TEST(IFD, DumpNamesTagsTypesAndSubDirectories) {
    QVIIFD ifd;
    buildRichIFD(ifd, false);
    addValues<uint8_t>(ifd, 65000, 99, {});
    char* buffer = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&buffer, &size);
    ASSERT_NE(file, nullptr);
    ifd.dump(file);
    std::fclose(file);
    const std::string text(buffer, size);
    std::free(buffer);
    EXPECT_NE(text.find("Tag 256 (ImageWidth): Short, count 1: 640\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Tag 282 (XResolution): Rational, count 2: 72 0.75\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Tag 305 (Software): ASCII, count 4: \"abc\"\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Tag 65000 (unknown): UNKNOWN 99, count 0:"), std::string::npos) << text;
    // Sub-directories are indented and named by their own tables.
    EXPECT_NE(text.find("\n        Tag 36867 (DateTimeOriginal): ASCII"), std::string::npos) << text;
    EXPECT_NE(text.find("\n              Tag 1 (InteroperabilityIndex): ASCII"), std::string::npos) << text;
    EXPECT_NE(text.find("\n        Tag 0 (VersionID): Byte, count 4: 2 3 0 0\n"), std::string::npos) << text;
}

TEST(IFD, BlobInsideALargerStreamThroughASubStream) {
    // Offsets count from the blob's start, so a blob inside a container is
    // read through a sub-stream over its bytes.
    QVIIFD original;
    buildRichIFD(original, false);
    QVIOStreamInf* container = QVIOStreamUtils::openTempStream();
    ASSERT_NE(container, nullptr);
    const std::vector<uint8_t> prefix(101, 0xEE);
    ASSERT_EQ(container->write(prefix.data(), static_cast<uint32_t>(prefix.size())), prefix.size());
    QVIOSubStream* blobWriter = new QVIOSubStream();
    ASSERT_EQ(blobWriter->initialize(container, 101, INT64_MAX, false), 0u);
    ASSERT_EQ(blobWriter->open(), 0u);
    ASSERT_EQ(original.write(*blobWriter, true, false), 0u);
    const int64_t blobEnd = container->tell();
    delete blobWriter;
    ASSERT_EQ(container->write(prefix.data(), 7), 7u);  // something after the blob

    QVIOSubStream blob;
    ASSERT_EQ(blob.initialize(container, 101, blobEnd, true), 0u);
    ASSERT_EQ(blob.open(), 0u);
    QVIIFD read;
    ASSERT_EQ(read.readFirstIFD(blob), 0u);
    expectSameIFD(original, read);
}
