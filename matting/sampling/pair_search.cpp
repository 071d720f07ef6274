// The pair search over many pixels at once: the loops of closest_pair with the pixels innermost, so
// that they vectorise. A lane whose error has reached 0 cannot change any more, which is what
// ending its search does.
//
// The quotient w = d_j * 4096 / (d_i + d_j) comes from a single-precision division. Both operands
// are exact (18 and 19 significant bits), so the rounded quotient is off by at most half a spacing:
// its truncation is the integer quotient, or one too large where the quotient lay just below an
// integer and was rounded up to it. The sign of the remainder tells. Neither product leaves an int.
#include "matting/sampling/pair_search.h"

#include "ff/multiversion.h"

namespace sampling {
namespace {

// What the search knows of every lane so far; `pair` counts the pairs in their order.
struct best_lanes {
    int error[lanes], pair[lanes], w_q12[lanes];
};

template <int N>
DSCM_KERNEL void measure_distances(const candidates<N>& c, const pixel_lanes& p, int d[N][lanes]) {
    for (int k = 0; k < N; ++k)
        for (int l = 0; l < lanes; ++l) {
            const int e0 = c.c0[k] - p.p0[l], e1 = c.c1[k] - p.p1[l], e2 = c.c2[k] - p.p2[l];
            d[k][l] = e0 * e0 + e1 * e1 + e2 * e2 + 1;
        }
}

template <int N>
DSCM_KERNEL void try_pair(const candidates<N>& c, int i, int j, int number, const pixel_lanes& p,
                          const int* d_i, const int* d_j, best_lanes& best) {
    const int a0 = c.c0[i] - c.c0[j], a1 = c.c1[i] - c.c1[j], a2 = c.c2[i] - c.c2[j];
    const int b0 = c.c0[j], b1 = c.c1[j], b2 = c.c2[j];
    for (int l = 0; l < lanes; ++l) {
        const int dividend = d_j[l] * one_q12, divisor = d_i[l] + d_j[l];
        int w = int(float(dividend) / float(divisor));
        w += (dividend - w * divisor) >> 31;
        // blend_q12 with the whole part of b taken out of the shift.
        const int e0 = ((a0 * w) >> 12) + b0 - p.p0[l];
        const int e1 = ((a1 * w) >> 12) + b1 - p.p1[l];
        const int e2 = ((a2 * w) >> 12) + b2 - p.p2[l];
        const int error = e0 * e0 + e1 * e1 + e2 * e2;
        const bool better = error < best.error[l];
        best.error[l] = better ? error : best.error[l];
        best.pair[l] = better ? number : best.pair[l];
        best.w_q12[l] = better ? w : best.w_q12[l];
    }
}

template <int N>
DSCM_KERNEL void search_lanes(const candidates<N>& c, const pixel_lanes& p, best_lanes& best) {
    int d[N][lanes];
    measure_distances(c, p, d);
    for (int l = 0; l < lanes; ++l) best.error[l] = 2147483647, best.pair[l] = best.w_q12[l] = 0;
    int number = 0;
    for (int i = 0; i < N - 1; ++i)
        for (int j = i + 1; j < N; ++j) try_pair(c, i, j, number++, p, d[i], d[j], best);
}

#ifdef DSCM_HAS_AVX2
template <int N>
DSCM_AVX2 void search_lanes_avx2(const candidates<N>& c, const pixel_lanes& p, best_lanes& best) {
    search_lanes(c, p, best);
}
#endif

}  // namespace

template <int N>
void closest_pairs(const candidates<N>& c, const pixel_lanes& p, colour_pair best[lanes]) {
    best_lanes found;
#ifdef DSCM_HAS_AVX2
    if (ff::cpu_has_avx2())
        search_lanes_avx2(c, p, found);
    else
#endif
        search_lanes(c, p, found);

    signed char first[N * (N - 1) / 2], second[N * (N - 1) / 2];
    int number = 0;
    for (int i = 0; i < N - 1; ++i)
        for (int j = i + 1; j < N; ++j, ++number) {
            first[number] = static_cast<signed char>(i);
            second[number] = static_cast<signed char>(j);
        }
    for (int l = 0; l < lanes; ++l)
        best[l] = {first[found.pair[l]], second[found.pair[l]], found.w_q12[l]};
}

template void closest_pairs<4>(const candidates<4>&, const pixel_lanes&, colour_pair*);
template void closest_pairs<9>(const candidates<9>&, const pixel_lanes&, colour_pair*);

}  // namespace sampling
