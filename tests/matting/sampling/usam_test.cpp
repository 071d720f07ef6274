#include "matting/sampling/usam.h"

#include <climits>
#include <tuple>

#include "tests/support/guarded_raster.h"

namespace {

using Shorts = GuardedRaster<short>;

// The pair search for one pixel, in the words of its definition. (cx, cy): the centre of 3 x 3
// candidates, or the upper left of the four of a square, clockwise.
struct Choice {
    Choice(const u8* p, Bytes& lo, int channels, int cx, int cy, bool square) {
        const int corner[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}}, lo_w = lo.w / channels;
        std::vector<int> at;
        for (int k = 0; k < (square ? 4 : 9); ++k)
            at.push_back((cy + (square ? corner[k][1] : k / 3 - 1)) * lo_w + cx +
                         (square ? corner[k][0] : k % 3 - 1));
        const auto colour = [&](int i) { return &lo(channels * (at[i] % lo_w), at[i] / lo_w); };
        const auto distance = [&](const u8* c) {
            int d = 1;
            for (int k = 0; k < 3; ++k) d += (c[k] - p[k]) * (c[k] - p[k]);
            return d;
        };
        int best = INT_MAX;
        for (int i = 0; i < int(at.size()); ++i) {
            for (int j = i + 1; j < int(at.size()); ++j) {
                const u8 *a = colour(i), *b = colour(j);
                const int w = distance(b) * 4096 / (distance(a) + distance(b));
                u8 q[3];
                for (int k = 0; k < 3; ++k) q[k] = u8(((a[k] - b[k]) * w + b[k] * 4096) >> 12);
                if (distance(q) >= best) continue;
                best = distance(q), first = at[i], second = at[j], weight = w;
            }
        }
    }
    int first = -1, second = -1, weight = 0;
};

TEST(Upsample, weights_equal_a_plain_search_in_both_neighbourhoods) {
    Random random(21);
    for (int n = 0; n < 60; ++n) {
        const bool square = n % 2, masked = n % 3 == 0;
        const int c = n % 8 < 2 ? 4 : 3;  // bytes a pixel
        const int least = square ? 0 : 1, mode = square ? 2 : 3 - n % 4;
        const int lo_w = random.between(2 + least, 12), lo_h = random.between(2 + least, 9);
        const int w = random.between(2, 40), h = random.between(2, 15);
        // Flat pictures and such of few colours have ties and errors of 0.
        const int base = n % 5 == 4 ? 90 : 0, top = base ? base : n % 4 == 1 ? 2 : 255;
        Bytes img(c * w, h, n % 4, noise(random, base, top)), mask(w, h, 1, noise(random, 0, 2));
        Bytes lo(c * lo_w, lo_h, n % 5, noise(random, base, top));
        Ints idx(2 * w, h, n % 3, [](int, int) { return -1; });
        Shorts wt(w, h, n % 4);
        const u8* const where = masked ? mask + 0 : nullptr;
        if (c == 4)
            usam_calc_weights_8u_c4(img, w, h, img.stride, where, mask.stride, lo, lo_w, lo_h,
                                    lo.stride, idx, idx.stride, wt, wt.stride, mode);
        else  // whatever the label is
            usam_calc_weights_8u_c3(img, w, h, img.stride, where, mask.stride, u8(n), lo, lo_w,
                                    lo_h, lo.stride, idx, idx.stride, wt, wt.stride, mode);
        const double rx = (lo_w - 1) / double(w - 1), ry = (lo_h - 1) / double(h - 1);
        wt.each([&](int x, int y) {
            Choice best(&img(c * x, y), lo, c, std::clamp(int(rx * x + 0.5), least, lo_w - 2),
                        std::clamp(int(ry * y + (square ? 0 : 0.5)), least, lo_h - 2), square);
            if (masked && mask(x, y) == 0)
                best.first = best.second = -1, best.weight = Shorts::pattern;
            ASSERT_EQ(idx(2 * x, y), best.first) << n;
            ASSERT_EQ(idx(2 * x + 1, y), best.second) << n;
            ASSERT_EQ(wt(x, y), best.weight) << n;
        });
    }
}

// Four pixels in a row: no weights, all of the first, all of the second, half of each.
struct Row {
    int idx[8] = {-1, 1, 0, 1, 0, 1, 0, 1};
    short wt[4] = {0, 4096, 0, 2048};
    u8 dst[4] = {77, 77, 77, 77};
    Map result() const { return Map(dst, dst + 4); }
};

TEST(Upsample, index_minus_one_and_other_labels_leave_the_pixel) {
    const u8 lo[] = {255, 0}, mask[] = {128, 128, 127, 128};
    Row all, labelled;
    usam_interpolate_c1(lo, 2, 1, all.idx, 8, all.wt, 4, all.dst, 4, 1, 4);
    EXPECT_EQ(all.result(), (Map{77, 255, 0, 127}));
    usam_interpolate_c1(lo, 2, 1, all.idx, 8, all.wt, 4, labelled.dst, 4, 1, 4, mask, 4, 128);
    EXPECT_EQ(labelled.result(), (Map{77, 255, 77, 127}));
}

TEST(Upsample, a_mask_update_grows_with_the_change) {
    const std::tuple<Map, Map, Map> table[] = {
        {{10, 20}, {11, 22}, {77, 77, 77, 77}},    // 3: too little
        {{10, 20}, {12, 18}, {77, 68, 69, 69}},    // 4: an eighth
        {{10, 20}, {18, 28}, {77, 47, 52, 50}},    // 16: halfway, rounding down
        {{100, 0}, {84, 15}, {77, 83, 16, 49}},    // 31 of 32
        {{10, 20}, {50, 20}, {77, 50, 20, 35}},    // 40: fully
        {{255, 0}, {0, 255}, {77, 0, 255, 127}}};  // 510
    for (const auto& [before, after, expected] : table) {
        Row row;
        usam_interpolate_mask_c1(before.data(), after.data(), 2, 1, row.idx, 8, row.wt, 4, row.dst,
                                 4, 1, 4);
        EXPECT_EQ(row.result(), expected) << int(after[0]);
    }
}

}  // namespace
