#include "matting/edit/cleanup.h"

#include <climits>
#include <cmath>
#include <string>
#include <tuple>

#include "tests/support/guarded_raster.h"

namespace {

using Rows = std::vector<std::string>;

// Pictures as text: . is 0, # 255, ? 128, a digit d 10 d.
struct Drawing : Bytes {
    explicit Drawing(const Rows& rows)
        : Bytes(int(rows[0].size()), int(rows.size()), 3, [&](int x, int y) {
              const char c = rows[y][x];
              return c == '.' ? 0 : c == '#' ? 255 : c == '?' ? 128 : 10 * (c - '0');
          }) {}
};

TEST(Cleanup, erosion_and_dilation_follow_their_formula) {
    Random random(41);
    for (int n = 0; n < 120; ++n) {
        const int w = 1 + n % 40, h = random.between(1, 14);
        const int size = std::vector<int>{INT_MIN, 0, 1, 2, 3, 5, 8, 31, 1000000001}[n % 9];
        const bool erode = n % 2;
        Bytes src(w, h, n % 4,  // plateaus of 0 and 255 with noise between
                  [&](int x, int) { return x < 12   ? 0
                                           : x > 25 ? 255
                                                    : random.below(n + 2); });
        Bytes dst(w, h, n % 3);
        Ints means(w, h, n % 4);
        (erode ? mat_smooth_boundary : mat_dilate)(src, w, h, src.stride, dst, dst.stride, size);
        mean_filter_3x3(src, w, h, src.stride, means, means.stride);
        dst.each([&](int x, int y) {
            const Window ranks(src, x, y, 7), box(src, x, y, std::clamp(size | 1, 1, 99));
            // In the first and the last column the own column counts three times.
            const auto sample = [&](int u, int v) {
                return int(src(x == 0 || x == w - 1 ? x : u, std::clamp(v, 0, h - 1)));
            };
            const int beyond[] = {1, 1, 1, 1};
            const int mean = Window(sample, w, h, x, y, 3, 3, beyond).mean();
            ASSERT_EQ(means(x, y), mean) << "case " << n;
            const double top = ranks.most;
            const double r = ((size | 1) == 3 ? mean : box.mean()) / top, t = 1 - r;
            const double e = std::max(1.0, 2 - r - std::min(ranks.least, 32) / 64.0);
            const double value = erode ? std::pow(r, e) : 1 - t * t;
            // Single precision and the C library's powf may move the last bit of a byte. A mean
            // over more than the rank window may exceed the maximum and wraps.
            const u8 expected = size < 1 ? src(x, y) : top == 0 ? 0 : u8(int(value * top + 0.5));
            ASSERT_LE(std::abs(expected - dst(x, y)), size > 0 && top != 0) << "case " << n;
        });
        const Map apart = dst.payload();
        _erode_dilate(src, w, h, src.stride, src, src.stride, size, erode, nullptr);
        ASSERT_EQ(src.payload(), apart) << "in place";
    }
}

TEST(Cleanup, the_rank_window_grows_with_the_picture) {
    // 13 at 1920 x 1080: what lies further than 6 from the block becomes 0.
    Bytes wide(1920, 1080, 0, [](int x, int y) { return x / 20 == 48 && y / 20 == 20 ? 255 : 0; });
    mat_dilate(wide, 1920, 1080, 1920, wide, 1920, 31);
    EXPECT_TRUE(wide(960 - 6, 410) && !wide(960 - 7, 410) && wide(985, 410) && !wide(986, 410));
}

TEST(Cleanup, only_the_largest_components_stay_and_ties_with_them) {
    const Rows islands{"##..5.1", "##..5..", "...5...", "#2..###"};
    const std::tuple<int, int, Rows> table[] = {
        {0, 1, {"##.....", "##.....", ".......", "......."}},
        {0, 3, {"##..5..", "##..5..", ".......", "#2..###"}},  // two of size 2
        {0, 99, islands},
        {0, -1, islands},
        {20, 3, {"##..5.1", "##..5..", ".......", ".2..###"}},  // what is not above stays
        {254, 1, {"##..5.1", "##..5..", "...5...", ".2....."}},
        {255, 1, islands}};
    for (const auto& [threshold, keep, expected] : table) {
        Drawing map(islands);
        vm_erase_small_cc(map, map.w, map.h, map.stride, u8(threshold), keep);
        EXPECT_EQ(map.payload(), Drawing(expected).payload()) << threshold << ' ' << keep;
    }
}

TEST(Cleanup, regions_without_a_confident_reference_are_removed) {
    const Rows map{"55.9.", "55.9.", ".....", "##.55"}, none(4, ".....");
    const std::tuple<Rows, int, Rows> table[] = {
        {Rows(4, "?????"), 50, none},
        {{"?#...", "...5.", "#####", "?..?#"}, 50, {"55...", "55...", ".....", "...55"}},
        {{"#####", ".....", ".....", "....."}, 51, {"55.9.", "55.9.", ".....", "...55"}},
        {{"1....", ".....", ".....", "....."}, -5, map},
        {{"#....", ".....", ".....", "....."}, 999, none}};
    for (const auto& [confident, threshold, expected] : table) {
        Drawing src(map), ref(confident), dst(map);
        mat_remove_isolated(src, 5, 4, src.stride, ref, ref.stride, dst, dst.stride, threshold);
        EXPECT_EQ(dst.payload(), Drawing(expected).payload()) << threshold;
        mat_remove_isolated(src, 5, 4, src.stride, ref, ref.stride, src, src.stride, threshold);
        EXPECT_EQ(src.payload(), dst.payload()) << "in place";
    }
}

TEST(Cleanup, unknown_fragments_take_the_class_around_them) {
    const Rows table[][2] = {
        {{"......", ".??...", "..?..."}, Rows(3, "......")},
        {{"######", "#??###", "##?###"}, Rows(3, "######")},
        {{"...###", ".????#", "......"}, {"...###", ".????#", "......"}},
        {{"?#####", "#?####", "######", "#???##"}, {".#####", "######", "######", "#...##"}},
        {Rows(3, "?????"), Rows(3, "?????")},
        {{"??", "??", "#?"}, {"..", "..", "#."}}};
    for (const auto& [before, after] : table) {
        Drawing map(before);
        mat_erase_unknown_fragment(map, map.w, map.h, map.stride, 20, 200);
        EXPECT_EQ(map.payload(), Drawing(after).payload()) << before[0] << ' ' << before[1];
    }
    for (int v = 0; v < 256; ++v) {
        Bytes map(5, 5, 0, [&](int x, int y) { return x == 2 && y == 2 ? 128 : v; });
        mat_erase_unknown_fragment(map, 5, 5, 5, 100, 200);
        EXPECT_EQ(map(2, 2), v < 100 ? 0 : v > 200 ? 255 : 128) << v;
    }
}

TEST(Cleanup, sums_that_wrap_end_as_bytes) {
    constexpr int n = 2950;  // 255 n n is beyond an int
    Bytes map(n, n, 0, [](int, int) { return 255; });
    mat_smooth_boundary(map, n, n, n, map, n, INT_MAX);
    EXPECT_EQ(map(n / 2, n / 2), 0);
}

}  // namespace
