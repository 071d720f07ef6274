#include "matting/edit/brush.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "tests/support/guarded_raster.h"

namespace {

int floor_div_256(int v) { return int(std::floor(v / 256.0)); }

TEST(Brush, a_dab_sets_towards_the_value_and_a_weaker_one_changes_nothing) {
    const auto dab = [](int alpha, int value, int brush, int applied, int was) {
        u8 a = u8(alpha), b = u8(brush), w = u8(applied), d = u8(was);
        mat_set_brush(&a, 1, 1, 1, &b, 1, &w, 1, &d, 1, u8(value));
        return std::pair(int(d), int(w));
    };
    EXPECT_EQ(dab(0, 255, 255, 0, 7), std::pair(254, 255));
    EXPECT_EQ(dab(200, 0, 255, 0, 7), std::pair(1, 255));
    for (int n = 0; n < 5000; ++n) {
        Random random(n);
        const int a = random.below(256), v = random.below(256), b = random.below(256);
        const int w = random.below(256);
        const int moved = a + floor_div_256((v - a) * b + 128);
        ASSERT_EQ(dab(a, v, b, w, 7), w < b ? std::pair(moved, b) : std::pair(7, w)) << n;
    }
}

TEST(Brush, undo_moves_all_channels_and_converges_to_the_saved_copy) {
    Random random(8);
    Bytes saved(3 * 9, 6, 2, noise(random)), dst(3 * 9, 6, 1, noise(random));
    Bytes brush(9, 6, 0, noise(random, 128, 255)), applied(9, 6, 4, [](int, int) { return 0; });
    const auto undo = [&](int channels, bool record) {
        mat_undo_brush(saved, 9, 6, saved.stride, channels, brush, 9, applied, applied.stride, dst,
                       dst.stride, record);
    };
    const int from = dst(13, 3), to = saved(13, 3), weight = brush(4, 3);
    undo(3, true);
    EXPECT_EQ(dst(13, 3), from + floor_div_256((to - from) * weight + 127));
    EXPECT_EQ(applied.payload(), brush.payload());
    const Map once = dst.payload();
    undo(3, true);
    EXPECT_EQ(dst.payload(), once) << "the same stroke again";
    for (int stroke = 0; stroke < 20; ++stroke) {
        applied.fill([](int, int) { return 0; });
        undo(3, false);
    }
    EXPECT_EQ(applied.payload(), Map(54, 0)) << "not recorded";
    EXPECT_EQ(dst.payload(), saved.payload());
    applied.fill([](int, int) { return 200; });
    mat_undo_brush(nullptr, 9, 6, 0, 0, brush, 9, applied, applied.stride, nullptr, 0, true);
    for (int x = 0; x < 9; ++x) EXPECT_EQ(applied(x, 2), std::max<int>(200, brush(x, 2)));
}

TEST(Brush, erosion_and_dilation_follow_mean_and_maximum) {
    for (int n = 0; n < 60; ++n) {
        Random random(n);
        const int w = 1 + n % 45, h = random.between(1, 12), size = n % 3 * 2 + 1;
        const int k = std::max(w / 2 | 1, 7) / 2, r = size / 2;
        Bytes src(w, h, n % 3, [&](int x, int) { return random.below(3) ? x * 5 % 256 : 0; });
        Bytes brush(w, h, 1, noise(random)), shrunk(w, h, 2, noise(random)), grown(w, h, 0);
        grown.fill([&](int x, int y) { return shrunk(x, y); });
        const Map before = shrunk.payload();
        mat_erode_brush(src, w, h, src.stride, brush, brush.stride, shrunk, shrunk.stride, size,
                        nullptr);
        mat_dilate_brush(src, w, h, src.stride, brush, brush.stride, grown, grown.stride, size,
                         nullptr);
        for (int i = 0; i < w * h; ++i) {
            int sum = 0, count = 0, most = 0;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const int away = std::max(std::abs(x - i % w), std::abs(y - i / w));
                    if (away <= r) sum += src(x, y), ++count;
                    if (away <= k) most = std::max<int>(most, src(x, y));
                }
            const int mean = (sum + count / 2) / count, d = before[i], b = brush(i % w, i / w);
            const double part = most ? double((most - mean) * mean * b) / (256 * most) : 0;
            ASSERT_EQ(shrunk(i % w, i / w), most ? std::min<int>(d, mean - int(part)) : d) << n;
            ASSERT_EQ(grown(i % w, i / w), most ? std::max<int>(d, mean + int(part)) : d) << n;
        }
    }
}

