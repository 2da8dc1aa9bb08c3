// The packets of an XR3/XR4 file: the file version, the packet header (the
// type of each object of the packet database), the packet classes with a
// small payload of their own, and the packet database itself.
//
// A file is the 8 bytes "tvxd" plus version, then packets, each a header
// and its payload. All integers are big-endian.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "xr3_db.h"

namespace Orvanetics {

class XR3PacketDB;

// What kind of image a file or a packet holds.
enum XR3ImageType : uint32_t {
    XR3_IMAGETYPE_UNKNOWN = 0,
    XR3_IMAGETYPE_XR3 = 2,
    XR3_IMAGETYPE_XR2 = 3,
    XR3_IMAGETYPE_XR4 = 5,
};

// The four version bytes behind the magic.
class XR3Version {
public:
    XR3Version() = default;
    XR3Version(uint8_t major, uint8_t minor, uint8_t micro, uint8_t letter)
        : m_major(major), m_minor(minor), m_micro(micro), m_letter(letter) {}

    // The versions that files carry, by what they announce.
    static XR3Version getSingleVersion() { return XR3Version(3, 0, 26, 'q'); }
    static XR3Version getTiledVersion1() { return XR3Version(3, 0, 26, 'q'); }
    static XR3Version getTiledVersion2() { return XR3Version(3, 0, 26, 'r'); }
    static XR3Version getMultiSpectralVersion() { return XR3Version(3, 0, 26, 'r'); }
    static XR3Version getSignedDataVersion() { return XR3Version(3, 0, 26, 's'); }
    static XR3Version getTiledMixedOctaveOrAspectRatioVersion() { return XR3Version(3, 0, 26, 't'); }
    static XR3Version getAlphaVersion() { return XR3Version(3, 0, 26, 'u'); }
    static XR3Version getXR4Version() { return XR3Version(3, 4, 0, 'a'); }

    uint8_t getMajor() const { return m_major; }
    uint8_t getMinor() const { return m_minor; }
    uint8_t getMicro() const { return m_micro; }
    uint8_t getLetter() const { return m_letter; }

    // Exactly the versions listed above, and 3.0.26.o; 'p' is refused on purpose.
    bool isKnown() const;
    // major << 24 | minor << 16 | micro << 8 | letter: the order of versions.
    uint32_t toUint32() const;
    // XR3 below the XR4 version, XR4 at it, unknown above.
    XR3ImageType toImageType() const;
    // "3.0.26.q"
    std::string toString() const;

    // Magic and version; 2001 short read, 2006 bad magic or unknown version.
    QVStatus read(QVIOStreamReader<true>& reader);
    // Magic and version; 2002 short write.
    QVStatus write(QVIOStreamWriter<true>& writer) const;

    bool operator==(const XR3Version& other) const { return toUint32() == other.toUint32(); }
    auto operator<=>(const XR3Version& other) const { return toUint32() <=> other.toUint32(); }

private:
    uint8_t m_major = 3;
    uint8_t m_minor = 4;
    uint8_t m_micro = 0;
    uint8_t m_letter = 'a';
};

// The low nibble of a packet header's control byte. 3 and 8 to 15 have no
// packet class; ANY stands for every type in a search.
enum XR3PacketTypeEnum : uint32_t {
    XR3_PACKET_UNKNOWN = 0,
    XR3_PACKET_HEADER = 1,
    XR3_PACKET_METADATA = 2,
    XR3_PACKET_PLANESET = 4,
    XR3_PACKET_SECURITY = 5,
    XR3_PACKET_CONTENTS = 6,
    XR3_PACKET_XR2 = 7,
    XR3_PACKET_ANY = 0xFFFFFFFF,
};

// A packet's address and version as stored in its header; also the pattern
// of a search, where the ANY values match everything.
class XR3PacketType : public DBObjectType {
public:
    static constexpr uint32_t ANY_TYPE = 0xFFFFFFFF;
    static constexpr uint32_t ANY_SUBTYPE = 0xFFFFFFFF;
    static constexpr uint32_t ANY_SUBSUBTYPE = 0xFFFFFFFF;
    static constexpr uint32_t ANY_IMAGE_NUMBER = 0xFFFFFFFF;
    static constexpr uint8_t ANY_MAJOR_VERSION = 0xFF;
    static constexpr uint8_t ANY_MINOR_VERSION = 0xFF;

