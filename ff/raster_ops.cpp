// Operations on raw rasters. Whole rows go to the row functions of ff/raster.h; what walks pixels
// does it row by row with the pixel sizes as they come, a few instructions a pixel.
#include "ff/raster_ops.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ff/raster.h"
#include "ff/scratch.h"

namespace ff {
namespace {

using u8 = unsigned char;

constexpr u8 opaque = 255;

bool is_raster(const void* data, int w, int h, int pixel_bytes) {
    return data && w > 0 && h > 0 && pixel_bytes > 0 && std::int64_t(w) * pixel_bytes <= INT_MAX;
}

template <class T>
T* row_of(T* data, int y, int stride) {
    return data + std::ptrdiff_t(y) * stride;
}

// Calls pixel(source pixel, destination pixel) for every pixel, in raster order. False without
// rasters.
template <class Pixel>
bool for_each_pixel(const u8* src, int w, int h, int src_stride, int src_step, u8* dst,
                    int dst_stride, int dst_step, Pixel pixel) {
    if (!is_raster(src, w, h, src_step) || !is_raster(dst, w, h, dst_step)) return false;
    for (int y = 0; y < h; ++y) {
        const u8* s = row_of(src, y, src_stride);
        u8* d = row_of(dst, y, dst_stride);
        for (int x = 0; x < w; ++x, s += src_step, d += dst_step) pixel(s, d);
    }
    return true;
}

// Calls use(copy) with a copy(source, destination) of `bytes` bytes that is a plain move for the
// usual pixels; use is compiled once for each.
template <class Use>
auto with_copy_of(int bytes, Use use) {
    switch (bytes) {
        case 1:
            return use([](const u8* s, u8* d) { *d = *s; });
        case 3:
            return use([](const u8* s, u8* d) { std::memcpy(d, s, 3); });
        case 4:
            return use([](const u8* s, u8* d) { std::memcpy(d, s, 4); });
        default:
            return use([=](const u8* s, u8* d) { std::memcpy(d, s, std::size_t(bytes)); });
    }
}

// Calls block(x, y, w, h) for the parts of the frame that are not empty; they do not overlap.
template <class Block>
void for_each_side(int w, int h, int left, int top, int right, int bottom, Block block) {
    left = std::clamp(left, 0, w);
    right = std::clamp(right, 0, w - left);
    top = std::clamp(top, 0, h);
    bottom = std::clamp(bottom, 0, h - top);
    const int inner_h = h - top - bottom;
    if (top > 0) block(0, 0, w, top);
    if (bottom > 0) block(0, h - bottom, w, bottom);
    if (inner_h > 0 && left > 0) block(0, top, left, inner_h);
    if (inner_h > 0 && right > 0) block(w - right, top, right, inner_h);
}

u8 grey_of(const u8* bgr) { return u8((299 * bgr[2] + 587 * bgr[1] + 114 * bgr[0] + 500) / 1000); }

// Whether `bytes` bytes at `offset` lie in a pixel.
bool lies_in(int offset, int bytes, int pixel_bytes) {
    return bytes > 0 && offset >= 0 && offset <= pixel_bytes - bytes;
}

template <class Copy>
void resize_nearest_pixels(const u8* src, int src_w, int src_h, int src_stride, int pixel_bytes,
                           u8* dst, int dst_w, int dst_h, int dst_stride, Copy copy) {
    const auto columns = make_scratch<int>(dst_w);
    const auto rows = make_scratch<int>(dst_h);
    ipf_calc_resize_tab_nn(src_w, dst_w, columns.get(), pixel_bytes);
    ipf_calc_resize_tab_nn(src_h, dst_h, rows.get(), 1);
    for (int y = 0; y < dst_h; ++y) {
        const u8* s = row_of(src, rows[std::size_t(y)], src_stride);
        u8* d = row_of(dst, y, dst_stride);
        for (int x = 0; x < dst_w; ++x, d += pixel_bytes) copy(s + columns[std::size_t(x)], d);
    }
}

}  // namespace

bool fiuCopy(const unsigned char* src, int w, int h, int src_stride, int pixel_bytes,
             unsigned char* dst, int dst_stride) {
    if (!is_raster(src, w, h, pixel_bytes) || !dst) return false;
    ipf_memcpy_2d(src, w * pixel_bytes, h, src_stride, dst, dst_stride);
    return true;
}

bool fiuCopyPixel(const unsigned char* src, int w, int h, int src_stride, int src_pixel_bytes,
                  unsigned char* dst, int dst_stride, int dst_pixel_bytes) {
    return fiuCopyChannels(src, w, h, src_stride, src_pixel_bytes, dst, dst_stride, dst_pixel_bytes,
                           0, 0, std::min(src_pixel_bytes, dst_pixel_bytes));
}

bool fiuSetMem(unsigned char* dst, int w, int h, int stride, int pixel_bytes, unsigned char value) {
    if (!is_raster(dst, w, h, pixel_bytes)) return false;
    ipf_memset_2d(dst, w * pixel_bytes, h, stride, char(value));
    return true;
}

bool fiuSetPixel(unsigned char* dst, int w, int h, int stride, int pixel_bytes,
                 const unsigned char* pixel) {
    if (!is_raster(dst, w, h, pixel_bytes) || !pixel) return false;
    const auto bytes = std::size_t(pixel_bytes);
    for (int x = 0; x < w; ++x) std::memmove(dst + std::size_t(x) * bytes, pixel, bytes);
    for (int y = 1; y < h; ++y) std::memcpy(row_of(dst, y, stride), dst, std::size_t(w) * bytes);
    return true;
}

bool fiuSetBoundary(unsigned char* dst, int w, int h, int stride, int pixel_bytes, int left,
                    int top, int right, int bottom, unsigned char value) {
    if (!is_raster(dst, w, h, pixel_bytes)) return false;
    for_each_side(w, h, left, top, right, bottom, [=](int x, int y, int side_w, int side_h) {
        fiuSetMem(row_of(dst, y, stride) + std::ptrdiff_t(x) * pixel_bytes, side_w, side_h, stride,
                  pixel_bytes, value);
    });
    return true;
}

bool fiuSetBoundaryPixel(unsigned char* dst, int w, int h, int stride, int pixel_bytes, int left,
                         int top, int right, int bottom, const unsigned char* pixel) {
    if (!is_raster(dst, w, h, pixel_bytes) || !pixel) return false;
    for_each_side(w, h, left, top, right, bottom, [=](int x, int y, int side_w, int side_h) {
        fiuSetPixel(row_of(dst, y, stride) + std::ptrdiff_t(x) * pixel_bytes, side_w, side_h,
                    stride, pixel_bytes, pixel);
    });
    return true;
}

bool fiuFlipX(const unsigned char* src, int w, int h, int src_stride, int pixel_bytes,
              unsigned char* dst, int dst_stride) {
    return fiuCopy(src, w, h, src_stride, pixel_bytes, dst, dst_stride) &&
           fiuFlipX(dst, w, h, dst_stride, pixel_bytes);
}

bool fiuFlipX(unsigned char* data, int w, int h, int stride, int pixel_bytes) {
    if (!is_raster(data, w, h, pixel_bytes)) return false;
    ipf_flip_horz(data, w, h, stride, pixel_bytes);
    return true;
}

bool fiuFlipY(const unsigned char* src, int w, int h, int src_stride, int pixel_bytes,
              unsigned char* dst, int dst_stride) {
    if (!is_raster(src, w, h, pixel_bytes) || !dst) return false;
    ipf_flip_vert(src, w * pixel_bytes, h, src_stride, dst, dst_stride);
    return true;
}

bool fiuFlipY(unsigned char* data, int w, int h, int stride, int pixel_bytes) {
    if (!is_raster(data, w, h, pixel_bytes)) return false;
    ipf_flip_vert(data, w * pixel_bytes, h, stride);
    return true;
}

bool fiuTile(const unsigned char* src, int src_w, int src_h, int src_stride, int pixel_bytes,
             unsigned char* dst, int dst_w, int dst_h, int dst_stride) {
    if (!is_raster(src, src_w, src_h, pixel_bytes) || !is_raster(dst, dst_w, dst_h, pixel_bytes))
        return false;
    const int tile_bytes = src_w * pixel_bytes, row_bytes = dst_w * pixel_bytes;
    for (int y = 0; y < dst_h; ++y) {
        const u8* s = row_of(src, y % src_h, src_stride);
        u8* d = row_of(dst, y, dst_stride);
        for (int left = row_bytes; left > 0; left -= tile_bytes, d += tile_bytes)
            std::memcpy(d, s, std::size_t(std::min(tile_bytes, left)));
    }
    return true;
}

bool fiuTransformPixel(const unsigned char* src, int w, int h, int src_stride, int src_pixel_bytes,
                       unsigned char* dst, int dst_stride, int dst_pixel_bytes,
                       pixel_transform transform) {
    return transform && for_each_pixel(src, w, h, src_stride, src_pixel_bytes, dst, dst_stride,
                                       dst_pixel_bytes, transform);
}

bool fiuSwapChannels(unsigned char* data, int w, int h, int stride, int pixel_bytes, int first,
                     int second, int bytes) {
    if (!is_raster(data, w, h, pixel_bytes) || !lies_in(first, bytes, pixel_bytes) ||
        !lies_in(second, bytes, pixel_bytes))
        return false;
    if (first == second) return true;
    if (std::max(first, second) - std::min(first, second) < bytes) return false;
    return for_each_pixel(
        data, w, h, stride, pixel_bytes, data, stride, pixel_bytes,
        [=](const u8*, u8* p) { std::swap_ranges(p + first, p + first + bytes, p + second); });
}

bool fiuCopyChannels(const unsigned char* src, int w, int h, int src_stride, int src_pixel_bytes,
                     unsigned char* dst, int dst_stride, int dst_pixel_bytes, int from, int to,
                     int bytes) {
    if (!lies_in(from, bytes, src_pixel_bytes) || !lies_in(to, bytes, dst_pixel_bytes))
        return false;
    return with_copy_of(bytes, [=](auto copy) {
        return for_each_pixel(src, w, h, src_stride, src_pixel_bytes, dst, dst_stride,
                              dst_pixel_bytes, [=](const u8* s, u8* d) { copy(s + from, d + to); });
    });
}

bool fiuColorToGray(const unsigned char* src, int w, int h, int src_stride, int src_pixel_bytes,
                    unsigned char* dst, int dst_stride, int dst_pixel_bytes) {
    return src_pixel_bytes >= 3 &&
           for_each_pixel(src, w, h, src_stride, src_pixel_bytes, dst, dst_stride, dst_pixel_bytes,
                          [](const u8* bgr, u8* grey) { *grey = grey_of(bgr); });
}

bool fiuGrayToColor(const unsigned char* src, int w, int h, int src_stride, int src_pixel_bytes,
                    unsigned char* dst, int dst_stride, int dst_pixel_bytes) {
    return dst_pixel_bytes >= 3 &&
           for_each_pixel(src, w, h, src_stride, src_pixel_bytes, dst, dst_stride, dst_pixel_bytes,
                          [](const u8* grey, u8* bgr) { bgr[0] = bgr[1] = bgr[2] = *grey; });
}

bool fiuConvertRGBChannels(const unsigned char* src, int w, int h, int src_stride,
                           int src_pixel_bytes, unsigned char* dst, int dst_stride,
                           int dst_pixel_bytes) {
    const auto is_known = [](int bytes) { return bytes == 1 || bytes == 3 || bytes == 4; };
    if (!is_known(src_pixel_bytes) || !is_known(dst_pixel_bytes)) return false;
    const bool from_grey = src_pixel_bytes == 1, to_grey = dst_pixel_bytes == 1;
    const auto convert = from_grey == to_grey ? fiuCopyPixel
                         : from_grey          ? fiuGrayToColor
                                              : fiuColorToGray;
    if (!convert(src, w, h, src_stride, src_pixel_bytes, dst, dst_stride, dst_pixel_bytes))
        return false;
    if (dst_pixel_bytes == 4 && src_pixel_bytes != 4)
        for_each_pixel(dst, w, h, dst_stride, 4, dst, dst_stride, 4,
                       [](const u8*, u8* p) { p[3] = opaque; });
    return true;
}

bool fiuResize(const unsigned char* src, int src_w, int src_h, int src_stride, int pixel_bytes,
               unsigned char* dst, int dst_w, int dst_h, int dst_stride, int mode) {
    if (!is_raster(src, src_w, src_h, pixel_bytes) || !is_raster(dst, dst_w, dst_h, pixel_bytes))
        return false;
    if (mode == resize_nearest) {
        with_copy_of(pixel_bytes, [=](auto copy) {
            resize_nearest_pixels(src, src_w, src_h, src_stride, pixel_bytes, dst, dst_w, dst_h,
                                  dst_stride, copy);
        });
        return true;
    }
    if (mode != resize_linear) return false;
    ipf_resize_bl(src, src_w, src_h, src_stride, pixel_bytes, dst, dst_w, dst_h, dst_stride,
                  pixel_bytes, pixel_bytes);
    return true;
}

bool fiuFillBits(const unsigned char* bits, int w, int h, int bits_stride, unsigned char* dst,
                 int dst_stride, int pixel_bytes, const unsigned char* pixel) {
    if (!bits || !is_raster(dst, w, h, pixel_bytes) || !pixel) return false;
    const auto bytes = std::size_t(pixel_bytes);
    for (int y = 0; y < h; ++y) {
        const u8* b = row_of(bits, y, bits_stride);
        u8* d = row_of(dst, y, dst_stride);
        for (int x = 0; x < w; ++x, d += pixel_bytes)
            if (b[x / 8] >> (7 - x % 8) & 1) std::memmove(d, pixel, bytes);
    }
    return true;
}

}  // namespace ff
