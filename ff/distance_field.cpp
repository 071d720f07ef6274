// Chamfer distances by sequential scans over a padded buffer of unsigned distances.
//
// Four scans in 2-D: down and up in raster order, then down and up with the rows walked the other
// way and the neighbours of the diagonals that the first two miss. Eight in 3-D, one per octant,
// each from the 13 neighbours that it has visited.
//
// Only free pixels ever change, so each row is reduced to its runs of free pixels, and a map that
// is mostly seeds and obstacles costs little more than one look at its labels. Runs of a row cannot
// influence each other within a scan. Where the nearest seed is wanted, the candidates are tried
// pixel by pixel, since their order decides ties; where only distances are, those from other rows
// are taken run by run in vectorised loops, and those from the row itself in a last one that
// carries the value along. Distances alone in 2-D are chamfer.cpp's.
#include "ff/distance_field.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "ff/chamfer.h"
#include "ff/scratch.h"

namespace ff {

namespace dfp_c8 {
const int PCD[16][2] = {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1},  {1, 1},
                        {0, -1},  {1, -1}, {1, 0},  {1, 1},  {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}};
const int PWI[16] = {0, 1, 2, 3, 4, 5, 6, 7, 1, 2, 4, 7, 6, 5, 3, 0};
}  // namespace dfp_c8

namespace {

using u8 = unsigned char;

constexpr unsigned always_returned = 4294967295u;

// The padded buffers: a border of one pixel, in z only where neighbours lie there.
struct layout {
    int width, height, depth;
    std::ptrdiff_t border_z;
    std::ptrdiff_t pitch, plane;

    layout(int w, int h) : layout(w, h, 1, 0) {}
    layout(int w, int h, int d) : layout(w, h, d, 1) {}

    std::ptrdiff_t planes() const { return depth + 2 * border_z; }
    std::ptrdiff_t row(int y, int z) const {
        return (std::ptrdiff_t(z) + border_z) * plane + (std::ptrdiff_t(y) + 1) * pitch + 1;
    }

  private:
    layout(int w, int h, int d, int border)
        : width(w),
          height(h),
          depth(d),
          border_z(border),
          pitch(std::ptrdiff_t(w) + 2),
          plane(pitch * (std::ptrdiff_t(h) + 2)) {}
};

struct neighbour {
    std::ptrdiff_t offset;
    unsigned weight;
};

// A walk over all pixels and the neighbours it takes candidates from, in the order they are tried.
struct scan {
    int x_step, y_step, z_step;  // 1 or -1
    std::vector<neighbour> neighbours;
    neighbour behind;  // the one in the row itself; stands in `neighbours` too

    void add(neighbour n, bool in_row) {
        neighbours.push_back(n);
        if (in_row) behind = n;
    }
};

std::vector<scan> scans_2d(const unsigned short* weights, const layout& at) {
    std::vector<scan> scans{
        {1, 1, 1, {}, {}}, {-1, -1, 1, {}, {}}, {-1, 1, 1, {}, {}}, {1, -1, 1, {}, {}}};
    for (int i = 0; i < 16; ++i) {
        const int dx = dfp_c8::PCD[i][0], dy = dfp_c8::PCD[i][1];
        scans[std::size_t(i) / 4].add({dy * at.pitch + dx, weights[dfp_c8::PWI[i]]}, dy == 0);
    }
    return scans;
}

std::vector<scan> scans_3d(const unsigned short* weights, const layout& at) {
    std::vector<scan> scans{{1, 1, 1, {}, {}},   {-1, -1, -1, {}, {}}, {-1, 1, 1, {}, {}},
                            {1, -1, -1, {}, {}}, {1, -1, 1, {}, {}},   {-1, 1, -1, {}, {}},
                            {-1, -1, 1, {}, {}}, {1, 1, -1, {}, {}}};
    for (scan& s : scans)
        for (int i = 0; i < 27; ++i) {
            const int dx = i % 3 - 1, dy = i / 3 % 3 - 1, dz = i / 9 - 1;
            const int ahead = 9 * dz * s.z_step + 3 * dy * s.y_step + dx * s.x_step;
            if (ahead >= 0) continue;
            s.add({dz * at.plane + dy * at.pitch + dx, weights[i < 13 ? i : i - 1]},
                  dz == 0 && dy == 0);
        }
    return scans;
}

struct coordinates {
    unsigned short x, y, z;
};

// `d` points at column 0 of the row.
void relax_run(unsigned* d, run r, const scan& s) {
    for (const neighbour& n : s.neighbours) {
        if (n.offset == s.behind.offset) continue;
        const unsigned* from = d + n.offset;
        const unsigned weight = n.weight;
        for (int x = r.begin; x < r.end; ++x) d[x] = std::min(d[x], from[x] + weight);
    }
    carry_along(d + r.begin, -s.x_step, int(s.behind.weight), r.end - r.begin);
}

void relax_run(unsigned* d, coordinates* nearest, run r, const scan& s) {
    const int length = r.end - r.begin;
    for (int i = 0, x = s.x_step > 0 ? r.begin : r.end - 1; i < length; ++i, x += s.x_step)
        for (const neighbour& n : s.neighbours) {
            const unsigned candidate = d[x + n.offset] + n.weight;
            if (candidate >= d[x]) continue;
            d[x] = candidate;
            nearest[x] = nearest[x + n.offset];
        }
}

// Distances before the first scan, and the runs that the scans are to visit.
scratch<unsigned> start(const layout& at, const u8* labels, int label_stride,
                        std::ptrdiff_t label_plane, u8 seed, free_runs& runs) {
    auto dist = make_scratch<unsigned>(at.plane, at.planes());
    std::fill_n(dist.get(), at.plane * at.planes(), infinite_distance);
    for (int z = 0; z < at.depth; ++z)
        for (int y = 0; y < at.height; ++y) {
            const u8* label = labels + z * label_plane + std::ptrdiff_t(y) * label_stride;
            start_row(label, seed, at.width, dist.get() + at.row(y, z), runs);
        }
    return dist;
}

scratch<coordinates> own_coordinates(const layout& at) {
    auto all = make_scratch<coordinates>(at.plane, at.planes());
    for (int z = 0; z < at.depth; ++z)
        for (int y = 0; y < at.height; ++y) {
            coordinates* row = all.get() + at.row(y, z);
            for (int x = 0; x < at.width; ++x)
                row[x] = {static_cast<unsigned short>(x), static_cast<unsigned short>(y),
                          static_cast<unsigned short>(z)};
        }
    return all;
}

// nearest may be null.
void run_scan(const scan& s, const layout& at, const free_runs& runs, unsigned* dist,
              coordinates* nearest) {
    for (int i = 0; i < at.depth; ++i)
        for (int j = 0; j < at.height; ++j) {
            const int z = s.z_step > 0 ? i : at.depth - 1 - i;
            const int y = s.y_step > 0 ? j : at.height - 1 - j;
            const std::ptrdiff_t row = at.row(y, z), index = std::ptrdiff_t(z) * at.height + y;
            for (const run* r = runs.begin(index); r != runs.end(index); ++r) {
                if (nearest)
                    relax_run(dist + row, nearest + row, *r, s);
                else
                    relax_run(dist + row, *r, s);
            }
        }
}

unsigned short scaled(double factor, unsigned short d) {
    return static_cast<unsigned short>(std::min(int(factor * d), 65535));
}

dist_field* make_field(int w, int h, int depth, bool planar, unsigned short d) {
    const unsigned short by_axes[] = {0, d, scaled(1.414, d), scaled(1.732, d)};
    const int count = planar ? 8 : 26;
    auto weights = make_scratch<unsigned short>(count);
    unsigned short* out = weights.get();
    for (int i = planar ? 9 : 0; i < (planar ? 18 : 27); ++i) {
        const int axes = (i % 3 != 1) + (i / 3 % 3 != 1) + (i / 9 != 1);
        if (axes) *out++ = by_axes[axes];
    }
    auto* field = new dist_field{w, h, depth, count, 1, weights.get()};
    weights.release();
    return field;
}

bool is_processed(const dist_field* df, int neighbors, const u8* labels, int w, int h, int depth,
                  const unsigned* dist) {
    return df && labels && dist && df->neighbors == neighbors && df->weights && df->width == w &&
           df->height == h && df->depth == depth && w > 0 && h > 0 && depth > 0;
}

}  // namespace

