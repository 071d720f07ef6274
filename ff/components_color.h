// Connected components of 8-bit rasters, and colour conversion of single pixels.
#pragma once

#include "ff/api.h"

namespace ff {

// Labels the 4-connected regions of equal byte value, zero-valued ones included, from 0 in the
// raster order of their first pixels, and returns their number.
// img: w x h bytes, `stride` bytes a row. labels: out, w x h ints, `label_stride` ints a row.
// Returns 0 without writing for null pointers and sizes below 1, and 0 when the scratch memory (8
// bytes for every run of equal pixels in a row) cannot be had.
DSCM_API int ipf_connected_component(const unsigned char* img, int w, int h, int stride,
                                     int* labels, int label_stride);

// One pixel of three bytes from one colour space to another; out may be in. Null: nothing is
// written. Bytes in order: B, G, R; L, a, b (a and b 128 for greys); Y, U, V (U and V likewise).
//
// Lab: L over 0 .. 255 for 0 .. 100, a and b 1.27 to a unit. Nothing is clamped on the way to Lab:
// saturated colours beyond the range of a byte keep their low 8 bits (the b of pure blue is -8,
// stored as 248). Back to B, G, R results are clamped; the round trip is not exact, as the display
// curve on the way back is a little darker than the one it undoes: white comes back as 247, greys
// within 8, 19 colours in 20 within 9.
DSCM_API void ipf_bgr2lab(const unsigned char* bgr, unsigned char* lab);
DSCM_API void ipf_lab2bgr(const unsigned char* lab, unsigned char* bgr);

// YUV: full range, clamped neither way: low 8 bits are kept. The round trip is within 1 modulo 256,
// so that a channel of 255 may come back as 0.
DSCM_API void ipf_bgr2yuv(const unsigned char* bgr, unsigned char* yuv);
DSCM_API void ipf_yuv2bgr(const unsigned char* yuv, unsigned char* bgr);

}  // namespace ff
