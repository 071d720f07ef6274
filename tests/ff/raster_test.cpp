#include "ff/raster.h"

#include "tests/support/guarded_raster.h"

namespace {

TEST(Raster, copies_and_fills_write_the_payload_and_nothing_else) {
    Random random(1);
    for (int pads : {0x00, 0x30, 0x05, 0x44}) {
        Bytes src(13, 7, pads >> 4, noise(random)), dst(13, 7, pads & 15), planes(13, 7, pads & 15);
        ff::ipf_memcpy_2d(src, 13, 7, src.stride, dst, dst.stride);
        EXPECT_EQ(dst.payload(), src.payload());
        ff::ipf_memset_2d(dst, 13, 7, dst.stride, char(200));
        EXPECT_EQ(dst.payload(), Map(91, 200));
        // Two planes of three rows; row 3 of 7 lies between them.
        ff::ipf_memcpy_3d(src, 13, 3, 2, src.stride, 4 * src.stride, planes, planes.stride,
                          4 * planes.stride);
        planes.each(
            [&](int x, int y) { ASSERT_EQ(planes(x, y), y == 3 ? Bytes::pattern : src(x, y)); });
        ff::ipf_memset_3d(planes, 13, 3, 2, planes.stride, 4 * planes.stride, 9);
        EXPECT_EQ(planes(12, 2) + planes(0, 4) + planes(0, 3), 9 + 9 + Bytes::pattern);
    }
}

TEST(Raster, flips_mirror_every_pixel_size_and_the_copying_one_is_shifted_by_a_pixel) {
    Random random(2);
    for (int w = 1; w <= 40; ++w) {
        const int bytes = 1 + w % 5, h = 1 + w % 4, row = w * bytes;
        Bytes src(row + bytes, h, w % 3, noise(random)), shifted(row, h, 2), turned(row, h, 1);
        Bytes both(row, h, 3, [&](int x, int y) { return src(x, y); });
        ff::ipf_flip_horz(src, w, h, src.stride, bytes, shifted, shifted.stride);
        ff::ipf_flip_vert(src, row, h, src.stride, turned, turned.stride);
        ff::ipf_flip_horz(both, w, h, both.stride, bytes);
        ff::ipf_flip_vert(both, row, h, both.stride);
        both.each([&](int x, int y) {
            const int mirrored = row - bytes - x + 2 * (x % bytes);
            ASSERT_EQ(shifted(x, y), src(mirrored + bytes, y)) << w;
            ASSERT_EQ(turned(x, y), src(x, h - 1 - y)) << w;
            ASSERT_EQ(both(x, y), src(mirrored, h - 1 - y)) << w;
        });
    }
}

TEST(Raster, offsets_of_neighbours) {
    std::vector<int> tab(8);
    ff::ipf_calc_nbr_offset(1, 1, 100, 1, tab.data(), true);
    EXPECT_EQ(tab, (std::vector<int>{-101, -100, -99, -1, 1, 99, 100, 101}));
}

// Source samples around destination sample i and the share of the second; the last source sample is
// the right neighbour of the one before.
struct Between {
    Between(int src, int dst, int i) {
        const float at = dst == 1 ? 0 : float(src) / float(dst) * float(i);
        nearest = std::min(int(double(at) + 0.5), src - 1);
        lo = std::max(0, std::min(int(at), src - 2)), hi = std::min(lo + 1, src - 1);
        t = std::min(at - float(lo), 1.0f);
    }
    int nearest, lo, hi;
    float t;
};

TEST(Raster, resizes_follow_the_pixel_formula_at_every_size) {
    Random random(3);
    for (int n = 0; n < 400; ++n) {
        // Now and then the same size, a half, or wide.
        const int w = 1 + n % 40, h = random.between(1, 9), c = 1 + n % 4;
        const int part = 1 + n % 3 % 2;
        const int dw = n % 5 ? random.between(1, n % 9 ? 40 : 300) : std::max(w / part, 1);
        const int dh = n % 7 ? random.between(1, 9) : std::max(h / part, 1);
        // Some pixels lie apart, a few far.
        const int step = c + n % 3 / 2 + (n % 11 ? 0 : 20), dstep = c + n % 4 / 3;
        const int out = (dw - 1) * dstep + c;
        Bytes src((w - 1) * step + c, h, 1 + n % 4, noise(random));
        Bytes nn(out, dh, n % 3), bl(out, dh, 1);
        const auto nearest = [&](auto tag) {
            ff::ipf_resize_nn(src, w, h, src.stride, step, nn, dw, dh, nn.stride, dstep, tag);
        };
        if (c == 1) nearest(ff::ccn<1>());
        if (c == 3) nearest(ff::ccn<3>());
        ff::ipf_resize_bl<u8, u8>(src, w, h, src.stride, step, bl, dw, dh, bl.stride, dstep, c);
        nn.each([&](int column, int y) {
            const int x = column / dstep, k = column % dstep;
            const Between bx(w, dw, x), by(h, dh, y);
            const auto along = [&](int row) {
                const float a = src(bx.lo * step + k, row), b = src(bx.hi * step + k, row);
                return bx.t * (b - a) + a;
            };
            const float top = k < c ? along(by.lo) : Bytes::pattern;
            const float bottom = k < c ? along(by.hi) : top;
            ASSERT_EQ(bl(column, y), int(top + by.t * (bottom - top))) << w << " to " << dw;
            const bool written = k < c && c % 2 == 1;
            ASSERT_EQ(nn(column, y),
                      written ? src(bx.nearest * step + k, by.nearest) : Bytes::pattern);
        });
    }
}

TEST(Raster, mask_extents) {
    using Box = std::vector<int>;
    Bytes a(9, 7, 2, [](int, int) { return 40; }), b(9, 7, 5, [](int, int) { return 40; });
    Box box(4, 9);
    const auto roi = [&] { return ff::ipf_get_mask_roi(a, 9, 7, a.stride, box.data(), 40); };
    const auto diff = [&] {
        return ff::ipf_get_mask_diff_roi(a, 9, 7, a.stride, b, b.stride, box.data());
    };
    EXPECT_FALSE(roi() || box != Box(4, 0)) << "a byte equal to the threshold is not above it";
    EXPECT_FALSE(diff() || box != Box(4, 0));
    a(8, 2) = a(3, 5) = 41, b(0, 6) = 0;
    EXPECT_TRUE(roi() && box == (Box{3, 2, 9, 6}));
    EXPECT_TRUE(diff() && box == (Box{0, 2, 9, 7}));
}

}  // namespace
