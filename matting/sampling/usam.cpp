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

#include "matting/sampling/pair_search.h"

namespace {

using namespace sampling;
using u8 = unsigned char;

// The caller's tables; strides count elements.
struct weight_tables {
    int* idx;
    int idx_stride;
    short* wt;
    int wt_stride;

    explicit operator bool() const { return idx && wt; }
    bool has(int x, int y) const {
        return idx[std::ptrdiff_t(y) * idx_stride + 2 * std::ptrdiff_t(x)] >= 0;
    }
    void put(int x, int y, int first, int second, int w_q12) const {
        int* pair = idx + std::ptrdiff_t(y) * idx_stride + 2 * std::ptrdiff_t(x);
        pair[0] = first;
        pair[1] = second;
        at(wt, wt_stride, x, y) = short(w_q12);
    }
};

// Tables for the pixels whose mask byte is non-zero; a null mask wants them all.
template <class Window, int Step>
void calc_weights(const colour_raster& full, const u8* mask, int mask_stride,
                  const colour_raster& lo, const weight_tables& tables) {
    if (!tables) return;
    search_pairs<Window, Step>(
        full, lo, [=](int x, int y) { return !mask || at(mask, mask_stride, x, y) != 0; },
        [=](int x, int y, int i, int j, int w_q12) { tables.put(x, y, i, j, w_q12); });
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
    const auto calc = mode == 2 ? calc_weights<window_2x2, 3> : calc_weights<window_3x3, 3>;
    calc({img, w, h, img_stride}, mask, mask_stride, {lo_img, lo_w, lo_h, lo_stride},
         {idx, idx_stride, wt, wt_stride});
}

void usam_calc_weights_8u_c3(const unsigned char* img, int w, int h, int img_stride,
                             const unsigned char* mask, int mask_stride, unsigned char,
                             const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                             int* idx, int idx_stride, short* wt, int wt_stride, int mode) {
    usam_calc_weights_8u_c3(img, w, h, img_stride, mask, mask_stride, lo_img, lo_w, lo_h, lo_stride,
                            idx, idx_stride, wt, wt_stride, mode);
}

void usam_calc_weights_8u_c4(const unsigned char* img, int w, int h, int img_stride,
                             const unsigned char* mask, int mask_stride,
                             const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                             int* idx, int idx_stride, short* wt, int wt_stride, int mode) {
    const auto calc = mode == 2 ? calc_weights<window_2x2, 4> : calc_weights<window_3x3, 4>;
    calc({img, w, h, img_stride}, mask, mask_stride, {lo_img, lo_w, lo_h, lo_stride},
         {idx, idx_stride, wt, wt_stride});
}

void usam_update_weights(const unsigned char* img, int w, int h, int img_stride,
                         const unsigned char* mask, int mask_stride, unsigned char label,
                         const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride, int* idx,
                         int idx_stride, short* wt, int wt_stride) {
    const weight_tables tables{idx, idx_stride, wt, wt_stride};
    if (!mask || !tables) return;
    search_pairs<window_3x3, 3>(
        {img, w, h, img_stride}, {lo_img, lo_w, lo_h, lo_stride},
        [=](int x, int y) { return at(mask, mask_stride, x, y) == label && !tables.has(x, y); },
        [=](int x, int y, int i, int j, int w_q12) { tables.put(x, y, i, j, w_q12); });
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
