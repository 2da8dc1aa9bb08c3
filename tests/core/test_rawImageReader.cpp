// The raw reader against files whose bytes the test lays out itself, sample by
// sample, for every data type, layout and byte order.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "qv_ioMemStream.h"
#include "qvi_geoCoord.h"
#include "qvi_metadataDatabase.h"
#include "qvi_metadataRecord.h"
#include "qvi_pixel.h"
#include "qvi_rawImageReader.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"
#include "rasters_support.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace RastersTest;

namespace {

// Byte k of sample (band, row, col), in host order.
uint8_t sampleByte(uint32_t band, uint32_t row, uint32_t col, uint32_t k)
{
    return uint8_t(band * 31 + row * 17 + col * 5 + k * 73 + 11);
}

struct RawGeometry {
    uint32_t width = 37;
    uint32_t height = 23;
    uint32_t bands = 3;
    uint32_t sampleBytes = 1;
    QVILayout layout = QVI_LAYOUT_BIP;
    bool bigEndian = false;
    uint32_t skipStart = 0;
    uint32_t skipEnd = 0;
    uint32_t rowPadding = 0;  // bytes after each row (of all bands for BIP, of a band otherwise)
};

// The file's bytes, laid out from the description alone.
std::vector<uint8_t> makeRawFile(const RawGeometry& g)
{
    std::vector<uint8_t> file(g.skipStart, 0xEE);
    auto putSample = [&](uint32_t band, uint32_t row, uint32_t col) {
        for (uint32_t k = 0; k < g.sampleBytes; ++k) {
            const uint32_t hostByte = g.bigEndian ? g.sampleBytes - 1 - k : k;
            file.push_back(sampleByte(band, row, col, hostByte));
        }
    };
    auto pad = [&] { file.insert(file.end(), g.rowPadding, 0xDD); };
    if (g.layout == QVI_LAYOUT_BIP) {
        for (uint32_t row = 0; row < g.height; ++row, pad())
            for (uint32_t col = 0; col < g.width; ++col)
                for (uint32_t band = 0; band < g.bands; ++band)
                    putSample(band, row, col);
    } else if (g.layout == QVI_LAYOUT_BIL) {
        for (uint32_t row = 0; row < g.height; ++row)
            for (uint32_t band = 0; band < g.bands; ++band, pad())
                for (uint32_t col = 0; col < g.width; ++col)
                    putSample(band, row, col);
    } else {
        for (uint32_t band = 0; band < g.bands; ++band)
            for (uint32_t row = 0; row < g.height; ++row, pad())
                for (uint32_t col = 0; col < g.width; ++col)
                    putSample(band, row, col);
    }
    file.insert(file.end(), g.skipEnd, 0xCC);
    return file;
}

QVIRawImageReader* makeReader(const RawGeometry& g)
{
    QVIRawImageReader* reader = QVIRawImageReader::create();
    reader->setLayout(g.layout);
    reader->setByteOrder(g.bigEndian ? QVI_ENDIAN_BIG : QVI_ENDIAN_LITTLE);
    reader->setSkipBytes(g.skipStart, g.skipEnd);
    if (g.rowPadding != 0) {
        const uint32_t rowSamples = g.layout == QVI_LAYOUT_BIP ? g.bands * g.width : g.width;
        reader->setRowBytes(int64_t(rowSamples) * g.sampleBytes + g.rowPadding);
    }
    return reader;
}

// Reads the scene through the frame and compares every byte with the formula.
void expectScene(QVIRawImageReader& reader, const QVIPixel& pixel, const QVIScene& scene,
                 const std::string& what)
{
    QVISceneBuffer buffer(pixel, uint32_t(scene.getNumCols()), uint32_t(scene.getNumRows()));
    ASSERT_EQ(reader.read(scene, buffer), 0u) << what;
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
        const uint32_t source = buffer.getSourceBandIndex(band);
        const uint32_t bytes = pixel.getSample(band).getNumBytes();
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
            for (uint32_t col = 0; col < buffer.getNumCols(); ++col) {
                const uint8_t* got = static_cast<const uint8_t*>(buffer.getSample(col, row, band));
                for (uint32_t k = 0; k < bytes; ++k) {
                    const uint32_t imageRow = uint32_t(scene.getUpperLeftRow()) + row;
                    const uint32_t imageCol = uint32_t(scene.getUpperLeftCol()) + col;
                    ASSERT_EQ(got[k], sampleByte(source, imageRow, imageCol, k))
                        << what << " band " << band << " row " << row << " col " << col;
                }
            }
        }
    }
}

