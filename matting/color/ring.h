// Square rings around a pixel, clockwise from their upper left corner.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace color {

// Calls visit(x, y) for the pixels of the ring at Chebyshev distance r >= 1 that lie in a
// width x height raster, each corner once: top row rightwards, right column downwards, bottom row
// leftwards, left column upwards.
template <class Visit>
void walk_ring(int width, int height, int x, int y, int r, Visit visit) {
    const int left = x - r, right = x + r, top = y - r, bottom = y + r;
    if (top >= 0)
        for (int i = std::max(left, 0); i <= std::min(right, width - 1); ++i) visit(i, top);
    if (right < width)
        for (int j = std::max(top + 1, 0); j <= std::min(bottom, height - 1); ++j) visit(right, j);
    if (bottom < height)
        for (int i = std::min(right - 1, width - 1); i >= std::max(left, 0); --i) visit(i, bottom);
    if (left >= 0)
        for (int j = std::min(bottom - 1, height - 1); j >= std::max(top + 1, 0); --j)
            visit(left, j);
}

// The last ring that touches the raster.
inline int last_ring(int width, int height, int x, int y) {
    return std::max(std::max(x, width - 1 - x), std::max(y, height - 1 - y));
}

// When such a walk, ring after ring, comes by a pixel: compare with <.
struct ring_place {
    int r;
    std::int64_t along;  // the ring

    bool operator<(const ring_place& o) const { return r != o.r ? r < o.r : along < o.along; }
};

inline ring_place place_of(int dx, int dy) {
    const int r = std::max(std::abs(dx), std::abs(dy));
    const std::int64_t n = r;
    if (dy == -r) return {r, dx + n};
    if (dx == r) return {r, dy + 3 * n};
    if (dy == r) return {r, 5 * n - dx};
    return {r, 7 * n - dy};
}

}  // namespace color
