// A reader without pixels for the metadata accessor tests: it opens up the
// protected construction helpers of QVIImageReader.
#pragma once

#include <memory>
#include <string>

#include "qvi_imageReader.h"

namespace MetadataAccTest {

using namespace Orvanetics;

class PropertyReader : public QVIImageReader {
public:
    static PropertyReader* create()
    {
        PropertyReader* reader = new PropertyReader();
        reader->init(nullptr);
        return reader;
    }

    QVIMetadataDatabase& database() { return *getMetadataDatabase(); }
    QVStatus initFrom(const QVIImage* image) { return init(image); }
    QVStatus load(QVIPixel& pixel, bool loadPixelProps, bool loadGeoCoord)
    {
        return loadMetadataIntoObjects(*getMetadataDatabase(), pixel, loadPixelProps, loadGeoCoord);
    }

    std::string getSourceName() const override { return "property reader"; }

protected:
    QVStatus decodeBegin(const QVIPixel&, const QVIScene&) override { return 0; }
    QVStatus decodeStrip(QVISceneBuffer&, const QVIScene&) override { return 0; }
    QVStatus decodeEnd() override { return 0; }

private:
    PropertyReader() : QVIImageReader(false) {}
};

struct Released {
    void operator()(QVIReferenceCountedObject* object) const { object->release(); }
};
using PropertyReaderRef = std::unique_ptr<PropertyReader, Released>;

}  // namespace MetadataAccTest
