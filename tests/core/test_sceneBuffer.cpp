// Scene buffers: memory layout of grids and views, the import and export
// forms, and the in-place operations. Expected bytes are computed here from
// the layout rules, independently of the buffer's own loops.
#include <gtest/gtest.h>

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

QVIPixel rgb(QVIDataType type = QVI_DATATYPE_UINT8)
{
    return QVIPixel(QVI_COLORSPACE_RGB, 3, type);
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
T at(const QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band)
{
    T value;
    std::memcpy(&value, buffer.getSample(col, row, band), sizeof(T));
    return value;
}

template <typename T>
void put(QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band, T value)
{
    std::memcpy(buffer.getSample(col, row, band), &value, sizeof(T));
}

// A distinct small value for every (col, row, band).
uint32_t code(uint32_t col, uint32_t row, uint16_t band)
{
    return (band * 64 + row * 8 + col) & 0xFF;
}

// code() + offset in every sample of the buffer's view, as type T.
template <typename T = uint8_t>
void fillWithCodes(QVISceneBuffer& buffer, uint32_t offset = 0)
{
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band)
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row)
            for (uint32_t col = 0; col < buffer.getNumCols(); ++col)
                put<T>(buffer, col, row, band, T(code(col, row, band) + offset));
}

// Sample (c, r) of a mixed buffer: band 0 c + 10 r, band 1 1000 + that, band 2 0.5 + that.
void fillMixed(QVISceneBuffer& buffer)
{
    for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
        for (uint32_t col = 0; col < buffer.getNumCols(); ++col) {
            put<uint8_t>(buffer, col, row, 0, uint8_t(col + 10 * row));
            put<uint16_t>(buffer, col, row, 1, uint16_t(1000 + col + 10 * row));
            put<double>(buffer, col, row, 2, 0.5 + col + 10 * row);
        }
    }
}

void expectMixed(const QVISceneBuffer& buffer)
{
    for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
        for (uint32_t col = 0; col < buffer.getNumCols(); ++col) {
            EXPECT_EQ(at<uint8_t>(buffer, col, row, 0), col + 10 * row);
            EXPECT_EQ(at<uint16_t>(buffer, col, row, 1), 1000 + col + 10 * row);
            EXPECT_EQ(at<double>(buffer, col, row, 2), 0.5 + col + 10 * row);
        }
    }
}

}  // namespace

TEST(SceneBufferLayout, GridsCallerBandsAndViews)
{
    QVISceneBuffer owned(rgb(), 5, 4);
    EXPECT_EQ(owned.getNumPixels(), 20u);
    EXPECT_EQ(at<uint8_t>(owned, 4, 3, 2), 0);
    EXPECT_EQ(owned.getSample(2, 3, 1), static_cast<uint8_t*>(owned.getBandData(1)) + 17);

    // Caller bands: the pitch is in samples, common to bands of different sizes.
    uint8_t band0[24] = {};
    uint16_t band1[24] = {};
    const QVISample samples[2] = {QVISample(0, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT8),
                                  QVISample(1, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT16)};
    void* data[2] = {band0, band1};
    {
        QVISceneBuffer wrapped(QVIPixel(samples, 2, QVI_COLORSPACE_MULTISPECTRAL), 5, 3, data, 8);
        EXPECT_EQ(wrapped.getSample(4, 2, 0), &band0[20]);
        EXPECT_EQ(wrapped.getSample(4, 2, 1), &band1[20]);
    }
    band1[20] = 7;  // still ours after the buffer is gone
    EXPECT_EQ(band1[20], 7);

    QVISceneBuffer parent(mixedPixel(), 6, 5);
    QVISceneBuffer view(parent, 2, 1, 3, 2);
    EXPECT_EQ(view.getTotalNumCols(), 6u);
    for (uint16_t band = 0; band < 3; ++band)
        EXPECT_EQ(view.getSample(2, 1, band), parent.getSample(4, 2, band));
    QVISceneBuffer corner(parent, 4, 3);
    EXPECT_EQ(corner.getNumCols(), 2u);
    EXPECT_EQ(corner.getNumRows(), 2u);
    EXPECT_EQ(corner.getBandData(1), parent.getSample(4, 3, 1));

    // Grid-view offsets apply only to caller data; without it the whole grid is allocated.
    std::vector<uint8_t> bands[3];
    void* gridData[3];
    for (int b = 0; b < 3; ++b) {
        bands[b].assign(10 * 6, 0);
        gridData[b] = bands[b].data();
    }
    EXPECT_EQ(QVISceneBuffer(rgb(), 10, 6, 3, 2, 4, 3, gridData).getBandData(2), &bands[2][2 * 10 + 3]);
    QVISceneBuffer ownedGrid(rgb(), 10, 6, 3, 2, 4, 3, nullptr);
    EXPECT_EQ(ownedGrid.getNumCols(), 4u);
    EXPECT_EQ(at<uint8_t>(ownedGrid, 9, 5, 2), 0);
}

