// Where the plane store of an image comes from: the planeset packet of the
// image in its container, the memory model, and the clients made for
// decoders. Also a tool that walks all planes for statistics.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "xr3_container.h"
#include "xr3_planeReaders.h"
#include "xr3_planeStore.h"

namespace Orvanetics {

// Memory above which the default model chooses the partial table.
constexpr uint64_t kXR3FullTableMemoryLimit = 0xFFFFFFF;

class XR3PlaneSource {
public:
    // info is copied; the container outlives the source.
    XR3PlaneSource(XR3Container& container, const XR3ImageInfo& info);
    virtual ~XR3PlaneSource() = default;
    XR3PlaneSource(const XR3PlaneSource&) = delete;
    XR3PlaneSource& operator=(const XR3PlaneSource&) = delete;

    virtual QVStatus initialize() = 0;

    // The image info with the planeset's order and layout.
    const XR3ImageInfo& getImageInfo() const { return m_info; }
    const XR3PlanesetPacket* getPlaneset() const { return m_planeset; }
    // Present for a locked image only.
    const XR3SecurityPacket* getSecurityPacket() const { return m_security; }

protected:
    // The image's planeset (none: 2010) and security packets.
    QVStatus loadPackets();

    XR3Container& m_container;
    XR3ImageInfo m_info;
    XR3PlanesetPacket* m_planeset = nullptr;
    XR3SecurityPacket* m_security = nullptr;
};

class XR3FileSimplePlaneSource : public XR3PlaneSource {
public:
    XR3FileSimplePlaneSource(XR3FileSimpleContainer& container, const XR3ImageInfo& info,
                             XR3MemoryModel memoryModel);

    // Loads the packets, settles the memory model, and builds the store
    // with one walk over the tokens, on a clone of the stream (none: 2004).
    // A locked image is refused with 4001.
    QVStatus initialize() override;

    // A client with its own reader on its own clone of the stream.
    QVStatus createPlaneStoreClient(std::unique_ptr<XR3PlaneStoreClient>& client);
    QVStatus createFilePlaneStoreClient(std::unique_ptr<XR3FilePlaneStoreClient>& client);
    // A reader on a new clone of the container's stream; 2004 without clone.
    QVStatus createReader(std::unique_ptr<XR3FilePlaneReader>& reader);

    // floor(dataLength * 3.4 / numBands + 8 * numBands * wordBits * numSubblocks) + 11814.
    static uint64_t getMemoryUsageForFullTable(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset);
    // The same for an image of a container (no header or planeset: 2010).
    static QVStatus getMemoryUsageForFullTable(XR3FileSimpleContainer& container, uint32_t imageNumber,
                                               uint64_t& usage);
    // The requested model, overridden by QV_XR3_MEMORY_MODEL ("partial",
    // "full", "default"); default becomes full up to kXR3FullTableMemoryLimit;
    // partial needs order 1, layout 2 and major 0, and falls back to full.
    static XR3MemoryModel initializeMemoryModel(XR3MemoryModel requested, const XR3ImageInfo& info,
                                                const XR3PlanesetPacket& planeset);

    // Bytes of plane data per band (without extras), from the tokens alone.
    QVStatus getComponentSizes(std::vector<uint64_t>& sizes);

    XR3MemoryModel getMemoryModel() const { return m_memoryModel; }
    const XR3FilePlaneStore* getStore() const { return m_store.get(); }

private:
    XR3FileSimpleContainer& m_fileContainer;
    XR3MemoryModel m_memoryModel;
    bool m_useStreamBuffers = false;
    std::unique_ptr<XR3FilePlaneStore> m_store;
};

// Told of every plane with data, in token order.
class XR3PlaneInfoVisitor {
public:
    virtual ~XR3PlaneInfoVisitor() = default;
    // data holds length, mse, lock value and flags; its bytes only when asked for.
    virtual QVStatus visit(const XR3PlaneDesc& desc, const XR3PlaneData& data) = 0;
};

// Walks the planes of an initialised source, for tools such as per-band
// size counts. Uses a reader of its own.
class XR3PlaneInfoTool {
public:
    explicit XR3PlaneInfoTool(XR3FileSimplePlaneSource& source) : m_source(source) {}

    // Every plane with data in token order. Without withBytes only the
    // tokens are read: data has length and flags but no bytes or extras.
    QVStatus visitPlanes(XR3PlaneInfoVisitor& visitor, bool withBytes);
    // One plane; an empty plane gives data without the present flag.
    // Without withBytes the bytes are dropped after reading, the length kept.
    QVStatus getPlaneData(const XR3PlaneDesc& desc, XR3PlaneData& data, bool withBytes);

private:
    QVStatus visitLengths(XR3PlaneInfoVisitor& visitor);
    QVStatus visitSubblocks(XR3PlaneInfoVisitor& visitor);

    XR3FileSimplePlaneSource& m_source;
};

}  // namespace Orvanetics
