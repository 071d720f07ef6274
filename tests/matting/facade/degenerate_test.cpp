// Any picture, mask and setting on buffers that show what is touched.
#include <sys/mman.h>

#include <chrono>
#include <climits>
#include <new>

#include "matting/trimap/trimap.h"
#include "tests/matting/facade/disc.h"

namespace {

const double scales[] = {0, 0.5, 1e30, -1, HUGE_VAL, -HUGE_VAL, double(NAN)};
const int values[] = {0, 0, 1, 2, 3, 4, 5, -1, 1000000, INT_MAX, INT_MIN};

struct Mask {
    const char* name;
    int (*value)(int x, int y, int random_byte);
};
const Mask masks[] = {{"all 0", [](int, int, int) { return 0; }},
                      {"all 255", [](int, int, int) { return 255; }},
                      {"all unknown", [](int, int, int) { return 128; }},
                      {"noise", [](int, int, int r) { return r; }},
                      {"noise of three", [](int, int, int r) { return r % 3 * 128 - r % 3 / 2; }},
                      {"a lone unknown", [](int x, int y, int) { return x + y ? 255 : 128; }}};

// The byte of every known pixel of `trimap` stands in `out`; without known ones nothing tells the
// unknown pixels apart.
void expect_known_kept(const Map& trimap, const Map& out) {
    const bool any = std::count(trimap.begin(), trimap.end(), 128) < long(trimap.size());
    int changed = 0;
    for (std::size_t i = 0; i < out.size(); ++i)
        changed += trimap[i] != 128 ? out[i] != trimap[i] : !any && out[i] != out[0];
    EXPECT_EQ(changed, 0);
}

void try_everything(Disc& d, const int (&v)[6], double scale, u8 low, u8 high) {
    const auto [max_size, max_band, min_band, step, smooth, keep] = v;
    DSCMatting m(d.img, d.w, d.h, d.img.stride, d.seg, d.seg.stride, max_size, max_band, scale,
                 step, low, high, min_band);
    Map trimap(d.seg.payload().size());
    MakeTrimapFromSegRes(d.img, d.w, d.h, d.img.stride, d.seg, d.seg.stride, trimap.data(), d.w,
                         max_band, scale, step, low, high, min_band);
    EXPECT_TRUE(m.Refine(d.out, d.w, d.h, d.out.stride, 0, 0));
    expect_known_kept(inverted(trimap), d.out.payload());
    EXPECT_TRUE(m.MakeMatte(d.out, d.w, d.h, d.out.stride, smooth, keep));
    EXPECT_TRUE(m.MakeMatteFromSegmRes(d.seg, d.w, d.h, d.seg.stride, d.out, d.out.stride, max_band,
                                       scale, smooth, keep));
    d.short_init(m, max_size);
    m.Refine(d.seg, d.w, d.h, d.seg.stride, d.out, d.out.stride, 0, 0);
    expect_known_kept(d.seg.payload(), d.out.payload());
    m.SmoothBoundary(smooth, keep);
    m.GetAlpha(d.out, d.out.stride);
    Bytes colour(3 * d.w, d.h, 1);
    m.GetFImage(colour, colour.stride, keep);
    colour.each([&](int x, int y) {
        const u8 alpha = d.out(x / 3, y);
        ASSERT_TRUE((alpha >= 1 && alpha <= 253) || colour(x, y) == d.img(x, y)) << x << ' ' << y;
    });
}

TEST(Degenerate, every_picture_mask_and_setting_is_answered) {
    std::vector<std::pair<int, int>> sizes{{4000, 3}, {3, 4000}, {31, 27}};
    for (int n = 0; n < 25; ++n) sizes.emplace_back(1 + n % 5, 1 + n / 5);
    Random random(51);
    for (const auto& [w, h] : sizes)
        for (const Mask& mask : masks)
            for (int n = 0; n < 20; ++n) {
                Disc d(w, h, n % 3);
                d.seg.fill([&](int x, int y) { return mask.value(x, y, random.below(256)); });
                if (n % 2) d.img.fill(noise(random));
                int v[6];
                for (int& value : v) value = values[random.below(int(std::size(values)))];
                const double scale = scales[random.below(int(std::size(scales)))];
                SCOPED_TRACE(testing::PrintToString(
                    std::tuple(w, h, mask.name, v[0], v[1], v[2], v[3], v[4], v[5], scale)));
                const auto begin = std::chrono::steady_clock::now();
                try_everything(d, v, scale, u8(random.below(256)), u8(random.below(256)));
                EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
            }
}

TEST(Degenerate, pictures_that_are_none_or_too_large_leave_no_photograph) {
    DSCMatting m;
    Disc d(20, 16);
    const auto expect_none = [&] {
        EXPECT_FALSE(m.GetAlpha(nullptr) || m.GetFImage(nullptr, 1) ||
                     m.MakeMatte(d.out, 20, 16, 20, 3, 1));
    };
    for (auto [w, h] : {std::pair(20, -1), {0, 16}, {INT_MIN, INT_MIN}})
        m.Init(d.img, w, h, 60, d.seg, 20, 100, 3, 1, 3, 5, 50, 1);
    expect_none();
    // Pixels are counted in ints; nothing of the picture is read.
    for (auto [w, h] : {std::pair(46341, 46341), {INT_MAX, 1}, {2, INT_MAX}, {INT_MAX, INT_MAX}}) {
        d.init(m, 100);
        EXPECT_THROW(m.Init(d.img, w, h, 60, d.seg, 20, 100, 3, 1, 3, 5, 50, 1), std::bad_alloc);
        expect_none();
    }
}

// What a matting object makes of a disc, all rasters side by side in h rows `far` bytes apart; only
// touched pages count.
Map made(int h, std::ptrdiff_t far) {
    const std::size_t bytes = std::size_t(far) * std::size_t(h);
    u8* const at = static_cast<u8*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    u8 *const img = at, *const seg = at + 100, *const trimap = at + 200, *const out = at + 300;
    const int stride = int(far);
    const Disc d(16, h);
    d.img.each([&](int x, int y) { img[y * far + x] = d.img(x, y); });
    d.seg.each([&](int x, int y) { seg[y * far + x] = d.seg(x, y); });
    d.trimap.each([&](int x, int y) { trimap[y * far + x] = d.trimap(x, y); });
    Map all;
    const auto note = [&](int width) {
        for (int i = 0; i < width * h; ++i) all.push_back(out[i / width * far + i % width]);
    };
    DSCMatting m;
    m.Init(img, 16, h, stride, seg, stride, 100, 5, 0.5, 3, 5, 50, 2);
    EXPECT_TRUE(m.MakeMatte(out, 16, h, stride, 3, 1));
    note(16);
    m.MakeMatteFromSegmRes(seg, 16, h, stride, out, stride, 3, 1, 0, 0), note(16);
    m.Refine(trimap, 16, h, stride, out, stride, 0, 0), note(16);
    m.GetFImage(out, stride, 1), note(48);
    m.set_alpha(seg, 16, h, stride), m.GetAlpha(out, stride), note(16);
    munmap(at, bytes);
    return all;
}

TEST(Degenerate, rows_gigabytes_apart_are_found) {
    EXPECT_EQ(made(12, 200000000), made(12, 400));
    EXPECT_EQ(made(4, INT_MAX), made(4, 400));
}

}  // namespace
