// A format-neutral database of typed objects laid on a byte stream.
//
// Opening a file reads only the object headers and makes one proxy per
// object; an object is built the first time somebody loads it, and from then
// on the proxy owns it. Writing runs in two passes, because an index standing
// first in the file can only be completed once everything behind it is out.
#pragma once

#include <cstdint>
#include <memory>

#include "qv_ioStreamInf.h"
#include "qv_ioStreamReader.h"
#include "qv_statusCodes.h"
#include "qv_utilStatusData.h"
#include "qvi_delegates.h"
#include "xr3_list.h"

namespace Orvanetics {

// Records a status without arguments in this thread's status details, and
// returns it: the failure idiom of the wavelet container classes.
QVStatus xr3DBFail(QVStatus status);

// A payload length of all ones: the object runs to the end of the stream.
constexpr long long kDBLengthToEnd = -1;

class DB;
class DBObject;
class DBObjectProxy;

// An object's type, as stored in the header in front of its payload.
class DBObjectType {
public:
    virtual ~DBObjectType() = default;
    // A new copy (null when memory is exhausted).
    virtual DBObjectType* createCopy() const = 0;
    virtual bool operator==(const DBObjectType& other) const = 0;
    // Reads one header; dataLength receives the payload length
    // (kDBLengthToEnd for a payload that runs to the end of the stream).
    virtual QVStatus readHeader(QVIOStreamReader<true>& reader, long long& dataLength) = 0;
    // Replaces the placeholder length at position by dataLength.
    virtual QVStatus rewriteHeader(QVIOStreamWriter<true>& writer, long long position,
                                   long long dataLength) const = 0;
    // Writes the header with a placeholder length, and where that length lies.
    virtual QVStatus writeHeader(QVIOStreamWriter<true>& writer,
                                 long long& lengthFieldPosition) const = 0;
};

// Decides whether a candidate's type is what a search asked for.
typedef bool (*DBTypeComparator)(const DBObjectType& wanted, const DBObjectType& candidate);

// An object of the database: a type and a payload.
class DBObject {
public:
    // Takes its own copy of the type; throws QVUtilException(8) when out of memory.
    explicit DBObject(const DBObjectType& type);
    virtual ~DBObject();
    DBObject(const DBObject&) = delete;
    DBObject& operator=(const DBObject&) = delete;

    // Default: the types compare equal.
    virtual bool operator==(const DBObject& other) const;
    // A new copy (null when memory is exhausted).
    virtual DBObject* createCopy() const = 0;
    // Reads the payload of length bytes (kDBLengthToEnd: up to the end).
    virtual QVStatus read(QVIOStreamReader<true>& reader, long long length) = 0;
    // Writes the payload; 2025 asks the database to come back once all
    // other objects are written (see DB::write).
    virtual QVStatus write(QVIOStreamWriter<true>& writer) = 0;

    const DBObjectType& getType() const { return *m_type; }
    DBObjectType& getType() { return *m_type; }

private:
    std::unique_ptr<DBObjectType> m_type;
};

// Supplies an object when it is first needed.
class DBIndirectObjectDelegate {
public:
    virtual ~DBIndirectObjectDelegate() = default;
    // A new object for type, owned by the caller from then on.
    virtual QVStatus invoke(const DBObjectType& type, DBObject*& object) = 0;
};

// Supplies an object's payload bytes when they are first needed.
class DBIndirectStreamDelegate {
public:
    virtual ~DBIndirectStreamDelegate() = default;
    // Writes the payload bytes to stream.
    virtual QVStatus invoke(QVIOStreamInf& stream) = 0;
};

// How a proxy reaches its object. One implementation per kind of backing.
class DBObjectProxyImp {
public:
    explicit DBObjectProxyImp(DBObjectProxy& proxy) : m_proxy(proxy) {}
    virtual ~DBObjectProxyImp() = default;
    DBObjectProxyImp(const DBObjectProxyImp&) = delete;
    DBObjectProxyImp& operator=(const DBObjectProxyImp&) = delete;

    // The same backing for another proxy (null when memory is exhausted).
    virtual DBObjectProxyImp* newCopy(DBObjectProxy& proxy) const = 0;
    // A new object from the backing, owned by the caller. On a failing read
    // the object is still handed out, together with the status.
    virtual QVStatus loadObject(DBObject*& object) = 0;
    // The resident object, or null.
    virtual DBObject* getObject() const { return nullptr; }
    // Writes the payload at the writer's position. position is where the
    // object's header starts on the first pass, 0 on a rewrite.
    virtual QVStatus writeData(QVIOStreamWriter<true>& writer, long long position) const = 0;

