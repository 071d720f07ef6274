// The pair search of guided upsampling: which two of a few low-resolution colours, and which blend
// of them, come closest to a full-resolution colour. One kernel for all its users: pixel step and
// window are template arguments, which pixels are searched and what becomes of a pair are
// functions that it is compiled with.
#pragma once

#include <algorithm>
#include <cstddef>

#include "ff/scratch.h"

namespace sampling {

constexpr int one_q12 = 4096;  // weights are in 1/4096

// (a w + b (1 - w)), floored; w_q12 in 0..4096.
inline int blend_q12(int a, int b, int w_q12) { return ((a - b) * w_q12 + b * one_q12) >> 12; }

struct colour_pair {
    int i, j;   // candidate numbers
    int w_q12;  // weight of i
};

// Candidates of one neighbourhood, channel by channel.
template <int N>
struct candidates {
    int c0[N], c1[N], c2[N];
};

// Pairs are tried in the order (0,1), (0,2), ... (N-2,N-1) and the first of the smallest error
// wins; an error of 0 cannot be beaten and ends the search. Weights come from the colour distances
// d, which are at least 1 and at most 3 * 255^2 + 1, so that d * 4096 fits an int.
template <int N>
colour_pair closest_pair(const candidates<N>& c, int p0, int p1, int p2) {
    int d[N];
    for (int k = 0; k < N; ++k) {
        const int e0 = c.c0[k] - p0, e1 = c.c1[k] - p1, e2 = c.c2[k] - p2;
        d[k] = e0 * e0 + e1 * e1 + e2 * e2 + 1;
    }
    colour_pair best{0, 1, 0};
    int best_error = 2147483647;
    for (int i = 0; i < N - 1; ++i)
        for (int j = i + 1; j < N; ++j) {
            const int w = d[j] * one_q12 / (d[i] + d[j]);
            const int e0 = blend_q12(c.c0[i], c.c0[j], w) - p0;
            const int e1 = blend_q12(c.c1[i], c.c1[j], w) - p1;
            const int e2 = blend_q12(c.c2[i], c.c2[j], w) - p2;
            const int error = e0 * e0 + e1 * e1 + e2 * e2;
            if (error >= best_error) continue;
            best = {i, j, w};
            if (error == 0) return best;
            best_error = error;
        }
    return best;
}

// Colours of pixels that are searched together, and their number.
constexpr int lanes = 16;
struct pixel_lanes {
    int p0[lanes], p1[lanes], p2[lanes];  // 0..255
};

// closest_pair for every lane. Instances for 4 and 9 candidates.
template <int N>
void closest_pairs(const candidates<N>& c, const pixel_lanes& p, colour_pair best[lanes]);

constexpr double round_half_up = 0.5;

// Low-resolution position of every one of n full-resolution samples: trunc(ratio i + rounding),
// kept within lowest .. lo_n - 2, so that what lies after it (and before it, with lowest 1) exists.
// n and lo_n are at least 2.
inline ff::scratch<int> positions(int lo_n, int n, double rounding, int lowest) {
    auto table = ff::make_scratch<int>(n);
    const double ratio = double(lo_n - 1) / double(n - 1);
    for (int i = 0; i < n; ++i)
        table[std::size_t(i)] = std::clamp(int(ratio * double(i) + rounding), lowest, lo_n - 2);
    return table;
}

// The search window of a mode: its candidates' offsets from the position, in (row, column), and how
// positions are rounded. The 2 x 2 window counts clockwise and truncates its rows; wanted so.
struct window_3x3 {
    static constexpr int count = 9;
    static constexpr int offsets[count][2] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, -1}, {0, 0},
                                              {0, 1},   {1, -1}, {1, 0},  {1, 1}};
    static constexpr double row_rounding = round_half_up;
    static constexpr int lowest = 1;
    static constexpr int smallest_side = 3;
};

