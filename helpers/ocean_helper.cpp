// VexaKeloOceanHelper: Phillips spectrum, Box-Muller amplitudes from the private 15-bit
// generator, time evolution, one radix-2 FFT over the whole array, sign correction and
// wrap-around normals, uploaded as a three-channel float texture.
#include "helpers/ocean_helper.h"

#include <cmath>
#include <utility>

#include "helpers/classic_random.h"
#include "helpers/edit_scope.h"

namespace {

constexpr std::size_t kTexels = static_cast<std::size_t>(VexaKeloOceanHelper::WaveModel::kWidth) *
                                VexaKeloOceanHelper::WaveModel::kHeight;

// About 1/32768: (draw + 1) * this lies strictly between 0 and 1, so the logarithm is finite.
constexpr double kInverseRange = 3.0517578e-5;
constexpr double kTwoPiDouble = 6.283185307179586;

// One Gaussian number by Box-Muller from two draws, in double precision.
double gaussian(vexakelo::ClassicRandom& random) {
    const double x1 = (random.next() + 1) * kInverseRange;
    const double x2 = (random.next() + 1) * kInverseRange;
    return std::sqrt(-2.0 * std::log(x1)) * std::cos(kTwoPiDouble * x2);
}

// One component of the wave vector of element (i, j): 2i - N (no 2 pi or patch-size factor).
float waveNumber(int i, int n) {
    return static_cast<float>(2 * i - n);
}

}  // namespace

// --- wave model --------------------------------------------------------------------------------

VexaKeloOceanHelper::WaveModel::WaveModel()
    : h0_(new float[2 * kTexels]()),
      h_(new float[2 * kTexels]()),
      normals_(new float[3 * kTexels]()) {}

VexaKeloOceanHelper::WaveModel::~WaveModel() = default;

float VexaKeloOceanHelper::WaveModel::phillips(float kx, float ky) const {
    const float k = std::sqrt(kx * kx + ky * ky);
    if (k == 0.0f) {
        return 0.0f;
    }
    const float kL = k * largestWave_;
    const float kl = k * smallestWave_;
    const float p = std::exp(-1.0f / (kL * kL) - kl * kl) / (k * k * k * k);
    const float d = kx / k * windDirection_.x + ky / k * windDirection_.y;
    // Waves that run against the wind are removed.
    if (d <= 0.0f) {
        return 0.0f;
    }
    return amplitude_ * p * d * d;
}

void VexaKeloOceanHelper::WaveModel::initialise(float amplifier, float gravity, vyr::Vec2f wind,
                                                float ratio) {
    amplitude_ = amplifier;
    gravity_ = gravity;
    const float speed = std::sqrt(wind.x * wind.x + wind.y * wind.y);
    windDirection_ = {wind.x / speed, wind.y / speed};
    // Deliberate: no guard for a zero wind (L = 0 gives a degenerate spectrum).
    largestWave_ = (wind.x * wind.x + wind.y * wind.y) / gravity;
    smallestWave_ = largestWave_ * ratio;

    vexakelo::ClassicRandom random(seed_);
    for (int j = 0; j < height_; ++j) {
        for (int i = 0; i < width_; ++i) {
            const float p = phillips(waveNumber(i, width_), waveNumber(j, height_));
            const float s = std::sqrt(p * 0.5f);
            // Fixed draw order: real part (x1, x2), then imaginary part (x1, x2).
            const double ga = gaussian(random);
            const double gb = gaussian(random);
            float* const h0 = &h0_[2 * (static_cast<std::size_t>(j) * width_ + i)];
            h0[0] = static_cast<float>(ga * s);
            h0[1] = static_cast<float>(gb * s);
        }
    }
}

