#include "tools/scene/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace {

using tools::Framing;
using tools::render_scene;
using tools::Scene;
using tools::SceneOptions;

TEST(Scene, photo_is_the_composition_of_its_parts_and_noise) {
    SceneOptions options{201, 263, 3};
    const Scene noisy = render_scene(options);
    options.noise = 0;
    options.keep_background = true;
    const Scene s = render_scene(options);
    EXPECT_TRUE(noisy.alpha.pixels == s.alpha.pixels &&
                noisy.foreground.pixels == s.foreground.pixels && noisy.background.pixels.empty());
    double squares = 0;
    for (std::size_t i = 0; i < s.photo.pixels.size(); ++i) {
        const double a = s.alpha.pixels[i / 3] / 255.0, f = s.foreground.pixels[i],
                     b = s.background.pixels[i];
        // Half a level each for photo, colours and alpha.
        const double bound = 1 + 0.5 / 255 * std::abs(f - b) + 1e-3;
        ASSERT_NEAR(s.photo.pixels[i], a * f + (1 - a) * b, bound) << "byte " << i;
        squares += std::pow(noisy.photo.pixels[i] - s.photo.pixels[i], 2);
    }
    const double deviation = std::sqrt(squares / double(s.photo.pixels.size()));
    EXPECT_TRUE(deviation > 1.8 && deviation < 3.6) << deviation;
}

TEST(Scene, every_size_renders_and_sizes_out_of_range_throw) {
    const int sizes[][2] = {{1, 1}, {7, 5}, {33, 160}, {301, 2}, {1, 90}, {1300, 67}};
    for (const auto& [width, height] : sizes) {
        for (Framing framing : {Framing::centred, Framing::touching}) {
            const Scene s = render_scene({width, height, 1, framing});
            const std::size_t pixels = s.alpha.pixels.size();
            EXPECT_EQ(pixels, std::size_t(width * height));
            EXPECT_TRUE(s.photo.pixels.size() == 3 * pixels && s.trimap.pixels.size() == pixels);
        }
    }
    SceneOptions wrong[] = {{0, 4, 1}, {4, tools::max_scene_side + 1, 1}, {4, 4, 1}};
    wrong[2].noise = -1;
    for (const SceneOptions& options : wrong)
        EXPECT_THROW(render_scene(options), std::invalid_argument);
}

}  // namespace
