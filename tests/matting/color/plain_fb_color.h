// A second, plain colour estimate: every list is gathered ring by ring, every candidate looked at.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <vector>

#include "ff/distance_field.h"
#include "ff/raster.h"
#include "matting/color/fb_color.h"
#include "tests/support/guarded_raster.h"

namespace plain {

constexpr int low = 1, high = 2;  // classes; mixed pixels and what lies outside have 0

struct Level {
    int w, h;
    Map image, alpha, classes;
    std::array<Map, 3> colours;  // of the sides
    int class_at(int x, int y) const {
        return x < 0 || y < 0 || x >= w || y >= h ? 0 : classes[y * w + x];
    }
    const u8* pixel(int x, int y) const { return &image[3 * (y * w + x)]; }
};

// A level of another size.
inline Level resized(const Level& full, int w, int h) {
    Level to{w, h, Map(3 * w * h), Map(w * h), Map(w * h), {}};
    std::vector<int> xs(w), rows(h);
    ff::ipf_calc_resize_tab_nn(full.w, w, xs.data(), 1);
    ff::ipf_calc_resize_tab_nn(full.h, h, rows.data(), full.w);
    for (int at = 0; at < w * h; ++at) {
        const int from = rows[at / w] + xs[at % w];
        to.alpha[at] = full.alpha[from];
        to.classes[at] = full.classes[from];
        std::copy_n(&full.image[3 * from], 3, &to.image[3 * at]);
    }
    to.colours.fill(to.image);
    return to;
}

inline bool every_mixed_sees_both(const Level& l) {
    for (int at = 0; at < l.w * l.h; ++at) {
        int seen = l.classes[at] ? low | high : 0;
        for (int k = 0; k < 25; ++k) seen |= l.class_at(at % l.w + k % 5 - 2, at / l.w + k / 5 - 2);
        if (seen != (low | high)) return false;
    }
    return true;
}

inline Level coarsest(const Level& full) {
    for (int w = full.w, h = full.h;; w /= 2, h /= 2) {
        Level l = resized(full, w, h);
        for (int side : {low, high})
            if (!std::count(l.classes.begin(), l.classes.end(), side))
                return resized(full, 2 * w, 2 * h);
        if (every_mixed_sees_both(l) || h < 17 || w < 17) return l;
    }
}

using Samples = std::vector<const u8*>;

inline std::array<Samples, 3> gather(const Level& l, int x, int y) {
    static const int steps[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    std::array<Samples, 3> found;
    const auto scarce = [&](int side) { return found[side].size() < 100; };
    for (int r = 1; (scarce(low) || scarce(high)) && r < std::max(l.w, l.h); ++r) {
        int i = x - r, j = y - r;
        for (const auto& step : steps)
            for (int k = 0; k < 2 * r; ++k, i += step[0], j += step[1])
                if (const int side = l.class_at(i, j)) found[side].push_back(l.pixel(i, j));
    }
    return found;
}

// Gives a pixel the mean of its low samples, or the high one that explains it best. False: none.
inline bool choose(const Samples& samples, int side, Level& l, int at) {
    long sum[3] = {0, 0, 0};
    int least = INT_MAX, a = l.alpha[at];
    const u8* best = nullptr;
    for (const u8* s : samples) {
        int error = 0;
        for (int c = 0; c < 3; ++c) {
            const int mix = ((255 - a) * l.colours[low][3 * at + c] + a * s[c]) / 255;
            error += (mix - l.image[3 * at + c]) * (mix - l.image[3 * at + c]);
            sum[c] += s[c];
        }
        if (error < least) least = error, best = s;
    }
    for (int c = 0; c < 3 && best; ++c)
        l.colours[side][3 * at + c] = side == low ? u8(sum[c] / long(samples.size())) : best[c];
    return best;
}

inline void upsample(const Level& from, Level& to, int side) {
    std::vector<int> xs(to.w), ys(to.h);
    std::vector<float> fxs(to.w), fys(to.h);
    ff::ipf_calc_resize_tab_bl(from.w, to.w, xs.data(), fxs.data(), 1);
    ff::ipf_calc_resize_tab_bl(from.h, to.h, ys.data(), fys.data(), 1);
    for (int at = 0; at < to.w * to.h; ++at) {
        if (to.classes[at]) continue;
        const int x = xs[at % to.w], y = ys[at / to.w];
        const auto no = [&](int dx, int dy) { return from.class_at(x + dx, y + dy) == 3 - side; };
        const bool no_top = no(0, 0) && no(1, 0), no_bottom = no(0, 1) && no(1, 1);
        const float v = no_bottom ? 0.0f : no_top ? 1.0f : fys[at / to.w];
        if (no_top && no_bottom && choose(gather(from, x, y)[side], side, to, at)) continue;
        const auto along = [&](int dy, int c) {
            const u8* p = &from.colours[side][3 * ((y + dy) * from.w + x) + c];
            const float u = no(0, dy) == no(1, dy) ? fxs[at % to.w] : float(no(0, dy));
            return float(p[0]) + u * float(p[3] - p[0]);
        };
        for (int c = 0; c < 3; ++c)
            to.colours[side][3 * at + c] = u8(along(0, c) + v * (along(1, c) - along(0, c)));
    }
}

inline void re_estimate(Level& l, int side) {
    for (int at = 0; at < l.w * l.h; ++at) {
        if (l.classes[at]) continue;
        const int left = std::max(std::min(at % l.w, l.w - 3), 2) - 2;
        const int top = std::max(std::min(at / l.w, l.h - 3), 2) - 2;
        Samples samples;
        for (int k = 0; k < 25; ++k)
            if (k != 12 && l.class_at(left + k % 5, top + k / 5) == side)
                samples.push_back(l.pixel(left + k % 5, top + k / 5));
        choose(samples, side, l, at);
    }
}

inline void correct(Level& l, int lo, int hi) {
    const std::size_t n = l.classes.size();
    std::vector<unsigned> distance(n), width(n, 0), sorted;
    ff::dist_field* f = ff::ipf_create_distance_field_2d(l.w, l.h, 100);
    for (int side : {low, high}) {
        ff::ipf_distance_transform_2d(f, l.classes.data(), l.w, l.h, l.w, side, distance.data(),
                                      l.w, nullptr, 0);
        for (std::size_t i = 0; i < n; ++i) width[i] += distance[i];
    }
    ff::ipf_release_distance_field(f);
    for (std::size_t i = 0; i < n; ++i)
        if (!l.classes[i] && width[i] < 102400) sorted.push_back(width[i] / 100);
    std::sort(sorted.begin(), sorted.end());
    const unsigned widest = sorted.empty() ? 0 : sorted.back();
    const unsigned median = sorted.size() < 2 ? 0 : sorted[sorted.size() / 2 - 1] + 1;
    const unsigned m = std::min(median, widest), r = std::min(widest, 5 * m / 2) + 1;
    float weight[256];
    _calc_S_func(weight, lo, hi, 1.0, 0.5);
    for (std::size_t i = 0; i < 3 * n; ++i) {
        if (l.classes[i / 3]) continue;
        const unsigned d = width[i / 3] / 100;
        u8& out = l.colours[high][i];
        const float a = l.alpha[i / 3] / 255.0f, s = weight[l.alpha[i / 3]], colour = l.image[i];
        const float t = d < m ? 1.0f : d <= r ? float(r - d) / float(r - m) : 0.0f;
        // What is not a number becomes 0.
        const float c = std::max(0.0f, (colour - (1.0f - a) * l.colours[low][i]) / a);
        const float high_side = t * out + (1.0f - t) * std::min(c, 255.0f);
        out = u8(std::max(0.0f, (1.0f - s) * colour + s * high_side));
    }
}

inline Level estimate(int w, int h, const Map& image, const Map& alpha, int lo, int hi) {
    Level full{w, h, image, alpha, Map(alpha.size()), {}};
    for (std::size_t i = 0; i < alpha.size(); ++i)
        full.classes[i] = alpha[i] < lo ? low : alpha[i] > hi ? high : 0;
    Level level = coarsest(full);
    for (int at = 0; at < level.w * level.h; ++at) {
        if (level.classes[at]) continue;
        const auto samples = gather(level, at % level.w, at / level.w);
        for (int side : {low, high}) choose(samples[side], side, level, at);
    }
    while (level.w != w || level.h != h) {
        int w2 = std::min(2 * level.w, w), h2 = std::min(2 * level.h, h);
        if (5 * w2 / 4 >= w || 5 * h2 / 4 >= h) w2 = w, h2 = h;
        Level to = resized(full, w2, h2);
        for (int side : {low, high}) upsample(level, to, side);
        for (int side : {low, high}) re_estimate(to, side);
        level = to;
    }
    correct(level, lo, hi);
    return level;
}

}  // namespace plain
