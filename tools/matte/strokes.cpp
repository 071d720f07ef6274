// Strokes to a segmentation: every pixel goes to the stroke that the cheaper path leads to, where a
// step costs the difference of its two colours.
//
// It runs on a reduced photograph. Costs and distances take 52 bytes a pixel, the paths are no
// better for more pixels, and averaging takes out the noise that they would have to cross. The
// probabilities, not the decisions, are brought back to full size, so that the outline is smooth.

#include "tools/matte/strokes.h"

#include <algorithm>
#include <vector>

#include "matting/geoseg/geoseg.h"
#include "tools/matte/fit.h"

namespace matte {

using tools::Image;
using tools::ImageError;

namespace {

constexpr int longest_side = 1024;  // pixels

Label label_of(const std::uint8_t* bgr) {
    if (bgr[0] != 0) return no_stroke;
    if (bgr[1] == 255 && bgr[2] == 0) return subject_stroke;
    if (bgr[1] == 0 && bgr[2] == 255) return surroundings_stroke;
    return no_stroke;
}

// A stroke of one pixel is to survive: a cell gets the label of any pixel in it, and none where
// there are both.
Image reduce_labels(const Image& labels, int width, int height) {
    Image reduced(width, height, 1);
    for (int y = 0; y < labels.height; ++y) {
        const std::uint8_t* src = labels.row(y);
        std::uint8_t* dst = reduced.row(int((long long)y * height / labels.height));
        for (int x = 0; x < labels.width; ++x) {
            dst[(long long)x * width / labels.width] |= src[x];
        }
    }
    for (std::uint8_t& label : reduced.pixels) {
        if (label == (surroundings_stroke | subject_stroke)) label = no_stroke;
    }
    return reduced;
}

// 0 certainly surroundings, 255 certainly subject.
Image probabilities(const Image& photo, const Image& labels) {
    GeoSegN24 segmenter;
    segmenter.SetImage(photo.pixels.data(), photo.width, photo.height, photo.stride(), 3, nullptr);
    std::vector<float> subject(labels.pixels.size());
    segmenter.GetProb(labels.pixels.data(), labels.stride(), subject.data(), labels.width, 3,
                      nullptr);
    Image map(labels.width, labels.height, 1);
    std::transform(subject.begin(), subject.end(), map.pixels.begin(),
                   [](float p) { return std::uint8_t(p * 255 + 0.5f); });
    return map;
}

}  // namespace

Image read_strokes(const std::string& path, long long max_pixels) {
    const Image picture = tools::read_colour(path, max_pixels);
    Image labels(picture.width, picture.height, 1);
    const std::uint8_t* bgr = picture.pixels.data();
    for (std::uint8_t& label : labels.pixels) {
        label = label_of(bgr);
        bgr += 3;
    }
    const auto has = [&labels](Label label) {
        return std::find(labels.pixels.begin(), labels.pixels.end(), label) != labels.pixels.end();
    };
    if (!has(subject_stroke))
        throw ImageError(path + ": no pure green (0,255,0) marks the subject");
    if (!has(surroundings_stroke)) {
        throw ImageError(path + ": no pure red (255,0,0) marks the surroundings");
    }
    return labels;
}

void segmentation_size(int& width, int& height) {
    const int longer = std::max(width, height);
    if (longer <= longest_side) return;
    const auto reduced = [longer](int side) {
        return std::max(1, int((long long)side * longest_side / longer));
    };
    width = reduced(width);
    height = reduced(height);
}

Image segment(const Image& photo, const Image& labels) {
    int width = photo.width, height = photo.height;
    segmentation_size(width, height);
    const Image soft = fit_soft(
        probabilities(fit_soft(photo, width, height), reduce_labels(labels, width, height)),
        photo.width, photo.height);
    Image segmentation(photo.width, photo.height, 1);
    for (std::size_t i = 0; i < labels.pixels.size(); ++i) {
        const bool likely = soft.pixels[i] >= 128 && labels.pixels[i] != surroundings_stroke;
        segmentation.pixels[i] = likely || labels.pixels[i] == subject_stroke ? 255 : 0;
    }
    return segmentation;
}

}  // namespace matte
