#include "matting/trimap/distance_transform.h"

#include <algorithm>
#include <climits>

#include "tests/support/guarded_raster.h"

namespace {

using Floats = std::vector<float>;

TEST(DistanceTransform, equals_brute_force_at_every_size) {
    Random random(31);
    for (int n = 0; n < 120; ++n) {
        const int w = 1 + n % 40, h = random.between(1, 17), rarity = random.between(2, 60);
        Floats grid(w * h), line(w);
        for (float& f : grid)
            f = random.below(rarity) ? 1e20f : n % 2 ? 0.0f : float(random.below(99));
        std::copy_n(grid.begin(), w, line.begin());
        const auto cost = [&](int i, int j) {
            const int dx = i % w - j % w, dy = i / w - j / w;
            return grid[j] + float(dx * dx + dy * dy);
        };
        Floats expected(w * h, 3e38f), first(w, 3e38f);
        for (int i = 0; i < w * h; ++i)
            for (int j = 0; j < w * h; ++j) expected[i] = std::min(expected[i], cost(i, j));
        for (int i = 0; i < w * w; ++i) first[i / w] = std::min(first[i / w], cost(i / w, i % w));
        const std::unique_ptr<float[]> along(DistanceTransform1D(line.data(), w));
        EXPECT_EQ(Floats(along.get(), along.get() + w), first) << w;
        EXPECT_TRUE(std::equal(line.begin(), line.end(), grid.begin()));
        DistanceTransform(grid.data(), w, h);
        ASSERT_EQ(grid, expected) << w << 'x' << h;
    }
    DistanceTransform(nullptr, 3, 3);
    const std::unique_ptr<float[]> none(DistanceTransform1D(nullptr, 0));
}

TEST(DistanceTransform, its_input_is_zero_outside_the_mask) {
    Bytes mask(3, 2, 5, [](int x, int y) { return x * y; });
    const std::unique_ptr<float[]> grid(DPLMatting_MakeDTInput(mask.data(), 3, 2, mask.stride()));
    EXPECT_EQ(Floats(grid.get(), grid.get() + 6), (Floats{0, 0, 0, 0, 1e20f, 1e20f}));
}

TEST(Seeds, high_contrast_becomes_unknown_and_nothing_else_is) {
    Random random(32);
    for (int radius : {0, 1, 2, 5, -4, INT_MAX}) {
        Bytes src(23, 11, 3, noise(random, 60, 190)), dst(23, 11, 1);
        src.at(5, 5) = 128;
        MakeSeeds(src.data(), 23, 11, src.stride(), dst.data(), dst.stride(), radius);
        const int reach = std::min(23, std::max(radius | 1, 1) / 2);
        for (int i = 0; i < 23 * 11; ++i) {
            const int x = i % 23, y = i / 23;
            int lo = 255, hi = 0;
            for (int v = std::max(0, y - reach); v <= std::min(10, y + reach); ++v)
                for (int u = std::max(0, x - reach); u <= std::min(22, x + reach); ++u)
                    lo = std::min<int>(lo, src.at(u, v)), hi = std::max<int>(hi, src.at(u, v));
            const int kept = src.at(x, y) == 128 ? 127 : src.at(x, y);
            ASSERT_EQ(dst.at(x, y), hi - lo > 127 ? 128 : kept) << radius;
        }
    }
}

TEST(InvertMatte, spares_only_128) {
    Bytes all(256, 2, 9, [](int x, int) { return x; });
    InvertMatte(all.data(), 256, 2, all.stride());
    for (int b = 0; b < 256; ++b) EXPECT_EQ(all.at(b, 1), b == 128 ? 128 : 255 - b);
    InvertMatte(all.data(), 256, 0, all.stride());
    InvertMatte(nullptr, 256, 2, all.stride());
    EXPECT_EQ(all.at(255, 0), 0);
    FarRows far(4);
    InvertMatte(far.data, 3, 4, FarRows::stride);
    EXPECT_EQ(far.at(2, 3), 255);
}

}  // namespace
