// The writer frame: the strip loop, delegates, output target, world file and
// the clean-up after a failure.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "core_testReader.h"
#include "qv_ioDynamicMemStream.h"
#include "qvi_geoCoord.h"
#include "qvi_geoFileImageWriter.h"
#include "qvi_rawImageWriter.h"
#include "qvi_sceneBuffer.h"
#include "rasters_support.h"
#include "test_paths.h"

using namespace Orvanetics;
using namespace RastersTest;

namespace {

// A grey image whose sample (col, row) is col + 10 row, mod 256.
ArrayReader* makeStage(uint32_t width, uint32_t height)
{
    std::vector<uint8_t> samples(size_t(width) * height);
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t col = 0; col < width; ++col)
            samples[size_t(row) * width + col] = uint8_t(col + 10 * row);
    return ArrayReader::create(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8), width,
                               height, std::move(samples));
}

// Keeps what it is handed; fails on a chosen strip.
class RecordingWriter : public QVIGeoFileImageWriter {
public:
    explicit RecordingWriter(bool supportsStream = true) : QVIGeoFileImageWriter(supportsStream) {}
    QVStatus initialize(QVIImageStage* stage) { return init(stage); }

    QVStatus writeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override
    {
        strips.push_back(stripScene);
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
            const uint8_t* samples = static_cast<const uint8_t*>(buffer.getSample(0, row, 0));
            written.insert(written.end(), samples, samples + buffer.getNumCols());
        }
        return int(strips.size()) == failOnStrip ? failStatus : 0;
    }
    QVStatus writeEnd() override
    {
        ++ends;
        return QVIGeoFileImageWriter::writeEnd();
    }
    QVStatus deleteOutput() override
    {
        ++deletes;
        return QVIGeoFileImageWriter::deleteOutput();
    }

    std::vector<QVIScene> strips;
    std::vector<uint8_t> written;
    int failOnStrip = -1;
    QVStatus failStatus = 0;
    int ends = 0;
    int deletes = 0;
};

}  // namespace

TEST(WriterFrame, StripsCoverTheSceneWithTheStagesPixelsAndProgressGrows)
{
    ArrayReader* stage = makeStage(12, 33);
    RecordingWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    stage->release();  // the writer holds its own reference
    EXPECT_EQ(writer.getStripHeight(), 16u) << "the stage's own strip height";
    writer.setStripHeight(10);
    EXPECT_EQ(writer.getSourceImageStage()->getStripHeight(), 10u);
    CoreTest::RecordingProgress progress;
    writer.setProgressDelegate(&progress);
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(64), 0u);
    ASSERT_EQ(writer.setOutputStream(&stream), 0u);

    const QVIScene scene(2, 3, 7, 25, 1.0);
    ASSERT_EQ(writer.write(scene), 0u);
    ASSERT_EQ(writer.strips.size(), 3u);
    EXPECT_EQ(writer.strips[2], QVIScene(2, 23, 7, 5, 1.0));
    ASSERT_EQ(writer.written.size(), 7u * 25u);
    for (uint32_t row = 0; row < 25; ++row)
        for (uint32_t col = 0; col < 7; ++col)
            ASSERT_EQ(writer.written[row * 7 + col], uint8_t(col + 2 + 10 * (row + 3)));
    EXPECT_EQ(progress.fractions, (std::vector<float>{0.0f, 0.0f, 0.4f, 0.8f, 1.0f}));
    EXPECT_EQ(writer.ends, 1);
    EXPECT_EQ(writer.deletes, 0);
}

TEST(WriterFrame, InterruptEndsTheReadAndRemovesTheOutput)
{
    const std::string dir = TestPaths::tempDir("writer_frame");
    ArrayReader* stage = makeStage(12, 50);
    RecordingWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    ASSERT_EQ(writer.setOutputFileSpec((dir + "/out.bin").c_str()), 0u);
    writer.setWriteWorldFile(true);
    CoreTest::CountingInterrupt interrupt(3, 77);  // before the write, after strip 1, after strip 2
    writer.setInterruptDelegate(&interrupt);
    EXPECT_EQ(writer.write(QVIScene(0, 0, 12, 50, 1.0)), 77u);
    EXPECT_EQ(writer.strips.size(), 2u);
    EXPECT_EQ(writer.ends, 1);
    EXPECT_EQ(writer.deletes, 1);
    EXPECT_EQ(stage->getFullScene(), QVIScene()) << "the stage's read was ended";
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.bin"));
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.bnw")) << "nor its world file";

    // An interrupt before the first strip reads nothing.
    CoreTest::CountingInterrupt atOnce(1, 51501);
    writer.setInterruptDelegate(&atOnce);
    EXPECT_EQ(writer.write(QVIScene(0, 0, 12, 50, 1.0)), 51501u);
    EXPECT_EQ(writer.strips.size(), 2u);
    EXPECT_EQ(writer.deletes, 2);
    stage->release();
}

