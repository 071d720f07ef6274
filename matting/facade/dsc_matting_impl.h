// What a DSCMatting holds: one photograph at two resolutions, its trimaps, the current alpha and
// the tables that bring a working alpha back to full size. All maps are in the internal convention.
#pragma once

#include <memory>

#include "ff/image.h"
#include "matting/geoseg/geoseg.h"

class DSCMattingImpl {
  public:
    using u8 = unsigned char;

    DSCMattingImpl() = default;
    DSCMattingImpl(const DSCMattingImpl&) = delete;
    DSCMattingImpl& operator=(const DSCMattingImpl&) = delete;

    // As the methods of the same name of DSCMatting. `seg` may be null.
    void Init(const u8* img, int w, int h, int stride, const u8* seg, int seg_stride, int max_size,
              int max_band, double band_scale, int step, u8 low_contrast, u8 high_contrast,
              int min_band);
    void set_alpha(const u8* a, int w, int h, int stride);
    void Refine(const u8* trimap, int w, int h, int stride, u8* out, int out_stride, int smooth,
                int keep_components);
    bool Refine(u8* out, int w, int h, int out_stride, int smooth, int keep_components);
    void SmoothBoundary(int smooth, int keep_components);
    u8* GetAlpha(int* stride);
    void GetAlpha(u8* dst, int dst_stride);
    u8* GetFImage(int* stride, int mode);
    void GetFImage(u8* dst, int dst_stride, int mode);

    // Whether (w, h) is the size of a photograph that Init has taken.
    bool is_size(int w, int h) const { return w == width && h == height && width > 0; }

    // Everything an object holds, open to tests. The spare images are kept for callers' sake: they
    // are part of the layout and nothing uses them.
    ff::FVTImage image;  // 3 channels, full resolution
    ff::FVTImage alpha;  // full resolution; the trimap before the first solve
    ff::FVTImage spare_image_a;
    ff::FVTImage fg_image;  // 3 channels: the subject's colour, as of the last GetFImage
    ff::FVTImage spare_image_b;
    GeoSeg geo_seg;
    bool fg_stale = true;  // alpha was solved or smoothed since
    int width = 0, height = 0;
    ff::FVTImage work_image;   // 3 channels, working resolution
    ff::FVTImage work_alpha;   // the solver's output
    ff::FVTImage seg_trimap;   // full resolution; empty when Init had no segmentation
    ff::FVTImage work_trimap;  // the solver's input
    int work_width = 0, work_height = 0;
    std::unique_ptr<short[]> up_weights;  // width x height, in 1/4096
    std::unique_ptr<int[]> up_index;      // 2 width x height working pixels, -1: none

  private:
    struct trimap_settings {
        int max_band;
        double band_scale;
        int step;
        u8 low_contrast, high_contrast;
        int min_band;
    };

    void forget();
    void take_segmentation(const u8* img, int stride, const u8* seg, int seg_stride,
                           const trimap_settings& settings);
    void choose_working_size(int max_size);
    void make_working_images();
    void make_tables();
    bool can_solve() const;
    void solve();
    void estimate_fg_image();
    void refine_with(const u8* guide, int guide_stride, u8* out, int out_stride, int smooth,
                     int keep_components);
};
