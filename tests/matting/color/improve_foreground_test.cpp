#include "matting/color/improve_foreground.h"

#include <climits>

#include "tests/support/guarded_raster.h"

namespace {

using Pixel = std::vector<u8>;

// One pixel: colour 100, 50, 200.
struct OnePixel {
    u8 src[3] = {100, 50, 200}, alpha = 102, brush = 128, applied = 0;
    Pixel result{0, 255, 60, 9};

    Pixel dab(Pixel reference, int threshold = 0) {
        mat_improve_foreground(src, 1, 1, 3, &alpha, 1, &brush, 1, &applied, 1, result.data(), 4,
                               reference.data(), nullptr, u8(threshold));
        return result;
    }
    Pixel painted(Pixel reference, int threshold = 0) {
        mat_improve_foreground(src, 1, 1, 3, reference.data(), 4, &alpha, 1, result.data(), 4,
                               u8(threshold));
        return result;
    }
};

TEST(ImproveForeground, a_dab_pulls_or_pushes_by_transparency) {
    // t = 0.6. Towards (200, 50, 0): target 160, 50, 80; away: 40, 50, 320.
    EXPECT_EQ(OnePixel().dab({200, 50, 0, 129}), (Pixel{80, 152, 70, 128}));
    EXPECT_EQ(OnePixel().dab({200, 50, 0, 128}), (Pixel{20, 152, 190, 128}));
    OnePixel full, opaque, below;
    full.brush = 255, opaque.alpha = opaque.brush = 255;
    EXPECT_EQ(full.dab({200, 50, 0, 0}), (Pixel{40, 51, 255, 255})) << "clamped";
    EXPECT_EQ(opaque.dab({9, 9, 9, 255}), (Pixel{100, 51, 199, 255})) << "its own colour";
    EXPECT_EQ(below.dab({9, 9, 9, 255}, 103), (Pixel{0, 255, 60, 9}));
    EXPECT_EQ(below.applied, 0);
    OnePixel again;
    const Pixel once = again.dab({200, 50, 0, 129});
    EXPECT_EQ(again.dab({200, 50, 0, 129}), once) << "a dab that is not stronger";
    EXPECT_EQ(again.applied, 128);
}

TEST(ImproveForeground, painted_references_act_with_their_packed_byte) {
    EXPECT_EQ(OnePixel().painted({200, 50, 0, 129}), (Pixel{81, 152, 70, 129}));
    EXPECT_EQ(OnePixel().painted({200, 50, 0, 128}), (Pixel{20, 152, 190, 128}));
    EXPECT_EQ(OnePixel().painted({200, 50, 0, 0}), OnePixel().result);
    EXPECT_EQ(OnePixel().painted({200, 50, 0, 4}, 102)[3], 9) << "the stronger weight stays";
    EXPECT_EQ(OnePixel().painted({200, 50, 0, 129}, 103), OnePixel().result);
    OnePixel opaque;
    opaque.alpha = 255;
    EXPECT_EQ(opaque.painted({200, 50, 0, 129}), OnePixel().result);
}

TEST(ImproveForeground, references_give_way_to_stronger_strokes_only) {
    const struct {
        u8 brush, mode;
        Pixel before, after;
    } table[] = {
        {1, 200, {5, 6, 7, 0}, {1, 2, 3, 1}},    {1, 128, {5, 6, 7, 1}, {1, 2, 3, 0}},
        {90, 200, {5, 6, 7, 90}, {5, 6, 7, 90}}, {91, 9, {5, 6, 7, 91}, {1, 2, 3, 90}},
        {0, 200, {5, 6, 7, 0}, {5, 6, 7, 0}},    {255, 255, {5, 6, 7, 91}, {1, 2, 3, 255}}};
    for (const auto& t : table) {
        Pixel map = t.before;
        const u8 reference[] = {1, 2, 3, t.mode};
        mat_update_reference_color(map.data(), 1, 1, 4, reference, &t.brush, 1);
        EXPECT_EQ(map, t.after) << int(t.brush) << ' ' << int(t.mode);
    }
}

TEST(ImproveForeground, merging_lies_between_the_two_colours) {
    for (int s = 0; s < 256; s += 15)
        for (int c = 0; c < 256; c += 17)
            for (int w = 0; w < 256; w += 5) {
                const u8 src[3] = {u8(s), u8(s), u8(s)};
                u8 result[4] = {u8(c), u8(c), u8(c), u8(w)};
                mat_merge_f_color(src, 1, 1, 3, result, 4);
                const double exact = s + (c - s) * w / 256.0;
                ASSERT_NEAR(result[2], exact, 0.51) << s << ' ' << c << ' ' << w;
                ASSERT_EQ(result[3], w);
                ASSERT_TRUE(w > 0 || result[0] == s);
            }
}

TEST(ImproveForeground, strides_hold_and_what_is_missing_writes_nothing) {
    Random random(4);
    Bytes src(3 * 7, 5, 2, noise(random)), alpha(7, 5, 1, noise(random)),
        brush(7, 5, 3, noise(random));
    Bytes applied(7, 5, 2, [](int, int) { return 0; }), result(4 * 7, 5, 3, noise(random));
    Bytes map(4 * 7, 5, 1, noise(random));
    u8 reference[4] = {9, 99, 199, 255};
    const auto all = [&](u8* s, u8* a, u8* b, u8* ap, u8* out, u8* ref, u8* refs, int w, int h) {
        mat_update_reference_color(refs, w, h, map.stride, ref, b, brush.stride);
        mat_improve_foreground(s, w, h, src.stride, a, alpha.stride, b, brush.stride, ap,
                               applied.stride, out, result.stride, ref, nullptr, 10);
        mat_improve_foreground(s, w, h, src.stride, refs, map.stride, a, alpha.stride, out,
                               result.stride, 10);
        mat_merge_f_color(s, w, h, src.stride, out, result.stride);
    };
    all(src, alpha, brush, applied, result, reference, map, 7, 5);
    EXPECT_EQ(applied(6, 4), alpha(6, 4) >= 10 ? brush(6, 4) : 0);
    const auto before = std::pair(result.payload(), map.payload());
    for (int n : {0, -1, INT_MIN}) {
        all(src, alpha, brush, applied, result, reference, map, n, 5);
        all(src, alpha, brush, applied, result, reference, map, 7, n);
    }
    all(nullptr, alpha, nullptr, applied, result, reference, map, 7, 5);
    all(src, alpha, brush, applied, nullptr, nullptr, nullptr, 7, 5);
    EXPECT_EQ(std::pair(result.payload(), map.payload()), before);
}

}  // namespace
