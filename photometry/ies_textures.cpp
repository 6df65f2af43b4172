// IESFile textures: the web texture of normalised intensities over (θ, φ), the light's
// importance-sampling tables, and the uniforms that bind them to a host shader.
#include <cmath>

#include "photometry/ies_file.h"

namespace {

constexpr float kPiLiteral = 3.1415927f;
constexpr float kTwoPiLiteral = 6.2831855f;
constexpr float kCdfTotalStart = 1e-5f;
constexpr double kMarginalFloor = 1e-5;

// One texture side from an angle list: 1 − 2·trunc((−span / (last − first))·(n − 1)), one texel
// more than twice the source intervals that fit in the span. Sizes that are not finite or fall
// outside [2, kMaxTextureSide] (descending or absurdly fine angle lists) are clamped.
std::int32_t sideFor(const float* angles, std::int32_t count, double span) {
    if (angles == nullptr || count <= 1) {
        return 2;
    }
    const double first = static_cast<double>(angles[0]);
    const double last = static_cast<double>(angles[count - 1]);
    const double size = 1.0 - 2.0 * std::trunc((-span / (last - first)) * (count - 1));
    if (!(size >= 2.0)) {
        return 2;
    }
    if (size > static_cast<double>(IESFile::kMaxTextureSide)) {
        return IESFile::kMaxTextureSide;
    }
    return static_cast<std::int32_t>(size);
}

vyr::TextureDescriptor floatTexture(std::int32_t width, std::int32_t height, const float* data) {
    vyr::TextureDescriptor d;
    d.dimension = 1;
    d.usage = 1;
    d.format = 1;
    d.reserved4[0] = 1;
    d.reserved4[1] = 1;
    d.reserved4[2] = 1;
    d.levels = 1;
    d.width = width;
    d.height = height;
    d.reserved10 = 0;
    d.data = data;
    d.range = {0.0f, 1.0f, 0.0f, 1.0f};
    d.flag = 0;
    return d;
}

vyr::Vec2f radiansRange(const float* values, std::int32_t count) {
    float smallest = 0.0f;
    float largest = 0.0f;
    IESFile::_findPeaks(values, count, smallest, largest);
    return {std::fmod(smallest * kPiLiteral / 180.0f, 180.0f),
            std::fmod(largest * kPiLiteral / 180.0f, 180.0f)};
}

}  // namespace

void IESFile::init(const vyr::TextureHandle& web, const vyr::TextureHandle& thetaCdf,
                   const vyr::TextureHandle& phiCdf) {
    webTexture_ = web;
    thetaCdfTexture_ = thetaCdf;
    phiCdfTexture_ = phiCdf;
}

void IESFile::textureSize(std::int32_t& wv, std::int32_t& hh) const {
    wv = 2;
    hh = 2;
    if (data_ == nullptr) {
        return;
    }
    wv = sideFor(data_->verticalAngles, data_->verticalAngleCount, 180.0);
    hh = sideFor(data_->horizontalAngles, data_->horizontalAngleCount, 360.0);
}

void IESFile::generateTextureTypeC(std::int32_t& wv, std::int32_t& hh) {
    textureSize(wv, hh);
    const double dTheta = 180.0 / (wv - 1);
    const double dPhi = 360.0 / (hh - 1);
    web_.assign(static_cast<std::size_t>(wv) * static_cast<std::size_t>(hh), 0.0f);
    const std::int32_t mode = data_ != nullptr ? data_->symmetryMode : -1;
    if (mode < 0 || mode > 3) {
        return;  // an unknown mode leaves the texels unfilled
    }
    for (std::int32_t j = 0; j < hh; ++j) {
        const double phi = j * dPhi;
        float* row = web_.data() + static_cast<std::size_t>(j) * static_cast<std::size_t>(wv);
        for (std::int32_t i = 0; i < wv; ++i) {
            const double theta = i * dTheta;
            switch (mode) {
                case 0: row[i] = sampleDataNoSymmetry(theta, phi); break;
                case 1: row[i] = sampleDataSingleSymmetryTypeC(theta, phi); break;
                case 2: row[i] = sampleDataDoubleSymmetry(theta, phi); break;
                default: row[i] = sampleDataAxisSymmetry(theta); break;
            }
        }
    }
}

void IESFile::generateTextureTypeAB(std::int32_t& wv, std::int32_t& hh) {
    textureSize(wv, hh);
    const double dTheta = 180.0 / (wv - 1);
    const double dPhi = 360.0 / (hh - 1);
    web_.assign(static_cast<std::size_t>(wv) * static_cast<std::size_t>(hh), 0.0f);
    const std::int32_t mode = data_ != nullptr ? data_->symmetryMode : -1;
    if (mode != 0 && mode != 1) {
        return;
    }
    for (std::int32_t j = 0; j < hh; ++j) {
        const double phi = j * dPhi - 180.0;
        float* row = web_.data() + static_cast<std::size_t>(j) * static_cast<std::size_t>(wv);
        for (std::int32_t i = 0; i < wv; ++i) {
            const double theta = i * dTheta - 90.0;
            row[i] = mode == 0 ? sampleDataNoSymmetry(theta, phi)
                               : sampleDataSingleSymmetryTypeAB(theta, phi);
        }
    }
}

