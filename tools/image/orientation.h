// EXIF orientation of a picture; not for use outside tools/image.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tools/image/image.h"

namespace tools {

// The orientation 1..8 that an EXIF block gives, 1 (upright) where it gives none. `exif` starts
// with "Exif\0\0", as a JPEG's APP1 segment does.
int exif_orientation(const std::uint8_t* exif, std::size_t size);

// The picture turned upright from orientation 1..8 (5..8 swap the sides).
Image turn_upright(Image image, int orientation);

}  // namespace tools
