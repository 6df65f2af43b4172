// VexaKeloLandScapeHelper: builds a two-valued landscape mask for a host shader. A tileable
// diamond-square height field (513 x 513, wrap-around) is cut at a height between its minimum
// and maximum; the 512 x 512 mask is white (0xFFFFFFFF) at or below the cut and transparent black
// above it, uploaded as four 8-bit channels and bound with a colour.
//
// One helper generates on one thread at a time; separate helpers are independent.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vyr/export.h"
#include "vyr/handles.h"
#include "vyr/types.h"

class VYR_API VexaKeloLandScapeHelper {
public:
    static constexpr int kSize = 512;
    static constexpr int kDefaultSeed = 1327828458;
    static constexpr float kDefaultRoughness = 0.3f;

    // The generator record: where to write, the grid and the cut. Its steps are public so hosts
    // and tests can run them on a grid of their own.
    struct VYR_API Generator {
        std::uint32_t* pixels = nullptr;  // width x height, row by row
        int width = kSize;
        int height = kSize;
        int gridSize = 0;                   // S: grid points per side
        std::uint32_t above = 0x00000000u;  // pixel above the cut
        std::uint32_t below = 0xFFFFFFFFu;  // pixel at or below it
        float cut = 0.0f;
        float roughness = 0.5f;
        float amplitude = 1.0f;  // initial amplitude
        int seed = kDefaultSeed;
        float percentage = 0.5f;

        // The smallest power of two not below the larger side, plus one (513 for 512).
        static int gridSizeFor(int width, int height);
        // The record the helper runs with its default settings, writing into `pixels`
        // (kSize x kSize): its grid size, roughness 0.3, the default seed, percentage 0.5. The
        // record's own member defaults (roughness 0.5, no grid size) are the generator's.
        static Generator helperDefaults(std::uint32_t* pixels);

        // Allocates the grid, grows it, cuts it and writes the pixels; an allocation failure
        // writes nothing.
        void generate();
        // Diamond-square on a gridSize x gridSize grid, row by row; false (grid untouched) unless
        // gridSize - 1 is a power of two other than 1.
        bool diamondSquare(float* grid) const;
        // Sets `cut` from the grid's minimum and maximum and the percentage; returns it.
        float findCut(const float* grid);
        // pixel(x, y) from grid value (x, y), for x < width and y < height.
        void writePixels(const float* grid) const;
    };

    // Default settings: seed 1327828458, roughness 0.3, percentage 0.5, opaque white.
    VexaKeloLandScapeHelper();
    VexaKeloLandScapeHelper(int seed, float roughness, float percentage, vyr::Vec4f color);
    ~VexaKeloLandScapeHelper();
    // The helper owns its pixel buffer; copies would have to duplicate it and are not offered.
    VexaKeloLandScapeHelper(const VexaKeloLandScapeHelper&) = delete;
    VexaKeloLandScapeHelper& operator=(const VexaKeloLandScapeHelper&) = delete;

    // The uniform name of the mask (initially "landscapeMap"); null keeps the current name.
    void setName(const char* name);
    void setPercentage(float percentage);
    void setTexture(vyr::TextureHandle texture);

    // Generates the mask, creates the texture (when the handle is not empty) and, when the
    // shader is not null, binds the texture under the name and the colour as "color".
    void initializeShader(vyr::Shader* shader);
    // Generates the mask into pixels() alone: no texture, no shader.
    void generate();

    int seed() const { return seed_; }
    float percentage() const { return percentage_; }
    float roughness() const { return roughness_; }
    vyr::Vec4f color() const { return color_; }
    const std::string& name() const { return name_; }
    const vyr::TextureHandle& texture() const { return texture_; }
    // The last generated mask, kSize x kSize pixels.
    const std::uint32_t* pixels() const { return pixels_.get(); }

private:
    int seed_ = kDefaultSeed;
    float percentage_ = 0.5f;
    float roughness_ = kDefaultRoughness;
    vyr::Vec4f color_ = {1.0f, 1.0f, 1.0f, 1.0f};
    std::unique_ptr<std::uint32_t[]> pixels_;
    std::unique_ptr<Generator> generator_;
    vyr::TextureHandle texture_;
    std::string name_ = "landscapeMap";
};
