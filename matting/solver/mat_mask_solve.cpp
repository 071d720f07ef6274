// Solves a part of a record that covers the whole picture.
//
// The masked pixels and their ring are numbered, their columns are cut out of the record, and each
// diagonal is made anew so that the rows of the part sum to zero. Values are truncated to bytes
// here, not rounded, and a trimap byte of 0, not 128, is free.
#include <algorithm>
#include <cstddef>

#include "ff/scratch.h"
#include "matting/solver/alpha_byte.h"
#include "matting/solver/mat_solve.h"
#include "matting/solver/sparse_solve.h"

namespace {

using namespace matting;
using ff::make_scratch;
using ff::scratch;
using u8 = unsigned char;

enum selection : u8 { outside = 0, free_pixel = 1, pinned_pixel = 2 };

const u8* row_of(const u8* p, int y, int stride) { return p + std::ptrdiff_t(y) * stride; }
u8* row_of(u8* p, int y, int stride) { return p + std::ptrdiff_t(y) * stride; }

// The mask grown by one pixel, compact.
scratch<u8> select_with_ring(const u8* mask, int width, int height, int stride) {
    auto selected = make_scratch<u8>(width, height);
    std::fill_n(selected.get(), std::ptrdiff_t(width) * height, u8(outside));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            if (!row_of(mask, y, stride)[x]) continue;
            const int x0 = std::max(x - 1, 0), x1 = std::min(x + 1, width - 1);
            for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v)
                std::fill(selected.get() + std::ptrdiff_t(v) * width + x0,
                          selected.get() + std::ptrdiff_t(v) * width + x1 + 1, u8(pinned_pixel));
        }
    return selected;
}

// Frees the masked pixels whose trimap byte is 0 and puts the others' into alpha. Returns the
// number of selected pixels.
int apply_trimap(const u8* trimap, int trimap_stride, const u8* mask, int mask_stride, u8* alpha,
                 int alpha_stride, int width, int height, u8* selected) {
    int count = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x, ++selected) {
            if (*selected == outside) continue;
            ++count;
            if (!row_of(mask, y, mask_stride)[x]) continue;
            const u8 known = row_of(trimap, y, trimap_stride)[x];
            if (known)
                row_of(alpha, y, alpha_stride)[x] = known;
            else
                *selected = free_pixel;
        }
    return count;
}

// Number of every selected pixel in raster order, -1 elsewhere.
scratch<int> number_selected(const u8* selected, int pixels) {
    auto number = make_scratch<int>(pixels);
    int next = 0;
    for (int p = 0; p < pixels; ++p) number[std::size_t(p)] = selected[p] ? next++ : -1;
    return number;
}

// The columns of the selected pixels, cut down to selected rows, rows summing to zero.
void cut_out(const mat_data& whole, const int* number, mat_data& part) {
    std::fill_n(part.rhs, part.n, 0.0);  // sums of the off-diagonal values first
    int position = 0;
    for (int p = 0; p < whole.n; ++p) {
        const int k = number[p];
        if (k < 0) continue;
        part.col_ptr[k] = position + 1;
        part.row_ind[position++] = k + 1;
        for (int e = whole.col_ptr[p]; e < whole.col_ptr[p + 1] - 1; ++e) {
            const int other = number[whole.row_ind[e] - 1];
            if (other < 0) continue;
            part.row_ind[position] = other + 1;
            part.values[position++] = whole.values[e];
            part.rhs[k] += whole.values[e];
            part.rhs[other] += whole.values[e];
        }
    }
    part.col_ptr[part.n] = position + 1;
    for (int k = 0; k < part.n; ++k) part.values[part.col_ptr[k] - 1] = -part.rhs[k];
}

}  // namespace

int mat_mask_run(mat_data& data, const unsigned char* trimap, int width, int height,
                 int trimap_stride, unsigned char* mask, int mask_stride, unsigned char* alpha,
                 int alpha_stride, int, double) {
    if (width < 1 || height < 1 || !trimap || !mask || !alpha) return 0;
    const bool covers =
        std::ptrdiff_t(width) * height == data.n && data.values && data.col_ptr && data.row_ind;
    if (!covers) return 0;
    const auto selected = select_with_ring(mask, width, height, mask_stride);
    const int m = apply_trimap(trimap, trimap_stride, mask, mask_stride, alpha, alpha_stride, width,
                               height, selected.get());
    if (m == 0) return 0;
    const auto number = number_selected(selected.get(), data.n);
    mat_data part;
    part.create(m);
    cut_out(data, number.get(), part);

    const auto x = make_scratch<double>(m);
    const auto alpha_of = [=](int p) -> u8& {
        return row_of(alpha, p / width, alpha_stride)[p % width];
    };
    for (int p = 0; p < data.n; ++p) {
        const int k = number[std::size_t(p)];
        if (k < 0) continue;
        x[std::size_t(k)] = alpha_of(p) * byte_to_unit;
        const bool pinned = selected[std::size_t(p)] == pinned_pixel;
        if (pinned) part.values[part.col_ptr[k] - 1] += constraint_weight;
        part.rhs[k] = pinned ? x[std::size_t(k)] * constraint_weight : 0.0;
    }
    const int result =
        mn_sparse_solve_d(part.values, part.row_ind, part.col_ptr, m, 4, part.rhs, x.get());
    for (int p = 0; p < data.n; ++p)
        if (number[std::size_t(p)] >= 0)
            alpha_of(p) = clamp_to_byte(x[std::size_t(number[std::size_t(p)])] * 255.0);
    return result;
}
