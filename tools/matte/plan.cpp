// Pairs photographs with masks and outputs before any work is done, so that a slip in the command
// line costs no minutes and no file. Outputs are compared by their canonical paths, and with inputs
// by inode: a hard link is the same picture under another name.

#include "tools/matte/plan.h"

#include <sys/stat.h>

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
    const fs::path result =
        fs::weakly_canonical(fs::absolute(tools::linked_file(path), error), error);
    return error ? path : result.string();
}

bool is_directory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool ends_in(const std::string& path, const char* extension) {
    std::string end = fs::path(path).extension().string();
    for (char& c : end) {
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    }
    return end == extension;
}

// --cutout and --composite name a file, or a directory: one that is there, one with a slash at its
// end, or, since one file cannot take several pictures, whatever is given for several photographs.
bool names_directory(const std::string& value, const Options& options) {
    if (value.empty() || value == "-") return false;
    return is_directory(value) || value.back() == '/' || options.photos.size() > 1;
}

std::string made_name(const std::string& directory, const std::string& photo, const char* end) {
    return (fs::path(directory) / (fs::path(photo).stem().string() + end)).string();
}

std::string main_output(const Options& options, const std::string& photo) {
    if (!options.output.empty()) return options.output;
    const bool asked_for = options.fg_only || !options.output_dir.empty();
    const bool others = !options.cutout.empty() || !options.composite.empty();
    if (others && !asked_for) return {};
    return made_name(options.output_dir, photo, options.fg_only ? "-fg.png" : "-matte.png");
}

std::string extra_output(const std::string& value, const char* end, const Options& options,
                         const std::string& photo) {
    return names_directory(value, options) ? made_name(value, photo, end) : value;
}

void check_masks(const Options& options) {
    const std::size_t photos = options.photos.size();
    const std::size_t masks = options.masks().size();
    if (masks == photos || (masks == 1 && is_directory(options.masks()[0]))) return;
    throw UsageError(std::to_string(photos) + (photos == 1 ? " photograph" : " photographs") +
                     " but " + options.mask_option() + " was given " + std::to_string(masks) +
                     (masks == 1 ? " time" : " times") + "; give it once for each, or a directory");
}

// The photograph's mask in the directory that job.mask is; empty where there is none.
std::string look_up_mask(const Job& job) {
    const std::string stem = fs::path(job.photo).stem().string();
    for (const char* extension : {".png", ".jpg", ".jpeg", ".PNG", ".JPG", ".JPEG"}) {
        std::string mask = (fs::path(job.mask) / (stem + extension)).string();
        std::error_code error;
        // A photograph in the directory of the masks is not its own mask.
        if (fs::exists(mask, error) && canonical(mask) != canonical(job.photo)) return mask;
    }
    return {};
}

std::vector<std::string> input_files(const std::vector<Job>& jobs, const Options& options) {
    std::vector<std::string> inputs;
    if (!options.background.empty()) inputs.push_back(options.background);
    for (const Job& job : jobs) {
        inputs.push_back(job.photo);
        inputs.push_back(is_directory(job.mask) ? look_up_mask(job) : job.mask);
    }
    return inputs;
}

// What tells regular files apart, also behind links of either kind; empty for anything else.
std::string identity(const std::string& path) {
    struct stat status;
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino);
}

void check_outputs(const std::vector<Job>& jobs, const Options& options) {
    std::set<std::string> inputs;
    for (const std::string& input : input_files(jobs, options)) inputs.insert(identity(input));
    inputs.erase("");
    std::map<std::string, std::string> photo_of;
    for (const Job& job : jobs) {
        for (const std::string& name : job.outputs()) {
            if (name != "-" && inputs.count(identity(name)) != 0) {
                throw UsageError(name + ": the output would replace an input");
            }
            const std::string output = name == "-" ? name : canonical(name);
            const auto [other, is_new] = photo_of.emplace(output, job.photo);
            if (is_new) continue;
            if (other->second == job.photo) throw UsageError(name + ": named for two outputs");
            throw UsageError("the outputs of " + other->second + " and " + job.photo +
                             " would both be called " + name);
        }
    }
}

void check_output_name(const std::string& output) {
    if (ends_in(output, ".jpg") || ends_in(output, ".jpeg")) {
        throw UsageError(output + ": outputs are PNG files; JPEG would smear them");
    }
}

void check_extra_output(const char* option, const std::string& value, const Options& options) {
    check_output_name(value);
    if (options.photos.size() < 2 || is_directory(value)) return;
    if (value == "-" || ends_in(value, ".png")) {
        throw UsageError(std::string(option) + " takes a directory for several photographs");
    }
}

}  // namespace

std::vector<std::string> Job::outputs() const {
    std::vector<std::string> wanted;
    for (const std::string* name : {&output, &cutout, &composite}) {
        if (!name->empty()) wanted.push_back(*name);
    }
    return wanted;
}

std::vector<Job> plan_jobs(const Options& options) {
    check_masks(options);
    check_output_name(options.output);
    check_extra_output("--cutout", options.cutout, options);
    check_extra_output("--composite", options.composite, options);
    const std::vector<std::string>& masks = options.masks();
    std::vector<Job> jobs;
    for (std::size_t i = 0; i < options.photos.size(); ++i) {
        const std::string& photo = options.photos[i];
        jobs.push_back({photo, masks[std::min(i, masks.size() - 1)], main_output(options, photo),
                        extra_output(options.cutout, "-cutout.png", options, photo),
                        extra_output(options.composite, "-composite.png", options, photo)});
    }
    check_outputs(jobs, options);
    return jobs;
}

std::vector<std::string> output_dirs(const Options& options) {
    std::vector<std::string> directories;
    if (!options.output_dir.empty()) directories.push_back(options.output_dir);
    for (const std::string* value : {&options.cutout, &options.composite}) {
        if (names_directory(*value, options)) directories.push_back(*value);
    }
    return directories;
}

std::string find_mask(const Job& job) {
    if (!is_directory(job.mask)) return job.mask;
    std::string mask = look_up_mask(job);
    if (!mask.empty()) return mask;
    throw tools::ImageError(job.photo + ": no " + fs::path(job.photo).stem().string() +
                            ".png, .jpg or .jpeg in " + job.mask);
}

}  // namespace matte
