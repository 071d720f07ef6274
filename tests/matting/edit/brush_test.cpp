#include "matting/edit/brush.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <tuple>

#include "tests/support/guarded_raster.h"

namespace {

int floor_div_256(int v) { return int(std::floor(v / 256.0)); }

TEST(Brush, a_dab_sets_towards_the_value_and_a_weaker_one_changes_nothing) {
    const auto dab = [](u8 alpha, u8 value, u8 brush, u8 applied) {
        u8 dst = 7;
        mat_set_brush(&alpha, 1, 1, 1, &brush, 1, &applied, 1, &dst, 1, value);
        return std::pair(int(dst), int(applied));
    };
    for (int n = 0; n < 5000; ++n) {
        Random random(n);
        const int a = random.below(256), v = random.below(256), b = random.below(256);
        const int w = random.below(256), moved = a + floor_div_256((v - a) * b + 128);
        ASSERT_EQ(dab(a, v, b, w), w < b ? std::pair(moved, b) : std::pair(7, w)) << n;
    }
}

TEST(Brush, undo_moves_all_channels_and_converges_to_the_saved_copy) {
    Random random(1);
    Bytes saved(3 * 9, 6, 2, noise(random)), dst(3 * 9, 6, 1, noise(random));
    Bytes brush(9, 6, 0, noise(random, 128, 255)), applied(9, 6, 4);
    const auto undo = [&](const Bytes::Source& before, int channels, bool record) {
        applied.fill(before);
        mat_undo_brush(saved, 9, 6, saved.stride, channels, brush, 9, applied, applied.stride, dst,
                       dst.stride, record);
    };
    const auto none = [](int, int) { return 0; };
    const Map from = dst.payload();
    undo(none, 3, true);
    dst.each([&](int x, int y) {
        const int was = from[27 * y + x], move = (saved(x, y) - was) * brush(x / 3, y) + 127;
        EXPECT_EQ(dst(x, y), was + floor_div_256(move)) << x << ' ' << y;
    });
    EXPECT_EQ(applied.payload(), brush.payload());
    const Map once = dst.payload();
    undo([&](int x, int y) { return brush(x, y); }, 3, true);
    undo([](int, int) { return 200; }, 0, true);
    for (int x = 0; x < 9; ++x) EXPECT_EQ(applied(x, 2), std::max<int>(200, brush(x, 2)));
    EXPECT_EQ(dst.payload(), once) << "nothing is stronger, no channels";
    for (int stroke = 0; stroke < 20; ++stroke) undo(none, 3, false);
    EXPECT_EQ(applied.payload(), Map(54, 0)) << "not recorded";
    EXPECT_EQ(dst.payload(), saved.payload());
}

TEST(Brush, erosion_and_dilation_follow_mean_and_maximum) {
    for (int n = 0; n < 60; ++n) {
        Random random(n);
        const int w = 1 + n % 45, h = random.between(1, 12), size = n % 3 * 2 + 1;
        Bytes src(w, h, n % 3, [&](int x, int) { return random.below(3) ? x * 5 % 256 : 0; });
        Bytes brush(w, h, 1, noise(random)), shrunk(w, h, 2), grown(w, h, 0);
        shrunk.fill(noise(random));
        grown.fill([&](int x, int y) { return shrunk(x, y); });
        const Map before = shrunk.payload();
        mat_erode_brush(src, w, h, src.stride, brush, brush.stride, shrunk, shrunk.stride, size,
                        nullptr);
        mat_dilate_brush(src, w, h, src.stride, brush, brush.stride, grown, grown.stride, size,
                         nullptr);
        src.each([&](int x, int y) {
            const int mean = Window(src, x, y, size).mean(), d = before[y * w + x];
            const int most = Window(src, x, y, std::max(w / 2 | 1, 7)).most;
            const int part = most ? (most - mean) * mean * brush(x, y) / (256 * most) : 0;
            EXPECT_EQ(shrunk(x, y), most ? std::min(d, mean - part) : d) << n;
            EXPECT_EQ(grown(x, y), most ? std::max(d, mean + part) : d) << n;
        });
    }
}

TEST(Brush, smoothing_reads_beyond_the_region_and_works_in_place) {
    // A region of 4 x 2 pixels; left of it a column with 0, 90, 180 in its channels.
    int left_and_above[4] = {1, 1, 0, 0};
    Bytes all(3 * 6, 4, 0, [](int x, int) { return x / 3 == 0 ? 90 * (x % 3) : 0; });
    Bytes out(12, 2, 1);
    mat_smooth_brush(&all(3, 1), 4, 2, 18, 3, out, out.stride, 3, nullptr);
    EXPECT_EQ(out.payload(), Map(24, 0));
    mat_smooth_brush(&all(3, 1), 4, 2, 18, 3, out, out.stride, 3, left_and_above);
    EXPECT_EQ(Map(&out(0, 0), &out(6, 0)), (Map{0, 30, 60, 0, 0, 0}));
    mat_smooth_brush(&all(3, 1), 4, 2, 18, 3, &all(3, 1), 18, 2, left_and_above);
    EXPECT_EQ(all(4, 1), 30) << "an even size acts as the next odd one";
}

TEST(Brush, thresholds_fill_where_the_whole_window_agrees) {
    const Map line{10, 10, 10, 128, 200, 200, 200, 250};
    const std::tuple<int, int, int, Map> table[] = {{20, 199, 0, {0, 0, 7, 7, 7, 255, 255, 255}},
                                                    {20, 199, 2, {0, 7, 7, 7, 7, 7, 255, 255}},
                                                    {0, 199, 0, {7, 7, 7, 7, 7, 255, 255, 255}},
                                                    {20, 255, 1, {0, 0, 7, 7, 7, 7, 7, 7}},
                                                    {10, 200, 1, {7, 7, 7, 7, 7, 7, 7, 7}}};
    for (const auto& [low, high, iterations, expected] : table) {
        Map first(8, 7), second(8, 7), shrunk(8, 7);
        mat_brush_threshold(line.data(), 8, 1, 8, first.data(), 8, second.data(), 8,
                            iterations == 2 ? 5 : 3, nullptr, low, high);
        mat_shrink_unknown_mm(line.data(), 8, 1, 8, shrunk.data(), 8, 3, iterations, low, high);
        for (const Map& filled : {first, second, shrunk})
            EXPECT_EQ(filled, expected) << low << ' ' << high;
    }
}

TEST(Brush, only_unknown_pixels_with_two_close_opinions_are_marked_again) {
    const std::tuple<u8, u8, u8, int, int> table[] = {
        {128, 100, 104, 5, 128},    {128, 104, 100, 5, 128}, {128, 100, 105, 5, 105},
        {128, 105, 100, 5, 100},    {127, 100, 100, 5, 100}, {128, 128, 127, 5, 127},
        {128, 90, 90, INT_MIN, 90}, {128, 90, 90, 0, 90},    {128, 0, 255, INT_MAX, 128}};
    for (auto [trimap, first, second, tolerance, expected] : table) {
        mat_rectify_uialpha(&trimap, 1, 1, 1, &first, 1, &second, 1, tolerance);
        EXPECT_EQ(second, expected) << int(first) << ' ' << tolerance;
    }
}

TEST(Brush, the_rectangular_weight_falls_from_its_disc_to_its_corners) {
    Bytes brush(40, 20, 3);
    mat_make_rect_weight(brush, 40, 20, brush.stride, 0.5f);
    for (int x = 20; x < 30; ++x) EXPECT_EQ(brush(x, 10), 255);
    for (int x = 30; x < 40; ++x) EXPECT_LE(brush(x, 10), brush(x - 1, 10));
    EXPECT_EQ(brush(0, 10), int(0.42 / 0.92 * 255 + 0.5));
    mat_make_rect_weight(brush, 40, 20, brush.stride, 0.0f);
    EXPECT_EQ(brush(0, 0), 4);
    EXPECT_EQ(brush(0, 10), 255) << "at radius 1 the fall only begins";
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (float edge : {nan, -0.42f, 1e30f, HUGE_VALF, -HUGE_VALF})
        for (int w : {1, 2, 40}) {
            mat_make_rect_weight(brush, w, 20, brush.stride, edge);
            EXPECT_EQ(brush(w / 2, 10), edge < 1 ? 255 : 0) << edge << ' ' << w;
        }
}

TEST(Brush, strips_are_judged_by_the_worst) {
    // Unknown: a full column at 3 and the corners of the box 3..8 x 1..4.
    Bytes map(12, 6, 2, [](int x, int y) {
        return y >= 1 && y <= 4 && (x == 3 || (x == 8 && (y == 1 || y == 4))) ? 128 : 127;
    });
    const std::tuple<int, int, double> table[] = {
        {0, 0, 1.0}, {1, 0, 1 - 6 / 24.0}, {2, 0, 1 - 4 / 12.0}, {INT_MAX, -3, 1.0},
        {6, 0, 0.0}, {7, 0, 1.0},          {0, 3, 1 - 2 / 6.0},  {2, 4, 1 - 4 / 12.0}};
    for (const auto& [columns, rows, level] : table)
        EXPECT_EQ(mat_estimate_opt_level(map, 12, 6, 14, columns, rows), level) << level;
    EXPECT_EQ(mat_estimate_opt_level(map, 3, 6, map.stride, 1, 1), 0.0) << "none unknown";
}

TEST(Brush, tone_curves_rise_from_black_to_white_around_their_middle) {
    // In the middle stands (g + q (1 - g)) / (1 + g) with g = exp(-0.5 / p); balance moves q from
    // 1/255 to 254/255, steepness p from 0.5 to 0.05.
    for (int steepness : {INT_MIN, 0, 50, 100, INT_MAX})
        for (int balance : {-5, 0, 30, 50, 100, 900}) {
            u8 table[256];
            mat_calc_S_transform(table, steepness, balance);
            EXPECT_TRUE(std::is_sorted(table, table + 256)) << steepness << ' ' << balance;
            EXPECT_EQ(std::pair(table[0], table[255]), std::pair(u8(0), u8(255)));
            const double s = std::sqrt(std::clamp(steepness, 0, 100) / 100.0);
            const double q = (1 + 2.53 * std::clamp(balance, 0, 100)) / 255;
            const double g = std::exp(-0.5 / (0.5 - 0.45 * s));
            EXPECT_NEAR((table[127] + table[128]) / 2.0, 255 * (g + q * (1 - g)) / (1 + g), 1)
                << steepness << ' ' << balance;
        }
}

TEST(Brush, what_is_missing_writes_nothing) {
    Bytes a(5, 5, 0), b(5, 5, 0, [](int, int) { return 255; });
    const auto all = [](u8* src, u8* dst, int w, int h) {
        mat_set_brush(src, w, h, 5, src, 5, dst, 5, dst, 5, 9);
        mat_undo_brush(src, w, h, 5, 1, src, 5, dst, 5, dst, 5, true);
        mat_dilate_brush(src, w, h, 5, src, 5, dst, 5, 3, nullptr);
        mat_smooth_brush(src, w, h, 5, 1, dst, 5, 3, nullptr);
        mat_brush_threshold(src, w, h, 5, dst, 5, dst, 5, 3, nullptr, 255, 0);
        mat_shrink_unknown_mm(src, w, h, 5, dst, 5, 3, 1, 255, 0);
        mat_rectify_uialpha(src, w, h, 5, src, 5, dst, 5, 300);
    };
    all(b, a, INT_MIN, 5);
    all(b, a, 5, 0);
    all(nullptr, a, 5, 5);
    all(b, nullptr, 5, 5);
    for (int channels : {0, INT_MAX}) mat_smooth_brush(b, 5, 5, 5, channels, a, 5, 3, nullptr);
    EXPECT_EQ(a.payload(), Map(25, Bytes::pattern));
}

}  // namespace
