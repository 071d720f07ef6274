// Resizing by pixel centres: the centre of destination pixel i lies over (i + 0.5) * src / dst -
// 0.5. Aligning first samples instead would shift a 256-pixel segmentation by eight pixels on a
// 12-megapixel photograph. Positions are doubles, values float; the tables make the cost per pixel
// four loads and three blends.

#include "tools/matte/fit_mask.h"

#include <algorithm>
#include <vector>

namespace matte {

namespace {

struct Tap {
    int first;     // source position left of (above) the centre
    int second;    // its right (lower) neighbour, or the same at the edge
    float weight;  // of the second, 0..1
};

std::vector<Tap> make_taps(int source, int destination) {
    std::vector<Tap> taps(static_cast<std::size_t>(destination));
    const double ratio = double(source) / destination;
    for (int i = 0; i < destination; ++i) {
        const double centre = std::clamp((i + 0.5) * ratio - 0.5, 0.0, source - 1.0);
        const int first = int(centre);
        taps[std::size_t(i)] = {first, std::min(first + 1, source - 1), float(centre - first)};
    }
    return taps;
}

float blend(float a, float b, float weight) { return a + (b - a) * weight; }

}  // namespace

tools::Image fit_soft(const tools::Image& grey, int width, int height) {
    const std::vector<Tap> columns = make_taps(grey.width, width);
    const std::vector<Tap> rows = make_taps(grey.height, height);
    tools::Image fitted(width, height, 1);
    for (int y = 0; y < height; ++y) {
        const Tap& row = rows[std::size_t(y)];
        const std::uint8_t* upper = grey.row(row.first);
        const std::uint8_t* lower = grey.row(row.second);
        std::uint8_t* dst = fitted.row(y);
        for (const Tap& column : columns) {
            const float top = blend(upper[column.first], upper[column.second], column.weight);
            const float bottom = blend(lower[column.first], lower[column.second], column.weight);
            *dst++ = std::uint8_t(blend(top, bottom, row.weight) + 0.5f);
        }
    }
    return fitted;
}

tools::Image fit_nearest(const tools::Image& grey, int width, int height) {
    const std::vector<Tap> columns = make_taps(grey.width, width);
    const std::vector<Tap> rows = make_taps(grey.height, height);
    const auto nearest = [](const Tap& tap) { return tap.weight < 0.5f ? tap.first : tap.second; };
    tools::Image fitted(width, height, 1);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* src = grey.row(nearest(rows[std::size_t(y)]));
        std::uint8_t* dst = fitted.row(y);
        for (const Tap& column : columns) *dst++ = src[nearest(column)];
    }
    return fitted;
}

}  // namespace matte
