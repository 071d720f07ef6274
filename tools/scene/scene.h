// A portrait drawn from numbers alone, with the matte that a camera could never know.
//
// A long-haired person, turned away, stands before an out-of-focus background. Every pixel of the
// photo is a*F + (1-a)*B with alpha a, subject colour F and background B known; sensor noise is
// added after that. The same options give the same bytes on every machine.
#pragma once

#include "tools/picture.h"

namespace tools {

enum class Framing {
    centred,   // room at the top, left and right; the body leaves through the bottom
    touching,  // close up: the body crosses the left and bottom border, hair the right one
};

constexpr int max_scene_side = 32768;  // pixels

struct SceneOptions {
    int width = 1200;   // 1 to max_scene_side
    int height = 1600;  // 1 to max_scene_side
    unsigned seed = 1;  // another person, light and place; seeds 3 apart share the kind of place
    Framing framing = Framing::centred;
    bool hair = true;              // false leaves out every strand that is not within the outline
    float noise = 2.5f;            // standard deviation at mid grey, in levels of 255; 0 for none
    bool keep_background = false;  // fill Scene::background
};

// All pictures have the size asked for.
struct Scene {
    Image photo;       // B,G,R
    Image alpha;       // grey; caller convention: subject 255, surroundings 0
    Image foreground;  // B,G,R; subject colour before mixing, smoothly continued where alpha is 0
    Image background;  // B,G,R; empty unless asked for
    Image mask;        // 0 or 255: a phone's segmentation, smooth and missing most loose hair
    Image trimap;      // 0, 255 where alpha is; 128 at and a few pixels around fractional alpha
};

// Needs 9 bytes a pixel for the result (12 with its background) and some 30 MB beside it. Throws
// std::invalid_argument when a side is out of range or the noise is negative or not finite.
Scene render_scene(const SceneOptions& options);

// Alpha and mask as above, at any resolution: what a low-resolution segmenter makes of a matte.
Image coarse_mask(const Image& alpha, unsigned seed);

// The caller's trimap of a true matte, unknown within `radius` pixels (at most 80) of any alpha
// other than 0 and 255.
Image trimap_of(const Image& alpha, int radius);

}  // namespace tools
