// Pictures as large as cameras make them, and longer than they should be. Kept below 3 GB.
#include <sys/resource.h>

#include <climits>
#include <cmath>
#include <fstream>
#include <string>

#include "matting/facade/dsc_matting.h"
#include "tests/support/guarded_raster.h"

namespace {

double available_memory() {
    std::ifstream lines("/proc/meminfo");
    double kilobytes = 0;
    for (std::string word; lines >> word;)
        if (word == "MemAvailable:") lines >> kilobytes;
    return 1024 * kilobytes;
}

// An orange disc on blue with a soft edge, in the lower right end of the picture, where indices are
// largest, comes back from both roads, and its colour too.
void expect_matte(int w, int h, int max_size, int band, float margin) {
    const float side = float(std::min(w, h));
    const auto distance = [=](int x, int y) {
        const float u = float(w - x) - 0.5f * side, v = float(h - y) - 0.5f * side;
        return std::sqrt(u * u + v * v) - 0.3f * side;
    };
    const auto each = [=](auto pixel) {
        for (std::ptrdiff_t y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) pixel(std::size_t(y * w + x), distance(x, int(y)));
    };
    const std::size_t pixels = std::size_t(w) * std::size_t(h);
    Map img(3 * pixels, 120), seg(pixels), out(pixels);
    each([&](std::size_t i, float d) {
        const float c = std::min(std::max(0.5f - d, 0.0f), 1.0f);
        img[3 * i] = u8(200 - 160 * c), img[3 * i + 2] = u8(40 + 180 * c);
        seg[i] = c > 0.5f ? 255 : 0;
    });
    long wrong = 0;
    const auto count_wrong = [&](std::size_t i, float d) {
        wrong += std::abs(d) > margin && std::abs(out[i] - (d < 0 ? 255 : 0)) > 3;
    };
    DSCMatting m(img.data(), w, h, 3 * w, seg.data(), w, max_size, band, 1, 3, 5, 50, band);
    ASSERT_TRUE(m.MakeMatte(out.data(), w, h, w, 3, 1));
    each(count_wrong);
    int stride = 0;
    const u8* const colour = m.GetFImage(&stride, 0);
    const u8* const middle =
        colour + (h - std::ptrdiff_t(side / 2)) * stride + 3 * (w - std::ptrdiff_t(side / 2));
    EXPECT_TRUE(middle[0] == 40 && middle[2] == 220);
    EXPECT_EQ(colour[std::ptrdiff_t(h - 1) * stride + 3 * (w - 1)], 200);
    ASSERT_TRUE(m.MakeMatteFromSegmRes(seg.data(), w, h, w, out.data(), w, band, 1, 0, 1));
    each(count_wrong);
    EXPECT_EQ(wrong, 0);
    m.SmoothBoundary(INT_MAX, INT_MAX);
}

TEST(Size, fifty_megapixels_end_to_end) {
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
