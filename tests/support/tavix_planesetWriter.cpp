#include "tavix_planesetWriter.h"

#include <algorithm>
#include <random>
#include <stdexcept>

#include "xr3_headerPacket.h"
#include "xr3_planesetOrder.h"

namespace TavixFixture {

namespace {

constexpr uint64_t kNarrowMax = (uint64_t(1) << 27) - 1;
constexpr uint64_t kWideMax = (uint64_t(1) << 54) - 1;

void appendBigEndian(std::vector<uint8_t>& out, uint64_t value, unsigned width) {
    for (unsigned i = width; i-- > 0;) out.push_back(uint8_t(value >> (8 * i)));
}

void patchBigEndianAt(std::vector<uint8_t>& out, size_t position, uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) out[position + width - 1 - i] = uint8_t(value >> (8 * i));
}

// Lays the tokens and payloads of one planeset out.
class PlanesetLayouter {
public:
    PlanesetLayouter(const XR3ImageInfo& info, const PlanesetOptions& options, long long headerLength)
        : m_info(info), m_options(options), m_headerLength(headerLength),
          m_perSubblock(uint64_t(info.numBands) * kXR3PlanesPerBand) {}

    void layout(const PlanesetContent& content) {
        const bool raster = m_options.layout == XR3_PLANESET_LAYOUT_RASTER_BLOCK;
        if (raster) appendBigEndian(m_bytes, 0, 8);  // block count, patched at the end
        auto subblocks = XR3SubblockIter::create(m_options.order);
        if (!subblocks || subblocks->init(m_info)) throw std::runtime_error("planeset order");
        const uint64_t total = m_info.numSubblocks * m_perSubblock;
        uint64_t sequence = 0;
        uint64_t ordinal = 0;
        for (subblocks->begin(); subblocks->isValid(); *subblocks += 1, ++ordinal) {
            if (raster && m_options.subblocksPerBlock && ordinal > 0 && ordinal % m_options.subblocksPerBlock == 0)
                closeUnit();
            for (uint16_t band = 0; band < m_info.numBands; ++band) {
                for (uint8_t plane = 0; plane < kXR3PlanesPerBand; ++plane, ++sequence) {
                    if (sequence >= m_options.writtenPlanes) {
                        finish(total - sequence);
                        return;
                    }
                    const XR3PlaneDesc desc(subblocks->subband, subblocks->subblock, band, plane);
                    if (const FixturePlane* data = content.find(desc)) emitData(desc, *data);
                    else if (m_runLength++ == 0) m_runStart = sequence;
                }
            }
        }
        finish(0);
    }

    std::vector<uint8_t> takeBytes() { return std::move(m_bytes); }
    const std::vector<WrittenPlane>& written() const { return m_written; }

private:
    bool interleaved() const { return m_options.layout == XR3_PLANESET_LAYOUT_INTERLEAVED; }
    uint64_t tokenMax() const { return m_options.wideTokens ? kWideMax : kNarrowMax; }

    void appendToken(bool hasData, bool bypass, uint64_t value) {
        std::vector<uint8_t> token = encodeToken(hasData, bypass, value, m_options.wideTokens, m_options.longTokens);
        std::vector<uint8_t>& out = interleaved() ? m_bytes : m_tokens;
        out.insert(out.end(), token.begin(), token.end());
    }

    // A run as tokens of at most `limit` planes each.
    void appendRun(uint64_t count, uint64_t limit) {
        while (count > 0) {
            const uint64_t piece = std::min(count, limit);
            appendToken(false, false, piece);
            count -= piece;
        }
    }

    uint64_t runLimit() const {
        return m_options.maxRun ? std::min(m_options.maxRun, tokenMax()) : tokenMax();
    }

    // The pending run in front of a plane with data.
    void flushRunBeforeData() {
        if (m_runLength == 0) return;
        uint64_t start = m_runStart;
        uint64_t left = m_runLength;
        while (left > 0) {
            uint64_t piece = left;
            if (m_options.splitRunsAtSubblocks) piece = std::min(piece, m_perSubblock - start % m_perSubblock);
            appendRun(piece, runLimit());
            start += piece;
            left -= piece;
        }
        m_runLength = 0;
    }

