// Mean, covariance, its inverse by cofactors, and the pair weights of a window. Colours are single
// precision and their products are formed so; all sums and everything after them are double. Four
// windows side by side go through every step together, each with its operations in the same order:
// loops over the lanes are innermost and vectorise.
#include "matting/solver/window_weights.h"

#include <algorithm>
#include <cstddef>

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

constexpr pair_table all_pairs() {
    pair_table table{};
    int p = 0;
    for (int i = 0; i < window_size; ++i)
        for (int j = i + 1; j < window_size; ++j) table[p++] = {i, j, slot_of(i, j)};
    return table;
}

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

// Subtracts the means from the colours and gives the covariances with epsilon on their diagonal.
DSCM_KERNEL void centre(const float* pb, const float* pg, const float* pr, std::ptrdiff_t stride,
                        window_colours& c, symmetric& s) {
    for (int l = 0; l < lanes; ++l) {
        double mb = 0.0, mg = 0.0, mr = 0.0;
        double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;
        for (int k = 0; k < window_size; ++k) {
            const std::ptrdiff_t at = k / 3 * stride + k % 3 + l;
            const float b = pb[at], g = pg[at], r = pr[at];
            c.b[k][l] = double(b), c.g[k][l] = double(g), c.r[k][l] = double(r);
            mb += double(b), mg += double(g), mr += double(r);
            xx += double(b * b), xy += double(b * g), xz += double(b * r);
            yy += double(g * g), yz += double(g * r), zz += double(r * r);
        }
        mb /= 9.0, mg /= 9.0, mr /= 9.0;
        s.xx[l] = xx / 9.0 - mb * mb + epsilon, s.xy[l] = xy / 9.0 - mb * mg;
        s.xz[l] = xz / 9.0 - mb * mr, s.yy[l] = yy / 9.0 - mg * mg + epsilon;
        s.yz[l] = yz / 9.0 - mg * mr, s.zz[l] = zz / 9.0 - mr * mr + epsilon;
        for (int k = 0; k < window_size; ++k) c.b[k][l] -= mb, c.g[k][l] -= mg, c.r[k][l] -= mr;
    }
}

DSCM_KERNEL void weigh(const float* b, const float* g, const float* r, std::ptrdiff_t stride,
                       lane_weights& weights) {
    window_colours c, v;  // v: S^-1 (I_j - mu)
    symmetric s, q;
    centre(b, g, r, stride, c, s);
    invert(s, q);
    for (int k = 0; k < window_size; ++k)
        for (int l = 0; l < lanes; ++l) {
            v.b[k][l] = q.xx[l] * c.b[k][l] + q.xy[l] * c.g[k][l] + q.xz[l] * c.r[k][l];
            v.g[k][l] = q.xy[l] * c.b[k][l] + q.yy[l] * c.g[k][l] + q.yz[l] * c.r[k][l];
            v.r[k][l] = q.xz[l] * c.b[k][l] + q.yz[l] * c.g[k][l] + q.zz[l] * c.r[k][l];
        }
    int p = 0;
    for (int i = 0; i < window_size; ++i)
        for (int j = i + 1; j < window_size; ++j, ++p)
            for (int l = 0; l < lanes; ++l)
                weights[p][l] = (1.0 + (c.b[i][l] * v.b[j][l] + c.g[i][l] * v.g[j][l] +
                                        c.r[i][l] * v.r[j][l])) /
                                9.0;
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void weigh_avx2(const float* b, const float* g, const float* r, std::ptrdiff_t stride,
                          lane_weights& weights) {
    weigh(b, g, r, stride, weights);
}
#endif

}  // namespace

const pair_table window_pairs = all_pairs();

void pair_weights(const colour_planes& colours, int x, int y, lane_weights& weights) {
    const float* b = colours.at(0, x, y);
    const float* g = colours.at(1, x, y);
    const float* r = colours.at(2, x, y);
#ifdef DSCM_HAS_AVX2
    if (ff::cpu_has_avx2()) return weigh_avx2(b, g, r, colours.stride(), weights);
#endif
    weigh(b, g, r, colours.stride(), weights);
}

colour_planes::colour_planes(const unsigned char* image, int w, int h, int stride)
    : w_(w), h_(h), values_(ff::make_scratch<float>(3 * w_ * h_ + window_lanes)) {
    float* planes[3];
    for (int c = 0; c < 3; ++c) planes[c] = values_.get() + c * w_ * h_;
    std::fill_n(planes[2] + w_ * h_, window_lanes, 0.0f);
    for (int y = 0; y < h; ++y, image += stride)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c)
                *planes[c]++ = float(image[3 * std::ptrdiff_t(x) + c]) * 0.003921569f;
}

}  // namespace matting
