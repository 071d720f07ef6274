// Box and rank filters.
//
// Minimum and maximum are separable. Along a row the extremum of 2, 4, 8, ... samples is doubled up
// and two overlapping windows make the wanted one: log2(k) vectorised passes over a line in cache.
// Down the columns the running extremum of van Herk and of Gil and Werman works on strips of whole
// rows: suffix extrema backwards through a block of k rows, prefix extrema forwards through the
// next, three vectorised comparisons a sample whatever k is. Both compute the extremum of the
// clipped window, so the order and the method leave no trace in the bytes.
//
// Sums keep one running sum per column, which takes in a row and lets one go, and take differences
// of its prefix sums along the row. All in unsigned 32-bit arithmetic: sums wrap modulo 2^32.
// The count of samples in a window is a product of one factor per column and one per row.
#include "ff/filters.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ff/raster.h"
#include "ff/scratch.h"

namespace ff {
namespace {

using u8 = unsigned char;

// Half of a window of k samples, at most what covers n samples from any position.
int radius_of(std::int64_t k, int n) {
    return int(std::min<std::int64_t>(std::max<std::int64_t>(k, 1) / 2, n));
}

// --- minimum and maximum ------------------------------------------------------------------------

// Replaces padded[i] by the extremum of padded[i .. i + k - 1] for the first n samples; padded
// holds n + k - 1.
template <class Cmp>
void _mm_filter_1D(u8* padded, int n, int k) {
    int have = 1;
    for (; have * 2 <= k; have *= 2) {
        const int m = n + k - 2 * have;
        const u8* ahead = padded + have;
        for (int i = 0; i < m; ++i) padded[i] = Cmp::pick(padded[i], ahead[i]);
    }
    const u8* last = padded + (k - have);
    if (k > have)
        for (int i = 0; i < n; ++i) padded[i] = Cmp::pick(padded[i], last[i]);
}

// Filters every row of one channel of src into `plane`, w x h bytes, contiguous.
template <class Cmp>
void _mm_filter_2D_x(const u8* src, int w, int h, int stride, int step, u8* plane, int radius) {
    const int k = 2 * radius + 1;
    const auto line = make_scratch<u8>(std::ptrdiff_t(w) + k - 1);
    for (int y = 0; y < h; ++y, src += stride, plane += w) {
        std::memset(line.get(), Cmp::neutral, std::size_t(radius));
        std::memset(line.get() + radius + w, Cmp::neutral, std::size_t(radius));
        u8* inner = line.get() + radius;
        if (step == 1)
            std::memcpy(inner, src, std::size_t(w));
        else
            for (int x = 0; x < w; ++x) inner[x] = src[std::ptrdiff_t(x) * step];
        _mm_filter_1D<Cmp>(line.get(), w, k);
        std::memcpy(plane, line.get(), std::size_t(w));
    }
}

template <class Cmp>
void pick_rows(const u8* a, const u8* b, u8* out, int n) {
    for (int i = 0; i < n; ++i) out[i] = Cmp::pick(a[i], b[i]);
}

// Columns are filtered in strips of this many bytes, so that a block of rows stays in cache.
constexpr int strip_width = 512;

// One strip of `n` <= strip_width columns of `in` (h rows) into `out`, which has its own stride.
// Rows b .. b + k - 1 of the output make a block: each window is a suffix of the input rows
// b - radius .. b + radius joined with a prefix of those that follow. Rows outside are neutral.
// `suffix` holds k rows of strip_width bytes, `prefix` one.
template <class Cmp>
void filter_strip(const u8* in, int n, int h, int in_stride, u8* out, int out_stride, int radius,
                  u8* suffix, u8* prefix) {
    const int k = 2 * radius + 1;
    const auto in_row = [=](int y) { return in + std::ptrdiff_t(y) * in_stride; };
    for (int b = 0; b < h; b += k) {
        const int lowest = b - radius, highest = std::min(b + radius, h - 1);
        const auto suffix_row = [=](int y) {
            return suffix + std::ptrdiff_t(y - lowest) * strip_width;
        };
        std::memcpy(suffix_row(highest), in_row(highest), std::size_t(n));
        for (int y = highest - 1; y >= std::max(lowest, 0); --y)
            pick_rows<Cmp>(in_row(y), suffix_row(y + 1), suffix_row(y), n);

        std::memset(prefix, Cmp::neutral, std::size_t(n));
        const int end = std::min(b + k, h);
        for (int y = b; y < end; ++y) {
            if (y > b && y + radius < h) pick_rows<Cmp>(prefix, in_row(y + radius), prefix, n);
            pick_rows<Cmp>(suffix_row(std::max(y - radius, 0)), prefix,
                           out + std::ptrdiff_t(y) * out_stride, n);
        }
    }
}

template <class Cmp>
void filter_columns(const u8* in, int w, int h, u8* out, int out_stride, int radius) {
    const auto suffix = make_scratch<u8>(2 * std::ptrdiff_t(radius) + 2, strip_width);
    u8* prefix = suffix.get() + (2 * std::ptrdiff_t(radius) + 1) * strip_width;
    for (int x = 0; x < w; x += strip_width)
        filter_strip<Cmp>(in + x, std::min(strip_width, w - x), h, w, out + x, out_stride, radius,
                          suffix.get(), prefix);
}

// Both directions of one channel; `step` is the pixel step of src and dst, `k` the window.
template <class Cmp>
void _mm_filter_2D_y(const u8* src, int w, int h, int stride, u8* dst, int dst_stride, int step,
                     std::int64_t k) {
    const auto rows = make_scratch<u8>(w, h);
    _mm_filter_2D_x<Cmp>(src, w, h, stride, step, rows.get(), radius_of(k, w));
    if (step == 1) {
        filter_columns<Cmp>(rows.get(), w, h, dst, dst_stride, radius_of(k, h));
        return;
    }
    const auto plane = make_scratch<u8>(w, h);
    filter_columns<Cmp>(rows.get(), w, h, plane.get(), w, radius_of(k, h));
    const u8* from = plane.get();
    for (int y = 0; y < h; ++y, dst += dst_stride)
        for (int x = 0; x < w; ++x) dst[std::ptrdiff_t(x) * step] = *from++;
}

// Every channel; `passes` passes of a window of k are one of passes * (k - 1) + 1, clipping
// included, since the windows are boxes.
template <class Cmp>
void _mm_filter_2D(const u8* src, int w, int h, int stride, int channels, u8* dst, int dst_stride,
                   int k, int passes) {
    const std::int64_t reach = std::int64_t(std::max(k, 1) | 1) - 1;
    const std::int64_t window = std::max(passes, 1) * reach + 1;
    for (int c = 0; c < channels; ++c)
        _mm_filter_2D_y<Cmp>(src + c, w, h, stride, dst + c, dst_stride, channels, window);
}

// How far windows may read beyond each edge: left, top, right, bottom.
struct allowance {
    int left = 0, top = 0, right = 0, bottom = 0;

