// The work on one photograph, from its files to its outputs.
#pragma once

#include "tools/matte/options.h"
#include "tools/matte/plan.h"
#include "tools/matte/progress.h"

namespace matte {

// Reads the job's photograph and mask, makes the matte and writes what is wanted of it. The
// background (any size) is for composites and may be empty where none is made. Throws
// tools::ImageError, whose text names the file at fault, and std::bad_alloc; none of the outputs is
// left behind then.
void run_job(const Job& job, const Options& options, const tools::Image& background,
             Progress& progress);

}  // namespace matte
