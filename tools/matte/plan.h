// Which files belong together: one job for each photograph of the command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/matte/options.h"

namespace matte {

struct Job {
    std::string photo;
    std::string mask;    // a file, or the directory to look the photograph's mask up in
    std::string output;  // a file, or "-" for standard output
};

// The command line asks for something that cannot be meant.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Pairs photographs, masks and outputs. Throws UsageError where the numbers do not match, two
// mattes would get the same name, or one would replace an input.
std::vector<Job> plan_jobs(const Options& options);

// The job's mask file, looked up by the photograph's name where the mask is a directory. Throws
// tools::ImageError where the directory holds none.
std::string find_mask(const Job& job);

}  // namespace matte
