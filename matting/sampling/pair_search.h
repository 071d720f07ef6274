// The pair search of guided upsampling: which two of a few low-resolution colours, and which blend
// of them, come closest to a full-resolution colour.
#pragma once

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

}  // namespace sampling
