// An editor's session in six calls: a matte is opened, a soft stroke pulls it towards the subject,
// a second stroke undoes half of it, spilt background colour is pushed away from the subject's
// colour, and both are merged. Runs on a rendered scene, prints what each step changed and fails
// when one changed nothing.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "matting/color/fb_color.h"
#include "matting/color/improve_foreground.h"
#include "matting/edit/brush.h"
#include "matting/facade/dsc_matting.h"
#include "tools/scene/scene.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A round soft brush over the whole picture: 255 in its centre, 0 from `radius` pixels on.
Bytes dab(int w, int h, int cx, int cy, int radius) {
    Bytes brush(std::size_t(w) * std::size_t(h), 0);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
            const int left = radius * radius - d2;
            if (left > 0)
                brush[std::size_t(y) * std::size_t(w) + std::size_t(x)] =
                    static_cast<unsigned char>(255 * left / (radius * radius));
        }
    return brush;
}

void report(const char* step, const Bytes& before, const Bytes& after) {
    std::size_t changed = 0;
    for (std::size_t i = 0; i < before.size(); ++i) changed += before[i] != after[i];
    std::printf("%-28s changed %zu bytes\n", step, changed);
    if (changed == 0) std::exit(1);
}

}  // namespace

int main() {
    tools::SceneOptions options;
    options.width = 300;
    options.height = 400;
    const tools::Scene scene = tools::render_scene(options);
    const int w = options.width, h = options.height;
    const unsigned char* photo = scene.photo.pixels.data();

    // The matte (subject 255) and the subject's colour: the high side of the caller's alpha.
    Bytes matte(std::size_t(w) * std::size_t(h));
    DSCMatting matting(photo, w, h, 3 * w, scene.mask.pixels.data(), w, 256, 4, 1.0, 3, 5, 50, 1);
    if (!matting.MakeMatte(matte.data(), w, h, w, 3, 0)) return 1;
    Bytes colour(3 * matte.size());
    mat_estimate_fb_color(photo, w, h, 3 * w, matte.data(), w, nullptr, 0, colour.data(), 3 * w, 1,
                          253);
    const Bytes opened = matte;

    // One soft stroke towards the subject where hair flies. The map of applied weights starts empty
    // with each stroke and keeps its dabs from adding up.
    const Bytes brush = dab(w, h, 230, 230, 40);
    Bytes applied(matte.size(), 0);
    mat_set_brush(opened.data(), w, h, w, brush.data(), w, applied.data(), w, matte.data(), w, 255);
    report("stroke towards the subject", opened, matte);

    // One undo: a smaller brush takes its middle back towards the saved copy.
    const Bytes stroked = matte, eraser = dab(w, h, 230, 230, 20);
    std::fill(applied.begin(), applied.end(), static_cast<unsigned char>(0));
    mat_undo_brush(opened.data(), w, h, w, 1, eraser.data(), w, applied.data(), w, matte.data(), w,
                   true);
    report("undo in its middle", stroked, matte);

    // Spill: push the colour of what shines through away, here the background's beside the hair. A
    // fourth byte of 0 means away, above 128 towards.
    const unsigned char spill[4] = {colour[0], colour[1], colour[2], 0};
    Bytes improved(4 * matte.size(), 0);
    std::fill(applied.begin(), applied.end(), static_cast<unsigned char>(0));
    const Bytes untouched = improved;
    mat_improve_foreground(colour.data(), w, h, 3 * w, matte.data(), w, brush.data(), w,
                           applied.data(), w, improved.data(), 4 * w, spill, nullptr, 1);
    report("spill pushed away", untouched, improved);

    // Merge: the improved colour where the brush was, the estimated one elsewhere.
    const Bytes before_merge = improved;
    mat_merge_f_color(colour.data(), w, h, 3 * w, improved.data(), 4 * w);
    report("merged", before_merge, improved);
}
