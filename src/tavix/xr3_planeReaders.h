// Readers of the plane bytes of a planeset, one per layout.
//
// Every layout shares the length token. Its first byte: bit 7 set for a
// plane with data (the value is its payload length), clear for a run of
// empty planes (the value is the number of planes); bit 6 bypass; bit 5
// another byte follows; bits 4-0 value bits 4-0. Narrow tokens (planeset
// minor 0) add value bits 11-5 and 18-12 in the low seven bits of bytes 2
// and 3 (bit 7 continues), and bits 26-19 in all of byte 4. Wide tokens
// (minor 1) add seven bits a byte, at bits 5, 12, ..., 47, in up to seven
// more bytes. A plane's payload is its extras (2 bytes mse, then a lock
// value of lockValueWidth bytes) and then its bytes.
//
// Tokens follow the planeset order: subblocks in the order of the planeset,
// in a subblock the bands from 0 up, in a band planes 0 to 31. A run may
// cross bands and subblocks.
//
// Layouts, from dataStart (behind the 10-byte planeset prefix):
//  0 interleaved: each data token is followed by its payload.
//  2 data first: an offset word (8 bytes with wide tokens, relative to the
//    planeset payload; else 4 bytes, relative to the packet header as
//    computeHeaderLength counts it), all payloads in token order, then all
//    tokens.
//  3 raster block: an 8-byte block count, then data-first units, each
//    unit's offset word right behind the tokens of the one before (those of
//    the last unit end with the planes). A unit holds whole subblocks: a
//    subblock's tokens never straddle two units. Its tokens end at a
//    subblock boundary with all of its payload bytes accounted for: right
//    there, when the bytes behind begin an offset word, or behind the runs
//    over empty subblocks that follow instead.
//
// A reader belongs to one thread. Reads go through stream buffers where it
// pays: buffer 0 holds tokens (at open a 256 KiB one), buffer subband + 1
// the payloads of one subband when XR3_USE_STREAM_BUFFERS is set. A buffer
// index without a buffer reads the stream directly.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qv_ioStreamInf.h"
#include "xr3_imageInfo.h"
#include "xr3_mspTable.h"
#include "xr3_packet.h"
#include "xr3_planeData.h"

namespace Orvanetics {

class XR3ComponentSet;
class XR3FilePlaneStore;
class XR3PlaneDescIter;

// Told of every plane with data met by a walk over the plane lengths.
class XR3PlaneLengthVisitor {
public:
    virtual ~XR3PlaneLengthVisitor() = default;
    // length is the token's value: the plane's bytes without its extras.
    virtual QVStatus visitPlane(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset,
                                uint64_t length, bool bypass) = 0;
};

class XR3PlaneReader {
public:
    // The planeset packet stays owned by its container, which outlives the reader.
    XR3PlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset, bool hasMSE,
                   uint8_t lockValueWidth);
    virtual ~XR3PlaneReader() = default;
    XR3PlaneReader(const XR3PlaneReader&) = delete;
    XR3PlaneReader& operator=(const XR3PlaneReader&) = delete;

    const XR3ImageInfo& getImageInfo() const { return m_info; }
    const XR3PlanesetPacket& getPlaneset() const { return m_planeset; }
    // Bytes in front of each plane's bytes.
    uint32_t getExtrasLength() const { return (m_hasMSE ? 2u : 0u) + m_lockValueWidth; }

protected:
    const XR3ImageInfo& m_info;
    const XR3PlanesetPacket& m_planeset;
    bool m_hasMSE;
    uint8_t m_lockValueWidth;
};

class XR3FilePlaneReader : public XR3PlaneReader {
public:
    static constexpr uint32_t kDefaultBufferSize = 4096;
    static constexpr uint32_t kOpenBufferSize = 0x40000;
    // The most bytes a token takes, and what a buffer keeps ready for one.
    static constexpr uint32_t kMaxTokenBytes = 8;
    static constexpr uint32_t kTokenReserve = 10;

    // The reader of the planeset's layout; null for another layout.
    // useStreamBuffers gives the payloads of each subband a buffer of their own.
    static std::unique_ptr<XR3FilePlaneReader> create(const XR3ImageInfo& info,
                                                      const XR3PlanesetPacket& planeset,
                                                      QVIOStreamInf* stream, bool ownsStream,
                                                      bool hasMSE, uint8_t lockValueWidth,
                                                      bool streamAlwaysOpen, bool useStreamBuffers);
    ~XR3FilePlaneReader() override;

