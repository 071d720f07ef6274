// Nearest-neighbour and bilinear resizing through position tables.
//
// Positions are corner-aligned: destination sample i stands at source position i * src / dst, in
// single precision. The bilinear resize interpolates each source row once per use as a row of
// floats, keeps the last two, and blends them downwards. Rows are done in full: narrow strips,
// whose lines would fit the first-level cache, cost more in the destination than they save in the
// lines.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

#include "ff/multiversion.h"
#include "ff/raster.h"
#include "ff/scratch.h"

namespace ff {
namespace {

using u8 = unsigned char;

template <int C>
void gather_row(const u8* src, const int* offsets, u8* dst, int n, int dst_step) {
    for (int x = 0; x < n; ++x)
        std::memcpy(dst + std::ptrdiff_t(x) * dst_step, src + offsets[x], C);
}

// Positions and fractions of one axis of a bilinear resize, made safe for a source of one sample:
// `right` is the offset of the next sample, the last one where there is none.
struct bilinear_axis {
    std::unique_ptr<int[]> left, right;
    std::unique_ptr<float[]> frac;

    bilinear_axis(int src_len, int dst_len, int scale)
        : left(std::make_unique<int[]>(std::size_t(dst_len))),
          right(std::make_unique<int[]>(std::size_t(dst_len))),
          frac(std::make_unique<float[]>(std::size_t(dst_len))) {
        ipf_calc_resize_tab_bl(src_len, dst_len, left.get(), frac.get(), scale);
        const int last = (src_len - 1) * scale;
        for (int i = 0; i < dst_len; ++i) {
            right[std::size_t(i)] = std::clamp(left[std::size_t(i)] + scale, 0, last);
            left[std::size_t(i)] = std::clamp(left[std::size_t(i)], 0, last);
        }
    }
};

// One source row interpolated to all destination columns, straight from the bytes. C is the number
// of channels, or 0 for the one given.
template <int C>
void stretch_bytes(const u8* src, const bilinear_axis& columns, int dst_w, int channels,
                   float* out) {
    const int n = C ? C : channels;
    for (int x = 0; x < dst_w; ++x, out += n) {
        const u8* a = src + columns.left[std::size_t(x)];
        const u8* b = src + columns.right[std::size_t(x)];
        const float fx = columns.frac[std::size_t(x)];
        for (int c = 0; c < n; ++c) out[c] = fx * float(b[c] - a[c]) + float(a[c]);
    }
}

// The same from samples that are floats already; `to_next` samples lie between neighbours. Pixels
// of three are taken in groups of four, which is one vector: one sample more is read and one more
// written than there are.
template <int C>
void stretch_floats(const float* samples, int to_next, const bilinear_axis& columns, int dst_w,
                    float* out) {
    constexpr int lanes = C + (C == 3);
    const int* const left = columns.left.get();
    const float* const frac = columns.frac.get();
    for (int x = 0; x < dst_w; ++x, out += C) {
        const float *a = samples + left[x], *b = a + to_next;
        float group[lanes];
        for (int c = 0; c < lanes; ++c) group[c] = frac[x] * (b[c] - a[c]) + a[c];
        std::memcpy(out, group, sizeof group);
    }
}

// Interpolates source rows of bytes to the destination's columns. Where most source samples take
// part, each is made a float once for the row.
class row_stretcher {
  public:
    static constexpr int spare = 1;  // floats that may be written after the last

    row_stretcher(const bilinear_axis& columns, int dst_w, int channels)
        : columns_(columns),
          dst_w_(dst_w),
          channels_(channels),
          used_(std::ptrdiff_t(columns.right[std::size_t(dst_w) - 1]) + channels) {
        const bool grouped = channels == 1 || channels == 3 || channels == 4;
        if (!grouped || used_ / 5 > std::ptrdiff_t(dst_w) * channels) return;
        samples_ = make_scratch<float>(used_ + spare);
        samples_[std::size_t(used_)] = 0.0f;
    }

    // dst_w * channels floats.
    void operator()(const u8* src, float* out) const {
        if (!samples_) {
            const auto stretch = channels_ == 1   ? stretch_bytes<1>
                                 : channels_ == 3 ? stretch_bytes<3>
                                                  : stretch_bytes<0>;
            return stretch(src, columns_, dst_w_, channels_, out);
        }
        float* const samples = samples_.get();
        for (std::ptrdiff_t i = 0; i < used_; ++i) samples[i] = float(src[i]);
        const auto stretch = channels_ == 1   ? stretch_floats<1>
                             : channels_ == 3 ? stretch_floats<3>
                                              : stretch_floats<4>;
        stretch(samples, columns_.right[0] - columns_.left[0], columns_, dst_w_, out);
    }