    // A unit closes with one run over its trailing empty planes: the reader
    // ends a raster block at the first subblock boundary behind its payloads
    // (planes of no bytes and no extras can't end a unit).
    void flushTrailingRun(uint64_t extra) {
        const uint64_t limit = m_options.layout == XR3_PLANESET_LAYOUT_RASTER_BLOCK ? tokenMax() : runLimit();
        appendRun(m_runLength + extra, limit);
        m_runLength = 0;
    }

    void emitData(const XR3PlaneDesc& desc, const FixturePlane& plane) {
        flushRunBeforeData();
        WrittenPlane written;
        written.desc = desc;
        written.tokenOffset = interleaved() ? int64_t(m_bytes.size()) : int64_t(m_tokens.size());
        appendToken(true, plane.bypass, plane.bytes.size());
        std::vector<uint8_t>& out = interleaved() ? m_bytes : m_payloads;
        written.payloadOffset = int64_t(out.size());
        if (m_options.hasMSE) appendBigEndian(out, plane.mse, 2);
        appendBigEndian(out, plane.lockValue, m_options.lockValueWidth);
        out.insert(out.end(), plane.bytes.begin(), plane.bytes.end());
        written.payloadLength = int64_t(out.size()) - written.payloadOffset;
        m_unitPlanes.push_back(m_written.size());
        m_written.push_back(written);
    }

    // Behind the last plane written: the rest of the planes as a final run, if asked.
    void finish(uint64_t unwritten) {
        flushTrailingRun(m_options.finalRun ? unwritten : 0);
        closeUnit();
    }

    // Word, payloads and tokens of one data-first unit; offsets become
    // relative to dataStart.
    void closeUnit() {
        if (interleaved()) return;
        // A unit whose payloads end exactly at a subblock boundary ends
        // there: its trailing empty subblocks open the next unit.
        const bool carry = m_runLength > 0 && !m_payloads.empty() && m_runStart % m_perSubblock == 0;
        if (!carry) flushTrailingRun(0);
        const unsigned wordBytes = m_options.wideTokens ? 8 : 4;
        const int64_t wordPosition = int64_t(m_bytes.size());
        const int64_t payloadStart = wordPosition + wordBytes;
        const int64_t tokenStart = payloadStart + int64_t(m_payloads.size());
        // Wide: counted from the planeset payload (10 bytes of prefix before
        // dataStart); narrow: from the packet header.
        uint64_t word = uint64_t(tokenStart + XR3PlanesetPacket::kPrefixLength);
        if (!m_options.wideTokens) word += uint64_t(m_headerLength);
        appendBigEndian(m_bytes, word, wordBytes);
        m_bytes.insert(m_bytes.end(), m_payloads.begin(), m_payloads.end());
        m_bytes.insert(m_bytes.end(), m_tokens.begin(), m_tokens.end());
        for (size_t index : m_unitPlanes) {
            m_written[index].tokenOffset += tokenStart;
            m_written[index].payloadOffset += payloadStart;
        }
        m_payloads.clear();
        m_tokens.clear();
        m_unitPlanes.clear();
        if (m_options.layout == XR3_PLANESET_LAYOUT_RASTER_BLOCK)
            patchBigEndianAt(m_bytes, 0, ++m_numUnits, 8);
    }

    const XR3ImageInfo& m_info;
    const PlanesetOptions& m_options;
    long long m_headerLength;
    uint64_t m_perSubblock;
    std::vector<uint8_t> m_bytes;
    std::vector<uint8_t> m_payloads;
    std::vector<uint8_t> m_tokens;
    std::vector<WrittenPlane> m_written;
    std::vector<size_t> m_unitPlanes;
    uint64_t m_runStart = 0;
    uint64_t m_runLength = 0;
    uint64_t m_numUnits = 0;
};

}  // namespace

