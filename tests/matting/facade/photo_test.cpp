// The whole road on a real photograph whose true alpha is known.
#include <cmath>
#include <filesystem>
#include <string>

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
    Bytes internal(w, h, 0, [&](int x, int y) {
        const int t = trimap.row(y)[x];
        return t == 128 ? 128 : 255 - t;
    });
    const struct {
        int max_size;
        double sad, mse;
    } table[] = {{2000, 13.31, 55.25}, {512, 11.88, 46.52}, {256, 10.71, 39.33}};
    for (const auto& t : table) {
        Bytes out(w, h, 0);
        DSCMatting matting(photo.row(0), w, h, photo.stride(), t.max_size);
        matting.Refine(internal, w, h, w, out, w, 0, 0);
        double sad = 0, squares = 0;
        long unknown = 0;
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                if (trimap.row(y)[x] != 128) continue;
                const double error = (255 - out(x, y) - truth.row(y)[x]) / 255.0;
                sad += std::abs(error) / 1000, squares += error * error, ++unknown;
            }
        }
        EXPECT_NEAR(sad, t.sad, 0.02) << t.max_size;
        EXPECT_NEAR(1000 * squares / double(unknown), t.mse, 0.02) << t.max_size;
    }
}

}  // namespace
