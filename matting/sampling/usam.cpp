// Guided upsampling: tables once per photograph, then two loads, a multiply and a shift a pixel.
//
// A full-resolution pixel's neighbourhood is the 3 x 3 (or 2 x 2) low-resolution pixels around its
// corner-aligned position; of the 36 (6) pairs in it the one whose blend comes closest to its
// colour is kept. Integer arithmetic throughout, weights in 1/4096; only the positions are computed
// in double precision. Cost: 36 blends and divisions a pixel for the tables, unless a pair matches
// exactly before.
#include "matting/sampling/usam.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "ff/scratch.h"
#include "matting/sampling/pair_search.h"

namespace {

using namespace sampling;
using u8 = unsigned char;

constexpr double round_half_up = 0.5;

// Low-resolution position of every one of n full-resolution samples: trunc(ratio i + rounding),
// kept within lowest .. lo_n - 2, so that what lies after it (and before it, with lowest 1) exists.
ff::scratch<int> positions(int lo_n, int n, double rounding, int lowest) {
    auto table = ff::make_scratch<int>(n);
    const double ratio = double(lo_n - 1) / double(n - 1);
    for (int i = 0; i < n; ++i)
        table[std::size_t(i)] = std::clamp(int(ratio * double(i) + rounding), lowest, lo_n - 2);
    return table;
}

// The search window of a mode: its candidates' offsets from the position, in (row, column), and how
// positions are rounded. The 2 x 2 window counts clockwise and truncates its rows; wanted so.
struct window_3x3 {
    static constexpr int count = 9;
    static constexpr int offsets[count][2] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, -1}, {0, 0},
                                              {0, 1},   {1, -1}, {1, 0},  {1, 1}};
    static constexpr double row_rounding = round_half_up;
    static constexpr int lowest = 1;
    static constexpr int smallest_side = 3;
};

struct window_2x2 {
    static constexpr int count = 4;
    static constexpr int offsets[count][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
    static constexpr double row_rounding = 0.0;
    static constexpr int lowest = 0;
    static constexpr int smallest_side = 2;
};

template <class Window>
candidates<Window::count> candidates_at(const u8* lo_img, int lo_stride, int cx, int cy) {
    candidates<Window::count> c;
    for (int k = 0; k < Window::count; ++k) {
        const u8* p = lo_img + std::ptrdiff_t(cy + Window::offsets[k][0]) * lo_stride +
                      3 * std::ptrdiff_t(cx + Window::offsets[k][1]);
        c.c0[k] = p[0], c.c1[k] = p[1], c.c2[k] = p[2];
    }
    return c;
}

template <class Window>
void calc_weights(const u8* img, int w, int h, int img_stride, const u8* mask, int mask_stride,
                  const u8* lo_img, int lo_w, int lo_h, int lo_stride, int* idx, int idx_stride,
                  short* wt, int wt_stride) {
    constexpr int side = Window::smallest_side;
    if (!img || !lo_img || !idx || !wt || w < 2 || h < 2 || lo_w < side || lo_h < side) return;
    const auto columns = positions(lo_w, w, round_half_up, Window::lowest);
    const auto rows = positions(lo_h, h, Window::row_rounding, Window::lowest);
    for (int y = 0; y < h; ++y) {
        const u8* pixel = img + std::ptrdiff_t(y) * img_stride;
        const u8* wanted = mask ? mask + std::ptrdiff_t(y) * mask_stride : nullptr;
        int* pair_of = idx + std::ptrdiff_t(y) * idx_stride;
        short* weight_of = wt + std::ptrdiff_t(y) * wt_stride;
        const int cy = rows[std::size_t(y)];
        candidates<Window::count> around;
        int around_x = -1;  // the column whose candidates `around` holds
        for (int x = 0; x < w; ++x, pixel += 3) {
            if (wanted && !wanted[x]) continue;
            const int cx = columns[std::size_t(x)];
            if (cx != around_x)
                around = candidates_at<Window>(lo_img, lo_stride, around_x = cx, cy);
            const colour_pair best = closest_pair(around, pixel[0], pixel[1], pixel[2]);
            const auto index = [=](int k) {
                return (cy + Window::offsets[k][0]) * lo_w + cx + Window::offsets[k][1];
            };
            pair_of[2 * std::ptrdiff_t(x)] = index(best.i);
            pair_of[2 * std::ptrdiff_t(x) + 1] = index(best.j);
            weight_of[x] = short(best.w_q12);
        }
    }
}

// Calls pixel(x, y, first index, second index, weight) for every pixel that has weights.
template <class Pixel>
void for_each_weighted(const int* idx, int idx_stride, const short* wt, int wt_stride, int w, int h,
                       Pixel pixel) {
    for (int y = 0; y < h; ++y) {
        const int* pair_of = idx + std::ptrdiff_t(y) * idx_stride;
        const short* weight_of = wt + std::ptrdiff_t(y) * wt_stride;
        for (int x = 0; x < w; ++x) {
            const int first = pair_of[2 * std::ptrdiff_t(x)];
            if (first >= 0) pixel(x, y, first, pair_of[2 * std::ptrdiff_t(x) + 1], weight_of[x]);
        }
    }
}

// How far lo_new is to replace what it was: 0 .. 32.
constexpr int smallest_change = 4, full_change = 32;

}  // namespace

