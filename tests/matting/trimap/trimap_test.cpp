#include "matting/trimap/trimap.h"

#include <climits>
#include <cmath>
#include <limits>

#include "ff/components_color.h"
#include "matting/trimap/distance_transform.h"
#include "tests/support/guarded_raster.h"

namespace {

struct Settings {
    int max_band;
    double scale;
    int step, low, high, min_band;
};

struct Scene {
    Scene(int width, int height, int seed)
        : w(width), h(height), random(seed), seg(w, h, 3), img(3 * w, h, 2, noise(random)) {
        rectangle(0, 0, w, h, 0);
    }
    void rectangle(int x0, int y0, int x1, int y1, u8 value) {
        seg.each([&](int x, int y) {
            if (x >= x0 && x < x1 && y >= y0 && y < y1) seg(x, y) = value;
        });
    }
    // The union of the squares around all boundary pixels, which are 255 beside another value.
    Map squares(const Settings& s, bool by_contrast) {
        std::vector<int> label(w * h);
        std::vector<double> inner(
            ff::ipf_connected_component(seg, w, h, seg.stride, label.data(), w));
        const std::unique_ptr<float[]> d(DPLMatting_MakeDTInput(seg, w, h, seg.stride));
        DistanceTransform(d.get(), w, h);
        for (int i = 0; i < w * h; ++i) inner[label[i]] = std::max(inner[label[i]], double(d[i]));
        Map map = seg.payload();
        seg.each([&](int x, int y) {
            const int i = y * w + x, l = label[i];
            const bool boundary = (x > 0 && label[i - 1] != l) ||
                                  (x < w - 1 && label[i + 1] != l) ||
                                  (y > 0 && label[i - w] != l) || (y < h - 1 && label[i + w] != l);
            if (!boundary || seg(x, y) != 255) return;
            int r = int(std::min(std::sqrt(inner[l]) * s.scale, double(s.max_band)));
            if (by_contrast) r = contrast_half(x, y, r, s);
            for (int v = std::max(0, y - r); v < std::min(h, y + r); ++v)
                for (int u = std::max(0, x - r); u < std::min(w, x + r); ++u) map[v * w + u] = 128;
        });
        return map;
    }
    // Half-width by the colours on the border of the region's square.
    int contrast_half(int x, int y, int b, const Settings& s) {
        const int x0 = std::max(x - b, 0), x1 = std::min(x + b, w) - 1;
        const int y0 = std::max(y - b, 0), y1 = std::min(y + b, h) - 1;
        std::vector<const u8*> side[2];
        const auto visit = [&](int u, int v) { side[seg(u, v) == 255].push_back(&img(3 * u, v)); };
        if (x0 <= x1 && y0 <= y1) {
            for (int u = x0; u <= x1; ++u) visit(u, y0);
            for (int v = y0; v <= y1; ++v) visit(x1, v);
            for (int u = x1; u >= x0; --u) visit(u, y1);
            for (int v = y1; v >= y0; --v) visit(x0, v);
        }
        const auto square = [](int v) { return double(v * v); };
        double d = INT_MIN;
        for (std::size_t i = 0; i < side[1].size(); i += std::max(s.step, 1)) {
            for (std::size_t j = 0; j < side[0].size(); j += std::max(s.step, 1)) {
                const u8 *a = side[1][i], *c = side[0][j];
                d = std::max(d, square(a[0] - c[0]) + square(a[1] - c[1]) + square(a[2] - c[2]));
            }
        }
        const double lo = 3 * square(s.low), hi = 3 * square(s.high), q = (d - lo) / (hi - lo);
        const double t = std::isnan(q) ? 0 : std::clamp(q, 0.0, 1.0);
        return int(t * (s.max_band - s.min_band) + 0.5) + s.min_band;
    }
    Map made(const Settings& s, bool by_contrast) {
        Bytes out(w, h, 5);
        if (by_contrast)
            MakeTrimapFromSegRes(img, w, h, img.stride, seg, seg.stride, out, out.stride,
                                 s.max_band, s.scale, s.step, u8(s.low), u8(s.high), s.min_band);
        else
            MakeTrimapFromSegRes(seg, w, h, seg.stride, out, out.stride, s.max_band, s.scale);
        return out.payload();
    }

    int w, h;
    Random random;
    Bytes seg, img;
};

TEST(Trimap, band_is_the_union_of_the_boundary_pixels_squares) {
    for (int n = 0; n < 150; ++n) {
        Scene s(1 + n % 40, 1 + n * 7 % 31, n);
        s.rectangle(0, 0, s.w, s.h, n % 4 ? 0 : 100);  // without a 0 the band is the widest
        for (int k = s.random.between(1, 7); k > 0; --k) {
            const int x = s.random.between(-5, s.w), y = s.random.between(-5, s.h);
            const int right = x + s.random.between(1, 16), bottom = y + s.random.between(1, 16);
            s.rectangle(x, y, right, bottom, Map{0, 255, 255, 255, 100, 128}[s.random.below(6)]);
        }
        const int low = n * 5 % 90;
        if (n % 10 == 0)  // the one difference there is equals both limits
            s.img.fill([&](int x, int y) { return 100 + low * (s.seg(x / 3, y) == 255); });
        const Settings set{
            n % 11 - 1, n % 6 < 5 ? n % 6 * 0.37 : HUGE_VAL, n % 4, low, n % 10 ? 60 + n : low,
            n % 5 - 1};
        for (bool by_contrast : {false, true})
            ASSERT_EQ(s.made(set, by_contrast), s.squares(set, by_contrast)) << n;
    }
}

}  // namespace
