#include "ff/distance_field.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "ff/chamfer.h"
#include "tests/support/guarded_raster.h"

namespace {

constexpr unsigned infinite = 10000000, returned = 4294967295u;
using Distances = GuardedRaster<unsigned>;
using Coordinates = GuardedRaster<unsigned short>;  // two a pixel

struct Field {
    Field(int w, int h, int d) : f(ff::ipf_create_distance_field_2d(w, h, d)) {}
    Field(int w, int h, int depth, int d) : f(ff::ipf_create_distance_field_3d(w, h, depth, d)) {}
    ~Field() { ff::ipf_release_distance_field(f); }
    ff::dist_field* f;
};

// The four scans, pixel by pixel with bounds tests.
void plain_scans(Bytes& labels, int w, int h, int seed, const ff::dist_field& f, Distances& dist,
                 Coordinates& nearest) {
    for (int i = 0; i < w * h; ++i) {
        dist(i % w, i / w) = labels(i % w, i / w) == seed ? 0 : infinite;
        nearest(i % w * 2, i / w) = i % w, nearest(i % w * 2 + 1, i / w) = i / w;
    }
    for (int scan = 0; scan < 4; ++scan)
        for (int i = 0; i < w * h; ++i) {
            const int y = scan % 2 ? h - 1 - i / w : i / w;
            const int x = scan == 1 || scan == 2 ? w - 1 - i % w : i % w;
            if (labels(x, y) == seed || labels(x, y) != 0) continue;
            for (int k = 4 * scan; k < 4 * scan + 4; ++k) {
                const int nx = x + ff::dfp_c8::PCD[k][0], ny = y + ff::dfp_c8::PCD[k][1];
                if (nx < 0 || ny < 0 || nx >= w || ny >= h) continue;
                const unsigned d = dist(nx, ny) + f.weights[ff::dfp_c8::PWI[k]];
                if (d >= dist(x, y)) continue;
                dist(x, y) = d;
                for (int c : {0, 1}) nearest(2 * x + c, y) = nearest(2 * nx + c, ny);
            }
        }
}

// Length of the shortest open path of steps in three dimensions, the axes' distances in any order.
unsigned open_distance(std::array<int, 3> d, int straight, int diagonal, int corner) {
    std::sort(d.begin(), d.end());
    return unsigned(d[0] * corner + (d[1] - d[0]) * diagonal + (d[2] - d[1]) * straight);
}

TEST(DistanceField, weights_are_truncated_and_stand_in_raster_order) {
    const Field flat(3, 2, 10), deep(3, 2, 4, 100), heavy(1, 1, 1, 65535);
    EXPECT_EQ(std::vector<int>(flat.f->weights, flat.f->weights + 8),
              (std::vector<int>{14, 10, 14, 10, 10, 14, 10, 14}));
    EXPECT_EQ(std::vector<int>(deep.f->weights, deep.f->weights + 26),
              (std::vector<int>{173, 141, 173, 141, 100, 141, 173, 141, 173, 141, 100, 141, 100,
                                100, 141, 100, 141, 173, 141, 173, 141, 100, 141, 173, 141, 173}));
    EXPECT_EQ(flat.f->depth * 100 + flat.f->neighbors * 10 + flat.f->flags, 181);
    EXPECT_EQ(deep.f->depth * 100 + deep.f->neighbors * 10 + deep.f->flags, 661);
    EXPECT_EQ(heavy.f->weights[0], 65535);
}

TEST(DistanceField, scans_equal_plain_ones_and_open_maps_the_shortest_path) {
    Random random(7);
    for (int n = 0; n < 150; ++n) {
        const int w = 1 + n % 40, h = random.between(1, 20), seed = n % 5 ? 2 : 0;
        const int obstacles = n % 3 * 30, d = n % 2 ? 100 : 10;
        Bytes labels(w, h, n % 3, [&](int, int) {
            return random.below(100) < 4 ? 2 : random.below(100) < obstacles ? 1 : 0;
        });
        Distances dist(w, h, n % 4), expected(w, h, 0);
        Coordinates nearest(2 * w, h, 2 * (n % 2)), expected_nearest(2 * w, h, 0);
        const Field field(w, h, d);
        plain_scans(labels, w, h, seed, *field.f, expected, expected_nearest);
        const auto run = [&](Coordinates* to) {
            dist.fill([](int, int) { return 77; });
            return ff::ipf_distance_transform_2d(
                field.f, labels, w, h, labels.stride, seed, dist, dist.stride,
                to ? reinterpret_cast<unsigned short(*)[2]>(static_cast<unsigned short*>(*to))
                   : nullptr,
                to ? to->stride / 2 : 0);
        };
        EXPECT_EQ(run(nullptr), returned);
        EXPECT_EQ(dist.payload(), expected.payload()) << "case " << n;
        run(&nearest);
        EXPECT_EQ(dist.payload(), expected.payload()) << "case " << n;
        EXPECT_EQ(nearest.payload(), expected_nearest.payload()) << "case " << n;
        const auto padded = ff::chamfer_distances_2d(*field.f, labels, labels.stride, seed);
        for (int y = 0; y < h; ++y)
            ASSERT_TRUE(std::equal(padded.row(y), padded.row(y) + w, &dist(0, y)));
        if (obstacles || seed == 0) continue;
        for (int i = 0; i < w * h; ++i) {
            unsigned least = infinite;
            for (int j = 0; j < w * h; ++j)
                if (labels(j % w, j / w) == seed)
                    least = std::min(
                        least, open_distance({std::abs(i % w - j % w), std::abs(i / w - j / w), 0},
                                             d, d * 141 / 100, 0));
            ASSERT_EQ(dist(i % w, i / w), least) << "case " << n;
        }
    }
}

TEST(DistanceField, distances_go_through_the_gap_of_a_wall) {
    // Seed at the left, a wall in column 3 with a gap in its last row.
    Bytes labels(7, 5, 0, [](int x, int y) { return x == 0 && y == 0 ? 9 : x == 3 && y < 4; });
    const Field field(7, 5, 10);
    Distances dist(7, 5, 0);
    ff::ipf_distance_transform_2d(field.f, labels, 7, 5, 7, 9, dist, 7, nullptr, 0);
    EXPECT_EQ(dist(3, 4), 3 * 14 + 10u);
    EXPECT_EQ(dist(3, 0), infinite);
    EXPECT_EQ(dist(4, 3), 3 * 14 + 10 + 14u);
    EXPECT_EQ(dist(4, 0), 3 * 14 + 10 + 14 + 30u);
}

TEST(DistanceField, volumes_hold_the_shortest_path_and_its_seed) {
    Random random(3);
    for (int n = 0; n < 40; ++n) {
        const int w = random.between(1, 7), h = random.between(1, 6), depth = 1 + n % 5;
        const int plane = w * h, size = plane * depth;
        Bytes labels(size, 1, 0, [&](int, int) { return random.below(20) == 0 ? 4 : 0; });
        Distances dist(size, 1, 0);
        Coordinates nearest(3 * size, 1, 0);
        const Field field(w, h, depth, 100);
        EXPECT_EQ(ff::ipf_distance_transform_3d(field.f, labels, w, h, depth, 4, dist,
                                                reinterpret_cast<unsigned short(*)[3]>(
                                                    static_cast<unsigned short*>(nearest))),
                  returned);
        const auto apart = [&](int i, int j) {
            return open_distance({std::abs(i % w - j % w), std::abs(i / w % h - j / w % h),
                                  std::abs(i / plane - j / plane)},
                                 100, 141, 173);
        };
        for (int i = 0; i < size; ++i) {
            unsigned least = infinite;
            for (int j = 0; j < size; ++j)
                if (labels(j, 0) == 4) least = std::min(least, apart(i, j));
            ASSERT_EQ(dist(i, 0), least) << "case " << n;
            const int seed =
                (nearest(3 * i + 2, 0) * h + nearest(3 * i + 1, 0)) * w + nearest(3 * i, 0);
            if (least == infinite)
                ASSERT_EQ(seed, i);
            else
                ASSERT_TRUE(labels(seed, 0) == 4 && apart(i, seed) == least) << "case " << n;
        }
    }
    // A closed plane with one gap, then back beside it: every octant has its part in the way.
    Bytes labels(75, 1, 0, [](int i, int) { return i == 0 ? 4 : i / 25 == 1 && i != 25 + 24; });
    Distances dist(75, 1, 0);
    const Field field(5, 5, 3, 10);
    ff::ipf_distance_transform_3d(field.f, labels, 5, 5, 3, 4, dist, nullptr);
    EXPECT_EQ(dist(24 + 25, 0), 3 * 14 + 17u);
    EXPECT_EQ(dist(50, 0), 2 * (3 * 14 + 17u));
}

TEST(DistanceField, whatever_does_not_fit_writes_nothing) {
    Bytes labels(4, 4, 0, [](int, int) { return 1; });
    Distances dist(4, 4, 0);
    const Field flat(4, 4, 10), deep(4, 4, 1, 10), empty(0, 4, 10), wide(65536 + 4, 4, 10);
    const auto run = [&](ff::dist_field* f, u8* from, int w, unsigned* to) {
        EXPECT_EQ(ff::ipf_distance_transform_2d(f, from, w, 4, 4, 1, to, 4, nullptr, 0), returned);
    };
    run(nullptr, labels, 4, dist);
    run(flat.f, nullptr, 4, dist);
    run(flat.f, labels, 4, nullptr);
    run(flat.f, labels, 3, dist);
    run(deep.f, labels, 4, dist);
    run(empty.f, labels, 0, dist);
    run(wide.f, labels, 4, dist);
    ff::ipf_distance_transform_3d(flat.f, labels, 4, 4, 1, 1, dist, nullptr);
    ff::ipf_distance_transform_3d(deep.f, labels, 4, 4, 2, 1, dist, nullptr);
    EXPECT_EQ(dist.payload(), std::vector<unsigned>(16, Distances::pattern));
    ff::ipf_release_distance_field(nullptr);
}

}  // namespace
