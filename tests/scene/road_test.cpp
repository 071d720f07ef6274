// The whole road on rendered scenes, whose true matte is known.
#include <gtest/gtest.h>

#include <cstdlib>

#include "matting/color/fb_color.h"
#include "matting/facade/dsc_matting.h"
#include "tools/scene/scene.h"

namespace {

using tools::Image;

}  // namespace

// Mean error of a colour against the subject's over mixed pixels, weighted by alpha.
double colour_error(const Image& colour, const tools::Scene& s) {
    double error = 0.0, weight = 0.0;
    for (std::size_t i = 0; i < s.alpha.pixels.size(); ++i) {
        const int a = s.alpha.pixels[i];
        if (a == 0 || a == 255) continue;
        weight += 3 * a;
        for (std::size_t c = 3 * i; c < 3 * i + 3; ++c)
            error += a * std::abs(colour.pixels[c] - s.foreground.pixels[c]);
    }
    return error / weight;
}

TEST(Road, both_estimates_come_closer_to_the_subjects_colour_than_the_photo) {
    const int w = 450, h = 600;
    const tools::Scene s = tools::render_scene({w, h});
    Image high(w, h, 3), facade(w, h, 3), internal = s.alpha;
    mat_estimate_fb_color(s.photo.pixels.data(), w, h, 3 * w, s.alpha.pixels.data(), w, nullptr, 0,
                          high.pixels.data(), 3 * w, 1, 253);
    for (auto& byte : internal.pixels) byte = static_cast<unsigned char>(~byte);
    DSCMatting matting(s.photo.pixels.data(), w, h, 3 * w, 512);
    matting.set_alpha(internal.pixels.data(), w, h, w);
    matting.GetFImage(facade.pixels.data(), 3 * w, 1);
    // The hair of a scene is of few colours, so that plain means, the facade's, come close as well.
    EXPECT_LT(colour_error(high, s), 0.6 * colour_error(s.photo, s));
    EXPECT_LT(colour_error(facade, s), 0.6 * colour_error(s.photo, s));
}
