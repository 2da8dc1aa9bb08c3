#include "xr3_planeReaders.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "qv_ioStreamUtils.h"
#include "xr3_planeStore.h"
#include "xr3_planesetOrder.h"

namespace Orvanetics {

namespace {

// A buffer index that never has a buffer: the stream is read directly.
constexpr uint32_t kDirect = std::numeric_limits<uint32_t>::max();

constexpr uint8_t kTokenData = 0x80;
constexpr uint8_t kTokenBypass = 0x40;
constexpr uint8_t kTokenMore = 0x20;
constexpr uint8_t kTokenLowBits = 0x1F;
constexpr uint8_t kTokenContinue = 0x80;
constexpr uint32_t kNarrowTokenBytes = 4;

// The value bits behind a token's first byte. next(byte) gives the next
// byte of the token, false when there is none.
template <class NextByte>
QVStatus decodeTokenValue(uint8_t first, bool wide, NextByte&& next, uint64_t& value,
                          uint32_t& tokenBytes) {
    value = first & kTokenLowBits;
    tokenBytes = 1;
    bool more = (first & kTokenMore) != 0;
    unsigned shift = 5;
    while (more) {
        uint8_t byte = 0;
        if (!next(byte)) return xr3Fail(QVI_STS_Tavix_ReadError);
        ++tokenBytes;
        if (!wide && tokenBytes == kNarrowTokenBytes) {
            // The last narrow byte carries eight value bits and no continuation.
            value |= uint64_t(byte) << shift;
            return 0;
        }
        value |= uint64_t(byte & 0x7F) << shift;
        shift += 7;
        more = (byte & kTokenContinue) != 0;
        if (more && tokenBytes == XR3FilePlaneReader::kMaxTokenBytes) return xr3Fail(QVI_STS_Tavix_BadContext);
    }
    return 0;
}

// Adds n to a plane count without wrapping.
uint64_t addPlanes(uint64_t count, uint64_t n) {
    return n > std::numeric_limits<uint64_t>::max() - count ? std::numeric_limits<uint64_t>::max() : count + n;
}

bool atSubblockStart(const XR3PlaneDescIter& planes) {
    return planes.isValid() && planes.getDesc().component == 0 && planes.getDesc().plane == 0;
}

// Tells the store of every plane with data.
class StoreFiller : public XR3PlaneLengthVisitor {
public:
    explicit StoreFiller(XR3FilePlaneStore& store) : m_store(store) {}
    QVStatus visitPlane(const XR3PlaneDesc& desc, const XR3PlaneOffset& offset, uint64_t, bool) override {
        return m_store.addData(desc, offset);
    }

private:
    XR3FilePlaneStore& m_store;
};

QVStatus initPlaneIter(XR3PlaneDescIter& planes, const XR3ImageInfo& info, const XR3PlanesetPacket& planeset) {
    if (!planes.init(info, planeset.getOrder())) return xr3Fail(QVI_STS_Tavix_FormatError);
    planes.begin();
    return 0;
}

}  // namespace

// ------------------------------------------------------------- XR3PlaneReader

XR3PlaneReader::XR3PlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset, bool hasMSE,
                               uint8_t lockValueWidth)
    : m_info(info), m_planeset(planeset), m_hasMSE(hasMSE), m_lockValueWidth(lockValueWidth) {}

// --------------------------------------------------------- XR3FilePlaneReader