void VexaKeloOceanHelper::WaveModel::evolve(float time) {
    for (int j = 0; j < height_; ++j) {
        for (int i = 0; i < width_; ++i) {
            const float kx = waveNumber(i, width_);
            const float ky = waveNumber(j, height_);
            const float k = std::sqrt(kx * kx + ky * ky);
            const float omega = std::sqrt(k * gravity_);
            const float c = std::cos(omega * time);
            const float s = std::sin(omega * time);
            const std::size_t at = 2 * (static_cast<std::size_t>(j) * width_ + i);
            const float re = h0_[at];
            const float im = h0_[at + 1];
            // Deliberate: only h0(k) evolves; the conjugate term of -k is not added.
            h_[at] = c * re - s * im;
            h_[at + 1] = s * re + c * im;
        }
    }
}

void VexaKeloOceanHelper::WaveModel::transform(float* data, std::size_t count) {
    if (count == 0 || (count & (count - 1)) != 0) {
        return;
    }
    // Indices below run 1-based over the 2 * count floats, as in the classic formulation.
    float* const d = data - 1;
    const std::size_t n = count << 1;

    // Bit-reversal reordering.
    std::size_t j = 1;
    for (std::size_t i = 1; i < n; i += 2) {
        if (j > i) {
            std::swap(d[j], d[i]);
            std::swap(d[j + 1], d[i + 1]);
        }
        std::size_t m = count;
        while (m >= 2 && j > m) {
            j -= m;
            m >>= 1;
        }
        j += m;
    }

    // Butterflies; the twiddle factors follow a recurrence in double built from sin(theta / 2).
    std::size_t mmax = 2;
    while (n > mmax) {
        const std::size_t step = mmax << 1;
        const double theta = 6.28318530717959 / static_cast<double>(mmax);
        const double halfSine = std::sin(0.5 * theta);
        const double wpr = -2.0 * halfSine * halfSine;
        const double wpi = std::sin(theta);
        double wr = 1.0;
        double wi = 0.0;
        for (std::size_t m = 1; m < mmax; m += 2) {
            for (std::size_t i = m; i <= n; i += step) {
                const std::size_t k = i + mmax;
                const float tempr = static_cast<float>(wr * d[k] - wi * d[k + 1]);
                const float tempi = static_cast<float>(wr * d[k + 1] + wi * d[k]);
                d[k] = d[i] - tempr;
                d[k + 1] = d[i + 1] - tempi;
                d[i] += tempr;
                d[i + 1] += tempi;
            }
            const double previous = wr;
            wr = wr * wpr - wi * wpi + wr;
            wi = wi * wpr + previous * wpi + wi;
        }
        mmax = step;
    }
}

void VexaKeloOceanHelper::WaveModel::correctSigns() {
    for (int j = 0; j < height_; ++j) {
        for (int i = 0; i < width_; ++i) {
            if (((i + j) & 1) != 0) {
                const std::size_t at = 2 * (static_cast<std::size_t>(j) * width_ + i);
                h_[at] = -h_[at];
                h_[at + 1] = -h_[at + 1];
            }
        }
    }
}

void VexaKeloOceanHelper::WaveModel::computeNormals() {
    const int n = width_;
    const auto height = [&](int i, int j) { return h_[2 * (static_cast<std::size_t>(j) * n + i)]; };
    // Real division: -2 (1/512 + 1/512) = -0.0078125.
    const float dz =
        -2.0f * (1.0f / static_cast<float>(width_) + 1.0f / static_cast<float>(height_));
    for (int j = 0; j < height_; ++j) {
        // Deliberate: the row index also wraps modulo N (N = M here).
        const int up = (j + 1) % n;
        const int down = (j - 1 + n) % n;
        for (int i = 0; i < width_; ++i) {
            const float dx = height((i + 1) % n, j) - height((i - 1 + n) % n, j);
            const float dy = height(i, up) - height(i, down);
            const float length = std::sqrt(dx * dx + dy * dy + dz * dz);
            float* const out = &normals_[3 * (static_cast<std::size_t>(j) * width_ + i)];
            out[0] = 0.5f * (dx / length) + 0.5f;
            out[1] = 0.5f * (dy / length) + 0.5f;
            out[2] = 0.5f * (dz / length) + 0.5f;
        }
    }
}

