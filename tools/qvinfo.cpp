// qvinfo: what an image file holds, as text or as JSON.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "qv_math.h"
#include "qv_utilStatusData.h"
#include "qvi_geoCoord.h"
#include "qvi_metadataDatabase.h"
#include "qvi_metadataDumper.h"
#include "qvi_metadataRecord.h"
#include "qvi_metadataTags.h"
#include "qvi_pixel.h"
#include "qvtool_cli.h"
#include "qvtool_image.h"

using namespace Orvanetics;
using namespace QVTool;

namespace {

constexpr const char* kProgram = "qvinfo";
constexpr const char* kUsage = "qvinfo [--json] [--image N] FILE";

constexpr OptionDef kOptions[] = {
    {"json", 'j', false},
    {"image", 'i', true},
    {"help", 'h', false},
};

constexpr const char* kHelp = R"(NAME
    qvinfo - describe an image file

SYNOPSIS
    qvinfo [--json] [--image N] FILE

DESCRIPTION
    Opens FILE with the reader its content calls for (Tavix wavelet files by
    their magic, BBB rasters by the "hdr" header beside them) and prints the
    format and generation, the size, bands, data type and colour space, the
    number of levels and the range of magnifications, the background and
    no-data pixels, the dynamic range, the georeference with its WKT, and
    every metadata record.

    JPEG 2000 and NITF files are recognised; this build has no reader for
    them and says so.

OPTIONS
    -j, --json
        Print one JSON object instead of text.
    -i, --image N
        Describe image N (from 0) of a file that holds several.
    -h, --help
        Print this help.

EXIT STATUS
    0 success; 1 the library refused the file (its status text is printed);
    2 bad command line.

EXAMPLES
    qvinfo scene.xr3
    qvinfo --json --image 2 mosaic.xr3
)";

std::vector<double> pixelValues(const QVIPixel& pixel)
{
    std::vector<double> values(pixel.getNumBands());
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band)
        values[band] = pixel.getSample(band).getValueAsDouble();
    return values;
}

int levelsOf(const QVIImage& image)
{
    const double minMag = image.getMinMagnification();
    return minMag < 1.0 ? QVMath::magToLevel(minMag) : 0;
}

std::string formatWithGeneration(const OpenedImage& image)
{
    if (image.generation() == 0)
        return image.formatName();
    return image.formatName() + " (generation " + std::to_string(image.generation()) + ")";
}

// Value `index` of a numeric metadata record.
double numericValue(const QVIMetadataRecord& record, uint32_t index)
{
    const auto* bytes = static_cast<const uint8_t*>(record.getScalarData());
    auto load = [&](auto sample) {
        std::memcpy(&sample, bytes + sizeof(sample) * index, sizeof(sample));
        return static_cast<double>(sample);
    };
    switch (record.getDataType()) {
    case QVI_METADATA_DATATYPE_UINT8: return load(uint8_t{});
    case QVI_METADATA_DATATYPE_SINT8: return load(int8_t{});
    case QVI_METADATA_DATATYPE_UINT16: return load(uint16_t{});
    case QVI_METADATA_DATATYPE_SINT16: return load(int16_t{});
    case QVI_METADATA_DATATYPE_UINT32: return load(uint32_t{});
    case QVI_METADATA_DATATYPE_SINT32: return load(int32_t{});
    case QVI_METADATA_DATATYPE_FLOAT32: return load(float{});
    case QVI_METADATA_DATATYPE_FLOAT64: return load(double{});
    default: return NAN;
    }
}

// ---------------------------------------------------------------------------
// JSON

// Writes one JSON document to standard output; commas are placed by nesting.
class JsonWriter {
public:
    ~JsonWriter() { std::fputc('\n', stdout); }

    void beginObject(const char* key = nullptr) { open(key, '{'); }
    void endObject() { close('}'); }
    void beginArray(const char* key = nullptr) { open(key, '['); }
    void endArray() { close(']'); }

