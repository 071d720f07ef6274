// Gathering the definite colours around a pixel of a level.
//
// Rings are walked outwards until 100 pixels of each side were seen, each ring to its end. Nearly
// always that is a short walk. Where one side is scarce it would be the whole level, for every
// pixel again; then the window the walk would end with is found from sums over rectangles, and its
// mean low-side colour and its best high-side colour without the walk. The results are the same.
#pragma once

#include <memory>

#include "matting/color/candidate_tree.h"
#include "matting/color/class_sums.h"
#include "matting/color/composite.h"
#include "matting/color/level_data.h"

namespace color {

constexpr int wanted_samples = 100;  // of either side
constexpr int near_rings = 24;       // a walk beyond these gives way to the sums
constexpr int near_window = (2 * near_rings + 1) * (2 * near_rings + 1);

// Walks rings around (x, y) of a level_width x level_height level and appends a pointer to the
// colour of every definite pixel to its side's list, while either list is below wanted_samples and
// the ring touches the level. `colour` and `pixel_class` point at (x, y). The lists hold up to
// near_window entries: the walk gives up after near_rings rings. Returns whether it came to its
// end.
bool _collect_samples(int level_width, int level_height, const u8* colour, int x, int y,
                      int colour_stride, const u8* pixel_class, int class_stride, const u8** high,
                      int& high_count, const u8** low, int& low_count);

// Gathers around one pixel of its level after another; the level must outlive it.
class gatherer {
  public:
    explicit gatherer(const _LevelData& level);

    void gather(int x, int y);

    // Of the samples gathered last: the truncated mean of the low side, and the high side's colour
    // of the smallest error, the first among equals. False, with nothing written, and null where
    // that side has none.
    bool low_mean(u8* out) const;
    const u8* best_high(const composite& target);

  private:
    void gather_far(int x, int y);
    tally around(int x, int y, int r);

    const _LevelData& level_;
    const ff::scratch<const u8*> high_, low_;  // near_window each
    int high_count_ = 0, low_count_ = 0;

    // Of a gathering that left the near rings: the window it ends with.
    bool is_far_ = false;
    int x_ = 0, y_ = 0, reach_ = 0;
    tally in_window_;

    // Made when first needed; the sums only where both sides have enough.
    std::unique_ptr<tally> total_;
    std::unique_ptr<class_sums> sums_;
    std::unique_ptr<candidate_tree> tree_;
};

}  // namespace color
