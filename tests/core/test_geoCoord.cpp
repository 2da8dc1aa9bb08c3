#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qv_ioMemStream.h"
#include "qv_statusCodes.h"
#include "qvi_geoCoord.h"
#include "qvi_scene.h"
#include "test_paths.h"

using namespace Orvanetics;

TEST(GeoCoord, DefaultIsUnitPixelsNorthUp)
{
    const QVIGeoCoord geo;
    double v[6];
    geo.get(v[0], v[1], v[2], v[3], v[4], v[5]);
    EXPECT_EQ(std::vector<double>(v, v + 6), (std::vector<double>{0, 0, 1, -1, 0, 0}));
    EXPECT_EQ(geo.getWKT(), nullptr);
}

TEST(GeoCoord, PixelToGeoAndBackWithRotation)
{
    const QVIGeoCoord geo(1000.0, 5000.0, 2.0, -3.0, 0.5, 0.25);
    double x = 0, y = 0;
    EXPECT_EQ(geo.pixelToGeo(10, 20, 1.0, x, y), 0u);
    EXPECT_DOUBLE_EQ(x, 1000.0 + 20.0 + 10.0);   // XRes col + XRot row
    EXPECT_DOUBLE_EQ(y, 5000.0 + 2.5 - 60.0);    // YRot col + YRes row
    EXPECT_EQ(geo.pixelToGeo(10, 20, 0.5, x, y), 0u);
    EXPECT_DOUBLE_EQ(x, 1000.0 + 60.0);

    double col = 0, row = 0;
    EXPECT_EQ(geo.geoToPixel(1030.0, 4942.5, 1.0, col, row), 0u);
    EXPECT_NEAR(col, 10.0, 1e-9);
    EXPECT_NEAR(row, 20.0, 1e-9);
    EXPECT_EQ(geo.geoToPixel(1030.0, 4942.5, 0.25, col, row), 0u);
    EXPECT_NEAR(col, 2.5, 1e-9);
    EXPECT_NEAR(row, 5.0, 1e-9);
}

TEST(GeoCoord, SingularTransformAnswersOne)
{
    const QVIGeoCoord zero(0, 0, 0, 0, 0, 0);
    double col = 7, row = 8;
    EXPECT_EQ(zero.geoToPixel(1, 1, 1.0, col, row), QVI_STS_Failure);
    EXPECT_EQ(col, 7.0);
    const QVIGeoCoord degenerate(0, 0, 1.0, 2.0, 1.0, 2.0);  // 1*2 - 2*1 = 0
    EXPECT_EQ(degenerate.geoToPixel(1, 1, 1.0, col, row), QVI_STS_Failure);
}

TEST(GeoCoord, ScaleKeepsThePixelCentreConvention)
{
    const QVIGeoCoord geo(100.0, 200.0, 10.0, -10.0, 0.0, 0.0, "WKT");
    const QVIGeoCoord half = geo.scaleGeoCoord(0.5, 0.5);
    // Half an old pixel to the lower right of the old centre.
    EXPECT_DOUBLE_EQ(half.getX(), 105.0);
    EXPECT_DOUBLE_EQ(half.getY(), 195.0);
    EXPECT_DOUBLE_EQ(half.getXRes(), 20.0);
    EXPECT_DOUBLE_EQ(half.getYRes(), -20.0);
    EXPECT_STREQ(half.getWKT(), "WKT");
    const QVIGeoCoord twice = geo.scaleGeoCoord(2.0, 4.0);
    EXPECT_DOUBLE_EQ(twice.getX(), 97.5);    // (1/2 - 1)/2 = -0.25 old pixels
    EXPECT_DOUBLE_EQ(twice.getY(), 203.75);  // (1/4 - 1)/2 = -0.375 old pixels
    EXPECT_DOUBLE_EQ(twice.getYRes(), -2.5);

    const QVIGeoCoord rotated(0, 0, 1.0, -1.0, 0.2, 0.4);
    const QVIGeoCoord scaled = rotated.scaleGeoCoord(2.0, 4.0);
    EXPECT_DOUBLE_EQ(scaled.getXRot(), 0.05);  // XRot / sy
    EXPECT_DOUBLE_EQ(scaled.getYRot(), 0.2);   // YRot / sx
}

