// Georeference data of a wavelet image: its bytes both ways, and the
// georeference it gives an image.
#include <gtest/gtest.h>

#include <bit>
#include <vector>

#include "qv_ioMemStream.h"
#include "tavix_fixtureWriter.h"
#include "xr3_georefData.h"

using namespace Orvanetics;

namespace {

struct Bytes {
    std::vector<uint8_t> data;
    Bytes& be(uint64_t value, int size) {
        for (int i = size - 1; i >= 0; --i) data.push_back(uint8_t(value >> (8 * i)));
        return *this;
    }
    Bytes& real(double v) { return be(std::bit_cast<uint64_t>(v), 8); }
};

QVStatus readBytes(XR3GeorefData& geo, std::vector<uint8_t> bytes, QVIColorSpace space = QVI_COLORSPACE_RGB) {
    QVIOMemStream stream;
    EXPECT_EQ(stream.initialize(bytes.data(), uint32_t(bytes.size())), 0u);
    EXPECT_EQ(stream.open(), 0u);
    QVIOStreamReader<true> reader(stream);
    return geo.read(reader, space);
}

std::vector<uint8_t> writeBytes(const XR3GeorefData& geo, QVStatus expected = 0) {
    return TavixFixture::writtenBytes([&](QVIOStreamWriter<true>& writer) { return geo.write(writer); }, expected);
}

}  // namespace

TEST(GeorefData, ReadsEveryPart) {
    Bytes b;
    b.be(0xF, 1).real(100.5).real(200.5).real(300.5).real(-400.5).real(2.0).real(-2.0);
    b.be(77, 4);
    b.be(3, 2).be(5, 1).be(10, 1).be(20, 1).be(255, 1);  // background: RGB bytes
    b.be(1, 2).be(8, 1).be(0xFFFB, 2);                    // no-data: one signed 16 of -5
    XR3GeorefData geo;
    ASSERT_EQ(readBytes(geo, b.data), 0u);
    EXPECT_TRUE(geo.hasGeoData());
    EXPECT_EQ(geo.getXUL(), 100.5);
    EXPECT_EQ(geo.getYUL(), 200.5);
    EXPECT_EQ(geo.getXLR(), 300.5);
    EXPECT_EQ(geo.getYLR(), -400.5);
    EXPECT_EQ(geo.getXRes(), 2.0);
    EXPECT_EQ(geo.getYRes(), -2.0);
    EXPECT_TRUE(geo.hasZNumber());
    EXPECT_EQ(geo.getZNumber(), 77u);
    ASSERT_NE(geo.getBackgroundPixel(), nullptr);
    EXPECT_EQ(geo.getBackgroundPixel()->getNumBands(), 3);
    EXPECT_EQ(geo.getBackgroundPixel()->getDataType(), QVI_DATATYPE_UINT8);
    EXPECT_EQ(geo.getBackgroundPixel()->getColorSpace(), QVI_COLORSPACE_RGB);
    EXPECT_EQ(geo.getBackgroundPixel()->getSampleValueUint8(2), 255);
    ASSERT_NE(geo.getNoDataPixel(), nullptr);
    EXPECT_EQ(geo.getNoDataPixel()->getDataType(), QVI_DATATYPE_SINT16);
    EXPECT_EQ(geo.getNoDataPixel()->getSampleValueSint16(0), -5);
    // Bytes written back are the bytes read.
    EXPECT_EQ(writeBytes(geo), b.data);
}

TEST(GeorefData, PartsAreOptional) {
    XR3GeorefData geo;
    ASSERT_EQ(readBytes(geo, {0x0}), 0u);
    EXPECT_FALSE(geo.hasGeoData());
    EXPECT_FALSE(geo.hasZNumber());
    EXPECT_EQ(geo.getBackgroundPixel(), nullptr);
    Bytes noData;
    noData.be(0x8, 1).be(2, 2).be(6, 1).be(0x80, 1).be(0x7F, 1);
    ASSERT_EQ(readBytes(geo, noData.data), 0u);
    EXPECT_EQ(geo.getBackgroundPixel(), nullptr);
    EXPECT_EQ(geo.getNoDataPixel()->getSampleValueSint8(0), -128);
    EXPECT_EQ(geo.getNoDataPixel()->getSampleValueSint8(1), 127);
    EXPECT_EQ(writeBytes(geo), noData.data);
}

