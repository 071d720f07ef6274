// Trimap from a segmentation.
//
// Each region's half-width comes from its largest distance to a zero byte; the band is the union of
// squares around the boundary pixels. The union is drawn with a difference raster: each square adds
// at its corners, and one pass of running sums finds the covered pixels. So the cost is linear in
// the pixels and boundary pixels however wide the band (the contrast search aside). Scratch: 8
// bytes a pixel, and 8 a run or region. Distances and differences share a plane: the kernel hands
// out and clears every page that a process has not had yet, which costs more than a pass over it.
#include "matting/trimap/trimap.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>

#include "ff/components_color.h"
#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/trimap/contrast_search.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/in_place.h"

namespace {

using ff::make_scratch;
using u8 = unsigned char;

constexpr u8 subject = 255;
constexpr u8 unknown_value = 128;

// Calls point(x, y, label) for every pixel of value 255 with a direct neighbour, inside the
// picture, of another label, in raster order. labels: contiguous.
template <class Point>
void for_each_boundary_pixel(const u8* seg, int w, int h, int seg_stride, const int* labels,
                             Point point) {
    for (int y = 0; y < h; ++y) {
        const u8* row = seg + std::ptrdiff_t(y) * seg_stride;
        const int* own = labels + std::ptrdiff_t(y) * w;
        const int* above = y > 0 ? own - w : own;
        const int* below = y < h - 1 ? own + w : own;
        for (int x = 0; x < w; ++x) {
            if (row[x] != subject) continue;
            const int l = own[x];
            if (above[x] != l || below[x] != l || own[std::max(x - 1, 0)] != l ||
                own[std::min(x + 1, w - 1)] != l)
                point(x, y, l);
        }
    }
}

// A set of pixels given as a union of rectangles: +1 where one begins, -1 where it ends, in both
// directions.
class rectangle_union {
  public:
    // `differences` is w x h ints of scratch.
    rectangle_union(int* differences, int w, int h) : diff_(differences), w_(w), h_(h) {
        std::fill_n(diff_, std::ptrdiff_t(w) * h, 0);
    }

    // Empty ones add nothing; begins are at least 0 and ends at most the size.
    void add(const dpl_rect& r) {
        if (r.x_begin >= r.x_end || r.y_begin >= r.y_end) return;
        add_row(r.y_begin, r, 1);
        if (r.y_end < h_) add_row(r.y_end, r, -1);
    }

    // Sets every covered pixel of map; uses the differences up.
    void draw(u8* map, int stride, u8 value) {
        for (int y = 0; y < h_; ++y) {
            int* row = diff_ + std::ptrdiff_t(y) * w_;
            if (y > 0)
                for (int x = 0; x < w_; ++x) row[x] += row[x - w_];
            u8* out = map + std::ptrdiff_t(y) * stride;
            int covering = 0;
            for (int x = 0; x < w_; ++x) {
                covering += row[x];
                if (covering > 0) out[x] = value;
            }
        }
    }

  private:
    void add_row(int y, const dpl_rect& r, int sign) {
        int* row = diff_ + std::ptrdiff_t(y) * w_;
        row[r.x_begin] += sign;
        if (r.x_end < w_) row[r.x_end] -= sign;
    }