std::unique_ptr<XR3FilePlaneReader> XR3FilePlaneReader::create(const XR3ImageInfo& info,
                                                               const XR3PlanesetPacket& planeset,
                                                               QVIOStreamInf* stream, bool ownsStream,
                                                               bool hasMSE, uint8_t lockValueWidth,
                                                               bool streamAlwaysOpen, bool useStreamBuffers) {
    try {
        switch (planeset.getLayout()) {
        case XR3_PLANESET_LAYOUT_INTERLEAVED:
            return std::make_unique<XR3InterleavedPlaneReader>(info, planeset, stream, ownsStream, hasMSE,
                                                               lockValueWidth, streamAlwaysOpen, useStreamBuffers);
        case XR3_PLANESET_LAYOUT_DATA_FIRST:
            return std::make_unique<XR3DataFirstPlaneReader>(info, planeset, stream, ownsStream, hasMSE,
                                                             lockValueWidth, streamAlwaysOpen, useStreamBuffers);
        case XR3_PLANESET_LAYOUT_RASTER_BLOCK:
            return std::make_unique<XR3RasterBlockPlaneReader>(info, planeset, stream, ownsStream, hasMSE,
                                                               lockValueWidth, streamAlwaysOpen, useStreamBuffers);
        default:
            return nullptr;
        }
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

XR3FilePlaneReader::XR3FilePlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset,
                                       QVIOStreamInf* stream, bool ownsStream, bool hasMSE,
                                       uint8_t lockValueWidth, bool streamAlwaysOpen, uint32_t numBuffers)
    : XR3PlaneReader(info, planeset, hasMSE, lockValueWidth),
      m_stream(stream),
      m_ownsStream(ownsStream),
      m_streamAlwaysOpen(streamAlwaysOpen),
      m_wideLengths(planeset.hasWideLengths()),
      m_buffers(numBuffers) {}

XR3FilePlaneReader::~XR3FilePlaneReader() {
    if (m_ownsStream) QVIOStreamUtils::closeStream(m_stream);
}

QVStatus XR3FilePlaneReader::openStream() {
    if (!m_stream) return xr3Fail(QVI_STS_Tavix_IOError);
    if (!m_stream->isOpen()) {
        if (QVStatus status = m_stream->open()) return status;
        m_streamUser = -1;
    }
    if (m_streamLength < 0) m_streamLength = QVIOStreamUtils::getEndPos(m_stream);
    return 0;
}

QVStatus XR3FilePlaneReader::closeStream() {
    if (!m_stream || m_streamAlwaysOpen || !m_stream->isOpen()) return 0;
    m_streamUser = -1;
    return m_stream->close();
}

QVStatus XR3FilePlaneReader::readAllPlaneLengths(XR3FilePlaneStore& store, int64_t dataStart) {
    StoreFiller filler(store);
    return walkPlaneLengths(filler, dataStart);
}

QVStatus XR3FilePlaneReader::checkPlaneCount(uint64_t counted) const {
    const uint64_t expected = uint64_t(m_info.numBands) * m_info.numSubblocks * kXR3PlanesPerBand;
    return counted == expected ? 0 : xr3Fail(QVI_STS_Tavix_ReadError);
}

// ---------------------------------------------------------- stream access

QVStatus XR3FilePlaneReader::seekDirect(int64_t position) {
    m_streamUser = -1;
    if (position < 0) return xr3Fail(QVI_STS_Tavix_ReadError);
    return m_stream->seek(position, QVIO_SEEK_BEGIN) ? xr3Fail(QVI_STS_Tavix_IOError) : 0;
}

QVStatus XR3FilePlaneReader::seekStreamBuffer(uint32_t buffer, int64_t position) {
    if (!isBuffered(buffer)) return seekDirect(position);
    if (position < 0) return xr3Fail(QVI_STS_Tavix_ReadError);
    StreamBuffer& b = m_buffers[buffer];
    const int64_t start = b.endPosition - b.endIndex;
    if (position >= start && position <= b.endPosition) {
        b.readIndex = uint32_t(position - start);
        return 0;
    }
    // Outside the buffered bytes: the next read seeks and fills.
    b.readIndex = b.endIndex = 0;
    b.endPosition = position;
    if (m_streamUser == int64_t(buffer)) m_streamUser = -1;
    return 0;
}

QVStatus XR3FilePlaneReader::setStreamBufferSize(uint32_t buffer, uint32_t size) {
    if (!isBuffered(buffer) || size < kTokenReserve) return xr3Fail(QVI_STS_Tavix_BadArgument);
    flushStreamBuffer(buffer);
    StreamBuffer& b = m_buffers[buffer];
    b.size = size;
    std::vector<uint8_t>().swap(b.bytes);  // allocated again by the next fill
    return 0;
}

void XR3FilePlaneReader::flushStreamBuffer(uint32_t buffer) {
    if (!isBuffered(buffer)) return;
    StreamBuffer& b = m_buffers[buffer];
    b.endPosition -= b.endIndex - b.readIndex;
    b.readIndex = b.endIndex = 0;
    if (m_streamUser == int64_t(buffer)) m_streamUser = -1;
}

QVStatus XR3FilePlaneReader::fillStreamBuffer(StreamBuffer& b, uint32_t count) {
    if (b.endIndex - b.readIndex >= count) return 0;
    if (b.bytes.size() != b.size) {
        try {
            std::vector<uint8_t> bytes(b.size);
            const uint32_t rest = b.endIndex - b.readIndex;
            if (rest) std::memcpy(bytes.data(), b.bytes.data() + b.readIndex, rest);
            b.bytes.swap(bytes);
            b.readIndex = 0;
            b.endIndex = rest;
        } catch (const std::bad_alloc&) {
            return xr3Fail(QVI_STS_Tavix_OutOfMemory);
        }
    }
    const uint32_t rest = b.endIndex - b.readIndex;
    if (rest && b.readIndex) std::memmove(b.bytes.data(), b.bytes.data() + b.readIndex, rest);
    b.readIndex = 0;
    b.endIndex = rest;
    const int64_t self = &b - m_buffers.data();
    if (m_streamUser != self) {
        if (m_stream->seek(b.endPosition, QVIO_SEEK_BEGIN)) return xr3Fail(QVI_STS_Tavix_IOError);
        m_streamUser = self;
    }
    const uint32_t got = m_stream->read(b.bytes.data() + b.endIndex, b.size - b.endIndex);
    b.endIndex += got;
    b.endPosition += got;
    return 0;
}

QVStatus XR3FilePlaneReader::readBytes(uint32_t buffer, uint8_t* bytes, uint64_t count) {
    if (!isBuffered(buffer)) {
        m_streamUser = -1;
        QVIOStreamReader<true> reader(*m_stream);
        return reader.readBytes(bytes, count);
    }
    StreamBuffer& b = m_buffers[buffer];
    while (count > 0) {
        const uint32_t available = b.endIndex - b.readIndex;
        if (available == 0 && count >= b.size) {
            // A long read goes past the buffer straight into the caller's memory.
            if (m_streamUser != int64_t(buffer) && m_stream->seek(b.endPosition, QVIO_SEEK_BEGIN))
                return xr3Fail(QVI_STS_Tavix_IOError);
            m_streamUser = buffer;
            QVIOStreamReader<true> reader(*m_stream);
            const QVStatus status = reader.readBytes(bytes, count);
            if (status) m_streamUser = -1;
            else b.endPosition += int64_t(count);
            return status;
        }
        if (available == 0) {
            if (QVStatus status = fillStreamBuffer(b, 1)) return status;
            if (b.endIndex == b.readIndex) return xr3Fail(QVI_STS_Tavix_ReadError);
            continue;
        }
        const uint32_t take = uint32_t(std::min<uint64_t>(available, count));
        std::memcpy(bytes, b.bytes.data() + b.readIndex, take);
        b.readIndex += take;
        bytes += take;
        count -= take;
    }
    return 0;
}

// ------------------------------------------------------------------ tokens

QVStatus XR3FilePlaneReader::readPlaneLength(uint32_t buffer, bool& hasData, bool& bypass, uint64_t& value,
                                             uint32_t& tokenBytes) {
    hasData = bypass = false;
    value = 0;
    tokenBytes = 0;
    if (isBuffered(buffer)) return readPlaneLengthBuffered(m_buffers[buffer], hasData, bypass, value, tokenBytes);
    return readPlaneLengthDirect(hasData, bypass, value, tokenBytes);
}

QVStatus XR3FilePlaneReader::readPlaneLengthDirect(bool& hasData, bool& bypass, uint64_t& value,
                                                   uint32_t& tokenBytes) {
    m_streamUser = -1;
    uint8_t first = 0;
    if (m_stream->read(&first, 1) != 1) return m_stream->getLastError();
    hasData = (first & kTokenData) != 0;
    bypass = (first & kTokenBypass) != 0;
    return decodeTokenValue(
        first, m_wideLengths, [this](uint8_t& byte) { return m_stream->read(&byte, 1) == 1; }, value,
        tokenBytes);
}

QVStatus XR3FilePlaneReader::readPlaneLengthBuffered(StreamBuffer& b, bool& hasData, bool& bypass,
                                                     uint64_t& value, uint32_t& tokenBytes) {
    if (QVStatus status = fillStreamBuffer(b, kTokenReserve)) return status;
    const uint32_t available = b.endIndex - b.readIndex;
    if (available == 0) return m_stream->getLastError();
    const uint8_t* bytes = b.bytes.data() + b.readIndex;
    uint32_t used = 1;
    hasData = (bytes[0] & kTokenData) != 0;
    bypass = (bytes[0] & kTokenBypass) != 0;
    const QVStatus status = decodeTokenValue(
        bytes[0], m_wideLengths,
        [&](uint8_t& byte) {
            if (used >= available) return false;
            byte = bytes[used++];
            return true;
        },
        value, tokenBytes);
    b.readIndex += used;
    return status;
}

// ------------------------------------------------------------------ payloads

QVStatus XR3FilePlaneReader::readLockValue(uint32_t buffer, uint32_t& value) {
    // Files carry widths 1, 2 and 4; the direct path reads only those.
    if (m_lockValueWidth > 4 || (!isBuffered(buffer) && m_lockValueWidth == 3))
        return xr3Fail(QVI_STS_Tavix_NotReached);
    uint8_t bytes[4];
    if (QVStatus status = readBytes(buffer, bytes, m_lockValueWidth)) return status;
    value = 0;
    for (uint32_t i = 0; i < m_lockValueWidth; ++i) value = value << 8 | bytes[i];
    return 0;
}

QVStatus XR3FilePlaneReader::readPlaneData(uint32_t buffer, XR3PlaneData& data, uint64_t length, bool bypass) {
    if (m_hasMSE) {
        uint8_t mse[2];
        if (QVStatus status = readBytes(buffer, mse, sizeof(mse))) return status;
        data.mse = uint16_t(mse[0] << 8 | mse[1]);
        data.flags |= kXR3PlaneMSEValid;
    }
    if (m_lockValueWidth) {
        if (QVStatus status = readLockValue(buffer, data.lockValue)) return status;
    }
    // A length the stream can't hold is a damaged token, not a reason to allocate.
    if (length > std::numeric_limits<uint32_t>::max() || (m_streamLength >= 0 && int64_t(length) > m_streamLength))
        return xr3Fail(QVI_STS_Tavix_ReadError);
    if (QVStatus status = data.allocate(uint32_t(length))) return xr3Fail(status);
    if (QVStatus status = readBytes(buffer, data.buffer, length)) return status;
    data.markPresent(bypass);
    return 0;
}

QVStatus XR3FilePlaneReader::skipPlaneData(uint32_t buffer, uint64_t length) {
    const uint64_t total = length + getExtrasLength();
    if (!isBuffered(buffer)) {
        m_streamUser = -1;
        if (total > uint64_t(std::numeric_limits<int64_t>::max())) return xr3Fail(QVI_STS_Tavix_ReadError);
        return m_stream->seek(int64_t(total), QVIO_SEEK_CURRENT) ? xr3Fail(QVI_STS_Tavix_IOError) : 0;
    }
    StreamBuffer& b = m_buffers[buffer];
    if (total <= b.endIndex - b.readIndex) {
        b.readIndex += uint32_t(total);
        return 0;
    }
    const int64_t position = b.endPosition - (b.endIndex - b.readIndex);
    if (total > uint64_t(std::numeric_limits<int64_t>::max() - position)) return xr3Fail(QVI_STS_Tavix_ReadError);
    return seekStreamBuffer(buffer, position + int64_t(total));
}

// -------------------------------------------------- XR3InterleavedPlaneReader

XR3InterleavedPlaneReader::XR3InterleavedPlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset,
                                                     QVIOStreamInf* stream, bool ownsStream, bool hasMSE,
                                                     uint8_t lockValueWidth, bool streamAlwaysOpen,
                                                     bool useStreamBuffers)
    : XR3FilePlaneReader(info, planeset, stream, ownsStream, hasMSE, lockValueWidth, streamAlwaysOpen,
                         useStreamBuffers ? info.numSubbands : 0) {}

