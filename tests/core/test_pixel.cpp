#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "qv_statusCodes.h"
#include "qvi_pixel.h"

using namespace Orvanetics;

namespace {

std::vector<QVIColor> colorsOf(const QVIPixel& pixel)
{
    std::vector<QVIColor> colors;
    for (uint16_t b = 0; b < pixel.getNumBands(); ++b) colors.push_back(pixel.getSample(b).getColor());
    return colors;
}

std::vector<uint16_t> sourcesOf(const QVIPixel& pixel)
{
    std::vector<uint16_t> sources;
    for (uint16_t b = 0; b < pixel.getNumBands(); ++b) sources.push_back(pixel.getSample(b).getSourceBandIndex());
    return sources;
}

QVIPixel fromColors(std::initializer_list<QVIColor> colors, QVIColorSpace space,
                    QVIDataType type = QVI_DATATYPE_UINT8)
{
    std::vector<QVISample> samples;
    uint16_t index = 0;
    for (QVIColor color : colors) samples.emplace_back(index++, color, type);
    return QVIPixel(samples.data(), static_cast<uint16_t>(samples.size()), space);
}

using C = QVIColor;
constexpr C R = QVI_COLOR_RED, G = QVI_COLOR_GREEN, B = QVI_COLOR_BLUE, Cy = QVI_COLOR_CYAN,
            M = QVI_COLOR_MAGENTA, Y = QVI_COLOR_YELLOW, K = QVI_COLOR_BLACK, Gr = QVI_COLOR_GRAY,
            U = QVI_COLOR_UNKNOWN, A = QVI_COLOR_ALPHA, PA = QVI_COLOR_PREMULTIPLIED_ALPHA;

}  // namespace

TEST(PixelCreation, ColoursByPositionInTheSpace)
{
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_RGB, 4, QVI_DATATYPE_UINT8)), (std::vector<C>{R, G, B, U}));
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_CMYK, 5, QVI_DATATYPE_UINT8)), (std::vector<C>{Cy, M, Y, K, U}));
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 2, QVI_DATATYPE_UINT8)), (std::vector<C>{Gr, U}));
    // CMY and RGBK carry unknown samples by rule.
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_CMY, 3, QVI_DATATYPE_UINT8)), (std::vector<C>{U, U, U}));
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_RGBK, 4, QVI_DATATYPE_UINT8)), (std::vector<C>{U, U, U, U}));
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8)), (std::vector<C>{R, G, B, A}));
    EXPECT_EQ(colorsOf(QVIPixel(QVI_COLORSPACE_GRAYSCALEA_PM, 2, QVI_DATATYPE_UINT8)), (std::vector<C>{Gr, PA}));
    // The band count is taken as it stands.
    const QVIPixel short_(QVI_COLORSPACE_RGBA, 2, QVI_DATATYPE_UINT16);
    EXPECT_EQ(colorsOf(short_), (std::vector<C>{R, A}));
    EXPECT_EQ(short_.getColorSpace(), QVI_COLORSPACE_RGBA);
}

TEST(PixelCreation, EmptyAndFromGivenSamples)
{
    EXPECT_EQ(QVIPixel().getColorSpace(), QVI_COLORSPACE_INVALID);
    const QVISample samples[] = {QVISample(5, QVI_COLOR_UNKNOWN, QVI_DATATYPE_SINT16),
                                 QVISample(2, QVI_COLOR_UNKNOWN, QVI_DATATYPE_SINT16)};
    const QVIPixel given(QVI_COLORSPACE_RGB, 2, QVI_DATATYPE_UINT8, samples);
    EXPECT_EQ(given.getColorSpace(), QVI_COLORSPACE_RGB);
    EXPECT_EQ(sourcesOf(given), (std::vector<uint16_t>{5, 2}));
    EXPECT_EQ(given.getDataType(), QVI_DATATYPE_SINT16);
    EXPECT_TRUE(given.isSignedData());
}

