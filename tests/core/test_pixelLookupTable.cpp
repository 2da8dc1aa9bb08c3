#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <tuple>
#include <vector>

#include "qv_statusCodes.h"
#include "qvi_pixelLookupTable.h"
#include "qvi_sceneBuffer.h"

using namespace Orvanetics;

namespace {

template <typename T> constexpr QVIDataType kTypeOf = QVI_DATATYPE_INVALID;
template <> constexpr QVIDataType kTypeOf<uint8_t> = QVI_DATATYPE_UINT8;
template <> constexpr QVIDataType kTypeOf<int8_t> = QVI_DATATYPE_SINT8;
template <> constexpr QVIDataType kTypeOf<uint16_t> = QVI_DATATYPE_UINT16;
template <> constexpr QVIDataType kTypeOf<int16_t> = QVI_DATATYPE_SINT16;
template <> constexpr QVIDataType kTypeOf<uint32_t> = QVI_DATATYPE_UINT32;
template <> constexpr QVIDataType kTypeOf<int32_t> = QVI_DATATYPE_SINT32;
template <> constexpr QVIDataType kTypeOf<float> = QVI_DATATYPE_FLOAT32;
template <> constexpr QVIDataType kTypeOf<double> = QVI_DATATYPE_FLOAT64;

using AllTypes = std::tuple<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, float, double>;

constexpr uint32_t kTableSize = 100;
constexpr uint16_t kTableBands = 3;

// Table content: distinct per band and entry, exact in every type.
template <typename D>
D tableValue(uint16_t band, uint32_t entry)
{
    if constexpr (std::is_floating_point_v<D>) return static_cast<D>(entry * 0.25 + band);
    else return static_cast<D>(entry + 10 * band);
}

// Which entry a source value picks, worked out on the value as a double.
uint32_t expectedEntry(double value, bool sourceIsFloat)
{
    if (sourceIsFloat) {
        if (std::isnan(value) || value < 0) return 0;
        return static_cast<uint32_t>(std::min(std::floor(value), double(kTableSize - 1)));
    }
    if (value < 0) return kTableSize - 1;  // the unsigned cast makes it huge
    return static_cast<uint32_t>(std::min(value, double(kTableSize - 1)));
}

template <typename S>
std::vector<double> sourceValues()
{
    const double candidates[] = {0, 1, 2.7, 50, 98, 99, 99.9, 100, 255, 256, 70000, -1, -0.5,
                                 -128, -40000, 1e9, 5e9, -1e12};
    std::vector<double> values;
    for (double v : candidates) {
        const bool fits = std::is_floating_point_v<S> ||
                          (v == std::floor(v) && v >= double(std::numeric_limits<S>::lowest()) &&
                           v <= double(std::numeric_limits<S>::max()));
        if (fits) values.push_back(v);
    }
    if constexpr (std::is_floating_point_v<S>) values.push_back(std::numeric_limits<double>::quiet_NaN());
    return values;
}

QVIPixelLookupTable makeTable(QVIDataType type)
{
    return QVIPixelLookupTable(QVIPixel(QVI_COLORSPACE_RGB, kTableBands, type), kTableSize);
}

template <typename D>
void fillTable(QVIPixelLookupTable& table)
{
    std::vector<D> raw(kTableSize * kTableBands);
    for (uint16_t b = 0; b < kTableBands; ++b)
        for (uint32_t i = 0; i < kTableSize; ++i) raw[b * kTableSize + i] = tableValue<D>(b, i);
    table.setTableEntries(raw.data());
}

template <typename S, typename D>
void checkPair()
{
    SCOPED_TRACE(testing::Message() << "source type " << kTypeOf<S> << ", table type " << kTypeOf<D>);
    QVIPixelLookupTable table = makeTable(kTypeOf<D>);
    fillTable<D>(table);

    // Source larger than the destination view, with a wider pitch.
    const std::vector<double> values = sourceValues<S>();
    const QVIPixel sourcePixel(QVI_COLORSPACE_GRAYSCALE, 1, kTypeOf<S>);
    QVISceneBuffer source(sourcePixel, 6, 4, nullptr, 9);
    for (uint32_t row = 0; row < 4; ++row)
        for (uint32_t col = 0; col < 6; ++col) {
            const S value = static_cast<S>(values[(row * 6 + col) % values.size()]);
            std::memcpy(source.getSample(col, row, 0), &value, sizeof(S));
        }

    // Destination bands name table bands 2 and 0; the view sits inside a larger grid.
    const uint16_t selection[] = {2, 0};
    const QVIPixel destinationPixel(QVIPixel(QVI_COLORSPACE_RGB, kTableBands, kTypeOf<D>), selection, 2);
    QVISceneBuffer grid(destinationPixel, 7, 5);
    QVISceneBuffer view(grid, 1, 1, 5, 3);
    ASSERT_EQ(table.apply(source, view), 0u);

    for (uint32_t row = 0; row < 5; ++row)
        for (uint32_t col = 0; col < 7; ++col)
            for (uint16_t band = 0; band < 2; ++band) {
                D actual;
                std::memcpy(&actual, grid.getSample(col, row, band), sizeof(D));
                const bool inView = col >= 1 && col < 6 && row >= 1 && row < 4;
                if (!inView) {
                    ASSERT_EQ(actual, D(0)) << col << "," << row;
                    continue;
                }
                S sourceValue;
                std::memcpy(&sourceValue, source.getSample(col - 1, row - 1, 0), sizeof(S));
                const uint32_t entry = expectedEntry(double(sourceValue), std::is_floating_point_v<S>);
                ASSERT_EQ(actual, tableValue<D>(selection[band], entry))
                    << "col " << col << " row " << row << " band " << band << " source "
                    << double(sourceValue);
            }
}

template <typename S, typename... Ds>
void checkSource(std::tuple<Ds...>*)
{
    (checkPair<S, Ds>(), ...);
}

template <typename... Ss>
void checkAllPairs(std::tuple<Ss...>*)
{
    (checkSource<Ss>(static_cast<AllTypes*>(nullptr)), ...);
}

}  // namespace

