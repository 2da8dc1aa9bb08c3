// The arithmetic of data types, colour spaces and magnifications.
#pragma once

#include <cstdint>

#include "qv_utilStatusData.h"
#include "qvi_dataType.h"

namespace Orvanetics {

class QVIImage;

class QVIUtils {
public:
    // log2(4/3): snapping rounds a magnification up to the next octave once
    // it is within a third of it.
    static constexpr double kDefaultOctaveThreshold = 0.4150374992788438;

    // The band count of the space (1 for "any"), plus 1 with alpha.
    static uint8_t getMinNumSamplesPerPixel(QVIColorSpace colorSpace);
    static QVIColorSpace getColorSpaceWithoutAlpha(QVIColorSpace colorSpace);
    static bool hasAlphaBand(QVIColorSpace colorSpace);

    // Per data type; 0 / false for values outside 1 .. 8. Floats have the
    // nominal range 0.0 .. 1.0.
    static uint32_t getNumBytes(QVIDataType dataType);
    static bool isSigned(QVIDataType dataType);
    static bool isIntegral(QVIDataType dataType);
    static bool isFloatingPoint(QVIDataType dataType);
    static double getMinValue(QVIDataType dataType);
    static double getMaxValue(QVIDataType dataType);
    // True if samples of that type in that byte order must be swapped on
    // this (little-endian) host.
    static bool needsSwapping(QVIDataType dataType, QVIEndian endian);

    static void convertWindowLevelToMinMax(double window, double level, double& min, double& max);
    static void convertMinMaxToWindowLevel(double min, double max, double& window, double& level);

    static int32_t magToLevel(double mag);
    static double levelToMag(int32_t level);
    // 2^-floor(-log2(mag) + threshold).
    static double snapToOctave(double mag, double threshold = kDefaultOctaveThreshold);
    // As above, clamped to the image's magnification range (the minimum wins).
    static double snapToOctave(double mag, const QVIImage& image,
                               double threshold = kDefaultOctaveThreshold);
    // Within about one per cent of a power of two.
    static bool isOctave(double mag);

    // The image's size at `mag`: ceil of each product. 50115 if a product
    // exceeds 2147483647 (outputs untouched).
    static QVStatus getDimsAtMag(uint32_t width, uint32_t height, double mag,
                                 uint32_t& widthAtMag, uint32_t& heightAtMag);
    // Halvings of the shorter side until it fits in iconSize.
    static uint32_t getNumLevelsForIcon(uint32_t width, uint32_t height, uint32_t iconSize);
    static double getMagForIcon(uint32_t width, uint32_t height, uint32_t iconSize);
    // The largest octave magnification before the shorter side overflows.
    static double getMaxMag(uint32_t width, uint32_t height);

    // Major 9, minor 5, revision 4, build 4709 and a branch label.
    static void getVersionInfo(uint32_t& major, uint32_t& minor, uint32_t& revision,
                               uint32_t& build, const char*& branch);
    // "SDK Version 9.5.4.4709 ..." (static text).
    static const char* getVersionString();
};

}  // namespace Orvanetics
