// Exact squared Euclidean distance transform (Felzenszwalb and Huttenlocher, "Distance Transforms
// of Sampled Functions") and the small map makers that go with it.
#pragma once

#include "ff/api.h"

// In place: every cell becomes the smallest grid value plus squared distance over all cells. With 0
// at the sources and 1e20 elsewhere, the squared distance in pixels to the nearest source.
// grid: w x h floats, contiguous. Null or sizes below 1: nothing.
DSCM_API void DistanceTransform(float* grid, int w, int h);

// The same along one line of n values, which stays as it is. Returns n floats that the caller frees
// with delete[] (unfilled for n below 1).
DSCM_API float* DistanceTransform1D(float* f, int n);

// Returns a grid of w x h floats (freed by the caller with delete[]): 1e20 where the mask byte is
// non-zero, 0 where it is 0. Unfilled for sizes below 1 or a null mask.
DSCM_API float* DPLMatting_MakeDTInput(const unsigned char* mask, int w, int h, int stride);

// dst: a copy of src in which pixels become 128 (unknown) where maximum and minimum of the
// (radius | 1)-wide square window differ by more than 127, and 127 where they held 128 otherwise.
// Strides are bytes. Null pointers or sizes below 1: nothing.
DSCM_API void MakeSeeds(const unsigned char* src, int w, int h, int stride, unsigned char* dst,
                        int dst_stride, int radius);

// In place: b becomes 255 - b, but 128 stays 128 (so that 127 and 128 both end as 128). Turns the
// caller's alpha convention into the internal one and back.
DSCM_API void InvertMatte(unsigned char* buf, int w, int h, int stride);
