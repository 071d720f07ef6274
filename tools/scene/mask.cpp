// What programs are given beside a photo: a segmenter's mask and a trimap, both from the true
// matte.
//
// The mask: mean alpha in cells (256 on the long side, coarser for small pictures), blurred twice,
// cut above one half at an edge that wanders a little, as a network's does, after bilinear
// magnification. Loose hair covers too little of a cell to reach the cut.
// The trimap: a chamfer distance (3 straight, 4 diagonal) to fractional alpha, held in the bytes
// of the result itself.
#include <algorithm>
#include <vector>

#include "tools/scene/maths.h"
#include "tools/scene/scene.h"

namespace tools {
namespace {

struct Grid {
    int columns, rows;
    std::vector<float> values;

    Grid(int c, int r) : columns(c), rows(r), values(std::size_t(c) * std::size_t(r)) {}
    float& at(int x, int y) {
        return values[std::size_t(y) * std::size_t(columns) + std::size_t(x)];
    }
    // Outside, the border's value.
    float near(int x, int y) {
        return at(std::min(std::max(x, 0), columns - 1), std::min(std::max(y, 0), rows - 1));
    }
};

Grid cell_means(const Image& alpha, int side) {
    Grid means(1 + (alpha.width - 1) / side, 1 + (alpha.height - 1) / side);
    for (int y = 0; y < alpha.height; ++y) {
        const std::uint8_t* row = alpha.row(y);
        for (int x = 0; x < alpha.width; ++x) means.at(x / side, y / side) += float(row[x]);
    }
    for (int y = 0; y < means.rows; ++y)
        for (int x = 0; x < means.columns; ++x) {
            int area =
                std::min(side, alpha.width - x * side) * std::min(side, alpha.height - y * side);
            means.at(x, y) /= 255 * float(area);
        }
    return means;
}

// Binomial 1 4 6 4 1 in both directions.
Grid blurred(Grid& from) {
    Grid across(from.columns, from.rows), to(from.columns, from.rows);
    auto weigh = [](float a, float b, float c, float d, float e) {
        return (a + e + 4 * (b + d) + 6 * c) * (1.f / 16);
    };
    for (int y = 0; y < from.rows; ++y)
        for (int x = 0; x < from.columns; ++x)
            across.at(x, y) = weigh(from.near(x - 2, y), from.near(x - 1, y), from.at(x, y),
                                    from.near(x + 1, y), from.near(x + 2, y));
    for (int y = 0; y < from.rows; ++y)
        for (int x = 0; x < from.columns; ++x)
            to.at(x, y) = weigh(across.near(x, y - 2), across.near(x, y - 1), across.at(x, y),
                                across.near(x, y + 1), across.near(x, y + 2));
    return to;
}

void relax(std::uint8_t& here, std::uint8_t from, int cost) {
    here = std::uint8_t(std::min<int>(here, std::min(from + cost, 255)));
}

// One sweep over the rows in order `step`; the other order completes it.
void sweep(Image& distance, int step) {
    int w = distance.width, first = step > 0 ? 0 : distance.height - 1;
    for (int i = 0, y = first; i < distance.height; ++i, y += step) {
        std::uint8_t* row = distance.row(y);
        if (i > 0) {
            const std::uint8_t* before = distance.row(y - step);
            for (int x = 0; x < w; ++x) {
                relax(row[x], before[x], 3);
                if (x > 0) relax(row[x], before[x - 1], 4);
                if (x + 1 < w) relax(row[x], before[x + 1], 4);
            }
        }
        for (int x = 1; x < w; ++x) relax(row[x], row[x - 1], 3);
        for (int x = w - 2; x >= 0; --x) relax(row[x], row[x + 1], 3);
    }
}

}  // namespace

Image coarse_mask(const Image& alpha, unsigned seed) {
    int longer = std::max(alpha.width, alpha.height);
    int side = longer >= 1024 ? 1 + (longer - 1) / 256 : std::min(4, 1 + longer / 64);
    Grid cells = cell_means(alpha, side);
    cells = blurred(cells);
    cells = blurred(cells);
    float wander = 24 / float(std::max(cells.columns, cells.rows));
    for (int y = 0; y < cells.rows; ++y)
        for (int x = 0; x < cells.columns; ++x)
            cells.at(x, y) -=
                0.6f + 0.2f * parts::noise(float(x) * wander, float(y) * wander, seed + 500);
    Image mask(alpha.width, alpha.height, 1);
    for (int y = 0; y < alpha.height; ++y) {
        float sy = (float(y) + 0.5f) / float(side) - 0.5f, fy = std::floor(sy);
        for (int x = 0; x < alpha.width; ++x) {
            float sx = (float(x) + 0.5f) / float(side) - 0.5f, fx = std::floor(sx);
            int ix = int(fx), iy = int(fy);
            float above = parts::mix(cells.near(ix, iy), cells.near(ix + 1, iy), sx - fx);
            float below = parts::mix(cells.near(ix, iy + 1), cells.near(ix + 1, iy + 1), sx - fx);
            mask.row(y)[x] = parts::mix(above, below, sy - fy) > 0 ? 255 : 0;
        }
    }
    return mask;
}

Image trimap_of(const Image& alpha, int radius) {
    Image trimap(alpha.width, alpha.height, 1);
    for (std::size_t i = 0; i < alpha.pixels.size(); ++i)
        trimap.pixels[i] = alpha.pixels[i] == 0 || alpha.pixels[i] == 255 ? 255 : 0;
    sweep(trimap, 1);
    sweep(trimap, -1);
    int limit = std::min(3 * radius, 254);
    for (std::size_t i = 0; i < alpha.pixels.size(); ++i)
        trimap.pixels[i] = trimap.pixels[i] <= limit ? 128 : alpha.pixels[i];
    return trimap;
}

}  // namespace tools
