#include "xr3_planeStore.h"

#include <algorithm>
#include <bit>
#include <new>

#include "xr3_planeReaders.h"

namespace Orvanetics {

// ------------------------------------------------------------ XR3ComponentSet

void XR3ComponentSet::setNumComponents(uint16_t numComponents) {
    m_numComponents = numComponents;
    m_mask.assign((numComponents + 7u) / 8u, 0);
}

void XR3ComponentSet::set(uint32_t component) {
    if (component < m_numComponents) m_mask[component >> 3] |= uint8_t(1u << (component & 7));
}

void XR3ComponentSet::clear(uint32_t component) {
    if (component < m_numComponents) m_mask[component >> 3] &= uint8_t(~(1u << (component & 7)));
}

void XR3ComponentSet::setAll() {
    for (uint32_t c = 0; c < m_numComponents; ++c) set(c);
}

void XR3ComponentSet::clearAll() { std::fill(m_mask.begin(), m_mask.end(), uint8_t(0)); }

uint32_t XR3ComponentSet::getNumSet() const {
    uint32_t count = 0;
    for (uint8_t byte : m_mask) count += uint32_t(std::popcount(byte));
    return count;
}

uint32_t XR3ComponentSet::getEnd() const {
    for (size_t i = m_mask.size(); i-- > 0;) {
        if (m_mask[i]) return uint32_t(i * 8 + std::bit_width(m_mask[i]));
    }
    return 0;
}

// ---------------------------------------------------------- XR3FilePlaneStore

QVStatus XR3FilePlaneStore::createTable() {
    try {
        switch (m_memoryModel) {
        case XR3_MEMORY_MODEL_FULL: {
            auto table = std::make_unique<XR3FullMSPTable>(m_info);
            if (QVStatus status = table->initialize()) return status;
            m_table = std::move(table);
            return 0;
        }
        case XR3_MEMORY_MODEL_PARTIAL: {
            auto table = std::make_unique<XR3PartialMSPTable>(m_info);
            if (QVStatus status = table->initialize()) return status;
            m_table = std::move(table);
            return 0;
        }
        default:
            return xr3Fail(QVI_STS_Tavix_StatusInvalid);
        }
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
}

QVStatus XR3FilePlaneStore::initialize(XR3FilePlaneReader& reader) {
    try {
        m_subblockCounts.clear();
        for (const XR3SubbandDims& dims : m_info.subbands) m_subblockCounts.push_back(uint64_t(dims.rows) * dims.cols);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    if (QVStatus status = createTable()) return status;
    m_lastDesc = XR3PlaneDesc();
    if (QVStatus status = reader.openStream()) return status;
    QVStatus status = reader.readAllPlaneLengths(*this, reader.getPlaneset().getDataStart());
    QVStatus closed = reader.closeStream();
    if (status) m_table.reset();
    return status ? status : closed;
}

QVStatus XR3FilePlaneStore::addData(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset) {
    if (desc.subband == m_lastDesc.subband && desc.subblock == m_lastDesc.subblock) return 0;
    m_lastDesc = desc;
    return m_table->addMSP(desc, offset);
}

bool XR3FilePlaneStore::isInImage(uint32_t subband, uint32_t subblock) const {
    return subband < m_subblockCounts.size() && subblock < m_subblockCounts[subband];
}

bool XR3FilePlaneStore::clipRange(uint32_t subband, uint32_t& first, uint32_t& last) const {
    if (!m_table || subband >= m_subblockCounts.size() || first > last || first >= m_subblockCounts[subband])
        return false;
    if (last >= m_subblockCounts[subband]) last = uint32_t(m_subblockCounts[subband] - 1);
    return true;
}

bool XR3FilePlaneStore::hasSubblock(uint32_t subband, uint32_t subblock) const {
    return m_table && isInImage(subband, subblock) && m_table->hasSubblock(subband, subblock);
}

bool XR3FilePlaneStore::hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    return clipRange(subband, first, last) && m_table->hasSubblocksInRange(subband, first, last);
}

uint32_t XR3FilePlaneStore::countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    return clipRange(subband, first, last) ? m_table->countSubblocksInRange(subband, first, last) : 0;
}

QVStatus XR3FilePlaneStore::getSubblockData(const XR3PlaneDesc& desc, const XR3ComponentSet& components,
                                            XR3FilePlaneReader& reader, bool& found, XR3PlaneData* planes) const {
    found = false;
    const uint32_t numPlanes = uint32_t(m_info.numBands) * kXR3PlanesPerBand;
    for (uint32_t p = 0; p < numPlanes; ++p) planes[p].clear();
    if (!m_table) return xr3Fail(QVI_STS_Tavix_BadContext);
    if (!isInImage(desc.subband, desc.subblock)) return xr3Fail(QVI_STS_Tavix_BadArgument);
    XR3PlaneDesc startDesc;
    XR3PlaneOffset offset;
    if (QVStatus status = m_table->lookupMSP(desc, reader, found, startDesc, offset.tokenPosition, offset.dataPosition))
        return status;
    if (!found) return 0;
    return reader.readPlanesFromSubblock(offset, startDesc, components, planes);
}

// -------------------------------------------------------- XR3PlaneStoreClient

XR3PlaneStoreClient::XR3PlaneStoreClient(const XR3PlaneStore& store, const XR3ImageInfo& info)
    : m_store(store), m_info(info), m_components(info.numBands) {
    m_components.setAll();
}

QVStatus XR3PlaneStoreClient::getSubblockData(uint32_t subband, uint32_t subblock, XR3PlaneData* planes,
                                              bool unlock) const {
    if (QVStatus status = getSubblockDataInternal(subband, subblock, planes)) return status;
    return unlock && m_info.locked ? xr3Fail(kStsXR3SecurityDisabled) : 0;
}

// ---------------------------------------------------- XR3FilePlaneStoreClient

XR3FilePlaneStoreClient::XR3FilePlaneStoreClient(const XR3FilePlaneStore& store,
                                                 std::unique_ptr<XR3FilePlaneReader> reader)
    : XR3PlaneStoreClient(store, store.getImageInfo()), m_fileStore(store), m_reader(std::move(reader)) {}

XR3FilePlaneStoreClient::~XR3FilePlaneStoreClient() = default;

bool XR3FilePlaneStoreClient::hasSubblock(uint32_t subband, uint32_t subblock) const {
    return m_fileStore.hasSubblock(subband, subblock);
}

bool XR3FilePlaneStoreClient::hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    return m_fileStore.hasSubblocksInRange(subband, first, last);
}

uint32_t XR3FilePlaneStoreClient::countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const {
    return m_fileStore.countSubblocksInRange(subband, first, last);
}

QVStatus XR3FilePlaneStoreClient::getSubblockDataInternal(uint32_t subband, uint32_t subblock,
                                                          XR3PlaneData* planes) const {
    if (subband >= m_info.numSubbands) return xr3Fail(QVI_STS_Tavix_BadArgument);
    if (QVStatus status = m_reader->openStream()) return status;
    bool found = false;
    // The whole subblock: component and plane keep their invalid values.
    XR3PlaneDesc desc;
    desc.subband = uint8_t(subband);
    desc.subblock = subblock;
    return m_fileStore.getSubblockData(desc, m_components, *m_reader, found, planes);
}

QVStatus XR3FilePlaneStoreClient::openStream() { return m_reader->openStream(); }

QVStatus XR3FilePlaneStoreClient::closeStream() { return m_reader->closeStream(); }

}  // namespace Orvanetics
