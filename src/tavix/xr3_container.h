// The container of an XR3/XR4 file: its packet database on a stream, and
// the list of images that the file holds. One container is shared by the
// readers of all images of a file; every database operation runs under its
// critical section, because object loads seek the shared stream.
#pragma once

#include <cstdint>
#include <memory>

#include "qv_utilCriticalSection.h"
#include "xr3_packet.h"

namespace Orvanetics {

// One image of the file.
struct XR3ImageDesc {
    uint32_t number = 0;
    XR3ImageType type = XR3_IMAGETYPE_UNKNOWN;

    bool operator==(const XR3ImageDesc&) const = default;
};

class XR3MetadataReader;

class XR3Container {
public:
    static constexpr uint32_t kNoOverviewImage = 0xFFFFFFFF;

    XR3Container();
    virtual ~XR3Container();
    XR3Container(const XR3Container&) = delete;
    XR3Container& operator=(const XR3Container&) = delete;

    // Loads the database and lists the images; once only (else 2010).
    virtual QVStatus initialize();
    virtual const char* getSourceName() const = 0;

    // Database operations, each under the critical section.
    QVStatus db_findSinglePacket(const XR3PacketType& type, XR3Packet*& packet,
                                 DBTypeComparator comparator = nullptr);
    QVStatus db_findMultiplePackets(const XR3PacketType& type, XR3List<XR3Packet*>& list,
                                    DBTypeComparator comparator = nullptr);
    QVStatus db_findMultipleProxies(const XR3PacketType& type, XR3List<DBObjectProxy*>& list,
                                    DBTypeComparator comparator = nullptr);
    // Appends copies of this file's packets to destination (see XR3PacketDB::copyDatabase).
    QVStatus db_copyDatabase(XR3PacketDB& destination);
    // db_findSinglePacket for a packet of class T (null if of another class).
    template <class T>
    QVStatus db_findSinglePacketOf(const XR3PacketType& type, T*& packet) {
        XR3Packet* found = nullptr;
        QVStatus status = db_findSinglePacket(type, found);
        packet = dynamic_cast<T*>(found);
        return status;
    }

    // State fixed by initialize, read without the lock.
    const XR3List<XR3ImageDesc>& getImageList() const { return m_images; }
    bool isMosaic() const { return m_images.size() >= 2; }
    // Some image is an XR2 packet.
    bool hasXR2Data() const;
    bool hasOverviewImage() const { return m_overviewImageNumber != kNoOverviewImage; }
    uint32_t getOverviewImageNumber() const { return m_overviewImageNumber; }
    // 2009 if the file has no image of that number.
    QVStatus getImageDesc(uint32_t number, XR3ImageDesc& desc) const;
    const XR3Version& getSourceVersion() const;
    // What metadata the file holds; null before initialize.
    XR3MetadataReader* getMetadataReader() const { return m_metadataReader.get(); }
    bool isInitialized() const { return m_initialized; }

protected:
    // Fills the database from the source.
    virtual QVStatus initializeLoadImage() = 0;
    XR3PacketDB& getDB() { return *m_db; }

private:
    QVStatus initContents();
    // Adds the image unless its number is listed already; false when out of memory.
    bool addImage(uint32_t number, XR3ImageType type);

    std::unique_ptr<XR3PacketDB> m_db;
    bool m_initialized = false;
    XR3List<XR3ImageDesc> m_images;
    QVUtilCriticalSection m_criticalSection;
    std::unique_ptr<XR3MetadataReader> m_metadataReader;
    uint32_t m_overviewImageNumber = kNoOverviewImage;
};

// The container on a stream (not owned). Unless streamAlwaysOpen, the
// stream is closed between uses.
class XR3FileSimpleContainer : public XR3Container {
public:
    XR3FileSimpleContainer(QVIOStreamInf& stream, bool streamAlwaysOpen)
        : m_stream(stream), m_streamAlwaysOpen(streamAlwaysOpen) {}

    QVStatus initialize() override;
    // The stream's ID.
    const char* getSourceName() const override;

    // Opens the stream unless it is open.
    QVStatus openStream();
    // Closes the stream, unless it is to stay open or is closed already.
    QVStatus closeStream();
    // An independent stream on the same data (QVIOStreamUtils::clone); null on failure.
    QVIOStreamInf* cloneStream();
    // A new stream, owned by the caller, over the XR2 file inside the type 7
    // packet of that image: a sub-stream of a clone. 2009 if there is no
    // such packet, 1 if the stream can't be cloned.
    QVStatus createXR2DataStream(uint32_t imageNumber, QVIOStreamInf*& stream);

    QVIOStreamInf& getStream() const { return m_stream; }
    bool isStreamAlwaysOpen() const { return m_streamAlwaysOpen; }
    // The stream position when the database was loaded.
    long long getLoadedPosition() const { return m_loadedPosition; }

protected:
    QVStatus initializeLoadImage() override;

private:
    QVIOStreamInf& m_stream;
    long long m_loadedPosition = 0;
    bool m_streamAlwaysOpen;
};

}  // namespace Orvanetics