  private:
    const bilinear_axis& columns_;
    int dst_w_, channels_;
    std::ptrdiff_t used_;     // samples of a row that are looked at
    scratch<float> samples_;  // null: bytes are taken as they are
};

// n samples with nothing between them.
DSCM_KERNEL void blend_samples(const float* top, const float* bottom, float fy, u8* dst,
                               std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = u8(int(top[i] + fy * (bottom[i] - top[i])));
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void blend_samples_avx2(const float* top, const float* bottom, float fy, u8* dst,
                                  std::ptrdiff_t n) {
    blend_samples(top, bottom, fy, dst, n);
}
#endif

void blend_rows(const float* top, const float* bottom, float fy, u8* dst, int dst_w, int dst_step,
                int channels) {
    if (dst_step == channels) {
        const std::ptrdiff_t n = std::ptrdiff_t(dst_w) * channels;
#ifdef DSCM_HAS_AVX2
        if (cpu_has_avx2()) return blend_samples_avx2(top, bottom, fy, dst, n);
#endif
        return blend_samples(top, bottom, fy, dst, n);
    }
    for (int x = 0; x < dst_w; ++x, dst += dst_step)
        for (int c = 0; c < channels; ++c, ++top, ++bottom)
            dst[c] = u8(int(*top + fy * (*bottom - *top)));
}

}  // namespace

void ipf_calc_resize_tab_nn(int src_len, int dst_len, int* tab, int scale) {
    if (!tab || dst_len < 1) return;
    if (dst_len == 1) {
        tab[0] = 0;
        return;
    }
    const float ratio = float(src_len) / float(dst_len);
    for (int i = 0; i < dst_len; ++i) tab[i] = int(double(ratio * float(i)) + 0.5) * scale;
    const int limit = (src_len - 1) * scale;
    for (int i = dst_len - 1; i >= 0 && tab[i] >= limit; --i) tab[i] = limit;
}

void ipf_calc_resize_tab_bl(int src_len, int dst_len, int* tab, float* frac, int scale) {
    if (!tab || !frac || dst_len < 1) return;
    if (dst_len == 1) {
        tab[0] = 0;
        frac[0] = 0.0f;
        return;
    }
    const float ratio = float(src_len) / float(dst_len);
    for (int i = 0; i < dst_len; ++i) {
        const float x = ratio * float(i);
        tab[i] = int(x) * scale;
        frac[i] = x - float(int(x));
    }
    for (int i = dst_len - 1; i >= 0 && tab[i] >= (src_len - 1) * scale; --i) {
        tab[i] = (src_len - 2) * scale;
        frac[i] = 1.0f;
    }
}

template <int C>
void ipf_resize_nn(const unsigned char* src, int src_w, int src_h, int src_stride,
                   int src_pixel_step, unsigned char* dst, int dst_w, int dst_h, int dst_stride,
                   int dst_pixel_step, ccn<C>) {
    if (!src || !dst || src_w < 1 || src_h < 1 || dst_w < 1 || dst_h < 1) return;
    if (src_pixel_step == C && dst_pixel_step == C && src_w == dst_w && src_h == dst_h) {
        ipf_memcpy_2d(src, src_w * C, src_h, src_stride, dst, dst_stride);
        return;
    }
    const auto columns = std::make_unique<int[]>(std::size_t(dst_w));
    const auto rows = std::make_unique<int[]>(std::size_t(dst_h));
    ipf_calc_resize_tab_nn(src_w, dst_w, columns.get(), src_pixel_step);
    ipf_calc_resize_tab_nn(src_h, dst_h, rows.get(), 1);
    for (int y = 0; y < dst_h; ++y)
        gather_row<C>(src + std::ptrdiff_t(rows[std::size_t(y)]) * src_stride, columns.get(),
                      dst + std::ptrdiff_t(y) * dst_stride, dst_w, dst_pixel_step);
}

template void ipf_resize_nn<1>(const unsigned char*, int, int, int, int, unsigned char*, int, int,
                               int, int, ccn<1>);
template void ipf_resize_nn<3>(const unsigned char*, int, int, int, int, unsigned char*, int, int,
                               int, int, ccn<3>);

template <class S, class D>
void ipf_resize_bl(const S* src, int src_w, int src_h, int src_stride, int src_pixel_step, D* dst,
                   int dst_w, int dst_h, int dst_stride, int dst_pixel_step, int channels) {
    static_assert(std::is_same_v<S, u8> && std::is_same_v<D, u8>, "the byte instance only");
    if (!src || !dst || src_w < 1 || src_h < 1 || dst_w < 1 || dst_h < 1 || channels < 1) return;
    const bilinear_axis columns(src_w, dst_w, src_pixel_step);
    const bilinear_axis rows(src_h, dst_h, 1);
    const row_stretcher stretch(columns, dst_w, channels);
    const std::ptrdiff_t samples = std::ptrdiff_t(dst_w) * channels;
    const auto lines = make_scratch<float>(2, samples + stretch.spare);
    float* top = lines.get();
    float* bottom = top + samples + stretch.spare;
    int top_row = -1, bottom_row = -1;  // the source rows that the two lines hold
    for (int y = 0; y < dst_h; ++y) {
        const int want_top = rows.left[std::size_t(y)], want_bottom = rows.right[std::size_t(y)];
        if (want_top == bottom_row) {
            std::swap(top, bottom);
            std::swap(top_row, bottom_row);
        }
        if (want_top != top_row)
            stretch(src + std::ptrdiff_t(top_row = want_top) * src_stride, top);
        if (want_bottom != bottom_row)
            stretch(src + std::ptrdiff_t(bottom_row = want_bottom) * src_stride, bottom);
        blend_rows(top, bottom, rows.frac[std::size_t(y)], dst + std::ptrdiff_t(y) * dst_stride,
                   dst_w, dst_pixel_step, channels);
    }
}

template void ipf_resize_bl<unsigned char, unsigned char>(const unsigned char*, int, int, int, int,
                                                          unsigned char*, int, int, int, int, int);

}  // namespace ff
