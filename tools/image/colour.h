// Flat colours and layers, for the programs.
#pragma once

#include <cstdint>
#include <string>

#include "tools/picture.h"

namespace tools {

// Whether `text` is a colour such as #3070b0.
inline bool is_colour(const std::string& text) {
    return text.size() == 7 && text[0] == '#' &&
           text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
}

// That colour as a picture of one B,G,R pixel.
inline Image colour_pixel(const std::string& text) {
    const unsigned long rgb = std::stoul(text.substr(1), nullptr, 16);
    Image pixel(1, 1, 3);
    for (unsigned c = 0; c < 3; ++c) pixel.pixels[c] = std::uint8_t(rgb >> (8 * c));
    return pixel;
}

// alpha * above + (1 - alpha) * below, rounded.
inline std::uint8_t lay_over(unsigned alpha, unsigned above, unsigned below) {
    return std::uint8_t((alpha * above + (255 - alpha) * below + 127) / 255);
}

}  // namespace tools
