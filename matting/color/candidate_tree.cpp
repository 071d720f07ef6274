// Branch and bound over tiles of 8 x 8 pixels and four times larger nodes above them, nearest
// first.
//
// The predicted mix grows with the candidate's colour, so the colour nearest to the observed one in
// a node's range bounds the error of all its pixels. A node is left out when that bound is above
// the best error so far, or equal to it with every pixel on a later ring. What remains is compared
// by (error, place on the walk), which no order of visiting can change.
#include "matting/color/candidate_tree.h"

#include <algorithm>
#include <utility>

namespace color {

void candidate_tree::colour_range::include(const u8* low, const u8* high) {
    for (int c = 0; c < 3; ++c) {
        lowest[c] = std::min(lowest[c], low[c]);
        highest[c] = std::max(highest[c], high[c]);
    }
}

candidate_tree::candidate_tree(const _LevelData& level) : level_(level) {
    const auto parents = [](int n, int bits) { return int((std::int64_t(n) - 1) >> bits) + 1; };
    layer tiles{parents(level.width, tile_bits), parents(level.height, tile_bits), {}};
    tiles.nodes.resize(std::size_t(tiles.width) * std::size_t(tiles.height));
    for (int y = 0; y < level.height; ++y) {
        colour_range* row = &tiles.nodes[std::size_t(y >> tile_bits) * std::size_t(tiles.width)];
        for (int x = 0; x < level.width; ++x)
            if (level.class_row(y)[x] == high_side)
                row[x >> tile_bits].include(level.image_at(x, y), level.image_at(x, y));
    }
    layers_.push_back(std::move(tiles));
    while (layers_.back().nodes.size() > 1) {
        const layer& from = layers_.back();
        layer to{parents(from.width, 1), parents(from.height, 1), {}};
        to.nodes.resize(std::size_t(to.width) * std::size_t(to.height));
        for (int y = 0; y < from.height; ++y)
            for (int x = 0; x < from.width; ++x)
                to.nodes[std::size_t(y / 2) * std::size_t(to.width) + std::size_t(x / 2)].include(
                    from.at(x, y).lowest, from.at(x, y).highest);
        layers_.push_back(std::move(to));
    }
}

int candidate_tree::least_error(const composite& target, const colour_range& range) {
    int error = 0;
    for (int c = 0; c < 3; ++c) {
        const int below = target.predicted(c, range.lowest[c]) - target.observed[c];
        const int above = target.observed[c] - target.predicted(c, range.highest[c]);
        const int gap = std::max(std::max(below, above), 0);
        error += gap * gap;
    }
    return error;
}

bool candidate_tree::can_win(const search& s, const colour_range& range, int distance) {
    if (distance > s.reach || range.empty()) return false;
    const int least = least_error(*s.target, range);
    return least < s.error || (least == s.error && distance <= s.place.r);
}

// Chebyshev distance from the pixel to the node's nearest pixel.
int candidate_tree::distance_to(const search& s, int depth, int tx, int ty) const {
    const int bits = depth + tile_bits;
    const auto along = [bits](int v, int t) {
        const std::int64_t first = std::int64_t(t) << bits, last = first + (1 << bits) - 1;
        return int(std::max<std::int64_t>({first - v, v - last, 0}));
    };
    return std::max(along(s.x, tx), along(s.y, ty));
}

void candidate_tree::consider(search& s, int x, int y) const {
    const int error = s.target->error(level_.image_at(x, y));
    if (error <= s.error) offer(s, x, y, error);
}

// A pixel whose error is known, and not above the best.
void candidate_tree::offer(search& s, int x, int y, int error) const {
    const ring_place place = place_of(x - s.x, y - s.y);
    if (place.r < 1 || place.r > s.reach) return;
    if (error == s.error && !(place < s.place)) return;
    s.best = level_.image_at(x, y), s.best_x = x, s.best_y = y;
    s.error = error, s.place = place;
}

void candidate_tree::look_through_tile(search& s, int tx, int ty) const {
    const int left = tx << tile_bits, right = std::min(left + (1 << tile_bits), level_.width);
    const int top = ty << tile_bits, bottom = std::min(top + (1 << tile_bits), level_.height);
    for (int y = top; y < bottom; ++y) {
        const u8* classes = level_.class_row(y);
        for (int x = left; x < right; ++x)
            if (classes[x] == high_side) consider(s, x, y);
    }
}

void candidate_tree::descend(search& s, int depth, int tx, int ty) const {
    if (depth == 0) {
        look_through_tile(s, tx, ty);
        return;
    }
    const layer& below = layers_[std::size_t(depth) - 1];
    child children[4];  // nearest first
    int count = 0;
    for (int y = 2 * ty; y < std::min(2 * ty + 2, below.height); ++y)
        for (int x = 2 * tx; x < std::min(2 * tx + 2, below.width); ++x) {
            const int distance = distance_to(s, depth - 1, x, y);
            int at = count++;
            for (; at > 0 && children[at - 1].distance > distance; --at)
                children[at] = children[at - 1];
            children[at] = {x, y, distance};
        }
    for (int i = 0; i < count; ++i)
        if (can_win(s, below.at(children[i].x, children[i].y), children[i].distance))
            descend(s, depth - 1, children[i].x, children[i].y);
}

void candidate_tree::descend_from_root(search& s) const {
    const layer& root = layers_.back();
    if (can_win(s, root.nodes[0], 0)) descend(s, int(layers_.size()) - 1, 0, 0);
}

// Whether the level's least error is to be had in reach, and `s` the answer then.
bool candidate_tree::ask_index(search& s) {
    if (!index_) index_ = std::make_unique<colour_index>(level_);
    if (!(*s.target == equals_of_)) {
        equals_.error = s.error;
        index_->find(*s.target, many_equals, equals_);
        equals_of_ = *s.target;
    }
    const int least = equals_.error;
    search only_least = s;
    if (s.error > least) only_least = {s.target, s.x, s.y, s.reach, nullptr, 0, 0, least, farthest};
    if (equals_.too_many) {
        descend_from_root(only_least);
    } else {
        const auto width = std::uint32_t(level_.width);
        for (const std::uint32_t at : equals_.places) {
            const std::uint32_t y = at / width;
            offer(only_least, int(at - y * width), int(y), least);
        }
    }
    if (only_least.best) s = only_least;
    return only_least.best;
}

const u8* candidate_tree::best(const composite& target, int x, int y, int reach) {
    search s{&target, x, y, reach};
    if (last_x_ >= 0) consider(s, last_x_, last_y_);
    if (++questions_ <= many_questions || !ask_index(s)) descend_from_root(s);
    if (s.best) last_x_ = s.best_x, last_y_ = s.best_y;
    return s.best;
}

}  // namespace color
