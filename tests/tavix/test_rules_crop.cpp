// Cropped and scaled headers, against the rules rather than the test-side
// encoder: a cropped file keeps, of each subband, only the coefficients in
// the crop's projection (one more to the left in a high band), and what a
// reader shows is the synthesis of those alone. The expected pixels come
// from the whole-array model in rules_reference.h; the coefficient areas
// are worked out by hand. The same model checks whole images whose level
// count runs down to one-sample bands.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "qv_math.h"
#include "qvi_sceneBuffer.h"
#include "reader_testSupport.h"
#include "rules_reference.h"
#include "tavix_fixtureWriter.h"
#include "tavix_imageReader.h"
#include "tavix_imageWriter.h"
#include "xr3_subblockData.h"
#include "xr3_subblockLocator.h"

namespace {

using namespace Orvanetics;
using namespace RulesReference;
using namespace TavixFixture;

TEST(RulesCrop, RelevantCoefficientsOfOneAxis) {
    struct Row {
        int32_t level, high;
        int64_t size, lo, hi;
        int64_t first, last;
    };
    const Row rows[] = {
        {0, 0, 100, 7, 33, 7, 33},    // level 0: the crop itself
        {2, 0, 100, 9, 41, 2, 11},    // 9 >> 2, (40 >> 2) + 1
        {2, 1, 100, 9, 41, 1, 11},    // a high band reaches one further left, not right
        {1, 1, 45, 1, 9, 0, 5},       // the left end stops at 0
        {1, 0, 45, 5, 45, 2, 23},     // to the image's end: all 23 low coefficients
        {1, 1, 45, 5, 45, 1, 22},     // ... and all 22 high ones
        {2, 1, 45, 0, 45, 0, 11},     // 45 -> 23 -> 11 high at level 2
        {3, 0, 10, 0, 10, 0, 2},      // 10 -> 5 -> 3 -> 2 low
        {3, 1, 10, 0, 400, 0, 1},     // 10 -> 5 -> 3 -> 1 high, however far the crop
        {3, 0, 10, 0, 0, 0, 0},       // an end of 0 keeps nothing
        {1, 1, 1, 0, 1, 0, 0},        // a one-sample image has no high coefficient
        {1, 0, 1, 0, 1, 0, 1},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(testing::Message() << "level " << r.level << " high " << r.high << " size " << r.size << " ["
                                        << r.lo << ", " << r.hi << ")");
        int64_t first = -1, last = -1;
        XR3SubblockLocator::relevantCoefs1(r.level, r.high, r.size, r.lo, r.hi, first, last);
        EXPECT_EQ(r.first, first);
        EXPECT_EQ(r.last, last);
    }
}

XR3ImageInfo croppedInfo(uint32_t width, uint32_t height, uint8_t levels, const QVIGeomRect& crop, int8_t scale) {
    XR3ImageInfo info;
    info.width = width;
    info.height = height;
    info.numLevels = levels;
    info.numBands = 1;
    info.subblockSize = 8;
    info.setCropRect(crop);
    info.scale = scale;
    EXPECT_EQ(0u, info.setup_subbands());
    info.updateCroppedOrScaled();
    return info;
}

// The coefficient area of subblocks of 8, in subblock coordinates; x0 1, x1
// 0 (or the same in y) for a subblock that keeps nothing.
TEST(RulesCrop, SubblockAreasFollowTheCropInTheFullImage) {
    struct Row {
        const char* what;
        XR3ImageInfo info;
        uint8_t subband;
        uint32_t subblock;
        int32_t x0, x1, y0, y1;
    };
    // 45 x 37, two levels: level 2 bands of 22 or 23 by 18 or 19, level 1 of 11 or 12 by 9 or 10.
    const XR3ImageInfo inner = croppedInfo(45, 37, 2, QVIGeomRect(5, 3, 30, 25), 0);
    const XR3ImageInfo toEdges = croppedInfo(45, 37, 2, QVIGeomRect(5, 3, 44, 36), 0);
    // 64 x 48, three levels, scale 1: the crop is [6, 52) x [4, 42) of the full image.
    const XR3ImageInfo scaled = croppedInfo(64, 48, 3, QVIGeomRect(3, 2, 25, 20), 1);
    const Row rows[] = {
        // HL of level 2 keeps x [1, 16), y [1, 13); it has 3 by 3 subblocks.
        {"HL first subblock", inner, 6, 0, 1, 7, 1, 7},
        {"HL middle subblock", inner, 6, 4, 0, 7, 0, 4},
        {"HL right of the crop", inner, 6, 5, 1, 0, 0, 4},
        {"HL below the crop", inner, 6, 6, 1, 7, 1, 0},
        // HH of level 1 keeps x [0, 8), y [0, 7).
        {"HH level 1", inner, 4, 0, 0, 7, 0, 6},
        {"HH level 1 right of the crop", inner, 4, 1, 1, 0, 0, 6},
        {"LL", inner, 0, 0, 1, 7, 0, 6},
        // Up to the image's right and bottom edges a band is kept to its end.
        {"HH level 2 last subblock", toEdges, 8, 8, 0, 5, 0, 1},
        {"HH level 1 last subblock", toEdges, 4, 3, 0, 2, 0, 0},
        // With scale 1 the crop is doubled first: HL of level 3 keeps x [2, 26), y [2, 21).
        {"scaled HL level 3", scaled, 10, 11, 0, 1, 0, 4},
        {"scaled LH level 2", scaled, 7, 1, 0, 4, 0, 7},
        {"scaled LL", scaled, 0, 0, 0, 6, 0, 5},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        XR3SubblockData data;
        ASSERT_EQ(0u, data.init(r.info, r.subband, r.subblock, 1));
        EXPECT_EQ(r.x0, data.x0);
        EXPECT_EQ(r.x1, data.x1);
        EXPECT_EQ(r.y0, data.y0);
        EXPECT_EQ(r.y1, data.y1);
    }
}

// One cropped file: a full image of width by height, levels, subblock
// size, and the header's crop (in the image reduced by `scale`; none: all
// of that reduced image).
struct CropCase {
    const char* what;
    int64_t width, height;
    int levels;
    uint16_t subblockSize;
    std::optional<QVIGeomRect> crop;
    int8_t scale;
    // What each level's low-low band moves into its overflow band (0: nothing).
    uint32_t overflowLimit = 0;