const QVIDataType kAllTypes[] = {QVI_DATATYPE_UINT8,  QVI_DATATYPE_SINT8,  QVI_DATATYPE_UINT16,
                                 QVI_DATATYPE_SINT16, QVI_DATATYPE_UINT32, QVI_DATATYPE_SINT32,
                                 QVI_DATATYPE_FLOAT32, QVI_DATATYPE_FLOAT64};

class RawReaderFiles : public ::testing::Test {
protected:
    std::string dir = TestPaths::tempDir("raw_reader");
};

}  // namespace

TEST_F(RawReaderFiles, EveryTypeLayoutAndByteOrderDecodesWholeAndInParts)
{
    for (QVIDataType type : kAllTypes) {
        for (QVILayout layout : {QVI_LAYOUT_BIP, QVI_LAYOUT_BSQ, QVI_LAYOUT_BIL}) {
            for (bool bigEndian : {false, true}) {
                RawGeometry g;
                g.sampleBytes = QVIUtils::getNumBytes(type);
                g.layout = layout;
                g.bigEndian = bigEndian;
                g.skipStart = 13;
                g.skipEnd = 7;
                const std::string path = dir + "/image.raw";
                writeBytes(path, makeRawFile(g));
                const std::string what = "type " + std::to_string(type) + " layout " +
                                         std::to_string(layout) + (bigEndian ? " big" : " little");
                const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, type);
                QVIRawImageReader* reader = makeReader(g);
                ASSERT_EQ(reader->initialize(path.c_str(), pixel, g.width, g.height, false), 0u)
                    << what;
                expectScene(*reader, pixel, QVIScene(0, 0, g.width, g.height, 1.0), what + " whole");
                expectScene(*reader, pixel, QVIScene(5, 3, 17, 11, 1.0), what + " part");
                expectScene(*reader, pixel, QVIScene(36, 22, 1, 1, 1.0), what + " last pixel");
                const uint16_t selection[] = {2, 0};
                expectScene(*reader, QVIPixel(pixel, selection, 2), QVIScene(9, 4, 13, 18, 1.0),
                            what + " bands 2, 0");
                reader->release();
            }
        }
    }
}

TEST_F(RawReaderFiles, PaddedRowsAndLongStripsDecode)
{
    for (QVILayout layout : {QVI_LAYOUT_BIP, QVI_LAYOUT_BSQ, QVI_LAYOUT_BIL}) {
        RawGeometry g;
        g.sampleBytes = 2;
        g.layout = layout;
        g.rowPadding = 6;
        g.height = 40;
        const std::string path = dir + "/padded.raw";
        writeBytes(path, makeRawFile(g));
        const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
        QVIRawImageReader* reader = makeReader(g);
        ASSERT_EQ(reader->initialize(path.c_str(), pixel, g.width, g.height, false), 0u);
        reader->setStripHeight(7);
        expectScene(*reader, pixel, QVIScene(0, 0, g.width, g.height, 1.0), "padded whole");
        expectScene(*reader, pixel, QVIScene(3, 5, 30, 33, 1.0), "padded part");
        reader->release();
    }
}

TEST_F(RawReaderFiles, RefusedSetupsGiveStatuses)
{
    RawGeometry g;
    g.layout = QVI_LAYOUT_BSQ;
    g.skipStart = 4;
    const std::vector<uint8_t> bytes = makeRawFile(g);
    const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    const std::string path = dir + "/size.raw";
    const auto initialize = [&](const std::vector<uint8_t>& file, auto&& configure) {
        writeBytes(path, file);
        QVIRawImageReader* reader = makeReader(g);
        configure(*reader);
        const QVStatus status = reader->initialize(path.c_str(), pixel, g.width, g.height, false);
        reader->release();
        return status;
    };
    const auto asIs = [](QVIRawImageReader&) {};
    std::vector<uint8_t> longer = bytes;
    longer.push_back(0);
    EXPECT_EQ(initialize(longer, asIs), 50025u);
    EXPECT_EQ(initialize(std::vector<uint8_t>(bytes.begin(), bytes.end() - 1), asIs), 50025u);
    EXPECT_EQ(initialize(bytes, [](QVIRawImageReader& r) { r.setLayout(QVILayout(4)); }), 1u);
    // A row stride shorter than a row of pixels.
    EXPECT_NE(initialize(bytes, [](QVIRawImageReader& r) { r.setRowBytes(5); }), 0u);

    QVIRawImageReader* reader = QVIRawImageReader::create();
    EXPECT_EQ(reader->initialize(dir + "/absent.raw", pixel, g.width, g.height, false), 50004u);
    reader->release();
}