QVStatus XR3InterleavedPlaneReader::walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) {
    XR3PlaneDescIter planes;
    if (QVStatus status = initPlaneIter(planes, m_info, m_planeset)) return status;
    if (QVStatus status = seekStreamBuffer(0, dataStart)) return status;
    const uint32_t extras = getExtrasLength();
    int64_t position = dataStart;
    uint64_t counted = 0;
    while (planes.isValid()) {
        bool hasData = false, bypass = false;
        uint64_t value = 0;
        uint32_t tokenBytes = 0;
        if (QVStatus status = readPlaneLength(0, hasData, bypass, value, tokenBytes)) return status;
        if (hasData) {
            if (QVStatus status = visitor.visitPlane(*planes, {position, position + tokenBytes}, value, bypass))
                return status;
            if (QVStatus status = skipPlaneData(0, value)) return status;
            position += tokenBytes + extras + int64_t(value);
            ++planes;
            ++counted;
        } else {
            if (value == 0) return xr3Fail(QVI_STS_Tavix_ReadError);
            planes += value;
            counted = addPlanes(counted, value);
            position += tokenBytes;
        }
    }
    if (QVStatus status = checkPlaneCount(counted)) return status;
    // The last payload must be whole.
    return getStreamLength() >= 0 && position > getStreamLength() ? xr3Fail(QVI_STS_Tavix_ReadError) : 0;
}

