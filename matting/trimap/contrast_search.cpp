// The largest colour distance between the inside and the outside pixels on a rectangle's border.
//
// Every pair would be compared; a pair is skipped only when it cannot raise the largest distance:
// first the far corner of the inside colours' bounding box bounds what an outside colour can reach,
// and nothing is compared beyond the distance at which the band is widest already.
#include "matting/trimap/contrast_search.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>

namespace trimap {
namespace {

int squared(int v) { return v * v; }

bool same(const dpl_rect& a, const dpl_rect& b) {
    return a.x_begin == b.x_begin && a.x_end == b.x_end && a.y_begin == b.y_begin &&
           a.y_end == b.y_end;
}

// trunc(v) for |v| up to the range of an int many times over; not a number gives 0.
std::int64_t truncated(double v) {
    return std::isnan(v) ? 0 : std::int64_t(std::clamp(v, -1e12, 1e12));
}

}  // namespace

dpl_rect square_around(dpl_pt2di pt, std::int64_t r, int w, int h) {
    const auto low = [=](int v) { return int(std::clamp<std::int64_t>(v - r, 0, INT_MAX)); };
    const auto high = [=](int v, int n) {
        return int(std::clamp<std::int64_t>(v + r, INT_MIN, n));
    };
    return {low(pt.x), high(pt.x, w), low(pt.y), high(pt.y, h)};
}

void contrast_search::side::add(const unsigned char* pixel, int step) {
    if (seen++ % step == 0) colours.push_back({pixel[0], pixel[1], pixel[2]});
}

void contrast_search::visit(int x, int y) {
    if (x < 0 || x >= s_.w || y < 0 || y >= s_.h) return;
    const bool is_inside = s_.seg[std::ptrdiff_t(y) * s_.seg_stride + x] == 255;
    (is_inside ? inside_ : outside_)
        .add(s_.img + std::ptrdiff_t(y) * s_.img_stride + 3 * std::ptrdiff_t(x), s_.step);
}

// Clockwise from the upper left corner, corners twice: the order decides which colours `step`
// takes.
void contrast_search::walk_border(const dpl_rect& rect) {
    inside_.colours.clear(), outside_.colours.clear();
    inside_.seen = outside_.seen = 0;
    const bool wide = rect.x_begin < rect.x_end, high = rect.y_begin < rect.y_end;
    if (wide)
        for (int x = rect.x_begin; x < rect.x_end; ++x) visit(x, rect.y_begin);
    if (high)
        for (int y = rect.y_begin; y < rect.y_end; ++y) visit(rect.x_end - 1, y);
    if (wide)
        for (int x = rect.x_end - 1; x >= rect.x_begin; --x) visit(x, rect.y_end - 1);
    if (high)
        for (int y = rect.y_end - 1; y >= rect.y_begin; --y) visit(rect.x_begin, y);
}

double contrast_search::largest_distance() const {
    const auto& in = inside_.colours;
    if (in.empty() || outside_.colours.empty()) return double(INT_MIN);
    colour low = in[0], high = in[0];
    for (const colour& c : in) {
        low = {std::min(low.b, c.b), std::min(low.g, c.g), std::min(low.r, c.r)};
        high = {std::max(high.b, c.b), std::max(high.g, c.g), std::max(high.r, c.r)};
    }
    const auto farthest = [](int v, int a, int b) {
        return std::max(squared(v - a), squared(v - b));
    };
    const bool saturates = s_.hi > s_.lo;  // then the band does not change beyond hi
    int largest = INT_MIN;
    for (const colour& o : outside_.colours) {
        if (saturates && largest >= s_.hi) break;
        const int bound = farthest(o.b, low.b, high.b) + farthest(o.g, low.g, high.g) +
                          farthest(o.r, low.r, high.r);
        if (bound <= largest) continue;
        for (const colour& i : in)
            largest =
                std::max(largest, squared(i.b - o.b) + squared(i.g - o.g) + squared(i.r - o.r));
    }
    return double(largest);
}

std::int64_t contrast_search::half_width(const dpl_rect& rect) {
    if (has_last_ && same(rect, last_rect_)) return last_half_width_;
    walk_border(rect);
    const double t = (largest_distance() - s_.lo) / (s_.hi - s_.lo);
    const double range = double(s_.max_band) - double(s_.min_band);
    // 0 / 0 leaves the band at its narrowest.
    const double clamped = std::isnan(t) ? 0.0 : std::clamp(t, 0.0, 1.0);
    last_half_width_ = truncated(clamped * range + 0.5) + s_.min_band;
    last_rect_ = rect;
    has_last_ = true;
    return last_half_width_;
}

}  // namespace trimap

dpl_rect AdaRect_CCSz(dpl_pt2di pt, int r, int w, int h) {
    return trimap::square_around(pt, r, w, h);
}

dpl_rect AdaRect_ImgGrad(dpl_pt2di pt, dpl_rect rect, const unsigned char* img, int w, int h,
                         int img_stride, const unsigned char* seg, int seg_stride, int step,
                         double lo, double hi, int min_band, int max_band) {
    if (!img || !seg || w < 1 || h < 1) return {0, 0, 0, 0};
    rect = {std::clamp(rect.x_begin, 0, w), std::clamp(rect.x_end, 0, w),
            std::clamp(rect.y_begin, 0, h), std::clamp(rect.y_end, 0, h)};
    trimap::contrast_search search(
        {img, w, h, img_stride, seg, seg_stride, std::max(step, 1), lo, hi, min_band, max_band});
    return trimap::square_around(pt, search.half_width(rect), w, h);
}
