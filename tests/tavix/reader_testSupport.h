// Helpers shared by the reader tests: files of several images (with empty
// planes unless told otherwise), hand-made metadata bytes, and a file held
// in memory with its stream, bare or open in the front reader.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qv_ioMemStream.h"
#include "tavix_fixtureWriter.h"
#include "tavix_imageReader.h"
#include "tavix_planesetWriter.h"
#include "xr3_headerPacket.h"

namespace ReaderTest {

using namespace Orvanetics;
using namespace TavixFixture;

// One image of a file: its header info and planes.
struct ImagePart {
    XR3ImageInfo info;
    PlanesetContent content;
    PlanesetOptions options;
};

inline ImagePart emptyImage(uint32_t width, uint32_t height, uint8_t numLevels, uint16_t numBands,
                            uint16_t subblockSize, uint32_t imageNumber = 0) {
    return ImagePart{makeImageInfo(width, height, numLevels, numBands, subblockSize, imageNumber), {}, {}};
}

// A whole file: the images' header and planeset packets, the extra packets
// between them, an index if asked for.
inline std::vector<uint8_t> writeFile(const XR3Version& version, std::vector<ImagePart> images,
                                      std::vector<std::unique_ptr<XR3Packet>> extras = {},
                                      IndexKind index = IndexKind::None,
                                      uint32_t overview = XR3ContentsPacket::kNoOverviewImage) {
    PacketFileWriter writer(version);
    writer.setIndex(index, overview);
    for (ImagePart& image : images) {
        XR3ImageInfo header = image.info;
        header.hasPlaneMSE = image.options.hasMSE;
        writer.addPacket(std::make_unique<XR3HeaderPacket>(header));
    }
    for (auto& packet : extras) writer.addPacket(std::move(packet));
    for (ImagePart& image : images) {
        XR3ImageInfo header = image.info;
        header.hasPlaneMSE = image.options.hasMSE;
        writer.addPacket(std::make_unique<FixturePlanesetPacket>(header, image.content, image.options));
    }
    std::vector<uint8_t> bytes;
    if (writer.writeToBytes(bytes) != 0) ADD_FAILURE() << "fixture file not written";
    return bytes;
}

// Big-endian bytes of integers and doubles, written by hand.
inline void appendBE(std::vector<uint8_t>& out, uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) out.push_back(uint8_t(value >> (8 * (width - 1 - i))));
}
inline void appendBEDouble(std::vector<uint8_t>& out, double value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    appendBE(out, bits, 8);
}

// Georeference packet bytes: corners of the outer pixel centres, pixel size,
// and optionally an unsigned 8-bit background pixel.
inline std::vector<uint8_t> georefBytes(double xUL, double yUL, double xLR, double yLR, double xRes, double yRes,
                                        const std::vector<uint8_t>& background = {}) {
    std::vector<uint8_t> out;
    out.push_back(uint8_t(background.empty() ? 0x1 : 0x5));
    for (double v : {xUL, yUL, xLR, yLR, xRes, yRes}) appendBEDouble(out, v);
    if (!background.empty()) {
        appendBE(out, background.size(), 2);
        out.push_back(5);  // unsigned 8
        out.insert(out.end(), background.begin(), background.end());
    }
    return out;
}

inline ClassicalRecord textRecord(const std::string& key, const std::string& value) {
    ClassicalRecord record;
    record.key = key;
    record.strings = {value};
    return record;
}

// A file in memory with its open stream.
struct MemFile {
    std::vector<uint8_t> bytes;
    std::unique_ptr<QVIOMemStream> stream;

    explicit MemFile(std::vector<uint8_t> fileBytes) : bytes(std::move(fileBytes)), stream(openMemStream(bytes)) {}
};

// A file in memory open in the front reader, released at the end.
struct OpenFront {
    MemFile file;
    TavixImageReader* reader = TavixImageReader::create();

    explicit OpenFront(std::vector<uint8_t> bytes, TavixMemoryUsage usage = TAVIX_MEMORY_USAGE_DEFAULT)
        : file(std::move(bytes)) {
        EXPECT_EQ(0u, reader->initialize(file.stream.get(), nullptr, usage));
    }
    ~OpenFront() { reader->release(); }
};

}  // namespace ReaderTest