    // Header, payload, real length; the header also goes to indexWriter.
    // 2025 when the payload must be written again (rewrite).
    QVStatus write(QVIOStreamWriter<true>& writer, QVIOStreamWriter<true>& indexWriter);
    // Writes the payload again over its first version.
    QVStatus rewrite(QVIOStreamWriter<true>& writer);

protected:
    DBObjectProxy& m_proxy;
    long long m_rewritePosition = 0;
};

// The payload lies in a stream (not owned) at a known place.
class DBObjectProxyImpStream : public DBObjectProxyImp {
public:
    DBObjectProxyImpStream(DBObjectProxy& proxy, QVIOStreamInf& stream, long long offset,
                           long long length)
        : DBObjectProxyImp(proxy), m_stream(stream), m_offset(offset), m_length(length) {}

    DBObjectProxyImp* newCopy(DBObjectProxy& proxy) const override;
    QVStatus loadObject(DBObject*& object) override;
    QVStatus writeData(QVIOStreamWriter<true>& writer, long long position) const override;

    QVIOStreamInf& getStream() const { return m_stream; }
    long long getOffset() const { return m_offset; }
    long long getLength() const { return m_length; }

private:
    QVIOStreamInf& m_stream;
    long long m_offset;
    long long m_length;
};

// The object is resident and owned.
class DBObjectProxyImpObject : public DBObjectProxyImp {
public:
    DBObjectProxyImpObject(DBObjectProxy& proxy, DBObject* object)
        : DBObjectProxyImp(proxy), m_object(object) {}

    DBObjectProxyImp* newCopy(DBObjectProxy& proxy) const override;
    QVStatus loadObject(DBObject*& object) override;
    DBObject* getObject() const override { return m_object.get(); }
    QVStatus writeData(QVIOStreamWriter<true>& writer, long long position) const override;

private:
    std::unique_ptr<DBObject> m_object;
};

// A delegate (not owned) builds the object on demand.
class DBObjectProxyImpIndirectObject : public DBObjectProxyImp {
public:
    DBObjectProxyImpIndirectObject(DBObjectProxy& proxy, DBIndirectObjectDelegate& delegate)
        : DBObjectProxyImp(proxy), m_delegate(delegate) {}

    DBObjectProxyImp* newCopy(DBObjectProxy& proxy) const override;
    QVStatus loadObject(DBObject*& object) override;
    QVStatus writeData(QVIOStreamWriter<true>& writer, long long position) const override;

private:
    DBIndirectObjectDelegate& m_delegate;
};

// A delegate (not owned) produces the payload bytes on demand.
class DBObjectProxyImpIndirectStream : public DBObjectProxyImp {
public:
    DBObjectProxyImpIndirectStream(DBObjectProxy& proxy, DBIndirectStreamDelegate& delegate)
        : DBObjectProxyImp(proxy), m_delegate(delegate) {}

    DBObjectProxyImp* newCopy(DBObjectProxy& proxy) const override;
    QVStatus loadObject(DBObject*& object) override;
    QVStatus writeData(QVIOStreamWriter<true>& writer, long long position) const override;

private:
    DBIndirectStreamDelegate& m_delegate;
};

// One object of the database: its type and the way to it. Owns both.
class DBObjectProxy {
public:
    // Takes ownership of type; the implementation is installed with setImp.
    DBObjectProxy(const DB& db, DBObjectType* type) : m_db(db), m_type(type) {}
    virtual ~DBObjectProxy();
    DBObjectProxy(const DBObjectProxy&) = delete;
    DBObjectProxy& operator=(const DBObjectProxy&) = delete;

    // True only if both hold resident objects and these compare equal.
    virtual bool operator==(const DBObjectProxy& other) const;
    // The object, built on first use and owned by the proxy from then on.
    // On a failing read the object is handed out with the status; it stays
    // the proxy's too (valid until the next load or the proxy's end).
    virtual QVStatus loadObject(DBObject*& object);

    // The first pass of DB::write: header, payload, and the header again
    // on the database's index stream.
    QVStatus write(QVIOStreamWriter<true>& writer);
    // The second pass for a proxy whose first write answered 2025.
    QVStatus rewrite(QVIOStreamWriter<true>& writer);

