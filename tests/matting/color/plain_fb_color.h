// A second, plain colour estimate: every list is gathered ring by ring, every candidate looked at.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "ff/distance_field.h"
#include "ff/raster.h"
#include "matting/color/fb_color.h"
#include "tests/support/guarded_raster.h"

namespace plain {

struct Level {
    int w, h;
    Map image, alpha, classes, low, high;
    const u8* colour(int i) const { return &image[3 * std::size_t(i)]; }
};

// A level of another size.
inline Level resized(const Level& full, int w, int h) {
    const std::size_t n = std::size_t(w) * std::size_t(h);
    Level to{w, h, Map(3 * n), Map(n), Map(n), {}, {}};
    ff::ipf_resize_nn(full.image.data(), full.w, full.h, 3 * full.w, 3, to.image.data(), w, h,
                      3 * w, 3, ff::ccn<3>());
    const auto map = [&](const Map& from, Map& out) {
        ff::ipf_resize_nn(from.data(), full.w, full.h, full.w, 1, out.data(), w, h, w, 1,
                          ff::ccn<1>());
    };
    map(full.alpha, to.alpha);
    map(full.classes, to.classes);
    to.low = to.high = to.image;
    return to;
}

inline bool every_mixed_sees_both(const Level& l) {
    for (int y = 0; y < l.h; ++y)
        for (int x = 0; x < l.w; ++x) {
            int seen = l.classes[y * l.w + x] ? 3 : 0;
            for (int j = std::max(y - 2, 0); j <= std::min(y + 2, l.h - 1); ++j)
                for (int i = std::max(x - 2, 0); i <= std::min(x + 2, l.w - 1); ++i)
                    seen |= l.classes[j * l.w + i];
            if (seen != 3) return false;
        }
    return true;
}

inline Level coarsest(const Level& full) {
    for (int w = full.w, h = full.h;; w /= 2, h /= 2) {
        Level l = resized(full, w, h);
        const auto has = [&](int c) {
            return std::find(l.classes.begin(), l.classes.end(), c) != l.classes.end();
        };
        if (!has(1) || !has(2)) return resized(full, 2 * w, 2 * h);
        if (every_mixed_sees_both(l) || h < 17 || w < 17) return l;
    }
}

using Samples = std::vector<const u8*>;

inline void gather(const Level& l, int x, int y, Samples& low, Samples& high) {
    static const int steps[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    low.clear(), high.clear();
    for (int r = 1; (low.size() < 100 || high.size() < 100) && r < 2 * std::max(l.w, l.h); ++r) {
        int i = x - r, j = y - r;
        for (const auto& step : steps)
            for (int k = 0; k < 2 * r; ++k, i += step[0], j += step[1]) {
                if (i < 0 || j < 0 || i >= l.w || j >= l.h) continue;
                const int at = j * l.w + i;
                if (l.classes[at] == 1) low.push_back(l.colour(at));
                if (l.classes[at] == 2) high.push_back(l.colour(at));
            }
    }
}

inline bool mean(const Samples& samples, u8* out) {
    long sum[3] = {0, 0, 0};
    for (const u8* s : samples)
        for (int c = 0; c < 3; ++c) sum[c] += s[c];
    for (int c = 0; c < 3 && !samples.empty(); ++c) out[c] = u8(sum[c] / long(samples.size()));
    return !samples.empty();
}

inline bool best(const Samples& samples, unsigned a, const u8* low, const u8* colour, u8* out) {
    int least = INT_MAX;
    const u8* found = nullptr;
    for (const u8* s : samples) {
        int error = 0;
        for (int c = 0; c < 3; ++c) {
            const int e = int(((255 - a) * low[c] + a * s[c]) / 255) - colour[c];
            error += e * e;
        }
        if (error < least) least = error, found = s;
    }
    for (int c = 0; c < 3 && found; ++c) out[c] = found[c];
    return found;
}

inline void upsample(const Level& from, Level& to, int side) {
    std::vector<int> xs(to.w), ys(to.h);
    std::vector<float> fxs(to.w), fys(to.h);
    ff::ipf_calc_resize_tab_bl(from.w, to.w, xs.data(), fxs.data(), 1);
    ff::ipf_calc_resize_tab_bl(from.h, to.h, ys.data(), fys.data(), 1);
    const Map& plane = side == 1 ? from.low : from.high;
    Samples low, high;
    for (int at = 0; at < to.w * to.h; ++at) {
        if (to.classes[at]) continue;
        const int x0 = xs[at % to.w], y0 = ys[at / to.w], corner = y0 * from.w + x0;
        const float fx = fxs[at % to.w], fy = fys[at / to.w];
        const auto no = [&](int dx, int dy) {
            return from.classes[corner + dy * from.w + dx] == 3 - side;
        };
        const auto weight = [&](int dy) {
            if (!no(0, dy)) return no(1, dy) ? 0.0f : fx;
            return no(1, dy) ? fx : 1.0f;
        };
        const bool no_top = no(0, 0) && no(1, 0), no_bottom = no(0, 1) && no(1, 1);
        float v = no_bottom ? 0.0f : no_top ? 1.0f : fy;
        u8* out = side == 1 ? &to.low[3 * at] : &to.high[3 * at];
        if (no_top && no_bottom) {
            gather(from, x0, y0, low, high);
            if (side == 1 ? mean(low, out) : best(high, to.alpha[at], &to.low[3 * at], out, out))
                continue;
        }
        for (int c = 0; c < 3; ++c) {
            const auto p = [&](int dx, int dy) {
                return float(plane[3 * (corner + dy * from.w + dx) + c]);
            };
            const float top = p(0, 0) + weight(0) * (p(1, 0) - p(0, 0));
            const float bottom = p(0, 1) + weight(1) * (p(1, 1) - p(0, 1));
            out[c] = u8(top + v * (bottom - top));
        }
    }
}

inline void re_estimate(Level& l, int side) {
    Samples samples;
    for (int at = 0; at < l.w * l.h; ++at) {
        if (l.classes[at]) continue;
        const int cx = std::max(std::min(at % l.w, l.w - 3), 2);
        const int cy = std::max(std::min(at / l.w, l.h - 3), 2);
        samples.clear();
        for (int k = 0; k < 25; ++k) {
            const int i = cx + k % 5 - 2, j = cy + k / 5 - 2;
            if (k != 12 && i < l.w && j < l.h && l.classes[j * l.w + i] == side)
                samples.push_back(l.colour(j * l.w + i));
        }
        if (side == 1)
            mean(samples, &l.low[3 * at]);
        else
            best(samples, l.alpha[at], &l.low[3 * at], l.colour(at), &l.high[3 * at]);
    }
}

inline void correct(Level& l, int lo, int hi) {
    const std::size_t n = l.classes.size();
    std::vector<unsigned> to_high(n), width(n);
    ff::dist_field* f = ff::ipf_create_distance_field_2d(l.w, l.h, 100);
    for (int side : {2, 1})
        ff::ipf_distance_transform_2d(f, l.classes.data(), static_cast<unsigned short>(l.w),
                                      static_cast<unsigned short>(l.h), l.w, u8(side),
                                      side == 2 ? to_high.data() : width.data(), l.w, nullptr, 0);
    ff::ipf_release_distance_field(f);
    std::vector<unsigned> sorted;
    for (std::size_t i = 0; i < n; ++i) {
        width[i] = (width[i] + to_high[i]) / 100;
        if (!l.classes[i] && width[i] < 1024) sorted.push_back(width[i]);
    }
    std::sort(sorted.begin(), sorted.end());
    const unsigned widest = sorted.empty() ? 0 : sorted.back();
    const unsigned median = sorted.size() < 2 ? 0 : sorted[sorted.size() / 2 - 1] + 1;
    const unsigned m = std::min(median, widest), r = std::min(widest, 5 * m / 2) + 1;
    float table[256];
    _calc_S_func(table, lo, hi, 1.0, 0.5);
    for (std::size_t i = 0; i < 3 * n; ++i) {
        const unsigned d = width[i / 3];
        if (l.classes[i / 3]) continue;
        const float a = l.alpha[i / 3] / 255.0f, s = table[l.alpha[i / 3]], colour = l.image[i];
        const float t = d < m ? 1.0f : d <= r ? float(r - d) / float(r - m) : 0.0f;
        float c = (colour - (1.0f - a) * l.low[i]) / a;
        c = c > 0.0f ? std::min(c, 255.0f) : 0.0f;
        l.high[i] = u8((1.0f - s) * colour + s * (t * l.high[i] + (1.0f - t) * c));
    }
}

inline Level estimate(int w, int h, const Map& image, const Map& alpha, int lo, int hi) {
    Level full{w, h, image, alpha, Map(alpha.size()), image, image};
    for (std::size_t i = 0; i < alpha.size(); ++i)
        full.classes[i] = alpha[i] < lo ? 1 : alpha[i] > hi ? 2 : 0;
    Level level = coarsest(full);
    Samples low, high;
    for (int i = 0; i < level.w * level.h; ++i) {
        if (level.classes[i]) continue;
        gather(level, i % level.w, i / level.w, low, high);
        mean(low, &level.low[3 * i]);
        best(high, level.alpha[i], &level.low[3 * i], level.colour(i), &level.high[3 * i]);
    }
    while (level.w != w || level.h != h) {
        int w2 = std::min(2 * level.w, w), h2 = std::min(2 * level.h, h);
        if (5 * w2 / 4 >= w || 5 * h2 / 4 >= h) w2 = w, h2 = h;
        Level to = resized(full, w2, h2);
        for (int side : {1, 2}) upsample(level, to, side);
        for (int side : {1, 2}) re_estimate(to, side);
        level = to;
    }
    correct(level, lo, hi);
    return level;
}

}  // namespace plain
