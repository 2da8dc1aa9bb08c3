// The sequence of subblocks in a planeset: the pipeline order, in which
// subblocks follow the order in which a line-by-line forward transform
// finishes them, and the plain subband order.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "xr3_imageInfo.h"
#include "xr3_packet.h"
#include "xr3_planeData.h"

namespace Orvanetics {

// Position of a subblock in a sequence of all subblocks, and back.
class Ordering {
public:
    Ordering(uint16_t subblockSize, uint8_t numLevels, uint32_t height, uint32_t width)
        : subblockSize(subblockSize), numLevels(numLevels), height(height), width(width) {}
    virtual ~Ordering() = default;

    virtual uint64_t get_ordering(uint32_t subband, uint32_t row, uint32_t col) const = 0;
    // False for a position at or beyond the number of subblocks.
    virtual bool invert_ordering(uint64_t sequence, uint32_t& subband, uint32_t& row, uint32_t& col) = 0;

protected:
    uint16_t subblockSize;
    uint8_t numLevels;
    uint32_t height;
    uint32_t width;
};

// The pipeline order. get_ordering costs time proportional to the number of
// levels. invert_ordering, stepping forward as the plane walk does, costs O(1)
// within a row of subblocks and O(levels) from one row to the next, through
// the search cache; a random position costs O(levels) per step of an
// interpolated search over the finishing line (a handful of steps; halving on
// every other step bounds them by twice the bit length of the last line).
// Not thread-safe (the cache).
class OrderingPipe : public Ordering {
public:
    using Ordering::Ordering;

    // 2027 for too many levels, 2028 for a zero subblock size or a subband
    // of more than 65535 subblocks across or down.
    QVStatus init_tables();

    uint64_t get_ordering(uint32_t subband, uint32_t row, uint32_t col) const override;
    bool invert_ordering(uint64_t sequence, uint32_t& subband, uint32_t& row, uint32_t& col) override;

    uint64_t getNumSubblocks() const { return m_numSubblocks; }

private:
    struct Band {
        uint32_t shift = 0;        // levels finer than this band's level
        uint32_t position = 0;     // 0 for subband 0, else 1..4 within its level
        uint32_t lowHeight = 0;    // height of the level's low-vertical bands
        uint32_t complete = 0;     // subblock rows that are whole
        uint32_t cols = 0;
        uint32_t rows = 0;
        uint64_t tailStart = 0;    // position of its incomplete row, if any
    };
    // A row group: one subblock row of one subband, and where it begins.
    struct Group {
        uint32_t subband = 0;
        uint32_t row = 0;
        uint64_t start = 0;
        bool valid = false;
    };

    // The line of the finest level at which a forward transform completes
    // the complete row `row` of `subband`.
    uint64_t finishLine(uint32_t subband, uint32_t row) const;
    // Complete rows of `subband` whose finish line t has t + 3 <= bound.
    uint32_t rowsFinishedBy(uint32_t subband, uint64_t bound) const;
    // Complete rows of `other` that come before row `row` of `subband`,
    // whose finish line is `line`.
    uint32_t rowsBefore(uint32_t other, uint32_t subband, uint32_t row, uint64_t line) const;
    // Positions taken by the complete rows whose finish line t has t + 3 <= bound.
    uint64_t positionsFinishedBy(uint64_t bound) const;
    Group findGroup(uint64_t sequence) const;
    Group nextGroup(const Group& group) const;
    bool findTail(uint64_t sequence, uint32_t& subband, uint32_t& col) const;

    std::vector<Band> m_bands;
    uint64_t m_numCompletePositions = 0;
    uint64_t m_numSubblocks = 0;
    uint64_t m_maxBound = 0;
    Group m_cache;
};

// Walks the subblocks of an image in a planeset order. After the last
// subblock all fields hold their invalid values.
class XR3SubblockIter {
public:
    static constexpr uint32_t kInvalidSubblock = 0xFFFFFFFF;
    static constexpr uint16_t kInvalidComponent = 0xFFFF;
    static constexpr uint8_t kInvalidSubband = 0xFF;
    static constexpr uint8_t kInvalidPlane = 0xFF;

    // Null for an order other than 1 and 5.
    static std::unique_ptr<XR3SubblockIter> create(uint32_t order);

    virtual ~XR3SubblockIter() = default;
    virtual QVStatus init(const XR3ImageInfo& info) = 0;
    virtual void begin() = 0;
    virtual XR3SubblockIter& operator+=(uint64_t n) = 0;

    bool isValid() const { return subband != kInvalidSubband; }
    XR3PlaneDesc getDesc() const { return XR3PlaneDesc(subband, subblock, component, plane); }

    uint32_t subblock = kInvalidSubblock;
    uint16_t component = kInvalidComponent;
    uint8_t subband = kInvalidSubband;
    uint8_t plane = kInvalidPlane;

protected:
    void setInvalid();
    void setPlace(const XR3ImageInfo& info, uint32_t subband, uint32_t row, uint32_t col);
};

class PipeSubblockIter : public XR3SubblockIter {
public:
    QVStatus init(const XR3ImageInfo& info) override;
    void begin() override;
    PipeSubblockIter& operator+=(uint64_t n) override;

private:
    void moveTo(uint64_t position);

    const XR3ImageInfo* m_info = nullptr;
    std::unique_ptr<OrderingPipe> m_ordering;
    uint64_t m_position = 0;
};

// Subbands from 0 upward, each subband's subblocks by index.
class SBCPSubblockIter : public XR3SubblockIter {
public:
    QVStatus init(const XR3ImageInfo& info) override;
    void begin() override;
    SBCPSubblockIter& operator+=(uint64_t n) override;

private:
    // Settles on subblock `index` of `band`, or later subbands if it lies beyond.
    void moveTo(uint32_t band, uint64_t index);

    const XR3ImageInfo* m_info = nullptr;
};

// Walks every plane of an image in the order of its planeset: in each
// subblock the bands from 0 upward, in each band the planes 0 to 31.
class XR3PlaneDescIter {
public:
    // False for an order other than 1 and 5, or an image whose subblocks
    // cannot be ordered.
    bool init(const XR3ImageInfo& info, uint32_t order);
    // The first plane of the first subblock.
    void begin();
    XR3PlaneDescIter& operator++() { return *this += 1; }
    // Moves on by n planes; past the last plane the desc is invalid.
    XR3PlaneDescIter& operator+=(uint64_t n);

    bool isValid() const { return m_subblocks && m_subblocks->isValid(); }
    const XR3PlaneDesc& getDesc() const { return m_desc; }
    const XR3PlaneDesc& operator*() const { return m_desc; }

private:
    void settle(uint16_t component, uint8_t plane);

    std::unique_ptr<XR3SubblockIter> m_subblocks;
    uint16_t m_numBands = 0;
    XR3PlaneDesc m_desc;
};

}  // namespace Orvanetics
