// Bytes a full-resolution pixel that the library holds, on top of the caller's buffers: at the peak
// of Init and of MakeMatte, and between calls. What SuperLU allocates by itself is not counted.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "matting/facade/dsc_matting.h"
#include "tools/scene/scene.h"

namespace {

std::size_t live = 0, peak = 0;

void* take(std::size_t size) {
    void* p = std::malloc(size);
    if (!p) throw std::bad_alloc();
    live += malloc_usable_size(p);
    peak = std::max(peak, live);
    return p;
}

void give(void* p) {
    if (p) live -= malloc_usable_size(p);
    std::free(p);
}

}  // namespace

void* operator new(std::size_t size) { return take(size); }
void* operator new[](std::size_t size) { return take(size); }
void operator delete(void* p) noexcept { give(p); }
void operator delete[](void* p) noexcept { give(p); }
void operator delete(void* p, std::size_t) noexcept { give(p); }
void operator delete[](void* p, std::size_t) noexcept { give(p); }

int main() {
    tools::SceneOptions options;
    options.width = 4000;
    options.height = 3000;
    const tools::Scene s = tools::render_scene(options);
    const int w = options.width, h = options.height;
    tools::Image out(w, h, 1);
    const std::size_t before = live;
    const auto per_pixel = [&](std::size_t bytes) {
        return double(bytes - before) / (double(w) * double(h));
    };
    for (const int keep : {0, 1}) {
        peak = live;
        DSCMatting matting(s.photo.pixels.data(), w, h, 3 * w, s.mask.pixels.data(), w, 512,
                           w / 125, 1.0, 3, 5, 50, w / 500);
        const double init = per_pixel(peak), between = per_pixel(live);
        peak = live;
        matting.MakeMatte(out.pixels.data(), w, h, w, 3, keep);
        std::fprintf(stderr,
                     "keep %d: Init %.1f, MakeMatte %.1f, between calls %.1f bytes a pixel\n", keep,
                     init, per_pixel(peak), between);
    }
}
