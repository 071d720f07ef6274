// Trimaps from segmentations of any content with any settings, their parts, and distances.
#include "matting/trimap/trimap.h"

#include <memory>

#include "ff/components_color.h"
#include "fuzz/input.h"
#include "matting/trimap/distance_transform.h"

namespace {

void require_inside(const dpl_rect& r, const Raster<u8>& picture) {
    require(r.x_begin >= 0 && r.x_end <= picture.w && r.y_begin >= 0 && r.y_end <= picture.h);
}

void try_parts(Input& in, const Raster<u8>& img, const Raster<u8>& seg) {
    const int w = img.w, h = img.h;
    std::vector<int> labels(std::size_t(w * h));
    const int n = ff::ipf_connected_component(SIZED(seg), labels.data(), w);
    std::vector<std::vector<dpl_pt2di>> boundaries;
    GetCCBndryPixels(SIZED(seg), labels.data(), n, boundaries);
    const dpl_pt2di point{in.number(), in.number()};
    require_inside(AdaRect_CCSz(point, in.number(), w, h), img);
    const dpl_rect rect{in.number(), in.number(), in.number(), in.number()};
    const int step = in.number(), min_band = in.number(), max_band = in.number();
    const double lo = in.real(), hi = in.real();
    require_inside(
        AdaRect_ImgGrad(point, rect, SIZED(img), ROWS(seg), step, lo, hi, min_band, max_band), img);
}

void try_distances(Input& in, const Raster<u8>& seg) {
    const std::unique_ptr<float[]> grid(DPLMatting_MakeDTInput(SIZED(seg)));
    for (int i = in.byte() % 8; i > 0; --i)
        grid[std::size_t(in.byte() % (seg.w * seg.h))] = float(in.real());
    DistanceTransform(grid.get(), seg.w, seg.h);
    delete[] DistanceTransform1D(grid.get(), seg.w);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    const int w = in.between(1, 64), h = in.between(1, 64);
    const Raster<u8> img(in, w, h, 3), seg(in, w, h), trimap(in, w, h), seeds(in, w, h);
    const int max_band = in.number(), step = in.number(), min_band = in.number();
    const double scale = in.real();
    const u8 low = in.byte(), high = in.byte();
    MakeTrimapFromSegRes(SIZED(seg), ROWS(trimap), max_band, scale);
    MakeTrimapFromSegRes(SIZED(img), ROWS(seg), ROWS(trimap), max_band, scale, step, low, high,
                         min_band);
    InvertMatte(SIZED(trimap));
    MakeSeeds(SIZED(trimap), ROWS(seeds), in.number());
    try_parts(in, img, seg);
    try_distances(in, seg);
    return 0;
}
