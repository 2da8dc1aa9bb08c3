// Directories of real TIFF files written by libtiff, read by QVIIFD and
// compared entry by entry with what libtiff itself reports.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "metadata_testStream.h"
#include "qvi_ifd.h"
#include "test_paths.h"

using namespace Orvanetics;

namespace {

struct Layout {
    const char* name;
    bool bigEndian;
    bool bigTiff;
    bool tiled;
    uint16_t bitsPerSample;
};

constexpr uint32_t kWidth = 37;
constexpr uint32_t kHeight = 21;
constexpr uint16_t kSamples = 3;

std::string tiffPath(const std::string& name) {
    static const std::string dir = TestPaths::tempDir("metadata_ifd");
    return dir + "/" + name + ".tif";
}

void setImageFields(TIFF* tif, const Layout& layout, uint32_t width) {
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, layout.bitsPerSample);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, kSamples);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    TIFFSetField(tif, TIFFTAG_XRESOLUTION, 72.5f);
    TIFFSetField(tif, TIFFTAG_YRESOLUTION, 300.0f);
    TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(tif, TIFFTAG_IMAGEDESCRIPTION, "a test image with a description of some length");
    TIFFSetField(tif, TIFFTAG_SOFTWARE, "ifd test");
    TIFFSetField(tif, TIFFTAG_DATETIME, "2024:05:06 07:08:09");
    if (layout.tiled) {
        TIFFSetField(tif, TIFFTAG_TILEWIDTH, 16u);
        TIFFSetField(tif, TIFFTAG_TILELENGTH, 16u);
    } else {
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 4u);
    }
}

bool writePixels(TIFF* tif, const Layout& layout, uint32_t width) {
    if (layout.tiled) {
        std::vector<uint8_t> tile(static_cast<size_t>(TIFFTileSize(tif)), 0x5A);
        for (uint32_t y = 0; y < kHeight; y += 16) {
            for (uint32_t x = 0; x < width; x += 16) {
                if (TIFFWriteTile(tif, tile.data(), x, y, 0, 0) < 0) return false;
            }
        }
        return true;
    }
    std::vector<uint8_t> line(static_cast<size_t>(TIFFScanlineSize(tif)), 0xA5);
    for (uint32_t y = 0; y < kHeight; ++y) {
        if (TIFFWriteScanline(tif, line.data(), y, 0) < 0) return false;
    }
    return true;
}

// Two pages, the second narrower, so that the chain of directories is there too.
bool writeTiff(const std::string& path, const Layout& layout) {
    std::string mode = "w";
    mode += layout.bigTiff ? "8" : "";
    mode += layout.bigEndian ? "b" : "l";
    TIFF* tif = TIFFOpen(path.c_str(), mode.c_str());
    if (tif == nullptr) return false;
    bool ok = true;
    for (uint32_t width : {kWidth, kWidth - 5}) {
        setImageFields(tif, layout, width);
        ok = ok && writePixels(tif, layout, width) && TIFFWriteDirectory(tif) == 1;
    }
    TIFFClose(tif);
    return ok;
}

std::vector<uint8_t> fileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

enum class TypeClass { Unsigned, Signed, Rational, Floating, Ascii, Undefined, Other };

TypeClass classOf(int type) {
    switch (type) {
        case TIFF_BYTE: case TIFF_SHORT: case TIFF_LONG: case TIFF_LONG8: case TIFF_IFD: case TIFF_IFD8:
            return TypeClass::Unsigned;
        case TIFF_SBYTE: case TIFF_SSHORT: case TIFF_SLONG: case TIFF_SLONG8: return TypeClass::Signed;
        case TIFF_RATIONAL: case TIFF_SRATIONAL: return TypeClass::Rational;
        case TIFF_FLOAT: case TIFF_DOUBLE: return TypeClass::Floating;
        case TIFF_ASCII: return TypeClass::Ascii;
        case TIFF_UNDEFINED: return TypeClass::Undefined;
        default: return TypeClass::Other;
    }
}

