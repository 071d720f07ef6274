// Progress and reports. The status line of a terminal is cleared before anything else is written,
// and at the end, so that a log never shows more than whole lines.

#include "tools/matte/progress.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace matte {

Progress::Progress(int photos, bool verbose)
    : photos_(photos), verbose_(verbose), terminal_(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() { clear_status(); }

void Progress::start_photo(const std::string& photo) {
    photo_ = photo;
    stage_.clear();
    times_.clear();
    ++photo_number_;
}

void Progress::start_stage(const std::string& name) {
    end_stage();
    stage_ = name;
    stage_start_ = std::chrono::steady_clock::now();
    if (!terminal_) return;
    const std::string file = std::filesystem::path(photo_).filename().string();
    std::fprintf(stderr, "\r\033[K[%d/%d] %s: %s ...", photo_number_, photos_, file.c_str(),
                 name.c_str());
    std::fflush(stderr);
}

void Progress::end_stage() {
    if (stage_.empty()) return;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - stage_start_;
    char text[64];
    std::snprintf(text, sizeof text, " %.3f s", elapsed.count());
    times_ += (times_.empty() ? "" : ", ") + stage_ + text;
    stage_.clear();
}

void Progress::end_photo() {
    end_stage();
    detail(times_);
}

void Progress::detail(const std::string& text) {
    if (verbose_) line(photo_ + ": " + text);
}

void Progress::line(const std::string& text) {
    clear_status();
    std::fprintf(stderr, "matte: %s\n", text.c_str());
}

void Progress::clear_status() {
    if (terminal_) std::fputs("\r\033[K", stderr);
}

}  // namespace matte
