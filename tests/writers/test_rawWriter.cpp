// The raw and BBB writers: every data type and layout written and read back
// through our reader and through GDAL; the header's lines and their order.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sstream>

#include "qv_ioDynamicMemStream.h"
#include "qvi_bbbImageReader.h"
#include "qvi_bbbImageWriter.h"
#include "qvi_geoCoord.h"
#include "qvi_rawImageReader.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"
#include "rasters_support.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace RastersTest;

namespace {

const QVIDataType kAllTypes[] = {QVI_DATATYPE_UINT8,  QVI_DATATYPE_SINT8,  QVI_DATATYPE_UINT16,
                                 QVI_DATATYPE_SINT16, QVI_DATATYPE_UINT32, QVI_DATATYPE_SINT32,
                                 QVI_DATATYPE_FLOAT32, QVI_DATATYPE_FLOAT64};

constexpr uint32_t kWidth = 23;
constexpr uint32_t kHeight = 19;

// Distinct bytes for every sample; floats take finite values.
ArrayReader* makeStage(QVIDataType type, QVIColorSpace space = QVI_COLORSPACE_RGB,
                       uint16_t bands = 3)
{
    const uint32_t bytes = QVIUtils::getNumBytes(type);
    std::vector<uint8_t> samples(size_t(kWidth) * kHeight * bands * bytes);
    for (size_t i = 0; i < samples.size() / bytes; ++i) {
        uint8_t* at = samples.data() + i * bytes;
        if (type == QVI_DATATYPE_FLOAT32) {
            const float value = float(i) * 0.5f - 300.25f;
            std::memcpy(at, &value, 4);
        } else if (type == QVI_DATATYPE_FLOAT64) {
            const double value = double(i) * 0.125 - 1e6;
            std::memcpy(at, &value, 8);
        } else {
            const uint64_t value = i * 0x9E3779B97F4A7C15ull;
            std::memcpy(at, &value, bytes);
        }
    }
    ArrayReader* stage = ArrayReader::create(QVIPixel(space, bands, type), kWidth, kHeight,
                                             std::move(samples));
    stage->setGeoCoord(QVIGeoCoord(300000.5, 4200000.5, 30.0, -30.0, 0.0, 0.0));
    return stage;
}

// Compares a decoded scene with the stage's own samples.
void expectSamples(QVIImageStage& reader, const ArrayReader& stage, const QVIScene& scene,
                   const std::string& what)
{
    const QVIPixel& pixel = stage.getPixelProps();
    QVISceneBuffer buffer(pixel, uint32_t(scene.getNumCols()), uint32_t(scene.getNumRows()));
    ASSERT_EQ(reader.read(scene, buffer), 0u) << what;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        const uint32_t bytes = pixel.getSample(band).getNumBytes();
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
            const uint8_t* expected = stage.sample(band, uint32_t(scene.getUpperLeftRow()) + row,
                                                   uint32_t(scene.getUpperLeftCol()));
            ASSERT_EQ(std::memcmp(buffer.getSample(0, row, band), expected,
                                  size_t(buffer.getNumCols()) * bytes), 0)
                << what << " band " << band << " row " << row;
        }
    }
}

std::string suffixOf(QVILayout layout)
{
    return layout == QVI_LAYOUT_BIL ? "bil" : layout == QVI_LAYOUT_BSQ ? "bsq" : "bip";
}

// GDAL needs its PIXELTYPE keyword for signed and float samples; ours has DATATYPE.
std::string gdalFlavour(const std::string& header, QVIDataType type)
{
    if (QVIUtils::isFloatingPoint(type))
        return header + "PIXELTYPE FLOAT\n";
    if (QVIUtils::isSigned(type))
        return header + "PIXELTYPE SIGNEDINT\n";
    return header;
}

// GDAL's EHdr reader has no 64-bit or signed 8-bit samples: the same bytes are
// then described to it by an ENVI header of their own.
bool gdalReadsAsEHdr(QVIDataType type)
{
    return type != QVI_DATATYPE_FLOAT64 && type != QVI_DATATYPE_SINT8;
}

