// One photograph: read, solve, clean up, write. A segmentation goes through the long Init, which
// makes a trimap of it; a trimap of the user's goes through the short Init and Refine, in whose
// convention the subject is 0. Both come out with the subject 255.

#include "tools/matte/matte_job.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "matting/edit/cleanup.h"
#include "matting/facade/dsc_matting.h"
#include "matting/trimap/distance_transform.h"
#include "tools/matte/colours.h"
#include "tools/matte/library_output.h"
#include "tools/matte/masks.h"

namespace matte {

namespace {

using tools::Image;
using tools::ImageError;

constexpr std::uint8_t unknown = 128;

// The size the library solves at. It is not told, only documented.
std::string working_size(const Image& photo, int max_size) {
    int width = photo.width;
    int height = photo.height;
    if (width > max_size && height > max_size) {
        const double scale = std::min(double(max_size) / width, double(max_size) / height);
        width = int(scale * width + 0.5);
        height = int(scale * height + 0.5);
    }
    return size_text(width & ~3, height);
}

// With strong contrast the band grows to --max-band whatever the subject's size, and a subject
// without a known pixel left is solved for as surroundings.
void note_lost_subject(const Image& matte, const Job& job, Progress& progress) {
    const auto is_subject = [](std::uint8_t value) { return value > unknown; };
    if (std::any_of(matte.pixels.begin(), matte.pixels.end(), is_subject)) return;
    progress.line(job.photo +
                  ": note: no subject is left, for the unknown band covered all of it; try a "
                  "smaller --max-band");
}

// At least one pixel: the outline of a mask is never exact.
int part_of_side(const Image& photo, double part) {
    return std::max(1, int(part * std::max(photo.width, photo.height) + 0.5));
}

void init_with_segmentation(DSCMatting& matting, const Image& photo, const Image& mask,
                            const Settings& s, Progress& progress) {
    const int max_band = s.max_band.value_or(part_of_side(photo, default_max_band));
    const int min_band = s.min_band.value_or(part_of_side(photo, default_min_band));
    progress.detail("band of " + std::to_string(min_band) + " to " + std::to_string(max_band) +
                    " pixels on each side of the outline");
    matting.Init(photo.pixels.data(), photo.width, photo.height, photo.stride(), mask.pixels.data(),
                 mask.stride(), s.max_size, max_band, s.band_scale, s.step,
                 std::uint8_t(s.low_contrast), std::uint8_t(s.high_contrast), min_band);
}

// The trimap in the caller convention, turned to the library's on the way.
void refine(DSCMatting& matting, Image trimap, int smooth, Image& matte) {
    InvertMatte(trimap.pixels.data(), trimap.width, trimap.height, trimap.stride());
    matting.Refine(trimap.pixels.data(), trimap.width, trimap.height, trimap.stride(),
                   matte.pixels.data(), matte.stride(), smooth, 0);
    InvertMatte(matte.pixels.data(), matte.width, matte.height, matte.stride());
}

// Gives the photograph's memory back before the solve where no colours are wanted: the library has
// its own copy.
Image solve(Image& photo, Image mask, const Options& options, Progress& progress) {
    const Settings& s = options.settings;
    const bool from_trimap = options.mask_kind() == MaskKind::trimap;
    progress.detail("working size " + working_size(photo, s.max_size));
    progress.start_stage("preparing");
    DSCMatting matting;
    if (from_trimap) {
        matting.Init(photo.pixels.data(), photo.width, photo.height, photo.stride(), s.max_size);
    } else {
        init_with_segmentation(matting, photo, mask, s, progress);
    }
    if (!options.wants_colours()) photo = Image();
    progress.start_stage("solving");
    Image matte(mask.width, mask.height, 1);
    if (from_trimap) {
        refine(matting, std::move(mask), s.smooth, matte);
    } else {
        matting.MakeMatte(matte.pixels.data(), matte.width, matte.height, matte.stride(), s.smooth,
                          0);
    }
    return matte;
}

Image make_matte(Image& photo, Image mask, const Job& job, const Options& options,
                 Progress& progress) {
    const bool segmented = options.mask_kind() != MaskKind::trimap &&
                           std::count(mask.pixels.begin(), mask.pixels.end(), 255) > 0;
    LibraryOutput output;
    Image matte = solve(photo, std::move(mask), options, progress);
    const SolverReport report = read_solver_report(output.finish());
    if (!report.complaint.empty()) {
        throw ImageError(job.photo + ": the solver failed: " + report.complaint);
    }
    progress.detail(std::to_string(report.unknowns) + " unknowns in the linear system");
    if (segmented) note_lost_subject(matte, job, progress);
    if (options.settings.keep > 0) {
        progress.start_stage("cleaning up");
        vm_erase_small_cc(matte.pixels.data(), matte.width, matte.height, matte.stride(), 0,
                          options.settings.keep);
    }
    return matte;
}

// The outputs of one photograph, which appear together.
class Outputs {
  public:
    explicit Outputs(bool replace) : files_(replace) {}
    void add(const std::string& name, const Image& image) {
        if (name == "-") {
            standard_output_ = tools::encode_png(image, "standard output");
        } else {
            files_.add(name, tools::encode_png(image, name));
        }
    }
    void commit() {
        tools::write_descriptor(STDOUT_FILENO, standard_output_, "standard output");
        files_.commit();
    }

  private:
    tools::PendingFiles files_;
    std::vector<std::uint8_t> standard_output_;
};

void write_outputs(const Job& job, const Options& options, const Image& subject, const Image& matte,
                   const Image& background) {
    Outputs outputs(options.force);
    if (!job.output.empty()) outputs.add(job.output, options.fg_only ? subject : matte);
    if (!job.cutout.empty()) outputs.add(job.cutout, cut_out(subject, matte));
    if (!job.composite.empty()) {
        outputs.add(job.composite, composite(subject, matte, background));
    }
    outputs.commit();
}

void check_output(const std::string& name, const Options& options) {
    if (name == "-") return;
    std::error_code error;
    if (!options.force && std::filesystem::is_regular_file(name, error)) {
        throw ImageError(name + ": exists already; --force replaces it");
    }
    tools::check_writable(name);
}

}  // namespace

void run_job(const Job& job, const Options& options, const Image& background, Progress& progress) {
    progress.start_photo(job.photo);
    for (const std::string& output : job.outputs()) {
        check_output(output, options);
    }
    progress.start_stage("reading");
    Image photo = tools::read_colour(job.photo, options.settings.max_pixels);
    Image mask = read_mask(job, photo, options, progress);
    const Image matte = make_matte(photo, std::move(mask), job, options, progress);
    if (options.wants_colours()) {
        progress.start_stage("colouring");
        take_subject_colour(photo, matte);
    }
    progress.start_stage("writing");
    write_outputs(job, options, photo, matte, background);
    progress.end_photo();
}

}  // namespace matte
