// How the small programs end: one line on standard error, status 2 for misuse, 1 for failure.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>

namespace tools {

// Parses the command line, then calls `work`. Returns the process's exit status.
template <class Work>
int run_program(CLI::App& app, int argc, char** argv, Work work) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), error.what());
        return 2;
    }
    try {
        work();
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "%s: not enough memory\n", app.get_name().c_str());
        return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), error.what());
        return 1;
    }
    return 0;
}

}  // namespace tools
