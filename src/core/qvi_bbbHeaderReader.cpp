#include "qvi_bbbHeaderReader.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "qvi_tableLookup.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

// A header is a few hundred bytes; anything far larger is not one.
constexpr long kMaxHeaderBytes = 1 << 20;
constexpr QVStatus kStsNumBands = 50103;  // "BBB image not 1 or 3 bands"

bool equalsNoCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::toupper(static_cast<unsigned char>(a[i])) !=
            std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

template <typename Value>
struct Name {
    const char* name;
    Value value;
};

template <typename Value, size_t N>
bool lookUp(std::string_view word, const Name<Value> (&table)[N], Value& value)
{
    const Name<Value>* entry = findTableRow(table, [word](const Name<Value>& e) { return equalsNoCase(word, e.name); });
    if (entry != nullptr) value = entry->value;
    return entry != nullptr;
}

template <typename Value, size_t N>
const char* nameOf(Value value, const Name<Value> (&table)[N])
{
    const Name<Value>* entry = findTableRow(table, &Name<Value>::value, value);
    return entry != nullptr ? entry->name : nullptr;
}

constexpr Name<QVIDataType> kDataTypeNames[] = {
    {"U8", QVI_DATATYPE_UINT8},   {"U16", QVI_DATATYPE_UINT16}, {"U32", QVI_DATATYPE_UINT32},
    {"S8", QVI_DATATYPE_SINT8},   {"S16", QVI_DATATYPE_SINT16}, {"S32", QVI_DATATYPE_SINT32},
    {"F32", QVI_DATATYPE_FLOAT32}, {"F64", QVI_DATATYPE_FLOAT64},
};

// The premultiplied multispectral keyword is spelled without its C, by both
// the reader and the writer, so that existing files keep reading.
constexpr Name<QVIColorSpace> kColorSpaceNames[] = {
    {"GRAY", QVI_COLORSPACE_GRAYSCALE},
    {"GRAYALPHA", QVI_COLORSPACE_GRAYSCALEA},
    {"GRAYALPHA_PM", QVI_COLORSPACE_GRAYSCALEA_PM},
    {"RGB", QVI_COLORSPACE_RGB},
    {"RGBA", QVI_COLORSPACE_RGBA},
    {"RGBA_PM", QVI_COLORSPACE_RGBA_PM},
    {"CMY", QVI_COLORSPACE_CMY},
    {"CMYA", QVI_COLORSPACE_CMYA},
    {"CMYA_PM", QVI_COLORSPACE_CMYA_PM},
    {"YIQ", QVI_COLORSPACE_YIQ},
    {"YIQA", QVI_COLORSPACE_YIQA},
    {"YIQA_PM", QVI_COLORSPACE_YIQA_PM},
    {"RGBK", QVI_COLORSPACE_RGBK},
    {"RGBKA", QVI_COLORSPACE_RGBKA},
    {"RGBKA_PM", QVI_COLORSPACE_RGBKA_PM},
    {"CMYK", QVI_COLORSPACE_CMYK},
    {"CMYKA", QVI_COLORSPACE_CMYKA},
    {"CMYKA_PM", QVI_COLORSPACE_CMYKA_PM},
    {"YIQK", QVI_COLORSPACE_YIQK},
    {"YIQKA", QVI_COLORSPACE_YIQKA},
    {"YIQKA_PM", QVI_COLORSPACE_YIQKA_PM},
    {"MULTISPECTRAL", QVI_COLORSPACE_MULTISPECTRAL},
    {"MULTISPECTRALA", QVI_COLORSPACE_MULTISPECTRALA},
    {"MULTISPETRALA_PM", QVI_COLORSPACE_MULTISPECTRALA_PM},
};


constexpr Name<QVILayout> kLayoutNames[] = {
    {"BIL", QVI_LAYOUT_BIL}, {"BIP", QVI_LAYOUT_BIP}, {"BSQ", QVI_LAYOUT_BSQ},
};
// A single band has no order of bands; "NA" says so and is then taken as BIP.
constexpr const char* kNoLayout = "NA";

