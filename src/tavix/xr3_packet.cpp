#include "xr3_packet.h"

#include <cstring>
#include <limits>
#include <new>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioStreamUtils.h"

namespace Orvanetics {

namespace {

// Bytes between the reader's position and the end of its stream; -1 if unknown.
long long bytesLeft(QVIOStreamReader<true>& reader) {
    long long here = reader.tell();
    long long end = QVIOStreamUtils::getEndPos(&reader.getStream());
    return (here < 0 || end < 0) ? -1 : end - here;
}

// The payload length that a read may rely on: the given one, or what is
// left of the stream for a payload that runs to the end. A length beyond
// the end of the stream is refused before anything is allocated.
QVStatus checkedPayloadLength(QVIOStreamReader<true>& reader, long long length,
                              long long& checked) {
    long long left = bytesLeft(reader);
    if (left < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
    if (length == kDBLengthToEnd) length = left;
    if (length < 0 || length > left) return xr3DBFail(QVI_STS_Tavix_ReadError);
    checked = length;
    return 0;
}

// Copies count bytes from src's start into dst, leaving
// src where it was.
QVStatus copyFromStart(QVIOStreamInf& dst, QVIOStreamInf& src, long long count) {
    int64_t resume = src.tell();
    if (resume < 0 || src.seek(0, QVIO_SEEK_BEGIN)) return xr3DBFail(QVI_STS_Tavix_IOError);
    QVStatus status = QVIOStreamUtils::copyStream(&dst, &src, static_cast<uint64_t>(count));
    if (src.seek(resume, QVIO_SEEK_BEGIN) && !status) status = xr3DBFail(QVI_STS_Tavix_IOError);
    return status;
}

}  // namespace

// ------------------------------------------------------------------ XR3Packet

bool XR3Packet::operator==(const DBObject& other) const {
    const auto* packet = dynamic_cast<const XR3Packet*>(&other);
    return packet && *this == *packet;
}

bool XR3Packet::operator==(const XR3Packet& other) const { return DBObject::operator==(other); }

const XR3PacketType& XR3Packet::getPacketType() const {
    return static_cast<const XR3PacketType&>(getType());
}

XR3PacketType& XR3Packet::getPacketType() { return static_cast<XR3PacketType&>(getType()); }

// ------------------------------------------------------------- XR3PacketBytes

QVStatus XR3PacketBytes::assign(const uint8_t* data, uint32_t length) {
    std::unique_ptr<uint8_t[]> copy(new (std::nothrow) uint8_t[length ? length : 1]);
    if (!copy) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    if (length) std::memcpy(copy.get(), data, length);
    m_data = std::move(copy);
    m_size = length;
    return 0;
}

QVStatus XR3PacketBytes::read(QVIOStreamReader<true>& reader, uint32_t length) {
    std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[length ? length : 1]);
    if (!bytes) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    if (QVStatus status = reader.readBytes(bytes.get(), length)) return status;
    m_data = std::move(bytes);
    m_size = length;
    return 0;
}

QVStatus XR3PacketBytes::write(QVIOStreamWriter<true>& writer) const {
    return writer.writeBytes(m_data.get(), m_size);
}

bool XR3PacketBytes::operator==(const XR3PacketBytes& other) const {
    return m_size == other.m_size &&
           (m_size == 0 || std::memcmp(m_data.get(), other.m_data.get(), m_size) == 0);
}

// --------------------------------------------------------------- XR3RawPacket

bool XR3RawPacket::operator==(const XR3Packet& other) const {
    const auto* raw = dynamic_cast<const XR3RawPacket*>(&other);
    return raw && XR3Packet::operator==(other) && m_bytes == raw->m_bytes;
}

QVStatus XR3RawPacket::read(QVIOStreamReader<true>& reader, long long length) {
    long long checked = 0;
    if (QVStatus status = checkedPayloadLength(reader, length, checked)) return status;
    return m_bytes.read(reader, static_cast<uint32_t>(checked));  // cut to 32 bits
}

QVStatus XR3RawPacket::write(QVIOStreamWriter<true>& writer) { return m_bytes.write(writer); }

XR3UnknownPacket* XR3UnknownPacket::createCopy() const { return copyRawPacket(*this); }

XR3SecurityPacket* XR3SecurityPacket::createCopy() const { return copyRawPacket(*this); }

// ---------------------------------------------------------- XR3ContentsPacket

XR3ContentsPacket::XR3ContentsPacket(XR3PacketDB& db, uint32_t overviewImageNumber,
                                     uint8_t majorVersion)
    : XR3Packet(XR3PacketType(XR3_PACKET_CONTENTS, 0, 0, 0, majorVersion, 0)),
      m_overviewImageNumber(overviewImageNumber) {
    openIndexStream();
    attachDatabase(db);
}

XR3ContentsPacket::XR3ContentsPacket(const XR3PacketType& type) : XR3Packet(type) {
    openIndexStream();
}

XR3ContentsPacket::~XR3ContentsPacket() {
    detachDatabase();
    QVIOStreamUtils::closeStream(m_indexStream);
}

void XR3ContentsPacket::openIndexStream() {
    m_indexStream = QVIOStreamUtils::openTempStream();
    if (!m_indexStream) throw QVUtilException(QVI_STS_OutOfMemory);
}

void XR3ContentsPacket::attachDatabase(XR3PacketDB& db) {
    detachDatabase();
    m_db = &db;
    db.setIndexStream(m_indexStream);
}

void XR3ContentsPacket::detachDatabase() {
    if (m_db && m_db->getIndexStream() == m_indexStream) m_db->setIndexStream(nullptr);
    m_db = nullptr;
}

long long XR3ContentsPacket::getIndexLength() const { return m_indexStream->tell(); }

bool XR3ContentsPacket::operator==(const XR3Packet& other) const {
    const auto* contents = dynamic_cast<const XR3ContentsPacket*>(&other);
    return contents && XR3Packet::operator==(other) &&
           m_overviewImageNumber == contents->m_overviewImageNumber;
}

XR3ContentsPacket* XR3ContentsPacket::createCopy() const {
    XR3ContentsPacket* copy = newXR3Packet<XR3ContentsPacket>(getPacketType());
    if (!copy) return nullptr;
    copy->m_overviewImageNumber = m_overviewImageNumber;
    if (copyFromStart(*copy->m_indexStream, *m_indexStream, getIndexLength())) {
        delete copy;
        return nullptr;
    }
    return copy;
}

QVStatus XR3ContentsPacket::read(QVIOStreamReader<true>& reader, long long length) {
    switch (getVersionMajor()) {
    case 0:
        if (length != 4) return xr3DBFail(QVI_STS_Tavix_ReadError);
        return reader.readUint32(m_overviewImageNumber);
    case 1: {
        if (length != kDBLengthToEnd && length < 4) return xr3DBFail(QVI_STS_Tavix_ReadError);
        if (QVStatus status = reader.readUint32(m_overviewImageNumber)) return status;
        if (m_indexStream->seek(0, QVIO_SEEK_BEGIN)) return xr3DBFail(QVI_STS_Tavix_IOError);
        long long count = length == kDBLengthToEnd ? std::numeric_limits<long long>::max()
                                                   : length - 4;
        if (QVStatus status = QVIOStreamUtils::copyStream(m_indexStream, &reader.getStream(),
                                                          static_cast<uint64_t>(count)))
            return status;
        if (length != kDBLengthToEnd && getIndexLength() != count)
            return xr3DBFail(QVI_STS_Tavix_ReadError);
        return 0;
    }
    default:
        return xr3DBFail(QVI_STS_Tavix_BadVersion);
    }
}

QVStatus XR3ContentsPacket::write(QVIOStreamWriter<true>& writer) {
    switch (getVersionMajor()) {
    case 0:
        return writer.writeUint32(m_overviewImageNumber);
    case 1:
        return m_reservedSize == 0 ? reserveIndex(writer) : fillIndex(writer);
    default:
        return xr3DBFail(QVI_STS_Tavix_BadVersion);
    }
}

// First pass: room for the overview number and every header of the database,
// counted as computeHeaderLength counts them.
QVStatus XR3ContentsPacket::reserveIndex(QVIOStreamWriter<true>& writer) {
    if (!m_db) return xr3DBFail(QVI_STS_Tavix_BadContext);
    uint64_t reserved = 4;
    for (const DBObjectProxy* proxy : m_db->getProxies()) {
        const auto* type = dynamic_cast<const XR3PacketType*>(&proxy->getType());
        if (!type) return xr3DBFail(QVI_STS_Tavix_BadContext);
        reserved += static_cast<uint64_t>(type->computeHeaderLength());
    }
    if (writer.skip(static_cast<int64_t>(reserved - 1))) return xr3DBFail(QVI_STS_Tavix_WriteError);
    if (QVStatus status = writer.writeUint8(0)) return status;
    m_reservedSize = reserved;
    return QVI_STS_Tavix_DBObjectNeedsRewrite;
}

// Second pass: the headers collected meanwhile must fill the room exactly.
QVStatus XR3ContentsPacket::fillIndex(QVIOStreamWriter<true>& writer) {
    const long long indexLength = static_cast<long long>(m_reservedSize) - 4;
    m_reservedSize = 0;
    if (QVStatus status = writer.writeUint32(m_overviewImageNumber)) return status;
    if (getIndexLength() != indexLength) return xr3DBFail(QVI_STS_Tavix_WriteError);
    return copyFromStart(writer.getStream(), *m_indexStream, indexLength);
}

// ---------------------------------------------------------- XR3PlanesetPacket

XR3PlanesetPacket::XR3PlanesetPacket(uint32_t imageNumber)
    : XR3Packet(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, imageNumber, 0, 1)) {}

