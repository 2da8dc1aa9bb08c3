// Searches in the small constant tables that pair the values of one
// vocabulary with those of another (file codes, keywords, names).
#pragma once

#include <cstddef>

namespace Orvanetics {

// The first row that `matches` accepts, or null.
template <typename Row, std::size_t N, typename Match>
constexpr const Row* findTableRow(const Row (&rows)[N], Match matches) {
    for (const Row& row : rows)
        if (matches(row)) return &row;
    return nullptr;
}

// The first row whose member `from` equals `key`, or null.
template <typename Row, std::size_t N, typename Key>
constexpr const Row* findTableRow(const Row (&rows)[N], Key Row::*from, const Key& key) {
    return findTableRow(rows, [&](const Row& row) { return row.*from == key; });
}

// Copies member `to` of the first row whose member `from` equals `key`;
// false, leaving `out`, when there is none.
template <typename Row, std::size_t N, typename Key, typename Value>
constexpr bool lookupTableRow(const Row (&rows)[N], Key Row::*from, Value Row::*to, const Key& key, Value& out) {
    const Row* row = findTableRow(rows, from, key);
    if (row != nullptr) out = row->*to;
    return row != nullptr;
}

}  // namespace Orvanetics
