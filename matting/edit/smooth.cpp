// Soft erosion and dilation of a matte's boundary.
//
// With m the mean of a small window, M and N the extrema of a window that grows with the picture,
// erosion gives M (m / M)^e with an exponent of 1 to 2 that is larger where the window touches
// background, dilation M (1 - (1 - m / M)^2). Single precision, as powf takes it. Scratch: a byte a
// pixel for each extremum, and an int for means of windows wider than 3; powf only runs where
// 0 < m < M.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "ff/filters.h"
#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/edit/cleanup.h"

namespace {

using u8 = unsigned char;

// Width of the extremum window: 7 per 2^20 pixels, odd, at least 7. The product is 32-bit.
int extremum_window(int width, int height) {
    const auto product = std::uint32_t(width) * std::uint32_t(height) * 7u;
    return std::max(std::int32_t(product) / 1048576 | 1, 7);
}

// The low eight bits of v, truncated; 0 beyond the ints, where powers of means end that are
// negative because the sum of a window of more than 8 million pixels wrapped.
u8 low_byte(float v) { return std::fabs(v) < 2147483648.0f ? u8(int(v)) : 0; }

u8 eroded(int mean, u8 most, u8 least) {
    if (most == 0 || mean == 0) return 0;
    const float r = float(mean) / float(most);
    float value = r;
    if (r != 1.0f) {
        const float e =
            std::fmax(float(std::min<int>(least, 32)) * -0.03125f * 0.5f + 2.0f - r, 1.0f);
        value = std::pow(r, e);
    }
    return low_byte(value * float(most) + 0.5f);
}

u8 dilated(int mean, u8 most) {
    if (most == 0) return 0;
    const float t = 1.0f - float(mean) / float(most);
    return low_byte((1.0f - t * t) * float(most) + 0.5f);
}

// The 3 x 3 mean of row y of a picture; the first and the last column weigh their own column three
// times.
void mean_row_3x3(const u8* src, int width, int height, int stride, int y, int* out) {
    const u8* const row = src + std::ptrdiff_t(y) * stride;
    const u8* const above = y > 0 ? row - stride : row;
    const u8* const below = y < height - 1 ? row + stride : row;
    const auto column = [=](int x) { return unsigned(above[x]) + row[x] + below[x]; };
    out[0] = int((3 * column(0) + 4) / 9);
    for (int x = 1; x < width - 1; ++x)
        out[x] = int((column(x - 1) + column(x) + column(x + 1) + 4) / 9);
    out[width - 1] = int((3 * column(width - 1) + 4) / 9);
}

// Means of a picture row by row, from the top down. Each row may be written over once its means
// have been handed out.
class row_means {
  public:
    row_means(const u8* src, int width, int height, int stride, int size)
        : src_(src), width_(width), height_(height), stride_(stride), ahead_(size == 3) {
        plane_ = ff::make_scratch<int>(width, ahead_ ? 2 : height);
        if (ahead_)
            take_row(0);
        else
            ff::ipf_mean_filter(src, width, height, stride, 1, plane_.get(), width, nullptr, 0,
                                size, size, nullptr);
    }

    // A 3 x 3 mean is taken a row ahead: it needs the row above as it was.
    const int* row(int y) {
        if (ahead_ && y + 1 < height_) take_row(y + 1);
        return place(y);
    }

  private:
    int* place(int y) { return plane_.get() + std::ptrdiff_t(ahead_ ? y & 1 : y) * width_; }
    void take_row(int y) { mean_row_3x3(src_, width_, height_, stride_, y, place(y)); }

    const u8* src_;
    int width_, height_, stride_;
    bool ahead_;
    ff::scratch<int> plane_;  // of all rows, or the two last taken
};

}  // namespace

void mean_filter_3x3(const unsigned char* src, int width, int height, int src_stride, int* dst,
                     int dst_stride) {
    if (!src || !dst || width < 1 || height < 1) return;
    for (int y = 0; y < height; ++y)
        mean_row_3x3(src, width, height, src_stride, y, dst + std::ptrdiff_t(y) * dst_stride);
}

void _erode_dilate(const unsigned char* src, int width, int height, int src_stride,
                   unsigned char* dst, int dst_stride, int size, bool smooth, unsigned char*) {
    if (!src || !dst || width < 1 || height < 1) return;
    if (size < 1) {
        if (src != dst) ff::ipf_memcpy_2d(src, width, height, src_stride, dst, dst_stride);
        return;
    }
    size |= 1;
    row_means mean(src, width, height, src_stride, size);
    const auto most = ff::make_scratch<u8>(width, height);
    const auto least = ff::make_scratch<u8>(smooth ? width : 0, height);
    const int k = extremum_window(width, height);
    ff::ipf_max_filter(src, width, height, src_stride, 1, most.get(), width, k, 1, nullptr);
    if (smooth)
        ff::ipf_min_filter(src, width, height, src_stride, 1, least.get(), width, k, 1, nullptr);

    for (int y = 0; y < height; ++y) {
        const std::ptrdiff_t row = std::ptrdiff_t(y) * width;
        const int* m = mean.row(y);
        const u8* top = most.get() + row;
        u8* out = dst + std::ptrdiff_t(y) * dst_stride;
        if (smooth)
            for (int x = 0; x < width; ++x) out[x] = eroded(m[x], top[x], least.get()[row + x]);
        else
            for (int x = 0; x < width; ++x) out[x] = dilated(m[x], top[x]);
    }
}

void mat_smooth_boundary(const unsigned char* src, int width, int height, int src_stride,
                         unsigned char* dst, int dst_stride, int size) {
    _erode_dilate(src, width, height, src_stride, dst, dst_stride, size, true, nullptr);
}

void mat_dilate(const unsigned char* src, int width, int height, int src_stride, unsigned char* dst,
                int dst_stride, int size) {
    _erode_dilate(src, width, height, src_stride, dst, dst_stride, size, false, nullptr);
}
