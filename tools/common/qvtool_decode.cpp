#include "qvtool_decode.h"

#include <cctype>
#include <memory>
#include <new>

#include "PNGImageWriter.h"
#include "qv_fileSpec.h"
#include "qv_statusCodes.h"
#include "qv_utilStatusData.h"
#include "qvi_bbbImageWriter.h"
#include "qvi_imageFilter.h"
#include "qvi_override.h"
#include "qvi_pixel.h"
#include "qvi_sceneBuffer.h"
#include "qvtool_cli.h"

using namespace Orvanetics;

namespace QVTool {

namespace {

std::string lowerCase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The samples of `pixel` numbered 0, 1, ... as the bands of an image of their own.
QVIPixel renumbered(const QVIPixel& pixel)
{
    std::vector<QVISample> samples;
    samples.reserve(pixel.getNumBands());
    for (uint16_t band = 0; band < pixel.getNumBands(); ++band) {
        const QVISample& source = pixel.getSample(band);
        QVISample sample(band, source.getColor(), source.getDataType(), source.getValueAddr());
        sample.setPrecision(source.getPrecision());
        samples.push_back(sample);
    }
    return QVIPixel(samples.data(), pixel.getNumBands(), pixel.getColorSpace());
}

bool isDisplayable(const QVIPixel& pixel)
{
    const QVIColorSpace colorSpace = pixel.getColorSpaceWithoutAlpha();
    return colorSpace == QVI_COLORSPACE_GRAYSCALE || colorSpace == QVI_COLORSPACE_RGB;
}

// Runs `step`, turning the exceptions of value types into their status.
template <typename Step>
QVStatus guarded(Step&& step)
{
    try {
        return step();
    } catch (const QVUtilException& exception) {
        return exception.getStatus();
    } catch (const std::bad_alloc&) {
        return QVI_STS_OutOfMemory;
    }
}

// Shows chosen bands of the previous stage, in the chosen order, as the bands
// 0, 1, ... of an image of their own. Reads go to the previous stage with the
// same bands in its own numbering, straight into the caller's buffer.
class BandOrderStage : public QVIOverridePixelProps<QVIOverrideBackgroundPixel<QVIImageFilter>> {
public:
    static BandOrderStage* create() { return new (std::nothrow) BandOrderStage(); }

    QVStatus initialize(QVIImageStage* previous, const std::vector<uint16_t>& bands,
                        bool displayable)
    {
        QVStatus status = init(previous);
        if (status != 0)
            return status;
        m_bands = bands;
        const uint16_t count = static_cast<uint16_t>(bands.size());
        const QVIPixel& full = previous->getPixelProps();
        m_sourceBands = std::make_unique<QVIPixel>(full, bands.data(), count);
        if (displayable && (count == 1 || count == 3) && !isDisplayable(*m_sourceBands)) {
            const QVIColorSpace shown = count == 1 ? QVI_COLORSPACE_GRAYSCALE : QVI_COLORSPACE_RGB;
            status = setPixelProps(renumbered(QVIPixel(full, bands.data(), count, shown)));
        } else {
            status = setPixelProps(renumbered(*m_sourceBands));
        }
        if (status == 0)
            status = setDynamicRange(selectedValues(previous->getMinDynamicRange()),
                                     selectedValues(previous->getMaxDynamicRange()));
        if (status == 0)
            status = setSelectedPixel(previous->getBackgroundPixel(), &BandOrderStage::setBackgroundPixel);
        if (status == 0)
            status = setSelectedPixel(previous->getNoDataPixel(), &BandOrderStage::setNoDataPixel);
        return status;
    }

protected:
    ~BandOrderStage() override = default;

    QVStatus decodeBegin(const QVIPixel& pixel, const QVIScene& scene) override
    {
        // The caller's bands are positions in this stage's pixel, which are
        // positions in m_sourceBands.
        return guarded([&] {
            std::vector<uint16_t> positions(pixel.getNumBands());
            for (uint16_t band = 0; band < pixel.getNumBands(); ++band)
                positions[band] = pixel.getSample(band).getSourceBandIndex();
            m_readPixel = std::make_unique<QVIPixel>(*m_sourceBands, positions.data(),
                                                     static_cast<uint16_t>(positions.size()));
            return getPreviousStage()->readBegin(*m_readPixel, scene);
        });
    }

    QVStatus decodeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override
    {
        return guarded([&] {
            QVISceneBuffer inSourceNumbering(*m_readPixel, buffer.getNumCols(), buffer.getNumRows(),
                                             buffer.getBSQData(), buffer.getTotalNumCols());
            return getPreviousStage()->readStrip(inSourceNumbering, stripScene);
        });
    }

private:
    BandOrderStage() = default;

    // This stage's layout with the values of the chosen bands of a pixel of
    // the previous stage (which has the previous stage's full layout).
    QVIPixel selectedValues(const QVIPixel& fullValue) const
    {
        QVIPixel value(getPixelProps());
        for (uint16_t band = 0; band < value.getNumBands(); ++band) {
            if (m_bands[band] < fullValue.getNumBands())
                value.setSampleValueAddr(band, fullValue.getSampleValueAddr(m_bands[band]));
        }
        return value;
    }

