#include "qvi_sample.h"

#include <cmath>
#include <limits>
#include <type_traits>

#include "qvi_dataTypeDispatch.h"
#include "qv_statusCodes.h"
#include "qvi_utils.h"

namespace Orvanetics {

namespace {

// The nominal limits of a sample type: the integer range, 0.0 .. 1.0 for floats.
template <typename T>
constexpr T nominalMin()
{
    if constexpr (std::is_floating_point_v<T>) return T(0);
    else return std::numeric_limits<T>::min();
}

template <typename T>
constexpr T nominalMax()
{
    if constexpr (std::is_floating_point_v<T>) return T(1);
    else return std::numeric_limits<T>::max();
}

}  // namespace

QVISample::QVISample()
    : m_sourceBandIndex(0xFFFF),
      m_dataType(QVI_DATATYPE_INVALID),
      m_color(QVI_COLOR_INVALID),
      m_numBytes(0),
      m_precision(0),
      m_value{}
{
}

QVISample::QVISample(uint16_t sourceBandIndex, QVIColor color, QVIDataType dataType,
                     const void* value)
    : m_sourceBandIndex(sourceBandIndex),
      m_dataType(dataType),
      m_color(color),
      m_numBytes(QVIUtils::getNumBytes(dataType)),
      m_precision(8 * m_numBytes),
      m_value{}
{
    if (value) setValueAddr(value);
}

QVISample::~QVISample() = default;

QVISample& QVISample::operator=(const QVISample& other)
{
    m_sourceBandIndex = other.m_sourceBandIndex;
    m_dataType = other.m_dataType;
    m_color = other.m_color;
    m_numBytes = other.m_numBytes;
    m_precision = other.m_precision;
    std::memcpy(m_value, other.m_value, sizeof(m_value));
    return *this;
}

void QVISample::setPrecision(uint32_t precision)
{
    const uint32_t fullBits = 8 * m_numBytes;
    if (precision == 0) precision = 1;
    m_precision = precision >= fullBits ? fullBits : precision;
}

QVStatus QVISample::checkImpedance(const QVISample& other) const
{
    if (m_dataType != other.m_dataType) return QVI_STS_Core_MismatchDataType;
    if (m_color != other.m_color) return QVI_STS_Core_MismatchColorSpace;
    return 0;
}

bool QVISample::operator==(const QVISample& other) const
{
    return m_sourceBandIndex == other.m_sourceBandIndex && m_color == other.m_color &&
           m_dataType == other.m_dataType && m_precision == other.m_precision &&
           m_numBytes == other.m_numBytes &&
           std::memcmp(m_value, other.m_value, m_numBytes) == 0;
}

bool QVISample::isValueMin() const
{
    return visitDataType(
        m_dataType, [this](auto tag) {
            using T = typename decltype(tag)::type;
            return getValue<T>() == nominalMin<T>();
        },
        [] { return false; });
}

bool QVISample::isValueMax() const
{
    return visitDataType(
        m_dataType, [this](auto tag) {
            using T = typename decltype(tag)::type;
            return getValue<T>() == nominalMax<T>();
        },
        [] { return false; });
}

void QVISample::setValueToMin()
{
    visitDataType(
        m_dataType, [this](auto tag) {
            using T = typename decltype(tag)::type;
            setValue(nominalMin<T>());
        },
        [] {});
}

void QVISample::setValueToMax()
{
    visitDataType(
        m_dataType, [this](auto tag) {
            using T = typename decltype(tag)::type;
            setValue(nominalMax<T>());
        },
        [] {});
}

// A NaN on either side compares false, so a float sample then stays as it is.
void QVISample::setValueToMin(const QVISample& other)
{
    visitDataType(
        m_dataType, [&](auto tag) {
            using T = typename decltype(tag)::type;
            if (other.getValue<T>() < getValue<T>()) std::memcpy(m_value, other.m_value, sizeof(m_value));
        },
        [] {});
}

void QVISample::setValueToMax(const QVISample& other)
{
    visitDataType(
        m_dataType, [&](auto tag) {
            using T = typename decltype(tag)::type;
            if (other.getValue<T>() > getValue<T>()) std::memcpy(m_value, other.m_value, sizeof(m_value));
        },
        [] {});
}

void QVISample::setValueAddr(const void* value)
{
    std::memcpy(m_value, value, m_numBytes);
}

QVStatus QVISample::setValueFromDouble(double value)
{
    return visitDataType(
        m_dataType, [&](auto tag) -> QVStatus {
            using T = typename decltype(tag)::type;
            if constexpr (std::is_integral_v<T>) {
                // Written so that a NaN is refused too.
                const bool inRange = value >= static_cast<double>(std::numeric_limits<T>::min()) &&
                                     value <= static_cast<double>(std::numeric_limits<T>::max());
                if (!inRange) return QVI_STS_Core_DataTypeOverflow;
            }
            setValue(static_cast<T>(value));
            return 0;
        },
        []() -> QVStatus { return QVI_STS_Core_UnsupportedDataType; });
}

double QVISample::getValueAsDouble() const
{
    return visitDataType(
        m_dataType, [this](auto tag) {
            using T = typename decltype(tag)::type;
            return static_cast<double>(getValue<T>());
        },
        [] { return std::numeric_limits<double>::quiet_NaN(); });
}

}  // namespace Orvanetics
