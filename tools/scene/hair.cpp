// Hair as thousands of strands, drawn one over the other.
//
// Locks grow along a flow field: around the head from a parting, then down and with the wind. Each
// lock is a bundle of strands beside one guide curve, broad ones below and hairs of sub-pixel width
// above; lone hairs fly at the outline. A segment is swept along its longer axis one pixel at a
// time, and covers in each step exactly the pixels its width crosses, so that a hair of a tenth of
// a pixel leaves a tenth of its colour. Cost: the strands' length times their width in pixels.
#include "tools/scene/parts.h"

namespace tools::parts {
namespace {

constexpr int steps = 48;  // segments a strand
constexpr Point head_radius = {0.118f, 0.152f};
constexpr Point head_middle = {0.012f, -0.01f};
// In head radii from its middle.
constexpr Point crown = {0.12f, -0.95f};
constexpr Point to_light = {-0.55f, -0.83f};

constexpr float broad_width = 0.0034f;  // scene units
constexpr float hair_width = 0.00042f;  // about 0.08 mm where a head measures 25 cm
constexpr float widest_hair = 0.9f;     // pixels

Point on_head(Point p) {
    return {(p.x - head_middle.x) / head_radius.x, (p.y - head_middle.y) / head_radius.y};
}

// Direction in which hair at `p` lies: away from the crown, at the head's rim around it and down,
// then free; `wind` is the sideways pull on what hangs free.
Point flow(Point p, float wind) {
    Point q = on_head(p);
    float side = q.x < crown.x ? -1.f : 1.f;
    float far = std::sqrt(q.x * q.x + q.y * q.y);
    Point away = unit_length({0.75f * (q.x - crown.x), (q.y - crown.y) * 1.3f + 0.05f});
    Point rim = unit_length({-side * q.y, side * q.x + 0.1f});
    float at_rim = ramp(0.55f, 0.97f, far);
    Point around = away * (1 - at_rim) + rim * at_rim;
    around = unit_length({around.x * head_radius.x, around.y * head_radius.y});
    Point free = unit_length({wind, 1});
    // On the left the wind lifts the hair from cheek and neck.
    float early = 0.5f * ramp(0.1f, -0.7f, q.x) * std::min(wind, 1.f);
    float hanging =
        std::max(ramp(-0.1f - early, 0.75f - early, q.y), ramp(1.05f, 1.35f, std::abs(q.x)));
    return unit_length(around * (1 - hanging) + free * hanging);
}

// The band of light across a head's hair, and the glints where locks turn across the light.
float sheen(Point p, Point along) {
    Point q = on_head(p);
    float band = (q.y + 0.42f + 0.25f * q.x) * 4.5f;
    float head = ramp(1.1f, 0.2f, q.x) / (1 + band * band);
    float facing = along.x * to_light.x + along.y * to_light.y;
    float across = 1 - facing * facing;
    return 1.1f * head * head + across * across * across * across * ramp(-0.2f, 0.6f, q.y);
}

}  // namespace

struct Hair::Guide {
    Point at[steps + 1];  // scene units
    float light[steps + 1];
};

struct Hair::Style {
    float width;   // pixels at the root
    float offset;  // from the guide, scene units
    float gather;  // share of the offset that is lost towards the tip
    float frizz;   // scene units at the tip
    float tone;    // 0 dark to 1 light
    float length;  // share of the guide's steps
    unsigned id;
};

Hair::Guide Hair::grow(Point root, float length, float wind, float curl, Random& random) const {
    Guide guide;
    float phase = random.unit(), turns = random.range(1.6f, 3.2f);
    Point p = root;
    for (int i = 0; i <= steps; ++i) {
        float s = float(i) / float(steps);
        float gust = wind * s + 0.35f * noise(p.x * 6, p.y * 6, seed_ + 50);
        Point along = flow(p, gust);
        // Neighbours share the turbulence, which lets locks stay together.
        float swirl =
            curl * ramp(0.15f, 0.7f, s) *
            (1.1f * noise(p.x * 11, p.y * 11, seed_ + 60) + 0.75f * wave(phase + turns * s));
        along = unit_length(along + perpendicular(along) * swirl);
        guide.at[i] = p;
        guide.light[i] = sheen(p, along);
        p = p + along * (length / float(steps));
    }
    return guide;
}

void Hair::add_strand(const Guide& guide, const Style& style) {
    Strand strand = {vertices_.size(), 0, 1e9f, -1e9f};
    float lane = float(style.id % 4096u);
    for (int i = 0; i <= int(style.length * float(steps)); ++i) {
        float s = float(i) / (style.length * float(steps));
        Point here = guide.at[i];
        Point along = guide.at[std::min(i + 1, steps)] - guide.at[std::max(i - 1, 0)];
        float stray = style.frizz * s * noise(s * 5, lane * 1.7f, seed_ + 70);
        float aside =
            style.offset * (0.25f + 0.75f * ramp(0, 0.3f, s)) * (1 - style.gather * s * s);
        Point at = view_.pixel(here + perpendicular(unit_length(along)) * (aside + stray));

        float tone = style.tone + 0.16f * noise(s * 3, lane, seed_ + 80) + 0.15f * s;
        // Hair in the hollow between head and shoulders gets little light.
        float hollow = ramp(0.02f, 0.2f, here.y) * ramp(0.26f, 0.05f, std::abs(here.x - 0.04f));
        Colour c = tone < 0.5f ? mix(palette_.hair_dark, palette_.hair_mid, clamp01(2 * tone))
                               : mix(palette_.hair_mid, palette_.hair_light, clamp01(2 * tone - 1));
        float gloss = guide.light[i] * (0.6f + 0.5f * noise(lane * 2.3f, s * 2, seed_ + 90));
        c = mix(c * (1 - 0.35f * hollow), palette_.gloss,
                0.55f * clamp01(gloss) * clamp01(tone + 0.2f));

        float half = 0.5f * style.width * (1 - 0.95f * s * s) * (0.3f + 0.7f * ramp(0, 0.12f, s));
        vertices_.push_back({at.x, at.y, half, c});
        strand.y_min = std::min(strand.y_min, at.y - 2 * half - 1);
        strand.y_max = std::max(strand.y_max, at.y + 2 * half + 1);
    }
    strand.count = vertices_.size() - strand.first;
    strands_.push_back(strand);
}

void Hair::add_lock(Point root, Random& random) {
    float right = ramp(-0.06f, 0.12f, root.x);
    bool flying = random.unit() < 0.1f + 0.35f * right;
    float wind = flying ? view_.wind * random.range(0.8f, 2.6f)
                        : random.range(0.05f, 0.5f) + 0.8f * ramp(0.f, -0.07f, root.x);
    float length = random.range(0.3f, 0.5f) * (flying ? 0.7f + 0.25f * view_.wind : 1.f);
    Guide guide = grow(root, length, wind, random.range(0.3f, 0.9f), random);
    float spread = random.range(0.009f, 0.02f);
    // What grows higher on the head lies nearer to the eye and the light.
    float depth = ramp(0.1f, -0.15f, root.y);
    float tone = 0.1f + 0.4f * depth + 0.28f * random.bell();
    float thin = std::min(hair_width * view_.scale, widest_hair);
    for (int i = 0; i < 20; ++i) {
        float lane = random.bell();
        add_strand(guide, {broad_width * view_.scale * random.range(0.5f, 1.1f), spread * lane,
                           random.range(0.3f, 0.85f), 0.01f, tone - 0.3f * lane * lane,
                           random.range(0.55f, 0.95f), unsigned(random.next())});
    }
    for (int i = 0; i < 16; ++i)
        add_strand(guide, {thin * random.range(0.7f, 1.1f), spread * 1.4f * random.bell(),
                           random.range(0.f, 0.7f), random.range(0.005f, 0.03f),
                           tone + random.range(0.05f, 0.4f), random.range(0.75f, 1.f),
                           unsigned(random.next())});
}

void Hair::add_loose(Random& random) {
    Point q = {random.range(-1.f, 1.f), random.range(-1.f, 0.7f)};
    if (q.x * q.x + q.y * q.y > 1) q = q * 0.7f;
    Point root = {head_middle.x + head_radius.x * q.x, head_middle.y + head_radius.y * q.y};
    float right = ramp(-0.1f, 0.1f, root.x);
    float wind = random.range(-0.9f, 0.8f);
    wind += right * random.range(0.2f, 3.f);
    float length = random.range(0.12f, 0.5f), curl = random.range(0.3f, 1.3f);
    Guide guide = grow(root, length, wind * view_.wind, curl, random);
    float thin = std::min(hair_width * view_.scale, widest_hair);
    add_strand(guide,
               {thin * random.range(0.6f, 1.f), 0.03f * random.bell(), -0.6f,
                random.range(0.01f, 0.05f), random.range(0.4f, 1.f), 1.f, unsigned(random.next())});
}

Hair::Hair(const View& view, const Palette& palette, unsigned seed)
    : view_(view), palette_(palette), seed_(seed) {
    Random random(seed * 2654435761u + 77);
    std::vector<Point> roots;  // in head radii from its middle
    while (roots.size() < 320) {
        bool whorl = roots.size() % 5 < 2;
        Point q = whorl ? crown + Point{0.35f * random.bell(), 0.12f + 0.3f * random.bell()}
                        : Point{random.range(-1, 1), random.range(-1, 0.75f)};
        // The left cheek stays free.
        if (q.x * q.x + q.y * q.y > 0.95f || (q.y > 0.f && q.x < -0.45f + 0.5f * q.y)) continue;
        roots.push_back(q);
    }
    auto from_crown = [](Point q) {
        Point d = q - crown;
        return d.x * d.x + d.y * d.y;
    };
    std::stable_sort(roots.begin(), roots.end(),
                     [&](Point p, Point q) { return from_crown(p) > from_crown(q); });
    for (int i = 0; i < 250; ++i) add_loose(random);
    for (Point q : roots)
        add_lock({head_middle.x + q.x * head_radius.x, head_middle.y + q.y * head_radius.y},
                 random);
    for (int i = 0; i < 450; ++i) add_loose(random);
}

void Hair::draw_segment(Band& band, const Vertex& p, const Vertex& q) {
    float dx = q.x - p.x, dy = q.y - p.y;
    bool steep = std::abs(dy) >= std::abs(dx);
    float from = steep ? p.y : p.x, to = steep ? q.y : q.x;
    float length = to - from;
    if (length == 0) return;
    float slope = (steep ? dx : dy) / length, stretch = std::sqrt(1 + slope * slope);
    // Pixel centres in [low, high): neighbouring segments share none.
    int low_end = steep ? band.top : 0, high_end = steep ? band.top + band.rows : band.width;
    float low = std::ceil(std::min(from, to) - 0.5f), high = std::ceil(std::max(from, to) - 0.5f);
    int first = int(std::min(std::max(low, float(low_end)), float(high_end)));
    int last = int(std::min(std::max(high, float(low_end)), float(high_end)));
    int across_low = steep ? 0 : band.top;
    int across_high = steep ? band.width : band.top + band.rows;
    for (int i = first; i < last; ++i) {
        float t = (float(i) + 0.5f - from) / length;
        float middle = (steep ? p.x : p.y) + t * (steep ? dx : dy);
        float half = mix(p.half_width, q.half_width, t) * stretch;
        float left = std::max(middle - half, float(across_low));
        float right = std::min(middle + half, float(across_high));
        if (right <= left) continue;
        Colour c = mix(p.colour, q.colour, t);
        int end = std::min(int(right), across_high - 1);
        for (int j = int(left); j <= end; ++j) {
            float share = std::min(right, float(j + 1)) - std::max(left, float(j));
            band.cover(steep ? j : i, steep ? i : j, share, c);
        }
    }
}

void Hair::draw(Band& band) const {
    for (const Strand& strand : strands_) {
        if (strand.y_max < float(band.top) || strand.y_min > float(band.top + band.rows)) continue;
        const Vertex* v = &vertices_[strand.first];
        for (std::size_t i = 0; i + 1 < strand.count; ++i) draw_segment(band, v[i], v[i + 1]);
    }
}

}  // namespace tools::parts
