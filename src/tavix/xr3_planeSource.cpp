#include "xr3_planeSource.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "qv_ioStreamUtils.h"
#include "xr3_headerPacket.h"
#include "xr3_planesetOrder.h"

namespace Orvanetics {

namespace {

XR3PacketType imagePacketType(XR3PacketTypeEnum type, uint32_t imageNumber) {
    return XR3PacketType(type, XR3PacketType::ANY_SUBTYPE, XR3PacketType::ANY_SUBSUBTYPE, imageNumber, 0, 0);
}

bool isKnownLayout(XR3PlanesetLayout layout) {
    return layout == XR3_PLANESET_LAYOUT_INTERLEAVED || layout == XR3_PLANESET_LAYOUT_DATA_FIRST ||
           layout == XR3_PLANESET_LAYOUT_RASTER_BLOCK;
}

// Opens the container's stream around one piece of work.
class ContainerStreamScope {
public:
    explicit ContainerStreamScope(XR3FileSimpleContainer& container)
        : m_container(container), m_status(container.openStream()) {}
    ~ContainerStreamScope() { m_container.closeStream(); }
    QVStatus status() const { return m_status; }

private:
    XR3FileSimpleContainer& m_container;
    QVStatus m_status;
};

// Sums plane lengths per band.
class ComponentSizeCounter : public XR3PlaneInfoVisitor {
public:
    explicit ComponentSizeCounter(std::vector<uint64_t>& sizes) : m_sizes(sizes) {}
    QVStatus visit(const XR3PlaneDesc& desc, const XR3PlaneData& data) override {
        m_sizes[desc.component] += data.length;
        return 0;
    }

private:
    std::vector<uint64_t>& m_sizes;
};

// Turns the lengths of a token walk into planes without bytes.
class LengthsToPlanes : public XR3PlaneLengthVisitor {
public:
    explicit LengthsToPlanes(XR3PlaneInfoVisitor& visitor) : m_visitor(visitor) {}
    QVStatus visitPlane(const XR3PlaneDesc& desc, const XR3PlaneOffset&, uint64_t length, bool bypass) override {
        if (length > std::numeric_limits<uint32_t>::max()) return xr3Fail(QVI_STS_Tavix_ReadError);
        XR3PlaneData data;
        data.length = uint32_t(length);
        data.markPresent(bypass);
        return m_visitor.visit(desc, data);
    }

private:
    XR3PlaneInfoVisitor& m_visitor;
};

}  // namespace

// ------------------------------------------------------------ XR3PlaneSource

XR3PlaneSource::XR3PlaneSource(XR3Container& container, const XR3ImageInfo& info)
    : m_container(container), m_info(info) {}

QVStatus XR3PlaneSource::loadPackets() {
    if (QVStatus status = m_container.db_findSinglePacketOf(
            imagePacketType(XR3_PACKET_PLANESET, m_info.imageNumber), m_planeset))
        return status;
    if (!m_planeset) return xr3Fail(QVI_STS_Tavix_BadContext);
    if (QVStatus status = m_container.db_findSinglePacketOf(
            imagePacketType(XR3_PACKET_SECURITY, m_info.imageNumber), m_security))
        return status;
    m_info.planesetOrder = m_planeset->getOrder();
    m_info.planesetLayout = m_planeset->getLayout();
    return 0;
}

// -------------------------------------------------- XR3FileSimplePlaneSource

XR3FileSimplePlaneSource::XR3FileSimplePlaneSource(XR3FileSimpleContainer& container, const XR3ImageInfo& info,
                                                   XR3MemoryModel memoryModel)
    : XR3PlaneSource(container, info), m_fileContainer(container), m_memoryModel(memoryModel) {}

QVStatus XR3FileSimplePlaneSource::initialize() {
    if (m_store) return xr3Fail(QVI_STS_Tavix_BadContext);
    {
        ContainerStreamScope scope(m_fileContainer);
        if (scope.status()) return scope.status();
        if (QVStatus status = loadPackets()) return status;
    }
    if (m_info.locked) return xr3Fail(kStsXR3SecurityDisabled);
    m_useStreamBuffers = std::getenv("XR3_USE_STREAM_BUFFERS") != nullptr;
    std::unique_ptr<XR3FilePlaneReader> reader;
    if (QVStatus status = createReader(reader)) return status;
    m_memoryModel = initializeMemoryModel(m_memoryModel, m_info, *m_planeset);
    std::unique_ptr<XR3FilePlaneStore> store(new (std::nothrow) XR3FilePlaneStore(m_info, m_memoryModel));
    if (!store) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    if (QVStatus status = store->initialize(*reader)) return status;
    m_store = std::move(store);
    return 0;
}

QVStatus XR3FileSimplePlaneSource::createReader(std::unique_ptr<XR3FilePlaneReader>& reader) {
    if (!m_planeset) return xr3Fail(QVI_STS_Tavix_BadContext);
    QVIOStreamInf* clone = m_fileContainer.cloneStream();
    if (!clone) return xr3Fail(QVI_STS_Tavix_IOError);
    // A store's info, when there is one, so that readers of clients refer to what the store keeps.
    const XR3ImageInfo& info = m_store ? m_store->getImageInfo() : m_info;
    reader = XR3FilePlaneReader::create(info, *m_planeset, clone, true, info.hasPlaneMSE, info.lockValueWidth,
                                        m_fileContainer.isStreamAlwaysOpen(), m_useStreamBuffers);
    if (reader) return 0;
    QVIOStreamUtils::closeStream(clone);
    return xr3Fail(isKnownLayout(m_planeset->getLayout()) ? QVI_STS_Tavix_OutOfMemory : QVI_STS_Tavix_FormatError);
}

QVStatus XR3FileSimplePlaneSource::createFilePlaneStoreClient(std::unique_ptr<XR3FilePlaneStoreClient>& client) {
    client.reset();
    if (!m_store) return xr3Fail(QVI_STS_Tavix_BadContext);
    std::unique_ptr<XR3FilePlaneReader> reader;
    if (QVStatus status = createReader(reader)) return status;
    client.reset(new (std::nothrow) XR3FilePlaneStoreClient(*m_store, std::move(reader)));
    return client ? 0 : xr3Fail(QVI_STS_Tavix_OutOfMemory);
}

QVStatus XR3FileSimplePlaneSource::createPlaneStoreClient(std::unique_ptr<XR3PlaneStoreClient>& client) {
    std::unique_ptr<XR3FilePlaneStoreClient> fileClient;
    QVStatus status = createFilePlaneStoreClient(fileClient);
    client = std::move(fileClient);
    return status;
}

uint64_t XR3FileSimplePlaneSource::getMemoryUsageForFullTable(const XR3ImageInfo& info,
                                                              const XR3PlanesetPacket& planeset) {
    const double dataLength = double(std::max<long long>(planeset.getDataLength(), 0));
    const double numBands = double(std::max<uint16_t>(info.numBands, 1));
    const double usage = std::floor(dataLength * 3.4 / numBands +
                                    8.0 * numBands * double(info.wordBits) * double(info.numSubblocks)) +
                         11814.0;
    return usage >= 1.8e19 ? std::numeric_limits<uint64_t>::max() : uint64_t(usage);
}

QVStatus XR3FileSimplePlaneSource::getMemoryUsageForFullTable(XR3FileSimpleContainer& container,
                                                              uint32_t imageNumber, uint64_t& usage) {
    ContainerStreamScope scope(container);
    if (scope.status()) return scope.status();
    XR3HeaderPacket* header = nullptr;
    XR3PlanesetPacket* planeset = nullptr;
    if (QVStatus status = container.db_findSinglePacketOf(imagePacketType(XR3_PACKET_HEADER, imageNumber), header))
        return status;
    if (QVStatus status =
            container.db_findSinglePacketOf(imagePacketType(XR3_PACKET_PLANESET, imageNumber), planeset))
        return status;
    if (!header || !planeset) return xr3Fail(QVI_STS_Tavix_BadContext);
    usage = getMemoryUsageForFullTable(header->getImageInfo(), *planeset);
    return 0;
}

XR3MemoryModel XR3FileSimplePlaneSource::initializeMemoryModel(XR3MemoryModel requested, const XR3ImageInfo& info,
                                                               const XR3PlanesetPacket& planeset) {
    XR3MemoryModel model = requested;
    if (const char* value = std::getenv("QV_XR3_MEMORY_MODEL")) {
        if (std::strncmp(value, "partial", 6) == 0) model = XR3_MEMORY_MODEL_PARTIAL;
        else if (std::strncmp(value, "full", 4) == 0) model = XR3_MEMORY_MODEL_FULL;
        else if (std::strcmp(value, "default") == 0) model = XR3_MEMORY_MODEL_DEFAULT;
    }
    if (model == XR3_MEMORY_MODEL_DEFAULT) {
        model = getMemoryUsageForFullTable(info, planeset) <= kXR3FullTableMemoryLimit ? XR3_MEMORY_MODEL_FULL
                                                                                       : XR3_MEMORY_MODEL_PARTIAL;
    }
    // The partial table walks rows of one data-first token sequence in pipeline order.
    const bool partialFits = planeset.getOrder() == XR3_PLANESET_ORDER_PIPELINE &&
                             planeset.getLayout() == XR3_PLANESET_LAYOUT_DATA_FIRST &&
                             planeset.getVersionMajor() == 0;
    if (model == XR3_MEMORY_MODEL_PARTIAL && !partialFits) model = XR3_MEMORY_MODEL_FULL;
    return model;
}

QVStatus XR3FileSimplePlaneSource::getComponentSizes(std::vector<uint64_t>& sizes) {
    try {
        sizes.assign(m_info.numBands, 0);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    ComponentSizeCounter counter(sizes);
    XR3PlaneInfoTool tool(*this);
    return tool.visitPlanes(counter, false);
}

// ------------------------------------------------------------ XR3PlaneInfoTool

QVStatus XR3PlaneInfoTool::visitPlanes(XR3PlaneInfoVisitor& visitor, bool withBytes) {
    if (!m_source.getStore()) return xr3Fail(QVI_STS_Tavix_BadContext);
    return withBytes ? visitSubblocks(visitor) : visitLengths(visitor);
}

QVStatus XR3PlaneInfoTool::visitLengths(XR3PlaneInfoVisitor& visitor) {
    std::unique_ptr<XR3FilePlaneReader> reader;
    if (QVStatus status = m_source.createReader(reader)) return status;
    if (QVStatus status = reader->openStream()) return status;
    LengthsToPlanes adapter(visitor);
    QVStatus status = reader->walkPlaneLengths(adapter, m_source.getPlaneset()->getDataStart());
    QVStatus closed = reader->closeStream();
    return status ? status : closed;
}

QVStatus XR3PlaneInfoTool::visitSubblocks(XR3PlaneInfoVisitor& visitor) {
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    if (QVStatus status = m_source.createFilePlaneStoreClient(client)) return status;
    const XR3ImageInfo& info = m_source.getStore()->getImageInfo();
    const uint32_t numPlanes = uint32_t(info.numBands) * kXR3PlanesPerBand;
    std::unique_ptr<XR3PlaneData[]> planes(new (std::nothrow) XR3PlaneData[numPlanes]);
    std::unique_ptr<XR3SubblockIter> subblocks = XR3SubblockIter::create(info.planesetOrder);
    if (!planes || !subblocks) return xr3Fail(planes ? QVI_STS_Tavix_FormatError : QVI_STS_Tavix_OutOfMemory);
    if (QVStatus status = subblocks->init(info)) return status;
    QVStatus status = 0;
    for (subblocks->begin(); subblocks->isValid() && !status; *subblocks += 1) {
        if (!client->hasSubblock(subblocks->subband, subblocks->subblock)) continue;
        status = client->getSubblockData(subblocks->subband, subblocks->subblock, planes.get(), false);
        for (uint32_t p = 0; p < numPlanes && !status; ++p) {
            if (!planes[p].isPresent()) continue;
            status = visitor.visit(XR3PlaneDesc(subblocks->subband, subblocks->subblock,
                                                uint16_t(p / kXR3PlanesPerBand), uint8_t(p % kXR3PlanesPerBand)),
                                   planes[p]);
        }
    }
    QVStatus closed = client->closeStream();
    return status ? status : closed;
}

QVStatus XR3PlaneInfoTool::getPlaneData(const XR3PlaneDesc& desc, XR3PlaneData& data, bool withBytes) {
    data.clear();
    const XR3FilePlaneStore* store = m_source.getStore();
    if (!store) return xr3Fail(QVI_STS_Tavix_BadContext);
    const XR3ImageInfo& info = store->getImageInfo();
    if (desc.subband >= info.numSubbands || desc.subblock >= store->getSubblockCount(desc.subband) ||
        desc.component >= info.numBands || desc.plane >= kXR3PlanesPerBand)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (!store->hasSubblock(desc.subband, desc.subblock)) return 0;
    std::unique_ptr<XR3FilePlaneStoreClient> client;
    if (QVStatus status = m_source.createFilePlaneStoreClient(client)) return status;
    const uint32_t numPlanes = uint32_t(info.numBands) * kXR3PlanesPerBand;
    std::unique_ptr<XR3PlaneData[]> planes(new (std::nothrow) XR3PlaneData[numPlanes]);
    if (!planes) return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    client->getComponentSet().clearAll();
    client->getComponentSet().set(desc.component);
    QVStatus status = client->getSubblockData(desc.subband, desc.subblock, planes.get(), false);
    client->closeStream();
    if (status) return status;
    data = std::move(planes[uint32_t(desc.component) * kXR3PlanesPerBand + desc.plane]);
    if (!withBytes) data.setExternal(nullptr, data.length);
    return 0;
}

}  // namespace Orvanetics
