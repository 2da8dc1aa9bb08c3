// Scene buffers: memory layout of grids and views, the import and export
// forms, and the in-place operations. Expected bytes are computed here from
// the layout rules, independently of the buffer's own loops.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <vector>

#include "core_testReader.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"

using namespace Orvanetics;
using CoreTest::VectorStream;

namespace {

QVIPixel rgb8()
{
    return QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
}

// Band 0 one byte, band 1 two bytes, band 2 eight bytes.
QVIPixel mixedPixel()
{
    const QVISample samples[3] = {QVISample(0, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT8),
                                  QVISample(1, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT16),
                                  QVISample(2, QVI_COLOR_UNKNOWN, QVI_DATATYPE_FLOAT64)};
    return QVIPixel(samples, 3, QVI_COLORSPACE_MULTISPECTRAL);
}

template <typename T>
T sampleAt(const QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band)
{
    T value;
    std::memcpy(&value, buffer.getSample(col, row, band), sizeof(T));
    return value;
}

template <typename T>
void setSampleAt(QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band, T value)
{
    std::memcpy(buffer.getSample(col, row, band), &value, sizeof(T));
}

// A distinct small value for every (col, row, band).
uint32_t code(uint32_t col, uint32_t row, uint16_t band)
{
    return (band * 64 + row * 8 + col) & 0xFF;
}

// Writes code() into every sample of an 8-bit buffer's view.
void fillWithCodes(QVISceneBuffer& buffer)
{
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band)
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row)
            for (uint32_t col = 0; col < buffer.getNumCols(); ++col)
                setSampleAt<uint8_t>(buffer, col, row, band, uint8_t(code(col, row, band)));
}