TEST_F(RawReaderFiles, SourceNameAndWorldFileAreTaken)
{
    RawGeometry g;
    g.bands = 1;
    const std::string path = dir + "/named.bil";
    writeBytes(path, makeRawFile(g));
    writeText(dir + "/named.blw", "2.0\n0.0\n0.0\n-3.0\n100.0\n200.0\n");
    const QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);

    QVIRawImageReader* reader = QVIRawImageReader::create();
    ASSERT_EQ(reader->initialize(path.c_str(), pixel, g.width, g.height, true), 0u);
    EXPECT_EQ(reader->getSourceName(), path);
    const QVIMetadataRecord* record = nullptr;
    ASSERT_EQ(reader->getMetadata().get(QVI_METADATA_TAG_IMAGE_INPUT_NAME, record), 0u);
    EXPECT_STREQ(*static_cast<const char* const*>(record->getScalarData()), path.c_str());
    EXPECT_FALSE(reader->isGeoCoordImplicit());
    EXPECT_EQ(reader->getGeoCoord(), QVIGeoCoord(100.0, 200.0, 2.0, -3.0, 0.0, 0.0));
    reader->release();

    reader = QVIRawImageReader::create();
    ASSERT_EQ(reader->initialize(path.c_str(), pixel, g.width, g.height, false), 0u);
    EXPECT_TRUE(reader->isGeoCoordImplicit());
    EXPECT_EQ(reader->getGeoCoord().getY(), double(g.height - 1));
    reader->release();
}

namespace {

// A memory stream that counts the seeks and reads asked of it.
class CountingStream : public QVIOMemStream {
public:
    QVStatus seek(int64_t offset, QVIOSeekDir dir) override
    {
        ++seeks;
        return QVIOMemStream::seek(offset, dir);
    }
    uint32_t read(uint8_t* buffer, uint32_t count) override
    {
        ++reads;
        return QVIOMemStream::read(buffer, count);
    }
    int seeks = 0;
    int reads = 0;
};

}  // namespace

TEST(RawReaderStream, CallersStreamIsReadWithAtMostOneSeekPerRowAndFailuresReturned)
{
    for (QVILayout layout : {QVI_LAYOUT_BIP, QVI_LAYOUT_BIL}) {
        RawGeometry g;
        g.layout = layout;
        g.sampleBytes = 4;
        g.skipStart = 3;
        std::vector<uint8_t> bytes = makeRawFile(g);
        CountingStream stream;
        ASSERT_EQ(stream.initialize(bytes.data(), uint32_t(bytes.size())), 0u);
        QVIRawImageReader* reader = makeReader(g);
        const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_FLOAT32);
        ASSERT_EQ(reader->initialize(&stream, pixel, g.width, g.height, false), 0u);
        EXPECT_EQ(reader->getSourceName(), stream.getID());
        if (layout == QVI_LAYOUT_BIP) {
            // Skip bytes that the size check can't see (a stream of unknown length)
            // fail the read, which closes the stream.
            QVIRawImageReader* failing = makeReader(g);
            ASSERT_EQ(failing->initialize(&stream, pixel, g.width, g.height, false), 0u);
            failing->setSkipBytes(1 << 20, 0);
            QVISceneBuffer buffer(pixel, g.width, g.height);
            EXPECT_NE(failing->read(QVIScene(0, 0, g.width, g.height, 1.0), buffer), 0u);
            EXPECT_FALSE(stream.isOpen());
            failing->release();
            ASSERT_EQ(stream.open(), 0u);
        }
        stream.seeks = stream.reads = 0;
        const QVIScene part(4, 2, 9, 20, 1.0);
        expectScene(*reader, pixel, part, "counted");
        EXPECT_LE(stream.seeks, part.getNumRows()) << "layout " << layout;
        EXPECT_LE(stream.reads, part.getNumRows()) << "layout " << layout;
        reader->release();
        EXPECT_TRUE(stream.isOpen()) << "the caller's stream stays the caller's";
    }
}
