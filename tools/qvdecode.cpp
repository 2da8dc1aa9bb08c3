// qvdecode: decodes a scene of an image file to PNG, BBB or raw.
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tbb/global_control.h>

#include "qv_statusCodes.h"
#include "qv_utilStatusData.h"
#include "qvi_navigator.h"
#include "qvtool_cli.h"
#include "qvtool_decode.h"
#include "qvtool_image.h"

using namespace Orvanetics;
using namespace QVTool;

namespace {

constexpr const char* kProgram = "qvdecode";
constexpr const char* kUsage = "qvdecode FILE -o OUT [--mag M] [--region X,Y,W,H | --geo-region "
                               "ULX,ULY,LRX,LRY] [--bands LIST] [options]";

constexpr OptionDef kOptions[] = {
    {"output", 'o', true},       {"format", 'f', true},       {"mag", 'm', true},
    {"region", 'r', true},       {"geo-region", 'g', true},   {"bands", 'b', true},
    {"strip-height", 's', true}, {"threads", 't', true},      {"image", 'i', true},
    {"layout", 0, true},         {"byte-order", 0, true},     {"no-world-file", 0, false},
    {"quiet", 'q', false},       {"help", 'h', false},
};

constexpr const char* kHelp = R"(NAME
    qvdecode - decode a scene of an image file to PNG, BBB or raw

SYNOPSIS
    qvdecode FILE -o OUT [--mag M] [--region X,Y,W,H | --geo-region ULX,ULY,LRX,LRY]
             [--bands LIST] [--format png|bbb|raw] [--strip-height N] [--threads N]
             [--image N] [--layout bip|bil|bsq] [--byte-order host|little|big]
             [--no-world-file] [--quiet]

DESCRIPTION
    Opens FILE with the reader its content calls for, decodes the scene asked
    for and writes it to OUT, with a world file beside it. The output format
    comes from the suffix of OUT: "png"; "bil", "bsq" or "bip" for a BBB
    raster (data and "hdr" header) in that sample order; "raw" for bare
    samples. A failed or interrupted decode (Ctrl-C) leaves no output file.

    On a terminal, a long decode shows a progress bar on standard error.

OPTIONS
    -o, --output OUT
        The output file.
    -f, --format png|bbb|raw
        The output format, whatever the suffix of OUT.
    -m, --mag M
        Magnification: 1 is full resolution, 0.5 half size, 2 double size.
        Powers of two within the image's magnification range are served.
    -r, --region X,Y,W,H
        The upper-left corner and the size of the scene, in pixels of the
        image at the magnification. The default is the whole image.
    -g, --geo-region ULX,ULY,LRX,LRY
        The scene by the ground coordinates of its upper-left and lower-right
        pixel centres; clipped to the image.
    -b, --bands LIST
        Bands to write, numbered from 0, in the order wanted: "2,1,0".
        For PNG, one or three bands without grey or RGB meaning are written
        as grey or RGB.
    -s, --strip-height N
        Rows decoded per strip.
    -t, --threads N
        Largest number of threads the decoder may use.
    -i, --image N
        Decode image N (from 0) of a file that holds several.
    --layout bip|bil|bsq
        Sample order of BBB and raw output (default: from the suffix, else bip).
    --byte-order host|little|big
        Byte order of BBB and raw output samples (default: host).
    --no-world-file
        Write no world file.
    -q, --quiet
        No progress bar and no summary line.
    -h, --help
        Print this help.

EXIT STATUS
    0 success; 1 the library refused (its status text is printed); 2 bad
    command line; 130 interrupted.

EXAMPLES
    qvdecode scene.xr3 -o overview.png --mag 0.125
    qvdecode scene.xr3 -o part.bil --region 1024,2048,512,512 --bands 2,1,0
    qvdecode dem.bil -o dem.raw --geo-region 440720,3751320,441920,3750120
)";

