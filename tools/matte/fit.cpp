// Resizing by pixel centres: the centre of destination pixel i lies over (i + 0.5) * src / dst -
// 0.5. Aligning first samples instead would shift a 256-pixel segmentation by eight pixels on a
// 12-megapixel photograph. Source pixels are weighed by a triangle around that place, which reaches
// to the next pixel centre of the coarser of the two grids: linear interpolation on the way up, and
// no pixel left out on the way down. Rows are added up first, in float; no intermediate picture is
// held.

#include "tools/matte/fit.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace matte {

using tools::Image;

namespace {

// The source pixels behind one destination pixel, with weights of sum 1.
struct Tap {
    int first;
    std::vector<float> weights;
};

// A part of a side: `length` source pixels from `begin` on, neither a whole number.
struct Extent {
    double begin, length;
};

std::vector<Tap> make_taps(int source, Extent part, int destination) {
    std::vector<Tap> taps(static_cast<std::size_t>(destination));
    const double ratio = part.length / destination;
    const double radius = std::max(1.0, ratio);
    for (int i = 0; i < destination; ++i) {
        const double centre = part.begin + (i + 0.5) * ratio - 0.5;
        const int first = std::max(0, int(std::floor(centre - radius)) + 1);
        const int last = std::min(source - 1, int(std::ceil(centre + radius)) - 1);
        Tap& tap = taps[std::size_t(i)];
        tap.first = first;
        double sum = 0;
        for (int j = first; j <= last; ++j) sum += 1 - std::abs(j - centre) / radius;
        for (int j = first; j <= last; ++j) {
            tap.weights.push_back(float((1 - std::abs(j - centre) / radius) / sum));
        }
    }
    return taps;
}

void add_rows(const Image& picture, const Tap& tap, std::vector<float>& sums) {
    std::fill(sums.begin(), sums.end(), 0.0f);
    int y = tap.first;
    for (const float weight : tap.weights) {
        const std::uint8_t* row = picture.row(y++);
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += weight * float(row[i]);
    }
}

std::uint8_t add_columns(const std::vector<float>& sums, const Tap& tap, int channels, int c) {
    float sum = 0;
    const float* value = sums.data() + std::ptrdiff_t(tap.first) * channels + c;
    for (const float weight : tap.weights) {
        sum += weight * *value;
        value += channels;
    }
    return std::uint8_t(sum + 0.5f);
}

Image resize(const Image& picture, Extent across, Extent down, int width, int height) {
    const std::vector<Tap> columns = make_taps(picture.width, across, width);
    const std::vector<Tap> rows = make_taps(picture.height, down, height);
    Image fitted(width, height, picture.channels);
    std::vector<float> sums(static_cast<std::size_t>(picture.stride()));
    std::uint8_t* dst = fitted.pixels.data();
    for (const Tap& row : rows) {
        add_rows(picture, row, sums);
        for (const Tap& column : columns) {
            for (int c = 0; c < picture.channels; ++c) {
                *dst++ = add_columns(sums, column, picture.channels, c);
            }
        }
    }
    return fitted;
}

int nearest(int i, int source, int destination) {
    return int((2LL * i + 1) * source / (2LL * destination));
}

}  // namespace

Image fit_soft(const Image& picture, int width, int height) {
    return resize(picture, {0, double(picture.width)}, {0, double(picture.height)}, width, height);
}

Image fit_cover(const Image& picture, int width, int height) {
    const double scale = std::max(double(width) / picture.width, double(height) / picture.height);
    const double across = width / scale, down = height / scale;
    return resize(picture, {(picture.width - across) / 2, across},
                  {(picture.height - down) / 2, down}, width, height);
}

Image fit_nearest(const Image& grey, int width, int height) {
    Image fitted(width, height, 1);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* src = grey.row(nearest(y, grey.height, height));
        std::uint8_t* dst = fitted.row(y);
        for (int x = 0; x < width; ++x) dst[x] = src[nearest(x, grey.width, width)];
    }
    return fitted;
}

}  // namespace matte