    int* diff_;
    int w_, h_;
};

// Half-width of a region whose largest squared distance is `largest`. Clamped before the cast:
// there may be no zero byte at all, and the scale may be anything. Not a number gives 0.
int band_of(float largest, double band_scale, int max_band) {
    const double width = std::sqrt(double(largest)) * band_scale;
    if (std::isnan(width)) return std::min(0, max_band);
    return int(std::clamp(width, -2147483648.0, double(max_band)));
}

// Half-widths per label, from the labels and the distances of the segmentation, which end in grid.
std::vector<int> band_widths(const u8* seg, int w, int h, int seg_stride, const int* labels, int n,
                             int max_band, double band_scale, float* grid) {
    ::trimap::mark_sources(seg, w, h, seg_stride, grid);
    DistanceTransform(grid, w, h);
    std::vector<float> largest(std::size_t(n), 0.0f);
    const std::ptrdiff_t pixels = std::ptrdiff_t(w) * h;
    for (std::ptrdiff_t i = 0; i < pixels; ++i) {
        float& of_label = largest[std::size_t(labels[i])];
        if (of_label < grid[i]) of_label = grid[i];
    }
    std::vector<int> bands(std::size_t(n), 0);
    std::transform(largest.begin(), largest.end(), bands.begin(),
                   [=](float l) { return band_of(l, band_scale, max_band); });
    return bands;
}

// The trimap with square(x, y, half-width of the region) drawn around every boundary pixel. work:
// two planes of w x h ints.
template <class Square>
void make_trimap(const u8* seg, int w, int h, int seg_stride, u8* trimap, int trimap_stride,
                 int max_band, double band_scale, int* work, Square square) {
    const std::ptrdiff_t pixels = std::ptrdiff_t(w) * h;
    int* const labels = work;
    void* const plane = work + pixels;
    const int n = ff::ipf_connected_component(seg, w, h, seg_stride, labels, w);
    if (n == 0) throw std::bad_alloc();
    const auto bands = band_widths(seg, w, h, seg_stride, labels, n, max_band, band_scale,
                                   new (plane) float[std::size_t(pixels)]);
    rectangle_union band(new (plane) int[std::size_t(pixels)], w, h);
    for_each_boundary_pixel(seg, w, h, seg_stride, labels, [&](int x, int y, int label) {
        band.add(square(dpl_pt2di{x, y}, bands[std::size_t(label)]));
    });
    ff::ipf_memcpy_2d(seg, w, h, seg_stride, trimap, trimap_stride);
    band.draw(trimap, trimap_stride, unknown_value);
}

double squared_contrast(u8 per_channel) { return double(3 * per_channel * per_channel); }

}  // namespace

void trimap::make_by_contrast(const unsigned char* img, int w, int h, int img_stride,
                              const unsigned char* seg, int seg_stride, unsigned char* out,
                              int out_stride, int max_band, double band_scale, int step,
                              unsigned char low_contrast, unsigned char high_contrast, int min_band,
                              int* work) {
    if (!img || !seg || !out || w < 1 || h < 1) return;
    contrast_search search({img, w, h, img_stride, seg, seg_stride, std::max(step, 1),
                            squared_contrast(low_contrast), squared_contrast(high_contrast),
                            min_band, max_band});
    make_trimap(seg, w, h, seg_stride, out, out_stride, max_band, band_scale, work,
                [&](dpl_pt2di pt, int b) {
                    const dpl_rect of_region = AdaRect_CCSz(pt, b, w, h);
                    return square_around(pt, search.half_width(of_region), w, h);
                });
}

void MakeTrimapFromSegRes(const unsigned char* seg, int w, int h, int seg_stride,
                          unsigned char* trimap, int trimap_stride, int max_band,
                          double band_scale) {
    if (!seg || !trimap || w < 1 || h < 1) return;
    const auto work = make_scratch<int>(std::ptrdiff_t(w) * h, 2);
    make_trimap(seg, w, h, seg_stride, trimap, trimap_stride, max_band, band_scale, work.get(),
                [=](dpl_pt2di pt, int b) { return AdaRect_CCSz(pt, b, w, h); });
}

void MakeTrimapFromSegRes(const unsigned char* img, int w, int h, int img_stride,
                          const unsigned char* seg, int seg_stride, unsigned char* trimap,
                          int trimap_stride, int max_band, double band_scale, int step,
                          unsigned char low_contrast, unsigned char high_contrast, int min_band) {
    if (!img || !seg || !trimap || w < 1 || h < 1) return;
    const auto work = make_scratch<int>(std::ptrdiff_t(w) * h, 2);
    ::trimap::make_by_contrast(img, w, h, img_stride, seg, seg_stride, trimap, trimap_stride,
                               max_band, band_scale, step, low_contrast, high_contrast, min_band,
                               work.get());
}

void GetCCBndryPixels(const unsigned char* seg, int w, int h, int seg_stride, int* labels, int n,
                      std::vector<std::vector<dpl_pt2di>>& out) {
    const std::size_t first = out.size();
    out.resize(first + std::size_t(std::max(n, 0)));
    if (!seg || !labels || w < 1 || h < 1) return;
    for_each_boundary_pixel(seg, w, h, seg_stride, labels, [&](int x, int y, int label) {
        if (label >= 0 && label < n) out[first + std::size_t(label)].push_back({x, y});
    });
}
