// Makes a level: nearest-neighbour resampling straight from full size, or a reference to it.
#include "matting/color/level_data.h"

#include <climits>
#include <new>

#include "ff/raster.h"

namespace color {

void _LevelData::InitLevel(const u8* full_image, int full_width, int full_height,
                           int full_image_stride, const u8* full_alpha, int full_alpha_stride,
                           const u8* full_classes, int full_classes_stride, int level_width,
                           int level_height, bool with_high) {
    if (level_width > INT_MAX / 3) throw std::bad_alloc();
    width = level_width;
    height = level_height;
    plane_stride = 3 * level_width;
    image = full_image, image_stride = full_image_stride;
    alpha = full_alpha, alpha_stride = full_alpha_stride;
    classes = full_classes, classes_stride = full_classes_stride;
    if (level_width != full_width || level_height != full_height) {
        own_image_ = ff::make_scratch<u8>(plane_stride, height);
        own_alpha_ = ff::make_scratch<u8>(width, height);
        own_classes_ = ff::make_scratch<u8>(width, height);
        ff::ipf_resize_nn(image, full_width, full_height, image_stride, 3, own_image_.get(), width,
                          height, plane_stride, 3, ff::ccn<3>());
        ff::ipf_resize_nn(alpha, full_width, full_height, alpha_stride, 1, own_alpha_.get(), width,
                          height, width, 1, ff::ccn<1>());
        ff::ipf_resize_nn(classes, full_width, full_height, classes_stride, 1, own_classes_.get(),
                          width, height, width, 1, ff::ccn<1>());
        image = own_image_.get(), image_stride = plane_stride;
        alpha = own_alpha_.get(), alpha_stride = width;
        classes = own_classes_.get(), classes_stride = width;
    }
    low = ff::make_scratch<u8>(plane_stride, height);
    ff::ipf_memcpy_2d(image, plane_stride, height, image_stride, low.get(), plane_stride);
    if (!with_high) return;
    high = ff::make_scratch<u8>(plane_stride, height);
    ff::ipf_memcpy_2d(image, plane_stride, height, image_stride, high.get(), plane_stride);
}

}  // namespace color
