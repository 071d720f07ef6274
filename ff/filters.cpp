// Box and rank filters.
//
// Minimum and maximum are separable. Along a row the extremum of 2, 4, 8, ... samples is doubled up
// and two overlapping windows make the wanted one: log2(k) vectorised passes over a line in cache.
// Down the columns the running extremum of van Herk and of Gil and Werman works on whole rows:
// suffix extrema backwards through a block of k rows, prefix extrema forwards through the next,
// three vectorised comparisons a sample whatever k is; 2 k rows are held. Both compute the extremum
// of the clipped window, so the order and the method leave no trace in the bytes.
//
// Sums keep one running sum per column, which takes in a row and lets one go, and take differences
// of its prefix sums along the row. All in unsigned 32-bit arithmetic: sums wrap modulo 2^32.
// The count of samples in a window is a product of one factor per column and one per row.
#include "ff/filters.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "ff/multiversion.h"
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

template <class Cmp>
DSCM_KERNEL void pick_rows_body(const u8* a, const u8* b, u8* out, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Cmp::pick(a[i], b[i]);
}

#ifdef DSCM_HAS_AVX2
template <class Cmp>
DSCM_AVX2 void pick_rows_avx2(const u8* a, const u8* b, u8* out, std::ptrdiff_t n) {
    pick_rows_body<Cmp>(a, b, out, n);
}
#endif

// out may be a.
template <class Cmp>
void pick_rows(const u8* a, const u8* b, u8* out, std::ptrdiff_t n) {
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return pick_rows_avx2<Cmp>(a, b, out, n);
#endif
    pick_rows_body<Cmp>(a, b, out, n);
}

// out[i] = extremum of padded[i .. i + k - 1] for n samples; padded holds n + k - 1 and is used up.
template <class Cmp>
void _mm_filter_1D(u8* padded, std::ptrdiff_t n, std::ptrdiff_t k, u8* out) {
    std::ptrdiff_t have = 1;
    for (; have * 2 <= k; have *= 2)
        pick_rows<Cmp>(padded, padded + have, padded, n + k - 2 * have);
    pick_rows<Cmp>(padded, padded + (k - have), out, n);
}

// One direction, row by row: the rows of one channel, filtered along themselves.
template <class Cmp>
class _mm_filter_2D_x {
  public:
    _mm_filter_2D_x(const u8* src, int w, int stride, int step, int radius)
        : src_(src),
          w_(w),
          stride_(stride),
          step_(step),
          radius_(radius),
          line_(make_scratch<u8>(std::ptrdiff_t(w) + 2 * std::ptrdiff_t(radius))) {}

    void operator()(int y, u8* out) const {
        const u8* row = src_ + std::ptrdiff_t(y) * stride_;
        u8* inner = line_.get() + radius_;
        std::memset(line_.get(), Cmp::neutral, std::size_t(radius_));
        std::memset(inner + w_, Cmp::neutral, std::size_t(radius_));
        if (step_ == 1)
            std::memcpy(inner, row, std::size_t(w_));
        else
            for (int x = 0; x < w_; ++x) inner[x] = row[std::ptrdiff_t(x) * step_];
        _mm_filter_1D<Cmp>(line_.get(), w_, 2 * std::ptrdiff_t(radius_) + 1, out);
    }

  private:
    const u8* src_;
    int w_, stride_, step_, radius_;
    scratch<u8> line_;
};

// Both directions of one channel; `step` is the pixel step of src and dst, `k` the window. Rows
// come in blocks of k: the windows of output rows b .. b + k - 1 are each a suffix of the input
// rows b - radius .. b + radius joined with a prefix of the k rows that follow, which are the next
// block's. A row of src is read before the same row of dst is written.
template <class Cmp>
void _mm_filter_2D_y(const u8* src, int w, int h, int stride, u8* dst, int dst_stride, int step,
                     std::int64_t window) {
    const _mm_filter_2D_x<Cmp> filter_row(src, w, stride, step, radius_of(window, w));
    const int radius = radius_of(window, h), k = 2 * radius + 1;
    const int held = std::min(k, h);
    auto block = make_scratch<u8>(held, w), next = make_scratch<u8>(held, w);
    const auto lines = make_scratch<u8>(2, w);
    u8* const prefix = lines.get();
    u8* const spare = prefix + w;
    int first = 0;  // the input row that `block` starts with
    const auto row_of = [w](const scratch<u8>& rows, int i) {
        return rows.get() + std::ptrdiff_t(i) * w;
    };
    for (int y = 0; y <= std::min(radius, h - 1); ++y) filter_row(y, row_of(block, y));

    for (int b = 0; b < h; b += k) {
        for (int y = std::min(b + radius, h - 1) - 1; y >= first; --y)
            pick_rows<Cmp>(row_of(block, y - first), row_of(block, y + 1 - first),
                           row_of(block, y - first), w);
        const int next_first = b + radius + 1;
        std::memset(prefix, Cmp::neutral, std::size_t(w));
        for (int y = b; y < std::min(b + k, h); ++y) {
            if (y > b && y + radius < h) {
                filter_row(y + radius, row_of(next, y + radius - next_first));
                pick_rows<Cmp>(prefix, row_of(next, y + radius - next_first), prefix, w);
            }
            u8* out = dst + std::ptrdiff_t(y) * dst_stride;
            pick_rows<Cmp>(row_of(block, std::max(y - radius, 0) - first), prefix,
                           step == 1 ? out : spare, w);
            if (step == 1) continue;
            for (int x = 0; x < w; ++x) out[std::ptrdiff_t(x) * step] = spare[x];
        }
        if (b + k + radius < h) filter_row(b + k + radius, row_of(next, k - 1));
        first = next_first;
        std::swap(block, next);
    }
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

// Takes the row `in` into the column sums and lets the row `out` go; either may be null.
template <class S>
DSCM_KERNEL void slide_row(const S* in, const S* out, std::uint32_t* sums, std::ptrdiff_t n) {
    if (in && out) {
        for (std::ptrdiff_t i = 0; i < n; ++i)
            sums[i] += std::uint32_t(in[i]) - std::uint32_t(out[i]);
    } else if (in) {
        for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] += std::uint32_t(in[i]);
    } else if (out) {
        for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] -= std::uint32_t(out[i]);
    }
}

