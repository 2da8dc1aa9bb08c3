#include "PNGImageWriter.h"

#include <png.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "qv_ioStreamInf.h"
#include "qvi_imageStage.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "qvi_utils.h"

namespace Orvanetics {

// ---------------------------------------------------------------------------
// libpng reports failures by longjmp. Every call into it therefore happens in
// one of the plain functions below, which set the jump target and hold no
// object with a destructor, so that a jump skips no clean-up.

struct PNGImageWriter::Library {
    png_structp png = nullptr;
    png_infop info = nullptr;
};

namespace {

// Everything the header chunks need, as plain values.
struct HeaderChunks {
    uint32_t width;
    uint32_t height;
    int bitDepth;
    int colorType;
    const png_color* palette;
    int paletteSize;
    bool hasBackground;
    png_color_16 background;
    bool hasTransparency;
    png_color_16 transparentColor;
    png_byte transparentAlpha[PNGImageWriter::kMaxPaletteSize];
    int transparentAlphaCount;
    int compressionLevel;
    int filter;
};

bool pngWriteHeader(png_structp png, png_infop info, const HeaderChunks* chunks)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_set_IHDR(png, info, chunks->width, chunks->height, chunks->bitDepth, chunks->colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (chunks->colorType == PNG_COLOR_TYPE_PALETTE)
        png_set_PLTE(png, info, chunks->palette, chunks->paletteSize);
    if (chunks->hasBackground)
        png_set_bKGD(png, info, &chunks->background);
    if (chunks->hasTransparency) {
        png_set_tRNS(png, info, chunks->transparentAlpha, chunks->transparentAlphaCount,
                     &chunks->transparentColor);
    }
    if (chunks->compressionLevel >= 0)
        png_set_compression_level(png, chunks->compressionLevel);
    if (chunks->filter != 0)
        png_set_filter(png, PNG_FILTER_TYPE_BASE, chunks->filter);
    png_write_info(png, info);
    // PNG samples are big-endian, ours are in host order.
    if (chunks->bitDepth == 16)
        png_set_swap(png);
    return true;
}

bool pngWriteRow(png_structp png, png_bytep row)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_write_rows(png, &row, 1);
    return true;
}

bool pngWriteImage(png_structp png, png_bytepp rows)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_write_image(png, rows);
    return true;
}

bool pngWriteEnd(png_structp png, png_infop info)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_write_end(png, info);
    return true;
}

