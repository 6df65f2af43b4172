// Intensity sampling: the Catmull-Rom segment, the index searches, row selection per symmetry,
// folding of φ, clamping, and the values at and between grid angles.
#include <gtest/gtest.h>

#include "ies_test_util.h"

namespace {

using iestest::lamp;
using iestest::parse;
using iestest::steps;

TEST(IESSampling, CatromSegment) {
    struct Row {
        double p[4];
        double t;
        double expected;
    };
    const Row rows[] = {
        {{0, 1, 2, 3}, 0.5, 1.5},    // linear data stays linear
        {{0, 0, 1, 0}, 0.5, 0.5625}, // (−p0 + 9 p1 + 9 p2 − p3) / 16 = 9 / 16
        {{5, 7, 9, 4}, 0.0, 7.0},    // t = 0 gives P1
        {{5, 7, 9, 4}, 1.0, 9.0},    // t = 1 gives P2
        {{3, 3, 3, 3}, 0.3, 3.0},
    };
    for (const Row& row : rows) {
        EXPECT_DOUBLE_EQ(IESFile::catrom(row.p, row.t), row.expected) << row.t;
    }
}

// V 0..90 step 5, H 0..360 step 22.5; candela 100 + 10 v + 1000 h (no symmetry: mode 0).
std::unique_ptr<iestest::Parsed> fullLamp() {
    return parse(lamp(steps(0, 90, 5), steps(0, 360, 22.5f),
                      [](int h, int v) { return 100.0f + 10.0f * v + 1000.0f * h; }));
}

TEST(IESSampling, VerticalSearch) {
    const auto p = fullLamp();
    struct Row {
        double theta;
        bool inside;
        int index;
        double fraction;
    };
    const Row rows[] = {
        {-5e-7, true, 0, -1e-7},   // a hair below the first angle: (θ − 0) / 5
        {-2e-6, false, 0, 0.0},
        {45.0, true, 9, 0.0},      // on a grid angle: fraction 0 on the interval starting there
        {47.5, true, 9, 0.5},
        {90.0, true, 18, 0.0},
        {90.0000005, true, 18, 0.0},
        {90.000002, false, 0, 0.0},
    };
    for (const Row& row : rows) {
        std::int32_t index = -7;
        double fraction = -7.0;
        EXPECT_EQ(p->file.getVerticalAngleIndex(row.theta, index, fraction), row.inside)
            << row.theta;
        if (row.inside) {
            EXPECT_EQ(index, row.index) << row.theta;
            EXPECT_NEAR(fraction, row.fraction, 1e-9) << row.theta;
        }
    }
}

TEST(IESSampling, HorizontalSearchLandsOnTheIntervalEndingAtAGridAngle) {
    const auto p = parse(lamp({0, 90}, {0, 90, 180, 270}, [](int, int) { return 1.0f; }));
    struct Row {
        double phi;
        int flag;
        int index;
        double fraction;
    };
    const Row rows[] = {
        {90.0, 1, 0, 1.0},   // equal to H[1]: the interval that ends there
        {135.0, 1, 1, 0.5},
        {0.0, 1, 0, 0.0},    // before the first interval: index 0, fraction 0
        {-10.0, 1, 0, 0.0},
        {315.0, 1, 3, 0.5},  // past the last: the last interval continued (gap 90)
        {315.0, 0, 3, 0.5},  // or the gap that closes the circle: 360 − (270 − 0) = 90
    };
    for (const Row& row : rows) {
        std::int32_t index = -7;
        double fraction = -7.0;
        EXPECT_TRUE(p->file.getHorizontalAngleIndex(row.phi, index, fraction, row.flag));
        EXPECT_EQ(index, row.index) << row.phi;
        EXPECT_NEAR(fraction, row.fraction, 1e-9) << row.phi;
    }
    // The closing gap differs from the continued one when the circle is not evenly covered:
    // H = {0, 90, 180} → continued 90, closing 360 − 180 = 180.
    const auto q = parse(lamp({0, 90}, {0, 90, 180}, [](int, int) { return 1.0f; }));
    std::int32_t index = 0;
    double fraction = 0.0;
    q->file.getHorizontalAngleIndex(270.0, index, fraction, 0);
    EXPECT_NEAR(fraction, 0.5, 1e-12);
    q->file.getHorizontalAngleIndex(270.0, index, fraction, 1);
    EXPECT_NEAR(fraction, 1.0, 1e-12);
}

TEST(IESSampling, RowSelectionPeriodicMirroredAxial) {
    // nH = 5, candela = 10 h + v, so a sample names its row and column.
    const auto p = parse(lamp({0, 45, 90}, {0, 20, 40, 60, 80},
                              [](int h, int v) { return 10.0f * h + v; }));
    struct Row {
        int vs, hs, mode;
        std::vector<double> expected;  // four rows of one column, or one row of four columns
        bool columns;
    };
    const Row rows[] = {
        {0, 3, 1, {30, 40, 30, 20}, false},  // mirrored: the boundary row is not repeated
        {0, -1, 1, {10, 0, 10, 20}, false},  // mirrored below row 0: starts at row 1
        {0, -1, 2, {10, 0, 10, 20}, false},
        {0, -1, 0, {40, 0, 10, 20}, false},  // periodic: the last row comes before row 0
        {0, 3, 0, {30, 40, 0, 10}, false},
        {0, 2, 3, {0, 0, 0, 0}, false},      // axial: always row 0
        {-1, 2, 0, {20, 20, 21, 22}, true},  // columns clamp to [0, nV − 1]
    };
    for (const Row& row : rows) {
        double out[4] = {-1, -1, -1, -1};
        if (row.columns) {
            p->file.getSamples(row.vs, 4, row.hs, 1, row.mode, out);
        } else {
            p->file.getSamples(row.vs, 1, row.hs, 4, row.mode, out);
        }
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(out[i], row.expected[static_cast<std::size_t>(i)])
                << "hs " << row.hs << " mode " << row.mode << " i " << i;
        }
    }
    double untouched[4] = {-1, -1, -1, -1};
    p->file.getSamples(0, 1, 0, 4, 7, untouched);  // unknown mode writes nothing
    EXPECT_EQ(untouched[0], -1.0);
}

