// What the library prints on standard output: "\nnp=<unknowns>" at each solve, and a line when the
// solver fails. It must not mix with a PNG on the way to a pipe.
#pragma once

#include <string>

namespace matte {

// While it lives, standard output (descriptor 1) leads to a buffer. One at a time.
class LibraryOutput {
  public:
    LibraryOutput();  // throws std::system_error where no pipe is to be had
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    // Puts standard output back and returns what was printed.
    std::string finish();

  private:
    void restore();
    int read_end_ = -1;
    int saved_output_ = -1;
};

struct SolverReport {
    long long unknowns = 0;  // of all solves; the known ring around the unknown pixels counts
    std::string complaint;   // the first other line, empty when all went well
};

SolverReport read_solver_report(const std::string& printed);

}  // namespace matte
