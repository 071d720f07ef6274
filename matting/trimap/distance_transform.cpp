// Distance transform by the lower envelope of parabolas, columns first and then rows, in single
// precision with the squares of positions formed as integers. Columns are gathered and scattered in
// blocks, so that memory is walked along rows. Linear in the number of cells.
//
// The columns of a grid of sources (0) and infinite cells alone need no envelope in the first 4096
// rows: all squares there are exact in single precision, the envelope gives each cell its nearest
// source, and an infinite value swallows any square. Two scans over whole rows find the same,
// vectorised. Further down squares are rounded, and a cell may be given a source that is not quite
// the nearest one; columns go on by envelope there, from their last source in the scanned rows.
#include "matting/trimap/distance_transform.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "ff/filters.h"
#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/trimap/in_place.h"

namespace {

using u8 = unsigned char;

constexpr float infinite = 1e20f;
constexpr u8 unknown_value = 128;

// Work arrays of the transform of a line of up to n values.
class envelope {
  public:
    explicit envelope(int n)
        : vertex_(ff::make_scratch<int>(n)),
          bound_(ff::make_scratch<float>(std::ptrdiff_t(n) + 1)) {}

    // out[q] = min over p of f[p] + (q - p)^2 for p and q from first to n - 1; out must not be f.
    void transform(const float* f, int first, int n, float* out) {
        build(f, first, n);
        int k = 0;
        for (int q = first; q < n; ++q) {
            while (bound_[std::size_t(k) + 1] < float(q)) ++k;
            const int p = vertex_[std::size_t(k)];
            out[q] = f[p] + float(square(q - p));
        }
    }

  private:
    static std::int64_t square(int q) { return std::int64_t(q) * q; }

    // Where the parabolas of p and q > p meet.
    static float crossing(const float* f, int p, int q) {
        return ((f[q] + float(square(q))) - (f[p] + float(square(p)))) /
               (float(2 * std::int64_t(q)) - float(2 * std::int64_t(p)));
    }

    // Vertices of the envelope from left to right; parabola k is lowest from bound k to k + 1.
    void build(const float* f, int first, int n) {
        int* v = vertex_.get();
        float* z = bound_.get();
        int k = 0;
        v[0] = first;
        z[0] = -infinite;
        z[1] = infinite;
        for (int q = first + 1; q < n; ++q) {
            float s = crossing(f, v[k], q);
            // The first vertex gives way only to values beyond the infinite ones.
            while (s <= z[k] && k > 0) s = crossing(f, v[--k], q);
            if (s <= z[k]) s = -infinite, --k;
            ++k;
            v[k] = q;
            z[k] = s;
            z[k + 1] = infinite;
        }
    }

    ff::scratch<int> vertex_;
    ff::scratch<float> bound_;
};

// Columns that are transformed together: one cache line of floats.
constexpr int block_width = 16;

// What a column holds in `scanned` rows: its last source there and nothing but infinite cells below
// it. `last` is its value in the last of these rows after the scan. Returns the source's row, or 0
// where there is none.
int restore_column(float last, int scanned, float* column) {
    const int source = last < infinite ? scanned - 1 - int(std::sqrt(last)) : 0;
    std::fill(column + source, column + scanned, infinite);
    if (last < infinite) column[source] = 0.0f;
    return source;
}

// By envelope. The first `scanned` rows, at most exact_rows, are done already, but for what the
// rows below them change. That is nothing above a column's last source p among them. Let a source q
// = p + D follow. With p < 2^12, the roundings of q^2, of the difference and of the quotient move
// the crossing (p + q) / 2 by less than 1 / (2D) + 2^-10 + D / 2^22: it stays right of p - 1/2,
// where p begins to be lowest at the latest. So p stays on the envelope, and so does what is left
// of it.
void transform_columns(float* grid, int w, int h, int scanned, envelope& line) {
    const auto in = ff::make_scratch<float>(h, block_width);
    const auto out = ff::make_scratch<float>(h);
    for (int x = 0; x < w; x += block_width) {
        const int n = std::min(block_width, w - x);
        for (int y = scanned; y < h; ++y) {
            const float* row = grid + std::ptrdiff_t(y) * w + x;
            for (int i = 0; i < n; ++i)
                in[std::size_t(i) * std::size_t(h) + std::size_t(y)] = row[i];
        }
        for (int i = 0; i < n; ++i) {
            float* column = in.get() + std::ptrdiff_t(i) * h;
            float* const top = grid + x + i;
            const int first =
                scanned > 0 ? restore_column(top[std::ptrdiff_t(scanned - 1) * w], scanned, column)
                            : 0;
            line.transform(column, first, h, out.get());
            for (int y = first; y < scanned; ++y) top[std::ptrdiff_t(y) * w] = out[std::size_t(y)];
            std::copy(out.get() + scanned, out.get() + h, column + scanned);
        }
        for (int y = scanned; y < h; ++y) {
            float* row = grid + std::ptrdiff_t(y) * w + x;
            for (int i = 0; i < n; ++i)
                row[i] = in[std::size_t(i) * std::size_t(h) + std::size_t(y)];
        }
    }
}

// Rows up to which the squares of positions are exact.
constexpr int exact_rows = 4096;

bool is_sources_only(const float* grid, std::ptrdiff_t n) {
    int others = 0;
    for (std::ptrdiff_t i = 0; i < n; ++i) others |= grid[i] != 0.0f && grid[i] != infinite;
    return others == 0;
}

// Steps to the nearest source above, then the smaller of those and the steps to one below, squared.
// No source in the column: infinite, which adding 1 does not change.
void scan_columns(float* grid, int w, int h) {
    for (int y = 1; y < h; ++y) {
        float* row = grid + std::ptrdiff_t(y) * w;
        const float* above = row - w;
        for (int x = 0; x < w; ++x) row[x] = row[x] == 0.0f ? 0.0f : above[x] + 1.0f;
    }
    for (int y = h - 2; y >= 0; --y) {
        float* row = grid + std::ptrdiff_t(y) * w;
        const float* below = row + w;
        for (int x = 0; x < w; ++x) row[x] = std::min(row[x], below[x] + 1.0f);
    }
    const std::ptrdiff_t n = std::ptrdiff_t(w) * h;
    for (std::ptrdiff_t i = 0; i < n; ++i) grid[i] = std::min(grid[i] * grid[i], infinite);
}

void transform_rows(float* grid, int w, int h, envelope& line) {
    const auto out = ff::make_scratch<float>(w);
    for (int y = 0; y < h; ++y, grid += w) {
        line.transform(grid, 0, w, out.get());
        std::copy(out.get(), out.get() + w, grid);
    }
}

}  // namespace