bool XR3PlanesetPacket::operator==(const XR3Packet& other) const {
    const auto* planeset = dynamic_cast<const XR3PlanesetPacket*>(&other);
    return planeset && XR3Packet::operator==(other) && m_order == planeset->m_order &&
           m_layout == planeset->m_layout && m_dataLength == planeset->m_dataLength;
}

XR3PlanesetPacket* XR3PlanesetPacket::createCopy() const {
    XR3PlanesetPacket* copy = newXR3Packet<XR3PlanesetPacket>(getPacketType());
    if (copy) {
        copy->m_order = m_order;
        copy->m_layout = m_layout;
        copy->m_dataLength = m_dataLength;
    }
    return copy;
}

QVStatus XR3PlanesetPacket::read(QVIOStreamReader<true>& reader, long long length) {
    if (getVersionMajor() != 0 || getVersionMinor() > 1) return xr3DBFail(QVI_STS_Tavix_BadVersion);
    if (length != kDBLengthToEnd && length < kPrefixLength) return xr3DBFail(QVI_STS_Tavix_ReadError);
    uint8_t order = 0;
    uint8_t layout = 0;
    int64_t dataLength = 0;
    if (QVStatus status = reader.readUint8(order)) return status;
    if (QVStatus status = reader.readUint8(layout)) return status;
    if (QVStatus status = reader.readInt64(dataLength)) return status;
    long long dataStart = reader.tell();
    if (dataStart < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
    m_order = static_cast<XR3PlanesetOrder>(order);
    m_layout = static_cast<XR3PlanesetLayout>(layout);
    m_dataLength = dataLength;
    m_dataStart = dataStart;
    return 0;
}

QVStatus XR3PlanesetPacket::write(QVIOStreamWriter<true>& writer) {
    if (QVStatus status = writer.writeUint8(static_cast<uint8_t>(m_order))) return status;
    if (QVStatus status = writer.writeUint8(static_cast<uint8_t>(m_layout))) return status;
    if (QVStatus status = writer.writeInt64(m_dataLength)) return status;
    m_dataStart = writer.tell();
    if (m_dataStart < 0) return xr3DBFail(QVI_STS_Tavix_WriteError);
    return writePlanes(m_dataStart);
}

QVStatus XR3PlanesetPacket::writePlanes(long long) { return xr3DBFail(QVI_STS_Tavix_NotReached); }

// --------------------------------------------------------------- XR3XR2Packet

XR3XR2Packet::XR3XR2Packet(uint32_t imageNumber)
    : XR3Packet(XR3PacketType(XR3_PACKET_XR2, 0, 0, imageNumber, 0, 0)) {}

bool XR3XR2Packet::operator==(const XR3Packet& other) const {
    const auto* xr2 = dynamic_cast<const XR3XR2Packet*>(&other);
    return xr2 && XR3Packet::operator==(other) && m_startOffset == xr2->m_startOffset &&
           m_endOffset == xr2->m_endOffset;
}

XR3XR2Packet* XR3XR2Packet::createCopy() const {
    XR3XR2Packet* copy = newXR3Packet<XR3XR2Packet>(getPacketType());
    if (copy) {
        copy->m_startOffset = m_startOffset;
        copy->m_endOffset = m_endOffset;
    }
    return copy;
}

QVStatus XR3XR2Packet::read(QVIOStreamReader<true>& reader, long long length) {
    long long start = reader.tell();
    if (start < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
    long long end = 0;
    if (length == kDBLengthToEnd) {
        end = QVIOStreamUtils::getEndPos(&reader.getStream());
        if (end < start) return xr3DBFail(QVI_STS_Tavix_ReadError);
    } else {
        if (length < 0 || length > std::numeric_limits<long long>::max() - start)
            return xr3DBFail(QVI_STS_Tavix_ReadError);
        end = start + length;
    }
    m_startOffset = start;
    m_endOffset = end;
    return 0;
}

QVStatus XR3XR2Packet::write(QVIOStreamWriter<true>&) { return xr3DBFail(QVI_STS_Tavix_NotReached); }

}  // namespace Orvanetics
