#include "matting/color/improve_foreground.h"

#include <climits>

#include "tests/support/guarded_raster.h"

namespace {

using Pixel = std::vector<u8>;

TEST(ImproveForeground, colours_are_pulled_or_pushed_by_transparency) {
    // Of the colour 100, 50, 200 at t = 0.6. Towards (200, 50, 0): 160, 50, 80; away: 40, 50, 320.
    const u8 src[3] = {100, 50, 200};
    const Pixel before{0, 255, 60, 9};
    const struct {
        u8 brush, applied, alpha, threshold;  // no brush: a painted reference
        Pixel reference, after;
    } table[] = {{128, 127, 102, 0, {200, 50, 0, 129}, {80, 152, 70, 128}},
                 {128, 128, 102, 0, {200, 50, 0, 129}, before},
                 {128, 0, 102, 0, {200, 50, 0, 128}, {20, 152, 190, 128}},
                 {255, 0, 102, 102, {200, 50, 0, 0}, {40, 51, 255, 255}},
                 {255, 0, 255, 0, {9, 9, 9, 255}, {100, 51, 199, 255}},
                 {128, 0, 102, 103, {9, 9, 9, 255}, before},
                 {0, 0, 102, 0, {200, 50, 0, 130}, {20, 151, 192, 130}},
                 {0, 0, 102, 102, {200, 50, 0, 5}, {3, 251, 60, 9}},
                 {0, 0, 102, 0, {200, 50, 0, 0}, before},
                 {0, 0, 102, 103, {200, 50, 0, 129}, before},
                 {0, 0, 255, 0, {200, 50, 0, 129}, before}};
    for (const auto& t : table) {
        u8 applied = t.applied;
        Pixel result = before;
        const u8* ref = t.reference.data();
        if (t.brush)
            mat_improve_foreground(src, 1, 1, 3, &t.alpha, 1, &t.brush, 1, &applied, 1,
                                   result.data(), 4, ref, nullptr, t.threshold);
        else
            mat_improve_foreground(src, 1, 1, 3, ref, 4, &t.alpha, 1, result.data(), 4,
                                   t.threshold);
        EXPECT_EQ(result, t.after) << "row " << &t - table;
        EXPECT_EQ(applied, t.after == before ? t.applied : t.brush) << "row " << &t - table;
    }
}

TEST(ImproveForeground, references_give_way_to_stronger_strokes_only) {
    const u8 table[][4] = {{1, 200, 0, 1},  {1, 128, 1, 0}, {90, 200, 90, 90},
                           {91, 9, 91, 90}, {0, 200, 0, 0}, {255, 255, 91, 255}};
    for (const auto& [brush, mode, was, expected] : table) {
        Pixel map{5, 6, 7, was};
        const u8 reference[] = {1, 2, 3, mode};
        mat_update_reference_color(map.data(), 1, 1, 4, reference, &brush, 1);
        const bool kept = brush == 0 || brush == 90;
        EXPECT_EQ(map, kept ? (Pixel{5, 6, 7, expected}) : (Pixel{1, 2, 3, expected}));
    }
}

TEST(ImproveForeground, merging_lies_between_the_two_colours) {
    for (int n = 0; n < 20000; ++n) {
        Random random(n);
        const u8 s = u8(random.below(256)), c = u8(random.below(256)), w = u8(n), src[] = {s, s, s};
        u8 result[4] = {c, c, c, w};
        mat_merge_f_color(src, 1, 1, 3, result, 4);
        ASSERT_NEAR(result[2], s + (c - s) * w / 256.0, 0.51) << n;
        ASSERT_TRUE(result[3] == w && (w > 0 || result[0] == s)) << n;
    }
}

}  // namespace
