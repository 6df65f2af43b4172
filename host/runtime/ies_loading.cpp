#include "ies_loading.h"

#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>

namespace vkhost {

namespace fs = std::filesystem;

std::string readIesBytes(const std::string& path) {
    std::error_code error;
    if (!fs::exists(path, error)) {
        throw IesLoadError("no such file");
    }
    if (!fs::is_regular_file(path, error)) {
        throw IesLoadError("not a regular file");
    }
    const std::uintmax_t size = fs::file_size(path, error);
    if (error) {
        throw IesLoadError("cannot read its size: " + error.message());
    }
    if (size > kMaxIesFileBytes) {
        throw IesLoadError("too large for a photometric file (" + std::to_string(size) + " bytes)");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw IesLoadError(std::string("cannot open: ") + std::strerror(errno));
    }
    // Read straight into a string of the file's size: a string stream would hold the text two or
    // three times over on the way.
    std::string bytes(static_cast<std::size_t>(size), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    if (in.bad()) {
        throw IesLoadError("read error");
    }
    return bytes;
}

namespace {

// The reader encodes wide paths as UTF-8; decode ours from UTF-8 so that the path round-trips.
std::wstring widen(const std::string& utf8) {
    std::wstring out;
    std::size_t i = 0;
    while (i < utf8.size()) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        std::size_t extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        if (i + extra >= utf8.size()) {
            extra = 0;  // a cut sequence: the byte as it is
        }
        std::uint32_t code = extra == 0 ? c : (c & (0x7Fu >> (extra + 1)));
        for (std::size_t k = 1; k <= extra; ++k) {
            code = (code << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3Fu);
        }
        out.push_back(static_cast<wchar_t>(code));
        i += extra + 1;
    }
    return out;
}

// Numbers of a tilt block: geometry, pair count, angles, factors. "" when complete, else why not.
std::string parseTiltNumbers(const char* p, const char* end, TiltData& tilt) {
    std::vector<float> numbers;
    std::size_t wanted = 2;
    while (numbers.size() < wanted) {
        while (p != end && (std::isspace(static_cast<unsigned char>(*p)) || *p == ',')) ++p;
        if (p == end) {
            return "the tilt data ends after " + std::to_string(numbers.size()) + " numbers";
        }
        const char* wordEnd = p;
        while (wordEnd != end && !std::isspace(static_cast<unsigned char>(*wordEnd)) &&
               *wordEnd != ',') {
            ++wordEnd;
        }
        const std::string word(p, wordEnd);
        char* stop = nullptr;
        const float value = std::strtof(word.c_str(), &stop);
        if (stop != word.c_str() + word.size() || !std::isfinite(value)) {
            std::string problem = "'";
            problem.append(word, 0, 40);
            problem += "' in the tilt data is not a number";
            return problem;
        }
        numbers.push_back(value);
        if (numbers.size() == 2) {
            if (!(value >= 1.0f && value <= 100000.0f)) {
                return "the tilt data announces " + word + " angles";
            }
            wanted = 2 + 2 * static_cast<std::size_t>(value);
        }
        p = wordEnd;
    }
    tilt.geometry = static_cast<int>(numbers[0]);
    const auto n = static_cast<std::ptrdiff_t>((numbers.size() - 2) / 2);
    tilt.angles.assign(numbers.begin() + 2, numbers.begin() + 2 + n);
    tilt.factors.assign(numbers.begin() + 2 + n, numbers.end());
    return "";
}

// The TILT= line of a lamp text and, for INCLUDE or a named file, the block it gives.
TiltData readTilt(const std::string& text, const std::string& lampPath) {
    TiltData tilt;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t eol = text.find_first_of("\r\n", at);
        if (eol == std::string::npos) eol = text.size();
        std::size_t first = at;
        while (first < eol && (text[first] == ' ' || text[first] == '\t')) ++first;
        if (eol - first >= 5 && strncasecmp(text.c_str() + first, "TILT=", 5) == 0) {
            std::string value = text.substr(first + 5, eol - first - 5);
            while (!value.empty() && std::isspace(static_cast<unsigned char>(value.back()))) {
                value.pop_back();
            }
            while (!value.empty() && std::isspace(static_cast<unsigned char>(value.front()))) {
                value.erase(value.begin());
            }
            if (strcasecmp(value.c_str(), "NONE") == 0) {
                return tilt;
            }
            if (strcasecmp(value.c_str(), "INCLUDE") == 0) {
                tilt.source = "INCLUDE";
                const std::string problem =
                    parseTiltNumbers(text.data() + eol, text.data() + text.size(), tilt);
                if (!problem.empty()) {
                    throw IesLoadError(problem);
                }
                return tilt;
            }
            tilt.source = value;
            const fs::path named(value);
            tilt.filePath =
                (named.is_absolute() ? named : fs::path(lampPath).parent_path() / named).string();
            try {
                const std::string bytes = readIesBytes(tilt.filePath);
                tilt.problem = parseTiltNumbers(bytes.data(), bytes.data() + bytes.size(), tilt);
            } catch (const IesLoadError& e) {
                tilt.problem = e.what();
            }
            if (!tilt.problem.empty()) {
                tilt.angles.clear();
                tilt.factors.clear();
            }
            return tilt;
        }
        at = eol + 1;
    }
    return tilt;
}

}  // namespace

