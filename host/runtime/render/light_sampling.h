// How the renderer picks points on its lights and directions off its scenery, each with the
// density it samples by, and the weights that combine two strategies. Pure functions of their
// inputs and the uniform numbers given, so tests can check each density against its histogram.
//
// Densities are per unit solid angle seen from the shading point unless said otherwise.
#pragma once

#include <vector>

#include "render/vec.h"

namespace vkrender {

inline constexpr float kPiF = 3.14159265f;

// A direction of the hemisphere round +z with density cos(theta) / pi.
Vec3f cosineHemisphere(float u1, float u2);

// A direction round the unit vector `axis` with density max(0, cos) / pi.
Vec3f cosineAround(Vec3f axis, float u1, float u2);

// A point of a sphere seen from p: a direction uniform over the cone the sphere fills (density
// 1 / solidAngle), and where it meets the sphere first. From inside the sphere the cone is every
// direction and the point is where the direction leaves.
struct SphereSample {
    Vec3f direction;  // unit, from p towards the point
    Vec3f point;
    float distance = 0.0f;
    float solidAngle = 0.0f;  // of the sphere as seen from p
};
SphereSample sampleSphere(Vec3f p, Vec3f center, float radius, float u1, float u2);
// The solid angle the sphere fills seen from p (4 pi from inside).
float sphereSolidAngle(Vec3f p, Vec3f center, float radius);

// The first t > 0 at which p + t dir (dir unit) meets the sphere, or a negative value.
float intersectSphere(Vec3f p, Vec3f dir, Vec3f center, float radius);

// A rectangle (corner + s edgeU + t edgeV, s and t in [0, 1]) seen from p as a spherical
// rectangle: directions uniform over its solid angle. Only for perpendicular edges; `valid` is
// false where the rectangle is seen edge-on or its edges are not perpendicular, and the caller
// samples by area instead.
struct SphericalRectangle {
    bool valid = false;
    float solidAngle = 0.0f;
    // Set up for p; the rest of the numbers are the frame the sampling works in.
    SphericalRectangle(Vec3f p, Vec3f corner, Vec3f edgeU, Vec3f edgeV);
    // The point of the rectangle in the direction chosen by (u1, u2).
    Vec3f sample(float u1, float u2) const;

private:
    Vec3f p_, x_, y_, z_;
    double x0_ = 0, x1_ = 0, y0_ = 0, y1_ = 0, z0_ = 0;
    double b0_ = 0, b1_ = 0, k_ = 0, g2_ = 0, g3_ = 0;
};

// Where p + t dir (t > 0) meets the rectangle centre + s edgeU + t edgeV, s, t in [-1/2, 1/2]:
// the distance, or a negative value.
float intersectRectangle(Vec3f p, Vec3f dir, Vec3f center, Vec3f edgeU, Vec3f edgeV);

// The dome over `up`, sampled by a mixture: cosine round the surface normal `n` with weight
// `normalWeight` (0 when no normal is known), cosine round `up` with the rest. Directions below
// the horizon are not part of the dome (their density counts, they bring nothing).
// u1 picks the component and is reused within it, so (u1, u2) stays one stratified pair.
Vec3f sampleDome(Vec3f up, Vec3f n, float normalWeight, float u1, float u2);
float domePdf(Vec3f direction, Vec3f up, Vec3f n, float normalWeight);

// Directions of the whole sphere drawn in proportion to a table of values over equal-area cells:
// `width` cells round the z axis (phi) by `height` bands of z from +1 down to -1. Built once
// from an environment's radiance; sampling picks a band, then a cell in it, then a point
// uniformly inside the cell.
class DirectionTable {
public:
    DirectionTable() = default;
    // values[row * width + column], row 0 the band at the top (z near +1); negative values count
    // as zero. Empty (sample() must not be called) when every value is zero.
    DirectionTable(int width, int height, const std::vector<float>& values);
    bool empty() const { return total_ <= 0.0; }
    int width() const { return width_; }
    int height() const { return height_; }
    // The direction of cell centre (column, row).
    static Vec3f cellCentre(int width, int height, int column, int row);
    Vec3f sample(float u1, float u2) const;
    float pdf(Vec3f direction) const;

private:
    int width_ = 0;
    int height_ = 0;
    double total_ = 0.0;
    std::vector<float> rowCdf_;   // height + 1 entries
    std::vector<float> cellCdf_;  // height rows of width + 1 entries
    std::vector<float> density_;  // per cell, per unit solid angle
};

// The power heuristic (exponent 2) of strategy a against strategy b, from their densities
// (each already multiplied by its number of samples).
inline float powerHeuristic(float a, float b) {
    const float a2 = a * a;
    const float b2 = b * b;
    return a2 + b2 > 0.0f ? a2 / (a2 + b2) : 0.0f;
}

}  // namespace vkrender
