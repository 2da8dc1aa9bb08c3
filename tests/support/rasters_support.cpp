#include "rasters_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "qvi_sceneBuffer.h"

namespace RastersTest {

namespace {

bool onPath(const char* tool)
{
    return run(std::string("command -v ") + tool) == 0;
}

// The value of `key = value` in an ENVI header; -1 if absent.
long enviValue(const std::string& header, const std::string& key)
{
    std::istringstream lines(header);
    std::string line;
    while (std::getline(lines, line)) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        std::string name = line.substr(0, equals);
        while (!name.empty() && name.back() == ' ')
            name.pop_back();
        if (name == key)
            return std::strtol(line.c_str() + equals + 1, nullptr, 10);
    }
    return -1;
}

uint32_t enviSampleBytes(long enviType)
{
    switch (enviType) {
    case 1: return 1;
    case 2: case 12: return 2;
    case 3: case 4: case 13: return 4;
    case 5: case 14: case 15: return 8;
    default: return 0;
    }
}

uint32_t gdalTypeBytes(const std::string& name)
{
    if (name == "Byte" || name == "Int8")
        return 1;
    if (name == "Int16" || name == "UInt16")
        return 2;
    if (name == "Int32" || name == "UInt32" || name == "Float32")
        return 4;
    return 8;
}

}  // namespace

bool hasGdalTools()
{
    static const bool present = onPath("gdal_translate") && onPath("gdalinfo");
    return present;
}

bool hasPngcheck()
{
    static const bool present = onPath("pngcheck");
    return present;
}

std::string quote(const std::string& path)
{
    std::string quoted = "'";
    for (char c : path) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

int run(const std::string& command, const std::string& log)
{
    const std::string target = log.empty() ? "/dev/null" : quote(log);
    return std::system((command + " >" + target + " 2>&1").c_str());
}

std::vector<uint8_t> readBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

std::string readText(const std::string& path)
{
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void writeText(const std::string& path, const std::string& text)
{
    std::ofstream file(path);
    file << text;
}

bool gdalDecode(const std::string& source, const std::string& workDir, GdalImage& image)
{
    const std::string target = workDir + "/gdal_decoded.img";
    std::remove(target.c_str());
    if (run("gdal_translate -q -of ENVI -co INTERLEAVE=BSQ " + quote(source) + " " +
            quote(target)) != 0)
        return false;
    const std::string header = readText(workDir + "/gdal_decoded.hdr");
    image.width = uint32_t(enviValue(header, "samples"));
    image.height = uint32_t(enviValue(header, "lines"));
    image.bands = uint32_t(enviValue(header, "bands"));
    image.sampleBytes = enviSampleBytes(enviValue(header, "data type"));
    image.bsq = readBytes(target);
    return image.sampleBytes != 0 &&
           image.bsq.size() == size_t(image.width) * image.height * image.bands * image.sampleBytes;
}

bool readOracle(const std::string& oracleBase, GdalImage& image)
{
    std::istringstream sizes(readText(oracleBase + ".txt"));
    std::string type;
    if (!(sizes >> image.width >> image.height >> image.bands >> type))
        return false;
    image.sampleBytes = gdalTypeBytes(type);
    image.bsq = readBytes(oracleBase + ".bsq");
    return image.bsq.size() == size_t(image.width) * image.height * image.bands * image.sampleBytes;
}

bool parseGeoTransform(const std::string& json, std::array<double, 6>& transform)
{
    size_t position = json.find("\"geoTransform\"");
    if (position == std::string::npos)
        return false;
    position = json.find('[', position);
    if (position == std::string::npos)
        return false;
    const char* cursor = json.c_str() + position + 1;
    for (double& value : transform) {
        char* end = nullptr;
        value = std::strtod(cursor, &end);
        if (end == cursor)
            return false;
        cursor = end;
        while (*cursor == ',' || *cursor == ' ' || *cursor == '\n' || *cursor == '\r')
            ++cursor;
    }
    return true;
}

bool gdalGeoTransform(const std::string& source, const std::string& workDir,
                      std::array<double, 6>& transform)
{
    const std::string log = workDir + "/gdalinfo.json";
    if (run("gdalinfo -json " + quote(source), log) != 0)
        return false;
    return parseGeoTransform(readText(log), transform);
}

// ---------------------------------------------------------------------------

ArrayReader* ArrayReader::create(const QVIPixel& pixel, uint32_t width, uint32_t height,
                                 std::vector<uint8_t> bsq)
{
    ArrayReader* reader = new ArrayReader();
    reader->init(true);
    reader->setPixelProps(pixel);
    reader->setDimensions(width, height);
    reader->setDefaultGeoCoord(*reader);
    size_t start = 0;
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        reader->m_bandStarts.push_back(start);
        start += size_t(width) * height * pixel.getSample(band).getNumBytes();
    }
    bsq.resize(start);
    reader->m_bsq = std::move(bsq);
    return reader;
}

const uint8_t* ArrayReader::sample(uint16_t band, uint32_t row, uint32_t col) const
{
    const uint32_t bytes = getPixelProps().getSample(band).getNumBytes();
    return m_bsq.data() + m_bandStarts[band] + (size_t(row) * getWidth() + col) * bytes;
}

QVStatus ArrayReader::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    const uint32_t col = uint32_t(stripScene.getUpperLeftCol());
    const uint32_t row = uint32_t(stripScene.getUpperLeftRow());
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
        const uint32_t bytes = buffer.getPixelProps().getSample(band).getNumBytes();
        for (uint32_t r = 0; r < buffer.getNumRows(); ++r)
            std::memcpy(buffer.getSample(0, r, band), sample(band, row + r, col),
                        size_t(buffer.getNumCols()) * bytes);
    }
    return 0;
}

}  // namespace RastersTest