    // The virtual image in the image reduced by `scale`.
    QVIGeomRect virtualRect() const {
        const auto reduced = [this](int64_t size) { return int32_t(((size - 1) >> scale)); };
        return crop ? *crop : QVIGeomRect(0, 0, reduced(width), reduced(height));
    }
};

constexpr int64_t kMin = -32768, kMax = 32767;

Grid sourceImage(int64_t w, int64_t h, uint32_t seed) {
    Grid g(w, h);
    uint32_t state = seed * 2654435761u + 1;
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x) {
            state = state * 1664525u + 1013904223u;
            g.at(x, y) = (x * 37 + y * 23) % 1500 - 700 + int64_t((state >> 8) % 400);
        }
    return g;
}

// The crop in the full image: [x0, x1) by [y0, y1).
struct FullCrop {
    int64_t x0, x1, y0, y1;
};

FullCrop fullCrop(const CropCase& c) {
    const QVIGeomRect crop = c.virtualRect();
    const auto up = [&](int64_t v, int64_t limit) { return std::min(v << c.scale, limit); };
    return {up(crop.x0, c.width), up(int64_t(crop.x1) + 1, c.width), up(crop.y0, c.height),
            up(int64_t(crop.y1) + 1, c.height)};
}

// Zeroes, in every subband, what a cropped file leaves out: outside
// [(lo >> L) - high, ((hi - 1) >> L) + 1), L the subband's halvings.
void keepCroppedCoefficients(Pyramid& bands, int levels, const FullCrop& crop) {
    for (size_t s = 0; s < bands.size(); ++s) {
        const int halvings = s == 0 ? levels : levels - int(s + 3) / 4 + 1;
        const size_t position = s == 0 ? 0 : (s - 1) % 4 + 1;
        const bool highX = position == 2 || position == 4, highY = position == 3 || position == 4;
        const auto kept = [&](int64_t i, int64_t lo, int64_t hi, bool high) {
            return i >= (lo >> halvings) - high && i <= ((hi - 1) >> halvings);
        };
        Grid& band = bands[s];
        for (int64_t y = 0; y < band.height; ++y)
            for (int64_t x = 0; x < band.width; ++x)
                if (!kept(x, crop.x0, crop.x1, highX) || !kept(y, crop.y0, crop.y1, highY)) band.at(x, y) = 0;
    }
}

