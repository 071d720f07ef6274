// What the user sees of the work, on standard error.
#pragma once

#include <chrono>
#include <string>

namespace matte {

class Progress {
  public:
    // Failures and notes are always shown; `verbose` adds the details. While a stage runs, a
    // terminal shows its name on a line that the next output replaces.
    Progress(int photos, bool verbose);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void start_photo(const std::string& photo);

    // Ends the stage before. `name` is a present participle: "reading".
    void start_stage(const std::string& name);

    // Ends the last stage and, when verbose, reports the time of all.
    void end_photo();

    void detail(const std::string& text);  // about the photograph, when verbose
    void line(const std::string& text);    // always: failures and notes, naming their file

  private:
    void end_stage();
    void clear_status();

    const int photos_;
    const bool verbose_;
    const bool terminal_;
    int photo_number_ = 0;
    std::string photo_;
    std::string stage_;  // empty between stages
    std::string times_;
    std::chrono::steady_clock::time_point stage_start_;
};

}  // namespace matte
