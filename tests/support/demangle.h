// The readable C++ name of a mangled symbol, or the symbol itself when it is not one.
#pragma once

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace vktest {

inline std::string demangle(const std::string& symbol) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? std::string(text.get()) : symbol;
}

}  // namespace vktest
