// Standard output by way of a pipe that is read afterwards. The few lines of a solve are far from
// its 64 KiB; the pipe does not block, so that more would be lost rather than wait for us forever.

#include "tools/matte/library_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <system_error>

namespace matte {

LibraryOutput::LibraryOutput() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
    std::fflush(stdout);
    saved_output_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[1]);
    read_end_ = ends[0];
}

LibraryOutput::~LibraryOutput() {
    restore();
    ::close(read_end_);
}

void LibraryOutput::restore() {
    if (saved_output_ < 0) return;
    std::fflush(stdout);
    ::dup2(saved_output_, STDOUT_FILENO);
    ::close(saved_output_);
    saved_output_ = -1;
}

std::string LibraryOutput::finish() {
    restore();
    std::string printed;
    char block[4096];
    ssize_t count;
    while ((count = ::read(read_end_, block, sizeof block)) > 0) {
        printed.append(block, std::size_t(count));
    }
    return printed;
}

SolverReport read_solver_report(const std::string& printed) {
    SolverReport report;
    std::istringstream lines(printed);
    lines.exceptions(std::ios::badbit);  // a complaint must not be lost for want of memory
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 3, "np=") == 0) {
            char* end = nullptr;
            report.unknowns += std::strtoll(line.c_str() + 3, &end, 10);
            line = end;  // a complaint follows without a line break
        }
        if (!line.empty() && report.complaint.empty()) report.complaint = line;
    }
    return report;
}

}  // namespace matte