std::string describeAsEnvi(const std::string& dir, const std::string& dataFile, QVIDataType type,
                           QVILayout layout, QVIEndian order)
{
    const std::string path = dir + "/envi.img";
    std::filesystem::copy_file(dataFile, path, std::filesystem::copy_options::overwrite_existing);
    writeText(dir + "/envi.hdr",
              "ENVI\nsamples = " + std::to_string(kWidth) + "\nlines = " + std::to_string(kHeight) +
                  "\nbands = 3\nheader offset = 0\nfile type = ENVI Standard\ndata type = " +
                  (type == QVI_DATATYPE_FLOAT64 ? "5" : "1") + "\ninterleave = " +
                  suffixOf(layout) + "\nbyte order = " + (order == QVI_ENDIAN_BIG ? "1" : "0") +
                  "\n");
    return path;
}

}  // namespace

TEST(BBBWriter, EveryTypeAndLayoutReadsBackThroughOurReader)
{
    const std::string dir = TestPaths::tempDir("bbb_writer");
    for (QVIDataType type : kAllTypes) {
        for (QVILayout layout : {QVI_LAYOUT_BIP, QVI_LAYOUT_BSQ, QVI_LAYOUT_BIL}) {
            for (QVIEndian order : {QVI_ENDIAN_LITTLE, QVI_ENDIAN_BIG, QVI_ENDIAN_HOST}) {
                const std::string what = "type " + std::to_string(type) + " layout " +
                                         std::to_string(layout) + " order " + std::to_string(order);
                ArrayReader* stage = makeStage(type);
                QVIBBBImageWriter writer;
                ASSERT_EQ(writer.initialize(stage), 0u) << what;
                writer.setLayout(layout);
                writer.setByteOrder(order);
                writer.setStripHeight(5);
                const std::string path = dir + "/out.dat";
                ASSERT_EQ(writer.setOutputFileSpec(path.c_str()), 0u);
                ASSERT_EQ(writer.write(QVIScene(0, 0, kWidth, kHeight, 1.0)), 0u) << what;

                QVIBBBImageReader* reader = QVIBBBImageReader::create();
                ASSERT_EQ(reader->initialize(path.c_str(), false), 0u) << what;
                EXPECT_EQ(reader->getLayout(), layout) << what;
                EXPECT_EQ(reader->getColorSpace(), QVI_COLORSPACE_RGB) << what;
                EXPECT_EQ(reader->getGeoCoord(), stage->getGeoCoord()) << what;
                expectSamples(*reader, *stage, QVIScene(0, 0, kWidth, kHeight, 1.0), what);
                expectSamples(*reader, *stage, QVIScene(3, 4, 11, 13, 1.0), what + " part");
                reader->release();
                stage->release();
            }
        }
    }
}

namespace {

class BBBWriterGdal : public ::testing::TestWithParam<QVIDataType> {};

}  // namespace

