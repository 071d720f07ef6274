#include "matting/trimap/trimap.h"

#include <climits>
#include <cmath>
#include <limits>

#include "ff/components_color.h"
#include "matting/trimap/distance_transform.h"
#include "tests/support/guarded_raster.h"

namespace {

using Map = std::vector<u8>;

struct Scene {
    Scene(int width, int height, unsigned seed)
        : w(width), h(height), random(seed), seg(w, h, 3), img(3 * w, h, 2, noise(random)) {
        seg.fill([](int, int) { return 0; });
    }
    void rectangle(int x0, int y0, int x1, int y1, u8 value) {
        for (int y = std::max(0, y0); y < std::min(h, y1); ++y)
            for (int x = std::max(0, x0); x < std::min(w, x1); ++x) seg.at(x, y) = value;
    }
    void random_regions() {
        for (int n = random.between(1, 7); n > 0; --n) {
            const int x = random.between(-5, w), y = random.between(-5, h);
            const u8 values[] = {0, 255, 255, 255, 100, 128};
            rectangle(x, y, x + random.between(1, 16), y + random.between(1, 16),
                      values[random.below(6)]);
        }
    }
    // The union of the squares of all boundary pixels; `half` turns a region's half-width into that
    // of the pixel. Boundary pixels are 255 beside another value.
    template <class Half>
    Map squares(int max_band, double scale, Half half) {
        std::vector<int> label(w * h);
        std::vector<double> inner(
            ff::ipf_connected_component(seg.data(), w, h, seg.stride(), label.data(), w));
        const std::unique_ptr<float[]> d(DPLMatting_MakeDTInput(seg.data(), w, h, seg.stride()));
        DistanceTransform(d.get(), w, h);
        for (int i = 0; i < w * h; ++i) inner[label[i]] = std::max(inner[label[i]], double(d[i]));
        Map map = seg.payload();
        for (int i = 0; i < w * h; ++i) {
            const int x = i % w, y = i / w, l = label[i];
            const bool boundary = (x > 0 && label[i - 1] != l) ||
                                  (x < w - 1 && label[i + 1] != l) ||
                                  (y > 0 && label[i - w] != l) || (y < h - 1 && label[i + w] != l);
            if (!boundary || seg.at(x, y) != 255) continue;
            const int r =
                half(dpl_pt2di{x, y}, int(std::min(std::sqrt(inner[l]) * scale, double(max_band))));
            for (int v = std::max(0, y - r); v < std::min(h, y + r); ++v)
                for (int u = std::max(0, x - r); u < std::min(w, x + r); ++u) map[v * w + u] = 128;
        }
        return map;
    }
    Map short_form(int max_band, double scale) {
        Bytes trimap(w, h, 5);
        MakeTrimapFromSegRes(seg.data(), w, h, seg.stride(), trimap.data(), trimap.stride(),
                             max_band, scale);
        return trimap.payload();
    }
    Map long_form(int max_band, double scale, int step, u8 lo, u8 hi, int min_band) {
        Bytes trimap(w, h, 1);
        MakeTrimapFromSegRes(img.data(), w, h, img.stride(), seg.data(), seg.stride(),
                             trimap.data(), trimap.stride(), max_band, scale, step, lo, hi,
                             min_band);
        return trimap.payload();
    }
    // Half-width by the colours on the border of the region's square around pt.
    int contrast_half(dpl_pt2di pt, int b, int step, double lo, double hi, int least, int most) {
        const int x0 = std::max(pt.x - b, 0), x1 = std::min(pt.x + b, w) - 1;
        const int y0 = std::max(pt.y - b, 0), y1 = std::min(pt.y + b, h) - 1;
        std::vector<const u8*> side[2];
        const auto visit = [&](int x, int y) {
            side[seg.at(x, y) == 255].push_back(&img.at(3 * x, y));
        };
        if (x0 <= x1 && y0 <= y1) {
            for (int x = x0; x <= x1; ++x) visit(x, y0);
            for (int y = y0; y <= y1; ++y) visit(x1, y);
            for (int x = x1; x >= x0; --x) visit(x, y1);
            for (int y = y1; y >= y0; --y) visit(x0, y);
        }
        double d = -2147483648.0;
        for (std::size_t i = 0; i < side[1].size(); i += step) {
            for (std::size_t j = 0; j < side[0].size(); j += step) {
                int sum = 0;
                for (int c = 0; c < 3; ++c)
                    sum += (side[1][i][c] - side[0][j][c]) * (side[1][i][c] - side[0][j][c]);
                d = std::max(d, double(sum));
            }
        }
        const double q = (d - lo) / (hi - lo),
                     t = std::isnan(q) ? 0 : std::min(std::max(q, 0.0), 1.0);
        return int(t * (most - least) + 0.5) + least;
    }