// Each band's sample (c, r) of a mixed buffer: band 0 c + 10 r, band 1 1000 + that, band 2 a fraction.
void fillMixed(QVISceneBuffer& buffer)
{
    for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
        for (uint32_t col = 0; col < buffer.getNumCols(); ++col) {
            setSampleAt<uint8_t>(buffer, col, row, 0, uint8_t(col + 10 * row));
            setSampleAt<uint16_t>(buffer, col, row, 1, uint16_t(1000 + col + 10 * row));
            setSampleAt<double>(buffer, col, row, 2, 0.5 + col + 10 * row);
        }
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// Layout

TEST(SceneBufferLayout, OwnedGridIsZeroedWithPitchOfItsColumns)
{
    QVISceneBuffer buffer(rgb8(), 5, 4);
    EXPECT_EQ(buffer.getTotalNumCols(), 5u);
    EXPECT_EQ(buffer.getNumPixels(), 20u);
    EXPECT_EQ(buffer.getNumBands(), 3);
    for (uint16_t band = 0; band < 3; ++band) {
        const auto* bytes = static_cast<const uint8_t*>(buffer.getBandData(band));
        EXPECT_TRUE(std::all_of(bytes, bytes + 20, [](uint8_t b) { return b == 0; }));
    }
    EXPECT_EQ(buffer.getSample(2, 3, 1), static_cast<uint8_t*>(buffer.getBandData(1)) + 17);
}

TEST(SceneBufferLayout, WrapsCallerBandsWithTheirPitchAndNeverFreesThem)
{
    uint8_t band0[24] = {};
    uint16_t band1[24] = {};
    const QVISample samples[2] = {QVISample(0, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT8),
                                  QVISample(1, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT16)};
    const QVIPixel pixel(samples, 2, QVI_COLORSPACE_MULTISPECTRAL);
    void* data[2] = {band0, band1};
    {
        QVISceneBuffer buffer(pixel, 5, 3, data, 8);
        EXPECT_EQ(buffer.getBandData(0), band0);
        EXPECT_EQ(buffer.getTotalNumCols(), 8u);
        // The pitch is in samples, common to bands of different sizes.
        EXPECT_EQ(buffer.getSample(4, 2, 0), &band0[20]);
        EXPECT_EQ(buffer.getSample(4, 2, 1), &band1[20]);
    }
    band1[20] = 7;  // still ours after the buffer is gone
    EXPECT_EQ(band1[20], 7);
}

TEST(SceneBufferLayout, ViewsStartAtTheirCornerInEveryBand)
{
    QVISceneBuffer parent(mixedPixel(), 6, 5);
    QVISceneBuffer view(parent, 2, 1, 3, 2);
    EXPECT_EQ(view.getNumCols(), 3u);
    EXPECT_EQ(view.getNumRows(), 2u);
    EXPECT_EQ(view.getTotalNumCols(), 6u);
    for (uint16_t band = 0; band < 3; ++band) {
        EXPECT_EQ(view.getBandData(band), parent.getSample(2, 1, band));
        EXPECT_EQ(view.getSample(2, 1, band), parent.getSample(4, 2, band));
    }
    setSampleAt<double>(view, 1, 1, 2, 3.25);
    EXPECT_EQ(sampleAt<double>(parent, 3, 2, 2), 3.25);

    QVISceneBuffer corner(parent, 4, 3);
    EXPECT_EQ(corner.getNumCols(), 2u);
    EXPECT_EQ(corner.getNumRows(), 2u);
    EXPECT_EQ(corner.getBandData(1), parent.getSample(4, 3, 1));
}

TEST(SceneBufferLayout, GridViewOffsetsApplyOnlyToCallerData)
{
    std::vector<uint8_t> bands[3];
    void* data[3];
    for (int b = 0; b < 3; ++b) {
        bands[b].assign(10 * 6, 0);
        data[b] = bands[b].data();
    }
    QVISceneBuffer wrapped(rgb8(), 10, 6, 3, 2, 4, 3, data);
    EXPECT_EQ(wrapped.getBandData(2), &bands[2][2 * 10 + 3]);

    // Without data the whole grid is allocated and the view sits at its origin.
    QVISceneBuffer owned(rgb8(), 10, 6, 3, 2, 4, 3, nullptr);
    EXPECT_EQ(owned.getNumCols(), 4u);
    EXPECT_EQ(owned.getTotalNumCols(), 10u);
    EXPECT_EQ(sampleAt<uint8_t>(owned, 9, 5, 2), 0);  // last grid sample is there and zero
}

TEST(SceneBufferLayout, BandIndexLookupsFollowTheSelection)
{
    const uint16_t selection[2] = {2, 0};
    QVISceneBuffer buffer(QVIPixel(rgb8(), selection, 2), 2, 2);
    EXPECT_EQ(buffer.getSourceBandIndex(0), 2);
    EXPECT_EQ(buffer.getSourceBandIndex(1), 0);
    EXPECT_EQ(buffer.getDestinationBandIndex(0), 1);
    EXPECT_EQ(buffer.getDestinationBandIndex(2), 0);
    EXPECT_EQ(buffer.getDestinationBandIndex(1), 0xFFFF);
}

TEST(SceneBufferLayout, AddAlignmentRoundsUpFromTwo)
{
    EXPECT_EQ(QVISceneBuffer::addAlignment(13, 0), 13u);
    EXPECT_EQ(QVISceneBuffer::addAlignment(13, 1), 13u);
    EXPECT_EQ(QVISceneBuffer::addAlignment(13, 4), 16u);
    EXPECT_EQ(QVISceneBuffer::addAlignment(16, 4), 16u);
    EXPECT_EQ(QVISceneBuffer::addAlignment(13, 6), 18u);
}

// ---------------------------------------------------------------------------
// Buffer to buffer

TEST(SceneBufferImport, BandImportCopiesOnlyTheCommonArea)
{
    QVISceneBuffer dst(rgb8(), 4, 4);
    QVIPixel nine(rgb8());
    nine.setSampleValuesUint8(uint8_t(9));
    ASSERT_EQ(dst.fill(nine), 0u);
    QVISceneBuffer src(rgb8(), 2, 3);
    fillWithCodes(src);
    ASSERT_EQ(dst.importDataBand(1, src, 2), 0u);
    for (uint32_t row = 0; row < 4; ++row) {
        for (uint32_t col = 0; col < 4; ++col) {
            const bool inside = col < 2 && row < 3;
            EXPECT_EQ(sampleAt<uint8_t>(dst, col, row, 1), inside ? code(col, row, 2) : 9u);
            EXPECT_EQ(sampleAt<uint8_t>(dst, col, row, 0), 9u);
        }
    }
}

TEST(SceneBufferImport, ImportDataCopiesEachBandBetweenViews)
{
    QVISceneBuffer srcGrid(rgb8(), 8, 8);
    fillWithCodes(srcGrid);
    QVISceneBuffer dstGrid(rgb8(), 5, 5);
    QVISceneBuffer src(srcGrid, 3, 2, 4, 4);
    QVISceneBuffer dst(dstGrid, 1, 1);
    ASSERT_EQ(dst.importData(src), 0u);
    for (uint16_t band = 0; band < 3; ++band) {
        EXPECT_EQ(sampleAt<uint8_t>(dstGrid, 1, 1, band), code(3, 2, band));
        EXPECT_EQ(sampleAt<uint8_t>(dstGrid, 4, 4, band), code(6, 5, band));
        EXPECT_EQ(sampleAt<uint8_t>(dstGrid, 0, 0, band), 0u);
    }
}

TEST(SceneBufferImport, ImportDataRefusesAnotherDataType)
{
    QVISceneBuffer dst(rgb8(), 2, 2);
    QVISceneBuffer src(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16), 2, 2);
    EXPECT_EQ(dst.importData(src), 50016u);
}