void IESFile::generateIESLightCDF(std::int32_t wv, std::int32_t hh) {
    if (wv < 1 || hh < 1 ||
        static_cast<std::size_t>(wv) * static_cast<std::size_t>(hh) != web_.size()) {
        return;  // the sizes must be those the web texels were generated with
    }
    const auto w = static_cast<std::size_t>(wv);
    const auto h = static_cast<std::size_t>(hh);
    marginal_.assign(w, 0.0f);
    thetaCdf_.assign(w, 0.0f);
    cdfTotal_ = kCdfTotalStart;
    // Deliberate: the texels are read as Wv runs of Hh values (a × Hh + b), not in the Hh rows of
    // Wv values the generators wrote.
    for (std::size_t a = 0; a < w; ++a) {
        for (std::size_t b = 0; b < h; ++b) {
            marginal_[a] += web_[a * h + b];
            cdfTotal_ += web_[a * h + b];
        }
    }
    thetaCdf_[0] = marginal_[0] / cdfTotal_;
    for (std::size_t a = 1; a < w; ++a) {
        if (static_cast<double>(marginal_[a]) < kMarginalFloor) {
            thetaCdf_[a] = thetaCdf_[a - 1];
        } else {
            thetaCdf_[a] = thetaCdf_[a - 1] + marginal_[a] / cdfTotal_;
        }
    }
    phiCdf_.assign(w * h, 0.0f);
    for (std::size_t a = 0; a < w; ++a) {
        if (static_cast<double>(marginal_[a]) < kMarginalFloor) {
            continue;  // the row stays 0
        }
        float* row = phiCdf_.data() + a * h;
        row[0] = web_[a * h] / marginal_[a];
        // Deliberate: not rescaled to end at exactly 1.
        for (std::size_t b = 1; b < h; ++b) {
            row[b] = row[b - 1] + web_[a * h + b] / marginal_[a];
        }
    }
}

void IESFile::initShader(const vyr::ShaderHandle& shader, const char* webName,
                         const char* verticalRangeName, const char* horizontalRangeName,
                         const char* typeName, const char* symmetryName) {
    if (!shader.isValid() || data_ == nullptr) {
        return;
    }
    vyr::ShaderHandle shaderEdit(shader);
    auto* target = static_cast<vyr::Shader*>(shaderEdit.beginEdit());

    // 1-2: the web texture.
    std::int32_t wv = 0;
    std::int32_t hh = 0;
    vyr::TextureHandle webEdit(webTexture_);
    auto* webObject = static_cast<vyr::Texture*>(webEdit.beginEdit());
    if (data_->photometricType == 1) {
        generateTextureTypeC(wv, hh);
    } else {
        generateTextureTypeAB(wv, hh);
    }
    if (webObject != nullptr) {
        webObject->create(floatTexture(wv, hh, web_.data()));
    }

    // 3-4: the tables and the θ CDF texture.
    generateIESLightCDF(wv, hh);
    vyr::TextureHandle thetaEdit(thetaCdfTexture_);
    auto* thetaObject = static_cast<vyr::Texture*>(thetaEdit.beginEdit());
    if (thetaObject != nullptr) {
        vyr::TextureDescriptor d = floatTexture(wv, 1, thetaCdf_.data());
        d.dimension = 0;
        d.reserved4[0] = 0;
        d.reserved4[1] = 0;
        d.reserved4[2] = 0;
        thetaObject->create(d);
    }
    const float fwv = static_cast<float>(wv);
    const float fhh = static_cast<float>(hh);
    if (target != nullptr) {
        target->setUniformTexture1D("thetaCDF", thetaCdfTexture_);
        target->setUniform3f("thetaI", {fwv - 1.0f, 1.0f / fwv, kPiLiteral / fwv});
    }

    // 5: the φ CDF texture.
    vyr::TextureHandle phiEdit(phiCdfTexture_);
    auto* phiObject = static_cast<vyr::Texture*>(phiEdit.beginEdit());
    if (phiObject != nullptr) {
        phiObject->create(floatTexture(wv, hh, phiCdf_.data()));
    }
    if (target != nullptr) {
        target->setUniformTexture2D("phiCDF", phiCdfTexture_);
        target->setUniform3f("phiI", {fhh - 1.0f, 1.0f / fhh, kTwoPiLiteral / fhh});
        target->setUniform1f("MxN", static_cast<float>(hh * wv));
    }

    // 6: close the texture edits, innermost first.
    phiEdit.endEdit();
    thetaEdit.endEdit();
    webEdit.endEdit();

    // 7-9: the web texture, the angle ranges in radians, the type and the symmetry.
    if (target != nullptr) {
        target->setUniformTexture2D(webName, webTexture_);
        target->setUniform2f(verticalRangeName,
                             radiansRange(data_->verticalAngles, data_->verticalAngleCount));
        target->setUniform2f(horizontalRangeName,
                             radiansRange(data_->horizontalAngles, data_->horizontalAngleCount));
        target->setUniform1i(typeName, data_->photometricType);
        target->setUniform1i(symmetryName, data_->symmetryMode);
    }
    shaderEdit.endEdit();
}
