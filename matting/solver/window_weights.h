// What a 3 x 3 window of colours says about its pixels: the closed-form matting weights.
#pragma once

#include <array>
#include <cstddef>

#include "ff/scratch.h"

namespace matting {

// Forward neighbours of a pixel, (row, column) offsets: the pixels after it in raster order that
// share a 3 x 3 window with it. The slot of neighbour s is s + 1; slot 0 is the pixel itself.
constexpr int forward_count = 12;
constexpr int slot_count = forward_count + 1;
constexpr int forward_offset[forward_count][2] = {{0, 1},  {0, 2}, {1, -2}, {1, -1},
                                                  {1, 0},  {1, 1}, {1, 2},  {2, -2},
                                                  {2, -1}, {2, 0}, {2, 1},  {2, 2}};

// The pairs of distinct window pixels, i before j in raster order, and the slot of j seen from i.
constexpr int pair_count = 36;
struct window_pair {
    int i, j, slot;
};
using pair_table = std::array<window_pair, pair_count>;
extern const pair_table window_pairs;

// Windows are weighed so many at a time, side by side.
constexpr int window_lanes = 4;

// The rows of a B,G,R picture as colours 0..1 in single precision, one row a channel, three rows of
// the picture at a time. A row reads 0 for two pixels before its first and 16 after its last one.
class colour_rows {
  public:
    // image: w x h pixels, `stride` bytes a row, alive as long as this.
    colour_rows(const unsigned char* image, int w, int h, int stride);

    // Converts the pixels [x0, x1) of the rows y, y + 1 and y + 2, in place of those of earlier
    // rows; what lies outside the picture is left out. y must not fall from call to call.
    void convert(int y, int x0, int x1);
    // Blue of pixel (x, y); green and red stand one and two times channel() floats behind it.
    const float* row(int x, int y) const {
        return rows_.get() + y % 3 * (3 * channel_) + margin + x;
    }
    std::ptrdiff_t channel() const { return channel_; }

  private:
    static constexpr int margin = 2;
    static constexpr int block = 128;  // pixels converted at a time

    const unsigned char* image_;
    const int w_, h_, blocks_;
    const std::ptrdiff_t stride_, channel_;
    ff::scratch<float> rows_;
    ff::scratch<int> converted_;  // of three rows, which row of the picture each block is from
};

// Weights of the 36 pairs of the n windows whose upper left pixels are (x, y), (x + 1, y), ...,
// with the colours of their rows y .. y + 2 converted; pair p of window l goes to weights[p * plane
// + l]. n is rounded up to a multiple of window_lanes. With mu and S a window's mean colour and
// covariance (plus 1e-4 on its diagonal), weight(i, j) = (1 + (I_i - mu)^T S^-1 (I_j - mu)) / 9. x
// may be -2 and x + n the picture's width: windows that reach beyond it give values of no use.
void pair_weights(const colour_rows& colours, int x, int y, int n, double* weights,
                  std::ptrdiff_t plane);

}  // namespace matting
