// The photograph's own colour in a lock of hair is a mix with what was behind it, and would show as
// a rim of the old background before a new one. The high side of the colour estimation is what
// belongs to the subject: the definite colour nearby that explains the mix best.

#include "tools/matte/colours.h"

#include <algorithm>

#include "matting/color/fb_color.h"
#include "tools/image/colour.h"
#include "tools/matte/fit.h"

namespace matte {

using tools::Image;

Image read_background(const std::string& text, long long max_pixels) {
    return tools::is_colour(text) ? tools::colour_pixel(text)
                                  : tools::read_colour(text, max_pixels);
}

void take_subject_colour(Image& photo, const Image& matte) {
    // Wholly subject is 254 and above, surroundings 0. The estimate may replace its own input.
    mat_estimate_fb_color(photo.pixels.data(), photo.width, photo.height, photo.stride(),
                          matte.pixels.data(), matte.stride(), nullptr, 0, photo.pixels.data(),
                          photo.stride(), 1, 253);
    std::uint8_t* bgr = photo.pixels.data();
    for (const std::uint8_t alpha : matte.pixels) {
        if (alpha == 0) std::fill_n(bgr, 3, std::uint8_t(0));
        bgr += 3;
    }
}

Image cut_out(const Image& subject, const Image& matte) {
    Image picture(subject.width, subject.height, 4);
    const std::uint8_t* bgr = subject.pixels.data();
    std::uint8_t* bgra = picture.pixels.data();
    for (const std::uint8_t alpha : matte.pixels) {
        bgra = std::copy_n(bgr, 3, bgra);
        *bgra++ = alpha;
        bgr += 3;
    }
    return picture;
}

Image composite(const Image& subject, const Image& matte, const Image& background) {
    Image picture = fit_cover(background, subject.width, subject.height);
    const std::uint8_t* above = subject.pixels.data();
    std::uint8_t* value = picture.pixels.data();
    for (const unsigned alpha : matte.pixels) {
        for (int c = 0; c < 3; ++c, ++value) {
            *value = tools::lay_over(alpha, *above++, *value);
        }
    }
    return picture;
}

}  // namespace matte
