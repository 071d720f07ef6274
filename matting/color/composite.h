// The compositing equation in integers: what a high-side colour mixes to, and how far from what was
// observed.
#pragma once

#include <algorithm>

namespace color {

// A mixed pixel whose high-side colour is sought: alpha a, low-side colour L, observed colour.
struct composite {
    unsigned alpha;
    unsigned low_part[3];  // (255 - a) L
    int observed[3];

    composite() : alpha(0), low_part{0, 0, 0}, observed{-1, -1, -1} {}  // equals no pixel's
    composite(unsigned char a, const unsigned char* low, const unsigned char* colour) : alpha(a) {
        for (int c = 0; c < 3; ++c) {
            low_part[c] = (255u - a) * low[c];
            observed[c] = colour[c];
        }
    }

    bool operator==(const composite& o) const {
        return alpha == o.alpha && std::equal(low_part, low_part + 3, o.low_part) &&
               std::equal(observed, observed + 3, o.observed);
    }

    // ((255 - a) L + a H) / 255, truncated; grows with `high`.
    int predicted(int channel, unsigned high) const {
        return int((low_part[channel] + alpha * high) / 255u);
    }

    // Summed squared difference, at most 3 * 255^2.
    int error(const unsigned char* high) const {
        const int e0 = predicted(0, high[0]) - observed[0];
        const int e1 = predicted(1, high[1]) - observed[1];
        const int e2 = predicted(2, high[2]) - observed[2];
        return e0 * e0 + e1 * e1 + e2 * e2;
    }
};

}  // namespace color