TEST(IESSampling, ValuesAtAndBetweenGridAngles) {
    const auto p = fullLamp();
    // max = 100 + 10·18 + 1000·16 = 16280.
    const double max = 16280.0;
    struct Row {
        double theta, phi;
        double candela;  // expected, before division by max
    };
    const Row rows[] = {
        {45.0, 45.0, 100 + 90 + 2000},       // on the grid (φ fraction ≈ 1 of interval 1)
        {47.5, 45.0, 100 + 95 + 2000},       // linear along v: Catmull-Rom reproduces it
        {45.0, 33.75, 100 + 90 + 1500},      // midway between rows 1 and 2
        {0.0, 0.0, 100},
        {-5e-7, 0.0, 100},
    };
    for (const Row& row : rows) {
        EXPECT_NEAR(p->file.sampleDataNoSymmetry(row.theta, row.phi), row.candela / max, 1e-6)
            << row.theta << ", " << row.phi;
    }
    EXPECT_EQ(p->file.sampleDataNoSymmetry(90.000002, 0.0), 0.0f);
}

TEST(IESSampling, FlatGridIsOneEverywhereInside) {
    const auto p = parse(lamp(steps(0, 90, 10), steps(0, 360, 30), [](int, int) { return 250.0f; }));
    for (double theta : {0.0, 3.3, 45.0, 89.9, 90.0}) {
        for (double phi : {0.0, 17.0, 180.0, 359.0, 360.0}) {
            EXPECT_FLOAT_EQ(p->file.sampleIntensity(theta, phi), 1.0f) << theta << ", " << phi;
        }
    }
}

TEST(IESSampling, FoldingBySymmetry) {
    auto candela = [](int h, int v) { return 50.0f + 7.0f * v + 3.0f * h * h; };
    struct Row {
        std::vector<float> h;
        int type;
        double phi, mirrorPhi;  // both give the same intensity
    };
    const Row rows[] = {
        {steps(0, 180, 15), 1, 270.0, 90.0},   // single symmetry, type C
        {steps(0, 180, 15), 1, 350.0, 10.0},
        {steps(0, 90, 15), 1, 270.0, 90.0},    // double symmetry
        {steps(0, 90, 15), 1, 100.0, 80.0},
        {steps(0, 90, 15), 1, 200.0, 20.0},
        {steps(0, 90, 15), 2, -30.0, 30.0},    // type B, positive half
        {steps(-90, 0, 15), 2, 30.0, -30.0},   // type B, negative half
        {{0}, 1, 123.0, 0.0},                  // axial
    };
    for (const Row& row : rows) {
        const auto p = parse(lamp(steps(0, 90, 10), row.h, candela, row.type));
        const float a = p->file.sampleIntensity(42.0, row.phi);
        const float b = p->file.sampleIntensity(42.0, row.mirrorPhi);
        EXPECT_GT(a, 0.0f) << row.phi;
        EXPECT_NEAR(a, b, 1e-6) << row.phi << " vs " << row.mirrorPhi;
    }
}

