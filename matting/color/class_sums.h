// Definite pixels and low-side colours of any rectangle of a level in constant time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ff/scratch.h"
#include "matting/color/level_data.h"

namespace color {

// What a rectangle holds: pixels of either side, and the low side's colours added up.
struct tally {
    std::uint32_t low_count = 0, high_count = 0;
    std::array<std::uint64_t, 3> low_sum{};

    void add_pixel(u8 pixel_class, const u8* colour) {
        low_count += pixel_class == low_side;
        high_count += pixel_class == high_side;
        if (pixel_class == low_side)
            for (std::size_t c = 0; c < 3; ++c) low_sum[c] += colour[c];
    }
    tally& operator+=(const tally& t) {
        low_count += t.low_count, high_count += t.high_count;
        for (std::size_t c = 0; c < 3; ++c) low_sum[c] += t.low_sum[c];
        return *this;
    }
    tally& operator-=(const tally& t) {
        low_count -= t.low_count, high_count -= t.high_count;
        for (std::size_t c = 0; c < 3; ++c) low_sum[c] -= t.low_sum[c];
        return *this;
    }
};

// The whole level's, row by row.
tally total_of(const _LevelData& level);

// A summed-area table thinned out to 8 bytes a pixel: kept are its rows at every 8th row, and
// between these its columns at every 8th column; the rest, at most 7 x 7 pixels a corner, is added
// up when asked for.
class class_sums {
  public:
    explicit class_sums(const _LevelData& level);

    // Columns left .. right - 1 of rows top .. bottom - 1, inside the level.
    tally in(int left, int top, int right, int bottom) const;

  private:
    static constexpr int step = 8;

    tally up_to(int x, int y) const;  // columns 0 .. x - 1 of rows 0 .. y - 1

    const _LevelData& level_;
    std::ptrdiff_t columns_, strips_;
    ff::scratch<tally> at_rows_;  // up_to(x, step * i)
    // Columns 0 .. step * i - 1 of the rows from the last multiple of step to y - 1.
    ff::scratch<tally> at_columns_;
};

}  // namespace color
