// The modification flags as the words of IMAGE::MODIFICATIONS.
#include <gtest/gtest.h>

#include <string>

#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"

using namespace Orvanetics;

namespace {

// The flags and their words, in the order they are written.
const struct {
    unsigned flag;
    const char* word;
} kWords[] = {
    {0x1, "UNKNOWN"}, {0x2, "COMPRESSED"}, {0x4, "CROPPED"},
    {0x8, "EMBEDDED"}, {0x10, "SCALED"}, {0x20, "MASKED"},
    {0x40, "INTERPRETED-ALPHA"}, {0x80, "REORDERED-BANDS"}, {0x100, "TRANSFORMED-COLORSPACE"},
    {0x200, "CHANGED-DATATYPE"}, {0x400, "ALTERED-COLOR"}, {0x800, "MOSAICKED"},
    {0x1000, "REPROJECTED"}, {0x2000, "WATERMARKED"}, {0x4000, "OVERLAID"},
    {0x8000, "COMPRESSED-PER-BAND"}, {0x10000, "QUANTIZED"}, {0x20000, "OPAQUE-ALPHA"},
};

std::string written(unsigned flags) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    EXPECT_EQ(editor.set_modifications(flags), 0u);
    const char* text = nullptr;
    EXPECT_EQ(editor.get_string("IMAGE::MODIFICATIONS", text), 0u);
    return text != nullptr ? text : "";
}

unsigned read(const char* words) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    EXPECT_EQ(editor.set_string("IMAGE::MODIFICATIONS", words), 0u);
    unsigned flags = 0xDEAD;
    EXPECT_EQ(editor.get_modifications(flags), 0u);
    return flags;
}

}  // namespace

TEST(MetadataAccModifications, EachFlagHasItsWordInTableOrderOneBlankApart) {
    for (const auto& entry : kWords) {
        EXPECT_EQ(written(entry.flag), entry.word);
        EXPECT_EQ(read(entry.word), entry.flag) << entry.word;
    }
    EXPECT_EQ(written(0x12), "COMPRESSED SCALED");
    EXPECT_EQ(written(0x8002), "COMPRESSED COMPRESSED-PER-BAND");

    std::string all;
    for (const auto& entry : kWords) all += std::string(all.empty() ? "" : " ") + entry.word;
    EXPECT_EQ(written(0x3FFFF), all);
}

TEST(MetadataAccModifications, NoFlagsUnknownBitsAndFreeForm) {
    EXPECT_EQ(written(0), "LOSSLESS");
    EXPECT_EQ(read("LOSSLESS"), 0u);
    EXPECT_EQ(read("lossless scaled"), 0x10u);
    // Bits beyond the table say "UNKNOWN" once more, at the end.
    EXPECT_EQ(written(0x40000), "UNKNOWN");
    EXPECT_EQ(written(0x80011), "UNKNOWN SCALED UNKNOWN");

    QVIMetadataDatabase db;
    unsigned flags = 0;
    ASSERT_EQ(QVIMetadataAcc(db).get_modifications(flags), 0u);
    EXPECT_EQ(flags, 1u);

    // Reading ignores case, order and spacing.
    EXPECT_EQ(read("scaled compressed"), 0x12u);
    EXPECT_EQ(read("  Scaled\t\nCOMPRESSED  "), 0x12u);
    EXPECT_EQ(read(""), 0u);
    // A word must end at white space: "COMPRESSED-PER-BAND" is not "COMPRESSED".
    EXPECT_EQ(read("COMPRESSED-PER-BAND"), 0x8000u);
    EXPECT_EQ(read("COMPRESSEDX"), 0x1u);
    // An unknown word adds 1, and the scan goes on character by character.
    EXPECT_EQ(read("BLURRED MASKED"), 0x21u);
    EXPECT_EQ(read("XSCALED"), 0x11u);
}

TEST(MetadataAccModifications, RecordMustBeText) {
    QVIMetadataDatabase db;
    QVIMetadataEditor editor(db);
    ASSERT_EQ(editor.set_uint32(QVI_METADATA_TAG_IMAGE_MODIFICATIONS, uint32_t(2)), 0u);
    unsigned flags = 0;
    EXPECT_EQ(editor.get_modifications(flags), QVStatus(50021));
}
