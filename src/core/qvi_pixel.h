// An ordered set of samples with a colour space. It serves both as the
// description of an image's pixels (bands, data types, colour space) and as a
// value (background, no-data, dynamic-range limits).
#pragma once

#include <cstdint>
#include <memory>

#include "qvi_sample.h"

namespace Orvanetics {

class QVIPixel {
public:
    QVIPixel();
    // Creates numBands samples coloured by their position in `colorSpace`
    // (the last one alpha if the space has alpha), each with its own position
    // as source band index. With `samples`, copies those instead.
    QVIPixel(QVIColorSpace colorSpace, uint16_t numBands, QVIDataType dataType,
             const QVISample* samples = nullptr);
    // The colour space is re-derived from the samples' colours, starting from
    // `colorSpace`.
    QVIPixel(const QVISample* samples, uint16_t numSamples, QVIColorSpace colorSpace);
    // A band selection: positions in `pixel` (null: all in order). Positions
    // beyond its bands are skipped. The colour space is re-derived.
    QVIPixel(const QVIPixel& pixel, const uint16_t* bandSelection, uint16_t numSelected);
    // As above, but the non-alpha samples are recoloured by their position in
    // `newColorSpace` (QVI_COLORSPACE_INVALID: re-derive instead).
    QVIPixel(const QVIPixel& pixel, const uint16_t* bandSelection, uint16_t numSelected,
             QVIColorSpace newColorSpace);
    QVIPixel(const QVIPixel& other);
    QVIPixel& operator=(const QVIPixel& other);
    virtual ~QVIPixel();

    uint16_t getNumBands() const { return m_numBands; }
    uint16_t getNumBandsWithoutAlpha() const;
    // The common type of all samples; QVI_DATATYPE_INVALID if they differ or none.
    QVIDataType getDataType() const;
    bool isSignedData() const;
    QVIColorSpace getColorSpace() const { return m_colorSpace; }
    QVIColorSpace getColorSpaceWithoutAlpha() const;
    bool hasAlphaBand() const;
    bool hasPreMultipliedAlphaBand() const;
    bool isMultiSpectral() const;
    uint32_t getNumBytes() const;
    uint32_t getNumBytesWithoutAlpha() const;
    uint32_t getMaxBytesPerSample() const;

    // 50018 band counts, 50017 colour spaces (when asked; multispectral
    // matches any space whose OR with it stays multispectral), 50016 types.
    QVStatus checkImpedance(const QVIPixel& other, bool checkColorSpace = true) const;
    QVStatus checkImpedanceWithoutAlpha(const QVIPixel& other) const;
    // Every sample of `selected` names a band of `full` (else 50018) of the
    // same data type (else 50016).
    static QVStatus checkCompatible(const QVIPixel& selected, const QVIPixel& full);
    // A new[] array of the samples' source band indices; the caller delete[]s
    // it. 8 if out of memory.
    QVStatus getBandSelection(uint16_t*& bandSelection) const;

    const QVISample* getSamples() const { return m_samples.get(); }
    QVISample* getSamples() { return m_samples.get(); }
    // Stable for the life of the pixel. The band is not checked.
    const QVISample& getSample(uint16_t band) const { return m_samples[band]; }
    QVISample& getSample(uint16_t band) { return m_samples[band]; }

    void setSampleValuesToMin();
    void setSampleValuesToMax();
    bool areSampleValuesMin() const;
    bool areSampleValuesMax() const;

    // Typed access to all bands, no type check (as the sample's own).
    template <typename T>
    T getSampleValue(uint16_t band) const { return m_samples[band].getValue<T>(); }
    template <typename T>
    void setSampleValue(uint16_t band, T value) { m_samples[band].setValue(value); }
    template <typename T>
    void setSampleValues(T value)
    {
        for (uint16_t b = 0; b < m_numBands; ++b) m_samples[b].setValue(value);
    }
    template <typename T>
    void setSampleValues(const T* values)
    {
        for (uint16_t b = 0; b < m_numBands; ++b) m_samples[b].setValue(values[b]);
    }

#define QVI_PIXEL_TYPED_ACCESS(Name, T)                                             \
    T getSampleValue##Name(uint16_t band) const { return getSampleValue<T>(band); } \
    void setSampleValue##Name(uint16_t band, T value) { setSampleValue(band, value); } \
    void setSampleValues##Name(T value) { setSampleValues(value); }                 \
    void setSampleValues##Name(const T* values) { setSampleValues(values); }
    QVI_PIXEL_TYPED_ACCESS(Uint8, uint8_t)
    QVI_PIXEL_TYPED_ACCESS(Sint8, int8_t)
    QVI_PIXEL_TYPED_ACCESS(Uint16, uint16_t)
    QVI_PIXEL_TYPED_ACCESS(Sint16, int16_t)
    QVI_PIXEL_TYPED_ACCESS(Uint32, uint32_t)
    QVI_PIXEL_TYPED_ACCESS(Sint32, int32_t)
    QVI_PIXEL_TYPED_ACCESS(Float32, float)
    QVI_PIXEL_TYPED_ACCESS(Float64, double)
#undef QVI_PIXEL_TYPED_ACCESS

    // Each sample's setValueFromDouble; the first failure is returned.
    QVStatus setSampleValuesFromDouble(double value);
    QVStatus setNonAlphaSampleValuesFromDouble(double value);
    // Copies, through doubles, the common non-alpha values and fills the rest
    // of this pixel's non-alpha bands with `other`'s last non-alpha value.
    QVStatus setNonAlphaSampleValuesFromPixel(const QVIPixel& other);
    // As above, plus the alpha value when both have alpha.
    QVStatus setSampleValuesFromPixel(const QVIPixel& other);

    const void* getSampleValueAddr(uint16_t band) const { return m_samples[band].getValueAddr(); }
    void* getSampleValueAddr(uint16_t band) { return m_samples[band].getValueAddr(); }
    void setSampleValueAddr(uint16_t band, const void* value) { m_samples[band].setValueAddr(value); }

private:
    // The samples a selection picks from, with the space they were in.
    struct SampleSource {
        const QVISample* samples;
        uint16_t count;
        QVIColorSpace colorSpace;
    };
    SampleSource asSource() const { return {m_samples.get(), m_numBands, m_colorSpace}; }

    void allocateSamples(uint16_t count);
    // Copies the selected samples, skipping bad positions; answers the colour
    // mask and counts the positions below `colorBands`.
    uint32_t copySelection(const SampleSource& source, const uint16_t* bandSelection,
                           uint16_t numSelected, uint16_t colorBands, uint16_t& countBelowN);
    void deriveFromSelection(const SampleSource& source, const uint16_t* bandSelection,
                             uint16_t numSelected);
    void recolorSelection(const SampleSource& source, const uint16_t* bandSelection,
                          uint16_t numSelected, QVIColorSpace newColorSpace);
    uint32_t sumBytes(uint16_t numBands) const;
    QVStatus checkImpedanceOver(const QVIPixel& other, uint16_t numBands, uint16_t otherNumBands,
                                QVIColorSpace space, QVIColorSpace otherSpace,
                                bool checkColorSpace) const;
    QVStatus setValuesFromDouble(uint16_t numBands, double value);

    std::unique_ptr<QVISample[]> m_samples;
    uint16_t m_numBands;
    QVIColorSpace m_colorSpace;
};

}  // namespace Orvanetics
