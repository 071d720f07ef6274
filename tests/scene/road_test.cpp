// The whole road on rendered scenes, whose true matte is known.
#include <gtest/gtest.h>

#include <cstdlib>

#include "ff/raster.h"
#include "matting/color/fb_color.h"
#include "matting/facade/dsc_matting.h"
#include "matting/solver/mat_system.h"
#include "matting/trimap/trimap.h"
#include "tools/scene/scene.h"

namespace {

using tools::Image;

constexpr int max_size = 512;

double sad(const Image& a, const Image& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) sum += std::abs(a.pixels[i] - b.pixels[i]);
    return sum / 255.0 / 1000.0;
}

struct bands {
    int max, min;
};

Image make_matte(const tools::Scene& s, const bands& b) {
    DSCMatting matting(s.photo.pixels.data(), s.photo.width, s.photo.height, s.photo.stride(),
                       s.mask.pixels.data(), s.mask.stride(), max_size, b.max, 1.0, 3, 5, 50,
                       b.min);
    Image matte(s.photo.width, s.photo.height, 1);
    EXPECT_TRUE(
        matting.MakeMatte(matte.pixels.data(), matte.width, matte.height, matte.stride(), 3, 0));
    return matte;
}

// Unknowns of the working system that nothing determines: their column is a zero diagonal.
int undetermined_unknowns(const tools::Scene& s, const bands& b) {
    const int w = s.photo.width, h = s.photo.height;
    Image trimap(w, h, 1);
    MakeTrimapFromSegRes(s.photo.pixels.data(), w, h, 3 * w, s.mask.pixels.data(), w,
                         trimap.pixels.data(), w, b.max, 1.0, 3, 5, 50, b.min);
    const int work_w = max_size, work_h = int(double(max_size) / w * h + 0.5);
    Image photo(work_w, work_h, 3), unknown(work_w, work_h, 1);
    ff::ipf_resize_nn(s.photo.pixels.data(), w, h, 3 * w, 3, photo.pixels.data(), work_w, work_h,
                      3 * work_w, 3, ff::ccn<3>());
    ff::ipf_resize_nn(trimap.pixels.data(), w, h, w, 1, unknown.pixels.data(), work_w, work_h,
                      work_w, 1, ff::ccn<1>());
    for (auto& byte : unknown.pixels) byte = byte == 128;
    mat_data system;
    mat_update(photo.pixels.data(), work_w, work_h, 3 * work_w, unknown.pixels.data(), work_w,
               system, system, nullptr);
    int count = 0;
    for (int k = 0; k < system.n; ++k) count += system.values[system.col_ptr[k] - 1] == 0.0;
    return count;
}

}  // namespace

TEST(Road, undetermined_unknowns_on_the_border_do_not_spoil_the_matte) {
    tools::SceneOptions options;
    options.width = 2600;
    options.height = 2000;
    options.framing = tools::Framing::touching;
    const tools::Scene scene = tools::render_scene(options);
    const bands narrow{2, 1};
    ASSERT_GT(undetermined_unknowns(scene, narrow), 0) << "the scene has not what this is about";
    EXPECT_LT(sad(make_matte(scene, narrow), scene.alpha), 0.98 * sad(scene.mask, scene.alpha));
}

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
    tools::SceneOptions options;
    options.width = 450;
    options.height = 600;
    const tools::Scene s = tools::render_scene(options);
    const int w = options.width, h = options.height;
    Image high(w, h, 3), facade(w, h, 3), internal = s.alpha;
    mat_estimate_fb_color(s.photo.pixels.data(), w, h, 3 * w, s.alpha.pixels.data(), w, nullptr, 0,
                          high.pixels.data(), 3 * w, 1, 253);
    for (auto& byte : internal.pixels) byte = static_cast<unsigned char>(~byte);
    DSCMatting matting(s.photo.pixels.data(), w, h, 3 * w, max_size);
    matting.set_alpha(internal.pixels.data(), w, h, w);
    matting.GetFImage(facade.pixels.data(), 3 * w, 1);
    // The hair of a scene is of few colours, so that plain means, the facade's, come close as well.
    EXPECT_LT(colour_error(high, s), 0.6 * colour_error(s.photo, s));
    EXPECT_LT(colour_error(facade, s), 0.6 * colour_error(s.photo, s));
}
