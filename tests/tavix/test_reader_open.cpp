// A single image reader as it stands after opening: the properties it takes
// from the header, the metadata and georeference packets and a world file,
// and the statuses of the decode-time set-up.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "qv_statusCodes.h"
#include "qvi_geoCoord.h"
#include "qvi_metadataDatabase.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"
#include "tavix_singleImageReader.h"
#include "xr3_imageSource.h"

namespace {

using namespace ReaderTest;

// A reader of the only image of a file, released at the end.
struct OpenReader {
    MemFile file;
    XR4SingleImageReader* reader = XR4SingleImageReader::create();
    QVStatus status = 0;

    explicit OpenReader(std::vector<uint8_t> bytes, QVIOStreamInf* worldFile = nullptr,
                        TavixMemoryUsage usage = TAVIX_MEMORY_USAGE_DEFAULT)
        : file(std::move(bytes)) {
        status = reader->initialize(file.stream.get(), 0, worldFile, usage);
    }
    ~OpenReader() { reader->release(); }
};

ImagePart rgb16(uint32_t width, uint32_t height) {
    ImagePart image = emptyImage(width, height, 3, 3, 16);
    image.info.dataType = XR3_DATATYPE_UINT16;
    image.info.rangeMin = 0;
    image.info.rangeMax = 4095;
    image.info.inputColorSpace = XR3_COLORSPACE_RGB;
    image.info.codedColorSpace = XR3_COLORSPACE_RGB;
    return image;
}

TEST(TavixReaderOpen, PropertiesOfAHeaderAlone) {
    OpenReader open(writeFile(XR3Version::getXR4Version(), {rgb16(101, 57)}));
    ASSERT_EQ(0u, open.status);
    XR4SingleImageReader& reader = *open.reader;
    EXPECT_EQ(101u, reader.getWidth());
    EXPECT_EQ(57u, reader.getHeight());
    EXPECT_EQ(3u, reader.getNumLevels());
    EXPECT_EQ(QVI_COLORSPACE_RGB, reader.getColorSpace());
    EXPECT_EQ(QVI_DATATYPE_UINT16, reader.getDataType());
    EXPECT_EQ(3u, reader.getNumBands());
    for (uint16_t b = 0; b < 3; ++b) {
        EXPECT_EQ(0, reader.getMinDynamicRange().getSampleValue<uint16_t>(b));
        EXPECT_EQ(4095, reader.getMaxDynamicRange().getSampleValue<uint16_t>(b));
    }
    EXPECT_DOUBLE_EQ(0.125, reader.getMinMagnification());
    EXPECT_DOUBLE_EQ(1048576.0, reader.getMaxMagnification());
    EXPECT_EQ(64u, reader.getStripHeight());
    EXPECT_TRUE(reader.isGeoCoordImplicit());
    EXPECT_DOUBLE_EQ(56.0, reader.getGeoCoord().getY());
    EXPECT_EQ(nullptr, reader.getBackgroundPixel());
    EXPECT_EQ(nullptr, reader.getPixelLookupTable());
    EXPECT_FALSE(reader.isLocked());
    EXPECT_FALSE(reader.isOptimizable());
    EXPECT_FALSE(reader.hasColorTransform());
    EXPECT_FALSE(reader.isMosaic());
    EXPECT_FALSE(reader.hasXR2Data());
    EXPECT_EQ(16u, reader.getBlockSize());
    EXPECT_EQ(101u * 57u * 3u * 2u, reader.getImageSource()->getNominalFileSize());

    uint32_t w = 0, h = 0;
    ASSERT_EQ(0u, reader.getDimsAtMag(0.125, w, h));
    EXPECT_EQ(13u, w);  // ceil(101 / 8)
    EXPECT_EQ(8u, h);   // ceil(57 / 8)
    ASSERT_EQ(0u, reader.getDimsAtMag(4.0, w, h));
    EXPECT_EQ(404u, w);
    EXPECT_EQ(50015u, reader.getDimsAtMag(0.0625, w, h));
    EXPECT_EQ(50015u, reader.getDimsAtMag(2097152.0, w, h));
    // No plane is touched before a decode is asked for.
    EXPECT_EQ(nullptr, reader.getPlaneSource());
}

TEST(TavixReaderOpen, GeoreferencePacketGivesCoordinatesAndBackground) {
    std::vector<std::unique_ptr<XR3Packet>> extras;
    // 101 x 57 pixels of 10 by -5 units, upper-left centre at (1000, 9000).
    extras.push_back(makeMetadataPacket(3, 0, 0,
                                        georefBytes(1000.0, 9000.0, 2000.0, 8720.0, 10.0, -5.0, {1, 2, 250})));
    OpenReader open(writeFile(XR3Version::getXR4Version(), {rgb16(101, 57)}, std::move(extras)));
    ASSERT_EQ(0u, open.status);
    const QVIGeoCoord& geo = open.reader->getGeoCoord();
    EXPECT_FALSE(open.reader->isGeoCoordImplicit());
    EXPECT_DOUBLE_EQ(1000.0, geo.getX());
    EXPECT_DOUBLE_EQ(9000.0, geo.getY());
    EXPECT_DOUBLE_EQ(10.0, geo.getXRes());
    EXPECT_DOUBLE_EQ(-5.0, geo.getYRes());
    EXPECT_DOUBLE_EQ(0.0, geo.getXRot());
    EXPECT_DOUBLE_EQ(0.0, geo.getYRot());
    const QVIPixel* background = open.reader->getBackgroundPixel();
    ASSERT_NE(nullptr, background);
    ASSERT_EQ(3u, background->getNumBands());
    EXPECT_EQ(QVI_DATATYPE_UINT16, background->getDataType());
    EXPECT_EQ(1, background->getSampleValue<uint16_t>(0));
    EXPECT_EQ(2, background->getSampleValue<uint16_t>(1));
    EXPECT_EQ(250, background->getSampleValue<uint16_t>(2));
    EXPECT_EQ(nullptr, open.reader->getNoDataPixel());
}

TEST(TavixReaderOpen, CornersThatDisagreeWithTheResolutionMeanRotation) {
    std::vector<std::unique_ptr<XR3Packet>> extras;
    // 11 x 21 pixels: the lower-right centre is 4 units right and 3 down of the north-up place.
    extras.push_back(makeMetadataPacket(3, 0, 0, georefBytes(0.0, 0.0, 104.0, -203.0, 10.0, -10.0)));
    ImagePart image = emptyImage(11, 21, 1, 1, 16);
    OpenReader open(writeFile(XR3Version::getXR4Version(), {image}, std::move(extras)));
    ASSERT_EQ(0u, open.status);
    const QVIGeoCoord& geo = open.reader->getGeoCoord();
    EXPECT_DOUBLE_EQ(4.0 / 20.0, geo.getXRot());   // (dx - xRes (w - 1)) / (h - 1)
    EXPECT_DOUBLE_EQ(-3.0 / 10.0, geo.getYRot());  // (dy - yRes (h - 1)) / (w - 1)
}

TEST(TavixReaderOpen, WorldFileStreamOverridesThePacket) {
    std::vector<std::unique_ptr<XR3Packet>> extras;
    extras.push_back(makeMetadataPacket(3, 0, 0, georefBytes(1000.0, 9000.0, 2000.0, 8720.0, 10.0, -5.0)));
    std::string text = "2.5\n0.0\n0.0\n-2.5\n300.0\n700.0\n";
    MemFile world(std::vector<uint8_t>(text.begin(), text.end()));
    OpenReader open(writeFile(XR3Version::getXR4Version(), {rgb16(101, 57)}, std::move(extras)), world.stream.get());
    ASSERT_EQ(0u, open.status);
    EXPECT_DOUBLE_EQ(300.0, open.reader->getGeoCoord().getX());
    EXPECT_DOUBLE_EQ(-2.5, open.reader->getGeoCoord().getYRes());

    // The same through the front.
    MemFile file(writeFile(XR3Version::getXR4Version(), {rgb16(101, 57)}));
    TavixImageReader* front = TavixImageReader::create();
    ASSERT_EQ(0u, front->initialize(file.stream.get(), world.stream.get()));
    EXPECT_DOUBLE_EQ(700.0, front->getGeoCoord().getY());
    front->release();
}

ClassicalRecord doubleRecord(const std::string& key, double value) {
    ClassicalRecord record;
    record.key = key;
    record.typeCode = 7;  // FLOAT64
    record.valueBytes.clear();
    appendBEDouble(record.valueBytes, value);
    return record;
}

TEST(TavixReaderOpen, ClassicalRecordsComeFirstAndAreDroppedOnceRead) {
    std::vector<std::unique_ptr<XR3Packet>> extras;
    extras.push_back(makeMetadataPacket(
        1, 0, 0,
        classicalMetadataBytes({textRecord("IMAGE::MODIFICATIONS", "COMPRESSED QUANTIZED"),
                                doubleRecord("IMAGE::DYNAMIC_RANGE_WINDOW", 1000.0),
                                doubleRecord("IMAGE::DYNAMIC_RANGE_LEVEL", 600.0)})));
    extras.push_back(makeMetadataPacket(4, 0, 0, {'<', 'x', '/', '>'}));
    OpenReader open(writeFile(XR3Version::getXR4Version(), {rgb16(101, 57)}, std::move(extras)));
    ASSERT_EQ(0u, open.status);
    XR4SingleImageReader& reader = *open.reader;
    const QVIScene whole(0, 0, 101, 57, 1.0);
    EXPECT_EQ(0x2u | 0x10000u, reader.getModifications(whole));
    EXPECT_EQ(0x2u | 0x10000u | 0x4u | 0x10u, reader.getModifications(QVIScene(0, 0, 5, 5, 0.5)));
    // The range records win over the header's range and then leave the database.
    // A window of 1000 values around level 600: 100.5 to 1099.5, truncated.
    EXPECT_EQ(100, reader.getMinDynamicRange().getSampleValue<uint16_t>(2));
    EXPECT_EQ(1099, reader.getMaxDynamicRange().getSampleValue<uint16_t>(2));
    EXPECT_FALSE(reader.getMetadata().has("IMAGE::DYNAMIC_RANGE_WINDOW"));
    EXPECT_TRUE(reader.getMetadata().has("IMAGE::MODIFICATIONS"));

    QVIOStreamInf* blob = nullptr;
    ASSERT_EQ(0u, reader.getMetadataBlob("xmp", blob));
    ASSERT_NE(nullptr, blob);
    uint8_t text[8] = {};
    EXPECT_EQ(4u, blob->read(text, sizeof text));
    EXPECT_EQ(0, std::memcmp(text, "<x/>", 4));
    delete blob;
    blob = reinterpret_cast<QVIOStreamInf*>(1);
    EXPECT_EQ(0u, reader.getMetadataBlob("exif", blob));
    EXPECT_EQ(nullptr, blob);
}

TEST(TavixReaderOpen, FloatRangeIsTheQuantisedRange) {
    ImagePart image = emptyImage(40, 30, 1, 2, 16);
    image.info.dataType = XR3_DATATYPE_FLOAT32;
    image.info.rangeMin = -100;
    image.info.rangeMax = 300;
    QuantizationInfo q[2];
    q[0].step = 0.5f;
    q[0].offset = 10.0f;
    q[1].step = 0.25f;
    q[1].offset = -1.0f;
    ASSERT_EQ(0u, image.info.setQuantizationInfo(q, false));
    OpenReader open(writeFile(XR3Version::getXR4Version(), {image}));
    ASSERT_EQ(0u, open.status);
    EXPECT_EQ(QVI_DATATYPE_FLOAT32, open.reader->getDataType());
    EXPECT_FLOAT_EQ(-40.0f, open.reader->getMinDynamicRange().getSampleValue<float>(0));
    EXPECT_FLOAT_EQ(160.0f, open.reader->getMaxDynamicRange().getSampleValue<float>(0));
    EXPECT_FLOAT_EQ(-26.0f, open.reader->getMinDynamicRange().getSampleValue<float>(1));
    EXPECT_FLOAT_EQ(74.0f, open.reader->getMaxDynamicRange().getSampleValue<float>(1));
}

TEST(TavixReaderOpen, SignedAndAlphaImagesShowTheirPixel) {
    ImagePart image = emptyImage(40, 30, 1, 2, 16);
    image.info.dataType = XR3_DATATYPE_SINT16;
    image.info.rangeMin = -32768;
    image.info.rangeMax = 32767;
    image.info.inputColorSpace = image.info.codedColorSpace = XR3ColorSpace(XR3_COLORSPACE_GREY | 0x40);
    OpenReader open(writeFile(XR3Version::getAlphaVersion(), {image}));
    ASSERT_EQ(0u, open.status);
    EXPECT_EQ(QVI_COLORSPACE_GRAYSCALEA, open.reader->getColorSpace());
    EXPECT_EQ(QVI_DATATYPE_SINT16, open.reader->getDataType());
    EXPECT_TRUE(open.reader->isNaturalDynamicRange());
}

// Statuses of the set-up made at the first decode.
QVStatus readOnce(QVIImageStage& stage) {
    QVISceneBuffer buffer(stage.getPixelProps(), 8, 8);
    return stage.read(QVIScene(0, 0, 8, 8, 1.0), buffer);
}

TEST(TavixReaderOpen, FirstDecodeChecksMemoryUsageAndCoding) {
    OpenReader badUsage(writeFile(XR3Version::getXR4Version(), {emptyImage(40, 30, 1, 1, 16)}), nullptr,
                        TavixMemoryUsage(7));
    ASSERT_EQ(0u, badUsage.status);
    EXPECT_EQ(50603u, readOnce(*badUsage.reader));

    ImagePart coded = emptyImage(40, 30, 1, 1, 16);
    coded.info.codingKindA = 5;
    OpenReader badCoding(writeFile(XR3Version::getXR4Version(), {coded}));
    ASSERT_EQ(0u, badCoding.status);
    EXPECT_EQ(2009u, readOnce(*badCoding.reader));

    ImagePart locked = emptyImage(40, 30, 1, 1, 16);
    locked.info.locked = true;
    OpenReader lockedImage(writeFile(XR3Version::getXR4Version(), {locked}));
    ASSERT_EQ(0u, lockedImage.status);
    EXPECT_TRUE(lockedImage.reader->isLocked());
    EXPECT_NE(0u, readOnce(*lockedImage.reader));
}

TEST(TavixReaderOpen, StandaloneReaderOfAMissingImage) {
    MemFile file(writeFile(XR3Version::getXR4Version(), {emptyImage(40, 30, 1, 1, 16, 3)}));
    XR3SingleImageReader* reader = XR3SingleImageReader::create();
    EXPECT_EQ(2010u, reader->initialize(file.stream.get(), 4));
    reader->release();
    reader = XR3SingleImageReader::create();
    EXPECT_EQ(0u, reader->initialize(file.stream.get(), 3));
    EXPECT_EQ(40u, reader->getWidth());
    reader->release();
}

}  // namespace
