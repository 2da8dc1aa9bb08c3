// Georeferences in the classical records, through the editor and accessor
// and through QVIGeoCoord's own metadata link; the comparison of geo tags.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "qv_statusCodes.h"
#include "qvi_geoCoord.h"
#include "qvi_metadataEditor.h"

using namespace Orvanetics;

namespace {

double storedDouble(const QVIMetadataDatabase& db, const char* key) {
    const QVIMetadataRecord* record = nullptr;
    EXPECT_EQ(db.get(key, record), 0u) << key;
    if (record == nullptr) return 0.0;
    EXPECT_EQ(record->getDataType(), QVI_METADATA_DATATYPE_FLOAT64) << key;
    EXPECT_TRUE(record->isScalar()) << key;
    return *static_cast<const double*>(record->getScalarData());
}

void addDoubles(QVIMetadataDatabase& db, const char* key, std::vector<double> values) {
    ASSERT_EQ(db.add(QVIMetadataRecord(key, QVI_METADATA_DATATYPE_FLOAT64, values.data(),
                                       static_cast<uint32_t>(values.size()))),
              0u);
}

// Origin (100, 200), x resolution 0.5 and the y resolution as given.
QVIMetadataDatabase geoRecords(double yRes) {
    QVIMetadataDatabase db;
    addDoubles(db, "IMAGE::XY_ORIGIN", {100.0, 200.0});
    addDoubles(db, "IMAGE::X_RESOLUTION", {0.5});
    addDoubles(db, "IMAGE::Y_RESOLUTION", {yRes});
    return db;
}

}  // namespace

TEST(MetadataAccGeo, NorthUpWithoutRotationOrWKT) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    const QVIGeoCoord geo(440720.0, 3751320.0, 60.0, -60.0, 0.0, 0.0);
    ASSERT_EQ(editor.setGeoCoord(geo), 0u);
    ASSERT_EQ(db.getIndexCount(), 3u);
    const double* xy = nullptr;
    unsigned count = 0;
    ASSERT_EQ(editor.get_double("IMAGE::XY_ORIGIN", xy, count), 0u);
    EXPECT_EQ(std::vector<double>(xy, xy + count), (std::vector<double>{440720.0, 3751320.0}));
    EXPECT_EQ(storedDouble(db, "IMAGE::X_RESOLUTION"), 60.0);
    EXPECT_EQ(storedDouble(db, "IMAGE::Y_RESOLUTION"), -60.0);

    QVIGeoCoord read;
    ASSERT_EQ(editor.getGeoCoord(read), 0u);
    EXPECT_EQ(read, geo);
    EXPECT_EQ(read.getWKT(), nullptr);
}

TEST(MetadataAccGeo, RotationAndWKTRoundTrip) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    const char* wkt = "PROJCS[\"UTM 11N\"]";
    const QVIGeoCoord geo(10.0, 20.0, 2.0, -3.0, 0.0, 0.25, wkt);
    ASSERT_EQ(editor.setGeoCoord(geo), 0u);
    EXPECT_EQ(storedDouble(db, "IMAGE::X_ROTATION"), 0.0);
    EXPECT_EQ(storedDouble(db, "IMAGE::Y_ROTATION"), 0.25);
    const char* text = nullptr;
    ASSERT_EQ(editor.get_string("IMAGE::WKT", text), 0u);
    EXPECT_STREQ(text, wkt);

    QVIGeoCoord read;
    ASSERT_EQ(editor.getGeoCoord(read), 0u);
    EXPECT_EQ(read, geo);
    EXPECT_STREQ(read.getWKT(), wkt);

    // Replacing with an unrotated georeference drops the old rotation and WKT.
    ASSERT_EQ(editor.setGeoCoord(QVIGeoCoord(1.0, 2.0, 1.0, -1.0, 0.0, 0.0)), 0u);
    EXPECT_FALSE(db.has("IMAGE::X_ROTATION"));
    EXPECT_FALSE(db.has("IMAGE::Y_ROTATION"));
    EXPECT_FALSE(db.has("IMAGE::WKT"));

    ASSERT_EQ(editor.removeGeoCoord(), 0u);
    EXPECT_EQ(db.getIndexCount(), 0u);
}

TEST(MetadataAccGeo, YResolutionIsAMagnitude) {
    for (const double stored : {-2.0, 2.0}) {
        QVIGeoCoord read;
        ASSERT_EQ(QVIMetadataAcc(geoRecords(stored)).getGeoCoord(read), 0u);
        EXPECT_EQ(read, QVIGeoCoord(100.0, 200.0, 0.5, -2.0, 0.0, 0.0)) << stored;
    }
    QVIGeoCoord zero;
    ASSERT_EQ(QVIMetadataAcc(geoRecords(0.0)).getGeoCoord(zero), 0u);
    EXPECT_EQ(zero.getYRes(), -1.0);
}

TEST(MetadataAccGeo, RotationsNeedBothRecords) {
    QVIMetadataDatabase db = geoRecords(-1.0);
    addDoubles(db, "IMAGE::X_ROTATION", {0.75});
    QVIGeoCoord read(0.0, 0.0, 1.0, -1.0, 0.125, 0.5);
    ASSERT_EQ(QVIMetadataAcc(db).getGeoCoord(read), 0u);
    EXPECT_EQ(read.getXRot(), 0.125);  // the one record alone is not read
    EXPECT_EQ(read.getYRot(), 0.5);

    addDoubles(db, "IMAGE::Y_ROTATION", {-0.75});
    ASSERT_EQ(QVIMetadataAcc(db).getGeoCoord(read), 0u);
    EXPECT_EQ(read.getXRot(), 0.75);
    EXPECT_EQ(read.getYRot(), -0.75);
}

