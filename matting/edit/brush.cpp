// The brush tools. Integer arithmetic except for the brush shape and the tone curve. Dabs move by
// (difference * weight + rounding) >> 8, where the shift of a negative product is meant to floor;
// the rounding differs between the tools.
#include "matting/edit/brush.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "ff/filters.h"
#include "ff/raster.h"
#include "ff/scratch.h"

namespace {

using u8 = unsigned char;

constexpr u8 unknown_value = 128;
constexpr int set_rounding = 128, undo_rounding = 127;

template <class T>
T* row_at(T* base, int y, int stride) {
    return base + std::ptrdiff_t(y) * stride;
}

u8 moved(int from, int to, int weight, int rounding) {
    return u8(from + (((to - from) * weight + rounding) >> 8));
}

// mean: 0..255, most: 1..255; the products stay below 2^24. Divisions truncate toward zero. A mean
// above `most` comes from beyond the region, and then the pixel stays as it is.
int eroded(int mean, int most, int weight) {
    return mean + ((mean - most) * mean * weight) / (256 * most);
}
int dilated(int mean, int most, int weight) {
    return mean + ((most - mean) * mean * weight) / (256 * most);
}

template <class Change>
void morph_brush(const u8* src, int w, int h, int src_stride, const u8* brush, int brush_stride,
                 u8* dst, int dst_stride, int size, int* border, Change change) {
    if (!src || !brush || !dst || w < 1 || h < 1) return;
    const auto mean = ff::make_scratch<u8>(w, h), most = ff::make_scratch<u8>(w, h);
    ff::ipf_mean_filter(src, w, h, src_stride, 1, mean.get(), w, nullptr, 0, size, size, border);
    const int k = std::max(w / 2 | 1, 7);
    ff::ipf_max_filter(src, w, h, src_stride, 1, most.get(), w, k, 1, nullptr);
    for (int y = 0; y < h; ++y) {
        const u8* m = mean.get() + std::ptrdiff_t(y) * w;
        const u8* top = most.get() + std::ptrdiff_t(y) * w;
        const u8* b = row_at(brush, y, brush_stride);
        u8* out = row_at(dst, y, dst_stride);
        for (int x = 0; x < w; ++x)
            if (top[x]) out[x] = u8(change(int(out[x]), m[x], top[x], b[x]));
    }
}

// dst = value where test(extremum) holds.
template <class Test>
void fill_where(const u8* extremum, int w, int h, u8* dst, int dst_stride, u8 value, Test test) {
    for (int y = 0; y < h; ++y, extremum += w) {
        u8* out = row_at(dst, y, dst_stride);
        for (int x = 0; x < w; ++x) out[x] = test(extremum[x]) ? value : out[x];
    }
}

// One minus the largest share of unknown pixels in any strip. lines: unknown pixels of each line of
// the box across the cut, `length` pixels long.
double emptiest_strips(const std::vector<std::int64_t>& lines, int length, int strips) {
    double least = 1.0;
    const int thickness = strips < 1 ? 0 : int(lines.size()) / strips;
    if (thickness < 1) return least;
    auto line = lines.begin();
    for (int i = 0; i < strips; ++i) {
        std::int64_t count = 0;
        for (int j = 0; j < thickness; ++j) count += *line++;
        least = std::min(least, 1.0 - double(count) / (double(thickness) * length));
    }
    return least;
}

// Position along one side of a brush, -1 .. 1.
float from_middle(int i, int half) { return half < 1 ? 0.0f : float(i - half) / float(half); }

u8 rect_weight(float fx, float fy, float edge) {
    const float v = 1.0f - std::sqrt(fx * fx + fy * fy);
    const float weight = v > edge ? 1.0f : (v + 0.42f) / (edge + 0.42f);
    const float scaled = weight * 255.0f + 0.5f;
    return u8(scaled > 0.0f ? std::min(scaled, 255.0f) : 0.0f);
}

// The curves that percentages choose from.
struct curve_tables {
    double steepness[101], balance[101];

    curve_tables() {
        for (int i = 0; i <= 100; ++i) {
            const double u = i / 100.0, s = std::sqrt(u);
            steepness[i] = s * 0.05 + (1 - s) * 0.5;
            balance[i] = u / 255 + (1 - u) * 254 / 255;
        }
    }
};

}  // namespace

