// Corner-aligned reduction, and marks that follow the colours down. Positions are computed once per
// row and column in double precision; everything else is integer, a few operations a pixel.
#include "matting/sampling/dsam.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/sampling/pair_search.h"

namespace {

using namespace sampling;
using u8 = unsigned char;

constexpr u8 unmarked = 128;

// Source sample of each of n destination samples: the nearest, the last one pinned to the last.
ff::scratch<int> aligned_samples(int src_n, int n) {
    auto table = ff::make_scratch<int>(n);
    table[0] = 0;
    if (n == 1) return table;
    const double ratio = double(src_n - 1) / double(n - 1);
    for (int i = 0; i < n; ++i)
        table[std::size_t(i)] = std::min(int(ratio * double(i) + round_half_up), src_n - 1);
    table[std::size_t(n) - 1] = src_n - 1;
    return table;
}

int squared_distance(const u8* a, const u8* b) {
    const int d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2];
    return d0 * d0 + d1 * d1 + d2 * d2;
}

// Which of the 2 x 2 pixels from `corner` on, counted in raster order, is closest to `colour`.
int closest_of_four(const u8* corner, int stride, const u8* colour) {
    const u8* const candidate[] = {corner, corner + 3, corner + stride, corner + stride + 3};
    int best = 0, shortest = squared_distance(candidate[0], colour);
    for (int k = 1; k < 4; ++k) {
        const int d = squared_distance(candidate[k], colour);
        if (d < shortest) best = k, shortest = d;
    }
    return best;
}

}  // namespace

template <int C>
void _dsam_image_x(const unsigned char* src, int w, int h, int stride, unsigned char* dst, int dw,
                   int dh, int dst_stride) {
    if (!src || !dst || w < 1 || h < 1 || dw < 1 || dh < 1) return;
    const auto columns = aligned_samples(w, dw);
    const auto rows = aligned_samples(h, dh);
    for (int y = 0; y < dh; ++y) {
        const u8* from = src + std::ptrdiff_t(rows[std::size_t(y)]) * stride;
        u8* to = dst + std::ptrdiff_t(y) * dst_stride;
        for (int x = 0; x < dw; ++x, to += C)
            std::memcpy(to, from + std::ptrdiff_t(columns[std::size_t(x)]) * C, C);
    }
}

template void _dsam_image_x<1>(const unsigned char*, int, int, int, unsigned char*, int, int, int);
template void _dsam_image_x<3>(const unsigned char*, int, int, int, unsigned char*, int, int, int);
template void _dsam_image_x<4>(const unsigned char*, int, int, int, unsigned char*, int, int, int);

void dsam_image(const unsigned char* src, int w, int h, int stride, unsigned char* dst, int dw,
                int dh, int dst_stride, int channels) {
    if (channels == 1) _dsam_image_x<1>(src, w, h, stride, dst, dw, dh, dst_stride);
    if (channels == 3) _dsam_image_x<3>(src, w, h, stride, dst, dw, dh, dst_stride);
    if (channels == 4) _dsam_image_x<4>(src, w, h, stride, dst, dw, dh, dst_stride);
}

void dsam_calc_index(const unsigned char* img, int w, int h, int img_stride,
                     const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride, int* out,
                     int out_stride) {
    if (!img || !lo_img || !out || w < 2 || h < 2 || lo_w < 2 || lo_h < 2) return;
    constexpr double truncate = 0.0;
    const auto columns = positions(lo_w, w, truncate, 0);
    const auto rows = positions(lo_h, h, truncate, 0);
    for (int y = 0; y < h; ++y) {
        const u8* pixel = img + std::ptrdiff_t(y) * img_stride;
        const int cy = rows[std::size_t(y)];
        const u8* lo_row = lo_img + std::ptrdiff_t(cy) * lo_stride;
        for (int x = 0; x < w; ++x, pixel += 3) {
            const int cx = columns[std::size_t(x)];
            const int k = closest_of_four(lo_row + 3 * std::ptrdiff_t(cx), lo_stride, pixel);
            at(out, out_stride, x, y) = (cy + k / 2) * lo_w + cx + k % 2;
        }
    }
}

void dsam_ui_alpha(const unsigned char* ui, int w, int h, int ui_stride, const int* index,
                   int index_stride, unsigned char* lo, int lo_w, int lo_h, int, int) {
    if (!ui || !index || !lo || w < 1 || h < 1 || lo_w < 1 || lo_h < 1) return;
    ff::ipf_memset_2d(lo, lo_w, lo_h, lo_w, char(unmarked));
    const std::int64_t lo_pixels = std::int64_t(lo_w) * lo_h;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const u8 mark = at(ui, ui_stride, x, y);
            const int i = at(index, index_stride, x, y);
            if (mark != unmarked && i >= 0 && i < lo_pixels) lo[i] = mark;
        }
}
