// Shared ownership for stages and stage managers: created with one
// reference owned by the creator, freed when the last holder releases.
#pragma once

#include <atomic>
#include <cstdint>

namespace Orvanetics {

class QVIReferenceCountedObject {
public:
    QVIReferenceCountedObject() = default;
    QVIReferenceCountedObject(const QVIReferenceCountedObject&) = delete;
    QVIReferenceCountedObject& operator=(const QVIReferenceCountedObject&) = delete;

    // Both are const so that holders of const pointers can share the object.
    // Answers the new count.
    int32_t retain() const;
    // Deletes the object when the count drops to 0 or below; answers the new count.
    int32_t release() const;

    int32_t getReferenceCount() const { return m_referenceCount.load(std::memory_order_acquire); }

protected:
    // Not for callers: objects go away through release().
    virtual ~QVIReferenceCountedObject() = default;

private:
    mutable std::atomic<int32_t> m_referenceCount{1};
};

}  // namespace Orvanetics