// One entry of ours against libtiff's reading of the same tag in the current directory.
void expectEntryAgrees(TIFF* tif, const QVIIFD::Entry& entry, bool bigTiff) {
    const uint16_t tag = entry.getTag();
    SCOPED_TRACE("tag " + std::to_string(tag));
    const TIFFField* field = TIFFFieldWithTag(tif, tag);
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(classOf(entry.getType()), classOf(TIFFFieldDataType(field)));
    if (!bigTiff) {
        EXPECT_LT(entry.getType(), 16);
    }

    switch (tag) {
        case TIFFTAG_IMAGEWIDTH: case TIFFTAG_IMAGELENGTH: case TIFFTAG_ROWSPERSTRIP:
        case TIFFTAG_TILEWIDTH: case TIFFTAG_TILELENGTH: {
            uint32_t value = 0;
            ASSERT_EQ(TIFFGetField(tif, tag, &value), 1);
            EXPECT_EQ(entry.getCount(), 1u);
            EXPECT_EQ(entry.getValueAsDouble(0), value);
            break;
        }
        case TIFFTAG_COMPRESSION: case TIFFTAG_PHOTOMETRIC: case TIFFTAG_ORIENTATION: case TIFFTAG_SAMPLESPERPIXEL:
        case TIFFTAG_PLANARCONFIG: case TIFFTAG_RESOLUTIONUNIT: {
            uint16_t value = 0;
            ASSERT_EQ(TIFFGetField(tif, tag, &value), 1);
            EXPECT_EQ(entry.getCount(), 1u);
            EXPECT_EQ(entry.getValueAsDouble(0), value);
            break;
        }
        case TIFFTAG_BITSPERSAMPLE: case TIFFTAG_SAMPLEFORMAT: {
            // One value a sample in the file; libtiff reports the common one.
            uint16_t value = 0;
            ASSERT_EQ(TIFFGetField(tif, tag, &value), 1);
            ASSERT_EQ(entry.getCount(), kSamples);
            for (unsigned long i = 0; i < kSamples; ++i) EXPECT_EQ(entry.getValueAsDouble(i), value);
            break;
        }
        case TIFFTAG_XRESOLUTION: case TIFFTAG_YRESOLUTION: {
            float value = 0;
            ASSERT_EQ(TIFFGetField(tif, tag, &value), 1);
            EXPECT_EQ(entry.getCount(), 1u);
            EXPECT_FLOAT_EQ(static_cast<float>(entry.getValueAsDouble(0)), value);
            break;
        }
        case TIFFTAG_IMAGEDESCRIPTION: case TIFFTAG_SOFTWARE: case TIFFTAG_DATETIME: {
            const char* value = nullptr;
            ASSERT_EQ(TIFFGetField(tif, tag, &value), 1);
            EXPECT_EQ(entry.getCount(), std::strlen(value) + 1);
            EXPECT_STREQ(static_cast<const char*>(entry.getData()), value);
            break;
        }
        case TIFFTAG_STRIPOFFSETS: case TIFFTAG_STRIPBYTECOUNTS: case TIFFTAG_TILEOFFSETS:
        case TIFFTAG_TILEBYTECOUNTS: {
            uint64_t* values = nullptr;
            ASSERT_EQ(TIFFGetField(tif, tag, &values), 1);
            const uint32_t count = TIFFIsTiled(tif) ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
            ASSERT_EQ(entry.getCount(), count);
            for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(entry.getValueAsDouble(i), static_cast<double>(values[i]));
            break;
        }
        default:
            ADD_FAILURE() << "a tag the test did not expect";
    }
}

class IFDFromLibtiff : public testing::TestWithParam<Layout> {};

}  // namespace

