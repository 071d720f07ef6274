// Any picture, mask and setting on buffers that show what is touched.
#include <sys/mman.h>

#include <chrono>
#include <climits>
#include <limits>
#include <new>

#include "matting/trimap/trimap.h"
#include "tests/matting/facade/disc.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
const double scales[] = {0, 0.5, 1e30, -1, inf, -inf, inf - inf};
const int sides[] = {INT_MIN, -1, 0, 1, 2, 3, 4, 5, INT_MAX};
const int bands[] = {0, 2, 1000000, INT_MAX, -1, INT_MIN};
const int counts[] = {0, 0, 1, 3, -1, 4, 1000000, INT_MAX, INT_MIN};  // step, smooth, keep

struct Mask {
    const char* name;
    int (*value)(int x, int y, int random_byte);
};
const Mask masks[] = {{"all 0", [](int, int, int) { return 0; }},
                      {"all 255", [](int, int, int) { return 255; }},
                      {"all unknown", [](int, int, int) { return 128; }},
                      {"noise", [](int, int, int r) { return r; }},
                      {"noise of three", [](int, int, int r) { return r % 3 * 128 - r % 3 / 2; }},
                      {"a lone unknown", [](int x, int y, int) { return x + y ? 255 : 128; }},
                      {"a column", [](int x, int, int) { return x == 2 ? 255 : 0; }}};

struct Call {
    template <class T, std::size_t N>
    static T one_of(Random& random, const T (&list)[N]) {
        return list[random.below(int(N))];
    }
    explicit Call(Random& r)
        : max_size(one_of(r, sides)),
          max_band(one_of(r, bands)),
          min_band(one_of(r, bands)),
          step(one_of(r, counts)),
          smooth(one_of(r, counts)),
          keep(one_of(r, counts)),
          scale(one_of(r, scales)),
          low(u8(r.below(256))),
          high(u8(r.below(256))) {}
    int max_size, max_band, min_band, step, smooth, keep;
    double scale;
    u8 low, high;
};

// The byte of every known pixel of `trimap` stands in `out`; without known ones nothing tells the
// unknown pixels apart.
void expect_known_kept(const Map& trimap, const Map& out) {
    const bool any = std::count(trimap.begin(), trimap.end(), 128) < long(trimap.size());
    int changed = 0;
    for (std::size_t i = 0; i < out.size(); ++i)
        changed += trimap[i] != 128 ? out[i] != trimap[i] : !any && out[i] != out[0];
    EXPECT_EQ(changed, 0);
}

void try_everything(Disc& d, const Call& c) {
    const int w = d.w, h = d.h;
    DSCMatting m(d.img, w, h, d.img.stride, d.seg, d.seg.stride, c.max_size, c.max_band, c.scale,
                 c.step, c.low, c.high, c.min_band);
    Map trimap(d.seg.payload().size());
    MakeTrimapFromSegRes(d.img, w, h, d.img.stride, d.seg, d.seg.stride, trimap.data(), w,
                         c.max_band, c.scale, c.step, c.low, c.high, c.min_band);
    InvertMatte(trimap.data(), w, h, w);
    EXPECT_TRUE(m.Refine(d.out, w, h, d.out.stride, 0, 0));
    expect_known_kept(trimap, d.out.payload());
    EXPECT_TRUE(m.MakeMatte(d.out, w, h, d.out.stride, c.smooth, c.keep));
    EXPECT_TRUE(m.MakeMatteFromSegmRes(d.seg, w, h, d.seg.stride, d.out, d.out.stride, c.max_band,
                                       c.scale, c.smooth, c.keep));
    m.Init(d.img, w, h, d.img.stride, c.max_size);
    m.Refine(d.seg, w, h, d.seg.stride, d.out, d.out.stride, 0, 0);
    expect_known_kept(d.seg.payload(), d.out.payload());
    m.SmoothBoundary(c.smooth, c.keep);
    m.GetAlpha(d.out, d.out.stride);
    Bytes colour(3 * w, h, 1);
    m.GetFImage(colour, colour.stride, c.keep);
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
                const Call c(random);
                SCOPED_TRACE(testing::Message()
                             << w << 'x' << h << ' ' << mask.name << " max_size " << c.max_size
                             << " bands " << c.max_band << ' ' << c.min_band << " scale " << c.scale
                             << " step " << c.step << " smooth " << c.smooth << " keep " << c.keep);
                const auto begin = std::chrono::steady_clock::now();
                try_everything(d, c);
                const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
                EXPECT_LT(took.count(), 2);
            }
}