TEST(Brush, smoothing_reads_beyond_the_region_and_works_in_place) {
    Bytes all(3 * 6, 4, 0, [](int x, int) { return x / 3 == 0 ? 90 * (x % 3) : 0; });
    int border[4] = {1, 9, -1, 0};
    u8* region = &all(3, 1);  // 4 x 2 pixels
    Bytes out(12, 2, 1);
    int above[4] = {1, 1, 0, 0};
    mat_smooth_brush(region, 4, 2, 18, 3, out, out.stride, 3, above);
    EXPECT_EQ(Map(&out(0, 0), &out(6, 0)), (Map{0, 30, 60, 0, 0, 0}));
    mat_smooth_brush(region, 4, 2, 18, 3, out, out.stride, 3, nullptr);
    EXPECT_EQ(out.payload(), Map(24, 0));
    border[1] = 1;
    const Map before = all.payload();
    mat_smooth_brush(region, 4, 2, 18, 3, region, 18, 2, border);
    EXPECT_EQ(all(4, 1), 30) << "an even size acts as the next odd one";
    EXPECT_EQ(all(4 + 12, 1), before[18 + 16]) << "outside";
}

TEST(Brush, thresholds_fill_where_the_whole_window_agrees) {
    const Map line{10, 10, 10, 128, 200, 200, 200, 250};
    const struct {
        int low, high;
        Map expected;
    } table[] = {{20, 199, {0, 0, 7, 7, 7, 255, 255, 255}},
                 {0, 199, {7, 7, 7, 7, 7, 255, 255, 255}},
                 {20, 255, {0, 0, 7, 7, 7, 7, 7, 7}},
                 {10, 250, {7, 7, 7, 7, 7, 7, 7, 7}},
                 {0, 255, {7, 7, 7, 7, 7, 7, 7, 7}}};
    for (const auto& t : table) {
        Map first(8, 7), second(8, 7), shrunk(8, 7);
        mat_brush_threshold(line.data(), 8, 1, 8, first.data(), 8, second.data(), 8, 3, nullptr,
                            u8(t.low), u8(t.high));
        EXPECT_EQ(first, t.expected) << t.low << ' ' << t.high;
        EXPECT_EQ(second, t.expected);
        mat_shrink_unknown_mm(line.data(), 8, 1, 8, shrunk.data(), 8, 3, 0, u8(t.low), u8(t.high));
        EXPECT_EQ(shrunk, t.expected);
    }
    Map twice(8, 7);
    mat_shrink_unknown_mm(line.data(), 8, 1, 8, twice.data(), 8, 3, 2, 20, 199);
    EXPECT_EQ(twice, (Map{0, 7, 7, 7, 7, 7, 255, 255}));
}

TEST(Brush, only_unknown_pixels_with_two_close_opinions_are_marked_again) {
    const struct {
        int trimap, first, second, tolerance, expected;
    } table[] = {{128, 100, 104, 5, 128},    {128, 104, 100, 5, 128}, {128, 100, 105, 5, 105},
                 {128, 105, 100, 5, 100},    {127, 100, 100, 5, 100}, {128, 128, 127, 5, 127},
                 {128, 127, 128, 5, 128},    {128, 90, 90, 0, 90},    {128, 90, 90, INT_MIN, 90},
                 {128, 0, 255, INT_MAX, 128}};
    for (const auto& t : table) {
        const u8 trimap = u8(t.trimap), first = u8(t.first);
        u8 second = u8(t.second);
        mat_rectify_uialpha(&trimap, 1, 1, 1, &first, 1, &second, 1, t.tolerance);
        EXPECT_EQ(second, t.expected) << t.first << ' ' << t.second << ' ' << t.tolerance;
    }
}

TEST(Brush, the_rectangular_weight_falls_from_its_disc_to_its_corners) {
    Bytes brush(40, 20, 3);
    mat_make_rect_weight(brush, 40, 20, brush.stride, 0.5f);
    EXPECT_EQ(brush(20, 10), 255);
    EXPECT_EQ(brush(20 + 9, 10), 255);
    for (int x = 21; x < 40; ++x) EXPECT_LE(brush(x, 10), brush(x - 1, 10));
    EXPECT_EQ(brush(0, 10), int(0.42 / 0.92 * 255 + 0.5));
    mat_make_rect_weight(brush, 40, 20, brush.stride, 0.0f);
    EXPECT_EQ(brush(0, 0), 4);
    EXPECT_EQ(brush(0, 10), 255) << "at radius 1 the fall only begins";
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (float edge : {nan, -0.42f, -1e30f, 1e30f, HUGE_VALF, -HUGE_VALF})
        for (int w : {1, 2, 3, 40}) {
            mat_make_rect_weight(brush, w, 20, brush.stride, edge);
            EXPECT_EQ(brush(w / 2, 10), edge < 1 ? 255 : 0) << edge << ' ' << w;
        }
}

