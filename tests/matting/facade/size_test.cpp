// Pictures as large as cameras make them, and longer than they should be. Kept below 3 GB.
#include <sys/resource.h>

#include <climits>
#include <cmath>
#include <fstream>
#include <string>

#include "matting/facade/dsc_matting.h"
#include "tests/support/guarded_raster.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

double available_memory() {
    std::ifstream lines("/proc/meminfo");
    double kilobytes = 0;
    for (std::string word; lines >> word;)
        if (word == "MemAvailable:") lines >> kilobytes;
    return 1024 * kilobytes;
}

// An orange disc on blue with a soft edge, in the lower right end of the picture, where indices are
// largest.
struct LargeDisc {
    LargeDisc(int width, int height)
        : w(width), h(height), img(3 * pixels()), seg(pixels()), out(pixels()) {
        std::size_t at = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x, ++at) {
                const float c = std::min(std::max(0.5f - distance(x, y), 0.0f), 1.0f);
                img[3 * at] = u8(200 - 160 * c), img[3 * at + 1] = 120;
                img[3 * at + 2] = u8(40 + 180 * c);
                seg[at] = c > 0.5f ? 255 : 0;
            }
    }
    std::size_t pixels() const { return std::size_t(w) * std::size_t(h); }
    float distance(int x, int y) const {
        const float side = float(std::min(w, h)), u = float(w - x) - 0.5f * side;
        const float v = float(h - y) - 0.5f * side;
        return std::sqrt(u * u + v * v) - 0.3f * side;
    }
    // Bytes that are wrong away from the edge.
    long wrong(const Map& matte, float margin) const {
        long count = 0;
        std::size_t at = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x, ++at) {
                const float d = distance(x, y);
                count += std::abs(d) > margin && std::abs(matte[at] - (d < 0 ? 255 : 0)) > 3;
            }
        return count;
    }
    int w, h;
    Map img, seg, out;
};

void expect_matte(int w, int h, int max_size, int band, float margin) {
    LargeDisc d(w, h);
    DSCMatting m(d.img.data(), w, h, 3 * w, d.seg.data(), w, max_size, band, 1, 3, 5, 50, band);
    ASSERT_TRUE(m.MakeMatte(d.out.data(), w, h, w, 3, 1));
    EXPECT_EQ(d.wrong(d.out, margin), 0);
    int stride = 0;
    const u8* const colour = m.GetFImage(&stride, 0);
    // In the middle of the disc, and in the last pixel, which is not the subject's.
    const int side = std::min(w, h) / 2;
    const u8* const middle = colour + std::ptrdiff_t(h - side) * stride + 3 * (w - side);
    EXPECT_TRUE(middle[0] == 40 && middle[2] == 220);
    EXPECT_EQ(colour[std::ptrdiff_t(h - 1) * stride + 3 * (w - 1)], 200);
    // The other road, and windows larger than anything.
    ASSERT_TRUE(m.MakeMatteFromSegmRes(d.seg.data(), w, h, w, d.out.data(), w, band, 1, 0, 1));
    EXPECT_EQ(d.wrong(d.out, margin), 0);
    m.SmoothBoundary(INT_MAX, INT_MAX);
}

TEST(Size, fifty_megapixels_end_to_end) {
    if (sanitized) GTEST_SKIP() << "takes minutes under a sanitizer";
    if (available_memory() < 3e9) GTEST_SKIP() << "needs 3 GB of memory that is not in use";
    expect_matte(8192, 6144, 640, 60, 80);
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 3000000) << "kilobytes";
}

TEST(Size, very_long_pictures) {
    expect_matte(65535, 40, 1000, 3, 5);
    expect_matte(40, 65535, 1000, 3, 5);
    expect_matte(65535, 40, 20, 3, 80);
}

}  // namespace