TEST(SceneBufferLayout, BandIndicesAndAlignment)
{
    const uint16_t selection[2] = {2, 0};
    QVISceneBuffer buffer(QVIPixel(rgb(), selection, 2), 2, 2);
    EXPECT_EQ(buffer.getSourceBandIndex(0), 2);
    EXPECT_EQ(buffer.getDestinationBandIndex(0), 1);
    EXPECT_EQ(buffer.getDestinationBandIndex(2), 0);
    EXPECT_EQ(buffer.getDestinationBandIndex(1), 0xFFFF);

    const struct { uint32_t value, alignment, expected; } rows[] = {
        {13, 0, 13}, {13, 1, 13}, {13, 4, 16}, {16, 4, 16}, {13, 6, 18}};
    for (const auto& row : rows)
        EXPECT_EQ(QVISceneBuffer::addAlignment(row.value, row.alignment), row.expected) << row.alignment;
}

TEST(SceneBufferImport, BufferToBuffer)
{
    // A band import copies only the common area.
    QVISceneBuffer dst(rgb(), 4, 4);
    QVIPixel nine(rgb());
    nine.setSampleValuesUint8(uint8_t(9));
    ASSERT_EQ(dst.fill(nine), 0u);
    QVISceneBuffer src(rgb(), 2, 3);
    fillWithCodes(src);
    ASSERT_EQ(dst.importDataBand(1, src, 2), 0u);
    for (uint32_t row = 0; row < 4; ++row) {
        for (uint32_t col = 0; col < 4; ++col) {
            EXPECT_EQ(at<uint8_t>(dst, col, row, 1), col < 2 && row < 3 ? code(col, row, 2) : 9u);
            EXPECT_EQ(at<uint8_t>(dst, col, row, 0), 9u);
        }
    }

    // Whole buffers, view to view.
    QVISceneBuffer srcGrid(rgb(), 8, 8);
    fillWithCodes(srcGrid);
    QVISceneBuffer dstGrid(rgb(), 5, 5);
    QVISceneBuffer dstView(dstGrid, 1, 1);
    ASSERT_EQ(dstView.importData(QVISceneBuffer(srcGrid, 3, 2, 4, 4)), 0u);
    for (uint16_t band = 0; band < 3; ++band) {
        EXPECT_EQ(at<uint8_t>(dstGrid, 1, 1, band), code(3, 2, band));
        EXPECT_EQ(at<uint8_t>(dstGrid, 4, 4, band), code(6, 5, band));
        EXPECT_EQ(at<uint8_t>(dstGrid, 0, 0, band), 0u);
    }
    EXPECT_EQ(dst.importData(QVISceneBuffer(rgb(QVI_DATATYPE_UINT16), 2, 2)), 50016u);
}

