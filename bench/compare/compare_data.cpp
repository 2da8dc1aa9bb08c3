#include "compare_data.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>

#include "compare_decoders.h"
#include "compare_ours.h"

namespace CompareBench {

namespace {

constexpr const char* kPhotoRgb = "naip_m_4709963_se_14_1_20200831.tif";
constexpr const char* kPhotoGrey = "umbra_mount_yasur.tiff";

bool exists(const std::string& path)
{
    return std::filesystem::exists(path);
}

// Writes path through `write` unless it is there, via a temporary name so
// that an interrupted run leaves no half file behind.
bool writeOnce(const std::string& path, const std::function<bool(const std::string&)>& write,
               std::string& error)
{
    if (exists(path))
        return true;
    std::fprintf(stderr, "writing %s\n", path.c_str());
    const std::string partial = path + ".partial";
    if (!write(partial)) {
        std::filesystem::remove(partial);
        error = "cannot write " + path + (error.empty() ? "" : ": " + error);
        return false;
    }
    std::filesystem::rename(partial, path);
    return true;
}

std::string photoPath(const TestImage& image, const DataOptions& options)
{
    return options.photoFolder + "/" + (image.numBands == 3 ? kPhotoRgb : kPhotoGrey);
}

}  // namespace

uint64_t fileSize(const std::string& path)
{
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? uint64_t(st.st_size) : 0;
}

std::string describeContent(const TestImage& image, const DataOptions& options)
{
    if (!exists(photoPath(image, options)))
        return "synthetic 1/f noise with edges and flat areas";
    return image.numBands == 3 ? "NAIP aerial photograph (public domain), bands 1-3, mirrored tiles"
                               : "Umbra SAR amplitude (CC BY 4.0, Umbra Space), mirrored tiles";
}

BenchImage makeContent(const TestImage& image, const DataOptions& options)
{
    BenchImage pixels;
    std::string error;
    const std::vector<int> bands = image.numBands == 3 ? std::vector<int>{1, 2, 3} : std::vector<int>{1};
    if (exists(photoPath(image, options)) &&
        loadMirroredPhoto(photoPath(image, options), bands, image.side, image.side, pixels, error))
        return pixels;
    return syntheticImage(image.side, image.side, image.numBands, 20240601u + image.numBands);
}

bool prepareFiles(TestImage& image, const DataOptions& options, std::string& error)
{
    std::filesystem::create_directories(options.folder);
    const std::string stem = options.folder + "/" + image.key;
    image.jpeg2000Lossless = stem + ".jp2";
    if (haveOursWriter())
        image.oursLossless = stem + ".tvx";
    if (image.withLossy) {
        image.jpeg2000Lossy = stem + "_lossy.jp2";
        if (haveOursWriter())
            image.oursLossy = stem + "_lossy.tvx";
    }

    std::optional<BenchImage> pixels;
    auto content = [&]() -> const BenchImage& {
        if (!pixels)
            pixels = makeContent(image, options);
        return *pixels;
    };
    auto ours = [&](bool lossy) {
        return [&, lossy](const std::string& path) { return writeOurs(content(), lossy, path, error); };
    };
    auto jpeg2000 = [&](Jpeg2000Coding coding) {
        return [&, coding](const std::string& path) { return writeJpeg2000(content(), coding, path, error); };
    };

    if (!image.oursLossless.empty() && !writeOnce(image.oursLossless, ours(false), error))
        return false;
    if (!writeOnce(image.jpeg2000Lossless, jpeg2000({}), error))
        return false;
    if (!image.withLossy)
        return true;
    if (!image.oursLossy.empty() && !writeOnce(image.oursLossy, ours(true), error))
        return false;
    // The lossy JPEG 2000 file matches the size of ours, or two bits per
    // pixel without it.
    const double rawBytes = double(image.side) * image.side * image.numBands;
    const double targetBytes =
        image.oursLossy.empty() ? double(image.side) * image.side * 2 / 8 : double(fileSize(image.oursLossy));
    return writeOnce(image.jpeg2000Lossy, jpeg2000({false, rawBytes / targetBytes}), error);
}

}  // namespace CompareBench
