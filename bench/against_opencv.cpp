// Compares the library with what a camera application would take instead, one thread, in one run:
// against_opencv [REPEATS] prints a table of ratios, ours / theirs, each the smallest of several
// interleaved runs, on a rendered 12-megapixel scene.
//
// Theirs: OpenCV's guided filter (colour byte guide, radius 60) for a whole matte and for the
// subject's colour, and OpenCV's counterparts of the toolkit's kernels on the same data.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/ximgproc/edge_filter.hpp>
#include <string>
#include <vector>

#include "bench/solver_clock.h"
#include "ff/components_color.h"
#include "ff/distance_field.h"
#include "ff/filters.h"
#include "ff/raster.h"
#include "matting/facade/dsc_matting.h"
#include "matting/trimap/distance_transform.h"
#include "tools/scene/scene.h"

namespace {

using tools::Image;

double seconds_now() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

cv::Mat view(const Image& image) {
    return cv::Mat(image.height, image.width, image.channels == 3 ? CV_8UC3 : CV_8UC1,
                   const_cast<unsigned char*>(image.pixels.data()));
}

class table {
  public:
    explicit table(int repeats) : repeats_(repeats) {
        std::fprintf(stderr, "| work | ours, ms | theirs, ms | ratio |\n|---|---|---|---|\n");
    }