TEST(GeoCoord, SceneGeoreferenceStartsAtItsFirstPixel)
{
    const QVIGeoCoord geo(100.0, 200.0, 10.0, -10.0, 0.0, 0.0);
    const QVIGeoCoord sceneGeo = geo.getGeoCoordForScene(QVIScene(3.4, 2.6, 10, 10, 0.5));
    // Scaled origin (105, 195), then the pixel (3, 3) of 20-unit pixels.
    EXPECT_DOUBLE_EQ(sceneGeo.getX(), 165.0);
    EXPECT_DOUBLE_EQ(sceneGeo.getY(), 135.0);
    EXPECT_DOUBLE_EQ(sceneGeo.getXRes(), 20.0);
    const QVIGeoCoord same = geo.getGeoCoordForScene(QVIScene(0, 0, 5, 5, 1.0));
    EXPECT_EQ(same, geo);
}

TEST(GeoCoord, RotationIncludesMirroring)
{
    for (const QVIGeoCoord& geo : {QVIGeoCoord(0, 0, 1, -1, 0.1, 0), QVIGeoCoord(0, 0, 1, -1, 0, -0.1),
                                   QVIGeoCoord(0, 0, -1, -1, 0, 0), QVIGeoCoord(0, 0, 1, 1, 0, 0)})
        EXPECT_TRUE(geo.hasRotation()) << geo.getXRes() << " " << geo.getYRes();
    EXPECT_FALSE(QVIGeoCoord(5, 5, 2, -3, 0, 0).hasRotation());
}

TEST(GeoCoord, EqualityTolerances)
{
    const QVIGeoCoord base(500000.0, 4000000.0, 0.5, -0.5, 0.0, 0.0);
    // Origins: an absolute 1e-6 or a relative 5e-11 of the sum.
    EXPECT_EQ(base, QVIGeoCoord(500000.0 + 9e-7, 4000000.0, 0.5, -0.5, 0, 0));
    EXPECT_EQ(base, QVIGeoCoord(500000.0 + 4e-5, 4000000.0, 0.5, -0.5, 0, 0));  // 5e-11 * 1e6 = 5e-5
    EXPECT_NE(base, QVIGeoCoord(500000.0 + 6e-5, 4000000.0, 0.5, -0.5, 0, 0));
    EXPECT_NE(QVIGeoCoord(0, 0, 1, -1, 0, 0), QVIGeoCoord(2e-6, 0, 1, -1, 0, 0));
    // Factors: relative 1e-6; exact against zero.
    EXPECT_EQ(base, QVIGeoCoord(500000.0, 4000000.0, 0.5 * (1 + 9e-7), -0.5, 0, 0));
    EXPECT_NE(base, QVIGeoCoord(500000.0, 4000000.0, 0.5 * (1 + 2e-6), -0.5, 0, 0));
    EXPECT_NE(base, QVIGeoCoord(500000.0, 4000000.0, 0.5, -0.5, 1e-300, 0));
    EXPECT_NE(base, QVIGeoCoord(500000.0, 4000000.0, 0.5, 0.5, 0, 0));
    // WKT: both absent, or equal texts.
    QVIGeoCoord withText(base);
    withText.setWKT("PROJCS[x]");
    EXPECT_NE(base, withText);
    EXPECT_NE(withText, base);
    QVIGeoCoord otherText(base);
    otherText.setWKT("PROJCS[x]");
    EXPECT_EQ(withText, otherText);
    otherText.setWKT("PROJCS[y]");
    EXPECT_NE(withText, otherText);
}

TEST(GeoCoord, CopiesOwnTheirText)
{
    QVIGeoCoord original(1, 2, 3, 4, 5, 6, "first");
    QVIGeoCoord copy(original);
    EXPECT_NE(copy.getWKT(), original.getWKT());
    original.setWKT("second");
    EXPECT_STREQ(copy.getWKT(), "first");
    copy = original;
    EXPECT_STREQ(copy.getWKT(), "second");
    copy = copy;
    EXPECT_STREQ(copy.getWKT(), "second");
    copy.setWKT(nullptr);
    EXPECT_EQ(copy.getWKT(), nullptr);
    copy.set(7, 8, 9, 10, 11, 12);
    EXPECT_EQ(copy.getYRot(), 12.0);
    copy.setX(-1);
    EXPECT_EQ(copy.getX(), -1.0);
}

TEST(WorldFileName, SuffixFromFirstAndLastLetter)
{
    char suffix[4] = {};
    const std::pair<const char*, const char*> rows[] = {
        {"/a/b/img.tif", "tfw"}, {"IMG.TIF", "TFW"}, {"img.Tif", "Tfw"}, {"img.jpeg", "jgw"}, {"img.x", "xxx"}};
    for (const auto& [name, expected] : rows) {
        EXPECT_EQ(QVIGeoCoord::getWorldFileExtension(QVFileSpec(name), suffix), 0u) << name;
        EXPECT_STREQ(suffix, expected) << name;
    }
    EXPECT_EQ(QVIGeoCoord::getWorldFileExtension(QVFileSpec("image"), suffix),
              QVI_STS_Core_WorldFileName);
    EXPECT_EQ(QVIGeoCoord::getWorldFileExtension(QVFileSpec("img.tif"), nullptr),
              QVI_STS_Core_WorldFileName);
}

