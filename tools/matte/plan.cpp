// Pairs photographs with masks and outputs before any work is done, so that a slip in the command
// line costs no minutes and no file. Files are compared by their canonical paths.

#include "tools/matte/plan.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

namespace matte {

namespace fs = std::filesystem;

namespace {

std::string canonical(const std::string& path) {
    std::error_code error;
    const fs::path result = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? path : result.string();
}

bool is_directory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

std::string output_of(const Options& options, const std::string& photo) {
    if (!options.output.empty()) return options.output;
    return (fs::path(options.output_dir) / (fs::path(photo).stem().string() + "-matte.png"))
        .string();
}

void check_masks(const Options& options) {
    const std::size_t photos = options.photos.size();
    const std::size_t masks = options.masks().size();
    if (masks == photos || (masks == 1 && is_directory(options.masks()[0]))) return;
    const std::string name = options.from_trimap() ? "--trimap" : "--segmentation";
    throw UsageError(std::to_string(photos) + (photos == 1 ? " photograph" : " photographs") +
                     " but " + name + " was given " + std::to_string(masks) +
                     (masks == 1 ? " time" : " times") + "; give it once for each, or a directory");
}

void check_outputs(const std::vector<Job>& jobs) {
    std::set<std::string> inputs;
    for (const Job& job : jobs) {
        inputs.insert(canonical(job.photo));
        inputs.insert(canonical(job.mask));
    }
    std::map<std::string, std::string> photo_of;
    for (const Job& job : jobs) {
        if (job.output == "-") continue;
        const std::string output = canonical(job.output);
        if (inputs.count(output) != 0) {
            throw UsageError(job.output + ": the matte would replace an input");
        }
        const auto [other, is_new] = photo_of.emplace(output, job.photo);
        if (is_new) continue;
        throw UsageError("the mattes of " + other->second + " and " + job.photo +
                         " would both be called " + job.output);
    }
}

void check_output_name(const std::string& output) {
    std::string extension = fs::path(output).extension().string();
    for (char& c : extension) {
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    }
    if (extension == ".jpg" || extension == ".jpeg") {
        throw UsageError(output + ": mattes are PNG files; JPEG would smear them");
    }
}

}  // namespace

std::vector<Job> plan_jobs(const Options& options) {
    check_masks(options);
    check_output_name(options.output);
    const std::vector<std::string>& masks = options.masks();
    std::vector<Job> jobs;
    for (std::size_t i = 0; i < options.photos.size(); ++i) {
        const std::string& photo = options.photos[i];
        jobs.push_back({photo, masks[std::min(i, masks.size() - 1)], output_of(options, photo)});
    }
    check_outputs(jobs);
    return jobs;
}

std::string find_mask(const Job& job) {
    if (!is_directory(job.mask)) return job.mask;
    const std::string stem = fs::path(job.photo).stem().string();
    for (const char* extension : {".png", ".jpg", ".jpeg", ".PNG", ".JPG", ".JPEG"}) {
        const std::string mask = (fs::path(job.mask) / (stem + extension)).string();
        std::error_code error;
        // A photograph in the directory of the masks is not its own mask.
        if (fs::exists(mask, error) && canonical(mask) != canonical(job.photo)) return mask;
    }
    throw tools::ImageError(job.photo + ": no " + stem + ".png, .jpg or .jpeg in " + job.mask);
}

}  // namespace matte
