// Masks of another size than their photograph.
#pragma once

#include "tools/image/image.h"

namespace matte {

// The grey picture resized to width x height, the outer edges of both falling together. Soft values
// are interpolated, so that a small mask cut at a threshold afterwards has a smooth outline.
tools::Image fit_soft(const tools::Image& grey, int width, int height);

// The same by the nearest pixel: no value comes out that was not in.
tools::Image fit_nearest(const tools::Image& grey, int width, int height);

}  // namespace matte
