// The closed shapes of the subject: neck, clothes, head and the inner mass of hair.
//
// Each shape is an interval [left, right] per height, so its coverage of a pixel is the mean of
// eight sub-rows, each exact horizontally. Shading comes from the shape's own roundness, folds and
// weave from noise fields. Fine texture fades out where it would be finer than the pixels.
#include "tools/scene/parts.h"

namespace tools::parts {
namespace {

constexpr int sub_rows = 8;

struct Interval {
    float left = 1, right = -1;  // scene units; empty when right <= left
};

struct Knot {
    float y, width;
};

// Cubic through the knots, with slopes taken from the neighbours.
template <std::size_t N>
float profile(const Knot (&knots)[N], float y) {
    if (y <= knots[0].y) return knots[0].width;
    std::size_t i = 0;
    while (i + 2 < N && y > knots[i + 1].y) ++i;
    const Knot &p = knots[i], &q = knots[i + 1];
    const Knot &before = knots[i ? i - 1 : 0], &after = knots[std::min(i + 2, N - 1)];
    float h = q.y - p.y, t = std::min((y - p.y) / h, 1.f);
    float m0 = (q.width - before.width) / (q.y - before.y) * h;
    float m1 = (after.width - p.width) / (after.y - p.y) * h;
    float d = q.width - p.width;
    return p.width + t * (m0 + t * (3 * d - 2 * m0 - m1 + t * (m0 + m1 - 2 * d)));
}

Interval ellipse(float cx, float cy, float rx, float ry, float y) {
    float v = (y - cy) / ry;
    if (v * v >= 1) return {};
    float half = rx * std::sqrt(1 - v * v);
    return {cx - half, cx + half};
}

// Adds to `cover` (one float a pixel) the share of sub-row `y` that lies in the interval.
void add_interval(std::vector<float>& cover, const View& view, Interval in) {
    float left = std::max(view.centre_x + in.left * view.scale, 0.f);
    float right = std::min(view.centre_x + in.right * view.scale, float(view.width));
    if (right <= left) return;
    int first = int(left), last = std::min(int(right), view.width - 1);
    for (int x = first; x <= last; ++x) {
        float share = std::min(right, float(x + 1)) - std::max(left, float(x));
        cover[std::size_t(x)] += share * (1.f / sub_rows);
    }
}

template <class Outline, class Shade>
void draw_shape(Band& band, const View& view, Outline outline, Shade shade) {
    std::vector<float> cover(std::size_t(band.width));
    for (int y = band.top; y < band.top + band.rows; ++y) {
        std::fill(cover.begin(), cover.end(), 0.f);
        for (int sub = 0; sub < sub_rows; ++sub)
            add_interval(cover, view,
                         outline(view.y(float(y) + (float(sub) + 0.5f) / float(sub_rows))));
        for (int x = 0; x < band.width; ++x) {
            float c = cover[std::size_t(x)];
            // Eight full sub-rows may sum to a hair less than one.
            if (c > 0)
                band.cover(x, y, c > 0.9999f ? 1.f : c,
                           shade(view.x(float(x) + 0.5f), view.y(float(y) + 0.5f)));
        }
    }
}

// How much of a texture with the given period (scene units) the pixels can carry, 0..1.
float resolved(const View& view, float period) { return ramp(1.5f, 5.f, period * view.scale); }

constexpr Knot shoulder_knots[] = {
    {0.168f, 0.0f},  {0.176f, 0.062f}, {0.205f, 0.098f}, {0.235f, 0.165f}, {0.262f, 0.232f},
    {0.30f, 0.277f}, {0.37f, 0.301f},  {0.50f, 0.318f},  {0.75f, 0.336f},  {1.2f, 0.35f}};

Interval clothes_outline(float y) {
    // The left shoulder hangs a little lower than the right one; cloth is never quite straight.
    float left = profile(shoulder_knots, y - 0.012f) +
                 0.007f * fractal(y * 9, 1, 2, 71) * ramp(0.25f, 0.4f, y);
    float right =
        profile(shoulder_knots, y) + 0.007f * fractal(y * 8, 5, 2, 72) * ramp(0.25f, 0.4f, y);
    if (right <= 0 || y <= shoulder_knots[0].y) return {};
    return {-std::max(left, 0.f), right};
}

struct Cloth {
    const View& view;
    const Palette& palette;
    unsigned seed;

    // Height of the folds, in scene units.
    float fold(float x, float y) const {
        float bend = 0.5f * noise(x * 3, y * 3, seed + 1);
        float hang = noise(x * 10 + 3 * y + bend, y * 2.4f - x * 2 + bend, seed + 2);
        float pull = fractal(x * 5 - y * 7 + bend, y * 5 + x * 3 - bend, 3, seed + 3);
        float slack = 0.5f + 0.5f * noise(x * 4, y * 4, seed + 4);
        // Squared, the folds get broad valleys and narrow ridges.
        return (0.022f * hang * std::abs(hang) + 0.03f * pull) * slack;
    }

    // Sideways slope of the body's surface, -1..1: one roundness at the shoulders, lower down the
    // back between two arms.
    float turned(float x, float y) const {
        float half = std::max(profile(shoulder_knots, y), 0.05f);
        float whole = std::min(std::max(x / half, -1.f), 1.f);
        float crease = 0.205f + 0.03f * ramp(0.3f, 0.8f, y);
        float back = std::min(std::max(x / crease, -1.f), 1.f);
        float outer = std::max(half - crease, 0.02f);
        float arm = std::min(std::max((std::abs(x) - crease) / outer * 2 - 1, -1.f), 1.f);
        float beyond = ramp(crease - 0.004f, crease + 0.004f, std::abs(x));
        float parts = mix(0.8f * back * back * back, x < 0 ? -arm : arm, beyond);
        return mix(whole * whole * whole, parts, ramp(0.29f, 0.43f, y));
    }

