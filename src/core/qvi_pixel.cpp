#include "qvi_pixel.h"

#include <algorithm>
#include <new>
#include <utility>

#include "qv_statusCodes.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

constexpr uint32_t colorBit(QVIColor color) { return 1u << color; }

constexpr uint32_t kRGBMask = colorBit(QVI_COLOR_RED) | colorBit(QVI_COLOR_GREEN) | colorBit(QVI_COLOR_BLUE);
constexpr uint32_t kCMYMask = colorBit(QVI_COLOR_CYAN) | colorBit(QVI_COLOR_MAGENTA) | colorBit(QVI_COLOR_YELLOW);
constexpr uint32_t kRGBKMask = kRGBMask | colorBit(QVI_COLOR_BLACK);
constexpr uint32_t kCMYKMask = kCMYMask | colorBit(QVI_COLOR_BLACK);
constexpr uint32_t kAlphaMask = colorBit(QVI_COLOR_ALPHA) | colorBit(QVI_COLOR_PREMULTIPLIED_ALPHA);

bool hasAll(uint32_t mask, uint32_t wanted) { return (mask & wanted) == wanted; }

bool isAlphaColor(QVIColor color)
{
    return color == QVI_COLOR_ALPHA || color == QVI_COLOR_PREMULTIPLIED_ALPHA;
}

// The colour of band `position` of a pixel created in `space` (without alpha).
QVIColor colorByPosition(QVIColorSpace space, uint32_t position)
{
    static constexpr QVIColor kRGB[] = {QVI_COLOR_RED, QVI_COLOR_GREEN, QVI_COLOR_BLUE};
    static constexpr QVIColor kCMYK[] = {QVI_COLOR_CYAN, QVI_COLOR_MAGENTA, QVI_COLOR_YELLOW,
                                         QVI_COLOR_BLACK};
    switch (space) {
    case QVI_COLORSPACE_RGB: return position < 3 ? kRGB[position] : QVI_COLOR_UNKNOWN;
    case QVI_COLORSPACE_CMYK: return position < 4 ? kCMYK[position] : QVI_COLOR_UNKNOWN;
    case QVI_COLORSPACE_GRAYSCALE: return position == 0 ? QVI_COLOR_GRAY : QVI_COLOR_UNKNOWN;
    default: return QVI_COLOR_UNKNOWN;
    }
}

// Colour bands of a space, 0 for "any number".
uint16_t colorBandsOf(QVIColorSpace spaceWithoutAlpha)
{
    if (spaceWithoutAlpha == QVI_COLORSPACE_MULTISPECTRAL) return 0;
    return static_cast<uint16_t>((spaceWithoutAlpha >> 8) & 0xFF);
}

// Whether a selection with these colours still is the source space `space`.
bool keepsColorSpace(QVIColorSpace space, uint32_t colorMask, uint16_t countBelowN, uint16_t n)
{
    switch (space) {
    case QVI_COLORSPACE_INVALID:
    case QVI_COLORSPACE_GRAYSCALE: return false;
    case QVI_COLORSPACE_RGB: return hasAll(colorMask, kRGBMask);
    case QVI_COLORSPACE_CMY: return hasAll(colorMask, kCMYMask);
    case QVI_COLORSPACE_RGBK: return hasAll(colorMask, kRGBKMask);
    case QVI_COLORSPACE_CMYK: return hasAll(colorMask, kCMYKMask);
    case QVI_COLORSPACE_YIQ:
    case QVI_COLORSPACE_YIQK: return countBelowN >= n;
    default: return true;
    }
}

// First match wins: CMY deliberately ahead of CMYK (and RGB ahead of RGBK).
QVIColorSpace colorSpaceFromMask(uint32_t colorMask)
{
    if (colorMask & colorBit(QVI_COLOR_GRAY)) return QVI_COLORSPACE_GRAYSCALE;
    if (hasAll(colorMask, kRGBMask)) return QVI_COLORSPACE_RGB;
    if (hasAll(colorMask, kCMYMask)) return QVI_COLORSPACE_CMY;
    if (hasAll(colorMask, kRGBKMask)) return QVI_COLORSPACE_RGBK;
    if (hasAll(colorMask, kCMYKMask)) return QVI_COLORSPACE_CMYK;
    return QVI_COLORSPACE_MULTISPECTRAL;
}

