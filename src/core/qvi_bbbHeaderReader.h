// The text header of a BBB raster: one keyword per line, white space, a
// value. Keywords and values are compared without regard to case; a first
// word may end in a colon; lines whose first word is empty or starts with
// "#" are comments. An unknown keyword ends the reading with 50109.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qv_fileSpec.h"
#include "qv_utilStatusData.h"
#include "qvi_dataType.h"
#include "qvi_layout.h"

namespace Orvanetics {

class QVIBBBHeaderReader {
public:
    static constexpr QVStatus kStsUnsupportedDataType = 50001;  // "unsupported datatype"
    static constexpr QVStatus kStsOpenError = 50004;          // "error opening file"
    static constexpr QVStatus kStsReadError = 50006;          // "error reading file": bad number
    static constexpr QVStatus kStsDimensions = 50100;         // "incorrect BBB image dimensions"
    static constexpr QVStatus kStsWordLength = 50102;         // "incorrect BBB word length"
    static constexpr QVStatus kStsUnknownLayout = 50104;      // "unknown BBB image layout"
    static constexpr QVStatus kStsByteOrder = 50105;          // "incorrect BBB byte order"
    static constexpr QVStatus kStsMissingNCols = 50107;       // "BBB missing NCOLS"
    static constexpr QVStatus kStsMissingNRows = 50108;       // "BBB missing NROWS"
    static constexpr QVStatus kStsHeaderFormat = 50109;       // "invalid BBB header format"
    static constexpr QVStatus kStsColorSpace = 50111;         // "BBB bad colorspace"

    static constexpr size_t kNumProjectionParameters = 15;
    static constexpr size_t kMaxWKTBytes = 4096;

    QVIBBBHeaderReader() = default;

    // Reads the header file (text mode; 50004 if it can't be opened), then
    // completes the values (finish).
    QVStatus read(const QVFileSpec& headerFile);
    // The same over a header already in memory.
    QVStatus readText(const std::string& text);

    // The keywords of the eight data types ("U8" ... "F64") and of the
    // colour spaces with their alpha forms ("GRAY" ... "MULTISPETRALA_PM");
    // null for values without one.
    static const char* getDataTypeKeyword(QVIDataType dataType);
    static const char* getColorSpaceKeyword(QVIColorSpace colorSpace);

    // Geometry and pixel. Integers are -1 while unset.
    int64_t getNumRows() const { return m_numRows; }
    int64_t getNumCols() const { return m_numCols; }
    int64_t getNumBands() const { return m_numBands; }
    int64_t getNumBits() const { return m_numBits; }
    QVIDataType getDataType() const { return m_dataType; }
    QVIColorSpace getColorSpace() const { return m_colorSpace; }
    // 0 while unset.
    QVILayout getLayout() const { return m_layout; }
    QVIEndian getByteOrder() const { return m_byteOrder; }
    int64_t getBandGapBytes() const { return m_bandGapBytes; }
    int64_t getBandRowBytes() const { return m_bandRowBytes; }
    int64_t getTotalRowBytes() const { return m_totalRowBytes; }
    int64_t getSkipBytes() const { return m_skipBytes; }

    // Dynamic range, as given or completed from NBITS or window and level.
    std::optional<double> getDynamicRangeMin() const { return m_rangeMin; }
    std::optional<double> getDynamicRangeMax() const { return m_rangeMax; }
    std::optional<double> getDynamicRangeWindow() const { return m_rangeWindow; }
    std::optional<double> getDynamicRangeLevel() const { return m_rangeLevel; }

