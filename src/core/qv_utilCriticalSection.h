// A mutual-exclusion lock for objects shared between threads.
#pragma once

#include <mutex>

namespace Orvanetics {

// Recursive, because a delegate run while the lock is held (an object load,
// say) may come back into the same object. Usable with std::lock_guard.
class QVUtilCriticalSection {
public:
    void lock() { m_mutex.lock(); }
    bool try_lock() { return m_mutex.try_lock(); }
    void unlock() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

}  // namespace Orvanetics
