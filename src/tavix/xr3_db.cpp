#include "xr3_db.h"

#include <limits>
#include <new>

#include "qv_ioDynamicMemStream.h"
#include "qv_ioNullStream.h"
#include "qv_ioStreamUtils.h"

namespace Orvanetics {

QVStatus xr3DBFail(QVStatus status) {
    QVUtilStatusData::pushBegin(status);
    QVUtilStatusData::pushEnd();
    return status;
}

namespace {

bool defaultComparator(const DBObjectType& wanted, const DBObjectType& candidate) {
    return wanted == candidate;
}

// Runs f with the stream open, opening and closing it around f if it was closed.
template <class F>
QVStatus withStreamOpen(QVIOStreamInf& stream, F&& f) {
    if (stream.isOpen()) return f();
    if (QVStatus status = stream.open()) return status;
    QVStatus status = f();
    stream.close();
    return status;
}

}  // namespace

// ---------------------------------------------------------------- DBObject

DBObject::DBObject(const DBObjectType& type) : m_type(type.createCopy()) {
    if (!m_type) throw QVUtilException(QVI_STS_OutOfMemory);
}

DBObject::~DBObject() = default;

bool DBObject::operator==(const DBObject& other) const { return *m_type == *other.m_type; }

// ---------------------------------------------------------- DBObjectProxyImp

QVStatus DBObjectProxyImp::write(QVIOStreamWriter<true>& writer,
                                 QVIOStreamWriter<true>& indexWriter) {
    const DBObjectType& type = m_proxy.getType();
    m_rewritePosition = 0;
    long long headerPos = writer.tell();
    if (headerPos < 0) return xr3DBFail(QVI_STS_Tavix_WriteError);
    long long lengthFieldPosition = 0;
    if (QVStatus status = type.writeHeader(writer, lengthFieldPosition)) return status;
    long long dataStart = writer.tell();
    if (dataStart < 0) return xr3DBFail(QVI_STS_Tavix_WriteError);

    QVStatus status = writeData(writer, headerPos);
    if (status == QVI_STS_Tavix_DBObjectNeedsRewrite)
        m_rewritePosition = dataStart;
    else if (status)
        return status;

    long long dataEnd = writer.tell();
    if (dataEnd < 0) return xr3DBFail(QVI_STS_Tavix_WriteError);
    long long dataLength = dataEnd - dataStart;
    if ((status = type.rewriteHeader(writer, lengthFieldPosition, dataLength))) return status;

    if ((status = type.writeHeader(indexWriter, lengthFieldPosition))) return status;
    if ((status = type.rewriteHeader(indexWriter, lengthFieldPosition, dataLength))) return status;
    return m_rewritePosition > 0 ? QVI_STS_Tavix_DBObjectNeedsRewrite : 0;
}

QVStatus DBObjectProxyImp::rewrite(QVIOStreamWriter<true>& writer) {
    if (m_rewritePosition == 0) return xr3DBFail(QVI_STS_Tavix_BadContext);
    long long resumePosition = writer.tell();
    if (resumePosition < 0) return xr3DBFail(QVI_STS_Tavix_IOError);
    if (writer.seek(m_rewritePosition)) return xr3DBFail(QVI_STS_Tavix_IOError);
    QVStatus status = writeData(writer, 0);
    if (status == QVI_STS_Tavix_DBObjectNeedsRewrite) return xr3DBFail(QVI_STS_Tavix_WriteError);
    if (status) return status;
    if (writer.seek(resumePosition)) return xr3DBFail(QVI_STS_Tavix_IOError);
    return 0;
}

// ----------------------------------------------------- DBObjectProxyImpStream

DBObjectProxyImp* DBObjectProxyImpStream::newCopy(DBObjectProxy& proxy) const {
    return new (std::nothrow) DBObjectProxyImpStream(proxy, m_stream, m_offset, m_length);
}

QVStatus DBObjectProxyImpStream::loadObject(DBObject*& object) {
    std::unique_ptr<DBObject> loaded(m_proxy.getDB().createObject(m_proxy.getType()));
    if (!loaded) return xr3DBFail(QVI_STS_Tavix_BadContext);
    QVStatus status = withStreamOpen(m_stream, [&]() -> QVStatus {
        QVIOStreamReader<true> reader(m_stream);
        if (QVStatus seekStatus = reader.seek(m_offset)) return seekStatus;
        return loaded->read(reader, m_length);
    });
    object = loaded.release();
    return status;
}

QVStatus DBObjectProxyImpStream::writeData(QVIOStreamWriter<true>& writer, long long) const {
    uint64_t count = m_length == kDBLengthToEnd ? std::numeric_limits<long long>::max()
                                                : static_cast<uint64_t>(m_length);
    return withStreamOpen(m_stream, [&]() -> QVStatus {
        int64_t resumePosition = m_stream.tell();
        if (resumePosition < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
        QVStatus status = m_stream.seek(m_offset, QVIO_SEEK_BEGIN);
        if (!status) status = QVIOStreamUtils::copyStream(&writer.getStream(), &m_stream, count);
        QVStatus restoreStatus = m_stream.seek(resumePosition, QVIO_SEEK_BEGIN);
        return status ? status : restoreStatus;
    });
}

// ----------------------------------------------------- DBObjectProxyImpObject

DBObjectProxyImp* DBObjectProxyImpObject::newCopy(DBObjectProxy& proxy) const {
    std::unique_ptr<DBObject> copy(m_object->createCopy());
    if (!copy) return nullptr;
    auto* imp = new (std::nothrow) DBObjectProxyImpObject(proxy, copy.get());
    if (imp) copy.release();
    return imp;
}

QVStatus DBObjectProxyImpObject::loadObject(DBObject*& object) {
    object = m_object.get();
    return 0;
}

QVStatus DBObjectProxyImpObject::writeData(QVIOStreamWriter<true>& writer, long long) const {
    return m_object->write(writer);
}

// --------------------------------------------- DBObjectProxyImpIndirectObject

DBObjectProxyImp* DBObjectProxyImpIndirectObject::newCopy(DBObjectProxy& proxy) const {
    return new (std::nothrow) DBObjectProxyImpIndirectObject(proxy, m_delegate);
}

QVStatus DBObjectProxyImpIndirectObject::loadObject(DBObject*& object) {
    return m_delegate.invoke(m_proxy.getType(), object);
}

QVStatus DBObjectProxyImpIndirectObject::writeData(QVIOStreamWriter<true>& writer,
                                                   long long) const {
    DBObject* produced = nullptr;
    QVStatus status = m_delegate.invoke(m_proxy.getType(), produced);
    std::unique_ptr<DBObject> object(produced);
    if (status) return status;
    if (!object) return xr3DBFail(QVI_STS_Tavix_BadContext);
    return object->write(writer);
}

// --------------------------------------------- DBObjectProxyImpIndirectStream

DBObjectProxyImp* DBObjectProxyImpIndirectStream::newCopy(DBObjectProxy& proxy) const {
    return new (std::nothrow) DBObjectProxyImpIndirectStream(proxy, m_delegate);
}

QVStatus DBObjectProxyImpIndirectStream::loadObject(DBObject*& object) {
    QVIOStreamInf* temp = QVIOStreamUtils::openTempStream();
    if (!temp) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    QVStatus status = m_delegate.invoke(*temp);
    if (!status) {
        int64_t length = temp->tell();
        if (length < 0 || temp->seek(0, QVIO_SEEK_BEGIN)) {
            status = xr3DBFail(QVI_STS_Tavix_WriteError);
        } else if (!(object = m_proxy.getDB().createObject(m_proxy.getType()))) {
            status = xr3DBFail(QVI_STS_Tavix_BadContext);
        } else {
            QVIOStreamReader<true> reader(*temp);
            status = object->read(reader, length);
        }
    }
    QVIOStreamUtils::closeStream(temp);
    return status;
}

QVStatus DBObjectProxyImpIndirectStream::writeData(QVIOStreamWriter<true>& writer,
                                                   long long) const {
    return m_delegate.invoke(writer.getStream());
}

// -------------------------------------------------------------- DBObjectProxy

DBObjectProxy::~DBObjectProxy() = default;

bool DBObjectProxy::operator==(const DBObjectProxy& other) const {
    const DBObject* mine = getObject();
    const DBObject* theirs = other.getObject();
    return mine && theirs && *mine == *theirs;
}

QVStatus DBObjectProxy::loadObject(DBObject*& object) {
    if (DBObject* resident = m_imp->getObject()) {
        object = resident;
        return 0;
    }
    DBObject* loaded = nullptr;
    QVStatus status = m_imp->loadObject(loaded);
    object = loaded;
    if (status) {
        m_failedObject.reset(loaded);  // handed out with the status, but still ours to free
        return status;
    }
    auto* resident = new (std::nothrow) DBObjectProxyImpObject(*this, loaded);
    if (!resident) {
        delete loaded;
        object = nullptr;
        return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    }
    m_imp.reset(resident);
    m_failedObject.reset();
    return 0;
}

QVStatus DBObjectProxy::write(QVIOStreamWriter<true>& writer) {
    QVIOStreamWriter<true> indexWriter(*m_db.getIndexStream());
    return m_imp->write(writer, indexWriter);
}

QVStatus DBObjectProxy::rewrite(QVIOStreamWriter<true>& writer) { return m_imp->rewrite(writer); }

// ------------------------------------------------------------------------ DB

DB::~DB() {
    for (DBObjectProxy* proxy : m_proxies) delete proxy;
}

bool DB::operator==(const DB& other) const {
    if (m_proxies.size() != other.m_proxies.size()) return false;
    auto theirs = other.m_proxies.begin();
    for (const DBObjectProxy* mine : m_proxies) {
        if (!(*mine == **theirs)) return false;
        ++theirs;
    }
    return true;
}

QVStatus DB::loadImage(QVIOStreamReader<true>& reader) { return addProxiesByStream(reader, -1); }

QVIOStreamInf* DB::getIndexStream() const {
    if (m_indexStream) return m_indexStream;
    // One per thread: concurrent writers would otherwise race on its position.
    thread_local QVIONullStream nullStream;
    if (!nullStream.isOpen()) nullStream.open();
    return &nullStream;
}

// The walk over the object headers. In sequential mode the stream holds
// header, payload, header, payload; in index mode the reader is inside the
// index object and walks the copies of the headers stored there, computing
// each payload's position from the lengths. A file may continue with
// objects appended behind those that the index lists.
QVStatus DB::addProxiesByStream(QVIOStreamReader<true>& reader, long long length) {
    const long long start = reader.tell();
    if (start < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
    if (length < 0) {
        if (reader.seek(0, QVIO_SEEK_END)) return xr3DBFail(QVI_STS_Tavix_ReadError);
        long long end = reader.tell();
        if (end < 0 || reader.seek(start)) return xr3DBFail(QVI_STS_Tavix_ReadError);
        length = end - start;
    }
    if (length < 1) return 0;

    long long remaining = length;
    bool indexMode = false;
    long long pos = 0;
    for (;;) {
        long long entryStart = reader.tell();
        if (entryStart < 0) {
            QVStatus streamStatus = reader.getStream().getLastError();
            return streamStatus ? streamStatus : xr3DBFail(QVI_STS_Tavix_ReadError);
        }
        std::unique_ptr<DBObjectType> type(createObjectType());
        if (!type) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        long long dataLength = 0;
        if (QVStatus status = type->readHeader(reader, dataLength)) return status;
        // Only all ones stands for "to the end"; any other negative length
        // would walk backwards.
        if (dataLength < 0 && dataLength != kDBLengthToEnd) return xr3DBFail(QVI_STS_Tavix_CorruptFile);
        long long now = reader.tell();
        if (now < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);

        bool isIndexItself = false;
        if (!indexMode) {
            pos = now;
        } else {
            if (__builtin_add_overflow(pos, now - entryStart, &pos)) return xr3DBFail(QVI_STS_Tavix_CorruptFile);
            // A payload at or before our place in the index: the index itself
            // (or an object read before it), already registered.
            isIndexItself = now >= pos;
        }
        if (!isIndexItself) {
            DBObjectProxy* proxy = addProxyOf<DBObjectProxyImpStream>(*type, reader.getStream(),
                                                                      pos, dataLength);
            if (!proxy) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        }

        if (indexMode) {
            if (dataLength == kDBLengthToEnd) {
                pos = start + length;
            } else if (__builtin_add_overflow(pos, dataLength, &pos)) {
                return xr3DBFail(QVI_STS_Tavix_CorruptFile);
            }
        } else if (isContents(*type)) {
            // The index's first four bytes are not headers.
            remaining = dataLength;
            if (reader.skip(4)) return xr3DBFail(QVI_STS_Tavix_ReadError);
            entryStart = pos;
            pos = start;
            indexMode = true;
        } else {
            QVStatus skipStatus = dataLength == kDBLengthToEnd ? reader.seek(0, QVIO_SEEK_END)
                                                               : reader.skip(dataLength);
            if (skipStatus) return xr3DBFail(QVI_STS_Tavix_ReadError);
        }

        long long after = reader.tell();
        if (after < 0) return xr3DBFail(QVI_STS_Tavix_ReadError);
        remaining -= after - entryStart;
        if (remaining == 0 && indexMode) {
            long long covered = pos - start;
            if (length <= covered) return 0;
            // Objects appended behind the indexed ones. They can't begin
            // inside the index: that would read the index again, forever.
            if (pos < after) return xr3DBFail(QVI_STS_Tavix_CorruptFile);
            remaining = length - covered;
            if (reader.seek(pos)) return xr3DBFail(QVI_STS_Tavix_ReadError);
            indexMode = false;
        } else if (remaining < 1) {
            return 0;
        }
    }
}

template <class Imp, class... Args>
DBObjectProxy* DB::addProxyOf(const DBObjectType& type, Args&&... impArgs) {
    DBObjectType* typeCopy = type.createCopy();
    if (!typeCopy) return nullptr;
    auto* proxy = new (std::nothrow) DBObjectProxy(*this, typeCopy);
    if (!proxy) {
        delete typeCopy;
        return nullptr;
    }
    auto* imp = new (std::nothrow) Imp(*proxy, std::forward<Args>(impArgs)...);
    if (!imp) {
        delete proxy;
        return nullptr;
    }
    proxy->setImp(imp);
    return addProxy(proxy);
}

DBObjectProxy* DB::addProxy(DBObjectProxy* proxy) {
    if (!m_proxies.append(proxy)) {
        delete proxy;
        return nullptr;
    }
    return proxy;
}

DBObjectProxy* DB::addProxyByObject(DBObject* object) {
    DBObjectProxy* proxy = addProxyOf<DBObjectProxyImpObject>(object->getType(), object);
    if (!proxy) delete object;
    return proxy;
}

DBObjectProxy* DB::addProxyByStream(const DBObjectType& type, QVIOStreamReader<true>& reader,
                                    long long offset, long long length) {
    return addProxyOf<DBObjectProxyImpStream>(type, reader.getStream(), offset, length);
}

DBObjectProxy* DB::addProxyByIndirectStream(const DBObjectType& type,
                                            DBIndirectStreamDelegate& delegate) {
    return addProxyOf<DBObjectProxyImpIndirectStream>(type, delegate);
}

DBObjectProxy* DB::addProxyByIndirectObject(const DBObjectType& type,
                                            DBIndirectObjectDelegate& delegate) {
    return addProxyOf<DBObjectProxyImpIndirectObject>(type, delegate);
}

QVStatus DB::addProxiesByDB(const DB& other) {
    for (const DBObjectProxy* source : other.m_proxies) {
        DBObjectType* typeCopy = source->getType().createCopy();
        if (!typeCopy) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        auto* proxy = new (std::nothrow) DBObjectProxy(*this, typeCopy);
        if (!proxy) {
            delete typeCopy;
            return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        }
        DBObjectProxyImp* imp = source->getImp().newCopy(*proxy);
        if (!imp) {
            delete proxy;
            return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        }
        proxy->setImp(imp);
        if (!addProxy(proxy)) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

QVStatus DB::findAllProxies(const DBObjectType& type, XR3List<DBObjectProxy*>& list,
                            DBTypeComparator comparator) const {
    if (!comparator) comparator = defaultComparator;
    for (DBObjectProxy* proxy : m_proxies) {
        if (comparator(type, proxy->getType()) && !list.append(proxy))
            return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

QVStatus DB::findProxy(const DBObjectType& type, DBObjectProxy*& proxy,
                       DBTypeComparator comparator) const {
    if (!comparator) comparator = defaultComparator;
    proxy = nullptr;
    DBObjectProxy* match = nullptr;
    for (DBObjectProxy* candidate : m_proxies) {
        if (!comparator(type, candidate->getType())) continue;
        if (match) return 0;  // several: none is the one
        match = candidate;
    }
    proxy = match;
    return 0;
}

bool DB::removeProxy(DBObjectProxy* proxy) { return m_proxies.removeFirst(proxy); }

QVStatus DB::loadObject(DBObjectProxy& proxy, DBObject*& object) const {
    object = nullptr;
    return proxy.loadObject(object);
}

QVStatus DB::loadObject(const DBObjectType& type, DBObject*& object) const {
    DBObjectProxy* proxy = nullptr;
    if (QVStatus status = findProxy(type, proxy)) return status;
    return proxy ? loadObject(*proxy, object) : 0;
}

QVStatus DB::loadAllObjects() const {
    for (DBObjectProxy* proxy : m_proxies) {
        DBObject* object = nullptr;
        if (QVStatus status = proxy->loadObject(object)) return status;
    }
    return 0;
}

void DB::reportProgress(size_t done, size_t total) const {
    // Progress is informational here; stopping is the interrupt delegate's job.
    if (m_progressDelegate)
        m_progressDelegate->reportProgress(total ? static_cast<float>(done) / total : 1.0f);
}

QVStatus DB::checkInterrupt() const {
    return m_interruptDelegate ? m_interruptDelegate->checkInterrupt() : 0;
}

// Two passes: every object in list order, then again those that asked to be
// rewritten (an index can only be filled once all headers are known). The
// index stream starts afresh, so that a database can be written twice.
QVStatus DB::write(QVIOStreamWriter<true>& writer) const {
    if (getIndexStream()->seek(0, QVIO_SEEK_BEGIN)) return xr3DBFail(QVI_STS_Tavix_IOError);
    const size_t total = m_proxies.size();
    size_t done = 0;
    XR3List<DBObjectProxy*> rewrites;
    for (DBObjectProxy* proxy : m_proxies) {
        reportProgress(done, total);
        QVStatus status = proxy->write(writer);
        if (status == QVI_STS_Tavix_DBObjectNeedsRewrite) {
            if (!rewrites.append(proxy)) return xr3DBFail(QVI_STS_Tavix_OutOfMemory);
        } else if (status) {
            return status;
        } else {
            ++done;
        }
        if (QVStatus interrupt = checkInterrupt()) return interrupt;
    }
    for (DBObjectProxy* proxy : rewrites) {
        reportProgress(done, total);
        if (QVStatus status = proxy->rewrite(writer)) return status;
        if (QVStatus interrupt = checkInterrupt()) return interrupt;
        ++done;
    }
    if (m_progressDelegate) m_progressDelegate->reportProgress(1.0f);
    return 0;
}

}  // namespace Orvanetics
