// A frequency test of a direction sampler against the density it claims, in the manner of the
// statistical BSDF tests of established renderers: sampled directions are counted in (theta, phi)
// bins of the sphere, the density is integrated over each bin for the expected counts, sparse
// bins are pooled, and Pearson's statistic gives a p-value. A sampler that draws from another
// distribution than its pdf describes fails with a tiny p-value.
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "vyr/types.h"

namespace vktest {

struct ChiSquareConfig {
    int thetaBins = 10;
    int phiBins = 20;
    int samples = 1000000;
    double minExpected = 5.0;  // bins expecting fewer samples are pooled into one
    int integrationSteps = 8;  // midpoint rule per bin and axis
};

struct ChiSquareResult {
    double statistic = 0.0;
    int dof = 0;
    double pValue = 0.0;          // 0 when a sample lands where the pdf is zero
    double sampledFraction = 0.0;  // samples that produced a direction
    double pdfIntegral = 0.0;      // the pdf over the sphere (1 for a complete sampler)
};

// Q(a, x): the regularised upper incomplete gamma function, by the series below a + 1 and the
// continued fraction above.
inline double upperGammaQ(double a, double x) {
    if (x <= 0.0) {
        return 1.0;
    }
    const double logPrefix = a * std::log(x) - x - std::lgamma(a);
    if (x < a + 1.0) {
        double term = 1.0 / a;
        double sum = term;
        for (int n = 1; n < 100000; ++n) {
            term *= x / (a + n);
            sum += term;
            if (std::fabs(term) < std::fabs(sum) * 1e-15) {
                break;
            }
        }
        return std::max(0.0, 1.0 - sum * std::exp(logPrefix));
    }
    // Modified Lentz for the continued fraction of Q.
    constexpr double kTiny = 1e-300;
    double b = x + 1.0 - a;
    double c = 1.0 / kTiny;
    double d = 1.0 / b;
    double h = d;
    for (int i = 1; i < 100000; ++i) {
        const double an = -i * (i - a);
        b += 2.0;
        d = an * d + b;
        d = std::fabs(d) < kTiny ? kTiny : d;
        c = b + an / c;
        c = std::fabs(c) < kTiny ? kTiny : c;
        d = 1.0 / d;
        const double delta = d * c;
        h *= delta;
        if (std::fabs(delta - 1.0) < 1e-15) {
            break;
        }
    }
    return std::exp(logPrefix) * h;
}

// The per-test significance that keeps the family-wise one at alpha over `tests` tests.
inline double sidakSignificance(double alpha, int tests) {
    return 1.0 - std::pow(1.0 - alpha, 1.0 / tests);
}

// sample(): std::optional<vyr::Vec3f>, a unit direction in a frame whose +z is the normal
// (nullopt when the sampler gives none); pdf(vyr::Vec3f): its density per solid angle.
template <class Sample, class Pdf>
ChiSquareResult chiSquareTest(Sample&& sample, Pdf&& pdf, const ChiSquareConfig& c = {}) {
    constexpr double kPi = 3.14159265358979323846;
    const int bins = c.thetaBins * c.phiBins;
    const double dTheta = kPi / c.thetaBins;
    const double dPhi = 2.0 * kPi / c.phiBins;

    std::vector<double> observed(bins, 0.0);
    int produced = 0;
    for (int i = 0; i < c.samples; ++i) {
        const std::optional<vyr::Vec3f> d = sample();
        if (!d) {
            continue;
        }
        ++produced;
        const double z = std::clamp(static_cast<double>(d->z), -1.0, 1.0);
        double phi = std::atan2(static_cast<double>(d->y), static_cast<double>(d->x));
        phi = phi < 0.0 ? phi + 2.0 * kPi : phi;
        const int t = std::min(c.thetaBins - 1, static_cast<int>(std::acos(z) / dTheta));
        const int p = std::min(c.phiBins - 1, static_cast<int>(phi / dPhi));
        observed[t * c.phiBins + p] += 1.0;
    }

    // Expected counts: N times the pdf integrated over the bin (sin theta dtheta dphi).
    ChiSquareResult result;
    result.sampledFraction = static_cast<double>(produced) / c.samples;
    std::vector<double> expected(bins, 0.0);
    const int n = c.integrationSteps;
    for (int t = 0; t < c.thetaBins; ++t) {
        for (int p = 0; p < c.phiBins; ++p) {
            double integral = 0.0;
            for (int i = 0; i < n; ++i) {
                const double theta = (t + (i + 0.5) / n) * dTheta;
                for (int j = 0; j < n; ++j) {
                    const double phi = (p + (j + 0.5) / n) * dPhi;
                    const vyr::Vec3f d{static_cast<float>(std::sin(theta) * std::cos(phi)),
                                       static_cast<float>(std::sin(theta) * std::sin(phi)),
                                       static_cast<float>(std::cos(theta))};
                    integral += static_cast<double>(pdf(d)) * std::sin(theta);
                }
            }
            integral *= dTheta * dPhi / (n * n);
            result.pdfIntegral += integral;
            expected[t * c.phiBins + p] = integral * c.samples;
        }
    }

    // Pearson's statistic over the well-filled bins, the sparse ones pooled.
    double pooledObserved = 0.0;
    double pooledExpected = 0.0;
    for (int b = 0; b < bins; ++b) {
        if (expected[b] == 0.0 && observed[b] > 0.0) {
            result.pValue = 0.0;
            result.statistic = INFINITY;
            return result;
        }
        if (expected[b] < c.minExpected) {
            pooledObserved += observed[b];
            pooledExpected += expected[b];
            continue;
        }
        const double diff = observed[b] - expected[b];
        result.statistic += diff * diff / expected[b];
        ++result.dof;
    }
    if (pooledExpected >= c.minExpected) {
        const double diff = pooledObserved - pooledExpected;
        result.statistic += diff * diff / pooledExpected;
        ++result.dof;
    } else if (pooledObserved > c.minExpected + 10.0 * std::sqrt(c.minExpected)) {
        // Many samples where the pdf says almost none.
        result.statistic += pooledObserved;
    }
    result.dof -= 1;
    result.pValue = result.dof > 0 ? upperGammaQ(0.5 * result.dof, 0.5 * result.statistic) : 1.0;
    return result;
}

}  // namespace vktest
