#include "matting/edit/cleanup.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <string>

#include "tests/support/guarded_raster.h"

namespace {

using Map = std::vector<u8>;
using Rows = std::vector<std::string>;

// Pictures as text: . is 0, # 255, ? 128, a digit d 10 d.
struct Drawing : Bytes {
    explicit Drawing(const Rows& rows)
        : Bytes(int(rows[0].size()), int(rows.size()), 3,
                [&](int x, int y) {
                    const char c = rows[y][x];
                    return c == '.' ? 0 : c == '#' ? 255 : c == '?' ? 128 : 10 * (c - '0');
                }),
          w(int(rows[0].size())),
          h(int(rows.size())) {}
    int w, h;
};

// Least, greatest and rounded mean of the k x k window clipped to the picture.
struct Window {
    Window(Bytes& src, int w, int h, int x, int y, int k) {
        int count = 0;
        for (int v = std::max(0, y - k / 2); v <= std::min(h - 1, y + k / 2); ++v) {
            for (int u = std::max(0, x - k / 2); u <= std::min(w - 1, x + k / 2); ++u, ++count) {
                least = std::min<int>(least, src.at(u, v)),
                most = std::max<int>(most, src.at(u, v));
                mean += src.at(u, v);
            }
        }
        mean = (mean + count / 2) / count;
    }
    int least = 255, most = 0, mean = 0;
};

// In the first and the last column the own column counts three times.
int mean_3x3(Bytes& src, int w, int h, int x, int y) {
    int sum = 0;
    for (int k = 0; k < 9; ++k) {
        const int column = x == 0 || x == w - 1 ? x : x + k % 3 - 1;
        sum += src.at(column, std::clamp(y + k / 3 - 1, 0, h - 1));
    }
    return (sum + 4) / 9;
}

TEST(Cleanup, erosion_and_dilation_follow_their_formula) {
    Random random(41);
    for (int n = 0; n < 120; ++n) {
        const int w = 1 + n % 40, h = random.between(1, 14);
        const int size = std::vector<int>{1, 2, 3, 5, 8, 31, 1000000001}[n % 7];
        const bool erode = n % 2;
        // Plateaus of 0 and 255 with noise between.
        Bytes src(w, h, n % 4, [&](int x, int) {
            return x < 12 ? 0 : x > 25 ? 255 : random.below(n + 2);
        });
        Bytes dst(w, h, n % 3);
        (erode ? mat_smooth_boundary : mat_dilate)(src.data(), w, h, src.stride(), dst.data(),
                                                   dst.stride(), size);
        for (int i = 0; i < w * h; ++i) {
            const int x = i % w, y = i / w;
            const Window ranks(src, w, h, x, y, 7);
            const int mean = (size | 1) == 3 ? mean_3x3(src, w, h, x, y)
                                             : Window(src, w, h, x, y, std::min(size | 1, 99)).mean;
            const double top = ranks.most, r = mean / top, t = 1 - r;
            const double e = std::max(1.0, 2 - r - std::min(ranks.least, 32) / 64.0);
            const double value = erode ? std::pow(r, e) : 1 - t * t;
            // Single precision and the C library's powf may differ in the last bit.
            const int expected = top == 0 ? 0 : int(value * top + 0.5);
            ASSERT_LE(std::abs(int(u8(expected)) - dst.at(x, y)), top != 0) << "case " << n;
        }
        const Map apart = dst.payload();
        _erode_dilate(src.data(), w, h, src.stride(), src.data(), src.stride(), size, erode,
                      nullptr);
        ASSERT_EQ(src.payload(), apart) << "in place";
    }
}

TEST(Cleanup, plateaus_survive_and_a_size_below_one_copies) {
    for (int size : {0, -1, INT_MIN, 1, 3, 15}) {
        Bytes src(40, 9, 2, [](int x, int) { return x < 20 ? 0 : 255; }), dst(40, 9, 0);
        mat_smooth_boundary(src.data(), 40, 9, src.stride(), dst.data(), 40, size);
        for (int x = 0; x < 40; ++x) {
            if (size < 2 || x < 20 - size / 2 || x >= 20 + size / 2)
                EXPECT_EQ(dst.at(x, 4), src.at(x, 4)) << size << " at " << x;
            else
                EXPECT_LE(dst.at(x, 4), x < 20 ? 127 : 254) << size << " at " << x;
        }
    }
}

TEST(Cleanup, the_rank_window_grows_with_the_picture) {
    // 1920 x 1080 has a window of 13: what lies more than 6 pixels from the block becomes 0.
    Bytes src(1920, 1080, 0, [](int x, int y) { return x / 20 == 48 && y / 20 == 20 ? 255 : 0; });
    mat_dilate(src.data(), 1920, 1080, 1920, src.data(), 1920, 31);
    EXPECT_GT(src.at(960 - 6, 410), 0);
    EXPECT_EQ(src.at(960 - 7, 410), 0);
    EXPECT_GT(src.at(979 + 6, 410), 0);
    EXPECT_EQ(src.at(979 + 7, 410), 0);
}

TEST(Cleanup, three_by_three_mean_counts_edge_columns_three_times) {
    Random random(42);
    for (int w = 1; w <= 40; ++w) {
        const int h = 1 + w % 5;
        Bytes src(w, h, w % 3, noise(random));
        Ints dst(w, h, w % 4);
        mean_filter_3x3(src.data(), w, h, src.stride(), dst.data(), dst.stride());
        for (int i = 0; i < w * h; ++i)
            ASSERT_EQ(dst.at(i % w, i / w), mean_3x3(src, w, h, i % w, i / w)) << w;
    }
    const Drawing line({".1.", ".1."});
    Ints dst(3, 2, 1);
    mean_filter_3x3(const_cast<Drawing&>(line).data(), 3, 2, 6, dst.data(), 4);
    EXPECT_EQ(dst.payload(), (std::vector<int>{0, 3, 0, 0, 3, 0}));
}

TEST(Cleanup, only_the_largest_components_stay_and_ties_with_them) {
    const Rows islands{"##..5.1", "##..5..", "...5...", "#2..###"};
    const struct {
        int threshold, keep;
        Rows expected;
    } table[] = {{0, 1, {"##.....", "##.....", ".......", "......."}},
                 {0, 2, {"##.....", "##.....", ".......", "....###"}},
                 {0, 3, {"##..5..", "##..5..", ".......", "#2..###"}},  // two of size 2
                 {0, 6, islands},
                 {0, 99, islands},
                 {0, 0, islands},
                 {0, -1, islands},
                 {20, 3, {"##..5.1", "##..5..", ".......", ".2..###"}},  // what is not above stays
                 {254, 1, {"##..5.1", "##..5..", "...5...", ".2....."}},
                 {255, 1, islands}};
    for (const auto& t : table) {
        Drawing map(islands);
        vm_erase_small_cc(map.data(), map.w, map.h, map.stride(), u8(t.threshold), t.keep);
        EXPECT_EQ(map.payload(), Drawing(t.expected).payload()) << t.threshold << ' ' << t.keep;
    }
}

TEST(Cleanup, regions_without_a_confident_reference_are_removed) {
    const Rows map{"55.9.", "55.9.", ".....", "##.55"};
    const struct {
        Rows ref;
        int threshold;
        Rows expected;
    } table[] = {{{"?????", "?????", "?????", "?????"}, 50, {".....", ".....", ".....", "....."}},
                 {{"?#...", "...5.", "#####", "?..?#"}, 50, {"55...", "55...", ".....", "...55"}},
                 {{"#####", ".....", ".....", "....."}, 51, {"55.9.", "55.9.", ".....", "...55"}},
                 {{"1....", ".....", ".....", "....."}, -5, map},
                 {{"#....", ".....", ".....", "....."}, 999, {".....", ".....", ".....", "....."}}};
    for (const auto& t : table) {
        Drawing src(map), ref(t.ref), dst(map);
        mat_remove_isolated(src.data(), 5, 4, src.stride(), ref.data(), ref.stride(), dst.data(),
                            dst.stride(), t.threshold);
        EXPECT_EQ(dst.payload(), Drawing(t.expected).payload()) << t.threshold;
        mat_remove_isolated(src.data(), 5, 4, src.stride(), ref.data(), ref.stride(), src.data(),
                            src.stride(), t.threshold);
        EXPECT_EQ(src.payload(), dst.payload()) << "in place";
    }
}

TEST(Cleanup, unknown_fragments_take_the_class_around_them) {
    const struct {
        Rows before, after;
    } table[] = {
        {{"......", ".??...", "..?...", "......"}, {"......", "......", "......", "......"}},
        {{"######", "#??###", "##?###", "######"}, {"######", "######", "######", "######"}},
        {{"...###", ".????#", "......", "######"}, {"...###", ".????#", "......", "######"}},
        {{"......", ".?5...", "......", "......"}, {"......", ".?5...", "......", "......"}},
        {{"?#####", "#?####", "######", "#???##"}, {".#####", "######", "######", "#...##"}},
        {{"?????", "?????", "?????"}, {"?????", "?????", "?????"}},
        {{"??", "??", "#?"}, {"..", "..", "#."}}};
    for (const auto& t : table) {
        Drawing map(t.before);
        mat_erase_unknown_fragment(map.data(), map.w, map.h, map.stride(), 20, 200);
        EXPECT_EQ(map.payload(), Drawing(t.after).payload()) << t.before[0] << ' ' << t.before[1];
    }
    // Classes by their limits, seen by the fragment in the middle: below 100 background, above 200
    // foreground.
    for (int v = 0; v < 256; ++v) {
        Bytes map(5, 5, 0, [&](int x, int y) { return x == 2 && y == 2 ? 128 : v; });
        mat_erase_unknown_fragment(map.data(), 5, 5, 5, 100, 200);
        EXPECT_EQ(map.at(2, 2), v < 100 ? 0 : v > 200 ? 255 : 128) << v;
    }
}

TEST(Cleanup, rows_lie_right_beyond_two_gigabytes_and_null_writes_nothing) {
    FarRows far(4), ref(4);
    const int stride = FarRows::stride;
    for (int x = 0; x < 4; ++x) far.at(x, 3) = far.at(x, 2) = 255;
    Map values;
    mat_smooth_boundary(far.data, 4, 4, stride, far.data, stride, 3);
    values.push_back(far.at(2, 3));
    vm_erase_small_cc(far.data, 4, 4, stride, 0, 1);
    values.push_back(far.at(2, 3));
    mat_remove_isolated(far.data, 4, 4, stride, ref.data, stride, far.data, stride, 9);
    values.push_back(far.at(2, 3));
    far.at(2, 3) = 128;
    mat_erase_unknown_fragment(far.data, 4, 4, stride, 9, 99);
    values.push_back(far.at(2, 3));
    EXPECT_EQ(values, (Map{255, 255, 0, 0}));
    Bytes a(3, 3, 0), b(3, 3, 0);
    Ints means(3, 3, 0);
    for (int n : {0, -9}) {
        mat_smooth_boundary(a.data(), n, 3, 3, b.data(), 3, 3);
        mat_dilate(a.data(), 3, n, 3, b.data(), 3, 3);
        mat_remove_isolated(a.data(), n, 3, 3, a.data(), 3, b.data(), 3, 9);
        vm_erase_small_cc(b.data(), 3, n, 3, 0, 1);
        mat_erase_unknown_fragment(b.data(), n, 3, 3, 9, 99);
        mean_filter_3x3(a.data(), n, 3, 3, means.data(), 3);
    }
    mat_smooth_boundary(nullptr, 3, 3, 3, b.data(), 3, 3);
    mat_dilate(a.data(), 3, 3, 3, nullptr, 3, 3);
    mat_remove_isolated(nullptr, 3, 3, 3, a.data(), 3, b.data(), 3, 9);
    mat_remove_isolated(a.data(), 3, 3, 3, nullptr, 3, b.data(), 3, 9);
    mat_remove_isolated(a.data(), 3, 3, 3, a.data(), 3, nullptr, 3, 9);
    vm_erase_small_cc(nullptr, 3, 3, 3, 0, 1);
    mat_erase_unknown_fragment(nullptr, 3, 3, 3, 9, 99);
    mean_filter_3x3(nullptr, 3, 3, 3, means.data(), 3);
    mean_filter_3x3(a.data(), 3, 3, 3, nullptr, 3);
    EXPECT_EQ(b.payload(), Map(9, Bytes::pattern));
    EXPECT_EQ(means.at(2, 2), Ints::pattern);
}

}  // namespace