// ---------------------------------------------------------------------------
// Band-sequential memory and streams

TEST(SceneBufferBSQ, BandPointersAndBlockRoundTripThroughAView)
{
    QVISceneBuffer grid(mixedPixel(), 7, 6);
    QVISceneBuffer view(grid, 2, 1, 3, 4);
    fillMixed(view);

    void** bands = nullptr;
    ASSERT_EQ(view.exportDataBSQ(bands), 0u);
    ASSERT_NE(bands, nullptr);
    // Band 1 packed: row r, col c at r * 3 + c.
    EXPECT_EQ(static_cast<uint16_t*>(bands[1])[2 * 3 + 1], 1000 + 1 + 20);
    EXPECT_EQ(static_cast<double*>(bands[2])[3 * 3 + 2], 0.5 + 2 + 30);

    void* block = nullptr;
    ASSERT_EQ(view.exportDataBSQ(block), 0u);
    ASSERT_NE(block, nullptr);
    // Bands follow each other: 12 one-byte, then 12 two-byte, then 12 eight-byte samples.
    const auto* bytes = static_cast<const uint8_t*>(block);
    EXPECT_EQ(bytes[1 * 3 + 2], 2 + 10);
    uint16_t second;
    std::memcpy(&second, bytes + 12 + 2 * (3 * 3), 2);
    EXPECT_EQ(second, 1000 + 30);
    double third;
    std::memcpy(&third, bytes + 12 + 24 + 8 * 5, 8);
    EXPECT_EQ(third, 0.5 + 2 + 10);

    QVISceneBuffer fromBands(mixedPixel(), 3, 4);
    ASSERT_EQ(fromBands.importDataBSQ(bands), 0u);
    QVISceneBuffer otherGrid(mixedPixel(), 7, 6);
    QVISceneBuffer fromBlock(otherGrid, 3, 2, 3, 4);
    ASSERT_EQ(fromBlock.importDataBSQ(static_cast<const void*>(block)), 0u);
    for (uint32_t row = 0; row < 4; ++row) {
        for (uint32_t col = 0; col < 3; ++col) {
            EXPECT_EQ(sampleAt<uint16_t>(fromBands, col, row, 1), 1000 + col + 10 * row);
            EXPECT_EQ(sampleAt<uint8_t>(fromBlock, col, row, 0), col + 10 * row);
            EXPECT_EQ(sampleAt<double>(fromBlock, col, row, 2), 0.5 + col + 10 * row);
        }
    }
    for (int band = 0; band < 3; ++band)
        std::free(bands[band]);
    std::free(bands);
    std::free(block);
}