QVStatus XR3InterleavedPlaneReader::readPlanesFromSubblock(const XR3PlaneOffset& offset,
                                                           const XR3PlaneDesc& startDesc,
                                                           const XR3ComponentSet& components,
                                                           XR3PlaneData* planes) {
    const uint32_t buffer = startDesc.subband < getNumStreamBuffers() ? startDesc.subband : kDirect;
    const uint64_t limit = std::min<uint64_t>(planesPerSubblock(), uint64_t(components.getEnd()) * kXR3PlanesPerBand);
    uint64_t index = uint64_t(startDesc.component) * kXR3PlanesPerBand + startDesc.plane;
    if (index >= limit) return 0;
    if (QVStatus status = seekStreamBuffer(buffer, offset.tokenPosition)) return status;
    while (index < limit) {
        bool hasData = false, bypass = false;
        uint64_t value = 0;
        uint32_t tokenBytes = 0;
        if (QVStatus status = readPlaneLength(buffer, hasData, bypass, value, tokenBytes)) return status;
        if (!hasData) {
            if (value == 0) return xr3Fail(QVI_STS_Tavix_ReadError);
            index = addPlanes(index, value);
            continue;
        }
        const QVStatus status = components.isSet(uint32_t(index / kXR3PlanesPerBand))
                                    ? readPlaneData(buffer, planes[index], value, bypass)
                                    : skipPlaneData(buffer, value);
        if (status) return status;
        ++index;
    }
    return 0;
}

