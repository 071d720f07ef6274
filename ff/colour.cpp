// Colour conversions of one pixel, in double precision: Lab by way of linear XYZ, and YUV.
//
// Sums run left to right and quotients stay quotients, so that every C library gives the same
// bytes up to the last bit of its pow.
#include <algorithm>
#include <cmath>

#include "ff/components_color.h"

namespace ff {
namespace {

using u8 = unsigned char;

constexpr double cbrt_exponent = 1.0 / 3.0;
constexpr double linear_below = 0.008856;  // of Y, X and Z
constexpr double white_x = 0.951, white_z = 1.089;

// Truncated, low 8 bits; |v| stays far below the range of an int.
u8 low_byte(double v) { return u8(int(v)); }

double linear_light(u8 byte) {
    const double c = byte / 255.0;
    return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

double lab_curve(double t) {
    return t > linear_below ? std::pow(t, cbrt_exponent) : 7.78 * t + 0.13793103448275862;
}

double cube(double v) { return v * v * v; }

// The factor 1.055 stands inside the power: wanted so.
u8 display_byte(double c) {
    const double v = c <= 0.00304 ? 12.92 * c : std::pow(1.055 * c, 1 / 2.4) - 0.055;
    return u8(int(std::clamp(v, 0.0, 1.0) * 255.999));
}

}  // namespace

void ipf_bgr2lab(const unsigned char* bgr, unsigned char* lab) {
    if (!bgr || !lab) return;
    const double r = linear_light(bgr[2]), g = linear_light(bgr[1]), b = linear_light(bgr[0]);
    const double x = 0.431 * r + 0.342 * g + 0.178 * b;
    const double y = 0.222 * r + 0.707 * g + 0.071 * b;
    const double z = 0.020 * r + 0.130 * g + 0.939 * b;
    const double fx = lab_curve(x / white_x), fy = lab_curve(y), fz = lab_curve(z / white_z);
    const double lightness = y > linear_below ? 116 * fy - 16 : 903.3 * y;
    lab[0] = low_byte(lightness * 2.5599);
    lab[1] = low_byte((fx - fy) * 635 + 128);
    lab[2] = low_byte((fy - fz) * 254 + 128);
}

void ipf_lab2bgr(const unsigned char* lab, unsigned char* bgr) {
    if (!lab || !bgr) return;
    const double lightness = lab[0] / 2.55;
    const double a = (lab[1] - 128) / 1.27, b = (lab[2] - 128) / 1.27;
    const double fy = (lightness + 16) / 116;
    double x, y = cube(fy), z;
    if (y > linear_below) {
        x = white_x * cube(fy + a / 500);
        z = white_z * cube(fy - b / 200);
    } else {  // mixes the linear and the cubic form: wanted so
        y = lightness / 903.3;
        const double root = std::pow(y, cbrt_exponent);
        x = white_x * cube(a / 500 / 7.787 + root);
        z = white_z * cube(root - b / 200 / 7.787);
    }
    bgr[0] = display_byte(0.068 * x - 0.229 * y + 1.069 * z);
    bgr[1] = display_byte(-0.969 * x + 1.876 * y + 0.042 * z);
    bgr[2] = display_byte(3.063 * x - 1.393 * y - 0.476 * z);
}

void ipf_bgr2yuv(const unsigned char* bgr, unsigned char* yuv) {
    if (!bgr || !yuv) return;
    const double r = bgr[2], b = bgr[0];
    const double y = 0.299 * r + 0.587 * bgr[1] + 0.114 * b;
    yuv[0] = low_byte(y + 0.5);
    yuv[1] = low_byte((b - y) * 0.564 + 128.5);
    yuv[2] = low_byte((r - y) * 0.713 + 128.5);
}

void ipf_yuv2bgr(const unsigned char* yuv, unsigned char* bgr) {
    if (!yuv || !bgr) return;
    const double y = yuv[0];
    const double u = yuv[1] - 128, v = yuv[2] - 128;
    bgr[0] = low_byte(y + 1.773 * u + 0.5);
    bgr[1] = low_byte(y - 0.3443 * u - 0.7144 * v + 0.5);
    bgr[2] = low_byte(y + 1.4025 * v + 0.5);
}

}  // namespace ff