TEST(IESSampling, OutOfRangeAnglesGiveZero) {
    auto candela = [](int, int) { return 10.0f; };
    const auto c = parse(lamp(steps(0, 90, 10), steps(0, 180, 30), candela));
    EXPECT_EQ(c->file.sampleDataSingleSymmetryTypeC(30.0, -1.0), 0.0f);
    EXPECT_EQ(c->file.sampleDataSingleSymmetryTypeC(30.0, 360.1), 0.0f);
    EXPECT_EQ(c->file.sampleDataSingleSymmetryTypeC(30.0, 360.0), 1.0f);
    const auto ab = parse(lamp(steps(0, 90, 10), steps(0, 90, 30), candela, 2));
    EXPECT_EQ(ab->file.sampleDataSingleSymmetryTypeAB(30.0, 180.1), 0.0f);
    EXPECT_EQ(ab->file.sampleDataSingleSymmetryTypeAB(30.0, 100.0), 0.0f);  // past Hlast
    EXPECT_EQ(ab->file.sampleDataSingleSymmetryTypeAB(30.0, 60.0), 1.0f);
    // A grid on the negative side that crosses 0 by more than the tolerance is refused.
    const auto crossing = parse(lamp(steps(0, 90, 10), {-90, -45, 10}, candela, 2));
    EXPECT_EQ(crossing->file.sampleDataSingleSymmetryTypeAB(30.0, -45.0), 0.0f);
}

TEST(IESSampling, NegativeInterpolantsClampToZero) {
    // One strongly negative value: the interpolant around it is negative, never returned.
    const auto p = parse(lamp(steps(0, 90, 10), {0},
                              [](int, int v) { return v == 4 ? -500.0f : 100.0f; }));
    EXPECT_EQ(p->file.sampleDataAxisSymmetry(40.0), 0.0f);
    EXPECT_EQ(p->file.sampleDataAxisSymmetry(38.0), 0.0f);
    EXPECT_FLOAT_EQ(p->file.sampleDataAxisSymmetry(0.0), 1.0f);
}

TEST(IESSampling, PeriodicSamplingNearZeroDrawsOnTheLastRow) {
    // Only the last row (φ = 337.5) is bright: periodic sampling at φ = 10 feels it, mirrored
    // sampling (mode 1 via the single-symmetry sampler on a 0..180 grid) does not.
    const auto p = parse(lamp(steps(0, 90, 10), steps(0, 337.5f, 22.5f),
                              [](int h, int) { return h == 15 ? 1000.0f : 100.0f; }));
    // hf = 10 / 22.5; rows 15, 0, 1, 2 = (1000, 100, 100, 100) → catrom < 100 (undershoot).
    const double p4[4] = {1000, 100, 100, 100};
    EXPECT_NEAR(p->file.sampleDataNoSymmetry(30.0, 10.0),
                IESFile::catrom(p4, 10.0 / 22.5) / 1000.0, 1e-6);
}

TEST(IESSampling, FindPeaksLampsAndMaximum) {
    const float values[] = {3, -2, 9, 4};
    float lo = 0, hi = 0;
    IESFile::_findPeaks(values, 4, lo, hi);
    EXPECT_EQ(lo, -2.0f);
    EXPECT_EQ(hi, 9.0f);
    IESFile::_findPeaks(values, 1, lo, hi);
    EXPECT_EQ(lo, 3.0f);
    EXPECT_EQ(hi, 3.0f);

    const auto p = parse(
        "TILT=NONE\n-1 -2491 1.5 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n7 8\n");
    std::int32_t lamps = 0;
    double lumens = 0, multiplier = 0;
    p->file.getLamps(lamps, lumens, multiplier);
    EXPECT_EQ(lamps, -1);
    EXPECT_EQ(lumens, -2491.0);
    EXPECT_EQ(multiplier, 1.5);
    EXPECT_EQ(p->file.getMaximumIntensity(), 8.0);
}

TEST(IESSampling, IncompleteRecordsSampleToZeroWithoutReadingArrays) {
    IESFile empty;
    EXPECT_EQ(empty.sampleIntensity(10.0, 10.0), 0.0f);
    EXPECT_EQ(empty.sampleDataAxisSymmetry(10.0), 0.0f);
    // Type B with a single horizontal angle: the gap before it is 0, so is the fraction.
    const auto one = parse(lamp(steps(0, 90, 10), {0}, [](int, int) { return 5.0f; }, 2));
    EXPECT_FLOAT_EQ(one->file.sampleIntensity(30.0, 50.0), 1.0f);
}

}  // namespace