// The virtual image at 2^-k (k = -1: twice its size): the full image's
// synthesis at reduction scale + k (enlarged without detail below 0), from
// the crop's corner brought to that scale, clipped to the image there, and
// clamped to the sample type.
Grid expectedVirtual(const CropCase& c, const Pyramid& bands, int k) {
    const Grid image = synthesiseAtScale(bands, c.levels, c.width, c.height, c.scale + k);
    const QVIGeomRect crop = c.virtualRect();
    const auto corner = [k](int64_t v) { return k >= 0 ? v >> k : v << -k; };
    const auto size = [k](int64_t v) { return k >= 0 ? (v + (int64_t(1) << k) - 1) >> k : v << -k; };
    const int64_t x0 = corner(crop.x0), y0 = corner(crop.y0);
    const int64_t w = std::min(size(crop.getWidth()), image.width - x0);
    const int64_t h = std::min(size(crop.getHeight()), image.height - y0);
    Grid out = window(image, x0, y0, w, h);
    for (int64_t& v : out.v) v = std::clamp(v, kMin, kMax);
    return out;
}

std::vector<uint8_t> writeCropped(const CropCase& c, const Grid& image) {
    TavixImageRecipe recipe;
    recipe.dataType = QVI_DATATYPE_SINT16;
    recipe.numLevels = uint32_t(c.levels);
    recipe.subblockSize = c.subblockSize;
    recipe.crop = c.crop;
    recipe.scale = c.scale;
    recipe.overflow.limit = c.overflowLimit;
    FunctionSourceImage source(uint32_t(c.width), uint32_t(c.height), 1,
                               [&](uint16_t, uint32_t x, uint32_t y) { return double(image.at(x, y)); });
    std::vector<uint8_t> bytes;
    EXPECT_EQ(0u, writeTavixImage(recipe, source, bytes));
    return bytes;
}

// The scene (x0, y0, w, h) of the virtual image at 2^-k.
Grid decodeScene(TavixImageReader& reader, int k, uint32_t x0, uint32_t y0, uint32_t w, uint32_t h) {
    QVISceneBuffer buffer(reader.getPixelProps(), w, h);
    EXPECT_EQ(0u, reader.read(QVIScene(x0, y0, w, h, QVMath::levelToMag(k)), buffer));
    Grid out(w, h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) out.at(x, y) = *static_cast<const int16_t*>(buffer.getSample(x, y, 0));
    return out;
}

void expectGrid(const Grid& want, const Grid& got) {
    ASSERT_EQ(want.width, got.width);
    ASSERT_EQ(want.height, got.height);
    int mismatches = 0;
    for (int64_t y = 0; y < want.height; ++y)
        for (int64_t x = 0; x < want.width; ++x)
            if (want.at(x, y) != got.at(x, y) && mismatches++ < 3)
                ADD_FAILURE() << "at " << x << "," << y << ": " << got.at(x, y) << " instead of " << want.at(x, y);
    EXPECT_EQ(0, mismatches);
}