void trimap::mark_sources(const unsigned char* mask, int w, int h, int stride, float* grid) {
    for (int y = 0; y < h; ++y) {
        const u8* row = mask + std::ptrdiff_t(y) * stride;
        float* out = grid + std::ptrdiff_t(y) * w;
        for (int x = 0; x < w; ++x) out[x] = row[x] ? infinite : 0.0f;
    }
}

float* DistanceTransform1D(float* f, int n) {
    auto out = ff::make_scratch<float>(std::max(n, 0));
    if (f && n > 0) envelope(n).transform(f, 0, n, out.get());
    return out.release();
}

void DistanceTransform(float* grid, int w, int h) {
    if (!grid || w < 1 || h < 1) return;
    envelope line(std::max(w, h));
    const int scanned = is_sources_only(grid, std::ptrdiff_t(w) * h) ? std::min(h, exact_rows) : 0;
    if (scanned > 0) scan_columns(grid, w, scanned);
    if (scanned < h) transform_columns(grid, w, h, scanned, line);
    transform_rows(grid, w, h, line);
}

float* DPLMatting_MakeDTInput(const unsigned char* mask, int w, int h, int stride) {
    auto grid = ff::make_scratch<float>(std::max(w, 0), std::max(h, 0));
    if (mask && w > 0) trimap::mark_sources(mask, w, h, stride, grid.get());
    return grid.release();
}

void MakeSeeds(const unsigned char* src, int w, int h, int stride, unsigned char* dst,
               int dst_stride, int radius) {
    if (!src || !dst || w < 1 || h < 1) return;
    const auto most = ff::make_scratch<u8>(w, h);
    const auto least = ff::make_scratch<u8>(w, h);
    const int k = radius | 1;
    ff::ipf_max_filter(src, w, h, stride, 1, most.get(), w, k, 1, nullptr);
    ff::ipf_min_filter(src, w, h, stride, 1, least.get(), w, k, 1, nullptr);
    for (int y = 0; y < h; ++y, src += stride, dst += dst_stride) {
        const u8* top = most.get() + std::ptrdiff_t(y) * w;
        const u8* bottom = least.get() + std::ptrdiff_t(y) * w;
        for (int x = 0; x < w; ++x) {
            const bool busy = top[x] - bottom[x] > 127;
            dst[x] = busy ? unknown_value : src[x] == unknown_value ? u8(127) : src[x];
        }
    }
}

void InvertMatte(unsigned char* buf, int w, int h, int stride) {
    if (!buf || w < 1) return;
    for (int y = 0; y < h; ++y, buf += stride)
        for (int x = 0; x < w; ++x) buf[x] = buf[x] == unknown_value ? unknown_value : u8(~buf[x]);
}
