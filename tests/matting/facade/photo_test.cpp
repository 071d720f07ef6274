// The whole road on a real photograph whose true alpha is known.
#include <cmath>
#include <filesystem>
#include <string>
#include <tuple>

#include "matting/facade/dsc_matting.h"
#include "tests/support/guarded_raster.h"
#include "tools/image/image.h"

namespace {

TEST(Photo, composite_hair_has_the_error_of_the_method) {
    const std::string folder = std::string(DSCM_PHOTOS) + "/composite-hair/";
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no photographs in " << DSCM_PHOTOS;
    const tools::Image photo = tools::read_colour(folder + "image.png");
    const tools::Image trimap = tools::read_grey(folder + "trimap.png");
    const tools::Image truth = tools::read_grey(folder + "alpha.png");
    const int w = photo.width, h = photo.height;
    ASSERT_TRUE(trimap.width == w && truth.width == w && trimap.height == h && truth.height == h);
    Map internal = trimap.pixels, out(internal.size());
    for (u8& t : internal) t = t == 128 ? t : u8(255 - t);
    const std::tuple<int, double, double> table[] = {
        {2000, 13.31, 55.25}, {512, 11.88, 46.52}, {256, 10.71, 39.33}};
    for (const auto& [max_size, sad, mse] : table) {
        DSCMatting matting(photo.row(0), w, h, photo.stride(), max_size);
        matting.Refine(internal.data(), w, h, w, out.data(), w, 0, 0);
        double sum = 0, squares = 0;
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (internal[i] != 128) continue;
            const double error = (255 - out[i] - truth.pixels[i]) / 255.0;
            sum += std::abs(error) / 1000, squares += error * error;
        }
        EXPECT_NEAR(sum, sad, 0.02) << max_size;
        const auto unknown = std::count(internal.begin(), internal.end(), 128);
        EXPECT_NEAR(1000 * squares / double(unknown), mse, 0.02) << max_size;
    }
}

}  // namespace