namespace {

QVStatus readFromText(QVIGeoCoord& geo, std::string text)
{
    QVIOMemStream stream;
    EXPECT_EQ(stream.initialize(text.data(), static_cast<uint32_t>(text.size())), 0u);
    EXPECT_EQ(stream.open(), 0u);
    return geo.readWorldFile(stream);
}

std::string readWholeFile(const std::string& path)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

TEST(WorldFile, SixNumbersInWorldFileOrder)
{
    QVIGeoCoord geo(0, 0, 1, -1, 0, 0, "kept");
    ASSERT_EQ(readFromText(geo, "0.5\n0.01\n-0.02\n-0.75\n440720.25\n3751320.75\n"), 0u);
    double v[6];
    geo.get(v[0], v[1], v[2], v[3], v[4], v[5]);
    EXPECT_EQ(std::vector<double>(v, v + 6), (std::vector<double>{440720.25, 3751320.75, 0.5, -0.75, -0.02, 0.01}));
    EXPECT_STREQ(geo.getWKT(), "kept");
    // Any white space separates; trailing text is ignored.
    ASSERT_EQ(readFromText(geo, "  2 0 0 -2   10 20 extra"), 0u);
    EXPECT_EQ(geo.getY(), 20.0);
}

TEST(WorldFile, FewerThanSixNumbersIsAReadError)
{
    QVIGeoCoord geo;
    EXPECT_EQ(readFromText(geo, "1 0 0 -1 5\n"), QVI_STS_Core_ReadError);
    EXPECT_EQ(readFromText(geo, "1 0 0 -1 5 y\n"), QVI_STS_Core_ReadError);
    EXPECT_EQ(readFromText(geo, ""), QVI_STS_Core_ReadError);
    EXPECT_EQ(geo, QVIGeoCoord());
}

TEST(WorldFile, RoundTripBesideTheImage)
{
    const std::string dir = TestPaths::tempDir("worldfile_roundtrip");
    const QVIGeoCoord written(440720.125, 3751320.5, 60.0, -60.0, 0.1, -0.125);
    ASSERT_EQ(written.writeWorldFile(QVFileSpec(dir + "/scene.tif"), true), 0u);
    EXPECT_EQ(readWholeFile(dir + "/scene.tfw"),
              "60.000000000000000\n-0.125000000000000\n0.100000000000000\n"
              "-60.000000000000000\n440720.125000000000000\n3751320.500000000000000\n");

    QVIGeoCoord read;
    bool found = false;
    ASSERT_EQ(read.readWorldFile(QVFileSpec(dir + "/scene.tif"), true, found), 0u);
    EXPECT_TRUE(found);
    EXPECT_EQ(read, written);

    // Without suffix replacement the name is used as it is.
    ASSERT_EQ(written.writeWorldFile(QVFileSpec(dir + "/plain.wld"), false), 0u);
    QVIGeoCoord plain;
    ASSERT_EQ(plain.readWorldFile(QVFileSpec(dir + "/plain.wld"), false, found), 0u);
    EXPECT_TRUE(found);
    EXPECT_EQ(plain, written);
}

TEST(WorldFile, NameMatchedIgnoringCaseOrNotFound)
{
    const std::string dir = TestPaths::tempDir("worldfile_case");
    {
        std::ofstream out(dir + "/Photo.JGW");
        out << "2\n0\n0\n-2\n100\n200\n";
    }
    QVIGeoCoord geo;
    bool found = false;
    ASSERT_EQ(geo.readWorldFile(QVFileSpec(dir + "/photo.jpg"), true, found), 0u);
    EXPECT_TRUE(found);
    EXPECT_EQ(geo, QVIGeoCoord(100, 200, 2, -2, 0, 0));

    found = true;
    QVIGeoCoord untouched;
    ASSERT_EQ(untouched.readWorldFile(QVFileSpec(dir + "/other.tif"), true, found), 0u);
    EXPECT_FALSE(found);
    EXPECT_EQ(untouched, QVIGeoCoord());
    EXPECT_EQ(untouched.readWorldFile(QVFileSpec(dir + "/nosuffix"), true, found),
              QVI_STS_Core_WorldFileName);
    EXPECT_EQ(untouched.writeWorldFile(QVFileSpec(dir + "/missing/dir/a.tif"), true),
              QVI_STS_Core_WriteError);
}