QVIColorSpace withBits(QVIColorSpace space, uint32_t bits)
{
    return static_cast<QVIColorSpace>(space | bits);
}

}  // namespace

QVIPixel::QVIPixel() : m_numBands(0), m_colorSpace(QVI_COLORSPACE_INVALID) {}

QVIPixel::QVIPixel(QVIColorSpace colorSpace, uint16_t numBands, QVIDataType dataType,
                   const QVISample* samples)
    : m_numBands(0), m_colorSpace(colorSpace)
{
    allocateSamples(numBands);
    if (samples) {
        std::copy(samples, samples + numBands, m_samples.get());
        return;
    }
    const QVIColorSpace colorPart = QVIUtils::getColorSpaceWithoutAlpha(colorSpace);
    for (uint16_t band = 0; band < numBands; ++band)
        m_samples[band] = QVISample(band, colorByPosition(colorPart, band), dataType);
    if (numBands > 0 && QVIUtils::hasAlphaBand(colorSpace)) {
        const bool premultiplied = (colorSpace & QVI_PREMULTIPLIED_BIT) != 0;
        m_samples[numBands - 1].setColor(premultiplied ? QVI_COLOR_PREMULTIPLIED_ALPHA : QVI_COLOR_ALPHA);
    }
}

QVIPixel::QVIPixel(const QVISample* samples, uint16_t numSamples, QVIColorSpace colorSpace)
    : m_numBands(0), m_colorSpace(QVI_COLORSPACE_INVALID)
{
    deriveFromSelection({samples, numSamples, colorSpace}, nullptr, 0);
}

QVIPixel::QVIPixel(const QVIPixel& pixel, const uint16_t* bandSelection, uint16_t numSelected)
    : m_numBands(0), m_colorSpace(QVI_COLORSPACE_INVALID)
{
    deriveFromSelection(pixel.asSource(), bandSelection, numSelected);
}

QVIPixel::QVIPixel(const QVIPixel& pixel, const uint16_t* bandSelection, uint16_t numSelected,
                   QVIColorSpace newColorSpace)
    : m_numBands(0), m_colorSpace(QVI_COLORSPACE_INVALID)
{
    if (newColorSpace == QVI_COLORSPACE_INVALID)
        deriveFromSelection(pixel.asSource(), bandSelection, numSelected);
    else
        recolorSelection(pixel.asSource(), bandSelection, numSelected, newColorSpace);
}

QVIPixel::QVIPixel(const QVIPixel& other) : m_numBands(0), m_colorSpace(QVI_COLORSPACE_INVALID)
{
    deriveFromSelection(other.asSource(), nullptr, 0);
}

QVIPixel& QVIPixel::operator=(const QVIPixel& other)
{
    if (this != &other) {
        QVIPixel copy(other);
        std::swap(m_samples, copy.m_samples);
        std::swap(m_numBands, copy.m_numBands);
        std::swap(m_colorSpace, copy.m_colorSpace);
    }
    return *this;
}

QVIPixel::~QVIPixel() = default;

void QVIPixel::allocateSamples(uint16_t count)
{
    m_samples.reset();
    m_numBands = 0;
    if (count == 0) return;
    m_samples.reset(new (std::nothrow) QVISample[count]);
    if (!m_samples) throw QVUtilException(8);
    m_numBands = count;
}

uint32_t QVIPixel::copySelection(const SampleSource& source, const uint16_t* bandSelection,
                                 uint16_t numSelected, uint16_t colorBands, uint16_t& countBelowN)
{
    const uint16_t count = bandSelection ? numSelected : source.count;
    allocateSamples(count);
    uint32_t colorMask = 0;
    uint16_t copied = 0;
    countBelowN = 0;
    for (uint16_t i = 0; i < count; ++i) {
        const uint16_t index = bandSelection ? bandSelection[i] : i;
        if (index >= source.count) continue;
        const QVISample& sample = source.samples[index];
        m_samples[copied++] = sample;
        colorMask |= colorBit(sample.getColor());
        if (index < colorBands) ++countBelowN;
    }
    m_numBands = copied;
    return colorMask;
}

