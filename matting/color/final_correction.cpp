// Band widths from two chamfer distances, their median, and the blend that it steers.
//
// The width of the mixed band at a pixel is its distance to the low side plus that to the high
// side, in whole pixels. Up to the median width the propagated colour is kept; beyond two and a
// half times that the equation's own colour counts alone. Towards alpha hi an S-shaped weight
// returns to the picture's colour. Single precision, written order.
#include "matting/color/final_correction.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "ff/chamfer.h"
#include "ff/scratch.h"
#include "matting/color/fb_color.h"

namespace color {
namespace {

constexpr unsigned short hundredths = 100;  // distances count in 1/100 pixel

struct field_deleter {
    void operator()(ff::dist_field* field) const { ff::ipf_release_distance_field(field); }
};

class band_widths {
  public:
    explicit band_widths(const _LevelData& level)
        : w_(level.width),
          to_high_(ff::make_scratch<unsigned>(level.width, level.height)),
          to_low_(ff::make_scratch<unsigned>(level.width, level.height)) {
        const std::unique_ptr<ff::dist_field, field_deleter> field(
            ff::ipf_create_distance_field_2d(level.width, level.height, hundredths));
        const auto to = [&](u8 side, unsigned* dist) {
            ff::chamfer_distances_2d(*field, level.classes, level.classes_stride, side, dist, w_);
        };
        to(high_side, to_high_.get());
        to(low_side, to_low_.get());
    }
    unsigned at(int x, int y) const {
        const std::ptrdiff_t i = y * w_ + x;
        return (to_low_[std::size_t(i)] + to_high_[std::size_t(i)]) / hundredths;
    }

  private:
    const std::ptrdiff_t w_;
    const ff::scratch<unsigned> to_high_, to_low_;
};

// Where the propagated colour begins to fade, and where it is gone.
struct fade {
    unsigned first, last;

    // t of the blend for a band width.
    float kept(unsigned width) const {
        if (width < first) return 1.0f;
        return width <= last ? float(last - width) / float(last - first) : 0.0f;
    }
};

// One more than the median bin; 0 for fewer than two entries.
unsigned median_end(const std::vector<unsigned>& histogram, std::uint64_t count) {
    if (count < 2) return 0;
    unsigned bins = 0;
    for (auto left = std::int64_t(count / 2); left > 0; ++bins) left -= histogram[bins];
    return bins;
}

fade fade_of(const _LevelData& level, const band_widths& widths) {
    const double diagonal =
        std::sqrt(double(level.width) * level.width + double(level.height) * level.height);
    const unsigned bins = std::max(unsigned(diagonal), 1024u);
    std::vector<unsigned> histogram(bins, 0);
    std::uint64_t count = 0;
    unsigned widest = 0;
    for (int y = 0; y < level.height; ++y)
        for_each_mixed(level.class_row(y), level.width, [&](int x) {
            const unsigned d = widths.at(x, y);
            if (d >= bins) return;  // a side that is not in reach
            ++histogram[d];
            ++count;
            widest = std::max(widest, d);
        });
    const unsigned first = std::min(median_end(histogram, count), widest);
    return {first, std::min(widest, 5 * first / 2) + 1};
}

// Truncated; what is not a number becomes 0. v < 256.
u8 to_byte(float v) { return u8(v > 0.0f ? int(v) : 0); }

// What the equation leaves for the high side.
float implied(float colour, float low, float a) {
    const float v = (colour - (1.0f - a) * low) / a;
    return v > 0.0f ? std::min(v, 255.0f) : 0.0f;  // 0 / 0 becomes 0
}

}  // namespace

void correct_high(_LevelData& level, u8 lo, u8 hi) {
    const band_widths widths(level);
    const fade by_width = fade_of(level, widths);
    float weight[256];
    _calc_S_func(weight, lo, hi, 1.0, 0.5);
    for (int y = 0; y < level.height; ++y) {
        const u8* alpha = level.alpha_row(y);
        for_each_mixed(level.class_row(y), level.width, [&](int x) {
            const float a = float(alpha[x]) / 255.0f;
            const float s = weight[alpha[x]];
            const float t = by_width.kept(widths.at(x, y));
            const u8* image = level.image_at(x, y);
            const u8* low = level.low_at(x, y);
            u8* high = level.high_at(x, y);
            for (int c = 0; c < 3; ++c) {
                const float i = float(image[c]);
                const float from_mix = implied(i, float(low[c]), a);
                high[c] =
                    to_byte((1.0f - s) * i + s * (t * float(high[c]) + (1.0f - t) * from_mix));
            }
        });
    }
}

}  // namespace color

void _calc_S_func(float* table, int lo, int hi, double p, double q) {
    if (!table) return;
    std::fill_n(table, 256, 0.0f);
    const double g = std::exp(-0.5 / p);
    const double x = ((g - 1) / (g - (g + 1) * ((g + (1 - g) * q) / (g + 1))) - 1) / g;
    const double log_x = std::log(x);
    const double k = (g * g * x + 1) / (g * g - 1) / x;
    const int last = std::min(hi, 255), first = std::max(lo, 0);
    for (int i = first; i <= last; ++i) {
        const double fall = 1 - double(i - first) / double(last - first);
        table[i] = float(k - (x + 1) * k / (std::exp((log_x * p - fall) / p) + 1));
    }
}
