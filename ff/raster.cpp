// Copies, fills, flips, neighbour offsets and mask extents of strided byte rasters. All of it is
// bound by memory: rows are walked in order, flips aside, and whole rows go to memcpy, memset and
// loops that the compiler vectorises.
#include "ff/raster.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>

#include "ff/multiversion.h"
#include "ff/scratch.h"
#include "ff/shuffle.h"

namespace ff {
namespace {

using u8 = unsigned char;

const u8* row_at(const void* base, int y, int stride) {
    return static_cast<const u8*>(base) + std::ptrdiff_t(y) * stride;
}
u8* row_at(void* base, int y, int stride) {
    return static_cast<u8*>(base) + std::ptrdiff_t(y) * stride;
}

// dst pixel i = src pixel width - i: `src` points at pixel 0 of the source row.
template <int N>
void mirror_row(const u8* src, u8* dst, int width) {
    const u8* s = src + std::ptrdiff_t(width) * N;
    for (int i = 0; i < width; ++i, s -= N) std::memcpy(dst + std::ptrdiff_t(i) * N, s, N);
}

// As many of the first pixels of three bytes as go in groups of five, which are one shuffle and
// write a sixteenth byte, into a pixel that follows. Returns their number.
DSCM_SHUFFLES int mirror_groups(const u8* src, u8* dst, int width) {
    constexpr int size = 3, group = shuffle_width / size;
    constexpr u8 order[shuffle_width] = {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0};
    int i = 0;
    for (; i + group < width; i += group) {
        const u8* end = src + size * (std::ptrdiff_t(width) - i + 1);
        shuffle_bytes(end - shuffle_width, order, dst + size * std::ptrdiff_t(i));
    }
    return i;
}

void mirror_threes(const u8* src, u8* dst, int width) {
    const int done = can_shuffle() ? mirror_groups(src, dst, width) : 0;
    mirror_row<3>(src, dst + 3 * std::ptrdiff_t(done), width - done);
}

void mirror_row(const u8* src, u8* dst, int width, int pixel_bytes) {
    switch (pixel_bytes) {
        case 1:
            return mirror_row<1>(src, dst, width);
        case 2:
            return mirror_row<2>(src, dst, width);
        case 3:
            return mirror_threes(src, dst, width);
        case 4:
            return mirror_row<4>(src, dst, width);
    }
    const u8* s = src + std::ptrdiff_t(width) * pixel_bytes;
    for (int i = 0; i < width; ++i, s -= pixel_bytes, dst += pixel_bytes)
        std::memcpy(dst, s, std::size_t(pixel_bytes));
}

// p receives b and q receives a, of n bytes each; p may be a while q is b. Two rows at a time, in
// pieces, since memcpy is slow from rows that do not begin at a cache line.
DSCM_KERNEL void exchange(const u8* a, const u8* b, u8* p, u8* q, std::ptrdiff_t n) {
    constexpr int size = 32;
#ifdef __GNUC__
    using piece = u8 __attribute__((vector_size(size)));
#else
    using piece = std::array<u8, size>;
#endif
    std::ptrdiff_t i = 0;
    for (; i + size <= n; i += size) {
        piece from_a, from_b;
        std::memcpy(&from_a, a + i, size);
        std::memcpy(&from_b, b + i, size);
        std::memcpy(p + i, &from_b, size);
        std::memcpy(q + i, &from_a, size);
    }
    for (; i < n; ++i) {
        const u8 from_a = a[i], from_b = b[i];
        p[i] = from_b;
        q[i] = from_a;
    }
}

#ifdef DSCM_HAS_AVX2
DSCM_AVX2 void exchange_avx2(const u8* a, const u8* b, u8* p, u8* q, std::ptrdiff_t n) {
    exchange(a, b, p, q, n);
}
#endif

void exchange_rows(const u8* a, const u8* b, u8* p, u8* q, std::ptrdiff_t n) {
#ifdef DSCM_HAS_AVX2
    if (cpu_has_avx2()) return exchange_avx2(a, b, p, q, n);
#endif
    exchange(a, b, p, q, n);
}

// Turns column and row flags into a box; both flag arrays are non-empty.
bool box_from_flags(const u8* columns, int w, const u8* rows, int h, int* box) {
    const bool found = ipf_get_mask_range(columns, w, box[0], box[2]) &&
                       ipf_get_mask_range(rows, h, box[1], box[3]);
    if (!found) std::fill(box, box + 4, 0);
    return found;
}

// Bounding box of the pixels for which `mark(y, columns)`, called for every row, reports some; it
// also raises the flags of their columns.
template <class MarkRow>
bool roi_of_rows(int w, int h, int* box, MarkRow mark) {
    if (w < 1 || h < 1) {
        std::fill(box, box + 4, 0);
        return false;
    }
    const auto columns = std::make_unique<u8[]>(std::size_t(w));
    const auto rows = std::make_unique<u8[]>(std::size_t(h));
    for (int y = 0; y < h; ++y) rows[std::size_t(y)] = mark(y, columns.get());
    return box_from_flags(columns.get(), w, rows.get(), h, box);
}

}  // namespace

void ipf_memcpy_2d(const void* src, int row_bytes, int rows, int src_stride, void* dst,
                   int dst_stride) {
    if (!src || !dst || row_bytes < 1 || rows < 1) return;
    if (src_stride == row_bytes && dst_stride == row_bytes) {
        std::memcpy(dst, src, std::size_t(row_bytes) * std::size_t(rows));
        return;
    }
    for (int y = 0; y < rows; ++y)
        std::memcpy(row_at(dst, y, dst_stride), row_at(src, y, src_stride), std::size_t(row_bytes));
}

void ipf_memcpy_3d(const void* src, int row_bytes, int rows, int planes, int src_row_stride,
                   int src_plane_stride, void* dst, int dst_row_stride, int dst_plane_stride) {
    if (!src || !dst) return;
    for (int z = 0; z < planes; ++z)
        ipf_memcpy_2d(row_at(src, z, src_plane_stride), row_bytes, rows, src_row_stride,
                      row_at(dst, z, dst_plane_stride), dst_row_stride);
}

void ipf_memset_2d(void* dst, int row_bytes, int rows, int stride, char value) {
    if (!dst || row_bytes < 1 || rows < 1) return;
    if (stride == row_bytes) {
        std::memset(dst, value, std::size_t(row_bytes) * std::size_t(rows));
        return;
    }
    for (int y = 0; y < rows; ++y)
        std::memset(row_at(dst, y, stride), value, std::size_t(row_bytes));
}

void ipf_memset_3d(const void* dst, int row_bytes, int rows, int planes, int row_stride,
                   int plane_stride, char value) {
    if (!dst) return;
    for (int z = 0; z < planes; ++z)
        ipf_memset_2d(row_at(const_cast<void*>(dst), z, plane_stride), row_bytes, rows, row_stride,
                      value);
}

void ipf_flip_vert(const void* src, int row_bytes, int rows, int src_stride, void* dst,
                   int dst_stride) {
    if (!src || !dst || row_bytes < 1) return;
    int top = 0, bottom = rows - 1;
    for (; top < bottom; ++top, --bottom)
        exchange_rows(row_at(src, top, src_stride), row_at(src, bottom, src_stride),
                      row_at(dst, top, dst_stride), row_at(dst, bottom, dst_stride), row_bytes);
    if (top == bottom)
        std::memcpy(row_at(dst, top, dst_stride), row_at(src, top, src_stride),
                    std::size_t(row_bytes));
}

void ipf_flip_vert(void* buf, int row_bytes, int rows, int stride) {
    if (!buf || row_bytes < 1 || stride < 1) return;
    for (int top = 0, bottom = rows - 1; top < bottom; ++top, --bottom)
        exchange_rows(row_at(buf, top, stride), row_at(buf, bottom, stride),
                      row_at(buf, top, stride), row_at(buf, bottom, stride), row_bytes);
}

void ipf_flip_horz(const void* src, int width, int height, int src_stride, int pixel_bytes,
                   void* dst, int dst_stride) {
    if (!src || !dst || width < 1 || pixel_bytes < 1) return;
    for (int y = 0; y < height; ++y)
        mirror_row(row_at(src, y, src_stride), row_at(dst, y, dst_stride), width, pixel_bytes);
}

void ipf_flip_horz(void* buf, int width, int height, int stride, int pixel_bytes) {
    if (!buf || width < 2 || height < 1 || pixel_bytes < 1) return;
    // A copy of the row stands one pixel late, which undoes the shift.
    const auto spare = make_scratch<u8>(std::ptrdiff_t(width) + 1, pixel_bytes);
    for (int y = 0; y < height; ++y) {
        u8* row = row_at(buf, y, stride);
        std::memcpy(spare.get() + pixel_bytes, row, std::size_t(width) * std::size_t(pixel_bytes));
        mirror_row(spare.get(), row, width, pixel_bytes);
    }
}

void ipf_calc_nbr_offset(int rx, int ry, int row_step, int col_step, int* out, bool skip_centre) {
    if (!out || rx < 0 || ry < 0) return;
    for (int dy = -ry; dy <= ry; ++dy)
        for (int dx = -rx; dx <= rx; ++dx) {
            if (skip_centre && dx == 0 && dy == 0) continue;
            *out++ = dy * row_step + dx * col_step;
        }
}

bool ipf_get_mask_range(const unsigned char* line, int n, int& first, int& end) {
    first = end = -1;
    if (!line || n < 1) return false;
    const auto marked = [](u8 b) { return b != 0; };
    const u8* left = std::find_if(line, line + n, marked);
    if (left == line + n) return false;
    const u8* right = line + n;
    while (right[-1] == 0) --right;
    first = int(left - line);
    end = int(right - line);
    return true;
}

bool ipf_get_mask_roi(const unsigned char* mask, int w, int h, int stride, int* box,
                      unsigned char threshold) {
    if (!mask || !box) return false;
    return roi_of_rows(w, h, box, [=](int y, u8* columns) {
        const u8* row = row_at(mask, y, stride);
        u8 any = 0;
        for (int x = 0; x < w; ++x) {
            const u8 above = row[x] > threshold;
            columns[x] |= above;
            any |= above;
        }
        return any;
    });
}

bool ipf_get_mask_diff_roi(const unsigned char* a, int w, int h, int stride_a,
                           const unsigned char* b, int stride_b, int* box) {
    if (!a || !b || !box) return false;
    return roi_of_rows(w, h, box, [=](int y, u8* columns) {
        const u8* row_a = row_at(a, y, stride_a);
        const u8* row_b = row_at(b, y, stride_b);
        u8 any = 0;
        for (int x = 0; x < w; ++x) {
            const u8 differs = row_a[x] != row_b[x];
            columns[x] |= differs;
            any |= differs;
        }
        return any;
    });
}

}  // namespace ff
