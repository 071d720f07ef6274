// Geodesic distances, sampling between two resolutions and the colour estimate on one picture.
#include "fuzz/input.h"
#include "matting/color/fb_color.h"
#include "matting/color/improve_foreground.h"
#include "matting/geoseg/geoseg.h"
#include "matting/sampling/dsam.h"
#include "matting/sampling/usam.h"

namespace {

using Bytes = Raster<u8>;

// Pixels of any number of bytes, fewer than 3 refused.
void measure(Input& in, const Bytes& seeds) {
    const int w = seeds.w, h = seeds.h, pixel_bytes = in.between(1, 6);
    GeoSeg direct;
    GeoSegN24 wide;
    const Bytes img(in, w, h, pixel_bytes), percent(in, w * h, 1);
    const Raster<unsigned> distances(in, w, h);
    const Raster<float> shares(in, w, h);
    require((direct.SetImage(SIZED(img), pixel_bytes) == 0) == (pixel_bytes >= 3));
    wide.SetImage(SIZED(img), pixel_bytes, nullptr);
    direct.GetDist(ROWS(seeds), ROWS(distances), in.byte());
    wide.GetDist(ROWS(seeds), ROWS(distances), in.byte());
    direct.GetProb(ROWS(seeds), ROWS(shares));
    wide.GetProb(ROWS(seeds), ROWS(shares), in.number(), percent);
}

void resample(Input& in, const Bytes& img, const Bytes& mask, const Bytes& dst) {
    const int w = in.between(1, 32), h = in.between(1, 32), mode = in.byte();
    const Bytes lo(in, w, h, 3), lo_alpha(in, w, h), lo_map(in, w * h, 1), lo_old(in, w * h, 1);
    const Bytes img4(in, img.w, img.h, 4), lo4(in, w, h, 4);
    const Raster<int> index(in, img.w, img.h, 2), nearest(in, img.w, img.h);
    const Raster<short> weights(in, img.w, img.h);
    const u8 label = in.byte();
    for (int i = 0; i < 2 * img.w * img.h; ++i)
        index[i / (2 * img.w) * index.step + i % (2 * img.w)] = -1;
    dsam_image(SIZED(img), SIZED(lo), 3);
    dsam_image(SIZED(mask), SIZED(lo_alpha), 1);
    usam_calc_weights_8u_c3(SIZED(img), ROWS(mask), SIZED(lo), ROWS(index), ROWS(weights), mode);
    usam_update_weights(SIZED(img), ROWS(mask), label, SIZED(lo), ROWS(index), ROWS(weights));
    usam_interpolate_c1(lo_map, w, h, ROWS(index), ROWS(weights), SIZED(dst));
    usam_interpolate_c1(lo_map, w, h, ROWS(index), ROWS(weights), SIZED(dst), ROWS(mask), label);
    usam_interpolate_mask_c1(lo_old, lo_map, w, h, ROWS(index), ROWS(weights), SIZED(dst));
    usam_execute(SIZED(img), ROWS(mask), label, SIZED(lo), lo_map, ROWS(dst));
    usam_masked_c1(SIZED(lo), ROWS(lo_alpha), SIZED(img), ROWS(mask), ROWS(dst));
    usam_alpha(SIZED(lo), ROWS(lo_alpha), SIZED(img), ROWS(dst));
    merge_c31(SIZED(img), ROWS(mask), ROWS(img4));
    dsam_image(SIZED(img4), SIZED(lo4), 4);
    usam_calc_weights_8u_c4(SIZED(img4), nullptr, 0, SIZED(lo4), ROWS(index), ROWS(weights), mode);
    dsam_calc_index(SIZED(img), SIZED(lo), ROWS(nearest));
    nearest[in.byte() % img.w] = in.number();
    dsam_ui_alpha(SIZED(mask), ROWS(nearest), lo_map, w, h, 0, 0);
}

void estimate_colours(Input& in, const Bytes& img, const Bytes& alpha, const Bytes& brush) {
    const int w = img.w, h = img.h;
    const Bytes low(in, w, h, 3), high(in, w, h, 3), applied(in, w, h), result(in, w, h, 4);
    const Bytes references(in, w, h, 4), colour(in, 2, 1, 4);
    u8* to_low = low.or_null(in);
    const u8 lo = in.byte(), hi = in.byte();
    mat_estimate_fb_color(SIZED(img), ROWS(alpha), to_low, low.step, ROWS(high), lo, hi);
    mat_improve_foreground(SIZED(img), ROWS(alpha), ROWS(brush), ROWS(applied), ROWS(result),
                           colour, colour, hi);
    mat_update_reference_color(SIZED(references), colour, ROWS(brush));
    mat_improve_foreground(SIZED(img), ROWS(references), ROWS(alpha), ROWS(result), hi);
    mat_merge_f_color(SIZED(img), ROWS(result));
    const Raster<float> table(in, 256, 1);
    const double width = in.real(), middle = in.real();
    _calc_S_func(table, lo, in.number(), width, middle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    // The colour estimate of 64 x 64 pixels takes long enough to be a rarity.
    const int kind = in.byte() % 3, most = in.rarely() ? 64 : 24;
    const int w = in.between(1, most), h = in.between(1, most);
    const Bytes img(in, w, h, 3), map(in, w, h), other(in, w, h);
    if (kind == 0) measure(in, map);
    if (kind == 1) resample(in, img, map, other);
    if (kind == 2) estimate_colours(in, img, map, other);
    return 0;
}
