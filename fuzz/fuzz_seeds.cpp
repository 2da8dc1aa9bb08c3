// Writes the seed corpus of every fuzz target: small well-formed inputs of
// each layout and kind, made by the test fixture writers, so the fuzzers
// start from files that go deep into each parser.
//
//   fuzz_seeds <directory>     -> <directory>/<target>/<seed name>
//
// Deterministic: the same build writes the same bytes.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "qv_ioDynamicMemStream.h"
#include "qvi_ifd.h"
#include "tavix_imageWriter.h"
#include "tavix_planesetWriter.h"
#include "xr3_georefData.h"
#include "xr3_headerPacket.h"
#include "xr3_mdBox.h"
#include "xr3_metadata.h"

using namespace Orvanetics;
using namespace TavixFixture;
using Bytes = std::vector<uint8_t>;

namespace {

std::filesystem::path g_root;

void writeSeed(const std::string& target, const std::string& name, const Bytes& bytes)
{
    const std::filesystem::path folder = g_root / target;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

void writeSeed(const std::string& target, const std::string& name, const std::string& text)
{
    writeSeed(target, name, Bytes(text.begin(), text.end()));
}

// What a writer put into a growing memory stream.
template <class Write>
Bytes captureBytes(Write&& write)
{
    QVIODynamicMemStream stream;
    stream.initialize(256);
    stream.open();
    write(stream);
    return Bytes(stream.getData(), stream.getData() + stream.getLength());
}

void writeBBBSeeds()
{
    writeSeed("bbbHeader", "gray_u8", "NROWS 20\nNCOLS 30\nNBANDS 1\nNBITS 8\nLAYOUT BIL\n");
    writeSeed("bbbHeader", "rgb_geo",
              "# comment\nnrows: 10\nncols: 12\nnbands 3\nnbits 16\nbyteorder M\nlayout bip\n"
              "colorspace RGB\nulxmap 500000.5\nulymap 4200000.5\nxdim 10\nydim 10\n"
              "bandrowbytes 24\ntotalrowbytes 72\nskipbytes 0\nnodata 0 0 0\n");
    writeSeed("bbbHeader", "float_grid",
              "ncols 4\nnrows 4\nxllcorner 100\nyllcorner 200\ncellsize 0.5\nNODATA_VALUE -9999\n"
              "datatype F32\nbyte_order LSBFIRST\ndynamicrangemin 0\ndynamicrangemax 100\n");
    writeSeed("bbbHeader", "projection",
              "NROWS 2\nNCOLS 2\nNBANDS 4\nNBITS 8\nLAYOUT BSQ\nCOLORSPACE CMYK\nBANDGAPBYTES 4\n"
              "MAP_UNITS METERS\nPROJECTION_NAME UTM\nPROJECTION_ZONE 33\nSPHEROID_NAME WGS84\n"
              "SEMI_MAJOR_AXIS 6378137\nSEMI_MINOR_AXIS 6356752.3\nE_SQUARED 0.00669\nRADIUS 6371000\n"
              "PROJECTION_PARAMETERS\n1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n"
              "WKT GEOGCS[\"WGS 84\"]\nDYNAMICRANGEWINDOW 200\nDYNAMICRANGELEVEL 100\n");
}

// A directory with values inline and behind it, of several types, with an
// Exif sub-directory.
QVIIFD* makeDirectory()
{
    auto* ifd = new QVIIFD;
    const uint16_t shorts[3] = {1, 2, 3};
    const uint32_t rational[2] = {72, 1};
    const double doubles[2] = {0.5, -1.25};
    const char text[] = "seed image";
    ifd->addEntry(new QVIIFD::Entry(256, 3, 1, shorts));
    ifd->addEntry(new QVIIFD::Entry(258, 3, 3, shorts));
    ifd->addEntry(new QVIIFD::Entry(270, 2, sizeof(text), text));
    ifd->addEntry(new QVIIFD::Entry(282, 5, 1, rational));
    ifd->addEntry(new QVIIFD::Entry(33550, 12, 2, doubles));
    auto* exif = new QVIIFD;
    exif->addEntry(new QVIIFD::Entry(36864, 7, 4, "0230"));
    auto* pointer = new QVIIFD::Entry(QVIIFD::kTagExifIFD, 4, 1, nullptr);
    pointer->setSubIFD(exif);
    ifd->addEntry(pointer);
    return ifd;
}

void writeIFDSeeds()
{
    for (bool bigEndian : {false, true}) {
        for (bool bigTiff : {false, true}) {
            std::unique_ptr<QVIIFD> ifd(makeDirectory());
            const Bytes bytes = captureBytes([&](QVIOStreamInf& s) { ifd->write(s, bigEndian, bigTiff); });
            writeSeed("ifd", std::string(bigEndian ? "be" : "le") + (bigTiff ? "_big" : "_classic"), bytes);
        }
    }
}

Bytes classicalSeed()
{
    ClassicalRecord name{"IMAGE::NAME", 5, {"harbour"}, {}, 1};
    ClassicalRecord counts{"IMAGE::COUNTS", 3, {}, {0, 0, 1, 0, 0xFF, 0xFF, 0xFF, 0xFE}, 2};
    ClassicalRecord bytes{"IMAGE::FLAGS", 1, {}, {1, 2, 3}, 3};
    ClassicalRecord signedShort{"IMAGE::OFFSET", 9, {}, {0xFF, 0xFE}, 1};  // SINT16
    ClassicalRecord texts{"IMAGE::NOTES", 5, {"one", "two"}, {}, 2};
    ClassicalRecord wide{"IMAGE::TOTAL", 10, {}, {0x80, 0, 0, 1}, 1};
    return classicalMetadataBytes({name, counts, bytes, signedShort, texts, wide});
}

XR3GeorefData georefSeed(bool withPixels)
{
    XR3GeorefData georef;
    georef.setGeoData(500000.5, 4200000.25, 500990.5, 4199010.25, 10.0, -10.0);
    georef.setZNumber(33);
    if (withPixels) {
        QVIPixel background(QVI_COLORSPACE_RGB, 3, QVI_DATATYPE_UINT8);
        background.setSampleValue<uint8_t>(2, 250);
        georef.setBackgroundPixel(&background);
        QVIPixel noData(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT16);
        georef.setNoDataPixel(&noData);
    }
    return georef;
}

Bytes georefBytes(const XR3GeorefData& georef)
{
    return captureBytes([&](QVIOStreamInf& s) {
        QVIOStreamWriter<true> writer(s);
        georef.write(writer);
    });
}

Bytes boxBytes(bool withText)
{
    MDBox box;
    box.AddMDChunk(std::make_unique<GeoMDChunk>(100.0, 200.0, 0.5, -0.5, 0.0, 0.0));
    if (withText) {
        box.AddMDChunk(std::make_unique<UserMDChunk>("user text"));
        box.AddMDChunk(std::make_unique<CmdLineMDChunk>("make --all"));
        box.AddMDChunk(std::make_unique<OpSysMDChunk>("linux"));
    }
    Bytes bytes(box.GetMDBoxLen());
    uint32_t length = uint32_t(bytes.size());
    box.WriteMDBox(bytes.data(), length);
    bytes.resize(length);
    return bytes;
}

void writeMetadataSeeds()
{
    writeSeed("classical", "records", classicalSeed());
    writeSeed("metadataPacket", "georef_plain", georefBytes(georefSeed(false)));
    writeSeed("metadataPacket", "georef_pixels", georefBytes(georefSeed(true)));
    writeSeed("metadataPacket", "box_geo", boxBytes(false));
    writeSeed("metadataPacket", "box_text", boxBytes(true));
}

// One small image file of a planeset layout, order and token form.
struct FileShape {
    const char* name;
    XR3PlanesetLayout layout;
    XR3PlanesetOrder order;
    bool wideTokens;
    bool hasMSE;
    IndexKind index;
    bool withMetadata;
};

ImageFile writeShape(const FileShape& shape)
{
    const XR3ImageInfo info = makeImageInfo(24, 17, 2, 2, 8);
    PlanesetContent::RandomShape random;
    random.maxBytes = 6;
    const PlanesetContent content = PlanesetContent::random(info, 7, random);
    PlanesetOptions options;
    options.layout = shape.layout;
    options.order = shape.order;
    options.wideTokens = shape.wideTokens;
    options.hasMSE = shape.hasMSE;
    options.subblocksPerBlock = 3;
    options.maxRun = shape.wideTokens ? 0 : 5;
    std::vector<std::unique_ptr<XR3Packet>> extra;
    if (shape.withMetadata) {
        extra.push_back(makeMetadataPacket(XR3_METADATA_GEOREF, 0, 0, georefBytes(georefSeed(true))));
        extra.push_back(makeMetadataPacket(XR3_METADATA_CLASSICAL, 0, 0, classicalSeed()));
        extra.push_back(makeMetadataPacket(XR3_METADATA_XMP, 0, 0, {'<', 'x', '/', '>'}));
        extra.push_back(makeMetadataPacket(XR3_METADATA_EXIF, 0, 0, {'I', 'I', '*', 0}));
    }
    return writeImageFile(info, content, options, std::move(extra), shape.index);
}

// A header claiming a giant image whose planeset is one run of empty
// planes: small on disk, huge in every size derived from the header.
Bytes giantImageOfOneRun()
{
    const XR3ImageInfo info = makeImageInfo(60000, 60000, 2, 1, 1);
    Bytes payload = {1, 2};  // pipeline order, data first
    const Bytes token = encodeToken(false, false, info.numSubblocks * kXR3PlanesPerBand, true);
    const uint64_t dataLength = 8 + token.size();
    for (int i = 7; i >= 0; --i) payload.push_back(uint8_t(dataLength >> (8 * i)));
    const uint64_t word = 18;  // the tokens stand behind the prefix and the word
    for (int i = 7; i >= 0; --i) payload.push_back(uint8_t(word >> (8 * i)));
    payload.insert(payload.end(), token.begin(), token.end());
    PacketFileWriter writer;
    writer.addPacket(std::make_unique<XR3HeaderPacket>(info));
    writer.addRawPacket(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 0, 0, 1), payload);
    Bytes bytes;
    writer.writeToBytes(bytes);
    return bytes;
}

// The same file under each target, behind the selector byte where one is read.
void writeFileSeed(const std::string& name, const Bytes& file)
{
    writeSeed("container", name, file);
    // The plane store target reads its model from the first byte: full,
    // partial, default, each with and without stream buffers.
    for (uint8_t selector : {0, 1, 2, 4, 5}) {
        Bytes seed{selector};
        seed.insert(seed.end(), file.begin(), file.end());
        writeSeed("planeStore", name + "_" + std::to_string(selector), seed);
    }
    // The reader target's first byte picks the default or the small memory usage.
    for (uint8_t selector : {0, 1}) {
        Bytes seed{selector};
        seed.insert(seed.end(), file.begin(), file.end());
        writeSeed("tavixReader", name + "_" + std::to_string(selector), seed);
    }
}

// Real coded images: every sample decodes to something meaningful, so the
// reader target starts from files that go through the whole synthesis.
struct CodedShape {
    const char* name;
    QVIDataType dataType;
    XR3ColorSpace colorSpace;
    bool yiq;
    TavixFileVersion version;
    XR3PlanesetLayout layout;
    IndexKind index;
    bool withMetadata;
};

Bytes writeCoded(const CodedShape& shape)
{
    TavixImageRecipe recipe;
    recipe.dataType = shape.dataType;
    recipe.colorSpace = shape.colorSpace;
    recipe.yiq = shape.yiq;
    recipe.version = shape.version;
    recipe.numLevels = 2;
    recipe.subblockSize = 16;
    recipe.planeset.layout = shape.layout;
    recipe.index = shape.index;
    if (shape.withMetadata) {
        recipe.georef = georefSeed(true);
        recipe.xmp = {'<', 'x', '/', '>'};
    }
    const uint16_t numBands = shape.colorSpace == XR3_COLORSPACE_GREY ? 1 : 4;
    const bool isSigned = shape.dataType == QVI_DATATYPE_SINT16;
    FunctionSourceImage source(37, 23, numBands, [&](uint16_t band, uint32_t x, uint32_t y) {
        const double value = double((x * 7 + y * 13 + band * 29) % 200);
        return isSigned ? value - 100.0 : value;
    });
    Bytes bytes;
    if (writeTavixImage(recipe, source, bytes) != 0) {
        std::fprintf(stderr, "fuzz_seeds: could not code %s\n", shape.name);
        std::exit(1);
    }
    return bytes;
}

void writeCodedSeeds()
{
    const CodedShape shapes[] = {
        {"coded_grey_u8_xr4", QVI_DATATYPE_UINT8, XR3_COLORSPACE_GREY, false, TavixFileVersion::XR4,
         XR3_PLANESET_LAYOUT_DATA_FIRST, IndexKind::None, false},
        {"coded_rgba_yiq_xr3", QVI_DATATYPE_UINT8, XR3ColorSpace(XR3_COLORSPACE_RGB | XR3_COLORSPACE_ALPHA_BIT),
         true, TavixFileVersion::XR3, XR3_PLANESET_LAYOUT_INTERLEAVED, IndexKind::Major1Measured, true},
        {"coded_cmyk_u16_xr4", QVI_DATATYPE_UINT16, XR3_COLORSPACE_CMYK, false, TavixFileVersion::XR4,
         XR3_PLANESET_LAYOUT_RASTER_BLOCK, IndexKind::Major0, true},
        {"coded_grey_s16_xr3", QVI_DATATYPE_SINT16, XR3_COLORSPACE_GREY, false, TavixFileVersion::XR3,
         XR3_PLANESET_LAYOUT_DATA_FIRST, IndexKind::None, false},
        {"coded_grey_f32_xr4", QVI_DATATYPE_FLOAT32, XR3_COLORSPACE_GREY, false, TavixFileVersion::XR4,
         XR3_PLANESET_LAYOUT_INTERLEAVED, IndexKind::None, true},
    };
    for (const CodedShape& shape : shapes) writeFileSeed(shape.name, writeCoded(shape));
}

void writeFileSeeds()
{
    const FileShape shapes[] = {
        {"interleaved_pipeline", XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_ORDER_PIPELINE, true, false,
         IndexKind::None, true},
        {"datafirst_pipeline_narrow", XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_ORDER_PIPELINE, false, true,
         IndexKind::Major1Measured, false},
        {"rasterblock_sbcp", XR3_PLANESET_LAYOUT_RASTER_BLOCK, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE,
         true, false, IndexKind::Major0, true},
        {"datafirst_sbcp_mse", XR3_PLANESET_LAYOUT_DATA_FIRST, XR3_PLANESET_ORDER_SUBBAND_BLOCK_COMPONENT_PLANE,
         true, true, IndexKind::None, false},
    };
    for (const FileShape& shape : shapes) writeFileSeed(shape.name, writeShape(shape).bytes);
    writeFileSeed("giant_one_run", giantImageOfOneRun());
    writeCodedSeeds();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <seed directory>\n", argv[0]);
        return 2;
    }
    g_root = argv[1];
    writeBBBSeeds();
    writeIFDSeeds();
    writeMetadataSeeds();
    writeFileSeeds();
    return 0;
}