    // Widths in bytes of the variable fields, as the package byte announces them.
    struct FieldWidths {
        unsigned subType = 0;
        unsigned subSubType = 0;
        bool hasSpareWord = false;
        bool hasImageNumber = false;
        unsigned length = 8;
    };

    XR3PacketType() = default;
    XR3PacketType(XR3PacketTypeEnum type, uint32_t subType, uint32_t subSubType,
                  uint32_t imageNumber, uint8_t majorVersion, uint8_t minorVersion)
        : m_type(type), m_majorVersion(majorVersion), m_minorVersion(minorVersion),
          m_subType(subType), m_subSubType(subSubType), m_imageNumber(imageNumber) {}

    XR3PacketType* createCopy() const override;
    // Type, subType, subSubType and imageNumber each equal or one side ANY;
    // versions play no part.
    bool operator==(const DBObjectType& other) const override;
    // The header at the reader's position. A forbidden control bit (7, 5, 4)
    // gives 2006 only after the whole header is consumed.
    QVStatus readHeader(QVIOStreamReader<true>& reader, long long& dataLength) override;
    // Writes dataLength as 8 bytes at position, and returns to where it was.
    QVStatus rewriteHeader(QVIOStreamWriter<true>& writer, long long position,
                           long long dataLength) const override;
    // Smallest widths, an 8-byte placeholder length 00 00 00 00 FF FF FF FF.
    QVStatus writeHeader(QVIOStreamWriter<true>& writer,
                         long long& lengthFieldPosition) const override;

    // The header size as the index reservation counts it. It adds the two
    // version bytes only when the major version is not 0, while writeHeader
    // writes them when either version is not 0: a type of major 0 and minor
    // not 0 writes two bytes more than this says. Index reservation and the
    // data-first plane layout rely on this, so it stays.
    long long computeHeaderLength() const;
    uint8_t computePackageByte() const;
    static FieldWidths parsePackageByte(uint8_t package);

    // Type descending, then subType, subSubType, imageNumber, spareWord, each
    // with the larger value first.
    bool operator<(const XR3PacketType& other) const;

    XR3PacketTypeEnum getType() const { return m_type; }
    uint8_t getMajorVersion() const { return m_majorVersion; }
    uint8_t getMinorVersion() const { return m_minorVersion; }
    uint32_t getSubType() const { return m_subType; }
    uint32_t getSubSubType() const { return m_subSubType; }
    uint32_t getImageNumber() const { return m_imageNumber; }
    uint32_t getSpareWord() const { return m_spareWord; }
    bool wasRead() const { return m_wasRead; }
    // Where readHeader found the header, and its size in bytes.
    long long getHeaderPosition() const { return m_headerPosition; }
    long long getHeaderLength() const { return m_headerLength; }

    void setType(XR3PacketTypeEnum type) { m_type = type; }
    void setVersion(uint8_t major, uint8_t minor) { m_majorVersion = major; m_minorVersion = minor; }
    void setSubType(uint32_t subType) { m_subType = subType; }
    void setSubSubType(uint32_t subSubType) { m_subSubType = subSubType; }
    void setImageNumber(uint32_t imageNumber) { m_imageNumber = imageNumber; }
    void setSpareWord(uint32_t spareWord) { m_spareWord = spareWord; }

private:
    XR3PacketTypeEnum m_type = XR3_PACKET_UNKNOWN;
    uint8_t m_majorVersion = 0;
    uint8_t m_minorVersion = 0;
    uint32_t m_subType = 0;
    uint32_t m_subSubType = 0;
    uint32_t m_imageNumber = 0;
    uint32_t m_spareWord = 0;
    bool m_wasRead = false;
    long long m_headerPosition = 0;
    long long m_headerLength = 0;
};

// A packet: an object of the packet database with an XR3PacketType.
//
// A packet class has a constructor from an XR3PacketType (what
// XR3PacketDB::createPacket calls when a file is loaded), createCopy, read,
// write and operator==(const XR3Packet&). Override that operator without a
// using-declaration of the base class's operator==: with both overloads in
// the class, comparing two of its objects is ambiguous in C++20.
class XR3Packet : public DBObject {
public:
    explicit XR3Packet(const XR3PacketType& type) : DBObject(type) {}

