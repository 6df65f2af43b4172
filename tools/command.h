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

// Global options every subcommand may read.
struct GlobalOptions {
    std::string libraryPath;  // empty: the library built beside the program
};
GlobalOptions& globalOptions();

}  // namespace vexakelo::cli