TEST(GeorefData, Refusals) {
    XR3GeorefData geo;
    EXPECT_EQ(readBytes(geo, {0x10}), 2005u);
    EXPECT_EQ(readBytes(geo, {}), 2001u);
    Bytes badType;
    badType.be(0x4, 1).be(1, 2).be(9, 1).be(0, 4);
    EXPECT_EQ(readBytes(geo, badType.data), 2005u);
    Bytes shortGeo;
    shortGeo.be(0x1, 1).real(1.0).real(2.0);
    EXPECT_EQ(readBytes(geo, shortGeo.data), 2001u);
    // 65535 bands announced, three bytes present: refused before any pixel is made.
    Bytes hugePixel;
    hugePixel.be(0x4, 1).be(0xFFFF, 2).be(7, 1).be(0, 3);
    EXPECT_EQ(readBytes(geo, hugePixel.data), 2001u);

    XR3GeorefData floatPixel;
    const QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_FLOAT32);
    floatPixel.setBackgroundPixel(&pixel);
    writeBytes(floatPixel, 2005);
}

TEST(GeorefData, NorthUpGeoCoord) {
    XR3GeorefData geo;
    QVIGeoCoord coord;
    EXPECT_EQ(geo.setupGeoCoord(11, 6, coord), 1u);
    // 11 x 6 pixels of 2 x -2 from (100, 200): the last centre is (120, 190).
    geo.setGeoData(100.0, 200.0, 120.0, 190.0, 2.0, -2.0);
    ASSERT_EQ(geo.setupGeoCoord(11, 6, coord), 0u);
    EXPECT_EQ(coord.getX(), 100.0);
    EXPECT_EQ(coord.getY(), 200.0);
    EXPECT_EQ(coord.getXRes(), 2.0);
    EXPECT_EQ(coord.getYRes(), -2.0);
    EXPECT_EQ(coord.getXRot(), 0.0);
    EXPECT_EQ(coord.getYRot(), 0.0);
    // Within 1/16 of a pixel over the width still counts as north-up.
    geo.setGeoData(100.0, 200.0, 120.1, 190.0, 2.0, -2.0);  // 20.1 / 20 - 1 = 0.005 < 0.0625 / 11
    ASSERT_EQ(geo.setupGeoCoord(11, 6, coord), 0u);
    EXPECT_EQ(coord.getXRot(), 0.0);
    geo.setGeoData(100.0, 200.0, 120.2, 190.0, 2.0, -2.0);  // 0.01 > 0.0057
    ASSERT_EQ(geo.setupGeoCoord(11, 6, coord), 0u);
    EXPECT_NEAR(coord.getXRot(), 0.2 / 5, 1e-12);
}

TEST(GeorefData, RotatedGeoCoord) {
    // A grid with rotation terms 0.5 and 0.25: its lower-right centre is
    // X + xRes (w - 1) + xRot (h - 1), Y + yRot (w - 1) + yRes (h - 1).
    const uint32_t w = 101, h = 51;
    const double x = 1000, y = 5000, xRes = 3, yRes = -3, xRot = 0.5, yRot = 0.25;
    XR3GeorefData geo;
    geo.setGeoData(x, y, x + xRes * (w - 1) + xRot * (h - 1), y + yRot * (w - 1) + yRes * (h - 1), xRes, yRes);
    QVIGeoCoord coord;
    ASSERT_EQ(geo.setupGeoCoord(w, h, coord), 0u);
    EXPECT_DOUBLE_EQ(coord.getXRot(), xRot);
    EXPECT_DOUBLE_EQ(coord.getYRot(), yRot);
    EXPECT_EQ(coord.getXRes(), xRes);
}

TEST(GeorefData, TransformAndShift) {
    XR3GeorefData geo;
    geo.setGeoData(10, 20, 30, 0, 2, -2);
    const double matrix[6] = {0.5, 0, 100, 0, 2, -50};
    geo.transformBounds(matrix);
    EXPECT_EQ(geo.getXUL(), 105.0);
    EXPECT_EQ(geo.getYUL(), -10.0);
    EXPECT_EQ(geo.getXLR(), 115.0);
    EXPECT_EQ(geo.getYLR(), -50.0);
    EXPECT_EQ(geo.getXRes(), 1.0);
    EXPECT_EQ(geo.getYRes(), -4.0);
    geo.shiftGeoData(-5, 10);
    EXPECT_EQ(geo.getXUL(), 100.0);
    EXPECT_EQ(geo.getYUL(), 0.0);
    EXPECT_EQ(geo.getXLR(), 110.0);
    EXPECT_EQ(geo.getYLR(), -40.0);

    XR3GeorefData copy = geo;
    EXPECT_EQ(copy.getXLR(), 110.0);
}