QVStatus XR3InterleavedPlaneReader::advanceToSubblock(const XR3PlaneDesc&, int64_t, int64_t, uint32_t,
                                                      XR3PlaneDesc&, int64_t&, int64_t&) {
    return xr3Fail(QVI_STS_Tavix_StatusInvalid);
}

// ---------------------------------------------------- XR3DataFirstPlaneReader

XR3DataFirstPlaneReader::XR3DataFirstPlaneReader(const XR3ImageInfo& info, const XR3PlanesetPacket& planeset,
                                                 QVIOStreamInf* stream, bool ownsStream, bool hasMSE,
                                                 uint8_t lockValueWidth, bool streamAlwaysOpen,
                                                 bool useStreamBuffers)
    : XR3FilePlaneReader(info, planeset, stream, ownsStream, hasMSE, lockValueWidth, streamAlwaysOpen,
                         useStreamBuffers ? info.numSubbands + 1u : 1u) {}

QVStatus XR3DataFirstPlaneReader::readUnit(int64_t position, int64_t dataStart, Unit& unit) {
    uint8_t bytes[8];
    if (QVStatus status = seekDirect(position)) return status;
    if (QVStatus status = readBytes(kDirect, bytes, getWordBytes())) return status;
    return placeUnit(position, dataStart, bytes, unit) ? 0 : xr3Fail(QVI_STS_Tavix_ReadError);
}

