// A colour plane of a new level from the level before.
#pragma once

#include "ff/scratch.h"
#include "matting/color/level_data.h"
#include "matting/color/samples.h"

namespace color {

// Positions and fractions of a level in the one before, for bilinear interpolation.
struct bilinear_axis {
    ff::scratch<int> position;
    ff::scratch<float> fraction;

    bilinear_axis(int from, int to);
};

// Rewrites the mixed pixels of one plane of `to`: the low-side plane for side == low_side, the
// high-side plane for high_side. Interpolates between the corners in `from` that are not of the
// other side; where all four are, samples gathered around them in `from` take their place.
void _upsample_level_color(const _LevelData& from, gatherer& samples, _LevelData& to,
                           const bilinear_axis& columns, const bilinear_axis& rows,
                           pixel_class side);

}  // namespace color
