#include "ies_loading.h"

#include <cerrno>
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
    std::ostringstream bytes;
    bytes << in.rdbuf();
    if (in.bad()) {
        throw IesLoadError("read error");
    }
    return bytes.str();
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

LoadedIes loadIes(const std::string& path, bool strict, bool forWebLight) {
    LoadedIes loaded;
    const std::string bytes = readIesBytes(path);
    try {
        if (strict) {
            // The raw file through the plain file reader, guarded.
            loaded.reader = std::make_unique<IESFile::GuardedReader>(
                IESFile::GuardedReader::Source::File);
            loaded.file = std::make_unique<IESFile>(loaded.reader.get());
            loaded.file->read(widen(path));
            if (!loaded.reader->failure().empty()) {
                throw IesLoadError(loaded.reader->failure());
            }
        } else {
            const IESFile::Canonical canonical = IESFile::canonicalize(bytes);
            loaded.canonical = canonical.describe();
            loaded.changes = canonical.changes;
            loaded.reader = std::make_unique<IESFile::GuardedReader>(
                IESFile::GuardedReader::Source::Buffer);
            loaded.file = std::make_unique<IESFile>(loaded.reader.get());
            loaded.file->read(canonical.text.c_str());
        }
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
        throw IesLoadError("no complete photometric data (luminaire line, angles and candela values)");
    }
    if (forWebLight) {
        checkedWebSize(*d);
    }
    return loaded;
}

}  // namespace vkhost