    void string(const char* key, const char* text)
    {
        member(key);
        if (text == nullptr)
            std::fputs("null", stdout);
        else
            quoted(text);
    }
    void string(const char* key, const std::string& text) { string(key, text.c_str()); }
    void number(const char* key, double value)
    {
        member(key);
        if (std::isfinite(value))
            std::printf("%.17g", value);
        else
            std::fputs("null", stdout);
    }
    void boolean(const char* key, bool value)
    {
        member(key);
        std::fputs(value ? "true" : "false", stdout);
    }
    void null(const char* key)
    {
        member(key);
        std::fputs("null", stdout);
    }
    void numbers(const char* key, const std::vector<double>& values)
    {
        beginArray(key);
        for (double value : values)
            number(nullptr, value);
        endArray();
    }

private:
    void member(const char* key)
    {
        if (!m_first.empty()) {
            if (!m_first.back())
                std::fputc(',', stdout);
            m_first.back() = false;
        }
        if (key != nullptr) {
            quoted(key);
            std::fputc(':', stdout);
        }
    }
    void open(const char* key, char bracket)
    {
        member(key);
        std::fputc(bracket, stdout);
        m_first.push_back(true);
    }
    void close(char bracket)
    {
        m_first.pop_back();
        std::fputc(bracket, stdout);
    }
    static void quoted(const char* text)
    {
        std::fputc('"', stdout);
        for (const char* c = text; *c; ++c)
            escaped(static_cast<unsigned char>(*c));
        std::fputc('"', stdout);
    }
    static void escaped(unsigned char c)
    {
        switch (c) {
        case '"': std::fputs("\\\"", stdout); return;
        case '\\': std::fputs("\\\\", stdout); return;
        case '\n': std::fputs("\\n", stdout); return;
        case '\r': std::fputs("\\r", stdout); return;
        case '\t': std::fputs("\\t", stdout); return;
        default: break;
        }
        if (c < 0x20)
            std::printf("\\u%04x", c);
        else
            std::fputc(c, stdout);
    }

    // Per open container: no member written yet.
    std::vector<bool> m_first;
};

void jsonPixel(JsonWriter& json, const char* key, const QVIPixel* pixel)
{
    if (pixel == nullptr)
        json.null(key);
    else
        json.numbers(key, pixelValues(*pixel));
}

void jsonRecord(JsonWriter& json, const QVIMetadataRecord& record)
{
    json.beginObject();
    json.string("key", record.getTagName());
    json.string("type", QVIMetadataUtils::name(record.getDataType()));
    json.beginArray("dims");
    for (uint32_t d = 0; d < record.getNumDims(); ++d)
        json.number(nullptr, record.getDims()[d]);
    json.endArray();
    json.beginArray("values");
    const uint32_t count = record.getNumValues();
    for (uint32_t i = 0; i < count; ++i) {
        if (record.getDataType() == QVI_METADATA_DATATYPE_ASCII)
            json.string(nullptr, static_cast<const char* const*>(record.getScalarData())[i]);
        else
            json.number(nullptr, numericValue(record, i));
    }
    json.endArray();
    json.endObject();
}

void printJson(const QVFileSpec& file, std::optional<uint32_t> imageIndex, const OpenedImage& opened)
{
    const QVIImageStage& image = opened.stage();
    JsonWriter json;
    json.beginObject();
    json.string("file", file.getPath());
    json.string("format", opened.formatName());
    if (opened.generation() != 0)
        json.number("generation", opened.generation());
    else
        json.null("generation");
    json.number("images", opened.numImages());
    if (imageIndex)
        json.number("image", *imageIndex);
    else
        json.null("image");
    json.number("width", image.getWidth());
    json.number("height", image.getHeight());
    json.number("bands", image.getNumBands());
    json.string("dataType", dataTypeName(image.getDataType()));
    json.string("colorSpace", colorSpaceName(image.getColorSpace()));
    json.beginArray("bitsPerSample");
    for (uint16_t band = 0; band < image.getNumBands(); ++band)
        json.number(nullptr, image.getPixelProps().getSample(band).getPrecision());
    json.endArray();
    json.number("levels", levelsOf(image));
    json.number("minMagnification", image.getMinMagnification());
    json.number("maxMagnification", image.getMaxMagnification());
    jsonPixel(json, "backgroundPixel", image.getBackgroundPixel());
    jsonPixel(json, "noDataPixel", image.getNoDataPixel());
    json.beginObject("dynamicRange");
    jsonPixel(json, "min", &image.getMinDynamicRange());
    jsonPixel(json, "max", &image.getMaxDynamicRange());
    json.boolean("natural", image.isNaturalDynamicRange());
    json.endObject();

    const QVIGeoCoord& geo = image.getGeoCoord();
    json.beginObject("georeference");
    json.number("x", geo.getX());
    json.number("y", geo.getY());
    json.number("xRes", geo.getXRes());
    json.number("yRes", geo.getYRes());
    json.number("xRot", geo.getXRot());
    json.number("yRot", geo.getYRot());
    json.boolean("implicit", image.isGeoCoordImplicit());
    json.string("wkt", geo.getWKT());
    json.endObject();

    const QVIMetadataDatabase& metadata = image.getMetadata();
    json.beginArray("metadata");
    for (uint32_t index = 0; index < metadata.getIndexCount(); ++index) {
        const QVIMetadataRecord* record = nullptr;
        if (metadata.getDataByIndex(index, record) == 0 && record != nullptr)
            jsonRecord(json, *record);
    }
    json.endArray();
    json.endObject();
}

