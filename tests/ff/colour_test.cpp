#include <cstdlib>

#include "ff/components_color.h"
#include "tests/support/guarded_raster.h"

namespace {

using Convert = void (*)(const u8*, u8*);

Map converted(Convert convert, Map pixel) {
    convert(pixel.data(), pixel.data());
    return pixel;
}

TEST(Colour, known_pixels_have_known_bytes) {
    const struct {
        Convert convert;
        Map in, out;
    } table[] = {{ff::ipf_bgr2lab, {255, 255, 255}, {255, 128, 128}},
                 {ff::ipf_bgr2lab, {0, 0, 0}, {0, 128, 128}},
                 {ff::ipf_bgr2lab, {255, 0, 0}, {82, 228, 248}},  // b is -8
                 {ff::ipf_bgr2lab, {40, 30, 220}, {123, 216, 187}},
                 {ff::ipf_bgr2lab, {3, 9, 5}, {5, 125, 130}},  // the straight parts of the curves
                 {ff::ipf_lab2bgr, {200, 100, 160}, {141, 198, 166}},
                 {ff::ipf_lab2bgr, {10, 140, 110}, {15, 12, 13}},  // dark: the mixed form
                 {ff::ipf_lab2bgr, {82, 228, 248}, {0, 0, 173}},   // clamped
                 {ff::ipf_bgr2yuv, {0, 0, 255}, {76, 85, 255}},
                 {ff::ipf_bgr2yuv, {200, 100, 50}, {96, 186, 95}},
                 {ff::ipf_yuv2bgr, {100, 90, 140}, {33, 105, 117}},
                 {ff::ipf_yuv2bgr, {250, 255, 255}, {219, 116, 172}}};  // low bytes of 475, 428
    for (const auto& t : table)
        EXPECT_EQ(converted(t.convert, t.in), t.out) << int(t.in[0]) << ' ' << int(t.in[1]);
}

TEST(Colour, round_trips_stay_within_their_errors) {
    int lab_grey = 0, yuv = 0, colours = 0, lab_close = 0;
    for (int b = 0; b < 256; b += 3)
        for (int g = 0; g < 256; g += 3)
            for (int r = 0; r < 256; r += 3) {
                const Map bgr{u8(b), u8(g), u8(r)};
                const Map by_yuv = converted(ff::ipf_yuv2bgr, converted(ff::ipf_bgr2yuv, bgr));
                const Map by_lab = converted(ff::ipf_lab2bgr, converted(ff::ipf_bgr2lab, bgr));
                const int spread = std::max({b, g, r}) - std::min({b, g, r});
                int lab = 0;
                for (std::size_t c = 0; c < 3; ++c) {
                    // Modulo 256: 255 may come back as 0.
                    yuv =
                        std::max(yuv, std::abs(int(static_cast<signed char>(by_yuv[c] - bgr[c]))));
                    lab = std::max(lab, std::abs(by_lab[c] - bgr[c]));
                }
                if (spread == 0) lab_grey = std::max(lab_grey, lab);
                ++colours, lab_close += lab <= 9;
                EXPECT_TRUE(spread > 0 || by_yuv == bgr) << b;
            }
    EXPECT_EQ(yuv, 1);
    EXPECT_EQ(lab_grey, 8);
    EXPECT_GT(lab_close, 0.95 * colours);
}

}  // namespace