constexpr Name<QVIEndian> kByteOrderNames[] = {
    {"MOTOROLA", QVI_ENDIAN_BIG}, {"M", QVI_ENDIAN_BIG}, {"MSBFIRST", QVI_ENDIAN_BIG},
    {"BIGENDIAN", QVI_ENDIAN_BIG},
    {"INTEL", QVI_ENDIAN_LITTLE}, {"I", QVI_ENDIAN_LITTLE}, {"LSBFIRST", QVI_ENDIAN_LITTLE},
    {"LITTLEENDIAN", QVI_ENDIAN_LITTLE}, {"LITTLE", QVI_ENDIAN_LITTLE},
};

constexpr Name<QVIColorSpace> kGreyAliases[] = {
    {"GREY", QVI_COLORSPACE_GRAYSCALE}, {"GREYSCALE", QVI_COLORSPACE_GRAYSCALE},
    {"GRAYSCALE", QVI_COLORSPACE_GRAYSCALE},
};

}  // namespace

// A cursor over text: lines of a header, then words and values of a line.
class QVIBBBHeaderReader::LineReader {
public:
    explicit LineReader(std::string_view text) : m_text(text) {}

    // The next line without its end; false at the end of the text.
    bool nextLine(LineReader& line)
    {
        if (m_position >= m_text.size())
            return false;
        size_t end = m_text.find('\n', m_position);
        if (end == std::string_view::npos)
            end = m_text.size();
        line = LineReader(m_text.substr(m_position, end - m_position));
        m_position = end + 1;
        return true;
    }

    // The next white-space delimited word; empty when none is left.
    std::string_view nextWord()
    {
        skipBlanks();
        const size_t start = m_position;
        while (m_position < m_text.size() && !isBlank(m_text[m_position]))
            ++m_position;
        return m_text.substr(start, m_position - start);
    }

    bool atEnd()
    {
        skipBlanks();
        return m_position >= m_text.size();
    }

    // The rest of the line without surrounding white space.
    std::string_view rest()
    {
        skipBlanks();
        size_t end = m_text.size();
        while (end > m_position && isBlank(m_text[end - 1]))
            --end;
        std::string_view result = m_text.substr(m_position, end - m_position);
        m_position = m_text.size();
        return result;
    }

    QVStatus readInt(int64_t& value)
    {
        const std::string word(nextWord());
        if (word.empty())
            return kStsReadError;
        errno = 0;
        char* end = nullptr;
        const long long parsed = std::strtoll(word.c_str(), &end, 10);
        if (errno != 0 || *end != '\0')
            return kStsReadError;
        value = parsed;
        return 0;
    }

    QVStatus readDouble(double& value)
    {
        const std::string word(nextWord());
        if (word.empty())
            return kStsReadError;
        char* end = nullptr;
        const double parsed = std::strtod(word.c_str(), &end);
        if (*end != '\0')
            return kStsReadError;
        value = parsed;
        return 0;
    }

    QVStatus readString(std::string& value)
    {
        const std::string_view text = rest();
        if (text.empty())
            return kStsReadError;
        value.assign(text);
        return 0;
    }

private:
    void skipBlanks()
    {
        while (m_position < m_text.size() && isBlank(m_text[m_position]))
            ++m_position;
    }

    std::string_view m_text;
    size_t m_position = 0;
};

enum class QVIBBBHeaderReader::Keyword {
    NumRows, NumCols, NumBands, NumBits, WordLength, DataType, ColorSpace, Layout, ByteOrder,
    BandGapBytes, BandRowBytes, TotalRowBytes, SkipBytes,
    RangeMin, RangeMax, RangeWindow, RangeLevel,
    ULXMap, ULYMap, XLLCorner, YLLCorner, XLLCenter, YLLCenter, XDim, YDim, CellSize,
    MapUnits, ProjectionName, ProjectionZone, SpheroidName,
    SemiMajorAxis, SemiMinorAxis, ESquared, Radius, ProjectionParameters, WKT,
    NoData, NoDataValue,
};

QVStatus QVIBBBHeaderReader::read(const QVFileSpec& headerFile)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(headerFile.getNativePath(), "r"), &std::fclose);
    if (!file)
        return kStsOpenError;
    std::string text;
    char chunk[4096];
    size_t count = 0;
    while ((count = std::fread(chunk, 1, sizeof chunk, file.get())) > 0) {
        text.append(chunk, count);
        if (long(text.size()) > kMaxHeaderBytes)
            return kStsHeaderFormat;
    }
    if (std::ferror(file.get()))
        return kStsReadError;
    return readText(text);
}

