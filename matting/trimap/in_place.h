// Forms of this folder's functions that work in memory of the caller's, for callers who will need
// memory of that size next: pages that a process has are cheaper than new ones.
#pragma once

#include "matting/trimap/contrast_search.h"

namespace trimap {

// grid: w x h floats, 1e20 where the mask byte is non-zero, 0 where it is 0.
void mark_sources(const unsigned char* mask, int w, int h, int stride, float* grid);

// The squared colour distance that stands for a contrast a channel.
double squared_contrast(unsigned char per_channel);

// The long MakeTrimapFromSegRes; pictures and sizes are there. work: 2 * w * h ints, left with
// anything in them.
void draw_by_contrast(const contrast_settings& settings, double band_scale, unsigned char* out,
                      int out_stride, int* work);

}  // namespace trimap