    // Runs both in turns; time spent in the sparse solver does not count.
    void row(const char* name, const std::function<void()>& ours,
             const std::function<void()>& theirs) {
        double best[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
        for (int r = 0; r < repeats_; ++r)
            for (int which = 0; which < 2; ++which) {
                const double solver = bench::solver_seconds();
                const double start = seconds_now();
                (which == 0 ? ours : theirs)();
                best[which] = std::min(best[which],
                                       seconds_now() - start - (bench::solver_seconds() - solver));
            }
        std::fprintf(stderr, "| %s | %.1f | %.1f | %.2f |\n", name, best[0] * 1e3, best[1] * 1e3,
                     best[0] / best[1]);
    }

  private:
    int repeats_;
};

struct guided {
    explicit guided(const tools::Scene& s) : photo(view(s.photo)), mask(view(s.mask)) {}
    void operator()() {
        // An epsilon of 1e-4 of the squared range; the guide is bytes.
        cv::ximgproc::guidedFilter(photo, mask, out, 60, 1e-4 * 255 * 255);
    }
    cv::Mat photo, mask, out;
};

void compare_roads(table& t, const tools::Scene& s) {
    const int w = s.photo.width, h = s.photo.height;
    Image matte(w, h, 1), colour(w, h, 3);
    guided filter(s);
    DSCMatting matting;
    t.row(
        "Init + MakeMatte outside dgssvx, max_size 512; guided filter",
        [&] {
            matting.Init(s.photo.pixels.data(), w, h, 3 * w, s.mask.pixels.data(), w, 512, w / 125,
                         1.0, 3, 5, 50, w / 500);
            matting.MakeMatte(matte.pixels.data(), w, h, w, 3, 0);
        },
        [&] { filter(); });
    t.row(
        "GetFImage; guided filter", [&] { matting.GetFImage(colour.pixels.data(), 3 * w, 1); },
        [&] { filter(); });
}

void compare_resizes(table& t, const tools::Scene& s) {
    const int w = s.photo.width, h = s.photo.height;
    Image small(w / 4 + 1, h / 4 + 1, 3), grown(w, h, 3);
    const auto* photo = s.photo.pixels.data();
    cv::Mat out;
    t.row(
        "nearest, 3 channels, down by 4",
        [&] {
            ff::ipf_resize_nn(photo, w, h, 3 * w, 3, small.pixels.data(), small.width, small.height,
                              small.stride(), 3, ff::ccn<3>());
        },
        [&] {
            cv::resize(view(s.photo), out, {small.width, small.height}, 0, 0, cv::INTER_NEAREST);
        });
    const auto bilinear = [&](const char* name, const Image& from, Image& to) {
        t.row(
            name,
            [&] {
                ff::ipf_resize_bl(from.pixels.data(), from.width, from.height, from.stride(),
                                  from.channels, to.pixels.data(), to.width, to.height, to.stride(),
                                  to.channels, to.channels);
            },
            [&] {
                cv::resize(view(from), out, {to.width, to.height}, 0, 0, cv::INTER_LINEAR);
            });
    };
    Image work_alpha(w / 4 + 1, h / 4 + 1, 1), alpha(w, h, 1);
    Image three_quarters(3 * w / 4, 3 * h / 4, 3), less_alpha(3 * w / 4, 3 * h / 4, 1);
    Image half(w / 2, h / 2, 3), work(512, 384, 3);
    bilinear("bilinear, 3 channels, up by 4", small, grown);
    bilinear("bilinear, 1 channel, up by 4", work_alpha, alpha);
    bilinear("bilinear, 3 channels, down to 3/4", s.photo, three_quarters);
    bilinear("bilinear, 1 channel, down to 3/4", s.alpha, less_alpha);
    bilinear("bilinear, 3 channels, down to 1/2 (they average)", s.photo, half);
    bilinear("bilinear, 3 channels, down to 512 x 384", s.photo, work);
}

void compare_filters(table& t, const tools::Scene& s) {
    const int w = s.photo.width, h = s.photo.height;
    const auto* alpha = s.alpha.pixels.data();
    Image bytes(w, h, 1);
    cv::Mat ints(h, w, CV_32S), out;  // aligned alike
    for (const int k : {7, 81}) {
        const std::string size = std::to_string(k);
        const cv::Mat window = cv::getStructuringElement(cv::MORPH_RECT, {k, k});
        t.row(("minimum, " + size).c_str(),
              [&] { ff::ipf_min_filter(alpha, w, h, w, 1, bytes.pixels.data(), w, k, 1, nullptr); },
              [&] { cv::erode(view(s.alpha), out, window); });
        t.row(("maximum, " + size).c_str(),
              [&] { ff::ipf_max_filter(alpha, w, h, w, 1, bytes.pixels.data(), w, k, 1, nullptr); },
              [&] { cv::dilate(view(s.alpha), out, window); });
    }
    for (const int k : {3, 31})
        t.row(("mean to int, " + std::to_string(k)).c_str(),
              [&] {
                  ff::ipf_mean_filter(alpha, w, h, w, 1, ints.ptr<int>(), w, nullptr, 0, k, k,
                                      nullptr);
              },
              [&] {
                  cv::boxFilter(view(s.alpha), out, CV_32S, {k, k});
              });
}

void compare_components(table& t, const tools::Scene& s) {
    const int w = s.photo.width, h = s.photo.height;
    Image noisy(w, h, 1);
    for (std::size_t i = 0; i < noisy.pixels.size(); ++i)
        noisy.pixels[i] = (s.photo.pixels[3 * i] & 7) < 3 ? 255 : 0;
    std::vector<int> labels(noisy.pixels.size());
    for (const Image* map : {&s.mask, static_cast<const Image*>(&noisy)}) {
        cv::Mat out;
        t.row(
            map == &noisy ? "components, noisy map" : "components, person mask",
            [&] { ff::ipf_connected_component(map->pixels.data(), w, h, w, labels.data(), w); },
            [&] { cv::connectedComponents(view(*map), out, 4, CV_32S); });
    }
}

void compare_distances(table& t, const tools::Scene& s) {
    const int w = s.photo.width, h = s.photo.height;
    const auto* mask = s.mask.pixels.data();
    cv::Mat out;
    t.row(
        "exact distance transform",
        [&] {
            const std::unique_ptr<float[]> grid(DPLMatting_MakeDTInput(mask, w, h, w));
            DistanceTransform(grid.get(), w, h);
        },
        [&] { cv::distanceTransform(view(s.mask), out, cv::DIST_L2, cv::DIST_MASK_PRECISE); });
    std::vector<unsigned> steps(s.mask.pixels.size());
    Image labels = s.mask;  // 0 free, 255 seed
    const cv::Mat inverse = 255 - view(s.mask);
    ff::dist_field* field = ff::ipf_create_distance_field_2d(w, h, 100);
    t.row(
        "chamfer distance",
        [&] {
            ff::ipf_distance_transform_2d(field, labels.pixels.data(), (unsigned short)w,
                                          (unsigned short)h, w, 255, steps.data(), w, nullptr, 0);
        },
        [&] { cv::distanceTransform(inverse, out, cv::DIST_L2, cv::DIST_MASK_3); });
    ff::ipf_release_distance_field(field);
}

void compare_flips(table& t, const tools::Scene& s) {
    const int w = s.photo.width, h = s.photo.height;
    // Both sides use the same buffers: whether a buffer lies on large pages, or 16 bytes off the
    // cache line, decides more than the code does.
    cv::Mat padded(h + 1, w, CV_8UC3), out(h, w, CV_8UC3), matte(h, w, CV_8UC1);
    padded.setTo(0);  // the copying flip reads one pixel beyond the last
    cv::Mat photo = padded.rowRange(0, h);
    view(s.photo).copyTo(photo);
    t.row(
        "flip upside down, 3 channels",
        [&] { ff::ipf_flip_vert(photo.data, 3 * w, h, 3 * w, out.data, 3 * w); },
        [&] { cv::flip(photo, out, 0); });
    t.row(
        "flip upside down, 1 channel",
        [&] { ff::ipf_flip_vert(s.alpha.pixels.data(), w, h, w, matte.data, w); },
        [&] { cv::flip(view(s.alpha), matte, 0); });
    t.row(
        "flip left to right, 3 channels",
        [&] { ff::ipf_flip_horz(photo.data, w, h, 3 * w, 3, out.data, 3 * w); },
        [&] { cv::flip(photo, out, 1); });
    t.row(
        "the same in place", [&] { ff::ipf_flip_horz(out.data, w, h, 3 * w, 3); },
        [&] { cv::flip(out, out, 1); });
}

}  // namespace

int main(int argc, char** argv) {
    if (!std::freopen("/dev/null", "w", stdout)) return 1;  // the solver's chatter
    cv::setNumThreads(1);
    tools::SceneOptions options;
    options.width = 4000;
    options.height = 3000;
    const tools::Scene scene = tools::render_scene(options);
    table t(argc > 1 ? std::max(1, std::atoi(argv[1])) : 5);
    compare_roads(t, scene);
    compare_resizes(t, scene);
    compare_filters(t, scene);
    compare_components(t, scene);
    compare_distances(t, scene);
    compare_flips(t, scene);
}
