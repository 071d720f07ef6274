// Connected components by runs and union-find.
//
// The runs of equal bytes in the rows are counted first and then listed: a run ends where the next
// one starts, so one int holds it. Runs of neighbouring rows that overlap with the same value are
// joined, the smaller index becoming the root; the root of a region is then its first run in raster
// order, and numbering the roots in index order numbers the regions as wanted. The label raster is
// written once, run by run. Scratch is 8 bytes a run; time is linear in the pixels, and nothing
// recurses.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "ff/components_color.h"

namespace ff {
namespace {

using u8 = unsigned char;

struct runs {
    int w, h;
    std::unique_ptr<int[]> start;   // column of the first pixel of every run
    std::unique_ptr<int[]> parent;  // union-find; later the component number
    std::unique_ptr<int[]> first;   // index of the first run of every row, h + 1 entries

    int end(int run, int y) const {
        return run + 1 < first[std::size_t(y) + 1] ? start[std::size_t(run) + 1] : w;
    }
};

std::ptrdiff_t count_runs(const u8* row, int w) {
    std::ptrdiff_t n = 1;
    for (int x = 1; x < w; ++x) n += row[x] != row[x - 1];
    return n;
}

// First column from x on whose byte is not row[x]; eight bytes at a time, since rows of masks are
// long runs.
int run_end(const u8* row, int x, int w) {
    const u8 value = row[x];
    if (x + 1 < w && row[x + 1] != value) return x + 1;  // noise
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

bool list_runs(const u8* img, int stride, runs& r) {
    std::ptrdiff_t total = 0;
    for (int y = 0; y < r.h; ++y) total += count_runs(img + std::ptrdiff_t(y) * stride, r.w);
    if (total > INT_MAX) return false;
    r.start.reset(new (std::nothrow) int[std::size_t(total)]);
    r.parent.reset(new (std::nothrow) int[std::size_t(total)]);
    r.first.reset(new (std::nothrow) int[std::size_t(r.h) + 1]);
    if (!r.start || !r.parent || !r.first) return false;

    int n = 0;
    for (int y = 0; y < r.h; ++y) {
        const u8* row = img + std::ptrdiff_t(y) * stride;
        r.first[std::size_t(y)] = n;
        for (int x = 0; x < r.w; x = run_end(row, x, r.w)) {
            r.start[std::size_t(n)] = x;
            r.parent[std::size_t(n)] = n;
            ++n;
        }
    }
    r.first[std::size_t(r.h)] = n;
    return true;
}

// Joins the runs of row y with those of row y - 1 that they touch and equal.
void join_rows(const u8* img, int stride, runs& r, int y) {
    const u8* row = img + std::ptrdiff_t(y) * stride;
    const u8* above = row - stride;
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

// Replaces every parent by its component number. A parent's index is never above the run's own, so
// it has been numbered before.
int number_components(runs& r) {
    int* parent = r.parent.get();
    const int total = r.first[std::size_t(r.h)];
    int n = 0;
    for (int i = 0; i < total; ++i) parent[i] = parent[i] == i ? n++ : parent[parent[i]];
    return n;
}

// Runs of a few pixels, as in noise, are written without setting up a block fill.
void fill_run(int* begin, int* end, int label) {
    if (end - begin > 8) {
        std::fill(begin, end, label);
        return;
    }
    do *begin++ = label;
    while (begin < end);
}

}  // namespace

int ipf_connected_component(const unsigned char* img, int w, int h, int stride, int* labels,
                            int label_stride) {
    if (!img || !labels || w < 1 || h < 1) return 0;
    runs r{w, h, nullptr, nullptr, nullptr};
    if (!list_runs(img, stride, r)) return 0;
    for (int y = 1; y < h; ++y) join_rows(img, stride, r, y);
    const int n = number_components(r);
    for (int y = 0; y < h; ++y) {
        int* row = labels + std::ptrdiff_t(y) * label_stride;
        for (int i = r.first[std::size_t(y)]; i < r.first[std::size_t(y) + 1]; ++i)
            fill_run(row + r.start[std::size_t(i)], row + r.end(i, y), r.parent[std::size_t(i)]);
    }
    return n;
}

}  // namespace ff
