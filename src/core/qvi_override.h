// The property layers of stages. Each layer is a template over the class it
// extends plus a plain data class holding its fields and setters; the layer
// answers the getters of its property from the data and implements the
// matching override operation. A reader stacks all of them; a filter takes
// only the layers for what it changes and forwards the rest.
#pragma once

#include <cstdint>
#include <memory>

#include "qvi_geoCoord.h"
#include "qvi_imageStage.h"
#include "qvi_metadataDatabase.h"
#include "qvi_pixel.h"
#include "qvi_pixelLookupTable.h"

namespace Orvanetics {

// ---------------------------------------------------------------------------
// Data classes. Setters that copy values answer 8 when memory runs out.

class QVIOverrideDimensionsData {
public:
    void setDimensions(uint32_t width, uint32_t height);

protected:
    ~QVIOverrideDimensionsData() = default;

    uint32_t m_width = 0;
    uint32_t m_height = 0;
};

class QVIOverridePixelPropsData {
public:
    // Copies the pixel and resets the dynamic range to its natural one.
    QVStatus setPixelProps(const QVIPixel& pixel);
    // All samples at their minimum and all at their maximum.
    QVStatus setDefaultDynamicRange();
    QVStatus setDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum);
    // Sets every sample's precision; 0 is ignored.
    void setPixelBPS(uint32_t bitsPerSample);

protected:
    ~QVIOverridePixelPropsData();

    std::unique_ptr<QVIPixel> m_pixelProps;
    std::unique_ptr<QVIPixel> m_minDynamicRange;
    std::unique_ptr<QVIPixel> m_maxDynamicRange;
};

class QVIOverrideBackgroundPixelData {
public:
    // Store a copy; null clears.
    QVStatus setBackgroundPixel(const QVIPixel* pixel);
    QVStatus setNoDataPixel(const QVIPixel* pixel);

protected:
    ~QVIOverrideBackgroundPixelData();

    // A copy of pixelProps with the non-alpha values taken from value (so a
    // one-band value sets every band); null value clears the slot.
    static QVStatus storeInStageLayout(std::unique_ptr<QVIPixel>& slot,
                                       const QVIPixel& pixelProps, const QVIPixel* value);

    std::unique_ptr<QVIPixel> m_backgroundPixel;
    std::unique_ptr<QVIPixel> m_noDataPixel;
};

class QVIOverrideGeoCoordData {
public:
    // Copies and clears the implicit flag.
    QVStatus setGeoCoord(const QVIGeoCoord& geoCoord);
    // (0, height - 1, 1, -1, 0, 0) and implicit: an image without
    // georeferencing has its lower-left pixel at the origin.
    QVStatus setDefaultGeoCoord(const QVIImage& image);

protected:
    ~QVIOverrideGeoCoordData();

    std::unique_ptr<QVIGeoCoord> m_geoCoord;
    bool m_geoCoordImplicit = false;
};

class QVIOverrideMagnificationData {
public:
    void setMagnification(double minimum, double maximum);

protected:
    ~QVIOverrideMagnificationData() = default;

    double m_minMagnification = 1.0;
    double m_maxMagnification = 1.0;
};

class QVIOverrideIsSelectiveData {
public:
    void setIsSelective(bool isSelective);

protected:
    ~QVIOverrideIsSelectiveData() = default;

    bool m_isSelective = true;
};

class QVIOverrideStripHeightData {
protected:
    ~QVIOverrideStripHeightData() = default;

    uint32_t m_stripHeight = 16;
};

class QVIOverrideDelegatesData {
protected:
    ~QVIOverrideDelegatesData() = default;

    // Owned by the application.
    QVIProgressDelegate* m_progressDelegate = nullptr;
    QVIInterruptDelegate* m_interruptDelegate = nullptr;
};

class QVIOverridePixelLookupTablesData {
public:
    // Copies the table; null clears.
    QVStatus setPixelLookupTable(const QVIPixelLookupTable* table);

protected:
    ~QVIOverridePixelLookupTablesData();

    std::unique_ptr<QVIPixelLookupTable> m_pixelLookupTable;
};

class QVIOverrideMetadataData {
public:
    // Without a database yet: a copy of metadata, or an empty one. Otherwise
    // all records are removed and those of metadata, if given, added.
    QVStatus createMetadata(const QVIMetadataDatabase* metadata);
    // The stage's own database for filling and editing; null before createMetadata.
    QVIMetadataDatabase* getMetadataDatabase() { return m_metadata.get(); }

protected:
    ~QVIOverrideMetadataData();

    std::unique_ptr<QVIMetadataDatabase> m_metadata;
};

// ---------------------------------------------------------------------------
// Layers

template <class Base>
class QVIOverrideDimensions : public Base, public QVIOverrideDimensionsData {
public:
    using Base::Base;

    uint32_t getWidth() const override { return m_width; }
    uint32_t getHeight() const override { return m_height; }
};