TEST(MetadataAccGeo, MalformedRecordsLeaveTheGeoCoord) {
    const QVIGeoCoord before(7.0, 8.0, 9.0, -9.0, 0.0, 0.0);

    QVIMetadataDatabase three;
    addDoubles(three, "IMAGE::XY_ORIGIN", {1.0, 2.0, 3.0});
    addDoubles(three, "IMAGE::X_RESOLUTION", {1.0});
    addDoubles(three, "IMAGE::Y_RESOLUTION", {1.0});
    QVIGeoCoord read(before);
    EXPECT_EQ(QVIMetadataAcc(three).getGeoCoord(read), QVStatus(50028));
    EXPECT_EQ(read, before);

    QVIMetadataDatabase scalar;
    addDoubles(scalar, "IMAGE::XY_ORIGIN", {1.0});
    EXPECT_EQ(QVIMetadataAcc(scalar).getGeoCoord(read), QVStatus(50028));

    QVIMetadataDatabase noYRes;
    addDoubles(noYRes, "IMAGE::XY_ORIGIN", {1.0, 2.0});
    addDoubles(noYRes, "IMAGE::X_RESOLUTION", {1.0});
    EXPECT_EQ(QVIMetadataAcc(noYRes).getGeoCoord(read), QVStatus(50503));
    EXPECT_EQ(read, before);

    QVIMetadataDatabase empty;
    EXPECT_EQ(QVIMetadataAcc(empty).getGeoCoord(read), QVStatus(50503));
}

TEST(MetadataAccGeo, GeoCoordMetadataLink) {
    QVIMetadataDatabase db;
    const QVIGeoCoord geo(-120.5, 38.25, 0.001, -0.002, 0.0, 0.0, "GEOGCS[\"WGS 84\"]");
    ASSERT_EQ(geo.writeMetadata(db), 0u);

    QVIGeoCoord read;
    bool found = false;
    ASSERT_EQ(read.readMetadata(db, found), 0u);
    EXPECT_TRUE(found);
    EXPECT_EQ(read, geo);

    QVIMetadataDatabase empty;
    found = true;
    EXPECT_EQ(read.readMetadata(empty, found), 0u);
    EXPECT_FALSE(found);

    // Failures other than a missing record pass through.
    QVIMetadataDatabase bad;
    addDoubles(bad, "IMAGE::XY_ORIGIN", {1.0, 2.0, 3.0});
    EXPECT_EQ(read.readMetadata(bad, found), QVStatus(50028));
    EXPECT_FALSE(found);
}

TEST(MetadataAccGeo, CompareGeoTags) {
    // Every tag the comparison looks at, with distinct values and types.
    auto fill = [](QVIMetadataDatabase& db) {
        QVIMetadataEditor e(db);
        e.set_double(QVI_METADATA_TAG_IMAGE_X_RESOLUTION, 1.0);
        e.set_double(QVI_METADATA_TAG_IMAGE_Y_RESOLUTION, 2.0);
        e.set_double(QVI_METADATA_TAG_IMAGE_Z_RESOLUTION, 3.0);
        e.set_uint16(QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS, uint16_t(4));
        e.set_uint16(QVI_METADATA_TAG_IMAGE_VERTICAL_UNITS, uint16_t(5));
        e.set_uint16(QVI_METADATA_TAG_IMAGE_Z_UNITS, uint16_t(6));
        e.set_uint32(QVI_METADATA_TAG_IMAGE_DATA_TYPE, uint32_t(7));
        e.set_uint16(QVI_METADATA_TAG_IMAGE_BITS_PER_SAMPLE, uint16_t(8));
        e.set_uint16(QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM, uint16_t(9));
        e.set_uint16(QVI_METADATA_TAG_GEO_HORIZONTAL_COORDSYSTEMZONE, uint16_t(10));
        e.set_uint16(QVI_METADATA_TAG_GEO_MODEL_TYPE_GEO_KEY, uint16_t(11));
        e.set_uint16(QVI_METADATA_TAG_GEO_PROJECTED_CS_TYPE_GEO_KEY, uint16_t(12));
        e.set_string(QVI_METADATA_TAG_GEO_PCS_CITATION_GEO_KEY, "citation");
    };
    QVIMetadataDatabase a;
    QVIMetadataDatabase b;
    fill(a);
    fill(b);
    QVIMetadataEditor(b).set_string("USER::Other", "ignored");
    EXPECT_EQ(QVIMetadataAcc::compare_geo_tags(a, b), 0u);

    QVIMetadataDatabase c(b);
    QVIMetadataEditor(c).set_string(QVI_METADATA_TAG_GEO_PCS_CITATION_GEO_KEY, "other citation");
    EXPECT_EQ(QVIMetadataAcc::compare_geo_tags(a, c), 1u);

    QVIMetadataDatabase d(b);
    QVIMetadataEditor(d).set_uint32(QVI_METADATA_TAG_IMAGE_HORIZONTAL_UNITS, uint32_t(4));  // same value, other type
    EXPECT_EQ(QVIMetadataAcc::compare_geo_tags(a, d), 1u);

    QVIMetadataDatabase e(b);
    const uint16_t pair[2] = {9, 9};
    QVIMetadataEditor(e).set_uint16(QVI_METADATA_TAG_GEO_HORIZONTAL_DATUM, pair, 2);  // other shape
    EXPECT_EQ(QVIMetadataAcc::compare_geo_tags(a, e), 1u);

    // A tag absent from both sides counts as a difference.
    QVIMetadataDatabase f(a);
    QVIMetadataDatabase g(a);
    f.remove("IMAGE::Z_UNITS");
    g.remove("IMAGE::Z_UNITS");
    EXPECT_EQ(QVIMetadataAcc::compare_geo_tags(f, g), 1u);
}
