// Digests of what every stage makes of two rendered scenes: an optimisation must not change a byte,
// nor may another machine or compiler. The C library's powers and exponentials take part; what they
// end in are bytes, and none of these hangs on a last bit. The one exception is the matte, since
// the last bits of the sparse solve are the BLAS's: two machines write theirs to the folder that
// DSCM_MATTES names, and script/test-arm64 sees to it that they are at most 1 apart, in at most
// 0.1 % of the pixels.
#include "tests/support/digest.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "ff/components_color.h"
#include "ff/distance_field.h"
#include "ff/filters.h"
#include "ff/raster.h"
#include "matting/color/fb_color.h"
#include "matting/color/improve_foreground.h"
#include "matting/edit/brush.h"
#include "matting/edit/cleanup.h"
#include "matting/facade/dsc_matting.h"
#include "matting/geoseg/geoseg.h"
#include "matting/sampling/dsam.h"
#include "matting/sampling/usam.h"
#include "matting/solver/mat_system.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/trimap.h"
#include "tests/support/guarded_raster.h"
#include "tools/scene/scene.h"

namespace {

constexpr int w = 640, h = 481, pixels = w * h, work_w = 212, work_h = 160;

struct stages {
    std::map<std::string, Digest>& digests;
    const tools::Scene scene;
    const u8 *photo = scene.photo.row(0), *alpha = scene.alpha.row(0), *mask = scene.mask.row(0),
             *brush = scene.trimap.row(0);
    Map trimap = Map(pixels);

    void run() {
        for (const tools::Image* image :
             {&scene.photo, &scene.alpha, &scene.foreground, &scene.mask, &scene.trimap})
            note("scene", image->pixels);
        prepare_the_solve();
        run_toolkit();
        finish_the_matte();
    }

    // What bears the same name goes on where the last one ended.
    template <class T>
    void note(const std::string& stage, const std::vector<T>& values) {
        digests[stage].add(values);
    }

    void prepare_the_solve() {
        MakeTrimapFromSegRes(photo, w, h, 3 * w, mask, w, trimap.data(), w, 9, 1.0, 3, 5, 50, 2);
        note("trimap", trimap);
        std::vector<float> grid(mask, mask + pixels);
        DistanceTransform(grid.data(), w, h);
        note("distances", grid);
        Map work_photo(3 * work_w * work_h), work_trimap(work_w * work_h);
        ff::ipf_resize_nn(photo, w, h, 3 * w, 3, work_photo.data(), work_w, work_h, 3 * work_w, 3,
                          ff::ccn<3>());
        ff::ipf_resize_nn(trimap.data(), w, h, w, 1, work_trimap.data(), work_w, work_h, work_w, 1,
                          ff::ccn<1>());
        std::vector<int> index(2 * pixels, -1), nearest(pixels);
        std::vector<short> weights(pixels);
        Map up = trimap;
        for (const int mode : {2, 3}) {
            usam_calc_weights_8u_c3(photo, w, h, 3 * w, trimap.data(), w, work_photo.data(), work_w,
                                    work_h, 3 * work_w, index.data(), 2 * w, weights.data(), w,
                                    mode);
            usam_interpolate_c1(work_trimap.data(), work_w, work_h, index.data(), 2 * w,
                                weights.data(), w, up.data(), w, h, w);
            note("pairs", index), note("weights", weights), note("upsampled", up);
        }
        dsam_calc_index(photo, w, h, 3 * w, work_photo.data(), work_w, work_h, 3 * work_w,
                        nearest.data(), w);
        note("nearest", nearest);
        for (auto& byte : work_trimap) byte = byte == 128;
        mat_data system;
        mat_update(work_photo.data(), work_w, work_h, 3 * work_w, work_trimap.data(), work_w,
                   system, system, nullptr);
        const int stored = system.col_ptr[system.n] - 1;
        note("rows", std::vector<int>(system.row_ind, system.row_ind + stored));
        note("values", std::vector<double>(system.values, system.values + stored));
    }