void onError(png_structp png, png_const_charp message)
{
    static_cast<PNGImageWriter*>(png_get_error_ptr(png))->onLibraryError(message);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void onWrite(png_structp png, png_bytep data, size_t length)
{
    if (!static_cast<PNGImageWriter*>(png_get_io_ptr(png))->writeToOutput(data, length))
        png_error(png, "Write Error");
}

void onFlush(png_structp) {}

// ---------------------------------------------------------------------------
// Row composition: interleaved samples in band order, then the added alpha.

template <typename T>
void interleaveRow(const QVISceneBuffer& buffer, uint32_t row, const QVIPixel* noData,
                   bool addAlpha, T* out)
{
    const uint16_t bands = buffer.getNumBands();
    const uint32_t step = bands + (addAlpha ? 1 : 0);
    for (uint16_t band = 0; band < bands; ++band) {
        const T* in = static_cast<const T*>(buffer.getSample(0, row, band));
        for (uint32_t col = 0; col < buffer.getNumCols(); ++col)
            out[size_t(col) * step + band] = in[col];
    }
    if (!addAlpha)
        return;
    T noDataValues[4] = {};
    for (uint16_t band = 0; band < bands && band < 4; ++band)
        noDataValues[band] = noData->getSampleValue<T>(band);
    for (uint32_t col = 0; col < buffer.getNumCols(); ++col) {
        T* pixel = out + size_t(col) * step;
        bool isNoData = true;
        for (uint16_t band = 0; band < bands; ++band)
            isNoData = isNoData && pixel[band] == noDataValues[band];
        pixel[bands] = isNoData ? T(0) : std::numeric_limits<T>::max();
    }
}

// ---------------------------------------------------------------------------
// Median cut over a histogram of 5 bits per channel.

constexpr uint32_t kNumCells = 32768;
// Marks a pixel that takes the transparent entry instead of a cell's.
constexpr uint16_t kTransparentPixel = 0x8000;

uint16_t cellIndex(uint8_t red, uint8_t green, uint8_t blue)
{
    return uint16_t((uint32_t(red >> 3) << 10) | (uint32_t(green >> 3) << 5) | (blue >> 3));
}

struct HistogramCell {
    uint8_t channel[3] = {};  // the 5-bit red, green and blue of the cell
    uint32_t count = 0;
    uint64_t sum[3] = {};     // of the 8-bit samples that fell into it
};

// Orders cells on one channel, then on the two others in cyclic order.
struct SortCmpRtn {
    int channel;
    bool operator()(const HistogramCell* a, const HistogramCell* b) const
    {
        for (int k = 0; k < 3; ++k) {
            const int c = (channel + k) % 3;
            if (a->channel[c] != b->channel[c])
                return a->channel[c] < b->channel[c];
        }
        return false;
    }
};

class MedianCut {
public:
    MedianCut() : m_cells(kNumCells)
    {
        for (uint32_t index = 0; index < kNumCells; ++index) {
            m_cells[index].channel[0] = uint8_t(index >> 10);
            m_cells[index].channel[1] = uint8_t((index >> 5) & 31);
            m_cells[index].channel[2] = uint8_t(index & 31);
        }
    }

    void add(uint16_t cell, uint8_t red, uint8_t green, uint8_t blue)
    {
        HistogramCell& entry = m_cells[cell];
        ++entry.count;
        entry.sum[0] += red;
        entry.sum[1] += green;
        entry.sum[2] += blue;
    }

    // At most `wanted` entries; cellToEntry maps every occupied cell to its entry.
    std::vector<std::array<uint8_t, 3>> build(uint32_t wanted, std::vector<uint8_t>& cellToEntry)
    {
        std::vector<HistogramCell*> occupied;
        for (HistogramCell& cell : m_cells) {
            if (cell.count != 0)
                occupied.push_back(&cell);
        }
        std::vector<Box> boxes;
        if (!occupied.empty())
            boxes.push_back({0, occupied.size(), totalCount(occupied, 0, occupied.size())});
        while (boxes.size() < wanted && splitLargestBox(occupied, boxes)) {
        }
        std::vector<std::array<uint8_t, 3>> palette;
        cellToEntry.assign(kNumCells, 0);
        for (const Box& box : boxes) {
            uint64_t sums[3] = {};
            for (size_t i = box.first; i < box.last; ++i) {
                for (int c = 0; c < 3; ++c)
                    sums[c] += occupied[i]->sum[c];
                cellToEntry[size_t(occupied[i] - m_cells.data())] = uint8_t(palette.size());
            }
            std::array<uint8_t, 3> entry{};
            for (int c = 0; c < 3; ++c)
                entry[c] = uint8_t((sums[c] + box.count / 2) / box.count);
            palette.push_back(entry);
        }
        return palette;
    }

private:
    struct Box {
        size_t first;
        size_t last;  // one past the box's last cell
        uint64_t count;
    };

    static uint64_t totalCount(const std::vector<HistogramCell*>& cells, size_t first, size_t last)
    {
        uint64_t count = 0;
        for (size_t i = first; i < last; ++i)
            count += cells[i]->count;
        return count;
    }

    // Splits the most populous box of two or more cells along its widest
    // channel at the median of its pixel count; false when none can be split.
    static bool splitLargestBox(std::vector<HistogramCell*>& cells, std::vector<Box>& boxes)
    {
        Box* largest = nullptr;
        for (Box& box : boxes) {
            if (box.last - box.first >= 2 && (!largest || box.count > largest->count))
                largest = &box;
        }
        if (!largest)
            return false;
        int widest = 0;
        int widestRange = -1;
        for (int c = 0; c < 3; ++c) {
            int low = 31;
            int high = 0;
            for (size_t i = largest->first; i < largest->last; ++i) {
                low = std::min<int>(low, cells[i]->channel[c]);
                high = std::max<int>(high, cells[i]->channel[c]);
            }
            if (high - low > widestRange) {
                widestRange = high - low;
                widest = c;
            }
        }
        std::sort(cells.begin() + std::ptrdiff_t(largest->first),
                  cells.begin() + std::ptrdiff_t(largest->last), SortCmpRtn{widest});
        size_t split = largest->first + 1;
        uint64_t below = cells[largest->first]->count;
        while (split + 1 < largest->last && below < largest->count / 2)
            below += cells[split++]->count;
        const Box upper{split, largest->last, largest->count - below};
        largest->last = split;
        largest->count = below;
        boxes.push_back(upper);
        return true;
    }

    std::vector<HistogramCell> m_cells;
};

// The histogram cell of every pixel (8-bit colours: the top byte of wider
// samples), or kTransparentPixel for a no-data pixel when it takes its own entry.
template <typename T>
void gatherCells(const QVISceneBuffer& image, bool grey, const QVIPixel* transparent,
                 MedianCut& cut, std::vector<uint16_t>& cells)
{
    constexpr int shift = 8 * (int(sizeof(T)) - 1);
    const uint16_t colourBands = grey ? 1 : 3;
    T transparentValues[3] = {};
    if (transparent) {
        for (uint16_t band = 0; band < colourBands; ++band)
            transparentValues[band] = transparent->getSampleValue<T>(band);
    }
    size_t pixel = 0;
    for (uint32_t row = 0; row < image.getNumRows(); ++row) {
        const T* planes[3];
        for (uint16_t band = 0; band < 3; ++band)
            planes[band] = static_cast<const T*>(image.getSample(0, row, grey ? 0 : band));
        for (uint32_t col = 0; col < image.getNumCols(); ++col, ++pixel) {
            bool isTransparent = transparent != nullptr;
            for (uint16_t band = 0; band < colourBands; ++band)
                isTransparent = isTransparent && planes[band][col] == transparentValues[band];
            if (isTransparent) {
                cells[pixel] = kTransparentPixel;
                continue;
            }
            const uint8_t red = uint8_t(planes[0][col] >> shift);
            const uint8_t green = uint8_t(planes[1][col] >> shift);
            const uint8_t blue = uint8_t(planes[2][col] >> shift);
            cells[pixel] = cellIndex(red, green, blue);
            cut.add(cells[pixel], red, green, blue);
        }
    }
}

}  // namespace

