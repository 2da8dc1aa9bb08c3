// Test-only helpers of the wavelet decoder's tests and benchmarks: random
// coefficient pyramids, a plane store client that entropy-codes them on
// demand (so the real subblock decoder runs without a file), and their
// planes for a planeset writer.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <cstdint>
#include <random>
#include <vector>

#include "tavix_planesetWriter.h"
#include "test_sampleGrid.h"
#include "xr3_planeStore.h"
#include "xr3_subblockData.h"

namespace WaveletDecoderTest {

using namespace Orvanetics;

using Plane = TestSupport::SampleGrid;

// Coefficients of every subband and band of an image.
struct Pyramid {
    XR3ImageInfo info;
    std::vector<std::vector<Plane>> bands;  // [subband][band]

    const Plane& band(uint32_t subband, uint32_t b) const { return bands[subband][b]; }
};

struct PyramidShape {
    uint32_t width = 64;
    uint32_t height = 64;
    uint8_t numLevels = 2;
    uint16_t numBands = 1;
    uint16_t subblockSize = 16;
    int32_t magnitude = 3000;   // coefficients in [-magnitude, magnitude]
    double emptyShare = 0.25;   // of subblocks left all zero
};

inline Pyramid makePyramid(const PyramidShape& shape, uint32_t seed) {
    Pyramid p;
    p.info = TavixFixture::makeImageInfo(shape.width, shape.height, shape.numLevels, shape.numBands,
                                         shape.subblockSize);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int32_t> value(-shape.magnitude, shape.magnitude);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    const uint32_t n = shape.subblockSize;
    p.bands.resize(p.info.subbands.size());
    for (size_t s = 0; s < p.info.subbands.size(); ++s) {
        const XR3SubbandDims& dims = p.info.subbands[s];
        std::vector<bool> empty(size_t(dims.rows) * dims.cols);
        for (size_t i = 0; i < empty.size(); ++i) empty[i] = share(rng) < shape.emptyShare;
        for (uint16_t b = 0; b < shape.numBands; ++b) {
            Plane plane(dims.width, dims.height);
            for (int64_t y = 0; y < plane.height; ++y)
                for (int64_t x = 0; x < plane.width; ++x)
                    if (!empty[size_t((y / n) * dims.cols + x / n)]) plane.at(x, y) = value(rng);
            p.bands[s].push_back(std::move(plane));
        }
    }
    return p;
}

// A client that codes coefficients with the real entropy coder when a
// subblock is asked for. Subclasses say what the coefficients are.
// The store is a base listed first, so it is built before the client that
// keeps a reference to it.
struct CoefficientClientStore {
    explicit CoefficientClientStore(const XR3ImageInfo& info) : m_ownStore(info) {}
    XR3PlaneStore m_ownStore;
};

class CoefficientClient : private CoefficientClientStore, public XR3PlaneStoreClient {
public:
    explicit CoefficientClient(const XR3ImageInfo& info)
        : CoefficientClientStore(info), XR3PlaneStoreClient(m_ownStore, info) {}

    virtual int32_t coefficient(uint32_t subband, uint16_t band, uint32_t x, uint32_t y) const = 0;