    QVStatus setSelectedPixel(const QVIPixel* fullValue,
                              QVStatus (QVIOverrideBackgroundPixelData::*setter)(const QVIPixel*))
    {
        if (fullValue == nullptr)
            return 0;
        QVIPixel value = selectedValues(*fullValue);
        return (this->*setter)(&value);
    }

    std::vector<uint16_t> m_bands;
    std::unique_ptr<QVIPixel> m_sourceBands;
    std::unique_ptr<QVIPixel> m_readPixel;
};

QVStatus createWriter(QVIImageStage& stage, const OutputSpec& output,
                      std::unique_ptr<QVIGeoFileImageWriter>& writer)
{
    if (output.format == OutputFormat::PNG) {
        auto png = std::make_unique<PNGImageWriter>();
        QVStatus status = png->initialize(&stage);
        writer = std::move(png);
        return status;
    }
    std::unique_ptr<QVIRawImageWriter> raw;
    if (output.format == OutputFormat::BBB)
        raw = std::make_unique<QVIBBBImageWriter>();
    else
        raw = std::make_unique<QVIRawImageWriter>();
    QVStatus status = raw->initialize(&stage);
    raw->setLayout(output.layout);
    raw->setByteOrder(output.byteOrder);
    writer = std::move(raw);
    return status;
}

}  // namespace

bool parseOutputFormat(const std::string& name, OutputFormat& format)
{
    const std::string lower = lowerCase(name);
    if (lower == "png")
        format = OutputFormat::PNG;
    else if (lower == "bbb")
        format = OutputFormat::BBB;
    else if (lower == "raw")
        format = OutputFormat::Raw;
    else
        return false;
    return true;
}

bool outputFormatFromName(const std::string& path, OutputFormat& format, QVILayout& layout)
{
    const std::string suffix = lowerCase(QVFileSpec(path).getSuffix());
    if (suffix == "png" || suffix == "raw")
        return parseOutputFormat(suffix, format);
    struct Layout {
        const char* suffix;
        QVILayout layout;
    };
    static constexpr Layout kLayouts[] = {
        {"bil", QVI_LAYOUT_BIL}, {"bsq", QVI_LAYOUT_BSQ}, {"bip", QVI_LAYOUT_BIP}};
    for (const Layout& entry : kLayouts) {
        if (suffix == entry.suffix) {
            format = OutputFormat::BBB;
            layout = entry.layout;
            return true;
        }
    }
    return false;
}

QVStatus parseBandList(const std::string& text, uint16_t numBands, std::vector<uint16_t>& bands)
{
    bands.clear();
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        uint32_t band = 0;
        if (!parseUint32(text.substr(start, comma - start), band))
            return kStsBandStringSyntax;
        if (band >= numBands) {
            QVUtilStatusData::pushBegin(kStsIllegalBandNumber);
            const std::string context = "band " + std::to_string(band) + " of an image with " +
                                        std::to_string(numBands) + " bands";
            QVUtilStatusData::pushContext(kStsIllegalBandNumber, context.c_str());
            QVUtilStatusData::pushEnd();
            return kStsIllegalBandNumber;
        }
        bands.push_back(static_cast<uint16_t>(band));
        if (comma == std::string::npos)
            return 0;
        start = comma + 1;
    }
}

QVStatus pushBandSelection(QVIImageStage*& stage, const std::vector<uint16_t>& bands,
                           bool displayable)
{
    BandOrderStage* selection = BandOrderStage::create();
    if (selection == nullptr)
        return QVI_STS_OutOfMemory;
    const QVStatus status = guarded([&] { return selection->initialize(stage, bands, displayable); });
    if (status != 0) {
        selection->release();
        return status;
    }
    stage->release();
    stage = selection;
    return 0;
}

QVStatus writeScene(QVIImageStage& stage, const QVIScene& scene, const OutputSpec& output,
                    QVIProgressDelegate* progress, QVIInterruptDelegate* interrupt)
{
    QVStatus status = stage.validateReadRequest(stage.getPixelProps(), scene);
    if (status != 0)
        return status;
    std::unique_ptr<QVIGeoFileImageWriter> writer;
    status = createWriter(stage, output, writer);
    if (status == 0)
        status = writer->setOutputFileSpec(output.path.c_str());
    if (status != 0)
        return status;
    writer->setWriteWorldFile(output.writeWorldFile);
    if (output.stripHeight != 0)
        writer->setStripHeight(output.stripHeight);
    writer->setProgressDelegate(progress);
    writer->setInterruptDelegate(interrupt);

    const QVFileSpec file(output.path);
    const bool existedBefore = file.exists();
    status = writer->write(scene);
    // The writer cleans up after a failed strip; a failure while it was
    // still setting up the file may leave it behind.
    if (status != 0 && !existedBefore && file.exists())
        writer->deleteOutput();
    return status;
}

}  // namespace QVTool
