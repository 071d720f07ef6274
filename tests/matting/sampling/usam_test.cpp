#include "matting/sampling/usam.h"

#include <climits>
#include <utility>

#include "tests/support/guarded_raster.h"

namespace {

using Shorts = GuardedRaster<short>;

int clamped(double at, int lo, int hi) {
    return std::min(std::max(int(at), lo), hi);
}

// The pair search for one pixel, in the words of its definition.
struct Choice {
    Choice(const u8* p, Bytes& lo, int cx, int cy, int lo_w, bool square) {
        const int corner[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        std::vector<std::pair<const u8*, int>> candidates;
        for (int k = 0; k < (square ? 4 : 9); ++k) {
            const int x = cx + (square ? corner[k][0] : k % 3 - 1);
            const int y = cy + (square ? corner[k][1] : k / 3 - 1);
            candidates.push_back({&lo.at(3 * x, y), y * lo_w + x});
        }
        const auto distance = [&](const u8* c) {
            int d = 1;
            for (int k = 0; k < 3; ++k) d += (c[k] - p[k]) * (c[k] - p[k]);
            return d;
        };
        int best = INT_MAX;
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            for (std::size_t j = i + 1; j < candidates.size(); ++j) {
                const u8 *a = candidates[i].first, *b = candidates[j].first;
                const int w = distance(b) * 4096 / (distance(a) + distance(b));
                int error = 0;
                for (int k = 0; k < 3; ++k) {
                    const int q = ((a[k] - b[k]) * w + b[k] * 4096) >> 12;
                    error += (q - p[k]) * (q - p[k]);
                }
                if (error >= best) continue;
                best = error, first = candidates[i].second, second = candidates[j].second,
                weight = w;
            }
        }
    }
    int first = -1, second = -1, weight = 0;
};

TEST(Upsample, weights_equal_a_plain_search_in_both_neighbourhoods) {
    Random random(21);
    for (int n = 0; n < 60; ++n) {
        const bool square = n % 2, masked = n % 3 == 0;
        const int lo_w = random.between(square ? 2 : 3, 12),
                  lo_h = random.between(square ? 2 : 3, 9);
        const int w = random.between(2, 40), h = random.between(2, 15);
        const int flat = n % 5 == 4 ? 90 : 0,
                  levels = n % 4 == 1 ? 2 : 255;  // ties and zero errors
        Bytes img(3 * w, h, n % 4, noise(random, flat, flat ? flat : levels));
        Bytes lo(3 * lo_w, lo_h, n % 5, noise(random, flat, flat ? flat : levels));
        Bytes mask(w, h, n % 2, [&](int, int) { return random.below(3); });
        Ints idx(2 * w, h, n % 3, [](int, int) { return -1; });
        Shorts wt(w, h, n % 4);
        const int mode = square ? 2 : n % 7;
        const u8* const where = masked ? mask.data() : nullptr;
        if (n % 4 < 2)
            usam_calc_weights_8u_c3(img.data(), w, h, img.stride(), where, mask.stride(), lo.data(),
                                    lo_w, lo_h, lo.stride(), idx.data(), idx.stride(), wt.data(),
                                    wt.stride(), mode == 2 && !square ? 3 : mode);
        else  // whatever the label is
            usam_calc_weights_8u_c3(img.data(), w, h, img.stride(), where, mask.stride(), u8(n),
                                    lo.data(), lo_w, lo_h, lo.stride(), idx.data(), idx.stride(),
                                    wt.data(), wt.stride(), mode == 2 && !square ? 3 : mode);
        const double rx = (lo_w - 1) / double(w - 1), ry = (lo_h - 1) / double(h - 1);
        for (int i = 0; i < w * h; ++i) {
            const int x = i % w, y = i / w, least = square ? 0 : 1;
            if (masked && mask.at(x, y) == 0) {
                ASSERT_TRUE(idx.at(2 * x, y) == -1 && wt.at(x, y) == Shorts::pattern);
                continue;
            }
            const Choice c(&img.at(3 * x, y), lo, clamped(rx * x + 0.5, least, lo_w - 2),
                           clamped(ry * y + (square ? 0 : 0.5), least, lo_h - 2), lo_w, square);
            ASSERT_EQ(idx.at(2 * x, y), c.first) << "case " << n << " at " << x << ',' << y;
            ASSERT_EQ(idx.at(2 * x + 1, y), c.second) << "case " << n << " at " << x << ',' << y;
            ASSERT_EQ(wt.at(x, y), c.weight) << "case " << n << " at " << x << ',' << y;
        }
        EXPECT_TRUE(!flat || masked || wt.at(w - 1, h - 1) == 2048);
    }
}

// Four pixels in a row: no weights, all of the first, all of the second, half of each.
struct Row {
    Row() : idx(8, 1, 0), wt(4, 1, 0), dst(4, 1, 0, [](int, int) { return 77; }) {
        const int pairs[] = {-1, 1, 0, 1, 0, 1, 0, 1};
        idx.fill([&](int x, int) { return pairs[x]; });
        wt.fill([](int x, int) { return x == 1 ? 4096 : x == 3 ? 2048 : 0; });
    }
    Ints idx;
    Shorts wt;
    Bytes dst;
};
using Map = std::vector<u8>;

TEST(Upsample, index_minus_one_and_other_labels_leave_the_pixel) {
    const u8 lo[] = {255, 0}, mask[] = {128, 128, 127, 128};
    Row all, labelled;
    usam_interpolate_c1(lo, 2, 1, all.idx.data(), 8, all.wt.data(), 4, all.dst.data(), 4, 1, 4);
    EXPECT_EQ(all.dst.payload(), (Map{77, 255, 0, 127}));
    usam_interpolate_c1(lo, 2, 1, labelled.idx.data(), 8, labelled.wt.data(), 4,
                        labelled.dst.data(), 4, 1, 4, mask, 4, 128);
    EXPECT_EQ(labelled.dst.payload(), (Map{77, 255, 77, 127}));
}

TEST(Upsample, a_mask_update_grows_with_the_change) {
    const struct {
        u8 old_map[2], new_map[2];
        Map expected;
    } table[] = {{{10, 20}, {11, 22}, {77, 77, 77, 77}},    // 3: too little
                 {{10, 20}, {12, 18}, {77, 68, 69, 69}},    // 4: an eighth
                 {{10, 20}, {18, 28}, {77, 47, 52, 50}},    // 16: halfway, rounding down
                 {{100, 0}, {84, 15}, {77, 83, 16, 49}},    // 31 of 32
                 {{10, 20}, {50, 20}, {77, 50, 20, 35}},    // 40: fully
                 {{255, 0}, {0, 255}, {77, 0, 255, 127}}};  // 510
    for (const auto& t : table) {
        Row row;
        usam_interpolate_mask_c1(t.old_map, t.new_map, 2, 1, row.idx.data(), 8, row.wt.data(), 4,
                                 row.dst.data(), 4, 1, 4);
        EXPECT_EQ(row.dst.payload(), t.expected) << int(t.new_map[0]);
    }
}

TEST(Upsample, rows_lie_right_beyond_two_gigabytes) {
    FarRows img(4), lo(4), dst(4);
    Ints idx(4, 4, 0);
    Shorts wt(2, 4, 0);
    img.at(4, 3) = lo.at(7, 3) = 200;
    usam_calc_weights_8u_c3(img.data, 2, 4, FarRows::stride, nullptr, 0, lo.data, 3, 4,
                            FarRows::stride, idx.data(), 4, wt.data(), 2, 3);
    const u8 map[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9};
    usam_interpolate_c1(map, 3, 4, idx.data(), 4, wt.data(), 2, dst.data, 2, 4, FarRows::stride);
    EXPECT_EQ(idx.at(3, 3), 11);
    EXPECT_EQ(dst.at(1, 3), 9);
}

TEST(Upsample, null_pointers_and_sizes_too_small_write_nothing) {
    Bytes img(12, 4, 0), lo(9, 3, 0);
    Ints idx(8, 4, 0);
    Shorts wt(4, 4, 0);
    const auto weights = [&](const u8* i, int w, int h, const u8* l, int lo_w, int lo_h, int* table,
                             int mode) {
        usam_calc_weights_8u_c3(i, w, h, 12, nullptr, 0, l, lo_w, lo_h, 9, table, 8, wt.data(), 4,
                                mode);
    };
    weights(nullptr, 4, 4, lo.data(), 3, 3, idx.data(), 3);
    weights(img.data(), 4, 4, nullptr, 3, 3, idx.data(), 3);
    weights(img.data(), 4, 4, lo.data(), 3, 3, nullptr, 3);
    for (int small : {1, 0, -7}) {
        weights(img.data(), small, 4, lo.data(), 3, 3, idx.data(), 3);
        weights(img.data(), 4, small, lo.data(), 3, 3, idx.data(), 3);
        weights(img.data(), 4, 4, lo.data(), 1 + small, 3, idx.data(), 3);
        weights(img.data(), 4, 4, lo.data(), 3, small, idx.data(), 2);
    }
    Row row;
    usam_interpolate_c1(lo.data(), 3, 3, row.idx.data(), 8, row.wt.data(), 4, row.dst.data(), 0, 1,
                        4);
    usam_interpolate_c1(nullptr, 3, 3, row.idx.data(), 8, row.wt.data(), 4, row.dst.data(), 4, 1,
                        4);
    usam_interpolate_mask_c1(lo.data(), nullptr, 3, 3, row.idx.data(), 8, row.wt.data(), 4,
                             row.dst.data(), 4, 1, 4);
    EXPECT_EQ(row.dst.payload(), Map(4, 77));
    EXPECT_EQ(idx.payload(), std::vector<int>(32, Ints::pattern));
    EXPECT_EQ(wt.payload(), std::vector<short>(16, Shorts::pattern));
}

}  // namespace
