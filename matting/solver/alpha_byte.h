// Between bytes and the values the system is solved in.
#pragma once

namespace matting {

constexpr double constraint_weight = 1000.0;          // pins a known pixel
constexpr double byte_to_unit = 0.00392156862745098;  // 1 / 255

// trunc(v), clamped to a byte; the clamp comes first, so that any finite v will do. NaN gives 0.
inline unsigned char clamp_to_byte(double v) {
    if (!(v > 0.0)) return 0;
    return v >= 255.0 ? 255 : static_cast<unsigned char>(v);
}

}  // namespace matting
