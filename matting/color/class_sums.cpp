// The thinned summed-area table. Building it is one pass over the level; a lookup adds two entries
// and at most 49 pixels.
#include "matting/color/class_sums.h"

#include <algorithm>

namespace color {

tally total_of(const _LevelData& level) {
    tally total;
    for (int y = 0; y < level.height; ++y) {
        const u8* classes = level.class_row(y);
        const u8* colour = level.image_at(0, y);
        for (int x = 0; x < level.width; ++x, colour += 3) total.add_pixel(classes[x], colour);
    }
    return total;
}

class_sums::class_sums(const _LevelData& level)
    : level_(level),
      columns_(std::ptrdiff_t(level.width) + 1),
      strips_(level.width / step + 1),
      at_rows_(ff::make_scratch<tally>(columns_, level.height / step + 1)),
      at_columns_(ff::make_scratch<tally>(strips_, std::ptrdiff_t(level.height) + 1)) {
    const auto sums = ff::make_scratch<tally>(columns_);  // of the rows above y
    for (int y = 0; y <= level.height; ++y) {
        if (y % step == 0) std::copy_n(sums.get(), columns_, at_rows_.get() + y / step * columns_);
        const tally* band = at_rows_.get() + y / step * columns_;
        tally* strip = at_columns_.get() + y * strips_;
        for (std::ptrdiff_t i = 0; i < strips_; ++i) {
            strip[i] = sums[std::size_t(i * step)];
            strip[i] -= band[i * step];
        }
        if (y == level.height) break;
        tally row;
        for (int x = 0; x < level.width; ++x) {
            row.add_pixel(level.class_row(y)[x], level.image_at(x, y));
            sums[std::size_t(x) + 1] += row;
        }
    }
}

tally class_sums::up_to(int x, int y) const {
    tally sum = at_rows_[std::size_t(y / step * columns_ + x)];
    sum += at_columns_[std::size_t(y * strips_ + x / step)];
    for (int j = y / step * step; j < y; ++j)
        for (int i = x / step * step; i < x; ++i)
            sum.add_pixel(level_.class_row(j)[i], level_.image_at(i, j));
    return sum;
}

tally class_sums::in(int left, int top, int right, int bottom) const {
    tally sum = up_to(right, bottom);
    sum -= up_to(left, bottom);
    sum -= up_to(right, top);
    sum += up_to(left, top);
    return sum;
}

}  // namespace color
