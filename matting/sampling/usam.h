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

// The first overload for 4-byte pixels in both images; the fourth byte is ignored.
DSCM_API void usam_calc_weights_8u_c4(const unsigned char* img, int w, int h, int img_stride,
                                      const unsigned char* mask, int mask_stride,
                                      const unsigned char* lo_img, int lo_w, int lo_h,
                                      int lo_stride, int* idx, int idx_stride, short* wt,
                                      int wt_stride, int mode);

// Completes 3 x 3 tables after the labels have changed: fills the entries of the pixels whose mask
// byte equals `label` and that have no weights yet. All others stay, and are not recomputed. Needs
// the sizes of usam_calc_weights_8u_c3; a null mask writes nothing.
DSCM_API void usam_update_weights(const unsigned char* img, int w, int h, int img_stride,
                                  const unsigned char* mask, int mask_stride, unsigned char label,
                                  const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                                  int* idx, int idx_stride, short* wt, int wt_stride);

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

// Guided upsampling of lo_map (lo_w x lo_h bytes, contiguous) without tables: writes into dst the
// pixels whose mask byte equals `label`; others stay. The bytes are those of 3 x 3 tables and
// usam_interpolate_c1. Needs w, h >= 2 and lo_w, lo_h >= 3; smaller sizes and null pointers write
// nothing.
DSCM_API void usam_execute(const unsigned char* img, int w, int h, int img_stride,
                           const unsigned char* mask, int mask_stride, unsigned char label,
                           const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                           const unsigned char* lo_map, unsigned char* dst, int dst_stride);

// Upsamples lo_map (lo_w x lo_h bytes) to dst (w x h): guided as by usam_execute where the mask
// byte is non-zero (everywhere when mask is null), bilinear elsewhere. dst may be the mask.
// Sizes and null pointers as for usam_execute. Scratch: a byte a pixel.
DSCM_API void usam_masked_c1(const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                             const unsigned char* lo_map, int lo_map_stride,
                             const unsigned char* img, int w, int h, int img_stride,
                             const unsigned char* mask, int mask_stride, unsigned char* dst,
                             int dst_stride);

// Upsamples an alpha of either convention: guided around its transitions, that is where the 5 x 5
// low-resolution neighbourhood holds two different values, bilinear elsewhere. Equal sizes are a
// plain copy, and the images are not looked at; otherwise sizes and null pointers as for
// usam_execute.
DSCM_API void usam_alpha(const unsigned char* lo_img, int lo_w, int lo_h, int lo_stride,
                         const unsigned char* lo_alpha, int lo_alpha_stride,
                         const unsigned char* img, int w, int h, int img_stride, unsigned char* dst,
                         int dst_stride);

// Interleaves a 3-byte image and a map of its size into 4-byte pixels: out = b, g, r, alpha.
// Returns bgr. Null pointers and sizes below 1 write nothing.
DSCM_API const unsigned char* merge_c31(const unsigned char* bgr, int w, int h, int bgr_stride,
                                        const unsigned char* alpha, int alpha_stride,
                                        unsigned char* out, int out_stride);
