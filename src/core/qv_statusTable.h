// The table of status codes and their texts, in lookup order.
#pragma once

#include <cstddef>

#include "qv_utilStatusData.h"

namespace Orvanetics {

struct QVStatusTableRow {
    QVStatus code;
    const char* text;
};

// Number of rows; some codes stand twice, and the first of them wins.
size_t qvStatusTableSize();
// Row i in table order; i must be below qvStatusTableSize().
const QVStatusTableRow& qvStatusTableRow(size_t i);
// Text of the first row with this code, or null when there is none.
const char* qvStatusTableLookup(QVStatus code);

}  // namespace Orvanetics