struct DecodeOptions {
    std::string input;
    std::optional<uint32_t> imageIndex;
    double mag = 1.0;
    std::optional<std::vector<double>> region;
    std::optional<std::vector<double>> geoRegion;
    std::optional<std::string> bands;
    uint32_t threads = 0;
    bool quiet = false;
    OutputSpec output;
};

bool parseLayout(const std::string& text, QVILayout& layout)
{
    if (text == "bip")
        layout = QVI_LAYOUT_BIP;
    else if (text == "bil")
        layout = QVI_LAYOUT_BIL;
    else if (text == "bsq")
        layout = QVI_LAYOUT_BSQ;
    else
        return false;
    return true;
}

bool parseByteOrder(const std::string& text, QVIEndian& byteOrder)
{
    if (text == "host")
        byteOrder = QVI_ENDIAN_HOST;
    else if (text == "little")
        byteOrder = QVI_ENDIAN_LITTLE;
    else if (text == "big")
        byteOrder = QVI_ENDIAN_BIG;
    else
        return false;
    return true;
}

bool parseOutput(const CommandLine& commandLine, OutputSpec& output, std::string& error)
{
    const std::string* path = commandLine.value("output");
    if (path == nullptr || path->empty()) {
        error = "no output file (-o OUT)";
        return false;
    }
    output.path = *path;
    const bool named = outputFormatFromName(output.path, output.format, output.layout);
    if (const std::string* format = commandLine.value("format")) {
        if (!parseOutputFormat(*format, output.format)) {
            error = "unknown output format '" + *format + "'";
            return false;
        }
    } else if (!named) {
        error = "can't tell the output format from '" + output.path + "': use --format";
        return false;
    }
    if (const std::string* layout = commandLine.value("layout"); layout && !parseLayout(*layout, output.layout)) {
        error = "unknown layout '" + *layout + "'";
        return false;
    }
    if (const std::string* order = commandLine.value("byte-order");
        order && !parseByteOrder(*order, output.byteOrder)) {
        error = "unknown byte order '" + *order + "'";
        return false;
    }
    output.writeWorldFile = !commandLine.has("no-world-file");
    return true;
}

// A positive whole number given with an option; true if absent.
bool parseCount(const CommandLine& commandLine, const char* name, uint32_t& count, std::string& error)
{
    const std::string* text = commandLine.value(name);
    if (text == nullptr)
        return true;
    if (!parseUint32(*text, count) || count == 0) {
        error = std::string("--") + name + " needs a positive whole number, not '" + *text + "'";
        return false;
    }
    return true;
}

bool parseScene(const CommandLine& commandLine, DecodeOptions& options, std::string& error)
{
    if (const std::string* mag = commandLine.value("mag");
        mag && (!parseDouble(*mag, options.mag) || !(options.mag > 0.0))) {
        error = "bad magnification '" + *mag + "'";
        return false;
    }
    if (commandLine.has("region") && commandLine.has("geo-region")) {
        error = "--region and --geo-region exclude each other";
        return false;
    }
    std::vector<double> values;
    if (const std::string* region = commandLine.value("region")) {
        if (!parseDoubleList(*region, 4, values)) {
            error = "bad region '" + *region + "': expected X,Y,W,H";
            return false;
        }
        options.region = values;
    }
    if (const std::string* region = commandLine.value("geo-region")) {
        if (!parseDoubleList(*region, 4, values)) {
            error = "bad geographic region '" + *region + "': expected ULX,ULY,LRX,LRY";
            return false;
        }
        options.geoRegion = values;
    }
    return true;
}