TEST(SceneBufferBSQ, BandPointersAndBlockRoundTripThroughAView)
{
    QVISceneBuffer grid(mixedPixel(), 7, 6);
    QVISceneBuffer view(grid, 2, 1, 3, 4);
    fillMixed(view);

    void** bands = nullptr;
    ASSERT_EQ(view.exportDataBSQ(bands), 0u);
    // Band 1 packed: row r, col c at r * 3 + c.
    EXPECT_EQ(static_cast<uint16_t*>(bands[1])[2 * 3 + 1], 1000 + 1 + 20);
    EXPECT_EQ(static_cast<double*>(bands[2])[3 * 3 + 2], 0.5 + 2 + 30);

    void* block = nullptr;
    ASSERT_EQ(view.exportDataBSQ(block), 0u);
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
    expectMixed(fromBands);
    QVISceneBuffer otherGrid(mixedPixel(), 7, 6);
    QVISceneBuffer fromBlock(otherGrid, 3, 2, 3, 4);
    ASSERT_EQ(fromBlock.importDataBSQ(static_cast<const void*>(block)), 0u);
    expectMixed(fromBlock);
    for (int band = 0; band < 3; ++band)
        std::free(bands[band]);
    std::free(bands);
    std::free(block);
}

TEST(SceneBufferStreams, ImportsReadTheOversizedCountInOneRead)
{
    // 10 x 10 x 3 bands x 3 pixel bytes: 900 bytes, although 300 are used.
    std::vector<uint8_t> bytes(900);
    std::iota(bytes.begin(), bytes.end(), 0);
    VectorStream bsqStream(bytes);
    VectorStream bipStream(bytes);
    QVISceneBuffer bsq(rgb(), 10, 10);
    QVISceneBuffer bip(rgb(), 10, 10);
    ASSERT_EQ(bsq.importDataBSQ(bsqStream), 0u);
    ASSERT_EQ(bip.importDataBIP(bipStream), 0u);
    for (const VectorStream* stream : {&bsqStream, &bipStream}) {
        EXPECT_EQ(stream->position, 900u);
        EXPECT_EQ(stream->reads, 1);
    }
    EXPECT_EQ(at<uint8_t>(bsq, 3, 2, 0), 23);
    EXPECT_EQ(at<uint8_t>(bsq, 3, 2, 2), uint8_t(200 + 23));
    // Pixel (c, r) starts at byte 3 (10 r + c).
    EXPECT_EQ(at<uint8_t>(bip, 4, 2, 1), uint8_t(3 * 24 + 1));

    // A short stream fails with its own error, or with the read error when it only ran dry.
    VectorStream withError(std::vector<uint8_t>(899));
    withError.lastError = 145012;
    EXPECT_EQ(bsq.importDataBSQ(withError), 145012u);
    VectorStream dry(std::vector<uint8_t>(300));
    EXPECT_EQ(bsq.importDataBSQ(dry), 50006u);
    VectorStream dryBIP(std::vector<uint8_t>(300));
    EXPECT_EQ(bip.importDataBIP(dryBIP), 50006u);
}

TEST(SceneBufferStreams, BSQExportWritesThePackedViewOnce)
{
    QVISceneBuffer grid(rgb(), 6, 6);
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

TEST(SceneBufferBIP, ImportTakesEachSampleWithItsOwnSize)
{
    // Pixel of 1 + 2 + 8 bytes, 2 x 2 pixels.
    std::vector<uint8_t> block;
    const auto append = [&block](const auto& value) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
        block.insert(block.end(), bytes, bytes + sizeof(value));
    };
    for (uint32_t row = 0; row < 2; ++row) {
        for (uint32_t col = 0; col < 2; ++col) {
            append(uint8_t(col + 10 * row));
            append(uint16_t(1000 + col + 10 * row));
            append(0.5 + col + 10 * row);
        }
    }
    QVISceneBuffer grid(mixedPixel(), 4, 4);
    QVISceneBuffer view(grid, 1, 1, 2, 2);
    ASSERT_EQ(view.importDataBIP(static_cast<const void*>(block.data())), 0u);
    expectMixed(view);
    EXPECT_EQ(at<uint16_t>(grid, 0, 0, 1), 0);
}

