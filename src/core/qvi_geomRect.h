// An integer rectangle with inclusive corners.
#pragma once

#include <cstdint>

namespace Orvanetics {

struct QVIGeomRect {
    // The empty rectangle: width and height 0.
    QVIGeomRect() : x0(0), y0(0), x1(-1), y1(-1) {}
    QVIGeomRect(int32_t left, int32_t top, int32_t right, int32_t bottom)
        : x0(left), y0(top), x1(right), y1(bottom) {}

    int32_t getWidth() const { return x1 - x0 + 1; }
    int32_t getHeight() const { return y1 - y0 + 1; }
    bool isEmpty() const { return x1 < x0 || y1 < y0; }

    bool operator==(const QVIGeomRect& other) const = default;

    int32_t x0;
    int32_t y0;
    int32_t x1;
    int32_t y1;
};

}  // namespace Orvanetics
