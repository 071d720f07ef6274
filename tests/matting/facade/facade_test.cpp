#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "matting/facade/dsc_matting.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/trimap.h"
#include "tests/support/guarded_raster.h"

namespace {

using Map = std::vector<u8>;

Map inverted(Map map) {
    InvertMatte(map.data(), int(map.size()), 1, int(map.size()));
    return map;
}

// A disc of one colour on another, with its true alpha, and three maps of it. Pads are bytes.
struct Disc {
    Disc(int width, int height, int pad = 0)
        : w(width),
          h(height),
          truth(w, h, 0, [this](int x, int y) { return int(255 * coverage(x, y) + 0.5); }),
          img(3 * w, h, pad,
              [this](int x, int y) {
                  const int subject[] = {40, 90, 210}, ground[] = {190, 170, 60};
                  const double a = coverage(x / 3, y);
                  return int(a * subject[x % 3] + (1 - a) * ground[x % 3] + 0.5);
              }),
          seg(w, h, pad, [this](int x, int y) { return truth.at(x, y) > 127 ? 255 : 0; }),
          trimap(w, h, 2 * pad,
                 [this](int x, int y) {  // internal convention
                     const double d = distance(x, y);
                     return std::abs(d) < 4 ? 128 : d < 0 ? 0 : 255;
                 }),
          out(w, h, 3 * pad) {}
    double distance(double x, double y) const {
        return std::hypot(x - w / 2.0 + 0.3, y - h / 2.0 - 0.2) - 0.3 * std::min(w, h);
    }
    double coverage(int x, int y) const {
        int inside = 0;
        for (int k = 0; k < 64; ++k)
            inside += distance(x + k % 8 / 8.0 - 7 / 16.0, y + k / 8 / 8.0 - 7 / 16.0) < 0;
        return inside / 64.0;
    }
    void init(DSCMatting& m, int max_size) {
        m.Init(img.data(), w, h, img.stride(), seg.data(), seg.stride(), max_size, 5, 0.5, 3, 5, 50,
               3);
    }
    void short_init(DSCMatting& m, int max_size) {
        m.Init(img.data(), w, h, img.stride(), max_size);
    }
    Map matte(DSCMatting& m, int smooth = 0) {
        EXPECT_TRUE(m.MakeMatte(out.data(), w, h, out.stride(), smooth, 0));
        return out.payload();
    }
    Map refine(DSCMatting& m, int smooth = 0, int keep = 0) {
        m.Refine(trimap.data(), w, h, trimap.stride(), out.data(), out.stride(), smooth, keep);
        return out.payload();
    }
    int w, h;
    Bytes truth, img, seg, trimap, out;
};

TEST(Facade, a_disc_comes_back_with_its_soft_edge) {
    const struct {
        int w, h, max_size;
        double mean, worst;  // bytes, over the pixels that are not wholly 0 or 255
    } table[] = {{64, 48, 1000, 4, 20}, {61, 75, 61, 4, 20}, {200, 150, 100, 12, 60}};
    for (const auto& t : table) {
        Disc d(t.w, t.h);
        DSCMatting m;
        d.init(m, t.max_size);
        const Map matte = d.matte(m), truth = d.truth.payload();
        double sum = 0, worst = 0;
        int soft = 0;
        for (std::size_t i = 0; i < matte.size(); ++i) {
            const double error = std::abs(matte[i] - truth[i]);
            worst = std::max(worst, error);
            if (truth[i] == 0 || truth[i] == 255) continue;
            sum += error, ++soft;
        }
        EXPECT_LE(worst, t.worst) << t.w;
        EXPECT_LE(sum / soft, t.mean) << t.w;
        EXPECT_EQ(d.matte(m), matte) << "a second matte of the same object";
        Map again(t.w * t.h);
        EXPECT_TRUE(m.Refine(again.data(), t.w, t.h, t.w, 0, 0));
        EXPECT_EQ(inverted(again), matte);
    }
}

TEST(Facade, padded_rows_and_used_objects_change_nothing) {
    Disc packed(61, 47), padded(61, 47, 5), other(40, 90, 1);
    DSCMatting a, used, constructed(padded.img.data(), 61, 47, padded.img.stride(), 35);
    packed.init(a, 35);
    other.short_init(used, 1000);
    other.refine(used);
    padded.init(used, 35);
    const Map matte = packed.matte(a, 3);
    EXPECT_EQ(padded.matte(used, 3), matte);
    packed.short_init(a, 35);
    const Map refined = packed.refine(a, 5, 1);
    EXPECT_EQ(padded.refine(constructed, 5, 1), refined);
    EXPECT_FALSE(a.MakeMatte(packed.out.data(), 61, 47, 61, 0, 0)) << "the segmentation is gone";
    // Cleaning afterwards is cleaning within.
    padded.refine(constructed);
    constructed.SmoothBoundary(5, 1);
    constructed.GetAlpha(padded.out.data(), padded.out.stride());
    EXPECT_EQ(padded.out.payload(), refined);
    int stride = 0;
    const u8* const alpha = constructed.GetAlpha(&stride);
    EXPECT_TRUE(stride == 64 && std::equal(alpha, alpha + 61, refined.begin()));
}

TEST(Facade, another_segmentation_makes_its_own_trimap) {
    Disc d(50, 60, 3), e(50, 60);
    DSCMatting m, n;
    d.short_init(m, 100);
    e.short_init(n, 100);
    EXPECT_TRUE(m.MakeMatteFromSegmRes(d.seg.data(), 50, 60, d.seg.stride(), d.out.data(),
                                       d.out.stride(), 4, 0.4, 3, 0));
    MakeTrimapFromSegRes(e.seg.data(), 50, 60, 50, e.trimap.data(), 50, 4, 0.4);
    InvertMatte(e.trimap.data(), 50, 60, 50);
    EXPECT_EQ(d.out.payload(), inverted(e.refine(n, 3)));
    EXPECT_NE(d.out.payload(), d.seg.payload());
}

TEST(Facade, known_bytes_are_kept_and_only_128_is_unknown) {
    Disc d(40, 44);
    DSCMatting m;
    d.short_init(m, 100);
    d.trimap.fill([&](int x, int y) { return (x / 5 + y / 4) % 3 ? (7 * x + 13 * y) % 256 : 128; });
    const Map trimap = d.trimap.payload(), refined = d.refine(m);
    for (std::size_t i = 0; i < trimap.size(); ++i)
        ASSERT_TRUE(trimap[i] == 128 || refined[i] == trimap[i]) << i;
    // The inversion at the door spares 128; set_alpha and GetAlpha translate nothing.
    d.seg.fill([](int x, int) { return x < 20 ? 255 : 0; });
    m.Init(d.img.data(), 40, 44, 120, d.seg.data(), 40, 100, 0, 0, 3, 5, 50, 0);
    Bytes ramp(40, 44, 1, [](int x, int y) { return (40 * y + x) % 256; });
    m.set_alpha(ramp.data(), 40, 44, ramp.stride());
    m.set_alpha(d.img.data(), 39, 44, 40);
    m.set_alpha(nullptr, 40, 44, 40);
    EXPECT_TRUE(m.Refine(d.out.data(), 40, 44, 40, 0, 0));
    EXPECT_EQ(d.out.payload(), ramp.payload());
    const Map matte = d.matte(m);
    for (int b = 0; b < 256; ++b) EXPECT_EQ(matte[b], b == 128 ? 128 : 255 - b);
}

TEST(Facade, own_trimaps_find_no_weights_where_the_segmentation_said_subject) {
    Disc d(40, 40);
    DSCMatting m;
    d.init(m, 100);
    d.trimap.fill([](int x, int y) { return x > 2 && y > 2 ? 128 : 0; });
    const Map refined = d.refine(m);
    EXPECT_EQ(refined[20 * 40 + 20], 128);
    EXPECT_EQ(refined[38 * 40 + 38], 0);
}

TEST(Facade, the_working_size_shows_in_what_is_solved) {
    // One unknown among zeros: solved it is 0, where no system is solved it stays 128.
    const struct {
        int w, h, max_size;
        bool solved;
    } table[] = {
        {5, 5, 9, true},    {4, 3, 9, true},         {3, 5, 9, false},   {7, 2, 9, false},
        {12, 12, 4, true},  {12, 12, 3, false},      {12, 12, 0, false}, {12, 4, 5, true},
        {4, 12, 4, true},   {12, 4, 3, false},       {9, 24, 9, true},   {9, 24, 8, false},
        {9, 24, -7, false}, {5, 60, INT_MIN, false}, {24, 9, 7, false},  {40, 36, 4, true}};
    for (const auto& t : table) {
        Disc d(t.w, t.h);
        DSCMatting m;
        d.short_init(m, t.max_size);
        d.trimap.fill([&](int x, int y) { return x == t.w / 2 && y == t.h / 2 ? 128 : 0; });
        const Map refined = d.refine(m);
        EXPECT_EQ(refined[t.h / 2 * t.w + t.w / 2], t.solved ? 0 : 128)
            << t.w << 'x' << t.h << ' ' << t.max_size;
    }
}

TEST(Facade, tiny_pictures_and_any_settings_end_well) {
    const double inf = std::numeric_limits<double>::infinity();
    const int numbers[] = {0, 1, 3, -1, 1000000, INT_MAX, INT_MIN};
    const double scales[] = {0, 0.5, 1e30, -1, inf, inf - inf};
    Random random(51);
    for (int n = 0; n < 225; ++n) {
        const int w = n < 175 ? 1 + n % 5 : 31, h = n < 175 ? 1 + n / 5 % 5 : 27;
        const auto any = [&] { return numbers[random.below(7)]; };
        Disc d(w, h, n % 3);
        if (n % 2)
            d.seg.fill([&](int, int) { return random.below(2) ? 255 : 128 * random.below(2); });
        DSCMatting m;
        m.Init(d.img.data(), w, h, d.img.stride(), d.seg.data(), d.seg.stride(), any(), any(),
               scales[n % 6], any(), u8(random.below(256)), u8(random.below(256)), any());
        EXPECT_TRUE(m.MakeMatte(d.out.data(), w, h, d.out.stride(), any(), any()));
        EXPECT_TRUE(m.MakeMatteFromSegmRes(d.seg.data(), w, h, d.seg.stride(), d.out.data(),
                                           d.out.stride(), any(), scales[n % 6], any(), any()));
        d.short_init(m, any());
        d.refine(m, any(), any());
        m.SmoothBoundary(any(), any());
    }
}

// Everything that must refuse: returns whether any call claimed success or wrote into out.
bool accepts(DSCMatting& m, Disc& d, int w, int h) {
    const Map before = d.out.payload();
    u8 *const out = d.out.data(), *const seg = d.seg.data(), *const trimap = d.trimap.data();
    bool done = m.MakeMatte(out, w, h, w, 3, 1) || m.Refine(out, w, h, w, 3, 1) ||
                m.MakeMatteFromSegmRes(seg, w, h, w, out, w, 3, 1, 3, 1);
    m.Refine(trimap, w, h, w, out, w, 3, 1);
    m.set_alpha(seg, w, h, w);
    return done || d.out.payload() != before;
}

TEST(Facade, what_cannot_be_done_is_refused_and_writes_nothing) {
    Disc d(20, 16);
    DSCMatting m;
    u8* const img = d.img.data();
    m.Init(nullptr, 20, 16, 60, 100);
    m.Init(img, 0, 16, 60, d.seg.data(), 20, 100, 3, 1, 3, 5, 50, 1);
    m.Init(img, 20, -1, 60, 100);
    for (int w : {20, 0, -1}) EXPECT_FALSE(accepts(m, d, w, w == 20 ? 16 : w)) << "before Init";
    int stride = 7;
    EXPECT_EQ(m.GetAlpha(&stride), nullptr);
    EXPECT_EQ(m.GetAlpha(nullptr), nullptr);
    m.GetAlpha(d.out.data(), 20);
    m.SmoothBoundary(3, 1);
    EXPECT_EQ(d.out.payload(), Map(320, Bytes::pattern));

    d.init(m, 100);
    const Map matte = d.matte(m);
    for (auto [w, h] : {std::pair(19, 16), {20, 15}, {16, 20}, {0, 0}, {-20, 16}})
        EXPECT_FALSE(accepts(m, d, w, h)) << w << 'x' << h;
    EXPECT_FALSE(m.MakeMatte(nullptr, 20, 16, 20, 3, 1));
    EXPECT_FALSE(m.Refine(nullptr, 20, 16, 20, 3, 1));
    EXPECT_FALSE(m.MakeMatteFromSegmRes(nullptr, 20, 16, 20, d.out.data(), 20, 3, 1, 3, 1));
    EXPECT_FALSE(m.MakeMatteFromSegmRes(d.seg.data(), 20, 16, 20, nullptr, 20, 3, 1, 3, 1));
    m.Refine(nullptr, 20, 16, 20, d.out.data(), 20, 3, 1);
    m.Refine(d.trimap.data(), 20, 16, 20, nullptr, 20, 3, 1);
    m.Init(nullptr, 5, 5, 15, 100);
    m.GetAlpha(nullptr, 20);
    EXPECT_EQ(d.out.payload(), matte);
    EXPECT_EQ(d.matte(m), matte) << "nothing of it has touched the object";
}

}  // namespace