#ifdef DSCM_HAS_AVX2
template <class S>
DSCM_AVX2 void slide_row_avx2(const S* in, const S* out, std::uint32_t* sums, std::ptrdiff_t n) {
    slide_row(in, out, sums, n);
}
#endif

template <class S>
void slide_row_best(const S* in, const S* out, std::uint32_t* sums, std::ptrdiff_t n) {
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return slide_row_avx2(in, out, sums, n);
#endif
    slide_row(in, out, sums, n);
}

// Prefix sums per channel. One channel goes four columns at a time, of which each adds the sum of
// the last four to what stood four before it: `columns` has three 0 before its first and behind its
// last entry, and three more prefixes are written.
void accumulate(const std::uint32_t* columns, std::uint32_t* prefix, std::ptrdiff_t n,
                int channels) {
    if (channels > 1) {
        for (std::ptrdiff_t i = 0; i < n; ++i) prefix[i + channels] = prefix[i] + columns[i];
        return;
    }
    constexpr int lanes = 4;
    std::uint32_t* const out = prefix + 1;
    const std::ptrdiff_t whole = (n + lanes - 1) / lanes * lanes;
    for (std::ptrdiff_t i = 0; i < whole; ++i, ++columns)
        out[i] = columns[0] + columns[-1] + columns[-2] + columns[-3];
    std::uint32_t sums[lanes] = {};
    for (std::ptrdiff_t i = 0; i < whole; i += lanes) {
        for (int l = 0; l < lanes; ++l) sums[l] += out[i + l];
        for (int l = 0; l < lanes; ++l) out[i + l] = sums[l];
    }
}

// Window sums of one row from its column sums, as differences of prefix sums: calls
// use(i, high, low, n, columns) for runs of n samples from the i-th on whose windows have so many
// columns and whose sums are high[j] - low[j]. `columns` and `prefix` start at column -before;
// prefix has one pixel more, and its first pixel is 0.
template <class Use>
void sum_along_row(const std::uint32_t* columns, std::uint32_t* prefix, const axis& x, int channels,
                   Use use) {
    accumulate(columns, prefix, (std::ptrdiff_t(x.before) + x.n + x.after) * channels, channels);
    const auto pixels = [&](int i, int n) {
        const auto at = [=](std::int64_t c) { return prefix + (c + x.before) * channels; };
        use(std::ptrdiff_t(i) * channels, at(std::int64_t(x.last(i)) + 1), at(x.first(i)),
            std::ptrdiff_t(n) * channels, x.count(i));
    };
    // Columns whose whole window exists, where both ends move on by one pixel a step.
    const int inner_begin = std::clamp(x.radius - x.before, 0, x.n);
    const int inner_end =
        int(std::clamp<std::int64_t>(std::int64_t(x.n) + x.after - x.radius, inner_begin, x.n));
    for (int i = 0; i < inner_begin; ++i) pixels(i, 1);
    if (inner_begin < inner_end) pixels(inner_begin, inner_end - inner_begin);
    for (int i = inner_end; i < x.n; ++i) pixels(i, 1);
}

