// Subcommands of the vexakelo program register themselves: each tools/<name>.cpp holds
//   static const vexakelo::cli::Registration kRegistration{"name", &setupName};
// where setupName adds its subcommand to the application and sets its callback.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace vexakelo::cli {

using Setup = void (*)(CLI::App& app);

struct Registration {
    Registration(const char* name, Setup setup);
};

// A failure the program reports as one line "vexakelo: <message>" with exit status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A command line that is wrong in itself (a missing argument, options that exclude each other),
// found by the command rather than the parser: reported like a parse error, with exit status 2.
struct UsageError : Failure {
    using Failure::Failure;
};

// Global options every subcommand may read.
struct GlobalOptions {
    std::string libraryPath;  // empty: the library built beside the program
};
GlobalOptions& globalOptions();

// The `vexakelo` program holds only the commands that need neither the renderer nor the image
// and plotting libraries, so that they start fast; it hands every other command line, unchanged,
// to the full program installed beside it. A light command calls this for an option it cannot
// serve (an image output). Throws Failure when the full program cannot be started.
[[noreturn]] void runInFullProgram();

}  // namespace vexakelo::cli
