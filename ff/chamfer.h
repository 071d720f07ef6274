// Parts of the chamfer transforms for use inside the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "ff/distance_field.h"

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

}  // namespace ff
