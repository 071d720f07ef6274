// The parts a scene is put together from: where things are, how they are coloured, and the band of
// rows they are drawn into.
//
// Scene units: the origin is the middle of the head, y grows downwards, and the head is about 0.3
// high whatever the picture's size. Pixel centres lie at half pixels.
#pragma once

#include <cstddef>
#include <vector>

#include "tools/scene/maths.h"
#include "tools/scene/scene.h"

namespace tools::parts {

struct View {
    int width = 0, height = 0;         // pixels
    float scale = 1;                   // pixels per scene unit
    float centre_x = 0, centre_y = 0;  // the origin, in pixels
    float wind = 1;                    // how strongly it blows, about 1 to 2

    float x(float px) const { return (px - centre_x) / scale; }
    float y(float py) const { return (py - centre_y) / scale; }
    Point pixel(Point p) const { return {centre_x + p.x * scale, centre_y + p.y * scale}; }
};

struct Palette {
    Colour hair_dark, hair_mid, hair_light, gloss;
    Colour skin, cloth, stripe;
    Colour sky, horizon, ground;             // the background's three tones from the top down
    Colour leaf_dark, leaf_mid, leaf_light;  // blurred shapes
    Colour lamp_warm, lamp_cool;             // points of light, spread into discs
    float stripes = 0;                       // strength of the cloth's stripes, 0..1
    float glow = 0;                          // light behind the subject, 0..1
    float lamps = 1;                         // strength of the points of light
};

const Palette& palette_of(unsigned seed);

// Rows [top, top + rows) of the subject: B, G, R times alpha and alpha (0..1), 4 floats a pixel.
struct Band {
    int width, top, rows;
    std::vector<float> pixels;

    Band(int w, int first, int count)
        : width(w), top(first), rows(count), pixels(std::size_t(w) * std::size_t(count) * 4) {}

    float* at(int x, int y) {
        return &pixels[(std::size_t(y - top) * std::size_t(width) + std::size_t(x)) * 4];
    }
    // Lays `colour` over what is there, covering the share `c` of pixel (x, y) of the picture.
    void cover(int x, int y, float c, Colour colour) {
        float* p = at(x, y);
        p[0] += c * (colour.b - p[0]);
        p[1] += c * (colour.g - p[1]);
        p[2] += c * (colour.r - p[2]);
        p[3] += c * (1 - p[3]);
    }
};

// Head, neck, clothes and the closed mass of hair, all without loose strands.
void draw_figure(Band& band, const View& view, const Palette& palette, unsigned seed);

// Locks upon the head and strands at its outline.
class Hair {
  public:
    Hair(const View& view, const Palette& palette, unsigned seed);
    void draw(Band& band) const;

  private:
    struct Vertex {
        float x, y, half_width;  // pixels
        Colour colour;
    };
    struct Strand {
        std::size_t first, count;  // of vertices_
        float y_min, y_max;        // pixels, its own width included
    };
    struct Guide;
    struct Style;

    Guide grow(Point root, float length, float wind, float curl, Random& random) const;
    void add_lock(Point root, Random& random);
    void add_loose(Random& random);
    void add_strand(const Guide& guide, const Style& style);
    static void draw_segment(Band& band, const Vertex& p, const Vertex& q);

    View view_;
    Palette palette_;
    unsigned seed_;
    std::vector<Vertex> vertices_;
    std::vector<Strand> strands_;
};

class Background {
  public:
    Background(const View& view, const Palette& palette, unsigned seed);
    // Writes row y of the picture as `width` B,G,R triples of floats.
    void draw_row(int y, float* bgr) const;

  private:
    struct Disc {
        float x, y, radius;  // pixels
        float strength;      // 0..1
        Colour colour;
    };
    void paint_soft(unsigned seed, const Palette& palette);
    void paint_leaves(unsigned seed, const Palette& palette);
    void paint_glow(float glow);
    void blot(const Disc& disc);
    void soft_row(int y, float* bgr) const;
    void disc_row(const Disc& disc, int y, float* bgr) const;

    View view_;
    int soft_width_, soft_height_;
    std::vector<Colour> soft_;  // what is far out of focus, at low resolution
    std::vector<Disc> discs_;
};

}  // namespace tools::parts
