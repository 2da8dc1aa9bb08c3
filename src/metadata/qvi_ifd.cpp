#include "qvi_ifd.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "qv_ioStreamUtils.h"
#include "qvi_metadataStreamIO.h"

namespace Orvanetics {

using MetadataStreamIO::readBytes;
using MetadataStreamIO::readInteger;
using MetadataStreamIO::writeBytes;
using MetadataStreamIO::writeInteger;

namespace {

constexpr bool kNativeBigEndian = std::endian::native == std::endian::big;

// Sub-directories nest only a few levels in real files; anything deeper is hostile.
constexpr unsigned kMaxDirectoryDepth = 16;

constexpr unsigned short kTypeLong = 4;
constexpr unsigned short kTypeRational = 5;
constexpr unsigned short kTypeSRational = 10;
constexpr unsigned short kTypeLong8 = 16;

QVStatus readFailure() {
    return qviMetadataFailure(QVI_STS_Metadata_BadIFDRead);
}

QVStatus writeFailure() {
    return qviMetadataFailure(QVI_STS_Metadata_BadIFDWrite);
}

unsigned int fieldBytes(bool bigTiff) {
    return bigTiff ? 8 : 4;
}

bool isSubIFDTag(unsigned short tag) {
    return tag == QVIIFD::kTagExifIFD || tag == QVIIFD::kTagGPSIFD || tag == QVIIFD::kTagInteroperabilityIFD;
}

bool holdsSubIFDOffset(unsigned short type, unsigned long long count) {
    return (type == kTypeLong || type == kTypeLong8) && count == 1;
}

const char* (*subIFDNamer(unsigned short tag))(int) {
    switch (tag) {
        case QVIIFD::kTagExifIFD: return exifTagToName;
        case QVIIFD::kTagGPSIFD: return gpsTagToName;
        default: return interoperabilityTagToName;
    }
}

bool readOffset(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, unsigned long long& offset) {
    if (bigTiff) {
        uint64_t value;
        if (!readInteger(stream, bigEndian, value)) return false;
        offset = value;
        return true;
    }
    uint32_t value;
    if (!readInteger(stream, bigEndian, value)) return false;
    offset = value;
    return true;
}

bool writeOffset(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, unsigned long long offset) {
    if (bigTiff) return writeInteger<uint64_t>(stream, bigEndian, offset);
    if (offset > std::numeric_limits<uint32_t>::max()) return false;
    return writeInteger<uint32_t>(stream, bigEndian, static_cast<uint32_t>(offset));
}

// TIFF wants values and directories at even offsets.
bool padToWord(QVIOStreamInf& stream) {
    const int64_t position = stream.tell();
    if (position < 0) return false;
    if (position % 2 == 0) return true;
    const uint8_t zero = 0;
    return writeBytes(stream, &zero, 1);
}

template <typename T>
T loadValue(const void* data, unsigned long index) {
    T value;
    std::memcpy(&value, static_cast<const uint8_t*>(data) + index * sizeof(T), sizeof(T));
    return value;
}

template <typename T>
double rationalValue(const void* data, unsigned long index) {
    const T numerator = loadValue<T>(data, 2 * index);
    const T denominator = loadValue<T>(data, 2 * index + 1);
    return static_cast<double>(numerator) / static_cast<double>(denominator);
}

void swapUnits(uint8_t* bytes, unsigned int unit, unsigned long long units) {
    for (unsigned long long i = 0; i < units; ++i, bytes += unit) std::reverse(bytes, bytes + unit);
}

}  // namespace

// Limits shared by all entries of one read, against hostile sizes and loops.
struct QVIIFD::Entry::ReadContext {
    int64_t streamEnd = 0;
    // Entries of a real blob never share bytes, so it can't hold more than
    // this many; directories that point into each other run out of it.
    unsigned long long entryBudget = 0;
    // The chain of directories being read, to refuse loops early.
    std::vector<unsigned long long> openDirectories;

