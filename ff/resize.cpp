// Nearest-neighbour and bilinear resizing through position tables.
//
// Positions are corner-aligned: destination sample i stands at source position i * src / dst, in
// single precision. The bilinear resize interpolates each source row once per use as a row of
// floats, keeps the last two, and blends them downwards. Rows are done in full: narrow strips,
// whose lines would fit the first-level cache, cost more in the destination than they save in the
// lines. What stands on source samples in both directions, as all does where a picture shrinks to a
// half or a quarter, is copied.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

#include "ff/multiversion.h"
#include "ff/raster.h"
#include "ff/scratch.h"
#include "ff/shuffle.h"

namespace ff {
namespace {

using u8 = unsigned char;

template <int C>
void gather_row(const u8* src, const int* offsets, u8* dst, int n, int dst_step) {
#pragma GCC unroll 4
    for (int x = 0; x < n; ++x)
        std::memcpy(dst + std::ptrdiff_t(x) * dst_step, src + offsets[x], C);
}

void gather_row(const u8* src, const int* offsets, u8* dst, int n, int dst_step, int channels) {
    if (channels == 1) return gather_row<1>(src, offsets, dst, n, dst_step);
    if (channels == 3) return gather_row<3>(src, offsets, dst, n, dst_step);
    for (int x = 0; x < n; ++x, dst += dst_step)
        std::memcpy(dst, src + offsets[x], std::size_t(channels));
}

// Asks for the cache line `ahead` bytes from p before it is read. Processors do so by themselves
// for what is read in order, but anew on every page. Any address will do: none is read.
void fetch_line(const void* p, std::ptrdiff_t ahead) {
#if defined(__GNUC__)
    const auto address = reinterpret_cast<std::uintptr_t>(p) + std::uintptr_t(ahead);
    // No pointer may be moved that far out of its object. NOLINTNEXTLINE(performance-no-int-to-ptr)
    __builtin_prefetch(reinterpret_cast<const void*>(address));
#else
    (void)p, (void)ahead;
#endif
}

// Pixels of three bytes and their next ones, which lie to_next further, to left and right. Three
// bytes are moved as four, of which the next move writes over the last; not so those of the last
// pixel of the source, behind which there may be nothing. Offsets ascend.
void gather_neighbours(const u8* src, const int* offsets, int n, int to_next, u8* left, u8* right) {
    constexpr std::ptrdiff_t size = 3;
    constexpr int ahead = 2048;  // from what is read now, bytes
    const int* const end = std::lower_bound(offsets, offsets + n, offsets[n - 1]);
    const int* offset = offsets;
    for (; offset < end; ++offset, left += size, right += size) {
        fetch_line(src + *offset, ahead);
        std::memcpy(left, src + *offset, size + 1);
        std::memcpy(right, src + *offset + to_next, size + 1);
    }
    for (; offset < offsets + n; ++offset, left += size, right += size) {
        std::memcpy(left, src + *offset, size);
        std::memcpy(right, src + *offset + to_next, size);
    }
}

// Positions and fractions of one axis of a bilinear resize, made safe for a source of one sample.
struct bilinear_axis {
    int to_next;  // from a sample to the next; 0 where there is none
    std::unique_ptr<int[]> left;
    std::unique_ptr<float[]> frac;

    bilinear_axis(int src_len, int dst_len, int scale)
        : to_next(src_len > 1 ? scale : 0),
          left(std::make_unique<int[]>(std::size_t(dst_len))),
          frac(std::make_unique<float[]>(std::size_t(dst_len))) {
        ipf_calc_resize_tab_bl(src_len, dst_len, left.get(), frac.get(), scale);
        const int last = (src_len - 1) * scale;
        for (int i = 0; i < dst_len; ++i)
            left[std::size_t(i)] = std::clamp(left[std::size_t(i)], 0, last);
    }

