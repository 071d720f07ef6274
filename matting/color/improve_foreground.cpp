// Spill brushes: a target colour per pixel in single precision, written softly in integers (weights
// in 1/256, shifts of negative products meant to floor).
#include "matting/color/improve_foreground.h"

#include <algorithm>
#include <cstddef>

namespace {

using u8 = unsigned char;

constexpr u8 towards_above = 128;  // modes of a reference colour
constexpr u8 mode_bit = 1, weight_bits = 254;

bool pulls(const u8* reference) { return reference[3] > towards_above; }

int target(int observed, int reference, bool towards, float transparency) {
    const int difference = towards ? reference - observed : observed - reference;
    return int(transparency * float(difference) + float(observed) + 0.5f);
}

// `result` moves towards the target colour of a pixel.
void improve_pixel(const u8* src, const u8* reference, bool towards, u8 alpha, u8 weight,
                   u8* result) {
    const float transparency = float(255 - alpha) / 255.0f;
    for (int c = 0; c < 3; ++c) {
        const int t = target(src[c], reference[c], towards, transparency);
        result[c] = u8(std::clamp(result[c] + (((t - result[c]) * weight + 127) >> 8), 0, 255));
    }
    result[3] = std::max(result[3], weight);
}

template <class T>
T* row_at(T* base, int y, int stride) {
    return base + std::ptrdiff_t(y) * stride;
}

}  // namespace

void mat_improve_foreground(const unsigned char* src, int w, int h, int src_stride,
                            const unsigned char* alpha, int alpha_stride,
                            const unsigned char* brush, int brush_stride, unsigned char* applied,
                            int applied_stride, unsigned char* result, int result_stride,
                            const unsigned char* reference, const unsigned char*,
                            unsigned char threshold) {
    if (!src || !alpha || !brush || !applied || !result || !reference) return;
    for (int y = 0; y < h; ++y) {
        const u8* from = row_at(src, y, src_stride);
        const u8* a = row_at(alpha, y, alpha_stride);
        const u8* b = row_at(brush, y, brush_stride);
        u8* before = row_at(applied, y, applied_stride);
        u8* to = row_at(result, y, result_stride);
        for (int x = 0; x < w; ++x, from += 3, to += 4) {
            if (b[x] <= before[x] || a[x] < threshold) continue;
            improve_pixel(from, reference, pulls(reference), a[x], b[x], to);
            before[x] = b[x];
        }
    }
}

void mat_improve_foreground(const unsigned char* src, int w, int h, int src_stride,
                            const unsigned char* ref_map, int ref_stride,
                            const unsigned char* alpha, int alpha_stride, unsigned char* result,
                            int result_stride, unsigned char threshold) {
    if (!src || !ref_map || !alpha || !result) return;
    for (int y = 0; y < h; ++y) {
        const u8* from = row_at(src, y, src_stride);
        const u8* ref = row_at(ref_map, y, ref_stride);
        const u8* a = row_at(alpha, y, alpha_stride);
        u8* to = row_at(result, y, result_stride);
        for (int x = 0; x < w; ++x, from += 3, ref += 4, to += 4)
            if (a[x] >= threshold && a[x] < 255 && ref[3] != 0)
                improve_pixel(from, ref, ref[3] & mode_bit, a[x], ref[3], to);
    }
}

void mat_update_reference_color(unsigned char* ref_map, int w, int h, int ref_stride,
                                const unsigned char* reference, const unsigned char* brush,
                                int brush_stride) {
    if (!ref_map || !reference || !brush) return;
    const u8 mode = pulls(reference) ? mode_bit : 0;
    for (int y = 0; y < h; ++y) {
        u8* ref = row_at(ref_map, y, ref_stride);
        const u8* b = row_at(brush, y, brush_stride);
        for (int x = 0; x < w; ++x, ref += 4) {
            if (b[x] <= (ref[3] & weight_bits)) continue;
            std::copy_n(reference, 3, ref);
            ref[3] = (b[x] & weight_bits) | mode;
        }
    }
}

void mat_merge_f_color(const unsigned char* src, int w, int h, int src_stride,
                       unsigned char* result, int result_stride) {
    if (!src || !result) return;
    for (int y = 0; y < h; ++y) {
        const u8* from = row_at(src, y, src_stride);
        u8* to = row_at(result, y, result_stride);
        for (int x = 0; x < w; ++x, from += 3, to += 4)
            for (int c = 0; c < 3; ++c)
                to[c] = u8(from[c] + (((to[c] - from[c]) * to[3] + 127) >> 8));
    }
}
