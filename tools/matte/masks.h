// What a job's mask says of its photograph.
#pragma once

#include "tools/image/image.h"
#include "tools/matte/options.h"
#include "tools/matte/plan.h"
#include "tools/matte/progress.h"

namespace matte {

std::string size_text(int width, int height);

// Reads the job's mask, in the photograph's size: a trimap as it is, or a segmentation of 0 and
// 255, made of a mask by the threshold or of strokes by segmenting. Throws tools::ImageError.
tools::Image read_mask(const Job& job, const tools::Image& photo, const Options& options,
                       Progress& progress);

}  // namespace matte
