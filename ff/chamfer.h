// The 2-D chamfer transform for callers inside the library: without the copy out of its padded
// buffer, and for maps of any size.
#pragma once

#include <cstddef>

#include "ff/distance_field.h"
#include "ff/scratch.h"

namespace ff {

// Distances with a border around them, as the transform leaves them.
struct padded_distances {
    scratch<unsigned> values;
    std::ptrdiff_t pitch;  // elements a row

    const unsigned* row(int y) const { return values.get() + (std::ptrdiff_t(y) + 1) * pitch + 1; }
};

// As ipf_distance_transform_2d; field is a 2-D one, labels a map of its size, at least 1 x 1.
padded_distances chamfer_distances_2d(const dist_field& field, const unsigned char* labels,
                                      int label_stride, unsigned char seed);

}  // namespace ff
