#include "matting/color/fb_color.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <utility>

#include "matting/color/samples.h"
#include "tests/support/digest.h"
#include "tests/support/guarded_raster.h"

namespace {

using Alpha = std::function<int(Random&, int x, int y)>;

// Colours that repeat and vary, with more or less noise on top of their gradients.
struct Picture {
    Picture(int seed, int width, int height, const Alpha& alpha_at)
        : w(width),
          h(height),
          random(seed),
          image(3 * w, h, seed % 4,
                [=](int x, int y) {
                    const int noise = random.below(seed % 3 * 20 + 1);
                    return std::min(60 + x / 3 * 2 + x % 3 * 20 + y + noise, 255);
                }),
          alpha(w, h, seed % 4 / 2,
                [&](int x, int y) { return std::clamp(alpha_at(random, x, y), 0, 255); }) {}
    int w, h;
    Random random;
    Bytes image, alpha;
};

// Of the definite pixels around (x, y), ring after ring until there are 100 of both sides.
struct Walk {
    Walk(const color::_LevelData& level, const color::composite& target, int x, int y) {
        long count[3] = {0, 0, 0}, sum[3] = {0, 0, 0};
        const auto visit = [&](int i, int j) {
            if (i < 0 || j < 0 || i >= level.width || j >= level.height) return;
            const u8 *colour = level.image_at(i, j), side = level.class_row(j)[i];
            const int e = target.error(colour);
            if (side == color::high_side && e < error) error = e, best = colour;
            for (int c = 0; side == color::low_side && c < 3; ++c) sum[c] += colour[c];
            ++count[side];
        };
        for (int r = 1; std::min(count[1], count[2]) < 100 && r < level.width; ++r)
            for (int side = 0; side < 4; ++side)
                for (int k = -r; k < r; ++k)
                    visit(x + std::array{k, r, -k, -r}[side], y + std::array{-r, k, r, -k}[side]);
        for (int c = 0; c < 3 && count[1]; ++c) mean[c] = u8(sum[c] / count[1]);
    }
    int error = INT_MAX;
    const u8* best = nullptr;
    Map mean{7, 7, 7};  // where there are none
};

TEST(Gatherer, samples_are_those_of_a_walk_ring_after_ring) {
    const int w = 88, h = 64;
    for (int n = 0; n < 7; ++n) {
        // A pixel, a thin grid or more of one side, far from most mixed pixels, or nothing of it;
        // so many questions, more than 4000, that colours are put in order.
        const int scarce = n % 2 ? 1 : 255;
        Picture p(n, w, h, [=](Random& r, int x, int y) {
            const bool is_scarce[] = {x == 71 && y == 3, x % 6 == 1 && y % 6 == 1, x > 70, false};
            return is_scarce[n / 2] ? scarce : y > 14 ? r.between(2, 250) : 256 - scarce;
        });
        Bytes classes(w, h, 3, [&](int x, int y) {
            return p.alpha(x, y) == 1 ? 1 : p.alpha(x, y) == 255 ? 2 : 0;
        });
        color::_LevelData level;
        level.InitLevel(p.image, w, h, p.image.stride, p.alpha, p.alpha.stride, classes,
                        classes.stride, w, h, true);
        color::gatherer samples(level);
        classes.each([&](int x, int y) {
            if (classes(x, y)) return;
            Map mean{7, 7, 7}, low{u8(x), u8(y), u8(x + y)};
            const color::composite target(p.alpha(x, y), low.data(), level.image_at(x, y));
            samples.gather(x, y);
            samples.low_mean(mean.data());
            const u8* const best = samples.best_high(target);
            if ((x + y) % 4) return;
            const Walk walk(level, target, x, y);
            ASSERT_EQ(mean, walk.mean) << n << ' ' << x << ' ' << y;
            ASSERT_EQ(best, walk.best) << n << ' ' << x << ' ' << y;
        });
    }
}

// One of ten mattes, each of which takes the estimate another way.
int alpha_of(int shape, int scarce, Random& random, int x, int y) {
    const int any = random.between(2, 250), soft = 20 * (x - 20) + random.between(108, 148);
    // Sides on odd columns and rows are lost with the first halving.
    const bool odd = x % 4 == 1 && y % 4 == 1;
    const int few = random.below(3) * 127 + random.below(2), rest = 255 - scarce;
    const int shapes[] = {soft,
                          3 * x - y,
                          (x / 9 + y / 9) % 3 ? soft : any,
                          random.below(4) ? any : random.below(2) * 255,
                          soft / (1 + x % 2),
                          few,
                          odd      ? scarce
                          : y > 10 ? any
                                   : rest,
                          y > x % 40 ? any : rest,
                          any,
                          x % 2 * 255};
    return shapes[shape];
}

TEST(FbColor, estimates_are_the_same_bytes_as_ever) {
    const std::pair<int, int> limits[] = {{1, 253},   {40, 200}, {1, 253},  {0, 60},
                                          {100, 100}, {200, 9},  {255, 255}};
    Digest digest;
    for (int n = 0; n < 200; ++n) {
        const auto& [lo, hi] = limits[n % 7];
        const bool small = n >= 40;
        const Picture p(
            n, small ? 1 + n / 10 % 8 : 40 + 10 * (n / 7), small ? 1 + n % 9 : 70 - n % 40,
            [n](Random& r, int x, int y) { return alpha_of(n % 10, n / 10 % 2 * 255, r, x, y); });
        for (int sides : {3, 1, 2}) {
            Bytes low(3 * p.w, p.h, 1), high(3 * p.w, p.h, 2);
            mat_estimate_fb_color(p.image, p.w, p.h, p.image.stride, p.alpha, p.alpha.stride,
                                  sides & 1 ? low + 0 : nullptr, low.stride,
                                  sides & 2 ? high + 0 : nullptr, high.stride, lo, hi);
            digest.add(low.payload()), digest.add(high.payload());
        }
    }
    EXPECT_EQ(digest.value, 1522315032240952073u);
}

TEST(FbColor, estimates_in_place_and_of_nothing) {
    Picture p(1, 50, 40, [](Random& r, int x, int) { return 8 * x + r.below(9) - 70; });
    Bytes high(150, 40, 0), image(150, 40, 5, [&](int x, int y) { return p.image(x, y); });
    const auto estimate = [&](const u8* from, const u8* alpha, int h, u8* to, int stride) {
        estimate_fb_color_x(from, 50, h, image.stride, alpha, p.alpha.stride, to, stride, nullptr,
                            0, 1, 253);
    };
    estimate(image, p.alpha, 40, high, 150);
    estimate(image, p.alpha, 40, image, image.stride);
    estimate(nullptr, p.alpha, 40, high, 150), estimate(p.image, nullptr, 40, high, 150);
    estimate(p.image, p.alpha, -1, high, 150);
    EXPECT_EQ(image.payload(), high.payload());
}

TEST(FbColor, the_S_table_falls_from_one_to_nothing) {
    float table[256];
    _calc_S_func(table, 1, 253, 1.0, 0.5);
    const std::pair<int, double> stated[] = {{0, 0},     {1, 1},        {2, 0.9962},   {64, 0.7539},
                                             {127, 0.5}, {190, 0.2461}, {252, 0.0038}, {253, 0},
                                             {254, 0},   {255, 0}};
    for (const auto& [index, value] : stated) EXPECT_NEAR(table[index], value, 5e-5) << index;
    for (int i = 2; i <= 253; ++i) EXPECT_LT(table[i], table[i - 1]) << i;
    _calc_S_func(table, INT_MIN, INT_MAX, 1.0, 0.5);
    EXPECT_NEAR(table[0] - table[255], 1, 1e-6);
    for (const auto& [lo, hi] : {std::pair(300, 400), std::pair(-9, -5), std::pair(9, 3)}) {
        _calc_S_func(table, lo, hi, 1.0, 0.5);
        EXPECT_EQ(std::count(table, table + 256, 0.0f), 256) << lo;
    }
}

}  // namespace
