// matte: alpha mattes from photographs and rough masks.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <new>
#include <system_error>

#include "tools/matte/colours.h"
#include "tools/matte/matte_job.h"
#include "tools/matte/options.h"
#include "tools/matte/plan.h"
#include "tools/matte/progress.h"

namespace {

using namespace matte;

// A program started with a standard descriptor closed would get a photograph under its number.
// Opened for reading, writing to it still fails.
void fill_standard_descriptors() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDONLY);
    }
    if (descriptor > STDERR_FILENO) ::close(descriptor);
}

void check_standard_output(const Options& options) {
    const bool used = options.output == "-" || options.cutout == "-" || options.composite == "-";
    if (used && ::isatty(STDOUT_FILENO) == 1) {
        throw UsageError("standard output is a terminal; redirect it or name a file");
    }
}

// One photograph; what goes wrong ends here, in one line.
bool run_guarded(const Job& job, const Options& options, const tools::Image& background,
                 Progress& progress) {
    try {
        run_job(job, options, background, progress);
        return true;
    } catch (const std::bad_alloc&) {
        progress.line(job.photo + ": not enough memory");
    } catch (const tools::ImageError& error) {
        progress.line(error.what());
    } catch (const std::exception& error) {
        progress.line(job.photo + ": " + error.what());
    }
    return false;
}

void make_output_dirs(const Options& options) {
    for (const std::string& directory : output_dirs(options)) {
        std::error_code error;
        std::filesystem::create_directories(directory, error);
        if (error) throw tools::ImageError(directory + ": " + error.message());
    }
}

int run(const Options& options) {
    check_standard_output(options);
    const std::vector<Job> jobs = plan_jobs(options);
    // Read once: all photographs get the same one, and it may come from a pipe.
    tools::Image background;
    if (!options.background.empty()) {
        background = read_background(options.background, options.settings.max_pixels);
    }
    make_output_dirs(options);
    Progress progress(int(jobs.size()), options.verbose);
    int status = success;
    for (const Job& job : jobs) {
        if (!run_guarded(job, options, background, progress)) status = failure;
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    fill_standard_descriptors();
    tools::remove_unfinished_files_on_signals();
    try {
        Options options;
        int status = success;
        return parse_command_line(argc, argv, options, status) ? run(options) : status;
    } catch (const UsageError& error) {
        std::cerr << "matte: " << error.what() << '\n';
        return misuse;
    } catch (const std::bad_alloc&) {
        std::cerr << "matte: not enough memory\n";
        return failure;
    } catch (const std::exception& error) {
        std::cerr << "matte: " << error.what() << '\n';
        return failure;
    }
}
