// Times each stage of a long Init and MakeMatte on a rendered 12-megapixel scene (DSCM_BENCH_SIZE
// = WIDTHxHEIGHT for another size), then the whole road, with the share of the sparse solver and
// the peak of memory. Run with --benchmark_repetitions=5 and compare the smallest figures of one
// run.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <vector>

#include "bench/solver_clock.h"
#include "ff/components_color.h"
#include "ff/filters.h"
#include "ff/raster.h"
#include "matting/color/fb_color.h"
#include "matting/edit/cleanup.h"
#include "matting/facade/dsc_matting.h"
#include "matting/sampling/usam.h"
#include "matting/solver/mat_solve.h"
#include "matting/solver/mat_system.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/trimap.h"
#include "tools/scene/scene.h"

namespace {

using tools::Image;

constexpr int max_size = 512, max_band = 40, min_band = 10, smooth = 3;

// The scene and what each stage gets from the stages before it.
struct road {
    tools::Scene scene;
    int w, h, work_w, work_h;
    Image trimap, work_photo, work_trimap, unknown, matte;
    std::vector<int> index;
    std::vector<short> weights;

    road() {
        tools::SceneOptions options;
        options.width = 4000;
        options.height = 3000;
        if (const char* size = std::getenv("DSCM_BENCH_SIZE"))
            std::sscanf(size, "%dx%d", &options.width, &options.height);
        scene = tools::render_scene(options);
        w = options.width, h = options.height;
        const double s = std::min(1.0, double(max_size) / std::max(w, h));
        work_w = int(s * w + 0.5) & ~3, work_h = int(s * h + 0.5);
        trimap = Image(w, h, 1);
        make_trimap();
        InvertMatte(trimap.pixels.data(), w, h, w);
        work_photo = Image(work_w, work_h, 3);
        work_trimap = Image(work_w, work_h, 1);
        ff::ipf_resize_nn(scene.photo.pixels.data(), w, h, 3 * w, 3, work_photo.pixels.data(),
                          work_w, work_h, 3 * work_w, 3, ff::ccn<3>());
        ff::ipf_resize_nn(trimap.pixels.data(), w, h, w, 1, work_trimap.pixels.data(), work_w,
                          work_h, work_w, 1, ff::ccn<1>());
        unknown = work_trimap;
        for (auto& byte : unknown.pixels) byte = byte == 128;
        index.assign(2 * std::size_t(w) * std::size_t(h), -1);
        weights.resize(std::size_t(w) * std::size_t(h));
        calc_weights();
        matte = scene.alpha;
    }

