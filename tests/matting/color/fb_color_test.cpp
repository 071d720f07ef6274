#include "matting/color/fb_color.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "tests/matting/color/plain_fb_color.h"

namespace {

// Of pictures whose colours repeat and vary, with more or less noise on top of the gradients.
void expect_plain(const char* name, int seed, int w, int h,
                  const std::function<int(Random&, int x, int y)>& alpha_at, int lo = 1,
                  int hi = 253) {
    Random random(seed);
    Bytes image(3 * w, h, seed % 4, [&](int x, int y) {
        return std::min(60 + x / 3 * 2 + x % 3 * 20 + y + random.below(seed % 3 * 20 + 1), 255);
    });
    Bytes alpha(w, h, seed % 4 / 2,
                [&](int x, int y) { return std::clamp(alpha_at(random, x, y), 0, 255); });
    const auto expected = plain::estimate(w, h, image.payload(), alpha.payload(), lo, hi).colours;
    const Map untouched(3 * w * h, Bytes::pattern);
    for (int wanted : {plain::low | plain::high, plain::low, plain::high}) {
        Bytes low(3 * w, h, 1), high(3 * w, h, 2);
        u8* to_low = wanted & plain::low ? &low(0, 0) : nullptr;
        u8* to_high = wanted & plain::high ? &high(0, 0) : nullptr;
        mat_estimate_fb_color(image, w, h, image.stride, alpha, alpha.stride, to_low, low.stride,
                              to_high, high.stride, lo, hi);
        EXPECT_EQ(low.payload(), to_low ? expected[plain::low] : untouched) << name << seed;
        EXPECT_EQ(high.payload(), to_high ? expected[plain::high] : untouched) << name << seed;
    }
}

// A soft edge at x = 0 with holes in it.
int soft(Random& random, int x) { return 20 * x + random.between(108, 148); }

TEST(FbColor, equals_a_plain_estimate) {
    for (int n = 1; n <= 3; ++n) {
        expect_plain("edge", n, 50, 40, [](Random& r, int x, int) { return soft(r, x - 25); });
        expect_plain("wide band", n, 110, 70, [](Random&, int x, int y) { return 3 * x - y; });
        const auto holes = [](Random& r, int x, int y) {
            return (x / 9 + y / 9) % 3 == 0 ? r.below(256) : soft(r, x - 18);
        };
        expect_plain("holes", n, 37, 70, holes, 40, 200);
        const auto salt = [](Random& r, int, int) {
            return r.below(4) ? r.between(1, 253) : r.below(2) * 255;
        };
        expect_plain("salt", n, 45, 33, salt);
        const auto halved = [](Random& r, int x, int) { return soft(r, x - 20) / (1 + x % 2); };
        expect_plain("lo 0", n, 40, 40, halved, 0, 60);
    }
    const auto few = [](Random& r, int, int) { return r.below(3) * 127 + r.below(2); };
    for (int n = 0; n < 120; ++n)
        expect_plain("small", n, 1 + n % 8, 1 + n / 8 % 8, few, n % 5 ? 1 : 0, n % 7 ? 253 : 255);
    const auto middle = [](Random& r, int, int) { return r.between(90, 110); };
    for (const auto& [lo, hi] : {std::pair(100, 100), std::pair(200, 9), std::pair(255, 255)})
        expect_plain("odd limits", lo, 10, 9, middle, lo, hi);
}

TEST(FbColor, scarce_and_missing_sides_equal_a_plain_estimate) {
    // Sides that lie on odd columns and rows are lost with the first halving, so that the scarce
    // side has to be looked for at full size, far away.
    for (int scarce : {0, 255}) {
        const int rest = 255 - scarce;
        const auto lonely = [=](Random& r, int x, int y) {
            return x == 71 && y == 3 ? scarce : y > 30 ? r.between(2, 250) : rest;
        };
        const auto sparse = [=](Random& r, int x, int y) {
            return x % 4 == 1 && y % 4 == 1 ? scarce : y > 10 ? r.between(2, 250) : rest;
        };
        const auto missing = [=](Random& r, int x, int y) {
            return y > x % 40 ? r.between(2, 250) : rest;
        };
        const int seed = scarce ? 1 : 2;
        expect_plain("lonely", seed, 90, 66, lonely);
        expect_plain("sparse", seed, 120, 64, sparse);
        expect_plain("missing", seed, 47, 45, missing);
    }
    expect_plain("neither", 1, 33, 20, [](Random& r, int, int) { return r.between(2, 250); });
    expect_plain("no mixed", 1, 60, 20, [](Random&, int x, int) { return x % 2 * 255; });
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
