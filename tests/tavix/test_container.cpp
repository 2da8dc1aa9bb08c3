// The container: image list, overview, stream handling, the XR2 data
// stream, and concurrent packet loads.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "qv_ioFileStream.h"
#include "qv_ioStreamUtils.h"
#include "tavix_fixtureWriter.h"
#include "test_paths.h"
#include "xr3_container.h"
#include "xr3_metadataPacket.h"

using namespace Orvanetics;
using namespace TavixFixture;

namespace {

XR3PacketType headerType(uint32_t image) {
    return XR3PacketType(XR3_PACKET_HEADER, 0, 0, image, 0, 0);
}

XR3PacketType xr2Type(uint32_t image) { return XR3PacketType(XR3_PACKET_XR2, 0, 0, image, 0, 0); }

std::vector<uint8_t> versionOnly(uint8_t minor, uint8_t micro, char letter) {
    return {'t', 'v', 'x', 'd', 3, minor, micro, static_cast<uint8_t>(letter)};
}

std::string writeTempFile(const std::vector<uint8_t>& bytes, const std::string& name) {
    std::string path = TestPaths::tempDir("tavix_container") + "/" + name;
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path;
}

}  // namespace

TEST(Container, EightByteFileIsEmpty) {
    std::vector<uint8_t> bytes = versionOnly(4, 0, 'a');
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    ASSERT_EQ(0u, container.initialize());
    EXPECT_TRUE(container.getImageList().empty());
    EXPECT_FALSE(container.isMosaic());
    EXPECT_FALSE(container.hasXR2Data());
    EXPECT_FALSE(container.hasOverviewImage());
    EXPECT_EQ(XR3Container::kNoOverviewImage, container.getOverviewImageNumber());
    EXPECT_EQ(XR3Version::getXR4Version(), container.getSourceVersion());
    EXPECT_EQ(8, container.getLoadedPosition());
    EXPECT_STREQ("qv_memstream:", container.getSourceName());
    XR3ImageDesc desc;
    EXPECT_EQ(2009u, container.getImageDesc(0, desc));
    EXPECT_EQ(2010u, container.initialize()) << "once only";
}

TEST(Container, VersionLetterPIsRefusedAndOIsAccepted) {
    std::vector<uint8_t> p = versionOnly(0, 26, 'p');
    auto streamP = openMemStream(p);
    XR3FileSimpleContainer refused(*streamP, true);
    EXPECT_EQ(2006u, refused.initialize());

    std::vector<uint8_t> o = versionOnly(0, 26, 'o');
    auto streamO = openMemStream(o);
    XR3FileSimpleContainer accepted(*streamO, true);
    EXPECT_EQ(0u, accepted.initialize());
    EXPECT_EQ(XR3Version(3, 0, 26, 'o'), accepted.getSourceVersion());
}

TEST(Container, ImageListFromHeaderAndXR2Packets) {
    for (XR3Version version : {XR3Version::getXR4Version(), XR3Version::getTiledVersion2()}) {
        PacketFileWriter writer(version);
        writer.setIndex(IndexKind::Major1, 9);
        writer.addRawPacket(headerType(2), {});
        writer.addRawPacket(xr2Type(5), {'x'});
        writer.addRawPacket(headerType(0), {});
        writer.addRawPacket(headerType(2), {});  // a second header of image 2 adds nothing
        writer.addRawPacket(headerType(9), {});
        std::vector<uint8_t> bytes;
        ASSERT_EQ(0u, writer.writeToBytes(bytes));
        auto stream = openMemStream(bytes);
        XR3FileSimpleContainer container(*stream, true);
        ASSERT_EQ(0u, container.initialize());

        XR3ImageType headerImages = version.toImageType();
        const XR3List<XR3ImageDesc> expected = {
            {2, headerImages}, {5, XR3_IMAGETYPE_XR2}, {0, headerImages}, {9, headerImages}};
        EXPECT_EQ(expected, container.getImageList());
        EXPECT_TRUE(container.isMosaic());
        EXPECT_TRUE(container.hasXR2Data());
        EXPECT_TRUE(container.hasOverviewImage());
        EXPECT_EQ(9u, container.getOverviewImageNumber());
        XR3ImageDesc desc;
        ASSERT_EQ(0u, container.getImageDesc(5, desc));
        EXPECT_EQ(XR3_IMAGETYPE_XR2, desc.type);
        EXPECT_EQ(2009u, container.getImageDesc(1, desc));
    }
}

TEST(Container, OverviewFromContentsOfMajorZero) {
    PacketFileWriter writer(XR3Version::getSingleVersion());
    writer.setIndex(IndexKind::Major0, 3);
    writer.addRawPacket(headerType(3), {});
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    ASSERT_EQ(0u, container.initialize());
    EXPECT_EQ(3u, container.getOverviewImageNumber());
    EXPECT_FALSE(container.isMosaic());
}

// An index that can't be loaded costs the overview, not the open.
TEST(Container, UnreadableIndexMeansNoOverview) {
    std::vector<uint8_t> bytes = versionOnly(4, 0, 'a');
    // contents, major 1, a 2-byte payload: too short to hold the overview
    for (uint8_t b : {0x46, 0x00, 1, 0, 2, 0, 0, 0x01, 0x00, 0x00}) bytes.push_back(b);
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    ASSERT_EQ(0u, container.initialize());
    EXPECT_FALSE(container.hasOverviewImage());
}

