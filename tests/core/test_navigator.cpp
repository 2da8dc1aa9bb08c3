#include <gtest/gtest.h>

#include "core_testReader.h"
#include "qv_statusCodes.h"
#include "qvi_navigator.h"
#include "qvi_pixel.h"
#include "qvi_utils.h"

using namespace Orvanetics;

namespace {

using ImageRef = CoreTest::Ref<CoreTest::PropertyReader>;

// A grey image with only properties: what a navigator looks at.
ImageRef makeImage(uint32_t width, uint32_t height, double minMag = 0.125, double maxMag = 4.0,
                   const QVIGeoCoord& geo = QVIGeoCoord(1000.0, 2000.0, 2.0, -4.0, 0, 0))
{
    ImageRef image(CoreTest::PropertyReader::create());
    image->setDimensions(width, height);
    EXPECT_EQ(image->setPixelProps(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8)), 0u);
    image->setMagnification(minMag, maxMag);
    EXPECT_EQ(image->setGeoCoord(geo), 0u);
    return image;
}

}  // namespace

TEST(Navigator, StartsOnTheFullImage)
{
    ImageRef image = makeImage(1000, 600);
    QVINavigator nav(*image);
    EXPECT_EQ(nav.getScene(), QVIScene(0, 0, 1000, 600, 1.0));
    EXPECT_TRUE(nav.isSceneValid());
    nav.setSceneAsULWH(1, 2, 3, 4, 0.5);
    EXPECT_EQ(nav.setSceneToFull(), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(0, 0, 1000, 600, 1.0));
    EXPECT_EQ(nav.setSceneToIcon(), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(0, 0, 125, 75, 0.125));
}

TEST(Navigator, ValidityChecksPositionSizeAndRange)
{
    ImageRef image = makeImage(1000, 600);
    QVINavigator nav(*image);
    // Magnifications 8 and 1/16 lie outside the range; any inside is valid.
    const std::pair<QVIScene, bool> rows[] = {
        {QVIScene(0, 0, 500, 300, 0.5), true},  {QVIScene(0.5, 0, 500, 300, 0.5), false},
        {QVIScene(-0.1, 0, 10, 10, 1.0), false}, {QVIScene(0, 0, 10, 10, 8.0), false},
        {QVIScene(0, 0, 10, 10, 0.0625), false}, {QVIScene(0, 0, 10, 10, 0.75), true}};
    for (const auto& [scene, valid] : rows) {
        nav.setSceneAsULWH(scene.getX(), scene.getY(), scene.getWidth(), scene.getHeight(), scene.getMag());
        EXPECT_EQ(nav.isSceneValid(), valid) << scene.getX() << " " << scene.getWidth() << " @" << scene.getMag();
    }
}

TEST(Navigator, StylesStoreTheSceneWhateverTheyAnswer)
{
    ImageRef image = makeImage(100, 80);
    QVINavigator nav(*image);
    const QVIScene outside(90, 70, 20, 20, 1.0);

    EXPECT_EQ(nav.setScene(outside, QVINavigator::STYLE_FREE), 0u);
    EXPECT_EQ(nav.getScene(), outside);
    EXPECT_EQ(nav.setScene(outside, QVINavigator::STYLE_STRICT), QVI_STS_Core_InvalidScene);
    EXPECT_EQ(nav.getScene(), outside);
    EXPECT_EQ(nav.setScene(outside, QVINavigator::STYLE_CLIP), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(90, 70, 10, 10, 1.0));

    const QVIScene beyond(200, 0, 10, 10, 1.0);
    EXPECT_EQ(nav.setScene(beyond, QVINavigator::STYLE_CLIP), QVI_STS_Core_InvalidScene);
    EXPECT_EQ(nav.getScene(), beyond);
    EXPECT_EQ(nav.setScene(outside, static_cast<QVINavigator::Style>(7)), QVI_STS_BadStyle);
    EXPECT_EQ(nav.getScene(), outside);
}

TEST(Navigator, ClipToSceneNeedsARealIntersection)
{
    ImageRef image = makeImage(100, 80);
    QVINavigator nav(*image, QVIScene(10, 10, 20, 20, 0.5));
    EXPECT_TRUE(nav.clipToScene(QVIScene(25, 0, 100, 15, 4.0)));  // magnifications not compared
    EXPECT_EQ(nav.getScene(), QVIScene(25, 10, 5, 5, 0.5));
    EXPECT_FALSE(nav.clipToScene(QVIScene(30, 10, 5, 5, 0.5)));  // touching edges only
    EXPECT_FALSE(nav.clipToScene(QVIScene(25, 10, 1e-9, 5, 0.5)));
    EXPECT_EQ(nav.getScene(), QVIScene(25, 10, 5, 5, 0.5));

    // The image at the navigator's magnification: 50 by 40 at 0.5.
    nav.setSceneAsULWH(40, -5, 20, 20, 0.5);
    EXPECT_TRUE(nav.clipToImage());
    EXPECT_EQ(nav.getScene(), QVIScene(40, 0, 10, 15, 0.5));
}

