#include "qvi_utils.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "qv_math.h"
#include "qv_statusCodes.h"
#include "qvi_image.h"

namespace Orvanetics {

namespace {

struct DataTypeTraits {
    uint32_t numBytes;
    bool isSigned;
    bool isIntegral;
    double minValue;
    double maxValue;
};

// Indexed by QVIDataType; entry 0 answers every value outside 1 .. 8.
constexpr DataTypeTraits kDataTypeTraits[] = {
    {0, false, false, 0.0, 0.0},
    {1, false, true, 0.0, 255.0},
    {1, true, true, -128.0, 127.0},
    {2, false, true, 0.0, 65535.0},
    {2, true, true, -32768.0, 32767.0},
    {4, false, true, 0.0, 4294967295.0},
    {4, true, true, -2147483648.0, 2147483647.0},
    {4, true, false, 0.0, 1.0},
    {8, true, false, 0.0, 1.0},
};

const DataTypeTraits& traitsOf(QVIDataType dataType)
{
    const uint32_t index = static_cast<uint32_t>(dataType);
    return kDataTypeTraits[index <= QVI_DATATYPE_FLOAT64 ? index : 0];
}

constexpr double kInt32Max = 2147483647.0;

}  // namespace

uint8_t QVIUtils::getMinNumSamplesPerPixel(QVIColorSpace colorSpace)
{
    const uint32_t bandField = (colorSpace >> 8) & 0xFF;
    const uint32_t colorBands = bandField == 255 ? 1 : bandField;
    return static_cast<uint8_t>(colorBands + (hasAlphaBand(colorSpace) ? 1 : 0));
}

QVIColorSpace QVIUtils::getColorSpaceWithoutAlpha(QVIColorSpace colorSpace)
{
    return static_cast<QVIColorSpace>(colorSpace & ~QVI_ALPHA_BITS);
}

bool QVIUtils::hasAlphaBand(QVIColorSpace colorSpace)
{
    return (colorSpace & QVI_ALPHA_BITS) != 0;
}

uint32_t QVIUtils::getNumBytes(QVIDataType dataType) { return traitsOf(dataType).numBytes; }
bool QVIUtils::isSigned(QVIDataType dataType) { return traitsOf(dataType).isSigned; }
bool QVIUtils::isIntegral(QVIDataType dataType) { return traitsOf(dataType).isIntegral; }
double QVIUtils::getMinValue(QVIDataType dataType) { return traitsOf(dataType).minValue; }
double QVIUtils::getMaxValue(QVIDataType dataType) { return traitsOf(dataType).maxValue; }

bool QVIUtils::isFloatingPoint(QVIDataType dataType)
{
    return dataType == QVI_DATATYPE_FLOAT32 || dataType == QVI_DATATYPE_FLOAT64;
}

bool QVIUtils::needsSwapping(QVIDataType dataType, QVIEndian endian)
{
    if (endian == QVI_ENDIAN_HOST || getNumBytes(dataType) == 1) return false;
    return endian != QVI_ENDIAN_LITTLE;
}

void QVIUtils::convertWindowLevelToMinMax(double window, double level, double& min, double& max)
{
    min = (2.0 * level - window + 1.0) / 2.0;
    max = min + window - 1.0;
}

void QVIUtils::convertMinMaxToWindowLevel(double min, double max, double& window, double& level)
{
    window = max - min + 1.0;
    level = (min + max) / 2.0;
}

int32_t QVIUtils::magToLevel(double mag) { return QVMath::magToLevel(mag); }

double QVIUtils::levelToMag(int32_t level) { return QVMath::levelToMag(level); }

double QVIUtils::snapToOctave(double mag, double threshold)
{
    const double level = std::floor(QVMath::magToLogLevel(mag) + threshold);
    return levelToMag(QVMath::saturateToInt32(level));
}

double QVIUtils::snapToOctave(double mag, const QVIImage& image, double threshold)
{
    const double snapped = std::min(snapToOctave(mag, threshold), image.getMaxMagnification());
    return std::max(snapped, image.getMinMagnification());
}

bool QVIUtils::isOctave(double mag)
{
    int exponent = 0;
    double mantissa = std::frexp(mag, &exponent);
    if (mantissa < 0.75) mantissa *= 2.0;
    return std::fabs(mantissa - 1.0) < 0.01;
}

QVStatus QVIUtils::getDimsAtMag(uint32_t width, uint32_t height, double mag,
                                uint32_t& widthAtMag, uint32_t& heightAtMag)
{
    const double scaledWidth = width * mag;
    const double scaledHeight = height * mag;
    if (scaledWidth > kInt32Max || scaledHeight > kInt32Max) return QVI_STS_Core_IntegerOverflow;
    // A negative or NaN magnification has no size; it never reaches here from
    // a validated scene, and must not turn into a huge unsigned value.
    widthAtMag = static_cast<uint32_t>(std::max(0.0, std::ceil(scaledWidth)));
    heightAtMag = static_cast<uint32_t>(std::max(0.0, std::ceil(scaledHeight)));
    return 0;
}

uint32_t QVIUtils::getNumLevelsForIcon(uint32_t width, uint32_t height, uint32_t iconSize)
{
    uint64_t side = std::min(width, height);
    uint32_t levels = 0;
    while (iconSize < side) {
        side = (side + 1) >> 1;
        ++levels;
    }
    return levels;
}

double QVIUtils::getMagForIcon(uint32_t width, uint32_t height, uint32_t iconSize)
{
    return levelToMag(static_cast<int32_t>(getNumLevelsForIcon(width, height, iconSize)));
}

double QVIUtils::getMaxMag(uint32_t width, uint32_t height)
{
    const double shorterSide = std::min(width, height);
    const double level = std::ceil(QVMath::magToLogLevel(kInt32Max / shorterSide));
    return levelToMag(QVMath::saturateToInt32(level));
}

namespace {
constexpr uint32_t kVersionMajor = 9;
constexpr uint32_t kVersionMinor = 5;
constexpr uint32_t kVersionRevision = 4;
constexpr uint32_t kVersionBuild = 4709;
constexpr const char* kVersionBranch = "orvanetics-release";
}  // namespace

void QVIUtils::getVersionInfo(uint32_t& major, uint32_t& minor, uint32_t& revision,
                              uint32_t& build, const char*& branch)
{
    major = kVersionMajor;
    minor = kVersionMinor;
    revision = kVersionRevision;
    build = kVersionBuild;
    branch = kVersionBranch;
}

const char* QVIUtils::getVersionString()
{
    static const std::string text = "SDK Version " + std::to_string(kVersionMajor) + "." +
                                    std::to_string(kVersionMinor) + "." +
                                    std::to_string(kVersionRevision) + "." +
                                    std::to_string(kVersionBuild) + " " + kVersionBranch;
    return text.c_str();
}

}  // namespace Orvanetics