    void make_trimap() {
        MakeTrimapFromSegRes(scene.photo.pixels.data(), w, h, 3 * w, scene.mask.pixels.data(), w,
                             trimap.pixels.data(), w, max_band, 1.0, 3, 5, 50, min_band);
    }
    void calc_weights() {
        usam_calc_weights_8u_c3(scene.photo.pixels.data(), w, h, 3 * w, trimap.pixels.data(), w,
                                128, work_photo.pixels.data(), work_w, work_h, 3 * work_w,
                                index.data(), 2 * w, weights.data(), w, 3);
    }
    void update(mat_data& system) {
        mat_update(work_photo.pixels.data(), work_w, work_h, 3 * work_w, unknown.pixels.data(),
                   work_w, system, system, nullptr);
    }
};

road& the_road() {
    static road r;
    return r;
}

void per_pixel(benchmark::State& state) {
    state.counters["s/pixel"] = benchmark::Counter(
        double(the_road().w) * the_road().h,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void distance(benchmark::State& state) {
    road& r = the_road();
    for (auto _ : state) {
        const std::unique_ptr<float[]> grid(
            DPLMatting_MakeDTInput(r.scene.mask.pixels.data(), r.w, r.h, r.w));
        DistanceTransform(grid.get(), r.w, r.h);
        benchmark::DoNotOptimize(grid.get());
    }
    per_pixel(state);
}
BENCHMARK(distance)->Unit(benchmark::kMillisecond);

void label(benchmark::State& state) {
    road& r = the_road();
    std::vector<int> labels(r.scene.mask.pixels.size());
    for (auto _ : state)
        benchmark::DoNotOptimize(ff::ipf_connected_component(r.scene.mask.pixels.data(), r.w, r.h,
                                                             r.w, labels.data(), r.w));
    per_pixel(state);
}
BENCHMARK(label)->Unit(benchmark::kMillisecond);

void trimap(benchmark::State& state) {
    for (auto _ : state) the_road().make_trimap();
    InvertMatte(the_road().trimap.pixels.data(), the_road().w, the_road().h, the_road().w);
    per_pixel(state);
}
BENCHMARK(trimap)->Unit(benchmark::kMillisecond);

void upsampling_tables(benchmark::State& state) {
    for (auto _ : state) the_road().calc_weights();
    per_pixel(state);
}
BENCHMARK(upsampling_tables)->Unit(benchmark::kMillisecond);

void assemble(benchmark::State& state) {
    road& r = the_road();
    mat_data system;
    for (auto _ : state) {
        system.release();
        r.update(system);
    }
    state.counters["unknowns"] = system.n;
    state.counters["s/unknown"] = benchmark::Counter(
        system.n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(assemble)->Unit(benchmark::kMillisecond);

// A mask on 1024 x 768 with a tenth of the pixels unknown, and one that differs in a tenth of it:
// blobs of 8 x 8, or the band of 41 pixels along an edge (a circle), an eighth of which is
// narrower.
constexpr int mask_w = 1024, mask_h = 768;

void mark_blobs(Image& mask, Image& other) {
    unsigned random = 1;
    for (int y = 8; y + 8 < mask_h; y += 8)
        for (int x = 8; x + 8 < mask_w; x += 8) {
            random = random * 1664525u + 1013904223u;
            const bool marked = (random >> 16) % 10 == 0;
            const bool changed = marked && (random >> 8) % 10 == 0;
            for (int i = 0; i < 64; ++i) {
                mask.row(y + i / 8)[x + i % 8] = marked;
                other.row(y + i / 8)[x + i % 8] = marked && !changed;
            }
        }
}

void mark_band(Image& mask, Image& other) {
    for (int y = 0; y < mask_h; ++y)
        for (int x = 0; x < mask_w; ++x) {
            const int dx = x - mask_w / 2, dy = y - mask_h / 2, square = dx * dx + dy * dy;
            const int outer = dy > 0 && dy < dx ? 318 : 322;
            mask.row(y)[x] = square > 281 * 281 && square < 322 * 322;
            other.row(y)[x] = square > 281 * 281 && square < outer * outer;
        }
}

// Nanoseconds a window, from scratch or with the record of the other mask as the previous one.
void assemble_tenth(benchmark::State& state) {
    constexpr int w = mask_w, h = mask_h;
    Image photo(w, h, 3), mask(w, h, 1), other(w, h, 1);
    const tools::Scene& s = the_road().scene;
    ff::ipf_resize_nn(s.photo.pixels.data(), the_road().w, the_road().h, 3 * the_road().w, 3,
                      photo.pixels.data(), w, h, 3 * w, 3, ff::ccn<3>());
    (state.range(0) != 0 ? mark_band : mark_blobs)(mask, other);
    mat_data previous, system;
    if (state.range(1) != 0)
        mat_update(photo.pixels.data(), w, h, 3 * w, other.pixels.data(), w, previous, previous,
                   nullptr);
    for (auto _ : state)
        mat_update(photo.pixels.data(), w, h, 3 * w, mask.pixels.data(), w, previous, system,
                   nullptr);
    Image windows = mask;  // centres: everything within two pixels of an unknown
    ff::ipf_max_filter(mask.pixels.data(), w, h, w, 1, windows.pixels.data(), w, 5, 1, nullptr);
    double count = 0;
    for (const auto byte : windows.pixels) count += byte;
    state.counters["s/window"] = benchmark::Counter(
        count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(assemble_tenth)
    ->ArgNames({"band", "reuse"})
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

void solve(benchmark::State& state) {
    road& r = the_road();
    mat_data system;
    r.update(system);
    Image alpha = r.work_trimap;
    const double before = bench::solver_seconds();
    const std::clock_t start = std::clock();
    for (auto _ : state) mat_run(system, r.work_trimap.pixels.data(), alpha.pixels.data(), nullptr);
    state.counters["dgssvx %"] = 100.0 * (bench::solver_seconds() - before) /
                                 (double(std::clock() - start) / CLOCKS_PER_SEC);
}
BENCHMARK(solve)->Unit(benchmark::kMillisecond);

void interpolate(benchmark::State& state) {
    road& r = the_road();
    for (auto _ : state)
        usam_interpolate_c1(r.work_trimap.pixels.data(), r.work_w, r.work_h, r.index.data(),
                            2 * r.w, r.weights.data(), r.w, r.matte.pixels.data(), r.w, r.h, r.w,
                            r.trimap.pixels.data(), r.w, 128);
    r.matte = r.scene.alpha;
    per_pixel(state);
}
BENCHMARK(interpolate)->Unit(benchmark::kMillisecond);

void smooth_boundary(benchmark::State& state) {
    road& r = the_road();
    Image out = r.matte;
    for (auto _ : state)
        mat_smooth_boundary(r.matte.pixels.data(), r.w, r.h, r.w, out.pixels.data(), r.w, smooth);
    per_pixel(state);
}
BENCHMARK(smooth_boundary)->Unit(benchmark::kMillisecond);

void erase_small(benchmark::State& state) {
    road& r = the_road();
    Image out = r.matte;
    for (auto _ : state) vm_erase_small_cc(out.pixels.data(), r.w, r.h, r.w, 0, 1);
    per_pixel(state);
}
BENCHMARK(erase_small)->Unit(benchmark::kMillisecond);

// The subject's colour by the high side of the caller's alpha: the scene's own matte, and one in
// which a single pixel is the subject and a twelfth of the picture is mixed.
void subject_colour(benchmark::State& state) {
    road& r = the_road();
    Image alpha = r.scene.alpha, colour(r.w, r.h, 3);
    if (state.range(0) != 0) {
        std::fill(alpha.pixels.begin(), alpha.pixels.end(), static_cast<unsigned char>(0));
        for (int y = r.h / 4; y < r.h / 2; ++y)
            for (int x = r.w / 3; x < 2 * r.w / 3; ++x)
                alpha.row(y)[x] = static_cast<unsigned char>(1 + (x * 7 + y * 13) % 250);
        alpha.row(r.h / 8)[r.w / 8] = 255;
    }
    for (auto _ : state)
        mat_estimate_fb_color(r.scene.photo.pixels.data(), r.w, r.h, 3 * r.w, alpha.pixels.data(),
                              r.w, nullptr, 0, colour.pixels.data(), 3 * r.w, 1, 253);
    per_pixel(state);
}
BENCHMARK(subject_colour)->ArgName("one_pixel")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Long Init and MakeMatte; what of it was spent outside the sparse solver; memory beyond the
// scene's own.
void whole_road(benchmark::State& state) {
    const tools::Scene& s = the_road().scene;
    const int w = s.photo.width, h = s.photo.height;
    Image out(w, h, 1);
    const double before = bench::solver_seconds();
    const std::clock_t start = std::clock();
    for (auto _ : state) {
        DSCMatting matting(s.photo.pixels.data(), w, h, 3 * w, s.mask.pixels.data(), w, max_size,
                           max_band, 1.0, 3, 5, 50, min_band);
        matting.MakeMatte(out.pixels.data(), w, h, w, smooth, 0);
    }
    state.counters["dgssvx %"] = 100.0 * (bench::solver_seconds() - before) /
                                 (double(std::clock() - start) / CLOCKS_PER_SEC);
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak MB"] = double(usage.ru_maxrss) / 1024.0;
    per_pixel(state);
}
BENCHMARK(whole_road)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // The solver's chatter goes nowhere; the results go to standard error.
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    benchmark::Initialize(&argc, argv);
    the_road();  // made before anything is timed
    benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
}
