#include "tools/scene/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace {

using tools::Framing;
using tools::Image;
using tools::render_scene;
using tools::Scene;
using tools::SceneOptions;

// FNV-1a over all pictures of a scene.
std::uint64_t digest(const Scene& s) {
    std::uint64_t h = 0xcbf29ce484222325u;
    for (const Image* image : {&s.photo, &s.alpha, &s.foreground, &s.mask, &s.trimap})
        for (std::uint8_t byte : image->pixels) h = (h ^ byte) * 0x100000001b3u;
    return h;
}

SceneOptions sized(int width, int height, unsigned seed = 1) {
    SceneOptions options;
    options.width = width;
    options.height = height;
    options.seed = seed;
    return options;
}

bool fractional(std::uint8_t alpha) { return alpha != 0 && alpha != 255; }

TEST(Scene, same_bytes_on_every_machine) {
    struct {
        Framing framing;
        unsigned seed;
        std::uint64_t digest;
    } cases[] = {{Framing::centred, 1, 8056550656934111890u},
                 {Framing::touching, 2, 12262121678025157629u}};
    for (auto& c : cases) {
        SceneOptions options = sized(160, 120, c.seed);
        options.framing = c.framing;
        EXPECT_EQ(digest(render_scene(options)), c.digest) << "seed " << c.seed;
    }
}

TEST(Scene, photo_is_the_composition_of_its_parts) {
    SceneOptions options = sized(201, 263, 3);
    options.noise = 0;
    options.keep_background = true;
    Scene s = render_scene(options);
    for (std::size_t i = 0; i < s.photo.pixels.size(); ++i) {
        double a = s.alpha.pixels[i / 3] / 255.0, f = s.foreground.pixels[i],
               b = s.background.pixels[i];
        // Half a level each for photo, colours and alpha.
        double bound = 1 + 0.5 / 255 * std::abs(f - b) + 1e-3;
        ASSERT_NEAR(s.photo.pixels[i], a * f + (1 - a) * b, bound) << "byte " << i;
    }
}

TEST(Scene, noise_changes_the_photo_alone) {
    SceneOptions options = sized(160, 120);
    Scene noisy = render_scene(options);
    options.noise = 0;
    Scene clean = render_scene(options);
    EXPECT_EQ(noisy.alpha.pixels, clean.alpha.pixels);
    EXPECT_EQ(noisy.foreground.pixels, clean.foreground.pixels);
    double squares = 0;
    for (std::size_t i = 0; i < clean.photo.pixels.size(); ++i) {
        int d = int(noisy.photo.pixels[i]) - int(clean.photo.pixels[i]);
        squares += d * d;
    }
    double deviation = std::sqrt(squares / double(clean.photo.pixels.size()));
    EXPECT_GT(deviation, 1.8);
    EXPECT_LT(deviation, 3.6);
}

TEST(Scene, every_size_renders) {
    const int sizes[][2] = {{1, 1}, {7, 5}, {33, 160}, {301, 2}, {1, 90}, {640, 67}};
    for (auto [width, height] : sizes)
        for (Framing framing : {Framing::centred, Framing::touching}) {
            SceneOptions options = sized(width, height);
            options.framing = framing;
            Scene s = render_scene(options);
            std::size_t pixels = std::size_t(width) * std::size_t(height);
            EXPECT_EQ(s.photo.pixels.size(), 3 * pixels);
            EXPECT_EQ(s.foreground.pixels.size(), 3 * pixels);
            EXPECT_EQ(s.mask.pixels.size(), pixels);
            EXPECT_EQ(s.trimap.pixels.size(), pixels);
            EXPECT_TRUE(s.background.pixels.empty());
        }
    SceneOptions wrong[] = {sized(0, 4), sized(4, tools::max_scene_side + 1), sized(4, 4)};
    wrong[2].noise = -1;
    for (const SceneOptions& options : wrong)
        EXPECT_THROW(render_scene(options), std::invalid_argument);
}

TEST(Scene, touching_subject_crosses_the_borders_with_fractional_alpha) {
    for (auto [width, height] : {std::pair(320, 240), {240, 320}})
        for (unsigned seed : {1u, 2u, 3u}) {
            SceneOptions options = sized(width, height, seed);
            options.framing = Framing::touching;
            Image alpha = render_scene(options).alpha;
            int left = 0, right = 0, bottom = 0;
            for (int y = 0; y < height; ++y) {
                left += alpha.row(y)[0] == 255;
                right += fractional(alpha.row(y)[width - 1]);
            }
            for (int x = 0; x < width; ++x) bottom += alpha.row(height - 1)[x] == 255;
            EXPECT_GT(left, 0) << width << " wide, seed " << seed;
            EXPECT_GT(right, 2) << width << " wide, seed " << seed;
            EXPECT_GT(bottom, width / 2) << width << " wide, seed " << seed;
        }
}

TEST(Scene, mask_follows_the_body_and_misses_loose_hair) {
    SceneOptions options = sized(640, 480);
    Scene s = render_scene(options);
    options.hair = false;
    Image bald = render_scene(options).alpha;
    double both = 0, either = 0, loose = 0, loose_found = 0, fractions = 0;
    for (std::size_t i = 0; i < s.mask.pixels.size(); ++i) {
        int a = s.alpha.pixels[i];
        bool in_mask = s.mask.pixels[i] == 255;
        ASSERT_TRUE(in_mask || s.mask.pixels[i] == 0);
        both += in_mask && a >= 128;
        either += in_mask || a >= 128;
        fractions += fractional(s.alpha.pixels[i]);
        bool thin = a > 0 && a < 128 && bald.pixels[i] == 0;
        loose += thin;
        loose_found += thin && in_mask;
    }
    EXPECT_GT(both / either, 0.93);
    EXPECT_LT(both / either, 0.995);
    EXPECT_GT(fractions, 0.02 * 640 * 480);
    EXPECT_GT(loose, 0.01 * 640 * 480);
    EXPECT_LT(loose_found, 0.25 * loose);
}

// Against brute force.
TEST(Scene, trimap_is_unknown_at_and_near_fractional_alpha_only) {
    Scene s = render_scene(sized(97, 83));
    Image trimap = tools::trimap_of(s.alpha, 4);
    auto fraction_within = [&](int x, int y, double radius) {
        for (int dy = -5; dy <= 5; ++dy)
            for (int dx = -5; dx <= 5; ++dx) {
                int u = x + dx, v = y + dy;
                if (u < 0 || v < 0 || u >= 97 || v >= 83 || dx * dx + dy * dy > radius * radius)
                    continue;
                if (fractional(s.alpha.row(v)[u])) return true;
            }
        return false;
    };
    for (int y = 0; y < 83; ++y)
        for (int x = 0; x < 97; ++x) {
            std::uint8_t t = trimap.row(y)[x], a = s.alpha.row(y)[x];
            if (t != 128) {
                ASSERT_EQ(t, a);
            }
            // Chamfer lengths are 0.94 to 1.06 times the true ones.
            if (fraction_within(x, y, 3.75)) {
                ASSERT_EQ(t, 128) << x << ' ' << y;
            }
            if (!fraction_within(x, y, 4.3)) {
                ASSERT_NE(t, 128) << x << ' ' << y;
            }
        }
}

}  // namespace
