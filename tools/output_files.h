// Every file a command writes goes through one OutputFiles, so that all of them are checked before
// the first is written and either all appear or none does:
//
//   OutputFiles outputs;
//   outputs.addInput(scene);                        // never overwritten
//   outputs.add(png, "-o", {".png", ".exr"});
//   outputs.prepare();                              // checks every name, makes missing directories
//   outputs.write(png, [&](const std::string& to) { vkimage::writeImage(to, image); });
//   outputs.commit();                               // renames them into place, prints each name
//
// Writers write to a staging name beside the target (same directory, same extension); commit()
// renames every staged file onto its name. A command that fails before commit() leaves no staged
// file and no directory it created behind, and its messages name the target, never the staging
// file.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace vexakelo::cli {

class OutputFiles {
public:
    OutputFiles() = default;
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;
    ~OutputFiles();

    // A file the command reads; no output may name it.
    void addInput(const std::string& path);
    // An output given by `option` ("-o", "--web", "OUT"), with the extensions it may have
    // (case-insensitive; empty: any).
    void add(const std::string& path, const std::string& option,
             std::initializer_list<const char*> extensions = {});

    // Checks every output: its extension, that no two outputs and no input share it, that it is
    // not a directory or a read-only file, and that its directory can be written; then creates
    // missing directories. Throws Failure naming the file and the problem.
    void prepare();

    // Calls `writer` with the staging name of an output added before; a failure is rethrown as
    // Failure with the staging name replaced by the output's.
    void write(const std::string& path, const std::function<void(const std::string&)>& writer);

    // Renames every written output into place and prints its name, one a line, on `to`.
    void commit(std::FILE* to = stdout);

    // The staging name of an output (tests and messages use the real name).
    std::string stagingName(const std::string& path) const;

private:
    struct Output {
        std::string path;
        std::string option;
        std::vector<std::string> extensions;
        bool written = false;
    };
    const Output& find(const std::string& path) const;
    Output& find(const std::string& path);
    void discard() noexcept;

    std::vector<std::string> inputs_;
    std::vector<Output> outputs_;
    std::vector<std::filesystem::path> createdDirectories_;  // outermost first
    bool prepared_ = false;
    bool committed_ = false;
};

// The nearest of `candidates` to `word` by edit distance, or empty when none is close enough to
// be what was meant.
std::string nearestName(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace vexakelo::cli
