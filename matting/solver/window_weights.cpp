// Mean, covariance, its inverse by cofactors, and the pair weights of a window. Colours are single
// precision and their products are formed so; all sums and everything after them are double.
#include "matting/solver/window_weights.h"

#include <cstddef>

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

// Symmetric 3 x 3 matrix.
struct symmetric {
    double xx, xy, xz, yy, yz, zz;
};

symmetric inverse(const symmetric& m) {
    const symmetric cofactor{m.yy * m.zz - m.yz * m.yz, m.xz * m.yz - m.xy * m.zz,
                             m.xy * m.yz - m.xz * m.yy, m.xx * m.zz - m.xz * m.xz,
                             m.xy * m.xz - m.xx * m.yz, m.xx * m.yy - m.xy * m.xy};
    const double det = m.xx * cofactor.xx + m.xy * cofactor.xy + m.xz * cofactor.xz;
    return {cofactor.xx / det, cofactor.xy / det, cofactor.xz / det,
            cofactor.yy / det, cofactor.yz / det, cofactor.zz / det};
}

}  // namespace

const pair_table window_pairs = all_pairs();

void pair_weights(const float* row0, const float* row1, const float* row2,
                  double weights[pair_count]) {
    const float* const rows[3] = {row0, row1, row2};
    double b[window_size], g[window_size], r[window_size];
    double mb = 0.0, mg = 0.0, mr = 0.0;
    symmetric s{};
    for (int k = 0; k < window_size; ++k) {
        const float* c = rows[k / 3] + 3 * (k % 3);
        b[k] = double(c[0]), g[k] = double(c[1]), r[k] = double(c[2]);
        mb += b[k], mg += g[k], mr += r[k];
        s.xx += double(c[0] * c[0]), s.xy += double(c[0] * c[1]), s.xz += double(c[0] * c[2]);
        s.yy += double(c[1] * c[1]), s.yz += double(c[1] * c[2]), s.zz += double(c[2] * c[2]);
    }
    mb /= 9.0, mg /= 9.0, mr /= 9.0;
    s.xx = s.xx / 9.0 - mb * mb + epsilon, s.xy = s.xy / 9.0 - mb * mg;
    s.xz = s.xz / 9.0 - mb * mr, s.yy = s.yy / 9.0 - mg * mg + epsilon;
    s.yz = s.yz / 9.0 - mg * mr, s.zz = s.zz / 9.0 - mr * mr + epsilon;
    const symmetric q = inverse(s);

    double vb[window_size], vg[window_size], vr[window_size];  // S^-1 (I_j - mu)
    for (int k = 0; k < window_size; ++k) {
        b[k] -= mb, g[k] -= mg, r[k] -= mr;
        vb[k] = q.xx * b[k] + q.xy * g[k] + q.xz * r[k];
        vg[k] = q.xy * b[k] + q.yy * g[k] + q.yz * r[k];
        vr[k] = q.xz * b[k] + q.yz * g[k] + q.zz * r[k];
    }
    for (int i = 0; i < window_size; ++i)
        for (int j = i + 1; j < window_size; ++j)
            *weights++ = (1.0 + (b[i] * vb[j] + g[i] * vg[j] + r[i] * vr[j])) / 9.0;
}

void colours_to_float(const unsigned char* image, int w, int h, int stride, float* colours) {
    const std::ptrdiff_t n = 3 * std::ptrdiff_t(w);
    for (int y = 0; y < h; ++y, image += stride, colours += n)
        for (std::ptrdiff_t i = 0; i < n; ++i) colours[i] = float(image[i]) * 0.003921569f;
}

}  // namespace matting
