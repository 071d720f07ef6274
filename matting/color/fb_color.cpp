// Coarse-to-fine colour estimation.
//
// A level is looked for at which every mixed pixel has definite pixels of both sides within two
// pixels. There both colours are seeded from samples around each mixed pixel; every level from
// there up to full size upsamples the two planes and then replaces them, where definite pixels lie
// in the 5 x 5 window, by those pixels' mean (low side) or best candidate (high side). The low side
// never depends on the high side, so without the latter's output half of the work falls away.
// Arithmetic is in integers but for the interpolation and the final correction (single precision).
#include "matting/color/fb_color.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/color/composite.h"
#include "matting/color/final_correction.h"
#include "matting/color/level_data.h"
#include "matting/color/samples.h"
#include "matting/color/upsample.h"

namespace color {
namespace {

// Half of the 5 x 5 window, and the smallest side that is halved.
constexpr int radius = 2, smallest_halved = 17;

// The full-size inputs of one estimate.
struct inputs {
    const u8* image;
    int width, height, image_stride;
    const u8* alpha;
    int alpha_stride;
    const u8* classes;  // contiguous

    _LevelData level(int level_width, int level_height, bool with_high) const {
        _LevelData made;
        made.InitLevel(image, width, height, image_stride, alpha, alpha_stride, classes, width,
                       level_width, level_height, with_high);
        return made;
    }
};

ff::scratch<u8> classify(const u8* alpha, int width, int height, int stride, u8 lo, u8 hi) {
    auto classes = ff::make_scratch<u8>(width, height);
    for (int y = 0; y < height; ++y) {
        const u8* a = alpha + std::ptrdiff_t(y) * stride;
        u8* row = classes.get() + std::ptrdiff_t(y) * width;
        for (int x = 0; x < width; ++x)
            row[x] = a[x] < lo ? low_side : a[x] > hi ? high_side : mixed;
    }
    return classes;
}

// --- the coarsest level -------------------------------------------------------------------------

// A class map with a border of mixed pixels as wide as the window's radius.
class padded_classes {
  public:
    padded_classes(const inputs& in, int width, int height)
        : width_(width),
          height_(height),
          pitch_(width + 2 * radius),
          rows_(height + 2 * radius),
          map_(ff::make_scratch<u8>(pitch_, rows_)) {
        ff::ipf_memset_2d(map_.get(), pitch_, rows_, pitch_, mixed);
        ff::ipf_resize_nn(in.classes, in.width, in.height, in.width, 1,
                          map_.get() + radius * std::ptrdiff_t(pitch_) + radius, width, height,
                          pitch_, 1, ff::ccn<1>());
    }
    bool has(pixel_class side) const {
        return std::memchr(map_.get(), side, std::size_t(pitch_) * std::size_t(rows_));
    }
    // Whether every mixed pixel has both sides in its window.
    bool every_mixed_sees_both() const {
        const auto seen = ff::make_scratch<u8>(pitch_);
        for (int y = 0; y < height_; ++y)
            if (!row_sees_both(map_.get() + std::ptrdiff_t(y) * pitch_, seen.get())) return false;
        return true;
    }

  private:
    // `rows`: the first of the five. `seen`: pitch_ bytes.
    bool row_sees_both(const u8* rows, u8* seen) const {
        const std::ptrdiff_t p = pitch_;
        const u8* centre = rows + radius * p + radius;
        if (!std::memchr(centre, mixed, std::size_t(width_))) return true;
        for (int x = 0; x < pitch_; ++x)
            seen[x] = rows[x] | rows[x + p] | rows[x + 2 * p] | rows[x + 3 * p] | rows[x + 4 * p];
        u8 blind = 0;
        for (int x = 0; x < width_; ++x) {
            const u8 sides = seen[x] | seen[x + 1] | seen[x + 2] | seen[x + 3] | seen[x + 4];
            blind |= u8((centre[x] == mixed) & (sides != both_sides));
        }
        return !blind;
    }

    int width_, height_, pitch_, rows_;
    ff::scratch<u8> map_;
};

struct size {
    int width, height;
};

// Halves while some mixed pixel does not see both sides. Where one side got lost on the way, or was
// never there, one step back: in the latter case that is twice the picture.
size coarsest_size(const inputs& in) {
    for (size s{in.width, in.height};; s = {s.width / 2, s.height / 2}) {
        if (s.width > INT_MAX / 4 || s.height > INT_MAX / 4) throw std::bad_alloc();
        const padded_classes map(in, s.width, s.height);
        if (!map.has(low_side) || !map.has(high_side)) return {2 * s.width, 2 * s.height};
        if (s.height < smallest_halved || s.width < smallest_halved) return s;
        if (map.every_mixed_sees_both()) return s;
    }
}

// --- estimates of one level ---------------------------------------------------------------------

void seed(_LevelData& level, bool with_high) {
    gatherer samples(level);
    for (int y = 0; y < level.height; ++y)
        for_each_mixed(level.class_row(y), level.width, [&](int x) {
            samples.gather(x, y);
            samples.low_mean(level.low_at(x, y));
            if (!with_high) return;
            const u8* best = samples.best_high(
                {level.alpha_row(y)[x], level.low_at(x, y), level.image_at(x, y)});
            if (best) std::copy_n(best, 3, level.high_at(x, y));
        });
}

// The pixels of class `side` in the 5 x 5 window that lies around a pixel, or as near to it as it
// fits into the level; without the window's centre. Levels smaller than it are what it is cut to.
class window_search {
  public:
    window_search(const _LevelData& level, pixel_class side)
        : level_(level), side_(side), seen_(ff::make_scratch<u8>(level.width)) {}

