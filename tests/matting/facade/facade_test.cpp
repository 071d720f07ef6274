#include "matting/trimap/trimap.h"
#include "tests/matting/facade/disc.h"

namespace {

TEST(Facade, a_disc_comes_back_with_its_soft_edge) {
    // Sizes and the mean, over soft pixels, and worst error in bytes.
    const int table[][5] = {{61, 75, 61, 4, 20}, {200, 150, 100, 12, 60}};
    for (const auto& [w, h, max_size, mean_allowed, worst_allowed] : table) {
        Disc d(w, h);
        DSCMatting m;
        d.init(m, max_size);
        const Map matte = d.matte(m), truth = d.truth.payload();
        double sum = 0, worst = 0, soft = 0;
        for (std::size_t i = 0; i < matte.size(); ++i) {
            const double error = std::abs(matte[i] - truth[i]), weight = truth[i] % 255 != 0;
            worst = std::max(worst, error), sum += weight * error, soft += weight;
        }
        EXPECT_TRUE(worst <= worst_allowed && sum <= soft * mean_allowed) << worst << ' ' << sum;
        m.Init(nullptr, 5, 5, 15, 100);
        m.set_alpha(d.img, w - 1, h, 3 * w), m.set_alpha(d.img, w, h - 1, 3 * w);
        EXPECT_EQ(d.matte(m), matte) << "a second matte, and nothing refused has touched it";
        EXPECT_TRUE(m.Refine(d.out, w, h, w, 0, 0));
        EXPECT_EQ(inverted(d.out.payload()), matte);
    }
}

TEST(Facade, padded_rows_and_used_objects_change_nothing) {
    Disc packed(61, 47), padded(61, 47, 5), other(40, 90, 1);
    DSCMatting a, used, constructed(padded.img, 61, 47, padded.img.stride, 35);
    packed.init(a, 35);
    other.short_init(used, 1000);
    other.refine(used);
    padded.init(used, 35);
    EXPECT_EQ(padded.matte(used, 3), packed.matte(a, 3));
    packed.short_init(a, 35);
    const Map refined = packed.refine(a, 5, 1);
    EXPECT_EQ(padded.refine(constructed, 5, 1), refined);
    // Cleaning afterwards is cleaning within.
    padded.refine(constructed);
    constructed.SmoothBoundary(5, 1);
    constructed.GetAlpha(padded.out, padded.out.stride);
    EXPECT_EQ(padded.out.payload(), refined);
    // Another segmentation makes a trimap of its own.
    EXPECT_TRUE(
        constructed.MakeMatteFromSegmRes(padded.seg, 61, 47, 66, padded.out, 76, 4, 0.4, 3, 0));
    MakeTrimapFromSegRes(packed.seg, 61, 47, 61, packed.trimap, 61, 4, 0.4);
    InvertMatte(packed.trimap, 61, 47, 61);
    EXPECT_EQ(padded.out.payload(), inverted(packed.refine(a, 3)));
}

TEST(Facade, large_parts_are_kept_and_only_128_is_unknown) {
    Disc d(40, 44);
    DSCMatting m;
    d.short_init(m, 100);
    // The largest parts of the surroundings stay when only one is kept.
    d.trimap.fill([](int x, int) { return x < 4 ? 255 : x < 12 ? 0 : 99; });
    const Map kept = d.refine(m, 0, 1);
    EXPECT_TRUE(kept[0] == 0 && kept[39] == 99);
    // The inversion at the door spares 128; set_alpha and GetAlpha translate nothing.
    d.init(m, 100, 0);
    Bytes ramp(40, 44, 1, [](int x, int y) { return (40 * y + x) % 256; });
    m.set_alpha(ramp, 40, 44, ramp.stride);
    EXPECT_TRUE(m.Refine(d.out, 40, 44, 40, 0, 0));
    EXPECT_EQ(d.out.payload(), ramp.payload());
    EXPECT_EQ(d.matte(m), inverted(ramp.payload()));
}

TEST(Facade, the_working_size_shows_in_what_is_solved) {
    // One unknown among zeros: solved it is 0, where no system is solved it stays 128.
    const int table[][4] = {{5, 5, 9, 1},   {4, 3, 9, 1},   {3, 5, 9, 0},   {7, 2, 9, 0},
                            {12, 12, 4, 1}, {12, 12, 3, 0}, {12, 4, 5, 1},  {4, 12, 4, 1},
                            {9, 24, 9, 1},  {9, 24, 8, 0},  {9, 24, -7, 0}, {40, 36, 4, 1}};
    for (const auto& [w, h, max_size, solved] : table) {
        Disc d(w, h);
        DSCMatting m;
        d.short_init(m, max_size);
        const int at = h / 2 * w + w / 2;
        d.trimap.fill([&, &w = w](int x, int y) { return y * w + x == at ? 128 : 0; });
        EXPECT_EQ(d.refine(m)[at], solved ? 0 : 128) << w << 'x' << h << ' ' << max_size;
    }
}

TEST(Facade, the_subject_colour_is_cached_until_the_alpha_changes) {
    Disc d(61, 75);
    DSCMatting m;
    int stride = 7;
    EXPECT_EQ(m.GetFImage(&stride, 1), nullptr);
    EXPECT_EQ(stride, 7);
    d.init(m, 61);
    d.matte(m);
    const auto colour = [&](int mode) {
        Bytes out(3 * d.w, d.h, 5);
        m.GetFImage(out, out.stride, mode);
        return out.payload();
    };
    const Map first = colour(0);  // nothing cached yet: computed all the same
    const std::size_t centre = 3 * (std::size_t(d.h / 2) * std::size_t(d.w) + std::size_t(d.w / 2));
    EXPECT_EQ(first[centre], d.img(3 * (d.w / 2), d.h / 2));
    m.set_alpha(d.trimap, d.w, d.h, d.trimap.stride);  // does not count as a change
    EXPECT_EQ(colour(-1), first);
    const Map renewed = colour(1);
    EXPECT_NE(renewed, first);
    m.SmoothBoundary(9, 0);
    EXPECT_EQ(colour(0), renewed);
    EXPECT_NE(colour(-1), renewed);
    Disc other(32, 20);
    other.init(m, 32);
    EXPECT_EQ(m.GetFImage(&stride, 0)[0], other.img(0, 0));
    EXPECT_EQ(stride, 96);
}

}  // namespace
