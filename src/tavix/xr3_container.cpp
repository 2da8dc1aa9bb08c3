#include "xr3_container.h"

#include <algorithm>
#include <mutex>

#include "qv_ioStreamUtils.h"
#include "qv_ioSubStream.h"
#include "xr3_metadata.h"

namespace Orvanetics {

// -------------------------------------------------------------- XR3Container

QVStatus XR3Container::initialize() {
    if (m_initialized) return xr3DBFail(QVI_STS_Tavix_BadContext);
    m_initialized = true;
    m_db.reset(new (std::nothrow) XR3PacketDB());
    if (!m_db) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    {
        std::lock_guard<QVUtilCriticalSection> lock(m_criticalSection);
        if (QVStatus status = initializeLoadImage()) return status;
        if (QVStatus status = initContents()) return status;
    }
    m_metadataReader.reset(new (std::nothrow) XR3MetadataReader());
    if (!m_metadataReader) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    return m_metadataReader->initialize(*this);
}

XR3Container::XR3Container() = default;
XR3Container::~XR3Container() = default;

// The image list, in file order, from the header and XR2 packets; the
// overview number from the index, if there is one that loads.
QVStatus XR3Container::initContents() {
    const XR3ImageType headerImageType = m_db->getVersion().toImageType();
    for (const DBObjectProxy* proxy : m_db->getProxies()) {
        const auto* type = dynamic_cast<const XR3PacketType*>(&proxy->getType());
        if (!type) continue;
        if (type->getType() == XR3_PACKET_HEADER) {
            if (!addImage(type->getImageNumber(), headerImageType))
                return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        } else if (type->getType() == XR3_PACKET_XR2) {
            if (!addImage(type->getImageNumber(), XR3_IMAGETYPE_XR2))
                return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        }
    }
    XR3ContentsPacket* contents = nullptr;
    XR3PacketType contentsType(XR3_PACKET_CONTENTS, XR3PacketType::ANY_SUBTYPE,
                               XR3PacketType::ANY_SUBSUBTYPE, 0, 0, 0);
    // A missing or unreadable index only means there is no overview image.
    if (m_db->findSinglePacketOf(contentsType, contents) == 0 && contents)
        m_overviewImageNumber = contents->getOverviewImageNumber();
    return 0;
}

bool XR3Container::addImage(uint32_t number, XR3ImageType type) {
    bool known = std::any_of(m_images.begin(), m_images.end(),
                             [number](const XR3ImageDesc& desc) { return desc.number == number; });
    return known || m_images.append(XR3ImageDesc{number, type});
}

QVStatus XR3Container::db_findSinglePacket(const XR3PacketType& type, XR3Packet*& packet,
                                           DBTypeComparator comparator) {
    packet = nullptr;
    if (!m_db) return xr3DBFail(QVI_STS_Tavix_BadContext);
    std::lock_guard<QVUtilCriticalSection> lock(m_criticalSection);
    return m_db->findSinglePacket(type, packet, comparator);
}

QVStatus XR3Container::db_findMultiplePackets(const XR3PacketType& type, XR3List<XR3Packet*>& list,
                                              DBTypeComparator comparator) {
    if (!m_db) return xr3DBFail(QVI_STS_Tavix_BadContext);
    std::lock_guard<QVUtilCriticalSection> lock(m_criticalSection);
    return m_db->findMultiplePackets(type, list, comparator);
}

QVStatus XR3Container::db_findMultipleProxies(const XR3PacketType& type,
                                              XR3List<DBObjectProxy*>& list,
                                              DBTypeComparator comparator) {
    if (!m_db) return xr3DBFail(QVI_STS_Tavix_BadContext);
    std::lock_guard<QVUtilCriticalSection> lock(m_criticalSection);
    return m_db->findAllProxies(type, list, comparator);
}

QVStatus XR3Container::db_copyDatabase(XR3PacketDB& destination) {
    if (!m_db) return xr3DBFail(QVI_STS_Tavix_BadContext);
    std::lock_guard<QVUtilCriticalSection> lock(m_criticalSection);
    return destination.copyDatabase(*m_db);
}

bool XR3Container::hasXR2Data() const {
    return std::any_of(m_images.begin(), m_images.end(),
                       [](const XR3ImageDesc& desc) { return desc.type == XR3_IMAGETYPE_XR2; });
}

QVStatus XR3Container::getImageDesc(uint32_t number, XR3ImageDesc& desc) const {
    for (const XR3ImageDesc& image : m_images) {
        if (image.number == number) {
            desc = image;
            return 0;
        }
    }
    return xr3DBFail(QVI_STS_Tavix_BadArgument);
}

const XR3Version& XR3Container::getSourceVersion() const {
    static const XR3Version defaultVersion;
    return m_db ? m_db->getVersion() : defaultVersion;
}

// ---------------------------------------------------- XR3FileSimpleContainer

QVStatus XR3FileSimpleContainer::initialize() {
    if (QVStatus status = openStream()) return status;
    QVStatus status = XR3Container::initialize();
    if (!status) {
        m_loadedPosition = m_stream.tell();
        if (m_loadedPosition < 0) status = xr3DBFail(QVI_STS_Tavix_ReadError);
    }
    closeStream();
    return status;
}

QVStatus XR3FileSimpleContainer::initializeLoadImage() {
    QVIOStreamReader<true> reader(m_stream);
    return getDB().loadImage(reader);
}

const char* XR3FileSimpleContainer::getSourceName() const { return m_stream.getID(); }

QVStatus XR3FileSimpleContainer::openStream() { return m_stream.isOpen() ? 0 : m_stream.open(); }

QVStatus XR3FileSimpleContainer::closeStream() {
    if (m_streamAlwaysOpen || !m_stream.isOpen()) return 0;
    return m_stream.close();
}

QVIOStreamInf* XR3FileSimpleContainer::cloneStream() { return QVIOStreamUtils::clone(&m_stream); }

QVStatus XR3FileSimpleContainer::createXR2DataStream(uint32_t imageNumber, QVIOStreamInf*& stream) {
    stream = nullptr;
    if (QVStatus status = openStream()) return status;
    XR3XR2Packet* packet = nullptr;
    QVStatus status = db_findSinglePacketOf(
        XR3PacketType(XR3_PACKET_XR2, XR3PacketType::ANY_SUBTYPE, XR3PacketType::ANY_SUBSUBTYPE,
                      imageNumber, 0, 0),
        packet);
    closeStream();
    if (status) return status;
    if (!packet) return xr3DBFail(QVI_STS_Tavix_BadArgument);

    QVIOStreamInf* clone = cloneStream();
    if (!clone) return xr3DBFail(QVI_STS_Failure);
    auto* sub = new (std::nothrow) QVIOSubStream();
    if (!sub) {
        QVIOStreamUtils::closeStream(clone);
        return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    }
    if ((status = sub->initialize(clone, packet->getStartOffset(), packet->getEndOffset(), true))) {
        QVIOStreamUtils::closeStream(clone);
        delete sub;
        return status;
    }
    stream = sub;
    return 0;
}

}  // namespace Orvanetics