QVStatus QVIBBBHeaderReader::readText(const std::string& text)
{
    *this = QVIBBBHeaderReader();
    if (const QVStatus status = readLines(text))
        return status;
    return finish();
}

QVStatus QVIBBBHeaderReader::readLines(const std::string& text)
{
    LineReader lines(text);
    LineReader line("");
    while (lines.nextLine(line)) {
        if (const QVStatus status = readLine(line, lines))
            return status;
    }
    return 0;
}

QVStatus QVIBBBHeaderReader::readLine(LineReader& line, LineReader& rest)
{
    static const Name<Keyword> kKeywordNames[] = {
        {"NROWS", Keyword::NumRows}, {"ROWS", Keyword::NumRows},
        {"NCOLS", Keyword::NumCols}, {"COLS", Keyword::NumCols},
        {"NBANDS", Keyword::NumBands}, {"BANDS", Keyword::NumBands},
        {"NBITS", Keyword::NumBits}, {"WORDLENGTH", Keyword::WordLength},
        {"DATATYPE", Keyword::DataType}, {"COLORSPACE", Keyword::ColorSpace},
        {"LAYOUT", Keyword::Layout}, {"INTERLEAVING", Keyword::Layout},
        {"BYTE_ORDER", Keyword::ByteOrder}, {"BYTEORDER", Keyword::ByteOrder},
        {"BANDGAPBYTES", Keyword::BandGapBytes}, {"BANDROWBYTES", Keyword::BandRowBytes},
        {"TOTALROWBYTES", Keyword::TotalRowBytes}, {"SKIPBYTES", Keyword::SkipBytes},
        {"DYNAMICRANGEMIN", Keyword::RangeMin}, {"DYNAMICRANGEMAX", Keyword::RangeMax},
        {"DYNAMICRANGEWINDOW", Keyword::RangeWindow},
        {"DYNAMICRANGELEVEL", Keyword::RangeLevel},
        {"ULXMAP", Keyword::ULXMap}, {"UL_X_COORDINATE", Keyword::ULXMap},
        {"ULYMAP", Keyword::ULYMap}, {"UL_Y_COORDINATE", Keyword::ULYMap},
        {"XLLCORNER", Keyword::XLLCorner}, {"YLLCORNER", Keyword::YLLCorner},
        {"XLLCENTER", Keyword::XLLCenter}, {"YLLCENTER", Keyword::YLLCenter},
        {"XDIM", Keyword::XDim}, {"PIXEL_WIDTH", Keyword::XDim},
        {"YDIM", Keyword::YDim}, {"PIXEL_HEIGHT", Keyword::YDim},
        {"CELLSIZE", Keyword::CellSize},
        {"MAP_UNITS", Keyword::MapUnits}, {"PROJECTION_NAME", Keyword::ProjectionName},
        {"PROJECTION_ZONE", Keyword::ProjectionZone},
        {"SPHEROID_NAME", Keyword::SpheroidName},
        {"SEMI_MAJOR_AXIS", Keyword::SemiMajorAxis},
        {"SEMI_MINOR_AXIS", Keyword::SemiMinorAxis},
        {"E_SQUARED", Keyword::ESquared}, {"RADIUS", Keyword::Radius},
        {"PROJECTION_PARAMETERS", Keyword::ProjectionParameters},
        {"WKT", Keyword::WKT},
        {"NODATA", Keyword::NoData}, {"NODATA_VALUE", Keyword::NoDataValue},
    };
    std::string_view word = line.nextWord();
    if (!word.empty() && word.back() == ':')
        word.remove_suffix(1);
    if (word.empty() || word.front() == '#')
        return 0;
    Keyword keyword;
    if (!lookUp(word, kKeywordNames, keyword))
        return kStsHeaderFormat;
    return readValue(keyword, line, rest);
}


