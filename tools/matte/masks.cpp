// Reading masks of the three kinds, and telling what looks like a slip: a mask that asks for
// nothing is most likely of the wrong scale or convention.

#include "tools/matte/masks.h"

#include <algorithm>
#include <utility>

#include "tools/matte/fit.h"
#include "tools/matte/strokes.h"

namespace matte {

using tools::Image;
using tools::ImageError;

std::string size_text(int width, int height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

namespace {

std::string size_text(const Image& image) { return matte::size_text(image.width, image.height); }

Image fitted(Image mask, const std::string& path, const Image& photo, const Job& job,
             const Options& options) {
    if (mask.width == photo.width && mask.height == photo.height) return mask;
    if (!options.settings.fit) {
        throw ImageError(path + ": the mask is " + size_text(mask) + " but " + job.photo + " is " +
                         size_text(photo) + " (--fit resizes it)");
    }
    const auto fit = options.mask_kind() == MaskKind::segmentation ? fit_soft : fit_nearest;
    return fit(mask, photo.width, photo.height);
}

long long count(const Image& map, std::uint8_t value) {
    return std::count(map.pixels.begin(), map.pixels.end(), value);
}

Image trimap_from(Image map, const std::string& path, Progress& progress) {
    const long long unknowns = count(map, 128);
    progress.detail(std::to_string(unknowns) + " unknown pixels in the trimap");
    if (unknowns == 0) progress.line(path + ": note: no pixel of the trimap is 128 (unknown)");
    return map;
}

Image segmentation_from(Image map, const std::string& path, unsigned threshold,
                        Progress& progress) {
    for (std::uint8_t& value : map.pixels) value = value >= threshold ? 255 : 0;
    const long long subject = count(map, 255);
    progress.detail(std::to_string(subject) + " subject pixels in the mask");
    if (subject == 0) {
        progress.line(path + ": note: no pixel of the mask reaches the threshold of " +
                      std::to_string(threshold));
    } else if (std::size_t(subject) == map.pixels.size()) {
        progress.line(path + ": note: the mask takes the whole picture for the subject");
    }
    return map;
}

Image segmentation_from_strokes(const Image& labels, const Image& photo, Progress& progress) {
    progress.start_stage("segmenting");
    int width = photo.width, height = photo.height;
    segmentation_size(width, height);
    progress.detail(std::to_string(count(labels, subject_stroke)) + " subject and " +
                    std::to_string(count(labels, surroundings_stroke)) +
                    " surroundings pixels marked, segmented at " + matte::size_text(width, height));
    Image segmentation = segment(photo, labels);
    progress.detail(std::to_string(count(segmentation, 255)) + " subject pixels found");
    return segmentation;
}

}  // namespace

Image read_mask(const Job& job, const Image& photo, const Options& options, Progress& progress) {
    const std::string path = find_mask(job);
    const Settings& settings = options.settings;
    const MaskKind kind = options.mask_kind();
    Image map = kind == MaskKind::strokes ? read_strokes(path, settings.max_pixels)
                                          : tools::read_grey(path, settings.max_pixels);
    progress.detail("photograph " + size_text(photo) + ", mask " + size_text(map));
    map = fitted(std::move(map), path, photo, job, options);
    if (kind == MaskKind::trimap) return trimap_from(std::move(map), path, progress);
    if (kind == MaskKind::strokes) return segmentation_from_strokes(map, photo, progress);
    return segmentation_from(std::move(map), path, settings.threshold, progress);
}

}  // namespace matte
