// Which files belong together: one job for each photograph of the command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/matte/options.h"

namespace matte {

struct Job {
    std::string photo;
    std::string mask;  // a file, or the directory to look the photograph's mask up in
    // Each a file, "-" for standard output (one of them at most), or empty where not wanted.
    std::string output;  // the matte, or with --fg-only the subject's colour
    std::string cutout;
    std::string composite;

    std::vector<std::string> outputs() const;  // those that are wanted
};

// The command line asks for something that cannot be meant.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Pairs photographs, masks and outputs. Throws UsageError where the numbers do not match, two
// outputs would get the same name, or one would replace an input.
std::vector<Job> plan_jobs(const Options& options);

// The directories that the command line names for outputs; they may have to be made.
std::vector<std::string> output_dirs(const Options& options);

// The job's mask file, looked up by the photograph's name where the mask is a directory. Throws
// tools::ImageError where the directory holds none.
std::string find_mask(const Job& job);

}  // namespace matte
