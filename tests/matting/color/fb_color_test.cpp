#include "matting/color/fb_color.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "tests/matting/color/plain_fb_color.h"

namespace {

// Pictures whose colours repeat and vary; `detail` is the noise on top of the gradients.
int picture(Random& random, int x, int y, int detail) {
    return std::clamp(60 + 2 * (x / 3) + (x % 3) * 20 + y + random.below(detail), 0, 255);
}

struct Kind {
    const char* name;
    int w, h, lo, hi;
    std::function<int(Random&, int x, int y)> alpha;
};

// A soft edge down the middle with holes in it.
int soft(Random& random, int x, int w) {
    return std::clamp((x - w / 2) * 20 + 128 + random.between(-20, 20), 0, 255);
}

void expect_plain_bytes(const Kind& kind, int seed) {
    Random random(seed);
    const int w = kind.w, h = kind.h, pad = seed % 4;
    Bytes image(3 * w, h, pad,
                [&](int x, int y) { return picture(random, x, y, seed % 3 * 20 + 1); });
    Bytes alpha(w, h, pad / 2, [&](int x, int y) { return kind.alpha(random, x, y); });
    const plain::Level expected =
        plain::estimate(w, h, image.payload(), alpha.payload(), kind.lo, kind.hi);
    for (int wanted : {3, 1, 2}) {  // bits: low, high
        Bytes low(3 * w, h, 1), high(3 * w, h, 2);
        mat_estimate_fb_color(image, w, h, image.stride, alpha, alpha.stride,
                              wanted & 1 ? &low(0, 0) : nullptr, low.stride,
                              wanted & 2 ? &high(0, 0) : nullptr, high.stride, kind.lo, kind.hi);
        const Map untouched(expected.low.size(), Bytes::pattern);
        EXPECT_EQ(low.payload(), wanted & 1 ? expected.low : untouched) << kind.name << seed;
        EXPECT_EQ(high.payload(), wanted & 2 ? expected.high : untouched) << kind.name << seed;
    }
}

TEST(FbColor, equals_a_plain_estimate) {
    const Kind soft_edge{"soft edge", 50,  40,
                         1,           253, [](Random& r, int x, int) { return soft(r, x, 50); }};
    const Kind holes{"mixed holes", 37, 70, 40, 200, [](Random& r, int x, int y) {
                         return (x / 9 + y / 9) % 3 == 0 ? r.between(0, 255) : soft(r, x, 37);
                     }};
    const Kind wide{
        "wide band", 110, 70,
        1,           253, [](Random&, int x, int y) { return std::clamp(3 * x - y, 0, 255); }};
    const Kind salt{"salt",
                    45,
                    33,
                    1,
                    253,
                    [](Random& r, int, int) {
                        return r.below(4) ? r.between(1, 253) : r.below(2) * 255; }};
    const Kind alike{
        "lo 0", 40, 40, 0, 60, [](Random& r, int x, int) { return soft(r, x, 40) / (1 + x % 2); }};
    for (const Kind& kind : {soft_edge, holes, wide, salt, alike})
        for (int seed = 1; seed <= 3; ++seed) expect_plain_bytes(kind, seed);
}

TEST(FbColor, scarce_sides_equal_a_plain_estimate) {
    // Sides that lie on odd columns and rows are lost with the first halving, so that the scarce
    // side has to be looked for at full size, far away.
    const auto lonely = [](int value, int rest) {
        return [=](Random& r, int x, int y) {
            return x == 71 && y == 3 ? value : y > 30 ? r.between(2, 250) : rest;
        };
    };
    const auto sparse = [](int value, int rest) {
        return [=](Random& r, int x, int y) {
            return x % 4 == 1 && y % 4 == 1 ? value : y > 10 ? r.between(2, 250) : rest;
        };
    };
    const auto missing = [](int rest) {
        return [=](Random& r, int x, int y) { return y > x % 40 ? r.between(2, 250) : rest; };
    };
    for (const Kind& kind :
         {Kind{"one low", 90, 66, 1, 253, lonely(0, 255)},
          Kind{"one high", 90, 66, 1, 253, lonely(255, 0)},
          Kind{"sparse low", 121, 63, 1, 253, sparse(0, 255)},
          Kind{"sparse high", 121, 63, 1, 253, sparse(255, 0)},
          Kind{"no low", 47, 45, 1, 253, missing(255)}, Kind{"no high", 31, 25, 1, 253, missing(0)},
          Kind{"neither", 33, 20, 1, 253, missing(9)},
          Kind{"no mixed", 60, 20, 1, 253, [](Random&, int x, int) { return x % 2 * 255; }}})
        for (int seed = 1; seed <= 2; ++seed) expect_plain_bytes(kind, seed);
}

TEST(FbColor, small_pictures_and_every_pair_of_limits_are_safe) {
    for (int n = 0; n < 120; ++n) {
        const int w = 1 + n % 8, h = 1 + n / 8 % 8;
        const int lo = n % 5 == 0 ? 0 : 1, hi = n % 7 == 0 ? 255 : 253;
        expect_plain_bytes({"small", w, h, lo, hi,
                            [](Random& r, int, int) { return r.below(3) * 127 + r.below(2); }},
                           n);
    }
    for (const auto& limits : {std::pair(100, 100), std::pair(200, 9), std::pair(255, 255)}) {
        Random random(5);
        Bytes image(30, 9, 0, noise(random)), alpha(10, 9, 0, noise(random, 90, 110));
        Bytes low(30, 9, 3), high(30, 9, 3);
        mat_estimate_fb_color(image, 10, 9, 30, alpha, 10, low, 33, high, 33, limits.first,
                              limits.second);
        for (int i = 0; i < 10 * 9; ++i) {
            const int a = alpha(i % 10, i / 10);
            if (a >= limits.first && a <= limits.second) continue;
            ASSERT_EQ(low(i % 10 * 3, i / 10), image(i % 10 * 3, i / 10));
            ASSERT_EQ(high(i % 10 * 3, i / 10), image(i % 10 * 3, i / 10));
        }
    }
    u8 byte = 7, alpha = 128;
    mat_estimate_fb_color(nullptr, 1, 1, 3, &alpha, 1, &byte, 3, nullptr, 3, 1, 253);
    mat_estimate_fb_color(&alpha, 1, 1, 3, nullptr, 1, &byte, 3, nullptr, 3, 1, 253);
    for (int n : {0, -1}) {
        estimate_fb_color_x(&alpha, n, 1, 3, &alpha, 1, &byte, 3, nullptr, 3, 1, 253);
        estimate_fb_color_x(&alpha, 1, n, 3, &alpha, 1, &byte, 3, &byte, 3, 1, 253);
    }
    EXPECT_EQ(byte, 7);
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
    int worst_mix = 0, changed = 0;
    double high_error = 0, low_error = 0, own_high_error = 0, own_low_error = 0;
    image.each([&](int x, int y) {
        const int a = alpha(x / 3, y), i = image(x, y), l = low(x, y), u = high(x, y);
        changed += (a < 1 || a > 253) && (l != i || u != i);
        if (a < 1 || a > 253) return;
        if (a < 40) worst_mix = std::max(worst_mix, std::abs(((255 - a) * l + a * u) / 255 - i));
        const float wanted = (1 - weight[a]) * float(i) + weight[a] * float(high_at(x, y));
        high_error += double(float(a) * std::abs(float(u) - wanted));
        own_high_error += a * std::abs(i - high_at(x, y));
        low_error += (255 - a) * std::abs(l - low_at(x, y));
        own_low_error += (255 - a) * std::abs(i - low_at(x, y));
    });
    EXPECT_EQ(changed, 0) << "definite pixels";
    EXPECT_LE(worst_mix, 10);
    EXPECT_LT(high_error, own_high_error / 10);
    EXPECT_LT(low_error, own_low_error / 10);
    // In place.
    mat_estimate_fb_color(image, w, h, image.stride, alpha, w, nullptr, 0, image, image.stride, 1,
                          253);
    EXPECT_EQ(image.payload(), high.payload());
}

TEST(FbColor, the_S_table_falls_from_one_to_nothing) {
    float table[256];
    _calc_S_func(table, 1, 253, 1.0, 0.5);
    const struct {
        int index;
        double value;
    } stated[] = {{0, 0},        {1, 1},        {2, 0.9962}, {64, 0.7539}, {127, 0.5},
                  {190, 0.2461}, {252, 0.0038}, {253, 0},    {254, 0},     {255, 0}};
    for (const auto& s : stated) EXPECT_NEAR(table[s.index], s.value, 5e-5) << s.index;
    for (int i = 2; i <= 253; ++i) EXPECT_LT(table[i], table[i - 1]) << i;
    _calc_S_func(table, INT_MIN, INT_MAX, 1.0, 0.5);
    EXPECT_NEAR(table[0] - table[255], 1, 1e-6);
    for (const auto& odd : {std::pair(300, 400), std::pair(-9, -5), std::pair(9, 3)}) {
        _calc_S_func(table, odd.first, odd.second, 1.0, 0.5);
        EXPECT_TRUE(std::all_of(table, table + 256, [](float v) { return v == 0; })) << odd.first;
    }
    _calc_S_func(nullptr, 0, 255, 1.0, 0.5);
}

}  // namespace
