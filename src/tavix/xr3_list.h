// The list in insertion order that the container classes hand around.
#pragma once

#include <algorithm>
#include <list>
#include <new>
#include <utility>

namespace Orvanetics {

// A std::list that can also grow without throwing, since the container
// answers exhausted memory with a status rather than an exception.
template <class T>
class XR3List : public std::list<T> {
public:
    using std::list<T>::list;

    // Appends; false when memory is exhausted (the list is then unchanged).
    bool append(T value) noexcept {
        try {
            this->push_back(std::move(value));
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    // Unlinks the first node equal to value; true if there was one.
    bool removeFirst(const T& value) {
        auto it = std::find(this->begin(), this->end(), value);
        if (it == this->end()) return false;
        this->erase(it);
        return true;
    }

    bool contains(const T& value) const {
        return std::find(this->begin(), this->end(), value) != this->end();
    }
};

}  // namespace Orvanetics
