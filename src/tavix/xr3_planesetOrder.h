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

// The pipeline order. A complete row of subblocks is finished at a line of
// the finest level; cutting those lines into intervals of one subblock
// height, the rows of a level at m levels from the finest fall every 2^m
// intervals, so the rows finished by an interval are a closed formula per
// subband. get_ordering costs time proportional to the number of levels;
// invert_ordering at a random position too: a piecewise-linear model of that
// formula places the interval within a few intervals of the right one (the
// error is at most one row of each subband), a handful of exact counts settle
// it, and one pass over the subbands finds the row. Stepping forward, as the
// plane walk does, is O(1) within a row of subblocks and O(levels) from one
// row to the next, through the cache of the last row found.
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
        uint32_t complete = 0;     // subblock rows that are whole
        uint32_t rows = 0;
        uint32_t cols = 0;
        uint64_t tailStart = 0;    // position of its incomplete row, if any
    };
    // Complete rows of one subband finishing at a regular pace: row r ends in
    // interval ((r + 1) << shift) + lag, at line `offset` of it.
    struct Run {
        uint32_t subband = 0;
        uint32_t shift = 0;
        uint32_t firstRow = 0;
        uint32_t numRows = 0;
        uint32_t cols = 0;
        int64_t lag = 0;
        uint32_t offset = 0;
    };
    // A piece of the linear model of positionsThrough: from `interval` on,
    // `positions` grows by `slope` per interval; the rows of `activeCols`
    // columns are still being finished.
    struct Knot {
        int64_t interval = 0;
        long double positions = 0;
        long double slope = 0;
        uint64_t activeCols = 0;
    };
    // A row group: one subblock row of one run, and where it begins.
    struct Group {
        int64_t interval = 0;
        uint32_t run = 0;
        uint32_t row = 0;
        uint64_t start = 0;
        bool valid = false;
    };

    void addRuns(uint32_t subband, const XR3SubbandDims& dims, uint32_t lowHeight);
    void addRun(uint32_t subband, uint32_t firstRow, uint32_t numRows, uint32_t cols, bool lineLater);
    void buildModel();
    // The row of `run` that ends in `interval`, if any.
    bool rowInInterval(const Run& run, int64_t interval, uint32_t& row) const;
    // Positions taken by the complete rows that end in intervals up to `interval`.
    uint64_t positionsThrough(int64_t interval) const;
    // The first interval whose rows reach beyond `sequence`.
    int64_t intervalHolding(uint64_t sequence) const;
    int64_t estimateInterval(uint64_t sequence) const;
    // The group holding `sequence` among the rows of `interval`, from run
    // `firstRun` on, the first of which begins at `start`.
    Group groupInInterval(int64_t interval, uint32_t firstRun, uint64_t start, uint64_t sequence) const;
    Group nextGroup(const Group& group, uint64_t sequence) const;
    bool findTail(uint64_t sequence, uint32_t& subband, uint32_t& col) const;

    std::vector<Band> m_bands;
    std::vector<Run> m_runs;      // by line within the interval, then subband
    std::vector<Knot> m_knots;    // by interval
    int64_t m_lastInterval = 0;
    uint64_t m_numCompletePositions = 0;
    uint64_t m_numSubblocks = 0;
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
