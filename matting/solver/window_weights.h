// What a 3 x 3 window of colours says about its pixels: the closed-form matting weights.
#pragma once

#include <array>

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

// Weights of the 36 pairs of one window. row0..row2: the first of three pixels in each of three
// rows, 3 floats a pixel, 0..1. With mu and S the window's mean colour and covariance (plus 1e-4 on
// its diagonal), weight(i, j) = (1 + (I_i - mu)^T S^-1 (I_j - mu)) / 9.
void pair_weights(const float* row0, const float* row1, const float* row2,
                  double weights[pair_count]);

// The floats of a w x h part of a B,G,R picture (stride in bytes): each byte times 1/255,
// 3 w h floats, contiguous.
void colours_to_float(const unsigned char* image, int w, int h, int stride, float* colours);

}  // namespace matting
