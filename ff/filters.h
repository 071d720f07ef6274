// Box and rank filters: minimum, maximum, sum, count and mean over rectangular windows, at a cost
// that does not grow with the window (a little, logarithmically, for minimum and maximum).
//
// Sources have `channels` interleaved channels, each filtered on its own; strides count elements of
// the raster's own type (bytes or ints). Windows are k x k or kw x kh samples centred on the pixel;
// an even size acts as the next odd one and a size below 1 as 1.
//
// `border` is null or four ints, left, top, right, bottom: so many samples beyond each edge (each
// limited to 0..window) belong to a larger valid image and may be read. Without it the window is
// clipped at the raster's edges.
//
// Null source or destination and sizes below 1 write nothing. Source and destination must not
// overlap unless said otherwise. std::bad_alloc when scratch cannot be had.
#pragma once

#include "ff/api.h"

namespace ff {

// Comparisons of the rank filters: the better of two samples, and the one that never wins.
template <class T>
struct _LE;
template <class T>
struct _GR;

template <>
struct _LE<unsigned char> {
    static constexpr unsigned char neutral = 255;
    static unsigned char pick(unsigned char a, unsigned char b) { return a < b ? a : b; }
};
template <>
struct _GR<unsigned char> {
    static constexpr unsigned char neutral = 0;
    static unsigned char pick(unsigned char a, unsigned char b) { return a > b ? a : b; }
};

// Smallest (largest) byte of the k x k window. `passes` repeats the filter on its result, which is
// one filter with the window passes * (k - 1) + 1; below 1 counts as 1. src may equal dst when
// border is null and the strides agree.
DSCM_API void ipf_min_filter(const unsigned char* src, int w, int h, int stride, int channels,
                             unsigned char* dst, int dst_stride, int k, int passes, int* border);
DSCM_API void ipf_max_filter(const unsigned char* src, int w, int h, int stride, int channels,
                             unsigned char* dst, int dst_stride, int k, int passes, int* border);

// Sum of the samples of the kw x kh window that exist; sums wrap modulo 2^32.
DSCM_API void ipf_sum_filter(const unsigned char* src, int w, int h, int stride, int channels,
                             int* dst, int dst_stride, int kw, int kh, int* border);
DSCM_API void ipf_sum_filter(const int* src, int w, int h, int stride, int channels, int* dst,
                             int dst_stride, int kw, int kh, int* border);

// Number of samples of the window that exist, one int a pixel.
DSCM_API void ipf_count_filter_pixels(int* dst, int w, int h, int dst_stride, int kw, int kh,
                                      int* border);

// (sum + count / 2) / count in integers, truncated toward zero: the mean rounded half up. The 8-bit
// form stores its low byte. `count` may be null; otherwise it receives the counts of
// ipf_count_filter_pixels, `count_stride` ints a row.
DSCM_API void ipf_mean_filter(const unsigned char* src, int w, int h, int stride, int channels,
                              int* dst, int dst_stride, int* count, int count_stride, int kw,
                              int kh, int* border);
DSCM_API void ipf_mean_filter(const int* src, int w, int h, int stride, int channels, int* dst,
                              int dst_stride, int* count, int count_stride, int kw, int kh,
                              int* border);
DSCM_API void ipf_mean_filter(const unsigned char* src, int w, int h, int stride, int channels,
                              unsigned char* dst, int dst_stride, int* count, int count_stride,
                              int kw, int kh, int* border);

}  // namespace ff
