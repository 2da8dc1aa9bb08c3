// Turns a run-time QVIDataType into a compile-time sample type once, outside
// any loop: visitDataType(type, f, onInvalid) calls f(QVITypeTag<T>{}) with
// the C++ type of the samples, or onInvalid() for a value outside 1 .. 8.
#pragma once

#include <cstdint>

#include "qvi_dataType.h"

namespace Orvanetics {

template <typename T>
struct QVITypeTag {
    using type = T;
};

template <typename F, typename G>
decltype(auto) visitDataType(QVIDataType dataType, F&& onType, G&& onInvalid)
{
    switch (dataType) {
    case QVI_DATATYPE_UINT8: return onType(QVITypeTag<uint8_t>{});
    case QVI_DATATYPE_SINT8: return onType(QVITypeTag<int8_t>{});
    case QVI_DATATYPE_UINT16: return onType(QVITypeTag<uint16_t>{});
    case QVI_DATATYPE_SINT16: return onType(QVITypeTag<int16_t>{});
    case QVI_DATATYPE_UINT32: return onType(QVITypeTag<uint32_t>{});
    case QVI_DATATYPE_SINT32: return onType(QVITypeTag<int32_t>{});
    case QVI_DATATYPE_FLOAT32: return onType(QVITypeTag<float>{});
    case QVI_DATATYPE_FLOAT64: return onType(QVITypeTag<double>{});
    default: return onInvalid();
    }
}

}  // namespace Orvanetics
