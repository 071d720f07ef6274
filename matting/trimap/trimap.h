// Trimap from a segmentation: an unknown band (128) over the subject's boundary, wider for larger
// regions and, in the long form, where the colours across the boundary differ.
#pragma once

#include <vector>

#include "ff/api.h"

struct dpl_pt2di {
    int x, y;
};

struct dpl_rect {
    int x_begin, x_end, y_begin, y_end;  // ends exclusive
};

// Short form. seg: in, one byte a pixel, non-zero = subject for the distances, 255 = may be a
// boundary pixel. trimap: out, same size; must not overlap seg. Strides are bytes.
// Each region's half-width is sqrt(largest squared distance to a zero byte) * band_scale,
// truncated, at most max_band; the band reaches that far up and left of a boundary pixel and one
// less down and right. Without any zero byte the half-width is max_band. Any band and scale is
// accepted; one that reaches beyond the picture covers it. Null pointers or sizes below 1: nothing.
DSCM_API void MakeTrimapFromSegRes(const unsigned char* seg, int w, int h, int seg_stride,
                                   unsigned char* trimap, int trimap_stride, int max_band,
                                   double band_scale);

// Long form: around every boundary pixel the half-width is chosen anew, from min_band where the
// colours inside and outside are alike (low_contrast and below, per channel) to max_band where they
// differ (high_contrast and above). img: B,G,R, w x h, img_stride bytes a row. step: every step-th
// colour on each side is compared; below 1 counts as 1. The colour search costs (8 b / step)^2 / 4
// steps a boundary pixel at worst for a half-width of b.
DSCM_API void MakeTrimapFromSegRes(const unsigned char* img, int w, int h, int img_stride,
                                   const unsigned char* seg, int seg_stride, unsigned char* trimap,
                                   int trimap_stride, int max_band, double band_scale, int step,
                                   unsigned char low_contrast, unsigned char high_contrast,
                                   int min_band);

// Appends n lists to `out`: for every label the pixels of value 255 that have a neighbour (left,
// right, above, below, inside the picture) of another label, in raster order.
// labels: w x h ints, contiguous, each in 0..n-1.
DSCM_API void GetCCBndryPixels(const unsigned char* seg, int w, int h, int seg_stride, int* labels,
                               int n, std::vector<std::vector<dpl_pt2di>>& out);

// The square of half-width r around pt, clipped: {max(x - r, 0), min(x + r, w), ...}.
DSCM_API dpl_rect AdaRect_CCSz(dpl_pt2di pt, int r, int w, int h);

// The square around pt whose half-width lies between min_band and max_band as the largest squared
// colour distance D between an inside (seg 255) and an outside pixel on rect's border lies between
// lo and hi. rect is clipped to the picture; null pictures give an empty square.
DSCM_API dpl_rect AdaRect_ImgGrad(dpl_pt2di pt, dpl_rect rect, const unsigned char* img, int w,
                                  int h, int img_stride, const unsigned char* seg, int seg_stride,
                                  int step, double lo, double hi, int min_band, int max_band);
