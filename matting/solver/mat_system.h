// Assembly of the closed-form matting Laplacian (Levin, Lischinski, Weiss, "A Closed-Form Solution
// to Natural Image Matting") over the unknown pixels of a picture.
#pragma once

#include "matting/solver/mat_data.h"

// Builds the system over the pixels with a non-zero mask byte and their known ring of one pixel.
//
// image: B,G,R bytes, 3 a pixel, image_stride bytes a row. mask: one byte a pixel, mask_stride
// bytes a row, 0 = not to be solved. Both are width x height and only read. previous: the record of
// an earlier call; columns whose neighbourhood did not change are copied from it. It may be empty,
// and it may be `out` itself. out: receives the record; what it held is released. An all-zero mask,
// a null pointer or a size below 1 leaves it released. The last argument is ignored. std::bad_alloc
// leaves `out` as it was.
DSCM_API void mat_update(const unsigned char* image, int width, int height, int image_stride,
                         const unsigned char* mask, int mask_stride, const mat_data& previous,
                         mat_data& out, unsigned char* ignored);

// Builds the system over the whole picture: unknown y * width + x is pixel (x, y), and there are no
// mask data. Entries that no window touched are dropped. mat_mask_run takes such a record.
// Arguments as above.
DSCM_API void mat_init(const unsigned char* image, int width, int height, int image_stride,
                       mat_data& out, unsigned char* ignored);
