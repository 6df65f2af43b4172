// Reading a photometric file the way a host application should: the bytes canonicalised into the
// layout the library's line reader finishes, then read through the guarded reader so that no file
// can hang the host. Shared by the `vexakelo ies` command and the renderer's web lights.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "photometry/ies_file.h"

namespace vkhost {

// A file that could not be read, with the reason in one line (without the path).
struct IesLoadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The lamp's tilt block (LM-63): multiplying factors by tilt angle for a lamp-to-luminaire
// geometry. The library skips these numbers; the tools report them and can bake them in.
struct TiltData {
    std::string source = "NONE";  // "NONE", "INCLUDE" or the file the TILT= line names
    std::string filePath;         // that file, resolved beside the lamp ("" otherwise)
    std::string problem;          // why a named file's data is missing ("" when read)
    int geometry = 0;             // 1 lamp vertical, 2 and 3 lamp horizontal
    std::vector<float> angles;    // degrees
    std::vector<float> factors;
    bool present() const { return !angles.empty(); }
};

struct LoadedIes {
    std::unique_ptr<IESFile::GuardedReader> reader;
    std::unique_ptr<IESFile> file;
    std::string canonical;  // what the canonicaliser changed ("" under strict)
    std::uint32_t changes = 0;
    TiltData tilt;
};

// Largest file accepted.
inline constexpr std::uintmax_t kMaxIesFileBytes = 64u << 20;

// Largest web texture side accepted. The library makes whatever size the angle lists give (a
// zero step is not guarded there), so the guard lives here, before anything is generated.
inline constexpr std::int32_t kMaxWebTextureSide = 4097;

struct WebSize {
    std::int32_t wv = 0;
    std::int32_t hh = 0;
};

// The web texture's sides for the record; throws IesLoadError naming the angle list when a side
// falls outside [2, kMaxWebTextureSide] (descending, equal-ended or absurdly fine angles).
WebSize checkedWebSize(const IESFileData& record);

// Canonicalises and reads the file; with `strict` the raw file goes through the plain file reader
// (guarded) instead. Throws IesLoadError for a file that is missing, unreadable, never finishes
// or holds no complete photometric data, and, with `forWebLight`, for one whose angle lists give
// no usable web texture (checkedWebSize).
LoadedIes loadIes(const std::string& path, bool strict = false, bool forWebLight = true);

// A lamp's bytes read as loadIes reads a file (canonicalised, guarded, checked), for lamps that
// come from memory; without a path there is no tilt file to look for, so `tilt` stays empty.
LoadedIes loadIesBytes(const std::string& bytes, bool forWebLight = true);

// The file's bytes; throws IesLoadError.
std::string readIesBytes(const std::string& path);

}  // namespace vkhost
