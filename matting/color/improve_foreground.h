// Cleaning the old background's colour out of a cut-out with a brush.
//
// Colour sources have 3 channels (B,G,R). A result image has 4: colour, and the strongest weight
// applied so far. A reference colour is 4 bytes: colour, and a mode; above 128 pulls a pixel's
// colour towards the reference, otherwise pushes it away, the more the more transparent the pixel.
// A reference map keeps one per pixel, with weight (byte & 254) and mode (lowest bit, 1 = towards)
// packed into the fourth byte. Alpha is in the caller convention: 255 is opaque subject. Brush and
// applied-weight maps are as in matting/edit/brush.h. Strides are bytes.
//
// Every function returns at once, with nothing written, for a null pointer or a side below 1.
// Rasters must not overlap.
#pragma once

#include "ff/api.h"

// One dab with one reference colour: where the brush exceeds `applied` (in-out, set to the brush)
// and alpha is at least `threshold`, result moves towards the target colour by brush / 256 and its
// fourth byte rises to the brush. `unread` is ignored.
DSCM_API void mat_improve_foreground(const unsigned char* src, int w, int h, int src_stride,
                                     const unsigned char* alpha, int alpha_stride,
                                     const unsigned char* brush, int brush_stride,
                                     unsigned char* applied, int applied_stride,
                                     unsigned char* result, int result_stride,
                                     const unsigned char* reference, const unsigned char* unread,
                                     unsigned char threshold);

// The whole picture with the painted references of ref_map: where threshold <= alpha < 255 and the
// packed byte is not 0, result moves by (packed byte) / 256.
DSCM_API void mat_improve_foreground(const unsigned char* src, int w, int h, int src_stride,
                                     const unsigned char* ref_map, int ref_stride,
                                     const unsigned char* alpha, int alpha_stride,
                                     unsigned char* result, int result_stride,
                                     unsigned char threshold);

// Paints a reference colour into the map where the brush is stronger than what was painted there.
DSCM_API void mat_update_reference_color(unsigned char* ref_map, int w, int h, int ref_stride,
                                         const unsigned char* reference, const unsigned char* brush,
                                         int brush_stride);

// Blends result over src by its fourth byte, which stays: 0 gives src, 255 nearly result's colour.
DSCM_API void mat_merge_f_color(const unsigned char* src, int w, int h, int src_stride,
                                unsigned char* result, int result_stride);