TEST_P(BBBWriterGdal, EveryLayoutReadsBackThroughGdal)
{
    REQUIRE_GDAL_TOOLS();
    const QVIDataType type = GetParam();
    const std::string dir = TestPaths::tempDir("bbb_writer_gdal_" + std::to_string(type));
    int variant = int(type);
    {
        for (QVILayout layout : {QVI_LAYOUT_BIP, QVI_LAYOUT_BSQ, QVI_LAYOUT_BIL}) {
            const QVIEndian order = (variant++ % 2) ? QVI_ENDIAN_BIG : QVI_ENDIAN_LITTLE;
            const std::string what = "type " + std::to_string(type) + " layout " +
                                     std::to_string(layout) + " order " + std::to_string(order);
            ArrayReader* stage = makeStage(type);
            QVIBBBImageWriter writer;
            ASSERT_EQ(writer.initialize(stage), 0u);
            writer.setLayout(layout);
            writer.setByteOrder(order);
            const std::string path = dir + "/out." + suffixOf(layout);
            ASSERT_EQ(writer.setOutputFileSpec(path.c_str()), 0u);
            ASSERT_EQ(writer.write(QVIScene(0, 0, kWidth, kHeight, 1.0)), 0u) << what;
            writeText(dir + "/out.hdr", gdalFlavour(readText(dir + "/out.hdr"), type));
            const std::string source =
                gdalReadsAsEHdr(type) ? path : describeAsEnvi(dir, path, type, layout, order);

            GdalImage gdal;
            ASSERT_TRUE(gdalDecode(source, dir, gdal)) << what;
            ASSERT_EQ(gdal.bands, 3u);
            ASSERT_EQ(gdal.sampleBytes, QVIUtils::getNumBytes(type)) << what;
            const size_t plane = size_t(kWidth) * kHeight * gdal.sampleBytes;
            for (uint16_t band = 0; band < 3; ++band)
                EXPECT_EQ(std::memcmp(gdal.sample(band, 0, 0), stage->sample(band, 0, 0), plane), 0)
                    << what << " band " << band;
            if (layout == QVI_LAYOUT_BIL && gdalReadsAsEHdr(type)) {
                std::array<double, 6> transform{};
                ASSERT_TRUE(gdalGeoTransform(path, dir, transform));
                EXPECT_DOUBLE_EQ(transform[0], 300000.5 - 15.0);
                EXPECT_DOUBLE_EQ(transform[3], 4200000.5 + 15.0);
                EXPECT_DOUBLE_EQ(transform[5], -30.0);
            }
            stage->release();
        }
    }
}

// Unsigned, signed and float samples through GDAL's EHdr reader, and
// 64-bit ones through its ENVI reader.
INSTANTIATE_TEST_SUITE_P(Types, BBBWriterGdal,
                         ::testing::Values(QVI_DATATYPE_UINT8, QVI_DATATYPE_SINT16, QVI_DATATYPE_FLOAT32,
                                           QVI_DATATYPE_FLOAT64),
                         [](const ::testing::TestParamInfo<QVIDataType>& info) {
                             return "Type" + std::to_string(info.param);
                         });