    // Georeferencing anchors and resolutions (the resolutions start at 1.0).
    std::optional<double> getULXMap() const { return m_ulxMap; }
    std::optional<double> getULYMap() const { return m_ulyMap; }
    std::optional<double> getXLLCorner() const { return m_xllCorner; }
    std::optional<double> getYLLCorner() const { return m_yllCorner; }
    std::optional<double> getXLLCenter() const { return m_xllCenter; }
    std::optional<double> getYLLCenter() const { return m_yllCenter; }
    double getXDim() const { return m_xDim; }
    double getYDim() const { return m_yDim; }
    double getCellSize() const { return m_cellSize; }
    bool hasXDim() const { return m_hasXDim; }
    bool hasYDim() const { return m_hasYDim; }
    const std::string& getWKT() const { return m_wkt; }

    // Projection description.
    const std::optional<std::string>& getMapUnits() const { return m_mapUnits; }
    const std::optional<std::string>& getProjectionName() const { return m_projectionName; }
    const std::optional<std::string>& getSpheroidName() const { return m_spheroidName; }
    std::optional<int64_t> getProjectionZone() const { return m_projectionZone; }
    std::optional<double> getSemiMajorAxis() const { return m_semiMajorAxis; }
    std::optional<double> getSemiMinorAxis() const { return m_semiMinorAxis; }
    std::optional<double> getESquared() const { return m_eSquared; }
    std::optional<double> getRadius() const { return m_radius; }
    bool hasProjectionParameters() const { return m_hasProjectionParameters; }
    const std::array<double, kNumProjectionParameters>& getProjectionParameters() const
    {
        return m_projectionParameters;
    }

    // No-data values: one per band ("NODATA") or one for all ("NODATA_VALUE").
    const std::vector<double>& getNoData() const { return m_noData; }

private:
    class LineReader;
    enum class Keyword;

    QVStatus readLines(const std::string& text);
    QVStatus readLine(LineReader& line, LineReader& rest);
    QVStatus readValue(Keyword keyword, LineReader& line, LineReader& rest);
    QVStatus readOptionalDouble(LineReader& line, std::optional<double>& value);
    QVStatus readOptionalString(LineReader& line, std::optional<std::string>& value);
    QVStatus readProjectionParameters(LineReader& line, LineReader& rest);
    void assumeFloatGrid();
    QVStatus readNoData(LineReader& line, bool single);
    QVStatus finish();

    int64_t m_numRows = -1;
    int64_t m_numCols = -1;
    int64_t m_numBands = -1;
    int64_t m_numBits = -1;
    QVIDataType m_dataType = QVI_DATATYPE_INVALID;
    QVIColorSpace m_colorSpace = QVI_COLORSPACE_INVALID;
    QVILayout m_layout = QVILayout(0);
    bool m_layoutNotApplicable = false;
    QVIEndian m_byteOrder = QVI_ENDIAN_HOST;
    int64_t m_bandGapBytes = -1;
    int64_t m_bandRowBytes = -1;
    int64_t m_totalRowBytes = -1;
    int64_t m_skipBytes = -1;

    std::optional<double> m_rangeMin;
    std::optional<double> m_rangeMax;
    std::optional<double> m_rangeWindow;
    std::optional<double> m_rangeLevel;

    std::optional<double> m_ulxMap;
    std::optional<double> m_ulyMap;
    std::optional<double> m_xllCorner;
    std::optional<double> m_yllCorner;
    std::optional<double> m_xllCenter;
    std::optional<double> m_yllCenter;
    double m_xDim = 1.0;
    double m_yDim = 1.0;
    double m_cellSize = 1.0;
    bool m_hasXDim = false;
    bool m_hasYDim = false;
    std::string m_wkt;

    std::optional<std::string> m_mapUnits;
    std::optional<std::string> m_projectionName;
    std::optional<std::string> m_spheroidName;
    std::optional<int64_t> m_projectionZone;
    std::optional<double> m_semiMajorAxis;
    std::optional<double> m_semiMinorAxis;
    std::optional<double> m_eSquared;
    std::optional<double> m_radius;
    bool m_hasProjectionParameters = false;
    std::array<double, kNumProjectionParameters> m_projectionParameters{};

    std::vector<double> m_noData;
};

}  // namespace Orvanetics