    allowance(const int* border, int most_x, int most_y) {
        if (!border) return;
        left = std::clamp(border[0], 0, most_x);
        top = std::clamp(border[1], 0, most_y);
        right = std::clamp(border[2], 0, most_x);
        bottom = std::clamp(border[3], 0, most_y);
    }
};

// With an allowance the enlarged raster is filtered and its central part kept.
template <class Cmp>
void _mm_filter_2D_wb(const u8* src, int w, int h, int stride, int channels, u8* dst,
                      int dst_stride, int k, int passes, const int* border) {
    if (!src || !dst || w < 1 || h < 1 || channels < 1) return;
    if (!border) {
        _mm_filter_2D<Cmp>(src, w, h, stride, channels, dst, dst_stride, k, passes);
        return;
    }
    const int window = std::max(k, 1);
    const allowance more(border, window, window);
    const int wide = w + more.left + more.right, high = h + more.top + more.bottom;
    const int wide_bytes = wide * channels;
    const auto whole = make_scratch<u8>(wide_bytes, high);
    _mm_filter_2D<Cmp>(
        src - std::ptrdiff_t(more.top) * stride - std::ptrdiff_t(more.left) * channels, wide, high,
        stride, channels, whole.get(), wide_bytes, k, passes);
    ipf_memcpy_2d(
        whole.get() + std::ptrdiff_t(more.top) * wide_bytes + std::ptrdiff_t(more.left) * channels,
        w * channels, h, wide_bytes, dst, dst_stride);
}

// --- sums, counts and means ---------------------------------------------------------------------

// Reach of a window on one axis of n samples, `before` and `after` of which exist beyond its ends.
struct axis {
    int n, radius, before, after;

    int first(int i) const { return std::max(i - radius, -before); }
    int last(int i) const {
        return int(std::min(std::int64_t(i) + radius, std::int64_t(n) - 1 + after));
    }
    std::uint32_t count(int i) const {
        return std::uint32_t(last(i)) - std::uint32_t(first(i)) + 1;
    }
};

struct window {
    axis x, y;

