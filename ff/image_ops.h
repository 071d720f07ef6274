// The operations of ff/raster_ops.h on images, and those that only images have.
//
// One plan: images by reference, sources before destinations, what is special to a function last.
// A destination becomes the result: where its size and format fit already and it is not the source
// its pixels are written in place (also an attached raster's), otherwise it becomes a fresh image
// with rows of 4-byte multiples. So source and destination may be the same image; other overlaps
// are not allowed. Functions with one image work in place.
//
// All return true when the work is done, and false, with all images as they were, for empty images,
// formats without channels or bytes, sizes below 1 and arguments that make no sense. Unless said
// otherwise samples may have any size. Colour operations take 8-bit samples.
// std::bad_alloc leaves the destination as it was.
#pragma once

#include "ff/api.h"
#include "ff/raster_ops.h"

namespace ff {

struct FVTImage;

// A fresh image, not initialised: FVTImage::Reset.
DSCM_API bool fiAlloc(FVTImage& img, int w, int h, int format, int align);
// Back to the empty image. True.
DSCM_API bool fiFree(FVTImage& img);

// Pixels for h rows of row_bytes bytes, or of the stride that FVTImage::Reset would give; not
// initialised, to be released with ff_free. Null for sizes below 1.
DSCM_API unsigned char* fiAllocImageData(int row_bytes, int h);
DSCM_API unsigned char* fiAllocImageData(int w, int h, int format, int align);

DSCM_API bool fiCopy(const FVTImage& src, FVTImage& dst);

// `value` goes to every byte; `pixel` has the bytes of one pixel of the image.
DSCM_API bool fiSetMem(FVTImage& img, unsigned char value);
DSCM_API bool fiSetPixel(FVTImage& img, const unsigned char* pixel);
DSCM_API bool fiSetBoundary(FVTImage& img, int left, int top, int right, int bottom,
                            unsigned char value);
DSCM_API bool fiSetBoundaryPixel(FVTImage& img, int left, int top, int right, int bottom,
                                 const unsigned char* pixel);

// Mirrors left and right (flip_x), top and bottom (flip_y), or both.
enum flip_axes { flip_x = 1, flip_y = 2 };
DSCM_API bool fiFlip(const FVTImage& src, FVTImage& dst, int axes);
DSCM_API bool fiFlip(FVTImage& img, int axes);

// dst: w x h pixels covered with copies of src.
DSCM_API bool fiTile(const FVTImage& src, FVTImage& dst, int w, int h);

// dst: of `format`, every pixel made by `transform` from the one of src.
DSCM_API bool fiTransformPixel(const FVTImage& src, FVTImage& dst, int format,
                               pixel_transform transform);

// dst: the same channels with samples of another kind, the low 8 bits of a format: 0x11, 0x21
// unsigned, 0x12, 0x22, 0x42 signed integers of 1, 2 and 4 bytes, 0x43 float. Values are kept,
// not scaled; those beyond the new range are clamped to it, fractions rounded half up, and not a
// number becomes 0. False for other kinds, the source's included.
DSCM_API bool fiCastDepth(const FVTImage& src, FVTImage& dst, int kind);

// Exchanges two channels.
DSCM_API bool fiSwapChannels(FVTImage& img, int first, int second);

// Copies `count` channels from channel `from` on to those of dst from `to` on. dst keeps its other
// channels, so its size and sample kind must be the source's. Not within one image.
DSCM_API bool fiCopyChannels(const FVTImage& src, FVTImage& dst, int from, int to, int count);

// dst: one channel of src.
DSCM_API bool fiGetChannel(const FVTImage& src, FVTImage& dst, int channel);

// dst: one 8-bit channel, the grey of the first three of src.
DSCM_API bool fiColorToGray(const FVTImage& src, FVTImage& dst);

// dst: `channels` (1, 3 or 4) 8-bit channels as by fiuConvertRGBChannels.
DSCM_API bool fiConvertRGBChannels(const FVTImage& src, FVTImage& dst, int channels);

// dst: src resized to w x h; resize_linear for 8-bit samples only.
DSCM_API bool fiResize(const FVTImage& src, FVTImage& dst, int w, int h, int mode);

// The same by factors: each side is rounded to the nearest whole number, 1 at least. Factors that
// are not finite and above 0 are refused.
DSCM_API bool fiScale(const FVTImage& src, FVTImage& dst, double x_factor, double y_factor,
                      int mode);

}  // namespace ff
