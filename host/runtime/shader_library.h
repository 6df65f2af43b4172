// Loading the shader library as a host does: dlopen by path, find shaders by the names of their
// exported factories, check the interface version, and own the created objects.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "vyr/shader.h"

namespace vkhost {

struct LoadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Destroys a shader through its slot 0 with bit 0 set, as the host contract says.
struct ShaderDeleter {
    void operator()(vyr::IShaderBase* shader) const {
        if (shader != nullptr) {
            shader->destroy(1u);
        }
    }
};
using ShaderPtr = std::unique_ptr<vyr::IShaderBase, ShaderDeleter>;

// The path of the libvexakelo.so built with this host.
std::string defaultLibraryPath();

// The names of the dynamic symbols an ELF shared object defines (functions and objects).
std::vector<std::string> definedDynamicSymbols(const std::string& path);

class ShaderLibrary {
public:
    // Opens the library; throws LoadError naming the path and dlerror's reason.
    explicit ShaderLibrary(const std::string& path = defaultLibraryPath());
    ~ShaderLibrary();
    ShaderLibrary(const ShaderLibrary&) = delete;
    ShaderLibrary& operator=(const ShaderLibrary&) = delete;

    const std::string& path() const { return path_; }

    // Every shader the library exports: names with both <Name>_create and <Name>_getAPIVersion,
    // in the order of the library's symbol table sorted by name.
    const std::vector<std::string>& shaderNames() const { return shaderNames_; }

    // Whether the library exports <name>_create.
    bool hasShader(const std::string& name) const;

    // The interface version <name>_getAPIVersion reports.
    int apiVersion(const std::string& name) const;

    // Creates a shader with its defaults. Throws LoadError for an unknown name, a version other
    // than 2707, or a factory that returns null.
    ShaderPtr create(const std::string& name) const;

    // Creates a shader and reports the size its factory allocated for the object.
    ShaderPtr create(const std::string& name, std::size_t* objectSize) const;

    // A symbol of the library, or null.
    void* symbol(const std::string& name) const;

private:
    std::string path_;
    void* handle_ = nullptr;
    std::vector<std::string> shaderNames_;
};

}  // namespace vkhost
