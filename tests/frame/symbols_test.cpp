// The dynamic symbol table of the built libvexakelo.so, read as a packager reads it
// (`nm -D --defined-only`): exactly the 48 C functions (create and getAPIVersion of each of the
// 24 catalogued shaders), then the members, vtables and type information of the four helper
// classes, and nothing else: no internals, no standard-library instantiations, nothing of libvyr
// or another dependency.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "frame/shader_catalog.h"
#include "support/demangle.h"
#include "shader_library.h"

namespace {

struct Symbol {
    char type;  // nm's letter: T text, R read-only data, V/W weak, D/B data
    std::string name;
};

std::vector<Symbol> definedDynamicSymbols(const std::string& library) {
    const std::string command = "nm -D --defined-only '" + library + "' 2>&1";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    std::vector<Symbol> symbols;
    if (!pipe) return symbols;
    char line[4096];
    while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        // "0000000000012345 T name": value, type letter, name.
        char type = 0;
        char name[4000] = {};
        if (std::sscanf(line, "%*s %c %3999s", &type, name) == 2) {
            symbols.push_back({type, name});
        }
    }
    return symbols;
}

using vktest::demangle;

using vktest::helperClassOf;

TEST(Symbols, LibraryExportsTheFactoriesAndTheHelperClassesOnly) {
    const vkhost::ShaderLibrary library;
    const std::vector<Symbol> symbols = definedDynamicSymbols(library.path());
    ASSERT_FALSE(symbols.empty()) << "nm -D printed nothing for " << library.path();

    std::set<std::string> expectedFunctions;
    for (const vexakelo::ShaderInfo& info : vexakelo::kShaderCatalog) {
        expectedFunctions.insert(std::string(info.name) + "_create");
        expectedFunctions.insert(std::string(info.name) + "_getAPIVersion");
    }
    ASSERT_EQ(expectedFunctions.size(), 48u);

    std::set<std::string> functions;
    std::set<std::string> classes;
    std::vector<std::string> unexpected;
    for (const Symbol& s : symbols) {
        if (expectedFunctions.count(s.name) != 0) {
            EXPECT_EQ(s.type, 'T') << s.name << " is not a plain function";
            functions.insert(s.name);
            continue;
        }
        const std::string demangled = demangle(s.name);
        const std::string cls = helperClassOf(demangled);
        if (!cls.empty()) {
            classes.insert(cls);
            continue;
        }
#if defined(__SANITIZE_ADDRESS__)
        // AddressSanitizer adds an ODR indicator beside each exported global.
        if (s.name.rfind("__odr_asan", 0) == 0) continue;
#endif
        unexpected.push_back(std::string(1, s.type) + " " + demangled);
    }
    EXPECT_EQ(functions, expectedFunctions);
    EXPECT_EQ(classes, (std::set<std::string>{"IESFile", "IntensityColorTool",
                                              "VexaKeloLandScapeHelper", "VexaKeloOceanHelper"}));
    for (const std::string& u : unexpected) ADD_FAILURE() << "unexpected export: " << u;
}

// The symbols the checks above rely on: a C factory must not be mangled (a host looks it up by
// its plain name), and the helper classes' nested error types must carry type information so a
// host's catch clause matches across the library boundary.
TEST(Symbols, FactoriesAreUnmangledAndErrorTypesAreShared) {
    const vkhost::ShaderLibrary library;
    std::set<std::string> names;
    for (const Symbol& s : definedDynamicSymbols(library.path())) names.insert(demangle(s.name));
    EXPECT_EQ(names.count("vexa_kelo_Mtl_Ward_create"), 1u);
    EXPECT_EQ(names.count("Background_getAPIVersion"), 1u);
    for (const char* type : {"IESFile::EndlessRead", "IESFile::CanonicalError"}) {
        EXPECT_EQ(names.count(std::string("typeinfo for ") + type), 1u) << type;
    }
}

}  // namespace
