// VexaKeloOceanHelper: builds a 512 x 512 ocean-wave normal map for a host shader. A wind-driven
// (Phillips) spectrum with Gaussian amplitudes is evolved to a time, transformed to heights by one
// radix-2 FFT, and turned into wrap-around normals stored as 0.5 n + 0.5 in a three-channel float
// texture, bound to the shader as "wave_normal". Runs on the CPU, outside rendering.
//
// Copies share one wave model (and its 7.3 MB of arrays): do not generate from two copies at
// once. Separate helpers are independent and may generate on different threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "vyr/export.h"
#include "vyr/handles.h"
#include "vyr/types.h"

class VYR_API VexaKeloOceanHelper {
public:
    // The wave model: spectrum, time evolution, transform and normals over fixed-size arrays
    // allocated once. Its steps are public so hosts and tests can run them one by one.
    class VYR_API WaveModel {
    public:
        static constexpr int kWidth = 512;                   // N
        static constexpr int kHeight = 512;                  // M
        static constexpr std::uint32_t kSeed = 1327828458u;  // 0x4F250DEA

        WaveModel();
        ~WaveModel();
        WaveModel(const WaveModel&) = delete;
        WaveModel& operator=(const WaveModel&) = delete;

        // Stores the settings and fills the initial spectrum h0 (reseeding the generator).
        void initialise(float amplifier, float gravity, vyr::Vec2f wind, float ratio);
        // The Phillips spectrum at wave vector k under the stored settings.
        float phillips(float kx, float ky) const;
        // h = h0 evolved to time t.
        void evolve(float time);
        // In place, sign +1, no normalisation, over `count` interleaved complex values; does
        // nothing unless count is a power of two.
        static void transform(float* data, std::size_t count);
        // Negates every value whose i + j is odd.
        void correctSigns();
        // Normals from the real part of h, stored as 0.5 n + 0.5, row by row.
        void computeNormals();

        // (re, im) of element (i, j) at index 2 (j N + i).
        const float* initialSpectrum() const { return h0_.get(); }
        const float* spectrum() const { return h_.get(); }
        float* spectrum() { return h_.get(); }
        // Three floats per texel, row by row.
        const float* normals() const { return normals_.get(); }

    private:
        friend class VexaKeloOceanHelper;
        std::atomic<int> owners_{1};  // helpers sharing this model (copies)
        int width_ = kWidth;
        int height_ = kHeight;
        std::uint32_t seed_ = kSeed;
        vyr::Vec2f windDirection_{1.0f, 0.0f};
        float amplitude_ = 0.0f;
        float largestWave_ = 0.0f;   // L = |wind|^2 / g
        float smallestWave_ = 0.0f;  // l = L * ratio
        float gravity_ = 0.0f;
        std::unique_ptr<float[]> h0_;
        std::unique_ptr<float[]> h_;
        std::unique_ptr<float[]> normals_;
    };

    // The default constructor's settings (the fields are otherwise only set by the setters).
    static constexpr float kDefaultAmplifier = 0.0005f;
    static constexpr float kDefaultGravity = 9.81f;
    static constexpr float kDefaultRatio = 0.001f;
    static constexpr float kDefaultTime = 0.0f;
    static constexpr vyr::Vec2f kDefaultWind = {4.0f, 3.0f};

    VexaKeloOceanHelper();
    VexaKeloOceanHelper(float amplifier, float gravity, float ratio, float time, vyr::Vec2f wind);
    // Copies share the wave model and the texture handle; the model is freed with the last copy.
    VexaKeloOceanHelper(const VexaKeloOceanHelper& other);
    VexaKeloOceanHelper& operator=(const VexaKeloOceanHelper& other);
    ~VexaKeloOceanHelper();

    void setAmplifier(float amplifier);
    void setGravity(float gravity);
    void setRatio(float ratio);
    // Deliberate: the same operation as setAmplifier (the steepness is the amplitude).
    void setSteepness(float steepness);
    void setTexture(vyr::TextureHandle texture);

    // Builds the map into the helper's texture and returns the handle. With an empty handle the
    // normals are still computed (see model()) but no texture is created.
    vyr::TextureHandle& generateNormalMap();
    // Generates and binds the map as "wave_normal"; a null shader does nothing.
    void initializeShader(vyr::Shader* shader);

    vyr::Vec2f wind() const { return wind_; }
    float amplifier() const { return amplifier_; }
    float gravity() const { return gravity_; }
    float ratio() const { return ratio_; }
    float time() const { return time_; }
    const vyr::TextureHandle& texture() const { return texture_; }
    const WaveModel& model() const { return *model_; }
    WaveModel& model() { return *model_; }

private:
    void releaseModel();

    vyr::Vec2f wind_ = kDefaultWind;
    float amplifier_ = kDefaultAmplifier;
    float gravity_ = kDefaultGravity;
    float ratio_ = kDefaultRatio;
    float time_ = kDefaultTime;
    WaveModel* model_;  // shared by copies, freed by the last one

    vyr::TextureHandle texture_;
};
