// Reading the library's exported symbols: their C++ names, and the helper class each belongs to.
#pragma once

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace vktest {

// The readable C++ name of a mangled symbol, or the symbol itself when it is not one.
inline std::string demangle(const std::string& symbol) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? std::string(text.get()) : symbol;
}

// The helper class a demangled symbol belongs to ("" for none): a member (IESFile::read), a
// nested class's member (IESFile::GuardedReader::open), or its vtable or type information.
inline std::string helperClassOf(const std::string& demangled) {
    static const char* const kClasses[] = {"IESFile", "IntensityColorTool", "VexaKeloOceanHelper",
                                           "VexaKeloLandScapeHelper"};
    static const char* const kPrefixes[] = {"", "vtable for ", "typeinfo for ",
                                            "typeinfo name for "};
    for (const char* prefix : kPrefixes) {
        for (const char* cls : kClasses) {
            const std::string start = std::string(prefix) + cls;
            if (demangled.rfind(start, 0) == 0 &&
                (demangled.size() == start.size() || demangled[start.size()] == ':' ||
                 demangled[start.size()] == '(')) {
                return cls;
            }
        }
    }
    return "";
}

}  // namespace vktest
