// Clean-up of mattes and trimaps: single-channel byte maps, width x height, strides in bytes.
//
// Null images make every function return at once; sizes below 1 write nothing. std::bad_alloc when
// scratch cannot be had, before anything is written.
#pragma once

#include "ff/api.h"

// Soft erosion of the matte's boundary: each pixel's mean over size x size (an even size acts as
// the next odd one, a size below 1 copies src to dst) relative to the maximum around it is raised
// to a power of 1 to 2. src may be dst; otherwise they must not overlap.
DSCM_API void mat_smooth_boundary(const unsigned char* src, int width, int height, int src_stride,
                                  unsigned char* dst, int dst_stride, int size);

// Soft dilation, the growing counterpart. Arguments as above.
DSCM_API void mat_dilate(const unsigned char* src, int width, int height, int src_stride,
                         unsigned char* dst, int dst_stride, int size);

// The routine behind both: smooth = true erodes, false dilates. The last argument is ignored.
DSCM_API void _erode_dilate(const unsigned char* src, int width, int height, int src_stride,
                            unsigned char* dst, int dst_stride, int size, bool smooth,
                            unsigned char* ignored);

// In place: of the 4-connected components of the pixels above `threshold` the `keep` largest stay
// (all of the smallest size kept, where several tie), the others become 0. Nothing else changes;
// `keep` below 1 changes nothing. A threshold of 255 wraps: every pixel counts as above it.
DSCM_API void vm_erase_small_cc(unsigned char* alpha, int width, int height, int stride,
                                unsigned char threshold, int keep);

// Copies src to dst, but zeroes every component of {src >= threshold} and of {src < threshold} in
// which no pixel has a ref byte other than 128 and above threshold. threshold is clamped to 0..255.
// src may be dst.
DSCM_API void mat_remove_isolated(const unsigned char* src, int width, int height, int src_stride,
                                  const unsigned char* ref, int ref_stride, unsigned char* dst,
                                  int dst_stride, int threshold);

// In place: a component of unknown pixels (128) that touches only background (below lo) becomes 0,
// one that touches only foreground (above hi) 255; others stay 128. A component that lies wholly in
// the picture's outermost pixel frame becomes 0.
DSCM_API void mat_erase_unknown_fragment(unsigned char* trimap, int width, int height, int stride,
                                         unsigned char lo, unsigned char hi);

// 3 x 3 integer mean, rounded half up. Top and bottom rows are replicated; the first and the last
// column count themselves three times. dst: ints, `dst_stride` ints a row.
DSCM_API void mean_filter_3x3(const unsigned char* src, int width, int height, int src_stride,
                              int* dst, int dst_stride);