void QVIPixel::deriveFromSelection(const SampleSource& source, const uint16_t* bandSelection,
                                   uint16_t numSelected)
{
    const QVIColorSpace space = QVIUtils::getColorSpaceWithoutAlpha(source.colorSpace);
    const uint16_t colorBands = colorBandsOf(space);
    uint16_t countBelowN = 0;
    const uint32_t colorMask = copySelection(source, bandSelection, numSelected, colorBands, countBelowN);
    const uint32_t alphaBits = (colorMask & kAlphaMask) ? (source.colorSpace & QVI_ALPHA_BITS) : 0;
    const QVIColorSpace derived = keepsColorSpace(space, colorMask, countBelowN, colorBands)
                                      ? space
                                      : colorSpaceFromMask(colorMask);
    m_colorSpace = withBits(derived, alphaBits);
}

void QVIPixel::recolorSelection(const SampleSource& source, const uint16_t* bandSelection,
                                uint16_t numSelected, QVIColorSpace newColorSpace)
{
    uint16_t countBelowN = 0;
    copySelection(source, bandSelection, numSelected, 0, countBelowN);
    const QVIColorSpace colorPart = QVIUtils::getColorSpaceWithoutAlpha(newColorSpace);
    for (uint16_t band = 0; band < m_numBands; ++band) {
        if (!isAlphaColor(m_samples[band].getColor()))
            m_samples[band].setColor(colorByPosition(colorPart, band));
    }
    uint32_t alphaBits = 0;
    if (m_numBands > 0 && QVIUtils::hasAlphaBand(source.colorSpace)) {
        const QVIColor last = m_samples[m_numBands - 1].getColor();
        if (last == QVI_COLOR_ALPHA) alphaBits = QVI_ALPHA_BIT;
        else if (last == QVI_COLOR_PREMULTIPLIED_ALPHA) alphaBits = QVI_PREMULTIPLIED_BIT;
    }
    m_colorSpace = withBits(newColorSpace, alphaBits);
}

uint16_t QVIPixel::getNumBandsWithoutAlpha() const
{
    return (hasAlphaBand() && m_numBands > 0) ? m_numBands - 1 : m_numBands;
}

QVIDataType QVIPixel::getDataType() const
{
    if (m_numBands == 0) return QVI_DATATYPE_INVALID;
    const QVIDataType first = m_samples[0].getDataType();
    for (uint16_t band = 1; band < m_numBands; ++band)
        if (m_samples[band].getDataType() != first) return QVI_DATATYPE_INVALID;
    return first;
}

bool QVIPixel::isSignedData() const { return QVIUtils::isSigned(getDataType()); }

QVIColorSpace QVIPixel::getColorSpaceWithoutAlpha() const
{
    return QVIUtils::getColorSpaceWithoutAlpha(m_colorSpace);
}

bool QVIPixel::hasAlphaBand() const { return QVIUtils::hasAlphaBand(m_colorSpace); }

bool QVIPixel::hasPreMultipliedAlphaBand() const { return (m_colorSpace & QVI_PREMULTIPLIED_BIT) != 0; }

bool QVIPixel::isMultiSpectral() const
{
    const QVIColorSpace space = getColorSpaceWithoutAlpha();
    return space == QVI_COLORSPACE_MULTISPECTRAL ||
           QVIUtils::getMinNumSamplesPerPixel(space) < getNumBandsWithoutAlpha();
}

uint32_t QVIPixel::sumBytes(uint16_t numBands) const
{
    uint32_t bytes = 0;
    for (uint16_t band = 0; band < numBands; ++band) bytes += m_samples[band].getNumBytes();
    return bytes;
}

uint32_t QVIPixel::getNumBytes() const { return sumBytes(m_numBands); }

uint32_t QVIPixel::getNumBytesWithoutAlpha() const { return sumBytes(getNumBandsWithoutAlpha()); }

uint32_t QVIPixel::getMaxBytesPerSample() const
{
    uint32_t largest = 0;
    for (uint16_t band = 0; band < m_numBands; ++band)
        largest = std::max(largest, m_samples[band].getNumBytes());
    return largest;
}

QVStatus QVIPixel::checkImpedanceOver(const QVIPixel& other, uint16_t numBands, uint16_t otherNumBands,
                                      QVIColorSpace space, QVIColorSpace otherSpace,
                                      bool checkColorSpace) const
{
    if (numBands != otherNumBands) return QVI_STS_Core_MismatchNumBands;
    if (checkColorSpace && space != otherSpace) {
        const uint32_t either = QVIUtils::getColorSpaceWithoutAlpha(space) |
                                QVIUtils::getColorSpaceWithoutAlpha(otherSpace);
        if (either != QVI_COLORSPACE_MULTISPECTRAL) return QVI_STS_Core_MismatchColorSpace;
    }
    for (uint16_t band = 0; band < numBands; ++band)
        if (m_samples[band].getDataType() != other.m_samples[band].getDataType())
            return QVI_STS_Core_MismatchDataType;
    return 0;
}

