// The last step of the high side, at full size.
#pragma once

#include "matting/color/level_data.h"

namespace color {

// Blends the high-side plane of a full-size level with the colour that the compositing equation
// gives, which counts the more the farther a mixed pixel is from both sides.
void correct_high(_LevelData& level, u8 lo, u8 hi);

}  // namespace color