TEST_P(IFDFromLibtiff, EntriesAgreeWithLibtiff) {
    const Layout layout = GetParam();
    const std::string path = tiffPath(layout.name);
    ASSERT_TRUE(writeTiff(path, layout));

    MetadataTest::VectorStream stream(fileBytes(path));
    QVIIFD first;
    bool bigEndian = false, bigTiff = false;
    unsigned long long firstOffset = 0, secondOffset = 0;
    ASSERT_EQ(QVIIFD::readHeader(stream, bigEndian, bigTiff, firstOffset), 0u);
    EXPECT_EQ(bigEndian, layout.bigEndian);
    EXPECT_EQ(bigTiff, layout.bigTiff);
    ASSERT_EQ(first.readEntries(firstOffset, stream, bigEndian, bigTiff, secondOffset), 0u);
    ASSERT_NE(secondOffset, 0u);
    QVIIFD second;
    unsigned long long thirdOffset = 1;
    ASSERT_EQ(second.readEntries(secondOffset, stream, bigEndian, bigTiff, thirdOffset), 0u);
    EXPECT_EQ(thirdOffset, 0u);

    TIFF* tif = TIFFOpen(path.c_str(), "r");
    ASSERT_NE(tif, nullptr);
    EXPECT_EQ(TIFFCurrentDirOffset(tif), firstOffset);
    for (const QVIIFD* ifd : {&first, &second}) {
        // Every tag libtiff's reading knows of is there, and nothing else.
        const uint16_t expectedTags[] = {
            TIFFTAG_IMAGEWIDTH,  TIFFTAG_IMAGELENGTH,      TIFFTAG_BITSPERSAMPLE, TIFFTAG_COMPRESSION,
            TIFFTAG_PHOTOMETRIC, TIFFTAG_IMAGEDESCRIPTION, TIFFTAG_ORIENTATION,   TIFFTAG_SAMPLESPERPIXEL,
            TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION,      TIFFTAG_PLANARCONFIG,  TIFFTAG_RESOLUTIONUNIT,
            TIFFTAG_SOFTWARE,    TIFFTAG_DATETIME,         TIFFTAG_SAMPLEFORMAT};
        for (uint16_t tag : expectedTags) EXPECT_NE(ifd->findEntry(tag), nullptr) << tag;
        const uint16_t layoutTags[] = {TIFFTAG_ROWSPERSTRIP, TIFFTAG_STRIPOFFSETS, TIFFTAG_STRIPBYTECOUNTS,
                                       TIFFTAG_TILEWIDTH,    TIFFTAG_TILELENGTH,   TIFFTAG_TILEOFFSETS,
                                       TIFFTAG_TILEBYTECOUNTS};
        for (uint16_t tag : layoutTags) {
            const bool tileTag = tag >= TIFFTAG_TILEWIDTH && tag <= TIFFTAG_TILEBYTECOUNTS;
            EXPECT_EQ(ifd->findEntry(tag) != nullptr, tileTag == layout.tiled) << tag;
        }
        EXPECT_EQ(ifd->getNumEntries(), std::size(expectedTags) + (layout.tiled ? 4 : 3));
        for (unsigned long i = 0; i < ifd->getNumEntries(); ++i) expectEntryAgrees(tif, *ifd->getEntry(i), bigTiff);
        if (ifd == &first) {
            ASSERT_EQ(TIFFReadDirectory(tif), 1);
            EXPECT_EQ(TIFFCurrentDirOffset(tif), secondOffset);
        }
    }
    EXPECT_EQ(second.findEntry(TIFFTAG_IMAGEWIDTH)->getValueAsDouble(0), kWidth - 5);
    TIFFClose(tif);
}

INSTANTIATE_TEST_SUITE_P(Layouts, IFDFromLibtiff,
                         testing::Values(Layout{"stripped_le", false, false, false, 8},
                                         Layout{"stripped_be", true, false, false, 16},
                                         Layout{"tiled_le", false, false, true, 16},
                                         Layout{"tiled_be", true, false, true, 8},
                                         Layout{"bigtiff_stripped_le", false, true, false, 8},
                                         Layout{"bigtiff_tiled_be", true, true, true, 16}),
                         [](const testing::TestParamInfo<Layout>& info) { return std::string(info.param.name); });

