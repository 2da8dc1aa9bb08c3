// An XR3/XR4 file opened as a container: the version, the packet walk and
// the index, the image list, every packet loaded, the metadata of every
// image, and the database copied and written back out.
#include "fuzz_xr3Open.h"
#include "xr3_metadata.h"

using namespace Orvanetics;

namespace {

// Every metadata query a reader makes on open, for one image.
void readImageMetadata(XR3MetadataReader& metadata, const XR3ImageDesc& image)
{
    bool found = false;
    XR3GeorefData georef;
    metadata.extractGeorefData(image.number, found, georef);
    double corners[4];
    metadata.getGeoBounds(image.number, found, corners[0], corners[1], corners[2], corners[3]);
    QVIMetadataDatabase database;
    metadata.loadMetadata(image.number, database);
    for (const char* tag : {"xmp", "exif"}) {
        std::unique_ptr<QVIOStreamInf> blob;
        metadata.getMetadataBlob(image.number, tag, blob);
    }
}

void readAllMetadata(XR3Container& container)
{
    XR3MetadataReader* metadata = container.getMetadataReader();
    if (!metadata) return;
    for (const XR3ImageDesc& image : container.getImageList()) {
        readImageMetadata(*metadata, image);
        FuzzInput::findHeaderPacket(container, image.number);
    }
    for (const XR3MetadataDesc& desc : metadata->getList()) {
        long long offset = 0;
        long long length = 0;
        metadata->getFileOffset(desc, offset, length);
        auto output = FuzzInput::openNullOutput();
        metadata->extract(desc, *output);
    }
}

void copyAndWrite(XR3Container& container)
{
    XR3PacketDB copy;
    if (container.db_copyDatabase(copy) != 0) return;
    auto output = FuzzInput::openNullOutput();
    QVIOStreamWriter<true> writer(*output);
    copy.write(writer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput::MemoryInput input(data, size);
    XR3FileSimpleContainer container(input.stream(), true);
    if (container.initialize() != 0) return 0;
    XR3List<XR3Packet*> packets;
    container.db_findMultiplePackets(XR3PacketDB::createPacketType(XR3_PACKET_ANY), packets);
    readAllMetadata(container);
    copyAndWrite(container);
    return 0;
}
