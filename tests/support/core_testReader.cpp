#include "core_testReader.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <new>

#include "qvi_sceneBuffer.h"

namespace CoreTest {

namespace {

std::atomic<int> g_liveStages{0};

void writeSample(QVISceneBuffer& buffer, uint32_t col, uint32_t row, uint16_t band, double value)
{
    QVISample sample = buffer.getPixelProps().getSample(band);
    sample.setValueFromDouble(value);
    std::memcpy(buffer.getSample(col, row, band), sample.getValueAddr(), sample.getNumBytes());
}

}  // namespace

double expectedSample(int64_t col, int64_t row, uint16_t band, double mag)
{
    const int64_t level = std::llround(-std::log2(mag));
    const int64_t mixed = col * 3 + row * 7 + int64_t(band) * 40 + level * 11;
    return double(((mixed % 120) + 120) % 120);
}

int liveStages()
{
    return g_liveStages.load();
}

// ---------------------------------------------------------------------------
// TestReader

TestReader::TestReader(bool supportBandSelection) : QVIGeoImageReader(supportBandSelection)
{
    ++g_liveStages;
}

TestReader::~TestReader()
{
    --g_liveStages;
}

TestReader* TestReader::create(bool supportBandSelection)
{
    return new (std::nothrow) TestReader(supportBandSelection);
}

QVStatus TestReader::initialize(const QVIPixel& pixel, uint32_t width, uint32_t height,
                                double minMag, double maxMag, const std::string& sourceName)
{
    if (const QVStatus status = init(true))
        return status;
    m_sourceName = sourceName;
    setDimensions(width, height);
    setMagnification(minMag, maxMag);
    if (const QVStatus status = setPixelProps(pixel))
        return status;
    return setDefaultGeoCoord(*this);
}

void TestReader::failOnStrip(int32_t index, QVStatus status)
{
    m_failStrip = index;
    m_failStatus = status;
}

QVStatus TestReader::decodeBegin(const QVIPixel& pixel, const QVIScene&)
{
    ++decodeBeginCount;
    lastDecodePixel = pixel;
    decodedStrips.clear();
    decodedStripRows.clear();
    return 0;
}

QVStatus TestReader::decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene)
{
    if (int32_t(decodedStrips.size()) == m_failStrip)
        return m_failStatus;
    decodedStrips.push_back(stripScene);
    decodedStripRows.push_back(buffer.getNumRows());
    const int64_t firstCol = stripScene.getUpperLeftCol();
    const int64_t firstRow = stripScene.getUpperLeftRow();
    for (uint16_t band = 0; band < buffer.getNumBands(); ++band) {
        const uint16_t source = getSupportBandSelection() ? buffer.getSourceBandIndex(band) : band;
        for (uint32_t row = 0; row < buffer.getNumRows(); ++row) {
            for (uint32_t col = 0; col < buffer.getNumCols(); ++col) {
                writeSample(buffer, col, row, band,
                            expectedSample(firstCol + col, firstRow + row, source,
                                           stripScene.getMag()));
            }
        }
    }
    return 0;
}

QVStatus TestReader::decodeEnd()
{
    ++decodeEndCount;
    return 0;
}

// ---------------------------------------------------------------------------
// PassFilter

PassFilter::PassFilter()
{
    ++g_liveStages;
}

PassFilter::~PassFilter()
{
    --g_liveStages;
}

PassFilter* PassFilter::create(QVIImageStage* previous)
{
    auto* filter = new (std::nothrow) PassFilter();
    if (filter != nullptr)
        filter->init(previous);
    return filter;
}

bool PassFilter::getPipelineInfo(QVIPipelineInfo info) const
{
    if (claimArbitraryMag && info == QVI_PIPELINE_ARBITRARY_MAG)
        return true;
    return QVIImageFilter::getPipelineInfo(info);
}

// ---------------------------------------------------------------------------
// Delegates

QVStatus RecordingProgress::reportProgress(float fraction)
{
    fractions.push_back(fraction);
    return 0;
}

QVStatus CountingInterrupt::checkInterrupt()
{
    ++calls;
    return calls >= m_failOnCall ? m_status : 0;
}

// ---------------------------------------------------------------------------
// VectorStream

uint32_t VectorStream::read(uint8_t* buffer, uint32_t count)
{
    ++reads;
    const size_t available = position < data.size() ? data.size() - position : 0;
    const auto moved = uint32_t(std::min<size_t>(count, available));
    if (moved > 0) std::memcpy(buffer, data.data() + position, moved);
    position += moved;
    return moved;
}

uint32_t VectorStream::write(const uint8_t* buffer, uint32_t count)
{
    ++writes;
    const size_t room = position < writeLimit ? writeLimit - position : 0;
    const auto moved = uint32_t(std::min<size_t>(count, room));
    if (data.size() < position + moved)
        data.resize(position + moved);
    if (moved > 0) std::memcpy(data.data() + position, buffer, moved);
    position += moved;
    return moved;
}

QVStatus VectorStream::seek(int64_t offset, QVIOSeekDir dir)
{
    if (failSeeks)
        return 1;
    const int64_t base = dir == QVIO_SEEK_BEGIN     ? 0
                         : dir == QVIO_SEEK_CURRENT ? int64_t(position)
                                                    : int64_t(data.size());
    if (base + offset < 0)
        return 145011;
    position = size_t(base + offset);
    return 0;
}

}  // namespace CoreTest
