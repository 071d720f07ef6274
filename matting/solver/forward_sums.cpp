// A window pair (i, j) adds its weight to pixel i at the slot of j. Instead of scattering 36
// weights a window, each pixel gathers what its up to nine windows hold for it: 3 weights from the
// windows of the row above it (where it is at the bottom), 12 from its own row, 21 from the row
// below. The weights of windows side by side stand in one row a pair, so that four pixels side by
// side gather together; what a row of pixels has so far is carried to the next row of windows. A
// slot gets its windows in raster order, as if they had been scattered one by one; a window that
// does not count adds 0, which changes no sum.
#include "matting/solver/forward_sums.h"

#include <algorithm>
#include <utility>

#include "ff/multiversion.h"

namespace matting {
namespace {

constexpr int lanes = window_lanes;
constexpr int begun_below = 2;    // slots that have weights after the first row of windows: dy = 0
constexpr int begun_current = 7;  // after the second: dy = 0 and 1
constexpr std::ptrdiff_t margin = 2;  // positions before a row's first pixel

// Place of the pair (i, j) in window_pairs.
constexpr int pair_number(int i, int j) { return i * (17 - i) / 2 + j - i - 1; }

// sum[l] += what the windows centred at columns l - 1, l and l + 1 of `weights` hold for the pixel
// in their given row and its forward neighbour s.
template <int Row, int S>
DSCM_KERNEL void add_row(const double* weights, double* sum) {
    constexpr int to_row = Row + forward_offset[S][0];
    for (int d = -1; d <= 1; ++d) {
        const int column = 1 - d, to_column = column + forward_offset[S][1];
        if (to_row > 2 || to_column < 0 || to_column > 2) continue;
        const double* from =
            weights + pair_number(3 * Row + column, 3 * to_row + to_column) * weight_rows::pitch +
            d;
        for (int l = 0; l < lanes; ++l) sum[l] += from[l];
    }
}

// Slot S of the pixels of the three rows that a row of windows touches.
template <int S>
DSCM_KERNEL void gather_slot(const double* weights, std::ptrdiff_t plane, double* begun,
                             double* complete) {
    double* const below = begun + S * plane;
    double* const current = begun + (begun_below + S) * plane;
    double sum[lanes] = {};
    if constexpr (S < begun_current)
        for (int l = 0; l < lanes; ++l) sum[l] = current[l];
    add_row<0, S>(weights, sum);
    for (int l = 0; l < lanes; ++l) complete[S * plane + l] = sum[l];
    if constexpr (S < begun_current) {
        double next[lanes] = {};
        if constexpr (S < begun_below)
            for (int l = 0; l < lanes; ++l) next[l] = below[l];
        add_row<1, S>(weights, next);
        for (int l = 0; l < lanes; ++l) current[l] = next[l];
    }
    if constexpr (S < begun_below) {
        double first[lanes] = {};
        add_row<2, S>(weights, first);
        for (int l = 0; l < lanes; ++l) below[l] = first[l];
    }
}

template <int... S>
DSCM_KERNEL void gather_slots(std::integer_sequence<int, S...>, const double* weights,
                              std::ptrdiff_t plane, double* begun, double* complete) {
    (gather_slot<S>(weights, plane, begun, complete), ...);
}

DSCM_KERNEL void gather(const double* weights, int n, std::ptrdiff_t plane, double* begun,
                        double* complete) {
    constexpr std::make_integer_sequence<int, forward_count> slots{};
    for (int x = 0; x < n; x += lanes, weights += lanes, begun += lanes, complete += lanes)
        gather_slots(slots, weights, plane, begun, complete);
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void gather_avx2(const double* weights, int n, std::ptrdiff_t plane, double* begun,
                           double* complete) {
    gather(weights, n, plane, begun, complete);
}
#endif

void gather_any(const double* weights, int n, std::ptrdiff_t plane, double* begun,
                double* complete) {
#ifdef DSCM_HAS_AVX2
    if (ff::cpu_has_avx2()) return gather_avx2(weights, n, plane, begun, complete);
#endif
    gather(weights, n, plane, begun, complete);
}

// Room for a margin on either side, and an odd number of cache lines: the same place in
// neighbouring planes must not fall into the same set of the cache.
std::ptrdiff_t plane_size(int w) {
    return (w + margin + std::ptrdiff_t(2) * lanes + 7) / 8 * 8 | 8;
}

}  // namespace

forward_sums::forward_sums(const unsigned char* image, int w, int h, int stride)
    : w_(w),
      h_(h),
      plane_(plane_size(w)),
      colours_(image, w, h, stride),
      buffer_(ff::make_scratch<double>(plane_, forward_count + begun_below + begun_current)) {
    std::fill_n(buffer_.get(), plane_ * (forward_count + begun_below + begun_current), 0.0);
    complete_ = buffer_.get() + margin;
    begun_ = complete_ + forward_count * plane_;
}

// Puts the weights of the windows [x0, x1) of row y into weights_, zeros for those that are none.
void forward_sums::weigh(int y, const unsigned char* is_window, int x0, int x1) {
    const bool any = y > 0 && y < h_ - 1;
    if (any) {
        colours_.convert(y - 1, x0 - 1, x1 + 1);
        pair_weights(colours_, x0 - 1, y - 1, x1 - x0, weights_.pair[0], weight_rows::pitch);
    }
    for (int x = x0; x < x1; ++x)
        if (!any || x < 1 || x > w_ - 2 || !is_window[x])
            for (auto& pair : weights_.pair) pair[x - x0] = 0.0;
}

void forward_sums::add_windows(int y, const unsigned char* is_window, int x0, int x1) {
    // A pixel takes the windows beside it as well. Whole lanes: what is beyond is overwritten.
    constexpr int pixels = (weight_rows::windows - 2) / lanes * lanes;
    for (int x = x0; x < x1; x += pixels) {
        const int n = std::min(x1 - x, pixels);
        weigh(y, is_window, x - 1, x + n + 1);
        gather_any(weights_.pair[0] + 1, n, plane_, begun_ + x, complete_ + x);
    }
}

}  // namespace matting
