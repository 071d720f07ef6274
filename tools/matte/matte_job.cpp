// One photograph: read, solve, clean up, write. A segmentation is cut to 0 and 255 and goes through
// the long Init, which makes a trimap of it; a trimap of the user's goes through the short Init and
// Refine, in whose convention the subject is 0. Both come out with the subject 255.

#include "tools/matte/matte_job.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "matting/edit/cleanup.h"
#include "matting/facade/dsc_matting.h"
#include "tools/matte/fit_mask.h"
#include "tools/matte/library_output.h"

namespace matte {

namespace {

using tools::Image;
using tools::ImageError;

constexpr std::uint8_t unknown = 128;

std::string size_text(int width, int height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

std::string size_text(const Image& image) { return size_text(image.width, image.height); }

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

Image fitted(Image mask, const std::string& path, const Image& photo, const Job& job,
             const Options& options) {
    if (mask.width == photo.width && mask.height == photo.height) return mask;
    if (!options.settings.fit) {
        throw ImageError(path + ": the mask is " + size_text(mask) + " but " + job.photo + " is " +
                         size_text(photo) + " (--fit resizes it)");
    }
    const auto fit = options.from_trimap() ? fit_nearest : fit_soft;
    return fit(mask, photo.width, photo.height);
}

void cut(Image& mask, unsigned threshold) {
    for (std::uint8_t& value : mask.pixels) value = value >= threshold ? 255 : 0;
}

void invert_known(Image& map) {
    for (std::uint8_t& value : map.pixels) {
        if (value != unknown) value = std::uint8_t(255 - value);
    }
}

// A mask that asks for nothing is most likely of the wrong scale or convention.
void note_odd_mask(const Image& mask, const std::string& path, const Options& options,
                   Progress& progress) {
    const auto count = [&mask](std::uint8_t value) {
        return std::count(mask.pixels.begin(), mask.pixels.end(), value);
    };
    if (options.from_trimap()) {
        const auto unknowns = count(unknown);
        progress.detail(std::to_string(unknowns) + " unknown pixels in the trimap");
        if (unknowns == 0) progress.line(path + ": note: no pixel of the trimap is 128 (unknown)");
        return;
    }
    const auto subject = count(255);
    progress.detail(std::to_string(subject) + " subject pixels in the mask");
    if (subject == 0) {
        progress.line(path + ": note: no pixel of the mask reaches the threshold of " +
                      std::to_string(options.settings.threshold));
    } else if (std::size_t(subject) == mask.pixels.size()) {
        progress.line(path + ": note: the mask takes the whole picture for the subject");
    }
}

Image read_mask(const Job& job, const Image& photo, const Options& options, Progress& progress) {
    const std::string path = find_mask(job);
    Image mask = tools::read_grey(path, options.settings.max_pixels);
    progress.detail("photograph " + size_text(photo) + ", mask " + size_text(mask) +
                    ", working size " + working_size(photo, options.settings.max_size));
    mask = fitted(std::move(mask), path, photo, job, options);
    if (!options.from_trimap()) cut(mask, options.settings.threshold);
    note_odd_mask(mask, path, options, progress);
    return mask;
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

// Both take the photograph to give its memory back before the solve: the library has its own copy.
Image matte_from_segmentation(Image photo, const Image& mask, const Settings& s,
                              Progress& progress) {
    progress.start_stage("preparing");
    const int max_band = s.max_band.value_or(part_of_side(photo, default_max_band));
    const int min_band = s.min_band.value_or(part_of_side(photo, default_min_band));
    progress.detail("band of " + std::to_string(min_band) + " to " + std::to_string(max_band) +
                    " pixels on each side of the outline");
    DSCMatting matting;
    matting.Init(photo.pixels.data(), photo.width, photo.height, photo.stride(), mask.pixels.data(),
                 mask.stride(), s.max_size, max_band, s.band_scale, s.step,
                 std::uint8_t(s.low_contrast), std::uint8_t(s.high_contrast), min_band);
    photo = Image();
    progress.start_stage("solving");
    Image matte(mask.width, mask.height, 1);
    matting.MakeMatte(matte.pixels.data(), matte.width, matte.height, matte.stride(), s.smooth, 0);
    return matte;
}

Image matte_from_trimap(Image photo, Image trimap, const Settings& s, Progress& progress) {
    progress.start_stage("preparing");
    DSCMatting matting;
    matting.Init(photo.pixels.data(), photo.width, photo.height, photo.stride(), s.max_size);
    photo = Image();
    progress.start_stage("solving");
    invert_known(trimap);
    Image matte(trimap.width, trimap.height, 1);
    matting.Refine(trimap.pixels.data(), trimap.width, trimap.height, trimap.stride(),
                   matte.pixels.data(), matte.stride(), s.smooth, 0);
    invert_known(matte);
    return matte;
}

Image make_matte(Image photo, Image mask, const Job& job, const Options& options,
                 Progress& progress) {
    LibraryOutput output;
    const Settings& settings = options.settings;
    Image matte = options.from_trimap()
                      ? matte_from_trimap(std::move(photo), std::move(mask), settings, progress)
                      : matte_from_segmentation(std::move(photo), mask, settings, progress);
    const SolverReport report = read_solver_report(output.finish());
    if (!report.complaint.empty()) {
        throw ImageError(job.photo + ": the solver failed: " + report.complaint);
    }
    progress.detail(std::to_string(report.unknowns) + " unknowns in the linear system");
    return matte;
}

void write_matte(const Image& matte, const std::string& output) {
    if (output == "-") {
        tools::write_descriptor(STDOUT_FILENO, tools::encode_png(matte, "standard output"),
                                "standard output");
    } else {
        tools::write_png(output, matte);
    }
}

}  // namespace

void run_job(const Job& job, const Options& options, Progress& progress) {
    progress.start_photo(job.photo);
    if (job.output != "-") tools::check_writable(job.output);
    progress.start_stage("reading");
    Image photo = tools::read_colour(job.photo, options.settings.max_pixels);
    Image mask = read_mask(job, photo, options, progress);
    const bool segmented =
        !options.from_trimap() && std::count(mask.pixels.begin(), mask.pixels.end(), 255) > 0;
    Image matte = make_matte(std::move(photo), std::move(mask), job, options, progress);
    if (segmented) note_lost_subject(matte, job, progress);
    if (options.settings.keep > 0) {
        progress.start_stage("cleaning up");
        vm_erase_small_cc(matte.pixels.data(), matte.width, matte.height, matte.stride(), 0,
                          options.settings.keep);
    }
    progress.start_stage("writing");
    write_matte(matte, job.output);
    progress.end_photo();
}

}  // namespace matte
