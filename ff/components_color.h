// Connected components of 8-bit rasters.
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

}  // namespace ff
