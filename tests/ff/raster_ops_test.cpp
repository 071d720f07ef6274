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

int grey(int x, int y, int) {
    return (299 * source(x, y, 2) + 587 * source(x, y, 1) + 114 * source(x, y, 0) + 500) / 1000;
}

// The shape and the 8-bit channels of an image, as they shall be and as they are.
Map content(int width, int height, int format, const Pixels& f) {
    const int channels = format >> 8;
    Map all{u8(width), u8(height), u8(format), u8(channels)};
    for (int i = 0; i < width * height * channels; ++i)
        all.push_back(u8(f(i / channels % width, i / channels / width, i % channels)));
    return all;
}
Map content(const FVTImage& img) {
    return content(img.width, img.height, img.format, [&](int x, int y, int c) {
        return int(img.data[y * img.stride + x * (img.format >> 8) + c]);
    });
}

// Runs `call` from a raster of n channels into one that fits, into an image that does not, and
// within one image; each becomes dw x dh pixels of `to` channels as expected.
void check(const char* name, int n, int dw, int dh, int to, const Pixels& f, const Call& call) {
    Bytes in(w * n, h, 2, [=](int x, int y) { return source(x / n, y, x % n); });
    Bytes out(dw * to, dh, 3);
    FVTImage src, fits, other(1, 1, 273, 1);
    src.Attach(in, w, h, 0x11 | n << 8, in.stride);
    fits.Attach(out, dw, dh, 0x11 | to << 8, out.stride);
    FVTImage same(src);
    for (FVTImage* dst : {&fits, &other, &same}) {
        EXPECT_TRUE(call(dst == &same ? same : src, *dst)) << name << n;
        EXPECT_EQ(content(*dst), content(dw, dh, 0x11 | to << 8, f)) << name << n;
    }
    EXPECT_EQ(fits.data, out + 0) << name << " is written in place";
}

TEST(ImageOps, every_function_moves_the_right_bytes_and_no_others) {
    const Pixels nine = [](int, int, int) { return 9; };
    const Pixels marked = [](int, int, int c) { return mark[c]; };
    const Pixels tiles = [](int x, int y, int c) { return source(x % w, y % h, c); };
    const Pixels linear = [](int x, int y, int c) { return source(0, y, c) + std::min(2 * x, 24); };
    const Pixels nearest = [](int x, int y, int c) { return source(x, y ? y + 1 : 0, c); };
    const Pixels swapped = [](int x, int y, int c) { return source(x, y, c < 2 ? 1 - c : c); };
    const Pixels inverse = [](int x, int y, int) { return 255 - source(x, y, 0); };
    const auto invert = [](const u8* p, u8* q) { q[0] = q[1] = u8(255 - p[0]); };
    const Pixels framed = [](int x, int y, int c) {
        const bool in_frame = x < 2 || x >= w - 3 || y < 1 || y >= h - 2;
        return x == 0 ? int(mark[c]) : in_frame ? 5 : source(x, y, c);
    };
    static const u8 bits[] = {0x80, 99, 0x41, 99, 0x02, 99, 0x00, 99, 0xff};
    const Pixels from_bits = [](int x, int y, int c) {
        return bits[2 * y] << x & 0x80 ? int(mark[c]) : source(x, y, c);
    };
    using I = const FVTImage&;
    using O = FVTImage&;
    for (int n = 1; n <= 5; ++n) {
        const auto in_place = [=](const char* name, const Pixels& f, auto call) {
            check(name, n, w, h, n, f, [=](I s, O d) { return ff::fiCopy(s, d) && call(d); });
        };
        const Pixels last = [=](int x, int y, int) { return source(x, y, n - 1); };
        for (int axes : {1, 2, 3}) {
            const Pixels flipped = [=](int x, int y, int c) {
                return source(axes & 1 ? w - 1 - x : x, axes & 2 ? h - 1 - y : y, c);
            };
            check("flip", n, w, h, n, flipped, [=](I s, O d) { return ff::fiFlip(s, d, axes); });
            in_place("flip in place", flipped, [=](O d) { return ff::fiFlip(d, axes); });
        }
        check("tile", n, 17, 12, n, tiles, [=](I s, O d) { return ff::fiTile(s, d, 17, 12); });
        check("transform", n, w, h, 2, inverse,
              [=](I s, O d) { return ff::fiTransformPixel(s, d, 0x211, invert); });
        check("channel", n, w, h, 1, last, [=](I s, O d) { return ff::fiGetChannel(s, d, n - 1); });
        check("resize", n, 14, h, n, linear, [](I s, O d) { return ff::fiResize(s, d, 14, h, 1); });
        check("scale", n, w, 3, n, nearest, [](I s, O d) { return ff::fiScale(s, d, 1, 0.5, 0); });
        if (n > 1) in_place("swap", swapped, [](O d) { return ff::fiSwapChannels(d, 0, 1); });
        in_place("set pixel", marked, [](O d) { return ff::fiSetPixel(d, mark); });
        in_place("cover", nine, [](O d) { return ff::fiSetBoundary(d, 0, 3, w, 1 << 30, 9); });
        in_place("boundary", framed, [](O d) {
            return ff::fiSetBoundary(d, 2, 1, 3, 2, 5) &&
                   ff::fiSetBoundaryPixel(d, 1, -5, 0, 0, mark);
        });
        in_place("bits", from_bits,
                 [&](O d) { return ff::fiuFillBits(bits, w, h, 2, d.data, d.stride, n, mark); });
        for (int to : {1, 3, 4}) {
            const Pixels converted = [=](int x, int y, int c) {
                if (c == 3) return n == 4 ? source(x, y, 3) : 255;
                return n == 1 ? source(x, y, 0) : to > 1 ? source(x, y, c) : grey(x, y, 0);
            };
            if (n != 2 && n != 5)
                check("convert", n, w, h, to, converted,
                      [=](I s, O d) { return ff::fiConvertRGBChannels(s, d, to); });
        }
        if (n >= 3) check("grey", n, w, h, 1, grey, ff::fiColorToGray);
    }
}

