// Assembly over a whole picture: unknown y * width + x is pixel (x, y).
//
// The accumulators are those of the masked assembly; here each pair's weight also goes to the self
// slot of its later pixel, so that a column's diagonal is its self slot plus its forward weights.
// Entries that no window touched (beyond the picture, or wrapped into another row) have weight zero
// and are dropped by magnitude.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <new>

#include "ff/scratch.h"
#include "matting/solver/mat_system.h"
#include "matting/solver/window_weights.h"

namespace {

using namespace matting;
using ff::make_scratch;
using ff::scratch;

constexpr double smallest_weight = 1e-10;

// Adds the weights of the window whose upper left pixel is `corner`; they stand `plane` doubles
// apart.
void add_window(const double* weights, std::ptrdiff_t plane, int width, std::ptrdiff_t corner,
                double* sums) {
    double* own[9];
    for (int i = 0; i < 9; ++i)
        own[i] = sums + (corner + std::ptrdiff_t(i / 3) * width + i % 3) * slot_count;
    for (int p = 0; p < pair_count; ++p) {
        const window_pair& pair = window_pairs[std::size_t(p)];
        own[pair.i][pair.slot] += weights[p * plane];
        own[pair.j][0] += weights[p * plane];
    }
}

scratch<double> accumulate(const unsigned char* image, int width, int height, int stride) {
    const std::ptrdiff_t pixels = std::ptrdiff_t(width) * height;
    auto sums = make_scratch<double>(pixels, slot_count);
    std::fill_n(sums.get(), pixels * slot_count, 0.0);
    colour_rows colours(image, width, height, stride);
    const std::ptrdiff_t plane = std::ptrdiff_t(width) + window_lanes;
    const auto weights = make_scratch<double>(pair_count, plane);
    for (int y = 0; y < height - 2; ++y) {
        colours.convert(y, 0, width);
        pair_weights(colours, 0, y, width - 2, weights.get(), plane);
        for (int x = 0; x < width - 2; ++x)
            add_window(weights.get() + x, plane, width, std::ptrdiff_t(y) * width + x, sums.get());
    }
    return sums;
}

void fill_columns(const double* sums, int width, mat_data& record) {
    int position = 0;
    for (int k = 0; k < record.n; ++k, sums += slot_count) {
        const int own = position++;
        double diagonal = sums[0];
        for (int s = 0; s < forward_count; ++s) {
            const double weight = sums[s + 1];
            if (!(std::fabs(weight) > smallest_weight)) continue;
            diagonal += weight;
            record.values[position] = -weight;
            record.row_ind[position++] =
                k + forward_offset[s][0] * width + forward_offset[s][1] + 1;
        }
        record.values[own] = diagonal;
        record.row_ind[own] = k + 1;
        record.col_ptr[k] = own + 1;
    }
    record.col_ptr[record.n] = position + 1;
}

}  // namespace

void mat_init(const unsigned char* image, int width, int height, int image_stride, mat_data& out,
              unsigned char*) {
    if (!image || width < 1 || height < 1) {
        out.release();
        return;
    }
    const std::ptrdiff_t pixels = std::ptrdiff_t(width) * height;
    if (pixels > INT_MAX / slot_count) throw std::bad_alloc();  // positions in the system are ints
    const auto sums = accumulate(image, width, height, image_stride);
    mat_data fresh;
    fresh.create(int(pixels));
    fresh.width = width;
    fresh.height = height;
    fill_columns(sums.get(), width, fresh);
    out.swap(fresh);
}