    void enter_row(int y) {
        centre_y_ = centre(y, level_.height);
        top_ = centre_y_ - radius;
        bottom_ = std::min(centre_y_ + radius, level_.height - 1);
        std::copy_n(level_.class_row(top_), level_.width, seen_.get());
        for (int j = top_ + 1; j <= bottom_; ++j) {
            const u8* classes = level_.class_row(j);
            for (int x = 0; x < level_.width; ++x) seen_[std::size_t(x)] |= classes[x];
        }
    }

    // Calls visit(colour) in row-major order.
    template <class Visit>
    void at(int x, Visit visit) const {
        const int centre_x = centre(x, level_.width);
        const int left = centre_x - radius, right = std::min(centre_x + radius, level_.width - 1);
        u8 seen = 0;
        for (int i = left; i <= right; ++i) seen |= seen_[std::size_t(i)];
        if (!(seen & side_)) return;
        for (int j = top_; j <= bottom_; ++j) {
            const u8* classes = level_.class_row(j);
            for (int i = left; i <= right; ++i)
                if (classes[i] == side_ && (i != centre_x || j != centre_y_))
                    visit(level_.image_at(i, j));
        }
    }

  private:
    static int centre(int v, int n) { return std::max(std::min(v, n - 1 - radius), radius); }

    const _LevelData& level_;
    const pixel_class side_;
    ff::scratch<u8> seen_;  // classes in the column of five rows, OR-ed
    int centre_y_ = 0, top_ = 0, bottom_ = 0;
};

void re_estimate_low(_LevelData& level) {
    window_search window(level, low_side);
    for (int y = 0; y < level.height; ++y) {
        window.enter_row(y);
        for_each_mixed(level.class_row(y), level.width, [&](int x) {
            int sum[3] = {0, 0, 0}, count = 0;
            window.at(x, [&](const u8* colour) {
                for (int c = 0; c < 3; ++c) sum[c] += colour[c];
                ++count;
            });
            if (count == 0) return;
            for (int c = 0; c < 3; ++c) level.low_at(x, y)[c] = u8(sum[c] / count);
        });
    }
}

void re_estimate_high(_LevelData& level) {
    window_search window(level, high_side);
    for (int y = 0; y < level.height; ++y) {
        window.enter_row(y);
        for_each_mixed(level.class_row(y), level.width, [&](int x) {
            const composite target(level.alpha_row(y)[x], level.low_at(x, y), level.image_at(x, y));
            const u8* best = nullptr;
            int least = INT_MAX;
            window.at(x, [&](const u8* colour) {
                const int error = target.error(colour);
                if (error >= least) return;
                least = error;
                best = colour;
            });
            if (best) std::copy_n(best, 3, level.high_at(x, y));
        });
    }
}

// --- the pyramid --------------------------------------------------------------------------------

// Twice the size, or full size at once when that is little more.
size next_size(const _LevelData& from, const inputs& in) {
    const std::int64_t w = std::min<std::int64_t>(2 * std::int64_t(from.width), in.width);
    const std::int64_t h = std::min<std::int64_t>(2 * std::int64_t(from.height), in.height);
    if (5 * w / 4 < in.width && 5 * h / 4 < in.height) return {int(w), int(h)};
    return {in.width, in.height};
}

_LevelData climb_from(const _LevelData& from, const inputs& in, bool with_high) {
    const size s = next_size(from, in);
    _LevelData to = in.level(s.width, s.height, with_high);
    const bilinear_axis columns(from.width, to.width), rows(from.height, to.height);
    gatherer samples(from);
    _upsample_level_color(from, samples, to, columns, rows, low_side);
    if (with_high) _upsample_level_color(from, samples, to, columns, rows, high_side);
    re_estimate_low(to);
    if (with_high) re_estimate_high(to);
    return to;
}

_LevelData estimate(const inputs& in, bool with_high) {
    const size start = coarsest_size(in);
    _LevelData level = in.level(start.width, start.height, with_high);
    seed(level, with_high);
    while (level.width != in.width || level.height != in.height)
        level = climb_from(level, in, with_high);
    return level;
}

}  // namespace
}  // namespace color

void estimate_fb_color_x(const unsigned char* image, int width, int height, int image_stride,
                         const unsigned char* alpha, int alpha_stride, unsigned char* high_out,
                         int high_out_stride, unsigned char* low_out, int low_out_stride,
                         unsigned char lo, unsigned char hi) {
    if (!image || !alpha || width < 1 || height < 1 || (!high_out && !low_out)) return;
    const auto classes = color::classify(alpha, width, height, alpha_stride, lo, hi);
    color::_LevelData level = color::estimate(
        {image, width, height, image_stride, alpha, alpha_stride, classes.get()}, high_out);
    if (high_out) color::correct_high(level, lo, hi);
    const int row_bytes = 3 * width;
    ff::ipf_memcpy_2d(level.high.get(), row_bytes, height, row_bytes, high_out, high_out_stride);
    ff::ipf_memcpy_2d(level.low.get(), row_bytes, height, row_bytes, low_out, low_out_stride);
}

void mat_estimate_fb_color(const unsigned char* image, int width, int height, int image_stride,
                           const unsigned char* alpha, int alpha_stride, unsigned char* low_out,
                           int low_out_stride, unsigned char* high_out, int high_out_stride,
                           unsigned char lo, unsigned char hi) {
    estimate_fb_color_x(image, width, height, image_stride, alpha, alpha_stride, high_out,
                        high_out_stride, low_out, low_out_stride, lo, hi);
}
