// The way down from full to low resolution: reduced images, the low-resolution pixel that stands
// for a full-resolution one, and user marks carried along.
//
// Grids are corner-aligned: the first and last pixels of both resolutions lie on each other.
// Rasters are 8-bit, strides bytes (index rasters: ints), and must not overlap. Null pointers,
// sizes below 1 or below those stated write nothing.
#pragma once

#include "ff/api.h"

// Reduces (or enlarges) by the nearest pixel. channels: 1, 3 or 4, interleaved, in both images; any
// other number writes nothing. A single destination column or row takes the first of the source.
DSCM_API void dsam_image(const unsigned char* src, int w, int h, int stride, unsigned char* dst,
                         int dw, int dh, int dst_stride, int channels);

// The same for C channels: 1, 3 and 4.
template <int C>
void _dsam_image_x(const unsigned char* src, int w, int h, int stride, unsigned char* dst, int dw,
                   int dh, int dst_stride);
extern template DSCM_API void _dsam_image_x<1>(const unsigned char*, int, int, int, unsigned char*,
                                               int, int, int);
extern template DSCM_API void _dsam_image_x<3>(const unsigned char*, int, int, int, unsigned char*,
                                               int, int, int);
extern template DSCM_API void _dsam_image_x<4>(const unsigned char*, int, int, int, unsigned char*,
                                               int, int, int);

// out: for every pixel of img the linear index (row * lo_w + column) of the one of the four
// low-resolution pixels around it whose colour is closest; among equals the first in raster order.
// Images have 3 channels; out: w x h ints, `out_stride` ints a row.
// Needs w, h, lo_w, lo_h >= 2.
DSCM_API void dsam_calc_index(const unsigned char* img, int w, int h, int img_stride,
                              const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                              int* out, int out_stride);

// lo (lo_w x lo_h bytes, contiguous) becomes 128 everywhere but where `ui` carries marks: every
// value of ui (w x h bytes) other than 128 goes to the pixel that `index` (of dsam_calc_index)
// names, the last one in raster order winning. Indices outside lo carry nothing. The two last
// arguments are accepted and not used.
DSCM_API void dsam_ui_alpha(const unsigned char* ui, int w, int h, int ui_stride, const int* index,
                            int index_stride, unsigned char* lo, int lo_w, int lo_h, int, int);
