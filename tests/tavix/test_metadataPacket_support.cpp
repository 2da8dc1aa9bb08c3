// Metadata edits: requests, actions on a packet database or a packet
// writer, and delegates that give their bytes only when written.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>

#include "qv_ioDynamicMemStream.h"
#include "tavix_planesetWriter.h"
#include "xr3_container.h"
#include "xr3_metadataSupport.h"

namespace {

using namespace Orvanetics;
using namespace TavixFixture;

std::vector<uint8_t> bytesOf(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

class TextDelegate : public XR3MetadataAdderDelegate, public XR3MetadataModifierDelegate {
public:
    explicit TextDelegate(std::string text, bool useCount = true) : m_text(std::move(text)), m_useCount(useCount) {}
    QVStatus invoke(const XR3MetadataDesc& desc, QVIOStreamInf& stream) override {
        ++calls;
        lastDesc = desc;
        QVIOStreamWriter<true> writer(stream);
        if (!m_useCount) {
            if (QVStatus status = writer.writeUint32(uint32_t(m_text.size()))) return status;
        }
        return writer.writeBytes(reinterpret_cast<const uint8_t*>(m_text.data()), m_text.size());
    }
    bool useLength() const override { return m_useCount; }

    int calls = 0;
    XR3MetadataDesc lastDesc;

private:
    std::string m_text;
    bool m_useCount;
};

// The metadata of a file, read back: desc to text.
std::map<std::tuple<uint32_t, uint32_t, uint32_t>, std::string> metadataOf(std::vector<uint8_t>& bytes) {
    std::map<std::tuple<uint32_t, uint32_t, uint32_t>, std::string> result;
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    EXPECT_EQ(0u, container.initialize());
    XR3MetadataReader* reader = container.getMetadataReader();
    for (const XR3MetadataDesc& desc : reader->getList()) {
        QVIODynamicMemStream out;
        out.initialize(16);
        out.open();
        EXPECT_EQ(0u, reader->extract(desc, out));
        result[{desc.subType, desc.subSubType, desc.imageNumber}] =
            std::string(reinterpret_cast<const char*>(out.getData()), out.getLength());
    }
    return result;
}

std::vector<uint8_t> writeDB(const XR3PacketDB& db) {
    return writtenBytes([&](QVIOStreamWriter<true>& writer) { return db.write(writer); });
}

// A source file with metadata of two images, and a support on its container.
class MetadataEdits : public testing::Test {
protected:
    void SetUp() override {
        PacketFileWriter writer;
        writer.addPacket(makeMetadataPacket(3, 0, 0, bytesOf("georef")));
        writer.addPacket(makeMetadataPacket(1, 0, 0, bytesOf("classical")));
        writer.addPacket(makeMetadataPacket(4, 0, 0, bytesOf("old xmp")));
        writer.addPacket(makeMetadataPacket(4, 0, 1, bytesOf("xmp of image 1")));
        ASSERT_EQ(0u, writer.writeToBytes(m_bytes));
        m_stream = openMemStream(m_bytes);
        m_container = std::make_unique<XR3FileSimpleContainer>(*m_stream, true);
        ASSERT_EQ(0u, m_container->initialize());
        m_source = std::make_unique<XR3MetadataSupport>(m_container.get());
        ASSERT_EQ(0u, m_source->initialize());
        ASSERT_EQ(0u, m_source->initialize());  // a second call does nothing
    }

    // Replace the XMP, drop the classical records, add Exif, keep the rest.
    void requestTheEdits() {
        ASSERT_EQ(0u, m_source->requestModify({4, 0, 0}, m_newXmp));
        ASSERT_EQ(0u, m_source->requestRemove({1, 0, 0}));
        ASSERT_EQ(0u, m_source->requestAdd({5, 0, 0}, m_exif));
        ASSERT_EQ(0u, m_source->requestCopyAll(true));
    }

    using Expected = std::map<std::tuple<uint32_t, uint32_t, uint32_t>, std::string>;
    const Expected m_expected = {{{3, 0, 0}, "georef"},
                                 {{4, 0, 0}, "new xmp"},
                                 {{4, 0, 1}, "xmp of image 1"},
                                 {{5, 0, 0}, "exif"}};

    std::vector<uint8_t> m_bytes;
    std::unique_ptr<QVIOMemStream> m_stream;
    std::unique_ptr<XR3FileSimpleContainer> m_container;
    std::unique_ptr<XR3MetadataSupport> m_source;
    TextDelegate m_newXmp{"new xmp"};
    TextDelegate m_exif{"exif", false};  // writes its own count
};

TEST_F(MetadataEdits, ListsFollowTheRequests) {
    const std::vector<XR3MetadataDesc> old = {{3, 0, 0}, {1, 0, 0}, {4, 0, 0}, {4, 0, 1}};
    EXPECT_EQ(old, std::vector<XR3MetadataDesc>(m_source->getOldList().begin(), m_source->getOldList().end()));
    requestTheEdits();
    const std::vector<XR3MetadataDesc> result = {{3, 0, 0}, {4, 0, 0}, {4, 0, 1}, {5, 0, 0}};
    EXPECT_EQ(result, std::vector<XR3MetadataDesc>(m_source->getNewList().begin(), m_source->getNewList().end()));
    EXPECT_EQ(5u, m_source->getNumActions());  // modify, remove, add, copy 3.0.0 and 4.0.1
    // Requests that contradict the lists.
    EXPECT_EQ(2009u, m_source->requestAdd({5, 0, 0}, m_exif));
    EXPECT_EQ(2009u, m_source->requestRemove({1, 0, 0}));
    EXPECT_EQ(2009u, m_source->requestModify({7, 0, 0}, m_newXmp));
    EXPECT_EQ(2009u, m_source->requestCopy({7, 0, 0}));
    EXPECT_EQ(5u, m_source->getNumActions());
}

TEST_F(MetadataEdits, IntoAFreshDatabase) {
    requestTheEdits();
    XR3PacketDB db;
    ASSERT_EQ(0u, m_source->execute(db));
    // Nothing is generated before the packets are written.
    EXPECT_EQ(0, m_newXmp.calls);
    EXPECT_EQ(0, m_exif.calls);
    std::vector<uint8_t> bytes = writeDB(db);
    EXPECT_EQ(1, m_newXmp.calls);
    EXPECT_EQ((XR3MetadataDesc{4, 0, 0}), m_newXmp.lastDesc);
    EXPECT_EQ(m_expected, metadataOf(bytes));
}

TEST_F(MetadataEdits, OverACopyOfTheSource) {
    requestTheEdits();
    XR3PacketDB db;
    ASSERT_EQ(0u, m_container->db_copyDatabase(db));
    ASSERT_EQ(0u, m_source->execute(db));
    std::vector<uint8_t> bytes = writeDB(db);
    EXPECT_EQ(m_expected, metadataOf(bytes));
    // Loading an added packet also asks its delegate.
    XR3Packet* packet = nullptr;
    ASSERT_EQ(0u, db.findSinglePacket(XR3MetadataDesc{5, 0, 0}.toPacketType(), packet));
    auto* exif = dynamic_cast<XR3MetadataPacket*>(packet);
    ASSERT_NE(nullptr, exif);
    EXPECT_EQ("exif", std::string(reinterpret_cast<const char*>(exif->getMetadata()), exif->getMetadataLength()));
}

TEST_F(MetadataEdits, ThroughAPacketWriter) {
    requestTheEdits();
    QVIODynamicMemStream stream;
    ASSERT_EQ(0u, stream.initialize(256));
    ASSERT_EQ(0u, stream.open());
    XR3PacketWriter writer(stream);
    ASSERT_EQ(0u, writer.writeVersion(XR3Version::getXR4Version()));
    ASSERT_EQ(0u, m_source->execute(writer));
    std::vector<uint8_t> bytes(stream.getData(), stream.getData() + stream.getLength());
    EXPECT_EQ(m_expected, metadataOf(bytes));

    // One address at a time.
    QVIODynamicMemStream single;
    ASSERT_EQ(0u, single.initialize(64));
    ASSERT_EQ(0u, single.open());
    XR3PacketWriter one(single);
    ASSERT_EQ(0u, one.writeVersion(XR3Version::getXR4Version()));
    ASSERT_EQ(0u, m_source->execute({4, 0, 1}, one));
    std::vector<uint8_t> oneBytes(single.getData(), single.getData() + single.getLength());
    EXPECT_EQ((Expected{{{4, 0, 1}, "xmp of image 1"}}), metadataOf(oneBytes));
}

TEST_F(MetadataEdits, CopiesOfOneImage) {
    ASSERT_EQ(0u, m_source->requestCopyImage(1));
    XR3PacketDB db;
    ASSERT_EQ(0u, m_source->execute(db));
    std::vector<uint8_t> bytes = writeDB(db);
    EXPECT_EQ((Expected{{{4, 0, 1}, "xmp of image 1"}}), metadataOf(bytes));
    QVIODynamicMemStream out;
    ASSERT_EQ(0u, out.initialize(16));
    ASSERT_EQ(0u, out.open());
    ASSERT_EQ(0u, m_source->extract({3, 0, 0}, out));
    EXPECT_EQ("georef", std::string(reinterpret_cast<const char*>(out.getData()), out.getLength()));
    EXPECT_EQ(2009u, m_source->extract({5, 0, 0}, out));
}

}  // namespace