void mat_set_brush(const unsigned char* alpha, int w, int h, int alpha_stride,
                   const unsigned char* brush, int brush_stride, unsigned char* applied,
                   int applied_stride, unsigned char* dst, int dst_stride, unsigned char value) {
    if (!alpha || !brush || !applied || !dst) return;
    for (int y = 0; y < h; ++y) {
        const u8* a = row_at(alpha, y, alpha_stride);
        const u8* b = row_at(brush, y, brush_stride);
        u8* before = row_at(applied, y, applied_stride);
        u8* out = row_at(dst, y, dst_stride);
        for (int x = 0; x < w; ++x) {
            if (before[x] >= b[x]) continue;
            out[x] = moved(a[x], value, b[x], set_rounding);
            before[x] = b[x];
        }
    }
}

void mat_undo_brush(const unsigned char* saved, int w, int h, int saved_stride, int channels,
                    const unsigned char* brush, int brush_stride, unsigned char* applied,
                    int applied_stride, unsigned char* dst, int dst_stride, bool record) {
    if (!brush || !applied || (channels >= 1 && (!saved || !dst))) return;
    for (int y = 0; y < h; ++y) {
        const u8* b = row_at(brush, y, brush_stride);
        u8* before = row_at(applied, y, applied_stride);
        if (channels >= 1) {
            const u8* back = row_at(saved, y, saved_stride);
            u8* out = row_at(dst, y, dst_stride);
            for (int x = 0; x < w; ++x, back += channels, out += channels)
                if (before[x] < b[x])
                    for (int c = 0; c < channels; ++c)
                        out[c] = moved(out[c], back[c], b[x], undo_rounding);
        }
        if (record)
            for (int x = 0; x < w; ++x) before[x] = std::max(before[x], b[x]);
    }
}

void mat_erode_brush(const unsigned char* src, int w, int h, int src_stride,
                     const unsigned char* brush, int brush_stride, unsigned char* dst,
                     int dst_stride, int size, int* border) {
    morph_brush(src, w, h, src_stride, brush, brush_stride, dst, dst_stride, size, border,
                [](int d, int mean, int most, int weight) {
                    return std::min(d, eroded(mean, most, weight));
                });
}

void mat_dilate_brush(const unsigned char* src, int w, int h, int src_stride,
                      const unsigned char* brush, int brush_stride, unsigned char* dst,
                      int dst_stride, int size, int* border) {
    morph_brush(src, w, h, src_stride, brush, brush_stride, dst, dst_stride, size, border,
                [](int d, int mean, int most, int weight) {
                    return std::max(d, dilated(mean, most, weight));
                });
}

void mat_smooth_brush(const unsigned char* src, int w, int h, int src_stride, int channels,
                      unsigned char* dst, int dst_stride, int size, int* border) {
    if (!src || !dst || w < 1 || h < 1 || channels < 1 || channels > INT_MAX / w) return;
    const int row_bytes = w * channels;
    const auto mean = ff::make_scratch<u8>(row_bytes, h);
    ff::ipf_mean_filter(src, w, h, src_stride, channels, mean.get(), row_bytes, nullptr, 0, size,
                        size, border);
    ff::ipf_memcpy_2d(mean.get(), row_bytes, h, row_bytes, dst, dst_stride);
}

void mat_brush_threshold(const unsigned char* src, int w, int h, int src_stride,
                         unsigned char* first, int first_stride, unsigned char* second,
                         int second_stride, int size, int* border, unsigned char low,
                         unsigned char high) {
    if (!src || !first || !second || w < 1 || h < 1) return;
    const auto extremum = ff::make_scratch<u8>(w, h);
    const auto fill_both = [&](u8 value, auto test) {
        fill_where(extremum.get(), w, h, first, first_stride, value, test);
        fill_where(extremum.get(), w, h, second, second_stride, value, test);
    };
    if (low != 0) {
        ff::ipf_max_filter(src, w, h, src_stride, 1, extremum.get(), w, size, 1, border);
        fill_both(0, [low](u8 most) { return most < low; });
    }
    if (high < 255) {
        ff::ipf_min_filter(src, w, h, src_stride, 1, extremum.get(), w, size, 1, border);
        fill_both(255, [high](u8 least) { return least > high; });
    }
}

