// Mattes a grey disc with a soft edge on a dark ground, given a mask of it that is too small, and
// prints how far the matte is from the true one. Fails when that is more than a hundredth.
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "matting/facade/dsc_matting.h"

namespace {

constexpr int side = 240;
constexpr double radius = 70, softness = 8;  // pixels

// Share of the disc in a pixel, 0 to 1.
double true_alpha(int x, int y) {
    const double out = std::hypot(x - side / 2, y - side / 2) - radius;
    return out <= -softness ? 1 : out >= softness ? 0 : 0.5 - 0.5 * out / softness;
}

unsigned char byte(double v) { return static_cast<unsigned char>(std::lround(v)); }

}  // namespace

int main() {
    std::vector<unsigned char> photo, mask;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const double alpha = true_alpha(x, y);
            for (double subject : {200.0, 190.0, 180.0})  // blue, green, red
                photo.push_back(byte(alpha * subject + (1 - alpha) * 30));
            mask.push_back(alpha > 0.7 ? 255 : 0);
        }
    std::vector<unsigned char> matte(mask.size());
    DSCMatting matting(photo.data(), side, side, 3 * side, mask.data(), side, /*max_size*/ 256,
                       /*max_band*/ 16, /*band_scale*/ 1.0, /*step*/ 3, /*low, high contrast*/ 5,
                       50, /*min_band*/ 14);
    if (!matting.MakeMatte(matte.data(), side, side, side, /*smooth*/ 0, /*keep_components*/ 0)) {
        std::fprintf(stderr, "consumer: no matte\n");
        return EXIT_FAILURE;
    }
    double error = 0;
    for (std::size_t i = 0; i < matte.size(); ++i)
        error += std::abs(matte[i] / 255.0 - true_alpha(int(i) % side, int(i) / side));
    error /= double(matte.size());
    std::printf("\nmean error %.4f\n", error);
    return error < 0.01 ? EXIT_SUCCESS : EXIT_FAILURE;
}
