// Clean-up and brushes on regions of larger maps.
#include "fuzz/input.h"
#include "matting/edit/brush.h"
#include "matting/edit/cleanup.h"

namespace {

using Bytes = Raster<u8>;

void clean_up(Input& in, const Bytes& src, const Bytes& dst) {
    const Raster<int> means(in, src.w, src.h);
    const int size = in.number();
    const u8 low = in.byte(), high = in.byte();
    const int tool = in.byte() % 8;
    if (tool == 0) mat_smooth_boundary(SIZED(src), ROWS(dst), size);
    if (tool == 1) mat_dilate(SIZED(src), ROWS(dst), size);
    if (tool == 2) mat_smooth_boundary(SIZED(src), ROWS(src), size);
    if (tool == 3) vm_erase_small_cc(SIZED(dst), low, size);
    if (tool == 4) mat_remove_isolated(SIZED(src), ROWS(src), ROWS(dst), size);
    if (tool == 5) mat_erase_unknown_fragment(SIZED(dst), low, high);
    if (tool == 6) mean_filter_3x3(SIZED(src), ROWS(means));
    if (tool == 7) mat_make_rect_weight(SIZED(dst), float(in.real()));
}

// The two maps are what is painted on, and the applied weights or a second map.
void brush(Input& in, const Bytes& dst, const Bytes& other) {
    const int w = dst.w, h = dst.h, c = in.between(1, 4), size = in.number();
    int around[4] = {in.byte() % 9, in.byte() % 9, in.byte() % 9, in.byte() % 9};
    int* border = in.rarely() ? nullptr : around;
    const Bytes src(in, w, h, 1, around), colour(in, w, h, c, around);
    const Bytes dab(in, w, h), painted(in, w, h, c);
    const u8 low = in.byte(), high = in.byte();
    const int tool = in.byte() % 8, more = tool == 6 ? in.number() : tool == 1 && in.rarely();
    if (tool == 0) mat_set_brush(SIZED(src), ROWS(dab), ROWS(other), ROWS(dst), low);
    if (tool == 1)
        mat_undo_brush(SIZED(colour), c, ROWS(dab), ROWS(other), ROWS(painted), more != 0);
    if (tool == 2) mat_erode_brush(SIZED(src), ROWS(dab), ROWS(dst), size, border);
    if (tool == 3) mat_dilate_brush(SIZED(src), ROWS(dab), ROWS(dst), size, border);
    if (tool == 4) mat_smooth_brush(SIZED(colour), c, ROWS(painted), size, border);
    if (tool == 5) mat_brush_threshold(SIZED(src), ROWS(dst), ROWS(other), size, border, low, high);
    if (tool == 6) mat_shrink_unknown_mm(SIZED(src), ROWS(dst), size, more, low, high);
    if (tool == 7) mat_rectify_uialpha(SIZED(src), ROWS(dst), ROWS(other), size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    const int w = in.between(1, 64), h = in.between(1, 64);
    const Bytes a(in, w, h), b(in, w, h), table(in, 256, 1);
    for (int i = 0; i < 6 && !in.empty(); ++i) in.byte() % 2 ? brush(in, a, b) : clean_up(in, a, b);
    const int columns = in.number(), rows = in.number();
    const double level = mat_estimate_opt_level(SIZED(a), columns, rows);
    require(level >= 0.0 && level <= 1.0);
    mat_calc_S_transform(table, columns, rows);
    return 0;
}