TEST(ImageOps, channels_are_copied_between_pixels_of_different_sizes) {
    Bytes in(3 * w * 2, h, 1, [](int x, int y) { return x + 40 * y; }), out(4 * w * 2, h, 2);
    FVTImage src, dst;
    src.Attach(in, w, h, 0x321, in.stride);
    dst.Attach(out, w, h, 0x421, out.stride);
    EXPECT_TRUE(ff::fiCopyChannels(src, dst, 1, 0, 2));
    out.each([&](int x, int y) {  // samples of two bytes
        const int c = x % 8, from = x / 8 * 6 + 2 + c;
        EXPECT_EQ(out(x, y), c < 4 ? from + 40 * y : int(Bytes::pattern));
    });
}

TEST(ImageOps, samples_are_cast_with_rounding_and_clamping) {
    const float values[] = {-1e30f, -200.5f, -1.5f, 0.49f, 0.5f, 99.5f, 40000.25f, 1e30f, NAN};
    FVTImage src(3, 3, 0x143, 1), dst;
    std::copy_n(values, 9, reinterpret_cast<float*>(src.data));
    const std::pair<int, std::vector<float>> table[] = {
        {0x11, {0, 0, 0, 0, 1, 100, 255, 255, 0}},
        {0x12, {-128, -128, -1, 0, 1, 100, 127, 127, 0}},
        {0x21, {0, 0, 0, 0, 1, 100, 40000, 65535, 0}},
        {0x22, {-32768, -200, -1, 0, 1, 100, 32767, 32767, 0}},
        {0x42, {-0x1p31f, -200, -1, 0, 1, 100, 40000, 0x1p31f, 0}}};
    for (const auto& [kind, expected] : table) {
        EXPECT_TRUE(ff::fiCastDepth(src, dst, kind));
        EXPECT_TRUE(dst.format == (0x100 | kind) && ff::fiCastDepth(dst, dst, 0x43)) << "and back";
        const auto* cast = reinterpret_cast<const float*>(dst.data);
        EXPECT_EQ(std::vector<float>(cast, cast + 9), expected) << kind;
    }
}

TEST(ImageOps, bad_arguments_are_refused_and_change_nothing) {
    const FVTImage empty, floats(w, h, 0x343, 4), src(w, h, 785, 4);
    FVTImage dst(w, h, 0x211, 4), img;
    ff::fiSetMem(dst, 7);
    EXPECT_FALSE(ff::fiCopy(empty, dst) || ff::fiFlip(src, dst, 0) || ff::fiFlip(src, dst, 4) ||
                 ff::fiTile(src, dst, 0, 3) || ff::fiCastDepth(src, dst, 0x13) ||
                 ff::fiResize(src, dst, 3, 3, 7) || ff::fiResize(src, dst, 3, -1, 0) ||
                 ff::fiAlloc(img, 0, 3, 785, 4));
    EXPECT_FALSE(ff::fiGetChannel(src, dst, 3) || ff::fiGetChannel(src, dst, -1) ||
                 ff::fiSwapChannels(dst, 0, 2) || ff::fiCopyChannels(src, dst, 2, 0, 2) ||
                 ff::fiCopyChannels(src, dst, 0, 1, 2) || ff::fiCopyChannels(dst, dst, 0, 1, 1) ||
                 ff::fiConvertRGBChannels(src, dst, 2));
    EXPECT_FALSE(ff::fiCopyChannels(floats, dst, 0, 0, 1) || ff::fiColorToGray(floats, dst) ||
                 ff::fiConvertRGBChannels(floats, dst, 1) || ff::fiResize(floats, dst, 3, 3, 1));
    for (double bad : {1e9, double(NAN), HUGE_VAL})
        EXPECT_FALSE(ff::fiScale(src, dst, bad, 1, 0) || ff::fiScale(src, dst, 1, bad, 0));
    EXPECT_FALSE(ff::fiuCopy(src.data, 1 << 30, 1, 4, 3, dst.data, 4)) << "a row beyond an int";
    EXPECT_EQ(content(dst), content(w, h, 0x211, [](int, int, int) { return 7; }));
    ff::ff_free(ff::fiAllocImageData(10, 4, 785, 4));  // the caller's: freed by nobody else
}

}  // namespace
