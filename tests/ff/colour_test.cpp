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

}  // namespace
