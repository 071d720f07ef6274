#include "ff/raster.h"
#include "matting/sampling/usam.h"
#include "tests/support/guarded_raster.h"

namespace {

using Shorts = GuardedRaster<short>;

// A noisy picture at two sizes, a mask of the labels 0 to 2, a map, and tables without entries.
struct Pictures {
    explicit Pictures(int n)
        : random(n),
          w(random.between(2, 30)),
          h(random.between(2, 15)),
          lo_w(random.between(3, 12)),
          lo_h(random.between(3, 9)),
          img(3 * w, h, n % 4, noise(random)),
          lo(3 * lo_w, lo_h, n % 3, noise(random)),
          mask(w, h, n % 2, noise(random, 0, 2)),
          map(lo_w, lo_h, 0, noise(random)),
          idx(2 * w, h, n % 5, [](int, int) { return -1; }),
          wt(w, h, n % 3) {}
    void fill_tables(const u8* where, int stride) {
        usam_calc_weights_8u_c3(img, w, h, img.stride, where, stride, lo, lo_w, lo_h, lo.stride,
                                idx, idx.stride, wt, wt.stride, 3);
    }
    // Guided where `where` is set, bilinear elsewhere.
    void masked(Bytes& values, Bytes& where, Bytes& dst) {
        usam_masked_c1(lo, lo_w, lo_h, lo.stride, values, values.stride, img, w, h, img.stride,
                       where, where.stride, dst, dst.stride);
    }
    // What the tables give, over `dst`.
    Map guided(Bytes& dst) {
        usam_interpolate_c1(map, lo_w, lo_h, idx, idx.stride, wt, wt.stride, dst, w, h, dst.stride);
        return dst.payload();
    }
    Random random;
    const int w, h, lo_w, lo_h;
    Bytes img, lo, mask, map;
    Ints idx;
    Shorts wt;
};

TEST(Guided, an_update_completes_exactly_what_was_missing) {
    for (int n = 0; n < 20; ++n) {
        Pictures p(n), full(n);
        full.fill_tables(nullptr, 0);
        p.mask.each([&](int x, int y) {
            if (p.random.below(3) == 0) p.idx(2 * x, y) = 0, p.idx(2 * x + 1, y) = -7;
        });
        const std::vector<int> before = p.idx.payload();
        usam_update_weights(p.img, p.w, p.h, p.img.stride, p.mask, p.mask.stride, 2, p.lo, p.lo_w,
                            p.lo_h, p.lo.stride, p.idx, p.idx.stride, p.wt, p.wt.stride);
        p.mask.each([&](int x, int y) {
            const std::size_t i = std::size_t(2 * (y * p.w + x));
            const bool missing = p.mask(x, y) == 2 && before[i] < 0;
            ASSERT_EQ(p.idx(2 * x, y), missing ? full.idx(2 * x, y) : before[i]);
            ASSERT_EQ(p.idx(2 * x + 1, y), missing ? full.idx(2 * x + 1, y) : before[i + 1]);
            ASSERT_EQ(p.wt(x, y), missing ? full.wt(x, y) : Shorts::pattern);
        });
    }
}

TEST(Guided, one_call_gives_the_bytes_of_the_tables) {
    for (int n = 0; n < 20; ++n) {
        Pictures p(n);
        Bytes once(p.w, p.h, 2, [](int, int) { return 9; }), labelled(p.w, p.h, 0);
        Bytes tables(p.w, p.h, 1, [](int, int) { return 9; }), under(p.w, p.h, 0);
        labelled.fill([&](int x, int y) { return p.mask(x, y) == 2; });
        p.fill_tables(labelled, p.w);
        usam_execute(p.img, p.w, p.h, p.img.stride, p.mask, p.mask.stride, 2, p.lo, p.lo_w, p.lo_h,
                     p.lo.stride, p.map, once, once.stride);
        EXPECT_EQ(once.payload(), p.guided(tables)) << n;

        ff::ipf_resize_bl(p.map + 0, p.lo_w, p.lo_h, p.lo_w, 1, under + 0, p.w, p.h, p.w, 1, 1);
        Bytes map(p.lo_w, p.lo_h, n % 3, [&](int x, int y) { return p.map(x, y); });
        p.masked(map, labelled, labelled);  // the mask's own bytes as destination
        EXPECT_EQ(labelled.payload(), p.guided(under)) << n;
    }
}

TEST(Guided, an_alpha_is_guided_in_its_transition_zone) {
    for (int n = 0; n < 40; ++n) {
        Pictures p(n);
        const int edge = n % 5 ? p.random.below(p.lo_w + p.lo_h) : 99;
        const auto value = [=](int x, int y) { return x + y < edge ? 255 : 3; };
        // 1 where the 5 x 5 pixels around, within the picture, do not all lie on one side.
        Bytes alpha(p.lo_w, p.lo_h, n % 3, value), marks(p.lo_w, p.lo_h, 0, [&](int x, int y) {
            return value(std::max(x - 2, 0), std::max(y - 2, 0)) !=
                   value(std::min(x + 2, p.lo_w - 1), std::min(y + 2, p.lo_h - 1));
        });
        Bytes zone(p.w, p.h, 0), expected(p.w, p.h, 0), out(p.w, p.h, n % 4);
        ff::ipf_resize_nn(marks, p.lo_w, p.lo_h, p.lo_w, 1, zone, p.w, p.h, p.w, 1, ff::ccn<1>());
        p.masked(alpha, zone, expected);
        usam_alpha(p.lo, p.lo_w, p.lo_h, p.lo.stride, alpha, alpha.stride, p.img, p.w, p.h,
                   p.img.stride, out, out.stride);
        EXPECT_EQ(out.payload(), expected.payload()) << n;
        usam_alpha(nullptr, p.lo_w, p.lo_h, 0, alpha, alpha.stride, nullptr, p.lo_w, p.lo_h, 0,
                   marks, p.lo_w);
        EXPECT_EQ(marks.payload(), alpha.payload()) << "a copy at its own size";
    }
}

TEST(Guided, opacity_is_interleaved_into_the_fourth_byte) {
    Bytes bgr(9, 2, 2, [](int x, int y) { return 10 * y + x; });
    Bytes alpha(3, 2, 1, [](int x, int y) { return 100 + 10 * y + x; }), out(12, 2, 3);
    EXPECT_EQ(merge_c31(bgr, 3, 2, bgr.stride, alpha, alpha.stride, out, out.stride), bgr + 0);
    out.each([&](int x, int y) {
        EXPECT_EQ(out(x, y), 10 * y + (x % 4 < 3 ? x / 4 * 3 + x % 4 : 100 + x / 4));
    });
}

TEST(Guided, null_pointers_and_sizes_too_small_write_nothing) {
    Bytes img(12, 4, 0), map(4, 4, 0), out(16, 4, 0);
    const auto all = [&](const u8* i, int w, int lo_h, const u8* lo, u8* dst) {
        usam_execute(i, w, 4, 12, map, 4, Bytes::pattern, lo, 3, lo_h, 12, map, dst, 4);
        usam_masked_c1(lo, 3, lo_h, 12, map, 4, i, w, 4, 12, map, 4, dst, 4);
        usam_alpha(lo, 3, lo_h, 12, map, 4, i, w, 4, 12, dst, 4);
    };
    all(nullptr, 4, 3, img, out), all(img, 4, 3, nullptr, out), all(img, 4, 3, img, nullptr);
    for (int small : {1, 0, -7}) all(img, small, 3, img, out), all(img, 4, 1 + small, img, out);
    EXPECT_EQ(out.payload(), Map(64, Bytes::pattern));
}

}  // namespace