TEST(SceneBufferBSQ, StreamImportReadsTheOversizedCountInOneRead)
{
    // 10 x 10 x 3 bands x 3 pixel bytes: 900 bytes, although 300 are used.
    std::vector<uint8_t> bytes(900);
    std::iota(bytes.begin(), bytes.end(), 0);
    VectorStream stream(bytes);
    QVISceneBuffer buffer(rgb8(), 10, 10);
    ASSERT_EQ(buffer.importDataBSQ(stream), 0u);
    EXPECT_EQ(stream.position, 900u);
    EXPECT_EQ(stream.reads, 1);
    EXPECT_EQ(sampleAt<uint8_t>(buffer, 3, 2, 0), 23);
    EXPECT_EQ(sampleAt<uint8_t>(buffer, 3, 2, 2), uint8_t(200 + 23));
}

TEST(SceneBufferBSQ, ShortStreamImportGivesTheStreamsError)
{
    QVISceneBuffer buffer(rgb8(), 10, 10);
    VectorStream withError(std::vector<uint8_t>(899));
    withError.lastError = 145012;
    EXPECT_EQ(buffer.importDataBSQ(withError), 145012u);
    // A stream that only ran dry still fails the import.
    VectorStream dry(std::vector<uint8_t>(300));
    EXPECT_EQ(buffer.importDataBSQ(dry), 50006u);
    VectorStream dryBIP(std::vector<uint8_t>(300));
    EXPECT_EQ(buffer.importDataBIP(dryBIP), 50006u);
}

TEST(SceneBufferBSQ, StreamExportWritesThePackedViewOnce)
{
    QVISceneBuffer grid(rgb8(), 6, 6);
    fillWithCodes(grid);
    QVISceneBuffer view(grid, 1, 2, 2, 3);
    VectorStream stream;
    ASSERT_EQ(view.exportDataBSQ(stream), 0u);
    EXPECT_EQ(stream.writes, 1);
    ASSERT_EQ(stream.data.size(), 2u * 3u * 3u);
    EXPECT_EQ(stream.data[0], code(1, 2, 0));
    EXPECT_EQ(stream.data[6 + 2 * 2 + 1], code(2, 4, 1));

    VectorStream full;
    full.writeLimit = 10;
    full.lastError = 145013;
    EXPECT_EQ(view.exportDataBSQ(full), 145013u);
}

// ---------------------------------------------------------------------------
// Band-interleaved memory and streams

TEST(SceneBufferBIP, ImportTakesEachSampleWithItsOwnSize)
{
    // Pixel of 1 + 2 + 8 bytes, 2 x 2 pixels.
    std::vector<uint8_t> block;
    for (uint32_t row = 0; row < 2; ++row) {
        for (uint32_t col = 0; col < 2; ++col) {
            const uint8_t first = uint8_t(col + 10 * row);
            const uint16_t second = uint16_t(1000 + col + 10 * row);
            const double third = 0.5 + col + 10 * row;
            block.push_back(first);
            block.insert(block.end(), reinterpret_cast<const uint8_t*>(&second),
                         reinterpret_cast<const uint8_t*>(&second) + 2);
            block.insert(block.end(), reinterpret_cast<const uint8_t*>(&third),
                         reinterpret_cast<const uint8_t*>(&third) + 8);
        }
    }
    QVISceneBuffer grid(mixedPixel(), 4, 4);
    QVISceneBuffer view(grid, 1, 1, 2, 2);
    ASSERT_EQ(view.importDataBIP(static_cast<const void*>(block.data())), 0u);
    QVISceneBuffer expected(mixedPixel(), 2, 2);
    fillMixed(expected);
    for (uint32_t row = 0; row < 2; ++row) {
        for (uint32_t col = 0; col < 2; ++col) {
            EXPECT_EQ(sampleAt<uint8_t>(view, col, row, 0), sampleAt<uint8_t>(expected, col, row, 0));
            EXPECT_EQ(sampleAt<uint16_t>(view, col, row, 1), sampleAt<uint16_t>(expected, col, row, 1));
            EXPECT_EQ(sampleAt<double>(view, col, row, 2), sampleAt<double>(expected, col, row, 2));
        }
    }
    EXPECT_EQ(sampleAt<uint16_t>(grid, 0, 0, 1), 0);
}