    const DB& getDB() const { return m_db; }
    const DBObjectType& getType() const { return *m_type; }
    DBObjectProxyImp& getImp() const { return *m_imp; }
    void setImp(DBObjectProxyImp* imp) { m_imp.reset(imp); }
    // The resident object, or null if the proxy was not loaded yet.
    DBObject* getObject() const { return m_imp ? m_imp->getObject() : nullptr; }

private:
    const DB& m_db;
    std::unique_ptr<DBObjectType> m_type;
    std::unique_ptr<DBObjectProxyImp> m_imp;
    std::unique_ptr<DBObject> m_failedObject;
};

// The database: an ordered list of proxies. A concrete database supplies
// the object types and classes.
class DB {
public:
    DB() = default;
    virtual ~DB();
    DB(const DB&) = delete;
    DB& operator=(const DB&) = delete;

    // Same number of proxies, pairwise equal (so unloaded proxies never are).
    virtual bool operator==(const DB& other) const;
    // Reads the whole stream from the reader's position.
    virtual QVStatus loadImage(QVIOStreamReader<true>& reader);
    // Writes every object in list order (two passes, see the .cpp).
    virtual QVStatus write(QVIOStreamWriter<true>& writer) const;
    // A blank type, the target of readHeader.
    virtual DBObjectType* createObjectType() const = 0;
    // An empty object of the right class for type, or null if it has none.
    virtual DBObject* createObject(const DBObjectType& type) const = 0;
    // Whether an object of this type is the index of the file.
    virtual bool isContents(const DBObjectType& type) const = 0;

    QVStatus initialize() { return 0; }

    // Delegates and index stream are not owned.
    void setProgressDelegate(QVIProgressDelegate* delegate) { m_progressDelegate = delegate; }
    void setInterruptDelegate(QVIInterruptDelegate* delegate) { m_interruptDelegate = delegate; }
    void setIndexStream(QVIOStreamInf* stream) { m_indexStream = stream; }
    // The stream set, or else a null stream that swallows the index.
    QVIOStreamInf* getIndexStream() const;

    // Makes a proxy for every object from the reader's position on, for
    // length bytes (negative: up to the end of the stream).
    QVStatus addProxiesByStream(QVIOStreamReader<true>& reader, long long length);
    // The database takes the proxy; null (and the proxy destroyed) when
    // memory is exhausted.
    DBObjectProxy* addProxy(DBObjectProxy* proxy);
    // These take the object (resident) and copy the type; the delegates and
    // stream are not owned. Null when memory is exhausted.
    DBObjectProxy* addProxyByObject(DBObject* object);
    DBObjectProxy* addProxyByStream(const DBObjectType& type, QVIOStreamReader<true>& reader,
                                    long long offset, long long length);
    DBObjectProxy* addProxyByIndirectStream(const DBObjectType& type,
                                            DBIndirectStreamDelegate& delegate);
    DBObjectProxy* addProxyByIndirectObject(const DBObjectType& type,
                                            DBIndirectObjectDelegate& delegate);
    // Appends a copy of every proxy of other, in order.
    QVStatus addProxiesByDB(const DB& other);

    size_t getNumObjects() const { return m_proxies.size(); }
    const XR3List<DBObjectProxy*>& getProxies() const { return m_proxies; }

    // Appends every proxy whose type satisfies comparator(type, proxyType),
    // in database order; a null comparator compares with the type's ==.
    QVStatus findAllProxies(const DBObjectType& type, XR3List<DBObjectProxy*>& list,
                            DBTypeComparator comparator = nullptr) const;
    // The match only if there is exactly one; otherwise null (still 0).
    QVStatus findProxy(const DBObjectType& type, DBObjectProxy*& proxy,
                       DBTypeComparator comparator = nullptr) const;
    // Unlinks without destroying: the caller owns the proxy from then on.
    bool removeProxy(DBObjectProxy* proxy);

    QVStatus loadObject(DBObjectProxy& proxy, DBObject*& object) const;
    // Loads the single object of that type; without one, 0 and object untouched.
    QVStatus loadObject(const DBObjectType& type, DBObject*& object) const;
    // Loads every proxy in order, up to the first failure.
    QVStatus loadAllObjects() const;

protected:
    XR3List<DBObjectProxy*>& getProxyList() { return m_proxies; }

private:
    template <class Imp, class... Args>
    DBObjectProxy* addProxyOf(const DBObjectType& type, Args&&... impArgs);
    void reportProgress(size_t done, size_t total) const;
    QVStatus checkInterrupt() const;

    XR3List<DBObjectProxy*> m_proxies;
    QVIProgressDelegate* m_progressDelegate = nullptr;
    QVIInterruptDelegate* m_interruptDelegate = nullptr;
    QVIOStreamInf* m_indexStream = nullptr;
};

}  // namespace Orvanetics
