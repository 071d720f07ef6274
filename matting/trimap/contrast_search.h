// The local half-width of the long trimap: how different the colours are across the boundary.
#pragma once

#include <cstdint>
#include <vector>

#include "matting/trimap/trimap.h"

namespace trimap {

// The pictures and settings of one trimap. step is at least 1.
struct contrast_settings {
    const unsigned char* img;
    int w, h, img_stride;
    const unsigned char* seg;
    int seg_stride;
    int step;
    double lo, hi;  // squared colour distances of the narrowest and the widest band
    int min_band, max_band;
};

// {max(x - r, 0), min(x + r, w), ...} for any r.
dpl_rect square_around(dpl_pt2di pt, std::int64_t r, int w, int h);

// Searches boundary points one after another; keeps its lists, and the last answer, since points of
// a region whose rectangle covers the picture all ask the same question.
class contrast_search {
  public:
    explicit contrast_search(const contrast_settings& settings) : s_(settings) {}

    // Half-width for a point whose region's square is `rect`.
    std::int64_t half_width(const dpl_rect& rect);

  private:
    struct colour {
        unsigned char b, g, r;
    };
    // Every step-th colour of one side of the rectangle's border.
    struct side {
        std::vector<colour> colours;
        std::int64_t seen = 0;
        void add(const unsigned char* pixel, int step);
    };

    void visit(int x, int y);
    void walk_border(const dpl_rect& rect);
    double largest_distance() const;

    const contrast_settings s_;
    side inside_, outside_;
    dpl_rect last_rect_{0, 0, 0, 0};
    std::int64_t last_half_width_ = 0;
    bool has_last_ = false;
};

}  // namespace trimap
