#include "output_files.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

#include "command.h"

namespace vexakelo::cli {

namespace fs = std::filesystem;

namespace {

bool endsWith(const std::string& path, const std::string& extension) {
    if (path.size() < extension.size()) {
        return false;
    }
    return std::equal(extension.begin(), extension.end(), path.end() - extension.size(),
                      [](char a, char b) {
                          return std::tolower(static_cast<unsigned char>(a)) ==
                                 std::tolower(static_cast<unsigned char>(b));
                      });
}

std::string extensionList(const std::vector<std::string>& extensions) {
    std::string out;
    for (std::size_t i = 0; i < extensions.size(); ++i) {
        out += (i == 0 ? "" : i + 1 == extensions.size() ? " or " : ", ") + extensions[i];
    }
    return out;
}

// The same file, whether or not it exists yet: one name resolved through links and "..".
bool sameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    if (fs::equivalent(a, b, error)) {
        return true;
    }
    const fs::path ca = fs::weakly_canonical(a, error);
    if (error) {
        return a == b;
    }
    const fs::path cb = fs::weakly_canonical(b, error);
    return error ? a == b : ca == cb;
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    if (from.empty()) {
        return text;
    }
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// Insertions, deletions, substitutions and swaps of neighbours ("lsit" is one step from "list").
std::size_t editDistance(const std::string& a, const std::string& b) {
    const std::size_t n = a.size(), m = b.size();
    std::vector<std::vector<std::size_t>> d(n + 1, std::vector<std::size_t>(m + 1));
    for (std::size_t i = 0; i <= n; ++i) d[i][0] = i;
    for (std::size_t j = 0; j <= m; ++j) d[0][j] = j;
    for (std::size_t i = 1; i <= n; ++i) {
        for (std::size_t j = 1; j <= m; ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                d[i - 1][j - 1] + (a[i - 1] != b[j - 1] ? 1 : 0)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[n][m];
}

}  // namespace

OutputFiles::~OutputFiles() {
    if (!committed_) {
        discard();
    }
}

void OutputFiles::addInput(const std::string& path) { inputs_.push_back(path); }

void OutputFiles::add(const std::string& path, const std::string& option,
                      std::initializer_list<const char*> extensions) {
    Output output{path, option, {}, false};
    for (const char* e : extensions) output.extensions.emplace_back(e);
    outputs_.push_back(std::move(output));
}

void OutputFiles::prepare() {
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
        const Output& o = outputs_[i];
        const std::string where = o.path + ": " + o.option;
        if (o.path.empty()) {
            throw Failure(o.option + ": an empty file name");
        }
        if (!o.extensions.empty() &&
            std::none_of(o.extensions.begin(), o.extensions.end(),
                         [&](const std::string& e) { return endsWith(o.path, e); })) {
            throw Failure(where + " writes " + extensionList(o.extensions) +
                          " files; give a name ending in " + extensionList(o.extensions));
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (sameFile(outputs_[j].path, o.path)) {
                throw Failure(where + " names the same file as " + outputs_[j].option);
            }
        }
        for (const std::string& input : inputs_) {
            if (sameFile(input, o.path)) {
                throw Failure(where + " would overwrite the input " + input + "; not written");
            }
        }
        std::error_code error;
        const fs::file_status status = fs::status(o.path, error);
        if (fs::is_directory(status)) {
            throw Failure(where + " names a directory, not a file");
        }
        if (fs::exists(status) && !fs::is_regular_file(status)) {
            throw Failure(where + " names something that is not a regular file");
        }
        if (fs::exists(status) && ::access(o.path.c_str(), W_OK) != 0) {
            throw Failure(o.path + ": cannot overwrite (" + std::strerror(errno) + ")");
        }
        // The nearest directory that exists must be one this process can write in.
        fs::path parent = fs::path(o.path).parent_path();
        fs::path existing = parent.empty() ? fs::path(".") : parent;
        while (!fs::exists(existing, error)) {
            const fs::path up = existing.parent_path();
            existing = up.empty() ? fs::path(".") : up;
        }
        if (!fs::is_directory(existing, error)) {
            throw Failure(o.path + ": " + existing.string() + " is not a directory");
        }
        if (::access(existing.c_str(), W_OK | X_OK) != 0) {
            throw Failure(o.path + ": cannot write in " + existing.string() + " (" +
                          std::strerror(errno) + ")");
        }
    }
    // Missing directories are made, and removed again when the command fails.
    for (const Output& o : outputs_) {
        const fs::path parent = fs::path(o.path).parent_path();
        std::error_code error;
        if (parent.empty() || fs::is_directory(parent, error)) {
            continue;
        }
        std::vector<fs::path> missing;
        for (fs::path p = parent; !p.empty() && !fs::exists(p, error); p = p.parent_path()) {
            missing.push_back(p);
            if (p == p.parent_path()) break;
        }
        for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
            if (!fs::create_directory(*it, error) && error) {
                throw Failure(o.path + ": cannot create the directory " + it->string() + " (" +
                              error.message() + ")");
            }
            createdDirectories_.push_back(*it);
        }
    }
    prepared_ = true;
}

const OutputFiles::Output& OutputFiles::find(const std::string& path) const {
    for (const Output& o : outputs_) {
        if (o.path == path) return o;
    }
    throw Failure(path + ": not among the command's outputs");  // a programming error
}

OutputFiles::Output& OutputFiles::find(const std::string& path) {
    return const_cast<Output&>(std::as_const(*this).find(path));
}

std::string OutputFiles::stagingName(const std::string& path) const {
    const Output& o = find(path);
    const fs::path p(o.path);
    // The same extension: writers pick the format by it.
    return (p.parent_path() / ("." + p.filename().string() + ".vexakelo-" +
                               std::to_string(::getpid()) + p.extension().string()))
        .string();
}

void OutputFiles::write(const std::string& path,
                        const std::function<void(const std::string&)>& writer) {
    if (!prepared_) {
        prepare();
    }
    Output& o = find(path);
    const std::string staging = stagingName(path);
    o.written = true;
    try {
        writer(staging);
    } catch (const std::exception& e) {
        // Writers name the file they were given, and their own temporary beside it.
        const std::string message = replaceAll(
            replaceAll(e.what(), staging + ".partial", o.path), staging, o.path);
        throw Failure(message);
    }
}

void OutputFiles::commit(std::FILE* to) {
    for (const Output& o : outputs_) {
        if (!o.written) continue;
        std::error_code error;
        fs::rename(stagingName(o.path), o.path, error);
        if (error) {
            throw Failure(o.path + ": cannot write (" + error.message() + ")");
        }
    }
    committed_ = true;
    for (const Output& o : outputs_) {
        if (o.written) std::fprintf(to, "%s\n", o.path.c_str());
    }
    std::fflush(to);
}

void OutputFiles::discard() noexcept {
    for (const Output& o : outputs_) {
        if (!o.written) continue;
        std::error_code ignored;
        try {
            fs::remove(stagingName(o.path), ignored);
            fs::remove(stagingName(o.path) + ".partial", ignored);
        } catch (...) {
        }
    }
    // Innermost first; a directory that is not empty is not ours to empty.
    for (auto it = createdDirectories_.rbegin(); it != createdDirectories_.rend(); ++it) {
        std::error_code ignored;
        fs::remove(*it, ignored);
    }
}

std::string nearestName(const std::string& word, const std::vector<std::string>& candidates) {
    std::string best;
    std::size_t bestDistance = 0;
    for (const std::string& c : candidates) {
        const std::size_t d = editDistance(word, c);
        if (best.empty() || d < bestDistance) {
            best = c;
            bestDistance = d;
        }
    }
    // Close enough to be a slip of the fingers, not a different word.
    const std::size_t allowed = std::max<std::size_t>(1, std::min<std::size_t>(3, word.size() / 3));
    return bestDistance <= allowed ? best : std::string();
}

}  // namespace vexakelo::cli
