#include "xr3_headerPacket.h"
#include "xr3_metadataPacket.h"
#include "xr3_packet.h"

namespace Orvanetics {

namespace {

const XR3PacketType& packetTypeOf(const DBObjectProxy& proxy) {
    static const XR3PacketType blank;
    const auto* type = dynamic_cast<const XR3PacketType*>(&proxy.getType());
    return type ? *type : blank;
}

// The order of a composite file: does a come before b?
bool comesFirstInComposite(const DBObjectProxy* aProxy, const DBObjectProxy* bProxy) {
    const XR3PacketType& a = packetTypeOf(*aProxy);
    const XR3PacketType& b = packetTypeOf(*bProxy);
    if (a.getType() == b.getType()) {
        if (a.getImageNumber() != b.getImageNumber())
            return a.getImageNumber() < b.getImageNumber();
        // Of one image's metadata, the georeference (subType 3) leads.
        return a.getType() == XR3_PACKET_METADATA && a.getSubType() != b.getSubType() &&
               a.getSubType() == 3;
    }
    if (a.getType() == XR3_PACKET_CONTENTS) return true;
    if (b.getType() == XR3_PACKET_CONTENTS) return false;
    if (a.getImageNumber() == b.getImageNumber()) {
        for (XR3PacketTypeEnum leading : {XR3_PACKET_HEADER, XR3_PACKET_METADATA}) {
            if (a.getType() == leading) return true;
            if (b.getType() == leading) return false;
        }
    }
    if (a.getType() == XR3_PACKET_PLANESET) return false;
    if (b.getType() == XR3_PACKET_PLANESET) return true;
    return a.getImageNumber() < b.getImageNumber();
}

}  // namespace

QVStatus XR3PacketDB::loadImage(QVIOStreamReader<true>& reader) {
    if (QVStatus status = m_version.read(reader)) return status;
    return addProxiesByStream(reader, -1);
}

QVStatus XR3PacketDB::write(QVIOStreamWriter<true>& writer) const {
    if (QVStatus status = m_version.write(writer)) return status;
    return writeExcludingVersion(writer);
}

QVStatus XR3PacketDB::writeExcludingVersion(QVIOStreamWriter<true>& writer) const {
    cancelIndexReservations();
    return DB::write(writer);
}

void XR3PacketDB::cancelIndexReservations() const {
    for (const DBObjectProxy* proxy : getProxies()) {
        if (auto* contents = dynamic_cast<XR3ContentsPacket*>(proxy->getObject()))
            contents->cancelReservation();
    }
}

XR3PacketType* XR3PacketDB::createObjectType() const { return new (std::nothrow) XR3PacketType(); }

DBObject* XR3PacketDB::createObject(const DBObjectType& type) const {
    const auto* packetType = dynamic_cast<const XR3PacketType*>(&type);
    return packetType ? createPacket(*packetType) : nullptr;
}

bool XR3PacketDB::isContents(const DBObjectType& type) const {
    const auto* packetType = dynamic_cast<const XR3PacketType*>(&type);
    return packetType && packetType->getType() == XR3_PACKET_CONTENTS &&
           packetType->getMajorVersion() == 1;
}

XR3Packet* XR3PacketDB::createPacket(const XR3PacketType& type) const {
    switch (type.getType()) {
    case XR3_PACKET_UNKNOWN: return newXR3Packet<XR3UnknownPacket>(type);
    case XR3_PACKET_HEADER: return newXR3Packet<XR3HeaderPacket>(type);
    case XR3_PACKET_METADATA: return newXR3Packet<XR3MetadataPacket>(type);
    case XR3_PACKET_PLANESET: return newXR3Packet<XR3PlanesetPacket>(type);
    case XR3_PACKET_SECURITY: return newXR3Packet<XR3SecurityPacket>(type);
    case XR3_PACKET_CONTENTS: return newXR3Packet<XR3ContentsPacket>(type);
    case XR3_PACKET_XR2: return newXR3Packet<XR3XR2Packet>(type);
    default: return nullptr;
    }
}

XR3PacketType XR3PacketDB::createPacketType(XR3PacketTypeEnum type, uint32_t subType,
                                            uint32_t subSubType, uint32_t imageNumber) {
    return XR3PacketType(type, subType, subSubType, imageNumber, XR3PacketType::ANY_MAJOR_VERSION,
                         XR3PacketType::ANY_MINOR_VERSION);
}

QVStatus XR3PacketDB::copyDatabase(const XR3PacketDB& other) {
    if (QVStatus status = addProxiesByDB(other)) return status;
    m_version = other.m_version;
    // A copied index would describe the other file: load it and let it
    // collect this database's headers instead.
    for (DBObjectProxy* proxy : getProxies()) {
        if (!isContents(proxy->getType())) continue;
        DBObject* object = nullptr;
        if (QVStatus status = loadObject(*proxy, object)) return status;
        if (auto* contents = dynamic_cast<XR3ContentsPacket*>(object))
            contents->attachDatabase(*this);
    }
    return 0;
}

QVStatus XR3PacketDB::findSinglePacket(const XR3PacketType& type, XR3Packet*& packet,
                                       DBTypeComparator comparator) const {
    packet = nullptr;
    DBObjectProxy* proxy = nullptr;
    if (QVStatus status = findProxy(type, proxy, comparator)) return status;
    if (!proxy) return 0;
    DBObject* object = nullptr;
    QVStatus status = loadObject(*proxy, object);
    packet = dynamic_cast<XR3Packet*>(object);
    return status;
}

QVStatus XR3PacketDB::findMultiplePackets(const XR3PacketType& type, XR3List<XR3Packet*>& list,
                                          DBTypeComparator comparator) const {
    XR3List<DBObjectProxy*> proxies;
    if (QVStatus status = findAllProxies(type, proxies, comparator)) return status;
    for (DBObjectProxy* proxy : proxies) {
        DBObject* object = nullptr;
        if (QVStatus status = loadObject(*proxy, object)) return status;
        auto* packet = dynamic_cast<XR3Packet*>(object);
        if (packet && !list.append(packet)) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

void XR3PacketDB::sortForIndexedComposite() { getProxyList().sort(comesFirstInComposite); }

}  // namespace Orvanetics
