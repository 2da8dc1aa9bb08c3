#include "qv_ioStreamInf.h"

#include <algorithm>
#include <cstdlib>

namespace Orvanetics {

namespace {
constexpr size_t kFirstStringBlock = 256;
constexpr size_t kMaxStringGrowth = 32768;
}  // namespace

char* QVIOStreamInf::readString(char delimiter) {
    size_t capacity = kFirstStringBlock;
    char* block = static_cast<char*>(std::malloc(capacity));
    if (block == nullptr) return nullptr;
    size_t length = 0;
    for (;;) {
        // Keep room for the byte and a terminator behind it.
        if (length + 2 > capacity) {
            size_t grown = capacity + std::min(capacity, kMaxStringGrowth);
            char* bigger = static_cast<char*>(std::realloc(block, grown));
            if (bigger == nullptr) break;
            block = bigger;
            capacity = grown;
        }
        uint8_t byte = 0;
        if (read(&byte, 1) != 1) break;
        block[length++] = static_cast<char>(byte);
        if (static_cast<char>(byte) == delimiter) {
            block[length] = '\0';
            return block;
        }
    }
    std::free(block);
    return nullptr;
}

}  // namespace Orvanetics