// ---------------------------------------------------------------------------
// Text

std::string joined(const std::vector<double>& values)
{
    std::string text;
    char number[32];
    for (size_t i = 0; i < values.size(); ++i) {
        std::snprintf(number, sizeof(number), "%.15g", values[i]);
        text += (i == 0 ? "" : ", ") + std::string(number);
    }
    return text;
}

void line(const char* label, const std::string& value)
{
    std::printf("%-18s %s\n", label, value.c_str());
}

std::string pixelText(const QVIPixel* pixel)
{
    return pixel == nullptr ? "none" : joined(pixelValues(*pixel));
}

QVStatus printText(const QVFileSpec& file, std::optional<uint32_t> imageIndex, const OpenedImage& opened)
{
    const QVIImageStage& image = opened.stage();
    line("File:", file.getPath());
    line("Format:", formatWithGeneration(opened));
    line("Images:", std::to_string(opened.numImages()));
    if (imageIndex)
        line("Image:", std::to_string(*imageIndex));
    line("Width:", std::to_string(image.getWidth()));
    line("Height:", std::to_string(image.getHeight()));
    line("Bands:", std::to_string(image.getNumBands()));
    line("Data type:", dataTypeName(image.getDataType()));
    line("Colour space:", colorSpaceName(image.getColorSpace()));
    std::vector<double> bits;
    for (uint16_t band = 0; band < image.getNumBands(); ++band)
        bits.push_back(image.getPixelProps().getSample(band).getPrecision());
    line("Bits per sample:", joined(bits));
    line("Levels:", std::to_string(levelsOf(image)));
    line("Magnification:", joined({image.getMinMagnification()}) + " to " +
                               joined({image.getMaxMagnification()}));
    line("Background pixel:", pixelText(image.getBackgroundPixel()));
    line("No-data pixel:", pixelText(image.getNoDataPixel()));
    line("Dynamic range:", pixelText(&image.getMinDynamicRange()) + " to " +
                               pixelText(&image.getMaxDynamicRange()) +
                               (image.isNaturalDynamicRange() ? " (natural)" : ""));
    const QVIGeoCoord& geo = image.getGeoCoord();
    line("Georeference:", joined({geo.getX(), geo.getY()}) + " (upper-left pixel centre)" +
                              (image.isGeoCoordImplicit() ? ", implicit" : ""));
    line("Resolution:", joined({geo.getXRes(), geo.getYRes()}));
    line("Rotation:", joined({geo.getXRot(), geo.getYRot()}));
    line("WKT:", geo.getWKT() != nullptr ? geo.getWKT() : "none");
    if (image.getMetadata().getIndexCount() == 0) {
        line("Metadata:", "none");
        return 0;
    }
    std::printf("Metadata:\n");
    QVIMetadataDumper dumper(image.getMetadata(), nullptr, true);
    return dumper.write();
}

}  // namespace

int main(int argc, char** argv)
{
    initializeStatusStrings();
    CommandLine commandLine;
    std::string error;
    if (!commandLine.parse(argc, argv, kOptions, error))
        return reportUsageError(kProgram, kUsage, error);
    if (commandLine.has("help")) {
        std::fputs(kHelp, stdout);
        return kExitSuccess;
    }
    if (commandLine.positional().size() != 1)
        return reportUsageError(kProgram, kUsage, "expected one FILE");
    std::optional<uint32_t> imageIndex;
    if (const std::string* text = commandLine.value("image")) {
        uint32_t index = 0;
        if (!parseUint32(*text, index))
            return reportUsageError(kProgram, kUsage, "bad image number '" + *text + "'");
        imageIndex = index;
    }

    const QVFileSpec file(commandLine.positional()[0]);
    OpenedImage opened;
    QVStatus status = opened.open(file, imageIndex);
    if (status == 0) {
        if (commandLine.has("json"))
            printJson(file, imageIndex, opened);
        else
            status = printText(file, imageIndex, opened);
    }
    const int exitCode = status == 0 ? kExitSuccess : reportFailure(kProgram, status);
    terminateStatusStrings();
    return exitCode;
}
