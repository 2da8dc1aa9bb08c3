#include "tavix_fixtureWriter.h"

#include <gtest/gtest.h>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioNullStream.h"
#include "qv_ioStreamUtils.h"

namespace TavixFixture {

namespace {

// An index whose room is what the headers take as written.
class MeasuredIndexPacket : public XR3ContentsPacket {
public:
    MeasuredIndexPacket(XR3PacketDB& db, uint32_t overviewImageNumber)
        : XR3ContentsPacket(db, overviewImageNumber), m_db(db) {}

    QVStatus write(QVIOStreamWriter<true>& writer) override {
        if (m_reserved == 0) return reserve(writer);
        long long indexLength = m_reserved - 4;
        m_reserved = 0;
        if (QVStatus status = writer.writeUint32(getOverviewImageNumber())) return status;
        if (getIndexLength() != indexLength) return QVI_STS_Tavix_WriteError;
        QVIOStreamInf& index = getIndexStream();
        if (index.seek(0, QVIO_SEEK_BEGIN)) return QVI_STS_Tavix_IOError;
        QVStatus status = QVIOStreamUtils::copyStream(&writer.getStream(), &index,
                                                      static_cast<uint64_t>(indexLength));
        index.seek(indexLength, QVIO_SEEK_BEGIN);
        return status;
    }

private:
    QVStatus reserve(QVIOStreamWriter<true>& writer) {
        QVIONullStream measure;
        measure.open();
        QVIOStreamWriter<true> measuring(measure);
        long long lengthField = 0;
        for (const DBObjectProxy* proxy : m_db.getProxies()) {
            if (QVStatus status = proxy->getType().writeHeader(measuring, lengthField)) return status;
        }
        m_reserved = 4 + measuring.tell();
        if (writer.skip(m_reserved - 1)) return QVI_STS_Tavix_WriteError;
        if (QVStatus status = writer.writeUint8(0)) return status;
        return QVI_STS_Tavix_DBObjectNeedsRewrite;
    }

