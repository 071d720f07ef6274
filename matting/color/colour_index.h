// All high-side pixels of a level by their colour: what error is the least at all, and which pixels
// have it.
#pragma once

#include <array>
#include <climits>
#include <cstdint>
#include <vector>

#include "ff/scratch.h"
#include "matting/color/composite.h"
#include "matting/color/level_data.h"

namespace color {

// 64 MB, and 4 bytes for every high-side pixel.
class colour_index {
  public:
    explicit colour_index(const _LevelData& level);

    struct equals {
        int error;
        bool too_many = false;              // then `places` is empty
        std::vector<std::uint32_t> places;  // row * width + column
    };

    // Lowers found.error, which some pixel is known to have, to the smallest of all high-side
    // pixels, and lists those that have it unless they are more than `limit`.
    void find(const composite& target, std::size_t limit, equals& found) const;

  private:
    // A cube of colours, 1 << bits to a side; `first` is the code of its lowest corner.
    struct cube {
        int bits;
        unsigned corner[3];
        std::uint32_t first;

        cube child(unsigned k) const;
    };
    // How far either half of a cube stays off in each channel: squared, and whether all of a half
    // is off by the same.
    struct half_errors {
        int least[3][2];
        bool same[3][2];

        half_errors(const composite& target, const cube& parent);
        int of(unsigned k) const {
            return least[0][k >> 2] + least[1][k >> 1 & 1] + least[2][k & 1];
        }
        bool is_exact(unsigned k) const {
            return same[0][k >> 2] && same[1][k >> 1 & 1] && same[2][k & 1];
        }
    };

    static constexpr cube whole{8, {0, 0, 0}, 0};

    // Which of the eight children hold pixels, one bit each.
    u8& children(const cube& c) {
        return children_[8 - c.bits][std::size_t(c.first >> 3 * c.bits)];
    }
    u8 children(const cube& c) const {
        return children_[8 - c.bits][std::size_t(c.first >> 3 * c.bits)];
    }
    bool mark_children(const cube& c);
    void descend(const composite& target, const cube& parent, std::size_t limit,
                 equals& found) const;
    void take(const cube& c, int error, std::size_t limit, equals& found) const;

    // Colours are numbered along a Morton curve, so that the pixels of a cube are consecutive:
    // places_[start_[code]] .. places_[start_[code + 1] - 1] have one colour.
    ff::scratch<std::uint32_t> start_, places_;
    std::array<ff::scratch<u8>, 8> children_;
};

}  // namespace color