struct window_2x2 {
    static constexpr int count = 4;
    static constexpr int offsets[count][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
    static constexpr double row_rounding = 0.0;
    static constexpr int lowest = 0;
    static constexpr int smallest_side = 2;
};

// 8-bit pixels whose first three bytes are the colour; stride in bytes.
struct colour_raster {
    const unsigned char* data;
    int w, h, stride;
};

template <class Window, int Step>
candidates<Window::count> candidates_at(const colour_raster& lo, int cx, int cy) {
    candidates<Window::count> c;
    for (int k = 0; k < Window::count; ++k) {
        const unsigned char* p = lo.data + std::ptrdiff_t(cy + Window::offsets[k][0]) * lo.stride +
                                 Step * std::ptrdiff_t(cx + Window::offsets[k][1]);
        c.c0[k] = p[0], c.c1[k] = p[1], c.c2[k] = p[2];
    }
    return c;
}

template <class Window>
bool can_search(const colour_raster& full, const colour_raster& lo) {
    constexpr int side = Window::smallest_side;
    return full.data && lo.data && full.w >= 2 && full.h >= 2 && lo.w >= side && lo.h >= side;
}

// First index after i at which the table changes.
inline int run_end(const int* table, int i, int n) {
    int end = i + 1;
    while (end < n && table[end] == table[i]) ++end;
    return end;
}

// Pixels of one neighbourhood, searched together as soon as there are enough of them. found(x, y,
// pair) is called for each, in the order of adding.
template <int N, class Found>
class batch_search {
  public:
    batch_search(const candidates<N>& around, Found found) : around_(around), found_(found) {}

    void add(int x, int y, const unsigned char* pixel) {
        colours_.p0[count_] = pixel[0];
        colours_.p1[count_] = pixel[1];
        colours_.p2[count_] = pixel[2];
        x_[count_] = x, y_[count_] = y;
        if (++count_ == lanes) flush();
    }

    void flush() {
        colour_pair best[lanes];
        if (count_ >= worthwhile)
            closest_pairs(around_, colours_, best);
        else
            for (int l = 0; l < count_; ++l)
                best[l] = closest_pair(around_, colours_.p0[l], colours_.p1[l], colours_.p2[l]);
        for (int l = 0; l < count_; ++l) found_(x_[l], y_[l], best[l]);
        count_ = 0;
    }

  private:
    static constexpr int worthwhile = lanes / 4;  // below, one by one is faster

    const candidates<N>& around_;
    Found found_;
    pixel_lanes colours_{};
    int x_[lanes], y_[lanes];
    int count_ = 0;
};

// Finds the pair of every pixel (x, y) of `full` for which wanted(x, y) holds and calls found(x, y,
// first, second, w_q12) with the linear low-resolution indices and the weight of the first. Both
// pixel types are Step bytes apart. The picture is walked in blocks of pixels that share a
// position, bands of rows from top to bottom. Nothing where can_search does not hold.
template <class Window, int Step, class Wanted, class Found>
void search_pairs(const colour_raster& full, const colour_raster& lo, Wanted wanted, Found found) {
    if (!can_search<Window>(full, lo)) return;
    const auto columns = positions(lo.w, full.w, round_half_up, Window::lowest);
    const auto rows = positions(lo.h, full.h, Window::row_rounding, Window::lowest);
    for (int y0 = 0, y1; y0 < full.h; y0 = y1) {
        y1 = run_end(rows.get(), y0, full.h);
        for (int x0 = 0, x1; x0 < full.w; x0 = x1) {
            x1 = run_end(columns.get(), x0, full.w);
            const int cx = columns[std::size_t(x0)], cy = rows[std::size_t(y0)];
            const auto around = candidates_at<Window, Step>(lo, cx, cy);
            const auto index = [=, &lo](int k) {
                return (cy + Window::offsets[k][0]) * lo.w + cx + Window::offsets[k][1];
            };
            const auto pass_on = [=](int x, int y, const colour_pair& best) {
                found(x, y, index(best.i), index(best.j), best.w_q12);
            };
            batch_search<Window::count, decltype(pass_on)> batch(around, pass_on);
            for (int y = y0; y < y1; ++y) {
                const unsigned char* row = full.data + std::ptrdiff_t(y) * full.stride;
                for (int x = x0; x < x1; ++x)
                    if (wanted(x, y)) batch.add(x, y, row + Step * std::ptrdiff_t(x));
            }
            batch.flush();
        }
    }
}

// The sample of a strided map at (x, y).
template <class T>
T& at(T* data, int stride, int x, int y) {
    return data[std::ptrdiff_t(y) * stride + x];
}

}  // namespace sampling
