// The small self-describing metadata block of the older wavelet generation,
// used there for georeference: a box of chunks.
//
// Box bytes: "TVXG", two version bytes, eight bytes of feature flags (host
// order), the number of chunks, the box version, the chunks, and the end
// mark 0xFF 0x00 0 0 0 0. Chunk bytes: id, version, payload length (four
// bytes, host order), payload. A geo chunk holds six doubles in host order:
// xUL, yUL, xRes, yRes and two rotation terms.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qv_utilStatusData.h"

namespace Orvanetics {

// Ids of the chunk kinds; 0xFF marks the end of a box.
enum MDChunkId : int32_t {
    MDCHUNK_GEO = 1,
    MDCHUNK_USER = 2,
    MDCHUNK_CMDLINE = 3,
    MDCHUNK_OPSYS = 4,
    MDCHUNK_END = 0xFF,
};

class MDChunk {
public:
    static constexpr uint32_t kHeaderLength = 6;

    MDChunk(int32_t id, uint8_t version) : m_id(id), m_version(version) {}
    virtual ~MDChunk() = default;

    // A whole chunk (header and payload) of this kind; 2005 when the bytes
    // are short, of another id, or a payload this kind refuses.
    virtual QVStatus SerialIn(const uint8_t* bytes, uint32_t length);
    // The whole chunk into bytes of room length; length becomes the size
    // written. Null bytes only ask for the size; too little room is 2009.
    virtual QVStatus SerialOut(uint8_t* bytes, uint32_t& length) const;
    // A line of text describing the chunk, with the same size protocol.
    virtual QVStatus display(char* text, uint32_t& length) const;

    int32_t getId() const { return m_id; }
    uint8_t getVersion() const { return m_version; }
    uint32_t getChunkLength() const { return kHeaderLength + payloadLength(); }

protected:
    virtual uint32_t payloadLength() const = 0;
    virtual void writePayload(uint8_t* bytes) const = 0;
    virtual QVStatus readPayload(const uint8_t* bytes, uint32_t length) = 0;
    virtual std::string describe() const = 0;

private:
    int32_t m_id;
    uint8_t m_version;
};

class GeoMDChunk : public MDChunk {
public:
    static constexpr uint32_t kPayloadLength = 48;

    // The default: pixel coordinates, no rotation.
    GeoMDChunk() : MDChunk(MDCHUNK_GEO, 0) {}
    GeoMDChunk(double xUL, double yUL, double xRes, double yRes, double xRot, double yRot);

    // xUL, yUL, xRes, yRes, xRot, yRot.
    const double* getValues() const { return m_values; }

protected:
    uint32_t payloadLength() const override { return kPayloadLength; }
    void writePayload(uint8_t* bytes) const override;
    QVStatus readPayload(const uint8_t* bytes, uint32_t length) override;
    std::string describe() const override;

private:
    double m_values[6] = {0.0, 0.0, 1.0, 1.0, 0.0, 0.0};
};

// A chunk of raw characters.
class TextMDChunk : public MDChunk {
public:
    TextMDChunk(int32_t id, std::string text) : MDChunk(id, 0), m_text(std::move(text)) {}
    const std::string& getText() const { return m_text; }

protected:
    uint32_t payloadLength() const override { return uint32_t(m_text.size()); }
    void writePayload(uint8_t* bytes) const override;
    QVStatus readPayload(const uint8_t* bytes, uint32_t length) override;
    std::string describe() const override;

private:
    std::string m_text;
};

class UserMDChunk : public TextMDChunk {
public:
    explicit UserMDChunk(std::string text = {}) : TextMDChunk(MDCHUNK_USER, std::move(text)) {}
};

class CmdLineMDChunk : public TextMDChunk {
public:
    explicit CmdLineMDChunk(std::string text = {}) : TextMDChunk(MDCHUNK_CMDLINE, std::move(text)) {}
};

class OpSysMDChunk : public TextMDChunk {
public:
    explicit OpSysMDChunk(std::string text = {}) : TextMDChunk(MDCHUNK_OPSYS, std::move(text)) {}
};

class MDBox {
public:
    // The feature flags of boxes this library writes.
    static constexpr uint64_t kTVXFeatures = 0x3;
    static constexpr uint32_t kHeaderLength = 16;
    static constexpr uint32_t kEndLength = 6;

    // A box of this library's features, version 0.0.0, around a default geo chunk.
    MDBox();

    // Replaces the box by the one in bytes: 2005 when they are not a whole box.
    QVStatus ReadMDBox(const uint8_t* bytes, uint32_t length);
    // The size protocol of MDChunk::SerialOut.
    QVStatus WriteMDBox(uint8_t* bytes, uint32_t& length) const;
    uint32_t GetMDBoxLen() const;

    // At most 255 chunks: false beyond, or for a null chunk.
    bool AddMDChunk(std::unique_ptr<MDChunk> chunk);
    bool DelMDChunk(uint32_t index);
    uint32_t GetNumMDChunks() const { return uint32_t(m_chunks.size()); }
    const MDChunk* GetMDChunk(uint32_t index) const;

    bool HasGeoMDChunk() const { return findChunk(MDCHUNK_GEO) != nullptr; }
    // The geo chunk's six values (xUL, yUL, xRes, yRes, xRot, yRot); false without one.
    bool GetGeoData(double& xUL, double& yUL, double& xRes, double& yRes, double& xRot, double& yRot) const;
    // The geo chunk's values, or those of a default geo chunk.
    void GetDefaultGeoData(double& xUL, double& yUL, double& xRes, double& yRes, double& xRot, double& yRot) const;
    // The text of the first chunk of that kind; false without one.
    bool GetUserMetadata(std::string& text) const;
    bool GetCmdLineMetadata(std::string& text) const;

    void GetVersionNo(uint8_t& major, uint8_t& minor, uint8_t& micro) const;
    void SetVersionNo(uint8_t major, uint8_t minor, uint8_t micro);
    void SetTVXFeatures() { m_features = kTVXFeatures; }
    void UnsetTVXFeature(uint64_t feature) { m_features &= ~feature; }
    uint64_t GetTVXFeatures() const { return m_features; }

private:
    const MDChunk* findChunk(int32_t id) const;
    bool getText(int32_t id, std::string& text) const;

    uint8_t m_version[2] = {0, 0};
    uint8_t m_boxVersion = 0;
    uint64_t m_features = 0;
    std::vector<std::unique_ptr<MDChunk>> m_chunks;
};

}  // namespace Orvanetics
