// Bilinear and cubic point samples.
//
// Fixed-point sums are formed in 64 bits: 32-bit samples times two factors of 10 bits need them.
// The cubic weights are the Lagrange basis of the nodes 0, 1, 2, 3 at 1 + fraction; the fixed-point
// form takes them from a table of 2^bits fractions, scaled by 2^bits - 1, which all resamplers
// share and the registry of tracked blocks owns.
#include "ff/resamplers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "ff/image.h"

namespace ff {
namespace {

using u8 = unsigned char;

// Samples lie at any byte: strides need not be multiples of their size.
template <class T>
T sample_at(const u8* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <int C, class T>
const u8* pixel_at(const u8* source, int stride, int x, int y) {
    return source + std::ptrdiff_t(y) * stride + std::ptrdiff_t(x) * std::ptrdiff_t(C * sizeof(T));
}

template <int C, class TI, class TO>
void copy_pixel(const u8* p, TO* out) {
    for (int c = 0; c < C; ++c) out[c] = TO(sample_at<TI>(p + std::size_t(c) * sizeof(TI)));
}

// The cubic basis at t in 1 .. 2.
void lagrange_weights(double t, double* w) {
    w[0] = (1 - t) * (2 - t) * (3 - t) / 6;
    w[1] = t * (t - 2) * (t - 3) / 2;
    w[2] = -t * (t - 1) * (t - 3) / 2;
    w[3] = t * (t - 1) * (t - 2) / 6;
}

// Weighted sum of four samples `step` bytes apart.
template <class T, class Sum, class Weight>
Sum weighted_four(const u8* p, std::size_t step, const Weight* w) {
    Sum sum = 0;
    for (std::size_t i = 0; i < 4; ++i) sum += Sum(w[i]) * Sum(sample_at<T>(p + i * step));
    return sum;
}

// Which pixels a sample is made of.
enum class reach { outside, single, block };

// For a block of `size` x `size` pixels from (x, y) on: the block where it fits, else its top-left
// pixel where that exists.
reach reach_of(int x, int y, int size, int width, int height) {
    if (x < 0 || y < 0 || x >= width || y >= height) return reach::outside;
    return x <= width - size && y <= height - size ? reach::block : reach::single;
}

// Whether floor(v) - before is a column (row) of a raster of n.
bool is_inside(double v, int before, int n) { return v >= before && v < double(n) + before; }

}  // namespace

Resampler::Resampler() : source(nullptr), width(0), height(0), stride(0) {}

void Resampler::Init(const void* data, int w, int h, int row_stride, int) {
    const bool empty = !data || w < 1 || h < 1;
    source = static_cast<const u8*>(data);
    width = empty ? 0 : w;
    height = empty ? 0 : h;
    stride = row_stride;
}

template <int BITS, int C, class TI, class TO>
bool FixBL4Resampler::resample(int x, int y, TO* out) {
    constexpr std::int64_t one = 1 << BITS;
    const int xi = x >> BITS, yi = y >> BITS;  // floored
    const reach r = out ? reach_of(xi, yi, 2, width, height) : reach::outside;
    if (r == reach::outside) return false;
    const u8* p = pixel_at<C, TI>(source, stride, xi, yi);
    if (r == reach::single) {
        copy_pixel<C, TI>(p, out);
        return true;
    }
    const std::int64_t fx = x & (one - 1), fy = y & (one - 1);
    for (int c = 0; c < C; ++c, p += sizeof(TI)) {
        const u8* below = p + stride;
        const std::int64_t p00 = sample_at<TI>(p), p01 = sample_at<TI>(p + C * sizeof(TI));
        const std::int64_t p10 = sample_at<TI>(below), p11 = sample_at<TI>(below + C * sizeof(TI));
        const std::int64_t top = (p01 - p00) * fx + p00 * one;
        const std::int64_t bottom = p10 * one + (p11 - p10) * fx;
        out[c] = TO((top + (bottom - top) * fy / one) / one);
    }
    return true;
}

const int* FixCubicResampler::_pLookUpTab[max_bits + 1] = {};

FixCubicResampler::FixCubicResampler() : tab(nullptr), entries(0) {}

const int* FixCubicResampler::Init(const void* data, int w, int h, int row_stride, int bits) {
    Resampler::Init(data, w, h, row_stride, bits);
    return tab ? tab : GetLookUpTable(bits);
}

void FixCubicResampler::set_tab(const int* table, int n) {
    tab = table;
    entries = n;
}

const int* FixCubicResampler::CreateLookUpTable(int bits) {
    if (bits < 0 || bits > max_bits) return nullptr;
    const int n = 1 << bits;
    int* table = static_cast<int*>(ff_galloc(std::size_t(n) * 4 * sizeof(int)));
    for (int i = 0; i < n; ++i) {
        double w[4];
        lagrange_weights(1 + double(i) / n, w);
        for (int k = 0; k < 4; ++k)
            table[std::size_t(i) * 4 + std::size_t(k)] = int(w[k] * (n - 1) + 0.5);
    }
    return table;
}

const int* FixCubicResampler::GetLookUpTable(int bits) {
    if (bits < 0 || bits > max_bits) return nullptr;
    if (!_pLookUpTab[bits]) {
        // Clean-up functions are kept for good: one is enough.
        static const bool registered =
            (ff_add_gfree_func([] { std::fill_n(_pLookUpTab, max_bits + 1, nullptr); }), true);
        (void)registered;
        _pLookUpTab[bits] = CreateLookUpTable(bits);
    }
    return _pLookUpTab[bits];
}

template <int BITS, int C, class TI, class TO>
bool FixCubicResampler::resample(int x, int y, TO* out) {
    constexpr int one = 1 << BITS;
    const int xi = (x >> BITS) - 1, yi = (y >> BITS) - 1;  // floored
    const reach r = out ? reach_of(xi, yi, 4, width, height) : reach::outside;
    if (r == reach::outside) return false;
    const u8* p = pixel_at<C, TI>(source, stride, xi, yi);
    if (r == reach::single) {
        copy_pixel<C, TI>(p, out);
        return true;
    }
    // The shared table is asked for at every sample: ff_gfree_all may have freed it in between.
    const int* table = tab && entries >= one ? tab : GetLookUpTable(BITS);
    const int* wx = table + 4 * std::ptrdiff_t(x & (one - 1));
    const int* wy = table + 4 * std::ptrdiff_t(y & (one - 1));
    for (int c = 0; c < C; ++c, p += sizeof(TI)) {
        std::int64_t sum = 0;
        for (int row = 0; row < 4; ++row) {
            const u8* line = p + std::ptrdiff_t(row) * stride;
            sum += weighted_four<TI, std::int64_t>(line, C * sizeof(TI), wx) / one * wy[row];
        }
        using range = std::numeric_limits<TO>;
        out[c] = TO(std::clamp<std::int64_t>(sum / one, range::min(), range::max()));
    }
    return true;
}

template <int C, class TI, class TO>
bool BL4Resampler::resample(double x, double y, TO* out) {
    if (!out || !is_inside(x, 0, width) || !is_inside(y, 0, height)) return false;
    const int xi = int(x), yi = int(y);
    const u8* p = pixel_at<C, TI>(source, stride, xi, yi);
    if (reach_of(xi, yi, 2, width, height) == reach::single) {
        copy_pixel<C, TI>(p, out);
        return true;
    }
    const double fx = x - xi, fy = y - yi;
    for (int c = 0; c < C; ++c, p += sizeof(TI)) {
        const u8* below = p + stride;
        const double p00 = double(sample_at<TI>(p)), p10 = double(sample_at<TI>(below));
        const double top = (double(sample_at<TI>(p + C * sizeof(TI))) - p00) * fx + p00;
        const double bottom = (double(sample_at<TI>(below + C * sizeof(TI))) - p10) * fx + p10;
        out[c] = TO(top + (bottom - top) * fy);
    }
    return true;
}

template <int C, class TI, class TO>
bool CubicResampler::resample(double x, double y, TO* out) {
    if (!out || !is_inside(x, 1, width) || !is_inside(y, 1, height)) return false;
    const int xi = int(x) - 1, yi = int(y) - 1;
    const u8* p = pixel_at<C, TI>(source, stride, xi, yi);
    if (reach_of(xi, yi, 4, width, height) == reach::single) {
        copy_pixel<C, TI>(p, out);
        return true;
    }
    double wx[4], wy[4];
    lagrange_weights(x - xi, wx);
    lagrange_weights(y - yi, wy);
    for (int c = 0; c < C; ++c, p += sizeof(TI)) {
        double sum = 0;
        for (int row = 0; row < 4; ++row)
            sum += wy[row] *
                   weighted_four<TI, double>(p + std::ptrdiff_t(row) * stride, C * sizeof(TI), wx);
        out[c] = TO(sum);
    }
    return true;
}

#define DSCM_FIXED(sampler, C, T) template bool sampler::resample<10, C, T, T>(int, int, T*);
#define DSCM_FIXED_TYPES(sampler, C)       \
    DSCM_FIXED(sampler, C, char)           \
    DSCM_FIXED(sampler, C, unsigned char)  \
    DSCM_FIXED(sampler, C, short)          \
    DSCM_FIXED(sampler, C, unsigned short) \
    DSCM_FIXED(sampler, C, int)
DSCM_FIXED_TYPES(FixBL4Resampler, 2)
DSCM_FIXED_TYPES(FixBL4Resampler, 3)
DSCM_FIXED_TYPES(FixBL4Resampler, 4)
DSCM_FIXED_TYPES(FixCubicResampler, 1)
DSCM_FIXED_TYPES(FixCubicResampler, 2)
DSCM_FIXED_TYPES(FixCubicResampler, 3)
DSCM_FIXED_TYPES(FixCubicResampler, 4)
#undef DSCM_FIXED_TYPES
#undef DSCM_FIXED

template bool BL4Resampler::resample<2, float, float>(double, double, float*);
template bool BL4Resampler::resample<3, float, float>(double, double, float*);
template bool BL4Resampler::resample<4, float, float>(double, double, float*);
template bool CubicResampler::resample<1, float, float>(double, double, float*);
template bool CubicResampler::resample<2, float, float>(double, double, float*);
template bool CubicResampler::resample<3, float, float>(double, double, float*);
template bool CubicResampler::resample<4, float, float>(double, double, float*);

}  // namespace ff
