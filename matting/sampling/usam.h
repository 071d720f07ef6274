// Image-guided upsampling: carries low-resolution maps to full resolution without blurring across
// colour edges.
//
// Tables, owned by the caller, one entry set per full-resolution pixel:
//   idx  two ints, the linear indices (row * lo_w + column) of the two low-resolution pixels whose
//        colour blend comes closest to the pixel's colour; `idx_stride` ints a row (2 w when
//        packed). The caller fills it with -1 beforehand; a first index of -1 means "no weights".
//   wt   one short, the weight of the first of the two in 1/4096, 0..4096; the second has the rest.
// Because indices are linear, every low-resolution map that is interpolated must be contiguous
// (stride lo_w); the colour image used for the weights may have its own stride.
//
// Colour images are 8-bit with 3 interleaved channels; strides are bytes. Rasters must not overlap.
#pragma once

#include "ff/api.h"

// Fills idx and wt for every pixel of img whose mask byte is non-zero (for every pixel when mask is
// null); other entries stay. mode 2 searches the 2 x 2 low-resolution pixels around a pixel, every
// other value the 3 x 3.
// Needs w, h >= 2 and lo_w, lo_h >= 3 (2 in mode 2); smaller sizes and null pointers write nothing.
DSCM_API void usam_calc_weights_8u_c3(const unsigned char* img, int w, int h, int img_stride,
                                      const unsigned char* mask, int mask_stride,
                                      const unsigned char* lo_img, int lo_w, int lo_h,
                                      int lo_stride, int* idx, int idx_stride, short* wt,
                                      int wt_stride, int mode);

// The same; `label` is accepted and not used: the mask test stays a test for non-zero.
DSCM_API void usam_calc_weights_8u_c3(const unsigned char* img, int w, int h, int img_stride,
                                      const unsigned char* mask, int mask_stride,
                                      unsigned char label, const unsigned char* lo_img, int lo_w,
                                      int lo_h, int lo_stride, int* idx, int idx_stride, short* wt,
                                      int wt_stride, int mode);

// Writes the blended value of `lo` into every pixel of dst that has weights; others stay.
// lo: lo_w x lo_h bytes, contiguous. dst: w x h bytes.
DSCM_API void usam_interpolate_c1(const unsigned char* lo, int lo_w, int lo_h, const int* idx,
                                  int idx_stride, const short* wt, int wt_stride,
                                  unsigned char* dst, int w, int h, int dst_stride);

// The same, only where the mask byte equals `label`.
DSCM_API void usam_interpolate_c1(const unsigned char* lo, int lo_w, int lo_h, const int* idx,
                                  int idx_stride, const short* wt, int wt_stride,
                                  unsigned char* dst, int w, int h, int dst_stride,
                                  const unsigned char* mask, int mask_stride, unsigned char label);

// Updates dst where the low-resolution map changed from lo_old to lo_new: not at all for a summed
// change of the pixel's pair below 4, then in proportion, fully from 32.
DSCM_API void usam_interpolate_mask_c1(const unsigned char* lo_old, const unsigned char* lo_new,
                                       int lo_w, int lo_h, const int* idx, int idx_stride,
                                       const short* wt, int wt_stride, unsigned char* dst, int w,
                                       int h, int dst_stride);