TEST(Container, StreamIsClosedBetweenUsesUnlessAskedToStayOpen) {
    PacketFileWriter writer;
    writer.setIndex(IndexKind::Major1);
    writer.addRawPacket(headerType(0), {});
    writer.addPacket([] {
        auto meta = std::make_unique<XR3MetadataPacket>(4, 0, 0);
        const uint8_t xmp[] = {'<', 'x', '/', '>'};
        meta->setMetadata(xmp, sizeof(xmp));
        return meta;
    }());
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    std::string path = writeTempFile(bytes, "stream.xr4");

    for (bool alwaysOpen : {false, true}) {
        QVIOFileStream stream;
        ASSERT_EQ(0u, stream.initialize(path.c_str(), "rb"));
        XR3FileSimpleContainer container(stream, alwaysOpen);
        ASSERT_EQ(0u, container.initialize());
        EXPECT_EQ(alwaysOpen, stream.isOpen());
        EXPECT_NE(nullptr, std::strstr(container.getSourceName(), "stream.xr4"));

        // A load on a closed stream opens and closes it around the read.
        XR3MetadataPacket* meta = nullptr;
        ASSERT_EQ(0u, container.db_findSinglePacketOf(XR3PacketDB::createPacketType(XR3_PACKET_METADATA), meta));
        ASSERT_NE(nullptr, meta);
        EXPECT_EQ(4u, meta->getMetadataLength());
        EXPECT_EQ(alwaysOpen, stream.isOpen());
        EXPECT_EQ(0u, container.closeStream());
        EXPECT_EQ(alwaysOpen, stream.isOpen());
        stream.close();
    }
}

TEST(Container, XR2DataStreamIsTheEmbeddedFile) {
    const std::vector<uint8_t> xr2 = {'X', 'R', '2', 0, 1, 2, 3, 4, 5, 6, 7};
    PacketFileWriter writer(XR3Version::getTiledVersion1());
    writer.setIndex(IndexKind::Major1);
    writer.addRawPacket(headerType(0), {});
    writer.addRawPacket(xr2Type(1), xr2);
    writer.appendRawPacket(xr2Type(2), {'s', 'e', 'c', 'o', 'n', 'd'});
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    std::string path = writeTempFile(bytes, "xr2.xr3");

    QVIOFileStream stream;
    ASSERT_EQ(0u, stream.initialize(path.c_str(), "rb"));
    XR3FileSimpleContainer container(stream, false);
    ASSERT_EQ(0u, container.initialize());
    ASSERT_EQ(3u, container.getImageList().size());

    QVIOStreamInf* data = nullptr;
    ASSERT_EQ(0u, container.createXR2DataStream(1, data));
    ASSERT_NE(nullptr, data);
    ASSERT_EQ(0u, data->open());
    EXPECT_EQ(static_cast<int64_t>(xr2.size()), QVIOStreamUtils::getEndPos(data));
    std::vector<uint8_t> read(xr2.size() + 4);
    EXPECT_EQ(xr2.size(), data->read(read.data(), static_cast<uint32_t>(read.size())));
    read.resize(xr2.size());
    EXPECT_EQ(xr2, read);
    EXPECT_TRUE(data->isEOF());
    QVIOStreamUtils::closeStream(data);
    EXPECT_FALSE(stream.isOpen()) << "the sub-stream read a clone";

    ASSERT_EQ(0u, container.createXR2DataStream(2, data));
    ASSERT_EQ(0u, data->open());
    EXPECT_EQ(6, QVIOStreamUtils::getEndPos(data));
    QVIOStreamUtils::closeStream(data);

    EXPECT_EQ(2009u, container.createXR2DataStream(0, data));
    EXPECT_EQ(nullptr, data);
}

// Readers of several images ask for packets at the same time; the loads
// share the container's stream.
TEST(Container, ConcurrentLoadsGetTheirOwnBytes) {
    constexpr uint32_t kImages = 8;
    PacketFileWriter writer;
    writer.setIndex(IndexKind::Major1);
    for (uint32_t image = 0; image < kImages; ++image) {
        std::vector<uint8_t> payload(3000 + image * 100, static_cast<uint8_t>(image + 1));
        writer.addRawPacket(XR3PacketType(XR3_PACKET_SECURITY, 0, 0, image, 0, 0), payload);
    }
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    ASSERT_EQ(0u, container.initialize());

    std::vector<int> failures(kImages, 0);
    std::vector<std::thread> threads;
    for (uint32_t image = 0; image < kImages; ++image) {
        threads.emplace_back([&, image] {
            for (int round = 0; round < 20; ++round) {
                XR3SecurityPacket* packet = nullptr;
                QVStatus status = container.db_findSinglePacketOf(
                    XR3PacketType(XR3_PACKET_SECURITY, 0, 0, image, 0, 0), packet);
                bool good = status == 0 && packet &&
                            packet->getRawDataLength() == 3000 + image * 100 &&
                            packet->getRawData()[0] == image + 1 &&
                            packet->getRawData()[packet->getRawDataLength() - 1] == image + 1;
                if (!good) ++failures[image];
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(std::vector<int>(kImages, 0), failures);

    XR3PacketDB copy;
    ASSERT_EQ(0u, container.db_copyDatabase(copy));
    EXPECT_EQ(kImages + 1, copy.getNumObjects());
}