XR3ImageInfo makeImageInfo(uint32_t width, uint32_t height, uint8_t numLevels, uint16_t numBands,
                           uint16_t subblockSize, uint32_t imageNumber) {
    XR3ImageInfo info;
    info.imageNumber = imageNumber;
    info.width = width;
    info.height = height;
    info.numLevels = numLevels;
    info.numBands = numBands;
    info.subblockSize = subblockSize;
    info.wordBits = 32;
    info.dataType = XR3_DATATYPE_UINT8;
    info.rangeMax = 255;
    info.inputColorSpace = info.codedColorSpace = XR3_COLORSPACE_MULTISPECTRAL;
    info.colorTransform = XR3_COLORTRANSFORM_NONE;
    info.codingKindA = 0;
    info.codingKindC = 0;
    if (info.setup_subbands()) throw std::runtime_error("image info");
    return info;
}

const FixturePlane* PlanesetContent::find(const XR3PlaneDesc& desc) const {
    auto it = planes.find(desc.to_index());
    return it == planes.end() ? nullptr : &it->second;
}

bool PlanesetContent::subblockHasData(uint32_t subband, uint32_t subblock) const {
    auto it = planes.lower_bound(XR3PlaneDesc(uint8_t(subband), subblock, 0, 0).to_index());
    return it != planes.end() && XR3PlaneDesc::from_index(it->first).subband == subband &&
           XR3PlaneDesc::from_index(it->first).subblock == subblock;
}

PlanesetContent PlanesetContent::random(const XR3ImageInfo& info, uint32_t seed, const RandomShape& shape) {
    PlanesetContent content;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> chance(0.0, 1.0);
    std::uniform_int_distribution<uint32_t> byte(0, 255);
    std::uniform_int_distribution<uint32_t> size(1, shape.maxBytes);
    std::uniform_int_distribution<uint32_t> firstPlane(1, kXR3PlanesPerBand - 1);
    for (uint32_t s = 0; s < info.numSubbands; ++s) {
        const uint32_t count = uint32_t(info.subbands[s].rows) * info.subbands[s].cols;
        for (uint32_t b = 0; b < count; ++b) {
            if (chance(random) >= shape.subblockDensity) continue;
            for (uint16_t band = 0; band < info.numBands; ++band) {
                if (chance(random) >= shape.bandDensity) continue;
                for (uint32_t p = firstPlane(random); p < kXR3PlanesPerBand; ++p) {
                    if (chance(random) >= shape.planeDensity) continue;
                    FixturePlane plane;
                    plane.bytes.resize(size(random));
                    for (uint8_t& value : plane.bytes) value = uint8_t(byte(random));
                    plane.mse = uint16_t(byte(random) << 8 | byte(random));
                    plane.bypass = chance(random) < 0.2;
                    content.set(XR3PlaneDesc(uint8_t(s), b, band, uint8_t(p)), std::move(plane));
                }
            }
        }
    }
    return content;
}

std::vector<uint8_t> encodeToken(bool hasData, bool bypass, uint64_t value, bool wide, bool longForm) {
    const uint8_t flags = uint8_t((hasData ? 0x80 : 0) | (bypass ? 0x40 : 0));
    if (value > (wide ? kWideMax : kNarrowMax)) throw std::runtime_error("token value");
    // Bytes needed: 5 bits in the first; narrow 7, 7, 8 more; wide 7 a byte.
    unsigned count = 1;
    while (count < (wide ? 8u : 4u) && (value >> (5 + 7 * (count - 1))) != 0) ++count;
    if (longForm) count = wide ? 8 : 4;
    std::vector<uint8_t> token;
    token.push_back(uint8_t(flags | (count > 1 ? 0x20 : 0) | (value & 0x1F)));
    for (unsigned i = 1; i < count; ++i) {
        const unsigned shift = 5 + 7 * (i - 1);
        if (!wide && i == 3) {
            token.push_back(uint8_t(value >> shift));  // all eight bits
        } else {
            token.push_back(uint8_t(((value >> shift) & 0x7F) | (i + 1 < count ? 0x80 : 0)));
        }
    }
    return token;
}