// ---------------------------------------------------------------------------

PNGImageWriter::PNGImageWriter() : QVIGeoFileImageWriter(true) {}

PNGImageWriter::~PNGImageWriter()
{
    destroyLibrary();
}

QVStatus PNGImageWriter::initialize(QVIImageStage* stage)
{
    if (const QVStatus status = init(stage))
        return status;
    return checkImpedance(stage->getPixelProps());
}

QVStatus PNGImageWriter::checkImpedance(const QVIPixel& pixel) const
{
    const QVIDataType dataType = pixel.getDataType();
    if (dataType != QVI_DATATYPE_UINT8 && dataType != QVI_DATATYPE_UINT16)
        return kStsUnsupportedDataType;
    const QVIColorSpace colorSpace = pixel.getColorSpaceWithoutAlpha();
    const uint16_t colourBands = pixel.getNumBandsWithoutAlpha();
    const bool grey = colorSpace == QVI_COLORSPACE_GRAYSCALE && colourBands == 1;
    const bool rgb = colorSpace == QVI_COLORSPACE_RGB && colourBands == 3;
    return (grey || rgb) ? 0 : kStsUnsupportedColorSpace;
}

QVStatus PNGImageWriter::setWriteTransparencyColor(bool writeTransparencyColor)
{
    const QVIImageStage* stage = getSourceImageStage();
    if (writeTransparencyColor && (!stage || !stage->getNoDataPixel()))
        return kStsBadParam;
    m_writeTransparencyColor = writeTransparencyColor;
    return 0;
}

QVStatus PNGImageWriter::setAddAlphaBand(bool addAlphaBand)
{
    const QVIImageStage* stage = getSourceImageStage();
    if (stage && stage->getPixelProps().hasAlphaBand()) {
        m_addAlphaBand = false;
        return 0;
    }
    if (addAlphaBand && (!stage || !stage->getNoDataPixel()))
        return kStsBadParam;
    m_addAlphaBand = addAlphaBand;
    return 0;
}

