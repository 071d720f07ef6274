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

// The colours of a w x h part of a B,G,R picture, 0..1 in single precision, one plane a channel.
class colour_planes {
  public:
    // image: bytes, `stride` of them a row; each byte times 1/255.
    colour_planes(const unsigned char* image, int w, int h, int stride);

    const float* at(int channel, int x, int y) const {
        return values_.get() + (std::ptrdiff_t(channel) * h_ + y) * w_ + x;
    }
    std::ptrdiff_t stride() const { return w_; }  // floats

  private:
    std::ptrdiff_t w_, h_;
    ff::scratch<float> values_;  // window_lanes more than the planes hold
};

// Windows are weighed so many at a time, side by side.
constexpr int window_lanes = 4;
using lane_weights = double[pair_count][window_lanes];

// Weights of the 36 pairs of the windows whose upper left pixels are (x, y), (x + 1, y), ... With
// mu and S a window's mean colour and covariance (plus 1e-4 on its diagonal), weight(i, j) = (1 +
// (I_i - mu)^T S^-1 (I_j - mu)) / 9. Lanes beyond the picture's right border hold nothing of use.
void pair_weights(const colour_planes& colours, int x, int y, lane_weights& weights);

}  // namespace matting
