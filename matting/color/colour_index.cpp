// A counting sort by Morton code and an octree over the codes of one byte a node, since a cube of
// colours is a range of codes. The search goes into the cube of
// the smallest possible error first and leaves out those that cannot beat the best so far.
#include "matting/color/colour_index.h"

#include <algorithm>
#include <new>

namespace color {
namespace {

constexpr std::size_t code_count = 1 << 24;

// Bit i of a channel becomes bit 3 i.
struct spread_table {
    std::uint32_t of[256];

    spread_table() {
        for (unsigned v = 0; v < 256; ++v) {
            of[v] = 0;
            for (unsigned bit = 0; bit < 8; ++bit) of[v] |= (v >> bit & 1) << 3 * bit;
        }
    }
    std::uint32_t code(const u8* colour) const {
        return of[colour[0]] << 2 | of[colour[1]] << 1 | of[colour[2]];
    }
};

}  // namespace

colour_index::colour_index(const _LevelData& level)
    : start_(ff::make_scratch<std::uint32_t>(code_count + 1)) {
    if (std::uint64_t(level.width) * std::uint64_t(level.height) > UINT32_MAX)
        throw std::bad_alloc();  // far beyond what the planes would have needed
    const spread_table spread;
    const auto for_each_high = [&](auto visit) {
        for (int y = 0; y < level.height; ++y)
            for (int x = 0; x < level.width; ++x)
                if (level.class_row(y)[x] == high_side)
                    visit(spread.code(level.image_at(x, y)),
                          std::uint32_t(y) * std::uint32_t(level.width) + std::uint32_t(x));
    };
    // Counts first; then where each colour ends; filling from the back leaves where it starts.
    std::fill_n(start_.get(), code_count + 1, 0u);
    for_each_high([&](std::uint32_t code, std::uint32_t) { ++start_[code]; });
    std::uint32_t end = 0;
    for (std::size_t code = 0; code <= code_count; ++code) start_[code] = end += start_[code];
    places_ = ff::make_scratch<std::uint32_t>(std::ptrdiff_t(end));
    for_each_high(
        [&](std::uint32_t code, std::uint32_t place) { places_[--start_[code]] = place; });
    for (std::size_t i = 0; i < children_.size(); ++i)
        children_[i] = std::make_unique<u8[]>(std::size_t(1) << 3 * i);  // zeroed
    mark_children(whole);
}

// Returns whether there are any.
bool colour_index::mark_children(const cube& c) {
    if (start_[c.first] == start_[c.first + (std::size_t(1) << 3 * c.bits)]) return false;
    if (c.bits == 0) return true;
    unsigned mask = 0;
    for (unsigned k = 0; k < 8; ++k) mask |= unsigned(mark_children(c.child(k))) << k;
    children(c) = u8(mask);
    return true;
}

colour_index::cube colour_index::cube::child(unsigned k) const {
    const unsigned half = 1u << (bits - 1);
    return {
        bits - 1,
        {corner[0] + half * (k >> 2), corner[1] + half * (k >> 1 & 1), corner[2] + half * (k & 1)},
        first + (k << 3 * (bits - 1))};
}

colour_index::half_errors::half_errors(const composite& target, const cube& parent) {
    const unsigned half = 1u << (parent.bits - 1);
    for (int c = 0; c < 3; ++c)
        for (unsigned h = 0; h < 2; ++h) {
            const unsigned lowest = parent.corner[c] + h * half;
            const int low = target.predicted(c, lowest) - target.observed[c];
            const int high = target.predicted(c, lowest + half - 1) - target.observed[c];
            const int gap = std::max(std::max(low, -high), 0);
            least[c][h] = gap * gap;
            same[c][h] = low == high;
        }
}

void colour_index::take(const cube& c, int error, std::size_t limit, equals& found) const {
    if (error < found.error) {
        found.error = error;
        found.too_many = false;
        found.places.clear();
    }
    const std::uint32_t* from = places_.get() + start_[c.first];
    const std::uint32_t* to = places_.get() + start_[c.first + (std::size_t(1) << 3 * c.bits)];
    found.too_many = found.places.size() + std::size_t(to - from) > limit;
    if (found.too_many)
        found.places.clear();
    else
        found.places.insert(found.places.end(), from, to);
}

void colour_index::descend(const composite& target, const cube& parent, std::size_t limit,
                           equals& found) const {
    const half_errors errors(target, parent);
    const auto can_add = [&](int error) {
        return error < found.error || (error == found.error && !found.too_many);
    };
    const unsigned occupied = children(parent);
    unsigned order[8];  // the best first
    int count = 0;
    for (unsigned k = 0; k < 8; ++k) {
        const int error = errors.of(k);
        if (!(occupied >> k & 1) || !can_add(error)) continue;
        int at = count++;
        for (; at > 0 && errors.of(order[at - 1]) > error; --at) order[at] = order[at - 1];
        order[at] = k;
    }
    for (int i = 0; i < count; ++i) {
        const unsigned k = order[i];
        if (!can_add(errors.of(k))) return;
        if (errors.is_exact(k))
            take(parent.child(k), errors.of(k), limit, found);
        else
            descend(target, parent.child(k), limit, found);
    }
}

void colour_index::find(const composite& target, std::size_t limit, equals& found) const {
    found.too_many = false;
    found.places.clear();
    if (children(whole)) descend(target, whole, limit, found);
}

}  // namespace color
