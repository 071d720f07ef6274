// Mean, covariance, its inverse by cofactors, and the pair weights of a window. Colours are single
// precision and their products are formed so; all sums and everything after them are double. Four
// windows side by side go through every step together, each with its operations in the same order:
// loops over the lanes are innermost and vectorise.
#include "matting/solver/window_weights.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "ff/multiversion.h"

namespace matting {
namespace {

constexpr int window_size = 9;
constexpr double epsilon = double(0.0001f);

constexpr int slot_of(int i, int j) {
    const int dy = j / 3 - i / 3, dx = j % 3 - i % 3;
    for (int s = 0; s < forward_count; ++s)
        if (forward_offset[s][0] == dy && forward_offset[s][1] == dx) return s + 1;
    return 0;
}

constexpr pair_table all_pairs() noexcept {
    pair_table table{};
    int p = 0;
    for (int i = 0; i < window_size; ++i)
        for (int j = i + 1; j < window_size; ++j) table[p++] = {i, j, slot_of(i, j)};
    return table;
}

#if defined(__ARM_FEATURE_FMA) || defined(__FMA__)
constexpr bool fused_by_default = true;
#else
constexpr bool fused_by_default = false;
#endif

constexpr int lanes = window_lanes;
using lane = double[lanes];

// Symmetric 3 x 3 matrices, one a lane.
struct symmetric {
    lane xx, xy, xz, yy, yz, zz;
};

// The nine colours of each window, later less their mean.
struct window_colours {
    lane b[window_size], g[window_size], r[window_size];
};

DSCM_KERNEL void invert(const symmetric& m, symmetric& inverse) {
    for (int l = 0; l < lanes; ++l) {
        const double xx = m.xx[l], xy = m.xy[l], xz = m.xz[l];
        const double yy = m.yy[l], yz = m.yz[l], zz = m.zz[l];
        const double c_xx = yy * zz - yz * yz, c_xy = xz * yz - xy * zz, c_xz = xy * yz - xz * yy;
        const double c_yy = xx * zz - xz * xz, c_yz = xy * xz - xx * yz, c_zz = xx * yy - xy * xy;
        const double det = xx * c_xx + xy * c_xy + xz * c_xz;
        inverse.xx[l] = c_xx / det, inverse.xy[l] = c_xy / det, inverse.xz[l] = c_xz / det;
        inverse.yy[l] = c_yy / det, inverse.yz[l] = c_yz / det, inverse.zz[l] = c_zz / det;
    }
}

// The quotient v / 9, rounded once, without the division, for any v whose result is not tiny. v / 9
// stays at least 1/18 of a unit in its last place away from the middle between two doubles, for
// nine times a middle is an odd number of more than 53 bits: v is not one, and v - 9m is a multiple
// of half the unit. Whatever is closer to v / 9 than that before its last rounding gives the
// quotient. Fused: 1/9 is r + s but for 2^-111, and v s is rounded to 53 bits. Otherwise: q = fl(v
// r) is off by less than two units, hence 8q and v lie within a factor of 2 of each other, v - 8q
// and q as well, and both differences are exact, e = v - 9q; q + e r is off by less than 2^-50
// units.
DSCM_KERNEL double ninth(double v, bool fused) {
    constexpr double r = 1.0 / 9.0, s = ((1.0 - 8.0 * r) - r) / 9.0;
    if (fused) return std::fma(v, r, v * s);
    const double q = v * r;
    return q + ((v - 8.0 * q) - q) * r;
}

// The colours of a strip of columns three rows high, and the sums over each column of the colours
// and of their products. The colours and products are multiples of 2^-32 and 2^-40 below 2: double
// sums of nine are exact, in whatever order.
struct strip {
    static constexpr int columns = 8 * 9;
    static constexpr int windows = 8 * 8;  // two columns more are needed
    double colour[3][3][columns];          // row, channel
    double sum[3][columns];
    double product[6][columns];  // bb, bg, br, gg, gr, rr
};

// n: a multiple of 8.
DSCM_KERNEL void fill_strip(const float* const* rows, std::ptrdiff_t channel, int n, strip& s) {
    for (int y = 0; y < 3; ++y)
        for (int c = 0; c < 3; ++c) {
            const float* from = rows[y] + c * channel;
            for (int x = 0; x < n; ++x) s.colour[y][c][x] = double(from[x]);
        }
    for (int c = 0; c < 3; ++c)
        for (int x = 0; x < n; ++x)
            s.sum[c][x] = s.colour[0][c][x] + s.colour[1][c][x] + s.colour[2][c][x];
    for (int c = 0, p = 0; c < 3; ++c)
        for (int d = c; d < 3; ++d, ++p) {
            const float *c0 = rows[0] + c * channel, *d0 = rows[0] + d * channel;
            const float *c1 = rows[1] + c * channel, *d1 = rows[1] + d * channel;
            const float *c2 = rows[2] + c * channel, *d2 = rows[2] + d * channel;
            for (int x = 0; x < n; ++x)
                s.product[p][x] =
                    double(c0[x] * d0[x]) + double(c1[x] * d1[x]) + double(c2[x] * d2[x]);
        }
}

// The ninth of the sum over three columns.
DSCM_KERNEL double mean(const double* columns, bool fused) {
    return ninth(columns[0] + columns[1] + columns[2], fused);
}

// Colours less their means, and the covariances with epsilon on their diagonal, of the windows
// whose left columns are x, x + 1, ...
DSCM_KERNEL void centre(const strip& t, int x, bool fused, window_colours& c, symmetric& s) {
    lane mb, mg, mr;
    for (int l = 0; l < lanes; ++l) {
        mb[l] = mean(t.sum[0] + x + l, fused);
        mg[l] = mean(t.sum[1] + x + l, fused);
        mr[l] = mean(t.sum[2] + x + l, fused);
        s.xx[l] = mean(t.product[0] + x + l, fused) - mb[l] * mb[l] + epsilon;
        s.xy[l] = mean(t.product[1] + x + l, fused) - mb[l] * mg[l];
        s.xz[l] = mean(t.product[2] + x + l, fused) - mb[l] * mr[l];
        s.yy[l] = mean(t.product[3] + x + l, fused) - mg[l] * mg[l] + epsilon;
        s.yz[l] = mean(t.product[4] + x + l, fused) - mg[l] * mr[l];
        s.zz[l] = mean(t.product[5] + x + l, fused) - mr[l] * mr[l] + epsilon;
    }
    for (int row = 0, k = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column, ++k) {
            const double* b = t.colour[row][0] + x + column;
            const double* g = t.colour[row][1] + x + column;
            const double* r = t.colour[row][2] + x + column;
            for (int l = 0; l < lanes; ++l) {
                c.b[k][l] = b[l] - mb[l];
                c.g[k][l] = g[l] - mg[l];
                c.r[k][l] = r[l] - mr[l];
            }
        }
}

DSCM_KERNEL void weigh_lanes(const strip& t, int x, bool fused, double* weights,
                             std::ptrdiff_t plane) {
    window_colours c, v;  // v: S^-1 (I_j - mu)
    symmetric s, q;
    centre(t, x, fused, c, s);
    invert(s, q);
    for (int k = 1; k < window_size; ++k)
        for (int l = 0; l < lanes; ++l) {
            v.b[k][l] = q.xx[l] * c.b[k][l] + q.xy[l] * c.g[k][l] + q.xz[l] * c.r[k][l];
            v.g[k][l] = q.xy[l] * c.b[k][l] + q.yy[l] * c.g[k][l] + q.yz[l] * c.r[k][l];
            v.r[k][l] = q.xz[l] * c.b[k][l] + q.yz[l] * c.g[k][l] + q.zz[l] * c.r[k][l];
        }
    for (int i = 0; i < window_size; ++i)
        for (int j = i + 1; j < window_size; ++j, weights += plane)
            for (int l = 0; l < lanes; ++l)
                weights[l] = ninth(
                    1.0 + (c.b[i][l] * v.b[j][l] + c.g[i][l] * v.g[j][l] + c.r[i][l] * v.r[j][l]),
                    fused);
}

// n: at most strip::windows.
DSCM_KERNEL void weigh(const float* const* rows, std::ptrdiff_t channel, int n, bool fused,
                       double* weights, std::ptrdiff_t plane) {
    strip s;
    fill_strip(rows, channel, ((n + lanes - 1) / lanes * lanes + 2 + 7) / 8 * 8, s);
    for (int x = 0; x < n; x += lanes) weigh_lanes(s, x, fused, weights + x, plane);
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void weigh_avx2(const float* const* rows, std::ptrdiff_t channel, int n, double* weights,
                          std::ptrdiff_t plane) {
    weigh(rows, channel, n, true, weights, plane);
}
#endif

DSCM_KERNEL void convert(const unsigned char* pixels, int n, float* b, std::ptrdiff_t channel) {
    float* const g = b + channel;
    float* const r = g + channel;
    for (int x = 0; x < n; ++x) {
        b[x] = float(pixels[3 * std::ptrdiff_t(x)]) * 0.003921569f;
        g[x] = float(pixels[3 * std::ptrdiff_t(x) + 1]) * 0.003921569f;
        r[x] = float(pixels[3 * std::ptrdiff_t(x) + 2]) * 0.003921569f;
    }
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void convert_avx2(const unsigned char* pixels, int n, float* b, std::ptrdiff_t channel) {
    convert(pixels, n, b, channel);
}
#endif

void convert_any(const unsigned char* pixels, int n, float* b, std::ptrdiff_t channel) {
#ifdef DSCM_HAS_AVX2
    if (ff::cpu_has_avx2()) return convert_avx2(pixels, n, b, channel);
#endif
    convert(pixels, n, b, channel);
}

}  // namespace

const pair_table window_pairs = all_pairs();

void pair_weights(const colour_rows& colours, int x, int y, int n, double* weights,
                  std::ptrdiff_t plane) {
    for (int done = 0; done < n; done += strip::windows) {
        const float* rows[3];
        for (int i = 0; i < 3; ++i) rows[i] = colours.row(x + done, y + i);
        const int count = std::min(n - done, strip::windows);
#ifdef DSCM_HAS_AVX2
        if (ff::cpu_has_avx2()) {
            weigh_avx2(rows, colours.channel(), count, weights + done, plane);
            continue;
        }
#endif
        weigh(rows, colours.channel(), count, fused_by_default, weights + done, plane);
    }
}

colour_rows::colour_rows(const unsigned char* image, int w, int h, int stride)
    : image_(image),
      w_(w),
      h_(h),
      blocks_((w + block - 1) / block),
      stride_(stride),
      channel_(std::ptrdiff_t(margin) + w + 16),
      rows_(ff::make_scratch<float>(9, channel_)),
      converted_(ff::make_scratch<int>(3, blocks_)) {
    std::fill_n(rows_.get(), 9 * channel_, 0.0f);
    std::fill_n(converted_.get(), 3 * std::ptrdiff_t(blocks_), -1);
}

void colour_rows::convert(int y, int x0, int x1) {
    x0 = std::max(x0, 0) / block * block;
    x1 = std::min(x1, w_);
    for (int from = y; from < std::min(y + 3, h_); ++from) {
        const unsigned char* const pixels = image_ + from * stride_;
        float* const colours = rows_.get() + from % 3 * (3 * channel_) + margin;
        int* const converted = converted_.get() + from % 3 * std::ptrdiff_t(blocks_);
        for (int x = x0; x < x1; x += block) {
            if (std::exchange(converted[x / block], from) == from) continue;
            convert_any(pixels + 3 * std::ptrdiff_t(x), std::min(block, w_ - x), colours + x,
                        channel_);
        }
    }
}

}  // namespace matting
