// The record of one solve.
//
// The sparse system is symmetric; its lower triangle is stored by columns, with 1-based indices:
// column k (0-based) holds the values at the 1-based positions col_ptr[k] .. col_ptr[k + 1] - 1,
// the first of them its diagonal, rows rising. A pixel shares 3 x 3 windows with the 24 pixels of
// its 5 x 5 neighbourhood, 12 of which follow it in raster order: at most 13 values a column.
#pragma once

#include "ff/api.h"

struct DSCM_API mat_data {
    int n;           // unknowns
    double* values;  // capacity 13 n
    double* rhs;     // n, filled by the solve
    int* col_ptr;    // n + 1
    int* row_ind;    // capacity 13 n
    int width;       // of the picture the record was built from
    int height;
    int roi[4];           // working rectangle x0, y0, x1, y1 in the picture, x1 and y1 exclusive
    int* index_buffer;    // (roi width + 4) x (roi height + 4): unknown number or -1, border of 2
    int* index_map;       // entry of working pixel (0, 0) inside index_buffer; not owned
    int* unknown_pixels;  // n: y * width + x of every unknown, in raster order
    unsigned char* unknown_flags;  // n: 1 a known pixel of the ring, 0 a true unknown
    int index_stride;              // ints a row of index_buffer
    int unknown_pixel_count;
    int unknown_flag_count;

    // The empty record: everything zero.
    mat_data();
    ~mat_data();
    mat_data(const mat_data&) = delete;
    mat_data& operator=(const mat_data&) = delete;

    // Frees every array and nulls its pointer; sizes and counts stay as they were.
    void release();
    // Releases, then allocates the four arrays of a system of n unknowns, uninitialised.
    // std::bad_alloc when that cannot be had; a negative n counts as one that does not fit.
    void create(int count);
    // Stores the sizes and takes ownership of the arrays (from array new); frees the former ones.
    // `roi_box` is four ints; the last argument is ignored.
    void set_mask_data(int w, int h, const int* roi_box, int* buffer, int* map, int stride,
                       int* pixels, int pixel_count, unsigned char* flags, int flag_count,
                       unsigned char* ignored);
    // Frees the mask arrays and leaves the system.
    void release_mask_data();
    // Exchanges the complete contents.
    void swap(mat_data& other);
};
