#include "matting/color/fb_color.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>

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
        // A pixel, a thin grid or more of one side, far from most mixed pixels; or nothing of it.
        const int scarce = n % 2 ? 1 : 255;
        Picture p(n, w, h, [=](Random& r, int x, int y) {
            const bool is_scarce[] = {x == 71 && y == 3, x % 6 == 1 && y % 6 == 1, x > 70, false};
            return is_scarce[n / 2] ? scarce : y > 18 ? r.between(2, 250) : 256 - scarce;
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

// Digest of both sides, which come out alone as together.
void estimate(Digest& digest, const Picture& p, int lo = 1, int hi = 253) {
    Bytes low(3 * p.w, p.h, 1), high(3 * p.w, p.h, 2), low_alone(3 * p.w, p.h, 0),
        high_alone(3 * p.w, p.h, 0);
    const auto run = [&](Bytes* to_low, Bytes* to_high) {
        mat_estimate_fb_color(p.image, p.w, p.h, p.image.stride, p.alpha, p.alpha.stride,
                              to_low ? *to_low + 0 : nullptr, to_low ? to_low->stride : 0,
                              to_high ? *to_high + 0 : nullptr, to_high ? to_high->stride : 0, lo,
                              hi);
    };
    run(&low, &high), run(&low_alone, nullptr), run(nullptr, &high_alone);
    EXPECT_TRUE(low.payload() == low_alone.payload() && high.payload() == high_alone.payload());
    digest.add(low.payload()), digest.add(high.payload());
}

// A soft edge at x = 0 with holes in it.
int soft(Random& random, int x) { return 20 * x + random.between(108, 148); }

TEST(FbColor, estimates_are_the_same_bytes_as_ever) {
    Digest digest;
    for (int n = 1; n <= 3; ++n) {
        const auto holes = [](Random& r, int x, int y) {
            return (x / 9 + y / 9) % 3 == 0 ? r.below(256) : soft(r, x - 18);
        };
        const auto salt = [](Random& r, int, int) {
            return r.below(4) ? r.between(1, 253) : r.below(2) * 255;
        };
        const auto halved = [](Random& r, int x, int) { return soft(r, x - 20) / (1 + x % 2); };
        estimate(digest, {n, 50, 40, [](Random& r, int x, int) { return soft(r, x - 25); }});
        estimate(digest, {n, 110, 70, [](Random&, int x, int y) { return 3 * x - y; }});
        estimate(digest, {n, 37, 70, holes}, 40, 200);
        estimate(digest, {n, 45, 33, salt});
        estimate(digest, {n, 40, 40, halved}, 0, 60);
    }
    const auto few = [](Random& r, int, int) { return r.below(3) * 127 + r.below(2); };
    for (int n = 0; n < 120; ++n)
        estimate(digest, {n, 1 + n % 8, 1 + n / 8 % 8, few}, n % 5 ? 1 : 0, n % 7 ? 253 : 255);
    const auto middle = [](Random& r, int, int) { return r.between(90, 110); };
    for (const auto& [lo, hi] : {std::pair(100, 100), std::pair(200, 9), std::pair(255, 255)})
        estimate(digest, {lo, 10, 9, middle}, lo, hi);
    // Sides on odd columns and rows are lost with the first halving; then there is none of one.
    for (int scarce : {0, 255}) {
        const int rest = 255 - scarce, n = scarce ? 1 : 2;
        const auto sparse = [=](Random& r, int x, int y) {
            return x % 4 == 1 && y % 4 == 1 ? scarce : y > 10 ? r.between(2, 250) : rest;
        };
        const auto missing = [=](Random& r, int x, int y) {
            return y > x % 40 ? r.between(2, 250) : rest;
        };
        estimate(digest, {n, 120, 64, sparse});
        estimate(digest, {n, 47, 45, missing});
    }
    estimate(digest, {1, 33, 20, [](Random& r, int, int) { return r.between(2, 250); }});
    estimate(digest, {1, 60, 20, [](Random&, int x, int) { return x % 2 * 255; }});
    EXPECT_EQ(digest.value, 9737125404389573663u);
}

TEST(FbColor, known_smooth_colours_come_back_and_reproduce_the_picture) {
    const int w = 160, h = 120;
    const auto high_at = [](int x, int y) { return 200 - x / 18 - y / 8; };
    const auto low_at = [](int x, int y) { return 30 + x / 20 + y / 12; };
    Bytes alpha(w, h, 0, [](int x, int y) {
        return std::clamp(int(128 + 8 * (45 - std::hypot(x - 80, y - 60))), 0, 255);
    });
    Bytes image(3 * w, h, 5, [&](int x, int y) {
        const int a = alpha(x / 3, y);
        return ((255 - a) * low_at(x, y) + a * high_at(x, y) + 127) / 255;
    });
    Bytes low(3 * w, h, 0), high(3 * w, h, 0);
    mat_estimate_fb_color(image, w, h, image.stride, alpha, w, low, 3 * w, high, 3 * w, 1, 253);
    // By the S table's weight the high side returns to the picture's own colour.
    float weight[256];
    _calc_S_func(weight, 1, 253, 1.0, 0.5);
    double high_error = 0, low_error = 0, own_high_error = 0, own_low_error = 0;
    image.each([&](int x, int y) {
        const int a = alpha(x / 3, y), i = image(x, y), l = low(x, y), u = high(x, y);
        if (a < 1 || a > 253) return;
        EXPECT_LE(a < 40 ? std::abs(((255 - a) * l + a * u) / 255 - i) : 0, 10) << x << ' ' << y;
        const float wanted = (1 - weight[a]) * float(i) + weight[a] * float(high_at(x, y));
        high_error += double(float(a) * std::abs(float(u) - wanted));
        own_high_error += a * std::abs(i - high_at(x, y));
        low_error += (255 - a) * std::abs(l - low_at(x, y));
        own_low_error += (255 - a) * std::abs(i - low_at(x, y));
    });
    EXPECT_LT(high_error, own_high_error / 10);
    EXPECT_LT(low_error, own_low_error / 10);
    estimate_fb_color_x(image, w, h, image.stride, alpha, w, image, image.stride, nullptr, 0, 1,
                        253);
    EXPECT_EQ(image.payload(), high.payload()) << "in place";
    estimate_fb_color_x(nullptr, w, h, 3 * w, alpha, w, high, 3 * w, low, 3 * w, 1, 253);
    estimate_fb_color_x(low, w, h, 3 * w, nullptr, w, high, 3 * w, low, 3 * w, 1, 253);
    estimate_fb_color_x(low, w, -1, 3 * w, alpha, w, high, 3 * w, low, 3 * w, 1, 253);
    EXPECT_EQ(image.payload(), high.payload()) << "what is missing writes nothing";
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
