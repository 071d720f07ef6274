// Digests of what every stage makes of a rendered scene: an optimisation must not change a byte,
// nor may another machine. Left out are the sparse solve, whose last bits are the BLAS's, and the
// boundary smoothing, whose powf is the C library's.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ff/components_color.h"
#include "ff/filters.h"
#include "ff/raster.h"
#include "matting/sampling/usam.h"
#include "matting/solver/mat_system.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/trimap.h"
#include "tools/scene/scene.h"

namespace {

using tools::Image;

struct stages {
    static constexpr int w = 640, h = 481, work_w = 212, work_h = 160;
    tools::Scene scene;
    std::map<std::string, std::uint64_t> digests;
    Image trimap{w, h, 1}, work_photo{work_w, work_h, 3}, work_trimap{work_w, work_h, 1};
    const unsigned char* photo;

    stages() {
        tools::SceneOptions options;
        options.width = w;
        options.height = h;
        scene = tools::render_scene(options);
        photo = scene.photo.pixels.data();
        make_trimap();
        make_tables();
        assemble();
        run_toolkit();
    }

    // FNV-1a.
    template <class T>
    void note(const std::string& stage, const std::vector<T>& values) {
        std::uint64_t hash = 14695981039346656037u;
        const auto* bytes = reinterpret_cast<const unsigned char*>(values.data());
        for (std::size_t i = 0; i < values.size() * sizeof(T); ++i)
            hash = (hash ^ bytes[i]) * 1099511628211u;
        digests[stage] = hash;
    }

    void make_trimap() {
        MakeTrimapFromSegRes(photo, w, h, 3 * w, scene.mask.pixels.data(), w, trimap.pixels.data(),
                             w, 9, 1.0, 3, 5, 50, 2);
        note("trimap", trimap.pixels);
        std::vector<float> grid;
        for (const auto byte : scene.mask.pixels) grid.push_back(byte ? 1e20f : 0.f);
        DistanceTransform(grid.data(), w, h);
        note("distances", grid);
    }

    void make_tables() {
        ff::ipf_resize_nn(photo, w, h, 3 * w, 3, work_photo.pixels.data(), work_w, work_h,
                          3 * work_w, 3, ff::ccn<3>());
        ff::ipf_resize_nn(trimap.pixels.data(), w, h, w, 1, work_trimap.pixels.data(), work_w,
                          work_h, work_w, 1, ff::ccn<1>());
        for (const int mode : {2, 3}) {
            std::vector<int> index(2 * trimap.pixels.size(), -1);
            std::vector<short> weights(trimap.pixels.size(), 0);
            usam_calc_weights_8u_c3(photo, w, h, 3 * w, trimap.pixels.data(), w,
                                    work_photo.pixels.data(), work_w, work_h, 3 * work_w,
                                    index.data(), 2 * w, weights.data(), w, mode);
            Image up = trimap;
            usam_interpolate_c1(work_trimap.pixels.data(), work_w, work_h, index.data(), 2 * w,
                                weights.data(), w, up.pixels.data(), w, h, w);
            note("pairs " + std::to_string(mode), index);
            note("weights " + std::to_string(mode), weights);
            note("upsampled " + std::to_string(mode), up.pixels);
        }
    }

    void assemble() {
        Image unknown = work_trimap;
        for (auto& byte : unknown.pixels) byte = byte == 128;
        mat_data system;
        mat_update(work_photo.pixels.data(), work_w, work_h, 3 * work_w, unknown.pixels.data(),
                   work_w, system, system, nullptr);
        const int stored = system.col_ptr[system.n] - 1;
        note("rows", std::vector<int>(system.row_ind, system.row_ind + stored));
        note("values", std::vector<double>(system.values, system.values + stored));
    }

    void run_toolkit() {
        const unsigned char* alpha = scene.alpha.pixels.data();
        Image bytes(w, h, 1), up(2 * w, 2 * h, 3);
        std::vector<int> ints(bytes.pixels.size());
        ff::ipf_min_filter(alpha, w, h, w, 1, bytes.pixels.data(), w, 7, 1, nullptr);
        note("minimum", bytes.pixels);
        ff::ipf_max_filter(alpha, w, h, w, 1, bytes.pixels.data(), w, 81, 1, nullptr);
        note("maximum", bytes.pixels);
        ff::ipf_mean_filter(alpha, w, h, w, 1, ints.data(), w, nullptr, 0, 31, 31, nullptr);
        note("mean", ints);
        ff::ipf_connected_component(alpha, w, h, w, ints.data(), w);
        note("labels", ints);
        ff::ipf_resize_bl(photo, w, h, 3 * w, 3, up.pixels.data(), 2 * w, 2 * h, 6 * w, 3, 3);
        note("bilinear", up.pixels);
    }
};

}  // namespace

TEST(Digests, every_stage_makes_the_same_bytes_as_ever) {
    const std::map<std::string, std::uint64_t> pinned{
        {"bilinear", 18388282894033172500u},   {"distances", 8435835749225866688u},
        {"labels", 17909657299457362247u},     {"maximum", 17973126022380345755u},
        {"mean", 15984800871222174863u},       {"minimum", 12552454063899439161u},
        {"pairs 2", 5796332180088722958u},     {"pairs 3", 12838846555825232792u},
        {"rows", 12547701129030590027u},       {"trimap", 14832864873220982796u},
        {"upsampled 2", 3481331053268124301u}, {"upsampled 3", 2853248925189247782u},
        {"values", 10217494731274427455u},     {"weights 2", 10214989274989198959u},
        {"weights 3", 15961335952912390419u}};
    EXPECT_EQ(stages().digests, pinned);
}