bool XR3DataFirstPlaneReader::placeUnit(int64_t position, int64_t dataStart, const uint8_t* wordBytes,
                                        Unit& unit) const {
    uint64_t word = 0;
    for (uint32_t i = 0; i < getWordBytes(); ++i) word = word << 8 | wordBytes[i];
    // The word counts from the planeset payload (wide) or from the packet
    // header as computeHeaderLength measures it (narrow).
    const int64_t base = dataStart - XR3PlanesetPacket::kPrefixLength -
                         (hasWideLengths() ? 0 : m_planeset.getPacketType().computeHeaderLength());
    const int64_t limit = getStreamLength() >= 0 ? getStreamLength() : std::numeric_limits<int64_t>::max() / 2;
    if (word > uint64_t(limit)) return false;
    unit.dataStart = dataStart;
    unit.payloadStart = position + getWordBytes();
    unit.tokenStart = base + int64_t(word);
    return unit.tokenStart >= unit.payloadStart && unit.tokenStart <= limit;
}

QVStatus XR3DataFirstPlaneReader::walkUnit(const Unit& unit, XR3PlaneDescIter& planes, uint64_t& counted,
                                           bool closeAtBoundary, XR3PlaneLengthVisitor& visitor,
                                           int64_t& tokenEnd) {
    if (QVStatus status = seekStreamBuffer(0, unit.tokenStart)) return status;
    const uint32_t extras = getExtrasLength();
    int64_t tokenPosition = unit.tokenStart;
    int64_t payloadPosition = unit.payloadStart;
    do {
        bool hasData = false, bypass = false;
        uint64_t value = 0;
        uint32_t tokenBytes = 0;
        if (QVStatus status = readPlaneLength(0, hasData, bypass, value, tokenBytes)) return status;
        if (hasData) {
            if (value > uint64_t(unit.tokenStart - payloadPosition)) return xr3Fail(QVI_STS_Tavix_ReadError);
            if (QVStatus status = visitor.visitPlane(*planes, {tokenPosition, payloadPosition}, value, bypass))
                return status;
            payloadPosition += extras + int64_t(value);
            if (payloadPosition > unit.tokenStart) return xr3Fail(QVI_STS_Tavix_ReadError);
            ++planes;
            ++counted;
        } else {
            if (value == 0) return xr3Fail(QVI_STS_Tavix_ReadError);
            planes += value;
            counted = addPlanes(counted, value);
        }
        tokenPosition += tokenBytes;
        if (closeAtBoundary && payloadPosition == unit.tokenStart && atSubblockStart(planes)) {
            bool ends = false;
            if (QVStatus status = unitEndsAt(unit, tokenPosition, ends)) return status;
            if (ends) break;
        }
    } while (planes.isValid());
    tokenEnd = tokenPosition;
    return 0;
}

// A unit ends at a subblock boundary behind its last payload, or behind runs
// over empty subblocks after it; what follows tells which. No token begins
// with a zero byte, while an offset word does (an 8-byte one in any file, a
// 4-byte one below 16 MiB). A 4-byte word beyond that is taken for one when
// it points to tokens inside the stream.
QVStatus XR3DataFirstPlaneReader::unitEndsAt(const Unit& unit, int64_t position, bool& ends) {
    uint8_t bytes[8];
    if (QVStatus status = readBytes(0, bytes, getWordBytes())) return status;
    if (QVStatus status = seekStreamBuffer(0, position)) return status;
    Unit next;
    ends = bytes[0] == 0 || (!hasWideLengths() && placeUnit(position, unit.dataStart, bytes, next));
    return 0;
}

