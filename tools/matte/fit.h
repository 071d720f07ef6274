// Pictures brought to another size. The outer edges of both sizes fall together, so that nothing
// moves.
#pragma once

#include "tools/image/image.h"

namespace matte {

// The picture, of any number of channels, resized to width x height: interpolated linearly where
// that enlarges it, averaged where it reduces. A small soft mask cut at a threshold afterwards has
// a smooth outline.
tools::Image fit_soft(const tools::Image& picture, int width, int height);

// The same of the largest middle part of the picture that has the new sides' ratio: no side keeps
// an empty margin, and nothing is distorted.
tools::Image fit_cover(const tools::Image& picture, int width, int height);

// A grey picture by the nearest pixel: no value comes out that was not in.
tools::Image fit_nearest(const tools::Image& grey, int width, int height);

}  // namespace matte
