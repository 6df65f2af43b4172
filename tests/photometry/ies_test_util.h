// Helpers for the photometry tests: building LM-63 texts and reading them through the guarded
// reader, so that a test that would loop forever fails instead of hanging.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "photometry/ies_file.h"

namespace iestest {

struct Parsed {
    IESFile::GuardedReader reader{IESFile::GuardedReader::Source::Buffer};
    IESFile file{&reader};
};

// Reads text through read(buffer) with the guard: EndlessRead escapes for a read that never ends.
inline std::unique_ptr<Parsed> parse(const std::string& text) {
    auto parsed = std::make_unique<Parsed>();
    parsed->file.read(text.c_str());
    return parsed;
}

inline std::string join(const std::vector<float>& values) {
    std::ostringstream out;
    for (std::size_t i = 0; i < values.size(); ++i) {
        out << (i ? " " : "") << values[i];
    }
    return out.str();
}

// A type C (or given type) file in canonical layout; candela(h, v) supplies the grid.
template <class Candela>
std::string lamp(const std::vector<float>& v, const std::vector<float>& h, Candela candela,
                 int type = 1, const std::string& tail = "") {
    std::ostringstream out;
    out << "IESNA:LM-63-1995\n[TEST] lamp\nTILT=NONE\n";
    out << "1 1000 1 " << v.size() << ' ' << h.size() << ' ' << type << " 2 0 0 0\n";
    out << "1 1 40\n" << join(v) << '\n' << join(h) << '\n';
    for (std::size_t hi = 0; hi < h.size(); ++hi) {
        std::vector<float> row;
        for (std::size_t vi = 0; vi < v.size(); ++vi) {
            row.push_back(candela(static_cast<int>(hi), static_cast<int>(vi)));
        }
        out << join(row) << '\n';
    }
    return out.str() + tail;
}

inline std::vector<float> steps(float first, float last, float step) {
    std::vector<float> out;
    for (float a = first; a <= last + 1e-3f; a += step) {
        out.push_back(a);
    }
    return out;
}

}  // namespace iestest
