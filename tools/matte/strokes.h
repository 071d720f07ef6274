// Segmentations from strokes that a user draws.
#pragma once

#include <string>

#include "tools/image/image.h"

namespace matte {

// One byte a pixel: what the stroke through it says. These are GeoSegN24's seeds.
enum Label : std::uint8_t { no_stroke = 0, surroundings_stroke = 1, subject_stroke = 2 };

// Reads a picture in which pure green (0,255,0) marks the subject and pure red (255,0,0) its
// surroundings; other colours mark nothing. Throws ImageError where either colour is missing.
tools::Image read_strokes(const std::string& path, long long max_pixels);

// The size segmentation runs at: the picture's, reduced where its longer side is above a limit.
void segmentation_size(int& width, int& height);

// 255 where the subject is more likely than the surroundings, 0 elsewhere, in the photograph's
// size, which the labels have as well. Strokes are kept to the pixel.
tools::Image segment(const tools::Image& photo, const tools::Image& labels);

}  // namespace matte
