#include "matting/geoseg/geoseg.h"

#include <algorithm>
#include <cstdlib>

#include "tests/support/digest.h"
#include "tests/support/guarded_raster.h"

namespace {

using Distances = GuardedRaster<unsigned>;
using Floats = GuardedRaster<float>;
constexpr unsigned unreached = 100000000;

TEST(Geodesic, distances_and_shares_are_the_same_as_ever) {
    Random random(5);
    Digest digest;
    for (int n = 0; n < 80; ++n) {
        const int w = random.between(1, 14), h = random.between(1, 11), step = 3 + n % 2;
        // Full range wraps the 16 bits of a cost; almost flat pictures clamp a scaled one.
        const int rare = n % 4 == 3 ? 400 : 1, top = n % 4 == 1 ? 2 : 255;
        Bytes img(step * w, h, n % 3,
                  [&](int, int) { return random.below(rare) ? 7 : random.below(top + 1); });
        Bytes seeds(w, h, n % 5, [&](int, int) { return std::max(0, random.below(16) - 12); });
        Distances four(w, h, n % 4), many(w, h, n % 2);
        const u8 label = u8(random.between(0, 2));
        GeoSeg near;
        GeoSegN24 wide;
        ASSERT_EQ(near.SetImage(img, w, h, img.stride, step), 0);
        ASSERT_EQ(wide.SetImage(img, w, h, img.stride, step, nullptr), 0);
        near.GetDist(seeds, seeds.stride, four, four.stride, label);
        wide.GetDist(seeds, seeds.stride, many, many.stride, label);
        digest.add(four.payload()), digest.add(many.payload());
        Floats share(w, h, n % 2), wide_share(w, h, n % 4);
        Bytes percent(w, h, 0);
        near.GetProb(seeds, seeds.stride, share, share.stride);
        wide.GetProb(seeds, seeds.stride, wide_share, wide_share.stride, n % 5, percent);
        digest.add(share.payload()), digest.add(wide_share.payload()),
            digest.add(percent.payload());
    }
    EXPECT_EQ(digest.value, 10075089345042095574u);
}

// A flat picture with one seed of label 2 and a wall of label 1, two pixels thick, to its right.
struct Walled {
    Bytes img{36, 9, 2, [](int, int) { return 50; }};
    Bytes seeds{12, 9, 1, [](int x, int y) { return x == 3 && y == 4 ? 2 : x / 2 == 3; }};
    Distances dist{12, 9, 3};
    Floats prob{12, 9, 2};
    Bytes map{12, 9, 0};
    GeoSeg four;
    GeoSegN24 many;
    void set(const u8* data, int w, int h, int step, int result) {
        EXPECT_EQ(four.SetImage(data, w, h, img.stride, step), result);
        EXPECT_EQ(many.SetImage(data, w, h, img.stride, step, nullptr), result);
    }
};

TEST(Geodesic, other_seeds_are_barriers_for_24_neighbours_only) {
    Walled f;
    f.set(f.img, 12, 9, 3, 0);
    f.four.GetDist(f.seeds, 13, f.dist, 15, 2);
    f.dist.each([&](int x, int y) {
        EXPECT_EQ(f.dist(x, y), unsigned(std::abs(x - 3) + std::abs(y - 4)));
    });
    f.many.GetDist(f.seeds, 13, f.dist, 15, 2);
    f.many.GetProb(f.seeds, 13, nullptr, 0, 2, f.map);
    f.dist.each([&](int x, int y) {
        const int steps = (std::max(std::abs(x - 3), std::abs(y - 4)) + 1) / 2;
        EXPECT_EQ(f.dist(x, y), x < 6 ? unsigned(steps) : unreached) << x << ',' << y;
        EXPECT_EQ(f.map(x, y), x < 6 ? 0 : 254) << "the largest distance is made odd";
    });
}

TEST(Geodesic, nothing_is_written_without_an_image) {
    Walled f;
    const auto query = [&](const u8* seeds) {
        f.four.GetDist(seeds, 13, f.dist, 15, 1), f.four.GetProb(seeds, 13, f.prob, 14);
        f.many.GetDist(seeds, 13, f.dist, 15, 1);
        for (int mode : {1, 3}) f.many.GetProb(seeds, 13, f.prob, 14, mode, f.map);
    };
    query(f.seeds);
    for (int bad = 0; bad < 4; ++bad) {
        f.set(f.img, 12, 9, 3, 0);
        query(nullptr);
        f.many.GetProb(f.seeds, 13, f.prob, 14, 4, f.map);
        f.set(bad ? &f.img(0, 0) : nullptr, bad == 1 ? 0 : 12, bad == 2 ? -1 : 9, bad == 3 ? 2 : 3,
              -1);
        query(f.seeds);
    }
    EXPECT_EQ(f.dist.payload(), std::vector<unsigned>(12 * 9, Distances::pattern));
    EXPECT_EQ(f.prob.payload(), std::vector<float>(12 * 9, Floats::pattern));
    EXPECT_EQ(f.map.payload(), Map(12 * 9, Bytes::pattern));
}

}  // namespace
