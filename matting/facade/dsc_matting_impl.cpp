// Init and the road of one matte: unknown mask and system at the working resolution, solve, guided
// upsampling into the unknown pixels of the full alpha, clean-up of its boundary, copy out.
#include "matting/facade/dsc_matting_impl.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <new>

#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/color/fb_color.h"
#include "matting/edit/cleanup.h"
#include "matting/sampling/usam.h"
#include "matting/solver/mat_solve.h"
#include "matting/solver/mat_system.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/in_place.h"

namespace {

constexpr int grey_format = 0x111, colour_format = 0x311;
constexpr int row_alignment = 4;
constexpr unsigned char unknown_value = 128;
constexpr unsigned char lowest_mixed = 1, highest_mixed = 253;  // of the colour estimate
constexpr int search_mode = 3;  // guided upsampling among 3 x 3 working pixels

bool is_empty(const ff::FVTImage& image) {
    return !image.data || image.width < 1 || image.height < 1;
}

template <int C>
void resize_nearest(const ff::FVTImage& from, ff::FVTImage& to) {
    ff::ipf_resize_nn(from.data, from.width, from.height, from.stride, C, to.data, to.width,
                      to.height, to.stride, C, ff::ccn<C>());
}

// 1 where the trimap is unknown, 0 elsewhere.
ff::FVTImage unknown_mask(const ff::FVTImage& trimap) {
    ff::FVTImage mask(trimap.width, trimap.height, grey_format, row_alignment);
    for (int y = 0; y < trimap.height; ++y) {
        const unsigned char* from = trimap.data + std::ptrdiff_t(y) * trimap.stride;
        unsigned char* to = mask.data + std::ptrdiff_t(y) * mask.stride;
        for (int x = 0; x < trimap.width; ++x) to[x] = from[x] == unknown_value;
    }
    return mask;
}

}  // namespace

void DSCMattingImpl::Init(const u8* img, int w, int h, int stride, const u8* seg, int seg_stride,
                          int max_size, int max_band, double band_scale, int step, u8 low_contrast,
                          u8 high_contrast, int min_band) {
    if (!img || w < 1 || h < 1) return;
    try {
        // The upsampling tables count working pixels in ints.
        if (std::int64_t(w) * h > INT_MAX) throw std::bad_alloc();
        up_weights.reset();
        up_index.reset();
        fg_image.Clear();
        fg_stale = true;
        width = w;
        height = h;
        image.Reset(w, h, colour_format, row_alignment);
        ff::ipf_memcpy_2d(img, 3 * w, h, stride, image.data, image.stride);
        alpha.Reset(w, h, grey_format, row_alignment);
        up_index = ff::make_scratch<int>(std::ptrdiff_t(w) * h, 2);
        if (seg) {
            take_segmentation(img, stride, seg, seg_stride,
                              {max_band, band_scale, step, low_contrast, high_contrast, min_band});
        } else {
            seg_trimap.Clear();
            ff::ipf_memset_2d(alpha.data, w, h, alpha.stride, 0);
        }
        choose_working_size(max_size);
        make_working_images();
        make_tables();
    } catch (...) {
        forget();  // sizes, images and tables must agree, whatever was to be had
        throw;
    }
}

void DSCMattingImpl::forget() {
    for (ff::FVTImage* i :
         {&image, &alpha, &fg_image, &work_image, &work_alpha, &seg_trimap, &work_trimap})
        i->Clear();
    up_weights.reset();
    up_index.reset();
    width = height = work_width = work_height = 0;
}

void DSCMattingImpl::take_segmentation(const u8* img, int stride, const u8* seg, int seg_stride,
                                       const trimap_settings& s) {
    seg_trimap.Reset(width, height, grey_format, row_alignment);
    // The memory of the tables, which are not filled yet, serves as scratch.
    trimap::make_by_contrast(img, width, height, stride, seg, seg_stride, seg_trimap.data,
                             seg_trimap.stride, s.max_band, s.band_scale, s.step, s.low_contrast,
                             s.high_contrast, s.min_band, up_index.get());
    InvertMatte(seg_trimap.data, width, height, seg_trimap.stride);
    ff::ipf_memcpy_2d(seg_trimap.data, width, height, seg_trimap.stride, alpha.data, alpha.stride);
}

// Reduced only when both sides exceed max_size; then the longer side becomes it.
void DSCMattingImpl::choose_working_size(int max_size) {
    work_width = width;
    work_height = height;
    if (width > max_size && height > max_size) {
        const double limit = std::max(max_size, 0);
        const double s = std::min(limit / width, limit / height);
        work_height = int(s * height + 0.5);
        work_width = int(s * width + 0.5);
    }
    work_width &= ~3;
}

// With a width that is a multiple of 4, strides equal widths; the solver and the interpolation rely
// on it, as they take no stride.
void DSCMattingImpl::make_working_images() {
    work_image.Reset(work_width, work_height, colour_format, row_alignment);
    work_alpha.Reset(work_width, work_height, grey_format, row_alignment);
    work_trimap.Reset(work_width, work_height, grey_format, row_alignment);
    resize_nearest<3>(image, work_image);
    resize_nearest<1>(alpha, work_alpha);
    if (is_empty(seg_trimap))
        ff::ipf_memset_2d(work_trimap.data, work_width, work_height, work_trimap.stride, 0);
    else
        resize_nearest<1>(seg_trimap, work_trimap);
}

