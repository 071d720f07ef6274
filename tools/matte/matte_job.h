// The work on one photograph, from its files to its matte.
#pragma once

#include "tools/matte/options.h"
#include "tools/matte/plan.h"
#include "tools/matte/progress.h"

namespace matte {

// Reads the job's photograph and mask, makes the matte and writes it. Throws tools::ImageError,
// whose text names the file at fault, and std::bad_alloc; no output is left behind then.
void run_job(const Job& job, const Options& options, Progress& progress);

}  // namespace matte