    void run_toolkit() {
        Map bytes(pixels), up(12 * pixels), converted(3 * pixels);
        std::vector<int> ints(pixels);
        ff::ipf_min_filter(alpha, w, h, w, 1, bytes.data(), w, 7, 1, nullptr);
        note("minimum", bytes);
        ff::ipf_max_filter(alpha, w, h, w, 1, bytes.data(), w, 81, 1, nullptr);
        note("maximum", bytes);
        ff::ipf_mean_filter(alpha, w, h, w, 1, ints.data(), w, nullptr, 0, 31, 31, nullptr);
        note("mean", ints);
        ff::ipf_connected_component(alpha, w, h, w, ints.data(), w);
        note("labels", ints);
        ff::ipf_resize_bl(photo, w, h, 3 * w, 3, up.data(), 2 * w, 2 * h, 6 * w, 3, 3);
        note("bilinear", up);
        for (const auto convert :
             {ff::ipf_bgr2lab, ff::ipf_lab2bgr, ff::ipf_bgr2yuv, ff::ipf_yuv2bgr}) {
            for (std::size_t i = 0; i < converted.size(); i += 3) convert(photo + i, &converted[i]);
            note("colours", converted);
        }
        std::vector<unsigned> far(pixels);
        ff::dist_field* field = ff::ipf_create_distance_field_2d(w, h, 5);
        ff::ipf_distance_transform_2d(field, alpha, w, h, w, 255, far.data(), w, nullptr, 0);
        ff::ipf_release_distance_field(field);
        note("chamfer", far);
        std::vector<float> share(pixels);
        Map seeds = trimap;
        for (auto& byte : seeds) byte = byte == 128 ? 0 : byte ? 1 : 2;
        GeoSeg four;
        GeoSegN24 wide;
        four.SetImage(photo, w, h, 3 * w, 3), wide.SetImage(photo, w, h, 3 * w, 3, nullptr);
        four.GetProb(seeds.data(), w, share.data(), w);
        note("share-of-4", share);
        wide.GetProb(seeds.data(), w, share.data(), w, 3, nullptr);
        note("share-of-24", share);
    }

    void finish_the_matte() {
        Map low(3 * pixels), high(3 * pixels), cleaned(4 * pixels), applied(pixels), edited(pixels);
        mat_estimate_fb_color(photo, w, h, 3 * w, alpha, w, low.data(), 3 * w, high.data(), 3 * w,
                              1, 253);
        note("low", low), note("high", high);
        mat_improve_foreground(photo, w, h, 3 * w, alpha, w, brush, w, applied.data(), w,
                               cleaned.data(), 4 * w, photo, nullptr, 9);
        note("cleaned", cleaned);
        u8* const p = edited.data();
        mat_set_brush(alpha, w, h, w, mask, w, applied.data(), w, p, w, 90);
        mat_erode_brush(p, w, h, w, brush, w, p, w, 9, nullptr);
        mat_dilate_brush(p, w, h, w, brush, w, p, w, 5, nullptr);
        mat_smooth_brush(p, w, h, w, 1, p, w, 5, nullptr);
        note("brushes", edited);
        mat_smooth_boundary(alpha, w, h, w, p, w, 3);
        mat_dilate(p, w, h, w, p, w, 5);
        vm_erase_small_cc(p, w, h, w, 20, 1);
        note("cleanup", edited);
    }

    void write_mattes(const std::string& file) const {
        Map matte(pixels);
        for (const int smooth : {0, 3}) {
            DSCMatting(photo, w, h, 3 * w, mask, w, 320, 9, 1.0, 3, 5, 50, 2)
                .MakeMatte(matte.data(), w, h, w, smooth, 0);
            std::ofstream(file + std::to_string(smooth)) << std::string(matte.begin(), matte.end());
        }
    }
};

}  // namespace

TEST(Digests, every_stage_makes_the_same_bytes_as_ever) {
    std::map<std::string, Digest> digests;
    for (unsigned seed = 1; seed < 3; ++seed) {
        stages scene{digests, tools::render_scene({w, h, seed, tools::Framing(seed - 1)})};
        scene.run();
        if (const char* mattes = std::getenv("DSCM_MATTES"))
            scene.write_mattes(mattes + ("/scene-" + std::to_string(seed)) + "-smooth-");
    }
    std::ifstream file(DSCM_SOURCE "/tests/scene/digests.txt");
    std::size_t pinned = 0;
    std::string stage;
    for (std::uint64_t digest; file >> stage >> digest; ++pinned)
        EXPECT_EQ(digests[stage].value, digest) << stage;
    EXPECT_EQ(digests.size(), pinned);
}
