// Forms of this folder's functions that work in memory of the caller's, for callers who will need
// memory of that size next: pages that a process has are cheaper than new ones.
#pragma once

namespace trimap {

// grid: w x h floats, 1e20 where the mask byte is non-zero, 0 where it is 0.
void mark_sources(const unsigned char* mask, int w, int h, int stride, float* grid);

// The long MakeTrimapFromSegRes. work: 2 * w * h ints, left with anything in them.
void make_by_contrast(const unsigned char* img, int w, int h, int img_stride,
                      const unsigned char* seg, int seg_stride, unsigned char* out, int out_stride,
                      int max_band, double band_scale, int step, unsigned char low_contrast,
                      unsigned char high_contrast, int min_band, int* work);

}  // namespace trimap
