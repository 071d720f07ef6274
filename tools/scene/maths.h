// Arithmetic shared by the parts of the scene: colours, random numbers, noise fields.
//
// Everything here uses + - * / and square roots only, which IEEE 754 rounds the same way on every
// machine; sines, powers and the standard distributions differ between C libraries.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tools::parts {

// Display values, nominally 0..255; highlights may lie above until they are stored.
struct Colour {
    float b = 0, g = 0, r = 0;
};

constexpr Colour rgb(int r, int g, int b) { return {float(b), float(g), float(r)}; }
inline Colour operator+(Colour p, Colour q) { return {p.b + q.b, p.g + q.g, p.r + q.r}; }
inline Colour operator*(Colour p, float k) { return {p.b * k, p.g * k, p.r * k}; }

struct Point {
    float x = 0, y = 0;
};

inline Point operator+(Point p, Point q) { return {p.x + q.x, p.y + q.y}; }
inline Point operator-(Point p, Point q) { return {p.x - q.x, p.y - q.y}; }
inline Point operator*(Point p, float k) { return {p.x * k, p.y * k}; }
inline Point perpendicular(Point p) { return {-p.y, p.x}; }
inline Point unit_length(Point p) { return p * (1 / std::sqrt(p.x * p.x + p.y * p.y + 1e-12f)); }

inline float clamp01(float v) { return std::min(std::max(v, 0.f), 1.f); }
inline float mix(float p, float q, float t) { return p + (q - p) * t; }
inline Colour mix(Colour p, Colour q, float t) { return p * (1 - t) + q * t; }

// 0 below `low`, 1 above `high`, smooth between; `low` may be the larger one, which falls instead.
inline float ramp(float low, float high, float v) {
    float t = clamp01((v - low) / (high - low));
    return t * t * (3 - 2 * t);
}

// A sine's look with period 1, from two parabolas.
inline float wave(float t) {
    t -= std::floor(t);
    return t < 0.5f ? 16 * t * (0.5f - t) : -16 * (t - 0.5f) * (1 - t);
}

// Splitmix64.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }
    float unit() { return float(next() >> 40) * (1.f / 16777216); }  // [0, 1)
    float range(float low, float high) { return mix(low, high, unit()); }
    // (-1, 1), mostly near 0. One draw a statement: operands have no fixed order.
    float bell() {
        float sum = unit();
        sum += unit();
        sum += unit();
        return sum * (2.f / 3) - 1;
    }

  private:
    std::uint64_t state_;
};

inline std::uint32_t hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t h = x * 0x85ebca6bu ^ (y * 0xc2b2ae35u + seed * 0x27d4eb2fu);
    h = (h ^ (h >> 15)) * 0x2c1b3c6du;
    h = (h ^ (h >> 12)) * 0x297a2d39u;
    return h ^ (h >> 15);
}

// Smooth noise in [-1, 1] with features about one unit wide; |x| and |y| below 1e9.
inline float noise(float x, float y, std::uint32_t seed) {
    float fx = std::floor(x), fy = std::floor(y);
    float tx = x - fx, ty = y - fy;
    auto ix = std::uint32_t(std::int32_t(fx)), iy = std::uint32_t(std::int32_t(fy));
    auto corner = [&](unsigned dx, unsigned dy) {
        return float(hash(ix + dx, iy + dy, seed) >> 8) * (1.f / 8388608) - 1;
    };
    tx = tx * tx * (3 - 2 * tx);
    ty = ty * ty * (3 - 2 * ty);
    return mix(mix(corner(0, 0), corner(1, 0), tx), mix(corner(0, 1), corner(1, 1), tx), ty);
}

// Octaves of noise(), each half as wide and half as strong.
inline float fractal(float x, float y, int octaves, std::uint32_t seed) {
    float sum = 0, strength = 0.5f;
    for (int i = 0; i < octaves; ++i) {
        sum += strength * noise(x, y, seed + unsigned(i));
        strength *= 0.5f;
        x = 2 * x + 17;
        y = 2 * y - 31;
    }
    return sum;
}

}  // namespace tools::parts