void PNGImageWriter::onLibraryError(const char* message)
{
    m_errorText = message ? message : "";
}

bool PNGImageWriter::writeToOutput(const uint8_t* data, size_t length)
{
    QVIOStreamInf* stream = getOutputStream();
    while (stream && length > 0) {
        const uint32_t chunk = uint32_t(std::min<size_t>(length, 1u << 30));
        if (stream->write(data, chunk) != chunk)
            return false;
        data += chunk;
        length -= chunk;
    }
    return stream != nullptr;
}

QVStatus PNGImageWriter::libraryFailure()
{
    QVUtilStatusData::pushBegin(kStsPNGLibError);
    QVUtilStatusData::pushString(m_errorText.c_str());
    QVUtilStatusData::pushEnd();
    return kStsPNGLibError;
}

bool PNGImageWriter::isPaletteOutput() const
{
    return m_paletteSizeAsked >= 1 && m_paletteSizeAsked <= kMaxPaletteSize;
}

int PNGImageWriter::getColorType() const
{
    if (isPaletteOutput())
        return PNG_COLOR_TYPE_PALETTE;
    const QVIPixel& pixel = getSourceImageStage()->getPixelProps();
    const bool rgb = pixel.getColorSpaceWithoutAlpha() == QVI_COLORSPACE_RGB;
    if (m_addAlphaBand || pixel.hasAlphaBand())
        return rgb ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_GRAY_ALPHA;
    return rgb ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
}

uint32_t PNGImageWriter::getSamplesPerPixel() const
{
    return getSourceImageStage()->getPixelProps().getNumBands() + (m_addAlphaBand ? 1 : 0);
}

void PNGImageWriter::destroyLibrary()
{
    if (!m_library)
        return;
    png_destroy_write_struct(&m_library->png, m_library->info ? &m_library->info : nullptr);
    delete m_library;
    m_library = nullptr;
}

QVStatus PNGImageWriter::createLibrary()
{
    destroyLibrary();
    m_errorText.clear();
    m_library = new (std::nothrow) Library();
    if (!m_library)
        return kStsPNGOutOfMemory;
    m_library->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    if (m_library->png)
        m_library->info = png_create_info_struct(m_library->png);
    if (!m_library->png || !m_library->info)
        return kStsPNGOutOfMemory;
    png_set_write_fn(m_library->png, this, onWrite, onFlush);
    return 0;
}

QVStatus PNGImageWriter::writeBegin(const QVIScene& scene)
{
    if (const QVStatus status = QVIGeoFileImageWriter::writeBegin(scene))
        return status;
    if (const QVStatus status = createLibrary())
        return writeCleanup(status);
    if (const QVStatus status = writePNGHeader(scene))
        return writeCleanup(status);
    return 0;
}