QVStatus QVIPixel::checkImpedance(const QVIPixel& other, bool checkColorSpace) const
{
    return checkImpedanceOver(other, m_numBands, other.m_numBands, m_colorSpace, other.m_colorSpace,
                              checkColorSpace);
}

QVStatus QVIPixel::checkImpedanceWithoutAlpha(const QVIPixel& other) const
{
    return checkImpedanceOver(other, getNumBandsWithoutAlpha(), other.getNumBandsWithoutAlpha(),
                              getColorSpaceWithoutAlpha(), other.getColorSpaceWithoutAlpha(), true);
}

QVStatus QVIPixel::checkCompatible(const QVIPixel& selected, const QVIPixel& full)
{
    for (uint16_t band = 0; band < selected.m_numBands; ++band) {
        const QVISample& sample = selected.m_samples[band];
        const uint16_t source = sample.getSourceBandIndex();
        if (source >= full.m_numBands) return QVI_STS_Core_MismatchNumBands;
        if (full.m_samples[source].getDataType() != sample.getDataType()) return QVI_STS_Core_MismatchDataType;
    }
    return 0;
}

QVStatus QVIPixel::getBandSelection(uint16_t*& bandSelection) const
{
    bandSelection = new (std::nothrow) uint16_t[m_numBands > 0 ? m_numBands : 1];
    if (!bandSelection) return 8;
    for (uint16_t band = 0; band < m_numBands; ++band)
        bandSelection[band] = m_samples[band].getSourceBandIndex();
    return 0;
}

void QVIPixel::setSampleValuesToMin()
{
    for (uint16_t band = 0; band < m_numBands; ++band) m_samples[band].setValueToMin();
}

void QVIPixel::setSampleValuesToMax()
{
    for (uint16_t band = 0; band < m_numBands; ++band) m_samples[band].setValueToMax();
}

bool QVIPixel::areSampleValuesMin() const
{
    return std::all_of(m_samples.get(), m_samples.get() + m_numBands,
                       [](const QVISample& sample) { return sample.isValueMin(); });
}

bool QVIPixel::areSampleValuesMax() const
{
    return std::all_of(m_samples.get(), m_samples.get() + m_numBands,
                       [](const QVISample& sample) { return sample.isValueMax(); });
}

QVStatus QVIPixel::setValuesFromDouble(uint16_t numBands, double value)
{
    QVStatus first = 0;
    for (uint16_t band = 0; band < numBands; ++band) {
        const QVStatus status = m_samples[band].setValueFromDouble(value);
        if (first == 0) first = status;
    }
    return first;
}

QVStatus QVIPixel::setSampleValuesFromDouble(double value)
{
    return setValuesFromDouble(m_numBands, value);
}

QVStatus QVIPixel::setNonAlphaSampleValuesFromDouble(double value)
{
    return setValuesFromDouble(getNumBandsWithoutAlpha(), value);
}

QVStatus QVIPixel::setNonAlphaSampleValuesFromPixel(const QVIPixel& other)
{
    const uint16_t ownBands = getNumBandsWithoutAlpha();
    const uint16_t otherBands = other.getNumBandsWithoutAlpha();
    if (otherBands == 0) return 0;
    QVStatus first = 0;
    for (uint16_t band = 0; band < ownBands; ++band) {
        const uint16_t from = std::min<uint16_t>(band, otherBands - 1);
        const QVStatus status = m_samples[band].setValueFromDouble(other.m_samples[from].getValueAsDouble());
        if (first == 0) first = status;
    }
    return first;
}

QVStatus QVIPixel::setSampleValuesFromPixel(const QVIPixel& other)
{
    QVStatus status = setNonAlphaSampleValuesFromPixel(other);
    if (hasAlphaBand() && other.hasAlphaBand() && m_numBands > 0 && other.m_numBands > 0) {
        const double alpha = other.m_samples[other.m_numBands - 1].getValueAsDouble();
        const QVStatus alphaStatus = m_samples[m_numBands - 1].setValueFromDouble(alpha);
        if (status == 0) status = alphaStatus;
    }
    return status;
}

}  // namespace Orvanetics
