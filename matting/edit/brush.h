// Brush tools of an interactive editor: mattes and trimaps, 8-bit maps width x height, one channel
// unless a channel count is given, strides in bytes. Callers edit a region by passing pointers into
// a larger map.
//
// Brush weights: 0 leaves a pixel alone, 255 applies a tool almost fully. An applied-weight map
// (in-out, cleared by the caller when a stroke begins) holds the strongest weight of the stroke so
// far, so that its dabs do not add up: only where the brush exceeds it is a pixel changed, and it
// then becomes the brush. The tools do not care about the alpha convention.
//
// `border` is null or four ints: how far beyond the region's left, top, right and bottom edge the
// source has pixels that windows may read. Windows are size x size; an even size acts as the next
// odd one, a size below 1 as 1.
//
// A null raster or table makes a function return at once; sizes below 1 write nothing.
#pragma once

#include "ff/api.h"

// One dab towards `value`: dst = alpha moved towards it by brush / 256. Computed from alpha, not
// from dst, so dst may be alpha itself or a map that already holds the stroke.
DSCM_API void mat_set_brush(const unsigned char* alpha, int w, int h, int alpha_stride,
                            const unsigned char* brush, int brush_stride, unsigned char* applied,
                            int applied_stride, unsigned char* dst, int dst_stride,
                            unsigned char value);

// One dab back towards the saved copy, from what dst (in-out) holds, all channels alike. `applied`
// is only updated with `record`. With channels below 1 nothing but that happens: saved and dst may
// be null, applied becomes the larger of itself and the brush.
DSCM_API void mat_undo_brush(const unsigned char* saved, int w, int h, int saved_stride,
                             int channels, const unsigned char* brush, int brush_stride,
                             unsigned char* applied, int applied_stride, unsigned char* dst,
                             int dst_stride, bool record);

// Softly shrinks (grows) what is bright in src under the brush: from the mean m over the window and
// the maximum M over half the region's width (at least 7), dst (in-out) becomes the smaller of
// itself and m - (M - m) m b / (256 M) (the larger of itself and m + ...). No applied-weight map:
// every call goes further. src may be dst.
DSCM_API void mat_erode_brush(const unsigned char* src, int w, int h, int src_stride,
                              const unsigned char* brush, int brush_stride, unsigned char* dst,
                              int dst_stride, int size, int* border);
DSCM_API void mat_dilate_brush(const unsigned char* src, int w, int h, int src_stride,
                               const unsigned char* brush, int brush_stride, unsigned char* dst,
                               int dst_stride, int size, int* border);

// dst: the window mean of every channel, rounded half up. src may be dst.
DSCM_API void mat_smooth_brush(const unsigned char* src, int w, int h, int src_stride, int channels,
                               unsigned char* dst, int dst_stride, int size, int* border);

// Where the window's maximum is below `low` both destinations become 0, where its minimum is above
// `high` 255; elsewhere they stay. Usually the edited matte and its trimap. low 0 and high 255
// switch a rule off.
DSCM_API void mat_brush_threshold(const unsigned char* src, int w, int h, int src_stride,
                                  unsigned char* first, int first_stride, unsigned char* second,
                                  int second_stride, int size, int* border, unsigned char low,
                                  unsigned char high);

// The same into one destination, with extrema over `iterations` windows in a row (below 1: one).
DSCM_API void mat_shrink_unknown_mm(const unsigned char* src, int w, int h, int src_stride,
                                    unsigned char* dst, int dst_stride, int size, int iterations,
                                    unsigned char low, unsigned char high);

// second (in-out) becomes 128 where the trimap is 128, neither alpha is, and the two differ by less
// than `tolerance`.
DSCM_API void mat_rectify_uialpha(const unsigned char* trimap, int w, int h, int trimap_stride,
                                  const unsigned char* first, int first_stride,
                                  unsigned char* second, int second_stride, int tolerance);

// A brush: 255 in an inner ellipse (radius 1 - edge of the half sides), falling linearly with the
// radius to 4 in the corners for an edge of 0. A side of 1 has no extent and lies in the middle;
// weights are limited to 0..255, what is not a number is 0.
DSCM_API void mat_make_rect_weight(unsigned char* dst, int w, int h, int stride, float edge);

// How well a grid of strips separates the unknown pixels (128): their bounding box is cut into
// column_strips and into row_strips; the result is one minus the largest share of unknown pixels in
// any strip. Strips that come out without extent do not count. 1 for a null trimap, 0 without
// unknown pixels.
DSCM_API double mat_estimate_opt_level(const unsigned char* trimap, int w, int h, int stride,
                                       int column_strips, int row_strips);

// 256 bytes: an S-shaped tone curve that rises from 0 to 255. steepness and balance are percent,
// limited to 0..100: from nearly straight to steep, and where the middle lies.
DSCM_API void mat_calc_S_transform(unsigned char* table, int steepness, int balance);
