// The best high-side candidate of a large window without a look at every one.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "matting/color/colour_index.h"
#include "matting/color/composite.h"
#include "matting/color/level_data.h"
#include "matting/color/ring.h"

namespace color {

// A tree over a level's tiles. Every node knows the range of its high-side colours in each channel,
// hence the least error any of them can have.
class candidate_tree {
  public:
    explicit candidate_tree(const _LevelData& level);

    // Of the high-side pixels at most `reach` away from (x, y) in either direction, (x, y) itself
    // left out, the colour of the smallest error, among equals the first that a walk ring by ring
    // comes by. Null where there is none. Remembers its answer, which makes a good start for the
    // next pixel. Once there were many such questions it puts the level's colours in order first
    // (see colour_index), and then needs a microsecond or two for each.
    const u8* best(const composite& target, int x, int y, int reach);

  private:
    // Lowest and highest colour; lowest above highest where there are no high-side pixels.
    struct colour_range {
        u8 lowest[3] = {255, 255, 255}, highest[3] = {0, 0, 0};
        bool empty() const { return lowest[0] > highest[0]; }
        void include(const u8* low, const u8* high);
    };
    struct layer {
        int width, height;
        std::vector<colour_range> nodes;
        const colour_range& at(int x, int y) const {
            return nodes[std::size_t(y) * std::size_t(width) + std::size_t(x)];
        }
    };
    struct search {
        const composite* target;
        int x, y, reach;
        const u8* best = nullptr;
        int best_x = 0, best_y = 0;
        int error = INT_MAX;
        ring_place place = farthest;
    };
    struct child {
        int x, y, distance;
    };

    static constexpr int tile_bits = 3;
    static constexpr ring_place farthest{INT_MAX, 0};

    static int least_error(const composite& target, const colour_range& range);
    static bool can_win(const search& s, const colour_range& range, int distance);
    int distance_to(const search& s, int depth, int tx, int ty) const;
    void descend_from_root(search& s) const;
    void descend(search& s, int depth, int tx, int ty) const;
    void look_through_tile(search& s, int tx, int ty) const;
    void consider(search& s, int x, int y) const;
    void offer(search& s, int x, int y, int error) const;

    bool ask_index(search& s);

    // Questions before the index is worth its making, and the number of pixels of the same error
    // from which on looking through them all takes longer than looking around.
    static constexpr int many_questions = 4000;
    static constexpr std::size_t many_equals = 512;

    const _LevelData& level_;
    std::vector<layer> layers_;  // tiles first, the root last
    std::int64_t questions_ = 0;
    std::unique_ptr<colour_index> index_;
    // The index' last answer; the next pixel of an enlarged level often asks the same.
    colour_index::equals equals_{};
    composite equals_of_;
    int last_x_ = -1, last_y_ = -1;
};

}  // namespace color
