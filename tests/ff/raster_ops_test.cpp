#include <cmath>
#include <functional>

#include "ff/components_color.h"
#include "ff/image.h"
#include "tests/support/guarded_raster.h"

namespace {

using ff::FVTImage;
using Pixels = std::function<int(int x, int y, int c)>;  // byte c of pixel (x, y)
using Call = std::function<bool(const FVTImage& src, FVTImage& dst)>;

constexpr int w = 7, h = 5;
const u8 mark[] = {201, 202, 203, 204, 205};

int source(int x, int y, int c) { return 1 + 31 * y + 4 * x + 24 * c; }

int grey(int x, int y) {
    return (299 * source(x, y, 2) + 587 * source(x, y, 1) + 114 * source(x, y, 0) + 500) / 1000;
}

// What FVTImage holds of 8-bit channels, or shall hold.
Map content(int width, int height, int channels, const Pixels& f) {
    Map all;
    for (int i = 0; i < width * height * channels; ++i)
        all.push_back(u8(f(i / channels % width, i / channels / width, i % channels)));
    return all;
}
Map content(const FVTImage& img) {
    const int channels = img.format >> 8;
    return content(img.width, img.height, channels, [&](int x, int y, int c) {
        return int(img.data[y * img.stride + x * channels + c]);
    });
}

// Runs `call` from a raster of n channels into one that fits, into an image that does not, and
// within one image; each becomes dw x dh pixels of `to` channels as expected.
void check(const char* name, int n, int dw, int dh, int to, const Call& call, const Pixels& f) {
    Bytes in(w * n, h, 2, [=](int x, int y) { return source(x / n, y, x % n); });
    Bytes out(dw * to, dh, 3);
    FVTImage src, fits, other(1, 1, 273, 1);
    src.Attach(in, w, h, 0x11 | n << 8, in.stride);
    fits.Attach(out, dw, dh, 0x11 | to << 8, out.stride);
    FVTImage same(src);
    for (FVTImage* dst : {&fits, &other, &same}) {
        EXPECT_TRUE(call(dst == &same ? same : src, *dst)) << name << n;
        EXPECT_EQ(dst->width * 100 + dst->height, dw * 100 + dh) << name << n;
        EXPECT_EQ(dst->format, 0x11 | to << 8) << name << n;
        EXPECT_EQ(content(*dst), content(dw, dh, to, f)) << name << n;
    }
    EXPECT_EQ(fits.data, out + 0) << name << " is written in place";
}

TEST(ImageOps, every_function_moves_the_right_bytes_and_no_others) {
    const auto in_frame = [](int x, int y) { return x < 2 || x >= w - 3 || y < 1 || y >= h - 2; };
    const Pixels nine = [](int, int, int) { return 9; };
    const Pixels marked = [](int, int, int c) { return mark[c]; };
    const Pixels tiles = [](int x, int y, int c) { return source(x % w, y % h, c); };
    const Pixels linear = [](int x, int y, int c) { return source(0, y, c) + std::min(2 * x, 24); };
    const Pixels nearest = [](int x, int y, int c) {
        return source(std::min((x + 1) / 2, w - 1), y == 0 ? 0 : y + 1, c);
    };
    const Pixels greys = [](int x, int y, int) { return grey(x, y); };
    using I = const FVTImage&;
    using O = FVTImage&;
    for (int n = 1; n <= 5; ++n) {
        // In-place functions work on a copy.
        const auto in_place = [=](const char* name, auto call, const Pixels& f) {
            check(
                name, n, w, h, n, [=](I s, O d) { return ff::fiCopy(s, d) && call(d); }, f);
        };
        check("copy", n, w, h, n, ff::fiCopy, source);
        for (int axes : {1, 2, 3}) {
            const Pixels flipped = [=](int x, int y, int c) {
                return source(axes & 1 ? w - 1 - x : x, axes & 2 ? h - 1 - y : y, c);
            };
            check(
                "flip", n, w, h, n, [=](I s, O d) { return ff::fiFlip(s, d, axes); }, flipped);
            in_place(
                "flip in place", [=](O d) { return ff::fiFlip(d, axes); }, flipped);
        }
        for (int tw : {17, 3})
            check(
                "tile", n, tw, 12, n, [=](I s, O d) { return ff::fiTile(s, d, tw, 12); }, tiles);
        const auto halve = [](const u8* p, u8* q) { q[1] = u8(p[0] / 2), q[0] = u8(255 - p[0]); };
        check(
            "transform", n, w, h, 2,
            [=](I s, O d) { return ff::fiTransformPixel(s, d, 0x211, halve); },
            [](int x, int y, int c) { return c ? source(x, y, 0) / 2 : 255 - source(x, y, 0); });
        check(
            "get channel", n, w, h, 1, [=](I s, O d) { return ff::fiGetChannel(s, d, n / 2); },
            [=](int x, int y, int) { return source(x, y, n / 2); });
        check(
            "resize", n, 14, h, n, [](I s, O d) { return ff::fiResize(s, d, 14, h, 1); }, linear);
        check(
            "scale", n, 14, 3, n, [](I s, O d) { return ff::fiScale(s, d, 2, 0.5, 0); }, nearest);
        in_place(
            "swap channels", [=](O d) { return ff::fiSwapChannels(d, 0, n - 1); },
            [=](int x, int y, int c) {
                return source(x, y, c == 0 ? n - 1 : c == n - 1 ? 0 : c);
            });
        in_place(
            "set", [](O d) { return ff::fiSetMem(d, 9); }, nine);
        in_place(
            "set pixel", [](O d) { return ff::fiSetPixel(d, mark); }, marked);
        in_place(
            "cover", [](O d) { return ff::fiSetBoundary(d, 0, 3, 1 << 30, 1 << 30, 9); }, nine);
        in_place(
            "boundary",
            [](O d) {
                return ff::fiSetBoundary(d, 2, 1, 3, 2, 5) &&
                       ff::fiSetBoundaryPixel(d, 1, -5, 0, 0, mark);
            },
            [=](int x, int y, int c) {
                return x == 0 ? int(mark[c]) : in_frame(x, y) ? 5 : source(x, y, c);
            });
        const u8 bits[] = {0x80, 99, 0x41, 99, 0x02, 99, 0x00, 99, 0xff};
        in_place(
            "bits", [&](O d) { return ff::fiuFillBits(bits, w, h, 2, d.data, d.stride, n, mark); },
            [](int x, int y, int c) {
                const bool set = y == 4 || (x == y && x < 2) || (x == 6 && y == 2);
                return set ? int(mark[c]) : source(x, y, c);
            });
        for (int to : {1, 3, 4})
            if (n != 2 && n != 5)
                check(
                    "convert", n, w, h, to,
                    [=](I s, O d) { return ff::fiConvertRGBChannels(s, d, to); },
                    [=](int x, int y, int c) {
                        if (c == 3) return n == 4 ? source(x, y, 3) : 255;
                        return n == 1 ? source(x, y, 0) : to > 1 ? source(x, y, c) : grey(x, y);
                    });
        if (n >= 3) check("grey", n, w, h, 1, ff::fiColorToGray, greys);
    }
}

TEST(ImageOps, channels_are_copied_between_pixels_of_different_sizes) {
    for (int depth : {1, 2}) {
        Bytes in(3 * w * depth, h, 1, [](int x, int y) { return x + 40 * y; });
        Bytes out(4 * w * depth, h, 2);
        FVTImage src, dst;
        src.Attach(in, w, h, 0x301 | depth << 4, in.stride);
        dst.Attach(out, w, h, 0x401 | depth << 4, out.stride);
        EXPECT_TRUE(ff::fiCopyChannels(src, dst, 1, 0, 2));
        out.each([&](int x, int y) {
            const int c = x % (4 * depth), from = x / (4 * depth) * 3 * depth + depth + c;
            EXPECT_EQ(out(x, y), c < 2 * depth ? from + 40 * y : int(Bytes::pattern));
        });
    }
}

TEST(ImageOps, samples_are_cast_with_rounding_and_clamping) {
    const float values[] = {-1e30f, -200.5f, -1.5f, 0.49f, 0.5f, 99.5f, 40000.25f, 1e30f, NAN};
    FVTImage src(3, 3, 0x143, 1), dst;
    std::copy_n(values, 9, reinterpret_cast<float*>(src.data));
    const struct {
        int kind;
        std::vector<float> expected;
    } table[] = {{0x11, {0, 0, 0, 0, 1, 100, 255, 255, 0}},
                 {0x12, {-128, -128, -1, 0, 1, 100, 127, 127, 0}},
                 {0x21, {0, 0, 0, 0, 1, 100, 40000, 65535, 0}},
                 {0x22, {-32768, -200, -1, 0, 1, 100, 32767, 32767, 0}},
                 {0x42, {-0x1p31f, -200, -1, 0, 1, 100, 40000, 0x1p31f, 0}}};
    for (const auto& t : table) {
        EXPECT_TRUE(ff::fiCastDepth(src, dst, t.kind));
        EXPECT_EQ(dst.format, 0x100 | t.kind);
        EXPECT_TRUE(ff::fiCastDepth(dst, dst, 0x43)) << "and back";
        const auto* cast = reinterpret_cast<const float*>(dst.data);
        EXPECT_EQ(std::vector<float>(cast, cast + 9), t.expected) << t.kind;
    }
}

TEST(ImageOps, bad_arguments_are_refused_and_change_nothing) {
    const FVTImage empty, floats(w, h, 0x343, 4), src(w, h, 785, 4), two(w, h, 0x211, 4);
    FVTImage dst(two), none;
    ff::fiSetMem(dst, 7);
    const auto any = [&](const FVTImage& s, int axes, int size, int kind, int channel, int mode) {
        return ff::fiFlip(s, dst, axes) || ff::fiTile(s, dst, size, 3) ||
               ff::fiCastDepth(s, dst, kind) || ff::fiGetChannel(s, dst, channel) ||
               ff::fiCopyChannels(s, dst, channel, 0, 1) ||
               ff::fiConvertRGBChannels(s, dst, channel - 1) ||
               ff::fiResize(s, dst, 3, size, mode) || ff::fiScale(s, dst, 1, size, mode);
    };
    EXPECT_FALSE(any(empty, 1, 3, 0x12, 2, 0) || any(src, 0, 0, 0x13, 3, 0));
    EXPECT_FALSE(any(src, 4, -1, 0x111, -1, 7));
    EXPECT_FALSE(ff::fiCopy(empty, dst) || ff::fiTransformPixel(empty, dst, 785, ff::ipf_bgr2lab) ||
                 ff::fiTransformPixel(src, dst, 785, nullptr) ||
                 ff::fiTransformPixel(src, dst, 0x11, ff::ipf_bgr2lab));
    EXPECT_FALSE(ff::fiSetMem(none, 1) || ff::fiFlip(none, 1) || ff::fiSwapChannels(none, 0, 0) ||
                 ff::fiSetPixel(none, mark) || ff::fiSetBoundary(none, 1, 1, 1, 1, 1) ||
                 ff::fiSetBoundaryPixel(none, 1, 1, 1, 1, mark) || ff::fiSetPixel(dst, nullptr));
    EXPECT_FALSE(ff::fiSwapChannels(dst, 0, 2) || ff::fiCopyChannels(src, dst, 2, 0, 2) ||
                 ff::fiCopyChannels(src, dst, 0, 1, 2) || ff::fiCopyChannels(dst, dst, 0, 1, 1));
    EXPECT_FALSE(ff::fiCopyChannels(floats, dst, 0, 0, 1) || ff::fiColorToGray(floats, dst) ||
                 ff::fiConvertRGBChannels(floats, dst, 1) || ff::fiResize(floats, dst, 3, 3, 1));
    for (double bad : {1e9, double(NAN), HUGE_VAL})
        EXPECT_FALSE(ff::fiScale(src, dst, bad, 1, 0) || ff::fiScale(src, dst, 1, bad, 0));
    EXPECT_FALSE(ff::fiuCopy(src.data, 1 << 30, 1, 4, 3, dst.data, 4)) << "a row beyond an int";
    EXPECT_FALSE(ff::fiuFlipY(src.data, w, h, 24, 3, nullptr, 24) ||
                 ff::fiuSwapChannels(dst.data, w, h, dst.stride, 2, 0, 1, 2) ||
                 ff::fiuFillBits(nullptr, w, h, 1, dst.data, dst.stride, 2, mark) ||
                 ff::fiuGrayToColor(src.data, w, h, 24, 1, dst.data, 8, 2));
    EXPECT_EQ(content(dst), Map(2 * w * h, 7));

    FVTImage img;
    EXPECT_FALSE(ff::fiAlloc(img, 0, 3, 785, 4) || ff::fiAlloc(img, 3, 3, 0x301, 4));
    EXPECT_TRUE(!ff::fiAllocImageData(0, 4) && !ff::fiAllocImageData(10, -1, 785, 4));
    EXPECT_TRUE(ff::fiAlloc(img, 10, 4, 785, 4) && img.stride == 32);
    EXPECT_TRUE(ff::fiFree(img) && !img.data);
    for (u8* block : {ff::fiAllocImageData(32, 4), ff::fiAllocImageData(10, 4, 785, 4)}) {
        std::fill_n(block, 128, u8(1));  // the sanitizer knows the size
        ff::ff_free(block);
    }
}

}  // namespace
