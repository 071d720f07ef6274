// Raster basics: copies, fills, flips, resizes, neighbour offsets and mask extents.
//
// A raster is a pointer to the first byte of its top row, a width and a height in pixels, and a
// stride: the bytes between the first bytes of successive rows, at least the row's payload. Where a
// pixel step is passed it is the bytes between neighbouring pixels of a row.
//
// Unless said otherwise below: null pointers and sizes below 1 make a call return without writing,
// source and destination must not overlap, nothing is kept between calls, and a failed allocation
// throws std::bad_alloc before anything is written.
#pragma once

#include "ff/api.h"

namespace ff {

// Selects the channels a nearest-neighbour resize copies per pixel: 1 or 3.
template <int C>
struct ccn {};

// Copies `rows` rows of `row_bytes` bytes. Contiguous rasters are copied in one block.
DSCM_API void ipf_memcpy_2d(const void* src, int row_bytes, int rows, int src_stride, void* dst,
                            int dst_stride);

// Copies `planes` planes of `rows` rows; plane strides are bytes between the planes' first bytes.
DSCM_API void ipf_memcpy_3d(const void* src, int row_bytes, int rows, int planes,
                            int src_row_stride, int src_plane_stride, void* dst, int dst_row_stride,
                            int dst_plane_stride);

// Sets the first `row_bytes` bytes of every row to `value`; bytes between the rows stay.
DSCM_API void ipf_memset_2d(void* dst, int row_bytes, int rows, int stride, char value);

// The same for planes of rows. `dst` is written although its type says const.
DSCM_API void ipf_memset_3d(const void* dst, int row_bytes, int rows, int planes, int row_stride,
                            int plane_stride, char value);

// dst receives src upside down.
DSCM_API void ipf_flip_vert(const void* src, int row_bytes, int rows, int src_stride, void* dst,
                            int dst_stride);

// Turns buf upside down in place. Nothing happens when (rows - 1) * stride is below 1.
DSCM_API void ipf_flip_vert(void* buf, int row_bytes, int rows, int stride);

// Mirrors each row into dst, shifted by one pixel: destination pixel i is source pixel width - i.
// Every source row is therefore read one pixel beyond its payload (the caller sees to it that those
// `pixel_bytes` bytes exist, in the last row too) and its pixel 0 is never read. Wanted so: callers
// pass a source pointer that stands one pixel early.
DSCM_API void ipf_flip_horz(const void* src, int width, int height, int src_stride, int pixel_bytes,
                            void* dst, int dst_stride);

// Mirrors each row in place, without the shift of the copying form.
DSCM_API void ipf_flip_horz(void* buf, int width, int height, int stride, int pixel_bytes);

// Nearest-neighbour resize by the tables of ipf_calc_resize_tab_nn. Copies the first C bytes of
// each pixel; pixel steps are bytes. Equal sizes with both steps equal to C are a plain copy.
template <int C>
void ipf_resize_nn(const unsigned char* src, int src_w, int src_h, int src_stride,
                   int src_pixel_step, unsigned char* dst, int dst_w, int dst_h, int dst_stride,
                   int dst_pixel_step, ccn<C>);
extern template DSCM_API void ipf_resize_nn<1>(const unsigned char*, int, int, int, int,
                                               unsigned char*, int, int, int, int, ccn<1>);
extern template DSCM_API void ipf_resize_nn<3>(const unsigned char*, int, int, int, int,
                                               unsigned char*, int, int, int, int, ccn<3>);

// Bilinear resize of the first `channels` bytes of each pixel by the tables of
// ipf_calc_resize_tab_bl, in single precision, truncated to a byte. A source of one column or row
// is replicated. Instance: <unsigned char, unsigned char>.
template <class S, class D>
void ipf_resize_bl(const S* src, int src_w, int src_h, int src_stride, int src_pixel_step, D* dst,
                   int dst_w, int dst_h, int dst_stride, int dst_pixel_step, int channels);
extern template DSCM_API void ipf_resize_bl<unsigned char, unsigned char>(const unsigned char*, int,
                                                                          int, int, int,
                                                                          unsigned char*, int, int,
                                                                          int, int, int);

// Source position of each of dst_len samples, times `scale`: i * src_len / dst_len in single
// precision, rounded half up, clamped to the last source sample. One sample is position 0.
DSCM_API void ipf_calc_resize_tab_nn(int src_len, int dst_len, int* tab, int scale);

// The same truncated, with the fraction in [0, 1] that belongs to the next sample. Samples that
// reach the last source position are given as the one before it with fraction 1, so that the next
// sample always exists (src_len 1 with dst_len above 1 gives position -1: not for interpolation).
DSCM_API void ipf_calc_resize_tab_bl(int src_len, int dst_len, int* tab, float* frac, int scale);

// Offsets dy * row_step + dx * col_step of a (2 rx + 1) x (2 ry + 1) window in row-major order into
// `out`, which the caller sizes; the centre is left out on request.
DSCM_API void ipf_calc_nbr_offset(int rx, int ry, int row_step, int col_step, int* out,
                                  bool skip_centre);

// Index of the first non-zero byte of n and one past the last. False with -1, -1 when there is none
// (a null line and n below 1 included).
DSCM_API bool ipf_get_mask_range(const unsigned char* line, int n, int& first, int& end);

// Bounding box {left, top, right, bottom} (right and bottom exclusive) of the pixels strictly above
// `threshold`. False, with a zeroed box, when there are none; false without writing for null
// pointers.
DSCM_API bool ipf_get_mask_roi(const unsigned char* mask, int w, int h, int stride, int* box,
                               unsigned char threshold);

// The same for the pixels in which a and b differ.
DSCM_API bool ipf_get_mask_diff_roi(const unsigned char* a, int w, int h, int stride_a,
                                    const unsigned char* b, int stride_b, int* box);

}  // namespace ff
