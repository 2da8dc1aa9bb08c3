// The byte-order reader and writer: exact bytes in both orders, and the
// statuses of short transfers.
#include <gtest/gtest.h>

#include <vector>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioStreamReader.h"
#include "tavix_fixtureWriter.h"

using namespace Orvanetics;

namespace {

template <bool BigEndian>
std::vector<uint8_t> writeSample() {
    QVIODynamicMemStream stream;
    EXPECT_EQ(0u, stream.initialize(64));
    EXPECT_EQ(0u, stream.open());
    QVIOStreamWriter<BigEndian> w(stream);
    EXPECT_EQ(0u, w.writeUint8(0x81));
    EXPECT_EQ(0u, w.writeInt16(-2));
    EXPECT_EQ(0u, w.writeUint32(0x01020304));
    EXPECT_EQ(0u, w.writeUint64(0x0102030405060708ull));
    EXPECT_EQ(0u, w.writeFloat32(1.0f));
    EXPECT_EQ(0u, w.writeUnsigned(2, 0xABCD));
    return std::vector<uint8_t>(stream.getData(), stream.getData() + stream.getLength());
}

}  // namespace

TEST(PacketDBByteOrder, WritesBigAndLittleEndianBytes) {
    const std::vector<uint8_t> big = {0x81, 0xFF, 0xFE, 1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8,
                                      0x3F, 0x80, 0x00, 0x00, 0xAB, 0xCD};
    const std::vector<uint8_t> little = {0x81, 0xFE, 0xFF, 4, 3, 2, 1, 8, 7, 6, 5, 4, 3, 2, 1,
                                         0x00, 0x00, 0x80, 0x3F, 0xCD, 0xAB};
    EXPECT_EQ(big, writeSample<true>());
    EXPECT_EQ(little, writeSample<false>());
}

TEST(PacketDBByteOrder, ReadsEveryWidthBack) {
    std::vector<uint8_t> bytes = {0xFF, 0x80, 0x01, 0xFF, 0xFE, 0x12, 0x34, 0x56, 0x78,
                                  0xFF, 0xFF, 0xFF, 0xFE, 0x01, 0x02, 0x03, 0x04, 0x05,
                                  0x06, 0x07, 0x08, 0x40, 0x09, 0x21, 0xFB, 0x54, 0x44,
                                  0x2D, 0x18, 0x00, 0x00, 0x01};
    auto stream = TavixFixture::openMemStream(bytes);
    QVIOStreamReader<true> r(*stream);
    uint8_t u8 = 0;
    int8_t s8 = 0;
    int16_t s16 = 0;
    uint32_t u32 = 0;
    int32_t s32 = 0;
    uint64_t u64 = 0;
    double f64 = 0;
    uint64_t wide = 0;
    EXPECT_EQ(0u, r.readUint8(u8));
    EXPECT_EQ(0u, r.readInt8(s8));
    EXPECT_EQ(0u, r.readUint8(u8));
    EXPECT_EQ(0u, r.readInt16(s16));
    EXPECT_EQ(0u, r.readUint32(u32));
    EXPECT_EQ(0u, r.readInt32(s32));
    EXPECT_EQ(0u, r.readUint64(u64));
    EXPECT_EQ(0u, r.readFloat64(f64));
    EXPECT_EQ(0u, r.readUnsigned(3, wide));
    EXPECT_EQ(1, u8);
    EXPECT_EQ(-128, s8);
    EXPECT_EQ(-2, s16);
    EXPECT_EQ(0x12345678u, u32);
    EXPECT_EQ(-2, s32);
    EXPECT_EQ(0x0102030405060708ull, u64);
    EXPECT_DOUBLE_EQ(3.141592653589793, f64);
    EXPECT_EQ(1u, wide);
    EXPECT_EQ(static_cast<int64_t>(bytes.size()), r.tell());

    EXPECT_EQ(0u, r.seek(1));
    EXPECT_EQ(0u, r.readUnsigned(0, wide));
    EXPECT_EQ(0u, wide);
    EXPECT_EQ(1, r.tell());
}

TEST(PacketDBByteOrder, ShortTransfersGiveStatuses) {
    std::vector<uint8_t> bytes = {1, 2, 3};
    auto stream = TavixFixture::openMemStream(bytes);
    QVIOStreamReader<true> r(*stream);
    uint32_t value = 0;
    EXPECT_EQ(2001u, r.readUint32(value));
    EXPECT_EQ(0u, r.seek(0));
    uint8_t buffer[4];
    EXPECT_EQ(2001u, r.readBytes(buffer, 4));
    EXPECT_EQ(0u, r.seek(0));
    EXPECT_EQ(0u, r.readBytes(buffer, 3));

    // A fixed block that can't grow: the write that runs past it falls short.
    QVIOStreamWriter<true> w(*stream);
    EXPECT_EQ(0u, w.seek(0));
    EXPECT_EQ(0u, w.writeUint16(7));
    EXPECT_EQ(2002u, w.writeUint16(7));
    EXPECT_EQ(2002u, w.writeUnsigned(8, 1));
}
