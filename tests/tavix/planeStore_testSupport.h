// Helpers shared by the plane store tests: open a fixture file through the
// container and the plane source, and compare planes read with planes written.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tavix_planesetWriter.h"
#include "xr3_container.h"
#include "xr3_headerPacket.h"
#include "xr3_planeSource.h"

namespace PlaneStoreTest {

using namespace Orvanetics;
using namespace TavixFixture;

// Sets an environment variable for the life of the object.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
            m_hadOld = true;
        }
        if (value) setenv(name, value, 1);
        else unsetenv(name);
    }
    ~ScopedEnv() {
        if (m_hadOld) setenv(m_name.c_str(), m_old.c_str(), 1);
        else unsetenv(m_name.c_str());
    }

private:
    std::string m_name;
    std::string m_old;
    bool m_hadOld = false;
};

// A file opened down to its plane source.
struct OpenedImage {
    std::vector<uint8_t> bytes;
    std::unique_ptr<QVIOMemStream> stream;
    std::unique_ptr<XR3FileSimpleContainer> container;
    XR3ImageInfo info;
    std::unique_ptr<XR3FileSimplePlaneSource> source;

    // Container, header and source; the source's initialize status.
    QVStatus open(std::vector<uint8_t> fileBytes, XR3MemoryModel model, uint32_t imageNumber = 0) {
        bytes = std::move(fileBytes);
        stream = openMemStream(bytes);
        container = std::make_unique<XR3FileSimpleContainer>(*stream, true);
        if (QVStatus status = container->initialize()) return status;
        XR3HeaderPacket* header = nullptr;
        if (QVStatus status = container->db_findSinglePacketOf(
                XR3PacketType(XR3_PACKET_HEADER, XR3PacketType::ANY_SUBTYPE, XR3PacketType::ANY_SUBSUBTYPE,
                              imageNumber, 0, 0),
                header))
            return status;
        if (!header) return QVI_STS_Tavix_BadContext;
        info = header->getImageInfo();
        source = std::make_unique<XR3FileSimplePlaneSource>(*container, info, model);
        return source->initialize();
    }

    std::unique_ptr<XR3FilePlaneStoreClient> client() {
        std::unique_ptr<XR3FilePlaneStoreClient> c;
        EXPECT_EQ(0u, source->createFilePlaneStoreClient(c));
        return c;
    }
};

inline std::unique_ptr<XR3PlaneData[]> makePlanes(const XR3ImageInfo& info) {
    return std::make_unique<XR3PlaneData[]>(size_t(info.numBands) * kXR3PlanesPerBand);
}

// Every plane of the subblock as written, for the selected bands; nothing for the others.
inline void expectPlanes(const PlanesetContent& content, const XR3ImageInfo& info, uint32_t subband,
                         uint32_t subblock, const XR3PlaneData* planes, const XR3ComponentSet& selected,
                         bool hasMSE) {
    for (uint16_t band = 0; band < info.numBands; ++band) {
        for (uint8_t p = 0; p < kXR3PlanesPerBand; ++p) {
            const XR3PlaneDesc desc(uint8_t(subband), subblock, band, p);
            const XR3PlaneData& got = planes[band * kXR3PlanesPerBand + p];
            const FixturePlane* want = selected.isSet(band) ? content.find(desc) : nullptr;
            ASSERT_EQ(want != nullptr, got.isPresent()) << desc.tostring();
            if (!want) continue;
            ASSERT_EQ(want->bytes.size(), got.length) << desc.tostring();
            ASSERT_TRUE(std::equal(want->bytes.begin(), want->bytes.end(), got.buffer)) << desc.tostring();
            EXPECT_EQ(want->bypass, got.isBypass()) << desc.tostring();
            EXPECT_EQ(hasMSE, got.hasValidMSE()) << desc.tostring();
            if (hasMSE) {
                EXPECT_EQ(want->mse, got.mse) << desc.tostring();
            }
        }
    }
}

// Every subblock of the image as (subband, subblock).
inline std::vector<std::pair<uint32_t, uint32_t>> allSubblocks(const XR3ImageInfo& info) {
    std::vector<std::pair<uint32_t, uint32_t>> all;
    for (uint32_t s = 0; s < info.numSubbands; ++s) {
        const uint32_t count = uint32_t(info.subbands[s].rows) * info.subbands[s].cols;
        for (uint32_t b = 0; b < count; ++b) all.emplace_back(s, b);
    }
    return all;
}

}  // namespace PlaneStoreTest