    bool on_samples(int len) const {
        return std::all_of(frac.get(), frac.get() + len, [](float f) { return f == 0.0f; });
    }
};

// The destination columns [x0, x1) of a row from samples that are floats already: samples[0] is the
// one at offset `first`. Pixels of three are taken in groups of four, which is one vector: one
// sample more is read and one more written than there are.
template <int C>
void stretch_floats(const float* samples, int first, const bilinear_axis& columns, int x0, int x1,
                    float* out) {
    constexpr int lanes = 4;
    const int* const left = columns.left.get();
    const float* const frac = columns.frac.get();
    const int to_next = columns.to_next;
    for (int x = x0; x < x1; ++x, out += C) {
        const float *a = samples + (left[x] - first), *b = a + to_next;
        float group[lanes];
        for (int c = 0; c < lanes; ++c) group[c] = frac[x] * (b[c] - a[c]) + a[c];
        std::memcpy(out, group, sizeof group);
    }
}

DSCM_KERNEL void to_floats(const u8* bytes, std::ptrdiff_t n, float* out) {
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = float(bytes[i]);
}

// Samples between left[i] and right[i].
DSCM_KERNEL void mix(const u8* left, const u8* right, const float* frac, std::ptrdiff_t n,
                     float* out) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        out[i] = frac[i] * float(right[i] - left[i]) + float(left[i]);
}

// pairs: n times a left and a right neighbour.
DSCM_KERNEL void mix_pairs(const u8* pairs, const float* frac, std::ptrdiff_t n, float* out) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        out[i] = frac[i] * float(pairs[2 * i + 1] - pairs[2 * i]) + float(pairs[2 * i]);
}

// Columns of single bytes whose neighbours one shuffle brings side by side.
constexpr int group_columns = shuffle_width / 2;

