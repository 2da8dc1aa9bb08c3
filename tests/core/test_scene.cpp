#include <gtest/gtest.h>

#include <iterator>
#include <vector>

#include "qvi_scene.h"

using namespace Orvanetics;

TEST(Scene, DefaultMarksAbsence)
{
    EXPECT_EQ(QVIScene(), QVIScene(0, 0, 0, 0, -1.0));
    EXPECT_EQ(QVIScene().getMag(), -1.0);
}

TEST(Scene, PixelCountsDependOnFractionalPosition)
{
    // Columns: {x, width, first column, count}; rows follow the same rule.
    const struct { double position, size; int32_t first, count; } rows[] = {
        {0.4, 10, 0, 10}, {0.6, 10, 1, 10}, {0.4, 10.2, 0, 11}, {2.5, 3.0, 3, 3}, {-0.5, 0.4, 0, 0}, {-3.7, 2, -4, 2}};
    for (const auto& row : rows) {
        const QVIScene cols(row.position, 0, row.size, 1, 1.0);
        EXPECT_EQ(cols.getUpperLeftCol(), row.first) << row.position << " " << row.size;
        EXPECT_EQ(cols.getNumCols(), row.count) << row.position << " " << row.size;
        const QVIScene rowsScene(0, row.position, 1, row.size, 1.0);
        EXPECT_EQ(rowsScene.getUpperLeftRow(), row.first) << row.position << " " << row.size;
        EXPECT_EQ(rowsScene.getNumRows(), row.count) << row.position << " " << row.size;
    }
    EXPECT_EQ(QVIScene(0.4, 0, 10.2, 1, 1.0).getLowerRightCol(), 10);
}

TEST(Scene, IntegerCornersAreTheLastPixel)
{
    const QVIScene scene(10, 20, 100, 50, 0.5);
    // Centre: 10 + (60 - 10) - 1 and 20 + (45 - 20) - 1.
    const int32_t corners[] = {scene.getLowerRightCol(), scene.getLowerRightRow(), scene.getUpperRightCol(),
                               scene.getUpperRightRow(), scene.getLowerLeftCol(),  scene.getLowerLeftRow(),
                               scene.getCenterCol(),     scene.getCenterRow()};
    EXPECT_EQ(std::vector<int32_t>(std::begin(corners), std::end(corners)),
              (std::vector<int32_t>{109, 69, 109, 20, 10, 69, 59, 44}));
    // The double corners lie one past.
    const double points[] = {scene.getLowerRightX(), scene.getLowerRightY(), scene.getUpperRightX(),
                             scene.getUpperRightY(), scene.getLowerLeftX(),  scene.getLowerLeftY(),
                             scene.getCenterX(),     scene.getCenterY(),     scene.getX(), scene.getY()};
    EXPECT_EQ(std::vector<double>(std::begin(points), std::end(points)),
              (std::vector<double>{110, 70, 110, 20, 10, 70, 60, 45, 10, 20}));

    const QVIScene odd(0, 0, 5, 1, 1.0);
    EXPECT_EQ(odd.getCenterCol(), 2);  // floor(3.0) - 0 - 1
}

TEST(Scene, RectangleRoundTrip)
{
    const QVIScene scene(2.6, 3.2, 4.0, 5.0, 1.0);
    const QVIGeomRect rect = scene.getRect();
    EXPECT_EQ(rect, QVIGeomRect(3, 3, 6, 7));
    EXPECT_EQ(rect.getWidth(), 4);
    EXPECT_EQ(QVIScene(QVIGeomRect(3, 3, 6, 7), 0.25), QVIScene(3, 3, 4, 5, 0.25));
    EXPECT_TRUE(QVIGeomRect().isEmpty());
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
    EXPECT_EQ(r1, 69);
}

TEST(Scene, ClipAndExactEquality)
{
    const QVIScene scene(-5, 10, 20, 100, 0.5);
    EXPECT_EQ(scene.clip(12, 50), QVIScene(0, 10, 12, 40, 0.5));
    EXPECT_EQ(QVIScene(30, 60, 5, 5, 1.0).clip(12, 50), QVIScene(30, 60, 0, 0, 1.0));
    EXPECT_EQ(QVIScene(1, 1, 2, 2, 1.0).clip(12, 50), QVIScene(1, 1, 2, 2, 1.0));
    EXPECT_NE(QVIScene(0, 0, 1, 1, 1.0), QVIScene(0, 0, 1, 1, 1.0 + 1e-15));
    EXPECT_NE(QVIScene(0, 0, 1, 1, 1.0), QVIScene(0, 1e-300, 1, 1, 1.0));
}
