// 2-D chamfer distances alone, in the caller's buffer: four scans over the rows' runs of free
// pixels.
//
// A run is taken in blocks. Most blocks change in one scan of the four or in two, and a vectorised
// look tells whether a block will. Where it does, the candidates from other rows are taken in a
// vectorised loop, and a third, which carries the value along the row, follows only if the row
// itself has something to hand on. The distances of other rows stand still while a row is done, so
// the order of the candidates leaves no trace. The first and the last pixel of a row, which lack
// neighbours, are done apart; rows outside the map are infinite.
#include "ff/chamfer.h"

#include "ff/scratch.h"

namespace ff {
namespace {

using u8 = unsigned char;

constexpr int block = 64;    // pixels
constexpr int shortest = 8;  // below it a run is not worth the look

// One of the four scans.
struct scan_2d {
    struct neighbour {
        int dx, dy, weight;
    };
    neighbour other[3] = {};  // those in other rows
    neighbour behind = {};    // the one in the row itself

    scan_2d(int index, const unsigned short* weights) {
        neighbour* next = other;
        for (int i = 4 * index; i < 4 * index + 4; ++i) {
            const int* to = dfp_c8::PCD[i];
            (to[1] == 0 ? behind : *next++) = {to[0], to[1], weights[dfp_c8::PWI[i]]};
        }
    }
    bool downwards() const { return other[0].dy < 0; }
    bool rightwards() const { return behind.dx < 0; }
};

// What consecutive pixels of a row may become: from[k][i] + weight[k] and, along the row, the
// distance `behind` (-1 or 1) pixels on + weight[3]. Distances stay below 2^24, and signed minima
// are the cheaper ones where there is no SSE4.
struct candidates {
    const unsigned* from[3];
    int weight[4];
    int behind;

    candidates at(std::ptrdiff_t offset) const {
        return {{from[0] + offset, from[1] + offset, from[2] + offset},
                {weight[0], weight[1], weight[2], weight[3]},
                behind};
    }
    int of_others(std::ptrdiff_t i) const {
        return std::min(std::min(int(from[0][i]) + weight[0], int(from[1][i]) + weight[1]),
                        int(from[2][i]) + weight[2]);
    }
    int of_row(const unsigned* d, std::ptrdiff_t i) const { return int(d[i + behind]) + weight[3]; }
};

DSCM_KERNEL void relax_block(unsigned* d, const candidates& c, int n) {
    int changes = 0, carries = 0;
    for (int i = 0; i < n; ++i) changes |= std::min(c.of_others(i), c.of_row(d, i)) < int(d[i]);
    if (!changes) return;
    for (int i = 0; i < n; ++i) d[i] = unsigned(std::min(int(d[i]), c.of_others(i)));
    for (int i = 0; i < n; ++i) carries |= c.of_row(d, i) < int(d[i]);
    if (carries) carry_along(d, c.behind, c.weight[3], n);
}

// n pixels from d on, block by block in the direction of the scan.
DSCM_KERNEL void relax_blocks(unsigned* d, const candidates& c, int n) {
    for (int done = 0; done < n; done += block) {
        const int size = std::min(block, n - done);
        const int first = c.behind < 0 ? done : n - done - size;
        relax_block(d + first, c.at(first), size);
    }
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void relax_blocks_avx2(unsigned* d, const candidates& c, int n) { relax_blocks(d, c, n); }
#endif

void relax_inner(unsigned* d, const candidates& c, int n) {
    if (n < shortest) {
        for (int i = 0; i < n; ++i) d[i] = unsigned(std::min(int(d[i]), c.of_others(i)));
        return carry_along(d, c.behind, c.weight[3], n);
    }
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return relax_blocks_avx2(d, c, n);
#endif
    relax_blocks(d, c, n);
}

class transform {
  public:
    transform(const dist_field& field, unsigned* dist, std::ptrdiff_t pitch)
        : w_(field.width),
          h_(field.height),
          dist_(dist),
          pitch_(pitch),
          outside_(make_scratch<unsigned>(w_)) {
        std::fill_n(outside_.get(), w_, infinite_distance);
    }

    void start_row(int y, const u8* labels, u8 seed) {
        ff::start_row(labels, seed, w_, row(y), runs_);
    }

    void relax_row(int y, const scan_2d& s) {
        const candidates inner = w_ > 2 ? from_column_1(y, s) : candidates();
        for (const run* r = runs_.begin(y); r != runs_.end(y); ++r) {
            const int begin = std::max(r->begin, 1), end = std::min(r->end, w_ - 1);
            const bool has_left = r->begin == 0, has_right = r->end == w_;
            if (s.rightwards() ? has_left : has_right) relax_end(s.rightwards() ? 0 : w_ - 1, y, s);
            if (begin < end) relax_inner(row(y) + begin, inner.at(begin - 1), end - begin);
            if (s.rightwards() ? has_right : has_left) relax_end(s.rightwards() ? w_ - 1 : 0, y, s);
        }
    }

  private:
    unsigned* row(int y) { return dist_ + y * pitch_; }
    const unsigned* row_or_outside(int y) { return y < 0 || y >= h_ ? outside_.get() : row(y); }

    candidates from_column_1(int y, const scan_2d& s) {
        candidates c;
        for (int k = 0; k < 3; ++k) {
            c.from[k] = row_or_outside(y + s.other[k].dy) + (1 + s.other[k].dx);
            c.weight[k] = s.other[k].weight;
        }
        c.weight[3] = s.behind.weight;
        c.behind = s.behind.dx;
        return c;
    }

    void relax_end(int x, int y, const scan_2d& s) {
        unsigned& d = row(y)[x];
        const auto take = [&](const scan_2d::neighbour& n) {
            if (x + n.dx < 0 || x + n.dx >= w_) return;
            d = std::min(d, row_or_outside(y + n.dy)[x + n.dx] + unsigned(n.weight));
        };
        for (const auto& n : s.other) take(n);
        take(s.behind);
    }

    const int w_, h_;
    unsigned* const dist_;
    const std::ptrdiff_t pitch_;
    const scratch<unsigned> outside_;  // a row of it
    free_runs runs_;
};

}  // namespace

void chamfer_distances_2d(const dist_field& field, const unsigned char* labels, int label_stride,
                          unsigned char seed, unsigned* dist, std::ptrdiff_t pitch) {
    transform t(field, dist, pitch);
    for (int index = 0; index < 4; ++index) {
        const scan_2d scan(index, field.weights);
        for (int i = 0; i < field.height; ++i) {
            const int y = scan.downwards() ? i : field.height - 1 - i;
            // The first scan looks at no row that has not been started.
            if (index == 0) t.start_row(y, labels + std::ptrdiff_t(y) * label_stride, seed);
            t.relax_row(y, scan);
        }
    }
}

}  // namespace ff
