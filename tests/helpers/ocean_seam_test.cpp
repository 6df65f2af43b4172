// Deliberate: the ocean map tiles from top to bottom but not from side to side. The contracted
// transform runs over the whole 512 x 512 spectrum as one sequence, so each row is a stretch of
// one long wave train whose phase turns half a cycle across it, and the wrap-around neighbours
// of columns 0 and 511 do not continue each other. docs/host.md tells hosts so; this pins it.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "helpers/ocean_helper.h"

namespace {

using Model = VexaKeloOceanHelper::WaveModel;
constexpr int kN = Model::kWidth;

// Mean of one channel (0.5 n + 0.5) over a column (byColumn) or a row, as an 8-bit code.
double meanCode(const float* normals, int index, int channel, bool byColumn) {
    double sum = 0.0;
    for (int k = 0; k < kN; ++k) {
        const int x = byColumn ? index : k;
        const int y = byColumn ? k : index;
        sum += normals[3 * (static_cast<std::size_t>(y) * kN + x) + channel];
    }
    return 255.0 * sum / kN;
}

TEST(OceanSeam, ColumnsZeroAnd511StepWhileRowsWrapSmoothly) {
    VexaKeloOceanHelper helper(VexaKeloOceanHelper::kDefaultAmplifier,
                               VexaKeloOceanHelper::kDefaultGravity,
                               VexaKeloOceanHelper::kDefaultRatio, VexaKeloOceanHelper::kDefaultTime,
                               VexaKeloOceanHelper::kDefaultWind);
    helper.generateNormalMap();
    const float* n = helper.model().normals();
    double interiorRed = 0.0, interiorGreen = 0.0;
    for (int k = 2; k < kN - 2; ++k) {
        interiorRed += meanCode(n, k, 0, true) / (kN - 4);
        interiorGreen += meanCode(n, k, 1, false) / (kN - 4);
    }
    // A flat-looking map: the interior means sit at the code of a zero slope.
    EXPECT_NEAR(interiorRed, 127.5, 3.0);
    EXPECT_NEAR(interiorGreen, 127.5, 3.0);
    // The two edge columns see the step (about 183 with these settings); their neighbours do not.
    for (const int column : {0, kN - 1}) {
        EXPECT_GT(meanCode(n, column, 0, true), interiorRed + 40.0) << column;
    }
    for (const int column : {1, kN - 2}) {
        EXPECT_NEAR(meanCode(n, column, 0, true), interiorRed, 5.0) << column;
    }
    // Row 511 meets row 0 as any row meets the next.
    for (const int row : {0, 1, kN - 2, kN - 1}) {
        EXPECT_NEAR(meanCode(n, row, 1, false), interiorGreen, 5.0) << row;
    }
}

}  // namespace
