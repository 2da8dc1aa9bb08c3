// Which plane bytes a decode reads: a scene at the smallest magnification
// touches the payloads of the low-low band and the coarsest level only.
#include <gtest/gtest.h>

#include <memory>

#include "qvi_sceneBuffer.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"

namespace {

using namespace ReaderTest;

// Reads of a memory stream and of all its duplicates, in one shared log.
class LoggedStream : public QVIOMemStream {
public:
    using Log = std::vector<std::pair<int64_t, uint32_t>>;

    LoggedStream(std::vector<uint8_t>& bytes, std::shared_ptr<Log> log) : m_bytes(bytes), m_log(std::move(log)) {
        EXPECT_EQ(0u, initialize(bytes.data(), uint32_t(bytes.size())));
    }
    uint32_t read(uint8_t* buffer, uint32_t count) override {
        const int64_t position = tell();
        const uint32_t moved = QVIOMemStream::read(buffer, count);
        m_log->push_back({position, moved});
        return moved;
    }
    QVIOStreamInf* duplicate() override { return new LoggedStream(m_bytes, m_log); }

private:
    std::vector<uint8_t>& m_bytes;
    std::shared_ptr<Log> m_log;
};

TEST(TavixReaderTouch, SmallestMagnificationReadsTheCoarsestBandsOnly) {
    ImagePart image = emptyImage(96, 80, 3, 1, 8);
    PlanesetContent::RandomShape shape;
    shape.subblockDensity = 1.0;
    shape.bandDensity = 1.0;
    image.content = PlanesetContent::random(image.info, 5, shape);
    image.options.layout = XR3_PLANESET_LAYOUT_DATA_FIRST;
    const FixturePlanesetPacket planeset(image.info, image.content, image.options);
    std::vector<uint8_t> bytes = writeFile(XR3Version::getXR4Version(), {image});
    int64_t dataStart = 0;
    for (const PacketLayout& packet : describePackets(bytes)) {
        if (packet.type.getType() == XR3_PACKET_PLANESET)
            dataStart = packet.payloadPosition + XR3PlanesetPacket::kPrefixLength;
    }
    ASSERT_GT(dataStart, 0);

    auto log = std::make_shared<LoggedStream::Log>();
    LoggedStream stream(bytes, log);
    TavixImageReader* reader = TavixImageReader::create();
    ASSERT_EQ(0u, reader->initialize(&stream));
    const double mag = reader->getMinMagnification();
    uint32_t w = 0, h = 0;
    ASSERT_EQ(0u, reader->getDimsAtMag(mag, w, h));
    QVISceneBuffer buffer(reader->getPixelProps(), w, h);
    // The first decode walks the tokens; the second reads plane payloads alone.
    (void)reader->read(QVIScene(0, 0, w, h, mag), buffer);
    log->clear();
    (void)reader->read(QVIScene(0, 0, w, h, mag), buffer);

    const auto touched = [&](int64_t begin, int64_t end) {
        for (const auto& [position, count] : *log)
            if (count > 0 && position < end && position + count > begin) return true;
        return false;
    };
    uint32_t coarse = 0;
    for (const WrittenPlane& plane : planeset.getWrittenPlanes()) {
        const int64_t begin = dataStart + plane.payloadOffset;
        const bool read = touched(begin, begin + plane.payloadLength);
        if (plane.desc.subband > 4) {
            EXPECT_FALSE(read) << "subband " << int(plane.desc.subband);
        } else {
            coarse += read;
        }
    }
    EXPECT_GT(coarse, 0u);
    reader->release();
}

}  // namespace