// Decodes the file of each case at every magnification of its virtual
// image and at twice its size, whole and its lower right part, against
// `expected(case, full pyramid, k)`.
template <class Expected>
void checkCases(const std::vector<CropCase>& cases, Expected expected) {
    for (const CropCase& c : cases) {
        SCOPED_TRACE(c.what);
        const Grid image = sourceImage(c.width, c.height, uint32_t(c.width * 7 + c.height));
        ReaderTest::OpenFront opened(writeCropped(c, image));
        TavixImageReader* reader = opened.reader;
        EXPECT_EQ(uint32_t(c.virtualRect().getWidth()), reader->getWidth());
        EXPECT_EQ(uint32_t(c.virtualRect().getHeight()), reader->getHeight());
        EXPECT_EQ(uint32_t(c.levels - c.scale), reader->getNumLevels());
        EXPECT_EQ(QVMath::levelToMag(c.levels - c.scale), reader->getMinMagnification());
        const Pyramid bands = analyse(image, c.levels, c.overflowLimit);
        for (int k = -1; k <= c.levels - c.scale; ++k) {
            SCOPED_TRACE(testing::Message() << "2^-" << k);
            const Grid want = expected(c, bands, k);
            uint32_t w = 0, h = 0;
            ASSERT_EQ(0u, reader->getDimsAtMag(QVMath::levelToMag(k), w, h));
            ASSERT_EQ(want.width, int64_t(w));
            ASSERT_EQ(want.height, int64_t(h));
            expectGrid(want, decodeScene(*reader, k, 0, 0, w, h));
            // The lower right part, from an odd corner where the size allows.
            const uint32_t x0 = (w / 2) | 1, y0 = (h / 2) | 1;
            if (x0 < w && y0 < h)
                expectGrid(window(want, x0, y0, w - x0, h - y0), decodeScene(*reader, k, x0, y0, w - x0, h - y0));
        }
    }
}

// A crop inside the image keeps less than the filter reaches at its right
// and lower edges: the last columns and rows differ from the source, and
// equal the synthesis of the kept coefficients, which is what any reader
// of such a file shows.
TEST(RulesCrop, InnerCropsShowTheSynthesisOfTheKeptCoefficients) {
    const std::vector<CropCase> cases = {
        {"odd and even edges", 45, 37, 2, 8, QVIGeomRect(5, 3, 30, 25), 0},
        {"three levels, subblocks of 16", 70, 60, 3, 16, QVIGeomRect(5, 3, 30, 25), 0},
        {"corner at the origin", 40, 33, 3, 8, QVIGeomRect(0, 0, 20, 17), 0},
        {"narrow", 50, 44, 2, 8, QVIGeomRect(11, 9, 17, 36), 0},
        {"no levels", 30, 20, 0, 8, QVIGeomRect(3, 4, 21, 12), 0},
        {"scale 1", 64, 48, 3, 8, QVIGeomRect(3, 2, 25, 20), 1},
        {"scale 2, odd sizes", 77, 61, 3, 8, QVIGeomRect(2, 1, 14, 11), 2},
        {"overflow bands", 45, 37, 3, 8, QVIGeomRect(5, 3, 30, 25), 0, 300},
        {"overflow bands, scale 1", 64, 48, 3, 8, QVIGeomRect(3, 2, 25, 20), 1, 200},
    };
    checkCases(cases, [](const CropCase& c, Pyramid bands, int k) {
        keepCroppedCoefficients(bands, c.levels, fullCrop(c));
        return expectedVirtual(c, bands, k);
    });
}

