// Solution of an assembled system and its conversion to alpha bytes.
#pragma once

#include "matting/solver/mat_data.h"

// Solves the record and writes the matte of its unknowns.
//
// trimap: in, one byte for every pixel of the record's picture, rows contiguous (stride = width):
// 128 is unknown, every other byte a known alpha. alpha: in-out, the same shape: ring pixels are
// pinned to what it holds, solved pixels are overwritten with round(255 x) clamped to a byte.
// Returns the result of mn_sparse_solve_d, on whose failure alpha stays; 0 when there is nothing to
// solve (n below 1, null arrays in the record, null trimap or alpha). Prints "\nnp=%d" with the
// number of unknowns on standard output, every time.
// The record is as before afterwards, except that rhs holds the last right-hand side and that a
// ring pixel whose trimap byte is known loses its ring mark.
DSCM_API int mat_run(mat_data& data, const unsigned char* trimap, unsigned char* alpha,
                     unsigned char* ignored);

// Solves a part of a record that covers the whole picture (made by mat_init).
//
// mask: non-zero = the part to work on. trimap: 0 = free, any other byte = known alpha (unlike
// everywhere else, where 128 is unknown). alpha: in-out; known pixels and the ring of one pixel
// around the mask are pinned, every selected pixel is written, truncated rather than rounded.
// All are width x height with their strides in bytes; width * height must be the record's n.
// Returns the solver's result, 0 when there is nothing to solve.
DSCM_API int mat_mask_run(mat_data& data, const unsigned char* trimap, int width, int height,
                          int trimap_stride, unsigned char* mask, int mask_stride,
                          unsigned char* alpha, int alpha_stride, int ignored1, double ignored2);

// Writes n solution values as bytes trunc(255 x + 0.5), clamped: value k to alpha[pixel_of[k]], or
// to alpha[k] when pixel_of is null. Returns the pointer past the last byte in the latter case,
// else alpha.
DSCM_API unsigned char* _mat_get_alpha(unsigned char* alpha, const double* x, const int* pixel_of,
                                       int n);