    XR3PacketDB& m_db;
    long long m_reserved = 0;
};

// Adds the packets to db; the database takes them.
QVStatus addAll(XR3PacketDB& db, std::vector<std::unique_ptr<XR3Packet>>& packets) {
    for (auto& packet : packets) {
        if (!db.addProxyByObject(packet.release())) return QVI_STS_Tavix_OutOfMemory;
    }
    packets.clear();
    return 0;
}

}  // namespace

PacketFileWriter::PacketFileWriter(const XR3Version& version) : m_version(version) {}

PacketFileWriter& PacketFileWriter::setIndex(IndexKind kind, uint32_t overviewImageNumber) {
    m_indexKind = kind;
    m_overviewImageNumber = overviewImageNumber;
    return *this;
}

PacketFileWriter& PacketFileWriter::addPacket(std::unique_ptr<XR3Packet> packet) {
    m_listed.push_back(std::move(packet));
    return *this;
}

PacketFileWriter& PacketFileWriter::addRawPacket(const XR3PacketType& type,
                                                 const std::vector<uint8_t>& payload) {
    return addPacket(makeRawPacket(type, payload));
}

PacketFileWriter& PacketFileWriter::appendRawPacket(const XR3PacketType& type,
                                                    const std::vector<uint8_t>& payload) {
    m_appended.push_back(makeRawPacket(type, payload));
    return *this;
}

XR3ContentsPacket* PacketFileWriter::makeIndex(XR3PacketDB& db) const {
    switch (m_indexKind) {
    case IndexKind::None: return nullptr;
    case IndexKind::Major0: return new XR3ContentsPacket(db, m_overviewImageNumber, 0);
    case IndexKind::Major1: return new XR3ContentsPacket(db, m_overviewImageNumber, 1);
    case IndexKind::Major1Measured: return new MeasuredIndexPacket(db, m_overviewImageNumber);
    }
    return nullptr;
}

// The listed packets go through one database (with the index packet, which
// collects their headers), the appended ones through a second database
// without index, behind them.
QVStatus PacketFileWriter::write(QVIOStreamInf& stream) {
    XR3PacketDB listed;
    listed.setVersion(m_version);
    if (XR3ContentsPacket* contents = makeIndex(listed)) {
        if (!listed.addProxyByObject(contents)) return QVI_STS_Tavix_OutOfMemory;
    }
    if (QVStatus status = addAll(listed, m_listed)) return status;

    QVIOStreamWriter<true> writer(stream);
    if (QVStatus status = listed.write(writer)) return status;

    XR3PacketDB appended;
    if (QVStatus status = addAll(appended, m_appended)) return status;
    return appended.writeExcludingVersion(writer);
}

QVStatus PacketFileWriter::writeToBytes(std::vector<uint8_t>& bytes) {
    QVIODynamicMemStream stream;
    if (QVStatus status = stream.initialize(4096)) return status;
    if (QVStatus status = stream.open()) return status;
    if (QVStatus status = write(stream)) return status;
    bytes.assign(stream.getData(), stream.getData() + stream.getLength());
    return stream.close();
}

std::unique_ptr<XR3Packet> makeRawPacket(const XR3PacketType& type,
                                         const std::vector<uint8_t>& payload) {
    auto packet = std::make_unique<XR3UnknownPacket>(type);
    packet->setRawData(payload.data(), static_cast<uint32_t>(payload.size()));
    return packet;
}

std::vector<uint8_t> writtenBytes(const std::function<QVStatus(QVIOStreamWriter<true>&)>& write,
                                  QVStatus expected) {
    QVIODynamicMemStream stream;
    EXPECT_EQ(0u, stream.initialize(256));
    EXPECT_EQ(0u, stream.open());
    QVIOStreamWriter<true> writer(stream);
    EXPECT_EQ(expected, write(writer));
    return std::vector<uint8_t>(stream.getData(), stream.getData() + stream.getLength());
}

std::unique_ptr<QVIOMemStream> openMemStream(std::vector<uint8_t>& bytes) {
    auto stream = std::make_unique<QVIOMemStream>();
    // A zero-length block still needs an address that is not null.
    static uint8_t emptyBlock[1];
    stream->initialize(bytes.empty() ? emptyBlock : bytes.data(),
                       static_cast<uint32_t>(bytes.size()));
    stream->open();
    return stream;
}

std::vector<PacketLayout> describePackets(QVIOStreamInf& stream, long long from, long long end) {
    std::vector<PacketLayout> packets;
    QVIOStreamReader<true> reader(stream);
    long long resume = reader.tell();
    if (reader.seek(from)) return packets;
    while (reader.tell() < end) {
        PacketLayout layout;
        long long dataLength = 0;
        if (layout.type.readHeader(reader, dataLength)) break;
        uint8_t package = 0;
        if (reader.seek(layout.type.getHeaderPosition() + 1) || reader.readUint8(package)) break;
        layout.headerPosition = layout.type.getHeaderPosition();
        layout.headerLength = layout.type.getHeaderLength();
        layout.payloadPosition = layout.headerPosition + layout.headerLength;
        layout.payloadLength = dataLength;
        layout.lengthFieldWidth = 1u << (package & 3);
        layout.lengthFieldPosition = layout.payloadPosition - layout.lengthFieldWidth;
        packets.push_back(layout);
        if (dataLength == kDBLengthToEnd || reader.seek(layout.payloadPosition + dataLength)) break;
    }
    reader.seek(resume);
    return packets;
}

std::vector<PacketLayout> describePackets(std::vector<uint8_t>& bytes) {
    auto stream = openMemStream(bytes);
    return describePackets(*stream, 8, static_cast<long long>(bytes.size()));
}

void patchBigEndian(std::vector<uint8_t>& bytes, long long position, unsigned width,
                    uint64_t value) {
    for (unsigned i = 0; i < width; ++i)
        bytes[position + width - 1 - i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace TavixFixture