    Colour operator()(float x, float y) const {
        constexpr float d = 0.004f;
        float here = fold(x, y);
        float slope_x = (fold(x + d, y) - here) / d, slope_y = (fold(x, y + d) - here) / d;
        float side = turned(x, y);
        // Light from the upper left and front.
        float light = 0.8f - 0.27f * side - 0.22f * side * side - 1.1f * slope_x - 0.75f * slope_y +
                      0.2f * ramp(0.36f, 0.2f, y);
        light *= 1 - 0.25f * ramp(0.3f, 0.9f, y);
        // The hair throws a shadow.
        float shadow_x = (x - 0.045f) / 0.2f, shadow_y = (y - 0.23f) / 0.22f;
        light *= 1 - 0.5f * ramp(1.f, 0.2f, shadow_x * shadow_x + shadow_y * shadow_y);
        light = std::max(light, 0.12f);
        return dyed(x, y + 0.8f * here, x / 0.3f) * light;
    }

    Colour dyed(float x, float y, float side) const {
        float line = (y + 0.05f * side * side + 0.012f * std::abs(x)) / 0.043f;
        float in_line = std::abs(line - std::floor(line) - 0.5f);
        float edge = 0.6f / (0.043f * view.scale) + 0.012f;  // about a pixel
        float dark = palette.stripes * ramp(0.14f + edge, 0.14f - edge, in_line);
        Colour c = mix(palette.cloth, palette.stripe, dark);
        float weave = 0.5f * resolved(view, 0.0022f) * noise(x * 450, y * 620, seed + 6) +
                      resolved(view, 0.006f) * fractal(x * 160, y * 190, 2, seed + 7);
        float rib = resolved(view, 0.005f) * wave(x * 200 + 0.6f * noise(x * 8, y * 90, seed + 8));
        return c * (1 + 0.1f * weave + 0.05f * rib + 0.05f * fractal(x * 9, y * 9, 2, seed + 9));
    }
};

struct Skin {
    const View& view;
    const Palette& palette;
    unsigned seed;

    // `round` runs from -1 at the shape's left edge to 1 at the right one.
    Colour operator()(float x, float y, float round, float shadow) const {
        float light = 0.95f - 0.22f * round - 0.3f * round * round * round * round;
        light *= 1 - 0.6f * shadow;
        float blotch = 0.035f * fractal(x * 22, y * 22, 3, seed) +
                       0.02f * resolved(view, 0.003f) * noise(x * 380, y * 380, seed + 2);
        Colour c = palette.skin * (light + blotch);
        // Light passes a little way through skin: shadows and edges turn warmer, not grey.
        float warm = 0.14f * (round * round + shadow);
        return {c.b * (1 - 1.3f * warm), c.g * (1 - 0.6f * warm), c.r * (1 + 0.25f * warm)};
    }
};

constexpr Knot cheek_knots[] = {{-0.16f, 0.02f},  {-0.10f, 0.07f},  {-0.04f, 0.092f},
                                {0.015f, 0.113f}, {0.055f, 0.118f}, {0.09f, 0.106f},
                                {0.115f, 0.084f}, {0.135f, 0.05f},  {0.143f, 0.02f}};

Interval head_outline(float y) {
    if (y < -0.14f || y > 0.143f) return {};
    return {-profile(cheek_knots, y), 0.9f * profile(cheek_knots, y)};
}

Interval neck_outline(float y) {
    if (y < 0.03f || y > 0.26f) return {};
    float spread = 0.05f * ramp(0.13f, 0.24f, y) * ramp(0.1f, 0.26f, y);
    return {-0.058f - spread, 0.068f + spread};
}

// The part of the hair nothing shines through; the strands make its outline.
Interval hair_mass_outline(float y) {
    Interval in = ellipse(0.012f, -0.012f, 0.108f, 0.148f, y);
    constexpr Knot left[] = {{0, -0.07f}, {0.05f, -0.01f}, {0.14f, 0.01f}, {0.27f, 0.04f}};
    constexpr Knot right[] = {{0, 0.118f}, {0.08f, 0.122f}, {0.18f, 0.12f}, {0.27f, 0.07f}};
    if (y < 0 || y > 0.27f) return in;
    return {profile(left, y), profile(right, y)};
}

}  // namespace

void draw_figure(Band& band, const View& view, const Palette& palette, unsigned seed) {
    Skin skin{view, palette, seed + 100};
    draw_shape(band, view, neck_outline, [&](float x, float y) {
        float shadow = std::max(ramp(0.2f, 0.1f, y), ramp(-0.02f, 0.05f, x));
        return skin(x, y, (x - 0.005f) / 0.075f, shadow);
    });
    draw_shape(band, view, clothes_outline, Cloth{view, palette, seed + 200});
    draw_shape(band, view, head_outline, [&](float x, float y) {
        float shadow = std::max(ramp(-0.085f, -0.03f, x), 0.7f * ramp(0.08f, 0.14f, y));
        return skin(x, y, x / 0.125f, shadow);
    });
    draw_shape(band, view, hair_mass_outline, [&](float x, float y) {
        float tone = 0.15f + 0.5f * ramp(-0.08f, -0.14f, y);
        return mix(palette.hair_dark, palette.hair_mid, tone + 0.12f * noise(x * 90, y * 9, seed));
    });
}

}  // namespace tools::parts