// An Exif sub-directory that libtiff writes as a custom directory.
TEST(IFDFromLibtiffExif, SubDirectoryAgreesWithLibtiff) {
    for (const char* mode : {"wl", "wb", "w8l"}) {
        SCOPED_TRACE(mode);
        const std::string path = tiffPath(std::string("exif_") + mode);
        TIFF* tif = TIFFOpen(path.c_str(), mode);
        ASSERT_NE(tif, nullptr);
        const Layout layout{"exif", false, false, false, 8};
        setImageFields(tif, layout, kWidth);
        TIFFSetField(tif, TIFFTAG_EXIFIFD, static_cast<uint64_t>(0));
        ASSERT_TRUE(writePixels(tif, layout, kWidth));
        ASSERT_EQ(TIFFWriteDirectory(tif), 1);
        ASSERT_EQ(TIFFCreateEXIFDirectory(tif), 0);
        TIFFSetField(tif, EXIFTAG_DATETIMEORIGINAL, "2023:12:31 23:59:58");
        TIFFSetField(tif, EXIFTAG_EXPOSURETIME, 0.004);
        TIFFSetField(tif, EXIFTAG_ISOSPEEDRATINGS, 2, std::vector<uint16_t>{100, 200}.data());
        uint64_t exifOffset = 0;
        ASSERT_EQ(TIFFWriteCustomDirectory(tif, &exifOffset), 1);
        ASSERT_EQ(TIFFSetDirectory(tif, 0), 1);
        TIFFSetField(tif, TIFFTAG_EXIFIFD, exifOffset);
        ASSERT_EQ(TIFFRewriteDirectory(tif), 1);
        TIFFClose(tif);

        MetadataTest::VectorStream stream(fileBytes(path));
        QVIIFD ifd;
        bool bigEndian = false, bigTiff = false;
        ASSERT_EQ(ifd.readFirstIFD(stream, bigEndian, bigTiff), 0u);
        const QVIIFD::Entry* pointer = ifd.findEntry(QVIIFD::kTagExifIFD);
        ASSERT_NE(pointer, nullptr);
        // libtiff stores the pointer as type IFD or IFD8; only Long and Long8
        // pointers are followed, so the sub-directory comes out empty and is
        // read here from the pointer's value.
        EXPECT_EQ(pointer->getType(), bigTiff ? TIFF_IFD8 : TIFF_IFD);
        ASSERT_NE(pointer->getSubIFD(), nullptr);
        EXPECT_EQ(pointer->getSubIFD()->getNumEntries(), 0u);
        QVIIFD exifIFD;
        ASSERT_EQ(exifIFD.readEntries(static_cast<unsigned long long>(pointer->getValueAsDouble(0)), stream, bigEndian,
                                      bigTiff),
                  0u);
        const QVIIFD* exif = &exifIFD;

        tif = TIFFOpen(path.c_str(), "r");
        ASSERT_NE(tif, nullptr);
        uint64_t offset = 0;
        ASSERT_EQ(TIFFGetField(tif, TIFFTAG_EXIFIFD, &offset), 1);
        EXPECT_EQ(pointer->getValueAsDouble(0), static_cast<double>(offset));
        ASSERT_EQ(TIFFReadEXIFDirectory(tif, offset), 1);
        const char* date = nullptr;
        ASSERT_EQ(TIFFGetField(tif, EXIFTAG_DATETIMEORIGINAL, &date), 1);
        const QVIIFD::Entry* dateEntry = exif->findEntry(EXIFTAG_DATETIMEORIGINAL);
        ASSERT_NE(dateEntry, nullptr);
        EXPECT_STREQ(static_cast<const char*>(dateEntry->getData()), date);
        // libtiff hands this rational out as a float.
        float exposure = 0;
        ASSERT_EQ(TIFFGetField(tif, EXIFTAG_EXPOSURETIME, &exposure), 1);
        const QVIIFD::Entry* exposureEntry = exif->findEntry(EXIFTAG_EXPOSURETIME);
        ASSERT_NE(exposureEntry, nullptr);
        EXPECT_EQ(exposureEntry->getType(), TIFF_RATIONAL);
        EXPECT_FLOAT_EQ(static_cast<float>(exposureEntry->getValueAsDouble(0)), exposure);
        uint16_t isoCount = 0;
        uint16_t* iso = nullptr;
        ASSERT_EQ(TIFFGetField(tif, EXIFTAG_ISOSPEEDRATINGS, &isoCount, &iso), 1);
        const QVIIFD::Entry* isoEntry = exif->findEntry(EXIFTAG_ISOSPEEDRATINGS);
        ASSERT_NE(isoEntry, nullptr);
        ASSERT_EQ(isoEntry->getCount(), isoCount);
        for (uint16_t i = 0; i < isoCount; ++i) EXPECT_EQ(isoEntry->getValueAsDouble(i), iso[i]);
        TIFFClose(tif);
    }
}