TEST(BBBWriter, HeaderLinesComeInTheirOrderWithTheSmallestOfTheMaxima)
{
    const std::string dir = TestPaths::tempDir("bbb_header");
    // The header of the stage's image (or scene) as written, or the status.
    const auto header = [&dir](ArrayReader* stage, const std::string& name, const QVIScene* scene,
                               QVIEndian endian, QVILayout layout) {
        const QVStatus status = QVIBBBImageWriter::writeHeader(QVFileSpec(dir + "/" + name), *stage, scene,
                                                               endian, layout);
        stage->release();
        return status != 0 ? std::to_string(status)
                           : readText(dir + "/" + QVFileSpec(name).replaceSuffix("hdr").getPath());
    };
    ArrayReader* stage = makeStage(QVI_DATATYPE_UINT16);
    QVIPixel low(stage->getPixelProps());
    QVIPixel high(stage->getPixelProps());
    const uint16_t lows[] = {10, 5, 30};
    const uint16_t highs[] = {100, 200, 300};
    low.setSampleValues(lows);
    high.setSampleValues(highs);
    ASSERT_EQ(stage->setDynamicRange(low, high), 0u);
    const QVIScene scene(2, 4, 8, 5, 1.0);
    EXPECT_EQ(header(stage, "a.bil", &scene, QVI_ENDIAN_LITTLE, QVI_LAYOUT_BIL),
              "BYTEORDER I\nLAYOUT BIL\nNROWS 5\nNCOLS 8\nNBANDS 3\nNBITS 16\nDATATYPE U16\n"
              "COLORSPACE RGB\nDYNAMICRANGEMIN 5.000000\nDYNAMICRANGEMAX 100.000000\n"
              "ULXMAP 300060.500000000000000\nULYMAP 4199880.500000000000000\n"
              "XDIM 30.000000000000000\nYDIM 30.000000000000000\n");

    // One-byte samples have no byte order; a natural range writes no range;
    // without a scene the whole image is described.
    EXPECT_EQ(header(makeStage(QVI_DATATYPE_UINT8, QVI_COLORSPACE_MULTISPECTRALA_PM, 4), "b.bip", nullptr,
                     QVI_ENDIAN_BIG, QVI_LAYOUT_BIP),
              "LAYOUT BIP\nNROWS 19\nNCOLS 23\nNBANDS 4\nNBITS 8\nDATATYPE U8\n"
              "COLORSPACE MULTISPETRALA_PM\nULXMAP 300000.500000000000000\n"
              "ULYMAP 4200000.500000000000000\nXDIM 30.000000000000000\nYDIM 30.000000000000000\n");

    // Host order and plain multispectral write no line.
    const std::string floats =
        header(makeStage(QVI_DATATYPE_FLOAT32, QVI_COLORSPACE_MULTISPECTRAL, 5), "c.bsq", nullptr, QVI_ENDIAN_HOST,
               QVI_LAYOUT_BSQ);
    EXPECT_EQ(floats.find("BYTEORDER"), std::string::npos);
    EXPECT_EQ(floats.find("COLORSPACE"), std::string::npos);
    EXPECT_NE(floats.find("DATATYPE F32\nDYNAMICRANGEMIN 0.000000\nDYNAMICRANGEMAX 1.000000\n"), std::string::npos);
    const auto floatStage = [] { return makeStage(QVI_DATATYPE_FLOAT32, QVI_COLORSPACE_MULTISPECTRAL, 5); };
    EXPECT_EQ(header(floatStage(), "d.bsq", nullptr, QVIEndian(9), QVI_LAYOUT_BSQ), "1");
    EXPECT_EQ(header(floatStage(), "d.bsq", nullptr, QVI_ENDIAN_HOST, QVILayout(7)), "50104");
    EXPECT_EQ(header(floatStage(), "missing/d.bsq", nullptr, QVI_ENDIAN_HOST, QVI_LAYOUT_BSQ), "50005");

    // Extra bands make a grey image multispectral: the line names its first colours.
    EXPECT_NE(header(makeStage(QVI_DATATYPE_UINT8, QVI_COLORSPACE_GRAYSCALE, 2), "e.bsq", nullptr, QVI_ENDIAN_HOST,
                     QVI_LAYOUT_BSQ)
                  .find("NBANDS 2\nNBITS 8\nDATATYPE U8\nCOLORSPACE GRAY\n"),
              std::string::npos);
}

TEST(BBBWriter, RefusalsLeaveNoFiles)
{
    const std::string dir = TestPaths::tempDir("bbb_refusals");
    QVISample samples[2] = {QVISample(0, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT8),
                            QVISample(1, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT16)};
    ArrayReader* mixed = ArrayReader::create(QVIPixel(samples, 2, QVI_COLORSPACE_MULTISPECTRAL),
                                             4, 4, {});
    QVIBBBImageWriter writer;
    EXPECT_EQ(writer.initialize(mixed), 50001u);
    mixed->release();

    ArrayReader* stage = makeStage(QVI_DATATYPE_UINT16, QVI_COLORSPACE_RGB, 3);
    QVIBBBImageWriter mismatch;
    ASSERT_EQ(mismatch.initialize(stage), 0u);
    mismatch.setByteOrder(QVIEndian(9));
    ASSERT_EQ(mismatch.setOutputFileSpec((dir + "/m.bil").c_str()), 0u);
    EXPECT_EQ(mismatch.write(QVIScene(0, 0, 4, 4, 1.0)), 1u) << "no such byte order";
    EXPECT_FALSE(std::filesystem::exists(dir + "/m.bil"));
    EXPECT_FALSE(std::filesystem::exists(dir + "/m.hdr"));

    QVIBBBImageWriter badLayout;
    ASSERT_EQ(badLayout.initialize(stage), 0u);
    badLayout.setLayout(QVILayout(0));
    ASSERT_EQ(badLayout.setOutputFileSpec((dir + "/l.bil").c_str()), 0u);
    EXPECT_EQ(badLayout.write(QVIScene(0, 0, 4, 4, 1.0)), 50104u);
    EXPECT_FALSE(std::filesystem::exists(dir + "/l.bil"));

    QVIBBBImageWriter streamOnly;
    ASSERT_EQ(streamOnly.initialize(stage), 0u);
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(16), 0u);
    ASSERT_EQ(streamOnly.setOutputStream(&stream), 0u);
    EXPECT_EQ(streamOnly.write(QVIScene(0, 0, 4, 4, 1.0)), 50011u) << "a header needs a file name";
    stage->release();
}

