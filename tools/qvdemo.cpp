// The README's demo: writes a natural-looking georeferenced wavelet image of
// a few thousand pixels on a side, then decodes it at three magnifications
// and a full-resolution region to PNG files, through the same calls qvdecode
// makes, and tells where they are.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "qv_utilStatusData.h"
#include "qvi_utils.h"
#include "qvtool_cli.h"
#include "qvtool_decode.h"
#include "qvtool_image.h"
#include "tavix_imageWriter.h"
#include "tavix_sampleImages.h"

using namespace Orvanetics;
using namespace QVTool;

namespace {

constexpr const char* kProgram = "qvdemo";
constexpr uint32_t kWidth = 3072;
constexpr uint32_t kHeight = 2048;
// Half-metre pixels, the upper-left centre at (500000.25, 4200000.25).
constexpr double kPixelSize = 0.5;
constexpr double kUpperLeftX = 500000.25;
constexpr double kUpperLeftY = 4200000.25;

struct Decode {
    const char* name;
    const char* what;
    QVIScene (*scene)(const QVIImage& image);
};

QVIScene sceneAt(const QVIImage& image, double mag)
{
    uint32_t width = 0;
    uint32_t height = 0;
    image.getDimsAtMag(mag, width, height);
    return QVIScene(0, 0, width, height, mag);
}

const Decode kDecodes[] = {
    {"overview.png", "whole image at magnification 1/16",
     [](const QVIImage& image) { return sceneAt(image, 1.0 / 16); }},
    {"quarter.png", "whole image at magnification 1/4",
     [](const QVIImage& image) { return sceneAt(image, 0.25); }},
    {"half.png", "whole image at magnification 1/2",
     [](const QVIImage& image) { return sceneAt(image, 0.5); }},
    {"detail.png", "1024 x 768 region at full resolution",
     [](const QVIImage& image) {
         return QVIScene((image.getWidth() - 1024) / 2.0, (image.getHeight() - 768) / 2.0, 1024, 768, 1.0);
     }},
};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

QVStatus writeSample(const std::string& path)
{
    TavixFixture::NaturalImageSource photo(kWidth, kHeight, 3, /*seed*/ 7);
    TavixFixture::TavixImageRecipe recipe;
    recipe.dataType = QVI_DATATYPE_UINT8;
    recipe.colorSpace = XR3_COLORSPACE_RGB;
    recipe.yiq = true;
    recipe.numLevels = 5;
    XR3GeorefData georef;
    georef.setGeoData(kUpperLeftX, kUpperLeftY, kUpperLeftX + kPixelSize * (kWidth - 1),
                      kUpperLeftY - kPixelSize * (kHeight - 1), kPixelSize, -kPixelSize);
    recipe.georef = georef;
    return TavixFixture::writeTavixImageFile(recipe, photo, path);
}

QVStatus runDemo(const std::string& outDir)
{
    const std::string sample = outDir + "/sample.xr4";
    auto start = std::chrono::steady_clock::now();
    QVStatus status = writeSample(sample);
    if (status != 0)
        return status;
    std::printf("wrote %s: %u x %u RGB wavelet image (%.1f s)\n", sample.c_str(), kWidth, kHeight,
                secondsSince(start));

    OpenedImage opened;
    if ((status = opened.open(sample.c_str(), std::nullopt)) != 0)
        return status;
    for (const Decode& decode : kDecodes) {
        OutputSpec output;
        output.path = outDir + "/" + decode.name;
        const QVIScene scene = decode.scene(opened.stage());
        TerminalProgressBar progress(true);
        start = std::chrono::steady_clock::now();
        if ((status = writeScene(opened.stage(), scene, output, &progress, nullptr)) != 0)
            return status;
        std::printf("wrote %s: %s, %d x %d pixels (%.2f s)\n", output.path.c_str(), decode.what,
                    scene.getNumCols(), scene.getNumRows(), secondsSince(start));
    }
    std::printf("Each PNG has its world file beside it. Try:\n"
                "  build/tools/qvinfo %s\n"
                "  build/tools/qvdecode %s -o %s/corner.png --region 0,0,800,600 --bands 2,1,0\n",
                sample.c_str(), sample.c_str(), outDir.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    initializeStatusStrings();
    std::printf("%s\n", QVIUtils::getVersionString());
    const std::string outDir = argc > 1 ? argv[1] : "out/demo";
    std::error_code error;
    std::filesystem::create_directories(outDir, error);
    if (error) {
        std::fprintf(stderr, "%s: can't create %s: %s\n", kProgram, outDir.c_str(), error.message().c_str());
        return kExitFailure;
    }
    const QVStatus status = runDemo(outDir);
    const int exitCode = status == 0 ? kExitSuccess : reportFailure(kProgram, status);
    terminateStatusStrings();
    return exitCode;
}
