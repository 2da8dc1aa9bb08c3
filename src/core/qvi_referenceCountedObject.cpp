#include "qvi_referenceCountedObject.h"

namespace Orvanetics {

int32_t QVIReferenceCountedObject::retain() const
{
    return m_referenceCount.fetch_add(1, std::memory_order_relaxed) + 1;
}

int32_t QVIReferenceCountedObject::release() const
{
    // acq_rel: the deleting thread must see every write made by the other holders.
    const int32_t count = m_referenceCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count <= 0)
        delete this;
    return count;
}

}  // namespace Orvanetics
