#include "ff/distance_field.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "tests/support/digest.h"
#include "tests/support/guarded_raster.h"

namespace {

constexpr unsigned infinite = 10000000, returned = 4294967295u;
using Distances = GuardedRaster<unsigned>;
using Coordinates = GuardedRaster<unsigned short>;  // two or three a pixel

template <int N>
auto tuples(Coordinates& all) {
    return reinterpret_cast<unsigned short(*)[N]>(&all(0, 0));
}

struct Field {
    Field(int w, int h, int d) : f(ff::ipf_create_distance_field_2d(w, h, d)) {}
    Field(int w, int h, int depth, int d) : f(ff::ipf_create_distance_field_3d(w, h, depth, d)) {}
    ~Field() { ff::ipf_release_distance_field(f); }
    ff::dist_field* f;
};

// Whether every distance of a map without obstacles is the shortest path's to a seed of 2, and
// `nearest` (`axes` coordinates a pixel) such a seed or, where there is none, the pixel itself.
void expect_shortest(int w, int h, int axes, int straight, const Map& labels,
                     const std::vector<unsigned>& dist,
                     const std::vector<unsigned short>& nearest) {
    const int size = int(labels.size()), plane = w * h;
    const auto apart = [&](int i, int j) {
        int d[] = {std::abs(i % w - j % w), std::abs(i / w % h - j / w % h),
                   std::abs(i / plane - j / plane)};
        std::sort(d, d + 3);
        return unsigned(d[0] * (173 * straight / 100) + (d[1] - d[0]) * (141 * straight / 100) +
                        (d[2] - d[1]) * straight);
    };
    for (int i = 0; i < size; ++i) {
        unsigned least = infinite;
        for (int j = 0; j < size; ++j)
            if (labels[j] == 2) least = std::min(least, apart(i, j));
        ASSERT_EQ(dist[i], least);
        const unsigned short* at = &nearest[axes * i];
        const int seed = ((axes == 3 ? at[2] : 0) * h + at[1]) * w + at[0];
        ASSERT_EQ(labels[seed], least == infinite ? 0 : 2);
        ASSERT_EQ(apart(i, seed), least == infinite ? 0 : least);
    }
}

TEST(DistanceField, fields_tell_their_neighbours_and_weights_end_at_65535) {
    const Field flat(3, 2, 10), heavy(3, 2, 4, 65535);
    EXPECT_EQ(flat.f->depth * 100 + flat.f->neighbors * 10 + flat.f->flags, 181);
    EXPECT_EQ(heavy.f->depth * 100 + heavy.f->neighbors * 10 + heavy.f->flags, 661);
    EXPECT_EQ(heavy.f->weights[0], 65535);
}

TEST(DistanceField, open_maps_hold_the_shortest_path_and_others_the_same_bytes_as_ever) {
    Random random(7);
    Digest digest;
    for (int n = 0; n < 156; ++n) {  // the last wide
        const int w = n < 150 ? 1 + n % 40 : 2 * n, h = random.between(1, 20), seed = n % 5 ? 2 : 0;
        const int obstacles = n % 3 * 30, d = n % 2 ? 100 : 10;
        Bytes labels(w, h, n % 3, [&](int, int) {
            return random.below(100) < 4 ? 2 : random.below(100) < obstacles ? 1 : 0;
        });
        Distances alone(w, h, n % 4), dist(w, h, n % 4);
        Coordinates nearest(2 * w, h, 2 * (n % 2));
        const Field field(w, h, d);
        ff::ipf_distance_transform_2d(field.f, labels, w, h, labels.stride, seed, alone,
                                      alone.stride, nullptr, 0);
        ff::ipf_distance_transform_2d(field.f, labels, w, h, labels.stride, seed, dist, dist.stride,
                                      tuples<2>(nearest), nearest.stride / 2);
        EXPECT_EQ(alone.payload(), dist.payload()) << "case " << n;
        digest.add(dist.payload()), digest.add(nearest.payload());
        if (obstacles == 0 && seed == 2)
            expect_shortest(w, h, 2, d, labels.payload(), dist.payload(), nearest.payload());
    }
    EXPECT_EQ(digest.value, 16228204356507477900u);
}

TEST(DistanceField, volumes_hold_the_shortest_path_and_its_seed) {
    Random random(3);
    for (int n = 0; n < 40; ++n) {
        const int w = random.between(1, 7), h = random.between(1, 6), depth = 1 + n % 5;
        const int size = w * h * depth;
        Bytes labels(size, 1, 0, [&](int, int) { return random.below(20) == 0 ? 2 : 0; });
        Distances dist(size, 1, 0);
        Coordinates nearest(3 * size, 1, 0);
        const Field field(w, h, depth, 100);
        EXPECT_EQ(ff::ipf_distance_transform_3d(field.f, labels, w, h, depth, 2, dist,
                                                tuples<3>(nearest)),
                  returned);
        expect_shortest(w, h, 3, 100, labels.payload(), dist.payload(), nearest.payload());
    }
}

TEST(DistanceField, distances_go_through_the_gap_of_a_wall) {
    // Seed in the first corner, a closed plane with a gap in its last corner: every octant has its
    // part in the way.
    Bytes deep(75, 1, 0, [](int i, int) { return i == 0 ? 9 : i / 25 == 1 && i != 25 + 24; });
    const Field field(5, 5, 3, 10);
    Distances through(75, 1, 0);
    ff::ipf_distance_transform_3d(field.f, deep, 5, 5, 3, 9, through, nullptr);
    EXPECT_EQ(through(24 + 25, 0), 3 * 14 + 17u);
    EXPECT_EQ(through(25, 0), infinite);
    EXPECT_EQ(through(50, 0), 2 * (3 * 14 + 17u));
}

TEST(DistanceField, whatever_does_not_fit_writes_nothing) {
    Bytes labels(4, 4, 0, [](int, int) { return 1; });
    Distances dist(4, 4, 0);
    const Field flat(4, 4, 10), deep(4, 4, 1, 10), empty(0, 4, 10), wide(65536 + 4, 4, 10);
    const std::tuple<ff::dist_field*, u8*, int, unsigned*> table[] = {
        {nullptr, labels, 4, dist}, {flat.f, nullptr, 4, dist}, {flat.f, labels, 4, nullptr},
        {deep.f, labels, 4, dist},  {wide.f, labels, 4, dist},  {flat.f, labels, 3, dist},
        {empty.f, labels, 0, dist}};
    for (const auto& [f, from, w, to] : table)
        EXPECT_EQ(ff::ipf_distance_transform_2d(f, from, w, 4, 4, 1, to, 4, nullptr, 0), returned);
    ff::ipf_distance_transform_3d(flat.f, labels, 4, 4, 1, 1, dist, nullptr);
    ff::ipf_distance_transform_3d(deep.f, labels, 4, 4, 2, 1, dist, nullptr);
    EXPECT_EQ(dist.payload(), std::vector<unsigned>(16, Distances::pattern));
}

}  // namespace