// pairs: left and right neighbour of every column of `groups` groups. places: for each group, where
// in the 16 bytes from its first sample on they lie.
DSCM_SHUFFLES void shuffle_groups(const u8* src, const int* left, const u8* places, int groups,
                                  u8* pairs) {
    for (; groups > 0;
         --groups, left += group_columns, places += shuffle_width, pairs += shuffle_width)
        shuffle_bytes(src + *left, places, pairs);
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void to_floats_avx2(const u8* bytes, std::ptrdiff_t n, float* out) {
    to_floats(bytes, n, out);
}
DSCM_AVX2 void mix_avx2(const u8* left, const u8* right, const float* frac, std::ptrdiff_t n,
                        float* out) {
    mix(left, right, frac, n, out);
}
DSCM_AVX2 void mix_pairs_avx2(const u8* pairs, const float* frac, std::ptrdiff_t n, float* out) {
    mix_pairs(pairs, frac, n, out);
}
#endif

void to_floats_best(const u8* bytes, std::ptrdiff_t n, float* out) {
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return to_floats_avx2(bytes, n, out);
#endif
    to_floats(bytes, n, out);
}

void mix_best(const u8* left, const u8* right, const float* frac, std::ptrdiff_t n, float* out) {
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return mix_avx2(left, right, frac, n, out);
#endif
    mix(left, right, frac, n, out);
}

void mix_pairs_best(const u8* pairs, const float* frac, std::ptrdiff_t n, float* out) {
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return mix_pairs_avx2(pairs, frac, n, out);
#endif
    mix_pairs(pairs, frac, n, out);
}

// Interpolates source rows of bytes to the destination's columns, as many columns at a time as let
// what lies between the steps stay in the first-level cache.
class row_stretcher {
  public:
    static constexpr int spare = 1;  // floats that may be written after the last

    row_stretcher(const bilinear_axis& columns, int dst_w, int channels)
        : columns_(columns), dst_w_(dst_w), channels_(channels) {
        const std::ptrdiff_t used =
            std::ptrdiff_t(columns.left[std::size_t(dst_w) - 1]) + columns_.to_next + channels;
        if (pairs()) {
            place_groups(used);
            return;
        }
        const std::ptrdiff_t samples = std::ptrdiff_t(dst_w) * channels;
        // Where most samples are passed over, making them floats costs more than it saves.
        if ((channels == 3 || channels == 4) && used / 4 <= samples) {
            samples_ = make_scratch<float>(used + spare);
            return;
        }
        neighbours_ = make_scratch<u8>(2 * std::ptrdiff_t(block), channels);
        frac_ = make_scratch<float>(samples);
        for (std::ptrdiff_t i = 0; i < samples; ++i)
            frac_[std::size_t(i)] = columns.frac[std::size_t(i / channels)];
    }

    // dst_w * channels floats.
    void operator()(const u8* src, float* out) const {
        for (int x0 = 0; x0 < dst_w_;) {
            const int x1 = x0 + std::min(block, dst_w_ - x0);
            float* const to = out + std::ptrdiff_t(x0) * channels_;
            if (pairs())
                stretch_pairs(src, x0, x1, to);
            else if (samples_)
                stretch_samples(src, x0, x1, to);
            else
                stretch_apart(src, x0, x1, to);
            x0 = x1;
        }
    }

  private:
    static constexpr int block = 128;

    // Bytes side by side: both neighbours are one move.
    bool pairs() const { return channels_ == 1 && columns_.to_next == 1; }
    void stretch_pairs(const u8* src, int x0, int x1, float* out) const {
        u8 both[2 * block];
        const int shuffled =
            std::clamp(shuffled_ - x0, 0, (x1 - x0) / group_columns * group_columns);
        const int* const left = columns_.left.get() + x0;
        if (shuffled > 0)
            shuffle_groups(src, left, places_.get() + 2 * std::ptrdiff_t(x0),
                           shuffled / group_columns, both);
        gather_row<2>(src, left + shuffled, both + std::ptrdiff_t(2) * shuffled, x1 - x0 - shuffled,
                      2);
        mix_pairs_best(both, columns_.frac.get() + x0, x1 - x0, out);
    }

    // For as many groups, from the first column on, as find their neighbours within 16 bytes of a
    // row of `used`: all but the last ones, unless the picture shrinks to less than half.
    void place_groups(std::ptrdiff_t used) {
        if (!can_shuffle()) return;
        places_ = make_scratch<u8>(dst_w_, 2);
        u8* place = places_.get();
        const int* left = columns_.left.get();
        const auto fits = [&] {
            return shuffled_ + group_columns <= dst_w_ && left[0] + shuffle_width <= used &&
                   left[group_columns - 1] + 1 < left[0] + shuffle_width;
        };
        for (; fits(); shuffled_ += group_columns, left += group_columns)
            for (int i = 0; i < group_columns; ++i) {
                *place++ = u8(left[i] - left[0]);
                *place++ = u8(left[i] - left[0] + 1);
            }
    }

    // Every sample is made a float once for the row.
    void stretch_samples(const u8* src, int x0, int x1, float* out) const {
        float* const samples = samples_.get();
        const int first = columns_.left[std::size_t(x0)];
        const int n = columns_.left[std::size_t(x1) - 1] + columns_.to_next + channels_ - first;
        to_floats_best(src + first, n, samples);
        samples[n] = 0.0f;
        const auto stretch = channels_ == 3 ? stretch_floats<3> : stretch_floats<4>;
        stretch(samples, first, columns_, x0, x1, out);
    }

    // Few samples of many, and pixels of other sizes: only the neighbours are taken.
    void stretch_apart(const u8* src, int x0, int x1, float* out) const {
        const std::ptrdiff_t n = std::ptrdiff_t(x1 - x0) * channels_;
        u8 *const left = neighbours_.get(), *const right = left + n;
        const int* const offsets = columns_.left.get() + x0;
        if (channels_ == 3) {
            gather_neighbours(src, offsets, x1 - x0, columns_.to_next, left, right);
        } else {
            gather_row(src, offsets, left, x1 - x0, channels_, channels_);
            gather_row(src + columns_.to_next, offsets, right, x1 - x0, channels_, channels_);
        }
        mix_best(left, right, frac_.get() + std::ptrdiff_t(x0) * channels_, n, out);
    }

    const bilinear_axis& columns_;
    const int dst_w_, channels_;
    int shuffled_ = 0;        // stretch_pairs: columns that are taken in groups
    scratch<u8> places_;      // stretch_pairs: of their neighbours
    scratch<float> samples_;  // stretch_samples
    scratch<u8> neighbours_;  // stretch_apart
    scratch<float> frac_;     // stretch_apart: of every sample
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
    const bool on_columns = columns.on_samples(dst_w);
    for (int y = 0; y < dst_h; ++y) {
        const float fy = rows.frac[std::size_t(y)];
        const int want_top = rows.left[std::size_t(y)];
        const int want_bottom = fy == 0.0f ? want_top : want_top + rows.to_next;
        const bool on_row = want_bottom == want_top;
        u8* const out = dst + std::ptrdiff_t(y) * dst_stride;
        if (on_columns && on_row) {
            gather_row(src + std::ptrdiff_t(want_top) * src_stride, columns.left.get(), out, dst_w,
                       dst_pixel_step, channels);
            continue;
        }
        if (want_top == bottom_row) {
            std::swap(top, bottom);
            std::swap(top_row, bottom_row);
        }
        if (want_top != top_row)
            stretch(src + std::ptrdiff_t(top_row = want_top) * src_stride, top);
        if (!on_row && want_bottom != bottom_row)
            stretch(src + std::ptrdiff_t(bottom_row = want_bottom) * src_stride, bottom);
        blend_rows(top, on_row ? top : bottom, fy, out, dst_w, dst_pixel_step, channels);
    }
}

template void ipf_resize_bl<unsigned char, unsigned char>(const unsigned char*, int, int, int, int,
                                                          unsigned char*, int, int, int, int, int);

}  // namespace ff
