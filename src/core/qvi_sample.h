// One band of a pixel: its role, data type and precision, and room for one
// value of it in its native type.
#pragma once

#include <cstdint>
#include <cstring>

#include "qv_utilStatusData.h"
#include "qvi_dataType.h"

namespace Orvanetics {

class QVISample {
public:
    // Band index 0xFFFF, invalid type and colour, no bytes, value zero.
    QVISample();
    // A null value means zero; otherwise the type's byte count is copied from it.
    QVISample(uint16_t sourceBandIndex, QVIColor color, QVIDataType dataType,
              const void* value = nullptr);
    QVISample(const QVISample& other) = default;
    virtual ~QVISample();
    // Virtual so that pixels can be copied sample by sample.
    virtual QVISample& operator=(const QVISample& other);

    uint16_t getSourceBandIndex() const { return m_sourceBandIndex; }
    QVIDataType getDataType() const { return m_dataType; }
    QVIColor getColor() const { return m_color; }
    void setColor(QVIColor color) { m_color = color; }
    uint32_t getNumBytes() const { return m_numBytes; }
    uint32_t getPrecision() const { return m_precision; }
    // Clamped to 1 .. 8 x bytes.
    void setPrecision(uint32_t precision);

    // 50016 if the data types differ, 50017 if the colours differ, else 0.
    QVStatus checkImpedance(const QVISample& other) const;
    // Band index, colour, type, precision, bytes and all value bytes.
    bool operator==(const QVISample& other) const;
    bool operator!=(const QVISample& other) const { return !(*this == other); }

    // Against the type's limits in its own type; floats: exactly 0.0 and 1.0.
    bool isValueMin() const;
    bool isValueMax() const;
    void setValueToMin();
    void setValueToMax();
    // Keep the smaller (larger) of the two, compared in this sample's type.
    void setValueToMin(const QVISample& other);
    void setValueToMax(const QVISample& other);

    // Typed access to the value bytes; no check of the declared data type.
    template <typename T>
    T getValue() const
    {
        T value;
        std::memcpy(&value, m_value, sizeof(T));
        return value;
    }
    template <typename T>
    void setValue(T value)
    {
        std::memcpy(m_value, &value, sizeof(T));
    }

    void setValueUint8(uint8_t v) { setValue(v); }
    uint8_t getValueUint8() const { return getValue<uint8_t>(); }
    void setValueSint8(int8_t v) { setValue(v); }
    int8_t getValueSint8() const { return getValue<int8_t>(); }
    void setValueUint16(uint16_t v) { setValue(v); }
    uint16_t getValueUint16() const { return getValue<uint16_t>(); }
    void setValueSint16(int16_t v) { setValue(v); }
    int16_t getValueSint16() const { return getValue<int16_t>(); }
    void setValueUint32(uint32_t v) { setValue(v); }
    uint32_t getValueUint32() const { return getValue<uint32_t>(); }
    void setValueSint32(int32_t v) { setValue(v); }
    int32_t getValueSint32() const { return getValue<int32_t>(); }
    void setValueFloat32(float v) { setValue(v); }
    float getValueFloat32() const { return getValue<float>(); }
    void setValueFloat64(double v) { setValue(v); }
    double getValueFloat64() const { return getValue<double>(); }

    // Copies getNumBytes bytes from `value`.
    void setValueAddr(const void* value);
    const void* getValueAddr() const { return m_value; }
    void* getValueAddr() { return m_value; }

    // Integer types: 50117 outside the type's limits (nothing stored), else the
    // value truncated toward zero. Floats unchecked. Invalid type: 50001.
    QVStatus setValueFromDouble(double value);
    // NaN for an invalid type.
    double getValueAsDouble() const;

private:
    uint16_t m_sourceBandIndex;
    QVIDataType m_dataType;
    QVIColor m_color;
    uint32_t m_numBytes;
    uint32_t m_precision;
    alignas(8) uint8_t m_value[8];
};

}  // namespace Orvanetics
