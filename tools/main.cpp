// The vexakelo command-line program: loads the shader library as a host does and works with it.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "command.h"
#include "output_files.h"

#ifndef VEXAKELO_VERSION
#define VEXAKELO_VERSION "0"
#endif

namespace vexakelo::cli {
namespace {
std::map<std::string, Setup>& registry() {
    static std::map<std::string, Setup> commands;
    return commands;
}
}  // namespace

Registration::Registration(const char* name, Setup setup) { registry().emplace(name, setup); }

GlobalOptions& globalOptions() {
    static GlobalOptions options;
    return options;
}

namespace {
// The subcommand named on the command line, or empty when options come first (help, version)
// or there is none.
std::string subcommandOf(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--library") {
            ++i;
        } else if (arg.rfind("--library=", 0) == 0) {
            continue;
        } else if (arg.empty() || arg[0] == '-') {
            return {};
        } else {
            return arg;
        }
    }
    return {};
}
}  // namespace

#ifdef VEXAKELO_FULL_PROGRAM
namespace {
char** commandLine = nullptr;
}  // namespace

void runInFullProgram() {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw Failure("cannot locate this program (" + error.message() + ")");
    }
    const std::filesystem::path full = self.parent_path() / VEXAKELO_FULL_PROGRAM;
    std::cout.flush();
    std::fflush(nullptr);
    ::execv(full.c_str(), commandLine);
    throw Failure(full.string() + ": cannot run (" + std::strerror(errno) + ")");
}
#endif

}  // namespace vexakelo::cli

int main(int argc, char** argv) {
    using namespace vexakelo::cli;
#ifdef VEXAKELO_FULL_PROGRAM
    commandLine = argv;
    if (registry().count(subcommandOf(argc, argv)) == 0) {
        try {
            runInFullProgram();
        } catch (const std::exception& e) {
            std::fprintf(stderr, "vexakelo: %s\n", e.what());
            return 1;
        }
    }
#endif
    CLI::App app{"vexakelo: shaders, photometry and texture helpers for a host ray tracer"};
    app.set_version_flag("--version", "vexakelo " VEXAKELO_VERSION);
    app.add_option("--library", globalOptions().libraryPath,
                   "path of libvexakelo.so (default: the one built beside this program)");
    app.footer("Exit status: 0 done; 1 the command failed on what it reads or writes; 2 the "
               "command line is wrong; 3 diff --fail-above over its threshold. Outputs are "
               "checked before any is written and appear together or not at all; missing "
               "output directories are made.");
    app.require_subcommand(1);
    // Global options may also follow the command: `vexakelo list --library build/x.so`.
    app.fallthrough();
    for (const auto& [name, setup] : registry()) {
        setup(app);
    }
#ifndef VEXAKELO_FULL_PROGRAM
    // Every command is here: a name that is none of them is a slip to point out, not a usage
    // summary to print.
    const std::string command = subcommandOf(argc, argv);
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands({})) names.push_back(sub->get_name());
    if (!command.empty() && std::find(names.begin(), names.end(), command) == names.end()) {
        const std::string nearest = nearestName(command, names);
        std::fprintf(stderr, "vexakelo: unknown command '%s'%s (see --help)\n", command.c_str(),
                     nearest.empty() ? "" : (" (did you mean '" + nearest + "'?)").c_str());
        return 2;
    }
#endif
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        // One line, like every other failure of the program.
        std::fprintf(stderr, "vexakelo: %s (see --help)\n", e.what());
        return 2;
    } catch (const UsageError& e) {
        std::fprintf(stderr, "vexakelo: %s (see --help)\n", e.what());
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vexakelo: %s\n", e.what());
        return 1;
    }
    return 0;
}
