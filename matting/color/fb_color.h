// The two colours behind every mixed pixel of a matte: those of the side where alpha is low and of
// the side where it is high.
//
// A pixel is low for alpha < lo, high for alpha > hi and mixed between; usual are 1 and 253. Low
// and high pixels keep the picture's colour in both planes. The two sides are not estimated alike:
//   low side   plain means of the definite low pixels around a mixed one
//   high side  the definite colour around it that explains the mix best, corrected at full size by
//              what the compositing equation leaves for it
// So the subject should be the high side: for a cut-out or a composite onto a new background call
// mat_estimate_fb_color with the subject at 255 (the caller convention of the matting object) and
// take high_out. The low side is for the surroundings, or where a soft colour will do.
//
// Works coarse to fine, at a cost a mixed pixel that does not depend on the picture's size as long
// as both sides are well represented. Where one side has hardly a pixel every mixed pixel has to
// look through all of the other: the low side then still costs little, the high side microseconds a
// mixed pixel when it is the low side that is scarce. A matte without any low or without any high
// pixel starts from twice the picture's size.
//
// Scratch: about 16 bytes a pixel, 10 when only the low side is asked for; about four times that
// for a matte that lacks one side, up to 8 bytes a pixel and 64 MB more where a side is scarce.
// std::bad_alloc when it cannot be had, before anything is written.
#pragma once

#include "ff/api.h"

// image: in, 3 channels. alpha: in, one byte a pixel. low_out, high_out: out, 3 channels, or null
// where a side is not wanted (which saves its work); written last, so they may be the image itself.
// Strides are bytes. lo should be below hi; with lo = 0 pixels of alpha 0 are mixed and their high
// side is 0 or 255, with lo > hi nothing is mixed. A null image or alpha and sizes below 1 write
// nothing.
DSCM_API void mat_estimate_fb_color(const unsigned char* image, int width, int height,
                                    int image_stride, const unsigned char* alpha, int alpha_stride,
                                    unsigned char* low_out, int low_out_stride,
                                    unsigned char* high_out, int high_out_stride, unsigned char lo,
                                    unsigned char hi);

// The same with the two outputs exchanged: the high side first.
DSCM_API void estimate_fb_color_x(const unsigned char* image, int width, int height,
                                  int image_stride, const unsigned char* alpha, int alpha_stride,
                                  unsigned char* high_out, int high_out_stride,
                                  unsigned char* low_out, int low_out_stride, unsigned char lo,
                                  unsigned char hi);

// 256 weights: an S-shaped fall from 1 at index lo to 0 at hi, 0 outside. lo and hi are limited to
// 0..255; lo == hi gives a single entry that is not a number. p is the width of the fall (1.0), q
// where it stands (0.5 is the middle). A null table: nothing.
DSCM_API void _calc_S_func(float* table, int lo, int hi, double p, double q);
