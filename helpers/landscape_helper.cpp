// VexaKeloLandScapeHelper: diamond-square with wrap-around drawn from the private 15-bit
// generator, the min/max scan, the cut, and the 512 x 512 mask as four 8-bit channels.
#include "helpers/landscape_helper.h"

#include <cmath>
#include <cstddef>
#include <new>

#include "helpers/classic_random.h"
#include "helpers/edit_scope.h"

// --- generator ---------------------------------------------------------------------------------

int VexaKeloLandScapeHelper::Generator::gridSizeFor(int width, int height) {
    const unsigned side = static_cast<unsigned>(width > height ? width : height);
    // Halve from 2^31 while above the side, then double once if that went below it.
    unsigned power = 1u << 31;
    while (power > side) {
        power >>= 1;
    }
    if (power < side) {
        power <<= 1;
    }
    return static_cast<int>(power) + 1;
}

bool VexaKeloLandScapeHelper::Generator::diamondSquare(float* grid) const {
    const int s = gridSize;
    const int n = s - 1;
    if (n < 2 || (n & (n - 1)) != 0) {
        return false;
    }
    const auto at = [grid, s](int x, int y) -> float& {
        return grid[static_cast<std::size_t>(y) * s + x];
    };
    const auto wrap = [n](int i) { return ((i % n) + n) % n; };

    vexakelo::ClassicRandom random(static_cast<std::uint32_t>(seed));
    const auto offset = [&random](float a) {
        const float r = static_cast<float>(random.next() & 0x7FFF) / 32767.0f - 0.5f;
        return r * a;
    };

    at(0, 0) = at(n, 0) = at(0, n) = at(n, n) = 0.0f;
    const float falloff = std::pow(2.0f, -roughness);
    float a = amplitude * falloff;
    for (int h = n / 2; h >= 1; h /= 2) {
        // Square step: centres row by row.
        for (int y = h; y < n; y += 2 * h) {
            for (int x = h; x < n; x += 2 * h) {
                const float sum =
                    ((at(x - h, y - h) + at(x + h, y - h)) + at(x - h, y + h)) + at(x + h, y + h);
                at(x, y) = sum * 0.25f + offset(a);
            }
        }
        // Diamond step: edge midpoints, neighbours wrapping to the opposite side; row 0 and
        // column 0 are copied to row n and column n so the field tiles.
        for (int y = 0; y < n; y += h) {
            for (int x = (y / h) % 2 == 0 ? h : 0; x < n; x += 2 * h) {
                const float sum = ((at(x, wrap(y - h)) + at(wrap(x - h), y)) + at(wrap(x + h), y)) +
                                  at(x, wrap(y + h));
                const float value = sum * 0.25f + offset(a);
                at(x, y) = value;
                if (y == 0) {
                    at(x, n) = value;
                }
                if (x == 0) {
                    at(n, y) = value;
                }
            }
        }
        a *= falloff;
    }
    return true;
}

float VexaKeloLandScapeHelper::Generator::findCut(const float* grid) {
    float min = 2.0f;
    float max = -2.0f;
    const std::size_t count = static_cast<std::size_t>(gridSize) * gridSize;
    for (std::size_t i = 0; i < count; ++i) {
        const float v = grid[i];
        // Deliberate: else-if, so a value that raises the maximum is not tested against the
        // minimum.
        if (v > max) {
            max = v;
        } else if (v < min) {
            min = v;
        }
    }
    cut = (max - min) * percentage + min;
    return cut;
}

void VexaKeloLandScapeHelper::Generator::writePixels(const float* grid) const {
    // The last grid row and column (copies of the first) are not part of the mask.
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float v = grid[static_cast<std::size_t>(y) * gridSize + x];
            pixels[static_cast<std::size_t>(y) * width + x] = v > cut ? above : below;
        }
    }
}

void VexaKeloLandScapeHelper::Generator::generate() {
    const std::size_t count = static_cast<std::size_t>(gridSize) * gridSize;
    const std::unique_ptr<float[]> grid(new (std::nothrow) float[count]);
    if (!grid) {
        return;
    }
    if (!diamondSquare(grid.get())) {
        return;
    }
    findCut(grid.get());
    writePixels(grid.get());
}

// --- helper ------------------------------------------------------------------------------------

VexaKeloLandScapeHelper::VexaKeloLandScapeHelper()
    : pixels_(new std::uint32_t[static_cast<std::size_t>(kSize) * kSize]()),
      generator_(std::make_unique<Generator>()) {}

VexaKeloLandScapeHelper::VexaKeloLandScapeHelper(int seed, float roughness, float percentage,
                                                 vyr::Vec4f color)
    : seed_(seed),
      percentage_(percentage),
      roughness_(roughness),
      color_(color),
      pixels_(new std::uint32_t[static_cast<std::size_t>(kSize) * kSize]()),
      generator_(std::make_unique<Generator>()) {}

VexaKeloLandScapeHelper::~VexaKeloLandScapeHelper() = default;

void VexaKeloLandScapeHelper::setName(const char* name) {
    if (name != nullptr) {
        name_ = name;
    }
}

void VexaKeloLandScapeHelper::setPercentage(float percentage) {
    percentage_ = percentage;
}
void VexaKeloLandScapeHelper::setTexture(vyr::TextureHandle texture) {
    texture_ = texture;
}

VexaKeloLandScapeHelper::Generator VexaKeloLandScapeHelper::Generator::helperDefaults(
    std::uint32_t* pixels) {
    Generator g;
    g.pixels = pixels;
    g.width = kSize;
    g.height = kSize;
    g.gridSize = gridSizeFor(kSize, kSize);
    g.roughness = kDefaultRoughness;
    g.seed = kDefaultSeed;
    g.percentage = 0.5f;
    return g;
}

void VexaKeloLandScapeHelper::generate() {
    Generator& g = *generator_;
    g.width = kSize;
    g.height = kSize;
    g.pixels = pixels_.get();
    g.gridSize = Generator::gridSizeFor(g.width, g.height);
    g.roughness = roughness_;
    g.seed = seed_;
    g.percentage = percentage_;
    g.generate();
}

void VexaKeloLandScapeHelper::initializeShader(vyr::Shader* shader) {
    vyr::TextureHandle handle(texture_);
    const vexakelo::TextureEdit edit(handle);
    vyr::Texture* const texture = edit.texture();

    generate();

    if (texture != nullptr) {
        // Positions 3 to 7 hold 4 (four 8-bit channels), 1, 0, 0, 1.
        vyr::TextureDescriptor descriptor;
        descriptor.dimension = 1;
        descriptor.usage = 1;
        descriptor.format = 4;
        descriptor.reserved4[0] = 1;
        descriptor.reserved4[1] = 0;
        descriptor.reserved4[2] = 0;
        descriptor.levels = 1;
        descriptor.width = kSize;
        descriptor.height = kSize;
        descriptor.reserved10 = 0;
        descriptor.data = pixels_.get();
        descriptor.range = {0.0f, 1.0f, 0.0f, 1.0f};
        descriptor.flag = 0;
        texture->create(descriptor);
    }
    if (shader != nullptr) {
        shader->setUniformTexture2D(name_.c_str(), texture_);
        shader->setUniform4f("color", color_);
    }
}