TEST(PixelDerivation, SelectionTwoZeroOfRGBFallsToMultispectral)
{
    const QVIPixel rgba(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    const uint16_t selection[] = {2, 0};
    const QVIPixel selected(rgba, selection, 2);
    EXPECT_EQ(selected.getNumBands(), 2);
    EXPECT_EQ(selected.getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);  // alpha bits gone too
    EXPECT_EQ(colorsOf(selected), (std::vector<C>{B, R}));
    EXPECT_EQ(sourcesOf(selected), (std::vector<uint16_t>{2, 0}));

    const QVIPixel rgb(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    EXPECT_EQ(QVIPixel(rgb, selection, 2).getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);
}

TEST(PixelDerivation, CopyOfCreatedCMYIsMultispectralAndBadIndicesAreSkipped)
{
    const QVIPixel cmy(QVI_COLORSPACE_CMY, 3, QVI_DATATYPE_UINT8);
    EXPECT_EQ(cmy.getColorSpace(), QVI_COLORSPACE_CMY);
    EXPECT_EQ(QVIPixel(cmy).getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);
    QVIPixel assigned;
    assigned = cmy;
    EXPECT_EQ(assigned.getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);

    const QVIPixel rgb(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    const uint16_t selection[] = {0, 7, 1, 2};
    const QVIPixel selected(rgb, selection, 4);
    EXPECT_EQ(selected.getNumBands(), 3);
    EXPECT_EQ(selected.getColorSpace(), QVI_COLORSPACE_RGB);
    const uint16_t onlyBad[] = {7};
    const QVIPixel none(rgb, onlyBad, 1);
    EXPECT_EQ(none.getNumBands(), 0);
    EXPECT_EQ(none.getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);
}

TEST(PixelDerivation, FullColourMasksKeepTheSpace)
{
    const QVIPixel rgba(QVI_COLORSPACE_RGBA_PM, 4, QVI_DATATYPE_UINT8);
    const uint16_t reordered[] = {2, 1, 0, 3};
    EXPECT_EQ(QVIPixel(rgba, reordered, 4).getColorSpace(), QVI_COLORSPACE_RGBA_PM);
    EXPECT_EQ(QVIPixel(rgba, nullptr, 0).getColorSpace(), QVI_COLORSPACE_RGBA_PM);
    const uint16_t noAlpha[] = {0, 1, 2};
    EXPECT_EQ(QVIPixel(rgba, noAlpha, 3).getColorSpace(), QVI_COLORSPACE_RGB);
    const uint16_t alphaOnly[] = {3};
    EXPECT_EQ(QVIPixel(rgba, alphaOnly, 1).getColorSpace(), QVI_COLORSPACE_MULTISPECTRALA_PM);

    const QVIPixel cmyk(QVI_COLORSPACE_CMYK, 4, QVI_DATATYPE_UINT8);
    EXPECT_EQ(QVIPixel(cmyk).getColorSpace(), QVI_COLORSPACE_CMYK);
    const uint16_t cmy[] = {0, 1, 2};
    EXPECT_EQ(QVIPixel(cmyk, cmy, 3).getColorSpace(), QVI_COLORSPACE_CMY);

    const QVIPixel gray(QVI_COLORSPACE_GRAYSCALEA, 2, QVI_DATATYPE_UINT8);
    EXPECT_EQ(QVIPixel(gray).getColorSpace(), QVI_COLORSPACE_GRAYSCALEA);
}

TEST(PixelDerivation, SpaceFromTheMaskFirstMatchWins)
{
    // C, M, Y, K from an unnamed space resolve to CMY, ahead of CMYK.
    EXPECT_EQ(fromColors({Cy, M, Y, K}, QVI_COLORSPACE_INVALID).getColorSpace(), QVI_COLORSPACE_CMY);
    // Likewise R, G, B, K resolve to RGB.
    EXPECT_EQ(fromColors({R, G, B, K}, QVI_COLORSPACE_GRAYSCALE).getColorSpace(), QVI_COLORSPACE_RGB);
    // Gray wins over everything.
    EXPECT_EQ(fromColors({R, G, B, Gr}, QVI_COLORSPACE_INVALID).getColorSpace(), QVI_COLORSPACE_GRAYSCALE);
    EXPECT_EQ(fromColors({Cy, M, Y, K}, QVI_COLORSPACE_CMYK).getColorSpace(), QVI_COLORSPACE_CMYK);
    EXPECT_EQ(fromColors({R, G, B, K}, QVI_COLORSPACE_RGBK).getColorSpace(), QVI_COLORSPACE_RGBK);
    // An RGB space without all three falls to the mask, alpha only if an alpha sample came.
    EXPECT_EQ(fromColors({R, G, U}, QVI_COLORSPACE_RGBA).getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);
    EXPECT_EQ(fromColors({R, G, A}, QVI_COLORSPACE_RGBA).getColorSpace(), QVI_COLORSPACE_MULTISPECTRALA);
    // Any other named space is kept whatever the colours.
    EXPECT_EQ(fromColors({R}, QVI_COLORSPACE_MULTISPECTRAL).getColorSpace(), QVI_COLORSPACE_MULTISPECTRAL);
    EXPECT_EQ(fromColors({U, U}, static_cast<QVIColorSpace>(0x202)).getColorSpace(), 0x202u);
}

TEST(PixelDerivation, YIQKeptWhenEnoughColourBandsCome)
{
    const QVIPixel yiqa(QVI_COLORSPACE_YIQA, 4, QVI_DATATYPE_UINT8);
    const uint16_t all[] = {2, 0, 1, 3};
    EXPECT_EQ(QVIPixel(yiqa, all, 4).getColorSpace(), QVI_COLORSPACE_YIQA);
    const uint16_t twoAndAlpha[] = {0, 1, 3};
    EXPECT_EQ(QVIPixel(yiqa, twoAndAlpha, 3).getColorSpace(), QVI_COLORSPACE_MULTISPECTRALA);
    // The alpha band's index 3 does not count toward N = 3.
    const uint16_t repeated[] = {0, 0, 3, 3};
    EXPECT_EQ(QVIPixel(yiqa, repeated, 4).getColorSpace(), QVI_COLORSPACE_MULTISPECTRALA);
    const uint16_t twiceTwo[] = {0, 1, 1};
    EXPECT_EQ(QVIPixel(yiqa, twiceTwo, 3).getColorSpace(), QVI_COLORSPACE_YIQ);
}

TEST(PixelRecolour, NewSpaceRecoloursNonAlphaBands)
{
    const QVIPixel rgb(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    const uint16_t selection[] = {2, 9, 0};
    const QVIPixel gray(rgb, selection, 3, QVI_COLORSPACE_GRAYSCALE);
    EXPECT_EQ(gray.getColorSpace(), QVI_COLORSPACE_GRAYSCALE);
    EXPECT_EQ(colorsOf(gray), (std::vector<C>{Gr, U}));
    EXPECT_EQ(sourcesOf(gray), (std::vector<uint16_t>{2, 0}));

    const QVIPixel rgba(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    const QVIPixel cmyk(rgba, nullptr, 0, QVI_COLORSPACE_CMYK);
    EXPECT_EQ(colorsOf(cmyk), (std::vector<C>{Cy, M, Y, A}));
    EXPECT_EQ(cmyk.getColorSpace(), QVI_COLORSPACE_CMYKA);

    // Premultiplied alpha as the last band adds 0x20000 alone.
    const QVIPixel pm(QVI_COLORSPACE_RGBA_PM, 4, QVI_DATATYPE_UINT8);
    const QVIPixel multi(pm, nullptr, 0, QVI_COLORSPACE_MULTISPECTRAL);
    EXPECT_EQ(multi.getColorSpace(), 0x2FF01u);
    EXPECT_TRUE(multi.hasPreMultipliedAlphaBand());
    EXPECT_TRUE(multi.hasAlphaBand());

    // Alpha not last: no alpha bits.
    const uint16_t alphaFirst[] = {3, 0};
    EXPECT_EQ(QVIPixel(rgba, alphaFirst, 2, QVI_COLORSPACE_MULTISPECTRAL).getColorSpace(),
              QVI_COLORSPACE_MULTISPECTRAL);

    // An invalid new space falls back to the derivation.
    const uint16_t twoZero[] = {2, 0};
    EXPECT_EQ(QVIPixel(rgba, twoZero, 2, QVI_COLORSPACE_INVALID).getColorSpace(),
              QVI_COLORSPACE_MULTISPECTRAL);
    EXPECT_EQ(colorsOf(QVIPixel(rgba, twoZero, 2, QVI_COLORSPACE_INVALID)), (std::vector<C>{B, R}));
}

TEST(PixelProperties, CountsBytesAndAlpha)
{
    QVISample samples[] = {QVISample(0, R, QVI_DATATYPE_UINT16), QVISample(1, G, QVI_DATATYPE_UINT8),
                           QVISample(2, B, QVI_DATATYPE_FLOAT64), QVISample(3, A, QVI_DATATYPE_UINT32)};
    const QVIPixel mixed(samples, 4, QVI_COLORSPACE_RGBA);
    EXPECT_EQ(mixed.getColorSpace(), QVI_COLORSPACE_RGBA);
    EXPECT_EQ(mixed.getNumBandsWithoutAlpha(), 3);
    EXPECT_EQ(mixed.getDataType(), QVI_DATATYPE_INVALID);
    EXPECT_EQ(mixed.getNumBytes(), 15u);
    EXPECT_EQ(mixed.getNumBytesWithoutAlpha(), 11u);
    EXPECT_EQ(mixed.getMaxBytesPerSample(), 8u);
    EXPECT_EQ(mixed.getColorSpaceWithoutAlpha(), QVI_COLORSPACE_RGB);
    EXPECT_TRUE(mixed.hasAlphaBand());
    EXPECT_FALSE(mixed.hasPreMultipliedAlphaBand());
    EXPECT_FALSE(mixed.isMultiSpectral());

    EXPECT_TRUE(QVIPixel(QVI_COLORSPACE_RGB, 5, QVI_DATATYPE_UINT8).isMultiSpectral());
    EXPECT_TRUE(QVIPixel(QVI_COLORSPACE_MULTISPECTRAL, 1, QVI_DATATYPE_UINT8).isMultiSpectral());
    EXPECT_FALSE(QVIPixel(QVI_COLORSPACE_GRAYSCALEA, 2, QVI_DATATYPE_UINT8).isMultiSpectral());
}

TEST(PixelImpedance, BandsThenSpaceThenTypes)
{
    const QVIPixel rgb8(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    const QVIPixel rgb16(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    const QVIPixel multi8(QVI_COLORSPACE_MULTISPECTRAL, 3, QVI_DATATYPE_UINT8);
    const QVIPixel yiq8(QVI_COLORSPACE_YIQ, 3, QVI_DATATYPE_UINT8);
    const QVIPixel rgba8(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    const QVIPixel multi16(QVI_COLORSPACE_MULTISPECTRAL, 3, QVI_DATATYPE_UINT16);

    EXPECT_EQ(rgb8.checkImpedance(rgb8), 0u);
    EXPECT_EQ(rgb8.checkImpedance(rgba8), QVI_STS_Core_MismatchNumBands);
    EXPECT_EQ(rgb8.checkImpedance(yiq8), QVI_STS_Core_MismatchColorSpace);
    EXPECT_EQ(rgb8.checkImpedance(yiq8, false), 0u);
    EXPECT_EQ(rgb8.checkImpedance(multi8), 0u);  // 0x301 | 0xFF01 stays multispectral
    EXPECT_EQ(rgb8.checkImpedance(rgb16), QVI_STS_Core_MismatchDataType);
    EXPECT_EQ(rgb8.checkImpedance(multi16), QVI_STS_Core_MismatchDataType);
    // 0x303 | 0xFF01 is 0xFF03: multispectral does not match YIQ.
    EXPECT_EQ(yiq8.checkImpedance(multi8), QVI_STS_Core_MismatchColorSpace);

    EXPECT_EQ(rgba8.checkImpedanceWithoutAlpha(rgb8), 0u);
    EXPECT_EQ(rgba8.checkImpedanceWithoutAlpha(yiq8), QVI_STS_Core_MismatchColorSpace);
    QVISample samples[] = {QVISample(0, R, QVI_DATATYPE_UINT8), QVISample(1, G, QVI_DATATYPE_UINT8),
                           QVISample(2, B, QVI_DATATYPE_UINT8), QVISample(3, A, QVI_DATATYPE_UINT16)};
    const QVIPixel alpha16(samples, 4, QVI_COLORSPACE_RGBA);
    EXPECT_EQ(alpha16.checkImpedanceWithoutAlpha(rgba8), 0u);
    EXPECT_EQ(alpha16.checkImpedance(rgba8), QVI_STS_Core_MismatchDataType);
}

TEST(PixelImpedance, SelectionCompatibleWithTheFullPixel)
{
    const QVIPixel full(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT16);
    const uint16_t selection[] = {2, 0};
    EXPECT_EQ(QVIPixel::checkCompatible(QVIPixel(full, selection, 2), full), 0u);
    const QVISample nine[] = {QVISample(9, U, QVI_DATATYPE_UINT16)};
    EXPECT_EQ(QVIPixel::checkCompatible(QVIPixel(nine, 1, QVI_COLORSPACE_INVALID), full),
              QVI_STS_Core_MismatchNumBands);
    const QVISample wrongType[] = {QVISample(1, U, QVI_DATATYPE_UINT8)};
    EXPECT_EQ(QVIPixel::checkCompatible(QVIPixel(wrongType, 1, QVI_COLORSPACE_INVALID), full),
              QVI_STS_Core_MismatchDataType);
}

TEST(PixelValues, BandSelectionArrayAndLimits)
{
    const QVIPixel full(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    const uint16_t selection[] = {3, 1};
    uint16_t* indices = nullptr;
    ASSERT_EQ(QVIPixel(full, selection, 2).getBandSelection(indices), 0u);
    std::unique_ptr<uint16_t[]> owned(indices);
    EXPECT_EQ(std::vector<uint16_t>(indices, indices + 2), (std::vector<uint16_t>{3, 1}));

    QVIPixel pixel(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_SINT16);
    const int16_t seven = 7;
    pixel.setSampleValueAddr(2, &seven);
    EXPECT_EQ(pixel.getSampleValueSint16(2), 7);
    pixel.setSampleValuesToMax();
    EXPECT_TRUE(pixel.areSampleValuesMax());
    EXPECT_FALSE(pixel.areSampleValuesMin());
    pixel.setSampleValuesToMin();
    EXPECT_TRUE(pixel.areSampleValuesMin());
    EXPECT_EQ(pixel.getSampleValueSint16(1), -32768);
}

TEST(PixelValues, FromDoubleReportsTheFirstFailure)
{
    QVIPixel pixel(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    EXPECT_EQ(pixel.setSampleValuesFromDouble(200.7), 0u);
    EXPECT_EQ(pixel.getSampleValueUint8(3), 200);
    EXPECT_EQ(pixel.setNonAlphaSampleValuesFromDouble(9.0), 0u);
    EXPECT_EQ(pixel.getSampleValueUint8(2), 9);
    EXPECT_EQ(pixel.getSampleValueUint8(3), 200);
    EXPECT_EQ(pixel.setSampleValuesFromDouble(300.0), QVI_STS_Core_DataTypeOverflow);
    EXPECT_EQ(pixel.getSampleValueUint8(0), 9);
}

TEST(PixelValues, OneBandBackgroundSetsThreeBands)
{
    QVIPixel background(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8);
    background.setSampleValuesUint8(uint8_t{17});
    QVIPixel target(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT16);
    target.setSampleValuesUint16(uint16_t{1000});
    EXPECT_EQ(target.setNonAlphaSampleValuesFromPixel(background), 0u);
    EXPECT_EQ(target.getSampleValueUint16(0), 17);
    EXPECT_EQ(target.getSampleValueUint16(2), 17);
    EXPECT_EQ(target.getSampleValueUint16(3), 1000);

    // Fewer target bands: only the first ones are copied.
    QVIPixel source(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    const uint8_t values[] = {1, 2, 3, 99};
    source.setSampleValuesUint8(values);
    QVIPixel gray(QVI_COLORSPACE_GRAYSCALEA, 2, QVI_DATATYPE_FLOAT64);
    EXPECT_EQ(gray.setSampleValuesFromPixel(source), 0u);
    EXPECT_EQ(gray.getSampleValueFloat64(0), 1.0);
    EXPECT_EQ(gray.getSampleValueFloat64(1), 99.0);

    // Without alpha on one side the alpha value stays.
    QVIPixel rgba(QVI_COLORSPACE_RGBA, 4, QVI_DATATYPE_UINT8);
    rgba.setSampleValuesUint8(uint8_t{5});
    const QVIPixel rgb(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    EXPECT_EQ(rgba.setSampleValuesFromPixel(rgb), 0u);
    EXPECT_EQ(rgba.getSampleValueUint8(0), 0);
    EXPECT_EQ(rgba.getSampleValueUint8(3), 5);
}

TEST(PixelValues, CopiesAreDeepAndSamplesStable)
{
    QVIPixel original(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
    const QVISample* first = &original.getSample(0);
    QVIPixel copy(original);
    copy.setSampleValuesUint8(uint8_t{8});
    EXPECT_EQ(original.getSampleValueUint8(0), 0);
    original.setSampleValueUint8(1, 3);
    EXPECT_EQ(first, &original.getSample(0));
    copy = copy;
    EXPECT_EQ(copy.getSampleValueUint8(1), 8);
}
