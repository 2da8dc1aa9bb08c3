// Test-only writer of planeset packets in every layout, and of whole image
// files (header, metadata and planeset packets) around them.
//
//   XR3ImageInfo info = TavixFixture::makeImageInfo(100, 70, 2, 3, 16);
//   TavixFixture::PlanesetContent content =
//       TavixFixture::PlanesetContent::random(info, seed, {});  // arbitrary bytes
//   TavixFixture::PlanesetOptions options;                      // order, layout, tokens
//   options.layout = XR3_PLANESET_LAYOUT_INTERLEAVED;
//   TavixFixture::ImageFile file = TavixFixture::writeImageFile(info, content, options);
//   // file.bytes is a whole XR3/XR4 file; file.planes tells where each
//   // plane's payload went.
//
// The token encoder here is written from the format's description alone,
// apart from the library's reader, so that the two can't share a misreading.
// The plane order comes from the library's planeset iterator (XR3SubblockIter),
// which the geometry tests pin down on their own.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "tavix_fixtureWriter.h"
#include "xr3_imageInfo.h"
#include "xr3_metadataPacket.h"
#include "xr3_planeData.h"

namespace TavixFixture {

using namespace Orvanetics;

// An image info as a header packet carries it, subbands set up.
XR3ImageInfo makeImageInfo(uint32_t width, uint32_t height, uint8_t numLevels, uint16_t numBands,
                           uint16_t subblockSize, uint32_t imageNumber = 0);

// One plane with data.
struct FixturePlane {
    std::vector<uint8_t> bytes;
    uint16_t mse = 0;
    uint32_t lockValue = 0;
    bool bypass = false;
};

// The planes with data of one image, by XR3PlaneDesc::to_index.
class PlanesetContent {
public:
    struct RandomShape {
        double subblockDensity = 0.6;  // share of subblocks with data
        double bandDensity = 0.7;      // share of bands with data in such a subblock
        double planeDensity = 0.8;     // share of planes from a band's first plane on
        uint32_t maxBytes = 40;        // plane sizes 1 to maxBytes
    };

    void set(const XR3PlaneDesc& desc, FixturePlane plane) { planes[desc.to_index()] = std::move(plane); }
    const FixturePlane* find(const XR3PlaneDesc& desc) const;
    bool subblockHasData(uint32_t subband, uint32_t subblock) const;
    // Deterministic arbitrary planes over every subblock of info.
    static PlanesetContent random(const XR3ImageInfo& info, uint32_t seed, const RandomShape& shape);

    std::map<uint64_t, FixturePlane> planes;
};

struct PlanesetOptions {
    XR3PlanesetOrder order = XR3_PLANESET_ORDER_PIPELINE;
    XR3PlanesetLayout layout = XR3_PLANESET_LAYOUT_DATA_FIRST;
    bool wideTokens = true;  // planeset minor 1
    bool hasMSE = false;
    uint8_t lockValueWidth = 0;
    // Raster block: subblocks per unit, in planeset order (0: one unit).
    uint32_t subblocksPerBlock = 0;
    // Runs are split into tokens of at most this many planes (0: the token maximum).
    uint64_t maxRun = 0;
    // Runs in front of a plane with data are split at subblock ends.
    bool splitRunsAtSubblocks = false;
    // Every token in its longest form (4 narrow bytes, 8 wide bytes).
    bool longTokens = false;
    // Only the first planes are written; with finalRun a run covers the rest.
    uint64_t writtenPlanes = UINT64_MAX;
    bool finalRun = true;
};

// Where a plane with data went, relative to the planeset's dataStart.
struct WrittenPlane {
    XR3PlaneDesc desc;
    int64_t tokenOffset = 0;
    int64_t payloadOffset = 0;  // its extras
    int64_t payloadLength = 0;  // extras and bytes
};

// Tokens of a length value in the narrow or wide form.
std::vector<uint8_t> encodeToken(bool hasData, bool bypass, uint64_t value, bool wide, bool longForm = false);

// A planeset packet whose plane data is laid out at construction.
class FixturePlanesetPacket : public XR3PlanesetPacket {
public:
    FixturePlanesetPacket(const XR3ImageInfo& info, const PlanesetContent& content, const PlanesetOptions& options);

    QVStatus write(QVIOStreamWriter<true>& writer) override;

    const std::vector<uint8_t>& getPlaneBytes() const { return m_bytes; }
    const std::vector<WrittenPlane>& getWrittenPlanes() const { return m_written; }

protected:
    QVStatus writePlanes(long long dataStart) override;

private:
    QVIOStreamWriter<true>* m_writer = nullptr;
    std::vector<uint8_t> m_bytes;
    std::vector<WrittenPlane> m_written;
};

// A metadata packet carrying bytes.
std::unique_ptr<XR3MetadataPacket> makeMetadataPacket(uint32_t subType, uint32_t subSubType, uint32_t imageNumber,
                                                      const std::vector<uint8_t>& bytes);

// One record of a classical metadata stream.
struct ClassicalRecord {
    std::string key;
    uint32_t typeCode = 5;  // 1 UINT8 ... 5 ASCII ... 10 SINT32
    std::vector<std::string> strings;  // ASCII values
    std::vector<uint8_t> valueBytes;   // other types: the values, big-endian
    uint32_t numValues = 1;
};
// A classical metadata stream (version 1.0), ending with "IMAGE::EOM".
std::vector<uint8_t> classicalMetadataBytes(const std::vector<ClassicalRecord>& records);

struct ImageFile {
    std::vector<uint8_t> bytes;
    int64_t dataStart = 0;  // of the planeset
    std::vector<WrittenPlane> planes;
};

// A file holding the header and planeset packets of one image, with the
// extra packets (metadata and others) between them. The header's
// hasPlaneMSE is options.hasMSE, whatever info says.
ImageFile writeImageFile(const XR3ImageInfo& info, const PlanesetContent& content, const PlanesetOptions& options,
                         std::vector<std::unique_ptr<XR3Packet>> extraPackets = {},
                         IndexKind index = IndexKind::None,
                         const XR3Version& version = XR3Version::getXR4Version());

}  // namespace TavixFixture
