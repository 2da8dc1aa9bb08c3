#include "xr3_metadata.h"

#include <cstring>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioStreamUtils.h"
#include "qvi_metadataClassicalReader.h"
#include "xr3_container.h"
#include "xr3_imageInfo.h"
#include "xr3_metadataPacket.h"

namespace Orvanetics {

XR3PacketType XR3MetadataDesc::toPacketType() const {
    return XR3PacketType(XR3_PACKET_METADATA, subType, subSubType, imageNumber, 0, 0);
}

XR3MetadataDesc XR3MetadataDesc::fromPacketType(const XR3PacketType& type) {
    return XR3MetadataDesc{type.getSubType(), type.getSubSubType(), type.getImageNumber()};
}

QVStatus xr3ListMetadata(XR3Container& container, XR3List<XR3MetadataDesc>& list) {
    XR3List<DBObjectProxy*> proxies;
    const XR3PacketType any(XR3_PACKET_METADATA, XR3PacketType::ANY_SUBTYPE, XR3PacketType::ANY_SUBSUBTYPE,
                            XR3PacketType::ANY_IMAGE_NUMBER, 0, 0);
    if (QVStatus status = container.db_findMultipleProxies(any, proxies)) return status;
    for (const DBObjectProxy* proxy : proxies) {
        const auto* type = dynamic_cast<const XR3PacketType*>(&proxy->getType());
        if (type && !list.append(XR3MetadataDesc::fromPacketType(*type))) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

QVStatus xr3ExtractMetadata(XR3Container& container, const XR3MetadataDesc& desc, QVIOStreamInf& stream) {
    XR3MetadataPacket* packet = nullptr;
    if (QVStatus status = container.db_findSinglePacketOf(desc.toPacketType(), packet)) return status;
    if (!packet) return xr3Fail(QVI_STS_Tavix_BadArgument);
    QVIOStreamWriter<true> writer(stream);
    return writer.writeBytes(packet->getMetadata(), packet->getMetadataLength());
}

// --------------------------------------------------------- XR3MetadataReader

QVStatus XR3MetadataReader::initialize(XR3Container& container) {
    if (m_container) return 0;
    m_container = &container;
    return xr3ListMetadata(container, m_list);
}

QVStatus XR3MetadataReader::extract(const XR3MetadataDesc& desc, QVIOStreamInf& stream) {
    if (!m_container || !lookup(desc)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    return xr3ExtractMetadata(*m_container, desc, stream);
}

QVStatus XR3MetadataReader::getFileOffset(const XR3MetadataDesc& desc, long long& offset, long long& length) {
    if (!m_container || !lookup(desc)) return QVI_STS_Failure;
    XR3MetadataPacket* packet = nullptr;
    if (m_container->db_findSinglePacketOf(desc.toPacketType(), packet) || !packet) return QVI_STS_Failure;
    return packet->getDiskOffset(offset, length) ? 0 : QVI_STS_Failure;
}

QVStatus XR3MetadataReader::extractToTempStream(const XR3MetadataDesc& desc, std::unique_ptr<QVIOStreamInf>& stream) {
    // A stream is destroyed by delete; deleting a temporary one frees its memory.
    std::unique_ptr<QVIOStreamInf> temp(QVIOStreamUtils::openTempStream());
    if (!temp) return xr3Fail(QVI_STS_Tavix_IOError);
    if (QVStatus status = extract(desc, *temp)) return status;
    if (temp->seek(0, QVIO_SEEK_BEGIN)) return xr3Fail(QVI_STS_Tavix_IOError);
    stream = std::move(temp);
    return 0;
}

QVStatus XR3MetadataReader::extractGeorefData(uint32_t imageNumber, bool& found, XR3GeorefData& georef,
                                              QVIColorSpace colorSpace) {
    const XR3MetadataDesc desc{XR3_METADATA_GEOREF, 0, imageNumber};
    found = lookup(desc);
    if (!found) return 0;
    std::unique_ptr<QVIOStreamInf> stream;
    if (QVStatus status = extractToTempStream(desc, stream)) return status;
    QVIOStreamReader<true> reader(*stream);
    return georef.read(reader, colorSpace);
}

QVStatus XR3MetadataReader::getGeoBounds(uint32_t imageNumber, bool& found, double& xUL, double& yUL, double& xLR,
                                         double& yLR) {
    XR3GeorefData georef;
    if (QVStatus status = extractGeorefData(imageNumber, found, georef)) return status;
    found = found && georef.hasGeoData();
    if (!found) return 0;
    xUL = georef.getXUL();
    yUL = georef.getYUL();
    xLR = georef.getXLR();
    yLR = georef.getYLR();
    return 0;
}

QVStatus XR3MetadataReader::loadMetadata(uint32_t imageNumber, QVIMetadataDatabase& database) {
    const XR3MetadataDesc desc{XR3_METADATA_CLASSICAL, 0, imageNumber};
    if (!lookup(desc)) return 0;
    std::unique_ptr<QVIOStreamInf> stream;
    if (QVStatus status = extractToTempStream(desc, stream)) return status;
    QVIMetadataClassicalReader reader(database, *stream);
    return reader.read();
}

QVStatus XR3MetadataReader::getMetadataBlob(uint32_t imageNumber, const char* tag,
                                            std::unique_ptr<QVIOStreamInf>& stream) {
    stream.reset();
    uint32_t kind = 0;
    if (tag && std::strcmp(tag, "xmp") == 0) kind = XR3_METADATA_XMP;
    else if (tag && std::strcmp(tag, "exif") == 0) kind = XR3_METADATA_EXIF;
    const XR3MetadataDesc desc{kind, 0, imageNumber};
    if (kind == 0 || !lookup(desc)) return 0;
    return extractToTempStream(desc, stream);
}

}  // namespace Orvanetics