// Fills `options` from the command line; false with a message for the user.
bool parseOptions(const CommandLine& commandLine, DecodeOptions& options, std::string& error)
{
    if (commandLine.positional().size() != 1) {
        error = "expected one FILE";
        return false;
    }
    options.input = commandLine.positional()[0];
    if (const std::string* image = commandLine.value("image")) {
        uint32_t index = 0;
        if (!parseUint32(*image, index)) {
            error = "bad image number '" + *image + "'";
            return false;
        }
        options.imageIndex = index;
    }
    if (const std::string* bands = commandLine.value("bands"))
        options.bands = *bands;
    options.quiet = commandLine.has("quiet");
    return parseOutput(commandLine, options.output, error) && parseScene(commandLine, options, error) &&
           parseCount(commandLine, "strip-height", options.output.stripHeight, error) &&
           parseCount(commandLine, "threads", options.threads, error);
}

QVStatus emptyScene()
{
    QVUtilStatusData::pushBegin(QVI_STS_Core_InvalidScene);
    QVUtilStatusData::pushEnd();
    return QVI_STS_Core_InvalidScene;
}

// The scene of the image that the options ask for.
QVStatus buildScene(const QVIImageStage& stage, const DecodeOptions& options, QVIScene& scene)
{
    const double mag = options.mag;
    if (options.region) {
        const std::vector<double>& r = *options.region;
        if (!(r[2] > 0.0) || !(r[3] > 0.0))
            return emptyScene();
        scene = QVIScene(r[0], r[1], r[2], r[3], mag);
        return 0;
    }
    if (options.geoRegion) {
        const std::vector<double>& g = *options.geoRegion;
        QVINavigator navigator(stage);
        QVStatus status = navigator.setSceneAsGeoULLR(g[0], g[1], g[2], g[3], mag);
        if (status != 0)
            return status;
        navigator.roundScene();
        const QVIScene asked = navigator.getScene();
        status = navigator.setScene(asked, QVINavigator::STYLE_CLIP);
        scene = navigator.getScene();
        return status;
    }
    uint32_t width = 0;
    uint32_t height = 0;
    QVStatus status = stage.getDimsAtMag(mag, width, height);
    scene = QVIScene(0.0, 0.0, width, height, mag);
    return status;
}

QVStatus decode(const DecodeOptions& options)
{
    OpenedImage opened;
    QVStatus status = opened.open(options.input.c_str(), options.imageIndex);
    if (status != 0)
        return status;
    if (options.bands) {
        std::vector<uint16_t> bands;
        status = parseBandList(*options.bands, opened.stage().getNumBands(), bands);
        if (status == 0)
            status = pushBandSelection(opened.chain(), bands,
                                       options.output.format == OutputFormat::PNG);
        if (status != 0)
            return status;
    }
    // Magnifications other than powers of two need a resampling stage pushed
    // here; without one the read refuses them (50015).
    QVIScene scene;
    status = buildScene(opened.stage(), options, scene);
    if (status != 0)
        return status;

    TerminalProgressBar progress(!options.quiet);
    SignalInterrupt interrupt;
    status = writeScene(opened.stage(), scene, options.output, &progress, &interrupt);
    if (status == 0 && !options.quiet)
        std::printf("%s: %d x %d pixels, %u bands\n", options.output.path.c_str(), scene.getNumCols(),
                    scene.getNumRows(), static_cast<unsigned>(opened.stage().getNumBands()));
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    initializeStatusStrings();
    CommandLine commandLine;
    DecodeOptions options;
    std::string error;
    if (!commandLine.parse(argc, argv, kOptions, error))
        return reportUsageError(kProgram, kUsage, error);
    if (commandLine.has("help")) {
        std::fputs(kHelp, stdout);
        return kExitSuccess;
    }
    if (!parseOptions(commandLine, options, error))
        return reportUsageError(kProgram, kUsage, error);

    std::unique_ptr<tbb::global_control> threadLimit;
    if (options.threads != 0)
        threadLimit = std::make_unique<tbb::global_control>(
            tbb::global_control::max_allowed_parallelism, options.threads);

    const QVStatus status = decode(options);
    const int exitCode = status == 0 ? kExitSuccess : reportFailure(kProgram, status);
    terminateStatusStrings();
    return exitCode;
}
