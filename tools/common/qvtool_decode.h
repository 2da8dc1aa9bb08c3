// Decoding a scene of a stage into a file: band selection, the choice of
// writer from the output name, the world file, the delegates, and no partial
// file left behind after a failure or Ctrl-C.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qvi_dataType.h"
#include "qvi_delegates.h"
#include "qvi_imageStage.h"
#include "qvi_layout.h"

namespace QVTool {

using Orvanetics::QVStatus;

constexpr QVStatus kStsBandStringSyntax = 50230;  // "bad format or syntax error of band string"
constexpr QVStatus kStsIllegalBandNumber = 50231;  // "illegal band number"

enum class OutputFormat { PNG, BBB, Raw };

struct OutputSpec {
    std::string path;
    OutputFormat format = OutputFormat::PNG;
    // Sample order of BBB and raw output.
    Orvanetics::QVILayout layout = Orvanetics::QVI_LAYOUT_BIP;
    Orvanetics::QVIEndian byteOrder = Orvanetics::QVI_ENDIAN_HOST;
    bool writeWorldFile = true;
    // Rows per strip; 0 keeps the writer's default.
    uint32_t stripHeight = 0;
};

// "png", "bbb", "raw"; false for others.
bool parseOutputFormat(const std::string& name, OutputFormat& format);
// From the output name's suffix: "png"; "bil", "bsq", "bip" (BBB with that
// layout); "raw". False when the suffix says nothing.
bool outputFormatFromName(const std::string& path, OutputFormat& format,
                          Orvanetics::QVILayout& layout);

// "2,0,1": zero-based band numbers of an image with numBands bands, in the
// order wanted. 50230 for bad syntax, 50231 for a band the image lacks.
QVStatus parseBandList(const std::string& text, uint16_t numBands, std::vector<uint16_t>& bands);

// Replaces `stage` by a stage that shows only the given bands, in that order
// (the caller's reference moves to the new stage, which holds the old one).
// With `displayable`, one or three bands that have no grey or RGB meaning
// are shown as grey or RGB so that display formats take them.
QVStatus pushBandSelection(Orvanetics::QVIImageStage*& stage, const std::vector<uint16_t>& bands,
                           bool displayable);

// Writes the scene of the stage to the output. The scene is checked against
// the stage before any file is made; a failed or interrupted write removes
// the file it made.
QVStatus writeScene(Orvanetics::QVIImageStage& stage, const Orvanetics::QVIScene& scene,
                    const OutputSpec& output, Orvanetics::QVIProgressDelegate* progress,
                    Orvanetics::QVIInterruptDelegate* interrupt);

}  // namespace QVTool
