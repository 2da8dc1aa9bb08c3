// Edits of the metadata packets of a file, for writing a new file or a new
// packet database: the packets found in the source (old list), what the
// result is to hold (new list), and the actions that get it there.
//
//   XR3MetadataSupport support(&container);        // or null for a new file
//   support.initialize();
//   support.requestCopyAll(true);                  // keep what is not edited
//   support.requestModify(desc, myModifier);       // new bytes on demand
//   support.execute(db);                           // proxies in db
//   db.write(writer);                              // delegates run here
//
// Delegates produce their bytes only when the packet is written or loaded.
// The support, and the delegates given to it, must outlive every use of
// the database it was executed on.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "xr3_metadata.h"
#include "xr3_packetWriter.h"

namespace Orvanetics {

class XR3Container;

// Gives the bytes of a metadata packet to be added.
class XR3MetadataAdderDelegate {
public:
    virtual ~XR3MetadataAdderDelegate() = default;
    // Writes the packet's bytes for desc to stream.
    virtual QVStatus invoke(const XR3MetadataDesc& desc, QVIOStreamInf& stream) = 0;
    // True: invoke writes only the bytes, and their count is put in front of
    // them. False: invoke writes the whole payload, count included.
    virtual bool useLength() const { return true; }
};

// Gives the new bytes of a metadata packet that replaces an old one; the
// old bytes can be had from XR3MetadataSupport::extract.
class XR3MetadataModifierDelegate {
public:
    virtual ~XR3MetadataModifierDelegate() = default;
    virtual QVStatus invoke(const XR3MetadataDesc& desc, QVIOStreamInf& stream) = 0;
    virtual bool useLength() const { return true; }
};

// Bridges an adder delegate to the packet database: writes the payload of
// the metadata packet (count, then bytes).
class XR3MetadataInternalAdderDelegate : public DBIndirectStreamDelegate {
public:
    XR3MetadataInternalAdderDelegate(const XR3MetadataDesc& desc, XR3MetadataAdderDelegate& delegate)
        : m_desc(desc), m_delegate(delegate) {}
    QVStatus invoke(QVIOStreamInf& stream) override;

private:
    XR3MetadataDesc m_desc;
    XR3MetadataAdderDelegate& m_delegate;
};

class XR3MetadataInternalModifierDelegate : public DBIndirectStreamDelegate {
public:
    XR3MetadataInternalModifierDelegate(const XR3MetadataDesc& desc, XR3MetadataModifierDelegate& delegate)
        : m_desc(desc), m_delegate(delegate) {}
    QVStatus invoke(QVIOStreamInf& stream) override;

private:
    XR3MetadataDesc m_desc;
    XR3MetadataModifierDelegate& m_delegate;
};

class XR3MetadataSupport {
public:
    // One edit, applied to a database or written as a packet.
    class Action {
    public:
        explicit Action(const XR3MetadataDesc& desc) : m_desc(desc) {}
        virtual ~Action() = default;
        const XR3MetadataDesc& getDesc() const { return m_desc; }
        virtual QVStatus doAction(XR3PacketDB* db) = 0;
        // Writes the packet the action leads to; removals write nothing.
        virtual QVStatus doAction(XR3PacketWriter& writer) = 0;

    protected:
        XR3MetadataDesc m_desc;
    };
    // A new packet whose bytes the delegate gives.
    class AddAction : public Action {
    public:
        AddAction(const XR3MetadataDesc& desc, XR3MetadataAdderDelegate& delegate)
            : Action(desc), m_delegate(desc, delegate) {}
        // Adds a proxy that asks the delegate when loaded or written.
        QVStatus doAction(XR3PacketDB* db) override;
        QVStatus doAction(XR3PacketWriter& writer) override;

    private:
        XR3MetadataInternalAdderDelegate m_delegate;
    };
    // The packet of the source, as it is.
    class CopyAction : public Action {
    public:
        CopyAction(const XR3MetadataDesc& desc, XR3Container& container) : Action(desc), m_container(container) {}
        // A copy of the source's packet, unless db holds that address already.
        QVStatus doAction(XR3PacketDB* db) override;
        QVStatus doAction(XR3PacketWriter& writer) override;

    private:
        XR3Container& m_container;
    };
    // The packet replaced by one whose bytes the delegate gives.
    class ModifyAction : public Action {
    public:
        ModifyAction(const XR3MetadataDesc& desc, XR3MetadataModifierDelegate& delegate)
            : Action(desc), m_delegate(desc, delegate) {}
        QVStatus doAction(XR3PacketDB* db) override;
        QVStatus doAction(XR3PacketWriter& writer) override;

    private:
        XR3MetadataInternalModifierDelegate m_delegate;
    };
    class RemoveAction : public Action {
    public:
        using Action::Action;
        // Removes and destroys the packet of that address, if db has it.
        QVStatus doAction(XR3PacketDB* db) override;
        QVStatus doAction(XR3PacketWriter&) override { return 0; }
    };

    // The source's container, or null for a file made from nothing.
    explicit XR3MetadataSupport(XR3Container* container) : m_container(container) {}
    XR3MetadataSupport(const XR3MetadataSupport&) = delete;
    XR3MetadataSupport& operator=(const XR3MetadataSupport&) = delete;

    // Lists the source's metadata packets (old and new list alike), loading
    // none. A second call does nothing.
    QVStatus initialize();

    // Each request checks the lists (2009 for an address already there, or
    // missing), adjusts the new list and records its action.
    QVStatus requestAdd(const XR3MetadataDesc& desc, XR3MetadataAdderDelegate& delegate);
    QVStatus requestCopy(const XR3MetadataDesc& desc);
    // Every packet of the source; with skipRequested those already named by
    // a request are left to it.
    QVStatus requestCopyAll(bool skipRequested);
    QVStatus requestCopyImage(uint32_t imageNumber);
    QVStatus requestModify(const XR3MetadataDesc& desc, XR3MetadataModifierDelegate& delegate);
    QVStatus requestRemove(const XR3MetadataDesc& desc);

    // The source packet's bytes; 2009 for a desc not in the old list.
    QVStatus extract(const XR3MetadataDesc& desc, QVIOStreamInf& stream);

    const XR3List<XR3MetadataDesc>& getOldList() const { return m_oldList; }
    const XR3List<XR3MetadataDesc>& getNewList() const { return m_newList; }
    size_t getNumActions() const { return m_actions.size(); }

    // Runs every action on db, in the order of the requests.
    QVStatus execute(XR3PacketDB& db);
    // Writes the packets of every action, in order.
    QVStatus execute(XR3PacketWriter& writer);
    // Writes the packets of the actions on desc only.
    QVStatus execute(const XR3MetadataDesc& desc, XR3PacketWriter& writer);

private:
    bool hasRequest(const XR3MetadataDesc& desc) const;
    QVStatus addAction(std::unique_ptr<Action> action);

    XR3Container* m_container;
    bool m_initialized = false;
    XR3List<XR3MetadataDesc> m_oldList;
    XR3List<XR3MetadataDesc> m_newList;
    std::vector<std::unique_ptr<Action>> m_actions;
};

}  // namespace Orvanetics
