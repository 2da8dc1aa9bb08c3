// The palette of an index image: maps the one index band of a buffer to the
// colour bands of a table entry.
#pragma once

#include <cstdint>
#include <memory>

#include "qvi_pixel.h"

namespace Orvanetics {

class QVISceneBuffer;

// The pixel describes one entry (its bands and their common data type).
class QVIPixelLookupTable : public QVIPixel {
public:
    // A zeroed table. Out of memory throws QVUtilException(8).
    QVIPixelLookupTable(const QVIPixel& pixel, uint32_t tableSize);
    QVIPixelLookupTable(const QVIPixelLookupTable& other);
    QVIPixelLookupTable& operator=(const QVIPixelLookupTable&) = delete;
    ~QVIPixelLookupTable() override;

    uint32_t getTableSize() const { return m_tableSize; }

    // Copies each band of `pixel` to entry `index`; the index is not checked.
    void setTableEntry(uint32_t index, const QVIPixel& pixel);
    // A new pixel (caller owns) with the entry's values; null if out of memory.
    QVIPixel* getTableEntry(uint32_t index) const;

    // Band by band: entry i of band b is element b * tableSize + i.
    void setTableEntries(const void* data);
    const void* getTableEntries() const { return m_table.get(); }
    size_t getTableBytes() const;

    // Band 0 of `source` (any type) indexes the table into each band of
    // `destination`; destination band b takes table band getSourceBandIndex(b).
    // Indices clamp to the last entry (negative floats to the first; negative
    // integers like large ones). 50021 if a destination band's type is not
    // the table's. A destination band naming no table band is left alone.
    QVStatus apply(const QVISceneBuffer& source, QVISceneBuffer& destination) const;

private:
    uint8_t* tableEntry(uint16_t band, uint32_t index) const;

    uint32_t m_tableSize;
    std::unique_ptr<uint8_t[]> m_table;
};

}  // namespace Orvanetics