TEST(PixelLookupTable, ApplyAllTypePairsClampsAndTruncates)
{
    checkAllPairs(static_cast<AllTypes*>(nullptr));
}

TEST(PixelLookupTable, IndexBeyondTheTableGivesTheLastEntry)
{
    QVIPixelLookupTable table = makeTable(QVI_DATATYPE_UINT8);
    fillTable<uint8_t>(table);
    QVISceneBuffer source(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8), 1, 1);
    *static_cast<uint8_t*>(source.getSample(0, 0, 0)) = 255;
    QVISceneBuffer destination(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), 1, 1);
    ASSERT_EQ(table.apply(source, destination), 0u);
    EXPECT_EQ(*static_cast<uint8_t*>(destination.getSample(0, 0, 0)), 99);
    EXPECT_EQ(*static_cast<uint8_t*>(destination.getSample(0, 0, 2)), 119);
}

TEST(PixelLookupTable, BandTypeMismatchAndEmptyTable)
{
    QVIPixelLookupTable table = makeTable(QVI_DATATYPE_UINT16);
    QVISceneBuffer source(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8), 2, 2);
    QVISceneBuffer wrongType(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8), 2, 2);
    EXPECT_EQ(table.apply(source, wrongType), QVI_STS_Core_DataTypeMismatch);

    const QVIPixelLookupTable noBands(QVIPixel(), 10);
    EXPECT_EQ(noBands.getTableBytes(), 0u);
    EXPECT_EQ(noBands.apply(source, wrongType), 0u);
}

TEST(PixelLookupTable, EntriesBandByBand)
{
    QVIPixelLookupTable table = makeTable(QVI_DATATYPE_SINT16);
    EXPECT_EQ(table.getTableBytes(), kTableSize * 3 * 2u);
    // Allocated zeroed.
    const int16_t* raw = static_cast<const int16_t*>(table.getTableEntries());
    for (size_t i = 0; i < kTableSize * 3; ++i) ASSERT_EQ(raw[i], 0);

    QVIPixel entry(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_SINT16);
    const int16_t values[] = {-7, 300, 12};
    entry.setSampleValuesSint16(values);
    table.setTableEntry(42, entry);
    EXPECT_EQ(raw[42], -7);
    EXPECT_EQ(raw[kTableSize + 42], 300);
    EXPECT_EQ(raw[2 * kTableSize + 42], 12);

    const QVIPixelLookupTable copy(table);
    EXPECT_NE(copy.getTableEntries(), table.getTableEntries());
    EXPECT_EQ(std::memcmp(copy.getTableEntries(), table.getTableEntries(), table.getTableBytes()), 0);
    std::unique_ptr<QVIPixel> fromCopy(copy.getTableEntry(42));
    EXPECT_EQ(fromCopy->getSampleValueSint16(2), 12);
}