    // Walks every token of the planeset from dataStart, and adds the first
    // plane with data of each subblock to the store. 2001 when the planes
    // counted are not exactly those of the image.
    QVStatus readAllPlaneLengths(XR3FilePlaneStore& store, int64_t dataStart);
    // The same walk, telling the visitor of every plane with data.
    virtual QVStatus walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) = 0;
    // Reads the planes of one subblock from its first plane with data
    // (startDesc, at offset) into planes (numBands * 32 entries, cleared by
    // the caller). Bands outside components are skipped without being read.
    virtual QVStatus readPlanesFromSubblock(const XR3PlaneOffset& offset, const XR3PlaneDesc& startDesc,
                                            const XR3ComponentSet& components, XR3PlaneData* planes) = 0;
    // From the first plane with data of a subblock (desc, at the two
    // positions), reads tokens along the subblock row up to the first plane
    // with data of subblock target of the same row. Reads no payload.
    virtual QVStatus advanceToSubblock(const XR3PlaneDesc& desc, int64_t tokenPosition,
                                       int64_t dataPosition, uint32_t target, XR3PlaneDesc& outDesc,
                                       int64_t& outTokenPosition, int64_t& outDataPosition) = 0;

    // Opens the stream unless it is open; closes it unless it is to stay open.
    QVStatus openStream();
    QVStatus closeStream();
    QVIOStreamInf* getStream() const { return m_stream; }
    bool hasWideLengths() const { return m_wideLengths; }

    // One token. A clean end of the stream before it gives an empty token
    // (tokenBytes 0, value 0); a failing stream its last error; a token cut
    // short 2001; a continuation bit in the eighth byte of a wide token 2010.
    QVStatus readPlaneLength(uint32_t buffer, bool& hasData, bool& bypass, uint64_t& value,
                             uint32_t& tokenBytes);
    // The extras and the length bytes of one plane into data, marked present
    // (and bypass if asked). 2001 short read, 2012 out of memory, 2014 a
    // lock value of 3 bytes read without a buffer.
    QVStatus readPlaneData(uint32_t buffer, XR3PlaneData& data, uint64_t length, bool bypass);
    // Passes over the extras and length bytes of one plane without reading them.
    QVStatus skipPlaneData(uint32_t buffer, uint64_t length);
    // The next read of buffer comes from position.
    QVStatus seekStreamBuffer(uint32_t buffer, int64_t position);
    QVStatus setStreamBufferSize(uint32_t buffer, uint32_t size);
    // Drops what the buffer holds; its next read fills it from its position.
    void flushStreamBuffer(uint32_t buffer);
    uint32_t getNumStreamBuffers() const { return uint32_t(m_buffers.size()); }

    const XR3PartialMSPTableCache& getMSPTableCache() const { return m_cache; }
    void setMSPTableCache(const XR3PartialMSPTableCache& cache) { m_cache = cache; }

protected:
    XR3FilePlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset,
                       QVIOStreamInf* stream, bool ownsStream, bool hasMSE, uint8_t lockValueWidth,
                       bool streamAlwaysOpen, uint32_t numBuffers);

    uint32_t planesPerSubblock() const { return uint32_t(m_info.numBands) * kXR3PlanesPerBand; }
    // The common end of a walk: 2001 unless exactly the image's planes were counted.
    QVStatus checkPlaneCount(uint64_t counted) const;
    // Reads count bytes exactly, from a buffer or the stream; 2001 if short.
    QVStatus readBytes(uint32_t buffer, uint8_t* bytes, uint64_t count);
    // Moves the stream itself, for reads that bypass every buffer.
    QVStatus seekDirect(int64_t position);
    // Bytes of the stream (known once the stream was opened); -1 unknown.
    int64_t getStreamLength() const { return m_streamLength; }

private:
    struct StreamBuffer {
        std::vector<uint8_t> bytes;
        uint32_t size = kDefaultBufferSize;
        uint32_t readIndex = 0;
        uint32_t endIndex = 0;
        int64_t endPosition = 0;  // file position of bytes[endIndex]
    };

    bool isBuffered(uint32_t buffer) const { return buffer < m_buffers.size(); }
    // Tops buffer up to hold at least count bytes, if the stream has them.
    QVStatus fillStreamBuffer(StreamBuffer& buffer, uint32_t count);
    QVStatus readPlaneLengthDirect(bool& hasData, bool& bypass, uint64_t& value, uint32_t& tokenBytes);
    QVStatus readPlaneLengthBuffered(StreamBuffer& buffer, bool& hasData, bool& bypass,
                                     uint64_t& value, uint32_t& tokenBytes);
    QVStatus readLockValue(uint32_t buffer, uint32_t& value);

    QVIOStreamInf* m_stream;
    bool m_ownsStream;
    bool m_streamAlwaysOpen;
    bool m_wideLengths;
    int64_t m_streamLength = -1;
    XR3PartialMSPTableCache m_cache;
    std::vector<StreamBuffer> m_buffers;
    // The buffer whose fill last moved the stream; -1 after a direct access.
    int64_t m_streamUser = -1;
};

