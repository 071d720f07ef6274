// Clean-up and brushes on regions of larger maps.
#include "fuzz/input.h"
#include "matting/edit/brush.h"
#include "matting/edit/cleanup.h"

namespace {

void clean_up(Input& in, const Raster<u8>& src, const Raster<u8>& dst) {
    const Raster<int> means(in, src.w, src.h);
    const int size = in.number();
    const u8 low = in.byte(), high = in.byte();
    switch (in.byte() % 8) {
        case 0:
            return mat_smooth_boundary(SIZED(src), ROWS(dst), size);
        case 1:
            return mat_dilate(SIZED(src), ROWS(dst), size);
        case 2:
            return mat_smooth_boundary(SIZED(src), ROWS(src), size);
        case 3:
            return vm_erase_small_cc(SIZED(dst), low, size);
        case 4:
            return mat_remove_isolated(SIZED(src), ROWS(src), ROWS(dst), size);
        case 5:
            return mat_erase_unknown_fragment(SIZED(dst), low, high);
        case 6:
            return mean_filter_3x3(SIZED(src), ROWS(means));
        case 7:
            return mat_make_rect_weight(SIZED(dst), float(in.real()));
    }
}

// The two maps are what is painted on, and the applied weights or a second map.
void brush(Input& in, const Raster<u8>& dst, const Raster<u8>& other) {
    const int w = dst.w, h = dst.h, channels = in.between(1, 4), size = in.number();
    int around[4] = {in.byte() % 9, in.byte() % 9, in.byte() % 9, in.byte() % 9};
    int* border = in.rarely() ? nullptr : around;
    const Raster<u8> src(in, w, h, 1, around), colour(in, w, h, channels, around);
    const Raster<u8> weights(in, w, h), painted(in, w, h, channels);
    const u8 low = in.byte(), high = in.byte();
    switch (in.byte() % 8) {
        case 0:
            return mat_set_brush(SIZED(src), ROWS(weights), ROWS(other), ROWS(dst), low);
        case 1:
            return mat_undo_brush(SIZED(colour), channels, ROWS(weights), ROWS(other),
                                  ROWS(painted), in.rarely());
        case 2:
            return mat_erode_brush(SIZED(src), ROWS(weights), ROWS(dst), size, border);
        case 3:
            return mat_dilate_brush(SIZED(src), ROWS(weights), ROWS(dst), size, border);
        case 4:
            return mat_smooth_brush(SIZED(colour), channels, ROWS(painted), size, border);
        case 5:
            return mat_brush_threshold(SIZED(src), ROWS(dst), ROWS(other), size, border, low, high);
        case 6:
            return mat_shrink_unknown_mm(SIZED(src), ROWS(dst), size, in.number(), low, high);
        case 7:
            return mat_rectify_uialpha(SIZED(src), ROWS(dst), ROWS(other), size);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    const int w = in.between(1, 64), h = in.between(1, 64);
    const Raster<u8> a(in, w, h), b(in, w, h), table(in, 256, 1);
    for (int i = 0; i < 6 && !in.empty(); ++i) in.byte() % 2 ? brush(in, a, b) : clean_up(in, a, b);
    const int columns = in.number(), rows = in.number();
    const double level = mat_estimate_opt_level(SIZED(a), columns, rows);
    require(level >= 0.0 && level <= 1.0);
    mat_calc_S_transform(table, columns, rows);
    return 0;
}