WebSize checkedWebSize(const IESFileData& d) {
    auto side = [](const float* angles, std::int32_t count, double span, const char* which) {
        const double s = IESFile::textureSide(angles, count, span);
        if (!(s >= 2.0 && s <= kMaxWebTextureSide)) {
            char line[200];
            std::snprintf(line, sizeof line,
                          "%s angles %.9g .. %.9g give a web texture side of %.9g (the web light "
                          "needs 2 to %d)",
                          which, static_cast<double>(angles[0]),
                          static_cast<double>(angles[count - 1]), s, kMaxWebTextureSide);
            throw IesLoadError(line);
        }
        return static_cast<std::int32_t>(s);
    };
    WebSize size;
    size.wv = side(d.verticalAngles, d.verticalAngleCount, 180.0, "vertical");
    size.hh = side(d.horizontalAngles, d.horizontalAngleCount, 360.0, "horizontal");
    return size;
}

namespace {

// The canonical text through the guarded buffer reader.
void readCanonical(LoadedIes& loaded, const IESFile::Canonical& canonical) {
    loaded.canonical = canonical.describe();
    loaded.changes = canonical.changes;
    loaded.reader =
        std::make_unique<IESFile::GuardedReader>(IESFile::GuardedReader::Source::Buffer);
    loaded.file = std::make_unique<IESFile>(loaded.reader.get());
    loaded.file->read(canonical.text.c_str());
}

// Runs `read`, turning the reader's failures into IesLoadError, then checks that the record is
// complete (and, for a web light, that it gives a usable web texture).
template <class Read>
LoadedIes checkedLoad(Read&& read, bool forWebLight) {
    LoadedIes loaded;
    try {
        read(loaded);
    } catch (const IESFile::CanonicalError& e) {
        throw IesLoadError(e.what());
    } catch (const IESFile::EndlessRead& e) {
        throw IesLoadError(e.what());
    } catch (const std::bad_alloc&) {
        throw IesLoadError("out of memory while reading");
    }
    const IESFileData* d = loaded.file->data();
    if (d == nullptr) {
        throw IesLoadError("the file could not be read");
    }
    if (d->candelas == nullptr || d->verticalAngles == nullptr || d->horizontalAngles == nullptr) {
        throw IesLoadError(
            "no complete photometric data (luminaire line, angles and candela values)");
    }
    if (forWebLight) {
        checkedWebSize(*d);
    }
    return loaded;
}

}  // namespace

LoadedIes loadIes(const std::string& path, bool strict, bool forWebLight) {
    std::string bytes = readIesBytes(path);
    return checkedLoad(
        [&](LoadedIes& loaded) {
            if (strict) {
                // The raw file through the plain file reader, guarded.
                loaded.reader =
                    std::make_unique<IESFile::GuardedReader>(IESFile::GuardedReader::Source::File);
                loaded.file = std::make_unique<IESFile>(loaded.reader.get());
                loaded.tilt = readTilt(bytes, path);
                loaded.file->read(widen(path));
                if (!loaded.reader->failure().empty()) {
                    throw IesLoadError(loaded.reader->failure());
                }
                return;
            }
            const IESFile::Canonical canonical = IESFile::canonicalize(bytes);
            std::string().swap(bytes);  // the canonical text is all the read needs
            loaded.tilt = readTilt(canonical.text, path);
            readCanonical(loaded, canonical);
        },
        forWebLight);
}

LoadedIes loadIesBytes(const std::string& bytes, bool forWebLight) {
    return checkedLoad(
        [&](LoadedIes& loaded) { readCanonical(loaded, IESFile::canonicalize(bytes)); },
        forWebLight);
}

}  // namespace vkhost
