// Connected components by runs and union-find.
//
// The runs of equal bytes in the rows are numbered in raster order; where they are long they are
// also listed: a run ends where the next one starts, so one int holds it. Runs of neighbouring rows
// that overlap with the same value are joined, the smaller index becoming the root; the root of a
// region is then its first run in raster order, and numbering the roots in index order numbers the
// regions as wanted. Rows of noise are walked pixel by pixel with as few unpredictable branches as
// can be, which is what their time goes into. The label raster is written once, run by run. Scratch
// is 8 bytes a run; time is linear in the pixels, and nothing recurses.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>

#include "ff/components_color.h"

namespace ff {
namespace {

using u8 = unsigned char;

struct runs {
    int w, h;
    std::unique_ptr<int[]> start;   // column of the first pixel of every run
    std::unique_ptr<int[]> parent;  // union-find; later the component number
    std::unique_ptr<int[]> first;   // index of the first run of every row, h + 1 entries

    int count(int y) const { return first[std::size_t(y) + 1] - first[std::size_t(y)]; }
    int end(int run, int y) const {
        return run + 1 < first[std::size_t(y) + 1] ? start[std::size_t(run) + 1] : w;
    }
};

int count_runs(const u8* row, int w) {
    int n = 1;
    for (int x = 1; x < w; ++x) n += row[x] != row[x - 1];
    return n;
}

// Rows of noise, in which every few pixels a run ends, are walked pixel by pixel without a branch
// on what is found; others from run to run.
bool is_busy(int runs_of_row, int w) { return runs_of_row > w / 16; }
constexpr int busy_block = 512;  // pixels of such a row that are looked at together

// First column from x on whose byte is not row[x]; eight bytes at a time, since rows of masks are
// long runs.
int run_end(const u8* row, int x, int w) {
    const u8 value = row[x];
    std::uint64_t pattern, eight;
    std::memset(&pattern, value, sizeof pattern);
    for (; x + 8 <= w; x += 8) {
        std::memcpy(&eight, row + x, sizeof eight);
        if (eight != pattern) break;
    }
    while (x < w && row[x] == value) ++x;
    return x;
}

// Root of a run, halving the path on the way.
int find_root(int* parent, int r) {
    while (parent[r] != r) {
        parent[r] = parent[parent[r]];
        r = parent[r];
    }
    return r;
}

void join(int* parent, int a, int b) {
    a = find_root(parent, a);
    b = find_root(parent, b);
    if (a < b) parent[b] = a;
    if (b < a) parent[a] = b;
}

// The columns at which the runs of a row start.
void list_starts(const u8* row, int w, int* start) {
    for (int x = 0; x < w; x = run_end(row, x, w)) *start++ = x;
}

bool list_runs(const u8* img, int stride, runs& r) {
    r.first.reset(new (std::nothrow) int[std::size_t(r.h) + 1]);
    if (!r.first) return false;
    std::ptrdiff_t total = 0;
    for (int y = 0; y < r.h; ++y) {
        r.first[std::size_t(y)] = int(total);
        total += count_runs(img + std::ptrdiff_t(y) * stride, r.w);
        if (total > INT_MAX) return false;
    }
    r.first[std::size_t(r.h)] = int(total);
    r.start.reset(new (std::nothrow) int[std::size_t(total)]);
    r.parent.reset(new (std::nothrow) int[std::size_t(total)]);
    if (!r.start || !r.parent) return false;
    for (int y = 0; y < r.h; ++y)
        if (!is_busy(r.count(y), r.w))
            list_starts(img + std::ptrdiff_t(y) * stride, r.w,
                        r.start.get() + r.first[std::size_t(y)]);
    std::iota(r.parent.get(), r.parent.get() + total, 0);
    return true;
}

// Joins the runs of row y with those of row y - 1 that they touch and equal; both rows are listed.
void join_listed_rows(const u8* row, const u8* above, runs& r, int y) {
    int a = r.first[std::size_t(y) - 1];
    int b = r.first[std::size_t(y)];
    const int end_b = r.first[std::size_t(y) + 1];
    while (b < end_b) {
        if (above[r.start[std::size_t(a)]] == row[r.start[std::size_t(b)]])
            join(r.parent.get(), a, b);
        const int a_end = r.end(a, y - 1), b_end = r.end(b, y);
        if (a_end <= b_end) ++a;
        if (b_end <= a_end) ++b;
    }
}

struct touch {
    int above, below;  // two runs
};

// The touches of equal runs in columns 0 .. n - 1, without a branch on what is found. a and b
// are the runs of column -1 and, afterwards, of the last column.
int list_touches(const u8* row, const u8* above, int n, int& a, int& b, touch* out) {
    u8 a_starts[busy_block], b_starts[busy_block], touches[busy_block];
    for (int i = 0; i < n; ++i) {
        a_starts[i] = above[i] != above[i - 1];
        b_starts[i] = row[i] != row[i - 1];
        touches[i] = (a_starts[i] | b_starts[i]) & u8(row[i] == above[i]);
    }
    int found = 0;
    for (int i = 0; i < n; ++i) {
        out[found] = {a += a_starts[i], b += b_starts[i]};
        found += touches[i];
    }
    return found;
}

// The same for rows of any kind, pixel by pixel. A run is hung under what its first touch hangs
// under; only where it touches a second one there are two regions to join.
void join_busy_rows(const u8* row, const u8* above, runs& r, int y) {
    touch touches[busy_block];
    int* parent = r.parent.get();
    int a = r.first[std::size_t(y) - 1], b = r.first[std::size_t(y)];
    int last = -1;
    if (row[0] == above[0]) parent[last = b] = parent[a];
    for (std::ptrdiff_t x = 1; x < r.w; x += busy_block) {
        const int n = int(std::min<std::ptrdiff_t>(busy_block, r.w - x));
        const int found = list_touches(row + x, above + x, n, a, b, touches);
        for (int i = 0; i < found; ++i) {
            const touch t = touches[i];
            if (t.below == last)
                join(parent, t.above, t.below);
            else
                parent[last = t.below] = parent[t.above];
        }
    }
}

void join_rows(const u8* img, int stride, runs& r, int y) {
    const u8* row = img + std::ptrdiff_t(y) * stride;
    const bool busy = is_busy(r.count(y), r.w) || is_busy(r.count(y - 1), r.w);
    (busy ? join_busy_rows : join_listed_rows)(row, row - stride, r, y);
}

// Replaces every parent by its component number. A parent's index is never above the run's own, so
// it has been numbered before.
int number_components(runs& r) {
    int* parent = r.parent.get();
    const int total = r.first[std::size_t(r.h)];
    int n = 0;
    for (int i = 0; i < total; ++i) {  // no branch: in noise every third run is a root
        const bool root = parent[i] == i;
        const int number = parent[parent[i]];
        parent[i] = root ? n : number;
        n += root;
    }
    return n;
}

void write_labels(const u8* row, const runs& r, int y, int* labels) {
    const int* label = r.parent.get() + r.first[std::size_t(y)];
    if (is_busy(r.count(y), r.w)) {
        labels[0] = *label;
        for (int x = 1; x < r.w; ++x) {
            label += row[x] != row[x - 1];
            labels[x] = *label;
        }
        return;
    }
    for (int i = r.first[std::size_t(y)]; i < r.first[std::size_t(y) + 1]; ++i)
        std::fill(labels + r.start[std::size_t(i)], labels + r.end(i, y), *label++);
}

}  // namespace

int ipf_connected_component(const unsigned char* img, int w, int h, int stride, int* labels,
                            int label_stride) {
    if (!img || !labels || w < 1 || h < 1) return 0;
    runs r{w, h, nullptr, nullptr, nullptr};
    if (!list_runs(img, stride, r)) return 0;
    for (int y = 1; y < h; ++y) join_rows(img, stride, r, y);
    const int n = number_components(r);
    for (int y = 0; y < h; ++y)
        write_labels(img + std::ptrdiff_t(y) * stride, r, y,
                     labels + std::ptrdiff_t(y) * label_stride);
    return n;
}

}  // namespace ff