QVStatus XR3DataFirstPlaneReader::walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) {
    XR3PlaneDescIter planes;
    if (QVStatus status = initPlaneIter(planes, m_info, m_planeset)) return status;
    Unit unit;
    if (QVStatus status = readUnit(dataStart, dataStart, unit)) return status;
    if (QVStatus status = setStreamBufferSize(0, kOpenBufferSize)) return status;
    uint64_t counted = 0;
    int64_t tokenEnd = 0;
    QVStatus status = walkUnit(unit, planes, counted, false, visitor, tokenEnd);
    setStreamBufferSize(0, kDefaultBufferSize);
    return status ? status : checkPlaneCount(counted);
}

QVStatus XR3DataFirstPlaneReader::readSubblockTokens(int64_t tokenPosition, uint32_t first, uint32_t limit) {
    const uint32_t perSubblock = planesPerSubblock();
    try {
        m_tokens.length.resize(perSubblock);
        m_tokens.hasData.resize(perSubblock);
        m_tokens.bypass.resize(perSubblock);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    std::fill(m_tokens.hasData.begin() + first, m_tokens.hasData.begin() + limit, 0);
    if (QVStatus status = seekStreamBuffer(0, tokenPosition)) return status;
    uint64_t index = first;
    while (index < limit) {
        bool hasData = false, bypass = false;
        uint64_t value = 0;
        uint32_t tokenBytes = 0;
        if (QVStatus status = readPlaneLength(0, hasData, bypass, value, tokenBytes)) return status;
        if (!hasData) {
            if (value == 0) return xr3Fail(QVI_STS_Tavix_ReadError);
            index = addPlanes(index, value);
            continue;
        }
        m_tokens.length[index] = value;
        m_tokens.hasData[index] = 1;
        m_tokens.bypass[index] = bypass;
        ++index;
    }
    return 0;
}

QVStatus XR3DataFirstPlaneReader::readSubblockPayloads(uint32_t buffer, int64_t dataPosition, uint32_t first,
                                                       uint32_t limit, const XR3ComponentSet& components,
                                                       XR3PlaneData* planes) {
    const uint32_t extras = getExtrasLength();
    int64_t position = dataPosition;
    bool positioned = false;
    for (uint32_t index = first; index < limit; ++index) {
        if (!m_tokens.hasData[index]) continue;
        const uint64_t length = m_tokens.length[index];
        if (components.isSet(index / kXR3PlanesPerBand)) {
            // Payloads of bands not asked for are passed over by one seek, never read.
            if (!positioned) {
                if (QVStatus status = seekStreamBuffer(buffer, position)) return status;
                positioned = true;
            }
            if (QVStatus status = readPlaneData(buffer, planes[index], length, m_tokens.bypass[index] != 0))
                return status;
        } else {
            positioned = false;
        }
        if (length > uint64_t(std::numeric_limits<int64_t>::max() - position - extras))
            return xr3Fail(QVI_STS_Tavix_ReadError);
        position += extras + int64_t(length);
    }
    return 0;
}

QVStatus XR3DataFirstPlaneReader::readPlanesFromSubblock(const XR3PlaneOffset& offset,
                                                         const XR3PlaneDesc& startDesc,
                                                         const XR3ComponentSet& components,
                                                         XR3PlaneData* planes) {
    const uint32_t limit = std::min<uint32_t>(planesPerSubblock(), components.getEnd() * kXR3PlanesPerBand);
    const uint32_t first = uint32_t(startDesc.component) * kXR3PlanesPerBand + startDesc.plane;
    if (first >= limit) return 0;
    if (QVStatus status = readSubblockTokens(offset.tokenPosition, first, limit)) return status;
    const uint32_t buffer = startDesc.subband + 1u < getNumStreamBuffers() ? startDesc.subband + 1u : kDirect;
    return readSubblockPayloads(buffer, offset.dataPosition, first, limit, components, planes);
}

QVStatus XR3DataFirstPlaneReader::advanceToSubblock(const XR3PlaneDesc& desc, int64_t tokenPosition,
                                                    int64_t dataPosition, uint32_t target, XR3PlaneDesc& outDesc,
                                                    int64_t& outTokenPosition, int64_t& outDataPosition) {
    if (desc.subband >= m_info.subbands.size() || m_info.subbands[desc.subband].cols == 0)
        return xr3Fail(QVI_STS_Tavix_BadArgument);
    const uint32_t cols = m_info.subbands[desc.subband].cols;
    if (target <= desc.subblock || target / cols != desc.subblock / cols) return xr3Fail(QVI_STS_Tavix_BadArgument);
    // Planes counted from the start of the row.
    const uint64_t perSubblock = planesPerSubblock();
    const uint64_t targetStart = uint64_t(target % cols) * perSubblock;
    const uint64_t targetEnd = targetStart + perSubblock;
    uint64_t place = uint64_t(desc.subblock % cols) * perSubblock +
                     uint64_t(desc.component) * kXR3PlanesPerBand + desc.plane;
    const uint32_t extras = getExtrasLength();
    if (QVStatus status = seekStreamBuffer(0, tokenPosition)) return status;
    for (;;) {
        bool hasData = false, bypass = false;
        uint64_t value = 0;
        uint32_t tokenBytes = 0;
        if (QVStatus status = readPlaneLength(0, hasData, bypass, value, tokenBytes)) return status;
        if (place >= targetStart && hasData) {
            const uint64_t inSubblock = place - targetStart;
            outDesc = XR3PlaneDesc(desc.subband, target, uint16_t(inSubblock / kXR3PlanesPerBand),
                                   uint8_t(inSubblock % kXR3PlanesPerBand));
            outTokenPosition = tokenPosition;
            outDataPosition = dataPosition;
            return 0;
        }
        if (hasData) {
            if (value > uint64_t(std::numeric_limits<int64_t>::max() / 2)) return xr3Fail(QVI_STS_Tavix_ReadError);
            dataPosition += extras + int64_t(value);
            ++place;
        } else {
            if (value == 0) return xr3Fail(QVI_STS_Tavix_ReadError);
            place = addPlanes(place, value);
        }
        tokenPosition += tokenBytes;
        // The table said the target has data: a walk past it means damage.
        if (place >= targetEnd) return xr3Fail(QVI_STS_Tavix_ReadError);
    }
}

// -------------------------------------------------- XR3RasterBlockPlaneReader

QVStatus XR3RasterBlockPlaneReader::walkPlaneLengths(XR3PlaneLengthVisitor& visitor, int64_t dataStart) {
    XR3PlaneDescIter planes;
    if (QVStatus status = initPlaneIter(planes, m_info, m_planeset)) return status;
    uint8_t countBytes[8];
    if (QVStatus status = seekDirect(dataStart)) return status;
    if (QVStatus status = readBytes(kDirect, countBytes, sizeof(countBytes))) return status;
    uint64_t numBlocks = 0;
    for (uint8_t byte : countBytes) numBlocks = numBlocks << 8 | byte;

    if (QVStatus status = setStreamBufferSize(0, kOpenBufferSize)) return status;
    uint64_t counted = 0;
    int64_t position = dataStart + int64_t(sizeof(countBytes));
    QVStatus status = 0;
    // Every unit takes at least one plane, so a huge count ends with the planes.
    for (uint64_t block = 0; block < numBlocks && planes.isValid() && !status; ++block) {
        Unit unit;
        status = readUnit(position, dataStart, unit);
        if (!status) status = walkUnit(unit, planes, counted, block + 1 < numBlocks, visitor, position);
    }
    setStreamBufferSize(0, kDefaultBufferSize);
    return status ? status : checkPlaneCount(counted);
}

}  // namespace Orvanetics
