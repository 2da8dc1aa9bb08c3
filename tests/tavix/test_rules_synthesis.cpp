// The synthesis rules on coefficients chosen by hand, through a whole file
// and the reader, against pixels worked out by hand: each lifting step's
// rounding (ties to even, not floor), the mirror at both ends of odd and
// even lengths, vertical before horizontal, the overflow band at full and
// reduced size, and enlargement without detail. Every case is also read
// one column and one row at a time, so that each start and end of the
// stages' column spans and pads meets the same numbers.
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "qv_math.h"
#include "qvi_sceneBuffer.h"
#include "reader_testSupport.h"
#include "tavix_imageReader.h"
#include "tavix_planesetWriter.h"
#include "tavix_waveletPyramid.h"

namespace {

using namespace Orvanetics;
using Rows = std::vector<std::vector<int64_t>>;

struct HandCase {
    const char* what;
    uint32_t width, height;
    uint8_t levels;
    // Subbands with coefficients, row by row; the others are zero.
    std::map<uint32_t, Rows> subbands;
    double mag;
    Rows expected;
};

// The same row `count` times.
Rows repeat(std::vector<int64_t> row, size_t count) { return Rows(count, row); }

// Every row `values` read down the columns: rows[y] is values[y] repeated `width` times.
Rows columns(const std::vector<int64_t>& values, size_t width) {
    Rows rows;
    for (int64_t v : values) rows.push_back(std::vector<int64_t>(width, v));
    return rows;
}

std::vector<uint8_t> writeHandFile(const HandCase& c) {
    WaveletDecoderTest::Pyramid pyramid;
    pyramid.info = TavixFixture::makeImageInfo(c.width, c.height, c.levels, 1, 8);
    XR3ImageInfo& info = pyramid.info;
    info.dataType = XR3_DATATYPE_SINT16;
    info.rangeMin = -32768;
    info.rangeMax = 32767;
    info.inputColorSpace = info.codedColorSpace = XR3_COLORSPACE_GREY;
    pyramid.bands.resize(info.subbands.size());
    for (size_t s = 0; s < info.subbands.size(); ++s) {
        WaveletDecoderTest::Plane plane(info.subbands[s].width, info.subbands[s].height);
        const auto given = c.subbands.find(uint32_t(s));
        if (given != c.subbands.end()) {
            // The hand-made band must have the size the header gives it.
            EXPECT_EQ(size_t(plane.height), given->second.size()) << "subband " << s;
            for (int64_t y = 0; y < plane.height && size_t(y) < given->second.size(); ++y) {
                EXPECT_EQ(size_t(plane.width), given->second[size_t(y)].size()) << "subband " << s;
                for (int64_t x = 0; x < plane.width && size_t(x) < given->second[size_t(y)].size(); ++x)
                    plane.at(x, y) = given->second[size_t(y)][size_t(x)];
            }
        }
        pyramid.bands[s].push_back(std::move(plane));
    }
    return TavixFixture::writeImageFile(info, WaveletDecoderTest::codePyramid(pyramid), {}).bytes;
}

// Reads the scene and compares it with the window of `expected` at its place.
void expectScene(TavixImageReader& reader, const QVIScene& scene, const Rows& expected) {
    const uint32_t x0 = uint32_t(scene.getUpperLeftCol()), y0 = uint32_t(scene.getUpperLeftRow());
    QVISceneBuffer buffer(reader.getPixelProps(), uint32_t(scene.getNumCols()), uint32_t(scene.getNumRows()));
    ASSERT_EQ(0u, reader.read(scene, buffer));
    for (uint32_t y = 0; y < buffer.getNumRows(); ++y)
        for (uint32_t x = 0; x < buffer.getNumCols(); ++x)
            EXPECT_EQ(expected[y0 + y][x0 + x], *static_cast<const int16_t*>(buffer.getSample(x, y, 0)))
                << "at " << x0 + x << "," << y0 + y;
}

TEST(RulesSynthesis, HandWorkedCoefficientsGiveHandWorkedPixels) {
    const HandCase cases[] = {
        // l = 10 3 -7, h = 5 -6: x0 = 10 - round4(5 + 5) = 8 (2.5 to 2), x2 = 3 - round4(-1) = 3,
        // x4 = -7 - round4(-6 - 6) = -4; x1 = 5 + round2(8 + 3) = 11 (5.5 to 6), x3 = -6 + round2(-1) = -6.
        {"odd width", 5, 3, 1, {{0, repeat({10, 3, -7}, 2)}, {2, repeat({5, -6}, 2)}}, 1.0,
         repeat({8, 11, 3, -6, -4}, 3)},
        // l = 4 -9 2, h = 6 -2 7: x0 = 4 - round4(12) = 1, x2 = -9 - round4(4) = -10, x4 = 2 - round4(5) = 1;
        // x1 = 6 + round2(-9) = 2 (-4.5 to -4), x3 = -2 + round2(-9) = -6, x5 = 7 + round2(1 + 1) = 8.
        {"even width", 6, 3, 1, {{0, repeat({4, -9, 2}, 2)}, {2, repeat({6, -2, 7}, 2)}}, 1.0,
         repeat({1, 2, -10, -6, 1, 8}, 3)},
        // l = 0 0 0, h = 3 -5: x0 = -round4(6) = -2 (1.5 to 2), x2 = -round4(-2) = 0 (-0.5 to 0),
        // x4 = -round4(-10) = 2 (-2.5 to -2); x1 = 3 + round2(-2) = 2, x3 = -5 + round2(2) = -4.
        {"quarter ties", 5, 3, 1, {{2, repeat({3, -5}, 2)}}, 1.0, repeat({-2, 2, 0, -4, 2}, 3)},
        // The first case down the columns: LL and LH hold it, HL and HH are zero.
        {"odd height", 3, 5, 1, {{0, columns({10, 3, -7}, 2)}, {3, columns({5, -6}, 2)}}, 1.0,
         columns({8, 11, 3, -6, -4}, 3)},
        // Vertical first: columns (4 3 4), (0 -1 0), (-1 -2 1) give (2 5 2), (0 -1 0), (0 -1 2), then
        // rows. Horizontal first would make the first row 2 2 0.
        {"vertical before horizontal", 3, 3, 1,
         {{0, {{4, -1}, {4, 1}}}, {3, {{3, -2}}}, {4, {{-1}}}}, 1.0, {{2, 1, 0}, {5, 1, -1}, {2, 2, 2}}},
        // LL plus the overflow band is 3 4 9 on each row; without detail the odd places are
        // round2 of their neighbours: 3.5 to 4, 6.5 to 6, and 9 mirrored on itself.
        {"overflow band at full size", 6, 6, 1, {{0, repeat({1, 2, 3}, 3)}, {1, repeat({2, 2, 6}, 3)}}, 1.0,
         repeat({3, 4, 4, 6, 9, 9}, 6)},
        {"overflow band at half size", 6, 6, 1, {{0, repeat({1, 2, 3}, 3)}, {1, repeat({2, 2, 6}, 3)}}, 0.5,
         repeat({3, 4, 9}, 3)},
        // No levels: subband 0 alone, enlarged without detail in both directions.
        {"enlarged rows", 3, 3, 0, {{0, repeat({3, 4, 9}, 3)}}, 2.0, repeat({3, 4, 4, 6, 9, 9}, 6)},
        {"enlarged columns", 3, 3, 0, {{0, columns({3, 4, 9}, 3)}}, 2.0,
         columns({3, 4, 4, 6, 9, 9}, 6)},
    };
    for (const HandCase& c : cases) {
        SCOPED_TRACE(c.what);
        ReaderTest::OpenFront open(writeHandFile(c));
        TavixImageReader* reader = open.reader;
        const uint32_t w = uint32_t(c.expected[0].size()), h = uint32_t(c.expected.size());
        uint32_t dimW = 0, dimH = 0;
        ASSERT_EQ(0u, reader->getDimsAtMag(c.mag, dimW, dimH));
        ASSERT_EQ(w, dimW);
        ASSERT_EQ(h, dimH);
        expectScene(*reader, QVIScene(0, 0, w, h, c.mag), c.expected);
        for (uint32_t x = 0; x < w; ++x) expectScene(*reader, QVIScene(x, 0, 1, h, c.mag), c.expected);
        for (uint32_t y = 0; y < h; ++y) expectScene(*reader, QVIScene(0, y, w, 1, c.mag), c.expected);
    }
}

}  // namespace