TEST(SceneBufferBIP, StreamImportReadsTheOversizedCount)
{
    std::vector<uint8_t> bytes(900);
    std::iota(bytes.begin(), bytes.end(), 0);
    VectorStream stream(bytes);
    QVISceneBuffer buffer(rgb8(), 10, 10);
    ASSERT_EQ(buffer.importDataBIP(stream), 0u);
    EXPECT_EQ(stream.position, 900u);
    EXPECT_EQ(stream.reads, 1);
    // Pixel (c, r) starts at byte 3 (10 r + c).
    EXPECT_EQ(sampleAt<uint8_t>(buffer, 4, 2, 1), uint8_t(3 * 24 + 1));
}

template <typename T>
void expectBIPRoundTrip(QVIDataType type)
{
    const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, type);
    QVISceneBuffer grid(pixel, 5, 5);
    QVISceneBuffer view(grid, 1, 1, 3, 2);
    for (uint16_t band = 0; band < 3; ++band)
        for (uint32_t row = 0; row < 2; ++row)
            for (uint32_t col = 0; col < 3; ++col)
                setSampleAt<T>(view, col, row, band, T(code(col, row, band) + 1));
    void* data = nullptr;
    ASSERT_EQ(view.exportDataBIP(data), 0u);
    const T* samples = static_cast<const T*>(data);
    for (uint32_t row = 0; row < 2; ++row)
        for (uint32_t col = 0; col < 3; ++col)
            for (uint16_t band = 0; band < 3; ++band)
                EXPECT_EQ(samples[(row * 3 + col) * 3 + band], T(code(col, row, band) + 1));
    QVISceneBuffer back(pixel, 3, 2);
    ASSERT_EQ(back.importDataBIP(static_cast<const void*>(data)), 0u);
    EXPECT_EQ(sampleAt<T>(back, 2, 1, 2), T(code(2, 1, 2) + 1));
    std::free(data);
}

TEST(SceneBufferBIP, MemoryExportServesOneTwoAndFourByteSamples)
{
    expectBIPRoundTrip<uint8_t>(QVI_DATATYPE_UINT8);
    expectBIPRoundTrip<int16_t>(QVI_DATATYPE_SINT16);
    expectBIPRoundTrip<float>(QVI_DATATYPE_FLOAT32);
}

TEST(SceneBufferBIP, EightByteSamplesExportOnlyToStreams)
{
    const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_FLOAT64);
    QVISceneBuffer buffer(pixel, 2, 2);
    for (uint16_t band = 0; band < 3; ++band)
        for (uint32_t row = 0; row < 2; ++row)
            for (uint32_t col = 0; col < 2; ++col)
                setSampleAt<double>(buffer, col, row, band, code(col, row, band) / 4.0);
    void* data = nullptr;
    EXPECT_EQ(buffer.exportDataBIP(data), 50001u);
    EXPECT_EQ(data, nullptr);

    VectorStream stream;
    ASSERT_EQ(buffer.exportDataBIP(stream), 0u);
    EXPECT_EQ(stream.writes, 2);  // one per row
    ASSERT_EQ(stream.data.size(), 2u * 2u * 3u * 8u);
    double value;
    std::memcpy(&value, stream.data.data() + ((1 * 2 + 1) * 3 + 2) * 8, 8);
    EXPECT_EQ(value, code(1, 1, 2) / 4.0);
}