QVStatus PNGImageWriter::writePNGHeader(const QVIScene& scene)
{
    const QVIImageStage& stage = *getSourceImageStage();
    const QVIPixel& pixel = stage.getPixelProps();
    if (const QVStatus status = checkImpedance(pixel))
        return status;
    HeaderChunks chunks{};
    chunks.width = uint32_t(std::max(scene.getNumCols(), 0));
    chunks.height = uint32_t(std::max(scene.getNumRows(), 0));
    chunks.colorType = getColorType();
    const bool palette = chunks.colorType == PNG_COLOR_TYPE_PALETTE;
    chunks.bitDepth = palette ? 8 : int(8 * pixel.getMaxBytesPerSample());
    chunks.compressionLevel = m_compressionLevel;
    chunks.filter = m_scanlineFilter;
    std::vector<png_color> entries(m_palette.size());
    for (size_t i = 0; i < m_palette.size(); ++i)
        entries[i] = {m_palette[i][0], m_palette[i][1], m_palette[i][2]};
    chunks.palette = entries.data();
    chunks.paletteSize = int(entries.size());

    // Values of a pixel as PNG colour fields: grey, or red, green and blue.
    const bool rgb = pixel.getColorSpaceWithoutAlpha() == QVI_COLORSPACE_RGB;
    auto toColour = [&](const QVIPixel& value, png_color_16& colour) {
        auto sample = [&](uint16_t band) { return png_uint_16(value.getSample(band).getValueAsDouble()); };
        colour.gray = sample(0);
        colour.red = sample(0);
        colour.green = sample(rgb ? 1 : 0);
        colour.blue = sample(rgb ? 2 : 0);
    };
    auto nearestEntry = [&](const png_color_16& colour) {
        int best = 0;
        int bestDistance = std::numeric_limits<int>::max();
        const int shift = pixel.getMaxBytesPerSample() > 1 ? 8 : 0;
        for (size_t i = 0; i < m_palette.size(); ++i) {
            const int dr = int(m_palette[i][0]) - (colour.red >> shift);
            const int dg = int(m_palette[i][1]) - (colour.green >> shift);
            const int db = int(m_palette[i][2]) - (colour.blue >> shift);
            const int distance = dr * dr + dg * dg + db * db;
            if (distance < bestDistance && int(i) != m_transparentIndex) {
                best = int(i);
                bestDistance = distance;
            }
        }
        return png_byte(best);
    };
    if (const QVIPixel* background = stage.getBackgroundPixel()) {
        chunks.hasBackground = true;
        toColour(*background, chunks.background);
        if (palette)
            chunks.background.index = nearestEntry(chunks.background);
    }
    const bool hasAlpha = chunks.colorType & PNG_COLOR_MASK_ALPHA;
    if (m_writeTransparencyColor && !hasAlpha) {
        chunks.hasTransparency = true;
        toColour(*stage.getNoDataPixel(), chunks.transparentColor);
        if (palette && m_transparentIndex >= 0) {
            std::fill(std::begin(chunks.transparentAlpha), std::end(chunks.transparentAlpha), 255);
            chunks.transparentAlpha[m_transparentIndex] = 0;
            chunks.transparentAlphaCount = m_transparentIndex + 1;
        }
        chunks.hasTransparency = !palette || m_transparentIndex >= 0;
    }
    const size_t rowBytes = size_t(chunks.width) * getSamplesPerPixel() * pixel.getMaxBytesPerSample();
    try {
        m_rowBuffer.assign(palette ? 0 : rowBytes, 0);
    } catch (const std::bad_alloc&) {
        return kStsPNGOutOfMemory;
    }
    m_rowsWritten = 0;
    m_height = chunks.height;
    if (!pngWriteHeader(m_library->png, m_library->info, &chunks))
        return libraryFailure();
    return 0;
}

QVStatus PNGImageWriter::composeRow(const QVISceneBuffer& buffer, uint32_t row)
{
    const QVIPixel* noData = getSourceImageStage()->getNoDataPixel();
    switch (buffer.getPixelProps().getDataType()) {
    case QVI_DATATYPE_UINT8:
        interleaveRow(buffer, row, noData, m_addAlphaBand, m_rowBuffer.data());
        return 0;
    case QVI_DATATYPE_UINT16:
        interleaveRow(buffer, row, noData, m_addAlphaBand,
                      reinterpret_cast<uint16_t*>(m_rowBuffer.data()));
        return 0;
    default:
        return kStsUnsupportedDataType;
    }
}

QVStatus PNGImageWriter::writeStrip(QVISceneBuffer& buffer, const QVIScene&)
{
    if (!m_library)
        return kStsNullPointer;
    const size_t needed = size_t(buffer.getNumCols()) * getSamplesPerPixel() *
                          buffer.getPixelProps().getMaxBytesPerSample();
    if (needed > m_rowBuffer.size())
        return kStsStripWiderThanScene;
    for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
        if (const QVStatus status = composeRow(buffer, row))
            return status;
        if (!pngWriteRow(m_library->png, m_rowBuffer.data()))
            return libraryFailure();
        ++m_rowsWritten;
    }
    return 0;
}

QVStatus PNGImageWriter::finishLibrary()
{
    if (!m_library)
        return 0;
    // An image cut short by an earlier failure is only discarded, so that the
    // details of that failure stay the thread's last.
    const bool complete = m_rowsWritten == m_height;
    const bool finished = complete && pngWriteEnd(m_library->png, m_library->info);
    destroyLibrary();
    if (finished)
        return 0;
    return complete ? libraryFailure() : kStsPNGLibError;
}

