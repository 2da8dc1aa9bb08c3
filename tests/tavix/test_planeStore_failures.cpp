// Truncated, corrupt and hostile planesets give statuses: never a crash, a
// hang or a giant allocation.
#include <gtest/gtest.h>

#include <random>

#include "planeStore_testSupport.h"
#include "tavix_countingStream.h"

namespace {

using namespace PlaneStoreTest;

const XR3PlanesetLayout kLayouts[] = {XR3_PLANESET_LAYOUT_INTERLEAVED, XR3_PLANESET_LAYOUT_DATA_FIRST,
                                      XR3_PLANESET_LAYOUT_RASTER_BLOCK};

PlanesetOptions optionsFor(XR3PlanesetLayout layout, bool wide) {
    PlanesetOptions options;
    options.layout = layout;
    options.wideTokens = wide;
    options.subblocksPerBlock = 5;
    return options;
}

TEST(PlanesetTruncation, AShortPlanesetFailsUnlessAFinalRunCoversTheTail) {
    XR3ImageInfo info = makeImageInfo(60, 45, 2, 2, 8);
    PlanesetContent content = PlanesetContent::random(info, 8, {});
    const uint64_t total = info.numSubblocks * info.numBands * kXR3PlanesPerBand;
    for (XR3PlanesetLayout layout : kLayouts) {
        for (bool finalRun : {false, true}) {
            PlanesetOptions options = optionsFor(layout, true);
            options.writtenPlanes = total / 2 + 7;
            options.finalRun = finalRun;
            ImageFile file = writeImageFile(info, content, options);
            OpenedImage image;
            QVStatus status = image.open(file.bytes, XR3_MEMORY_MODEL_DEFAULT);
            if (!finalRun) {
                EXPECT_EQ(2001u, status) << "layout " << layout;
                continue;
            }
            ASSERT_EQ(0u, status) << "layout " << layout;
            // What was written comes back; the rest is empty.
            PlanesetContent written;
            for (const WrittenPlane& plane : file.planes) written.set(plane.desc, *content.find(plane.desc));
            ASSERT_LT(written.planes.size(), content.planes.size());
            auto client = image.client();
            auto planes = makePlanes(info);
            for (auto [subband, subblock] : allSubblocks(info)) {
                EXPECT_EQ(written.subblockHasData(subband, subblock), client->hasSubblock(subband, subblock));
                ASSERT_EQ(0u, client->getSubblockData(subband, subblock, planes.get(), false));
                expectPlanes(written, info, subband, subblock, planes.get(), client->getComponentSet(), false);
            }
        }
    }
}

TEST(PlanesetTruncation, ACutFileFailsToOpen) {
    XR3ImageInfo info = makeImageInfo(40, 40, 1, 2, 8);
    PlanesetContent content = PlanesetContent::random(info, 4, {});
    for (XR3PlanesetLayout layout : kLayouts) {
        for (bool wide : {false, true}) {
            ImageFile file = writeImageFile(info, content, optionsFor(layout, wide));
            const size_t size = file.bytes.size();
            for (size_t cut : {size_t(1), size_t(2), size_t(9), (size - size_t(file.dataStart)) / 2,
                               size - size_t(file.dataStart) + 3}) {
                std::vector<uint8_t> bytes(file.bytes.begin(), file.bytes.end() - long(cut));
                OpenedImage image;
                EXPECT_EQ(2001u, image.open(bytes, XR3_MEMORY_MODEL_FULL)) << "layout " << layout << " cut " << cut;
            }
        }
    }
}

TEST(PlanesetCorruption, RunsOfZeroAndMisplacedTokens) {
    XR3ImageInfo info = makeImageInfo(32, 32, 1, 1, 8);
    PlanesetContent content = PlanesetContent::random(info, 2, {});
    {
        // The first token of an interleaved planeset becomes a run of 0.
        ImageFile file = writeImageFile(info, content, optionsFor(XR3_PLANESET_LAYOUT_INTERLEAVED, true));
        file.bytes[size_t(file.dataStart)] = 0x00;
        OpenedImage image;
        EXPECT_EQ(2001u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    }
    for (uint64_t word : {uint64_t(0), uint64_t(1) << 40, uint64_t(~0ull)}) {
        // An offset word that points before the payloads or past the stream.
        ImageFile file = writeImageFile(info, content, optionsFor(XR3_PLANESET_LAYOUT_DATA_FIRST, true));
        patchBigEndian(file.bytes, file.dataStart, 8, word);
        OpenedImage image;
        EXPECT_EQ(2001u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL)) << word;
    }
    {
        // A data token claiming more payload than there is; long tokens, so
        // that the token can be replaced in place.
        PlanesetOptions options = optionsFor(XR3_PLANESET_LAYOUT_DATA_FIRST, true);
        options.longTokens = true;
        ImageFile file = writeImageFile(info, content, options);
        std::vector<uint8_t> token = encodeToken(true, false, uint64_t(1) << 50, true, true);
        std::copy(token.begin(), token.end(), file.bytes.begin() + file.planes.front().tokenOffset);
        OpenedImage image;
        EXPECT_EQ(2001u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    }
}

TEST(PlanesetCorruption, UnknownOrderAndLayout) {
    XR3ImageInfo info = makeImageInfo(32, 32, 1, 1, 8);
    PlanesetContent content = PlanesetContent::random(info, 2, {});
    for (int field : {0, 1}) {
        ImageFile file = writeImageFile(info, content, optionsFor(XR3_PLANESET_LAYOUT_DATA_FIRST, true));
        file.bytes[size_t(file.dataStart) - 10 + field] = field == 0 ? 3 : 1;  // order 3, or layout 1
        OpenedImage image;
        EXPECT_EQ(2005u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL)) << field;
    }
}

// Random damage anywhere in the planeset: the store either refuses the file
// or serves every subblock with some status.
TEST(PlanesetCorruption, RandomDamageNeverCrashes) {
    XR3ImageInfo info = makeImageInfo(48, 40, 2, 2, 8);
    PlanesetContent content = PlanesetContent::random(info, 12, {});
    std::mt19937 random(77);
    unsigned opened = 0, refused = 0;
    for (XR3PlanesetLayout layout : kLayouts) {
        for (bool wide : {false, true}) {
            ImageFile file = writeImageFile(info, content, optionsFor(layout, wide));
            const size_t planesetStart = size_t(file.dataStart) - 10;
            std::uniform_int_distribution<size_t> where(planesetStart, file.bytes.size() - 1);
            std::uniform_int_distribution<int> flip(1, 255);
            for (int trial = 0; trial < 60; ++trial) {
                std::vector<uint8_t> bytes = file.bytes;
                for (int k = 0; k <= trial % 3; ++k) bytes[where(random)] ^= uint8_t(flip(random));
                if (trial % 5 == 4) bytes.resize(where(random));
                OpenedImage image;
                const XR3MemoryModel model = trial % 2 ? XR3_MEMORY_MODEL_PARTIAL : XR3_MEMORY_MODEL_FULL;
                if (image.open(bytes, model)) {
                    ++refused;
                    continue;
                }
                ++opened;
                auto client = image.client();
                auto planes = makePlanes(info);
                for (auto [subband, subblock] : allSubblocks(info))
                    client->getSubblockData(subband, subblock, planes.get(), false);
            }
        }
    }
    EXPECT_GT(refused, 0u);
    EXPECT_GT(opened + refused, 300u);
}

// A header claiming a giant image, with a planeset of one run: the default
// model takes the partial table, which allocates nothing for empty rows;
// the full table is refused before it allocates.
TEST(PlanesetHostile, GiantImageOfOneRun) {
    XR3ImageInfo info = makeImageInfo(60000, 60000, 2, 1, 1);
    ASSERT_GT(info.numSubblocks, uint64_t(1) << 31);
    std::vector<uint8_t> payload = {1, 2};  // pipeline order, data first
    std::vector<uint8_t> token = encodeToken(false, false, info.numSubblocks * kXR3PlanesPerBand, true);
    const uint64_t dataLength = 8 + token.size();
    for (int i = 7; i >= 0; --i) payload.push_back(uint8_t(dataLength >> (8 * i)));
    const uint64_t word = 18;  // the tokens stand behind the prefix and the word
    for (int i = 7; i >= 0; --i) payload.push_back(uint8_t(word >> (8 * i)));
    payload.insert(payload.end(), token.begin(), token.end());

    PacketFileWriter writer;
    writer.addPacket(std::make_unique<XR3HeaderPacket>(info));
    writer.addRawPacket(XR3PacketType(XR3_PACKET_PLANESET, 0, 0, 0, 0, 1), payload);
    std::vector<uint8_t> bytes;
    ASSERT_EQ(0u, writer.writeToBytes(bytes));
    {
        OpenedImage image;
        ASSERT_EQ(0u, image.open(bytes, XR3_MEMORY_MODEL_DEFAULT));
        EXPECT_EQ(XR3_MEMORY_MODEL_PARTIAL, image.source->getMemoryModel());
        auto client = image.client();
        auto planes = makePlanes(info);
        EXPECT_FALSE(client->hasSubblock(8, 123456));
        EXPECT_EQ(0u, client->countSubblocksInRange(8, 0, 0xFFFFFFFFu));
        EXPECT_EQ(0u, client->getSubblockData(8, 123456, planes.get(), true));
        EXPECT_FALSE(planes[0].isPresent());
    }
    {
        OpenedImage image;
        EXPECT_EQ(2012u, image.open(bytes, XR3_MEMORY_MODEL_FULL));
    }
}

TEST(PlaneSourceRefusals, MissingPlanesetLockedImageAndNoClone) {
    XR3ImageInfo info = makeImageInfo(32, 32, 1, 1, 8);
    {
        PacketFileWriter writer;
        writer.addPacket(std::make_unique<XR3HeaderPacket>(info));
        std::vector<uint8_t> bytes;
        ASSERT_EQ(0u, writer.writeToBytes(bytes));
        OpenedImage image;
        EXPECT_EQ(2010u, image.open(bytes, XR3_MEMORY_MODEL_FULL));
    }
    {
        XR3ImageInfo locked = info;
        locked.locked = true;
        locked.lockValueWidth = 2;
        ImageFile file = writeImageFile(locked, PlanesetContent(), PlanesetOptions());
        OpenedImage image;
        EXPECT_EQ(kStsXR3SecurityDisabled, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    }
    {
        // A stream that can't be duplicated gives no reader of its own.
        ImageFile file = writeImageFile(info, PlanesetContent(), PlanesetOptions());
        auto inner = openMemStream(file.bytes);
        CountingStream stream(*inner);
        XR3FileSimpleContainer container(stream, true);
        ASSERT_EQ(0u, container.initialize());
        XR3FileSimplePlaneSource source(container, info, XR3_MEMORY_MODEL_FULL);
        EXPECT_EQ(2004u, source.initialize());
        std::unique_ptr<XR3PlaneStoreClient> client;
        EXPECT_EQ(2010u, source.createPlaneStoreClient(client));
        EXPECT_FALSE(client);
    }
}

TEST(PlaneStoreRequests, SubblocksOutsideTheImage) {
    XR3ImageInfo info = makeImageInfo(32, 32, 1, 1, 8);
    ImageFile file = writeImageFile(info, PlanesetContent::random(info, 1, {}), PlanesetOptions());
    OpenedImage image;
    ASSERT_EQ(0u, image.open(file.bytes, XR3_MEMORY_MODEL_FULL));
    auto client = image.client();
    auto planes = makePlanes(info);
    EXPECT_EQ(2009u, client->getSubblockData(info.numSubbands, 0, planes.get(), false));
    EXPECT_EQ(2009u, client->getSubblockData(0, 1000, planes.get(), false));
    EXPECT_FALSE(client->hasSubblock(0, 1000));
}

}  // namespace