    // Packets compare through the XR3Packet overload below.
    bool operator==(const DBObject& other) const override;
    XR3Packet* createCopy() const override = 0;
    // Default: the types compare equal. Packet classes add their payload.
    virtual bool operator==(const XR3Packet& other) const;

    const XR3PacketType& getPacketType() const;
    XR3PacketType& getPacketType();
    XR3PacketTypeEnum getPacketTypeEnum() const { return getPacketType().getType(); }
    uint8_t getVersionMajor() const { return getPacketType().getMajorVersion(); }
    uint8_t getVersionMinor() const { return getPacketType().getMinorVersion(); }
};

// Payload bytes owned by a packet.
class XR3PacketBytes {
public:
    // Copies length bytes; 2012 when out of memory (then unchanged).
    QVStatus assign(const uint8_t* data, uint32_t length);
    // Reads length bytes; on failure nothing is kept. The caller has
    // checked length against the stream.
    QVStatus read(QVIOStreamReader<true>& reader, uint32_t length);
    QVStatus write(QVIOStreamWriter<true>& writer) const;

    const uint8_t* data() const { return m_data.get(); }
    uint32_t size() const { return m_size; }
    bool operator==(const XR3PacketBytes& other) const;

private:
    std::unique_ptr<uint8_t[]> m_data;
    uint32_t m_size = 0;
};

// A packet whose payload is kept as raw bytes and written back unchanged.
class XR3RawPacket : public XR3Packet {
public:
    using XR3Packet::XR3Packet;

    // Types and bytes equal.
    bool operator==(const XR3Packet& other) const override;
    // length bytes, or up to the end of the stream for kDBLengthToEnd; the
    // count is cut to 32 bits. A length past the end of the stream is 2001.
    QVStatus read(QVIOStreamReader<true>& reader, long long length) override;
    QVStatus write(QVIOStreamWriter<true>& writer) override;