TEST(Brush, strips_are_judged_by_the_worst) {
    // Unknown: a full column at 3 and the corners of the box 3..8 x 1..4.
    Bytes map(12, 6, 2, [](int x, int y) {
        return y >= 1 && y <= 4 && (x == 3 || (x == 8 && (y == 1 || y == 4))) ? 128 : 127;
    });
    const struct {
        int columns, rows;
        double level;
    } table[] = {{0, 0, 1.0},         {1, 0, 1 - 6 / 24.0}, {2, 0, 1 - 4 / 12.0},
                 {6, 0, 0.0},         {7, 0, 1.0},          {0, 4, 1 - 2 / 6.0},
                 {0, 3, 1 - 2 / 6.0}, {2, 4, 1 - 4 / 12.0}, {INT_MAX, -3, 1.0}};
    for (const auto& t : table)
        EXPECT_EQ(mat_estimate_opt_level(map, 12, 6, map.stride, t.columns, t.rows), t.level)
            << t.columns << ' ' << t.rows;
    EXPECT_EQ(mat_estimate_opt_level(nullptr, 12, 6, 14, 1, 1), 1.0);
    EXPECT_EQ(mat_estimate_opt_level(map, 3, 6, map.stride, 1, 1), 0.0);
    EXPECT_EQ(mat_estimate_opt_level(map, -3, 6, map.stride, 1, 1), 0.0);
}

TEST(Brush, tone_curves_rise_from_black_to_white_around_their_middle) {
    u8 table[256], before[256];
    for (int steepness : {INT_MIN, 0, 50, 100, INT_MAX})
        for (int balance : {-5, 0, 30, 50, 100, 900}) {
            mat_calc_S_transform(table, steepness, balance);
            EXPECT_TRUE(std::is_sorted(table, table + 256)) << steepness << ' ' << balance;
            EXPECT_EQ(table[0], 0);
            EXPECT_EQ(table[255], 255);
        }
    // In the middle stands (g + q (1 - g)) / (1 + g) with g = exp(-0.5 / p); balance moves q from
    // 1/255 to 254/255, steepness p from 0.5 to 0.05.
    for (double p : {0.5, 0.05})
        for (int balance : {0, 100}) {
            mat_calc_S_transform(table, p == 0.5 ? 0 : 100, balance);
            const double g = std::exp(-0.5 / p), q = balance ? 254 / 255.0 : 1 / 255.0;
            EXPECT_NEAR((table[127] + table[128]) / 2.0, 255 * (g + q * (1 - g)) / (1 + g), 1) << p;
        }
    mat_calc_S_transform(before, 100, 50);
    mat_calc_S_transform(table, 0, 50);
    EXPECT_GT(before[160], table[160]) << "steeper";
    mat_calc_S_transform(nullptr, 50, 50);
}

TEST(Brush, what_is_missing_writes_nothing) {
    Bytes a(5, 5, 0), b(5, 5, 0, [](int, int) { return 255; });
    const auto all = [](u8* src, u8* brush, u8* dst, int w, int h) {
        mat_set_brush(src, w, h, 5, brush, 5, dst, 5, dst, 5, 9);
        mat_undo_brush(src, w, h, 5, 1, brush, 5, dst, 5, dst, 5, true);
        mat_erode_brush(src, w, h, 5, brush, 5, dst, 5, 3, nullptr);
        mat_dilate_brush(src, w, h, 5, brush, 5, dst, 5, 3, nullptr);
        if (brush) mat_smooth_brush(src, w, h, 5, 1, dst, 5, 3, nullptr);
        if (brush) mat_brush_threshold(src, w, h, 5, dst, 5, dst, 5, 3, nullptr, 255, 0);
        if (brush) mat_shrink_unknown_mm(src, w, h, 5, dst, 5, 3, 1, 255, 0);
        mat_rectify_uialpha(brush, w, h, 5, src, 5, dst, 5, 300);
        if (src && brush) mat_make_rect_weight(dst, w, h, 5, 0);
    };
    for (int n : {0, -1, INT_MIN}) {
        all(b, b, a, n, 5);
        all(b, b, a, 5, n);
    }
    all(nullptr, b, a, 5, 5);
    all(b, nullptr, a, 5, 5);
    all(b, b, nullptr, 5, 5);
    mat_smooth_brush(b, 5, 5, 5, 0, a, 5, 3, nullptr);
    mat_smooth_brush(b, 5, 5, 5, INT_MAX, a, 5, 3, nullptr);
    EXPECT_EQ(a.payload(), Map(25, Bytes::pattern));
}

}  // namespace
