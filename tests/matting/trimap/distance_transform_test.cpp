#include "matting/trimap/distance_transform.h"

#include <climits>

#include "tests/support/guarded_raster.h"

namespace {

using Floats = std::vector<float>;

TEST(DistanceTransform, equals_brute_force_at_every_size) {
    Random random(31);
    for (int n = 0; n < 120; ++n) {
        const int w = 1 + n % 40, h = random.between(1, 17), rarity = random.between(2, 60);
        Floats grid(w * h), expected(w * h, 3e38f);
        for (float& f : grid) f = random.below(rarity) ? 1e20f : float(n % 2 * random.below(99));
        Floats line(grid.begin(), grid.begin() + w), first(w, 3e38f);
        for (int i = 0; i < w * h; ++i) {
            for (int j = 0; j < w * h; ++j) {
                const int dx = i % w - j % w, dy = i / w - j / w;
                expected[i] = std::min(expected[i], grid[j] + float(dx * dx + dy * dy));
                if (i < w && j < w) first[i] = std::min(first[i], grid[j] + float(dx * dx));
            }
        }
        const std::unique_ptr<float[]> along(DistanceTransform1D(line.data(), w));
        EXPECT_EQ(Floats(along.get(), along.get() + w), first) << w;
        EXPECT_TRUE(std::equal(line.begin(), line.end(), grid.begin()));
        DistanceTransform(grid.data(), w, h);
        ASSERT_EQ(grid, expected) << w << 'x' << h;
    }
    const std::unique_ptr<float[]> none(DistanceTransform1D(nullptr, 0));
    Bytes mask(3, 2, 5, [](int x, int y) { return x * y; });
    const std::unique_ptr<float[]> input(DPLMatting_MakeDTInput(mask, 3, 2, mask.stride));
    EXPECT_EQ(Floats(input.get(), input.get() + 6), (Floats{0, 0, 0, 0, 1e20f, 1e20f}));
}

// Squares beyond 4096^2 are rounded, which shows in the result: columns count as lines all the
// same.
TEST(DistanceTransform, tall_columns_equal_their_own_transform) {
    Random random(3);
    for (const int h : {4096, 4097, 4300, 9000})
        for (const int gap : {2, 30, 3000, 30000}) {
            Floats grid(h);
            for (float& f : grid) f = random.below(gap) ? 1e20f : 0;
            const std::unique_ptr<float[]> line(DistanceTransform1D(grid.data(), h));
            DistanceTransform(grid.data(), 1, h);
            EXPECT_TRUE(std::equal(grid.begin(), grid.end(), line.get())) << h << ' ' << gap;
        }
}

TEST(Seeds, high_contrast_becomes_unknown_and_nothing_else_is) {
    Random random(32);
    for (int radius : {0, 2, 5, -4, INT_MAX}) {
        Bytes src(23, 11, 3, noise(random, 60, 190)), dst(23, 11, 1);
        src(5, 5) = 128;
        MakeSeeds(src, 23, 11, src.stride, dst, dst.stride, radius);
        dst.each([&](int x, int y) {
            const Window window(src, x, y, std::min(std::max(radius | 1, 1), 99));
            const int kept = src(x, y) == 128 ? 127 : src(x, y);
            ASSERT_EQ(dst(x, y), window.most - window.least > 127 ? 128 : kept) << radius;
        });
    }
}

TEST(InvertMatte, spares_only_128) {
    Bytes all(256, 2, 9, [](int x, int) { return x; });
    InvertMatte(all, 256, 2, all.stride), InvertMatte(all, 256, 0, all.stride);
    for (int b = 0; b < 256; ++b) EXPECT_EQ(all(b, 1), b == 128 ? 128 : 255 - b);
}

}  // namespace
