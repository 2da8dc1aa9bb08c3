// Regions of interest under the keys IMAGE::AOI::<id>::...
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"
#include "qvi_scene.h"

using namespace Orvanetics;

namespace {

std::vector<double> points(const double* values, uint32_t length) {
    return std::vector<double>(values, values + length);
}

std::vector<unsigned short> indices(const QVIMetadataAcc& acc) {
    unsigned short* ids = nullptr;
    unsigned count = 0;
    EXPECT_EQ(acc.get_roi_indices(ids, count), 0u);
    const std::unique_ptr<unsigned short[]> owned(ids);
    return std::vector<unsigned short>(ids, ids + count);
}

const double kSquareX[4] = {0.0, 10.0, 10.0, 0.0};
const double kSquareY[4] = {0.0, 0.0, 10.0, 10.0};

}  // namespace

TEST(MetadataAccRoi, AllFieldsUnderTheirKeys) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_roi(3, kSquareX, kSquareY, 4, 0, 0.5, 2.5, "roads.shp", 2, "name", "comment", "http://x"),
              0u);
    const char* text = nullptr;
    ASSERT_EQ(editor.get_string("IMAGE::AOI::3::METHOD", text), 0u);
    EXPECT_STREQ(text, "weight");
    double value = 0.0;
    ASSERT_EQ(editor.get_double("IMAGE::AOI::3::MAGNIFICATION", value), 0u);
    EXPECT_EQ(value, 0.5);
    ASSERT_EQ(editor.get_double("IMAGE::AOI::3::WEIGHT", value), 0u);
    EXPECT_EQ(value, 2.5);
    const double* xs = nullptr;
    unsigned length = 0;
    ASSERT_EQ(editor.get_double("IMAGE::AOI::3::REGION::X", xs, length), 0u);
    EXPECT_EQ(points(xs, length), points(kSquareX, 4));
    ASSERT_EQ(editor.get_string("IMAGE::AOI::3::REGION::VECTOROVERLAY", text), 0u);
    EXPECT_STREQ(text, "roads.shp");
    int32_t layer = 0;
    ASSERT_EQ(editor.get_sint32("IMAGE::AOI::3::REGION::VECTOROVERLAY_LAYER", layer), 0u);
    EXPECT_EQ(layer, 2);
    for (const char* key : {"IMAGE::AOI::3::NAME", "IMAGE::AOI::3::COMMENT", "IMAGE::AOI::3::URL"}) {
        EXPECT_TRUE(db.has(key)) << key;
    }

    QVIMetadataRoi roi;
    ASSERT_EQ(editor.get_roi(3, roi), 0u);
    EXPECT_EQ(points(roi.y, roi.length), points(kSquareY, 4));
    EXPECT_EQ(roi.method, 0);
    EXPECT_EQ(roi.magnification, 0.5);
    EXPECT_EQ(roi.weight, 2.5);
    EXPECT_STREQ(roi.overlay, "roads.shp");
    EXPECT_EQ(roi.overlayLayer, 2);
    EXPECT_STREQ(roi.name, "name");
    EXPECT_STREQ(roi.comment, "comment");
    EXPECT_STREQ(roi.url, "http://x");
}

