// What the facade's tests make mattes of.
#pragma once

#include <cmath>

#include "matting/facade/dsc_matting.h"
#include "matting/trimap/distance_transform.h"
#include "tests/support/guarded_raster.h"

inline Map inverted(Map map) {
    InvertMatte(map.data(), int(map.size()), 1, int(map.size()));
    return map;
}

// A disc of one colour on another with its true alpha, a segmentation (caller convention) and a
// trimap (internal).
struct Disc {
    Disc(int width, int height, int pad = 0)
        : w(width),
          h(height),
          truth(w, h, 0, [this](int x, int y) { return int(255 * coverage(x, y) + 0.5); }),
          img(3 * w, h, pad,
              [this](int x, int y) {
                  const int ground[] = {190, 170, 60}, subject_less_ground[] = {-150, -80, 150};
                  return int(ground[x % 3] + coverage(x / 3, y) * subject_less_ground[x % 3] + 0.5);
              }),
          seg(w, h, pad, [this](int x, int y) { return truth(x, y) > 127 ? 255 : 0; }),
          trimap(w, h, 2 * pad,
                 [this](int x, int y) {
                     return std::abs(distance(x, y)) < 4 ? 128 : 255 - seg(x, y);
                 }),
          out(w, h, 3 * pad) {}
    double distance(int x, int y) const {
        return std::hypot(x - w / 2.0 + 0.3, y - h / 2.0 - 0.2) - 0.3 * std::min(w, h);
    }
    double coverage(int x, int y) const { return std::clamp(0.5 - distance(x, y), 0.0, 1.0); }
    void init(DSCMatting& m, int max_size, int band = 5) {
        m.Init(img, w, h, img.stride, seg, seg.stride, max_size, band, 0.5, 3, 5, 50, band / 2);
    }
    void short_init(DSCMatting& m, int max_size) { m.Init(img, w, h, img.stride, max_size); }
    Map matte(DSCMatting& m, int smooth = 0) {
        EXPECT_TRUE(m.MakeMatte(out, w, h, out.stride, smooth, 0));
        return out.payload();
    }
    Map refine(DSCMatting& m, int smooth = 0, int keep = 0) {
        m.Refine(trimap, w, h, trimap.stride, out, out.stride, smooth, keep);
        return out.payload();
    }
    int w, h;
    Bytes truth, img, seg, trimap, out;
};
