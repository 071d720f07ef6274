// Segmentation from strokes: geodesic distances to labelled seeds, and probabilities from two such
// distances. A step between neighbouring pixels costs their squared colour distance.
//
// Images are 8-bit with three colour channels in the first bytes of a pixel; `stride` is bytes a
// row, `pixel_step` bytes a pixel, at least 3. Seed maps have one byte a pixel and their stride in
// bytes; strides of distance and probability maps count elements. All maps have the image's size
// and must not overlap.
//
// Distances are exact for the paths that four raster sweeps find, no others: a path may turn back
// only as often as the sweeps do. 100000000 marks a pixel not reached.
//
// SetImage comes first, and once for any number of queries; the image is not kept. Queries before
// it (or after one that failed), and queries with a null pointer where one is needed, write nothing
// and return 0. std::bad_alloc from SetImage leaves the object without an image.
#pragma once

#include <memory>

#include "ff/api.h"

// Steps to the 4 direct neighbours. A step costs the squared colour distance modulo 65536 (so that
// 70000 becomes 4464), 0 counting as 1. Other labels' seeds are pixels like all others.
// 20 bytes a pixel.
class GeoSeg {
  public:
    DSCM_API GeoSeg();
    DSCM_API ~GeoSeg();
    GeoSeg(const GeoSeg&) = delete;
    GeoSeg& operator=(const GeoSeg&) = delete;

    // Replaces the image. 0, or -1 without an image: null, sides below 1, a pixel step below 3.
    DSCM_API int SetImage(const unsigned char* img, int w, int h, int stride, int pixel_step);

    // dist: out, the distance of every pixel to the nearest seed equal to `label`. Nothing is
    // reached, seeds included, in an image under 2 pixels wide or high.
    DSCM_API int GetDist(const unsigned char* seeds, int seed_stride, unsigned int* dist,
                         int dist_stride, unsigned char label);

    // prob: out, D1 / (D1 + D2) of the distances to labels 1 and 2: 0 at label 1, 1 at label 2, 0.5
    // where neither reaches.
    DSCM_API int GetProb(const unsigned char* seeds, int seed_stride, float* prob, int prob_stride);

  private:
    struct links {
        unsigned int left, up, right, down;
    };
    template <int DX, int DY>
    void sweep(const unsigned char* seeds, int seed_stride, unsigned char label, unsigned int* dist,
               int dist_stride) const;
    void propagate(const unsigned char* seeds, int seed_stride, unsigned char label,
                   unsigned int* dist, int dist_stride) const;

    std::unique_ptr<links[]> costs_;
    std::unique_ptr<unsigned int[]> dist_;  // scratch of GetProb
    int width_, height_;
    int cost_stride_;  // records a row
};

// Steps to all 24 other pixels of the 5 x 5 window. Costs are scaled so that their mean over the
// image is 128 (12 links a pixel, those that leave the image counting 0), then kept within 1 ..
// 65535; in an image of one colour every step costs 1. Pixels with another non-zero seed are
// barriers: they stay unreached, and a line of them two pixels thick is not stepped over.
// 52 bytes a pixel.
class GeoSegN24 {
  public:
    DSCM_API GeoSegN24();
    DSCM_API ~GeoSegN24();
    GeoSegN24(const GeoSegN24&) = delete;
    GeoSegN24& operator=(const GeoSegN24&) = delete;

    // As GeoSeg::SetImage. `extra` is accepted and not used.
    DSCM_API int SetImage(const unsigned char* img, int w, int h, int stride, int pixel_step,
                          unsigned char* extra);

    // As GeoSeg::GetDist; nothing is reached in an image under 3 pixels wide or high.
    DSCM_API int GetDist(const unsigned char* seeds, int seed_stride, unsigned int* dist,
                         int dist_stride, unsigned char label);

    // The two low bits of `mode` choose:
    //   3       prob as GeoSeg::GetProb; map stays and may be null
    //   1 or 2  map (width x height bytes, contiguous) receives trunc(255 D / (max D | 1)) of that
    //           label's distances, unreached ones included; prob stays and may be null
    //   0       nothing
    DSCM_API int GetProb(const unsigned char* seeds, int seed_stride, float* prob, int prob_stride,
                         int mode, unsigned char* map);

  private:
    // Costs in raster order of the neighbours: slots 0 .. 11 before the pixel, 12 .. 23 after it.
    struct links {
        unsigned short cost[24];
    };
    template <int DX, int DY>
    void sweep(const unsigned char* seeds, int seed_stride, unsigned char label);
    void propagate(const unsigned char* seeds, int seed_stride, unsigned char label);
    unsigned int* pixels() const;

    std::unique_ptr<links[]> costs_;
    std::unique_ptr<unsigned int[]> dist_;  // padded by 2 pixels on every side
    int width_, height_;
    int cost_stride_;
};
