// Metadata packets through the container's metadata reader: georeference,
// classical records, XMP and Exif, and damaged packets.
#include <gtest/gtest.h>

#include <string>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioStreamUtils.h"
#include "qvi_metadataRecord.h"
#include "tavix_planesetWriter.h"
#include "xr3_container.h"
#include "xr3_metadata.h"
#include "xr3_metadataPacket.h"

namespace {

using namespace Orvanetics;
using namespace TavixFixture;

std::vector<uint8_t> bytesOf(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

std::string readAll(QVIOStreamInf& stream) {
    std::string text;
    uint8_t buffer[256];
    uint32_t got = 0;
    while ((got = stream.read(buffer, sizeof(buffer))) > 0) text.append(reinterpret_cast<char*>(buffer), got);
    return text;
}

std::vector<uint8_t> georefBytes(const XR3GeorefData& georef) {
    return writtenBytes([&](QVIOStreamWriter<true>& writer) { return georef.write(writer); });
}

XR3GeorefData sampleGeoref() {
    XR3GeorefData georef;
    georef.setGeoData(500000.5, 4200000.25, 500990.5, 4199010.25, 10.0, -10.0);
    georef.setZNumber(33);
    QVIPixel background(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    background.setSampleValue<uint8_t>(0, 1);
    background.setSampleValue<uint8_t>(1, 2);
    background.setSampleValue<uint8_t>(2, 250);
    georef.setBackgroundPixel(&background);
    return georef;
}

// A file holding one image and its metadata packets.
class MetadataFile : public testing::Test {
protected:
    void SetUp() override {
        XR3ImageInfo info = makeImageInfo(40, 30, 1, 3, 16);
        std::vector<std::unique_ptr<XR3Packet>> packets;
        ClassicalRecord name;
        name.key = "IMAGE::NAME";
        name.strings = {"harbour"};
        ClassicalRecord counts;
        counts.key = "IMAGE::COUNTS";
        counts.typeCode = 3;  // UINT32
        counts.numValues = 2;
        counts.valueBytes = {0, 0, 1, 0, 0xFF, 0xFF, 0xFF, 0xFE};
        packets.push_back(makeMetadataPacket(XR3_METADATA_GEOREF, 0, 0, georefBytes(sampleGeoref())));
        packets.push_back(makeMetadataPacket(XR3_METADATA_CLASSICAL, 0, 0, classicalMetadataBytes({name, counts})));
        packets.push_back(makeMetadataPacket(XR3_METADATA_XMP, 0, 0, bytesOf(m_xmp)));
        packets.push_back(makeMetadataPacket(XR3_METADATA_EXIF, 0, 0, bytesOf(m_exif)));
        packets.push_back(makeMetadataPacket(XR3_METADATA_EXIF, 0, 7, {}));  // count 0
        m_file = writeImageFile(info, PlanesetContent::random(info, 1, {}), PlanesetOptions(), std::move(packets));
        m_stream = openMemStream(m_file.bytes);
        m_container = std::make_unique<XR3FileSimpleContainer>(*m_stream, false);
        ASSERT_EQ(0u, m_container->initialize());
        m_reader = m_container->getMetadataReader();
        ASSERT_NE(nullptr, m_reader);
    }

    const std::string m_xmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>";
    const std::string m_exif = std::string("Exif\0\0MM\0*", 10);
    ImageFile m_file;
    std::unique_ptr<QVIOMemStream> m_stream;
    std::unique_ptr<XR3FileSimpleContainer> m_container;
    XR3MetadataReader* m_reader = nullptr;
};

TEST_F(MetadataFile, ListsEveryPacketInFileOrder) {
    const std::vector<XR3MetadataDesc> expected = {
        {3, 0, 0}, {1, 0, 0}, {4, 0, 0}, {5, 0, 0}, {5, 0, 7}};
    EXPECT_EQ(expected, std::vector<XR3MetadataDesc>(m_reader->getList().begin(), m_reader->getList().end()));
    EXPECT_TRUE(m_reader->lookup({4, 0, 0}));
    EXPECT_FALSE(m_reader->lookup({4, 0, 1}));
    EXPECT_FALSE(m_reader->lookup({4, 1, 0}));
    // The stream of a container that does not keep it open is closed again.
    EXPECT_FALSE(m_stream->isOpen());
}

TEST_F(MetadataFile, GeoreferenceComesBack) {
    XR3GeorefData georef;
    bool found = false;
    ASSERT_EQ(0u, m_reader->extractGeorefData(0, found, georef, QVI_COLORSPACE_RGB));
    ASSERT_TRUE(found);
    ASSERT_TRUE(georef.hasGeoData());
    EXPECT_EQ(500000.5, georef.getXUL());
    EXPECT_EQ(4200000.25, georef.getYUL());
    EXPECT_EQ(500990.5, georef.getXLR());
    EXPECT_EQ(4199010.25, georef.getYLR());
    EXPECT_EQ(10.0, georef.getXRes());
    EXPECT_EQ(-10.0, georef.getYRes());
    EXPECT_EQ(33u, georef.getZNumber());
    ASSERT_NE(nullptr, georef.getBackgroundPixel());
    EXPECT_EQ(250, georef.getBackgroundPixel()->getSampleValue<uint8_t>(2));
    EXPECT_EQ(nullptr, georef.getNoDataPixel());

    double xUL = 0, yUL = 0, xLR = 0, yLR = 0;
    ASSERT_EQ(0u, m_reader->getGeoBounds(0, found, xUL, yUL, xLR, yLR));
    EXPECT_TRUE(found);
    EXPECT_EQ(500990.5, xLR);

    // An image without a georeference packet.
    XR3GeorefData none;
    ASSERT_EQ(0u, m_reader->extractGeorefData(7, found, none));
    EXPECT_FALSE(found);
    EXPECT_FALSE(none.hasGeoData());
}

TEST_F(MetadataFile, ClassicalRecordsFillTheDatabase) {
    QVIMetadataDatabase database;
    ASSERT_EQ(0u, m_reader->loadMetadata(0, database));
    EXPECT_EQ(2u, database.getIndexCount());
    const QVIMetadataRecord* record = nullptr;
    ASSERT_EQ(0u, database.get("IMAGE::NAME", record));
    EXPECT_EQ(QVI_METADATA_DATATYPE_ASCII, record->getDataType());
    EXPECT_STREQ("harbour", *static_cast<const char* const*>(record->getScalarData()));
    ASSERT_EQ(0u, database.get("IMAGE::COUNTS", record));
    uint32_t count = 0;
    const auto* values = static_cast<const uint32_t*>(record->getVectorData(count));
    ASSERT_EQ(2u, count);
    EXPECT_EQ(256u, values[0]);
    EXPECT_EQ(0xFFFFFFFEu, values[1]);
    // No classical packet for image 7: nothing, no failure.
    QVIMetadataDatabase empty;
    EXPECT_EQ(0u, m_reader->loadMetadata(7, empty));
    EXPECT_EQ(0u, empty.getIndexCount());
}

TEST_F(MetadataFile, BlobsByTag) {
    std::unique_ptr<QVIOStreamInf> blob;
    ASSERT_EQ(0u, m_reader->getMetadataBlob(0, "xmp", blob));
    ASSERT_TRUE(blob);
    EXPECT_EQ(m_xmp, readAll(*blob));
    ASSERT_EQ(0u, m_reader->getMetadataBlob(0, "exif", blob));
    ASSERT_TRUE(blob);
    EXPECT_EQ(m_exif, readAll(*blob));
    // A count of 0 is an empty blob.
    ASSERT_EQ(0u, m_reader->getMetadataBlob(7, "exif", blob));
    ASSERT_TRUE(blob);
    EXPECT_EQ("", readAll(*blob));
    // Absent, or another tag: no stream and no failure.
    EXPECT_EQ(0u, m_reader->getMetadataBlob(7, "xmp", blob));
    EXPECT_FALSE(blob);
    EXPECT_EQ(0u, m_reader->getMetadataBlob(0, "gml", blob));
    EXPECT_FALSE(blob);
    EXPECT_EQ(0u, m_reader->getMetadataBlob(0, nullptr, blob));
    EXPECT_FALSE(blob);
}

TEST_F(MetadataFile, ExtractAndFileOffsets) {
    QVIODynamicMemStream out;
    ASSERT_EQ(0u, out.initialize(16));
    ASSERT_EQ(0u, out.open());
    ASSERT_EQ(0u, m_reader->extract({4, 0, 0}, out));
    EXPECT_EQ(m_xmp, std::string(reinterpret_cast<const char*>(out.getData()), out.getLength()));
    EXPECT_EQ(2009u, m_reader->extract({4, 0, 3}, out));

    long long offset = 0, length = 0;
    ASSERT_EQ(0u, m_reader->getFileOffset({4, 0, 0}, offset, length));
    for (const PacketLayout& packet : describePackets(m_file.bytes)) {
        if (packet.type.getType() == XR3_PACKET_METADATA && packet.type.getSubType() == 4) {
            EXPECT_EQ(packet.payloadPosition, offset);
            EXPECT_EQ(packet.payloadLength, length);
        }
    }
    EXPECT_EQ(4 + m_xmp.size(), size_t(length));
    EXPECT_EQ(1u, m_reader->getFileOffset({4, 0, 3}, offset, length));
}

// Payloads whose count does not fit: the packet can't be read.
TEST(MetadataPacketPayload, DamagedCountsAreReadErrors) {
    for (std::vector<uint8_t> payload : {std::vector<uint8_t>{0, 0, 0, 10, 1, 2}, std::vector<uint8_t>{0, 0},
                                         std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF, 1}}) {
        PacketFileWriter writer;
        writer.addRawPacket(XR3PacketType(XR3_PACKET_METADATA, 4, 0, 0, 0, 0), payload);
        std::vector<uint8_t> bytes;
        ASSERT_EQ(0u, writer.writeToBytes(bytes));
        auto stream = openMemStream(bytes);
        XR3FileSimpleContainer container(*stream, true);
        ASSERT_EQ(0u, container.initialize());
        XR3MetadataReader* reader = container.getMetadataReader();
        ASSERT_TRUE(reader->lookup({4, 0, 0}));
        std::unique_ptr<QVIOStreamInf> blob;
        EXPECT_EQ(2001u, reader->getMetadataBlob(0, "xmp", blob));
        EXPECT_FALSE(blob);
    }
}

TEST(MetadataPacketPayload, CountThenBytes) {
    XR3MetadataPacket packet(4, 2, 9);
    EXPECT_EQ(XR3PacketType(XR3_PACKET_METADATA, 4, 2, 9, 0, 0), packet.getPacketType());
    const uint8_t bytes[] = {'a', 'b', 'c'};
    ASSERT_EQ(0u, packet.setMetadata(bytes, 3));
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 3, 'a', 'b', 'c'}),
              writtenBytes([&](QVIOStreamWriter<true>& writer) { return packet.write(writer); }));
    long long offset = 0, length = 0;
    EXPECT_FALSE(packet.getDiskOffset(offset, length));
}

}  // namespace