    // Copies the bytes; 2012 when out of memory.
    QVStatus setRawData(const uint8_t* data, uint32_t length) { return m_bytes.assign(data, length); }
    // Copies the other packet's bytes; 2012 when out of memory.
    QVStatus copyRawData(const XR3RawPacket& other) { return setRawData(other.getRawData(), other.getRawDataLength()); }
    const uint8_t* getRawData() const { return m_bytes.data(); }
    uint32_t getRawDataLength() const { return m_bytes.size(); }

private:
    XR3PacketBytes m_bytes;
};

// A new packet, or null when out of memory (also when its constructor
// throws QVUtilException because it could not copy its type).
template <class T, class... Args>
T* newXR3Packet(Args&&... args) noexcept {
    try {
        return new (std::nothrow) T(std::forward<Args>(args)...);
    } catch (const QVUtilException&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// A new packet of the class and type of source, with a copy of its bytes.
template <class T>
T* copyRawPacket(const T& source) {
    T* copy = newXR3Packet<T>(source.getPacketType());
    if (copy && copy->copyRawData(source)) {
        delete copy;
        return nullptr;
    }
    return copy;
}

// A packet of a type this library does not interpret (type 0).
class XR3UnknownPacket : public XR3RawPacket {
public:
    explicit XR3UnknownPacket(const XR3PacketType& type = XR3PacketType()) : XR3RawPacket(type) {}
    XR3UnknownPacket* createCopy() const override;
};

// The security packet of a locked image (type 5); carried as raw bytes.
class XR3SecurityPacket : public XR3RawPacket {
public:
    explicit XR3SecurityPacket(const XR3PacketType& type) : XR3RawPacket(type) {}
    XR3SecurityPacket* createCopy() const override;
};

// The index (type 6): the overview image number, and with major 1 a copy
// of every packet header of the file, in file order, the first being its own.
class XR3ContentsPacket : public XR3Packet {
public:
    static constexpr uint32_t kNoOverviewImage = 0xFFFFFFFF;

    // The default type (6, 0, 0, image 0, major 1, minor 0) on db: the
    // packet's index stream becomes db's, so that db's write fills it.
    explicit XR3ContentsPacket(XR3PacketDB& db, uint32_t overviewImageNumber = kNoOverviewImage,
                               uint8_t majorVersion = 1);
    // A blank packet of this type, bound to no database (for loading).
    explicit XR3ContentsPacket(const XR3PacketType& type);
    ~XR3ContentsPacket() override;

    // Types and overview image numbers equal.
    bool operator==(const XR3Packet& other) const override;
    // An unbound copy with the overview number and the index bytes.
    XR3ContentsPacket* createCopy() const override;
    QVStatus read(QVIOStreamReader<true>& reader, long long length) override;
    // Major 1: the first call reserves the room and answers 2025; the
    // second fills it with the overview number and the collected headers.
    QVStatus write(QVIOStreamWriter<true>& writer) override;

    // Makes this packet db's index: its stream collects db's headers on
    // write. db must be the database that holds (and outlives) the packet.
    void attachDatabase(XR3PacketDB& db);
    uint32_t getOverviewImageNumber() const { return m_overviewImageNumber; }
    void setOverviewImageNumber(uint32_t number) { m_overviewImageNumber = number; }
    // The index headers read or collected (the packet's own temporary stream).
    QVIOStreamInf& getIndexStream() const { return *m_indexStream; }
    // Bytes of index headers held (the index stream's position).
    long long getIndexLength() const;
    // Forgets a reservation left by a write that stopped between its passes.
    void cancelReservation() { m_reservedSize = 0; }

private:
    void openIndexStream();
    void detachDatabase();
    QVStatus reserveIndex(QVIOStreamWriter<true>& writer);
    QVStatus fillIndex(QVIOStreamWriter<true>& writer);

    uint32_t m_overviewImageNumber = kNoOverviewImage;
    QVIOStreamInf* m_indexStream = nullptr;
    XR3PacketDB* m_db = nullptr;
    uint64_t m_reservedSize = 0;
};

// Order of the planes in a planeset.
enum XR3PlanesetOrder : uint32_t {
    XR3_PLANESET_ORDER_NONE = 0,
    XR3_PLANESET_ORDER_PIPELINE = 1,
    XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE = 5,
};

// Placement of plane lengths and plane bytes in a planeset.
enum XR3PlanesetLayout : uint32_t {
    XR3_PLANESET_LAYOUT_INTERLEAVED = 0,
    XR3_PLANESET_LAYOUT_DATA_FIRST = 2,
    XR3_PLANESET_LAYOUT_RASTER_BLOCK = 3,
    XR3_PLANESET_LAYOUT_NONE = 5,
};

// The plane data of one image (type 4). This class reads the 10-byte prefix
// and remembers where the plane data starts; the plane store reads the rest.
class XR3PlanesetPacket : public XR3Packet {
public:
    static constexpr long long kPrefixLength = 10;

    // The default type (4, 0, 0, imageNumber, major 0, minor 1).
    explicit XR3PlanesetPacket(uint32_t imageNumber);
    explicit XR3PlanesetPacket(const XR3PacketType& type) : XR3Packet(type) {}

    // Types, order, layout and dataLength equal.
    bool operator==(const XR3Packet& other) const override;
    XR3PlanesetPacket* createCopy() const override;
    // Major 0 with minor 0 or 1 only (else 2006); leaves the reader at dataStart.
    QVStatus read(QVIOStreamReader<true>& reader, long long length) override;
    // The prefix, then writePlanes.
    QVStatus write(QVIOStreamWriter<true>& writer) override;

    XR3PlanesetOrder getOrder() const { return m_order; }
    XR3PlanesetLayout getLayout() const { return m_layout; }
    long long getDataLength() const { return m_dataLength; }
    // Stream position of the first plane byte.
    long long getDataStart() const { return m_dataStart; }
    // Minor 1: plane lengths in the wide form.
    bool hasWideLengths() const { return getVersionMinor() == 1; }
    void setOrder(XR3PlanesetOrder order) { m_order = order; }
    void setLayout(XR3PlanesetLayout layout) { m_layout = layout; }
    void setDataLength(long long length) { m_dataLength = length; }

protected:
    // Writes the plane data; dataStart is the position of its first byte.
    // This class has no planes to write: 2014.
    virtual QVStatus writePlanes(long long dataStart);

private:
    XR3PlanesetOrder m_order = XR3_PLANESET_ORDER_NONE;
    XR3PlanesetLayout m_layout = XR3_PLANESET_LAYOUT_NONE;
    long long m_dataLength = 0;
    long long m_dataStart = 0;
};

// A complete XR2 file carried as a packet (type 7). Its bytes are never
// loaded: the packet records where they lie.
class XR3XR2Packet : public XR3Packet {
public:
    // The default type (7, 0, 0, imageNumber, major 0, minor 0).
    explicit XR3XR2Packet(uint32_t imageNumber);
    explicit XR3XR2Packet(const XR3PacketType& type) : XR3Packet(type) {}

    // Types and offsets equal.
    bool operator==(const XR3Packet& other) const override;
    XR3XR2Packet* createCopy() const override;
    // Records startOffset and endOffset; reads nothing.
    QVStatus read(QVIOStreamReader<true>& reader, long long length) override;
    // The packet can be carried by its proxy but not produced: 2014.
    QVStatus write(QVIOStreamWriter<true>& writer) override;

    long long getStartOffset() const { return m_startOffset; }
    long long getEndOffset() const { return m_endOffset; }

private:
    long long m_startOffset = 0;
    long long m_endOffset = 0;
};

// The packet database of an XR3/XR4 file: the version, then the packets.
class XR3PacketDB : public DB {
public:
    XR3PacketDB() = default;

    // Version, then every packet up to the end of the stream.
    QVStatus loadImage(QVIOStreamReader<true>& reader) override;
    // Version, then the packets.
    QVStatus write(QVIOStreamWriter<true>& writer) const override;
    // The packets alone.
    QVStatus writeExcludingVersion(QVIOStreamWriter<true>& writer) const;
    XR3PacketType* createObjectType() const override;
    DBObject* createObject(const DBObjectType& type) const override;
    // Type 6 with major 1.
    bool isContents(const DBObjectType& type) const override;

    // Appends copies of other's proxies and takes its version. Index packets
    // among them are loaded and made this database's index.
    QVStatus copyDatabase(const XR3PacketDB& other);

    // The single packet of that type, loaded; null (and 0) for none or several.
    QVStatus findSinglePacket(const XR3PacketType& type, XR3Packet*& packet,
                              DBTypeComparator comparator = nullptr) const;
    // Every packet of that type, loaded, appended in file order.
    QVStatus findMultiplePackets(const XR3PacketType& type, XR3List<XR3Packet*>& list,
                                 DBTypeComparator comparator = nullptr) const;
    // findSinglePacket for a packet of class T: null when the packet found
    // is of another class.
    template <class T>
    QVStatus findSinglePacketOf(const XR3PacketType& type, T*& packet) const {
        XR3Packet* found = nullptr;
        QVStatus status = findSinglePacket(type, found);
        packet = dynamic_cast<T*>(found);
        return status;
    }

    // A search pattern; omitted fields match anything.
    static XR3PacketType createPacketType(XR3PacketTypeEnum type,
                                          uint32_t subType = XR3PacketType::ANY_SUBTYPE,
                                          uint32_t subSubType = XR3PacketType::ANY_SUBSUBTYPE,
                                          uint32_t imageNumber = XR3PacketType::ANY_IMAGE_NUMBER);
    // An empty packet of the class for type; null for a type without one
    // (3, 8 to 15) or when out of memory.
    XR3Packet* createPacket(const XR3PacketType& type) const;

    // Puts the packets into the order of a composite file: index first, then
    // per image header and metadata, planesets last (stable).
    void sortForIndexedComposite();

    const XR3Version& getVersion() const { return m_version; }
    void setVersion(const XR3Version& version) { m_version = version; }

private:
    // Index packets start their two passes afresh with every write.
    void cancelIndexReservations() const;

    XR3Version m_version;
};

}  // namespace Orvanetics
