// The out-of-focus background: gradients, foliage and discs of light.
//
// What is far out of focus has no detail, so it is painted once at a long side of at most 640 and
// magnified bilinearly, row by row. Points of light keep a crisp rim when defocused: their discs
// are drawn at full resolution, brighter at the rim, and cut by the lens barrel towards the corners
// as fast lenses do. Cost: one magnification plus the discs' area per row.
#include "tools/scene/parts.h"

namespace tools::parts {
namespace {

float screen(float below, float light) {
    return below + light * (1 - std::min(below, 255.f) * (1.f / 300));
}

}  // namespace

Background::Background(const View& view, const Palette& palette, unsigned seed) : view_(view) {
    int longer = std::max(view.width, view.height);
    float shrink = std::max(1.f, float(longer) / 640);
    soft_width_ = int(std::ceil(float(view.width) / shrink)) + 1;
    soft_height_ = int(std::ceil(float(view.height) / shrink)) + 1;
    paint_soft(seed, palette);
    paint_leaves(seed, palette);
    paint_glow(palette.glow);

    Random random(seed * 7919u + 11);
    Point cluster;
    float radius = 0;
    for (int i = 0; i < 330; ++i) {
        // Lights come in groups: through one gap in the leaves, along one street.
        if (i % 11 == 0) {
            cluster = {random.range(-0.05f, 1.05f), 0.66f * random.unit()};
            float near = random.unit();
            radius = mix(0.0045f, 0.026f, near * near) * float(longer);
        }
        Disc disc;
        disc.x = (cluster.x + 0.13f * random.bell()) * float(view.width);
        disc.y = (cluster.y + 0.11f * random.bell()) * float(view.height);
        disc.radius = radius * random.range(0.8f, 1.1f);
        disc.strength = palette.lamps * random.range(0.15f, 0.5f) * (i % 5 ? 1.f : 2.f);
        disc.colour = mix(palette.lamp_warm, palette.lamp_cool, random.unit() * random.unit());
        discs_.push_back(disc);
    }
}

// Three tones downwards with clouds of foliage over them.
void Background::paint_soft(unsigned seed, const Palette& palette) {
    soft_.resize(std::size_t(soft_width_) * std::size_t(soft_height_));
    float aspect = float(view_.width) / float(view_.height);
    for (int iy = 0; iy < soft_height_; ++iy)
        for (int ix = 0; ix < soft_width_; ++ix) {
            float v = float(iy) / float(soft_height_);
            float u = (float(ix) / float(soft_width_) - 0.5f) * aspect;
            Colour c = mix(palette.sky, palette.horizon, ramp(0, 0.55f, v));
            c = mix(c, palette.ground, ramp(0.62f, 0.8f, v + 0.03f * noise(u * 4, 0, seed)));
            float warp = fractal(u * 3, v * 3, 2, seed + 5);
            float leaves = fractal(u * 5 + warp, v * 5 - warp, 5, seed + 9);
            float edge = 0.3f + 0.25f * noise(v * 2.5f, u * 1.3f, seed + 3);
            float cloud =
                ramp(edge - 0.25f, edge + 0.15f, std::abs(u) + 0.6f * leaves) * ramp(0.9f, 0.6f, v);
            float light = ramp(-0.5f, 0.5f, leaves + 0.8f * fractal(u * 13, v * 13, 3, seed + 21));
            Colour leaf = light < 0.5f ? mix(palette.leaf_dark, palette.leaf_mid, 2 * light)
                                       : mix(palette.leaf_mid, palette.leaf_light, 2 * light - 1);
            c = mix(c, leaf, 0.9f * cloud);
            c = c * (1 + 0.12f * fractal(u * 20, v * 40, 2, seed + 40) * ramp(0.6f, 0.8f, v));
            soft_[std::size_t(iy) * std::size_t(soft_width_) + std::size_t(ix)] = c;
        }
}

// Leaves and twigs before and behind each other, every one spread into a faint disc.
void Background::paint_leaves(unsigned seed, const Palette& palette) {
    Random random(seed * 104729u + 3);
    float longer = float(std::max(soft_width_, soft_height_));
    for (int i = 0; i < 4000; ++i) {
        float u = random.unit(), v = 0.8f * random.unit();
        float side = std::abs(u - 0.5f);
        float grove = 0.9f * side + 0.6f * fractal(u * 4, v * 4, 3, seed + 60);
        float radius = longer * random.range(0.006f, 0.03f);
        float tone =
            clamp01(0.5f + 0.7f * fractal(u * 5, v * 5, 3, seed + 61) + 0.5f * random.bell());
        Colour leaf = tone < 0.5f ? mix(palette.leaf_dark, palette.leaf_mid, 2 * tone)
                                  : mix(palette.leaf_mid, palette.leaf_light, 2 * tone - 1);
        if (grove < 0.08f) continue;
        blot({u * float(soft_width_), v * float(soft_height_), radius,
              random.range(0.1f, 0.42f) * ramp(0.8f, 0.6f, v), leaf});
    }
}

void Background::blot(const Disc& disc) {
    int top = std::max(0, int(disc.y - disc.radius));
    int bottom = std::min(soft_height_ - 1, int(disc.y + disc.radius));
    int left = std::max(0, int(disc.x - disc.radius));
    int right = std::min(soft_width_ - 1, int(disc.x + disc.radius));
    for (int y = top; y <= bottom; ++y)
        for (int x = left; x <= right; ++x) {
            float dx = float(x) + 0.5f - disc.x, dy = float(y) + 0.5f - disc.y;
            float inside = 1 - (dx * dx + dy * dy) / (disc.radius * disc.radius);
            Colour& c = soft_[std::size_t(y) * std::size_t(soft_width_) + std::size_t(x)];
            c = mix(c, disc.colour, disc.strength * ramp(0, 1, inside));
        }
}

// The low sun, or a lit window, behind the subject.
void Background::paint_glow(float glow) {
    float aspect = float(view_.width) / float(view_.height);
    for (int y = 0; y < soft_height_; ++y)
        for (int x = 0; x < soft_width_; ++x) {
            float u = (float(x) / float(soft_width_) - 0.6f) * aspect;
            float v = float(y) / float(soft_height_) - 0.16f;
            Colour& c = soft_[std::size_t(y) * std::size_t(soft_width_) + std::size_t(x)];
            c = mix(c, rgb(255, 244, 222), glow / (1 + 16 * (u * u + v * v)));
        }
}

void Background::soft_row(int y, float* bgr) const {
    float sy = (float(y) + 0.5f) * float(soft_height_ - 1) / float(view_.height);
    int iy = std::min(int(sy), soft_height_ - 2);
    const Colour* above = &soft_[std::size_t(iy) * std::size_t(soft_width_)];
    const Colour* below = above + soft_width_;
    float step = float(soft_width_ - 1) / float(view_.width);
    for (int x = 0; x < view_.width; ++x) {
        float sx = (float(x) + 0.5f) * step;
        int ix = std::min(int(sx), soft_width_ - 2);
        float tx = sx - float(ix);
        Colour c = mix(mix(above[ix], above[ix + 1], tx), mix(below[ix], below[ix + 1], tx),
                       sy - float(iy));
        float* p = bgr + 3 * std::ptrdiff_t(x);
        p[0] = c.b;
        p[1] = c.g;
        p[2] = c.r;
    }
}

void Background::disc_row(const Disc& disc, int y, float* bgr) const {
    float dy = float(y) + 0.5f - disc.y;
    float rest = disc.radius * disc.radius - dy * dy;
    if (rest <= 0) return;
    float reach = std::sqrt(rest);
    // The barrel's opening, seen from the side: a second disc shifted towards the middle.
    float shift_x = 0.9f * disc.radius * (float(view_.width) * 0.5f - disc.x) / float(view_.width);
    float shift_y =
        0.9f * disc.radius * (float(view_.height) * 0.5f - disc.y) / float(view_.height);
    float soft = std::max(1.f, 0.06f * disc.radius);
    int first = std::max(0, int(std::max(0.f, disc.x - reach)));
    int last = std::min(view_.width - 1, int(std::max(-1.f, disc.x + reach)));
    for (int x = first; x <= last; ++x) {
        float dx = float(x) + 0.5f - disc.x;
        float inside = disc.radius - std::sqrt(dx * dx + dy * dy);
        float bx = dx - shift_x, by = dy - shift_y;
        float barrel = 1.12f * disc.radius - std::sqrt(bx * bx + by * by);
        float edge = clamp01(std::min(inside, barrel) / soft);
        float rim = 0.85f + 0.25f * clamp01(1 - inside / (0.25f * disc.radius));
        float light = disc.strength * edge * rim;
        float* p = bgr + 3 * std::ptrdiff_t(x);
        p[0] = screen(p[0], light * disc.colour.b);
        p[1] = screen(p[1], light * disc.colour.g);
        p[2] = screen(p[2], light * disc.colour.r);
    }
}

void Background::draw_row(int y, float* bgr) const {
    soft_row(y, bgr);
    for (const Disc& disc : discs_) disc_row(disc, y, bgr);
}

}  // namespace tools::parts
