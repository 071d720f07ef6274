// The record of one solve: plain arrays with one owner.
#include "matting/solver/mat_data.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "ff/scratch.h"

namespace {

template <class T>
void free_array(T*& p) {
    delete[] p;
    p = nullptr;
}

}  // namespace

mat_data::mat_data()
    : n(0),
      values(nullptr),
      rhs(nullptr),
      col_ptr(nullptr),
      row_ind(nullptr),
      width(0),
      height(0),
      roi{0, 0, 0, 0},
      index_buffer(nullptr),
      index_map(nullptr),
      unknown_pixels(nullptr),
      unknown_flags(nullptr),
      index_stride(0),
      unknown_pixel_count(0),
      unknown_flag_count(0) {}

mat_data::~mat_data() { release(); }

void mat_data::release() {
    free_array(values);
    free_array(rhs);
    free_array(col_ptr);
    free_array(row_ind);
    release_mask_data();
}

void mat_data::release_mask_data() {
    if (index_buffer) index_map = nullptr;
    free_array(index_buffer);
    free_array(unknown_pixels);
    free_array(unknown_flags);
}

void mat_data::create(int count) {
    release();
    auto new_values = ff::make_scratch<double>(count, 13);
    auto new_rhs = ff::make_scratch<double>(count);
    auto new_col_ptr = ff::make_scratch<int>(std::ptrdiff_t(count) + 1);
    auto new_row_ind = ff::make_scratch<int>(count, 13);
    values = new_values.release();
    rhs = new_rhs.release();
    col_ptr = new_col_ptr.release();
    row_ind = new_row_ind.release();
    n = count;
}

void mat_data::set_mask_data(int w, int h, const int* roi_box, int* buffer, int* map, int stride,
                             int* pixels, int pixel_count, unsigned char* flags, int flag_count,
                             unsigned char*) {
    width = w;
    height = h;
    std::copy(roi_box, roi_box + 4, roi);
    release_mask_data();
    index_buffer = buffer;
    index_map = map;
    index_stride = stride;
    unknown_pixels = pixels;
    unknown_pixel_count = pixel_count;
    unknown_flags = flags;
    unknown_flag_count = flag_count;
}

void mat_data::swap(mat_data& other) {
    std::swap(n, other.n);
    std::swap(values, other.values);
    std::swap(rhs, other.rhs);
    std::swap(col_ptr, other.col_ptr);
    std::swap(row_ind, other.row_ind);
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(roi, other.roi);
    std::swap(index_buffer, other.index_buffer);
    std::swap(index_map, other.index_map);
    std::swap(unknown_pixels, other.unknown_pixels);
    std::swap(unknown_flags, other.unknown_flags);
    std::swap(index_stride, other.index_stride);
    std::swap(unknown_pixel_count, other.unknown_pixel_count);
    std::swap(unknown_flag_count, other.unknown_flag_count);
}
