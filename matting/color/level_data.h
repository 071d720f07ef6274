// One level of the colour pyramid.
#pragma once

#include <cstddef>
#include <cstring>

#include "ff/scratch.h"

namespace color {

using u8 = unsigned char;

// Pixel classes; single bits, so that the classes of a window can be OR-ed.
enum pixel_class : u8 { mixed = 0, low_side = 1, high_side = 2, both_sides = 3 };

// The picture, its matte and its classes at one size, with the two planes that are estimated.
// The planes hold the picture's colour at every definite pixel; only mixed pixels carry estimates.
struct _LevelData {
    int width = 0, height = 0;
    const u8* image = nullptr;  // 3 channels
    const u8* alpha = nullptr;
    const u8* classes = nullptr;
    ff::scratch<u8> low, high;  // 3 channels; high only where it was asked for
    int image_stride = 0, alpha_stride = 0, classes_stride = 0, plane_stride = 0;  // bytes

    // Resamples picture, matte and classes by nearest neighbour and starts the planes as copies of
    // the result. At their own size the inputs are referred to: they must outlive the level.
    void InitLevel(const u8* full_image, int full_width, int full_height, int full_image_stride,
                   const u8* full_alpha, int full_alpha_stride, const u8* full_classes,
                   int full_classes_stride, int level_width, int level_height, bool with_high);

    const u8* image_at(int x, int y) const {
        return image + std::ptrdiff_t(y) * image_stride + 3 * std::ptrdiff_t(x);
    }
    const u8* alpha_row(int y) const { return alpha + std::ptrdiff_t(y) * alpha_stride; }
    const u8* class_row(int y) const { return classes + std::ptrdiff_t(y) * classes_stride; }
    u8* low_at(int x, int y) const { return in_plane(low, x, y); }
    u8* high_at(int x, int y) const { return in_plane(high, x, y); }

  private:
    u8* in_plane(const ff::scratch<u8>& plane, int x, int y) const {
        return plane.get() + std::ptrdiff_t(y) * plane_stride + 3 * std::ptrdiff_t(x);
    }
    ff::scratch<u8> own_image_, own_alpha_, own_classes_;
};

// Calls pixel(x) for the mixed pixels of a row from left to right; definite ones cost next to
// nothing.
template <class Pixel>
void for_each_mixed(const u8* classes, int width, Pixel pixel) {
    static_assert(mixed == 0);
    for (int x = 0; x < width; ++x) {
        const void* next = std::memchr(classes + x, mixed, std::size_t(width - x));
        if (!next) return;
        for (x = int(static_cast<const u8*>(next) - classes); x < width && !classes[x]; ++x)
            pixel(x);
    }
}

}  // namespace color
