// Keeps a host texture open for editing for one scope: beginEdit on entry, endEdit on every way
// out, so a texture is never left open when a generation stops early.
#pragma once

#include "vyr/handles.h"

namespace vexakelo {

class TextureEdit {
public:
    // Opens the handle; texture() is the host texture, or null for an empty handle.
    explicit TextureEdit(vyr::TextureHandle& handle)
        : handle_(handle), texture_(static_cast<vyr::Texture*>(handle.beginEdit())) {}
    ~TextureEdit() { handle_.endEdit(); }
    TextureEdit(const TextureEdit&) = delete;
    TextureEdit& operator=(const TextureEdit&) = delete;

    vyr::Texture* texture() const { return texture_; }

private:
    const vyr::TextureHandle& handle_;
    vyr::Texture* const texture_;
};

}  // namespace vexakelo