    int w, h;
    Random random;
    Bytes seg, img;
};

TEST(Trimap, band_is_the_union_of_the_boundary_pixels_squares) {
    for (int n = 0; n < 150; ++n) {
        Scene s(1 + n % 40, 1 + n * 7 % 31, n);
        s.random_regions();
        const int max_band = n % 11 - 1, most = n % 9, least = n % 5 - 1, step = n % 4;
        const double scale = n % 6 * 0.37;
        ASSERT_EQ(s.short_form(max_band, scale), s.squares(max_band, scale, [](dpl_pt2di, int b) {
            return b;
        })) << n;
        const u8 lo = u8(n * 5 % 90), hi = n % 10 ? u8(60 + n) : lo;
        ASSERT_EQ(s.long_form(most, scale, step, lo, hi, least),
                  s.squares(most, scale,
                            [&](dpl_pt2di pt, int b) {
                                return s.contrast_half(pt, b, std::max(step, 1), 3 * lo * lo,
                                                       3 * hi * hi, least, most);
                            }))
            << n;
    }
}

TEST(Trimap, a_subject_at_the_pictures_edge_gets_no_band_there) {
    Scene s(20, 9, 1);
    s.rectangle(0, 0, 10, 9, 255);
    const Map map = s.short_form(3, 1.0);
    for (int i = 0; i < 20 * 9; ++i) {
        const int x = i % 20;
        EXPECT_EQ(map[i], x >= 6 && x < 12 ? 128 : x < 10 ? 255 : 0) << x;
    }
}

TEST(Trimap, the_long_band_widens_with_the_contrast) {
    // Differences of 5 and 50 a channel are the ends; 30 lies at 2625 / 7425 of the way.
    const struct {
        int difference, low, high, half;
    } table[] = {{0, 5, 50, 1},  {5, 5, 50, 1},   {30, 5, 50, 4},  {50, 5, 50, 9},
                 {90, 5, 50, 9}, {30, 30, 30, 1}, {31, 30, 30, 9}, {30, 50, 5, 6}};
    for (const auto& t : table) {
        Scene s(40, 30, 1);
        s.rectangle(20, 0, 40, 30, 255);
        s.img.fill([&](int x, int) { return 100 + t.difference * (x / 3 >= 20); });
        const Map map = s.long_form(9, 1.0, 3, u8(t.low), u8(t.high), 1);
        for (int x = 0; x < 40; ++x)
            EXPECT_EQ(map[15 * 40 + x] == 128, x >= 20 - t.half && x < 20 + t.half)
                << t.difference << " at " << x;
    }
}

TEST(Trimap, pixels_below_255_count_for_distances_but_have_no_boundary) {
    Scene s(21, 21, 1);
    s.rectangle(5, 5, 16, 16, 200);
    EXPECT_EQ(s.short_form(5, 1.0), s.seg.payload());
    s.rectangle(10, 10, 11, 11, 255);
    const Map map = s.short_form(50, 0.5);  // 6 from the nearest 0: half-width 3
    EXPECT_EQ(std::count(map.begin(), map.end(), 128), 36);
    EXPECT_EQ(map[7 * 21 + 7] * 1000 + map[13 * 21 + 13], 128200);
}

TEST(Trimap, without_a_zero_byte_the_band_is_the_widest) {
    Scene s(30, 20, 1);
    s.rectangle(0, 0, 30, 20, 100);
    s.rectangle(15, 0, 30, 20, 255);
    const Map map = s.short_form(4, 0.001);
    EXPECT_EQ(std::count(map.begin(), map.end(), 128), 8 * 20);
}

TEST(Trimap, any_band_scale_and_step_ends_quickly) {
    const double inf = std::numeric_limits<double>::infinity(), nan = inf - inf;
    const int bands[] = {0, -1, 1000000, INT_MAX, INT_MIN};
    for (int n = 0; n < 5 * 5 * 8; ++n) {
        Scene s(33, 21, 1);
        s.rectangle(8, 5, 20, 17, 255);
        const double scale = std::vector<double>{nan, inf, -inf, 1e30, -1e30, 1, -1, 0}[n / 25];
        const int max_band = bands[n % 5], min_band = bands[n / 5 % 5], step = bands[n % 4];
        Map map = s.short_form(max_band, scale);
        EXPECT_EQ(std::count(map.begin(), map.end(), 128) == 33 * 21, max_band > 9 && scale > 9)
            << max_band << ' ' << scale;
        map = s.long_form(max_band, scale, step, u8(n), u8(3 * n), min_band);
        EXPECT_TRUE(min_band < 9 || max_band < 9 || map == Map(33 * 21, 128));
    }
}

TEST(Trimap, rectangles_are_clipped) {
    const auto fields = [](dpl_rect r) {
        return std::vector<int>{r.x_begin, r.x_end, r.y_begin, r.y_end};
    };
    EXPECT_EQ(fields(AdaRect_CCSz({5, 3}, 2, 20, 10)), (std::vector<int>{3, 7, 1, 5}));
    EXPECT_EQ(fields(AdaRect_CCSz({5, 3}, 6, 8, 5)), (std::vector<int>{0, 8, 0, 5}));
    EXPECT_EQ(fields(AdaRect_CCSz({5, 3}, INT_MAX, 8, 5)), (std::vector<int>{0, 8, 0, 5}));
    Scene s(20, 20, 3);  // no subject: one side only
    EXPECT_EQ(fields(AdaRect_ImgGrad({9, 1}, {4, 14, 0, 6}, s.img.data(), 20, 20, s.img.stride(),
                                     s.seg.data(), s.seg.stride(), 1, 0, 1, 2, 7)),
              (std::vector<int>{7, 11, 0, 3}));
}

TEST(Trimap, boundary_lists_are_appended_in_raster_order) {
    Scene s(6, 4, 1);
    s.rectangle(2, 1, 6, 4, 255);
    std::vector<int> labels(24);
    const int n = ff::ipf_connected_component(s.seg.data(), 6, 4, s.seg.stride(), labels.data(), 6);
    std::vector<std::vector<dpl_pt2di>> lists(1);
    GetCCBndryPixels(s.seg.data(), 6, 4, s.seg.stride(), labels.data(), n, lists);
    ASSERT_EQ(lists.size(), 3u);
    EXPECT_TRUE(lists[0].empty() && lists[1].empty());
    std::vector<int> flat;
    for (const dpl_pt2di& p : lists[2]) flat.push_back(10 * p.x + p.y);
    EXPECT_EQ(flat, (std::vector<int>{21, 31, 41, 51, 22, 23}));
}

TEST(Trimap, rows_lie_right_beyond_two_gigabytes_and_null_writes_nothing) {
    FarRows img(4), seg(4), trimap(4);
    seg.at(2, 3) = 255;
    const int stride = FarRows::stride;
    MakeTrimapFromSegRes(img.data, 4, 4, stride, seg.data, stride, trimap.data, stride, 1, 9.0, 1,
                         5, 50, 1);
    EXPECT_EQ(trimap.at(2, 3) * 1000 + trimap.at(3, 3), 128000);
    EXPECT_EQ(trimap.at(1, 2), 128);
    Bytes out(4, 4, 0);
    MakeTrimapFromSegRes(nullptr, 4, 4, 4, out.data(), 4, 1, 1.0);
    MakeTrimapFromSegRes(out.data(), 4, 4, 4, nullptr, 4, 1, 1.0);
    MakeTrimapFromSegRes(seg.data, 4, 0, 4, out.data(), 4, 1, 1.0);
    MakeTrimapFromSegRes(nullptr, 4, 4, 12, seg.data, 4, out.data(), 4, 1, 1.0, 1, 5, 50, 1);
    EXPECT_EQ(out.payload(), Map(16, Bytes::pattern));
}

}  // namespace