// Calls use(y, i, high, low, n, columns) for all rows.
template <class S, class Use>
void for_each_run_of_sums(const S* src, int stride, int channels, const window& win, Use use) {
    const std::ptrdiff_t wide = std::ptrdiff_t(win.x.before) + win.x.n + win.x.after;
    const std::ptrdiff_t n = wide * channels;
    constexpr std::ptrdiff_t margin = 3;
    const auto buffer = make_scratch<std::uint32_t>(n + 2 * margin);
    const auto prefix = make_scratch<std::uint32_t>(n + channels + margin);
    std::uint32_t* const columns = buffer.get() + margin;
    std::fill_n(buffer.get(), n + 2 * margin, 0u);
    std::fill_n(prefix.get(), channels, 0u);
    const S* corner = src - std::ptrdiff_t(win.x.before) * channels;
    const auto source_row = [=](int y) { return corner + std::ptrdiff_t(y) * stride; };

    int begin = win.y.first(0), end = begin;  // rows begin .. end - 1 are in the column sums
    for (int y = 0; y < win.y.n; ++y) {
        while (end <= win.y.last(y) || begin < win.y.first(y)) {
            const S* in = end <= win.y.last(y) ? source_row(end++) : nullptr;
            const S* out = begin < win.y.first(y) ? source_row(begin++) : nullptr;
            slide_row_best(in, out, columns, n);
        }
        sum_along_row(columns, prefix.get(), win.x, channels, [&](auto... run) { use(y, run...); });
    }
}

template <class S>
void _sum_filter_2D(const S* src, int w, int h, int stride, int channels, int* dst, int dst_stride,
                    int kw, int kh, const int* border) {
    if (!src || !dst || w < 1 || h < 1 || channels < 1) return;
    for_each_run_of_sums(src, stride, channels, window(w, h, kw, kh, border),
                         [=](int y, std::ptrdiff_t i, const std::uint32_t* high,
                             const std::uint32_t* low, std::ptrdiff_t n, std::uint32_t) {
                             int* out = dst + std::ptrdiff_t(y) * dst_stride + i;
                             for (std::ptrdiff_t j = 0; j < n; ++j) out[j] = int(high[j] - low[j]);
                         });
}

// (sum + count / 2) / count truncated toward zero, for the sums high[j] - low[j], by floating-point
// arithmetic that vectorises.
//
// Any sums: a division in double precision. For integers s and c whose quotient lies below the
// integer m, the quotient rounds up to m only if m - s / c, which is at least 1 / c, is within half
// a spacing of m, at most m * 2^-53; with |s| + c < 2^53 it is not, and truncation is exact.
template <class D>
DSCM_KERNEL void divide_run(const std::uint32_t* high, const std::uint32_t* low,
                            std::uint32_t count, D* out, std::ptrdiff_t n) {
    for (std::ptrdiff_t j = 0; j < n; ++j) {
        const int s = int(high[j] - low[j] + count / 2);
        out[j] = D(int(double(s) / double(int(count))));
    }
}

// Byte sums of up to this many samples, 0 <= s < 2^22: (s + 1/2) * (1 / c) in single precision,
// each operation rounding by at most 2^-24. (s + 1/2) / c is at least 1 / 2c away from every
// integer and the error stays below (s + 1/2) / c * 2^-23 < 1 / 2c, so that truncation is exact
// again.
constexpr std::uint32_t single_precision_count = 16384;

template <class D>
DSCM_KERNEL void scale_run(const std::uint32_t* high, const std::uint32_t* low, std::uint32_t count,
                           D* out, std::ptrdiff_t n) {
    const float inverse = 1.0f / float(count);
    for (std::ptrdiff_t j = 0; j < n; ++j)
        out[j] = D(int((float(int(high[j] - low[j] + count / 2)) + 0.5f) * inverse));
}

#ifdef DSCM_HAS_AVX2
template <class D>
DSCM_AVX2 void scale_run_avx2(const std::uint32_t* high, const std::uint32_t* low,
                              std::uint32_t count, D* out, std::ptrdiff_t n) {
    scale_run(high, low, count, out, n);
}
#endif

template <class D>
void scale_run_best(const std::uint32_t* high, const std::uint32_t* low, std::uint32_t count,
                    D* out, std::ptrdiff_t n) {
#ifdef DSCM_HAS_AVX2
    if (n > 1 && cpu_has_avx2()) return scale_run_avx2(high, low, count, out, n);
#endif
    scale_run(high, low, count, out, n);
}

template <class S, class D>
void mean_filter(const S* src, int w, int h, int stride, int channels, D* dst, int dst_stride,
                 int* count, int count_stride, int kw, int kh, const int* border) {
    if (!src || !dst || w < 1 || h < 1 || channels < 1) return;
    if (count) ipf_count_filter_pixels(count, w, h, count_stride, kw, kh, const_cast<int*>(border));
    const window win(w, h, kw, kh, border);
    for_each_run_of_sums(src, stride, channels, win,
                         [&](int y, std::ptrdiff_t i, const std::uint32_t* high,
                             const std::uint32_t* low, std::ptrdiff_t n, std::uint32_t columns) {
                             D* const out = dst + std::ptrdiff_t(y) * dst_stride + i;
                             const std::uint32_t pixels = columns * win.y.count(y);
                             if (sizeof(S) == 1 && pixels <= single_precision_count)
                                 scale_run_best(high, low, pixels, out, n);
                             else
                                 divide_run(high, low, pixels, out, n);
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