TEST(Navigator, SettersMovesAndZooms)
{
    ImageRef image = makeImage(1000, 1000);
    QVINavigator nav(*image);
    nav.setSceneAsULLR(10, 20, 19, 39, 1.0);
    EXPECT_EQ(nav.getScene(), QVIScene(10, 20, 10, 20, 1.0));
    nav.setSceneAsCWH(100, 100, 50, 20, 0.5);
    EXPECT_EQ(nav.getScene(), QVIScene(75, 90, 50, 20, 0.5));

    EXPECT_EQ(nav.moveBy(5, -10, QVINavigator::STYLE_FREE), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(80, 80, 50, 20, 0.5));
    EXPECT_EQ(nav.moveTo(-3, 4, QVINavigator::STYLE_STRICT), QVI_STS_Core_InvalidScene);
    EXPECT_EQ(nav.getScene(), QVIScene(-3, 4, 50, 20, 0.5));
    EXPECT_EQ(nav.moveTo(3, 4, QVINavigator::STYLE_STRICT), 0u);
    // Zooms keep position and size as numbers.
    EXPECT_EQ(nav.zoomBy(2.0, QVINavigator::STYLE_FREE), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(3, 4, 50, 20, 1.0));
    EXPECT_EQ(nav.zoomTo(8.0, QVINavigator::STYLE_STRICT), QVI_STS_Core_InvalidScene);
    EXPECT_EQ(nav.getMag(), 8.0);

    nav.setSceneAsULWH(1.5, 2.49, 3.5, -0.5, 0.5);
    nav.roundScene();
    EXPECT_EQ(nav.getScene(), QVIScene(2, 2, 4, 0, 0.5));
}

TEST(Navigator, BestFitWidthInclusiveHeightExclusiveFrom256ToTheMinimum)
{
    ImageRef image = makeImage(1000, 600, 0.01, 1.0);
    QVINavigator nav(*image);
    QVIScene fit;
    // Exactly the width passes at 1.0; exactly the full height does not.
    const std::pair<uint32_t, uint32_t> windows[] = {{1000, 601}, {1000, 600}, {300, 1000}};
    const QVIScene fits[] = {QVIScene(0, 0, 1000, 600, 1.0), QVIScene(0, 0, 500, 300, 0.5),
                             QVIScene(0, 0, 250, 150, 0.25)};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(nav.bestFit(windows[i].first, windows[i].second, fit), 0u);
        EXPECT_EQ(fit, fits[i]) << i;
    }

    // The search starts at 256 and stops at the image's minimum.
    ImageRef big = makeImage(3, 2, 0.25, 1024.0);
    EXPECT_EQ(QVINavigator(*big).bestFit(100000, 100000, fit), 0u);
    EXPECT_EQ(fit, QVIScene(0, 0, 768, 512, 256.0));

    ImageRef quarter = makeImage(1000, 600, 0.25, 1.0);
    QVINavigator small(*quarter);
    const QVIScene untouched(1, 2, 3, 4, 0.5);
    fit = untouched;
    EXPECT_EQ(small.bestFit(100, 100, fit), QVI_STS_Failure);
    EXPECT_EQ(fit, untouched);
}

TEST(Navigator, GeographicScenes)
{
    // Pixel centre of (0, 0) at (1000, 2000); 2 by 4 ground units per pixel.
    ImageRef image = makeImage(1000, 1000);
    QVINavigator nav(*image);
    EXPECT_EQ(nav.setSceneAsGeoULWH(1020.0, 1960.0, 40.0, 80.0, 1.0), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(10, 10, 20, 20, 1.0));
    EXPECT_EQ(nav.setSceneAsGeoULWH(1020.0, 1960.0, 40.0, 80.0, 0.5), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(5, 5, 10, 10, 0.5));
    EXPECT_EQ(nav.setSceneAsGeoULLR(1020.0, 1960.0, 1038.0, 1884.0, 1.0), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(10, 10, 10, 20, 1.0));
    // The centre form goes up by half the height, since ground Y grows upward.
    EXPECT_EQ(nav.setSceneAsGeoCWH(1040.0, 1920.0, 40.0, 80.0, 1.0), 0u);
    EXPECT_EQ(nav.getScene(), QVIScene(10, 10, 20, 20, 1.0));

    nav.setSceneAsULWH(10, 20, 50, 50, 0.5);
    const QVIGeoCoord sceneGeo = nav.getGeoCoord();
    EXPECT_DOUBLE_EQ(sceneGeo.getXRes(), 4.0);
    EXPECT_DOUBLE_EQ(sceneGeo.getYRes(), -8.0);
    // Origin at 0.5 shifts by half an old pixel, then 10 and 20 new pixels.
    EXPECT_DOUBLE_EQ(sceneGeo.getX(), 1000.0 + 1.0 + 40.0);
    EXPECT_DOUBLE_EQ(sceneGeo.getY(), 2000.0 - 2.0 - 160.0);

    ImageRef flat = makeImage(10, 10, 1.0, 1.0, QVIGeoCoord(0, 0, 0, 0, 0, 0));
    QVINavigator singular(*flat);
    EXPECT_EQ(singular.setSceneAsGeoULWH(1, 1, 1, 1, 1.0), QVI_STS_Failure);
    EXPECT_EQ(singular.getScene(), QVIScene(0, 0, 10, 10, 1.0));
}

TEST(Navigator, SnapToOctaveClampsToTheImageRange)
{
    ImageRef image = makeImage(1000, 600, 0.25, 2.0);
    EXPECT_DOUBLE_EQ(QVIUtils::snapToOctave(0.7, *image), 1.0);
    EXPECT_DOUBLE_EQ(QVIUtils::snapToOctave(0.01, *image), 0.25);
    EXPECT_DOUBLE_EQ(QVIUtils::snapToOctave(100.0, *image), 2.0);
    ImageRef inverted = makeImage(1000, 600, 0.5, 0.25);
    EXPECT_DOUBLE_EQ(QVIUtils::snapToOctave(1.0, *inverted), 0.5);  // the minimum wins
}