// Up to the image's right and bottom edges a crop keeps everything that
// its pixels need: the decode is the source's own pyramid, lossless at
// full size. A scale alone shows the whole reduced image.
TEST(RulesCrop, CropsToTheImageEdgesAreExact) {
    const std::vector<CropCase> cases = {
        {"odd sizes", 45, 37, 2, 8, QVIGeomRect(5, 3, 44, 36), 0},
        {"even sizes, three levels", 64, 48, 3, 8, QVIGeomRect(9, 12, 63, 47), 0},
        {"scale 1", 64, 48, 3, 8, QVIGeomRect(3, 2, 31, 23), 1},
        {"scale 1, odd sizes", 45, 37, 3, 8, QVIGeomRect(4, 1, 22, 18), 1},
        {"scale 2 without a crop", 45, 37, 3, 8, std::nullopt, 2},
        {"overflow bands", 45, 37, 3, 8, QVIGeomRect(7, 6, 44, 36), 0, 250},
    };
    checkCases(cases, [](const CropCase& c, const Pyramid& bands, int k) { return expectedVirtual(c, bands, k); });
}

// The same model over whole images with more levels than their size
// needs, down to bands of one sample: every magnification whose image has
// 3 rows and columns decodes exactly; a smaller one has no decoder (2009).
TEST(RulesCrop, DeepLevelCountsDecodeWhileTheLevelHasThreeSamples) {
    const CropCase cases[] = {
        {"wide and 3 high", 40, 3, 6, 8, std::nullopt, 0},
        {"3 wide and tall", 3, 37, 7, 8, std::nullopt, 0},
        {"square", 64, 64, 8, 16, std::nullopt, 0},
        {"odd", 5, 9, 5, 8, std::nullopt, 0},
    };
    for (const CropCase& c : cases) {
        SCOPED_TRACE(c.what);
        const Grid image = sourceImage(c.width, c.height, 5);
        ReaderTest::OpenFront opened(writeCropped(c, image));
        TavixImageReader* reader = opened.reader;
        const Pyramid bands = analyse(image, c.levels);
        for (int k = -1; k <= c.levels; ++k) {
            SCOPED_TRACE(testing::Message() << "2^-" << k);
            const double mag = QVMath::levelToMag(k);
            uint32_t w = 0, h = 0;
            ASSERT_EQ(0u, reader->getDimsAtMag(mag, w, h));
            if (std::min(w, h) >= 3) {
                expectGrid(expectedVirtual(c, bands, k), decodeScene(*reader, k, 0, 0, w, h));
            } else {
                QVISceneBuffer buffer(reader->getPixelProps(), w, h);
                EXPECT_EQ(2009u, reader->read(QVIScene(0, 0, w, h, mag), buffer));
            }
        }
    }
}

// Headers whose crop or scale leave little or nothing to show: opening and
// reading every magnification gives pixels or a status, never more.
TEST(RulesCrop, DegenerateCropsReadOrFailWithAStatus) {
    const CropCase cases[] = {
        {"one sample", 45, 37, 3, 8, QVIGeomRect(44, 36, 44, 36), 0},
        {"scale at the level count", 45, 37, 3, 8, QVIGeomRect(0, 0, 5, 4), 3},
        {"crop past the reduced image", 45, 37, 2, 8, QVIGeomRect(10, 10, 30, 30), 1},
        {"crop past the image", 45, 37, 2, 8, QVIGeomRect(40, 30, 60, 50), 0},
    };
    for (const CropCase& c : cases) {
        SCOPED_TRACE(c.what);
        const Grid image = sourceImage(c.width, c.height, 9);
        ReaderTest::OpenFront opened(writeCropped(c, image));
        TavixImageReader* reader = opened.reader;
        for (int k = -1; k <= c.levels - c.scale; ++k) {
            const double mag = QVMath::levelToMag(k);
            uint32_t w = 0, h = 0;
            if (reader->getDimsAtMag(mag, w, h) != 0 || w == 0 || h == 0) continue;
            QVISceneBuffer buffer(reader->getPixelProps(), w, h);
            const QVStatus status = reader->read(QVIScene(0, 0, w, h, mag), buffer);
            EXPECT_TRUE(status == 0 || status == 2009u) << "2^-" << k << ": " << status;
        }
    }
}

}  // namespace
