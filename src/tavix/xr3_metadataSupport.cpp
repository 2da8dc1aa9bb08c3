#include "xr3_metadataSupport.h"

#include <algorithm>
#include <limits>
#include <new>

#include "xr3_container.h"
#include "xr3_imageInfo.h"
#include "xr3_metadataPacket.h"

namespace Orvanetics {

namespace {

// The payload of a metadata packet around what a user delegate writes: with
// useLength the byte count goes in front, patched once the bytes are out.
template <class UserDelegate>
QVStatus writeMetadataPayload(QVIOStreamInf& stream, const XR3MetadataDesc& desc, UserDelegate& delegate) {
    if (!delegate.useLength()) return delegate.invoke(desc, stream);
    QVIOStreamWriter<true> writer(stream);
    const int64_t start = writer.tell();
    if (start < 0) return xr3Fail(QVI_STS_Tavix_WriteError);
    if (QVStatus status = writer.writeUint32(0)) return status;
    if (QVStatus status = delegate.invoke(desc, stream)) return status;
    const int64_t end = writer.tell();
    const int64_t count = end - start - 4;
    if (count < 0 || count > int64_t(std::numeric_limits<uint32_t>::max())) return xr3Fail(QVI_STS_Tavix_WriteError);
    if (writer.seek(start)) return xr3Fail(QVI_STS_Tavix_IOError);
    if (QVStatus status = writer.writeUint32(uint32_t(count))) return status;
    return writer.seek(end) ? xr3Fail(QVI_STS_Tavix_IOError) : 0;
}

// Unlinks and destroys the single proxy of that address, if db has one.
QVStatus destroyProxy(XR3PacketDB& db, const XR3MetadataDesc& desc) {
    DBObjectProxy* proxy = nullptr;
    if (QVStatus status = db.findProxy(desc.toPacketType(), proxy)) return status;
    if (proxy && db.removeProxy(proxy)) delete proxy;
    return 0;
}

QVStatus addIndirectProxy(XR3PacketDB* db, const XR3MetadataDesc& desc, DBIndirectStreamDelegate& delegate) {
    if (!db) return xr3Fail(QVI_STS_Tavix_BadContext);
    return db->addProxyByIndirectStream(desc.toPacketType(), delegate) ? 0 : xr3Fail(QVI_STS_Tavix_OutOfMemory);
}

QVStatus loadSourcePacket(XR3Container& container, const XR3MetadataDesc& desc, XR3MetadataPacket*& packet) {
    if (QVStatus status = container.db_findSinglePacketOf(desc.toPacketType(), packet)) return status;
    return packet ? 0 : xr3Fail(QVI_STS_Tavix_BadArgument);
}

}  // namespace

QVStatus XR3MetadataInternalAdderDelegate::invoke(QVIOStreamInf& stream) {
    return writeMetadataPayload(stream, m_desc, m_delegate);
}

QVStatus XR3MetadataInternalModifierDelegate::invoke(QVIOStreamInf& stream) {
    return writeMetadataPayload(stream, m_desc, m_delegate);
}

// ------------------------------------------------------------------- actions

QVStatus XR3MetadataSupport::AddAction::doAction(XR3PacketDB* db) { return addIndirectProxy(db, m_desc, m_delegate); }

QVStatus XR3MetadataSupport::AddAction::doAction(XR3PacketWriter& writer) {
    return writer.writePacket(m_desc.toPacketType(), m_delegate);
}

QVStatus XR3MetadataSupport::CopyAction::doAction(XR3PacketDB* db) {
    if (!db) return xr3Fail(QVI_STS_Tavix_BadContext);
    DBObjectProxy* existing = nullptr;
    if (QVStatus status = db->findProxy(m_desc.toPacketType(), existing)) return status;
    if (existing) return 0;
    XR3MetadataPacket* packet = nullptr;
    if (QVStatus status = loadSourcePacket(m_container, m_desc, packet)) return status;
    XR3MetadataPacket* copy = packet->createCopy();
    if (!copy) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    return db->addProxyByObject(copy) ? 0 : xr3Fail(QVI_STS_Tavix_OutOfMemory);
}

QVStatus XR3MetadataSupport::CopyAction::doAction(XR3PacketWriter& writer) {
    XR3MetadataPacket* packet = nullptr;
    if (QVStatus status = loadSourcePacket(m_container, m_desc, packet)) return status;
    return writer.writePacket(*packet);
}

QVStatus XR3MetadataSupport::ModifyAction::doAction(XR3PacketDB* db) {
    if (!db) return xr3Fail(QVI_STS_Tavix_BadContext);
    if (QVStatus status = destroyProxy(*db, m_desc)) return status;
    return addIndirectProxy(db, m_desc, m_delegate);
}

QVStatus XR3MetadataSupport::ModifyAction::doAction(XR3PacketWriter& writer) {
    return writer.writePacket(m_desc.toPacketType(), m_delegate);
}

QVStatus XR3MetadataSupport::RemoveAction::doAction(XR3PacketDB* db) {
    return db ? destroyProxy(*db, m_desc) : xr3Fail(QVI_STS_Tavix_BadContext);
}

// -------------------------------------------------------- XR3MetadataSupport

QVStatus XR3MetadataSupport::initialize() {
    if (m_initialized) return 0;
    m_initialized = true;
    if (!m_container) return 0;
    if (QVStatus status = xr3ListMetadata(*m_container, m_oldList)) return status;
    try {
        m_newList = m_oldList;
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

bool XR3MetadataSupport::hasRequest(const XR3MetadataDesc& desc) const {
    return std::any_of(m_actions.begin(), m_actions.end(),
                       [&](const std::unique_ptr<Action>& action) { return action->getDesc() == desc; });
}

QVStatus XR3MetadataSupport::addAction(std::unique_ptr<Action> action) {
    if (!action) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    try {
        m_actions.push_back(std::move(action));
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

QVStatus XR3MetadataSupport::requestAdd(const XR3MetadataDesc& desc, XR3MetadataAdderDelegate& delegate) {
    if (m_newList.contains(desc)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (!m_newList.append(desc)) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    return addAction(std::unique_ptr<Action>(new (std::nothrow) AddAction(desc, delegate)));
}

QVStatus XR3MetadataSupport::requestCopy(const XR3MetadataDesc& desc) {
    if (!m_container || !m_oldList.contains(desc)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (!m_newList.contains(desc) && !m_newList.append(desc)) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    return addAction(std::unique_ptr<Action>(new (std::nothrow) CopyAction(desc, *m_container)));
}

QVStatus XR3MetadataSupport::requestCopyAll(bool skipRequested) {
    for (const XR3MetadataDesc& desc : m_oldList) {
        if (skipRequested && hasRequest(desc)) continue;
        if (QVStatus status = requestCopy(desc)) return status;
    }
    return 0;
}

QVStatus XR3MetadataSupport::requestCopyImage(uint32_t imageNumber) {
    for (const XR3MetadataDesc& desc : m_oldList) {
        if (desc.imageNumber != imageNumber) continue;
        if (QVStatus status = requestCopy(desc)) return status;
    }
    return 0;
}

QVStatus XR3MetadataSupport::requestModify(const XR3MetadataDesc& desc, XR3MetadataModifierDelegate& delegate) {
    if (!m_newList.contains(desc)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    return addAction(std::unique_ptr<Action>(new (std::nothrow) ModifyAction(desc, delegate)));
}

QVStatus XR3MetadataSupport::requestRemove(const XR3MetadataDesc& desc) {
    if (!m_newList.removeFirst(desc)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    return addAction(std::unique_ptr<Action>(new (std::nothrow) RemoveAction(desc)));
}

QVStatus XR3MetadataSupport::extract(const XR3MetadataDesc& desc, QVIOStreamInf& stream) {
    if (!m_container || !m_oldList.contains(desc)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    return xr3ExtractMetadata(*m_container, desc, stream);
}

QVStatus XR3MetadataSupport::execute(XR3PacketDB& db) {
    for (const auto& action : m_actions) {
        if (QVStatus status = action->doAction(&db)) return status;
    }
    return 0;
}

QVStatus XR3MetadataSupport::execute(XR3PacketWriter& writer) {
    for (const auto& action : m_actions) {
        if (QVStatus status = action->doAction(writer)) return status;
    }
    return 0;
}

QVStatus XR3MetadataSupport::execute(const XR3MetadataDesc& desc, XR3PacketWriter& writer) {
    for (const auto& action : m_actions) {
        if (action->getDesc() != desc) continue;
        if (QVStatus status = action->doAction(writer)) return status;
    }
    return 0;
}

}  // namespace Orvanetics
