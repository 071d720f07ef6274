// The walk of the near rings, and the search for the window of a far one by bisection.
#include "matting/color/samples.h"

#include <algorithm>
#include <array>

#include "matting/color/ring.h"

namespace color {
namespace {

bool write_mean(const std::array<std::uint64_t, 3>& sum, std::uint32_t count, u8* out) {
    if (count == 0) return false;
    for (std::size_t c = 0; c < 3; ++c) out[c] = u8(sum[c] / count);
    return true;
}

}  // namespace

bool _collect_samples(int level_width, int level_height, const u8* colour, int x, int y,
                      int colour_stride, const u8* pixel_class, int class_stride, const u8** high,
                      int& high_count, const u8** low, int& low_count) {
    const int last = last_ring(level_width, level_height, x, y);
    for (int r = 1; low_count < wanted_samples || high_count < wanted_samples; ++r) {
        if (r > last) return true;
        if (r > near_rings) return false;
        walk_ring(level_width, level_height, x, y, r, [&](int i, int j) {
            const std::ptrdiff_t dx = i - x, dy = j - y;
            const u8* sample = colour + dy * colour_stride + 3 * dx;
            switch (pixel_class[dy * class_stride + dx]) {
                case low_side:
                    low[low_count++] = sample;
                    break;
                case high_side:
                    high[high_count++] = sample;
                    break;
                default:
                    break;
            }
        });
    }
    return true;
}

gatherer::gatherer(const _LevelData& level)
    : level_(level),
      high_(ff::make_scratch<const u8*>(near_window)),
      low_(ff::make_scratch<const u8*>(near_window)) {}

void gatherer::gather(int x, int y) {
    high_count_ = low_count_ = 0;
    // Once a side is known to be scarce the walk would be in vain.
    is_far_ = (total_ && !sums_) ||
              !_collect_samples(level_.width, level_.height, level_.image_at(x, y), x, y,
                                level_.image_stride, level_.class_row(y) + x, level_.classes_stride,
                                high_.get(), high_count_, low_.get(), low_count_);
    if (is_far_) gather_far(x, y);
}

// What the rings 1 .. r around (x, y) hold.
tally gatherer::around(int x, int y, int r) {
    tally sum =
        sums_->in(std::max(x - r, 0), std::max(y - r, 0), std::min(x + r, level_.width - 1) + 1,
                  std::min(y + r, level_.height - 1) + 1);
    tally centre;
    centre.add_pixel(level_.class_row(y)[x], level_.image_at(x, y));
    sum -= centre;
    return sum;
}

void gatherer::gather_far(int x, int y) {
    const auto enough = [](const tally& t) {
        return t.low_count >= wanted_samples && t.high_count >= wanted_samples;
    };
    x_ = x, y_ = y;
    reach_ = last_ring(level_.width, level_.height, x, y);
    if (!total_) total_ = std::make_unique<tally>(total_of(level_));
    in_window_ = *total_;
    tally centre;
    centre.add_pixel(level_.class_row(y)[x], level_.image_at(x, y));
    in_window_ -= centre;
    if (!enough(in_window_)) return;
    if (!sums_) sums_ = std::make_unique<class_sums>(level_);
    int too_small = 0;
    while (reach_ - too_small > 1) {
        const int r = too_small + (reach_ - too_small) / 2;
        const tally inside = around(x, y, r);
        if (enough(inside)) {
            reach_ = r;
            in_window_ = inside;
        } else {
            too_small = r;
        }
    }
}

bool gatherer::low_mean(u8* out) const {
    if (is_far_) return write_mean(in_window_.low_sum, in_window_.low_count, out);
    std::array<std::uint64_t, 3> sum{};
    for (int i = 0; i < low_count_; ++i)
        for (std::size_t c = 0; c < 3; ++c) sum[c] += low_[std::size_t(i)][c];
    return write_mean(sum, std::uint32_t(low_count_), out);
}

const u8* gatherer::best_high(const composite& target) {
    if (is_far_) {
        if (in_window_.high_count == 0) return nullptr;
        if (!tree_) tree_ = std::make_unique<candidate_tree>(level_);
        return tree_->best(target, x_, y_, reach_);
    }
    const u8* best = nullptr;
    int least = INT_MAX;
    for (int i = 0; i < high_count_; ++i) {
        const int error = target.error(high_[std::size_t(i)]);
        if (error >= least) continue;
        least = error;
        best = high_[std::size_t(i)];
    }
    return best;
}

}  // namespace color
