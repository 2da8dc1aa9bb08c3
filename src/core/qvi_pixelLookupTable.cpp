#include "qvi_pixelLookupTable.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <type_traits>

#include "qv_statusCodes.h"
#include "qvi_dataTypeDispatch.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

std::unique_ptr<uint8_t[]> allocateTable(size_t bytes)
{
    if (bytes == 0) return nullptr;
    std::unique_ptr<uint8_t[]> table(new (std::nothrow) uint8_t[bytes]());
    if (!table) throw QVUtilException(QVI_STS_OutOfMemory);
    return table;
}

// The entry that a source value selects: values at or beyond the table size
// take the last entry; negative integers do too, through the unsigned cast;
// negative (and NaN) floats the first; floats truncate toward zero.
template <typename S>
inline uint32_t entryIndex(S value, uint32_t lastEntry)
{
    if constexpr (std::is_floating_point_v<S>) {
        if (!(value >= S(0))) return 0;
        if (value >= static_cast<S>(lastEntry)) return lastEntry;
        return static_cast<uint32_t>(value);
    } else {
        return std::min(static_cast<uint32_t>(value), lastEntry);
    }
}

template <typename S, typename D>
void lookUpBand(const QVISceneBuffer& source, QVISceneBuffer& destination, uint16_t band,
                const D* tableBand, uint32_t tableSize, uint32_t cols, uint32_t rows)
{
    const S* sourceRow = static_cast<const S*>(source.getBandData(0));
    D* destinationRow = static_cast<D*>(destination.getBandData(band));
    const size_t sourcePitch = source.getTotalNumCols();
    const size_t destinationPitch = destination.getTotalNumCols();
    const uint32_t lastEntry = tableSize - 1;
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t col = 0; col < cols; ++col)
            destinationRow[col] = tableBand[entryIndex(sourceRow[col], lastEntry)];
        sourceRow += sourcePitch;
        destinationRow += destinationPitch;
    }
}

}  // namespace

QVIPixelLookupTable::QVIPixelLookupTable(const QVIPixel& pixel, uint32_t tableSize)
    : QVIPixel(pixel.getColorSpace(), pixel.getNumBands(), pixel.getDataType(), pixel.getSamples()),
      m_tableSize(tableSize),
      m_table(allocateTable(getTableBytes()))
{
}

QVIPixelLookupTable::QVIPixelLookupTable(const QVIPixelLookupTable& other)
    : QVIPixel(other.getColorSpace(), other.getNumBands(), other.getDataType(), other.getSamples()),
      m_tableSize(other.m_tableSize),
      m_table(allocateTable(getTableBytes()))
{
    setTableEntries(other.m_table.get());
}

QVIPixelLookupTable::~QVIPixelLookupTable() = default;

size_t QVIPixelLookupTable::getTableBytes() const
{
    return size_t{m_tableSize} * getNumBands() * QVIUtils::getNumBytes(getDataType());
}

uint8_t* QVIPixelLookupTable::tableEntry(uint16_t band, uint32_t index) const
{
    const size_t sampleBytes = QVIUtils::getNumBytes(getDataType());
    return m_table.get() + (size_t{band} * m_tableSize + index) * sampleBytes;
}

void QVIPixelLookupTable::setTableEntry(uint32_t index, const QVIPixel& pixel)
{
    const size_t sampleBytes = QVIUtils::getNumBytes(getDataType());
    const uint16_t bands = std::min(getNumBands(), pixel.getNumBands());
    for (uint16_t band = 0; band < bands; ++band)
        std::memcpy(tableEntry(band, index), pixel.getSampleValueAddr(band), sampleBytes);
}

QVIPixel* QVIPixelLookupTable::getTableEntry(uint32_t index) const
{
    try {
        QVIPixel* entry = new (std::nothrow)
            QVIPixel(getColorSpace(), getNumBands(), getDataType(), getSamples());
        if (!entry) return nullptr;
        for (uint16_t band = 0; band < getNumBands(); ++band)
            entry->setSampleValueAddr(band, tableEntry(band, index));
        return entry;
    } catch (const QVUtilException&) {
        return nullptr;
    }
}

void QVIPixelLookupTable::setTableEntries(const void* data)
{
    const size_t bytes = getTableBytes();
    if (bytes > 0) std::memcpy(m_table.get(), data, bytes);
}

QVStatus QVIPixelLookupTable::apply(const QVISceneBuffer& source, QVISceneBuffer& destination) const
{
    if (getNumBands() == 0 || m_tableSize == 0) return 0;
    if (source.getNumBands() == 0) return 0;
    const uint32_t cols = std::min(source.getNumCols(), destination.getNumCols());
    const uint32_t rows = std::min(source.getNumRows(), destination.getNumRows());
    const QVIDataType tableType = getDataType();
    const QVIDataType sourceType = source.getPixelProps().getSample(0).getDataType();
    const QVIPixel& destinationPixel = destination.getPixelProps();

    for (uint16_t band = 0; band < destination.getNumBands(); ++band) {
        if (destinationPixel.getSample(band).getDataType() != tableType) return QVI_STS_Core_DataTypeMismatch;
        const uint16_t tableBand = destination.getSourceBandIndex(band);
        // A band that no table band feeds is left as it is.
        if (tableBand >= getNumBands()) continue;
        const bool applied = visitDataType(
            sourceType,
            [&](auto sourceTag) {
                using S = typename decltype(sourceTag)::type;
                return visitDataType(
                    tableType,
                    [&](auto tableTag) {
                        using D = typename decltype(tableTag)::type;
                        lookUpBand<S, D>(source, destination, band,
                                         reinterpret_cast<const D*>(tableEntry(tableBand, 0)),
                                         m_tableSize, cols, rows);
                        return true;
                    },
                    [] { return false; });
            },
            [] { return false; });
        if (!applied) return QVI_STS_Core_DataTypeMismatch;
    }
    return 0;
}

}  // namespace Orvanetics
