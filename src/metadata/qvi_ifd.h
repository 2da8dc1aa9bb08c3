// Image file directories: the TIFF-style tag containers in which wavelet files
// and GeoTIFF boxes store metadata. Classic (32-bit offsets) and big (64-bit
// offsets) forms, in either byte order.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "qv_ioStreamInf.h"
#include "qvi_metadataTags.h"

namespace Orvanetics {

// Directory entries are kept in ascending tag order; all offsets are from the
// start of the stream.
//
// Reading: readFirstIFD reads the header at the stream's position and then the
// first directory. Writing a whole blob (see write): header, entries, data,
// then header and entries once more now that the data offsets are known.
class QVIIFD {
public:
    // Tags whose value is the offset of a sub-directory.
    static constexpr unsigned short kTagExifIFD = 34665;
    static constexpr unsigned short kTagGPSIFD = 34853;
    static constexpr unsigned short kTagInteroperabilityIFD = 40965;

    class Entry {
    public:
        Entry();
        // With count 0 there is no buffer; with null `data` the buffer is
        // allocated zero-filled. Throws QVUtilException(8) if it can't be had.
        Entry(unsigned short tag, unsigned short type, unsigned long long count, const void* data);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        // Deep copy of another entry, its sub-directory included.
        QVStatus init(const Entry& other);
        // Resizes the buffer to `count` values, keeping the values that remain
        // and zero-filling new ones; the entry's count becomes `count`.
        QVStatus grow(unsigned long count);

        unsigned short getTag() const { return m_tag; }
        unsigned short getType() const { return m_type; }
        unsigned long long getCount() const { return m_count; }
        // The values in native byte order (null for an empty entry).
        const void* getData() const { return m_data; }
        void* getData() { return m_data; }
        // Bytes of the values: count times the type's width.
        unsigned long long getDataSize() const;
        const QVIIFD* getSubIFD() const { return m_subIFD; }
        QVIIFD* getSubIFD() { return m_subIFD; }
        // Takes ownership; for writing, the entry must be of type 4 or 16 with count 1.
        void setSubIFD(QVIIFD* subIFD);
        unsigned long long getValueOffset() const { return m_valueOffset; }

        // NaN when the index is not below the count or the type is not numeric.
        double getValueAsDouble(unsigned long index) const;

        // Reads one entry at the stream's position, its value wherever it lies
        // and its sub-directory if it has one; leaves the stream just behind the entry.
        QVStatus readEntryAndData(QVIOStreamInf& stream, bool bigEndian, bool bigTiff);
        QVStatus writeEntry(QVIOStreamInf& stream, bool bigEndian, bool bigTiff) const;
        // Writes a value too large for the entry at the stream's position and
        // remembers that offset for writeEntry.
        QVStatus writeData(QVIOStreamInf& stream, bool bigEndian, bool bigTiff);

        void dump(FILE* file, int indent, const char* (*tagToName)(int)) const;

    private:
        friend class QVIIFD;
        struct ReadContext;

        QVStatus read(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, ReadContext& context);
        QVStatus readSubIFD(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, ReadContext& context);
        bool fitsInField(bool bigTiff) const;
        void release();

        unsigned short m_tag = 0;
        unsigned short m_type = 0;
        unsigned long long m_count = 0;
        void* m_data = nullptr;
        QVIIFD* m_subIFD = nullptr;
        unsigned long long m_valueOffset = 0;
    };

    QVIIFD();
    ~QVIIFD();
    QVIIFD(const QVIIFD&) = delete;
    QVIIFD& operator=(const QVIIFD&) = delete;

    // Deep copy; this directory's entries are replaced.
    QVStatus init(const QVIIFD& other);

    QVStatus readFirstIFD(QVIOStreamInf& stream);
    // As readFirstIFD, also telling the blob's byte order and form.
    QVStatus readFirstIFD(QVIOStreamInf& stream, bool& bigEndian, bool& bigTiff);
    // 1 if the stream starts with neither "II" nor "MM"; 50512 for a short
    // read, a version other than 42 or 43, or a bad big header.
    static QVStatus readHeader(QVIOStreamInf& stream, bool& bigEndian, bool& bigTiff,
                               unsigned long long& offset);
    QVStatus readEntries(unsigned long long offset, QVIOStreamInf& stream, bool bigEndian, bool bigTiff);
    QVStatus readEntries(unsigned long long offset, QVIOStreamInf& stream, bool bigEndian, bool bigTiff,
                         unsigned long long& nextOffset);

    // `offset` is the first directory's offset.
    static QVStatus writeHeader(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, unsigned long long offset);
    QVStatus writeEntries(QVIOStreamInf& stream, bool bigEndian, bool bigTiff,
                          unsigned long long nextOffset) const;
    QVStatus writeData(QVIOStreamInf& stream, bool bigEndian, bool bigTiff);
    // The whole blob at the stream's position: header, the directory right
    // behind it, the values, then header and directory again with the offsets.
    // Leaves the stream at the end of the blob.
    QVStatus write(QVIOStreamInf& stream, bool bigEndian, bool bigTiff);

    // Takes ownership; an entry with a tag already present replaces it.
    QVStatus addEntry(Entry* entry);
    QVStatus copyAndAddEntry(const Entry* entry);
    const Entry* findEntry(unsigned short tag) const;
    Entry* findEntry(unsigned short tag);
    const Entry* getEntry(unsigned long index) const;
    unsigned long getNumEntries() const { return static_cast<unsigned long>(m_entries.size()); }

    void dump(FILE* file) const;
    void dump(FILE* file, int indent, const char* (*tagToName)(int)) const;

    // Width in bytes of one value of an entry type; 0 outside 1 to 18.
    static unsigned int typeBytes(unsigned short type);
    // Name printed for an entry type; null for a type without one.
    static const char* typeName(unsigned short type);

private:
    QVStatus readDirectory(unsigned long long offset, QVIOStreamInf& stream, bool bigEndian, bool bigTiff,
                           unsigned long long* nextOffset, Entry::ReadContext& context);
    void clear();

    std::vector<Entry*> m_entries;
};

// Standard names of tags of the main, Exif, GPS and Interoperability
// directories; null for a tag without one.
const char* tiffTagToName(int tag);
const char* exifTagToName(int tag);
const char* gpsTagToName(int tag);
const char* interoperabilityTagToName(int tag);

// Swaps the byte order of `count` values of an entry type in place; the two
// halves of a rational are swapped separately.
void swapData(void* data, unsigned short type, unsigned long count);

}  // namespace Orvanetics