TEST(SceneBufferBIP, BandsOfDifferentSizesAreNotInterleavedByBandZerosSize)
{
    QVISceneBuffer buffer(mixedPixel(), 2, 2);
    void* data = nullptr;
    EXPECT_EQ(buffer.exportDataBIP(data), 50001u);
    VectorStream stream;
    EXPECT_EQ(buffer.exportDataBIP(stream), 50001u);
}

// ---------------------------------------------------------------------------
// Any layout

TEST(SceneBufferExport, StepsGiveBILLayout)
{
    const QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    QVISceneBuffer grid(pixel, 6, 4);
    QVISceneBuffer view(grid, 2, 1, 3, 2);
    for (uint16_t band = 0; band < 3; ++band)
        for (uint32_t row = 0; row < 2; ++row)
            for (uint32_t col = 0; col < 3; ++col)
                setSampleAt<uint16_t>(view, col, row, band, uint16_t(500 + code(col, row, band)));
    std::vector<uint16_t> bil(3 * 3 * 2);
    // pixel step = sample size, row step = bands x cols x size, band step = cols x size.
    ASSERT_EQ(view.exportData(bil.data(), 2, 3 * 3 * 2, 3 * 2), 0u);
    for (uint32_t row = 0; row < 2; ++row)
        for (uint16_t band = 0; band < 3; ++band)
            for (uint32_t col = 0; col < 3; ++col)
                EXPECT_EQ(bil[(row * 3 + band) * 3 + col], 500 + code(col, row, band));
}

TEST(SceneBufferExport, StepsMayPadPixelsAndRunBottomUp)
{
    QVISceneBuffer buffer(rgb8(), 3, 2);
    fillWithCodes(buffer);
    // Four-byte pixels, the fourth byte left alone, rows in reverse order.
    std::vector<uint8_t> out(3 * 4 * 2, 0xEE);
    const int64_t rowBytes = 3 * 4;
    ASSERT_EQ(buffer.exportData(out.data() + rowBytes, 4, -rowBytes, 1), 0u);
    for (uint32_t row = 0; row < 2; ++row) {
        const uint8_t* outRow = out.data() + (1 - row) * rowBytes;
        for (uint32_t col = 0; col < 3; ++col) {
            for (uint16_t band = 0; band < 3; ++band)
                EXPECT_EQ(outRow[col * 4 + band], code(col, row, band));
            EXPECT_EQ(outRow[col * 4 + 3], 0xEE);
        }
    }
}

// ---------------------------------------------------------------------------
// In place

TEST(SceneBufferInPlace, ByteSwapReversesEachSampleBySizeInsideTheView)
{
    const QVISample samples[4] = {QVISample(0, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT8),
                                  QVISample(1, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT16),
                                  QVISample(2, QVI_COLOR_UNKNOWN, QVI_DATATYPE_SINT32),
                                  QVISample(3, QVI_COLOR_UNKNOWN, QVI_DATATYPE_FLOAT64)};
    const QVIPixel pixel(samples, 4, QVI_COLORSPACE_MULTISPECTRAL);
    QVISceneBuffer grid(pixel, 3, 3);
    for (uint32_t row = 0; row < 3; ++row) {
        for (uint32_t col = 0; col < 3; ++col) {
            setSampleAt<uint8_t>(grid, col, row, 0, 0x12);
            setSampleAt<uint16_t>(grid, col, row, 1, 0x1234);
            setSampleAt<uint32_t>(grid, col, row, 2, 0x12345678u);
            setSampleAt<uint64_t>(grid, col, row, 3, 0x0102030405060708ull);
        }
    }
    QVISceneBuffer view(grid, 1, 1, 2, 1);
    view.byteSwap();
    for (uint32_t row = 0; row < 3; ++row) {
        for (uint32_t col = 0; col < 3; ++col) {
            const bool inside = row == 1 && col >= 1;
            EXPECT_EQ(sampleAt<uint8_t>(grid, col, row, 0), 0x12);
            EXPECT_EQ(sampleAt<uint16_t>(grid, col, row, 1), inside ? 0x3412 : 0x1234);
            EXPECT_EQ(sampleAt<uint32_t>(grid, col, row, 2), inside ? 0x78563412u : 0x12345678u);
            EXPECT_EQ(sampleAt<uint64_t>(grid, col, row, 3),
                      inside ? 0x0807060504030201ull : 0x0102030405060708ull);
        }
    }
}