QVStatus PNGImageWriter::writeEnd()
{
    if (const QVStatus status = finishLibrary()) {
        QVIGeoFileImageWriter::writeEnd();
        deleteOutput();
        return status;
    }
    return QVIGeoFileImageWriter::writeEnd();
}

// ---------------------------------------------------------------------------
// The palette path

QVStatus PNGImageWriter::write(const QVIScene& scene)
{
    if (!isPaletteOutput())
        return QVIImageWriter::write(scene);
    if (!getSourceImageStage())
        return kStsNullPointer;
    return writePalettised(scene);
}

QVStatus PNGImageWriter::writePalettised(const QVIScene& scene)
{
    QVIImageStage& stage = *getSourceImageStage();
    const QVIPixel& pixel = stage.getPixelProps();
    if (const QVStatus status = checkImpedance(pixel))
        return status;
    const uint32_t width = uint32_t(std::max(scene.getNumCols(), 0));
    const uint32_t height = uint32_t(std::max(scene.getNumRows(), 0));
    std::vector<uint8_t> indices;
    {
        std::unique_ptr<QVISceneBuffer> image;
        std::vector<uint16_t> cells;
        try {
            image.reset(new QVISceneBuffer(pixel, width, height));
            cells.resize(size_t(width) * height);
            indices.resize(size_t(width) * height);
        } catch (const QVUtilException& exception) {
            return exception.getStatus();
        } catch (const std::bad_alloc&) {
            return kStsStripAllocFailed;
        }
        if (stage.getBackgroundPixel() == nullptr)
            image->zero();
        if (const QVStatus status = stage.read(scene, *image))
            return status;

        const bool transparency = m_writeTransparencyColor && stage.getNoDataPixel();
        const bool grey = pixel.getColorSpaceWithoutAlpha() == QVI_COLORSPACE_GRAYSCALE;
        const QVIPixel* transparent = transparency ? stage.getNoDataPixel() : nullptr;
        MedianCut cut;
        if (pixel.getDataType() == QVI_DATATYPE_UINT8)
            gatherCells<uint8_t>(*image, grey, transparent, cut, cells);
        else
            gatherCells<uint16_t>(*image, grey, transparent, cut, cells);
        // One entry is set aside for the transparent colour.
        const uint32_t wanted =
            std::max<uint32_t>(1, m_paletteSizeAsked - ((transparency && m_paletteSizeAsked > 1) ? 1 : 0));
        std::vector<uint8_t> cellToEntry;
        m_palette = cut.build(wanted, cellToEntry);
        m_transparentIndex = -1;
        if (transparency) {
            m_transparentIndex = int(std::min<size_t>(m_palette.size(), m_paletteSizeAsked - 1));
            if (size_t(m_transparentIndex) == m_palette.size()) {
                const QVIPixel& noData = *stage.getNoDataPixel();
                const int shift = pixel.getMaxBytesPerSample() > 1 ? 8 : 0;
                auto channel = [&](uint16_t band) {
                    return uint8_t(uint32_t(noData.getSample(grey ? 0 : band).getValueAsDouble()) >> shift);
                };
                m_palette.push_back({channel(0), channel(1), channel(2)});
            }
        }
        for (size_t i = 0; i < cells.size(); ++i)
            indices[i] = cells[i] == kTransparentPixel ? uint8_t(m_transparentIndex) : cellToEntry[cells[i]];
    }

    if (const QVStatus status = writeBegin(scene))
        return status;
    if (const QVStatus status = checkDelegates(scene, nullptr, false))
        return writeCleanup(status);
    if (const QVStatus status = writeIndexedRows(indices, width, height))
        return writeCleanup(status);
    if (const QVStatus status = checkDelegates(scene, nullptr, true))
        return writeCleanup(status);
    return writeEnd();
}

QVStatus PNGImageWriter::writeIndexedRows(const std::vector<uint8_t>& indices, uint32_t width,
                                          uint32_t height)
{
    std::vector<png_bytep> rows(height);
    for (uint32_t row = 0; row < height; ++row)
        rows[row] = const_cast<png_bytep>(indices.data() + size_t(row) * width);
    if (!pngWriteImage(m_library->png, rows.data()))
        return libraryFailure();
    m_rowsWritten = height;
    return 0;
}

}  // namespace Orvanetics
