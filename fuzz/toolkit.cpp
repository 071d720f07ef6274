// The toolkit: raw rasters, filters, fields, the image object and the point resamplers.
#include <memory>

#include "ff/components_color.h"
#include "ff/distance_field.h"
#include "ff/filters.h"
#include "ff/image.h"
#include "ff/image_ops.h"
#include "ff/raster.h"
#include "ff/raster_ops.h"
#include "ff/resamplers.h"
#include "fuzz/input.h"

namespace {

using u16 = unsigned short;
using Bytes = Raster<u8>;
using Ints = Raster<int>;

void use_rasters(Input& in, int w, int h) {
    const int c = in.between(1, 6), k = in.between(1, 64), n = in.between(1, 64);
    const Bytes src(in, w, h, c), other(in, w, h, c), dst(in, k, n, c), pixel(in, 1, 1, c);
    const int a = in.number(), b = in.number(), d = in.number(), e = in.number();
    int box[4];
    ff::ipf_flip_horz(SIZED(src), c);
    ff::ipf_flip_vert(src, w * c, h, src.step);
    ff::ipf_get_mask_diff_roi(SIZED(src), ROWS(other), box);
    ff::ipf_resize_nn(SIZED(src), c, SIZED(dst), c, ff::ccn<1>());
    ff::fiuTile(SIZED(src), c, SIZED(dst));
    ff::fiuResize(SIZED(src), c, SIZED(dst), in.byte() % 3);
    ff::fiuSetBoundaryPixel(SIZED(dst), c, e, d, b, a, pixel);
    ff::fiuSwapChannels(SIZED(dst), c, a, b, d);
    ff::fiuCopyChannels(SIZED(src), c, ROWS(other), c, a, b, d);
    ff::fiuConvertRGBChannels(SIZED(src), c, ROWS(other), c);
    for (const auto transform : {ff::ipf_bgr2lab, ff::ipf_lab2bgr})
        if (c == 3) ff::fiuTransformPixel(SIZED(src), 3, ROWS(other), 3, transform);
}

void filter(Input& in, int w, int h) {
    const int c = in.between(1, 4), kw = in.number(), kh = in.number(), passes = in.number();
    int around[4] = {in.byte() % 9, in.byte() % 9, in.byte() % 9, in.byte() % 9};
    int* border = in.rarely() ? nullptr : around;
    const Bytes src(in, w, h, c, around), dst(in, w, h, c);
    const Ints wide(in, w, h, c, around), sums(in, w, h, c), count(in, w, h);
    ff::ipf_min_filter(SIZED(src), c, ROWS(dst), kw, passes, border);
    ff::ipf_max_filter(SIZED(dst), c, ROWS(dst), kh, passes, nullptr);
    ff::ipf_sum_filter(SIZED(wide), c, ROWS(sums), kw, kh, border);
    ff::ipf_mean_filter(SIZED(src), c, ROWS(dst), ROWS(count), kw, kh, border);
    ff::ipf_mean_filter(SIZED(wide), c, ROWS(sums), ROWS(count), kw, kh, border);
}

void measure(Input& in, int w, int h) {
    const int depth = 3, pixels = w * h;
    const Bytes labels(in, w, h), volume(in, pixels * depth, 1);
    const Ints components(in, w, h);
    const Raster<unsigned> flat(in, w, h), deep(in, pixels * depth, 1);
    const std::unique_ptr<u16[][2]> pairs(new u16[std::size_t(pixels)][2]);
    const std::unique_ptr<u16[][3]> triples(new u16[std::size_t(pixels * depth)][3]);
    const u16 weight = in.raw<u16>();
    const u8 seed = in.byte();
    require(ff::ipf_connected_component(SIZED(labels), ROWS(components)) > 0);
    ff::dist_field* field = ff::ipf_create_distance_field_2d(w, h, weight);
    // Distances alone go another way, to the same.
    std::vector<unsigned> alone(static_cast<std::size_t>(pixels));
    ff::ipf_distance_transform_2d(field, labels, u16(w), u16(h), labels.step, seed, alone.data(), w,
                                  nullptr, 0);
    ff::ipf_distance_transform_2d(field, labels, u16(w), u16(h), labels.step, seed, ROWS(flat),
                                  pairs.get(), w);
    for (int i = 0; i < pixels; ++i)
        require(alone[std::size_t(i)] == flat[i / w * flat.step + i % w]);
    ff::ipf_release_distance_field(field);
    field = ff::ipf_create_distance_field_3d(w, h, depth, weight);
    ff::ipf_distance_transform_3d(field, volume, u16(w), u16(h), depth, seed, deep, triples.get());
    ff::ipf_release_distance_field(field);
}

// Any operation on two images, whatever they hold by then.
void use_image(Input& in, ff::FVTImage& a, ff::FVTImage& b) {
    const int w = in.between(-3, 64), h = in.between(-3, 64), c = in.number(), d = in.number();
    const int formats[] = {0x111, 0x311, 0x411, 0x321, 0x343, 0x242, 0x112, c & 0x7ff};
    const int format = formats[in.byte() % 8], operation = in.byte() % 12;
    ff::FVTImage part;
    if (operation == 0) a.Reset(w, h, format, d % 32);
    if (operation == 1) a.StepReset(w, h, format, d % 256);
    if (operation == 2) part.AttachROI(a, {c, d, w, in.number()}), b = part;
    if (operation == 3) a.Swap(b);
    if (operation == 4) ff::fiSetBoundary(a, c, d, w, h, 7);
    if (operation == 5) ff::fiFlip(a, b, c);
    if (operation == 6) ff::fiTile(a, b, w, h);
    if (operation == 7) ff::fiCastDepth(a, b, format & 0xff);
    if (operation == 8) ff::fiSwapChannels(a, c, d);
    if (operation == 9) ff::fiCopyChannels(a, b, c, d, w);
    if (operation == 10) ff::fiConvertRGBChannels(a, b, c);
    if (operation == 11) ff::fiResize(a, b, w, h, c);
}

void use_images(Input& in, int w, int h) {
    const Bytes pixels(in, w, h, 3);
    ff::FVTImage a, b;
    a.Attach(pixels, w, h, 0x311, pixels.step);
    for (int i = 0; i < 12 && !in.empty(); ++i) use_image(in, a, b);
}

template <class T>
void sample(Input& in, int w, int h) {
    const Raster<T> raster(in, w, h, 3);
    raster[0] = in.raw<T>();
    T out[3];
    ff::FixBL4Resampler linear;
    ff::FixCubicResampler cubic;
    linear.Init(raster, w, h, raster.step * int(sizeof(T)), 10);
    cubic.Init(raster, w, h, raster.step * int(sizeof(T)), 10);
    for (int i = 0; i < 8; ++i) {
        const int x = in.rarely() ? in.number() : in.raw<u16>(), y = in.raw<short>();
        linear.template resample<10, 3, T, T>(x, y, out);
        cubic.template resample<10, 3, T, T>(x, y, out);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    using use = void (*)(Input&, int, int);
    const use uses[] = {use_rasters, filter, measure, use_images, sample<u8>, sample<int>};
    const use chosen = uses[in.byte() % 6];
    const int w = in.between(1, 64), h = in.between(1, 64);
    chosen(in, w, h);
    return 0;
}