// --- helper ------------------------------------------------------------------------------------

VexaKeloOceanHelper::VexaKeloOceanHelper() : model_(new WaveModel) {}

VexaKeloOceanHelper::VexaKeloOceanHelper(float amplifier, float gravity, float ratio, float time,
                                         vyr::Vec2f wind)
    : wind_(wind),
      amplifier_(amplifier),
      gravity_(gravity),
      ratio_(ratio),
      time_(time),
      model_(new WaveModel) {}

// Deliberate: copies share the wave model rather than duplicating its arrays; the count of
// owners makes the last copy free it, once.
VexaKeloOceanHelper::VexaKeloOceanHelper(const VexaKeloOceanHelper& other)
    : wind_(other.wind_),
      amplifier_(other.amplifier_),
      gravity_(other.gravity_),
      ratio_(other.ratio_),
      time_(other.time_),
      model_(other.model_),
      texture_(other.texture_) {
    model_->owners_.fetch_add(1, std::memory_order_relaxed);
}

VexaKeloOceanHelper& VexaKeloOceanHelper::operator=(const VexaKeloOceanHelper& other) {
    if (model_ != other.model_) {
        other.model_->owners_.fetch_add(1, std::memory_order_relaxed);
        releaseModel();
        model_ = other.model_;
    }
    wind_ = other.wind_;
    amplifier_ = other.amplifier_;
    gravity_ = other.gravity_;
    ratio_ = other.ratio_;
    time_ = other.time_;
    texture_ = other.texture_;
    return *this;
}

VexaKeloOceanHelper::~VexaKeloOceanHelper() {
    releaseModel();
}

void VexaKeloOceanHelper::releaseModel() {
    if (model_->owners_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete model_;
    }
    model_ = nullptr;
}

void VexaKeloOceanHelper::setAmplifier(float amplifier) {
    amplifier_ = amplifier;
}
void VexaKeloOceanHelper::setGravity(float gravity) {
    gravity_ = gravity;
}
void VexaKeloOceanHelper::setRatio(float ratio) {
    ratio_ = ratio;
}
void VexaKeloOceanHelper::setSteepness(float steepness) {
    amplifier_ = steepness;
}
void VexaKeloOceanHelper::setTexture(vyr::TextureHandle texture) {
    texture_ = texture;
}

vyr::TextureHandle& VexaKeloOceanHelper::generateNormalMap() {
    vyr::TextureHandle handle(texture_);
    const vexakelo::TextureEdit edit(handle);
    vyr::Texture* const texture = edit.texture();

    WaveModel& model = *model_;
    model.initialise(amplifier_, gravity_, wind_, ratio_);
    model.evolve(time_);
    model.transform(model.spectrum(), kTexels);
    model.correctSigns();
    model.computeNormals();

    if (texture != nullptr) {
        vyr::TextureDescriptor descriptor;
        descriptor.dimension = 1;
        descriptor.usage = 1;
        descriptor.format = 3;  // three floats per texel
        descriptor.reserved4[0] = descriptor.reserved4[1] = descriptor.reserved4[2] = 0;
        descriptor.levels = 1;
        descriptor.width = WaveModel::kWidth;
        descriptor.height = WaveModel::kHeight;
        descriptor.reserved10 = 0;
        descriptor.data = model.normals();
        descriptor.range = {0.0f, 1.0f, 0.0f, 1.0f};
        descriptor.flag = 0;
        texture->create(descriptor);
    }
    return texture_;
}

void VexaKeloOceanHelper::initializeShader(vyr::Shader* shader) {
    if (shader == nullptr) {
        return;
    }
    shader->setUniformTexture2D("wave_normal", generateNormalMap());
}