TEST(WriterFrame, FailuresOfStripsAndOfTheStageAreReturnedAfterCleanUp)
{
    const std::string dir = TestPaths::tempDir("writer_fail");
    ArrayReader* stage = makeStage(12, 50);
    RecordingWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    stage->release();
    ASSERT_EQ(writer.setOutputFileSpec((dir + "/out.bin").c_str()), 0u);
    writer.failOnStrip = 2;
    writer.failStatus = 1234;
    EXPECT_EQ(writer.write(QVIScene(0, 0, 12, 50, 1.0)), 1234u);
    EXPECT_EQ(writer.deletes, 1);
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.bin"));

    writer.failOnStrip = -1;
    EXPECT_EQ(writer.write(QVIScene(0, 40, 12, 11, 1.0)), 50014u) << "one row past the image";
    EXPECT_EQ(writer.deletes, 2);
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.bin"));
}

TEST(WriterFrame, OutputTargetRules)
{
    ArrayReader* stage = makeStage(4, 4);
    RecordingWriter writer;
    EXPECT_EQ(writer.initialize(nullptr), 7u);
    EXPECT_EQ(writer.getSourceImageStage(), nullptr);
    ASSERT_EQ(writer.initialize(stage), 0u);
    EXPECT_EQ(writer.write(QVIScene(0, 0, 4, 4, 1.0)), 50011u) << "neither file nor stream";

    RecordingWriter fileOnly(false);
    QVIODynamicMemStream stream;
    EXPECT_EQ(fileOnly.setOutputStream(&stream), 50002u);

    RecordingWriter unwritable;
    ASSERT_EQ(unwritable.initialize(stage), 0u);
    ASSERT_EQ(unwritable.setOutputFileSpec("/nonexistent/dir/out.bin"), 0u);
    EXPECT_EQ(unwritable.write(QVIScene(0, 0, 4, 4, 1.0)), 50004u);
    EXPECT_EQ(unwritable.getEncodingCost(QVIScene(0, 0, 4, 4, 1.0)),
              stage->getEncodingCost(QVIScene(0, 0, 4, 4, 1.0)));
    stage->release();
}

TEST(WriterFrame, WorldFileDescribesTheScene)
{
    const std::string dir = TestPaths::tempDir("writer_world");
    ArrayReader* stage = makeStage(20, 20);
    stage->setGeoCoord(QVIGeoCoord(1000.0, 5000.0, 2.0, -3.0, 0.0, 0.0));
    RecordingWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    stage->release();
    ASSERT_EQ(writer.setOutputFileSpec((dir + "/out.tif").c_str()), 0u);
    writer.setWriteWorldFile(true);
    ASSERT_EQ(writer.write(QVIScene(4, 6, 8, 8, 1.0)), 0u);
    QVIGeoCoord written;
    bool found = false;
    ASSERT_EQ(written.readWorldFile(QVFileSpec(dir + "/out.tif"), true, found), 0u);
    ASSERT_TRUE(found);
    EXPECT_EQ(written, QVIGeoCoord(1008.0, 4982.0, 2.0, -3.0, 0.0, 0.0));
}

TEST(WriterFrame, StageWithoutBackgroundDeliversZerosWhereItPaintsNothing)
{
    // A stage that paints nothing into its strips.
    CoreTest::PropertyReader* stage = CoreTest::PropertyReader::create();
    ASSERT_EQ(stage->setPixelProps(QVIPixel(QVI_COLORSPACE_GRAYSCALE, 1, QVI_DATATYPE_UINT8)), 0u);
    stage->setDimensions(8, 40);
    RecordingWriter writer;
    ASSERT_EQ(writer.initialize(stage), 0u);
    stage->release();
    QVIODynamicMemStream stream;
    ASSERT_EQ(stream.initialize(64), 0u);
    ASSERT_EQ(writer.setOutputStream(&stream), 0u);
    ASSERT_EQ(writer.write(QVIScene(0, 0, 8, 40, 1.0)), 0u);
    ASSERT_EQ(writer.written.size(), 320u);
    for (uint8_t sample : writer.written)
        ASSERT_EQ(sample, 0);
}