// Layout 0: each data token is followed by its payload.
class XR3InterleavedPlaneReader : public XR3FilePlaneReader {
public:
    XR3InterleavedPlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset,
                              QVIOStreamInf* stream, bool ownsStream, bool hasMSE,
                              uint8_t lockValueWidth, bool streamAlwaysOpen, bool useStreamBuffers);

    QVStatus walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) override;
    QVStatus readPlanesFromSubblock(const XR3PlaneOffset& offset, const XR3PlaneDesc& startDesc,
                                    const XR3ComponentSet& components, XR3PlaneData* planes) override;
    // The partial table is never used with this layout: 2015.
    QVStatus advanceToSubblock(const XR3PlaneDesc& desc, int64_t tokenPosition, int64_t dataPosition,
                               uint32_t target, XR3PlaneDesc& outDesc, int64_t& outTokenPosition,
                               int64_t& outDataPosition) override;
};

// Layout 2: an offset word, the payloads, then the tokens.
class XR3DataFirstPlaneReader : public XR3FilePlaneReader {
public:
    XR3DataFirstPlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset,
                            QVIOStreamInf* stream, bool ownsStream, bool hasMSE,
                            uint8_t lockValueWidth, bool streamAlwaysOpen, bool useStreamBuffers);

    QVStatus walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) override;
    QVStatus readPlanesFromSubblock(const XR3PlaneOffset& offset, const XR3PlaneDesc& startDesc,
                                    const XR3ComponentSet& components, XR3PlaneData* planes) override;
    QVStatus advanceToSubblock(const XR3PlaneDesc& desc, int64_t tokenPosition, int64_t dataPosition,
                               uint32_t target, XR3PlaneDesc& outDesc, int64_t& outTokenPosition,
                               int64_t& outDataPosition) override;

protected:
    // Where one data-first unit lies.
    struct Unit {
        int64_t dataStart = 0;  // of the planeset, which offset words count from
        int64_t payloadStart = 0;
        int64_t tokenStart = 0;
    };
    // Reads the offset word at position (straight from the stream, so that
    // no payload byte is read) and checks the unit against the stream.
    QVStatus readUnit(int64_t position, int64_t dataStart, Unit& unit);
    // The unit of an offset word read at position; false when it would lie
    // outside the stream.
    bool placeUnit(int64_t position, int64_t dataStart, const uint8_t* wordBytes, Unit& unit) const;
    uint32_t getWordBytes() const { return hasWideLengths() ? 8 : 4; }
    // Walks the tokens of one unit from its token start; with closeAtBoundary
    // the unit ends as told for raster blocks, else when the planes end.
    // tokenEnd receives the position behind its last token.
    QVStatus walkUnit(const Unit& unit, XR3PlaneDescIter& planes, uint64_t& counted,
                      bool closeAtBoundary, XR3PlaneLengthVisitor& visitor, int64_t& tokenEnd);
    // Whether the next unit begins at position, a subblock boundary behind
    // all of the unit's payloads (the reader stays at position).
    QVStatus unitEndsAt(const Unit& unit, int64_t position, bool& ends);

private:
    // The tokens of one subblock, from its first plane with data on.
    struct SubblockTokens {
        std::vector<uint64_t> length;
        std::vector<uint8_t> hasData;
        std::vector<uint8_t> bypass;
    };
    QVStatus readSubblockTokens(int64_t tokenPosition, uint32_t first, uint32_t limit);
    QVStatus readSubblockPayloads(uint32_t buffer, int64_t dataPosition, uint32_t first, uint32_t limit,
                                  const XR3ComponentSet& components, XR3PlaneData* planes);

    SubblockTokens m_tokens;
};

// Layout 3: a block count, then data-first units one after the other.
class XR3RasterBlockPlaneReader : public XR3DataFirstPlaneReader {
public:
    using XR3DataFirstPlaneReader::XR3DataFirstPlaneReader;

    QVStatus walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) override;
};

}  // namespace Orvanetics