// Whether the guided upsampling has the pixels it needs; without it nothing is solved either.
bool DSCMattingImpl::can_solve() const {
    return width >= 2 && height >= 2 && work_width >= 3 && work_height >= 3;
}

void DSCMattingImpl::make_tables() {
    const auto pixels = std::ptrdiff_t(width) * height;
    up_weights = ff::make_scratch<short>(pixels);
    std::fill_n(up_index.get(), 2 * pixels, -1);
    if (!can_solve()) return;
    usam_calc_weights_8u_c3(image.data, width, height, image.stride, seg_trimap.data,
                            seg_trimap.stride, unknown_value, work_image.data, work_width,
                            work_height, work_image.stride, up_index.get(), 2 * width,
                            up_weights.get(), width, search_mode);
}

void DSCMattingImpl::set_alpha(const u8* a, int w, int h, int stride) {
    if (!a || is_empty(alpha) || w != alpha.width || h != alpha.height) return;
    ff::ipf_memcpy_2d(a, w, h, stride, alpha.data, alpha.stride);
    resize_nearest<1>(alpha, work_alpha);
}

void DSCMattingImpl::Refine(const u8* trimap, int w, int h, int stride, u8* out, int out_stride,
                            int smooth, int keep_components) {
    if (!is_size(w, h) || !trimap || !out) return;
    set_alpha(trimap, w, h, stride);
    ff::ipf_resize_nn(trimap, w, h, stride, 1, work_trimap.data, work_width, work_height,
                      work_trimap.stride, 1, ff::ccn<1>());
    refine_with(trimap, stride, out, out_stride, smooth, keep_components);
}

bool DSCMattingImpl::Refine(u8* out, int w, int h, int out_stride, int smooth,
                            int keep_components) {
    if (!is_size(w, h) || is_empty(seg_trimap) || !out) return false;
    refine_with(seg_trimap.data, seg_trimap.stride, out, out_stride, smooth, keep_components);
    return true;
}

void DSCMattingImpl::refine_with(const u8* guide, int guide_stride, u8* out, int out_stride,
                                 int smooth, int keep_components) {
    if (can_solve()) {
        solve();
        usam_interpolate_c1(work_alpha.data, work_width, work_height, up_index.get(), 2 * width,
                            up_weights.get(), width, alpha.data, width, height, alpha.stride, guide,
                            guide_stride, unknown_value);
    }
    SmoothBoundary(smooth, keep_components);
    ff::ipf_memcpy_2d(alpha.data, width, height, alpha.stride, out, out_stride);
}

void DSCMattingImpl::solve() {
    mat_data system;
    {
        const ff::FVTImage mask = unknown_mask(work_trimap);
        mat_update(work_image.data, work_width, work_height, work_image.stride, mask.data,
                   mask.stride, system, system, nullptr);
    }
    mat_run(system, work_trimap.data, work_alpha.data, nullptr);
}

void DSCMattingImpl::SmoothBoundary(int smooth, int keep_components) {
    if (is_empty(alpha)) return;
    fg_stale = true;
    mat_smooth_boundary(alpha.data, alpha.width, alpha.height, alpha.stride, alpha.data,
                        alpha.stride, smooth);
    if (keep_components >= 1)
        vm_erase_small_cc(alpha.data, alpha.width, alpha.height, alpha.stride, 0, keep_components);
}

DSCMattingImpl::u8* DSCMattingImpl::GetAlpha(int* stride) {
    if (stride) *stride = alpha.stride;
    return alpha.data;
}

void DSCMattingImpl::GetAlpha(u8* dst, int dst_stride) {
    if (is_empty(alpha)) return;
    ff::ipf_memcpy_2d(alpha.data, alpha.width, alpha.height, alpha.stride, dst, dst_stride);
}

// In the internal convention the subject is the low side.
void DSCMattingImpl::estimate_fg_image() {
    fg_image.ResetIf(width, height, colour_format);
    try {
        mat_estimate_fb_color(image.data, width, height, image.stride, alpha.data, alpha.stride,
                              fg_image.data, fg_image.stride, nullptr, 0, lowest_mixed,
                              highest_mixed);
    } catch (...) {
        fg_image.Clear();  // not to be taken for an estimate
        throw;
    }
    fg_stale = false;
}

DSCMattingImpl::u8* DSCMattingImpl::GetFImage(int* stride, int mode) {
    if (is_empty(image)) return nullptr;
    const bool is_there = fg_image.width == image.width && fg_image.height == image.height;
    if (!is_there || mode > 0 || (mode < 0 && fg_stale)) estimate_fg_image();
    if (stride) *stride = fg_image.stride;
    return fg_image.data;
}

void DSCMattingImpl::GetFImage(u8* dst, int dst_stride, int mode) {
    if (!dst || !GetFImage(nullptr, mode)) return;
    ff::ipf_memcpy_2d(fg_image.data, 3 * width, height, fg_image.stride, dst, dst_stride);
}