TEST(SceneBufferInPlace, FillTakesEachBandsValueBySourceBandIndex)
{
    QVIPixel full(rgb8());
    full.setSampleValueUint8(0, 10);
    full.setSampleValueUint8(1, 20);
    full.setSampleValueUint8(2, 30);
    const uint16_t selection[2] = {2, 0};
    QVISceneBuffer grid(QVIPixel(rgb8(), selection, 2), 4, 3);
    QVISceneBuffer view(grid, 1, 1, 2, 2);
    ASSERT_EQ(view.fill(full), 0u);
    for (uint32_t row = 0; row < 3; ++row) {
        for (uint32_t col = 0; col < 4; ++col) {
            const bool inside = row >= 1 && col >= 1 && col <= 2;
            EXPECT_EQ(sampleAt<uint8_t>(grid, col, row, 0), inside ? 30 : 0);
            EXPECT_EQ(sampleAt<uint8_t>(grid, col, row, 1), inside ? 10 : 0);
        }
    }
}

template <typename T>
void expectFillOfType(QVIDataType type, T value)
{
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, type);
    pixel.getSample(0).setValueAddr(&value);
    QVISceneBuffer grid(pixel, 5, 4);
    QVISceneBuffer view(grid, 1, 1, 3, 2);
    ASSERT_EQ(view.fill(pixel), 0u);
    for (uint32_t row = 0; row < 4; ++row)
        for (uint32_t col = 0; col < 5; ++col)
            EXPECT_EQ(sampleAt<T>(grid, col, row, 0),
                      (row >= 1 && row <= 2 && col >= 1 && col <= 3) ? value : T(0));
}

TEST(SceneBufferInPlace, FillServesEverySampleSize)
{
    expectFillOfType<uint8_t>(QVI_DATATYPE_UINT8, 0xA5);
    expectFillOfType<int16_t>(QVI_DATATYPE_SINT16, -1234);
    expectFillOfType<float>(QVI_DATATYPE_FLOAT32, 0.75f);
    expectFillOfType<double>(QVI_DATATYPE_FLOAT64, -2.5);
}

TEST(SceneBufferInPlace, FillChecksThePixelFirst)
{
    QVISceneBuffer buffer(rgb8(), 2, 2);
    EXPECT_EQ(buffer.fill(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16)), 50016u);
    EXPECT_EQ(buffer.fill(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8)), 50018u);
}

TEST(SceneBufferInPlace, ZeroClearsOnlyTheView)
{
    QVISceneBuffer grid(rgb8(), 4, 4);
    fillWithCodes(grid);
    QVISceneBuffer view(grid, 2, 2);
    view.zero(1);
    EXPECT_EQ(sampleAt<uint8_t>(grid, 3, 3, 1), 0);
    EXPECT_EQ(sampleAt<uint8_t>(grid, 3, 3, 0), code(3, 3, 0));
    EXPECT_EQ(sampleAt<uint8_t>(grid, 1, 3, 1), code(1, 3, 1));
    view.zero();
    EXPECT_EQ(sampleAt<uint8_t>(grid, 2, 2, 0), 0);
    EXPECT_EQ(sampleAt<uint8_t>(grid, 2, 1, 2), code(2, 1, 2));
}