TEST(MetadataAccRoi, MethodsAndOptionalKeys) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_roi(1, kSquareX, kSquareY, 4, 0, 1.0, 1.0, nullptr, -1, "keep", nullptr, nullptr), 0u);
    // Method 2 writes no weight and drops the old one; null texts leave keys, empty ones remove them.
    ASSERT_EQ(editor.set_roi(1, kSquareX, kSquareY, 4, 2, 1.0, 9.0, "overlay", -1, nullptr, "", nullptr), 0u);
    const char* text = nullptr;
    ASSERT_EQ(editor.get_string("IMAGE::AOI::1::METHOD", text), 0u);
    EXPECT_STREQ(text, "shift outer");
    EXPECT_FALSE(db.has("IMAGE::AOI::1::WEIGHT"));
    EXPECT_FALSE(db.has("IMAGE::AOI::1::REGION::VECTOROVERLAY_LAYER"));
    EXPECT_FALSE(db.has("IMAGE::AOI::1::COMMENT"));
    QVIMetadataRoi roi;
    ASSERT_EQ(editor.get_roi(1, roi), 0u);
    EXPECT_EQ(roi.method, 2);
    EXPECT_STREQ(roi.name, "keep");
    EXPECT_EQ(roi.comment, nullptr);
    EXPECT_EQ(roi.overlayLayer, -1);

    ASSERT_EQ(editor.set_roi(2, kSquareX, kSquareY, 4, 1, 1.0, 0.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);
    ASSERT_EQ(editor.get_string("IMAGE::AOI::2::METHOD", text), 0u);
    EXPECT_STREQ(text, "shift inner");
    ASSERT_EQ(editor.set_roi(4, kSquareX, kSquareY, 4, 7, 1.0, 0.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);
    ASSERT_EQ(editor.get_string("IMAGE::AOI::4::METHOD", text), 0u);
    EXPECT_STREQ(text, "unknown 7");
    ASSERT_EQ(editor.get_roi(4, roi), 0u);
    EXPECT_EQ(roi.method, 7);

    EXPECT_EQ(editor.get_roi(5, roi), QVStatus(50503));
    ASSERT_EQ(editor.set_string("IMAGE::AOI::4::METHOD", "sideways"), 0u);
    EXPECT_EQ(editor.get_roi(4, roi), QVStatus(50028));
}

TEST(MetadataAccRoi, IndicesAndNewIds) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    EXPECT_TRUE(indices(editor).empty());
    ASSERT_EQ(editor.set_roi(7, kSquareX, kSquareY, 4, 0, 1.0, 1.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);
    ASSERT_EQ(editor.set_roi(0, kSquareX, kSquareY, 4, 0, 1.0, 1.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);
    ASSERT_EQ(editor.set_string("IMAGE::AOIX::9::NAME", "not a region"), 0u);
    EXPECT_EQ(indices(editor), (std::vector<unsigned short>{0, 7}));

    unsigned short id = 99;
    ASSERT_EQ(editor.add_roi(id, kSquareX, kSquareY, 4, 0, 1.0, 1.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(id, 1);
    ASSERT_EQ(editor.add_roi(id, QVIScene(1.0, 2.0, 3.0, 4.0, 0.25), 1, 0.0, nullptr, -1, "scene", nullptr, nullptr),
              0u);
    EXPECT_EQ(id, 2);
    QVIMetadataRoi roi;
    ASSERT_EQ(editor.get_roi(2, roi), 0u);
    // The scene's corners clockwise from the upper left, at its magnification.
    EXPECT_EQ(points(roi.x, roi.length), (std::vector<double>{1.0, 4.0, 4.0, 1.0}));
    EXPECT_EQ(points(roi.y, roi.length), (std::vector<double>{2.0, 2.0, 6.0, 6.0}));
    EXPECT_EQ(roi.magnification, 0.25);
    EXPECT_EQ(indices(editor), (std::vector<unsigned short>{0, 1, 2, 7}));

    ASSERT_EQ(editor.remove_roi(7), 0u);
    EXPECT_EQ(indices(editor), (std::vector<unsigned short>{0, 1, 2}));
    EXPECT_TRUE(db.has("IMAGE::AOIX::9::NAME"));
}

TEST(MetadataAccRoi, CropCutsToTheSceneAtEachRegionsMagnification) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_roi(0, kSquareX, kSquareY, 4, 0, 1.0, 1.0, nullptr, -1, "kept", nullptr, nullptr), 0u);
    const double farX[3] = {50.0, 60.0, 55.0};
    const double farY[3] = {50.0, 50.0, 60.0};
    ASSERT_EQ(editor.set_roi(1, farX, farY, 3, 0, 1.0, 1.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);
    // The same square at magnification 2: twice the coordinates.
    const double bigX[4] = {0.0, 20.0, 20.0, 0.0};
    const double bigY[4] = {0.0, 0.0, 20.0, 20.0};
    ASSERT_EQ(editor.set_roi(2, bigX, bigY, 4, 0, 2.0, 1.0, nullptr, -1, nullptr, nullptr, nullptr), 0u);

    // A scene at half magnification covering full-resolution 5..15 in both axes.
    ASSERT_EQ(editor.crop_roi(QVIScene(2.5, 2.5, 5.0, 5.0, 0.5)), 0u);
    EXPECT_EQ(indices(editor), (std::vector<unsigned short>{0, 2}));

    QVIMetadataRoi roi;
    ASSERT_EQ(editor.get_roi(0, roi), 0u);
    ASSERT_EQ(roi.length, 4u);
    for (uint32_t p = 0; p < roi.length; ++p) {
        EXPECT_TRUE(roi.x[p] == 5.0 || roi.x[p] == 10.0) << roi.x[p];
        EXPECT_TRUE(roi.y[p] == 5.0 || roi.y[p] == 10.0) << roi.y[p];
    }
    EXPECT_STREQ(roi.name, "kept");
    ASSERT_EQ(editor.get_roi(2, roi), 0u);
    ASSERT_EQ(roi.length, 4u);
    for (uint32_t p = 0; p < roi.length; ++p) {
        EXPECT_TRUE(roi.x[p] == 10.0 || roi.x[p] == 20.0) << roi.x[p];
        EXPECT_TRUE(roi.y[p] == 10.0 || roi.y[p] == 20.0) << roi.y[p];
    }
    EXPECT_EQ(editor.crop_roi(QVIScene()), QVStatus(50003));
}