FixturePlanesetPacket::FixturePlanesetPacket(const XR3ImageInfo& info, const PlanesetContent& content,
                                             const PlanesetOptions& options)
    : XR3PlanesetPacket(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, info.imageNumber, 0, options.wideTokens ? 1 : 0)) {
    setOrder(options.order);
    setLayout(options.layout);
    PlanesetLayouter layouter(info, options, getPacketType().computeHeaderLength());
    layouter.layout(content);
    m_bytes = layouter.takeBytes();
    m_written = layouter.written();
    setDataLength(static_cast<long long>(m_bytes.size()));
}

QVStatus FixturePlanesetPacket::write(QVIOStreamWriter<true>& writer) {
    m_writer = &writer;
    QVStatus status = XR3PlanesetPacket::write(writer);
    m_writer = nullptr;
    return status;
}

QVStatus FixturePlanesetPacket::writePlanes(long long) {
    return m_writer ? m_writer->writeBytes(m_bytes.data(), m_bytes.size()) : QVI_STS_Tavix_NotReached;
}

std::unique_ptr<XR3MetadataPacket> makeMetadataPacket(uint32_t subType, uint32_t subSubType, uint32_t imageNumber,
                                                      const std::vector<uint8_t>& bytes) {
    auto packet = std::make_unique<XR3MetadataPacket>(subType, subSubType, imageNumber);
    if (packet->setMetadata(bytes.data(), uint32_t(bytes.size()))) throw std::bad_alloc();
    return packet;
}

std::vector<uint8_t> classicalMetadataBytes(const std::vector<ClassicalRecord>& records) {
    std::vector<uint8_t> out;
    appendBigEndian(out, 1, 2);  // version 1.0
    appendBigEndian(out, 0, 2);
    std::vector<ClassicalRecord> all = records;
    ClassicalRecord end;
    end.key = "IMAGE::EOM";
    end.strings = {""};
    all.push_back(end);
    for (const ClassicalRecord& record : all) {
        appendBigEndian(out, 0, 4);  // tag number, not looked at
        out.insert(out.end(), record.key.begin(), record.key.end());
        out.push_back(0);
        const uint32_t numValues = record.typeCode == 5 ? uint32_t(record.strings.size()) : record.numValues;
        appendBigEndian(out, record.typeCode, 4);
        appendBigEndian(out, numValues, 4);
        appendBigEndian(out, 1, 4);  // one dimension
        appendBigEndian(out, numValues, 4);
        for (const std::string& text : record.strings) {
            out.insert(out.end(), text.begin(), text.end());
            out.push_back(0);
        }
        out.insert(out.end(), record.valueBytes.begin(), record.valueBytes.end());
    }
    return out;
}

ImageFile writeImageFile(const XR3ImageInfo& info, const PlanesetContent& content, const PlanesetOptions& options,
                         std::vector<std::unique_ptr<XR3Packet>> extraPackets, IndexKind index,
                         const XR3Version& version) {
    XR3ImageInfo headerInfo = info;
    headerInfo.hasPlaneMSE = options.hasMSE;
    auto planeset = std::make_unique<FixturePlanesetPacket>(headerInfo, content, options);
    ImageFile file;
    file.planes = planeset->getWrittenPlanes();

    PacketFileWriter writer(version);
    writer.setIndex(index);
    writer.addPacket(std::make_unique<XR3HeaderPacket>(headerInfo));
    for (auto& packet : extraPackets) writer.addPacket(std::move(packet));
    writer.addPacket(std::move(planeset));
    if (writer.writeToBytes(file.bytes)) throw std::runtime_error("image file");

    for (const PacketLayout& packet : describePackets(file.bytes)) {
        if (packet.type.getType() == XR3_PACKET_PLANESET)
            file.dataStart = packet.payloadPosition + XR3PlanesetPacket::kPrefixLength;
    }
    for (WrittenPlane& plane : file.planes) {
        plane.tokenOffset += file.dataStart;
        plane.payloadOffset += file.dataStart;
    }
    return file;
}

}  // namespace TavixFixture
