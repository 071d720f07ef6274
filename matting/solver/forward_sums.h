// Sums of the window weights between a pixel and its forward neighbours, a row of pixels at a time.
#pragma once

#include <cstddef>

#include "matting/solver/window_weights.h"

namespace matting {

// Weights of windows side by side, one row a pair: they stay in the cache between being computed
// and being gathered, on lines of their own.
struct weight_rows {
    static constexpr int windows = 64;
    static constexpr std::ptrdiff_t pitch = windows + 8;  // an odd number of cache lines
    alignas(64) double pair[pair_count][pitch];
};

class forward_sums {
  public:
    // image: B,G,R bytes, w x h pixels, `stride` bytes a row, alive as long as this.
    forward_sums(const unsigned char* image, int w, int h, int stride);

    // Adds the windows centred in row y to what the pixels [x0, x1) of the rows y - 1 .. y + 1 have
    // so far. is_window: w bytes, 1 where a window is centred; those in row y or column 0 or
    // beyond, or in the last ones, are none, and is_window is not read for them. A pixel has its
    // sums once the rows y - 1, y and y + 1 were added for it, in this order; y may be -1 or h.
    // Ranges of one row must lie three pixels apart.
    void add_windows(int y, const unsigned char* is_window, int x0, int x1);

    // After row y + 1 was added: the sum of pixel (x, y) towards forward neighbour s is
    // row(s)[x]. Each starts at 0, and windows are added in raster order.
    const double* row(int s) const { return complete_ + s * plane_; }
    std::ptrdiff_t plane() const { return plane_; }  // doubles from row(s) to row(s + 1)

  private:
    void weigh(int y, const unsigned char* is_window, int x0, int x1);

    weight_rows weights_{};  // of windows of the current row
    const int w_, h_;
    const std::ptrdiff_t plane_;
    colour_rows colours_;
    ff::scratch<double> buffer_;
    double* complete_;  // forward_count planes
    double* begun_;     // two planes for the row below the current one, seven for the current
};

}  // namespace matting