    window(int w, int h, int kw, int kh, const int* border)
        : x{w, std::max(kw, 1) / 2, 0, 0}, y{h, std::max(kh, 1) / 2, 0, 0} {
        // More than half a window beyond an edge is never read.
        const allowance more(border, x.radius, y.radius);
        x.before = more.left, x.after = more.right;
        y.before = more.top, y.after = more.bottom;
    }
};

template <class S>
void add_row(const S* row, std::uint32_t* sums, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] += std::uint32_t(row[i]);
}

template <class S>
void subtract_row(const S* row, std::uint32_t* sums, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] -= std::uint32_t(row[i]);
}

// Window sums of one row from its column sums: differences of prefix sums. `columns` and `prefix`
// start at column -before; prefix has one pixel more, and its first pixel is 0.
void sum_along_row(const std::uint32_t* columns, std::uint32_t* prefix, const axis& x, int channels,
                   std::uint32_t* out) {
    const std::ptrdiff_t n = (std::ptrdiff_t(x.before) + x.n + x.after) * channels;
    for (std::ptrdiff_t i = 0; i < n; ++i) prefix[i + channels] = prefix[i] + columns[i];
    const auto at = [=](std::int64_t column) { return prefix + (column + x.before) * channels; };
    const auto one = [&](int i) {
        const std::uint32_t* low = at(x.first(i));
        const std::uint32_t* high = at(std::int64_t(x.last(i)) + 1);
        for (int c = 0; c < channels; ++c) out[std::ptrdiff_t(i) * channels + c] = high[c] - low[c];
    };
    // Columns whose whole window exists, where both ends move on by one pixel a step.
    const int inner_begin = std::clamp(x.radius - x.before, 0, x.n);
    const int inner_end =
        int(std::clamp<std::int64_t>(std::int64_t(x.n) + x.after - x.radius, inner_begin, x.n));
    for (int i = 0; i < inner_begin; ++i) one(i);
    if (inner_begin < inner_end) {
        const std::uint32_t* low = at(std::int64_t(inner_begin) - x.radius);
        const std::uint32_t* high = at(std::int64_t(inner_begin) + x.radius + 1);
        std::uint32_t* to = out + std::ptrdiff_t(inner_begin) * channels;
        const std::ptrdiff_t count = std::ptrdiff_t(inner_end - inner_begin) * channels;
        for (std::ptrdiff_t i = 0; i < count; ++i) to[i] = high[i] - low[i];
    }
    for (int i = inner_end; i < x.n; ++i) one(i);
}

// Calls row(y, sums) with the w * channels window sums of every row. `stride` counts elements.
template <class S, class Row>
void for_each_row_of_sums(const S* src, int stride, int channels, const window& win, Row row) {
    const std::ptrdiff_t wide = std::ptrdiff_t(win.x.before) + win.x.n + win.x.after;
    const std::ptrdiff_t n = wide * channels;
    const auto columns = make_scratch<std::uint32_t>(n);
    const auto prefix = make_scratch<std::uint32_t>(n + channels);
    const auto sums = make_scratch<std::uint32_t>(win.x.n, channels);
    std::fill_n(columns.get(), n, 0u);
    std::fill_n(prefix.get(), channels, 0u);
    const S* corner = src - std::ptrdiff_t(win.x.before) * channels;
    const auto source_row = [=](int y) { return corner + std::ptrdiff_t(y) * stride; };

    int begin = win.y.first(0), end = begin;  // rows begin .. end - 1 are in the column sums
    for (int y = 0; y < win.y.n; ++y) {
        for (; end <= win.y.last(y); ++end) add_row(source_row(end), columns.get(), n);
        for (; begin < win.y.first(y); ++begin) subtract_row(source_row(begin), columns.get(), n);
        sum_along_row(columns.get(), prefix.get(), win.x, channels, sums.get());
        row(y, sums.get());
    }
}

template <class S>
void _sum_filter_2D(const S* src, int w, int h, int stride, int channels, int* dst, int dst_stride,
                    int kw, int kh, const int* border) {
    if (!src || !dst || w < 1 || h < 1 || channels < 1) return;
    const std::size_t row_bytes = std::size_t(w) * std::size_t(channels) * sizeof(int);
    for_each_row_of_sums(src, stride, channels, window(w, h, kw, kh, border),
                         [=](int y, const std::uint32_t* sums) {
                             std::memcpy(dst + std::ptrdiff_t(y) * dst_stride, sums, row_bytes);
                         });
}