template <class Base>
class QVIOverridePixelProps : public Base, public QVIOverridePixelPropsData {
public:
    using Base::Base;

    const QVIPixel& getPixelProps() const override { return orEmpty(m_pixelProps); }
    const QVIPixel& getMinDynamicRange() const override { return orEmpty(m_minDynamicRange); }
    const QVIPixel& getMaxDynamicRange() const override { return orEmpty(m_maxDynamicRange); }

    QVStatus overrideDynamicRange(const QVIPixel& minimum, const QVIPixel& maximum) override
    {
        return setDynamicRange(minimum, maximum);
    }
    QVStatus overridePixelBPS(uint32_t bitsPerSample) override
    {
        setPixelBPS(bitsPerSample);
        return 0;
    }

private:
    static const QVIPixel& orEmpty(const std::unique_ptr<QVIPixel>& pixel)
    {
        return pixel ? *pixel : QVIImage::getEmptyPixel();
    }
};

template <class Base>
class QVIOverrideBackgroundPixel : public Base, public QVIOverrideBackgroundPixelData {
public:
    using Base::Base;

    const QVIPixel* getBackgroundPixel() const override { return m_backgroundPixel.get(); }
    const QVIPixel* getNoDataPixel() const override { return m_noDataPixel.get(); }

    // The stored value always has the stage's full band layout.
    QVStatus overrideBackgroundPixel(const QVIPixel* pixel) override
    {
        return storeInStageLayout(m_backgroundPixel, this->getPixelProps(), pixel);
    }
    QVStatus overrideNoDataPixel(const QVIPixel* pixel) override
    {
        return storeInStageLayout(m_noDataPixel, this->getPixelProps(), pixel);
    }
};

template <class Base>
class QVIOverrideGeoCoord : public Base, public QVIOverrideGeoCoordData {
public:
    using Base::Base;

    const QVIGeoCoord& getGeoCoord() const override
    {
        return m_geoCoord ? *m_geoCoord : QVIImage::getDefaultGeoCoord();
    }
    bool isGeoCoordImplicit() const override { return m_geoCoordImplicit; }

    QVStatus overrideGeoCoord(const QVIGeoCoord& geoCoord) override { return setGeoCoord(geoCoord); }
};

template <class Base>
class QVIOverrideMagnification : public Base, public QVIOverrideMagnificationData {
public:
    using Base::Base;

    double getMinMagnification() const override { return m_minMagnification; }
    double getMaxMagnification() const override { return m_maxMagnification; }
};

template <class Base>
class QVIOverrideIsSelective : public Base, public QVIOverrideIsSelectiveData {
public:
    using Base::Base;

    bool isSelective() const override { return m_isSelective; }
};

template <class Base>
class QVIOverrideStripHeight : public Base, public QVIOverrideStripHeightData {
public:
    using Base::Base;

    uint32_t getStripHeight() const override { return m_stripHeight; }
    void setStripHeight(uint32_t stripHeight) override { m_stripHeight = stripHeight; }
};

template <class Base>
class QVIOverrideDelegates : public Base, public QVIOverrideDelegatesData {
public:
    using Base::Base;

    void setProgressDelegate(QVIProgressDelegate* delegate) override { m_progressDelegate = delegate; }
    QVIProgressDelegate* getProgressDelegate() const override { return m_progressDelegate; }
    void setInterruptDelegate(QVIInterruptDelegate* delegate) override { m_interruptDelegate = delegate; }
    QVIInterruptDelegate* getInterruptDelegate() const override { return m_interruptDelegate; }
};

template <class Base>
class QVIOverridePixelLookupTables : public Base, public QVIOverridePixelLookupTablesData {
public:
    using Base::Base;

    const QVIPixelLookupTable* getPixelLookupTable() const override { return m_pixelLookupTable.get(); }

    QVStatus overridePixelLookupTable(const QVIPixelLookupTable* table) override
    {
        return setPixelLookupTable(table);
    }
};

template <class Base>
class QVIOverrideMetadata : public Base, public QVIOverrideMetadataData {
public:
    using Base::Base;

    const QVIMetadataDatabase& getMetadata() const override
    {
        return m_metadata ? *m_metadata : QVIImage::getEmptyMetadata();
    }

    QVStatus overrideMetadata(const QVIMetadataDatabase* metadata) override
    {
        return createMetadata(metadata);
    }
};

// The full stack of a first stage (readers, the mosaic), outermost first.
template <class Base>
using QVIOverrideFullStack = QVIOverrideDimensions<QVIOverridePixelProps<QVIOverrideBackgroundPixel<
    QVIOverrideGeoCoord<QVIOverrideMagnification<QVIOverrideIsSelective<QVIOverrideStripHeight<
        QVIOverrideDelegates<QVIOverridePixelLookupTables<QVIOverrideMetadata<Base>>>>>>>>>>;

}  // namespace Orvanetics
