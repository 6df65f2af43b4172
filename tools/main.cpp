// The vexakelo command-line program: loads the shader library as a host does and works with it.
#include <cstdio>
#include <map>
#include <string>

#include "command.h"

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

}  // namespace vexakelo::cli

int main(int argc, char** argv) {
    using namespace vexakelo::cli;
    CLI::App app{"vexakelo: shaders, photometry and texture helpers for a host ray tracer"};
    app.set_version_flag("--version", "vexakelo " VEXAKELO_VERSION);
    app.add_option("--library", globalOptions().libraryPath,
                   "path of libvexakelo.so (default: the one built beside this program)");
    app.require_subcommand(1);
    for (const auto& [name, setup] : registry()) {
        setup(app);
    }
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
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vexakelo: %s\n", e.what());
        return 1;
    }
    return 0;
}