QVStatus QVIBBBHeaderReader::readValue(Keyword keyword, LineReader& line, LineReader& rest)
{
    switch (keyword) {
    case Keyword::NumRows: return line.readInt(m_numRows);
    case Keyword::NumCols: return line.readInt(m_numCols);
    case Keyword::NumBands: return line.readInt(m_numBands);
    case Keyword::NumBits: return line.readInt(m_numBits);
    case Keyword::BandGapBytes: return line.readInt(m_bandGapBytes);
    case Keyword::BandRowBytes: return line.readInt(m_bandRowBytes);
    case Keyword::TotalRowBytes: return line.readInt(m_totalRowBytes);
    case Keyword::SkipBytes: return line.readInt(m_skipBytes);
    case Keyword::WordLength: {
        int64_t bytes = 0;
        if (const QVStatus status = line.readInt(bytes))
            return status;
        if (bytes != 1 && bytes != 2)
            return kStsWordLength;
        m_dataType = bytes == 1 ? QVI_DATATYPE_UINT8 : QVI_DATATYPE_UINT16;
        return 0;
    }
    case Keyword::DataType:
        return lookUp(line.nextWord(), kDataTypeNames, m_dataType) ? 0 : kStsWordLength;
    case Keyword::ColorSpace: {
        const std::string_view word = line.nextWord();
        const bool known = lookUp(word, kGreyAliases, m_colorSpace) ||
                           lookUp(word, kColorSpaceNames, m_colorSpace);
        return known ? 0 : kStsColorSpace;
    }
    case Keyword::Layout: {
        const std::string_view word = line.nextWord();
        m_layoutNotApplicable = equalsNoCase(word, kNoLayout);
        if (m_layoutNotApplicable) {
            m_layout = QVI_LAYOUT_BIP;
            return 0;
        }
        return lookUp(word, kLayoutNames, m_layout) ? 0 : kStsUnknownLayout;
    }
    case Keyword::ByteOrder:
        return lookUp(line.nextWord(), kByteOrderNames, m_byteOrder) ? 0 : kStsByteOrder;
    case Keyword::RangeMin: return readOptionalDouble(line, m_rangeMin);
    case Keyword::RangeMax: return readOptionalDouble(line, m_rangeMax);
    case Keyword::RangeWindow: return readOptionalDouble(line, m_rangeWindow);
    case Keyword::RangeLevel: return readOptionalDouble(line, m_rangeLevel);
    case Keyword::ULXMap: return readOptionalDouble(line, m_ulxMap);
    case Keyword::ULYMap: return readOptionalDouble(line, m_ulyMap);
    case Keyword::XLLCorner: assumeFloatGrid(); return readOptionalDouble(line, m_xllCorner);
    case Keyword::YLLCorner: assumeFloatGrid(); return readOptionalDouble(line, m_yllCorner);
    case Keyword::XLLCenter: assumeFloatGrid(); return readOptionalDouble(line, m_xllCenter);
    case Keyword::YLLCenter: assumeFloatGrid(); return readOptionalDouble(line, m_yllCenter);
    case Keyword::XDim: m_hasXDim = true; return line.readDouble(m_xDim);
    case Keyword::YDim: m_hasYDim = true; return line.readDouble(m_yDim);
    case Keyword::CellSize: return line.readDouble(m_cellSize);
    case Keyword::MapUnits: return readOptionalString(line, m_mapUnits);
    case Keyword::ProjectionName: return readOptionalString(line, m_projectionName);
    case Keyword::SpheroidName: return readOptionalString(line, m_spheroidName);
    case Keyword::ProjectionZone: {
        int64_t zone = 0;
        if (const QVStatus status = line.readInt(zone))
            return status;
        m_projectionZone = zone;
        return 0;
    }
    case Keyword::SemiMajorAxis: return readOptionalDouble(line, m_semiMajorAxis);
    case Keyword::SemiMinorAxis: return readOptionalDouble(line, m_semiMinorAxis);
    case Keyword::ESquared: return readOptionalDouble(line, m_eSquared);
    case Keyword::Radius: return readOptionalDouble(line, m_radius);
    case Keyword::ProjectionParameters: return readProjectionParameters(line, rest);
    case Keyword::WKT:
        m_wkt.assign(line.rest().substr(0, kMaxWKTBytes));
        return 0;
    case Keyword::NoData: return readNoData(line, false);
    case Keyword::NoDataValue: return readNoData(line, true);
    }
    return kStsHeaderFormat;
}

// Grids anchored at their lower left are single-band floats unless told otherwise.
void QVIBBBHeaderReader::assumeFloatGrid()
{
    if (m_numBands < 0)
        m_numBands = 1;
    if (m_dataType == QVI_DATATYPE_INVALID)
        m_dataType = QVI_DATATYPE_FLOAT32;
}

QVStatus QVIBBBHeaderReader::readOptionalDouble(LineReader& line, std::optional<double>& value)
{
    double parsed = 0.0;
    if (const QVStatus status = line.readDouble(parsed))
        return status;
    value = parsed;
    return 0;
}

