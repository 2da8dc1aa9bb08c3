// Damaged files through the whole reader: cut at many lengths or with bytes
// flipped, each either opens and reads or fails with a status, never a crash.
#include <gtest/gtest.h>

#include <random>

#include "qvi_sceneBuffer.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"

namespace {

using namespace ReaderTest;

// Opens the bytes and, if that works, reads the whole image at full and at
// the smallest magnification. Any status is fine; the point is getting here.
void openAndRead(std::vector<uint8_t> bytes) {
    MemFile file(std::move(bytes));
    TavixImageReader* reader = TavixImageReader::create();
    if (reader->initialize(file.stream.get()) == 0) {
        for (double mag : {1.0, reader->getMinMagnification()}) {
            uint32_t width = 0, height = 0;
            ASSERT_EQ(0u, reader->getDimsAtMag(mag, width, height));
            QVISceneBuffer buffer(reader->getPixelProps(), width, height);
            const QVStatus status = reader->read(QVIScene(0, 0, width, height, mag), buffer);
            (void)status;
        }
    }
    reader->release();
}

std::vector<std::vector<uint8_t>> damageSubjects() {
    std::vector<std::vector<uint8_t>> files;
    PlanesetContent::RandomShape shape;
    shape.maxBytes = 12;
    uint32_t seed = 11;
    for (XR3PlanesetLayout layout :
         {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_LAYOUT_RASTER_BLOCK}) {
        ImagePart image = emptyImage(37, 29, 2, 3, 8);
        image.content = PlanesetContent::random(image.info, seed++, shape);
        image.options.layout = layout;
        image.options.subblocksPerBlock = 5;
        image.options.hasMSE = layout == XR3_PLANESET_LAYOUT_DATA_FIRST;
        files.push_back(writeFile(XR3Version::getXR4Version(), {image}, {}, IndexKind::Major1Measured));
    }
    return files;
}

TEST(TavixReaderRobustness, TruncatedFilesOpenOrFailWithAStatus) {
    for (const std::vector<uint8_t>& bytes : damageSubjects()) {
        const size_t step = std::max<size_t>(1, bytes.size() / 60);
        for (size_t length = 0; length < bytes.size(); length += step) {
            SCOPED_TRACE(length);
            openAndRead(std::vector<uint8_t>(bytes.begin(), bytes.begin() + length));
        }
    }
}

TEST(TavixReaderRobustness, FlippedBytesOpenOrFailWithAStatus) {
    std::mt19937 random(2024);
    for (const std::vector<uint8_t>& bytes : damageSubjects()) {
        for (int trial = 0; trial < 60; ++trial) {
            std::vector<uint8_t> damaged = bytes;
            const size_t at = random() % damaged.size();
            damaged[at] ^= uint8_t(1u << (random() % 8));
            if (trial % 3 == 0) damaged[random() % damaged.size()] = uint8_t(random());
            SCOPED_TRACE(at);
            openAndRead(std::move(damaged));
        }
    }
}

}  // namespace
