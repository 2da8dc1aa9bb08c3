// Opening any image file the way a user expects: the reader is chosen from
// the file's content, not from its name. Adding a format means adding its
// detection and its opener here; the tools above only see a stage.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "qv_fileSpec.h"
#include "qvi_dataType.h"
#include "qvi_imageStage.h"

namespace QVTool {

using Orvanetics::QVStatus;

constexpr QVStatus kStsBadParam = 3;                 // "bad function parameter"
constexpr QVStatus kStsUnsupportedImageFormat = 7003;  // "unsupported image format"
constexpr QVStatus kStsUnsupportedOperation = 50002;   // "requested operation not supported"
constexpr QVStatus kStsOpenError = 50004;             // "error opening file"

enum class FileFormat {
    Unknown,
    Tavix,     // magic "tvxd"
    Jpeg2000,  // JP2 signature box or a bare codestream
    Nitf,      // "NITF" or "NSIF" header
    BBB,       // raw data with a "hdr" header beside it
};

// Looks at the first bytes of the file, then for a BBB header beside it.
// 50004 if the file can't be read.
QVStatus detectFormat(const Orvanetics::QVFileSpec& file, FileFormat& format);

// A stage open on one image of a file, with what the tools say about its source.
class OpenedImage {
public:
    OpenedImage() = default;
    OpenedImage(const OpenedImage&) = delete;
    OpenedImage& operator=(const OpenedImage&) = delete;
    ~OpenedImage();

    // Opens the file with the reader its content asks for: the whole file,
    // or with an index only that image of it. 3 for an index beyond the
    // file's images, 7003 for content no reader knows, 50002 for a format
    // whose reader this build lacks.
    QVStatus open(const Orvanetics::QVFileSpec& file, std::optional<uint32_t> imageIndex);

    // The last stage of the chain; the object keeps one reference on it
    // until it is destroyed.
    Orvanetics::QVIImageStage& stage() const { return *m_stage; }
    // For the push operations that replace the last stage by one built over it.
    Orvanetics::QVIImageStage*& chain() { return m_stage; }

    // "XR3", "XR4", "BBB" and so on.
    const std::string& formatName() const { return m_formatName; }
    // The wavelet generation (2, 3, 4); 0 for other formats.
    uint32_t generation() const { return m_generation; }
    uint32_t numImages() const { return m_numImages; }

private:
    QVStatus openTavix(const Orvanetics::QVFileSpec& file, std::optional<uint32_t> imageIndex);
    QVStatus openTavixImage(const Orvanetics::QVFileSpec& file, uint32_t imageIndex);
    QVStatus openBBB(const Orvanetics::QVFileSpec& file, std::optional<uint32_t> imageIndex);

    Orvanetics::QVIImageStage* m_stage = nullptr;
    std::string m_formatName;
    uint32_t m_generation = 0;
    uint32_t m_numImages = 0;
};

// "UINT8" ... "FLOAT64", "INVALID".
const char* dataTypeName(Orvanetics::QVIDataType dataType);
// "GRAYSCALE", "RGBA", "MULTISPECTRAL" and so on; "INVALID" for others.
const char* colorSpaceName(Orvanetics::QVIColorSpace colorSpace);

}  // namespace QVTool
