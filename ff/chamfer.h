// Parts of the chamfer transforms for use inside the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "ff/distance_field.h"
#include "ff/multiversion.h"

namespace ff {

constexpr unsigned infinite_distance = 10000000;

// As ipf_distance_transform_2d without coordinates, for maps of any size: field is a 2-D one,
// labels and dist have its size, at least 1 x 1. pitch counts elements.
void chamfer_distances_2d(const dist_field& field, const unsigned char* labels, int label_stride,
                          unsigned char seed, unsigned* dist, std::ptrdiff_t pitch);

// Free pixels begin .. end - 1 of a row.
struct run {
    int begin, end;
};

// The runs of free pixels of all rows, in the order in which the rows are added.
class free_runs {
  public:
    void add_row(const unsigned char* labels, int n) {
        for (const unsigned char *p = labels, *end = labels + n; p < end;) {
            p = static_cast<const unsigned char*>(std::memchr(p, 0, std::size_t(end - p)));
            if (!p) break;
            const auto* after = std::find_if(p, end, [](unsigned char l) { return l != 0; });
            runs_.push_back({int(p - labels), int(after - labels)});
            p = after;
        }
        first_.push_back(runs_.size());
    }
    const run* begin(std::ptrdiff_t row) const { return runs_.data() + first_[std::size_t(row)]; }
    const run* end(std::ptrdiff_t row) const { return begin(row + 1); }

  private:
    std::vector<run> runs_;
    std::vector<std::size_t> first_{0};
};

// A row before the first scan: 0 on seeds, infinite elsewhere, and its free runs. A label of 0 that
// is a seed stays one.
inline void start_row(const unsigned char* labels, unsigned char seed, int n, unsigned* dist,
                      free_runs& runs) {
    for (int x = 0; x < n; ++x) dist[x] = labels[x] == seed ? 0 : infinite_distance;
    runs.add_row(labels, seed == 0 ? 0 : n);
}

// Hands the distance of the pixel before the first of n (behind -1), or after the last (1), on
// along them. Distances and weights add up to less than 2^31.
DSCM_KERNEL void carry_along(unsigned* dist, int behind, int weight, int n) {
    int carried = int(behind < 0 ? dist[-1] : dist[n]);
    if (behind < 0)
        for (int i = 0; i < n; ++i)
            dist[i] = unsigned(carried = std::min(int(dist[i]), carried + weight));
    else
        for (int i = n - 1; i >= 0; --i)
            dist[i] = unsigned(carried = std::min(int(dist[i]), carried + weight));
}

}  // namespace ff
