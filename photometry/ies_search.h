// The angle searches and the horizontal folds of the IES samplers, shared by the per-call samplers
// and the texture generators (which run each search once per texture row or column instead of once
// per texel). Internal to the library.
#pragma once

#include <cstdint>

#include "photometry/ies_file.h"

namespace iessearch {

constexpr double kEps = IESFile::kAngleEpsilon;

// Whether the list never descends (and holds no NaN): then both scans below stop where a
// bisection stops, because their stopping tests turn true once and stay true along the list.
inline bool ascending(const float* a, std::int32_t n) {
    for (std::int32_t i = 1; i < n; ++i) {
        if (!(a[i - 1] <= a[i])) {
            return false;
        }
    }
    return true;
}

// First index whose angle lies above θ + ε, n when none: the vertical search's walk. Lists that
// are not ascending are walked one by one, exactly as the search is written.
inline std::int32_t firstAbove(const float* v, std::int32_t n, double theta, bool sorted) {
    if (sorted) {
        std::int32_t lo = 0;
        std::int32_t hi = n;
        while (lo < hi) {
            const std::int32_t mid = lo + (hi - lo) / 2;
            if (static_cast<double>(v[mid]) > theta + kEps) {
                hi = mid;
            } else {
                lo = mid + 1;
            }
        }
        return lo;
    }
    std::int32_t i = 0;
    while (i < n && !(static_cast<double>(v[i]) > theta + kEps)) {
        ++i;
    }
    return i;
}

// The horizontal walk stops at an angle above φ + ε and also at one that φ does not exceed by
// more than ε; the index it stops at, n when none.
inline bool horizontalStop(float angle, double phi) {
    return static_cast<double>(angle) > phi + kEps || !(phi > static_cast<double>(angle) + kEps);
}

inline std::int32_t firstStop(const float* h, std::int32_t n, double phi, bool sorted) {
    if (sorted) {
        std::int32_t lo = 0;
        std::int32_t hi = n;
        while (lo < hi) {
            const std::int32_t mid = lo + (hi - lo) / 2;
            if (horizontalStop(h[mid], phi)) {
                hi = mid;
            } else {
                lo = mid + 1;
            }
        }
        return lo;
    }
    std::int32_t i = 0;
    while (i < n && !horizontalStop(h[i], phi)) {
        ++i;
    }
    return i;
}

// Index and fraction from the vertical walk; false outside the vertical range.
inline bool vertical(const float* v, std::int32_t nV, double theta, bool sorted,
                     std::int32_t& index, double& fraction) {
    if (theta > static_cast<double>(v[nV - 1]) + kEps || static_cast<double>(v[0]) > theta + kEps) {
        return false;
    }
    const std::int32_t i = firstAbove(v, nV, theta, sorted) - 1;
    if (i < 0) {
        index = 0;
        fraction = 0.0;
        return true;
    }
    index = i;
    if (i >= nV - 1) {
        fraction = 0.0;  // at or just above the last angle: the last sample
        return true;
    }
    const double gap = static_cast<double>(v[i + 1]) - static_cast<double>(v[i]);
    fraction = gap > 0.0 ? (theta - static_cast<double>(v[i])) / gap : 0.0;
    return true;
}

// Index and fraction from the horizontal walk. Deliberate: unlike the vertical search, an angle
// equal to H[k] (within the tolerance) lands in the interval that ends at H[k], with a fraction
// close to 1.
inline void horizontal(const float* h, std::int32_t nH, double phi, std::int32_t flag, bool sorted,
                       std::int32_t& index, double& fraction) {
    const std::int32_t i = firstStop(h, nH, phi, sorted) - 1;
    if (i < 0) {
        index = 0;
        fraction = 0.0;
        return;
    }
    index = i;
    double gap = 0.0;
    if (i < nH - 1) {
        gap = static_cast<double>(h[i + 1]) - static_cast<double>(h[i]);
    } else if (flag != 0) {
        // The last interval continued; with a single angle there is none, so the gap is 0.
        gap = i >= 1 ? static_cast<double>(h[i]) - static_cast<double>(h[i - 1]) : 0.0;
    } else {
        gap = static_cast<double>(360.0f - (h[nH - 1] - h[0]));  // closes the circle, in float
    }
    fraction = gap > 0.0 ? (phi - static_cast<double>(h[i])) / gap : 0.0;
}

// --- The horizontal folds: φ brought into the measured range; false where the sampler gives 0.

// Horizontal angles the folding samplers accept: 0 to 360 within the tolerance.
inline bool outsideFullCircle(double phi) {
    return phi + kEps < 0.0 || (phi + kEps >= 360.0 && phi > 360.000001);
}

inline bool foldSingleTypeC(const IESFileData& d, double& phi) {
    if (outsideFullCircle(phi)) {
        return false;
    }
    const float h0 = d.horizontalAngles[0];
    const float hLast = d.horizontalAngles[d.horizontalAngleCount - 1];
    if (phi > static_cast<double>(hLast) + kEps) {
        phi = static_cast<double>(2.0f * hLast) - phi;
    } else if (static_cast<double>(h0) > phi + kEps) {
        phi = static_cast<double>(2.0f * h0) - phi;
    }
    return true;
}

inline bool foldDouble(const IESFileData& d, double& phi) {
    if (outsideFullCircle(phi)) {
        return false;
    }
    const float h0 = d.horizontalAngles[0];
    const double h0d = static_cast<double>(h0);
    const double twoH0 = static_cast<double>(2.0f * h0);
    if (phi + kEps >= h0d + 180.0) {
        phi = twoH0 + 360.0 - phi;
    } else if (h0d > phi + kEps) {
        phi = twoH0 - phi;
    }
    if (phi + kEps >= h0d + 90.0) {
        phi = twoH0 + 180.0 - phi;
    }
    return true;
}

inline bool foldSingleTypeAB(const IESFileData& d, double& phi) {
    if ((phi + kEps >= 180.0 && phi > 180.000001) || phi + kEps < -180.0) {
        return false;
    }
    const double h0 = static_cast<double>(d.horizontalAngles[0]);
    const double hLast = static_cast<double>(d.horizontalAngles[d.horizontalAngleCount - 1]);
    if (h0 + kEps >= 0.0) {
        if (phi + kEps < 0.0) {
            phi = -phi;
        }
    } else {
        if (hLast + kEps >= 0.0 && hLast > kEps) {
            return false;  // the grid crosses 0 by more than the tolerance: not one half
        }
        if (phi + kEps >= 0.0 && phi > kEps) {
            phi = -phi;
        }
    }
    return !((!(hLast > phi + kEps) && phi > hLast + kEps) || h0 > phi + kEps);
}

// --- Rows of the 4 × 4 interpolation block ------------------------------------------------

inline std::int32_t clampIndex(std::int32_t i, std::int32_t count) {
    if (i < 0) {
        return 0;
    }
    return i > count - 1 ? count - 1 : i;
}

// The grid rows getSamples reads, one after another from hs on, in a sampling mode (periodic,
// mirrored, axial); each is clamped into the grid so that grids too small to mirror are never
// read outside.
class RowWalk {
public:
    RowWalk(std::int32_t hs, std::int32_t mode, std::int32_t nH) : mode_(mode), nH_(nH) {
        if (mode == 0) {
            row_ = hs < 0 ? nH - 1 : hs;
        } else if (mode == 1 || mode == 2) {
            row_ = hs;
            if (hs < 0) {
                row_ = 1;
                step_ = -1;
            }
        }
    }

    std::int32_t next() {
        const std::int32_t current = clampIndex(mode_ == 3 ? 0 : row_, nH_);
        if (mode_ == 0) {
            row_ = row_ >= nH_ - 1 ? 0 : row_ + 1;
        } else if (mode_ == 1 || mode_ == 2) {
            row_ += step_;
            if (row_ < 0 || row_ > nH_ - 1) {
                // Mirror without repeating the boundary row: 3, 4, 3, 2 for hs = 3, nH = 5.
                step_ = -step_;
                row_ += 2 * step_;
            }
        }
        return current;
    }

private:
    std::int32_t mode_;
    std::int32_t nH_;
    std::int32_t row_ = 0;
    std::int32_t step_ = 1;
};

}  // namespace iessearch
