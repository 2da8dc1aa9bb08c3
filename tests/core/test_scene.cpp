#include <gtest/gtest.h>

#include "qvi_scene.h"

using namespace Orvanetics;

TEST(Scene, DefaultMarksAbsence)
{
    const QVIScene scene;
    EXPECT_EQ(scene.getMag(), -1.0);
    EXPECT_EQ(scene.getWidth(), 0.0);
    EXPECT_EQ(scene, QVIScene(0, 0, 0, 0, -1.0));
}

TEST(Scene, ColumnCountDependsOnFractionalPosition)
{
    const QVIScene a(0.4, 0, 10, 1, 1.0);
    EXPECT_EQ(a.getUpperLeftCol(), 0);
    EXPECT_EQ(a.getNumCols(), 10);
    const QVIScene b(0.6, 0, 10, 1, 1.0);
    EXPECT_EQ(b.getUpperLeftCol(), 1);
    EXPECT_EQ(b.getNumCols(), 10);
    const QVIScene c(0.4, 0, 10.2, 1, 1.0);
    EXPECT_EQ(c.getNumCols(), 11);
    EXPECT_EQ(c.getLowerRightCol(), 10);
    // Rows follow the same rule.
    const QVIScene d(0, 2.5, 1, 3.0, 1.0);
    EXPECT_EQ(d.getUpperLeftRow(), 3);
    EXPECT_EQ(d.getNumRows(), 3);
    const QVIScene e(0, -0.5, 1, 0.4, 1.0);
    EXPECT_EQ(e.getUpperLeftRow(), 0);
    EXPECT_EQ(e.getNumRows(), 0);
    const QVIScene negative(-3.7, 0, 2, 1, 1.0);
    EXPECT_EQ(negative.getUpperLeftCol(), -4);
    EXPECT_EQ(negative.getNumCols(), 2);
}

TEST(Scene, IntegerCornersAreTheLastPixel)
{
    const QVIScene scene(10, 20, 100, 50, 0.5);
    EXPECT_EQ(scene.getLowerRightCol(), 109);
    EXPECT_EQ(scene.getLowerRightRow(), 69);
    EXPECT_EQ(scene.getUpperRightCol(), 109);
    EXPECT_EQ(scene.getUpperRightRow(), 20);
    EXPECT_EQ(scene.getLowerLeftCol(), 10);
    EXPECT_EQ(scene.getLowerLeftRow(), 69);
    EXPECT_EQ(scene.getCenterCol(), 59);  // 10 + (60 - 10) - 1
    EXPECT_EQ(scene.getCenterRow(), 44);  // 20 + (45 - 20) - 1
    // The double corners lie one past.
    EXPECT_EQ(scene.getLowerRightX(), 110.0);
    EXPECT_EQ(scene.getLowerRightY(), 70.0);
    EXPECT_EQ(scene.getUpperRightX(), 110.0);
    EXPECT_EQ(scene.getUpperRightY(), 20.0);
    EXPECT_EQ(scene.getLowerLeftX(), 10.0);
    EXPECT_EQ(scene.getLowerLeftY(), 70.0);
    EXPECT_EQ(scene.getCenterX(), 60.0);
    EXPECT_EQ(scene.getCenterY(), 45.0);
    EXPECT_EQ(scene.getX(), 10.0);
    EXPECT_EQ(scene.getY(), 20.0);

    const QVIScene odd(0, 0, 5, 1, 1.0);
    EXPECT_EQ(odd.getCenterCol(), 2);  // floor(3.0) - 0 - 1
}

TEST(Scene, RectangleRoundTrip)
{
    const QVIScene scene(2.6, 3.2, 4.0, 5.0, 1.0);
    const QVIGeomRect rect = scene.getRect();
    EXPECT_EQ(rect, QVIGeomRect(3, 3, 6, 7));
    EXPECT_EQ(rect.getWidth(), 4);
    EXPECT_EQ(rect.getHeight(), 5);
    const QVIScene fromRect(QVIGeomRect(3, 3, 6, 7), 0.25);
    EXPECT_EQ(fromRect, QVIScene(3, 3, 4, 5, 0.25));
    EXPECT_TRUE(QVIGeomRect().isEmpty());
    EXPECT_EQ(QVIGeomRect().getWidth(), 0);
}

TEST(Scene, NinePointsInPositionOrder)
{
    const QVIScene scene(10, 20, 100, 50, 1.0);
    double xs[9], ys[9];
    scene.getPoints(xs, ys);
    const double expectX[9] = {10, 60, 110, 10, 60, 110, 10, 60, 110};
    const double expectY[9] = {20, 20, 20, 70, 70, 70, 45, 45, 45};
    int32_t cols[9], rows[9];
    scene.getPoints(cols, rows);
    const int32_t expectCol[9] = {10, 59, 109, 10, 59, 109, 10, 59, 109};
    const int32_t expectRow[9] = {20, 20, 20, 69, 69, 69, 44, 44, 44};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(xs[i], expectX[i]) << i;
        EXPECT_EQ(ys[i], expectY[i]) << i;
        EXPECT_EQ(cols[i], expectCol[i]) << i;
        EXPECT_EQ(rows[i], expectRow[i]) << i;
    }
    double ulx, uly, lrx, lry;
    scene.getPoints(ulx, uly, lrx, lry);
    EXPECT_EQ(lrx, 110.0);
    int32_t c0, r0, c1, r1;
    scene.getPoints(c0, r0, c1, r1);
    EXPECT_EQ(c1, 109);
    EXPECT_EQ(r1, 69);
}

TEST(Scene, ClipToTheImage)
{
    const QVIScene scene(-5, 10, 20, 100, 0.5);
    EXPECT_EQ(scene.clip(12, 50), QVIScene(0, 10, 12, 40, 0.5));
    EXPECT_EQ(QVIScene(30, 60, 5, 5, 1.0).clip(12, 50), QVIScene(30, 60, 0, 0, 1.0));
    EXPECT_EQ(QVIScene(1, 1, 2, 2, 1.0).clip(12, 50), QVIScene(1, 1, 2, 2, 1.0));
}

TEST(Scene, EqualityIsExact)
{
    EXPECT_NE(QVIScene(0, 0, 1, 1, 1.0), QVIScene(0, 0, 1, 1, 1.0 + 1e-15));
    EXPECT_NE(QVIScene(0, 0, 1, 1, 1.0), QVIScene(0, 1e-300, 1, 1, 1.0));
}