void usam_calc_weights_8u_c3(const unsigned char* img, int w, int h, int img_stride,
                             const unsigned char* mask, int mask_stride,
                             const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                             int* idx, int idx_stride, short* wt, int wt_stride, int mode) {
    const auto calc = mode == 2 ? calc_weights<window_2x2> : calc_weights<window_3x3>;
    calc(img, w, h, img_stride, mask, mask_stride, lo_img, lo_w, lo_h, lo_stride, idx, idx_stride,
         wt, wt_stride);
}

void usam_calc_weights_8u_c3(const unsigned char* img, int w, int h, int img_stride,
                             const unsigned char* mask, int mask_stride, unsigned char,
                             const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                             int* idx, int idx_stride, short* wt, int wt_stride, int mode) {
    usam_calc_weights_8u_c3(img, w, h, img_stride, mask, mask_stride, lo_img, lo_w, lo_h, lo_stride,
                            idx, idx_stride, wt, wt_stride, mode);
}

void usam_interpolate_c1(const unsigned char* lo, int, int, const int* idx, int idx_stride,
                         const short* wt, int wt_stride, unsigned char* dst, int w, int h,
                         int dst_stride) {
    if (!lo || !idx || !wt || !dst) return;
    for_each_weighted(
        idx, idx_stride, wt, wt_stride, w, h, [=](int x, int y, int first, int second, int weight) {
            dst[std::ptrdiff_t(y) * dst_stride + x] = u8(blend_q12(lo[first], lo[second], weight));
        });
}

void usam_interpolate_c1(const unsigned char* lo, int, int, const int* idx, int idx_stride,
                         const short* wt, int wt_stride, unsigned char* dst, int w, int h,
                         int dst_stride, const unsigned char* mask, int mask_stride,
                         unsigned char label) {
    if (!lo || !idx || !wt || !dst || !mask) return;
    for (int y = 0; y < h; ++y) {
        const u8* wanted = mask + std::ptrdiff_t(y) * mask_stride;
        u8* out = dst + std::ptrdiff_t(y) * dst_stride;
        for_each_weighted(idx + std::ptrdiff_t(y) * idx_stride, idx_stride,
                          wt + std::ptrdiff_t(y) * wt_stride, wt_stride, w, 1,
                          [=](int x, int, int first, int second, int weight) {
                              if (wanted[x] == label)
                                  out[x] = u8(blend_q12(lo[first], lo[second], weight));
                          });
    }
}

void usam_interpolate_mask_c1(const unsigned char* lo_old, const unsigned char* lo_new, int, int,
                              const int* idx, int idx_stride, const short* wt, int wt_stride,
                              unsigned char* dst, int w, int h, int dst_stride) {
    if (!lo_old || !lo_new || !idx || !wt || !dst) return;
    for_each_weighted(
        idx, idx_stride, wt, wt_stride, w, h, [=](int x, int y, int first, int second, int weight) {
            const int change =
                std::abs(lo_new[first] - lo_old[first]) + std::abs(lo_new[second] - lo_old[second]);
            if (change < smallest_change) return;
            u8& out = dst[std::ptrdiff_t(y) * dst_stride + x];
            const int value = blend_q12(lo_new[first], lo_new[second], weight);
            const int strength = std::min(change, full_change);
            out = u8(((value - out) * strength + out * full_change) >> 5);
        });
}