template <typename T>
void expectBIPRoundTrip(QVIDataType type)
{
    QVISceneBuffer grid(rgb(type), 5, 5);
    QVISceneBuffer view(grid, 1, 1, 3, 2);
    fillWithCodes<T>(view, 1);
    void* data = nullptr;
    ASSERT_EQ(view.exportDataBIP(data), 0u);
    const T* samples = static_cast<const T*>(data);
    for (uint32_t row = 0; row < 2; ++row)
        for (uint32_t col = 0; col < 3; ++col)
            for (uint16_t band = 0; band < 3; ++band)
                EXPECT_EQ(samples[(row * 3 + col) * 3 + band], T(code(col, row, band) + 1));
    QVISceneBuffer back(rgb(type), 3, 2);
    ASSERT_EQ(back.importDataBIP(static_cast<const void*>(data)), 0u);
    EXPECT_EQ(at<T>(back, 2, 1, 2), T(code(2, 1, 2) + 1));
    std::free(data);
}

TEST(SceneBufferBIP, ExportsByLayoutAndSampleSize)
{
    expectBIPRoundTrip<uint8_t>(QVI_DATATYPE_UINT8);
    expectBIPRoundTrip<int16_t>(QVI_DATATYPE_SINT16);
    expectBIPRoundTrip<float>(QVI_DATATYPE_FLOAT32);

    // Eight-byte samples export only to streams, one write per row.
    QVISceneBuffer doubles(rgb(QVI_DATATYPE_FLOAT64), 2, 2);
    fillWithCodes<double>(doubles);
    void* data = nullptr;
    EXPECT_EQ(doubles.exportDataBIP(data), 50001u);
    EXPECT_EQ(data, nullptr);
    VectorStream stream;
    ASSERT_EQ(doubles.exportDataBIP(stream), 0u);
    EXPECT_EQ(stream.writes, 2);
    ASSERT_EQ(stream.data.size(), 2u * 2u * 3u * 8u);
    double value;
    std::memcpy(&value, stream.data.data() + ((1 * 2 + 1) * 3 + 2) * 8, 8);
    EXPECT_EQ(value, code(1, 1, 2));

    // Bands of different sizes are not interleaved by band 0's size.
    QVISceneBuffer mixed(mixedPixel(), 2, 2);
    EXPECT_EQ(mixed.exportDataBIP(data), 50001u);
    EXPECT_EQ(mixed.exportDataBIP(stream), 50001u);
}