// All methods on an object that has no photograph.
void expect_nothing_done(DSCMatting& m) {
    Bytes in(20, 16, 0), out(60, 16, 0);
    int stride = 7;
    m.set_alpha(in, 20, 16, 20);
    m.SmoothBoundary(3, 1);
    for (int side : {16, 0, -1}) {
        m.Refine(in, side, side, 20, out, 20, 3, 1);
        EXPECT_FALSE(m.Refine(out, side, side, 20, 3, 1) || m.MakeMatte(out, side, side, 20, 3, 1));
        EXPECT_FALSE(m.MakeMatteFromSegmRes(in, side, side, 20, out, 20, 3, 1, 3, 1));
    }
    m.GetAlpha(out, 20), m.GetFImage(out, 60, 1);
    EXPECT_TRUE(!m.GetAlpha(nullptr) && !m.GetFImage(&stride, 1) && stride == 7);
    EXPECT_EQ(out.payload(), Bytes(60, 16, 0).payload());
}

TEST(Degenerate, without_a_photograph_nothing_is_done) {
    DSCMatting m;
    expect_nothing_done(m);
    Disc d(20, 16);
    for (auto [w, h] : {std::pair(20, -1), {0, 16}, {INT_MIN, INT_MIN}})
        m.Init(d.img, w, h, 60, d.seg, 20, 100, 3, 1, 3, 5, 50, 1);
    m.Init(nullptr, 20, 16, 60, 100);
    expect_nothing_done(m);
    // Pixels are counted in ints; nothing of the picture is read.
    for (auto [w, h] : {std::pair(46341, 46341), {INT_MAX, 1}, {2, INT_MAX}, {INT_MAX, INT_MAX}}) {
        d.init(m, 100);
        EXPECT_THROW(m.Init(d.img, w, h, 60, d.seg, 20, 100, 3, 1, 3, 5, 50, 1), std::bad_alloc);
        expect_nothing_done(m);
    }
}

// A raster of a few rows so far apart that its size in bytes is no int; only touched pages count.
struct SparseRows {
    SparseRows(const Bytes& from, int row_stride)
        : w(from.w), h(from.h), stride(row_stride), bytes(std::size_t(stride) * std::size_t(h)) {
        data = static_cast<u8*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        if (data == MAP_FAILED) throw std::bad_alloc();
        from.each([&](int x, int y) { data[std::ptrdiff_t(y) * stride + x] = from(x, y); });
    }
    ~SparseRows() { munmap(data, bytes); }
    SparseRows(const SparseRows&) = delete;
    Map payload() const {
        Map all;
        for (int y = 0; y < h; ++y)
            all.insert(all.end(), data + std::ptrdiff_t(y) * stride,
                       data + std::ptrdiff_t(y) * stride + w);
        return all;
    }
    int w, h, stride;
    std::size_t bytes;
    u8* data;
};

TEST(Degenerate, rows_gigabytes_apart_are_found) {
    for (auto [h, stride] : {std::pair(12, 200000000), {4, INT_MAX}}) {
        Disc d(16, h);
        Bytes colour(48, h, 0);
        const SparseRows img(d.img, stride), seg(d.seg, stride), trimap(d.trimap, stride),
            out(d.out, stride), colour_out(colour, stride);
        DSCMatting near, far;
        d.init(near, 100);
        far.Init(img.data, 16, h, stride, seg.data, stride, 100, 5, 0.5, 3, 5, 50, 2);
        EXPECT_TRUE(far.MakeMatte(out.data, 16, h, stride, 3, 1));
        EXPECT_TRUE(near.MakeMatte(d.out, 16, h, 16, 3, 1));
        EXPECT_EQ(out.payload(), d.out.payload());
        EXPECT_TRUE(
            far.MakeMatteFromSegmRes(seg.data, 16, h, stride, out.data, stride, 3, 1, 0, 0));
        EXPECT_TRUE(near.MakeMatteFromSegmRes(d.seg, 16, h, 16, d.out, 16, 3, 1, 0, 0));
        EXPECT_EQ(out.payload(), d.out.payload());
        far.Refine(trimap.data, 16, h, stride, out.data, stride, 0, 0);
        EXPECT_EQ(out.payload(), d.refine(near));
        far.GetFImage(colour_out.data, stride, 1), near.GetFImage(colour, 48, 1);
        EXPECT_EQ(colour_out.payload(), colour.payload());
        far.set_alpha(img.data, 16, h, stride), far.GetAlpha(out.data, stride);
        EXPECT_EQ(out.payload()[std::size_t(16 * h - 1)], d.img(15, h - 1));
    }
}

}  // namespace
