// The subject's own colour, and what is made with it.
#pragma once

#include <string>

#include "tools/image/image.h"

namespace matte {

// What #rrggbb or a picture file puts behind subjects; a colour is a picture of one pixel. Throws
// ImageError.
tools::Image read_background(const std::string& text, long long max_pixels);

// Turns the photograph (B,G,R) into the subject's colour: where the matte is between 0 and 255,
// what shows through of the surroundings is taken out; where it is 0, black. Nothing of the
// surroundings stays behind, also where a cut-out is transparent.
void take_subject_colour(tools::Image& photo, const tools::Image& matte);

// B,G,R,A with straight alpha.
tools::Image cut_out(const tools::Image& subject, const tools::Image& matte);

// alpha * subject + (1 - alpha) * background, whose middle part covers the picture.
tools::Image composite(const tools::Image& subject, const tools::Image& matte,
                       const tools::Image& background);

}  // namespace matte