QVStatus QVIBBBHeaderReader::readOptionalString(LineReader& line,
                                                std::optional<std::string>& value)
{
    std::string text;
    if (const QVStatus status = line.readString(text))
        return status;
    value = std::move(text);
    return 0;
}

QVStatus QVIBBBHeaderReader::readProjectionParameters(LineReader& line, LineReader& rest)
{
    m_projectionParameters.fill(-1.0);
    m_hasProjectionParameters = true;
    size_t count = 0;
    LineReader* current = &line;
    LineReader next("");
    while (count < kNumProjectionParameters) {
        if (current->atEnd()) {
            if (!rest.nextLine(next))
                return 0;
            current = &next;
            continue;
        }
        if (const QVStatus status = current->readDouble(m_projectionParameters[count]))
            return status;
        ++count;
    }
    return 0;
}

QVStatus QVIBBBHeaderReader::readNoData(LineReader& line, bool single)
{
    m_noData.clear();
    do {
        double value = 0.0;
        if (const QVStatus status = line.readDouble(value))
            return status;
        m_noData.push_back(value);
    } while (!single && !line.atEnd() && m_noData.size() < std::numeric_limits<uint16_t>::max());
    return 0;
}

QVStatus QVIBBBHeaderReader::finish()
{
    if (m_numCols < 0)
        return kStsMissingNCols;
    if (m_numRows < 0)
        return kStsMissingNRows;
    constexpr int64_t kMaxSide = std::numeric_limits<int32_t>::max();
    if (m_numCols == 0 || m_numRows == 0 || m_numCols > kMaxSide || m_numRows > kMaxSide)
        return kStsDimensions;
    if (m_numBands < 0) {
        const uint8_t minimum = m_colorSpace == QVI_COLORSPACE_INVALID
            ? 1 : QVIUtils::getMinNumSamplesPerPixel(m_colorSpace);
        m_numBands = minimum == 0 ? 1 : minimum;
    }
    if (m_numBands == 0 || m_numBands > std::numeric_limits<uint16_t>::max())
        return kStsNumBands;
    if (m_layoutNotApplicable && m_numBands != 1)
        return kStsUnknownLayout;
    if (m_bandRowBytes < 0)
        m_bandRowBytes = m_numCols;
    if (m_totalRowBytes < 0)
        m_totalRowBytes = m_numBands * m_numCols;
    if (m_dataType == QVI_DATATYPE_INVALID)
        m_dataType = m_numBits <= 8 ? QVI_DATATYPE_UINT8 : QVI_DATATYPE_UINT16;
    if (m_colorSpace == QVI_COLORSPACE_INVALID) {
        m_colorSpace = m_numBands == 1 ? QVI_COLORSPACE_GRAYSCALE
                     : m_numBands == 3 ? QVI_COLORSPACE_RGB
                                       : QVI_COLORSPACE_MULTISPECTRAL;
    }
    const bool anyRange = m_rangeMin || m_rangeMax || m_rangeWindow || m_rangeLevel;
    const bool smallUnsigned =
        m_dataType == QVI_DATATYPE_UINT8 || m_dataType == QVI_DATATYPE_UINT16;
    if (m_numBits > 0 && smallUnsigned && !anyRange) {
        // Bits beyond the sample's own can't be stored: the range stops at the type's maximum.
        const int64_t bits = std::min<int64_t>(m_numBits, 8 * QVIUtils::getNumBytes(m_dataType));
        m_rangeMin = 0.0;
        m_rangeMax = std::ldexp(1.0, int(bits)) - 1.0;
    }
    if (m_rangeWindow && m_rangeLevel && !m_rangeMin && !m_rangeMax) {
        double minimum = 0.0;
        double maximum = 0.0;
        QVIUtils::convertWindowLevelToMinMax(*m_rangeWindow, *m_rangeLevel, minimum, maximum);
        m_rangeMin = minimum;
        m_rangeMax = maximum;
    }
    return 0;
}

const char* QVIBBBHeaderReader::getDataTypeKeyword(QVIDataType dataType)
{
    return nameOf(dataType, kDataTypeNames);
}

const char* QVIBBBHeaderReader::getColorSpaceKeyword(QVIColorSpace colorSpace)
{
    return nameOf(colorSpace, kColorSpaceNames);
}

}  // namespace Orvanetics
