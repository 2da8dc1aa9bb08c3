// Writes 8-bit or 16-bit grey or RGB stages (with or without alpha) as PNG,
// strip by strip; or, with a palette size of 1 to 256, reads the whole scene
// and writes it with a median-cut palette.
//
//     PNGImageWriter writer;
//     QVStatus status = writer.initialize(stage);   // 50403 type, 50402 colour space
//     if (!status) status = writer.setOutputFileSpec("out.png");
//     if (!status) status = writer.write(QVIScene(0, 0, w, h, 1.0));
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "qvi_geoFileImageWriter.h"

namespace Orvanetics {

class QVIPixel;

class PNGImageWriter : public QVIGeoFileImageWriter {
public:
    static constexpr QVStatus kStsBadParam = 3;                   // "bad function parameter"
    static constexpr QVStatus kStsUnsupportedColorSpace = 50402;  // "unsupported colorspace"
    static constexpr QVStatus kStsUnsupportedDataType = 50403;    // "unsupported datatype"
    static constexpr QVStatus kStsStripWiderThanScene = 50027;    // "specified scene size differs from buffer size"
    static constexpr QVStatus kStsPNGOutOfMemory = 50464;         // "PNG: out of memory"
    static constexpr QVStatus kStsPNGLibError = 50465;            // "PNG: libpng error '%s'"

    static constexpr uint32_t kMaxPaletteSize = 256;

    PNGImageWriter();
    ~PNGImageWriter() override;

    // Retains the stage; U8 or U16 samples (50403), grey or RGB with or
    // without alpha (50402).
    QVStatus initialize(QVIImageStage* stage);
    QVStatus checkImpedance(const QVIPixel& pixel) const;

    // Marks the stage's no-data colour transparent (tRNS); needs a no-data pixel (3).
    QVStatus setWriteTransparencyColor(bool writeTransparencyColor);
    // Adds an alpha band, 0 where a pixel equals the no-data pixel and the
    // maximum elsewhere. Needs a no-data pixel (3); ignored for stages with alpha.
    QVStatus setAddAlphaBand(bool addAlphaBand);
    // zlib level 0 to 9; -1 (the default) keeps the library's.
    void setCompressionLevel(int16_t level) { m_compressionLevel = level; }
    // A set of PNG_FILTER_... flags; 0 (the default) keeps the library's.
    void setScanlineFilter(int filter) { m_scanlineFilter = filter; }
    // 1 to 256 writes an indexed image of at most that many colours (8-bit
    // samples); 0 writes the samples as they are.
    void setPaletteSize(uint32_t paletteSize) { m_paletteSizeAsked = paletteSize; }

    // With a palette size of 1 to 256 the whole scene is read at once and
    // quantised; otherwise the frame's strip loop.
    QVStatus write(const QVIScene& scene) override;
    QVStatus writeBegin(const QVIScene& scene) override;
    QVStatus writeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;
    QVStatus writeEnd() override;

    // The text of the last library failure.
    const std::string& getLibraryErrorText() const { return m_errorText; }

    // Library callbacks; not for callers. The error text is kept for the status.
    void onLibraryError(const char* message);
    // False when the output took fewer bytes than given.
    bool writeToOutput(const uint8_t* data, size_t length);

private:
    struct Library;

    bool isPaletteOutput() const;
    int getColorType() const;
    uint32_t getSamplesPerPixel() const;
    QVStatus createLibrary();
    QVStatus writePNGHeader(const QVIScene& scene);
    QVStatus composeRow(const QVISceneBuffer& buffer, uint32_t row);
    QVStatus finishLibrary();
    void destroyLibrary();
    QVStatus libraryFailure();

    QVStatus writePalettised(const QVIScene& scene);
    QVStatus writeIndexedRows(const std::vector<uint8_t>& indices, uint32_t width, uint32_t height);

    Library* m_library = nullptr;
    std::vector<std::array<uint8_t, 3>> m_palette;
    int m_transparentIndex = -1;
    bool m_writeTransparencyColor = false;
    bool m_addAlphaBand = false;
    uint32_t m_paletteSizeAsked = 0;
    int16_t m_compressionLevel = -1;
    int m_scanlineFilter = 0;
    std::string m_errorText;
    std::vector<uint8_t> m_rowBuffer;
    uint32_t m_rowsWritten = 0;
    uint32_t m_height = 0;
};

}  // namespace Orvanetics
