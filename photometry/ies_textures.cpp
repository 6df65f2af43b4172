// IESFile textures: the web texture of normalised intensities over (θ, φ), the light's
// importance-sampling tables, and the uniforms that bind them to a host shader.
#include <algorithm>
#include <cmath>

#include "photometry/ies_file.h"
#include "photometry/ies_search.h"

namespace {

constexpr float kPiLiteral = 3.1415927f;
constexpr float kTwoPiLiteral = 6.2831855f;
constexpr float kCdfTotalStart = 1e-5f;
constexpr double kMarginalFloor = 1e-5;

// A sampler's result: anything not greater than 0 (NaN included) becomes 0.
float clampBelow(double value) { return value > 0.0 ? static_cast<float>(value) : 0.0f; }

// A contracted side as the int32 the generators use. Deliberate: the size is not clamped; sides
// that an int32 cannot hold (an infinite step from equal first and last angles, absurdly fine
// lists) saturate, and a side below 1 makes no texel array. Hosts check sides before generating.
std::int32_t toSide(double side) {
    if (!(side == side)) {
        return 0;
    }
    if (side >= 2147483647.0) {
        return 2147483647;
    }
    if (side <= -2147483648.0) {
        return -2147483647 - 1;
    }
    return static_cast<std::int32_t>(side);
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

double IESFile::textureSide(const float* angles, std::int32_t count, double span) {
    if (angles == nullptr || count <= 1) {
        return 2.0;
    }
    const double first = static_cast<double>(angles[0]);
    const double last = static_cast<double>(angles[count - 1]);
    // Deliberate: a zero span is not guarded (the side becomes infinite).
    return 1.0 - 2.0 * std::trunc((-span / (last - first)) * (count - 1));
}

void IESFile::textureSize(std::int32_t& wv, std::int32_t& hh) const {
    wv = 2;
    hh = 2;
    if (data_ == nullptr) {
        return;
    }
    wv = toSide(textureSide(data_->verticalAngles, data_->verticalAngleCount, 180.0));
    hh = toSide(textureSide(data_->horizontalAngles, data_->horizontalAngleCount, 360.0));
}

void IESFile::generateTextureTypeC(std::int32_t& wv, std::int32_t& hh) { fillWeb(true, wv, hh); }

void IESFile::generateTextureTypeAB(std::int32_t& wv, std::int32_t& hh) { fillWeb(false, wv, hh); }

// Texel (i, j) is the sampler's value at (θ_i, φ_j). The sampler's steps that depend on θ alone
// (the vertical search) run once per column, those on φ alone (fold, horizontal search, the four
// grid rows) once per row, and the vertical interpolation of a grid row at a column is shared by
// every texture row that reads that grid row. Each texel then costs one interpolation across the
// rows, with the same operands in the same order as a sampler call, so the texels are the
// samplers' bit for bit; only the searches' cost stops growing with the angle count.
void IESFile::fillWeb(bool typeC, std::int32_t& wv, std::int32_t& hh) {
    textureSize(wv, hh);
    const double dTheta = 180.0 / (static_cast<double>(wv) - 1.0);
    const double dPhi = 360.0 / (static_cast<double>(hh) - 1.0);
    web_.clear();
    if (wv < 1 || hh < 1) {
        web_.shrink_to_fit();
        return;  // no array of that size exists
    }
    const auto w = static_cast<std::size_t>(wv);
    const auto h = static_cast<std::size_t>(hh);
    web_.assign(w * h, 0.0f);
    const std::int32_t symmetry = data_ != nullptr ? data_->symmetryMode : -1;
    // The sampling mode of the 4 × 4 block; an unknown symmetry leaves the texels unfilled, and
    // a record without a grid samples to 0 everywhere.
    const std::int32_t mode = typeC ? symmetry : (symmetry == 0 || symmetry == 1 ? symmetry : -1);
    if (mode < 0 || mode > 3 || !hasGrid()) {
        return;
    }
    const IESFileData& d = *data_;
    const std::int32_t nV = d.verticalAngleCount;
    const std::int32_t nH = d.horizontalAngleCount;
    const double maxCandela = static_cast<double>(d.maxCandela);

    // Columns: the vertical search at θ_i.
    struct Column {
        bool inside = false;
        std::int32_t index = 0;
        double fraction = 0.0;
    };
    const bool vSorted = iessearch::ascending(d.verticalAngles, nV);
    std::vector<Column> columns(w);
    for (std::int32_t i = 0; i < wv; ++i) {
        const double theta = typeC ? i * dTheta : i * dTheta - 90.0;
        Column& c = columns[static_cast<std::size_t>(i)];
        c.inside = iessearch::vertical(d.verticalAngles, nV, theta, vSorted, c.index, c.fraction);
    }

    // The vertical interpolation of one grid row at every column inside the range.
    auto interpolateRow = [&](std::int32_t row, double* out) {
        const float* cd = d.candelas + static_cast<std::size_t>(row) * static_cast<std::size_t>(nV);
        for (std::size_t i = 0; i < w; ++i) {
            const Column& c = columns[i];
            if (!c.inside) {
                continue;
            }
            double p[4];
            for (std::int32_t k = 0; k < 4; ++k) {
                p[k] = static_cast<double>(cd[iessearch::clampIndex(c.index - 1 + k, nV)]);
            }
            out[i] = catrom(p, c.fraction);
        }
    };

    if (mode == 3) {
        // Axial: every row is the first grid row's profile.
        std::vector<double> profile(w, 0.0);
        interpolateRow(0, profile.data());
        for (std::size_t i = 0; i < w; ++i) {
            web_[i] = columns[i].inside ? clampBelow(profile[i] / maxCandela) : 0.0f;
        }
        for (std::size_t j = 1; j < h; ++j) {
            std::copy(web_.begin(), web_.begin() + static_cast<std::ptrdiff_t>(w),
                      web_.begin() + static_cast<std::ptrdiff_t>(j * w));
        }
        return;
    }

    const bool hSorted = iessearch::ascending(d.horizontalAngles, nH);
    std::vector<std::vector<double>> interpolated(static_cast<std::size_t>(nH));
    for (std::int32_t j = 0; j < hh; ++j) {
        // Rows: the fold and the horizontal search at φ_j.
        double phi = typeC ? j * dPhi : j * dPhi - 180.0;
        bool inside = true;
        if (typeC && mode == 1) {
            inside = iessearch::foldSingleTypeC(d, phi);
        } else if (typeC && mode == 2) {
            inside = iessearch::foldDouble(d, phi);
        } else if (!typeC && mode == 1) {
            inside = iessearch::foldSingleTypeAB(d, phi);
        }
        if (!inside) {
            continue;  // the row stays 0
        }
        std::int32_t hi = 0;
        double hf = 0.0;
        iessearch::horizontal(d.horizontalAngles, nH, phi, 1, hSorted, hi, hf);
        iessearch::RowWalk walk(hi - 1, mode, nH);
        const double* block[4];
        for (const double*& rowValues : block) {
            const std::int32_t row = walk.next();
            std::vector<double>& cached = interpolated[static_cast<std::size_t>(row)];
            if (cached.empty()) {
                cached.assign(w, 0.0);
                interpolateRow(row, cached.data());
            }
            rowValues = cached.data();
        }
        float* texels = web_.data() + static_cast<std::size_t>(j) * w;
        for (std::size_t i = 0; i < w; ++i) {
            if (!columns[i].inside) {
                continue;
            }
            const double across[4] = {block[0][i], block[1][i], block[2][i], block[3][i]};
            texels[i] = clampBelow(catrom(across, hf) / maxCandela);
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
    const float* texels = web_.data();
    // Sums in locals (same order, same float rounding): stores through the members would be
    // redone for every texel since they might alias the texels.
    float total = kCdfTotalStart;
    // Deliberate: the texels are read as Wv runs of Hh values (a × Hh + b), not in the Hh rows of
    // Wv values the generators wrote.
    for (std::size_t a = 0; a < w; ++a) {
        float sum = 0.0f;
        for (std::size_t b = 0; b < h; ++b) {
            sum += texels[a * h + b];
            total += texels[a * h + b];
        }
        marginal_[a] = sum;
    }
    cdfTotal_ = total;
    thetaCdf_[0] = marginal_[0] / total;
    for (std::size_t a = 1; a < w; ++a) {
        if (static_cast<double>(marginal_[a]) < kMarginalFloor) {
            thetaCdf_[a] = thetaCdf_[a - 1];
        } else {
            thetaCdf_[a] = thetaCdf_[a - 1] + marginal_[a] / total;
        }
    }
    phiCdf_.assign(w * h, 0.0f);
    for (std::size_t a = 0; a < w; ++a) {
        const float m = marginal_[a];
        if (static_cast<double>(m) < kMarginalFloor) {
            continue;  // the row stays 0
        }
        float* row = phiCdf_.data() + a * h;
        const float* in = texels + a * h;
        float running = in[0] / m;
        row[0] = running;
        // Deliberate: not rescaled to end at exactly 1.
        for (std::size_t b = 1; b < h; ++b) {
            running = running + in[b] / m;
            row[b] = running;
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
        target->setUniform1f("MxN", static_cast<float>(static_cast<std::int64_t>(hh) * wv));
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
