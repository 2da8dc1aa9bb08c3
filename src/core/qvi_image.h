// Anything with image properties: size, pixel layout, georeference, metadata
// and magnification range. Stages (qvi_imageStage.h) add the read protocol.
#pragma once

#include <cstdint>

#include "qv_utilStatusData.h"
#include "qvi_dataType.h"
#include "qvi_referenceCountedObject.h"

namespace Orvanetics {

class QVIGeoCoord;
class QVIMetadataDatabase;
class QVIOStreamInf;
class QVIPixel;
class QVIPixelLookupTable;
class QVIScene;

class QVIImage : public QVIReferenceCountedObject {
public:
    virtual uint32_t getWidth() const = 0;
    virtual uint32_t getHeight() const = 0;
    // The image's size at a magnification (ceil of size x mag).
    virtual QVStatus getDimsAtMag(double mag, uint32_t& width, uint32_t& height) const = 0;
    virtual const QVIPixel& getPixelProps() const = 0;
    // Null when the image has none.
    virtual const QVIPixel* getBackgroundPixel() const = 0;
    virtual const QVIPixel* getNoDataPixel() const = 0;
    // Null unless the pixels are palette indices.
    virtual const QVIPixelLookupTable* getPixelLookupTable() const = 0;
    virtual const QVIPixel& getMinDynamicRange() const = 0;
    virtual const QVIPixel& getMaxDynamicRange() const = 0;
    virtual const QVIGeoCoord& getGeoCoord() const = 0;
    // True when the georeference is the default one of an image without any.
    virtual bool isGeoCoordImplicit() const = 0;
    virtual const QVIMetadataDatabase& getMetadata() const = 0;
    virtual double getMinMagnification() const = 0;
    virtual double getMaxMagnification() const = 0;
    // True if reading part of the image costs about as much as that part.
    virtual bool isSelective() const = 0;
    // What the pipeline does to the scene's pixels relative to the source
    // (the modification flags, 0x1 "UNKNOWN" to 0x20000 "OPAQUE-ALPHA").
    virtual uint32_t getModifications(const QVIScene& scene) const = 0;
    // A named block of raw metadata ("xmp", "exif") in a new stream the caller
    // owns; null stream when there is none.
    virtual QVStatus getMetadataBlob(const char* type, QVIOStreamInf*& stream) const = 0;

    uint16_t getNumBands() const;
    uint16_t getNumBandsWithoutAlpha() const;
    QVIColorSpace getColorSpace() const;
    QVIDataType getDataType() const;
    // Width x height x the pixel's bytes (without or with the alpha band).
    uint64_t getNominalImageSizeWithoutAlpha() const;
    uint64_t getNominalImageSizeWithAlpha() const;
    // The dynamic range spans each sample type's whole range.
    bool isNaturalDynamicRange() const;
    // Ground position of a reference point of the full-resolution image
    // (corners, edge midpoints, centre); unknown positions mean the upper left.
    QVStatus getGeoPoint(QVIPosition position, double& x, double& y) const;
    // The background pixel, or the pixel properties at their minimum (maximum
    // for CMY and CMYK) with an opaque alpha. The caller deletes it; null if
    // out of memory.
    QVIPixel* createBackgroundPixel() const;

    // What unset properties answer: a pixel without bands, the default
    // georeference, an empty database. Shared and immutable.
    static const QVIPixel& getEmptyPixel();
    static const QVIGeoCoord& getDefaultGeoCoord();
    static const QVIMetadataDatabase& getEmptyMetadata();

protected:
    ~QVIImage() override = default;
};

}  // namespace Orvanetics