TEST(SceneBufferExport, StepsGiveBILPaddedAndBottomUpLayouts)
{
    QVISceneBuffer grid(rgb(QVI_DATATYPE_UINT16), 6, 4);
    QVISceneBuffer view(grid, 2, 1, 3, 2);
    fillWithCodes<uint16_t>(view, 500);
    std::vector<uint16_t> bil(3 * 3 * 2);
    // pixel step = sample size, row step = bands x cols x size, band step = cols x size.
    ASSERT_EQ(view.exportData(bil.data(), 2, 3 * 3 * 2, 3 * 2), 0u);
    for (uint32_t row = 0; row < 2; ++row)
        for (uint16_t band = 0; band < 3; ++band)
            for (uint32_t col = 0; col < 3; ++col)
                EXPECT_EQ(bil[(row * 3 + band) * 3 + col], 500 + code(col, row, band));

    // Four-byte pixels, the fourth byte left alone, rows in reverse order.
    QVISceneBuffer buffer(rgb(), 3, 2);
    fillWithCodes(buffer);
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

TEST(SceneBufferInPlace, ByteSwapReversesEachSampleBySizeInsideTheView)
{
    const QVISample samples[4] = {QVISample(0, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT8),
                                  QVISample(1, QVI_COLOR_UNKNOWN, QVI_DATATYPE_UINT16),
                                  QVISample(2, QVI_COLOR_UNKNOWN, QVI_DATATYPE_SINT32),
                                  QVISample(3, QVI_COLOR_UNKNOWN, QVI_DATATYPE_FLOAT64)};
    QVISceneBuffer grid(QVIPixel(samples, 4, QVI_COLORSPACE_MULTISPECTRAL), 3, 3);
    for (uint32_t row = 0; row < 3; ++row) {
        for (uint32_t col = 0; col < 3; ++col) {
            put<uint8_t>(grid, col, row, 0, 0x12);
            put<uint16_t>(grid, col, row, 1, 0x1234);
            put<uint32_t>(grid, col, row, 2, 0x12345678u);
            put<uint64_t>(grid, col, row, 3, 0x0102030405060708ull);
        }
    }
    QVISceneBuffer(grid, 1, 1, 2, 1).byteSwap();
    for (uint32_t row = 0; row < 3; ++row) {
        for (uint32_t col = 0; col < 3; ++col) {
            const bool inside = row == 1 && col >= 1;
            EXPECT_EQ(at<uint8_t>(grid, col, row, 0), 0x12);
            EXPECT_EQ(at<uint16_t>(grid, col, row, 1), inside ? 0x3412 : 0x1234);
            EXPECT_EQ(at<uint32_t>(grid, col, row, 2), inside ? 0x78563412u : 0x12345678u);
            EXPECT_EQ(at<uint64_t>(grid, col, row, 3), inside ? 0x0807060504030201ull : 0x0102030405060708ull);
        }
    }
}

template <typename T>
void expectFillOfType(QVIDataType type, T value)
{
    QVIPixel pixel(QVI_COLORSPACE_GRAYSCALE, 1, type);
    pixel.getSample(0).setValueAddr(&value);
    QVISceneBuffer grid(pixel, 5, 4);
    ASSERT_EQ(QVISceneBuffer(grid, 1, 1, 3, 2).fill(pixel), 0u);
    for (uint32_t row = 0; row < 4; ++row)
        for (uint32_t col = 0; col < 5; ++col)
            EXPECT_EQ(at<T>(grid, col, row, 0), (row >= 1 && row <= 2 && col >= 1 && col <= 3) ? value : T(0));
}

TEST(SceneBufferInPlace, FillAndZero)
{
    expectFillOfType<uint8_t>(QVI_DATATYPE_UINT8, 0xA5);
    expectFillOfType<int16_t>(QVI_DATATYPE_SINT16, -1234);
    expectFillOfType<float>(QVI_DATATYPE_FLOAT32, 0.75f);
    expectFillOfType<double>(QVI_DATATYPE_FLOAT64, -2.5);

    // Each band takes the value at its source band index.
    QVIPixel full(rgb());
    const uint8_t values[3] = {10, 20, 30};
    full.setSampleValuesUint8(values);
    const uint16_t selection[2] = {2, 0};
    QVISceneBuffer grid(QVIPixel(rgb(), selection, 2), 4, 3);
    ASSERT_EQ(QVISceneBuffer(grid, 1, 1, 2, 2).fill(full), 0u);
    EXPECT_EQ(at<uint8_t>(grid, 2, 2, 0), 30);
    EXPECT_EQ(at<uint8_t>(grid, 1, 1, 1), 10);
    EXPECT_EQ(at<uint8_t>(grid, 3, 1, 0), 0);

    QVISceneBuffer buffer(rgb(), 2, 2);
    EXPECT_EQ(buffer.fill(QVIPixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16)), 50016u);
    EXPECT_EQ(buffer.fill(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8)), 50018u);

    QVISceneBuffer codes(rgb(), 4, 4);
    fillWithCodes(codes);
    QVISceneBuffer view(codes, 2, 2);
    view.zero(1);
    EXPECT_EQ(at<uint8_t>(codes, 3, 3, 1), 0);
    EXPECT_EQ(at<uint8_t>(codes, 3, 3, 0), code(3, 3, 0));
    EXPECT_EQ(at<uint8_t>(codes, 1, 3, 1), code(1, 3, 1));
    view.zero();
    EXPECT_EQ(at<uint8_t>(codes, 2, 2, 0), 0);
    EXPECT_EQ(at<uint8_t>(codes, 2, 1, 2), code(2, 1, 2));
}
