// The contract of every exported factory, in one table: the library's export table may hold only
// shader factories and version functions of catalogued shaders and the four helper classes, and
// every exported shader matches its catalog row in kind, flags and object size.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "frame/shader_catalog.h"
#include "support/demangle.h"
#include "parameters.h"
#include "shader_library.h"

namespace {

const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

const vexakelo::ShaderInfo* catalogEntry(std::string_view name) {
    for (const vexakelo::ShaderInfo& info : vexakelo::kShaderCatalog) {
        if (info.name == name) {
            return &info;
        }
    }
    return nullptr;
}

using vktest::demangle;

using vktest::helperClassOf;

bool isStandardLibrary(const std::string& demangled) {
    for (const char* prefix : {"std::", "__gnu_cxx::", "void std::", "vtable for std::",
                               "typeinfo for std::", "typeinfo name for std::"}) {
        if (demangled.rfind(prefix, 0) == 0) {
            return true;
        }
    }
    return false;
}

TEST(ExportTable, HoldsOnlyShaderFactoriesAndTheHelperClasses) {
    const auto symbols = vkhost::definedDynamicSymbols(library().path());
    ASSERT_FALSE(symbols.empty());
    for (const std::string& symbol : symbols) {
        bool allowed = false;
        for (const std::string_view suffix : {"_create", "_getAPIVersion"}) {
            if (symbol.size() > suffix.size() && symbol.ends_with(suffix)) {
                allowed = allowed ||
                          catalogEntry(std::string_view(symbol).substr(
                              0, symbol.size() - suffix.size())) != nullptr;
            }
        }
        // AddressSanitizer adds an ODR indicator beside every exported global.
        allowed = allowed || symbol.rfind("__odr_asan", 0) == 0;
        const std::string demangled = demangle(symbol);
        allowed = allowed || !helperClassOf(demangled).empty() || isStandardLibrary(demangled);
        EXPECT_TRUE(allowed) << "unexpected export: " << demangled;
    }
}

TEST(ExportTable, ExportsTheSimpleShadersAtLeast) {
    const auto& names = library().shaderNames();
    const std::set<std::string> exported(names.begin(), names.end());
    for (const char* name : {"Background", "SimpleAmbientLight", "SimplePointLight"}) {
        EXPECT_EQ(exported.count(name), 1u) << name;
    }
}

TEST(Factories, EveryExportedShaderMatchesItsCatalogRow) {
    for (const std::string& name : library().shaderNames()) {
        SCOPED_TRACE(name);
        const vexakelo::ShaderInfo* info = catalogEntry(name);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(library().apiVersion(name), 2707);
        std::size_t size = 0;
        const vkhost::ShaderPtr shader = library().create(name, &size);
        EXPECT_EQ(size, info->size);
        EXPECT_EQ(shader->getShaderKind(), info->kind);
        EXPECT_EQ(shader->getShaderVersion(), 1);
        const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
        EXPECT_EQ(layout.flags, info->flags);
        EXPECT_EQ(layout.beginCalls, 1);

        // Fields rise in declaration order, sit at their natural alignment, stay inside the
        // object and every texture handle starts empty.
        const vkhost::ParameterBlock defaults(name, layout, shader.get());
        std::size_t end = 8;  // the table pointer comes first
        std::set<std::string> seen;
        for (const vkhost::Declaration& d : layout.parameters) {
            SCOPED_TRACE(d.name);
            EXPECT_TRUE(seen.insert(d.name).second) << "declared twice";
            EXPECT_GE(d.offset, end);
            const bool texture = d.type == vkhost::ParamType::Texture1D ||
                                 d.type == vkhost::ParamType::Texture2D;
            const std::size_t alignment =
                texture ? 8 : (d.type == vkhost::ParamType::Bool ? 1 : 4);
            EXPECT_EQ(d.offset % alignment, 0u);
            end = d.offset + d.width;
            if (texture) {
                const auto handle = std::get<vyr::TextureHandle>(defaults.get(d));
                EXPECT_EQ(handle.object(), nullptr);
                EXPECT_EQ(handle.id(), -1);
            }
        }
        EXPECT_LE(end, size);
    }
}

}  // namespace
