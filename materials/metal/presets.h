// Named looks selected by an int parameter: measured metals (shared by the Metal and by the
// paint's flakes) and a few car paints.
#pragma once

#include "materials/metal/optics.h"

namespace vexakelo::metal {

// --- Metals -------------------------------------------------------------------------------------

// Complex indices at 650, 550 and 450 nm (red, green, blue), interpolated linearly from published
// measurements: Johnson & Christy 1972 (gold, silver, copper) and 1974 (chromium, iron, titanium,
// nickel), Rakic 1995 (aluminium), Karlsson & Ribbing 1982 (ferritic steel), Rakic et al. 1998
// Brendel-Bormann fit (platinum), Querry 1985 (brass, Cu70Zn30).
enum MetalPreset : int {
    kCustomMetal = 0,  // reflectivity colour and edge tint
    kGold = 1,
    kSilver = 2,
    kCopper = 3,
    kAluminium = 4,
    kChromium = 5,
    kIron = 6,
    kSteel = 7,
    kTitanium = 8,
    kNickel = 9,
    kPlatinum = 10,
    kBrass = 11,
    kMetalPresetCount = 12,
};

// clang-format off
inline constexpr ConductorIor kMetalPresets[kMetalPresetCount] = {
    {{0.0f,   0.0f,   0.0f  }, {0.0f,  0.0f,  0.0f }},  // custom: never read
    {{0.156f, 0.424f, 1.383f}, {3.602f, 2.472f, 1.915f}},  // gold
    {{0.052f, 0.060f, 0.040f}, {4.409f, 3.597f, 2.648f}},  // silver
    {{0.238f, 1.007f, 1.240f}, {3.626f, 2.582f, 2.393f}},  // copper
    {{1.558f, 1.015f, 0.633f}, {7.712f, 6.627f, 5.454f}},  // aluminium
    {{3.107f, 3.181f, 2.323f}, {3.331f, 3.329f, 3.135f}},  // chromium
    {{2.911f, 2.950f, 2.584f}, {3.089f, 2.932f, 2.767f}},  // iron
    {{2.194f, 1.904f, 1.494f}, {3.481f, 3.170f, 2.771f}},  // steel
    {{2.741f, 2.542f, 2.267f}, {3.814f, 3.435f, 3.038f}},  // titanium
    {{1.990f, 1.921f, 1.729f}, {4.209f, 3.616f, 2.944f}},  // nickel
    {{2.376f, 2.085f, 1.845f}, {4.265f, 3.715f, 3.136f}},  // platinum
    {{0.444f, 0.527f, 1.094f}, {3.695f, 2.765f, 1.829f}},  // brass
};
// clang-format on

inline bool isMetalPreset(int id) {
    return id > kCustomMetal && id < kMetalPresetCount;
}

// --- Car paints ---------------------------------------------------------------------------------

// What a paint preset sets: the colours and the flake and pearl recipe. Flake size and spread,
// the coat's index, weight and roughness, orange peel and the seed stay the user's.
struct PaintLook {
    Vec3f base;            // pigment colour facing the highlight
    Vec3f flop;            // pigment colour far from it
    float flopFalloff;     // exponent on N.h
    int flakeMetal;        // metal preset of the flakes; 0 = Schlick with the flake colour
    Vec3f flakeColor;      // flake filter (metal) or F0 (Schlick)
    float flakeDensity;    // share of cells holding a flake
    float pearlRatio;      // share of flakes that are interference pigment
    float pearlThickness;  // titania layer on the mica, nm
    Vec3f pearlColor;
    Vec3f coatColor;  // clear-coat transmittance at normal incidence, there and back
};

enum PaintPreset : int {
    kCustomPaint = 0,
    kSilverMetallic = 1,
    kBlackMetallic = 2,
    kCandyRed = 3,
    kBluePearl = 4,
    kWhitePearl = 5,
    kChampagneGold = 6,
    kRacingGreen = 7,
    kPaintPresetCount = 8,
};

// Linear sRGB. The candy red keeps a bright base and puts its colour into the coat, as candy
// paints do; the pearls carry their hue in the interference layer as much as in the pigment.
// clang-format off
inline constexpr PaintLook kPaintPresets[kPaintPresetCount] = {
    // base                    flop                      p     metal       flake colour         dens  pearl thick  pearl colour         coat colour
    {{0.0f,  0.0f,  0.0f },  {0.0f,   0.0f,   0.0f  }, 0.0f, 0,          {0.0f, 0.0f, 0.0f},   0.0f, 0.0f, 0.0f,   {0.0f, 0.0f, 0.0f},  {0.0f, 0.0f, 0.0f}},   // custom: never read
    {{0.50f, 0.51f, 0.53f},  {0.060f, 0.062f, 0.068f}, 3.0f, kAluminium, {1.0f, 1.0f, 1.0f},   0.85f, 0.0f, 0.0f,  {1.0f, 1.0f, 1.0f},  {1.0f, 1.0f, 1.0f}},   // silver metallic
    {{0.030f, 0.030f, 0.034f}, {0.008f, 0.008f, 0.010f}, 2.0f, kAluminium, {0.7f, 0.7f, 0.7f}, 0.35f, 0.0f, 0.0f,  {1.0f, 1.0f, 1.0f},  {1.0f, 1.0f, 1.0f}},   // black metallic
    {{0.55f, 0.50f, 0.48f},  {0.10f,  0.05f,  0.045f}, 3.0f, kAluminium, {1.0f, 1.0f, 1.0f},   0.6f, 0.0f, 0.0f,   {1.0f, 1.0f, 1.0f},  {0.75f, 0.07f, 0.06f}}, // candy red
    {{0.030f, 0.075f, 0.34f}, {0.004f, 0.010f, 0.060f}, 4.0f, kAluminium, {0.9f, 0.95f, 1.0f}, 0.5f, 0.6f, 140.0f, {0.9f, 0.95f, 1.0f}, {1.0f, 1.0f, 1.0f}},   // blue pearl
    {{0.78f, 0.78f, 0.75f},  {0.50f,  0.50f,  0.50f }, 2.0f, 0,          {0.04f, 0.04f, 0.04f}, 0.5f, 0.9f, 110.0f, {1.0f, 1.0f, 1.0f}, {1.0f, 1.0f, 1.0f}},   // white pearl
    {{0.52f, 0.40f, 0.22f},  {0.09f,  0.055f, 0.020f}, 3.0f, kGold,      {1.0f, 1.0f, 1.0f},   0.7f, 0.0f, 0.0f,   {1.0f, 1.0f, 1.0f},  {1.0f, 1.0f, 1.0f}},   // champagne gold
    {{0.015f, 0.10f, 0.045f}, {0.002f, 0.015f, 0.006f}, 3.0f, kAluminium, {0.85f, 1.0f, 0.9f}, 0.4f, 0.0f, 0.0f,  {1.0f, 1.0f, 1.0f},  {1.0f, 1.0f, 1.0f}},   // racing green
};
// clang-format on

inline bool isPaintPreset(int id) {
    return id > kCustomPaint && id < kPaintPresetCount;
}

}  // namespace vexakelo::metal