    bool hasSubblock(uint32_t subband, uint32_t subblock) const override {
        uint32_t row = 0, col = 0, w = 0, h = 0;
        m_info.getSubblockInfo(subband, subblock, row, col, w, h);
        const uint32_t n = m_info.subblockSize;
        for (uint16_t b = 0; b < m_info.numBands; ++b)
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x)
                    if (coefficient(subband, b, col * n + x, row * n + y) != 0) return true;
        return false;
    }
    bool hasSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override {
        for (uint32_t s = first; s <= last; ++s)
            if (hasSubblock(subband, s)) return true;
        return false;
    }
    uint32_t countSubblocksInRange(uint32_t subband, uint32_t first, uint32_t last) const override {
        uint32_t count = 0;
        for (uint32_t s = first; s <= last; ++s) count += hasSubblock(subband, s) ? 1 : 0;
        return count;
    }
    // Coded once per subblock while all bands are selected, then copied.
    QVStatus getSubblockDataInternal(uint32_t subband, uint32_t subblock, XR3PlaneData* planes) const override {
        ++m_reads;
        const bool allBands = m_components.getNumSet() == m_info.numBands;
        const uint64_t key = uint64_t(subband) << 32 | subblock;
        auto cached = allBands ? m_coded.find(key) : m_coded.end();
        if (cached == m_coded.end()) {
            auto data = std::make_unique<XR3SubblockData>();
            if (QVStatus status = codeSubblock(subband, subblock, *data)) return status;
            if (!allBands) return movePlanes(*data, planes);
            cached = m_coded.emplace(key, std::move(data)).first;
        }
        XR3SubblockData copy;
        if (QVStatus status = copy.copy(*cached->second, true)) return status;
        return movePlanes(copy, planes);
    }
    // Subblocks read from the "store".
    uint64_t reads() const { return m_reads; }

private:
    QVStatus movePlanes(XR3SubblockData& data, XR3PlaneData* planes) const {
        for (uint32_t i = 0; i < uint32_t(m_info.numBands) * kXR3PlanesPerBand; ++i)
            planes[i] = std::move(data.getPlanes()[i]);
        return 0;
    }
    QVStatus codeSubblock(uint32_t subband, uint32_t subblock, XR3SubblockData& data) const {
        uint32_t row = 0, col = 0, w = 0, h = 0;
        m_info.getSubblockInfo(subband, subblock, row, col, w, h);
        const uint32_t n = m_info.subblockSize;
        std::vector<std::vector<int32_t>> coefs(m_info.numBands);
        std::vector<const int32_t*> pointers(m_info.numBands, nullptr);
        for (uint16_t b = 0; b < m_info.numBands; ++b) {
            if (!m_components.isSet(b)) continue;
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x) coefs[b].push_back(coefficient(subband, b, col * n + x, row * n + y));
            pointers[b] = coefs[b].data();
        }
        if (QVStatus status = data.initSize(uint8_t(subband), subblock, m_info.numBands, uint16_t(w), uint16_t(h)))
            return status;
        return data.encode(pointers.data(), w, 0, nullptr, 0);
    }

    mutable std::atomic<uint64_t> m_reads{0};
    mutable std::map<uint64_t, std::unique_ptr<XR3SubblockData>> m_coded;
};

// The coefficients of a pyramid.
class PyramidClient : public CoefficientClient {
public:
    explicit PyramidClient(const Pyramid& pyramid) : CoefficientClient(pyramid.info), m_pyramid(pyramid) {}
    int32_t coefficient(uint32_t subband, uint16_t band, uint32_t x, uint32_t y) const override {
        return int32_t(m_pyramid.band(subband, band).at(x, y));
    }

private:
    const Pyramid& m_pyramid;
};

// The size of an image `scale` octaves below full size (negative: above).
inline int64_t sizeAtScale(int64_t size, int32_t scale) {
    if (scale < 0) return size << -scale;
    for (int32_t k = 0; k < scale; ++k) size = (size + 1) >> 1;
    return size;
}

// The planes of every subblock of a pyramid, coded by the library's encoder.
inline TavixFixture::PlanesetContent codePyramid(const Pyramid& pyramid) {
    TavixFixture::PlanesetContent content;
    PyramidClient client(pyramid);
    const XR3ImageInfo& info = pyramid.info;
    auto planes = std::make_unique<XR3PlaneData[]>(size_t(info.numBands) * kXR3PlanesPerBand);
    for (uint32_t s = 0; s < info.numSubbands; ++s)
        for (uint32_t sb = 0; sb < uint32_t(info.subbands[s].rows) * info.subbands[s].cols; ++sb) {
            if (!client.hasSubblock(s, sb)) continue;
            EXPECT_EQ(0u, client.getSubblockDataInternal(s, sb, planes.get()));
            for (uint16_t b = 0; b < info.numBands; ++b)
                for (uint8_t p = 0; p < kXR3PlanesPerBand; ++p) {
                    const XR3PlaneData& plane = planes[b * kXR3PlanesPerBand + p];
                    if (!plane.isPresent()) continue;
                    TavixFixture::FixturePlane fixture;
                    fixture.bytes.assign(plane.buffer, plane.buffer + plane.length);
                    fixture.bypass = plane.isBypass();
                    content.set(XR3PlaneDesc(uint8_t(s), sb, b, p), std::move(fixture));
                }
        }
    return content;
}

}  // namespace WaveletDecoderTest
