// Measures the settings of `matte` against true mattes: defaults coarse|fine OUT.md [PHOTOS]
//
// For every set with a truth (rendered scenes of three seeds, two framings and two sizes, and the
// composite among the photographs where they are present) the matte is made from the set's coarse
// segmentation, for every combination of the settings below, and scored over the whole picture:
// SAD = sum |difference| / 255 / 1000. A set's SAD is divided by that of its segmentation itself,
// so that sets weigh alike; the table gives the mean of these ratios over the sets, best first, and
// for the best settings each set's own SAD. Bands are given as fractions of the longer side.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "matting/facade/dsc_matting.h"
#include "tools/image/image.h"
#include "tools/scene/scene.h"

namespace {

using tools::Image;

struct set {
    std::string name;
    Image photo, mask, truth;
};

struct settings {
    int max_size;
    double max_band, min_band;  // of the longer side
    double band_scale;
    int low_contrast, high_contrast;
    int smooth;
};

double sad(const Image& a, const Image& b) {
    long long sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) sum += std::abs(a.pixels[i] - b.pixels[i]);
    return double(sum) / 255.0 / 1000.0;
}

std::vector<set> rendered_sets() {
    std::vector<set> sets;
    for (int seed = 1; seed <= 3; ++seed)
        for (const bool large : {false, true}) {
            tools::SceneOptions options;
            options.width = large ? 2000 : 900;
            options.height = large ? 2600 : 1200;
            options.seed = unsigned(seed);
            options.framing = large ? tools::Framing::touching : tools::Framing::centred;
            tools::Scene s = tools::render_scene(options);
            sets.push_back({std::string("scene ") + std::to_string(seed) +
                                (large ? ", 5 MP, touching" : ", 1 MP"),
                            std::move(s.photo), std::move(s.mask), std::move(s.alpha)});
        }
    return sets;
}

void add_composite(const std::string& photos, std::vector<set>& sets) {
    const std::string folder = photos + "/composite-hair/";
    try {
        set s{"composite-hair", tools::read_colour(folder + "image.png"),
              tools::read_grey(folder + "seg.png"), tools::read_grey(folder + "alpha.png")};
        for (auto& byte : s.mask.pixels) byte = byte >= 128 ? 255 : 0;
        sets.push_back(std::move(s));
    } catch (const tools::ImageError& e) {
        std::fprintf(stderr, "left out: %s\n", e.what());
    }
}

double score(const set& s, const settings& v) {
    const int side = std::max(s.photo.width, s.photo.height);
    const auto pixels = [=](double fraction) { return int(fraction * side + 0.5); };
    DSCMatting matting(s.photo.pixels.data(), s.photo.width, s.photo.height, s.photo.stride(),
                       s.mask.pixels.data(), s.mask.stride(), v.max_size, pixels(v.max_band),
                       v.band_scale, 3, static_cast<unsigned char>(v.low_contrast),
                       static_cast<unsigned char>(v.high_contrast), pixels(v.min_band));
    Image matte(s.photo.width, s.photo.height, 1);
    matting.MakeMatte(matte.pixels.data(), matte.width, matte.height, matte.stride(), v.smooth, 0);
    return sad(matte, s.truth);
}

std::vector<settings> grid(bool fine) {
    const std::vector<int> max_sizes =
        fine ? std::vector<int>{256, 320, 512} : std::vector<int>{256, 384, 512, 768, 1024};
    const std::vector<double> max_bands = fine ? std::vector<double>{0.004, 0.006, 0.008, 0.011}
                                               : std::vector<double>{0.008, 0.015, 0.025};
    const std::vector<double> mins_of_max =
        fine ? std::vector<double>{0.25} : std::vector<double>{0.25, 1.0};
    const std::vector<int> smooths = fine ? std::vector<int>{3, 5, 9} : std::vector<int>{0, 3};
    std::vector<settings> all;
    for (const int max_size : max_sizes)
        for (const double max_band : max_bands)
            for (const double min_of_max : mins_of_max)
                for (const int smooth : smooths)
                    all.push_back({max_size, max_band, max_band * min_of_max, 1.0, 5, 50, smooth});
    return all;
}

struct row {
    settings v;
    std::vector<double> sads;
    double mean_ratio;
};

void write_table(const char* path, const std::vector<set>& sets, const std::vector<double>& of_mask,
                 const std::vector<row>& rows) {
    std::FILE* out = std::fopen(path, "w");
    if (!out) {
        std::fprintf(stderr, "%s: cannot be written\n", path);
        std::exit(1);
    }
    std::fprintf(out, "| max_size | max_band | min_band | smooth | mean ratio |");
    for (const set& s : sets) std::fprintf(out, " %s |", s.name.c_str());
    std::fprintf(out, "\n|---|---|---|---|---|");
    for (std::size_t i = 0; i < sets.size(); ++i) std::fprintf(out, "---|");
    std::fprintf(out, "\n| the segmentation | | | | 1 |");
    for (const double m : of_mask) std::fprintf(out, " %.2f |", m);
    for (const row& r : rows) {
        std::fprintf(out, "\n| %d | %.4f | %.4f | %d | %.4f |", r.v.max_size, r.v.max_band,
                     r.v.min_band, r.v.smooth, r.mean_ratio);
        for (const double s : r.sads) std::fprintf(out, " %.2f |", s);
    }
    std::fprintf(out, "\n");
    std::fclose(out);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string extent = argc > 2 ? argv[1] : "";
    if (extent != "coarse" && extent != "fine") {
        std::fprintf(stderr, "usage: %s coarse|fine OUT.md [PHOTOS]\n", argv[0]);
        return 2;
    }
    if (!std::freopen("/dev/null", "w", stdout)) return 1;  // the solver's chatter
    std::vector<set> sets = rendered_sets();
    if (argc > 3) add_composite(argv[3], sets);
    std::vector<double> of_mask;
    for (const set& s : sets) of_mask.push_back(sad(s.mask, s.truth));

    std::vector<row> rows;
    const std::vector<settings> all = grid(extent == "fine");
    for (const settings& v : all) {
        row r{v, {}, 0.0};
        for (std::size_t i = 0; i < sets.size(); ++i) {
            r.sads.push_back(score(sets[i], v));
            r.mean_ratio += r.sads.back() / of_mask[i] / double(sets.size());
        }
        rows.push_back(std::move(r));
        std::fprintf(stderr, "\r%zu of %zu ", rows.size(), all.size());
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const row& a, const row& b) { return a.mean_ratio < b.mean_ratio; });
    write_table(argv[2], sets, of_mask, rows);
}