    QVStatus start(QVIOStreamInf& stream, bool bigTiff) {
        streamEnd = QVIOStreamUtils::getEndPos(&stream);
        if (streamEnd < 0) return readFailure();
        entryBudget = static_cast<unsigned long long>(streamEnd) / (bigTiff ? 20 : 12);
        return 0;
    }
};

// ---------------------------------------------------------------------------
// Type table

unsigned int QVIIFD::typeBytes(unsigned short type) {
    static constexpr unsigned int kWidths[19] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < 19 ? kWidths[type] : 0;
}

const char* QVIIFD::typeName(unsigned short type) {
    static constexpr const char* kNames[19] = {
        nullptr, "Byte",      "ASCII", "Short", "Long",    "Rational", "SByte", "Undefined", "SShort", "SLong",
        "SRational", "Float", "Double", "IFD", nullptr, nullptr, "Long8", "SLong8", "IFD8"};
    return type < 19 ? kNames[type] : nullptr;
}

void swapData(void* data, unsigned short type, unsigned long count) {
    const unsigned int width = QVIIFD::typeBytes(type);
    uint8_t* bytes = static_cast<uint8_t*>(data);
    if (width < 2 || bytes == nullptr) return;
    if (type == kTypeRational || type == kTypeSRational) {
        swapUnits(bytes, 4, 2ull * count);
    } else {
        swapUnits(bytes, width, count);
    }
}

// ---------------------------------------------------------------------------
// Entry

QVIIFD::Entry::Entry() = default;

QVIIFD::Entry::Entry(unsigned short tag, unsigned short type, unsigned long long count, const void* data)
    : m_tag(tag), m_type(type), m_count(count) {
    const unsigned int width = typeBytes(type);
    if (width != 0 && count > std::numeric_limits<size_t>::max() / width) throw QVUtilException(8);
    const size_t size = static_cast<size_t>(count) * width;
    if (size == 0) return;
    m_data = data != nullptr ? std::malloc(size) : std::calloc(size, 1);
    if (m_data == nullptr) throw QVUtilException(8);
    if (data != nullptr) std::memcpy(m_data, data, size);
}

QVIIFD::Entry::~Entry() {
    release();
}

void QVIIFD::Entry::release() {
    std::free(m_data);
    m_data = nullptr;
    delete m_subIFD;
    m_subIFD = nullptr;
}

unsigned long long QVIIFD::Entry::getDataSize() const {
    return m_count * typeBytes(m_type);
}

bool QVIIFD::Entry::fitsInField(bool bigTiff) const {
    return getDataSize() <= fieldBytes(bigTiff);
}

void QVIIFD::Entry::setSubIFD(QVIIFD* subIFD) {
    delete m_subIFD;
    m_subIFD = subIFD;
}

QVStatus QVIIFD::Entry::init(const Entry& other) {
    if (this == &other) return 0;
    release();
    m_tag = other.m_tag;
    m_type = other.m_type;
    m_count = 0;
    m_valueOffset = other.m_valueOffset;
    const size_t size = static_cast<size_t>(other.getDataSize());
    if (size != 0) {
        m_data = std::malloc(size);
        if (m_data == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
        std::memcpy(m_data, other.m_data, size);
    }
    m_count = other.m_count;
    if (other.m_subIFD != nullptr) {
        m_subIFD = new (std::nothrow) QVIIFD();
        if (m_subIFD == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
        return m_subIFD->init(*other.m_subIFD);
    }
    return 0;
}

QVStatus QVIIFD::Entry::grow(unsigned long count) {
    const unsigned int width = typeBytes(m_type);
    if (width != 0 && count > std::numeric_limits<size_t>::max() / width) return qviMetadataFailure(QVI_STS_OutOfMemory);
    const size_t oldSize = static_cast<size_t>(getDataSize());
    const size_t newSize = static_cast<size_t>(count) * width;
    if (newSize == 0) {
        std::free(m_data);
        m_data = nullptr;
    } else {
        void* data = std::realloc(m_data, newSize);
        if (data == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
        if (newSize > oldSize) std::memset(static_cast<uint8_t*>(data) + oldSize, 0, newSize - oldSize);
        m_data = data;
    }
    m_count = count;
    return 0;
}

double QVIIFD::Entry::getValueAsDouble(unsigned long index) const {
    if (index >= m_count || m_data == nullptr) return std::nan("");
    switch (m_type) {
        case 1: return loadValue<uint8_t>(m_data, index);
        case 3: return loadValue<uint16_t>(m_data, index);
        case 4:
        case 13: return loadValue<uint32_t>(m_data, index);
        case 5: return rationalValue<uint32_t>(m_data, index);
        case 6: return loadValue<int8_t>(m_data, index);
        case 8: return loadValue<int16_t>(m_data, index);
        case 9: return loadValue<int32_t>(m_data, index);
        case 10: return rationalValue<int32_t>(m_data, index);
        case 11: return loadValue<float>(m_data, index);
        case 12: return loadValue<double>(m_data, index);
        case 16:
        case 18: return static_cast<double>(loadValue<uint64_t>(m_data, index));
        case 17: return static_cast<double>(loadValue<int64_t>(m_data, index));
        default: return std::nan("");
    }
}

QVStatus QVIIFD::Entry::readEntryAndData(QVIOStreamInf& stream, bool bigEndian, bool bigTiff) {
    ReadContext context;
    const QVStatus status = context.start(stream, bigTiff);
    return status != 0 ? status : read(stream, bigEndian, bigTiff, context);
}

QVStatus QVIIFD::Entry::read(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, ReadContext& context) {
    release();
    m_count = 0;
    uint16_t tag, type;
    unsigned long long count;
    if (!readInteger(stream, bigEndian, tag) || !readInteger(stream, bigEndian, type) ||
        !readOffset(stream, bigEndian, bigTiff, count)) {
        return readFailure();
    }
    const int64_t fieldPosition = stream.tell();
    if (fieldPosition < 0) return readFailure();
    m_tag = tag;
    m_type = type;

    // Nothing larger than the stream itself can be real: refuse before allocating.
    const unsigned int width = typeBytes(type);
    const unsigned long long available = static_cast<unsigned long long>(context.streamEnd);
    if (width != 0 && count > available / width) return readFailure();
    const unsigned long long size = count * width;
    if (size > fieldBytes(bigTiff)) {
        unsigned long long offset;
        if (!readOffset(stream, bigEndian, bigTiff, offset)) return readFailure();
        if (offset > available - size) return readFailure();
        if (stream.seek(static_cast<int64_t>(offset), QVIO_SEEK_BEGIN) != 0) return readFailure();
    }
    if (size != 0) {
        m_data = std::malloc(static_cast<size_t>(size));
        if (m_data == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
        if (!readBytes(stream, m_data, size)) {
            std::free(m_data);
            m_data = nullptr;
            return readFailure();
        }
        if (bigEndian != kNativeBigEndian) swapData(m_data, type, static_cast<unsigned long>(count));
    }
    m_count = count;

    if (isSubIFDTag(tag)) {
        const QVStatus status = readSubIFD(stream, bigEndian, bigTiff, context);
        if (status != 0) return status;
    }
    if (stream.seek(fieldPosition + fieldBytes(bigTiff), QVIO_SEEK_BEGIN) != 0) return readFailure();
    return 0;
}

QVStatus QVIIFD::Entry::readSubIFD(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, ReadContext& context) {
    unsigned long long offset = 0;
    if (holdsSubIFDOffset(m_type, m_count)) {
        offset = m_type == kTypeLong ? loadValue<uint32_t>(m_data, 0) : loadValue<uint64_t>(m_data, 0);
    }
    m_subIFD = new (std::nothrow) QVIIFD();
    if (m_subIFD == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
    if (offset == 0) return 0;
    return m_subIFD->readDirectory(offset, stream, bigEndian, bigTiff, nullptr, context);
}

QVStatus QVIIFD::Entry::writeEntry(QVIOStreamInf& stream, bool bigEndian, bool bigTiff) const {
    if (!writeInteger<uint16_t>(stream, bigEndian, m_tag) || !writeInteger<uint16_t>(stream, bigEndian, m_type) ||
        !writeOffset(stream, bigEndian, bigTiff, m_count)) {
        return writeFailure();
    }
    if (!fitsInField(bigTiff)) {
        return writeOffset(stream, bigEndian, bigTiff, m_valueOffset) ? 0 : writeFailure();
    }
    uint8_t field[8] = {};
    const size_t size = static_cast<size_t>(getDataSize());
    if (size != 0) std::memcpy(field, m_data, size);
    if (bigEndian != kNativeBigEndian) swapData(field, m_type, static_cast<unsigned long>(m_count));
    return writeBytes(stream, field, fieldBytes(bigTiff)) ? 0 : writeFailure();
}

QVStatus QVIIFD::Entry::writeData(QVIOStreamInf& stream, bool bigEndian, bool bigTiff) {
    if (fitsInField(bigTiff)) return 0;
    if (!padToWord(stream)) return writeFailure();
    const int64_t position = stream.tell();
    if (position < 0) return writeFailure();
    m_valueOffset = static_cast<unsigned long long>(position);
    const unsigned long long size = getDataSize();
    if (bigEndian == kNativeBigEndian) return writeBytes(stream, m_data, size) ? 0 : writeFailure();

    // Swap through a small buffer so the entry keeps its native values.
    constexpr size_t kChunk = 65536;  // a multiple of every width
    uint8_t chunk[kChunk];
    const uint8_t* bytes = static_cast<const uint8_t*>(m_data);
    const unsigned int width = typeBytes(m_type);
    for (unsigned long long done = 0; done < size;) {
        const size_t piece = static_cast<size_t>(std::min<unsigned long long>(kChunk, size - done));
        std::memcpy(chunk, bytes + done, piece);
        swapData(chunk, m_type, static_cast<unsigned long>(piece / width));
        if (!writeBytes(stream, chunk, piece)) return writeFailure();
        done += piece;
    }
    return 0;
}

void QVIIFD::Entry::dump(FILE* file, int indent, const char* (*tagToName)(int)) const {
    const char* name = tagToName != nullptr ? tagToName(m_tag) : nullptr;
    std::fprintf(file, "%*sTag %u (%s): ", indent, "", m_tag, name != nullptr ? name : "unknown");
    const char* type = typeName(m_type);
    if (type != nullptr) {
        std::fprintf(file, "%s", type);
    } else {
        std::fprintf(file, "UNKNOWN %u", m_type);
    }
    std::fprintf(file, ", count %llu:", m_count);

    constexpr unsigned long kMaxShown = 16;
    if (m_type == 2 && m_data != nullptr) {
        const char* text = static_cast<const char*>(m_data);
        const size_t length = strnlen(text, static_cast<size_t>(std::min<unsigned long long>(m_count, 256)));
        std::fprintf(file, " \"%.*s\"%s", static_cast<int>(length), text, m_count > 256 ? "..." : "");
    } else if (m_type == 7 && m_data != nullptr) {
        const unsigned long shown = static_cast<unsigned long>(std::min<unsigned long long>(m_count, kMaxShown));
        for (unsigned long i = 0; i < shown; ++i) {
            std::fprintf(file, " %02x", loadValue<uint8_t>(m_data, i));
        }
        if (m_count > kMaxShown) std::fprintf(file, " ...");
    } else {
        const unsigned long shown = static_cast<unsigned long>(std::min<unsigned long long>(m_count, kMaxShown));
        for (unsigned long i = 0; i < shown && m_data != nullptr; ++i) {
            std::fprintf(file, " %.10g", getValueAsDouble(i));
        }
        if (m_count > kMaxShown) std::fprintf(file, " ...");
    }
    std::fprintf(file, "\n");
    if (m_subIFD != nullptr) m_subIFD->dump(file, indent + 4, subIFDNamer(m_tag));
}

// ---------------------------------------------------------------------------
// Directory

QVIIFD::QVIIFD() = default;

QVIIFD::~QVIIFD() {
    clear();
}

void QVIIFD::clear() {
    for (Entry* entry : m_entries) delete entry;
    m_entries.clear();
}

QVStatus QVIIFD::init(const QVIIFD& other) {
    if (this == &other) return 0;
    clear();
    for (const Entry* entry : other.m_entries) {
        const QVStatus status = copyAndAddEntry(entry);
        if (status != 0) return status;
    }
    return 0;
}

QVStatus QVIIFD::addEntry(Entry* entry) {
    if (entry == nullptr) return qviMetadataFailure(QVI_STS_Metadata_InternalError);
    const auto position = std::lower_bound(m_entries.begin(), m_entries.end(), entry->getTag(),
                                           [](const Entry* e, unsigned short tag) { return e->getTag() < tag; });
    if (position != m_entries.end() && (*position)->getTag() == entry->getTag()) {
        delete *position;
        *position = entry;
        return 0;
    }
    try {
        m_entries.insert(position, entry);
    } catch (const std::bad_alloc&) {
        delete entry;
        return qviMetadataFailure(QVI_STS_OutOfMemory);
    }
    return 0;
}

QVStatus QVIIFD::copyAndAddEntry(const Entry* entry) {
    if (entry == nullptr) return qviMetadataFailure(QVI_STS_Metadata_InternalError);
    Entry* copy = new (std::nothrow) Entry();
    if (copy == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
    const QVStatus status = copy->init(*entry);
    if (status != 0) {
        delete copy;
        return status;
    }
    return addEntry(copy);
}

const QVIIFD::Entry* QVIIFD::findEntry(unsigned short tag) const {
    const auto position = std::lower_bound(m_entries.begin(), m_entries.end(), tag,
                                           [](const Entry* e, unsigned short t) { return e->getTag() < t; });
    return position != m_entries.end() && (*position)->getTag() == tag ? *position : nullptr;
}

QVIIFD::Entry* QVIIFD::findEntry(unsigned short tag) {
    return const_cast<Entry*>(static_cast<const QVIIFD*>(this)->findEntry(tag));
}

const QVIIFD::Entry* QVIIFD::getEntry(unsigned long index) const {
    return index < m_entries.size() ? m_entries[index] : nullptr;
}

QVStatus QVIIFD::readHeader(QVIOStreamInf& stream, bool& bigEndian, bool& bigTiff, unsigned long long& offset) {
    char order[2];
    if (!readBytes(stream, order, 2)) return readFailure();
    if (order[0] == 'I' && order[1] == 'I') {
        bigEndian = false;
    } else if (order[0] == 'M' && order[1] == 'M') {
        bigEndian = true;
    } else {
        return qviMetadataFailure(QVI_STS_Failure);
    }
    uint16_t version;
    if (!readInteger(stream, bigEndian, version)) return readFailure();
    if (version == 42) {
        bigTiff = false;
        return readOffset(stream, bigEndian, false, offset) ? 0 : readFailure();
    }
    if (version != 43) return readFailure();
    bigTiff = true;
    uint16_t offsetSize, reserved;
    if (!readInteger(stream, bigEndian, offsetSize) || !readInteger(stream, bigEndian, reserved) ||
        offsetSize != 8 || reserved != 0) {
        return readFailure();
    }
    return readOffset(stream, bigEndian, true, offset) ? 0 : readFailure();
}

QVStatus QVIIFD::readFirstIFD(QVIOStreamInf& stream) {
    bool bigEndian, bigTiff;
    return readFirstIFD(stream, bigEndian, bigTiff);
}

QVStatus QVIIFD::readFirstIFD(QVIOStreamInf& stream, bool& bigEndian, bool& bigTiff) {
    unsigned long long offset;
    const QVStatus status = readHeader(stream, bigEndian, bigTiff, offset);
    if (status != 0) return status;
    return readEntries(offset, stream, bigEndian, bigTiff);
}

QVStatus QVIIFD::readEntries(unsigned long long offset, QVIOStreamInf& stream, bool bigEndian, bool bigTiff) {
    Entry::ReadContext context;
    const QVStatus status = context.start(stream, bigTiff);
    return status != 0 ? status : readDirectory(offset, stream, bigEndian, bigTiff, nullptr, context);
}

QVStatus QVIIFD::readEntries(unsigned long long offset, QVIOStreamInf& stream, bool bigEndian, bool bigTiff,
                             unsigned long long& nextOffset) {
    Entry::ReadContext context;
    const QVStatus status = context.start(stream, bigTiff);
    return status != 0 ? status : readDirectory(offset, stream, bigEndian, bigTiff, &nextOffset, context);
}

QVStatus QVIIFD::readDirectory(unsigned long long offset, QVIOStreamInf& stream, bool bigEndian, bool bigTiff,
                               unsigned long long* nextOffset, Entry::ReadContext& context) {
    auto& open = context.openDirectories;
    if (open.size() >= kMaxDirectoryDepth || std::find(open.begin(), open.end(), offset) != open.end()) {
        return readFailure();
    }
    if (offset > static_cast<unsigned long long>(context.streamEnd) ||
        stream.seek(static_cast<int64_t>(offset), QVIO_SEEK_BEGIN) != 0) {
        return readFailure();
    }
    unsigned long long count;
    if (bigTiff) {
        if (!readOffset(stream, bigEndian, true, count)) return readFailure();
    } else {
        uint16_t shortCount;
        if (!readInteger(stream, bigEndian, shortCount)) return readFailure();
        count = shortCount;
    }
    open.push_back(offset);
    for (unsigned long long i = 0; i < count; ++i) {
        if (context.entryBudget == 0) return readFailure();
        --context.entryBudget;
        Entry* entry = new (std::nothrow) Entry();
        if (entry == nullptr) return qviMetadataFailure(QVI_STS_OutOfMemory);
        const QVStatus status = entry->read(stream, bigEndian, bigTiff, context);
        if (status != 0) {
            delete entry;
            return status;
        }
        const QVStatus added = addEntry(entry);
        if (added != 0) return added;
    }
    open.pop_back();
    if (nextOffset != nullptr && !readOffset(stream, bigEndian, bigTiff, *nextOffset)) return readFailure();
    return 0;
}

QVStatus QVIIFD::writeHeader(QVIOStreamInf& stream, bool bigEndian, bool bigTiff, unsigned long long offset) {
    const char* order = bigEndian ? "MM" : "II";
    if (!writeBytes(stream, order, 2) || !writeInteger<uint16_t>(stream, bigEndian, bigTiff ? 43 : 42)) {
        return writeFailure();
    }
    if (bigTiff && (!writeInteger<uint16_t>(stream, bigEndian, 8) || !writeInteger<uint16_t>(stream, bigEndian, 0))) {
        return writeFailure();
    }
    return writeOffset(stream, bigEndian, bigTiff, offset) ? 0 : writeFailure();
}

QVStatus QVIIFD::writeEntries(QVIOStreamInf& stream, bool bigEndian, bool bigTiff,
                              unsigned long long nextOffset) const {
    const bool countWritten = bigTiff ? writeInteger<uint64_t>(stream, bigEndian, m_entries.size())
                              : m_entries.size() <= std::numeric_limits<uint16_t>::max() &&
                                    writeInteger<uint16_t>(stream, bigEndian, static_cast<uint16_t>(m_entries.size()));
    if (!countWritten) return writeFailure();
    for (const Entry* entry : m_entries) {
        const QVStatus status = entry->writeEntry(stream, bigEndian, bigTiff);
        if (status != 0) return status;
    }
    return writeOffset(stream, bigEndian, bigTiff, nextOffset) ? 0 : writeFailure();
}

QVStatus QVIIFD::writeData(QVIOStreamInf& stream, bool bigEndian, bool bigTiff) {
    for (Entry* entry : m_entries) {
        const QVStatus status = entry->writeData(stream, bigEndian, bigTiff);
        if (status != 0) return status;
    }
    for (Entry* entry : m_entries) {
        QVIIFD* subIFD = entry->getSubIFD();
        if (subIFD == nullptr) continue;
        if (!holdsSubIFDOffset(entry->getType(), entry->getCount()) || !padToWord(stream)) return writeFailure();
        // The sub-directory's own values follow it, so it is written twice:
        // first to reserve its place, then with the offsets of those values.
        const int64_t position = stream.tell();
        if (position < 0) return writeFailure();
        QVStatus status = subIFD->writeEntries(stream, bigEndian, bigTiff, 0);
        if (status == 0) status = subIFD->writeData(stream, bigEndian, bigTiff);
        if (status != 0) return status;
        const int64_t end = stream.tell();
        if (end < 0 || stream.seek(position, QVIO_SEEK_BEGIN) != 0) return writeFailure();
        status = subIFD->writeEntries(stream, bigEndian, bigTiff, 0);
        if (status != 0) return status;
        if (stream.seek(end, QVIO_SEEK_BEGIN) != 0) return writeFailure();
        if (entry->getType() == kTypeLong) {
            if (position > std::numeric_limits<uint32_t>::max()) return writeFailure();
            const uint32_t value = static_cast<uint32_t>(position);
            std::memcpy(entry->getData(), &value, sizeof(value));
        } else {
            const uint64_t value = static_cast<uint64_t>(position);
            std::memcpy(entry->getData(), &value, sizeof(value));
        }
    }
    return 0;
}

QVStatus QVIIFD::write(QVIOStreamInf& stream, bool bigEndian, bool bigTiff) {
    const int64_t start = stream.tell();
    if (start < 0) return writeFailure();
    const unsigned long long firstOffset = static_cast<unsigned long long>(start) + (bigTiff ? 16 : 8);
    QVStatus status = writeHeader(stream, bigEndian, bigTiff, firstOffset);
    if (status == 0) status = writeEntries(stream, bigEndian, bigTiff, 0);
    if (status == 0) status = writeData(stream, bigEndian, bigTiff);
    if (status != 0) return status;
    const int64_t end = stream.tell();
    if (end < 0 || stream.seek(start, QVIO_SEEK_BEGIN) != 0) return writeFailure();
    status = writeHeader(stream, bigEndian, bigTiff, firstOffset);
    if (status == 0) status = writeEntries(stream, bigEndian, bigTiff, 0);
    if (status != 0) return status;
    return stream.seek(end, QVIO_SEEK_BEGIN) == 0 ? 0 : writeFailure();
}

void QVIIFD::dump(FILE* file) const {
    dump(file, 0, tiffTagToName);
}

void QVIIFD::dump(FILE* file, int indent, const char* (*tagToName)(int)) const {
    std::fprintf(file, "%*sIFD, %lu entries\n", indent, "", getNumEntries());
    for (const Entry* entry : m_entries) entry->dump(file, indent + 2, tagToName);
}

}  // namespace Orvanetics