// (sum + count / 2) / count truncated toward zero, by a floating-point division that vectorises.
// For integers s and c whose quotient lies below the integer m, the quotient rounds up to m only if
// m - s / c, which is at least 1 / c, is within half a spacing of m: m * 2^-24 in single, m * 2^-53
// in double precision. With |s| + c < 2^24 (2^53) that cannot be, and truncation is exact.
template <class Float, class D>
void divide_row(const std::uint32_t* sums, const std::uint32_t* counts, D* out, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const int s = int(sums[i] + counts[i] / 2);
        out[i] = D(int(Float(s) / Float(int(counts[i]))));
    }
}

// Byte sums stay below 2^24 with their count added up to this many samples a window.
constexpr std::uint32_t single_precision_count = 65000;

template <class S, class D>
void mean_filter(const S* src, int w, int h, int stride, int channels, D* dst, int dst_stride,
                 int* count, int count_stride, int kw, int kh, const int* border) {
    if (!src || !dst || w < 1 || h < 1 || channels < 1) return;
    if (count) ipf_count_filter_pixels(count, w, h, count_stride, kw, kh, const_cast<int*>(border));
    const window win(w, h, kw, kh, border);
    const std::ptrdiff_t n = std::ptrdiff_t(w) * channels;
    const auto counts = make_scratch<std::uint32_t>(n);
    std::uint32_t rows_counted = 0;  // what `counts` was made for
    std::uint32_t largest = 0;
    for_each_row_of_sums(src, stride, channels, win, [&](int y, const std::uint32_t* sums) {
        const std::uint32_t rows = win.y.count(y);
        if (rows != rows_counted) {
            for (std::ptrdiff_t i = 0; i < n; ++i)
                counts[std::size_t(i)] = win.x.count(int(i / channels)) * rows;
            largest = *std::max_element(counts.get(), counts.get() + n);
            rows_counted = rows;
        }
        D* out = dst + std::ptrdiff_t(y) * dst_stride;
        if (sizeof(S) == 1 && largest <= single_precision_count)
            divide_row<float>(sums, counts.get(), out, n);
        else
            divide_row<double>(sums, counts.get(), out, n);
    });
}

}  // namespace

void ipf_min_filter(const unsigned char* src, int w, int h, int stride, int channels,
                    unsigned char* dst, int dst_stride, int k, int passes, int* border) {
    _mm_filter_2D_wb<_LE<u8>>(src, w, h, stride, channels, dst, dst_stride, k, passes, border);
}

void ipf_max_filter(const unsigned char* src, int w, int h, int stride, int channels,
                    unsigned char* dst, int dst_stride, int k, int passes, int* border) {
    _mm_filter_2D_wb<_GR<u8>>(src, w, h, stride, channels, dst, dst_stride, k, passes, border);
}

void ipf_sum_filter(const unsigned char* src, int w, int h, int stride, int channels, int* dst,
                    int dst_stride, int kw, int kh, int* border) {
    _sum_filter_2D(src, w, h, stride, channels, dst, dst_stride, kw, kh, border);
}

void ipf_sum_filter(const int* src, int w, int h, int stride, int channels, int* dst,
                    int dst_stride, int kw, int kh, int* border) {
    _sum_filter_2D(src, w, h, stride, channels, dst, dst_stride, kw, kh, border);
}

void ipf_count_filter_pixels(int* dst, int w, int h, int dst_stride, int kw, int kh, int* border) {
    if (!dst || w < 1 || h < 1) return;
    const window win(w, h, kw, kh, border);
    for (int y = 0; y < h; ++y) {
        int* row = dst + std::ptrdiff_t(y) * dst_stride;
        const std::uint32_t rows = win.y.count(y);
        for (int x = 0; x < w; ++x) row[x] = int(win.x.count(x) * rows);
    }
}

void ipf_mean_filter(const unsigned char* src, int w, int h, int stride, int channels, int* dst,
                     int dst_stride, int* count, int count_stride, int kw, int kh, int* border) {
    mean_filter(src, w, h, stride, channels, dst, dst_stride, count, count_stride, kw, kh, border);
}

void ipf_mean_filter(const int* src, int w, int h, int stride, int channels, int* dst,
                     int dst_stride, int* count, int count_stride, int kw, int kh, int* border) {
    mean_filter(src, w, h, stride, channels, dst, dst_stride, count, count_stride, kw, kh, border);
}

void ipf_mean_filter(const unsigned char* src, int w, int h, int stride, int channels,
                     unsigned char* dst, int dst_stride, int* count, int count_stride, int kw,
                     int kh, int* border) {
    mean_filter(src, w, h, stride, channels, dst, dst_stride, count, count_stride, kw, kh, border);
}

}  // namespace ff