TEST(RawWriter, StreamOutputHoldsTheLayoutBytes)
{
    ArrayReader* stage = makeStage(QVI_DATATYPE_UINT16, QVI_COLORSPACE_RGB, 3);
    for (QVILayout layout : {QVI_LAYOUT_BIP, QVI_LAYOUT_BSQ, QVI_LAYOUT_BIL}) {
        QVIRawImageWriter writer;
        ASSERT_EQ(writer.initialize(stage), 0u);
        writer.setLayout(layout);
        writer.setByteOrder(QVI_ENDIAN_BIG);
        writer.setStripHeight(4);
        QVIODynamicMemStream stream;
        ASSERT_EQ(stream.initialize(64), 0u);
        ASSERT_EQ(stream.open(), 0u);
        ASSERT_EQ(writer.setOutputStream(&stream), 0u);
        const QVIScene scene(1, 2, 20, 15, 1.0);
        ASSERT_EQ(writer.write(scene), 0u);
        ASSERT_EQ(stream.getLength(), 20u * 15u * 3u * 2u);
        // Sample (band, row, col) of the scene at its place in the layout, big-endian.
        for (uint32_t band = 0; band < 3; ++band)
            for (uint32_t row = 0; row < 15; ++row)
                for (uint32_t col = 0; col < 20; ++col) {
                    size_t index = 0;
                    if (layout == QVI_LAYOUT_BIP) index = (size_t(row) * 20 + col) * 3 + band;
                    else if (layout == QVI_LAYOUT_BIL) index = (size_t(row) * 3 + band) * 20 + col;
                    else index = (size_t(band) * 15 + row) * 20 + col;
                    const uint8_t* expected = stage->sample(uint16_t(band), row + 2, col + 1);
                    const uint8_t* got = stream.getData() + index * 2;
                    ASSERT_EQ(got[0], expected[1]) << layout;
                    ASSERT_EQ(got[1], expected[0]) << layout;
                }
    }
    stage->release();
}

TEST(RawWriter, RawReaderReadsTheWrittenFileBack)
{
    const std::string dir = TestPaths::tempDir("raw_writer");
    ArrayReader* stage = makeStage(QVI_DATATYPE_SINT32, QVI_COLORSPACE_MULTISPECTRAL, 4);
    QVIRawImageWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    writer.setLayout(QVI_LAYOUT_BSQ);
    writer.setByteOrder(QVI_ENDIAN_LITTLE);
    ASSERT_EQ(writer.setOutputFileSpec((dir + "/r.raw").c_str()), 0u);
    ASSERT_EQ(writer.write(QVIScene(0, 0, kWidth, kHeight, 1.0)), 0u);
    EXPECT_FALSE(std::filesystem::exists(dir + "/r.hdr")) << "the raw writer writes no header";

    QVIRawImageReader* reader = QVIRawImageReader::create();
    reader->setLayout(QVI_LAYOUT_BSQ);
    reader->setByteOrder(QVI_ENDIAN_LITTLE);
    ASSERT_EQ(reader->initialize((dir + "/r.raw").c_str(), stage->getPixelProps(), kWidth, kHeight,
                                 false),
              0u);
    expectSamples(*reader, *stage, QVIScene(0, 0, kWidth, kHeight, 1.0), "raw bsq");
    reader->release();
    stage->release();
}
