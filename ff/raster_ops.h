// Operations on raw rasters of whole pixels.
//
// One plan for all argument lists: a raster is (pointer, width, height, stride, pixel bytes), with
// the stride in bytes; sources stand before destinations, and what a destination has in common with
// its source (size, pixel bytes) is not repeated. What is special to a function comes last.
//
// All return true when the work is done, and false, nothing written, for null pointers, sizes or
// pixel bytes below 1, rows above 2^31 - 1 bytes, and arguments that make no sense together.
// Source and destination may be the same raster where it says "in place"; otherwise they must not
// overlap. Only the pixels' own bytes are written, never those between rows.
// std::bad_alloc when scratch cannot be had.
#pragma once

#include "ff/api.h"

namespace ff {

// Copies every pixel.
DSCM_API bool fiuCopy(const unsigned char* src, int w, int h, int src_stride, int pixel_bytes,
                      unsigned char* dst, int dst_stride);

// Copies between rasters of different pixel sizes: the bytes that both have; a wider destination
// keeps the rest of its pixels.
DSCM_API bool fiuCopyPixel(const unsigned char* src, int w, int h, int src_stride,
                           int src_pixel_bytes, unsigned char* dst, int dst_stride,
                           int dst_pixel_bytes);

// Sets every byte to `value`.
DSCM_API bool fiuSetMem(unsigned char* dst, int w, int h, int stride, int pixel_bytes,
                        unsigned char value);

// Sets every pixel to `pixel` (pixel_bytes bytes; it may be a pixel of dst).
DSCM_API bool fiuSetPixel(unsigned char* dst, int w, int h, int stride, int pixel_bytes,
                          const unsigned char* pixel);

// The same for a frame along the edges: so many columns and rows on each side. Widths below 0 count
// as 0, and those that meet cover the raster.
DSCM_API bool fiuSetBoundary(unsigned char* dst, int w, int h, int stride, int pixel_bytes,
                             int left, int top, int right, int bottom, unsigned char value);
DSCM_API bool fiuSetBoundaryPixel(unsigned char* dst, int w, int h, int stride, int pixel_bytes,
                                  int left, int top, int right, int bottom,
                                  const unsigned char* pixel);

// Mirrors left and right (X), top and bottom (Y); the second forms in place. Unlike ipf_flip_horz,
// no form is shifted.
DSCM_API bool fiuFlipX(const unsigned char* src, int w, int h, int src_stride, int pixel_bytes,
                       unsigned char* dst, int dst_stride);
DSCM_API bool fiuFlipX(unsigned char* data, int w, int h, int stride, int pixel_bytes);
DSCM_API bool fiuFlipY(const unsigned char* src, int w, int h, int src_stride, int pixel_bytes,
                       unsigned char* dst, int dst_stride);
DSCM_API bool fiuFlipY(unsigned char* data, int w, int h, int stride, int pixel_bytes);

// Covers dst with copies of src, the first in its top-left corner.
DSCM_API bool fiuTile(const unsigned char* src, int src_w, int src_h, int src_stride,
                      int pixel_bytes, unsigned char* dst, int dst_w, int dst_h, int dst_stride);

// Writes one pixel from one; ipf_bgr2lab and its like are such functions.
using pixel_transform = void (*)(const unsigned char* src, unsigned char* dst);

// Calls `transform` for every pixel, in raster order. In place when it allows that and the pixel
// bytes agree.
DSCM_API bool fiuTransformPixel(const unsigned char* src, int w, int h, int src_stride,
                                int src_pixel_bytes, unsigned char* dst, int dst_stride,
                                int dst_pixel_bytes, pixel_transform transform);

// In place: exchanges `bytes` bytes at offset `first` of every pixel with those at offset `second`.
// The two must lie in the pixel and not overlap (the same offset twice is true and changes
// nothing).
DSCM_API bool fiuSwapChannels(unsigned char* data, int w, int h, int stride, int pixel_bytes,
                              int first, int second, int bytes);

// Copies `bytes` bytes at offset `from` of every source pixel to offset `to` of the destination's.
DSCM_API bool fiuCopyChannels(const unsigned char* src, int w, int h, int src_stride,
                              int src_pixel_bytes, unsigned char* dst, int dst_stride,
                              int dst_pixel_bytes, int from, int to, int bytes);

// Grey of B, G, R: (299 R + 587 G + 114 B + 500) / 1000, into the first byte of every destination
// pixel. Source pixels have 3 bytes or more. In place when the pixel bytes agree.
DSCM_API bool fiuColorToGray(const unsigned char* src, int w, int h, int src_stride,
                             int src_pixel_bytes, unsigned char* dst, int dst_stride,
                             int dst_pixel_bytes);

// The first byte of every source pixel into the first three of the destination's (3 bytes or more;
// others stay).
DSCM_API bool fiuGrayToColor(const unsigned char* src, int w, int h, int src_stride,
                             int src_pixel_bytes, unsigned char* dst, int dst_stride,
                             int dst_pixel_bytes);

// Between pixels of 1 (grey), 3 (B, G, R) and 4 bytes (B, G, R, opacity): greys are repeated,
// colours become grey as by fiuColorToGray, an opacity is dropped or set to 255.
DSCM_API bool fiuConvertRGBChannels(const unsigned char* src, int w, int h, int src_stride,
                                    int src_pixel_bytes, unsigned char* dst, int dst_stride,
                                    int dst_pixel_bytes);

// By the tables of ipf_resize_nn, for pixels of any size, or as ipf_resize_bl, which takes every
// byte for a channel.
enum resize_mode { resize_nearest = 0, resize_linear = 1 };
DSCM_API bool fiuResize(const unsigned char* src, int src_w, int src_h, int src_stride,
                        int pixel_bytes, unsigned char* dst, int dst_w, int dst_h, int dst_stride,
                        int mode);

// Sets the pixels of dst whose bit is set to `pixel` (pixel_bytes bytes). bits: w x h bits, the
// leftmost in the highest bit of a byte, `bits_stride` bytes a row.
DSCM_API bool fiuFillBits(const unsigned char* bits, int w, int h, int bits_stride,
                          unsigned char* dst, int dst_stride, int pixel_bytes,
                          const unsigned char* pixel);

}  // namespace ff
