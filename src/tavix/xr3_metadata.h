// The metadata of an XR3/XR4 file: packets of type 2 addressed by
// (subType, subSubType, imageNumber). The packets only carry bytes; what
// they mean depends on the kind (subType):
//   1 classical metadata records, read into a QVIMetadataDatabase
//   3 georeference (the bytes of XR3GeorefData)
//   4 XMP, 5 Exif, handed out as blobs "xmp" and "exif".
//
// XR3MetadataReader answers which metadata a container holds and extracts
// it; every packet access goes through the container's critical section.
#pragma once

#include <cstdint>
#include <memory>

#include "qv_ioStreamInf.h"
#include "qvi_metadataDatabase.h"
#include "xr3_georefData.h"
#include "xr3_list.h"
#include "xr3_packet.h"

namespace Orvanetics {

class XR3Container;
class XR3MetadataPacket;

enum XR3MetadataKind : uint32_t {
    XR3_METADATA_CLASSICAL = 1,
    XR3_METADATA_GEOREF = 3,
    XR3_METADATA_XMP = 4,
    XR3_METADATA_EXIF = 5,
};

// The address of one metadata packet.
struct XR3MetadataDesc {
    uint32_t subType = 0;
    uint32_t subSubType = 0;
    uint32_t imageNumber = 0;

    bool operator==(const XR3MetadataDesc&) const = default;
    // Type 2 at this address, versions 0.0.
    XR3PacketType toPacketType() const;
    static XR3MetadataDesc fromPacketType(const XR3PacketType& type);
};

// The descs of every metadata packet of a container, in file order.
QVStatus xr3ListMetadata(XR3Container& container, XR3List<XR3MetadataDesc>& list);
// Writes the bytes of the packet at desc to stream: 2009 when the container
// holds no single packet there, 2002 on a short write.
QVStatus xr3ExtractMetadata(XR3Container& container, const XR3MetadataDesc& desc, QVIOStreamInf& stream);

class XR3MetadataReader {
public:
    XR3MetadataReader() = default;
    XR3MetadataReader(const XR3MetadataReader&) = delete;
    XR3MetadataReader& operator=(const XR3MetadataReader&) = delete;

    // Lists the metadata packets; loads none of them. The container outlives the reader.
    QVStatus initialize(XR3Container& container);

    bool lookup(const XR3MetadataDesc& desc) const { return m_list.contains(desc); }
    const XR3List<XR3MetadataDesc>& getList() const { return m_list; }
    // The packet's bytes to stream; 2009 for a desc not in the list, 2002 short write.
    QVStatus extract(const XR3MetadataDesc& desc, QVIOStreamInf& stream);
    // Where the packet's payload lies in the file: 1 when the desc is not
    // found or the packet was not read from a file.
    QVStatus getFileOffset(const XR3MetadataDesc& desc, long long& offset, long long& length);

    // The georeference packet (3, 0, imageNumber); found is false, status 0,
    // without one. Its pixels get colorSpace. 2004 without a temporary stream.
    QVStatus extractGeorefData(uint32_t imageNumber, bool& found, XR3GeorefData& georef,
                               QVIColorSpace colorSpace = QVI_COLORSPACE_MULTISPECTRAL);
    // The corners of the georeference: centres of the upper-left and lower-right pixels.
    QVStatus getGeoBounds(uint32_t imageNumber, bool& found, double& xUL, double& yUL, double& xLR, double& yLR);
    // The classical records (1, 0, imageNumber) into database; nothing and
    // status 0 without them. Parsing failures are the classical reader's.
    QVStatus loadMetadata(uint32_t imageNumber, QVIMetadataDatabase& database);
    // "xmp" (4, 0, imageNumber) or "exif" (5, 0, imageNumber) in a new
    // memory stream at position 0. Another tag, or a blob that is not in the
    // file, gives no stream and status 0.
    QVStatus getMetadataBlob(uint32_t imageNumber, const char* tag, std::unique_ptr<QVIOStreamInf>& stream);

private:
    // The packet's bytes in a new temporary stream, at position 0.
    QVStatus extractToTempStream(const XR3MetadataDesc& desc, std::unique_ptr<QVIOStreamInf>& stream);

    XR3Container* m_container = nullptr;
    XR3List<XR3MetadataDesc> m_list;
};

}  // namespace Orvanetics