void mat_shrink_unknown_mm(const unsigned char* src, int w, int h, int src_stride,
                           unsigned char* dst, int dst_stride, int size, int iterations,
                           unsigned char low, unsigned char high) {
    if (!src || !dst || w < 1 || h < 1) return;
    const auto extremum = ff::make_scratch<u8>(w, h);
    ff::ipf_max_filter(src, w, h, src_stride, 1, extremum.get(), w, size, iterations, nullptr);
    fill_where(extremum.get(), w, h, dst, dst_stride, 0, [low](u8 most) { return most < low; });
    ff::ipf_min_filter(src, w, h, src_stride, 1, extremum.get(), w, size, iterations, nullptr);
    fill_where(extremum.get(), w, h, dst, dst_stride, 255,
               [high](u8 least) { return least > high; });
}

void mat_rectify_uialpha(const unsigned char* trimap, int w, int h, int trimap_stride,
                         const unsigned char* first, int first_stride, unsigned char* second,
                         int second_stride, int tolerance) {
    if (!trimap || !first || !second) return;
    for (int y = 0; y < h; ++y) {
        const u8* t = row_at(trimap, y, trimap_stride);
        const u8* a = row_at(first, y, first_stride);
        u8* b = row_at(second, y, second_stride);
        for (int x = 0; x < w; ++x)
            if (t[x] == unknown_value && a[x] != unknown_value && b[x] != unknown_value &&
                std::abs(a[x] - b[x]) < tolerance)
                b[x] = unknown_value;
    }
}

void mat_make_rect_weight(unsigned char* dst, int w, int h, int stride, float edge) {
    if (!dst) return;
    for (int y = 0; y < h; ++y) {
        const float fy = from_middle(y, h / 2);
        u8* out = row_at(dst, y, stride);
        for (int x = 0; x < w; ++x) out[x] = rect_weight(from_middle(x, w / 2), fy, edge);
    }
}

double mat_estimate_opt_level(const unsigned char* trimap, int w, int h, int stride,
                              int column_strips, int row_strips) {
    if (!trimap) return 1.0;
    if (w < 1 || h < 1) return 0.0;
    const auto unknown = ff::make_scratch<u8>(w, h);
    for (int y = 0; y < h; ++y) {
        const u8* from = row_at(trimap, y, stride);
        u8* to = row_at(unknown.get(), y, w);
        for (int x = 0; x < w; ++x) to[x] = from[x] == unknown_value;
    }
    int box[4];  // left, top, right, bottom
    if (!ff::ipf_get_mask_roi(unknown.get(), w, h, w, box, 0)) return 0.0;
    const int box_width = box[2] - box[0], box_height = box[3] - box[1];
    std::vector<std::int64_t> columns(std::size_t(box_width), 0), rows(std::size_t(box_height), 0);
    for (int y = 0; y < box_height; ++y) {
        const u8* row = row_at(unknown.get(), box[1] + y, w) + box[0];
        for (int x = 0; x < box_width; ++x) {
            columns[std::size_t(x)] += row[x];
            rows[std::size_t(y)] += row[x];
        }
    }
    return std::min(emptiest_strips(columns, box_height, column_strips),
                    emptiest_strips(rows, box_width, row_strips));
}

void mat_calc_S_transform(unsigned char* table, int steepness, int balance) {
    if (!table) return;
    static const curve_tables curves;
    const double p = curves.steepness[std::clamp(steepness, 0, 100)];
    const double q = curves.balance[100 - std::clamp(balance, 0, 100)];
    const double g = std::exp(-0.5 / p);
    const double x = ((g - 1) / (g - (g + 1) * ((g + q * (1 - g)) / (g + 1))) - 1) / g;
    const double c = p * std::log(x);
    const double k = (g * g * x + 1) / (g * g - 1) / x;
    for (int v = 0; v < 256; ++v) {
        const double s = k - (x + 1) * k / (std::exp((c - v / 255.0) / p) + 1);
        table[v] = u8(std::clamp(s * 255 + 0.5, 0.0, 255.0));
    }
}
