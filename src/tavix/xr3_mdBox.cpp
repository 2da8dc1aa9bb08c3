#include "xr3_mdBox.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "qv_statusCodes.h"
#include "xr3_imageInfo.h"

namespace Orvanetics {

namespace {

constexpr uint8_t kBoxMagic[4] = {'T', 'V', 'X', 'G'};
constexpr uint8_t kEndMark[MDBox::kEndLength] = {0xFF, 0x00, 0, 0, 0, 0};

// The size protocol shared by chunks and boxes: null asks for the size.
template <class Fill>
QVStatus writeSized(uint8_t* bytes, uint32_t& length, uint32_t needed, Fill&& fill) {
    if (!bytes) {
        length = needed;
        return 0;
    }
    if (length < needed) return xr3Fail(QVI_STS_Tavix_BadArgument);
    fill(bytes);
    length = needed;
    return 0;
}

uint32_t payloadLengthAt(const uint8_t* chunk) {
    uint32_t length = 0;
    std::memcpy(&length, chunk + 2, sizeof(length));
    return length;
}

void assignGeoData(const double* v, double& xUL, double& yUL, double& xRes, double& yRes, double& xRot,
                   double& yRot) {
    xUL = v[0];
    yUL = v[1];
    xRes = v[2];
    yRes = v[3];
    xRot = v[4];
    yRot = v[5];
}

std::unique_ptr<MDChunk> newChunkOf(int32_t id) {
    switch (id) {
    case MDCHUNK_GEO: return std::unique_ptr<MDChunk>(new (std::nothrow) GeoMDChunk());
    case MDCHUNK_USER: return std::unique_ptr<MDChunk>(new (std::nothrow) UserMDChunk());
    case MDCHUNK_CMDLINE: return std::unique_ptr<MDChunk>(new (std::nothrow) CmdLineMDChunk());
    case MDCHUNK_OPSYS: return std::unique_ptr<MDChunk>(new (std::nothrow) OpSysMDChunk());
    default: return nullptr;
    }
}

}  // namespace

// -------------------------------------------------------------------- MDChunk

QVStatus MDChunk::SerialIn(const uint8_t* bytes, uint32_t length) {
    if (!bytes || length < kHeaderLength || bytes[0] != uint8_t(m_id)) return xr3Fail(QVI_STS_Tavix_FormatError);
    const uint32_t payload = payloadLengthAt(bytes);
    if (payload > length - kHeaderLength) return xr3Fail(QVI_STS_Tavix_FormatError);
    if (QVStatus status = readPayload(bytes + kHeaderLength, payload)) return status;
    m_version = bytes[1];
    return 0;
}

QVStatus MDChunk::SerialOut(uint8_t* bytes, uint32_t& length) const {
    return writeSized(bytes, length, getChunkLength(), [this](uint8_t* out) {
        const uint32_t payload = payloadLength();
        out[0] = uint8_t(m_id);
        out[1] = m_version;
        std::memcpy(out + 2, &payload, sizeof(payload));
        writePayload(out + kHeaderLength);
    });
}

QVStatus MDChunk::display(char* text, uint32_t& length) const {
    const std::string line = describe();
    return writeSized(reinterpret_cast<uint8_t*>(text), length, uint32_t(line.size() + 1),
                      [&](uint8_t* out) { std::memcpy(out, line.c_str(), line.size() + 1); });
}

// ----------------------------------------------------------------- GeoMDChunk

GeoMDChunk::GeoMDChunk(double xUL, double yUL, double xRes, double yRes, double xRot, double yRot)
    : MDChunk(MDCHUNK_GEO, 0), m_values{xUL, yUL, xRes, yRes, xRot, yRot} {}

void GeoMDChunk::writePayload(uint8_t* bytes) const { std::memcpy(bytes, m_values, kPayloadLength); }

QVStatus GeoMDChunk::readPayload(const uint8_t* bytes, uint32_t length) {
    if (length != kPayloadLength) return xr3Fail(QVI_STS_Tavix_FormatError);
    std::memcpy(m_values, bytes, kPayloadLength);
    return 0;
}

std::string GeoMDChunk::describe() const {
    char line[256];
    std::snprintf(line, sizeof(line), "geo: upper left (%.10g, %.10g), resolution (%.10g, %.10g), rotation (%.10g, %.10g)",
                  m_values[0], m_values[1], m_values[2], m_values[3], m_values[4], m_values[5]);
    return line;
}

// ---------------------------------------------------------------- TextMDChunk

void TextMDChunk::writePayload(uint8_t* bytes) const { std::memcpy(bytes, m_text.data(), m_text.size()); }

QVStatus TextMDChunk::readPayload(const uint8_t* bytes, uint32_t length) {
    try {
        m_text.assign(reinterpret_cast<const char*>(bytes), length);
    } catch (const std::bad_alloc&) {
        return xr3Fail(QVI_STS_Tavix_OutOfMemory);
    }
    return 0;
}

std::string TextMDChunk::describe() const { return "text " + std::to_string(getId()) + ": " + m_text; }

// ---------------------------------------------------------------------- MDBox

MDBox::MDBox() {
    SetTVXFeatures();
    m_chunks.push_back(std::make_unique<GeoMDChunk>());
}

QVStatus MDBox::ReadMDBox(const uint8_t* bytes, uint32_t length) {
    if (!bytes || length < kHeaderLength + kEndLength || std::memcmp(bytes, kBoxMagic, 4) != 0)
        return xr3Fail(QVI_STS_Tavix_FormatError);
    std::vector<std::unique_ptr<MDChunk>> chunks;
    uint64_t position = kHeaderLength;
    for (uint32_t i = 0; i < bytes[14]; ++i) {
        if (length - position < MDChunk::kHeaderLength) return xr3Fail(QVI_STS_Tavix_FormatError);
        const uint64_t chunkLength = MDChunk::kHeaderLength + uint64_t(payloadLengthAt(bytes + position));
        if (chunkLength > length - position) return xr3Fail(QVI_STS_Tavix_FormatError);
        // Chunks of kinds this library does not know are passed over.
        if (std::unique_ptr<MDChunk> chunk = newChunkOf(bytes[position])) {
            if (QVStatus status = chunk->SerialIn(bytes + position, uint32_t(chunkLength))) return status;
            chunks.push_back(std::move(chunk));
        }
        position += chunkLength;
    }
    if (length - position < kEndLength || std::memcmp(bytes + position, kEndMark, kEndLength) != 0)
        return xr3Fail(QVI_STS_Tavix_FormatError);
    m_version[0] = bytes[4];
    m_version[1] = bytes[5];
    std::memcpy(&m_features, bytes + 6, sizeof(m_features));
    m_boxVersion = bytes[15];
    m_chunks = std::move(chunks);
    return 0;
}

uint32_t MDBox::GetMDBoxLen() const {
    uint32_t length = kHeaderLength + kEndLength;
    for (const auto& chunk : m_chunks) length += chunk->getChunkLength();
    return length;
}

QVStatus MDBox::WriteMDBox(uint8_t* bytes, uint32_t& length) const {
    return writeSized(bytes, length, GetMDBoxLen(), [this](uint8_t* out) {
        std::memcpy(out, kBoxMagic, 4);
        out[4] = m_version[0];
        out[5] = m_version[1];
        std::memcpy(out + 6, &m_features, sizeof(m_features));
        out[14] = uint8_t(m_chunks.size());
        out[15] = m_boxVersion;
        uint32_t position = kHeaderLength;
        for (const auto& chunk : m_chunks) {
            uint32_t room = chunk->getChunkLength();
            chunk->SerialOut(out + position, room);
            position += room;
        }
        std::memcpy(out + position, kEndMark, kEndLength);
    });
}

bool MDBox::AddMDChunk(std::unique_ptr<MDChunk> chunk) {
    if (!chunk || m_chunks.size() >= 255) return false;
    try {
        m_chunks.push_back(std::move(chunk));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool MDBox::DelMDChunk(uint32_t index) {
    if (index >= m_chunks.size()) return false;
    m_chunks.erase(m_chunks.begin() + index);
    return true;
}

const MDChunk* MDBox::GetMDChunk(uint32_t index) const {
    return index < m_chunks.size() ? m_chunks[index].get() : nullptr;
}

const MDChunk* MDBox::findChunk(int32_t id) const {
    for (const auto& chunk : m_chunks) {
        if (chunk->getId() == id) return chunk.get();
    }
    return nullptr;
}

bool MDBox::GetGeoData(double& xUL, double& yUL, double& xRes, double& yRes, double& xRot, double& yRot) const {
    const auto* geo = static_cast<const GeoMDChunk*>(findChunk(MDCHUNK_GEO));
    if (!geo) return false;
    assignGeoData(geo->getValues(), xUL, yUL, xRes, yRes, xRot, yRot);
    return true;
}

void MDBox::GetDefaultGeoData(double& xUL, double& yUL, double& xRes, double& yRes, double& xRot,
                              double& yRot) const {
    if (!GetGeoData(xUL, yUL, xRes, yRes, xRot, yRot))
        assignGeoData(GeoMDChunk().getValues(), xUL, yUL, xRes, yRes, xRot, yRot);
}

bool MDBox::getText(int32_t id, std::string& text) const {
    const auto* chunk = static_cast<const TextMDChunk*>(findChunk(id));
    if (!chunk) return false;
    text = chunk->getText();
    return true;
}

bool MDBox::GetUserMetadata(std::string& text) const { return getText(MDCHUNK_USER, text); }

bool MDBox::GetCmdLineMetadata(std::string& text) const { return getText(MDCHUNK_CMDLINE, text); }

void MDBox::GetVersionNo(uint8_t& major, uint8_t& minor, uint8_t& micro) const {
    major = m_version[0];
    minor = m_version[1];
    micro = m_boxVersion;
}

void MDBox::SetVersionNo(uint8_t major, uint8_t minor, uint8_t micro) {
    m_version[0] = major;
    m_version[1] = minor;
    m_boxVersion = micro;
}

}  // namespace Orvanetics
