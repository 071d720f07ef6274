// Operations on images: each asks for a destination of the shape it needs and hands both rasters to
// the raw function of the same name. Sample casts go through a row of doubles, which hold every
// sample kind exactly.
#include "ff/image_ops.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "ff/image.h"
#include "ff/scratch.h"

namespace ff {
namespace {

using u8 = unsigned char;

int channels_of(int format) { return (format >> 8) & 0xff; }
int sample_kind(int format) { return format & 0xff; }
int sample_bytes(int format) { return (format >> 4) & 0xf; }
int pixel_bytes(int format) { return channels_of(format) * sample_bytes(format); }
int with_channels(int format, int channels) { return (format & ~0xff00) | channels << 8; }

bool has_pixels(const FVTImage& img) {
    return img.data && img.width > 0 && img.height > 0 && pixel_bytes(img.format) > 0;
}

bool has_bytes(const FVTImage& img) { return has_pixels(img) && sample_bytes(img.format) == 1; }

// Makes dst the image of the given shape that fill(image) writes: in place where dst fits and does
// not share the source's pixels.
template <class Fill>
bool make(const FVTImage& src, FVTImage& dst, int w, int h, int format, Fill fill) {
    if (w < 1 || h < 1 || pixel_bytes(format) < 1) return false;
    const bool fits = dst.data && dst.width == w && dst.height == h && dst.format == format;
    if (fits && dst.data != src.data) return fill(dst);
    FVTImage fresh(w, h, format, 4);
    if (!fill(fresh)) return false;
    dst.Swap(fresh);
    return true;
}

template <class T>
void load_row(const u8* src, int n, double* out) {
    for (int i = 0; i < n; ++i, src += sizeof(T)) {
        T v;
        std::memcpy(&v, src, sizeof v);
        out[i] = double(v);
    }
}

template <class T>
T rounded(double v) {
    using range = std::numeric_limits<T>;
    if constexpr (range::is_integer) {
        if (std::isnan(v)) return 0;
        return T(std::clamp(std::floor(v + 0.5), double(range::min()), double(range::max())));
    } else {
        return T(v);
    }
}

template <class T>
void store_row(const double* in, int n, u8* dst) {
    for (int i = 0; i < n; ++i, dst += sizeof(T)) {
        const T v = rounded<T>(in[i]);
        std::memcpy(dst, &v, sizeof v);
    }
}

// How the samples of a kind are read and written; null for an unknown kind.
struct sample_access {
    void (*load)(const u8*, int, double*);
    void (*store)(const double*, int, u8*);
};

template <class T>
constexpr sample_access access_as{load_row<T>, store_row<T>};

sample_access access_of(int kind) {
    switch (kind) {
        case 0x11:
            return access_as<std::uint8_t>;
        case 0x21:
            return access_as<std::uint16_t>;
        case 0x12:
            return access_as<std::int8_t>;
        case 0x22:
            return access_as<std::int16_t>;
        case 0x42:
            return access_as<std::int32_t>;
        case 0x43:
            return access_as<float>;
        default:
            return {nullptr, nullptr};
    }
}

// n * factor rounded, at least 1; 0 where that is no size.
int scaled_size(int n, double factor) {
    const double size = n * factor + 0.5;
    if (!(factor > 0) || !(size < double(INT_MAX))) return 0;
    return std::max(int(size), 1);
}

}  // namespace

bool fiAlloc(FVTImage& img, int w, int h, int format, int align) {
    if (w < 1 || h < 1 || pixel_bytes(format) < 1) return false;
    img.Reset(w, h, format, align);
    return true;
}

bool fiFree(FVTImage& img) {
    img.Clear();
    return true;
}

unsigned char* fiAllocImageData(int row_bytes, int h) {
    if (row_bytes < 1 || h < 1) return nullptr;
    return make_scratch<u8>(row_bytes, h).release();
}

unsigned char* fiAllocImageData(int w, int h, int format, int align) {
    FVTImage img;
    if (!fiAlloc(img, w, h, format, align)) return nullptr;
    u8* const pixels = img.data;
    img.flags = 0;  // the caller's from here on
    return pixels;
}

bool fiCopy(const FVTImage& src, FVTImage& dst) {
    if (!has_pixels(src)) return false;
    return make(src, dst, src.width, src.height, src.format, [&](FVTImage& out) {
        return fiuCopy(src.data, src.width, src.height, src.stride, pixel_bytes(src.format),
                       out.data, out.stride);
    });
}

bool fiSetMem(FVTImage& img, unsigned char value) {
    return fiuSetMem(img.data, img.width, img.height, img.stride, pixel_bytes(img.format), value);
}

bool fiSetPixel(FVTImage& img, const unsigned char* pixel) {
    return fiuSetPixel(img.data, img.width, img.height, img.stride, pixel_bytes(img.format), pixel);
}

bool fiSetBoundary(FVTImage& img, int left, int top, int right, int bottom, unsigned char value) {
    return fiuSetBoundary(img.data, img.width, img.height, img.stride, pixel_bytes(img.format),
                          left, top, right, bottom, value);
}

bool fiSetBoundaryPixel(FVTImage& img, int left, int top, int right, int bottom,
                        const unsigned char* pixel) {
    return fiuSetBoundaryPixel(img.data, img.width, img.height, img.stride, pixel_bytes(img.format),
                               left, top, right, bottom, pixel);
}

bool fiFlip(const FVTImage& src, FVTImage& dst, int axes) {
    if (!has_pixels(src) || axes < flip_x || axes > (flip_x | flip_y)) return false;
    return make(src, dst, src.width, src.height, src.format, [&](FVTImage& out) {
        const int bytes = pixel_bytes(src.format);
        const bool copied =
            (axes & flip_y) != 0
                ? fiuFlipY(src.data, src.width, src.height, src.stride, bytes, out.data, out.stride)
                : fiuCopy(src.data, src.width, src.height, src.stride, bytes, out.data, out.stride);
        return copied && ((axes & flip_x) == 0 || fiFlip(out, flip_x));
    });
}

bool fiFlip(FVTImage& img, int axes) {
    if (!has_pixels(img) || axes < flip_x || axes > (flip_x | flip_y)) return false;
    const int bytes = pixel_bytes(img.format);
    if (axes & flip_x) fiuFlipX(img.data, img.width, img.height, img.stride, bytes);
    if (axes & flip_y) fiuFlipY(img.data, img.width, img.height, img.stride, bytes);
    return true;
}

bool fiTile(const FVTImage& src, FVTImage& dst, int w, int h) {
    if (!has_pixels(src)) return false;
    return make(src, dst, w, h, src.format, [&](FVTImage& out) {
        return fiuTile(src.data, src.width, src.height, src.stride, pixel_bytes(src.format),
                       out.data, w, h, out.stride);
    });
}

bool fiTransformPixel(const FVTImage& src, FVTImage& dst, int format, pixel_transform transform) {
    if (!has_pixels(src) || !transform) return false;
    return make(src, dst, src.width, src.height, format, [&](FVTImage& out) {
        return fiuTransformPixel(src.data, src.width, src.height, src.stride,
                                 pixel_bytes(src.format), out.data, out.stride, pixel_bytes(format),
                                 transform);
    });
}

bool fiCastDepth(const FVTImage& src, FVTImage& dst, int kind) {
    const auto load = access_of(sample_kind(src.format)).load;
    const auto store = access_of(kind).store;
    if (!has_pixels(src) || !load || !store) return false;
    const std::int64_t samples = std::int64_t(src.width) * channels_of(src.format);
    if (samples > INT_MAX) return false;
    const int n = int(samples);
    const auto row = make_scratch<double>(n);
    return make(src, dst, src.width, src.height, (src.format & ~0xff) | kind, [&](FVTImage& out) {
        for (int y = 0; y < src.height; ++y) {
            load(src.data + std::ptrdiff_t(y) * src.stride, n, row.get());
            store(row.get(), n, out.data + std::ptrdiff_t(y) * out.stride);
        }
        return true;
    });
}

bool fiSwapChannels(FVTImage& img, int first, int second) {
    const int channels = channels_of(img.format), bytes = sample_bytes(img.format);
    if (first < 0 || second < 0 || first >= channels || second >= channels) return false;
    return fiuSwapChannels(img.data, img.width, img.height, img.stride, pixel_bytes(img.format),
                           first * bytes, second * bytes, bytes);
}

bool fiCopyChannels(const FVTImage& src, FVTImage& dst, int from, int to, int count) {
    const auto holds = [=](const FVTImage& img, int first) {
        return has_pixels(img) && first >= 0 && first <= channels_of(img.format) - count;
    };
    if (count < 1 || src.data == dst.data || !holds(src, from) || !holds(dst, to) ||
        src.width != dst.width || src.height != dst.height ||
        sample_kind(src.format) != sample_kind(dst.format))
        return false;
    const int bytes = sample_bytes(src.format);
    return fiuCopyChannels(src.data, src.width, src.height, src.stride, pixel_bytes(src.format),
                           dst.data, dst.stride, pixel_bytes(dst.format), from * bytes, to * bytes,
                           count * bytes);
}

bool fiGetChannel(const FVTImage& src, FVTImage& dst, int channel) {
    if (!has_pixels(src) || channel < 0 || channel >= channels_of(src.format)) return false;
    return make(src, dst, src.width, src.height, with_channels(src.format, 1),
                [&](FVTImage& out) { return fiCopyChannels(src, out, channel, 0, 1); });
}

bool fiColorToGray(const FVTImage& src, FVTImage& dst) {
    if (!has_bytes(src) || channels_of(src.format) < 3) return false;
    return make(src, dst, src.width, src.height, with_channels(src.format, 1), [&](FVTImage& out) {
        return fiuColorToGray(src.data, src.width, src.height, src.stride, pixel_bytes(src.format),
                              out.data, out.stride, 1);
    });
}

bool fiConvertRGBChannels(const FVTImage& src, FVTImage& dst, int channels) {
    if (!has_bytes(src) || channels < 1 || channels > 4) return false;
    const int format = with_channels(src.format, channels);
    return make(src, dst, src.width, src.height, format, [&](FVTImage& out) {
        return fiuConvertRGBChannels(src.data, src.width, src.height, src.stride,
                                     pixel_bytes(src.format), out.data, out.stride, channels);
    });
}

bool fiResize(const FVTImage& src, FVTImage& dst, int w, int h, int mode) {
    if (!has_pixels(src) || (mode != resize_nearest && !has_bytes(src))) return false;
    return make(src, dst, w, h, src.format, [&](FVTImage& out) {
        return fiuResize(src.data, src.width, src.height, src.stride, pixel_bytes(src.format),
                         out.data, w, h, out.stride, mode);
    });
}

bool fiScale(const FVTImage& src, FVTImage& dst, double x_factor, double y_factor, int mode) {
    return fiResize(src, dst, scaled_size(src.width, x_factor), scaled_size(src.height, y_factor),
                    mode);
}

}  // namespace ff
