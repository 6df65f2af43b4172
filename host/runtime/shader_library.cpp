#include "shader_library.h"

#include "allocation_probe.h"

#include <dlfcn.h>
#include <elf.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#ifndef VEXAKELO_DEFAULT_LIBRARY
#define VEXAKELO_DEFAULT_LIBRARY "libvexakelo.so"
#endif

namespace vkhost {
namespace {

constexpr std::string_view kCreateSuffix = "_create";
constexpr std::string_view kVersionSuffix = "_getAPIVersion";

template <class T>
T readAt(const std::vector<char>& bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) {
        throw LoadError("truncated ELF file");
    }
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

// Appends rather than using operator+, which trips a false -Wrestrict in g++ 12.
std::string withSuffix(const std::string& name, std::string_view suffix) {
    std::string symbol = name;
    symbol.append(suffix);
    return symbol;
}

}  // namespace

std::string defaultLibraryPath() {
#ifdef VEXAKELO_INSTALLED_LIBRARY
    // An installed program finds the plug-in in the library directory beside its own.
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const std::filesystem::path installed = self.parent_path() / VEXAKELO_INSTALLED_LIBRARY;
        if (std::filesystem::exists(installed, error)) {
            return installed.lexically_normal().string();
        }
    }
#endif
    return VEXAKELO_DEFAULT_LIBRARY;
}

std::vector<std::string> definedDynamicSymbols(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw LoadError(path + ": cannot open");
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    const auto header = readAt<Elf64_Ehdr>(bytes, 0);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        throw LoadError(path + ": not a 64-bit ELF file");
    }
    std::vector<std::string> names;
    for (int i = 0; i < header.e_shnum; ++i) {
        const auto section =
            readAt<Elf64_Shdr>(bytes, header.e_shoff + static_cast<std::size_t>(i) *
                                                           header.e_shentsize);
        if (section.sh_type != SHT_DYNSYM) {
            continue;
        }
        const auto strings = readAt<Elf64_Shdr>(
            bytes, header.e_shoff + static_cast<std::size_t>(section.sh_link) * header.e_shentsize);
        const std::size_t count = section.sh_size / sizeof(Elf64_Sym);
        for (std::size_t s = 0; s < count; ++s) {
            const auto symbol = readAt<Elf64_Sym>(bytes, section.sh_offset + s * sizeof(Elf64_Sym));
            const int type = ELF64_ST_TYPE(symbol.st_info);
            if (symbol.st_shndx == SHN_UNDEF || (type != STT_FUNC && type != STT_OBJECT) ||
                ELF64_ST_VISIBILITY(symbol.st_other) != STV_DEFAULT) {
                continue;
            }
            const std::size_t at = strings.sh_offset + symbol.st_name;
            if (at >= bytes.size()) {
                throw LoadError(path + ": symbol name outside the file");
            }
            names.emplace_back(bytes.data() + at, strnlen(bytes.data() + at, bytes.size() - at));
        }
    }
    return names;
}

ShaderLibrary::ShaderLibrary(const std::string& path) : path_(path) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        const char* reason = dlerror();
        throw LoadError("cannot load shader library " + path + ": " +
                        (reason != nullptr ? reason : "unknown reason"));
    }
    const std::vector<std::string> symbols = definedDynamicSymbols(path);
    const std::set<std::string> all(symbols.begin(), symbols.end());
    for (const std::string& name : all) {
        if (name.size() > kCreateSuffix.size() && name.ends_with(kCreateSuffix)) {
            const std::string shader = name.substr(0, name.size() - kCreateSuffix.size());
            if (all.count(withSuffix(shader, kVersionSuffix)) != 0) {
                shaderNames_.push_back(shader);
            }
        }
    }
}

ShaderLibrary::~ShaderLibrary() {
    if (handle_ != nullptr) {
        dlclose(handle_);
    }
}

void* ShaderLibrary::symbol(const std::string& name) const { return dlsym(handle_, name.c_str()); }

bool ShaderLibrary::hasShader(const std::string& name) const {
    return std::find(shaderNames_.begin(), shaderNames_.end(), name) != shaderNames_.end();
}

int ShaderLibrary::apiVersion(const std::string& name) const {
    using VersionFn = int (*)();
    const auto version = reinterpret_cast<VersionFn>(symbol(withSuffix(name, kVersionSuffix)));
    if (version == nullptr) {
        throw LoadError(path_ + ": no shader named '" + name + "'");
    }
    return version();
}

ShaderPtr ShaderLibrary::create(const std::string& name) const { return create(name, nullptr); }

ShaderPtr ShaderLibrary::create(const std::string& name, std::size_t* objectSize) const {
    using CreateFn = vyr::IShaderBase* (*)();
    const auto factory = reinterpret_cast<CreateFn>(symbol(withSuffix(name, kCreateSuffix)));
    if (factory == nullptr) {
        throw LoadError(path_ + ": no shader named '" + name + "'");
    }
    const int version = apiVersion(name);
    if (version != vyr::kShaderApiVersion) {
        throw LoadError(path_ + ": shader '" + name + "' was built for interface version " +
                        std::to_string(version) + ", this host speaks " +
                        std::to_string(vyr::kShaderApiVersion));
    }
    resetNothrowProbe();
    ShaderPtr shader(factory());
    if (objectSize != nullptr) {
        *objectSize = lastNothrowAllocation();
    }
    if (!shader) {
        throw LoadError(path_ + ": " + name + "_create returned null (out of memory)");
    }
    return shader;
}

}  // namespace vkhost
