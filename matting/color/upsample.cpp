// Bilinear upsampling that ignores corners of the wrong side, in single precision, truncated.
#include "matting/color/upsample.h"

#include <algorithm>

#include "ff/raster.h"

namespace color {
namespace {

// Weight of the second of two values, which `fraction` would give, when only some may be used.
float second_weight(bool first_excluded, bool second_excluded, float fraction) {
    if (first_excluded == second_excluded) return fraction;
    return first_excluded ? 1.0f : 0.0f;
}

// The four corners of a pixel in the level before.
struct corners {
    const u8 *c00, *c10, *c01, *c11;

    corners(const ff::scratch<u8>& plane, std::ptrdiff_t stride, int x, int y)
        : c00(plane.get() + y * stride + 3 * std::ptrdiff_t(x)),
          c10(c00 + 3),
          c01(c00 + stride),
          c11(c01 + 3) {}

    void blend(float top_weight, float bottom_weight, float v, u8* out) const {
        for (int c = 0; c < 3; ++c) {
            const float top = float(c00[c]) + top_weight * float(c10[c] - c00[c]);
            const float bottom = float(c01[c]) + bottom_weight * float(c11[c] - c01[c]);
            out[c] = u8(int(top + v * (bottom - top)));
        }
    }
};

// Writes the colour of `side` that samples around (x, y) of the level before give for a pixel of
// the new one. False where there are none.
bool from_samples(gatherer& samples, int from_x, int from_y, const _LevelData& to, int x, int y,
                  pixel_class side) {
    samples.gather(from_x, from_y);
    if (side == low_side) return samples.low_mean(to.low_at(x, y));
    const u8* best = samples.best_high({to.alpha_row(y)[x], to.low_at(x, y), to.high_at(x, y)});
    if (best) std::copy_n(best, 3, to.high_at(x, y));
    return best != nullptr;
}

}  // namespace

bilinear_axis::bilinear_axis(int from, int to)
    : position(ff::make_scratch<int>(to)), fraction(ff::make_scratch<float>(to)) {
    ff::ipf_calc_resize_tab_bl(from, to, position.get(), fraction.get(), 1);
}

void _upsample_level_color(const _LevelData& from, gatherer& samples, _LevelData& to,
                           const bilinear_axis& columns, const bilinear_axis& rows,
                           pixel_class side) {
    const u8 excluded = both_sides - side;
    const auto& plane = side == low_side ? from.low : from.high;
    for (int y = 0; y < to.height; ++y) {
        const int from_y = rows.position[std::size_t(y)];
        const float fy = rows.fraction[std::size_t(y)];
        const u8* top_classes = from.class_row(from_y);
        const u8* bottom_classes = from.class_row(from_y + 1);
        for_each_mixed(to.class_row(y), to.width, [&](int x) {
            const int from_x = columns.position[std::size_t(x)];
            const float fx = columns.fraction[std::size_t(x)];
            const bool no00 = top_classes[from_x] == excluded;
            const bool no10 = top_classes[from_x + 1] == excluded;
            const bool no01 = bottom_classes[from_x] == excluded;
            const bool no11 = bottom_classes[from_x + 1] == excluded;
            const bool no_top = no00 && no10, no_bottom = no01 && no11;
            float v = second_weight(no_top, no_bottom, fy);
            if (no_top && no_bottom) {
                if (from_samples(samples, from_x, from_y, to, x, y, side)) return;
                v = 0.0f;
            }
            const corners around(plane, from.plane_stride, from_x, from_y);
            around.blend(second_weight(no00, no10, fx), second_weight(no01, no11, fx), v,
                         side == low_side ? to.low_at(x, y) : to.high_at(x, y));
        });
    }
}

}  // namespace color
