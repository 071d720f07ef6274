// Guided upsampling in one call, without tables: the pair of a pixel is searched and applied at
// once. A search costs 36 blends and divisions, so the forms below limit it to the pixels of a
// label, of a mask, or of the transition zone of an alpha, and leave the rest to the bilinear
// resize. Integer arithmetic with weights in 1/4096 but for the bilinear part.
#include <cstddef>
#include <cstring>

#include "ff/filters.h"
#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/sampling/pair_search.h"
#include "matting/sampling/usam.h"

namespace {

using namespace sampling;
using ff::make_scratch;
using u8 = unsigned char;

// Writes the guided value of every wanted pixel. lo_map: contiguous.
template <class Wanted>
void write_guided(const colour_raster& full, const colour_raster& lo, const u8* lo_map, u8* dst,
                  int dst_stride, Wanted wanted) {
    search_pairs<window_3x3, 3>(full, lo, wanted, [=](int x, int y, int i, int j, int w_q12) {
        at(dst, dst_stride, x, y) = u8(blend_q12(lo_map[i], lo_map[j], w_q12));
    });
}

// Bilinear, then guided where mask is non-zero or null. The mask must not overlap dst, and the
// sizes allow a search.
void upsample_masked(const colour_raster& full, const colour_raster& lo, const u8* lo_map,
                     int lo_map_stride, const u8* mask, int mask_stride, u8* dst, int dst_stride) {
    ff::scratch<u8> packed;  // indices of pairs are linear
    if (lo_map_stride != lo.w) {
        packed = make_scratch<u8>(lo.w, lo.h);
        ff::ipf_memcpy_2d(lo_map, lo.w, lo.h, lo_map_stride, packed.get(), lo.w);
        lo_map = packed.get();
    }
    ff::ipf_resize_bl(lo_map, lo.w, lo.h, lo.w, 1, dst, full.w, full.h, dst_stride, 1, 1);
    write_guided(full, lo, lo_map, dst, dst_stride,
                 [=](int x, int y) { return !mask || at(mask, mask_stride, x, y) != 0; });
}

// 1 where the 5 x 5 neighbourhood holds two different values, else 0: the 3 x 3 test, grown by one.
ff::scratch<u8> mark_transitions(const u8* map, int w, int h, int stride) {
    auto lowest = make_scratch<u8>(w, h);
    auto marks = make_scratch<u8>(w, h);
    ff::ipf_min_filter(map, w, h, stride, 1, lowest.get(), w, 3, 1, nullptr);
    ff::ipf_max_filter(map, w, h, stride, 1, marks.get(), w, 3, 1, nullptr);
    const std::size_t pixels = std::size_t(w) * std::size_t(h);
    for (std::size_t i = 0; i < pixels; ++i) marks[i] = marks[i] != lowest[i];
    ff::ipf_max_filter(marks.get(), w, h, w, 1, marks.get(), w, 3, 1, nullptr);
    return marks;
}

}  // namespace

void usam_execute(const unsigned char* img, int w, int h, int img_stride, const unsigned char* mask,
                  int mask_stride, unsigned char label, const unsigned char* lo_img, int lo_w,
                  int lo_h, int lo_stride, const unsigned char* lo_map, unsigned char* dst,
                  int dst_stride) {
    if (!mask || !lo_map || !dst) return;
    write_guided({img, w, h, img_stride}, {lo_img, lo_w, lo_h, lo_stride}, lo_map, dst, dst_stride,
                 [=](int x, int y) { return at(mask, mask_stride, x, y) == label; });
}

void usam_masked_c1(const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                    const unsigned char* lo_map, int lo_map_stride, const unsigned char* img, int w,
                    int h, int img_stride, const unsigned char* mask, int mask_stride,
                    unsigned char* dst, int dst_stride) {
    const colour_raster full{img, w, h, img_stride}, lo{lo_img, lo_w, lo_h, lo_stride};
    if (!lo_map || !dst || !can_search<window_3x3>(full, lo)) return;
    ff::scratch<u8> copy;  // dst may be the mask
    if (mask) {
        copy = make_scratch<u8>(w, h);
        ff::ipf_memcpy_2d(mask, w, h, mask_stride, copy.get(), w);
    }
    upsample_masked(full, lo, lo_map, lo_map_stride, copy.get(), w, dst, dst_stride);
}

void usam_alpha(const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                const unsigned char* lo_alpha, int lo_alpha_stride, const unsigned char* img, int w,
                int h, int img_stride, unsigned char* dst, int dst_stride) {
    if (!lo_alpha || !dst) return;
    if (w == lo_w && h == lo_h) {
        ff::ipf_memcpy_2d(lo_alpha, w, h, lo_alpha_stride, dst, dst_stride);
        return;
    }
    const colour_raster full{img, w, h, img_stride}, lo{lo_img, lo_w, lo_h, lo_stride};
    if (!can_search<window_3x3>(full, lo)) return;
    const auto marks = mark_transitions(lo_alpha, lo_w, lo_h, lo_alpha_stride);
    const auto zone = make_scratch<u8>(w, h);
    ff::ipf_resize_nn(marks.get(), lo_w, lo_h, lo_w, 1, zone.get(), w, h, w, 1, ff::ccn<1>());
    upsample_masked(full, lo, lo_alpha, lo_alpha_stride, zone.get(), w, dst, dst_stride);
}

const unsigned char* merge_c31(const unsigned char* bgr, int w, int h, int bgr_stride,
                               const unsigned char* alpha, int alpha_stride, unsigned char* out,
                               int out_stride) {
    if (!bgr || !alpha || !out) return bgr;
    for (int y = 0; y < h; ++y) {
        const u8* colour = bgr + std::ptrdiff_t(y) * bgr_stride;
        const u8* opacity = alpha + std::ptrdiff_t(y) * alpha_stride;
        u8* pixel = out + std::ptrdiff_t(y) * out_stride;
        for (int x = 0; x < w; ++x, colour += 3, pixel += 4) {
            std::memcpy(pixel, colour, 3);
            pixel[3] = opacity[x];
        }
    }
    return bgr;
}