dist_field* ipf_create_distance_field_2d(int w, int h, unsigned short d) {
    return make_field(w, h, 1, true, d);
}

dist_field* ipf_create_distance_field_3d(int w, int h, int depth, unsigned short d) {
    return make_field(w, h, depth, false, d);
}

void ipf_release_distance_field(dist_field* field) {
    if (!field) return;
    delete[] field->weights;
    delete field;
}

unsigned int ipf_distance_transform_2d(dist_field* df, const unsigned char* labels,
                                       unsigned short w, unsigned short h, int label_stride,
                                       unsigned char seed, unsigned int* dist, int dist_stride,
                                       unsigned short (*nearest)[2], int nearest_stride) {
    if (!is_processed(df, 8, labels, w, h, 1, dist)) return always_returned;
    if (!nearest) {
        chamfer_distances_2d(*df, labels, label_stride, seed, dist, dist_stride);
        return always_returned;
    }
    const layout at(w, h);
    free_runs runs;
    const auto padded = start(at, labels, label_stride, 0, seed, runs);
    const auto seeds = own_coordinates(at);
    for (const scan& s : scans_2d(df->weights, at))
        run_scan(s, at, runs, padded.get(), seeds.get());
    for (int y = 0; y < h; ++y) {
        std::copy_n(padded.get() + at.row(y, 0), w, dist + std::ptrdiff_t(y) * dist_stride);
        const coordinates* from = seeds.get() + at.row(y, 0);
        auto* to = nearest + std::ptrdiff_t(y) * nearest_stride;
        for (int x = 0; x < w; ++x) to[x][0] = from[x].x, to[x][1] = from[x].y;
    }
    return always_returned;
}

unsigned int ipf_distance_transform_3d(dist_field* df, const unsigned char* labels,
                                       unsigned short w, unsigned short h, unsigned short depth,
                                       unsigned char seed, unsigned int* dist,
                                       unsigned short (*nearest)[3]) {
    if (!is_processed(df, 26, labels, w, h, depth, dist)) return always_returned;
    const layout at(w, h, depth);
    free_runs runs;
    const auto padded = start(at, labels, w, std::ptrdiff_t(w) * h, seed, runs);
    const auto seeds = nearest ? own_coordinates(at) : nullptr;
    for (const scan& s : scans_3d(df->weights, at))
        run_scan(s, at, runs, padded.get(), seeds.get());
    for (int z = 0; z < depth; ++z)
        for (int y = 0; y < h; ++y) {
            dist = std::copy_n(padded.get() + at.row(y, z), w, dist);
            if (!nearest) continue;
            const coordinates* from = seeds.get() + at.row(y, z);
            for (int x = 0; x < w; ++x, ++nearest)
                (*nearest)[0] = from[x].x, (*nearest)[1] = from[x].y, (*nearest)[2] = from[x].z;
        }
    return always_returned;
}

}  // namespace ff
